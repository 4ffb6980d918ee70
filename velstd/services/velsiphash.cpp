#include "velsiphash.h"

#include <endian.h>
#include <sys/random.h>

#include <cstring>
#include <ctime>

#include "velwraps.h"

namespace {

std::uint64_t Rotated(std::uint64_t n, int by) { return n << by | n >> (64 - by); }

struct State {
  std::uint64_t a, b, c, d;

  explicit State(const velSipSeed& seed)
      : a(seed.words[0] ^ 0x736f6d6570736575U),
        b(seed.words[1] ^ 0x646f72616e646f6dU),
        c(seed.words[0] ^ 0x6c7967656e657261U),
        d(seed.words[1] ^ 0x7465646279746573U) {}

  // Sums are modulo 2^64, as the function is defined.
  VEL_WRAPS void round() {
    a += b;
    c += d;
    b = Rotated(b, 13) ^ a;
    d = Rotated(d, 16) ^ c;
    a = Rotated(a, 32);
    c += b;
    a += d;
    b = Rotated(b, 17) ^ c;
    d = Rotated(d, 21) ^ a;
    c = Rotated(c, 32);
  }
  // The first byte of a text is the lowest of its word.
  void word(std::uint64_t w) {
    w = le64toh(w);
    d ^= w;
    round();
    a ^= w;
  }
};

}  // namespace

velSipSeed velSipSeed::fresh(const void* address) noexcept {
  velSipSeed seed;
  constexpr ssize_t kAll = sizeof seed.words;
  if (getrandom(seed.words, kAll, GRND_NONBLOCK) == kAll) return seed;
  timespec now = {};
  clock_gettime(CLOCK_MONOTONIC, &now);
  return {{static_cast<std::uint64_t>(now.tv_nsec), reinterpret_cast<std::uintptr_t>(address)}};
}

std::uint64_t velSipHash(const velSipSeed& seed, const char* text, std::size_t length) noexcept {
  State state(seed);
  std::size_t at = 0;
  for (; at + 8 <= length; at += 8) {
    std::uint64_t word;
    std::memcpy(&word, text + at, sizeof word);
    state.word(word);
  }
  // What is left, and the length in the eighth byte.
  std::uint64_t rest = htole64(std::uint64_t{length} << 56);
  std::memcpy(&rest, text + at, length - at);
  state.word(rest);
  state.c ^= 0xFF;
  for (int i = 0; i < 3; ++i) state.round();
  return state.a ^ state.b ^ state.c ^ state.d;
}
