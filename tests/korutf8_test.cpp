// UTF-8, which the toolkit codes by hand, against the C library: every beginning
// of a text, every character, and texts as long as the blocks that go at once.
#include <gtest/gtest.h>

#include <algorithm>
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

// The narrow form as the C library writes it, one character at a time, with '?' for
// each unit that is none; whether all were, and how far they were.
struct ExpectedBytes {
  std::string bytes;
  std::size_t validBytes = 0;
  bool isValid = true;
};
ExpectedBytes Narrowed(const wchar_t* text, std::size_t units) {
  ExpectedBytes expected;
  for (std::size_t at = 0; at < units; ++at) {
    auto character = static_cast<char32_t>(text[at]);
    if (kPairs && character >= 0xD800 && character < 0xDC00 && at + 1 < units) {
      const auto second = static_cast<char32_t>(text[at + 1]);
      if (second >= 0xDC00 && second < 0xE000) {
        character = 0x10000 + ((character - 0xD800) << 10U) + (second - 0xDC00);
        ++at;
      }
    }
    char out[MB_LEN_MAX];
    std::mbstate_t state{};
    if (IsCharacter(character)) {
      expected.bytes.append(out, std::c32rtomb(out, character, &state));
      if (expected.isValid) expected.validBytes = expected.bytes.size();
    } else {
      expected.bytes += '?';
      expected.isValid = false;
    }
  }
  return expected;
}

// A wide text at `offset` units from the beginning of a block that ends with it.
class Placed {
 public:
  Placed(const Units& text, std::size_t offset)
      : block(new wchar_t[offset + text.size()]), start(block.get() + offset) {
    std::copy(text.begin(), text.end(), start);
  }
  const wchar_t* Get() const { return start; }

 private:
  std::unique_ptr<wchar_t[]> block;
  wchar_t* start;
};

// Both narrow forms: the lossy one in a block without a byte to spare, and the one
// of a text with a terminator, behind whose end, or behind the last valid character
// before a fault, every byte stays what it was.
bool NarrowsRight(const Units& text, std::size_t offset) {
  const ExpectedBytes expected = Narrowed(text.data(), text.size());
  const std::size_t size = expected.bytes.size();
  const Placed source(text, offset);
  const std::unique_ptr<char[]> exact(new char[offset + size]);
  char* const lossy = exact.get() + offset;
  if (korWcToMbLossy(nullptr, source.Get(), text.size()) != size) return false;
  if (korWcToMbLossy(lossy, source.Get(), text.size()) != size) return false;
  if (std::memcmp(lossy, expected.bytes.data(), size) != 0) return false;
  if (std::find(text.begin(), text.end(), L'\0') != text.end()) return true;
  Units terminated = text;
  terminated.push_back(L'\0');
  const Placed whole(terminated, offset);
  // As much room as makes one run of the text.
  std::string dest(offset + 4 * text.size() + 4, '#');
  const std::size_t done = kor_wcstombs(&dest[offset], whole.Get(), dest.size() - offset);
  std::string wanted = std::string(offset, '#') + expected.bytes.substr(0, expected.validBytes);
  if (expected.isValid) wanted += '\0';
  wanted.resize(dest.size(), '#');
  return done == (expected.isValid ? size : kFailure) && dest == wanted;
}

// Every length and every place in memory, with a unit of every kind at each end of
// what a block can test wrong.
TEST(KorUtf8, EveryLengthAtEveryAddressNarrows) {
  Utf8Locale utf8;
  VEL_NEED_LOCALE(utf8);
  // One, two and three bytes, and all in turn; none repeats within a block.
  const auto unit = [](std::size_t kind, std::size_t i) {
    const std::size_t bytes = kind == 3 ? i % 3 : kind;
    return static_cast<wchar_t>(bytes == 0   ? 0x21 + i % 94
                                : bytes == 1 ? 0x80 + 37 * i % 0x780
                                             : 0x800 + 997 * i % 0xD000);
  };
  for (std::size_t kind = 0; kind < 4; ++kind) {
    for (std::size_t length = 0; length <= 100; ++length) {
      Units text;
      for (std::size_t i = 0; i < length; ++i) text.push_back(unit(kind, i));
      for (std::size_t offset = 0; offset <= 16; ++offset) {
        ASSERT_TRUE(NarrowsRight(text, offset)) << kind << ' ' << length << ' ' << offset;
      }
    }
  }
}

TEST(KorUtf8, EveryLengthAtEveryAddressWidens) {
  Utf8Locale utf8;
  VEL_NEED_LOCALE(utf8);
  for (std::size_t length = 0; length <= 100; ++length) {
    std::string text;
    Units expected;
    for (std::size_t i = 0; i < length; ++i) {
      text += static_cast<char>(0x21 + i % 94);
      expected.push_back(static_cast<wchar_t>(text[i]));
    }
    for (std::size_t offset = 0; offset <= 16; ++offset) {
      const std::unique_ptr<char[]> source(new char[offset + length]);
      if (length > 0) std::memcpy(source.get() + offset, text.data(), length);
      const std::unique_ptr<wchar_t[]> dest(new wchar_t[offset + length]);
      const std::size_t units = korMbToWcLossy(dest.get() + offset, source.get() + offset, length);
      ASSERT_EQ(units, length) << offset;
      ASSERT_TRUE(std::equal(expected.begin(), expected.end(), dest.get() + offset)) << offset;
    }
  }
}

// One unit on each side of every border among others of each length: nothing that a
// block tests may overlook one of its places, or let the values of two look like one.
TEST(KorUtf8, EveryPlaceOfABlockIsTested) {
  Utf8Locale utf8;
  VEL_NEED_LOCALE(utf8);
  std::vector<std::uint32_t> values = {0x00,   0x7F,   0x80,   0xFF,   0x100,  0x7FF,
                                       0x800,  0x7FFF, 0x8000, 0x8041, 0xD7FF, 0xD800,
                                       0xDBFF, 0xDC00, 0xDFFF, 0xE000, 0xFF80, 0xFFFF};
  if (!kPairs) {
    for (const std::uint32_t value :
         {0x10000U, 0x10041U, 0x1F600U, 0x10FFFFU, 0x110000U, 0x7FFFFFFFU, 0x80000000U, 0x80000041U,
          0xFFFF0041U, 0xFFFFFFFFU})
      values.push_back(value);
  }
  for (const std::uint32_t value : values) {
    for (const std::uint32_t filler : {0x61U, 0xE9U, 0x20ACU}) {
      for (const std::size_t length : {1U, 7U, 15U, 16U, 17U, 31U, 32U, 33U, 48U, 70U}) {
        Units text(length, static_cast<wchar_t>(filler));
        for (std::size_t at = 0; at < length; ++at) {
          text[at] = static_cast<wchar_t>(value);
          ASSERT_TRUE(NarrowsRight(text, at % 5)) << value << ' ' << filler << ' ' << at;
          Units twice = text;
          twice[length - 1 - at] = static_cast<wchar_t>(0x1F600 + at);
          ASSERT_TRUE(NarrowsRight(twice, 0)) << value << ' ' << filler << ' ' << at;
          Units terminated = text;
          terminated.push_back(L'\0');
          if (value != 0) {
            const ExpectedBytes expected = Narrowed(text.data(), length);
            ASSERT_TRUE(xstring(terminated.data()) == expected.bytes.c_str())
                << value << ' ' << filler << ' ' << at;
          }
          text[at] = static_cast<wchar_t>(filler);
        }
      }
    }
  }
  // The same bytes among ASCII, in the other direction.
  for (unsigned byte = 0; byte < 256; ++byte) {
    for (const std::size_t length : {15U, 16U, 17U, 31U, 33U, 70U}) {
      for (std::size_t at = 0; at < length; ++at) {
        std::string text(length, 'a');
        text[at] = static_cast<char>(byte);
        ASSERT_TRUE(Agrees(text)) << Hex(text);
      }
    }
  }
}

// Mixtures of every kind, more of one than of the others as in the texts of a script.
TEST(KorUtf8, RandomUnitsNarrow) {
  Utf8Locale utf8;
  VEL_NEED_LOCALE(utf8);
  std::mt19937 random(7);
  const auto pick = [&random](char32_t first, char32_t count) {
    return first + static_cast<char32_t>(random() % count);
  };
  for (int round = 0; round < 20000; ++round) {
    Units text;
    const bool mayFail = round % 4 == 0;
    for (std::size_t left = random() % 70; left > 0; --left) {
      switch (random() % 8) {
        case 0:
          Add(&text, pick(0x10000, 0x100000));
          break;
        case 1:
          Add(&text, mayFail ? pick(0xD7F0, 0x820) : pick(0xE000, 0x2000));
          break;
        case 2:
        case 3:
          Add(&text, pick(0x800, 0xD000));
          break;
        case 4:
        case 5:
          Add(&text, pick(0x80, 0x780));
          break;
        default:
          Add(&text, pick(1, 0x7F));
          break;
      }
      // Most blocks have none of the rare ones.
      if (round % 2 == 0 && !text.empty() && static_cast<char32_t>(text.back()) > 0xD7FF) {
        if (random() % 8 != 0) text.back() = L'x';
      }
    }
    ASSERT_TRUE(NarrowsRight(text, random() % 17)) << round;
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
