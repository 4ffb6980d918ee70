// veltext.h - strings of the standard library in and out of xstring.
//
// A std::string or std::string_view is UTF-8 here, in every locale. Text beyond
// ASCII becomes a wide string, which no later change of the locale can spoil;
// ASCII text a narrow one. An xstring gives its wide form, else its narrow one as
// text of the current locale; narrow bytes that are no such text, but valid UTF-8,
// are taken as what they are.
//
//   xstring text = velText(name);               // std::string name
//   text += name;  text = "<" + text + ">";
//   if (text == name) std::cout << velUtf8(text);
//
// Threads: as xstring and the locale.
#ifndef VELSTD_VELEXT_VELTEXT_H
#define VELSTD_VELEXT_VELTEXT_H

#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>

#include "korapi.h"
#include "xstring.h"

/// The text as an xstring; a string of its own, never null.
/// Throws velXNativeException "Invalid UTF-8 at byte 7" (counted from 0), "Zero
/// byte in text at byte 7", "Size limit exceeded" from 2^31 - 1 bytes on.
VELSTD_API xstring velText(std::string_view utf8);

#ifdef __cpp_char8_t
/// The same, as C++20 types UTF-8: velText(u8"...").
inline xstring velText(std::u8string_view utf8) {
  return velText({reinterpret_cast<const char*>(utf8.data()), utf8.size()});
}
#endif

/// Throws velXNativeException "Zero byte in text at byte 7" if there is one.
VELSTD_API void velRefuseZeroByte(std::string_view text);

/// Whether all of these bytes are ASCII.
VELSTD_API bool velIsAscii(std::string_view bytes);

/// Whether these bytes are UTF-8 as Unicode has it.
VELSTD_API bool velIsUtf8(std::string_view bytes);

/// The text in UTF-8; empty for the null string. What is no character becomes
/// U+FFFD in a wide form; in a narrow one each such byte becomes `?`.
VELSTD_API std::string velUtf8(const xstring& text);

/// The same for whoever may lose nothing: no value for a text with something in it that is
/// no character.
VELSTD_API std::optional<std::string> velUtf8IfText(const xstring& text);

/// The other way round: UTF-8 in the encoding of the current locale; no value for what that
/// cannot say, or what is no UTF-8.
VELSTD_API std::optional<std::string> velNarrowIfText(std::string_view utf8);

/// The narrow form, in the encoding of the current locale: borrowed, lives as long
/// as the string is neither changed nor gone. Empty for the null string.
inline std::string_view velView(const xstring& text) {
  return text.IsNull() ? std::string_view() : std::string_view(text.CastToCString());
}
std::string_view velView(xstring&&) = delete;  // would outlive the string

/// The key of an entry in UTF-8. Keys are narrow: what is UTF-8 stays as it is, whatever
/// the locale; else it is text of the locale.
inline std::string velKeyUtf8(const xstring& key) {
  const std::string_view bytes = velView(key);
  return velIsUtf8(bytes) ? std::string(bytes) : velUtf8(key);
}

/// Order by characters (the code points of Unicode), the null string first, whatever
/// the locale: below, at or above 0. Bytes that are no text of the locale stand as
/// they are, so that no two texts of such bytes are taken for the same.
/// Allocates for what is not ASCII.
VELSTD_API int velOrder(const xstring& a, const xstring& b);

/// @cond internal
/// Whether one of both is an xstring and the other one, too, or narrow text.
template <class A>
inline constexpr bool velIsXstring = std::is_base_of<xstring, A>::value;
template <class A>
inline constexpr bool velIsNarrowText = std::is_same<std::decay_t<A>, const char*>::value ||
                                        std::is_same<std::decay_t<A>, char*>::value;
template <class A, class B>
using velIfOrdered = std::enable_if_t<(velIsXstring<A> && (velIsXstring<B> || velIsNarrowText<B>)) ||
                                          (velIsNarrowText<A> && velIsXstring<B>),
                                      bool>;
/// @endcond

/// These compare by velOrder() an xstring with another or with narrow text, in either
/// order. Throw std::bad_alloc.
template <class A, class B>
velIfOrdered<A, B> operator<(const A& a, const B& b) {
  return velOrder(a, b) < 0;
}
template <class A, class B>
velIfOrdered<A, B> operator>(const A& a, const B& b) {
  return velOrder(a, b) > 0;
}
template <class A, class B>
velIfOrdered<A, B> operator<=(const A& a, const B& b) {
  return velOrder(a, b) <= 0;
}
template <class A, class B>
velIfOrdered<A, B> operator>=(const A& a, const B& b) {
  return velOrder(a, b) >= 0;
}

/// Whether the string, not null, is this UTF-8 text.
VELSTD_API bool velIsText(const xstring& text, std::string_view utf8);

/// @cond internal
/// Whether A is a string of the standard library.
template <class A>
inline constexpr bool velIsStdText =
    std::is_same<A, std::string>::value || std::is_same<A, std::string_view>::value;
template <class A, class B>
using velIfTextAndStd = std::enable_if_t<velIsXstring<A> && velIsStdText<B>, bool>;
/// @endcond

/// These compare a string with one of the standard library, as UTF-8, in either order.
/// Templates on both sides: nothing is converted on the way, and literals keep the
/// comparison that they have.
template <class A, class B>
velIfTextAndStd<A, B> operator==(const A& a, const B& b) {
  return velIsText(a, b);
}
template <class A, class B>
velIfTextAndStd<A, B> operator!=(const A& a, const B& b) {
  return !velIsText(a, b);
}
template <class A, class B>
velIfTextAndStd<B, A> operator==(const A& a, const B& b) {
  return velIsText(b, a);
}
template <class A, class B>
velIfTextAndStd<B, A> operator!=(const A& a, const B& b) {
  return !velIsText(b, a);
}

/// Appends `part`, in its wide form if it has one: what the locale cannot say is kept.
/// Null and empty text change nothing.
VELSTD_API xstring& velAppend(xstring& text, const xstring& part);

/// text += std::string, as UTF-8. Throws as velText.
template <class A, class B>
std::enable_if_t<std::is_same<A, xstring>::value && velIsStdText<B>, xstring&> operator+=(
    A& text, const B& part) {
  return velAppend(text, velText(part));
}

/// @cond internal
/// What can be joined with an xstring.
template <class A>
inline constexpr bool velIsWideText = std::is_same<std::decay_t<A>, const wchar_t*>::value ||
                                      std::is_same<std::decay_t<A>, wchar_t*>::value;
template <class A>
inline constexpr bool velIsAnyText =
    velIsXstring<A> || velIsStdText<A> || velIsNarrowText<A> || velIsWideText<A>;
template <class A>
xstring velAsText(const A& text) {
  if constexpr (velIsStdText<A>) {
    return velText(text);
  } else {
    return text;
  }
}
/// @endcond

/// A new string of an xstring and another, narrow or wide text, or a string of the
/// standard library (as UTF-8), in either order. Throws as velText.
template <class A, class B>
std::enable_if_t<(velIsXstring<A> && velIsAnyText<B>) || (velIsAnyText<A> && velIsXstring<B>),
                 xstring>
operator+(const A& a, const B& b) {
  xstring joined = velAsText(a);
  velAppend(joined, velAsText(b));
  return joined;
}

/// Equal strings have the same hash, whichever forms they have, as long as the locale
/// stays the same.
VELSTD_API std::size_t velHashOfText(const xstring& text);
/// Strings that velOrder finds equal have the same hash.
VELSTD_API std::size_t velHashOfContent(const xstring& text);

/// For containers with hashed strings.
template <>
struct std::hash<xstring> {
  /// velHashOfText().
  std::size_t operator()(const xstring& text) const { return velHashOfText(text); }
};

#endif  // VELSTD_VELEXT_VELTEXT_H
