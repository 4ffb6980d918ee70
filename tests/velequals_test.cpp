// Equality and hash of values.
#include <cmath>
#include <string>
#include <vector>

#include "velcompare.h"
#include "velext.h"
#include "veltest.h"
#include "veltest_long.h"

namespace equals {

VEL_ENUM(Color, "equals::Color", red, green)
VEL_ENUM(Mood, "equals::Mood", red, green)

class Point : public velStruct<Point> {
 public:
  int x = 0;
  xany extra;
  VEL_STRUCT(Point, "equals::Point", x, extra)
};
class Pixel : public velStruct<Pixel> {
 public:
  int x = 0;
  xany extra;
  VEL_STRUCT(Pixel, "equals::Pixel", x, extra)
};

}  // namespace equals

namespace {

using namespace equals;
using Object = xrcunihandle<xobject>;

template <class... Values>
xany Sequence(const Values&... values) {
  const auto made = xanysequence::create();
  (made->append(velAny(values)), ...);
  return velAny(made);
}

xany Dictionary(const std::vector<std::pair<const char*, int>>& entries) {
  const auto made = xanydictionary::create();
  for (const auto& [key, value] : entries) made->set(key, velAny(value));
  return velAny(made);
}

TEST(VelEquals, TellsLeavesByKindAndValue) {
  const std::vector<std::vector<xany>> classes = {
      {xany(xanyNil), xany(xrchandle<xintsequence>())},
      {xany()},
      {velAny(0), velAny(0L)},
      {velAny(1)},
      {velAny(-1)},
      {velAny(false)},
      {velAny(true)},
      {velAny(0.0), velAny(-0.0)},
      {velAny(1.0)},
      {velAny(NAN), velAny(-NAN), velAny(std::nan("7"))},
      {velAny(INFINITY)},
      {velAny(-INFINITY)},
      {velAny(""), xany("")},
      {velAny("1")},
      {velAny("red")},
      {velAny("\xC3\xBC"), xany(xstring(L"\u00fc"))},
      {velAny("\xC3\xA9"), xany(xstring(L"\u00e9"))},
      {velAny("?")},
      {velAny("??")},
      {velAny(Color::red)},
      {velAny(Color::green)},
      {velAny(Mood::red)},
  };
  for (std::size_t i = 0; i < classes.size(); ++i) {
    for (std::size_t j = 0; j < classes.size(); ++j) {
      for (const xany& a : classes[i]) {
        for (const xany& b : classes[j]) {
          EXPECT_EQ(velEquals(a, b), i == j) << velPrinted(a) << ' ' << velPrinted(b);
          EXPECT_EQ(velEquals(Sequence(a), Sequence(b)), i == j)
              << velPrinted(a) << ' ' << velPrinted(b);
          if (i == j) {
            EXPECT_EQ(velHash(a), velHash(b)) << velPrinted(a);
            EXPECT_EQ(velHash(Sequence(a)), velHash(Sequence(b))) << velPrinted(a);
          } else if (!(a.getkind() == xanyEnum && b.getkind() == xanyEnum)) {
            EXPECT_NE(velHash(a), velHash(b)) << velPrinted(a) << ' ' << velPrinted(b);
          }
        }
      }
    }
  }
}

TEST(VelEquals, TellsEnumerationsByTheNameOfTheirType) {
  static const char* const names[] = {"red", "green"};
  static xrttienum same("equals::Color", 2, names);
  EXPECT_TRUE(velEquals(xany(1, &same), velAny(Color::green)));
  EXPECT_EQ(velHash(xany(1, &same)), velHash(velAny(Color::green)));
  EXPECT_FALSE(velEquals(velAny(Mood::green), velAny(Color::green)));
}

TEST(VelEquals, TellsObjectsByTypeAndParts) {
  const auto point = velNew<Point>();
  const auto other = velNew<Point>();
  EXPECT_TRUE(velEquals(velAny(point), velAny(other)));
  EXPECT_FALSE(velEquals(velAny(point), velAny(velNew<Pixel>())))
      << "another type of the same parts";
  other->x = 1;
  EXPECT_FALSE(velEquals(velAny(point), velAny(other)));
  EXPECT_FALSE(velEquals(velAny(other), velAny(point)));
  EXPECT_FALSE(velEquals(velAny(point), xany(xanyNil)));
  EXPECT_FALSE(velEquals(xany(), velAny(point)));
  EXPECT_FALSE(velEquals(velAny(xintsequence::create()), velAny(xanysequence::create())));
}

TEST(VelEquals, TellsElementsByPositionAndEntriesByKey) {
  EXPECT_TRUE(velEquals(Sequence(1, 2), Sequence(1, 2)));
  EXPECT_FALSE(velEquals(Sequence(1, 2), Sequence(2, 1)));
  EXPECT_FALSE(velEquals(Sequence(1, 2), Sequence(1, 2, 3)));
  EXPECT_FALSE(velEquals(Sequence(1, 2, 3), Sequence(1, 2)));
  EXPECT_TRUE(velEquals(Sequence(), Sequence()));
  EXPECT_TRUE(velEquals(Dictionary({{"a", 1}, {"b", 2}}), Dictionary({{"b", 2}, {"a", 1}})));
  EXPECT_FALSE(velEquals(Dictionary({{"a", 1}}), Dictionary({{"b", 1}})));
  EXPECT_FALSE(velEquals(Dictionary({{"a", 1}}), Dictionary({{"a", 1}, {"b", 1}})));
  EXPECT_FALSE(velEquals(Dictionary({{"a", 1}, {"b", 1}}), Dictionary({{"a", 1}})));
  EXPECT_TRUE(velEquals(Dictionary({}), Dictionary({})));
}

TEST(VelEquals, HashDoesNotDependOnTheOrderOfEntries) {
  const auto one = xanydictionary::create();
  const auto other = xanydictionary::createCapacity(1000);
  for (int i = 0; i < 100; ++i) one->set(std::to_string(i).c_str(), velAny(i));
  for (int i = 100; i-- > 0;) other->set(std::to_string(i).c_str(), velAny(i));
  EXPECT_TRUE(velEquals(velAny(one), velAny(other)));
  EXPECT_EQ(velHash(velAny(one)), velHash(velAny(other)));
}

TEST(VelEquals, TellsObjectsWithoutPartsByIdentity) {
  const Object one(new VelLogObject);
  const Object other(new VelLogObject);
  EXPECT_TRUE(velEquals(velAny(one), velAny(one)));
  EXPECT_EQ(velHash(velAny(one)), velHash(velAny(one)));
  EXPECT_FALSE(velEquals(velAny(one), velAny(other)));
  EXPECT_TRUE(velEquals(Sequence(velAny(one)), Sequence(velAny(one))));
  EXPECT_FALSE(velEquals(Sequence(velAny(one)), Sequence(velAny(other))));
}

TEST(VelEquals, AgreesInBothDirectionsWhereCompareDoesNot) {
  const xany small = Dictionary({{"a", 1}});
  const xany large = Dictionary({{"a", 1}, {"b", 2}});
  EXPECT_TRUE(velCompare(small, large));
  EXPECT_FALSE(velCompare(large, small));
  EXPECT_FALSE(velEquals(small, large));
  EXPECT_FALSE(velEquals(large, small));
}

TEST(VelEquals, OfCyclesIsThatOfTheirPaths) {
  // One step round, and two.
  const auto one = velNew<Point>();
  one->extra = velAny(one);
  const auto first = velNew<Point>();
  const auto second = velNew<Point>();
  first->extra = velAny(second);
  second->extra = velAny(first);
  EXPECT_TRUE(velEquals(velAny(one), velAny(first)));
  EXPECT_TRUE(velEquals(velAny(first), velAny(one)));
  EXPECT_EQ(velHash(velAny(one)), velHash(velAny(first)));
  second->x = 1;
  EXPECT_FALSE(velEquals(velAny(one), velAny(first)));
  EXPECT_FALSE(velEquals(velAny(first), velAny(one)));
  EXPECT_FALSE(velEquals(velAny(first), velAny(second)));
  one->extra = first->extra = second->extra = xany();
}

TEST(VelEquals, OfWhatIsSharedIsThatOfItsCopies) {
  const auto shared = velNew<Point>();
  const xany twice = Sequence(shared, shared);
  EXPECT_TRUE(velEquals(twice, Sequence(velNew<Point>(), velNew<Point>())));
  EXPECT_EQ(velHash(twice), velHash(Sequence(velNew<Point>(), velNew<Point>())));
}

// Fifty levels, each with the next one twice: 2^50 paths.
TEST(VelEquals, LooksAtSharedObjectsOnce) {
  const auto tower = [] {
    xany value = velAny(1);
    for (int i = 0; i < 50; ++i) value = Sequence(value, value);
    return value;
  };
  const xany one = tower();
  const xany other = tower();
  EXPECT_TRUE(velEquals(one, other));
  EXPECT_EQ(velHash(one), velHash(other));
  EXPECT_TRUE(velDiff(one, other).empty());
  EXPECT_TRUE(velEquals(velClone(one), one));
}

// A getter that makes a new object at each call, of which each may get the address of
// the one before.
class Fresh : public velStruct<Fresh> {
 public:
  explicit Fresh(int start = 0) : from(start) {}
  int from;
  xany getA() const { return Sequence("always", "the same"); }
  xany getB() const { return Sequence(from, Sequence("b", from + 1)); }
  xany getC() const { return Sequence(velAny(velNew<Point>())); }
  static void velDescribe(xrttistruct* rtti) {
    velDescription<Fresh>("equals::Fresh")
        .attribute<&Fresh::getA>("a")
        .attribute<&Fresh::getB>("b")
        .attribute<&Fresh::getC>("c")
        .install(rtti);
  }
};

TEST(VelEquals, MayMeetANewObjectAtEachCall) {
  const xany one = velAny(velNew<Fresh>(1));
  const xany same = velAny(velNew<Fresh>(1));
  const xany other = velAny(velNew<Fresh>(2));
  for (int i = 0; i < 20; ++i) {
    EXPECT_TRUE(velEquals(one, same));
    EXPECT_TRUE(velEquals(one, one));
    EXPECT_FALSE(velEquals(one, other));
    EXPECT_EQ(velHash(one), velHash(same));
    EXPECT_NE(velHash(one), velHash(other));
    EXPECT_NE(velHash(Sequence(one, same)), velHash(Sequence(one, other)));
    EXPECT_TRUE(velDiff(one, same).empty());
    EXPECT_EQ(velDiff(one, other).size(), 2U);
  }
}

TEST(VelEquals, HashTellsWhatIsNearTheTop) {
  EXPECT_NE(velHash(Sequence(1)), velHash(Sequence(2)));
  EXPECT_NE(velHash(Sequence(Sequence(Sequence(1)))), velHash(Sequence(Sequence(Sequence(2)))));
  EXPECT_NE(velHash(Sequence(1, 2)), velHash(Sequence(2, 1)));
  EXPECT_NE(velHash(Sequence()), velHash(Dictionary({})));
  EXPECT_NE(velHash(Dictionary({{"a", 1}})), velHash(Dictionary({{"b", 1}})));
  EXPECT_EQ(velHash(Sequence(Sequence(Sequence(Sequence(1))))),
            velHash(Sequence(Sequence(Sequence(Sequence(2))))))
      << "the fourth level is too deep";
}

TEST(VelEquals, GivesBackAllReferences) {
  const auto point = velNew<Point>();
  const xany one = Sequence(point, point);
  const xany other = Sequence(velNew<Point>(), point);
  velEquals(one, other);
  velHash(one);
  velDiff(one, other);
  velClone(one);
  EXPECT_EQ(xrcgetcount(point.operator->()), 4);
}

xany Nested(int depth, const xany& inner) {
  xany value = inner;
  for (int i = 0; i < depth; ++i) value = Sequence(value);
  return value;
}

TEST(VelEquals, GoesAsDeepAsValuesAre) {
  const int depth = velShortOrLong(20000, 200000);
  const xany one = Nested(depth, velAny(1));
  EXPECT_TRUE(velEquals(one, Nested(depth, velAny(1))));
  EXPECT_FALSE(velEquals(one, Nested(depth, velAny(2))));
  EXPECT_FALSE(velEquals(one, Nested(depth + 1, velAny(1))));
  EXPECT_EQ(velHash(one), velHash(Nested(depth, velAny(2))));
  const auto all = velDiff(one, Nested(depth, velAny(2)));
  ASSERT_EQ(all.size(), 1U);
  EXPECT_EQ(all[0].path.size(), 2U * static_cast<unsigned>(depth));
  EXPECT_TRUE(velEquals(velClone(one), one));
}

// ---- parts ------------------------------------------------------------------------------

TEST(VelParts, ReadWhatDescriptorsOfAnyKindSay) {
  const Object opaque(new VelLogObject);
  const velParts none = velPartsOf(opaque);
  EXPECT_EQ(none.shape, velShape::kOpaque);
  EXPECT_EQ(none.type, VelLogObject::getClassRtti());
  EXPECT_TRUE(none.list.empty());
  EXPECT_EQ(velPartsOf(velObjectOfValue(Dictionary({{"b", 1}, {"a", 2}}))).list[0].name, "a");
  EXPECT_EQ(velPartsOf(velObjectOfValue(Sequence(5, 6))).list[1].index, 1);
}

class Top : public velStruct<Top> {
 public:
  int a = 1, b = 2;
  VEL_STRUCT(Top, "equals::Top", a, b)
};
class Bottom : public velStruct<Bottom, Top> {
 public:
  int c = 3, a = 4;
  VEL_STRUCT(Bottom, "equals::Bottom", c, a)
};

TEST(VelParts, NameAttributesOfParentsFirstAndOnce) {
  std::string names;
  for (const velPart& part : velPartsOf(velNew<Bottom>()).list) {
    names += part.name + '=' + velPrinted(part.value) + ' ';
  }
  EXPECT_EQ(names, "a=4 b=2 c=3 ");
}

TEST(VelParts, OfAValueThatIsNoObjectAreNone) {
  for (const xany& value : {xany(xanyNil), xany(), velAny(1), velAny("a"), velAny(Color::red)}) {
    EXPECT_EQ(velObjectOfValue(value), nullptr);
  }
  EXPECT_NE(velObjectOfValue(Sequence()), nullptr);
}

}  // namespace
