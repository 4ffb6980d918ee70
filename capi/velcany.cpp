// velcany.cpp - variant records: makers, readers, references.
#include "velargument.h"
#include "velflatvalue.h"
#include "velguard.h"
#include "velrtti.h"
#include "velstd_c.h"
#include "xany.h"
#include "xrtti.h"

namespace {

constexpr __xany_c kUninit = {xanyUninit, {0}};

const __xany_c& Given(const __xany_c* value) {
  if (!value) velhThrowNull();
  return *value;
}

void CheckKind(const __xany_c& value) {
  if (value.kind < xanyUninit || value.kind > xanyObject) {
    velXTypeMismatch::Throw("any", xany(static_cast<int>(value.kind)));
  }
}

// A variant that converts to what type `expected` holds: one of that kind, or
// nil or uninit.
xany Checked(const __xany_c* value, bool (xany::*fits)() const, xrtti* (*expected)()) {
  xany checked = velFlatValue<xany>::in(Given(value));
  if (!(checked.*fits)()) velXTypeMismatch::Throw(expected()->getName(), checked);
  return checked;
}

template <class Kind, Kind* (*Get)()>
xrtti* Type() {
  return Get();
}

}  // namespace

// What C wrote into a record may be the address of any framework part of an
// object, and a kind that is none.
xany velFlatValue<xany>::in(const __xany_c& value) {
  CheckKind(value);
  if (value.kind == xanyObject) return xany(velObjectAt(value.u.o));
  if (value.kind == xanyEnum && value.u.e.rtti) {
    __xany_c exact = value;
    exact.u.e.rtti = velArgument<xrtti>(value.u.e.rtti);
    return xany(exact);
  }
  return xany(value);
}

__xany_c xanyuninit_c() { return kUninit; }
__xany_c xanynil_c() {
  return velGuardVariant([] { return xany(xanyNil); });
}
__xany_c xanyint_c(int value) {
  return velGuardVariant([=] { return xany(value); });
}
__xany_c xanybool_c(unsigned char value) {
  return velGuardVariant([=] { return xany(value); });
}
__xany_c xanyreal_c(double value) {
  return velGuardVariant([=] { return xany(value); });
}
__xany_c xanystr_c(const char* text) {
  return velGuardVariant([=] { return xany(text); });
}
__xany_c xanyxstr_c(__xstring_c text) {
  return velGuardVariant([&] { return xany(xstring(text, true)); });
}
__xany_c xanyenum_c(int value, xrttienum* type) {
  return velGuardVariant([=] { return xany(value, velArgument<xrttienum>(type)); });
}
__xany_c xanyobj_c(xobject* object) {
  return velGuardVariant([=] { return xany(velObjectAt(object)); });
}

int xanytoint_c(const __xany_c* value) {
  return velGuard(VEL_ERROR_INT, [&] {
    // Enumeration values have a number, too.
    if (value && value->kind == xanyEnum) return value->u.e.value;
    return Checked(value, &xany::isint, &Type<xrttibasic, velGetRtti_int>).operator int();
  });
}

unsigned char xanytobool_c(const __xany_c* value) {
  return velGuard(VEL_ERROR_BOOL, [&] {
    const xany truth = Checked(value, &xany::isbool, &Type<xrttibasic, velGetRtti_bool>);
    return truth.operator unsigned char();
  });
}

double xanytoreal_c(const __xany_c* value) {
  return velGuard(VEL_ERROR_REAL, [&] {
    return Checked(value, &xany::isreal, &Type<xrttibasic, velGetRtti_real>).operator double();
  });
}

__xstring_c xanytostr_c(const __xany_c* value) {
  xstring text;
  velGuard([&] {
    text = velFlatValue<xstring>::onError();
    text = Checked(value, &xany::isstring, &Type<xrttibasic, velGetRtti_string>).operator xstring();
  });
  return text.getxstring_c();
}

xobject* xanytoobj_c(const __xany_c* value) {
  return velGuard<xobject*>(nullptr, [&] {
    xobject* object =
        Checked(value, &xany::isobject, &Type<xrttiobject, velGetRtti_object>).operator xobject*();
    xrcattach(object);
    return object;
  });
}

int xanygetkind_c(const __xany_c* value) {
  return velGuard(VEL_ERROR_INT, [&] {
    const __xany_c& given = Given(value);
    CheckKind(given);
    if (given.kind != xanyObject) return static_cast<int>(given.kind);
    if (!given.u.o) return static_cast<int>(xanyNil);
    return static_cast<int>(velIsUninit(given.u.o) ? xanyUninit : xanyObject);
  });
}

__xany_c xanycopy_c(const __xany_c* value) {
  return velGuardVariant([&] { return velFlatValue<xany>::in(Given(value)); });
}

void xanyunlock_c(__xany_c* value) {
  if (!value) return;
  const int kind = value->kind;
  korStrBuf* const buffer = value->u.s.buffer;
  xobject* const object = value->u.o;
  *value = kUninit;
  if (kind == xanyString) {
    if (buffer) buffer->DropReference();
  } else if (kind == xanyObject) {
    velGuard([=] { xrcrelease(velObjectAt(object)); });
  }
}
