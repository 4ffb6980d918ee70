// velargument.h - objects that come in from C.
//
// In C all framework classes are one type, so what arrives may be the address
// of any framework base of an object; over a virtual base these addresses
// differ. The object is found through the type information of whatever the
// address points at.
#ifndef VELSTD_CAPI_VELARGUMENT_H
#define VELSTD_CAPI_VELARGUMENT_H

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <typeinfo>

#include "velcounting.h"
#include "velexceptions.h"
#include "velobject.h"
#include "xobject.h"

/// The address of the table of virtual functions at `address`.
inline std::uintptr_t velTableAt(const void* address) {
  std::uintptr_t table;
  std::memcpy(&table, address, sizeof table);
  return table;
}

/// How far parts of objects lie from their object, by the table that they begin
/// with: small, lock-free, and filled as parts are met.
struct velDistanceCache {
  // A table and a distance in one word that is read and written as a whole.
  // User-space addresses fit 48 bits; a distance that does not fit 16 is not kept.
  static constexpr int kDistanceBits = 16;
  static constexpr std::size_t kEntries = 256;
  static std::atomic<std::uint64_t> entries[kEntries];

  static std::atomic<std::uint64_t>& entry(std::uintptr_t table) {
    return entries[(table >> 4) % kEntries];
  }
  /// The distance of the object from the part at `address`, by its type
  /// information.
  static std::ptrdiff_t search(const void* address);
};

/// The object that `address` is a framework part of; null and the
/// uninitialised address stay what they are.
inline xobject* velObjectAt(const void* address) {
  char* part = static_cast<char*>(const_cast<void*>(address));
  if (!velCounting::isAddress(address)) return reinterpret_cast<xobject*>(part);
  const std::uintptr_t table = velTableAt(address);
  const std::uint64_t known = velDistanceCache::entry(table).load(std::memory_order_relaxed);
  const std::ptrdiff_t distance = known >> velDistanceCache::kDistanceBits == table
                                      ? static_cast<std::int16_t>(known)
                                      : velDistanceCache::search(address);
  return reinterpret_cast<xobject*>(part + distance);
}

/// The table of objects that are exactly a C and stand where their C does, from
/// the last one that velFindArgument has met; 0 before.
template <class C>
[[gnu::visibility("hidden")]] inline std::atomic<std::uintptr_t> velTableOf{0};

/// Whether an object that is exactly a C, and whose C stands there, is known to
/// be at `address`.
template <class C>
bool velIsKnown(const void* address) {
  return velCounting::isAddress(address) &&
         velTableAt(address) == velTableOf<C>.load(std::memory_order_relaxed);
}

/// velArgument with all questions.
template <class C>
[[gnu::noinline]] C* velFindArgument(const void* address) {
  if (!address) velhThrowNull();
  if (velIsUninit(address)) velhThrowNotInitialized();
  xobject* object = velObjectAt(address);
  if (C* exact = velSoftcast<C>(object)) {
    if (exact == address && typeid(*exact) == typeid(C)) {
      velTableOf<C>.store(velTableAt(address), std::memory_order_relaxed);
    }
    return exact;
  }
  if (C* derived = dynamic_cast<C*>(object)) return derived;
  velThrowTypeMismatch(C::getClassRtti(), object);
}

/// The object at `address` as class C, or as what derives from it. Throws
/// velXNull for null, velXNotInitialized for the uninitialised address,
/// velXTypeMismatch for an object of another class.
/// What C hands in is mostly what the function that made it has given out: the
/// table that its address leads to then says all.
template <class C>
C* velArgument(const void* address) {
  if (velIsKnown<C>(address)) return static_cast<C*>(const_cast<void*>(address));
  return velFindArgument<C>(address);
}

#endif  // VELSTD_CAPI_VELARGUMENT_H
