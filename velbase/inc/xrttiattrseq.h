// xrttiattrseq.h - a sequence of attributes, not counted.
//
// Made by velRttiCollectAttrs. Its owner frees it with xdelete; the attributes
// are borrowed.
#ifndef VELSTD_VELBASE_XRTTIATTRSEQ_H
#define VELSTD_VELBASE_XRTTIATTRSEQ_H

#include "velobject.h"
#include "xsealed.h"
#include "xtssequence.h"

extern template class xtbsequence<xrttiattr*>;
extern template class xtssequence<xrttiattr*>;

/// A sequence of borrowed attributes, with the members of xtssequence.
class VELSTD_API xrttiattrseq : public xsealed<xtssequence<xrttiattr*>> {
  VEL_OBJECT(xrttiattrseq)
 public:
  /// Empty, with room for `capacity` elements (taken as signed; below 1: none).
  /// Throws std::bad_alloc, and velXNativeException "Size limit exceeded".
  explicit xrttiattrseq(unsigned capacity = 0) : xsealed(capacity) {}
  /// A new, empty one; give it back with xdelete.
  static xrttiattrseq* create() { return new xrttiattrseq; }
};

#endif  // VELSTD_VELBASE_XRTTIATTRSEQ_H
