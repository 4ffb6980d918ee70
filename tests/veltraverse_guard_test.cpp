// Reads that fail: what a walk makes of what getters throw and answer.
#include <pthread.h>

#include <climits>
#include <exception>
#include <new>
#include <stdexcept>

#include "veltest.h"
#include "veltest_types.h"
#include "veltraverser.h"

namespace {

// ---- guarded reads ----

TEST(VelTraverseGuard, ExceptionIsPassedAlongAndGivenBack) {
  VelAttr a("a");
  VelStructType type("Struct", {}, {&a});
  const VelThingHandle thing = velNewThing(&type);
  const xrchandle<xthrowable> exception(new VelCountedThrow);
  thing->values["a"] = [&]() -> xany { xthrow(exception); };
  std::vector<std::string> log;
  VelEventTraverser visitor([&](const VelEvent& event) {
    if (event.operation == "errorOccured") {
      EXPECT_EQ(event.object, velAsObject(exception.operator->()));
      EXPECT_EQ(event.detail, "VEL exception");
      EXPECT_EQ(std::current_exception(), nullptr) << "the handler is over";
      EXPECT_GE(xrcgetcount(event.object), 2);
    }
    log.push_back(event.operation);
    return velTrContinue;
  });
  velTraverse(xany(thing), &visitor);
  EXPECT_EQ(log, (std::vector<std::string>{"beginObject", "beginStructure", "beginStructAttribute",
                                           "errorOccured", "endStructAttribute", "endStructure",
                                           "endObject"}));
  EXPECT_EQ(xrcgetcount(velAsObject(exception.operator->())), 1);
}

TEST(VelTraverseGuard, ReferencesOfExceptionsEndWithTheCall) {
  VelSeqType type("Seq");
  const VelThingHandle thing = velNewThing(&type);
  thing->items.assign(50, velThrowsVel);
  int reported = 0;
  VelEventTraverser visitor([&](const VelEvent& event) {
    reported += event.operation == "errorOccured";
    EXPECT_EQ(VelCountedThrow::alive(), event.operation == "errorOccured" ? 1 : 0);
    return velTrContinue;
  });
  velTraverse(xany(thing), &visitor);
  EXPECT_EQ(reported, 50);
  EXPECT_EQ(VelCountedThrow::alive(), 0);
}

TEST(VelTraverseGuard, RealFrameworkExceptionsAreReported) {
  VelAttr a("a");
  VelStructType type("Struct", {}, {&a});
  const VelThingHandle thing = velNewThing(&type);
  thing->values["a"] = [] { return xany(xintsequence::create()->get(3)); };
  EXPECT_NE(velWalked(xany(thing))
                .find("beginStructAttribute(a) "
                      "errorOccured(VEL exception, vellib::XInvalidSeqIndex) "
                      "endStructAttribute(a)"),
            std::string::npos);
}

TEST(VelTraverseGuard, ForeignExceptionsOfAllSortsAreUnknown) {
  const std::function<xany()> getters[] = {
      velThrowsInt,
      []() -> xany { throw std::runtime_error("text"); },
      []() -> xany { throw std::bad_alloc(); },
      []() -> xany { throw "text"; },
  };
  VelAttr a("a");
  VelStructType type("Struct", {}, {&a});
  for (const auto& getter : getters) {
    const VelThingHandle thing = velNewThing(&type);
    thing->values["a"] = getter;
    EXPECT_NE(velWalked(xany(thing))
                  .find("beginStructAttribute(a) "
                        "errorOccured(Unknown exception, null) "
                        "endStructAttribute(a)"),
              std::string::npos);
  }
}

TEST(VelTraverseGuard, StopSignalFromAReadEndsTheWalkInSilence) {
  const auto endsAt = [](const VelThingHandle& thing, const std::string& last) {
    const std::string log = velWalked(xany(thing));
    EXPECT_EQ(log.substr(log.rfind(' ') + 1), last);
    EXPECT_EQ(xrcgetcount(thing), 1);
  };
  VelAttr a("a");
  VelStructType structure("S", {}, {&a});
  VelThingHandle thing = velNewThing(&structure);
  thing->values["a"] = velThrowsStop;
  endsAt(thing, "beginStructAttribute(a)");

  VelSeqType sequence("Q");
  thing = velNewThing(&sequence);
  thing->items = {velThrowsStop};
  endsAt(thing, "beginSeqElement(0)");
  thing->count = []() -> int { throw velTraverseXStop(); };
  endsAt(thing, "beginSequence(Q)");

  VelDictType dictionary("D");
  thing = velNewThing(&dictionary);
  thing->entries = {velThingEntry("k", 1)};
  thing->entries[0].value = [](xany*) -> bool { throw velTraverseXStop(); };
  endsAt(thing, "beginDictElement(k)");
  thing->entries[0].key = [](xstring*) -> bool { throw velTraverseXStop(); };
  endsAt(thing, "beginDictionary(D)");
  thing->count = []() -> int { throw velTraverseXStop(); };
  endsAt(thing, "beginDictionary(D)");

  VelUnionType choice("U", &a, {}, nullptr);
  thing = velNewThing(&choice);
  thing->values["a"] = velThrowsStop;
  endsAt(thing, "beginUnion(U)");

  VelArrayType array("A", {1});
  thing = velNewThing(&array);
  thing->items = {velThrowsStop};
  endsAt(thing, "beginArrayElement([0])");
}

TEST(VelTraverseGuard, NothingIsReadBehindASkipOrLeave) {
  VelAttr a("a");
  VelStructType structure("S", {}, {&a});
  VelSeqType sequence("Q");
  VelDictType dictionary("D");
  VelArrayType array("A", {1});
  int reads = 0;
  const auto read = [&] { return xany(++reads); };
  for (xrttiobject* type :
       std::initializer_list<xrttiobject*>{&structure, &sequence, &dictionary, &array}) {
    const VelThingHandle thing = velNewThing(type);
    thing->values["a"] = read;
    thing->items = {read};
    thing->entries = {velThingEntry("k", 1)};
    thing->entries[0].value = [&](xany* value) {
      *value = read();
      return true;
    };
    for (const char* operation :
         {"beginStructAttribute", "beginSeqElement", "beginDictElement", "beginArrayElement"}) {
      for (velTraverseResult answer : {velTrSkip, velTrLeave, velTrStop}) {
        reads = 0;
        LogTraverser log;
        log.answer(operation, answer);
        velTraverse(xany(thing), &log);
        EXPECT_EQ(reads, log.text().find(operation) == std::string::npos ? 1 : 0);
      }
    }
  }
}

TEST(VelTraverseGuard, CountIsReadOnceAndBelowZeroIsZero) {
  VelSeqType sequence("Q");
  VelDictType dictionary("D");
  for (xrttiobject* type : std::initializer_list<xrttiobject*>{&sequence, &dictionary}) {
    for (int count : {0, -1, INT_MIN}) {
      const VelThingHandle thing = velNewThing(type);
      int reads = 0;
      thing->count = [&] {
        ++reads;
        return count;
      };
      EXPECT_EQ(velCountOf(velWalked(xany(thing)), "Element"), 0);
      EXPECT_EQ(reads, 1);
    }
  }
}

TEST(VelTraverseGuard, SequenceThatShrinksUnderTheWalkReportsTheMissingElements) {
  const auto ints = xintsequence::create();
  for (int i = 0; i < 3; ++i) ints->append(i);
  std::string log;
  VelEventTraverser visitor([&](const VelEvent& event) {
    log += event.operation + ' ';
    if (event.operation == "endSeqElement" && event.detail == "0") ints->clear();
    return velTrContinue;
  });
  velTraverse(xany(ints), &visitor);
  EXPECT_EQ(log,
            "beginObject beginSequence beginSeqElement simpleValue endSeqElement "
            "beginSeqElement errorOccured endSeqElement beginSeqElement errorOccured "
            "endSeqElement endSequence endObject ");
}

TEST(VelTraverseGuard, ValuesOfAKindOutOfRangeAreNotReported) {
  const auto odd = [] { return xany(static_cast<__xanykind>(8)); };
  VelAttr a("a");
  VelStructType structure("S", {}, {&a});
  VelSeqType sequence("Q");
  VelDictType dictionary("D");
  VelArrayType array("A", {1});
  VelUnionType choice("U", &a, {}, nullptr);
  for (xrttiobject* type :
       std::initializer_list<xrttiobject*>{&structure, &sequence, &dictionary, &array, &choice}) {
    const VelThingHandle thing = velNewThing(type);
    thing->values["a"] = odd;
    thing->items = {odd};
    thing->entries = {velThingEntry("k", 1)};
    thing->entries[0].value = [&](xany* value) {
      *value = odd();
      return true;
    };
    const std::string log = velWalked(xany(thing));
    EXPECT_EQ(velCountOf(log, "simpleValue") + velCountOf(log, "errorOccured"), 0) << log;
  }
}

TEST(VelTraverseGuard, WhatAReadStoredBeforeItFailedIsNoValue) {
  VelDictType type("D");
  const VelThingHandle thing = velNewThing(&type);
  thing->entries = {velThingEntry("k", 1)};
  thing->entries[0].value = [](xany* value) -> bool {
    *value = xany(5);
    throw std::runtime_error("late");
  };
  const std::string log = velWalked(xany(thing));
  EXPECT_EQ(velCountOf(log, "simpleValue"), 0) << log;
  EXPECT_EQ(velCountOf(log, "errorOccured"), 1) << log;
}

// The key before it does not show where a dictionary gives none.
TEST(VelTraverseGuard, AKeyThatIsNotGivenIsNull) {
  VelDictType type("D");
  const VelThingHandle thing = velNewThing(&type);
  thing->entries = {velThingEntry("k", 1), velThingEntry("l", 2)};
  thing->entries[1].key = [](xstring*) { return true; };
  class Visitor : public velTraverser {
   public:
    velTraverseResult beginDictElement(xrttidictionary*, xstring key,
                                       xrcunihandle<xobject>) override {
      keys.push_back(key.IsNull() ? "null" : key.CastToCString());
      return velTrSkip;
    }
    std::vector<std::string> keys;
  } visitor;
  velTraverse(xany(thing), &visitor);
  EXPECT_EQ(visitor.keys, (std::vector<std::string>{"k", "null"}));
}

// Cannot be held for a while.
class Shy : public VelThing {
 public:
  using VelThing::VelThing;
  static bool isShy;

 private:
  void xattach() override {
    if (isShy) throw std::runtime_error("leave me");
    ++refcount;
  }
};
bool Shy::isShy = false;

TEST(VelTraverseGuard, AnObjectThatCannotBeHeldIsReportedWhereItIsRead) {
  VelPlainType type("Shy");
  const xrchandle<xobject> object(new Shy(&type));
  const auto sequence = xanysequence::create();
  sequence->append(xany(object));
  const auto dictionary = xanydictionary::create();
  dictionary->set("k", xany(object));
  for (const xany& value : {xany(sequence), xany(dictionary)}) {
    Shy::isShy = true;
    const std::string log = velWalked(value);
    Shy::isShy = false;
    EXPECT_EQ(velCountOf(log, "errorOccured"), 1) << log;
    EXPECT_EQ(velCountOf(log, "endObject"), 1) << log;
  }
}

void* ExitingWalk(void* argument) {
  velTraverser visitor;
  velTraverse(xany(static_cast<VelThing*>(argument)), &visitor);
  return nullptr;
}

TEST(VelTraverseGuard, EndOfAThreadPassesThrough) {
  VelAttr a("a");
  VelStructType type("Struct", {}, {&a});
  const VelThingHandle thing = velNewThing(&type);
  thing->values["a"] = []() -> xany { pthread_exit(reinterpret_cast<void*>(5)); };
  pthread_t thread;
  ASSERT_EQ(pthread_create(&thread, nullptr, &ExitingWalk, thing.operator->()), 0);
  void* result = nullptr;
  ASSERT_EQ(pthread_join(thread, &result), 0);
  EXPECT_EQ(result, reinterpret_cast<void*>(5));
  EXPECT_EQ(xrcgetcount(thing), 1) << "the walk's references went with its stack";
}

}  // namespace
