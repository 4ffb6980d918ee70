#include "xany.h"

#include <cstddef>
#include <cstring>
#include <locale>
#include <sstream>

#include "korabort.h"
#include "velcounting.h"
#include "velexceptions.h"
#include "velobjectaccess.h"
#include "velprint.h"
#include "velrtti.h"
#include "xrtti.h"

namespace {

constexpr char kSource[] = "velstd/services/xobject";
constexpr char kConversionSource[] = "velbase/inc/velxobj_i";

bool IsText(const char* text, std::uintptr_t address) {
  return reinterpret_cast<std::uintptr_t>(text) == address;
}
bool IsNullText(const char* text) { return IsText(text, 0) || IsText(text, 1); }

bool IsKind(int kind) { return kind >= xanyUninit && kind <= xanyObject; }

[[noreturn]] void CanNotBeHere(int line) { _korAbort("Can not be here.", kSource, line); }

}  // namespace

// A reference on what the payload says, for a value that has just been filled
// with plain copies of the fields.
void xany::Retain() {
  if (kind == xanyString) {
    if (payload.string.buffer) {
      payload.string.buffer->Attach(&payload.string.narrow, &payload.string.wide);
    } else {
      // A view that was merely zeroed: its texts must read as the null string, too.
      payload.string = xstring().view;
    }
  } else if (kind == xanyObject) {
    xobject* object = payload.object.pointer;
    payload.object.counted = false;
    if (velCounting::isAddress(object)) {
      velCounting::attach(*object);
      payload.object.counted = velCounting::isCounted(*object);
    } else {
      xrcattach(object);
    }
  }
}

// The end of a value that holds something else than text. It is uninitialised
// before anything is given up: what runs then may look at it, and what that
// assigns goes again, too.
void xany::ReleaseOther() noexcept {
  while (!IsPlain()) {
    const bool holdsCounted = HoldsCounted();
    const bool holdsText = HoldsText();
    kind = xanyUninit;
    if (holdsCounted) {
      velCounting::release(*payload.object.pointer);
    } else if (holdsText) {
      payload.string.buffer->DropReference();
    }
  }
}

void xany::Assign(const xany& other) { *this = xany(other); }

void xany::Replace(xany& other) noexcept {
  if (this == &other) return;
  const xany old(static_cast<xany&&>(*this));
  Take(other);
}

xany::xany(const char* text) : xany(IsText(text, 2) ? xany(xanyUninit) : xany(xstring(text))) {}

xany::xany(xobject* object)
    : xany(!object ? xanyNil : velIsUninit(object) ? xanyUninit : xanyObject) {
  if (kind == xanyObject) {
    payload.object.pointer = object;
    Retain();
  }
}

xany::xany(int value, xrttienum* type) : xany(xanyUninit) {
  if (value == kUninitInt) return;
  if (value == kNilInt || (type && value == type->getNValues())) {
    kind = xanyNil;
  } else {
    kind = xanyEnum;
    payload.enumeration.value = value;
    payload.enumeration.rtti = type;
  }
}

// The same for a copy that holds neither text nor a counted object. One that is
// not counted may be gone by now: only its address moves on.
void xany::ShareOther() {
  if (!IsKind(kind)) CanNotBeHere(205);
  if (kind == xanyString) Retain();
}

xany::xany(const __xany_c& view) : xany(xanyUninit) {
  if (!IsKind(view.kind)) CanNotBeHere(205);
  kind = view.kind;
  std::uint64_t words[3];
  static_assert(sizeof words == sizeof view.u, "a payload is three words");
  std::memcpy(words, &view.u, sizeof words);
  payload = Payload(words[0], words[1], words[2]);
  Retain();
}

xany& xany::operator=(const char* text) {
  return *this = text ? xany(text) : xany(xanyString);
}

int xany::ToInt() const {
  switch (Kind()) {
    case xanyNil:
      return kNilInt;
    case xanyUninit:
      return kUninitInt;
    case xanyEnum:
      return payload.enumeration.value;
    default:
      _korAbort("Can not convert xany to xint.", kConversionSource, 170);
  }
}

unsigned char xany::ToBool() const {
  switch (Kind()) {
    case xanyNil:
      return kNilBool;
    case xanyUninit:
      return kUninitBool;
    default:
      _korAbort("Can not convert xany to xbool.", kConversionSource, 186);
  }
}

double xany::ToReal() const {
  switch (Kind()) {
    case xanyNil:
      return kNilReal;
    case xanyUninit:
      return kUninitReal;
    default:
      _korAbort("Can not convert xany to xreal.", kConversionSource, 202);
  }
}

xany::operator xstring() const {
  switch (Kind()) {
    case xanyNil:
      return xstring();
    case xanyUninit:
      return xstring("uninit");
    case xanyString:
      return xstring(payload.string, true);
    default:
      _korAbort("Can not convert xany to xrstring.", kConversionSource, 226);
  }
}

xany::operator const char*() const {
  switch (Kind()) {
    case xanyNil:
      return reinterpret_cast<const char*>(std::uintptr_t{1});
    case xanyUninit:
      return reinterpret_cast<const char*>(std::uintptr_t{2});
    case xanyString:
      return Narrow();
    default:
      _korAbort("Can not convert xany to xrstring.", kConversionSource, 242);
  }
}

xobject* xany::ToObject() const {
  switch (Kind()) {
    case xanyNil:
      return nullptr;
    case xanyUninit:
      return xuninitobject;
    default:
      _korAbort("Can not convert xany to xobject.", kConversionSource, 258);
  }
}

// The narrow form of a string, produced in place; address 1 for the null string.
const char* xany::Narrow() const {
  __xstring_c& text = payload.string;
  if (!text.narrow && text.buffer) text.buffer = text.buffer->Produce(&text.narrow, nullptr);
  return text.narrow;
}

xrtti* xany::getRtti() const {
  switch (Kind()) {
    case xanyUninit:
    case xanyNil:
      return velGetRtti_any();
    case xanyInt:
      return velGetRtti_int();
    case xanyBool:
      return velGetRtti_bool();
    case xanyReal:
      return velGetRtti_real();
    case xanyString:
      return velGetRtti_string();
    case xanyEnum:
      return payload.enumeration.rtti;
    case xanyObject:
      return payload.object.pointer->getRtti();
  }
  CanNotBeHere(280);
}

xstring xany::getVelTypeName() const {
  xrtti* type = getRtti();
  return type ? type->getName() : xstring();
}

bool xany::softvalidate(xrtti* type, unsigned char nilAllowed) const {
  if (!type) return false;
  if (isnil()) return nilAllowed != 0;
  xrtti* own = getRtti();
  return own && own->isTypeKindOf(type);
}

void xany::validate(xrtti* type, unsigned char nilAllowed) const {
  if (type && isnil()) {
    if (!nilAllowed) velXNull::Throw();
    return;
  }
  if (!softvalidate(type, nilAllowed)) {
    const xstring name = type ? type->getName() : xstring();
    velXTypeMismatch::Throw(name, *this);
  }
}

xstring xany::toString() const {
  std::ostringstream out;
  // A stream that found no memory would go on and leave the rest of the text out.
  out.exceptions(std::ios_base::badbit);
  out.imbue(std::locale::classic());
  velPrint(*this, out, 2);
  return xstring(out.str().c_str());
}

__xany_c xany::getxany_c() const {
  if (!IsKind(kind)) CanNotBeHere(127);
  xany copy(*this);
  __xany_c view;
  // cppcheck-suppress memsetClassFloat ; nothing is read as a number before it is written
  std::memset(&view, 0, sizeof view);
  view.kind = copy.kind;
  std::memcpy(&view.u, static_cast<const void*>(&copy.payload), sizeof view.u);
  copy.kind = xanyUninit;
  return view;
}

unsigned char xany::operator==(const xany& other) const {
  if (!IsKind(other.kind)) CanNotBeHere(333);
  const __xanykind own = Kind();
  if (own != other.Kind()) return false;
  switch (own) {
    case xanyUninit:
    case xanyNil:
      return true;
    case xanyInt:
      return payload.integer == other.payload.integer;
    case xanyBool:
      return payload.boolean == other.payload.boolean;
    case xanyReal:
      return payload.real == other.payload.real;
    case xanyString: {
      const char* mine = Narrow();
      const char* theirs = other.Narrow();
      if (mine == theirs) return true;
      if (IsNullText(mine) || IsNullText(theirs)) return false;
      return std::strcmp(mine, theirs) == 0;
    }
    case xanyEnum:
      return payload.enumeration.value == other.payload.enumeration.value &&
             payload.enumeration.rtti == other.payload.enumeration.rtti;
    case xanyObject:
      return payload.object.pointer == other.payload.object.pointer;
  }
  return false;
}

unsigned char xany::operator==(int value) const {
  if (value == kUninitInt) return isuninit();
  if (value == kNilInt) return isnil();
  return kind == xanyInt && payload.integer == value;
}

unsigned char xany::operator==(const char* text) const {
  if (IsText(text, 2)) return isuninit();
  if (IsText(text, 1)) return isnil();
  if (kind != xanyString) return false;
  const char* mine = Narrow();
  if (!text || IsNullText(mine)) return !text && IsNullText(mine);
  return std::strcmp(mine, text) == 0;
}

__xany_c xcadapt_cxx2c(xany value) { return value.getxany_c(); }
xany xcadapt_c2cxx(__xany_c view) { return xany(view); }

void velThrowIntegerOutOfRange() { velXNativeException::Throw("Integer out of range"); }
