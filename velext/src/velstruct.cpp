#include "velstruct.h"

#include <memory>
#include <string>

namespace {

// For descriptors, which borrow their texts for ever.
const char* Kept(std::string text) { return (new std::string(std::move(text)))->c_str(); }

}  // namespace

void velInstallStruct(xrttistruct* rtti, const char* name, velS11nCreator creator,
                      const std::vector<xrttiobject*>& parents,
                      std::vector<velAttributeInfo> attributes) {
  for (velAttributeInfo& info : attributes) {
    info.setterKey = Kept(std::string("_s11n_set") + info.name);
  }
  velInitializeStruct(rtti, name, creator, static_cast<int>(parents.size()), parents.data(),
                      static_cast<int>(attributes.size()), attributes.data());
}
