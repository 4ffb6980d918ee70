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
  if (!b || !a->isSameAs(b->getRtti()) || a->getNParents() != b->getNParents()) return false;
  for (int i = 0; i < a->getNParents(); ++i) {
    xrttiobject* parent = a->getParent(i);
    if (parent ? !parent->isTypeSameAs(b->getParent(i)) : b->getParent(i) != nullptr) return false;
  }
  return true;
}

// One name belongs to one class; a second class of that name would pass for
// the first in every cast.
void CheckName(xrttiobject* rtti) {
  xrtti* other = velRttiGetFromMap(rtti->getName());
  if (other && other != rtti && !SameShape(rtti, dynamic_cast<xrttiobject*>(other))) {
    _korAbort("The name of a class descriptor belongs to another class.",
              "velstd/services/velobject", 30);
  }
}
#else
void CheckName(xrttiobject*) {}
#endif

}  // namespace

// One descriptor's initialisation, however that ends. A descriptor that is
// completed on behalf of another may refer to that other, which is not complete
// yet, so all are shown at the end of the outermost.
class velClassRtti::Creation {
 public:
  explicit Creation(velClassRtti* c) : place(c) {
    ++depth;
    place->state = kInitializing;
  }
  Creation(const Creation&) = delete;
  Creation& operator=(const Creation&) = delete;

  ~Creation() {
    if (place->state == kInitializing) place->state = kEmpty;
    if (--depth > 0) return;
    for (; complete; complete = complete->nextComplete) {
      complete->ready.store(complete->building, std::memory_order_release);
    }
  }

  void succeed() {
    place->state = kComplete;
    place->nextComplete = complete;
    complete = place;
  }

 private:
  velClassRtti* place;
  // Guarded by the global object mutex.
  static int depth;
  static velClassRtti* complete;
};

int velClassRtti::Creation::depth = 0;
velClassRtti* velClassRtti::Creation::complete = nullptr;

xrttiobject* velClassRtti::Make(xrttiobject* (*create)(),
                                void (*fill)(xrttiobject*, void (*)()), void (*step)()) {
  const velObjectLock lock;
  if (xrttiobject* made = ready.load(std::memory_order_relaxed)) return made;
  // An initialisation asks for its own type, or again for one it needed before.
  if (state != kEmpty) return building;
  // A failed initialisation is tried again on the same descriptor: others may
  // have kept its address.
  if (!building) building = create();
  Creation creation(this);
  fill(building, step);
  CheckName(building);
  velRttiAddToMap(building);
  creation.succeed();
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
