#include "korutf8.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <type_traits>

#include "korcharset.h"
#include "korutf8block.h"

namespace {

bool IsAscii(char unit) { return static_cast<unsigned char>(unit) < 0x80; }
bool IsAscii(wchar_t unit) { return korUnit(unit) < 0x80U; }

// The bytes at `text` as one number, the first one lowest.
std::uint64_t LoadEight(const char* text) {
  std::uint64_t word;
  std::memcpy(&word, text, sizeof(word));
  return __BYTE_ORDER__ == __ORDER_BIG_ENDIAN__ ? __builtin_bswap64(word) : word;
}

template <class Ch>
std::size_t AsciiRun(const Ch* text, std::size_t length) {
  constexpr std::size_t kUnits = kKorAsciiRun;
  std::size_t at = 0;
  while (length - at >= kUnits && korIsAsciiBlock(text + at)) at += kUnits;
  if constexpr (sizeof(Ch) == 1) {
    constexpr std::uint64_t kBeyond = 0x8080808080808080U;
    while (length - at >= 8 && (LoadEight(text + at) & kBeyond) == 0) at += 8;
  }
  while (at < length && IsAscii(text[at])) ++at;
  return at;
}

// ASCII characters are one unit in both forms. Block after block, since what is
// written may be too large for the nearest cache: the tests cost nothing then.
template <class To, class From>
std::size_t ConvertAscii(To* dest, const From* text, std::size_t length) {
  if (!dest) return AsciiRun(text, length);
  constexpr std::size_t kUnits = kKorAsciiBlock;
  std::size_t at = 0;
  while (length - at >= kUnits && korConvertAsciiBlock(dest + at, text + at)) at += kUnits;
  // The last block may begin among units that are done; they become the same again.
  if (at > 0 && length - at < kUnits &&
      korConvertAsciiBlock(dest + (length - kUnits), text + (length - kUnits))) {
    return length;
  }
  for (; at < length && IsAscii(text[at]); ++at) dest[at] = static_cast<To>(text[at]);
  return at;
}

// The same within a text of another script, where a word or two are too short for
// a block. Not in line, like the function below: the loops that call them would
// have fewer registers.
template <class To, class From>
[[gnu::noinline]] std::size_t ConvertWords(To* dest, const From* text, std::size_t length) {
  if (!dest) return AsciiRun(text, length);
  const std::size_t few = std::min<std::size_t>(length, 16);
  std::size_t at = 0;
  for (; at < few && IsAscii(text[at]); ++at) dest[at] = static_cast<To>(text[at]);
  return at < few ? at : at + ConvertAscii(dest + at, text + at, length - at);
}

// Reads four characters of two bytes each, if those are what `word` holds, into
// its four quarters.
bool DecodeFour(std::uint64_t* word) {
  if ((*word & 0xC0E0C0E0C0E0C0E0U) != 0x80C080C080C080C0U) return false;
  *word = ((*word & 0x001F001F001F001FU) << 6U) | ((*word >> 8U) & 0x003F003F003F003FU);
  // Each of them at least 0x80: below, there is a shorter form. What is added
  // carries those that are into the highest bit.
  return ((*word + 0x7F807F807F807F80U) & 0x8000800080008000U) == 0x8000800080008000U;
}

// Reads two characters of three bytes each, if `word` begins with them and they
// are below the surrogates, as nearly all are.
bool DecodeTwo(std::uint64_t word, char32_t* first, char32_t* second) {
  if ((word & 0xC0C0F0C0C0F0U) != 0x8080E08080E0U) return false;
  const auto read = [](std::uint64_t w) {
    return static_cast<char32_t>(((w & 0x0FU) << 12U) | ((w >> 2U) & 0xFC0U) |
                                 ((w >> 16U) & 0x3FU));
  };
  *first = read(word);
  *second = read(word >> 24U);
  return korHasThreeBytes(*first) && korHasThreeBytes(*second);
}

// Neighbours tend to be of one length, which the processor predicts. The lengths
// are told apart again for each character where they are found out by its first
// byte; where units are compared, loops for each length are the faster ones.

template <bool kWrite>
korProgress Widen(wchar_t* const dest, const char* const text, std::size_t bytes) {
  const char* at = text;
  const char* const end = text + bytes;
  wchar_t* out = dest;
  std::size_t counted = 0;
  // A character of the first plane, which is one unit.
  const auto put = [&](char32_t character) {
    if (kWrite) {
      *out++ = static_cast<wchar_t>(character);
    } else {
      ++counted;
    }
  };
  while (at < end) {
    const auto left = static_cast<std::size_t>(end - at);
    const auto first = static_cast<unsigned char>(*at);
    char32_t character;
    if (first < 0x80) {
      put(first);
      ++at;
      if (left < 16 || !IsAscii(*at)) continue;
      const std::size_t run = ConvertWords(kWrite ? out : nullptr, at, left - 1);
      at += run;
      if (kWrite) out += run;
      counted += run;
    } else if (first < 0xE0) {
      if (left >= 8) {
        std::uint64_t word = LoadEight(at);
        if (DecodeFour(&word)) {
          for (std::size_t i = 0; i < 4; ++i) put(static_cast<char16_t>(word >> (16U * i)));
          at += 8;
          continue;
        }
      }
      if (left < 2 || !korUtf8Decode2(at, &character)) break;
      put(character);
      at += 2;
    } else if (first < 0xF0) {
      char32_t second;
      if (left >= 8 && DecodeTwo(LoadEight(at), &character, &second)) {
        put(character);
        put(second);
        at += 6;
        continue;
      }
      if (left < 3 || !korUtf8Decode3(at, &character)) break;
      put(character);
      at += 3;
    } else {
      if (left < 4 || !korUtf8Decode4(at, &character)) break;
      if (kWrite) {
        korEncodeWide(character, out);
        out += korWideUnits(character);
      }
      counted += korWideUnits(character);
      at += 4;
    }
  }
  return {static_cast<std::size_t>(at - text),
          kWrite ? static_cast<std::size_t>(out - dest) : counted};
}

// Converts blocks from the start of a text, as long as another one that can be
// written follows: it overwrites what the one before leaves behind its end, so that
// the bytes behind a text, or behind the last character before a fault, stay what
// they were.
[[gnu::noinline]] korProgress NarrowBlocks(char* dest, const wchar_t* text, std::size_t units) {
  korProgress done = {0, 0};
#ifdef __SSE2__
  constexpr std::size_t kUnits = korUtf8Block::kUnits;
  korUtf8Block block;
  if (units < 2 * kUnits || !block.Load(text)) return done;
  while (units - done.taken >= 2 * kUnits) {
    korUtf8Block next;
    if (!next.Load(text + done.taken + kUnits)) break;
    done.given += block.Write(dest + done.given);
    done.taken += kUnits;
    block = next;
  }
#else
  static_cast<void>(dest);
  static_cast<void>(text);
  static_cast<void>(units);
#endif
  return done;
}

template <bool kWrite>
korProgress Narrow(char* const dest, const wchar_t* const text, std::size_t length) {
  const wchar_t* at = text;
  const wchar_t* const end = text + length;
  std::size_t bytes = 0;
  // Where blocks are tried again: later and later where none can be written.
  const wchar_t* nextBlocks = text;
  std::size_t pause = 16;
  for (;;) {
    if (kWrite && at >= nextBlocks) {
      const korProgress done = NarrowBlocks(dest + bytes, at, static_cast<std::size_t>(end - at));
      at += done.taken;
      bytes += done.given;
      pause = done.taken > 0 ? 16 : 2 * pause;
      nextBlocks = at + std::min(static_cast<std::size_t>(end - at), pause);
    }
    for (; at < end && korHasTwoBytes(korUnit(*at)); ++at) {
      if (kWrite) korUtf8Encode2(korUnit(*at), dest + bytes);
      bytes += 2;
    }
    for (; at < end && korHasThreeBytes(korUnit(*at)); ++at) {
      if (kWrite) korUtf8Encode3(korUnit(*at), dest + bytes);
      bytes += 3;
    }
    if (at == end) break;
    if (IsAscii(*at)) {
      const std::size_t run =
          ConvertWords(kWrite ? dest + bytes : nullptr, at, static_cast<std::size_t>(end - at));
      at += run;
      bytes += run;
      continue;
    }
    do {
      char32_t character;
      char out[4];
      const std::size_t units = korDecodeWide(at, static_cast<std::size_t>(end - at), &character);
      const std::size_t more = korUtf8Encode(character, kWrite ? dest + bytes : out);
      if (more == 0) return {static_cast<std::size_t>(at - text), bytes};
      at += units;
      bytes += more;
    } while (at < end && korUnit(*at) >= 0xD800U);
  }
  return {static_cast<std::size_t>(at - text), bytes};
}

}  // namespace

std::size_t korAsciiRun(const char* text, std::size_t bytes) { return AsciiRun(text, bytes); }

std::size_t korAsciiWiden(wchar_t* dest, const char* text, std::size_t bytes) {
  return ConvertAscii(dest, text, bytes);
}

std::size_t korAsciiNarrow(char* dest, const wchar_t* text, std::size_t units) {
  return ConvertAscii(dest, text, units);
}

korProgress korUtf8Widen(wchar_t* dest, const char* text, std::size_t bytes) {
  return dest ? Widen<true>(dest, text, bytes) : Widen<false>(dest, text, bytes);
}

korProgress korUtf8Narrow(char* dest, const wchar_t* text, std::size_t units) {
  return dest ? Narrow<true>(dest, text, units) : Narrow<false>(dest, text, units);
}

std::size_t korUtf8WideLength(const char* text, std::size_t bytes) {
  // Every character has one byte that does not continue another, and one of four
  // bytes is a pair where units have 16 bits. Counted in the bytes of a word, as
  // long as none of their sums can overflow.
  constexpr std::uint64_t kOnes = 0x0101010101010101U;
  constexpr std::size_t kMostWords = 255 / (korHasPairs ? 2 : 1);
  std::size_t units = 0;
  std::size_t at = 0;
  while (bytes - at >= sizeof(std::uint64_t)) {
    const std::size_t words = std::min((bytes - at) / sizeof(std::uint64_t), kMostWords);
    std::uint64_t sums = 0;
    for (std::size_t i = 0; i < words; ++i, at += sizeof(std::uint64_t)) {
      std::uint64_t word;
      std::memcpy(&word, text + at, sizeof(word));
      sums += (~(word >> 7U) | (word >> 6U)) & kOnes;
      if (korHasPairs) sums += (word >> 7U) & (word >> 6U) & (word >> 5U) & (word >> 4U) & kOnes;
    }
    // The sum of eight bytes of at most 255 needs 16 bits.
    constexpr std::uint64_t kEven = 0x00FF00FF00FF00FFU;
    const std::uint64_t pairs = (sums & kEven) + ((sums >> 8U) & kEven);
    const std::uint64_t fours = pairs + (pairs >> 32U);
    units += (fours + (fours >> 16U)) & 0xFFFFU;
  }
  for (; at < bytes; ++at) {
    const auto byte = static_cast<unsigned char>(text[at]);
    units += (byte & 0xC0U) != 0x80U;
    if (korHasPairs) units += byte >= 0xF0U;
  }
  return units;
}

std::size_t korUtf8NarrowLength(const wchar_t* text, std::size_t units) {
  std::size_t bytes = units;
  for (std::size_t at = AsciiRun(text, units); at < units;) {
    // Sums that fit into 32 bits, the width of the lanes that compare units.
    const std::size_t end = at + std::min(units - at, std::size_t{1} << 16U);
    std::uint32_t more = 0;
    for (; at < end; ++at) {
      // What a signed comparison takes for small is no character.
      const auto unit = static_cast<std::int32_t>(korUnit(text[at]));
      more += unit >= 0x80;
      more += unit >= 0x800;
      // Half of a pair is two of four bytes.
      more += korHasPairs ? 0U - ((unit & 0xF800) == 0xD800) : unit >= 0x10000;
    }
    bytes += more;
  }
  return bytes;
}
