#include "velbdict.h"

#include <cstring>
#include <memory>
#include <new>

#include "korabort.h"
#include "korstring.h"
#include "velexceptions.h"
#include "xstring.h"

namespace {

constexpr unsigned kNoIndex = 0xFFFFFFFF;
constexpr unsigned kFirstSize = 32;
constexpr std::uint64_t kMostSlots = std::uint64_t{1} << 30;

const char* const kTombstone = reinterpret_cast<const char*>(std::uintptr_t{1});

std::uint32_t SignedByte(char c) { return static_cast<std::uint32_t>(static_cast<signed char>(c)); }

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

// FindIndex without its end: a full table gives kNoIndex.
bool xbasedictionary::Locate(const char* key, unsigned& index, unsigned slotSize) const {
  index = kNoIndex;
  if (slotCount == 0 || xdictentryIsVacant(key)) return false;
  unsigned length;
  std::uint32_t h = xbdictHashMain(key, &length);
  std::uint32_t step = 0;
  for (unsigned probe = 0; probe < slotCount; ++probe) {
    if (probe == 1) step = length ? xbdictHashCollision(key, length) : 1;
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

bool xbasedictionary::FindIndex(const char* key, unsigned& index, unsigned slotSize) const {
  if (Locate(key, index, slotSize)) return true;
  if (index == kNoIndex && slotCount != 0 && !xdictentryIsVacant(key)) {
    _korAbort("Hash table overflow.", "velstd/services/velbdict", 228);
  }
  return false;
}

bool xbasedictionary::BaseFind(const char* key, void* value, unsigned slotSize,
                               unsigned valueOffset) {
  unsigned index;
  if (!FindIndex(key, index, slotSize)) return false;
  if (value) OnCopyEntry(value, ValueAt(index, slotSize, valueOffset));
  return true;
}

void xbasedictionary::BaseSet(const char* key, const void* value, unsigned slotSize,
                              unsigned valueOffset) {
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
  const bool present = resizes ? Locate(key, index, slotSize) : FindIndex(key, index, slotSize);
  std::unique_ptr<char[]> copy(present ? nullptr : Strnew(key));
  if (resizes) {
    AdjustTableSize(static_cast<unsigned>(wanted), slotSize, valueOffset);
    FindIndex(key, index, slotSize);
  }
  if (present) {
    OnCopyEntry(ValueAt(index, slotSize, valueOffset), value);
    return;
  }
  const char*& slotKey = KeyOf(table, index, slotSize);
  const char* const vacant = slotKey;
  ++liveCount;
  slotKey = copy.get();
  try {
    OnCopyEntry(ValueAt(index, slotSize, valueOffset), value);
  } catch (...) {
    // No entry without its value.
    slotKey = vacant;
    --liveCount;
    throw;
  }
  copy.release();
}

void xbasedictionary::RemoveAt(unsigned index, unsigned slotSize, unsigned valueOffset) {
  const char*& key = KeyOf(table, index, slotSize);
  delete[] key;
  key = kTombstone;
  OnRemoveEntry(ValueAt(index, slotSize, valueOffset));
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
  if (!FindIndex(key, index, slotSize)) return false;
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
  OnCopyEntry(ValueAt(index, slotSize, valueOffset), value);
  return true;
}

void xbasedictionary::FreeKeys(void* block, unsigned slots, unsigned slotSize) const {
  for (unsigned i = 0; i < slots; ++i) {
    const char* key = KeyOf(block, i, slotSize);
    if (!xdictentryIsVacant(key)) delete[] key;
  }
}

void xbasedictionary::BaseFreeAllKeys(unsigned slotSize) { FreeKeys(table, slotCount, slotSize); }

void xbasedictionary::BaseClearAll(unsigned slotSize) {
  void* const block = table;
  const unsigned slots = slotCount;
  // Whoever is called while the block goes finds an empty dictionary.
  table = nullptr;
  slotCount = liveCount = 0;
  if (!block) return;
  FreeKeys(block, slots, slotSize);
  OnDestroy(block, slots);
}

void xbasedictionary::Allocate(unsigned slots, unsigned slotSize) {
  table = OnAllocate(slots);
  slotCount = slots;
  for (unsigned i = 0; i < slots; ++i) KeyOf(table, i, slotSize) = nullptr;
}

void xbasedictionary::BaseAllocate(unsigned n, unsigned slotSize) {
  std::uint64_t slots = kFirstSize;
  while (n && LoadAbove(n, slots, policy.growPercent)) slots *= 2;
  if (slots > kMostSlots) velThrowSizeLimit();
  BaseClearAll(slotSize);
  if (n) Allocate(static_cast<unsigned>(slots), slotSize);
}

void xbasedictionary::AdjustTableSize(unsigned newSize, unsigned slotSize, unsigned valueOffset) {
  void* const oldTable = table;
  const unsigned oldSize = slotCount;
  const unsigned oldCount = liveCount;
  Allocate(newSize, slotSize);
  liveCount = 0;
  try {
    for (unsigned i = 0; i < oldSize; ++i) {
      const char* key = KeyOf(oldTable, i, slotSize);
      if (xdictentryIsVacant(key)) continue;
      unsigned index;
      FindIndex(key, index, slotSize);
      ++liveCount;
      // The copy of the key moves over; the old block is only tested for
      // vacancy from here on.
      KeyOf(table, index, slotSize) = key;
      OnCopyEntry(ValueAt(index, slotSize, valueOffset),
                  static_cast<char*>(oldTable) + std::size_t{i} * slotSize + valueOffset);
    }
  } catch (...) {
    // A value could not be copied: the old block still has all of them.
    void* const newTable = table;
    table = oldTable;
    slotCount = oldSize;
    liveCount = oldCount;
    OnDestroy(newTable, newSize);
    throw;
  }
  OnDestroy(oldTable, oldSize);
}

void xbasedictionary::BaseClone(const xbasedictionary* other, unsigned slotSize,
                                unsigned valueOffset) {
  if (other == this) return;
  BaseClearAll(slotSize);
  if (!other || !other->table) return;
  Allocate(other->slotCount, slotSize);
  try {
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
}
