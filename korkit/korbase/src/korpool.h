// korpool.h - small blocks that come and go, kept for the next one to come.
//
// A string is a small block, and making one and giving it up costs the general
// allocator several times what the string does with it. So each thread keeps
// the small blocks that it gives back, up to a bound, in lists by size; taking
// one is a few instructions without a call. A thread that ends gives its blocks
// back to the allocator.
// Blocks are korAlloc's. A program that puts other functions in the place of
// korAlloc or of the C library's malloc, as memory checkers do, gets every call:
// nothing is kept then.
// Threads: a block may be taken in one thread and given back in another.
// Private to the toolkit.
#ifndef VELSTD_KORBASE_KORPOOL_H
#define VELSTD_KORBASE_KORPOOL_H

#include <cstddef>

#include "koralloc.h"

namespace korpool {

constexpr std::size_t kStep = 16;               // sizes go up by this
constexpr std::size_t kMostSteps = 32;          // larger blocks are not kept
constexpr std::size_t kMostBytes = std::size_t{128} << 10;  // kept by a thread, all sizes together

struct Block {
  Block* next;
};

// What a thread keeps.
struct Kept {
  Block* blocks[kMostSteps + 1];  // by steps
  std::size_t room;               // steps that may still be kept
};

// A record that is full and empty at once stands for none. Only the address lies
// in the thread's own storage, of which libraries loaded late get little. The
// keyword is that of the C compilers: it promises that there is nothing to
// construct, so that no use asks.
extern __attribute__((tls_model("initial-exec"))) __thread Kept* kept;

inline std::size_t Steps(std::size_t bytes) { return (bytes + kStep - 1) / kStep; }

void FreeSlowly(void* block, std::size_t steps) noexcept;

/// A block of `bytes` bytes (at least 1), owned: give it back with Free. Null
/// when there is no memory.
inline void* Alloc(std::size_t bytes) noexcept {
  const std::size_t steps = Steps(bytes);
  if (steps > kMostSteps) return korAlloc(bytes);
  Kept* const mine = kept;
  Block* const block = mine->blocks[steps];
  if (!block) return korAlloc(steps * kStep);
  mine->blocks[steps] = block->next;
  mine->room += steps;
  return block;
}

/// Gives `block` back, which was asked for with `bytes` bytes.
inline void Free(void* block, std::size_t bytes) noexcept {
  const std::size_t steps = Steps(bytes);
  Kept* const mine = kept;
  if (steps > kMostSteps || steps > mine->room) return FreeSlowly(block, steps);
  auto* const first = static_cast<Block*>(block);
  first->next = mine->blocks[steps];
  mine->blocks[steps] = first;
  mine->room -= steps;
}

}  // namespace korpool

#endif  // VELSTD_KORBASE_KORPOOL_H
