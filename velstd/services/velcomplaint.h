// velcomplaint.h - exceptions that are made without being thrown.
//
// For those who park what would only be caught again, and for those who throw
// from a frame in which nothing has to end. Each is new, with one reference, the
// caller's.
// Throw std::bad_alloc.
#ifndef VELSTD_SERVICES_VELCOMPLAINT_H
#define VELSTD_SERVICES_VELCOMPLAINT_H

#include "xthrowable.h"

/// Makes the exceptions.
struct VELSTD_API velComplaint {
  /// That null stands where a value is required: velXNull.
  static xthrowable* null();
  /// That `sequence` has no element at `index`: velXNegativeIndex below 0, else
  /// velXInvalidSeqIndex.
  static xthrowable* sequenceIndex(xobject* sequence, int index);
};

#endif  // VELSTD_SERVICES_VELCOMPLAINT_H
