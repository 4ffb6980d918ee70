#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <string>
#include <type_traits>

#include "veltest.h"
#include "veltest_locale.h"
#include "xany.h"

namespace {

constexpr char kSource[] = "velstd/services/xobject";
constexpr int kNilInt = std::numeric_limits<int>::min();
constexpr int kUninitInt = kNilInt + 1;

const char* TextAt(std::uintptr_t address) { return reinterpret_cast<const char*>(address); }

constexpr const char* kColours[] = {"red", "green", "blue"};
xrttienum* Colour() {
  static auto* type = new xrttienum("veltest::Colour", 3, kColours);
  return type;
}
xrttienum* SecondColour() {
  static auto* type = new xrttienum("veltest::Colour", 3, kColours);
  return type;
}

// == and != agree on both sides, and give an unsigned char.
template <class T>
bool Equal(const xany& value, const T& other) {
  static_assert(std::is_same<decltype(value == other), unsigned char>::value, "");
  static_assert(std::is_same<decltype(value != other), unsigned char>::value, "");
  static_assert(std::is_same<decltype(other == value), unsigned char>::value, "");
  static_assert(std::is_same<decltype(other != value), unsigned char>::value, "");
  const bool equal = value == other;
  EXPECT_EQ(static_cast<bool>(other == value), equal);
  EXPECT_EQ(static_cast<bool>(value != other), !equal);
  EXPECT_EQ(static_cast<bool>(other != value), !equal);
  return equal;
}

// ---- value with value ----

TEST(XAnyEqual, DifferentKindsAreNeverEqual) {
  const xrchandle<VelLogObject> object(new VelLogObject);
  const xany values[] = {xany(),    xany(xanyNil), xany(1),           xany(true),
                         xany(1.0), xany("1"),     xany(1, Colour()), xany(object)};
  for (int i = 0; i < 8; ++i) {
    ASSERT_EQ(values[i].getkind(), i);
    for (int j = 0; j < 8; ++j) EXPECT_EQ(Equal(values[i], values[j]), i == j) << i << ' ' << j;
  }
  EXPECT_FALSE(Equal(xany(3), xany(3, static_cast<xrttienum*>(nullptr))));
}

TEST(XAnyEqual, NumbersCompareByValue) {
  EXPECT_TRUE(Equal(xany(5), xany(5)));
  EXPECT_FALSE(Equal(xany(5), xany(-5)));
  EXPECT_TRUE(Equal(xany(kUninitInt), xany(kUninitInt)));
  EXPECT_FALSE(Equal(xany(true), xany(static_cast<unsigned char>(2))));
  EXPECT_TRUE(Equal(xany(1.5), xany(1.5)));
  EXPECT_TRUE(Equal(xany(0.0), xany(-0.0)));
  EXPECT_FALSE(Equal(xany(1.5), xany(std::nextafter(1.5, 2.0))));
}

TEST(XAnyEqual, NanEqualsNothing) {
  const xany nan(std::nan(""));
  EXPECT_EQ(nan.getkind(), xanyReal);
  EXPECT_FALSE(Equal(nan, nan));
  EXPECT_FALSE(Equal(nan, xany(1.5)));
}

TEST(XAnyEqual, StringsCompareByTheirNarrowForms) {
  const PlainLocale plain;
  EXPECT_TRUE(Equal(xany("abc"), xany("abc")));
  EXPECT_FALSE(Equal(xany("abc"), xany("abd")));
  EXPECT_FALSE(Equal(xany("abc"), xany("ab")));
  EXPECT_FALSE(Equal(xany("abc"), xany("ABC")));
  EXPECT_TRUE(Equal(xany(xstring(L"abc")), xany("abc")));
  EXPECT_TRUE(Equal(xany(xstring(L"abc")), xany(xstring(L"abc"))));
  EXPECT_TRUE(Equal(xany(""), xany(xstring(L""))));
  // Two texts that read the same in locale "C".
  EXPECT_TRUE(Equal(xany(xstring(L"\u00e9")), xany(xstring(L"\u00e8"))));
}

TEST(XAnyEqual, NullStringEqualsNullStringAndNoText) {
  const xany null(xanyString);
  xany assigned;
  assigned = TextAt(0);
  EXPECT_TRUE(Equal(null, assigned));
  EXPECT_TRUE(Equal(null, null));
  EXPECT_FALSE(Equal(null, xany("")));
  EXPECT_FALSE(Equal(xany("x"), null));
}

TEST(XAnyEqual, EnumsCompareByNumberAndDescriptor) {
  EXPECT_TRUE(Equal(xany(1, Colour()), xany(1, Colour())));
  EXPECT_FALSE(Equal(xany(1, Colour()), xany(2, Colour())));
  EXPECT_FALSE(Equal(xany(1, Colour()), xany(1, SecondColour()))) << "same name, other descriptor";
}

TEST(XAnyEqual, ObjectsCompareByIdentity) {
  const auto first = xintsequence::create();
  const auto second = xintsequence::create();
  EXPECT_TRUE(Equal(xany(first), xany(velAsObject(first.operator->()))));
  EXPECT_FALSE(Equal(xany(first), xany(second))) << "both are empty";
  EXPECT_EQ(xrcgetcount(velAsObject(first.operator->())), 1);
}

TEST(XAnyEqual, UnknownKindOnTheRightAborts) {
  const xany unknown(static_cast<__xanykind>(8));
  const xany below(static_cast<__xanykind>(-1));
  EXPECT_VEL_ABORT((void)(xany(1) == unknown), "Can not be here.", kSource, 333);
  EXPECT_VEL_ABORT((void)(xany(1) != below), "Can not be here.", kSource, 333);
  EXPECT_VEL_ABORT((void)(unknown == unknown), "Can not be here.", kSource, 333);
  EXPECT_FALSE(unknown == xany(1)) << "on the left it is just another kind";
}

// ---- with int ----

TEST(XAnyEqual, IntMarkersAskForNilAndUninit) {
  EXPECT_TRUE(Equal(xany(), kUninitInt));
  EXPECT_FALSE(Equal(xany(xanyNil), kUninitInt));
  EXPECT_TRUE(Equal(xany(xanyNil), kNilInt));
  EXPECT_FALSE(Equal(xany(), kNilInt));
  EXPECT_FALSE(Equal(xany(kUninitInt), kUninitInt)) << "stored as an int";
}

TEST(XAnyEqual, IntMatchesOnlyAnInt) {
  EXPECT_TRUE(Equal(xany(3), 3));
  EXPECT_FALSE(Equal(xany(3), 4));
  EXPECT_FALSE(Equal(xany(2, Colour()), 2));
  EXPECT_FALSE(Equal(xany(3.0), 3));
  EXPECT_FALSE(Equal(xany(true), 1));
  EXPECT_FALSE(Equal(xany("3"), 3));
  EXPECT_FALSE(Equal(xany(), 0));
  EXPECT_FALSE(Equal(xany(nullptr), 0));
}

// ---- with text ----

TEST(XAnyEqual, TextMarkersAskForNilAndUninit) {
  EXPECT_TRUE(Equal(xany(), TextAt(2)));
  EXPECT_FALSE(Equal(xany("uninit"), TextAt(2)));
  EXPECT_FALSE(Equal(xany(xanyNil), TextAt(2)));
  EXPECT_TRUE(Equal(xany(xanyNil), TextAt(1)));
  EXPECT_FALSE(Equal(xany(), TextAt(1)));
  EXPECT_FALSE(Equal(xany(xanyString), TextAt(1))) << "of kind string";
}

TEST(XAnyEqual, NullTextMatchesOnlyTheNullString) {
  EXPECT_TRUE(Equal(xany(xanyString), TextAt(0)));
  EXPECT_FALSE(Equal(xany("text"), TextAt(0)));
  EXPECT_FALSE(Equal(xany(""), TextAt(0)));
  EXPECT_FALSE(Equal(xany(xanyNil), TextAt(0)));
}

TEST(XAnyEqual, TextMatchesAStringThatReadsTheSame) {
  char buffer[] = "abc";
  char* const writable = buffer;
  EXPECT_TRUE(Equal(xany("abc"), "abc"));
  EXPECT_TRUE(Equal(xany("abc"), buffer));
  EXPECT_TRUE(Equal(xany("abc"), writable));
  EXPECT_TRUE(Equal(xany(xstring(L"abc")), "abc"));
  EXPECT_FALSE(Equal(xany("abc"), "abcd"));
  EXPECT_FALSE(Equal(xany(xanyString), ""));
  EXPECT_FALSE(Equal(xany(5), "5"));
  EXPECT_FALSE(Equal(xany(), "uninit"));
}

TEST(XAnyEqual, UninitReadAsTextEqualsTheText) {
  EXPECT_TRUE(xany().operator xstring() == "uninit");
  EXPECT_TRUE(xany("uninit").operator xstring() == xany().operator xstring());
}

// ---- with everything else a value is built from ----

TEST(XAnyEqual, RealsCompareWithKindReal) {
  EXPECT_FALSE(Equal(xany(1), 1.5));
  EXPECT_FALSE(Equal(xany(1), 1.0));
  EXPECT_TRUE(Equal(xany(1.5), 1.5));
  EXPECT_TRUE(Equal(xany(1.5), 1.5f));
  EXPECT_TRUE(Equal(xany(), 9e125));
  EXPECT_TRUE(Equal(xany(nullptr), 1e126));
  EXPECT_FALSE(Equal(xany(std::nan("")), std::nan("")));
}

TEST(XAnyEqual, BoolsCompareWithKindBool) {
  EXPECT_TRUE(Equal(xany(true), true));
  EXPECT_FALSE(Equal(xany(true), false));
  EXPECT_FALSE(Equal(xany(1), true));
  EXPECT_TRUE(Equal(xany(true), static_cast<unsigned char>(1)));
  EXPECT_TRUE(Equal(xany(), static_cast<unsigned char>(0x81)));
  EXPECT_TRUE(Equal(xany(nullptr), static_cast<unsigned char>(0x80)));
}

TEST(XAnyEqual, XStringsCompareWithKindString) {
  EXPECT_TRUE(Equal(xany("abc"), xstring("abc")));
  EXPECT_TRUE(Equal(xany("abc"), xstring(L"abc")));
  EXPECT_FALSE(Equal(xany("abc"), xstring("x")));
  EXPECT_TRUE(Equal(xany(nullptr), xstring())) << "a null string is nil";
  EXPECT_FALSE(Equal(xany(xanyString), xstring()));
  EXPECT_TRUE(Equal(xany("abc"), L"abc"));
}

TEST(XAnyEqual, PointersAndHandlesCompareByIdentity) {
  const xrchandle<VelLogObject> object(new VelLogObject);
  const xrcunihandle<xobject> uni(object);
  const xany value(object);
  EXPECT_TRUE(Equal(value, object));
  EXPECT_TRUE(Equal(value, uni));
  EXPECT_TRUE(Equal(value, object.operator->()));
  EXPECT_TRUE(Equal(value, velAsObject(object.operator->())));
  EXPECT_FALSE(Equal(value, xrchandle<VelLogObject>()));
  EXPECT_FALSE(Equal(value, xuninitobject));
  EXPECT_TRUE(Equal(xany(), xuninitobject));
  EXPECT_TRUE(Equal(xany(nullptr), xrcunihandle<xobject>()));
  EXPECT_EQ(xrcgetcount(object), 3);
}

TEST(XAnyEqual, NullptrAsksForNil) {
  EXPECT_TRUE(Equal(xany(xanyNil), nullptr));
  EXPECT_TRUE(Equal(xany(static_cast<xobject*>(nullptr)), nullptr));
  EXPECT_FALSE(Equal(xany(), nullptr));
  EXPECT_FALSE(Equal(xany(0), nullptr));
  EXPECT_FALSE(Equal(xany(xanyString), nullptr));
}

TEST(XAnyEqual, ViewsAndKindsCompareAsTheValueOfThem) {
  __xany_c view{};
  view.kind = xanyInt;
  view.u.i = 5;
  EXPECT_TRUE(Equal(xany(5), view));
  EXPECT_FALSE(Equal(xany(6), view));
  EXPECT_TRUE(Equal(xany(), xanyUninit));
  EXPECT_TRUE(Equal(xany(xanyNil), xanyNil));
  EXPECT_FALSE(Equal(xany(1), xanyNil));
}

TEST(XAnyEqual, OtherIntegersAskAsTheIntOfTheSameValue) {
  EXPECT_TRUE(Equal(xany(5), 5L));
  EXPECT_TRUE(Equal(xany(5), 5ULL));
  EXPECT_TRUE(Equal(xany(5), static_cast<short>(5)));
  EXPECT_TRUE(Equal(xany(65), 'A'));
  EXPECT_FALSE(Equal(xany(5.0), 5L));
  EXPECT_TRUE(Equal(xany(xanyNil), -2147483648));
  EXPECT_TRUE(Equal(xany(), -2147483647L));
  EXPECT_FALSE(Equal(xany(kUninitInt), -2147483647L));
}

TEST(XAnyEqual, IntegerThatDoesNotFitThrows) {
  const xany value(5);
  EXPECT_VEL_NATIVE((void)(value == 2147483648L), "Integer out of range");
  EXPECT_VEL_NATIVE((void)(2147483648U == value), "Integer out of range");
  EXPECT_VEL_NATIVE((void)(value != -2147483649L), "Integer out of range");
}

TEST(XAnyEqual, LiteralsCompareOnBothSides) {
  const xany one(1);
  const xany text("x");
  EXPECT_TRUE(one == 1 && 1 == one);
  EXPECT_TRUE(one != 2 && 2 != one);
  EXPECT_TRUE(text == "x" && "x" == text);
  EXPECT_TRUE(text != "y" && "y" != text);
  EXPECT_FALSE(one == 1.5 || 1.5 == one);
  EXPECT_TRUE(one != nullptr && nullptr != one);
}

// A value has the layout of its C view: memory that was cleared and says "string"
// reads as the null string.
TEST(XAnyEqual, ClearedMemoryIsTheNullString) {
  __xany_c view;
  std::memset(&view, 0, sizeof view);
  view.kind = xanyString;
  xany value;
  std::memcpy(static_cast<void*>(&value), &view, sizeof view);
  EXPECT_TRUE(value == static_cast<const char*>(nullptr));
  EXPECT_FALSE(value == "");
  EXPECT_FALSE(value == xany("text"));
  EXPECT_FALSE(xany("text") == value);
  EXPECT_EQ(value.operator const char*(), nullptr);
}

}  // namespace
