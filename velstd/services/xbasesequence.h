// xbasesequence.h - growable storage in bytes, the core of every sequence.
//
// Knows nothing of elements: positions and lengths are bytes, and four hooks
// obtain storage and bring elements to life, copy and end them. A subclass sees
// exactly the hook calls that the operations describe. The typed front,
// xtbsequence, checks indices and turns elements into bytes.
//
// Storage starts at the control's initial capacity and doubles as needed.
// Limits: a capacity stays below 2^32 bytes; what would need more throws
// velXNativeException "Size limit exceeded" before anything is touched.
// Sources inside the sequence's own contents act as if copied first.
// Hooks, and whatever they run, must not change the sequence that calls them:
// size and storage are settled only when the operation is. Checked builds abort
// with "Re-entry into a container during its update."; others come out with
// contents of their own making, or use storage that is gone.
// Threads: no locks.
#ifndef VELSTD_SERVICES_XBASESEQUENCE_H
#define VELSTD_SERVICES_XBASESEQUENCE_H

#include <cstdint>

#include "korapi.h"

/// Growth policy of a sequence.
class VELSTD_API xseqcontrol {
 public:
  /// @param mayShrink  whether removing elements may give capacity back. Class
  ///                   elements past the new size then keep their values until
  ///                   the slots are used again.
  /// @param initial    first capacity in bytes, and the floor for shrinking; a
  ///                   multiple of the element size for class elements. 0
  ///                   starts with what the first request asks for.
  xseqcontrol(bool mayShrink, unsigned initial) : shrink(mayShrink), initialBytes(initial) {}

 private:
  friend class xbasesequence;
  bool shrink;
  unsigned initialBytes;
};

/// The storage itself: a block of bytes, the first of which are in use.
class VELSTD_API xbasesequence {
 public:
  /// Empty, without storage; it grows as `growth` says.
  explicit xbasesequence(xseqcontrol growth) : policy(growth) {}
  xbasesequence(const xbasesequence&) = delete;
  xbasesequence& operator=(const xbasesequence&) = delete;

  // The hooks, in the order of the table.

  /// Storage of `newCapacity` bytes that holds the current contents; the core
  /// takes it as its own. Throws std::bad_alloc with the old storage intact.
  virtual void* OnResize(unsigned newCapacity) = 0;
  /// Brings fresh slots into their empty state.
  virtual void OnAllocate(void* at, unsigned bytes) = 0;
  /// Ends the life of the elements in a range.
  virtual void OnDestroy(void* at, unsigned bytes) = 0;
  /// Copies a range of elements; the ranges may overlap.
  virtual void OnCopy(void* dst, const void* src, unsigned bytes) = 0;

  /// Removes all elements and makes room for `bytes`. A size beyond the limit
  /// is refused before anything is removed; without memory for the room the
  /// sequence is left empty.
  void BaseAllocate(unsigned bytes);
  /// Puts a copy of the `count` bytes at `src` behind the end.
  /// Throws std::bad_alloc, and the size limit error.
  void BaseAppend(unsigned count, const void* src);
  /// Removes all elements; the capacity stays, unless the policy lets it shrink.
  void BaseClear();
  /// Overwrites `count` bytes at `pos`; grows as needed. What lies between the old end
  /// and `pos` is left as the hooks made it.
  /// Throws std::bad_alloc, and the size limit error.
  void BaseCopy(unsigned pos, unsigned count, const void* src);
  /// Puts a copy of the `count` bytes at `src` before `pos`. Beyond the end a gap opens,
  /// as with BaseInsertEmpty.
  /// Throws std::bad_alloc, and the size limit error.
  void BaseInsert(unsigned pos, unsigned count, const void* src);
  /// Opens a gap of `count` bytes at `pos`, which may lie beyond the end; the
  /// gap still holds what the shifting left there.
  void BaseInsertEmpty(unsigned pos, unsigned count);
  /// Removes the bytes from `a` up to `b`, given in either order; what lies
  /// beyond the end does not count.
  void BaseRemove(unsigned a, unsigned b);

  /// Bytes in use.
  unsigned GetByteSize() const { return usedBytes; }
  /// Bytes of the block.
  unsigned GetCapacity() const { return capacityBytes; }
  /// The block, borrowed until the next change; null when there is none.
  void* GetPtr() const { return storage; }

 protected:
  /// Leaves the storage alone: the front, which knows its elements, gives it back.
  ~xbasesequence() = default;

  /// Gives the storage up, so that whoever is called while it is taken down
  /// finds an empty sequence.
  void* DetachStorage();

  /// Says that the hooks are those of the standard templates for good, the
  /// sequence never shrinks and its elements do not know where they lie: the
  /// typed front may fill the capacity on its own, and elements move as bytes
  /// where they shift, instead of through OnCopy, in storage from malloc.
  void Seal();
  /// Whether Seal() was called.
  bool IsSealed() const { return isSealed; }

  /// Bytes of storage that the front may use on its own; 0 unless sealed, and
  /// in checked builds, whose checks stand in the operations here.
  unsigned GetQuickCapacity() const { return quickBytes; }
  /// Takes `bytes` more of that storage into use, which the front has filled.
  void Extend(unsigned bytes) { usedBytes += bytes; }

 private:
  void Resize(unsigned bytes);
  std::uint64_t GrownFor(std::uint64_t bytes) const;
  void Reallocate(unsigned newCapacity);
  void SetCapacity(unsigned bytes);
  void Vacate(char* at, unsigned bytes);
  void MakeRoom(unsigned pos, unsigned count);
  void CloseGap(unsigned lo, unsigned hi);
  void Copy(char* dst, const void* src, unsigned bytes);
  char* At(std::uint64_t pos) const { return static_cast<char*>(storage) + pos; }

  void* storage = nullptr;
  unsigned usedBytes = 0;
  unsigned capacityBytes = 0;
  xseqcontrol policy;
  unsigned quickBytes = 0;
  bool isSealed = false;
};

#endif  // VELSTD_SERVICES_XBASESEQUENCE_H
