#include <string>
#include <unordered_map>
#include <vector>

#include "velattributes.h"
#include "velbyname.h"
#include "velequals.h"
#include "velexceptions.h"
#include "velparts.h"
#include "veltext.h"
#include "velwrites.h"

namespace {

class Cloner {
 public:
  xany clone(const xany& value) {
    xany made = copyOf(value);
    while (!unfilled.empty()) {
      const Copy next = std::move(unfilled.back());
      unfilled.pop_back();
      fill(next);
    }
    for (const Unset& one : unset) {
      if (!velEquals(velGetAttr(one.object, one.name.c_str()), one.wanted)) {
        refuse("Attribute cannot be set: ", one.name);
      }
    }
    return made;
  }

 private:
  struct Copy {
    xany original;
    xrcunihandle<xobject> made;
  };
  struct Unset {
    xrcunihandle<xobject> object;
    std::string name;
    xany wanted;
  };

  [[noreturn]] static void refuse(const char* what, const std::string& of) {
    velXNativeException::Throw((what + of).c_str());
  }

  // A leaf itself; the copy of an object, perhaps still empty.
  xany copyOf(const xany& value) {
    xobject* const object = velObjectOfValue(value);
    if (!object) return value;
    const auto known = copies.find(object);
    if (known != copies.end()) return xany(known->second);
    const xstring name = object->getVelTypeName();
    const xrcunihandle<xobject> made = velCreate(name.IsNull() ? "" : name.CastToCString());
    copies.emplace(object, made);
    unfilled.push_back({value, made});
    return xany(made);
  }

  void fill(const Copy& copy) {
    velParts parts = velPartsOf(velObjectOfValue(copy.original));
    kept.push_back(copy.original);
    const velWrites* const known = velGetWrites(parts.type);
    for (velPart& part : parts.list) {
      const xany value = copyOf(part.value);
      switch (parts.shape) {
        case velShape::kSequence:
          writer(known ? known->setElement : nullptr, parts)(copy.made, part.index, value);
          break;
        case velShape::kDictionary:
          writer(known ? known->setEntry : nullptr, parts)(copy.made, part.name.c_str(), value);
          break;
        case velShape::kArray:
          setCell(writer(known ? known->setCell : nullptr, parts), parts, copy, part.index, value);
          break;
        default:
          setAttribute(copy, part, value);
      }
    }
  }

  template <class Function>
  static Function* writer(Function* function, const velParts& parts) {
    if (!function) refuse("Type cannot be written: ", velUtf8(parts.type->getName()));
    return function;
  }

  static void setCell(void (*set)(xobject*, const int*, const xany&), const velParts& parts,
                      const Copy& copy, int number, const xany& value) {
    auto* const type = dynamic_cast<xrttiarray*>(parts.type);
    std::vector<int> indices(static_cast<std::size_t>(type->getNDimentions()));
    for (int d = type->getNDimentions() - 1; d >= 0; --d) {
      indices[static_cast<std::size_t>(d)] = number % type->getDimention(d);
      number /= type->getDimention(d);
    }
    set(copy.made, indices.data(), value);
  }

  void setAttribute(const Copy& copy, const velPart& part, const xany& value) {
    if (velS11nHasSetter(copy.made->getRtti(), part.name.c_str())) {
      velSetAttr(copy.made, part.name.c_str(), value);
    } else {
      unset.push_back({copy.made, part.name, value});
    }
  }

  std::unordered_map<xobject*, xrcunihandle<xobject>> copies;
  std::vector<Copy> unfilled;
  std::vector<Unset> unset;
  std::vector<xany> kept;  // so that no address comes back meanwhile
};

}  // namespace

xany velClone(const xany& value) { return Cloner().clone(value); }
