// The dictionary against a second, slow one. Both get the same random
// operations on real words; after each of them all slots must be equal: which
// are empty, which vacated, and which key and value lie where.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <fstream>
#include <memory>
#include <random>
#include <set>
#include <string>
#include <vector>

#include "veltest.h"
#include "veltest_dictmodel.h"
#include "veltest_long.h"
#include "xcollections.h"

namespace {

using Number = VelModelNumber;

// ---- the dictionaries under test, with an open core ----

template <class Base, class T>
struct Registered {
  using Value = T;
  using Dict = VelOpenDictionary<Base>;
  using Handle = xrchandle<Dict>;
  static Handle New() { return new Dict; }
  static VelDictPolicy Thresholds() { return {70, 90}; }
};

struct Bools : Registered<xbooldictionary, unsigned char> {
  static unsigned char Make(int n) { return static_cast<unsigned char>(n & 0xFF); }
};
struct Ints : Registered<xintdictionary, int> {
  static int Make(int n) { return n; }
};
struct Reals : Registered<xrealdictionary, double> {
  static double Make(int n) { return n / 8.0; }
};
struct Strings : Registered<xstringdictionary, xstring> {
  static xstring Make(int n) {
    if (n % 10 == 0) return xstring();
    return xstring(("value " + std::to_string(n)).c_str());
  }
};
struct Anys : Registered<xanydictionary, xany> {
  static xany Make(int n) {
    switch (n % 5) {
      case 0:
        return n;
      case 1:
        return Strings::Make(n);
      case 2:
        return n * 0.25;
      case 3:
        return xany();
      default:
        return Object(n);
    }
  }
  static const xrchandle<VelLogObject>& Object(int n) {
    static std::vector<xrchandle<VelLogObject>> objects;
    while (objects.size() < 16) objects.push_back(new VelLogObject);
    return objects[static_cast<std::size_t>(n) % objects.size()];
  }
};

// The bare core with thresholds of its own, under the names of the front.
class PolicyDict final : public xbasedictionary {
 public:
  static constexpr unsigned kSlotBytes = sizeof(xdictentry<int>);
  static constexpr unsigned kValueOffset = 8;

  const xbasedictionary* AsCore() const { return this; }

  explicit PolicyDict(const xdictcontrol& control) : xbasedictionary(&control) {}
  ~PolicyDict() { BaseClearAll(kSlotBytes); }

  int getmapsize() const { return static_cast<int>(GetTableSize()); }
  bool find(const char* key, int* value) { return BaseFind(key, value, kSlotBytes, kValueOffset); }
  void set(const char* key, int value) { BaseSet(key, &value, kSlotBytes, kValueOffset); }
  bool remove(const char* key) { return BaseRemove(key, kSlotBytes, kValueOffset); }
  bool removebyindex(int i) { return BaseRemoveByIndex(Slot(i), kSlotBytes, kValueOffset); }
  bool setbyindex(int i, int value) {
    return BaseSetByIndex(Slot(i), &value, kSlotBytes, kValueOffset);
  }
  bool getbyindex(int i, int* value) {
    return BaseGetByIndex(Slot(i), value, kSlotBytes, kValueOffset);
  }
  bool getkeybyindex(int i, xstring* key) { return BaseGetKeyByIndex(Slot(i), key, kSlotBytes); }
  void clearall() { BaseClearAll(kSlotBytes); }

  // Slots are compared as bytes, those between the fields included.
  void* OnAllocate(unsigned slots) override {
    void* const block = AllocateBlock(std::size_t{slots} * kSlotBytes);
    std::memset(block, 0, std::size_t{slots} * kSlotBytes);
    return block;
  }
  void OnDestroy(void* block, unsigned) override { ReleaseBlock(block); }
  void OnCopyEntry(void* dst, const void* src) override { std::memcpy(dst, src, sizeof(int)); }
  void OnRemoveEntry(void*) override {}

 private:
  static unsigned Slot(int i) { return static_cast<unsigned>(i); }
};

struct Core {
  using Value = int;
  using Dict = PolicyDict;
  using Handle = std::unique_ptr<PolicyDict>;
  static VelDictPolicy policy;
  static Handle New() {
    return std::make_unique<PolicyDict>(
        xdictcontrol(static_cast<unsigned>(policy.shrink), static_cast<unsigned>(policy.grow)));
  }
  static VelDictPolicy Thresholds() { return policy; }
  static int Make(int n) { return n; }
};
VelDictPolicy Core::policy = {70, 90};

// ---- words ----

std::vector<std::string> ReadWords() {
  std::set<std::string> words;
  std::string line;
  for (const char* path : {"/usr/share/dict/american-english-insane", "/usr/share/dict/words"}) {
    std::ifstream file(path);
    while (words.empty() && std::getline(file, line)) words.insert(line);
    while (std::getline(file, line)) words.insert(line);
    if (!words.empty()) return {words.begin(), words.end()};
  }
  std::ifstream file("/usr/share/iso-codes/json/iso_639-3.json");
  const std::string mark = "\"name\": \"";
  while (std::getline(file, line)) {
    const std::size_t at = line.find(mark);
    if (at != std::string::npos)
      words.insert(line.substr(at + mark.size(), line.rfind('"') - at - mark.size()));
  }
  // A machine without word lists: every other number in letters.
  for (unsigned n = 1; words.size() < 6000; n += 2) {
    std::string word;
    for (unsigned rest = n * 7919; rest; rest /= 23) word += static_cast<char>('b' + rest % 23);
    words.insert(word);
  }
  return {words.begin(), words.end()};
}

// The same words in every run: keys of one byte, of none, and beyond ASCII too.
const std::vector<std::string>& Words() {
  static const std::vector<std::string> chosen = [] {
    std::vector<std::string> words = ReadWords();
    std::mt19937 random(639);
    std::vector<std::string> out = {"", "a", "\xff", "\x80\x81", "ab", "\xc3\xa9"};
    while (out.size() < 6000) out.push_back(words[random() % words.size()]);
    return out;
  }();
  return chosen;
}

// Keys that all have the same main hash, and few different steps: two letters a
// block, either of which adds the same to the hash.
std::vector<std::string> CollidingKeys(int blocks) {
  std::vector<std::string> keys = {""};
  for (int block = 0; block < blocks; ++block) {
    std::vector<std::string> longer;
    for (const std::string& key : keys) {
      longer.push_back(key + "Aa");
      longer.push_back(key + "BB");
    }
    keys = std::move(longer);
  }
  return keys;
}

// What a duel is fought with, and how many entries it keeps.
struct Regime {
  std::vector<std::string> keys;
  std::vector<Number> targets;
  bool level;  // has room from the start and fills each gap at once: few tombstones
};

const Regime& OrdinaryRegime() {
  static const Regime regime = {Words(), {12, 30, 60, 500, 1200, 2500}, false};
  return regime;
}

// Whether the dictionary has its private index; the pointer to it follows the
// table, two counts and two thresholds.
bool HasPrivateIndex(const xbasedictionary* core) {
  struct Fields {
    void* functions;
    void* table;
    unsigned numbers[4];
    void* index;
  } fields;
  static_assert(sizeof fields <= sizeof(xbasedictionary), "the index comes fourth");
  std::memcpy(&fields, static_cast<const void*>(core), sizeof fields);
  return fields.index != nullptr;
}

// ---- the comparison ----

template <class T>
class Duel {
 public:
  using Value = typename T::Value;
  using Entry = xdictentry<Value>;

  explicit Duel(unsigned seed, const Regime& keys = OrdinaryRegime())
      : random(seed), regime(keys), dict(T::New()), model(T::Thresholds()) {}

  void Run(int operations) {
    if (regime.level) Allocate(static_cast<unsigned>(regime.targets.back()));
    for (int i = 0; i < operations; ++i) {
      if (i % 5000 == 0) target = regime.targets[Below(regime.targets.size())];
      Step();
      const bool everything = i % 1000 == 0 || i + 1 == operations;
      if (!Compare(everything) || ::testing::Test::HasFailure()) {
        FAIL() << "after operation " << i << ", " << what;
      }
    }
    EXPECT_GE(largest, 1024) << "tables of many sizes were met";
  }

  // After how many operations the dictionary had its private index.
  int IndexedOperations() const { return indexed; }

  // How many live slots hold the value of `n`.
  int CountOf(int n) const {
    int count = 0;
    for (Number i = 0; i < model.Size(); ++i)
      count += model.IsLive(i) && model.At(i).value % 5 == 4 && model.At(i).value % 16 == n;
    return count;
  }

 private:
  unsigned Below(std::size_t bound) { return static_cast<unsigned>(random() % bound); }
  const std::string& AnyWord() { return regime.keys[Below(regime.keys.size())]; }
  std::string LiveOrAnyWord() {
    if (model.Count() == 0 || Below(4) == 0) return AnyWord();
    Number at = Below(static_cast<std::size_t>(model.Size()));
    while (!model.IsLive(at)) at = (at + 1) % model.Size();
    return model.At(at).key;
  }
  Number AnyIndex() { return Below(static_cast<std::size_t>(model.Size())); }

  void Step() {
    const unsigned kind = Below(1000);
    if (kind < 2) return Rare();
    if (kind < 100) return Look();
    if (kind < 150 && model.Size()) return ByIndex();
    const unsigned sure = regime.level ? 100 : 75;
    const bool inserts = Below(100) < (model.Count() < target ? sure : 100 - sure);
    if (inserts) {
      const std::string key = Below(8) == 0 ? LiveOrAnyWord() : AnyWord();
      const int value = static_cast<int>(Below(1000000));
      what = "set " + key;
      dict->set(key.c_str(), T::Make(value));
      model.Set(key, value);
    } else {
      const std::string key = LiveOrAnyWord();
      what = "remove " + key;
      EXPECT_EQ(dict->remove(key.c_str()), model.Remove(key));
    }
  }

  void Look() {
    const std::string key = LiveOrAnyWord();
    what = "find " + key;
    Value value = T::Make(77);
    Number index;
    const bool present = model.FindIndex(key, index);
    EXPECT_EQ(dict->find(key.c_str(), &value), present);
    EXPECT_TRUE(value == T::Make(present ? model.At(index).value : 77));
    const Number slot = Below(static_cast<std::size_t>(model.Size() + 2));
    EXPECT_EQ(dict->getbyindex(static_cast<int>(slot), nullptr), model.IsLive(slot));
  }

  void ByIndex() {
    const Number index = AnyIndex();
    const int value = static_cast<int>(Below(1000000));
    what = "by index " + std::to_string(index);
    if (Below(2)) {
      EXPECT_EQ(dict->setbyindex(static_cast<int>(index), T::Make(value)),
                model.SetByIndex(index, value));
    } else {
      EXPECT_EQ(dict->removebyindex(static_cast<int>(index)), model.RemoveByIndex(index));
    }
  }

  void Rare() {
    const unsigned kind = Below(20);
    if (kind == 0 && !regime.level) {
      what = "clear";
      dict->clearall();
      model.Clear();
    } else if (kind == 1 && !regime.level) {
      Allocate(Below(300));
    } else {
      // Goes on with the copy: it must not differ in anything.
      what = "clone";
      typename T::Handle clone = T::New();
      clone->set("something", T::Make(1));
      clone->BaseClone(dict->AsCore(), T::Dict::kSlotBytes, T::Dict::kValueOffset);
      dict = std::move(clone);
    }
  }

  void Allocate(unsigned n) {
    what = "allocate " + std::to_string(n);
    dict->BaseAllocate(n, T::Dict::kSlotBytes);
    model.Allocate(n);
  }

  // Slots are compared where the dictionary's bytes or the model changed, and
  // all of them after a resize and at times: what changed in neither is equal
  // as before.
  bool Compare(bool everything) {
    if (dict->getmapsize() != model.Size() || dict->GetCount() != model.Count()) {
      ADD_FAILURE() << "size " << dict->getmapsize() << ", not " << model.Size() << "; count "
                    << dict->GetCount() << ", not " << model.Count();
      return false;
    }
    largest = std::max(largest, model.Size());
    indexed += HasIndex();
    const auto* block = static_cast<const char*>(dict->GetDataPtr());
    const std::size_t bytes = static_cast<std::size_t>(model.Size()) * sizeof(Entry);
    bool equal = true;
    if (everything || model.allTouched || block != seenAt || bytes != seen.size()) {
      seen.assign(block, block + bytes);
      seenAt = block;
      for (Number i = 0; i < model.Size(); ++i) equal = equal && SameSlot(i);
      if (everything) equal = equal && SameEnumeration();
    } else {
      constexpr std::size_t kChunk = 32 * sizeof(Entry);
      for (std::size_t at = 0; at < bytes; at += kChunk) {
        if (std::memcmp(block + at, &seen[at], kChunk) == 0) continue;
        for (std::size_t slot = at; slot < at + kChunk; slot += sizeof(Entry)) {
          if (std::memcmp(block + slot, &seen[slot], sizeof(Entry)) == 0) continue;
          equal = equal && SameSlot(static_cast<Number>(slot / sizeof(Entry)));
        }
        std::memcpy(&seen[at], block + at, kChunk);
      }
      for (const Number i : model.touched) equal = equal && SameSlot(i);
    }
    model.ForgetTouched();
    return equal;
  }

  bool SameSlot(Number index) const {
    const Entry& entry = static_cast<const Entry*>(dict->GetDataPtr())[index];
    const VelDictModel::Slot& slot = model.At(index);
    const auto address = reinterpret_cast<std::uintptr_t>(entry.key);
    if (address == 0) return Expect(slot.state == VelDictModel::kEmpty, index, "empty");
    if (address == 1) return Expect(slot.state == VelDictModel::kVacated, index, "vacated");
    return Expect(slot.state == VelDictModel::kLive && slot.key == entry.key, index, entry.key) &&
           Expect(entry.value == T::Make(slot.value), index, "of another value");
  }
  static bool Expect(bool holds, Number index, const char* found) {
    if (!holds) ADD_FAILURE() << "slot " << index << " is " << found;
    return holds;
  }

  bool SameEnumeration() {
    for (int i = 0; i < dict->getmapsize(); ++i) {
      xstring key;
      Value value = T::Make(77);
      const bool live = dict->getkeybyindex(i, &key);
      if (!Expect(live == model.IsLive(i) && dict->getbyindex(i, &value) == live, i, "told wrong"))
        return false;
      if (live &&
          !Expect(model.At(i).key == key.CastToCString() && value == T::Make(model.At(i).value), i,
                  "read wrong"))
        return false;
    }
    return true;
  }

  bool HasIndex() const { return HasPrivateIndex(dict->AsCore()); }

  std::mt19937 random;
  const Regime& regime;
  typename T::Handle dict;
  VelDictModel model;
  Number target = 0;
  Number largest = 0;
  int indexed = 0;
  std::string what;
  std::vector<char> seen;
  const char* seenAt = nullptr;
};

template <class T>
class VelbdictModel : public ::testing::Test {};
using Kinds = ::testing::Types<Bools, Ints, Reals, Strings, Anys>;
struct KindNames {
  template <class T>
  static std::string GetName(int i) {
    static const char* const names[] = {"bool", "int", "real", "string", "any"};
    return names[i];
  }
};
TYPED_TEST_SUITE(VelbdictModel, Kinds, KindNames);

TYPED_TEST(VelbdictModel, SlotsAreEqualAfterEachOfAHundredThousandOperations) {
  Duel<TypeParam>(2024).Run(100000);
}

TEST(VelbdictModelAny, ObjectsAreHeldOncePerEntry) {
  {
    Duel<Anys> duel(7);
    duel.Run(30000);
    for (int n = 0; n < 16; ++n)
      EXPECT_EQ(xrcgetcount(Anys::Object(n).operator->()), 1 + duel.CountOf(n)) << n;
  }
  for (int n = 0; n < 16; ++n) EXPECT_EQ(xrcgetcount(Anys::Object(n).operator->()), 1);
}

TEST(VelbdictModelCore, SlotsAreEqualWithOtherThresholds) {
  // Up to 95 percent no table gets full.
  for (const VelDictPolicy policy :
       {VelDictPolicy{0, 90}, VelDictPolicy{70, 95}, VelDictPolicy{100, 50}, VelDictPolicy{20, 60},
        VelDictPolicy{90, 70}, VelDictPolicy{1, 1}, VelDictPolicy{500, 95}}) {
    Core::policy = policy;
    Duel<Core>(static_cast<unsigned>(policy.shrink + policy.grow)).Run(20000);
    if (HasFailure()) FAIL() << "thresholds " << policy.shrink << ", " << policy.grow;
  }
}

// ---- tables that have become slow ----

// Runs a duel of that many operations and reports how many had the index.
template <class T>
void DuelWithIndex(const char* what, const Regime& regime, int atLeast) {
  const int operations = velShortOrLong(60000, 1000000);
  Duel<T> duel(47, regime);
  duel.Run(operations);
  EXPECT_GE(duel.IndexedOperations(), operations / 100 * atLeast) << "percent";
  velFigure("dictionary", what, operations, "operations, every slot equal");
}

TEST(VelbdictModelCrowded, SlotsAreEqualWithKeysThatCollide) {
  DuelWithIndex<Ints>("keys that collide", {CollidingKeys(12), {700, 1200, 1800}, false}, 80);
}

TEST(VelbdictModelCrowded, SlotsAreEqualWhenTombstonesHaveTakenTheTable) {
  DuelWithIndex<Ints>("steady load", {Words(), {600, 900, 1700}, false}, 20);
}

TEST(VelbdictModelCrowded, SlotsAreEqualWithCollidingAmongOrdinaryKeys) {
  Regime regime = {CollidingKeys(10), {1100, 1500, 1700}, false};
  regime.keys.insert(regime.keys.end(), Words().begin(), Words().begin() + 2000);
  DuelWithIndex<Strings>("floods among words", regime, 40);
}

TEST(VelbdictModelCrowded, SlotsAreEqualWithFewTombstonesAmongCollidingKeys) {
  DuelWithIndex<Ints>("few gaps", {CollidingKeys(12), {700, 1500, 3600}, true}, 80);
}

TEST(VelbdictModelCrowded, SlotsAreEqualInAlmostFullTables) {
  for (const Number grow : {95, 98}) {
    Core::policy = {0, grow};
    const Number most = 1024 * grow / 100;
    DuelWithIndex<Core>("almost full", {Words(), {most - 10, most}, true}, 20);
    DuelWithIndex<Core>("almost full of colliding keys",
                        {CollidingKeys(12), {most - 10, most}, true}, 20);
  }
}

TEST(VelbdictModelCrowded, TheIndexIsMadeInTimeAndGoesWithTheTable) {
  const auto keys = CollidingKeys(10);
  const xrchandle<Ints::Dict> dict = Ints::New();
  for (int i = 0; i < 60; ++i) dict->set(keys[static_cast<std::size_t>(i)].c_str(), i);
  EXPECT_FALSE(HasPrivateIndex(dict->AsCore())) << "64 probes an operation are free";
  for (const std::string& key : keys) dict->set(key.c_str(), 1);
  EXPECT_TRUE(HasPrivateIndex(dict->AsCore()));
  dict->clearall();
  EXPECT_FALSE(HasPrivateIndex(dict->AsCore()));
  for (const std::string& word : Words()) dict->set(word.c_str(), 1);
  EXPECT_FALSE(HasPrivateIndex(dict->AsCore())) << "ordinary keys pay nothing";
  for (const std::string& key : keys) dict->set(key.c_str(), 1);
  EXPECT_TRUE(HasPrivateIndex(dict->AsCore()));
  // A removal that makes the table small ends the flood, too.
  for (const std::string& key : keys) dict->remove(key.c_str());
  for (const std::string& word : Words()) dict->remove(word.c_str());
  EXPECT_EQ(dict->GetCount(), 0U);
  EXPECT_EQ(dict->getmapsize(), 32);
  EXPECT_FALSE(HasPrivateIndex(dict->AsCore()));
}

// ---- the model itself ----

TEST(VelbdictModelItself, HashesAsAnotherProgramDoes) {
  EXPECT_EQ(velModelHash(""), 0xFF83EF00LL);
  EXPECT_EQ(velModelHash("hello"), 0x6F28961ALL);
  EXPECT_EQ(velModelHash("\x80\x81\x82\x83\xfe\xff"), 0xF0DE040CLL);
  EXPECT_EQ(velModelStep("hello"), 0xCBLL);
  EXPECT_EQ(velModelStep("\x80\x81\x82\x83\xfe\xff"), 0xFFFFFF03LL);
}

TEST(VelbdictModelItself, HasRealWords) {
  EXPECT_EQ(Words().size(), 6000U);
  EXPECT_GT(std::set<std::string>(Words().begin(), Words().end()).size(), 4000U);
}

}  // namespace
