// velstd_c_model.h - what the fuzzer of the C interface knows of objects and values,
// and where it takes its arguments from. For velstd_c_fuzz.cpp alone.
//
// The model holds a Ref wherever the library holds a reference on an object, so
// the number of Refs is the count that the object must have.
#ifndef VELSTD_FUZZ_VELSTD_C_MODEL_H
#define VELSTD_FUZZ_VELSTD_C_MODEL_H

#include <algorithm>
#include <cstring>
#include <initializer_list>
#include <limits>
#include <map>
#include <memory>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "veldeprecation.h"
#include "velexceptions.h"
#include "velfuzz.h"
#include "velrtti.h"
#include "velstd_c.h"
#include "veltest_dictmodel.h"
#include "xcollections.h"

namespace velcmodel {

struct Object;
using Ref = std::shared_ptr<Object>;

/// A value of any of the types that cross the interface.
struct Value {
  /// That of a number nobody has written yet.
  static constexpr int kUnknown = -1;

  int kind = xanyUninit;  ///< as of a variant; also of elements that are none
  int number = 0;         ///< also a truth, and that of an enumeration
  double real = 0;
  std::string text;
  bool isNull = false;  ///< the null string, where it is a string all the same
  xrtti* type = nullptr;
  Ref object = nullptr;

  static Value OfKind(int kind, int number = 0) {
    Value value;
    value.kind = kind;
    value.number = number;
    return value;
  }
  static Value OfReal(double real) {
    Value value = OfKind(xanyReal);
    value.real = real;
    return value;
  }
  static Value OfText(const std::string& text) {
    Value value = OfKind(xanyString);
    value.text = text;
    return value;
  }
  static Value NullText() {
    Value value = OfKind(xanyString);
    value.isNull = true;
    return value;
  }
  static Value OfObject(Ref object) {
    Value value = OfKind(xanyObject);
    value.object = std::move(object);
    return value;
  }
};

/// An object of the library, and what must be in it.
struct Object {
  explicit Object(xobject* modelled) : object(modelled) {
    const auto add = [&](void* part) {
      if (part && std::count(parts.begin(), parts.end(), part) == 0) parts.push_back(part);
    };
    add(object);
    add(dynamic_cast<void*>(object));
    add(dynamic_cast<xthrowable*>(object));
    add(dynamic_cast<xrtti*>(object));
    add(dynamic_cast<xrttiobject*>(object));
    ++alive();
  }
  ~Object() { --alive(); }
  Object(const Object&) = delete;
  Object& operator=(const Object&) = delete;

  /// Those that exist.
  static int& alive() {
    static int count = 0;
    return count;
  }

  xobject* object;
  std::vector<void*> parts;             ///< addresses that stand for the object in C
  std::vector<Value> elements;          ///< of a sequence
  VelDictModel slots{{70, 90}};         ///< of a dictionary, without the values
  std::map<std::string, Value> values;  ///< of a dictionary by key, else attributes by name
  std::string attribute;                ///< the name of a descriptor of one
  int kind = 0;                         ///< of a descriptor
};

/// What is pending: the name of its type, and what it holds a reference on.
struct Fault {
  const char* type = nullptr;
  Ref about = nullptr;
  explicit operator bool() const { return type != nullptr; }
};

// ---- the types of elements ----

/// The type in C++ that Flat stands for.
template <class Flat>
struct CppOf {
  using Type = Flat;
};
template <>
struct CppOf<__xstring_c> {
  using Type = xstring;
};
template <>
struct CppOf<__xany_c> {
  using Type = xany;
};

/// What a function for a Flat gives on an error.
template <class Flat>
Value ErrorOf() {
  if (std::is_same<Flat, int>::value) return Value::OfKind(xanyInt, VEL_ERROR_INT);
  if (std::is_same<Flat, unsigned char>::value) {
    return Value::OfKind(xanyBool, VEL_ERROR_BOOL);
  }
  if (std::is_same<Flat, double>::value) return Value::OfReal(VEL_ERROR_REAL);
  if (std::is_same<Flat, __xstring_c>::value) return Value::OfText("uninit");
  return Value();
}

/// What an element is that was made in passing; what is handed back where nothing is found.
template <class Flat>
Value EmptyOf() {
  if (std::is_scalar<Flat>::value) return Value::OfKind(Value::kUnknown);
  return std::is_same<Flat, __xstring_c>::value ? Value::NullText() : Value();
}

inline __xstring_c Flatten(const xstring& text) { return text.getxstring_c(); }
inline __xany_c Flatten(const xany& value) { return value.getxany_c(); }
template <class Number>
Number Flatten(Number value) {
  return value;
}

inline bool IsSame(int got, const Value& value) {
  return value.kind == Value::kUnknown || got == value.number;
}
inline bool IsSame(double got, const Value& value) {
  // By its bits: not even a NaN becomes another one.
  return value.kind == Value::kUnknown || std::memcmp(&got, &value.real, sizeof got) == 0;
}
inline bool IsSame(__xstring_c got, const Value& value) {
  if (!value.isNull) return got.buffer && xstrgetmb_c(&got) == value.text;
  return !got.buffer && reinterpret_cast<std::uintptr_t>(got.narrow) == 1 &&
         reinterpret_cast<std::uintptr_t>(got.wide) == 1;
}
inline bool IsSame(const __xany_c& got, const Value& value) {
  if (got.kind != value.kind) return false;
  switch (value.kind) {
    case xanyInt:
      return IsSame(got.u.i, value);
    case xanyBool:
      return IsSame(got.u.b, value);
    case xanyReal:
      return IsSame(got.u.d, value);
    case xanyString:
      return IsSame(got.u.s, value);
    case xanyEnum:
      return got.u.e.value == value.number && got.u.e.rtti == value.type;
    case xanyObject:
      return got.u.o == value.object->object;
    default:
      return true;
  }
}

template <class Number>
void GiveBack(Number&) {}
inline void GiveBack(__xstring_c& text) { xstrunlock_c(&text); }
inline void GiveBack(__xany_c& value) { xanyunlock_c(&value); }

/// Whether `got` (owned) is that value; gives it back.
template <class Flat>
bool Takes(Flat got, const Value& value) {
  const bool isSame = IsSame(got, value);
  GiveBack(got);
  return isSame;
}

constexpr char kNull[] = "vellib::XNull";
constexpr char kUninit[] = "vellib::XNotInitialized";
constexpr char kMismatch[] = "vellib::XTypeMismatch";
constexpr char kNegative[] = "vellib::XNegativeIndex";
constexpr char kSeqIndex[] = "vellib::XInvalidSeqIndex";
constexpr char kDictIndex[] = "vellib::XInvalidDictIndex";
constexpr char kDictKey[] = "vellib::XInvalidDictKey";
constexpr char kNative[] = "vellib::XNativeException";
// Pending: an exception of the caller's, and the uninitialised address.
constexpr char kGiven[] = "given";
constexpr char kAddress[] = "uninitialised address";

// ---- types of this fuzzer ----

// How many there are of a class that has one as a member.
template <class C>
struct Census {
  Census() { ++alive(); }
  ~Census() { --alive(); }
  Census(const Census&) = delete;
  Census& operator=(const Census&) = delete;
  static int& alive() {
    static int count = 0;
    return count;
  }
};

// An attribute of each kind.
class Thing : public virtual xobject {
  VEL_ATTRIBUTED(Thing, xobject())
  VEL_ATTRIBUTE(int, Number)
  VEL_ATTRIBUTE(xstring, Text)
  VEL_ATTRIBUTE(xany, Any)
  VEL_ATTRIBUTE(xrchandle<Thing>, Child)
};
VEL_ATTRIBUTED_RTTI(Thing, "fuzz::Thing", nullptr, VEL_ATTRIBUTE_INFO(Number),
                    VEL_ATTRIBUTE_INFO(Text), VEL_ATTRIBUTE_INFO(Any), VEL_ATTRIBUTE_INFO(Child))

// Calls any attribute deprecated that it does not have.
class Heir : public Thing, public velDeprecationSupport {
  VEL_ATTRIBUTED(Heir, Thing(context))
  VEL_ATTRIBUTE(int, Own)
};
VEL_ATTRIBUTED_RTTI(Heir, "fuzz::Heir", Thing::getClassRtti(), VEL_ATTRIBUTE_INFO(Own))

// Holds nothing, so that it ends when all have let go.
class Leaf : public virtual xobject {
  VEL_ATTRIBUTED(Leaf, xobject())
  Census<Leaf> census;

 public:
  Leaf() = default;
};
VEL_ATTRIBUTED_RTTI(Leaf, "fuzz::Leaf", nullptr)

class Uncounted : public virtual xobject {
  VEL_OBJECT(Uncounted)
  Census<Uncounted> census;
};
VEL_OBJECT_RTTI(Uncounted, xrttiobject, [](xrttiobject* rtti) {
  rtti->initializeRttiObject("fuzz::Uncounted", 0, 0, nullptr);
})

inline xrttienum* Colors() {
  static const char* const names[] = {"red", "green", "blue"};
  static xrttienum type("fuzz::Color", 3, names);
  return &type;
}

inline xrttiattr* Nameless() {
  static xrttiattr attr;
  return &attr;
}

inline xrttiarray* Grid() {
  static const int sizes[] = {2, 3};
  static xrttiarray* const type = [] {
    static xrttiarray made;
    made.initializeRttiArray("fuzz::Grid", 1, 2, sizes, velGetRtti_real(), 0, nullptr);
    return &made;
  }();
  return type;
}

inline xrttiunion* Shape() {
  static const int labels[] = {7, -1};
  static xrttiattr tag("Tag", velGetRtti_int(), 0, nullptr);
  static xrttiattr round("Round", velGetRtti_real(), 1, nullptr);
  static xrttiattr other("Other", velGetRtti_any(), 1, nullptr);
  static xrttiattr* const branches[] = {&round, &other};
  static xrttiunion* const type = [] {
    static xrttiunion made;
    made.initializeRttiUnion("fuzz::Shape", 1, 0, nullptr, &tag, 2, labels, branches, &other);
    return &made;
  }();
  return type;
}

// ---- arguments ----

struct Handed {
  void* address;
  Ref ref;  // null for null and the uninitialised address
  template <class T>
  T* as() const {
    return static_cast<T*>(address);
  }
};

// Narrow text, or one of the addresses 0, 1 and 2.
struct Narrow {
  std::string text;
  bool isNull;
  std::uintptr_t marker;
  const char* at() const {
    return marker < 3 ? reinterpret_cast<const char*>(marker) : text.c_str();
  }
};

// A value to be stored; `fault` is what is wrong with the record.
template <class Flat>
struct Given {
  Flat flat;
  Value value;
  Fault fault;
};

// What is wrong with an argument that must be a D.
template <class D>
Fault Wrong(const Handed& handed) {
  if (!handed.address) return {kNull};
  if (!handed.ref) return {kUninit};
  if (dynamic_cast<D*>(handed.ref->object)) return {};
  return {kMismatch, handed.ref};
}

inline Fault First(const Fault& one, const Fault& other) { return one ? one : other; }

constexpr int kMostElements = 1000;
constexpr std::size_t kRecords = 5;
constexpr std::size_t kLeaves = 3;
// Names of attributes and types, one of neither.
constexpr const char* kNames[] = {"Number",      "Text",         "Any",      "Child", "Own",
                                  "Description", "VelObject",    "TypeName", "Index", "fuzz::Thing",
                                  "fuzz::Leaf",  "fuzz::Heir",   "int",      "red",   "blue",
                                  "absent",      "vellib::XNull"};

inline bool IsMade(const std::string& typeName) {
  return typeName.find("fuzz::") == 0 || typeName == kNull;
}

// ---- the objects, the records, and what is pending ----

class World {
 protected:
  explicit World(velFuzzInput input) : in(input), texts(kRecords), records(kRecords) {
    for (Text& text : texts) xstrcreate_c(&text.record, nullptr);
    for (Record& record : records) record.record = xanyuninit_c();
    // These register the types that are made by name below.
    AddType(velGetRtti_int(), xrttiKindBasic);
    AddType(Colors(), xrttiKindEnum);
    AddType(velGetRtti_object(), xrttiKindObject);
    AddType(Thing::getClassRtti(), xrttiKindStruct);
    AddType(Heir::getClassRtti(), xrttiKindStruct);
    AddType(Leaf::getClassRtti(), xrttiKindStruct);
    AddType(velXTypeMismatch::getClassRtti(), xrttiKindStruct);
    AddType(Shape(), xrttiKindUnion);
    AddType(Grid(), xrttiKindArray);
    AddType(xanysequence::getClassRtti(), xrttiKindSequence);
    AddType(xrealdictionary::getClassRtti(), xrttiKindDictionary);
    for (int i = 0; i < 2; ++i) {
      Add(xboolsequence_create());
      Add(xintsequence_create());
      Add(xrealsequence_create());
      Add(xstringsequence_create());
      Add(xanysequence_create());
      Add(xbooldictionary_create());
      Add(xintdictionary_create());
      Add(xrealdictionary_create());
      Add(xstringdictionary_create());
      Add(xanydictionary_create());
      AddAttributed("fuzz::Thing", {"Number", "Text", "Any", "Child"});
      AddAttributed("fuzz::Heir", {"Number", "Text", "Any", "Child", "Own"});
      AddAttributed(kMismatch, {"Description", "VelObject", "TypeName"});
      AddAttributed(kNegative, {"Description", "Index"});
    }
    Add(new Uncounted);
    for (xrttiobject* owner :
         {Thing::getClassRtti(), Heir::getClassRtti(), velXTypeMismatch::getClassRtti()}) {
      auto* type = dynamic_cast<xrttistruct*>(owner);
      for (int i = 0; i < type->getNAttrs(); ++i) {
        Add(type->getAttr(i))->attribute = type->getAttr(i)->getName().CastToCString();
      }
    }
    Add(Nameless());
    others = Object::alive();
    while (leaves.size() < kLeaves) {
      leaves.push_back(pool.size());
      Add(xobjcreate_c("fuzz::Leaf"));
    }
  }
  ~World() = default;

 public:
  World(const World&) = delete;
  World& operator=(const World&) = delete;

 protected:
  struct Text {
    __xstring_c record;
    Value value = Value::NullText();
  };
  struct Record {
    __xany_c record;
    Value value = Value();
  };

  // ---- the objects ----

  // Takes the reference over.
  template <class T>
  Ref Add(T* object) {
    pool.push_back(std::make_shared<Object>(static_cast<xobject*>(object)));
    return pool.back();
  }
  void AddType(xrtti* type, int kind) { Add(type)->kind = kind; }
  void AddAttributed(const char* typeName, std::initializer_list<const char*> attributes) {
    const Ref ref = Add(xobjcreate_c(typeName));
    for (const char* name : attributes) ref->values[name] = NewAttribute(name);
  }

  static bool IsInt(const std::string& attribute) {
    return attribute == "Number" || attribute == "Own" || attribute == "Index";
  }
  static bool IsAny(const std::string& attribute) {
    return attribute == "Any" || attribute == "VelObject";
  }
  static Value NewAttribute(const std::string& name) {
    return Value::OfKind(IsInt(name) ? xanyInt : IsAny(name) ? xanyUninit : xanyNil);
  }
  // What the attribute of that name then is; false for a value that does not fit.
  static bool IsAttribute(const std::string& name, const Value& value, Value& attribute) {
    attribute = value;
    const bool isEmpty = value.kind == xanyUninit || value.kind == xanyNil;
    if (IsAny(name)) return true;
    if (IsInt(name)) {
      // As a number, this marker is one.
      if (value.kind == xanyUninit) attribute = Value::OfKind(xanyInt, VEL_ERROR_INT);
      return isEmpty || value.kind == xanyInt;
    }
    if (isEmpty || value.isNull) attribute = Value::OfKind(xanyNil);
    if (name != "Child") return isEmpty || value.kind == xanyString;
    return isEmpty || (value.object && dynamic_cast<Thing*>(value.object->object));
  }

  // All that are a D; every input has the same objects in the same places.
  template <class D>
  const std::vector<std::size_t>& PlacesOf() {
    static const std::vector<std::size_t> places = [this] {
      std::vector<std::size_t> found;
      for (std::size_t i = 0; i < pool.size(); ++i) {
        if (dynamic_cast<D*>(pool[i]->object)) found.push_back(i);
      }
      return found;
    }();
    return places;
  }

  template <class D>
  Handed Hand() {
    const unsigned sort = in.below(16);
    if (sort == 0) return {nullptr, nullptr};
    if (sort == 1) return {XUNINITOBJECT, nullptr};
    const auto& places = sort == 2 ? PlacesOf<xobject>() : PlacesOf<D>();
    const Ref& ref = pool[places[in.below(static_cast<unsigned>(places.size()))]];
    return {ref->parts[in.below(static_cast<unsigned>(ref->parts.size()))], ref};
  }

  Narrow Named() {
    const std::uintptr_t sort = in.below(16);
    if (sort < 2) return {"", true, sort};
    if (sort == 2) return {"uninit", false, sort};
    return {kNames[in.below(sizeof kNames / sizeof *kNames)], false, sort};
  }
  Narrow AnyText() {
    const std::uintptr_t sort = in.below(16);
    if (sort < 2) return {"", true, sort};
    return {sort == 2 ? "uninit" : in.text(12), false, sort};
  }

  int Index(int size) {
    switch (in.below(8)) {
      case 0:
        return in.number();
      case 1:
        return in.between(-2, 2);
      case 2:
        return size + in.between(-2, 2);
      default:
        return size > 0 ? in.between(0, 65535) % size : 0;
    }
  }

  template <class Flat>
  Given<Flat> Give() {
    if constexpr (std::is_same<Flat, int>::value) {
      const int number = in.number();
      return {number, Value::OfKind(xanyInt, number), {}};
    } else if constexpr (std::is_same<Flat, unsigned char>::value) {
      const std::uint8_t truth = in.byte();
      return {truth, Value::OfKind(xanyBool, truth), {}};
    } else if constexpr (std::is_same<Flat, double>::value) {
      const double real = in.below(8) == 0 ? VEL_ERROR_REAL : in.real();
      return {real, Value::OfReal(real), {}};
    } else if constexpr (std::is_same<Flat, __xstring_c>::value) {
      const Text& text = texts[in.below(kRecords)];
      return {text.record, text.value, {}};
    } else {
      return GiveRecord();
    }
  }

  // A record of the model's, or one that C has written itself.
  Given<__xany_c> GiveRecord() {
    __xany_c record;
    // cppcheck-suppress memsetClassFloat ; nothing is read before it is written
    std::memset(&record, 0x5a, sizeof record);
    switch (in.below(12)) {
      case 0: {
        const int kind = in.number();
        // Not through the type, which has no such value in C.
        const int written = kind < xanyUninit || kind > xanyObject ? kind : 8;
        std::memcpy(&record.kind, &written, sizeof written);
        return {record, {}, {kMismatch}};
      }
      case 1: {
        const Handed handed = Hand<xobject>();
        record.kind = xanyObject;
        record.u.o = handed.as<xobject>();
        return {record, ValueOf(handed), {}};
      }
      case 2: {
        const Handed type = Hand<xrtti>();
        Value value = Value::OfKind(xanyEnum, in.number());
        if (type.ref) value.type = dynamic_cast<xrtti*>(type.ref->object);
        record.kind = xanyEnum;
        record.u.e.value = value.number;
        record.u.e.rtti = type.as<xrtti>();
        return {record, value, type.address ? Wrong<xrtti>(type) : Fault()};
      }
      case 3: {
        const Text& text = texts[in.below(kRecords)];
        record.kind = xanyString;
        record.u.s = text.record;
        return {record, text.value, {}};
      }
      case 4:
        record.kind = xanyString;
        record.u.s = {nullptr, nullptr, nullptr};
        return {record, Value::NullText(), {}};
      default: {
        const Record& own = records[in.below(kRecords)];
        return {own.record, own.value, {}};
      }
    }
  }
  // The same at an address, or null.
  const __xany_c* At(Given<__xany_c>& given) {
    if (in.below(16) != 0) return &given.flat;
    given.fault = {kNull};
    return nullptr;
  }

  static Value ValueOf(const Handed& object) {
    if (object.ref) return Value::OfObject(object.ref);
    return Value::OfKind(object.address ? xanyUninit : xanyNil);
  }
  // The value in C++.
  static xany InCpp(const Given<__xany_c>& given) {
    if (given.value.kind == xanyObject) return xany(given.value.object->object);
    __xany_c record = given.flat;
    record.kind = static_cast<__xanykind>(given.value.kind);
    if (record.kind == xanyEnum) record.u.e.rtti = given.value.type;
    return xany(record);
  }

  // ---- what is pending ----

  // A failure is pending from now on; a success changes nothing.
  void Expect(const Fault& fault) {
    if (fault) pending = fault;
  }

  // What every function on collections does first.
  Fault Clear() {
    const bool isAddress = pending.type == kAddress;
    pending = {};
    return isAddress ? Fault{kUninit} : Fault();
  }
  template <class C>
  Fault Begin(const Handed& collection) {
    const Fault fault = Clear();
    return fault ? fault : Wrong<C>(collection);
  }

  void Check() {
    VEL_FUZZ_CHECK(xisexc_c() == (pending ? 1 : 0));
    xthrowable* const exception = xgetexc_c();
    if (!pending) {
      VEL_FUZZ_CHECK(!exception);
    } else if (pending.type == kAddress) {
      VEL_FUZZ_CHECK(velIsUninit(exception));
    } else {
      VEL_FUZZ_CHECK(exception);
      if (pending.type == kGiven) {
        VEL_FUZZ_CHECK(velAsObject(exception) == pending.about->object);
      } else {
        VEL_FUZZ_SAME(exception->getVelTypeName().CastToCString(), pending.type);
      }
      xrcrelease_c(exception);
    }
    for (const Ref& ref : pool) {
      if (ref->object->isRefCountable()) {
        VEL_FUZZ_CHECK(xrcgetcount(ref->object) == ref.use_count());
      }
    }
    VEL_FUZZ_CHECK(Census<Leaf>::alive() == Object::alive() - others);
  }

  velFuzzInput in;
  std::vector<Ref> pool;
  std::vector<std::size_t> leaves;  // their places in the pool
  int others = 0;                   // objects that are no leaves
  std::vector<Ref> attached;
  std::vector<Text> texts;
  std::vector<Record> records;
  Fault pending;
  const Ref none = std::make_shared<Object>(nullptr);  // instead of one that is refused
};

}  // namespace velcmodel

#endif  // VELSTD_FUZZ_VELSTD_C_MODEL_H
