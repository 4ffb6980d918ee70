// veljson.h - values as JSON text, and back.
//
//   std::string text = velToJson(velAny(order));
//   xany back = velFromJson("demo::Order", text);      // typed by name
//   xany any = velFromJson(text);                      // anydict, anyseq, ...
//
//   value                              JSON
//   int, bool                          number without a fraction, true, false
//   real                               number with a fraction or an exponent, the shortest
//                                      that reads back as the same number in any locale
//   string                             string, UTF-8
//   enumeration                        the name of the enumerator
//   nil                                null
//   uninit                             nothing for an attribute; null elsewhere
//   structure, union                   object: attributes with those of the parents first;
//                                      the discriminator and the branch
//   dictionary                         object, in the order of the bytes of the keys, which
//                                      are UTF-8 in a document and in the dictionary that is
//                                      read; others are written as text of the locale
//   sequence, array                    array; an array nests one for each dimension
//
// With type tags everything reads back as what it was: an object of a class begins with
// "@type", the name of its type; what is no object of JSON and would not be known by its
// place stands as {"@type": T, "value": V}. Keys that begin with "@" get another one.
//
// Reading by type takes numbers without a fraction as reals where a real is expected,
// nothing else for something else. Of equal keys the last one counts. No attribute must be
// there: one that is not keeps the value that it has in a new object. One that has no
// setter is written, and refused in a document. Of a union no other
// branch may be there than the one that its discriminator tells in the end. An object in
// the place of one of a base is written with its own attributes and can be read with tags
// only. Without a type a number that no int holds (and the two ints that stand for nil and
// uninit) is a real, like one with a fraction; where an int is expected, -2147483647 is
// one, but for members of other integer types, which refuse it. 1e126 and 9e125 stand for no
// value where a real is expected, and are refused there.
//
// Errors are velXSerialization with the path of the value (a JSON Pointer; none for the
// whole) and, when reading, line and column in the Description ("/lines/3/price: line 7,
// column 12: ..." in one piece), and the exception behind it, if there is one, as Source.
// Writing refuses NaN, infinite numbers and cycles ("not a number", "infinite number",
// "cycle"), nesting beyond the limit ("nested too deep"), text with something in it that is
// no character ("bytes that are no text"), keys that are the same in UTF-8 ("two entries
// have the key K"), objects without parts and enumeration values without a name, and tells
// what a getter throws; reading refuses what is no JSON,
// a zero character in text, unknown types and attributes, values of a wrong kind, and
// nesting beyond the limit. Nothing is lost: no value comes out of an error. Exceptions of
// the standard library pass through.
// Depth costs heap, not stack.
// Threads: as the values and the registry. Ownership: results are owned as any value.
#ifndef VELSTD_VELJSON_VELJSON_H
#define VELSTD_VELJSON_VELJSON_H

#include <string>
#include <string_view>

#include "korapi.h"
#include "velobject.h"
#include "xany.h"

/// How text is written and read.
struct velJsonOptions {
  /// Blanks by which each level is indented, with a line for each value; below 0,
  /// everything stands on one line without blanks.
  int indent = -1;
  /// Attributes in the order of the bytes of their names instead of that of the type.
  bool sortKeys = false;
  /// Write tags, and read them.
  bool typeTags = false;
  /// Levels of objects and arrays that are read or written.
  int maxDepth = 1000000;
};

/// The value as JSON. Throws velXSerialization.
VELSTD_API std::string velToJson(const xany& value, const velJsonOptions& options = {});

/// The value of a document; with options.typeTags, of the types that it tells.
/// Throws velXSerialization.
VELSTD_API xany velFromJson(std::string_view text, const velJsonOptions& options = {});

/// The value of a document of the type registered under `typeName` (also "int", "any"
/// and the like). Throws velXSerialization.
VELSTD_API xany velFromJson(const char* typeName, std::string_view text,
                            const velJsonOptions& options = {});

/// The same as an object of class C; a null handle for null.
template <class C>
xrchandle<C> velFromJson(std::string_view text, const velJsonOptions& options = {}) {
  const xstring name = C::getClassRtti()->getName();
  const xany value = velFromJson(name.CastToCString(), text, options);
  return value.isnil() ? xrchandle<C>() : xrchandle<C>(velCast<C>(value.operator xobject*()));
}

/// The JSON Schema (2020-12) of what velToJson writes, without tags, for values of the
/// type registered under `typeName`, as a value to be written with velToJson. Types
/// that it is made of stand under "$defs". A class stands for its own objects and those
/// of the classes registered by now that derive from it, each with its attributes and no
/// others; a union is one of its branches with the discriminator that tells it. Null may
/// be the whole, what is declared optional, and what the setters take nil for: to know
/// that, an object of each type is made and its setters are called. Attributes that can
/// only be read are marked "readOnly".
/// What such a schema takes, velFromJson reads by the same type, but for objects of
/// derived classes, for attributes that can only be read, for ints that are written with
/// a fraction (1.0) or fit no narrower member, zero characters and numbers that no double
/// holds. What velFromJson reads, such a schema takes.
/// Throws velXSerialization "unknown type N".
VELSTD_API xany velJsonSchema(const char* typeName);

#endif  // VELSTD_VELJSON_VELJSON_H
