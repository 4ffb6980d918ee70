// xtsdictionary.h - dictionary of scalars: bool bytes, int, double.
#ifndef VELSTD_SERVICES_XTSDICTIONARY_H
#define VELSTD_SERVICES_XTSDICTIONARY_H

#include <cstring>

#include "xtbdictionary.h"

template <class T>
class VELSTD_API xtsdictionary : public xtbdictionary<T> {
 public:
  /// Empty, with a table for `capacity` entries (below 1: none).
  explicit xtsdictionary(int capacity) {
    this->SetOwnHooks(true);
    this->Reserve(capacity);
  }
  ~xtsdictionary() override { this->BaseClearAll(this->kSlot); }

  void Destroy(void* block, unsigned) override { this->ReleaseBlock(block); }

 protected:
  void* OnAllocate(unsigned slots) final { return this->NewBlock(slots); }
  void OnDestroy(void* block, unsigned slots) final {
    if (block) this->Destroy(block, slots);
  }
  void OnCopyEntry(void* dst, const void* src) final { std::memcpy(dst, src, sizeof(T)); }
  void OnRemoveEntry(void*) final {}
};

#endif  // VELSTD_SERVICES_XTSDICTIONARY_H
