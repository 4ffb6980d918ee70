// Arrays of fixed dimensions.
#include <limits>
#include <string>

#include "velext.h"
#include "veltest.h"

namespace arrays {

VEL_ENUM(Color, "arrays::Color", red, green)
class Point : public velStruct<Point> {
 public:
  int x = 0;
  VEL_STRUCT(Point, "arrays::Point", x)
};

}  // namespace arrays

namespace {

using namespace arrays;
using Board = velArrayOf<Color, 2, 3>;
using Object = xrcunihandle<xobject>;

TEST(VelArrayOf, IsNamedAfterElementsAndDimensions) {
  auto* const type = dynamic_cast<xrttiarray*>(Board::getClassRtti());
  EXPECT_EQ(type->getName(), "arrays::Color[2][3]");
  EXPECT_EQ(velRttiGetFromMap("arrays::Color[2][3]"), type);
  EXPECT_EQ(type->getNDimentions(), 2);
  EXPECT_EQ(type->getDimention(0), 2);
  EXPECT_EQ(type->getDimention(1), 3);
  EXPECT_EQ(type->getElemType(), velEnumRtti<Color>());
  EXPECT_FALSE(type->getIsElemOptional());
}

template <class E>
void ExpectBegins(const char* name, const char* begins, const xany& other) {
  using Array = velArrayOf<E, 2>;
  const auto array = Array::create();
  EXPECT_EQ(array->getVelTypeName(), name);
  EXPECT_EQ(velPrinted(velGetPath(velAny(array), "/1")), begins) << name;
  velSetPath(velAny(array), "/1", other);
  EXPECT_EQ(velPrinted(velGetPath(velAny(array), "/1")), velPrinted(other)) << name;
  EXPECT_EQ(velPrinted(velGetPath(velAny(array), "/0")), begins) << name;
  EXPECT_TRUE(velEquals(velClone(velAny(array)), velAny(array))) << name;
}

TEST(VelArrayOf, BeginsEmptyWithElementsOfAllKinds) {
  ExpectBegins<bool>("bool[2]", "false", velAny(true));
  ExpectBegins<int>("int[2]", "0", velAny(5));
  ExpectBegins<double>("real[2]", "0", velAny(0.5));
  ExpectBegins<xstring>("string[2]", "nil", velAny("a"));
  ExpectBegins<xany>("any[2]", "", velAny("a"));
  ExpectBegins<Color>("arrays::Color[2]", "red", velAny(Color::green));
  ExpectBegins<Point>("arrays::Point[2]", "nil", velAny(velNew<Point>()));
  ExpectBegins<xrcunihandle<xobject>>("object[2]", "nil", velAny(velNew<Point>()));
}

TEST(VelArrayOf, KeepsElementsInTheirPlaces) {
  const auto board = Board::create();
  board->at(1, 2) = Color::green;
  EXPECT_EQ(velPrinted(velGetPath(velAny(board), "/1/2")), "green");
  EXPECT_EQ(velPrinted(velGetPath(velAny(board), "/0/2")), "red");
  const velParts parts = velPartsOf(board);
  ASSERT_EQ(parts.list.size(), 6U);
  EXPECT_EQ(parts.shape, velShape::kArray);
  EXPECT_EQ(velPrinted(parts.list[5].value), "green") << "row by row";
}

TEST(VelArrayOf, RefusesIndicesOutsideEachDimension) {
  const auto board = Board::create();
  const struct {
    long long row, column;
    int index, dimension;
  } rows[] = {
      {-1, 0, -1, 0}, {2, 0, 2, 0}, {0, -1, -1, 1}, {1, 3, 3, 1}, {0, 2147483647, 2147483647, 1}};
  for (const auto& at : rows) {
    const auto caught = velCaught([&] { board->at(at.row, at.column) = Color::red; });
    auto* const error = dynamic_cast<velXInvalidArrayIndex*>(caught.operator->());
    ASSERT_NE(error, nullptr);
    EXPECT_EQ(error->getIndex(), at.index);
    EXPECT_EQ(error->getDimension(), at.dimension);
  }
  EXPECT_VEL_THROW(board->at(0, 1LL << 32), velXInvalidArrayIndex);
  EXPECT_VEL_THROW(board->at(std::numeric_limits<std::size_t>::max(), 0), velXInvalidArrayIndex);
}

TEST(VelArrayOf, IsMadeAndWrittenByName) {
  Board::getClassRtti();
  const Object board = velCreate("arrays::Color[2][3]");
  velSetPath(velAny(board), "/0/1", velAny(Color::green));
  EXPECT_EQ(velObject<Board>(velAny(board))->at(0, 1), Color::green);
  EXPECT_VEL_THROW(velSetPath(velAny(board), "/0/1", velAny(1)), velXTypeMismatch);
  EXPECT_VEL_THROW(velSetPath(velAny(board), "/2/1", velAny(Color::red)), velXInvalidArrayIndex);
  EXPECT_TRUE(velEquals(velClone(velAny(board)), velAny(board)));
  EXPECT_FALSE(velEquals(velAny(Board::create()), velAny(board)));
}

TEST(VelArrayOf, HoldsOneReferenceForEachElement) {
  const auto point = velNew<Point>();
  {
    const auto array = velArrayOf<Point, 3>::create();
    array->at(0) = array->at(2) = point;
    EXPECT_EQ(xrcgetcount(point.operator->()), 3);
    EXPECT_TRUE(velEquals(velClone(velAny(array)), velAny(array)));
    EXPECT_EQ(xrcgetcount(point.operator->()), 3);
  }
  EXPECT_EQ(xrcgetcount(point.operator->()), 1);
}

TEST(VelArrayOf, MayHaveManyDimensions) {
  using Deep = velArrayOf<int, 1, 2, 1, 2, 1, 2>;
  const auto deep = Deep::create();
  deep->at(0, 1, 0, 1, 0, 1) = 8;
  EXPECT_EQ(deep->getVelTypeName(), "int[1][2][1][2][1][2]");
  EXPECT_EQ(velGet<int>(velGetPath(velAny(deep), "/0/1/0/1/0/1")), 8);
}

}  // namespace
