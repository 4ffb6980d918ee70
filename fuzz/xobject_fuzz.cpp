// Counts: handles, variants and collections that hold objects, against a table of
// who holds what. An object ends with its last reference, not before, and once.
#include "xobject.h"

#include <vector>

#include "velfuzz.h"
#include "xcollections.h"

namespace {

constexpr std::size_t kObjects = 6;

class Thing : public virtual xobject {
  VEL_OBJECT(Thing)
 public:
  explicit Thing(std::vector<int>& ended, std::size_t n) : ends(ended), number(n) {}
  ~Thing() override { ++ends[number]; }

 private:
  std::vector<int>& ends;
  std::size_t number;
};
VEL_OBJECT_RTTI(Thing, xrttiobject,
                [](xrttiobject* rtti) { rtti->initializeRttiObject("fuzz::Thing", 1, 0, nullptr); })

// Nobody.
constexpr std::size_t kNone = kObjects;

class Duel {
 public:
  explicit Duel(velFuzzInput input) : in(input), ends(kObjects, 0), objects(kObjects, nullptr) {}

  void Run() {
    while (!in.isEmpty()) {
      Step();
      Compare();
    }
    for (auto& handle : handles) handle = xrchandle<Thing>(0);
    for (auto& handle : uniHandles) handle = xrcunihandle<xobject>();
    for (auto& value : values) value = xany();
    sequence->clear();
    dictionary->clearall();
    for (std::size_t n = 0; n < kObjects; ++n) {
      while (attached[n] > 0) --attached[n], xrcrelease(objects[n]);
      VEL_FUZZ_CHECK(!objects[n] || ends[n] == 1);
    }
  }

 private:
  static constexpr std::size_t kHolders = 4;

  // An object that is alive; one is made where there is none.
  std::size_t Object() {
    const std::size_t n = in.below(kObjects);
    if (!objects[n] || ends[n] > 0) {
      ends[n] = 0;
      objects[n] = new Thing(ends, n);
      // Held at least by the first handle, or nobody would end it.
      Hold(0, n);
    }
    return n;
  }

  void Hold(std::size_t h, std::size_t n) {
    handles[h] = xrchandle<Thing>(objects[n]);
    held[h] = n;
  }

  void Step() {
    const std::size_t a = in.below(kHolders);
    const std::size_t b = in.below(kHolders);
    switch (in.below(16)) {
      case 0:
        Hold(a, Object());
        break;
      case 1:
        handles[a] = handles[b];
        held[a] = held[b];
        break;
      case 2: {
        xrchandle<Thing> moved(std::move(handles[b]));
        const std::size_t n = held[b];
        held[b] = kNone;
        handles[b] = xrchandle<Thing>(0);
        handles[a] = std::move(moved);
        held[a] = n;
        break;
      }
      case 3: {
        const std::size_t n = Object();
        uniHandles[a] = xrcunihandle<xobject>(objects[n]);
        uniHeld[a] = n;
        break;
      }
      case 4:
        uniHandles[a] = uniHandles[b];
        uniHeld[a] = uniHeld[b];
        break;
      case 5: {
        const std::size_t n = Object();
        values[a] = xany(objects[n]);
        valueHeld[a] = n;
        break;
      }
      case 6:
        values[a] = values[b];
        valueHeld[a] = valueHeld[b];
        break;
      case 7:
        values[a] = in.number();
        valueHeld[a] = kNone;
        break;
      case 8: {
        const std::size_t n = Object();
        xrcattach(objects[n]);
        ++attached[n];
        break;
      }
      case 9: {
        const std::size_t n = in.below(kObjects);
        if (attached[n] == 0) return;
        --attached[n];
        xrcrelease(objects[n]);
        break;
      }
      case 10:
        sequence->append(values[a]);
        inSequence.push_back(valueHeld[a]);
        break;
      case 11:
        if (inSequence.empty()) return;
        sequence->removerange(0, 1);
        inSequence.erase(inSequence.begin());
        break;
      case 12:
        dictionary->set(a ? "a" : "b", values[b]);
        inDictionary[a ? 1 : 0] = valueHeld[b];
        break;
      case 13:
        dictionary->remove(a ? "a" : "b");
        inDictionary[a ? 1 : 0] = kNone;
        break;
      case 14:
        handles[a] = xrchandle<Thing>(0);
        held[a] = kNone;
        break;
      default:
        uniHandles[a] = xrcunihandle<xobject>();
        uniHeld[a] = kNone;
        break;
    }
  }

  template <class List>
  static int CountIn(const List& list, std::size_t n) {
    int count = 0;
    for (const std::size_t one : list) count += one == n;
    return count;
  }

  void Compare() {
    for (std::size_t n = 0; n < kObjects; ++n) {
      if (!objects[n]) continue;
      const int expected = attached[n] + CountIn(held, n) + CountIn(uniHeld, n) +
                           CountIn(valueHeld, n) + CountIn(inSequence, n) +
                           CountIn(inDictionary, n);
      VEL_FUZZ_CHECK(ends[n] == (expected == 0 ? 1 : 0));
      if (expected > 0) {
        VEL_FUZZ_CHECK(xrcgetcount(objects[n]) == expected);
      } else {
        objects[n] = nullptr;
      }
    }
  }

  velFuzzInput in;
  std::vector<int> ends;
  std::vector<Thing*> objects;
  std::vector<int> attached = std::vector<int>(kObjects, 0);
  xrchandle<Thing> handles[kHolders];
  std::vector<std::size_t> held = std::vector<std::size_t>(kHolders, kNone);
  xrcunihandle<xobject> uniHandles[kHolders];
  std::vector<std::size_t> uniHeld = std::vector<std::size_t>(kHolders, kNone);
  xany values[kHolders];
  std::vector<std::size_t> valueHeld = std::vector<std::size_t>(kHolders, kNone);
  xrchandle<xanysequence> sequence = xanysequence::create();
  std::vector<std::size_t> inSequence;
  xrchandle<xanydictionary> dictionary = xanydictionary::create();
  std::vector<std::size_t> inDictionary = std::vector<std::size_t>(2, kNone);
};

}  // namespace

VEL_FUZZ(input) { Duel(input).Run(); }
