#include "korcharset.h"

#include <langinfo.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <cuchar>
#include <cwchar>

korCharset::korCharset() : asciiSafe(false), maxBytes(MB_CUR_MAX) {
  const char* name = nl_langinfo(CODESET);
  asciiSafe = std::strcmp(name, "UTF-8") == 0 || std::strcmp(name, "ANSI_X3.4-1968") == 0;
}

std::size_t korCharset::Decode(const char* text, std::size_t bytes, char32_t* character) const {
  const auto first = static_cast<unsigned char>(*text);
  if (first == 0 || (asciiSafe && first < 0x80)) {
    *character = first;
    return 1;
  }
  std::mbstate_t state{};
  const std::size_t length = std::mbrtoc32(character, text, bytes, &state);
  // The error answers are larger than any length. The C library also decodes
  // four-byte sequences beyond the end of Unicode, which are no characters.
  return length <= bytes && korIsCharacter(*character) ? length : 0;
}

std::size_t korCharset::Encode(char32_t character, char (&out)[MB_LEN_MAX]) const {
  if (asciiSafe && character < 0x80) {
    out[0] = static_cast<char>(character);
    return 1;
  }
  if (!korIsCharacter(character)) return 0;
  std::mbstate_t state{};
  const std::size_t length = std::c32rtomb(out, character, &state);
  return length <= MB_LEN_MAX ? length : 0;
}

std::size_t korAsciiRun(const char* text, std::size_t bytes) {
  constexpr std::uint64_t kHighBits = 0x8080808080808080U;
  std::size_t at = 0;
  while (bytes - at >= sizeof(std::uint64_t)) {
    std::uint64_t block;
    std::memcpy(&block, text + at, sizeof(block));
    if ((block & kHighBits) != 0) break;
    at += sizeof(block);
  }
  while (at < bytes && static_cast<unsigned char>(text[at]) < 0x80) ++at;
  return at;
}
