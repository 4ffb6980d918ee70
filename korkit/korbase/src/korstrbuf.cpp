#include "korstrbuf.h"

#include <cstdlib>
#include <cstring>
#include <new>

#include "koralloc.h"
#include "korcharset.h"
#include "korcount.h"
#include "kormbcs.h"
#include "korstrbufalloc.h"
#include "korstring.h"

namespace {

template <class Ch>
struct Width;
template <>
struct Width<char> {
  using Other = wchar_t;
  static constexpr auto ConvertAscii = korAsciiNarrow;
  static constexpr auto LengthIfValid = korUtf8NarrowLength;
  static constexpr auto ConvertValid = korUtf8Narrow;
  static constexpr auto Convert = korWcToMbLossy;
};
template <>
struct Width<wchar_t> {
  using Other = char;
  static constexpr auto ConvertAscii = korAsciiWiden;
  static constexpr auto LengthIfValid = korUtf8WideLength;
  static constexpr auto ConvertValid = korUtf8Widen;
  static constexpr auto Convert = korMbToWcLossy;
};

template <class Ch>
Ch* NewText(std::size_t length) {
  if (length > korStrBuf::kMaxLength) velThrowSizeLimit();
  void* block = korAlloc((length + 1) * sizeof(Ch));
  if (!block) throw std::bad_alloc();
  return static_cast<Ch*>(block);
}

// The text in the other form, in a block of its own. Most text is ASCII and keeps
// its length: where it begins so, this is tried first. What valid UTF-8 becomes
// is known from a look at its units. Only what is left is converted twice, once
// to see how long it becomes.
template <class Ch, class Other>
Ch* NewForm(const Other* source, std::size_t units) {
  using W = Width<Ch>;
  const korCharset charset;
  constexpr std::size_t kBeginning = 64;
  const std::size_t beginning = units < kBeginning ? units : kBeginning;
  if (charset.IsAsciiSafe() && W::ConvertAscii(nullptr, source, beginning) == beginning) {
    auto* made = NewText<Ch>(units);
    if (W::ConvertAscii(made, source, units) == units) {
      made[units] = 0;
      return made;
    }
    korFree(made);
  }
  const std::size_t expected = charset.IsUtf8() ? W::LengthIfValid(source, units) : 0;
  if (expected > 0 && expected <= korStrBuf::kMaxLength) {
    auto* made = NewText<Ch>(expected);
    const korProgress done = W::ConvertValid(made, source, units);
    if (done.taken == units) {
      made[done.given] = 0;
      return made;
    }
    korFree(made);
  }
  const std::size_t length = W::Convert(nullptr, source, units);
  auto* made = NewText<Ch>(length);
  W::Convert(made, source, units);
  made[length] = 0;
  return made;
}

}  // namespace

template <>
std::atomic<char*>& korStrBuf::Text<char>() {
  return narrowText;
}
template <>
std::atomic<wchar_t*>& korStrBuf::Text<wchar_t>() {
  return wideText;
}

korStrBuf* korStrBuf::AllocMB(std::size_t size, char** narrow) { return Alloc(size, narrow); }
korStrBuf* korStrBuf::AllocWC(std::size_t size, wchar_t** wide) { return Alloc(size, wide); }

// The conversion runs on the side; whoever publishes first wins, so that a form
// that was once handed out never moves while the buffer is shared.
template <class Ch>
Ch* korStrBuf::ProduceForm() {
  std::atomic<Ch*>& mine = Text<Ch>();
  if (Ch* ready = mine.load(std::memory_order_acquire)) return ready;
  using Other = typename Width<Ch>::Other;
  const Other* source = Text<Other>().load(std::memory_order_acquire);
  Ch* made = NewForm<Ch>(source, GetLength(source));
  Ch* published = nullptr;
  if (mine.compare_exchange_strong(published, made, std::memory_order_acq_rel)) return made;
  korFree(made);
  return published;
}

korStrBuf* korStrBuf::Produce(char** narrow, wchar_t** wide) {
  const bool both = !narrow && !wide;
  if (narrow || both) {
    char* form = ProduceForm<char>();
    if (narrow) *narrow = form;
  }
  if (wide || both) {
    wchar_t* form = ProduceForm<wchar_t>();
    if (wide) *wide = form;
  }
  return this;
}

template <class Ch>
korStrBuf* korStrBuf::Resize(std::size_t size, Ch** text, int keep) {
  Ch* old = keep ? ProduceForm<Ch>() : Text<Ch>().load(std::memory_order_acquire);
  const bool shared = IsShared();
  if (!shared && IsInline(old) && size <= room) {
    if (keep && size >= sizeof(Ch)) old[size / sizeof(Ch) - 1] = 0;
    knownLength = 0;
    *text = old;
    return this;
  }
  // A text that outgrows its buffer is being built up: doubling, up to the
  // longest text, keeps a long row of appends linear.
  constexpr std::size_t kMaxSize = (kMaxLength + 1) * sizeof(Ch);
  std::size_t wanted = size;
  if (!shared && IsInline(old) && size <= kMaxSize && size < 2 * room) {
    wanted = 2 * room < kMaxSize ? 2 * room : kMaxSize;
  }
  Ch* fresh;
  korStrBuf* buffer = Alloc(wanted, &fresh);
  if (keep) {
    std::size_t length = GetLength(old);
    const std::size_t most = size < sizeof(Ch) ? 0 : size / sizeof(Ch) - 1;
    if (length > most) length = most;
    std::memcpy(fresh, old, length * sizeof(Ch));
    fresh[length] = 0;
  } else {
    fresh[0] = 0;
  }
  Release();
  *text = fresh;
  return buffer;
}

korStrBuf* korStrBuf::ResizeMB(std::size_t size, char** narrow, int keep) {
  return Resize(size, narrow, keep);
}
korStrBuf* korStrBuf::ResizeWC(std::size_t size, wchar_t** wide, int keep) {
  return Resize(size, wide, keep);
}

void korStrBuf::Commit() {
  knownLength = 0;
  // Only the form behind the header is ever edited, so the stale one has a
  // block of its own.
  if (IsInline(narrowText.load(std::memory_order_relaxed))) {
    korFree(wideText.exchange(nullptr, std::memory_order_relaxed));
  } else {
    korFree(narrowText.exchange(nullptr, std::memory_order_relaxed));
  }
}

void korStrBuf::CommitLength(std::size_t length) {
  Commit();
  knownLength = length;
}

std::size_t korStrBuf::GetLength(const char* text) const {
  const std::size_t known = KnownLength(text);
  return known > 0 ? known : Strlen(text);
}

std::size_t korStrBuf::GetLength(const wchar_t* text) const {
  const std::size_t known = KnownLength(text);
  return known > 0 ? known : Strlen(text);
}

template <class Ch>
bool korStrBuf::ReuseForm(const Ch* text, std::size_t length) noexcept {
  if (!IsInline(text) || IsShared()) return false;
  // A large buffer is no place to keep a small text in.
  constexpr std::size_t kSmall = 64;
  constexpr std::size_t kTimes = 4;
  const std::size_t size = (length + 1) * sizeof(Ch);
  if (size > room || (room > kSmall && room / kTimes > size)) return false;
  CommitLength(length);
  return true;
}
template bool korStrBuf::ReuseForm(const char* text, std::size_t length) noexcept;
template bool korStrBuf::ReuseForm(const wchar_t* text, std::size_t length) noexcept;

void korStrBuf::Attach(char** narrow, wchar_t** wide) {
  AddReference();
  if (narrow) *narrow = narrowText.load(std::memory_order_acquire);
  if (wide) *wide = wideText.load(std::memory_order_acquire);
}

void korStrBuf::Release() { DropReference(); }

void korStrBuf::Free() noexcept {
  const char* const narrow = narrowText.load(std::memory_order_relaxed);
  const wchar_t* const wide = wideText.load(std::memory_order_relaxed);
  // One of the two lies behind the header, always; most texts have no other.
  const auto other = reinterpret_cast<std::uintptr_t>(narrow) ^
                     reinterpret_cast<std::uintptr_t>(wide) ^
                     reinterpret_cast<std::uintptr_t>(this + 1);
  if (other != 0) korFree(reinterpret_cast<void*>(other));
  korpool::Free(this, sizeof(korStrBuf) + room);
}
