#include "velobjectmutex.h"

#include <atomic>

#include "xobject.h"

namespace {
std::atomic<thrMutex*> objectMutex{nullptr};
}

thrMutex* velObjectMutex() {
  if (thrMutex* made = objectMutex.load(std::memory_order_acquire)) return made;
  auto* mutex = new thrMutex(thrMutexRecursive);
  thrMutex* first = nullptr;
  if (objectMutex.compare_exchange_strong(first, mutex, std::memory_order_acq_rel)) return mutex;
  delete mutex;
  return first;
}

XobjectMutexAllocator::XobjectMutexAllocator() { velObjectMutex(); }
