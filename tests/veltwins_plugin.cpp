// Stands twice: in a library that shows its symbols and in one that hides them.
#include "veltwins.h"

namespace {

// A type that nobody else knows and nobody uses.
class Own : public velStruct<Own> {
  int x = 7;

 public:
  VEL_STRUCT(Own, VELTWINS_OWN, x)
};

class PlainByHand : public virtual xobject {
  VEL_OBJECT(PlainByHand)
 public:
  int x = 0;
  xstring label;
};
VEL_OBJECT_RTTI(PlainByHand, xrttistruct, [](xrttistruct* rtti) {
  static xrttiattr* const attrs[] = {
      new xrttiattr("x", velGetRtti_int(), 0,
                    [](xobject* o) { return xany(velView<PlainByHand>(o)->x); }),
      new xrttiattr("label", velGetRtti_string(), 0,
                    [](xobject* o) { return xany(velView<PlainByHand>(o)->label); }),
  };
  const velS11nSetter setX = [](xobject* o, const xany& value) {
    velView<PlainByHand>(o)->x = velAttributeType<int>::write(value);
  };
  const velS11nSetter setLabel = [](xobject* o, const xany& value) {
    velView<PlainByHand>(o)->label = velAttributeType<xstring>::write(value);
  };
  rtti->addUserData("_s11n_create", reinterpret_cast<void*>(&velMake<PlainByHand>));
  rtti->addUserData("_s11n_setx", reinterpret_cast<void*>(setX));
  rtti->addUserData("_s11n_setlabel", reinterpret_cast<void*>(setLabel));
  rtti->initializeRttiStruct("twins::Plain", 1, 0, nullptr, 2, attrs);
})

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
    &PlainByHand::getClassRtti,
    &MakeSequence,
    [](xobject* object) { return twins::Point::softcast(object) != nullptr; },
    [](const xany& value) { return velGet<twins::Color>(value) == twins::Color::blue; },
    [](const xany& a, const xany& b) { return velEquals(a, b) && velHash(a) == velHash(b); },
};

}  // namespace

extern "C" __attribute__((visibility("default"))) const twins::Library* VELTWINS_LIBRARY() {
  return &library;
}
