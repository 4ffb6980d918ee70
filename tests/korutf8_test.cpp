// UTF-8, which the toolkit codes by hand, against the C library: every beginning
// of a text, every character, and texts as long as the blocks that go at once.
#include <gtest/gtest.h>

#include <climits>
#include <cstdint>
#include <cstring>
#include <cuchar>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "kormbcs.h"
#include "veltest_locale.h"
#include "xstring.h"

namespace {

constexpr std::size_t kFailure = static_cast<std::size_t>(-1);
constexpr bool kPairs = sizeof(wchar_t) == 2;
using Units = std::vector<wchar_t>;

bool IsCharacter(char32_t c) { return c < 0xD800 || (c > 0xDFFF && c <= 0x10FFFF); }

void Add(Units* units, char32_t character) {
  if (kPairs && character > 0xFFFF) {
    units->push_back(static_cast<wchar_t>(0xD800 + ((character - 0x10000) >> 10U)));
    units->push_back(static_cast<wchar_t>(0xDC00 + ((character - 0x10000) & 0x3FFU)));
  } else {
    units->push_back(static_cast<wchar_t>(character));
  }
}

// Length of the character at `text` as the C library reads it, 0 if it is none.
std::size_t Read(const char* text, std::size_t bytes, char32_t* character) {
  std::mbstate_t state{};
  std::size_t length = std::mbrtoc32(character, text, bytes, &state);
  if (length == 0) length = 1;  // the zero character
  return length <= bytes && IsCharacter(*character) ? length : 0;
}

// What a text must become, with '?' for each invalid byte; how many characters
// those are, and whether all were valid.
struct Expected {
  Units units;
  std::size_t characters = 0;
  bool isValid = true;
};
Expected Widened(const std::string& text) {
  Expected expected;
  for (std::size_t at = 0; at < text.size(); ++expected.characters) {
    char32_t character;
    std::size_t length = Read(text.data() + at, text.size() - at, &character);
    if (length == 0) {
      expected.isValid = false;
      character = U'?';
      length = 1;
    }
    Add(&expected.units, character);
    at += length;
  }
  return expected;
}

std::string Hex(const std::string& text) {
  std::string shown;
  for (const char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    shown += "0123456789abcdef"[byte >> 4U];
    shown += "0123456789abcdef"[byte & 15U];
  }
  return shown;
}

// The text in every way it can be read, into blocks without a unit to spare.
// True when all agree; a test of millions of texts has no time for more.
bool Agrees(const std::string& text) {
  const Expected expected = Widened(text);
  const std::size_t size = expected.units.size();
  const std::unique_ptr<char[]> source(new char[text.size() + 1]);
  std::memcpy(source.get(), text.c_str(), text.size() + 1);
  if (korMbToWcLossy(nullptr, source.get(), text.size()) != size) return false;
  const std::unique_ptr<wchar_t[]> dest(new wchar_t[size + 1]);
  if (korMbToWcLossy(dest.get(), source.get(), text.size()) != size) return false;
  if (size > 0 && std::memcmp(dest.get(), expected.units.data(), size * sizeof(wchar_t)) != 0) {
    return false;
  }
  if (korMbCharCount(source.get(), text.size()) != expected.characters) return false;
  if (text.empty() || std::memchr(text.data(), 0, text.size())) return true;  // no terminated text
  const std::size_t strict = expected.isValid ? size : kFailure;
  if (kor_mbstowcs(nullptr, source.get(), 0) != strict) return false;
  if (kor_mbstowcs(dest.get(), source.get(), size + 1) != strict) return false;
  if (strict != kFailure && dest[size] != L'\0') return false;
  const xstring string(source.get());
  const wchar_t* wide = string;
  return WideLength(wide) == size &&
         std::memcmp(wide, expected.units.data(), size * sizeof(wchar_t)) == 0;
}

// What may follow: nothing, so that the text ends early; bytes of each kind,
// enough of them that the beginning is read with a look at all that is near.
const std::vector<std::string>& Rests() {
  static const std::vector<std::string> rests = {"", "\x80", "abcdefghij",
                                                 "\xc3\xa9\xc3\xa9\xc3\xa9\xc3\xa9",
                                                 "\xe2\x82\xac\xe2\x82\xac\xe2\x82\xac"};
  return rests;
}

std::string Bytes(std::initializer_list<unsigned> values) {
  std::string bytes;
  for (const unsigned value : values) bytes += static_cast<char>(value);
  return bytes;
}

// Bytes on both sides of every border that a rule of UTF-8 draws.
const std::vector<unsigned>& Borders() {
  static const std::vector<unsigned> borders = {0x00, 0x41, 0x7F, 0x80, 0x8F, 0x90, 0x9F, 0xA0,
                                                0xBF, 0xC0, 0xC2, 0xE0, 0xED, 0xF4, 0xFF};
  return borders;
}

TEST(KorUtf8, EveryBeginningIsReadAsTheCLibraryReadsIt) {
  Utf8Locale utf8;
  VEL_NEED_LOCALE(utf8);
  for (unsigned first = 0; first < 256; ++first) {
    for (unsigned second = 0; second < 256; ++second) {
      for (const std::string& rest : Rests()) {
        const std::string two = Bytes({first, second}) + rest;
        ASSERT_TRUE(Agrees(two)) << Hex(two);
      }
      if (first < 0xDE || (second + 1) % 0x40 > 2) continue;
      for (const unsigned third : Borders()) {
        const std::string three = Bytes({first, second, third});
        for (const std::string& rest : Rests()) {
          ASSERT_TRUE(Agrees(three + rest)) << Hex(three + rest);
        }
      }
    }
  }
}

TEST(KorUtf8, EveryBorderOfLongerCharactersIsThatOfTheCLibrary) {
  Utf8Locale utf8;
  VEL_NEED_LOCALE(utf8);
  for (unsigned first = 0xE0; first < 256; ++first) {
    for (const unsigned second : Borders()) {
      for (const unsigned third : Borders()) {
        for (const unsigned fourth : Borders()) {
          const std::string text = Bytes({first, second, third, fourth});
          ASSERT_TRUE(Agrees(text)) << Hex(text);
          ASSERT_TRUE(Agrees(text + "\xc3\xa9 abcdef")) << Hex(text);
        }
      }
    }
  }
}

// All characters at once, in their order: neighbours of one length, in rows that
// begin at every place of a block.
TEST(KorUtf8, EveryCharacterGoesBothWays) {
  Utf8Locale utf8;
  VEL_NEED_LOCALE(utf8);
  std::string narrow;
  Units wide;
  for (char32_t c = 0; c <= 0x10FFFF; ++c) {
    if (!IsCharacter(c)) continue;
    char out[MB_LEN_MAX];
    std::mbstate_t state{};
    const std::size_t length = std::c32rtomb(out, c, &state);
    ASSERT_LE(length, 4U) << static_cast<unsigned long>(c);
    narrow.append(out, length);
    Add(&wide, c);
    ASSERT_EQ(korWcToMbLossy(nullptr, wide.data() + wide.size() - (kPairs && c > 0xFFFF ? 2 : 1),
                             kPairs && c > 0xFFFF ? 2 : 1),
              length);
  }
  std::vector<wchar_t> widened(korMbToWcLossy(nullptr, narrow.data(), narrow.size()));
  ASSERT_EQ(widened.size(), wide.size());
  korMbToWcLossy(widened.data(), narrow.data(), narrow.size());
  EXPECT_TRUE(widened == wide);
  std::string narrowed(korWcToMbLossy(nullptr, wide.data(), wide.size()), '#');
  ASSERT_EQ(narrowed.size(), narrow.size());
  korWcToMbLossy(&narrowed[0], wide.data(), wide.size());
  EXPECT_TRUE(narrowed == narrow);
}

TEST(KorUtf8, WhatIsNoCharacterHasNoNarrowForm) {
  Utf8Locale utf8;
  VEL_NEED_LOCALE(utf8);
  std::vector<std::uint32_t> values;
  for (std::uint32_t unit = 0xD800; unit < 0xE000; ++unit) values.push_back(unit);
  if (!kPairs) {
    for (const std::uint32_t unit : {0x110000U, 0x7FFFFFFFU, 0x80000000U, 0x80000041U, 0xFFFFFFFFU})
      values.push_back(unit);
  }
  for (const std::uint32_t value : values) {
    const Units text = {L'a', static_cast<wchar_t>(value), L'b', L'\0'};
    ASSERT_EQ(kor_wcstombs(nullptr, text.data(), 0), kFailure) << value;
    ASSERT_TRUE(xstring(text.data()) == "a?b") << value;
  }
}

// Texts about as long as the blocks, with one piece of every kind at every place.
TEST(KorUtf8, BlocksAreLeftWhereAnotherCharacterStands) {
  Utf8Locale utf8;
  VEL_NEED_LOCALE(utf8);
  for (const char* piece : {"", "\xc3\xa9", "\xe2\x82\xac", "\xf0\x9f\x98\x80", "\xff", "\xc3"}) {
    for (const std::size_t length : {7U, 8U, 9U, 15U, 16U, 17U, 63U, 64U, 65U, 127U, 128U, 200U}) {
      for (std::size_t at = 0; at <= length; ++at) {
        std::string text(length, 'x');
        text.insert(at, piece);
        ASSERT_TRUE(Agrees(text)) << Hex(text);
        const Expected expected = Widened(text);
        if (!expected.isValid) continue;
        Units wide = expected.units;
        wide.push_back(L'\0');
        ASSERT_EQ(kor_wcstombs(nullptr, wide.data(), 0), text.size());
        ASSERT_TRUE(xstring(wide.data()) == text.c_str()) << Hex(text);
      }
    }
  }
}

// Whatever room there is, it is used as far as whole characters fit.
TEST(KorUtf8, RoomIsKept) {
  Utf8Locale utf8;
  VEL_NEED_LOCALE(utf8);
  std::string text;
  for (int i = 0; i < 12; ++i) text += "word \xc3\xa9\xc3\xa9 \xe2\x82\xac \xf0\x9f\x98\x80 ";
  Units wide = Widened(text).units;
  const std::size_t size = wide.size();
  wide.push_back(L'\0');
  for (std::size_t room = 0; room <= text.size() + 1; ++room) {
    const std::unique_ptr<char[]> narrow(new char[room]);
    const std::size_t bytes = kor_wcstombs(narrow.get(), wide.data(), room);
    ASSERT_LE(bytes, room);
    ASSERT_EQ(text.compare(0, bytes, narrow.get(), bytes), 0) << room;
    // What is left over is less than the next character needs.
    if (bytes < text.size()) {
      char32_t next;
      ASSERT_GT(Read(text.data() + bytes, text.size() - bytes, &next), room - bytes) << room;
    }
    if (room > size + 1) continue;
    const std::unique_ptr<wchar_t[]> widened(new wchar_t[room]);
    const std::size_t units = kor_mbstowcs(widened.get(), text.c_str(), room);
    ASSERT_TRUE(units == (room < size ? room : size) || (kPairs && units + 1 == room)) << room;
    ASSERT_EQ(std::memcmp(widened.get(), wide.data(), units * sizeof(wchar_t)), 0) << room;
  }
}

TEST(KorUtf8, RandomTextsAgree) {
  Utf8Locale utf8;
  VEL_NEED_LOCALE(utf8);
  const std::vector<std::string> pieces = {"a",
                                           "words and more words, ",
                                           "\xc3\xa9",
                                           "\xd0\xaf\xd0\xb6\xd0\xb8\xd0\xba",
                                           "\xe2\x82\xac",
                                           "\xe6\x97\xa5\xe6\x9c\xac",
                                           "\xef\xbc\xa1",
                                           "\xf0\x9f\x98\x80",
                                           "\xc3",
                                           "\x80",
                                           "\xe2\x82",
                                           "\xf0\x9f",
                                           "\xff",
                                           "\xed\xa0\x80",
                                           "\xf4\x90\x80\x80",
                                           "\xc0\x80",
                                           "\xe0\x80\x80"};
  std::mt19937 random(5);
  for (int round = 0; round < 3000; ++round) {
    std::string text;
    const std::size_t kinds = round % 3 == 0 ? pieces.size() : 8;
    for (std::size_t left = random() % 40; left > 0; --left) text += pieces[random() % kinds];
    ASSERT_TRUE(Agrees(text)) << Hex(text);
  }
}

}  // namespace
