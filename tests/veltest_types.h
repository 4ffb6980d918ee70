// veltest_types.h - types made of data, and a visitor that tells all it sees.
//
// A VelThing is an object of any type: it answers the descriptor that it was
// given. The descriptors below may have parents whatever their kind, and read
// their parts out of a VelThing, where each part is a function: it may fail,
// count its calls or make a new object.
#ifndef VELSTD_TESTS_VELTEST_TYPES_H
#define VELSTD_TESTS_VELTEST_TYPES_H

#include <functional>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "velstd.h"
#include "veltest.h"

class VelThing : public virtual xobject {
 public:
  using Value = std::function<xany()>;
  struct Entry {
    std::function<bool(xstring*)> key;
    std::function<bool(xany*)> value;
  };

  explicit VelThing(xrttiobject* type) : type_(type) { ++alive(); }
  ~VelThing() override { --alive(); }

  /// Things that exist.
  static int& alive() {
    static int count = 0;
    return count;
  }
  static VelThing& of(xobject* object) { return dynamic_cast<VelThing&>(*object); }

  std::map<std::string, Value> values;  ///< attributes by name
  std::vector<Value> items;             ///< elements, row by row
  std::vector<Entry> entries;           ///< of a dictionary
  std::function<int()> count;           ///< if set, answers the number of elements or entries

 private:
  xrttiobject* giveRtti() override { return type_; }

  xrttiobject* type_;
};

/// A part that always has the same value.
inline VelThing::Value velGives(const xany& value) {
  return [value] { return value; };
}

/// An entry of a dictionary.
inline VelThing::Entry velThingEntry(std::string key, const xany& value) {
  return {[key = std::move(key)](xstring* out) {
            *out = xstring(key.c_str());
            return true;
          },
          [value](xany* out) {
            *out = value;
            return true;
          }};
}

/// An attribute that is found in a thing's values; there, what is missing is uninit.
class VelAttr : public xrttiattr {
 public:
  explicit VelAttr(const char* attrName, xrtti* attrType = velGetRtti_any())
      : xrttiattr(attrName, attrType, 1, nullptr) {}
  xany getValue(xobject* owner) override {
    const std::string key = getName().IsNull() ? "" : getName().CastToCString();
    const auto& values = VelThing::of(owner).values;
    const auto found = values.find(key);
    return found == values.end() ? xany() : found->second();
  }
};

/// Any kind of descriptor with parents, which need not exist when it is made.
template <class Kind>
class VelTyped : public Kind {
 public:
  using Parents = std::vector<xrttiobject*>;
  explicit VelTyped(Parents list = {}) : parentList(std::move(list)) {}
  int getNParents() override { return static_cast<int>(parentList.size()); }
  xrttiobject* getParent(int index) override {
    return index < 0 || index >= getNParents() ? nullptr
                                               : parentList[static_cast<std::size_t>(index)];
  }
  Parents parentList;
};

class VelPlainType : public VelTyped<xrttiobject> {
 public:
  explicit VelPlainType(const char* typeName, Parents above = {}, bool counted = true)
      : VelTyped(std::move(above)) {
    initializeRttiObject(typeName, counted, 0, nullptr);
  }
};

class VelStructType : public VelTyped<xrttistruct> {
 public:
  VelStructType(const char* typeName, Parents above, std::vector<xrttiattr*> attributes,
                bool counted = true)
      : VelTyped(std::move(above)), list(std::move(attributes)) {
    initializeRttiStruct(typeName, counted, 0, nullptr, static_cast<int>(list.size()), list.data());
  }

 private:
  std::vector<xrttiattr*> list;
};

class VelSeqType : public VelTyped<xrttisequence> {
 public:
  explicit VelSeqType(const char* typeName, Parents above = {}) : VelTyped(std::move(above)) {
    initializeRttiSeq(typeName, 1, velGetRtti_any(), 1, nullptr, nullptr);
  }
  int getSize(xobject* sequence) override {
    const VelThing& thing = VelThing::of(sequence);
    return thing.count ? thing.count() : static_cast<int>(thing.items.size());
  }
  xany getElemValue(xobject* sequence, int index) override {
    return VelThing::of(sequence).items.at(static_cast<std::size_t>(index))();
  }
};

class VelDictType : public VelTyped<xrttidictionary> {
 public:
  explicit VelDictType(const char* typeName, Parents above = {}) : VelTyped(std::move(above)) {
    initializeRttiDict(typeName, 1, velGetRtti_any(), 1, nullptr, nullptr, nullptr, nullptr);
  }
  int getSize(xobject* dictionary) override {
    const VelThing& thing = VelThing::of(dictionary);
    return thing.count ? thing.count() : static_cast<int>(thing.entries.size());
  }
  unsigned char getElemKeyByIdx(xobject* dictionary, int index, xstring* key) override {
    return VelThing::of(dictionary).entries.at(static_cast<std::size_t>(index)).key(key);
  }
  unsigned char getElemValueByIdx(xobject* dictionary, int index, xany* value) override {
    return VelThing::of(dictionary).entries.at(static_cast<std::size_t>(index)).value(value);
  }
};

class VelArrayType : public VelTyped<xrttiarray> {
 public:
  VelArrayType(const char* typeName, std::vector<int> dimensions, Parents above = {})
      : VelTyped(std::move(above)), sizes(std::move(dimensions)) {
    initializeRttiArray(typeName, 1, static_cast<int>(sizes.size()), sizes.data(), velGetRtti_any(),
                        1, nullptr);
  }
  using xrttiarray::getElemValue;
  xany getElemValue(xobject* array, int* indices) override {
    std::size_t place = 0;
    for (std::size_t d = 0; d < sizes.size(); ++d) {
      place = place * static_cast<std::size_t>(sizes[d]) + static_cast<std::size_t>(indices[d]);
    }
    return VelThing::of(array).items.at(place)();
  }

 private:
  std::vector<int> sizes;
};

class VelUnionType : public VelTyped<xrttiunion> {
 public:
  struct Branch {
    int label;
    xrttiattr* attr;
  };
  VelUnionType(const char* typeName, xrttiattr* discriminator, const std::vector<Branch>& branches,
               xrttiattr* fallback, Parents above = {})
      : VelTyped(std::move(above)) {
    for (const Branch& branch : branches) {
      branchLabels.push_back(branch.label);
      branchAttrs.push_back(branch.attr);
    }
    initializeRttiUnion(typeName, 1, 0, nullptr, discriminator, static_cast<int>(branches.size()),
                        branchLabels.data(), branchAttrs.data(), fallback);
  }

 private:
  std::vector<int> branchLabels;
  std::vector<xrttiattr*> branchAttrs;
};

/// One call of a visitor: its operation, and whichever arguments it has.
struct VelEvent {
  std::string operation;
  xrtti* type = nullptr;
  xrttiattr* attr = nullptr;
  xobject* object = nullptr;  ///< the exception of errorOccured
  std::string detail;         ///< number, key, index, value or text
  xintsequence* index = nullptr;

  std::string text() const {
    const auto nameOf = [](auto* d) { return velText(d->getName()); };
    std::string all = operation + '(';
    if (type) all += nameOf(type);
    if (attr) all += '.' + nameOf(attr);
    if (!detail.empty()) all += ' ' + detail;
    return all + ')';
  }

  static std::string velText(const xstring& s) { return s.IsNull() ? "null" : s.CastToCString(); }
};

/// A visitor whose operations all come to one function.
class VelEventTraverser : public velTraverser {
 public:
  using Handler = std::function<velTraverseResult(const VelEvent&)>;
  explicit VelEventTraverser(Handler handle) : handler(std::move(handle)) {}

#define VEL_EVENT_OBJECT(operation, Type)                                          \
  velTraverseResult operation(Type* type, xrcunihandle<xobject> object) override { \
    return handler({#operation, type, nullptr, object, "", nullptr});              \
  }
#define VEL_EVENT_ATTR(operation, Type)                                                    \
  velTraverseResult operation(Type* type, xrttiattr* attr, xrcunihandle<xobject> object)   \
      override {                                                                           \
    return handler({#operation, type, attr, object, attr ? "" : "no attribute", nullptr}); \
  }
#define VEL_EVENT_PLACE(operation, Type, Place, shown)                                          \
  velTraverseResult operation(Type* type, Place place, xrcunihandle<xobject> object) override { \
    return handler({#operation, type, nullptr, object, shown, nullptr});                        \
  }
  VEL_EVENT_OBJECT(beginObject, xrttiobject)
  VEL_EVENT_OBJECT(endObject, xrttiobject)
  VEL_EVENT_OBJECT(beginStructure, xrttistruct)
  VEL_EVENT_OBJECT(endStructure, xrttistruct)
  VEL_EVENT_ATTR(beginStructAttribute, xrttistruct)
  VEL_EVENT_ATTR(endStructAttribute, xrttistruct)
  VEL_EVENT_OBJECT(beginSequence, xrttisequence)
  VEL_EVENT_OBJECT(endSequence, xrttisequence)
  VEL_EVENT_PLACE(beginSeqElement, xrttisequence, int, std::to_string(place))
  VEL_EVENT_PLACE(endSeqElement, xrttisequence, int, std::to_string(place))
  VEL_EVENT_OBJECT(beginDictionary, xrttidictionary)
  VEL_EVENT_OBJECT(endDictionary, xrttidictionary)
  VEL_EVENT_PLACE(beginDictElement, xrttidictionary, xstring, VelEvent::velText(place))
  VEL_EVENT_PLACE(endDictElement, xrttidictionary, xstring, VelEvent::velText(place))
  VEL_EVENT_OBJECT(beginArray, xrttiarray)
  VEL_EVENT_OBJECT(endArray, xrttiarray)
  VEL_EVENT_OBJECT(beginUnion, xrttiunion)
  VEL_EVENT_OBJECT(endUnion, xrttiunion)
  VEL_EVENT_ATTR(beginUnionDicriminator, xrttiunion)
  VEL_EVENT_ATTR(endUnionDicriminator, xrttiunion)
  VEL_EVENT_ATTR(beginUnionValue, xrttiunion)
  VEL_EVENT_ATTR(endUnionValue, xrttiunion)
#undef VEL_EVENT_OBJECT
#undef VEL_EVENT_ATTR
#undef VEL_EVENT_PLACE

  velTraverseResult beginArrayDimension(xrttiarray* type, int dimension,
                                        xrchandle<xintsequence> index,
                                        xrcunihandle<xobject> object) override {
    return handler({"beginArrayDimension", type, nullptr, object,
                    std::to_string(dimension) + ' ' + show(index), index});
  }
  velTraverseResult endArrayDimension(xrttiarray* type, int dimension,
                                      xrchandle<xintsequence> index,
                                      xrcunihandle<xobject> object) override {
    return handler({"endArrayDimension", type, nullptr, object,
                    std::to_string(dimension) + ' ' + show(index), index});
  }
  velTraverseResult beginArrayElement(xrttiarray* type, xrchandle<xintsequence> index,
                                      xrcunihandle<xobject> object) override {
    return handler({"beginArrayElement", type, nullptr, object, show(index), index});
  }
  velTraverseResult endArrayElement(xrttiarray* type, xrchandle<xintsequence> index,
                                    xrcunihandle<xobject> object) override {
    return handler({"endArrayElement", type, nullptr, object, show(index), index});
  }
  velTraverseResult simpleValue(xany value) override {
    return handler({"simpleValue", nullptr, nullptr, nullptr, show(value), nullptr});
  }
  velTraverseResult enumValue(xrttienum* type, int value) override {
    return handler({"enumValue", type, nullptr, nullptr, std::to_string(value), nullptr});
  }
  velTraverseResult errorOccured(const char* text, xrcunihandle<xthrowable> exception) override {
    xobject* object = exception.isnull() ? nullptr : velAsObject(exception.operator->());
    return handler({"errorOccured", nullptr, nullptr, object, text, nullptr});
  }
  velTraverseResult alreadyVisited(xrcunihandle<xobject> object) override {
    return handler({"alreadyVisited", nullptr, nullptr, object, "", nullptr});
  }

 private:
  static std::string show(const xrchandle<xintsequence>& index) {
    std::string out = "[";
    for (int i = 0; i < index->getarraysize(); ++i) {
      out += (i ? "," : "") + std::to_string(index->get(i));
    }
    return out + ']';
  }
  // The kind in front: 1, true and "1" are different things.
  static std::string show(const xany& value) {
    std::string out = std::to_string(static_cast<int>(value.getkind()));
    if (value.getkind() == xanyInt) out += ' ' + std::to_string(value.operator int());
    if (value.getkind() == xanyBool) out += value.operator unsigned char() ? " true" : " false";
    if (value.getkind() == xanyReal) out += ' ' + std::to_string(value.operator double());
    if (value.getkind() == xanyString) out += ' ' + VelEvent::velText(value.operator xstring());
    return out;
  }

  Handler handler;
};

// ---- what the tests of the walk share ----

using VelThingHandle = xrchandle<VelThing>;
inline VelThingHandle velNewThing(xrttiobject* type) { return new VelThing(type); }

/// The calls of a walk.
inline std::string velWalked(const xany& value) {
  LogTraverser log;
  velTraverse(value, &log);
  return log.text();
}

/// The same with the declaring types, kinds and members of each call.
inline std::string velWalkedInFull(const xany& value) {
  std::string log;
  VelEventTraverser visitor([&](const VelEvent& event) {
    log += (log.empty() ? "" : " ") + event.text();
    return velTrContinue;
  });
  velTraverse(value, &visitor);
  return log;
}

/// How often `part` stands in `text`.
inline int velCountOf(const std::string& text, const std::string& part) {
  int count = 0;
  for (std::size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) {
    ++count;
  }
  return count;
}

/// An exception of which there is a census.
class VelCountedThrow : public xthrowable {
 public:
  VelCountedThrow() { ++alive(); }
  ~VelCountedThrow() override { --alive(); }
  static int& alive() {
    static int count = 0;
    return count;
  }
};

// Parts that cannot be read.
[[noreturn]] inline xany velThrowsVel() { xthrow(xrcunihandle<xthrowable>(new VelCountedThrow)); }
[[noreturn]] inline xany velThrowsInt() { throw 7; }
[[noreturn]] inline xany velThrowsStop() { throw velTraverseXStop(); }

#endif  // VELSTD_TESTS_VELTEST_TYPES_H
