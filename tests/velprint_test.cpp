#include "velprint.h"

#include <pthread.h>

#include <climits>
#include <cstdio>
#include <fstream>
#include <iomanip>
#include <locale>
#include <sstream>
#include <string>
#include <type_traits>

#include "veltest.h"
#include "veltest_locale.h"
#include "veltest_types.h"

namespace {

const char* const kColours[] = {"red", "green", nullptr};

// What one operation of a fresh printer writes.
template <class Call>
std::string Written(int step, Call call) {
  std::ostringstream out;
  out.imbue(std::locale::classic());
  velPrintTraverser printer(out, step);
  EXPECT_EQ(call(printer), velTrContinue);
  return out.str();
}

// ---- the class ----

static_assert(std::is_base_of<velTraverser, velPrintTraverser>::value, "");
static_assert(std::is_constructible<velPrintTraverser, std::ostream&, int>::value, "");
static_assert(!std::is_default_constructible<velPrintTraverser>::value, "");
static_assert(sizeof(velPrintTraverser) == 2 * sizeof(void*) + 2 * sizeof(int),
              "table, stream, step, indentation");

// ---- whole texts ----

struct PointInSequence {
  VelAttr x{"x"}, y{"y"};
  VelStructType pointType{"Point", {}, {&x, &y}};
  VelSeqType seqType{"PointSeq"};
  VelThingHandle point = velNewThing(&pointType);
  VelThingHandle sequence = velNewThing(&seqType);
  PointInSequence() {
    point->values["x"] = velGives(1);
    point->values["y"] = velGives(2);
    sequence->items = {velGives(xany(point))};
  }
};

TEST(VelPrint, StepsIndentEachLevel) {
  PointInSequence sample;
  const struct {
    int step;
    const char* text;
  } rows[] = {
      {2,
       "PointSeq\n"
       "[\n"
       "  0 : Point\n"
       "  {\n"
       "    x : 1\n"
       "    y : 2\n"
       "  }\n"
       "]"},
      {4,
       "PointSeq\n"
       "[\n"
       "    0 : Point\n"
       "    {\n"
       "        x : 1\n"
       "        y : 2\n"
       "    }\n"
       "]"},
      {0, "PointSeq\n[\n0 : Point\n{\nx : 1\ny : 2\n}\n]"},
      {-1, "PointSeq [ 0 : Point { x : 1 y : 2 } ]"},
      {-2, "PointSeq\n[\n0 : Point\n{\nx : 1\ny : 2\n}\n]"},
      {-1000000, "PointSeq\n[\n0 : Point\n{\nx : 1\ny : 2\n}\n]"},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(velPrinted(xany(sample.sequence), row.step), row.text) << "step " << row.step;
  }
}

TEST(VelPrint, HugeStepsWrapAround) {
  // Twice the smallest int is 0 again: blanks in number only if the sum is lost.
  VelSeqType type("S");
  const VelThingHandle inner = velNewThing(&type);
  const VelThingHandle outer = velNewThing(&type);
  outer->items = {velGives(xany(inner))};
  EXPECT_EQ(velPrinted(xany(outer), INT_MIN), "S\n[\n0 : S\n[\n]\n]");
}

TEST(VelPrint, SimpleValuesAreJustThemselves) {
  const struct {
    xany value;
    const char* text;
  } rows[] = {
      {xany(), ""},
      {xany(xanyNil), "nil"},
      {xany(0), "0"},
      {xany(-17), "-17"},
      {xany(INT_MAX), "2147483647"},
      {xany(INT_MIN + 1), "-2147483647"},
      {xany(INT_MIN), "nil"},
      {xany(true), "true"},
      {xany(false), "false"},
      {xany(static_cast<unsigned char>(2)), "true"},
      {xany(1.5), "1.5"},
      {xany(1e100), "1e+100"},
      {xany(2.0 / 3), "0.666667"},
      {xany(3.0), "3"},
      {xany("abc"), "\"abc\""},
      {xany(""), "\"\""},
      {xany("a \"quoted\"\nline\\"), "\"a \"quoted\"\nline\\\""},
      {xany("%s%d"), "\"%s%d\""},
      {xany(xanyString), "\"nil\""},
      {xany(xanyEnum), "<ERROR: Invalid enum value>"},
      {xany(static_cast<xobject*>(nullptr)), "nil"},
      {xany(xuninitobject), ""},
  };
  for (const auto& row : rows) {
    for (int step : {2, -1}) EXPECT_EQ(velPrinted(row.value, step), row.text);
  }
}

TEST(VelPrint, EnumerationsAreNamed) {
  xrttienum colour("Colour", 3, kColours);
  EXPECT_EQ(velPrinted(xany(0, &colour)), "red");
  EXPECT_EQ(velPrinted(xany(1, &colour)), "green");
  EXPECT_EQ(velPrinted(xany(2, &colour)), "nil");
  EXPECT_EQ(velPrinted(xany(4, &colour)), "nil");
  EXPECT_EQ(velPrinted(xany(-1, &colour)), "nil");
}

TEST(VelPrint, PlainObjectsHaveBracesAndStructuresNotTwice) {
  VelPlainType plain("Plain");
  VelStructType structure("Struct", {}, {});
  EXPECT_EQ(velPrinted(xany(velNewThing(&plain))), "Plain\n{\n}");
  EXPECT_EQ(velPrinted(xany(velNewThing(&structure))), "Struct\n{\n}");
  EXPECT_EQ(velPrinted(xany(xrchandle<xobject>(new xobject)), -1), "object { }");
}

TEST(VelPrint, PlainObjectsShowWhatTheirParentsContribute) {
  VelAttr a("a");
  VelStructType structure("Struct", {}, {&a});
  VelPlainType plain("Plain", {&structure});
  const VelThingHandle thing = velNewThing(&plain);
  thing->values["a"] = velGives(1);
  EXPECT_EQ(velPrinted(xany(thing)), "Plain\n{\n  a : 1\n}");
}

// A descriptor class of its own is not exactly the object-class descriptor.
class OwnKind : public VelPlainType {
 public:
  OwnKind() : VelPlainType("OwnKind") {}

 private:
  xrttiobject* giveRtti() override {
    static VelStructType type("OwnKindType", {}, {});
    return &type;
  }
};

TEST(VelPrint, ObjectsOfAnotherDescriptorClassPrintNothing) {
  OwnKind type;
  EXPECT_EQ(velPrinted(xany(velNewThing(&type))), "");
}

TEST(VelPrint, Dictionaries) {
  VelDictType type("Dict");
  const VelThingHandle thing = velNewThing(&type);
  thing->entries = {velThingEntry("k", 5), velThingEntry("", "v"), velThingEntry("q\"", 1)};
  thing->entries.push_back({[](xstring* key) {
                              *key = xstring();
                              return true;
                            },
                            [](xany*) { return false; }});
  EXPECT_EQ(velPrinted(xany(thing)),
            "Dict\n"
            "{\n"
            "  \"k\" : 5\n"
            "  \"\" : \"v\"\n"
            "  \"q\"\" : 1\n"
            "  \"nil\" : \"<uninit>\"\n"
            "}");
  const auto standard = xstringdictionary::create();
  standard->set("one", "1");
  EXPECT_EQ(velPrinted(xany(standard), -1), "stringdict { \"one\" : \"1\" }");
}

TEST(VelPrint, Sequences) {
  const auto anys = xanysequence::create();
  anys->append(xany());
  anys->append(xany(xanyNil));
  anys->append(xany("x"));
  anys->append(xany(xintsequence::create()));
  EXPECT_EQ(velPrinted(xany(anys)),
            "anyseq\n"
            "[\n"
            "  0 : \n"
            "  1 : nil\n"
            "  2 : \"x\"\n"
            "  3 : intseq\n"
            "  [\n"
            "  ]\n"
            "]");
}

TEST(VelPrint, Arrays) {
  VelArrayType line("Line", {3});
  const VelThingHandle row = velNewThing(&line);
  row->items = {velGives(7), velGives("x"), velGives(xany())};
  EXPECT_EQ(velPrinted(xany(row)),
            "Line\n"
            "[\n"
            "  0 : 7\n"
            "  1 : \"x\"\n"
            "  2 : \n"
            "]");

  VelArrayType grid("Grid", {2, 2});
  const VelThingHandle thing = velNewThing(&grid);
  for (int i = 0; i < 4; ++i) thing->items.push_back(velGives(10 + i));
  EXPECT_EQ(velPrinted(xany(thing)),
            "Grid\n"
            "[\n"
            "  0 : [\n"
            "    0 : 10\n"
            "    1 : 11\n"
            "  ]\n"
            "  1 : [\n"
            "    0 : 12\n"
            "    1 : 13\n"
            "  ]\n"
            "]");
  EXPECT_EQ(velPrinted(xany(thing), -1), "Grid [ 0 : [ 0 : 10 1 : 11 ] 1 : [ 0 : 12 1 : 13 ] ]");
  EXPECT_EQ(velPrinted(xany(thing), 0),
            "Grid\n[\n0 : [\n0 : 10\n1 : 11\n]\n1 : [\n0 : 12\n1 : 13\n]\n]");

  VelArrayType cube("Cube", {1, 2, 1});
  const VelThingHandle deep = velNewThing(&cube);
  deep->items = {velGives(1), velGives(2)};
  EXPECT_EQ(velPrinted(xany(deep), -1), "Cube [ 0 : [ 0 : [ 0 : 1 ] 1 : [ 0 : 2 ] ] ]");
  VelArrayType none("None", {2, 0});
  EXPECT_EQ(velPrinted(xany(velNewThing(&none)), -1), "None [ 0 : [ ] 1 : [ ] ]");
}

TEST(VelPrint, Unions) {
  VelAttr kind("kind"), number("number");
  VelUnionType type("Union", &kind, {{1, &number}}, nullptr);
  const VelThingHandle thing = velNewThing(&type);
  thing->values["number"] = velGives(42);
  thing->values["kind"] = velGives(1);
  EXPECT_EQ(velPrinted(xany(thing)), "Union\n{\n  kind : 1\n  number : 42\n}");
  thing->values["kind"] = velGives(2);
  EXPECT_EQ(velPrinted(xany(thing)), "Union\n{\n  kind : 2\n  Unknown union attribute\n}");
  EXPECT_EQ(velPrinted(xany(thing), -1), "Union { kind : 2 Unknown union attribute }");
}

TEST(VelPrint, AttributesOfParentsComeFirst) {
  VelAttr a("a"), b("b");
  VelStructType parent("Parent", {}, {&a});
  VelStructType type("Child", {&parent}, {&b});
  const VelThingHandle thing = velNewThing(&type);
  thing->values["a"] = velGives("abc");
  thing->values["b"] = velGives(xany(xanyNil));
  EXPECT_EQ(velPrinted(xany(thing)), "Child\n{\n  a : \"abc\"\n  b : nil\n}");
}

TEST(VelPrint, ObjectThatContainsItselfIsPrintedOnce) {
  VelAttr self("self"), more("more");
  VelStructType type("Node", {}, {&self, &more});
  const VelThingHandle node = velNewThing(&type);
  VelThing* raw = node;
  node->values["self"] = [raw] { return xany(raw); };
  node->values["more"] = velGives(1);
  EXPECT_EQ(velPrinted(xany(node)), "Node\n{\n  self : <printed>\n  more : 1\n}");
}

TEST(VelPrint, FailingGettersShowInTheirPlace) {
  VelAttr a("a"), b("b"), c("c");
  VelStructType type("Struct", {}, {&a, &b, &c});
  const VelThingHandle thing = velNewThing(&type);
  thing->values["a"] = []() -> xany { velXNull::Throw(); };
  thing->values["b"] = []() -> xany { throw 5; };
  thing->values["c"] = velGives(3);
  EXPECT_EQ(velPrinted(xany(thing)),
            "Struct\n"
            "{\n"
            "  a : <ERROR: VEL exception>\n"
            "  b : <ERROR: Unknown exception>\n"
            "  c : 3\n"
            "}");
}

TEST(VelPrint, FailingCountsAndKeysPrintWithoutALineOfTheirOwn) {
  VelDictType type("Dict");
  const VelThingHandle thing = velNewThing(&type);
  thing->entries = {{[](xstring*) -> bool { throw 1; }, velThingEntry("", 1).value}, velThingEntry("k", 2)};
  EXPECT_EQ(velPrinted(xany(thing)), "Dict\n{<ERROR: Unknown exception>\n  \"k\" : 2\n}");
  thing->count = []() -> int { throw 1; };
  EXPECT_EQ(velPrinted(xany(thing)), "Dict\n{<ERROR: Unknown exception>\n}");
}

TEST(VelPrint, ExceptionsShowTheAttributesOfTheirBases) {
  const auto caught = velCaught([] { velXTypeMismatch::Throw("Wanted", xany(5)); });
  const std::string text = velPrinted(xany(caught));
  EXPECT_EQ(text.find("vellib::XTypeMismatch\n{\n  Description : \""), 0u) << text;
  EXPECT_NE(text.find("\n  VelObject : 5\n  TypeName : \"Wanted\"\n}"), std::string::npos) << text;
}

// ---- single operations ----

TEST(VelPrintTraverser, SimpleValueByKind) {
  const auto simple = [](auto make) {
    return Written(2, [&](velPrintTraverser& printer) { return printer.simpleValue(make()); });
  };
  EXPECT_EQ(simple([] { return xany(); }), "uninit");
  EXPECT_EQ(simple([] { return xany(xanyNil); }), "nil");
  EXPECT_EQ(simple([] { return xany(-5); }), "-5");
  EXPECT_EQ(simple([] { return xany(true); }), "true");
  EXPECT_EQ(simple([] { return xany(0.25); }), "0.25");
  EXPECT_EQ(simple([] { return xany("s"); }), "\"s\"");
  xrttienum colour("Colour", 3, kColours);
  const char* invalid = "<ERROR: Invalid simple value>";
  EXPECT_EQ(simple([&] { return xany(1, &colour); }), invalid);
  EXPECT_EQ(simple([] { return xany(xrchandle<xobject>(new xobject)); }), invalid);
  EXPECT_EQ(simple([] { return xany(static_cast<__xanykind>(8)); }), invalid);
  EXPECT_EQ(simple([] { return xany(static_cast<__xanykind>(-1)); }), invalid);
  // A view of kind object without an object.
  EXPECT_EQ(simple([] { return xany(xanyObject); }), "nil");
}

TEST(VelPrintTraverser, OperationsWriteTheirRows) {
  VelPlainType plain("Plain");
  VelAttr attr("attr");
  VelStructType structure("Struct", {}, {});
  VelSeqType sequence("Seq");
  VelDictType dictionary("Dict");
  VelArrayType array("Array", {1});
  VelUnionType choice("Union", nullptr, {}, nullptr);
  xrttienum colour("Colour", 3, kColours);
  const xrcunihandle<xobject> object(new VelThing(&plain));
  const auto index = xintsequence::create();
  for (int i : {4, 5, 6}) index->append(i);
  using P = velPrintTraverser;
  const struct {
    const char* name;
    std::function<velTraverseResult(P&)> call;
    const char* broken;
    const char* oneLine;
  } rows[] = {
      {"enumValue", [&](P& p) { return p.enumValue(&colour, 1); }, "green", "green"},
      {"beginObject", [&](P& p) { return p.beginObject(&plain, object); }, "Plain\n{", "Plain {"},
      {"endObject", [&](P& p) { return p.endObject(&plain, object); }, "\n}", " }"},
      {"beginObject of a structure", [&](P& p) { return p.beginObject(&structure, object); }, "",
       ""},
      {"endObject of a structure", [&](P& p) { return p.endObject(&structure, object); }, "", ""},
      {"beginObject of a sequence", [&](P& p) { return p.beginObject(&sequence, object); }, "", ""},
      {"endObject of a sequence", [&](P& p) { return p.endObject(&sequence, object); }, "", ""},
      {"beginObject of a dictionary", [&](P& p) { return p.beginObject(&dictionary, object); }, "",
       ""},
      {"endObject of a dictionary", [&](P& p) { return p.endObject(&dictionary, object); }, "", ""},
      {"beginObject of an array", [&](P& p) { return p.beginObject(&array, object); }, "", ""},
      {"endObject of an array", [&](P& p) { return p.endObject(&array, object); }, "", ""},
      {"beginObject of a union", [&](P& p) { return p.beginObject(&choice, object); }, "", ""},
      {"endObject of a union", [&](P& p) { return p.endObject(&choice, object); }, "", ""},
      {"beginStructure", [&](P& p) { return p.beginStructure(&structure, object); }, "Struct\n{",
       "Struct {"},
      {"endStructure", [&](P& p) { return p.endStructure(&structure, object); }, "\n}", " }"},
      {"beginStructAttribute",
       [&](P& p) { return p.beginStructAttribute(&structure, &attr, object); },
       "\nattr : ", " attr : "},
      {"endStructAttribute", [&](P& p) { return p.endStructAttribute(&structure, &attr, object); },
       "", ""},
      {"beginSequence", [&](P& p) { return p.beginSequence(&sequence, object); }, "Seq\n[",
       "Seq ["},
      {"endSequence", [&](P& p) { return p.endSequence(&sequence, object); }, "\n]", " ]"},
      {"beginSeqElement", [&](P& p) { return p.beginSeqElement(&sequence, 1234567, object); },
       "\n1234567 : ", " 1234567 : "},
      {"endSeqElement", [&](P& p) { return p.endSeqElement(&sequence, 1, object); }, "", ""},
      {"beginDictionary", [&](P& p) { return p.beginDictionary(&dictionary, object); }, "Dict\n{",
       "Dict {"},
      {"endDictionary", [&](P& p) { return p.endDictionary(&dictionary, object); }, "\n}", " }"},
      {"beginDictElement", [&](P& p) { return p.beginDictElement(&dictionary, "key", object); },
       "\n\"key\" : ", " \"key\" : "},
      {"endDictElement", [&](P& p) { return p.endDictElement(&dictionary, "key", object); }, "",
       ""},
      {"beginArray", [&](P& p) { return p.beginArray(&array, object); }, "Array\n[", "Array ["},
      {"endArray", [&](P& p) { return p.endArray(&array, object); }, "\n]", " ]"},
      {"beginArrayDimension", [&](P& p) { return p.beginArrayDimension(&array, 1, index, object); },
       "\n5 : [", " 5 : ["},
      {"endArrayDimension", [&](P& p) { return p.endArrayDimension(&array, 1, index, object); },
       "\n]", " ]"},
      {"beginArrayElement", [&](P& p) { return p.beginArrayElement(&array, index, object); },
       "\n6 : ", " 6 : "},
      {"endArrayElement", [&](P& p) { return p.endArrayElement(&array, index, object); }, "", ""},
      {"beginUnion", [&](P& p) { return p.beginUnion(&choice, object); }, "Union\n{", "Union {"},
      {"endUnion", [&](P& p) { return p.endUnion(&choice, object); }, "\n}", " }"},
      {"beginUnionDicriminator",
       [&](P& p) { return p.beginUnionDicriminator(&choice, &attr, object); },
       "\nattr : ", " attr : "},
      {"endUnionDicriminator", [&](P& p) { return p.endUnionDicriminator(&choice, &attr, object); },
       "", ""},
      {"beginUnionValue", [&](P& p) { return p.beginUnionValue(&choice, &attr, object); },
       "\nattr : ", " attr : "},
      {"beginUnionValue without a member",
       [&](P& p) { return p.beginUnionValue(&choice, nullptr, object); },
       "\nUnknown union attribute", " Unknown union attribute"},
      {"endUnionValue", [&](P& p) { return p.endUnionValue(&choice, &attr, object); }, "", ""},
      {"errorOccured", [&](P& p) { return p.errorOccured("some text", 0); }, "<ERROR: some text>",
       "<ERROR: some text>"},
      {"alreadyVisited", [&](P& p) { return p.alreadyVisited(object); }, "<printed>", "<printed>"},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(Written(3, row.call), row.broken) << row.name;
    EXPECT_EQ(Written(-1, row.call), row.oneLine) << row.name;
  }
  EXPECT_EQ(xrcgetcount(object), 1) << "every handle was given back";
  EXPECT_EQ(xrcgetcount(velAsObject(index.operator->())), 1);
}

TEST(VelPrintTraverser, BeginsIndentAndEndsTakeItBack) {
  VelStructType structure("S", {}, {});
  VelArrayType array("A", {1});
  const auto index = xintsequence::create();
  index->append(0);
  const auto text = Written(3, [&](velPrintTraverser& p) {
    p.beginStructure(&structure, 0);
    p.beginArrayDimension(&array, 0, index, 0);
    p.beginArrayElement(&array, index, 0);
    p.endArrayDimension(&array, 0, index, 0);
    return p.endStructure(&structure, 0);
  });
  EXPECT_EQ(text, "S\n{\n   0 : [\n      0 : \n   ]\n}");
}

TEST(VelPrintTraverser, ExceptionObjectIsNotPrintedAndReleased) {
  const auto caught = velCaught([] { velXNull::Throw(); });
  EXPECT_EQ(Written(2, [&](velPrintTraverser& p) { return p.errorOccured("text", caught); }),
            "<ERROR: text>");
  EXPECT_EQ(xrcgetcount(velAsObject(caught.operator->())), 1);
}

TEST(VelPrintTraverser, MayServeSeveralWalks) {
  std::ostringstream out;
  velPrintTraverser printer(out, -1);
  velTraverse(xany(1), &printer);
  velTraverse(xany("x"), &printer);
  EXPECT_EQ(out.str(), "1\"x\"");
}

// ---- names ----

TEST(VelPrintNames, NamelessTypesAreCalledByTheirParentsTheLastFirst) {
  VelPlainType a("A"), b("B");
  VelStructType nameless(nullptr, {&a, &b}, {});
  VelStructType empty("", {&a, &b}, {});
  EXPECT_EQ(velPrinted(xany(velNewThing(&nameless))), "B A \n{\n}");
  EXPECT_EQ(velPrinted(xany(velNewThing(&empty)), -1), "B A  { }");
}

TEST(VelPrintNames, TheRuleIsAppliedToParentsToo) {
  VelPlainType a("A"), b("B"), c("C");
  VelPlainType inner(nullptr, {&a, &b});
  VelStructType outer(nullptr, {&c, &inner}, {});
  EXPECT_EQ(velPrinted(xany(velNewThing(&outer)), -1), "B A  C  { }");
}

TEST(VelPrintNames, NamelessTypesWithoutParentsPrintNothing) {
  VelStructType nameless(nullptr, {}, {});
  EXPECT_EQ(velPrinted(xany(velNewThing(&nameless))), "\n{\n}");
  VelPlainType below(nullptr, {&nameless});
  EXPECT_EQ(velPrinted(xany(velNewThing(&below)), -1), "  { }");
}

TEST(VelPrintNames, NamedTypesIgnoreTheirParents) {
  VelPlainType a("A");
  VelStructType type("Named", {&a}, {});
  EXPECT_EQ(velPrinted(xany(velNewThing(&type)), -1), "Named { }");
}

TEST(VelPrintNames, NamelessTypesThatAreTheirOwnParentsEnd) {
  VelPlainType a("A");
  VelStructType type(nullptr, {}, {});
  type.parentList = {&a, &type};
  EXPECT_EQ(velPrinted(xany(velNewThing(&type)), -1), " A  { }");
}

TEST(VelPrintNames, NamelessParentsMayComeTwice) {
  VelPlainType a("A");
  VelPlainType inner(nullptr, {&a});
  VelStructType type(nullptr, {&inner, &inner}, {});
  EXPECT_EQ(velPrinted(xany(velNewThing(&type)), -1), "A  A   { }");
}

TEST(VelPrintNames, NullNamesOfAttributesReadNil) {
  VelAttr nameless(nullptr);
  VelStructType type("Struct", {}, {&nameless});
  const VelThingHandle thing = velNewThing(&type);
  thing->values[""] = velGives(1);
  EXPECT_EQ(velPrinted(xany(thing), -1), "Struct { nil : 1 }");
}

// ---- streams ----

class Grouping : public std::numpunct<char> {
  char do_thousands_sep() const override { return '.'; }
  char do_decimal_point() const override { return ','; }
  std::string do_grouping() const override { return "\3"; }
};

TEST(VelPrintStream, IntegersAreNeverGroupedRealsFollowTheStream) {
  std::ostringstream out;
  out.imbue(std::locale(std::locale::classic(), new Grouping));
  out << 1234567;
  ASSERT_EQ(out.str(), "1.234.567");
  out.str("");
  const auto anys = xanysequence::create();
  anys->append(xany(1234567));
  anys->append(xany(1234.5));
  velPrint(xany(anys), out, -1);
  EXPECT_EQ(out.str(), "anyseq [ 0 : 1234567 1 : 1.234,5 ]");

  out.str("");
  VelArrayType array("Array", {2000, 1});
  velPrintTraverser printer(out, -1);
  const auto index = xintsequence::create();
  index->append(1234);
  index->append(5678);
  printer.beginArrayDimension(&array, 0, index, 0);
  printer.beginArrayElement(&array, index, 0);
  printer.beginSeqElement(nullptr, 91011, 0);
  EXPECT_EQ(out.str(), " 1234 : [ 5678 :  91011 : ");
}

TEST(VelPrintStream, IntegersAreDecimalWhateverTheFlags) {
  std::ostringstream out;
  out.imbue(std::locale::classic());
  out << std::hex << std::showbase << std::showpos << std::setprecision(3) << std::boolalpha;
  const auto anys = xanysequence::create();
  anys->append(xany(255));
  anys->append(xany(2.0 / 3));
  anys->append(xany(true));
  velPrint(xany(anys), out, -1);
  EXPECT_EQ(out.str(), "anyseq [ 0 : 255 1 : +0.667 2 : true ]");
}

TEST(VelPrintStream, LineBreaksFlush) {
  struct Buffer : std::stringbuf {
    int sync() override {
      ++flushes;
      return std::stringbuf::sync();
    }
    int flushes = 0;
  } buffer;
  std::ostream out(&buffer);
  PointInSequence sample;
  velPrint(xany(sample.sequence), out, 2);
  EXPECT_EQ(buffer.flushes, 7);
  velPrint(xany(sample.sequence), out, -1);
  EXPECT_EQ(buffer.flushes, 7);
}

TEST(VelPrintStream, WhatTheStreamThrowsPasses) {
  VelSeqType type("Seq");
  const VelThingHandle thing = velNewThing(&type);
  std::ostream out(nullptr);
  velPrint(xany(thing), out, 2);
  out.clear();
  EXPECT_THROW(out.exceptions(std::ios::badbit), std::ios_base::failure);
  EXPECT_THROW(velPrint(xany(thing), out, 2), std::ios_base::failure);
  EXPECT_EQ(xrcgetcount(thing), 1);
}

TEST(VelPrintStream, WideTextIsPrintedNarrow) {
  const Utf8Locale locale;
  VEL_NEED_LOCALE(locale);
  EXPECT_EQ(velPrinted(xany(xstring(L"\u00e9"))), "\"\xc3\xa9\"");
}

template <class T>
std::string Streamed(const T& object) {
  std::ostringstream out;
  std::ostream& returned = out << object;
  EXPECT_EQ(&returned, &out);
  return out.str();
}

TEST(VelPrintStream, OperatorWalksWithStepTwo) {
  PointInSequence sample;
  const char* expected = "PointSeq\n[\n  0 : Point\n  {\n    x : 1\n    y : 2\n  }\n]";
  EXPECT_EQ(Streamed<xobject*>(sample.sequence), expected);
  EXPECT_EQ(Streamed<VelThing*>(sample.sequence), expected);
  EXPECT_EQ(Streamed(sample.sequence), expected);
  EXPECT_EQ(Streamed(xrcunihandle<xobject>(sample.sequence)), expected);
  EXPECT_EQ(Streamed(xrcunihandle<VelThing>(sample.sequence)), expected);
  EXPECT_EQ(xrcgetcount(sample.sequence), 1);
}

TEST(VelPrintStream, NullIsNilAndUninitIsNothing) {
  EXPECT_EQ(Streamed<xobject*>(nullptr), "nil");
  EXPECT_EQ(Streamed<VelThing*>(nullptr), "nil");
  EXPECT_EQ(Streamed(xrchandle<xintsequence>()), "nil");
  EXPECT_EQ(Streamed(xrcunihandle<xobject>()), "nil");
  EXPECT_EQ(Streamed<xobject*>(xuninitobject), "");
  velXNull* uninit = velXNull::softcast(xuninitobject);
  EXPECT_EQ(Streamed<velXNull*>(uninit), "");
  EXPECT_EQ(Streamed(xrchandle<velXNull>(uninit)), "");
  EXPECT_EQ(Streamed(xrcunihandle<velXNull>(uninit)), "");
  EXPECT_EQ(Streamed(xrchandle<xobject>(xuninitobject)), "");
}

struct Incomplete;

TEST(VelPrintStream, OtherPointersKeepTheirMeaning) {
  int number = 0;
  std::ostringstream address;
  address << static_cast<const void*>(&number);
  EXPECT_EQ(Streamed<int*>(&number), address.str());
  EXPECT_EQ(Streamed<Incomplete*>(reinterpret_cast<Incomplete*>(&number)), address.str());
  EXPECT_EQ(Streamed<const char*>("text"), "text");
}

// ---- counts ----

TEST(VelPrintCounts, PrintingLeavesAFreshObjectAtZero) {
  std::string log;
  auto* object = new VelLogObject(&log);
  for (int i = 0; i < 3; ++i) {
    EXPECT_EQ(Streamed<xobject*>(object), "veltest::LogObject\n{\n}");
    EXPECT_EQ(Streamed<VelLogObject*>(object), "veltest::LogObject\n{\n}");
    testing::internal::CaptureStderr();
    velDebugPrint(object);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "veltest::LogObject\n{\n}");
    testing::internal::CaptureStdout();
    velDbgPrintDictKeys(object, nullptr);
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "Type \"veltest::LogObject\" is not a dictionary\n");
    EXPECT_EQ(xrcgetcount(object), 0);
  }
  EXPECT_EQ(log, "") << "not even asked whether it may go";
  xrcattach(object);
  EXPECT_EQ(xrcgetcount(object), 1);
  xrcrelease(object);
  EXPECT_EQ(log, "object asked\nobject onDelete\nobject destroyed\n");
}

// Prints itself while it is made.
class SelfPrinter : public virtual xobject {
 public:
  explicit SelfPrinter(std::string* text) {
    std::ostringstream out;
    out << static_cast<xobject*>(this);
    *text = out.str();
    ++alive;
  }
  ~SelfPrinter() override { --alive; }
  static int alive;

 private:
  xrttiobject* giveRtti() override {
    static VelPlainType type("SelfPrinter");
    return &type;
  }
};
int SelfPrinter::alive = 0;

TEST(VelPrintCounts, ConstructorsMayPrintTheirObject) {
  std::string text;
  xrchandle<SelfPrinter> object = new SelfPrinter(&text);
  EXPECT_EQ(text, "SelfPrinter\n{\n}");
  EXPECT_EQ(SelfPrinter::alive, 1);
  object = nullptr;
  EXPECT_EQ(SelfPrinter::alive, 0);
}

TEST(VelPrintCounts, HeldObjectsKeepTheirCount) {
  const xrchandle<VelLogObject> object = new VelLogObject;
  const xrchandle<VelLogObject> second = object;
  Streamed(object);
  velPrinted(xany(object));
  EXPECT_EQ(xrcgetcount(object), 2);
}

TEST(VelPrintCounts, ObjectsThatAreNotCountedStayAlive) {
  std::string log;
  VelPlainObject object(&log);
  EXPECT_EQ(Streamed<xobject*>(&object), "veltest::PlainObject\n{\n}");
  EXPECT_EQ(log, "");
}

TEST(VelPrintCounts, ThrowingStreamsLeaveAFreshObjectAtZeroToo) {
  auto* object = new VelLogObject;
  std::ostream out(nullptr);
  EXPECT_THROW(out.exceptions(std::ios::badbit), std::ios_base::failure);
  EXPECT_THROW(out << object, std::ios_base::failure);
  EXPECT_EQ(xrcgetcount(object), 0);
  xrcattach(object);
  xrcrelease(object);
  EXPECT_EQ(VelLogObject::alive(), 0);
}

// ---- standard streams ----

TEST(VelDebugPrint, WritesToTheStandardErrorStreamWithStepTwo) {
  PointInSequence sample;
  testing::internal::CaptureStdout();
  testing::internal::CaptureStderr();
  velDebugPrint(sample.sequence);
  EXPECT_EQ(testing::internal::GetCapturedStderr(),
            "PointSeq\n[\n  0 : Point\n  {\n    x : 1\n    y : 2\n  }\n]");
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
}

TEST(VelDebugPrint, NullIsNilAndUninitIsNothing) {
  testing::internal::CaptureStderr();
  velDebugPrint(nullptr);
  velDebugPrint(xuninitobject);
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "nil");
}

// ---- keys of dictionaries ----

std::string Keys(xobject* object, const char* fileName = nullptr) {
  testing::internal::CaptureStdout();
  velDbgPrintDictKeys(object, fileName);
  return testing::internal::GetCapturedStdout();
}

// A path that a test may write to; removed at both ends.
class ScratchFile {
 public:
  ScratchFile()
      : path_(std::string(VELSTD_BINARY_DIR) + "/velprint_" +
              testing::UnitTest::GetInstance()->current_test_info()->name()) {
    std::remove(path_.c_str());
  }
  ~ScratchFile() { std::remove(path_.c_str()); }
  ScratchFile(const ScratchFile&) = delete;
  ScratchFile& operator=(const ScratchFile&) = delete;

  const char* path() const { return path_.c_str(); }
  std::string text() const {
    std::ifstream in(path_);
    EXPECT_TRUE(in.is_open());
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
  }

 private:
  std::string path_;
};

TEST(VelDbgPrintDictKeys, ListsTheKeysInIndexOrder) {
  VelDictType type("Dict");
  const VelThingHandle thing = velNewThing(&type);
  thing->entries = {velThingEntry("b", 1), velThingEntry("a", 2), velThingEntry("", 3)};
  thing->entries.insert(thing->entries.begin() + 1,
                        {[](xstring*) { return false; }, [](xany*) { return false; }});
  EXPECT_EQ(Keys(thing), "Dictionary \"Dict\" keys: \nb\na\n\n");
}

TEST(VelDbgPrintDictKeys, KnowsTheStandardDictionaries) {
  const auto dictionary = xintdictionary::create();
  EXPECT_EQ(Keys(dictionary), "Dictionary \"intdict\" keys: \n");
  dictionary->set("only", 1);
  EXPECT_EQ(Keys(dictionary), "Dictionary \"intdict\" keys: \nonly\n");
  EXPECT_EQ(xrcgetcount(velAsObject(dictionary.operator->())), 1);
}

TEST(VelDbgPrintDictKeys, SaysWhatIsNoDictionary) {
  EXPECT_EQ(Keys(velAsObject(xintsequence::create().operator->())),
            "Type \"intseq\" is not a dictionary\n");
  EXPECT_EQ(Keys(nullptr), "Type \"nil\" is not a dictionary\n");
  EXPECT_EQ(Keys(xuninitobject), "Type \"uninit\" is not a dictionary\n");
}

TEST(VelDbgPrintDictKeys, AddressOneAsFileNameMeansStandardOutput) {
  EXPECT_EQ(Keys(nullptr, reinterpret_cast<const char*>(1)), "Type \"nil\" is not a dictionary\n");
}

TEST(VelDbgPrintDictKeys, WritesTheFileAnewAndClosesIt) {
  const ScratchFile file;
  std::ofstream(file.path()) << "old text that is longer than the new one will ever be, or so";
  const auto dictionary = xintdictionary::create();
  dictionary->set("only", 1);
  EXPECT_EQ(Keys(dictionary, file.path()), "");
  EXPECT_EQ(file.text(), "Dictionary \"intdict\" keys: \nonly\n");
  EXPECT_EQ(Keys(nullptr, file.path()), "");
  EXPECT_EQ(file.text(), "Type \"nil\" is not a dictionary\n");
}

TEST(VelDbgPrintDictKeys, FileThatDoesNotOpenIsLeftAlone) {
  const auto dictionary = xintdictionary::create();
  EXPECT_EQ(Keys(dictionary, VELSTD_BINARY_DIR "/no/such/folder/keys"), "");
  EXPECT_EQ(Keys(dictionary, ""), "");
  EXPECT_EQ(Keys(dictionary, VELSTD_BINARY_DIR), "");
}

TEST(VelDbgPrintDictKeys, KeepsAFreshDictionaryAliveWhoseGettersHoldIt) {
  VelDictType type("Dict");
  auto* fresh = new VelThing(&type);
  fresh->entries = {velThingEntry("k", 1)};
  fresh->count = [fresh] {
    const VelThingHandle held = fresh;
    return 1;
  };
  EXPECT_EQ(Keys(fresh), "Dictionary \"Dict\" keys: \nk\n");
  EXPECT_EQ(xrcgetcount(fresh), 0);
  const VelThingHandle owner = fresh;
}

TEST(VelDbgPrintDictKeys, DoesNotClimbToABaseThatIsADictionary) {
  VelDictType dictionary("Dict");
  VelStructType type("Struct", {&dictionary}, {});
  const VelThingHandle thing = velNewThing(&type);
  thing->entries = {velThingEntry("k", 1)};
  EXPECT_EQ(Keys(thing), "Type \"Struct\" is not a dictionary\n");
}

// ---- depth ----

void* DeepPrint(void* text) {
  auto top = xanysequence::create();
  for (int i = 1; i < 1000000; ++i) {
    auto next = xanysequence::createCapacity(1);
    next->append(xany(top));
    top = next;
  }
  *static_cast<std::string*>(text) = velPrinted(xany(top), -1);
  return nullptr;
}

TEST(VelPrint, OneMillionNestedValuesFitAnOrdinaryStack) {
  pthread_attr_t attributes;
  pthread_attr_init(&attributes);
  pthread_attr_setstacksize(&attributes, 8u << 20);
  std::string text;
  pthread_t thread;
  ASSERT_EQ(pthread_create(&thread, &attributes, &DeepPrint, &text), 0);
  ASSERT_EQ(pthread_join(thread, nullptr), 0);
  pthread_attr_destroy(&attributes);

  std::string expected = "anyseq [";
  for (int i = 1; i < 1000000; ++i) expected += " 0 : anyseq [";
  for (int i = 0; i < 1000000; ++i) expected += " ]";
  EXPECT_TRUE(text == expected) << text.size() << " characters instead of " << expected.size();
}

// A width that is set on the stream pads the first thing that is written.
TEST(VelPrint, WidthPadsWhatComesFirst) {
  const auto sequence = xintsequence::create();
  sequence->append(1);
  std::ostringstream out;
  out << std::setfill('.') << std::setw(8);
  velPrint(xany(sequence), out, -1);
  EXPECT_EQ(out.str(), "..intseq [ 0 : 1 ]");
  out.str("");
  out << std::setw(4);
  velPrint(xany("a"), out, -1);
  EXPECT_EQ(out.str(), "...\"a\"");
}

TEST(VelPrint, LongTextsAreWrittenWhole) {
  for (const int length : {100, 253, 254, 255, 256, 257, 10000}) {
    const std::string text(static_cast<std::size_t>(length), 'x');
    const auto dictionary = xanydictionary::create();
    dictionary->set(text.c_str(), xany(text.c_str()));
    std::ostringstream out;
    velPrint(xany(dictionary), out, -1);
    EXPECT_EQ(out.str(), "anydict { \"" + text + "\" : \"" + text + "\" }");
  }
}

// What a line begins with is there, whatever its value throws.
TEST(VelPrint, WhatComesBeforeAnExceptionIsWritten) {
  std::ostringstream out;
  velPrintTraverser printer(out, -1);
  VelArrayType array("A", {1, 1});
  EXPECT_VEL_THROW(printer.beginArrayDimension(&array, 5, xintsequence::create(), 0),
                   velXInvalidSeqIndex);
  EXPECT_EQ(out.str(), " ");
}

}  // namespace
