// Enumerations with a descriptor.
#include <string>

#include "velext.h"
#include "veltest.h"

VEL_ENUM(GlobalMood, "enums::GlobalMood", calm)

namespace enums {
VEL_ENUM(Color, "enums::Color", red, green, blue)
}  // namespace enums

namespace {

using enums::Color;
enum class Plain { one };

TEST(VelEnum, DeclaresAnEnumerationFromZero) {
  EXPECT_EQ(static_cast<int>(Color::red), 0);
  EXPECT_EQ(static_cast<int>(Color::blue), 2);
  EXPECT_EQ(static_cast<int>(GlobalMood::calm), 0);
  EXPECT_TRUE(velIsEnum<Color>::value);
  EXPECT_FALSE(velIsEnum<Plain>::value);
  EXPECT_FALSE(velIsEnum<int>::value);
}

TEST(VelEnum, IsRegisteredBeforeAnyUse) {
  auto* const type = dynamic_cast<xrttienum*>(velRttiGetFromMap("enums::Color"));
  ASSERT_NE(type, nullptr);
  EXPECT_EQ(type, velEnumRtti<Color>());
  EXPECT_EQ(type->getNValues(), 3);
  EXPECT_EQ(type->mapStringToInt("green"), 1);
  EXPECT_EQ(type->mapIntToString(2), "blue");
  EXPECT_NE(velRttiGetFromMap("enums::GlobalMood"), nullptr);
}

TEST(VelEnum, HasNamesForItsEnumeratorsOnly) {
  EXPECT_STREQ(velName(Color::red), "red");
  EXPECT_STREQ(velName(Color::blue), "blue");
  for (const int number : {-1, 3, -2147483647 - 1, 2147483647}) {
    EXPECT_EQ(velName(static_cast<Color>(number)), nullptr) << number;
  }
}

TEST(VelEnum, GoesIntoAValueAndBack) {
  const xany value = velAny(Color::green);
  EXPECT_EQ(value.getkind(), xanyEnum);
  EXPECT_EQ(velPrinted(value), "green");
  EXPECT_EQ(velGet<Color>(value), Color::green);
  EXPECT_EQ(velGetOr(velAny(1), Color::blue), Color::blue) << "a number is none";
  EXPECT_FALSE(velGet<int>(value)) << "and it is no number";
}

TEST(VelEnum, RefusesWhatHasNoName) {
  EXPECT_VEL_NATIVE(velAny(static_cast<Color>(3)), "Integer out of range: 3");
  EXPECT_VEL_NATIVE(velAny(static_cast<Color>(-1)), "Integer out of range: -1");
  EXPECT_FALSE(velGet<Color>(xany(3, velEnumRtti<Color>())));
  EXPECT_FALSE(velGet<Color>(xany(-1, velEnumRtti<Color>())));
}

TEST(VelEnum, ComesOutOfATypeOfItsNameOnly) {
  static const char* const names[] = {"red", "green", "blue"};
  static xrttienum same("enums::Color", 3, names);
  static xrttienum other("enums::Colour", 3, names);
  EXPECT_EQ(velGet<Color>(xany(1, &same)), Color::green);
  EXPECT_FALSE(velGet<Color>(xany(1, &other)));
  EXPECT_FALSE(velGet<Color>(velAny(GlobalMood::calm)));
  for (const xany& none : {xany(xanyNil), xany(), xany("red"), xany(true)}) {
    EXPECT_FALSE(velGet<Color>(none));
  }
}

// As many as a descriptor may be asked for in practice.
#define TEN(p) p##0, p##1, p##2, p##3, p##4, p##5, p##6, p##7, p##8, p##9
#define HUNDRED(p)                                                                        \
  TEN(p##0), TEN(p##1), TEN(p##2), TEN(p##3), TEN(p##4), TEN(p##5), TEN(p##6), TEN(p##7), \
      TEN(p##8), TEN(p##9)
#define THOUSAND(p)                                                                         \
  HUNDRED(p##0), HUNDRED(p##1), HUNDRED(p##2), HUNDRED(p##3), HUNDRED(p##4), HUNDRED(p##5), \
      HUNDRED(p##6), HUNDRED(p##7), HUNDRED(p##8), HUNDRED(p##9)
VEL_ENUM(Thousand, "enums::Thousand", THOUSAND(e))

TEST(VelEnum, HasUpToAThousandEnumerators) {
  EXPECT_EQ(velEnumRtti<Thousand>()->getNValues(), 1000);
  EXPECT_STREQ(velName(Thousand::e999), "e999");
  EXPECT_EQ(static_cast<int>(Thousand::e999), 999);
}

#define COUNT_ONE(x) +1
#define COUNT_NAME(x) #x " "
TEST(VelForEach, CallsTheMacroForEachArgument) {
  EXPECT_STREQ(VEL_FOR_EACH(COUNT_NAME, a), "a ");
  EXPECT_STREQ(VEL_FOR_EACH(COUNT_NAME, a, b, c), "a b c ");
  EXPECT_STREQ(VEL_FOR_EACH_BUT_FIRST(COUNT_NAME, a, b, c), "b c ");
  EXPECT_EQ(0 VEL_FOR_EACH_BUT_FIRST(COUNT_ONE, a), 0);
  EXPECT_EQ(0 VEL_FOR_EACH(COUNT_ONE, THOUSAND(e)), 1000);
  EXPECT_EQ(0 VEL_FOR_EACH_BUT_FIRST(COUNT_ONE, first, THOUSAND(e)), 1000);
  EXPECT_STREQ(VEL_FOR_EACH(COUNT_NAME, (a, b), c), "(a, b) c ") << "brackets are one argument";
}

}  // namespace
