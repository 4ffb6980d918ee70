#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <string>
#include <type_traits>
#include <utility>

#include "veltest.h"
#include "xany.h"

namespace {

constexpr char kSource[] = "velstd/services/xobject";

constexpr const char* kColours[] = {"red", "green", "blue"};
xrttienum* Colour() {
  static auto* type = new xrttienum("veltest::Colour", 3, kColours);
  return type;
}

// ---- what compiles and what must not ----

template <class T>
constexpr bool kIsSource =
    std::is_constructible<xany, T>::value&& std::is_assignable<xany&, T>::value;
template <class T>
constexpr bool kIsNoSource =
    !std::is_constructible<xany, T>::value && !std::is_assignable<xany&, T>::value;

static_assert(kIsSource<int> && kIsSource<unsigned char> && kIsSource<double> && kIsSource<float>,
              "");
static_assert(kIsSource<bool> && kIsSource<const bool&> && kIsSource<bool&>, "");
static_assert(kIsSource<char> && kIsSource<short> && kIsSource<unsigned> && kIsSource<long> &&
                  kIsSource<unsigned long long> && kIsSource<char16_t>,
              "");
static_assert(kIsSource<const char*> && kIsSource<char*> && kIsSource<const char (&)[4]> &&
                  kIsSource<xstring> && kIsSource<const xstring&>,
              "");
static_assert(kIsSource<xobject*> && kIsSource<VelLogObject*> && kIsSource<std::nullptr_t>, "");
static_assert(kIsSource<xrchandle<VelLogObject>> && kIsSource<xrcunihandle<xobject>> &&
                  kIsSource<const xrchandle<xintsequence>&>,
              "");
static_assert(kIsSource<xany> && kIsSource<const xany&> && kIsSource<__xany_c>, "");
static_assert(std::is_constructible<xany, __xanykind>::value, "");
static_assert(std::is_constructible<xany, int, xrttienum*>::value, "");

// Pointers never become truth values.
static_assert(kIsNoSource<void*> && kIsNoSource<const void*> && kIsNoSource<int*> &&
                  kIsNoSource<const xobject*> && kIsNoSource<unsigned char*> &&
                  kIsNoSource<void (*)()> && kIsNoSource<int xrttienum::*>,
              "");
static_assert(kIsNoSource<std::string> && kIsNoSource<std::pair<int, int>>, "");
static_assert(!std::is_constructible<xany, int, xrttibasic*>::value, "");

// What a function that takes a value may be called with.
static_assert(std::is_convertible<int, xany>::value && std::is_convertible<long, xany>::value &&
                  std::is_convertible<bool, xany>::value &&
                  std::is_convertible<const char*, xany>::value &&
                  std::is_convertible<xrchandle<VelLogObject>, xany>::value,
              "");

static_assert(std::is_convertible<xany, xstring>::value, "xstring x = a");
static_assert(!std::is_assignable<xstring&, const xany&>::value, "s = a is ambiguous");
static_assert(!std::is_constructible<xrcunihandle<xobject>, const xany&>::value,
              "a pointer or the 0 of an int");
static_assert(!std::is_convertible<xany, bool>::value && !std::is_convertible<xany, long>::value,
              "no conversion is better than the others");

template <class T>
using ResultOnConst = decltype(std::declval<const xany&>() == std::declval<T>());
static_assert(std::is_same<ResultOnConst<const xany&>, unsigned char>::value, "");
static_assert(std::is_same<ResultOnConst<int>, unsigned char>::value, "");
static_assert(std::is_same<ResultOnConst<const char*>, unsigned char>::value, "");

TEST(XAnyTypes, WaysAroundTheAmbiguousConversions) {
  const xany text("abc");
  xstring assigned;
  assigned = text.operator xstring();
  const xstring initialised = text;
  EXPECT_TRUE(assigned == initialised);
  const xrchandle<VelLogObject> object(new VelLogObject);
  const xany value(object);
  const xrcunihandle<xobject> handle((xobject*)value);
  EXPECT_EQ(handle.operator->(), velAsObject(object.operator->()));
  EXPECT_EQ(xrcgetcount(object), 3);
}

TEST(XAnyTypes, QueriesAskNoMoreThanAConstValue) {
  const xany value(5);
  EXPECT_TRUE(value.isint());
  EXPECT_EQ(value.getRtti(), velGetRtti_int());
  EXPECT_TRUE(value.softvalidate(velGetRtti_int(), 0));
  EXPECT_EQ(value.getxany_c().u.i, 5);
  value.validate(velGetRtti_int(), 0);
}

// ---- descriptors ----

TEST(XAnyTypes, EachKindHasItsDescriptor) {
  const xrchandle<VelLogObject> object(new VelLogObject);
  const struct {
    xany value;
    xrtti* type;
    const char* name;
  } rows[] = {
      {xany(), velGetRtti_any(), "any"},
      {xany(xanyNil), velGetRtti_any(), "any"},
      {xany(1), velGetRtti_int(), "int"},
      {xany(true), velGetRtti_bool(), "bool"},
      {xany(1.5), velGetRtti_real(), "real"},
      {xany("x"), velGetRtti_string(), "string"},
      {xany(xanyString), velGetRtti_string(), "string"},
      {xany(1, Colour()), Colour(), "veltest::Colour"},
      {xany(object), VelLogObject::getClassRtti(), "veltest::LogObject"},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(row.value.getRtti(), row.type) << row.name;
    EXPECT_STREQ(row.value.getVelTypeName().CastToCString(), row.name);
  }
}

TEST(XAnyTypes, UnknownKindHasNoDescriptor) {
  EXPECT_VEL_ABORT(xany(static_cast<__xanykind>(8)).getRtti(), "Can not be here.", kSource, 280);
  EXPECT_VEL_ABORT(xany(static_cast<__xanykind>(-1)).getVelTypeName(), "Can not be here.", kSource,
                   280);
}

TEST(XAnyTypes, EnumWithoutATypeHasNeitherDescriptorNorName) {
  const xany value(3, static_cast<xrttienum*>(nullptr));
  EXPECT_EQ(value.getRtti(), nullptr);
  EXPECT_TRUE(value.getVelTypeName().IsNull());
  EXPECT_FALSE(value.softvalidate(velGetRtti_any(), 1));
  EXPECT_VEL_THROW(value.validate(velGetRtti_any(), 1), velXTypeMismatch);
  EXPECT_EQ(velPrinted(value), "<ERROR: Invalid enum value>");
}

// ---- validation ----

// A derived class, for the question of kind.
class Special : public VelLogObject {
  VEL_OBJECT(Special)
};
VEL_OBJECT_RTTI(Special, xrttiobject, [](xrttiobject* rtti) {
  static xrttiobject* parents[] = {VelLogObject::getClassRtti()};
  rtti->initializeRttiObject("veltest::Special", 1, 1, parents);
})

TEST(XAnyValidate, NilIsAcceptableWhereItIsAllowed) {
  const xany nil(xanyNil);
  for (xrtti* type : {static_cast<xrtti*>(velGetRtti_int()), static_cast<xrtti*>(velGetRtti_any()),
                      static_cast<xrtti*>(VelLogObject::getClassRtti())}) {
    EXPECT_TRUE(nil.softvalidate(type, 1));
    EXPECT_FALSE(nil.softvalidate(type, 0));
    nil.validate(type, 1);
    EXPECT_VEL_THROW(nil.validate(type, 0), velXNull);
  }
}

TEST(XAnyValidate, OtherValuesGoByTheKindOfTheirType) {
  xrtti* const types[] = {
      velGetRtti_any(),       velGetRtti_int(), velGetRtti_bool(),   velGetRtti_real(),
      velGetRtti_string(),    Colour(),         velGetRtti_object(), VelLogObject::getClassRtti(),
      Special::getClassRtti()};
  const struct {
    xany value;
    const char* accepted;  // as indices into `types`
  } rows[] = {{xany(), "0"},
              {xany(5), "01"},
              {xany(true), "02"},
              {xany(1.5), "03"},
              {xany("x"), "04"},
              {xany(1, Colour()), "05"},
              {xany(new VelLogObject), "067"},
              {xany(new Special), "0678"}};
  for (const auto& row : rows) {
    for (const bool nilAllowed : {false, true}) {
      std::string soft;
      std::string hard;
      for (int i = 0; i < 9; ++i) {
        if (row.value.softvalidate(types[i], nilAllowed)) soft += std::to_string(i);
        if (velCaught([&] { row.value.validate(types[i], nilAllowed); }).isnull()) {
          hard += std::to_string(i);
        }
      }
      EXPECT_EQ(soft, row.accepted);
      EXPECT_EQ(hard, row.accepted);
    }
  }
}

TEST(XAnyValidate, MismatchNamesTypeAndValue) {
  const xany value("text");
  const auto caught = velCaught([&] { value.validate(velGetRtti_int(), 1); });
  auto* mismatch = dynamic_cast<velXTypeMismatch*>(caught.operator->());
  ASSERT_NE(mismatch, nullptr);
  EXPECT_STREQ(mismatch->getTypeName().CastToCString(), "int");
  EXPECT_TRUE(mismatch->getVelObject() == "text");
}

TEST(XAnyValidate, MismatchHoldsAReferenceOnTheObject) {
  const xrchandle<VelLogObject> object(new VelLogObject);
  {
    const xany value(object);
    const auto caught = velCaught([&] { value.validate(velGetRtti_int(), 1); });
    EXPECT_EQ(xrcgetcount(object), 3);
  }
  EXPECT_EQ(xrcgetcount(object), 1);
}

TEST(XAnyValidate, NullIsNoType) {
  for (const xany& value : {xany(), xany(xanyNil), xany(5), xany(new VelLogObject)}) {
    for (const bool nilAllowed : {false, true}) {
      EXPECT_FALSE(value.softvalidate(nullptr, nilAllowed));
      const auto caught = velCaught([&] { value.validate(nullptr, nilAllowed); });
      auto* mismatch = dynamic_cast<velXTypeMismatch*>(caught.operator->());
      ASSERT_NE(mismatch, nullptr);
      EXPECT_TRUE(mismatch->getTypeName().IsNull());
      EXPECT_TRUE(mismatch->getVelObject() == value);
    }
  }
}

TEST(XAnyValidate, ViewOfANullObjectIsCheckedAsNil) {
  const xany value(xanyObject);
  EXPECT_TRUE(value.softvalidate(velGetRtti_int(), 1));
  EXPECT_VEL_THROW(value.validate(velGetRtti_int(), 0), velXNull);
}

}  // namespace
