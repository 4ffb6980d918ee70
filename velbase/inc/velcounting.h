// velcounting.h - attach and release in line, as handles and variants do them.
//
// xrcattach and xrcrelease go through the object's table of virtual functions,
// because a class may override how it is counted. Nearly none does: so xrcattach
// leaves a mark in an object whose class does not, and with that mark, and a
// count that is neither the first nor the last, both are a handful of
// instructions in the caller's code. Every other case takes the long way.
//
// The mark is the low half of the address of the table that was looked through,
// made odd. An object has another table while it is under construction or
// destruction as one of its bases, and then the mark does not fit.
#ifndef VELSTD_VELBASE_VELCOUNTING_H
#define VELSTD_VELBASE_VELCOUNTING_H

#include <atomic>
#include <cstdint>
#include <cstring>

#include "korapi.h"
#include "korcount.h"
#include "xobject.h"

/// Attach and release for those who hold objects very often; xrcattach and xrcrelease
/// do the same. Thread-safe, as these are.
struct velCounting {
  /// How many lists of postponed releases on this thread hold something. While
  /// one does, any release may have to wait behind it (velrelease.h). Read
  /// without a call, wherever it is read from.
  VELSTD_API static __thread int waitingReleases __attribute__((tls_model("initial-exec")));

  /// Whether `p` may be an object: neither null nor uninitialised, nor what a
  /// null handle gives when it is converted (no object lives in the first page).
  static bool isAddress(const volatile void* p) noexcept {
    return reinterpret_cast<std::uintptr_t>(p) >= 4096;
  }

  /// xrcattach for an object.
  static void attach(xobject& object) {
    const std::int32_t now = object.refcount.load(std::memory_order_relaxed);
    if (now < 1 || !isMarked(object)) return xrcattach(&object);
    korCountUp(object.refcount);
  }

  /// The first reference on a new object of a class that is known to be counted and
  /// to leave counting to the library.
  static void attachNew(xobject& object) noexcept {
    object.refcount.store(1, std::memory_order_relaxed);
    object.counting.store(markFor(object), std::memory_order_relaxed);
  }

  /// xrcrelease for an object.
  static void release(xobject& object) {
    const std::int32_t now = object.refcount.load(std::memory_order_acquire);
    if (now >= 2 && waitingReleases == 0 && isMarked(object) && !isLast(object)) return;
    xrcrelease(&object);
  }

  /// Takes one from a count of 2 or more. True if it was the last one after all, as
  /// others have been faster: it is back, and the release still to be done. Subtracted
  /// at once, since threads that compare first make one another try again.
  static bool isLast(xobject& object) noexcept {
    if (korCountDown(object.refcount) >= 2) return false;
    object.refcount.store(1, std::memory_order_relaxed);
    return true;
  }

  /// Whether the object is counted: known from its count once the library's own
  /// attach has seen it.
  static bool isCounted(xobject& object) {
    return (isMarked(object) && object.refcount.load(std::memory_order_relaxed) > 0) ||
           object.isRefCountable();
  }

 private:
  friend VELSTD_API void xrcattach(xobject* p);
  friend VELSTD_API void xrcrelease(xobject* p);

  // Copied bytewise: the compiler has views of its own on who reads that field.
  static const void* tableOf(const xobject& object) noexcept {
    const void* table;
    std::memcpy(&table, static_cast<const void*>(&object), sizeof table);
    return table;
  }
  static std::uint32_t markFor(const xobject& object) noexcept {
    return static_cast<std::uint32_t>(reinterpret_cast<std::uintptr_t>(tableOf(object))) | 1U;
  }
  static bool isMarked(const xobject& object) noexcept {
    return object.counting.load(std::memory_order_relaxed) == markFor(object);
  }
  // Sets the mark, if the class lets it.
  static bool mark(xobject& object) noexcept;
};

#endif  // VELSTD_VELBASE_VELCOUNTING_H
