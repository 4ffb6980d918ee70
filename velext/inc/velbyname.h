// velbyname.h - objects made, read and written by names and paths.
//
//   auto point = velCreate("demo::Point");
//   velSetAttr(point, "x", velAny(3));
//   xany price = velGetPath(velAny(order), "/lines/3/price");
//   velSetPath(velAny(order), "/lines/-", velAny(line));        // appends
//
// A path is a JSON Pointer (RFC 6901): "" is the whole value; "/" begins each step,
// "~1" stands for "/" and "~0" for "~" in it. A step is the name of an attribute or of
// a part of a union, the key of an entry, or the number of an element (no sign, no
// leading zeros); "-" is the place behind the last element. An array takes a step for
// each dimension. Paths are UTF-8, as keys are that come from JSON; an entry whose key is
// the same text in the encoding of the locale is found, too.
//
// Errors, all thrown and nothing changed: velXNativeException "Unknown type: N",
// "Type cannot be created: N", "Type cannot be written: N", "Invalid path: WHY: P" (no "/"
// at its beginning, "~" without 0 or 1, a zero byte);
// velXInvalidDictKey with the object and the step for what is not there, for a step
// into a sequence or array that is no number, or when the value there has no parts (the
// object is then null); velXInvalidSeqIndex, velXInvalidArrayIndex; velXTypeMismatch for
// a value of the wrong kind; velXNull for a null object or name, velXNotInitialized for
// xuninitobject.
// Threads and ownership: as the objects.
#ifndef VELSTD_VELEXT_VELBYNAME_H
#define VELSTD_VELEXT_VELBYNAME_H

#include <optional>
#include <string>
#include <string_view>

#include "korapi.h"
#include "xany.h"
#include "xrchandle.h"

/// A new, empty object of the type registered under that name: a structure or union
/// with a default constructor, a collection (see velwrites.h), an exception.
VELSTD_API xrcunihandle<xobject> velCreate(const char* typeName);
/// The same.
inline xrcunihandle<xobject> velCreate(const std::string& typeName) {
  return velCreate(typeName.c_str());
}

/// Sets an attribute of `object`. False, and nothing set, for an unknown one that the
/// object's own deprecation list names.
VELSTD_API bool velSetAttr(xobject* object, const char* name, const xany& value);

/// An attribute of `object`, or a part of a union that it has at the moment.
VELSTD_API xany velGetAttr(xobject* object, const char* name);

/// The value at the end of a path.
VELSTD_API xany velGetPath(const xany& root, std::string_view path);
/// The same; nothing where velGetPath throws because something is not there.
VELSTD_API std::optional<xany> velFindPath(const xany& root, std::string_view path);

/// Stores `value` at the end of a path. What comes before its last step must be there;
/// an entry of a dictionary is made anew if it has to be, and the number of elements is
/// the place behind the last, as "-" is. The empty path is refused as invalid, and an
/// attribute that only the object's deprecation list names as one that is not there.
VELSTD_API void velSetPath(const xany& root, std::string_view path, const xany& value);

/// A name or key as a step: "/" and what stands for "/" and "~" in it, in UTF-8.
VELSTD_API std::string velStep(std::string_view name);

#endif  // VELSTD_VELEXT_VELBYNAME_H
