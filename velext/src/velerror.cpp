#include "velerror.h"

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <ios>
#include <locale>
#include <ostream>
#include <streambuf>
#include <string>

#include "velexceptions.h"
#include "velprint.h"
#include "veltext.h"
#include "veltraverser.h"

namespace {

// What an exception is about may be of any size, and deep: then a walk writes much more
// than it visits.
constexpr std::size_t kMostText = 65536;

// Takes text up to a limit, then ends the walk that writes it.
class Room : public std::streambuf {
 public:
  explicit Room(std::string& to) : text(to) {}

 private:
  std::streamsize xsputn(const char* from, std::streamsize count) override {
    const std::size_t left = kMostText - text.size();
    if (static_cast<std::size_t>(count) > left) {
      text.append(from, left);
      text += "...";
      throw velTraverseXStop();
    }
    text.append(from, static_cast<std::size_t>(count));
    return count;
  }
  int_type overflow(int_type c) override {
    const char single = traits_type::to_char_type(c);
    xsputn(&single, 1);
    return c;
  }

  std::string& text;
};

std::string WalkedText(xthrowable* object) {
  std::string text;
  Room room(text);
  std::ostream out(&room);
  out.imbue(std::locale::classic());
  out.exceptions(std::ios::badbit);  // lets what the room throws through
  velPrint(xany(object), out, 2);
  return text;
}

std::string TextOf(xthrowable* object) {
  std::string text = velUtf8(object->getVelTypeName());
  if (auto* const exception = dynamic_cast<velXException*>(object)) {
    const xstring description = exception->getDescription();
    if (!description.IsNull()) text += ": " + velUtf8(description);
  }
  return text + '\n' + WalkedText(object);
}

std::atomic<std::terminate_handler> handlerBefore{nullptr};

// Ends the process; says why if that is an object of the framework.
[[noreturn]] void Terminate() {
  try {
    if (std::current_exception()) throw;
  } catch (xthrowable* caught) {
    std::string text;
    try {
      text = TextOf(caught);
    } catch (...) {
      text = "an exception that cannot be printed";
    }
    std::fprintf(stderr, "terminate called after throwing %s\n", text.c_str());
    std::abort();
  } catch (...) {
    // Not ours to tell.
  }
  if (const std::terminate_handler before = handlerBefore.load()) before();
  std::abort();
}

}  // namespace

velError::velError(xthrowable* object) : std::runtime_error(TextOf(object)), held(object) {}

velError::~velError() = default;

void velThrowError(xthrowable* caught) {
  const xrcunihandle<xthrowable> held(caught);
  xrcrelease(caught);
  throw velError(caught);
}

void velThrowCurrent() {
  try {
    throw;
  } catch (const velError& error) {
    error.raise();
  } catch (const std::exception& error) {
    velXNativeException::Throw(error.what());
  }
}

void velInstallTerminateHandler() noexcept {
  const std::terminate_handler before = std::set_terminate(&Terminate);
  if (before != &Terminate) handlerBefore = before;
}
