// The seeded hash against known answers. It is not exported: its source is part of
// this program.
#include "velsiphash.h"

#include <sys/random.h>
#include <sys/types.h>

#include <cerrno>
#include <cstring>
#include <memory>
#include <set>
#include <string>

#include "veltest.h"

namespace {

// What the function below does: gives bytes that count up from 1, few of them, or none.
enum class Random { kGood, kShort, kNone } random_ = Random::kGood;

}  // namespace

// In place of the system's.
ssize_t getrandom(void* buffer, size_t length, unsigned flags) {
  EXPECT_EQ(flags, unsigned{GRND_NONBLOCK});
  if (random_ == Random::kNone) {
    errno = EAGAIN;
    return -1;
  }
  if (random_ == Random::kShort) length /= 2;
  for (std::size_t i = 0; i < length; ++i) {
    static_cast<char*>(buffer)[i] = static_cast<char>(i + 1);
  }
  return static_cast<ssize_t>(length);
}

namespace {

constexpr velSipSeed kZero = {{0, 0}};
// The bytes 0 to 15, as in the examples of those who made the function.
constexpr velSipSeed kCounting = {{0x0706050403020100, 0x0F0E0D0C0B0A0908}};

// With the seed of zeros, these are the hashes of texts in Python 3.11 and later, run
// with PYTHONHASHSEED=0.
TEST(VelSipHash, GivesTheKnownAnswers) {
  const struct {
    std::string text;
    std::uint64_t byZero, byCounting;
  } rows[] = {
      {"", 0xd1fba762150c532c, 0xabac0158050fc4dc},
      {"a", 0x407448d2b89b1813, 0x1c2697ab786a6237},
      {"abcdefg", 0x6db12aae9070f506, 0x639b490caba831bb},
      {"abcdefgh", 0x3f7b849c0b8e35ea, 0x12d8c08c2ee9e620},
      {"abcdefghi", 0xf89b34a3d11eb6e5, 0x7e02bfd36e3aa6a2},
      {"K\xC3\xB6ln", 0x76ca927ef5fcd0ba, 0xf0c3657070399c73},
      {"The quick brown fox jumps over the lazy dog", 0x8df676d3d00c451e, 0x9bd930430f05b1ce},
      {std::string(300, 'x'), 0x2f58903130dc04e4, 0x6e6263f27d657465},
  };
  for (const auto& [text, byZero, byCounting] : rows) {
    SCOPED_TRACE(text);
    EXPECT_EQ(velSipHash(kZero, text.data(), text.size()), byZero);
    EXPECT_EQ(velSipHash(kCounting, text.data(), text.size()), byCounting);
  }
}

TEST(VelSipHash, ReadsNoMoreThanTheText) {
  const std::string text = "abcdefghijklmnop";
  for (std::size_t length = 0; length < text.size(); ++length) {
    // A block of its own, so that the address sanitizer sees its end.
    const std::unique_ptr<char[]> copy(new char[length]);
    std::memcpy(copy.get(), text.data(), length);
    EXPECT_EQ(velSipHash(kCounting, copy.get(), length),
              velSipHash(kCounting, text.data(), length));
  }
}

TEST(VelSipSeed, IsWhatTheSystemGives) {
  random_ = Random::kGood;
  const velSipSeed seed = velSipSeed::fresh(&random_);
  char bytes[sizeof seed];
  std::memcpy(bytes, &seed, sizeof seed);
  for (std::size_t i = 0; i < sizeof bytes; ++i) EXPECT_EQ(bytes[i], static_cast<char>(i + 1));
}

TEST(VelSipSeed, IsOfTheClockAndTheAddressWithoutRandomNumbers) {
  for (const Random without : {Random::kShort, Random::kNone}) {
    random_ = without;
    std::set<std::uint64_t> times;
    for (int i = 0; i < 100; ++i) {
      const velSipSeed seed = velSipSeed::fresh(&times);
      EXPECT_LT(seed.words[0], 1000000000U);  // nanoseconds
      EXPECT_EQ(seed.words[1], reinterpret_cast<std::uintptr_t>(&times));
      times.insert(seed.words[0]);
    }
    EXPECT_GT(times.size(), 1U);
  }
  random_ = Random::kGood;
}

}  // namespace
