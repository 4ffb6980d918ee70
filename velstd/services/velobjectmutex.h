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

/// False while the static initialisers of the library run, and before.
bool velIsLoaded();
/// Called by the last of them.
void velEndLoading();

/// Holds the mutex for a block. While the library is being loaded nobody else
/// can be inside it, and the mutex is left alone: it asks at its first lock
/// whether there are threads, and the program has had no chance to say.
class velObjectLock {
 public:
  velObjectLock() : mutex(velIsLoaded() ? velObjectMutex() : nullptr) {
    if (mutex) mutex->Lock();
  }
  ~velObjectLock() {
    if (mutex) mutex->Unlock();
  }
  velObjectLock(const velObjectLock&) = delete;
  velObjectLock& operator=(const velObjectLock&) = delete;

 private:
  thrMutex* mutex;
};

#endif  // VELSTD_SERVICES_VELOBJECTMUTEX_H
