// veltext.h - strings of the standard library in and out of xstring.
//
// A std::string or std::string_view is UTF-8 here, in every locale. Text beyond
// ASCII becomes a wide string, which no later change of the locale can spoil;
// ASCII text a narrow one. An xstring gives its wide form, else its narrow one as
// text of the current locale; narrow bytes that are no such text, but valid UTF-8,
// are taken as what they are.
//
// Threads: as xstring and the locale.
#ifndef VELSTD_VELEXT_VELTEXT_H
#define VELSTD_VELEXT_VELTEXT_H

#include <cstddef>
#include <functional>
#include <string>
#include <string_view>
#include <type_traits>

#include "korapi.h"
#include "xstring.h"

/// The text as an xstring; a string of its own, never null.
/// Throws velXNativeException "Invalid UTF-8 at byte 7" (counted from 0), "Zero
/// byte in text at byte 7", "Size limit exceeded" from 2^31 - 1 bytes on.
VELSTD_API xstring velText(std::string_view utf8);

/// The text in UTF-8; empty for the null string. What is no character becomes
/// U+FFFD.
VELSTD_API std::string velUtf8(const xstring& text);

/// The narrow form, in the encoding of the current locale: borrowed, lives as long
/// as the string is neither changed nor gone. Empty for the null string.
inline std::string_view velView(const xstring& text) {
  return text.IsNull() ? std::string_view() : std::string_view(text.CastToCString());
}
std::string_view velView(xstring&&) = delete;  // would outlive the string

/// Order by the bytes of the narrow forms, the null string first: below, at or
/// above 0.
VELSTD_API int velOrder(const xstring& a, const xstring& b);

inline bool operator<(const xstring& a, const xstring& b) { return velOrder(a, b) < 0; }
inline bool operator>(const xstring& a, const xstring& b) { return velOrder(a, b) > 0; }
inline bool operator<=(const xstring& a, const xstring& b) { return velOrder(a, b) <= 0; }
inline bool operator>=(const xstring& a, const xstring& b) { return velOrder(a, b) >= 0; }

/// Whether the string, not null, is this UTF-8 text.
VELSTD_API bool velIsText(const xstring& text, std::string_view utf8);

/// Comparison with the standard library's strings, as UTF-8. Templates on both sides:
/// nothing is converted on the way, and literals keep the comparison that they have.
template <class A, class B>
using velIfTextAndStd =
    std::enable_if_t<std::is_same<A, xstring>::value && (std::is_same<B, std::string>::value ||
                                                         std::is_same<B, std::string_view>::value),
                     bool>;
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

/// By the narrow form; strings that are equal have the same.
template <>
struct std::hash<xstring> {
  std::size_t operator()(const xstring& text) const {
    return text.IsNull() ? 0 : std::hash<std::string_view>()(velView(text));
  }
};

#endif  // VELSTD_VELEXT_VELTEXT_H
