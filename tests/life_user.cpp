// A library that uses the one under test and has a class of its own, LIFE_USER.
// It is built twice; one program loads both.
#include <string>

#include "life_use.h"

namespace {

class Own : public velXException {
  VEL_OBJECT(Own)
 public:
  Own() : velXException("from a user") {}
};
VEL_OBJECT_RTTI(Own, xrttistruct, [](xrttistruct* rtti) {
  static xrttiobject* parents[] = {velXException::getClassRtti()};
  rtti->initializeRttiStruct("life_user::" LIFE_USER, 1, 1, parents, 0, nullptr);
})

std::string caughtName;

}  // namespace

#define LIFE_EXPORT extern "C" __attribute__((visibility("default")))

LIFE_EXPORT const char* LifeUserWorks();
LIFE_EXPORT void* LifeUserDescriptor();
LIFE_EXPORT void LifeUserThrows();
LIFE_EXPORT const char* LifeUserCatches(void (*thrower)());
LIFE_EXPORT void* LifeUserLooksUp(const char* name);

const char* LifeUserWorks() { return LifeUse(); }

void* LifeUserDescriptor() { return Own::getClassRtti(); }

void LifeUserThrows() { xthrow(xrcunihandle<xthrowable>(new Own)); }

const char* LifeUserCatches(void (*thrower)()) {
  try {
    thrower();
  } catch (xthrowable* caught) {
    const bool isException = dynamic_cast<velXException*>(caught) != nullptr;
    if (isException) caughtName = caught->getVelTypeName().CastToCString();
    xrcrelease(caught);
    return caughtName.c_str();
  }
  return "nothing";
}

void* LifeUserLooksUp(const char* name) {
  // As the class that LifeUserDescriptor answers.
  return dynamic_cast<xrttiobject*>(velRttiGetFromMap(name));
}
