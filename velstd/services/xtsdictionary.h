// xtsdictionary.h - dictionary of scalars: bool bytes, int, double.
#ifndef VELSTD_SERVICES_XTSDICTIONARY_H
#define VELSTD_SERVICES_XTSDICTIONARY_H

#include <cstring>

#include "xtbdictionary.h"

/// A dictionary of scalars. Its values are copied as bytes and never destroyed.
template <class T>
class VELSTD_API xtsdictionary : public xtbdictionary<T> {
 public:
  /// Empty, with a table for `capacity` entries (below 1: none).
  explicit xtsdictionary(int capacity) {
    this->SetOwnHooks(true);
    this->Reserve(capacity);
  }
  /// Removes everything and gives the table back.
  ~xtsdictionary() override { this->BaseClearAll(this->kSlot); }

  /// Releases `block` (consumed); there are no values to end.
  void Destroy(void* block, unsigned) override { this->ReleaseBlock(block); }

 protected:
  /// These are the hooks, see xbasedictionary, for good.
  void* OnAllocate(unsigned slots) final { return this->NewBlock(slots); }
  void OnDestroy(void* block, unsigned slots) final {
    if (block) this->Destroy(block, slots);
  }
  void OnCopyEntry(void* dst, const void* src) final { std::memcpy(dst, src, sizeof(T)); }
  void OnRemoveEntry(void*) final {}
};

#endif  // VELSTD_SERVICES_XTSDICTIONARY_H
