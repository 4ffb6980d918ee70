// Values in and out of xany.
#include "velvalue.h"

#include <climits>
#include <cmath>
#include <functional>
#include <limits>
#include <locale>
#include <map>
#include <set>
#include <string>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "velenum.h"
#include "velrange.h"
#include "veltest.h"
#include "veltest_locale.h"

namespace demo {

VEL_ENUM(Color, "veltest::Color", red, green, blue)
VEL_ENUM(Light, "veltest::Light", red, green)

}  // namespace demo

namespace {

using namespace std::string_literals;
using demo::Color;

// ---- in ----

template <class T>
class VelAnyOfInteger : public ::testing::Test {};
using Integers = ::testing::Types<char, signed char, unsigned char, short, unsigned short, int,
                                  unsigned, long, unsigned long, long long, unsigned long long,
                                  wchar_t, char16_t, char32_t>;
struct IntegerName {
  template <class T>
  static std::string GetName(int number) {
    return std::to_string(number) + (std::is_signed<T>::value ? "signed" : "unsigned") +
           std::to_string(sizeof(T));
  }
};
TYPED_TEST_SUITE(VelAnyOfInteger, Integers, IntegerName);

TYPED_TEST(VelAnyOfInteger, IsANumberAndComesBack) {
  for (const int number : {0, 1, 65, 127}) {
    const xany value = velAny(static_cast<TypeParam>(number));
    EXPECT_EQ(value.getkind(), xanyInt);
    EXPECT_EQ(value.operator int(), number);
    EXPECT_EQ(velGet<TypeParam>(value), static_cast<TypeParam>(number));
  }
}

TYPED_TEST(VelAnyOfInteger, TakesItsLimitsOrThrows) {
  using Limits = std::numeric_limits<TypeParam>;
  for (const TypeParam number : {Limits::min(), Limits::max()}) {
    const bool fits = static_cast<double>(number) > -2147483647.0 &&
                      static_cast<double>(number) <= 2147483647.0;
    const std::string error = "Integer out of range: " + std::to_string(number);
    if (fits) {
      EXPECT_EQ(velGet<TypeParam>(velAny(number)), number);
    } else {
      EXPECT_VEL_NATIVE(velAny(number), error.c_str());
    }
  }
}

TYPED_TEST(VelAnyOfInteger, ANumberBeyondTheTypeIsNone) {
  using Limits = std::numeric_limits<TypeParam>;
  const double lowest = static_cast<double>(Limits::min());
  const double highest = static_cast<double>(Limits::max());
  for (const int number : {-2147483646, -32769, -32768, -129, -128, -1, 128, 255, 256, 32767, 32768,
                           65535, 65536, 2147483647}) {
    EXPECT_EQ(velGet<TypeParam>(xany(number)).has_value(), number >= lowest && number <= highest)
        << number;
  }
}

TEST(VelAny, RefusesIntegersThatStandForNothing) {
  EXPECT_EQ(velAny(-2147483646).getkind(), xanyInt);
  EXPECT_EQ(velAny(2147483647U).getkind(), xanyInt);
  EXPECT_VEL_NATIVE(velAny(INT_MIN), "Integer out of range: -2147483648");
  EXPECT_VEL_NATIVE(velAny(INT_MIN + 1), "Integer out of range: -2147483647");
  EXPECT_VEL_NATIVE(velAny(2147483648U), "Integer out of range: 2147483648");
  EXPECT_VEL_NATIVE(velAny(LLONG_MIN), "Integer out of range: -9223372036854775808");
  EXPECT_VEL_NATIVE(velAny(ULLONG_MAX), "Integer out of range: 18446744073709551615");
}

TEST(VelAny, RefusesRealNumbersThatStandForNothing) {
  EXPECT_VEL_NATIVE(velAny(1e126), "Real number stands for no value: 1e126");
  EXPECT_VEL_NATIVE(velAny(9e125), "Real number stands for no value: 9e125");
  for (const double number : {std::nextafter(1e126, 0), -1e126, -0.0, 5e-324, 1.7e308,
                              std::numeric_limits<double>::infinity()}) {
    EXPECT_EQ(velGet<double>(velAny(number)), number);
  }
  EXPECT_TRUE(std::isnan(*velGet<double>(velAny(std::nan("")))));
  EXPECT_EQ(velGet<float>(velAny(0.1F)), 0.1F);
}

TEST(VelAny, TruthValuesAreTruthValues) {
  for (const bool value : {false, true}) {
    EXPECT_EQ(velAny(value).getkind(), xanyBool);
    EXPECT_EQ(velGet<bool>(velAny(value)), value);
  }
  const std::vector<bool> bits{true};
  EXPECT_EQ(velGet<bool>(velAny(bool{bits[0]})), true);
}

TEST(VelAny, TextIsUtf8WhateverItsType) {
  const PlainLocale locale;
  char array[] = "\xC3\xA9";
  char* const pointer = array;
  const std::string text = array;
  for (const xany& value : {velAny(array), velAny(pointer), velAny("\xC3\xA9"), velAny(text),
                            velAny(std::string_view(text)), velAny(velText(text))}) {
    EXPECT_EQ(value.getkind(), xanyString);
    EXPECT_EQ(velGet<std::string>(value), text);
    EXPECT_EQ(velUtf8(*velGet<xstring>(value)), text);
  }
  EXPECT_EQ(velGet<std::string>(velAny("")), "");
}

TEST(VelAny, TextThatIsNoneThrows) {
  EXPECT_VEL_NATIVE(velAny("\xFF"), "Invalid UTF-8 at byte 0");
  EXPECT_VEL_NATIVE(velAny("a\0"s), "Zero byte in text at byte 1");
}

TEST(VelAny, NothingIsNil) {
  EXPECT_EQ(velAny(nullptr).getkind(), xanyNil);
  EXPECT_EQ(velAny(static_cast<const char*>(nullptr)).getkind(), xanyNil);
  EXPECT_EQ(velAny(xstring()).getkind(), xanyNil);
  EXPECT_EQ(velAny(std::optional<int>()).getkind(), xanyNil);
  EXPECT_EQ(velAny(xrchandle<VelLogObject>()).getkind(), xanyNil);
  EXPECT_EQ(velAny(static_cast<VelLogObject*>(nullptr)).getkind(), xanyNil);
}

TEST(VelAny, TheUninitialisedObjectIsUninit) {
  EXPECT_TRUE(velAny(xuninitobject).isuninit());
  const xrcunihandle<xobject> handle(xuninitobject);
  EXPECT_TRUE(velAny(handle).isuninit());
  EXPECT_FALSE(velGet<xrcunihandle<xobject>>(velAny(handle)));
  EXPECT_EQ(velObject<VelLogObject>(velAny(xuninitobject)), nullptr);
}

TEST(VelAny, AnObjectIsHeldUntilTheValueGoes) {
  const xrchandle<VelLogObject> object = new VelLogObject;
  {
    const xany byHandle = velAny(object);
    const xany byPointer = velAny(object.operator->());
    EXPECT_EQ(xrcgetcount(object), 3);
    const auto back = velGet<xrchandle<VelLogObject>>(byHandle);
    EXPECT_TRUE(*back == object);
    EXPECT_EQ(xrcgetcount(object), 4);
    EXPECT_EQ(velObject<VelLogObject>(byPointer), object);
  }
  EXPECT_EQ(xrcgetcount(object), 1);
}

TEST(VelGet, AnObjectOfAnotherClassIsNone) {
  const xany value = velAny(xrchandle<VelLogObject>(new VelLogObject));
  EXPECT_FALSE(velGet<xrchandle<xthrowable>>(value));
  EXPECT_EQ(velObject<xthrowable>(value), nullptr);
  EXPECT_TRUE(velGet<xrcunihandle<xobject>>(value));
  EXPECT_TRUE(velGet<xrchandle<VelLogObject>>(value));
}

class Shape : public virtual VelLogObject {
 public:
  virtual int corners() = 0;
};
class Solid : public virtual VelLogObject {};
class Cube : public Shape, public Solid {
  int corners() override { return 8; }
};

TEST(VelGet, AnObjectComesOutAsAnyOfItsBases) {
  const xany value = velAny(new Cube);
  EXPECT_EQ((*velGet<xrchandle<Shape>>(value))->corners(), 8);
  EXPECT_EQ(velObject<Shape>(value)->corners(), 8);
  EXPECT_TRUE(velGet<xrchandle<Solid>>(value));
  EXPECT_EQ(velAny(*velGet<xrchandle<Solid>>(value)), value);
}

TEST(VelGet, AnObjectThatIsNotCountedIsLeftToItsOwner) {
  VelPlainObject object;
  const xany value = velAny(&object);
  EXPECT_EQ(velGet<xrcunihandle<VelPlainObject>>(value)->operator->(), &object);
}

// ---- out ----

// One value of each kind, and the types that it is given as.
TEST(VelGet, GivesAValueAsItsOwnTypesOnly) {
  const xrchandle<VelLogObject> object = new VelLogObject;
  struct Row {
    xany value;
    std::string types;
  };
  const Row table[] = {
      {xany(), ""},
      {xany(xanyNil), ""},
      {xany(xanyObject), ""},
      {xany(xanyString), "text xstring "},
      {velAny(1), "int double float "},
      {velAny(true), "bool "},
      {velAny(1.0), "double float "},
      {velAny("1"), "text xstring "},
      {velAny(Color::green), "Color "},
      {velAny(object), "object "},
  };
  for (const Row& row : table) {
    std::string types;
    if (velGet<bool>(row.value)) types += "bool ";
    if (velGet<int>(row.value)) types += "int ";
    if (velGet<double>(row.value)) types += "double ";
    if (velGet<float>(row.value)) types += "float ";
    if (velGet<std::string>(row.value)) types += "text ";
    if (velGet<xstring>(row.value)) types += "xstring ";
    if (velGet<Color>(row.value)) types += "Color ";
    if (velGet<xrcunihandle<xobject>>(row.value)) types += "object ";
    EXPECT_EQ(types, row.types) << velPrinted(row.value);
    EXPECT_TRUE(velGet<xany>(row.value));
  }
}

TEST(VelGet, AFloatIsTheNearestButNeverInfinite) {
  EXPECT_EQ(velGet<float>(velAny(0.1)), 0.1F);
  EXPECT_FALSE(velGet<float>(velAny(1e300)));
  EXPECT_FALSE(velGet<float>(velAny(-1e300)));
  EXPECT_EQ(velGet<float>(velAny(double{std::numeric_limits<float>::max()})),
            std::numeric_limits<float>::max());
  EXPECT_TRUE(std::isinf(*velGet<float>(velAny(std::numeric_limits<double>::infinity()))));
  EXPECT_TRUE(std::isnan(*velGet<float>(velAny(std::nan("")))));
}

TEST(VelGet, OptionalTakesNothingForAnAnswer) {
  using Answer = std::optional<int>;
  ASSERT_TRUE(velGet<Answer>(xany(xanyNil)).has_value());
  EXPECT_FALSE(velGet<Answer>(xany(xanyNil))->has_value());
  EXPECT_FALSE(velGet<Answer>(xany())->has_value());
  EXPECT_EQ(**velGet<Answer>(velAny(3)), 3);
  EXPECT_FALSE(velGet<Answer>(velAny("3")).has_value());
  EXPECT_EQ(velAny(Answer(3)), 3);
}

TEST(VelGet, AnEnumerationIsOneOfItsOwnNames) {
  EXPECT_EQ(velGet<Color>(velAny(Color::blue)), Color::blue);
  EXPECT_FALSE(velGet<Color>(velAny(2)));
  EXPECT_FALSE(velGet<int>(velAny(Color::blue)));
  EXPECT_VEL_NATIVE(velAny(static_cast<Color>(3)), "Integer out of range: 3");
  EXPECT_VEL_NATIVE(velAny(static_cast<Color>(-1)), "Integer out of range: -1");
  EXPECT_FALSE(velGet<Color>(xany(7, velEnumRtti<Color>())));
  EXPECT_FALSE(velGet<Color>(xany(1, static_cast<xrttienum*>(nullptr))));
}

TEST(VelGetOr, GivesTheValueOrTheFallback) {
  EXPECT_EQ(velGetOr(velAny(3), 7), 3);
  EXPECT_EQ(velGetOr(velAny("3"), 7), 7);
  EXPECT_EQ(velGetOr(xany(), true), true);
  EXPECT_EQ(velGetOr<std::string>(velAny("Ann"), "nobody"), "Ann");
  EXPECT_EQ(velGetOr(velAny("Ann"), "nobody"), "Ann");
  EXPECT_EQ(velGetOr(xany(), "nobody"), "nobody");
}

TEST(VelKindName, NamesWhatIsAskedFor) {
  EXPECT_STREQ(velKindName<bool>(), "bool");
  EXPECT_STREQ(velKindName<unsigned char>(), "int");
  EXPECT_STREQ(velKindName<float>(), "real");
  EXPECT_STREQ(velKindName<std::string>(), "string");
  EXPECT_STREQ(velKindName<xstring>(), "string");
  EXPECT_STREQ(velKindName<Color>(), "enum");
  EXPECT_STREQ(velKindName<xrchandle<xobject>>(), "object");
}

// ---- printed, compared, sorted ----

TEST(VelWriteValue, WritesWhatVelPrintWrites) {
  const xany values[] = {xany(),        xany(xanyNil), velAny(12345), velAny(1.5),
                         velAny(true),  velAny("a"),   velAny(Color::red),
                         velAny(xrchandle<VelLogObject>(new VelLogObject))};
  for (const xany& value : values) {
    std::ostringstream out;
    out.imbue(std::locale::classic());
    out << value;
    EXPECT_EQ(out.str(), velPrinted(value));
  }
}

TEST(VelValueComparison, TakesStdTextAsUtf8) {
  const PlainLocale locale;
  const std::string text = "\xC3\xA9";
  const xany value = velAny(text);
  const std::string_view view = text;
  EXPECT_TRUE(value == text && text == value && value == view && view == value);
  EXPECT_FALSE(value != text || text != value || value != view || view != value);
  EXPECT_FALSE(value == "?"s);
  EXPECT_FALSE(velAny(1) == "1"s);
  EXPECT_FALSE(xany(xanyString) == ""s);
  EXPECT_FALSE(xany() == ""s);
}

// In ascending order; equal ones share a row.
TEST(VelOrderOfValues, IsByKindThenByValue) {
  const std::vector<std::vector<xany>> rows = {
      {xany()},
      {xany(xanyNil), xany(xanyObject)},
      {velAny(false)},
      {velAny(true)},
      {velAny(-std::numeric_limits<double>::infinity())},
      {velAny(-1)},
      {velAny(0)},
      {velAny(0.0), velAny(-0.0)},
      {velAny(0.5)},
      {velAny(1), velAny(1U)},
      {velAny(1.0)},
      {velAny(2147483647)},
      {velAny(1e300)},
      {velAny(std::numeric_limits<double>::infinity())},
      {velAny(std::nan("")), velAny(-std::nan(""))},
      {xany(xanyString)},
      {velAny("")},
      {velAny("a"), velAny("a"s)},
      {velAny("b")},
      {velAny("\xC3\xA9")},
      {velAny("\xE2\x82\xAC")},
      {velAny(Color::red)},
      {velAny(Color::green)},
      {velAny(xrchandle<VelLogObject>(new VelLogObject))},
  };
  for (std::size_t i = 0; i < rows.size(); ++i) {
    for (std::size_t j = 0; j < rows.size(); ++j) {
      for (const xany& a : rows[i]) {
        for (const xany& b : rows[j]) {
          EXPECT_EQ(a < b, i < j) << i << ' ' << j;
          EXPECT_EQ(a > b, i > j) << i << ' ' << j;
          EXPECT_EQ(a <= b, i <= j) << i << ' ' << j;
          EXPECT_EQ(a >= b, i >= j) << i << ' ' << j;
        }
      }
    }
  }
}

TEST(VelOrderOfValues, ObjectsAreDifferentKeys) {
  const auto a = xrchandle<VelLogObject>(new VelLogObject);
  const auto b = xrchandle<VelLogObject>(new VelLogObject);
  const std::set<xany> all{velAny(a), velAny(b), velAny(a)};
  EXPECT_EQ(all.size(), 2U);
}

TEST(VelOrderOfValues, EnumerationsAreDifferentKeys) {
  const std::set<xany> all{velAny(Color::red), velAny(demo::Light::red), velAny(Color::red)};
  EXPECT_EQ(all.size(), 2U);
  EXPECT_FALSE(velGet<Color>(velAny(demo::Light::red)));
}

TEST(VelHashOfValues, EqualValuesHaveOneHash) {
  const std::hash<xany> hash;
  const auto object = xrchandle<VelLogObject>(new VelLogObject);
  const std::pair<xany, xany> equal[] = {
      {xany(xanyNil), xany(xanyObject)},  // a null object
      {velAny(0.0), velAny(-0.0)},
      {velAny("a"), velAny(velText("a"))},
      {velAny(object), velAny(xrcunihandle<xobject>(object))},
      {velAny(Color::red), velAny(Color::red)},
      {xany(xanyString), xany(xanyString)},
  };
  for (const auto& [a, b] : equal) {
    ASSERT_TRUE(a == b) << velPrinted(a);
    EXPECT_EQ(hash(a), hash(b)) << velPrinted(a);
  }
}

TEST(VelHashOfValues, KindsAreKeysOfTheirOwn) {
  std::unordered_map<xany, int> all;
  for (const xany& key : {xany(), xany(xanyNil), velAny(1), velAny(true), velAny(1.0), velAny("1"),
                          velAny(Color::green)}) {
    ++all[key];
  }
  EXPECT_EQ(all.size(), 7U);
  EXPECT_EQ(all[velAny(1)], 1);
}

TEST(VelHashOfHandles, HandlesAreKeysByTheirObject) {
  const auto a = xrchandle<VelLogObject>(new VelLogObject);
  const auto b = xrchandle<VelLogObject>(new VelLogObject);
  const std::unordered_set<xrchandle<VelLogObject>> all{a, b, a, 0};
  EXPECT_EQ(all.size(), 3U);
  const std::unordered_set<xrcunihandle<xobject>> objects{a, b, a};
  EXPECT_EQ(objects.size(), 2U);
}

TEST(VelToString, IsWhatThePrinterWrites) {
  const auto numbers = velSequence<int>({1, 2000000});
  EXPECT_EQ(velToString(velAny(numbers)), "intseq\n[\n  0 : 1\n  1 : 2000000\n]");
  EXPECT_EQ(velToString(velAny(numbers), -1), "intseq [ 0 : 1 1 : 2000000 ]");
  EXPECT_EQ(velToString(velAny("a")), "\"a\"");
  EXPECT_EQ(velToString(xany(xanyNil)), "nil");
}

// A locale that groups digits and has another point.
TEST(VelToString, IsTheSameInEveryLocale) {
  struct Grouping : std::numpunct<char> {
    char do_thousands_sep() const override { return '.'; }
    std::string do_grouping() const override { return "\3"; }
    char do_decimal_point() const override { return ','; }
  };
  const std::locale before = std::locale::global(std::locale(std::locale(), new Grouping));
  EXPECT_EQ(velToString(velAny(1234567)), "1234567");
  EXPECT_EQ(velToString(velAny(1.5)), "1.5");
  std::locale::global(before);
}

}  // namespace
