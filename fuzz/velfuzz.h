// velfuzz.h - what the fuzzers share: choices read out of bytes, and an end where
// the library and an oracle disagree.
//
// A fuzzer is one file <stem>_fuzz.cpp with a VEL_FUZZ. Built by Clang with
// VELSTD_FUZZ it is a libFuzzer program; otherwise replay.cpp runs it on its
// corpus and on inputs that are random and always the same.
#ifndef VELSTD_FUZZ_VELFUZZ_H
#define VELSTD_FUZZ_VELFUZZ_H

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "velstd.h"

/// The bytes of one input, taken from the front. After the last one everything is
/// 0, empty and false; so loops ask isEmpty.
class velFuzzInput {
 public:
  velFuzzInput(const std::uint8_t* data, std::size_t size) : at_(data), end_(data + size) {}

  bool isEmpty() const { return at_ == end_; }
  std::uint8_t byte() { return isEmpty() ? std::uint8_t{0} : *at_++; }
  bool flag() { return byte() & 1; }

  /// 0 to `n` - 1; `n` is 1 to 256.
  unsigned below(unsigned n) { return byte() % n; }
  /// `low` to `high`, at most 65,535 apart.
  int between(int low, int high) {
    const unsigned choices = static_cast<unsigned>(high - low) + 1;
    unsigned chosen = byte();
    if (choices > 256) chosen = chosen << 8U | byte();
    return low + static_cast<int>(chosen % choices);
  }
  /// Any number; those at the ends of a range come often.
  int number() {
    static constexpr int kEdges[] = {
        0,          1,   -1,    2,     31,         32,         33,
        255,        256, 65535, 65536, 2147483646, 2147483647, -2147483647 - 1,
        -2147483647};
    constexpr unsigned kCount = sizeof kEdges / sizeof *kEdges;
    const unsigned sort = byte();
    if (sort < kCount) return kEdges[sort];
    if (sort < 128) return static_cast<int>(sort) - 64;
    std::uint32_t bits = 0;
    for (int i = 0; i < 4; ++i) bits = bits << 8U | byte();
    return static_cast<int>(bits);
  }
  /// Any real number: also an infinite one, none, and minus 0.
  double real() {
    if (flag()) return number() / 8.0;
    std::uint64_t bits = 0;
    for (int i = 0; i < 8; ++i) bits = bits << 8U | byte();
    double value;
    std::memcpy(&value, &bits, sizeof value);
    return value;
  }
  /// Up to `most` (at most 255) bytes, none of them 0.
  std::string text(unsigned most) {
    std::string text(below(most + 1), '\0');
    for (char& c : text) c = static_cast<char>(byte());
    return text.substr(0, text.find('\0'));
  }

 private:
  const std::uint8_t* at_;
  const std::uint8_t* end_;
};

/// Ends the process where `condition` does not hold.
#define VEL_FUZZ_CHECK(condition)                                                 \
  do {                                                                            \
    if (!(condition)) velFuzzFail(__FILE__, __LINE__, #condition, std::string()); \
  } while (0)

/// Ends the process where the two texts differ, and shows them.
#define VEL_FUZZ_SAME(actual, expected)                                                        \
  do {                                                                                         \
    const std::string velActual(actual);                                                       \
    const std::string velExpected(expected);                                                   \
    if (velActual != velExpected) {                                                            \
      velFuzzFail(__FILE__, __LINE__, #actual, velActual + "\n--- expected:\n" + velExpected); \
    }                                                                                          \
  } while (0)

[[noreturn]] inline void velFuzzFail(const char* file, int line, const char* what,
                                     const std::string& more) {
  std::fprintf(stderr, "%s:%d: does not hold: %s\n%s\n", file, line, what, more.c_str());
  std::abort();
}

/// The exception that `act` throws, or null: one of the library's, with the only
/// reference to it that is left.
template <class Act>
xrchandle<xthrowable> velFuzzCaught(Act act) {
  try {
    act();
  } catch (xthrowable* exception) {
    const xrchandle<xthrowable> held(exception);
    xrcrelease(exception);
    VEL_FUZZ_CHECK(xrcgetcount(exception) == 1);
    return held;
  }
  return 0;
}

/// Begins the body of the fuzzer, which reads its choices from `input`.
#define VEL_FUZZ(input)                                                               \
  static void velFuzzOne(velFuzzInput input);                                         \
  extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);  \
  extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) { \
    velFuzzOne(velFuzzInput(data, size));                                             \
    return 0;                                                                         \
  }                                                                                   \
  static void velFuzzOne(velFuzzInput input)

#endif  // VELSTD_FUZZ_VELFUZZ_H
