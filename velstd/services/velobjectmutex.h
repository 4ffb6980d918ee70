// velobjectmutex.h - the global object mutex.
//
// One recursive mutex for the process. It guards the first making of class
// descriptors; counts are atomic and need none. It is made when the library is
// loaded, or by the first that asks, and never destroyed.
#ifndef VELSTD_SERVICES_VELOBJECTMUTEX_H
#define VELSTD_SERVICES_VELOBJECTMUTEX_H

#include "thrmutex.h"

/// The mutex, made if it does not exist. Never null.
thrMutex* velObjectMutex();

/// Holds the mutex for a block.
class velObjectLock {
 public:
  velObjectLock() : mutex(velObjectMutex()) { mutex->Lock(); }
  ~velObjectLock() { mutex->Unlock(); }
  velObjectLock(const velObjectLock&) = delete;
  velObjectLock& operator=(const velObjectLock&) = delete;

 private:
  thrMutex* mutex;
};

#endif  // VELSTD_SERVICES_VELOBJECTMUTEX_H
