// korset.h - sorted sets of pointers.
//
// A set keeps its pointers in the order of a comparison function that the
// creator gives; elements it calls equal are one element.
// Cost: search logarithmic, insertion and removal linear.
// Throws: as korxarray.h. Threads: no locks. Ownership: the set owns no
// element.
#ifndef VELSTD_KORBASE_KORSET_H
#define VELSTD_KORBASE_KORSET_H

#include <type_traits>

#include "korcompare.h"
#include "korxarray.h"

/// Walks a pointer array from the front. Insertion and removal behind the
/// iterator's back shift what it sees next; the array must outlive it.
class VELSTD_API korIterImpl {
 public:
  /// At the first element of `walked` (borrowed for the iterator's life).
  explicit korIterImpl(const korXArrayImpl& walked) : array(&walked) {}

  /// True when there is no current element any more.
  bool Finished() const { return position >= array->GetCount(); }

  /// Goes to the next element; stays at the end.
  void Next() {
    if (!Finished()) ++position;
  }

  /// Goes back to the first element.
  void Reset() { position = 0; }

  /// The current element; null at the end.
  void* GetElement() const { return array->GetAt(position); }

  /// A new iterator at the same place, owned: the caller deletes it.
  korIterImpl* Reproduce() const { return new korIterImpl(*this); }

 private:
  const korXArrayImpl* array;
  int position = 0;
};

/// The set over array class A with iterator class I.
template <class T, class A, class I>
class VELSTD_API korSetBase {
  static_assert(std::is_pointer<T>::value, "elements are pointers");

 public:
  /// How the first element sorts relative to the second: positive after, 0 equal,
  /// negative before.
  using Compare = int (*)(const void*, const void*);

  /// A place in the set.
  class Iter : public I {
   public:
    /// At the first element of `walked` (borrowed for the iterator's life).
    explicit Iter(const A& walked) : I(walked) {}
    /// The current element; null at the end.
    T Get() const { return static_cast<T>(this->GetElement()); }
    /// A new iterator at the same place, owned: the caller deletes it.
    Iter* Reproduce() const { return new Iter(*this); }
  };

  /// An empty set ordered by `order`, which is called as
  /// order(new element, element of the set).
  explicit korSetBase(Compare order, int step = kKorDefaultStep) : array(step), compare(order) {}
  korSetBase(const korSetBase&) = delete;
  korSetBase& operator=(const korSetBase&) = delete;

  /// Adds `element` and answers true; an equal element already there is
  /// replaced, and the answer is false.
  bool Insert(T element) {
    int position = 0;
    if (array._Lookup(element, compare, &position)) {
      array.SetAt(position, Erase(element));
      return false;
    }
    return array.InsertAt(position, Erase(element));
  }
  /// The same as Insert.
  bool Add(T element) { return Insert(element); }

  /// Removes the element equal to `element`; false when there is none.
  bool Remove(T element) {
    int position = 0;
    return array._Lookup(element, compare, &position) && array.RemoveAt(position);
  }

  /// True when an element equals `element`.
  bool Contains(T element) const {
    int position = 0;
    return array._Lookup(element, compare, &position);
  }

  /// Removes every element and gives the storage back.
  void RemoveAll() { array.RemoveAll(); }
  /// Number of elements.
  int GetCount() const { return array.GetCount(); }

  /// Element `position` in the set's order; null outside 0 .. count - 1.
  T GetAt(int position) const { return static_cast<T>(array.GetAt(position)); }

  /// A new iterator at the first element, owned: the caller deletes it.
  Iter* GetIter() const { return new Iter(array); }

 private:
  static void* Erase(T element) { return const_cast<void*>(static_cast<const void*>(element)); }

  A array;
  Compare compare;
};

/// The set of pointers that programs use.
template <class T>
class VELSTD_API korSet : public korSetBase<T, korXArrayImpl, korIterImpl> {
 public:
  /// The set itself.
  using Base = korSetBase<T, korXArrayImpl, korIterImpl>;
  /// An empty set ordered by `order`, whose array grows by `step` elements; below 1
  /// counts as 1.
  explicit korSet(typename Base::Compare order, int step = kKorDefaultStep) : Base(order, step) {}
};

#endif  // VELSTD_KORBASE_KORSET_H
