// veldeprecation.h - attributes that a type has dropped.
//
// Old data may still carry them. A class that derives from
// velDeprecationSupport keeps a list of such names, which the data itself may
// extend (as the attribute "_s11n_deprecated"), so that a deserializer can tell
// a dropped attribute from an unknown one.
#ifndef VELSTD_VELBASE_VELDEPRECATION_H
#define VELSTD_VELBASE_VELDEPRECATION_H

#include "velobject.h"
#include "xcollections.h"
#include "xrchandle.h"
#include "xstring.h"

// The destructor is protected: nobody deletes through this class.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wnon-virtual-dtor"

/// No object of its own; a second base beside an xobject. Threads: as the
/// object it is part of.
class VELSTD_API velDeprecationSupport {
 protected:
  /// No list was ever set.
  velDeprecationSupport() = default;
  /// Never through this class.
  ~velDeprecationSupport() = default;

  /// Appends names, separated by ";"; the null string changes nothing. A set
  /// that a query has built stays as it is.
  virtual void _s11n_set_s11n_deprecated(xstring names);

  /// Whether `name` is in the list. As long as no list was ever set, every name
  /// is; an empty list has none. A null name is in no list.
  bool isDeprecatedAttribute(xstring name);

 private:
  friend struct velS11nAccess;

  xstring list;
  xrchandle<xbooldictionary> parsed;
};

#pragma GCC diagnostic pop

/// Sets each word of `list`, separated by ";", as a key of `dict` with the value
/// false. A null list has no words. Throws velXNull for a null `dict`.
VELSTD_API void velParseDeprecatedAttrList(xstring list, xrchandle<xbooldictionary> dict);
/// The same into a new dictionary.
VELSTD_API xrchandle<xbooldictionary> velParseDeprecatedAttrList(xstring list);

#endif  // VELSTD_VELBASE_VELDEPRECATION_H
