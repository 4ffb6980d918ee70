// velflatvalue.h - values on their way between C and C++.
//
// For each C++ type: the type that stands for it in C, how it comes in
// (borrowed) and goes out (owned), and what an error gives.
#ifndef VELSTD_CAPI_VELFLATVALUE_H
#define VELSTD_CAPI_VELFLATVALUE_H

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <new>
#include <utility>

#include "velguard.h"
#include "velstd_c.h"
#include "xany.h"
#include "xstring.h"

template <class T>
struct velFlatScalar {
  using Flat = T;
  static T in(T value) { return value; }
  static T out(T value) { return value; }
  /// What is not found leaves the caller's variable alone.
  static void clear(T*) {}
};

template <class T>
struct velFlatValue;

template <>
struct velFlatValue<unsigned char> : velFlatScalar<unsigned char> {
  static unsigned char onError() { return VEL_ERROR_BOOL; }
};
template <>
struct velFlatValue<int> : velFlatScalar<int> {
  static int onError() { return VEL_ERROR_INT; }
};
template <>
struct velFlatValue<double> : velFlatScalar<double> {
  static double onError() { return VEL_ERROR_REAL; }
};
template <>
struct velFlatValue<xstring> {
  using Flat = __xstring_c;
  static xstring in(const __xstring_c& text) { return xstring(text, true); }
  static __xstring_c out(const xstring& text) { return text.getxstring_c(); }
  /// Passes the text's own reference on.
  static __xstring_c out(xstring&& text) {
    const __xstring_c given = text.getxstring_c_unattached();
    new (&text) xstring();
    return given;
  }
  /// Written first of all, so that the caller may always give it back.
  static void clear(__xstring_c* to) {
    if (to) *to = out(xstring());
  }
  /// The uninit marker of narrow text, as text.
  static xstring onError() { return xstring(reinterpret_cast<const char*>(std::uintptr_t{2})); }
};
template <>
struct velFlatValue<xany> {
  using Flat = __xany_c;
  static xany in(const __xany_c& value);
  static __xany_c out(const xany& value) { return value.getxany_c(); }
  /// Passes the value's own reference on. Not one on an object, whose class may
  /// do something when it is attached.
  static __xany_c out(xany&& value) {
    if (value.getkind() == xanyObject) return value.getxany_c();
    // In the pieces that a value is written in: a processor reads quickly only
    // what was written in one piece.
    const char* payload = reinterpret_cast<const char*>(&value) + offsetof(__xany_c, u);
    std::uint64_t words[1 + sizeof(__xany_c::u) / 8] = {static_cast<unsigned>(value.getkind())};
    std::memcpy(words + 1, payload, 8);
    std::memcpy(words + 2, payload + 8, sizeof words - 16);
    new (&value) xany();
    __xany_c given;
    std::memcpy(&given, words, sizeof given);
    return given;
  }
  static void clear(__xany_c* to) {
    if (to) *to = out(xany());
  }
  static xany onError() { return xany(); }
};

/// What `ask` stores in its argument as a value that the caller owns. Where it
/// answers false, with an exception parked, or throws, that is the error value.
template <class T, class Ask>
typename velFlatValue<T>::Flat velFlatAnswer(Ask ask) {
  using Value = velFlatValue<T>;
  T result{};
  if (!velGuard(false, [&] { return ask(result); })) {
    velGuard([&] { result = Value::onError(); });
  }
  // Handing an object out attaches it, which may throw.
  return velGuard(typename Value::Flat{}, [&] { return Value::out(std::move(result)); });
}

/// What `make` gives as a record that the caller owns. Handing an object out
/// attaches it, which may throw like all the rest.
template <class Make>
__xany_c velGuardVariant(Make make) {
  return velGuard(__xany_c{xanyUninit, {0}}, [&] { return velFlatValue<xany>::out(make()); });
}

#endif  // VELSTD_CAPI_VELFLATVALUE_H
