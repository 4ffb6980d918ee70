#include "vels11n.h"

#include <string>
#include <unordered_set>
#include <vector>

#include "korstring.h"
#include "velattributes.h"
#include "veldeprecation.h"
#include "vels11ncontextsensitive.h"
#include "xcollections.h"

velS11nContext::velS11nContext() : userData(xanydictionary::create()) {}

// While all members are there: what goes with the context may still ask it.
velS11nContext::~velS11nContext() {
  userData->clearall();
  root = xrcunihandle<xobject>();
}

void velS11nContext::setRootObject(xrcunihandle<xobject> newRoot) { root = newRoot; }

xrcunihandle<xobject> velS11nContext::getRootObject() const { return root; }

void velS11nContext::setUserData(const char* name, xany value) { userData->set(name, value); }

void velS11nContext::setUserData(xany value) { setUserData("", value); }

xany velS11nContext::getUserData(const char* name) const {
  xany value;
  userData->find(name, &value);
  return value;
}

xany velS11nContext::getUserData() const { return getUserData(""); }

VEL_OBJECT_RTTI(velS11nContextSensitive, xrttistruct, [](xrttistruct* rtti) {
  rtti->initializeRttiStruct("velS11nContextSensitive", 1, 0, nullptr, 0, nullptr);
})

bool velS11nAccess::isDeprecated(velDeprecationSupport* support, const xstring& name) {
  return support->isDeprecatedAttribute(name);
}

void velS11nAccess::addDeprecated(velDeprecationSupport* support, const xstring& names) {
  support->_s11n_set_s11n_deprecated(names);
}

namespace {

// The setter that `type` or the first of its ancestors keeps under `key`.
velS11nSetter FindSetter(xrttiobject* type, const char* key) {
  std::unordered_set<xrttiobject*> seen;
  std::vector<xrttiobject*> pending{type};
  while (!pending.empty()) {
    xrttiobject* next = pending.back();
    pending.pop_back();
    if (!next || !seen.insert(next).second) continue;
    if (void* setter = next->getUserData(key)) return reinterpret_cast<velS11nSetter>(setter);
    for (int i = next->getNParents() - 1; i >= 0; --i) pending.push_back(next->getParent(i));
  }
  return nullptr;
}

std::string KeyOf(const char* attribute) { return std::string("_s11n_set") + attribute; }

}  // namespace

bool velS11nHasSetter(xrttiobject* type, const char* attribute) {
  attribute = korText(attribute);
  return attribute && FindSetter(type, KeyOf(attribute).c_str());
}

xobject* velS11nCreate(const char* typeName, velS11nContext* context) {
  void* creator = velRttiGetUserData(typeName, "_s11n_create");
  return creator ? reinterpret_cast<velS11nCreator>(creator)(context) : nullptr;
}

bool velS11nSet(xobject* object, const char* attribute, const xany& value) {
  if (velIsUninit(object)) velhThrowNotInitialized();
  attribute = korText(attribute);
  if (!object || !attribute) velhThrowNull();
  const std::string key = KeyOf(attribute);
  if (const velS11nSetter setter = FindSetter(object->getRtti(), key.c_str())) {
    setter(object, value);
    return true;
  }
  if (auto* support = dynamic_cast<velDeprecationSupport*>(object)) {
    if (key == "_s11n_set_s11n_deprecated") {
      velS11nAccess::addDeprecated(support, velAttributeType<xstring>::write(value));
      return true;
    }
    if (velS11nAccess::isDeprecated(support, attribute)) return false;
  }
  velhThrowInvalidDictKey(object, attribute);
}
