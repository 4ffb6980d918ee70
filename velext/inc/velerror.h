// velerror.h - exceptions of the framework and of the standard library.
//
// What the framework throws is a counted object by pointer, which a program with
// catch (const std::exception&) never sees. velTry turns one into a velError, which
// is such an exception and keeps the object; velThrowing goes the other way.
//
//   try {
//     velTry([&] { return sequence->get(99); });
//   } catch (const std::exception& error) {
//     std::cerr << error.what() << '\n';
//   }
//
// Threads: any; the object of an error is shared by its copies.
#ifndef VELSTD_VELEXT_VELERROR_H
#define VELSTD_VELEXT_VELERROR_H

#include <stdexcept>
#include <string>
#include <utility>

#include "korapi.h"
#include "xrchandle.h"
#include "xthrowable.h"

/// What happened, in one line: the Description of an exception (the name of its type, if
/// it has none) with what its attributes tell of it: "Object type mismatch: string where
/// int is expected", "Sequence index is out of range: 99"; the text of a native exception, up to 1,000 bytes
/// of it and "...". In UTF-8.
VELSTD_API std::string velSummary(xthrowable* exception);

/// A thrown object as a std::exception. what() is the name of its type, its
/// Description, if it has one, and, on lines of their own, the object as the walker
/// prints it: at most 64 KiB of that, then "...".
class VELSTD_API velError : public std::runtime_error {
 public:
  /// For an object (not null), of which it takes a reference.
  explicit velError(xthrowable* object);
  /// These share the object.
  velError(const velError&) noexcept = default;
  velError& operator=(const velError&) = default;
  /// Gives the reference on the object back.
  ~velError() override;

  /// The object that was thrown: borrowed, lives as long as this error.
  xthrowable* object() const { return held; }
  /// The same as C, or null.
  template <class C>
  C* as() const {
    return dynamic_cast<C*>(object());
  }
  /// Throws the object again, as the framework does.
  [[noreturn]] void raise() const { xthrow(held); }

 private:
  xrcunihandle<xthrowable> held;
};

/// Throws the velError of an object that was caught, and gives back the reference
/// that came with it (consumed).
[[noreturn]] VELSTD_API void velThrowError(xthrowable* caught);

/// What `act` returns; an exception of the framework comes out as a velError.
template <class Act>
decltype(auto) velTry(Act&& act) {
  try {
    return std::forward<Act>(act)();
  } catch (xthrowable* caught) {  // NOLINT(cert-err09-cpp): thrown so
    velThrowError(caught);
  }
}

/// Throws the exception that is being handled as an object of the framework: that of
/// a velError; a velXNativeException with the what() of any other std::exception;
/// anything else as it is.
[[noreturn]] VELSTD_API void velThrowCurrent();

/// What `act` returns; exceptions of the standard library come out as objects of the
/// framework (see velThrowCurrent).
template <class Act>
decltype(auto) velThrowing(Act&& act) {
  try {
    return std::forward<Act>(act)();
  } catch (const std::exception&) {
    velThrowCurrent();
  }
}

/// From now on a program that ends because nobody catches an exception of the
/// framework says which, as the walker shows it, on the error stream. Other
/// exceptions go to the handler that was there before.
VELSTD_API void velInstallTerminateHandler() noexcept;

#endif  // VELSTD_VELEXT_VELERROR_H
