#include "velparts.h"

#include <algorithm>
#include <cmath>
#include <map>
#include <memory>
#include <optional>
#include <set>

#include "velrtti.h"
#include "veltext.h"
#include "velvalue.h"
#include "xrttiattrseq.h"

namespace {

struct Deleted {
  void operator()(xrttiattrseq* attrs) const { xdelete(attrs); }
};

std::string NameOf(xrttiattr* attr) {
  const xstring name = attr->getName();
  return std::string(velView(name));
}

// A part whose value is still to be read: a getter that throws leaves it behind.
velPart& Add(std::vector<velPart>& parts, std::string name, int index = -1) {
  velPart part;
  part.name = std::move(name);
  part.index = index;
  parts.push_back(std::move(part));
  return parts.back();
}

void AddAttributes(xrttistruct* type, xobject* object, std::vector<velPart>& parts) {
  const std::unique_ptr<xrttiattrseq, Deleted> attrs(velRttiCollectAttrs(type, true));
  std::map<std::string, xrttiattr*> meant;
  std::vector<std::string> names;
  for (int i = 0; i < attrs->getarraysize(); ++i) {
    xrttiattr* const attr = attrs->get(i);
    std::string name = NameOf(attr);
    const auto [entry, isNew] = meant.emplace(name, attr);
    if (isNew) {
      names.push_back(std::move(name));
    } else if (entry->second != attr) {
      // The one that velS11nSet sets.
      entry->second = type->findAttr(name.c_str(), true);
    }
  }
  for (std::string& name : names) {
    xrttiattr* const attr = meant[name];
    velPart& part = Add(parts, std::move(name));
    part.value = attr->getValue(object);
  }
}

}  // namespace

xrttiattr* velDiscriminatorOf(xrttiunion* type) {
  std::vector<xrttiobject*> pending{type};
  std::set<xrttiobject*> seen;
  while (!pending.empty()) {
    xrttiobject* const next = pending.back();
    pending.pop_back();
    auto* const candidate = dynamic_cast<xrttiunion*>(next);
    if (!candidate || !seen.insert(next).second) continue;
    if (xrttiattr* const discriminator = candidate->getDiscr()) return discriminator;
    for (int i = candidate->getNParents() - 1; i >= 0; --i) {
      pending.push_back(candidate->getParent(i));
    }
  }
  return nullptr;
}

namespace {

// The number that a discriminator stands for, as velTraverse has it; nothing for values
// without one.
std::optional<int> LabelOf(const xany& value) {
  if (value.isint() || value.isenum()) return value.operator int();
  if (value.isbool()) return value.operator unsigned char() != 0;
  return std::nullopt;
}

void AddBranch(xrttiunion* type, xobject* object, std::vector<velPart>& parts) {
  xrttiattr* const discriminator = velDiscriminatorOf(type);
  if (!discriminator) return;
  velPart& told = Add(parts, NameOf(discriminator));
  told.value = discriminator->getValue(object);
  const std::optional<int> label = LabelOf(told.value);
  xrttiattr* const branch = label ? type->mapLabelToAttr(*label, true) : nullptr;
  if (!branch) return;
  velPart& part = Add(parts, NameOf(branch));
  part.value = branch->getValue(object);
}

void AddElements(xrttisequence* type, xobject* object, std::vector<velPart>& parts) {
  for (int i = 0; i < type->getSize(object); ++i) {
    velPart& part = Add(parts, {}, i);
    part.value = type->getElemValue(object, i);
  }
}

void AddEntries(xrttidictionary* type, xobject* object, std::vector<velPart>& parts) {
  for (int i = 0, slots = type->getSize(object); i < slots; ++i) {
    xstring key;
    if (!type->getElemKeyByIdx(object, i, &key)) continue;
    velPart& part = Add(parts, std::string(velView(key)));
    if (!type->getElemValueByIdx(object, i, &part.value)) parts.pop_back();
  }
  std::sort(parts.begin(), parts.end(),
            [](const velPart& a, const velPart& b) { return a.name < b.name; });
}

// Row by row: the last index runs fastest.
void AddCells(xrttiarray* type, xobject* object, std::vector<velPart>& parts) {
  std::vector<int> at(static_cast<std::size_t>(type->getNDimentions()), 0);
  for (int d = 0; d < type->getNDimentions(); ++d) {
    if (type->getDimention(d) <= 0) return;
  }
  for (;;) {
    velPart& part = Add(parts, {}, static_cast<int>(parts.size()));
    part.value = type->getElemValue(object, at.data());
    int d = type->getNDimentions() - 1;
    while (d >= 0 && ++at[static_cast<std::size_t>(d)] == type->getDimention(d)) {
      at[static_cast<std::size_t>(d--)] = 0;
    }
    if (d < 0) return;
  }
}

std::size_t Mixed(std::size_t kind, std::size_t hash) {
  const std::size_t mixed = (hash + kind * 0x9E3779B97F4A7C15ULL) * 0xFF51AFD7ED558CCDULL;
  return mixed ^ mixed >> 32U;
}

}  // namespace

velParts velPartsOf(xobject* object) {
  velParts parts;
  velReadParts(object, parts);
  return parts;
}

void velReadParts(xobject* object, velParts& parts) {
  parts.type = object->getRtti();
  if (auto* const asStruct = dynamic_cast<xrttistruct*>(parts.type)) {
    parts.shape = velShape::kStruct;
    AddAttributes(asStruct, object, parts.list);
  } else if (auto* const asUnion = dynamic_cast<xrttiunion*>(parts.type)) {
    parts.shape = velShape::kUnion;
    AddBranch(asUnion, object, parts.list);
  } else if (auto* const sequence = dynamic_cast<xrttisequence*>(parts.type)) {
    parts.shape = velShape::kSequence;
    AddElements(sequence, object, parts.list);
  } else if (auto* const dictionary = dynamic_cast<xrttidictionary*>(parts.type)) {
    parts.shape = velShape::kDictionary;
    AddEntries(dictionary, object, parts.list);
  } else if (auto* const array = dynamic_cast<xrttiarray*>(parts.type)) {
    parts.shape = velShape::kArray;
    AddCells(array, object, parts.list);
  }
}

bool velSameLeaf(const xany& a, const xany& b) {
  if (a.isnil() || b.isnil()) return a.isnil() && b.isnil();
  if (a.isuninit() || b.isuninit()) return a.isuninit() && b.isuninit();
  if (a.getkind() != b.getkind()) return false;
  if (a.getkind() == xanyReal) {
    const double x = a.operator double();
    const double y = b.operator double();
    return x == y || (std::isnan(x) && std::isnan(y));
  }
  // In the left one's form, as strings compare, what the locale lacks would be equal to "?".
  if (a.getkind() == xanyString) return velOrder(a.operator xstring(), b.operator xstring()) == 0;
  if (a.getkind() == xanyEnum) {
    xrtti* const type = a.getRtti();
    xrtti* const other = b.getRtti();
    if (a.operator int() != b.operator int()) return false;
    return type == other || (type && other && type->isTypeSameAs(other));
  }
  return a == b;
}

std::size_t velHashOfLeaf(const xany& value) {
  if (value.isnil()) return 1;
  if (value.isuninit()) return 2;
  const auto kind = static_cast<std::size_t>(value.getkind());
  switch (value.getkind()) {
    case xanyReal: {
      const double number = value.operator double();
      return Mixed(kind, std::isnan(number) ? 3 : std::hash<double>()(number));
    }
    case xanyString:
      return Mixed(kind, velHashOfContent(value.operator xstring()));
    case xanyEnum:
      return Mixed(kind, std::hash<int>()(value.operator int()));
    default:
      return Mixed(kind, std::hash<xany>()(value));
  }
}
