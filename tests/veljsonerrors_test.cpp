// What is refused, when writing and when reading: the text, the place and the exception
// behind it.
#include <cmath>
#include <limits>
#include <string>
#include <vector>

#include "veljson_types.h"
#include "veltest.h"
#include "veltest_locale.h"

namespace jsontest {

VEL_ENUM(Mood, "jsontest::Mood", calm, wild)

// Fails in the way that it is told to.
class Wild : public velStruct<Wild> {
  friend velObjectOf;
  Mood mood = Mood::calm;
  static void velDescribe(xrttistruct* rtti) {
    velDescription<Wild>("jsontest::Wild")
        .attribute<&Wild::mood>("mood")
        .attribute<&Wild::get, &Wild::set>("wild")
        .creator(&velMake<Wild>)
        .install(rtti);
  }

 public:
  int get() const {
    if (mood == Mood::wild) velXSerialization::Throw("a getter's own", 0);
    return 1;
  }
  void set(int value) {
    if (value == 1) velXSerialization::Throw("a setter's own", 0);
    if (value == 2) throw std::range_error("of the standard library");
  }
};

class Big : public velStruct<Big> {
  int fine = 1;
  std::int64_t big = 5000000000;

 public:
  VEL_STRUCT(Big, "jsontest::Big", fine, big)
};

}  // namespace jsontest

namespace {

using namespace jsontest;
using std::string_literals::operator""s;

velJsonOptions Tagged() {
  velJsonOptions options;
  options.typeTags = true;
  return options;
}

// The Description of the velXSerialization that `act` throws and, in brackets, the type of
// its Source.
template <class Act>
std::string Complaint(Act act) {
  try {
    velTry(act);
  } catch (const velError& error) {
    auto* const exception = error.as<velXSerialization>();
    if (!exception) return "another exception: " + velUtf8(error.object()->getVelTypeName());
    const auto source = exception->getSource();
    const std::string behind =
        source.isnull() ? "" : " [" + velUtf8(source->getVelTypeName()) + ']';
    return velUtf8(exception->getDescription()) + behind;
  }
  return "no exception";
}

std::string Written(const xany& value, const velJsonOptions& options = {}) {
  return Complaint([&] { velToJson(value, options); });
}
std::string Read(std::string_view text, const velJsonOptions& options = {}) {
  return Complaint([&] { velFromJson(text, options); });
}
std::string Read(const char* type, std::string_view text, const velJsonOptions& options = {}) {
  return Complaint([&] { velFromJson(type, text, options); });
}

// ---- writing ---------------------------------------------------------------------------

// A value in the middle of others.
xany Around(const xany& value) {
  const auto inner = xanysequence::create();
  inner->append(velAny(1));
  inner->append(value);
  const auto outer = xanydictionary::create();
  outer->set("a/b", velAny(inner));
  return velAny(outer);
}

TEST(VelJsonWriteError, TellsThePathOfTheValue) {
  const auto cycle = xanysequence::create();
  cycle->append(velAny(cycle));
  velJsonOptions flat;
  flat.maxDepth = 2;
  const struct {
    xany value;
    const char* complaint;
  } kCases[] = {
      {velAny(std::nan("")), "not a number"},
      {velAny(std::numeric_limits<double>::infinity()), "infinite number"},
      {velAny(-std::numeric_limits<double>::infinity()), "infinite number"},
      {xany(7, velEnumRtti<Color>()), "enumeration value without a name"},
      {velAny(xstring("\xFF")), "bytes that are no text"},
  };
  const Utf8Locale locale;
  VEL_NEED_LOCALE(locale);
  for (const auto& [value, complaint] : kCases) {
    EXPECT_EQ(Written(value), complaint);
    EXPECT_EQ(Written(Around(value)), std::string("/a~1b/1: ") + complaint);
    EXPECT_EQ(Written(Around(value), Tagged()), std::string("/a~1b/1: ") + complaint);
  }
  EXPECT_EQ(Written(velAny(cycle)), "/0: cycle");
  EXPECT_EQ(Written(Around(velAny(cycle))), "/a~1b/1/0: cycle");
  EXPECT_EQ(Written(Around(velAny(xanysequence::create())), flat), "/a~1b/1: nested too deep");
  cycle->clear();
}

TEST(VelJsonWriteError, TellsThePathBehindOtherValues) {
  const auto deep = velFromJson(R"({"a":[[1,[2]],{"b":[]}],"b":[0,0]})");
  velSetPath(deep, "/b/1", velAny(std::nan("")));
  EXPECT_EQ(Written(deep), "/b/1: not a number");
  velSetPath(deep, "/a/1/b/-", velAny(std::nan("")));
  EXPECT_EQ(Written(deep), "/a/1/b/0: not a number");
}

TEST(VelJsonWriteError, TellsTheCellOfAnArray) {
  const auto board = velArrayOf<double, 2, 1, 3>::create();
  board->at(1, 0, 2) = std::nan("");
  EXPECT_EQ(Written(velAny(board)), "/1/0/2: not a number");
}

TEST(VelJsonWriteError, TellsTheAttributeWhoseGetterThrows) {
  EXPECT_EQ(Written(velAny(velNew<Big>())),
            "/big: Integer out of range: 5000000000 [vellib::XNativeException]");
  EXPECT_EQ(Written(Around(velAny(velNew<Big>()))),
            "/a~1b/1/big: Integer out of range: 5000000000 [vellib::XNativeException]");
}

TEST(VelJsonWriteError, KeepsAGettersOwnException) {
  const xany wild = velAny(velNew<Wild>());
  EXPECT_EQ(velToJson(wild), R"({"mood":"calm","wild":1})");
  velSetPath(wild, "/mood", velAny(Mood::wild));
  EXPECT_EQ(Written(Around(wild)), "/a~1b/1/wild: a getter's own [vellib::XSerialization]");
}

TEST(VelJsonWriteError, TextIsWhatTheLocaleSaysOrUtf8) {
  const xstring latin("\xFC");
  {
    const GermanLatin1Locale locale;
    VEL_NEED_LOCALE(locale);
    EXPECT_EQ(velToJson(velAny(latin)), "\"\xC3\xBC\"");
  }
  for (const char* name : {"C", "C.UTF-8"}) {
    const ScopedLocale locale({name});
    VEL_NEED_LOCALE(locale);
    EXPECT_EQ(Written(velAny(xstring("a\xFC"))), "bytes that are no text") << name;
    EXPECT_EQ(velToJson(velAny(xstring("\xC3\xBC"))), "\"\xC3\xBC\"") << name;
  }
}

TEST(VelJsonWriteError, HalvesOfPairsAreNoText) {
  const wchar_t half[] = {L'a', static_cast<wchar_t>(0xD800), 0};
  EXPECT_EQ(Written(Around(velAny(xstring(half)))), "/a~1b/1: bytes that are no text");
}

TEST(VelJsonWriteError, KeysAreTextToo) {
  const Utf8Locale locale;
  VEL_NEED_LOCALE(locale);
  const auto dictionary = xintdictionary::create();
  dictionary->set("\xFF", 1);
  EXPECT_EQ(Written(Around(velAny(dictionary))), "/a~1b/1: bytes that are no text");
}

TEST(VelJsonWriteError, KeysThatAreTheSameInUtf8AreRefused) {
  const GermanLatin1Locale locale;
  VEL_NEED_LOCALE(locale);
  const auto dictionary = xintdictionary::create();
  dictionary->set("\xFC", 1);
  EXPECT_EQ(velToJson(velAny(dictionary)), "{\"\xC3\xBC\":1}");
  dictionary->set("\xC3\xBC", 2);
  EXPECT_EQ(Written(velAny(dictionary)), "two entries have the key \"\xC3\xBC\"");
}

TEST(VelJsonWriteError, PathsAreUtf8InEveryLocale) {
  const GermanLatin1Locale locale;
  VEL_NEED_LOCALE(locale);
  const auto dictionary = xrealdictionary::create();
  dictionary->set("\xFC", std::nan(""));
  EXPECT_EQ(Written(velAny(dictionary)), "/\xC3\xBC: not a number");
}

TEST(VelJsonWriteError, ALongPathIsTold) {
  constexpr std::size_t kLevels = 100000;
  const xany deep = velFromJson(std::string(kLevels, '[') + std::string(kLevels, ']'));
  velJsonOptions options;
  options.maxDepth = kLevels - 1;
  const std::string complaint = Written(deep, options);
  EXPECT_EQ(complaint.size(), (kLevels - 1) * 2 + std::string(": nested too deep").size());
}

// ---- reading ---------------------------------------------------------------------------

TEST(VelJsonReadError, TellsThePlaceOfWhatIsNoJson) {
  const struct {
    std::string text;
    const char* complaint;
  } kCases[] = {
      {""s,
       "line 1, column 1: syntax error while parsing value - unexpected end of input; expected "
       "'[', '{', or a literal"},
      {" \n"s,
       "line 2, column 1: syntax error while parsing value - unexpected end of input; expected "
       "'[', '{', or a literal"},
      {"["s,
       "/0: line 1, column 2: syntax error while parsing value - unexpected end of input; expected "
       "'[', '{', or a literal"},
      {"[1,"s,
       "/1: line 1, column 4: syntax error while parsing value - unexpected end of input; expected "
       "'[', '{', or a literal"},
      {"[1 2]"s,
       "/1: line 1, column 4: syntax error while parsing array - unexpected number literal; "
       "expected ']'"},
      {"[1,]"s,
       "/1: line 1, column 4: syntax error while parsing value - unexpected ']'; expected '[', "
       "'{', or a literal"},
      {"[,1]"s,
       "/0: line 1, column 2: syntax error while parsing value - unexpected ','; expected '[', "
       "'{', or a literal"},
      {"]"s,
       "line 1, column 1: syntax error while parsing value - unexpected ']'; expected '[', '{', or "
       "a literal"},
      {"{"s,
       "line 1, column 2: syntax error while parsing object key - unexpected end of input; "
       "expected string literal"},
      {"{\"a\""s,
       "/a: line 1, column 5: syntax error while parsing object separator - unexpected end of "
       "input; expected ':'"},
      {"{\"a\":"s,
       "/a: line 1, column 6: syntax error while parsing value - unexpected end of input; expected "
       "'[', '{', or a literal"},
      {"{\"a\":1"s,
       "/a: line 1, column 7: syntax error while parsing object - unexpected end of input; "
       "expected '}'"},
      {"{\"a\":1,"s,
       "/a: line 1, column 8: syntax error while parsing object key - unexpected end of input; "
       "expected string literal"},
      {"{\"a\":1,}"s,
       "/a: line 1, column 8: syntax error while parsing object key - unexpected '}'; expected "
       "string literal"},
      {"{a:1}"s,
       "line 1, column 2: syntax error while parsing object key - invalid literal; last read: "
       "'{a'; expected string literal"},
      {"{1:2}"s,
       "line 1, column 2: syntax error while parsing object key - unexpected number literal; "
       "expected string literal"},
      {"{\"a\" 1}"s,
       "/a: line 1, column 6: syntax error while parsing object separator - unexpected number "
       "literal; expected ':'"},
      {"[1]]"s,
       "line 1, column 4: syntax error while parsing value - unexpected ']'; expected end of "
       "input"},
      {"[1]\n [2]"s,
       "line 2, column 2: syntax error while parsing value - unexpected '['; expected end of "
       "input"},
      {"nul"s,
       "line 1, column 4: syntax error while parsing value - invalid literal; last read: 'nul'"},
      {"True"s,
       "line 1, column 1: syntax error while parsing value - invalid literal; last read: 'T'"},
      {"'a'"s,
       "line 1, column 1: syntax error while parsing value - invalid literal; last read: '''"},
      {"\"a"s,
       "line 1, column 3: syntax error while parsing value - invalid string: missing closing "
       "quote; last read: '\"a'"},
      {"\"\\x\""s,
       "line 1, column 3: syntax error while parsing value - invalid string: forbidden character "
       "after backslash; last read: '\"\\x'"},
      {"[\"\\u12\"]"s,
       "/0: line 1, column 7: syntax error while parsing value - invalid string: '\\u' must be "
       "followed by 4 hex digits; last read: '\"\\u12\"'"},
      {"[\"\\ud800\"]"s,
       "/0: line 1, column 9: syntax error while parsing value - invalid string: surrogate "
       "U+D800..U+DBFF must be followed by U+DC00..U+DFFF; last read: '\"\\ud800\"'"},
      {"[\"\\ud800\\u0041\"]"s,
       "/0: line 1, column 14: syntax error while parsing value - invalid string: surrogate "
       "U+D800..U+DBFF must be followed by U+DC00..U+DFFF; last read: '\"\\ud800\\u0041'"},
      {"[\"\\udc00\"]"s,
       "/0: line 1, column 8: syntax error while parsing value - invalid string: surrogate "
       "U+DC00..U+DFFF must follow U+D800..U+DBFF; last read: '\"\\udc00'"},
      {"[\"\t\"]"s,
       "/0: line 1, column 3: syntax error while parsing value - invalid string: control character "
       "U+0009 (HT) must be escaped to \\u0009 or \\t; last read: '\"<U+0009>'"},
      {"01"s,
       "line 1, column 2: syntax error while parsing value - unexpected number literal; expected "
       "end of input"},
      {"+1"s,
       "line 1, column 1: syntax error while parsing value - invalid literal; last read: '+'"},
      {".5"s,
       "line 1, column 1: syntax error while parsing value - invalid literal; last read: '.'"},
      {"[1.]"s,
       "/0: line 1, column 4: syntax error while parsing value - invalid number; expected digit "
       "after '.'; last read: '1.]'"},
      {"[1e]"s,
       "/0: line 1, column 4: syntax error while parsing value - invalid number; expected '+', "
       "'-', or digit after exponent; last read: '1e]'"},
      {"-"s,
       "line 1, column 2: syntax error while parsing value - invalid number; expected digit after "
       "'-'; last read: '-'"},
      {"0x1"s,
       "line 1, column 2: syntax error while parsing value - invalid literal; last read: '0x'; "
       "expected end of input"},
      {"Infinity"s,
       "line 1, column 1: syntax error while parsing value - invalid literal; last read: 'I'"},
      {"NaN"s,
       "line 1, column 1: syntax error while parsing value - invalid literal; last read: 'N'"},
      {"//"s,
       "line 1, column 1: syntax error while parsing value - invalid literal; last read: '/'"},
      {"[1e999]"s, "/0: line 1, column 2: number overflow parsing '1e999'"},
      {"[0, -1e999]"s, "/1: line 1, column 5: number overflow parsing '-1e999'"},
      {"[\"\xC0\x80\"]"s,
       "/0: line 1, column 3: syntax error while parsing value - invalid string: ill-formed UTF-8 "
       "byte; last read: '\"?'"},
      {"[\"\xC1\xBF\"]"s,
       "/0: line 1, column 3: syntax error while parsing value - invalid string: ill-formed UTF-8 "
       "byte; last read: '\"?'"},
      {"[\"\xE0\x80\xAF\"]"s,
       "/0: line 1, column 4: syntax error while parsing value - invalid string: ill-formed UTF-8 "
       "byte; last read: '\"?"
       "?'"},
      {"[\"\xED\xA0\x80\"]"s,
       "/0: line 1, column 4: syntax error while parsing value - invalid string: ill-formed UTF-8 "
       "byte; last read: '\"?"
       "?'"},
      {"[\"\xF0\x80\x80\xAF\"]"s,
       "/0: line 1, column 4: syntax error while parsing value - invalid string: ill-formed UTF-8 "
       "byte; last read: '\"?"
       "?'"},
      {"[\"\xF4\x90\x80\x80\"]"s,
       "/0: line 1, column 4: syntax error while parsing value - invalid string: ill-formed UTF-8 "
       "byte; last read: '\"?"
       "?'"},
      {"[\"\xF8\x88\x80\x80\x80\"]"s,
       "/0: line 1, column 3: syntax error while parsing value - invalid string: ill-formed UTF-8 "
       "byte; last read: '\"?'"},
      {"[\"\x80\"]"s,
       "/0: line 1, column 3: syntax error while parsing value - invalid string: ill-formed UTF-8 "
       "byte; last read: '\"?'"},
      {"[\"\xFF\"]"s,
       "/0: line 1, column 3: syntax error while parsing value - invalid string: ill-formed UTF-8 "
       "byte; last read: '\"?'"},
      {"[\"\xC3"s,
       "/0: line 1, column 4: syntax error while parsing value - invalid string: ill-formed UTF-8 "
       "byte; last read: '\"?'"},
      {"[\"\xC3\"]"s,
       "/0: line 1, column 4: syntax error while parsing value - invalid string: ill-formed UTF-8 "
       "byte; last read: '\"?\"'"},
      {"[\"\xE4\xB8\"]"s,
       "/0: line 1, column 4: syntax error while parsing value - invalid string: ill-formed UTF-8 "
       "byte; last read: '\"??\"'"},
      {"{\"\xFF\":1}"s,
       "line 1, column 3: syntax error while parsing object key - invalid string: ill-formed UTF-8 "
       "byte; last read: '\"?'; expected string literal"},
      {"\xEF\xBB\xBF"s,
       "line 1, column 1: syntax error while parsing value - unexpected end of input; expected "
       "'[', '{', or a literal"},
      {"\xEF\xBB\xBFx"s,
       "line 1, column 1: syntax error while parsing value - invalid literal; last read: "
       "'\xEF\xBB\xBF"
       "x'"},
      {"\xEF\xBB\xBF[1,\n x]"s,
       "/1: line 2, column 2: syntax error while parsing value - invalid literal; last read: "
       "'1,<U+000A> x'"},
      {"\xEF\xBB[]"s,
       "line 1, column 2: syntax error while parsing value - invalid BOM; must be 0xEF 0xBB 0xBF "
       "if given; last read: '?"
       "?['"},
      {"[\xEF\xBB\xBF]"s,
       "/0: line 1, column 2: syntax error while parsing value - invalid literal; last read: '[?'"},
      {"\xFE\xFF[]"s,
       "line 1, column 1: syntax error while parsing value - invalid literal; last read: '?'"},
      {"[\"a\\u0000\"]"s,
       "/0: line 1, column 2: Zero byte in text at byte 1 [vellib::XNativeException]"},
      {"{\"a\":{\"b\":1,\"\\u0000\":1}}"s,
       "/a: line 1, column 13: Zero byte in text at byte 0 [vellib::XNativeException]"},
      {"[1\0]"s,
       "/1: line 1, column 3: syntax error while parsing array - unexpected end of input; expected "
       "']'"},
  };
  const Utf8Locale locale;
  VEL_NEED_LOCALE(locale);
  for (const auto& [text, complaint] : kCases) {
    EXPECT_EQ(Read(text), complaint) << text;
    EXPECT_EQ(Read(text, Tagged()), complaint) << text;
    EXPECT_EQ(Read("any", text), complaint) << text;
  }
}

TEST(VelJsonReadError, TellsThePlaceOfWhatDoesNotFitItsType) {
  const struct {
    const char* type;
    const char* text;
    const char* complaint;
  } kCases[] = {
      {"int", "1.0",
       "line 1, column 1: Object type mismatch: real where int is expected "
       "[vellib::XTypeMismatch]"},
      {"int", "2147483648", "line 1, column 1: integer out of range"},
      {"int", "-2147483648", "line 1, column 1: integer out of range"},
      {"int", "123456789012345678901234567890", "line 1, column 1: integer out of range"},
      {"int", "true",
       "line 1, column 1: Object type mismatch: bool where int is expected "
       "[vellib::XTypeMismatch]"},
      {"int", "\"1\"",
       "line 1, column 1: Object type mismatch: string where int is expected "
       "[vellib::XTypeMismatch]"},
      {"int", "[]", "line 1, column 1: an array where int is expected"},
      {"int", "{}", "line 1, column 1: an object where int is expected"},
      {"bool", "0",
       "line 1, column 1: Object type mismatch: int where bool is expected "
       "[vellib::XTypeMismatch]"},
      {"bool", "\"true\"",
       "line 1, column 1: Object type mismatch: string where bool is expected "
       "[vellib::XTypeMismatch]"},
      {"real", "\"1\"",
       "line 1, column 1: Object type mismatch: string where real is expected "
       "[vellib::XTypeMismatch]"},
      {"real", "false",
       "line 1, column 1: Object type mismatch: bool where real is expected "
       "[vellib::XTypeMismatch]"},
      {"string", "1",
       "line 1, column 1: Object type mismatch: int where string is expected "
       "[vellib::XTypeMismatch]"},
      {"string", "{}", "line 1, column 1: an object where string is expected"},
      {"realseq", "[1e126]", "/0: line 1, column 2: real number stands for no value"},
      {"realseq", "[1, 9e125]", "/1: line 1, column 5: real number stands for no value"},
      {"intseq", "[1,\n[2]]", "/1: line 2, column 1: an array where int is expected"},
      {"intseq", "{}", "line 1, column 1: an object where intseq is expected"},
      {"intseq", "[1,null,1.5]",
       "/2: line 1, column 9: Object type mismatch: real where int is expected "
       "[vellib::XTypeMismatch]"},
      {"booleanseq", "[true,0]",
       "/1: line 1, column 7: Object type mismatch: int where bool is expected "
       "[vellib::XTypeMismatch]"},
      {"stringdict", "{\"a\":1}",
       "/a: line 1, column 6: Object type mismatch: int where string is expected "
       "[vellib::XTypeMismatch]"},
      {"stringdict", "[]", "line 1, column 1: an array where stringdict is expected"},
      {"intdict", "{\"a\":1,\"a\":\"b\"}",
       "/a: line 1, column 12: Object type mismatch: string where int is expected "
       "[vellib::XTypeMismatch]"},
      {"jsontest::Color", "\"pink\"", "line 1, column 1: \"pink\" is no value of jsontest::Color"},
      {"jsontest::Color", "0",
       "line 1, column 1: Object type mismatch: int where jsontest::Color is expected "
       "[vellib::XTypeMismatch]"},
      {"jsontest::Color", "\"\"", "line 1, column 1: \"\" is no value of jsontest::Color"},
      {"jsontest::Color", "[]", "line 1, column 1: an array where jsontest::Color is expected"},
      {"jsontest::Point", "{\"x\":1,\n \"z\":0.5}",
       "/z: line 2, column 6: Dictionary key is not found: \"z\" in jsontest::Point "
       "[vellib::XInvalidDictKey]"},
      {"jsontest::Point", "{\"x\":1.5}",
       "/x: line 1, column 6: Object type mismatch: real where int is expected "
       "[vellib::XTypeMismatch]"},
      {"jsontest::Point", "{\"label\":{}}",
       "/label: line 1, column 10: an object where string is expected"},
      {"jsontest::Point", "{\"\":1}",
       "/: line 1, column 5: Dictionary key is not found: \"\" in jsontest::Point "
       "[vellib::XInvalidDictKey]"},
      {"jsontest::Members", "{\"truth\":null}",
       "/truth: line 1, column 10: Object type mismatch: nil where bool is expected "
       "[vellib::XTypeMismatch]"},
      {"jsontest::Members", "{\"truth\":1}",
       "/truth: line 1, column 10: Object type mismatch: int where bool is expected "
       "[vellib::XTypeMismatch]"},
      {"jsontest::Members", "{\"flag\":1}",
       "/flag: line 1, column 9: Object type mismatch: int where bool is expected "
       "[vellib::XTypeMismatch]"},
      {"jsontest::Members", "{\"number\":\"1\"}",
       "/number: line 1, column 11: Object type mismatch: string where int is expected "
       "[vellib::XTypeMismatch]"},
      {"jsontest::Members", "{\"real\":\"1\"}",
       "/real: line 1, column 9: Object type mismatch: string where real is expected "
       "[vellib::XTypeMismatch]"},
      {"jsontest::Members", "{\"real\":1e126}",
       "/real: line 1, column 9: real number stands for no value"},
      {"jsontest::Narrow", "{\"wide\":-2147483647}",
       "/wide: line 1, column 9: Integer out of range: -2147483647 [vellib::XNativeException]"},
      {"jsontest::Members", "{\"narrowReal\":1e300}",
       "/narrowReal: line 1, column 15: Real number out of range: 1e+300 "
       "[vellib::XNativeException]"},
      {"jsontest::Members", "{\"narrowReal\":null}",
       "/narrowReal: line 1, column 15: Object type mismatch: nil where real is expected "
       "[vellib::XTypeMismatch]"},
      {"jsontest::Members", "{\"text\":1}",
       "/text: line 1, column 9: Object type mismatch: int where string is expected "
       "[vellib::XTypeMismatch]"},
      {"jsontest::Members", "{\"utf8\":null}",
       "/utf8: line 1, column 9: Object type mismatch: nil where string is expected "
       "[vellib::XTypeMismatch]"},
      {"jsontest::Members", "{\"object\":1}",
       "/object: line 1, column 11: Object type mismatch: int where object is expected "
       "[vellib::XTypeMismatch]"},
      {"jsontest::Members", "{\"color\":null}",
       "/color: line 1, column 10: Object type mismatch: nil where jsontest::Color is expected "
       "[vellib::XTypeMismatch]"},
      {"jsontest::Members", "{\"color\":1}",
       "/color: line 1, column 10: Object type mismatch: int where jsontest::Color is expected "
       "[vellib::XTypeMismatch]"},
      {"jsontest::Narrow", "{\"small\":128}",
       "/small: line 1, column 10: Integer out of range: 128 [vellib::XNativeException]"},
      {"jsontest::Narrow", "{\"unsignedSmall\":-1}",
       "/unsignedSmall: line 1, column 18: Integer out of range: -1 [vellib::XNativeException]"},
      {"jsontest::Narrow", "{\"wide\":2147483648}",
       "/wide: line 1, column 9: integer out of range"},
      {"jsontest::Maybe", "{\"color\":\"pink\"}",
       "/color: line 1, column 10: \"pink\" is no value of jsontest::Color"},
      {"jsontest::Maybe", "{\"number\":\"1\"}",
       "/number: line 1, column 11: Object type mismatch: string where int is expected "
       "[vellib::XTypeMismatch]"},
      {"jsontest::Tree", "{\"children\":[{\"next\":{\"value\":[]}}]}",
       "/children/0/next/value: line 1, column 31: an array where int is expected"},
      {"jsontest::Tree", "{\"named\":{\"a/b~\":{\"value\":\"\"}}}",
       "/named/a~1b~0/value: line 1, column 27: Object type mismatch: string where int is expected "
       "[vellib::XTypeMismatch]"},
      {"jsontest::Shape", "{\"kind\":\"red\",\"text\":\"a\"}",
       "/text: line 1, column 22: not the branch that the discriminator of jsontest::Shape tells"},
      {"jsontest::Shape", "{\"radius\":1,\n\"kind\":\"blue\"}",
       "/radius: line 1, column 11: not the branch that the discriminator of jsontest::Shape "
       "tells"},
      {"jsontest::Shape", "{\"kind\":1}",
       "/kind: line 1, column 9: Object type mismatch: int where jsontest::Color is expected "
       "[vellib::XTypeMismatch]"},
      {"jsontest::Shape", "{\"text\":null}",
       "/text: line 1, column 9: not the branch that the discriminator of jsontest::Shape tells"},
      {"jsontest::Number", "{\"whole\":1}",
       "/whole: line 1, column 10: not the branch that the discriminator of jsontest::Number "
       "tells"},
      {"jsontest::Number", "{\"kind\":1,\"whole\":1,\"real\":1}",
       "/real: line 1, column 28: not the branch that the discriminator of jsontest::Number tells"},
      {"jsontest::Drawing", "{\"shape\":{\"text\":\"a\"}, \"scale\":1}",
       "/shape/text: line 1, column 18: not the branch that the discriminator of jsontest::Shape "
       "tells"},
      {"jsontest::Drawing", "{\"board\":[[1,2,3]]}",
       "/board: line 1, column 18: the array has 1 elements instead of 2"},
      {"jsontest::Drawing", "{\"board\":[[1,2,3],[1,2,3],[]]}",
       "/board/2: line 1, column 27: Array index is out of range: 2 in dimension 0 "
       "[vellib::XInvalidArrayIndex]"},
      {"jsontest::Drawing", "{\"board\":[[1,2,[3]],[1,2,3]]}",
       "/board/0/2: line 1, column 16: an array where int is expected"},
      {"jsontest::Drawing", "{\"points\":[{\"x\":1},7]}",
       "/points/1: line 1, column 20: Object type mismatch: int where jsontest::Point is expected "
       "[vellib::XTypeMismatch]"},
      {"jsontest::Animal", "{}",
       "line 1, column 1: Type cannot be created: jsontest::Animal [vellib::XNativeException]"},
      {"jsontest::Zoo", "{\"boss\":{\"name\":\"a\"}}",
       "/boss: line 1, column 9: Type cannot be created: jsontest::Animal "
       "[vellib::XNativeException]"},
      {"jsontest::Fixed", "{\"fixed\":3}",
       "/fixed: line 1, column 10: Dictionary key is not found: \"fixed\" in jsontest::Fixed "
       "[vellib::XInvalidDictKey]"},
      {"jsontest::Drawing", "{\"points\":[{}",
       "/points/1: line 1, column 14: syntax error while parsing array - unexpected end of input; "
       "expected ']'"},
      {"jsontest::Drawing", "{\"origin\":{\"x\":1e999}}",
       "/origin/x: line 1, column 16: number overflow parsing '1e999'"},
      {"jsontest::Drawing", "{\"origin\":{\"label\":\"\xFF\"}}",
       "/origin/label: line 1, column 21: syntax error while parsing value - invalid string: "
       "ill-formed UTF-8 byte; last read: '\"?'"},
  };
  const Utf8Locale locale;
  VEL_NEED_LOCALE(locale);
  for (const auto& [type, text, complaint] : kCases) EXPECT_EQ(Read(type, text), complaint) << text;
  EXPECT_EQ(Read("nobody", "1"), "unknown type nobody");
}

TEST(VelJsonReadError, TellsThePlaceOfTagsThatDoNotFit) {
  const struct {
    const char* type;
    const char* text;
    const char* complaint;
  } kCases[] = {
      {"any", "{\"@type\":\"nobody\"}", "line 1, column 10: unknown type nobody"},
      {"any", "{\"@type\":7}", "line 1, column 10: \"@type\" is no name"},
      {"any", "{\"@type\":null}", "line 1, column 10: \"@type\" is no name"},
      {"any", "{\"@type\":{}}", "line 1, column 10: \"@type\" is no name"},
      {"any", "{\"@type\":[]}", "line 1, column 10: \"@type\" is no name"},
      {"any", "{\"@type\":\"\"}", "line 1, column 10: unknown type "},
      {"any", "{\"@type\":}",
       "line 1, column 10: syntax error while parsing value - unexpected '}'; expected '[', '{', "
       "or a literal"},
      {"any", "{\"a\":1,\"@type\":\"int\"}", "line 1, column 8: \"@type\" does not come first"},
      {"any", "{\"@type\":\"int\"}", "line 1, column 15: a value is missing beside \"@type\""},
      {"any", "{\"@type\":\"int\",\"value\":1.5}",
       "line 1, column 24: Object type mismatch: real where int is expected "
       "[vellib::XTypeMismatch]"},
      {"any", "{\"@type\":\"int\",\"value\":\"a\"}",
       "line 1, column 24: Object type mismatch: string where int is expected "
       "[vellib::XTypeMismatch]"},
      {"any", "{\"@type\":\"int\",\"val\":1}",
       "line 1, column 22: only \"value\" may stand beside \"@type\""},
      {"any", "{\"@type\":\"int\",\"value\":1,\"value\":2}",
       "line 1, column 34: only \"value\" may stand beside \"@type\""},
      {"any", "{\"@type\":\"int\",\"value\":1,\"more\":2}",
       "line 1, column 33: only \"value\" may stand beside \"@type\""},
      {"any", "{\"@type\":\"uninit\"}", "line 1, column 18: a value is missing beside \"@type\""},
      {"any", "{\"@type\":\"jsontest::Color\",\"value\":\"pink\"}",
       "line 1, column 36: \"pink\" is no value of jsontest::Color"},
      {"any", "{\"@type\":\"intseq\",\"value\":{}}",
       "line 1, column 27: an object where intseq is expected"},
      {"any", "{\"@type\":\"intseq\",\"value\":[\"a\"]}",
       "/0: line 1, column 28: Object type mismatch: string where int is expected "
       "[vellib::XTypeMismatch]"},
      {"any", "{\"@type\":\"jsontest::Animal\"}",
       "line 1, column 10: Type cannot be created: jsontest::Animal [vellib::XNativeException]"},
      {"any", "{\"@type\":\"jsontest::Point\",\"z\":1}",
       "/z: line 1, column 32: Dictionary key is not found: \"z\" in jsontest::Point "
       "[vellib::XInvalidDictKey]"},
      {"any", "[{\"@type\":\"jsontest::Point\",\n\"x\":\"a\"}]",
       "/0/x: line 2, column 5: Object type mismatch: string where int is expected "
       "[vellib::XTypeMismatch]"},
      {"any", "{\"@x\":1}", "line 1, column 2: unknown tag \"@x\""},
      {"any", "[{\"a\":1,\"@x\":1}]", "/0: line 1, column 9: unknown tag \"@x\""},
      {"any", "{\"@type\":\"jsontest::Shape\",\"text\":\"a\"}",
       "/text: line 1, column 35: not the branch that the discriminator of jsontest::Shape tells"},
      {"any", "{\"@type\":\"a\\u0000b\"}",
       "line 1, column 10: Zero byte in text at byte 1 [vellib::XNativeException]"},
      {"realseq", R"([{"@type":"real","value":1e126}])",
       "/0: line 1, column 31: real number stands for no value"},
      {"jsontest::Drawing", R"({"scale":{"@type":"real","value":9e125}})",
       "/scale: line 1, column 39: real number stands for no value"},
      {"jsontest::Drawing", "{\"origin\":{\"@type\":\"jsontest::Shape\"}}",
       "/origin: line 1, column 20: jsontest::Shape where jsontest::Point is expected"},
      {"jsontest::Drawing", "{\"origin\":{\"@type\":\"int\",\"value\":1}}",
       "/origin: line 1, column 35: Object type mismatch: int where jsontest::Point is expected "
       "[vellib::XTypeMismatch]"},
      {"jsontest::Drawing", "{\"extra\":{\"@type\":\"int\",\"value\":1,\"more\":2}}",
       "/extra: line 1, column 42: only \"value\" may stand beside \"@type\""},
      {"jsontest::Point", "{\"@type\":\"jsontest::Drawing\"}",
       "line 1, column 10: jsontest::Drawing where jsontest::Point is expected"},
      {"int", "{\"@type\":\"int\",\"value\":1.5}",
       "line 1, column 24: Object type mismatch: real where int is expected "
       "[vellib::XTypeMismatch]"},
      {"jsontest::Color", "{\"@type\":\"int\",\"value\":1}",
       "line 1, column 25: Object type mismatch: int where jsontest::Color is expected "
       "[vellib::XTypeMismatch]"},
  };
  for (const auto& [type, text, complaint] : kCases) {
    EXPECT_EQ(Read(type, text, Tagged()), complaint) << text;
  }
}

TEST(VelJsonReadError, AZeroByteIsNoEnd) {
  EXPECT_EQ(Read("1\0"s), "line 1, column 2: zero byte");
  EXPECT_EQ(Read("[1]\n\0[2]"s), "line 2, column 1: zero byte");
  EXPECT_EQ(Read("\0"s).substr(0, 18), "line 1, column 1: ");
}

TEST(VelJsonReadError, NamesAreNotCutOffAtAZero) {
  EXPECT_EQ(Read("jsontest::Color", "\"red\\u0000dish\""),
            "line 1, column 1: Zero byte in text at byte 3 [vellib::XNativeException]");
  EXPECT_EQ(Read("jsontest::Point", "{\"x\\u0000\":1}"),
            "line 1, column 2: Zero byte in text at byte 1 [vellib::XNativeException]");
}

TEST(VelJsonReadError, KeepsASettersOwnException) {
  Wild::getClassRtti();
  EXPECT_EQ(Read("jsontest::Wild", "{\"wild\":1}"),
            "/wild: line 1, column 9: a setter's own [vellib::XSerialization]");
}

TEST(VelJsonReadError, ExceptionsOfTheStandardLibraryPassThrough) {
  Wild::getClassRtti();
  EXPECT_THROW(velFromJson("jsontest::Wild", "{\"wild\":2}"), std::range_error);
}

TEST(VelJsonReadError, IsInUtf8InEveryLocale) {
  const std::string chinese = "\xE4\xB8\xAD";
  for (const char* name : {"C", "C.UTF-8", "de_DE.ISO-8859-1"}) {
    const ScopedLocale locale({name});
    VEL_NEED_LOCALE(locale);
    for (const std::string& key : {"\xC3\xBC"s, chinese}) {
      EXPECT_EQ(Read("intdict", "{\"" + key + "\": \"\"}"),
                '/' + key +
                    ": line 1, column 7: Object type mismatch: string where int is expected"
                    " [vellib::XTypeMismatch]")
          << name;
    }
  }
}

TEST(VelJsonReadError, DepthIsToldWhereverItBreaksOff) {
  constexpr std::size_t kLevels = 200000;
  const std::string arrays(kLevels, '[');
  std::string objects;
  for (std::size_t i = 0; i < kLevels; ++i) objects += "{\"a\":";
  for (const std::string& text : {arrays, arrays + "x", objects, objects + "]"}) {
    EXPECT_NE(Read(text).find(": line 1, column "), std::string::npos);
    EXPECT_NE(Read(text, Tagged()).find(": line 1, column "), std::string::npos);
  }
  velJsonOptions options;
  options.maxDepth = 3;
  EXPECT_EQ(Read("[[{\"a\":[]}]]", options), "/0/0/a: line 1, column 8: nested too deep");
  options.maxDepth = 0;
  EXPECT_EQ(Read("[]", options), "line 1, column 1: nested too deep");
  EXPECT_EQ(Read("1", options), "no exception");
}

// No piece of a document is one, and each is refused at or before its end.
TEST(VelJsonReadError, EveryBeginningOfADocumentIsRefused) {
  const std::string whole =
      R"({"points":[{"x":1,"label":"\u00fc"},null],"board":[[1,2,3],[4,5,6]],"extra":{"@type":"int","value":-1.5e3}})";
  ASSERT_EQ(Read("jsontest::Drawing", whole), "no exception");
  for (std::size_t size = 0; size < whole.size(); ++size) {
    const std::string part = whole.substr(0, size);
    for (const std::string& complaint : {Read(part), Read("jsontest::Drawing", part)}) {
      EXPECT_NE(complaint.find("line 1, column " + std::to_string(size + 1) + ": syntax error"),
                std::string::npos)
          << part << ": " << complaint;
    }
  }
}

}  // namespace
