#include "velbdictindex.h"

#include <cstring>
#include <new>

#include "koralloc.h"
#include "velplaceset.h"

namespace {

const char* const kTombstone = reinterpret_cast<const char*>(std::uintptr_t{1});

// Modulo 2^32.
constexpr std::uint32_t Product(std::uint32_t a, std::uint32_t b) {
  return static_cast<std::uint32_t>(std::uint64_t{a} * b);
}

// The number with step x inverse = 1 modulo 2^32, by Newton's iteration: each
// turn doubles the number of right bits, of which `step` itself has three.
constexpr std::uint32_t Inverse(std::uint32_t step) {
  std::uint32_t inverse = step;
  for (int i = 0; i < 4; ++i) {
    const std::uint64_t factor = 0x100000002 - Product(step, inverse);  // 2 less that, modulo 2^32
    inverse = Product(inverse, static_cast<std::uint32_t>(factor));
  }
  return inverse;
}

// The steps whose inverses have the most bits to find.
static_assert(Product(Inverse(3), 3) == 1 && Product(Inverse(5), 5) == 1, "all 32 bits are right");

// How far `to` lies behind `from` on a circle of mask + 1 places, at most 2^31.
unsigned Distance(unsigned from, unsigned to, unsigned mask) {
  return ((to & mask) + (mask - (from & mask)) + 1) & mask;
}

}  // namespace

// The paths of one step.
struct velDictIndex::Circle {
  std::uint32_t step;
  std::uint32_t inverse;
  velPlaceSet* empty;    // null: not worth it so far
  velPlaceSet* vacated;  // null: likewise
  std::size_t forward;   // probes too many in search of an empty slot
  std::size_t backward;  // and of a tombstone
  Circle* next;

  unsigned placeOf(unsigned slot, unsigned mask) const { return Product(slot, inverse) & mask; }
  unsigned slotOf(unsigned place, unsigned mask) const { return Product(place, step) & mask; }
};

// ---- the index ----

velDictIndex* velDictIndex::create(const velDictSlots& slots) noexcept {
  void* memory = korAlloc(sizeof(velDictIndex));
  if (!memory) return nullptr;
  auto* index = new (memory) velDictIndex;
  index->slots = slots;
  index->seed = velSipSeed::fresh(index);
  const std::size_t room = std::size_t{slots.count} * 2;
  index->entryMask = static_cast<unsigned>(room - 1);
  index->entries = static_cast<Entry*>(korAlloc(room * sizeof(Entry)));
  if (!index->entries) {
    destroy(index);
    return nullptr;
  }
  std::memset(index->entries, 0xFF, room * sizeof(Entry));
  for (unsigned slot = 0; slot < slots.count; ++slot) {
    const char* key = slots.keyAt(slot);
    if (!key) {
      ++index->empties;
    } else if (key == kTombstone) {
      ++index->tombstones;
    } else {
      index->enter(slot, key);
    }
  }
  return index;
}

void velDictIndex::destroy(velDictIndex* index) noexcept {
  if (!index) return;
  index->~velDictIndex();
  korFree(index);
}

velDictIndex::~velDictIndex() {
  while (first) {
    Circle* const circle = first;
    first = circle->next;
    korFree(circle->empty);
    korFree(circle->vacated);
    korFree(circle);
  }
  korFree(entries);
}

std::uint32_t velDictIndex::keyedHash(const char* key) const noexcept {
  const std::uint64_t hash = velSipHash(seed, key, std::strlen(key));
  return static_cast<std::uint32_t>(hash ^ hash >> 32);
}

void velDictIndex::enter(unsigned slot, const char* key) noexcept {
  const std::uint32_t hash = keyedHash(key);
  unsigned at = hash & entryMask;
  while (entries[at].slot != kNone) at = (at + 1) & entryMask;
  entries[at] = {hash, slot};
}

unsigned velDictIndex::find(const char* key) const noexcept {
  const std::uint32_t hash = keyedHash(key);
  for (unsigned at = hash & entryMask; entries[at].slot != kNone; at = (at + 1) & entryMask) {
    const Entry& entry = entries[at];
    if (entry.hash == hash && std::strcmp(slots.keyAt(entry.slot), key) == 0) return entry.slot;
  }
  return kNone;
}

void velDictIndex::adding(unsigned slot, const char* key) noexcept {
  if (slots.keyAt(slot)) {
    --tombstones;
    for (Circle* c = first; c; c = c->next) {
      if (c->vacated) c->vacated->remove(c->placeOf(slot, mask()));
    }
  } else {
    --empties;
    for (Circle* c = first; c; c = c->next) {
      if (c->empty) c->empty->remove(c->placeOf(slot, mask()));
    }
  }
  enter(slot, key);
}

void velDictIndex::removing(unsigned slot) noexcept {
  ++tombstones;
  for (Circle* c = first; c; c = c->next) {
    if (c->vacated) c->vacated->add(c->placeOf(slot, mask()));
  }
  unsigned hole = keyedHash(slots.keyAt(slot)) & entryMask;
  while (entries[hole].slot != slot) hole = (hole + 1) & entryMask;
  // What follows without a gap moves up, unless it would come before its start
  // (Knuth, "The Art of Computer Programming", volume 3, 6.4, algorithm R).
  for (unsigned at = (hole + 1) & entryMask; entries[at].slot != kNone; at = (at + 1) & entryMask) {
    const unsigned fromStart = Distance(entries[at].hash, at, entryMask);
    const unsigned fromHole = Distance(hole, at, entryMask);
    if (fromStart < fromHole) continue;
    entries[hole] = entries[at];
    hole = at;
  }
  entries[hole].slot = kNone;
}

// Null without memory.
velDictIndex::Circle* velDictIndex::circleOf(std::uint32_t step) noexcept {
  Circle*& circle = circles[step / 2 % 256];
  if (!circle) {
    void* memory = korAlloc(sizeof(Circle));
    if (!memory) return nullptr;
    circle = new (memory) Circle{step, Inverse(step), nullptr, nullptr, 0, 0, first};
    first = circle;
  }
  return circle;
}

// The places of the slots whose key field is `key`; null without memory.
velPlaceSet* velDictIndex::collect(const Circle& circle, const char* key) const noexcept {
  velPlaceSet* set = velPlaceSet::create(slots.count);
  if (!set) return nullptr;
  for (unsigned slot = 0; slot < slots.count; ++slot) {
    if (slots.keyAt(slot) == key) set->add(circle.placeOf(slot, mask()));
  }
  return set;
}

unsigned velDictIndex::slotToFill(std::uint32_t start, std::uint32_t step) noexcept {
  Circle* const circle = circleOf(step);
  unsigned firstEmpty = kNone;
  if (empties != 0) {
    if (!circle || !circle->empty) return probe(circle, start, step);
    // From the start to the end of the circle, then from its beginning.
    const unsigned begin = circle->placeOf(start & mask(), mask());
    unsigned place = circle->empty->atOrAfter(begin);
    if (place == kNone) place = circle->empty->atOrAfter(0);
    firstEmpty = circle->slotOf(place, mask());
  }
  const unsigned tombstone =
      tombstones != 0 ? lastTombstone(circle, start, step, firstEmpty) : kNone;
  return tombstone != kNone ? tombstone : firstEmpty;
}

// The plain way, up to the first empty slot, of which there is one.
unsigned velDictIndex::probe(Circle* circle, std::uint32_t start, std::uint32_t step) noexcept {
  unsigned found = kNone;
  std::size_t probes = 0;
  for (std::uint64_t h = start;; h += step) {
    const unsigned slot = static_cast<unsigned>(h) & mask();
    const char* key = slots.keyAt(slot);
    ++probes;
    if (!key) {
      if (found == kNone) found = slot;
      break;
    }
    if (key == kTombstone) found = slot;
  }
  if (circle && probes > kFreeProbes) {
    circle->forward += probes - kFreeProbes;
    if (circle->forward >= slots.count) {
      circle->forward = 0;
      circle->empty = collect(*circle, nullptr);
    }
  }
  return found;
}

// The last tombstone on the path before slot `firstEmpty` (kNone: before the
// path's end); kNone for none. Where many are left the next one is near.
unsigned velDictIndex::lastTombstone(Circle* circle, std::uint32_t start, std::uint32_t step,
                                     unsigned firstEmpty) noexcept {
  const std::uint32_t inverse = circle ? circle->inverse : Inverse(step);
  const unsigned length = firstEmpty == kNone
                              ? slots.count
                              : Product(Distance(start, firstEmpty, mask()), inverse) & mask();
  if (length == 0) return kNone;
  if (circle && circle->vacated) {
    const unsigned begin = circle->placeOf(start & mask(), mask());
    const unsigned end = (begin + length - 1) & mask();  // inclusive
    unsigned place = circle->vacated->atOrBefore(end);
    if (end >= begin) {
      if (place < begin) place = kNone;
    } else if (place == kNone) {
      // The range goes round the end of the circle.
      place = circle->vacated->atOrBefore(mask());
      if (place < begin) place = kNone;
    }
    return place == kNone ? kNone : circle->slotOf(place, mask());
  }
  unsigned found = kNone;
  unsigned rank = length;
  while (rank > 0) {
    --rank;
    const unsigned slot = ((start & mask()) + (Product(rank, step) & mask())) & mask();
    if (slots.keyAt(slot) == kTombstone) {
      found = slot;
      break;
    }
  }
  const std::size_t probes = length - rank;
  if (circle && probes > kFreeProbes) {
    circle->backward += probes - kFreeProbes;
    if (circle->backward >= slots.count) {
      circle->backward = 0;
      circle->vacated = collect(*circle, kTombstone);
    }
  }
  return found;
}
