#include "xrtti.h"

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <limits>
#include <unordered_set>
#include <vector>

#include "korstring.h"
#include "velexceptions.h"
#include "velobject.h"
#include "velrtti.h"
#include "xany.h"
#include "xcollections.h"

namespace {

constexpr int kNone = std::numeric_limits<int>::min();

bool InRange(int index, int count) { return index >= 0 && index < count; }

// Where a search goes from a type: to what is above it, past that, or nowhere.
enum class Next { kAbove, kAside, kStop };

// Types, most of the time so few that they need no memory: a question about a
// type's ancestors can be answered when there is none.
constexpr std::size_t kFewTypes = 64;

class TypeSet {
 public:
  // False for one that is there already.
  bool insert(xrttiobject* type) {
    if (std::find(few, few + count, type) != few + count) return false;
    if (count == kFewTypes) return more.insert(type).second;
    few[count++] = type;
    return true;
  }

 private:
  xrttiobject* few[kFewTypes];
  std::size_t count = 0;
  std::unordered_set<xrttiobject*> more;
};

class TypeStack {
 public:
  bool isEmpty() const { return count == 0; }
  void push(xrttiobject* type) {
    if (count < kFewTypes) {
      few[count++] = type;
    } else {
      more.push_back(type);
    }
  }
  xrttiobject* pop() {
    if (more.empty()) return few[--count];
    xrttiobject* type = more.back();
    more.pop_back();
    return type;
  }

 private:
  xrttiobject* few[kFewTypes];
  std::size_t count = 0;
  std::vector<xrttiobject*> more;  // while the few are all in use
};

/// Calls `visit` for `type` and then for what is above it: depth first, parents
/// in order, each once. True when a visit stopped it. Stacked diamonds cost one
/// visit each and cycles end; the stack never grows. Up to 64 ancestors need no
/// memory; beyond, std::bad_alloc may come.
template <class Visit>
bool AnyAncestor(xrttiobject* type, Visit visit) {
  if (const Next next = visit(type); next != Next::kAbove) return next == Next::kStop;
  if (type->getNParents() <= 0) return false;
  TypeSet seen;
  seen.insert(type);
  TypeStack pending;
  const auto pushParents = [&](xrttiobject* child) {
    for (int i = child->getNParents() - 1; i >= 0; --i) {
      if (xrttiobject* parent = child->getParent(i)) pending.push(parent);
    }
  };
  pushParents(type);
  while (!pending.isEmpty()) {
    xrttiobject* current = pending.pop();
    if (!seen.insert(current)) continue;
    const Next next = visit(current);
    if (next == Next::kStop) return true;
    if (next == Next::kAbove) pushParents(current);
  }
  return false;
}

/// `parent` as a descriptor of kind `Kind`; throws velXTypeMismatch with the
/// name of that kind.
template <class Kind>
Kind* ParentAs(xrttiobject* parent) {
  auto* viewed = dynamic_cast<Kind*>(parent);
  if (!viewed) velThrowTypeMismatch(Kind::getClassRtti(), parent);
  return viewed;
}

bool IsNamed(xrtti* type, xrtti* wanted) { return type && type->isTypeSameAs(wanted); }

}  // namespace

// ---- xrtti ----

xstring xrtti::getName() { return name; }

bool xrtti::isTypeSameAs(xrtti* type) {
  if (!type) return false;
  if (type == this) return true;
  if (name.IsNull() || type->name.IsNull()) return false;
  return std::strcmp(name.CastToCString(), type->name.CastToCString()) == 0;
}

bool xrtti::isTypeKindOf(xrtti* type) {
  return type && (IsNamed(type, velGetRtti_any()) || isTypeSameAs(type));
}

// Born narrow, so that readers on any thread find the form they compare.
void xrtti::initializeRtti(const char* newName) { name = xstring(newName); }

void xrtti::addUserData(const char* key, void* data) {
  key = korText(key);
  if (key) getUserDataMap()->Insert(key, data);
}

void* xrtti::getUserData(const char* key) {
  key = korText(key);
  void* data = nullptr;
  if (key) getUserDataMap()->Lookup(key, &data);
  return data;
}

xrtti::UserDataMap* xrtti::getUserDataMap() {
  if (!userData) userData = new UserDataMap;
  return userData;
}

unsigned char xrtti::isDeletable() { return false; }

// ---- xrttibasic, xrttienum ----

xrttibasic::xrttibasic(const char* newName) { initializeRtti(newName); }

xrttienum::xrttienum(const char* newName, int count, const char* const* texts)
    : nValues(count), values(texts) {
  initializeRtti(newName);
}

int xrttienum::getNValues() { return nValues; }

xstring xrttienum::mapIntToString(int value) {
  return InRange(value, nValues) ? xstring(values[value]) : xstring();
}

int xrttienum::mapStringToInt(const char* text) {
  const char* wanted = korText(text);
  for (int i = 0; i < nValues; ++i) {
    const char* entry = korText(values[i]);
    if (values[i] == text || (entry && wanted && std::strcmp(entry, wanted) == 0)) return i;
  }
  return kNone;
}

// ---- xrttiobject ----

void xrttiobject::initializeRttiObject(const char* newName, unsigned char counted, int parentCount,
                                       xrttiobject* const* parentList) {
  initializeRtti(newName);
  isRefCount = counted;
  nParents = parentCount;
  parents = parentList;
}

unsigned char xrttiobject::getIsRefCount() { return isRefCount; }
int xrttiobject::getNParents() { return nParents; }
xrttiobject* xrttiobject::getParent(int index) {
  return InRange(index, nParents) ? parents[index] : nullptr;
}

bool xrttiobject::isTypeKindOf(xrtti* type) {
  if (!type) return false;
  if (isTypeSameAs(type) || IsNamed(type, velGetRtti_any()) || IsNamed(type, velGetRtti_object())) {
    return true;
  }
  return AnyAncestor(this, [&](xrttiobject* ancestor) {
    return ancestor->isTypeSameAs(type) ? Next::kStop : Next::kAbove;
  });
}

// ---- xrttistruct ----

void xrttistruct::initializeRttiStruct(const char* newName, unsigned char counted, int parentCount,
                                       xrttiobject* const* parentList, int attrCount,
                                       xrttiattr* const* attrList) {
  initializeRttiObject(newName, counted, parentCount, parentList);
  nAttrs = attrCount;
  attrs = attrList;
}

int xrttistruct::getNAttrs() { return nAttrs; }
xrttiattr* xrttistruct::getAttr(int index) {
  return InRange(index, nAttrs) ? attrs[index] : nullptr;
}

xrttiattr* xrttistruct::findAttr(const char* wanted, unsigned char searchParents) {
  wanted = korText(wanted);
  if (!wanted) return nullptr;
  const auto own = [&](xrttistruct* type) -> xrttiattr* {
    for (int i = 0, n = type->getNAttrs(); i < n; ++i) {
      xrttiattr* attr = type->getAttr(i);
      if (attr && attr->getName() == wanted) return attr;
    }
    return nullptr;
  };
  if (!searchParents) return own(this);
  xrttiattr* found = nullptr;
  AnyAncestor(this, [&](xrttiobject* ancestor) {
    found = own(ParentAs<xrttistruct>(ancestor));
    return found ? Next::kStop : Next::kAbove;
  });
  return found;
}

// ---- xrttiunion ----

void xrttiunion::initializeRttiUnion(const char* newName, unsigned char counted, int parentCount,
                                     xrttiobject* const* parentList, xrttiattr* discriminator,
                                     int labelCount, const int* labelList,
                                     xrttiattr* const* attrList, xrttiattr* fallback) {
  initializeRttiObject(newName, counted, parentCount, parentList);
  discr = discriminator;
  nLabels = labelCount;
  labels = labelList;
  attrs = attrList;
  defaultAttr = fallback;
}

xrttiattr* xrttiunion::getDiscr() { return discr; }
int xrttiunion::getNLabels() { return nLabels; }
int xrttiunion::getLabel(int index) { return InRange(index, nLabels) ? labels[index] : kNone; }
xrttiattr* xrttiunion::getAttr(int index) {
  return InRange(index, nLabels) ? attrs[index] : nullptr;
}
xrttiattr* xrttiunion::getDefaultAttr() { return defaultAttr; }

xrttiattr* xrttiunion::mapLabelToAttr(int label, unsigned char searchParents) {
  xrttiattr* found = nullptr;
  // True when the label is listed; a default hides what only a parent declares.
  const auto own = [&](xrttiunion* type) {
    for (int i = 0, n = type->getNLabels(); i < n; ++i) {
      if (type->getLabel(i) == label) {
        found = type->getAttr(i);
        return true;
      }
    }
    found = type->getDefaultAttr();
    return false;
  };
  if (!searchParents) {
    own(this);
    return found;
  }
  AnyAncestor(this, [&](xrttiobject* ancestor) {
    const bool listed = own(ParentAs<xrttiunion>(ancestor));
    if (found) return Next::kStop;
    // A label listed without a branch is settled there: what is above that
    // type is not asked, the next parent of a type below it is.
    return listed ? Next::kAside : Next::kAbove;
  });
  return found;
}

xrttiattr* xrttiunion::mapLabelToAttr(xany label, unsigned char searchParents) {
  return mapLabelToAttr(label.operator int(), searchParents);
}

// ---- xrttiarray ----

void xrttiarray::initializeRttiArray(const char* newName, unsigned char counted, int dimentionCount,
                                     const int* sizes, xrtti* element, unsigned char optional,
                                     ElemGetter getter) {
  initializeRttiObject(newName, counted, 0, nullptr);
  nDimentions = dimentionCount;
  dimentions = sizes;
  elemType = element;
  isElemOptional = optional;
  elemGetter = getter;
}

int xrttiarray::getNDimentions() { return nDimentions; }
int xrttiarray::getDimention(int index) {
  return InRange(index, nDimentions) ? dimentions[index] : kNone;
}
xrtti* xrttiarray::getElemType() { return elemType; }
unsigned char xrttiarray::getIsElemOptional() { return isElemOptional; }

xany xrttiarray::getElemValue(xobject* array, int* indices) {
  return elemGetter ? elemGetter(array, indices) : xany();
}

xany xrttiarray::getElemValue(xobject* array, xrchandle<xintsequence> indices) {
  if (indices.isnull() || velIsUninit(indices.operator->())) velhThrowNull();
  constexpr int kFew = 10;
  int few[kFew];
  std::vector<int> many;
  const int given = indices->getarraysize();
  const int needed = given > nDimentions ? given : nDimentions;
  int* all = few;
  if (needed > kFew) {
    many.resize(static_cast<std::size_t>(needed));
    all = many.data();
  }
  for (int i = 0; i < needed; ++i) all[i] = i < given ? indices->get(i) : 0;
  return getElemValue(array, all);
}

// ---- xrttisequence ----

void xrttisequence::initializeRttiSeq(const char* newName, unsigned char counted, xrtti* element,
                                      unsigned char optional, SizeGetter size, ElemGetter getter) {
  initializeRttiObject(newName, counted, 0, nullptr);
  elemType = element;
  isElemOptional = optional;
  sizeGetter = size;
  elemGetter = getter;
}

xrtti* xrttisequence::getElemType() { return elemType; }
unsigned char xrttisequence::getIsElemOptional() { return isElemOptional; }
int xrttisequence::getSize(xobject* sequence) { return sizeGetter ? sizeGetter(sequence) : 0; }
xany xrttisequence::getElemValue(xobject* sequence, int index) {
  return elemGetter ? elemGetter(sequence, index) : xany();
}

// ---- xrttidictionary ----

void xrttidictionary::initializeRttiDict(const char* newName, unsigned char counted, xrtti* element,
                                         unsigned char optional, SizeGetter size, FindElem find,
                                         KeyByIdx key, ValueByIdx value) {
  initializeRttiObject(newName, counted, 0, nullptr);
  elemType = element;
  isElemOptional = optional;
  sizeGetter = size;
  findElem = find;
  keyByIdx = key;
  valueByIdx = value;
}

xrtti* xrttidictionary::getElemType() { return elemType; }
unsigned char xrttidictionary::getIsElemOptional() { return isElemOptional; }
int xrttidictionary::getSize(xobject* dictionary) {
  return sizeGetter ? sizeGetter(dictionary) : 0;
}
unsigned char xrttidictionary::findElemValue(xobject* dictionary, const char* key, xany* value) {
  return findElem ? findElem(dictionary, key, value) : false;
}
unsigned char xrttidictionary::getElemKeyByIdx(xobject* dictionary, int index, xstring* key) {
  return keyByIdx ? keyByIdx(dictionary, index, key) : false;
}
unsigned char xrttidictionary::getElemValueByIdx(xobject* dictionary, int index, xany* value) {
  return valueByIdx ? valueByIdx(dictionary, index, value) : false;
}

// ---- xrttiattr ----

xrttiattr::xrttiattr(const char* newName, xrtti* attrType, unsigned char optional,
                     Getter attrGetter)
    : name(newName), type(attrType), isOptional(optional), getter(attrGetter) {}

xstring xrttiattr::getName() { return name; }
xrtti* xrttiattr::getType() { return type; }
unsigned char xrttiattr::getIsOptional() { return isOptional; }
xany xrttiattr::getValue(xobject* owner) { return getter ? getter(owner) : xany(); }
unsigned char xrttiattr::isDeletable() { return false; }

// ---- the descriptors of the descriptor classes ----

namespace {

// A structure that is not counted, without attributes, under one parent.
template <xrttiobject* (*Parent)()>
void InitializeKind(xrttistruct* rtti, const char* name) {
  static xrttiobject* parents[1];
  parents[0] = Parent();
  rtti->initializeRttiStruct(name, 0, 1, parents, 0, nullptr);
}

}  // namespace

VEL_OBJECT_RTTI(xrtti, xrttistruct, [](xrttistruct* rtti) {
  rtti->initializeRttiStruct("xrtti", 0, 0, nullptr, 0, nullptr);
})
VEL_OBJECT_RTTI(xrttiattr, xrttistruct, [](xrttistruct* rtti) {
  rtti->initializeRttiStruct("xrttiattr", 0, 0, nullptr, 0, nullptr);
})

#define VEL_RTTI_KIND(C, Parent)                         \
  VEL_OBJECT_RTTI(C, xrttistruct, [](xrttistruct* rtti) { \
    InitializeKind<&Parent::getClassRtti>(rtti, #C);      \
  })
VEL_RTTI_KIND(xrttibasic, xrtti)
VEL_RTTI_KIND(xrttienum, xrtti)
VEL_RTTI_KIND(xrttiobject, xrtti)
VEL_RTTI_KIND(xrttistruct, xrttiobject)
VEL_RTTI_KIND(xrttiunion, xrttiobject)
VEL_RTTI_KIND(xrttiarray, xrttiobject)
VEL_RTTI_KIND(xrttisequence, xrttiobject)
VEL_RTTI_KIND(xrttidictionary, xrttiobject)
#undef VEL_RTTI_KIND
