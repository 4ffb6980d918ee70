// velwrites.h - how collections of any class are made and written by value.
//
// Descriptors tell how a collection is read. How it is made and written stands in the
// user data of its descriptor under "velext_writes": the ten standard collections have
// it as soon as velstd::ext is loaded, those of velSequenceOf, velDictionaryOf and
// velArrayOf by themselves; a class of your own gets it by velSetWrites.
#ifndef VELSTD_VELEXT_VELWRITES_H
#define VELSTD_VELEXT_VELWRITES_H

#include "vels11n.h"
#include "velattributes.h"

/// What can be done with a collection of a class, by value; null where it cannot.
/// All borrow the collection and throw velXTypeMismatch for a value of the wrong kind.
struct velWrites {
  /// Makes an empty collection.
  velS11nCreator create;
  /// Stores an element: an index of at least the size is the size, and appends.
  void (*setElement)(xobject* sequence, int index, const xany& value);
  /// Removes element `index`.
  void (*removeElement)(xobject* sequence, int index);
  /// Stores a value under `key`, replacing one that is there.
  void (*setEntry)(xobject* dictionary, const char* key, const xany& value);
  /// Removes the entry of `key`; whether there was one.
  bool (*removeEntry)(xobject* dictionary, const char* key);
  /// One index per dimension. Throws velXInvalidArrayIndex.
  void (*setCell)(xobject* array, const int* indices, const xany& value);
};

/// Tells how collections of that class are written; `writes` is borrowed for ever.
VELSTD_API void velSetWrites(xrtti* type, const velWrites* writes);
/// The same for a class of one's own, of which a deserializer makes collections by name,
/// too (velS11nCreate).
VELSTD_API void velSetCreatorAndWrites(xrttiobject* type, const velWrites* writes);
/// What is known of it; null if nothing is.
VELSTD_API const velWrites* velGetWrites(xrtti* type);

#endif  // VELSTD_VELEXT_VELWRITES_H
