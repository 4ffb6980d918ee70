// korpool.h - small blocks that come and go, kept for the next one to come.
//
// A string is a small block, and so are most objects; making one and giving it
// up costs the general allocator several times what they do with it. So each
// thread keeps the small blocks that it gives back, up to a bound, in lists by
// size; taking one is a few instructions without a call. A thread that ends gives
// its blocks back to the allocator.
// Blocks of strings are korAlloc's, those of objects operator new's. A program
// that puts other functions in the place of these or of the C library's malloc,
// as memory checkers do, gets every call: nothing is kept then.
// Threads: a block may be taken in one thread and given back in another.
// Private to the library.
#ifndef VELSTD_KORBASE_KORPOOL_H
#define VELSTD_KORBASE_KORPOOL_H

#include <cstddef>
#include <new>

#include "koralloc.h"

namespace korpool {

constexpr std::size_t kStep = 16;               // sizes go up by this
constexpr std::size_t kMostSteps = 32;          // larger blocks are not kept
constexpr std::size_t kMostBytes = std::size_t{128} << 10;  // kept on a shelf, all sizes together

struct Block {
  Block* next;
};

// Blocks from one allocator.
struct Shelf {
  Block* blocks[kMostSteps + 1];  // by steps
  std::size_t room;               // steps that may still be kept

  // One of so many steps, which are at most kMostSteps; null if there is none.
  void* take(std::size_t steps) noexcept {
    Block* const block = blocks[steps];
    if (!block) return nullptr;
    blocks[steps] = block->next;
    room += steps;
    return block;
  }
  // False if there is no room for it.
  bool put(void* block, std::size_t steps) noexcept {
    if (steps > kMostSteps || steps > room) return false;
    auto* const first = static_cast<Block*>(block);
    first->next = blocks[steps];
    blocks[steps] = first;
    room -= steps;
    return true;
  }
};

// What a thread keeps.
struct Kept {
  Shelf strings;
  Shelf objects;
};

// A record that is full and empty at once stands for none. Only the address lies
// in the thread's own storage, of which libraries loaded late get little. The
// keyword is that of the C compilers: it promises that there is nothing to
// construct, so that no use asks.
extern __attribute__((tls_model("initial-exec"))) __thread Kept* kept;

inline std::size_t Steps(std::size_t bytes) { return (bytes + kStep - 1) / kStep; }

void FreeSlowly(void* block, std::size_t steps) noexcept;
void FreeObjectSlowly(void* block, std::size_t steps) noexcept;

/// A block of `bytes` bytes (at least 1), owned: give it back with Free. Null
/// when there is no memory.
inline void* Alloc(std::size_t bytes) noexcept {
  const std::size_t steps = Steps(bytes);
  if (steps > kMostSteps) return korAlloc(bytes);
  void* const block = kept->strings.take(steps);
  return block ? block : korAlloc(steps * kStep);
}

/// Gives `block` back, which was asked for with `bytes` bytes.
inline void Free(void* block, std::size_t bytes) noexcept {
  const std::size_t steps = Steps(bytes);
  if (!kept->strings.put(block, steps)) FreeSlowly(block, steps);
}

/// The same for an object. Throws std::bad_alloc.
inline void* AllocObject(std::size_t bytes) {
  const std::size_t steps = Steps(bytes);
  if (steps > kMostSteps) return ::operator new(bytes);
  void* const block = kept->objects.take(steps);
  return block ? block : ::operator new(steps * kStep);
}

inline void FreeObject(void* block, std::size_t bytes) noexcept {
  const std::size_t steps = Steps(bytes);
  if (!kept->objects.put(block, steps)) FreeObjectSlowly(block, steps);
}

}  // namespace korpool

#endif  // VELSTD_KORBASE_KORPOOL_H
