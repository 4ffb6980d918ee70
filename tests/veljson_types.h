// veljson_types.h - types of every kind for the tests of JSON, and random values of any
// type that is registered.
#ifndef VELSTD_TESTS_VELJSON_TYPES_H
#define VELSTD_TESTS_VELJSON_TYPES_H

#include <cmath>
#include <cstdint>
#include <cstring>
#include <memory>
#include <optional>
#include <random>
#include <string>
#include <vector>

#include "velext.h"
#include "veljson.h"
#include "velparts.h"
#include "velrtti.h"
#include "velwrites.h"
#include "xrttiattrseq.h"

namespace jsontest {

VEL_ENUM(Color, "jsontest::Color", red, green, blue)

class Point : public velStruct<Point> {
  int x = 0, y = 0;
  xstring label;

 public:
  VEL_STRUCT(Point, "jsontest::Point", x, y, label)
};

class Deeper : public velStruct<Deeper, Point> {
  double z = 0.5;

 public:
  VEL_STRUCT(Deeper, "jsontest::Deeper", z)
};

// A union that has a branch for every value of its discriminator.
class Shape : public velUnion<Shape> {
  Color kind = Color::red;
  double radius = 1;
  xstring text;

 public:
  VEL_UNION(Shape, "jsontest::Shape", kind, (Color::red, radius), (velOtherwise, text))
};

// One whose discriminator is a number, and may tell no branch; two labels share one.
class Number : public velUnion<Number> {
  int kind = 7;
  int whole = 0;
  double real = 0;

 public:
  VEL_UNION(Number, "jsontest::Number", kind, (1, whole), (2, real), (5, real))
};

class Drawing : public velStruct<Drawing> {
  xrchandle<velSequenceOf<Point>> points = velSequenceOf<Point>::create();
  xrchandle<velDictionaryOf<Color>> colors = velDictionaryOf<Color>::create();
  xrchandle<velArrayOf<int, 2, 3>> board = velArrayOf<int, 2, 3>::create();
  xrchandle<Point> origin;
  xrchandle<Shape> shape;
  xany extra;
  bool isDone = false;
  double scale = 1;

 public:
  VEL_STRUCT(Drawing, "jsontest::Drawing", points, colors, board, origin, shape, extra, isDone,
             scale)
};

// A member of each type that a member may have.
class Members : public velStruct<Members> {
  bool truth = false;
  unsigned char flag = 0;
  int number = 0;
  double real = 0;
  float narrowReal = 0;
  xstring text;
  std::string utf8;
  xany any;
  xrcunihandle<xobject> object;
  Color color = Color::red;

 public:
  VEL_STRUCT(Members, "jsontest::Members", truth, flag, number, real, narrowReal, text, utf8, any,
             object, color)
};

class Narrow : public velStruct<Narrow> {
  std::int8_t small = 0;
  std::uint16_t unsignedSmall = 0;
  std::int64_t wide = 0;

 public:
  VEL_STRUCT(Narrow, "jsontest::Narrow", small, unsignedSmall, wide)
};

class Maybe : public velStruct<Maybe> {
  std::optional<bool> truth;
  std::optional<int> number;
  std::optional<double> real;
  std::optional<std::string> text;
  std::optional<Color> color;

 public:
  VEL_STRUCT(Maybe, "jsontest::Maybe", truth, number, real, text, color)
};

class Tree : public velStruct<Tree> {
  int value = 0;
  xrchandle<Tree> next;
  xrchandle<velSequenceOf<Tree>> children;
  xrchandle<velDictionaryOf<Tree>> named;

 public:
  VEL_STRUCT(Tree, "jsontest::Tree", value, next, children, named)
};

class Top : public velStruct<Top> {
  int top = 1;

 public:
  VEL_STRUCT(Top, "jsontest::Top", top)
};
class Left : public velStruct<Left, Top> {
  std::optional<int> left;

 public:
  VEL_STRUCT(Left, "jsontest::Left", left)
};
class Right : public velStruct<Right, Top> {
  xstring right;

 public:
  VEL_STRUCT(Right, "jsontest::Right", right)
};
class Bottom : public velStruct<Bottom, Left, Right> {
  bool bottom = true;

 public:
  VEL_STRUCT(Bottom, "jsontest::Bottom", bottom)
};

// Somebody abstract, whom two classes make real.
class Animal : public velStruct<Animal> {
  xstring name;

 public:
  VEL_STRUCT(Animal, "jsontest::Animal", name)
  virtual int legs() const = 0;
};
class Dog : public velStruct<Dog, Animal> {
  bool barks = true;

 public:
  VEL_STRUCT(Dog, "jsontest::Dog", barks)
  int legs() const override { return 4; }
};
class Bird : public velStruct<Bird, Animal> {
  double span = 0.25;

 public:
  VEL_STRUCT(Bird, "jsontest::Bird", span)
  int legs() const override { return 2; }
};
class Zoo : public velStruct<Zoo> {
  xrchandle<velSequenceOf<Animal>> animals = velSequenceOf<Animal>::create();
  xrchandle<Animal> boss;

 public:
  VEL_STRUCT(Zoo, "jsontest::Zoo", animals, boss)
};

class Collections : public velStruct<Collections> {
  xrchandle<velSequenceOf<bool>> truths = velSequenceOf<bool>::create();
  xrchandle<velSequenceOf<double>> reals = velSequenceOf<double>::create();
  xrchandle<velSequenceOf<xstring>> texts = velSequenceOf<xstring>::create();
  xrchandle<velSequenceOf<Color>> colors = velSequenceOf<Color>::create();
  xrchandle<velSequenceOf<xany>> values = velSequenceOf<xany>::create();
  xrchandle<velDictionaryOf<int>> numbers = velDictionaryOf<int>::create();
  xrchandle<velDictionaryOf<Maybe>> maybes = velDictionaryOf<Maybe>::create();
  xrchandle<velArrayOf<bool, 2, 1, 2>> cube = velArrayOf<bool, 2, 1, 2>::create();
  xrchandle<velArrayOf<Maybe, 2>> pair = velArrayOf<Maybe, 2>::create();

 public:
  VEL_STRUCT(Collections, "jsontest::Collections", truths, reals, texts, colors, values, numbers,
             maybes, cube, pair)
};

class Fixed : public velStruct<Fixed> {
  const int fixed = 3;
  int free = 0;

 public:
  VEL_STRUCT(Fixed, "jsontest::Fixed", fixed, free)
};

// A name that has to be escaped wherever it stands.
class Odd : public velStruct<Odd> {
  xrchandle<Odd> next;

 public:
  VEL_STRUCT(Odd, "jsontest/~0 %41\"\\#?^\xC3\xBC", next)
};

/// The types whose schema takes what a reader takes, no more and no less; and those for
/// which it must take more.
inline std::vector<std::string> ExactTypes() {
  return {"int",
          "bool",
          "real",
          "string",
          "any",
          "object",
          "intseq",
          "booleanseq",
          "realdict",
          "anydict",
          "jsontest::Color",
          "jsontest::Deeper",
          "jsontest::Shape",
          "jsontest::Number",
          "jsontest::Members",
          "jsontest::Maybe",
          "jsontest::Tree",
          "jsontest::Bottom",
          "jsontest::Collections",
          "jsontest/~0 %41\"\\#?^\xC3\xBC"};
}
inline std::vector<std::string> LooseTypes() {
  return {"jsontest::Point",  "jsontest::Drawing", "jsontest::Narrow", "jsontest::Top",
          "jsontest::Animal", "jsontest::Zoo",     "jsontest::Fixed"};
}
/// All but the one with an attribute that can only be read.
inline std::vector<std::string> ReadableTypes() {
  std::vector<std::string> types = ExactTypes();
  for (const std::string& type : LooseTypes()) {
    if (type != "jsontest::Fixed") types.push_back(type);
  }
  return types;
}

// Random values of registered types, made through their descriptors; always the same for
// a seed. Reals come from all bit patterns. With tags, values are of every kind wherever
// they may be, and objects of derived classes stand for those of their bases; without,
// what no type is known for is what a document without tags can say.
class Chance {
 public:
  Chance(unsigned seed, bool isTagged) : engine(seed), tagged(isTagged) {}

  unsigned below(unsigned n) { return static_cast<unsigned>(engine() % n); }

  /// A value of that type, or, now and then, nil.
  xany value(xrtti* type, int depth) {
    if (below(8) == 0) return xany(xanyNil);
    const std::string name = velUtf8(type->getName());
    if (name == "any") return any(depth);
    if (name == "int") return integer();
    if (name == "bool") return velAny(below(2) == 1);
    if (name == "real") return velAny(real());
    if (name == "string") return velAny(text());
    if (name == "object") return object(depth);
    if (auto* const asEnum = dynamic_cast<xrttienum*>(type)) {
      return xany(static_cast<int>(below(static_cast<unsigned>(asEnum->getNValues()))), asEnum);
    }
    return ofClass(dynamic_cast<xrttiobject*>(type), depth);
  }
  xany value(const std::string& type, int depth) {
    return value(velRttiGetFromMap(type.c_str()), depth);
  }

  double real() {
    for (;;) {
      const std::uint64_t bits = engine();
      double number;
      std::memcpy(&number, &bits, sizeof number);
      if (std::isfinite(number)) return below(4) == 0 ? below(1000) / 4.0 - 100 : number;
    }
  }

 private:
  xany integer() {
    const int number = static_cast<int>(engine());
    const xany made(below(3) == 0 ? number : static_cast<int>(below(10)));
    return made.isnil() ? xany(0) : made;
  }

  xany any(int depth) {
    static const char* const kPlain[] = {"int", "bool", "real", "string"};
    if (depth <= 0 || below(2) == 0) return plain(kPlain[below(4)], depth);
    if (!tagged) return value(below(2) ? "anyseq" : "anydict", depth);
    if (below(6) == 0) return xany();
    return value(anyType(), depth);
  }
  // The two ints that stand for nil and uninit are reals in a document without a type.
  xany plain(const char* type, int depth) {
    const xany made = value(type, depth);
    return !tagged && made == -2147483647 ? xany(1) : made;
  }
  xany object(int depth) {
    if (depth <= 0) return xany(xanyNil);
    if (!tagged) return value(below(2) ? "anyseq" : "anydict", depth);
    const xany made = value(anyType(), depth);
    return velObjectOfValue(made) ? made : xany(xanyNil);
  }
  std::string anyType() {
    static const std::vector<std::string> types = ReadableTypes();
    return types[below(static_cast<unsigned>(types.size()))];
  }

  xany ofClass(xrttiobject* type, int depth) {
    if (tagged && below(3) == 0) type = derived(type);
    if (depth < 0) return xany(xanyNil);
    const xstring name = type->getName();
    xrcunihandle<xobject> made;
    try {
      made = velCreate(name.CastToCString());
    } catch (xthrowable* abstract) {
      xrcrelease(abstract);
      if (!tagged) return xany(xanyNil);
      return velAny(velCreate("jsontest::Dog"));
    }
    fill(made.operator->(), type, depth - 1);
    return velAny(made);
  }

  static xrttiobject* derived(xrttiobject* type) {
    const xstring name = type->getName();
    if (name == "jsontest::Point") return Deeper::getClassRtti();
    if (name == "jsontest::Animal") return Bird::getClassRtti();
    if (name == "jsontest::Top") return Bottom::getClassRtti();
    return type;
  }

  void fill(xobject* object, xrttiobject* type, int depth) {
    const velWrites* const writes = velGetWrites(type);
    if (dynamic_cast<xrttistruct*>(type)) {
      const velParts parts = velPartsOf(object);
      for (const velPart& part : parts.list) {
        if (below(4) != 0) set(object, part.name, value(typeOf(type, part.name), depth));
      }
    } else if (auto* const asUnion = dynamic_cast<xrttiunion*>(type)) {
      xrttiattr* const discriminator = asUnion->getDiscr();
      const bool isEnum = dynamic_cast<xrttienum*>(discriminator->getType());
      set(object, "kind",
          isEnum ? value(discriminator->getType(), 0) : xany(static_cast<int>(below(7))));
      const velParts parts = velPartsOf(object);
      if (parts.list.size() < 2) return;
      const std::string& branch = parts.list[1].name;
      for (int i = 0; i < asUnion->getNLabels(); ++i)
        offer(object, asUnion->getAttr(i), branch, depth);
      if (asUnion->getDefaultAttr()) offer(object, asUnion->getDefaultAttr(), branch, depth);
    } else if (auto* const sequence = dynamic_cast<xrttisequence*>(type)) {
      for (int i = 0, n = static_cast<int>(below(4)); i < n; ++i) {
        Try([&] { writes->setElement(object, i, value(sequence->getElemType(), depth)); });
      }
    } else if (auto* const dictionary = dynamic_cast<xrttidictionary*>(type)) {
      for (unsigned n = below(4); n > 0; --n) {
        const std::string key = text() + std::to_string(below(10));
        Try([&] {
          writes->setEntry(object, key.c_str(), value(dictionary->getElemType(), depth));
        });
      }
    } else if (auto* const array = dynamic_cast<xrttiarray*>(type)) {
      std::vector<int> cell;
      for (int d = 0; d < array->getNDimentions(); ++d) {
        cell.push_back(static_cast<int>(below(static_cast<unsigned>(array->getDimention(d)))));
      }
      Try([&] { writes->setCell(object, cell.data(), value(array->getElemType(), depth)); });
    }
  }

  void offer(xobject* object, xrttiattr* attr, const std::string& branch, int depth) {
    const xstring name = attr->getName();
    if (velView(name) == branch) set(object, branch, value(attr->getType(), depth));
  }

  static xrtti* typeOf(xrttiobject* type, const std::string& name) {
    return dynamic_cast<xrttistruct*>(type)->findAttr(name.c_str(), true)->getType();
  }

  // What a member cannot hold, it refuses.
  static void set(xobject* object, const std::string& name, const xany& value) {
    Try([&] { velSetAttr(object, name.c_str(), value); });
  }
  template <class Act>
  static void Try(Act act) {
    try {
      act();
    } catch (xthrowable* refused) {
      xrcrelease(refused);
    }
  }

  std::string text() {
    static const char* const kPieces[] = {
        "a",     "\"", "\\", "\n", "\x01", "\xC3\xBC", "\xE4\xB8\xAD", "\xF0\x9F\x98\x80",
        "@type", "/",  "~"};
    std::string made;
    for (unsigned n = below(5); n > 0; --n) made += kPieces[below(11)];
    return made;
  }

  std::mt19937_64 engine;
  const bool tagged;
};

}  // namespace jsontest

#endif  // VELSTD_TESTS_VELJSON_TYPES_H
