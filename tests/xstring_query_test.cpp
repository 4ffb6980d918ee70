// Parts, words, searching, numbers, case and formatting.
#include <climits>
#include <cwchar>
#include <limits>
#include <string>

#include "veltest.h"
#include "veltest_string.h"
#include "xstring.h"

namespace {

// Runs for both widths: Ch is the width of string and arguments.
template <class Ch>
class XStringQuery : public testing::Test {
 protected:
  static const Ch* T(const std::string& ascii) { return Lit<Ch>(ascii); }
  static xstring Str(const std::string& ascii) { return xstring(Lit<Ch>(ascii)); }
};
using Widths = testing::Types<char, wchar_t>;
TYPED_TEST_SUITE(XStringQuery, Widths, WidthName);

// --- Substring ---

TYPED_TEST(XStringQuery, SubstringTakesAnExclusiveEnd) {
  struct {
    int start, end;
    const char* expected;
  } const cases[] = {{0, -1, "abcd"},    {1, -1, "bcd"},
                     {3, -1, "d"},       {1, INT_MIN, "bcd"},
                     {1, 3, "bc"},       {0, 1, "a"},
                     {0, 4, "abcd"},     {2, 5, "cd"},
                     {2, INT_MAX, "cd"}, {2, 2, ""},
                     {0, 0, ""},         {3, 1, ""},
                     {4, -1, ""},        {5, -1, ""},
                     {INT_MAX, -1, ""},  {4, 4, ""},
                     {7, 9, ""},         {INT_MAX, INT_MAX, ""},
                     {-1, 2, "ab"},      {INT_MIN, -1, "abcd"},
                     {-3, 0, ""},        {INT_MIN, INT_MAX, "abcd"}};
  const xstring s = this->Str("abcd");
  for (const auto& c : cases) {
    EXPECT_EQ(Holding(s.Substring(c.start, c.end)),
              *c.expected ? Only<TypeParam>(c.expected) : kSharedEmpty)
        << c.start << ' ' << c.end;
  }
  EXPECT_EQ(Holding(s), Only<TypeParam>("abcd"));
}

TEST(XStringSubstring, NullAndEmptyGiveThemselves) {
  EXPECT_EQ(Holding(xstring().Substring(0, 1)), "null");
  EXPECT_EQ(Holding(xstring().Substring(3, -1)), "null");
  EXPECT_EQ(Holding(xstring("").Substring(2, 5)), kSharedEmpty);
  const xstring ownEmpty = xstring("a").GetWord(1, " ");
  EXPECT_EQ(BufferOf(ownEmpty.Substring(0, -1)), BufferOf(ownEmpty));
}

TEST(XStringSubstring, NarrowPositionsAreCharactersWideOnesUnits) {
  const Utf8Locale locale;
  ASSERT_TRUE(locale.IsFound());
  const xstring narrow(
      "\xc3\xa4\xe2\x82\xac"
      "b");
  EXPECT_STREQ(narrow.Substring(1, 2), "\xe2\x82\xac");
  EXPECT_STREQ(narrow.Substring(2, -1), "b");
  EXPECT_EQ(Holding(narrow.Substring(3, -1)), kSharedEmpty);
  const xstring wide(
      L"\u00e4\u20ac"
      L"b");
  EXPECT_TRUE(wide.Substring(1, 2) == L"\u20ac");
  EXPECT_EQ(Fields(wide).narrow, nullptr);
}

TEST(XStringSubstring, TheNarrowFormIsPreferred) {
  const xstring s(L"abc");
  s.CastToCString();
  EXPECT_EQ(Holding(s.Substring(1, -1)), "narrow 'bc'");
}

// --- words ---

TYPED_TEST(XStringQuery, WordsAreRunsOfNonSeparators) {
  struct {
    const char *text, *separators;
    int count;
    const char* words[3];
  } const cases[] = {{";a;;b;", ";", 2, {"a", "b", ""}},
                     {"a b,c", " ,", 3, {"a", "b", "c"}},
                     {"abc", ";", 1, {"abc", "", ""}},
                     {";;;", ";", 0, {"", "", ""}},
                     {"", ";", 0, {"", "", ""}},
                     {"a b", "", 1, {"a b", "", ""}},
                     {" one  two", " ", 2, {"one", "two", ""}}};
  for (const auto& c : cases) {
    const xstring s = this->Str(c.text);
    EXPECT_EQ(s.GetNWords(this->T(c.separators)), c.count) << c.text;
    for (int i = 0; i < 3; ++i) {
      EXPECT_EQ(Holding(s.GetWord(i, this->T(c.separators))), Only<TypeParam>(c.words[i]))
          << c.text << ' ' << i;
    }
  }
}

TYPED_TEST(XStringQuery, WithoutSeparatorsTheWholeTextIsOneWord) {
  const xstring s = this->Str(" a b ");
  for (const TypeParam* none : {At<TypeParam>(0), At<TypeParam>(1), this->T("")}) {
    EXPECT_EQ(s.GetNWords(none), 1);
    EXPECT_EQ(Holding(s.GetWord(0, none)), Only<TypeParam>(" a b "));
    EXPECT_EQ(Holding(s.GetWord(1, none)), Only<TypeParam>(""));
  }
}

TYPED_TEST(XStringQuery, AWordOutOfRangeIsEmptyInABufferOfItsOwn) {
  const xstring s = this->Str("a b");
  for (const int n : {2, 100, INT_MAX, -1, INT_MIN}) {
    const xstring word = s.GetWord(n, this->T(" "));
    EXPECT_EQ(Holding(word), Only<TypeParam>("")) << n;
    EXPECT_FALSE(word.IsNull()) << n;
    EXPECT_TRUE(word == this->T("")) << n;
  }
}

TYPED_TEST(XStringQuery, TheNullStringHasNoWords) {
  EXPECT_EQ(xstring().GetNWords(this->T(" ")), 0);
  EXPECT_EQ(Holding(xstring().GetWord(0, this->T(" "))), "null");
  EXPECT_EQ(Holding(xstring().GetWord(-1, At<TypeParam>(0))), "null");
}

TEST(XStringWords, AStringOfSeparatorsChoosesTheForm) {
  const xstring narrow("a;b");
  EXPECT_EQ(narrow.GetNWords(xstring(L";")), 2);
  EXPECT_EQ(Holding(narrow.GetWord(1, xstring(L";"))), "narrow 'b'");
  EXPECT_EQ(Holding(narrow), "narrow 'a;b'");
  const xstring wide(L"a;b");
  EXPECT_EQ(wide.GetNWords(xstring(";")), 2);
  EXPECT_EQ(Holding(wide.GetWord(1, xstring(";"))), "wide 'b'");
  EXPECT_EQ(Holding(wide), "wide 'a;b'");
  EXPECT_EQ(narrow.GetNWords(xstring()), 1);
  EXPECT_EQ(xstring().GetNWords(xstring(";")), 0);
  EXPECT_EQ(Holding(xstring().GetWord(0, xstring(";"))), "null");
}

TEST(XStringWords, TheFormOfTheSeparatorsIsProduced) {
  const xstring wide(L"a b");
  EXPECT_EQ(Holding(wide.GetWord(1, " ")), "narrow 'b'");
  EXPECT_EQ(Holding(wide), "narrow 'a b' wide 'a b'");
  EXPECT_EQ(Holding(xstring("a b").GetWord(1, L" ")), "wide 'b'");
}

TEST(XStringWords, AddressTwoAsSeparatorsIsUninit) {
  const xstring s("a-n-b");
  EXPECT_EQ(s.GetNWords(At<char>(2)), 2);
  EXPECT_STREQ(s.GetWord(1, At<char>(2)), "-b");
}

// --- Pos and Match ---

TYPED_TEST(XStringQuery, PosIsTheFirstOccurrence) {
  struct {
    const char *text, *part;
    int expected;
  } const cases[] = {{"abcabc", "a", 0},      {"abcabc", "bc", 1},       {"abcabc", "ca", 2},
                     {"abcabc", "abcabc", 0}, {"abcabc", "abcabcd", -1}, {"abcabc", "x", -1},
                     {"aab", "ab", 1},        {"abcabc", "", 0},         {"", "", 0},
                     {"", "a", -1},           {"abc", "C", -1}};
  for (const auto& c : cases) {
    EXPECT_EQ(this->Str(c.text).Pos(this->T(c.part)), c.expected) << c.text << ' ' << c.part;
  }
}

TYPED_TEST(XStringQuery, PosOfNullIsMinusOne) {
  for (const TypeParam* none : {At<TypeParam>(0), At<TypeParam>(1)}) {
    EXPECT_EQ(this->Str("abc").Pos(none), -1);
    EXPECT_EQ(xstring("").Pos(none), -1);
    EXPECT_EQ(xstring().Pos(none), -1);
    EXPECT_EQ(xstring(none).Pos(this->T("x")), -1);
  }
  EXPECT_EQ(xstring().Pos(this->T("")), -1);
}

TEST(XStringPos, PositionsAreCharacters) {
  const Utf8Locale locale;
  ASSERT_TRUE(locale.IsFound());
  const xstring s(
      "\xc3\xa4\xe2\x82\xac"
      "bc");
  EXPECT_EQ(s.Pos("b"), 2);
  EXPECT_STREQ(s.Substring(s.Pos("b"), -1), "bc");
  EXPECT_EQ(s.Pos("\xe2\x82\xac"), 1);
  EXPECT_EQ(s.Pos(L"\u20ac"), 1);
}

TEST(XStringPos, AStringChoosesTheForm) {
  const xstring wide(L"abc");
  EXPECT_EQ(wide.Pos(xstring("c")), 2);
  EXPECT_EQ(Holding(wide), "wide 'abc'");
  const xstring narrow("abc");
  EXPECT_EQ(narrow.Pos(xstring(L"c")), 2);
  EXPECT_EQ(Holding(narrow), "narrow 'abc'");
  EXPECT_EQ(narrow.Pos(xstring()), -1);
  EXPECT_EQ(narrow.Pos(xstring("")), 0);
  EXPECT_EQ(narrow.Pos(narrow), 0);
  EXPECT_EQ(xstring().Pos(narrow), -1);
  EXPECT_EQ(xstring().Pos(xstring()), -1);
  EXPECT_EQ(xstring("an uninit one").Pos(At<char>(2)), 3);
}

TYPED_TEST(XStringQuery, MatchIsOfTheWholeText) {
  struct {
    const char *text, *pattern;
    bool expected;
  } const cases[] = {{"abc", "abc", true},
                     {"abc", "ab", false},
                     {"abc", "abcd", false},
                     {"abc", "a?c", true},
                     {"abc", "????", false},
                     {"abc", "???", true},
                     {"abc", "*", true},
                     {"", "*", true},
                     {"", "", true},
                     {"a", "", false},
                     {"", "?", false},
                     {"abc", "a*", true},
                     {"abc", "*c", true},
                     {"abc", "*b", false},
                     {"abc", "*b*", true},
                     {"aXbXc", "a*b*c", true},
                     {"ababc", "*abc", true},
                     {"abc", "ABC", false},
                     {"a*c", "a\\*c", false},
                     {"abc", "**?**", true},
                     {"mississippi", "m*iss*ppi", true},
                     {"mississippi", "m*issp*", false}};
  for (const auto& c : cases) {
    EXPECT_EQ(this->Str(c.text).Match(this->T(c.pattern)), c.expected)
        << c.text << ' ' << c.pattern;
  }
}

TYPED_TEST(XStringQuery, MatchOfNullIsFalse) {
  for (const TypeParam* none : {At<TypeParam>(0), At<TypeParam>(1)}) {
    EXPECT_FALSE(this->Str("abc").Match(none));
    EXPECT_FALSE(xstring("").Match(none));
    EXPECT_FALSE(xstring().Match(none));
  }
  EXPECT_FALSE(xstring().Match(this->T("*")));
  EXPECT_FALSE(xstring().Match(this->T("")));
}

TEST(XStringMatch, AQuestionMarkIsACharacterOfTheLocale) {
  const Utf8Locale locale;
  ASSERT_TRUE(locale.IsFound());
  EXPECT_TRUE(xstring("\xe2\x82\xac").Match("?"));
  EXPECT_TRUE(xstring(L"\u20ac").Match("?"));
  EXPECT_TRUE(xstring("\xe2\x82\xac").Match(L"?"));
  EXPECT_FALSE(xstring("\xe2\x82\xac").Match("??"));
}

TEST(XStringMatch, AStringChoosesTheForm) {
  const xstring wide(L"abc");
  EXPECT_TRUE(wide.Match(xstring("a*")));
  EXPECT_EQ(Holding(wide), "wide 'abc'");
  const xstring narrow("abc");
  EXPECT_TRUE(narrow.Match(xstring(L"a*")));
  EXPECT_EQ(Holding(narrow), "narrow 'abc'");
  EXPECT_FALSE(narrow.Match(xstring()));
  EXPECT_FALSE(xstring().Match(xstring("*")));
  EXPECT_FALSE(xstring().Match(xstring()));
  EXPECT_TRUE(xstring("uninit").Match(At<char>(2)));
}

// --- numbers ---

TYPED_TEST(XStringQuery, ToIntReadsDecimalNumbers) {
  struct {
    const char* text;
    bool good;
    int expected;
  } const cases[] = {{"42", true, 42},
                     {" -17 ", true, -17},
                     {"+5", true, 5},
                     {"\t\n 007", true, 7},
                     {"2147483647", true, INT_MAX},
                     {"2147483648", false, 0},
                     {"-2147483648", true, INT_MIN},
                     {"-2147483649", false, 0},
                     {"99999999999999999999", false, 0},
                     {"", false, 0},
                     {" ", false, 0},
                     {"-", false, 0},
                     {"- 1", false, 0},
                     {"0x10", false, 0},
                     {"1.0", false, 0},
                     {"12a", false, 0},
                     {"1 2", false, 0}};
  for (const auto& c : cases) {
    const xstring s = this->Str(c.text);
    int value = 4711;
    EXPECT_EQ(s.ToInt(&value), c.good) << c.text;
    EXPECT_EQ(value, c.good ? c.expected : 4711) << c.text;
    EXPECT_EQ(s.ToInt(nullptr), c.good) << c.text;
  }
}

TYPED_TEST(XStringQuery, ToDoubleReadsDecimalNumbers) {
  struct {
    const char* text;
    bool good;
    double expected;
  } const cases[] = {{"42", true, 42},
                     {" -1.5 ", true, -1.5},
                     {"+.5", true, 0.5},
                     {"1e3", true, 1000},
                     {"1E-2", true, 0.01},
                     {"1.5e+1", true, 15},
                     {"0.1", true, 0.1},
                     {"1e400", false, 0},
                     {"-1e400", false, 0},
                     {"", false, 0},
                     {"1,5", false, 0},
                     {"inf", false, 0},
                     {"nan", false, 0},
                     {"0x1p3", false, 0},
                     {"1e", false, 0},
                     {"1.5x", false, 0},
                     {".", false, 0},
                     {"1 2", false, 0},
                     {"1.7976931348623157e308", true, std::numeric_limits<double>::max()}};
  for (const auto& c : cases) {
    const xstring s = this->Str(c.text);
    double value = 4711;
    EXPECT_EQ(s.ToDouble(&value), c.good) << c.text;
    EXPECT_EQ(value, c.good ? c.expected : 4711) << c.text;
    EXPECT_EQ(s.ToDouble(nullptr), c.good) << c.text;
  }
}

TEST(XStringNumbers, TheNullStringIsNoNumber) {
  int number = 4711;
  double real = 4711;
  EXPECT_FALSE(xstring().ToInt(&number));
  EXPECT_FALSE(xstring().ToDouble(&real));
  EXPECT_EQ(number, 4711);
  EXPECT_EQ(real, 4711);
}

TEST(XStringNumbers, TheLocaleDoesNotMatter) {
  const GermanUtf8Locale locale;
  VEL_NEED_LOCALE(locale);
  double real = 0;
  for (const xstring& s : {xstring("1.5"), xstring(L"1.5")}) {
    EXPECT_TRUE(s.ToDouble(&real));
    EXPECT_EQ(real, 1.5);
  }
  EXPECT_FALSE(xstring("1,5").ToDouble(&real));
  EXPECT_FALSE(xstring(L"1,5").ToDouble(&real));
}

TEST(XStringNumbers, TheNarrowFormIsPreferred) {
  const xstring narrow("12");
  const xstring wide(L"34");
  // One view with two texts tells which one is read.
  const __xstring_c mixed = {BufferOf(narrow), Fields(narrow).narrow, Fields(wide).wide};
  const xstring s(mixed, true);
  int number = 0;
  double real = 0;
  EXPECT_TRUE(s.ToInt(&number) && s.ToDouble(&real));
  EXPECT_EQ(number, 12);
  EXPECT_EQ(real, 12);
}

// --- case ---

TYPED_TEST(XStringQuery, CaseConversionGivesANewString) {
  const xstring s = this->Str("aBc-1");
  EXPECT_EQ(Holding(s.ToUpper()), Only<TypeParam>("ABC-1"));
  EXPECT_EQ(Holding(s.ToLower()), Only<TypeParam>("abc-1"));
  EXPECT_EQ(Holding(s), Only<TypeParam>("aBc-1"));
  const xstring upper = this->Str("ABC");
  EXPECT_NE(BufferOf(upper.ToUpper()), BufferOf(upper));
}

TEST(XStringCase, NullAndEmptyGiveThemselves) {
  EXPECT_EQ(Holding(xstring().ToUpper()), "null");
  EXPECT_EQ(Holding(xstring().ToLower()), "null");
  EXPECT_EQ(Holding(xstring("").ToUpper()), kSharedEmpty);
  EXPECT_EQ(Holding(xstring("").ToLower()), kSharedEmpty);
  const xstring ownEmpty = xstring("a").GetWord(1, " ");
  EXPECT_EQ(BufferOf(ownEmpty.ToUpper()), BufferOf(ownEmpty));
}

TEST(XStringCase, TheNarrowFormIsPreferred) {
  const xstring s(L"ab");
  s.CastToCString();
  EXPECT_EQ(Holding(s.ToUpper()), "narrow 'AB'");
}

TEST(XStringCase, CharactersGoThroughTheLocale) {
  const Utf8Locale locale;
  ASSERT_TRUE(locale.IsFound());
  EXPECT_STREQ(xstring("x\xc3\xa4").ToUpper(), "X\xc3\x84");
  EXPECT_STREQ(xstring("X\xc3\x84").ToLower(), "x\xc3\xa4");
  EXPECT_TRUE(SameWide(xstring(L"x\u00e4").ToUpper(), L"X\u00c4"));
  EXPECT_TRUE(SameWide(xstring(L"X\u00c4").ToLower(), L"x\u00e4"));
}

// U+0131, two bytes, has the upper case I, one byte.
TEST(XStringCase, ACharacterWhoseOtherCaseHasAnotherLengthStays) {
  const TurkishUtf8Locale locale;
  VEL_NEED_LOCALE(locale);
  EXPECT_STREQ(xstring("a\xc4\xb1").ToUpper(), "A\xc4\xb1");
  EXPECT_TRUE(SameWide(xstring(L"a\u0131").ToUpper(), L"AI"));
}

TEST(XStringCase, TextsBeyondTheLongestAreRefused) {
  const HugeText huge(korStrBuf::kMaxLength + 1);
  ASSERT_TRUE(huge.IsValid());
  const xstring owner("x");
  const xstring s(__xstring_c{BufferOf(owner), huge.Get(), nullptr}, true);
  EXPECT_VEL_NATIVE(s.ToUpper(), "Size limit exceeded");
  EXPECT_VEL_NATIVE(s.ToLower(), "Size limit exceeded");
}

// --- Printf ---

TEST(XStringPrintf, FormatsIntoANarrowString) {
  const PlainLocale plain;
  EXPECT_EQ(Holding(xstring::Printf("%d-%s-%5.2f", 42, "abc", 1.5)), "narrow '42-abc- 1.50'");
  EXPECT_EQ(Holding(xstring::Printf("100%%")), "narrow '100%'");
}

TEST(XStringPrintf, AnEmptyResultIsTheSharedEmptyString) {
  EXPECT_EQ(Holding(xstring::Printf("%s", "")), kSharedEmpty);
}

TEST(XStringPrintf, ANullFormatGivesNull) {
  const char* const null = nullptr;
  const char* const one = At<char>(1);
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-security"
  EXPECT_EQ(Holding(xstring::Printf(null)), "null");
  EXPECT_EQ(Holding(xstring::Printf(one)), "null");
  EXPECT_EQ(Holding(xstring::Printf(At<char>(2))), "narrow 'uninit'");
#pragma GCC diagnostic pop
}

// The "C" locale has no such character.
TEST(XStringPrintf, AFormattingErrorGivesNull) {
  const PlainLocale plain;
  EXPECT_EQ(Holding(xstring::Printf("a%lcb", static_cast<wint_t>(0x20AC))), "null");
}

TEST(XStringPrintf, TheLongestResultHas2055Bytes) {
  const std::string longest(2055, 'x');
  const xstring s = xstring::Printf("%s", longest.c_str());
  EXPECT_EQ(s.GetLength(), 2055);
  EXPECT_EQ(s.CastToCString(), longest);
}

TEST(XStringPrintfDeathTest, ALongerResultAborts) {
  const std::string tooLong(2056, 'x');
  EXPECT_VEL_ABORT(xstring::Printf("%s", tooLong.c_str()), "String too long",
                   "velstd/strlibsrc/xstring", 985);
  EXPECT_VEL_ABORT(xstring::Printf("%100000d", 1), "String too long", "velstd/strlibsrc/xstring",
                   985);
}

// --- text of the null string ---

TEST(XStringNullText, IsNullForAllThatTakeText) {
  const char* const none = xstring();
  const wchar_t* const wideNone = xstring();
  const xstring s("a b");
  EXPECT_TRUE(xstring(none).IsNull() && xstring(wideNone).IsNull());
  EXPECT_TRUE(xstring(none, 3).IsNull() && xstring(wideNone, 3).IsNull());
  EXPECT_TRUE(xstring(none, 0, -1).IsNull() && xstring(wideNone, 0, -1).IsNull());
  EXPECT_TRUE(xstring(none, none).IsNull() && xstring(wideNone, wideNone).IsNull());
  EXPECT_TRUE(xstring(s, none) == s && xstring(s, wideNone) == s);
  EXPECT_TRUE(xstring() == none && xstring() == wideNone);
  EXPECT_TRUE(s != none && s != wideNone);
  EXPECT_TRUE(s.GetNWords(none) == 1 && s.GetNWords(wideNone) == 1);
  EXPECT_TRUE(s.GetWord(0, none) == s && s.GetWord(0, wideNone) == s);
  EXPECT_TRUE(s.Pos(none) == -1 && s.Pos(wideNone) == -1);
  EXPECT_FALSE(s.Match(none) || s.Match(wideNone));
  EXPECT_TRUE(Strbytes(none) == 0 && Strbytes(wideNone) == 0);
  EXPECT_EQ(Strcmp(wideNone, L"a"), -1);
  EXPECT_EQ(mbsnbcnt(none, 3), 0U);
}

}  // namespace
