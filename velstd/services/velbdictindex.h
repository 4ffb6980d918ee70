// velbdictindex.h - what keeps a dictionary fast when its table no longer is.
//
// The slot of every key is fixed by the table's own algorithm, so neither keys
// that were chosen to collide nor the tombstones that years of removals leave
// behind can be answered by another hash or a tidier table. This index lies
// beside the table and finds the very slots that probing would find, without
// probing:
//
// - Whether a key is there, and where, tells a hash table of slot numbers, by a
//   keyed hash with a random key.
// - Which slot a new key fills follows from the order in which its path visits
//   the slots. The step is odd and the number of slots a power of two, so all
//   paths of one step are one circle: a slot's place on it is
//   slot x inverse(step). Two sets of places for each step that is in use, of the
//   empty slots and of the tombstones, tell the first empty slot after the start
//   and the last tombstone before that.
//
// A dictionary makes one when its probes have added up, and drops it with the
// table; ordinary ones never do. A set is made when probing along its step has
// added up. All memory is optional: without it the index probes, or is not made.
// Nothing here is visible through a dictionary but its speed.
// Threads: no locks; find() alone changes nothing.
#ifndef VELSTD_SERVICES_VELBDICTINDEX_H
#define VELSTD_SERVICES_VELBDICTINDEX_H

#include <cstddef>
#include <cstdint>

#include "velsiphash.h"

/// A block of slots as velbdict lays them out: the key comes first in each.
struct velDictSlots {
  const void* block;
  unsigned slotSize;
  unsigned count;  // a power of two

  const char* keyAt(unsigned slot) const {
    return *reinterpret_cast<const char* const*>(static_cast<const char*>(block) +
                                                 std::size_t{slot} * slotSize);
  }
};

class velPlaceSet;

class velDictIndex {
 public:
  static constexpr unsigned kNone = 0xFFFFFFFF;
  /// Probes that an operation may make before they count as too many.
  static constexpr unsigned kFreeProbes = 64;

  /// The index of a table of keys that are all different; owned, give it back
  /// with destroy(). Null without memory.
  static velDictIndex* create(const velDictSlots& slots) noexcept;
  static void destroy(velDictIndex* index) noexcept;

  /// The slot of `key`, or kNone.
  unsigned find(const char* key) const noexcept;

  /// The slot that a key fills which is not there and whose path begins at `start`
  /// with `step`: the last tombstone before the first empty slot, else that slot;
  /// kNone when all slots are taken.
  unsigned slotToFill(std::uint32_t start, std::uint32_t step) noexcept;

  /// Slot `slot` is about to get `key`, or to lose it to a tombstone.
  void adding(unsigned slot, const char* key) noexcept;
  void removing(unsigned slot) noexcept;

 private:
  struct Circle;
  struct Entry {
    std::uint32_t hash;
    std::uint32_t slot;  // kNone: vacant
  };

  velDictIndex() = default;
  ~velDictIndex();

  std::uint32_t keyedHash(const char* key) const noexcept;
  void enter(unsigned slot, const char* key) noexcept;
  Circle* circleOf(std::uint32_t step) noexcept;
  unsigned probe(Circle* circle, std::uint32_t start, std::uint32_t step) noexcept;
  unsigned lastTombstone(Circle* circle, std::uint32_t start, std::uint32_t step,
                         unsigned firstEmpty) noexcept;
  velPlaceSet* collect(const Circle& circle, const char* key) const noexcept;
  unsigned mask() const { return slots.count - 1; }

  velDictSlots slots = {nullptr, 0, 0};
  velSipSeed seed = {{0, 0}};
  Entry* entries = nullptr;  // open addressing, linear; at most half full
  unsigned entryMask = 0;
  unsigned empties = 0;
  unsigned tombstones = 0;
  Circle* first = nullptr;          // the circles in use
  Circle* circles[256] = {};        // by step
};

#endif  // VELSTD_SERVICES_VELBDICTINDEX_H
