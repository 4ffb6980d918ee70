// velstruct.h - types of your own in a few lines.
//
//   class Point : public velStruct<Point> {
//     int x = 0, y = 0;
//     xstring label;
//    public:
//     VEL_STRUCT(Point, "demo::Point", x, y, label)
//   };
//
// A member that is not listed is not seen by anybody: not printed, not compared, not
// copied. The name of a type must be the only one of its kind in a program.
// Such a class is counted and lives on the heap: xrchandle<Point> p = new Point, or
// velNew<Point>(...). Its descriptor, registered when the program is loaded, names the
// members that are listed, in that order; they may be private. Objects can be walked,
// printed, compared, and, if the class has a default constructor, made and filled by
// name (velCreate, velS11nCreate). A member that is const can only be read.
//
// With bases: class Square : public velStruct<Square, Shape, Coloured>; these are
// virtual bases, so that one that is reached twice is there once.
// A class whose attributes are not its members is described by a velDescription.
// Which types members may have: velmember.h.
#ifndef VELSTD_VELEXT_VELSTRUCT_H
#define VELSTD_VELEXT_VELSTRUCT_H

#include <initializer_list>
#include <type_traits>
#include <utility>
#include <vector>

#include "velattributes.h"
#include "velenum.h"
#include "velforeach.h"
#include "velmember.h"

/// A base that is there once, however often it is reached. It needs a default
/// constructor.
template <class Base>
class velVirtually : public virtual Base {};

/// Tells that a class derives from the base that is its own, not from another's alone.
template <class T>
struct velSelfOf {};

/// What every class of this library has (see VEL_OBJECT), for a class T whose private
/// `velDescribe(Kind*)` fills in its descriptor, on top of the Bases.
template <class T, class Kind, class... Bases>
class velObjectOf : public velSelfOf<T>, public Bases... {
 public:
  using Bases::Bases...;
  /// The descriptor of T: borrowed, lives for ever.
  /// Other types that its attributes need, and that need it, may meet it on the way: it
  /// has its name by then.
  static xrttiobject* getClassRtti() {
    static velClassRtti descriptor;
    return descriptor.get<Kind>([](Kind* rtti) { T::velDescribe(rtti); });
  }
  /// Throws velXTypeMismatch for an object of another class.
  static T* cast(xobject* p) { return velCast<T>(p); }
  /// Null for an object of another class.
  static T* softcast(xobject* p) { return velSoftcast<T>(p); }
  /// This object as T or as xobject, after the name of `target`; null for any other class
  /// and for null.
  void* dyndowncast(const xrttiobject* target) override {
    return velDyndowncast<T>(static_cast<T*>(this), target);
  }

 private:
  xrttiobject* giveRtti() override { return T::getClassRtti(); }
};

/// The base of a class T with VEL_STRUCT.
template <class T, class... Bases>
class velStruct : public velObjectOf<T, xrttistruct, velVirtually<Bases>...> {
 protected:
  /// Fills in the descriptor, as VEL_STRUCT does, with the Bases as parents. Throws as
  /// velInitializeStruct.
  static void velInitialize(xrttistruct* rtti, const char* name, velS11nCreator creator,
                            std::initializer_list<velAttributeInfo> attributes) {
    xrttiobject* const parents[] = {Bases::getClassRtti()...};
    velInitializeStruct(rtti, name, creator, static_cast<int>(sizeof...(Bases)), parents,
                        static_cast<int>(attributes.size()), attributes.begin());
  }
};
/// The base of a class T with VEL_STRUCT that has no other.
template <class T>
class velStruct<T> : public velObjectOf<T, xrttistruct, velVirtually<xobject>> {
 protected:
  /// Fills in the descriptor, as VEL_STRUCT does. Throws as velInitializeStruct.
  static void velInitialize(xrttistruct* rtti, const char* name, velS11nCreator creator,
                            std::initializer_list<velAttributeInfo> attributes) {
    velInitializeStruct(rtti, name, creator, nullptr, attributes);
  }
};

/// A new object; what its constructor takes is passed on.
template <class C, class... Arguments>
xrchandle<C> velNew(Arguments&&... arguments) {
  return xrchandle<C>(new C(std::forward<Arguments>(arguments)...));
}

/// @cond internal
/// Getter, setter and descriptor of member `kMember` of C.
template <class C, class Owner, class T, T Owner::*kMember>
struct velMemberFunctions {
  using Type = velMember<std::remove_const_t<T>>;
  // Here and not in the macro: g++ would tell of each step of its expansion, 1,600 lines.
  static_assert(Type::kPossible,
                "the type of a member cannot be that of an attribute (velMemberOf<C, &C::member> "
                "in this message names it, velmember.h lists what can be): objects are held as "
                "xrchandle<T>, sequences as xrchandle<velSequenceOf<T>>, enumerations are made by "
                "VEL_ENUM");
  static xany get(xobject* owner) { return Type::read(velView<C>(owner)->*kMember); }
  static void set([[maybe_unused]] xobject* owner, [[maybe_unused]] const xany& value) {
    if constexpr (!std::is_const<T>::value) velView<C>(owner)->*kMember = Type::write(value);
  }
  static velAttributeInfo info(const char* name, const char* setterKey) {
    return {name,  setterKey, Type::type(), Type::kOptional,
            &get, std::is_const<T>::value ? nullptr : &set};
  }
  static velAttributeInfo infoOf(const char* name) { return info(name, nullptr); }
};
template <class C, auto kMember>
struct velMemberOf;
template <class C, class Owner, class T, T Owner::*kMember>
struct velMemberOf<C, kMember> : velMemberFunctions<C, Owner, T, kMember> {};

/// Getter, setter and descriptor by member functions of C; `kSet` may be null.
template <class C, auto kGet, auto kSet>
struct velGetterOf {
  using Value = std::decay_t<std::invoke_result_t<decltype(kGet), C&>>;
  using Type = velMember<Value>;
  static_assert(Type::kPossible, "what this getter returns cannot be an attribute");
  static constexpr bool kHasSetter = !std::is_null_pointer<decltype(kSet)>::value;

  static xany get(xobject* owner) { return Type::read((velView<C>(owner)->*kGet)()); }
  static void set([[maybe_unused]] xobject* owner, [[maybe_unused]] const xany& value) {
    if constexpr (kHasSetter) (velView<C>(owner)->*kSet)(Type::write(value));
  }
  static velAttributeInfo infoOf(const char* name) {
    return {name, nullptr, Type::type(), Type::kOptional, &get, kHasSetter ? &set : nullptr};
  }
};
/// @endcond

/// For the name of a class C itself, not that of a class it derives from.
template <class C>
struct velNameTag {};

/// Makes an empty object of a class with a default constructor that is public: a
/// velS11nCreator.
template <class C>
xobject* velMake(velS11nContext*) {
  C* const made = new C;
  xrcattach(made);
  return made;
}

/// An attribute whose type is asked for when the class has its name.
struct velNamedInfo {
  /// The name of the attribute, a literal.
  const char* name;
  /// Tells the rest.
  velAttributeInfo (*info)(const char* name);
};

/// Initialises the descriptor: as velInitializeStruct, with setter keys after the names.
VELSTD_API void velInstallStruct(xrttistruct* rtti, const char* name, velS11nCreator creator,
                                 const std::vector<xrttiobject* (*)()>& parents,
                                 const std::vector<velNamedInfo>& attributes);

/// The builder form, for attributes under other names, for setters and getters, and for
/// whoever prefers functions to macros; in the class's own velDescribe:
///
///   static void velDescribe(xrttistruct* rtti) {
///     velDescription<Point>("demo::Point")
///         .base<Shape>()
///         .attribute<&Point::x>("x")
///         .attribute<&Point::getLength, &Point::setLength>("length")
///         .creator(&velMake<Point>)
///         .install(rtti);
///   }
///
/// A class that derives from velStruct and has no VEL_STRUCT must make velObjectOf its
/// friend, or velDescribe public, and is registered at its first use.
/// Names are literals.
template <class C>
class velDescription {
 public:
  /// Of a type of that registered name, without attributes so far.
  explicit velDescription(const char* typeName) : name(typeName) {}

  /// Adds a parent, the class Base.
  template <class Base>
  velDescription& base() {
    parents.push_back(&Base::getClassRtti);
    return *this;
  }
  /// A member; or a getter without a setter.
  template <auto kGet>
  velDescription& attribute(const char* attributeName) {
    if constexpr (std::is_member_object_pointer<decltype(kGet)>::value) {
      return add(attributeName, &velMemberOf<C, kGet>::infoOf);
    } else {
      return add(attributeName, &velGetterOf<C, kGet, nullptr>::infoOf);
    }
  }
  /// A getter and a setter: T get() const (or not const), void set(T or const T&).
  template <auto kGet, auto kSet>
  velDescription& attribute(const char* attributeName) {
    return add(attributeName, &velGetterOf<C, kGet, kSet>::infoOf);
  }
  /// How an empty object is made; without one the type cannot be made by name.
  velDescription& creator(velS11nCreator make) {
    create = make;
    return *this;
  }
  /// Fills the descriptor in; it may be called again after std::bad_alloc.
  void install(xrttistruct* rtti) const {
    velInstallStruct(rtti, name, create, parents, attributes);
  }

 private:
  velDescription& add(const char* attributeName, velAttributeInfo (*info)(const char*)) {
    attributes.push_back({attributeName, info});
    return *this;
  }

  const char* name;
  velS11nCreator create = nullptr;
  std::vector<xrttiobject* (*)()> parents;
  std::vector<velNamedInfo> attributes;
};

/// @cond internal
/// How an empty Self is made by name; null for a class without a default constructor.
/// In the class, so that the constructor may be private.
#define VEL_CREATOR_HERE                                                  \
  template <class Self>                                                   \
  static velS11nCreator velCreator(decltype(new Self)*) {                 \
    return [](velS11nContext*) -> xobject* {                              \
      Self* const made = new Self;                                        \
      xrcattach(made);                                                    \
      return made;                                                        \
    };                                                                    \
  }                                                                       \
  template <class Self>                                                   \
  static velS11nCreator velCreator(...) {                                 \
    return nullptr;                                                       \
  }
/// @endcond

/// Gives class C its descriptor. The first argument after C is the name of the type, the
/// others are its members: none to 1,092 (more do not compile; a velDescription has
/// no limit). The access after it is public.
/// VEL_STRUCT(C, "name", x) expands to
///
///   private:
///    using velSelf = C;
///    template <class, class, class...> friend class ::velObjectOf;
///    template <class Self>                      // where `new Self` compiles
///    static velS11nCreator velCreator(decltype(new Self)*) {
///      return [](velS11nContext*) -> xobject* {
///        Self* const made = new Self;
///        xrcattach(made);
///        return made;
///      };
///    }
///    template <class Self>                      // elsewhere
///    static velS11nCreator velCreator(...) { return nullptr; }
///    static void velDescribe(xrttistruct* rtti) {
///      rtti->initializeRttiObject("name", 1, 0, nullptr);   // see getClassRtti
///      static_assert(std::is_base_of<velSelfOf<velSelf>, velSelf>::value, "'C' must ...");
///      velSelf::velInitialize(
///          rtti, "name", velCreator<velSelf>(nullptr),
///          {velMemberOf<velSelf, &velSelf::x>::info("x", "_s11n_setx"),});
///    }
///    static inline const velRegistrar velRegistered{&C::getClassRtti};   // at load
///
///   public:
///    static const char* velTypeName(::velNameTag<C>) { return "name"; }
#define VEL_STRUCT(C, ...)                                                \
 private:                                                                 \
  using velSelf = C;                                                      \
  template <class, class, class...>                                       \
  friend class ::velObjectOf;                                             \
  VEL_CREATOR_HERE                                                        \
  static void velDescribe(xrttistruct* rtti) {                            \
    rtti->initializeRttiObject(VEL_FIRST(__VA_ARGS__), 1, 0, nullptr);    \
    VEL_CHECK_BASE(C, "velStruct")                                        \
    velSelf::velInitialize(                                               \
        rtti, VEL_FIRST(__VA_ARGS__), velCreator<velSelf>(nullptr),       \
        {VEL_FOR_EACH_BUT_FIRST(VEL_MEMBER_INFO, __VA_ARGS__)});          \
  }                                                                       \
  static inline const velRegistrar velRegistered{&C::getClassRtti};       \
                                                                          \
 public:                                                                  \
  static const char* velTypeName(::velNameTag<C>) { return VEL_FIRST(__VA_ARGS__); }

/// @cond internal
#define VEL_CHECK_BASE(C, base)                                                         \
  static_assert(std::is_base_of<velSelfOf<velSelf>, velSelf>::value,                    \
                "'" #C "' must derive from " base "<" #C ", bases...>, not from a base itself");
#define VEL_MEMBER_INFO_OF(name) \
  velMemberOf<velSelf, &velSelf::name>::info(#name, "_s11n_set" #name)
#define VEL_MEMBER_INFO(name) VEL_MEMBER_INFO_OF(name),
/// @endcond

#endif  // VELSTD_VELEXT_VELSTRUCT_H
