// Loops over collections, and to and from the standard containers.
#include "velrange.h"

#include <algorithm>
#include <iterator>
#include <map>
#include <numeric>
#include <set>
#include <string>
#include <unordered_map>
#include <vector>

#include "velbyname.h"
#include "velcollectionof.h"
#include "velenum.h"
#include "velequals.h"
#include "velmember.h"
#include "veltest.h"
#include "veltest_locale.h"

namespace demo {

VEL_ENUM(Size, "veltest::Size", small, large)

class Item : public velStruct<Item> {
  int number = 0;

 public:
  explicit Item(int n = 0) : number(n) {}
  int get() const { return number; }
  VEL_STRUCT(Item, "veltest::Item", number)
};

}  // namespace demo

namespace {

using namespace std::string_literals;
using Strings = std::vector<std::string>;

// The keys that a loop goes through, sorted.
template <class T>
std::string KeysOf(xtbdictionary<T>& dictionary) {
  std::set<std::string> keys;
  for (auto& [key, value] : dictionary) keys.emplace(velView(key));
  std::string all;
  for (const std::string& key : keys) all += key + ' ';
  return all;
}

// ---- sequences ----

TEST(VelLoop, GoesOverTheElementsInTheirPlaces) {
  const auto numbers = velSequence<int>({1, 2, 3});
  for (int& number : *numbers) number *= 10;
  EXPECT_EQ(velToVector(*numbers), (std::vector<int>{10, 20, 30}));
  EXPECT_EQ(velCount(*numbers), 3);
}

TEST(VelLoop, AnEmptySequenceHasNoStep) {
  const auto none = xstringsequence::create();
  for (const xstring& text : *none) FAIL() << text;
  EXPECT_TRUE(begin(*none) == end(*none));
}

TEST(VelLoop, KeepsWhatAHandleHolds) {
  const auto make = [] { return velSequence<int>({1, 2, 3}); };
  int sum = 0;
  for (const int number : make()) sum += number;
  EXPECT_EQ(sum, 6);
}

TEST(VelLoop, SeesWhatItAppends) {
  const auto numbers = velSequence<int>({3});
  for (const int number : *numbers) {
    if (number > 0) numbers->append(number - 1);
  }
  EXPECT_EQ(velToVector(*numbers), (std::vector<int>{3, 2, 1, 0}));
}

TEST(VelLoop, EndsWhereTheSequenceEndsByThen) {
  const auto numbers = velSequence<int>({1, 2, 3, 4});
  int steps = 0;
  for ([[maybe_unused]] const int number : *numbers) {
    ++steps;
    numbers->removerange(0, 1);
  }
  EXPECT_EQ(steps, 2);
  steps = 0;
  for ([[maybe_unused]] const int number : *numbers) {
    ++steps;
    numbers->clear();
  }
  EXPECT_EQ(steps, 1);
}

TEST(VelLoop, GoesOverSequencesOfEveryType) {
  const auto sum = [](auto& sequence) {
    int steps = 0;
    for ([[maybe_unused]] auto& element : sequence) ++steps;
    return steps;
  };
  EXPECT_EQ(sum(*velSequence<bool>({true, false})), 2);
  EXPECT_EQ(sum(*velSequence<double>({1.5})), 1);
  EXPECT_EQ(sum(*velSequence<std::string>({"a", "b", "c"})), 3);
  EXPECT_EQ(sum(*velSequence<xany>({1, "b"})), 2);
  EXPECT_EQ(sum(*velSequence<demo::Size>({demo::Size::large})), 1);
  const auto items = velSequenceOf<demo::Item>::create();
  items->append(new demo::Item(7));
  for (const auto& item : items) EXPECT_EQ(item->get(), 7);
}

TEST(VelElements, ServeTheAlgorithms) {
  const auto numbers = velSequence<int>({3, 1, 2});
  std::sort(begin(*numbers), end(*numbers));
  EXPECT_EQ(velToVector(*numbers), (std::vector<int>{1, 2, 3}));
  EXPECT_EQ(std::accumulate(begin(*numbers), end(*numbers), 0), 6);
  EXPECT_EQ(std::find(begin(*numbers), end(*numbers), 2) - begin(*numbers), 1);
  EXPECT_TRUE(std::find(begin(*numbers), end(*numbers), 9) == end(*numbers));
  EXPECT_EQ(*std::max_element(begin(numbers), end(numbers)), 3);
  std::reverse(begin(*numbers), end(*numbers));
  EXPECT_EQ(std::vector<int>(begin(*numbers), end(*numbers)), (std::vector<int>{3, 2, 1}));
}

TEST(VelElements, SortTextInPlace) {
  const auto names = velSequence<std::string>({"b", "", "c", "a"});
  std::stable_sort(begin(*names), end(*names));
  EXPECT_EQ(velToVector<std::string>(*names), (Strings{"", "a", "b", "c"}));
}

TEST(VelElements, AreIteratorsOfRandomAccess) {
  const auto numbers = velSequence<int>({10, 11, 12, 13});
  auto at = begin(*numbers);
  EXPECT_EQ(*at++, 10);
  EXPECT_EQ(*++at, 12);
  EXPECT_EQ(*at--, 12);
  EXPECT_EQ(*--at, 10);
  EXPECT_EQ(at[3], 13);
  EXPECT_EQ(*(at + 2), 12);
  EXPECT_EQ(*(2 + at), 12);
  EXPECT_EQ(*(end(*numbers) - 1), 13);
  EXPECT_EQ(*(at += 3), 13);
  EXPECT_EQ(*(at -= 2), 11);
  EXPECT_EQ(end(*numbers) - at, 3);
  EXPECT_TRUE(at < end(*numbers) && at <= at && end(*numbers) > at && at >= at && at != end(*numbers));
  EXPECT_TRUE(velElements<int>() == velElements<int>());
}

TEST(VelElements, PastTheEndThrows) {
  const auto numbers = velSequence<int>({1});
  EXPECT_VEL_THROW(*end(*numbers), velXInvalidSeqIndex);
  EXPECT_VEL_THROW(begin(*numbers)[1], velXInvalidSeqIndex);
}

// ---- dictionaries ----

TEST(VelLoop, GoesOverTheEntriesNotTheSlots) {
  const auto prices = velDictionary<double>({{"b", 2}, {"a", 1}, {"", 0}});
  double sum = 0;
  int steps = 0;
  for (const auto& [key, value] : *prices) {
    ++steps;
    sum += value;
  }
  EXPECT_EQ(steps, 3);
  EXPECT_EQ(sum, 3);
  EXPECT_EQ(velCount(*prices), 3);
  EXPECT_EQ(KeysOf(*prices), " a b ");
}

TEST(VelLoop, AnEmptyDictionaryHasNoStep) {
  const auto none = xintdictionary::create();
  EXPECT_TRUE(begin(*none) == end(*none));
  EXPECT_EQ(KeysOf(*none), "");
  EXPECT_EQ(velCount(*none), 0);
  none->set("a", 1);
  none->remove("a");
  EXPECT_EQ(KeysOf(*none), "");
  EXPECT_TRUE(velSorted(*none).empty());
}

TEST(VelLoop, MayStoreValuesUnderTheKeysItFinds) {
  const auto numbers = velDictionary<int>({{"a", 1}, {"b", 2}});
  for (auto& [key, value] : *numbers) numbers->set(key, value * 10);
  EXPECT_EQ(velToMap(*numbers), (std::map<std::string, int>{{"a", 10}, {"b", 20}}));
}

TEST(VelLoop, EndsWhenTheDictionaryIsCleared) {
  const auto numbers = velDictionary<int>({{"a", 1}, {"b", 2}});
  int steps = 0;
  for (const auto& entry : numbers) {
    EXPECT_FALSE(entry.key.IsNull());
    ++steps;
    numbers->clearall();
  }
  EXPECT_EQ(steps, 1);
}

// Which entries it sees is open then: removing may move the others.
TEST(VelLoop, SeesNothingThatIsGone) {
  const auto numbers = xintdictionary::create();
  for (int i = 0; i < 1000; ++i) numbers->set(std::to_string(i).c_str(), i);
  std::set<int> removed;
  for (auto& [key, value] : *numbers) {
    EXPECT_EQ(removed.count(value), 0U);
    const int other = (value + 500) % 1000;
    for (const int gone : {value, other}) {
      numbers->remove(std::to_string(gone).c_str());
      removed.insert(gone);
    }
  }
  EXPECT_EQ(velCount(*numbers), 1000 - static_cast<int>(removed.size()));
}

TEST(VelLoop, EntriesAreIteratorsOfOnePass) {
  const auto numbers = velDictionary<int>({{"a", 1}, {"b", 2}});
  const auto isTwo = [](const velEntry<int>& entry) { return entry.value == 2; };
  EXPECT_TRUE(std::find_if(begin(*numbers), end(*numbers), isTwo)->key == "b");
  EXPECT_EQ(std::count_if(begin(*numbers), end(*numbers), isTwo), 1);
  auto at = begin(*numbers);
  const auto before = at++;
  EXPECT_FALSE(before->key == at->key);
  EXPECT_TRUE(before != at && ++at == end(*numbers));
}

TEST(VelSorted, IsInTheOrderOfTheBytesOfTheKeys) {
  const auto numbers = xintdictionary::create();
  const char* const keys[] = {"", "A", "a", "a!", "aa", "b", "\x7F", "\xC3\xA9", "\xFF"};
  for (int i = 8; i >= 0; --i) numbers->set(keys[i], i);
  int at = 0;
  for (auto& [key, value] : velSorted(*numbers)) {
    EXPECT_STREQ(key.CastToCString(), keys[at]);
    EXPECT_EQ(value, at++);
  }
  EXPECT_EQ(at, 9);
}

TEST(VelSorted, TheDictionaryMayChangeMeanwhile) {
  const auto numbers = xintdictionary::create();
  for (int i = 0; i < 1000; ++i) numbers->set(std::to_string(i).c_str(), i);
  int steps = 0;
  for (auto& [key, value] : velSorted(*numbers)) {
    ++steps;
    numbers->remove(key);
    numbers->set(("x" + std::to_string(value)).c_str(), value);
  }
  EXPECT_EQ(steps, 1000);
  EXPECT_EQ(velCount(*numbers), 1000);
}

TEST(VelFind, GivesTheValueOfAKey) {
  const auto names = velDictionary<std::string>({{"a", "Ann"}, {"", "Nobody"}});
  EXPECT_TRUE(*velFind(*names, "a") == "Ann");
  EXPECT_TRUE(*velFind(*names, "a"s) == "Ann");
  EXPECT_TRUE(*velFind(*names, xstring("a")) == "Ann");
  EXPECT_TRUE(velFind(*names, ""));
  EXPECT_FALSE(velFind(*names, "b"));
  EXPECT_FALSE(velFind(*names, "a\0"s));
  EXPECT_VEL_THROW(velFind(*names, static_cast<const char*>(nullptr)), velXNull);
}

// ---- the standard containers ----

TEST(VelToVector, CopiesTheElements) {
  EXPECT_EQ(velToVector(*velSequence<double>({1.5, 2})), (std::vector<double>{1.5, 2}));
  EXPECT_EQ(velToVector<bool>(*velSequence<bool>({true, false})), (std::vector<bool>{true, false}));
  EXPECT_EQ(velToVector(*velSequence<bool>({true, false})), (std::vector<unsigned char>{1, 0}));
  EXPECT_EQ(velToVector<double>(*velSequence<int>({1, 2})), (std::vector<double>{1, 2}));
  EXPECT_TRUE(velToVector(*xanysequence::create()).empty());
}

TEST(VelToVector, TextIsUtf8) {
  const PlainLocale locale;
  const Strings texts{"a", "\xE2\x82\xAC", ""};
  const auto names = velSequence(texts);
  EXPECT_EQ(velToVector<std::string>(*names), texts);
  names->set(0, xstring());
  EXPECT_EQ(velToVector<std::string>(*names)[0], "");
  EXPECT_TRUE(velToVector(*names)[0].IsNull());
}

TEST(VelToVector, TakesOneTypeOutOfVariants) {
  const auto values = velSequence<xany>({1, 2});
  EXPECT_EQ(velToVector<int>(*values), (std::vector<int>{1, 2}));
  EXPECT_EQ(velToVector<double>(*values), (std::vector<double>{1, 2}));
  const auto texts = velSequence<xany>({"a", "b"});
  EXPECT_EQ(velToVector<std::string>(*texts), (Strings{"a", "b"}));
  values->append(xany(xanyNil));
  EXPECT_FALSE(velToVector<std::optional<int>>(*values)[2].has_value());
  EXPECT_VEL_THROW(velToVector<int>(*values), velXTypeMismatch);
}

TEST(VelToVector, RefusesWhatTheTypeCannotHold) {
  const auto numbers = velSequence<int>({1, 300});
  EXPECT_VEL_THROW(velToVector<signed char>(*numbers), velXTypeMismatch);
  EXPECT_EQ(velToVector<short>(*numbers)[1], 300);
  const auto reals = velSequence<double>({1.0});
  EXPECT_VEL_THROW(velToVector<int>(*reals), velXTypeMismatch);
  const auto truths = xboolsequence::create();
  truths->append(0x80);  // nil
  EXPECT_VEL_THROW(velToVector<bool>(*truths), velXTypeMismatch);
}

TEST(VelToVector, AMismatchNamesTheTypeAndTheValue) {
  const auto values = velSequence<xany>({"a"});
  const auto caught = velCaught([&] { velToVector<int>(*values); });
  auto* const mismatch = dynamic_cast<velXTypeMismatch*>(caught.operator->());
  ASSERT_NE(mismatch, nullptr);
  EXPECT_TRUE(mismatch->getTypeName() == "int");
  EXPECT_TRUE(mismatch->getVelObject() == "a");
}

TEST(VelToVector, HandlesGoAsTheyAre) {
  const auto items = velSequenceOf<demo::Item>::create();
  const xrchandle<demo::Item> item = new demo::Item(7);
  items->append(item);
  {
    const std::vector<xrchandle<demo::Item>> all = velToVector(*items);
    EXPECT_EQ(xrcgetcount(item), 3);
    EXPECT_EQ(velToVector(*velSequence(all))[0]->get(), 7);
  }
  EXPECT_EQ(xrcgetcount(item), 2);
}

TEST(VelToMap, CopiesTheEntries) {
  const std::map<std::string, int> numbers{{"a", 1}, {"b", 2}, {"", 3}};
  EXPECT_EQ(velToMap(*velDictionary(numbers)), numbers);
  EXPECT_EQ(velToMap<double>(*velDictionary(numbers)).at("b"), 2.0);
  const std::map<std::string, std::string> names{{"a", "\xE2\x82\xAC"}};
  EXPECT_EQ(velToMap<std::string>(*velDictionary(names)), names);
  EXPECT_TRUE(velToMap(*xanydictionary::create()).empty());
}

TEST(VelSequence, IsOfTheStandardClassOfItsType) {
  EXPECT_STREQ(velSequence(std::vector<bool>{})->getVelTypeName(), "booleanseq");
  EXPECT_STREQ(velSequence(std::vector<unsigned char>{})->getVelTypeName(), "booleanseq");
  EXPECT_STREQ(velSequence(std::vector<int>{})->getVelTypeName(), "intseq");
  EXPECT_STREQ(velSequence(std::vector<double>{})->getVelTypeName(), "realseq");
  EXPECT_STREQ(velSequence(std::vector<xstring>{})->getVelTypeName(), "stringseq");
  EXPECT_STREQ(velSequence(std::vector<std::string_view>{"a"})->getVelTypeName(), "stringseq");
  EXPECT_STREQ(velSequence(std::vector<xany>{})->getVelTypeName(), "anyseq");
  EXPECT_STREQ(velSequence<demo::Size>({})->getVelTypeName(), "veltest::Sizeseq");
}

TEST(VelSequence, RefusesWhatVelTextRefuses) {
  EXPECT_VEL_NATIVE(velSequence<std::string>({"a", "\xFF"}), "Invalid UTF-8 at byte 0");
}

TEST(VelDictionary, IsOfTheStandardClassOfItsType) {
  using std::map;
  EXPECT_STREQ((velDictionary(map<std::string, bool>{}))->getVelTypeName(), "booleandict");
  EXPECT_STREQ((velDictionary(map<std::string, int>{}))->getVelTypeName(), "intdict");
  EXPECT_STREQ((velDictionary(map<std::string, double>{}))->getVelTypeName(), "realdict");
  EXPECT_STREQ((velDictionary(map<std::string, std::string>{}))->getVelTypeName(), "stringdict");
  EXPECT_STREQ((velDictionary(map<std::string, xany>{}))->getVelTypeName(), "anydict");
  EXPECT_STREQ(velDictionary<demo::Size>({})->getVelTypeName(), "veltest::Sizedict");
}

TEST(VelDictionary, TakesUnorderedMaps) {
  const std::unordered_map<std::string, int> numbers{{"a", 1}, {"b", 2}};
  EXPECT_EQ(velToMap(*velDictionary(numbers)), (std::map<std::string, int>{{"a", 1}, {"b", 2}}));
}

TEST(VelDictionary, RefusesKeysThatWouldBeCutOff) {
  const std::map<std::string, int> numbers{{"ab\0c"s, 1}};
  EXPECT_VEL_NATIVE(velDictionary(numbers), "Zero byte in text at byte 2");
}

TEST(VelDictionary, RefusesKeysThatAreNoUtf8) {
  const std::map<std::string, int> numbers{{"ab\xFC", 1}};
  EXPECT_VEL_NATIVE(velDictionary(numbers), "Invalid UTF-8 at byte 2");
}

// Keys as std::string are UTF-8, whatever the locale says of bytes.
TEST(VelKeys, AreUtf8InEveryLocale) {
  const std::map<std::string, int> numbers{
      {"", 0}, {"a", 1}, {"\xC3\xBC", 2}, {"\xC3\x83\xC2\xBC", 3}, {"\xE4\xB8\xAD", 4}, {"?", 5}};
  for (const char* name : {"C", "C.UTF-8", "de_DE.ISO-8859-1"}) {
    const ScopedLocale locale({name});
    VEL_NEED_LOCALE(locale);
    const auto dictionary = velDictionary(numbers);
    EXPECT_EQ(velToMap(dictionary), numbers) << name;
    for (const auto& [key, value] : numbers) {
      EXPECT_EQ(velFind(dictionary, key), value) << name << ' ' << key;
      EXPECT_EQ(velFind(dictionary, velText(key)), value) << name << ' ' << key;
      EXPECT_EQ(velGet<int>(velGetPath(velAny(dictionary), '/' + key)), value) << name << ' ' << key;
    }
    EXPECT_FALSE(velFind(dictionary, "\xC3\xA4"s)) << name;
    EXPECT_FALSE(velFind(dictionary, "\xFF"s)) << name;
    EXPECT_FALSE(velFind(dictionary, velText("\xE6\x96\x87"))) << name;
  }
}

TEST(VelKeys, OfTheLocaleAreFoundAndCopied) {
  const GermanLatin1Locale locale;
  VEL_NEED_LOCALE(locale);
  const auto dictionary = xintdictionary::create();
  dictionary->set("gr\xFC\xDF", 7);
  const std::string utf8 = "gr\xC3\xBC\xC3\x9F";
  EXPECT_EQ(velToMap(dictionary), (std::map<std::string, int>{{utf8, 7}}));
  EXPECT_EQ(velFind(dictionary, utf8), 7);
  EXPECT_EQ(velFind(dictionary, velText(utf8)), 7);
  EXPECT_EQ(velFind(dictionary, xstring("gr\xFC\xDF")), 7);
  EXPECT_EQ(velFind(dictionary, "gr\xFC\xDF"), 7) << "a literal is its bytes";
  EXPECT_EQ(velFind(dictionary, "gr\xFC\xDF"s), 7) << "no UTF-8, but the bytes of a key";
  EXPECT_FALSE(velFind(dictionary, "\xE4\xB8\xAD"s)) << "nothing that this locale can say";
}

TEST(VelKeys, OfTheLocaleAreOnPathsAsUtf8) {
  const GermanLatin1Locale locale;
  VEL_NEED_LOCALE(locale);
  const auto dictionary = xintdictionary::create();
  dictionary->set("\xFC", 7);
  velSetPath(velAny(dictionary), "/\xC3\xBC", velAny(8));
  EXPECT_EQ(velCount(dictionary), 1);
  EXPECT_EQ(velGet<int>(velGetPath(velAny(dictionary), "/\xC3\xBC")), 8);
  const auto differences = velDiff(velAny(dictionary), velAny(xintdictionary::create()));
  ASSERT_EQ(differences.size(), 1U);
  EXPECT_EQ(differences[0].path, "/\xC3\xBC");
}

TEST(VelKeys, ANullKeyIsRefused) {
  EXPECT_VEL_THROW(velFind(xintdictionary::create(), xstring()), velXNull);
}

TEST(VelDictionary, ManyEntriesComeBack) {
  std::map<std::string, int> numbers;
  for (int i = 0; i < 100000; ++i) numbers.emplace(std::to_string(i), i);
  const auto dictionary = velDictionary(numbers);
  EXPECT_EQ(velCount(*dictionary), 100000);
  EXPECT_EQ(velToMap(*dictionary), numbers);
}

// ---- handles ----

TEST(VelRange, FunctionsOnCollectionsTakeHandles) {
  const auto numbers = velSequence<int>({1, 2});
  const std::map<std::string, int, std::less<>> ordered{{"a", 1}};
  EXPECT_EQ(velFind(velDictionary(ordered), "a"), 1);
  const auto words = velDictionary(std::map<std::string, std::string>{{"b", "2"}, {"a", "1"}});
  EXPECT_EQ(velCount(numbers), 2);
  EXPECT_EQ(velToVector(numbers), (std::vector<int>{1, 2}));
  EXPECT_EQ(velToVector<double>(numbers), (std::vector<double>{1, 2}));
  EXPECT_EQ(velCount(words), 2);
  EXPECT_EQ(velView(velSorted(words)[0].key), "a");
  EXPECT_EQ(velToMap<std::string>(words).at("b"), "2");
  EXPECT_EQ(velToMap(words).size(), 2U);
  EXPECT_TRUE(velFind(words, "a") == xstring("1"));
  EXPECT_EQ(velFind(words, std::string("c")), std::nullopt);
}

}  // namespace
