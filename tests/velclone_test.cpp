// Copies of values.
#include <string>
#include <vector>

#include "velext.h"
#include "veltest.h"

namespace clones {

VEL_ENUM(Color, "clones::Color", red, green)
class Point : public velStruct<Point> {
 public:
  int x = 0;
  double y = 0;
  xstring text;
  Color color = Color::red;
  std::optional<int> maybe;
  xrchandle<Point> next;
  xany any;
  VEL_STRUCT(Point, "clones::Point", x, y, text, color, maybe, next, any)
};
class Fixed : public velStruct<Fixed> {
 public:
  explicit Fixed(int start) : size(start) {}
  Fixed() : size(3) {}
  const int size;
  int x = 0;
  VEL_STRUCT(Fixed, "clones::Fixed", size, x)
};
class NotMade : public velStruct<NotMade> {
 public:
  explicit NotMade(int) {}
  VEL_STRUCT(NotMade, "clones::NotMade")
};
class ReadSeq : public virtual xobject {
  VEL_OBJECT(ReadSeq)
 public:
  static xobject* make(velS11nContext*) {
    auto* const made = new ReadSeq;
    xrcattach(made);
    return made;
  }
};
VEL_OBJECT_RTTI(ReadSeq, xrttisequence, [](xrttisequence* rtti) {
  rtti->addUserData("_s11n_create", reinterpret_cast<void*>(&ReadSeq::make));
  rtti->initializeRttiSeq(
      "clones::ReadSeq", 1, velGetRtti_int(), 0, [](xobject*) { return 2; },
      [](xobject*, int index) { return xany(index); });
})

}  // namespace clones

namespace {

using namespace clones;
using Object = xrcunihandle<xobject>;

TEST(VelClone, OfALeafIsTheLeaf) {
  for (const xany& value : {xany(xanyNil), xany(), velAny(1), velAny(true), velAny(2.5),
                            velAny("a"), velAny("\xC3\xBC"), velAny(Color::green)}) {
    EXPECT_TRUE(velEquals(velClone(value), value)) << velPrinted(value);
    EXPECT_EQ(velClone(value).getkind(), value.getkind());
  }
}

TEST(VelClone, CopiesAllAttributes) {
  const auto point = velNew<Point>();
  point->x = 7;
  point->y = 0.1;
  point->text = "t";
  point->color = Color::green;
  point->maybe = 5;
  point->next = velNew<Point>();
  point->any = velAny(velNew<Point>());
  const xany copy = velClone(velAny(point));
  EXPECT_TRUE(velEquals(copy, velAny(point)));
  EXPECT_EQ(velPrinted(copy), velPrinted(velAny(point)));
  EXPECT_NE(velObject<Point>(copy), point.operator->());
  EXPECT_NE(velObject<Point>(copy)->next, point->next);
  velObject<Point>(copy)->next->x = 1;
  EXPECT_EQ(point->next->x, 0);
}

TEST(VelClone, KeepsWhatStandsForNothing) {
  const auto point = velNew<Point>();
  for (const char* name : {"x", "y", "text", "maybe", "next", "any"}) {
    velSetAttr(point, name, xany(xanyNil));
    EXPECT_TRUE(velEquals(velClone(velAny(point)), velAny(point))) << name;
    velSetAttr(point, name, xany());
    EXPECT_TRUE(velEquals(velClone(velAny(point)), velAny(point))) << name;
  }
}

TEST(VelClone, KeepsSharingAndCycles) {
  const auto point = velNew<Point>();
  const auto sequence = xanysequence::create();
  point->next = point;
  point->any = velAny(sequence);
  sequence->append(velAny(point));
  sequence->append(velAny(sequence));
  const xany copy = velClone(velAny(point));
  Point* const made = velObject<Point>(copy);
  auto* const inner = velObject<xanysequence>(made->any);
  EXPECT_EQ(made->next.operator->(), made);
  EXPECT_EQ(velObject<Point>(inner->get(0)), made);
  EXPECT_EQ(velObject<xanysequence>(inner->get(1)), inner);
  EXPECT_EQ(xrcgetcount(point.operator->()), 3) << "the original is as before";
  made->next = point->next = nullptr;
  inner->removerange(0, 2);
  sequence->removerange(0, 2);
}

TEST(VelClone, CopiesCollectionsOfAllKinds) {
  const auto dictionary = xanydictionary::create();
  for (const char* key : {"", "a", "a/b", "~"}) dictionary->set(key, velAny(key));
  const std::vector<xany> all = {velAny(velSequence<int>({1, 2})),
                                 velAny(velSequence<bool>({true, false})),
                                 velAny(velSequence<double>({0.5})),
                                 velAny(velSequence<std::string>({"a", ""})),
                                 velAny(dictionary),
                                 velAny(velDictionary<int>({{"a", 1}})),
                                 velAny(xintsequence::create()),
                                 velAny(xstringdictionary::create()),
                                 velAny(velSequenceOf<Color>::create()),
                                 velAny(velArrayOf<int, 2, 3>::create())};
  for (const xany& value : all) {
    const xany copy = velClone(value);
    EXPECT_TRUE(velEquals(copy, value)) << velPrinted(value);
    EXPECT_NE(velObjectOfValue(copy), velObjectOfValue(value));
    EXPECT_EQ(velObjectOfValue(copy)->getRtti(), velObjectOfValue(value)->getRtti());
  }
}

TEST(VelClone, CopiesExceptions) {
  const auto caught = velCaught([] { xintsequence::create()->get(3); });
  const xany copy = velClone(xany(caught));
  EXPECT_TRUE(velEquals(copy, xany(caught)));
  EXPECT_EQ(velObject<velXInvalidSeqIndex>(copy)->getIndex(), 3);
}

TEST(VelClone, LeavesWhatCannotBeSetIfItIsTheSame) {
  EXPECT_TRUE(velEquals(velClone(velAny(velNew<Fixed>(3))), velAny(velNew<Fixed>(3))));
  EXPECT_VEL_NATIVE(velClone(velAny(velNew<Fixed>(4))), "Attribute cannot be set: size");
}

TEST(VelClone, RefusesWhatItCannotMakeOrWrite) {
  EXPECT_VEL_NATIVE(velClone(velAny(velNew<NotMade>(1))),
                    "Type cannot be created: clones::NotMade");
  EXPECT_VEL_NATIVE(velClone(velAny(Object(new ReadSeq))),
                    "Type cannot be written: clones::ReadSeq");
  EXPECT_VEL_NATIVE(velClone(velAny(Object(new VelLogObject))),
                    "Type cannot be created: veltest::LogObject");
  const auto point = velNew<Point>();
  point->any = velAny(velNew<NotMade>(1));
  EXPECT_VEL_NATIVE(velClone(velAny(point)), "Type cannot be created: clones::NotMade");
  EXPECT_EQ(xrcgetcount(point.operator->()), 1) << "the counts are right";
}

}  // namespace
