// veltest_limit.h - processes that run out of memory, for death tests.
//
// The sanitizers need address space of their own: nothing is limited with them.
#ifndef VELSTD_TESTS_VELTEST_LIMIT_H
#define VELSTD_TESTS_VELTEST_LIMIT_H

#include <sys/resource.h>
#include <unistd.h>

#include <cstddef>
#include <cstdio>
#include <cstdlib>

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define VELTEST_SANITIZED 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
#define VELTEST_SANITIZED 1
#endif
#endif

/// Lets this process have `bytes` more address space than now.
inline void velLimitMemory([[maybe_unused]] std::size_t bytes) {
#ifndef VELTEST_SANITIZED
  std::size_t pages = 0;
  std::FILE* file = std::fopen("/proc/self/statm", "r");
  if (!file || std::fscanf(file, "%zu", &pages) != 1) _exit(90);
  std::fclose(file);
  rlimit limit;
  getrlimit(RLIMIT_AS, &limit);
  limit.rlim_cur = pages * static_cast<std::size_t>(sysconf(_SC_PAGESIZE)) + bytes;
  if (setrlimit(RLIMIT_AS, &limit) != 0) _exit(91);
#endif
}

#ifndef VELTEST_SANITIZED
/// Takes all memory that there is.
inline void velTakeAllMemory() {
  velLimitMemory(0);
  for (std::size_t size = std::size_t{1} << 24; size >= 16; size /= 2) {
    while (void* block = std::malloc(size)) *static_cast<volatile char*>(block) = 1;
  }
}
#endif

#endif  // VELSTD_TESTS_VELTEST_LIMIT_H
