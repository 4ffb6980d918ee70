// xtbsequence.h - typed front of the growable sequence.
//
// Checks indices and turns elements into bytes; storage, growth and shifting
// live once, untyped, in xbasesequence. Indices and counts are signed elements
// here, unsigned bytes there.
//
// Limits: at most 2^31 - 1 elements, and below 2^32 bytes of storage; a size
// beyond throws velXNativeException "Size limit exceeded" and changes nothing.
// std::bad_alloc leaves the sequence as it was.
// Objects that an operation gives up are released when size and storage are
// final: code that runs then may use the same sequence. Code that cannot wait
// (assignment and end of a class element of your own, an override of xattach or
// xrelease) must not change it, see xbasesequence.h, and finds the elements that
// are on their way out already ended.
// Threads: no locks; share it only under a lock of your own.
// Ownership: the sequence owns its elements. get() copies; the reference from
// operator[] lasts until the next call that may grow the storage. Sequences are
// counted and live on the heap, in a handle: an index error holds its sequence,
// and one that nobody else holds dies with the exception.
#ifndef VELSTD_SERVICES_XTBSEQUENCE_H
#define VELSTD_SERVICES_XTBSEQUENCE_H

#include <climits>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <type_traits>

#include "velcomplaint.h"
#include "velexceptions.h"
#include "velrelease.h"
#include "xbasesequence.h"
#include "xobject.h"

/// What every sequence of T can do; xtssequence and xtcsequence say how elements are
/// kept.
template <class T>
class VELSTD_API xtbsequence : public virtual xobject, protected xbasesequence {
 public:
  xtbsequence(const xtbsequence&) = delete;
  xtbsequence& operator=(const xtbsequence&) = delete;

  /// Number of elements.
  virtual int getarraysize() { return Count(); }

  /// Copy of the element at `index`.
  /// Throws velXNegativeIndex below 0, velXInvalidSeqIndex past the end.
  virtual T get(int index) { return Checked<T>(index); }

  /// Stores `value` at `index`; at or past the end, grows to index + 1 elements.
  /// Scalars in the gap are indeterminate, class elements are empty.
  /// Throws velXNegativeIndex below 0.
  virtual void set(int index, T value) {
    if (IsElement(index) && GetQuickCapacity() != 0) {
      static_cast<T*>(GetPtr())[index] = static_cast<T&&>(value);
    } else {
      SetAnywhere(index, value);
    }
  }

  /// The element at `index` itself; errors as get(). Objects that assigning to it
  /// gives up go at once: what they run may change the sequence if the assignment
  /// ends with that, as that of a variant does; otherwise use set().
  T& operator[](int index) { return Checked<T&>(index); }

  /// Puts `value` behind the last element, in amortised constant time.
  void append(T value) {
    const std::uint64_t end = std::uint64_t{GetByteSize()} + kSize;
    if (end <= GetQuickCapacity() && (kSize > 1 || end <= INT_MAX)) {
      // Into the empty element that lies there, where cppcheck sees chars.
      // cppcheck-suppress invalidPointerCast
      *reinterpret_cast<T*>(static_cast<char*>(GetPtr()) + GetByteSize()) = static_cast<T&&>(value);
      Extend(kSize);
    } else {
      AppendGrowing(value);
    }
  }

  /// Puts `value` before the element at `index`; past the end, opens a gap as
  /// set() does. Throws velXNegativeIndex below 0.
  void insert(int index, T value) {
    const Settle settle;
    velhAssertNonNegativeIndex(index);
    const int end = Count();
    BaseInsert(Room(index, 1), kSize, &value);
    FillGap(end, index);
  }

  /// Puts all elements of `other`, which may be this sequence, before the
  /// element at `index`. Throws velXNegativeIndex below 0.
  void insertseq(int index, const xtbsequence<T>& other) {
    const Settle settle;
    velhAssertNonNegativeIndex(index);
    const int end = Count();
    BaseInsert(Room(index, other.Count()), other.GetByteSize(), other.GetPtr());
    FillGap(end, index);
  }

  /// Removes the elements from `first` up to, not including, `last`, given in
  /// either order; what lies beyond the end does not count.
  /// Throws velXNegativeIndex for either below 0.
  void removerange(int first, int last) {
    const Settle settle;
    velhAssertNonNegativeIndex(first);
    velhAssertNonNegativeIndex(last);
    BaseRemove(Clamped(first), Clamped(last));
  }

  /// Removes all elements; the capacity stays.
  void clear() {
    const Settle settle;
    BaseClear();
  }

 protected:
  /// Empty, without storage; it grows as `growth` says.
  explicit xtbsequence(xseqcontrol growth) : xbasesequence(growth) {}

  /// Makes room for `elements`, which is taken as signed: below 1, for none.
  void Reserve(unsigned elements) {
    const Settle settle;
    if (static_cast<int>(elements) >= 1) BaseAllocate(Bytes(static_cast<int>(elements), 0));
  }

 private:
  // NOLINTNEXTLINE(bugprone-sizeof-expression): elements may be pointers
  static constexpr std::size_t kSize = sizeof(T);

  struct Nothing {
    Nothing() {}  // not trivial: an unused variable of this type is no mistake
  };
  /// Lets the releases of an operation wait for its end; scalars have none.
  using Settle = std::conditional_t<std::is_class<T>::value, velReleaseScope, Nothing>;

  /// How an element goes to a function of its own. A scalar by value: one whose
  /// address is taken there would lie in memory, not in a register, on the way
  /// past that call, too.
  using Passed = std::conditional_t<std::is_class<T>::value, const T&, T>;

  int Count() const { return static_cast<int>(GetByteSize() / kSize); }

  bool IsElement(int index) const {
    return std::uint64_t{static_cast<unsigned>(index)} * kSize < GetByteSize();
  }

  /// The element at `index`, or a copy of it.
  template <class R>
  R Checked(int index) {
    if (IsElement(index)) return static_cast<T*>(GetPtr())[index];
    return Refuse<R>(index);
  }

  /// Throws. As far as the compiler can see it may return, too: then it is called as
  /// the last thing that its caller does, whose frame is gone by then. Each frame
  /// that a throw passes costs it hundreds of nanoseconds.
  template <class R>
  [[gnu::noinline, gnu::cold]] R Refuse(int index) {
    // NOLINTNEXTLINE(cert-err09-cpp): as xthrow does
    if (xthrowable* complaint = velComplaint::sequenceIndex(this, index)) throw complaint;
    return static_cast<T*>(GetPtr())[index];
  }

  [[gnu::noinline]] void SetAnywhere(int index, Passed value) {
    const Settle settle;
    velhAssertNonNegativeIndex(index);
    const int end = Count();
    BaseCopy(Bytes(index, 1), kSize, &value);
    FillGap(end, index);
  }

  [[gnu::noinline]] void AppendGrowing(Passed value) {
    const Settle settle;
    Bytes(Count(), 1);
    BaseInsert(GetByteSize(), kSize, &value);
  }

  /// Scalars that an operation past the end has skipped become zeros, so that no
  /// old bytes of the heap come to light. Hooks that can be overridden see to
  /// that for themselves.
  void FillGap(int end, int index) {
    if constexpr (!std::is_class<T>::value) {
      if (index > end && IsSealed()) {
        T* const gap = static_cast<T*>(GetPtr()) + end;
        // cppcheck-suppress memsetClassFloat ; the number 0.0 has no other bits
        std::memset(gap, 0, kSize * static_cast<unsigned>(index - end));
      }
    }
  }

  /// Byte position of `index`, when `more` elements may follow it.
  static unsigned Bytes(int index, int more) {
    const std::uint64_t end = static_cast<std::uint64_t>(index) + static_cast<unsigned>(more);
    if (end > INT_MAX || end * kSize > UINT_MAX) velThrowSizeLimit();
    return static_cast<unsigned>(static_cast<unsigned>(index) * kSize);
  }

  /// Byte position of `index`, when `more` elements may be inserted there.
  unsigned Room(int index, int more) const {
    Bytes(index > Count() ? index : Count(), more);
    return Bytes(index, 0);
  }

  unsigned Clamped(int index) const {
    return index < Count() ? static_cast<unsigned>(static_cast<unsigned>(index) * kSize)
                           : GetByteSize();
  }
};

#endif  // VELSTD_SERVICES_XTBSEQUENCE_H
