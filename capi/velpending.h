// velpending.h - the pending-exception record, from inside.
#ifndef VELSTD_CAPI_VELPENDING_H
#define VELSTD_CAPI_VELPENDING_H

#include <atomic>

class xthrowable;

/// One for the process. It owns a reference on what it holds, if that is of a
/// counted class; the uninitialised address is held unread.
extern std::atomic<xthrowable*> velPending;

/// Ends what the record holds. Throws velXNotInitialized, with the record empty,
/// when that is the uninitialised address.
void velEndPending();

/// Clears the record, as every call on a collection does first of all. Mostly
/// there is nothing: a look in line costs less than a locked exchange.
inline void velClearPending() {
  if (velPending.load(std::memory_order_acquire)) velEndPending();
}

/// Makes the exception that is parked when memory has run out; the library does
/// it when it is loaded.
void velPrepareOutOfMemory();

#endif  // VELSTD_CAPI_VELPENDING_H
