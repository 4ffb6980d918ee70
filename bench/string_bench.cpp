// Strings: made, copied, joined, searched, changed in case and in encoding, split.
//
// Long texts are counted in KiB of their narrow form. Case and encodings are
// those of UTF-8, in texts of plain words and of names in many scripts.
#include <absl/strings/ascii.h>
#include <absl/strings/match.h>
#include <absl/strings/str_cat.h>
#include <absl/strings/str_replace.h>
#include <absl/strings/str_split.h>
#include <glib.h>

#include <QString>
#include <QStringList>
#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <cstring>
#include <cwchar>
#include <memory>

#include "velbench.h"
#include "velstd.h"

using benchmark::State;
using velbench::add;
using velbench::addCounting;
using velbench::check;
using velbench::keep;
using velbench::opaque;

namespace {

constexpr int kSteps = 10000;
constexpr std::size_t kTextBytes = 16384;

const char* const kOurs = "velstd";
const char* const kStd = "std::string";
const char* const kQt = "QString";
const char* const kAbsl = "absl";
const char* const kGlib = "GLib";

struct GFree {
  void operator()(void* memory) const { g_free(memory); }
};
struct GStringFree {
  void operator()(GString* text) const { g_string_free(text, TRUE); }
};
using GText = std::unique_ptr<char, GFree>;
using GBuffer = std::unique_ptr<GString, GStringFree>;

// One KiB is one item.
template <class Step>
void perKib(State& state, const std::string& text, Step step) {
  for (auto _ : state) step();
  state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(text.size()) / 1024);
}

// ---- texts --------------------------------------------------------------------

// Words of ASCII letters, one blank between two.
const std::string& plain() {
  static const std::string text = [] {
    std::string made;
    for (const std::string& word : velbench::words()) {
      if (made.size() >= kTextBytes) break;
      const bool ascii = std::all_of(word.begin(), word.end(),
                                     [](char c) { return static_cast<unsigned char>(c) < 0x80; });
      if (ascii) made += (made.empty() ? "" : " ") + word;
    }
    return made;
  }();
  return text;
}

// Names of countries in their own languages.
const std::string& multilingual() {
  static const std::string text = [] {
    std::string made;
    while (made.size() < kTextBytes) {
      made +=
          "Ελλάδα Κύπρος Россия Україна България Србија Հայաստան Österreich España Česko Türkçe "
          "Ísland Magyarország Việt Nam საქართველო ישראל مصر إيران भारत বাংলাদেশ ไทย 日本 中国 "
          "대한민국 "
          "ኢትዮጵያ Қазақстан Монгол Улс Lëtzebuerg Éire Côte d’Ivoire ລາວ កម្ពុជា မြန်မာ "
          "ශ්‍රී "
          "ලංකා ";
    }
    return made;
  }();
  return text;
}

std::wstring widened(const std::string& text) {
  std::wstring wide(text.size(), L'\0');
  const std::size_t length = std::mbstowcs(wide.data(), text.c_str(), wide.size() + 1);
  check(length <= wide.size(), "the text does not convert");
  wide.resize(length);
  return wide;
}

// What the case conversions must give: the characters one by one.
std::string inCase(const std::string& text, std::wint_t (*convert)(std::wint_t)) {
  std::wstring wide = widened(text);
  for (wchar_t& c : wide) c = static_cast<wchar_t>(convert(static_cast<std::wint_t>(c)));
  std::string narrow(wide.size() * 4, '\0');
  narrow.resize(std::wcstombs(narrow.data(), wide.c_str(), narrow.size()));
  return narrow;
}

// ---- short strings ------------------------------------------------------------

void addCreate(const char* work, const std::string& text) {
  addCounting(work, kOurs, [=](State& state) {
    velbench::repeat(state, kSteps, [&](int) {
      const xstring made(opaque(text.c_str()));
      keep(made);
    });
    check(xstring(text.c_str()) == text.c_str(), "create");
  });
  addCounting(work, kStd, [=](State& state) {
    velbench::repeat(state, kSteps, [&](int) {
      const std::string made(opaque(text.c_str()));
      keep(made);
    });
  });
  addCounting(work, kQt, [=](State& state) {
    velbench::repeat(state, kSteps, [&](int) {
      const QString made = QString::fromUtf8(opaque(text.c_str()));
      keep(made);
    });
  });
  addCounting(work, kGlib, [=](State& state) {
    velbench::repeat(state, kSteps, [&](int) {
      const GText made(g_strdup(opaque(text.c_str())));
      keep(made);
    });
  });
}

template <class String>
void copies(State& state, const String& source) {
  keep(source);
  velbench::repeat(state, kSteps, [&](int) {
    const String copy(source);
    keep(copy);
  });
  check(String(source) == source, "copy");
}

void addCopy(const char* work, const std::string& text) {
  addCounting(work, kOurs, [=](State& state) { copies(state, xstring(text.c_str())); });
  addCounting(work, kStd, [=](State& state) { copies(state, text); });
  addCounting(work, kQt, [=](State& state) { copies(state, QString::fromStdString(text)); });
  addCounting(work, "GRefString", [=](State& state) {
    char* const source = g_ref_string_new(text.c_str());
    velbench::repeat(state, kSteps, [&](int) {
      char* const copy = g_ref_string_acquire(opaque(source));
      keep(copy);
      g_ref_string_release(copy);
    });
    check(source == text, "copy");
    g_ref_string_release(source);
  });
}

// 8 and 24 letters.
void addConcatenate() {
  const char* const work = "string: concatenate 8 and 24 letters";
  static const std::string a = "eightltr";
  static const std::string b = "twenty-four letters here";
  add(work, kOurs, [](State& state) {
    velbench::repeat(state, kSteps, [&](int) {
      const xstring made(opaque(a.c_str()), opaque(b.c_str()));
      keep(made);
    });
    check(xstring(a.c_str(), b.c_str()) == (a + b).c_str(), "concatenate");
  });
  add(work, kStd, [](State& state) {
    keep(a);
    velbench::repeat(state, kSteps, [&](int) {
      const std::string made = a + b;
      keep(made);
    });
  });
  add(work, kAbsl, [](State& state) {
    velbench::repeat(state, kSteps, [&](int) {
      const std::string made = absl::StrCat(a, b);
      keep(made);
    });
  });
  add(work, kQt, [](State& state) {
    const QString first = QString::fromStdString(a);
    const QString second = QString::fromStdString(b);
    velbench::repeat(state, kSteps, [&](int) {
      const QString made = first + second;
      keep(made);
    });
  });
  add(work, kGlib, [](State& state) {
    velbench::repeat(state, kSteps, [&](int) {
      const GText made(g_strconcat(opaque(a.c_str()), opaque(b.c_str()), nullptr));
      keep(made);
    });
  });
}

// The same text, appended 1000 times to an empty string; one of them is an item.
template <class Make, class Append, class Size>
void appends(State& state, std::size_t bytes, Make make, Append append, Size size) {
  constexpr int kAppends = 1000;
  for (auto _ : state) {
    auto text = make();
    for (int i = 0; i < kAppends; ++i) append(text);
    keep(text);
    check(static_cast<std::size_t>(size(text)) == kAppends * bytes, "append");
  }
  state.SetItemsProcessed(state.iterations() * kAppends);
}

template <class String>
String empty() {
  return String();
}

GBuffer emptyBuffer() { return GBuffer(g_string_new(nullptr)); }
gsize sizeOfBuffer(const GBuffer& text) { return text->len; }

void addAppend() {
  const char* const eight = "string: append 8 letters";
  static const char* const letters = "eightltr";
  const auto ourSize = [](const xstring& text) { return text.GetLength(); };
  const auto stdSize = [](const auto& text) { return text.size(); };
  add(eight, kOurs, [=](State& state) {
    appends(
        state, 8, empty<xstring>, [](xstring& text) { text += opaque(letters); }, ourSize);
  });
  add(eight, kStd, [=](State& state) {
    appends(
        state, 8, empty<std::string>, [](auto& text) { text += opaque(letters); }, stdSize);
  });
  add(eight, kQt, [=](State& state) {
    const QString more = QString::fromUtf8(letters);
    appends(
        state, 8, empty<QString>, [&](auto& text) { text += more; }, stdSize);
  });
  add(eight, kGlib, [=](State& state) {
    appends(
        state, 8, emptyBuffer, [](auto& text) { g_string_append(text.get(), opaque(letters)); },
        sizeOfBuffer);
  });

  const char* const one = "string: append a letter";
  add(one, kOurs, [=](State& state) {
    appends(
        state, 1, empty<xstring>, [](xstring& text) { text += opaque('x'); }, ourSize);
  });
  add(one, kStd, [=](State& state) {
    appends(
        state, 1, empty<std::string>, [](auto& text) { text += opaque('x'); }, stdSize);
  });
  add(one, kQt, [=](State& state) {
    appends(
        state, 1, empty<QString>, [](auto& text) { text += QChar(opaque(u'x')); }, stdSize);
  });
  add(one, kGlib, [=](State& state) {
    appends(
        state, 1, emptyBuffer, [](auto& text) { g_string_append_c(text.get(), opaque('x')); },
        sizeOfBuffer);
  });
}

// Two texts of 100 letters that are equal but not the same.
template <class A, class B>
void equals(State& state, const A& a, const B& b) {
  std::int64_t equal = 0;
  velbench::repeat(state, kSteps, [&](int) {
    keep(a);
    keep(b);
    equal += a == b;
  });
  check(equal == state.iterations() * kSteps, "equal");
}

void addEqual(const std::string& text) {
  const char* const work = "string of 100 letters: equal";
  add(work, kOurs,
      [=](State& state) { equals(state, xstring(text.c_str()), xstring(text.c_str())); });
  add(work, kStd, [=](State& state) { equals(state, text, std::string(text.c_str())); });
  add(work, kQt, [=](State& state) {
    equals(state, QString::fromStdString(text), QString::fromStdString(text));
  });
}

// ---- long texts ---------------------------------------------------------------

// A word that stands at the end only.
void addFind() {
  const char* const work = "string: find, per KiB";
  static const std::string text = plain() + " needle#";
  static const char* const wanted = "needle#";
  static const auto at = static_cast<std::int64_t>(text.find(wanted));
  add(work, kOurs, [](State& state) {
    const xstring subject(text.c_str());
    perKib(state, text, [&] { check(subject.Pos(opaque(wanted)) == at, "find"); });
  });
  add(work, kStd, [](State& state) {
    perKib(state, text,
           [] { check(static_cast<std::int64_t>(text.find(opaque(wanted))) == at, "find"); });
  });
  add(work, kQt, [](State& state) {
    const QString subject = QString::fromStdString(text);
    const QString searched = QString::fromUtf8(wanted);
    perKib(state, text, [&] { check(subject.indexOf(searched) == at, "find"); });
  });
  add(work, kGlib, [](State& state) {
    perKib(state, text,
           [] { check(std::strstr(text.c_str(), opaque(wanted)) - text.c_str() == at, "find"); });
  });
}

// "er" by "<er>", throughout.
void addReplace() {
  const char* const work = "string: replace, per KiB";
  static const std::string expected = absl::StrReplaceAll(plain(), {{"er", "<er>"}});
  add(work, kOurs, [](State& state) {
    const xstring source(plain().c_str());
    xstring text;
    perKib(state, plain(), [&] {
      text = source;
      text.Substitute("er", "<er>");
      keep(text);
    });
    check(text == expected.c_str(), "replace");
  });
  add(work, kAbsl, [](State& state) {
    std::string text;
    perKib(state, plain(), [&] {
      text = absl::StrReplaceAll(plain(), {{"er", "<er>"}});
      keep(text);
    });
    check(text == expected, "replace");
  });
  add(work, kQt, [](State& state) {
    const QString source = QString::fromStdString(plain());
    const QString from = QStringLiteral("er");
    const QString to = QStringLiteral("<er>");
    QString text;
    perKib(state, plain(), [&] {
      text = source;
      text.replace(from, to);
      keep(text);
    });
    check(text.toStdString() == expected, "replace");
  });
  add(work, kGlib, [](State& state) {
    GBuffer text;
    perKib(state, plain(), [&] {
      text.reset(g_string_new(plain().c_str()));
      g_string_replace(text.get(), "er", "<er>", 0);
      keep(*text);
    });
    check(text->str == expected, "replace");
  });
}

// After the rules of the locale; the standard library's way is that of single
// bytes where all are ASCII.
void addCase(const char* work, const std::string& text, bool upper, bool isPlain) {
  const auto convert = upper ? std::towupper : std::towlower;
  const std::string expected = inCase(text, convert);
  add(work, kOurs, [=](State& state) {
    const xstring source(text.c_str());
    xstring made;
    perKib(state, text, [&] {
      made = upper ? source.ToUpper() : source.ToLower();
      keep(made);
    });
    check(made == expected.c_str(), "case");
  });
  add(work, kQt, [=](State& state) {
    const QString source = QString::fromStdString(text);
    QString made;
    perKib(state, text, [&] {
      made = upper ? source.toUpper() : source.toLower();
      keep(made);
    });
    check(made.toStdString() == expected, "case");
  });
  add(work, kGlib, [=](State& state) {
    GText made;
    perKib(state, text, [&] {
      made.reset(upper ? g_utf8_strup(text.c_str(), -1) : g_utf8_strdown(text.c_str(), -1));
      keep(*made);
    });
    check(made.get() == expected, "case");
  });
  add(work, kStd, [=](State& state) {
    std::string made;
    perKib(state, text, [&] {
      made = isPlain ? text : inCase(text, convert);
      if (isPlain) {
        for (char& c : made) {
          const int letter = static_cast<unsigned char>(c);
          c = static_cast<char>(upper ? std::toupper(letter) : std::tolower(letter));
        }
      }
      keep(made);
    });
    check(made == expected, "case");
  });
}

// For comparison: what a conversion costs that knows the letters of ASCII alone
// and asks no locale. We have none.
void addAsciiCase(const std::string& text) {
  const std::string expected = inCase(text, std::towupper);
  add("string: upper case by ASCII rules only, per KiB", kAbsl, [=](State& state) {
    std::string made;
    perKib(state, text, [&] {
      made = absl::AsciiStrToUpper(text);
      keep(made);
    });
    check(made == expected, "case");
  });
}

// From a narrow text to a string with a wide form. Qt's has 16-bit units.
void addNarrowToWide(const char* work, const std::string& text) {
  const std::wstring expected = widened(text);
  add(work, kOurs, [=](State& state) {
    perKib(state, text, [&] {
      const xstring made(text.c_str());
      const wchar_t* wide = made;
      keep(wide);
    });
    check(static_cast<const wchar_t*>(xstring(text.c_str())) == expected, "narrow to wide");
  });
  add(work, kStd, [=](State& state) {
    perKib(state, text, [&] {
      const std::wstring made = widened(text);
      keep(made);
    });
  });
  add(work, kQt, [=](State& state) {
    perKib(state, text, [&] {
      const QString made = QString::fromUtf8(text.data(), static_cast<qsizetype>(text.size()));
      keep(made);
    });
    check(QString::fromStdString(text).toStdWString() == expected, "narrow to wide");
  });
  add(work, kGlib, [=](State& state) {
    perKib(state, text, [&] {
      const std::unique_ptr<gunichar, GFree> made(
          g_utf8_to_ucs4(text.data(), static_cast<glong>(text.size()), nullptr, nullptr, nullptr));
      keep(*made);
    });
  });
}

void addWideToNarrow(const char* work, const std::string& text) {
  const std::wstring wide = widened(text);
  add(work, kOurs, [=](State& state) {
    perKib(state, text, [&] {
      const xstring made(wide.c_str());
      const char* narrow = made;
      keep(narrow);
    });
    check(static_cast<const char*>(xstring(wide.c_str())) == text, "wide to narrow");
  });
  add(work, kStd, [=](State& state) {
    std::string made;
    perKib(state, text, [&] {
      made.assign(wide.size() * 4, '\0');
      made.resize(std::wcstombs(made.data(), wide.c_str(), made.size()));
      keep(made);
    });
    check(made == text, "wide to narrow");
  });
  add(work, kQt, [=](State& state) {
    const QString source = QString::fromStdWString(wide);
    QByteArray made;
    perKib(state, text, [&] {
      made = source.toUtf8();
      keep(made);
    });
    check(made.toStdString() == text, "wide to narrow");
  });
  add(work, kGlib, [=](State& state) {
    static_assert(sizeof(wchar_t) == sizeof(gunichar), "wide characters are UCS-4");
    std::vector<gunichar> source;
    for (const wchar_t c : wide) source.push_back(static_cast<gunichar>(c));
    GText made;
    perKib(state, text, [&] {
      made.reset(g_ucs4_to_utf8(source.data(), static_cast<glong>(source.size()), nullptr, nullptr,
                                nullptr));
      keep(*made);
    });
    check(made.get() == text, "wide to narrow");
  });
}

// A list of the words, which blanks separate; one of them is an item.
void addSplit() {
  const char* const work = "string: split into words, per word";
  static const std::int64_t count = std::count(plain().begin(), plain().end(), ' ') + 1;
  const auto done = [](State& state) { state.SetItemsProcessed(state.iterations() * count); };
  add(work, kOurs, [=](State& state) {
    const xstring text(plain().c_str());
    for (auto _ : state) {
      const auto words = xstringsequence::create();
      const char* const end = text.CastToCString() + plain().size();
      const char* word = nullptr;
      for (const char* at = text; korStringGetNextWord(at, end, " ", &word, &at);) {
        words->append(xstring(word, static_cast<int>(at - word)));
      }
      check(words->getarraysize() == count, "split");
    }
    done(state);
  });
  add(work, kStd, [=](State& state) {
    for (auto _ : state) {
      std::vector<std::string> words;
      std::size_t begin = 0;
      for (std::size_t end = 0; end != std::string::npos; begin = end + 1) {
        end = plain().find(' ', begin);
        words.push_back(plain().substr(begin, end - begin));
      }
      check(static_cast<std::int64_t>(words.size()) == count, "split");
    }
    done(state);
  });
  add(work, kAbsl, [=](State& state) {
    for (auto _ : state) {
      const std::vector<std::string> words = absl::StrSplit(plain(), ' ');
      check(static_cast<std::int64_t>(words.size()) == count, "split");
    }
    done(state);
  });
  add(work, kQt, [=](State& state) {
    const QString text = QString::fromStdString(plain());
    for (auto _ : state) {
      const QStringList words = text.split(QLatin1Char(' '));
      check(words.size() == count, "split");
    }
    done(state);
  });
  add(work, kGlib, [=](State& state) {
    for (auto _ : state) {
      char** const words = g_strsplit(plain().c_str(), " ", 0);
      check(g_strv_length(words) == static_cast<guint>(count), "split");
      g_strfreev(words);
    }
    done(state);
  });
}

// A list of the words and of the separators between them, with an escape that
// would make a separator part of a word; a word or a separator is an item. The
// peers have no such parser: they get the one that a program would write.
void addParse() {
  const char* const work = "string: parse into words and separators, per piece";
  static const std::int64_t count = 2 * std::count(plain().begin(), plain().end(), ' ') + 1;
  const auto done = [](State& state) { state.SetItemsProcessed(state.iterations() * count); };
  add(work, kOurs, [=](State& state) {
    const xstring text(plain().c_str());
    for (auto _ : state) {
      const auto pieces = velStringUtils::parseEscapedandFormattedString(text, " ", "\\");
      check(pieces->getarraysize() == count, "parse");
    }
    done(state);
  });
  add(work, kStd, [=](State& state) {
    for (auto _ : state) {
      std::vector<std::string> pieces;
      std::string word;
      const std::string& text = plain();
      for (std::size_t at = 0;;) {
        const std::size_t end = std::min(text.find_first_of(" \\", at), text.size());
        word.append(text, at, end - at);
        if (end < text.size() && text[end] == '\\') {
          if (end + 1 < text.size()) word += text[end + 1];
          at = std::min(end + 2, text.size());
          continue;
        }
        pieces.push_back(std::move(word));
        word.clear();
        if (end == text.size()) break;
        pieces.emplace_back(1, text[end]);
        at = end + 1;
      }
      check(static_cast<std::int64_t>(pieces.size()) == count, "parse");
    }
    done(state);
  });
  add(work, kQt, [=](State& state) {
    const QString text = QString::fromStdString(plain());
    for (auto _ : state) {
      QStringList pieces;
      QString word;
      for (qsizetype at = 0; at <= text.size(); ++at) {
        const bool isEnd = at == text.size();
        if (!isEnd && text[at] == QLatin1Char('\\')) {
          if (++at < text.size()) word += text[at];
        } else if (isEnd || text[at] == QLatin1Char(' ')) {
          pieces.append(std::move(word));
          word = QString();
          if (!isEnd) pieces.append(QString(text[at]));
        } else {
          word += text[at];
        }
      }
      check(pieces.size() == count, "parse");
    }
    done(state);
  });
}

}  // namespace

void velbench::registerCases() {
  const std::string eight = "eightltr";
  const std::string hundred(100, 'h');
  addCreate("string of 8 letters: create", eight);
  addCreate("string of 100 letters: create", hundred);
  addCopy("string of 8 letters: copy", eight);
  addCopy("string of 100 letters: copy", hundred);
  addConcatenate();
  addAppend();
  addEqual(hundred);
  addFind();
  addReplace();
  addCase("string: upper case (ASCII), per KiB", plain(), true, true);
  addCase("string: upper case (multilingual), per KiB", multilingual(), true, false);
  addCase("string: lower case (ASCII), per KiB", plain(), false, true);
  addCase("string: lower case (multilingual), per KiB", multilingual(), false, false);
  addAsciiCase(plain());
  addNarrowToWide("string: narrow to wide (ASCII), per KiB", plain());
  addNarrowToWide("string: narrow to wide (multilingual), per KiB", multilingual());
  addWideToNarrow("string: wide to narrow (ASCII), per KiB", plain());
  addWideToNarrow("string: wide to narrow (multilingual), per KiB", multilingual());
  addSplit();
  addParse();
}
