// Types and values that the tests of the Python package load: a small shop, and what
// no Python program could make.
#include <velext.h>
#include <velstd.h>

namespace shop {

// How many objects of the shop there are.
int live = 0;

class Counted {
 protected:
  Counted() { ++live; }
  Counted(const Counted&) { ++live; }
  ~Counted() { --live; }
};

VEL_ENUM(Color, "shop::Color", red, green, blue)

class Line : public velStruct<Line>, private Counted {
  xstring name;
  double price = 0;
  std::optional<Color> color;
  bool isGift = false;

 public:
  VEL_STRUCT(Line, "shop::Line", name, price, color, isGift)
};

class Order : public velStruct<Order>, private Counted {
  int number = 0;
  xrchandle<velSequenceOf<Line>> lines = velSequenceOf<Line>::create();
  xrchandle<xstringsequence> tags;
  xrchandle<xintdictionary> stock;
  xany extra;
  xrchandle<Order> next;
  // Names that the Python class has, too.
  int type = 7;

 public:
  VEL_STRUCT(Order, "shop::Order", number, lines, tags, stock, extra, next, type)
};

class Express : public velStruct<Express, Order> {
  int hours = 24;

 public:
  VEL_STRUCT(Express, "shop::Express", hours)
};

class Payment : public velUnion<Payment>, private Counted {
  int kind = 1;
  xstring card;
  int cash = 0;
  xany other;

 public:
  VEL_UNION(Payment, "shop::Payment", kind, (1, card), (2, cash), (velOtherwise, other))
};

class Board : public velStruct<Board> {
  xrchandle<velArrayOf<int, 2, 3>> cells = velArrayOf<int, 2, 3>::create();

 public:
  VEL_STRUCT(Board, "shop::Board", cells)
};

// Has dropped an attribute.
class Letter : public virtual xobject, public velDeprecationSupport {
  VEL_ATTRIBUTED(Letter, xobject())
  VEL_ATTRIBUTE(xstring, Subject)
 public:
  Letter() = default;
};
VEL_ATTRIBUTED_RTTI(Letter, "shop::Letter", nullptr, VEL_ATTRIBUTE_INFO(Subject))

class XSoldOut : public velXException {
  VEL_ATTRIBUTED(XSoldOut, velXException(context))
  VEL_ATTRIBUTE(int, Left)
 public:
  explicit XSoldOut(int left) : velXException("Sold out."), valueLeft(left) {}
};
VEL_ATTRIBUTED_RTTI(XSoldOut, "shop::XSoldOut", velXException::getClassRtti(),
                    VEL_ATTRIBUTE_INFO(Left))

// Not counted.
class XLoose : public velXException {
  VEL_OBJECT(XLoose)
 public:
  XLoose() : velXException("Loose.") {}
};
VEL_OBJECT_RTTI(XLoose, xrttistruct, [](xrttistruct* rtti) {
  static xrttiobject* parents[] = {velXException::getClassRtti()};
  rtti->initializeRttiStruct("shop::XLoose", 0, 1, parents, 0, nullptr);
})

// Not counted.
class Shelf : public virtual xobject {
  VEL_OBJECT(Shelf)
};
VEL_OBJECT_RTTI(Shelf, xrttistruct, [](xrttistruct* rtti) {
  rtti->initializeRttiStruct("shop::Shelf", 0, 0, nullptr, 0, nullptr);
})

// Makes its attribute when it is asked for it.
class Fresh : public virtual xobject {
  VEL_OBJECT(Fresh)
};
int asked = 0;
VEL_OBJECT_RTTI(Fresh, xrttistruct, [](xrttistruct* rtti) {
  static xrttiattr* const attrs[] = {
      new xrttiattr("made", xintsequence::getClassRtti(), 0,
                    [](xobject*) {
                      const auto made = xintsequence::create();
                      made->append(++asked);
                      return xany(made);
                    }),
  };
  rtti->initializeRttiStruct("shop::Fresh", 1, 0, nullptr, 1, attrs);
})

Shelf shelf;

const bool registered = [] {
  velRttiAddToMap(Letter::getClassRtti());
  velRttiAddToMap(XSoldOut::getClassRtti());
  velRttiAddToMap(Shelf::getClassRtti());
  return true;
}();

// A sequence with one reference, for the caller.
xobject* Owned(const xrchandle<xanysequence>& values) {
  xobject* object = values.operator->();
  xrcattach(object);
  return object;
}

}  // namespace shop

#define VELPY_EXPORT extern "C" __attribute__((visibility("default")))

VELPY_EXPORT int velpy_live();
VELPY_EXPORT unsigned velpy_count(xobject* object);
VELPY_EXPORT xobject* velpy_texts();
VELPY_EXPORT xobject* velpy_odd_value(int which);
VELPY_EXPORT xobject* velpy_fresh();
VELPY_EXPORT void velpy_fail(int left);

int velpy_live() { return shop::live; }

unsigned velpy_count(xobject* object) { return static_cast<unsigned>(xrcgetcount(object)); }

// Owned: texts with a wide form only, in Latin-1, null.
xobject* velpy_texts() {
  auto values = xanysequence::create();
  const wchar_t wide[] = {L'w', 0xfc, 0x20ac, 0};
  values->append(xany(xstring(wide)));
  values->append(xany(xstring("latin \xfc")));
  values->append(xany(xstring()));
  values->append(xany(xstring("")));
  return shop::Owned(values);
}

// Owned: a sequence of one value.
xobject* velpy_odd_value(int which) {
  auto values = xanysequence::create();
  switch (which) {
    case 0:
      values->append(xany());
      break;
    case 1:
      values->append(xany(static_cast<xobject*>(&shop::shelf)));
      break;
    case 2:
      values->append(xany(static_cast<xobject*>(shop::Line::getClassRtti())));
      break;
    case 3:
      values->append(xany(99, velEnumRtti<shop::Color>()));
      break;
    case 4:
      values->append(xany(-2147483647));
      break;
    case 5:
      values->append(xany(static_cast<xobject*>(values.operator->())));
      break;
    default:
      break;
  }
  return shop::Owned(values);
}

// Owned.
xobject* velpy_fresh() {
  xobject* object = new shop::Fresh;
  xrcattach(object);
  return object;
}

// Parks an exception: one in Latin-1 for -1, one that is not counted for -2.
void velpy_fail(int left) {
  if (left == -2) return xsetexc_c(new shop::XLoose);
  xrchandle<xthrowable> exception = new shop::XSoldOut(left);
  if (left == -1) exception = velCreateNativeException("caf\xe9");
  xsetexc_c(exception.operator->());
}
