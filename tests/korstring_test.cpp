#include "korstring.h"

#include <gtest/gtest.h>

#include <climits>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <cuchar>
#include <cwctype>
#include <limits>
#include <memory>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#include "korostream.h"
#include "veltest_locale.h"

namespace {

template <class C>
const C* At(std::uintptr_t address) {
  return reinterpret_cast<const C*>(address);
}

const char* const kNull = nullptr;
const char* const kOne = At<char>(1);
const char* const kUninit = At<char>(2);
const wchar_t* const kWideNull = nullptr;
const wchar_t* const kWideOne = At<wchar_t>(1);

constexpr std::size_t kUntouched = 777;

// A text in a heap block of exactly its size, so that a sanitizer sees reads
// and writes beyond it.
class Exact {
 public:
  explicit Exact(const std::string& text) : block(new char[text.size() + 1]) {
    std::memcpy(block.get(), text.c_str(), text.size() + 1);
  }
  char* Get() { return block.get(); }

 private:
  std::unique_ptr<char[]> block;
};

class ExactWide {
 public:
  explicit ExactWide(const wchar_t* text) : block(new wchar_t[WideLength(text) + 1]) {
    std::memcpy(block.get(), text, (WideLength(text) + 1) * sizeof(wchar_t));
  }
  wchar_t* Get() { return block.get(); }

 private:
  std::unique_ptr<wchar_t[]> block;
};

std::string RandomText(std::mt19937& random, const char* letters, std::size_t longest) {
  const std::size_t count = std::strlen(letters);
  std::string text;
  for (std::size_t left = random() % (longest + 1); left > 0; --left)
    text += letters[random() % count];
  return text;
}

// ---- lengths and copies ----

TEST(KorString, TextMapsTheSpecialPointers) {
  EXPECT_EQ(korText(kNull), nullptr);
  EXPECT_EQ(korText(kOne), nullptr);
  EXPECT_STREQ(korText(kUninit), "uninit");
  const char* plain = "x";
  EXPECT_EQ(korText(plain), plain);
  EXPECT_TRUE(korText(kWideNull) == nullptr);
  EXPECT_TRUE(korText(kWideOne) == nullptr);
  EXPECT_TRUE(korText(At<wchar_t>(2)) == At<wchar_t>(2));
  EXPECT_EQ(korText(At<char>(3)), At<char>(3));
}

TEST(KorString, StrlenCountsBytesAndUnits) {
  Utf8Locale utf8;
  EXPECT_EQ(Strlen(kNull), 0U);
  EXPECT_EQ(Strlen(kOne), 0U);
  EXPECT_EQ(Strlen(kUninit), 6U);
  EXPECT_EQ(Strlen(""), 0U);
  EXPECT_EQ(Strlen("\xc3\xa9"), 2U);
  EXPECT_EQ(Strlen(kWideNull), 0U);
  EXPECT_EQ(Strlen(kWideOne), 0U);
  EXPECT_EQ(Strlen(L""), 0U);
  EXPECT_EQ(Strlen(L"\u00e9x"), 2U);
  EXPECT_EQ(Strlen(L"\U0001F600"), sizeof(wchar_t) == 2 ? 2U : 1U);
}

TEST(KorString, StrnewCopiesForArrayDelete) {
  std::unique_ptr<char[]> copy(Strnew__("abc"));
  EXPECT_STREQ(copy.get(), "abc");
  std::unique_ptr<char[]> empty(Strnew(""));
  EXPECT_STREQ(empty.get(), "");
  std::unique_ptr<char[]> uninit(Strnew(kUninit));
  EXPECT_STREQ(uninit.get(), "uninit");
  EXPECT_EQ(Strnew__(kNull), nullptr);
  EXPECT_EQ(Strnew__(kOne), nullptr);
  EXPECT_EQ(Strnew(kNull), nullptr);
  EXPECT_EQ(Strnew(kOne), nullptr);
}

TEST(KorString, StrneWReplacesWhatTheLocaleLacks) {
  const PlainLocale plain;
  std::unique_ptr<char[]> c(StrneW(L"a\u00e9b"));
  EXPECT_STREQ(c.get(), "a?b");
  Utf8Locale utf8;
  VEL_NEED_LOCALE(utf8);
  std::unique_ptr<char[]> full(StrneW(L"a\u00e9b"));
  EXPECT_STREQ(full.get(),
               "a\xc3\xa9"
               "b");
  std::unique_ptr<char[]> empty(StrneW(L""));
  EXPECT_STREQ(empty.get(), "");
  EXPECT_EQ(StrneW(kWideNull), nullptr);
  EXPECT_EQ(StrneW(kWideOne), nullptr);
}

// ---- find and substitute ----

std::string Substituted(const char* source, const char* from, const char* to, int first,
                        int count) {
  char dest[256];
  korStringSubstitute(dest, source, from, to, first, count);
  return dest;
}

std::string WideSubstituted(const wchar_t* source, const wchar_t* from, const wchar_t* to,
                            int first, int count) {
  wchar_t dest[256];
  korWStringSubstitute(dest, source, from, to, first, count);
  return Shown(dest);
}

TEST(KorString, FindCountsFromTheFirstToReplace) {
  std::size_t offset = kUntouched;
  EXPECT_EQ(korStringFind("a-b-c-d", "-", 1, -1, &offset), 3);
  EXPECT_EQ(offset, 1U);
  EXPECT_EQ(korStringFind("a-b-c-d", "-", 2, 1, &offset), 1);
  EXPECT_EQ(offset, 3U);
  EXPECT_EQ(korStringFind("a-b-c-d", "-", 2, -1, &offset), 2);
  EXPECT_EQ(offset, 3U);
  EXPECT_EQ(korStringFind("a-b-c-d", "-", 0, -1, &offset), 3);
  EXPECT_EQ(offset, 1U);
  EXPECT_EQ(korStringFind("a-b-c-d", "-", -5, 2, &offset), 2);
  EXPECT_EQ(offset, 1U);
  EXPECT_EQ(korStringFind("a-b-c-d", "-", 3, -1, &offset), 1);
  EXPECT_EQ(offset, 5U);
  EXPECT_EQ(korStringFind("a-b-c-d", "-", 1, -1, nullptr), 3);
}

TEST(KorString, FindOfNothingLeavesTheOffset) {
  std::size_t offset = kUntouched;
  EXPECT_EQ(korStringFind("a-b-c-d", "-", 4, -1, &offset), 0);
  EXPECT_EQ(korStringFind("a-b-c-d", "-", 9, 1, &offset), 0);
  EXPECT_EQ(korStringFind("a-b-c-d", "-", 1, 0, &offset), 0);
  EXPECT_EQ(korStringFind("a-b", "", 1, -1, &offset), 0);
  EXPECT_EQ(korStringFind("a-b", kNull, 1, -1, &offset), 0);
  EXPECT_EQ(korStringFind("a-b", kOne, 1, -1, &offset), 0);
  EXPECT_EQ(korStringFind(kNull, "-", 1, -1, &offset), 0);
  EXPECT_EQ(korStringFind(kOne, "-", 1, -1, &offset), 0);
  EXPECT_EQ(korStringFind("", "-", 1, -1, &offset), 0);
  EXPECT_EQ(offset, kUntouched);
}

TEST(KorString, FindDoesNotOverlap) {
  std::size_t offset = 0;
  EXPECT_EQ(korStringFind("aaaa", "aa", 1, -1, &offset), 2);
  EXPECT_EQ(korStringFind("aaaaa", "aa", 2, -1, &offset), 1);
  EXPECT_EQ(offset, 2U);
}

TEST(KorString, FindTakesTheUninitText) {
  std::size_t offset = kUntouched;
  EXPECT_EQ(korStringFind(kUninit, "n", 1, -1, &offset), 2);
  EXPECT_EQ(offset, 1U);
  EXPECT_EQ(korStringFind("an uninit text", kUninit, 1, -1, &offset), 1);
  EXPECT_EQ(offset, 3U);
}

TEST(KorString, SubstituteReplacesTheCountedOnes) {
  EXPECT_EQ(Substituted("a-b-c-d", "-", "+", 2, 1), "a-b+c-d");
  EXPECT_EQ(Substituted("a-b-c-d", "-", "+", 2, -1), "a-b+c+d");
  EXPECT_EQ(Substituted("a-b-c-d", "-", "+", 0, -1), "a+b+c+d");
  EXPECT_EQ(Substituted("a-b-c-d", "-", "+", 9, 1), "a-b-c-d");
  EXPECT_EQ(Substituted("a-b-c-d", "-", "+", 1, 0), "a-b-c-d");
  EXPECT_EQ(Substituted("a-b-c-d", "-", "<->", 1, 2), "a<->b<->c-d");
  EXPECT_EQ(Substituted("a-b-c-d", "-", kNull, 1, -1), "abcd");
  EXPECT_EQ(Substituted("a-b-c-d", "-", kOne, 1, -1), "abcd");
  EXPECT_EQ(Substituted("a-b-c-d", "-", "", 1, -1), "abcd");
  EXPECT_EQ(Substituted("a-b", "", "+", 1, -1), "a-b");
  EXPECT_EQ(Substituted("a-b", kNull, "+", 1, -1), "a-b");
  EXPECT_EQ(Substituted("aaaaa", "aa", "b", 1, -1), "bba");
  EXPECT_EQ(Substituted("", "a", "b", 1, -1), "");
  EXPECT_EQ(Substituted(kNull, "a", "b", 1, -1), "");
  EXPECT_EQ(Substituted(kOne, "a", "b", 1, -1), "");
  EXPECT_EQ(Substituted(kUninit, "un", "", 1, -1), "init");
  EXPECT_EQ(Substituted("-", "-", kUninit, 1, -1), "uninit");
  korStringSubstitute(nullptr, "a", "a", "b", 1, -1);
}

TEST(KorString, WideSubstituteAndFindMirrorTheNarrow) {
  std::size_t offset = kUntouched;
  EXPECT_EQ(korWStringFind(L"a-b-c-d", L"-", 2, -1, &offset), 2);
  EXPECT_EQ(offset, 3U);
  EXPECT_EQ(korWStringFind(L"aaaaa", L"aa", 1, -1, &offset), 2);
  offset = kUntouched;
  EXPECT_EQ(korWStringFind(kWideOne, L"-", 1, -1, &offset), 0);
  EXPECT_EQ(korWStringFind(L"-", kWideOne, 1, -1, &offset), 0);
  EXPECT_EQ(korWStringFind(L"-", L"--", 1, -1, &offset), 0);
  EXPECT_EQ(korWStringFind(L"-", L"", 1, -1, &offset), 0);
  EXPECT_EQ(korWStringFind(L"a-b", L"-", 1, 0, &offset), 0);
  EXPECT_EQ(offset, kUntouched);
  EXPECT_EQ(WideSubstituted(L"a-b-c-d", L"-", L"+", 2, 1), "a-b+c-d");
  EXPECT_EQ(WideSubstituted(L"a-b-c-d", L"-", kWideOne, 1, -1), "abcd");
  EXPECT_EQ(WideSubstituted(L"a\u20acb", L"\u20ac", L"<EUR>", 1, -1), "a<EUR>b");
  EXPECT_EQ(WideSubstituted(kWideNull, L"a", L"b", 1, -1), "");
  EXPECT_EQ(WideSubstituted(L"abc", kWideNull, L"b", 1, -1), "abc");
  korWStringSubstitute(nullptr, L"a", L"a", L"b", 1, -1);
}

TEST(KorString, SubstituteWorksInPlaceWhenItDoesNotGrow) {
  Exact shrinking("one two two two");
  korStringSubstitute(shrinking.Get(), shrinking.Get(), "two", "2", 2, -1);
  EXPECT_STREQ(shrinking.Get(), "one two 2 2");
  Exact same("abcabc");
  korStringSubstitute(same.Get(), same.Get(), "bc", "xy", 1, -1);
  EXPECT_STREQ(same.Get(), "axyaxy");
  // What is written must not be found again.
  Exact again("aab");
  korStringSubstitute(again.Get(), again.Get(), "ab", "b", 1, -1);
  EXPECT_STREQ(again.Get(), "ab");
  ExactWide wide(L"one two two");
  korWStringSubstitute(wide.Get(), wide.Get(), L"two", L"", 1, -1);
  EXPECT_EQ(Shown(wide.Get()), "one  ");
}

// Occurrences found one by one, without overlap.
std::string ModelSubstitute(const std::string& text, const std::string& from, const std::string& to,
                            int first, int count, int* replaced, std::size_t* offset) {
  *replaced = 0;
  if (from.empty()) return text;
  std::string result;
  int number = 0;
  for (std::size_t at = 0; at < text.size();) {
    if (text.compare(at, from.size(), from) != 0) {
      result += text[at++];
      continue;
    }
    ++number;
    const bool chosen = number >= first && (count < 0 || *replaced < count);
    if (chosen && (*replaced)++ == 0) *offset = at;
    result += chosen ? to : from;
    at += from.size();
  }
  return result;
}

TEST(KorString, FindAndSubstituteAgreeWithAModel) {
  std::mt19937 random(20240117);
  for (int round = 0; round < 20000; ++round) {
    const std::string text = RandomText(random, "aab", 12);
    const std::string from = RandomText(random, "ab", 3);
    const std::string to = RandomText(random, "abc", 4);
    const int first = static_cast<int>(random() % 6) - 1;
    const int count = static_cast<int>(random() % 5) - 1;
    int replaced = 0;
    std::size_t expectedOffset = kUntouched;
    const std::string expected =
        ModelSubstitute(text, from, to, first, count, &replaced, &expectedOffset);
    std::size_t offset = kUntouched;
    std::size_t wideOffset = kUntouched;
    ASSERT_EQ(korStringFind(text.c_str(), from.c_str(), first, count, &offset), replaced)
        << text << ' ' << from;
    ASSERT_EQ(korWStringFind(Wide(text), Wide(from), first, count, &wideOffset), replaced)
        << text << ' ' << from;
    ASSERT_EQ(offset, expectedOffset);
    ASSERT_EQ(wideOffset, expectedOffset);
    ASSERT_EQ(Substituted(text.c_str(), from.c_str(), to.c_str(), first, count), expected)
        << text << ' ' << from << ' ' << to << ' ' << first << ' ' << count;
    ASSERT_EQ(WideSubstituted(Wide(text), Wide(from), Wide(to), first, count), expected);
    if (to.size() <= from.size()) {
      Exact inPlace(text);
      korStringSubstitute(inPlace.Get(), inPlace.Get(), from.c_str(), to.c_str(), first, count);
      ASSERT_EQ(inPlace.Get(), expected);
    }
  }
}

// ---- words ----

// Word `n` in brackets, or "-" when there is none.
std::string Word(const char* text, int n, const char* separators) {
  const char* start = nullptr;
  std::size_t length = 0;
  if (!korStringGetWord(text, n, separators, &start, &length)) return "-";
  return '[' + std::string(start, length) + ']';
}

std::string WideWord(const wchar_t* text, int n, const wchar_t* separators) {
  const wchar_t* start = nullptr;
  std::size_t length = 0;
  if (!korWStringGetWord(text, n, separators, &start, &length)) return "-";
  return '[' + Shown(start, length) + ']';
}

TEST(KorString, WordsAreRunsBetweenSeparators) {
  EXPECT_EQ(korStringGetNWords(";a;;b;", ";"), 2);
  EXPECT_EQ(Word(";a;;b;", 0, ";"), "[a]");
  EXPECT_EQ(Word(";a;;b;", 1, ";"), "[b]");
  EXPECT_EQ(Word(";a;;b;", 2, ";"), "-");
  EXPECT_EQ(Word(";a;;b;", -1, ";"), "-");
  EXPECT_EQ(Word("one, two", 1, ", "), "[two]");
  EXPECT_EQ(korStringGetNWords(";;;", ";"), 0);
  EXPECT_EQ(Word(";;;", 0, ";"), "-");
  EXPECT_EQ(korStringGetNWords("", ";"), 0);
  EXPECT_EQ(Word("", 0, ";"), "-");
}

TEST(KorString, WithoutSeparatorsTheTextIsOneWord) {
  EXPECT_EQ(korStringGetNWords("a b", ""), 1);
  EXPECT_EQ(korStringGetNWords("a b", kNull), 1);
  EXPECT_EQ(korStringGetNWords("a b", kOne), 1);
  EXPECT_EQ(Word("a b", 0, kNull), "[a b]");
  EXPECT_EQ(Word("a b", 1, kNull), "-");
  EXPECT_EQ(korStringGetNWords("", kNull), 0);
  EXPECT_EQ(korWStringGetNWords(L"a b", kWideOne), 1);
  EXPECT_EQ(korWStringGetNWords(L"", kWideNull), 0);
  EXPECT_EQ(WideWord(L"a b", 0, L""), "[a b]");
}

TEST(KorString, TheNullTextHasNoWords) {
  EXPECT_EQ(korStringGetNWords(kNull, ";"), 0);
  EXPECT_EQ(korStringGetNWords(kOne, ";"), 0);
  EXPECT_EQ(Word(kNull, 0, ";"), "-");
  EXPECT_EQ(Word(kOne, 0, kNull), "-");
  EXPECT_EQ(korWStringGetNWords(kWideNull, L";"), 0);
  EXPECT_EQ(WideWord(kWideOne, 0, L";"), "-");
}

TEST(KorString, WordsTakeTheUninitText) {
  EXPECT_EQ(korStringGetNWords(kUninit, "i"), 3);
  EXPECT_EQ(Word(kUninit, 2, "i"), "[t]");
  EXPECT_EQ(Word("xuxnx", 0, kUninit), "[x]");
}

TEST(KorString, GetWordReportsPlacesAndLeavesThemOnFailure) {
  const char* text = "  ab  ";
  const char* start = nullptr;
  std::size_t length = 0;
  EXPECT_TRUE(korStringGetWord(text, 0, " ", &start, &length));
  EXPECT_EQ(start, text + 2);
  EXPECT_EQ(length, 2U);
  EXPECT_FALSE(korStringGetWord(text, 1, " ", &start, &length));
  EXPECT_EQ(start, text + 2);
  EXPECT_EQ(length, 2U);
  EXPECT_TRUE(korStringGetWord(text, 0, " ", nullptr, nullptr));
  EXPECT_TRUE(korWStringGetWord(L" a", 0, L" ", nullptr, nullptr));
}

TEST(KorString, WideSeparatorsAreUnits) {
  EXPECT_EQ(korWStringGetNWords(L"\u20aca\u20ac\u20acb", L"\u20ac"), 2);
  EXPECT_EQ(WideWord(L"\u20aca\u20ac\u20acb", 1, L",\u20ac"), "[b]");
  EXPECT_EQ(WideWord(L"a,b", 2, L","), "-");
  EXPECT_EQ(WideWord(L"a,b", -1, L","), "-");
}

TEST(KorString, NarrowSeparatorsAreBytesAbove127Too) {
  EXPECT_EQ(korStringGetNWords("a\xff"
                               "b\x80",
                               "\xff\x80"),
            2);
}

TEST(KorString, NextWordStaysBeforeTheEnd) {
  const char* text = " ab cd";
  const char* start = nullptr;
  const char* end = nullptr;
  ASSERT_TRUE(korStringGetNextWord(text, text + 6, " ", &start, &end));
  EXPECT_EQ(start, text + 1);
  EXPECT_EQ(end, text + 3);
  ASSERT_TRUE(korStringGetNextWord(end, text + 5, " ", &start, &end));
  EXPECT_EQ(start, text + 4);
  EXPECT_EQ(end, text + 5);
  EXPECT_FALSE(korStringGetNextWord(text + 3, text + 4, " ", &start, &end));
  EXPECT_EQ(start, text + 4);
  EXPECT_EQ(end, text + 5);
  EXPECT_FALSE(korStringGetNextWord(text + 6, text + 6, " ", &start, &end));
  EXPECT_FALSE(korStringGetNextWord(text + 6, text, " ", &start, &end));
  EXPECT_TRUE(korStringGetNextWord(text + 2, nullptr, " ", &start, &end));
  EXPECT_EQ(std::string(start, end), "b");
  EXPECT_TRUE(korStringGetNextWord(text, nullptr, nullptr, &start, &end));
  EXPECT_EQ(std::string(start, end), text);
  EXPECT_TRUE(korStringGetNextWord(text, nullptr, " ", nullptr, nullptr));
  EXPECT_FALSE(korStringGetNextWord(kNull, nullptr, " ", &start, &end));
  EXPECT_FALSE(korStringGetNextWord(kOne, kOne, " ", &start, &end));
  EXPECT_TRUE(korStringGetNextWord(kUninit, kUninit + 6, "u", &start, &end));
  EXPECT_EQ(std::string(start, end), "ninit");
}

TEST(KorString, WideNextWordMirrorsTheNarrow) {
  const wchar_t* text = L" ab cd";
  const wchar_t* start = nullptr;
  const wchar_t* end = nullptr;
  ASSERT_TRUE(korWStringGetNextWord(text, text + 6, L" ", &start, &end));
  EXPECT_TRUE(start == text + 1 && end == text + 3);
  ASSERT_TRUE(korWStringGetNextWord(end, nullptr, L" ", &start, &end));
  EXPECT_TRUE(start == text + 4 && end == text + 6);
  EXPECT_FALSE(korWStringGetNextWord(end, nullptr, L" ", &start, &end));
  EXPECT_FALSE(korWStringGetNextWord(kWideOne, nullptr, L" ", &start, &end));
  EXPECT_TRUE(start == text + 4 && end == text + 6);
}

TEST(KorString, WordsAgreeWithAModel) {
  std::mt19937 random(7);
  for (int round = 0; round < 5000; ++round) {
    const std::string text = RandomText(random, "ab;,", 14);
    const std::string separators = RandomText(random, ";,", 2);
    std::vector<std::string> model;
    bool inWord = false;
    for (char unit : text) {
      const bool separator = separators.find(unit) != std::string::npos;
      if (!separator && !inWord) model.emplace_back();
      if (!separator) model.back() += unit;
      inWord = !separator;
    }
    const auto words = static_cast<int>(model.size());
    ASSERT_EQ(korStringGetNWords(text.c_str(), separators.c_str()), words) << text;
    ASSERT_EQ(korWStringGetNWords(Wide(text), Wide(separators)), words) << text;
    const char* cursor = text.c_str();
    for (int n = 0; n < words; ++n) {
      const std::string expected = '[' + model[static_cast<std::size_t>(n)] + ']';
      ASSERT_EQ(Word(text.c_str(), n, separators.c_str()), expected);
      ASSERT_EQ(WideWord(Wide(text), n, Wide(separators)), expected);
      const char* start = nullptr;
      ASSERT_TRUE(korStringGetNextWord(cursor, nullptr, separators.c_str(), &start, &cursor));
      ASSERT_EQ('[' + std::string(start, cursor) + ']', expected);
    }
    ASSERT_EQ(Word(text.c_str(), words, separators.c_str()), "-");
    ASSERT_FALSE(korStringGetNextWord(cursor, nullptr, separators.c_str(), nullptr, nullptr));
  }
}

// ---- position ----

TEST(KorString, FindSubstringAnswersTheFirstPosition) {
  EXPECT_EQ(korStringFindSubstring("abcabc", "c"), 2);
  EXPECT_EQ(korStringFindSubstring("abcabc", "abcabcd"), -1);
  EXPECT_EQ(korStringFindSubstring("abc", "x"), -1);
  EXPECT_EQ(korStringFindSubstring("abc", ""), 0);
  EXPECT_EQ(korStringFindSubstring("", ""), 0);
  EXPECT_EQ(korStringFindSubstring("", "a"), -1);
  EXPECT_EQ(korStringFindSubstring(kNull, "x"), -1);
  EXPECT_EQ(korStringFindSubstring(kOne, ""), -1);
  EXPECT_EQ(korStringFindSubstring("abc", kNull), -1);
  EXPECT_EQ(korStringFindSubstring("abc", kOne), -1);
  EXPECT_EQ(korStringFindSubstring(kUninit, "init"), 2);
  EXPECT_EQ(korStringFindSubstring("x uninit", kUninit), 2);
}

TEST(KorString, FindSubstringCountsCharactersOfTheLocale) {
  const PlainLocale plain;
  const char* text =
      "\xc3\xa9\xe2\x82\xac"
      "x\xff\xf0\x9f\x98\x80y";
  EXPECT_EQ(korStringFindSubstring(text, "x"), 5);  // in "C" every byte is one
  Utf8Locale utf8;
  VEL_NEED_LOCALE(utf8);
  EXPECT_EQ(korStringFindSubstring(text, "x"), 2);
  EXPECT_EQ(korStringFindSubstring(text, "\xff"), 3);
  EXPECT_EQ(korStringFindSubstring(text, "y"), 5);
}

TEST(KorString, WideFindSubstringCountsUnits) {
  EXPECT_EQ(korWStringFindSubstring(L"\u00e9\u20acx", L"x"), 2);
  EXPECT_EQ(korWStringFindSubstring(L"\U0001F600x", L"x"), sizeof(wchar_t) == 2 ? 2 : 1);
  EXPECT_EQ(korWStringFindSubstring(L"aab", L"ab"), 1);
  EXPECT_EQ(korWStringFindSubstring(L"abc", L""), 0);
  EXPECT_EQ(korWStringFindSubstring(L"", L""), 0);
  EXPECT_EQ(korWStringFindSubstring(L"ab", L"abc"), -1);
  EXPECT_EQ(korWStringFindSubstring(kWideOne, L""), -1);
  EXPECT_EQ(korWStringFindSubstring(L"abc", kWideNull), -1);
}

// ---- match ----

TEST(KorString, MatchIsOfTheWholeText) {
  EXPECT_TRUE(korStringMatch("abc", "abc"));
  EXPECT_FALSE(korStringMatch("abc", "ab"));
  EXPECT_FALSE(korStringMatch("ab", "abc"));
  EXPECT_TRUE(korStringMatch("abc", "a*"));
  EXPECT_TRUE(korStringMatch("abc", "*c"));
  EXPECT_TRUE(korStringMatch("abc", "a*c"));
  EXPECT_TRUE(korStringMatch("ac", "a*c"));
  EXPECT_FALSE(korStringMatch("acd", "a*c"));
  EXPECT_TRUE(korStringMatch("abcbc", "a*bc"));
  EXPECT_TRUE(korStringMatch("abc", "a?c"));
  EXPECT_FALSE(korStringMatch("ac", "a?c"));
  EXPECT_TRUE(korStringMatch("", "*"));
  EXPECT_TRUE(korStringMatch("", "***"));
  EXPECT_FALSE(korStringMatch("", "?"));
  EXPECT_TRUE(korStringMatch("", ""));
  EXPECT_FALSE(korStringMatch("a", ""));
  EXPECT_TRUE(korStringMatch("a*b", "a*b"));
  EXPECT_TRUE(korStringMatch("a\\b", "a\\?"));
  EXPECT_FALSE(korStringMatch("a*", "a\\*"));
}

TEST(KorString, MatchOfNullIsFalse) {
  EXPECT_FALSE(korStringMatch(kNull, "*"));
  EXPECT_FALSE(korStringMatch(kOne, "*"));
  EXPECT_FALSE(korStringMatch("", kNull));
  EXPECT_FALSE(korStringMatch("", kOne));
  EXPECT_FALSE(korWStringMatch(kWideNull, L"*"));
  EXPECT_FALSE(korWStringMatch(L"", kWideOne));
  EXPECT_TRUE(korStringMatch(kUninit, "un*"));
  EXPECT_TRUE(korStringMatch("uninit", kUninit));
}

TEST(KorString, MatchTakesCharactersOfTheLocale) {
  const PlainLocale plain;
  EXPECT_FALSE(korStringMatch("\xc3\xa9", "?"));
  EXPECT_TRUE(korStringMatch("\xc3\xa9", "??"));
  {
    Utf8Locale utf8;
    VEL_NEED_LOCALE(utf8);
    EXPECT_TRUE(korStringMatch("\xc3\xa9", "?"));
    EXPECT_FALSE(korStringMatch("\xc3\xa9", "??"));
    EXPECT_TRUE(
        korStringMatch("a\xc3\xa9"
                       "b",
                       "a*b"));
    EXPECT_TRUE(korStringMatch("\xc3\xa9\xc3\xa8", "*\xc3\xa8"));
    EXPECT_FALSE(korStringMatch("\xc3\xa9", "\xc3?"));
    EXPECT_FALSE(korStringMatch("\xc3\xa9", "*\xa9"));
    EXPECT_TRUE(korStringMatch("\xff\xc3", "??"));
    EXPECT_TRUE(korStringMatch("\xf0\x9f\x98\x80", "?"));
  }
  GermanLatin1Locale latin1;
  VEL_NEED_LOCALE(latin1);
  EXPECT_TRUE(korStringMatch("\xc3\xa9", "??"));
}

TEST(KorString, WideMatchTakesUnits) {
  EXPECT_TRUE(korWStringMatch(L"\u00e9\u20ac", L"?\u20ac"));
  EXPECT_EQ(korWStringMatch(L"\U0001F600", L"?"), sizeof(wchar_t) == 4);
  EXPECT_TRUE(korWStringMatch(L"abcbc", L"a*bc"));
  EXPECT_FALSE(korWStringMatch(L"abcb", L"a*bc"));
  EXPECT_FALSE(korWStringMatch(L"a", L""));
}

using Characters = std::vector<std::string>;

bool ModelMatch(const Characters& text, std::size_t t, const Characters& pattern, std::size_t p) {
  if (p == pattern.size()) return t == text.size();
  if (pattern[p] == "*") {
    return ModelMatch(text, t, pattern, p + 1) ||
           (t < text.size() && ModelMatch(text, t + 1, pattern, p));
  }
  return t < text.size() && (pattern[p] == "?" || pattern[p] == text[t]) &&
         ModelMatch(text, t + 1, pattern, p + 1);
}

Characters RandomCharacters(std::mt19937& random, const Characters& letters, std::size_t longest) {
  Characters text;
  for (std::size_t left = random() % (longest + 1); left > 0; --left)
    text.push_back(letters[random() % letters.size()]);
  return text;
}

std::string Joined(const Characters& characters) {
  std::string text;
  for (const std::string& character : characters) text += character;
  return text;
}

TEST(KorString, MatchAgreesWithAModel) {
  Utf8Locale utf8;
  VEL_NEED_LOCALE(utf8);
  std::mt19937 random(99);
  int matches = 0;
  for (int round = 0; round < 20000; ++round) {
    const Characters text = RandomCharacters(random, {"a", "b", "\xc3\xa9", "\xc3\xa8"}, 8);
    const Characters pattern = RandomCharacters(random, {"a", "b", "\xc3\xa9", "?", "*", "*"}, 7);
    const bool expected = ModelMatch(text, 0, pattern, 0);
    matches += expected ? 1 : 0;
    ASSERT_EQ(korStringMatch(Joined(text).c_str(), Joined(pattern).c_str()), expected)
        << Joined(text) << " against " << Joined(pattern);
    const Characters plain = RandomCharacters(random, {"a", "b"}, 8);
    const Characters plainPattern = RandomCharacters(random, {"a", "b", "?", "*"}, 7);
    ASSERT_EQ(korWStringMatch(Wide(Joined(plain)), Wide(Joined(plainPattern))),
              ModelMatch(plain, 0, plainPattern, 0))
        << Joined(plain) << " against " << Joined(plainPattern);
  }
  EXPECT_GT(matches, 1000);
}

TEST(KorString, MatchOfManyStarsEnds) {
  std::string pattern;
  for (int i = 0; i < 40; ++i) pattern += "a*";
  pattern += 'b';
  EXPECT_FALSE(korStringMatch(std::string(3000, 'a').c_str(), pattern.c_str()));
}

// ---- numbers ----

bool ReadsInt(const char* text, int expected) {
  int value = -99;
  int wideValue = -99;
  const bool narrow = korStringToInt(text, &value) && korStringToInt(text, nullptr);
  const bool wide = korWStringToInt(Wide(text), &wideValue) && korWStringToInt(Wide(text), nullptr);
  return narrow && wide && value == expected && wideValue == expected;
}

bool RefusesInt(const char* text) {
  int value = -99;
  return !korStringToInt(text, &value) && !korWStringToInt(Wide(text), &value) &&
         !korStringToInt(text, nullptr) && value == -99;
}

TEST(KorString, ToIntReadsDecimalNumbers) {
  EXPECT_TRUE(ReadsInt("42", 42));
  EXPECT_TRUE(ReadsInt(" -17 ", -17));
  EXPECT_TRUE(ReadsInt("\t+7\n", 7));
  EXPECT_TRUE(ReadsInt("0", 0));
  EXPECT_TRUE(ReadsInt("-0", 0));
  EXPECT_TRUE(ReadsInt("0000000000000000000000012", 12));
  EXPECT_TRUE(ReadsInt("2147483647", 2147483647));
  EXPECT_TRUE(ReadsInt("-2147483648", std::numeric_limits<int>::min()));
}

TEST(KorString, ToIntRefusesTheRestAndLeavesTheTarget) {
  for (const char* text : {"", " ", "-", "+", "+-1", "--1", "- 1", "1 2", "1x", "x1", "0x10", "1.0",
                           "1e3", "2147483648", "-2147483649", "99999999999999999999999", "1,5"}) {
    EXPECT_TRUE(RefusesInt(text)) << text;
  }
  int value = -99;
  EXPECT_FALSE(korStringToInt(kNull, &value));
  EXPECT_FALSE(korStringToInt(kOne, &value));
  EXPECT_FALSE(korStringToInt(kUninit, &value));
  EXPECT_FALSE(korWStringToInt(kWideNull, &value));
  EXPECT_FALSE(korWStringToInt(kWideOne, &value));
  EXPECT_FALSE(korWStringToInt(L"\u0661", &value));  // a digit, but not of ASCII
  EXPECT_EQ(value, -99);
}

bool ReadsDouble(const char* text, double expected) {
  double value = -99;
  double wideValue = -99;
  const bool narrow = korStringToDouble(text, &value) && korStringToDouble(text, nullptr);
  const bool wide =
      korWStringToDouble(Wide(text), &wideValue) && korWStringToDouble(Wide(text), nullptr);
  return narrow && wide && std::memcmp(&value, &expected, sizeof(value)) == 0 &&
         std::memcmp(&wideValue, &expected, sizeof(value)) == 0;
}

bool RefusesDouble(const char* text) {
  double value = -99;
  return !korStringToDouble(text, &value) && !korWStringToDouble(Wide(text), &value) &&
         !korStringToDouble(text, nullptr) && value == -99;
}

TEST(KorString, ToDoubleReadsFractionsAndExponents) {
  EXPECT_TRUE(ReadsDouble("42", 42));
  EXPECT_TRUE(ReadsDouble(" -1.5\t", -1.5));
  EXPECT_TRUE(ReadsDouble("+.5", 0.5));
  EXPECT_TRUE(ReadsDouble("7.", 7));
  EXPECT_TRUE(ReadsDouble("1e3", 1000));
  EXPECT_TRUE(ReadsDouble("-2.5E-1", -0.25));
  EXPECT_TRUE(ReadsDouble("1e+2", 100));
  EXPECT_TRUE(ReadsDouble("-0", -0.0));
  EXPECT_TRUE(ReadsDouble("0e99999999999", 0));
  EXPECT_TRUE(ReadsDouble("0.1", 0.1));
}

TEST(KorString, ToDoubleRoundsToTheNearest) {
  EXPECT_TRUE(ReadsDouble("1.7976931348623157e308", std::numeric_limits<double>::max()));
  EXPECT_TRUE(ReadsDouble("1.7976931348623158e308", std::numeric_limits<double>::max()));
  EXPECT_TRUE(ReadsDouble("5e-324", std::numeric_limits<double>::denorm_min()));
  EXPECT_TRUE(ReadsDouble("9007199254740993", 9007199254740992.0));  // a tie goes to the even one
  EXPECT_TRUE(
      ReadsDouble("9007199254740993."
                  "000000000000000000000000000000000000000000000000000000000000000000000000001",
                  9007199254740994.0));
  EXPECT_TRUE(ReadsDouble("2.2250738585072011e-308", 2.2250738585072011e-308));
}

TEST(KorString, ToDoubleRefusesTheRestAndLeavesTheTarget) {
  for (const char* text : {"",
                           " ",
                           ".",
                           "-",
                           "+",
                           "-.",
                           "e5",
                           ".e5",
                           "1e",
                           "1e+",
                           "1e 5",
                           "1.5.2",
                           "1,5",
                           "+-1",
                           "-+1",
                           "--1",
                           "1 2",
                           "1x",
                           "0x10",
                           "0x1p3",
                           "inf",
                           "-inf",
                           "infinity",
                           "nan",
                           "nan(1)",
                           "1e309",
                           "-1e309",
                           "1.7976931348623159e308",
                           "1e99999999999999999999",
                           "1e-400",
                           "2e-324",
                           "1_000",
                           "1f",
                           "1d"}) {
    EXPECT_TRUE(RefusesDouble(text)) << text;
  }
  double value = -99;
  EXPECT_FALSE(korStringToDouble(kNull, &value));
  EXPECT_FALSE(korStringToDouble(kOne, &value));
  EXPECT_FALSE(korStringToDouble(kUninit, &value));
  EXPECT_FALSE(korWStringToDouble(kWideNull, &value));
  EXPECT_FALSE(korWStringToDouble(kWideOne, &value));
  EXPECT_EQ(value, -99);
}

TEST(KorString, NumbersDoNotDependOnTheLocale) {
  GermanUtf8Locale german;
  VEL_NEED_LOCALE(german);
  EXPECT_TRUE(ReadsDouble("1.5", 1.5));
  EXPECT_TRUE(RefusesDouble("1,5"));
  EXPECT_TRUE(RefusesInt("1.000"));
  EXPECT_TRUE(ReadsInt("1000", 1000));
}

TEST(KorString, ToDoubleReadsBackWhatIsPrinted) {
  const PlainLocale plain;
  std::mt19937_64 random(5);
  for (int round = 0; round < 5000; ++round) {
    const std::uint64_t bits = random();
    double number;
    std::memcpy(&number, &bits, sizeof(number));
    if (!std::isfinite(number)) continue;
    char text[64];
    std::snprintf(text, sizeof(text), "%.17g", number);
    ASSERT_TRUE(ReadsDouble(text, number)) << text;
  }
}

// ---- case ----

std::string Upper(const std::string& text) {
  Exact copy(text);
  korStringToUpper(copy.Get());
  return copy.Get();
}

std::string Lower(const std::string& text) {
  Exact copy(text);
  korStringToLower(copy.Get());
  return copy.Get();
}

TEST(KorString, CaseGoesThroughTheLocale) {
  const PlainLocale plain;
  EXPECT_EQ(Upper("aZ1\xe9\xc3\xa9"), "AZ1\xe9\xc3\xa9");
  EXPECT_EQ(Lower("aZ1\xc9"), "az1\xc9");
  EXPECT_EQ(Upper(""), "");
  {
    Utf8Locale utf8;
    VEL_NEED_LOCALE(utf8);
    EXPECT_EQ(Upper("a\xc3\xa9z"), "A\xc3\x89Z");
    EXPECT_EQ(Lower("A\xc3\x89Z"), "a\xc3\xa9z");
    // Invalid bytes stay, what follows them is still converted.
    EXPECT_EQ(Upper("\xff"
                    "a\xc3"),
              "\xff"
              "A\xc3");
    // U+0131 becomes I and U+0250 a three-byte letter: other lengths, so both stay.
    EXPECT_EQ(Upper("x\xc4\xb1\xc9\x90y"), "X\xc4\xb1\xc9\x90Y");
    // A letter beyond the first plane.
    EXPECT_EQ(Upper("\xf0\x90\x90\xa8"), "\xf0\x90\x90\x80");
  }
  GermanLatin1Locale latin1;
  VEL_NEED_LOCALE(latin1);
  EXPECT_EQ(Upper("\xe9\xff"), "\xc9\xff");  // U+0178 is not in the character set
  EXPECT_EQ(Lower("\xc9"), "\xe9");
}

TEST(KorString, CaseKeepsLettersOfAnotherLengthInTurkish) {
  TurkishUtf8Locale turkish;
  VEL_NEED_LOCALE(turkish);
  EXPECT_EQ(Upper("ahi"), "AHi");
  EXPECT_EQ(Lower("AHI"), "ahI");
}

// The text as the C library converts it, each character for itself.
std::string ConvertedOneByOne(const std::string& text, std::wint_t (*convert)(std::wint_t)) {
  std::string result;
  for (std::size_t at = 0; at < text.size();) {
    char32_t character;
    std::mbstate_t in{};
    std::size_t length = std::mbrtoc32(&character, text.data() + at, text.size() - at, &in);
    char out[MB_LEN_MAX];
    std::size_t other = 0;
    if (length <= text.size() - at && character <= 0x10FFFF) {
      std::mbstate_t state{};
      other = std::c32rtomb(
          out, static_cast<char32_t>(convert(static_cast<std::wint_t>(character))), &state);
    } else {
      length = 1;
    }
    result += other == length ? std::string(out, length) : text.substr(at, length);
    at += length;
  }
  return result;
}

// Every byte, and in UTF-8 every letter, more than once: what is known of one is
// used for the next.
void ExpectCasesOfTheCLibrary() {
  std::string bytes;
  for (int i = 0; i < 3 * 255; ++i) bytes += static_cast<char>(i * 7 % 255 + 1);
  EXPECT_EQ(Upper(bytes), ConvertedOneByOne(bytes, std::towupper));
  EXPECT_EQ(Lower(bytes), ConvertedOneByOne(bytes, std::towlower));
  std::string letters;
  for (int i = 0; i < 2; ++i) {
    for (wchar_t c = 1; c < 0xD800; ++c) {
      char out[MB_LEN_MAX];
      std::mbstate_t state{};
      const std::size_t length = std::c32rtomb(out, static_cast<char32_t>(c), &state);
      if (length <= MB_LEN_MAX) letters.append(out, length);
    }
  }
  EXPECT_TRUE(Upper(letters) == ConvertedOneByOne(letters, std::towupper));
  EXPECT_TRUE(Lower(letters) == ConvertedOneByOne(letters, std::towlower));
}

// Long texts of ASCII, for which blocks are converted at once, with something else at
// each place of a block.
void ExpectCasesOfLongTexts() {
  std::string ascii;
  for (int i = 0; i < 700; ++i) ascii += static_cast<char>(i * 5 % 127 + 1);
  for (const std::size_t length : {511U, 512U, 513U, 543U, 544U, 545U, 575U, 576U, 700U}) {
    const std::string text = ascii.substr(0, length);
    EXPECT_EQ(Upper(text), ConvertedOneByOne(text, std::towupper)) << length;
    EXPECT_EQ(Lower(text), ConvertedOneByOne(text, std::towlower)) << length;
  }
  for (const char* other : {"\xC3\xA9", "\xC3\x89", "\xFF", "\x80"}) {
    for (std::size_t at = 0; at < 100; ++at) {
      const std::string text = ascii.substr(0, at) + other + ascii.substr(at);
      ASSERT_EQ(Upper(text), ConvertedOneByOne(text, std::towupper)) << at;
      ASSERT_EQ(Lower(text), ConvertedOneByOne(text, std::towlower)) << at;
    }
  }
  for (std::size_t at = 0; at < 100; ++at) {
    std::vector<wchar_t> text(ascii.begin(), ascii.end());
    text[at] = L'\u00e9';
    std::vector<wchar_t> upper, lower;
    for (const wchar_t c : text) {
      upper.push_back(static_cast<wchar_t>(std::towupper(static_cast<std::wint_t>(c))));
      lower.push_back(static_cast<wchar_t>(std::towlower(static_cast<std::wint_t>(c))));
    }
    for (auto* all : {&text, &upper, &lower}) all->push_back(L'\0');
    std::vector<wchar_t> made = text;
    korWStringToUpper(made.data());
    ASSERT_TRUE(made == upper) << at;
    made = text;
    korWStringToLower(made.data());
    ASSERT_TRUE(made == lower) << at;
  }
}

TEST(KorString, CasesOfLongTextsAreThoseOfTheCLibraryInEveryLocale) {
  ExpectCasesOfLongTexts();
  {
    Utf8Locale utf8;
    VEL_NEED_LOCALE(utf8);
    ExpectCasesOfLongTexts();
  }
  {
    GermanLatin1Locale latin1;
    VEL_NEED_LOCALE(latin1);
    ExpectCasesOfLongTexts();
  }
  TurkishUtf8Locale turkish;
  VEL_NEED_LOCALE(turkish);
  ExpectCasesOfLongTexts();
}

TEST(KorString, CasesAreThoseOfTheCLibraryInEveryLocale) {
  ExpectCasesOfTheCLibrary();
  {
    Utf8Locale utf8;
    VEL_NEED_LOCALE(utf8);
    ExpectCasesOfTheCLibrary();
  }
  {
    GermanUtf8Locale german;
    VEL_NEED_LOCALE(german);
    ExpectCasesOfTheCLibrary();
  }
  {
    GermanLatin1Locale latin1;
    VEL_NEED_LOCALE(latin1);
    ExpectCasesOfTheCLibrary();
  }
  TurkishUtf8Locale turkish;
  VEL_NEED_LOCALE(turkish);
  ExpectCasesOfTheCLibrary();
}

TEST(KorString, WideFindTakesTheFirstOfManyBeginnings) {
  EXPECT_EQ(korWStringFindSubstring(Wide(std::string(300, 'a') + "aab"), Wide("aab")), 300);
  EXPECT_EQ(korWStringFindSubstring(Wide(std::string(300, 'a')), Wide("aab")), -1);
  EXPECT_EQ(korWStringFindSubstring(Wide("xyxyxz"), Wide("xyxz")), 2);
  EXPECT_EQ(korWStringFindSubstring(Wide(""), Wide("")), 0);
  EXPECT_EQ(korWStringFindSubstring(Wide(""), Wide("a")), -1);
}

std::string WideUpper(const wchar_t* text) {
  ExactWide copy(text);
  korWStringToUpper(copy.Get());
  return Shown(copy.Get());
}

std::string WideLower(const wchar_t* text) {
  ExactWide copy(text);
  korWStringToLower(copy.Get());
  return Shown(copy.Get());
}

TEST(KorString, WideCaseGoesByUnit) {
  EXPECT_EQ(WideUpper(L"aZ1"), "AZ1");
  EXPECT_EQ(WideLower(L"aZ1"), "az1");
  Utf8Locale utf8;
  VEL_NEED_LOCALE(utf8);
  EXPECT_EQ(WideUpper(L"\u00e9\u0131"), "{c9}I");
  EXPECT_EQ(WideLower(L"\u00c9"), "{e9}");
  // Deseret letters: a pair of 16-bit surrogates stays.
  EXPECT_EQ(WideUpper(L"\U00010428"), sizeof(wchar_t) == 2 ? "{d801}{dc28}" : "{10400}");
  const wchar_t lone[] = {static_cast<wchar_t>(0xD801), L'a', L'\0'};
  EXPECT_EQ(WideUpper(lone), "{d801}A");
}

TEST(KorString, CaseOfNullDoesNothing) {
  korStringToLower(nullptr);
  korStringToUpper(reinterpret_cast<char*>(std::uintptr_t{1}));
  korStringToUpper(reinterpret_cast<char*>(std::uintptr_t{2}));
  korWStringToLower(nullptr);
  korWStringToUpper(reinterpret_cast<wchar_t*>(std::uintptr_t{1}));
}

// ---- stream ----

TEST(KorOStream, WritesTextsAndNothingForNull) {
  std::ostringstream beneath;
  korOStream stream(beneath);
  stream << "a" << kNull << kOne << "" << kUninit << "b";
  EXPECT_EQ(beneath.str(), "auninitb");
}

}  // namespace
