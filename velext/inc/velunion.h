// velunion.h - values of one of several shapes.
//
//   VEL_ENUM(ShapeKind, "demo::ShapeKind", circle, square, other)
//   class Shape : public velUnion<Shape> {
//     ShapeKind kind = ShapeKind::circle;
//     double radius = 0, side = 0;
//     xstring text;
//    public:
//     VEL_UNION(Shape, "demo::Shape", kind,
//               (ShapeKind::circle, radius), (ShapeKind::square, side), (velOtherwise, text))
//   };
//
// The discriminator (an integer or an enumeration of VEL_ENUM) tells which member is the
// value; each branch names a label of that type and the member, velOtherwise the one for
// all other labels. Members are set by name like attributes; the discriminator, too.
// All else is as with VEL_STRUCT (velstruct.h).
#ifndef VELSTD_VELEXT_VELUNION_H
#define VELSTD_VELEXT_VELUNION_H

#include <initializer_list>

#include "velstruct.h"

/// The label of the branch for all labels that have none.
struct velOtherwiseLabel {};
/// The label of the branch for all labels that have none.
inline constexpr velOtherwiseLabel velOtherwise{};

/// Whether a discriminator may have that type.
template <class T>
struct velIsLabel
    : std::bool_constant<velIsEnum<T>::value ||
                         (std::is_integral<T>::value && !std::is_same<T, bool>::value &&
                          !std::is_same<T, unsigned char>::value)> {};
/// Whether a label of type X goes with such a discriminator.
template <class T, class X>
struct velIsLabelOf
    : std::bool_constant<std::is_same<X, velOtherwiseLabel>::value ||
                         std::is_convertible<X, T>::value> {};

/// One branch for velInitializeUnion.
struct velBranchInfo {
  /// The label; not looked at for velOtherwise.
  int label;
  /// Whether it is the branch for all other labels.
  bool isOtherwise;
  /// The part.
  velAttributeInfo attribute;
};
/// A branch with a label, of the type of the discriminator.
template <class Label>
velBranchInfo velBranch(std::common_type_t<Label> label, const velAttributeInfo& attribute) {
  return {static_cast<int>(label), false, attribute};
}
/// The branch for all other labels.
template <class Label>
velBranchInfo velBranch(velOtherwiseLabel, const velAttributeInfo& attribute) {
  return {0, true, attribute};
}

/// Initialises the descriptor of a counted union: as velInitializeStruct.
VELSTD_API void velInitializeUnion(xrttiunion* rtti, const char* name, velS11nCreator creator,
                                   std::initializer_list<xrttiobject*> parents,
                                   const velAttributeInfo& discriminator,
                                   std::initializer_list<velBranchInfo> branches);

/// The base of a class T with VEL_UNION.
template <class T, class... Bases>
class velUnion : public velObjectOf<T, xrttiunion, velVirtually<Bases>...> {
 protected:
  /// Fills in the descriptor, as VEL_UNION does, with the Bases as parents. Throws as
  /// velInitializeUnion.
  static void velInitialize(xrttiunion* rtti, const char* name, velS11nCreator creator,
                            const velAttributeInfo& discriminator,
                            std::initializer_list<velBranchInfo> branches) {
    velInitializeUnion(rtti, name, creator, {Bases::getClassRtti()...}, discriminator, branches);
  }
};
/// The base of a class T with VEL_UNION that has no other.
template <class T>
class velUnion<T> : public velObjectOf<T, xrttiunion, velVirtually<xobject>> {
 protected:
  /// Fills in the descriptor, as VEL_UNION does. Throws as velInitializeUnion.
  static void velInitialize(xrttiunion* rtti, const char* name, velS11nCreator creator,
                            const velAttributeInfo& discriminator,
                            std::initializer_list<velBranchInfo> branches) {
    velInitializeUnion(rtti, name, creator, {}, discriminator, branches);
  }
};

/// Gives class C, which derives from velUnion<C, bases...>, its descriptor: the name of
/// the type, the discriminator and one to 1,092 branches. The access after it is
/// public. VEL_UNION(C, "name", kind, (1, x), (velOtherwise, y)) expands as VEL_STRUCT
/// does but for
///
///   static void velDescribe(xrttiunion* rtti) {
///     rtti->initializeRttiObject("name", 1, 0, nullptr);
///     using velLabel = std::remove_const_t<decltype(velSelf::kind)>;
///     static_assert(...);                        // of the base, the types of kind and labels
///     velSelf::velInitialize(
///         rtti, "name", velCreator<velSelf>(nullptr),
///         velMemberOf<velSelf, &velSelf::kind>::info("kind", "_s11n_setkind"),
///         {velBranch<velLabel>(1, velMemberOf<velSelf, &velSelf::x>::info(...)),
///          velBranch<velLabel>(velOtherwise, velMemberOf<velSelf, &velSelf::y>::info(...)),});
///   }
#define VEL_UNION(C, TypeName, discriminator, ...)                                 \
 private:                                                                          \
  using velSelf = C;                                                               \
  template <class, class, class...>                                                \
  friend class ::velObjectOf;                                                      \
  VEL_CREATOR_HERE                                                                 \
  static void velDescribe(xrttiunion* rtti) {                                      \
    VEL_CHECK_BASE(C, "velUnion")                                                  \
    rtti->initializeRttiObject(TypeName, 1, 0, nullptr);                           \
    using velLabel = std::remove_const_t<decltype(velSelf::discriminator)>;        \
    static_assert(::velIsLabel<velLabel>::value, "the discriminator '" #discriminator \
                  "' must be an integer or an enumeration of VEL_ENUM");           \
    VEL_FOR_EACH(VEL_CHECK_BRANCH, __VA_ARGS__)                                    \
    velSelf::velInitialize(rtti, TypeName, velCreator<velSelf>(nullptr),           \
                           VEL_MEMBER_INFO_OF(discriminator),                      \
                           {VEL_FOR_EACH(VEL_BRANCH_INFO, __VA_ARGS__)});          \
  }                                                                                \
  static inline const velRegistrar velRegistered{&C::getClassRtti};                \
                                                                                   \
 public:                                                                           \
  static const char* velTypeName(::velNameTag<C>) { return TypeName; }

/// @cond internal
#define VEL_CHECK_BRANCH(branch) VEL_CHECK_BRANCH1 branch
#define VEL_CHECK_BRANCH1(label, name)                                              \
  static_assert(::velIsLabelOf<velLabel, std::decay_t<decltype(label)>>::value,     \
                "the label '" #label "' is not of the type of the discriminator");
#define VEL_BRANCH_INFO(branch) VEL_BRANCH_INFO1 branch
#define VEL_BRANCH_INFO1(label, name) velBranch<velLabel>(label, VEL_MEMBER_INFO_OF(name)),
/// @endcond

#endif  // VELSTD_VELEXT_VELUNION_H
