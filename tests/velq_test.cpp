// The command line tool: what it prints, what it refuses, and how it ends.
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <initializer_list>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "command.h"
#include "veltest.h"
#include "veltest_long.h"

namespace {

const std::string kData = VELSTD_SOURCE_DIR "/tests/data/velq/";
const std::string kIsoCodes = "/usr/share/iso-codes/json/";

std::string Scratch(const std::string& name) {
  return VELSTD_BINARY_DIR "/velq_test_" + std::to_string(getpid()) + '_' + name;
}

std::string Read(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  EXPECT_TRUE(file.is_open()) << path;
  std::ostringstream text;
  text << file.rdbuf();
  return text.str();
}

std::string Quoted(const std::string& word) {
  EXPECT_EQ(word.find('\''), std::string::npos);
  return '\'' + word + '\'';
}

// A file that lasts as long as this object.
class TempFile {
 public:
  TempFile(const std::string& name, const std::string& text) : path_(Scratch(name)) {
    std::ofstream(path_, std::ios::binary) << text;
  }
  ~TempFile() { std::remove(path_.c_str()); }
  TempFile(const TempFile&) = delete;
  TempFile& operator=(const TempFile&) = delete;
  const std::string& path() const { return path_; }

 private:
  std::string path_;
};

struct Outcome {
  int status;
  std::string out;
  std::string error;
};

// Runs velq with these words; `before` goes in front of the command, `after`
// behind it, both for the shell.
Outcome Velq(const std::vector<std::string>& words, const std::string& before = "LC_ALL=C.UTF-8",
             const std::string& after = "</dev/null") {
  const TempFile out("out", "");
  const TempFile error("err", "");
  std::string line = before + ' ' + Quoted(VELSTD_VELQ_FILE);
  for (const std::string& word : words) line += ' ' + Quoted(word);
  line += " >" + Quoted(out.path()) + " 2>" + Quoted(error.path()) + ' ' + after;
  const int status = std::system(line.c_str());
  EXPECT_TRUE(WIFEXITED(status)) << line;
  return {WEXITSTATUS(status), Read(out.path()), Read(error.path())};
}

// The text that velq prints for a document, on one line.
std::string Printed(const std::string& document) {
  const TempFile file("doc.json", document);
  const Outcome outcome = Velq({"print", "--step", "-1", file.path()});
  EXPECT_EQ(outcome.status, 0) << outcome.error;
  EXPECT_EQ(outcome.error, "");
  return outcome.out;
}

// The complaint about a document, from behind the program's name and the path.
std::string Complaint(const std::string& document, std::vector<std::string> options = {}) {
  const TempFile file("doc.json", document);
  options.insert(options.begin(), "print");
  options.push_back(file.path());
  const Outcome outcome = Velq(options);
  EXPECT_EQ(outcome.status, 2);
  EXPECT_EQ(outcome.out, "");
  const std::string lead = "velq: " + file.path() + ":";
  EXPECT_EQ(outcome.error.substr(0, lead.size()), lead);
  return outcome.error.size() < lead.size() ? "" : outcome.error.substr(lead.size());
}

std::multiset<std::string> StrippedLines(const std::string& text) {
  std::multiset<std::string> lines;
  std::istringstream in(text);
  for (std::string line; std::getline(in, line);) {
    lines.insert(line.substr(std::min(line.find_first_not_of(' '), line.size())));
  }
  return lines;
}

// What the printer makes of each `"key": "text"` line of a document that has no
// escapes.
std::multiset<std::string> ExpectedTexts(const std::string& document) {
  std::multiset<std::string> lines;
  for (std::string line : StrippedLines(document)) {
    const std::size_t colon = line.find("\": \"");
    if (colon == std::string::npos) continue;
    if (line.back() == ',') line.pop_back();
    lines.insert(line.replace(colon, 4, "\" : \""));
  }
  return lines;
}

// ---- print --------------------------------------------------------------------

TEST(VelqPrint, ValuesOfEveryKindPrintAsRecorded) {
  const Outcome outcome = Velq({"print", kData + "values.json"});
  EXPECT_EQ(outcome.status, 0) << outcome.error;
  EXPECT_EQ(outcome.out, Read(kData + "values.expected"));
}

TEST(VelqPrint, StepIndentsByThatManyBlanks) {
  const std::string file = kData + "nested.json";
  EXPECT_EQ(Velq({"print", file}).out, "anyseq\n[\n  0 : anyseq\n  [\n    0 : 1\n  ]\n]\n");
  EXPECT_EQ(Velq({"print", "--step", "4", file}).out,
            "anyseq\n[\n    0 : anyseq\n    [\n        0 : 1\n    ]\n]\n");
  EXPECT_EQ(Velq({"print", "--step=0", file}).out, "anyseq\n[\n0 : anyseq\n[\n0 : 1\n]\n]\n");
  EXPECT_EQ(Velq({"print", file, "--step", "-1"}).out, "anyseq [ 0 : anyseq [ 0 : 1 ] ]\n");
}

TEST(VelqPrint, IntegersThatAnIntHoldsAreInts) {
  // The text of both kinds is the same; a real loses digits beyond the fifteenth.
  EXPECT_EQ(Printed("[0, -0, 2147483647, -2147483646]"),
            "anyseq [ 0 : 0 1 : 0 2 : 2147483647 3 : -2147483646 ]\n");
}

TEST(VelqPrint, NumbersThatStandForNilOrUninitStayNumbers) {
  EXPECT_EQ(Printed("[-2147483648, -2147483647, 1e126, 9e125]"),
            "anyseq [ 0 : -2147483648 1 : -2147483647 2 : 1e+126 3 : 9e+125 ]\n");
}

TEST(VelqPrint, LargeIntegersBecomeReals) {
  EXPECT_EQ(Printed("[2147483648, -2147483649, 4294967296, 18446744073709551615, "
                    "99999999999999999999]"),
            "anyseq [ 0 : 2147483648 1 : -2147483649 2 : 4294967296 3 : 1.84467440737096e+19 "
            "4 : 1e+20 ]\n");
}

TEST(VelqPrint, TheLastOfEqualKeysWins) {
  EXPECT_EQ(Printed(R"({"a": [1], "a": 2})"), "anydict { \"a\" : 2 }\n");
}

TEST(VelqPrint, EmptyTextAndEmptyKeyAreKept) {
  EXPECT_EQ(Printed(R"({"": ""})"), "anydict { \"\" : \"\" }\n");
}

TEST(VelqPrint, EscapesAreDecoded) {
  EXPECT_EQ(Printed(R"(["\u00e9\ud83c\udde6\t\"\/"])"),
            "anyseq [ 0 : \"\u00e9\U0001F1E6\t\"/\" ]\n");
}

TEST(VelqPrint, ADocumentMayBeOnePlainValue) {
  EXPECT_EQ(Printed("null"), "nil\n");
  EXPECT_EQ(Printed(" true "), "true\n");
  EXPECT_EQ(Printed("\xef\xbb\xbf\"after a byte order mark\""), "\"after a byte order mark\"\n");
}

TEST(VelqPrint, ReadsTheStandardInput) {
  const TempFile file("in.json", "[7]");
  const Outcome outcome = Velq({"print", "--step=-1", "-"}, "LC_ALL=C", '<' + Quoted(file.path()));
  EXPECT_EQ(outcome.status, 0);
  EXPECT_EQ(outcome.out, "anyseq [ 0 : 7 ]\n");
}

TEST(VelqPrint, WordsAfterTwoDashesAreNoOptions) {
  const Outcome outcome = Velq({"print", "--", "--step"});
  EXPECT_EQ(outcome.status, 2);
  EXPECT_EQ(outcome.error, "velq: --step: No such file or directory\n");
}

TEST(VelqPrint, TextsKeepTheirBytesInEveryLocale) {
  const std::string expected = Read(kData + "unicode.expected");
  for (const char* locale :
       {"C", "C.UTF-8", "de_DE.ISO-8859-1", "de_DE.UTF-8", "tr_TR.UTF-8", "xx_XX"}) {
    const Outcome outcome =
        Velq({"print", kData + "unicode.json"}, std::string("LC_ALL=") + locale);
    EXPECT_EQ(outcome.status, 0) << locale;
    EXPECT_EQ(outcome.out, expected) << locale;
  }
}

TEST(VelqPrint, DepthDoesNotMatter) {
  constexpr std::size_t kDepth = 1000000;
  const TempFile file("deep.json", std::string(kDepth, '[') + std::string(kDepth, ']'));
  const Outcome outcome =
      Velq({"print", "--step", "-1", file.path()}, "ulimit -s 8192; LC_ALL=C.UTF-8");
  EXPECT_EQ(outcome.status, 0) << outcome.error;
  std::string expected;
  for (std::size_t i = 1; i < kDepth; ++i) expected += "anyseq [ 0 : ";
  expected += "anyseq [ ]";
  for (std::size_t i = 1; i < kDepth; ++i) expected += " ]";
  EXPECT_TRUE(outcome.out == expected + '\n') << outcome.out.size() << " bytes";
}

TEST(VelqPrint, DeepObjectsLoadToo) {
  constexpr std::size_t kDepth = 100000;
  std::string document;
  std::string expected;
  for (std::size_t i = 0; i < kDepth; ++i) document += "{\"a\":[";
  for (std::size_t i = 0; i < kDepth; ++i) document += "]}";
  for (std::size_t i = 0; i < kDepth; ++i) {
    expected += i == 0 ? "anydict { \"a\" : anyseq [" : " 0 : anydict { \"a\" : anyseq [";
  }
  for (std::size_t i = 0; i < kDepth; ++i) expected += " ] }";
  EXPECT_TRUE(Printed(document) == expected + '\n');
}

TEST(VelqPrint, DebiansCountriesAndLanguagesComeThroughWhole) {
  for (const char* name : {"iso_3166-1.json", "iso_639-3.json"}) {
    const std::string path = kIsoCodes + name;
    if (access(path.c_str(), R_OK) != 0) FAIL() << "iso-codes is not installed: ./dev setup";
    const std::multiset<std::string> expected = ExpectedTexts(Read(path));
    ASSERT_GT(expected.size(), 1000u);
    for (const char* locale : {"LC_ALL=C", "LC_ALL=C.UTF-8"}) {
      const Outcome outcome = Velq({"print", path}, locale);
      EXPECT_EQ(outcome.status, 0) << outcome.error;
      std::multiset<std::string> texts;
      for (const std::string& line : StrippedLines(outcome.out)) {
        if (line.find("\" : \"") != std::string::npos) texts.insert(line);
      }
      EXPECT_TRUE(texts == expected) << name << ", " << locale;
    }
  }
}

// ---- print, what is refused ----------------------------------------------------

TEST(VelqPrint, SyntaxErrorsTellPathLineAndColumn) {
  const struct {
    const char* document;
    const char* place;
  } kCases[] = {
      {"[1,\n  2 x]", " /2: line 2, column 5: "},
      {"[\"\u00e9\u00e9\", x]", " /1: line 1, column 8: "},  // in characters
      {"", " line 1, column 1: "},
      {"{\"a\": 1", " /a: line 1, column 8: "},
      {"[1,]", " /1: line 1, column 4: "},
      {"[1] 2", " line 1, column 5: "},
      {"\n\n[\"a\nb\"]", " /0: line 3, "},
  };
  for (const auto& [document, place] : kCases) {
    EXPECT_THAT(Complaint(document), ::testing::StartsWith(place)) << document;
  }
}

TEST(VelqPrint, SyntaxErrorsTellWhatWasExpected) {
  EXPECT_EQ(Complaint("[1,]"),
            " /1: line 1, column 4: syntax error while parsing value - unexpected ']'; expected "
            "'[', '{', or a literal\n");
}

TEST(VelqPrint, RefusesBytesThatAreNoUtf8) {
  EXPECT_THAT(Complaint("[\"\xff\"]"), ::testing::HasSubstr("ill-formed UTF-8"));
}

TEST(VelqPrint, RefusesNumbersThatNoRealHolds) {
  EXPECT_EQ(Complaint("[1, 1e400]"), " /1: line 1, column 5: number overflow parsing '1e400'\n");
}

TEST(VelqPrint, ATextWithAZeroCharacterIsRefusedWithItsPlace) {
  EXPECT_EQ(Complaint(R"({"a": [1, {"b": 2, "c": "x\u0000y"}]})"),
            " /a/1/c: line 1, column 25: Zero byte in text at byte 1\n");
  EXPECT_EQ(Complaint(R"(["\u0000"])"), " /0: line 1, column 2: Zero byte in text at byte 0\n");
  EXPECT_EQ(Complaint(R"("\u0000")"), " line 1, column 1: Zero byte in text at byte 0\n");
  EXPECT_EQ(Complaint(R"([[], [0, {}, "\u0000"]])"),
            " /1/2: line 1, column 14: Zero byte in text at byte 0\n");
}

TEST(VelqPrint, AKeyWithAZeroCharacterIsRefusedWithItsPlace) {
  EXPECT_EQ(Complaint(R"({"a": [0, {"b\u0000": 1}]})"),
            " /a/1: line 1, column 12: Zero byte in text at byte 1\n");
  EXPECT_EQ(Complaint(R"({"\u0000": 1})"), " line 1, column 2: Zero byte in text at byte 0\n");
}

TEST(VelqPrint, FilesThatCannotBeReadAreNamed) {
  const Outcome missing = Velq({"print", "/nonexistent/file.json"});
  EXPECT_EQ(missing.status, 2);
  EXPECT_EQ(missing.error, "velq: /nonexistent/file.json: No such file or directory\n");
  const Outcome folder = Velq({"print", kData});
  EXPECT_EQ(folder.status, 2);
  EXPECT_EQ(folder.error, "velq: " + kData + ": Is a directory\n");
}

TEST(VelqPrint, OutputThatCannotBeWrittenIsAnError) {
  if (access("/dev/full", W_OK) != 0) FAIL() << "there is no /dev/full";
  const Outcome outcome = Velq({"print", kData + "values.json"}, "LC_ALL=C", ">/dev/full");
  EXPECT_EQ(outcome.status, 2);
  EXPECT_EQ(outcome.error, "velq: cannot write the output: No space left on device\n");
}

// ---- print --countries -----------------------------------------------------------

TEST(VelqCountries, PrintAsObjectsOfTheirOwnType) {
  for (const char* locale : {"LC_ALL=C", "LC_ALL=C.UTF-8"}) {
    const Outcome outcome = Velq({"print", "--countries", kData + "countries.json"}, locale);
    EXPECT_EQ(outcome.status, 0) << outcome.error;
    EXPECT_EQ(outcome.out, Read(kData + "countries.expected")) << locale;
  }
}

TEST(VelqCountries, EveryCountryOfDebiansListIsThere) {
  const std::string path = kIsoCodes + "iso_3166-1.json";
  if (access(path.c_str(), R_OK) != 0) FAIL() << "iso-codes is not installed: ./dev setup";
  const Outcome outcome = Velq({"print", "--countries", path});
  EXPECT_EQ(outcome.status, 0) << outcome.error;
  const std::multiset<std::string> lines = StrippedLines(outcome.out);
  std::size_t flags = 0;
  for (const std::string& text : ExpectedTexts(Read(path))) {
    if (text.compare(0, 6, "\"flag\"") != 0) continue;
    ++flags;
    EXPECT_EQ(lines.count("Flag" + text.substr(6)), 1u) << text;
  }
  EXPECT_GT(flags, 200u);
}

TEST(VelqCountries, DocumentsOfAnotherFormAreRefusedWithThePlace) {
  const std::vector<std::string> option = {"--countries"};
  EXPECT_EQ(Complaint("[]", option), " $.3166-1 is missing\n");
  EXPECT_EQ(Complaint("null", option), " $.3166-1 is missing\n");
  EXPECT_EQ(Complaint("{}", option), " $.3166-1 is missing\n");
  EXPECT_EQ(Complaint(R"({"3166-1": null})", option), " $.3166-1 is no array\n");
  EXPECT_EQ(Complaint(R"({"3166-1": [3]})", option), " $.3166-1[0] is no object\n");
  EXPECT_EQ(Complaint(R"({"3166-1": [{}]})", option), " $.3166-1[0].name is missing\n");
  EXPECT_EQ(Complaint(R"({"3166-1": [{"name": 5}]})", option), " $.3166-1[0].name is no text\n");
  EXPECT_EQ(Complaint(R"({"3166-1": [{"name": "a", "official_name": null}]})", option),
            " $.3166-1[0].official_name is no text\n");
}

// ---- compare ---------------------------------------------------------------------

// What velq says of two files, and how it ends.
std::string Compared(const std::string& first, const std::string& second) {
  const Outcome outcome = Velq({"compare", first, second});
  EXPECT_EQ(outcome.error, "");
  return outcome.out + std::to_string(outcome.status);
}

const char* const kEqual = "equal\n0";
const char* const kDifferent = "different\n1";

// What velq says of two documents, in whichever order.
std::string ComparedTexts(const std::string& first, const std::string& second) {
  const TempFile a("a.json", first);
  const TempFile b("b.json", second);
  const std::string result = Compared(a.path(), b.path());
  EXPECT_EQ(Compared(b.path(), a.path()), result) << first << " and " << second;
  return result;
}

TEST(VelqCompare, DocumentsAreEqualToThemselves) {
  for (const char* name :
       {"values.json", "values_reordered.json", "nested.json", "unicode.json", "countries.json"}) {
    EXPECT_EQ(Compared(kData + name, kData + name), kEqual) << name;
  }
}

TEST(VelqCompare, OrderOfEntriesAndLayoutDoNotCount) {
  EXPECT_EQ(Compared(kData + "values.json", kData + "values_reordered.json"), kEqual);
  EXPECT_EQ(Compared(kData + "values_reordered.json", kData + "values.json"), kEqual);
}

TEST(VelqCompare, DocumentsOfOtherContentAreDifferent) {
  EXPECT_EQ(Compared(kData + "values.json", kData + "unicode.json"), kDifferent);
  EXPECT_EQ(Compared(kData + "nested.json", kData + "countries.json"), kDifferent);
}

TEST(VelqCompare, OneDifferenceIsEnough) {
  const struct {
    const char* first;
    const char* second;
  } cases[] = {
      {R"({"a": 1})", R"({"a": 2})"},
      {R"({"a": 1})", R"({"b": 1})"},
      {R"({"a": 1})", R"({"a": 1, "b": 2})"},  // seen from both sides
      {R"({"a": null})", "{}"},
      {R"([{"a": {}}])", R"([{"a": {"b": null}}])"},
      {"[1, 2]", "[2, 1]"},
      {"[1, 2]", "[1, 2, 3]"},
      {"[]", "{}"},
      {"[]", "null"},
      {"[[]]", "[]"},
      {"[null]", "[false]"},
      {"[0]", "[false]"},
      {"[1]", R"(["1"])"},
      {"[1]", "[1.0]"},
      {R"(["a"])", R"(["A"])"},
      {R"(["\u00e9"])", R"(["e\u0301"])"},
      {"[-2147483648]", "[null]"},
      {"[1e126]", "[null]"},
      {"[9e125]", "[1e126]"},
  };
  for (const auto& one : cases) {
    EXPECT_EQ(ComparedTexts(one.first, one.second), kDifferent)
        << one.first << " and " << one.second;
  }
}

TEST(VelqCompare, DifferentSpellingsOfAValueAreEqual) {
  EXPECT_EQ(ComparedTexts("[0.1, 2147483648, 1e126]", "[1e-1, 2147483648.0, 10e125]"), kEqual);
  EXPECT_EQ(ComparedTexts(R"(["\u00e9\/"])", "[\"\u00e9/\"]"), kEqual);
  EXPECT_EQ(ComparedTexts(R"({"a": 1, "a": 2})", R"({"a": 2})"), kEqual);
}

TEST(VelqCompare, ADocumentMayBeASingleValue) {
  for (const char* value : {"1", "0.5", "\"text\"", "\"\"", "true", "null", "[]", "{}"}) {
    EXPECT_EQ(ComparedTexts(value, value), kEqual) << value;
  }
  EXPECT_EQ(ComparedTexts("1", "2"), kDifferent);
  EXPECT_EQ(ComparedTexts("null", "0"), kDifferent);
  EXPECT_EQ(ComparedTexts("1", "[1]"), kDifferent);
}

TEST(VelqCompare, DepthDoesNotMatter) {
  constexpr std::size_t kDepth = 200000;
  const auto nested = [](const char* inner) {
    return std::string(kDepth, '[') + inner + std::string(kDepth, ']');
  };
  const TempFile one("one.json", nested("1"));
  const TempFile two("two.json", nested("2"));
  EXPECT_EQ(Compared(one.path(), one.path()), kEqual);
  EXPECT_EQ(Compared(one.path(), two.path()), kDifferent);
}

TEST(VelqCompare, DebiansCountriesAndLanguagesAreEqualToThemselvesOnly) {
  const std::string countries = kIsoCodes + "iso_3166-1.json";
  const std::string languages = kIsoCodes + "iso_639-3.json";
  for (const std::string& path : {countries, languages}) {
    if (access(path.c_str(), R_OK) != 0) FAIL() << "iso-codes is not installed: ./dev setup";
    EXPECT_EQ(Compared(path, path), kEqual) << path;
  }
  EXPECT_EQ(Compared(countries, languages), kDifferent);
  EXPECT_EQ(Compared(languages, countries), kDifferent);
}

TEST(VelqCompare, OneChangedByteOfALargeDocumentIsFound) {
  const std::string path = kIsoCodes + "iso_639-3.json";
  if (access(path.c_str(), R_OK) != 0) FAIL() << "iso-codes is not installed: ./dev setup";
  std::string changed = Read(path);
  const std::size_t last = changed.rfind("\"name\": \"");
  ASSERT_NE(last, std::string::npos);
  changed[last + 9] = '?';
  const TempFile copy("changed.json", changed);
  EXPECT_EQ(Compared(path, copy.path()), kDifferent);
}

TEST(VelqCompare, OneDocumentMayBeTheStandardInput) {
  const std::string file = kData + "values.json";
  for (const std::vector<std::string>& words :
       {std::vector<std::string>{"compare", "-", file}, {"compare", file, "-"}}) {
    const Outcome outcome = Velq(words, "LC_ALL=C", '<' + Quoted(file));
    EXPECT_EQ(outcome.out, "equal\n");
    EXPECT_EQ(outcome.status, 0);
  }
}

TEST(VelqCompare, DocumentsThatCannotBeLoadedEndWithTwo) {
  const std::string good = kData + "nested.json";
  const TempFile bad("bad.json", "[1,]");
  for (const std::string& path : {std::string("/nonexistent/file.json"), bad.path()}) {
    for (const std::vector<std::string>& words :
         {std::vector<std::string>{"compare", path, good}, {"compare", good, path}}) {
      const Outcome outcome = Velq(words);
      EXPECT_EQ(outcome.status, 2);
      EXPECT_EQ(outcome.out, "");
      EXPECT_EQ(outcome.error.rfind("velq: " + path + ":", 0), 0u) << outcome.error;
    }
  }
}

// ---- types -------------------------------------------------------------------------

// What stands in the listing for one type.
std::string Paragraph(const std::string& listing, const std::string& head) {
  const std::size_t start = ('\n' + listing).find('\n' + head + '\n');
  if (start == std::string::npos) return "";
  std::size_t end = listing.find('\n', start) + 1;
  while (end < listing.size() && listing[end] == ' ') end = listing.find('\n', end) + 1;
  return listing.substr(start, end - start);
}

TEST(VelqTypes, TellsKindParentsAndAttributes) {
  const Outcome outcome = Velq({"types"});
  EXPECT_EQ(outcome.status, 0);
  EXPECT_EQ(Paragraph(outcome.out, "basic int"), "basic int\n");
  EXPECT_EQ(Paragraph(outcome.out, "object object"), "object object\n");
  EXPECT_EQ(Paragraph(outcome.out, "sequence intseq of int"), "sequence intseq of int\n");
  EXPECT_EQ(Paragraph(outcome.out, "dictionary anydict of any"), "dictionary anydict of any\n");
  EXPECT_EQ(Paragraph(outcome.out, "structure vellib::XInvalidArrayIndex : vellib::XException"),
            "structure vellib::XInvalidArrayIndex : vellib::XException\n"
            "  VelObject : any, optional\n"
            "  Index : int\n"
            "  Dimension : int\n");
  EXPECT_EQ(Paragraph(outcome.out, "sequence demo::CountrySeq of demo::Country"),
            "sequence demo::CountrySeq of demo::Country\n");
  EXPECT_EQ(Paragraph(outcome.out, "structure demo::Country"),
            "structure demo::Country\n  Name : string\n  OfficialName : string\n"
            "  CommonName : string\n  Alpha2 : string\n  Alpha3 : string\n  Numeric : string\n"
            "  Flag : string\n");
}

TEST(VelqTypes, ListsEveryRegisteredTypeOnceInOrderOfTheNames) {
  std::vector<std::string> expected = {"demo::Country", "demo::CountrySeq"};
  velRttiForEach(
      [](xrtti* type, void* names) {
        const std::string name = type->getName().CastToCString();
        if (name.compare(0, 9, "veltest::") != 0) {
          static_cast<std::vector<std::string>*>(names)->push_back(name);
        }
        return true;
      },
      &expected);
  std::sort(expected.begin(), expected.end());
  std::vector<std::string> listed;
  std::istringstream listing(Velq({"types"}).out);
  for (std::string line; std::getline(listing, line);) {
    if (line[0] == ' ') continue;
    std::istringstream words(line);
    std::string kind;
    std::string name;
    words >> kind >> name;
    if (name.back() == ',') name.pop_back();
    listed.push_back(name);
  }
  EXPECT_GT(listed.size(), 40u);
  EXPECT_THAT(listed, ::testing::ElementsAreArray(expected));
}

// Kinds of which the library registers none: listed by the same code.
TEST(VelqTypes, TellsThePartsOfEnumerationsUnionsAndArrays) {
  static const char* const colours[] = {"red", "green"};
  static xrttienum colour("veltest::Colour", 2, colours);
  static xrttiobject plain;
  plain.initializeRttiObject("veltest::Plain", 0, 0, nullptr);
  static xrttiobject* const parents[] = {&plain, VelLogObject::getClassRtti()};
  static xrttiattr which("which", &colour, 0, nullptr);
  static xrttiattr number("number", velGetRtti_int(), 0, nullptr);
  static xrttiattr text("text", velGetRtti_string(), 1, nullptr);
  static const int labels[] = {0};
  static xrttiattr* const branches[] = {&number};
  static xrttiunion choice;
  choice.initializeRttiUnion("veltest::Union", 1, 2, parents, &which, 1, labels, branches, &text);
  static const int sizes[] = {2, 3};
  static xrttiarray array;
  array.initializeRttiArray("veltest::Array", 1, 2, sizes, velGetRtti_real(), 1, nullptr);
  for (xrtti* type : std::initializer_list<xrtti*>{&colour, &plain, &choice, &array}) {
    velRttiAddToMap(type);
  }

  std::ostringstream out;
  Arguments none({});
  EXPECT_EQ(runTypes(none, out), 0);
  EXPECT_EQ(Paragraph(out.str(), "enumeration veltest::Colour"),
            "enumeration veltest::Colour\n  red\n  green\n");
  EXPECT_EQ(Paragraph(out.str(), "object veltest::Plain, not counted"),
            "object veltest::Plain, not counted\n");
  EXPECT_EQ(Paragraph(out.str(), "union veltest::Union : veltest::Plain, veltest::LogObject"),
            "union veltest::Union : veltest::Plain, veltest::LogObject\n"
            "  by which : veltest::Colour\n  0: number : int\n  else: text : string, optional\n");
  EXPECT_EQ(Paragraph(out.str(), "array veltest::Array[2][3] of real, optional"),
            "array veltest::Array[2][3] of real, optional\n");
}

// ---- get, diff, check, schema -----------------------------------------------------------

constexpr char kOrder[] = R"({"lines": [{"price": 12.5, "name": "\u00fc"}, {"a/b": null}]})";

TEST(VelqGet, PrintsTheValueAtAPath) {
  const TempFile file("order.json", kOrder);
  const struct {
    std::vector<std::string> words;
    const char* out;
  } kCases[] = {
      {{"get", "/lines/0/price"}, "12.5\n"},
      {{"get", "/lines/0/name"}, "\"\u00fc\"\n"},
      {{"get", "/lines/1/a~1b"}, "nil\n"},
      {{"get", "/lines/1"}, "anydict\n{\n  \"a/b\" : nil\n}\n"},
      {{"get", "--json", "/lines/1"}, "{\n  \"a/b\": null\n}\n"},
      {{"get", "--json", "/lines/0/price"}, "12.5\n"},
  };
  for (auto [words, out] : kCases) {
    words.push_back(file.path());
    const Outcome outcome = Velq(words);
    EXPECT_EQ(outcome.status, 0) << outcome.error;
    EXPECT_EQ(outcome.out, out);
  }
}

TEST(VelqGet, TheEmptyPathIsTheWholeDocument) {
  const TempFile file("order.json", kOrder);
  EXPECT_EQ(Velq({"get", "", file.path()}).out, Velq({"print", file.path()}).out);
}

TEST(VelqGet, RefusesWhatIsNotThere) {
  const TempFile file("order.json", kOrder);
  const Outcome missing = Velq({"get", "/lines/7", file.path()});
  EXPECT_EQ(missing.status, 2);
  EXPECT_EQ(missing.error, "velq: " + file.path() + ": nothing at /lines/7\n");
  EXPECT_THAT(Velq({"get", "lines", file.path()}).error,
              ::testing::HasSubstr("Invalid path: no \"/\" at its beginning: lines"));
}

TEST(VelqDiff, PrintsALineForEachDifference) {
  const TempFile before("before.json", kOrder);
  const TempFile after("after.json", R"({"lines": [{"price": 13, "name": "\u00fc"}], "x": [1]})");
  const Outcome outcome = Velq({"diff", before.path(), after.path()});
  EXPECT_EQ(outcome.status, 1);
  EXPECT_EQ(outcome.out,
            "/lines/0/price : 12.5 -> 13\n"
            "/lines/1 : anydict { \"a/b\" : nil } -> (nothing)\n"
            "/x : (nothing) -> anyseq [ 0 : 1 ]\n");
}

TEST(VelqDiff, SaysNothingOfEqualDocuments) {
  const TempFile file("order.json", kOrder);
  const Outcome outcome = Velq({"diff", file.path(), file.path()});
  EXPECT_EQ(outcome.status, 0);
  EXPECT_EQ(outcome.out, "");
}

TEST(VelqCheck, TellsWhetherADocumentIsOfAType) {
  const TempFile good("good.json", R"([{"Name": "Utopia"}, null])");
  const Outcome valid = Velq({"check", "--type", "demo::Country", good.path()});
  EXPECT_EQ(valid.status, 1);
  EXPECT_EQ(valid.out,
            good.path() + ": line 1, column 1: an array where demo::Country is expected\n");
  const TempFile one("one.json", R"({"Name": "Utopia", "Flag": null})");
  const Outcome outcome = Velq({"check", "--type=demo::Country", one.path()});
  EXPECT_EQ(outcome.status, 0) << outcome.error;
  EXPECT_EQ(outcome.out, "valid\n");
}

TEST(VelqCheck, RefusesUnknownTypesAndLibraries) {
  const TempFile file("order.json", kOrder);
  const std::string unknown =
      "velq: unknown type nobody (velq types lists them; --load brings more)\n";
  EXPECT_EQ(Velq({"check", "--type", "nobody", file.path()}).error, unknown);
  EXPECT_EQ(Velq({"schema", "nobody"}).error, unknown);
  const Outcome missing = Velq({"types", "--load", "/nonexistent.so"});
  EXPECT_EQ(missing.status, 2);
  EXPECT_THAT(missing.error, ::testing::HasSubstr("/nonexistent.so"));
}

TEST(VelqSchema, DescribesTheDocumentsOfAType) {
  const Outcome outcome = Velq({"schema", "demo::CountrySeq"});
  EXPECT_EQ(outcome.status, 0) << outcome.error;
  const TempFile schema("schema.json", outcome.out);
  const auto at = [&](const char* path) {
    return Velq({"get", "--json", path, schema.path()}).out;
  };
  EXPECT_EQ(at("/$schema"), "\"https://json-schema.org/draft/2020-12/schema\"\n");
  EXPECT_EQ(at("/anyOf/0/$ref"), "\"#/$defs/demo::CountrySeq\"\n");
  EXPECT_EQ(at("/$defs/demo::CountrySeq/items/anyOf/0/$ref"), "\"#/$defs/demo::Country\"\n");
  EXPECT_EQ(at("/$defs/demo::Country/properties/Name/type/0"), "\"string\"\n");
  EXPECT_EQ(at("/$defs/demo::Country/additionalProperties"), "false\n");
}

// ---- types of a library that is loaded ---------------------------------------------------

const std::string kTypes = VELSTD_VELQ_TYPES_FILE;

TEST(VelqLoad, BringsTheTypesOfALibrary) {
  EXPECT_EQ(Velq({"types"}).out.find("twins::"), std::string::npos);
  const Outcome outcome = Velq({"types", "--load", kTypes});
  EXPECT_EQ(outcome.status, 0) << outcome.error;
  std::string listed;
  for (const char* head :
       {"enumeration twins::Color", "structure twins::Point", "structure twins::Top",
        "structure twins::Left : twins::Top", "structure twins::Bottom : twins::Left, twins::Right",
        "union twins::Shape", "structure veltwins_plugin::Own"}) {
    listed += Paragraph(outcome.out, head);
  }
  EXPECT_EQ(listed, Read(kData + "types.expected"));
}

TEST(VelqLoad, ChecksDocumentsOfItsTypes) {
  const struct {
    const char* type;
    const char* document;
    int status;
    const char* said;  // behind the path; nothing when it is valid
  } kCases[] = {
      {"twins::Point", R"({"x": 1, "next": {"label": "a", "color": "blue"}})", 0, ""},
      {"twins::Point", "null", 0, ""},
      {"twins::Point", R"({"next": {"x": "a"}})", 1,
       ": /next/x: line 1, column 16: Object type mismatch: string where int is expected"},
      {"twins::Point", R"({"color": "pink"})", 1,
       ": /color: line 1, column 11: \"pink\" is no value of twins::Color"},
      {"twins::Shape", R"({"kind": 2, "text": "a"})", 0, ""},
      {"twins::Shape", R"({"kind": 2, "radius": 1})", 1,
       ": /radius: line 1, column 23: not the branch that the discriminator of twins::Shape tells"},
      {"twins::Bottom", R"({"height": 1, "side": 2, "extra": []})", 0, ""},
      {"twins::Bottom", R"({"width": 1})", 1,
       ": /width: line 1, column 11: Dictionary key is not found: \"width\" in twins::Bottom"},
      {"twins::Color", "\"red\"", 0, ""},
      {"twins::Color", "[", 1, ": line 1, column 1: an array where twins::Color is expected"},
  };
  for (const auto& one : kCases) {
    const TempFile file("doc.json", one.document);
    const Outcome outcome = Velq({"check", "--load", kTypes, "--type", one.type, file.path()});
    EXPECT_EQ(outcome.status, one.status) << one.document << outcome.error;
    EXPECT_EQ(outcome.out, one.status == 0 ? "valid\n" : file.path() + one.said + '\n');
    EXPECT_EQ(outcome.error, "");
  }
}

TEST(VelqLoad, PrintsTheSchemasOfItsTypes) {
  for (const char* name : {"Point", "Shape", "Top", "Color"}) {
    const Outcome outcome = Velq({"schema", "--load=" + kTypes, std::string("twins::") + name});
    EXPECT_EQ(outcome.status, 0) << outcome.error;
    EXPECT_EQ(outcome.out, Read(kData + "schema_" + name + ".expected"));
  }
}

TEST(VelqLoad, TakesSeveralLibrariesFromAnyFolder) {
  const std::size_t slash = kTypes.rfind('/');
  const std::string folder = kTypes.substr(0, slash);
  const std::string name = kTypes.substr(slash + 1);
  const Outcome outcome =
      Velq({"types", "--load", name, "--load", kTypes}, "cd " + Quoted(folder) + " && LC_ALL=C");
  EXPECT_EQ(outcome.status, 0) << outcome.error;
  EXPECT_NE(Paragraph(outcome.out, "enumeration twins::Color"), "");
}

TEST(VelqLoad, ALibraryThatCannotBeLoadedIsNamed) {
  const TempFile text("library.so", "no library");
  for (const std::string& path : {std::string("/nonexistent.so"), text.path()}) {
    for (const std::vector<std::string>& words :
         {std::vector<std::string>{"types", "--load", path},
          {"schema", "--load", path, "int"},
          {"check", "--load", path, "--type", "int", kData + "nested.json"}}) {
      const Outcome outcome = Velq(words);
      EXPECT_EQ(outcome.status, 2);
      EXPECT_EQ(outcome.out, "");
      EXPECT_EQ(outcome.error.rfind("velq: " + path + ": ", 0), 0U) << outcome.error;
    }
  }
}

// ---- the command line -----------------------------------------------------------------

const char* const kCommandNames[] = {"print", "get", "compare", "diff", "check", "types", "schema"};

TEST(Velq, HelpIsAsRecorded) {
  const std::string expected = Read(kData + "help.expected");
  for (const std::vector<std::string>& words :
       {std::vector<std::string>{"help"}, {"--help"}, {"-h"}}) {
    const Outcome help = Velq(words);
    EXPECT_EQ(help.status, 0);
    EXPECT_EQ(help.out, expected);
    EXPECT_EQ(help.error, "");
  }
}

TEST(Velq, EachCommandHasAHelpOfItsOwn) {
  std::string all;
  for (const std::string command : kCommandNames) {
    const Outcome help = Velq({"help", command});
    EXPECT_EQ(help.status, 0) << command;
    EXPECT_EQ(help.error, "");
    EXPECT_EQ(help.out.rfind("usage: velq " + command, 0), 0U);
    for (const char* option : {"--help", "-h"}) {
      EXPECT_EQ(Velq({command, option}).out, help.out) << command;
      EXPECT_EQ(Velq({command, "some", option, "--more"}).out, help.out) << command;
    }
    all += help.out + '\n';
  }
  EXPECT_EQ(all, Read(kData + "help_commands.expected"));
}

TEST(Velq, WrongUsageEndsWithTwoAndALineThatTellsWhereTheHelpIs) {
  const std::string file = kData + "nested.json";
  const std::string number = "--step needs a number from -1 to 80";
  const struct {
    std::vector<std::string> words;
    std::string complaint;
    const char* help;
  } cases[] = {
      {{}, "a command is missing", ""},
      {{"paint"}, "unknown command paint", ""},
      {{"help", "paint"}, "unknown command paint", ""},
      {{"help", "print", "get"}, "one argument too many: get", ""},
      {{"--help", "--all"}, "unknown option --all", ""},
      {{"print"}, "the file to print is missing", " print"},
      {{"print", "--colour", file}, "unknown option --colour", " print"},
      {{"print", file, file}, "one argument too many: " + file, " print"},
      {{"print", file, "--step"}, number, " print"},
      {{"print", "--step", "two", file}, number, " print"},
      {{"print", "--step", "2x", file}, number, " print"},
      {{"print", "--step", "-2", file}, number, " print"},
      {{"print", "--step=81", file}, number, " print"},
      {{"print", "--step=", file}, number, " print"},
      {{"get"}, "the path of the value is missing", " get"},
      {{"get", "/a"}, "the file to read is missing", " get"},
      {{"get", "/a", file, file}, "one argument too many: " + file, " get"},
      {{"get", "--step", "2", "/a", file}, "unknown option --step", " get"},
      {{"compare"}, "the first file to compare is missing", " compare"},
      {{"compare", file}, "the second file to compare is missing", " compare"},
      {{"compare", file, file, file}, "one argument too many: " + file, " compare"},
      {{"compare", "--step", file, file}, "unknown option --step", " compare"},
      {{"compare", "-", "-"}, "only one of the files can be the standard input", " compare"},
      {{"diff"}, "the first file to compare is missing", " diff"},
      {{"diff", file}, "the second file to compare is missing", " diff"},
      {{"diff", "-", "-"}, "only one of the files can be the standard input", " diff"},
      {{"diff", "--json", file, file}, "unknown option --json", " diff"},
      {{"check", file}, "--type NAME is missing", " check"},
      {{"check", "--type", "int"}, "the file to check is missing", " check"},
      {{"check", "--type=", file}, "--type needs a value", " check"},
      {{"check", "--type", "int", file, file}, "one argument too many: " + file, " check"},
      {{"check", "--type", "int", "--all", file}, "unknown option --all", " check"},
      {{"check", "--type", "int", file, "--load"}, "--load needs a value", " check"},
      {{"types", "int"}, "one argument too many: int", " types"},
      {{"types", "--all"}, "unknown option --all", " types"},
      {{"types", "--load"}, "--load needs a value", " types"},
      {{"schema"}, "the name of the type is missing", " schema"},
      {{"schema", "int", "int"}, "one argument too many: int", " schema"},
      {{"schema", "--type", "int"}, "unknown option --type", " schema"},
  };
  for (const auto& one : cases) {
    const Outcome outcome = Velq(one.words);
    EXPECT_EQ(outcome.status, 2) << one.complaint;
    EXPECT_EQ(outcome.out, "");
    EXPECT_EQ(outcome.error, "velq: " + one.complaint + " (see velq help" + one.help + ")\n");
  }
}

TEST(Velq, ExitStatusesAreAsDocumented) {
  const std::string good = kData + "nested.json";
  const std::string other = kData + "values.json";
  const TempFile bad("bad.json", "[1,]");
  const std::string missing = "/nonexistent/file.json";
  const struct {
    std::vector<std::string> words;
    int status;
  } kCases[] = {
      {{"print", good}, 0},
      {{"print", bad.path()}, 2},
      {{"print", missing}, 2},
      {{"get", "/0", good}, 0},
      {{"get", "/7", good}, 2},
      {{"get", "7", good}, 2},
      {{"get", "/0", bad.path()}, 2},
      {{"get", "/0", missing}, 2},
      {{"compare", good, good}, 0},
      {{"compare", good, other}, 1},
      {{"compare", good, bad.path()}, 2},
      {{"compare", missing, good}, 2},
      {{"diff", good, good}, 0},
      {{"diff", good, other}, 1},
      {{"diff", bad.path(), good}, 2},
      {{"diff", good, missing}, 2},
      {{"check", "--type", "anyseq", good}, 0},
      {{"check", "--type", "intseq", good}, 1},
      {{"check", "--type", "any", bad.path()}, 1},
      {{"check", "--type", "any", missing}, 2},
      {{"check", "--type", "nobody", good}, 2},
      {{"types"}, 0},
      {{"schema", "anyseq"}, 0},
      {{"schema", "nobody"}, 2},
  };
  for (const auto& [words, status] : kCases) {
    const Outcome outcome = Velq(words);
    EXPECT_EQ(outcome.status, status) << words[0];
    // What is wrong stands on the error stream, in one line.
    EXPECT_EQ(std::count(outcome.error.begin(), outcome.error.end(), '\n'), status == 2 ? 1 : 0);
    EXPECT_EQ(outcome.out.empty(), status == 2 || (words[0] == "diff" && status == 0)) << words[0];
  }
}

// ---- depth ----

// `levels` arrays, or objects, one inside the other, with `core` in the middle.
std::string DeepArrays(std::size_t levels, const std::string& core = "1") {
  return std::string(levels, '[') + core + std::string(levels, ']');
}
std::string DeepObjects(std::size_t levels, const std::string& core = "1") {
  std::string text;
  for (std::size_t i = 0; i < levels; ++i) text += "{\"k\":";
  return text + core + std::string(levels, '}');
}

// A shell with the usual stack, whatever the machine's limit is.
const char kUsualStack[] = "ulimit -s 8192; LC_ALL=C.UTF-8";

std::size_t Levels(std::size_t full) { return velShortOrLong(full / 20, full); }

TEST(VelqDepth, NestedDocumentsArePrinted) {
  const std::size_t levels = Levels(1000000);
  const TempFile arrays("arrays.json", DeepArrays(levels));
  for (const char* step : {"-1", "0"}) {
    const Outcome outcome = Velq({"print", "--step", step, arrays.path()}, kUsualStack);
    EXPECT_EQ(outcome.status, 0) << outcome.error.substr(0, 200);
    // anyseq, [, 0 : and ], each with a blank or the end of a line.
    EXPECT_EQ(outcome.out.size(), levels * 15 + 2);
  }
  velFigure("depth", "velq print, nested arrays", levels, "levels");
  const TempFile objects("objects.json", DeepObjects(levels / 4));
  const Outcome outcome = Velq({"print", "--step", "0", objects.path()}, kUsualStack);
  EXPECT_EQ(outcome.status, 0) << outcome.error.substr(0, 200);
  EXPECT_EQ(outcome.out.size(), levels / 4 * 18 + 2);
}

TEST(VelqDepth, NestedDocumentsAreCompared) {
  const std::size_t levels = Levels(1000000);
  const TempFile one("one.json", DeepArrays(levels, "1"));
  const TempFile same("same.json", ' ' + DeepArrays(levels, " 1 "));
  const TempFile other("other.json", DeepArrays(levels, "2"));
  EXPECT_EQ(Velq({"compare", one.path(), same.path()}, kUsualStack).out, "equal\n");
  EXPECT_EQ(Velq({"compare", one.path(), other.path()}, kUsualStack).out, "different\n");
  velFigure("depth", "velq compare, nested arrays", levels, "levels");
}

TEST(VelqDepth, NestedDocumentsThatBreakOffAreRefused) {
  const std::size_t levels = Levels(1000000);
  for (const std::string& text :
       {std::string(levels, '['), DeepArrays(levels, "oops"), DeepObjects(levels / 4, "}"),
        DeepArrays(levels, "\"\\u0000\"")}) {
    const TempFile file("broken.json", text);
    const Outcome outcome = Velq({"print", file.path()}, kUsualStack);
    EXPECT_EQ(outcome.status, 2);
    EXPECT_EQ(outcome.out, "");
    EXPECT_EQ(outcome.error.substr(0, 6), "velq: ");
  }
}

}  // namespace
