#include "velstruct.h"

#include <cstring>
#include <string>

namespace {

// For descriptors, which borrow the keys of user data for ever.
const char* Kept(const std::string& text) {
  return std::strcpy(new char[text.size() + 1], text.c_str());
}

}  // namespace

void velInstallStruct(xrttistruct* rtti, const char* name, velS11nCreator creator,
                      const std::vector<xrttiobject* (*)()>& parents,
                      const std::vector<velNamedInfo>& attributes) {
  rtti->initializeRttiObject(name, 1, 0, nullptr);
  std::vector<xrttiobject*> above;
  above.reserve(parents.size());
  for (const auto parent : parents) above.push_back(parent());
  std::vector<velAttributeInfo> infos;
  for (const velNamedInfo& attribute : attributes) {
    infos.push_back(attribute.info(attribute.name));
    infos.back().setterKey = Kept(std::string("_s11n_set") + attribute.name);
  }
  velInitializeStruct(rtti, name, creator, static_cast<int>(above.size()), above.data(),
                      static_cast<int>(infos.size()), infos.data());
}
