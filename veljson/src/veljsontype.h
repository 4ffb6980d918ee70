// veljsontype.h - what writer and reader of JSON agree on.
#ifndef VELSTD_VELJSON_VELJSONTYPE_H
#define VELSTD_VELJSON_VELJSONTYPE_H

#include <string>

#include "velexceptions.h"
#include "xany.h"
#include "xrtti.h"

constexpr char kJsonTag[] = "@type";
constexpr char kJsonValue[] = "value";
constexpr char kJsonUninit[] = "uninit";  // in place of the name of a type

// Numbers of which some stand for nil or uninit: of a plain int the least two, of which a
// variant can hold the greater; and two of double.
constexpr int kUninitInt = -2147483647;
bool velIsReservedReal(double number);

/// Throws velXSerialization with that text; `source` is nullable.
[[noreturn]] void velThrowJson(const std::string& text, const xrchandle<velXException>& source = 0);

/// The declared type of an attribute or union part of `type`, or of an ancestor; null
/// if there is none of that name.
xrtti* velTypeOfPart(xrttiobject* type, const std::string& name);

/// The type of elements or entries of a collection type; null for other types.
xrtti* velTypeOfElements(xrttiobject* type);

/// Whether `type` (nullable) has that name.
bool velIsTypeNamed(xrtti* type, const xstring& name);

#endif  // VELSTD_VELJSON_VELJSONTYPE_H
