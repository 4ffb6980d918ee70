#include "kormbcs.h"

#include <gtest/gtest.h>

#include <cstdarg>
#include <cstdint>
#include <cstring>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "veltest_locale.h"

namespace {

constexpr std::size_t kFailure = static_cast<std::size_t>(-1);
constexpr bool kPairs = sizeof(wchar_t) == 2;

const char* const kOne = reinterpret_cast<const char*>(std::uintptr_t{1});
const char* const kUninit = reinterpret_cast<const char*>(std::uintptr_t{2});
const wchar_t* const kWideOne = reinterpret_cast<const wchar_t*>(std::uintptr_t{1});

// Converts into a block of exactly `n` units prefilled with '#', and shows
// the result as "<length> <block>".
std::string ToWide(const char* source, std::size_t n) {
  std::unique_ptr<wchar_t[]> block(new wchar_t[n]);
  for (std::size_t i = 0; i < n; ++i) block[i] = L'#';
  const std::size_t length = kor_mbstowcs(block.get(), source, n);
  return (length == kFailure ? "fails" : std::to_string(length)) + ' ' + Shown(block.get(), n);
}

std::string ToNarrow(const wchar_t* source, std::size_t n) {
  std::string block(n + 1, '#');
  const std::size_t length = kor_wcstombs(&block[0], source, n);
  EXPECT_EQ(block[n], '#') << "written beyond its room";
  block.resize(n);
  for (char& byte : block) {
    if (byte == '\0') byte = '$';
  }
  return (length == kFailure ? "fails" : std::to_string(length)) + ' ' + block;
}

std::string LossyWide(const std::string& source) {
  std::vector<wchar_t> units(korMbToWcLossy(nullptr, source.c_str(), source.size()));
  EXPECT_EQ(korMbToWcLossy(units.data(), source.c_str(), source.size()), units.size());
  return Shown(units.data(), units.size());
}

std::string LossyNarrow(const std::vector<wchar_t>& source) {
  std::string bytes(korWcToMbLossy(nullptr, source.data(), source.size()), '#');
  EXPECT_EQ(korWcToMbLossy(&bytes[0], source.data(), source.size()), bytes.size());
  return bytes;
}

std::vector<wchar_t> Units(std::initializer_list<std::uint32_t> values) {
  std::vector<wchar_t> units;
  for (std::uint32_t value : values) units.push_back(static_cast<wchar_t>(value));
  return units;
}

TEST(KorMbcs, ToWideWritesTheTerminatorIfThereIsRoom) {
  EXPECT_EQ(ToWide("abc", 5), "3 abc{0}#");
  EXPECT_EQ(ToWide("abc", 4), "3 abc{0}");
  EXPECT_EQ(ToWide("abc", 3), "3 abc");
  EXPECT_EQ(ToWide("abc", 2), "2 ab");
  EXPECT_EQ(ToWide("abc", 0), "0 ");
  EXPECT_EQ(ToWide("", 1), "0 {0}");
  EXPECT_EQ(ToWide("abcdefghijklmnopqrstu", 10), "10 abcdefghij");
  EXPECT_EQ(kor_mbstowcs(nullptr, "abc", 0), 3U);
  EXPECT_EQ(kor_mbstowcs(nullptr, "abc", 1), 3U);
}

TEST(KorMbcs, ToNarrowWritesTheTerminatorIfThereIsRoom) {
  EXPECT_EQ(ToNarrow(L"abc", 5), "3 abc$#");
  EXPECT_EQ(ToNarrow(L"abc", 4), "3 abc$");
  EXPECT_EQ(ToNarrow(L"abc", 3), "3 abc");
  EXPECT_EQ(ToNarrow(L"abc", 2), "2 ab");
  EXPECT_EQ(ToNarrow(L"abc", 0), "0 ");
  EXPECT_EQ(ToNarrow(L"", 1), "0 $");
  EXPECT_EQ(kor_wcstombs(nullptr, L"abc", 0), 3U);
  EXPECT_EQ(kor_wcstombs(nullptr, L"abc", 1), 3U);
}

TEST(KorMbcs, NullTextsConvertAsEmpty) {
  EXPECT_EQ(ToWide(nullptr, 2), "0 {0}#");
  EXPECT_EQ(ToWide(kOne, 2), "0 {0}#");
  EXPECT_EQ(ToWide(kUninit, 7), "6 uninit{0}");
  EXPECT_EQ(ToNarrow(nullptr, 2), "0 $#");
  EXPECT_EQ(ToNarrow(kWideOne, 2), "0 $#");
  EXPECT_EQ(kor_mbstowcs(nullptr, nullptr, 0), 0U);
  EXPECT_EQ(kor_wcstombs(nullptr, kWideOne, 0), 0U);
  EXPECT_EQ(korMbToWcLossy(nullptr, nullptr, 0), 0U);
  EXPECT_EQ(korMbToWcLossy(nullptr, kOne, 3), 0U);
  EXPECT_EQ(korMbToWcLossy(nullptr, kUninit, 6), 6U);
  EXPECT_EQ(korMbToWcLossy(nullptr, kUninit, 2), 2U);
  EXPECT_EQ(korWcToMbLossy(nullptr, kWideOne, 3), 0U);
  EXPECT_EQ(kor_mbsnbcnt(nullptr, 3), 0U);
  EXPECT_EQ(kor_mbsnbcnt(kOne, 3), 0U);
  EXPECT_EQ(kor_mbsnbcnt(kUninit, 3), 3U);
  EXPECT_EQ(korMbCharCount(nullptr, 3), 0U);
  EXPECT_EQ(korMbCharCount(kOne, 3), 0U);
  EXPECT_EQ(korMbCharCount(kUninit, 6), 6U);
}

TEST(KorMbcs, PlainCRefusesWhatIsNotAscii) {
  const PlainLocale plain;
  EXPECT_EQ(kor_wcstombs(nullptr, L"a\u00e9", 0), kFailure);
  EXPECT_EQ(kor_mbstowcs(nullptr, "a\xe9", 0), kFailure);
  EXPECT_EQ(LossyNarrow(Units({'a', 0xE9, 'b', 0x20AC})), "a?b?");
  EXPECT_EQ(LossyWide("a\xc3\xa9"
                      "b"),
            "a??b");
}

TEST(KorMbcs, Utf8ConvertsBothWays) {
  Utf8Locale utf8;
  VEL_NEED_LOCALE(utf8);
  EXPECT_EQ(ToWide("\xc3\xa9\xe2\x82\xacx", 4), "3 {e9}{20ac}x{0}");
  EXPECT_EQ(ToNarrow(L"\u00e9\u20acx", 7), "6 \xc3\xa9\xe2\x82\xacx$");
  EXPECT_EQ(kor_mbstowcs(nullptr, "\xf0\x9f\x98\x80", 0), kPairs ? 2U : 1U);
  EXPECT_EQ(kor_wcstombs(nullptr, L"\U0001F600", 0), 4U);
  EXPECT_EQ(ToNarrow(L"\U0001F600", 5), "4 \xf0\x9f\x98\x80$");
  EXPECT_EQ(ToWide("\xf4\x8f\xbf\xbf", 3), kPairs ? "2 {dbff}{dfff}{0}" : "1 {10ffff}{0}#");
  EXPECT_EQ(ToNarrow(L"\U0010FFFF", 4), "4 \xf4\x8f\xbf\xbf");
}

TEST(KorMbcs, TextThatFillsItsRoomGetsNoTerminator) {
  Utf8Locale utf8;
  VEL_NEED_LOCALE(utf8);
  EXPECT_EQ(ToNarrow(L"abcd", 4), "4 abcd");
  EXPECT_EQ(ToNarrow(L"\u00e9\u00e9", 4), "4 \xc3\xa9\xc3\xa9");
  EXPECT_EQ(ToNarrow(L"\U0001F600", 4), "4 \xf0\x9f\x98\x80");
  EXPECT_EQ(ToNarrow(L"\U0001F600\U0001F600", 8), "8 \xf0\x9f\x98\x80\xf0\x9f\x98\x80");
  EXPECT_EQ(ToNarrow(L"x\U0001F600", 5), "5 x\xf0\x9f\x98\x80");
}

TEST(KorMbcs, NoCharacterIsWrittenInPart) {
  Utf8Locale utf8;
  VEL_NEED_LOCALE(utf8);
  EXPECT_EQ(ToNarrow(L"a\u20acb", 4), "4 a\xe2\x82\xac");
  EXPECT_EQ(ToNarrow(L"a\u20acb", 3), "1 a##");
  EXPECT_EQ(ToNarrow(L"a\u20acb", 1), "1 a");
  EXPECT_EQ(ToWide("a\xf0\x9f\x98\x80", 2), kPairs ? "1 a#" : "2 a{1f600}");
  EXPECT_EQ(ToWide("a\xf0\x9f\x98\x80", 3), kPairs ? "3 a{d83d}{de00}" : "2 a{1f600}{0}");
}

TEST(KorMbcs, InvalidUtf8Fails) {
  Utf8Locale utf8;
  VEL_NEED_LOCALE(utf8);
  for (const char* text :
       {"\xff", "a\x80", "\xc3", "\xc3(", "\xe2\x82", "\xc0\x80", "\xed\xa0\x80",
        "\xf4\x90\x80\x80", "\xf0\x9f\x98", "long ascii first \xff", "12345678\xc3"}) {
    EXPECT_EQ(kor_mbstowcs(nullptr, text, 0), kFailure) << text;
    wchar_t room[64];
    EXPECT_EQ(kor_mbstowcs(room, text, 64), kFailure) << text;
  }
  // What lies behind the last unit asked for is not looked at.
  EXPECT_EQ(ToWide("ab\xff", 2), "2 ab");
}

TEST(KorMbcs, InvalidWideTextFails) {
  Utf8Locale utf8;
  VEL_NEED_LOCALE(utf8);
  const std::vector<std::vector<wchar_t>> bad = {
      Units({0xD800, 0}), Units({0xDC00, 0}), Units({'a', 0xDBFF, 'b', 0}),
      Units({0xDC00, 0xD800, 0}), Units({0xD83D, 0xD83D, 0})};
  char room[64];
  for (const auto& text : bad) {
    EXPECT_EQ(kor_wcstombs(nullptr, text.data(), 0), kFailure) << Shown(text.data());
    EXPECT_EQ(kor_wcstombs(room, text.data(), 64), kFailure) << Shown(text.data());
  }
  EXPECT_EQ(kor_wcstombs(nullptr, Units({0xD83D, 0xDE00, 0}).data(), 0), kPairs ? 4U : kFailure);
  if (!kPairs) {
    EXPECT_EQ(kor_wcstombs(nullptr, Units({0x110000, 0}).data(), 0), kFailure);
    EXPECT_EQ(kor_wcstombs(nullptr, Units({0xFFFFFFFF, 0}).data(), 0), kFailure);
    EXPECT_EQ(kor_wcstombs(nullptr, Units({0x80000041, 0}).data(), 0), kFailure);
  }
}

TEST(KorMbcs, LossyReplacesEachInvalidByte) {
  Utf8Locale utf8;
  VEL_NEED_LOCALE(utf8);
  EXPECT_EQ(LossyWide("a\xff\xfe"
                      "b"),
            "a??b");
  EXPECT_EQ(LossyWide("\xe2\x82"), "??");
  EXPECT_EQ(LossyWide("\xe2\x82x\xc3\xa9"), "??x{e9}");
  EXPECT_EQ(LossyWide("\xed\xa0\x80"), "???");
  EXPECT_EQ(LossyWide("\xf4\x90\x80\x80"), "????");
  EXPECT_EQ(LossyWide("\xf0\x9f\x98\x80"), kPairs ? "{d83d}{de00}" : "{1f600}");
  EXPECT_EQ(LossyWide(std::string("a\0b", 3)), "a{0}b");
  EXPECT_EQ(LossyWide(""), "");
  // The end given counts, not the terminator: half a character is invalid.
  EXPECT_EQ(korMbToWcLossy(nullptr, "\xc3\xa9", 1), 1U);
  wchar_t unit = L'#';
  EXPECT_EQ(korMbToWcLossy(&unit, "\xc3\xa9", 1), 1U);
  EXPECT_TRUE(unit == L'?');
}

TEST(KorMbcs, LossyReplacesEachWideCharacterOnce) {
  const PlainLocale plain;
  {
    Utf8Locale utf8;
    VEL_NEED_LOCALE(utf8);
    EXPECT_EQ(LossyNarrow(Units({'a', 0xD800, 'b', 0xDC00})), "a?b?");
    EXPECT_EQ(LossyNarrow(Units({'a', 0, 'b'})), std::string("a\0b", 3));
    EXPECT_EQ(LossyNarrow(Units({0xD83D, 0xDE00})), kPairs ? "\xf0\x9f\x98\x80" : "??");
    EXPECT_EQ(LossyNarrow({}), "");
    // A pair cut by the end given is a lone surrogate.
    EXPECT_EQ(korWcToMbLossy(nullptr, Units({0xD83D, 0xDE00}).data(), 1), 1U);
  }
  const wchar_t face[] = L"\U0001F600";
  EXPECT_EQ(LossyNarrow(std::vector<wchar_t>(face, face + WideLength(face))), "?");
}

TEST(KorMbcs, Latin1ConvertsItsOwnCharacters) {
  GermanLatin1Locale latin1;
  VEL_NEED_LOCALE(latin1);
  EXPECT_EQ(ToWide("a\xe9\xff", 4), "3 a{e9}{ff}{0}");
  EXPECT_EQ(ToNarrow(L"a\u00e9", 3), "2 a\xe9$");
  EXPECT_EQ(kor_wcstombs(nullptr, L"\u20ac", 0), kFailure);
  EXPECT_EQ(LossyNarrow(Units({0xE9, 0x20AC})), "\xe9?");
  EXPECT_EQ(kor_mbsnbcnt("\xc3\xa9x", 2), 2U);
  EXPECT_EQ(korMbCharCount("\xc3\xa9x", 3), 3U);
}

TEST(KorMbcs, TheLocaleIsAskedAtEachCall) {
  const PlainLocale plain;
  EXPECT_EQ(kor_mbsnbcnt("\xc3\xa9x", 1), 1U);
  {
    Utf8Locale utf8;
    VEL_NEED_LOCALE(utf8);
    EXPECT_EQ(kor_mbsnbcnt("\xc3\xa9x", 1), 2U);
  }
  EXPECT_EQ(kor_mbsnbcnt("\xc3\xa9x", 1), 1U);
}

TEST(KorMbcs, CountsBytesOfTheFirstCharacters) {
  Utf8Locale utf8;
  VEL_NEED_LOCALE(utf8);
  const char* text = "a\xc3\xa9\xff\xe2\x82\xac\xf0\x9f\x98\x80z";
  const std::size_t expected[] = {0, 1, 3, 4, 7, 11, 12, 12};
  for (int n = 0; n < 8; ++n) EXPECT_EQ(kor_mbsnbcnt(text, n), expected[n]) << n;
  EXPECT_EQ(kor_mbsnbcnt(text, -1), 0U);
  EXPECT_EQ(kor_mbsnbcnt(text, 2147483647), 12U);
  EXPECT_EQ(kor_mbsnbcnt("", 3), 0U);
  EXPECT_EQ(kor_mbsnbcnt("\xc3", 3), 1U);
  EXPECT_EQ(kor_mbsnbcnt("\xe2\x82", 1), 1U);
  EXPECT_EQ(kor_mbsnbcnt("\xe2\x82", 2), 2U);
  const std::string ascii(100, 'x');
  EXPECT_EQ(kor_mbsnbcnt(ascii.c_str(), 99), 99U);
  EXPECT_EQ(kor_mbsnbcnt(ascii.c_str(), 101), 100U);
}

TEST(KorMbcs, CountsCharactersOfTheFirstBytes) {
  Utf8Locale utf8;
  VEL_NEED_LOCALE(utf8);
  const char* text = "a\xc3\xa9\xff\xe2\x82\xac";
  EXPECT_EQ(korMbCharCount(text, 0), 0U);
  EXPECT_EQ(korMbCharCount(text, 1), 1U);
  EXPECT_EQ(korMbCharCount(text, 2), 2U);  // half a character
  EXPECT_EQ(korMbCharCount(text, 3), 2U);
  EXPECT_EQ(korMbCharCount(text, 4), 3U);
  EXPECT_EQ(korMbCharCount(text, 7), 4U);
  EXPECT_EQ(korMbCharCount("a\0b", 3), 3U);
}

// An independent reading of UTF-8: length of the valid character at `at`, or 0.
std::size_t ModelLength(const std::string& text, std::size_t at, char32_t* character) {
  const auto byte = [&](std::size_t i) -> unsigned {
    return i < text.size() ? static_cast<unsigned char>(text[i]) : 0U;
  };
  const unsigned first = byte(at);
  const std::size_t length = first < 0x80                      ? 1
                             : (first >= 0xC2 && first < 0xE0) ? 2
                             : (first >= 0xE0 && first < 0xF0) ? 3
                             : (first >= 0xF0 && first < 0xF5) ? 4
                                                               : 0;
  if (length == 0) return 0;
  char32_t value = length == 1 ? first : first & (0x7FU >> length);
  for (std::size_t i = 1; i < length; ++i) {
    if ((byte(at + i) & 0xC0U) != 0x80U) return 0;
    value = (value << 6U) | (byte(at + i) & 0x3FU);
  }
  const char32_t least[] = {0, 0, 0x80, 0x800, 0x10000};
  if (value < least[length] || value > 0x10FFFF || (value >= 0xD800 && value < 0xE000)) return 0;
  *character = value;
  return length;
}

TEST(KorMbcs, Utf8AgreesWithAModel) {
  Utf8Locale utf8;
  VEL_NEED_LOCALE(utf8);
  const std::vector<std::string> pieces = {
      "a",    "bcdefghijk", "\xc3\xa9", "\xe2\x82\xac", "\xf0\x9f\x98\x80", "\xc3",
      "\x80", "\xe2\x82",   "\xf0\x9f", "\xff",         "\xed\xa0\x80",     "\xf4\x90\x80\x80"};
  std::mt19937 random(3);
  for (int round = 0; round < 5000; ++round) {
    std::string text;
    const bool valid = round % 2 == 0;
    for (std::size_t left = random() % 8; left > 0; --left)
      text += pieces[random() % (valid ? 5 : pieces.size())];
    std::vector<wchar_t> units;
    std::vector<std::size_t> ends = {0};
    bool sound = true;
    for (std::size_t at = 0; at < text.size();) {
      char32_t character = U'?';
      std::size_t length = ModelLength(text, at, &character);
      if (length == 0) {
        sound = false;
        length = 1;
      }
      if (kPairs && character > 0xFFFF) {
        units.push_back(static_cast<wchar_t>(0xD800 + ((character - 0x10000) >> 10U)));
        units.push_back(static_cast<wchar_t>(0xDC00 + ((character - 0x10000) & 0x3FFU)));
      } else {
        units.push_back(static_cast<wchar_t>(character));
      }
      at += length;
      ends.push_back(at);
    }
    ASSERT_EQ(kor_mbstowcs(nullptr, text.c_str(), 0), sound ? units.size() : kFailure) << text;
    ASSERT_EQ(LossyWide(text), Shown(units.data(), units.size())) << text;
    ASSERT_EQ(korMbCharCount(text.c_str(), text.size()), ends.size() - 1) << text;
    for (std::size_t n = 0; n < ends.size(); ++n) {
      ASSERT_EQ(kor_mbsnbcnt(text.c_str(), static_cast<int>(n)), ends[n]) << text;
    }
    if (!sound) continue;
    ASSERT_EQ(LossyNarrow(units), text);
    units.push_back(L'\0');
    ASSERT_EQ(kor_wcstombs(nullptr, units.data(), 0), text.size());
  }
}

// The format is no literal at the place where it is used.
int Format(char* buffer, std::size_t size, const char* format, ...)
    __attribute__((format(printf, 3, 4)));
int Format(char* buffer, std::size_t size, const char* format, ...) {
  std::va_list args;
  va_start(args, format);
  const int length = kor_vsprintf(buffer, size, format, args);
  va_end(args);
  return length;
}

TEST(KorMbcs, VsprintfIsBounded) {
  char buffer[8] = "#######";
  EXPECT_EQ(Format(buffer, sizeof(buffer), "%d-%s", 12, "ab"), 5);
  EXPECT_STREQ(buffer, "12-ab");
  EXPECT_EQ(Format(buffer, 4, "%s", "abcdef"), 6);
  EXPECT_STREQ(buffer, "abc");
  EXPECT_EQ(Format(nullptr, 0, "%s", "abcdef"), 6);
  const char* none = nullptr;
  const char* one = kOne;
  std::va_list unused{};
  EXPECT_LT(kor_vsprintf(buffer, sizeof(buffer), none, unused), 0);
  EXPECT_LT(kor_vsprintf(buffer, sizeof(buffer), one, unused), 0);
  EXPECT_STREQ(buffer, "abc");
}

}  // namespace
