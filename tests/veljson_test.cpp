// Values as JSON and back: every kind, every ruling, errors with their places.
#include "veljson.h"

#include <cmath>
#include <limits>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#include "velext.h"
#include "veljson_types.h"
#include "veltest.h"
#include "veltest_locale.h"

namespace jsontest {

class Opaque : public virtual xobject {
  VEL_OBJECT(Opaque)
};
VEL_OBJECT_RTTI(Opaque, xrttiobject, [](xrttiobject* rtti) {
  rtti->initializeRttiObject("jsontest::Opaque", 1, 0, nullptr);
})

}  // namespace jsontest

// ---- what a newcomer writes, as it stands ------------------------------------------------

namespace manual {

class Point : public velStruct<Point> {  // private members are fine
  int x = 0, y = 0;
  xstring label;

 public:
  VEL_STRUCT(Point, "manual::Point", x, y, label)
};
VEL_ENUM(Color, "manual::Color", red, green, blue)
using PointSeq = velSequenceOf<Point>;

}  // namespace manual

TEST(Manual, TheFirstLinesDoWhatTheySay) {
  std::ostringstream out;
  out.imbue(std::locale::classic());
  const auto use = [&](int n) { out << n << '\n'; };
  const auto prices = xrealdictionary::create();
  prices->set("tea", 2.5);
  prices->set("cake", 4);

  auto p = velCreate("manual::Point");
  velSetAttr(p, "x", velAny(3));
  for (auto& [key, value] : velSorted(*prices)) out << velView(key) << ' ' << value << '\n';
  const xany value = velGetAttr(p, "x");
  if (auto n = velGet<int>(value)) use(*n);
  const xany before = velAny(p);
  const xany after = velClone(before);
  velSetAttr(velGet<xrcunihandle<xobject>>(after).value(), "y", velAny(7));
  for (const velDifference& d : velDiff(before, after)) out << d << '\n';
  std::string text = velToJson(velAny(p));
  auto back = velFromJson("manual::Point", text);
  EXPECT_TRUE(velEquals(back, velAny(p)) && velEquals(velClone(back), back));

  const auto points = manual::PointSeq::create();
  points->append(velNew<manual::Point>());
  EXPECT_EQ(out.str(), "cake 4\ntea 2.5\n3\n/y : 0 -> 7\n");
  EXPECT_EQ(velToJson(velAny(points)), "[{\"x\":0,\"y\":0,\"label\":null}]");
  EXPECT_EQ(velToJson(velAny(manual::Color::green)), "\"green\"");
}

namespace {

using namespace jsontest;

velJsonOptions Tagged() {
  velJsonOptions options;
  options.typeTags = true;
  return options;
}

// The Description of the velXSerialization that `act` throws; its Source, if asked for.
template <class Act>
std::string Complaint(Act act, std::string* source = nullptr) {
  try {
    act();
  } catch (xthrowable* caught) {
    const xrchandle<xthrowable> held(caught);
    xrcrelease(caught);
    auto* const exception = dynamic_cast<velXSerialization*>(caught);
    if (!exception) return "another exception: " + velUtf8(caught->getVelTypeName());
    if (source) {
      const auto behind = exception->getSource();
      *source = behind.isnull() ? "" : velUtf8(behind->getVelTypeName());
    }
    return velUtf8(exception->getDescription());
  }
  return "no exception";
}
std::string ComplaintAbout(const char* type, std::string_view text, std::string* source = nullptr) {
  return Complaint([&] { velFromJson(type, text); }, source);
}
std::string ComplaintAbout(std::string_view text, const velJsonOptions& options = {}) {
  return Complaint([&] { velFromJson(text, options); });
}

std::string Again(std::string_view text) { return velToJson(velFromJson(text)); }

xany SampleDrawing() {
  const xany drawing = velAny(velNew<Drawing>());
  velSetPath(drawing, "/points/-", velAny(velNew<Point>()));
  velSetPath(drawing, "/points/0/x", velAny(1));
  velSetPath(drawing, "/points/-", xany(xanyNil));
  velSetPath(drawing, "/colors/a~1b", velAny(Color::blue));
  velSetPath(drawing, "/board/1/2", velAny(7));
  velSetPath(drawing, "/shape", velAny(velNew<Shape>()));
  return drawing;
}

// ---- writing ----

TEST(VelJson, WritesEachKind) {
  const struct {
    xany value;
    const char* text;
  } kCases[] = {
      {velAny(0), "0"},
      {velAny(-2147483646), "-2147483646"},
      {velAny(2147483647), "2147483647"},
      {velAny(true), "true"},
      {velAny(false), "false"},
      {velAny(0.5), "0.5"},
      {velAny(5.0), "5.0"},
      {velAny(-0.0), "-0.0"},
      {velAny(0.1), "0.1"},
      {velAny(1e300), "1e+300"},
      {velAny(5e-324), "5e-324"},
      {velAny("text"), "\"text\""},
      {velAny(""), "\"\""},
      {velAny(Color::green), "\"green\""},
      {xany(xanyNil), "null"},
      {xany(), "null"},
      {velAny(velSequence<int>({1, 2})), "[1,2]"},
      {velAny(xanysequence::create()), "[]"},
      {velAny(xanydictionary::create()), "{}"},
      {velAny(velNew<Point>()), "{\"x\":0,\"y\":0,\"label\":null}"},
      {velAny(velNew<Deeper>()), "{\"x\":0,\"y\":0,\"label\":null,\"z\":0.5}"},
      {velAny(velNew<Shape>()), "{\"kind\":\"red\",\"radius\":1.0}"},
  };
  for (const auto& [value, text] : kCases) EXPECT_EQ(velToJson(value), text);
}

TEST(VelJson, EscapesWhatJsonDemandsAndNoMore) {
  EXPECT_EQ(velToJson(velAny("\"\\/\b\f\n\r\t\x01\x1f\x7f")),
            "\"\\\"\\\\/\\b\\f\\n\\r\\t\\u0001\\u001f\\u007f\"");
  EXPECT_EQ(velToJson(velAny("Z\xC3\xBCrich \xF0\x9F\x98\x80")),
            "\"Z\xC3\xBCrich \xF0\x9F\x98\x80\"");
}

TEST(VelJson, WritesALineForEachValueIfAskedTo) {
  velJsonOptions options;
  options.indent = 2;
  const xany value = velFromJson("{\"a\":[1,[],{}],\"b\":null}");
  EXPECT_EQ(velToJson(value, options),
            "{\n  \"a\": [\n    1,\n    [],\n    {}\n  ],\n  \"b\": null\n}");
  options.indent = 0;
  EXPECT_EQ(velToJson(velFromJson("[1,2]"), options), "[\n1,\n2\n]");
}

TEST(VelJson, SortsAttributesIfAskedTo) {
  velJsonOptions options;
  options.sortKeys = true;
  EXPECT_EQ(velToJson(velAny(velNew<Deeper>()), options),
            "{\"label\":null,\"x\":0,\"y\":0,\"z\":0.5}");
}

TEST(VelJson, WritesEntriesInTheOrderOfTheirKeys) {
  const auto dictionary = xintdictionary::create();
  for (const char* key : {"b", "a", "c", ""}) dictionary->set(key, 1);
  EXPECT_EQ(velToJson(velAny(dictionary)), "{\"\":1,\"a\":1,\"b\":1,\"c\":1}");
}

namespace {

class Faulty : public velStruct<Faulty> {
  long long big = 5000000000;

 public:
  VEL_STRUCT(Faulty, "jsontest::Faulty", big)
};

}  // namespace

TEST(VelJson, TellsWhatAGetterThrows) {
  std::string source;
  EXPECT_EQ(Complaint([] { velToJson(velAny(velNew<Faulty>())); }, &source),
            "/big: Integer out of range: 5000000000");
  EXPECT_EQ(source, "vellib::XNativeException");
}

TEST(VelJson, ReadsAnObjectAsItsClass) {
  const xrchandle<Point> point = velFromJson<Point>("{\"x\": 3}");
  EXPECT_EQ(velToJson(velAny(point)), "{\"x\":3,\"y\":0,\"label\":null}");
  EXPECT_TRUE(velFromJson<Point>("null").isnull());
  EXPECT_EQ(Complaint([] { velFromJson<Point>("[]"); }),
            "line 1, column 1: an array where jsontest::Point is expected");
}

TEST(VelJson, LeavesOutAnUninitialisedAttributeOnly) {
  EXPECT_EQ(velToJson(velAny(velNew<Drawing>())).find("extra"), std::string::npos);
  const auto dictionary = xanydictionary::create();
  dictionary->set("a", xany());
  EXPECT_EQ(velToJson(velAny(dictionary)), "{\"a\":null}");
}

TEST(VelJson, WritesAnArrayForEachDimension) {
  EXPECT_EQ(velToJson(velAny(velArrayOf<int, 2, 3>::create())), "[[0,0,0],[0,0,0]]");
  EXPECT_EQ(velToJson(velAny(velArrayOf<int, 1, 2, 1>::create())), "[[[0],[0]]]");
}

TEST(VelJson, RefusesToWriteWhatJsonHasNot) {
  const auto complaint = [](const xany& value) { return Complaint([&] { velToJson(value); }); };
  EXPECT_EQ(complaint(velAny(std::nan(""))), "not a number");
  EXPECT_EQ(complaint(velAny(std::numeric_limits<double>::infinity())), "infinite number");
  EXPECT_EQ(complaint(velAny(-std::numeric_limits<double>::infinity())), "infinite number");
  EXPECT_EQ(complaint(velAny(xrchandle<Opaque>(new Opaque))),
            "objects of type jsontest::Opaque have no parts");
  EXPECT_EQ(complaint(xany(7, velEnumRtti<Color>())), "enumeration value without a name");
}

TEST(VelJson, RefusesACycleButNotAnObjectThatComesTwice) {
  const auto outer = xanysequence::create();
  const auto inner = xanysequence::create();
  outer->append(velAny(inner));
  outer->append(velAny(inner));
  EXPECT_EQ(velToJson(velAny(outer)), "[[],[]]");
  inner->append(velAny(outer));
  EXPECT_EQ(Complaint([&] { velToJson(velAny(outer)); }), "/0/0: cycle");
  inner->clear();
}

TEST(VelJson, KeepsItsLimitOfDepth) {
  velJsonOptions options;
  options.maxDepth = 2;
  EXPECT_EQ(velToJson(velFromJson("[[1]]"), options), "[[1]]");
  const xany three = velFromJson("[[[]]]");
  EXPECT_EQ(Complaint([&] { velToJson(three, options); }), "/0/0: nested too deep");
  EXPECT_EQ(ComplaintAbout("[[{}]]", options), "/0/0: line 1, column 3: nested too deep");
  EXPECT_EQ(velToJson(velFromJson("[{}]", options)), "[{}]");
}

// ---- reading without a type ----

TEST(VelJson, ReadsEachKind) {
  const struct {
    const char* text;
    xany value;
  } kCases[] = {
      {"null", xany(xanyNil)},
      {"true", velAny(true)},
      {" 1 ", velAny(1)},
      {"-0", velAny(0)},
      {"2147483647", velAny(2147483647)},
      {"2147483648", velAny(2147483648.0)},
      {"-2147483646", velAny(-2147483646)},
      {"-2147483647", velAny(-2147483647.0)},
      {"-2147483648", velAny(-2147483648.0)},
      {"18446744073709551615", velAny(18446744073709551615.0)},
      {"123456789012345678901234567890", velAny(123456789012345678901234567890.0)},
      {"1.0", velAny(1.0)},
      {"1e2", velAny(100.0)},
      {"\"\"", velAny("")},
      {"\"\\u00fc\\ud83d\\ude00\"", velAny("\xC3\xBC\xF0\x9F\x98\x80")},
  };
  for (const auto& [text, value] : kCases) {
    const xany read = velFromJson(text);
    EXPECT_EQ(read.getkind(), value.getkind()) << text;
    EXPECT_TRUE(velEquals(read, value)) << text;
  }
}

TEST(VelJson, ReadsTheRealsThatStandForNothingElsewhere) {
  for (const char* text : {"1e126", "9e125"}) {
    const xany value = velFromJson(text);
    EXPECT_EQ(value.getkind(), xanyReal);
    EXPECT_EQ(velFromJson(velToJson(value)).getkind(), xanyReal);
  }
}

// What stands for uninit among plain ints is an int in a variant.
TEST(VelJson, TheLeastIntIsOneWhereAnIntIsExpected) {
  const xany least(-2147483647);
  ASSERT_EQ(least.getkind(), xanyInt);
  EXPECT_EQ(velToJson(least), "-2147483647");
  EXPECT_TRUE(velEquals(velFromJson("int", "-2147483647"), least));
  EXPECT_TRUE(
      velEquals(velFromJson("intseq", "[-2147483647]"), velAny(velSequence<int>({-2147483647}))));
  EXPECT_TRUE(velEquals(velFromJson("-2147483647"), velAny(-2147483647.0)));
  EXPECT_EQ(velToJson(least, Tagged()), "{\"@type\":\"int\",\"value\":-2147483647}");
  EXPECT_TRUE(velEquals(velFromJson(velToJson(least, Tagged()), Tagged()), least));
  EXPECT_EQ(velToJson(velAny(velSequence<int>({-2147483647})), Tagged()),
            "{\"@type\":\"intseq\",\"value\":[-2147483647]}");
}

TEST(VelJson, MakesDictionariesAndSequences) {
  const xany value = velFromJson("{\"a\":[1,{\"b\":null}],\"c\":{}}");
  EXPECT_EQ(value.getVelTypeName(), "anydict");
  EXPECT_EQ(velGetPath(value, "/a").getVelTypeName(), "anyseq");
  EXPECT_EQ(Again("{\"a\":[1,{\"b\":null}],\"c\":{}}"), "{\"a\":[1,{\"b\":null}],\"c\":{}}");
}

TEST(VelJson, TakesTheLastOfEqualKeys) { EXPECT_EQ(Again("{\"a\":1,\"a\":2}"), "{\"a\":2}"); }

TEST(VelJson, TellsLineAndColumnOfWhatIsNoJson) {
  EXPECT_EQ(ComplaintAbout("[1,\n \xC3\xBC]").substr(0, 20), "/1: line 2, column 2");
  EXPECT_EQ(ComplaintAbout("").substr(0, 16), "line 1, column 1");
  EXPECT_EQ(ComplaintAbout("{\"a\": nul}").substr(0, 21), "/a: line 1, column 10");
  EXPECT_EQ(ComplaintAbout("1 2").substr(0, 16), "line 1, column 3");
  EXPECT_NE(ComplaintAbout("1e999").find("overflow"), std::string::npos);
  EXPECT_NE(ComplaintAbout("\"\xFF\"").find("UTF-8"), std::string::npos);
}

TEST(VelJson, RefusesAZeroCharacter) {
  EXPECT_EQ(ComplaintAbout("[\"a\\u0000\"]"), "/0: line 1, column 2: Zero byte in text at byte 1");
  EXPECT_NE(ComplaintAbout("{\"\\u0000\":1}").find("Zero byte"), std::string::npos);
}

// ---- reading by type ----

TEST(VelJson, ReadsWhatItHasWritten) {
  const xany drawing = SampleDrawing();
  for (const int indent : {-1, 0, 3}) {
    velJsonOptions options;
    options.indent = indent;
    const xany back = velFromJson("jsontest::Drawing", velToJson(drawing, options));
    EXPECT_TRUE(velEquals(back, drawing));
    EXPECT_TRUE(velDiff(back, drawing).empty());
  }
}

TEST(VelJson, TakesAWholeNumberForAReal) {
  const xany value = velFromJson("jsontest::Drawing", "{\"scale\":3}");
  EXPECT_EQ(velGet<double>(velGetPath(value, "/scale")), 3.0);
}

TEST(VelJson, KeepsWhatTheDocumentDoesNotName) {
  const xany value = velFromJson("jsontest::Deeper", "{}");
  EXPECT_TRUE(velEquals(value, velAny(velNew<Deeper>())));
}

TEST(VelJson, TellsThePlaceAndTheReasonOfWhatDoesNotFit) {
  const struct {
    const char* text;
    const char* complaint;
    const char* source;
  } kCases[] = {
      {"{\"points\":[{\"x\":1},\n {\"x\":\"no\"}]}",
       "/points/1/x: line 2, column 7: Object type mismatch: string where int is expected",
       "vellib::XTypeMismatch"},
      {"{\"nope\":1}",
       "/nope: line 1, column 9: Dictionary key is not found: \"nope\" in jsontest::Drawing",
       "vellib::XInvalidDictKey"},
      {"{\"points\":3}",
       "/points: line 1, column 11: Object type mismatch: int where jsontest::Pointseq is expected",
       "vellib::XTypeMismatch"},
      {"[1]", "line 1, column 1: an array where jsontest::Drawing is expected", ""},
      {"{\"origin\":[]}", "/origin: line 1, column 11: an array where jsontest::Point is expected",
       ""},
      {"{\"points\":{}}",
       "/points: line 1, column 11: an object where jsontest::Pointseq is expected", ""},
      {"{\"board\":[[1,2]]}", "/board/0: line 1, column 15: the array has 2 elements instead of 3",
       ""},
      {"{\"board\":[[1,2,3,4]]}",
       "/board/0/3: line 1, column 18: Array index is out of range: 3 in dimension 1",
       "vellib::XInvalidArrayIndex"},
      {"{\"board\":[1]}", "/board/0: line 1, column 11: an array is expected here", ""},
      {"{\"colors\":{\"a\":\"pink\"}}",
       "/colors/a: line 1, column 16: \"pink\" is no value of jsontest::Color", ""},
      {"{\"points\":[{\"x\":2147483648}]}", "/points/0/x: line 1, column 17: integer out of range",
       ""},
      {"{\"isDone\":null}",
       "/isDone: line 1, column 11: Object type mismatch: nil where bool is expected",
       "vellib::XTypeMismatch"},
  };
  for (const auto& [text, complaint, source] : kCases) {
    std::string behind;
    EXPECT_EQ(ComplaintAbout("jsontest::Drawing", text, &behind), complaint) << text;
    EXPECT_EQ(behind, source) << text;
  }
}

TEST(VelJson, ReadsPlainTypesByName) {
  EXPECT_TRUE(velEquals(velFromJson("real", "1"), velAny(1.0)));
  EXPECT_TRUE(velEquals(velFromJson("intseq", "[1]"), velAny(velSequence<int>({1}))));
  EXPECT_TRUE(velEquals(velFromJson("jsontest::Color", "\"blue\""), velAny(Color::blue)));
  EXPECT_NE(ComplaintAbout("int", "1.5"), "no exception");
  EXPECT_EQ(ComplaintAbout("jsontest::Unknown", "1"), "unknown type jsontest::Unknown");
}

// ---- tags ----

TEST(VelJson, TagsMakeEverythingReadBackAsItWas) {
  const auto all = xanysequence::create();
  for (const xany& value :
       {xany(), xany(xanyNil), velAny(1), velAny(1.0), velAny(true), velAny("a"),
        velAny(Color::red), SampleDrawing(), velAny(velNew<Deeper>()), velAny(velNew<Shape>()),
        velAny(velArrayOf<Color, 2>::create()), velAny(velSequence<std::string>({"x"})),
        velAny(velDictionaryOf<Point>::create()), velFromJson("{\"@type\":1,\"@@a\":[2]}")}) {
    all->append(value);
    const std::string text = velToJson(value, Tagged());
    EXPECT_TRUE(velEquals(velFromJson(text, Tagged()), value)) << text;
  }
  EXPECT_TRUE(velEquals(velFromJson(velToJson(velAny(all), Tagged()), Tagged()), velAny(all)));
}

TEST(VelJson, ATagNamesASubclassWhereItsBaseIsExpected) {
  const xany value = velFromJson("jsontest::Drawing",
                                 "{\"origin\":{\"@type\":\"jsontest::Deeper\",\"z\":3}}", Tagged());
  EXPECT_EQ(velGetPath(value, "/origin").getVelTypeName(), "jsontest::Deeper");
}

TEST(VelJson, TheRootHasNoPath) {
  EXPECT_EQ(ComplaintAbout("jsontest::Opaque", "{\"x\": 1}"),
            "line 1, column 1: an object where jsontest::Opaque is expected");
}

TEST(VelJson, RefusesTagsThatDoNotFit) {
  const auto complaint = [](const char* text) {
    return Complaint([=] { velFromJson("jsontest::Drawing", text, Tagged()); });
  };
  EXPECT_EQ(complaint("{\"origin\":{\"@type\":\"jsontest::Shape\"}}"),
            "/origin: line 1, column 20: jsontest::Shape where jsontest::Point is expected");
  EXPECT_EQ(complaint("{\"@type\":\"nobody\"}"), "line 1, column 10: unknown type nobody");
  EXPECT_EQ(complaint("{\"@type\":7}"), "line 1, column 10: \"@type\" is no name");
  EXPECT_EQ(complaint("{\"isDone\":true,\"@type\":\"jsontest::Drawing\"}"),
            "line 1, column 16: \"@type\" does not come first");
  EXPECT_EQ(complaint("{\"@x\":1}"), "line 1, column 2: unknown tag \"@x\"");
  EXPECT_NE(
      complaint("{\"extra\":{\"@type\":\"int\",\"value\":1,\"more\":2}}").find("only \"value\""),
      std::string::npos);
  EXPECT_NE(complaint("{\"extra\":{\"@type\":\"int\"}}").find("a value is missing"),
            std::string::npos);
}

// ---- depth and chance ----

TEST(VelJson, DepthCostsHeapOnly) {
  constexpr std::size_t kLevels = 200000;
  const std::string arrays = std::string(kLevels, '[') + std::string(kLevels, ']');
  EXPECT_TRUE(Again(arrays) == arrays);
  std::string objects;
  for (std::size_t i = 0; i < kLevels; ++i) objects += "{\"a\":";
  objects += "1" + std::string(kLevels, '}');
  EXPECT_TRUE(Again(objects) == objects);
}

// Writes a random value, reads it as its type, and writes that again.
testing::AssertionResult ReadsBack(unsigned seed, const std::string& type) {
  const xany value = Chance(seed, false).value(type, 3);
  const std::string text = velToJson(value);
  const xany back = velFromJson(type.c_str(), text);
  if (velEquals(back, value) && velToJson(back) == text) return testing::AssertionSuccess();
  return testing::AssertionFailure() << seed << ", " << type << ": " << text;
}
testing::AssertionResult ReadsBackByTags(unsigned seed) {
  const xany value = Chance(seed, true).value("any", 4);
  const std::string text = velToJson(value, Tagged());
  const xany back = velFromJson(text, Tagged());
  if (velEquals(back, value) && velToJson(back, Tagged()) == text)
    return testing::AssertionSuccess();
  return testing::AssertionFailure() << seed << ": " << text;
}

TEST(VelJson, TenThousandRandomValuesReadBackByTheNamesOfTheirTypes) {
  const std::vector<std::string> types = ReadableTypes();
  for (unsigned seed = 0; seed < 10000; ++seed) {
    ASSERT_TRUE(ReadsBack(seed, types[seed % types.size()]));
  }
}

TEST(VelJson, TenThousandRandomValuesReadBackByTheirTags) {
  for (unsigned seed = 0; seed < 10000; ++seed) ASSERT_TRUE(ReadsBackByTags(seed));
}

TEST(VelJson, RandomValuesReadBackInEveryLocale) {
  for (const char* name : {"C", "de_DE.ISO-8859-1", "de_DE.UTF-8", "tr_TR.UTF-8"}) {
    const ScopedLocale locale({name});
    VEL_NEED_LOCALE(locale);
    for (unsigned seed = 0; seed < 500; ++seed) {
      ASSERT_TRUE(ReadsBack(seed, "jsontest::Collections")) << name;
      ASSERT_TRUE(ReadsBackByTags(seed)) << name;
    }
  }
}

// Groups digits, and has a comma for a point.
class Grouping : public std::numpunct<char> {
  char do_decimal_point() const override { return ','; }
  char do_thousands_sep() const override { return '.'; }
  std::string do_grouping() const override { return "\1"; }
};

TEST(VelJson, RandomRealsReadBackInEveryLocale) {
  const std::locale grouping(std::locale::classic(), new Grouping);
  const std::locale before = std::locale::global(grouping);
  for (const char* name : {"C", "de_DE.ISO-8859-1", "tr_TR.UTF-8"}) {
    const ScopedLocale locale({name});
    EXPECT_TRUE(locale.IsFound()) << name;
    Chance chance(1, false);
    for (int i = 0; i < 5000; ++i) {
      const double number = chance.real();
      const std::string text = velToJson(velAny(number));
      const std::optional<double> back = velGet<double>(velFromJson(text));
      ASSERT_TRUE(back && std::memcmp(&*back, &number, sizeof number) == 0) << name << ": " << text;
      ASSERT_TRUE(velEquals(velFromJson(velToJson(velAny(i * 429496))), velAny(i * 429496)));
    }
  }
  std::locale::global(before);
}

TEST(VelJson, KeysAreTheSameInEveryLocale) {
  const std::string document = "{\"\xC3\xBC\":\"\xC3\xBC\"}";
  for (const char* name : {"C", "C.UTF-8", "de_DE.ISO-8859-1"}) {
    const ScopedLocale locale({name});
    ASSERT_TRUE(locale.IsFound()) << name;
    EXPECT_EQ(Again(document), document) << name;
  }
  const ScopedLocale latin({"de_DE.ISO-8859-1"});
  const auto own = xintdictionary::create();
  own->set("\xFC", 1);
  EXPECT_EQ(velToJson(velAny(own)), "{\"\xC3\xBC\":1}");
}

TEST(VelJson, NumbersAreTheSameInEveryLocale) {
  const ScopedLocale locale({"de_DE.UTF-8", "de_DE.ISO-8859-1"});
  ASSERT_TRUE(locale.IsFound());
  EXPECT_EQ(velToJson(velAny(1234567.25)), "1234567.25");
  EXPECT_TRUE(velEquals(velFromJson("1234567.25"), velAny(1234567.25)));
  EXPECT_TRUE(velEquals(velFromJson("[1e-7]"), velFromJson(velToJson(velFromJson("[1e-7]")))));
}

}  // namespace
