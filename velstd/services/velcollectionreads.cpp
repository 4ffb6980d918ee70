#include "velcollectionreads.h"

#include <algorithm>

#include "velcollectionrtti.h"
#include "xcollections.h"

// The library's own door to what the descriptors and the dictionaries keep.
struct velReadAccess {
  // Whether all functions of a descriptor are those of a standard class.
  template <class C>
  static bool isOf(const xrttisequence* type) {
    using Functions = velSequenceFunctions<C>;
    return type->sizeGetter == &Functions::size && type->elemGetter == &Functions::element;
  }
  template <class C, class T>
  static bool isOf(const xrttidictionary* type) {
    using Functions = velDictionaryFunctions<C, T>;
    return type->sizeGetter == &Functions::size && type->findElem == &Functions::find &&
           type->keyByIdx == &Functions::key && type->valueByIdx == &Functions::value;
  }

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

template <class C>
const velSequenceReads* ReadsIfOf(const xrttisequence* type) {
  return velReadAccess::isOf<C>(type) ? &SequenceReads<C>::reads : nullptr;
}
template <class C, class T>
const velDictionaryReads* ReadsIfOf(const xrttidictionary* type) {
  return velReadAccess::isOf<C, T>(type) ? &DictionaryReads<C, T>::reads : nullptr;
}

}  // namespace

const velSequenceReads* velReadsOf(xrttisequence* type) {
  if (typeid(*type) != typeid(xrttisequence)) return nullptr;
  if (const auto* reads = ReadsIfOf<xanysequence>(type)) return reads;
  if (const auto* reads = ReadsIfOf<xstringsequence>(type)) return reads;
  if (const auto* reads = ReadsIfOf<xintsequence>(type)) return reads;
  if (const auto* reads = ReadsIfOf<xrealsequence>(type)) return reads;
  return ReadsIfOf<xboolsequence>(type);
}

const velDictionaryReads* velReadsOf(xrttidictionary* type) {
  if (typeid(*type) != typeid(xrttidictionary)) return nullptr;
  if (const auto* reads = ReadsIfOf<xanydictionary, xany>(type)) return reads;
  if (const auto* reads = ReadsIfOf<xstringdictionary, xstring>(type)) return reads;
  if (const auto* reads = ReadsIfOf<xintdictionary, int>(type)) return reads;
  if (const auto* reads = ReadsIfOf<xrealdictionary, double>(type)) return reads;
  return ReadsIfOf<xbooldictionary, unsigned char>(type);
}
