#include "velbdictkeys.h"

#include <algorithm>
#include <cstring>
#include <new>

// Inside a chunk the address sanitizer sees one block; so that it finds keys that
// are used after their end, what holds no key is marked by hand.
#if defined(__SANITIZE_ADDRESS__)
#define VEL_ADDRESS_SANITIZER
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define VEL_ADDRESS_SANITIZER
#endif
#endif
#ifdef VEL_ADDRESS_SANITIZER
#include <sanitizer/asan_interface.h>
#endif

namespace {

// Chunks grow with the store, so that small dictionaries stay small, up to a size
// that malloc serves from memory that other blocks have left.
constexpr std::size_t kMostChunk = 32768;

// Null without memory. By the operator that a program is likely to replace together
// with the one that gives back.
void* NewMemory(std::size_t bytes) noexcept {
  try {
    return ::operator new(bytes);
  } catch (const std::bad_alloc&) {
    return nullptr;
  }
}

void Forbid([[maybe_unused]] void* at, [[maybe_unused]] std::size_t bytes) {
#ifdef VEL_ADDRESS_SANITIZER
  __asan_poison_memory_region(at, bytes);
#endif
}

void Allow([[maybe_unused]] void* at, [[maybe_unused]] std::size_t bytes) {
#ifdef VEL_ADDRESS_SANITIZER
  __asan_unpoison_memory_region(at, bytes);
#endif
}

}  // namespace

struct velDictKeys::Chunk {
  Chunk* previous;
  std::size_t bytes;

  char* begin() { return reinterpret_cast<char*>(this + 1); }
};

// In front of a long copy; both ways, so that it can leave at any time.
struct velDictKeys::Long {
  Long* previous;
  Long* next;

  char* text() { return reinterpret_cast<char*>(this + 1); }
  static Long* of(const char* key) { return reinterpret_cast<Long*>(const_cast<char*>(key)) - 1; }
};

// What lies in the place of a removed copy.
struct velDictKeys::Vacant {
  Vacant* next;
};

velDictKeys* velDictKeys::create(std::size_t bytes) noexcept {
  void* memory = NewMemory(sizeof(velDictKeys) + bytes);
  if (!memory) return nullptr;
  auto* keys = new (memory) velDictKeys;
  keys->cursor = reinterpret_cast<char*>(keys + 1);
  keys->end = keys->cursor + bytes;
  keys->chunkBytes = keys->firstBytes = bytes;
  Forbid(keys->cursor, bytes);
  return keys;
}

const char* velDictKeys::fill(char* place, const char* text, std::size_t length) noexcept {
  std::memset(place + length / 8 * 8, 0, 8);
  std::memcpy(place, text, length);
  return place;
}

void velDictKeys::destroy(velDictKeys* keys) noexcept {
  if (!keys) return;
  while (Long* key = keys->longKeys) {
    keys->longKeys = key->next;
    ::operator delete(key);
  }
  while (Chunk* chunk = keys->latest) {
    keys->latest = chunk->previous;
    Allow(chunk->begin(), chunk->bytes);
    ::operator delete(chunk);
  }
  Allow(keys + 1, keys->firstBytes);
  ::operator delete(keys);
}

bool velDictKeys::extend() noexcept {
  const std::size_t bytes = std::min(std::max(chunkBytes, std::size_t{256}), kMostChunk);
  auto* chunk = static_cast<Chunk*>(NewMemory(sizeof(Chunk) + bytes));
  if (!chunk) return false;
  // What is left of the chunk before has the size of some short copy.
  if (cursor != end) vacate(cursor, static_cast<std::size_t>(end - cursor));
  chunk->previous = latest;
  chunk->bytes = bytes;
  latest = chunk;
  cursor = chunk->begin();
  end = cursor + bytes;
  chunkBytes += bytes;
  Forbid(cursor, bytes);
  return true;
}

void velDictKeys::vacate(char* place, std::size_t size) noexcept {
  Vacant*& list = vacant[size / 8 - 1];
  Allow(place, sizeof(Vacant));
  list = new (place) Vacant{list};
  Forbid(place, size);
}

// A place of that size, or null without memory.
char* velDictKeys::take(std::size_t size) noexcept {
  char* place = nullptr;
  if (Vacant*& list = vacant[size / 8 - 1]) {
    place = reinterpret_cast<char*>(list);
    Allow(place, size);
    list = list->next;
  } else {
    if (static_cast<std::size_t>(end - cursor) < size && !extend()) return nullptr;
    place = cursor;
    cursor += size;
    Allow(place, size);
  }
  usedBytes += size;
  return place;
}

const char* velDictKeys::add(const char* text, std::size_t length) noexcept {
  const std::size_t size = paddedSize(length);
  if (length <= kShort) {
    char* place = take(size);
    return place ? fill(place, text, length) : nullptr;
  }
  auto* key = static_cast<Long*>(NewMemory(sizeof(Long) + size));
  if (!key) return nullptr;
  key->previous = nullptr;
  key->next = longKeys;
  if (longKeys) longKeys->previous = key;
  longKeys = key;
  return fill(key->text(), text, length);
}

void velDictKeys::remove(const char* key, std::size_t length) noexcept {
  if (length > kShort) {
    Long* gone = Long::of(key);
    (gone->previous ? gone->previous->next : longKeys) = gone->next;
    if (gone->next) gone->next->previous = gone->previous;
    ::operator delete(gone);
    return;
  }
  const std::size_t size = paddedSize(length);
  char* place = const_cast<char*>(key);
  usedBytes -= size;
  if (place + size != cursor) return vacate(place, size);
  cursor = place;
  Forbid(place, size);
  if (!latest || cursor != latest->begin()) return;
  // The chunk is as new: it goes, and what it followed is full.
  Chunk* const chunk = latest;
  latest = chunk->previous;
  chunkBytes -= chunk->bytes;
  cursor = end = nullptr;
  Allow(chunk->begin(), chunk->bytes);
  ::operator delete(chunk);
}

const char* velDictKeys::moved(const char* key, std::size_t length) noexcept {
  return length <= kShort ? add(key, length) : key;
}

void velDictKeys::takeLong(velDictKeys& other) noexcept {
  longKeys = other.longKeys;
  other.longKeys = nullptr;
}
