// dsxarray.h - growable array of plain values.
//
// The capacity is a multiple of the growth step, in elements. With the force
// flag set every change of the count fits the capacity to it; otherwise the
// capacity only grows.
// Throws: what grows throws std::bad_alloc without memory and the library's
// size limit error beyond 2^31 - 1 elements; the array is then as it was.
// Removal never fails.
// Threads: no locks. Ownership: the array owns its storage, not what its
// elements point to.
#ifndef VELSTD_KORBASE_DSXARRAY_H
#define VELSTD_KORBASE_DSXARRAY_H

#include <cstddef>
#include <type_traits>

#include "dsdatcol.h"
#include "korxarray.h"

/// An array of plain values, which are moved as bytes.
template <class T>
class VELSTD_API dsXArray : public dsStraightArray<T> {
  static_assert(std::is_trivially_copyable<T>::value, "elements are moved as bytes");

 public:
  /// An empty array without storage; a `step` below 1 counts as 1.
  explicit dsXArray(int step = kKorDefaultStep) : array(step) {}

  /// Number of elements.
  int GetCount() const override { return array.GetCount(); }
  /// Number of elements that fit without growing.
  int GetCapacity() const { return array.GetCapacity(); }
  /// The growth step, in elements.
  int GetStep() const { return array.GetStep(); }
  /// Sets or clears the force flag, see the head of this file.
  void SetForceRealloc(bool on) { array.SetForce(on); }
  /// The first element, the others behind it; valid until the array changes. Null without
  /// storage.
  const T* GetBuffer() const override { return static_cast<const T*>(array.At(0, kSize)); }

  /// Element `position`, which must lie in 0 .. count - 1; the reference
  /// lasts until the array changes.
  T& operator[](int position) { return *static_cast<T*>(array.At(position, kSize)); }
  const T& operator[](int position) const {
    return *static_cast<const T*>(array.At(position, kSize));
  }

  /// Makes the count `n` (below 0 counts as 0). Elements added so are
  /// indeterminate.
  void Resize(int n) { array.Resize(n, kSize); }

  /// Inserts before `position`; false, nothing changed, outside 0 .. count.
  bool Insert(int position, T element) {
    if (position < 0 || position > GetCount()) return false;
    array.FitOneMore(kSize);
    *static_cast<T*>(array.OpenGap(position, kSize)) = element;
    return true;
  }

  /// As Insert, but a full array grows to (count / step + 1) * step elements
  /// whatever the force flag says.
  bool InsertByStep(int position, T element) {
    if (position < 0 || position > GetCount()) return false;
    array.GrowByStep(kSize);
    *static_cast<T*>(array.OpenGap(position, kSize)) = element;
    return true;
  }

  /// Removes element `position` and closes the gap; false outside
  /// 0 .. count - 1.
  bool RemoveAt(int position) {
    if (position < 0 || position >= GetCount()) return false;
    array.CloseGap(position, kSize);
    array.Fit(kSize);
    return true;
  }

  /// Removes every element; the capacity stays unless the force flag is set.
  void RemoveAll() { Resize(0); }

  /// Appends; always true.
  bool Add(T element) override { return Insert(GetCount(), element); }

  /// Removes the first element equal to `element`; false when there is none.
  bool Remove(T element) override {
    int position = 0;
    return this->Find(element, &position) && RemoveAt(position);
  }

 private:
  // NOLINTNEXTLINE(bugprone-sizeof-expression): elements may be pointers
  static constexpr std::size_t kSize = sizeof(T);

  korRawArray array;
};

#endif  // VELSTD_KORBASE_DSXARRAY_H
