// velargument.h - objects that come in from C.
//
// In C all framework classes are one type, so what arrives may be the address
// of any framework base of an object; over a virtual base these addresses
// differ. The object is found through the type information of whatever the
// address points at.
#ifndef VELSTD_CAPI_VELARGUMENT_H
#define VELSTD_CAPI_VELARGUMENT_H

#include "velexceptions.h"
#include "velobject.h"
#include "xobject.h"

/// The object that `address` is a framework part of; null and the
/// uninitialised address stay what they are. A few nanoseconds: what the type
/// information says is kept in a small lock-free cache.
xobject* velObjectAt(const void* address);

/// The same as class C, or as what derives from it. Throws velXNull for null,
/// velXNotInitialized for the uninitialised address, velXTypeMismatch for an
/// object of another class.
template <class C>
C* velArgument(const void* address) {
  if (!address) velhThrowNull();
  if (velIsUninit(address)) velhThrowNotInitialized();
  xobject* object = velObjectAt(address);
  if (C* exact = velSoftcast<C>(object)) return exact;
  if (C* derived = dynamic_cast<C*>(object)) return derived;
  velThrowTypeMismatch(C::getClassRtti(), object);
}

#endif  // VELSTD_CAPI_VELARGUMENT_H
