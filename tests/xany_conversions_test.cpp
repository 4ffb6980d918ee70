#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <limits>
#include <locale>
#include <memory>
#include <string>

#include "veltest.h"
#include "veltest_locale.h"
#include "xany.h"

namespace {

constexpr char kSource[] = "velbase/inc/velxobj_i";
constexpr int kNilInt = std::numeric_limits<int>::min();
constexpr int kUninitInt = kNilInt + 1;

const char* TextAt(std::uintptr_t address) { return reinterpret_cast<const char*>(address); }

constexpr const char* kColours[] = {"red", "green", "blue"};
xrttienum* Colour() {
  static auto* type = new xrttienum("veltest::Colour", 3, kColours);
  return type;
}

// One value of each kind, at the index of its kind, and last one of none.
class EachKind {
 public:
  EachKind()
      : values{xany(),
               xany(xanyNil),
               xany(7),
               xany(true),
               xany(2.5),
               xany("text"),
               xany(1, Colour()),
               xany(new VelLogObject),
               xany(static_cast<__xanykind>(8))} {}
  const xany& operator[](int kind) const { return values[kind]; }
  static constexpr int kCount = 9;

 private:
  xany values[kCount];
};

// ---- what fits ----

TEST(XAnyConversion, NilGivesTheNilMarkers) {
  const xany nil(xanyNil);
  EXPECT_EQ(nil.operator int(), kNilInt);
  EXPECT_EQ(nil.operator unsigned char(), 0x80);
  EXPECT_EQ(nil.operator double(), 1e126);
  EXPECT_TRUE(nil.operator xstring().IsNull());
  EXPECT_EQ(nil.operator const char*(), TextAt(1));
  EXPECT_EQ(nil.operator xobject*(), nullptr);
}

TEST(XAnyConversion, UninitGivesTheUninitMarkers) {
  const xany uninit;
  EXPECT_EQ(uninit.operator int(), kUninitInt);
  EXPECT_EQ(uninit.operator unsigned char(), 0x81);
  EXPECT_EQ(uninit.operator double(), 9e125);
  EXPECT_STREQ(uninit.operator xstring().CastToCString(), "uninit");
  EXPECT_EQ(uninit.operator const char*(), TextAt(2));
  EXPECT_EQ(uninit.operator xobject*(), xuninitobject);
}

TEST(XAnyConversion, EachKindGivesItsValue) {
  const xrchandle<VelLogObject> object(new VelLogObject);
  EXPECT_EQ(xany(-5).operator int(), -5);
  EXPECT_EQ(xany(kUninitInt).operator int(), kUninitInt);
  EXPECT_EQ(xany(7, Colour()).operator int(), 7);
  EXPECT_EQ(xany(static_cast<unsigned char>(0xFF)).operator unsigned char(), 0xFF);
  EXPECT_EQ(xany(-0.25).operator double(), -0.25);
  EXPECT_STREQ(xany("abc").operator xstring().CastToCString(), "abc");
  EXPECT_STREQ(xany("abc").operator const char*(), "abc");
  EXPECT_EQ(xany(object).operator xobject*(), velAsObject(object.operator->()));
}

TEST(XAnyConversion, MarkersSurviveTheWayThroughAValue) {
  EXPECT_EQ(xany(kNilInt).operator int(), kNilInt);
  EXPECT_EQ(xany(static_cast<unsigned char>(0x81)).operator unsigned char(), 0x81);
  EXPECT_EQ(xany(static_cast<unsigned char>(0x80)).operator double(), 1e126);
  EXPECT_EQ(xany(9e125).operator int(), kUninitInt);
  EXPECT_EQ(xany(TextAt(2)).operator xobject*(), xuninitobject);
  EXPECT_EQ(xany(xuninitobject).operator const char*(), TextAt(2));
}

TEST(XAnyConversion, InitialisationsConvertImplicitly) {
  const xany five(5);
  const xany text("abc");
  const int number = five;
  const unsigned char truth = xany(true);
  const double real = xany(1.5);
  const xstring copied = text;
  const char* const borrowed = text;
  xobject* const none = xany(nullptr);
  EXPECT_EQ(number, 5);
  EXPECT_EQ(truth, 1);
  EXPECT_EQ(real, 1.5);
  EXPECT_STREQ(copied.CastToCString(), "abc");
  EXPECT_STREQ(borrowed, "abc");
  EXPECT_EQ(none, nullptr);
}

TEST(XAnyConversion, XStringHoldsAReferenceOfItsOwn) {
  auto value = std::make_unique<xany>("a text that lives on");
  const xstring kept = value->operator xstring();
  value.reset();
  EXPECT_STREQ(kept.CastToCString(), "a text that lives on");
}

TEST(XAnyConversion, XStringSharesTheBuffer) {
  const xstring text("shared");
  const xany value(text);
  EXPECT_EQ(value.operator xstring().getxstring_c_unattached().buffer,
            text.getxstring_c_unattached().buffer);
}

TEST(XAnyConversion, ObjectIsBorrowed) {
  const xrchandle<VelLogObject> object(new VelLogObject);
  const xany value(object);
  EXPECT_EQ(xrcgetcount(value.operator xobject*()), 2);
}

TEST(XAnyConversion, NarrowFormIsProducedOnceAndKept) {
  const xany value(xstring(L"wide"));
  const char* const text = value;
  EXPECT_STREQ(text, "wide");
  EXPECT_EQ(value.operator const char*(), text);
  EXPECT_EQ(value.getkind(), xanyString);
}

TEST(XAnyConversion, WhatDoesNotConvertBecomesAQuestionMark) {
  const PlainLocale plain;
  const xany value(xstring(L"a\u00e9b"));  // the locale is "C"
  EXPECT_STREQ(value.operator const char*(), "a?b");
}

TEST(XAnyConversion, NarrowFormIsOfTheCurrentLocale) {
  const Utf8Locale utf8;
  VEL_NEED_LOCALE(utf8);
  const xany value(xstring(L"\u00e9"));
  EXPECT_STREQ(value.operator const char*(), "\xc3\xa9");
}

TEST(XAnyConversion, NullStringGivesTheMarkersOfNull) {
  const xany value(xanyString);
  EXPECT_TRUE(value.operator xstring().IsNull());
  EXPECT_EQ(value.operator const char*(), TextAt(1));
  EXPECT_TRUE(value.isstring());
  EXPECT_FALSE(value.isnil());
}

// ---- what does not ----

TEST(XAnyConversion, OtherKindsEndTheProcess) {
  const struct {
    const char* accepted;  // the kinds that convert, as digits
    const char* message;
    int line;
    void (*convert)(const xany& value);
  } rows[] = {
      {"0126", "Can not convert xany to xint.", 170,
       [](const xany& value) { (void)value.operator int(); }},
      {"013", "Can not convert xany to xbool.", 186,
       [](const xany& value) { (void)value.operator unsigned char(); }},
      {"014", "Can not convert xany to xreal.", 202,
       [](const xany& value) { (void)value.operator double(); }},
      {"015", "Can not convert xany to xrstring.", 226,
       [](const xany& value) { (void)value.operator xstring(); }},
      {"015", "Can not convert xany to xrstring.", 242,
       [](const xany& value) { (void)value.operator const char*(); }},
      {"017", "Can not convert xany to xobject.", 258,
       [](const xany& value) { (void)value.operator xobject*(); }},
  };
  const EachKind values;
  for (const auto& row : rows) {
    for (int kind = 0; kind < EachKind::kCount; ++kind) {
      SCOPED_TRACE(std::to_string(row.line) + ", kind " + std::to_string(kind));
      if (std::strchr(row.accepted, '0' + kind)) {
        row.convert(values[kind]);
      } else {
        EXPECT_VEL_ABORT(row.convert(values[kind]), row.message, kSource, row.line);
      }
    }
  }
}

// ---- predicates ----

TEST(XAnyPredicates, AreTrueForTheirKindAndForNilAndUninit) {
  const struct {
    bool (xany::*asks)() const;
    const char* kinds;
  } rows[] = {{&xany::isuninit, "0"}, {&xany::isnil, "1"},     {&xany::isint, "012"},
              {&xany::isbool, "013"}, {&xany::isreal, "014"},  {&xany::isstring, "015"},
              {&xany::isenum, "016"}, {&xany::isobject, "017"}};
  const EachKind values;
  for (const auto& row : rows) {
    std::string answered;
    for (int kind = 0; kind < EachKind::kCount; ++kind) {
      if ((values[kind].*row.asks)()) answered += std::to_string(kind);
    }
    EXPECT_EQ(answered, row.kinds);
  }
}

TEST(XAnyPredicates, GetKindIsTheKind) {
  const EachKind values;
  for (int kind = 0; kind < EachKind::kCount; ++kind) EXPECT_EQ(values[kind].getkind(), kind);
}

// ---- toString ----

TEST(XAnyToString, IsWhatThePrinterWritesWithStepTwo) {
  const EachKind values;
  for (int kind = 0; kind < 8; ++kind) {
    EXPECT_EQ(std::string(values[kind].toString().CastToCString()), velPrinted(values[kind], 2));
  }
  const auto sequence = xintsequence::create();
  sequence->append(1);
  EXPECT_STREQ(xany(sequence).toString().CastToCString(), "intseq\n[\n  0 : 1\n]");
}

TEST(XAnyToString, TextsOfTheKinds) {
  const EachKind values;
  const char* const texts[] = {"", "nil", "7", "true", "2.5", "\"text\"", "green"};
  for (int kind = 0; kind < 7; ++kind) {
    EXPECT_STREQ(values[kind].toString().CastToCString(), texts[kind]);
  }
  EXPECT_STREQ(xany(false).toString().CastToCString(), "false");
  EXPECT_STREQ(xany(kUninitInt).toString().CastToCString(), "-2147483647");
}

TEST(XAnyToString, UninitGivesTheEmptyStringNotNull) {
  EXPECT_FALSE(xany().toString().IsNull());
  EXPECT_TRUE(xany().toString().IsEmpty());
}

TEST(XAnyToString, LeavesTheCountOfTheObject) {
  const xrchandle<VelLogObject> object(new VelLogObject);
  const xany value(object);
  (void)value.toString();
  EXPECT_EQ(xrcgetcount(object), 2);
}

// Decimal commas and digits in groups of two.
class OddNumbers : public std::numpunct<char> {
  char do_decimal_point() const override { return ','; }
  char do_thousands_sep() const override { return '\''; }
  std::string do_grouping() const override { return "\2"; }
};

TEST(XAnyToString, DoesNotFollowTheGlobalLocale) {
  const std::locale before = std::locale::global(std::locale(std::locale(), new OddNumbers));
  const xstring real = xany(12345.5).toString();
  const xstring integer = xany(12345).toString();
  std::locale::global(before);
  EXPECT_STREQ(real.CastToCString(), "12345.5");
  EXPECT_STREQ(integer.CastToCString(), "12345");
}

}  // namespace
