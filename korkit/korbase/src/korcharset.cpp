#include "korcharset.h"

#include <langinfo.h>

#include <cstdlib>
#include <cstring>
#include <cuchar>
#include <cwchar>

namespace {

// In line, since it is asked for each call of most functions.
bool IsSame(const char* name, const char* other) {
  while (*name != '\0' && *name == *other) ++name, ++other;
  return *name == *other;
}

}  // namespace

korCharset::korCharset() : kind(Kind::kOther), maxBytes(1) {
  const char* name = nl_langinfo(CODESET);
  if (IsSame(name, "UTF-8")) {
    kind = Kind::kUtf8;
    maxBytes = 4;
  } else if (IsSame(name, "ANSI_X3.4-1968")) {
    kind = Kind::kAscii;
  } else {
    maxBytes = MB_CUR_MAX;
  }
}

std::size_t korCharset::DecodeOther(const char* text, std::size_t bytes,
                                    char32_t* character) const {
  const auto first = static_cast<unsigned char>(*text);
  if (first == 0 || (kind == Kind::kAscii && first < 0x80)) {
    *character = first;
    return 1;
  }
  std::mbstate_t state{};
  const std::size_t length = std::mbrtoc32(character, text, bytes, &state);
  // The error answers are larger than any length. The C library also decodes
  // four-byte sequences beyond the end of Unicode, which are no characters.
  return length <= bytes && korIsCharacter(*character) ? length : 0;
}

std::size_t korCharset::EncodeOther(char32_t character, char (&out)[MB_LEN_MAX]) const {
  if (kind == Kind::kAscii && character < 0x80) {
    out[0] = static_cast<char>(character);
    return 1;
  }
  if (!korIsCharacter(character)) return 0;
  std::mbstate_t state{};
  const std::size_t length = std::c32rtomb(out, character, &state);
  return length <= MB_LEN_MAX ? length : 0;
}
