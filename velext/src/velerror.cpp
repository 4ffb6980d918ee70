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
  const std::string name = velUtf8(object->getVelTypeName());
  const std::string summary = velSummary(object);
  return (summary == name ? name : name + ": " + summary) + '\n' + WalkedText(object);
}

// One line's worth of a text in UTF-8, in whole characters.
std::string BeginningOf(std::string text) {
  constexpr std::size_t kMostOfLine = 1000;
  if (text.size() <= kMostOfLine) return text;
  std::size_t end = kMostOfLine;
  while (end > 0 && (static_cast<unsigned char>(text[end]) & 0xC0U) == 0x80) --end;
  return text.substr(0, end) + "...";
}

// The name of the type of a value.
std::string TypeOf(const xany& value) {
  return value.isnil() ? "nil" : velUtf8(value.getVelTypeName());
}

std::atomic<std::terminate_handler> handlerBefore{nullptr};

// Ends the process; says why if that is an object of the framework.
[[noreturn]] void Terminate() {
  try {
    // cppcheck-suppress rethrowNoCurrentException ; the line itself asks for one
    if (std::current_exception()) throw;
  } catch (xthrowable* caught) {  // NOLINT(cert-err09-cpp): thrown so
    std::string text;
    try {
      text = TextOf(caught);
    } catch (...) {
      text = "an exception that cannot be printed";
    }
    static_cast<void>(std::fprintf(stderr, "terminate called after throwing %s\n", text.c_str()));
    std::abort();
  } catch (...) {
    // Not ours to tell.
  }
  if (const std::terminate_handler before = handlerBefore.load()) before();
  std::abort();
}

}  // namespace

std::string velSummary(xthrowable* exception) {
  auto* const known = dynamic_cast<velXException*>(exception);
  const xstring description = known ? known->getDescription() : xstring();
  std::string text = velUtf8(description.IsNull() ? exception->getVelTypeName() : description);
  if (auto* const native = dynamic_cast<velXNativeException*>(exception)) {
    const xstring told = native->getStringRep();
    if (!told.IsNull() && !told.IsEmpty()) text = BeginningOf(velUtf8(told));
  } else if (auto* const mismatch = dynamic_cast<velXTypeMismatch*>(exception)) {
    text += ": " + TypeOf(mismatch->getVelObject()) + " where " +
            velUtf8(mismatch->getTypeName()) + " is expected";
  } else if (auto* const key = dynamic_cast<velXInvalidDictKey*>(exception)) {
    text += ": \"" + velUtf8(key->getKey()) + "\" in " + TypeOf(key->getVelObject());
  } else if (auto* const index = dynamic_cast<velXInvalidSeqIndex*>(exception)) {
    text += ": " + std::to_string(index->getIndex());
  } else if (auto* const cell = dynamic_cast<velXInvalidArrayIndex*>(exception)) {
    text += ": " + std::to_string(cell->getIndex()) + " in dimension " +
            std::to_string(cell->getDimension());
  } else if (auto* const negative = dynamic_cast<velXNegativeIndex*>(exception)) {
    text += ": " + std::to_string(negative->getIndex());
  }
  return text;
}

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
