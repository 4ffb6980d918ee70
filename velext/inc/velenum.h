// velenum.h - enumerations with a descriptor, in one line.
//
//   VEL_ENUM(Color, "demo::Color", red, green, blue)
//
// declares, in a namespace or globally, not in a class,
//
//   enum class Color { red, green, blue };
//   velEnumInfo velDescribeEnum(Color);      // names; found by argument lookup
//
// (the enumerators cannot be given values; a value is the index of its name)
// and registers the type by its name when the program is loaded. velAny(Color::red)
// is then a value of that enumeration, velGet<Color>(value) its way back, and
// velName(Color::red) the text "red".
#ifndef VELSTD_VELEXT_VELENUM_H
#define VELSTD_VELEXT_VELENUM_H

#include <cstddef>
#include <optional>
#include <type_traits>
#include <utility>

#include "velforeach.h"
#include "velrtti.h"
#include "velvalue.h"

/// The name and the enumerators of an enumeration; literals.
struct velEnumInfo {
  /// The registered name of the type.
  const char* name;
  /// Number of enumerators.
  int count;
  /// Their names, in order.
  const char* const* names;
};

/// Whether E was made by VEL_ENUM.
template <class E, class = void>
struct velIsEnum : std::false_type {};

/// @cond internal
template <class E>
struct velIsEnum<E, std::void_t<decltype(velDescribeEnum(std::declval<E>()))>>
    : std::is_enum<E> {};
/// @endcond

/// Makes and registers a descriptor; it lives for ever.
VELSTD_API xrttienum* velMakeEnumRtti(const velEnumInfo& info);

/// The descriptor of an enumeration of VEL_ENUM: borrowed, lives for ever.
template <class E>
xrttienum* velEnumRtti() {
  static xrttienum* const rtti = velMakeEnumRtti(velDescribeEnum(E()));
  return rtti;
}

/// The name of an enumerator; null for a number that has none.
template <class E>
std::enable_if_t<velIsEnum<E>::value, const char*> velName(E value) {
  const velEnumInfo info = velDescribeEnum(value);
  const int number = static_cast<int>(value);
  return number >= 0 && number < info.count ? info.names[number] : nullptr;
}

/// @cond internal
/// A number without a name is refused with velXNativeException "Integer out of range".
template <class E>
struct velValue<E, std::enable_if_t<velIsEnum<E>::value>> {
  static xany in(E value) {
    if (!velName(value)) velThrowOutOfRange(static_cast<long long>(value));
    return xany(static_cast<int>(value), velEnumRtti<E>());
  }
  /// Of a value of this enumeration, or of one of the same name.
  static std::optional<E> out(const xany& value) {
    if (value.getkind() != xanyEnum) return std::nullopt;
    xrtti* const type = value.getRtti();
    const int number = value.operator int();
    if (!type || !velEnumRtti<E>()->isTypeSameAs(type)) return std::nullopt;
    if (!velName(static_cast<E>(number))) return std::nullopt;
    return static_cast<E>(number);
  }
};
/// @endcond

/// Whether the names are names alone: enumerators have the values 0, 1, 2...
template <std::size_t N>
constexpr bool velAreNames(const char* const (&names)[N]) {
  for (const char* name : names) {
    for (; *name; ++name) {
      if (*name == '=') return false;
    }
  }
  return true;
}

/// Calls a function when the program is loaded.
struct velRegistrar {
  /// Calls `makeRtti`.
  template <class Function>
  explicit velRegistrar(Function* makeRtti) {
    makeRtti();
  }
};

/// Makes enumeration E of one to 1,092 enumerators.
/// VEL_ENUM(E, "name", a, b) expands to
///
///   enum class E { a, b };
///   inline velEnumInfo velDescribeEnum(E) {
///     static constexpr const char* names[] = {"a", "b",};
///     static_assert(velAreNames(names), "the enumerators of 'E' cannot be given values");
///     return {"name", static_cast<int>(sizeof names / sizeof *names), names};
///   }
///   inline const velRegistrar velRegisteredE{&velEnumRtti<E>};   // at load
#define VEL_ENUM(E, TypeName, ...)                                                   \
  enum class E { __VA_ARGS__ };                                                      \
  inline ::velEnumInfo velDescribeEnum(E) {                                          \
    static constexpr const char* names[] = {                                         \
        VEL_FOR_EACH(VEL_ENUM_NAME, __VA_ARGS__)};                                   \
    static_assert(::velAreNames(names),                                              \
                  "the enumerators of '" #E "' cannot be given values");             \
    return {TypeName, static_cast<int>(sizeof names / sizeof *names), names};        \
  }                                                                                  \
  inline const ::velRegistrar velRegistered##E{&::velEnumRtti<E>};

/// @cond internal
#define VEL_ENUM_NAME(name) #name,
/// @endcond

#endif  // VELSTD_VELEXT_VELENUM_H
