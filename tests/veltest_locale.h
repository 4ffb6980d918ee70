// veltest_locale.h - helpers for tests of text: locales and wide literals.
//
// GoogleTest and the C library must see no wide text: with a 16-bit wchar_t
// they misread it. Compare with SameWide and show with Shown.
#ifndef VELSTD_TESTS_VELTEST_LOCALE_H
#define VELSTD_TESTS_VELTEST_LOCALE_H

#include <clocale>
#include <cstddef>
#include <initializer_list>
#include <locale>
#include <string>
#include <vector>

/// Switches LC_ALL to the first of `names` that is installed, and back when
/// it dies. Nothing is switched when none is.
class ScopedLocale {
 public:
  explicit ScopedLocale(std::initializer_list<const char*> names)
      : before(std::setlocale(LC_ALL, nullptr)) {
    for (const char* name : names) {
      if (std::setlocale(LC_ALL, name)) {
        found = true;
        return;
      }
    }
  }
  ~ScopedLocale() { std::setlocale(LC_ALL, before.c_str()); }
  ScopedLocale(const ScopedLocale&) = delete;
  ScopedLocale& operator=(const ScopedLocale&) = delete;

  bool IsFound() const { return found; }

 private:
  std::string before;
  bool found = false;
};

/// The locales that tests use. All but UTF-8 and "C" may be missing. A test that is
/// about one says so: it may begin in any (see veltest_start.cpp).
struct PlainLocale : ScopedLocale {
  PlainLocale() : ScopedLocale({"C"}), global(std::locale::global(std::locale::classic())) {}
  ~PlainLocale() { std::locale::global(global); }

 private:
  std::locale global;
};
struct Utf8Locale : ScopedLocale {
  Utf8Locale() : ScopedLocale({"C.UTF-8", "C.utf8"}) {}
};
struct GermanLatin1Locale : ScopedLocale {
  GermanLatin1Locale() : ScopedLocale({"de_DE.ISO-8859-1", "de_DE.iso88591"}) {}
};
struct GermanUtf8Locale : ScopedLocale {
  GermanUtf8Locale() : ScopedLocale({"de_DE.UTF-8", "de_DE.utf8"}) {}
};
struct TurkishUtf8Locale : ScopedLocale {
  TurkishUtf8Locale() : ScopedLocale({"tr_TR.UTF-8", "tr_TR.utf8"}) {}
};

/// Fails the test when `locale` is not installed.
#define VEL_NEED_LOCALE(locale) \
  if (!(locale).IsFound()) FAIL() << "locale not installed: ./dev setup makes it"

inline std::size_t WideLength(const wchar_t* text) {
  std::size_t length = 0;
  while (text[length] != L'\0') ++length;
  return length;
}

/// True when both wide texts (nullable) have the same units.
inline bool SameWide(const wchar_t* a, const wchar_t* b) {
  if (!a || !b) return a == b;
  while (*a == *b && *a != L'\0') {
    ++a;
    ++b;
  }
  return *a == *b;
}

/// ASCII text as wide text.
class Wide {
 public:
  explicit Wide(const std::string& ascii) : units(ascii.begin(), ascii.end()) {
    units.push_back(L'\0');
  }
  operator const wchar_t*() const { return units.data(); }
  wchar_t* Data() { return units.data(); }

 private:
  std::vector<wchar_t> units;
};

/// A wide text in ASCII, for messages: other units as {hex}.
inline std::string Shown(const wchar_t* text, std::size_t length) {
  std::string shown;
  for (std::size_t i = 0; i < length; ++i) {
    auto unit = static_cast<unsigned long>(static_cast<char32_t>(text[i]));
    if (unit >= 32 && unit < 127) {
      shown += static_cast<char>(unit);
      continue;
    }
    std::string hex;
    do {
      hex.insert(hex.begin(), "0123456789abcdef"[unit % 16]);
      unit /= 16;
    } while (unit != 0);
    shown += '{' + hex + '}';
  }
  return shown;
}
inline std::string Shown(const wchar_t* text) {
  return text ? Shown(text, WideLength(text)) : "(null)";
}

#endif  // VELSTD_TESTS_VELTEST_LOCALE_H
