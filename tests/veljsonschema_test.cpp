// The schemas of types: what stands in them for each kind of type. Whether they are
// schemas and agree with the reader is asked by json_schema_test.py.
#include <string>

#include "veljson_types.h"
#include "veltest.h"
#include "veltest_locale.h"

namespace jsontest {

// Objects of it cannot be written.
class Sealed : public virtual xobject {
  VEL_OBJECT(Sealed)
};
VEL_OBJECT_RTTI(Sealed, xrttiobject, [](xrttiobject* rtti) {
  rtti->initializeRttiObject("jsontest::Sealed", 1, 0, nullptr);
})

class Holder : public velStruct<Holder> {
  xrchandle<Sealed> sealed;

 public:
  VEL_STRUCT(Holder, "jsontest::Holder", sealed)
};

// Passes over attributes that it does not know.
class Lenient : public velStruct<Lenient>, public velDeprecationSupport {
  int x = 0;

 public:
  VEL_STRUCT(Lenient, "jsontest::Lenient", x)
};

// A setter that counts what it is asked.
int timesSet = 0;
class Counting : public velStruct<Counting> {
  friend velObjectOf;
  int n = 0;
  static void velDescribe(xrttistruct* rtti) {
    velDescription<Counting>("jsontest::Counting")
        .attribute<&Counting::get, &Counting::set>("n")
        .creator(&velMake<Counting>)
        .install(rtti);
  }

 public:
  int get() const { return n; }
  void set(int value) {
    ++timesSet;
    n = value;
  }
};

}  // namespace jsontest

namespace {

using namespace jsontest;

// A part of the schema of a type, on one line; "(nothing)" if it is not there.
std::string Part(const char* type, const std::string& path) {
  const std::optional<xany> part = velFindPath(velJsonSchema(type), path);
  return part ? velToJson(*part) : "(nothing)";
}
std::string Definition(const std::string& type, const std::string& path = "") {
  return Part(("jsontest::" + type).c_str(), "/$defs/jsontest::" + type + path);
}

constexpr char kIntOrNull[] =
    R"({"maximum":2147483647,"minimum":-2147483647,"type":["integer","null"]})";

TEST(VelJsonSchema, OfAPlainTypeIsTheTypeOrNull) {
  const struct {
    const char* type;
    const char* schema;
  } kCases[] = {
      {"bool", R"("type":["boolean","null"])"},
      {"int", R"("maximum":2147483647,"minimum":-2147483647,"type":["integer","null"])"},
      {"real", R"("type":["number","null"])"},
      {"string", R"("type":["string","null"])"},
      {"object", R"("type":["object","array","null"])"},
  };
  const std::string head = R"({"$schema":"https://json-schema.org/draft/2020-12/schema",)";
  for (const auto& [type, schema] : kCases) EXPECT_EQ(Part(type, ""), head + schema + '}');
  EXPECT_EQ(Part("any", ""), R"({"$schema":"https://json-schema.org/draft/2020-12/schema"})");
}

TEST(VelJsonSchema, OfAnEnumerationIsTheListOfItsNames) {
  EXPECT_EQ(Definition("Color"), R"({"enum":["red","green","blue"]})");
  EXPECT_EQ(Part("jsontest::Color", "/anyOf"),
            R"([{"$ref":"#/$defs/jsontest::Color"},{"type":"null"}])");
}

TEST(VelJsonSchema, AttributesAreNullWhereTheirMembersCanBe) {
  const struct {
    const char* attribute;
    const char* schema;
  } kCases[] = {
      {"truth", R"({"type":"boolean"})"},
      {"flag", R"({"type":["boolean","null"]})"},
      {"number", kIntOrNull},
      {"real", R"({"not":{"enum":[1e+126,9e+125]},"type":["number","null"]})"},
      {"narrowReal", R"({"not":{"enum":[1e+126,9e+125]},"type":"number"})"},
      {"text", R"({"type":["string","null"]})"},
      {"utf8", R"({"type":"string"})"},
      {"any", "{}"},
      {"object", R"({"type":["object","array","null"]})"},
      {"color", R"({"$ref":"#/$defs/jsontest::Color"})"},
  };
  for (const auto& [attribute, schema] : kCases) {
    EXPECT_EQ(Definition("Members", std::string("/properties/") + attribute), schema) << attribute;
  }
}

TEST(VelJsonSchema, OptionalAttributesMayBeNull) {
  EXPECT_EQ(Definition("Maybe", "/properties/truth"), R"({"type":["boolean","null"]})");
  EXPECT_EQ(Definition("Maybe", "/properties/text"), R"({"type":["string","null"]})");
  EXPECT_EQ(Definition("Maybe", "/properties/color"),
            R"({"anyOf":[{"$ref":"#/$defs/jsontest::Color"},{"type":"null"}]})");
}

TEST(VelJsonSchema, AStructureHasTheAttributesOfItsParentsAndNoOthers) {
  EXPECT_EQ(Definition("Bottom", "/properties/top"), kIntOrNull);
  EXPECT_EQ(Definition("Bottom", "/properties/bottom"), R"({"type":"boolean"})");
  EXPECT_EQ(Definition("Bottom", "/additionalProperties"), "false");
  EXPECT_EQ(Definition("Bottom", "/required"), "(nothing)");
}

TEST(VelJsonSchema, AClassStandsForThoseThatDeriveFromIt) {
  EXPECT_EQ(Definition("Top", "/anyOf/0/additionalProperties"), "false");
  EXPECT_EQ(Definition("Top", "/anyOf/1"), R"({"$ref":"#/$defs/jsontest::Left"})");
  EXPECT_EQ(Definition("Top", "/anyOf/2"), R"({"$ref":"#/$defs/jsontest::Right"})");
  EXPECT_EQ(Part("jsontest::Top", "/$defs/jsontest::Left/anyOf/1"),
            R"({"$ref":"#/$defs/jsontest::Bottom"})");
  EXPECT_EQ(Part("jsontest::Zoo", "/$defs/jsontest::Dog/properties/barks"),
            R"({"type":"boolean"})");
}

TEST(VelJsonSchema, AUnionIsOneBranchWithTheDiscriminatorThatTellsIt) {
  EXPECT_EQ(Definition("Shape", "/anyOf/0"),
            R"({"additionalProperties":false,"properties":{"kind":{"enum":["red"]},)"
            R"("radius":{"not":{"enum":[1e+126,9e+125]},"type":["number","null"]}},)"
            R"("required":["kind"],"type":"object"})");
  EXPECT_EQ(Definition("Shape", "/anyOf/1/properties"),
            R"({"kind":{"enum":["green","blue"]},"text":{"type":["string","null"]}})");
  // As a new one has it.
  EXPECT_EQ(Definition("Shape", "/anyOf/2/properties/radius/type"), R"(["number","null"])");
  EXPECT_EQ(Definition("Shape", "/anyOf/2/required"), "(nothing)");
  EXPECT_EQ(Definition("Shape", "/anyOf/3"), "(nothing)");
}

TEST(VelJsonSchema, AUnionMayHaveNoBranch) {
  EXPECT_EQ(Definition("Number", "/anyOf/0/properties/kind"), R"({"enum":[1]})");
  EXPECT_EQ(Definition("Number", "/anyOf/1/properties/kind"), R"({"enum":[2,5]})");
  EXPECT_EQ(Definition("Number", "/anyOf/2/properties"),
            R"({"kind":{"maximum":2147483647,"minimum":-2147483647,"not":{"enum":[1,2,5]},)"
            R"("type":["integer","null"]}})");
  EXPECT_EQ(Definition("Number", "/anyOf/3/properties"), "{}");
}

TEST(VelJsonSchema, CollectionsTellTheirElements) {
  EXPECT_EQ(Part("intseq", "/$defs/intseq/items"), kIntOrNull);
  EXPECT_EQ(Part("jsontest::Colorseq", "/$defs/jsontest::Colorseq"),
            R"({"items":{"$ref":"#/$defs/jsontest::Color"},"type":"array"})");
  EXPECT_EQ(Part("jsontest::Maybedict", "/$defs/jsontest::Maybedict/additionalProperties"),
            R"({"anyOf":[{"$ref":"#/$defs/jsontest::Maybe"},{"type":"null"}]})");
}

TEST(VelJsonSchema, AnArrayNestsItsDimensions) {
  EXPECT_EQ(
      Part("jsontest::Drawing", "/$defs/int[2][3]"),
      std::string(R"({"items":{"items":)") + kIntOrNull +
          R"(,"maxItems":3,"minItems":3,"type":"array"},"maxItems":2,"minItems":2,"type":"array"})");
  EXPECT_EQ(Part("jsontest::Collections", "/$defs/bool[2][1][2]/items/items/items"),
            R"({"type":"boolean"})");
}

TEST(VelJsonSchema, ATypeThatHoldsItselfIsThereOnce) {
  EXPECT_EQ(Definition("Tree", "/properties/next/anyOf/0"), R"({"$ref":"#/$defs/jsontest::Tree"})");
  EXPECT_EQ(Part("jsontest::Tree", "/$defs/jsontest::Treeseq/items/anyOf/0"),
            R"({"$ref":"#/$defs/jsontest::Tree"})");
}

TEST(VelJsonSchema, NamesAreEscapedInReferences) {
  for (const char* name : {"C", "C.UTF-8", "de_DE.ISO-8859-1"}) {
    const ScopedLocale locale({name});
    VEL_NEED_LOCALE(locale);
    EXPECT_EQ(Part("jsontest/~0 %41\"\\#?^\xC3\xBC", "/anyOf/0/$ref"),
              "\"#/$defs/jsontest~1~00%20%2541%22%5C%23?%5E%C3%BC\"");
    EXPECT_NE(Part("jsontest/~0 %41\"\\#?^\xC3\xBC", "/$defs/jsontest~1~00 %41\"\\#?^\xC3\xBC"),
              "(nothing)");
  }
}

TEST(VelJsonSchema, MarksWhatCanOnlyBeRead) {
  EXPECT_EQ(Definition("Fixed", "/properties/fixed/readOnly"), "true");
  EXPECT_EQ(Definition("Fixed", "/properties/free/readOnly"), "(nothing)");
}

TEST(VelJsonSchema, TakesNoObjectWithoutParts) {
  EXPECT_EQ(Part("jsontest::Holder", "/$defs/jsontest::Sealed"), "false");
  EXPECT_EQ(Part("jsontest::Holder", "/$defs/jsontest::Holder/properties/sealed/anyOf/1"),
            R"({"type":"null"})");
}

TEST(VelJsonSchema, IsOpenWhereUnknownAttributesArePassedOver) {
  EXPECT_EQ(Definition("Lenient", "/additionalProperties"), "(nothing)");
  EXPECT_EQ(velToJson(velFromJson("jsontest::Lenient", R"({"x":1,"gone":2})")), R"({"x":1})");
}

TEST(VelJsonSchema, AsksTheSettersOfAnObjectOfItsOwn) {
  Counting::getClassRtti();
  EXPECT_EQ(Definition("Counting", "/properties/n"), kIntOrNull);
  EXPECT_EQ(timesSet, 1);
}

TEST(VelJsonSchema, OfAnUnknownTypeIsRefused) {
  EXPECT_VEL_THROW(velJsonSchema("nobody"), velXSerialization);
  EXPECT_VEL_THROW(velJsonSchema(nullptr), velXNull);
}

}  // namespace
