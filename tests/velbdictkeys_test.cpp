// The store of a dictionary's keys. The class is not exported: its source is part
// of this program.
#include "velbdictkeys.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <map>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "veltest_memory.h"

namespace {

struct Destroy {
  void operator()(velDictKeys* keys) const { velDictKeys::destroy(keys); }
};
using Store = std::unique_ptr<velDictKeys, Destroy>;

const char* Add(const Store& store, const std::string& text) {
  return store->add(text.c_str(), text.size());
}

// Whether it is that text, at a multiple of eight, with zeros up to the next one.
bool IsCopy(const char* key, const std::string& text) {
  if (reinterpret_cast<std::uintptr_t>(key) % 8 != 0) return false;
  std::string padded = text;
  padded.resize(velDictKeys::paddedSize(text.size()));
  return std::memcmp(key, padded.data(), padded.size()) == 0;
}

// A text of that length, with bytes that tell it from others.
std::string Text(std::size_t length, unsigned n) {
  std::string text = std::to_string(n);
  text.resize(length, static_cast<char>('a' + n % 26));
  return text;
}

TEST(VelDictKeys, PaddingEndsAtTheNextMultipleOfEight) {
  EXPECT_EQ(velDictKeys::paddedSize(0), 8U);
  EXPECT_EQ(velDictKeys::paddedSize(7), 8U);
  EXPECT_EQ(velDictKeys::paddedSize(8), 16U);
  EXPECT_EQ(velDictKeys::paddedSize(63), 64U);
}

TEST(VelDictKeys, CopiesTextsOfAnyLength) {
  const Store store(velDictKeys::create(128));
  std::vector<const char*> keys;
  for (unsigned n = 0; n < 300; ++n) keys.push_back(Add(store, Text(n, n)));
  for (unsigned n = 0; n < 300; ++n) EXPECT_TRUE(IsCopy(keys[n], Text(n, n))) << n;
}

TEST(VelDictKeys, GoesAsAWhole) {
  const long before = velLiveBlocks();
  {
    const Store store(velDictKeys::create(64));
    for (unsigned n = 0; n < 20000; ++n) Add(store, Text(n % 100, n));
    EXPECT_GT(velLiveBlocks(), before + 2000) << "long keys have a block each";
  }
  EXPECT_EQ(velLiveBlocks(), before);
  velDictKeys::destroy(nullptr);
}

TEST(VelDictKeys, ManyShortKeysShareABlock) {
  const long before = velLiveBlocks();
  const Store store(velDictKeys::create(128));
  for (unsigned n = 0; n < 10000; ++n) Add(store, Text(10, n));
  EXPECT_EQ(store->used(), 160000U);
  EXPECT_LT(store->room(), 160000U + 40000U);
  EXPECT_LT(velLiveBlocks(), before + 20);
}

TEST(VelDictKeys, APlaceGoesToTheNextKeyOfItsSize) {
  const Store store(velDictKeys::create(256));
  const char* first = Add(store, "first");
  const char* other = Add(store, "a longer one");
  Add(store, "last");
  store->remove(first, 5);
  store->remove(other, 12);
  EXPECT_EQ(Add(store, "one more word"), other);
  EXPECT_TRUE(IsCopy(other, "one more word"));
  EXPECT_EQ(Add(store, ""), first);
  EXPECT_TRUE(IsCopy(first, ""));
}

TEST(VelDictKeys, TheLastKeyGivesBackWhatWasAllocatedForIt) {
  const Store store(velDictKeys::create(64));
  Add(store, Text(40, 1));
  const long before = velLiveBlocks();
  const std::size_t room = store->room();
  for (const std::size_t length : {30U, 63U, 64U, 1000U}) {
    const char* key = Add(store, Text(length, 2));
    EXPECT_EQ(velLiveBlocks(), before + 1) << length;
    store->remove(key, length);
    EXPECT_EQ(velLiveBlocks(), before) << length;
    EXPECT_EQ(store->room(), room) << length;
    EXPECT_EQ(store->used(), 48U) << length;
  }
  EXPECT_TRUE(IsCopy(Add(store, "still usable"), "still usable"));
}

TEST(VelDictKeys, WithoutMemoryNothingChanges) {
  {
    const VelFailAllocation fail(1);
    EXPECT_EQ(velDictKeys::create(8), nullptr);
  }
  const Store store(velDictKeys::create(16));
  const char* kept = Add(store, "kept");
  for (const std::size_t length : {20U, 63U, 64U}) {
    const std::string text = Text(length, 1);
    const VelFailAllocation fail(1);
    EXPECT_EQ(Add(store, text), nullptr);
    EXPECT_TRUE(fail.hasFailed());
  }
  EXPECT_EQ(store->used(), 8U);
  EXPECT_TRUE(IsCopy(kept, "kept"));
  const VelFailAllocation fail(1);
  EXPECT_TRUE(IsCopy(Add(store, "fits"), "fits"));
  EXPECT_FALSE(fail.hasFailed());
}

TEST(VelDictKeys, MovesToARoomOfItsUsedBytesWithoutMemory) {
  Store store(velDictKeys::create(64));
  std::map<std::string, const char*> keys;
  for (unsigned n = 0; n < 500; ++n) keys[Text(n % 80 + 3, n)] = nullptr;
  for (auto& [text, key] : keys) key = Add(store, text);
  for (auto at = keys.begin(); at != keys.end();) {
    store->remove(at->second, at->first.size());
    at = keys.erase(at);
    if (at != keys.end()) ++at;
  }
  Store fresh(velDictKeys::create(store->used()));
  {
    const VelFailAllocation fail(1);
    for (auto& [text, key] : keys) {
      const char* const old = key;
      key = fresh->moved(key, text.size());
      EXPECT_EQ(key == old, text.size() > velDictKeys::kShort);
    }
    EXPECT_FALSE(fail.hasFailed());
  }
  EXPECT_EQ(fresh->used(), store->used());
  EXPECT_EQ(fresh->room(), fresh->used());
  fresh->takeLong(*store);
  store = std::move(fresh);
  for (const auto& [text, key] : keys) EXPECT_TRUE(IsCopy(key, text)) << text;
  for (const auto& [text, key] : keys) store->remove(key, text.size());
  EXPECT_EQ(store->used(), 0U);
}

TEST(VelDictKeys, KeepsWhatManyAdditionsAndRemovalsLeave) {
  std::mt19937 random(8);
  const Store store(velDictKeys::create(128));
  std::vector<std::pair<const char*, std::string>> live;
  for (unsigned n = 0; n < 100000; ++n) {
    const bool adds = live.empty() || random() % 100 < (n / 10000 % 2 ? 30U : 70U);
    if (adds) {
      const std::string text = Text(random() % 90, n);
      live.emplace_back(Add(store, text), text);
    } else {
      std::swap(live[random() % live.size()], live.back());
      ASSERT_TRUE(IsCopy(live.back().first, live.back().second));
      store->remove(live.back().first, live.back().second.size());
      live.pop_back();
    }
  }
  std::size_t used = 0;
  for (const auto& [key, text] : live) {
    ASSERT_TRUE(IsCopy(key, text));
    if (text.size() <= velDictKeys::kShort) used += velDictKeys::paddedSize(text.size());
  }
  EXPECT_EQ(store->used(), used);
}

}  // namespace
