// velbdictkeys.h - where a dictionary keeps the texts that do not fit its records.
//
// A dictionary that asks malloc for each of its keys spends more on headers and
// rounding than on text, and more time there than on hashing. A store lays all but
// long ones one behind the other in chunks that grow with it, hands the place of a
// removed one to the next of its size, and goes as a whole. Long ones have a block
// each.
//
// A copy starts at a multiple of eight and is padded with zeros to the next one,
// so that it can be compared a word at a time. It stays where it is until it is
// removed.
// Only add() and create() need memory, and they tell when there is none.
// Threads: no locks.
#ifndef VELSTD_SERVICES_VELBDICTKEYS_H
#define VELSTD_SERVICES_VELBDICTKEYS_H

#include <cstddef>

class velDictKeys {
 public:
  /// Keys of up to this length lie in chunks.
  static constexpr std::size_t kShort = 63;

  /// An empty store with a first chunk for `bytes` of short copies (see paddedSize),
  /// owned: give it back with destroy(). Null without memory.
  static velDictKeys* create(std::size_t bytes) noexcept;
  /// Gives back the store and every copy in it.
  static void destroy(velDictKeys* keys) noexcept;

  /// A copy of a text of `length` bytes; null, and nothing changed, without memory.
  const char* add(const char* text, std::size_t length) noexcept;
  /// Gives back one copy. The last one added gives back, too, what was allocated
  /// for it.
  void remove(const char* key, std::size_t length) noexcept;

  /// Where a copy goes that moves here from another store: short ones are copied,
  /// which needs no memory as long as the first chunk has room; long ones stay.
  const char* moved(const char* key, std::size_t length) noexcept;
  /// Takes over the long copies of `other`.
  void takeLong(velDictKeys& other) noexcept;

  /// Bytes of the short copies, and of the chunks.
  std::size_t used() const { return usedBytes; }
  std::size_t room() const { return chunkBytes; }

  bool isEmpty() const { return usedBytes == 0 && !longKeys; }

  /// Copies a text to `place`, which has its padded size, with the padding.
  static const char* fill(char* place, const char* text, std::size_t length) noexcept;
  static std::size_t paddedSize(std::size_t length) { return (length / 8 + 1) * 8; }

 private:
  struct Chunk;
  struct Long;
  struct Vacant;

  velDictKeys() = default;
  char* take(std::size_t size) noexcept;
  bool extend() noexcept;
  void vacate(char* place, std::size_t size) noexcept;

  char* cursor = nullptr;  // what is left of the latest chunk
  char* end = nullptr;
  Chunk* latest = nullptr;  // chunks beyond the first, which follows the store itself
  Long* longKeys = nullptr;
  std::size_t usedBytes = 0;
  std::size_t chunkBytes = 0;
  std::size_t firstBytes = 0;           // of them, in the first chunk
  Vacant* vacant[kShort / 8 + 1] = {};  // by size
};

#endif  // VELSTD_SERVICES_VELBDICTKEYS_H
