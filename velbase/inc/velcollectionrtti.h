// velcollectionrtti.h - descriptors for collection classes.
//
// Fills in the descriptor of any class that offers the members of the sequence
// or dictionary templates. In one .cpp file of a user's own collection:
//
//   VEL_OBJECT_RTTI(PointSeq, xrttisequence, [](xrttisequence* rtti) {
//     velInitializeSequence<PointSeq>(rtti, "demo::PointSeq", Point::getClassRtti());
//   })
#ifndef VELSTD_VELBASE_VELCOLLECTIONRTTI_H
#define VELSTD_VELBASE_VELCOLLECTIONRTTI_H

#include "velattributes.h"
#include "xany.h"
#include "xrtti.h"

/// The functions that a sequence descriptor stores, over class C.
template <class C>
struct velSequenceFunctions {
  /// Number of elements of `sequence` (borrowed). These two throw velXTypeMismatch for an
  /// object that is no C, and what its members throw.
  static int size(xobject* sequence) { return velView<C>(sequence)->getarraysize(); }
  /// Element `index` of `sequence` (borrowed), as a value.
  static xany element(xobject* sequence, int index) {
    return xany(velView<C>(sequence)->get(index));
  }
};

/// The functions that a dictionary descriptor stores, over class C with values
/// of type T. The size is in slots; vacant ones have neither key nor value.
template <class C, class T>
struct velDictionaryFunctions {
  /// Number of slots of `dictionary` (borrowed). All four throw velXTypeMismatch for an
  /// object that is no C, and what its members throw.
  static int size(xobject* dictionary) { return velView<C>(dictionary)->getmapsize(); }
  /// Whether there is a `key`; if so its value goes to `*value` (nullable).
  static unsigned char find(xobject* dictionary, const char* key, xany* value) {
    T found{};
    return Store(velView<C>(dictionary)->find(key, &found), found, value);
  }
  /// Whether slot `index` holds an entry; if so its key goes to `*key` (nullable).
  static unsigned char key(xobject* dictionary, int index, xstring* key) {
    return velView<C>(dictionary)->getkeybyindex(index, key);
  }
  /// Whether slot `index` holds an entry; if so its value goes to `*value` (nullable).
  static unsigned char value(xobject* dictionary, int index, xany* value) {
    T found{};
    return Store(velView<C>(dictionary)->getbyindex(index, &found), found, value);
  }

 private:
  static unsigned char Store(bool present, const T& found, xany* value) {
    if (present && value) *value = found;
    return present;
  }
};

/// Initialises the descriptor of sequence class C; elements are not optional.
/// @param rtti  what is initialised (borrowed, usually by VEL_OBJECT_RTTI)
/// @param name  the registered name (copied)
/// @param elemType  the descriptor of the elements (borrowed for ever)
/// @param isRefCount  whether C is counted
template <class C>
void velInitializeSequence(xrttisequence* rtti, const char* name, xrtti* elemType,
                           unsigned char isRefCount = 1) {
  using Functions = velSequenceFunctions<C>;
  rtti->initializeRttiSeq(name, isRefCount, elemType, 0, &Functions::size, &Functions::element);
}

/// Initialises the descriptor of counted dictionary class C with values of type T; they
/// are not optional. The parameters are as those of velInitializeSequence().
template <class C, class T>
void velInitializeDictionary(xrttidictionary* rtti, const char* name, xrtti* elemType) {
  using Functions = velDictionaryFunctions<C, T>;
  rtti->initializeRttiDict(name, 1, elemType, 0, &Functions::size, &Functions::find,
                           &Functions::key, &Functions::value);
}

#endif  // VELSTD_VELBASE_VELCOLLECTIONRTTI_H
