// xsealed.h - a sequence template whose hooks are settled.
//
// The registered sequence classes are made of it: their hooks are final, so
// that nothing below them can watch or change the growth of their storage. That
// lets appending and setting within the capacity happen in line, and elements
// that shift move as bytes instead of being copied and ended.
#ifndef VELSTD_SERVICES_XSEALED_H
#define VELSTD_SERVICES_XSEALED_H

#include <type_traits>

#include "xany.h"
#include "xstring.h"

/// `Sequence`, one of the sequence templates, with its hooks final.
template <class Sequence>
class xsealed : public Sequence {
 protected:
  /// Empty, with room for `capacity` elements (taken as signed; below 1: none).
  /// Throws std::bad_alloc, and velXNativeException "Size limit exceeded".
  explicit xsealed(unsigned capacity) : Sequence(0) {
    using Element = std::decay_t<decltype((*this)[0])>;
    static_assert(std::is_scalar<Element>::value || std::is_same<Element, xstring>::value ||
                      std::is_same<Element, xany>::value,
                  "elements that may move as bytes");
    this->Seal();
    this->Reserve(capacity);
  }

  /// These are the hooks of `Sequence`, for good.
  void* OnResize(unsigned newCapacity) final { return Sequence::OnResize(newCapacity); }
  void OnAllocate(void* at, unsigned bytes) final { Sequence::OnAllocate(at, bytes); }
  void OnDestroy(void* at, unsigned bytes) final { Sequence::OnDestroy(at, bytes); }
  void OnCopy(void* dst, const void* src, unsigned bytes) final {
    Sequence::OnCopy(dst, src, bytes);
  }
};

#endif  // VELSTD_SERVICES_XSEALED_H
