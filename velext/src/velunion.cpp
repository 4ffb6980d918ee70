#include "velunion.h"

#include <algorithm>
#include <memory>
#include <vector>

void velInitializeUnion(xrttiunion* rtti, const char* name, velS11nCreator creator,
                        std::initializer_list<xrttiobject*> parents,
                        const velAttributeInfo& discriminator,
                        std::initializer_list<velBranchInfo> branches) {
  std::vector<std::unique_ptr<xrttiattr>> made;
  const auto make = [&](const velAttributeInfo& info) {
    rtti->addUserData(info.setterKey, reinterpret_cast<void*>(info.setter));
    made.push_back(
        std::make_unique<xrttiattr>(info.name, info.type, info.isOptional, info.getter));
    return made.back().get();
  };
  rtti->addUserData("_s11n_create", reinterpret_cast<void*>(creator));
  auto above = std::make_unique<xrttiobject*[]>(parents.size());
  std::copy(parents.begin(), parents.end(), above.get());
  auto labels = std::make_unique<int[]>(branches.size());
  auto attrs = std::make_unique<xrttiattr*[]>(branches.size());
  xrttiattr* const discr = make(discriminator);
  xrttiattr* otherwise = nullptr;
  int count = 0;
  for (const velBranchInfo& branch : branches) {
    xrttiattr* const attr = make(branch.attribute);
    if (branch.isOtherwise) {
      otherwise = attr;
    } else {
      labels[static_cast<std::size_t>(count)] = branch.label;
      attrs[static_cast<std::size_t>(count)] = attr;
      ++count;
    }
  }
  rtti->initializeRttiUnion(name, 1, static_cast<int>(parents.size()), above.get(), discr, count,
                            labels.get(), attrs.get(), otherwise);
  // From here on the descriptor's, for ever.
  above.release();
  labels.release();
  attrs.release();
  for (auto& attr : made) attr.release();  // NOLINT(bugprone-unused-return-value): it holds it
}
