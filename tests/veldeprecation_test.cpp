// The list of attributes that a type has dropped.
#include "veldeprecation.h"

#include <string>
#include <type_traits>

#include "veltest.h"

namespace {

// A user's type: a list beside an object.
class Letter : public virtual xobject, public velDeprecationSupport {
  VEL_ATTRIBUTED(Letter, xobject())
  VEL_ATTRIBUTE(xstring, Subject)
 public:
  Letter() = default;
  Letter(const Letter&) = delete;
  Letter& operator=(const Letter&) = delete;
  using velDeprecationSupport::_s11n_set_s11n_deprecated;
  using velDeprecationSupport::isDeprecatedAttribute;
};

VEL_ATTRIBUTED_RTTI(Letter, "veltest::Letter", nullptr, VEL_ATTRIBUTE_INFO(Subject))

// The answers for the names, "1" or "0" each.
std::string answers(Letter& letter, std::initializer_list<const char*> names) {
  std::string all;
  for (const char* name : names) all += letter.isDeprecatedAttribute(name) ? '1' : '0';
  return all;
}

// Which words a list has as keys, "!" after one that is not false; how many keys.
std::string wordsOf(const xstring& list) {
  const auto words = velParseDeprecatedAttrList(list);
  std::string all;
  for (const char* word : {"", "a", "b", "c", "d", "e", "f"}) {
    unsigned char value = 7;
    if (words->find(word, &value)) all += std::string(word) + (value ? "!" : "");
  }
  int keys = 0;
  for (int i = 0; i < words->getmapsize(); ++i) keys += words->getkeybyindex(i, nullptr);
  return all + ' ' + std::to_string(keys);
}

}  // namespace

TEST(VelDeprecationSupport, AListThatWasNeverSetHasEveryName) {
  Letter letter;
  EXPECT_EQ(answers(letter, {"a", "", "Subject", nullptr}), "1111");
}

TEST(VelDeprecationSupport, AnEmptyListHasNone) {
  for (const xstring& empty : {xstring(""), xstring(L"")}) {
    Letter letter;
    letter._s11n_set_s11n_deprecated(empty);
    EXPECT_EQ(answers(letter, {"a", "", nullptr}), "000");
  }
}

TEST(VelDeprecationSupport, AListHasItsNames) {
  Letter letter;
  letter._s11n_set_s11n_deprecated("a;b");
  EXPECT_EQ(answers(letter, {"b", "a", "c", "", "a;b", "A"}), "110000");
}

TEST(VelDeprecationSupport, ANullNameIsInNoList) {
  Letter letter;
  letter._s11n_set_s11n_deprecated("a");
  EXPECT_FALSE(letter.isDeprecatedAttribute(xstring()));
  EXPECT_TRUE(letter.isDeprecatedAttribute("a"));
  EXPECT_FALSE(letter.isDeprecatedAttribute(xstring()));
}

TEST(VelDeprecationSupport, NamesAreAppended) {
  Letter letter;
  letter._s11n_set_s11n_deprecated("a");
  letter._s11n_set_s11n_deprecated("b;c");
  EXPECT_EQ(answers(letter, {"a", "b", "c", "ab", "d"}), "11100");
}

TEST(VelDeprecationSupport, NullNamesChangeNothing) {
  Letter letter;
  letter._s11n_set_s11n_deprecated(xstring());
  EXPECT_EQ(answers(letter, {"a"}), "1");
  letter._s11n_set_s11n_deprecated("a");
  letter._s11n_set_s11n_deprecated(xstring());
  EXPECT_EQ(answers(letter, {"a", "b"}), "10");
}

TEST(VelDeprecationSupport, EmptyNamesAddNothing) {
  Letter letter;
  letter._s11n_set_s11n_deprecated("");
  letter._s11n_set_s11n_deprecated("a");
  letter._s11n_set_s11n_deprecated("");
  letter._s11n_set_s11n_deprecated("b");
  EXPECT_EQ(answers(letter, {"a", "b", ""}), "110");
}

TEST(VelDeprecationSupport, ASetThatAQueryHasBuiltStays) {
  Letter letter;
  letter._s11n_set_s11n_deprecated("a;b");
  EXPECT_EQ(answers(letter, {"c"}), "0");
  letter._s11n_set_s11n_deprecated("c");
  EXPECT_EQ(answers(letter, {"a", "b", "c"}), "110");
}

TEST(VelDeprecationSupport, AQueryOfAnEmptyListBuildsNone) {
  Letter letter;
  EXPECT_EQ(answers(letter, {"a"}), "1");
  letter._s11n_set_s11n_deprecated("");
  EXPECT_EQ(answers(letter, {"a"}), "0");
  letter._s11n_set_s11n_deprecated("a");
  EXPECT_EQ(answers(letter, {"a", "b"}), "10");
}

TEST(VelDeprecationSupport, TakesWideNames) {
  const xstring lists[][2] = {
      {xstring(L"a;b"), "c"}, {"a;b", xstring(L"c")}, {xstring(L"a;b"), xstring(L"c")}};
  for (const auto& list : lists) {
    Letter letter;
    letter._s11n_set_s11n_deprecated(list[0]);
    letter._s11n_set_s11n_deprecated(list[1]);
    EXPECT_EQ(answers(letter, {"a", "b", "c", "d"}), "1110");
    EXPECT_TRUE(letter.isDeprecatedAttribute(xstring(L"b")));
  }
}

TEST(VelDeprecationSupport, LeavesTheCallersStringsAlone) {
  Letter letter;
  xstring names("a");
  letter._s11n_set_s11n_deprecated(names);
  letter._s11n_set_s11n_deprecated("b");
  EXPECT_STREQ(names.CastToCString(), "a");
  names += xstring(";z");
  EXPECT_EQ(answers(letter, {"a", "b", "z"}), "110");
}

TEST(VelDeprecationSupport, IsNoObject) {
  EXPECT_FALSE((std::is_base_of<xobject, velDeprecationSupport>::value));
  EXPECT_FALSE(std::is_destructible<velDeprecationSupport>::value);
  EXPECT_FALSE(std::has_virtual_destructor<velDeprecationSupport>::value);
}

TEST(VelDeprecationSupport, AClassMayWatchItsNames) {
  struct Watcher : velDeprecationSupport {
    void _s11n_set_s11n_deprecated(xstring names) override {
      last = names;
      velDeprecationSupport::_s11n_set_s11n_deprecated(names);
    }
    xstring last;
  } watcher;
  velS11nAccess::addDeprecated(&watcher, "a;b");
  EXPECT_EQ(watcher.last, "a;b");
  EXPECT_TRUE(velS11nAccess::isDeprecated(&watcher, "b"));
  EXPECT_FALSE(velS11nAccess::isDeprecated(&watcher, "c"));
}

// ---- velParseDeprecatedAttrList ----

TEST(VelParseDeprecatedAttrList, WordsBecomeKeysThatAreFalse) {
  EXPECT_EQ(wordsOf("a;b;c"), "abc 3");
  EXPECT_EQ(wordsOf("a"), "a 1");
  EXPECT_EQ(wordsOf(xstring(L"a;b")), "ab 2");
}

TEST(VelParseDeprecatedAttrList, EmptyWordsAreNone) {
  EXPECT_EQ(wordsOf(";a;;b;"), "ab 2");
  EXPECT_EQ(wordsOf(";;"), " 0");
  EXPECT_EQ(wordsOf(""), " 0");
}

TEST(VelParseDeprecatedAttrList, AWordCountsOnce) { EXPECT_EQ(wordsOf("b;a;b"), "ab 2"); }

TEST(VelParseDeprecatedAttrList, TakesLongLists) {
  std::string list;
  for (int i = 0; i < 100000; ++i) list += std::to_string(i) + ';';
  const auto words = velParseDeprecatedAttrList(list.c_str());
  EXPECT_TRUE(words->find("99999", nullptr));
  EXPECT_FALSE(words->find("100000", nullptr));
}

TEST(VelParseDeprecatedAttrList, ANullListHasNoWords) { EXPECT_EQ(wordsOf(xstring()), " 0"); }

TEST(VelParseDeprecatedAttrList, AddsToWhatIsThere) {
  const auto words = xbooldictionary::create();
  words->set("a", 1);
  words->set("b", 1);
  velParseDeprecatedAttrList("b;c", words);
  std::string values;
  for (const char* word : {"a", "b", "c"}) {
    unsigned char value = 7;
    EXPECT_TRUE(words->find(word, &value));
    values += std::to_string(value);
  }
  EXPECT_EQ(values, "100");
}

TEST(VelParseDeprecatedAttrList, NullHasNoPlaceForWords) {
  EXPECT_VEL_THROW(velParseDeprecatedAttrList("a", 0), velXNull);
  EXPECT_VEL_THROW(velParseDeprecatedAttrList(xstring(), 0), velXNull);
}
