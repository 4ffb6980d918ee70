#include "veltraverser.h"

#include <pthread.h>

#include <climits>
#include <cstddef>
#include <cstring>
#include <memory>
#include <thread>
#include <type_traits>

#include "veltest.h"
#include "veltest_locale.h"
#include "veltest_types.h"

namespace {

const char* const kColours[] = {"red", "green"};

// ---- the class ----

static_assert(sizeof(velTraverser) == sizeof(void*), "a table and no data");
static_assert(std::is_default_constructible<velTraverser>::value, "");
static_assert(!std::has_virtual_destructor<velTraverser>::value, "");
static_assert(std::is_destructible<velTraverser>::value, "");
static_assert(!std::is_convertible<velTraverseXStop*, xobject*>::value, "");
static_assert(velTrContinue == 1 && velTrSkip == 2 && velTrLeave == 3 && velTrStop == 4, "");
static_assert(std::is_enum<velTraverseResult>::value, "");

// Calls entry `slot` of the virtual table.
template <class... Args>
velTraverseResult CallSlot(velTraverser& visitor, std::ptrdiff_t slot, Args... args) {
  // A member pointer of the platform's ABI: 1 + the offset in the table, then
  // the adjustment of `this`.
  const std::ptrdiff_t words[] = {1 + slot * static_cast<std::ptrdiff_t>(sizeof(void*)), 0};
  velTraverseResult (velTraverser::*entry)(Args...);
  static_assert(sizeof entry == sizeof words, "");
  std::memcpy(&entry, words, sizeof entry);
  return (visitor.*entry)(args...);
}

template <class Visitor>
void CallAllSlots(Visitor& visitor, const std::function<void(int, velTraverseResult)>& check) {
  using Object = xrcunihandle<xobject>;
  using Index = xrchandle<xintsequence>;
  VelPlainType plain("O");
  VelAttr attr("a");
  VelStructType structure("S", {}, {});
  VelSeqType sequence("Q");
  VelDictType dictionary("D");
  VelArrayType array("A", {1});
  VelUnionType choice("U", nullptr, {}, nullptr);
  xrttienum colour("Colour", 2, kColours);
  const VelThingHandle thing = velNewThing(&plain);
  const Object object(thing);
  const Index index = xintsequence::create();
  const auto call = [&](int slot, auto... args) {
    check(slot, CallSlot<decltype(args)...>(visitor, slot, args...));
  };
  call(0, xany(object));
  call(1, &colour, 1);
  call(2, static_cast<xrttiobject*>(&plain), object);
  call(3, static_cast<xrttiobject*>(&plain), object);
  for (int slot : {4, 5}) call(slot, static_cast<xrttistruct*>(&structure), object);
  for (int slot : {6, 7}) {
    call(slot, static_cast<xrttistruct*>(&structure), static_cast<xrttiattr*>(&attr), object);
  }
  for (int slot : {8, 9}) call(slot, static_cast<xrttisequence*>(&sequence), object);
  for (int slot : {10, 11}) call(slot, static_cast<xrttisequence*>(&sequence), 3, object);
  for (int slot : {12, 13}) call(slot, static_cast<xrttidictionary*>(&dictionary), object);
  for (int slot : {14, 15}) {
    call(slot, static_cast<xrttidictionary*>(&dictionary), xstring("k"), object);
  }
  for (int slot : {16, 17}) call(slot, static_cast<xrttiarray*>(&array), object);
  for (int slot : {18, 19}) call(slot, static_cast<xrttiarray*>(&array), 4, index, object);
  for (int slot : {20, 21}) call(slot, static_cast<xrttiarray*>(&array), index, object);
  for (int slot : {22, 23}) call(slot, static_cast<xrttiunion*>(&choice), object);
  for (int slot : {24, 25, 26, 27}) {
    call(slot, static_cast<xrttiunion*>(&choice), static_cast<xrttiattr*>(&attr), object);
  }
  call(28, static_cast<const char*>("text"), xrcunihandle<xthrowable>(new VelCountedThrow));
  call(29, object);
  EXPECT_EQ(xrcgetcount(thing), 2) << "thing and object hold it";
  EXPECT_EQ(xrcgetcount(velAsObject(index.operator->())), 1);
}

TEST(VelTraverser, OperationsHaveTheirTablePositions) {
  std::string log;
  VelEventTraverser visitor([&](const VelEvent& event) {
    log += event.text() + '\n';
    return velTrContinue;
  });
  CallAllSlots(visitor, [](int, velTraverseResult) {});
  EXPECT_EQ(log,
            "simpleValue( 7)\n"
            "enumValue(Colour 1)\n"
            "beginObject(O)\n"
            "endObject(O)\n"
            "beginStructure(S)\n"
            "endStructure(S)\n"
            "beginStructAttribute(S.a)\n"
            "endStructAttribute(S.a)\n"
            "beginSequence(Q)\n"
            "endSequence(Q)\n"
            "beginSeqElement(Q 3)\n"
            "endSeqElement(Q 3)\n"
            "beginDictionary(D)\n"
            "endDictionary(D)\n"
            "beginDictElement(D k)\n"
            "endDictElement(D k)\n"
            "beginArray(A)\n"
            "endArray(A)\n"
            "beginArrayDimension(A 4 [])\n"
            "endArrayDimension(A 4 [])\n"
            "beginArrayElement(A [])\n"
            "endArrayElement(A [])\n"
            "beginUnion(U)\n"
            "endUnion(U)\n"
            "beginUnionDicriminator(U.a)\n"
            "endUnionDicriminator(U.a)\n"
            "beginUnionValue(U.a)\n"
            "endUnionValue(U.a)\n"
            "errorOccured( text)\n"
            "alreadyVisited()\n");
  EXPECT_EQ(VelCountedThrow::alive(), 0);
}

TEST(VelTraverser, HasThirtyOperationsAndNoMore) {
  struct More : velTraverser {
    virtual void next() {}
  };
  void (More::*entry)() = &More::next;
  std::ptrdiff_t words[2];
  static_assert(sizeof entry == sizeof words, "");
  std::memcpy(words, &entry, sizeof words);
  EXPECT_EQ(words[0], 1 + 30 * static_cast<std::ptrdiff_t>(sizeof(void*)));
}

TEST(VelTraverser, DefaultsContinueAndReleaseTheirArguments) {
  velTraverser visitor;
  int calls = 0;
  CallAllSlots(visitor, [&](int slot, velTraverseResult result) {
    ++calls;
    EXPECT_EQ(result, velTrContinue) << "slot " << slot;
  });
  EXPECT_EQ(calls, 30);
  EXPECT_EQ(VelCountedThrow::alive(), 0);
  EXPECT_EQ(VelThing::alive(), 0);
}

// ---- single values ----

TEST(VelTraverse, UninitialisedGivesNoCall) {
  EXPECT_EQ(velWalked(xany()), "");
  EXPECT_EQ(velWalked(xany(xanyUninit)), "");
  EXPECT_EQ(velWalked(xany(xuninitobject)), "");
  EXPECT_EQ(velWalked(xany(reinterpret_cast<const char*>(2))), "");
}

TEST(VelTraverse, PlainValuesComeAsTheyAre) {
  const PlainLocale plain;
  EXPECT_EQ(velWalkedInFull(xany(xanyNil)), "simpleValue( 1)");
  EXPECT_EQ(velWalkedInFull(xany(static_cast<xobject*>(nullptr))), "simpleValue( 1)");
  EXPECT_EQ(velWalkedInFull(xany(-2147483647 - 1)), "simpleValue( 1)");
  EXPECT_EQ(velWalkedInFull(xany(-2147483647)), "simpleValue( 2 -2147483647)");
  EXPECT_EQ(velWalkedInFull(xany(2147483647)), "simpleValue( 2 2147483647)");
  EXPECT_EQ(velWalkedInFull(xany(true)), "simpleValue( 3 true)");
  EXPECT_EQ(velWalkedInFull(xany(false)), "simpleValue( 3 false)");
  EXPECT_EQ(velWalkedInFull(xany(1.5)), "simpleValue( 4 1.500000)");
  EXPECT_EQ(velWalkedInFull(xany("text")), "simpleValue( 5 text)");
  EXPECT_EQ(velWalkedInFull(xany("")), "simpleValue( 5 )");
  EXPECT_EQ(velWalkedInFull(xany(xanyString)), "simpleValue( 5 null)");
}

TEST(VelTraverse, ObjectKindWithoutAnObjectReadsAsNilOrNothing) {
  __xany_c view{};
  view.kind = xanyObject;
  EXPECT_EQ(velWalkedInFull(xany(view)), "simpleValue( 1)");
  view.u.o = xuninitobject;
  EXPECT_EQ(velWalkedInFull(xany(view)), "");
  EXPECT_EQ(velWalkedInFull(xany(xanyObject)), "simpleValue( 1)");
}

TEST(VelTraverse, KindsOutOfRangeGiveNoCall) {
  LogTraverser log;
  for (int kind : {8, 9, 255, INT_MAX, -1, INT_MIN}) {
    velTraverse(xany(static_cast<__xanykind>(kind)), &log);
  }
  EXPECT_EQ(log.text(), "");
}

TEST(VelTraverse, EnumerationComesWithItsDescriptor) {
  xrttienum colour("Colour", 2, kColours);
  EXPECT_EQ(velWalked(xany(0, &colour)), "enumValue(Colour 0)");
  EXPECT_EQ(velWalked(xany(1, &colour)), "enumValue(Colour 1)");
  EXPECT_EQ(velWalked(xany(99, &colour)), "enumValue(Colour 99)");
  EXPECT_EQ(velWalked(xany(-1, &colour)), "enumValue(Colour -1)");
}

TEST(VelTraverse, EnumerationWithoutAnEnumDescriptorIsAnError) {
  const char* expected = "errorOccured(Invalid enum value, null)";
  EXPECT_EQ(velWalked(xany(1, static_cast<xrttienum*>(nullptr))), expected);
  EXPECT_EQ(velWalked(xany(xanyEnum)), expected);
  __xany_c view{};
  view.kind = xanyEnum;
  view.u.e.rtti = velGetRtti_int();
  EXPECT_EQ(velWalked(xany(view)), expected);
}

TEST(VelTraverse, DerivedEnumDescriptorsFit) {
  struct Own : xrttienum {
    Own() : xrttienum("Own", 2, kColours) {}
  } own;
  EXPECT_EQ(velWalked(xany(1, &own)), "enumValue(Own 1)");
}

TEST(VelTraverse, NullVisitorWalksNothing) {
  VelSeqType type("Seq");
  const VelThingHandle thing = velNewThing(&type);
  int reads = 0;
  thing->count = [&] { return ++reads; };
  velTraverse(xany(thing), nullptr);
  EXPECT_EQ(reads, 0);
  EXPECT_EQ(xrcgetcount(thing), 1);
}

// ---- the library's own types ----

TEST(VelTraverse, WalksStandardSequences) {
  const auto ints = xintsequence::create();
  EXPECT_EQ(velWalked(xany(ints)),
            "beginObject(intseq) beginSequence(intseq) endSequence(intseq) endObject(intseq)");
  ints->append(5);
  ints->append(-2147483647 - 1);
  EXPECT_EQ(velWalked(xany(ints)),
            "beginObject(intseq) beginSequence(intseq) "
            "beginSeqElement(0) simpleValue(5) endSeqElement(0) "
            "beginSeqElement(1) simpleValue(nil) endSeqElement(1) "
            "endSequence(intseq) endObject(intseq)");
}

TEST(VelTraverse, VacantDictionarySlotsAreNoEntries) {
  const auto dictionary = xintdictionary::create();
  dictionary->set("key", 5);
  ASSERT_EQ(dictionary->getmapsize(), 32);
  EXPECT_EQ(velWalked(xany(dictionary)),
            "beginObject(intdict) beginDictionary(intdict) "
            "beginDictElement(key) simpleValue(5) endDictElement(key) "
            "endDictionary(intdict) endObject(intdict)");
  dictionary->remove("key");
  EXPECT_EQ(velWalked(xany(dictionary)),
            "beginObject(intdict) beginDictionary(intdict) "
            "endDictionary(intdict) endObject(intdict)");
}

TEST(VelTraverse, EntriesComeInTheOrderOfTheirIndexes) {
  const auto dictionary = xintdictionary::create();
  for (int i = 0; i < 20; ++i) dictionary->set(std::to_string(i * i).c_str(), i);
  std::string expected;
  for (int i = 0; i < dictionary->getmapsize(); ++i) {
    xstring key;
    if (dictionary->getkeybyindex(i, &key)) {
      expected += std::string("beginDictElement(") + key.CastToCString() + ')';
    }
  }
  std::string log;
  VelEventTraverser visitor([&](const VelEvent& event) {
    if (event.operation == "beginDictElement") {
      log += event.operation + '(' + event.detail + ')';
    }
    return velTrContinue;
  });
  velTraverse(xany(dictionary), &visitor);
  EXPECT_EQ(log, expected);
  EXPECT_EQ(velCountOf(log, "beginDictElement"), 20);
}

TEST(VelTraverse, KeyThatIsNotWrittenIsNull) {
  VelDictType type("Dict");
  const VelThingHandle thing = velNewThing(&type);
  thing->entries = {velThingEntry("first", 1), velThingEntry("", 2)};
  thing->entries[1].key = [](xstring*) { return true; };
  EXPECT_EQ(velCountOf(velWalked(xany(thing)),
                       "beginDictElement(null) simpleValue(2) endDictElement(null)"),
            1);
}

TEST(VelTraverse, WalksExceptionsWithTheirParentsAttributesFirst) {
  const auto caught = velCaught([] { velXNegativeIndex::Throw(-3); });
  EXPECT_EQ(
      velWalkedInFull(xany(caught)),
      "beginObject(vellib::XNegativeIndex) beginStructure(vellib::XNegativeIndex) "
      "beginStructAttribute(vellib::XException.Description) "
      "simpleValue( 5 " +
          std::string(
              dynamic_cast<velXException&>(*caught.operator->()).getDescription().CastToCString()) +
          ") "
          "endStructAttribute(vellib::XException.Description) "
          "beginStructAttribute(vellib::XNegativeIndex.Index) simpleValue( 2 -3) "
          "endStructAttribute(vellib::XNegativeIndex.Index) "
          "endStructure(vellib::XNegativeIndex) endObject(vellib::XNegativeIndex)");
}

TEST(VelTraverse, PlainObjectsHaveNoCallOfTheirKind) {
  const xrchandle<VelLogObject> object = new VelLogObject;
  EXPECT_EQ(velWalked(xany(object)),
            "beginObject(veltest::LogObject) endObject(veltest::LogObject)");
  const xrchandle<xobject> root = new xobject;
  EXPECT_EQ(velWalked(xany(root)), "beginObject(object) endObject(object)");
}

TEST(VelTraverse, ObjectsThatAreNotCountedStayTheirOwners) {
  std::string log;
  VelPlainObject object(&log);
  EXPECT_EQ(velWalked(xany(static_cast<xobject*>(&object))),
            "beginObject(veltest::PlainObject) endObject(veltest::PlainObject)");
  EXPECT_EQ(log, "");
}

TEST(VelTraverse, ReadsAUserDescriptorsGetters) {
  // Neither getter nor parts: everything is empty.
  xrttisequence sequence;
  sequence.initializeRttiSeq("NoGetters", 1, velGetRtti_int(), 0, nullptr, nullptr);
  EXPECT_EQ(velWalked(xany(velNewThing(&sequence))),
            "beginObject(NoGetters) beginSequence(NoGetters) endSequence(NoGetters) "
            "endObject(NoGetters)");
  static const int sizes[] = {2};
  xrttiarray array;
  array.initializeRttiArray("Uninit", 1, 1, sizes, velGetRtti_int(), 0, nullptr);
  EXPECT_EQ(velWalked(xany(velNewThing(&array))),
            "beginObject(Uninit) beginArray(Uninit) beginArrayElement([0]) endArrayElement([0]) "
            "beginArrayElement([1]) endArrayElement([1]) endArray(Uninit) endObject(Uninit)");
}

// ---- objects on the path ----

TEST(VelTraverse, SiblingsThatShareAnObjectVisitItTwice) {
  VelAttr a("a"), b("b");
  VelStructType type("Pair", {}, {&a, &b});
  VelPlainType plain("Plain");
  const VelThingHandle shared = velNewThing(&plain);
  const VelThingHandle pair = velNewThing(&type);
  pair->values["a"] = velGives(xany(shared));
  pair->values["b"] = velGives(xany(shared));
  const std::string visit = "beginObject(Plain) endObject(Plain)";
  EXPECT_EQ(velCountOf(velWalked(xany(pair)), visit), 2);
  // Also when the first visit was cut short.
  LogTraverser log;
  log.answer("beginObject", velTrSkip, 2);
  velTraverse(xany(pair), &log);
  EXPECT_EQ(velCountOf(log.text(), "beginObject(Plain)"), 2);
  EXPECT_EQ(velCountOf(log.text(), "alreadyVisited"), 0);
}

TEST(VelTraverse, CycleThroughDescendantsEndsAtEachObjectOnThePath) {
  VelSeqType type("Seq");
  const VelThingHandle a = velNewThing(&type);
  const VelThingHandle b = velNewThing(&type);
  VelThing* rawA = a;
  VelThing* rawB = b;
  a->items = {[rawB] { return xany(rawB); }, [rawB] { return xany(rawB); }};
  b->items = {[rawA] { return xany(rawA); }, [rawB] { return xany(rawB); }};
  std::vector<xobject*> visited;
  VelEventTraverser visitor([&](const VelEvent& event) {
    if (event.operation == "alreadyVisited") visited.push_back(event.object);
    return velTrContinue;
  });
  velTraverse(xany(a), &visitor);
  EXPECT_EQ(visited, (std::vector<xobject*>{rawA, rawB, rawA, rawB}));
}

TEST(VelTraverse, SkippedBeginOfAKindLeavesThePath) {
  VelSeqType type("Seq");
  VelSeqType innerType("Inner");
  const VelThingHandle inner = velNewThing(&innerType);
  const VelThingHandle outer = velNewThing(&type);
  outer->items = {velGives(xany(inner)), velGives(xany(inner))};
  LogTraverser log;
  log.answer("beginSequence", velTrSkip, 2);
  velTraverse(xany(outer), &log);
  EXPECT_EQ(log.text(),
            "beginObject(Seq) beginSequence(Seq) beginSeqElement(0) beginObject(Inner) "
            "beginSequence(Inner) endSeqElement(0) beginSeqElement(1) beginObject(Inner) "
            "beginSequence(Inner) endSequence(Inner) endObject(Inner) endSeqElement(1) "
            "endSequence(Seq) endObject(Seq)");
}

// ---- parents ----

TEST(VelTraverse, AttributesAreReportedWithTheDeclaringStructure) {
  VelAttr t("t"), l("l"), d("d");
  VelStructType top("Top", {}, {&t});
  VelStructType left("Left", {&top}, {&l});
  VelStructType bottom("Bottom", {&left, &top}, {&d});
  EXPECT_EQ(velWalkedInFull(xany(velNewThing(&bottom))),
            "beginObject(Bottom) beginStructure(Bottom) "
            "beginStructAttribute(Top.t) endStructAttribute(Top.t) "
            "beginStructAttribute(Left.l) endStructAttribute(Left.l) "
            "beginStructAttribute(Bottom.d) endStructAttribute(Bottom.d) "
            "endStructure(Bottom) endObject(Bottom)");
}

TEST(VelTraverse, TypeThatIsItsOwnAncestorIsVisitedOnceMore) {
  VelAttr a("a"), p("p");
  VelStructType parent("Parent", {}, {&p});
  VelStructType type("Type", {&parent}, {&a});
  parent.parentList = {&type, &parent};
  EXPECT_EQ(velWalkedInFull(xany(velNewThing(&type))),
            "beginObject(Type) beginStructure(Type) "
            "beginStructAttribute(Type.a) endStructAttribute(Type.a) "
            "beginStructAttribute(Parent.p) endStructAttribute(Parent.p) "
            "beginStructAttribute(Type.a) endStructAttribute(Type.a) "
            "endStructure(Type) endObject(Type)");
}

TEST(VelTraverse, SharedAncestorIsVisitedOncePerObject) {
  VelAttr t("t"), inner("inner");
  VelStructType top("Top", {}, {&t});
  VelStructType left("Left", {&top}, {&inner});
  VelStructType right("Right", {&top, &left}, {});
  VelStructType bottom("Bottom", {&left, &right, &top}, {});
  const VelThingHandle child = velNewThing(&bottom);
  const VelThingHandle thing = velNewThing(&bottom);
  thing->values["inner"] = velGives(xany(child));
  const std::string log = velWalked(xany(thing));
  EXPECT_EQ(velCountOf(log, "beginStructAttribute(t)"), 2);
  EXPECT_EQ(velCountOf(log, "beginStructAttribute(inner)"), 2);
}

TEST(VelTraverse, ThirtyStackedDiamondsCostOneVisitEach) {
  VelAttr a("a");
  std::vector<std::unique_ptr<VelStructType>> types;
  types.push_back(
      std::make_unique<VelStructType>("T", VelStructType::Parents{}, std::vector<xrttiattr*>{&a}));
  for (int i = 0; i < 30; ++i) {
    xrttiobject* below = types.back().get();
    std::vector<xrttiobject*> sides;
    for (int side = 0; side < 2; ++side) {
      types.push_back(std::make_unique<VelStructType>("T", VelStructType::Parents{below},
                                                      std::vector<xrttiattr*>{&a}));
      sides.push_back(types.back().get());
    }
    types.push_back(std::make_unique<VelStructType>("T", sides, std::vector<xrttiattr*>{&a}));
  }
  EXPECT_EQ(velCountOf(velWalked(xany(velNewThing(types.back().get()))), "beginStructAttribute(a)"),
            91);
}

TEST(VelTraverse, ParentOfAPlainObjectContributesItsContents) {
  VelAttr a("a");
  VelStructType structure("Struct", {}, {&a});
  VelPlainType type("Plain", {&structure});
  const VelThingHandle thing = velNewThing(&type);
  thing->values["a"] = velGives(1);
  EXPECT_EQ(velWalked(xany(thing)),
            "beginObject(Plain) beginStructAttribute(a) simpleValue(1) endStructAttribute(a) "
            "endObject(Plain)");
}

// An array and a sequence in one: the begin and end tests find the sequence
// first, the contents are those of the array.
class ArrayAndSequence : public VelArrayType, public VelSeqType {
 public:
  ArrayAndSequence() : VelArrayType("Both", {1}), VelSeqType("Both") {}
  int getNParents() override { return 0; }
  xrttiobject* getParent(int) override { return nullptr; }
  void* dyndowncast(const xrttiobject*) override { return nullptr; }

 private:
  xrttiobject* giveRtti() override { return xrttiarray::getClassRtti(); }
};

TEST(VelTraverse, KindsAreTestedInTwoOrders) {
  ArrayAndSequence type;
  const VelThingHandle thing = velNewThing(&type);
  thing->items = {velGives(1)};
  EXPECT_EQ(velWalked(xany(thing)),
            "beginObject(Both) beginSequence(Both) "
            "beginArrayElement([0]) simpleValue(1) endArrayElement([0]) "
            "endSequence(Both) endObject(Both)");
}

// ---- what the visitor throws ----

TEST(VelTraverse, ExceptionsOfTheVisitorLeaveFromEveryOperation) {
  VelAttr s("s"), q("q"), d("d"), r("r"), u("u"), e("e"), self("self"), bad("bad"), kind("kind");
  xrttienum colour("Colour", 2, kColours);
  VelStructType structure("S", {}, {&q, &d, &r, &u, &e, &self, &bad});
  VelSeqType sequence("Q");
  VelDictType dictionary("D");
  VelArrayType array("A", {1, 1});
  VelUnionType choice("U", &kind, {}, &s);
  const VelThingHandle root = velNewThing(&structure);
  const VelThingHandle parts[] = {velNewThing(&sequence), velNewThing(&dictionary),
                                  velNewThing(&array), velNewThing(&choice)};
  parts[0]->items = {velGives(1)};
  parts[1]->entries = {velThingEntry("k", 1)};
  parts[2]->items = {velGives(1)};
  VelThing* raw = root;
  root->values = {{"q", velGives(xany(parts[0]))},
                  {"d", velGives(xany(parts[1]))},
                  {"r", velGives(xany(parts[2]))},
                  {"u", velGives(xany(parts[3]))},
                  {"e", velGives(xany(1, &colour))},
                  {"self", [raw] { return xany(raw); }},
                  {"bad", velThrowsVel}};
  std::map<std::string, int> operations;
  int total = 0;
  VelEventTraverser counter([&](const VelEvent& event) {
    ++operations[event.operation];
    ++total;
    return velTrContinue;
  });
  velTraverse(xany(root), &counter);
  ASSERT_EQ(operations.size(), 30u) << "the sample has every operation";

  for (int at = 1; at <= total; ++at) {
    for (bool framework : {false, true}) {
      int call = 0;
      VelEventTraverser thrower([&](const VelEvent&) {
        EXPECT_LE(call, at);
        if (++call == at) {
          if (framework) velThrowsVel();
          throw at;
        }
        return velTrContinue;
      });
      if (framework) {
        EXPECT_FALSE(velCaught([&] { velTraverse(xany(root), &thrower); }).isnull());
      } else {
        EXPECT_THROW(velTraverse(xany(root), &thrower), int);
      }
      EXPECT_EQ(call, at);
      EXPECT_EQ(VelCountedThrow::alive(), 0);
      EXPECT_EQ(xrcgetcount(root), 1);
    }
  }
}

TEST(VelTraverse, StopSignalThrownByTheVisitorEndsTheWalk) {
  VelSeqType type("Seq");
  const VelThingHandle thing = velNewThing(&type);
  thing->items = {velGives(1), velGives(2)};
  int calls = 0;
  VelEventTraverser visitor([&](const VelEvent& event) {
    ++calls;
    if (event.operation == "simpleValue") throw velTraverseXStop();
    return velTrContinue;
  });
  EXPECT_NO_THROW(velTraverse(xany(thing), &visitor));
  EXPECT_EQ(calls, 4);
}

// ---- lifetimes ----

TEST(VelTraverse, ObjectsMadeForTheWalkDieWithTheirVisit) {
  VelPlainType plain("Plain");
  VelSeqType type("Seq");
  {
    const VelThingHandle thing = velNewThing(&type);
    const auto fresh = [&] { return xany(velNewThing(&plain)); };
    thing->items = {fresh, fresh, fresh};
    const int before = VelThing::alive();
    VelEventTraverser visitor([&](const VelEvent& event) {
      const bool inside = event.type == &plain;
      EXPECT_EQ(VelThing::alive(), before + inside) << event.text();
      return velTrContinue;
    });
    velTraverse(xany(thing), &visitor);
    EXPECT_EQ(xrcgetcount(thing), 1);
  }
  EXPECT_EQ(VelThing::alive(), 0);
}

TEST(VelTraverse, FreshObjectOfAnElementLivesUntilItsEnd) {
  // An object that is gone when its end is called would show under a sanitizer.
  VelAttr next("next");
  VelStructType type("Node", {}, {&next});
  int left = 20;
  std::function<xany()> fresh = [&] {
    if (left-- == 0) return xany();
    const VelThingHandle node = velNewThing(&type);
    node->values["next"] = [&] { return fresh(); };
    return xany(node);
  };
  int ends = 0;
  VelEventTraverser visitor([&](const VelEvent& event) {
    if (event.operation == "endObject") {
      ++ends;
      EXPECT_STREQ(event.object->getVelTypeName().CastToCString(), "Node");
    }
    return velTrContinue;
  });
  velTraverse(fresh(), &visitor);
  EXPECT_EQ(ends, 20);
  EXPECT_EQ(VelThing::alive(), 0);
}

TEST(VelTraverse, VisitorMayWalkWithAnotherVisitor) {
  VelSeqType type("Seq");
  const VelThingHandle thing = velNewThing(&type);
  thing->items = {velGives(1)};
  int inner = 0;
  int outer = 0;
  VelEventTraverser visitor([&](const VelEvent& event) {
    ++outer;
    if (event.object) {
      VelEventTraverser second([&](const VelEvent& nested) {
        ++inner;
        return nested.operation == "simpleValue" ? velTrStop : velTrContinue;
      });
      velTraverse(xany(event.object), &second);
    }
    return velTrContinue;
  });
  velTraverse(xany(thing), &visitor);
  EXPECT_EQ(outer, 7);
  EXPECT_EQ(inner, 6 * 4) << "each starts at the root and stops at the value";
}

TEST(VelTraverse, GetterMayWalkItsOwner) {
  VelAttr a("a");
  VelStructType type("Struct", {}, {&a});
  const VelThingHandle thing = velNewThing(&type);
  VelThing* raw = thing;
  int depth = 0;
  thing->values["a"] = [&, raw] {
    if (++depth < 5) velWalked(xany(raw));
    return xany(depth);
  };
  EXPECT_EQ(velCountOf(velWalked(xany(thing)), "simpleValue(5)"), 1);
}

TEST(VelTraverse, CirclesAreSeenAtEveryDepth) {
  VelAttr next("next");
  VelStructType type("Node", {}, {&next});
  std::vector<VelThingHandle> nodes;
  for (int i = 0; i < 20; ++i) {
    nodes.push_back(velNewThing(&type));
    if (i > 0) nodes[nodes.size() - 2]->values["next"] = velGives(xany(nodes.back()));
  }
  for (const VelThingHandle& target : nodes) {
    nodes.back()->values["next"] = velGives(xany(target));
    std::vector<xobject*> met;
    int begun = 0;
    VelEventTraverser visitor([&](const VelEvent& event) {
      begun += event.operation == "beginObject";
      if (event.operation == "alreadyVisited") met.push_back(event.object);
      return begun > 25 ? velTrStop : velTrContinue;
    });
    velTraverse(xany(nodes.front()), &visitor);
    EXPECT_EQ(begun, 20);
    EXPECT_EQ(met, std::vector<xobject*>{target});
  }
  nodes.back()->values.clear();
}

TEST(VelTraverse, StopInTheDepthReleasesEverything) {
  VelAttr next("next");
  VelStructType type("Node", {}, {&next});
  VelThingHandle root;
  for (int i = 0; i < 100; ++i) {
    const VelThingHandle node = velNewThing(&type);
    if (!root.isnull()) node->values["next"] = velGives(xany(root));
    root = node;
  }
  LogTraverser log;
  log.answer("beginObject", velTrStop, 60);
  velTraverse(xany(root), &log);
  EXPECT_EQ(velCountOf(log.text(), "beginObject"), 60);
  EXPECT_EQ(velCountOf(log.text(), "end"), 0);
  EXPECT_EQ(xrcgetcount(root), 1);
  root = nullptr;
  EXPECT_EQ(VelThing::alive(), 0);
}

TEST(VelTraverse, WalksOnManyThreadsAtOnce) {
  const auto anys = xanysequence::create();
  for (int i = 0; i < 50; ++i) anys->append(xany(xintsequence::create()));
  const std::string expected = velWalked(xany(anys));
  std::vector<std::thread> threads;
  std::vector<std::string> results(4);
  for (std::string& result : results) {
    threads.emplace_back([&] {
      for (int i = 0; i < 20; ++i) result = velWalked(xany(anys));
    });
  }
  for (std::thread& thread : threads) thread.join();
  for (const std::string& result : results) EXPECT_EQ(result, expected);
}

// ---- depth ----

// A list of one million objects, walked on a thread with 8 MiB of stack.
class Link : public virtual xobject {
  VEL_OBJECT(Link)
 public:
  explicit Link(xrchandle<Link> next) : next_(std::move(next)) { ++alive; }
  ~Link() override { --alive; }
  xany next() const { return xany(next_); }
  static int alive;

 private:
  xrchandle<Link> next_;
};
int Link::alive = 0;

VEL_OBJECT_RTTI(Link, xrttistruct, [](xrttistruct* rtti) {
  static xrttiattr* attributes[1];
  attributes[0] = new xrttiattr("next", rtti, 1,
                                [](xobject* owner) { return dynamic_cast<Link*>(owner)->next(); });
  rtti->initializeRttiStruct("veltest::Link", 1, 0, nullptr, 1, attributes);
})

class Counter : public velTraverser {
 public:
  velTraverseResult beginObject(xrttiobject*, xrcunihandle<xobject>) override {
    ++depth;
    if (depth > deepest) deepest = depth;
    return velTrContinue;
  }
  velTraverseResult endObject(xrttiobject*, xrcunihandle<xobject>) override {
    --depth;
    return velTrContinue;
  }
  int depth = 0;
  int deepest = 0;
};

void* DeepWalk(void* argument) {
  xrchandle<Link> top;
  for (int i = 0; i < 1000000; ++i) top = xrchandle<Link>(new Link(std::move(top)));
  velTraverse(xany(top), static_cast<Counter*>(argument));
  return nullptr;
}

TEST(VelTraverse, OneMillionNestedObjectsFitAnOrdinaryStack) {
  pthread_attr_t attributes;
  pthread_attr_init(&attributes);
  pthread_attr_setstacksize(&attributes, 8u << 20);
  Counter counter;
  pthread_t thread;
  ASSERT_EQ(pthread_create(&thread, &attributes, &DeepWalk, &counter), 0);
  ASSERT_EQ(pthread_join(thread, nullptr), 0);
  pthread_attr_destroy(&attributes);
  EXPECT_EQ(counter.deepest, 1000000);
  EXPECT_EQ(counter.depth, 0);
  EXPECT_EQ(Link::alive, 0);
}

// A class with a gap in the list of its parents.
class Gapped : public virtual xobject {
  VEL_OBJECT(Gapped)
};
xrttiobject* gappedParents[] = {nullptr};
VEL_OBJECT_RTTI(Gapped, xrttiobject, [](xrttiobject* rtti) {
  rtti->initializeRttiObject("traverse::Gapped", 1, 1, gappedParents);
})

TEST(VelTraverse, AMissingParentHasNoContents) {
  LogTraverser log;
  velTraverse(xany(new Gapped), &log);
  EXPECT_EQ(log.text(), "beginObject(traverse::Gapped) endObject(traverse::Gapped)");
}

}  // namespace
