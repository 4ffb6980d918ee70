// thrmutex.h - mutex that knows its owner, and the process's threading switch.
//
// Misuse ends the process instead of going unnoticed. A mutex built in static
// storage is ready before any initialiser runs, and its destructor does
// nothing, so it may be used during start-up and exit.
#ifndef VELSTD_KORBASE_THRMUTEX_H
#define VELSTD_KORBASE_THRMUTEX_H

#include <pthread.h>

#include <atomic>

#include "korapi.h"

/// Whether the owner may lock a mutex again.
enum thrMutexType : int {
  thrMutexNonRecursive = 0,  ///< a second lock by the owner aborts
  thrMutexRecursive = 1      ///< further locks by the owner are counted
};

/// What korSetThreading said last; true at the start. Any thread, any time.
VELSTD_API bool IsThreadingEnabled();

/// Switches threading on or off for the process. Each mutex asks at its first
/// lock and keeps the answer, so a program that means to switch it off does
/// so before it uses the library. Any thread, any time.
VELSTD_API void korSetThreading(bool enabled);

/// The mutex itself.
class VELSTD_API thrMutex {
 public:
  /// A free mutex of that kind.
  constexpr explicit thrMutex(thrMutexType kind) noexcept : type(kind) {}
  thrMutex(const thrMutex&) = delete;
  thrMutex& operator=(const thrMutex&) = delete;

  /// Waits until the calling thread owns the mutex. A recursive mutex counts
  /// the owner's further locks; a second lock of a non-recursive one by its
  /// owner aborts. Does nothing when threading was off at the first lock.
  void Lock();

  /// Takes back one Lock; the last one frees the mutex. Aborts when the
  /// calling thread is not the owner. Does nothing when threading was off at
  /// the first lock.
  void Unlock();

  /// Ends the process with "Illegal mutex operation.".
  [[noreturn]] static void AbortMsgIllegalMutexOp();

 private:
  enum Mode : int { kNotAsked = 0, kThreads = 1, kNoThreads = 2 };

  bool HasThreads();

  pthread_mutex_t mutex = PTHREAD_MUTEX_INITIALIZER;
  // The owning thread, 0 when free. Written by the owner only; another thread
  // reads either 0 or an id that is not its own.
  std::atomic<pthread_t> owner{0};
  int count = 0;  // locks of the owner; guarded by `mutex`
  const thrMutexType type;
  std::atomic<int> mode{kNotAsked};
};

#endif  // VELSTD_KORBASE_THRMUTEX_H
