// velcs11n.cpp - objects by name from C.
#include "velargument.h"
#include "velattributes.h"
#include "velflatvalue.h"
#include "velguard.h"
#include "velobjectaccess.h"
#include "velstd_c.h"

xobject* xobjcreate_c(const char* typeName) {
  return velGuard<xobject*>(nullptr, [=] { return velS11nCreate(typeName, nullptr); });
}

__xany_c xobjgetattr_c(xobject* object, const char* attribute) {
  return velGuardVariant([=] {
    xobject* owner = velArgument<xobject>(object);
    const velBorrow borrow(owner);
    auto* type = dynamic_cast<xrttistruct*>(owner->getRtti());
    xrttiattr* attr = type ? type->findAttr(attribute, 1) : nullptr;
    if (attr) return attr->getValue(owner);
    velhThrowInvalidDictKey(owner, attribute);
  });
}

unsigned char xobjsetattr_c(xobject* object, const char* attribute, const __xany_c* value) {
  return velGuard(VEL_ERROR_BOOL, [&]() -> unsigned char {
    xobject* owner = velArgument<xobject>(object);
    const velBorrow borrow(owner);
    if (!value) velhThrowNull();
    return velS11nSet(owner, attribute, velFlatValue<xany>::in(*value));
  });
}
