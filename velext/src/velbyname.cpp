#include "velbyname.h"

#include <charconv>
#include <vector>

#include "korstring.h"
#include "velattributes.h"
#include "velexceptions.h"
#include "velparts.h"
#include "vels11n.h"
#include "veltext.h"
#include "velwrites.h"

namespace {

[[noreturn]] void Refuse(const char* what, std::string_view of) {
  velXNativeException::Throw((what + std::string(of)).c_str());
}

// What velGetPath throws when something is not there, until it is known whether that
// is an error.
struct Missing {
  xobject* object;  // nullable
  std::string step;
  int index;           // -1: a key
  int dimension = -1;  // of an array

  [[noreturn]] void raise() const {
    if (dimension >= 0) velhThrowInvalidArrayIndex(object, index, dimension);
    if (index >= 0) velhThrowInvalidSeqIndex(object, index);
    velhThrowInvalidDictKey(object, step.c_str());
  }
};

[[noreturn]] void RefusePath(const char* why, std::string_view path) {
  Refuse("Invalid path: ", why + (": " + std::string(path)));
}

std::vector<std::string> Steps(std::string_view path) {
  std::vector<std::string> steps;
  if (path.empty()) return steps;
  if (path.find('\0') != std::string_view::npos) RefusePath("a zero byte", path);
  if (path[0] != '/') RefusePath("no \"/\" at its beginning", path);
  for (std::size_t i = 0; i < path.size(); ++i) {
    if (path[i] == '/') {
      steps.emplace_back();
    } else if (path[i] != '~') {
      steps.back() += path[i];
    } else {
      const char code = i + 1 < path.size() ? path[++i] : '\0';
      if (code != '0' && code != '1') RefusePath("\"~\" without 0 or 1", path);
      steps.back() += code == '0' ? '~' : '/';
    }
  }
  return steps;
}

// A number as RFC 6901 writes it; -1 for anything else and beyond an int.
int IndexOf(const std::string& step) {
  if (step.empty() || step.size() > 10 || (step[0] == '0' && step.size() > 1)) return -1;
  for (const char c : step) {
    if (c < '0' || c > '9') return -1;
  }
  int index = -1;
  const auto read = std::from_chars(step.data(), step.data() + step.size(), index);
  return read.ec == std::errc() ? index : -1;
}

// The part of a structure or union of that name.
std::optional<xany> Attribute(xobject* object, std::string_view name) {
  xrttiobject* const type = object->getRtti();
  if (auto* const asStruct = dynamic_cast<xrttistruct*>(type)) {
    xrttiattr* const attr = asStruct->findAttr(std::string(name).c_str(), true);
    return attr ? std::optional<xany>(attr->getValue(object)) : std::nullopt;
  }
  if (!dynamic_cast<xrttiunion*>(type)) return std::nullopt;
  velParts parts = velPartsOf(object);
  for (velPart& part : parts.list) {
    if (part.name == name) return std::move(part.value);
  }
  return std::nullopt;
}

// The element of an array behind one step for each dimension, the first of them at
// `step`, which moves to the last.
std::vector<int> CellAt(xrttiarray* type, xobject* object, const std::vector<std::string>& steps,
                        std::size_t& step) {
  std::vector<int> indices;
  for (int d = 0; d < type->getNDimentions(); ++d) {
    if (d > 0 && ++step == steps.size()) throw Missing{object, "", -1};
    const int index = IndexOf(steps[step]);
    if (index < 0) throw Missing{object, steps[step], -1};
    if (index >= type->getDimention(d)) throw Missing{object, steps[step], index, d};
    indices.push_back(index);
  }
  return indices;
}

// The key of an entry that is there: the step, which is UTF-8, or the same text in the
// encoding of the locale; else the step.
std::string KeyOf(xrttidictionary* type, xobject* object, const std::string& step) {
  xany found;
  if (velIsAscii(step) || type->findElemValue(object, step.c_str(), &found)) return step;
  std::optional<std::string> narrow = velNarrowIfText(step);
  const bool isThere = narrow && type->findElemValue(object, narrow->c_str(), &found);
  return isThere ? *std::move(narrow) : step;
}

// One step further from `value`; an array takes several.
xany Next(const xany& value, const std::vector<std::string>& steps, std::size_t& step) {
  const std::string& name = steps[step];
  xobject* const object = velObjectOfValue(value);
  if (!object) throw Missing{nullptr, name, -1};
  xrttiobject* const type = object->getRtti();
  if (auto* const sequence = dynamic_cast<xrttisequence*>(type)) {
    const int index = IndexOf(name);
    if (index < 0) throw Missing{object, name, -1};
    if (index >= sequence->getSize(object)) throw Missing{object, name, index};
    return sequence->getElemValue(object, index);
  }
  if (auto* const dictionary = dynamic_cast<xrttidictionary*>(type)) {
    xany found;
    const std::string key = KeyOf(dictionary, object, name);
    if (!dictionary->findElemValue(object, key.c_str(), &found)) throw Missing{object, name, -1};
    return found;
  }
  if (auto* const array = dynamic_cast<xrttiarray*>(type)) {
    std::vector<int> indices = CellAt(array, object, steps, step);
    return array->getElemValue(object, indices.data());
  }
  std::optional<xany> attribute = Attribute(object, name);
  if (!attribute) throw Missing{object, name, -1};
  return *std::move(attribute);
}

xany Walked(const xany& root, const std::vector<std::string>& steps, std::size_t end) {
  xany value = root;
  for (std::size_t step = 0; step < end; ++step) {
    xany next = Next(value, steps, step);
    value = std::move(next);
  }
  return value;
}

template <class Function>
Function* Writer(Function* function, xrtti* type) {
  if (!function) Refuse("Type cannot be written: ", velUtf8(type->getName()));
  return function;
}

// Stores below `object` under the steps from `step` on.
void Store(xobject* object, const std::vector<std::string>& steps, std::size_t step,
           const xany& value) {
  static constexpr velWrites kNone = {};
  const std::string& name = steps[step];
  xrttiobject* const type = object->getRtti();
  const velWrites* const known = velGetWrites(type);
  const velWrites& writes = known ? *known : kNone;
  if (auto* const sequence = dynamic_cast<xrttisequence*>(type)) {
    const int size = sequence->getSize(object);
    const int index = name == "-" ? size : IndexOf(name);
    if (index < 0) throw Missing{object, name, -1};
    if (index > size) throw Missing{object, name, index};
    return Writer(writes.setElement, type)(object, index, value);
  }
  if (auto* const dictionary = dynamic_cast<xrttidictionary*>(type)) {
    const std::string key = KeyOf(dictionary, object, name);
    return Writer(writes.setEntry, type)(object, key.c_str(), value);
  }
  if (auto* const array = dynamic_cast<xrttiarray*>(type)) {
    const std::vector<int> indices = CellAt(array, object, steps, step);
    if (step + 1 != steps.size()) throw Missing{object, steps[step + 1], -1};
    return Writer(writes.setCell, type)(object, indices.data(), value);
  }
  // Nobody asks a path whether it was taken: an attribute that was dropped is not there.
  if (!velSetAttr(object, name.c_str(), value)) throw Missing{object, name, -1};
}

}  // namespace

xrcunihandle<xobject> velCreate(const char* typeName) {
  typeName = korText(typeName);
  if (!typeName) velhThrowNull();
  xrtti* const type = velRttiGetFromMap(typeName);
  if (!type) Refuse("Unknown type: ", typeName);
  const velWrites* const writes = velGetWrites(type);
  xobject* const made =
      writes && writes->create ? writes->create(nullptr) : velS11nCreate(typeName, nullptr);
  if (!made) Refuse("Type cannot be created: ", typeName);
  xrcunihandle<xobject> held(made);
  xrcrelease(made);
  return held;
}

bool velSetAttr(xobject* object, const char* name, const xany& value) {
  return velS11nSet(object, name, value);
}

xany velGetAttr(xobject* object, const char* name) {
  if (velIsUninit(object)) velhThrowNotInitialized();
  name = korText(name);
  if (!object || !name) velhThrowNull();
  std::optional<xany> attribute = Attribute(object, name);
  if (!attribute) velhThrowInvalidDictKey(object, name);
  return *std::move(attribute);
}

xany velGetPath(const xany& root, std::string_view path) {
  const std::vector<std::string> steps = Steps(path);
  try {
    return Walked(root, steps, steps.size());
  } catch (const Missing& missing) {
    missing.raise();
  }
}

std::optional<xany> velFindPath(const xany& root, std::string_view path) {
  const std::vector<std::string> steps = Steps(path);
  try {
    return Walked(root, steps, steps.size());
  } catch (const Missing&) {
    return std::nullopt;
  }
}

void velSetPath(const xany& root, std::string_view path, const xany& value) {
  const std::vector<std::string> steps = Steps(path);
  if (steps.empty()) RefusePath("nothing can be stored in place of the whole value", path);
  try {
    // An array is written by its last steps, as many as it has dimensions.
    xany at = root;
    for (std::size_t step = 0;; ++step) {
      xobject* const object = velObjectOfValue(at);
      if (!object) throw Missing{nullptr, steps[step], -1};
      auto* const array = dynamic_cast<xrttiarray*>(object->getRtti());
      const std::size_t taken = array ? static_cast<std::size_t>(array->getNDimentions()) : 1;
      if (step + taken >= steps.size()) return Store(object, steps, step, value);
      xany next = Next(at, steps, step);
      at = std::move(next);
    }
  } catch (const Missing& missing) {
    missing.raise();
  }
}

std::string velStep(std::string_view name) {
  std::string converted;
  if (!velIsUtf8(name)) name = converted = velUtf8(xstring(std::string(name).c_str()));
  std::string step = "/";
  for (const char c : name) {
    if (c == '~') {
      step += "~0";
    } else if (c == '/') {
      step += "~1";
    } else {
      step += c;
    }
  }
  return step;
}
