// dsdatcol.h - what the ds collections have in common.
//
// Counts and positions are `int` elements, from 0.
// Threads: no locks. Ownership: a collection owns no element.
#ifndef VELSTD_KORBASE_DSDATCOL_H
#define VELSTD_KORBASE_DSDATCOL_H

#include "dsiter.h"
#include "korabort.h"
#include "korapi.h"

/// Any collection of T.
template <class T>
class VELSTD_API dsDataCollection {
 public:
  /// Empty.
  dsDataCollection() = default;
  /// Gives the storage back; elements are left alone.
  virtual ~dsDataCollection() = default;
  dsDataCollection(const dsDataCollection&) = delete;
  dsDataCollection& operator=(const dsDataCollection&) = delete;

  /// Adds `element`; true when the collection holds one element more. Throws
  /// std::bad_alloc and the size limit error, the collection unchanged.
  virtual bool Add(T element) = 0;

  /// Removes one element equal to `element`; false when there is none.
  virtual bool Remove(T element) = 0;

  /// True when an element equals `element`.
  virtual bool Contains(T element) const = 0;
  /// Number of elements.
  virtual int GetCount() const = 0;

  /// A new iterator at the first element, owned: the caller deletes it.
  virtual dsIter<T>* GetIter() const = 0;

  /// True when there are no elements.
  bool IsEmpty() const { return GetCount() == 0; }
};

template <class T>
class dsArray;

/// A position in an array.
template <class T>
class VELSTD_API dsArrayIter : public dsIter<T> {
 public:
  /// At the first element of `walked` (borrowed for the iterator's life).
  explicit dsArrayIter(const dsArray<T>& walked) : array(&walked) {}

  /// A new iterator at the same place, owned: the caller deletes it. Throws
  /// std::bad_alloc.
  dsArrayIter* Reproduce() const override { return new dsArrayIter(*this); }
  /// True at and past the end of the array as it is now.
  bool Finished() const override { return position >= array->GetCount(); }
  /// Goes to the next element; stays at the end.
  void Next() override {
    if (!Finished()) ++position;
  }
  /// Goes back to the first element.
  void Reset() override { position = 0; }
  /// The current element; a zero value at the end.
  T Get() const override { return array->GetAt(position); }

 private:
  const dsArray<T>* array;
  int position = 0;
};

/// A collection whose elements have positions.
template <class T>
class VELSTD_API dsArray : public dsDataCollection<T> {
 public:
  /// Element `position`; a zero value outside 0 .. count - 1.
  virtual T GetAt(int position) const = 0;

  /// A new iterator at the first element, owned: the caller deletes it. Throws
  /// std::bad_alloc.
  dsArrayIter<T>* GetIter() const override { return new dsArrayIter<T>(*this); }

  /// Position of the first element equal to `element` in `*position`
  /// (nullable); false, `*position` left alone, when there is none.
  bool Find(T element, int* position) const {
    for (int at = 0; at < this->GetCount(); ++at) {
      if (GetAt(at) != element) continue;
      if (position) *position = at;
      return true;
    }
    return false;
  }

  /// True when an element equals `element`. Cost: linear.
  bool Contains(T element) const override { return Find(element, nullptr); }
};

/// An array whose elements lie one after the other in memory.
template <class T>
class VELSTD_API dsStraightArray : public dsArray<T> {
 public:
  /// The first element, the others behind it; valid until the array changes,
  /// and possibly null when the count is 0.
  virtual const T* GetBuffer() const = 0;

  /// Element `position`; a zero value outside 0 .. count - 1.
  T GetAt(int position) const override {
    return position >= 0 && position < this->GetCount() ? GetBuffer()[position] : T{};
  }
};

/// What maps from K to V have in common. A map that stores something
/// overrides all of it; here each of the three operations ends the process.
template <class K, class V>
class VELSTD_API dsDataMap {
 public:
  /// Empty.
  dsDataMap() = default;
  /// Gives the storage back; keys and values are left alone.
  virtual ~dsDataMap() = default;
  dsDataMap(const dsDataMap&) = delete;
  dsDataMap& operator=(const dsDataMap&) = delete;

  /// Adds a value under a key. Aborts with "dsDataMap::Add ()".
  virtual bool Add(K, V) { _korAbort("dsDataMap::Add ()", "korkit/korbase/inc/dsdatcol", 297); }
  /// Removes a key. Aborts with "dsDataMap::Remove ()".
  virtual bool Remove(K) { _korAbort("dsDataMap::Remove ()", "korkit/korbase/inc/dsdatcol", 301); }
  /// Finds the value of a key. Aborts with "dsDataMap::Find ()".
  virtual bool Find(K, V*) const {
    _korAbort("dsDataMap::Find ()", "korkit/korbase/inc/dsdatcol", 305);
  }

  /// Number of keys.
  virtual int GetCount() const { return 0; }
};

#endif  // VELSTD_KORBASE_DSDATCOL_H
