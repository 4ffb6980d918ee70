// velguard.h - the calling rules of the C interface, once.
//
// Every function of the interface runs inside velGuard: nothing that is thrown
// passes it; it is parked in the pending-exception record and the preset comes
// back. Functions on collections begin by clearing the record.
#ifndef VELSTD_CAPI_VELGUARD_H
#define VELSTD_CAPI_VELGUARD_H

#include "velexceptions.h"

/// Parks `caught`, with the reference that came with the throw, or one that is made
/// for the record: a throw costs more than all the rest of a call, so complaints
/// that are part of ordinary work are not thrown. Never throws: an exception that
/// ending the old one raises takes its place.
void velPark(xthrowable* caught) noexcept;
/// Parks what is being handled, which is no framework exception. What ends the
/// thread goes on.
[[gnu::cold]] void velParkOther();

/// Runs `step`; what it throws is parked and `onError` returned. An overload
/// without `onError` serves void calls.
/// In line, so that the step is: the handlers lie apart and cost nothing until
/// something is thrown.
template <class R, class F>
R velGuard(R onError, F&& step) {
  try {
    return step();
  } catch (xthrowable* caught) {  // NOLINT(cert-err09-cpp): thrown so
    velPark(caught);
  } catch (...) {
    velParkOther();
  }
  return onError;
}

template <class F>
void velGuard(F&& step) {
  velGuard(0, [&] {
    step();
    return 0;
  });
}

#endif  // VELSTD_CAPI_VELGUARD_H
