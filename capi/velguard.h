// velguard.h - the calling rules of the C interface, once.
//
// Every function of the interface runs inside velGuard: nothing that is thrown
// passes it; it is parked in the pending-exception record and the preset comes
// back. Functions on collections begin by clearing the record.
#ifndef VELSTD_CAPI_VELGUARD_H
#define VELSTD_CAPI_VELGUARD_H

#include <cxxabi.h>

#include <exception>
#include <new>

#include "velexceptions.h"

/// Parks `caught`, with the reference that came with the throw. Never throws: an
/// exception that ending the old one raises takes its place.
void velPark(xthrowable* caught) noexcept;
/// Parks the "Out of memory" exception, which needs no memory.
void velParkOutOfMemory() noexcept;
/// Parks a velXNativeException with that text.
void velParkNative(const char* text) noexcept;
/// Parks a new exception as if it had been thrown. For complaints that are part
/// of ordinary work: a throw costs more than all the rest of a call.
void velParkNew(xthrowable* made);

/// Runs `step`; what it throws is parked and `onError` returned. An overload
/// without `onError` serves void calls.
/// A thread that ends inside `step` goes on ending. (The reference that its
/// handler binds is not to an object, which a sanitizer would complain of.)
template <class R, class F>
__attribute__((noinline, no_sanitize("null"))) R velGuard(R onError, F&& step) {
  try {
    return step();
  } catch (xthrowable* caught) {
    velPark(caught);
  } catch (const abi::__forced_unwind&) {
    throw;
  } catch (const std::bad_alloc&) {
    velParkOutOfMemory();
  } catch (const std::exception& foreign) {
    velParkNative(foreign.what());
  } catch (...) {
    velParkNative("Unknown exception");
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
