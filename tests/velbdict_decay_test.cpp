// Dictionaries do not get slow: neither by keys that were chosen to collide nor
// by long lives. Times are compared within one run, never with a clock's figure.
#include <time.h>

#include <algorithm>
#include <random>
#include <string>
#include <vector>

#include "veltest.h"
#include "veltest_long.h"

namespace {

// Of processor time: others use the machine as well.
double Now() {
  timespec at;
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &at);
  return static_cast<double>(at.tv_sec) + static_cast<double>(at.tv_nsec) * 1e-9;
}

template <class F>
double Seconds(F&& work) {
  const double begin = Now();
  work();
  return Now() - begin;
}

// The best of several runs: what else the machine does only adds to a time.
template <class F>
double BestSeconds(int runs, F&& work) {
  double best = Seconds(work);
  for (int i = 1; i < runs; ++i) best = std::min(best, Seconds(work));
  return best;
}

// 65,536 keys with one main hash: either block of two letters adds the same.
std::vector<std::string> CollidingKeys() {
  std::vector<std::string> keys;
  for (unsigned n = 0; n < 65536; ++n) {
    std::string key;
    for (int bit = 0; bit < 16; ++bit) key += n >> bit & 1 ? "Aa" : "BB";
    keys.push_back(key);
  }
  return keys;
}

// As many of the same length, each with a hash of its own.
std::vector<std::string> OrdinaryKeys() {
  std::mt19937 random(16);
  std::vector<std::string> keys;
  for (unsigned n = 0; n < 65536; ++n) {
    std::string key = std::to_string(n);
    while (key.size() < 32) key += static_cast<char>('a' + random() % 26);
    keys.push_back(key);
  }
  return keys;
}

void InsertAll(const std::vector<std::string>& keys) {
  const auto dict = xintdictionary::create();
  int n = 0;
  for (const std::string& key : keys) dict->set(key.c_str(), n++);
  for (const std::string& key : keys) dict->find(key.c_str(), &n);
  ASSERT_EQ(n, static_cast<int>(keys.size()) - 1);
  ASSERT_FALSE(dict->find("absent", nullptr));
}

TEST(VelbdictDecay, KeysThatCollideTakeAtMostTenTimesAsLong) {
  const auto ordinary = OrdinaryKeys();
  const auto colliding = CollidingKeys();
  const double usual = BestSeconds(5, [&] { InsertAll(ordinary); });
  const double flood = BestSeconds(3, [&] { InsertAll(colliding); });
  EXPECT_LE(flood, usual * 10);
  velFigure("dictionary", "65,536 keys that collide, over ordinary ones", flood / usual, "times");
}

// Then every other one goes and comes again, one at a time.
void ReplaceAll(const std::vector<std::string>& keys) {
  const auto dict = xintdictionary::create();
  for (const std::string& key : keys) dict->set(key.c_str(), 1);
  for (std::size_t i = 0; i + 1 < keys.size(); i += 2) {
    dict->remove(keys[i].c_str());
    dict->set((keys[i + 1] + "CC").c_str(), 2);
  }
  ASSERT_EQ(dict->getcount(), static_cast<int>(keys.size()));
}

TEST(VelbdictDecay, ReplacingKeysThatCollideTakesAtMostTenTimesAsLong) {
  const auto ordinary = OrdinaryKeys();
  const auto colliding = CollidingKeys();
  const double usual = BestSeconds(5, [&] { ReplaceAll(ordinary); });
  const double flood = BestSeconds(3, [&] { ReplaceAll(colliding); });
  EXPECT_LE(flood, usual * 10);
  velFigure("dictionary", "replacing keys that collide, over ordinary ones", flood / usual,
            "times");
}

// Removes and inserts `pairs` entries at a steady load; the time of the last
// tenth over that of the first.
double LastTenthOverFirst(int entries, int pairs) {
  const auto dict = xintdictionary::create();
  std::mt19937 random(60);
  std::vector<std::string> live;
  unsigned next = 0;
  const auto fresh = [&] { return "key" + std::to_string(next++ * 2654435761U); };
  for (int i = 0; i < entries; ++i) {
    live.push_back(fresh());
    dict->set(live.back().c_str(), i);
  }
  const int slots = dict->getmapsize();
  double tenths[10];
  for (double& tenth : tenths) {
    std::vector<std::string> added;
    for (int i = 0; i < pairs / 10; ++i) added.push_back(fresh());
    tenth = Seconds([&] {
      for (std::string& key : added) {
        std::string& gone = live[random() % live.size()];
        dict->remove(gone.c_str());
        gone.swap(key);
        dict->set(gone.c_str(), 1);
      }
    });
  }
  EXPECT_EQ(dict->getcount(), entries);
  EXPECT_EQ(dict->getmapsize(), slots) << "the load is steady";
  int found = 0;
  for (const std::string& key : live) found += dict->find(key.c_str(), nullptr);
  EXPECT_EQ(found, entries);
  return tenths[9] / tenths[0];
}

TEST(VelbdictDecay, LongLivesAreAsFastAtTheirEnd) {
  const int pairs = velShortOrLong(200000, 1000000);
  for (const int slots : {128, 1024, 16384, 131072}) {
    const double ratio = LastTenthOverFirst(slots * 6 / 10, pairs);
    EXPECT_LE(ratio, 5) << slots << " slots";
    const std::string what = "last tenth over first, " + std::to_string(slots) + " slots";
    velFigure("dictionary", what.c_str(), ratio, "times");
  }
}

// Steady lookups of keys that are not there, in a table without an empty slot.
TEST(VelbdictDecay, AbsentKeysStayCheap) {
  const auto dict = xintdictionary::create();
  constexpr int kEntries = 10000;
  unsigned next = 0;
  const auto key = [](unsigned n) { return "key" + std::to_string(n); };
  for (; next < kEntries; ++next) dict->set(key(next).c_str(), 1);
  const auto lookUp = [&] {
    for (unsigned n = 0; n < 20000; ++n) dict->find(key(4000000000U + n).c_str(), nullptr);
  };
  const double fresh = BestSeconds(3, lookUp);
  for (; next < 20 * kEntries; ++next) {
    dict->remove(key(next - kEntries).c_str());
    dict->set(key(next).c_str(), 1);
  }
  EXPECT_LE(BestSeconds(3, lookUp), fresh * 5);
}

}  // namespace
