// velbdict.h - the hash table under every dictionary.
//
// Open addressing with double hashing and tombstones over one block of slots;
// each slot starts with its key (null: never used, 1: vacated, else an owned
// copy of the text), and the value follows at an offset. Knows nothing of
// values: four hooks obtain and destroy blocks, copy values and reset them. A
// subclass sees exactly the hook calls that the operations describe.
//
// The order of slots is visible to callers, so hashing, probing, reuse of
// tombstones and resizing are fixed to the last step. Tables have 32 x 2^k
// slots, at most 2^30; what would need more throws velXNativeException "Size
// limit exceeded" before anything is touched.
// Hooks, and whatever they run, must not change the dictionary that calls them,
// but for OnDestroy in BaseClearAll, which finds it empty. Checked builds abort
// with "Re-entry into a container during its update."; others come out with
// contents of their own making, or use a block that is gone.
// Keys are narrow texts, compared byte by byte; null and 1 are no keys and are
// never found, and the address 2 stands for "uninit", as in all texts.
// Beside the table lies a mark of two bytes for each slot, of bits of the hash that
// the slot number does not use: a lookup reads keys only where they are likely to
// match, and one in vain mostly reads a single mark. There is a record of each key,
// too: its text, if it is short, which a lookup reads without waiting for the pointer
// in the slot, and its hash and step, for the next resize. A table of the first size
// goes without records: most dictionaries have a handful of entries, and what a walk
// over many of them takes is the memory it has to touch. Its marks and its first keys
// lie together, a front's own right behind the slots.
// A table that many collisions or tombstones have slowed down is searched through
// a private index from then on (velbdictindex.h), with the same slots as result.
// Threads: no locks; BaseFind and the reading by index write nothing, so that
// several threads may read a dictionary that none changes.
#ifndef VELSTD_SERVICES_VELBDICT_H
#define VELSTD_SERVICES_VELBDICT_H

#include <cstddef>
#include <cstdint>

#include "korapi.h"

class velDictIndex;
class velDictKeys;
class xstring;

/// Load policy of a dictionary, in percent.
class VELSTD_API xdictcontrol {
 public:
  /// @param shrinkBelow  after a removal the table may halve when its load is
  ///                     below this; 0 never shrinks
  /// @param growAbove    before an insertion the table doubles when its load is
  ///                     above this; from 96 on a table can get full, and then
  ///                     to look for an absent key ends the process; from 100
  ///                     on to insert one does, too
  explicit xdictcontrol(unsigned shrinkBelow = 70, unsigned growAbove = 90)
      : shrinkPercent(shrinkBelow), growPercent(growAbove) {}

 private:
  friend class xbasedictionary;
  unsigned shrinkPercent;
  unsigned growPercent;
};

/// One slot of a table.
template <class T>
struct xdictentry {
  /// The key: null for a slot that was never used, the address 1 for a vacated one.
  const char* key;
  /// The value, meaningful with a key only.
  T value;
};

/// True for a key field that holds no key: null or 1.
inline bool xdictentryIsVacant(const char* key) {
  return reinterpret_cast<std::uintptr_t>(key) <= 1;
}

/// The hash of a key, and its length in bytes.
VELSTD_API std::uint32_t xbdictHashMain(const char* key, unsigned* length);
/// The probing step for a key of `length` bytes; always odd.
VELSTD_API std::uint32_t xbdictHashCollision(const char* key, unsigned length);

/// The table itself.
class VELSTD_API xbasedictionary {
 public:
  /// @param loads   copied; null gives 70 and 90 percent
  explicit xbasedictionary(const xdictcontrol* loads) : policy(loads ? *loads : xdictcontrol()) {}
  xbasedictionary(const xbasedictionary&) = delete;
  xbasedictionary& operator=(const xbasedictionary&) = delete;

  // The hooks, in the order of the table.

  /// A block of `slots` entries (see AllocateBlock) with null keys and values
  /// alive. Throws std::bad_alloc.
  virtual void* OnAllocate(unsigned slots) = 0;
  /// Destroys the values of the live entries of a block and releases it. Keys
  /// may be stale: test them with xdictentryIsVacant only. Null and 0 slots
  /// when the first table replaces none.
  virtual void OnDestroy(void* block, unsigned slots) = 0;
  /// Assigns a value.
  virtual void OnCopyEntry(void* dst, const void* src) = 0;
  /// Resets the value of a removed entry.
  virtual void OnRemoveEntry(void* value) = 0;

  // All operations take the size of a slot and, where they touch values, the
  // offset of the value in its slot, both in bytes.

  /// True when `key` is present; `index` gets its slot, else the slot to fill,
  /// else 0xFFFFFFFF. Aborts with "Hash table overflow." when there is neither.
  bool FindIndex(const char* key, unsigned& index, unsigned slotSize) const;
  /// True when `key` is present; its value is copied to `value` (nullable).
  bool BaseFind(const char* key, void* value, unsigned slotSize, unsigned valueOffset);
  /// Stores `value`, which lies outside the table, under `key`, a copy of which
  /// is made for a new entry. Throws velXNull for a null key.
  void BaseSet(const char* key, const void* value, unsigned slotSize, unsigned valueOffset);
  /// These remove an entry and answer whether there was one.
  bool BaseRemove(const char* key, unsigned slotSize, unsigned valueOffset);
  bool BaseRemoveByIndex(unsigned index, unsigned slotSize, unsigned valueOffset);
  /// These answer whether slot `index` holds an entry; if so, its value or key
  /// is copied out (nullable) or its value overwritten.
  bool BaseGetByIndex(unsigned index, void* value, unsigned slotSize, unsigned valueOffset);
  bool BaseGetKeyByIndex(unsigned index, xstring* key, unsigned slotSize) const;
  bool BaseSetByIndex(unsigned index, const void* value, unsigned slotSize, unsigned valueOffset);
  /// Removes everything and gives the table back.
  void BaseClearAll(unsigned slotSize);
  /// Removes everything and makes a table for `n` entries; none for 0. Without
  /// memory for it the dictionary is left empty.
  void BaseAllocate(unsigned n, unsigned slotSize);
  /// Becomes a copy of `other`, slot for slot, tombstones included. Itself:
  /// nothing. Without memory the dictionary is left empty.
  void BaseClone(const xbasedictionary* other, unsigned slotSize, unsigned valueOffset);
  /// Releases the copies of the keys and leaves the slots as they are.
  void BaseFreeAllKeys(unsigned slotSize);

  /// The value of `key` in its slot, or null when it is not there. Aborts as FindIndex().
  const void* BaseLocate(const char* key, unsigned slotSize, unsigned valueOffset) const;

  /// The first slot from `index` on that holds an entry; at least `end`, or the number
  /// of slots, if there is none below it. Does not read the slots.
  unsigned NextEntry(unsigned index, unsigned end) const {
    if (slotRecords) return NextMarked(index, end);
    const std::uint32_t bits = index < kFirstSize ? liveBits >> index : 0;
    return bits ? index + static_cast<unsigned>(__builtin_ctz(bits)) : end;
  }

  /// Tells the processor to fetch the entries of a table of the first size, which are
  /// about to be read one after the other: it waits for all of them at once.
  void FetchEntries(unsigned slotSize) const {
    if (slotRecords || !table) return;
    const char* const texts = reinterpret_cast<const Beside*>(slotMarks)->texts;
    __builtin_prefetch(texts);
    __builtin_prefetch(texts + 64);
    for (std::uint32_t bits = liveBits; bits; bits &= bits - 1) {
      const char* const entry = static_cast<const char*>(table) +
                                static_cast<std::size_t>(__builtin_ctz(bits)) * slotSize;
      __builtin_prefetch(entry);
      __builtin_prefetch(entry + slotSize - 1);
    }
  }

  /// The block of slots, borrowed until the next change; null when there is none.
  void* GetDataPtr() const { return table; }
  /// Number of slots.
  unsigned GetTableSize() const { return slotCount; }
  /// Number of live entries.
  unsigned GetCount() const { return liveCount; }

 protected:
  /// Gives back what lies beside the table. The front, which knows its values, has
  /// emptied it.
  ~xbasedictionary();

  /// Declares, in the constructor of a front whose hooks are final, that
  /// OnAllocate makes keys null and has RoomBehind() the slots, and that OnCopyEntry
  /// is a plain assignment, which the front may then make itself.
  /// @param bytes   whether values are mere bytes
  void SetOwnHooks(bool bytes) {
    ownHooks = true;
    ownBytes = bytes;
  }
  /// Whether SetOwnHooks() was called.
  bool HasOwnHooks() const { return ownHooks; }

  /// Raw memory for a block; released as an array of char.
  /// Throws std::bad_alloc.
  static void* AllocateBlock(std::size_t bytes);
  /// What a block of a front with hooks of its own has room for behind its slots.
  static constexpr std::size_t RoomBehind(unsigned slots) {
    return slots == kFirstSize ? sizeof(Beside) : 0;
  }
  /// Gives a block from AllocateBlock() back; null is none.
  static void ReleaseBlock(void* block);

 private:
  // What is known of a slot without a look at it.
  struct Mark {
    unsigned char tag;     // kEmpty, kVacated, or bits of the hash of its key
    unsigned char passed;  // a set of bits of the hashes of keys whose path starts
                           // here and that lie elsewhere, or once did
  };
  static constexpr unsigned kFirstSize = 32;
  // What lies beside a table of the first size: its marks, and its keys as long as
  // there is room for them.
  struct Beside {
    Mark marks[kFirstSize];
    char texts[128];
  };
  // What a slot's key is.
  struct Record;
  struct Parts;
  // A text that is looked for.
  struct Key;
  // Where it is, and how many slots were looked at.
  struct Found {
    unsigned index;
    unsigned probes;
  };
  // A table that another one takes the place of.
  struct Past;
  static constexpr unsigned char kEmpty = 0;
  static constexpr unsigned char kVacated = 1;

  unsigned NextMarked(unsigned index, unsigned end) const;
  const char*& KeyOf(void* block, unsigned index, unsigned slotSize) const;
  const char* KeyAt(unsigned index, unsigned slotSize) const {
    return KeyOf(table, index, slotSize);
  }
  void* ValueAt(unsigned index, unsigned slotSize, unsigned valueOffset) const;
  bool IsLive(unsigned index, unsigned slotSize) const;
  bool IsPresent(const Key& key, unsigned& index, unsigned slotSize, unsigned& probes) const;
  Found PresentBeyondStart(const Key& key, unsigned slotSize) const;
  bool HasText(unsigned index, const Key& key, unsigned slotSize) const;
  template <class Path>
  unsigned SlotToFill(const Path& path, unsigned& probes) const;
  void CheckRoom() const;
  void MarkLive(unsigned index, unsigned char tag);
  void MarkVacant(unsigned index, unsigned char tag);
  void Occupy(unsigned index, std::uint32_t hash, const char* copy, unsigned slotSize);
  const char* StoreKey(const char* text, std::size_t length);
  const char* NewKey(const char* text, std::size_t length);
  void GiveBackKey(const char* copy, std::size_t length);
  static bool IsBeside(const Mark* marks, const char* copy);
  void CountProbes(unsigned probes, unsigned slotSize);
  void DropShortcut();
  void DropMarks();
  void DropKeys();
  void Assign(void* slotValue, const void* value);
  void Empty(unsigned slotSize);
  void Allocate(unsigned slots, unsigned slotSize, bool withRecords);
  void ReleaseBeside(Record* records, Mark* marks) const;
  void AdjustTableSize(unsigned newSize, unsigned slotSize, unsigned valueOffset, unsigned* moving);
  void KeepKeysBeside(unsigned slotSize);
  void DropShortKeys(const Past& past, unsigned slotSize);
  void Rehash(const Past& past, unsigned slotSize, unsigned valueOffset, velDictKeys* freshKeys,
              unsigned* moving);
  void RemoveAt(unsigned index, unsigned slotSize, unsigned valueOffset);

  void* table = nullptr;
  unsigned slotCount = 0;
  unsigned liveCount = 0;
  xdictcontrol policy;
  velDictIndex* shortcut = nullptr;  // made when probing gets slow; see velbdictindex.h
  std::uint32_t wastedProbes = 0;    // below the number of slots
  std::uint32_t liveBits = 0;        // the live slots of a table without records
  // One for each slot, and behind them, in the same block, the marks; null for a
  // table of the first size, whose marks begin a Beside.
  Record* slotRecords = nullptr;
  Mark* slotMarks = nullptr;
  unsigned markMask = 0;  // their number, less one
  bool ownHooks = false;
  bool ownBytes = false;
  unsigned char textsUsed = 0;      // bytes of Beside::texts
  velDictKeys* keyStore = nullptr;  // the copies of keys that lie nowhere else; none without them
};

#endif  // VELSTD_SERVICES_VELBDICT_H
