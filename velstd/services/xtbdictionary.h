// xtbdictionary.h - typed front of the dictionary.
//
// Checks keys and indices and forwards; hashing, probing and resizing live
// once, untyped, in velbdict. An index is the number of a slot: go from 0 to
// getmapsize() - 1 and skip the slots for which getkeybyindex is false. The
// order is that of the hash table; a slot keeps its key until an insertion or
// removal resizes the table.
//
// Limits: 2^30 slots; what would need more throws velXNativeException "Size
// limit exceeded". std::bad_alloc leaves the dictionary as it was.
// Objects that an operation gives up, also those that a found value replaces,
// are released when the table is settled: code that runs then may use the same
// dictionary. Code that cannot wait (the assignment of a class of your own, an
// override of xattach or xrelease) must not change it, see velbdict.h.
// Threads: no locks; share it only under a lock of your own.
// Ownership: the dictionary owns copies of its keys, and its values.
// Dictionaries are counted and live on the heap, in a handle.
#ifndef VELSTD_SERVICES_XTBDICTIONARY_H
#define VELSTD_SERVICES_XTBDICTIONARY_H

#include <cstddef>
#include <cstring>
#include <type_traits>

#include "velbdict.h"
#include "velexceptions.h"
#include "velrelease.h"
#include "xobject.h"

/// What every dictionary of T can do; xtsdictionary and xtcdictionary say how values
/// are kept.
template <class T>
class VELSTD_API xtbdictionary : public virtual xobject, protected xbasedictionary {
 public:
  xtbdictionary(const xtbdictionary&) = delete;
  xtbdictionary& operator=(const xtbdictionary&) = delete;

  /// Number of slots, not of entries; 0 for a new dictionary.
  virtual int getmapsize() { return static_cast<int>(GetTableSize()); }

  /// Number of entries.
  int getcount() const { return static_cast<int>(GetCount()); }

  /// True when `key` is present; its value is stored in `value` (nullable),
  /// which stays untouched otherwise. Throws velXNull for a null key.
  virtual bool find(const char* key, T* value) {
    const SettleRead settle;
    if (xdictentryIsVacant(key)) velhAssertNotNullKey(key);
    const void* const found = BaseLocate(key, kSlot, kValue);
    if (!found) return false;
    CopyOut(value, found);
    return true;
  }

  /// Inserts or overwrites. Throws velXNull for a null key.
  virtual void set(const char* key, T value) {
    const Settle settle;
    BaseSet(key, &value, kSlot, kValue);
  }

  /// These answer whether slot `index` holds an entry and, if so, store its key
  /// or value (nullable); false at and past getmapsize().
  /// Throw velXNegativeIndex below 0.
  virtual bool getkeybyindex(int index, xstring* key) {
    velhAssertNonNegativeIndex(index);
    return BaseGetKeyByIndex(static_cast<unsigned>(index), key, kSlot);
  }
  virtual bool getbyindex(int index, T* value) {
    const SettleRead settle;
    if (index < 0) velhAssertNonNegativeIndex(index);
    if (static_cast<unsigned>(index) >= GetTableSize()) return false;
    const Entry& entry = static_cast<const Entry*>(GetDataPtr())[index];
    if (xdictentryIsVacant(entry.key)) return false;
    CopyOut(value, &entry.value);
    return true;
  }

  /// Overwrites the value in slot `index`; false, and nothing done, when it is
  /// vacant. Throws velXNegativeIndex below 0, velXInvalidDictIndex at and past
  /// getmapsize().
  virtual bool setbyindex(int index, T value) {
    const Settle settle;
    return BaseSetByIndex(Slot(index), &value, kSlot, kValue);
  }

  /// Removes the entry of `key` and answers whether there was one; a null key
  /// has none.
  virtual bool remove(const char* key) {
    const Settle settle;
    return BaseRemove(key, kSlot, kValue);
  }

  /// Removes the entry in slot `index`; false when it is vacant. Throws as
  /// setbyindex().
  virtual bool removebyindex(int index) {
    const Settle settle;
    return BaseRemoveByIndex(Slot(index), kSlot, kValue);
  }

  /// Removes everything and gives the table back.
  virtual void clearall() {
    const Settle settle;
    BaseClearAll(kSlot);
  }

  /// Destroys the values of the live entries of `block` and releases it.
  virtual void Destroy(void* block, unsigned slots) = 0;

 protected:
  /// A slot of the table.
  using Entry = xdictentry<T>;
  friend struct velReadAccess;

  /// Empty, without a table; the load policy is the usual one.
  xtbdictionary() : xbasedictionary(nullptr) {}

  /// Makes a table for `entries`; none below 1.
  void Reserve(int entries) {
    const Settle settle;
    if (entries >= 1) BaseAllocate(static_cast<unsigned>(entries), kSlot);
  }

  /// A block with null keys and values made by their default constructors.
  static void* NewBlock(unsigned slots) {
    void* block = AllocateBlock(std::size_t{slots} * kSlot + RoomBehind(slots));
    // All bits of these are 0 by default, as those of a null key are: a block is cleared
    // as a whole, which takes a fraction of the time. The other types have to be asked.
    if constexpr (std::is_arithmetic<T>::value || std::is_same<T, xany>::value) {
      std::memset(block, 0, std::size_t{slots} * kSlot);
    } else {
      auto* entry = static_cast<Entry*>(block);
      for (unsigned i = 0; i < slots; ++i) new (entry + i) Entry{nullptr, T()};
    }
    return block;
  }

  /// The size of a slot, in bytes.
  static constexpr unsigned kSlot = sizeof(Entry);
  /// Where the value lies in its slot, in bytes.
  static constexpr unsigned kValue = offsetof(Entry, value);
  static_assert(kValue == 8, "the value follows the key");

 private:
  struct Nothing {
    Nothing() {}  // not trivial: an unused variable of this type is no mistake
  };
  /// Lets the releases of an operation wait for its end; scalars have none.
  using Settle = std::conditional_t<std::is_class<T>::value, velReleaseScope, Nothing>;
  /// The same for what a found value replaces, which the standard values give up
  /// only when they are through with the table.
  using SettleRead =
      std::conditional_t<std::is_same<T, xstring>::value || std::is_same<T, xany>::value, Nothing,
                         Settle>;

  /// What OnCopyEntry does, called only where a subclass may have its own.
  void CopyOut(T* value, const void* found) {
    if (!value) return;
    if (HasOwnHooks()) {
      *value = *static_cast<const T*>(found);
    } else {
      OnCopyEntry(value, found);
    }
  }

  unsigned Slot(int index) {
    velhAssertNonNegativeIndex(index);
    if (index >= static_cast<int>(GetTableSize())) velhThrowInvalidDictIndex(this, index);
    return static_cast<unsigned>(index);
  }
};

#endif  // VELSTD_SERVICES_XTBDICTIONARY_H
