// C calls beside the C++ calls that they wrap: what the flat interface adds.
//
// The side "velstd" is the C call; the difference of the two is the price. What
// takes and gives back is two calls.
#include <cstring>

#include "velbench.h"
#include "velstd.h"
#include "velstd_c.h"

using benchmark::State;
using velbench::check;
using velbench::keep;
using velbench::opaque;

namespace {

const char kC[] = "velstd";
const char kCpp[] = "the C++ call";
constexpr int kElements = 1000;

std::vector<const char*> keys() {
  std::vector<const char*> texts;
  for (int i = 0; i < kElements; ++i) {
    texts.push_back(velbench::words()[static_cast<std::size_t>(i)].c_str());
  }
  return texts;
}

xrchandle<xintsequence> numbers() {
  const auto sequence = xintsequence::create();
  for (int i = 0; i < kElements; ++i) sequence->append(i);
  return sequence;
}

xrchandle<xintdictionary> dictionary() {
  const auto made = xintdictionary::create();
  int number = 0;
  for (const char* key : keys()) made->set(key, number++);
  return made;
}

// Runs call(i) for each element again and again; the answers of a round must add
// up to those of 0, 1, 2 and so on.
template <class Call>
void sumUp(State& state, Call call) {
  std::int64_t sum = 0;
  velbench::repeat(state, kElements, [&](int i) { sum += call(i); });
  check(sum == state.iterations() * (kElements * (kElements - 1) / 2), "an answer is wrong");
}

// The object is behind a pointer of which the compiler knows nothing, as behind
// one that comes from C.
template <class Handle>
auto* pointer(const Handle& object) {
  return opaque(object.operator->());
}

void getInC(State& state) {
  const auto held = numbers();
  auto* sequence = pointer(held);
  sumUp(state, [=](int i) { return xintsequence_get(sequence, i); });
}
void getInCpp(State& state) {
  const auto held = numbers();
  auto* sequence = pointer(held);
  sumUp(state, [=](int i) { return sequence->get(i); });
}

// C appends by inserting at the end.
template <class Append>
void append(State& state, Append call) {
  velbench::timed(
      state, kElements, [] { return xintsequence::createCapacity(kElements); },
      [=](const xrchandle<xintsequence>& held) {
        auto* sequence = pointer(held);
        for (int i = 0; i < kElements; ++i) call(sequence, i);
        check(sequence->getarraysize() == kElements, "append");
      });
}

void findInC(State& state) {
  const auto held = dictionary();
  const auto texts = keys();
  auto* made = pointer(held);
  sumUp(state, [&](int i) {
    int value = 0;
    xintdictionary_find(made, texts[static_cast<std::size_t>(i)], &value);
    return value;
  });
}
void findInCpp(State& state) {
  const auto held = dictionary();
  const auto texts = keys();
  auto* made = pointer(held);
  sumUp(state, [&](int i) {
    int value = 0;
    made->find(texts[static_cast<std::size_t>(i)], &value);
    return value;
  });
}

// Overwrites, so that every round does the same.
template <class Set>
void set(State& state, Set call) {
  const auto held = dictionary();
  const auto texts = keys();
  auto* made = pointer(held);
  velbench::repeat(state, kElements,
                   [&](int i) { call(made, texts[static_cast<std::size_t>(i)], i); });
  check(made->getcount() == kElements, "set");
}

// Copies a value and lets the copy go.
template <class Make>
void copyInC(State& state, Make make) {
  __xany_c value = make();
  velbench::repeat(state, kElements, [&](int) {
    __xany_c copy = xanycopy_c(&value);
    keep(copy);
    xanyunlock_c(&copy);
  });
  __xany_c copy = xanycopy_c(&value);
  check(std::memcmp(&copy.u, &value.u, 8) == 0 && copy.kind == value.kind, "copy");
  xanyunlock_c(&copy);
  xanyunlock_c(&value);
}
template <class Make>
void copyInCpp(State& state, Make make) {
  __xany_c made = make();
  const xany value(made);
  xanyunlock_c(&made);
  velbench::repeat(state, kElements, [&](int) {
    const xany copy(value);
    keep(copy);
  });
  check(xany(value) == value, "copy");
}

void attachInC(State& state) {
  const auto held = numbers();
  auto* object = opaque(velAsObject(held.operator->()));
  velbench::repeat(state, kElements, [=](int) {
    xrcattach_c(object);
    xrcrelease_c(object);
  });
  check(xrcgetcount(object) == 1, "count");
}
void attachInCpp(State& state) {
  const auto held = numbers();
  auto* object = opaque(velAsObject(held.operator->()));
  velbench::repeat(state, kElements, [=](int) {
    xrcattach(object);
    xrcrelease(object);
  });
  check(xrcgetcount(object) == 1, "count");
}

__xany_c someText() { return xanystr_c("forty-eight letters are too many for any pocket."); }
__xany_c someNumber() { return xanyint_c(7); }

}  // namespace

void velbench::registerCases() {
  const auto work = [](const char* name, auto inC, auto inCpp) {
    const std::string full = std::string("C: ") + name;
    velbench::addCounting(full.c_str(), kC, inC);
    velbench::addCounting(full.c_str(), kCpp, inCpp);
  };
  work("get from a sequence", getInC, getInCpp);
  velbench::addTimed("C: append to a sequence", kC, true, [](State& state) {
    append(state, [](xintsequence* s, int i) { xintsequence_insert(s, i, i); });
  });
  velbench::addTimed("C: append to a sequence", kCpp, true, [](State& state) {
    append(state, [](xintsequence* s, int i) { s->insert(i, i); });
  });
  work("find in a dictionary", findInC, findInCpp);
  work(
      "set in a dictionary",
      [](State& state) {
        set(state,
            [](xintdictionary* d, const char* key, int i) { xintdictionary_set(d, key, i); });
      },
      [](State& state) {
        set(state, [](xintdictionary* d, const char* key, int i) { d->set(key, i); });
      });
  work(
      "copy and drop a variant of an int", [](State& state) { copyInC(state, someNumber); },
      [](State& state) { copyInCpp(state, someNumber); });
  work(
      "copy and drop a variant of a text", [](State& state) { copyInC(state, someText); },
      [](State& state) { copyInCpp(state, someText); });
  work("attach and release", attachInC, attachInCpp);
}
