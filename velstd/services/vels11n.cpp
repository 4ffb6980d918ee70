#include "vels11n.h"

#include "xcollections.h"

velS11nContext::velS11nContext() : userData(xanydictionary::create()) {}

velS11nContext::~velS11nContext() = default;

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
