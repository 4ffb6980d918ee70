// velfixedtext.h - texts that are compiled in, as strings.
//
//   xstring text = VEL_FIXED_TEXT("Message too long");
//
// All strings of one text share its buffer, which is there from the first moment
// on and is never freed: making one takes no memory and cannot fail.
// Threads: as copies of one string.
#ifndef VELSTD_SERVICES_VELFIXEDTEXT_H
#define VELSTD_SERVICES_VELFIXEDTEXT_H

#include <cstddef>

#include "korstrbuf.h"
#include "xstring.h"

template <std::size_t kSize>
class velFixedText {
 public:
  /// Constant-initialised, as long as it is not a local variable.
  constexpr explicit velFixedText(const char (&literal)[kSize])
      : view{&buffer, text, nullptr}, buffer(text, kSize, kSize - 1), text() {
    static_assert(kSize > 1, "the empty string has a buffer of its own");
    for (std::size_t i = 0; i < kSize; ++i) text[i] = literal[i];
  }
  velFixedText(const velFixedText&) = delete;
  velFixedText& operator=(const velFixedText&) = delete;

  operator xstring() noexcept { return xstring(view, true); }

 private:
  const __xstring_c view;
  // Its first reference is this object's own.
  korStrBuf buffer;
  char text[kSize];  // behind the buffer, where its text lies
};

/// A string of the literal `text`, which is not empty. Constant-initialised: the
/// variable has no guard and needs no initialiser.
#define VEL_FIXED_TEXT(text)         \
  ([]() -> xstring {                 \
    static velFixedText fixed(text); \
    return fixed;                    \
  }())

#endif  // VELSTD_SERVICES_VELFIXEDTEXT_H
