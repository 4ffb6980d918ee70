// Escaping and parsing against second implementations, on plain strings; and what
// is escaped can be parsed again.
#include "velstringutils.h"

#include <vector>

#include "velfuzz.h"

namespace {

using Strings = std::vector<std::string>;

bool Has(const std::string& set, char c) { return set.find(c) != std::string::npos; }

// ---- the oracle ----

std::string Escaped(const std::string& text, const std::string& separators,
                    const std::string& escape) {
  if (escape.empty()) return text;
  std::string made;
  for (const char c : text) {
    if (c == escape[0] || Has(separators, c)) made += escape[0];
    made += c;
  }
  return made;
}

// One step of a scan: a word, and the separator behind it if there is one.
struct Step {
  std::string word;
  std::string delimiter;
};

std::vector<Step> Steps(const std::string& text, const std::string& separators) {
  std::vector<Step> steps(1);
  for (const char c : text) {
    if (Has(separators, c)) {
      steps.back().delimiter = c;
      steps.emplace_back();
    } else {
      steps.back().word += c;
    }
  }
  return steps;
}

Strings Parsed(const std::string& text, const std::string& separators, const std::string& escapes) {
  if (text.empty()) return {};
  if (separators.empty() && escapes.empty()) return {text};
  const std::string escape = escapes.substr(0, 1);
  const bool isSeparator = !escape.empty() && Has(separators, escape[0]);
  Strings elements;
  std::string current;
  bool isPending = false;
  for (const Step& step : Steps(text, separators)) {
    const std::string& word = step.word;
    if (!escape.empty() && step.delimiter == escape) {
      if (!isPending) {
        current += word;
        isPending = true;
      } else if (word.empty()) {
        current += escape;
        isPending = false;
      } else {
        elements.push_back(current);
        elements.push_back(escape);
        current = word;
      }
      continue;
    }
    if (!escape.empty() && !isSeparator && !word.empty() && word.back() == escape[0]) {
      isPending = false;
      current += word.substr(0, word.size() - 1) + step.delimiter;
      continue;
    }
    bool emits = true;
    if (isPending) {
      if (word.empty() && !step.delimiter.empty()) {
        current += step.delimiter;
        emits = false;
      } else {
        elements.push_back(current);
        elements.push_back(escape);
        current.clear();
      }
    }
    isPending = false;
    current += word;
    if (!emits) continue;
    elements.push_back(current);
    if (!step.delimiter.empty()) elements.push_back(step.delimiter);
    current.clear();
  }
  return elements;
}

// ---- the comparison ----

xstring String(const std::string& text) { return xstring(text.c_str()); }

Strings Elements(const xstring& text, const std::string& separators, const std::string& escape) {
  const auto sequence =
      velStringUtils::parseEscapedandFormattedString(text, String(separators), String(escape));
  Strings elements;
  for (int i = 0; i < sequence->getarraysize(); ++i) {
    elements.emplace_back(sequence->get(i).CastToCString());
  }
  return elements;
}

std::string Shown(const Strings& elements) {
  std::string shown;
  for (const std::string& element : elements) shown += '[' + element + "]\n";
  return shown;
}

// Few characters, so that separators and escapes are met, and any other ones.
std::string Text(velFuzzInput& input, unsigned most) {
  std::string text = input.text(most);
  for (char& c : text) {
    if (static_cast<unsigned char>(c) < 200) c = ",;\\/ab x"[static_cast<unsigned char>(c) % 8];
  }
  return text;
}

std::string Ascii(std::string text) {
  for (char& c : text) c = static_cast<char>(c & 0x7F ? c & 0x7F : 'x');
  return text;
}

}  // namespace

VEL_FUZZ(input) {
  const std::string separators = Text(input, 4);
  const std::string escape = Ascii(Text(input, 2));
  const std::string text = Text(input, 200);

  const xstring escaped =
      velStringUtils::makeEscapedString(String(text), String(separators), String(escape));
  VEL_FUZZ_SAME(escaped.CastToCString(), Escaped(text, separators, escape));
  VEL_FUZZ_SAME(Shown(Elements(String(text), separators, escape)),
                Shown(Parsed(text, separators, escape)));

  if (text.empty() || escape.empty()) return;
  const Strings whole = Elements(escaped, separators + escape[0], escape);
  VEL_FUZZ_SAME(Shown(whole), Shown({text}));
}
