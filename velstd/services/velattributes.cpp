#include "velattributes.h"

#include <algorithm>
#include <memory>
#include <vector>

#include "velexceptions.h"

int velAttributeType<int>::write(const xany& value) {
  if (!value.isint()) velThrowValueMismatch(type(), value);
  return value.operator int();
}

xstring velAttributeType<xstring>::write(const xany& value) {
  if (!value.isstring()) velThrowValueMismatch(type(), value);
  return value.isuninit() ? xstring() : value.operator xstring();
}

void velThrowValueMismatch(xrtti* expected, const xany& value) {
  velXTypeMismatch::Throw(expected->getName(), value);
}

void velInitializeStruct(xrttistruct* rtti, const char* name, velS11nCreator creator,
                         int nParents, xrttiobject* const* parents, int nAttributes,
                         const velAttributeInfo* attributes) {
  const auto parentCount = static_cast<std::size_t>(nParents);
  const auto attrCount = static_cast<std::size_t>(nAttributes);
  auto above = std::make_unique<xrttiobject*[]>(parentCount);
  std::copy_n(parents, parentCount, above.get());
  std::vector<std::unique_ptr<xrttiattr>> made;
  auto attrs = std::make_unique<xrttiattr*[]>(attrCount);
  rtti->addUserData("_s11n_create", reinterpret_cast<void*>(creator));
  for (std::size_t i = 0; i < attrCount; ++i) {
    const velAttributeInfo& info = attributes[i];
    rtti->addUserData(info.setterKey, reinterpret_cast<void*>(info.setter));
    made.push_back(
        std::make_unique<xrttiattr>(info.name, info.type, info.isOptional, info.getter));
    attrs[i] = made.back().get();
  }
  rtti->initializeRttiStruct(name, 1, nParents, above.get(), nAttributes, attrs.get());
  // From here on the descriptor's, for ever.
  static_cast<void>(above.release());
  static_cast<void>(attrs.release());
  for (auto& attr : made) static_cast<void>(attr.release());
}
