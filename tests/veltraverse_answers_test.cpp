// What each answer to each call of a visitor does to the rest of a walk.
#include <climits>
#include <stdexcept>
#include <string>
#include <vector>

#include "veltest.h"
#include "veltest_types.h"
#include "veltraverser.h"

namespace {

const char* const kColours[] = {"red", "green"};

// ---- every answer to every call ----

// A call, and the call that follows a skip or a leave: the first later one of
// that text, "" for the end of the walk, null for the next line.
struct Row {
  const char* call;
  const char* afterSkip = nullptr;
  const char* afterLeave = nullptr;
};

std::string Joined(const std::vector<Row>& rows, std::size_t begin, std::size_t end) {
  std::string text;
  for (std::size_t i = begin; i < end; ++i)
    text += (text.empty() ? "" : " ") + std::string(rows[i].call);
  return text;
}

void CheckEveryAnswer(const xany& value, const std::vector<Row>& rows) {
  const std::size_t end = rows.size();
  EXPECT_EQ(velWalked(value), Joined(rows, 0, end));
  for (std::size_t row = 0; row < end; ++row) {
    const std::string call = rows[row].call;
    const std::string operation = call.substr(0, call.find('('));
    int nth = 1;
    for (std::size_t i = 0; i < row; ++i)
      nth += std::string(rows[i].call).find(operation + '(') == 0;
    for (const int answer : {1, 2, 3, 4, 0, 5, -1, 8, 255, INT_MAX, INT_MIN}) {
      const char* target = answer == velTrSkip    ? rows[row].afterSkip
                           : answer == velTrLeave ? rows[row].afterLeave
                                                  : nullptr;
      std::size_t next = row + 1;
      if (answer == velTrStop || (target && !*target)) {
        next = end;
      } else if (target) {
        while (next < end && std::string(rows[next].call) != target) ++next;
        ASSERT_LT(next, end) << "no later call " << target;
      }
      std::string expected = Joined(rows, 0, row + 1);
      if (next < end) expected += ' ' + Joined(rows, next, end);

      LogTraverser log;
      log.answer(operation, static_cast<velTraverseResult>(answer), nth);
      velTraverse(value, &log);
      EXPECT_EQ(log.text(), expected) << "answer " << answer << " to call " << row << ", " << call;
    }
  }
}

TEST(VelTraverseAnswers, ToSimpleValues) {
  CheckEveryAnswer(xany(5), {{"simpleValue(5)"}});
  CheckEveryAnswer(xany(xanyNil), {{"simpleValue(nil)"}});
  xrttienum colour("Colour", 2, kColours);
  CheckEveryAnswer(xany(1, &colour), {{"enumValue(Colour 1)"}});
  CheckEveryAnswer(xany(xanyEnum), {{"errorOccured(Invalid enum value, null)"}});
}

TEST(VelTraverseAnswers, ToAPlainObject) {
  VelPlainType type("Plain");
  CheckEveryAnswer(xany(velNewThing(&type)), {{"beginObject(Plain)", ""}, {"endObject(Plain)"}});
}

TEST(VelTraverseAnswers, ToAStructureUnderADiamond) {
  VelAttr t("t"), l("l"), r("r"), d("d"), e("e");
  VelStructType top("Top", {}, {&t});
  VelStructType left("Left", {&top}, {&l});
  VelStructType right("Right", {&top}, {&r});
  VelStructType bottom("Bottom", {&left, &right}, {&d, &e});
  const VelThingHandle thing = velNewThing(&bottom);
  thing->values["t"] = velGives(1);
  thing->values["l"] = velGives("x");
  thing->values["r"] = velGives(true);
  thing->values["d"] = velGives(xany(xanyNil));
  CheckEveryAnswer(xany(thing),
                   {{"beginObject(Bottom)", ""},
                    {"beginStructure(Bottom)", ""},
                    {"beginStructAttribute(t)", "beginStructAttribute(l)", "endStructure(Bottom)"},
                    {"simpleValue(1)"},
                    {"endStructAttribute(t)", nullptr, "endStructure(Bottom)"},
                    {"beginStructAttribute(l)", "beginStructAttribute(r)", "endStructure(Bottom)"},
                    {"simpleValue(\"x\")"},
                    {"endStructAttribute(l)", nullptr, "endStructure(Bottom)"},
                    {"beginStructAttribute(r)", "beginStructAttribute(d)", "endStructure(Bottom)"},
                    {"simpleValue(true)"},
                    {"endStructAttribute(r)", nullptr, "endStructure(Bottom)"},
                    {"beginStructAttribute(d)", "beginStructAttribute(e)", "endStructure(Bottom)"},
                    {"simpleValue(nil)"},
                    {"endStructAttribute(d)", nullptr, "endStructure(Bottom)"},
                    {"beginStructAttribute(e)", "endStructure(Bottom)", "endStructure(Bottom)"},
                    {"endStructAttribute(e)", nullptr, "endStructure(Bottom)"},
                    {"endStructure(Bottom)"},
                    {"endObject(Bottom)"}});
}

TEST(VelTraverseAnswers, ToASequenceOfObjects) {
  VelSeqType type("Seq");
  VelPlainType plain("Plain");
  const VelThingHandle thing = velNewThing(&type);
  thing->items = {velGives(1), velGives(xany(velNewThing(&plain))), velGives(xany())};
  CheckEveryAnswer(xany(thing), {{"beginObject(Seq)", ""},
                                 {"beginSequence(Seq)", ""},
                                 {"beginSeqElement(0)", "beginSeqElement(1)", "endSequence(Seq)"},
                                 {"simpleValue(1)"},
                                 {"endSeqElement(0)", nullptr, "endSequence(Seq)"},
                                 {"beginSeqElement(1)", "beginSeqElement(2)", "endSequence(Seq)"},
                                 {"beginObject(Plain)", "endSeqElement(1)"},
                                 {"endObject(Plain)"},
                                 {"endSeqElement(1)", nullptr, "endSequence(Seq)"},
                                 {"beginSeqElement(2)", "endSequence(Seq)", "endSequence(Seq)"},
                                 {"endSeqElement(2)", nullptr, "endSequence(Seq)"},
                                 {"endSequence(Seq)"},
                                 {"endObject(Seq)"}});
}

TEST(VelTraverseAnswers, ToADictionary) {
  VelDictType type("Dict");
  const VelThingHandle thing = velNewThing(&type);
  const auto absent = [](xstring*) { return false; };
  const auto noValue = [](xany* value) {
    *value = xany(99);
    return false;
  };
  thing->entries = {velThingEntry("a", 1), {absent, noValue}, {velThingEntry("b", 2).key, noValue}};
  CheckEveryAnswer(xany(thing),
                   {{"beginObject(Dict)", ""},
                    {"beginDictionary(Dict)", ""},
                    {"beginDictElement(a)", "beginDictElement(b)", "endDictionary(Dict)"},
                    {"simpleValue(1)"},
                    {"endDictElement(a)", nullptr, "endDictionary(Dict)"},
                    {"beginDictElement(b)", "endDictionary(Dict)", "endDictionary(Dict)"},
                    {"simpleValue(\"<uninit>\")"},
                    {"endDictElement(b)", nullptr, "endDictionary(Dict)"},
                    {"endDictionary(Dict)"},
                    {"endObject(Dict)"}});
}

TEST(VelTraverseAnswers, ToAUnion) {
  VelAttr kind("kind"), x("x");
  VelUnionType type("Union", &kind, {{1, &x}}, nullptr);
  const VelThingHandle thing = velNewThing(&type);
  thing->values["kind"] = velGives(1);
  thing->values["x"] = velGives("v");
  CheckEveryAnswer(xany(thing),
                   {{"beginObject(Union)", ""},
                    {"beginUnion(Union)", ""},
                    {"beginUnionDicriminator(kind)", "beginUnionValue(x)", "endUnion(Union)"},
                    {"simpleValue(1)"},
                    {"endUnionDicriminator(kind)", nullptr, "endUnion(Union)"},
                    {"beginUnionValue(x)", "endUnion(Union)", "endUnion(Union)"},
                    {"simpleValue(\"v\")"},
                    {"endUnionValue(x)"},
                    {"endUnion(Union)"},
                    {"endObject(Union)"}});
}

TEST(VelTraverseAnswers, ToAUnionWithoutASelectedMember) {
  VelAttr kind("kind"), x("x");
  VelUnionType type("Union", &kind, {{1, &x}}, nullptr);
  const VelThingHandle thing = velNewThing(&type);
  thing->values["kind"] = velGives(2);
  CheckEveryAnswer(xany(thing),
                   {{"beginObject(Union)", ""},
                    {"beginUnion(Union)", ""},
                    {"beginUnionDicriminator(kind)", "beginUnionValue(null)", "endUnion(Union)"},
                    {"simpleValue(2)"},
                    {"endUnionDicriminator(kind)", nullptr, "endUnion(Union)"},
                    {"beginUnionValue(null)", "endUnion(Union)", "endUnion(Union)"},
                    {"endUnionValue(null)"},
                    {"endUnion(Union)"},
                    {"endObject(Union)"}});
}

TEST(VelTraverseAnswers, ToAnArrayOfOneDimension) {
  VelArrayType type("Array", {2});
  const VelThingHandle thing = velNewThing(&type);
  thing->items = {velGives(10), velGives(11)};
  CheckEveryAnswer(xany(thing),
                   {{"beginObject(Array)", ""},
                    {"beginArray(Array)", ""},
                    {"beginArrayElement([0])", "beginArrayElement([1])", "endArray(Array)"},
                    {"simpleValue(10)"},
                    {"endArrayElement([0])", nullptr, "endArray(Array)"},
                    {"beginArrayElement([1])", "endArray(Array)", "endArray(Array)"},
                    {"simpleValue(11)"},
                    {"endArrayElement([1])", nullptr, "endArray(Array)"},
                    {"endArray(Array)"},
                    {"endObject(Array)"}});
}

TEST(VelTraverseAnswers, ToAnArrayOfTwoByThree) {
  VelArrayType type("Array", {2, 3});
  const VelThingHandle thing = velNewThing(&type);
  for (int i = 0; i < 6; ++i) thing->items.push_back(velGives(i));
  const char* const over = "endArray(Array)";
  CheckEveryAnswer(xany(thing), {{"beginObject(Array)", ""},
                                 {"beginArray(Array)", ""},
                                 {"beginArrayDimension(0 [0,0])", nullptr, over},
                                 {"beginArrayElement([0,0])", "beginArrayElement([0,1])", over},
                                 {"simpleValue(0)"},
                                 {"endArrayElement([0,0])", nullptr, over},
                                 {"beginArrayElement([0,1])", "beginArrayElement([0,2])", over},
                                 {"simpleValue(1)"},
                                 {"endArrayElement([0,1])", nullptr, over},
                                 {"beginArrayElement([0,2])", "endArrayDimension(0 [0,0])", over},
                                 {"simpleValue(2)"},
                                 {"endArrayElement([0,2])", nullptr, over},
                                 {"endArrayDimension(0 [0,0])", nullptr, over},
                                 {"beginArrayDimension(0 [1,0])", nullptr, over},
                                 {"beginArrayElement([1,0])", "beginArrayElement([1,1])", over},
                                 {"simpleValue(3)"},
                                 {"endArrayElement([1,0])", nullptr, over},
                                 {"beginArrayElement([1,1])", "beginArrayElement([1,2])", over},
                                 {"simpleValue(4)"},
                                 {"endArrayElement([1,1])", nullptr, over},
                                 {"beginArrayElement([1,2])", "endArrayDimension(0 [1,0])", over},
                                 {"simpleValue(5)"},
                                 {"endArrayElement([1,2])", nullptr, over},
                                 {"endArrayDimension(0 [1,0])", nullptr, over},
                                 {over},
                                 {"endObject(Array)"}});
}

TEST(VelTraverseAnswers, ToAnArrayOfThreeDimensions) {
  VelArrayType type("Cube", {2, 1, 1});
  const VelThingHandle thing = velNewThing(&type);
  thing->items = {velGives(1), velGives(2)};
  const char* const over = "endArray(Cube)";
  CheckEveryAnswer(xany(thing),
                   {{"beginObject(Cube)", ""},
                    {"beginArray(Cube)", ""},
                    {"beginArrayDimension(0 [0,0,0])", nullptr, over},
                    {"beginArrayDimension(1 [0,0,0])", nullptr, over},
                    {"beginArrayElement([0,0,0])", "endArrayDimension(1 [0,0,0])", over},
                    {"simpleValue(1)"},
                    {"endArrayElement([0,0,0])", nullptr, over},
                    {"endArrayDimension(1 [0,0,0])", nullptr, over},
                    {"endArrayDimension(0 [0,0,0])", nullptr, over},
                    {"beginArrayDimension(0 [1,0,0])", nullptr, over},
                    {"beginArrayDimension(1 [1,0,0])", nullptr, over},
                    {"beginArrayElement([1,0,0])", "endArrayDimension(1 [1,0,0])", over},
                    {"simpleValue(2)"},
                    {"endArrayElement([1,0,0])", nullptr, over},
                    {"endArrayDimension(1 [1,0,0])", nullptr, over},
                    {"endArrayDimension(0 [1,0,0])", nullptr, over},
                    {over},
                    {"endObject(Cube)"}});
}

TEST(VelTraverseAnswers, ToAnObjectThatContainsItself) {
  VelAttr self("self"), after("after");
  VelStructType type("Node", {}, {&self, &after});
  const VelThingHandle node = velNewThing(&type);
  VelThing* raw = node;
  node->values["self"] = [raw] { return xany(raw); };
  const auto name = std::string("alreadyVisited(Node)");
  CheckEveryAnswer(
      xany(node),
      {{"beginObject(Node)", ""},
       {"beginStructure(Node)", ""},
       {"beginStructAttribute(self)", "beginStructAttribute(after)", "endStructure(Node)"},
       {name.c_str()},
       {"endStructAttribute(self)", nullptr, "endStructure(Node)"},
       {"beginStructAttribute(after)", "endStructure(Node)", "endStructure(Node)"},
       {"endStructAttribute(after)", nullptr, "endStructure(Node)"},
       {"endStructure(Node)"},
       {"endObject(Node)"}});
}

TEST(VelTraverseAnswers, ToFailures) {
  VelAttr vel("vel"), native("native");
  VelStructType type("Failing", {}, {&vel, &native});
  const VelThingHandle thing = velNewThing(&type);
  thing->values["vel"] = velThrowsVel;
  thing->values["native"] = velThrowsInt;
  CheckEveryAnswer(
      xany(thing),
      {{"beginObject(Failing)", ""},
       {"beginStructure(Failing)", ""},
       {"beginStructAttribute(vel)", "beginStructAttribute(native)", "endStructure(Failing)"},
       {"errorOccured(VEL exception, vellib::Throwable)"},
       {"endStructAttribute(vel)", nullptr, "endStructure(Failing)"},
       {"beginStructAttribute(native)", "endStructure(Failing)", "endStructure(Failing)"},
       {"errorOccured(Unknown exception, null)"},
       {"endStructAttribute(native)", nullptr, "endStructure(Failing)"},
       {"endStructure(Failing)"},
       {"endObject(Failing)"}});
  EXPECT_EQ(VelCountedThrow::alive(), 0);
}

TEST(VelTraverseAnswers, ToAFailingSequenceAndItsCount) {
  VelSeqType type("Seq");
  const VelThingHandle thing = velNewThing(&type);
  thing->items = {velThrowsVel, velGives(1)};
  CheckEveryAnswer(xany(thing), {{"beginObject(Seq)", ""},
                                 {"beginSequence(Seq)", ""},
                                 {"beginSeqElement(0)", "beginSeqElement(1)", "endSequence(Seq)"},
                                 {"errorOccured(VEL exception, vellib::Throwable)"},
                                 {"endSeqElement(0)", nullptr, "endSequence(Seq)"},
                                 {"beginSeqElement(1)", "endSequence(Seq)", "endSequence(Seq)"},
                                 {"simpleValue(1)"},
                                 {"endSeqElement(1)", nullptr, "endSequence(Seq)"},
                                 {"endSequence(Seq)"},
                                 {"endObject(Seq)"}});
  thing->count = []() -> int { throw std::runtime_error("count"); };
  CheckEveryAnswer(xany(thing), {{"beginObject(Seq)", ""},
                                 {"beginSequence(Seq)", ""},
                                 {"errorOccured(Unknown exception, null)"},
                                 {"endSequence(Seq)"},
                                 {"endObject(Seq)"}});
}

TEST(VelTraverseAnswers, ToAFailingDictionary) {
  VelDictType type("Dict");
  const VelThingHandle thing = velNewThing(&type);
  const VelThing::Entry good = velThingEntry("b", 1);
  thing->entries = {{[](xstring*) -> bool { throw 1; }, good.value},
                    {good.key,
                     [](xany*) -> bool {
                       velThrowsVel();
                       return true;
                     }},
                    velThingEntry("c", 2)};
  CheckEveryAnswer(xany(thing),
                   {{"beginObject(Dict)", ""},
                    {"beginDictionary(Dict)", ""},
                    {"errorOccured(Unknown exception, null)"},
                    {"beginDictElement(b)", "beginDictElement(c)", "endDictionary(Dict)"},
                    {"errorOccured(VEL exception, vellib::Throwable)"},
                    {"endDictElement(b)", nullptr, "endDictionary(Dict)"},
                    {"beginDictElement(c)", "endDictionary(Dict)", "endDictionary(Dict)"},
                    {"simpleValue(2)"},
                    {"endDictElement(c)", nullptr, "endDictionary(Dict)"},
                    {"endDictionary(Dict)"},
                    {"endObject(Dict)"}});
  thing->count = []() -> int {
    velThrowsVel();
    return 3;
  };
  CheckEveryAnswer(xany(thing), {{"beginObject(Dict)", ""},
                                 {"beginDictionary(Dict)", ""},
                                 {"errorOccured(VEL exception, vellib::Throwable)"},
                                 {"endDictionary(Dict)"},
                                 {"endObject(Dict)"}});
}

TEST(VelTraverseAnswers, ToAFailingUnion) {
  VelAttr kind("kind"), fallback("other");
  VelUnionType type("Union", &kind, {}, &fallback);
  const VelThingHandle thing = velNewThing(&type);
  thing->values["kind"] = velThrowsVel;
  thing->values["other"] = velThrowsInt;
  CheckEveryAnswer(xany(thing),
                   {{"beginObject(Union)", ""},
                    {"beginUnion(Union)", ""},
                    {"errorOccured(VEL exception, vellib::Throwable)"},
                    {"beginUnionDicriminator(kind)", "beginUnionValue(other)", "endUnion(Union)"},
                    {"endUnionDicriminator(kind)", nullptr, "endUnion(Union)"},
                    {"beginUnionValue(other)", "endUnion(Union)", "endUnion(Union)"},
                    {"errorOccured(Unknown exception, null)"},
                    {"endUnionValue(other)"},
                    {"endUnion(Union)"},
                    {"endObject(Union)"}});
}

TEST(VelTraverseAnswers, ToAFailingArray) {
  VelArrayType type("Array", {1});
  const VelThingHandle thing = velNewThing(&type);
  thing->items = {velThrowsVel};
  CheckEveryAnswer(xany(thing), {{"beginObject(Array)", ""},
                                 {"beginArray(Array)", ""},
                                 {"beginArrayElement([0])", "endArray(Array)", "endArray(Array)"},
                                 {"errorOccured(VEL exception, vellib::Throwable)"},
                                 {"endArrayElement([0])", nullptr, "endArray(Array)"},
                                 {"endArray(Array)"},
                                 {"endObject(Array)"}});
}

// Contents of another kind than the object's: only a structure's leave ends
// what follows.
TEST(VelTraverseAnswers, ToAStructureWithParentsOfOtherKinds) {
  VelSeqType sequence("Seq");
  VelAttr a("a");
  VelStructType type("Struct", {&sequence}, {&a});
  const VelThingHandle thing = velNewThing(&type);
  thing->items = {velGives(1)};
  CheckEveryAnswer(xany(thing),
                   {{"beginObject(Struct)", ""},
                    {"beginStructure(Struct)", ""},
                    {"beginSeqElement(0)", "beginStructAttribute(a)", "beginStructAttribute(a)"},
                    {"simpleValue(1)"},
                    {"endSeqElement(0)", nullptr, "beginStructAttribute(a)"},
                    {"beginStructAttribute(a)", "endStructure(Struct)", "endStructure(Struct)"},
                    {"endStructAttribute(a)", nullptr, "endStructure(Struct)"},
                    {"endStructure(Struct)"},
                    {"endObject(Struct)"}});
}

TEST(VelTraverseAnswers, ToASequenceWithAStructureAbove) {
  VelAttr a("a");
  VelStructType structure("Struct", {}, {&a});
  VelUnionType choice("Union", &a, {}, nullptr);
  VelArrayType array("Array", {1});
  VelSeqType type("Seq", {&array, &choice, &structure});
  const VelThingHandle thing = velNewThing(&type);
  thing->items = {velGives(1)};
  CheckEveryAnswer(
      xany(thing),
      {{"beginObject(Seq)", ""},
       {"beginSequence(Seq)", ""},
       {"beginArrayElement([0])", "beginUnionDicriminator(a)", "beginUnionDicriminator(a)"},
       {"simpleValue(1)"},
       {"endArrayElement([0])", nullptr, "beginUnionDicriminator(a)"},
       {"beginUnionDicriminator(a)", "beginUnionValue(null)", "beginStructAttribute(a)"},
       {"endUnionDicriminator(a)", nullptr, "beginStructAttribute(a)"},
       {"beginUnionValue(null)", "beginStructAttribute(a)", "beginStructAttribute(a)"},
       {"endUnionValue(null)"},
       {"beginStructAttribute(a)", "beginSeqElement(0)", "endSequence(Seq)"},
       {"endStructAttribute(a)", nullptr, "endSequence(Seq)"},
       {"beginSeqElement(0)", "endSequence(Seq)", "endSequence(Seq)"},
       {"simpleValue(1)"},
       {"endSeqElement(0)", nullptr, "endSequence(Seq)"},
       {"endSequence(Seq)"},
       {"endObject(Seq)"}});
}

TEST(VelTraverseAnswers, LeaveInsideAnInnerObjectStaysThere) {
  VelAttr inner("inner"), a("a"), b("b");
  VelStructType innerType("Inner", {}, {&a, &b});
  VelStructType type("Outer", {}, {&inner, &b});
  const VelThingHandle child = velNewThing(&innerType);
  const VelThingHandle thing = velNewThing(&type);
  thing->values["inner"] = velGives(xany(child));
  LogTraverser log;
  log.answer("beginStructAttribute", velTrLeave, 2);  // a
  velTraverse(xany(thing), &log);
  EXPECT_EQ(log.text(),
            "beginObject(Outer) beginStructure(Outer) beginStructAttribute(inner) "
            "beginObject(Inner) beginStructure(Inner) beginStructAttribute(a) "
            "endStructure(Inner) endObject(Inner) endStructAttribute(inner) "
            "beginStructAttribute(b) endStructAttribute(b) endStructure(Outer) endObject(Outer)");
}

}  // namespace
