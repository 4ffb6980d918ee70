#include "korstring.h"

#include <algorithm>
#include <charconv>
#include <climits>
#include <cstdint>
#include <cstring>
#include <cwchar>
#include <cwctype>
#include <memory>
#include <system_error>
#include <type_traits>

#include "korcharset.h"
#include "kormbcs.h"

namespace {

// ---- what the two widths do differently ------------------------------------

const char* FindText(const char* text, const char* part) { return std::strstr(text, part); }

const wchar_t* FindText(const wchar_t* text, const wchar_t* part) {
  for (;; ++text) {
    // The C library's search for one unit knows only its own width.
    if constexpr (sizeof(wchar_t) == 4) {
      text = *part == L'\0' ? text : std::wcschr(text, *part);
      if (!text) return nullptr;
    }
    std::size_t i = 0;
    while (part[i] != L'\0' && text[i] == part[i]) ++i;
    if (part[i] == L'\0') return text;
    if (*text == L'\0') return nullptr;
  }
}

// The set of separators; the terminator is none. A bit for each byte: a call that
// takes one word off a text should not have to fill a larger table first.
class NarrowSeparators {
 public:
  explicit NarrowSeparators(const char* list) {
    for (; list && *list != '\0'; ++list) bits[Index(*list) / 64] |= Bit(*list);
  }
  bool Has(char unit) const { return (bits[Index(unit) / 64] & Bit(unit)) != 0; }

 private:
  static std::size_t Index(char unit) { return static_cast<unsigned char>(unit); }
  static std::uint64_t Bit(char unit) { return std::uint64_t{1} << (Index(unit) % 64); }

  std::uint64_t bits[(UCHAR_MAX + 1) / 64] = {};
};

class WideSeparators {
 public:
  explicit WideSeparators(const wchar_t* separators) : list(separators) {}
  bool Has(wchar_t unit) const {
    for (const wchar_t* at = list; at && *at != L'\0'; ++at) {
      if (*at == unit) return true;
    }
    return false;
  }

 private:
  const wchar_t* list;
};

// How the matcher steps: by characters of the locale, or by units.
class NarrowSteps {
 public:
  std::size_t Length(const char* at, const char* end) const {
    return charset.GetLength(at, static_cast<std::size_t>(end - at));
  }

 private:
  korCharset charset;
};

struct WideSteps {
  static std::size_t Length(const wchar_t*, const wchar_t*) { return 1; }
};

template <class C>
struct Width;

template <>
struct Width<char> {
  using Separators = NarrowSeparators;
  using Steps = NarrowSteps;
};

template <>
struct Width<wchar_t> {
  using Separators = WideSeparators;
  using Steps = WideSteps;
};

// ---- copying ---------------------------------------------------------------

// Source and destination may overlap.
template <class C>
C* Put(C* dest, const C* source, std::size_t length) {
  if (dest != source && length > 0) std::memmove(dest, source, length * sizeof(C));
  return dest + length;
}

// ---- find and substitute ---------------------------------------------------

template <class C>
int Find(const C* textArg, const C* fromArg, int first, int count, std::size_t* offset) {
  const C* text = korText(textArg);
  const C* from = korText(fromArg);
  const std::size_t length = Strlen(from);
  if (!text || length == 0 || count == 0) return 0;
  int seen = 0;
  int found = 0;
  for (const C* at = FindText(text, from); at; at = FindText(at + length, from)) {
    if (++seen < first) continue;
    if (found == 0 && offset) *offset = static_cast<std::size_t>(at - text);
    if (++found == count) break;  // a negative count is never reached
  }
  return found;
}

template <class C>
void Substitute(C* dest, const C* sourceArg, const C* fromArg, const C* toArg, int first,
                int count) {
  if (!dest) return;
  const C* source = korText(sourceArg);
  if (!source) {
    *dest = C();
    return;
  }
  const C* from = korText(fromArg);
  const C* to = korText(toArg);
  const std::size_t fromLength = Strlen(from);
  const std::size_t toLength = Strlen(to);
  int seen = 0;
  int done = 0;
  // In place, writing never overtakes reading: `to` is not the longer one.
  while (fromLength > 0 && done != count) {
    const C* at = FindText(source, from);
    if (!at) break;
    const auto before = static_cast<std::size_t>(at - source);
    if (++seen < first) {
      dest = Put(dest, source, before + fromLength);
    } else {
      dest = Put(dest, source, before);
      dest = Put(dest, to, toLength);
      ++done;
    }
    source = at + fromLength;
  }
  Put(dest, source, Strlen(source) + 1);
}

// ---- words -----------------------------------------------------------------

template <class C>
struct Span {
  const C* start;
  const C* end;
};

// Finds the next word of `rest` and takes it off the front, with what lies
// before it.
template <class C>
bool TakeWord(Span<C>& rest, const typename Width<C>::Separators& separators, Span<C>* word) {
  while (rest.start < rest.end && separators.Has(*rest.start)) ++rest.start;
  if (rest.start >= rest.end) return false;
  word->start = rest.start;
  while (rest.start < rest.end && !separators.Has(*rest.start)) ++rest.start;
  word->end = rest.start;
  return true;
}

template <class C>
Span<C> WholeText(const C* text) {
  return {text, text + Strlen(text)};
}

template <class C>
bool GetWord(const C* textArg, int n, const C* separatorsArg, const C** start,
             std::size_t* length) {
  const C* text = korText(textArg);
  if (!text || n < 0) return false;
  const typename Width<C>::Separators separators(korText(separatorsArg));
  Span<C> rest = WholeText(text);
  Span<C> word;
  do {
    if (!TakeWord(rest, separators, &word)) return false;
  } while (n-- > 0);
  if (start) *start = word.start;
  if (length) *length = static_cast<std::size_t>(word.end - word.start);
  return true;
}

template <class C>
int CountWords(const C* textArg, const C* separatorsArg) {
  const C* text = korText(textArg);
  if (!text) return 0;
  const typename Width<C>::Separators separators(korText(separatorsArg));
  Span<C> rest = WholeText(text);
  Span<C> word;
  int words = 0;
  while (TakeWord(rest, separators, &word)) ++words;
  return words;
}

template <class C>
bool GetNextWord(const C* cursorArg, const C* endArg, const C* separatorsArg, const C** wordStart,
                 const C** wordEnd) {
  const C* cursor = korText(cursorArg);
  if (!cursor) return false;
  Span<C> rest = {cursor, endArg};
  // A cursor that stands for another text has that text's end.
  if (!endArg || cursor != cursorArg) rest = WholeText(cursor);
  const typename Width<C>::Separators separators(korText(separatorsArg));
  Span<C> word;
  if (!TakeWord(rest, separators, &word)) return false;
  if (wordStart) *wordStart = word.start;
  if (wordEnd) *wordEnd = word.end;
  return true;
}

// ---- match -----------------------------------------------------------------

template <class C>
bool Match(const C* textArg, const C* patternArg) {
  const C* text = korText(textArg);
  const C* pattern = korText(patternArg);
  if (!text || !pattern) return false;
  const typename Width<C>::Steps steps;
  const C* const textEnd = text + Strlen(text);
  const C* const patternEnd = pattern + Strlen(pattern);
  const C* afterStar = nullptr;  // pattern behind the last '*' met
  const C* retry = nullptr;      // where the text behind that run begins
  while (text < textEnd) {
    if (pattern < patternEnd && *pattern == C('*')) {
      afterStar = ++pattern;
      retry = text;
      continue;
    }
    if (pattern < patternEnd) {
      const std::size_t length = steps.Length(text, textEnd);
      if (*pattern == C('?')) {
        text += length;
        ++pattern;
        continue;
      }
      if (length == steps.Length(pattern, patternEnd) &&
          std::memcmp(text, pattern, length * sizeof(C)) == 0) {
        text += length;
        pattern += length;
        continue;
      }
    }
    // A longer run for the last '*' can do all that one for an earlier could.
    if (!afterStar) return false;
    retry += steps.Length(retry, textEnd);
    text = retry;
    pattern = afterStar;
  }
  while (pattern < patternEnd && *pattern == C('*')) ++pattern;
  return pattern == patternEnd;
}

// ---- numbers ---------------------------------------------------------------

template <class C>
bool IsBlank(C unit) {
  return unit == C(' ') || (unit >= C('\t') && unit <= C('\r'));
}

template <class C>
bool IsDigit(C unit) {
  return unit >= C('0') && unit <= C('9');
}

template <class C>
const C* SkipBlanks(const C* at) {
  while (IsBlank(*at)) ++at;
  return at;
}

template <class C>
const C* SkipDigits(const C* at) {
  while (IsDigit(*at)) ++at;
  return at;
}

template <class C>
bool ToInt(const C* textArg, int* value) {
  const C* at = korText(textArg);
  if (!at) return false;
  at = SkipBlanks(at);
  const bool negative = *at == C('-');
  if (negative || *at == C('+')) ++at;
  if (!IsDigit(*at)) return false;
  const std::int64_t limit = negative ? -std::int64_t{INT_MIN} : INT_MAX;
  std::int64_t number = 0;
  for (; IsDigit(*at); ++at) {
    number = number * 10 + static_cast<std::int64_t>(*at - C('0'));
    if (number > limit) return false;
  }
  if (*SkipBlanks(at) != C()) return false;
  if (value) *value = static_cast<int>(negative ? -number : number);
  return true;
}

// The number in a text, without white space and plus sign; empty when the
// text is not of the form of a number.
template <class C>
Span<C> FindNumber(const C* text) {
  const Span<C> none = {text, text};
  Span<C> number;
  const C* at = SkipBlanks(text);
  if (*at == C('+')) ++at;
  number.start = at;
  // A sign is one sign: behind a plus there is no minus.
  if (*at == C('-')) {
    if (at != text && at[-1] == C('+')) return none;
    ++at;
  }
  const C* digits = at;
  at = SkipDigits(at);
  bool hasDigits = at != digits;
  if (*at == C('.')) {
    const C* fraction = ++at;
    at = SkipDigits(at);
    hasDigits = hasDigits || at != fraction;
  }
  if (!hasDigits) return none;
  if (*at == C('e') || *at == C('E')) {
    ++at;
    if (*at == C('+') || *at == C('-')) ++at;
    if (!IsDigit(*at)) return none;
    at = SkipDigits(at);
  }
  number.end = at;
  return *SkipBlanks(at) == C() ? number : none;
}

bool ReadDouble(const char* start, const char* end, double* value) {
  double number = 0;
  const std::from_chars_result result = std::from_chars(start, end, number);
  if (result.ec != std::errc() || result.ptr != end) return false;
  if (value) *value = number;
  return true;
}

// ---- case ------------------------------------------------------------------

// What the current locale makes of a character.
template <bool kUpper>
char32_t OtherCase(char32_t character) {
  const auto asked = static_cast<std::wint_t>(character);
  return static_cast<char32_t>(kUpper ? std::towupper(asked) : std::towlower(asked));
}

// What nearly every locale makes of a unit of ASCII; the others are Turkish and its kin.
template <bool kUpper, class C>
constexpr C PlainCase(C unit) {
  using Unit = std::make_unsigned_t<C>;
  constexpr C kFirst = kUpper ? 'a' : 'A';
  constexpr C kLast = kUpper ? 'z' : 'Z';
  const bool isTurned = unit >= kFirst && unit <= kLast;
  return static_cast<C>(static_cast<Unit>(unit) ^ (isTurned ? 0x20U : 0U));
}

// Converts a text in blocks that compilers turn into vector instructions, as far as it is
// ASCII and the locale changes that plainly.
template <bool kUpper, class C>
class PlainBlocks {
 public:
  // Of `units` units; does nothing unless `allowed`, or if the text is too short to ask
  // the locale for all of ASCII.
  PlainBlocks(const C* text, std::size_t units, bool allowed)
      : end(text + units), next(allowed && units >= kWorthAsking ? text : end) {}

  // Converts the blocks that begin at `text`. Returns the first unit that is left, to be
  // converted one by one with those that follow it up to `until`. Where no block is all
  // ASCII they are looked at less and less often.
  C* Convert(C* text, const C** until) {
    while (text >= next && static_cast<std::size_t>(end - text) >= kUnits) {
      if (!IsAscii(text)) {
        next = text + std::min(pause, static_cast<std::size_t>(end - text));
        pause = std::min(2 * pause, kLongestPause);
      } else if (!hasAsked && !IsLocalePlain()) {
        next = end;
      } else {
        hasAsked = true;
        pause = kUnits;
        for (std::size_t i = 0; i < kUnits; ++i) text[i] = PlainCase<kUpper>(text[i]);
        text += kUnits;
      }
    }
    *until = text < next ? next : end;
    return text;
  }

 private:
  static constexpr std::size_t kUnits = 32;
  static constexpr std::size_t kWorthAsking = 512;
  static constexpr std::size_t kLongestPause = 512;

  static bool IsAscii(const C* text) {
    using Unit = std::make_unsigned_t<C>;
    Unit all = 0;
    for (std::size_t i = 0; i < kUnits; ++i) {
      all = static_cast<Unit>(all | static_cast<Unit>(text[i]));
    }
    return all < 0x80U;
  }
  static bool IsLocalePlain() {
    for (char32_t c = 0; c < 0x80; ++c) {
      if (OtherCase<kUpper>(c) != PlainCase<kUpper>(c)) return false;
    }
    return true;
  }

  const C* const end;
  const C* next;  // from where on a block is worth a look
  std::size_t pause = kUnits;
  bool hasAsked = false;
};

// What the locale makes of the units below `kUnits`, each asked for when it is
// met first. The C library is asked through a function a character, which is
// most of the work; a text has few different letters.
template <class C, std::size_t kUnits>
class KnownCases {
 public:
  template <class Ask>
  C Get(std::size_t unit, Ask ask) {
    if (known[unit] == C()) known[unit] = ask();
    return known[unit];
  }

 private:
  C known[kUnits] = {};
};

// The character of `length` bytes at `text` is written over by its other case if
// that has as many bytes.
template <bool kUpper>
inline void ConvertCharacter(const korCharset& charset, char* text, std::size_t length,
                             char32_t character) {
  char out[MB_LEN_MAX];
  const char32_t other = OtherCase<kUpper>(character);
  if (other == character || charset.Encode(other, out) != length) return;
  // Nearly all that have two cases are of two or three bytes: too few to call for.
  if (length == 2) {
    std::memcpy(text, out, 2);
  } else if (length == 3) {
    std::memcpy(text, out, 3);
  } else {
    std::memcpy(text, out, length);
  }
}

template <bool kUpper>
void ConvertCase(char* text) {
  // Null text has nothing to convert, and the text "uninit" is a literal.
  if (reinterpret_cast<std::uintptr_t>(text) <= 2) return;
  const korCharset charset;
  // Bytes below this one are characters on their own, wherever they stand.
  const std::size_t alone = charset.GetMaxBytes() == 1 ? UCHAR_MAX + 1U
                            : charset.IsAsciiSafe()    ? 0x80U
                                                       : 0;
  KnownCases<char, UCHAR_MAX + 1U> cases;
  const std::size_t bytes = std::strlen(text);
  const char* const end = text + bytes;
  PlainBlocks<kUpper, char> blocks(text, bytes, charset.IsAsciiSafe());
  const char* until;
  while ((text = blocks.Convert(text, &until)) < end) {
    while (text < until) {
      const auto left = static_cast<std::size_t>(end - text);
      char32_t character;
      const auto first = static_cast<unsigned char>(*text);
      if (first < alone) {
        *text = cases.Get(first, [&] {
          if (charset.Decode(text, left, &character) == 1) {
            ConvertCharacter<kUpper>(charset, text, 1, character);
          }
          return *text;
        });
        ++text;
        continue;
      }
      const std::size_t length = charset.Decode(text, left, &character);
      if (length > 0) ConvertCharacter<kUpper>(charset, text, length, character);
      text += length > 0 ? length : 1;  // an invalid byte stays
    }
  }
}

template <bool kUpper>
void ConvertCase(wchar_t* text) {
  if (!korText(text)) return;
  constexpr std::size_t kKnown = 0x80;
  KnownCases<wchar_t, kKnown> cases;
  const std::size_t units = Strlen(text);
  const wchar_t* const end = text + units;
  PlainBlocks<kUpper, wchar_t> blocks(text, units, true);
  const wchar_t* until;
  while ((text = blocks.Convert(text, &until)) < end) {
    for (; text < until; ++text) {
      const char32_t unit = korUnit(*text);
      const auto convert = [unit] {
        const char32_t other = OtherCase<kUpper>(unit);
        return static_cast<wchar_t>(sizeof(wchar_t) > 2 || other <= 0xFFFFU ? other : unit);
      };
      if (unit < kKnown) {
        *text = cases.Get(unit, convert);
      } else if (korIsCharacter(unit)) {  // not half of a pair
        *text = convert();
      }
    }
  }
}

}  // namespace

std::size_t Strlen(const wchar_t* text) {
  const wchar_t* plain = korText(text);
  if (!plain) return 0;
  // The C library's function knows only its own width.
  if constexpr (sizeof(wchar_t) == 4) return std::wcslen(plain);
  const wchar_t* end = plain;
  while (*end != L'\0') ++end;
  return static_cast<std::size_t>(end - plain);
}

char* Strnew__(const char* text) {
  const char* plain = korText(text);
  if (!plain) return nullptr;
  const std::size_t size = std::strlen(plain) + 1;
  char* copy = new char[size];
  std::memcpy(copy, plain, size);
  return copy;
}

char* Strnew(const char* text) { return Strnew__(text); }

char* StrneW(const wchar_t* text) {
  const wchar_t* plain = korText(text);
  if (!plain) return nullptr;
  const std::size_t units = Strlen(plain);
  const std::size_t bytes = korWcToMbLossy(nullptr, plain, units);
  char* copy = new char[bytes + 1];
  korWcToMbLossy(copy, plain, units);
  copy[bytes] = '\0';
  return copy;
}

int korStringFind(const char* text, const char* from, int first, int count, std::size_t* offset) {
  return Find(text, from, first, count, offset);
}

int korWStringFind(const wchar_t* text, const wchar_t* from, int first, int count,
                   std::size_t* offset) {
  return Find(text, from, first, count, offset);
}

void korStringSubstitute(char* dest, const char* source, const char* from, const char* to,
                         int first, int count) {
  Substitute(dest, source, from, to, first, count);
}

void korWStringSubstitute(wchar_t* dest, const wchar_t* source, const wchar_t* from,
                          const wchar_t* to, int first, int count) {
  Substitute(dest, source, from, to, first, count);
}

bool korStringGetWord(const char* text, int n, const char* separators, const char** start,
                      std::size_t* length) {
  return GetWord(text, n, separators, start, length);
}

bool korWStringGetWord(const wchar_t* text, int n, const wchar_t* separators, const wchar_t** start,
                       std::size_t* length) {
  return GetWord(text, n, separators, start, length);
}

int korStringGetNWords(const char* text, const char* separators) {
  return CountWords(text, separators);
}

int korWStringGetNWords(const wchar_t* text, const wchar_t* separators) {
  return CountWords(text, separators);
}

bool korStringGetNextWord(const char* cursor, const char* end, const char* separators,
                          const char** wordStart, const char** wordEnd) {
  return GetNextWord(cursor, end, separators, wordStart, wordEnd);
}

bool korWStringGetNextWord(const wchar_t* cursor, const wchar_t* end, const wchar_t* separators,
                           const wchar_t** wordStart, const wchar_t** wordEnd) {
  return GetNextWord(cursor, end, separators, wordStart, wordEnd);
}

int korStringFindSubstring(const char* textArg, const char* partArg) {
  const char* text = korText(textArg);
  const char* part = korText(partArg);
  const char* at = text && part ? FindText(text, part) : nullptr;
  return at ? static_cast<int>(korMbCharCount(text, static_cast<std::size_t>(at - text))) : -1;
}

int korWStringFindSubstring(const wchar_t* textArg, const wchar_t* partArg) {
  const wchar_t* text = korText(textArg);
  const wchar_t* part = korText(partArg);
  const wchar_t* at = text && part ? FindText(text, part) : nullptr;
  return at ? static_cast<int>(at - text) : -1;
}

bool korStringMatch(const char* text, const char* pattern) { return Match(text, pattern); }

bool korWStringMatch(const wchar_t* text, const wchar_t* pattern) { return Match(text, pattern); }

bool korStringToInt(const char* text, int* value) { return ToInt(text, value); }

bool korWStringToInt(const wchar_t* text, int* value) { return ToInt(text, value); }

bool korStringToDouble(const char* textArg, double* value) {
  const char* text = korText(textArg);
  if (!text) return false;
  const Span<char> number = FindNumber(text);
  return ReadDouble(number.start, number.end, value);
}

bool korWStringToDouble(const wchar_t* textArg, double* value) {
  const wchar_t* text = korText(textArg);
  if (!text) return false;
  const Span<wchar_t> number = FindNumber(text);
  const auto length = static_cast<std::size_t>(number.end - number.start);
  constexpr std::size_t kUsual = 64;
  char usual[kUsual] = {};
  std::unique_ptr<char[]> longer;
  if (length > kUsual) longer.reset(new char[length]);
  char* narrow = longer ? longer.get() : usual;
  // Only signs, digits, a point and an exponent mark are left: all ASCII.
  for (std::size_t i = 0; i < length; ++i) narrow[i] = static_cast<char>(number.start[i]);
  return ReadDouble(narrow, narrow + length, value);
}

void korStringToLower(char* text) { ConvertCase<false>(text); }
void korStringToUpper(char* text) { ConvertCase<true>(text); }
void korWStringToLower(wchar_t* text) { ConvertCase<false>(text); }
void korWStringToUpper(wchar_t* text) { ConvertCase<true>(text); }
