// velvalue.h - values in and out of xany as everyday C++ writes them.
//
//   xany value = velAny(42);
//   if (auto n = velGet<int>(value)) use(*n);
//   std::string name = velGetOr<std::string>(value, "nobody");
//
// What xany itself takes for nil or uninit by its value (the least int, 0x80, 1e126,
// the address 1), velAny refuses: only nothing becomes nil. Integers are numbers,
// whatever their type; unsigned char too, which is the truth value of xany.
// What velGet cannot give as the type asked for is no value, never a converted one,
// but for integers, which may come out of any integer that holds them, and double,
// which holds every int.
// Threads and ownership: as xany.
#ifndef VELSTD_VELEXT_VELVALUE_H
#define VELSTD_VELEXT_VELVALUE_H

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <iosfwd>
#include <limits>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>

#include "veltext.h"
#include "xany.h"
#include "xrchandle.h"

/// Throws velXNativeException "Integer out of range: " and the number.
[[noreturn]] VELSTD_API void velThrowOutOfRange(long long value);
[[noreturn]] VELSTD_API void velThrowOutOfRange(unsigned long long value);
/// Throws velXNativeException "Real number out of range: " and the number.
[[noreturn]] VELSTD_API void velThrowOutOfRange(double value);
/// Throws velXNativeException "Real number stands for no value: " and the number.
[[noreturn]] VELSTD_API void velThrowReservedReal(double value);

/// How a type T goes into a value and comes out; specialise it for types of your own:
///   static xany in(const T& value);
///   static std::optional<T> out(const xany& value);
template <class T, class = void>
struct velValue;

/// The value as xany: of bool, every integer type, float and double, text
/// (std::string, std::string_view, const char* as UTF-8; xstring), handles and
/// pointers to objects, enumerations of VEL_ENUM, std::optional, std::nullptr_t and
/// xany itself. Null text, null handles, an empty optional and nullptr are nil.
/// Throws velXNativeException for an integer that is no int of xany (outside 32
/// bits, -2147483648 and -2147483647), for the real numbers 1e126 and 9e125, and as
/// velText.
template <class T>
xany velAny(const T& value) {
  return velValue<T>::in(value);
}
#ifdef __cpp_char8_t
/// Text as C++20 types UTF-8, velAny(u8"..."); nil for null. Throws as velText.
inline xany velAny(std::u8string_view utf8) { return xany(velText(utf8)); }
inline xany velAny(const char8_t* utf8) {
  return utf8 ? velAny(std::u8string_view(utf8)) : xany(xanyNil);
}
#endif
/// Text in UTF-8 as a value; nil for null. Throws as velText.
inline xany velAny(const char* utf8) { return utf8 ? xany(velText(utf8)) : xany(xanyNil); }

/// The value as a T, if it is one: bool, an integer type (from an int that it can
/// hold), double (from a real or an int), float (the same, rounded to the nearest; none
/// for a number beyond its range), std::string (UTF-8), xstring,
/// xrchandle<C> (of an object that is a C), xrcunihandle<xobject>, an enumeration of
/// VEL_ENUM, xany (always), std::optional of any of these. Nil and uninit are none, but
/// for an xany and for an optional, which is then empty.
template <class T>
std::optional<T> velGet(const xany& value) {
  return velValue<T>::out(value);
}

/// The same, or `fallback`.
template <class T>
T velGetOr(const xany& value, T fallback) {
  std::optional<T> got = velGet<T>(value);
  return got ? *std::move(got) : std::move(fallback);
}
/// The value as text in UTF-8, or `fallback` (not null).
inline std::string velGetOr(const xany& value, const char* fallback) {
  return velGetOr<std::string>(value, fallback);
}

/// How errors name what velGet<T> takes.
template <class T>
const char* velKindName() {
  if constexpr (std::is_same<T, bool>::value) {
    return "bool";
  } else if constexpr (std::is_integral<T>::value) {
    return "int";
  } else if constexpr (std::is_floating_point<T>::value) {
    return "real";
  } else if constexpr (velIsStdText<T> || velIsXstring<T>) {
    return "string";
  } else if constexpr (std::is_enum<T>::value) {
    return "enum";
  } else {
    return "object";
  }
}

/// Writes a value as velPrint does with step 2.
VELSTD_API void velWriteValue(std::ostream& out, const xany& value);
/// Writes a value as velPrint does with step 2. A template, so that nothing else
/// becomes a value on the way.
template <class T>
std::enable_if_t<std::is_same<T, xany>::value, std::ostream&> operator<<(std::ostream& out,
                                                                         const T& value) {
  velWriteValue(out, value);
  return out;
}

/// What velPrint writes: indented by `step` blanks a level, in one line below 0; with
/// the digits of the classic locale, whatever the global one is.
VELSTD_API std::string velToString(const xany& value, int step = 2);

/// As xany compares: equal values have the same hash.
template <>
struct VELSTD_API std::hash<xany> {
  /// The hash of a value.
  std::size_t operator()(const xany& value) const;
};

/// An order of all values, so that they can be sorted and be keys: uninit, nil, truth
/// values, numbers, text, enumerations, objects. Numbers by value, an int before the
/// real number of the same value, NaN behind all of them; text as velOrder of text;
/// enumerations and objects by the address of descriptor and object. Null objects are
/// nil. Below, at or above 0; 0 for equal values, but for text that the locale cannot
/// say, which xany takes for `?`.
VELSTD_API int velOrder(const xany& a, const xany& b);

/// @cond internal
template <class A, class B>
using velIfValues =
    std::enable_if_t<std::is_same<A, xany>::value && std::is_same<B, xany>::value, bool>;
/// @endcond

/// These compare two values by velOrder; templates, so that nothing else becomes a
/// value on the way.
template <class A, class B>
velIfValues<A, B> operator<(const A& a, const B& b) {
  return velOrder(a, b) < 0;
}
template <class A, class B>
velIfValues<A, B> operator>(const A& a, const B& b) {
  return velOrder(a, b) > 0;
}
template <class A, class B>
velIfValues<A, B> operator<=(const A& a, const B& b) {
  return velOrder(a, b) <= 0;
}
template <class A, class B>
velIfValues<A, B> operator>=(const A& a, const B& b) {
  return velOrder(a, b) >= 0;
}

/// Whether the value is this UTF-8 text. Beside the comparisons of xany, which know
/// no std::string.
VELSTD_API bool velIsText(const xany& value, std::string_view utf8);

/// @cond internal
template <class A, class B>
using velIfValueAndStd = std::enable_if_t<std::is_same<A, xany>::value && velIsStdText<B>, bool>;
/// @endcond

/// These compare a value with a string of the standard library, in either order:
/// velIsText().
template <class A, class B>
velIfValueAndStd<A, B> operator==(const A& a, const B& b) {
  return velIsText(a, b);
}
template <class A, class B>
velIfValueAndStd<A, B> operator!=(const A& a, const B& b) {
  return !velIsText(a, b);
}
template <class A, class B>
velIfValueAndStd<B, A> operator==(const A& a, const B& b) {
  return velIsText(b, a);
}
template <class A, class B>
velIfValueAndStd<B, A> operator!=(const A& a, const B& b) {
  return !velIsText(b, a);
}

/// A handle hashes by the object that it holds, as handles compare.
template <class C>
struct std::hash<xrchandle<C>> {
  /// The hash of the object's address.
  std::size_t operator()(const xrchandle<C>& handle) const {
    return std::hash<const void*>()(handle.operator->());
  }
};
/// A handle hashes by the object that it holds, as handles compare.
template <class C>
struct std::hash<xrcunihandle<C>> {
  /// The hash of the object's address.
  std::size_t operator()(const xrcunihandle<C>& handle) const {
    return std::hash<const void*>()(handle.operator->());
  }
};

// ---- the types -------------------------------------------------------------------

/// @cond internal
template <>
struct velValue<bool> {
  static xany in(bool value) { return xany(value); }
  static std::optional<bool> out(const xany& value) {
    if (value.getkind() != xanyBool) return std::nullopt;
    return value.operator unsigned char() != 0;
  }
};

template <class T>
struct velValue<T, std::enable_if_t<std::is_integral<T>::value && !std::is_same<T, bool>::value>> {
  static xany in(T value) {
    using Wide = std::conditional_t<std::is_signed<T>::value, long long, unsigned long long>;
    static_assert(sizeof(T) <= sizeof(Wide), "no value holds an integer of that type");
    const auto wide = static_cast<Wide>(value);
    if constexpr (std::is_signed<T>::value) {
      // The two lowest stand for nil and uninit.
      if (wide < -2147483646LL || wide > 2147483647LL) velThrowOutOfRange(wide);
    } else {
      if (wide > 2147483647ULL) velThrowOutOfRange(wide);
    }
    return xany(static_cast<int>(value));
  }
  static std::optional<T> out(const xany& value) {
    if (value.getkind() != xanyInt) return std::nullopt;
    const long long number = value.operator int();
    if constexpr (std::is_signed<T>::value) {
      if (number < std::numeric_limits<T>::min() || number > std::numeric_limits<T>::max()) {
        return std::nullopt;
      }
    } else {
      if (number < 0 ||
          static_cast<unsigned long long>(number) > std::numeric_limits<T>::max()) {
        return std::nullopt;
      }
    }
    return static_cast<T>(number);
  }
};

template <class T>
struct velValue<T, std::enable_if_t<std::is_same<T, float>::value || std::is_same<T, double>::value>> {
  static xany in(T value) {
    xany made(static_cast<double>(value));
    if (made.getkind() != xanyReal) velThrowReservedReal(static_cast<double>(value));
    return made;
  }
  static std::optional<T> out(const xany& value) {
    if (value.getkind() == xanyInt) return static_cast<T>(value.operator int());
    if (value.getkind() != xanyReal) return std::nullopt;
    const double number = value.operator double();
    // Infinity is a float, but nothing finite becomes infinity.
    if (std::isfinite(number) && std::abs(number) > std::numeric_limits<T>::max()) {
      return std::nullopt;
    }
    return static_cast<T>(number);
  }
};

template <>
struct velValue<xstring> {
  static xany in(const xstring& value) { return xany(value); }
  static std::optional<xstring> out(const xany& value) {
    if (value.getkind() != xanyString) return std::nullopt;
    return value.operator xstring();
  }
};

template <>
struct velValue<std::string> {
  static xany in(const std::string& value) { return xany(velText(value)); }
  static std::optional<std::string> out(const xany& value) {
    if (value.getkind() != xanyString) return std::nullopt;
    return velUtf8(value.operator xstring());
  }
};
template <>
struct velValue<std::string_view> {
  static xany in(std::string_view value) { return xany(velText(value)); }
};
template <std::size_t N>
struct velValue<char[N]> {
  static xany in(const char (&value)[N]) { return xany(velText(value)); }
};
template <>
struct velValue<char*> {
  static xany in(const char* value) { return velAny(value); }
};

template <>
struct velValue<xany> {
  static const xany& in(const xany& value) { return value; }
  static std::optional<xany> out(const xany& value) { return value; }
};

template <>
struct velValue<std::nullptr_t> {
  static xany in(std::nullptr_t) { return xany(xanyNil); }
};

/// An object by pointer: the value takes a reference.
template <class C>
struct velValue<C*, std::enable_if_t<std::is_convertible<C*, xobject*>::value>> {
  static xany in(C* value) { return xany(velAsObject(value)); }
};
/// @endcond

/// The object of a value as C, borrowed; null for any other value.
template <class C>
C* velObject(const xany& value) {
  if (value.getkind() != xanyObject) return nullptr;
  xobject* const object = value.operator xobject*();
  return object && !velIsUninit(object) ? dynamic_cast<C*>(object) : nullptr;
}

/// @cond internal
template <class C>
struct velValue<xrchandle<C>> {
  static xany in(const xrchandle<C>& value) { return xany(value); }
  static std::optional<xrchandle<C>> out(const xany& value) {
    C* const object = velObject<C>(value);
    if (!object) return std::nullopt;
    return xrchandle<C>(object);
  }
};
template <class C>
struct velValue<xrcunihandle<C>> {
  static xany in(const xrcunihandle<C>& value) { return xany(value); }
  static std::optional<xrcunihandle<C>> out(const xany& value) {
    C* const object = velObject<C>(value);
    if (!object) return std::nullopt;
    return xrcunihandle<C>(object);
  }
};

template <class T>
struct velValue<std::optional<T>> {
  static xany in(const std::optional<T>& value) { return value ? velAny(*value) : xany(xanyNil); }
  static std::optional<std::optional<T>> out(const xany& value) {
    using Outer = std::optional<std::optional<T>>;
    if (value.isnil() || value.isuninit()) return Outer(std::in_place);
    std::optional<T> got = velGet<T>(value);
    if (!got) return std::nullopt;
    return Outer(std::in_place, std::move(got));
  }
};
/// @endcond

#endif  // VELSTD_VELEXT_VELVALUE_H
