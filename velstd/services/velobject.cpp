#include "velobject.h"

#include "korabort.h"
#include "velexceptions.h"
#include "velexecutable.h"
#include "velobjectmutex.h"
#include "velrtti.h"
#include "xany.h"

namespace {

#ifdef VELSTD_CHECKED
bool SameShape(xrttiobject* a, xrttiobject* b) {
  if (!a->isSameAs(b->getRtti()) || a->getNParents() != b->getNParents()) return false;
  for (int i = 0; i < a->getNParents(); ++i) {
    if (!a->getParent(i)->isTypeSameAs(b->getParent(i))) return false;
  }
  return true;
}

// One name belongs to one class; a second class of that name would pass for
// the first in every cast.
void CheckName(xrttiobject* rtti) {
  auto* other = dynamic_cast<xrttiobject*>(velRttiGetFromMap(rtti->getName()));
  if (other && other != rtti && !SameShape(rtti, other)) {
    _korAbort("The name of a class descriptor belongs to another class.",
              "velstd/services/velobject", 30);
  }
}
#else
void CheckName(xrttiobject*) {}
#endif

// True while a descriptor is being initialised, however that ends.
class Flag {
 public:
  explicit Flag(bool& f) : flag(f) { flag = true; }
  ~Flag() { flag = false; }
  Flag(const Flag&) = delete;
  Flag& operator=(const Flag&) = delete;

 private:
  bool& flag;
};

}  // namespace

xrttiobject* velClassRtti::Make(xrttiobject* (*create)(),
                                void (*fill)(xrttiobject*, void (*)()), void (*step)()) {
  const velObjectLock lock;
  if (xrttiobject* made = ready.load(std::memory_order_relaxed)) return made;
  // The initialisation asks for its own type.
  if (initializing) return building;
  // A failed initialisation is tried again on the same descriptor: others may
  // have kept its address.
  if (!building) building = create();
  const Flag busy(initializing);
  fill(building, step);
  CheckName(building);
  velRttiAddToMap(building);
  ready.store(building, std::memory_order_release);
  return building;
}

void velThrowTypeMismatch(xrttiobject* expected, xobject* object) {
  velXTypeMismatch::Throw(expected->getName(), xany(object));
}

bool velIsClass(xrttiobject* own, const xrttiobject* target) {
  return target && (own == target || own->isTypeSameAs(const_cast<xrttiobject*>(target)));
}

VEL_OBJECT_RTTI(velExecutable, xrttistruct, [](xrttistruct* rtti) {
  rtti->initializeRttiStruct("vellib::Executable", 1, 0, nullptr, 0, nullptr);
})
