#include "veljsontype.h"

#include <set>
#include <vector>

#include "vels11n.h"
#include "veltext.h"

namespace {

bool IsNamed(xrttiattr* attr, const std::string& name) {
  if (!attr) return false;
  const xstring own = attr->getName();
  return velView(own) == name;
}

// The part of that name that `type` itself declares; null for none.
xrttiattr* OwnPart(xrttiobject* type, const std::string& name) {
  if (auto* const asStruct = dynamic_cast<xrttistruct*>(type)) {
    return asStruct->findAttr(name.c_str(), false);
  }
  auto* const asUnion = dynamic_cast<xrttiunion*>(type);
  if (!asUnion) return nullptr;
  if (IsNamed(asUnion->getDiscr(), name)) return asUnion->getDiscr();
  for (int i = 0; i < asUnion->getNLabels(); ++i) {
    if (IsNamed(asUnion->getAttr(i), name)) return asUnion->getAttr(i);
  }
  return IsNamed(asUnion->getDefaultAttr(), name) ? asUnion->getDefaultAttr() : nullptr;
}

}  // namespace

void velThrowJson(const std::string& text, const xrchandle<velXException>& source) {
  const auto made = velXSerialization::Create(text.c_str(), source);
  // Narrow text is of the locale; what comes from a document may be more, or no text.
  if (!velIsAscii(text) && velIsUtf8(text)) {
    velS11nSet(made.operator->(), "Description", xany(velText(text)));
  }
  xthrow(made);
}

xrtti* velTypeOfPart(xrttiobject* type, const std::string& name) {
  std::vector<xrttiobject*> pending{type};
  std::set<xrttiobject*> seen;
  while (!pending.empty()) {
    xrttiobject* const next = pending.back();
    pending.pop_back();
    if (!next || !seen.insert(next).second) continue;
    if (xrttiattr* const part = OwnPart(next, name)) return part->getType();
    for (int i = next->getNParents() - 1; i >= 0; --i) pending.push_back(next->getParent(i));
  }
  return nullptr;
}

xrtti* velTypeOfElements(xrttiobject* type) {
  if (auto* const sequence = dynamic_cast<xrttisequence*>(type)) return sequence->getElemType();
  if (auto* const dictionary = dynamic_cast<xrttidictionary*>(type)) {
    return dictionary->getElemType();
  }
  if (auto* const array = dynamic_cast<xrttiarray*>(type)) return array->getElemType();
  return nullptr;
}

bool velIsReservedReal(double number) { return xany(number).getkind() != xanyReal; }

bool velIsTypeNamed(xrtti* type, const xstring& name) { return type && type->getName() == name; }
