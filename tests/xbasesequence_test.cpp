#include "xbasesequence.h"

#include <sys/mman.h>

#include <climits>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <ostream>
#include <string>
#include <type_traits>
#include <vector>

#include "veltest.h"

namespace {

const char kLetters[] = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789";

// A core over plain bytes that writes down every hook call. Places inside its
// own storage show as @offset, others as "out". Fresh bytes are dots, destroyed
// ones x, re-emptied ones -.
class LogCore : public xbasesequence {
 public:
  explicit LogCore(unsigned initial = 16, bool mayShrink = false)
      : xbasesequence(xseqcontrol(mayShrink, initial)) {}
  ~LogCore() { std::free(DetachStorage()); }

  void* OnResize(unsigned newCapacity) override {
    note((failing ? "failed(" : "resize(") + std::to_string(newCapacity) + ')');
    if (refusing) throw refusing;
    if (failing) throw std::bad_alloc();
    auto* block = static_cast<char*>(std::malloc(newCapacity));
    std::memset(block, '.', newCapacity);
    if (GetPtr()) std::memcpy(block, GetPtr(), std::min(GetByteSize(), newCapacity));
    std::free(GetPtr());
    return block;
  }
  void OnAllocate(void* at, unsigned bytes) override {
    note("allocate(" + place(at) + ',' + std::to_string(bytes) + ')');
    std::memset(at, '-', bytes);
  }
  void OnDestroy(void* at, unsigned bytes) override {
    note("destroy(" + place(at) + ',' + std::to_string(bytes) + ')');
    std::memset(at, 'x', bytes);
  }
  void OnCopy(void* dst, const void* src, unsigned bytes) override {
    note("copy(" + place(dst) + ',' + place(src) + ',' + std::to_string(bytes) + ')');
    if (bytes) std::memmove(dst, src, bytes);
  }

  // The first `size` letters, appended without a trace.
  void fill(unsigned size) {
    if (size) BaseAppend(size, kLetters);
    log.clear();
  }
  // Forgets and tells what was called so far.
  std::string taken() {
    std::string all;
    all.swap(log);
    return all.substr(0, all.empty() ? 0 : all.size() - 1);
  }
  std::string contents() const {
    return GetPtr() ? std::string(static_cast<char*>(GetPtr()), GetByteSize()) : std::string();
  }
  // Size and capacity.
  std::string state() const {
    return std::to_string(GetByteSize()) + '/' + std::to_string(GetCapacity());
  }
  char* at(unsigned pos) const { return static_cast<char*>(GetPtr()) + pos; }

  bool failing = false;
  int refusing = 0;  // what the hook throws, if it throws an int
  bool showSizes = false;

 private:
  void note(const std::string& call) {
    log += call;
    if (showSizes) log += '#' + std::to_string(GetByteSize());
    log += ' ';
  }
  std::string place(const void* p) const {
    const auto base = reinterpret_cast<std::uintptr_t>(GetPtr());
    const auto at = reinterpret_cast<std::uintptr_t>(p);
    if (!base || at < base || at > base + GetCapacity()) return "out";
    return '@' + std::to_string(at - base);
  }

  std::string log;
};

// A core without memory behind it: for sizes near the limits.
class HollowCore : public xbasesequence {
 public:
  explicit HollowCore(unsigned initial = 256, bool mayShrink = false)
      : xbasesequence(xseqcontrol(mayShrink, initial)),
        // Addresses that are nobody else's, so that no source seems to be inside.
        range(
            mmap(nullptr, kRange, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0)) {}
  ~HollowCore() { munmap(range, kRange); }

  void* OnResize(unsigned newCapacity) override {
    calls += "resize(" + std::to_string(newCapacity) + ") ";
    return range;
  }
  void OnAllocate(void*, unsigned bytes) override {
    calls += "allocate(" + std::to_string(bytes) + ") ";
  }
  void OnDestroy(void*, unsigned bytes) override {
    calls += "destroy(" + std::to_string(bytes) + ") ";
  }
  void OnCopy(void*, const void*, unsigned bytes) override {
    calls += "copy(" + std::to_string(bytes) + ") ";
  }

  std::string calls;

 private:
  static constexpr std::size_t kRange = std::size_t{1} << 32;
  void* range;
};

// ---- the classes ----

static_assert(std::is_abstract<xbasesequence>::value, "all four hooks are pure");
static_assert(std::is_copy_constructible<xseqcontrol>::value, "");
static_assert(sizeof(xseqcontrol) == 8, "a bool and an unsigned");
static_assert(!std::is_copy_constructible<xbasesequence>::value, "");
static_assert(std::is_constructible<LogCore, unsigned>::value, "");

TEST(XBaseSequence, IsBuiltWithoutStorage) {
  LogCore core;
  EXPECT_EQ(core.GetPtr(), nullptr);
  EXPECT_EQ(core.state(), "0/0");
  EXPECT_EQ(core.taken(), "");
}

TEST(XBaseSequence, DeclaresItsFieldsInOrder) {
  struct Fields {
    void* table;
    void* storage;
    unsigned used;
    unsigned capacity;
    bool shrink;
    unsigned initial;
  } fields;
  LogCore core(48, true);
  core.fill(50);
  std::memcpy(&fields, static_cast<void*>(static_cast<xbasesequence*>(&core)), sizeof fields);
  EXPECT_EQ(fields.storage, core.GetPtr());
  EXPECT_EQ(fields.used, 50U);
  EXPECT_EQ(fields.capacity, 96U);
  EXPECT_TRUE(fields.shrink);
  EXPECT_EQ(fields.initial, 48U);
}

TEST(XBaseSequence, CopiesItsControl) {
  const xseqcontrol first(true, 32);
  const xseqcontrol second(first);
  struct Fields {
    bool shrink;
    unsigned initial;
  } fields;
  std::memcpy(&fields, static_cast<const void*>(&second), sizeof fields);
  EXPECT_TRUE(fields.shrink);
  EXPECT_EQ(fields.initial, 32U);
}

// Calls the hook at `position` of the function table of `core`.
__attribute__((no_sanitize("undefined"))) void CallSlot(xbasesequence* core, int position, void* to,
                                                        const void* from, unsigned bytes) {
  void** table;
  std::memcpy(&table, static_cast<void*>(core), sizeof table);
  void* hook = table[position];
  switch (position) {
    case 0:
      reinterpret_cast<void* (*)(xbasesequence*, unsigned)>(hook)(core, bytes);
      break;
    case 3:
      reinterpret_cast<void (*)(xbasesequence*, void*, const void*, unsigned)>(hook)(core, to, from,
                                                                                     bytes);
      break;
    default:
      reinterpret_cast<void (*)(xbasesequence*, void*, unsigned)>(hook)(core, to, bytes);
  }
}

TEST(XBaseSequence, HooksComeInSlotOrder) {
  char block[8];
  HollowCore core;
  for (int position = 0; position < 4; ++position) CallSlot(&core, position, block, block, 8);
  EXPECT_EQ(core.calls, "resize(8) allocate(8) destroy(8) copy(8) ");
}

// ---- every operation: hook calls, size and capacity, contents ----

struct Step {
  const char* name;
  unsigned filled;  // letters in the core before; its initial capacity is 16
  std::function<void(LogCore&)> run;
  const char* calls;
  const char* state;
  const char* contents;
};

void PrintTo(const Step& step, std::ostream* out) { *out << step.name; }

class XBaseSequenceSteps : public testing::TestWithParam<Step> {};

TEST_P(XBaseSequenceSteps, CallsExactlyTheHooksOfTheAlgorithm) {
  const Step& step = GetParam();
  LogCore core;
  core.fill(step.filled);
  step.run(core);
  EXPECT_EQ(core.taken(), step.calls);
  EXPECT_EQ(core.state(), step.state);
  EXPECT_EQ(core.contents(), step.contents);
}

const Step kSteps[] = {
    {"AppendFirst", 0, [](LogCore& c) { c.BaseAppend(4, "1234"); }, "resize(16) copy(@0,out,4)",
     "4/16", "1234"},
    {"AppendFirstLarge", 0, [](LogCore& c) { c.BaseAppend(33, kLetters); },
     "resize(64) copy(@0,out,33)", "33/64", "abcdefghijklmnopqrstuvwxyzABCDEFG"},
    {"AppendWithin", 4, [](LogCore& c) { c.BaseAppend(2, "12"); }, "copy(@4,out,2)", "6/16",
     "abcd12"},
    {"AppendToTheBrim", 12, [](LogCore& c) { c.BaseAppend(4, "1234"); }, "copy(@12,out,4)", "16/16",
     "abcdefghijkl1234"},
    {"AppendPastTheBrim", 16, [](LogCore& c) { c.BaseAppend(1, "1"); },
     "resize(32) copy(@16,out,1)", "17/32", "abcdefghijklmnop1"},
    {"AppendNothing", 4, [](LogCore& c) { c.BaseAppend(0, "1"); }, "copy(@4,out,0)", "4/16",
     "abcd"},

    {"InsertInside", 8, [](LogCore& c) { c.BaseInsert(2, 3, "123"); },
     "copy(@5,@2,6) copy(@2,out,3)", "11/16", "ab123cdefgh"},
    {"InsertInFront", 8, [](LogCore& c) { c.BaseInsert(0, 3, "123"); },
     "copy(@3,@0,8) copy(@0,out,3)", "11/16", "123abcdefgh"},
    {"InsertAtTheEnd", 8, [](LogCore& c) { c.BaseInsert(8, 3, "123"); }, "copy(@8,out,3)", "11/16",
     "abcdefgh123"},
    {"InsertBeyond", 4, [](LogCore& c) { c.BaseInsert(6, 3, "123"); }, "copy(@6,out,3)", "9/16",
     "abcd..123"},
    {"InsertWithGrowth", 16, [](LogCore& c) { c.BaseInsert(14, 2, "12"); },
     "resize(32) copy(@16,@14,2) copy(@14,out,2)", "18/32", "abcdefghijklmn12op"},
    {"InsertBeyondWithGrowth", 4, [](LogCore& c) { c.BaseInsert(34, 1, "1"); },
     "resize(64) copy(@34,out,1)", "35/64", "abcd..............................1"},
    {"InsertNothingInside", 8, [](LogCore& c) { c.BaseInsert(4, 0, "1"); },
     "copy(@4,@4,4) copy(@4,out,0)", "8/16", "abcdefgh"},
    {"InsertNothingBeyond", 4, [](LogCore& c) { c.BaseInsert(6, 0, "1"); }, "copy(@6,out,0)",
     "6/16", "abcd.."},
    {"InsertNothingIntoNothing", 0, [](LogCore& c) { c.BaseInsert(0, 0, "1"); }, "copy(out,out,0)",
     "0/0", ""},

    {"OpenInside", 8, [](LogCore& c) { c.BaseInsertEmpty(2, 3); }, "copy(@5,@2,6)", "11/16",
     "abcdecdefgh"},
    {"OpenAtTheEnd", 8, [](LogCore& c) { c.BaseInsertEmpty(8, 3); }, "", "11/16", "abcdefgh..."},
    {"OpenBeyond", 8, [](LogCore& c) { c.BaseInsertEmpty(10, 2); }, "", "12/16", "abcdefgh...."},
    {"OpenWithGrowth", 8, [](LogCore& c) { c.BaseInsertEmpty(7, 9); }, "resize(32) copy(@16,@7,1)",
     "17/32", "abcdefgh........h"},

    {"CopyInside", 8, [](LogCore& c) { c.BaseCopy(2, 3, "123"); }, "copy(@2,out,3)", "8/16",
     "ab123fgh"},
    {"CopyUpToTheEnd", 8, [](LogCore& c) { c.BaseCopy(5, 3, "123"); }, "copy(@5,out,3)", "8/16",
     "abcde123"},
    {"CopyOverTheEnd", 8, [](LogCore& c) { c.BaseCopy(7, 3, "123"); }, "copy(@7,out,3)", "10/16",
     "abcdefg123"},
    {"CopyBeyond", 4, [](LogCore& c) { c.BaseCopy(6, 3, "123"); }, "copy(@6,out,3)", "9/16",
     "abcd..123"},
    {"CopyToTheBrim", 4, [](LogCore& c) { c.BaseCopy(13, 3, "123"); }, "copy(@13,out,3)", "16/16",
     "abcd.........123"},
    {"CopyPastTheBrim", 4, [](LogCore& c) { c.BaseCopy(14, 3, "123"); },
     "resize(32) copy(@14,out,3)", "17/32", "abcd..........123"},
    {"CopyIntoNothing", 0, [](LogCore& c) { c.BaseCopy(2, 3, "123"); }, "resize(16) copy(@2,out,3)",
     "5/16", "..123"},
    {"CopyNothing", 8, [](LogCore& c) { c.BaseCopy(4, 0, "1"); }, "copy(@4,out,0)", "8/16",
     "abcdefgh"},
    {"CopyNothingBeyond", 8, [](LogCore& c) { c.BaseCopy(10, 0, "1"); }, "copy(@10,out,0)", "10/16",
     "abcdefgh.."},

    {"RemoveInside", 8, [](LogCore& c) { c.BaseRemove(2, 5); },
     "copy(@2,@5,3) destroy(@5,3) allocate(@5,3)", "5/16", "abfgh"},
    {"RemoveInsideBackwards", 8, [](LogCore& c) { c.BaseRemove(5, 2); },
     "copy(@2,@5,3) destroy(@5,3) allocate(@5,3)", "5/16", "abfgh"},
    {"RemoveFront", 8, [](LogCore& c) { c.BaseRemove(0, 1); },
     "copy(@0,@1,7) destroy(@7,1) allocate(@7,1)", "7/16", "bcdefgh"},
    {"RemoveTail", 8, [](LogCore& c) { c.BaseRemove(6, 8); }, "destroy(@6,2) allocate(@6,2)",
     "6/16", "abcdef"},
    {"RemovePastTheEnd", 8, [](LogCore& c) { c.BaseRemove(6, UINT_MAX); },
     "destroy(@6,2) allocate(@6,2)", "6/16", "abcdef"},
    {"RemovePastTheEndBackwards", 8, [](LogCore& c) { c.BaseRemove(9, 6); },
     "destroy(@6,2) allocate(@6,2)", "6/16", "abcdef"},
    {"RemoveAll", 8, [](LogCore& c) { c.BaseRemove(0, 8); }, "destroy(@0,8) allocate(@0,8)", "0/16",
     ""},
    {"RemoveNothingInside", 8, [](LogCore& c) { c.BaseRemove(3, 3); }, "copy(@3,@3,5)", "8/16",
     "abcdefgh"},
    {"RemoveAtTheEnd", 8, [](LogCore& c) { c.BaseRemove(8, 9); }, "", "8/16", "abcdefgh"},
    {"RemoveBeyond", 8, [](LogCore& c) { c.BaseRemove(20, 30); }, "", "8/16", "abcdefgh"},
    {"RemoveFarBeyond", 8, [](LogCore& c) { c.BaseRemove(UINT_MAX, UINT_MAX - 4); }, "", "8/16",
     "abcdefgh"},
    {"RemoveFromNothing", 0, [](LogCore& c) { c.BaseRemove(0, 4); }, "", "0/0", ""},

    {"Clear", 8, [](LogCore& c) { c.BaseClear(); }, "destroy(@0,8) allocate(@0,8)", "0/16", ""},
    {"ClearNothing", 0, [](LogCore& c) { c.BaseClear(); }, "", "0/0", ""},

    {"AllocateFirst", 0, [](LogCore& c) { c.BaseAllocate(10); }, "resize(16)", "0/16", ""},
    {"AllocateFirstExactly", 0, [](LogCore& c) { c.BaseAllocate(16); }, "resize(16)", "0/16", ""},
    {"AllocateFirstLarge", 0, [](LogCore& c) { c.BaseAllocate(17); }, "resize(32)", "0/32", ""},
    {"AllocateNothing", 0, [](LogCore& c) { c.BaseAllocate(0); }, "", "0/0", ""},
    {"AllocateOverContents", 8, [](LogCore& c) { c.BaseAllocate(10); },
     "destroy(@0,8) allocate(@0,8)", "0/16", ""},
    {"AllocateMoreOverContents", 8, [](LogCore& c) { c.BaseAllocate(17); },
     "destroy(@0,8) allocate(@0,8) resize(32)", "0/32", ""},
    {"AllocateNothingOverContents", 8, [](LogCore& c) { c.BaseAllocate(0); },
     "destroy(@0,8) allocate(@0,8)", "0/16", ""},
    {"AllocateLessThanTheCapacity", 33, [](LogCore& c) { c.BaseAllocate(1); },
     "destroy(@0,33) allocate(@0,33)", "0/64", ""},
};

INSTANTIATE_TEST_SUITE_P(, XBaseSequenceSteps, testing::ValuesIn(kSteps),
                         [](const testing::TestParamInfo<Step>& step) { return step.param.name; });

TEST(XBaseSequence, CapacityStaysWhenEverythingIsRemoved) {
  LogCore core;
  core.fill(40);
  void* storage = core.GetPtr();
  core.BaseClear();
  EXPECT_EQ(core.state(), "0/64");
  EXPECT_EQ(core.GetPtr(), storage);
  core.BaseClear();
  EXPECT_EQ(core.taken(), "destroy(@0,40) allocate(@0,40)");
}

TEST(XBaseSequence, VacatedSlotsAreEmptyWhenTheyAreUsedAgain) {
  LogCore core;
  core.fill(8);
  core.BaseRemove(2, 6);
  core.BaseInsertEmpty(4, 4);
  EXPECT_EQ(core.contents(), "abgh----");
}

// The size changes last when elements move, but first when they are overwritten.
TEST(XBaseSequence, HooksSeeTheSizeOfTheirStep) {
  LogCore core(8);
  core.showSizes = true;
  core.BaseInsert(0, 2, "12");
  EXPECT_EQ(core.taken(), "resize(8)#0 copy(@0,out,2)#2");
  core.BaseInsert(0, 8, kLetters);
  EXPECT_EQ(core.taken(), "resize(16)#2 copy(@8,@0,2)#2 copy(@0,out,8)#10");
  core.BaseCopy(8, 10, kLetters);
  EXPECT_EQ(core.taken(), "resize(32)#10 copy(@8,out,10)#18");
  core.BaseRemove(0, 4);
  EXPECT_EQ(core.taken(), "copy(@0,@4,14)#18 destroy(@14,4)#18 allocate(@14,4)#18");
  EXPECT_EQ(core.state(), "14/32");
}

TEST(XBaseSequence, CapacityDoublesFromTheInitialOne) {
  LogCore core(264);
  std::vector<unsigned> capacities;
  for (int i = 0; i < 1100; ++i) {
    core.BaseAppend(1, "1");
    if (capacities.empty() || capacities.back() != core.GetCapacity()) {
      capacities.push_back(core.GetCapacity());
      EXPECT_TRUE(core.GetByteSize() == 1 || core.GetByteSize() == core.GetCapacity() / 2 + 1);
    }
  }
  EXPECT_EQ(capacities, (std::vector<unsigned>{264, 528, 1056, 2112}));
}

// ---- a control that shrinks ----

// A shrinking core with initial capacity 16 and 128 bytes in 128.
class XBaseSequenceShrinking : public testing::Test {
 protected:
  XBaseSequenceShrinking() : core(16, true) {
    for (int i = 0; i < 8; ++i) core.BaseAppend(16, kLetters);
    core.taken();
  }
  LogCore core;
};

TEST_F(XBaseSequenceShrinking, HalvesWhatStillHoldsTheRest) {
  core.BaseRemove(64, 128);
  EXPECT_EQ(core.taken(), "resize(64)");
  EXPECT_EQ(core.state(), "64/64");
}

TEST_F(XBaseSequenceShrinking, KeepsWhatTheRestDoesNotFitIntoHalf) {
  core.BaseRemove(65, 128);
  EXPECT_EQ(core.taken(), "destroy(@65,63) allocate(@65,63)");
  EXPECT_EQ(core.state(), "65/128");
}

TEST_F(XBaseSequenceShrinking, HalvesSeveralTimesAtOnce) {
  core.BaseRemove(0, 96);
  EXPECT_EQ(core.taken(), "copy(@0,@96,32) resize(32)");
  EXPECT_EQ(core.state(), "32/32");
  EXPECT_EQ(core.contents(), "abcdefghijklmnopabcdefghijklmnop");
}

TEST_F(XBaseSequenceShrinking, StaysAboveTheInitialCapacity) {
  core.BaseClear();
  EXPECT_EQ(core.taken(), "resize(32)");
  EXPECT_EQ(core.state(), "0/32");
  core.BaseAppend(1, "1");
  core.BaseClear();
  EXPECT_EQ(core.taken(), "copy(@0,out,1) destroy(@0,1) allocate(@0,1)");
  EXPECT_EQ(core.state(), "0/32");
}

TEST_F(XBaseSequenceShrinking, ShrinksOnlyWhenSomethingGoes) {
  core.BaseRemove(0, 96);
  core.taken();
  core.BaseInsertEmpty(0, 64);
  core.BaseRemove(0, 0);
  core.BaseRemove(200, 300);
  core.BaseCopy(0, 1, "1");
  EXPECT_EQ(core.taken(), "resize(128) copy(@64,@0,32) copy(@0,@0,96) copy(@0,out,1)");
  EXPECT_EQ(core.state(), "96/128");
}

TEST_F(XBaseSequenceShrinking, KeepsWhatIsReservedWhenNothingGoes) {
  core.BaseAllocate(100);
  core.BaseAppend(16, kLetters);
  core.taken();
  core.BaseRemove(8, 8);
  core.BaseInsertEmpty(8, 0);
  EXPECT_EQ(core.state(), "16/128");
}

TEST_F(XBaseSequenceShrinking, ReservingShrinksThenGrows) {
  core.BaseAllocate(100);
  EXPECT_EQ(core.taken(), "resize(32) resize(128)");
  EXPECT_EQ(core.state(), "0/128");
}

TEST_F(XBaseSequenceShrinking, RemovalSucceedsWithoutMemory) {
  core.failing = true;
  core.BaseRemove(0, 96);
  EXPECT_EQ(core.taken(), "copy(@0,@96,32) failed(32) destroy(@32,96) allocate(@32,96)");
  EXPECT_EQ(core.state(), "32/128");
  EXPECT_EQ(core.contents(), "abcdefghijklmnopabcdefghijklmnop");
  core.BaseClear();
  EXPECT_EQ(core.taken(), "failed(32) destroy(@0,32) allocate(@0,32)");
  EXPECT_EQ(core.state(), "0/128");
}

// Only for want of memory a removal goes on without it.
TEST_F(XBaseSequenceShrinking, WhatElseAHookThrowsPasses) {
  core.refusing = 5;
  EXPECT_THROW(core.BaseRemove(32, 128), int);
  EXPECT_EQ(core.state(), "128/128");
}

TEST(XBaseSequence, ShrinkingHalvesWithoutRounding) {
  LogCore core(10, true);
  core.fill(41);
  EXPECT_EQ(core.state(), "41/80");
  core.BaseRemove(21, 41);
  EXPECT_EQ(core.state(), "21/40");
  core.BaseRemove(20, 21);
  EXPECT_EQ(core.state(), "20/20");
  core.BaseRemove(0, 20);
  EXPECT_EQ(core.state(), "0/20");
}

// ---- an initial capacity of 0 ----

TEST(XBaseSequence, WithoutInitialCapacityTheFirstRequestSetsIt) {
  LogCore core(0);
  core.BaseAppend(3, "123");
  EXPECT_EQ(core.taken(), "resize(3) copy(@0,out,3)");
  core.BaseAppend(4, "4567");
  EXPECT_EQ(core.taken(), "resize(12) copy(@3,out,4)");
  EXPECT_EQ(core.contents(), "1234567");
}

TEST(XBaseSequence, WithoutInitialCapacityEveryOperationStarts) {
  LogCore copied(0);
  copied.BaseCopy(2, 3, "123");
  EXPECT_EQ(copied.state(), "5/5");
  LogCore reserved(0);
  reserved.BaseAllocate(0);
  EXPECT_EQ(reserved.state(), "0/0");
  reserved.BaseAllocate(7);
  EXPECT_EQ(reserved.state(), "0/7");
  LogCore opened(0);
  opened.BaseInsertEmpty(4, 5);
  EXPECT_EQ(opened.state(), "9/9");
}

TEST(XBaseSequence, WithoutInitialCapacityShrinkingEndsAtOne) {
  LogCore core(0, true);
  core.BaseAppend(3, "123");
  core.BaseAppend(9, kLetters);
  EXPECT_EQ(core.state(), "12/12");
  core.BaseRemove(4, 12);
  EXPECT_EQ(core.state(), "4/6");
  core.BaseClear();
  EXPECT_EQ(core.state(), "0/1");
}

// ---- no memory ----

TEST(XBaseSequence, WithoutMemoryNothingChanges) {
  const std::function<void(LogCore&)> growing[] = {
      [](LogCore& c) { c.BaseAppend(9, kLetters); },
      [](LogCore& c) { c.BaseInsert(2, 9, kLetters); },
      [](LogCore& c) { c.BaseInsert(16, 1, kLetters); },
      [](LogCore& c) { c.BaseInsertEmpty(0, 9); },
      [](LogCore& c) { c.BaseCopy(0, 17, kLetters); },
      [](LogCore& c) { c.BaseCopy(16, 1, kLetters); },
      [](LogCore& c) { c.BaseInsert(0, 9, c.GetPtr()); },
  };
  for (const auto& grow : growing) {
    LogCore core;
    core.fill(9);
    core.BaseRemove(8, 9);
    core.taken();
    core.failing = true;
    EXPECT_THROW(grow(core), std::bad_alloc);
    EXPECT_EQ(core.taken(), "failed(32)");
    EXPECT_EQ(core.state(), "8/16");
    EXPECT_EQ(core.contents(), "abcdefgh");
    core.failing = false;
    core.BaseAppend(1, "1");
    EXPECT_EQ(core.contents(), "abcdefgh1");
  }
}

TEST(XBaseSequence, WithoutMemoryReservingLeavesItEmpty) {
  LogCore core;
  core.fill(8);
  core.failing = true;
  EXPECT_THROW(core.BaseAllocate(17), std::bad_alloc);
  EXPECT_EQ(core.taken(), "destroy(@0,8) allocate(@0,8) failed(32)");
  EXPECT_EQ(core.state(), "0/16");
}

TEST(XBaseSequence, WithoutMemoryThereIsNoFirstStorage) {
  LogCore core;
  core.failing = true;
  EXPECT_THROW(core.BaseAppend(1, "1"), std::bad_alloc);
  EXPECT_EQ(core.GetPtr(), nullptr);
  EXPECT_EQ(core.state(), "0/0");
}

// ---- the limit: a capacity below 2^32 ----

const char kTooLarge[] = "Size limit exceeded";

TEST(XBaseSequenceLimits, LargestCapacityIsTheLastDoublingBelowFourGiga) {
  struct Row {
    unsigned initial;
    unsigned largest;
  };
  const Row rows[] = {{256, 2147483648U}, {264, 2214592512U}, {1, 2147483648U},
                      {3, 3221225472U},   {300, 2516582400U}, {UINT_MAX, UINT_MAX}};
  for (const Row& row : rows) {
    HollowCore core(row.initial);
    core.BaseAllocate(row.largest);
    EXPECT_EQ(core.GetCapacity(), row.largest);
    if (row.largest == UINT_MAX) continue;
    HollowCore beyond(row.initial);
    EXPECT_VEL_NATIVE(beyond.BaseAllocate(row.largest + 1), kTooLarge);
    EXPECT_EQ(beyond.GetCapacity(), 0U);
    EXPECT_EQ(beyond.calls, "");
  }
}

TEST(XBaseSequenceLimits, WithoutInitialCapacityAnySizeFits) {
  HollowCore core(0);
  core.BaseAllocate(UINT_MAX);
  EXPECT_EQ(core.GetCapacity(), UINT_MAX);
  HollowCore doubling(0);
  doubling.BaseAllocate(0x80000001);
  EXPECT_VEL_NATIVE(doubling.BaseAllocate(0x80000002), kTooLarge);
}

TEST(XBaseSequenceLimits, EveryOperationReachesTheLimit) {
  const std::function<void(HollowCore&)> fitting[] = {
      [](HollowCore& c) { c.BaseAppend(0x80000000, ""); },
      [](HollowCore& c) { c.BaseInsert(0x7fffffff, 1, ""); },
      [](HollowCore& c) { c.BaseInsertEmpty(0x80000000, 0); },
      [](HollowCore& c) { c.BaseCopy(0x7fffffff, 1, ""); },
      [](HollowCore& c) { c.BaseCopy(0, 0x80000000, ""); },
  };
  for (const auto& run : fitting) {
    HollowCore core;
    run(core);
    EXPECT_EQ(core.GetByteSize(), 0x80000000U);
    EXPECT_EQ(core.GetCapacity(), 0x80000000U);
  }
}

TEST(XBaseSequenceLimits, RefusalsTouchNothing) {
  const std::function<void(HollowCore&)> refused[] = {
      [](HollowCore& c) { c.BaseAppend(0x7fffff01, ""); },
      [](HollowCore& c) { c.BaseAppend(UINT_MAX, ""); },
      [](HollowCore& c) { c.BaseInsert(0, 0x7fffff01, ""); },
      [](HollowCore& c) { c.BaseInsert(0x80000000, 1, ""); },
      [](HollowCore& c) { c.BaseInsert(UINT_MAX, 1, ""); },
      [](HollowCore& c) { c.BaseInsert(UINT_MAX, 2, ""); },
      [](HollowCore& c) { c.BaseInsert(UINT_MAX, UINT_MAX, ""); },
      [](HollowCore& c) { c.BaseInsertEmpty(0x80000001, 0); },
      [](HollowCore& c) { c.BaseInsertEmpty(UINT_MAX, 0x101); },
      [](HollowCore& c) { c.BaseCopy(0x80000000, 1, ""); },
      [](HollowCore& c) { c.BaseCopy(UINT_MAX, 0, ""); },
      [](HollowCore& c) { c.BaseCopy(UINT_MAX, 2, ""); },
      [](HollowCore& c) { c.BaseCopy(UINT_MAX, UINT_MAX, ""); },
      [](HollowCore& c) { c.BaseAllocate(0x80000001); },
      [](HollowCore& c) { c.BaseAllocate(UINT_MAX); },
  };
  int number = 0;
  for (const auto& run : refused) {
    SCOPED_TRACE(number++);
    HollowCore core;
    core.BaseAppend(256, "");
    core.calls.clear();
    EXPECT_VEL_NATIVE(run(core), kTooLarge);
    EXPECT_EQ(core.calls, "");
    EXPECT_EQ(core.GetByteSize(), 256U);
    EXPECT_EQ(core.GetCapacity(), 256U);
  }
}

TEST(XBaseSequenceLimits, RemovalKnowsNoLimit) {
  HollowCore core;
  core.BaseAppend(0x80000000, "");
  core.calls.clear();
  core.BaseRemove(0, 0x7ffffff0);
  EXPECT_EQ(core.calls, "copy(16) destroy(2147483632) allocate(2147483632) ");
  EXPECT_EQ(core.GetByteSize(), 16U);
}

// ---- sources inside the sequence ----

class XBaseSequenceOwnSource : public testing::TestWithParam<unsigned> {};

// All positions, offsets and lengths over six bytes, against a copy made first.
TEST_P(XBaseSequenceOwnSource, InsertActsAsIfCopiedFirst) {
  for (unsigned pos = 0; pos <= 9; ++pos) {
    for (unsigned offset = 0; offset <= 6; ++offset) {
      for (unsigned count = 0; count <= 6 - offset; ++count) {
        LogCore core(GetParam());
        core.fill(6);
        std::string expected = core.contents();
        const std::string copy = expected.substr(offset, count);
        if (pos > 6) expected.append(pos - 6, '.');
        expected.insert(pos, copy);
        core.BaseInsert(pos, count, core.at(offset));
        EXPECT_EQ(core.contents(), expected) << pos << ' ' << offset << ' ' << count;
      }
    }
  }
}

TEST_P(XBaseSequenceOwnSource, CopyActsAsIfCopiedFirst) {
  for (unsigned pos = 0; pos <= 9; ++pos) {
    for (unsigned offset = 0; offset <= 6; ++offset) {
      for (unsigned count = 0; count <= 6 - offset; ++count) {
        LogCore core(GetParam());
        core.fill(6);
        std::string expected = core.contents();
        const std::string copy = expected.substr(offset, count);
        if (pos + count > 6) expected.resize(pos + count, '.');
        expected.replace(pos, count, copy);
        core.BaseCopy(pos, count, core.at(offset));
        EXPECT_EQ(core.contents(), expected) << pos << ' ' << offset << ' ' << count;
      }
    }
  }
}

// 6: each call grows the storage; 8: some do; 32: none does.
INSTANTIATE_TEST_SUITE_P(, XBaseSequenceOwnSource, testing::Values(6U, 8U, 32U));

TEST(XBaseSequence, AppendsItself) {
  LogCore core;
  core.fill(10);
  core.BaseAppend(core.GetByteSize(), core.GetPtr());
  EXPECT_EQ(core.taken(), "resize(32) copy(@10,@0,10)");
  EXPECT_EQ(core.contents(), "abcdefghijabcdefghij");
}

TEST(XBaseSequence, OwnSourcesTakeOneCopyUnlessTheGapDividesThem) {
  LogCore core(64);
  core.fill(8);
  core.BaseInsert(4, 3, core.at(0));
  EXPECT_EQ(core.taken(), "copy(@7,@4,4) copy(@4,@0,3)");
  core.BaseInsert(4, 3, core.at(5));
  EXPECT_EQ(core.taken(), "copy(@7,@4,7) copy(@4,@8,3)");
  core.BaseInsert(4, 3, core.at(2));
  EXPECT_EQ(core.taken(), "copy(@7,@4,10) copy(@4,@2,2) copy(@6,@7,1)");
  core.BaseInsert(4, 0, core.at(2));
  EXPECT_EQ(core.taken(), "copy(@4,@4,13) copy(@4,@2,0)");
  core.BaseInsert(4, 3, core.at(4));
  EXPECT_EQ(core.taken(), "copy(@7,@4,13) copy(@4,@7,3)");
  core.BaseCopy(4, 3, core.at(2));
  EXPECT_EQ(core.taken(), "copy(@4,@2,3)");
}

}  // namespace
