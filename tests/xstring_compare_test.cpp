// Comparison, output and the free functions.
#include <sstream>
#include <string>
#include <vector>

#include "korostream.h"
#include "veltest.h"
#include "veltest_string.h"
#include "xstring.h"

namespace {

// Runs for both widths: Ch is the width of the text compared with.
template <class Ch>
class XStringCompare : public testing::Test {
 protected:
  static const Ch* T(const std::string& ascii) { return Lit<Ch>(ascii); }
  static const Ch* Null() { return nullptr; }
  static const Ch* One() { return At<Ch>(1); }
};
using Widths = testing::Types<char, wchar_t>;
TYPED_TEST_SUITE(XStringCompare, Widths, WidthName);

TYPED_TEST(XStringCompare, ComparisonWithText) {
  const xstring null;
  const xstring empty("");
  const xstring abc("abc");
  const xstring wideAbc(L"abc");
  for (const TypeParam* none : {this->Null(), this->One()}) {
    EXPECT_TRUE(null == none);
    EXPECT_TRUE(none == null);
    EXPECT_FALSE(null != none);
    EXPECT_FALSE(empty == none);
    EXPECT_FALSE(abc == none);
    EXPECT_TRUE(abc != none);
  }
  EXPECT_FALSE(null == this->T(""));
  EXPECT_FALSE(null == this->T("abc"));
  EXPECT_TRUE(empty == this->T(""));
  EXPECT_FALSE(empty == this->T("a"));
  for (const xstring* s : {&abc, &wideAbc}) {
    EXPECT_TRUE(*s == this->T("abc"));
    EXPECT_FALSE(*s == this->T("abd"));
    EXPECT_FALSE(*s == this->T("ab"));
    EXPECT_FALSE(*s == this->T("abcd"));
    EXPECT_FALSE(*s == this->T("ABC"));
    EXPECT_FALSE(*s == this->T(""));
    EXPECT_FALSE(*s != this->T("abc"));
    EXPECT_TRUE(this->T("abd") != *s);
  }
}

// Lengths are known or not, and forms are there or not: the answer is the same.
TEST(XString, WhatIsKnownOfAStringDoesNotChangeWhatItEquals) {
  const auto made = [](const std::string& text) {
    const std::string first = text.substr(0, 1);
    std::vector<xstring> all;
    all.emplace_back(text.c_str());
    xstring built(first.c_str());
    for (std::size_t i = 1; i < text.size(); ++i) built += text[i];
    all.push_back(built);
    xstring edited(text.c_str());
    edited.Substitute(first.c_str(), "Q");
    edited.Substitute("Q", first.c_str());
    all.push_back(edited);
    all.emplace_back(Lit<wchar_t>(text));
    xstring wide(Lit<wchar_t>(text));
    wide.CastToCString();
    all.push_back(wide);
    xstring both(text.c_str());
    both.CastToCWString();
    all.push_back(both);
    return all;
  };
  for (const xstring& a : made("abcde")) {
    for (const xstring& b : made("abcde")) EXPECT_TRUE(a == b);
    for (const xstring& b : made("abcdf")) EXPECT_FALSE(a == b);
    for (const xstring& b : made("abcd")) EXPECT_FALSE(a == b);
    EXPECT_FALSE(a == xstring());
    EXPECT_FALSE(xstring() == a);
    EXPECT_FALSE(a == xstring(""));
    EXPECT_FALSE(xstring("") == a);
  }
  const xstring none(__xstring_c{nullptr, nullptr, nullptr}, false);
  EXPECT_TRUE(none == xstring());
  EXPECT_FALSE(none == xstring("a"));
  EXPECT_FALSE(xstring("a") == none);
}

TEST(XString, ComparisonWithTextProducesTheFormOfTheText) {
  const PlainLocale plain;
  const xstring narrow("abc");
  EXPECT_TRUE(narrow == L"abc");
  EXPECT_EQ(Holding(narrow), "narrow 'abc' wide 'abc'");
  const xstring wide(L"a\u00e9");
  EXPECT_TRUE(wide == "a?");
  EXPECT_FALSE(wide == L"a?");
}

TEST(XString, ComparisonOfTwoStrings) {
  const xstring null;
  const xstring empty("");
  const xstring ownEmpty = xstring(L"a").GetWord(3, L" ");
  const xstring narrow("abc");
  const xstring wide(L"abc");
  const xstring other("abd");
  EXPECT_TRUE(null == xstring());
  EXPECT_FALSE(null == empty);
  EXPECT_FALSE(empty == null);
  EXPECT_FALSE(null == narrow);
  EXPECT_FALSE(narrow == null);
  EXPECT_FALSE(wide == null);
  EXPECT_TRUE(empty == ownEmpty);
  EXPECT_TRUE(ownEmpty == empty);
  EXPECT_TRUE(narrow == wide);
  EXPECT_TRUE(wide == narrow);
  EXPECT_TRUE(narrow == xstring("abc"));
  EXPECT_TRUE(wide == xstring(L"abc"));
  EXPECT_FALSE(narrow == other);
  EXPECT_FALSE(wide == other);
  EXPECT_TRUE(narrow != other);
  EXPECT_FALSE(narrow != wide);
  EXPECT_FALSE(narrow == xstring("abcd"));
}

TEST(XString, ComparisonOfTwoStringsGoesByTheFormsOfTheFirst) {
  const PlainLocale plain;
  const xstring wideFirst(L"abc");
  const xstring narrowSecond("abc");
  EXPECT_TRUE(wideFirst == narrowSecond);
  EXPECT_EQ(Holding(wideFirst), "wide 'abc'");
  EXPECT_EQ(Holding(narrowSecond), "narrow 'abc' wide 'abc'");

  const xstring narrowFirst("abc");
  const xstring wideSecond(L"abc");
  EXPECT_TRUE(narrowFirst == wideSecond);
  EXPECT_EQ(Holding(narrowFirst), "narrow 'abc'");
  EXPECT_EQ(Holding(wideSecond), "narrow 'abc' wide 'abc'");

  EXPECT_TRUE(xstring("?") == xstring(L"\u00e9"));   // narrow, in the "C" locale
  EXPECT_FALSE(xstring(L"\u00e9") == xstring("?"));  // wide
}

// --- output ---

std::string ToStandard(const xstring& s) {
  std::ostringstream out;
  EXPECT_EQ(&(out << s), &out);
  return out.str();
}
std::string ToToolkit(const xstring& s) {
  std::ostringstream target;
  korOStream out(target);
  EXPECT_EQ(&(out << s), &out);
  return target.str();
}

TEST(XString, TheTwoStreamsDifferOnNullOnly) {
  EXPECT_EQ(ToStandard(xstring()), "nil");
  EXPECT_EQ(ToToolkit(xstring()), "");
  const Utf8Locale locale;
  ASSERT_TRUE(locale.IsFound());
  for (const auto write : {ToStandard, ToToolkit}) {
    EXPECT_EQ(write(xstring("")), "");
    EXPECT_EQ(write(xstring("abc")), "abc");
    EXPECT_EQ(write(xstring(L"\u00e9x")), "\xc3\xa9x");
  }
}

TEST(XString, OutputOfAWideStringKeepsNoNarrowForm) {
  const PlainLocale plain;
  for (const auto write : {ToStandard, ToToolkit}) {
    const xstring wide(L"abc");
    EXPECT_EQ(write(wide), "abc");
    EXPECT_EQ(Holding(wide), "wide 'abc'");
    EXPECT_EQ(write(xstring(L"a\u00e9")), "a?");  // the "C" locale
  }
}

// --- free functions ---

TEST(XString, StrbytesCountsTheTerminator) {
  EXPECT_EQ(Strbytes(""), 1U);
  EXPECT_EQ(Strbytes("abc"), 4U);
  EXPECT_EQ(Strbytes(L""), sizeof(wchar_t));
  EXPECT_EQ(Strbytes(L"abc"), 4 * sizeof(wchar_t));
  EXPECT_EQ(Strbytes(At<char>(0)), 0U);
  EXPECT_EQ(Strbytes(At<char>(1)), 0U);
  EXPECT_EQ(Strbytes(At<char>(2)), 7U);
  EXPECT_EQ(Strbytes(At<wchar_t>(0)), 0U);
  EXPECT_EQ(Strbytes(At<wchar_t>(1)), 0U);
}

TEST(XString, WideStrcmpComparesUnsignedUnits) {
  const wchar_t high[] = {static_cast<wchar_t>(-1), 0};  // the largest unit
  struct {
    const wchar_t *a, *b;
    int expected;
  } const cases[] = {{L"", L"", 0},
                     {L"abc", L"abc", 0},
                     {L"abc", L"abd", -1},
                     {L"abd", L"abc", 1},
                     {L"ab", L"abc", -1},
                     {L"abc", L"ab", 1},
                     {L"a", L"z", -1},
                     {L"a", high, -1},
                     {high, L"\u00e9", 1},
                     {L"A", L"\U00010041", -1},
                     {At<wchar_t>(0), L"", -1},
                     {L"", At<wchar_t>(1), 1},
                     {At<wchar_t>(0), At<wchar_t>(1), 0}};
  int number = 0;
  for (const auto& c : cases) EXPECT_EQ(Strcmp(c.a, c.b), c.expected) << "case " << number++;
}

TEST(XString, MbsnbcntCountsTheBytesOfCharacters) {
  EXPECT_EQ(mbsnbcnt("abc", 2), 2U);
  EXPECT_EQ(mbsnbcnt("abc", 9), 3U);
  EXPECT_EQ(mbsnbcnt("abc", -1), 0U);
  EXPECT_EQ(mbsnbcnt(At<char>(1), 3), 0U);
  const Utf8Locale locale;
  ASSERT_TRUE(locale.IsFound());
  EXPECT_EQ(mbsnbcnt("\xc3\xa9\xe2\x82\xac", 1), 2U);
  EXPECT_EQ(mbsnbcnt("\xc3\xa9\xe2\x82\xac", 2), 5U);
}

}  // namespace
