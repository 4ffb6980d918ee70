// Comparing two values: the rule of each operation, and what follows from them.
#include "velcompare.h"

#include <cmath>
#include <limits>
#include <memory>
#include <vector>

#include "veltest.h"
#include "veltest_types.h"

namespace {

constexpr int kNilInt = std::numeric_limits<int>::min();
constexpr int kUninitInt = kNilInt + 1;

VelAttr attrA("a");
VelAttr attrB("b");
VelAttr attrC("c");
VelStructType pairType("test::Pair", {}, {&attrA, &attrB});
VelStructType tripleType("test::Triple", {&pairType}, {&attrC});

const char* const kColors[] = {"red", "green"};
xrttienum colorType("test::Color", 2, kColors);

VelThingHandle pairOf(const xany& a, const xany& b, xrttiobject* type = &pairType) {
  const VelThingHandle pair = velNewThing(type);
  pair->values["a"] = velGives(a);
  pair->values["b"] = velGives(b);
  return pair;
}

VelThingHandle listOf(xrttiobject* type, const std::vector<xany>& items) {
  const VelThingHandle list = velNewThing(type);
  for (const xany& item : items) list->items.push_back(velGives(item));
  return list;
}

xrchandle<xanysequence> seqOf(const std::vector<xany>& items) {
  const auto seq = xanysequence::create();
  for (const xany& item : items) seq->append(item);
  return seq;
}

// A part that counts how often it is read.
VelThing::Value counted(const xany& value, int* reads) {
  return [=] {
    ++*reads;
    return value;
  };
}

bool equal(const xany& first, const xany& second) { return velCompare(first, second) != 0; }

}  // namespace

// ---- structures ----

TEST(VelCompare, EqualAttributesAreEqual) {
  EXPECT_EQ(velCompare(pairOf(1, "x"), pairOf(1, "x")), 1);
  const VelThingHandle one = pairOf(1, "x");
  EXPECT_EQ(velCompare(one, one), 1);
}

TEST(VelCompare, AChangedLeafStopsTheWalkThere) {
  int reads = 0;
  const VelThingHandle first = pairOf(1, 2);
  const VelThingHandle second = pairOf(7, 2);
  first->values["b"] = second->values["b"] = counted(2, &reads);
  EXPECT_EQ(velCompare(first, second), 0);
  EXPECT_EQ(reads, 0);
}

TEST(VelCompare, AChangedLastLeafIsDifferent) {
  EXPECT_FALSE(equal(pairOf(1, 2), pairOf(1, 3)));
  EXPECT_FALSE(equal(pairOf(pairOf(1, 2), 3), pairOf(pairOf(1, 4), 3)));
}

TEST(VelCompare, ReadsEachPartOfTheSecondOnce) {
  int reads = 0;
  const VelThingHandle second = pairOf(1, 2);
  second->values["a"] = counted(1, &reads);
  EXPECT_TRUE(equal(pairOf(1, 2), second));
  EXPECT_EQ(reads, 1);
}

TEST(VelCompare, AnAttributeThatIsMissingMatchesAnything) {
  VelStructType gappy("test::Gappy", {}, {nullptr, &attrB});
  EXPECT_TRUE(equal(pairOf(1, 2, &gappy), pairOf(5, 2, &gappy)));
  EXPECT_FALSE(equal(pairOf(1, 2, &gappy), pairOf(1, 3, &gappy)));
}

// ---- the second object ----

TEST(VelCompare, AnObjectIsDifferentFromWhatIsNone) {
  const VelThingHandle first = velNewThing(&pairType);
  int reads = 0;
  first->values["a"] = counted(xany(), &reads);
  const xany others[] = {nullptr,         xany(), 1, true, 2.5, "text", xany(1, &colorType),
                         xany(0, nullptr)};
  for (const xany& other : others) EXPECT_FALSE(equal(first, other)) << other.getkind();
  EXPECT_EQ(reads, 0);
}

TEST(VelCompare, WhatIsNoObjectIsDifferentFromOne) {
  for (const xany& plain : {xany(nullptr), xany(1), xany("text")}) {
    EXPECT_FALSE(equal(plain, pairOf(1, 2)));
    EXPECT_FALSE(equal(pairOf(plain, 2), pairOf(pairOf(1, 2), 2)));
  }
}

TEST(VelCompare, ADerivedSecondMayHaveMore) {
  const VelThingHandle derived = pairOf(1, 2, &tripleType);
  derived->values["c"] = velGives(3);
  EXPECT_TRUE(equal(pairOf(1, 2), derived));
  EXPECT_FALSE(equal(derived, pairOf(1, 2)));
  EXPECT_FALSE(equal(pairOf(1, 3), derived));
}

TEST(VelCompare, AnotherTypeIsDifferent) {
  VelStructType otherType("test::Other", {}, {&attrA, &attrB});
  EXPECT_FALSE(equal(pairOf(1, 2), pairOf(1, 2, &otherType)));
  EXPECT_FALSE(equal(xintsequence::create(), xanysequence::create()));
}

TEST(VelCompare, TypesAreTheSameByName) {
  VelStructType sameName("test::Pair", {}, {&attrA, &attrB});
  EXPECT_TRUE(equal(pairOf(1, 2), pairOf(1, 2, &sameName)));
}

TEST(VelCompare, ObjectsWithoutContentsAreEqual) {
  EXPECT_TRUE(equal(new VelLogObject, new VelLogObject));
  EXPECT_FALSE(equal(new VelLogObject, new velXArgs));
}

// ---- leaves ----

TEST(VelCompare, PlainValuesAreNeverEqual) {
  const xany values[] = {5, true, 2.5, "text", nullptr, xany(), xany(1, &colorType)};
  for (const xany& value : values) EXPECT_EQ(velCompare(value, value), 0) << value.getkind();
}

TEST(VelCompare, LeavesCompareAsValues) {
  const struct {
    xany first, second;
    bool equal;
  } rows[] = {
      {1, 1, true},
      {1, 2, false},
      {1, 1.0, false},
      {1, true, false},
      {1, "1", false},
      {1, nullptr, false},
      {1, xany(), false},
      {1, xany(1, &colorType), false},
      {true, true, true},
      {true, false, false},
      {2.5, 2.5, true},
      {std::nan(""), std::nan(""), false},
      {"text", "text", true},
      {"text", "Text", false},
      {"text", xstring(L"text"), true},
      {"", "", true},
      {"", nullptr, false},
      {nullptr, nullptr, true},
      {nullptr, xany(), false},
      {nullptr, 0, false},
      {xany(), xany(), true},
      {xany(), nullptr, true},
      {xany(), 7, true},
      {xany(), xintsequence::create(), true},
  };
  int row = 0;
  for (const auto& each : rows) {
    EXPECT_EQ(equal(pairOf(each.first, 0), pairOf(each.second, 0)), each.equal) << row;
    EXPECT_EQ(equal(seqOf({each.first}), seqOf({each.second})), each.equal) << row;
    ++row;
  }
}

TEST(VelCompare, AnEnumerationMatchesTheIntOfItsNumberOnly) {
  const VelThingHandle first = pairOf(xany(1, &colorType), 0);
  EXPECT_TRUE(equal(first, pairOf(1, 0)));
  const xany others[] = {0, xany(1, &colorType), "green", true, 1.0, nullptr, xany()};
  for (const xany& other : others) EXPECT_FALSE(equal(first, pairOf(other, 0))) << other.getkind();
}

TEST(VelCompare, AnObjectWithAnEnumerationDoesNotEqualItself) {
  const VelThingHandle object = pairOf(xany(1, &colorType), 0);
  EXPECT_FALSE(equal(object, object));
}

TEST(VelCompareTraverser, TheMarkersOfAnEnumerationAskForNilAndUninit) {
  const struct {
    int value;
    xany second;
    bool equal;
  } rows[] = {{kNilInt, nullptr, true},
              {kNilInt, xany(), false},
              {kNilInt, 0, false},
              {kUninitInt, xany(), true},
              {kUninitInt, nullptr, false},
              {kUninitInt, kUninitInt, false},
              {1, 1, true},
              {1, xany(1, &colorType), false}};
  for (const auto& row : rows) {
    velCompareTraverser visitor(row.second);
    EXPECT_EQ(visitor.enumValue(&colorType, row.value), row.equal ? velTrContinue : velTrStop);
    EXPECT_EQ(visitor.getState(), row.equal ? 0 : 2) << row.value;
  }
}

// ---- sequences and dictionaries ----

TEST(VelCompare, SequencesOfOtherLengthAreDifferentBeforeAnyElement) {
  VelSeqType type("test::Seq");
  int reads = 0;
  const auto ofLength = [&](int n) {
    const VelThingHandle list = velNewThing(&type);
    list->items.assign(static_cast<std::size_t>(n), counted(1, &reads));
    return list;
  };
  EXPECT_FALSE(equal(ofLength(2), ofLength(3)));
  EXPECT_FALSE(equal(ofLength(3), ofLength(2)));
  EXPECT_FALSE(equal(ofLength(0), ofLength(1)));
  EXPECT_EQ(reads, 0);
  EXPECT_TRUE(equal(ofLength(2), ofLength(2)));
  EXPECT_EQ(reads, 4);
}

TEST(VelCompare, SequencesCompareElementByElement) {
  EXPECT_TRUE(equal(seqOf({}), seqOf({})));
  EXPECT_TRUE(equal(seqOf({1, "x", seqOf({2})}), seqOf({1, "x", seqOf({2})})));
  EXPECT_FALSE(equal(seqOf({1, "x", seqOf({2})}), seqOf({1, "x", seqOf({3})})));
  EXPECT_FALSE(equal(seqOf({1, 2}), seqOf({2, 1})));
}

TEST(VelCompare, DictionariesMayHaveMoreInTheSecond) {
  const auto small = xintdictionary::create();
  small->set("a", 1);
  const auto large = xintdictionary::create();
  large->set("b", 2);
  large->set("a", 1);
  EXPECT_TRUE(equal(small, large));
  EXPECT_FALSE(equal(large, small));
  EXPECT_TRUE(equal(xintdictionary::create(), large));
  large->set("a", 3);
  EXPECT_FALSE(equal(small, large));
}

TEST(VelCompare, EntriesAreSoughtByTheNarrowFormOfTheKey) {
  struct Type : VelDictType {
    Type() : VelDictType("test::Dict") {}
    unsigned char findElemValue(xobject*, const char* key, xany* value) override {
      asked += key;
      *value = 1;
      return 1;
    }
    std::string asked;
  } type;
  const VelThingHandle first = velNewThing(&type);
  first->entries.push_back({[](xstring* key) {
                              *key = xstring(L"wide");
                              return true;
                            },
                            [](xany* value) {
                              *value = 1;
                              return true;
                            }});
  EXPECT_TRUE(equal(first, velNewThing(&type)));
  EXPECT_EQ(type.asked, "wide");
}

// ---- arrays and unions ----

TEST(VelCompare, ArraysCompareElementByElement) {
  VelArrayType type("test::Array", {2, 2});
  const VelThingHandle first = listOf(&type, {1, 2, 3, 4});
  EXPECT_TRUE(equal(first, listOf(&type, {1, 2, 3, 4})));
  EXPECT_FALSE(equal(first, listOf(&type, {1, 2, 3, 5})));
  EXPECT_FALSE(equal(first, listOf(&type, {1, 3, 2, 4})));
}

TEST(VelCompare, AnIndexThatTheSecondArrayHasNotIsDifferent) {
  VelArrayType three("test::Array", {3});
  VelArrayType two("test::Array", {2});
  const VelThingHandle shorter = listOf(&two, {1, 2});
  EXPECT_FALSE(equal(listOf(&three, {1, 2, 3}), shorter));
  EXPECT_TRUE(equal(shorter, listOf(&three, {1, 2, 3})));
  VelArrayType table("test::Array", {2, 2});
  EXPECT_FALSE(equal(listOf(&table, {1, 2, 3, 4}), shorter));
  VelArrayType narrow("test::Array", {2, 1});
  EXPECT_FALSE(equal(listOf(&table, {1, 2, 3, 4}), listOf(&narrow, {1, 3})));
}

TEST(VelCompare, UnionsCompareDiscriminatorAndValue) {
  VelUnionType type("test::Union", &attrA, {{1, &attrB}, {2, &attrC}}, nullptr);
  EXPECT_TRUE(equal(pairOf(1, 5, &type), pairOf(1, 5, &type)));
  EXPECT_FALSE(equal(pairOf(1, 5, &type), pairOf(1, 6, &type)));
  EXPECT_FALSE(equal(pairOf(1, 5, &type), pairOf(2, 5, &type)));
  // Not the selected member: not looked at.
  EXPECT_TRUE(equal(pairOf(2, 5, &type), pairOf(2, 6, &type)));
}

TEST(VelCompare, AUnionWithoutAMemberIsItsDiscriminator) {
  VelUnionType type("test::Union", &attrA, {{1, &attrB}}, nullptr);
  EXPECT_TRUE(equal(pairOf(9, 5, &type), pairOf(9, 6, &type)));
  EXPECT_FALSE(equal(pairOf(9, 5, &type), pairOf(8, 5, &type)));
  VelUnionType bare("test::Bare", nullptr, {}, nullptr);
  EXPECT_TRUE(equal(pairOf(1, 5, &bare), pairOf(2, 6, &bare)));
}

// ---- shared objects and cycles ----

TEST(VelCompare, SharedObjectsAreComparedEachTime) {
  const VelThingHandle shared = pairOf(1, 2);
  const VelThingHandle first = pairOf(shared, shared);
  EXPECT_TRUE(equal(first, pairOf(pairOf(1, 2), pairOf(1, 2))));
  EXPECT_FALSE(equal(first, pairOf(pairOf(1, 2), pairOf(1, 3))));
  EXPECT_TRUE(equal(pairOf(pairOf(1, 2), pairOf(1, 2)), first));
}

TEST(VelCompare, AnObjectMetAgainWithinItselfCountsAsEqual) {
  const VelThingHandle cycle = pairOf(0, 2);
  VelThing* raw = cycle;
  cycle->values["a"] = [raw] { return xany(raw); };
  EXPECT_TRUE(equal(cycle, cycle));
  EXPECT_TRUE(equal(cycle, pairOf("whatever", 2)));
  EXPECT_FALSE(equal(cycle, pairOf("whatever", 3)));
  EXPECT_FALSE(equal(pairOf("whatever", 2), cycle));
}

// ---- failing reads ----

TEST(VelCompare, WhatTheFirstThrowsIsThrownAgain) {
  const VelThingHandle second = pairOf(1, 2);
  {
    const VelThingHandle first = pairOf(1, 2);
    first->values["a"] = velThrowsVel;
    velCompareTraverser visitor{xany(second)};
    EXPECT_VEL_THROW(velTraverse(xany(first), &visitor), VelCountedThrow);
    EXPECT_EQ(visitor.getState(), 2);
    EXPECT_VEL_THROW(velCompare(first, second), VelCountedThrow);
  }
  EXPECT_EQ(VelCountedThrow::alive(), 0);
  EXPECT_EQ(xrcgetcount(second), 1);
}

TEST(VelCompare, AForeignExceptionOfTheFirstBecomesANativeOne) {
  const VelThingHandle first = pairOf(1, 2);
  const VelThingHandle second = pairOf(1, 2);
  first->values["b"] = velThrowsInt;
  EXPECT_VEL_NATIVE(velCompare(first, second), "Unknown exception");
  velCompareTraverser visitor{xany(second)};
  EXPECT_VEL_NATIVE(visitor.errorOccured("Invalid enum value", 0), "Invalid enum value");
  EXPECT_EQ(visitor.getState(), 2);
  // An enumeration value without an enumeration is such an error, too.
  EXPECT_VEL_NATIVE(velCompare(pairOf(xany(0, nullptr), 2), second), "Invalid enum value");
}

TEST(VelCompare, WhatTheSecondThrowsPassesAsItIs) {
  const VelThingHandle first = pairOf(1, 2);
  {
    const VelThingHandle second = pairOf(1, 2);
    second->values["b"] = velThrowsVel;
    EXPECT_VEL_THROW(velCompare(first, second), VelCountedThrow);
    second->values["b"] = velThrowsInt;
    EXPECT_THROW(velCompare(first, second), int);
    EXPECT_EQ(xrcgetcount(second), 1);
  }
  EXPECT_EQ(VelCountedThrow::alive(), 0);
  // A structure over a sequence: its length is not compared, its elements are.
  VelSeqType seqType("test::Seq");
  VelStructType named("test::Named", {&seqType}, {});
  EXPECT_THROW(velCompare(listOf(&named, {1, 2}), listOf(&named, {1})), std::out_of_range);
}

// ---- what the stack holds ----

namespace {

// Levels of pairs that are made anew at each read, as deep as asked.
VelThing::Value madeAnew(int depth, int leaf) {
  return [=]() -> xany {
    if (depth == 0) return leaf;
    const VelThingHandle made = velNewThing(&pairType);
    made->values["a"] = madeAnew(depth - 1, leaf);
    made->values["b"] = madeAnew(depth - 1, leaf);
    return xany(made);
  };
}

}  // namespace

TEST(VelCompare, ObjectsThatAGetterMakesLiveAsLongAsTheyAreCompared) {
  const int before = VelThing::alive();
  EXPECT_TRUE(equal(madeAnew(4, 7)(), madeAnew(4, 7)()));
  EXPECT_FALSE(equal(madeAnew(4, 7)(), madeAnew(4, 8)()));
  EXPECT_FALSE(equal(madeAnew(4, 7)(), madeAnew(3, 7)()));
  EXPECT_FALSE(equal(madeAnew(3, 7)(), madeAnew(4, 7)()));
  EXPECT_EQ(VelThing::alive(), before);
}

TEST(VelCompare, GivesBackAllReferences) {
  const VelThingHandle inner = pairOf(1, 2);
  const VelThingHandle second = pairOf(inner, 3);
  const int count = xrcgetcount(inner);
  EXPECT_TRUE(equal(pairOf(pairOf(1, 2), 3), second));
  EXPECT_FALSE(equal(pairOf(pairOf(1, 9), 3), second));
  EXPECT_FALSE(equal(pairOf(pairOf(1, 2), 9), second));
  EXPECT_EQ(xrcgetcount(inner), count);
  EXPECT_EQ(xrcgetcount(second), 1);
}

TEST(VelCompare, ObjectsThatAreNotCountedStayTheirOwners) {
  VelStructType plain("test::Plain", {}, {&attrA}, false);
  const auto first = std::make_unique<VelThing>(&plain);
  const auto second = std::make_unique<VelThing>(&plain);
  first->values["a"] = second->values["a"] = velGives(1);
  EXPECT_TRUE(equal(first.get(), second.get()));
  second->values["a"] = velGives(2);
  EXPECT_FALSE(equal(first.get(), second.get()));
}

TEST(VelCompare, DepthCostsHeapOnly) {
  const auto nested = [](int leaf) {
    xany value = leaf;
    for (int i = 0; i < 100000; ++i) value = seqOf({value});
    return value;
  };
  const xany seven = nested(7);
  EXPECT_TRUE(equal(seven, nested(7)));
  EXPECT_FALSE(equal(seven, nested(8)));
}

TEST(VelCompareTraverser, TheStackHoldsThePathIntoTheSecond) {
  struct Probe : velCompareTraverser {
    using velCompareTraverser::velCompareTraverser;
    velTraverseResult simpleValue(xany value) override {
      depths.push_back(objects.GetCount());
      capacity = objects.GetCapacity();
      EXPECT_TRUE(current == value);
      return velCompareTraverser::simpleValue(value);
    }
    std::vector<int> depths;
    int capacity = 0;
  };
  const VelThingHandle second = pairOf(pairOf(1, 2), 3);
  Probe shallow{xany(second)};
  velTraverse(xany(pairOf(pairOf(1, 2), 3)), &shallow);
  EXPECT_EQ(shallow.depths, (std::vector<int>{2, 2, 1}));
  EXPECT_EQ(shallow.capacity, 64);
  xany deep = 1;
  for (int i = 0; i < 65; ++i) deep = seqOf({deep});
  Probe probe(deep);
  velTraverse(deep, &probe);
  EXPECT_EQ(probe.depths, std::vector<int>{65});
  EXPECT_EQ(probe.capacity, 128);
}

// ---- state ----

TEST(VelCompareTraverser, StateIsDecidedByTheOutermostObject) {
  velCompareTraverser visitor{xany(pairOf(1, 2))};
  EXPECT_EQ(visitor.getState(), 0);
  velTraverse(xany(pairOf(1, 2)), &visitor);
  EXPECT_EQ(visitor.getState(), 1);
  velCompareTraverser different{xany(pairOf(1, 3))};
  velTraverse(xany(pairOf(1, 2)), &different);
  EXPECT_EQ(different.getState(), 2);
  velCompareTraverser undecided{xany(1)};
  velTraverse(xany(1), &undecided);
  EXPECT_EQ(undecided.getState(), 0);
}

TEST(VelCompareTraverser, IsForOneWalk) {
  const VelThingHandle first = pairOf(1, 2);
  velCompareTraverser visitor{xany(pairOf(1, 2))};
  velTraverse(xany(first), &visitor);
  EXPECT_EQ(visitor.getState(), 1);
  // Its place is behind the last leaf, which is no object.
  velTraverse(xany(first), &visitor);
  EXPECT_EQ(visitor.getState(), 2);
}

TEST(VelCompareTraverser, OtherOperationsGoOn) {
  velCompareTraverser visitor{xany(1)};
  velTraverser& base = visitor;
  EXPECT_EQ(base.beginStructure(&pairType, 0), velTrContinue);
  EXPECT_EQ(base.endStructure(&pairType, 0), velTrContinue);
  EXPECT_EQ(base.endStructAttribute(&pairType, &attrA, 0), velTrContinue);
  EXPECT_EQ(base.alreadyVisited(0), velTrContinue);
  EXPECT_EQ(visitor.getState(), 0);
}
