// The short ways that walks and comparisons take into standard collections. They are
// not exported: their source is part of this program, too.
#include <functional>
#include <string>

#include "velcollectionreads.h"
#include "velcollectionrtti.h"
#include "velcompare.h"
#include "veltest.h"
#include "veltraverser.h"
#include "xcollections.h"

namespace {

// The same class for all who ask its descriptor, but not exactly it: it is read
// through descriptor, cast and table.
template <class C>
class Derived : public C {};

template <class T>
struct Numbered;
template <>
struct Numbered<unsigned char> {
  static unsigned char value(int i) { return i % 2 == 0; }
};
template <>
struct Numbered<int> {
  static int value(int i) { return i; }
};
template <>
struct Numbered<double> {
  static double value(int i) { return i + 0.5; }
};
template <>
struct Numbered<xstring> {
  static xstring value(int i) { return i % 3 == 0 ? xstring() : xstring::Printf("text %d", i); }
};
template <>
struct Numbered<xany> {
  static xany value(int i) {
    switch (i % 5) {
      case 0:
        return xany();
      case 1:
        return xany(xanyNil);
      case 2:
        return xany(xstring::Printf("text %d", i));
      case 3:
        return xany(i);
      default: {
        const auto inner = xintdictionary::create();
        inner->set("inner", i);
        return xany(inner);
      }
    }
  }
};

std::string Key(int i) { return "key " + std::to_string(i * 7919 % 1000); }

// `count` entries; every third is removed again, which leaves tombstones.
template <class C, class T>
xrchandle<C> Filled(int count) {
  const xrchandle<C> made = new C;
  for (int i = 0; i < count; ++i) made->set(Key(i).c_str(), Numbered<T>::value(i));
  for (int i = 0; i < count; i += 3) made->remove(Key(i).c_str());
  return made;
}

template <class C, class T>
xrchandle<C> Appended(int count) {
  const xrchandle<C> made = new C;
  for (int i = 0; i < count; ++i) made->append(Numbered<T>::value(i));
  return made;
}

using Prepare = std::function<void(LogTraverser&)>;
std::string Walked(
    const xany& value, const Prepare& prepare = [](LogTraverser&) {}) {
  LogTraverser log;
  prepare(log);
  velTraverse(value, &log);
  return log.text();
}

template <class C, class T>
void ExpectEqualDictionaries() {
  for (const int count : {0, 1, 2, 28, 29, 40, 100, 300}) {
    const xany shortWay(Filled<C, T>(count));
    const xany longWay(Filled<Derived<C>, T>(count));
    EXPECT_EQ(Walked(shortWay), Walked(longWay)) << count;
    EXPECT_TRUE(velCompare(shortWay, longWay)) << count;
    EXPECT_TRUE(velCompare(longWay, shortWay)) << count;
    for (const velTraverseResult answer : {velTrSkip, velTrLeave, velTrStop}) {
      for (const char* operation : {"beginDictElement", "endDictElement", "simpleValue"}) {
        const Prepare second = [&](LogTraverser& log) { log.answer(operation, answer, 2); };
        EXPECT_EQ(Walked(shortWay, second), Walked(longWay, second)) << operation << ' ' << answer;
      }
    }
  }
}

template <class C, class T>
void ExpectEqualSequences() {
  for (const int count : {0, 1, 2, 17}) {
    const xany shortWay(Appended<C, T>(count));
    const xany longWay(Appended<Derived<C>, T>(count));
    EXPECT_EQ(Walked(shortWay), Walked(longWay)) << count;
    EXPECT_TRUE(velCompare(shortWay, longWay)) << count;
    EXPECT_TRUE(velCompare(longWay, shortWay)) << count;
    for (const velTraverseResult answer : {velTrSkip, velTrLeave, velTrStop}) {
      for (const char* operation : {"beginSeqElement", "endSeqElement", "simpleValue"}) {
        const Prepare second = [&](LogTraverser& log) { log.answer(operation, answer, 2); };
        EXPECT_EQ(Walked(shortWay, second), Walked(longWay, second)) << operation << ' ' << answer;
      }
    }
  }
}

// Keys that lie in the same slots of one dictionary after the other.
TEST(VelCollectionReads, TellEachKeyFromTheLastOneInItsSlot) {
  class Keys : public velTraverser {
   public:
    velTraverseResult beginDictElement(xrttidictionary*, xstring key,
                                       xrcunihandle<xobject>) override {
      seen += key.CastToCString();
      seen += '\n';
      return velTrContinue;
    }
    std::string seen;
  };
  std::string expected;
  const auto documents = xanysequence::create();
  for (int entries : {1, 40}) {
    for (int i = 0; i < 2000; ++i) {
      // Beginnings of one text, some of which differ in a byte.
      std::string key =
          std::string("abcdefghijklmnopqrstuvwxyz").substr(0, static_cast<std::size_t>(i % 21));
      if (i % 4 == 0 && !key.empty()) key[static_cast<std::size_t>(i / 4) % key.size()] = '-';
      const auto document = xintdictionary::create();
      document->set(key.c_str(), i);
      if (entries > 1 && i % 50 != 0) continue;
      for (int more = 1; more < entries; ++more) document->set(Key(more).c_str(), more);
      for (int slot = 0; slot < document->getmapsize(); ++slot) {
        xstring at;
        if (document->getkeybyindex(slot, &at)) expected += std::string(at.CastToCString()) + '\n';
      }
      documents->append(xany(document));
    }
  }
  Keys walked;
  velTraverse(xany(documents), &walked);
  EXPECT_TRUE(walked.seen == expected);
}

TEST(VelCollectionReads, WalkTheSameDictionariesAsTheLongWay) {
  ExpectEqualDictionaries<xbooldictionary, unsigned char>();
  ExpectEqualDictionaries<xintdictionary, int>();
  ExpectEqualDictionaries<xrealdictionary, double>();
  ExpectEqualDictionaries<xstringdictionary, xstring>();
  ExpectEqualDictionaries<xanydictionary, xany>();
}

TEST(VelCollectionReads, WalkTheSameSequencesAsTheLongWay) {
  ExpectEqualSequences<xboolsequence, unsigned char>();
  ExpectEqualSequences<xintsequence, int>();
  ExpectEqualSequences<xrealsequence, double>();
  ExpectEqualSequences<xstringsequence, xstring>();
  ExpectEqualSequences<xanysequence, xany>();
}

// A class of the same descriptor whose members say something else.
class Shouting : public xanydictionary {
 public:
  bool getkeybyindex(int index, xstring* key) override {
    if (!xanydictionary::getkeybyindex(index, key)) return false;
    *key = key->ToUpper();
    return true;
  }
};

TEST(VelCollectionReads, LeaveOverridesTheirSay) {
  const xrchandle<Shouting> dictionary = new Shouting;
  dictionary->set("key", xany(1));
  EXPECT_EQ(Walked(xany(dictionary)),
            "beginObject(anydict) beginDictionary(anydict) beginDictElement(KEY) "
            "simpleValue(1) endDictElement(KEY) endDictionary(anydict) endObject(anydict)");
}

// Changes the collection that it visits.
template <class C>
class Changing : public LogTraverser {
 public:
  Changing(C* visited, void (*change)(C&, int)) : visited_(visited), change_(change) {}

  velTraverseResult beginDictElement(xrttidictionary* type, xstring key,
                                     xrcunihandle<xobject> object) override {
    change_(*visited_, ++calls_);
    return LogTraverser::beginDictElement(type, key, object);
  }
  velTraverseResult beginSeqElement(xrttisequence* type, int position,
                                    xrcunihandle<xobject> object) override {
    change_(*visited_, ++calls_);
    return LogTraverser::beginSeqElement(type, position, object);
  }

 private:
  C* visited_;
  void (*change_)(C&, int);
  int calls_ = 0;
};

template <class C>
std::string Changed(const xrchandle<C>& visited, void (*change)(C&, int)) {
  Changing<C> visitor(visited.operator->(), change);
  velTraverse(xany(visited), &visitor);
  return visitor.text();
}

template <class C, class Change>
void Apply(C& visited, int call) {
  Change()(visited, call);
}

template <class Change, class Exact, class Long>
void ExpectEqualChanges(const xrchandle<Exact>& exact, const xrchandle<Long>& other) {
  EXPECT_EQ(Changed<Exact>(exact, &Apply<Exact, Change>),
            Changed<Long>(other, &Apply<Long, Change>));
}

struct RemoveAll {
  template <class C>
  void operator()(C& dictionary, int call) const {
    if (call == 2) dictionary.clearall();
  }
};
struct Grow {
  template <class C>
  void operator()(C& dictionary, int call) const {
    if (call == 2) {
      for (int i = 0; i < 200; ++i) dictionary.set(("new " + std::to_string(i)).c_str(), i);
    }
  }
};
struct Shrink {
  template <class C>
  void operator()(C& sequence, int call) const {
    if (call == 2) sequence.removerange(1, 100);
  }
};

TEST(VelCollectionReads, SeeWhatTheVisitorDoesToTheCollection) {
  using Dictionary = xintdictionary;
  using Sequence = xintsequence;
  ExpectEqualChanges<RemoveAll>(Filled<Dictionary, int>(20), Filled<Derived<Dictionary>, int>(20));
  ExpectEqualChanges<Grow>(Filled<Dictionary, int>(20), Filled<Derived<Dictionary>, int>(20));
  ExpectEqualChanges<Shrink>(Appended<Sequence, int>(20), Appended<Derived<Sequence>, int>(20));
}

// A sequence or dictionary of one element, whose descriptor has some of the functions
// of a standard class and one of its own.
int OneMore(xobject* sequence) { return velSequenceFunctions<xintsequence>::size(sequence) + 1; }
xany Seven(xobject*, int) { return xany(7); }

TEST(VelCollectionReads, AreOfDescriptorsWithAllFunctionsOfAStandardSequence) {
  using Own = velSequenceFunctions<xintsequence>;
  xrttisequence standard, ownSize, ownElement;
  standard.initializeRttiSeq("veltest::Standard", 1, velGetRtti_int(), 0, &Own::size, &Own::element);
  ownSize.initializeRttiSeq("veltest::OwnSize", 1, velGetRtti_int(), 0, &OneMore, &Own::element);
  ownElement.initializeRttiSeq("veltest::OwnElement", 1, velGetRtti_int(), 0, &Own::size, &Seven);
  EXPECT_NE(velReadsOf(&standard), nullptr);
  EXPECT_EQ(velReadsOf(&ownSize), nullptr);
  EXPECT_EQ(velReadsOf(&ownElement), nullptr);
}

unsigned char FindsNothing(xobject*, const char*, xany*) { return 0; }
unsigned char HasNoKey(xobject*, int, xstring*) { return 0; }
unsigned char HasNoValue(xobject*, int, xany*) { return 0; }

TEST(VelCollectionReads, AreOfDescriptorsWithAllFunctionsOfAStandardDictionary) {
  using Own = velDictionaryFunctions<xintdictionary, int>;
  const auto reads = [](auto size, auto find, auto key, auto value) {
    xrttidictionary type;
    type.initializeRttiDict("veltest::Dictionary", 1, velGetRtti_int(), 0, size, find, key, value);
    return velReadsOf(&type);
  };
  EXPECT_NE(reads(&Own::size, &Own::find, &Own::key, &Own::value), nullptr);
  EXPECT_EQ(reads(&OneMore, &Own::find, &Own::key, &Own::value), nullptr);
  EXPECT_EQ(reads(&Own::size, &FindsNothing, &Own::key, &Own::value), nullptr);
  EXPECT_EQ(reads(&Own::size, &Own::find, &HasNoKey, &Own::value), nullptr);
  EXPECT_EQ(reads(&Own::size, &Own::find, &Own::key, &HasNoValue), nullptr);
}

// The short ways into classes of values, as this program has them.
const velSequenceReads* ElementReads() {
  xrttisequence type;
  velInitializeSequence<xanysequence>(&type, "veltest::Elements", velGetRtti_any());
  return velReadsOf(&type);
}
const velDictionaryReads* EntryReads() {
  xrttidictionary type;
  velInitializeDictionary<xanydictionary, xany>(&type, "veltest::Entries", velGetRtti_any());
  return velReadsOf(&type);
}

TEST(VelCollectionReads, ReadObjectsOfExactlyTheirClass) {
  const velSequenceReads* const reads = ElementReads();
  const auto sequence = xanysequence::create();
  const xrchandle<xanysequence> derived(new Derived<xanysequence>);
  const velSequenceReads* none = nullptr;
  EXPECT_EQ(velCollectionAt(reads, sequence.operator->()), sequence.operator->());
  EXPECT_EQ(velCollectionAt(none, sequence.operator->()), nullptr);
  EXPECT_EQ(velCollectionAt(reads, nullptr), nullptr);
  EXPECT_EQ(velCollectionAt(reads, xuninitobject), nullptr);
  EXPECT_EQ(velCollectionAt(reads, derived.operator->()), nullptr);
  const velDictionaryReads* const entries = EntryReads();
  const velDictionaryReads* noEntries = nullptr;
  const auto dictionary = xanydictionary::create();
  EXPECT_EQ(velCollectionAt(entries, dictionary.operator->()), dictionary.operator->());
  EXPECT_EQ(velCollectionAt(noEntries, dictionary.operator->()), nullptr);
  EXPECT_EQ(velCollectionAt(entries, nullptr), nullptr);
  EXPECT_EQ(velCollectionAt(entries, xuninitobject), nullptr);
  EXPECT_EQ(velCollectionAt(entries, sequence.operator->()), nullptr);
}

TEST(VelCollectionReads, FindThrowsForANullKeyAsTheDictionaryDoes) {
  const auto dictionary = xanydictionary::create();
  const velDictionaryReads* const reads = EntryReads();
  void* at = velCollectionAt(reads, dictionary.operator->());
  xany value;
  EXPECT_VEL_THROW(reads->find(at, nullptr, &value), velXNull);
  EXPECT_VEL_THROW(reads->find(at, reinterpret_cast<const char*>(std::uintptr_t{1}), &value),
                   velXNull);
}

TEST(VelCollectionReads, GiveNoPlaceWhereThereIsNoElement) {
  const auto sequence = xanysequence::create();
  sequence->append(xany(1));
  const velSequenceReads* const elements = ElementReads();
  EXPECT_EQ(elements->inPlace(sequence.operator->(), 0)->operator int(), 1);
  EXPECT_EQ(elements->inPlace(sequence.operator->(), 1), nullptr);
  const auto dictionary = xanydictionary::create();
  dictionary->set("key", xany(2));
  const velDictionaryReads* const entries = EntryReads();
  int found = 0;
  for (int i = 0; i < dictionary->getmapsize(); ++i) {
    const xany* value = entries->inPlace(dictionary.operator->(), i);
    EXPECT_EQ(value != nullptr, dictionary->getbyindex(i, nullptr));
    if (value) found += value->operator int();
  }
  EXPECT_EQ(found, 2);
  // What lies behind the slots looks like a key when the first ones are taken.
  for (int i = 0; i < 28; ++i) dictionary->set(std::to_string(i).c_str(), xany(i));
  EXPECT_EQ(dictionary->getmapsize(), 32);
  EXPECT_EQ(entries->inPlace(dictionary.operator->(), 32), nullptr);
}

struct RemoveTheRest {
  void operator()(xanysequence& sequence, int call) const {
    if (call == 2) sequence.removerange(1, 100);
  }
  void operator()(xanydictionary& dictionary, int call) const {
    if (call == 2) {
      for (int i = 0; i < dictionary.getmapsize(); ++i) dictionary.removebyindex(i);
    }
  }
};

TEST(VelCollectionReads, SeeThatTheVisitorRemovedTheValueItIsAt) {
  ExpectEqualChanges<RemoveTheRest>(Appended<xanysequence, xany>(20),
                                    Appended<Derived<xanysequence>, xany>(20));
  ExpectEqualChanges<RemoveTheRest>(Filled<xanydictionary, xany>(20),
                                    Filled<Derived<xanydictionary>, xany>(20));
}

}  // namespace
