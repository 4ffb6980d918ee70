// Two ways to give a class a type of its own: a structure whose descriptor is
// written by hand, and one whose attributes are only listed. Either can then be
// kept in a sequence, walked and printed.
#include <velstd.h>

#include <iostream>

namespace demo {

// By hand: any class, any getters.
class Point : public virtual xobject {
  VEL_OBJECT(Point)
 public:
  Point(int x, int y) : x_(x), y_(y) {}
  int x() const { return x_; }
  int y() const { return y_; }

 private:
  int x_;
  int y_;
};

VEL_OBJECT_RTTI(Point, xrttistruct, [](xrttistruct* rtti) {
  // What a descriptor is given must live as long as the process.
  static xrttiattr* const attrs[] = {
      new xrttiattr("x", velGetRtti_int(), 0,
                    [](xobject* p) { return xany(velView<Point>(p)->x()); }),
      new xrttiattr("y", velGetRtti_int(), 0,
                    [](xobject* p) { return xany(velView<Point>(p)->y()); }),
  };
  rtti->initializeRttiStruct("demo::Point", 1, 0, nullptr, 2, attrs);
})

// A sequence of points with a type of its own.
class PointSeq : public xtcsequence<xrchandle<Point>> {
  VEL_OBJECT(PointSeq)
 public:
  PointSeq() : xtcsequence(0) {}
};

VEL_OBJECT_RTTI(PointSeq, xrttisequence, [](xrttisequence* rtti) {
  velInitializeSequence<PointSeq>(rtti, "demo::PointSeq", Point::getClassRtti());
})

// From a list: fields, getters, setters and descriptor come from it.
class Shape : public virtual xobject {
  VEL_ATTRIBUTED(Shape, xobject())
  VEL_ATTRIBUTE(xstring, Name)
  VEL_ATTRIBUTE(xrchandle<PointSeq>, Corners)
 public:
  Shape(xstring name, xrchandle<PointSeq> corners) : valueName(name), valueCorners(corners) {}
};

VEL_ATTRIBUTED_RTTI(Shape, "demo::Shape", nullptr, VEL_ATTRIBUTE_INFO(Name),
                    VEL_ATTRIBUTE_INFO(Corners))

}  // namespace demo

int main() {
  xrchandle<demo::PointSeq> corners = new demo::PointSeq;
  corners->append(new demo::Point(1, 2));
  corners->append(new demo::Point(3, 4));
  velPrint(corners, std::cout, 2);
  std::cout << '\n';

  xrchandle<demo::Shape> shape = new demo::Shape("segment", corners);
  std::cout << shape->getName() << '\n';
  velPrint(shape, std::cout, -1);
  std::cout << '\n';
}
