// vels11n.h - what deserializers need of the core.
//
// The library reads no format of its own. A deserializer makes an empty object
// of a type with _s11n_create, sets one attribute after the other with
// _s11n_set<Attribute>, and hands the object on; a context travels along.
#ifndef VELSTD_VELBASE_VELS11N_H
#define VELSTD_VELBASE_VELS11N_H

#include "korapi.h"
#include "xany.h"
#include "xrchandle.h"
#include "xstring.h"

class velDeprecationSupport;
class xanydictionary;
class xrttiobject;

/// What is known during one deserialization: the object at the top, and values
/// that the parties leave for each other by name.
/// Threads: one context, one thread.
class VELSTD_API velS11nContext {
 public:
  /// An empty root and no values. Throws std::bad_alloc.
  velS11nContext();
  /// Gives back the values, then the root.
  virtual ~velS11nContext();
  velS11nContext(const velS11nContext&) = delete;
  velS11nContext& operator=(const velS11nContext&) = delete;

  /// Makes `newRoot` (nullable) the root: takes a reference on it and gives the old
  /// root's back.
  void setRootObject(xrcunihandle<xobject> newRoot);
  /// The object at the top, with a reference of the handle's; null before one is set.
  xrcunihandle<xobject> getRootObject() const;

  /// Stores `value` under `name`, replacing an earlier one. Throws velXNull
  /// for a null name.
  void setUserData(const char* name, xany value);
  /// The same under the empty name.
  void setUserData(xany value);
  /// The value stored under `name`; uninit if there is none. Throws velXNull
  /// for a null name.
  xany getUserData(const char* name) const;
  /// The value stored under the empty name; uninit if there is none.
  xany getUserData() const;

 private:
  xrcunihandle<xobject> root;
  xrchandle<xanydictionary> userData;
};

/// The door through which the library makes and fills objects by their private
/// _s11n_ members; every class that has some is its friend.
struct VELSTD_API velS11nAccess {
  /// A new, empty object of class C with one reference (owned by the caller).
  template <class C>
  static C* create(velS11nContext* context) {
    return static_cast<C*>(C::_s11n_create(context));
  }

  /// The same as an object.
  template <class C>
  static xobject* createObject(velS11nContext* context) {
    return create<C>(context);
  }

  /// Whether `name` is in the deprecation list of `support` (borrowed). Throws
  /// std::bad_alloc.
  static bool isDeprecated(velDeprecationSupport* support, const xstring& name);
  /// Adds `names`, separated by ";", to the deprecation list of `support` (borrowed).
  /// Throws std::bad_alloc.
  static void addDeprecated(velDeprecationSupport* support, const xstring& names);

  /// Calls a setter of `object`.
  template <class C, class T>
  static void set(C* object, void (C::*setter)(T), T value) {
    (object->*setter)(value);
  }
};

/// A new, empty object of the type registered under `typeName`.
/// @param context  passed to the object's constructor (borrowed, nullable)
/// @return one reference (owned by the caller, given back with xrcrelease); null
///         for a type that is unknown or has no creator
/// Throws what the constructor throws, and std::bad_alloc.
VELSTD_API xobject* velS11nCreate(const char* typeName, velS11nContext* context);

/// Sets an attribute of `object` (borrowed) through the setter that its type, or
/// the first of its parents depth first, keeps for that name. The attribute
/// "_s11n_deprecated" adds to the object's deprecation list, if it has one.
/// @return true if it was set; false for an unknown attribute that the object's
///         own deprecation list names (one that was never set names every one)
/// An int takes nil and uninit as their markers, a string as the null string, an
/// object as null; nothing is converted.
/// Threads: reads user data of the descriptors (see xrtti::addUserData).
/// Throws velXInvalidDictKey for any other unknown attribute, velXTypeMismatch
/// for a value of the wrong kind, velXNull for null arguments,
/// velXNotInitialized for xuninitobject.
VELSTD_API bool velS11nSet(xobject* object, const char* attribute, const xany& value);

/// Whether velS11nSet finds a setter for that attribute with `type` (nullable) or
/// one of its parents. Threads: as velS11nSet. Throws std::bad_alloc.
VELSTD_API bool velS11nHasSetter(xrttiobject* type, const char* attribute);

#endif  // VELSTD_VELBASE_VELS11N_H
