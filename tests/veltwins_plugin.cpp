// Stands twice: in a library that shows its symbols and in one that hides them.
#include "veltwins.h"

namespace {

// A type that nobody else knows and nobody uses.
class Own : public velStruct<Own> {
  int x = 7;

 public:
  VEL_STRUCT(Own, VELTWINS_OWN, x)
};

xrcunihandle<xobject> MakePoint(int x) {
  const auto made = velNew<twins::Point>();
  velSetAttr(made, "x", velAny(x));
  velSetAttr(made, "color", velAny(twins::Color::blue));
  return xrcunihandle<xobject>(made.operator->());
}

xrcunihandle<xobject> MakeSequence() {
  const auto made = twins::PointSeq::create();
  made->append(velNew<twins::Point>());
  made->append(velNew<twins::Point>());
  return xrcunihandle<xobject>(made.operator->());
}

const twins::Library library = {
    &twins::Point::getClassRtti,
    &twins::PointSeq::getClassRtti,
    &MakePoint,
    &MakeSequence,
    [](xobject* object) { return twins::Point::softcast(object) != nullptr; },
    [](const xany& value) { return velGet<twins::Color>(value) == twins::Color::blue; },
    [](const xany& a, const xany& b) { return velEquals(a, b) && velHash(a) == velHash(b); },
};

}  // namespace

extern "C" __attribute__((visibility("default"))) const twins::Library* VELTWINS_LIBRARY() {
  return &library;
}
