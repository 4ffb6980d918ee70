// velcollectionreads.h - short ways into the standard collections.
//
// A read through a descriptor goes through its function, a cast of the object and
// the object's table; for a dictionary that is once for each slot, of which
// most are vacant. For an object that is exactly of a standard class, under the
// descriptor of that class, all of these are known to end in the class's own
// members. The functions here start there: they give the same values and throw
// the same exceptions.
#ifndef VELSTD_SERVICES_VELCOLLECTIONREADS_H
#define VELSTD_SERVICES_VELCOLLECTIONREADS_H

#include <endian.h>

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <typeinfo>

#include "xany.h"
#include "xrtti.h"

/// Of one sequence class; `sequence` is the address that velCollectionAt gives.
struct velSequenceReads {
  const std::type_info* type;
  int (*size)(void* sequence);
  xany (*element)(void* sequence, int index);
  /// The element itself (borrowed) of a sequence of values; null past its end. Null
  /// for the other classes.
  const xany* (*inPlace)(void* sequence, int index);
};

/// Of one dictionary class.
struct velDictionaryReads {
  const std::type_info* type;
  /// The number of slots. The entries are about to be read one after the other, and
  /// the processor is told to fetch them.
  int (*open)(void* dictionary);
  /// Moves `index` on to the next entry below `end`; its key (borrowed, for velKeyText),
  /// or null, with `index` at `end`, when there is none.
  const char* (*nextKey)(void* dictionary, int* index, int end);
  /// The value of entry `index`, or under `key`; false when there is none.
  bool (*value)(void* dictionary, int index, xany* value);
  bool (*find)(void* dictionary, const char* key, xany* value);
  /// The value of entry `index` itself (borrowed) in a dictionary of values; null when
  /// there is no entry. Null for the other classes.
  const xany* (*inPlace)(void* dictionary, int index);
};

/// A text that keys of dictionaries are compared with.
class velKeyText {
 public:
  velKeyText() = default;
  /// Of a text of `size` bytes (borrowed).
  velKeyText(const char* key, std::size_t size) : text(key), length(size) {
    std::memcpy(&end, key + words(), size - words());
    end = le64toh(end) << shift();
  }

  /// Whether a dictionary's key is this text. Such keys lie where eight bytes can be
  /// read from each multiple of eight up to their end; of the last eight, those up to
  /// the terminator count.
  bool isKey(const char* key) const {
    std::uint64_t own, sought;
    for (std::size_t at = 0; at < words(); at += sizeof own) {
      std::memcpy(&own, key + at, sizeof own);
      std::memcpy(&sought, text + at, sizeof sought);
      if (own != sought) return false;
    }
    std::memcpy(&own, key + words(), sizeof own);
    return le64toh(own) << shift() == end;
  }

 private:
  std::size_t words() const { return length / 8 * 8; }
  int shift() const { return 56 - static_cast<int>(length % 8) * 8; }

  const char* text = nullptr;
  std::size_t length = 0;
  std::uint64_t end = 0;  // the last bytes and the terminator, in the highest places
};

/// The short way that replaces the functions of `type`; null when these are not
/// those of a standard class, or when the descriptor's class may override them.
const velSequenceReads* velReadsOf(xrttisequence* type);
const velDictionaryReads* velReadsOf(xrttidictionary* type);

/// `object` as what `reads` takes; null when `reads` or the object is null, or the
/// object's class is not exactly that of `reads`.
template <class Reads>
void* velCollectionAt(const Reads* reads, xobject* object) {
  if (!reads || !object || velIsUninit(object) || typeid(*object) != *reads->type) return nullptr;
  // The most derived object is the collection.
  return dynamic_cast<void*>(object);
}

#endif  // VELSTD_SERVICES_VELCOLLECTIONREADS_H
