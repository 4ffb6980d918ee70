// Word lists in one text: escaping, splitting, and both against a second
// implementation.
#include "velstringutils.h"

#include <cstddef>
#include <optional>
#include <random>
#include <string>
#include <vector>

#include "veltest.h"
#include "veltest_string.h"

namespace {

// A text or the null text.
using Text = std::optional<std::string>;

xstring Str(const Text& text) { return text ? xstring(text->c_str()) : xstring(); }

std::string Escaped(const Text& text, const Text& separators, const Text& escape) {
  const xstring result = velStringUtils::makeEscapedString(Str(text), Str(separators), Str(escape));
  return result.IsNull() ? "(null)" : result.CastToCString();
}

// Every element in brackets.
std::string Listed(const xrchandle<xstringsequence>& elements) {
  std::string listed;
  for (int i = 0; i < elements->getarraysize(); ++i) {
    const xstring element = elements->get(i);
    listed += element.IsNull() ? "(null)" : '[' + std::string(element.CastToCString()) + ']';
  }
  return listed;
}

std::string Parsed(const Text& text, const Text& separators, const Text& escape) {
  return Listed(
      velStringUtils::parseEscapedandFormattedString(Str(text), Str(separators), Str(escape)));
}

// ---- makeEscapedString ----

TEST(MakeEscapedString, MarksSeparatorsAndTheEscapeItself) {
  EXPECT_EQ(Escaped("a,b\\c", ",", "\\"), "a\\,b\\\\c");
  EXPECT_EQ(Escaped("a,b;c", ",;", "!"), "a!,b!;c");
  EXPECT_EQ(Escaped("a,b\\c", ",\\", "\\"), "a\\,b\\\\c");  // not marked twice
}

TEST(MakeEscapedString, MarksEachSeparatorOfARun) {
  EXPECT_EQ(Escaped(",", ",", "\\"), "\\,");
  EXPECT_EQ(Escaped(",;,,", ",;", "\\"), "\\,\\;\\,\\,");
  EXPECT_EQ(Escaped("\\\\", ",", "\\"), "\\\\\\\\");
}

TEST(MakeEscapedString, MarksSeparatorsAtBothEnds) {
  EXPECT_EQ(Escaped("a,", ",", "\\"), "a\\,");
  EXPECT_EQ(Escaped(",a", ",", "\\"), "\\,a");
  EXPECT_EQ(Escaped("a\\", ",", "\\"), "a\\\\");
}

TEST(MakeEscapedString, TextWithoutSeparatorsStaysEqual) {
  EXPECT_EQ(Escaped("plain text", ",", "\\"), "plain text");
}

TEST(MakeEscapedString, NullAndEmptyArguments) {
  EXPECT_EQ(Escaped({}, ",", "\\"), "(null)");
  EXPECT_EQ(Escaped("", ",", "\\"), "");
  EXPECT_EQ(Escaped("a,b", ",", {}), "a,b");
  EXPECT_EQ(Escaped("a,b", ",", ""), "a,b");
  EXPECT_EQ(Escaped("a,b\\", {}, "\\"), "a,b\\\\");
  EXPECT_EQ(Escaped("a,b\\", "", "\\"), "a,b\\\\");
  EXPECT_EQ(Escaped({}, {}, {}), "(null)");
}

TEST(MakeEscapedString, GivesTheTextItselfWhereThereIsNothingToDo) {
  const xstring separators(",");
  for (const xstring& text : {xstring("a,b"), xstring(L"a,b"), xstring(""), xstring()}) {
    const std::string before = Holding(text);
    for (const xstring& escape : {xstring(), xstring(""), xstring(L"")}) {
      const xstring result = velStringUtils::makeEscapedString(text, separators, escape);
      EXPECT_EQ(BufferOf(result), BufferOf(text));
      EXPECT_EQ(Holding(result), before);
    }
  }
}

TEST(MakeEscapedString, OnlyTheFirstCharacterOfTheEscapeCounts) {
  EXPECT_EQ(Escaped("a,b!c?", ",", "!?"), "a!,b!!c?");
}

TEST(MakeEscapedString, WideArgumentsGiveTheSame) {
  const xstring result =
      velStringUtils::makeEscapedString(xstring(L"a,b\\c"), xstring(L","), xstring(L"\\"));
  EXPECT_TRUE(result == "a\\,b\\\\c");
}

TEST(MakeEscapedString, MultibyteTextStaysWhole) {
  const Utf8Locale locale;
  VEL_NEED_LOCALE(locale);
  EXPECT_EQ(Escaped("\u00e9,\u20ac\u00e9", ",", "\\"), "\u00e9\\,\u20ac\u00e9");
  EXPECT_EQ(Escaped(",\u00e9", ",", "\\"), "\\,\u00e9");
  EXPECT_EQ(Escaped("a,b", ",", "\u00e9x"), "a\u00e9,b");
}

TEST(MakeEscapedString, AnEscapeOfSeveralBytesMarksEachOfThem) {
  const Utf8Locale locale;
  VEL_NEED_LOCALE(locale);
  EXPECT_EQ(Escaped("a\u00e9", ",", "\u00e9"), "a\u00e9\xc3\u00e9\xa9");
}

TEST(MakeEscapedString, LongTextsTakeLinearTime) {
  constexpr std::size_t kLength = 1000000;
  const std::string separators(kLength, ',');
  std::string marked;
  for (std::size_t i = 0; i < kLength; ++i) marked += "\\,";
  EXPECT_TRUE(Escaped(separators, ",", "\\") == marked);
  EXPECT_TRUE(Parsed(marked, ",\\", "\\") == '[' + separators + ']');
}

// ---- parseEscapedandFormattedString ----

struct ParseCase {
  Text text, separators, escape;
  const char* expected;
};

void ExpectParsed(const std::vector<ParseCase>& cases) {
  for (const ParseCase& one : cases) {
    EXPECT_EQ(Parsed(one.text, one.separators, one.escape), one.expected)
        << one.text.value_or("(null)") << " at " << one.separators.value_or("(null)") << " with "
        << one.escape.value_or("(null)");
  }
}

TEST(ParseEscaped, KeepsWordsAndSeparators) {
  ExpectParsed({{"a,b", ",", {}, "[a][,][b]"},
                {"a,b", ",", "", "[a][,][b]"},
                {"a,b", ",", "\\", "[a][,][b]"},
                {"a;b,c", ",;", "\\", "[a][;][b][,][c]"},
                {"word", ",", "\\", "[word]"},
                {"a\\b", ",", {}, "[a\\b]"}});
}

TEST(ParseEscaped, ThereIsAnEmptyWordBesideALoneSeparator) {
  ExpectParsed({{"a,", ",", "\\", "[a][,][]"},
                {",", ",", "\\", "[][,][]"},
                {",a", ",", "\\", "[][,][a]"},
                {"a,,b", ",", "\\", "[a][,][][,][b]"},
                {",,", ",", {}, "[][,][][,][]"}});
}

TEST(ParseEscaped, AnEscapedSeparatorBelongsToItsWord) {
  ExpectParsed({{"a\\,b", ",", "\\", "[a,b]"},
                {"\\,", ",", "\\", "[,]"},
                {"a\\,", ",", "\\", "[a,]"},
                {"a\\,b\\,c,d", ",", "\\", "[a,b,c][,][d]"},
                {"a\\,,b", ",", "\\", "[a,][,][b]"},
                {"a\\,b", ",\\", "\\", "[a,b]"},
                {"\\,", ",\\", "\\", "[,]"}});
}

TEST(ParseEscaped, AnEscapeThatIsNoSeparatorCountsOnlyAtTheEndOfAWord) {
  ExpectParsed({{"a\\b", ",", "\\", "[a\\b]"},
                {"a\\\\b", ",", "\\", "[a\\\\b]"},
                {"a\\\\,b", ",", "\\", "[a\\,b]"},
                {"\\a,b", ",", "\\", "[\\a][,][b]"}});
}

TEST(ParseEscaped, ALastWordThatEndsInTheEscapeIsLost) {
  ExpectParsed({{"a\\", ",", "\\", ""},
                {"\\", ",", "\\", ""},
                {"a,b\\", ",", "\\", "[a][,]"},
                {"a\\,b\\", ",", "\\", ""},
                {"a\\", {}, "\\", ""},
                {"a,\\", "", "\\", ""}});
}

TEST(ParseEscaped, AnEscapeThatIsASeparatorStandsForItselfWhenDoubled) {
  ExpectParsed({{"a\\\\b", ",\\", "\\", "[a\\b]"},
                {"\\\\", ",\\", "\\", "[\\]"},
                {"\\\\\\\\", ",\\", "\\", "[\\\\]"},
                {"a\\\\,b", ",\\", "\\", "[a\\][,][b]"},
                {"a\\\\\\,b", ",\\", "\\", "[a\\,b]"}});
}

TEST(ParseEscaped, AnEscapeThatIsASeparatorAndEscapesNothingIsAnElement) {
  ExpectParsed({{"a\\b", ",\\", "\\", "[a][\\][b]"},
                {"a\\b\\c", ",\\", "\\", "[a][\\][b][\\][c]"},
                {"a\\b,c", ",\\", "\\", "[a][\\][b][,][c]"},
                {"a\\b\\,c", ",\\", "\\", "[a][\\][b,c]"},
                {"a\\", ",\\", "\\", "[a][\\][]"},
                {"\\", ",\\", "\\", "[][\\][]"},
                {"\\\\\\", ",\\", "\\", "[\\][\\][]"}});
}

TEST(ParseEscaped, NullAndEmptyArguments) {
  ExpectParsed({{{}, ",", "\\", ""},
                {"", ",", "\\", ""},
                {{}, {}, {}, ""},
                {"a,b", {}, {}, "[a,b]"},
                {"a,b", "", "", "[a,b]"},
                {"a\\", {}, "", "[a\\]"},
                {"a,b", {}, "\\", "[a,b]"},
                {"a,b", "", "\\", "[a,b]"}});
}

TEST(ParseEscaped, WithoutSeparatorsAndEscapeTheElementIsTheTextItself) {
  const xstring text(L"a,b");
  const auto elements =
      velStringUtils::parseEscapedandFormattedString(text, xstring(), xstring(""));
  ASSERT_EQ(elements->getarraysize(), 1);
  EXPECT_EQ(BufferOf(elements->get(0)), BufferOf(text));
}

TEST(ParseEscaped, OnlyTheFirstCharacterOfTheEscapeCounts) {
  ExpectParsed({{"a!,b?,c", ",", "!?", "[a,b?][,][c]"}, {"a!b", ",!", "!?", "[a][!][b]"}});
}

TEST(ParseEscaped, WideArgumentsGiveTheSame) {
  EXPECT_EQ(Listed(velStringUtils::parseEscapedandFormattedString(xstring(L"a\\,b,c"),
                                                                  xstring(L","), xstring(L"\\"))),
            "[a,b][,][c]");
}

TEST(ParseEscaped, WordsOfMultibyteTextStayWhole) {
  const Utf8Locale locale;
  VEL_NEED_LOCALE(locale);
  ExpectParsed({{"\u00e9\\,b", ",", "\\", "[\u00e9,b]"},
                {"\u00e9,\u20ac\u00e9,x", ",", "\\", "[\u00e9][,][\u20ac\u00e9][,][x]"},
                {"\u00e9,b", ",", {}, "[\u00e9][,][b]"}});
}

TEST(ParseEscaped, TheEscapeMayBeAMultibyteCharacter) {
  const Utf8Locale locale;
  VEL_NEED_LOCALE(locale);
  ExpectParsed({{"a\u00e9,b,c", ",", "\u00e9", "[a,b][,][c]"},
                {"\u20ac\u00e9,b", ",", "\u00e9", "[\u20ac,b]"},
                {"a\u00e9", ",", "\u00e9", ""},
                {"a\u20ac,b", ",", "\u00e9", "[a\u20ac][,][b]"}});
}

TEST(ParseEscaped, SeparatorsAreSingleBytes) {
  const Utf8Locale locale;
  VEL_NEED_LOCALE(locale);
  ExpectParsed({{"a\u00e9b", "\u00e9", {}, "[a][\xc3][][\xa9][b]"}});
}

TEST(ParseEscaped, GivesANewSequenceEachTime) {
  const auto first = velStringUtils::parseEscapedandFormattedString("", ",", "\\");
  const auto second = velStringUtils::parseEscapedandFormattedString("", ",", "\\");
  EXPECT_FALSE(first.isnull());
  EXPECT_NE(first.operator->(), second.operator->());
}

// An edit in place moves the text of a buffer that has further owners.
TEST(VelStringUtils, KeepsNoneOfItsArguments) {
  xstring arguments[] = {xstring("a,b"), xstring(",;"), xstring("\\!")};
  std::vector<const korStrBuf*> buffers;
  for (const xstring& argument : arguments) buffers.push_back(BufferOf(argument));
  velStringUtils::makeEscapedString(arguments[0], arguments[1], arguments[2]);
  velStringUtils::parseEscapedandFormattedString(arguments[0], arguments[1], arguments[2]);
  for (std::size_t i = 0; i < 3; ++i) {
    const std::string text = arguments[i].CastToCString();
    arguments[i].Substitute(text.substr(0, 1).c_str(), "x");
    EXPECT_EQ(BufferOf(arguments[i]), buffers[i]);
  }
}

// ---- against a second implementation ----

// Bytes of the character at `text`; what is no UTF-8 is characters of one byte.
std::size_t CharacterBytes(const std::string& text, std::size_t at) {
  const auto lead = static_cast<unsigned char>(text[at]);
  const std::size_t bytes = lead < 0xc2 ? 1 : lead < 0xe0 ? 2 : lead < 0xf0 ? 3 : 4;
  for (std::size_t i = 1; i < bytes; ++i) {
    if (at + i >= text.size() || (text[at + i] & 0xc0) != 0x80) return 1;
  }
  return bytes;
}

std::string FirstCharacterOf(const std::string& text) {
  return text.substr(0, CharacterBytes(text, 0));
}

std::string LastCharacterOf(const std::string& text) {
  std::size_t last = 0;
  for (std::size_t at = 0; at < text.size(); at += CharacterBytes(text, at)) last = at;
  return text.substr(last);
}

// The words of a text with the separator behind each; the last has none.
struct ModelStep {
  std::string word;
  Text delimiter;
};

std::vector<ModelStep> ModelSteps(const std::string& text, const std::string& separators) {
  std::vector<ModelStep> steps(1);
  for (const char byte : text) {
    if (separators.find(byte) == std::string::npos) {
      steps.back().word += byte;
    } else {
      steps.back().delimiter = std::string(1, byte);
      steps.emplace_back();
    }
  }
  return steps;
}

std::string ModelEscaped(const Text& text, const Text& separators, const Text& escape) {
  if (!text) return "(null)";
  if (text->empty() || escape.value_or("").empty()) return *text;
  const std::string character = FirstCharacterOf(*escape);
  std::string all = separators.value_or("");
  if (all.find(character) == std::string::npos) all += character;
  std::string result;
  for (const ModelStep& step : ModelSteps(*text, all)) {
    result += step.word;
    if (step.delimiter) result += character + *step.delimiter;
  }
  return result;
}

std::string ModelParsed(const Text& text, const Text& separatorsArg, const Text& escapeArg) {
  const std::string separators = separatorsArg.value_or("");
  const std::string escape = escapeArg.value_or("");
  if (text.value_or("").empty()) return "";
  if (separators.empty() && escape.empty()) return '[' + *text + ']';
  const Text character = escape.empty() ? Text() : Text(FirstCharacterOf(escape));
  const bool separates = character && separators.find(*character) != std::string::npos;
  std::string listed;
  std::string accumulator;
  bool pending = false;
  const auto emit = [&](const std::string& element) { listed += '[' + element + ']'; };
  for (const auto& [word, delimiter] : ModelSteps(*text, separators)) {
    const std::size_t n = word.size();
    if (character && delimiter == character) {
      if (!pending) {
        accumulator += word;
        pending = true;
      } else if (n == 0) {
        accumulator += *character;
        pending = false;
      } else {
        emit(accumulator);
        emit(*delimiter);
        accumulator = word;
      }
      continue;
    }
    if (character && !separates && n > 0 && LastCharacterOf(word) == *character) {
      pending = false;
      accumulator += word.substr(0, n - character->size()) + delimiter.value_or("");
      continue;
    }
    bool emits = true;
    if (pending) {
      if (n == 0 && delimiter) {
        accumulator += *delimiter;
        emits = false;
      } else {
        emit(accumulator);
        emit(*character);
        accumulator.clear();
      }
    }
    pending = false;
    accumulator += word;
    if (!emits) continue;
    emit(accumulator);
    if (delimiter) emit(*delimiter);
    accumulator.clear();
  }
  return listed;
}

// Draws texts of characters of an alphabet.
class Draw {
 public:
  explicit Draw(std::vector<std::string> characters) : alphabet(std::move(characters)) {}

  std::size_t below(std::size_t n) { return random() % n; }
  std::string text(std::size_t longest) {
    std::string drawn;
    for (std::size_t n = below(longest + 1); n > 0; --n) drawn += alphabet[below(alphabet.size())];
    return drawn;
  }
  Text nullable(std::size_t longest) { return below(10) == 0 ? Text() : Text(text(longest)); }

 private:
  std::mt19937 random{20};
  std::vector<std::string> alphabet;
};

const std::vector<std::string> kAscii = {"a", "b", ",", ";", "\\"};
// Two characters share their first byte.
const std::vector<std::string> kMultibyte = {"a", ",", "\\", "\u00e9", "\u00e8", "\u20ac"};

void ExpectAgreement(const std::vector<std::string>& alphabet, int rounds) {
  Draw draw(alphabet);
  for (int round = 0; round < rounds; ++round) {
    const Text text = draw.nullable(10);
    const Text separators = draw.nullable(3);
    const Text escape = draw.nullable(2);
    ASSERT_EQ(Escaped(text, separators, escape), ModelEscaped(text, separators, escape))
        << testing::PrintToString(text) << testing::PrintToString(separators)
        << testing::PrintToString(escape);
    ASSERT_EQ(Parsed(text, separators, escape), ModelParsed(text, separators, escape))
        << testing::PrintToString(text) << testing::PrintToString(separators)
        << testing::PrintToString(escape);
  }
}

TEST(VelStringUtils, AgreesWithASecondImplementation) { ExpectAgreement(kAscii, 100000); }

TEST(VelStringUtils, AgreesWithASecondImplementationOnMultibyteText) {
  const Utf8Locale locale;
  VEL_NEED_LOCALE(locale);
  ExpectAgreement(kMultibyte, 100000);
}

void ExpectRoundTrip(const std::vector<std::string>& alphabet) {
  Draw draw(alphabet);
  for (int round = 0; round < 20000; ++round) {
    const std::string text = draw.text(12);
    const std::string separators = std::string(",;").substr(draw.below(3));
    const std::string escaped = Escaped(text, separators, "\\");
    ASSERT_EQ(Parsed(escaped, separators + '\\', "\\"), text.empty() ? "" : '[' + text + ']')
        << text << " at " << separators;
  }
}

TEST(VelStringUtils, AnEscapedTextParsesToItselfWithTheEscapeAmongTheSeparators) {
  ExpectRoundTrip(kAscii);
}

TEST(VelStringUtils, EscapedMultibyteTextParsesToItselfToo) {
  const Utf8Locale locale;
  VEL_NEED_LOCALE(locale);
  ExpectRoundTrip(kMultibyte);
}

}  // namespace
