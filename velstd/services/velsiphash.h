// velsiphash.h - a hash that strangers cannot foresee.
//
// SipHash-1-3 (Aumasson, Bernstein: "SipHash: a fast short-input PRF", 2012; one round
// a word and three at the end): who does not know the seed cannot choose texts that
// collide.
// Threads: any.
#ifndef VELSTD_SERVICES_VELSIPHASH_H
#define VELSTD_SERVICES_VELSIPHASH_H

#include <cstddef>
#include <cstdint>

/// 128 bits that choose one of the functions.
struct velSipSeed {
  std::uint64_t words[2];

  /// A random one. Where there are no random numbers yet, early in the life of a
  /// machine, of the clock and of `address`, which are hard to guess.
  static velSipSeed fresh(const void* address) noexcept;
};

/// The hash of the `length` bytes at `text`, by that seed; the same on all machines.
std::uint64_t velSipHash(const velSipSeed& seed, const char* text, std::size_t length) noexcept;

#endif  // VELSTD_SERVICES_VELSIPHASH_H
