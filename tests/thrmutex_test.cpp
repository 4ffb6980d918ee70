#include "thrmutex.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <thread>
#include <vector>

namespace {

thrMutex startMutex(thrMutexRecursive);

// Locks before main, from a static initialiser.
struct LockAtStart {
  LockAtStart() {
    startMutex.Lock();
    startMutex.Lock();
    ++count;
    startMutex.Unlock();
    startMutex.Unlock();
  }
  int count = 0;
} lockAtStart;

// Switches threading for the life of a test.
class Threading {
 public:
  explicit Threading(bool enabled) { korSetThreading(enabled); }
  ~Threading() { korSetThreading(true); }
  Threading(const Threading&) = delete;
  Threading& operator=(const Threading&) = delete;
};

// Runs `step` in another thread and waits for it.
template <class Step>
void Elsewhere(Step step) {
  std::thread thread(step);
  thread.join();
}

TEST(ThrMutex, TypesHaveFixedValues) {
  EXPECT_EQ(static_cast<int>(thrMutexNonRecursive), 0);
  EXPECT_EQ(static_cast<int>(thrMutexRecursive), 1);
}

TEST(ThrMutex, WorksInStaticInitialisers) { EXPECT_EQ(lockAtStart.count, 1); }

TEST(ThrMutex, ThreadingIsOnAtTheStart) {
  EXPECT_TRUE(IsThreadingEnabled());
  {
    Threading off(false);
    EXPECT_FALSE(IsThreadingEnabled());
  }
  EXPECT_TRUE(IsThreadingEnabled());
}

// Adds up a plain counter from 8 threads, with `depth` locks at a time.
long long CountTogether(thrMutex& mutex, int depth) {
  long long total = 0;
  std::vector<std::thread> threads;
  for (int t = 0; t < 8; ++t) {
    threads.emplace_back([&] {
      for (int i = 0; i < 20000; ++i) {
        for (int d = 0; d < depth; ++d) mutex.Lock();
        ++total;
        for (int d = 0; d < depth; ++d) mutex.Unlock();
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  return total;
}

TEST(ThrMutex, ExcludesOtherThreads) {
  thrMutex plain(thrMutexNonRecursive);
  EXPECT_EQ(CountTogether(plain, 1), 160000);
  thrMutex recursive(thrMutexRecursive);
  EXPECT_EQ(CountTogether(recursive, 3), 160000);
}

TEST(ThrMutex, StaysOwnedUntilTheLastUnlock) {
  thrMutex mutex(thrMutexRecursive);
  std::atomic<bool> entered{false};
  mutex.Lock();
  mutex.Lock();
  std::thread other([&] {
    mutex.Lock();
    entered = true;
    mutex.Unlock();
  });
  mutex.Unlock();
  std::this_thread::sleep_for(std::chrono::milliseconds(50));
  EXPECT_FALSE(entered);
  mutex.Unlock();
  other.join();
  EXPECT_TRUE(entered);
}

TEST(ThrMutex, CanBeLockedAgainAfterUnlock) {
  thrMutex mutex(thrMutexNonRecursive);
  for (int i = 0; i < 3; ++i) {
    mutex.Lock();
    mutex.Unlock();
  }
  Elsewhere([&] {
    mutex.Lock();
    mutex.Unlock();
  });
}

TEST(ThrMutex, DoesNothingWhenThreadingWasOffAtTheFirstLock) {
  thrMutex mutex(thrMutexNonRecursive);
  {
    Threading off(false);
    mutex.Lock();
  }
  // The answer is kept: no owner, no misuse, nobody waits.
  mutex.Lock();
  mutex.Lock();
  Elsewhere([&] {
    mutex.Lock();
    mutex.Unlock();
    mutex.Unlock();
  });
}

TEST(ThrMutex, AsksAtTheFirstLockNotAtConstruction) {
  Threading off(false);
  thrMutex mutex(thrMutexNonRecursive);
  korSetThreading(true);
  EXPECT_EQ(CountTogether(mutex, 1), 160000);
}

TEST(ThrMutex, KeepsExcludingWhenThreadingGoesOffLater) {
  thrMutex mutex(thrMutexRecursive);
  mutex.Lock();
  mutex.Unlock();
  Threading off(false);
  EXPECT_EQ(CountTogether(mutex, 2), 160000);
}

}  // namespace
