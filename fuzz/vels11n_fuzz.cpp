// Objects made and filled by names: known and unknown types and attributes, values
// of every kind. Each call does what a table of the types says, and the attributes
// read again hold what was set last.
#include "vels11n.h"

#include <map>
#include <vector>

#include "velattributes.h"
#include "velexceptions.h"
#include "velfuzz.h"
#include "velstd_c.h"

namespace {

class Base : public virtual xobject {
  VEL_ATTRIBUTED(Base, xobject())
  VEL_ATTRIBUTE(int, Number)
  VEL_ATTRIBUTE(xstring, Text)
 public:
  Base() = default;
  Base(const Base&) = delete;
  Base& operator=(const Base&) = delete;
};
class Part : public Base {
  VEL_ATTRIBUTED(Part, Base(context))
  VEL_ATTRIBUTE(xany, Anything)
 public:
  Part() = default;
  Part(const Part&) = delete;
  Part& operator=(const Part&) = delete;
};
VEL_ATTRIBUTED_RTTI(Base, "fuzz::Base", nullptr, VEL_ATTRIBUTE_INFO(Number),
                    VEL_ATTRIBUTE_INFO(Text))
VEL_ATTRIBUTED_RTTI(Part, "fuzz::Part", Base::getClassRtti(), VEL_ATTRIBUTE_INFO(Anything))

// By name, the kind of value that an attribute takes; uninit: any.
using Attributes = std::map<std::string, int>;

struct Type {
  const char* name;
  Attributes attributes;
};

const std::vector<Type>& Types() {
  static const auto* const types = new std::vector<Type>{
      {"fuzz::Base", {{"Number", xanyInt}, {"Text", xanyString}}},
      {"fuzz::Part", {{"Number", xanyInt}, {"Text", xanyString}, {"Anything", xanyUninit}}},
      {"vellib::XNull", {{"Description", xanyString}}},
  };
  return *types;
}

xany Value(velFuzzInput& input) {
  switch (input.below(8)) {
    case 0:
      return xany();
    case 1:
      return xany(xanyNil);
    case 2:
      return xany(input.flag());
    case 3:
      return xany(input.number() / 2.0);
    case 4:
    case 5:
      return xany(input.number());
    default:
      return xany(input.text(20).c_str());
  }
}

std::string Name(velFuzzInput& input, const Attributes& attributes) {
  const unsigned sort = input.below(8);
  if (sort == 0) return input.text(20);
  auto at = attributes.begin();
  for (unsigned n = sort % static_cast<unsigned>(attributes.size()); n > 0; --n) ++at;
  return at->first;
}

// What an attribute of that kind reads as when `value` is set.
xany Stored(int kind, const xany& value) {
  const bool isEmpty = value.getkind() == xanyUninit || value.getkind() == xanyNil;
  if (kind == xanyString && isEmpty) return xany(xanyNil);
  // The int that stands for nil is nil again, the one for uninit stays an int.
  if (kind == xanyInt && value.getkind() == xanyUninit) return xany(VEL_ERROR_INT);
  return value;
}

}  // namespace

VEL_FUZZ(input) {
  // What is not registered cannot be made.
  Base::getClassRtti();
  Part::getClassRtti();
  const std::string unknown = input.text(12);
  if (!xrttifind_c(unknown.c_str())) VEL_FUZZ_CHECK(!velS11nCreate(unknown.c_str(), nullptr));

  const Type& type = Types()[input.below(static_cast<unsigned>(Types().size()))];
  xobject* const made = velS11nCreate(type.name, nullptr);
  VEL_FUZZ_CHECK(made);
  const xrcunihandle<xobject> object(made);
  xrcrelease(made);
  VEL_FUZZ_CHECK(xrcgetcount(made) == 1);
  VEL_FUZZ_SAME(made->getVelTypeName().CastToCString(), type.name);

  std::map<std::string, xany> expected;
  while (!input.isEmpty()) {
    const std::string name = Name(input, type.attributes);
    const xany value = Value(input);
    const auto known = type.attributes.find(name);
    const bool isKnown = known != type.attributes.end();
    const int kind = value.getkind();
    const bool isEmpty = kind == xanyUninit || kind == xanyNil;
    const bool fits = isKnown && (known->second == xanyUninit || known->second == kind || isEmpty);
    bool isSet = false;
    const auto thrown = velFuzzCaught([&] { isSet = velS11nSet(made, name.c_str(), value); });
    auto* const exception = thrown.operator->();
    VEL_FUZZ_CHECK(isSet == fits);
    if (!isKnown) VEL_FUZZ_CHECK(dynamic_cast<velXInvalidDictKey*>(exception));
    if (isKnown && !fits) VEL_FUZZ_CHECK(dynamic_cast<velXTypeMismatch*>(exception));
    if (fits) expected[name] = Stored(known->second, value);
  }
  for (const auto& attribute : expected) {
    __xany_c view = xobjgetattr_c(made, attribute.first.c_str());
    VEL_FUZZ_CHECK(!xisexc_c());
    VEL_FUZZ_CHECK(xany(view) == attribute.second);
    xanyunlock_c(&view);
  }
}
