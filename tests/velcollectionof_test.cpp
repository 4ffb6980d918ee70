// Sequences and dictionaries of a user's own types.
#include <algorithm>
#include <string>
#include <type_traits>
#include <vector>

#include "velext.h"
#include "veltest.h"

namespace collections {

VEL_ENUM(Color, "collections::Color", red, green)
class Point : public velStruct<Point> {
 public:
  int x = 0;
  VEL_STRUCT(Point, "collections::Point", x)
};
class Derived : public velStruct<Derived, Point> {
 public:
  VEL_STRUCT(Derived, "collections::Derived")
};

}  // namespace collections

namespace {

using namespace collections;
using Points = velSequenceOf<Point>;
using Colors = velSequenceOf<Color>;
using PointMap = velDictionaryOf<Point>;
using ColorMap = velDictionaryOf<Color>;
using Object = xrcunihandle<xobject>;

// The standard ones are the standard ones.
static_assert(std::is_same<velSequenceOf<bool>, xboolsequence>::value);
static_assert(std::is_same<velSequenceOf<unsigned char>, xboolsequence>::value);
static_assert(std::is_same<velSequenceOf<int>, xintsequence>::value);
static_assert(std::is_same<velSequenceOf<double>, xrealsequence>::value);
static_assert(std::is_same<velSequenceOf<xstring>, xstringsequence>::value);
static_assert(std::is_same<velSequenceOf<xany>, xanysequence>::value);
static_assert(std::is_same<velDictionaryOf<bool>, xbooldictionary>::value);
static_assert(std::is_same<velDictionaryOf<int>, xintdictionary>::value);
static_assert(std::is_same<velDictionaryOf<double>, xrealdictionary>::value);
static_assert(std::is_same<velDictionaryOf<xstring>, xstringdictionary>::value);
static_assert(std::is_same<velDictionaryOf<xany>, xanydictionary>::value);
static_assert(std::is_same<velSequenceOf<xrchandle<Point>>, Points>::value);

TEST(VelCollectionOf, IsNamedAfterItsElements) {
  const struct {
    xrttiobject* type;
    const char* name;
    const char* element;
    bool isOptional;
  } rows[] = {
      {Points::getClassRtti(), "collections::Pointseq", "collections::Point", true},
      {Colors::getClassRtti(), "collections::Colorseq", "collections::Color", false},
      {velSequenceOf<Points>::getClassRtti(), "collections::Pointseqseq", "collections::Pointseq",
       true},
      {velSequenceOf<xrcunihandle<xobject>>::getClassRtti(), "objectseq", "object", true},
  };
  for (const auto& row : rows) {
    auto* const type = dynamic_cast<xrttisequence*>(row.type);
    EXPECT_EQ(type->getName(), row.name);
    EXPECT_EQ(type->getElemType()->getName(), row.element);
    EXPECT_EQ(type->getIsElemOptional() != 0, row.isOptional) << row.name;
    EXPECT_TRUE(type->getIsRefCount()) << row.name;
    EXPECT_EQ(velRttiGetFromMap(row.name), type);
  }
  auto* const map = dynamic_cast<xrttidictionary*>(ColorMap::getClassRtti());
  EXPECT_EQ(map->getName(), "collections::Colordict");
  EXPECT_EQ(map->getElemType(), velEnumRtti<Color>());
  EXPECT_EQ(PointMap::getClassRtti()->getName(), "collections::Pointdict");
}

TEST(VelCollectionOf, IsMadeLikeTheStandardOnes) {
  EXPECT_EQ(Points::create()->getarraysize(), 0);
  EXPECT_EQ(Points::createCapacity(100)->getarraysize(), 0);
  EXPECT_EQ(PointMap::createCapacity(100)->getcount(), 0);
  const auto points = Points::create();
  EXPECT_EQ(Points::cast(points), points.operator->());
  EXPECT_EQ(Colors::softcast(points), nullptr);
  EXPECT_VEL_THROW(Colors::cast(points), velXTypeMismatch);
  EXPECT_VEL_THROW(points->get(0), velXInvalidSeqIndex);
}

TEST(VelCollectionOf, CountsReferencesOnElements) {
  const auto point = velNew<Point>();
  {
    const auto points = Points::create();
    points->append(point);
    points->append(point);
    const auto map = PointMap::create();
    map->set("a", point);
    EXPECT_EQ(xrcgetcount(point.operator->()), 4);
    points->removerange(0, 1);
    EXPECT_EQ(xrcgetcount(point.operator->()), 3);
  }
  EXPECT_EQ(xrcgetcount(point.operator->()), 1);
}

TEST(VelCollectionOf, ReadsANullElementAsNil) {
  const auto points = Points::create();
  points->append(xrchandle<Point>());
  points->append(velNew<Point>());
  EXPECT_TRUE(velGetPath(velAny(points), "/0").isnil());
  EXPECT_EQ(velGet<int>(velGetPath(velAny(points), "/1/x")), 0);
  EXPECT_TRUE(velEquals(velClone(velAny(points)), velAny(points)));
}

TEST(VelCollectionOf, GoesInLoops) {
  const auto points = Points::create();
  for (int x = 0; x < 5; ++x) {
    points->append(velNew<Point>());
    points->get(x)->x = x;
  }
  int sum = 0;
  for (auto& point : *points) sum += point->x;
  for (const auto& point : points) sum += point->x;
  EXPECT_EQ(sum, 20);
  for (auto& point : *points) point = velNew<Derived>();
  EXPECT_EQ(velCount(*points), 5);
  EXPECT_EQ(points->get(4)->getVelTypeName(), "collections::Derived");
  // A loop over what it makes longer ends where the sequence ends.
  for (auto& point : *points) {
    if (velCount(*points) < 8) points->append(point);
  }
  EXPECT_EQ(velCount(*points), 8);
  for (auto& point : *points) {
    (void)point;
    points->removerange(0, points->getarraysize());
  }
  EXPECT_EQ(velCount(*points), 0);
}

TEST(VelCollectionOf, GoesToAndFromStandardContainers) {
  const auto colors = Colors::create();
  for (const Color color : std::vector<Color>{Color::green, Color::red}) colors->append(color);
  const std::vector<Color> all = velToVector(*colors);
  EXPECT_EQ(all, (std::vector<Color>{Color::green, Color::red}));
  const auto map = PointMap::create();
  for (const char* key : {"b", "a", "c"}) map->set(key, velNew<Point>());
  std::string keys;
  for (auto& [key, point] : velSorted(*map))
    keys += std::string(velView(key)) + (point ? " " : "! ");
  EXPECT_EQ(keys, "a b c ");
  EXPECT_EQ(velToMap(*map).size(), 3U);
  xrchandle<Point> found;
  EXPECT_TRUE(map->find("b", &found));
  EXPECT_EQ(velToMap(*map).at("b"), found);
}

TEST(VelCollectionOf, IsMadeAndWrittenByName) {
  Points::getClassRtti();
  ColorMap::getClassRtti();
  const Object points = velCreate("collections::Pointseq");
  velSetPath(velAny(points), "/-", velAny(velNew<Derived>()));
  velSetPath(velAny(points), "/1", xany(xanyNil));
  velSetPath(velAny(points), "/0/x", velAny(4));
  EXPECT_EQ(velObject<Points>(velAny(points))->get(0)->x, 4);
  EXPECT_TRUE(velObject<Points>(velAny(points))->get(1).isnull());
  EXPECT_VEL_THROW(velSetPath(velAny(points), "/0", velAny(1)), velXTypeMismatch);
  EXPECT_VEL_THROW(velSetPath(velAny(points), "/-", velAny(points)), velXTypeMismatch);
  EXPECT_EQ(velObject<Points>(velAny(points))->getarraysize(), 2);
  const Object colors = velCreate("collections::Colordict");
  velSetPath(velAny(colors), "/sky", velAny(Color::green));
  EXPECT_VEL_THROW(velSetPath(velAny(colors), "/sky", xany(xanyNil)), velXTypeMismatch);
  EXPECT_EQ(velGet<Color>(velGetPath(velAny(colors), "/sky")), Color::green);
}

// As the manual says: known when the program is loaded.
class Early2 : public velStruct<Early2> {
 public:
  VEL_STRUCT(Early2, "collections::Early2")
};
const velRegistrar known{&velSequenceOf<Early2>::getClassRtti};

TEST(VelCollectionOf, IsKnownFromTheStartIfItIsTold) {
  EXPECT_NE(velRttiGetFromMap("collections::Early2seq"), nullptr);
}

TEST(VelCollectionOf, IsMadeByDeserializers) {
  for (const char* name : {"collections::Pointseq", "collections::Pointdict"}) {
    EXPECT_NE(velCreate(name), nullptr);  // registers it, if nothing else has
    xobject* const made = velS11nCreate(name, nullptr);
    ASSERT_NE(made, nullptr) << name;
    EXPECT_EQ(made->getVelTypeName(), name);
    EXPECT_EQ(xrcgetcount(made), 1);
    xrcrelease(made);
  }
}

TEST(VelCollectionOf, PrintsLikeTheStandardOnes) {
  const auto colors = Colors::create();
  const auto numbers = xintsequence::create();
  colors->append(Color::green);
  numbers->append(1);
  std::string text = velPrinted(velAny(numbers));
  text.replace(text.find("intseq"), 6, "collections::Colorseq");
  text.replace(text.rfind('1'), 1, "green");
  EXPECT_EQ(velPrinted(velAny(colors)), text);
}

// Described by hand, with a collection of itself; with its name first, or not.
class Early : public virtual xobject {
  VEL_OBJECT(Early)
};
class Late : public virtual xobject {
  VEL_OBJECT(Late)
};
template <class C>
xrttiattr* ChildrenOf() {
  return new xrttiattr("children", velSequenceOf<C>::getClassRtti(), 1,
                       [](xobject*) { return xany(xanyNil); });
}
VEL_OBJECT_RTTI(Early, xrttistruct, [](xrttistruct* rtti) {
  rtti->initializeRttiObject("collections::Early", 1, 0, nullptr);
  static xrttiattr* const attrs[] = {ChildrenOf<Early>()};
  rtti->initializeRttiStruct("collections::Early", 1, 0, nullptr, 1, attrs);
})
VEL_OBJECT_RTTI(Late, xrttistruct, [](xrttistruct* rtti) {
  static xrttiattr* const attrs[] = {ChildrenOf<Late>()};
  rtti->initializeRttiStruct("collections::Late", 1, 0, nullptr, 1, attrs);
})

TEST(VelCollectionOf, IsRefusedToAClassByHandThatHasNoNameYet) {
  EXPECT_EQ(Early::getClassRtti()->getName(), "collections::Early");
  EXPECT_EQ(velSequenceOf<Early>::getClassRtti()->getName(), "collections::Earlyseq");
  EXPECT_VEL_NATIVE(Late::getClassRtti(), "Type is not described yet");
  EXPECT_VEL_NATIVE(Late::getClassRtti(), "Type is not described yet");
}

// ---- how collections are written by value -------------------------------------------------

TEST(VelWrites, KnowTheStandardCollections) {
  const struct {
    const char* name;
    xany fits;
    xany doesNot;
  } rows[] = {{"booleanseq", velAny(true), velAny(1)}, {"intseq", velAny(1), velAny(true)},
              {"realseq", velAny(1.5), velAny(1)},     {"stringseq", velAny("a"), velAny(1)},
              {"anyseq", velAny("a"), xany()},         {"booleandict", velAny(true), velAny(1)},
              {"intdict", velAny(1), velAny(true)},    {"realdict", velAny(1.5), velAny(1)},
              {"stringdict", velAny("a"), velAny(1)},  {"anydict", velAny("a"), xany()}};
  for (const auto& row : rows) {
    const Object made = velCreate(row.name);
    EXPECT_EQ(made->getVelTypeName(), row.name);
    EXPECT_EQ(xrcgetcount(made), 1);
    const velWrites* const writes = velGetWrites(made->getRtti());
    ASSERT_NE(writes, nullptr) << row.name;
    const bool isSequence = std::string(row.name).find("seq") != std::string::npos;
    const auto write = [&](const xany& value) {
      if (isSequence) {
        writes->setElement(made, 0, value);
      } else {
        writes->setEntry(made, "k", value);
      }
    };
    write(row.fits);
    EXPECT_EQ(velPrinted(velGetPath(velAny(made), isSequence ? "/0" : "/k")), velPrinted(row.fits));
    if (!row.doesNot.isuninit()) EXPECT_VEL_THROW(write(row.doesNot), velXTypeMismatch);
    EXPECT_EQ(writes->setCell, nullptr);
    if (isSequence) {
      EXPECT_EQ(writes->setEntry, nullptr);
      writes->removeElement(made, 0);
      EXPECT_VEL_THROW(writes->removeElement(made, 0), velXInvalidSeqIndex);
    } else {
      EXPECT_EQ(writes->setElement, nullptr);
      EXPECT_TRUE(writes->removeEntry(made, "k"));
      EXPECT_FALSE(writes->removeEntry(made, "k"));
    }
    EXPECT_EQ(velPartsOf(made).list.size(), 0U) << row.name;
  }
}

TEST(VelWrites, AppendAtTheSizeAndBeyond) {
  const auto numbers = xintsequence::create();
  const velWrites& writes = *velGetWrites(numbers->getRtti());
  writes.setElement(numbers, 5, velAny(1));
  writes.setElement(numbers, 1, velAny(2));
  writes.setElement(numbers, 0, velAny(3));
  EXPECT_EQ(velToVector(*numbers), (std::vector<int>{3, 2}));
  EXPECT_VEL_THROW(writes.setElement(numbers, -1, velAny(3)), velXNegativeIndex);
  EXPECT_VEL_THROW(writes.removeElement(numbers, -1), velXNegativeIndex);
  EXPECT_VEL_THROW(writes.setElement(xstringsequence::create(), 0, velAny(3)), velXTypeMismatch);
}

TEST(VelWrites, AreUnknownForOtherTypes) {
  EXPECT_EQ(velGetWrites(nullptr), nullptr);
  EXPECT_EQ(velGetWrites(Point::getClassRtti()), nullptr);
  EXPECT_EQ(velGetWrites(velGetRtti_int()), nullptr);
}

}  // namespace
