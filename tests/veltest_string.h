// veltest_string.h - helpers for the tests of strings and their buffers.
#ifndef VELSTD_TESTS_VELTEST_STRING_H
#define VELSTD_TESTS_VELTEST_STRING_H

#include <sys/mman.h>
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <map>
#include <string>
#include <type_traits>
#include <vector>

#include "veltest_locale.h"
#include "xstring.h"

/// The pointer with that address: 0, 1 and, in narrow text, 2 are no texts.
template <class Ch>
const Ch* At(std::uintptr_t address) {
  return reinterpret_cast<const Ch*>(address);
}

/// ASCII text in either width, in a heap block of exactly its size; lives as
/// long as the process.
template <class Ch>
const Ch* Lit(const std::string& ascii) {
  static auto* const texts = new std::map<std::string, std::vector<Ch>>;
  std::vector<Ch>& text = (*texts)[ascii];
  if (text.empty()) {
    text.reserve(ascii.size() + 1);
    text.assign(ascii.begin(), ascii.end());
    text.push_back(0);
  }
  return text.data();
}

/// The fields of a string, without a reference.
inline __xstring_c Fields(const xstring& text) { return text.getxstring_c_unattached(); }

inline korStrBuf* BufferOf(const xstring& text) { return Fields(text).buffer; }

/// The text in the form of width Ch, produced if missing.
template <class Ch>
const Ch* FormOf(const xstring& text) {
  return static_cast<const Ch*>(text);
}

/// What a string holds just now, as text; produces nothing:
///   null | null [narrow address] [wide address] | [shared] [narrow 'abc'] [wide 'abc']
/// where "shared" is the one empty buffer of the process.
inline std::string Holding(const xstring& text) {
  const __xstring_c view = Fields(text);
  const auto narrow = reinterpret_cast<std::uintptr_t>(view.narrow);
  const auto wide = reinterpret_cast<std::uintptr_t>(view.wide);
  if (!view.buffer) {
    if (narrow == 1 && wide == 1) return "null";
    return "null " + std::to_string(narrow) + ' ' + std::to_string(wide);
  }
  std::string held = view.buffer == BufferOf(xstring("")) ? "shared " : "";
  if (view.narrow) held += "narrow '" + std::string(view.narrow) + "' ";
  if (view.wide) held += "wide '" + Shown(view.wide) + "' ";
  if (held.empty()) return "nothing";
  held.pop_back();
  return held;
}

/// What Holding tells of a string that holds ASCII text in this form only.
template <class Ch>
std::string Only(const std::string& ascii) {
  return (std::is_same<Ch, char>::value ? "narrow '" : "wide '") + ascii + '\'';
}

/// Names the instances of a suite that runs for the widths char and wchar_t.
struct WidthName {
  template <class Ch>
  static std::string GetName(int) {
    return std::is_same<Ch, char>::value ? "narrow" : "wide";
  }
};

inline const char* const kSharedEmpty = "shared narrow '' wide ''";

/// A text of `length` times one character, 'a' if not told otherwise, that takes
/// addresses, but hardly any memory: a small block mapped again and again.
template <class Ch>
class HugeTextOf {
 public:
  explicit HugeTextOf(std::size_t length, Ch character = 'a') {
    const std::size_t blocks = length * sizeof(Ch) / kBlock + 1;
    size = blocks * kBlock;
    void* range =
        mmap(nullptr, size, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
    const int file = memfd_create("huge_text", 0);
    const std::vector<Ch> block(kBlock / sizeof(Ch), character);
    if (range == MAP_FAILED || file < 0 ||
        write(file, block.data(), kBlock) != static_cast<ssize_t>(kBlock)) {
      return;
    }
    start = static_cast<char*>(range);
    valid = true;
    for (std::size_t i = 0; i < blocks; ++i) {
      valid = valid && mmap(start + i * kBlock, kBlock, PROT_READ | PROT_WRITE,
                            MAP_PRIVATE | MAP_FIXED | MAP_NORESERVE, file, 0) != MAP_FAILED;
    }
    close(file);
    if (valid) Get()[length] = 0;
  }
  ~HugeTextOf() {
    if (start) munmap(start, size);
  }
  HugeTextOf(const HugeTextOf&) = delete;
  HugeTextOf& operator=(const HugeTextOf&) = delete;

  bool IsValid() const { return valid; }
  Ch* Get() const { return reinterpret_cast<Ch*>(start); }

 private:
  static constexpr std::size_t kBlock = std::size_t{16} << 20;

  char* start = nullptr;
  std::size_t size = 0;
  bool valid = false;
};

using HugeText = HugeTextOf<char>;

#endif  // VELSTD_TESTS_VELTEST_STRING_H
