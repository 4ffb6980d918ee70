// Differences between values.
#include <sstream>
#include <string>
#include <vector>

#include "velext.h"
#include "veltest.h"
#include "veltest_long.h"

namespace diffs {

VEL_ENUM(Color, "diffs::Color", red, green)
class Line : public velStruct<Line> {
 public:
  double price = 0;
  Color color = Color::red;
  xany extra;
  VEL_STRUCT(Line, "diffs::Line", price, color, extra)
};

}  // namespace diffs

namespace {

using namespace diffs;
using Object = xrcunihandle<xobject>;

std::string Told(const xany& before, const xany& after) {
  std::ostringstream out;
  out.imbue(std::locale::classic());
  for (const velDifference& one : velDiff(before, after)) out << one << '\n';
  return out.str();
}

xany Numbers(const std::vector<int>& all) { return velAny(velSequence(all)); }
xany Entries(const std::map<std::string, int>& all) { return velAny(velDictionary(all)); }

xany LineOf(double price, const xany& extra = xany()) {
  const auto line = velNew<Line>();
  line->price = price;
  line->extra = extra;
  return velAny(line);
}
template <class... Values>
xany Sequence(const Values&... values) {
  const auto made = xanysequence::create();
  (made->append(velAny(values)), ...);
  return velAny(made);
}

TEST(VelDiff, OfLeavesIsTheWhole) {
  EXPECT_EQ(Told(velAny(1), velAny(1)), "");
  EXPECT_EQ(Told(velAny(1), velAny(2)), " : 1 -> 2\n");
  EXPECT_EQ(Told(velAny(1), velAny(true)), " : 1 -> true\n");
  EXPECT_EQ(Told(velAny("a"), xany(xanyNil)), " : \"a\" -> nil\n");
  EXPECT_EQ(Told(xany(), xany(xanyNil)), " : uninit -> nil\n");
  EXPECT_EQ(Told(velAny(Color::red), velAny(Color::green)), " : red -> green\n");
}

TEST(VelDiff, TellsAttributesByPath) {
  const auto order = velDictionary<int>({});
  EXPECT_EQ(Told(Sequence(LineOf(1), LineOf(12.5)), Sequence(LineOf(1), LineOf(13))),
            "/1/price : 12.5 -> 13\n");
  const auto all = velDiff(LineOf(1, velAny("x")), LineOf(2, velAny("y")));
  ASSERT_EQ(all.size(), 2U);
  EXPECT_EQ(all[0].path, "/price");
  EXPECT_EQ(velGet<double>(*all[0].before), 1.0);
  EXPECT_EQ(velGet<double>(*all[0].after), 2.0);
  EXPECT_EQ(all[1].path, "/extra");
}

TEST(VelDiff, ShowsWhatIsDifferentInOneLine) {
  EXPECT_EQ(Told(velAny(0.1 + 0.2), velAny(0.3)),
            " : 0.30000000000000004 -> 0.29999999999999999\n");
  EXPECT_EQ(Told(velAny("a\nb"), velAny("a\rb")), " : \"a\\nb\" -> \"a\\rb\"\n");
}

// In the locale of every program's start, what it lacks reads as "?" in the narrow form.
TEST(VelDiff, TellsLettersThatTheLocaleLacks) {
  const auto of = [](const char* utf8) {
    return velAny(velDictionary(std::map<std::string, std::string>{{"k", utf8}}));
  };
  EXPECT_EQ(velDiff(of("a?"), of("a\xC3\xA9")).size(), 1U);
  EXPECT_EQ(velDiff(of("a\xC3\xA9"), of("a?")).size(), 1U);
}

TEST(VelDiff, TellsEntriesInTheOrderOfTheirKeys) {
  EXPECT_EQ(Told(Entries({{"a", 1}, {"b", 2}, {"d", 4}}), Entries({{"a", 1}, {"b", 3}, {"c", 5}})),
            "/b : 2 -> 3\n/c : (nothing) -> 5\n/d : 4 -> (nothing)\n");
  EXPECT_EQ(Told(Entries({{"a/b~", 1}}), Entries({{"", 1}})),
            "/ : (nothing) -> 1\n/a~1b~0 : 1 -> (nothing)\n");
}

TEST(VelDiff, TellsElementsByAShortestScript) {
  const struct {
    std::vector<int> before, after;
    const char* told;
  } rows[] = {
      {{}, {}, ""},
      {{}, {1}, "/0 : (nothing) -> 1\n"},
      {{1}, {}, "/0 : 1 -> (nothing)\n"},
      {{1}, {2}, "/0 : 1 -> 2\n"},
      {{1, 2, 3}, {1, 3}, "/1 : 2 -> (nothing)\n"},
      {{1, 3}, {1, 2, 3}, "/1 : (nothing) -> 2\n"},
      {{1, 2, 3}, {0, 1, 2, 3}, "/0 : (nothing) -> 0\n"},
      {{1, 2, 3}, {1, 9, 3}, "/1 : 2 -> 9\n"},
      {{1, 2, 3, 4}, {2, 3, 4, 5}, "/0 : 1 -> (nothing)\n/3 : (nothing) -> 5\n"},
      {{1, 2, 3}, {9, 8, 3}, "/0 : 1 -> 9\n/1 : 2 -> 8\n"},
      {{1, 2, 3}, {9, 3}, "/0 : 1 -> 9\n/1 : 2 -> (nothing)\n"},
  };
  for (const auto& row : rows) EXPECT_EQ(Told(Numbers(row.before), Numbers(row.after)), row.told);
}

TEST(VelDiff, LooksIntoWhatIsReplaced) {
  EXPECT_EQ(Told(Sequence(LineOf(1), LineOf(2)), Sequence(LineOf(0), LineOf(1), LineOf(3))),
            "/0 : (nothing) -> diffs::Line" + velPrinted(LineOf(0), -1).substr(11) +
                "\n/1/price : 2 -> 3\n");
}

TEST(VelDiff, TellsAValueOfAnotherTypeAsAWhole) {
  EXPECT_EQ(velDiff(Numbers({1}), Entries({{"0", 1}})).size(), 1U);
  EXPECT_EQ(velDiff(Numbers({1}), Sequence(1))[0].path, "");
  EXPECT_EQ(velDiff(LineOf(1, Numbers({})), LineOf(1, velAny(0)))[0].path, "/extra");
}

TEST(VelDiff, TellsCellsByAStepForEachDimension) {
  const auto before = velArrayOf<int, 2, 3>::create();
  const auto after = velArrayOf<int, 2, 3>::create();
  after->at(1, 2) = 5;
  after->at(0, 1) = 6;
  EXPECT_EQ(Told(velAny(before), velAny(after)), "/0/1 : 0 -> 6\n/1/2 : 0 -> 5\n");
  velSetPath(velAny(before), "/1/2", velAny(5));
  EXPECT_EQ(Told(velAny(before), velAny(after)), "/0/1 : 0 -> 6\n");
}

TEST(VelDiff, TellsObjectsWithoutPartsAsAWhole) {
  const Object one(new VelLogObject);
  const Object other(new VelLogObject);
  EXPECT_TRUE(velDiff(velAny(one), velAny(one)).empty());
  EXPECT_EQ(velDiff(velAny(one), velAny(other)).size(), 1U);
  EXPECT_EQ(velDiff(Sequence(velAny(one)), Sequence(velAny(other)))[0].path, "/0");
}

TEST(VelDiff, TellsObjectsThatComeAgainOnce) {
  const xany before = LineOf(1);
  const xany after = LineOf(2);
  EXPECT_EQ(Told(Sequence(before, 5, before), Sequence(after, 5, after)), "/0/price : 1 -> 2\n");
}

TEST(VelDiff, OfCyclesEnds) {
  const auto one = velNew<Line>();
  const auto other = velNew<Line>();
  one->extra = Sequence(one, 1);
  other->extra = Sequence(other, 2);
  EXPECT_EQ(Told(velAny(one), velAny(other)), "/extra/1 : 1 -> 2\n");
  velSetPath(velAny(other), "/extra/1", velAny(1));
  EXPECT_EQ(Told(velAny(one), velAny(other)), "");
  one->extra = other->extra = xany();
}

// Equal values that are not of one shape: one step round against two, so that numbers
// of elements do not agree.
TEST(VelDiff, OfEqualCyclesOfOtherShapesIsEmpty) {
  const auto ring = [](int length) {
    std::vector<xrchandle<Line>> all;
    for (int i = 0; i < length; ++i) all.push_back(velNew<Line>());
    for (int i = 0; i < length; ++i)
      all[static_cast<std::size_t>(i)]->extra =
          velAny(all[static_cast<std::size_t>((i + 1) % length)]);
    return all;
  };
  const auto one = ring(1);
  const auto two = ring(2);
  const auto three = ring(3);
  const xany before = Sequence(one[0], two[0], three[0], two[1]);
  const xany after = Sequence(three[1], one[0], two[1], three[0]);
  EXPECT_TRUE(velEquals(before, after));
  EXPECT_EQ(Told(before, after), "");
  EXPECT_EQ(Told(LineOf(1, before), LineOf(1, after)), "");
  for (const auto& each : {one, two, three}) {
    for (const auto& line : each) line->extra = xany();
  }
}

// Each level lies on the cycle, and each is asked whether it is equal.
TEST(VelDiff, OfDeepCyclesTakesTheTimeOfTheirDepth) {
  const auto ring = [](int depth, int leaf) {
    const auto innermost = xanysequence::create();
    xany value = velAny(innermost);
    for (int i = 0; i < depth; ++i) value = Sequence(value, i);
    innermost->append(value);
    innermost->append(velAny(leaf));
    return std::make_pair(value, innermost);
  };
  const auto [before, lastBefore] = ring(velShortOrLong(20000, 200000), 1);
  const auto [after, lastAfter] = ring(velShortOrLong(20000, 200000), 2);
  const auto all = velDiff(before, after);
  ASSERT_EQ(all.size(), 1U);
  EXPECT_EQ(velPrinted(*all[0].before), "1");
  EXPECT_EQ(all[0].path.substr(all[0].path.size() - 4), "/0/1");
  lastBefore->removerange(0, 2);
  lastAfter->removerange(0, 2);
}

// Every element leads back to the whole, in which something differs.
TEST(VelDiff, OfElementsThatKnowTheWholeTellsOnlyWhatDiffers) {
  const auto tree = [](int leaf) {
    const auto root = xanysequence::create();
    for (int i = 0; i < 2000; ++i) root->append(Sequence(root, i == 1500 ? leaf : i));
    return root;
  };
  const auto before = tree(1);
  const auto after = tree(2);
  EXPECT_EQ(Told(velAny(before), velAny(after)), "/1500/1 : 1 -> 2\n");
  before->removerange(0, 2000);
  after->removerange(0, 2000);
}

TEST(VelDiff, OfLongSequencesTakesTheTimeOfTheirDifferences) {
  std::vector<int> numbers(200000);
  for (std::size_t i = 0; i < numbers.size(); ++i) numbers[i] = static_cast<int>(i % 1000);
  const xany before = Numbers(numbers);
  numbers.erase(numbers.begin() + 100000);
  numbers.insert(numbers.begin() + 5, 7);
  numbers[199999] = -1;
  EXPECT_EQ(Told(before, Numbers(numbers)),
            "/5 : (nothing) -> 7\n/100000 : 0 -> (nothing)\n/199999 : 999 -> -1\n");
}

TEST(VelDiff, PathsFindWhatTheyTell) {
  const xany before = Sequence(LineOf(1, Entries({{"a/b", 1}})), Numbers({1, 2}));
  const xany after = Sequence(LineOf(1, Entries({{"a/b", 2}})), Numbers({1, 3}));
  const auto all = velDiff(before, after);
  ASSERT_EQ(all.size(), 2U);
  for (const velDifference& one : all) {
    EXPECT_TRUE(velEquals(velGetPath(before, one.path), *one.before)) << one;
    EXPECT_TRUE(velEquals(velGetPath(after, one.path), *one.after)) << one;
    velSetPath(before, one.path, *one.after);
  }
  EXPECT_TRUE(velEquals(before, after));
}

template <int kSize>
class Row : public virtual xobject {
 private:
  xrttiobject* giveRtti() override {
    static xrttiarray* const type = [] {
      static const int sizes[] = {kSize};
      auto* const made = new xrttiarray;
      made->initializeRttiArray("diffs::Row", 1, 1, sizes, velGetRtti_int(), 0,
                                [](xobject*, int* indices) { return xany(*indices); });
      return made;
    }();
    return type;
  }
};

// Arrays of one name and of other sizes: no cell matches another for sure.
TEST(VelDiff, TellsArraysOfOneNameAndOtherSizesAsAWhole) {
  const Object one(new Row<2>);
  const Object other(new Row<3>);
  EXPECT_FALSE(velEquals(velAny(one), velAny(other)));
  ASSERT_EQ(velDiff(velAny(one), velAny(other)).size(), 1U);
  EXPECT_EQ(velDiff(velAny(one), velAny(other))[0].path, "");
}

}  // namespace
