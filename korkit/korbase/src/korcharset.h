// korcharset.h - one character at a time in the current locale's encoding.
//
// Private to the toolkit. An object is made per call of a public function and
// holds what was asked of the locale for that call, nothing longer.
#ifndef VELSTD_KORBASE_KORCHARSET_H
#define VELSTD_KORBASE_KORCHARSET_H

#include <climits>
#include <cstddef>

/// Stands for a unit that is no character; it encodes to nothing.
constexpr char32_t kKorNoCharacter = 0xFFFFFFFFU;

/// True for what Unicode can hold and an encoding may carry.
constexpr bool korIsCharacter(char32_t c) { return c < 0xD800U || (c > 0xDFFFU && c <= 0x10FFFFU); }

class korCharset {
 public:
  korCharset();

  /// True when every byte below 128 is the ASCII character, on its own: the
  /// encoding is UTF-8 or ASCII itself.
  bool IsAsciiSafe() const { return asciiSafe; }

  /// Bytes of the longest character.
  std::size_t GetMaxBytes() const { return maxBytes; }

  /// Reads the character at `text` with `bytes` (at least 1) bytes left.
  /// Returns its bytes, or 0 when there is no valid character.
  std::size_t Decode(const char* text, std::size_t bytes, char32_t* character) const;

  /// Bytes of the character at `text`; an invalid byte is one of one byte.
  std::size_t GetLength(const char* text, std::size_t bytes) const {
    char32_t ignored;
    const std::size_t length = Decode(text, bytes, &ignored);
    return length == 0 ? 1 : length;
  }

  /// Writes `character` to `out`. Returns its bytes, or 0 when the encoding
  /// lacks it.
  std::size_t Encode(char32_t character, char (&out)[MB_LEN_MAX]) const;

 private:
  bool asciiSafe;
  std::size_t maxBytes;
};

/// Number of bytes below 128 at the start of `bytes` bytes.
std::size_t korAsciiRun(const char* text, std::size_t bytes);

#endif  // VELSTD_KORBASE_KORCHARSET_H
