#include "velobjectmutex.h"

#include <atomic>

#include "xobject.h"

namespace {

std::atomic<thrMutex*> objectMutex{nullptr};
std::atomic<bool> loaded{false};

}  // namespace

thrMutex* velObjectMutex() {
  if (thrMutex* made = objectMutex.load(std::memory_order_acquire)) return made;
  auto* mutex = new thrMutex(thrMutexRecursive);
  thrMutex* first = nullptr;
  if (objectMutex.compare_exchange_strong(first, mutex, std::memory_order_acq_rel)) return mutex;
  delete mutex;
  return first;
}

bool velIsLoaded() { return loaded.load(std::memory_order_acquire); }

void velEndLoading() { loaded.store(true, std::memory_order_release); }

XobjectMutexAllocator::XobjectMutexAllocator() { velObjectMutex(); }
