// velplaceset.h - a set of numbers below a bound that finds the nearest member.
//
// One bit a number, and above each row of words a row that tells which of them hold
// any bit, up to a row of one word: a search looks at one or two words of each row.
// Threads: no locks.
#ifndef VELSTD_SERVICES_VELPLACESET_H
#define VELSTD_SERVICES_VELPLACESET_H

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <new>

#include "koralloc.h"

class velPlaceSet {
 public:
  static constexpr unsigned kNone = 0xFFFFFFFF;

  /// An empty set of numbers below `bound` (at least 1), owned: give it back with
  /// korFree. Null without memory.
  static velPlaceSet* create(unsigned bound) noexcept {
    std::size_t words = 0;
    std::size_t row = bound;
    do {
      words += row = (row + 63) / 64;
    } while (row > 1);
    void* block = korAlloc(sizeof(velPlaceSet) + words * sizeof(std::uint64_t));
    return block ? new (block) velPlaceSet(bound, words) : nullptr;
  }

  /// These put a number below the bound in or take it out.
  void add(unsigned n) {
    for (const Row* row = rows; row <= last; ++row, n /= 64) (*row)[n / 64] |= Bit(n);
  }
  void remove(unsigned n) {
    for (const Row* row = rows; row <= last; ++row, n /= 64) {
      if ((*row)[n / 64] &= ~Bit(n)) return;
    }
  }

  /// The smallest member from `n` on, which is below the bound; or kNone.
  unsigned atOrAfter(unsigned n) const {
    const Row* row = rows;
    std::uint64_t bits = (*row)[n / 64] & (~std::uint64_t{0} << (n % 64));
    while (!bits) {
      if (row == last) return kNone;
      n /= 64;
      ++row;
      bits = n % 64 == 63 ? 0 : (*row)[n / 64] & (~std::uint64_t{0} << (n % 64 + 1));
    }
    n = n / 64 * 64 + static_cast<unsigned>(__builtin_ctzll(bits));
    while (row != rows) {
      --row;
      n = n * 64 + static_cast<unsigned>(__builtin_ctzll((*row)[n]));
    }
    return n;
  }

  /// The largest member up to `n`, which is below the bound; or kNone.
  unsigned atOrBefore(unsigned n) const {
    const Row* row = rows;
    std::uint64_t bits = (*row)[n / 64] & (~std::uint64_t{0} >> (63 - n % 64));
    while (!bits) {
      if (row == last) return kNone;
      n /= 64;
      ++row;
      bits = (*row)[n / 64] & (Bit(n) - 1);
    }
    n = n / 64 * 64 + 63 - static_cast<unsigned>(__builtin_clzll(bits));
    while (row != rows) {
      --row;
      n = n * 64 + 63 - static_cast<unsigned>(__builtin_clzll((*row)[n]));
    }
    return n;
  }

 private:
  using Row = std::uint64_t*;

  velPlaceSet(unsigned bound, std::size_t words) {
    auto* at = reinterpret_cast<std::uint64_t*>(this + 1);
    std::memset(at, 0, words * sizeof(std::uint64_t));
    last = rows;
    std::size_t row = (std::size_t{bound} + 63) / 64;
    for (*last = at; row != 1; row = (row + 63) / 64) {
      at += row;
      *++last = at;
    }
  }
  static std::uint64_t Bit(unsigned n) { return std::uint64_t{1} << (n % 64); }

  Row* last;    // the row of one word
  Row rows[6];  // 64^6 is beyond any bound
};

#endif  // VELSTD_SERVICES_VELPLACESET_H
