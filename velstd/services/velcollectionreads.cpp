#include "velcollectionreads.h"

#include <algorithm>

#include "velcollectionrtti.h"
#include "xcollections.h"

// The library's own door to what the descriptors and the dictionaries keep.
struct velReadAccess {
  static xrttisequence::ElemGetter function(const xrttisequence* type) { return type->elemGetter; }
  static xrttidictionary::KeyByIdx function(const xrttidictionary* type) { return type->keyByIdx; }

  template <class T>
  static const xdictentry<T>* table(const xtbdictionary<T>* dictionary) {
    return static_cast<const xdictentry<T>*>(dictionary->GetDataPtr());
  }
  template <class T>
  static int slots(const xtbdictionary<T>* dictionary) {
    return static_cast<int>(dictionary->GetTableSize());
  }
  template <class T>
  static int next(const xtbdictionary<T>* dictionary, int index, int end) {
    return static_cast<int>(
        dictionary->NextEntry(static_cast<unsigned>(index), static_cast<unsigned>(end)));
  }
  template <class T>
  static const T* locate(const xtbdictionary<T>* dictionary, const char* key) {
    return static_cast<const T*>(
        dictionary->BaseLocate(key, dictionary->kSlot, dictionary->kValue));
  }
};

namespace {

// Members are named with their class, so that they are called without the table.

template <class C>
struct SequenceReads {
  static int size(void* sequence) { return static_cast<C*>(sequence)->C::getarraysize(); }
  static xany element(void* sequence, int index) {
    return xany(static_cast<C*>(sequence)->C::get(index));
  }
  static constexpr velSequenceReads reads{&typeid(C), size, element};
};

template <class C, class T>
struct DictionaryReads {
  static int size(void* dictionary) { return static_cast<C*>(dictionary)->C::getmapsize(); }

  static const char* nextKey(void* dictionary, int* index, int end) {
    C* own = static_cast<C*>(dictionary);
    const int found = velReadAccess::next<T>(own, *index, end);
    *index = std::min(found, end);
    return found < std::min(end, velReadAccess::slots<T>(own))
               ? velReadAccess::table<T>(own)[found].key
               : nullptr;
  }

  static bool value(void* dictionary, int index, xany* value) {
    C* own = static_cast<C*>(dictionary);
    if (index >= velReadAccess::slots<T>(own)) return false;
    const xdictentry<T>& entry = velReadAccess::table<T>(own)[index];
    if (xdictentryIsVacant(entry.key)) return false;
    *value = xany(entry.value);
    return true;
  }

  static bool find(void* dictionary, const char* key, xany* value) {
    if (xdictentryIsVacant(key)) velhAssertNotNullKey(key);
    const T* found = velReadAccess::locate<T>(static_cast<C*>(dictionary), key);
    if (found) *value = xany(*found);
    return found != nullptr;
  }

  static constexpr velDictionaryReads reads{&typeid(C), size, nextKey, value, find};
};

// Of the first whose function is that of the descriptor.
template <class... C>
const velSequenceReads* Search(xrttisequence::ElemGetter function) {
  const velSequenceReads* found = nullptr;
  (void)((function == &velSequenceFunctions<C>::element && (found = &SequenceReads<C>::reads)) ||
         ...);
  return found;
}

template <class C, class T>
bool IsKeyOf(xrttidictionary::KeyByIdx function) {
  return function == &velDictionaryFunctions<C, T>::key;
}

}  // namespace

const velSequenceReads* velReadsOf(xrttisequence* type) {
  if (typeid(*type) != typeid(xrttisequence)) return nullptr;
  return Search<xanysequence, xstringsequence, xintsequence, xrealsequence, xboolsequence>(
      velReadAccess::function(type));
}

const velDictionaryReads* velReadsOf(xrttidictionary* type) {
  if (typeid(*type) != typeid(xrttidictionary)) return nullptr;
  const xrttidictionary::KeyByIdx function = velReadAccess::function(type);
  if (IsKeyOf<xanydictionary, xany>(function)) return &DictionaryReads<xanydictionary, xany>::reads;
  if (IsKeyOf<xstringdictionary, xstring>(function)) {
    return &DictionaryReads<xstringdictionary, xstring>::reads;
  }
  if (IsKeyOf<xintdictionary, int>(function)) return &DictionaryReads<xintdictionary, int>::reads;
  if (IsKeyOf<xrealdictionary, double>(function)) {
    return &DictionaryReads<xrealdictionary, double>::reads;
  }
  if (IsKeyOf<xbooldictionary, unsigned char>(function)) {
    return &DictionaryReads<xbooldictionary, unsigned char>::reads;
  }
  return nullptr;
}
