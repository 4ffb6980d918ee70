// koralloc.h - the toolkit's raw memory functions.
//
// They are the C runtime's allocator under the toolkit's names, so a block
// may cross between the two. Sizes are bytes.
// Threads: all three may be called at any time from any thread.
#ifndef VELSTD_KORBASE_KORALLOC_H
#define VELSTD_KORBASE_KORALLOC_H

#include <cstddef>

#include "korapi.h"

/// A block of `size` bytes with indeterminate contents, owned: give it back
/// with korFree. Null when there is no memory; nothing is thrown.
VELSTD_API void* korAlloc(std::size_t size);

/// Moves `block` (nullable, then as korAlloc) to a block of `size` bytes and
/// keeps the contents up to the smaller size. Null when there is no memory;
/// `block` then stays valid and owned.
VELSTD_API void* korRealloc(void* block, std::size_t size);

/// Gives `block` (nullable) back.
VELSTD_API void korFree(void* block);

#endif  // VELSTD_KORBASE_KORALLOC_H
