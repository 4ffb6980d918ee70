// Values of one of several shapes.
#include <string>

#include "velcompare.h"
#include "velext.h"
#include "veltest.h"

namespace unions {

VEL_ENUM(Kind, "unions::Kind", circle, square, other)

class Part : public velStruct<Part> {
 public:
  int x = 0;
  VEL_STRUCT(Part, "unions::Part", x)
};

class Shape : public velUnion<Shape> {
  Kind kind = Kind::circle;
  double radius = 0;
  int side = 0;
  xstring text;

 public:
  VEL_UNION(Shape, "unions::Shape", kind, (Kind::circle, radius), (Kind::square, side),
            (velOtherwise, text))
};

// Branches of all member types, and labels of another integer type.
class Any : public velUnion<Any> {
 public:
  short label = 0;
  bool truth = true;
  std::string text = "t";
  float half = 0.5;
  std::optional<int> maybe;
  xrchandle<Part> part;
  Kind kind = Kind::other;
  xany any;
  xrcunihandle<xobject> object;
  long number = 5;
  VEL_UNION(Any, "unions::Any", label, (-1, truth), (1, text), (2, half), (3, maybe), (4, part),
            (5, kind), (6, any), (7, object), (32767, number))
};

// One branch, no default constructor.
class Single : public velUnion<Single> {
 public:
  explicit Single(int start) : label(start) {}
  int label;
  xany value;
  VEL_UNION(Single, "unions::Single", label, (1, value))
};

// Its parent has the branches that it has not.
class More : public velUnion<More, Shape> {
 public:
  Kind which = Kind::circle;
  xstring name;
  VEL_UNION(More, "unions::More", which, (Kind::other, name))
};

}  // namespace unions

namespace {

using namespace unions;
using Object = xrcunihandle<xobject>;

TEST(VelUnion, IsDescribedByDiscriminatorAndBranches) {
  auto* const type = dynamic_cast<xrttiunion*>(velRttiGetFromMap("unions::Shape"));
  ASSERT_NE(type, nullptr);
  EXPECT_EQ(type, Shape::getClassRtti());
  EXPECT_EQ(type->getDiscr()->getName(), "kind");
  EXPECT_EQ(type->getDiscr()->getType(), velEnumRtti<Kind>());
  ASSERT_EQ(type->getNLabels(), 2);
  EXPECT_EQ(type->getAttr(1)->getName(), "side");
  EXPECT_EQ(type->getDefaultAttr()->getName(), "text");
  EXPECT_EQ(type->mapLabelToAttr(2, 1), type->getDefaultAttr());
}

TEST(VelUnion, ShowsTheBranchOfItsDiscriminator) {
  const Object shape = velCreate("unions::Shape");
  velSetAttr(shape, "radius", velAny(2.5));
  velSetAttr(shape, "side", velAny(4));
  velSetAttr(shape, "text", velAny("t"));
  const struct {
    Kind kind;
    const char* branch;
    const char* value;
  } rows[] = {
      {Kind::circle, "radius", "2.5"}, {Kind::square, "side", "4"}, {Kind::other, "text", "\"t\""}};
  for (const auto& row : rows) {
    velSetAttr(shape, "kind", velAny(row.kind));
    EXPECT_EQ(velPrinted(velGetAttr(shape, row.branch)), row.value);
    const velParts parts = velPartsOf(shape);
    ASSERT_EQ(parts.list.size(), 2U);
    EXPECT_EQ(parts.shape, velShape::kUnion);
    EXPECT_EQ(parts.list[0].name, "kind");
    EXPECT_EQ(parts.list[1].name, row.branch);
  }
  EXPECT_VEL_THROW(velGetAttr(shape, "side"), velXInvalidDictKey);
}

TEST(VelUnion, HasBranchesOfAllMemberTypes) {
  const struct {
    int label;
    const char* branch;
    const char* value;
  } rows[] = {{-1, "truth", "true"}, {1, "text", "\"t\""}, {2, "half", "0.5"},
              {3, "maybe", "nil"},   {4, "part", "nil"},   {5, "kind", "other"},
              {6, "any", ""},        {7, "object", "nil"}, {32767, "number", "5"}};
  const Object object = velCreate("unions::Any");
  for (const auto& row : rows) {
    velSetAttr(object, "label", velAny(row.label));
    EXPECT_EQ(velPrinted(velGetAttr(object, row.branch)), row.value) << row.label;
    EXPECT_TRUE(velEquals(velClone(velAny(object)), velAny(object))) << row.label;
  }
  velSetAttr(object, "label", velAny(0));
  EXPECT_EQ(velPartsOf(object).list.size(), 1U) << "no branch at all";
  EXPECT_TRUE(velEquals(velClone(velAny(object)), velAny(object)));
  EXPECT_VEL_NATIVE(velSetAttr(object, "label", velAny(32768)), "Integer out of range: 32768");
}

TEST(VelUnion, RefusesValuesOfAnotherKind) {
  const Object shape = velCreate("unions::Shape");
  EXPECT_VEL_THROW(velSetAttr(shape, "kind", velAny(1)), velXTypeMismatch);
  EXPECT_VEL_THROW(velSetAttr(shape, "side", velAny("4")), velXTypeMismatch);
  EXPECT_VEL_THROW(velSetAttr(shape, "width", velAny(4)), velXInvalidDictKey);
}

TEST(VelUnion, WithoutDefaultConstructorIsNotMadeByName) {
  EXPECT_VEL_NATIVE(velCreate("unions::Single"), "Type cannot be created: unions::Single");
  const auto single = velNew<Single>(1);
  single->value = velAny("v");
  EXPECT_EQ(velPrinted(velGetPath(velAny(single), "/value")), "\"v\"");
}

TEST(VelUnion, TakesTheBranchesOfItsParent) {
  const Object more = velCreate("unions::More");
  velSetAttr(more, "name", velAny("n"));
  velSetAttr(more, "side", velAny(7));
  velSetAttr(more, "which", velAny(Kind::square));
  EXPECT_EQ(velPrinted(velGetAttr(more, "side")), "7");
  velSetAttr(more, "which", velAny(Kind::other));
  EXPECT_EQ(velPrinted(velGetAttr(more, "name")), "\"n\"");
  EXPECT_TRUE(velEquals(velClone(velAny(more)), velAny(more)));
}

TEST(VelUnion, OfNoLabelShowsTheBranchThatTheWalkerShows) {
  const auto single = velNew<Any>();
  const auto other = velNew<Any>();
  single->label = other->label = 6;
  single->any = velAny(1);
  EXPECT_FALSE(velEquals(velAny(single), velAny(other)));
  EXPECT_FALSE(velCompare(velAny(single), velAny(other)));
  single->label = other->label = 100;
  EXPECT_TRUE(velEquals(velAny(single), velAny(other)));
}

TEST(VelUnion, DiffersByDiscriminatorAndBranches) {
  const Object before = velCreate("unions::Shape");
  const Object after = velCreate("unions::Shape");
  velSetAttr(after, "kind", velAny(Kind::square));
  std::string text;
  for (const velDifference& one : velDiff(velAny(before), velAny(after))) {
    std::ostringstream line;
    line << one;
    text += line.str() + '\n';
  }
  EXPECT_EQ(text, "/kind : circle -> square\n/radius : 0 -> (nothing)\n/side : (nothing) -> 0\n");
}

}  // namespace
