#include "koralloc.h"

#include <cstdlib>

void* korAlloc(std::size_t size) { return std::malloc(size); }

void* korRealloc(void* block, std::size_t size) { return std::realloc(block, size); }

void korFree(void* block) { std::free(block); }
