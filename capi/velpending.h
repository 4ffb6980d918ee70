// velpending.h - the pending-exception record, from inside.
#ifndef VELSTD_CAPI_VELPENDING_H
#define VELSTD_CAPI_VELPENDING_H

/// Clears the record. Throws velXNotInitialized, with the record empty, when it
/// held the uninitialised address.
void velClearPending();

/// Makes the exception that is parked when memory has run out; the library does
/// it when it is loaded.
void velPrepareOutOfMemory();

#endif  // VELSTD_CAPI_VELPENDING_H
