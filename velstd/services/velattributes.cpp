#include "velattributes.h"

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
                         xrttiobject* parent,
                         std::initializer_list<velAttributeInfo> attributes) {
  auto parents = std::make_unique<xrttiobject*[]>(1);
  parents[0] = parent;
  std::vector<std::unique_ptr<xrttiattr>> made;
  auto attrs = std::make_unique<xrttiattr*[]>(attributes.size());
  rtti->addUserData("_s11n_create", reinterpret_cast<void*>(creator));
  for (const velAttributeInfo& info : attributes) {
    rtti->addUserData(info.setterKey, reinterpret_cast<void*>(info.setter));
    made.push_back(
        std::make_unique<xrttiattr>(info.name, info.type, info.isOptional, info.getter));
    attrs[made.size() - 1] = made.back().get();
  }
  rtti->initializeRttiStruct(name, 1, parent ? 1 : 0, parents.get(),
                             static_cast<int>(made.size()), attrs.get());
  // From here on the descriptor's, for ever.
  static_cast<void>(parents.release());
  static_cast<void>(attrs.release());
  for (auto& attr : made) static_cast<void>(attr.release());
}
