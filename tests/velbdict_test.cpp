#include "velbdict.h"

#include <gtest/gtest.h>
#include <malloc.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>
#include <optional>
#include <string>
#include <vector>

#include "koralloc.h"
#include "veltest.h"
#include "veltest_memory.h"

namespace {

int indexBlocks = 0;  // of korAlloc since a test set it to 0; only the index uses it then

}  // namespace

// In place of those of the library.
void* korAlloc(std::size_t size) {
  void* const block = std::malloc(size);
  indexBlocks += block != nullptr;
  return block;
}
void korFree(void* block) {
  indexBlocks -= block != nullptr;
  std::free(block);
}

namespace {

using Entry = xdictentry<int>;
constexpr unsigned kSlot = sizeof(Entry);
constexpr unsigned kValue = 8;
constexpr unsigned kNoIndex = 0xFFFFFFFF;

const char* At(std::uintptr_t address) { return reinterpret_cast<const char*>(address); }

// What a dictionary of the core consists of, behind its table of virtuals.
struct Fields {
  void* table;
  unsigned size;
  unsigned count;
  unsigned shrink;
  unsigned grow;
};
static_assert(sizeof(xbasedictionary) >= sizeof(void*) + sizeof(Fields), "private ones follow");

Fields ReadFields(const xbasedictionary& core) {
  Fields fields;
  std::memcpy(&fields, reinterpret_cast<const char*>(&core) + sizeof(void*), sizeof fields);
  return fields;
}

void WriteFields(xbasedictionary& core, const Fields& fields) {
  std::memcpy(reinterpret_cast<char*>(&core) + sizeof(void*), &fields, sizeof fields);
}

// A dictionary of int over the bare core that writes down the calls of its
// hooks. Fresh blocks are full of rubbish, keys included: to null those is the
// core's work, too.
class LogDict : public xbasedictionary {
 public:
  LogDict() : xbasedictionary(nullptr) {}
  LogDict(unsigned shrink, unsigned grow) : LogDict(xdictcontrol(shrink, grow)) {}
  explicit LogDict(const xdictcontrol& control) : xbasedictionary(&control) {}
  ~LogDict() {
    BaseClearAll(kSlot);
    EXPECT_EQ(blocks, 0);
  }

  void* OnAllocate(unsigned slots) override {
    Note("allocate " + std::to_string(slots));
    if (refuseAllocate) throw refuseAllocate;
    if (failAllocate) throw std::bad_alloc();
    const std::size_t bytes = std::size_t{slots} * kSlot;
    void* block = AllocateBlock(bytes + kGuard);
    ++blocks;
    std::memset(block, 0xAB, bytes + kGuard);
    return block;
  }
  void OnDestroy(void* block, unsigned slots) override {
    Note(block ? "destroy " + std::to_string(slots) : "destroy none");
    atDestroy = ReadFields(*this);
    if (!block) {
      EXPECT_EQ(slots, 0U);
      return;
    }
    --blocks;
    const auto* const guard = static_cast<const unsigned char*>(block) + std::size_t{slots} * kSlot;
    for (std::size_t i = 0; i < kGuard; ++i) EXPECT_EQ(guard[i], 0xAB) << "written behind the table";
    ReleaseBlock(block);
  }
  void OnCopyEntry(void* dst, const void* src) override {
    Note("copy");
    if (failCopy && --failCopy == 0) throw std::bad_alloc();
    lastTarget = dst;
    std::memcpy(dst, src, sizeof(int));
  }
  void OnRemoveEntry(void* value) override {
    Note("remove");
    lastTarget = value;
    const int reset = -1;
    std::memcpy(value, &reset, sizeof reset);
  }

  void Set(const std::string& key, int value) { BaseSet(key.c_str(), &value, kSlot, kValue); }
  void Set(const std::vector<std::string>& keys) {
    for (const std::string& key : keys) Set(key, ++lastValue);
  }
  bool Remove(const std::string& key) { return BaseRemove(key.c_str(), kSlot, kValue); }
  std::optional<int> Find(const std::string& key) {
    int value = 0;
    if (!BaseFind(key.c_str(), &value, kSlot, kValue)) return std::nullopt;
    return value;
  }
  bool Has(const std::string& key) { return BaseFind(key.c_str(), nullptr, kSlot, kValue); }
  // The slot of a key that is present, else the slot to fill.
  unsigned Index(const std::string& key) {
    unsigned index = 0;
    FindIndex(key.c_str(), index, kSlot);
    return index;
  }

  const Entry& At(unsigned index) const { return static_cast<const Entry*>(GetDataPtr())[index]; }
  bool IsTombstone(unsigned index) const {
    return reinterpret_cast<std::uintptr_t>(At(index).key) == 1;
  }
  // All slots in order: "5:key=1 7:- 9:other=2", a dash for a tombstone.
  std::string Slots() const {
    std::string out;
    for (unsigned i = 0; i < GetTableSize(); ++i) {
      if (!At(i).key) continue;
      out += std::to_string(i) + ':';
      out += IsTombstone(i) ? "-" : At(i).key + ('=' + std::to_string(At(i).value));
      out += ' ';
    }
    return out;
  }
  // The calls since the last time, equal ones in a row as "copy x3".
  std::string Log() {
    std::string out;
    for (std::size_t i = 0, next; i < calls.size(); i = next) {
      for (next = i; next < calls.size() && calls[next] == calls[i]; ++next) {}
      if (!out.empty()) out += ", ";
      out += calls[i];
      if (next - i > 1) out += " x" + std::to_string(next - i);
    }
    calls.clear();
    return out;
  }

  using xbasedictionary::AllocateBlock;
  using xbasedictionary::ReleaseBlock;

  static constexpr std::size_t kGuard = 16;  // bytes behind a block that stay as they are
  bool quiet = false;
  int refuseAllocate = 0;  // what the hook throws, if it throws an int
  bool failAllocate = false;
  int failCopy = 0;  // the copy that fails, from 1
  int blocks = 0;
  void* lastTarget = nullptr;
  Fields atDestroy = {};

 private:
  void Note(const std::string& call) {
    if (!quiet) calls.push_back(call);
  }

  std::vector<std::string> calls;
  int lastValue = 0;
};

// The nth slot, from 0, on the path of a key through a table.
unsigned OnPath(const std::string& key, unsigned n, unsigned size) {
  unsigned length;
  const std::uint32_t start = xbdictHashMain(key.c_str(), &length);
  return (start + n * xbdictHashCollision(key.c_str(), length)) % size;
}

// Keys that all take the path start, start + step, start + 2 * step ... through
// a table of 32 slots.
std::vector<std::string> OneWay(std::size_t count, unsigned start = 5, unsigned step = 7) {
  std::vector<std::string> keys;
  for (int i = 0; keys.size() < count; ++i) {
    const std::string key = "k" + std::to_string(i);
    if (OnPath(key, 0, 32) == start && OnPath(key, 1, 32) == (start + step) % 32)
      keys.push_back(key);
  }
  return keys;
}

std::vector<std::string> Names(int count, const char* stem = "name") {
  std::vector<std::string> names;
  for (int i = 0; i < count; ++i) names.push_back(stem + std::to_string(i));
  return names;
}

// Keys of one hash and one step: two letters can be exchanged in nine places.
std::vector<std::string> SamePath(std::size_t count) {
  std::vector<std::string> keys;
  for (std::size_t i = 0; i < count; ++i) {
    std::string key(60, '-');
    for (int bit = 0; bit < 9; ++bit) key += i >> bit & 1 ? "Aa" : "BB";
    keys.push_back(key + "BB");
  }
  return keys;
}

// ---- hashing ----

// Computed by an independent program.
struct Golden {
  std::string key;
  std::uint32_t hash;
  std::uint32_t step;
};
const Golden kGolden[] = {
    {"", 0xFF83EF00U, 0x00000001U},
    {"a", 0xFFF7296AU, 0x000000C3U},
    {"z", 0xFFF3D8DFU, 0x000000F5U},
    {"\x7f", 0xFFF32697U, 0x000000FFU},
    {"\x80", 0x0010F301U, 0xFFFFFF01U},
    {"\xff", 0x000021D6U, 0xFFFFFFFFU},
    {"ab", 0xFE18184BU, 0x000000C3U},
    {"\xff\x80", 0x001516E0U, 0xFFFFFFFFU},
    {"\x80"
     "a",
     0x0201985EU, 0xFFFFFF01U},
    {"abc", 0xCE74D383U, 0x000000C7U},
    {"a\x80"
     "c",
     0xD1BAC256U, 0x000000C7U},
    {"key", 0xC90A060FU, 0x000000F3U},
    {"key1", 0x5909524FU, 0x0000005BU},
    {"hello", 0x6F28961AU, 0x000000CBU},
    {"\xc3\xa9t\xc3\xa9", 0xF64377D5U, 0xFFFFFF53U},
    {"Gr\xc3\xbc\xc3\x9f"
     "e",
     0x5C16A135U, 0x0000005DU},
    {"\xe4\xb8\xad\xe6\x96\x87", 0xE5B0C19CU, 0xFFFFFF71U},
    {"\x80\x81\x82\x83\xfe\xff", 0xF0DE040CU, 0xFFFFFF03U},
    {"the quick brown fox jumps over the lazy dog", 0xB5112C85U, 0x000000D5U},
    {std::string(300, 'x'), 0x44973630U, 0x000000F1U},
    {"0", 0xFFFDAC76U, 0x00000061U},
    {"10", 0xFECC080CU, 0x00000063U},
    {"1000000", 0xB92ABD47U, 0x00000061U},
};

TEST(XbDictHash, MainHashAndLengthAreThoseOfTheTable) {
  for (const Golden& golden : kGolden) {
    unsigned length = 12345;
    EXPECT_EQ(xbdictHashMain(golden.key.c_str(), &length), golden.hash) << golden.key;
    EXPECT_EQ(length, golden.key.size()) << golden.key;
  }
}

TEST(XbDictHash, CollisionStepIsThatOfTheTableAndOdd) {
  for (const Golden& golden : kGolden) {
    const auto length = static_cast<unsigned>(golden.key.size());
    EXPECT_EQ(xbdictHashCollision(golden.key.c_str(), length), golden.step) << golden.key;
    EXPECT_EQ(golden.step % 2, 1U) << golden.key;
  }
}

TEST(XbDictHash, AnOddStepReachesEverySlot) {
  for (const Golden& golden : kGolden) {
    std::vector<bool> reached(64);
    for (unsigned n = 0; n < 64; ++n) reached[OnPath(golden.key, n, 64)] = true;
    EXPECT_EQ(std::count(reached.begin(), reached.end(), true), 64) << golden.key;
  }
}

// ---- layout ----

TEST(XDictControl, HoldsShrinkThenGrowThreshold) {
  const xdictcontrol control(11, 22);
  unsigned fields[2];
  static_assert(sizeof control == sizeof fields, "two fields");
  std::memcpy(fields, &control, sizeof fields);
  EXPECT_EQ(fields[0], 11U);
  EXPECT_EQ(fields[1], 22U);
}

template <class T>
void ExpectEntry(std::size_t size) {
  EXPECT_EQ(sizeof(xdictentry<T>), size);
  const xdictentry<T> entry{nullptr, T()};
  const auto* base = reinterpret_cast<const char*>(&entry);
  EXPECT_EQ(reinterpret_cast<const char*>(&entry.key) - base, 0);
  EXPECT_EQ(reinterpret_cast<const char*>(&entry.value) - base, 8);
}

TEST(XDictEntry, IsKeyThenValueAtEightBytes) {
  ExpectEntry<unsigned char>(16);
  ExpectEntry<int>(16);
  ExpectEntry<double>(16);
  ExpectEntry<xstring>(32);
  ExpectEntry<xany>(40);
}

TEST(XDictEntry, NullAndOneAreVacant) {
  EXPECT_TRUE(xdictentryIsVacant(nullptr));
  EXPECT_TRUE(xdictentryIsVacant(At(1)));
  EXPECT_FALSE(xdictentryIsVacant(At(2)));
  EXPECT_FALSE(xdictentryIsVacant(At(22)));
  EXPECT_FALSE(xdictentryIsVacant(""));
}

TEST(XBaseDictionary, StartsEmptyWithSeventyAndNinetyPercent) {
  const LogDict dict;
  const Fields fields = ReadFields(dict);
  EXPECT_EQ(fields.table, nullptr);
  EXPECT_EQ(fields.size, 0U);
  EXPECT_EQ(fields.count, 0U);
  EXPECT_EQ(fields.shrink, 70U);
  EXPECT_EQ(fields.grow, 90U);
  EXPECT_EQ(dict.GetDataPtr(), nullptr);
  EXPECT_EQ(dict.GetTableSize(), 0U);
}

TEST(XBaseDictionary, CopiesItsControl) {
  xdictcontrol control(5, 60);
  const LogDict dict(control);
  control = xdictcontrol(1, 2);
  EXPECT_EQ(ReadFields(dict).shrink, 5U);
  EXPECT_EQ(ReadFields(dict).grow, 60U);
}

TEST(XBaseDictionary, FieldsAreTableSizeCount) {
  LogDict dict;
  dict.Set({"a", "b", "c"});
  const Fields fields = ReadFields(dict);
  EXPECT_NE(fields.table, nullptr);
  EXPECT_EQ(fields.table, dict.GetDataPtr());
  EXPECT_EQ(fields.size, 32U);
  EXPECT_EQ(dict.GetTableSize(), 32U);
  EXPECT_EQ(fields.count, 3U);
  EXPECT_EQ(dict.GetCount(), 3U);
}

TEST(XBaseDictionary, HooksComeInOrderInTheTableOfVirtuals) {
  LogDict dict;
  xbasedictionary* core = &dict;
  void** slots;
  std::memcpy(&slots, static_cast<void*>(core), sizeof slots);
  void* block = reinterpret_cast<void* (*)(void*, unsigned)>(slots[0])(core, 32);
  EXPECT_EQ(dict.Log(), "allocate 32");
  reinterpret_cast<void (*)(void*, void*, unsigned)>(slots[1])(core, block, 32);
  EXPECT_EQ(dict.Log(), "destroy 32");
  int target = 0;
  const int source = 8;
  reinterpret_cast<void (*)(void*, void*, const void*)>(slots[2])(core, &target, &source);
  EXPECT_EQ(dict.Log(), "copy");
  EXPECT_EQ(target, 8);
  reinterpret_cast<void (*)(void*, void*)>(slots[3])(core, &target);
  EXPECT_EQ(dict.Log(), "remove");
  EXPECT_EQ(target, -1);
}

TEST(XBaseDictionary, BlocksAreRawArrays) {
  auto* block = static_cast<char*>(LogDict::AllocateBlock(48));
  std::memset(block, 1, 48);
  delete[] block;
  void* other = LogDict::AllocateBlock(16);
  LogDict::ReleaseBlock(other);
  LogDict::ReleaseBlock(nullptr);
}

// ---- FindIndex ----

TEST(XBaseDictionaryFindIndex, IsFalseWithoutATable) {
  const LogDict dict;
  unsigned index = 7;
  EXPECT_FALSE(dict.FindIndex("a", index, kSlot));
  EXPECT_EQ(index, kNoIndex);
}

TEST(XBaseDictionaryFindIndex, NeverFindsNullOrOne) {
  LogDict dict;
  for (int withTable = 0; withTable < 2; ++withTable) {
    if (withTable) dict.Set("a", 1);
    for (const std::uintptr_t address : {0U, 1U}) {
      unsigned index = 7;
      EXPECT_FALSE(dict.FindIndex(At(address), index, kSlot));
      EXPECT_EQ(index, kNoIndex);
      EXPECT_FALSE(dict.BaseFind(At(address), nullptr, kSlot, kValue));
      EXPECT_FALSE(dict.BaseRemove(At(address), kSlot, kValue));
    }
  }
  EXPECT_EQ(dict.GetCount(), 1U);
}

TEST(XBaseDictionaryFindIndex, GivesTheStartSlotInAnEmptyTable) {
  LogDict dict;
  dict.BaseAllocate(1, kSlot);
  for (const Golden& golden : kGolden) {
    unsigned index = kNoIndex;
    EXPECT_FALSE(dict.FindIndex(golden.key.c_str(), index, kSlot));
    EXPECT_EQ(index, golden.hash % 32) << golden.key;
  }
}

TEST(XBaseDictionaryFindIndex, FollowsTheStepOnCollisions) {
  LogDict dict;
  const auto keys = OneWay(6);
  dict.Set({keys[0], keys[1], keys[2], keys[3], keys[4]});
  const unsigned slots[] = {5, 12, 19, 26, 1};
  for (unsigned i = 0; i < 5; ++i) EXPECT_STREQ(dict.At(slots[i]).key, keys[i].c_str());
  EXPECT_EQ(dict.Index(keys[4]), 1U);
  EXPECT_EQ(dict.Index(keys[5]), 8U);
}

TEST(XBaseDictionaryFindIndex, TheEmptyKeyStepsByOne) {
  LogDict dict;
  // 0xFF83EF00: the empty key starts at slot 0.
  std::vector<std::string> first;
  for (int i = 0; first.empty(); ++i)
    if (OnPath(std::to_string(i), 0, 32) == 0) first.push_back(std::to_string(i));
  dict.Set(first);
  dict.Set("", 5);
  EXPECT_EQ(dict.Index(""), 1U);
  EXPECT_EQ(dict.Find(""), 5);
  EXPECT_TRUE(dict.Remove(""));
  EXPECT_FALSE(dict.Has(""));
}

TEST(XBaseDictionaryFindIndex, FindsTheVerySamePointer) {
  LogDict dict;
  dict.Set({"a", "b"});
  const char* own = dict.At(dict.Index("b")).key;
  unsigned index = kNoIndex;
  EXPECT_TRUE(dict.FindIndex(own, index, kSlot));
  EXPECT_EQ(dict.At(index).key, own);
}

TEST(XBaseDictionaryFindIndex, TheLastTombstonePassedIsReused) {
  LogDict dict;
  const auto keys = OneWay(6);
  dict.Set({keys[0], keys[1], keys[2], keys[3]});
  for (int i : {0, 1, 2}) EXPECT_TRUE(dict.Remove(keys[static_cast<std::size_t>(i)]));
  for (unsigned slot : {5U, 12U, 19U}) EXPECT_TRUE(dict.IsTombstone(slot));

  EXPECT_EQ(dict.Index(keys[3]), 26U) << "a live key wins over the tombstones before it";
  EXPECT_EQ(dict.Index(keys[4]), 19U) << "not the empty slot 1, not the first tombstone";
  dict.Set(keys[4], 44);
  EXPECT_STREQ(dict.At(19).key, keys[4].c_str());
  dict.Set(keys[5], 55);
  EXPECT_STREQ(dict.At(12).key, keys[5].c_str());
  dict.Set(keys[0], 66);
  EXPECT_STREQ(dict.At(5).key, keys[0].c_str());
  EXPECT_EQ(dict.GetCount(), 4U);
}

TEST(XBaseDictionaryFindIndex, ATombstoneAfterALiveKeyIsTheLast) {
  LogDict dict;
  const auto keys = OneWay(5);
  dict.Set({keys[0], keys[1], keys[2], keys[3]});
  dict.Remove(keys[0]);
  dict.Remove(keys[2]);
  EXPECT_EQ(dict.Index(keys[4]), 19U);
  EXPECT_EQ(dict.Slots(), "5:- 12:" + keys[1] + "=2 19:- 26:" + keys[3] + "=4 ");
}

// Brings every slot to a key or a tombstone by inserting and removing.
void FillWithTombstones(LogDict& dict) {
  const auto hasFree = [&] {
    for (unsigned i = 0; i < dict.GetTableSize(); ++i)
      if (!dict.At(i).key) return true;
    return false;
  };
  for (int i = 0; !dict.GetDataPtr() || hasFree(); ++i) {
    const std::string key = "t" + std::to_string(i);
    dict.Set(key, i);
    dict.Remove(key);
  }
}

TEST(XBaseDictionaryFindIndex, EndsAfterAsManyProbesAsSlots) {
  LogDict dict;
  dict.Set({"stay1", "stay2"});
  FillWithTombstones(dict);
  ASSERT_EQ(dict.GetTableSize(), 32U);
  for (const std::string& key : Names(50)) {
    unsigned last = kNoIndex;
    for (unsigned n = 0; n < 32; ++n)
      if (dict.IsTombstone(OnPath(key, n, 32))) last = OnPath(key, n, 32);
    EXPECT_EQ(dict.Index(key), last) << key;
    EXPECT_FALSE(dict.Has(key)) << key;
  }
  EXPECT_EQ(dict.Find("stay2"), 2);
}

// ---- a full table ----

TEST(XBaseDictionaryFullTable, HoldsThirtyTwoEntriesWithThresholdAHundred) {
  LogDict dict(0, 100);
  dict.Set(Names(32));
  EXPECT_EQ(dict.GetTableSize(), 32U);
  EXPECT_EQ(dict.GetCount(), 32U);
  for (const std::string& name : Names(32)) EXPECT_TRUE(dict.Has(name));
  dict.Set("name7", 700);
  EXPECT_EQ(dict.Find("name7"), 700);
  EXPECT_TRUE(dict.Remove("name31"));
  EXPECT_FALSE(dict.Has("name31")) << "one vacated slot is enough";
}

TEST(XBaseDictionaryFullTable, ThresholdNinetyNineGrowsInTime) {
  LogDict dict(0, 99);
  dict.Set(Names(32));
  EXPECT_EQ(dict.GetTableSize(), 32U);
  dict.Set("one more", 1);
  EXPECT_EQ(dict.GetTableSize(), 64U);
  EXPECT_EQ(dict.GetCount(), 33U);
}

TEST(XBaseDictionaryFullTableDeathTest, EndsTheProcessForAnAbsentKey) {
  LogDict dict(0, 100);
  dict.Set(Names(32));
  const auto aborts = [](auto&& statement) {
    EXPECT_VEL_ABORT(statement(), "Hash table overflow.", "velstd/services/velbdict", 228);
  };
  aborts([&] { dict.Set("one more", 1); });
  aborts([&] { dict.Has("one more"); });
  aborts([&] { dict.Remove("one more"); });
  aborts([&] { dict.Index("one more"); });
}

TEST(XBaseDictionaryFullTableDeathTest, IsReachedFromThresholdNinetySixOn) {
  LogDict below(0, 95);
  below.Set(Names(32));
  EXPECT_EQ(below.GetTableSize(), 64U);
  LogDict dict(0, 96);
  dict.Set(Names(32));
  ASSERT_EQ(dict.GetTableSize(), 32U);
  EXPECT_VEL_ABORT(dict.Has("one more"), "Hash table overflow.", "velstd/services/velbdict", 228);
  dict.Set("one more", 1);
  EXPECT_EQ(dict.GetTableSize(), 64U) << "an insertion grows in time";
}

TEST(XBaseDictionaryFullTable, NullAndOneAreStillJustAbsent) {
  LogDict dict(0, 100);
  dict.Set(Names(32));
  EXPECT_FALSE(dict.BaseRemove(nullptr, kSlot, kValue));
  EXPECT_FALSE(dict.BaseRemove(At(1), kSlot, kValue));
}

// ---- BaseSet ----

TEST(XBaseDictionarySet, TheFirstOneMakesThirtyTwoSlots) {
  LogDict dict;
  dict.Set("a", 1);
  EXPECT_EQ(dict.Log(), "allocate 32, destroy none, copy");
  EXPECT_EQ(dict.GetTableSize(), 32U);
  // 0xFFF7296A
  EXPECT_EQ(dict.Slots(), "10:a=1 ");
  EXPECT_EQ(dict.lastTarget, &dict.At(10).value);
}

TEST(XBaseDictionarySet, TheThirtyFirstEntryDoublesTheTable) {
  LogDict dict;
  const auto names = Names(31);
  for (int i = 0; i < 30; ++i) dict.Set(names[static_cast<std::size_t>(i)], i);
  EXPECT_EQ(dict.GetTableSize(), 32U);
  EXPECT_EQ(dict.Log(), "allocate 32, destroy none, copy x30");
  dict.Set(names[30], 30);
  EXPECT_EQ(dict.GetTableSize(), 64U);
  EXPECT_EQ(dict.Log(), "allocate 64, copy x30, destroy 32, copy");
  for (int i = 0; i < 31; ++i) EXPECT_EQ(dict.Find(names[static_cast<std::size_t>(i)]), i);
}

TEST(XBaseDictionarySet, DoublesAtTheSameLoadEveryTime) {
  LogDict dict;
  std::string sizes;
  unsigned last = 0;
  for (int i = 0; i < 1000; ++i) {
    dict.Set("n" + std::to_string(i), i);
    if (dict.GetTableSize() != last) {
      last = dict.GetTableSize();
      sizes += std::to_string(i + 1) + ':' + std::to_string(last) + ' ';
    }
  }
  EXPECT_EQ(sizes, "1:32 31:64 60:128 118:256 234:512 467:1024 933:2048 ");
}

TEST(XBaseDictionarySet, OverwritingKeepsSlotKeyAndCount) {
  LogDict dict;
  dict.Set(Names(29));
  const unsigned slot = dict.Index("name5");
  const char* key = dict.At(slot).key;
  dict.Log();
  dict.Set("name5", 500);
  EXPECT_EQ(dict.Log(), "copy");
  EXPECT_EQ(dict.Index("name5"), slot);
  EXPECT_EQ(dict.At(slot).key, key);
  EXPECT_EQ(dict.At(slot).value, 500);
  EXPECT_EQ(dict.GetCount(), 29U);
  EXPECT_EQ(dict.GetTableSize(), 32U);
}

TEST(XBaseDictionarySet, OverwritingResizesBeforeItLooks) {
  LogDict dict;
  dict.Set(Names(30));
  dict.Log();
  dict.Set("name5", 500);
  EXPECT_EQ(dict.Log(), "allocate 64, copy x30, destroy 32, copy");
  EXPECT_EQ(dict.GetTableSize(), 64U);
  EXPECT_EQ(dict.GetCount(), 30U);
  EXPECT_EQ(dict.Find("name5"), 500);
}

TEST(XBaseDictionarySet, KeepsACopyOfTheKey) {
  LogDict dict;
  char key[] = "first";
  const int value = 1;
  dict.BaseSet(key, &value, kSlot, kValue);
  std::strcpy(key, "other");
  EXPECT_TRUE(dict.Has("first"));
  EXPECT_FALSE(dict.Has("other"));
}

TEST(XBaseDictionarySet, TakesItsOwnKeyEvenWhenItResizes) {
  LogDict dict;
  dict.Set(Names(30));
  const int value = 77;
  dict.BaseSet(dict.At(dict.Index("name3")).key, &value, kSlot, kValue);
  EXPECT_EQ(dict.GetTableSize(), 64U);
  EXPECT_EQ(dict.Find("name3"), 77);
  EXPECT_EQ(dict.GetCount(), 30U);
}

TEST(XBaseDictionarySet, NullKeysThrowBeforeAnythingHappens) {
  LogDict dict;
  const int value = 1;
  EXPECT_VEL_THROW(dict.BaseSet(nullptr, &value, kSlot, kValue), velXNull);
  EXPECT_VEL_THROW(dict.BaseSet(At(1), &value, kSlot, kValue), velXNull);
  EXPECT_EQ(dict.Log(), "");
  EXPECT_EQ(dict.GetTableSize(), 0U);
}

TEST(XBaseDictionarySet, ThresholdZeroDoublesWhileAHundredthIsUsed) {
  LogDict dict(0, 0);
  const unsigned sizes[] = {32, 64, 128, 256, 512, 512, 1024, 1024, 1024, 1024, 1024, 2048};
  for (int i = 0; i < 12; ++i) {
    dict.Set("n" + std::to_string(i), i);
    EXPECT_EQ(dict.GetTableSize(), sizes[i]) << i;
  }
}

TEST(XBaseDictionarySet, AResizeDropsTombstonesAndKeepsTheRest) {
  LogDict dict;
  const auto keys = OneWay(4);
  dict.Set(keys);
  dict.Remove(keys[0]);
  dict.Remove(keys[1]);
  dict.Set(Names(29));
  ASSERT_EQ(dict.GetTableSize(), 64U);
  EXPECT_EQ(dict.Slots().find('-'), std::string::npos);
  EXPECT_EQ(dict.GetCount(), 31U);
  EXPECT_EQ(dict.Find(keys[2]), 3);
  EXPECT_EQ(dict.Find(keys[3]), 4);
}

TEST(XBaseDictionarySet, AResizeMovesEntriesInSlotOrder) {
  LogDict dict;
  dict.Set(Names(30));
  // In slot order, each to the first empty slot of its path.
  std::vector<std::string> expected(64);
  for (unsigned i = 0; i < 32; ++i) {
    if (xdictentryIsVacant(dict.At(i).key)) continue;
    const std::string key = dict.At(i).key;
    unsigned n = 0;
    while (!expected[OnPath(key, n, 64)].empty()) ++n;
    expected[OnPath(key, n, 64)] = key;
  }
  dict.Set("name0", 0);
  ASSERT_EQ(dict.GetTableSize(), 64U);
  for (unsigned i = 0; i < 64; ++i)
    EXPECT_EQ(expected[i], dict.At(i).key ? dict.At(i).key : "") << i;
}

// ---- removal ----

TEST(XBaseDictionaryRemove, LeavesATombstoneAndResetsTheValue) {
  LogDict dict;
  dict.Set({"a", "b"});
  const unsigned slot = dict.Index("a");
  dict.Log();
  EXPECT_TRUE(dict.Remove("a"));
  EXPECT_EQ(dict.Log(), "remove");
  EXPECT_EQ(dict.lastTarget, &dict.At(slot).value);
  EXPECT_TRUE(dict.IsTombstone(slot));
  EXPECT_EQ(dict.At(slot).value, -1);
  EXPECT_EQ(dict.GetCount(), 1U);
  EXPECT_FALSE(dict.Has("a"));
}

TEST(XBaseDictionaryRemove, AbsentKeysGiveFalse) {
  LogDict dict;
  EXPECT_FALSE(dict.Remove("a"));
  dict.Set("a", 1);
  dict.Log();
  EXPECT_FALSE(dict.Remove("b"));
  EXPECT_TRUE(dict.Remove("a"));
  EXPECT_FALSE(dict.Remove("a"));
  EXPECT_EQ(dict.Log(), "remove");
  EXPECT_EQ(dict.GetCount(), 0U);
}

TEST(XBaseDictionaryRemove, ByIndexAnswersForLiveSlotsOnly) {
  LogDict dict;
  EXPECT_FALSE(dict.BaseRemoveByIndex(0, kSlot, kValue));
  dict.Set("a", 1);
  dict.Log();
  for (unsigned i = 0; i < 32; ++i)
    EXPECT_EQ(dict.BaseRemoveByIndex(i, kSlot, kValue), i == 10) << i;
  EXPECT_FALSE(dict.BaseRemoveByIndex(10, kSlot, kValue)) << "a tombstone";
  EXPECT_FALSE(dict.BaseRemoveByIndex(32, kSlot, kValue));
  EXPECT_FALSE(dict.BaseRemoveByIndex(kNoIndex, kSlot, kValue));
  EXPECT_EQ(dict.Log(), "remove");
  EXPECT_EQ(dict.Slots(), "10:- ");
}

TEST(XBaseDictionaryRemove, TakesItsOwnKey) {
  LogDict dict;
  dict.Set("a", 1);
  EXPECT_TRUE(dict.BaseRemove(dict.At(10).key, kSlot, kValue));
  EXPECT_EQ(dict.GetCount(), 0U);
}

TEST(XBaseDictionaryRemove, SixtyFourSlotsHalveAtTwentyEightEntries) {
  LogDict dict;
  dict.Set(Names(31));
  dict.Log();
  for (int left = 30; left >= 29; --left) {
    dict.Remove("name" + std::to_string(left));
    EXPECT_EQ(dict.Log(), "remove") << left;
  }
  EXPECT_EQ(dict.GetTableSize(), 64U);
  dict.Remove("name28");
  EXPECT_EQ(dict.Log(), "remove, allocate 32, copy x28, destroy 64");
  EXPECT_EQ(dict.GetTableSize(), 32U);
  EXPECT_EQ(dict.GetCount(), 28U);
  EXPECT_EQ(dict.Slots().find('-'), std::string::npos);
}

TEST(XBaseDictionaryRemove, ByIndexShrinksAsWell) {
  LogDict dict;
  dict.Set(Names(31));
  for (int left = 30; left >= 28; --left)
    dict.BaseRemoveByIndex(dict.Index("name" + std::to_string(left)), kSlot, kValue);
  EXPECT_EQ(dict.GetTableSize(), 32U);
}

TEST(XBaseDictionaryRemove, ThirtyTwoSlotsStay) {
  LogDict dict;
  dict.Set(Names(30));
  void* table = dict.GetDataPtr();
  for (const std::string& name : Names(30)) EXPECT_TRUE(dict.Remove(name));
  EXPECT_EQ(dict.GetTableSize(), 32U);
  EXPECT_EQ(dict.GetDataPtr(), table);
  EXPECT_EQ(dict.GetCount(), 0U);
}

TEST(XBaseDictionaryRemove, HalvesOncePerRemoval) {
  LogDict dict;
  dict.BaseAllocate(1000, kSlot);
  ASSERT_EQ(dict.GetTableSize(), 2048U);
  dict.Set(Names(4));
  std::string sizes;
  for (const std::string& name : Names(4)) {
    dict.Remove(name);
    sizes += std::to_string(dict.GetTableSize()) + ' ';
  }
  EXPECT_EQ(sizes, "1024 512 256 128 ");
}

TEST(XBaseDictionaryRemove, ShrinkThresholdZeroNeverShrinks) {
  LogDict dict(0, 90);
  dict.Set(Names(31));
  for (const std::string& name : Names(31)) dict.Remove(name);
  EXPECT_EQ(dict.GetTableSize(), 64U);
}

TEST(XBaseDictionaryRemove, ShrinksBelowItsThreshold) {
  LogDict dict(10, 90);
  dict.Set(Names(31));
  for (int left = 30; left >= 7; --left) dict.Remove("name" + std::to_string(left));
  EXPECT_EQ(dict.GetCount(), 7U);
  EXPECT_EQ(dict.GetTableSize(), 64U) << "700 / 64 = 10, not below 10";
  dict.Remove("name6");
  EXPECT_EQ(dict.GetTableSize(), 32U) << "600 / 64 = 9";
}

TEST(XBaseDictionaryRemove, ShrinksOnlyToALoadBelowTheGrowThreshold) {
  LogDict dict(70, 50);
  // 17 * 100 / 32 = 53, so the 18th entry doubles.
  dict.Set(Names(18));
  ASSERT_EQ(dict.GetTableSize(), 64U);
  dict.Remove("name17");
  EXPECT_EQ(dict.GetTableSize(), 64U) << "1700 / 32 = 53";
  dict.Remove("name16");
  EXPECT_EQ(dict.GetTableSize(), 64U) << "1600 / 32 = 50, not below 50";
  dict.Remove("name15");
  EXPECT_EQ(dict.GetTableSize(), 32U) << "1500 / 32 = 46";
}

// ---- access by index ----

TEST(XBaseDictionaryByIndex, ReadsLiveSlots) {
  LogDict dict;
  dict.Set("a", 7);
  int value = 0;
  xstring key;
  EXPECT_TRUE(dict.BaseGetByIndex(10, &value, kSlot, kValue));
  EXPECT_EQ(value, 7);
  EXPECT_TRUE(dict.BaseGetByIndex(10, nullptr, kSlot, kValue));
  EXPECT_TRUE(dict.BaseGetKeyByIndex(10, &key, kSlot));
  EXPECT_STREQ(key.CastToCString(), "a");
  EXPECT_TRUE(dict.BaseGetKeyByIndex(10, nullptr, kSlot));
  const int other = 9;
  EXPECT_TRUE(dict.BaseSetByIndex(10, &other, kSlot, kValue));
  EXPECT_EQ(dict.Find("a"), 9);
  EXPECT_EQ(dict.GetCount(), 1U);
}

TEST(XBaseDictionaryByIndex, LeavesVacantAndMissingSlotsAlone) {
  LogDict dict;
  dict.Set({"a", "b"});
  dict.Remove("a");
  const std::string before = dict.Slots();
  dict.Log();
  for (unsigned index : {10U, 0U, 32U, 33U, 0x80000000U, kNoIndex}) {
    int value = 123;
    xstring key("kept");
    EXPECT_FALSE(dict.BaseGetByIndex(index, &value, kSlot, kValue)) << index;
    EXPECT_FALSE(dict.BaseGetKeyByIndex(index, &key, kSlot)) << index;
    EXPECT_FALSE(dict.BaseSetByIndex(index, &value, kSlot, kValue)) << index;
    EXPECT_EQ(value, 123);
    EXPECT_STREQ(key.CastToCString(), "kept");
  }
  EXPECT_EQ(dict.Log(), "");
  EXPECT_EQ(dict.Slots(), before);
}

TEST(XBaseDictionaryFind, CopiesOnlyWhenAsked) {
  LogDict dict;
  dict.Set("a", 7);
  dict.Log();
  int value = 123;
  EXPECT_FALSE(dict.BaseFind("b", &value, kSlot, kValue));
  EXPECT_EQ(value, 123);
  EXPECT_TRUE(dict.BaseFind("a", nullptr, kSlot, kValue));
  EXPECT_EQ(dict.Log(), "");
  EXPECT_TRUE(dict.BaseFind("a", &value, kSlot, kValue));
  EXPECT_EQ(dict.Log(), "copy");
  EXPECT_EQ(value, 7);
}

// ---- BaseAllocate ----

TEST(XBaseDictionaryAllocate, TakesTheSmallestTableWithinTheGrowThreshold) {
  const struct {
    unsigned entries, slots;
  } cases[] = {{0, 0},     {1, 32},     {28, 32},    {29, 32},        {30, 64},
               {58, 64},   {59, 128},   {116, 128},  {117, 256},      {232, 256},
               {233, 512}, {931, 1024}, {932, 2048}, {100000, 131072}};
  LogDict dict;
  for (const auto& c : cases) {
    dict.BaseAllocate(c.entries, kSlot);
    EXPECT_EQ(dict.GetTableSize(), c.slots) << c.entries;
    EXPECT_EQ(dict.GetDataPtr() != nullptr, c.slots != 0);
    EXPECT_EQ(dict.Slots(), "");
  }
}

TEST(XBaseDictionaryAllocate, FollowsItsOwnThreshold) {
  const struct {
    unsigned grow, entries, slots;
  } cases[] = {{100, 32, 32}, {100, 33, 64}, {50, 16, 32}, {50, 17, 64}, {0, 1, 128}, {0, 2, 256}};
  for (const auto& c : cases) {
    LogDict dict(0, c.grow);
    dict.BaseAllocate(c.entries, kSlot);
    EXPECT_EQ(dict.GetTableSize(), c.slots) << c.grow << ' ' << c.entries;
  }
}

TEST(XBaseDictionaryAllocate, LetsGoOfEverything) {
  LogDict dict;
  dict.Set(Names(5));
  dict.Log();
  dict.BaseAllocate(30, kSlot);
  EXPECT_EQ(dict.Log(), "destroy 32, allocate 64");
  EXPECT_EQ(dict.GetCount(), 0U);
  EXPECT_EQ(dict.Slots(), "");
  EXPECT_FALSE(dict.Has("name1"));
  dict.Set("name1", 1);
  dict.BaseAllocate(0, kSlot);
  EXPECT_EQ(dict.Log(), "copy, destroy 64");
  EXPECT_EQ(dict.GetDataPtr(), nullptr);
  EXPECT_EQ(dict.GetTableSize(), 0U);
  EXPECT_EQ(dict.GetCount(), 0U);
}

TEST(XBaseDictionaryAllocate, StopsAtTheLimitBeforeAnythingIsTouched) {
  LogDict dict;
  dict.Set("a", 1);
  dict.failAllocate = true;
  dict.Log();
  for (unsigned entries : {977105060U, 2000000000U, 0xFFFFFFFFU}) {
    EXPECT_VEL_NATIVE(dict.BaseAllocate(entries, kSlot), "Size limit exceeded");
    EXPECT_EQ(dict.Log(), "");
  }
  EXPECT_EQ(dict.Slots(), "10:a=1 ");
  EXPECT_THROW(dict.BaseAllocate(977105059, kSlot), std::bad_alloc);
  EXPECT_EQ(dict.Log(), "destroy 32, allocate 1073741824");
}

// ---- sizes that no test machine holds, made by writing the fields ----

class HugeTable : public ::testing::Test {
 protected:
  // With slots of size 0 every slot is the first of a table of 32.
  void Pretend(unsigned size, unsigned count) {
    dict.BaseAllocate(1, kSlot);
    real = ReadFields(dict);
    Resize(size, count);
    dict.failAllocate = true;
  }
  void Resize(unsigned size, unsigned count) {
    Fields fields = real;
    fields.size = size;
    fields.count = count;
    WriteFields(dict, fields);
    dict.Log();
  }
  void Restore() {
    WriteFields(dict, real);
    dict.failAllocate = false;
  }
  void TearDown() override { WriteFields(dict, real); }

  LogDict dict;
  Fields real = {};
  const int value = 1;
};

TEST_F(HugeTable, DoublesUpToTwoToTheThirtieth) {
  Pretend(1U << 29, (1U << 29) - 1);
  EXPECT_THROW(dict.BaseSet("a", &value, 0, kValue), std::bad_alloc);
  EXPECT_EQ(dict.Log(), "allocate 1073741824");
  EXPECT_EQ(dict.GetTableSize(), 1U << 29);
  EXPECT_EQ(dict.GetCount(), (1U << 29) - 1);
}

TEST_F(HugeTable, DoublesNoFurther) {
  Pretend(1U << 30, (1U << 30) - 1);
  EXPECT_VEL_NATIVE(dict.BaseSet("a", &value, 0, kValue), "Size limit exceeded");
  EXPECT_EQ(dict.Log(), "");
  EXPECT_EQ(dict.GetTableSize(), 1U << 30);
}

TEST_F(HugeTable, LoadDoesNotWrapOnInsertion) {
  Pretend(1U << 26, 62000000);
  EXPECT_THROW(dict.BaseSet("a", &value, 0, kValue), std::bad_alloc);
  EXPECT_EQ(dict.Log(), "allocate 134217728") << "6200000000 / 67108864 = 92";
}

TEST_F(HugeTable, LoadDoesNotWrapOnRemoval) {
  Pretend(1U << 26, 50000000);
  dict.BaseSet("a", &value, 0, kValue);
  dict.Log();
  EXPECT_TRUE(dict.BaseRemove("a", 0, kValue));
  EXPECT_EQ(dict.Log(), "remove") << "5000000000 / 67108864 = 74, not below 70";
  EXPECT_EQ(dict.GetCount(), 50000000U);
}

// The last count that stays and the first that grows, 90 and 91 percent, in the
// tables around the count whose hundredfold no longer fits 32 bits.
TEST_F(HugeTable, GrowsAtTheSameLoadAtAnySize) {
  const struct {
    unsigned size;
    unsigned count;
    bool grows;
  } rows[] = {
      {1U << 25, 30534533, false},  {1U << 25, 30534534, true},   {1U << 26, 42949672, false},
      {1U << 26, 42949673, false},  {1U << 26, 61069066, false},  {1U << 26, 61069067, true},
      {1U << 27, 85899345, false},  {1U << 27, 85899346, false},  {1U << 27, 122138132, false},
      {1U << 27, 122138133, true},  {1U << 28, 244276264, false}, {1U << 28, 244276265, true},
      {1U << 29, 488552529, false}, {1U << 29, 488552530, true},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(std::to_string(row.count) + " in " + std::to_string(row.size));
    Pretend(row.size, row.count);
    if (row.grows) {
      EXPECT_THROW(dict.BaseSet("a", &value, 0, kValue), std::bad_alloc);
      EXPECT_EQ(dict.Log(), "allocate " + std::to_string(row.size * 2));
      EXPECT_EQ(dict.GetCount(), row.count);
    } else {
      dict.BaseSet("a", &value, 0, kValue);
      EXPECT_EQ(dict.Log(), "copy");
      EXPECT_EQ(dict.GetCount(), row.count + 1);
    }
    EXPECT_EQ(dict.GetTableSize(), row.size);
    Restore();
  }
}

TEST_F(HugeTable, TheLargestTableFillsUpToNinetyPercent) {
  Pretend(1U << 30, 977105059);
  dict.BaseSet("a", &value, 0, kValue);
  EXPECT_EQ(dict.GetCount(), 977105060U);
  EXPECT_VEL_NATIVE(dict.BaseSet("b", &value, 0, kValue), "Size limit exceeded");
  // The size is decided before the look-up.
  EXPECT_VEL_NATIVE(dict.BaseSet("a", &value, 0, kValue), "Size limit exceeded");
  EXPECT_EQ(dict.GetCount(), 977105060U);
  EXPECT_EQ(dict.Log(), "copy");
}

// A removal halves where the load is below 70 percent and stays below 90 in half
// the table; `count` is what is left.
TEST_F(HugeTable, ShrinksAtTheSameLoadAtAnySize) {
  const struct {
    unsigned size;
    unsigned count;
    bool shrinks;
  } rows[] = {
      {1U << 25, 15099494, true},   {1U << 25, 15099495, false},  {1U << 26, 30198988, true},
      {1U << 26, 30198989, false},  {1U << 26, 42949672, false},  {1U << 26, 42949673, false},
      {1U << 26, 46976204, false},  {1U << 26, 46976205, false},  {1U << 27, 42949672, true},
      {1U << 27, 42949673, true},   {1U << 27, 60397977, true},   {1U << 27, 60397978, false},
      {1U << 28, 85899346, true},   {1U << 28, 120795955, true},  {1U << 28, 120795956, false},
      {1U << 29, 241591910, true},  {1U << 29, 241591911, false}, {1U << 30, 483183820, true},
      {1U << 30, 483183821, false}, {1U << 30, 977105059, false},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(std::to_string(row.count) + " in " + std::to_string(row.size));
    Pretend(32, 0);
    dict.BaseSet("a", &value, 0, kValue);
    Resize(row.size, row.count + 1);
    EXPECT_TRUE(dict.BaseRemove("a", 0, kValue));
    const std::string halved = ", allocate " + std::to_string(row.size / 2);
    EXPECT_EQ(dict.Log(), row.shrinks ? "remove" + halved : "remove");
    EXPECT_EQ(dict.GetCount(), row.count);
    EXPECT_EQ(dict.GetTableSize(), row.size) << "without memory the table stays";
    Restore();
  }
}

// ---- keys of any length ----

// What the main hash is by definition.
std::uint32_t HashByteByByte(const std::string& key) {
  std::uint32_t h = 0;
  for (const char c : key) h = h * 31 + static_cast<std::uint32_t>(static_cast<signed char>(c));
  h += ~(h << 9);
  h ^= h >> 14;
  h *= 17;
  return h ^ h >> 10;
}

// A text of that length in a block that ends with it.
std::string AnyText(std::size_t length, unsigned seed) {
  std::string text;
  for (std::size_t i = 0; i < length; ++i) {
    seed = seed * 1664525 + 1013904223;
    text += static_cast<char>(seed % 3 == 0 ? 1 + seed / 256 % 255 : 'a' + seed / 256 % 26);
  }
  return text;
}

TEST(XbDictHash, IsTheSameForEveryLengthAndAlignment) {
  for (std::size_t length = 0; length < 70; ++length) {
    for (std::size_t offset = 0; offset < 8; ++offset) {
      const std::string text = AnyText(length, static_cast<unsigned>(length * 8 + offset));
      const auto block = std::make_unique<char[]>(offset + length + 1);
      std::memcpy(block.get() + offset, text.c_str(), length + 1);
      unsigned told = 12345;
      ASSERT_EQ(xbdictHashMain(block.get() + offset, &told), HashByteByByte(text)) << text;
      ASSERT_EQ(told, length);
    }
  }
}

TEST(XBaseDictionaryKeys, TextsThatDifferInOneByteAreDifferent) {
  LogDict dict;
  dict.quiet = true;
  for (std::size_t length = 0; length < 70; ++length) {
    const std::string text = AnyText(length, static_cast<unsigned>(length));
    dict.Set(text, static_cast<int>(length));
    EXPECT_FALSE(dict.Has(text + 'x'));
    for (std::size_t at = 0; at < length; ++at) {
      std::string other = text;
      other[at] = other[at] == 'x' ? 'y' : 'x';
      ASSERT_FALSE(dict.Has(other)) << length << ", " << at;
    }
  }
  for (std::size_t length = 0; length < 70; ++length) {
    const std::string text = AnyText(length, static_cast<unsigned>(length));
    EXPECT_EQ(dict.Find(text), static_cast<int>(length));
    EXPECT_STREQ(dict.At(dict.Index(text)).key, text.c_str());
  }
}

// The first letters of a key stand with its hash beside a table of some size, in two words.
TEST(XBaseDictionaryKeys, TextsOfOneHashThatDifferAtEitherEndAreDifferent) {
  LogDict dict;
  dict.quiet = true;
  for (const std::string& name : Names(1000)) dict.Set(name, 1);
  for (std::size_t length = 2; length <= 20; ++length) {
    for (const std::size_t at : {std::size_t{0}, length - 2}) {
      const std::string rest = AnyText(length - 2, static_cast<unsigned>(length));
      const std::string text = rest.substr(0, at) + "Aa" + rest.substr(at);
      const std::string other = rest.substr(0, at) + "BB" + rest.substr(at);
      unsigned told;
      ASSERT_EQ(xbdictHashMain(text.c_str(), &told), xbdictHashMain(other.c_str(), &told));
      dict.Set(text, 7);
      EXPECT_EQ(dict.Find(text), 7) << text;
      EXPECT_FALSE(dict.Has(other)) << other;
      ASSERT_TRUE(dict.Remove(text));
    }
  }
}

TEST(XBaseDictionaryKeys, ATableThatShrinksGivesTheirMemoryBack) {
  LogDict dict;
  dict.quiet = true;
  const auto names = Names(20000, "a name of some length ");
  const long empty = velLiveBlocks();
  for (std::size_t i = 0; i < names.size(); ++i) dict.Set(names[i], static_cast<int>(i));
  dict.Set(std::string(100, 'a'), 7);
  const long full = velLiveBlocks();
  for (std::size_t i = 10; i < names.size(); ++i) ASSERT_TRUE(dict.Remove(names[i]));
  EXPECT_EQ(dict.GetTableSize(), 32U);
  EXPECT_LT(velLiveBlocks(), full - 5);
  EXPECT_LE(velLiveBlocks(), empty + 5) << "table, marks, store, a chunk, the long key";
  for (std::size_t i = 0; i < 10; ++i) EXPECT_EQ(dict.Find(names[i]), static_cast<int>(i));
  EXPECT_EQ(dict.Find(std::string(100, 'a')), 7);
  for (std::size_t i = 0; i < 10; ++i) EXPECT_TRUE(dict.Remove(names[i]));
  EXPECT_TRUE(dict.Remove(std::string(100, 'a')));
  EXPECT_EQ(velLiveBlocks(), empty + 2) << "without entries there is no store";
}

// The first keys lie beside a small table, as many as there is room for.
TEST(XBaseDictionaryKeys, OfEveryLengthStayAsTheyAreWhenTheFirstTableGrows) {
  for (std::size_t length = 0; length < 70; ++length) {
    LogDict dict;
    dict.quiet = true;
    for (int i = 0; i < 60; ++i) {
      const std::string key = AnyText(length, static_cast<unsigned>(i)) + std::to_string(i);
      dict.Set(key, i);
      if (i % 3 == 0) dict.Remove(AnyText(length, static_cast<unsigned>(i)) + std::to_string(i));
      for (int j = 0; j <= i; ++j) {
        const std::string other = AnyText(length, static_cast<unsigned>(j)) + std::to_string(j);
        ASSERT_EQ(dict.Find(other), j % 3 == 0 ? std::nullopt : std::optional(j)) << length;
      }
    }
    EXPECT_EQ(dict.GetTableSize(), 64U);
  }
}

TEST(XBaseDictionaryKeys, TheFirstTableUsesTheRoomOfTheLastOneAgain) {
  LogDict dict;
  dict.quiet = true;
  dict.Set("a", 1);
  const std::string key(63, 'b');
  const std::string other(63, 'c');
  const long before = velLiveBlocks();
  for (int i = 0; i < 10; ++i) {
    dict.Set(key, i);
    EXPECT_EQ(dict.Find(key), i);
    EXPECT_EQ(velLiveBlocks(), before);
    EXPECT_TRUE(dict.Remove(key));
  }
  dict.Set(key, 1);
  dict.Set(other, 2);
  EXPECT_GT(velLiveBlocks(), before) << "no room for two of them";
  EXPECT_EQ(dict.Find(key), 1);
  EXPECT_EQ(dict.Find(other), 2);
  EXPECT_TRUE(dict.Remove(other));
  EXPECT_EQ(velLiveBlocks(), before);
}

// The text moves or goes while it is needed.
TEST(XBaseDictionaryKeys, OneOfThemMayBeSetAgainWhenTheTableGrows) {
  for (const char* stem : {"k", "a name of some length ", ""}) {
    for (int n = 0; n < 30; ++n) {
      LogDict dict;
      dict.quiet = true;
      const auto names = Names(30, stem);
      dict.Set(names);
      ASSERT_EQ(dict.GetTableSize(), 32U);
      const std::string name = names[static_cast<std::size_t>(n)];
      const int value = 1000;
      dict.BaseSet(dict.At(dict.Index(name)).key, &value, kSlot, kValue);
      EXPECT_EQ(dict.GetTableSize(), 64U);
      EXPECT_EQ(dict.GetCount(), 30U);
      EXPECT_EQ(dict.Find(name), 1000);
    }
  }
}

TEST(XBaseDictionaryKeys, ThatAreShortLeaveTheStoreWhenTheFirstTableGrows) {
  LogDict dict;
  dict.quiet = true;
  const long empty = velLiveBlocks();
  dict.Set(Names(30));
  EXPECT_GT(velLiveBlocks(), empty + 2) << "more than there is room for";
  dict.Set("one more", 1);
  EXPECT_EQ(velLiveBlocks(), empty + 2) << "table and records";
  for (int i = 0; i < 30; ++i) EXPECT_TRUE(dict.Has("name" + std::to_string(i)));
}

// Their new store is there when the copy of a value fails.
TEST(XBaseDictionaryKeys, AShrinkThatCannotCopyKeepsTheirOldStore) {
  LogDict dict;
  dict.quiet = true;
  const auto names = Names(2000, "a name of some length ");
  for (const std::string& name : names) dict.Set(name, 1);
  dict.Set(std::string(100, 'a'), 7);
  for (std::size_t i = 1999; i >= 20; --i) {
    dict.failCopy = 15;
    ASSERT_TRUE(dict.Remove(names[i])) << i;
  }
  EXPECT_GT(dict.GetTableSize(), 32U);
  for (std::size_t i = 0; i < 20; ++i) EXPECT_EQ(dict.Find(names[i]), 1);
  EXPECT_EQ(dict.Find(std::string(100, 'a')), 7);
  dict.failCopy = 0;
  EXPECT_TRUE(dict.Remove(names[19]));
  for (std::size_t i = 0; i < 19; ++i) EXPECT_EQ(dict.Find(names[i]), 1);
  EXPECT_EQ(dict.Find(std::string(100, 'a')), 7);
}

// ---- BaseClearAll, BaseFreeAllKeys ----

TEST(XBaseDictionaryClear, GivesTheTableBack) {
  LogDict dict;
  dict.Set(Names(5));
  dict.Remove("name2");
  dict.Log();
  dict.BaseClearAll(kSlot);
  EXPECT_EQ(dict.Log(), "destroy 32");
  EXPECT_EQ(dict.GetDataPtr(), nullptr);
  EXPECT_EQ(dict.GetTableSize(), 0U);
  EXPECT_EQ(dict.GetCount(), 0U);
  EXPECT_FALSE(dict.Has("name1"));
  dict.Set("a", 1);
  EXPECT_EQ(dict.Log(), "allocate 32, destroy none, copy");
}

TEST(XBaseDictionaryClear, IsEmptyBeforeTheBlockGoes) {
  LogDict dict;
  dict.Set(Names(5));
  dict.BaseClearAll(kSlot);
  EXPECT_EQ(dict.atDestroy.table, nullptr);
  EXPECT_EQ(dict.atDestroy.size, 0U);
  EXPECT_EQ(dict.atDestroy.count, 0U);
}

TEST(XBaseDictionaryClear, WithoutATableThereIsNothingToDestroy) {
  LogDict dict;
  dict.BaseClearAll(kSlot);
  EXPECT_EQ(dict.Log(), "");
}

TEST(XBaseDictionaryClear, FreeAllKeysLeavesTheSlotsAsTheyAre) {
  LogDict dict;
  dict.quiet = true;
  dict.BaseAllocate(1, kSlot);
  const std::string longKey(64, 'b');  // has a block of its own
  const long before = velLiveBlocks();
  const int value = 1;
  for (const char* key : {"a", longKey.c_str(), "c"}) dict.BaseSet(key, &value, kSlot, kValue);
  dict.BaseRemove("c", kSlot, kValue);
  EXPECT_GT(velLiveBlocks(), before);
  std::vector<Entry> slots(32);
  std::memcpy(slots.data(), dict.GetDataPtr(), 32 * kSlot);
  dict.BaseFreeAllKeys(kSlot);
  EXPECT_EQ(velLiveBlocks(), before + 1) << "only the vector is left";
  for (unsigned i = 0; i < 32; ++i) EXPECT_TRUE(dict.At(i).key == slots[i].key) << i;
  EXPECT_EQ(dict.GetCount(), 2U);
  EXPECT_EQ(dict.GetTableSize(), 32U);
  // The keys are stale now: the block must go without them.
  const Fields fields = ReadFields(dict);
  WriteFields(dict, {nullptr, 0, 0, 70, 90});
  dict.OnDestroy(fields.table, fields.size);
}

// A class that gives back its table, and does not clear itself when it goes.
class Careless : public xbasedictionary {
 public:
  Careless() : xbasedictionary(nullptr) {}
  ~Careless() { ReleaseBlock(ReadFields(*this).table); }

  void* OnAllocate(unsigned slots) override {
    return std::memset(AllocateBlock(std::size_t{slots} * kSlot), 0, std::size_t{slots} * kSlot);
  }
  void OnDestroy(void* block, unsigned) override { ReleaseBlock(block); }
  void OnCopyEntry(void* dst, const void* src) override { std::memcpy(dst, src, sizeof(int)); }
  void OnRemoveEntry(void*) override {}
};

template <class Dict>
void MakeAndDrop(const std::vector<std::string>& keys) {
  Dict dict;
  const int value = 1;
  for (const std::string& key : keys) dict.BaseSet(key.c_str(), &value, kSlot, kValue);
}

// Of memory that is not asked for by operator new, too: bytes add up over many of them.
TEST(XBaseDictionary, ThatGoesGivesBackAllItTook) {
  const std::string longKey(100, 'b');
  std::vector<std::vector<std::string>> fillings = {
      {}, {"a"}, {"a", longKey}, Names(100), SamePath(100)};
  fillings[3].push_back(longKey);
  indexBlocks = 0;
  for (std::size_t i = 0; i < fillings.size(); ++i) {
    SCOPED_TRACE(i);
    const long blocks = velLiveBlocks();
    std::size_t bytes = 0;
    for (int n = 0; n < 200; ++n) {
      if (n == 10) bytes = mallinfo2().uordblks;
      MakeAndDrop<Careless>(fillings[i]);
      MakeAndDrop<LogDict>(fillings[i]);
    }
    EXPECT_EQ(velLiveBlocks(), blocks);
    EXPECT_EQ(indexBlocks, 0);
    EXPECT_LT(mallinfo2().uordblks, bytes + 4096);
  }
}

// ---- the index of a table where probing got slow ----

// How many slots are looked at for a key: up to its own, or to the first empty one.
unsigned ProbesFor(const LogDict& dict, const std::string& key) {
  for (unsigned n = 0;; ++n) {
    const char* const there = dict.At(OnPath(key, n, dict.GetTableSize())).key;
    if (!there || (!xdictentryIsVacant(there) && key == there)) return n + 1;
  }
}

TEST(XBaseDictionaryIndex, ComesWhenProbesBeyondSixtyFourHaveAddedUpToTheSize) {
  const auto keys = SamePath(71);
  indexBlocks = 0;
  {
    LogDict dict;
    dict.quiet = true;
    dict.BaseAllocate(100, kSlot);
    ASSERT_EQ(dict.GetTableSize(), 128U);
    unsigned wasted = 0;
    const auto count = [&](const std::string& key) {
      const unsigned probes = ProbesFor(dict, key);
      if (wasted < 128 && probes > 64) wasted += probes - 64;
    };
    const auto set = [&](std::size_t i) {
      count(keys[i]);
      dict.Set(keys[i], static_cast<int>(i));
      ASSERT_EQ(indexBlocks > 0, wasted >= 128) << wasted;
    };
    for (std::size_t i = 0; i < 70; ++i) set(i);
    ASSERT_EQ(wasted, 21U);
    for (int i = 0; i < 5; ++i) {
      count(keys[70]);
      ASSERT_FALSE(dict.Remove(keys[70]));
      ASSERT_EQ(indexBlocks, 0) << wasted;
    }
    ASSERT_EQ(wasted, 56U) << "of a key that is not there, too";
    for (int i = 0; i < 10; ++i) {
      dict.Set(keys[63], 63);
      ASSERT_EQ(indexBlocks, 0) << "sixty-four are free";
    }
    while (wasted < 128) set(64);
    EXPECT_GT(indexBlocks, 0);
    for (std::size_t i = 0; i < 70; ++i) EXPECT_EQ(dict.Find(keys[i]), i);
    EXPECT_EQ(dict.Find(keys[70]), std::nullopt);
    dict.BaseClearAll(kSlot);
    EXPECT_EQ(indexBlocks, 0);
  }
  EXPECT_EQ(indexBlocks, 0);
}

TEST(XBaseDictionaryIndex, IsMadeAnewForATableThatGrows) {
  const auto keys = SamePath(200);
  indexBlocks = 0;
  {
    LogDict dict;
    dict.quiet = true;
    std::size_t next = 0;
    while (dict.GetTableSize() < 256) dict.Set(keys[next++], 1);
    EXPECT_GT(indexBlocks, 0);
    for (std::size_t i = 0; i < next; ++i) EXPECT_TRUE(dict.Has(keys[i]));
    EXPECT_FALSE(dict.Has(keys[next]));
  }
  EXPECT_EQ(indexBlocks, 0);
}

TEST(XBaseDictionaryIndex, StaysWhenATableCannotGrow) {
  const auto keys = SamePath(200);
  indexBlocks = 0;
  {
    LogDict dict;
    dict.quiet = true;
    dict.BaseAllocate(100, kSlot);
    std::size_t next = 0;
    while (next < 117) dict.Set(keys[next++], 1);
    ASSERT_EQ(dict.GetTableSize(), 128U);
    const int held = indexBlocks;
    EXPECT_GT(held, 0);
    dict.failCopy = 117;  // after the new table has an index, too
    const int value = 1;
    EXPECT_THROW(dict.BaseSet(keys[next].c_str(), &value, kSlot, kValue), std::bad_alloc);
    EXPECT_EQ(dict.GetTableSize(), 128U);
    EXPECT_EQ(indexBlocks, held);
    for (std::size_t i = 0; i < next; ++i) EXPECT_TRUE(dict.Has(keys[i]));
    EXPECT_FALSE(dict.Has(keys[next]));
  }
  EXPECT_EQ(indexBlocks, 0);
}


TEST(XBaseDictionaryClear, FreeAllKeysWithoutATableDoesNothing) {
  LogDict dict;
  dict.BaseFreeAllKeys(kSlot);
  EXPECT_EQ(dict.Log(), "");
}

// ---- BaseClone ----

TEST(XBaseDictionaryClone, HasTheSameSlotsTombstonesIncluded) {
  LogDict source;
  source.BaseAllocate(30, kSlot);
  source.Set(Names(6));
  source.BaseRemoveByIndex(source.Index("name2"), kSlot, kValue);
  // One removal halves the table and drops its tombstone; at 32 slots they stay.
  source.Remove("name3");
  ASSERT_NE(source.Slots().find('-'), std::string::npos);
  LogDict clone;
  clone.BaseClone(&source, kSlot, kValue);
  EXPECT_EQ(clone.Slots(), source.Slots());
  EXPECT_EQ(clone.GetTableSize(), source.GetTableSize());
  EXPECT_EQ(clone.GetCount(), 4U);
  EXPECT_EQ(clone.Log(), "allocate 32, copy x4");
}

TEST(XBaseDictionaryClone, OwnsItsKeys) {
  LogDict source;
  source.Set("a", 1);
  LogDict clone;
  clone.BaseClone(&source, kSlot, kValue);
  EXPECT_NE(clone.At(10).key, source.At(10).key);
  source.BaseClearAll(kSlot);
  EXPECT_EQ(clone.Find("a"), 1);
}

TEST(XBaseDictionaryClone, LetsGoOfWhatItHeldFirst) {
  LogDict source;
  source.BaseAllocate(30, kSlot);
  source.Set(Names(3));
  LogDict clone;
  clone.Set({"x", "y"});
  clone.Log();
  clone.BaseClone(&source, kSlot, kValue);
  EXPECT_EQ(clone.Log(), "destroy 32, allocate 64, copy x3");
  EXPECT_FALSE(clone.Has("x"));
  EXPECT_EQ(clone.GetCount(), 3U);
  EXPECT_EQ(clone.Slots(), source.Slots());
}

TEST(XBaseDictionaryClone, OfItselfDoesNothing) {
  LogDict dict;
  dict.Set(Names(3));
  dict.Remove("name1");
  const std::string before = dict.Slots();
  dict.Log();
  dict.BaseClone(&dict, kSlot, kValue);
  EXPECT_EQ(dict.Log(), "");
  EXPECT_EQ(dict.Slots(), before);
}

TEST(XBaseDictionaryClone, OfOneWithoutATableHasNone) {
  const LogDict source;
  LogDict clone;
  clone.Set(Names(3));
  clone.Log();
  clone.BaseClone(&source, kSlot, kValue);
  EXPECT_EQ(clone.Log(), "destroy 32");
  EXPECT_EQ(clone.GetDataPtr(), nullptr);
  EXPECT_EQ(clone.GetTableSize(), 0U);
  EXPECT_EQ(clone.GetCount(), 0U);
}

TEST(XBaseDictionaryClone, OfNoneIsEmpty) {
  LogDict dict;
  dict.Set("key", 1);
  dict.BaseClone(nullptr, kSlot, kValue);
  EXPECT_EQ(dict.GetCount(), 0U);
  EXPECT_EQ(dict.GetTableSize(), 0U);
}

TEST(XBaseDictionaryClone, OfAnEmptyTableIsAnEmptyTable) {
  LogDict source;
  source.BaseAllocate(30, kSlot);
  LogDict clone;
  clone.BaseClone(&source, kSlot, kValue);
  EXPECT_EQ(clone.GetTableSize(), 64U);
  EXPECT_EQ(clone.GetCount(), 0U);
}

TEST(XBaseDictionaryClone, KeepsItsOwnThresholds) {
  LogDict source(0, 100);
  source.Set(Names(32));
  LogDict clone;
  clone.BaseClone(&source, kSlot, kValue);
  EXPECT_EQ(clone.GetTableSize(), 32U);
  clone.Set("one more", 1);
  EXPECT_EQ(clone.GetTableSize(), 64U);
  EXPECT_EQ(ReadFields(clone).grow, 90U);
}

// ---- without memory ----

TEST(XBaseDictionaryNoMemory, TheFirstSetLeavesNoTable) {
  LogDict dict;
  dict.quiet = true;
  const int value = 1;
  for (long nth : {1, 2}) {  // the copy of the key, the block
    const long before = velLiveBlocks();
    {
      const VelFailAllocation fail(nth);
      EXPECT_THROW(dict.BaseSet("a", &value, kSlot, kValue), std::bad_alloc);
    }
    EXPECT_EQ(velLiveBlocks(), before);
    EXPECT_EQ(dict.GetTableSize(), 0U);
    EXPECT_EQ(dict.GetCount(), 0U);
  }
}

TEST(XBaseDictionaryNoMemory, AnInsertionThatCannotCopyItsKeyChangesNothing) {
  LogDict dict;
  dict.quiet = true;
  dict.Set(Names(3));
  const std::string before = dict.Slots();
  const std::string longKey(64, 'a');  // has a block of its own
  const int value = 1;
  {
    const VelFailAllocation fail(1);
    EXPECT_THROW(dict.BaseSet(longKey.c_str(), &value, kSlot, kValue), std::bad_alloc);
  }
  EXPECT_EQ(dict.Slots(), before);
  EXPECT_EQ(dict.GetCount(), 3U);
}

TEST(XBaseDictionaryNoMemory, AnInsertionThatCannotGrowChangesNothing) {
  LogDict dict;
  dict.quiet = true;
  dict.Set(Names(30));
  const std::string slots = dict.Slots();
  const int value = 1;
  for (long nth : {1, 2}) {
    const long before = velLiveBlocks();
    {
      const VelFailAllocation fail(nth);
      EXPECT_THROW(dict.BaseSet("a", &value, kSlot, kValue), std::bad_alloc);
    }
    EXPECT_EQ(velLiveBlocks(), before);
    EXPECT_EQ(dict.Slots(), slots);
    EXPECT_EQ(dict.GetTableSize(), 32U);
    EXPECT_EQ(dict.GetCount(), 30U);
  }
}

// Its longer keys lie beside the table, and need another place.
TEST(XBaseDictionaryNoMemory, ASmallTableThatCannotKeepItsKeysStaysAsItIs) {
  for (const std::size_t length : {14U, 15U, 40U, 63U, 64U}) {
    LogDict dict;
    dict.quiet = true;
    for (int i = 0; i < 30; ++i) {
      std::string key = "name" + std::to_string(i);
      if (i % 10 == 0) key.resize(length, 'x');
      dict.Set(key, i);
    }
    const std::string slots = dict.Slots();
    const std::string key(length, 'a');
    const int value = 1;
    int failures = 0;
    for (long nth = 1;; ++nth) {
      const VelFailAllocation fail(nth);
      try {
        dict.BaseSet(key.c_str(), &value, kSlot, kValue);
        break;
      } catch (const std::bad_alloc&) {
        ++failures;
      }
      ASSERT_EQ(dict.GetTableSize(), 32U);
      ASSERT_EQ(dict.GetCount(), 30U);
      ASSERT_EQ(dict.Slots(), slots);
    }
    EXPECT_GE(failures, 2) << length;
    EXPECT_EQ(dict.GetTableSize(), 64U);
    EXPECT_EQ(dict.GetCount(), 31U);
    EXPECT_EQ(dict.Find(key), 1);
  }
}

TEST(XBaseDictionaryNoMemory, OverwritingWithoutAResizeNeedsNone) {
  LogDict dict;
  dict.quiet = true;
  dict.Set("a", 1);
  const int value = 2;
  const VelFailAllocation fail(1);
  dict.BaseSet("a", &value, kSlot, kValue);
  EXPECT_FALSE(fail.hasFailed());
  EXPECT_EQ(dict.At(10).value, 2);
}

TEST(XBaseDictionaryNoMemory, ARehashThatCannotCopyAValueIsUndone) {
  LogDict dict;
  dict.quiet = true;
  dict.Set(Names(30));
  const std::string slots = dict.Slots();
  for (int nth = 1; nth <= 30; ++nth) {
    const long before = velLiveBlocks();
    dict.failCopy = nth;
    EXPECT_THROW(dict.Set("one more", 1), std::bad_alloc);
    EXPECT_EQ(velLiveBlocks(), before) << nth;
    EXPECT_EQ(dict.blocks, 1) << nth;
    EXPECT_EQ(dict.Slots(), slots) << nth;
    EXPECT_EQ(dict.GetCount(), 30U) << nth;
  }
}

TEST(XBaseDictionaryNoMemory, AnEntryWhoseValueCannotBeCopiedIsNotThere) {
  LogDict dict;
  dict.quiet = true;
  const auto keys = OneWay(3);
  dict.Set({keys[0], keys[1]});
  dict.Remove(keys[0]);
  const std::string slots = dict.Slots();
  const long before = velLiveBlocks();
  for (const std::string& key : {keys[2], std::string("elsewhere")}) {
    dict.failCopy = 1;
    EXPECT_THROW(dict.Set(key, 1), std::bad_alloc);
    EXPECT_EQ(dict.Slots(), slots) << "tombstones and empty slots stay what they are";
    EXPECT_EQ(dict.GetCount(), 1U);
  }
  EXPECT_EQ(velLiveBlocks(), before);
}

TEST(XBaseDictionaryNoMemory, ARemovalThatCannotShrinkSucceeds) {
  LogDict dict;
  dict.Set(Names(31));
  for (int left = 30; left >= 29; --left) dict.Remove("name" + std::to_string(left));
  dict.failAllocate = true;
  dict.Log();
  EXPECT_TRUE(dict.Remove("name28"));
  EXPECT_EQ(dict.Log(), "remove, allocate 32");
  EXPECT_EQ(dict.GetTableSize(), 64U);
  EXPECT_EQ(dict.GetCount(), 28U);
  EXPECT_FALSE(dict.Has("name28"));
  dict.failAllocate = false;
  EXPECT_TRUE(dict.Remove("name27"));
  EXPECT_EQ(dict.GetTableSize(), 32U);
  for (const std::string& name : Names(27)) EXPECT_TRUE(dict.Has(name));
}

// Only for want of memory a table stays large in silence.
TEST(XBaseDictionaryRemove, WhatElseAHookThrowsPassesAndTheEntryIsGone) {
  LogDict dict;
  dict.Set(Names(31));
  for (int left = 30; left >= 29; --left) dict.Remove("name" + std::to_string(left));
  dict.refuseAllocate = 5;
  EXPECT_THROW(dict.Remove("name28"), int);
  dict.refuseAllocate = 0;
  EXPECT_EQ(dict.GetTableSize(), 64U);
  EXPECT_EQ(dict.GetCount(), 28U);
  for (const std::string& name : Names(28)) EXPECT_TRUE(dict.Has(name));
  EXPECT_FALSE(dict.Has("name28"));
}

TEST(XBaseDictionaryNoMemory, ARemovalWhoseShrinkCannotCopySucceeds) {
  LogDict dict;
  dict.Set(Names(31));
  for (int left = 30; left >= 29; --left) dict.Remove("name" + std::to_string(left));
  dict.failCopy = 5;
  EXPECT_TRUE(dict.BaseRemoveByIndex(dict.Index("name28"), kSlot, kValue));
  EXPECT_EQ(dict.GetTableSize(), 64U);
  EXPECT_EQ(dict.GetCount(), 28U);
  for (const std::string& name : Names(28)) EXPECT_TRUE(dict.Has(name));
}

TEST(XBaseDictionaryNoMemory, ClearingNeedsNone) {
  LogDict dict;
  dict.quiet = true;
  dict.Set(Names(40));
  const VelFailAllocation fail(1);
  dict.BaseClearAll(kSlot);
  EXPECT_FALSE(fail.hasFailed());
}

TEST(XBaseDictionaryNoMemory, AllocateLeavesAnEmptyWholeDictionary) {
  LogDict dict;
  dict.Set(Names(3));
  dict.failAllocate = true;
  EXPECT_THROW(dict.BaseAllocate(100, kSlot), std::bad_alloc);
  EXPECT_EQ(dict.GetDataPtr(), nullptr);
  EXPECT_EQ(dict.GetTableSize(), 0U);
  EXPECT_EQ(dict.GetCount(), 0U);
  dict.failAllocate = false;
  dict.Set(Names(3));
  EXPECT_TRUE(dict.Has("name1"));
}

TEST(XBaseDictionaryNoMemory, CloneLeavesAnEmptyWholeDictionary) {
  LogDict source;
  source.Set(Names(4));
  source.Remove("name3");
  source.Set(std::string(64, 'a'), 5);
  const auto tryClone = [&](auto&& fail) {
    LogDict clone;
    clone.quiet = true;
    const long before = velLiveBlocks();
    const int value = 1;
    clone.BaseSet("x", &value, kSlot, kValue);
    fail(clone);
    EXPECT_EQ(clone.GetDataPtr(), nullptr);
    EXPECT_EQ(clone.GetTableSize(), 0U);
    EXPECT_EQ(clone.GetCount(), 0U);
    EXPECT_EQ(velLiveBlocks(), before);
    clone.Set("y", 2);
    EXPECT_EQ(clone.Find("y"), 2);
  };
  // The block, what lies beside it, the store of long keys, one of them.
  for (long nth = 1; nth <= 4; ++nth) {
    tryClone([&](LogDict& clone) {
      const VelFailAllocation fail(nth);
      EXPECT_THROW(clone.BaseClone(&source, kSlot, kValue), std::bad_alloc) << nth;
    });
  }
  for (int nth = 1; nth <= 4; ++nth) {
    tryClone([&](LogDict& clone) {
      clone.failCopy = nth;
      EXPECT_THROW(clone.BaseClone(&source, kSlot, kValue), std::bad_alloc) << nth;
    });
  }
  EXPECT_EQ(source.GetCount(), 4U);
}

// From each slot to each end, as the slots themselves tell it.
void ExpectEntriesAreFound(const LogDict& dict) {
  const unsigned slots = dict.GetTableSize();
  for (unsigned from = 0; from <= slots; ++from) {
    unsigned expected = from;
    while (expected < slots && xdictentryIsVacant(dict.At(expected).key)) ++expected;
    ASSERT_EQ(dict.NextEntry(from, slots), expected) << from;
  }
}

TEST(XBaseDictionary, NextEntryKnowsTheFirstTableAfterEveryChange) {
  LogDict dict;
  dict.quiet = true;
  for (int round = 0; round < 3; ++round) {
    EXPECT_EQ(dict.NextEntry(0, 32), 32U) << "there is none";
    for (const std::string& name : Names(30)) {
      dict.Set(name, 1);
      ExpectEntriesAreFound(dict);
    }
    for (const std::string& name : Names(20)) {
      ASSERT_TRUE(dict.Remove(name));
      ExpectEntriesAreFound(dict);
    }
    LogDict copy;
    copy.quiet = true;
    copy.BaseClone(&dict, kSlot, kValue);
    ExpectEntriesAreFound(copy);
    dict.BaseClearAll(kSlot);
  }
  dict.BaseAllocate(5, kSlot);
  ExpectEntriesAreFound(dict);
}

TEST(XBaseDictionary, NextEntryFindsTheFewOfALargeTable) {
  for (int stays : {5, 9, 23}) {
    LogDict dict(0, 90);
    dict.quiet = true;
    // Vacant slots have been passed by keys of every bit of their marks.
    for (int i = 0; i < 230; ++i) dict.Set("key " + std::to_string(i), i);
    for (int i = 0; i < 230; ++i) {
      if (i % stays != 0) dict.Remove("key " + std::to_string(i));
    }
    ASSERT_EQ(dict.GetTableSize(), 256U);
    ExpectEntriesAreFound(dict);
  }
}

// Keys that lie beside the table stay where they are, and the next one takes none's place.
TEST(XBaseDictionaryNoMemory, TheFirstTableIsWholeWhenItCannotGrow) {
  LogDict dict;
  dict.quiet = true;
  dict.Set(Names(30));
  dict.failCopy = 30;
  const int value = 1;
  EXPECT_THROW(dict.BaseSet("one more", &value, kSlot, kValue), std::bad_alloc);
  dict.failCopy = 0;
  ExpectEntriesAreFound(dict);
  for (int i = 29; i >= 25; --i) ASSERT_TRUE(dict.Remove("name" + std::to_string(i)));
  for (int i = 0; i < 4; ++i) dict.Set("other" + std::to_string(i), i);
  for (int i = 0; i < 25; ++i) EXPECT_EQ(dict.Find("name" + std::to_string(i)), i + 1);
  ExpectEntriesAreFound(dict);
}

TEST(XBaseDictionaryKeys, InTheFirstSlotMovesWithItsTable) {
  std::string key;
  for (int i = 0; key.empty() || OnPath(key, 0, 32) != 0; ++i) {
    key = "a key that is longer than records hold " + std::to_string(i);
  }
  LogDict dict;
  dict.quiet = true;
  dict.Set(key, 7);
  ASSERT_EQ(dict.Index(key), 0U);
  dict.Set(Names(40));
  ASSERT_EQ(dict.GetTableSize(), 64U);
  EXPECT_EQ(dict.Find(key), 7);
}

TEST(XBaseDictionary, NextEntryFindsTheFirstLiveSlot) {
  LogDict dict;
  EXPECT_EQ(dict.NextEntry(0, 0), 0U);
  EXPECT_GE(dict.NextEntry(0, 100), 0U);
  // Enough that vacant slots have been passed by keys of every bit of their marks.
  for (int i = 0; i < 230; ++i) dict.Set("key " + std::to_string(i), i);
  for (int i = 0; i < 60; ++i) dict.Remove("key " + std::to_string(i));
  const unsigned slots = dict.GetTableSize();
  ASSERT_EQ(slots, 256U);
  for (unsigned end = 0; end <= slots + 5; ++end) {
    for (unsigned from = 0; from <= end; ++from) {
      unsigned expected = from;
      while (expected < std::min(end, slots) && xdictentryIsVacant(dict.At(expected).key)) {
        ++expected;
      }
      const unsigned found = dict.NextEntry(from, end);
      if (expected < std::min(end, slots)) {
        ASSERT_EQ(found, expected) << from << " to " << end;
      } else {
        ASSERT_GE(found, std::min(end, slots)) << from << " to " << end;
      }
    }
  }
}

}  // namespace
