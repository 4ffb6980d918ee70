// Strings of the standard library in and out of xstring.
#include "veltext.h"

#include <algorithm>
#include <functional>
#include <set>
#include <string>
#include <unordered_set>
#include <vector>

#include "velexceptions.h"
#include "veltest.h"
#include "veltest_locale.h"
#include "veltest_string.h"

namespace {

using namespace std::string_literals;

const char* const kEuro = "\xE2\x82\xAC";
const char* const kBeyond = "\xF0\x9F\x98\x80";  // U+1F600, a pair in 16-bit units

xstring WideOf(std::initializer_list<wchar_t> units) {
  std::vector<wchar_t> text(units);
  text.push_back(0);
  return xstring(text.data());
}

TEST(VelText, AsciiIsNarrowTheRestIsWide) {
  EXPECT_EQ(Holding(velText("abc")), "narrow 'abc'");
  EXPECT_EQ(Holding(velText("\xC3\xA9")), "wide '{e9}'");
  EXPECT_EQ(Holding(velText(kBeyond)),
            sizeof(wchar_t) == 2 ? "wide '{d83d}{de00}'" : "wide '{1f600}'");
}

TEST(VelText, EmptyTextIsEmptyNotNull) {
  for (const std::string_view none : {std::string_view(), std::string_view("")}) {
    EXPECT_FALSE(velText(none).IsNull());
    EXPECT_TRUE(velText(none).IsEmpty());
  }
  EXPECT_EQ(velUtf8(xstring()), "");
}

// The first and the last character of each length, and the neighbours of the surrogates.
TEST(VelText, EveryCharacterComesBackInEveryLocale) {
  const std::string texts[] = {"\x01",         "\x7F",         "\xC2\x80",         "\xDF\xBF",
                               "\xE0\xA0\x80", "\xED\x9F\xBF", "\xEE\x80\x80",     "\xEF\xBF\xBF",
                               "\xF0\x90\x80\x80",             "\xF4\x8F\xBF\xBF", "a\xC3\xA9z"};
  for (const char* name : {"C", "C.utf8", "de_DE.iso88591"}) {
    const ScopedLocale locale({name});
    VEL_NEED_LOCALE(locale);
    for (const std::string& text : texts) {
      const xstring made = velText(text);
      EXPECT_EQ(velUtf8(made), text) << name;
      made.CastToCString();  // a narrow form beside it, maybe of question marks
      EXPECT_EQ(velUtf8(made), text) << name;
    }
  }
}

TEST(VelText, RefusesWhatIsNoUtf8AndSaysWhere) {
  const std::pair<std::string, const char*> table[] = {
      {"\x80", "Invalid UTF-8 at byte 0"},                 // continues nothing
      {"ab\xC0\x80", "Invalid UTF-8 at byte 2"},           // not the shortest form
      {"\xC1\xBF", "Invalid UTF-8 at byte 0"},             //
      {"\xE0\x9F\xBF", "Invalid UTF-8 at byte 0"},         //
      {"\xF0\x8F\xBF\xBF", "Invalid UTF-8 at byte 0"},     //
      {"\xED\xA0\x80", "Invalid UTF-8 at byte 0"},         // surrogates
      {"\xED\xBF\xBF", "Invalid UTF-8 at byte 0"},         //
      {"\xF4\x90\x80\x80", "Invalid UTF-8 at byte 0"},     // one past the last
      {"\xF5\x80\x80\x80", "Invalid UTF-8 at byte 0"},     //
      {"\xC3", "Invalid UTF-8 at byte 0"},                 // cut off
      {"\xC3\xA9\xE2\x82", "Invalid UTF-8 at byte 2"},     //
      {"1234567\xFF", "Invalid UTF-8 at byte 7"},          //
      {"\xE2\x28\xA1", "Invalid UTF-8 at byte 0"},         // does not go on
      {"\0"s, "Zero byte in text at byte 0"},              //
      {"1234567\0"s, "Zero byte in text at byte 7"},       //
      {"\xFF\0"s, "Zero byte in text at byte 1"},          //
  };
  for (const auto& row : table) EXPECT_VEL_NATIVE(velText(row.first), row.second);
}

TEST(VelText, RefusesTextBeyondTheLimit) {
  const HugeText huge(2147483647);
  ASSERT_TRUE(huge.IsValid());
  EXPECT_VEL_NATIVE(velText(std::string_view(huge.Get(), 2147483647)), "Size limit exceeded");
}

TEST(VelUtf8, NarrowTextIsOfTheLocale) {
  const GermanLatin1Locale locale;
  VEL_NEED_LOCALE(locale);
  EXPECT_EQ(velUtf8(xstring("\xE9")), "\xC3\xA9");
  EXPECT_EQ(velUtf8(xstring("\xC3\xA9")), "\xC3\x83\xC2\xA9");
}

TEST(VelUtf8, NarrowBytesThatAreNoTextButUtf8StayWhatTheyAre) {
  const PlainLocale locale;
  const xstring text("\xC3\xA9");
  EXPECT_EQ(velUtf8(text), "\xC3\xA9");
  text.CastToCWString();  // a wide form of question marks
  EXPECT_EQ(velUtf8(text), "\xC3\xA9");
}

TEST(VelUtf8, WhatIsNoCharacterIsReplaced) {
  const Utf8Locale locale;
  VEL_NEED_LOCALE(locale);
  EXPECT_EQ(velUtf8(xstring("a\xFF\xFEz")), "a??z");
  EXPECT_EQ(velUtf8(WideOf({0xD83D, 'a'})), "\xEF\xBF\xBD"s + "a");
  EXPECT_EQ(velUtf8(WideOf({'a', 0xDE00})), "a\xEF\xBF\xBD"s);
  EXPECT_EQ(velUtf8(WideOf({0xD83D})), "\xEF\xBF\xBD");
}

#if !defined(VELSTD_WCHAR16)
TEST(VelUtf8, NumbersBeyondUnicodeAreReplaced) {
  EXPECT_EQ(velUtf8(WideOf({0x110000, static_cast<wchar_t>(0xFFFFFFFFU)})),
            "\xEF\xBF\xBD\xEF\xBF\xBD");
}
#endif

TEST(VelView, IsTheNarrowFormInItsPlace) {
  const xstring text("abc");
  EXPECT_EQ(velView(text).data(), text.CastToCString());
  EXPECT_EQ(velView(text), "abc");
  const xstring none;
  EXPECT_TRUE(velView(none).empty());
}

TEST(VelIsText, ComparesUtf8InEveryLocale) {
  const PlainLocale locale;
  EXPECT_TRUE(velIsText(velText(kEuro), kEuro));
  EXPECT_TRUE(velIsText(xstring("abc"), "abc"));
  EXPECT_FALSE(velIsText(xstring("abc"), "abcd"));
  EXPECT_FALSE(velIsText(xstring("abc"), "abc\0"s));
  EXPECT_FALSE(velIsText(xstring("\xFF"), "?"));
  EXPECT_TRUE(velIsText(xstring(""), ""));
  EXPECT_FALSE(velIsText(xstring(), ""));
}

TEST(VelIsText, AWideStringWithALostNarrowFormIsStillItsText) {
  const PlainLocale locale;
  const xstring text = velText(kEuro);
  ASSERT_STREQ(text.CastToCString(), "?");
  EXPECT_TRUE(velIsText(text, kEuro));
  EXPECT_FALSE(velIsText(text, "?"));
}

TEST(VelTextOperators, CompareWithTheStandardLibrary) {
  const xstring text = velText(kEuro);
  const std::string euro = kEuro;
  const std::string_view view = euro;
  EXPECT_TRUE(text == euro && euro == text && text == view && view == text);
  EXPECT_FALSE(text != euro || euro != text || text != view || view != text);
  EXPECT_TRUE(text != "x"s && "x"s != text);
  EXPECT_TRUE(xstring("x") == "x" && "x" == xstring("x"));
}

// In ascending order; each text is beside one that differs as little as possible.
TEST(VelOrder, IsByCharactersInEveryLocale) {
  for (const char* name : {"C", "C.utf8", "de_DE.iso88591"}) {
    const ScopedLocale locale({name});
    VEL_NEED_LOCALE(locale);
    const xstring sorted[] = {xstring(),          velText(""),          velText("a"),
                              velText("aa"),      velText("ab"),        velText("b"),
                              velText("b\x7F"),   velText("b\xC3\xA9"), velText(kEuro),
                              velText("\xEF\xBF\xBD"), velText(kBeyond)};
    const int count = static_cast<int>(std::size(sorted));
    for (int i = 0; i < count; ++i) {
      for (int j = 0; j < count; ++j) {
        EXPECT_EQ(sorted[i] < sorted[j], i < j) << name << ' ' << i << ' ' << j;
        EXPECT_EQ(sorted[i] <= sorted[j], i <= j);
        EXPECT_EQ(sorted[i] > sorted[j], i > j);
        EXPECT_EQ(sorted[i] >= sorted[j], i >= j);
      }
    }
  }
}

TEST(VelOrder, TakesNoTwoTextsForTheSame) {
  const PlainLocale locale;
  const std::set<xstring> all{velText("\xE6\x97\xA5"), velText("\xE6\x9C\xAC"), xstring("?"),
                              xstring("\xFF"),         xstring("\xFE"),         WideOf({0xD83D}),
                              WideOf({0xD83E})};
  EXPECT_EQ(all.size(), 7U);
}

TEST(VelOrder, FormsMakeNoDifference) {
  const Utf8Locale locale;
  VEL_NEED_LOCALE(locale);
  EXPECT_EQ(velOrder(xstring(kEuro), velText(kEuro)), 0);
  EXPECT_EQ(velOrder(velText("abc"), WideOf({'a', 'b', 'c'})), 0);
}

TEST(VelOrder, TakesNarrowTextOnEitherSide) {
  EXPECT_TRUE(xstring("a") < "b");
  EXPECT_FALSE("b" < xstring("a"));
  EXPECT_TRUE("a" <= xstring("a") && xstring("b") > "a" && xstring("b") >= "b");
}

TEST(VelHashOfText, EqualStringsHaveOneHash) {
  const Utf8Locale locale;
  VEL_NEED_LOCALE(locale);
  const std::hash<xstring> hash;
  const xstring questionMark("?");
  const xstring bytes("\xFF");
  bytes.CastToCWString();
  ASSERT_TRUE(bytes == questionMark);  // by the wide form, which it has by now
  EXPECT_EQ(hash(bytes), hash(questionMark));
  EXPECT_EQ(hash(xstring(kEuro)), hash(velText(kEuro)));
  EXPECT_EQ(hash(xstring()), hash(xstring()));
  EXPECT_NE(hash(xstring("a")), hash(xstring("b")));
}

TEST(VelHashOfText, KeepsTextsApartThatTheLocaleCannotSay) {
  const PlainLocale locale;
  const std::unordered_set<xstring> all{velText("\xE6\x97\xA5"), velText("\xE6\x9C\xAC")};
  EXPECT_EQ(all.size(), 2U);
}

TEST(VelAppend, KeepsWhatTheLocaleCannotSay) {
  const PlainLocale locale;
  xstring text("a");
  text += std::string(kEuro);
  EXPECT_EQ(velUtf8(text), "a\xE2\x82\xAC");
  velAppend(text, text);
  EXPECT_EQ(velUtf8(text), "a\xE2\x82\xAC"s + "a\xE2\x82\xAC");
  text += std::string_view("z");
  EXPECT_EQ(velUtf8(text), "a\xE2\x82\xAC"s + "a\xE2\x82\xACz");
}

TEST(VelAppend, NullAndEmptyTextChangeNothing) {
  xstring text("a");
  velAppend(text, xstring());
  velAppend(text, xstring(""));
  EXPECT_TRUE(text == "a");
  xstring none;
  velAppend(none, xstring());
  velAppend(none, xstring(""));
  EXPECT_TRUE(none.IsNull());
  velAppend(none, xstring("b"));
  EXPECT_TRUE(none == "b");
}

TEST(VelAppend, RefusesWhatVelTextRefuses) {
  xstring text("a");
  EXPECT_VEL_NATIVE(text += "\xFF"s, "Invalid UTF-8 at byte 0");
  EXPECT_TRUE(text == "a");
}

TEST(VelPlus, JoinsTextOfEveryKind) {
  const PlainLocale locale;
  const xstring text("b");
  const wchar_t wide[] = {'c', 0};
  EXPECT_EQ(velUtf8(text + text), "bb");
  EXPECT_EQ(velUtf8(text + "c"), "bc");
  EXPECT_EQ(velUtf8("a" + text), "ab");
  EXPECT_EQ(velUtf8(text + wide), "bc");
  EXPECT_EQ(velUtf8(wide + text), "cb");
  EXPECT_EQ(velUtf8(text + std::string(kEuro)), "b\xE2\x82\xAC");
  EXPECT_EQ(velUtf8(std::string(kEuro) + text), "\xE2\x82\xAC"s + "b");
  EXPECT_EQ(velUtf8(std::string_view("a") + text + "c"), "abc");
  EXPECT_TRUE(text == "b");
  EXPECT_FALSE((xstring("") + xstring("")).IsNull());
  EXPECT_TRUE((xstring() + xstring()).IsNull());
}

TEST(VelUtf8IfText, GivesNothingForWhatIsNoText) {
  const Utf8Locale locale;
  VEL_NEED_LOCALE(locale);
  EXPECT_EQ(velUtf8IfText(xstring()), "");
  EXPECT_EQ(velUtf8IfText(xstring("abc")), "abc");
  EXPECT_EQ(velUtf8IfText(velText("\xC3\xBC\xF0\x9F\x98\x80")), "\xC3\xBC\xF0\x9F\x98\x80");
  EXPECT_EQ(velUtf8IfText(xstring("a\xFF")), std::nullopt);
  const wchar_t half[] = {static_cast<wchar_t>(0xDC00), 0};
  EXPECT_EQ(velUtf8IfText(xstring(half)), std::nullopt);
}

TEST(VelUtf8IfText, TakesNarrowBytesAsTheLocaleSays) {
  {
    const GermanLatin1Locale locale;
    VEL_NEED_LOCALE(locale);
    EXPECT_EQ(velUtf8IfText(xstring("\xFC")), "\xC3\xBC");
  }
  const PlainLocale plain;
  EXPECT_EQ(velUtf8IfText(xstring("\xFC")), std::nullopt);
  EXPECT_EQ(velUtf8IfText(xstring("\xC3\xBC")), "\xC3\xBC");
}

TEST(VelNarrowIfText, GivesWhatTheLocaleCanSay) {
  {
    const GermanLatin1Locale locale;
    VEL_NEED_LOCALE(locale);
    EXPECT_EQ(velNarrowIfText("\xC3\xBC"), "\xFC");
    EXPECT_EQ(velNarrowIfText("\xE4\xB8\xAD"), std::nullopt);
  }
  const PlainLocale plain;
  EXPECT_EQ(velNarrowIfText("abc"), "abc");
  EXPECT_EQ(velNarrowIfText(""), "");
  EXPECT_EQ(velNarrowIfText("\xC3\xBC"), std::nullopt);
  EXPECT_EQ(velNarrowIfText("\xFF"), std::nullopt);
  EXPECT_EQ(velNarrowIfText(std::string_view("a\0b", 3)), std::nullopt);
}

}  // namespace
