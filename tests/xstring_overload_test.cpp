// What compiles with an xstring, and what must not.
#include <string>
#include <type_traits>
#include <utility>

#include "veltest.h"
#include "veltest_string.h"

namespace {

// Whether Expression<S> is well-formed for a string S. The literals in the
// expressions below stay literals: a 0 there is a null pointer constant.
template <class S, template <class> class Expression, class = void>
struct Compiles : std::false_type {};
template <class S, template <class> class Expression>
struct Compiles<S, Expression, std::void_t<Expression<S>>> : std::true_type {};

template <class S>
S& Str();

template <class S>
using FromZero = decltype(S(0));
template <class S>
using FromNullptr = decltype(S(nullptr));
template <class S>
using FromStringAndNumber = decltype(S(Str<S>(), 3));
template <class S>
using FromStringAndZero = decltype(S(Str<S>(), 0));
template <class S>
using FromNumber = decltype(S(65));
template <class S>
using FromCharacter = decltype(S('a'));
template <class S>
using EqualsZero = decltype(Str<S>() == 0);
template <class S>
using DiffersFromZero = decltype(Str<S>() != 0);
template <class S>
using ZeroEquals = decltype(0 == Str<S>());
template <class S>
using EqualsNullptr = decltype(Str<S>() == nullptr);
template <class S>
using AssignZero = decltype(Str<S>() = 0);
template <class S>
using AssignNullptr = decltype(Str<S>() = nullptr);
template <class S>
using Indexed = decltype(Str<S>()[0]);
template <class S>
using AsCondition = decltype(Str<S>() ? 1 : 2);
template <class S>
using Negated = decltype(!Str<S>());
template <class S>
using InConjunction = decltype(Str<S>() && true);
template <class S>
using AppendNumber = decltype(Str<S>() += 65);
template <class S>
using AppendZero = decltype(Str<S>() += 0);
template <class S>
using PlusText = decltype(Str<S>() + "x");
template <class S>
using PlusWideText = decltype(Str<S>() + L"x");
template <class S>
using TextPlus = decltype("x" + Str<S>());
template <class S>
using PlusString = decltype(Str<S>() + Str<S>());
template <class S>
using PlusNumber = decltype(Str<S>() + 1);
template <class S>
using PlusCharacter = decltype(Str<S>() + 'x');

template <template <class> class Expression>
constexpr bool kRefused = !Compiles<xstring, Expression>::value;

TEST(XStringOverloads, NullConstantsAreNoText) {
  EXPECT_TRUE(kRefused<FromZero>);
  EXPECT_TRUE(kRefused<FromNullptr>);
  EXPECT_TRUE(kRefused<EqualsZero>);
  EXPECT_TRUE(kRefused<DiffersFromZero>);
  EXPECT_TRUE(kRefused<ZeroEquals>);
  EXPECT_TRUE(kRefused<EqualsNullptr>);
  EXPECT_TRUE(kRefused<AssignZero>);
  EXPECT_TRUE(kRefused<AssignNullptr>);
  EXPECT_TRUE(kRefused<AppendZero>);
  EXPECT_TRUE((xstring(static_cast<const char*>(nullptr)).IsNull()));
}

TEST(XStringOverloads, NumbersAreNoText) {
  EXPECT_TRUE(kRefused<FromNumber>);
  EXPECT_TRUE(kRefused<FromCharacter>);
  EXPECT_TRUE(kRefused<AppendNumber>);
}

TEST(XStringOverloads, AStringIsNotTruncatedThroughItsConversion) {
  EXPECT_TRUE(kRefused<FromStringAndNumber>);
  EXPECT_TRUE(kRefused<FromStringAndZero>);
}

TEST(XStringOverloads, ThereIsNoIndexing) { EXPECT_TRUE(kRefused<Indexed>); }

TEST(XStringOverloads, AStringIsNoCondition) {
  EXPECT_TRUE(kRefused<AsCondition>);
  EXPECT_TRUE(kRefused<Negated>);
  EXPECT_TRUE(kRefused<InConjunction>);
  EXPECT_FALSE((std::is_constructible<bool, xstring>::value));
}

TEST(XStringOverloads, ThereIsNoPlus) {
  EXPECT_TRUE(kRefused<PlusText>);
  EXPECT_TRUE(kRefused<PlusWideText>);
  EXPECT_TRUE(kRefused<TextPlus>);
  EXPECT_TRUE(kRefused<PlusString>);
  EXPECT_TRUE(kRefused<PlusNumber>);
  EXPECT_TRUE(kRefused<PlusCharacter>);
}

TEST(XStringOverloads, AStringDoesNotBecomeAStandardOneSilently) {
  EXPECT_FALSE((std::is_convertible<xstring, std::string>::value));
  EXPECT_TRUE((std::is_convertible<xstring, const char*>::value));
  EXPECT_TRUE((std::is_convertible<xstring, const wchar_t*>::value));
}

// The same detection says yes to the neighbours that must work.
template <class S>
using FromText = decltype(S("a"));
template <class S>
using FromTextAndZero = decltype(S("a", 0));
template <class S>
using FromStringAndText = decltype(S(Str<S>(), "a"));
template <class S>
using EqualsText = decltype(Str<S>() == "a");
template <class S>
using AssignText = decltype(Str<S>() = L"a");
template <class S>
using AppendCharacter = decltype(Str<S>() += 'a');
template <class S>
using AppendWideCharacter = decltype(Str<S>() += L'a');
template <class S>
using AppendString = decltype(Str<S>() += Str<S>());

TEST(XStringOverloads, WhatIsMeantCompiles) {
  EXPECT_FALSE(kRefused<FromText>);
  EXPECT_FALSE(kRefused<FromTextAndZero>);
  EXPECT_FALSE(kRefused<FromStringAndText>);
  EXPECT_FALSE(kRefused<EqualsText>);
  EXPECT_FALSE(kRefused<AssignText>);
  EXPECT_FALSE(kRefused<AppendCharacter>);
  EXPECT_FALSE(kRefused<AppendWideCharacter>);
  EXPECT_FALSE(kRefused<AppendString>);
}

TEST(XStringOverloads, ALiteralZeroAfterATextTruncates) {
  EXPECT_EQ(Holding(xstring("a", 0)), kSharedEmpty);
  EXPECT_EQ(Holding(xstring(L"a", 0)), kSharedEmpty);
}

TEST(XStringOverloads, ComparisonsGiveBool) {
  const xstring s("x");
  EXPECT_TRUE((std::is_same<decltype(s == "x"), bool>::value));
  EXPECT_TRUE((std::is_same<decltype(s == L"x"), bool>::value));
  EXPECT_TRUE((std::is_same<decltype(s == s), bool>::value));
  EXPECT_TRUE((std::is_same<decltype(s != "x"), bool>::value));
  EXPECT_TRUE((std::is_same<decltype(s != L"x"), bool>::value));
  EXPECT_TRUE((std::is_same<decltype(s != s), bool>::value));
  EXPECT_TRUE((std::is_same<decltype("x" == s), bool>::value));
  EXPECT_TRUE((std::is_same<decltype(L"x" != s), bool>::value));
}

// None of the forms may fall back to a comparison of pointers.
TEST(XStringOverloads, ComparisonsReadTheTextInEveryForm) {
  const xstring s("x");
  const xstring same("x");
  EXPECT_TRUE(s == "x");
  EXPECT_TRUE(s == L"x");
  EXPECT_TRUE(s == same);
  EXPECT_TRUE("x" == s);
  EXPECT_TRUE(L"x" == s);
  EXPECT_FALSE(s != "x");
  EXPECT_FALSE(s != L"x");
  EXPECT_FALSE(s != same);
  EXPECT_FALSE("x" != s);
  EXPECT_FALSE(L"x" != s);
  EXPECT_TRUE(s != "y");
  EXPECT_TRUE(s != L"y");
  EXPECT_TRUE(s != xstring("y"));
  EXPECT_TRUE("y" != s);
  EXPECT_TRUE(L"y" != s);
  EXPECT_FALSE("y" == s);
  EXPECT_FALSE(L"y" == s);
}

TEST(XStringOverloads, QueriesWorkOnConstStrings) {
  const xstring s("a b");
  int number = 0;
  double real = 0;
  EXPECT_FALSE(s.IsNull() || s.IsEmpty() || s.ToInt(&number) || s.ToDouble(&real));
  EXPECT_EQ(s.GetLength(), 3);
  EXPECT_TRUE((std::is_same<decltype(s.GetMBSize()), std::uint64_t>::value));
  EXPECT_EQ(s.GetMBSize(), 4U);
  EXPECT_STREQ(static_cast<const char*>(s), "a b");
  EXPECT_TRUE(SameWide(static_cast<const wchar_t*>(s), L"a b"));
  EXPECT_TRUE(s.Substring(0, 1) == "a" && s.ToUpper() == "A B" && s.ToLower() == "a b");
  EXPECT_TRUE(s.GetNWords(" ") == 2 && s.GetWord(0, " ") == "a" && s.Pos("b") == 2 &&
              s.Match("a*"));
}

TEST(XStringOverloads, AStringIsItsThreeFields) {
  EXPECT_EQ(sizeof(xstring), sizeof(__xstring_c));
  EXPECT_TRUE(std::is_nothrow_move_constructible<xstring>::value);
  EXPECT_TRUE(std::is_nothrow_copy_constructible<xstring>::value);
  EXPECT_EQ(offsetof(__xstring_c, buffer), 0U);
  EXPECT_EQ(offsetof(__xstring_c, narrow), sizeof(void*));
  EXPECT_EQ(offsetof(__xstring_c, wide), 2 * sizeof(void*));
}

}  // namespace
