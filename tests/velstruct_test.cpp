// Types of a user's own in a few lines.
#include <string>
#include <vector>

#include "velcompare.h"
#include "velext.h"
#include "veltest.h"

namespace structs {

// Private members and a private constructor.
class Point : public velStruct<Point> {
  int x = 0, y = 0;
  xstring label;
  Point() { ++alive(); }

 public:
  VEL_STRUCT(Point, "structs::Point", x, y, label)
  ~Point() override { --alive(); }
  static xrchandle<Point> make(int x, int y) {
    auto* const made = new Point;
    made->x = x;
    made->y = y;
    return made;
  }
  static int& alive() {
    static int count = 0;
    return count;
  }
};

// No default constructor.
class Measured : public velStruct<Measured> {
  int length;

 public:
  explicit Measured(int start) : length(start) {}
  VEL_STRUCT(Measured, "structs::Measured", length)
};

// Abstract, and made by what derives from it.
class Shape : public velStruct<Shape> {
 protected:
  xstring name;

 public:
  virtual double area() = 0;
  VEL_STRUCT(Shape, "structs::Shape", name)
};
class Named : public velStruct<Named> {
 public:
  xstring title;
  VEL_STRUCT(Named, "structs::Named", title)
};
class Square : public velStruct<Square, Shape, Named> {
  double side = 0;

 public:
  double area() override { return side * side; }
  VEL_STRUCT(Square, "structs::Square", side)
};

// A diamond, the tip of which is there once.
class Tip : public velStruct<Tip> {
 public:
  int height = 0;
  VEL_STRUCT(Tip, "structs::Tip", height)
};
class Left : public velStruct<Left, Tip> {
 public:
  int left = 0;
  VEL_STRUCT(Left, "structs::Left", left)
};
class Right : public velStruct<Right, Tip> {
 public:
  int right = 0;
  VEL_STRUCT(Right, "structs::Right", right)
};
class Bottom : public velStruct<Bottom, Left, Right> {
 public:
  VEL_STRUCT(Bottom, "structs::Bottom")
};

// An attribute that hides its parent's.
class Hiding : public velStruct<Hiding, Tip> {
 public:
  int height = 0;
  VEL_STRUCT(Hiding, "structs::Hiding", height)
};

// Lists a member that it inherits.
class Outer : public velStruct<Outer> {
 protected:
  int inherited = 3;

 public:
  VEL_STRUCT(Outer, "structs::Outer")
};
class Inner : public velStruct<Inner, Outer> {
 public:
  VEL_STRUCT(Inner, "structs::Inner", inherited)
};

// Refers to itself, and to what refers back.
class Node;
class Edge : public velStruct<Edge> {
 public:
  xrchandle<Node> to;
  VEL_STRUCT(Edge, "structs::Edge", to)
};
class Node : public velStruct<Node> {
 public:
  xrchandle<Node> next;
  xrchandle<velSequenceOf<Edge>> edges;
  VEL_STRUCT(Node, "structs::Node", next, edges)
};

// Meets a collection of collections of what is being described.
class Forest;
class Before : public velStruct<Before> {
 public:
  xrchandle<velSequenceOf<Forest>> forests;
  VEL_STRUCT(Before, "structs::Before", forests)
};
class Forest : public velStruct<Forest> {
 public:
  xrchandle<velSequenceOf<velSequenceOf<Forest>>> all;
  xrchandle<velDictionaryOf<velArrayOf<Forest, 2>>> named;
  VEL_STRUCT(Forest, "structs::Forest", all, named)
};

// The same by the builder form: a tree.
class Tree : public velStruct<Tree> {
 public:
  xrchandle<velSequenceOf<Tree>> children;
  static void velDescribe(xrttistruct* rtti) {
    velDescription<Tree>("structs::Tree").attribute<&Tree::children>("children").install(rtti);
  }
};

// Its destructor is not public: only counting ends it.
class Guarded : public velStruct<Guarded> {
 public:
  VEL_STRUCT(Guarded, "structs::Guarded")

 protected:
  ~Guarded() override = default;
};

// The builder form.
class Circle : public velStruct<Circle, Named> {
  double radius = 1;
  std::string note;
  static inline int reads = 0;

 public:
  double getDiameter() const { return 2 * radius; }
  void setDiameter(double diameter) { radius = diameter / 2; }
  int getReads() noexcept { return ++reads; }
  const std::string& getNote() const { return note; }
  void setNote(const std::string& text) { note = text; }
  int getBroken() const { velhThrowNegativeIndex(-4); }

  static void velDescribe(xrttistruct* rtti) {
    velDescription<Circle>("structs::Circle")
        .base<Named>()
        .attribute<&Circle::radius>("r")
        .attribute<&Circle::getDiameter, &Circle::setDiameter>("diameter")
        .attribute<&Circle::getReads>("reads")
        .attribute<&Circle::getNote, &Circle::setNote>("note")
        .creator(&velMake<Circle>)
        .install(rtti);
  }
};

class Broken : public velStruct<Broken> {
 public:
  int whole = 1;
  int getPart() const { velhThrowNegativeIndex(-4); }
  static void velDescribe(xrttistruct* rtti) {
    velDescription<Broken>("structs::Broken")
        .attribute<&Broken::getPart>("part")
        .attribute<&Broken::whole>("whole")
        .install(rtti);
  }
};

}  // namespace structs

namespace {

using namespace structs;
using Object = xrcunihandle<xobject>;

TEST(VelStruct, IsRegisteredBeforeAnyUse) {
  for (const char* name : {"Point", "Measured", "Shape", "Named", "Square", "Tip", "Bottom", "Node",
                           "Edge", "Edgeseq", "Guarded"}) {
    EXPECT_NE(velRttiGetFromMap(("structs::" + std::string(name)).c_str()), nullptr) << name;
  }
}

TEST(VelStruct, MayHavePrivateMembersAndConstructors) {
  {
    const Object made = velCreate("structs::Point");
    EXPECT_EQ(Point::alive(), 1);
    EXPECT_EQ(xrcgetcount(made), 1);
    velSetAttr(made, "y", velAny(4));
    velSetAttr(made, "label", velAny("four"));
    EXPECT_EQ(velPrinted(velAny(made)), velPrinted(velClone(velAny(made))));
    EXPECT_EQ(velGet<int>(velGetAttr(made, "y")), 4);
  }
  EXPECT_EQ(Point::alive(), 0);
}

TEST(VelStruct, IsWalkedInTheOrderOfItsList) {
  LogTraverser log;
  velTraverse(xany(Point::make(3, 4)), &log);
  EXPECT_EQ(log.text(),
            "beginObject(structs::Point) beginStructure(structs::Point) "
            "beginStructAttribute(x) simpleValue(3) endStructAttribute(x) "
            "beginStructAttribute(y) simpleValue(4) endStructAttribute(y) "
            "beginStructAttribute(label) simpleValue(nil) endStructAttribute(label) "
            "endStructure(structs::Point) endObject(structs::Point)");
}

TEST(VelStruct, WithoutDefaultConstructorIsReadButNotMadeByName) {
  const auto made = velNew<Measured>(12);
  EXPECT_EQ(velGet<int>(velGetAttr(made, "length")), 12);
  EXPECT_EQ(velS11nCreate("structs::Measured", nullptr), nullptr);
  EXPECT_VEL_NATIVE(velCreate("structs::Measured"), "Type cannot be created: structs::Measured");
  EXPECT_VEL_NATIVE(velClone(velAny(made)), "Type cannot be created: structs::Measured");
}

TEST(VelStruct, ThatIsAbstractIsABaseOnly) {
  EXPECT_VEL_NATIVE(velCreate("structs::Shape"), "Type cannot be created: structs::Shape");
  const Object square = velCreate("structs::Square");
  velSetAttr(square, "name", velAny("mine"));
  velSetAttr(square, "title", velAny("box"));
  velSetAttr(square, "side", velAny(3.0));
  EXPECT_EQ(velPrinted(velGetAttr(square, "name")), "\"mine\"");
  EXPECT_EQ(velObject<Shape>(velAny(square))->area(), 9.0);
  EXPECT_TRUE(Square::getClassRtti()->isTypeKindOf(Named::getClassRtti()));
  EXPECT_FALSE(Shape::getClassRtti()->isTypeKindOf(Square::getClassRtti()));
}

TEST(VelStruct, IsCastByItsExactClass) {
  const auto square = velNew<Square>();
  EXPECT_EQ(Square::cast(square), square.operator->());
  EXPECT_EQ(Shape::softcast(square), nullptr);
  EXPECT_VEL_THROW(Shape::cast(square), velXTypeMismatch);
  EXPECT_EQ(Square::cast(nullptr), nullptr);
  EXPECT_TRUE(velIsUninit(Square::cast(xuninitobject)));
  EXPECT_TRUE(velGet<xrchandle<Shape>>(velAny(square))) << "a value is asked by inheritance";
}

TEST(VelStruct, HasTheTipOfADiamondOnce) {
  const auto bottom = velNew<Bottom>();
  bottom->height = 5;
  EXPECT_EQ(static_cast<Left&>(*bottom).height, 5);
  EXPECT_EQ(&static_cast<Tip&>(static_cast<Left&>(*bottom)),
            &static_cast<Tip&>(static_cast<Right&>(*bottom)));
  const velParts parts = velPartsOf(bottom);
  std::string names;
  for (const velPart& part : parts.list) names += part.name + ' ';
  EXPECT_EQ(names, "height left right ");
  EXPECT_TRUE(velSetAttr(bottom, "height", velAny(6)));
  EXPECT_EQ(velGet<int>(velGetAttr(velObject<xobject>(velClone(velAny(bottom))), "height")), 6);
}

TEST(VelStruct, IsReadAndSetByItsOwnAttributeWhereItHidesAnother) {
  const auto hiding = velNew<Hiding>();
  velSetAttr(hiding, "height", velAny(8));
  EXPECT_EQ(hiding->height, 8);
  EXPECT_EQ(hiding->Tip::height, 0);
  EXPECT_EQ(velGet<int>(velGetAttr(hiding, "height")), 8);
  EXPECT_EQ(velGet<int>(velGetPath(velAny(hiding), "/height")), 8);
  ASSERT_EQ(velPartsOf(hiding).list.size(), 1U);
  EXPECT_EQ(velGet<int>(velPartsOf(hiding).list[0].value), 8);
  EXPECT_TRUE(velEquals(velClone(velAny(hiding)), velAny(hiding)));
  EXPECT_FALSE(velEquals(velAny(velNew<Hiding>()), velAny(hiding)));
}

TEST(VelStruct, MayListWhatItInherits) {
  const Object inner = velCreate("structs::Inner");
  EXPECT_EQ(velGet<int>(velGetAttr(inner, "inherited")), 3);
  velSetAttr(inner, "inherited", velAny(4));
  EXPECT_EQ(velGet<int>(velGetAttr(inner, "inherited")), 4);
}

TEST(VelStruct, MayReferToItselfAndBeReferredTo) {
  const auto node = velNew<Node>();
  node->edges = velSequenceOf<Edge>::create();
  velSetPath(velAny(node), "/edges/-", velAny(velNew<Edge>()));
  velSetPath(velAny(node), "/edges/0/to", velAny(node));
  EXPECT_EQ(xrcgetcount(node.operator->()), 2);
  const xany copy = velClone(velAny(node));
  EXPECT_TRUE(velEquals(copy, velAny(node)));
  velSetPath(copy, "/edges/0/to", xany(xanyNil));
  EXPECT_FALSE(velEquals(copy, velAny(node)));
  velSetPath(velAny(node), "/edges/0/to", xany(xanyNil));
  EXPECT_TRUE(velEquals(copy, velAny(node)));
}

TEST(VelStruct, NamesCollectionsOfItselfBeforeItIsComplete) {
  Tree::getClassRtti();
  for (const char* name : {"structs::Edgeseq", "structs::Forestseq", "structs::Forestseqseq",
                           "structs::Forest[2]", "structs::Forest[2]dict", "structs::Treeseq"}) {
    EXPECT_NE(velRttiGetFromMap(name), nullptr) << name;
  }
  EXPECT_EQ(velRttiGetFromMap("seq"), nullptr);
  EXPECT_EQ(velRttiGetFromMap("seqseq"), nullptr);
  auto* const node = dynamic_cast<xrttistruct*>(Node::getClassRtti());
  EXPECT_EQ(node->findAttr("edges", 0)->getType()->getName(), "structs::Edgeseq");
}

TEST(VelStruct, MayHaveAProtectedDestructor) {
  EXPECT_EQ(velCreate("structs::Guarded")->getVelTypeName(), "structs::Guarded");
}

TEST(VelDescription, HasGettersSettersAndOtherNames) {
  Circle::getClassRtti();
  const Object circle = velCreate("structs::Circle");
  velSetAttr(circle, "diameter", velAny(6.0));
  EXPECT_EQ(velGet<double>(velGetAttr(circle, "r")), 3.0);
  velSetAttr(circle, "r", velAny(4.0));
  EXPECT_EQ(velGet<double>(velGetAttr(circle, "diameter")), 8.0);
  velSetAttr(circle, "title", velAny("round"));
  velSetAttr(circle, "note", velAny("\xC3\xBC"));
  EXPECT_EQ(velGet<std::string>(velGetAttr(circle, "note")), "\xC3\xBC");
  EXPECT_VEL_THROW(velSetAttr(circle, "reads", velAny(1)), velXInvalidDictKey);
  EXPECT_VEL_THROW(velSetAttr(circle, "diameter", velAny("6")), velXTypeMismatch);
}

TEST(VelDescription, ReadsOneAttributeWithoutTheOthers) {
  const auto circle = velNew<Circle>();
  const int before = velGetOr(velGetAttr(circle, "reads"), 0);
  velGetAttr(circle, "r");
  velGetPath(velAny(circle), "/note");
  EXPECT_EQ(velGet<int>(velGetAttr(circle, "reads")), before + 1);
}

TEST(VelDescription, LetsExceptionsOfGettersThrough) {
  const auto broken = velNew<Broken>();
  EXPECT_EQ(velGet<int>(velGetAttr(broken, "whole")), 1) << "the others are still read";
  EXPECT_VEL_THROW(velGetAttr(broken, "part"), velXNegativeIndex);
  EXPECT_VEL_THROW(velFindPath(velAny(broken), "/part"), velXNegativeIndex);
  const auto other = velNew<Broken>();
  EXPECT_VEL_THROW(velEquals(velAny(broken), velAny(other)), velXNegativeIndex);
  EXPECT_VEL_THROW(velHash(velAny(broken)), velXNegativeIndex);
  EXPECT_VEL_THROW(velDiff(velAny(broken), velAny(other)), velXNegativeIndex);
  EXPECT_EQ(xrcgetcount(broken.operator->()), 1);
  EXPECT_EQ(xrcgetcount(other.operator->()), 1);
}

}  // namespace
