// The private index of dictionaries against plain probing, on tables of any
// filling. The class is not exported: its source is part of this program.
#include "velbdictindex.h"

#include <sys/random.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cstdlib>
#include <random>
#include <string>
#include <vector>

#include "koralloc.h"
#include "velbdict.h"
#include "veltest.h"

namespace {

// What the functions below refuse, and what they have given and not got back.
bool hasNoMemory = false;
int lastBlock = 0;  // that many more, then none; 0: no end
int blocks = 0;
int seeds = 0;  // asked for

}  // namespace

// In place of those that the index would call.
void* korAlloc(std::size_t size) {
  void* const block = hasNoMemory ? nullptr : std::malloc(size);
  blocks += block != nullptr;
  if (lastBlock > 0 && --lastBlock == 0) hasNoMemory = true;
  return block;
}
void korFree(void* block) {
  blocks -= block != nullptr;
  std::free(block);
}
ssize_t getrandom(void* buffer, size_t length, unsigned flags) {
  ++seeds;
  return syscall(SYS_getrandom, buffer, length, flags);
}

namespace {

using Entry = xdictentry<int>;
const char* const kTombstone = reinterpret_cast<const char*>(std::uintptr_t{1});

// Slots whose keys lie wherever the test wants them.
struct Table {
  Table(unsigned size, unsigned livePercent, unsigned vacatedPercent, unsigned seed)
      : random(seed), entries(size), texts(size) {
    for (unsigned slot = 0; slot < size; ++slot) {
      texts[slot] = std::to_string(slot);
      const unsigned chance = static_cast<unsigned>(random() % 100);
      if (chance < livePercent) {
        entries[slot].key = texts[slot].c_str();
      } else {
        entries[slot].key = chance < livePercent + vacatedPercent ? kTombstone : nullptr;
      }
    }
    index = velDictIndex::create({entries.data(), sizeof(Entry), size});
  }
  ~Table() { velDictIndex::destroy(index); }
  Table(const Table&) = delete;
  Table& operator=(const Table&) = delete;

  unsigned Size() const { return static_cast<unsigned>(entries.size()); }

  // The rule itself.
  unsigned Probe(std::uint32_t start, std::uint32_t step) const {
    unsigned found = velDictIndex::kNone;
    for (unsigned n = 0; n < Size(); ++n, start += step) {
      const unsigned slot = start & (Size() - 1);
      if (!entries[slot].key) return found == velDictIndex::kNone ? slot : found;
      if (entries[slot].key == kTombstone) found = slot;
    }
    return found;
  }

  // Another state for one slot.
  void Change() {
    const auto slot = static_cast<unsigned>(random() % Size());
    if (xdictentryIsVacant(entries[slot].key)) {
      index->adding(slot, texts[slot].c_str());
      entries[slot].key = texts[slot].c_str();
    } else {
      index->removing(slot);
      entries[slot].key = kTombstone;
    }
  }

  bool FindsAll() const {
    for (unsigned slot = 0; slot < Size(); ++slot) {
      const bool live = !xdictentryIsVacant(entries[slot].key);
      if (index->find(texts[slot].c_str()) != (live ? slot : velDictIndex::kNone)) return false;
    }
    return index->find("absent") == velDictIndex::kNone;
  }

  std::mt19937 random;
  std::vector<Entry> entries;
  std::vector<std::string> texts;
  velDictIndex* index;
};

struct Filling {
  unsigned size, live, vacated;
};

class VelDictIndexFilling : public testing::TestWithParam<Filling> {};

TEST_P(VelDictIndexFilling, FindsTheSlotsThatProbingFinds) {
  const Filling filling = GetParam();
  Table table(filling.size, filling.live, filling.vacated, filling.size + filling.live);
  ASSERT_NE(table.index, nullptr);
  // Few steps, so that each gets its sets; starts all over the table.
  const std::uint32_t steps[] = {1, 3, 0xFFFFFF03U, 0xCB, 0xFFFFFFFFU};
  for (int round = 0; round < 30000; ++round) {
    const auto start = static_cast<std::uint32_t>(table.random());
    const std::uint32_t step = steps[table.random() % 5];
    ASSERT_EQ(table.index->slotToFill(start, step), table.Probe(start, step))
        << "round " << round << ", start " << start << ", step " << step;
    // Slowly at first: few tombstones are what makes a set of them worth it.
    if (round % (round < 15000 ? 200 : 4) == 0) table.Change();
    if (round % 5000 == 0) {
      ASSERT_TRUE(table.FindsAll());
    }
  }
  EXPECT_TRUE(table.FindsAll());
}

INSTANTIATE_TEST_SUITE_P(, VelDictIndexFilling,
                         testing::Values(Filling{128, 90, 5}, Filling{128, 95, 4},
                                         Filling{1024, 60, 39}, Filling{1024, 98, 1},
                                         Filling{1024, 97, 0}, Filling{4096, 99, 1},
                                         Filling{4096, 100, 0}, Filling{8192, 50, 50},
                                         Filling{8192, 0, 0}, Filling{8192, 99, 0},
                                         // Sets of three levels.
                                         Filling{131072, 60, 39}),
                         [](const auto& each) {
                           const Filling f = each.param;
                           return std::to_string(f.size) + "_" + std::to_string(f.live) + "_" +
                                  std::to_string(f.vacated);
                         });

// Each step that a key can have gets sets of its own.
TEST(VelDictIndex, TellsAllStepsApart) {
  Table table(1024, 98, 1, 1);
  for (int round = 0; round < 200; ++round) {
    for (int half = -128; half < 128; ++half) {
      const std::uint32_t step = static_cast<std::uint32_t>(half) << 1 | 1;
      const auto start = static_cast<std::uint32_t>(table.random());
      ASSERT_EQ(table.index->slotToFill(start, step), table.Probe(start, step))
          << "start " << start << ", step " << step;
    }
  }
}

// Of so many keys, some two dozen pairs have one hash of 32 bits.
TEST(VelDictIndex, TellsKeysOfOneHashApart) {
  Table table(1U << 19, 90, 5, 1);
  ASSERT_NE(table.index, nullptr);
  EXPECT_TRUE(table.FindsAll());
}

// Live slots in a row but for the given ones.
TEST(VelDictIndex, LooksBehindEachBoundaryOfItsSets) {
  for (unsigned empty = 0; empty < 4096; empty += 7) {
    Table table(4096, 100, 0, 1);
    table.entries[empty].key = nullptr;
    velDictIndex::destroy(table.index);
    table.index = velDictIndex::create({table.entries.data(), sizeof(Entry), 4096});
    for (int i = 0; i < 6; ++i) table.index->slotToFill(empty + 1, 1);  // makes the set
    for (unsigned start : {0U, empty, empty + 1, 63U, 64U, 65U, 4031U, 4032U, 4095U}) {
      ASSERT_EQ(table.index->slotToFill(start, 1), empty) << start;
    }
  }
}

TEST(VelDictIndex, TakenTablesHaveNoSlotToFill) {
  Table table(256, 100, 0, 1);
  for (int i = 0; i < 100; ++i) EXPECT_EQ(table.index->slotToFill(7, 5), velDictIndex::kNone);
  EXPECT_TRUE(table.FindsAll());
}

// Keys that collide in one index are harmless in the next.
TEST(VelDictIndex, GetsARandomSeedOfItsOwn) {
  seeds = 0;
  const Table first(64, 50, 0, 1);
  const Table second(64, 50, 0, 1);
  EXPECT_EQ(seeds, 2);
}

TEST(VelDictIndex, IsNotMadeWithoutMemory) {
  std::vector<Entry> entries(64);
  hasNoMemory = true;
  velDictIndex* const index = velDictIndex::create({entries.data(), sizeof(Entry), 64});
  hasNoMemory = false;
  EXPECT_EQ(index, nullptr);
}

TEST(VelDictIndex, IsGivenBackWithoutMemoryForItsEntries) {
  std::vector<Entry> entries(64);
  const int before = blocks;
  lastBlock = 1;
  velDictIndex* const index = velDictIndex::create({entries.data(), sizeof(Entry), 64});
  hasNoMemory = false;
  EXPECT_EQ(index, nullptr);
  EXPECT_EQ(blocks, before);
}

TEST(VelDictIndex, ProbesWithoutMemoryForItsSets) {
  for (const Filling filling :
       {Filling{1024, 97, 2}, Filling{1024, 98, 2}, Filling{1024, 99, 1}, Filling{1024, 100, 0}}) {
    Table table(filling.size, filling.live, filling.vacated, 1);
    hasNoMemory = true;
    for (std::uint32_t start = 0; start < filling.size; ++start) {
      for (const std::uint32_t step : {1U, 3U, 0xFFFFFFFFU}) {
        EXPECT_EQ(table.index->slotToFill(start, step), table.Probe(start, step))
            << start << ' ' << step;
      }
    }
    hasNoMemory = false;
    EXPECT_TRUE(table.FindsAll());
  }
}

// Two paths round the whole table are what a set of empty slots is worth, and two back
// over all of it a set of tombstones.
TEST(VelDictIndex, MakesASetWhenProbingHasAddedUp) {
  Table table(1024, 100, 0, 1);
  table.entries[7].key = nullptr;
  table.entries[8].key = kTombstone;
  velDictIndex::destroy(table.index);
  table.index = velDictIndex::create({table.entries.data(), sizeof(Entry), 1024});
  const int before = blocks;
  constexpr int kCircle = 1;
  for (const int sets : {0, 1, 1, 2, 2, 2}) {
    EXPECT_EQ(table.index->slotToFill(8, 1), 8U);
    EXPECT_EQ(blocks, before + kCircle + sets);
  }
}

TEST(VelDictIndex, GivesBackAllThatItTook) {
  const int before = blocks;
  {
    Table table(1024, 97, 2, 1);
    for (std::uint32_t start = 0; start < 1024; ++start) {
      for (const std::uint32_t step : {1U, 3U, 0xFFFFFFFFU}) table.index->slotToFill(start, step);
    }
    EXPECT_GT(blocks, before + 4) << "sets have been made";
  }
  EXPECT_EQ(blocks, before);
}

}  // namespace
