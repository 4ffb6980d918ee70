#include "velerror.h"

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <sstream>
#include <string>

#include "velexceptions.h"
#include "velprint.h"
#include "veltext.h"

namespace {

std::string TextOf(xthrowable* object) {
  std::ostringstream text;
  text.imbue(std::locale::classic());
  text << velUtf8(object->getVelTypeName());
  if (auto* const exception = dynamic_cast<velXException*>(object)) {
    const xstring description = exception->getDescription();
    if (!description.IsNull()) text << ": " << velUtf8(description);
  }
  text << '\n';
  velPrint(xany(object), text, 2);
  std::string made = text.str();
  while (!made.empty() && made.back() == '\n') made.pop_back();
  return made;
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
