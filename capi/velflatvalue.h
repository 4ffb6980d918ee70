// velflatvalue.h - values on their way between C and C++.
//
// For each C++ type: the type that stands for it in C, how it comes in
// (borrowed) and goes out (owned), and what an error gives.
#ifndef VELSTD_CAPI_VELFLATVALUE_H
#define VELSTD_CAPI_VELFLATVALUE_H

#include <cstdint>

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
  static void clear(__xany_c* to) {
    if (to) *to = out(xany());
  }
  static xany onError() { return xany(); }
};

/// What `make` gives as a record that the caller owns. Handing an object out
/// attaches it, which may throw like all the rest.
template <class Make>
__xany_c velGuardVariant(Make make) {
  return velGuard(__xany_c{xanyUninit, {0}}, [&] { return velFlatValue<xany>::out(make()); });
}

#endif  // VELSTD_CAPI_VELFLATVALUE_H
