// xtcsequence.h - sequence of class elements: xstring, xany.
//
// Every slot of the capacity holds a live element; slots beyond the size hold
// empty ones. Elements are copied by assignment, so that counts stay right. An
// empty element must own nothing: those beyond the size are not destroyed one
// by one when the sequence goes. Default construction must not throw; growth
// survives an assignment that throws, shifting then leaves elements of
// unspecified value.
#ifndef VELSTD_SERVICES_XTCSEQUENCE_H
#define VELSTD_SERVICES_XTCSEQUENCE_H

#include <cstddef>
#include <cstdlib>
#include <memory>
#include <new>

#include "xtbsequence.h"

/// A sequence of elements with constructors, assignment and destructors of their own.
template <class T>
class VELSTD_API xtcsequence : public xtbsequence<T> {
 public:
  /// Empty, with room for `capacity` elements (taken as signed; below 1: none).
  explicit xtcsequence(unsigned capacity) : xtbsequence<T>(xseqcontrol(false, kInitialBytes)) {
    this->Reserve(capacity);
  }
  /// Ends the elements and gives the storage back; what the end of one appends goes as
  /// well.
  ~xtcsequence() override {
    // Again for what the end of an element appends.
    while (this->GetPtr()) {
      const unsigned bytes = this->GetByteSize();
      void* block = this->DetachStorage();
      Destroy(block, bytes);
      std::free(block);
    }
  }

  /// The same as append.
  xtcsequence& operator+=(T value) {
    this->append(value);
    return *this;
  }

 protected:
  /// These are the hooks, see xbasesequence: they construct, assign and destroy elements.
  /// A subclass may override them.
  void* OnResize(unsigned newCapacity) override {
    void* block = std::malloc(newCapacity);
    if (!block) throw std::bad_alloc();
    this->OnAllocate(block, newCapacity);
    if (void* old = this->GetPtr()) {
      const unsigned used = this->GetByteSize();
      try {
        this->OnCopy(block, old, used);
      } catch (...) {
        this->OnDestroy(block, newCapacity);
        std::free(block);
        throw;
      }
      this->OnDestroy(old, used);
      std::free(old);
    }
    return block;
  }
  void OnAllocate(void* at, unsigned bytes) override {
    std::uninitialized_value_construct_n(static_cast<T*>(at), bytes / sizeof(T));
  }
  void OnDestroy(void* at, unsigned bytes) override { Destroy(at, bytes); }
  void OnCopy(void* dst, const void* src, unsigned bytes) override {
    auto* to = static_cast<T*>(dst);
    const auto* from = static_cast<const T*>(src);
    const std::size_t count = bytes / sizeof(T);
    if (to < from) {
      for (std::size_t i = 0; i < count; ++i) to[i] = from[i];
    } else if (to > from) {
      for (std::size_t i = count; i > 0; --i) to[i - 1] = from[i - 1];
    }
  }

 private:
  // 256 bytes, rounded up so that doubling keeps a whole number of elements.
  static constexpr unsigned kInitialBytes =
      static_cast<unsigned>((256 + sizeof(T) - 1) / sizeof(T) * sizeof(T));

  static void Destroy(void* at, unsigned bytes) {
    std::destroy_n(static_cast<T*>(at), bytes / sizeof(T));
  }
};

#endif  // VELSTD_SERVICES_XTCSEQUENCE_H
