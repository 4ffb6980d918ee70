// korcount.h - reference counts that are cheap while a process has one thread.
//
// Counts are atomics. As long as the C library says that the process has never
// had a second thread, a plain load and store does the work of a locked
// instruction at a tenth of the price.
#ifndef VELSTD_KORBASE_KORCOUNT_H
#define VELSTD_KORBASE_KORCOUNT_H

#include <sys/single_threaded.h>

#include <atomic>

/// True while no second thread has been started in this process.
inline bool korIsSingleThreaded() noexcept {
  return __builtin_expect(__libc_single_threaded != 0, 1);
}

/// Adds one to `count`; wraps, defined, at the top of its range.
template <class Int>
void korCountUp(std::atomic<Int>& count) noexcept {
  if (korIsSingleThreaded()) {
    const Int now = count.load(std::memory_order_relaxed);
    Int next;
    (void)__builtin_add_overflow(now, Int{1}, &next);
    count.store(next, std::memory_order_relaxed);
  } else {
    count.fetch_add(1, std::memory_order_relaxed);
  }
}

/// Takes one from `count` and returns what it was before. When that was 1 the
/// caller is the last owner and sees all that the others wrote.
template <class Int>
Int korCountDown(std::atomic<Int>& count) noexcept {
  if (korIsSingleThreaded()) {
    const Int before = count.load(std::memory_order_relaxed);
    count.store(before - 1, std::memory_order_relaxed);
    return before;
  }
  return count.fetch_sub(1, std::memory_order_acq_rel);
}

#endif  // VELSTD_KORBASE_KORCOUNT_H
