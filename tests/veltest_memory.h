// veltest_memory.h - allocation failures and live blocks, for tests.
//
// Replaces the global operators new and delete of the program that includes it,
// those of the library with them: include it in one source file only.
#ifndef VELSTD_TESTS_VELTEST_MEMORY_H
#define VELSTD_TESTS_VELTEST_MEMORY_H

#include <malloc.h>

#include <atomic>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <new>

namespace velmemory {

inline thread_local long countdown = 0;
inline std::atomic<long> live{0};

inline void* Allocate(std::size_t bytes) noexcept {
  if (countdown > 0 && --countdown == 0) return nullptr;
  void* block = std::malloc(bytes ? bytes : 1);
  if (block) ++live;
  return block;
}

inline void Free(void* block) noexcept {
  if (!block) return;
  --live;
  // Who still reads it shall not find what was there.
  std::memset(block, 0xDD, malloc_usable_size(block));
  std::free(block);
}

inline void* Demand(std::size_t bytes) {
  if (void* block = Allocate(bytes)) return block;
  throw std::bad_alloc();
}

}  // namespace velmemory

/// While it lives, the nth allocation of this thread (from 1) fails; those
/// before and after it do not.
class VelFailAllocation {
 public:
  explicit VelFailAllocation(long nth) { velmemory::countdown = nth; }
  ~VelFailAllocation() { velmemory::countdown = 0; }
  VelFailAllocation(const VelFailAllocation&) = delete;
  VelFailAllocation& operator=(const VelFailAllocation&) = delete;

  /// Whether that allocation was reached.
  bool hasFailed() const { return velmemory::countdown == 0; }
};

/// Blocks of operator new that exist.
inline long velLiveBlocks() { return velmemory::live; }

void* operator new(std::size_t bytes) { return velmemory::Demand(bytes); }
void* operator new[](std::size_t bytes) { return velmemory::Demand(bytes); }
void* operator new(std::size_t bytes, const std::nothrow_t&) noexcept {
  return velmemory::Allocate(bytes);
}
void* operator new[](std::size_t bytes, const std::nothrow_t&) noexcept {
  return velmemory::Allocate(bytes);
}
void operator delete(void* block) noexcept { velmemory::Free(block); }
void operator delete[](void* block) noexcept { velmemory::Free(block); }
void operator delete(void* block, std::size_t) noexcept { velmemory::Free(block); }
void operator delete[](void* block, std::size_t) noexcept { velmemory::Free(block); }
void operator delete(void* block, const std::nothrow_t&) noexcept { velmemory::Free(block); }
void operator delete[](void* block, const std::nothrow_t&) noexcept { velmemory::Free(block); }

#endif  // VELSTD_TESTS_VELTEST_MEMORY_H
