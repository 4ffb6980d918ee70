// xtssequence.h - sequence of scalars: bool bytes, int, double, pointers.
//
// The hooks work on raw memory. Slots gained without a value are indeterminate
// by contract; fresh storage happens to be zeroed, so that no old heap bytes
// leak out.
#ifndef VELSTD_SERVICES_XTSSEQUENCE_H
#define VELSTD_SERVICES_XTSSEQUENCE_H

#include <cstdlib>
#include <cstring>
#include <new>

#include "xtbsequence.h"

/// A sequence of scalars. Its elements are copied as bytes and never destroyed.
template <class T>
class VELSTD_API xtssequence : public xtbsequence<T> {
 public:
  /// Empty, with room for `capacity` elements (taken as signed; below 1: none).
  explicit xtssequence(unsigned capacity) : xtbsequence<T>(xseqcontrol(false, 256)) {
    this->Reserve(capacity);
  }
  /// Gives the storage back.
  ~xtssequence() override { std::free(this->DetachStorage()); }

 protected:
  /// These are the hooks, see xbasesequence: they move and copy bytes. A subclass may
  /// override them.
  void* OnResize(unsigned newCapacity) override {
    void* old = this->GetPtr();
    // The first block comes zeroed: a large one without being touched.
    void* block = old ? std::realloc(old, newCapacity) : std::calloc(newCapacity, 1);
    if (!block) throw std::bad_alloc();
    if (old) {
      const unsigned kept = this->GetByteSize();
      std::memset(static_cast<char*>(block) + kept, 0, newCapacity - kept);
    }
    return block;
  }
  void OnAllocate(void*, unsigned) override {}
  void OnDestroy(void*, unsigned) override {}
  void OnCopy(void* dst, const void* src, unsigned bytes) override {
    if (bytes) std::memmove(dst, src, bytes);
  }
};

#endif  // VELSTD_SERVICES_XTSSEQUENCE_H
