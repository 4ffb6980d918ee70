// A library with a static object that uses the one under test. It is not linked
// with that, so nothing says which of the two the loader starts first.
#include "life_early.h"

#include "life_use.h"

namespace {

class EarlyObject : public virtual xobject {
  VEL_OBJECT(EarlyObject)
};
VEL_OBJECT_RTTI(EarlyObject, xrttiobject, [](xrttiobject* rtti) {
  rtti->initializeRttiObject("life_early::Object", 1, 0, nullptr);
})

const char* early = "the constructor has not run";
bool wasStarted = false;

const struct EarlyLife {
  EarlyLife() : object(new EarlyObject) {
    // The library registers its exceptions when it is started.
    wasStarted = velRttiGetFromMap("vellib::XFunc") != nullptr;
    early = LifeUse();
    if (velRttiGetFromMap("life_early::Object") != EarlyObject::getClassRtti()) early = "look-up";
  }
  ~EarlyLife() {
    const char* late = LifeUse();
    if (*late || xrcgetcount(object.operator->()) != 1) _Exit(9);
  }
  const xrchandle<EarlyObject> object;
} life;

}  // namespace

const char* LifeEarlyFailure() { return early; }

int LifeEarlyCameSecond() { return wasStarted; }
