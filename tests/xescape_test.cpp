// Text out of locale: what passes, what becomes the marker, what the flag tells.
#include "xescape.h"

#include <string>
#include <utility>

#include "veltest.h"
#include "veltest_string.h"

namespace {

const std::string kMarker = "<<<OUT OF LOCALE>>>";
constexpr unsigned char kGarbage = 0x55;

// What escaping gives: the forms that the string holds, and the flag.
template <class Ch>
std::string Escaped(const Ch* text) {
  unsigned char flag = kGarbage;
  const xstring result = escapeOOL(text, &flag);
  EXPECT_TRUE(Holding(escapeOOL(text, nullptr)) == Holding(result)) << "without a flag";
  return Holding(result) + ", " + std::to_string(flag);
}

// Text that converts, in the one form it was given in; the marker likewise.
std::string Passed(const char* text) { return "narrow '" + std::string(text) + "', 0"; }
std::string Passed(const wchar_t* text) { return "wide '" + Shown(text) + "', 0"; }
template <class Ch>
std::string Replaced() {
  return Only<Ch>(kMarker) + ", 1";
}

struct CLocale : ScopedLocale {
  CLocale() : ScopedLocale({"C"}) {}
};

template <class Ch>
class XEscape : public testing::Test {};
using Widths = testing::Types<char, wchar_t>;
TYPED_TEST_SUITE(XEscape, Widths, WidthName);

TYPED_TEST(XEscape, AsciiPassesInEveryLocale) {
  for (const char* name : {"C", "C.UTF-8", "de_DE.ISO-8859-1"}) {
    const ScopedLocale locale({name});
    if (!locale.IsFound()) continue;
    const TypeParam* text = Lit<TypeParam>("Plain text: ~\x7f\x01\n");
    EXPECT_EQ(Escaped(text), Passed(text)) << name;
  }
}

TYPED_TEST(XEscape, NullTextGivesTheNullStringWithFlagZero) {
  EXPECT_EQ(Escaped(At<TypeParam>(0)), "null, 0");
  EXPECT_EQ(Escaped(At<TypeParam>(1)), "null, 0");
  EXPECT_EQ(Escaped(static_cast<const TypeParam*>(xstring())), "null, 0");
}

TYPED_TEST(XEscape, EmptyTextPasses) {
  EXPECT_EQ(Escaped(Lit<TypeParam>("")), std::string(kSharedEmpty) + ", 0");
}

TYPED_TEST(XEscape, TheMarkerItselfIsTextLikeAnyOther) {
  EXPECT_EQ(Escaped(Lit<TypeParam>(kMarker)), Only<TypeParam>(kMarker) + ", 0");
}

TYPED_TEST(XEscape, TheResultIsACopy) {
  TypeParam text[] = {'a', 'b', 0};
  const xstring result = escapeOOL(static_cast<const TypeParam*>(text), nullptr);
  text[0] = 'x';
  EXPECT_EQ(Holding(result), Only<TypeParam>("ab"));
}

TEST(XEscapeNarrow, PointerTwoIsTheUninitText) {
  EXPECT_EQ(Escaped(At<char>(2)), Passed("uninit"));
}

TEST(XEscapeWide, CharactersThatTheLocaleLacksGiveTheMarker) {
  const CLocale locale;
  EXPECT_EQ(Escaped(L"caf\u00e9"), Replaced<wchar_t>());
  EXPECT_EQ(Escaped(L"\u20ac and a long text behind it"), Replaced<wchar_t>());
}

TEST(XEscapeWide, Utf8HasEveryCharacter) {
  const Utf8Locale locale;
  VEL_NEED_LOCALE(locale);
  for (const wchar_t* text : {L"caf\u00e9", L"\u20ac", L"\U0001f600 beyond the first plane",
                              L"\U0010ffff", L"\ud7ff\ue000"}) {
    EXPECT_EQ(Escaped(text), Passed(text));
  }
}

TEST(XEscapeWide, HalvesOfSurrogatePairsGiveTheMarker) {
  const Utf8Locale locale;
  VEL_NEED_LOCALE(locale);
  const wchar_t high[] = {L'a', static_cast<wchar_t>(0xd83d), L'b', 0};
  const wchar_t low[] = {static_cast<wchar_t>(0xde00), 0};
  const wchar_t swapped[] = {static_cast<wchar_t>(0xde00), static_cast<wchar_t>(0xd83d), 0};
  for (const wchar_t* text : {&high[0], &low[0], &swapped[0]}) {
    EXPECT_EQ(Escaped(text), Replaced<wchar_t>());
  }
}

TEST(XEscapeWide, Latin1HasItsOwnCharactersOnly) {
  const GermanLatin1Locale locale;
  VEL_NEED_LOCALE(locale);
  EXPECT_EQ(Escaped(L"caf\u00e9 \u00ff"), Passed(L"caf\u00e9 \u00ff"));
  EXPECT_EQ(Escaped(L"\u20ac"), Replaced<wchar_t>());
  EXPECT_EQ(Escaped(L"\u0100"), Replaced<wchar_t>());
  EXPECT_EQ(Escaped(L"\U0001f600"), Replaced<wchar_t>());
}

TEST(XEscapeNarrow, BytesBeyondAsciiGiveTheMarkerInTheCLocale) {
  const CLocale locale;
  EXPECT_EQ(Escaped("caf\xc3\xa9"), Replaced<char>());
  EXPECT_EQ(Escaped("\x80"), Replaced<char>());
  EXPECT_EQ(Escaped("\xff"), Replaced<char>());
}

TEST(XEscapeNarrow, ValidUtf8Passes) {
  const Utf8Locale locale;
  VEL_NEED_LOCALE(locale);
  for (const char* text : {"caf\xc3\xa9", "\xe2\x82\xac", "\xf0\x9f\x98\x80", "\xf4\x8f\xbf\xbf"}) {
    EXPECT_EQ(Escaped(text), Passed(text));
  }
}

TEST(XEscapeNarrow, InvalidUtf8GivesTheMarker) {
  const Utf8Locale locale;
  VEL_NEED_LOCALE(locale);
  for (const char* text : {"caf\xe9", "\xe9 and more", "a\xc3", "\xe2\x82", "\xa9", "\xc0\x80",
                           "\xed\xa0\x80", "\xf4\x90\x80\x80", "\xff"}) {
    EXPECT_EQ(Escaped(text), Replaced<char>()) << testing::PrintToString(std::string(text));
  }
}

TEST(XEscapeNarrow, EveryByteIsACharacterOfLatin1) {
  const GermanLatin1Locale locale;
  VEL_NEED_LOCALE(locale);
  EXPECT_EQ(Escaped("caf\xe9 \xc3\xa9 \x80\xff"), Passed("caf\xe9 \xc3\xa9 \x80\xff"));
}

TEST(XEscape, FollowsTheLocaleFromCallToCall) {
  {
    const Utf8Locale locale;
    VEL_NEED_LOCALE(locale);
    EXPECT_EQ(Escaped(L"\u00e9"), Passed(L"\u00e9"));
  }
  const CLocale locale;
  EXPECT_EQ(Escaped(L"\u00e9"), Replaced<wchar_t>());
}

TEST(XUnescape, GivesBackTheSameBufferAndDoesNotKnow) {
  for (const xstring& text : {xstring("text"), xstring(L"wide"), xstring(""), xstring()}) {
    const std::string before = Holding(text);
    unsigned char flag = kGarbage;
    const xstring result = unescapeOOL(text, &flag);
    EXPECT_EQ(flag, 0x80);
    EXPECT_EQ(BufferOf(result), BufferOf(text));
    EXPECT_EQ(Holding(result), before);
    EXPECT_EQ(Holding(unescapeOOL(text, nullptr)), before);
  }
}

TEST(XUnescape, AReferenceGivenAwayGoesThroughToTheResult) {
  xstring text("text");
  const korStrBuf* buffer = BufferOf(text);
  const xstring result = unescapeOOL(std::move(text), nullptr);
  EXPECT_EQ(BufferOf(result), buffer);
}

TEST(XUnescape, DoesNotReverseTheMarker) {
  const PlainLocale plain;
  for (const xstring& marker : {escapeOOL("\xff", nullptr), escapeOOL(L"\ufffd", nullptr)}) {
    unsigned char flag = kGarbage;
    EXPECT_TRUE(unescapeOOL(marker, &flag) == kMarker.c_str());
    EXPECT_EQ(flag, 0x80);
  }
}

}  // namespace
