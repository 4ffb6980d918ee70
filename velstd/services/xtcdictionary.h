// xtcdictionary.h - dictionary of class values: xstring, xany.
//
// Every slot of a block holds a live value; vacant slots hold empty ones, which
// must own nothing: they are not destroyed one by one when a block goes.
#ifndef VELSTD_SERVICES_XTCDICTIONARY_H
#define VELSTD_SERVICES_XTCDICTIONARY_H

#include <cstddef>

#include "xtbdictionary.h"

/// A dictionary of values with constructors, assignment and destructors of their own.
template <class T>
class VELSTD_API xtcdictionary : public xtbdictionary<T> {
 public:
  /// Empty, with a table for `capacity` entries (below 1: none).
  explicit xtcdictionary(int capacity) {
    this->SetOwnHooks(false);
    this->Reserve(capacity);
  }
  /// Removes everything and gives the table back; what the end of a value puts in goes as
  /// well.
  ~xtcdictionary() override {
    // Again for what the end of a value puts in.
    do {
      this->BaseClearAll(this->kSlot);
    } while (this->GetDataPtr());
  }

  /// Ends the values of the live entries of `block` (consumed), which has `slots` slots,
  /// and releases it.
  void Destroy(void* block, unsigned slots) override {
    auto* entry = static_cast<typename xtbdictionary<T>::Entry*>(block);
    // When the block is no longer cached the loop would wait for one line of it after the
    // other, so all of a table of the first size are asked for at once. Not only those of
    // live slots: dropping and building many dictionaries was slower then.
    constexpr std::size_t kLine = 64;
    const std::size_t first = std::size_t{slots < 32 ? slots : 32} * sizeof *entry;
    for (std::size_t at = 0; at < first; at += kLine) {
      __builtin_prefetch(static_cast<const char*>(block) + at);
    }
    for (unsigned i = 0; i < slots; ++i) {
      if (!xdictentryIsVacant(entry[i].key)) entry[i].value.~T();
    }
    this->ReleaseBlock(block);
  }

 protected:
  /// These are the hooks, see xbasedictionary, for good.
  void* OnAllocate(unsigned slots) final { return this->NewBlock(slots); }
  void OnDestroy(void* block, unsigned slots) final {
    if (block) this->Destroy(block, slots);
  }
  void OnCopyEntry(void* dst, const void* src) final {
    *static_cast<T*>(dst) = *static_cast<const T*>(src);
  }
  void OnRemoveEntry(void* value) final { *static_cast<T*>(value) = T(); }
};

#endif  // VELSTD_SERVICES_XTCDICTIONARY_H
