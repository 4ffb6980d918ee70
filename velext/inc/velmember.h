// velmember.h - how the members of a user's class are described, read and written.
//
//   member                                    attribute
//   bool, unsigned char                       "bool"
//   int and every other integer type          "int"; a number that is no int throws
//   double, float                             "real"
//   xstring, std::string (UTF-8)              "string"
//   xany                                      "any", optional
//   xrchandle<C>                              C, optional
//   xrcunihandle<xobject>                     "object", optional
//   an enumeration of VEL_ENUM                that enumeration
//   std::optional<T>                          as T, optional; empty is nil
//
// What is written must be of that kind; nil and uninit go into int, unsigned char,
// double, xstring, xany, handles and optionals, and nowhere else.
#ifndef VELSTD_VELEXT_VELMEMBER_H
#define VELSTD_VELEXT_VELMEMBER_H

#include <cstdint>
#include <optional>
#include <string>
#include <type_traits>

#include "velattributes.h"
#include "velenum.h"
#include "velvalue.h"

/// Whether a member of type T can be an attribute, and how: as velAttributeType.
template <class T, class = void>
struct velMember {
  /// Whether it can. With true, there are the members of velAttributeType: kOptional,
  /// type(), read() and write().
  static constexpr bool kPossible = false;
};

/// @cond internal
/// By the core's own rules.
template <class T>
struct velCoreMember : velAttributeType<T> {
  static constexpr bool kPossible = true;
};
template <>
struct velMember<int> : velCoreMember<int> {};
template <>
struct velMember<xstring> : velCoreMember<xstring> {};
template <>
struct velMember<xany> : velCoreMember<xany> {};
template <class C>
struct velMember<xrchandle<C>> : velCoreMember<xrchandle<C>> {};

template <>
struct velMember<unsigned char> {
  static constexpr bool kPossible = true;
  static constexpr bool kOptional = false;
  static xrtti* type() { return velGetRtti_bool(); }
  static xany read(unsigned char value) { return xany(value); }
  static unsigned char write(const xany& value) {
    if (!value.isbool()) velThrowValueMismatch(type(), value);
    return value.operator unsigned char();
  }
};
template <>
struct velMember<double> {
  static constexpr bool kPossible = true;
  static constexpr bool kOptional = false;
  static xrtti* type() { return velGetRtti_real(); }
  static xany read(double value) { return xany(value); }
  static double write(const xany& value) {
    if (!value.isreal()) velThrowValueMismatch(type(), value);
    return value.operator double();
  }
};

template <>
struct velMember<xrcunihandle<xobject>> {
  static constexpr bool kPossible = true;
  static constexpr bool kOptional = true;
  static xrtti* type() { return velGetRtti_object(); }
  static xany read(const xrcunihandle<xobject>& value) { return xany(value); }
  static xrcunihandle<xobject> write(const xany& value) {
    if (value.isnil() || value.isuninit()) return {};
    if (!value.isobject()) velThrowValueMismatch(type(), value);
    return value.operator xobject*();
  }
};

/// By velAny and velGet; a value that is no T is refused.
template <class T>
struct velStdMember {
  static constexpr bool kPossible = true;
  static constexpr bool kOptional = false;
  static xany read(const T& value) { return velAny(value); }
  static T writeAs(xrtti* type, const xany& value) {
    std::optional<T> got = velGet<T>(value);
    if (!got) velThrowValueMismatch(type, value);
    return *std::move(got);
  }
};
template <>
struct velMember<bool> : velStdMember<bool> {
  static xrtti* type() { return velGetRtti_bool(); }
  static bool write(const xany& value) { return writeAs(type(), value); }
};
template <>
struct velMember<std::string> : velStdMember<std::string> {
  static xrtti* type() { return velGetRtti_string(); }
  static std::string write(const xany& value) { return writeAs(type(), value); }
};
template <>
struct velMember<float> : velStdMember<float> {
  static xrtti* type() { return velGetRtti_real(); }
  static float write(const xany& value) {
    if (value.getkind() != xanyReal) velThrowValueMismatch(type(), value);
    const std::optional<float> got = velGet<float>(value);
    if (!got) velThrowOutOfRange(value.operator double());
    return *got;
  }
};
template <class T>
struct velMember<T, std::enable_if_t<std::is_integral<T>::value>> : velStdMember<T> {
  static xrtti* type() { return velGetRtti_int(); }
  static T write(const xany& value) {
    if (value.getkind() != xanyInt) velThrowValueMismatch(type(), value);
    const std::optional<T> got = velGet<T>(value);
    if (!got) velThrowOutOfRange(static_cast<long long>(value.operator int()));
    (void)velAny(*got);  // what could not be read again is refused here
    return *got;
  }
};
template <class T>
struct velMember<T, std::enable_if_t<velIsEnum<T>::value>> : velStdMember<T> {
  static xrtti* type() { return velEnumRtti<T>(); }
  static T write(const xany& value) { return velStdMember<T>::writeAs(type(), value); }
};

template <class T>
struct velMember<std::optional<T>> {
  using Inner = velMember<T>;
  static constexpr bool kPossible = Inner::kPossible;
  static constexpr bool kOptional = true;
  static xrtti* type() { return Inner::type(); }
  static xany read(const std::optional<T>& value) {
    return value ? Inner::read(*value) : xany(xanyNil);
  }
  static std::optional<T> write(const xany& value) {
    if (value.isnil() || value.isuninit()) return std::nullopt;
    return Inner::write(value);
  }
};
/// @endcond

/// Whether T is the type by which collections and arrays keep elements of its
/// descriptor. Collections of any other would have the name of another class, and a cast
/// by name would take one for the other.
template <class T>
struct velIsElement : velIsEnum<T> {};

/// @cond internal
template <>
struct velIsElement<bool> : std::true_type {};
template <>
struct velIsElement<int> : std::true_type {};
template <>
struct velIsElement<double> : std::true_type {};
template <>
struct velIsElement<xstring> : std::true_type {};
template <>
struct velIsElement<xany> : std::true_type {};
template <class C>
struct velIsElement<xrchandle<C>> : std::true_type {};
template <>
struct velIsElement<xrcunihandle<xobject>> : std::true_type {};

#define VEL_CHECK_ELEMENT(E)                                                             \
  static_assert(velIsElement<E>::value,                                                  \
                "elements are bool, int, double, xstring, xany, xrcunihandle<xobject>, " \
                "enumerations of VEL_ENUM or classes of objects")
/// @endcond

#endif  // VELSTD_VELEXT_VELMEMBER_H
