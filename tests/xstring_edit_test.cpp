// Appending and Substitute.
#include <climits>
#include <random>
#include <string>

#include "veltest.h"
#include "veltest_string.h"
#include "xstring.h"

namespace {

// Runs for both widths: Ch is the width of the arguments.
template <class Ch>
class XStringEdit : public testing::Test {
 protected:
  static const Ch* T(const std::string& ascii) { return Lit<Ch>(ascii); }
  static xstring Str(const std::string& ascii) { return xstring(Lit<Ch>(ascii)); }
  // The same text, but in the other form only.
  static xstring OtherStr(const std::string& ascii) {
    return std::is_same<Ch, char>::value ? xstring(Lit<wchar_t>(ascii)) : xstring(Lit<char>(ascii));
  }
  // What a string holds after Substitute.
  static std::string Substituted(const std::string& text, const char* from, const char* to,
                                 int first = 1, int count = -1) {
    xstring s = Str(text);
    s.Substitute(T(from), T(to), first, count);
    return Holding(s);
  }
};
using Widths = testing::Types<char, wchar_t>;
TYPED_TEST_SUITE(XStringEdit, Widths, WidthName);

// --- appending ---

TYPED_TEST(XStringEdit, AppendsTextInItsForm) {
  xstring s = this->Str("ab");
  EXPECT_EQ(&(s += this->T("cd")), &s);
  EXPECT_EQ(Holding(s), Only<TypeParam>("abcd"));
  s += this->T("e");
  EXPECT_EQ(Holding(s), Only<TypeParam>("abcde"));
  xstring other = this->OtherStr("ab");
  other += this->T("cd");
  EXPECT_EQ(Holding(other), Only<TypeParam>("abcd"));
}

TYPED_TEST(XStringEdit, AppendDropsTheOtherForm) {
  for (xstring s : {this->Str("ab"), this->OtherStr("ab")}) {
    s.CastToCString();
    s.CastToCWString();
    s += this->T("c");
    EXPECT_EQ(Holding(s), Only<TypeParam>("abc"));
    EXPECT_STREQ(s, "abc");
    EXPECT_TRUE(SameWide(s, L"abc"));
    s += TypeParam('d');
    EXPECT_EQ(Holding(s), Only<TypeParam>("abcd"));
    EXPECT_STREQ(s, "abcd");
    EXPECT_TRUE(SameWide(s, L"abcd"));
  }
}

TYPED_TEST(XStringEdit, AppendingNothingChangesNothing) {
  for (const TypeParam* none : {At<TypeParam>(0), At<TypeParam>(1), this->T("")}) {
    xstring null;
    null += none;
    EXPECT_EQ(Holding(null), "null");
    xstring empty("");
    empty += none;
    EXPECT_EQ(Holding(empty), kSharedEmpty);
    xstring other = this->OtherStr("ab");
    korStrBuf* const buffer = BufferOf(other);
    const std::string before = Holding(other);
    other += none;
    EXPECT_EQ(Holding(other), before);  // not even the form is produced
    EXPECT_EQ(BufferOf(other), buffer);
  }
}

TYPED_TEST(XStringEdit, AppendingToNullGivesACopy) {
  xstring s;
  s += this->T("ab");
  EXPECT_EQ(Holding(s), Only<TypeParam>("ab"));
}

TYPED_TEST(XStringEdit, AppendingToEmptyLeavesTheSharedBufferEmpty) {
  xstring s("");
  s += this->T("x");
  EXPECT_EQ(Holding(s), Only<TypeParam>("x"));
  EXPECT_EQ(Holding(xstring("")), kSharedEmpty);
  xstring single("");
  single += TypeParam('x');
  EXPECT_EQ(Holding(single), Only<TypeParam>("x"));
  EXPECT_EQ(Holding(xstring(L"")), kSharedEmpty);
}

TYPED_TEST(XStringEdit, AppendsOneCharacter) {
  xstring s = this->Str("a");
  EXPECT_EQ(&(s += TypeParam('b')), &s);
  EXPECT_EQ(Holding(s), Only<TypeParam>("ab"));
  xstring other = this->OtherStr("a");
  other += TypeParam('b');
  EXPECT_EQ(Holding(other), Only<TypeParam>("ab"));
  xstring null;
  null += TypeParam('b');
  EXPECT_EQ(Holding(null), Only<TypeParam>("b"));
  null += TypeParam('c');
  EXPECT_EQ(Holding(null), Only<TypeParam>("bc"));
}

TYPED_TEST(XStringEdit, AppendingTheZeroCharacterChangesNothing) {
  xstring null;
  null += TypeParam(0);
  EXPECT_EQ(Holding(null), "null");
  xstring empty("");
  empty += TypeParam(0);
  EXPECT_EQ(Holding(empty), kSharedEmpty);
  xstring other = this->OtherStr("ab");
  const std::string before = Holding(other);
  other += TypeParam(0);
  EXPECT_EQ(Holding(other), before);
}

TYPED_TEST(XStringEdit, ManyAppendsKeepTheText) {
  xstring s;
  std::string expected;
  for (int i = 0; i < 2000; ++i) {
    s += TypeParam('a' + i % 26);
    expected += static_cast<char>('a' + i % 26);
    if (i % 7 == 0) s += this->T("--"), expected += "--";
  }
  EXPECT_EQ(Holding(s), Only<TypeParam>(expected));
}

TYPED_TEST(XStringEdit, EditsLeaveCopiesAlone) {
  const xstring original = this->Str("a-b");
  const TypeParam* const text = FormOf<TypeParam>(original);
  xstring appended(original);
  appended += this->T("x");
  xstring extended(original);
  extended += TypeParam('y');
  xstring substituted(original);
  substituted.Substitute(this->T("-"), this->T("+"));
  EXPECT_EQ(Holding(appended), Only<TypeParam>("a-bx"));
  EXPECT_EQ(Holding(extended), Only<TypeParam>("a-by"));
  EXPECT_EQ(Holding(substituted), Only<TypeParam>("a+b"));
  EXPECT_EQ(Holding(original), Only<TypeParam>("a-b"));
  EXPECT_EQ(FormOf<TypeParam>(original), text);
}

TYPED_TEST(XStringEdit, AppendingItsOwnTextActsAsIfCopiedFirst) {
  for (const bool shared : {false, true}) {
    xstring s = this->Str("abc");
    const xstring other = shared ? s : xstring();
    s += s;
    EXPECT_EQ(Holding(s), Only<TypeParam>("abcabc"));
    s += FormOf<TypeParam>(s) + 4;
    EXPECT_EQ(Holding(s), Only<TypeParam>("abcabcbc"));
    s += FormOf<TypeParam>(s) + 8;  // its own terminator
    EXPECT_EQ(Holding(s), Only<TypeParam>("abcabcbc"));
    for (int i = 0; i < 6; ++i) s += FormOf<TypeParam>(s);
    EXPECT_EQ(s.GetLength(), 8 * 64);
    if (shared) {
      EXPECT_EQ(Holding(other), Only<TypeParam>("abc"));
    }
  }
}

TEST(XStringAppend, ANarrowTextIsAppendedToAWideStringNarrowly) {
  const PlainLocale plain;
  xstring s(L"a\u00e9");
  s += "b";
  EXPECT_STREQ(s, "a?b");  // the "C" locale
  xstring wide(L"a\u00e9");
  wide += L"b";
  EXPECT_TRUE(SameWide(wide,
                       L"a\u00e9"
                       L"b"));
}

// The wide form rules when this string has one; the null string counts as such.
TEST(XStringAppend, AppendingAStringChoosesTheForm) {
  xstring narrow("a");
  narrow += xstring("b");
  EXPECT_EQ(Holding(narrow), "narrow 'ab'");
  narrow += xstring(L"c");
  EXPECT_EQ(Holding(narrow), "narrow 'abc'");

  xstring both("a");
  both.CastToCWString();
  both += xstring("b");
  EXPECT_EQ(Holding(both), "wide 'ab'");

  xstring wide(L"a");
  const xstring part("b");
  wide += part;
  EXPECT_EQ(Holding(wide), "wide 'ab'");
  EXPECT_EQ(Holding(part), "narrow 'b' wide 'b'");

  xstring null;
  null += xstring("b");
  EXPECT_EQ(Holding(null), "wide 'b'");

  xstring empty("");
  empty += xstring("b");
  EXPECT_EQ(Holding(empty), "wide 'b'");
}

TEST(XStringAppend, AppendingNullOrEmptyStringsChangesNothing) {
  xstring s("a");
  s += xstring();
  s += xstring("");
  EXPECT_EQ(Holding(s), "narrow 'a'");
  xstring null;
  null += xstring();
  EXPECT_EQ(Holding(null), "null");
  null += xstring("");
  EXPECT_EQ(Holding(null), "null");
}

TEST(XStringAppend, AStringWithNeitherFormIsLeftAlone) {
  const xstring source("a");
  const __xstring_c formless = {BufferOf(source), nullptr, nullptr};
  xstring s(formless, true);
  s += xstring("b");
  s.Substitute(xstring("a"), xstring("b"));
  EXPECT_EQ(Holding(s), "nothing");
  EXPECT_EQ(s.Pos(xstring("a")), -1);
  EXPECT_EQ(Holding(source), "narrow 'a'");
}

TEST(XStringAppend, AddressTwoAppendsUninit) {
  xstring s("a-");
  s += At<char>(2);
  EXPECT_STREQ(s, "a-uninit");
  xstring null;
  null += At<char>(2);
  EXPECT_STREQ(null, "uninit");
}

TEST(XStringAppend, TheTextOfTheNullStringIsTakenForNull) {
  const char* const none = xstring();
  const wchar_t* const wideNone = xstring();
  xstring s("a-b");
  s += none;
  s += wideNone;
  s.Substitute(none, "x");
  s.Substitute(wideNone, L"x");
  EXPECT_EQ(Holding(s), "narrow 'a-b'");
  s.Substitute("-", none);
  EXPECT_STREQ(s, "ab");
  s.Substitute(L"b", wideNone);
  EXPECT_STREQ(s, "a");
}

// A view whose narrow text is as long as a text may be.
TEST(XStringAppend, BeyondTheLongestTextThrowsAndChangesNothing) {
  const HugeText huge(korStrBuf::kMaxLength);
  ASSERT_TRUE(huge.IsValid());
  const xstring owner("x");
  xstring s(__xstring_c{BufferOf(owner), huge.Get(), nullptr}, true);
  EXPECT_EQ(s.GetLength(), INT_MAX - 1);
  EXPECT_VEL_NATIVE(s += "b", "Size limit exceeded");
  EXPECT_VEL_NATIVE(s += 'b', "Size limit exceeded");
  EXPECT_VEL_NATIVE(s += s, "Size limit exceeded");
  EXPECT_EQ(Fields(s).narrow, huge.Get());
  EXPECT_EQ(BufferOf(s), BufferOf(owner));
}

// --- Substitute ---

TYPED_TEST(XStringEdit, SubstituteReplacesAllByDefault) {
  xstring s = this->Str("a-b-c-d");
  s.Substitute(this->T("-"), this->T("+"));
  EXPECT_EQ(Holding(s), Only<TypeParam>("a+b+c+d"));
}

TYPED_TEST(XStringEdit, SubstituteCountsOccurrencesFromOne) {
  struct {
    int first, count;
    const char* expected;
  } const cases[] = {{2, 1, "a-b+c-d"}, {2, -1, "a-b+c+d"},      {0, -1, "a+b+c+d"},
                     {9, 1, "a-b-c-d"}, {1, 1, "a+b-c-d"},       {3, 1, "a-b-c+d"},
                     {4, 1, "a-b-c-d"}, {1, 2, "a+b+c-d"},       {1, 3, "a+b+c+d"},
                     {1, 4, "a+b+c+d"}, {-7, 1, "a+b-c-d"},      {INT_MIN, INT_MAX, "a+b+c+d"},
                     {1, 0, "a-b-c-d"}, {2, INT_MIN, "a-b+c+d"}, {INT_MAX, -1, "a-b-c-d"}};
  for (const auto& c : cases) {
    EXPECT_EQ(this->Substituted("a-b-c-d", "-", "+", c.first, c.count), Only<TypeParam>(c.expected))
        << c.first << ' ' << c.count;
  }
}

TYPED_TEST(XStringEdit, SubstituteGrowsShrinksAndDeletes) {
  struct {
    const char *text, *from, *to, *expected;
  } const cases[] = {{"a-b-c", "-", " - ", "a - b - c"}, {"--", "-", "xyz", "xyzxyz"},
                     {"a<>b<>c", "<>", "-", "a-b-c"},    {"a-b-", "-", "", "ab"},
                     {"aaa", "aa", "b", "ba"},           {"aaaa", "aa", "a", "aa"},
                     {"abc", "abc", "x", "x"},           {"abc", "x", "y", "abc"},
                     {"aab", "ab", "bbb", "abbb"},       {"a", "a", "aa", "aa"},
                     {"abc", "abcd", "", "abc"}};
  for (const auto& c : cases) {
    EXPECT_EQ(this->Substituted(c.text, c.from, c.to), Only<TypeParam>(c.expected))
        << c.text << ' ' << c.from << ' ' << c.to;
  }
}

TYPED_TEST(XStringEdit, SubstituteInPlaceKeepsItsOwnEmptyBuffer) {
  EXPECT_EQ(this->Substituted("--", "-", ""), Only<TypeParam>(""));
  const xstring keep = this->Str("--");
  xstring shared(keep);
  shared.Substitute(this->T("-"), this->T(""));
  EXPECT_EQ(Holding(shared), Only<TypeParam>(""));
  EXPECT_EQ(Holding(keep), Only<TypeParam>("--"));
}

TYPED_TEST(XStringEdit, SubstituteNeedsANewBufferOnlyToGrow) {
  xstring s = this->Str("a-b");
  korStrBuf* const buffer = BufferOf(s);
  s.Substitute(this->T("-"), this->T("+"));
  EXPECT_EQ(BufferOf(s), buffer);
  s.Substitute(this->T("+"), this->T(""));
  EXPECT_EQ(BufferOf(s), buffer);
  s.Substitute(this->T("b"), this->T("bbbb"));
  EXPECT_NE(BufferOf(s), buffer);
  EXPECT_EQ(Holding(s), Only<TypeParam>("abbbb"));
}

TYPED_TEST(XStringEdit, SubstituteOfNothingChangesNothing) {
  const TypeParam* const dash = this->T("-");
  const TypeParam sameText[] = {'-', 0};
  xstring s = this->OtherStr("a-b");
  const std::string before = Holding(s);
  korStrBuf* const buffer = BufferOf(s);
  s.Substitute(dash, this->T("+"), 1, 0);
  s.Substitute(dash, dash);
  s.Substitute(dash, sameText);
  s.Substitute(this->T(""), this->T("+"));
  s.Substitute(At<TypeParam>(0), this->T("+"));
  s.Substitute(At<TypeParam>(1), this->T("+"));
  s.Substitute(At<TypeParam>(0), At<TypeParam>(1));
  EXPECT_EQ(Holding(s), before);
  EXPECT_EQ(BufferOf(s), buffer);
  xstring null;
  null.Substitute(dash, this->T("+"));
  EXPECT_EQ(Holding(null), "null");
  xstring empty("");
  empty.Substitute(dash, this->T("+"));
  EXPECT_EQ(Holding(empty), kSharedEmpty);
}

TYPED_TEST(XStringEdit, SubstituteByNullDeletes) {
  for (const TypeParam* none : {At<TypeParam>(0), At<TypeParam>(1)}) {
    xstring s = this->Str("a-b-c");
    s.Substitute(this->T("-"), none);
    EXPECT_EQ(Holding(s), Only<TypeParam>("abc"));
  }
}

TYPED_TEST(XStringEdit, SubstituteDropsTheOtherForm) {
  for (const char* to : {"+", "", "+++"}) {
    xstring s = this->OtherStr("a-b");
    s.CastToCString();
    s.CastToCWString();
    s.Substitute(this->T("-"), this->T(to));
    const std::string expected = "a" + std::string(to) + "b";
    EXPECT_EQ(Holding(s), Only<TypeParam>(expected));
    EXPECT_STREQ(s, expected.c_str());
    EXPECT_TRUE(SameWide(s, Lit<wchar_t>(expected)));
  }
}

TYPED_TEST(XStringEdit, SubstituteWithItsOwnTextActsAsIfCopiedFirst) {
  for (const bool shared : {false, true}) {
    xstring s = this->Str("abab");
    const xstring other = shared ? s : xstring();
    s.Substitute(FormOf<TypeParam>(s) + 2, this->T("x"));  // "ab"
    EXPECT_EQ(Holding(s), Only<TypeParam>("xx"));
    s = this->Str("a-b");
    s.Substitute(this->T("-"), FormOf<TypeParam>(s));
    EXPECT_EQ(Holding(s), Only<TypeParam>("aa-bb"));
    s = this->Str("a-b");
    s.Substitute(FormOf<TypeParam>(s), FormOf<TypeParam>(s) + 2);
    EXPECT_EQ(Holding(s), Only<TypeParam>("b"));
    s = this->Str("xay");
    s.Substitute(this->T("a"), FormOf<TypeParam>(s) + 2);
    EXPECT_EQ(Holding(s), Only<TypeParam>("xyy"));
  }
}

TEST(XStringSubstitute, StringsChooseTheForm) {
  xstring narrow("a-b");
  narrow.Substitute(xstring(L"-"), xstring(L"+"));
  EXPECT_EQ(Holding(narrow), "narrow 'a+b'");
  xstring wide(L"a-b");
  wide.Substitute(xstring("-"), xstring("++"));
  EXPECT_EQ(Holding(wide), "wide 'a++b'");
  xstring both("a-b-c");
  both.CastToCWString();
  both.Substitute(xstring("-"), xstring("+"), 2, 1);
  EXPECT_EQ(Holding(both), "wide 'a-b+c'");
  xstring null;
  null.Substitute(xstring("a"), xstring("b"));
  EXPECT_EQ(Holding(null), "null");
}

TEST(XStringSubstitute, NullStringsAreNullTexts) {
  for (const char* text : {"a-b", ""}) {
    xstring s(text);
    s.Substitute(xstring(), xstring("x"));
    EXPECT_STREQ(s, text);
  }
  xstring s("a-b");
  s.Substitute(xstring("-"), xstring());
  EXPECT_EQ(Holding(s), "narrow 'ab'");
}

TEST(XStringSubstitute, TheStringItselfMayBeAnArgument) {
  for (const char* rest : {"abc", ""}) {
    xstring s("abc");
    s.Substitute(s, xstring(rest));
    EXPECT_STREQ(s, rest);
    xstring wide(L"abc");
    wide.Substitute(xstring("b"), wide);
    EXPECT_STREQ(wide, "aabcc");
    wide.Substitute(wide, wide);
    EXPECT_STREQ(wide, "aabcc");
  }
}

TEST(XStringSubstitute, AddressTwoIsUninit) {
  xstring s("an uninit value");
  s.Substitute(At<char>(2), "old");
  EXPECT_STREQ(s, "an old value");
  s.Substitute("old", At<char>(2));
  EXPECT_STREQ(s, "an uninit value");
}

TEST(XStringSubstitute, MultibyteTextIsReplaced) {
  const Utf8Locale locale;
  ASSERT_TRUE(locale.IsFound());
  xstring s("\xc3\xa4-\xe2\x82\xac-\xc3\xa4");
  s.Substitute("\xc3\xa4", "ae");
  EXPECT_STREQ(s, "ae-\xe2\x82\xac-ae");
  s.Substitute(L"\u20ac", L"\u00e9\u00e9");
  EXPECT_STREQ(s, "ae-\xc3\xa9\xc3\xa9-ae");
}

// 1023 of the 1024 characters grow: the result would be one character longer
// than a text may be.
TYPED_TEST(XStringEdit, SubstituteBeyondTheLongestTextThrowsAndChangesNothing) {
  const std::string text = std::string(1023, 'a') + 'b';
  const std::size_t growth = (korStrBuf::kMaxLength + 1 - text.size()) / 1023;
  ASSERT_EQ(text.size() + 1023 * growth, korStrBuf::kMaxLength + 1);
  const std::vector<TypeParam> longText = [&] {
    std::vector<TypeParam> made(growth + 1, 'x');
    made.push_back(0);
    return made;
  }();
  xstring s = this->Str(text);
  EXPECT_VEL_NATIVE(s.Substitute(this->T("a"), longText.data()), "Size limit exceeded");
  EXPECT_EQ(Holding(s), Only<TypeParam>(text));
  s.Substitute(this->T("a"), longText.data(), 1, 2);
  EXPECT_EQ(static_cast<std::size_t>(s.GetLength()), text.size() + 2 * growth);
}

// Against the plain definition: from left to right, without overlap.
std::string Replaced(const std::string& text, const std::string& from, const std::string& to,
                     int first, int count) {
  std::string result;
  std::size_t at = 0;
  int number = 0;
  while (at < text.size()) {
    if (text.compare(at, from.size(), from) != 0) {
      result += text[at++];
      continue;
    }
    ++number;
    const bool wanted = number >= first && (count < 0 || number - std::max(first, 1) < count);
    result += wanted ? to : from;
    at += from.size();
  }
  return result;
}

TYPED_TEST(XStringEdit, SubstituteEqualsItsDefinitionOnRandomTexts) {
  std::mt19937 random(4711);
  const auto word = [&random](std::size_t longest) {
    std::string made(random() % (longest + 1), 'a');
    for (char& c : made) c = static_cast<char>('a' + random() % 2);
    return made;
  };
  for (int i = 0; i < 2000; ++i) {
    const std::string text = 'b' + word(12);
    const std::string from = 'a' + word(2);
    const std::string to = word(4);
    const int first = static_cast<int>(random() % 4);
    const int count = static_cast<int>(random() % 5) - 1;
    EXPECT_EQ(this->Substituted(text, from.c_str(), to.c_str(), first, count),
              Only<TypeParam>(Replaced(text, from, to, first, count)))
        << text << ' ' << from << ' ' << to << ' ' << first << ' ' << count;
  }
}

}  // namespace
