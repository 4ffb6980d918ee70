// velexceptions.h - the exceptions of the framework.
//
// Each is a counted object of a registered type with a Description and the
// attributes of its class, so that it can be walked, printed and carried to
// other languages. Throw builds one with its class's message and throws it as
// described in xthrowable.h: the catcher owns one reference. Text arguments are
// narrow and copied; null text gives the null string. Building one may throw
// std::bad_alloc instead.
//
// An exception holds a reference on the object that it is about: one that
// nobody else holds dies with the exception.
#ifndef VELSTD_VELBASE_VELEXCEPTIONS_H
#define VELSTD_VELBASE_VELEXCEPTIONS_H

#include "velattributes.h"
#include "xany.h"
#include "xrchandle.h"
#include "xstring.h"
#include "xthrowable.h"

// The initialisers of the bases make no exception of their own.
// NOLINTBEGIN(bugprone-throw-keyword-missing)

/// "vellib::XException", the root of all framework exceptions.
class VELSTD_API velXException : public xthrowable {
  VEL_ATTRIBUTED(velXException, xthrowable())
  /// What went wrong, in words.
  VEL_ATTRIBUTE(xstring, Description)
 public:
  /// With this Description.
  explicit velXException(xstring description);
};

/// "vellib::XNull": null where a value is required.
class VELSTD_API velXNull : public velXException {
  VEL_ATTRIBUTED(velXNull, velXException(context))
 protected:
  /// With the Description "Attempt to assign null to non-optional object".
  velXNull();
  friend struct velComplaint;

 public:
  /// Makes one and throws it.
  [[noreturn]] static void Throw();
};

/// "vellib::XTypeMismatch": an object (VelObject) is not of the type TypeName.
class VELSTD_API velXTypeMismatch : public velXException {
  VEL_ATTRIBUTED(velXTypeMismatch, velXException(context))
  /// What it is about; nil or uninit where nothing was given.
  VEL_ATTRIBUTE(xany, VelObject)
  /// The name of the type that was expected.
  VEL_ATTRIBUTE(xstring, TypeName)
 protected:
  /// With the Description "Object type mismatch" and these attributes.
  velXTypeMismatch(xany object, xstring typeName);

 public:
  /// Makes one of these attributes and throws it.
  [[noreturn]] static void Throw(const char* typeName, xany object);
};

/// "vellib::XInvalidArrayIndex": Index in dimension Dimension of VelObject.
class VELSTD_API velXInvalidArrayIndex : public velXException {
  VEL_ATTRIBUTED(velXInvalidArrayIndex, velXException(context))
  /// What it is about; nil or uninit where nothing was given.
  VEL_ATTRIBUTE(xany, VelObject)
  /// The index as it was given.
  VEL_ATTRIBUTE(int, Index)
  /// The dimension of the index, from 0.
  VEL_ATTRIBUTE(int, Dimension)
 protected:
  /// With the Description "Array index is out of range" and these attributes.
  velXInvalidArrayIndex(xany object, int index, int dimension);

 public:
  /// Makes one of these attributes and throws it.
  [[noreturn]] static void Throw(xany object, int index, int dimension);
};

/// "vellib::XInvalidSeqIndex": Index at or past the end of VelObject.
class VELSTD_API velXInvalidSeqIndex : public velXException {
  VEL_ATTRIBUTED(velXInvalidSeqIndex, velXException(context))
  /// What it is about; nil or uninit where nothing was given.
  VEL_ATTRIBUTE(xany, VelObject)
  /// The index as it was given.
  VEL_ATTRIBUTE(int, Index)
 protected:
  /// With the Description "Sequence index is out of range" and these attributes.
  velXInvalidSeqIndex(xany object, int index);
  velXInvalidSeqIndex(xobject* object, int index);
  friend struct velComplaint;

 public:
  /// Makes one of these attributes and throws it.
  [[noreturn]] static void Throw(xany object, int index);
};

/// "vellib::XInvalidDictIndex": Index at or past the table of VelObject.
class VELSTD_API velXInvalidDictIndex : public velXException {
  VEL_ATTRIBUTED(velXInvalidDictIndex, velXException(context))
  /// What it is about; nil or uninit where nothing was given.
  VEL_ATTRIBUTE(xany, VelObject)
  /// The index as it was given.
  VEL_ATTRIBUTE(int, Index)
 protected:
  /// With the Description "Dictionary index is out of range" and these attributes.
  velXInvalidDictIndex(xany object, int index);

 public:
  /// Makes one of these attributes and throws it.
  [[noreturn]] static void Throw(xany object, int index);
};

/// "vellib::XInvalidDictKey": no Key in VelObject.
class VELSTD_API velXInvalidDictKey : public velXException {
  VEL_ATTRIBUTED(velXInvalidDictKey, velXException(context))
  /// What it is about; nil or uninit where nothing was given.
  VEL_ATTRIBUTE(xany, VelObject)
  /// The key as it was given.
  VEL_ATTRIBUTE(xstring, Key)
 protected:
  /// With the Description "Dictionary key is not found" and these attributes.
  velXInvalidDictKey(xany object, xstring key);

 public:
  /// Makes one of these attributes and throws it.
  [[noreturn]] static void Throw(xany object, const char* key);
};

/// "vellib::XNegativeIndex": an Index below 0.
class VELSTD_API velXNegativeIndex : public velXException {
  VEL_ATTRIBUTED(velXNegativeIndex, velXException(context))
  /// The index as it was given.
  VEL_ATTRIBUTE(int, Index)
 protected:
  /// With the Description "Negative index" and these attributes.
  explicit velXNegativeIndex(int index);
  friend struct velComplaint;

 public:
  /// Makes one of these attributes and throws it.
  [[noreturn]] static void Throw(int index);
};

/// "vellib::XNotInitialized": an uninitialised object slot was used.
class VELSTD_API velXNotInitialized : public velXException {
  VEL_ATTRIBUTED(velXNotInitialized, velXException(context))
 protected:
  /// With the Description "Object is not initialized or has been destroyed".
  velXNotInitialized();

 public:
  /// Makes one and throws it.
  [[noreturn]] static void Throw();
};

/// "vellib::XRefCountable": VelObject is counted and must not be freed.
class VELSTD_API velXRefCountable : public velXException {
  VEL_ATTRIBUTED(velXRefCountable, velXException(context))
  /// What it is about; nil or uninit where nothing was given.
  VEL_ATTRIBUTE(xany, VelObject)
 protected:
  /// With the Description "Object is reference countable" and these attributes.
  explicit velXRefCountable(xany object);

 public:
  /// Makes one of these attributes and throws it.
  [[noreturn]] static void Throw(xany object);
};

/// "vellib::XNativeException": an exception of another kind, as text.
class VELSTD_API velXNativeException : public velXException {
  VEL_ATTRIBUTED(velXNativeException, velXException(context))
  /// The other exception as text.
  VEL_ATTRIBUTE(xstring, StringRep)
 protected:
  /// With the Description "Native exception" and these attributes.
  explicit velXNativeException(xstring stringRep);
  friend VELSTD_API xrchandle<velXNativeException> velCreateNativeException(const char* text);

 public:
  /// Makes one of this text and throws it.
  [[noreturn]] static void Throw(const char* text);
};

/// "vellib::XConnectionClosed".
class VELSTD_API velXConnectionClosed : public velXException {
  VEL_ATTRIBUTED(velXConnectionClosed, velXException(context))
 protected:
  /// With the Description "Attempt to communicate with client/server after connection has
  /// been closed".
  velXConnectionClosed();

 public:
  /// Makes one and throws it.
  [[noreturn]] static void Throw();
};

/// "vellib::XArgs": the arguments of a call; no exception, no attributes.
class VELSTD_API velXArgs : public virtual xobject {
  VEL_ATTRIBUTED(velXArgs, xobject())
 public:
  /// Without arguments.
  velXArgs() = default;
  velXArgs(const velXArgs&) = delete;
  velXArgs& operator=(const velXArgs&) = delete;
};

/// "vellib::XFunc": a call; no exception.
class VELSTD_API velXFunc : public virtual xobject {
  VEL_ATTRIBUTED(velXFunc, xobject())
  /// The name of what is called.
  VEL_ATTRIBUTE(xstring, Name)
  /// The arguments.
  VEL_ATTRIBUTE(xrchandle<velXArgs>, Args)
 public:
  /// A call of `name` with `args` (nullable).
  velXFunc(xstring name, xrchandle<velXArgs> args);
  velXFunc(const velXFunc&) = delete;
  velXFunc& operator=(const velXFunc&) = delete;
};

/// "vellib::XExternFunc": a foreign function (Func) failed.
class VELSTD_API velXExternFunc : public velXException {
  VEL_ATTRIBUTED(velXExternFunc, velXException(context))
  /// The call that failed.
  VEL_ATTRIBUTE(xrchandle<velXFunc>, Func)
 public:
  /// With this Description and these attributes.
  velXExternFunc(xstring description, xrchandle<velXFunc> func);
};

/// "vellib::XSerialization": reading or writing failed, because of Source.
class VELSTD_API velXSerialization : public velXException {
  VEL_ATTRIBUTED(velXSerialization, velXException(context))
  /// The exception that caused this one; null for none.
  VEL_ATTRIBUTE(xrchandle<velXException>, Source)
 protected:
  /// With this Description and these attributes.
  velXSerialization(xstring description, xrchandle<velXException> source);

 public:
  /// Makes one of these attributes and throws it.
  [[noreturn]] static void Throw(const char* text, xrchandle<velXException> source);
  /// Builds one without throwing it.
  static xrchandle<velXSerialization> Create(const char* text, xrchandle<velXException> source);
};

/// "vellib::XSoapFault"; the Description is the fault string.
class VELSTD_API velXSoapFault : public velXSerialization {
  VEL_ATTRIBUTED(velXSoapFault, velXSerialization(context))
  /// The code of the fault.
  VEL_ATTRIBUTE(xstring, FaultCode)
  /// The fault in words; also the Description.
  VEL_ATTRIBUTE(xstring, FaultString)
  /// What else the fault came with.
  VEL_ATTRIBUTE(xany, FaultDetail)
 protected:
  /// With these attributes, the fault string as Description, and without a Source.
  velXSoapFault(xstring faultCode, xstring faultString, xany detail);

 public:
  /// Makes one of these attributes and throws it.
  [[noreturn]] static void Throw(const char* faultCode, const char* faultString, xany detail);
};

/// "vellib::XSoapTransport".
class VELSTD_API velXSoapTransport : public velXException {
  VEL_ATTRIBUTED(velXSoapTransport, velXException(context))
 protected:
  /// With this Description.
  explicit velXSoapTransport(xstring description);

 public:
  /// Makes one of this text and throws it.
  [[noreturn]] static void Throw(const char* text);
};

/// "vellib::XSoapHttpTransport": the answer had the given Status.
class VELSTD_API velXSoapHttpTransport : public velXSoapTransport {
  VEL_ATTRIBUTED(velXSoapHttpTransport, velXSoapTransport(context))
  /// What the status means, in words.
  VEL_ATTRIBUTE(xstring, Reason)
  /// The status of the answer.
  VEL_ATTRIBUTE(int, Status)
 protected:
  /// With this Description and these attributes.
  velXSoapHttpTransport(xstring description, xstring reason, int status);

 public:
  /// Makes one of these attributes and throws it.
  [[noreturn]] static void Throw(const char* text, int status, const char* reason);
};

/// "veljava::XCannotConnect".
class VELSTD_API xportXCannotConnect : public velXException {
  VEL_ATTRIBUTED(xportXCannotConnect, velXException(context))
  /// The host as it was given.
  VEL_ATTRIBUTE(xstring, Host)
  /// The port as it was given.
  VEL_ATTRIBUTE(int, Port)
 protected:
  /// With the Description "Cannot connect" and these attributes.
  xportXCannotConnect(xstring host, int port);

 public:
  /// Makes one of these attributes and throws it.
  [[noreturn]] static void Throw(const char* host, int port);
};

/// "veljava::XMsgStringTooLong".
class VELSTD_API xportXMsgStringTooLong : public velXException {
  VEL_ATTRIBUTED(xportXMsgStringTooLong, velXException(context))
  /// The message that is too long.
  VEL_ATTRIBUTE(xstring, Msg)
 protected:
  /// With the Description "Message too long" and these attributes.
  explicit xportXMsgStringTooLong(xstring message);

 public:
  /// Makes one of these attributes and throws it.
  [[noreturn]] static void Throw(const char* message);
};

/// "veljava::XFlushFailed".
class VELSTD_API xportXFlushFailed : public velXException {
  VEL_ATTRIBUTED(xportXFlushFailed, velXException(context))
 protected:
  /// With the Description "Flush on socket failed".
  xportXFlushFailed();

 public:
  /// Makes one and throws it.
  [[noreturn]] static void Throw();
};

/// "veljava::XNullInNonOptArg".
class VELSTD_API xportXNullInNonOptArg : public velXException {
  VEL_ATTRIBUTED(xportXNullInNonOptArg, velXException(context))
  /// The name of the parameter.
  VEL_ATTRIBUTE(xstring, ParamName)
 protected:
  /// With the Description "Null passed to non optional parameter argument" and these attributes.
  explicit xportXNullInNonOptArg(xstring paramName);

 public:
  /// Makes one of these attributes and throws it.
  [[noreturn]] static void Throw(const char* paramName);
  /// Builds one with count 0: the caller attaches it.
  static xportXNullInNonOptArg* Create(const char* paramName);
};

/// "veljava::XTimeout".
class VELSTD_API xportXTimeout : public velXException {
  VEL_ATTRIBUTED(xportXTimeout, velXException(context))
  /// The name of the operation.
  VEL_ATTRIBUTE(xstring, OpName)
 protected:
  /// With the Description "communication timeout" and these attributes.
  explicit xportXTimeout(xstring opName);

 public:
  /// Makes one of these attributes and throws it.
  [[noreturn]] static void Throw(const char* opName);
};

// NOLINTEND(bugprone-throw-keyword-missing)

/// A velXNativeException with StringRep `text`, not thrown.
VELSTD_API xrchandle<velXNativeException> velCreateNativeException(const char* text);

/// These throw the common ones in one call. Object arguments are borrowed and nullable (a
/// null one gives a nil VelObject).
[[noreturn]] VELSTD_API void velhThrowNull();
[[noreturn]] VELSTD_API void velhThrowNotInitialized();
[[noreturn]] VELSTD_API void velhThrowNegativeIndex(int index);
[[noreturn]] VELSTD_API void velhThrowRefCountable(xobject* object);
[[noreturn]] VELSTD_API void velhThrowInvalidArrayIndex(xobject* array, int index, int dimension);
[[noreturn]] VELSTD_API void velhThrowInvalidSeqIndex(xobject* sequence, int index);
[[noreturn]] VELSTD_API void velhThrowInvalidDictIndex(xobject* dictionary, int index);
[[noreturn]] VELSTD_API void velhThrowInvalidDictKey(xobject* dictionary, const char* key);

/// Throws velXNegativeIndex for an index below 0.
VELSTD_API void velhAssertNonNegativeIndex(int index);
/// Throws velXNull for a null key and for the address 1.
VELSTD_API void velhAssertNotNullKey(const char* key);

/// These throw again what was caught inside a collection (borrowed: the caller keeps and
/// releases its reference): an index error, velXInvalidSeqIndex or velXInvalidDictIndex and
/// exactly that class, as a new one of the same index about the collection (borrowed),
/// anything else unchanged.
[[noreturn]] VELSTD_API void velhRethrowSeqException(xthrowable* caught, xobject* sequence);
[[noreturn]] VELSTD_API void velhRethrowDictException(xthrowable* caught, xobject* dictionary);

// The library's copies of the handles.
#define VEL_HANDLE(C)                                      \
  extern template class xrcbasehandle<C>;       \
  extern template class xrchandle<C>;
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

#endif  // VELSTD_VELBASE_VELEXCEPTIONS_H
