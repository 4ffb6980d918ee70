#include "veltext.h"

#include <algorithm>
#include <climits>
#include <cstring>
#include <vector>

#include "kormbcs.h"
#include "velexceptions.h"

namespace {

constexpr std::size_t kInvalid = static_cast<std::size_t>(-1);
constexpr char32_t kReplacement = 0xFFFD;

// The character at the front of a text that is not empty, and its bytes; 0 for
// none. As Unicode has it: the shortest form, no surrogates, up to U+10FFFF.
std::size_t Decode(std::string_view text, char32_t* character) {
  const auto byte = [&](std::size_t i) {
    return i < text.size() ? static_cast<unsigned char>(text[i]) : 0U;
  };
  const unsigned first = byte(0);
  if (first < 0x80) {
    *character = first;
    return 1;
  }
  const std::size_t bytes = first < 0xC2   ? 0
                            : first < 0xE0 ? 2
                            : first < 0xF0 ? 3
                            : first < 0xF5 ? 4
                                           : 0;
  if (bytes == 0) return 0;
  char32_t read = first & (0x7FU >> bytes);
  for (std::size_t i = 1; i < bytes; ++i) {
    if ((byte(i) & 0xC0U) != 0x80) return 0;
    read = read << 6U | (byte(i) & 0x3FU);
  }
  static constexpr char32_t kSmallest[] = {0, 0, 0x80, 0x800, 0x10000};
  if (read < kSmallest[bytes] || read > 0x10FFFF || (read >= 0xD800 && read < 0xE000)) return 0;
  *character = read;
  return bytes;
}

void Encode(char32_t c, std::string& to) {
  const auto next = [&](unsigned shift) { to += static_cast<char>(0x80U | ((c >> shift) & 0x3FU)); };
  if (c < 0x80) {
    to += static_cast<char>(c);
  } else if (c < 0x800) {
    to += static_cast<char>(0xC0U | c >> 6U);
    next(0);
  } else if (c < 0x10000) {
    to += static_cast<char>(0xE0U | c >> 12U);
    next(6);
    next(0);
  } else if (c <= 0x10FFFF) {
    to += static_cast<char>(0xF0U | c >> 18U);
    next(12);
    next(6);
    next(0);
  } else {
    to += '\xFF';  // of no character, and behind them all
    for (const unsigned shift : {30U, 24U, 18U, 12U, 6U, 0U}) next(shift);
  }
}

void Put(char32_t c, std::vector<wchar_t>& to) {
  if (sizeof(wchar_t) == 2 && c > 0xFFFF) {
    to.push_back(static_cast<wchar_t>(0xD800 + ((c - 0x10000) >> 10U)));
    c = 0xDC00 + (c & 0x3FFU);
  }
  to.push_back(static_cast<wchar_t>(c));
}

// The character at `at`, which moves on. Half of a surrogate pair is a character here, and
// so is what is beyond Unicode.
char32_t Next(const wchar_t*& at) {
  const auto unit = [](wchar_t c) {
    return sizeof(wchar_t) == 2 ? static_cast<char16_t>(c) : static_cast<char32_t>(c);
  };
  const char32_t first = unit(*at++);
  if (sizeof(wchar_t) == 2 && first >= 0xD800 && first < 0xDC00) {
    const char32_t second = unit(*at);
    if (second >= 0xDC00 && second < 0xE000) {
      ++at;
      return 0x10000 + ((first - 0xD800) << 10U) + (second - 0xDC00);
    }
  }
  return first;
}

// `exactly`: halves of pairs, and what is beyond Unicode, come out as something that is no
// UTF-8.
std::string FromWide(const wchar_t* text, bool exactly) {
  std::string utf8;
  while (*text) {
    const char32_t c = Next(text);
    const bool isCharacter = c <= 0x10FFFF && (c < 0xD800 || c >= 0xE000);
    Encode(isCharacter || exactly ? c : kReplacement, utf8);
  }
  return utf8;
}

// Has no form but an ASCII one.
bool IsPlain(const __xstring_c& view) { return !view.wide && view.narrow && velIsAscii(view.narrow); }

// The text in UTF-8. `exactly`: what is no text stands as it is, so that different
// texts are different.
std::string BytesOf(const xstring& text, bool exactly) {
  if (text.IsNull()) return {};
  const __xstring_c view = text.getxstring_c_unattached();
  if (IsPlain(view)) return view.narrow;
  // A narrow form that was produced from a wide one is never foreign; a wide one
  // that was produced from such a form has lost what was in it.
  const std::string_view narrow = view.narrow ? view.narrow : "";
  const bool isForeign = view.narrow && kor_mbstowcs(nullptr, view.narrow, 0) == kInvalid;
  if (isForeign && (exactly || velIsUtf8(narrow))) return std::string(narrow);
  if (view.wide) return FromWide(view.wide, exactly);
  std::vector<wchar_t> wide(korMbToWcLossy(nullptr, narrow.data(), narrow.size()) + 1);
  korMbToWcLossy(wide.data(), narrow.data(), narrow.size());
  return FromWide(wide.data(), exactly);
}

[[noreturn]] void Refuse(const char* what, std::size_t at) {
  velXNativeException::Throw((what + std::to_string(at)).c_str());
}

}  // namespace

void velRefuseZeroByte(std::string_view text) {
  const std::size_t zero = text.find('\0');
  if (zero != std::string_view::npos) Refuse("Zero byte in text at byte ", zero);
}

bool velIsAscii(std::string_view text) {
  return std::all_of(text.begin(), text.end(), [](char c) { return (c & 0x80) == 0; });
}

bool velIsUtf8(std::string_view text) {
  char32_t character = 0;
  while (!text.empty()) {
    const std::size_t bytes = Decode(text, &character);
    if (bytes == 0) return false;
    text.remove_prefix(bytes);
  }
  return true;
}

xstring velText(std::string_view utf8) {
  if (utf8.size() >= INT_MAX) velXNativeException::Throw("Size limit exceeded");
  velRefuseZeroByte(utf8);
  if (velIsAscii(utf8)) return xstring(std::string(utf8).c_str());
  std::vector<wchar_t> wide;
  wide.reserve(utf8.size() + 1);
  for (std::size_t at = 0; at < utf8.size();) {
    char32_t character = 0;
    const std::size_t bytes = Decode(utf8.substr(at), &character);
    if (bytes == 0) Refuse("Invalid UTF-8 at byte ", at);
    Put(character, wide);
    at += bytes;
  }
  wide.push_back(0);
  return xstring(wide.data());
}

std::string velUtf8(const xstring& text) { return BytesOf(text, false); }

std::optional<std::string> velUtf8IfText(const xstring& text) {
  std::string exact = BytesOf(text, true);
  if (!velIsUtf8(exact)) return std::nullopt;
  return exact;
}

std::optional<std::string> velNarrowIfText(std::string_view utf8) {
  if (!velIsUtf8(utf8) || utf8.find('\0') != std::string_view::npos) return std::nullopt;
  const xstring text = velText(utf8);
  // A text of its own: one with a wide form would come back as it was.
  const std::string narrow(velView(text));
  if (velUtf8(xstring(narrow.c_str())) != utf8) return std::nullopt;
  return narrow;
}

int velOrder(const xstring& a, const xstring& b) {
  if (a.IsNull() || b.IsNull()) return static_cast<int>(b.IsNull()) - static_cast<int>(a.IsNull());
  const __xstring_c left = a.getxstring_c_unattached();
  const __xstring_c right = b.getxstring_c_unattached();
  if (IsPlain(left) && IsPlain(right)) return std::strcmp(left.narrow, right.narrow);
  return BytesOf(a, true).compare(BytesOf(b, true));
}

std::size_t velHashOfContent(const xstring& text) {
  if (text.IsNull()) return 0;
  const __xstring_c view = text.getxstring_c_unattached();
  const std::hash<std::string_view> hash;
  return IsPlain(view) ? hash(view.narrow) : hash(BytesOf(text, true));
}

bool velIsText(const xstring& text, std::string_view utf8) {
  if (text.IsNull()) return false;
  const __xstring_c view = text.getxstring_c_unattached();
  if (!view.wide && velIsAscii(utf8)) return view.narrow == utf8;
  return velUtf8(text) == utf8;
}

xstring& velAppend(xstring& text, const xstring& part) {
  const wchar_t* const wide = part.getxstring_c_unattached().wide;
  return wide && !part.IsNull() ? text += wide : text += part;
}

std::size_t velHashOfText(const xstring& text) {
  if (text.IsNull()) return 0;
  const std::hash<std::string_view> hash;
  const std::string_view narrow = velView(text);
  if (velIsAscii(narrow) || kor_mbstowcs(nullptr, narrow.data(), 0) != kInvalid) return hash(narrow);
  // No text of the locale: such a string is equal to any with the same wide form.
  const xstring converted(text.CastToCWString());
  return hash(velView(converted));
}
