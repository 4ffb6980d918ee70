// xsealed.h - a sequence template whose hooks are settled.
//
// The registered sequence classes are made of it: their hooks are final, so
// that nothing below them can watch or change the growth of their storage.
#ifndef VELSTD_SERVICES_XSEALED_H
#define VELSTD_SERVICES_XSEALED_H

template <class Sequence>
class xsealed : public Sequence {
 protected:
  using Sequence::Sequence;

  void* OnResize(unsigned newCapacity) final { return Sequence::OnResize(newCapacity); }
  void OnAllocate(void* at, unsigned bytes) final { Sequence::OnAllocate(at, bytes); }
  void OnDestroy(void* at, unsigned bytes) final { Sequence::OnDestroy(at, bytes); }
  void OnCopy(void* dst, const void* src, unsigned bytes) final {
    Sequence::OnCopy(dst, src, bytes);
  }
};

#endif  // VELSTD_SERVICES_XSEALED_H
