// dssortedset.h - sorted sets without duplicates over a ds array.
//
// Cost: search logarithmic, insertion and removal linear.
// Throws: as dsxarray.h. Threads: no locks. Ownership: a set owns no element.
#ifndef VELSTD_KORBASE_DSSORTEDSET_H
#define VELSTD_KORBASE_DSSORTEDSET_H

#include "dsxarray.h"
#include "korcompare.h"

/// The set over array class A; a subclass says how elements compare.
template <class A, class T>
class VELSTD_API dsBaseSortedSet {
 public:
  /// How `a` sorts relative to `b`: positive after, 0 equal, negative before.
  virtual int Compare(T a, T b) const = 0;

  /// Gives the storage back; elements are left alone.
  virtual ~dsBaseSortedSet() = default;
  dsBaseSortedSet(const dsBaseSortedSet&) = delete;
  dsBaseSortedSet& operator=(const dsBaseSortedSet&) = delete;

  /// True with the place of `element` in `*position`; false with the place
  /// where it belongs.
  bool FindIndex(T element, int* position) const {
    return korSearch(GetCount(), position,
                     [&](int at) { return Compare(element, array.GetAt(at)); });
  }

  /// Adds `element`; false, nothing changed, when it is there.
  bool operator+=(T element) {
    int position = 0;
    return !FindIndex(element, &position) && array.InsertByStep(position, element);
  }
  /// These are the same as +=.
  bool Insert(T element) { return *this += element; }
  bool Add(T element) { return *this += element; }

  /// Removes `element`; false when it is not there.
  bool operator-=(T element) {
    int position = 0;
    return FindIndex(element, &position) && array.RemoveAt(position);
  }
  /// The same as -=.
  bool Remove(T element) { return *this -= element; }

  /// Removes element `position`; false outside 0 .. count - 1.
  bool RemoveByIndex(int position) { return array.RemoveAt(position); }

  /// True when `element` is there.
  bool Contains(T element) const {
    int position = 0;
    return FindIndex(element, &position);
  }

  /// Removes every element.
  void RemoveAll() { array.RemoveAll(); }
  /// Number of elements.
  int GetCount() const { return array.GetCount(); }
  /// Number of elements that fit without growing.
  int GetCapacity() const { return array.GetCapacity(); }

  /// Element `position` in the set's order; a zero value outside
  /// 0 .. count - 1.
  T GetAt(int position) const { return array.GetAt(position); }

  /// A new iterator at the smallest element, owned: the caller deletes it.
  dsArrayIter<T>* GetIter() const { return array.GetIter(); }

 protected:
  /// An empty set whose array grows by `step` elements.
  explicit dsBaseSortedSet(int step) : array(step) {}

 private:
  A array;
};

/// A set of scalars ordered by value, pointers by address.
template <class A, class T>
class VELSTD_API dsBaseScalarSet : public dsBaseSortedSet<A, T> {
 public:
  /// By value: 1, 0 or -1.
  int Compare(T a, T b) const override { return korCompareScalars(a, b); }

 protected:
  /// An empty set whose array grows by `step` elements.
  explicit dsBaseScalarSet(int step) : dsBaseSortedSet<A, T>(step) {}
};

/// The set of scalars that programs use.
template <class T>
class VELSTD_API dsScalarSet : public dsBaseScalarSet<dsXArray<T>, T> {
 public:
  /// An empty set without storage, whose array grows by `step` elements; below 1 counts
  /// as 1.
  explicit dsScalarSet(int step = kKorDefaultStep) : dsBaseScalarSet<dsXArray<T>, T>(step) {}
};

#endif  // VELSTD_KORBASE_DSSORTEDSET_H
