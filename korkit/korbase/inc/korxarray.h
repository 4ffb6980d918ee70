// korxarray.h - growable arrays under the toolkit's containers.
//
// korRawArray is the one place that allocates and shifts elements; it knows
// no type, only a record size in bytes. korXArrayImpl holds pointers,
// korClassXArrayImpl fixed-size records. Records are plain bytes: they are
// moved with memmove and never constructed or destroyed.
// Counts and positions are `int` elements, from 0, byte sizes 64 bits.
// Throws: what grows throws std::bad_alloc without memory and the library's
// size limit error beyond 2^31 - 1 elements; the array is then as it was.
// Removal never fails.
// Threads: no locks; share an array only under a lock of your own.
// Ownership: an array owns its storage, never what its elements point to.
#ifndef VELSTD_KORBASE_KORXARRAY_H
#define VELSTD_KORBASE_KORXARRAY_H

#include <cstddef>

#include "korapi.h"

/// Growth step of an array whose creator names none, in elements.
constexpr int kKorDefaultStep = 16;

/// Binary search in `count` sorted elements. `probe(i)` tells how the key
/// sorts relative to element i: positive after, 0 equal, negative before.
/// `*position` gets the place of the equal element, else the place where the
/// key belongs.
template <class Probe>
bool korSearch(int count, int* position, Probe probe) {
  int lo = 0;
  int hi = count - 1;
  *position = 0;
  while (lo <= hi) {
    const int at = lo + (hi - lo) / 2;  // lo + hi may be more than an int
    const int order = probe(at);
    if (order > 0) {
      lo = at + 1;
      *position = lo;
    } else {
      *position = at;
      if (order == 0) return true;
      hi = at - 1;
    }
  }
  return false;
}

/// Untyped storage. Every call of one array gets the same `recordSize`.
class VELSTD_API korRawArray {
 public:
  /// An empty array without storage; a growth step below 1 counts as 1.
  explicit korRawArray(int growth = kKorDefaultStep) noexcept;
  /// Gives the storage back.
  ~korRawArray();
  korRawArray(const korRawArray&) = delete;
  korRawArray& operator=(const korRawArray&) = delete;

  /// Number of records.
  int GetCount() const { return count; }
  /// Number of records that fit without growing.
  int GetCapacity() const { return capacity; }
  /// The growth step, in records.
  int GetStep() const { return step; }
  /// These read and set the force flag: with it every change of the count fits the
  /// capacity to it.
  bool GetForce() const { return force; }
  void SetForce(bool on) { force = on; }

  /// Address of record `position`, which must be below the capacity.
  void* At(int position, std::size_t recordSize) const {
    return static_cast<unsigned char*>(buffer) + static_cast<std::size_t>(position) * recordSize;
  }

  /// Makes the count `n` (below 0 counts as 0). With the force flag clear and
  /// `n` within the capacity nothing else changes; otherwise the capacity
  /// becomes `n` rounded up to the step, and the records move if it differs.
  /// New records are indeterminate.
  void Resize(int n, std::size_t recordSize);

  /// These do what Resize does to the capacity, without changing the count: for the
  /// present count, and for one record more.
  void Fit(std::size_t recordSize);
  void FitOneMore(std::size_t recordSize);

  /// Room for one more record in amortised constant time: the capacity, if
  /// used up, at least doubles.
  void GrowDoubling(std::size_t recordSize);

  /// Room for one more record: the capacity, if used up, becomes
  /// (count / step + 1) * step.
  void GrowByStep(std::size_t recordSize);

  /// Moves the records from `position` up by one and counts one more. There
  /// must be room. Returns the address of the record to fill.
  void* OpenGap(int position, std::size_t recordSize);

  /// Moves the records after `position` down by one and counts one less.
  void CloseGap(int position, std::size_t recordSize);

  /// Count 0; the storage is given back.
  void Clear();

 private:
  int RoundUp(int n) const;
  int OneMore() const;
  void FitTo(int n, std::size_t recordSize);
  void SetCapacity(int newCapacity, std::size_t recordSize);

  void* buffer = nullptr;
  int count = 0;
  int capacity = 0;
  bool force = false;
  int step;
};

/// Array of pointers.
class VELSTD_API korXArrayImpl {
 public:
  /// How the first element sorts relative to the second: positive after, 0 equal,
  /// negative before.
  using Compare = int (*)(const void*, const void*);

  /// An empty array without storage; a growth step below 1 counts as 1.
  explicit korXArrayImpl(int step = kKorDefaultStep) noexcept : array(step) {}

  /// Number of elements.
  int GetCount() const { return array.GetCount(); }
  /// Number of elements that fit without growing.
  int GetCapacity() const { return array.GetCapacity(); }

  /// Element `position`; null outside 0 .. count - 1.
  void* GetAt(int position) const;

  /// Replaces element `position`; false, nothing changed, outside
  /// 0 .. count - 1.
  bool SetAt(int position, void* element);

  /// Inserts before `position`; false, nothing changed, outside 0 .. count.
  bool InsertAt(int position, void* element);

  /// Removes element `position`; false outside 0 .. count - 1.
  bool RemoveAt(int position);

  /// Removes every element and gives the storage back.
  void RemoveAll() { array.Clear(); }

  /// Looks for an element equal to `key` in an array sorted by `compare`,
  /// which is called as compare(key, element). See korSearch for `*position`.
  bool _Lookup(const void* key, Compare compare, int* position) const;

 private:
  korRawArray array;
};

/// Array of records that begin with their key.
class VELSTD_API korClassXArrayImpl {
 public:
  /// Records of `bytes` bytes each.
  explicit korClassXArrayImpl(std::size_t bytes, int step = kKorDefaultStep) noexcept
      : array(step), recordSize(bytes) {}

  /// Number of records.
  int GetCount() const { return array.GetCount(); }
  /// Number of records that fit without growing.
  int GetCapacity() const { return array.GetCapacity(); }

  /// Address of record `position`, valid until the array changes; null
  /// outside 0 .. count - 1.
  void* GetAt(int position) const;

  /// Inserts a copy of `record` before `position`; false, nothing changed,
  /// outside 0 .. count. `record` must not lie in the array.
  bool InsertAt(int position, const void* record);

  /// Removes record `position`; false outside 0 .. count - 1.
  bool RemoveAt(int position);

  /// Removes every record and gives the storage back.
  void RemoveAll() { array.Clear(); }

  /// Looks for the record whose key, its first field of type K, equals `key`,
  /// in an array sorted by `compare`. See korSearch for `*position`.
  template <class K>
  bool _Lookup(K key, int (*compare)(K, K), int* position) const {
    return korSearch(GetCount(), position, [&](int at) {
      return compare(key, *static_cast<const K*>(array.At(at, recordSize)));
    });
  }

 private:
  korRawArray array;
  std::size_t recordSize;
};

#endif  // VELSTD_KORBASE_KORXARRAY_H
