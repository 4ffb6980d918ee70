#include "velstdstreams.h"

#include <atomic>
#include <ios>
#include <ostream>

#include "velobjectmutex.h"

// As <iostream> declares them, which has a static object with a destructor, too.
namespace std {  // NOLINT(cert-dcl58-cpp)
extern ostream cout;
extern ostream cerr;
}  // namespace std

namespace {

std::atomic<bool> isSetUp{false};

// The first object of this class in the process sets the streams up, and they
// stay so until its end. The last one that goes flushes them: one that were
// kept would take that from a program whose output is buffered. A second one
// does not wait until the first is through, so threads take turns.
void SetUp() {
  if (isSetUp.load(std::memory_order_acquire)) return;
  const velObjectLock lock;
  const std::ios_base::Init setUp;
  isSetUp.store(true, std::memory_order_release);
}

}  // namespace

std::ostream& velStandardOutput() {
  SetUp();
  return std::cout;
}

std::ostream& velStandardError() {
  SetUp();
  return std::cerr;
}
