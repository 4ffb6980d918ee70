// velcobject.cpp - objects from C.
#include "velargument.h"
#include "velguard.h"
#include "velstd_c.h"
#include "xrtti.h"
#include "xstring.h"

namespace {

bool IsObject(const void* address) { return address && !velIsUninit(address); }

/// Holds an object for the time of a question; not one that nobody holds, which
/// would not survive it.
class Held {
 public:
  explicit Held(xobject* p) : object(xrcgetcount(p) != 0 && p->isRefCountable() ? p : nullptr) {
    xrcattach(object);
  }
  ~Held() { xrcrelease(object); }
  Held(const Held&) = delete;
  Held& operator=(const Held&) = delete;

 private:
  xobject* object;
};

/// Asks an object that is held for the time of the question; `onError` for
/// null, the uninitialised address, and with an exception parked.
template <class R, class Ask>
R AskObject(xobject* address, R onError, Ask ask) {
  if (!IsObject(address)) return onError;
  return velGuard(onError, [&] {
    xobject* object = velObjectAt(address);
    const Held held(object);
    return ask(object);
  });
}

/// A missing object matches any type; a missing type matches none.
template <class Test>
unsigned char MatchType(xobject* address, xrttiobject* type, Test test) {
  if (!address) return 1;
  return AskObject<unsigned char>(address, 0, [&](xobject* object) -> unsigned char {
    if (!type) return 0;
    return test(object->getRtti(), velArgument<xrtti>(type));
  });
}

}  // namespace

unsigned char xisrcobj_c(xobject* obj) {
  return AskObject<unsigned char>(obj, 0, [](xobject* object) { return object->isRefCountable(); });
}

void xrcattach_c(xobject* obj) {
  if (IsObject(obj)) velGuard([&] { xrcattach(velObjectAt(obj)); });
}

void xrcrelease_c(xobject* obj) {
  if (IsObject(obj)) velGuard([&] { xrcrelease(velObjectAt(obj)); });
}

void xdelete_c(xobject* obj) {
  if (!IsObject(obj)) return;
  velGuard([&] {
    xobject* object = velObjectAt(obj);
    if (object->isRefCountable()) {
      xrcrelease(object);
    } else {
      xdelete(object);
    }
  });
}

xrttiobject* xgetrtti_c(xobject* obj) {
  return AskObject<xrttiobject*>(obj, nullptr, [](xobject* object) { return object->getRtti(); });
}

__xstring_c xgettypename_c(xobject* obj) {
  xstring name;
  velGuard([&] {
    name = "";
    name = AskObject(obj, name, [](xobject* object) { return object->getVelTypeName(); });
  });
  return name.getxstring_c();
}

unsigned char xisobjsameas_c(xobject* obj, xrttiobject* rtti) {
  return MatchType(obj, rtti,
                   [](xrttiobject* own, xrtti* wanted) { return own->isTypeSameAs(wanted); });
}

unsigned char xisobjkindof_c(xobject* obj, xrttiobject* rtti) {
  return MatchType(obj, rtti,
                   [](xrttiobject* own, xrtti* wanted) { return own->isTypeKindOf(wanted); });
}
