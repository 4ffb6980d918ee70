#include "thrmutex.h"

#include <type_traits>

#include "korabort.h"

// It may be used until the very end of the process.
static_assert(std::is_trivially_destructible<thrMutex>::value, "no destructor runs at exit");

namespace {

std::atomic<bool> threading{true};

}  // namespace

bool IsThreadingEnabled() { return threading.load(std::memory_order_relaxed); }

void korSetThreading(bool enabled) { threading.store(enabled, std::memory_order_relaxed); }

bool thrMutex::HasThreads() {
  int known = mode.load(std::memory_order_relaxed);
  if (known == kNotAsked) {
    const int asked = IsThreadingEnabled() ? kThreads : kNoThreads;
    // The first answer holds for all threads.
    if (mode.compare_exchange_strong(known, asked, std::memory_order_relaxed)) known = asked;
  }
  return known == kThreads;
}

void thrMutex::Lock() {
  if (!HasThreads()) return;
  const pthread_t self = pthread_self();
  if (owner.load(std::memory_order_relaxed) == self) {
    if (type != thrMutexRecursive) AbortMsgIllegalMutexOp();
    ++count;
    return;
  }
  if (pthread_mutex_lock(&mutex) != 0) AbortMsgIllegalMutexOp();
  owner.store(self, std::memory_order_relaxed);
  count = 1;
}

void thrMutex::Unlock() {
  if (!HasThreads()) return;
  if (owner.load(std::memory_order_relaxed) != pthread_self()) AbortMsgIllegalMutexOp();
  if (--count > 0) return;
  owner.store(0, std::memory_order_relaxed);
  pthread_mutex_unlock(&mutex);
}

void thrMutex::AbortMsgIllegalMutexOp() {
  _korAbort("Illegal mutex operation.", "korkit/korbase/src/thrmutex", 64);
}
