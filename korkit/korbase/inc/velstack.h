// velstack.h - stack of pointers.
//
// Its own array of doubling size, 64 elements at first.
// Throws: Push throws std::bad_alloc without memory and the library's size
// limit error beyond 2^31 - 1 elements; the stack is then as it was.
// Threads: no locks. Ownership: the stack owns no element; it moves but does
// not copy.
#ifndef VELSTD_KORBASE_VELSTACK_H
#define VELSTD_KORBASE_VELSTACK_H

#include <climits>
#include <cstring>
#include <type_traits>
#include <utility>

#include "korapi.h"

/// The stack itself, of pointers T.
template <class T>
class VELSTD_API velStack {
  static_assert(std::is_pointer<T>::value, "elements are pointers");

 public:
  /// Empty, without storage.
  velStack() noexcept = default;
  /// Takes over the other's elements and leaves it empty.
  velStack(velStack&& other) noexcept { Swap(other); }
  /// Takes over the other's elements and leaves it empty; its own are forgotten.
  velStack& operator=(velStack&& other) noexcept {
    velStack taken(std::move(other));
    Swap(taken);
    return *this;
  }
  velStack(const velStack&) = delete;
  velStack& operator=(const velStack&) = delete;
  /// Gives the storage back; elements are left alone.
  ~velStack() { delete[] elements; }

  /// Puts `element` on top, in amortised constant time.
  void Push(T element) {
    if (count == capacity) Grow();
    elements[count++] = element;
  }

  /// Takes the top element away and returns it; null when empty.
  T Pop() { return count > 0 ? elements[--count] : nullptr; }

  /// The top element; null when empty.
  T Top() const { return count > 0 ? elements[count - 1] : nullptr; }

  /// Element `position` from the bottom; null outside 0 .. count - 1.
  T GetAt(int position) const {
    return position >= 0 && position < count ? elements[position] : nullptr;
  }

  /// True when there are no elements.
  bool IsEmpty() const { return count == 0; }
  /// Number of elements.
  int GetCount() const { return count; }
  /// Number of elements that fit without growing.
  int GetCapacity() const { return capacity; }

 private:
  void Grow() {
    if (capacity == INT_MAX) velThrowSizeLimit();
    const int grown = capacity == 0 ? 64 : (capacity > INT_MAX / 2 ? INT_MAX : capacity * 2);
    T* larger = new T[static_cast<std::size_t>(grown)];
    // NOLINTNEXTLINE(bugprone-sizeof-expression): elements may be pointers
    if (count > 0) std::memcpy(larger, elements, static_cast<std::size_t>(count) * sizeof(T));
    delete[] elements;
    elements = larger;
    capacity = grown;
  }

  void Swap(velStack& other) noexcept {
    std::swap(elements, other.elements);
    std::swap(capacity, other.capacity);
    std::swap(count, other.count);
  }

  T* elements = nullptr;
  int capacity = 0;
  int count = 0;
};

#endif  // VELSTD_KORBASE_VELSTACK_H
