// Counted objects: handles that come and go, objects made and released.
#include "peers.h"
#include "velbench.h"

using benchmark::State;
using velbench::check;
using velbench::keep;

namespace {

constexpr int kSteps = 10000;

// The same object all the time.
template <class Side>
void copyOne(State& state) {
  const auto source = Side::make(1);
  keep(source);
  velbench::repeat(state, kSteps, [&](int) {
    const typename Side::Handle copy(source);
    keep(copy);
  });
  const auto copy = source;
  check(Side::count(source) == 2, "count after copies");
}

// Two threads count the same object at once.
template <class Side>
void copyContended(State& state) {
  static const auto source = Side::make(1);
  velbench::repeat(state, kSteps, [&](int) {
    const typename Side::Handle copy(source);
    keep(copy);
  });
  check(Side::count(source) == 1, "count after copies of two threads");
}

// Objects made one after the other and visited in no order.
template <class Side>
void copyMany(State& state) {
  constexpr int kObjects = 100000;
  std::vector<typename Side::Handle> sources;
  for (int i = 0; i < kObjects; ++i) sources.push_back(Side::make(i));
  velbench::shuffle(sources, 2);
  velbench::repeat(state, kObjects, [&](int i) {
    const typename Side::Handle copy(sources[static_cast<std::size_t>(i)]);
    keep(copy);
  });
  for (const auto& source : sources) check(Side::count(source) == 1, "count after copies");
}

template <class Side>
void createAndRelease(State& state) {
  velbench::repeat(state, kSteps, [&](int i) {
    const typename Side::Handle made = Side::make(i);
    keep(made);
  });
  check(Side::count(Side::make(1)) == 1, "count of a new object");
}

template <class Side>
void addSide() {
  velbench::addCounting("handle copy and drop", Side::kName, copyOne<Side>);
  velbench::addCounting("handle copy and drop, 100k objects", Side::kName, copyMany<Side>);
  velbench::addContended("handle copy and drop, contended by 2", Side::kName, copyContended<Side>);
  velbench::addCounting("create and release an object", Side::kName, createAndRelease<Side>);
}

}  // namespace

void velbench::registerCases() {
  addSide<peers::Velstd>();
  addSide<peers::Std>();
  addSide<peers::QtCore>();
  addSide<peers::Boost>();
  addSide<peers::Glib>();
}
