// korutf8.h - UTF-8 by hand.
//
// The C library codes one character a call, through a state and the tables of
// the locale; most text is UTF-8, and these do a character in a few
// instructions and sixteen ASCII characters at once. They read and write what
// Unicode calls well-formed: no longer form than needed, no surrogate, nothing
// beyond U+10FFFF; which is also what the toolkit takes from the C library.
// Private to the toolkit.
#ifndef VELSTD_KORBASE_KORUTF8_H
#define VELSTD_KORBASE_KORUTF8_H

#include <cstddef>

/// True for what Unicode can hold and an encoding may carry.
constexpr bool korIsCharacter(char32_t c) { return c < 0xD800U || (c > 0xDFFFU && c <= 0x10FFFFU); }

/// How far a conversion has come: what it has taken and what it has given.
struct korProgress {
  std::size_t taken;
  std::size_t given;
};

/// The six bits of a byte that continues a character; of any other byte a value
/// above 63.
inline char32_t korUtf8Next(const char* at) { return static_cast<unsigned char>(*at) ^ 0x80U; }

/// Whether `character` has two bytes, or three and comes before the surrogates. The
/// compiler makes one comparison of two.
constexpr bool korHasTwoBytes(char32_t character) {
  return character >= 0x80U && character < 0x800U;
}
constexpr bool korHasThreeBytes(char32_t character) {
  return character >= 0x800U && character < 0xD800U;
}

/// Reads the character at `text` if it is a valid one of two bytes, all of which
/// are there to read.
inline bool korUtf8Decode2(const char* text, char32_t* character) {
  // 0xC0 and 0xC1 begin what has a shorter form.
  const char32_t first = static_cast<unsigned char>(text[0]) ^ 0xC0U;
  const char32_t second = korUtf8Next(text + 1);
  *character = (first << 6U) | second;
  return first >= 2U && first < 0x20U && second < 0x40U;
}

/// The same for three bytes.
inline bool korUtf8Decode3(const char* text, char32_t* character) {
  const char32_t first = static_cast<unsigned char>(text[0]) ^ 0xE0U;
  const char32_t second = korUtf8Next(text + 1);
  const char32_t third = korUtf8Next(text + 2);
  *character = (first << 12U) | (second << 6U) | third;
  return first < 0x10U && (second | third) < 0x40U && *character >= 0x800U &&
         (*character & 0xF800U) != 0xD800U;
}

/// The same for four bytes.
inline bool korUtf8Decode4(const char* text, char32_t* character) {
  const char32_t first = static_cast<unsigned char>(text[0]) ^ 0xF0U;
  const char32_t second = korUtf8Next(text + 1);
  const char32_t third = korUtf8Next(text + 2);
  const char32_t fourth = korUtf8Next(text + 3);
  *character = (first << 18U) | (second << 12U) | (third << 6U) | fourth;
  return first < 5U && (second | third | fourth) < 0x40U && *character >= 0x10000U &&
         *character <= 0x10FFFFU;
}

/// Reads the character at `text` with `bytes` (at least 1) bytes left. Returns
/// its bytes, or 0 when there is no valid character.
inline std::size_t korUtf8Decode(const char* text, std::size_t bytes, char32_t* character) {
  const auto first = static_cast<unsigned char>(*text);
  if (first < 0x80U) {
    *character = first;
    return 1;
  }
  if (first < 0xE0U) return bytes >= 2 && korUtf8Decode2(text, character) ? 2 : 0;
  if (first < 0xF0U) return bytes >= 3 && korUtf8Decode3(text, character) ? 3 : 0;
  return bytes >= 4 && korUtf8Decode4(text, character) ? 4 : 0;
}

/// Writes `character`, which has two, three or four bytes in UTF-8.
inline void korUtf8Encode2(char32_t character, char* out) {
  out[0] = static_cast<char>(0xC0U | (character >> 6U));
  out[1] = static_cast<char>(0x80U | (character & 0x3FU));
}
inline void korUtf8Encode3(char32_t character, char* out) {
  out[0] = static_cast<char>(0xE0U | (character >> 12U));
  out[1] = static_cast<char>(0x80U | ((character >> 6U) & 0x3FU));
  out[2] = static_cast<char>(0x80U | (character & 0x3FU));
}
inline void korUtf8Encode4(char32_t character, char* out) {
  out[0] = static_cast<char>(0xF0U | (character >> 18U));
  out[1] = static_cast<char>(0x80U | ((character >> 12U) & 0x3FU));
  out[2] = static_cast<char>(0x80U | ((character >> 6U) & 0x3FU));
  out[3] = static_cast<char>(0x80U | (character & 0x3FU));
}

/// Writes `character` to `out`, which has room for four bytes. Returns its
/// bytes, or 0 when it is no character.
inline std::size_t korUtf8Encode(char32_t character, char* out) {
  if (character < 0x80U) {
    out[0] = static_cast<char>(character);
    return 1;
  }
  if (character < 0x800U) return korUtf8Encode2(character, out), 2;
  if (!korIsCharacter(character)) return 0;
  if (character < 0x10000U) return korUtf8Encode3(character, out), 3;
  return korUtf8Encode4(character, out), 4;
}

/// Number of ASCII characters at the start of a text.
std::size_t korAsciiRun(const char* text, std::size_t bytes);

/// Converts the ASCII characters at the start of a text, which are one unit in
/// both forms, and returns how many. A null `dest` only counts; otherwise it has
/// room for all of them.
std::size_t korAsciiWiden(wchar_t* dest, const char* text, std::size_t bytes);
std::size_t korAsciiNarrow(char* dest, const wchar_t* text, std::size_t units);

/// Converts from the start of a text as many characters as are valid; `dest` as
/// there.
korProgress korUtf8Widen(wchar_t* dest, const char* text, std::size_t bytes);
korProgress korUtf8Narrow(char* dest, const wchar_t* text, std::size_t units);

/// What a whole text converts to if it is valid; for an invalid one at least
/// what its valid characters before the first fault convert to.
std::size_t korUtf8WideLength(const char* text, std::size_t bytes);
std::size_t korUtf8NarrowLength(const wchar_t* text, std::size_t units);

#endif  // VELSTD_KORBASE_KORUTF8_H
