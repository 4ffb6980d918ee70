// velattributes.h - classes with named attributes, once for all.
//
// A class lists its attributes; getter, setter, field, descriptor, and the
// members by which a deserializer builds it come from that list:
//
//   class velXNegativeIndex : public velXException {
//     VEL_ATTRIBUTED(velXNegativeIndex, velXException(context))
//     VEL_ATTRIBUTE(int, Index)                  // getIndex(), _s11n_setIndex(int)
//    public:
//     ...
//   };
//   VEL_ATTRIBUTED_RTTI(velXNegativeIndex, "vellib::XNegativeIndex",
//                       velXException::getClassRtti(), VEL_ATTRIBUTE_INFO(Index))
//
// An attribute is an int, an xstring, an xany, or an xrchandle<T>; the last two
// are optional. Its descriptor type follows from that.
//
// The descriptor's user data holds the class's creator under "_s11n_create" (a
// velS11nCreator) and a setter for each attribute under "_s11n_set<Attribute>"
// (a velS11nSetter), so that code which knows only names can build an object.
#ifndef VELSTD_VELBASE_VELATTRIBUTES_H
#define VELSTD_VELBASE_VELATTRIBUTES_H

#include <initializer_list>
#include <utility>

#include "velobject.h"
#include "velrtti.h"
#include "vels11n.h"
#include "xany.h"

/// Makes an empty object (one reference, owned by the caller).
using velS11nCreator = xobject* (*)(velS11nContext* context);
/// Sets an attribute of `object` (borrowed). Throws velXTypeMismatch for a
/// value of the wrong kind or an object of the wrong class.
using velS11nSetter = void (*)(xobject* object, const xany& value);

/// `object` as C, whether it is exactly a C or derives from it.
/// Throws velXTypeMismatch for another class, null and xuninitobject.
template <class C>
C* velView(xobject* object) {
  if (C* exact = velSoftcast<C>(object)) {
    if (!velIsUninit(exact)) return exact;
    object = nullptr;
  }
  if (C* derived = dynamic_cast<C*>(object)) return derived;
  velThrowTypeMismatch(C::getClassRtti(), object);
}

/// Throws velXTypeMismatch with the name of `expected` and `value`.
[[noreturn]] VELSTD_API void velThrowValueMismatch(xrtti* expected, const xany& value);

/// How an attribute of type T is described, read and written.
template <class T>
struct velAttributeType;

/// An int: described as "int", never optional.
template <>
struct VELSTD_API velAttributeType<int> {
  /// Whether nil is a value of such an attribute.
  static constexpr bool kOptional = false;
  /// The descriptor of the attribute's type (borrowed for ever).
  static xrtti* type() { return velGetRtti_int(); }
  /// The attribute as a value.
  static xany read(int value) { return xany(value); }
  /// The attribute's new content. Nil and uninit give their markers.
  /// Throws velXTypeMismatch for a value of another kind.
  static int write(const xany& value);
};
/// A text: described as "string", never optional.
template <>
struct VELSTD_API velAttributeType<xstring> {
  /// Whether nil is a value of such an attribute.
  static constexpr bool kOptional = false;
  /// The descriptor of the attribute's type (borrowed for ever).
  static xrtti* type() { return velGetRtti_string(); }
  /// The attribute as a value: nil for the null string.
  static xany read(xstring value) { return xany(static_cast<xstring&&>(value)); }
  /// The attribute's new content. Nil and uninit give the null string.
  /// Throws velXTypeMismatch for a value of another kind.
  static xstring write(const xany& value);
};
/// Any value: described as "any", optional.
template <>
struct VELSTD_API velAttributeType<xany> {
  /// Whether nil is a value of such an attribute.
  static constexpr bool kOptional = true;
  /// The descriptor of the attribute's type (borrowed for ever).
  static xrtti* type() { return velGetRtti_any(); }
  /// These give the value itself.
  static xany read(xany value) { return value; }
  static xany write(const xany& value) { return value; }
};
/// An object of class C: described as that class, optional.
template <class C>
struct velAttributeType<xrchandle<C>> {
  /// Whether nil is a value of such an attribute.
  static constexpr bool kOptional = true;
  /// The descriptor of the attribute's type (borrowed for ever).
  static xrtti* type() { return C::getClassRtti(); }
  /// The attribute as a value: nil for a null handle.
  static xany read(xrchandle<C> value) { return xany(value); }
  /// The attribute's new content, with a reference of its own. Nil and uninit give a null
  /// handle.
  /// Throws velXTypeMismatch for anything but a C.
  static xrchandle<C> write(const xany& value) {
    if (value.isnil() || value.isuninit()) return xrchandle<C>();
    if (value.isobject()) {
      if (C* object = dynamic_cast<C*>(value.operator xobject*())) return object;
    }
    velThrowValueMismatch(type(), value);
  }
};

/// One attribute for velInitializeStruct. The texts are literals.
struct velAttributeInfo {
  /// The attribute's name.
  const char* name;
  /// "_s11n_set" and the name: the key of the setter in the type's user data.
  const char* setterKey;
  /// What the attribute is (borrowed for ever).
  xrtti* type;
  /// Whether nil is a value of it.
  bool isOptional;
  /// Reads it.
  xrttiattr::Getter getter;
  /// Sets it; null for an attribute that cannot be set by name.
  velS11nSetter setter;
};

/// The functions behind an attribute, from the class's own getter and setter.
template <class C, class T, T (C::*Get)() const, void (C::*Set)(T)>
struct velAttributeFunctions {
  /// The attribute of `owner` (borrowed). Throws velXTypeMismatch for an object that is
  /// no C.
  static xany get(xobject* owner) {
    return velAttributeType<T>::read((velView<C>(owner)->*Get)());
  }
  /// Sets the attribute of `owner` (borrowed). Throws velXTypeMismatch for an object that
  /// is no C and for a value that does not fit.
  static void set(xobject* owner, const xany& value) {
    velS11nAccess::set<C, T>(velView<C>(owner), Set, velAttributeType<T>::write(value));
  }
  /// All that velInitializeStruct needs to know. Both texts live for ever.
  static velAttributeInfo info(const char* name, const char* setterKey) {
    using Type = velAttributeType<T>;
    return {name, setterKey, Type::type(), Type::kOptional, &get, &set};
  }
};

/// Initialises the descriptor of a counted class: creator (null for a class of
/// which no empty object can be made), `nParents` parents and `nAttributes`
/// attributes in order (both arrays are copied). An attribute without a setter
/// cannot be set by name. Parts that are made here live for ever.
/// Throws std::bad_alloc; it may then be called again.
VELSTD_API void velInitializeStruct(xrttistruct* rtti, const char* name, velS11nCreator creator,
                                    int nParents, xrttiobject* const* parents, int nAttributes,
                                    const velAttributeInfo* attributes);

/// The same with one parent, or none for null.
inline void velInitializeStruct(xrttistruct* rtti, const char* name, velS11nCreator creator,
                                xrttiobject* parent,
                                std::initializer_list<velAttributeInfo> attributes) {
  velInitializeStruct(rtti, name, creator, parent ? 1 : 0, &parent,
                      static_cast<int>(attributes.size()), attributes.begin());
}

/// The same with the attributes as arguments.
template <class... Infos>
void velInitializeStruct(xrttistruct* rtti, const char* name, velS11nCreator creator,
                         xrttiobject* parent, const Infos&... attributes) {
  velInitializeStruct(rtti, name, creator, parent,
                      std::initializer_list<velAttributeInfo>{attributes...});
}

// The arguments are types, initialisers and parts of names.
// NOLINTBEGIN(bugprone-macro-parentheses)

/// Declares the per-class members and those for deserialization. What follows
/// the class name is the initialiser of the base in the constructor that makes
/// an empty object for `context`. The access after it is private. Expands to
/// VEL_OBJECT(C) and
///
///   private:
///    friend struct ::velS11nAccess;
///    static void* _s11n_create(velS11nContext* context);
///   protected:
///    explicit C(velS11nContext* context);
#define VEL_ATTRIBUTED(C, Base)                                                \
  VEL_OBJECT(C)                                                                \
  friend struct ::velS11nAccess;                                               \
  static void* _s11n_create(velS11nContext* context);                          \
                                                                               \
 protected:                                                                    \
  explicit C([[maybe_unused]] velS11nContext* context) : Base {}               \
                                                                               \
 private:

/// Declares one attribute; empty until it is set. The access after it is
/// private. Expands to
///
///   public:
///    Type getName() const;
///   protected:
///    virtual void _s11n_setName(Type value);
///   private:
///    Type valueName;
#define VEL_ATTRIBUTE(Type, Name)                                              \
 public:                                                                       \
  Type get##Name() const { return value##Name; }                               \
                                                                               \
 protected:                                                                    \
  virtual void _s11n_set##Name(Type value) { value##Name = value; }            \
                                                                               \
 private:                                                                      \
  Type value##Name{};

/// Names an attribute in the list of VEL_ATTRIBUTED_RTTI.
#define VEL_ATTRIBUTE_INFO(Name)                                                       \
  velAttributeFunctions<Self, decltype(std::declval<Self>().get##Name()), &Self::get##Name, \
                        &Self::_s11n_set##Name>::info(#Name, "_s11n_set" #Name)

/// Defines what VEL_ATTRIBUTED declares, in one .cpp file: the registered name;
/// then the parent's descriptor (nullable), and the attributes.
#define VEL_ATTRIBUTED_RTTI(C, TypeName, ...)                                  \
  void* C::_s11n_create(velS11nContext* context) {                             \
    C* object = new C(context);                                                \
    xrcattach(object);                                                         \
    return object;                                                             \
  }                                                                            \
  VEL_OBJECT_RTTI(C, xrttistruct, [](xrttistruct* rtti) {                      \
    using Self = C;                                                            \
    velInitializeStruct(rtti, TypeName, &velS11nAccess::createObject<Self>,    \
                        __VA_ARGS__);                                          \
  })

// NOLINTEND(bugprone-macro-parentheses)

#endif  // VELSTD_VELBASE_VELATTRIBUTES_H
