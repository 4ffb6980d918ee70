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

#include <typeinfo>

#include "xany.h"
#include "xrtti.h"

/// Of one sequence class; `sequence` is the address that velCollectionAt gives.
struct velSequenceReads {
  const std::type_info* type;
  int (*size)(void* sequence);
  xany (*element)(void* sequence, int index);
};

/// Of one dictionary class.
struct velDictionaryReads {
  const std::type_info* type;
  int (*size)(void* dictionary);
  /// Moves `index` on to the next entry below `end`; its key (borrowed), or null,
  /// with `index` at `end`, when there is none.
  const char* (*nextKey)(void* dictionary, int* index, int end);
  /// The value of entry `index`, or under `key`; false when there is none.
  bool (*value)(void* dictionary, int index, xany* value);
  bool (*find)(void* dictionary, const char* key, xany* value);
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
