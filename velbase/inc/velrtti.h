// velrtti.h - the registry of types by name, and the built-in types.
//
// Code that knows only the name of a type finds its descriptor here. The
// registry keeps the addresses of descriptors and of their names, neither
// copied nor owned: a module that registers a type must stay loaded. All types
// of this library are registered when it is loaded.
// Threads: the registry is guarded by a reader-writer lock.
#ifndef VELSTD_VELBASE_VELRTTI_H
#define VELSTD_VELBASE_VELRTTI_H

#include "korapi.h"
#include "xrtti.h"

class xrttiattrseq;

/// These are the built-in descriptors; each made on first request, never registered
/// here. Borrowed, live for ever. Thread-safe.
VELSTD_API xrttibasic* velGetRtti_bool();
VELSTD_API xrttibasic* velGetRtti_int();
VELSTD_API xrttibasic* velGetRtti_real();
VELSTD_API xrttibasic* velGetRtti_string();
VELSTD_API xrttibasic* velGetRtti_any();
VELSTD_API xrttiobject* velGetRtti_object();

/// Registers `type` under its name; the last registration of a name wins.
/// Null and nameless types are not registered.
/// Throws std::bad_alloc; the registry then stays as it was.
VELSTD_API void velRttiAddToMap(xrtti* type);

/// The type registered under `name`, else null.
VELSTD_API xrtti* velRttiGetFromMap(const char* name);

/// Calls `visit(type, data)` for every registered type in byte order of the
/// names, as registered when the call began; a visit that returns false is the
/// last. What a visit throws passes through.
VELSTD_API void velRttiForEach(bool (*visit)(xrtti* type, void* data), void* data);

/// These are xrtti::addUserData and getUserData as free functions; a null type has
/// none.
VELSTD_API void velRttiAddUserData(xrtti* type, const char* key, void* data);
VELSTD_API void* velRttiGetUserData(xrtti* type, const char* key);
/// The same for the type registered under `typeName`; null if there is none.
VELSTD_API void* velRttiGetUserData(const char* typeName, const char* key);

/// The attributes of `type`, those of its parents first if `withParents`, the
/// most distant ancestor's before all; an attribute that two ancestors declare
/// stands twice. Null types have none.
/// @return owned; not counted, give it back with xdelete
/// Throws velXTypeMismatch for a parent that is no structure, the size limit
/// error for more than a sequence holds; nothing is lost.
VELSTD_API xrttiattrseq* velRttiCollectAttrs(xrttistruct* type, unsigned char withParents);
/// Appends them to `out` (borrowed); what was appended before an exception stays.
VELSTD_API void velRttiCollectAttrs(xrttistruct* type, unsigned char withParents,
                                    xrttiattrseq* out);

// Each registers its group of types, creating the descriptors if needed; the
// library makes one of each when it is loaded. Doing it again changes nothing.

/// "bool", "int", "real", "string", "any", "object".
class VELSTD_API velRttiRegister_buildintypes {
 public:
  /// These register the types of the group. Thread-safe. Throw std::bad_alloc.
  velRttiRegister_buildintypes();
};
/// velExecutable and the exceptions of the vellib namespace.
class VELSTD_API velRttiRegister_vellib {
 public:
  /// These register the types of the group. Thread-safe. Throw std::bad_alloc.
  velRttiRegister_vellib();
};
/// The ten standard collections.
class VELSTD_API velRttiRegister_stdcols {
 public:
  /// These register the types of the group. Thread-safe. Throw std::bad_alloc.
  velRttiRegister_stdcols();
};
/// The descriptor classes themselves.
class VELSTD_API velRttiRegister_xrtti {
 public:
  /// These register the types of the group. Thread-safe. Throw std::bad_alloc.
  velRttiRegister_xrtti();
};
/// The transport exceptions of the veljava namespace.
class VELSTD_API velRttiRegister_veljava {
 public:
  /// These register the types of the group. Thread-safe. Throw std::bad_alloc.
  velRttiRegister_veljava();
};

#endif  // VELSTD_VELBASE_VELRTTI_H
