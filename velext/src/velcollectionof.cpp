#include "velcollectionof.h"

#include <string>

#include "velarrayof.h"

namespace {

// For descriptors, which borrow their names for ever.
const char* Kept(std::string text) { return (new std::string(std::move(text)))->c_str(); }

}  // namespace

const char* velNameWith(xrtti* type, const char* suffix) {
  return Kept(velUtf8(type->getName()) + suffix);
}

const char* velNameOfArray(xrtti* type, int nDimensions, const int* dimensions) {
  std::string name = velUtf8(type->getName());
  for (int d = 0; d < nDimensions; ++d) name += '[' + std::to_string(dimensions[d]) + ']';
  return Kept(std::move(name));
}
