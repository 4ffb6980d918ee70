#include "velexceptions.h"

#include <utility>

#include "korstring.h"
#include "velcomplaint.h"
#include "velfixedtext.h"

namespace {

// A new exception of the library's with its first reference. All of its exceptions
// are counted.
xthrowable* Held(xthrowable* made) {
  velCounting::attachNew(*made);
  return made;
}

// What xthrow does for a new exception, without a handle: each frame that has
// something to end costs a throw hundreds of nanoseconds.
// NOLINTNEXTLINE(cert-err09-cpp): as xthrow does
[[noreturn, gnu::always_inline]] inline void Raise(xthrowable* made) { throw Held(made); }

// Puts xthrow into the library, too, for those who call it there.
[[gnu::used]] void (*const kXthrow)(xrcunihandle<xthrowable>) = &xthrow;

}  // namespace

// ---- constructors: the message of the class, then its attributes ----

// The initialisers of the bases make no exception of their own.
// NOLINTBEGIN(bugprone-throw-keyword-missing)

velXException::velXException(xstring description) : valueDescription(std::move(description)) {}

velXNull::velXNull()
    : velXException(VEL_FIXED_TEXT("Attempt to assign null to non-optional object")) {}

velXTypeMismatch::velXTypeMismatch(xany object, xstring typeName)
    : velXException(VEL_FIXED_TEXT("Object type mismatch")),
      valueVelObject(std::move(object)),
      valueTypeName(std::move(typeName)) {}

velXInvalidArrayIndex::velXInvalidArrayIndex(xany object, int index, int dimension)
    : velXException(VEL_FIXED_TEXT("Array index is out of range")),
      valueVelObject(std::move(object)),
      valueIndex(index),
      valueDimension(dimension) {}

velXInvalidSeqIndex::velXInvalidSeqIndex(xany object, int index)
    : velXException(VEL_FIXED_TEXT("Sequence index is out of range")),
      valueVelObject(std::move(object)),
      valueIndex(index) {}

// The one that programs run into: its VelObject is made where it stays.
velXInvalidSeqIndex::velXInvalidSeqIndex(xobject* object, int index)
    : velXException(VEL_FIXED_TEXT("Sequence index is out of range")),
      valueVelObject(object),
      valueIndex(index) {}

velXInvalidDictIndex::velXInvalidDictIndex(xany object, int index)
    : velXException(VEL_FIXED_TEXT("Dictionary index is out of range")),
      valueVelObject(std::move(object)),
      valueIndex(index) {}

velXInvalidDictKey::velXInvalidDictKey(xany object, xstring key)
    : velXException(VEL_FIXED_TEXT("Dictionary key is not found")),
      valueVelObject(std::move(object)),
      valueKey(std::move(key)) {}

velXNegativeIndex::velXNegativeIndex(int index)
    : velXException(VEL_FIXED_TEXT("Negative index")), valueIndex(index) {}

velXNotInitialized::velXNotInitialized()
    : velXException(VEL_FIXED_TEXT("Object is not initialized or has been destroyed")) {}

velXRefCountable::velXRefCountable(xany object)
    : velXException(VEL_FIXED_TEXT("Object is reference countable")),
      valueVelObject(std::move(object)) {}

velXNativeException::velXNativeException(xstring stringRep)
    : velXException(VEL_FIXED_TEXT("Native exception")), valueStringRep(std::move(stringRep)) {}

velXConnectionClosed::velXConnectionClosed()
    : velXException(VEL_FIXED_TEXT(
          "Attempt to communicate with client/server after connection has been closed")) {}

velXFunc::velXFunc(xstring name, xrchandle<velXArgs> args)
    : valueName(std::move(name)), valueArgs(std::move(args)) {}

velXExternFunc::velXExternFunc(xstring description, xrchandle<velXFunc> func)
    : velXException(std::move(description)), valueFunc(std::move(func)) {}

velXSerialization::velXSerialization(xstring description, xrchandle<velXException> source)
    : velXException(std::move(description)), valueSource(std::move(source)) {}

velXSoapFault::velXSoapFault(xstring faultCode, xstring faultString, xany detail)
    : velXSerialization(faultString, 0),
      valueFaultCode(std::move(faultCode)),
      valueFaultString(std::move(faultString)),
      valueFaultDetail(std::move(detail)) {}

velXSoapTransport::velXSoapTransport(xstring description) : velXException(std::move(description)) {}

velXSoapHttpTransport::velXSoapHttpTransport(xstring description, xstring reason, int status)
    : velXSoapTransport(std::move(description)),
      valueReason(std::move(reason)),
      valueStatus(status) {}

xportXCannotConnect::xportXCannotConnect(xstring host, int port)
    : velXException(VEL_FIXED_TEXT("Cannot connect")),
      valueHost(std::move(host)),
      valuePort(port) {}

xportXMsgStringTooLong::xportXMsgStringTooLong(xstring message)
    : velXException(VEL_FIXED_TEXT("Message too long")), valueMsg(std::move(message)) {}

xportXFlushFailed::xportXFlushFailed() : velXException(VEL_FIXED_TEXT("Flush on socket failed")) {}

xportXNullInNonOptArg::xportXNullInNonOptArg(xstring paramName)
    : velXException(VEL_FIXED_TEXT("Null passed to non optional parameter argument")),
      valueParamName(std::move(paramName)) {}

// The one message that begins with a small letter.
xportXTimeout::xportXTimeout(xstring opName)
    : velXException(VEL_FIXED_TEXT("communication timeout")), valueOpName(std::move(opName)) {}

// NOLINTEND(bugprone-throw-keyword-missing)

// ---- Throw and Create ----

void velXNull::Throw() { Raise(new velXNull); }
void velXNotInitialized::Throw() { Raise(new velXNotInitialized); }
void velXConnectionClosed::Throw() { Raise(new velXConnectionClosed); }
void velXNegativeIndex::Throw(int index) { Raise(new velXNegativeIndex(index)); }
void velXRefCountable::Throw(xany object) { Raise(new velXRefCountable(std::move(object))); }
void velXTypeMismatch::Throw(const char* typeName, xany object) {
  Raise(new velXTypeMismatch(std::move(object), typeName));
}
void velXInvalidArrayIndex::Throw(xany object, int index, int dimension) {
  Raise(new velXInvalidArrayIndex(std::move(object), index, dimension));
}
void velXInvalidSeqIndex::Throw(xany object, int index) {
  Raise(new velXInvalidSeqIndex(std::move(object), index));
}
void velXInvalidDictIndex::Throw(xany object, int index) {
  Raise(new velXInvalidDictIndex(std::move(object), index));
}
void velXInvalidDictKey::Throw(xany object, const char* key) {
  Raise(new velXInvalidDictKey(std::move(object), key));
}
void velXNativeException::Throw(const char* text) { Raise(new velXNativeException(text)); }
void velXSerialization::Throw(const char* text, xrchandle<velXException> source) {
  Raise(new velXSerialization(text, std::move(source)));
}
xrchandle<velXSerialization> velXSerialization::Create(const char* text,
                                                       xrchandle<velXException> source) {
  return new velXSerialization(text, std::move(source));
}
void velXSoapFault::Throw(const char* faultCode, const char* faultString, xany detail) {
  Raise(new velXSoapFault(faultCode, faultString, std::move(detail)));
}
void velXSoapTransport::Throw(const char* text) { Raise(new velXSoapTransport(text)); }
void velXSoapHttpTransport::Throw(const char* text, int status, const char* reason) {
  Raise(new velXSoapHttpTransport(text, reason, status));
}
void xportXCannotConnect::Throw(const char* host, int port) {
  Raise(new xportXCannotConnect(host, port));
}
void xportXMsgStringTooLong::Throw(const char* message) {
  Raise(new xportXMsgStringTooLong(message));
}
void xportXFlushFailed::Throw() { Raise(new xportXFlushFailed); }
void xportXNullInNonOptArg::Throw(const char* paramName) { Raise(Create(paramName)); }
xportXNullInNonOptArg* xportXNullInNonOptArg::Create(const char* paramName) {
  return new xportXNullInNonOptArg(paramName);
}
void xportXTimeout::Throw(const char* opName) { Raise(new xportXTimeout(opName)); }

xrchandle<velXNativeException> velCreateNativeException(const char* text) {
  return new velXNativeException(text);
}

xthrowable* velComplaint::null() { return Held(new velXNull); }
xthrowable* velComplaint::sequenceIndex(xobject* sequence, int index) {
  if (index < 0) return Held(new velXNegativeIndex(index));
  return Held(new velXInvalidSeqIndex(sequence, index));
}

// ---- helpers ----

void velhThrowNull() { velXNull::Throw(); }
void velhThrowNotInitialized() { velXNotInitialized::Throw(); }
void velhThrowNegativeIndex(int index) { velXNegativeIndex::Throw(index); }
void velhThrowRefCountable(xobject* object) { velXRefCountable::Throw(object); }
void velhThrowInvalidArrayIndex(xobject* array, int index, int dimension) {
  velXInvalidArrayIndex::Throw(array, index, dimension);
}
void velhThrowInvalidSeqIndex(xobject* sequence, int index) {
  velXInvalidSeqIndex::Throw(sequence, index);
}
void velhThrowInvalidDictIndex(xobject* dictionary, int index) {
  velXInvalidDictIndex::Throw(dictionary, index);
}
void velhThrowInvalidDictKey(xobject* dictionary, const char* key) {
  velXInvalidDictKey::Throw(dictionary, key);
}

void velhAssertNonNegativeIndex(int index) {
  if (index < 0) velhThrowNegativeIndex(index);
}

void velhAssertNotNullKey(const char* key) {
  if (!korText(key)) velhThrowNull();
}

void velhRethrowSeqException(xthrowable* caught, xobject* sequence) {
  auto* error = velXInvalidSeqIndex::softcast(velAsObject(caught));
  if (error && !velIsUninit(error)) velhThrowInvalidSeqIndex(sequence, error->getIndex());
  xthrow(caught);
}

void velhRethrowDictException(xthrowable* caught, xobject* dictionary) {
  auto* error = velXInvalidDictIndex::softcast(velAsObject(caught));
  if (error && !velIsUninit(error)) velhThrowInvalidDictIndex(dictionary, error->getIndex());
  xthrow(caught);
}

void velThrowSizeLimit() { velXNativeException::Throw("Size limit exceeded"); }

// ---- descriptors ----

VEL_OBJECT_RTTI(xthrowable, xrttistruct, [](xrttistruct* rtti) {
  rtti->initializeRttiStruct("vellib::Throwable", 1, 0, nullptr, 0, nullptr);
})

VEL_ATTRIBUTED_RTTI(velXException, "vellib::XException", xthrowable::getClassRtti(),
                    VEL_ATTRIBUTE_INFO(Description))
VEL_ATTRIBUTED_RTTI(velXNull, "vellib::XNull", velXException::getClassRtti())
VEL_ATTRIBUTED_RTTI(velXTypeMismatch, "vellib::XTypeMismatch", velXException::getClassRtti(),
                    VEL_ATTRIBUTE_INFO(VelObject), VEL_ATTRIBUTE_INFO(TypeName))
VEL_ATTRIBUTED_RTTI(velXInvalidArrayIndex, "vellib::XInvalidArrayIndex",
                    velXException::getClassRtti(), VEL_ATTRIBUTE_INFO(VelObject),
                    VEL_ATTRIBUTE_INFO(Index), VEL_ATTRIBUTE_INFO(Dimension))
VEL_ATTRIBUTED_RTTI(velXInvalidSeqIndex, "vellib::XInvalidSeqIndex", velXException::getClassRtti(),
                    VEL_ATTRIBUTE_INFO(VelObject), VEL_ATTRIBUTE_INFO(Index))
VEL_ATTRIBUTED_RTTI(velXInvalidDictIndex, "vellib::XInvalidDictIndex",
                    velXException::getClassRtti(), VEL_ATTRIBUTE_INFO(VelObject),
                    VEL_ATTRIBUTE_INFO(Index))
VEL_ATTRIBUTED_RTTI(velXInvalidDictKey, "vellib::XInvalidDictKey", velXException::getClassRtti(),
                    VEL_ATTRIBUTE_INFO(VelObject), VEL_ATTRIBUTE_INFO(Key))
VEL_ATTRIBUTED_RTTI(velXNegativeIndex, "vellib::XNegativeIndex", velXException::getClassRtti(),
                    VEL_ATTRIBUTE_INFO(Index))
VEL_ATTRIBUTED_RTTI(velXNotInitialized, "vellib::XNotInitialized", velXException::getClassRtti())
VEL_ATTRIBUTED_RTTI(velXRefCountable, "vellib::XRefCountable", velXException::getClassRtti(),
                    VEL_ATTRIBUTE_INFO(VelObject))
VEL_ATTRIBUTED_RTTI(velXNativeException, "vellib::XNativeException", velXException::getClassRtti(),
                    VEL_ATTRIBUTE_INFO(StringRep))
VEL_ATTRIBUTED_RTTI(velXConnectionClosed, "vellib::XConnectionClosed",
                    velXException::getClassRtti())
VEL_ATTRIBUTED_RTTI(velXArgs, "vellib::XArgs", nullptr)
VEL_ATTRIBUTED_RTTI(velXFunc, "vellib::XFunc", nullptr, VEL_ATTRIBUTE_INFO(Name),
                    VEL_ATTRIBUTE_INFO(Args))
VEL_ATTRIBUTED_RTTI(velXExternFunc, "vellib::XExternFunc", velXException::getClassRtti(),
                    VEL_ATTRIBUTE_INFO(Func))
VEL_ATTRIBUTED_RTTI(velXSerialization, "vellib::XSerialization", velXException::getClassRtti(),
                    VEL_ATTRIBUTE_INFO(Source))
VEL_ATTRIBUTED_RTTI(velXSoapFault, "vellib::XSoapFault", velXSerialization::getClassRtti(),
                    VEL_ATTRIBUTE_INFO(FaultCode), VEL_ATTRIBUTE_INFO(FaultString),
                    VEL_ATTRIBUTE_INFO(FaultDetail))
VEL_ATTRIBUTED_RTTI(velXSoapTransport, "vellib::XSoapTransport", velXException::getClassRtti())
VEL_ATTRIBUTED_RTTI(velXSoapHttpTransport, "vellib::XSoapHttpTransport",
                    velXSoapTransport::getClassRtti(), VEL_ATTRIBUTE_INFO(Reason),
                    VEL_ATTRIBUTE_INFO(Status))
VEL_ATTRIBUTED_RTTI(xportXCannotConnect, "veljava::XCannotConnect", velXException::getClassRtti(),
                    VEL_ATTRIBUTE_INFO(Host), VEL_ATTRIBUTE_INFO(Port))
VEL_ATTRIBUTED_RTTI(xportXMsgStringTooLong, "veljava::XMsgStringTooLong",
                    velXException::getClassRtti(), VEL_ATTRIBUTE_INFO(Msg))
VEL_ATTRIBUTED_RTTI(xportXFlushFailed, "veljava::XFlushFailed", velXException::getClassRtti())
VEL_ATTRIBUTED_RTTI(xportXNullInNonOptArg, "veljava::XNullInNonOptArg",
                    velXException::getClassRtti(), VEL_ATTRIBUTE_INFO(ParamName))
VEL_ATTRIBUTED_RTTI(xportXTimeout, "veljava::XTimeout", velXException::getClassRtti(),
                    VEL_ATTRIBUTE_INFO(OpName))

// ---- handles ----

template class xrcbasehandle<xthrowable>;
template class xrcunihandle<xthrowable>;
#define VEL_HANDLE(C)              \
  template class xrcbasehandle<C>; \
  template class xrchandle<C>;
VEL_HANDLE(velXException)
VEL_HANDLE(velXArgs)
VEL_HANDLE(velXFunc)
VEL_HANDLE(velXExternFunc)
VEL_HANDLE(velXTypeMismatch)
VEL_HANDLE(velXInvalidArrayIndex)
VEL_HANDLE(velXInvalidSeqIndex)
VEL_HANDLE(velXInvalidDictIndex)
VEL_HANDLE(velXInvalidDictKey)
VEL_HANDLE(velXNegativeIndex)
VEL_HANDLE(velXRefCountable)
VEL_HANDLE(velXNativeException)
VEL_HANDLE(velXSerialization)
VEL_HANDLE(velXSoapFault)
VEL_HANDLE(velXSoapHttpTransport)
#undef VEL_HANDLE
