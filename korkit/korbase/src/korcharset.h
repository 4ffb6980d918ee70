// korcharset.h - characters in the current locale's encoding, and in wide units.
//
// Private to the toolkit. An object is made per call of a public function and
// holds what was asked of the locale for that call, nothing longer.
#ifndef VELSTD_KORBASE_KORCHARSET_H
#define VELSTD_KORBASE_KORCHARSET_H

#include <climits>
#include <cstddef>

#include "korutf8.h"

/// Stands for a unit that is no character; it encodes to nothing.
constexpr char32_t kKorNoCharacter = 0xFFFFFFFFU;

/// Whether characters beyond the first plane are pairs of wide units.
constexpr bool korHasPairs = sizeof(wchar_t) == 2;

/// A unit as an unsigned number; the platform's wchar_t may be signed.
constexpr char32_t korUnit(wchar_t unit) { return static_cast<char32_t>(unit); }

/// Reads the character at `text` with `units` (at least 1) units left. Returns
/// its units; what is no character is kKorNoCharacter of one unit.
inline std::size_t korDecodeWide(const wchar_t* text, std::size_t units, char32_t* character) {
  const char32_t first = korUnit(text[0]);
  *character = korIsCharacter(first) ? first : kKorNoCharacter;
  if (!korHasPairs || first < 0xD800U || first > 0xDBFFU || units < 2) return 1;
  const char32_t second = korUnit(text[1]);
  if (second < 0xDC00U || second > 0xDFFFU) return 1;
  *character = 0x10000U + ((first - 0xD800U) << 10U) + (second - 0xDC00U);
  return 2;
}

/// Units of `character`, which is one.
constexpr std::size_t korWideUnits(char32_t character) {
  return korHasPairs && character > 0xFFFFU ? 2 : 1;
}

inline void korEncodeWide(char32_t character, wchar_t* out) {
  if (korWideUnits(character) == 1) {
    out[0] = static_cast<wchar_t>(character);
    return;
  }
  out[0] = static_cast<wchar_t>(0xD800U + ((character - 0x10000U) >> 10U));
  out[1] = static_cast<wchar_t>(0xDC00U + ((character - 0x10000U) & 0x3FFU));
}

class korCharset {
 public:
  korCharset();

  /// True when every byte below 128 is the ASCII character, on its own: the
  /// encoding is UTF-8 or ASCII itself.
  bool IsAsciiSafe() const { return kind != Kind::kOther; }

  /// True when the encoding is UTF-8.
  bool IsUtf8() const { return kind == Kind::kUtf8; }

  /// Bytes of the longest character.
  std::size_t GetMaxBytes() const { return maxBytes; }

  /// Reads the character at `text` with `bytes` (at least 1) bytes left.
  /// Returns its bytes, or 0 when there is no valid character.
  std::size_t Decode(const char* text, std::size_t bytes, char32_t* character) const {
    return IsUtf8() ? korUtf8Decode(text, bytes, character) : DecodeOther(text, bytes, character);
  }

  /// Converts from the start of a text what can be converted in runs: in UTF-8
  /// all valid characters up to the first that is none, in ASCII likewise, in
  /// other encodings nothing. What follows goes a character at a time. A null
  /// `dest` only counts; otherwise it has room for all of it.
  korProgress Widen(wchar_t* dest, const char* text, std::size_t bytes) const {
    if (kind == Kind::kUtf8) return korUtf8Widen(dest, text, bytes);
    const std::size_t run = kind == Kind::kAscii ? korAsciiWiden(dest, text, bytes) : 0;
    return {run, run};
  }
  korProgress Narrow(char* dest, const wchar_t* text, std::size_t units) const {
    if (kind == Kind::kUtf8) return korUtf8Narrow(dest, text, units);
    const std::size_t run = kind == Kind::kAscii ? korAsciiNarrow(dest, text, units) : 0;
    return {run, run};
  }

  /// Bytes of the character at `text`; an invalid byte is one of one byte.
  std::size_t GetLength(const char* text, std::size_t bytes) const {
    char32_t ignored;
    const std::size_t length = Decode(text, bytes, &ignored);
    return length == 0 ? 1 : length;
  }

  /// Writes `character` to `out`. Returns its bytes, or 0 when the encoding
  /// lacks it.
  std::size_t Encode(char32_t character, char (&out)[MB_LEN_MAX]) const {
    return IsUtf8() ? korUtf8Encode(character, out) : EncodeOther(character, out);
  }

 private:
  enum class Kind { kUtf8, kAscii, kOther };

  std::size_t DecodeOther(const char* text, std::size_t bytes, char32_t* character) const;
  std::size_t EncodeOther(char32_t character, char (&out)[MB_LEN_MAX]) const;

  Kind kind;
  std::size_t maxBytes;
};

#endif  // VELSTD_KORBASE_KORCHARSET_H
