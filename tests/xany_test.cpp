#include "xany.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>

#include "veltest.h"

namespace {

const char* TextAt(std::uintptr_t address) { return reinterpret_cast<const char*>(address); }

constexpr int kNilInt = std::numeric_limits<int>::min();
constexpr int kUninitInt = kNilInt + 1;

constexpr const char* kColours[] = {"red", "green", "blue"};
xrttienum* Colour() {
  static auto* type = new xrttienum("veltest::Colour", 3, kColours);
  return type;
}

const __xanykind kAllKinds[] = {xanyUninit, xanyNil,    xanyInt,  xanyBool,
                                xanyReal,   xanyString, xanyEnum, xanyObject};

// The value as C sees it: the same bytes.
__xany_c Bytes(const xany& value) {
  __xany_c view;
  std::memcpy(&view, static_cast<const void*>(&value), sizeof view);
  return view;
}

// ---- data model ----

TEST(XAny, KindsHaveTheirNumbers) {
  EXPECT_EQ(sizeof(__xanykind), 4u);
  for (int i = 0; i < 8; ++i) EXPECT_EQ(static_cast<int>(kAllKinds[i]), i);
}

TEST(XAny, HasTheLayoutOfItsView) {
  EXPECT_EQ(sizeof(xany), sizeof(__xany_c));
  EXPECT_EQ(alignof(xany), alignof(__xany_c));
  EXPECT_EQ(Bytes(xany(7)).kind, xanyInt);
  EXPECT_EQ(Bytes(xany(7)).u.i, 7);
  EXPECT_EQ(Bytes(xany(static_cast<unsigned char>(9))).u.b, 9);
  EXPECT_EQ(Bytes(xany(2.5)).u.d, 2.5);
  const __xany_c colour = Bytes(xany(2, Colour()));
  EXPECT_EQ(colour.u.e.value, 2);
  EXPECT_EQ(colour.u.e.rtti, static_cast<xrtti*>(Colour()));
  const xrchandle<VelLogObject> object(new VelLogObject);
  EXPECT_EQ(Bytes(xany(object)).u.o, velAsObject(object.operator->()));
}

TEST(XAny, PayloadOfNoValueIsZeros) {
  const xany values[] = {xany(),
                         xany(xanyNil),
                         xany(kNilInt),
                         xany(static_cast<unsigned char>(0x80)),
                         xany(static_cast<unsigned char>(0x81)),
                         xany(1e126),
                         xany(9e125)};
  for (const xany& value : values) {
    const __xany_c view = Bytes(value);
    EXPECT_LE(view.kind, xanyNil);
    const std::string payload(reinterpret_cast<const char*>(&view.u), sizeof view.u);
    EXPECT_EQ(payload, std::string(sizeof view.u, '\0')) << view.kind;
  }
}

TEST(XAny, StringPayloadIsTheViewOfTheString) {
  const xstring text("abc");
  const xany value(text);
  const __xstring_c payload = Bytes(value).u.s;
  EXPECT_EQ(payload.buffer, text.getxstring_c_unattached().buffer);
  EXPECT_EQ(payload.narrow, text.getxstring_c_unattached().narrow);
}

TEST(XAny, DefaultIsUninit) {
  EXPECT_EQ(xany().getkind(), xanyUninit);
  xany list[3];
  for (const xany& value : list) EXPECT_TRUE(value.isuninit());
}

// ---- construction from a kind ----

TEST(XAny, KindConstructorSetsTheKindAndZeroes) {
  for (__xanykind kind : kAllKinds) {
    const xany value(kind);
    EXPECT_EQ(value.getkind(), kind);
    const __xany_c view = Bytes(value);
    const bool isString = kind == xanyString;
    EXPECT_EQ(view.u.s.buffer, nullptr);
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(view.u.s.narrow), isString ? 1u : 0u);
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(view.u.s.wide), isString ? 1u : 0u);
  }
}

TEST(XAny, BareKindsAreCopiedComparedAndWalked) {
  const char* const printed[] = {
      "", "nil", "0", "false", "0", "\"nil\"", "<ERROR: Invalid enum value>", "nil"};
  for (__xanykind kind : kAllKinds) {
    const xany value(kind);
    xany copy(value);
    EXPECT_EQ(copy.getkind(), kind);
    EXPECT_TRUE(copy == value) << kind;
    xany assigned(1.5);
    assigned = value;
    EXPECT_TRUE(assigned == value) << kind;
    EXPECT_EQ(xcadapt_c2cxx(Bytes(value)).getkind(), kind);
    EXPECT_EQ(velPrinted(value), printed[kind]);
  }
}

// ---- markers, in construction and in assignment ----

template <class T>
void ExpectKind(T from, __xanykind kind) {
  EXPECT_EQ(xany(from).getkind(), kind);
  for (__xanykind before : kAllKinds) {
    xany value(before);
    value = from;
    EXPECT_EQ(value.getkind(), kind) << before;
  }
}

TEST(XAny, SmallestIntIsNilAndTheNextAnInt) {
  ExpectKind(kNilInt, xanyNil);
  ExpectKind(kUninitInt, xanyInt);
  ExpectKind(kUninitInt + 1, xanyInt);
  ExpectKind(0, xanyInt);
  ExpectKind(std::numeric_limits<int>::max(), xanyInt);
  EXPECT_EQ(Bytes(xany(kUninitInt)).u.i, kUninitInt);
}

TEST(XAny, EveryByteButTwoIsABool) {
  for (int byte = 0; byte < 256; ++byte) {
    const auto from = static_cast<unsigned char>(byte);
    ExpectKind(from, byte == 0x80 ? xanyNil : byte == 0x81 ? xanyUninit : xanyBool);
    if (byte == 0x80 || byte == 0x81) continue;
    EXPECT_EQ(Bytes(xany(from)).u.b, byte);
  }
}

TEST(XAny, ExactlyTwoRealsAreMarkers) {
  const double infinity = std::numeric_limits<double>::infinity();
  ExpectKind(1e126, xanyNil);
  ExpectKind(9e125, xanyUninit);
  for (double from : {std::nextafter(1e126, 0.0), std::nextafter(1e126, infinity),
                      std::nextafter(9e125, 0.0), std::nextafter(9e125, infinity), -1e126, -9e125,
                      0.0, infinity, std::numeric_limits<double>::quiet_NaN()}) {
    ExpectKind(from, xanyReal);
  }
  EXPECT_TRUE(std::isnan(Bytes(xany(std::nan(""))).u.d));
}

TEST(XAny, FloatsActAsDoubles) {
  ExpectKind(1.5f, xanyReal);
  EXPECT_TRUE(xany(1.5f) == 1.5);
}

TEST(XAny, TrueAndFalseAreBools) {
  ExpectKind(true, xanyBool);
  ExpectKind(false, xanyBool);
  EXPECT_EQ(Bytes(xany(true)).u.b, 1);
  EXPECT_EQ(Bytes(xany(false)).u.b, 0);
}

TEST(XAny, NarrowTextMarkers) {
  ExpectKind(TextAt(1), xanyNil);
  ExpectKind(TextAt(2), xanyUninit);
  ExpectKind("", xanyString);
  ExpectKind("abc", xanyString);
  ExpectKind("uninit", xanyString);
}

TEST(XAny, NullTextConstructsNilButAssignsTheNullString) {
  EXPECT_EQ(xany(TextAt(0)).getkind(), xanyNil);
  xany value(5);
  value = TextAt(0);
  EXPECT_EQ(value.getkind(), xanyString);
  EXPECT_EQ(Bytes(value).u.s.buffer, nullptr);
  EXPECT_TRUE(value.operator xstring().IsNull());
}

TEST(XAny, NullXStringIsNil) {
  ExpectKind(xstring(), xanyNil);
  ExpectKind(xstring(TextAt(0)), xanyNil);
  ExpectKind(xstring(""), xanyString);
  ExpectKind(xstring(L"wide"), xanyString);
  ExpectKind(L"wide", xanyString);
}

TEST(XAny, ObjectMarkers) {
  ExpectKind(static_cast<xobject*>(nullptr), xanyNil);
  ExpectKind(xuninitobject, xanyUninit);
  ExpectKind(nullptr, xanyNil);
  const xrchandle<VelLogObject> object(new VelLogObject);
  ExpectKind(velAsObject(object.operator->()), xanyObject);
  ExpectKind(object.operator->(), xanyObject);
}

TEST(XAny, HandlesActAsTheirPointers) {
  const xrchandle<VelLogObject> object(new VelLogObject);
  const xrcunihandle<VelLogObject> uni(object);
  ExpectKind(object, xanyObject);
  ExpectKind(uni, xanyObject);
  ExpectKind(xrchandle<VelLogObject>(), xanyNil);
  ExpectKind(xrcunihandle<VelLogObject>(), xanyNil);
  ExpectKind(xrchandle<VelLogObject>(VelLogObject::softcast(xuninitobject)), xanyUninit);
  ExpectKind(xrcunihandle<VelLogObject>(VelLogObject::softcast(xuninitobject)), xanyUninit);
  EXPECT_EQ(xrcgetcount(object), 2);
  const xany first(object);
  const xany second(uni);
  EXPECT_EQ(xrcgetcount(object), 4);
}

TEST(XAny, KindIsAssignedAsAKind) {
  for (__xanykind kind : kAllKinds) ExpectKind(kind, kind);
}

// ---- other integers ----

template <class T>
class XAnyInteger : public ::testing::Test {};
using OtherIntegers =
    ::testing::Types<char, signed char, short, unsigned short, unsigned, long, unsigned long,
                     long long, unsigned long long, wchar_t, char16_t, char32_t>;
TYPED_TEST_SUITE(XAnyInteger, OtherIntegers, );  // the comma is for -Wpedantic

TYPED_TEST(XAnyInteger, ActsAsTheIntOfTheSameValue) {
  ExpectKind(TypeParam{5}, xanyInt);
  EXPECT_EQ(Bytes(xany(TypeParam{5})).u.i, 5);
  xany value;
  value = TypeParam{6};
  EXPECT_EQ(Bytes(value).u.i, 6);
}

TYPED_TEST(XAnyInteger, EndsOfTheRangeFitOrThrow) {
  using Limits = std::numeric_limits<TypeParam>;
  for (TypeParam end : {Limits::min(), Limits::max()}) {
    const bool negative = end < TypeParam{};
    const auto wide = static_cast<unsigned long long>(end);
    const bool fits = negative ? static_cast<long long>(end) >= kNilInt : wide <= 0x7FFFFFFF;
    xany value(1.5);
    if (fits) {
      value = end;
      const auto same = static_cast<int>(end);
      EXPECT_TRUE(value == xany(same));
    } else {
      EXPECT_VEL_NATIVE(xany{end}, "Integer out of range");
      EXPECT_VEL_NATIVE(value = end, "Integer out of range");
      EXPECT_TRUE(value == 1.5) << "unchanged";
    }
  }
}

TEST(XAny, LongsAtTheEndsOfInt) {
  EXPECT_EQ(xany(-2147483648).getkind(), xanyNil);
  EXPECT_EQ(xany(-2147483647L).getkind(), xanyInt);
  EXPECT_EQ(Bytes(xany(2147483647L)).u.i, 2147483647);
  EXPECT_EQ(Bytes(xany(2147483647U)).u.i, 2147483647);
  EXPECT_VEL_NATIVE(xany(2147483648L), "Integer out of range");
  EXPECT_VEL_NATIVE(xany(-2147483649L), "Integer out of range");
  EXPECT_VEL_NATIVE(xany(2147483648U), "Integer out of range");
}

// ---- enumerations ----

TEST(XAny, EnumValuesAndTheirMarkers) {
  const struct {
    int value;
    __xanykind kind;
  } rows[] = {{0, xanyEnum},
              {2, xanyEnum},
              {3, xanyNil},
              {4, xanyEnum},
              {7, xanyEnum},
              {-1, xanyEnum},
              {kNilInt, xanyNil},
              {kUninitInt, xanyUninit},
              {kUninitInt + 1, xanyEnum},
              {std::numeric_limits<int>::max(), xanyEnum}};
  for (const auto& row : rows) {
    const xany value(row.value, Colour());
    EXPECT_EQ(value.getkind(), row.kind) << row.value;
    if (row.kind != xanyEnum) continue;
    EXPECT_EQ(Bytes(value).u.e.value, row.value);
    EXPECT_EQ(Bytes(value).u.e.rtti, static_cast<xrtti*>(Colour()));
  }
}

TEST(XAny, EnumWithoutATypeKnowsTheMarkersOfInt) {
  xrttienum* const none = nullptr;
  EXPECT_EQ(xany(kNilInt, none).getkind(), xanyNil);
  EXPECT_EQ(xany(kUninitInt, none).getkind(), xanyUninit);
  EXPECT_EQ(xany(0, none).getkind(), xanyEnum);
  EXPECT_EQ(xany(3, none).getkind(), xanyEnum);
  EXPECT_EQ(Bytes(xany(3, none)).u.e.rtti, nullptr);
}

// ---- empty values elsewhere ----

TEST(XAny, GapsInASequenceAreUninit) {
  const auto sequence = xanysequence::create();
  sequence->set(3, xany(1));
  for (int i = 0; i < 3; ++i) EXPECT_TRUE(sequence->get(i).isuninit()) << i;
  EXPECT_EQ(sequence->get(0).getkind(), xanyUninit);
}

TEST(XAny, AnyAttributeIsUninitWhenAnObjectIsBuiltByName) {
  const auto create =
      reinterpret_cast<velS11nCreator>(velRttiGetUserData("vellib::XTypeMismatch", "_s11n_create"));
  ASSERT_NE(create, nullptr);
  xobject* made = create(nullptr);
  EXPECT_EQ(dynamic_cast<velXTypeMismatch*>(made)->getVelObject().getkind(), xanyUninit);
  xrcrelease(made);
}

}  // namespace
