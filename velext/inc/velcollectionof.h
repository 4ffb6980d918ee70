// velcollectionof.h - sequences and dictionaries of your own types.
//
//   using PointSeq = velSequenceOf<Point>;         // "demo::Pointseq", of handles
//   using ColorMap = velDictionaryOf<Color>;       // "demo::Colordict"
//   auto points = PointSeq::create();
//   points->append(velNew<Point>());
//
// velSequenceOf<int> is xintsequence, and so on for bool, double, xstring and xany.
// Those of classes, of enumerations of VEL_ENUM and of xrcunihandle<xobject> are classes
// of their own, with everything that the standard ones have: a
// descriptor, registered by name when a program first uses them, casts, create(),
// createCapacity(). An object element may be null, which reads as nil. There are no others
// (no std::string, float or std::int64_t): they would have the names of these.
// They are made and written by name, too (velwrites.h). A class may have collections of
// itself, and of a class that is only declared so far.
// Threads and ownership: as the templates (xtbsequence.h, xtbdictionary.h).
#ifndef VELSTD_VELEXT_VELCOLLECTIONOF_H
#define VELSTD_VELEXT_VELCOLLECTIONOF_H

#include <string>
#include <type_traits>

#include "velcollectionrtti.h"
#include "velmember.h"
#include "velrange.h"
#include "velstruct.h"
#include "velwrites.h"
#include "xcollections.h"

/// The name of a type. Throws velXNativeException "Type is not described yet" for one
/// that has none: a class described by hand, of whose collections its own description
/// needs one before it has named itself (by initializeRttiObject).
VELSTD_API std::string velNameOfType(xrtti* type);

/// The name of the type of elements E, if it can be without its descriptor, which may be
/// about to be made.
template <class E, class = void>
struct velElementName {
  /// The name. Throws as velNameOfType().
  static std::string get() { return velNameOfType(velMember<E>::type()); }
};

/// @cond internal
template <class C>
struct velElementName<xrchandle<C>, std::void_t<decltype(C::velTypeName(velNameTag<C>()))>> {
  static std::string get() { return C::velTypeName(velNameTag<C>()); }
};
/// @endcond

/// Whether a class is kept by value; any other is one of objects, even while it is only
/// declared, as a class is in its own definition.
template <class T>
struct velIsKeptByValue : std::false_type {};

/// @cond internal
template <>
struct velIsKeptByValue<xstring> : std::true_type {};
template <>
struct velIsKeptByValue<xany> : std::true_type {};
template <>
struct velIsKeptByValue<std::string> : std::true_type {};
template <class C>
struct velIsKeptByValue<xrchandle<C>> : std::true_type {};
template <class C>
struct velIsKeptByValue<xrcunihandle<C>> : std::true_type {};
template <class T>
struct velIsKeptByValue<std::optional<T>> : std::true_type {};
/// @endcond

/// What a collection of T keeps: a handle for an object, else the value.
template <class T>
using velKept = std::conditional_t<std::is_class<T>::value && !velIsKeptByValue<T>::value,
                                   xrchandle<T>, T>;

/// @cond internal
/// What the descriptor of sequence class C with elements of type E calls.
template <class C, class E>
struct velElementFunctions {
  static int size(xobject* sequence) { return velView<C>(sequence)->getarraysize(); }
  static xany element(xobject* sequence, int index) {
    return velMember<E>::read(velView<C>(sequence)->get(index));
  }
  static void set(xobject* sequence, int index, const xany& value) {
    C* const own = velView<C>(sequence);
    const int size = own->getarraysize();
    own->set(index < size ? index : size, velMember<E>::write(value));
  }
  static void remove(xobject* sequence, int index) {
    C* const own = velView<C>(sequence);
    if (index >= own->getarraysize()) velhThrowInvalidSeqIndex(own, index);
    own->removerange(index, index + 1);
  }
  static constexpr velWrites kWrites = {&velMake<C>, &set, &remove, nullptr, nullptr, nullptr};
};

template <class E>
using velSequenceBase =
    std::conditional_t<std::is_class<E>::value, xtcsequence<E>, xtssequence<E>>;
/// @endcond

/// A sequence of elements of type E.
template <class E>
class velSequenceClass
    : public velObjectOf<velSequenceClass<E>, xrttisequence, velSequenceBase<E>> {
  VEL_CHECK_ELEMENT(E);
  using Base = velObjectOf<velSequenceClass<E>, xrttisequence, velSequenceBase<E>>;

 public:
  /// Empty, with room for `capacity` elements, and with count 0, see create(). Throws as
  /// createCapacity().
  explicit velSequenceClass(unsigned capacity = 0) : Base(capacity) {}
  /// A new, empty sequence, held by the handle alone. Throws std::bad_alloc.
  static xrchandle<velSequenceClass> create() { return new velSequenceClass; }
  /// The same with room for `n` elements; `n` is taken as signed, below 1 reserves
  /// nothing. Throws std::bad_alloc, and the size limit error.
  static xrchandle<velSequenceClass> createCapacity(unsigned n) { return new velSequenceClass(n); }

  /// The registered name.
  static std::string velTypeName(velNameTag<velSequenceClass>) {
    return velElementName<E>::get() + "seq";
  }

 private:
  template <class, class, class...>
  friend class ::velObjectOf;

  static void velDescribe(xrttisequence* rtti) {
    using Functions = velElementFunctions<velSequenceClass, E>;
    const std::string name = velTypeName(velNameTag<velSequenceClass>());
    rtti->initializeRttiObject(name.c_str(), 1, 0, nullptr);
    xrtti* const type = velMember<E>::type();
    velSetCreatorAndWrites(rtti, &Functions::kWrites);
    rtti->initializeRttiSeq(name.c_str(), 1, type, velMember<E>::kOptional,
                            &Functions::size, &Functions::element);
  }
};

/// @cond internal
/// What the descriptor of dictionary class C with values of type E calls.
template <class C, class E>
struct velEntryFunctions {
  static int size(xobject* dictionary) { return velView<C>(dictionary)->getmapsize(); }
  static unsigned char find(xobject* dictionary, const char* key, xany* value) {
    E found{};
    return store(velView<C>(dictionary)->find(key, &found), found, value);
  }
  static unsigned char key(xobject* dictionary, int index, xstring* key) {
    return velView<C>(dictionary)->getkeybyindex(index, key);
  }
  static unsigned char value(xobject* dictionary, int index, xany* value) {
    E found{};
    return store(velView<C>(dictionary)->getbyindex(index, &found), found, value);
  }
  static void set(xobject* dictionary, const char* key, const xany& value) {
    velView<C>(dictionary)->set(key, velMember<E>::write(value));
  }
  static bool remove(xobject* dictionary, const char* key) {
    return velView<C>(dictionary)->remove(key);
  }
  static constexpr velWrites kWrites = {&velMake<C>, nullptr, nullptr, &set, &remove, nullptr};

 private:
  static unsigned char store(bool isThere, const E& found, xany* value) {
    if (isThere && value) *value = velMember<E>::read(found);
    return isThere;
  }
};

template <class E>
using velDictionaryBase =
    std::conditional_t<std::is_class<E>::value, xtcdictionary<E>, xtsdictionary<E>>;
/// @endcond

/// A dictionary of values of type E.
template <class E>
class velDictionaryClass
    : public velObjectOf<velDictionaryClass<E>, xrttidictionary, velDictionaryBase<E>> {
  VEL_CHECK_ELEMENT(E);
  using Base = velObjectOf<velDictionaryClass<E>, xrttidictionary, velDictionaryBase<E>>;

 public:
  /// Empty, with a table for `capacity` entries, and with count 0, see create(). Throws
  /// as createCapacity().
  explicit velDictionaryClass(int capacity = 0) : Base(capacity) {}
  /// A new, empty dictionary, held by the handle alone. Throws std::bad_alloc.
  static xrchandle<velDictionaryClass> create() { return new velDictionaryClass; }
  /// The same with a table for `n` entries; `n` is taken as signed, below 1 reserves
  /// nothing. Throws std::bad_alloc, and the size limit error.
  static xrchandle<velDictionaryClass> createCapacity(unsigned n) {
    return new velDictionaryClass(static_cast<int>(n));
  }

  /// The registered name.
  static std::string velTypeName(velNameTag<velDictionaryClass>) {
    return velElementName<E>::get() + "dict";
  }

 private:
  template <class, class, class...>
  friend class ::velObjectOf;

  static void velDescribe(xrttidictionary* rtti) {
    using Functions = velEntryFunctions<velDictionaryClass, E>;
    const std::string name = velTypeName(velNameTag<velDictionaryClass>());
    rtti->initializeRttiObject(name.c_str(), 1, 0, nullptr);
    xrtti* const type = velMember<E>::type();
    velSetCreatorAndWrites(rtti, &Functions::kWrites);
    rtti->initializeRttiDict(name.c_str(), 1, type, velMember<E>::kOptional,
                             &Functions::size, &Functions::find, &Functions::key,
                             &Functions::value);
  }
};

/// @cond internal
/// Which class is the sequence, and the dictionary, of E.
template <class E>
struct velCollectionsOf {
  using Sequence = velSequenceClass<E>;
  using Dictionary = velDictionaryClass<E>;
};
template <>
struct velCollectionsOf<bool> : velCollections<bool> {};
template <>
struct velCollectionsOf<unsigned char> : velCollections<bool> {};
template <>
struct velCollectionsOf<int> : velCollections<int> {};
template <>
struct velCollectionsOf<double> : velCollections<double> {};
template <>
struct velCollectionsOf<xstring> : velCollections<xstring> {};
template <>
struct velCollectionsOf<xany> : velCollections<xany> {};

/// What velSequence() and velDictionary() (velrange.h) make of values of type E.
template <class E>
struct velCollections {
  using Sequence = velSequenceClass<E>;
  using Dictionary = velDictionaryClass<E>;
  using Element = E;
};
/// @endcond

/// The sequence of values of type T, or of handles on objects of class T.
template <class T>
using velSequenceOf = typename velCollectionsOf<velKept<T>>::Sequence;
/// The dictionary of values of type T, or of handles on objects of class T.
template <class T>
using velDictionaryOf = typename velCollectionsOf<velKept<T>>::Dictionary;

#endif  // VELSTD_VELEXT_VELCOLLECTIONOF_H
