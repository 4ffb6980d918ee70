// Construction, the states of a value and its two forms.
#include "xstring.h"

#include <atomic>
#include <climits>
#include <memory>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "veltest.h"
#include "veltest_string.h"

namespace {

// Runs for both widths: Ch is the width that goes in.
template <class Ch>
class XStringForm : public testing::Test {
 protected:
  static const Ch* T(const std::string& ascii) { return Lit<Ch>(ascii); }
  static const Ch* Null() { return nullptr; }
  static const Ch* One() { return At<Ch>(1); }
};
using Widths = testing::Types<char, wchar_t>;
TYPED_TEST_SUITE(XStringForm, Widths, WidthName);

// The first test of the program, so that the threads race for the first use.
TEST(XString, FirstUseFromSeveralThreadsMakesOneEmptyBuffer) {
  std::atomic<int> waiting{4};
  korStrBuf* seen[4] = {};
  std::vector<std::thread> threads;
  for (auto& place : seen) {
    threads.emplace_back([&waiting, &place] {
      --waiting;
      while (waiting > 0) std::this_thread::yield();
      place = BufferOf(xstring(""));
    });
  }
  for (auto& thread : threads) thread.join();
  for (korStrBuf* buffer : seen) EXPECT_EQ(buffer, BufferOf(xstring("")));
}

TEST(XString, DefaultIsNull) {
  const xstring s;
  EXPECT_TRUE(s.IsNull());
  EXPECT_EQ(Fields(s).buffer, nullptr);
  EXPECT_EQ(Fields(s).narrow, At<char>(1));
  EXPECT_EQ(Fields(s).wide, At<wchar_t>(1));
}

TEST(XString, NullIsNotEmpty) {
  EXPECT_TRUE(xstring().IsNull());
  EXPECT_FALSE(xstring().IsEmpty());
  EXPECT_FALSE(xstring("").IsNull());
  EXPECT_TRUE(xstring("").IsEmpty());
  EXPECT_FALSE(xstring() == xstring(""));
}

TYPED_TEST(XStringForm, NullTextGivesTheNullString) {
  for (const TypeParam* null : {this->Null(), this->One()}) {
    EXPECT_EQ(Holding(xstring(null)), "null");
    EXPECT_EQ(Holding(xstring(null, 3)), "null");
    EXPECT_EQ(Holding(xstring(null, -1)), "null");
    EXPECT_EQ(Holding(xstring(null, 1, 2)), "null");
    EXPECT_EQ(Holding(xstring(null, 0, -1)), "null");
    xstring assigned("old");
    assigned = null;
    EXPECT_EQ(Holding(assigned), "null");
  }
}

TYPED_TEST(XStringForm, TextIsCopiedIntoItsFormOnly) {
  TypeParam source[] = {'a', 'b', 'c', 0};
  const xstring s(source);
  source[0] = 'x';
  EXPECT_EQ(Holding(s), Only<TypeParam>("abc"));
  xstring assigned("old");
  assigned = source;
  EXPECT_EQ(Holding(assigned), Only<TypeParam>("xbc"));
}

TYPED_TEST(XStringForm, EmptyTextGivesTheSharedBuffer) {
  const TypeParam* text = this->T("abc");
  EXPECT_EQ(Holding(xstring(this->T(""))), kSharedEmpty);
  EXPECT_EQ(Holding(xstring(this->T(""), 5)), kSharedEmpty);
  EXPECT_EQ(Holding(xstring(text, 0)), kSharedEmpty);
  EXPECT_EQ(Holding(xstring(this->T(""), 0, -1)), kSharedEmpty);
  EXPECT_EQ(Holding(xstring(text, 2, 2)), kSharedEmpty);
  EXPECT_EQ(Holding(xstring(this->T(""), this->T(""))), kSharedEmpty);
  xstring assigned("old");
  assigned = this->T("");
  EXPECT_EQ(Holding(assigned), kSharedEmpty);
}

TEST(XString, AllEmptyStringsShareOneBufferWithBothForms) {
  const xstring a("");
  const xstring b(L"");
  EXPECT_EQ(BufferOf(a), BufferOf(b));
  EXPECT_EQ(Fields(a).narrow, Fields(b).narrow);
  EXPECT_EQ(Fields(a).wide, Fields(b).wide);
  EXPECT_STREQ(Fields(a).narrow, "");
  ASSERT_NE(Fields(a).wide, nullptr);
  EXPECT_TRUE(SameWide(Fields(a).wide, L""));
}

TEST(XString, AttachEmptyFillsTheViewAndTakesAReference) {
  __xstring_c view = {nullptr, nullptr, nullptr};
  xstringAttachEmptyStrBuf(&view);
  EXPECT_EQ(Holding(xstring(view, false)), kSharedEmpty);
}

TYPED_TEST(XStringForm, TruncatedConstruction) {
  struct {
    int n;
    const char* expected;
  } const cases[] = {{INT_MIN, ""}, {-1, ""},    {0, ""},     {1, "a"},
                     {3, "abc"},    {4, "abcd"}, {5, "abcd"}, {INT_MAX, "abcd"}};
  for (const auto& c : cases) {
    const xstring s(this->T("abcd"), c.n);
    EXPECT_EQ(Holding(s), *c.expected ? Only<TypeParam>(c.expected) : kSharedEmpty) << c.n;
  }
}

TYPED_TEST(XStringForm, RangeConstruction) {
  struct {
    int start, end;
    const char* expected;
  } const cases[] = {{0, -1, "abcd"},    {1, -1, "bcd"},
                     {3, -1, "d"},       {1, INT_MIN, "bcd"},
                     {1, 3, "bc"},       {0, 1, "a"},
                     {1, 4, "bcd"},      {1, 5, "bcd"},
                     {2, INT_MAX, "cd"}, {0, 0, ""},
                     {2, 2, ""},         {3, 1, ""},
                     {4, -1, ""},        {5, -1, ""},
                     {INT_MAX, -1, ""},  {4, 9, ""},
                     {9, 12, ""},        {INT_MAX, INT_MAX, ""},
                     {-1, 2, "ab"},      {INT_MIN, -1, "abcd"},
                     {-5, 0, ""},        {INT_MIN, INT_MAX, "abcd"}};
  for (const auto& c : cases) {
    const xstring s(this->T("abcd"), c.start, c.end);
    EXPECT_EQ(Holding(s), *c.expected ? Only<TypeParam>(c.expected) : kSharedEmpty)
        << c.start << ' ' << c.end;
  }
}

TEST(XString, NarrowPositionsAreCharactersOfTheLocale) {
  const Utf8Locale locale;
  ASSERT_TRUE(locale.IsFound());
  const char* const text =
      "\xc3\xa4\xe2\x82\xac"
      "b";  // 2, 3 and 1 bytes
  EXPECT_STREQ(xstring(text, 1), "\xc3\xa4");
  EXPECT_STREQ(xstring(text, 2), "\xc3\xa4\xe2\x82\xac");
  EXPECT_STREQ(xstring(text, 1, 2), "\xe2\x82\xac");
  EXPECT_STREQ(xstring(text, 1, -1),
               "\xe2\x82\xac"
               "b");
  EXPECT_STREQ(xstring(text, 2, 9), "b");
  EXPECT_EQ(Holding(xstring(text, 3, -1)), kSharedEmpty);
}

TYPED_TEST(XStringForm, ConcatenationOfAllKindsOfParts) {
  const std::string abcd = Only<TypeParam>("abcd");
  const std::string ab = Only<TypeParam>("ab");
  const std::string cd = Only<TypeParam>("cd");
  for (const TypeParam* null : {this->Null(), this->One()}) {
    for (const TypeParam* otherNull : {this->Null(), this->One()}) {
      EXPECT_EQ(Holding(xstring(null, otherNull)), "null");
    }
    EXPECT_EQ(Holding(xstring(null, this->T(""))), kSharedEmpty);
    EXPECT_EQ(Holding(xstring(null, this->T("cd"))), cd);
    EXPECT_EQ(Holding(xstring(this->T(""), null)), kSharedEmpty);
    EXPECT_EQ(Holding(xstring(this->T("ab"), null)), ab);
  }
  EXPECT_EQ(Holding(xstring(this->T(""), this->T(""))), kSharedEmpty);
  EXPECT_EQ(Holding(xstring(this->T(""), this->T("cd"))), cd);
  EXPECT_EQ(Holding(xstring(this->T("ab"), this->T(""))), ab);
  EXPECT_EQ(Holding(xstring(this->T("ab"), this->T("cd"))), abcd);
}

TYPED_TEST(XStringForm, StringFollowedByText) {
  const xstring null;
  const xstring empty("");
  const xstring ab(this->T("ab"));
  for (const TypeParam* none : {this->Null(), this->One()}) {
    EXPECT_EQ(Holding(xstring(null, none)), "null");
    EXPECT_EQ(Holding(xstring(empty, none)), kSharedEmpty);
    EXPECT_EQ(Holding(xstring(ab, none)), Only<TypeParam>("ab"));
  }
  EXPECT_EQ(Holding(xstring(null, this->T(""))), kSharedEmpty);
  EXPECT_EQ(Holding(xstring(null, this->T("cd"))), Only<TypeParam>("cd"));
  EXPECT_EQ(Holding(xstring(empty, this->T(""))), kSharedEmpty);
  EXPECT_EQ(Holding(xstring(empty, this->T("cd"))), Only<TypeParam>("cd"));
  EXPECT_EQ(Holding(xstring(ab, this->T(""))), Only<TypeParam>("ab"));
  EXPECT_EQ(Holding(xstring(ab, this->T("cd"))), Only<TypeParam>("abcd"));
  EXPECT_EQ(Holding(ab), Only<TypeParam>("ab"));
}

TEST(XString, StringFollowedByTextOfTheOtherWidthTakesItsForm) {
  EXPECT_EQ(Holding(xstring(xstring("ab"), L"cd")), Only<wchar_t>("abcd"));
  EXPECT_EQ(Holding(xstring(xstring(L"ab"), "cd")), Only<char>("abcd"));
}

TEST(XString, EmptyConcatenationSharesTheBufferWhateverTheFirstPartHolds) {
  const xstring ownEmpty = xstring("a").GetWord(5, " ");
  EXPECT_EQ(Holding(ownEmpty), "narrow ''");
  EXPECT_EQ(Holding(xstring(ownEmpty, "")), kSharedEmpty);
}

TEST(XString, AddressTwoAsNarrowTextIsUninit) {
  const char* const uninit = At<char>(2);
  EXPECT_FALSE(xstring(uninit).IsNull());
  EXPECT_TRUE(xstring(uninit) == "uninit");
  EXPECT_STREQ(xstring(uninit, 2), "un");
  EXPECT_STREQ(xstring(uninit, 2, 4), "in");
  EXPECT_STREQ(xstring(uninit, uninit), "uninituninit");
  EXPECT_STREQ(xstring(xstring("a-"), uninit), "a-uninit");
  xstring assigned;
  assigned = uninit;
  EXPECT_STREQ(assigned, "uninit");
  EXPECT_TRUE(xstring("uninit") == uninit);
  EXPECT_TRUE(xstring(L"uninit") == uninit);
  EXPECT_FALSE(xstring() == uninit);
}

TYPED_TEST(XStringForm, CopiesShareTheBufferAndOutliveTheOriginal) {
  auto original = std::make_unique<xstring>(this->T("abc"));
  const xstring copy(*original);
  xstring assigned("old");
  assigned = *original;
  EXPECT_EQ(BufferOf(copy), BufferOf(*original));
  EXPECT_EQ(BufferOf(assigned), BufferOf(*original));
  original.reset();
  EXPECT_EQ(Holding(copy), Only<TypeParam>("abc"));
  EXPECT_EQ(Holding(assigned), Only<TypeParam>("abc"));
}

TEST(XString, CopiesOfNullAndEmptyStayWhatTheyAre) {
  const xstring null;
  const xstring empty("");
  EXPECT_EQ(Holding(xstring(null)), "null");
  EXPECT_EQ(Holding(xstring(empty)), kSharedEmpty);
  xstring s("old");
  s = empty;
  EXPECT_EQ(Holding(s), kSharedEmpty);
  s = null;
  EXPECT_EQ(Holding(s), "null");
}

TEST(XString, SelfAssignmentKeepsTheText) {
  xstring s("abc");
  xstring& same = s;
  s = same;
  EXPECT_EQ(Holding(s), "narrow 'abc'");
  s = std::move(same);
  EXPECT_EQ(Holding(s), "narrow 'abc'");
}

TEST(XString, MovingLeavesNull) {
  xstring from("abc");
  korStrBuf* const buffer = BufferOf(from);
  xstring to(std::move(from));
  EXPECT_EQ(BufferOf(to), buffer);
  EXPECT_EQ(Holding(from), "null");
  from = std::move(to);
  EXPECT_EQ(BufferOf(from), buffer);
  EXPECT_EQ(Holding(to), "null");
}

TYPED_TEST(XStringForm, AssignmentOfATextDropsTheOtherForm) {
  xstring s(Lit<TypeParam>("abcdef"));
  s.CastToCString();
  s.CastToCWString();
  s = Lit<TypeParam>("xyz");
  EXPECT_EQ(Holding(s), Only<TypeParam>("xyz"));
  EXPECT_STREQ(s, "xyz");
  EXPECT_TRUE(SameWide(s, L"xyz"));
}

TYPED_TEST(XStringForm, AssignmentOfATextLeavesCopiesAlone) {
  xstring s(Lit<TypeParam>("abcdef"));
  const xstring copy(s);
  const __xstring_c held = s.getxstring_c();
  s = Lit<TypeParam>("xyz");
  s = Lit<TypeParam>("uvw");
  EXPECT_TRUE(s == "uvw");
  EXPECT_TRUE(copy == "abcdef");
  EXPECT_TRUE(xstring(held, false) == "abcdef");
}

// Up and down by more than any step in which buffers grow.
TYPED_TEST(XStringForm, AssignmentOfTextsOfAllLengthsKeepsThem) {
  xstring s;
  for (std::size_t i = 0; i < 2000; ++i) {
    const std::string text(i * 7919 % 700, static_cast<char>('a' + i % 26));
    s = Lit<TypeParam>(text);
    ASSERT_EQ(s.GetLength(), static_cast<int>(text.size()));
    if (i % 3 == 0) s += Lit<TypeParam>("+");
    ASSERT_TRUE(s == (i % 3 == 0 ? text + "+" : text).c_str());
  }
}

TYPED_TEST(XStringForm, AssignmentOfItsOwnTextActsAsIfCopiedFirst) {
  for (const bool shared : {false, true}) {
    xstring s(this->T("abc"));
    const xstring other = shared ? s : xstring();
    s = FormOf<TypeParam>(s) + 1;
    EXPECT_EQ(Holding(s), Only<TypeParam>("bc"));
    s = FormOf<TypeParam>(s);
    EXPECT_EQ(Holding(s), Only<TypeParam>("bc"));
    s = FormOf<TypeParam>(s) + 2;
    EXPECT_EQ(Holding(s), kSharedEmpty);
  }
}

// --- the C view ---

TEST(XString, OwnedViewHasItsOwnReference) {
  xstring s("abc");
  const __xstring_c view = s.getxstring_c();
  s = xstring();
  EXPECT_STREQ(view.narrow, "abc");
  EXPECT_EQ(view.wide, nullptr);
  view.buffer->Release();
  const __xstring_c null = s.getxstring_c();
  EXPECT_EQ(Holding(xstring(null, false)), "null");
}

TEST(XString, UnattachedViewHasNone) {
  const xstring s("abc");
  const __xstring_c view = s.getxstring_c_unattached();
  EXPECT_EQ(view.buffer, BufferOf(s));
  EXPECT_EQ(view.narrow, s.CastToCString());
  char* text;
  EXPECT_EQ(view.buffer->ResizeMB(4, &text, 1), view.buffer);  // s is the only owner
}

TEST(XString, AttachingAViewAddsAReference) {
  const xstring source("abc");
  {
    const xstring s(Fields(source), true);
    EXPECT_EQ(BufferOf(s), BufferOf(source));
    xstring assigned(L"old");
    assigned.Assign(Fields(source), true);
    EXPECT_EQ(BufferOf(assigned), BufferOf(source));
  }
  EXPECT_EQ(Holding(source), "narrow 'abc'");
}

TEST(XString, AttachingAViewWithoutBufferGivesNull) {
  const __xstring_c empty = {nullptr, nullptr, nullptr};
  EXPECT_EQ(Holding(xstring(empty, true)), "null");
  xstring s("old");
  s.Assign(empty, true);
  EXPECT_EQ(Holding(s), "null");
}

TEST(XString, TakingAViewOverKeepsItsFieldsAndItsReference) {
  const xstring source("abc");
  const xstring s(source.getxstring_c(), false);
  EXPECT_EQ(BufferOf(s), BufferOf(source));
  xstring assigned("old");
  assigned.Assign(source.getxstring_c(), false);
  EXPECT_EQ(BufferOf(assigned), BufferOf(source));
  const __xstring_c foreign = {nullptr, nullptr, nullptr};
  const xstring blank(foreign, false);
  EXPECT_EQ(Holding(blank), "null 0 0");
  EXPECT_TRUE(blank.IsNull());
  EXPECT_TRUE(blank == xstring());
  EXPECT_EQ(static_cast<const char*>(blank), At<char>(1));
  EXPECT_EQ(static_cast<const wchar_t*>(blank), At<wchar_t>(1));
}

TEST(XString, AssignReleasesTheOldBufferAfterwards) {
  xstring s("abc");
  s.Assign(Fields(s), true);  // its own view: a release first would end the buffer
  EXPECT_EQ(Holding(s), "narrow 'abc'");
}

// --- streams as sources ---

TEST(XString, ConstructionFromAStreamTakesItsTextAndGrowsIt) {
  std::strstream stream;
  stream << "abc";
  const xstring first(stream);
  const xstring second(stream);
  EXPECT_EQ(Holding(first), "narrow 'abc'");
  EXPECT_EQ(Holding(second), "narrow 'abc'");
  EXPECT_EQ(stream.pcount(), 5);
  xstring assigned("old");
  assigned = stream;
  EXPECT_EQ(Holding(assigned), "narrow 'abc'");
  EXPECT_EQ(stream.pcount(), 6);
}

TEST(XString, AnEmptyStreamGivesTheSharedEmptyString) {
  std::strstream stream;
  EXPECT_EQ(Holding(xstring(stream)), kSharedEmpty);
  EXPECT_EQ(stream.pcount(), 1);
}

TEST(XString, TheStreamIsThawedAgain) {
  std::strstream stream;
  stream << "abc";
  const xstring s(stream);
  stream << std::string(10000, 'x');  // has to grow, which a frozen buffer refuses
  EXPECT_TRUE(stream.good());
  EXPECT_EQ(stream.pcount(), 10004);
  stream.str();  // frozen by the caller
  const xstring again(stream);
  stream << std::string(100000, 'x');
  EXPECT_TRUE(stream.good());
}

TEST(XString, AFullFixedStreamIsReadUpToItsEnd) {
  char room[4] = {'-', '-', '-', 'X'};
  std::strstream stream(room, 3);
  stream << "abc";
  EXPECT_EQ(Holding(xstring(stream)), "narrow 'abc'");
  EXPECT_EQ(room[3], 'X');
  EXPECT_EQ(stream.pcount(), 3);
}

TEST(XString, TextAppendedToABufferComesWithWhatWasThere) {
  char room[16] = "abc";
  std::strstream stream(room, sizeof room, std::ios_base::out | std::ios_base::app);
  stream << "de";
  EXPECT_STREQ(xstring(stream), "abcde");
}

// --- the two forms ---

TEST(XString, TheMissingFormIsProducedOnceAndKept) {
  const xstring narrow("abc");
  const wchar_t* const wide = narrow;
  EXPECT_TRUE(SameWide(wide, L"abc"));
  EXPECT_EQ(static_cast<const wchar_t*>(narrow), wide);
  EXPECT_EQ(narrow.CastToCWString(), wide);
  EXPECT_EQ(Holding(narrow), "narrow 'abc' wide 'abc'");

  const xstring other(L"abc");
  const char* const text = other;
  EXPECT_STREQ(text, "abc");
  EXPECT_EQ(other.CastToCString(), text);
  EXPECT_EQ(Holding(other), "narrow 'abc' wide 'abc'");
}

TEST(XString, CopiesSeeOneAndTheSameProducedForm) {
  const xstring a("abc");
  const xstring b(a);
  EXPECT_EQ(static_cast<const wchar_t*>(a), static_cast<const wchar_t*>(b));
  EXPECT_EQ(BufferOf(a), BufferOf(b));
}

TEST(XString, NullConvertsToAddressOne) {
  const xstring null;
  EXPECT_EQ(static_cast<const char*>(null), At<char>(1));
  EXPECT_EQ(static_cast<const wchar_t*>(null), At<wchar_t>(1));
  EXPECT_EQ(null.CastToCString(), At<char>(1));
  EXPECT_EQ(null.CastToCWString(), At<wchar_t>(1));
  EXPECT_EQ(Holding(null), "null");
}

TEST(XString, WhatDoesNotConvertBecomesQuestionMarks) {
  const PlainLocale plain;
  EXPECT_STREQ(xstring(L"a\u00e9b"), "a?b");  // the "C" locale
  const Utf8Locale locale;
  ASSERT_TRUE(locale.IsFound());
  EXPECT_STREQ(xstring(L"a\u00e9b"),
               "a\xc3\xa9"
               "b");
  EXPECT_TRUE(SameWide(xstring("a\xc3\xa9"
                               "b"),
                       L"a\u00e9b"));
  EXPECT_TRUE(SameWide(xstring("a\xff\xfe"
                               "b"),
                       L"a??b"));
  const wchar_t loneSurrogate[] = {L'a', static_cast<wchar_t>(0xD800), L'b', 0};
  EXPECT_STREQ(xstring(loneSurrogate), "a?b");
}

TEST(XString, CharactersBeyondTheFirstPlaneConvert) {
  const Utf8Locale locale;
  ASSERT_TRUE(locale.IsFound());
  EXPECT_STREQ(xstring(L"\U0001F600"), "\xf0\x9f\x98\x80");
  EXPECT_TRUE(SameWide(xstring("\xf0\x9f\x98\x80"), L"\U0001F600"));
}

TEST(XString, LengthIsBytesOnceThereIsANarrowForm) {
  EXPECT_EQ(xstring().GetLength(), 0);
  EXPECT_EQ(xstring("").GetLength(), 0);
  EXPECT_EQ(xstring("abc").GetLength(), 3);
  EXPECT_EQ(xstring(L"abc").GetLength(), 3);
  const Utf8Locale locale;
  ASSERT_TRUE(locale.IsFound());
  EXPECT_EQ(xstring("\xc3\xa9").GetLength(), 2);
  const xstring wide(L"\u00e9");
  EXPECT_EQ(wide.GetLength(), 1);
  wide.CastToCString();
  EXPECT_EQ(wide.GetLength(), 2);
}

TEST(XString, MultibyteSizeCountsOneTerminatorNarrowAndTwoWide) {
  EXPECT_EQ(xstring().GetMBSize(), 0U);
  EXPECT_EQ(xstring(At<char>(1)).GetMBSize(), 0U);
  EXPECT_EQ(xstring("").GetMBSize(), 1U);
  EXPECT_EQ(xstring("abc").GetMBSize(), 4U);
  const xstring wide(L"abc");
  EXPECT_EQ(wide.GetMBSize(), 5U);
  wide.CastToCString();
  EXPECT_EQ(wide.GetMBSize(), 4U);
  const Utf8Locale locale;
  ASSERT_TRUE(locale.IsFound());
  EXPECT_EQ(xstring(L"\u00e9\u20ac").GetMBSize(), 7U);
  EXPECT_EQ(xstring("\xc3\xa9\xe2\x82\xac").GetMBSize(), 6U);
}

TEST(XStringDeathTest, MultibyteSizeOfTextThatDoesNotConvertAborts) {
  const PlainLocale plain;
  const xstring s(L"a\u00e9b");
  EXPECT_VEL_ABORT(s.GetMBSize(), "xstring::GetMBSize: invalid wide string",
                   "velstd/strlibsrc/xstring", 554);
  s.CastToCString();
  EXPECT_EQ(s.GetMBSize(), 4U);
}

TEST(XString, SizesAndPredicatesProduceNoForm) {
  const xstring narrow("12");
  const xstring wide(L"12");
  for (const xstring* s : {&narrow, &wide}) {
    int number;
    double real;
    EXPECT_FALSE(s->IsNull() || s->IsEmpty());
    EXPECT_EQ(s->GetLength(), 2);
    EXPECT_GT(s->GetMBSize(), 2U);
    EXPECT_TRUE(s->ToInt(&number) && s->ToDouble(&real));
  }
  EXPECT_EQ(Holding(narrow), "narrow '12'");
  EXPECT_EQ(Holding(wide), "wide '12'");
}

TEST(XString, IsEmptyLooksAtTheText) {
  EXPECT_FALSE(xstring("a").IsEmpty());
  EXPECT_FALSE(xstring(L"a").IsEmpty());
  EXPECT_TRUE(xstring("a").GetWord(1, " ").IsEmpty());  // empty in a buffer of its own
  EXPECT_TRUE(xstring(L"a").GetWord(1, L" ").IsEmpty());
}

// --- limits and threads ---

TEST(XString, TextsBeyondTheLongestAreRefused) {
  const std::size_t tooLong = korStrBuf::kMaxLength + 1;
  const HugeText huge(tooLong);
  ASSERT_TRUE(huge.IsValid());
  const char* const text = huge.Get();
  const char* const half = text + tooLong / 2 + 1;  // of 2^30 - 1 characters
  EXPECT_VEL_NATIVE(xstring{text}, "Size limit exceeded");
  EXPECT_VEL_NATIVE((xstring{text, INT_MAX}), "Size limit exceeded");
  EXPECT_VEL_NATIVE((xstring{text, 0, -1}), "Size limit exceeded");
  EXPECT_VEL_NATIVE((xstring{half, half - 1}), "Size limit exceeded");
  xstring s("abc");
  EXPECT_VEL_NATIVE(s = text, "Size limit exceeded");
  EXPECT_EQ(Holding(s), "narrow 'abc'");
}

// Copies of one string are used freely: each thread has a copy of its own.
TEST(XString, CopiesMayBeUsedFromSeveralThreads) {
  const xstring original("some text");
  const wchar_t* seen[4] = {};
  std::vector<std::thread> threads;
  for (auto& place : seen) {
    threads.emplace_back([copy = original, &place] {
      place = copy;
      for (int i = 0; i < 1000; ++i) {
        xstring mine(copy);
        mine += L'!';
        EXPECT_TRUE(mine == L"some text!");
        EXPECT_TRUE(xstring("").IsEmpty());
      }
    });
  }
  for (auto& thread : threads) thread.join();
  for (const wchar_t* place : seen) EXPECT_EQ(static_cast<const void*>(place), seen[0]);
  EXPECT_EQ(Holding(original), "narrow 'some text'");
  EXPECT_EQ(static_cast<const void*>(original.CastToCWString()), seen[0]);
}

}  // namespace
