// Strings in narrow, wide and mixed form against a text of plain characters.
#include "xstring.h"

#include <cwctype>
#include <string>
#include <vector>

#include "velfuzz.h"
#include "veltest_locale.h"

namespace {

using Text = std::u32string;

// ---- the two forms of a text ----

std::string Narrow(const Text& text) {
  std::string bytes;
  const auto put = [&](char32_t bits) { bytes += static_cast<char>(bits); };
  for (const char32_t c : text) {
    if (c < 0x80) {
      put(c);
    } else if (c < 0x800) {
      put(0xC0 | c >> 6U);
      put(0x80 | (c & 0x3F));
    } else if (c < 0x10000) {
      put(0xE0 | c >> 12U);
      put(0x80 | (c >> 6U & 0x3F));
      put(0x80 | (c & 0x3F));
    } else {
      put(0xF0 | c >> 18U);
      put(0x80 | (c >> 12U & 0x3F));
      put(0x80 | (c >> 6U & 0x3F));
      put(0x80 | (c & 0x3F));
    }
  }
  return bytes;
}

// With a terminator.
std::vector<wchar_t> Wide(const Text& text) {
  std::vector<wchar_t> units;
  for (const char32_t c : text) units.push_back(static_cast<wchar_t>(c));
  units.push_back(0);
  return units;
}

// ---- the model: a text, or null ----

struct Model {
  bool isNull = true;
  Text text;

  void Append(const Model& more) {
    if (more.text.empty()) return;
    isNull = false;
    text += more.text;
  }

  void Substitute(const Text& from, const Text& to, int first, int count) {
    if (from.empty()) return;
    Text changed;
    int number = 0;
    for (std::size_t at = 0; at < text.size();) {
      if (text.compare(at, from.size(), from) != 0) {
        changed += text[at++];
        continue;
      }
      ++number;
      const bool isMeant =
          number >= first && (count < 0 || number - (first < 1 ? 1 : first) < count);
      changed += isMeant ? to : from;
      at += from.size();
    }
    text = changed;
  }

  Text Part(int start, int end) const {
    const auto size = static_cast<int>(text.size());
    if (start < 0) start = 0;
    if (end < 0 || end > size) end = size;
    if (start >= end) return {};
    return text.substr(static_cast<std::size_t>(start), static_cast<std::size_t>(end - start));
  }

  Text InCase(std::wint_t (*convert)(std::wint_t)) const {
    Text changed;
    for (const char32_t c : text) {
      const auto other = convert(static_cast<std::wint_t>(c));
      changed += static_cast<char32_t>(other);
    }
    return changed;
  }
};

// Separators are characters of wide text, and single bytes of narrow text.
template <class String>
std::vector<String> Words(const String& text, const String& separators) {
  std::vector<String> words;
  bool isInside = false;
  for (const auto c : text) {
    const bool isWord = separators.find(c) == String::npos;
    if (isWord && !isInside) words.emplace_back();
    if (isWord) words.back() += c;
    isInside = isWord;
  }
  return words;
}

bool Matches(const Text& text, const Text& pattern) {
  // Row by row: whether the pattern up to here matches each beginning of the text.
  std::vector<bool> row(text.size() + 1, false);
  row[0] = true;
  for (const char32_t p : pattern) {
    std::vector<bool> next(row.size(), false);
    for (std::size_t i = 0; i < row.size(); ++i) {
      if (p == U'*') {
        next[i] = row[i] || (i > 0 && next[i - 1]);
      } else {
        next[i] = i > 0 && row[i - 1] && (p == U'?' || p == text[i - 1]);
      }
    }
    row = next;
  }
  return row.back();
}

// ---- both of them ----

// Two forms of wide characters of 16 bits are another matter: no pairs there.
constexpr char32_t kAlphabet[] = {
    U'a',  U'b', U'A', U' ',  U',',  U'*',   U'?',   U'0',
    U'\\', 0xE9, 0xDF, 0x3B1, 0x431, 0x20AC, 0x4E2D, sizeof(wchar_t) > 2 ? 0x1F600 : 0x2603};
constexpr std::size_t kMost = 3000;

class Duel {
 public:
  explicit Duel(velFuzzInput input) : in(input), strings(3), models(3) {}

  void Run() {
    while (!in.isEmpty()) {
      Step();
      const std::size_t shown = in.below(3);  // what is read is what gets a second form
      if (in.flag()) Compare(shown, in.flag());
    }
    for (std::size_t i = 0; i < strings.size(); ++i) {
      Compare(i, false);
      Compare(i, true);
    }
  }

 private:
  Text Characters() {
    Text text;
    for (unsigned n = in.below(6); n > 0; --n) text += kAlphabet[in.below(std::size(kAlphabet))];
    if (in.below(16) == 0) {
      while (!text.empty() && text.size() < 300) text += text;
    }
    return text;
  }

  void Step() {
    const std::size_t i = in.below(3);
    const std::size_t k = in.below(3);
    xstring& string = strings[i];
    Model& model = models[i];
    const Text text = Characters();
    const std::string narrow = Narrow(text);
    const std::vector<wchar_t> wide = Wide(text);
    const bool isWide = in.flag();
    if (model.text.size() > kMost) {
      string = xstring();
      model = Model();
    }
    switch (in.below(14)) {
      case 0:
        string = isWide ? xstring(wide.data()) : xstring(narrow.c_str());
        model = {false, text};
        break;
      case 1:
        if (isWide) {
          string = wide.data();
        } else {
          string = narrow.c_str();
        }
        model = {false, text};
        break;
      case 2:
        string = strings[k];
        model = models[k];
        break;
      case 3:
        if (isWide) {
          string += wide.data();
        } else {
          string += narrow.c_str();
        }
        model.Append({false, text});
        break;
      case 4: {
        const Model other = models[k];
        string += strings[k];
        model.Append(other);
        break;
      }
      case 5:
        if (isWide) {
          string += L'w';
        } else {
          string += 'n';
        }
        model.Append({false, isWide ? U"w" : U"n"});
        break;
      case 6: {
        const Text to = Characters();
        const int first = in.between(-1, 4);
        const int count = in.between(-1, 3);
        const std::string narrowTo = Narrow(to);
        const std::vector<wchar_t> wideTo = Wide(to);
        if (isWide) {
          string.Substitute(wide.data(), wideTo.data(), first, count);
        } else {
          string.Substitute(narrow.c_str(), narrowTo.c_str(), first, count);
        }
        model.Substitute(text, to, first, count);
        break;
      }
      case 7: {
        const int start = in.between(-2, 20);
        const int end = in.between(-2, 30);
        string = strings[k].Substring(start, end);
        const bool isSame = models[k].isNull;
        model = {isSame, isSame ? Text() : models[k].Part(start, end)};
        break;
      }
      case 8: {
        std::vector<std::string> words;
        if (isWide) {
          for (const Text& word : Words(models[k].text, text)) words.push_back(Narrow(word));
        } else {
          words = Words(Narrow(models[k].text), narrow);
        }
        const auto n = in.below(5);
        const auto number = static_cast<int>(n);
        const int count =
            isWide ? strings[k].GetNWords(wide.data()) : strings[k].GetNWords(narrow.c_str());
        const xstring word = isWide ? strings[k].GetWord(number, wide.data())
                                    : strings[k].GetWord(number, narrow.c_str());
        VEL_FUZZ_CHECK(count == static_cast<int>(words.size()));
        VEL_FUZZ_CHECK(word.IsNull() == models[k].isNull);
        if (!word.IsNull()) VEL_FUZZ_CHECK(word == (n < words.size() ? words[n].c_str() : ""));
        break;
      }
      case 9: {
        const std::size_t found = models[k].text.find(text);
        const int expected = models[k].isNull || found == Text::npos ? -1 : static_cast<int>(found);
        const int at = isWide ? strings[k].Pos(wide.data()) : strings[k].Pos(narrow.c_str());
        VEL_FUZZ_CHECK(at == expected);
        break;
      }
      case 10: {
        const bool matches =
            isWide ? strings[k].Match(wide.data()) : strings[k].Match(narrow.c_str());
        VEL_FUZZ_CHECK(matches == (!models[k].isNull && Matches(models[k].text, text)));
        break;
      }
      case 11:
        string = strings[k].ToUpper();
        model = {models[k].isNull, models[k].InCase(std::towupper)};
        break;
      case 12: {
        const Model& other = models[k];
        const bool isEqual = model.isNull == other.isNull && model.text == other.text;
        VEL_FUZZ_CHECK((string == strings[k]) == isEqual);
        VEL_FUZZ_CHECK((strings[k] == string) == isEqual);
        break;
      }
      default:
        string = strings[k].ToLower();
        model = {models[k].isNull, models[k].InCase(std::towlower)};
        break;
    }
  }

  void Compare(std::size_t i, bool isWide) {
    const xstring& string = strings[i];
    const Model& model = models[i];
    VEL_FUZZ_CHECK(string.IsNull() == model.isNull);
    if (model.isNull) return;
    const std::string narrow = Narrow(model.text);
    const std::vector<wchar_t> wide = Wide(model.text);
    if (isWide) {
      const wchar_t* const form = string.CastToCWString();
      VEL_FUZZ_CHECK(WideLength(form) + 1 == wide.size());
      VEL_FUZZ_CHECK(std::equal(wide.begin(), wide.end(), form));
      VEL_FUZZ_CHECK(string == wide.data());
    } else {
      VEL_FUZZ_SAME(string.CastToCString(), narrow);
      VEL_FUZZ_CHECK(string.GetLength() == static_cast<int>(narrow.size()));
      VEL_FUZZ_CHECK(string == narrow.c_str());
    }
    VEL_FUZZ_CHECK(string.IsEmpty() == model.text.empty());
  }

  velFuzzInput in;
  std::vector<xstring> strings;
  std::vector<Model> models;
};

}  // namespace

VEL_FUZZ(input) {
  static const Utf8Locale locale;
  VEL_FUZZ_CHECK(locale.IsFound());
  Duel(input).Run();
}
