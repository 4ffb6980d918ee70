// Sets of places against std::set, for bounds on both sides of each row's end. The
// class is not exported.
#include "velplaceset.h"

#include <cstdlib>
#include <iterator>
#include <memory>
#include <random>
#include <set>
#include <vector>

#include "veltest.h"

namespace {

std::size_t allocated = 0;
bool hasNoMemory = false;

}  // namespace

// In place of those that a set calls.
void* korAlloc(std::size_t size) {
  allocated = size;
  return hasNoMemory ? nullptr : std::malloc(size);
}
void korFree(void* block) { std::free(block); }

namespace {

struct Free {
  void operator()(velPlaceSet* set) const { korFree(set); }
};
using Set = std::unique_ptr<velPlaceSet, Free>;

constexpr unsigned kNone = velPlaceSet::kNone;

unsigned atOrAfter(const std::set<unsigned>& model, unsigned n) {
  const auto found = model.lower_bound(n);
  return found == model.end() ? kNone : *found;
}
unsigned atOrBefore(const std::set<unsigned>& model, unsigned n) {
  const auto after = model.upper_bound(n);
  return after == model.begin() ? kNone : *std::prev(after);
}

constexpr unsigned kBounds[] = {1,    2,    63,   64,   65,   127,    128,    129,    4032,
                                4095, 4096, 4097, 4160, 8192, 131072, 262143, 262144, 262145};

// Ends and middles of words and of rows, as far as they lie below the bound.
std::vector<unsigned> placesBelow(unsigned bound) {
  std::set<unsigned> places = {0, bound - 1};
  for (const unsigned unit : {1U, 64U, 4096U}) {
    for (const unsigned times : {1U, 2U, 31U, 62U, 63U, 64U, 65U, 129U}) {
      for (const unsigned n : {unit * times - 1, unit * times, unit * times + 1}) {
        if (n < bound) places.insert(n);
      }
    }
  }
  return {places.begin(), places.end()};
}

TEST(VelPlaceSet, NoneIsAboveEveryPlace) { EXPECT_EQ(kNone, 4294967295U); }

TEST(VelPlaceSet, FindsNothingInAnEmptyOne) {
  for (const unsigned bound : kBounds) {
    SCOPED_TRACE(bound);
    const Set set(velPlaceSet::create(bound));
    for (const unsigned n : placesBelow(bound)) {
      EXPECT_EQ(set->atOrAfter(n), kNone);
      EXPECT_EQ(set->atOrBefore(n), kNone);
    }
  }
}

TEST(VelPlaceSet, FindsASingleMemberFromEverywhere) {
  for (const unsigned bound : kBounds) {
    const Set set(velPlaceSet::create(bound));
    for (const unsigned member : placesBelow(bound)) {
      set->add(member);
      for (const unsigned n : placesBelow(bound)) {
        SCOPED_TRACE(testing::Message() << bound << ": " << member << " from " << n);
        ASSERT_EQ(set->atOrAfter(n), n <= member ? member : kNone);
        ASSERT_EQ(set->atOrBefore(n), n >= member ? member : kNone);
      }
      set->remove(member);
    }
    EXPECT_EQ(set->atOrAfter(0), kNone);
  }
}

TEST(VelPlaceSet, FindsTheNearestOfMany) {
  std::mt19937 random(1);
  for (const unsigned bound : kBounds) {
    const Set set(velPlaceSet::create(bound));
    std::set<unsigned> model;
    for (int step = 0; step < 3000; ++step) {
      const unsigned n = unsigned(random()) % bound;
      // Now more of them, now fewer.
      if (random() % 1000 < static_cast<unsigned>(step) % 1000) {
        set->add(n);
        model.insert(n);
      } else {
        const unsigned gone = atOrAfter(model, n);
        set->remove(gone == kNone ? n : gone);
        model.erase(gone == kNone ? n : gone);
      }
      const unsigned from = unsigned(random()) % bound;
      SCOPED_TRACE(testing::Message() << bound << " from " << from);
      ASSERT_EQ(set->atOrAfter(from), atOrAfter(model, from));
      ASSERT_EQ(set->atOrBefore(from), atOrBefore(model, from));
    }
  }
}

// A bit each, one for each word of them, and so on up to a single word.
TEST(VelPlaceSet, TakesNoMoreMemoryThanItsRows) {
  const struct {
    unsigned bound;
    std::size_t words;
  } rows[] = {{1, 1},
              {64, 1},
              {65, 2 + 1},
              {4096, 64 + 1},
              {4097, 65 + 2 + 1},
              {262144, 4096 + 64 + 1},
              {262145, 4097 + 65 + 2 + 1}};
  for (const auto& [bound, words] : rows) {
    SCOPED_TRACE(bound);
    const Set set(velPlaceSet::create(bound));
    EXPECT_EQ(allocated, sizeof(velPlaceSet) + words * 8);
  }
}

TEST(VelPlaceSet, IsNoneWithoutMemory) {
  hasNoMemory = true;
  EXPECT_EQ(velPlaceSet::create(100), nullptr);
  hasNoMemory = false;
}

}  // namespace
