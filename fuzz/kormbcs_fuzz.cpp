// Conversion and counting of text that need not be valid, in three locales, and the
// marker for text that does not convert, against the C library's conversion of one
// character at a time.
#include "kormbcs.h"

#include <climits>
#include <cuchar>
#include <cwchar>
#include <string>
#include <vector>

#include "velfuzz.h"
#include "veltest_locale.h"
#include "xescape.h"

namespace {

constexpr std::size_t kInvalid = static_cast<std::size_t>(-1);
using Units = std::vector<wchar_t>;

// ---- the oracle ----

// One piece of narrow text: a character, or a byte that is part of none.
struct Piece {
  std::size_t bytes;
  bool isValid;
  char32_t character;
};

std::vector<Piece> Pieces(const std::string& text) {
  std::vector<Piece> pieces;
  for (std::size_t at = 0; at < text.size(); at += pieces.back().bytes) {
    std::mbstate_t state = {};
    char32_t character = 0;
    const std::size_t took = std::mbrtoc32(&character, text.data() + at, text.size() - at, &state);
    // The C library takes values beyond Unicode.
    if (took <= text.size() - at && took > 0 && character <= 0x10FFFF) {
      pieces.push_back({took, true, character});
    } else {
      pieces.push_back({1, text[at] == 0, text[at] ? U'?' : U'\0'});
    }
  }
  return pieces;
}

void Put(Units& units, char32_t character) {
  if (sizeof(wchar_t) == 2 && character > 0xFFFF) {
    units.push_back(static_cast<wchar_t>(0xD800 + ((character - 0x10000) >> 10U)));
    character = 0xDC00 + (character & 0x3FF);
  }
  units.push_back(static_cast<wchar_t>(character));
}

// A character in narrow form, empty where it has none.
std::string Narrow(char32_t character) {
  if (character > 0x10FFFF || (character >= 0xD800 && character <= 0xDFFF)) return {};
  char bytes[MB_LEN_MAX];
  std::mbstate_t state = {};
  const std::size_t made = std::c32rtomb(bytes, character, &state);
  return made == kInvalid ? std::string() : std::string(bytes, made);
}

// The characters of wide text; each unit that is none by itself.
std::vector<char32_t> Characters(const Units& units) {
  std::vector<char32_t> characters;
  for (std::size_t i = 0; i < units.size(); ++i) {
    char32_t c = sizeof(wchar_t) == 2 ? static_cast<std::uint16_t>(units[i])
                                      : static_cast<std::uint32_t>(units[i]);
    if (sizeof(wchar_t) == 2 && c >= 0xD800 && c < 0xDC00 && i + 1 < units.size()) {
      const char32_t next = static_cast<std::uint16_t>(units[i + 1]);
      if (next >= 0xDC00 && next < 0xE000) {
        c = 0x10000 + ((c - 0xD800) << 10U) + (next - 0xDC00);
        ++i;
      }
    }
    characters.push_back(c);
  }
  return characters;
}

// ---- the checks ----

void CheckNarrow(const std::string& text, std::size_t limit, int n) {
  const std::vector<Piece> pieces = Pieces(text);
  Units lossy;
  bool isValid = true;
  for (const Piece& piece : pieces) {
    Put(lossy, piece.character);
    isValid = isValid && piece.isValid;
  }
  Units made(korMbToWcLossy(nullptr, text.data(), text.size()));
  VEL_FUZZ_CHECK(made.size() == lossy.size());
  VEL_FUZZ_CHECK(korMbToWcLossy(made.data(), text.data(), text.size()) == made.size());
  VEL_FUZZ_CHECK(made == lossy);
  VEL_FUZZ_CHECK(korMbCharCount(text.data(), text.size()) == pieces.size());

  unsigned char flag = 7;
  const xstring escaped = escapeOOL(text.c_str(), &flag);
  VEL_FUZZ_CHECK(flag == (isValid ? 0 : 1));
  VEL_FUZZ_SAME(escaped.CastToCString(), isValid ? text : "<<<OUT OF LOCALE>>>");

  // Up to the terminator, with a limit that whole characters keep to.
  VEL_FUZZ_CHECK(kor_mbstowcs(nullptr, text.c_str(), 0) == (isValid ? lossy.size() : kInvalid));
  Units within;
  bool isReached = true;  // whether the end of the text is
  bool isGood = true;
  for (const Piece& piece : pieces) {
    Units next;
    Put(next, piece.character);
    isReached = within.size() + next.size() <= limit;
    if (!isReached) break;
    isGood = isGood && piece.isValid;
    within.insert(within.end(), next.begin(), next.end());
  }
  Units place(limit + 1, L'#');
  const std::size_t converted = kor_mbstowcs(place.data(), text.c_str(), limit);
  if (isGood && (isReached || isValid)) {
    VEL_FUZZ_CHECK(converted == within.size());
    VEL_FUZZ_CHECK(std::equal(within.begin(), within.end(), place.begin()));
    if (isReached && within.size() < limit) VEL_FUZZ_CHECK(place[within.size()] == 0);
  } else if (!isGood) {
    VEL_FUZZ_CHECK(converted == kInvalid);
  }
  VEL_FUZZ_CHECK(place[limit] == L'#');

  std::size_t bytes = 0;
  for (std::size_t i = 0; i < pieces.size() && static_cast<int>(i) < n; ++i) {
    bytes += pieces[i].bytes;
  }
  VEL_FUZZ_CHECK(kor_mbsnbcnt(text.c_str(), n) == bytes);
}

void CheckWide(const Units& text, std::size_t limit) {
  std::string lossy;
  std::string within;
  bool isValid = true;
  bool isGood = true;
  bool isFull = false;
  for (const char32_t c : Characters(text)) {
    const std::string narrow = Narrow(c);
    isValid = isValid && !narrow.empty();
    lossy += narrow.empty() ? "?" : narrow;
    isFull = isFull || within.size() + narrow.size() > limit ||
             (narrow.empty() && within.size() == limit);
    if (isFull) continue;
    isGood = isGood && !narrow.empty();
    within += narrow;
  }
  std::string made(korWcToMbLossy(nullptr, text.data(), text.size()), '#');
  VEL_FUZZ_CHECK(made.size() == lossy.size());
  VEL_FUZZ_CHECK(korWcToMbLossy(made.data(), text.data(), text.size()) == made.size());
  VEL_FUZZ_SAME(made, lossy);

  Units terminated = text;
  terminated.push_back(0);
  VEL_FUZZ_CHECK(kor_wcstombs(nullptr, terminated.data(), 0) ==
                 (isValid ? lossy.size() : kInvalid));
  static constexpr wchar_t kMarker[] = L"<<<OUT OF LOCALE>>>";
  unsigned char flag = 7;
  const xstring escaped = escapeOOL(terminated.data(), &flag);
  const wchar_t* const wide = escaped.CastToCWString();
  VEL_FUZZ_CHECK(flag == (isValid ? 0 : 1));
  VEL_FUZZ_CHECK(isValid ? std::equal(terminated.begin(), terminated.end(), wide)
                         : std::equal(std::begin(kMarker), std::end(kMarker), wide));
  std::string place(limit + 1, '#');
  const std::size_t converted = kor_wcstombs(place.data(), terminated.data(), limit);
  if (!isGood) {
    VEL_FUZZ_CHECK(converted == kInvalid);
  } else if (isValid) {
    VEL_FUZZ_CHECK(converted == within.size());
    VEL_FUZZ_SAME(place.substr(0, within.size()), within);
    if (!isFull && within.size() < limit) VEL_FUZZ_CHECK(place[within.size()] == 0);
  }
  VEL_FUZZ_CHECK(place[limit] == '#');
}

// Bytes that tend to be parts of characters.
std::string NarrowText(velFuzzInput& input) {
  static constexpr char kParts[] =
      "aZ\x7f\x80\xbf\xc0\xc1\xc2\xc3\xe0\xa0\x9f\xed\xef\xf0\x90\x8f\xf4\xf5\xff";
  std::string text = input.text(120);
  if (input.flag()) return text;
  for (char& c : text) c = kParts[static_cast<unsigned char>(c) % (sizeof kParts - 1)];
  return text;
}

Units WideText(velFuzzInput& input) {
  static constexpr std::uint32_t kEdges[] = {0x7F,   0x80,   0xFF,    0x100,    0x7FF,   0x800,
                                             0xD7FF, 0xD800, 0xDBFF,  0xDC00,   0xDFFF,  0xE000,
                                             0xFFFD, 0xFFFF, 0x10000, 0x10FFFF, 0x110000};
  Units units;
  for (unsigned n = input.below(100); n > 0; --n) {
    const unsigned sort = input.byte();
    std::uint32_t unit = sort < 128 ? sort + 1 : kEdges[sort % std::size(kEdges)];
    if (sort == 128) unit = static_cast<std::uint32_t>(input.number());
    if (static_cast<wchar_t>(unit) == 0) unit = 'z';
    units.push_back(static_cast<wchar_t>(unit));
  }
  return units;
}

}  // namespace

VEL_FUZZ(input) {
  static const char* const kLocales[] = {"C", "C.UTF-8", "de_DE.ISO-8859-1"};
  const ScopedLocale locale({kLocales[input.below(3)]});
  VEL_FUZZ_CHECK(locale.IsFound());
  const std::size_t limit = input.below(40);
  const int n = input.between(-2, 130);
  if (input.flag()) {
    CheckNarrow(NarrowText(input), limit, n);
  } else {
    CheckWide(WideText(input), limit);
  }
}
