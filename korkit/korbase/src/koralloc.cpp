#include "koralloc.h"

#include <cstdlib>

void* korAlloc(std::size_t size) { return std::malloc(size); }

// The function above under a name that no program can put another in place of.
__attribute__((alias("_Z8korAllocm"), visibility("hidden"))) void* korOwnAlloc(
    std::size_t size) noexcept;

void* korRealloc(void* block, std::size_t size) { return std::realloc(block, size); }

void korFree(void* block) { std::free(block); }
