// The walk over random types and objects against a walker that is plain
// recursion: the same calls and the same reads in the same order.
#include <string>

#include "velfuzz.h"
#include "veltest_walkmodel.h"

namespace {

// The calls and reads of one walk; `input` makes the answer to each call.
template <class Walk>
std::string Transcript(VelWorld& world, velFuzzInput input, bool isCalm, Walk walk) {
  constexpr int kMost = 1000;
  int calls = 0;
  world.log().clear();
  VelEventTraverser visitor([&](const VelEvent& event) {
    world.log() += event.text();
    if (event.object && event.operation != "errorOccured") {
      world.log() += ' ' + std::to_string(reinterpret_cast<std::uintptr_t>(event.object));
    }
    world.log() += '\n';
    if (++calls == kMost) return velTrStop;
    const unsigned answer = isCalm || input.isEmpty() ? 0 : input.byte();
    return static_cast<velTraverseResult>(answer < 8 ? answer % 5 : 0);
  });
  walk(world.root(), visitor);
  return world.log();
}

}  // namespace

VEL_FUZZ(input) {
  const bool isCalm = input.flag();
  // A world takes as many bytes as it wants; the answers are made of the same ones.
  const velFuzzInput answers = input;
  VelWorld world([&](int low, int high) { return input.between(low, high); });
  const std::string model = Transcript(world, answers, isCalm, VelRecursiveWalker::walk);
  const std::string walk =
      Transcript(world, answers, isCalm,
                 [](const xany& value, velTraverser& visitor) { velTraverse(value, &visitor); });
  VEL_FUZZ_SAME(walk, model);
  VEL_FUZZ_CHECK(world.settled());
}
