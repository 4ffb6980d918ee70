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
    const std::string behind = source.isnull() ? "" : " [" + velUtf8(source->getVelTypeName()) + ']';
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

// ---- reading: no JSON ------------------------------------------------------------------

TEST(VelJsonReadError, WhatIsNoJsonIsToldWithItsPlace) {
  const struct {
    std::string text;
    const char* complaint;
  } kCases[] = {
      {"", "line 1, column 1: syntax error while parsing value - unexpected end of input; expected '[', '{', or a literal"},
  };
  for (const auto& [text, complaint] : kCases) EXPECT_EQ(Read(text), complaint) << text;
}

}  // namespace
