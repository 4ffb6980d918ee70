// How a walk goes through arrays.
#include <climits>
#include <functional>
#include <string>
#include <vector>

#include "veltest.h"
#include "veltest_types.h"
#include "veltraverser.h"

namespace {

TEST(VelTraverseArray, TwoByThreeNamesEveryPlace) {
  VelArrayType type("Array", {2, 3});
  const VelThingHandle thing = velNewThing(&type);
  for (int i = 0; i < 6; ++i) thing->items.push_back(velGives(i));
  EXPECT_EQ(velWalkedInFull(xany(thing)),
            "beginObject(Array) beginArray(Array) "
            "beginArrayDimension(Array 0 [0,0]) "
            "beginArrayElement(Array [0,0]) simpleValue( 2 0) endArrayElement(Array [0,0]) "
            "beginArrayElement(Array [0,1]) simpleValue( 2 1) endArrayElement(Array [0,1]) "
            "beginArrayElement(Array [0,2]) simpleValue( 2 2) endArrayElement(Array [0,2]) "
            "endArrayDimension(Array 0 [0,0]) "
            "beginArrayDimension(Array 0 [1,0]) "
            "beginArrayElement(Array [1,0]) simpleValue( 2 3) endArrayElement(Array [1,0]) "
            "beginArrayElement(Array [1,1]) simpleValue( 2 4) endArrayElement(Array [1,1]) "
            "beginArrayElement(Array [1,2]) simpleValue( 2 5) endArrayElement(Array [1,2]) "
            "endArrayDimension(Array 0 [1,0]) "
            "endArray(Array) endObject(Array)");
}

TEST(VelTraverseArray, SizesBelowOneHaveNoElements) {
  const struct {
    std::vector<int> sizes;
    const char* inner;
  } rows[] = {
      {{}, ""},
      {{0}, ""},
      {{-1}, ""},
      {{INT_MIN}, ""},
      {{0, 3}, ""},
      {{2, 0},
       "beginArrayDimension(0 [0,0]) endArrayDimension(0 [0,0]) "
       "beginArrayDimension(0 [1,0]) endArrayDimension(0 [1,0]) "},
      {{1, -5}, "beginArrayDimension(0 [0,0]) endArrayDimension(0 [0,0]) "},
      {{1, 0, 2}, "beginArrayDimension(0 [0,0,0]) endArrayDimension(0 [0,0,0]) "},
  };
  for (const auto& row : rows) {
    VelArrayType type("A", row.sizes);
    EXPECT_EQ(velWalked(xany(velNewThing(&type))), std::string("beginObject(A) beginArray(A) ") +
                                                       row.inner + "endArray(A) endObject(A)");
  }
  xrttiarray negative;
  negative.initializeRttiArray("N", 1, -3, nullptr, velGetRtti_int(), 0, nullptr);
  EXPECT_EQ(velWalked(xany(velNewThing(&negative))),
            "beginObject(N) beginArray(N) endArray(N) endObject(N)");
}

TEST(VelTraverseArray, EntriesBeyondADimensionAreZeroInThreeDimensions) {
  VelArrayType type("Cube", {2, 2, 2});
  const VelThingHandle thing = velNewThing(&type);
  for (int i = 0; i < 8; ++i) thing->items.push_back(velGives(i));
  std::string log;
  int elements = 0;
  VelEventTraverser visitor([&](const VelEvent& event) {
    if (velCountOf(event.operation, "Dimension")) log += event.detail + ' ';
    elements += event.operation == "beginArrayElement";
    return velTrContinue;
  });
  velTraverse(xany(thing), &visitor);
  EXPECT_EQ(elements, 8);
  EXPECT_EQ(log,
            "0 [0,0,0] 1 [0,0,0] 1 [0,0,0] 1 [0,1,0] 1 [0,1,0] 0 [0,0,0] "
            "0 [1,0,0] 1 [1,0,0] 1 [1,0,0] 1 [1,1,0] 1 [1,1,0] 0 [1,0,0] ");
}

TEST(VelTraverseArray, OneIndexSequenceServesTheWholeArray) {
  VelArrayType type("Array", {2, 2});
  const VelThingHandle thing = velNewThing(&type);
  for (int i = 0; i < 4; ++i) thing->items.push_back(velGives(i));
  std::vector<xintsequence*> seen;
  VelEventTraverser visitor([&](const VelEvent& event) {
    if (event.index) seen.push_back(event.index);
    return velTrContinue;
  });
  velTraverse(xany(thing), &visitor);
  EXPECT_EQ(seen, std::vector<xintsequence*>(12, seen.at(0)));
}

TEST(VelTraverseArray, GetterMaySpoilItsIndices) {
  struct Spoiling : VelArrayType {
    Spoiling() : VelArrayType("Array", {2, 2}) {}
    using VelArrayType::getElemValue;
    xany getElemValue(xobject*, int* indices) override {
      const int place = indices[0] * 2 + indices[1];
      indices[0] = indices[1] = 99;
      return xany(place);
    }
  } type;
  EXPECT_EQ(velCountOf(velWalked(xany(velNewThing(&type))),
                       "beginArrayElement([1,1]) simpleValue(3) endArrayElement([1,1])"),
            1);
}

TEST(VelTraverseArray, VisitorMaySpoilOrKeepTheIndex) {
  VelArrayType type("Array", {2, 2});
  const VelThingHandle thing = velNewThing(&type);
  for (int i = 0; i < 4; ++i) thing->items.push_back(velGives(i));
  const std::string expected = velWalkedInFull(xany(thing));
  const std::function<void(xintsequence*)> spoilers[] = {
      [](xintsequence* index) { index->clear(); },
      [](xintsequence* index) { index->set(0, 99); },
      [](xintsequence* index) { index->append(7); },
      [](xintsequence* index) { index->set(1000, -1); },
      [](xintsequence* index) { index->removerange(0, 1); },
  };
  xrchandle<xintsequence> kept;
  for (const auto& spoil : spoilers) {
    std::string log;
    VelEventTraverser visitor([&](const VelEvent& event) {
      log += (log.empty() ? "" : " ") + event.text();
      if (event.index) {
        kept = event.index;
        spoil(event.index);
      }
      return velTrContinue;
    });
    velTraverse(xany(thing), &visitor);
    EXPECT_EQ(log, expected);
    EXPECT_EQ(xrcgetcount(velAsObject(kept.operator->())), 1) << "the walk has let go of it";
  }
}

}  // namespace
