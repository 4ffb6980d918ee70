// velbench.h - what the benchmark programs share.
//
// A program defines velbench::registerCases, which adds its cases by name:
//
//   void velbench::registerCases() {
//     addCounting("handle copy and drop", "velstd", [](benchmark::State& state) {...});
//     addCounting("handle copy and drop", "std::shared_ptr", [](...) {...});
//   }
//
// The cases of one work do the same with the same input, one for each side;
// table.py pairs them by name and sets "velstd" beside the best of the others.
// Each case tells how many items it has worked on; the table shows the processor
// time for one, so that other programs on the machine disturb less.
// Run with --second_thread, a program has a second, sleeping thread from the
// start, and only those cases that count references: libraries may count with
// plain loads and stores as long as a process never had one.
#ifndef VELSTD_BENCH_VELBENCH_H
#define VELSTD_BENCH_VELBENCH_H

#include <benchmark/benchmark.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace velbench {

/// Defined by each program.
void registerCases();

/// To the compiler: `value` is read here, and anything that it or other memory
/// holds may have changed. benchmark::DoNotOptimize is not used: with g++ 12 it
/// has been seen to give back a value that was never initialised.
template <class T>
inline void keep(const T& value) {
  __asm__ volatile("" : : "r"(&value) : "memory");
}

/// `value`, of which the compiler knows nothing any more; for integers and pointers.
template <class T>
inline T opaque(T value) {
  __asm__ volatile("" : "+r"(value));
  return value;
}

/// Ends the program with `what` unless `holds`: a case that does not do its work
/// has no time.
void check(bool holds, const char* what);

/// Seconds of processor time that this thread has used.
double threadSeconds();

/// Bytes that malloc has handed out, its own heads included.
double allocatedBytes();

/// The words of a large dictionary, in an order that is the same in every run.
const std::vector<std::string>& words();

/// Names of countries in many languages and scripts, as UTF-8;
/// in an order that is the same in every run.
const std::vector<std::string>& countryNames();

/// `values` in another order, the same in every run; `seed` chooses it.
template <class T>
void shuffle(std::vector<T>& values, std::uint32_t seed) {
  // Written out, since the standard leaves open what std::shuffle does.
  std::uint64_t state = seed;
  for (std::size_t i = values.size(); i > 1; --i) {
    state = state * 6364136223846793005U + 1442695040888963407U;
    std::swap(values[i - 1], values[static_cast<std::size_t>((state >> 33U) % i)]);
  }
}

std::string caseName(const char* work, const char* side);

/// Whether this process has a second thread.
bool isSecondThread();

/// Whether a case runs in this process: with a second thread, only those that
/// count references do.
bool isWanted(bool counting);

/// Adds a case that counts no references.
template <class Body>
void add(const char* work, const char* side, Body body) {
  if (isWanted(false)) benchmark::RegisterBenchmark(caseName(work, side).c_str(), body);
}

/// Adds a case that counts references.
template <class Body>
void addCounting(const char* work, const char* side, Body body) {
  if (isWanted(true)) benchmark::RegisterBenchmark(caseName(work, side).c_str(), body);
}

/// Adds a case that two threads run at the same time; it is one of those that run
/// with a second thread. Their loops begin and end together.
template <class Body>
void addContended(const char* work, const char* side, Body body) {
  if (!isSecondThread()) return;
  isWanted(true);
  benchmark::RegisterBenchmark(caseName(work, side).c_str(), body)->Threads(2);
}

/// Adds a case whose body tells the time itself, through `timed`.
template <class Body>
void addTimed(const char* work, const char* side, bool counting, Body body) {
  if (!isWanted(counting)) return;
  benchmark::RegisterBenchmark(caseName(work, side).c_str(), body)->UseManualTime();
}

/// Adds a case whose body runs once in each repetition, counts no references, and
/// tells its figure itself: the time, or a counter "bytes" or "ratio".
template <class Body>
void addOnce(const char* work, const char* side, Body body) {
  if (!isWanted(false)) return;
  benchmark::RegisterBenchmark(caseName(work, side).c_str(), body)->UseManualTime()->Iterations(1);
}

/// Runs step(0) to step(n - 1) again and again; one step is one item.
template <class Step>
void repeat(benchmark::State& state, int n, Step step) {
  for (auto _ : state) {
    for (int i = 0; i < n; ++i) step(i);
  }
  state.SetItemsProcessed(state.iterations() * n);
}

/// Measures `step(subject)`, which works on `items` items, but not
/// `subject = make()` before and the end of the subject after it.
template <class Make, class Step>
void timed(benchmark::State& state, int items, Make make, Step step) {
  for (auto _ : state) {
    auto subject = make();
    const double begin = threadSeconds();
    step(subject);
    state.SetIterationTime(threadSeconds() - begin);
  }
  state.SetItemsProcessed(state.iterations() * items);
}

}  // namespace velbench

#endif  // VELSTD_BENCH_VELBENCH_H
