#include "velbdict.h"

#include <cstring>
#include <memory>
#include <new>

#include "korabort.h"
#include "korstring.h"
#include "velbdictindex.h"
#include "velexceptions.h"
#include "velupdate.h"
#include "xstring.h"

namespace {

constexpr char kSource[] = "velstd/services/velbdict";
constexpr unsigned kNoIndex = 0xFFFFFFFF;
constexpr unsigned kFirstSize = 32;
constexpr std::uint64_t kMostSlots = std::uint64_t{1} << 30;

const char* const kTombstone = reinterpret_cast<const char*>(std::uintptr_t{1});

std::uint32_t SignedByte(char c) { return static_cast<std::uint32_t>(static_cast<signed char>(c)); }

// The step of a key's path from its start on.
std::uint32_t StepOf(const char* key, unsigned length) {
  return length ? xbdictHashCollision(key, length) : 1;
}

}  // namespace

static_assert(sizeof(xdictentry<unsigned char>) == 16 && sizeof(xdictentry<int>) == 16 &&
                  sizeof(xdictentry<double>) == 16 && sizeof(xdictentry<xstring>) == 32,
              "key pointer, then value");

std::uint32_t xbdictHashMain(const char* key, unsigned* length) {
  std::uint32_t h = 0;
  const char* at = key;
  for (; *at; ++at) h = h * 31 + SignedByte(*at);
  *length = static_cast<unsigned>(at - key);
  h += ~(h << 9);
  h ^= h >> 14;
  h *= 17;
  h ^= h >> 10;
  return h;
}

std::uint32_t xbdictHashCollision(const char* key, unsigned length) {
  if (length <= 2) return 2 * SignedByte(key[0]) + 1;
  return 2 * (SignedByte(key[length / 2 + 1]) ^ SignedByte(key[length - 2]) ^ SignedByte(key[1])) +
         1;
}

const char*& xbasedictionary::KeyOf(void* block, unsigned index, unsigned slotSize) const {
  return *reinterpret_cast<const char**>(static_cast<char*>(block) + std::size_t{index} * slotSize);
}

void* xbasedictionary::ValueAt(unsigned index, unsigned slotSize, unsigned valueOffset) const {
  return static_cast<char*>(table) + std::size_t{index} * slotSize + valueOffset;
}

bool xbasedictionary::IsLive(unsigned index, unsigned slotSize) const {
  return index < slotCount && !xdictentryIsVacant(KeyAt(index, slotSize));
}

// Whether `entries` in `slots` are more than `percent`, in whole percent.
bool xbasedictionary::LoadAbove(std::uint64_t entries, std::uint64_t slots,
                                unsigned percent) const {
  return entries * 100 / slots > percent;
}

void* xbasedictionary::AllocateBlock(std::size_t bytes) { return new char[bytes]; }
void xbasedictionary::ReleaseBlock(void* block) { delete[] static_cast<char*>(block); }

xbasedictionary::~xbasedictionary() { velDictIndex::destroy(shortcut); }

void xbasedictionary::DropShortcut() {
  velDictIndex::destroy(shortcut);
  shortcut = nullptr;
  wastedProbes = 0;
}

// Whether `key` is there; if so, `index` gets its slot, else, without a shortcut,
// the slot to fill, or kNoIndex when all are taken. `probes` gets the number of
// slots looked at.
bool xbasedictionary::IsPresent(const char* key, unsigned& index, unsigned slotSize,
                                unsigned& probes) const {
  index = kNoIndex;
  probes = 0;
  if (slotCount == 0 || xdictentryIsVacant(key)) return false;
  if (shortcut) {
    index = shortcut->find(key);
    return index != kNoIndex;
  }
  unsigned length;
  std::uint32_t h = xbdictHashMain(key, &length);
  std::uint32_t step = 0;
  while (probes < slotCount) {
    if (probes == 1) step = StepOf(key, length);
    ++probes;
    h += step;
    const unsigned at = h & (slotCount - 1);
    const char* found = KeyAt(at, slotSize);
    if (!found) {
      if (index == kNoIndex) index = at;
      return false;
    }
    if (found == kTombstone) {
      // The last one passed wins, not the first: slot order is visible to
      // callers through getkeybyindex.
      index = at;
    } else if (found == key || std::strcmp(found, key) == 0) {
      index = at;
      return true;
    }
  }
  return false;
}

// Ends the process where an absent key has no slot to go to.
void xbasedictionary::CheckRoom(const char* key) const {
  if (slotCount != 0 && liveCount == slotCount && !xdictentryIsVacant(key)) {
    _korAbort("Hash table overflow.", kSource, 228);
  }
}

// What FindIndex does; `probes` as for IsPresent.
bool xbasedictionary::Seek(const char* key, unsigned& index, unsigned slotSize,
                           unsigned& probes) const {
  if (IsPresent(key, index, slotSize, probes)) return true;
  CheckRoom(key);
  if (shortcut && !xdictentryIsVacant(key)) {
    unsigned length;
    const std::uint32_t start = xbdictHashMain(key, &length);
    index = shortcut->slotToFill(start, StepOf(key, length));
  }
  return false;
}

bool xbasedictionary::FindIndex(const char* key, unsigned& index, unsigned slotSize) const {
  unsigned probes;
  return Seek(key, index, slotSize, probes);
}

// A table whose probes have added up to its size gets its shortcut. Only changes
// count, so that lookups alone write nothing.
void xbasedictionary::CountProbes(unsigned probes, unsigned slotSize) {
  if (probes <= velDictIndex::kFreeProbes) return;
  wastedProbes += probes - velDictIndex::kFreeProbes;
  if (wastedProbes < slotCount) return;
  wastedProbes = 0;
  shortcut = velDictIndex::create({table, slotSize, slotCount});
}

// The slot for a key that is not there, in a table without tombstones.
unsigned xbasedictionary::EmptySlotFor(const char* key, unsigned slotSize) {
  unsigned length;
  std::uint32_t h = xbdictHashMain(key, &length);
  const std::uint32_t step = StepOf(key, length);
  if (shortcut) return shortcut->slotToFill(h, step);
  unsigned probes = 1;
  for (; KeyAt(h & (slotCount - 1), slotSize); h += step) ++probes;
  CountProbes(probes, slotSize);
  return h & (slotCount - 1);
}

// Puts a key into the slot found for it.
void xbasedictionary::Occupy(unsigned index, const char* key, unsigned slotSize) {
  if (shortcut) shortcut->adding(index, key);
  KeyOf(table, index, slotSize) = key;
  ++liveCount;
}

bool xbasedictionary::BaseFind(const char* key, void* value, unsigned slotSize,
                               unsigned valueOffset) {
  unsigned index;
  unsigned probes;
  if (!IsPresent(key, index, slotSize, probes)) {
    CheckRoom(key);
    return false;
  }
  if (value) OnCopyEntry(value, ValueAt(index, slotSize, valueOffset));
  return true;
}

// The value of an entry, under a mark: its own code runs.
void xbasedictionary::Assign(void* slotValue, const void* value) {
  const velUpdate update(this);
  OnCopyEntry(slotValue, value);
}

void xbasedictionary::BaseSet(const char* key, const void* value, unsigned slotSize,
                              unsigned valueOffset) {
  velUpdate::refuse(this, kSource, 300);
  velhAssertNotNullKey(key);
  std::uint64_t wanted = slotCount;
  if (slotCount == 0) {
    wanted = kFirstSize;
  } else if (LoadAbove(liveCount, slotCount, policy.growPercent)) {
    wanted = std::uint64_t{slotCount} * 2;
    if (wanted > kMostSlots) velThrowSizeLimit();
  }
  // What a new entry needs is there before anything changes.
  unsigned index;
  const bool resizes = wanted != slotCount;
  unsigned probes;
  const bool present =
      resizes ? IsPresent(key, index, slotSize, probes) : Seek(key, index, slotSize, probes);
  std::unique_ptr<char[]> copy(present ? nullptr : Strnew(key));
  if (resizes) {
    AdjustTableSize(static_cast<unsigned>(wanted), slotSize, valueOffset);
    Seek(key, index, slotSize, probes);
  }
  CountProbes(probes, slotSize);
  if (present) {
    Assign(ValueAt(index, slotSize, valueOffset), value);
    return;
  }
  const char* const vacant = KeyAt(index, slotSize);
  Occupy(index, copy.get(), slotSize);
  try {
    Assign(ValueAt(index, slotSize, valueOffset), value);
  } catch (...) {
    // No entry without its value.
    DropShortcut();
    KeyOf(table, index, slotSize) = vacant;
    --liveCount;
    throw;
  }
  copy.release();
}

void xbasedictionary::RemoveAt(unsigned index, unsigned slotSize, unsigned valueOffset) {
  velUpdate::refuse(this, kSource, 330);
  const char*& key = KeyOf(table, index, slotSize);
  if (shortcut) shortcut->removing(index);
  delete[] key;
  key = kTombstone;
  {
    const velUpdate update(this);
    OnRemoveEntry(ValueAt(index, slotSize, valueOffset));
  }
  --liveCount;
  const unsigned half = slotCount / 2;
  const bool shrinks = policy.shrinkPercent != 0 && slotCount > kFirstSize &&
                       std::uint64_t{liveCount} * 100 / slotCount < policy.shrinkPercent &&
                       std::uint64_t{liveCount} * 100 / half < policy.growPercent;
  if (!shrinks) return;
  try {
    AdjustTableSize(half, slotSize, valueOffset);
  } catch (const std::bad_alloc&) {
    // The entry is gone; a table that stays large is no failure.
  }
}

bool xbasedictionary::BaseRemove(const char* key, unsigned slotSize, unsigned valueOffset) {
  unsigned index;
  unsigned probes;
  const bool present = IsPresent(key, index, slotSize, probes);
  CountProbes(probes, slotSize);
  if (!present) {
    CheckRoom(key);
    return false;
  }
  RemoveAt(index, slotSize, valueOffset);
  return true;
}

bool xbasedictionary::BaseRemoveByIndex(unsigned index, unsigned slotSize, unsigned valueOffset) {
  if (!IsLive(index, slotSize)) return false;
  RemoveAt(index, slotSize, valueOffset);
  return true;
}

bool xbasedictionary::BaseGetByIndex(unsigned index, void* value, unsigned slotSize,
                                     unsigned valueOffset) {
  if (!IsLive(index, slotSize)) return false;
  if (value) OnCopyEntry(value, ValueAt(index, slotSize, valueOffset));
  return true;
}

bool xbasedictionary::BaseGetKeyByIndex(unsigned index, xstring* key, unsigned slotSize) const {
  if (!IsLive(index, slotSize)) return false;
  if (key) *key = KeyAt(index, slotSize);
  return true;
}

bool xbasedictionary::BaseSetByIndex(unsigned index, const void* value, unsigned slotSize,
                                     unsigned valueOffset) {
  if (!IsLive(index, slotSize)) return false;
  velUpdate::refuse(this, kSource, 380);
  Assign(ValueAt(index, slotSize, valueOffset), value);
  return true;
}

void xbasedictionary::FreeKeys(void* block, unsigned slots, unsigned slotSize) const {
  for (unsigned i = 0; i < slots; ++i) {
    const char* key = KeyOf(block, i, slotSize);
    if (!xdictentryIsVacant(key)) delete[] key;
  }
}

void xbasedictionary::BaseFreeAllKeys(unsigned slotSize) {
  DropShortcut();
  FreeKeys(table, slotCount, slotSize);
}

void xbasedictionary::BaseClearAll(unsigned slotSize) {
  velUpdate::refuse(this, kSource, 400);
  void* const block = table;
  const unsigned slots = slotCount;
  // Whoever is called while the block goes finds an empty dictionary.
  table = nullptr;
  slotCount = liveCount = 0;
  DropShortcut();
  if (!block) return;
  FreeKeys(block, slots, slotSize);
  OnDestroy(block, slots);
}

// The same for what values put in as they go, until there is nothing.
void xbasedictionary::Empty(unsigned slotSize) {
  do {
    BaseClearAll(slotSize);
  } while (table);
}

void xbasedictionary::Allocate(unsigned slots, unsigned slotSize) {
  const velUpdate update(this);
  table = OnAllocate(slots);
  slotCount = slots;
  for (unsigned i = 0; i < slots; ++i) KeyOf(table, i, slotSize) = nullptr;
}

void xbasedictionary::BaseAllocate(unsigned n, unsigned slotSize) {
  std::uint64_t slots = kFirstSize;
  while (n && LoadAbove(n, slots, policy.growPercent)) slots *= 2;
  if (slots > kMostSlots) velThrowSizeLimit();
  Empty(slotSize);
  if (n) Allocate(static_cast<unsigned>(slots), slotSize);
}

void xbasedictionary::AdjustTableSize(unsigned newSize, unsigned slotSize, unsigned valueOffset) {
  void* const oldTable = table;
  const unsigned oldSize = slotCount;
  const unsigned oldCount = liveCount;
  velDictIndex* const oldShortcut = shortcut;
  const velUpdate update(this);
  Allocate(newSize, slotSize);
  liveCount = 0;
  shortcut = nullptr;
  wastedProbes = 0;
  try {
    for (unsigned i = 0; i < oldSize; ++i) {
      const char* key = KeyOf(oldTable, i, slotSize);
      if (xdictentryIsVacant(key)) continue;
      // The copy of the key moves over; the old block is only tested for
      // vacancy from here on.
      const unsigned index = EmptySlotFor(key, slotSize);
      Occupy(index, key, slotSize);
      OnCopyEntry(ValueAt(index, slotSize, valueOffset),
                  static_cast<char*>(oldTable) + std::size_t{i} * slotSize + valueOffset);
    }
  } catch (...) {
    // A value could not be copied: the old block still has all of them.
    void* const newTable = table;
    table = oldTable;
    slotCount = oldSize;
    liveCount = oldCount;
    DropShortcut();
    shortcut = oldShortcut;
    OnDestroy(newTable, newSize);
    throw;
  }
  velDictIndex::destroy(oldShortcut);
  OnDestroy(oldTable, oldSize);
}

void xbasedictionary::BaseClone(const xbasedictionary* other, unsigned slotSize,
                                unsigned valueOffset) {
  if (other == this) return;
  Empty(slotSize);
  if (!other || !other->table) return;
  Allocate(other->slotCount, slotSize);
  try {
    const velUpdate update(this);
    const velUpdate reading(other);
    for (unsigned i = 0; i < slotCount; ++i) {
      const char* key = other->KeyAt(i, slotSize);
      const char*& own = KeyOf(table, i, slotSize);
      if (xdictentryIsVacant(key)) {
        own = key;
        continue;
      }
      own = Strnew(key);
      ++liveCount;
      OnCopyEntry(ValueAt(i, slotSize, valueOffset), other->ValueAt(i, slotSize, valueOffset));
    }
  } catch (...) {
    BaseClearAll(slotSize);
    throw;
  }
  // The copy is as crowded as the original.
  if (other->shortcut) shortcut = velDictIndex::create({table, slotSize, slotCount});
}
