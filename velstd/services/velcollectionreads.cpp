#include "velcollectionreads.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <type_traits>

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
  static void fetch(const xtbdictionary<T>* dictionary) {
    dictionary->FetchEntries(dictionary->kSlot);
  }
  template <class T>
  static const T* locate(const xtbdictionary<T>* dictionary, const char* key) {
    return static_cast<const T*>(
        dictionary->BaseLocate(key, dictionary->kSlot, dictionary->kValue));
  }
};

namespace {

// Members are named with their class, so that they are called without the table.

// A walk over a large tree waits for memory most of the time. What it comes to next is
// known before it is there; the processor is told to fetch it and does so meanwhile.
// Nothing but the value is looked at: its object may be gone, or another thread's.
void FetchWhatItHolds(const xany& value) {
  __xany_c view;
  std::memcpy(&view, static_cast<const void*>(&value), sizeof view);
  if (view.kind == xanyString) {
    __builtin_prefetch(view.u.s.buffer);
  } else if (view.kind == xanyObject) {
    // A collection lies in front of its base.
    constexpr std::size_t kFront = sizeof(xanydictionary) - sizeof(xobject);
    static_assert(kFront <= 128, "three lines of the cache are all");
    const auto base = reinterpret_cast<std::uintptr_t>(view.u.o);
    for (const std::size_t back : {std::size_t{0}, std::size_t{64}, kFront}) {
      __builtin_prefetch(reinterpret_cast<const void*>(base - back));
    }
  }
}

template <class C>
struct SequenceReads {
  static constexpr bool kOfValues = std::is_same_v<C, xanysequence>;

  static int size(void* sequence) { return static_cast<C*>(sequence)->C::getarraysize(); }
  static xany element(void* sequence, int index) {
    return xany(static_cast<C*>(sequence)->C::get(index));
  }
  static const xany* inPlace(void* sequence, int index) {
    if constexpr (kOfValues) {
      C* own = static_cast<C*>(sequence);
      const int end = own->C::getarraysize();
      if (index >= end) return nullptr;
      if (index + kAhead < end) FetchWhatItHolds((*own)[index + kAhead]);
      return &(*own)[index];
    }
    return nullptr;
  }

  static constexpr int kAhead = 2;
  static constexpr velSequenceReads reads{&typeid(C), size, element, kOfValues ? inPlace : nullptr};
};

template <class C, class T>
struct DictionaryReads {
  static constexpr bool kOfValues = std::is_same_v<T, xany>;

  static int open(void* dictionary) {
    C* own = static_cast<C*>(dictionary);
    velReadAccess::fetch<T>(own);
    const int slots = own->C::getmapsize();
    if constexpr (kOfValues) {
      // Of large ones no more than there is room for in the cache.
      const int end = std::min(slots, kAhead);
      for (int i = 0; (i = velReadAccess::next<T>(own, i, end)) < end; ++i) {
        FetchWhatItHolds(velReadAccess::table<T>(own)[i].value);
      }
    }
    return slots;
  }

  static const char* nextKey(void* dictionary, int* index, int end) {
    C* own = static_cast<C*>(dictionary);
    const int found = velReadAccess::next<T>(own, *index, end);
    *index = std::min(found, end);
    return found < std::min(end, velReadAccess::slots<T>(own))
               ? velReadAccess::table<T>(own)[found].key
               : nullptr;
  }

  static bool value(void* dictionary, int index, xany* value) {
    const xdictentry<T>* entry = entryAt(dictionary, index);
    if (entry) *value = xany(entry->value);
    return entry != nullptr;
  }

  static bool find(void* dictionary, const char* key, xany* value) {
    if (xdictentryIsVacant(key)) velhAssertNotNullKey(key);
    const T* found = velReadAccess::locate<T>(static_cast<C*>(dictionary), key);
    if (found) *value = xany(*found);
    return found != nullptr;
  }

  static const xany* inPlace(void* dictionary, int index) {
    if constexpr (kOfValues) {
      const xdictentry<T>* entry = entryAt(dictionary, index);
      return entry ? &entry->value : nullptr;
    }
    return nullptr;
  }

  static constexpr int kAhead = 32;
  static constexpr velDictionaryReads reads{&typeid(C), open, nextKey,
                                            value,      find, kOfValues ? inPlace : nullptr};

 private:
  static const xdictentry<T>* entryAt(void* dictionary, int index) {
    C* own = static_cast<C*>(dictionary);
    if (index >= velReadAccess::slots<T>(own)) return nullptr;
    const xdictentry<T>& entry = velReadAccess::table<T>(own)[index];
    return xdictentryIsVacant(entry.key) ? nullptr : &entry;
  }
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
