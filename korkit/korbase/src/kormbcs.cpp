#include "kormbcs.h"

#include <cstdio>
#include <cstring>

#include "korcharset.h"
#include "korstring.h"

namespace {

constexpr std::size_t kFailure = static_cast<std::size_t>(-1);

std::size_t AtMost(std::size_t length, std::size_t limit) {
  return length < limit ? length : limit;
}

// The bytes that `source` stands for; "uninit" has an end of its own.
std::size_t UsableBytes(const char* text, const char* source, std::size_t bytes) {
  if (!text) return 0;
  return text == source ? bytes : AtMost(bytes, std::strlen(text));
}

}  // namespace

std::size_t kor_mbstowcs(wchar_t* dest, const char* source, std::size_t n) {
  const korCharset charset;
  const char* text = korText(source);
  const std::size_t bytes = Strlen(text);
  const std::size_t room = dest ? n : kFailure;
  std::size_t at = 0;
  std::size_t units = 0;
  while (units < room) {
    // As many units as there are bytes, at most: no run leaves the room.
    const korProgress run =
        charset.Widen(dest ? dest + units : nullptr, text + at, AtMost(bytes - at, room - units));
    at += run.taken;
    units += run.given;
    if (units == room) break;
    if (at == bytes) {
      if (dest) dest[units] = L'\0';
      break;
    }
    char32_t character;
    const std::size_t length = charset.Decode(text + at, bytes - at, &character);
    if (length == 0) return kFailure;
    const std::size_t wide = korWideUnits(character);
    if (wide > room - units) break;
    if (dest) korEncodeWide(character, dest + units);
    at += length;
    units += wide;
  }
  return units;
}

std::size_t kor_wcstombs(char* dest, const wchar_t* source, std::size_t n) {
  const korCharset charset;
  const wchar_t* text = korText(source);
  const std::size_t units = Strlen(text);
  const std::size_t room = dest ? n : kFailure;
  std::size_t at = 0;
  std::size_t bytes = 0;
  while (bytes < room) {
    // Four bytes for a unit, at most: no run leaves the room.
    const korProgress run = charset.Narrow(dest ? dest + bytes : nullptr, text + at,
                                           AtMost(units - at, (room - bytes) / 4));
    at += run.taken;
    bytes += run.given;
    if (bytes == room) break;
    if (at == units) {
      if (dest) dest[bytes] = '\0';
      break;
    }
    char32_t character;
    const std::size_t wide = korDecodeWide(text + at, units - at, &character);
    char out[MB_LEN_MAX];
    const std::size_t length = charset.Encode(character, out);
    if (length == 0) return kFailure;
    if (length > room - bytes) break;
    if (dest) std::memcpy(dest + bytes, out, length);
    at += wide;
    bytes += length;
  }
  return bytes;
}

std::size_t korMbToWcLossy(wchar_t* dest, const char* source, std::size_t bytes) {
  const korCharset charset;
  const char* text = korText(source);
  const std::size_t end = UsableBytes(text, source, bytes);
  std::size_t at = 0;
  std::size_t units = 0;
  while (at < end) {
    const korProgress run = charset.Widen(dest ? dest + units : nullptr, text + at, end - at);
    at += run.taken;
    units += run.given;
    if (at == end) break;
    char32_t character;
    std::size_t length = charset.Decode(text + at, end - at, &character);
    if (length == 0) {
      length = 1;
      character = U'?';
    }
    if (dest) korEncodeWide(character, dest + units);
    at += length;
    units += korWideUnits(character);
  }
  return units;
}

std::size_t korWcToMbLossy(char* dest, const wchar_t* source, std::size_t units) {
  const korCharset charset;
  const wchar_t* text = korText(source);
  if (!text) return 0;
  std::size_t at = 0;
  std::size_t bytes = 0;
  while (at < units) {
    const korProgress run = charset.Narrow(dest ? dest + bytes : nullptr, text + at, units - at);
    at += run.taken;
    bytes += run.given;
    if (at == units) break;
    char32_t character;
    at += korDecodeWide(text + at, units - at, &character);
    char out[MB_LEN_MAX];
    std::size_t length = charset.Encode(character, out);
    if (length == 0) {
      length = 1;
      out[0] = '?';
    }
    if (dest) std::memcpy(dest + bytes, out, length);
    bytes += length;
  }
  return bytes;
}

std::size_t kor_mbsnbcnt(const char* text, int n) {
  const char* plain = korText(text);
  if (!plain || n <= 0) return 0;
  const korCharset charset;
  auto left = static_cast<std::size_t>(n);
  // No more than this can belong to the answer, so a long text costs nothing.
  const std::size_t end = ::strnlen(plain, left * charset.GetMaxBytes());
  if (charset.GetMaxBytes() == 1) return end;
  std::size_t at = 0;
  while (left > 0 && at < end) {
    if (charset.IsAsciiSafe()) {
      const std::size_t run = korAsciiRun(plain + at, AtMost(end - at, left));
      at += run;
      left -= run;
      if (left == 0 || at == end) break;
    }
    at += charset.GetLength(plain + at, end - at);
    --left;
  }
  return at;
}

std::size_t korMbCharCount(const char* text, std::size_t bytes) {
  const korCharset charset;
  const char* plain = korText(text);
  const std::size_t end = UsableBytes(plain, text, bytes);
  if (charset.GetMaxBytes() == 1) return end;
  std::size_t at = 0;
  std::size_t characters = 0;
  while (at < end) {
    if (charset.IsAsciiSafe()) {
      const std::size_t run = korAsciiRun(plain + at, end - at);
      at += run;
      characters += run;
      if (at == end) break;
    }
    at += charset.GetLength(plain + at, end - at);
    ++characters;
  }
  return characters;
}

int kor_vsprintf(char* buffer, std::size_t size, const char* format, std::va_list args) {
  const char* plain = korText(format);
  return plain ? std::vsnprintf(buffer, size, plain, args) : -1;
}
