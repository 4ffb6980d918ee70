// What members a class may have, and what goes into them and comes out.
#include <cstdint>
#include <limits>
#include <string>
#include <vector>

#include "velext.h"
#include "veltest.h"

namespace {

VEL_ENUM(Colour, "member::Colour", red, green)

class Other : public velStruct<Other> {
  int x = 0;

 public:
  VEL_STRUCT(Other, "member::Other", x)
};

// One of each.
class All : public velStruct<All> {
 public:
  bool truth = false;
  unsigned char flag = 0;
  int number = 0;
  short little = 0;
  unsigned short littleMore = 0;
  signed char tiny = 0;
  char letter = 0;
  unsigned big = 0;
  long wide = 0;
  std::uint64_t widest = 0;
  double real = 0;
  float half = 0;
  xstring text;
  std::string utf8;
  xany any;
  xrchandle<Other> handle;
  xrcunihandle<xobject> object;
  Colour colour = Colour::red;
  std::optional<bool> maybeTruth;
  std::optional<int> maybe;
  std::optional<std::string> maybeText;
  std::optional<Colour> maybeColour;
  std::optional<float> maybeHalf;
  const int fixed = 9;
  VEL_STRUCT(All, "member::All", truth, flag, number, little, littleMore, tiny, letter, big, wide,
             widest, real, half, text, utf8, any, handle, object, colour, maybeTruth, maybe,
             maybeText, maybeColour, maybeHalf, fixed)
};

using Object = xrchandle<All>;

xrttiattr* AttributeOf(const char* name) {
  return dynamic_cast<xrttistruct*>(All::getClassRtti())->findAttr(name, 1);
}

TEST(VelMember, IsDescribedByItsType) {
  const struct {
    const char* name;
    const char* type;
    bool isOptional;
  } rows[] = {
      {"truth", "bool", false},      {"flag", "bool", false},
      {"number", "int", false},      {"little", "int", false},
      {"littleMore", "int", false},  {"tiny", "int", false},
      {"letter", "int", false},      {"big", "int", false},
      {"wide", "int", false},        {"widest", "int", false},
      {"real", "real", false},       {"half", "real", false},
      {"text", "string", false},     {"utf8", "string", false},
      {"any", "any", true},          {"handle", "member::Other", true},
      {"object", "object", true},    {"colour", "member::Colour", false},
      {"maybeTruth", "bool", true},  {"maybe", "int", true},
      {"maybeText", "string", true}, {"maybeColour", "member::Colour", true},
      {"maybeHalf", "real", true},   {"fixed", "int", false},
  };
  for (const auto& row : rows) {
    ASSERT_NE(AttributeOf(row.name), nullptr) << row.name;
    EXPECT_EQ(AttributeOf(row.name)->getType()->getName(), row.type) << row.name;
    EXPECT_EQ(AttributeOf(row.name)->getIsOptional() != 0, row.isOptional) << row.name;
  }
}

struct Given {
  const char* attribute;
  xany value;
  const char* printed;  // null: refused
};

void ExpectSet(const std::vector<Given>& rows) {
  for (const Given& row : rows) {
    const Object object = velNew<All>();
    const std::string before = velPrinted(xany(object));
    const auto caught = velCaught([&] { velSetAttr(object, row.attribute, row.value); });
    if (!row.printed) {
      ASSERT_FALSE(caught.isnull()) << row.attribute << ' ' << velPrinted(row.value);
      EXPECT_NE(dynamic_cast<velXTypeMismatch*>(caught.operator->()), nullptr) << row.attribute;
      EXPECT_EQ(velPrinted(xany(object)), before) << row.attribute;
      continue;
    }
    ASSERT_TRUE(caught.isnull()) << row.attribute << ' ' << velPrinted(row.value);
    EXPECT_EQ(velPrinted(velGetAttr(object, row.attribute)), row.printed) << row.attribute;
  }
}

TEST(VelMember, TakesValuesOfItsKindOnly) {
  ExpectSet({
      {"truth", velAny(true), "true"},     {"truth", velAny(1), nullptr},
      {"flag", velAny(true), "true"},      {"flag", velAny(1), nullptr},
      {"number", velAny(-7), "-7"},        {"number", velAny(2.0), nullptr},
      {"number", velAny(true), nullptr},   {"number", velAny(Colour::green), nullptr},
      {"number", velAny("7"), nullptr},    {"real", velAny(2.5), "2.5"},
      {"real", velAny(2), nullptr},        {"half", velAny(2.5), "2.5"},
      {"half", velAny(2), nullptr},        {"text", velAny("a"), "\"a\""},
      {"text", velAny(1), nullptr},        {"utf8", velAny("a"), "\"a\""},
      {"utf8", velAny(1), nullptr},        {"any", velAny(1), "1"},
      {"handle", velAny(1), nullptr},      {"handle", velAny(velNew<All>()), nullptr},
      {"object", velAny(1), nullptr},      {"colour", velAny(Colour::green), "green"},
      {"colour", velAny(1), nullptr},      {"colour", xany(7, velEnumRtti<Colour>()), nullptr},
      {"maybe", velAny(3), "3"},           {"maybe", velAny("3"), nullptr},
      {"maybeText", velAny("x"), "\"x\""}, {"maybeColour", velAny(Colour::green), "green"},
      {"maybeColour", velAny(1), nullptr},
  });
}

TEST(VelMember, OfANarrowTypeRefusesWhatItCannotHold) {
  const struct {
    const char* attribute;
    int number;
    bool isTaken;
  } rows[] = {
      {"little", 32767, true},      {"little", 32768, false},      {"little", -32768, true},
      {"little", -32769, false},    {"littleMore", 65535, true},   {"littleMore", 65536, false},
      {"littleMore", -1, false},    {"tiny", 127, true},           {"tiny", 128, false},
      {"letter", 65, true},         {"big", 2147483647, true},     {"big", -1, false},
      {"wide", -2147483646, true},  {"widest", 0, true},           {"widest", -1, false},
  };
  for (const auto& row : rows) {
    const std::string number = std::to_string(row.number);
    SCOPED_TRACE(std::string(row.attribute) + ": " + number);
    if (row.isTaken) {
      ExpectSet({{row.attribute, velAny(row.number), number.c_str()}});
      continue;
    }
    const Object object = velNew<All>();
    const std::string before = velPrinted(xany(object));
    EXPECT_VEL_NATIVE(velSetAttr(object, row.attribute, velAny(row.number)),
                      ("Integer out of range: " + number).c_str());
    EXPECT_EQ(velPrinted(xany(object)), before);
  }
}

TEST(VelMember, OfTypeFloatRefusesWhatIsTooLarge) {
  const Object object = velNew<All>();
  object->half = 0.5F;
  EXPECT_VEL_NATIVE(velSetAttr(object, "half", velAny(1e300)),
                    "Real number out of range: 1e+300");
  EXPECT_VEL_NATIVE(velSetAttr(object, "maybeHalf", velAny(-1.5e300)),
                    "Real number out of range: -1.5e+300");
  EXPECT_EQ(object->half, 0.5F);
  EXPECT_TRUE(velSetAttr(object, "half", velAny(double{std::numeric_limits<float>::max()})));
  EXPECT_EQ(object->half, std::numeric_limits<float>::max());
}

// Uninit goes into an int as the number that stands for it, as with the core's own.
TEST(VelMember, TakesNothingIfTheTableSaysSo) {
  for (const char* name : {"flag", "number", "real", "text", "any", "handle", "object",
                           "maybeTruth", "maybe", "maybeText", "maybeColour", "maybeHalf"}) {
    for (const xany& nothing : {xany(xanyNil), xany()}) {
      const Object object = velNew<All>();
      EXPECT_TRUE(velSetAttr(object, name, nothing)) << name;
      const xany stored = velGetAttr(object, name);
      EXPECT_TRUE(stored.isnil() || stored.isuninit() || velPrinted(stored) == "-2147483647")
          << name << ' ' << velPrinted(stored);
    }
  }
  for (const char* name : {"truth", "little", "littleMore", "tiny", "letter", "big", "wide",
                           "widest", "half", "utf8", "colour"}) {
    ExpectSet({{name, xany(xanyNil), nullptr}, {name, xany(), nullptr}});
  }
}

TEST(VelMember, DoesNotTakeTheIntThatCouldNotBeReadAgain) {
  const Object object = velNew<All>();
  object->wide = 7;
  EXPECT_VEL_NATIVE(velSetAttr(object, "wide", xany(-2147483647)),
                    "Integer out of range: -2147483647");
  EXPECT_EQ(object->wide, 7);
  EXPECT_TRUE(velSetAttr(object, "wide", xany(-2147483646)));
  EXPECT_EQ(object->wide, -2147483646);
}

TEST(VelMember, ThatIsNoIntThrowsWhenItIsRead) {
  const Object object = velNew<All>();
  object->wide = 2147483648L;
  EXPECT_VEL_NATIVE(velGetAttr(object, "wide"), "Integer out of range: 2147483648");
  object->wide = -2147483647L;
  EXPECT_VEL_NATIVE(velGetAttr(object, "wide"), "Integer out of range: -2147483647");
  object->widest = std::numeric_limits<std::uint64_t>::max();
  EXPECT_VEL_NATIVE(velGetAttr(object, "widest"), "Integer out of range: 18446744073709551615");
  EXPECT_EQ(velGet<int>(velGetAttr(object, "number")), 0) << "the others are still read";
}

TEST(VelMember, OfInvalidTextOrNamelessEnumeratorThrowsWhenItIsRead) {
  const Object object = velNew<All>();
  object->utf8 = "a\xFFz";
  EXPECT_VEL_NATIVE(velGetAttr(object, "utf8"), "Invalid UTF-8 at byte 1");
  object->utf8 = std::string("a\0z", 3);
  EXPECT_VEL_NATIVE(velGetAttr(object, "utf8"), "Zero byte in text at byte 1");
  object->colour = static_cast<Colour>(2);
  EXPECT_VEL_NATIVE(velGetAttr(object, "colour"), "Integer out of range: 2");
}

TEST(VelMember, ThatIsConstIsReadAndNeverSet) {
  const Object object = velNew<All>();
  EXPECT_EQ(velGet<int>(velGetAttr(object, "fixed")), 9);
  EXPECT_FALSE(velS11nHasSetter(All::getClassRtti(), "fixed"));
  EXPECT_VEL_THROW(velSetAttr(object, "fixed", velAny(1)), velXInvalidDictKey);
}

TEST(VelMember, HoldsOneReference) {
  const Object object = velNew<All>();
  const auto other = velNew<Other>();
  velSetAttr(object, "handle", velAny(other));
  velSetAttr(object, "object", velAny(other));
  EXPECT_EQ(xrcgetcount(other.operator->()), 3);
  velSetAttr(object, "handle", xany(xanyNil));
  velSetAttr(object, "object", xany());
  EXPECT_EQ(xrcgetcount(other.operator->()), 1);
}

}  // namespace
