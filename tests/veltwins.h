// veltwins.h - types made by macro, known to a program and to two libraries: one that
// shows its symbols, and one that hides them and so has descriptors of its own.
#ifndef VELSTD_TESTS_VELTWINS_H
#define VELSTD_TESTS_VELTWINS_H

#include <string>

#include "velext.h"

namespace twins {

VEL_ENUM(Color, "twins::Color", red, green, blue)

class Point : public velStruct<Point> {
  int x = 0;
  xstring label;
  double weight = 0;
  unsigned char isSet = 0;
  xany extra;
  xrchandle<Point> next;
  xrcunihandle<xobject> other;
  Color color = Color::red;

 public:
  VEL_STRUCT(Point, "twins::Point", x, label, weight, isSet, extra, next, other, color)
};

class Top : public velStruct<Top> {
  int height = 0;

 public:
  VEL_STRUCT(Top, "twins::Top", height)
};
class Left : public velStruct<Left, Top> {
  int side = 0;

 public:
  VEL_STRUCT(Left, "twins::Left", side)
};
class Right : public velStruct<Right, Top> {
  xany extra;

 public:
  VEL_STRUCT(Right, "twins::Right", extra)
};
class Bottom : public velStruct<Bottom, Left, Right> {
 public:
  VEL_STRUCT(Bottom, "twins::Bottom")
};

class Shape : public velUnion<Shape> {
  int kind = 0;
  int radius = 0;
  xstring text;
  xany rest;

 public:
  VEL_UNION(Shape, "twins::Shape", kind, (1, radius), (2, text), (velOtherwise, rest))
};

// Three hundred attributes, m000 to m299.
#define TWINS_TEN(p) p##0, p##1, p##2, p##3, p##4, p##5, p##6, p##7, p##8, p##9
#define TWINS_HUNDRED(p)                                                                     \
  TWINS_TEN(p##0), TWINS_TEN(p##1), TWINS_TEN(p##2), TWINS_TEN(p##3), TWINS_TEN(p##4),       \
      TWINS_TEN(p##5), TWINS_TEN(p##6), TWINS_TEN(p##7), TWINS_TEN(p##8), TWINS_TEN(p##9)
#define TWINS_ALL TWINS_HUNDRED(m0), TWINS_HUNDRED(m1), TWINS_HUNDRED(m2)
class Wide : public velStruct<Wide> {
  xany TWINS_ALL;

 public:
  VEL_STRUCT(Wide, "twins::Wide", TWINS_ALL)
};

using PointSeq = velSequenceOf<Point>;

// The libraries have it by hand, under the same name.
class Plain : public velStruct<Plain> {
  int x = 0;
  xstring label;

 public:
  VEL_STRUCT(Plain, "twins::Plain", x, label)
};

/// What a library does with these types.
struct Library {
  xrttiobject* (*pointType)();
  xrttiobject* (*sequenceType)();
  /// A point with that x, and blue.
  xrcunihandle<xobject> (*makePoint)(int x);
  /// The type twins::Plain by hand.
  xrttiobject* (*plainType)();
  /// A sequence of two points.
  xrcunihandle<xobject> (*makeSequence)();
  bool (*isPoint)(xobject* object);
  bool (*isBlue)(const xany& value);
  bool (*areEqual)(const xany& a, const xany& b);
};

}  // namespace twins

#endif  // VELSTD_TESTS_VELTWINS_H
