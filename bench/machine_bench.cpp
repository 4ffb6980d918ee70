// What the machine allows: the figures beside which all others are read.
#include <atomic>
#include <cstdlib>
#include <cstring>
#include <numeric>
#include <stdexcept>

#include "velbench.h"

using benchmark::State;
using velbench::add;
using velbench::check;
using velbench::keep;
using velbench::opaque;

namespace {

const char* const kMachine = "machine";
constexpr int kSteps = 10000;

// A chain of additions, each of which needs the one before: a cycle each. Ten in
// a row, so that the loop around them does not show.
void cycle(State& state) {
  constexpr int kInRow = 10;
  std::uint64_t sum = 0;
  for (auto _ : state) {
    for (int i = 0; i < kSteps / kInRow; ++i) {
#pragma GCC unroll 10
      for (int k = 0; k < kInRow; ++k) sum = opaque(sum + 1);
    }
  }
  state.SetItemsProcessed(state.iterations() * kSteps);
  check(sum == static_cast<std::uint64_t>(state.iterations()) * kSteps, "cycle");
}

void lockedAdd(State& state) {
  std::atomic<int> count{0};
  velbench::repeat(state, kSteps, [&](int) {
    count.fetch_add(1, std::memory_order_relaxed);
    keep(count);
  });
  check(count > 0, "locked add");
}

// Follows a ring that visits `count` lines of the cache in no order.
void dependentLoads(State& state, std::size_t count) {
  struct alignas(64) Line {
    Line* next;
  };
  std::vector<Line> lines(count);
  std::vector<std::size_t> order(count);
  std::iota(order.begin(), order.end(), std::size_t{0});
  velbench::shuffle(order, 1);
  for (std::size_t i = 0; i < count; ++i) {
    lines[order[i]].next = &lines[order[(i + 1) % count]];
  }
  Line* at = lines.data();
  velbench::repeat(state, static_cast<int>(count), [&](int) { at = at->next; });
  keep(at);
  check(at == lines.data(), "dependent loads");  // whole rounds end where they began
}

// One item is a KiB.
void copyBytes(State& state, std::size_t kib) {
  const std::vector<char> from(kib * 1024, 'x');
  std::vector<char> to(from.size(), ' ');
  for (auto _ : state) {
    std::memcpy(to.data(), from.data(), from.size());
    keep(to[0]);
  }
  check(to == from, "copy");
  state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(kib));
}

void mallocPair(State& state, std::size_t bytes) {
  velbench::repeat(state, kSteps, [=](int) {
    void* block = std::malloc(opaque(bytes));
    keep(block);
    std::free(block);
  });
}

[[gnu::noinline]] void throwError(int value) {
  if (opaque(value) >= 0) throw value;
}

void throwAndCatch(State& state) {
  std::int64_t caught = 0;
  velbench::repeat(state, 100, [&](int i) {
    try {
      throwError(i);
    } catch (int value) {
      caught += value == i;
    }
  });
  check(caught == state.iterations() * 100, "throw");
}

}  // namespace

void velbench::registerCases() {
  add("cycle", kMachine, cycle);
  add("locked add", kMachine, lockedAdd);
  add("dependent load, 16 KiB", kMachine, [](State& state) { dependentLoads(state, 1 << 8); });
  add("dependent load, 1 MiB", kMachine, [](State& state) { dependentLoads(state, 1 << 14); });
  add("dependent load, 128 MiB", kMachine, [](State& state) { dependentLoads(state, 1 << 21); });
  add("copy 1 KiB of 16 KiB", kMachine, [](State& state) { copyBytes(state, 16); });
  add("copy 1 KiB of 64 MiB", kMachine, [](State& state) { copyBytes(state, 64 << 10); });
  add("malloc and free, 32 bytes", kMachine, [](State& state) { mallocPair(state, 32); });
  add("malloc and free, 2000 bytes", kMachine, [](State& state) { mallocPair(state, 2000); });
  add("throw and catch an int", kMachine, throwAndCatch);
}
