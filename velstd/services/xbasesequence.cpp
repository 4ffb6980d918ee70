#include "xbasesequence.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <new>

#include "velupdate.h"

namespace {

constexpr char kSource[] = "velstd/services/xbasesequence";

constexpr std::uint64_t kCapacityEnd = std::uint64_t{1} << 32;

// Where `src` lies inside the `bytes` bytes at `block`; -1 for outside.
std::int64_t OffsetIn(const void* block, unsigned bytes, const void* src) {
  const auto* from = static_cast<const char*>(block);
  const auto* at = static_cast<const char*>(src);
  const std::less<const char*> before;
  if (!from || before(at, from) || !before(at, from + bytes)) return -1;
  return at - from;
}

}  // namespace

// The capacity that doubling reaches for `bytes`.
std::uint64_t xbasesequence::GrownFor(std::uint64_t bytes) const {
  std::uint64_t grown = capacityBytes ? capacityBytes : policy.initialBytes;
  if (grown == 0) grown = bytes;
  while (grown < bytes) grown *= 2;
  if (grown >= kCapacityEnd) velThrowSizeLimit();
  return grown;
}

// The hooks that run an element's own code, each under a mark.

void xbasesequence::Reallocate(unsigned newCapacity) {
  const velUpdate update(this);
  if (isSealed) {
    void* block = std::realloc(storage, newCapacity);
    if (!block) throw std::bad_alloc();
    storage = block;
    OnAllocate(At(capacityBytes), newCapacity - capacityBytes);
  } else {
    storage = OnResize(newCapacity);
  }
  SetCapacity(newCapacity);
}

void xbasesequence::SetCapacity(unsigned bytes) {
  capacityBytes = bytes;
#ifndef VELSTD_CHECKED
  if (isSealed) quickBytes = bytes;
#endif
}

void xbasesequence::Seal() {
  isSealed = true;
  SetCapacity(capacityBytes);
}

// Moves what lies at `pos` and behind up by `count`. Elements that move as bytes
// leave nothing behind: the gap is made anew, over slots that owned nothing.
void xbasesequence::MakeRoom(unsigned pos, unsigned count) {
  char* const to = At(std::uint64_t{pos} + count);
  if (!isSealed) return Copy(to, At(pos), usedBytes - pos);
  std::memmove(to, At(pos), usedBytes - pos);
  OnAllocate(At(pos), count);
}

// Ends the elements from `lo` to `hi` and moves the rest down as bytes.
void xbasesequence::CloseGap(unsigned lo, unsigned hi) {
  const velUpdate update(this);
  OnDestroy(At(lo), hi - lo);
  std::memmove(At(lo), At(hi), usedBytes - hi);
  OnAllocate(At(usedBytes - (hi - lo)), hi - lo);
}

void xbasesequence::Vacate(char* at, unsigned bytes) {
  const velUpdate update(this);
  OnDestroy(at, bytes);
  OnAllocate(at, bytes);
}

void xbasesequence::Copy(char* dst, const void* src, unsigned bytes) {
  const velUpdate update(this);
  OnCopy(dst, src, bytes);
}

void xbasesequence::Resize(unsigned bytes) {
  std::uint64_t wanted = capacityBytes;
  if (bytes > usedBytes) {
    wanted = GrownFor(bytes);
  } else if (policy.shrink && bytes < usedBytes) {
    for (std::uint64_t half = wanted / 2; bytes <= half && half > policy.initialBytes; half /= 2) {
      wanted = half;
    }
  }
  if (wanted != capacityBytes) {
    try {
      return Reallocate(static_cast<unsigned>(wanted));
    } catch (const std::bad_alloc&) {
      // Removal does not fail for want of memory: the capacity stays.
      if (bytes > usedBytes) throw;
    }
  }
  if (bytes < usedBytes) Vacate(At(bytes), usedBytes - bytes);
}

void xbasesequence::BaseAllocate(unsigned bytes) {
  velUpdate::refuse(this, kSource, 70);
  GrownFor(bytes);  // refuses what is too much before anything is removed
  if (storage) BaseRemove(0, usedBytes);
  Resize(bytes);
}

void xbasesequence::BaseAppend(unsigned count, const void* src) {
  BaseInsert(usedBytes, count, src);
}

void xbasesequence::BaseClear() { BaseRemove(0, usedBytes); }

void xbasesequence::BaseCopy(unsigned pos, unsigned count, const void* src) {
  velUpdate::refuse(this, kSource, 90);
  const std::uint64_t end = std::uint64_t{pos} + count;
  if (end > usedBytes) {
    const std::uint64_t wanted = end > capacityBytes ? GrownFor(end) : capacityBytes;
    if (wanted != capacityBytes) {
      const std::int64_t own = OffsetIn(storage, usedBytes, src);
      Reallocate(static_cast<unsigned>(wanted));
      if (own >= 0) src = At(static_cast<std::uint64_t>(own));
    }
    usedBytes = static_cast<unsigned>(end);
  }
  Copy(At(pos), src, count);
}

void xbasesequence::BaseInsert(unsigned pos, unsigned count, const void* src) {
  const std::int64_t found = OffsetIn(storage, usedBytes, src);
  BaseInsertEmpty(pos, count);
  if (found < 0) return Copy(At(pos), src, count);
  // The source was part of the sequence: what of it lay at or behind `pos` has
  // moved up by `count`.
  const auto own = static_cast<std::uint64_t>(found);
  if (own + count <= pos) return Copy(At(pos), At(own), count);
  if (own >= pos) return Copy(At(pos), At(own + count), count);
  const auto stayed = static_cast<unsigned>(pos - own);
  Copy(At(pos), At(own), stayed);
  Copy(At(std::uint64_t{pos} + stayed), At(std::uint64_t{pos} + count), count - stayed);
}

void xbasesequence::BaseInsertEmpty(unsigned pos, unsigned count) {
  velUpdate::refuse(this, kSource, 125);
  const unsigned oldSize = usedBytes;
  const unsigned gap = pos > oldSize ? pos - oldSize : 0;
  const std::uint64_t newSize = std::uint64_t{oldSize} + gap + count;
  if (newSize >= kCapacityEnd) velThrowSizeLimit();
  Resize(static_cast<unsigned>(newSize));
  if (pos < oldSize) MakeRoom(pos, count);
  usedBytes = static_cast<unsigned>(newSize);
}

void xbasesequence::BaseRemove(unsigned a, unsigned b) {
  const unsigned lo = std::min(a, b);
  const unsigned hi = std::min(std::max(a, b), usedBytes);
  if (lo >= usedBytes) return;
  velUpdate::refuse(this, kSource, 140);
  const unsigned newSize = usedBytes - (hi - lo);
  if (isSealed) {
    CloseGap(lo, hi);
  } else {
    if (hi < usedBytes) Copy(At(lo), At(hi), usedBytes - hi);
    Resize(newSize);
  }
  usedBytes = newSize;
}

void* xbasesequence::DetachStorage() {
  void* old = storage;
  storage = nullptr;
  usedBytes = 0;
  SetCapacity(0);
  return old;
}
