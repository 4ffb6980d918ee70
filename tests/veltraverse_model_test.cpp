// The walk against a second walker, written as plain recursion: random types,
// random objects, random answers and failures must give the same calls and the
// same reads in the same order.
#include <gtest/gtest.h>

#include <cstdint>
#include <map>
#include <random>
#include <string>

#include "veltest.h"
#include "veltest_walkmodel.h"

namespace {

// The calls and reads of one walk; the answer to each call follows from `seed`.
template <class Walker>
std::string Transcript(VelWorld& world, unsigned seed, int calm, Walker walk) {
  constexpr int kMost = 2000;
  std::mt19937 random(seed);
  int calls = 0;
  world.log().clear();
  VelEventTraverser visitor([&](const VelEvent& event) {
    world.log() += event.text();
    if (event.object) {
      world.log() += ' ' + std::to_string(reinterpret_cast<std::uintptr_t>(
                               event.operation == "errorOccured" ? nullptr : event.object));
      world.log() += event.operation == "errorOccured" ? " with exception" : "";
    }
    world.log() += '\n';
    const int answer = static_cast<int>(random() % static_cast<unsigned>(calm));
    if (++calls == kMost) return velTrStop;
    return static_cast<velTraverseResult>(answer == 4 && random() % 8 ? 0 : answer);
  });
  walk(world.root(), visitor);
  return world.log();
}

TEST(VelTraverseModel, RandomGraphsGiveTheCallsOfTheRecursiveWalker) {
  std::map<std::string, int> seen;
  for (unsigned seed = 0; seed < 1500; ++seed) {
    std::mt19937 random(seed);
    VelWorld world(
        [&](int low, int high) { return std::uniform_int_distribution<int>(low, high)(random); });
    for (const int calm : {1, 6, 30, 200}) {
      const std::string model = Transcript(world, seed, calm, VelRecursiveWalker::walk);
      const std::string walk = Transcript(
          world, seed, calm,
          [](const xany& value, velTraverser& visitor) { velTraverse(value, &visitor); });
      ASSERT_EQ(walk, model) << "seed " << seed << ", calm " << calm;
      ASSERT_TRUE(world.settled()) << "seed " << seed;
      for (std::size_t at = 0; at < model.size(); at = model.find('\n', at) + 1) {
        const std::size_t paren = model.find_first_of("(\n ", at);
        ++seen[model.substr(at, paren - at)];
      }
    }
  }
  // The worlds reach every operation, again and again.
  for (const char* operation : {"simpleValue",
                                "enumValue",
                                "beginObject",
                                "endObject",
                                "beginStructure",
                                "endStructure",
                                "beginStructAttribute",
                                "endStructAttribute",
                                "beginSequence",
                                "endSequence",
                                "beginSeqElement",
                                "endSeqElement",
                                "beginDictionary",
                                "endDictionary",
                                "beginDictElement",
                                "endDictElement",
                                "beginArray",
                                "endArray",
                                "beginArrayDimension",
                                "endArrayDimension",
                                "beginArrayElement",
                                "endArrayElement",
                                "beginUnion",
                                "endUnion",
                                "beginUnionDicriminator",
                                "endUnionDicriminator",
                                "beginUnionValue",
                                "endUnionValue",
                                "errorOccured",
                                "alreadyVisited"}) {
    EXPECT_GT(seen[operation], 100) << operation;
  }
}

}  // namespace
