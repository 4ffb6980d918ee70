#include <algorithm>
#include <cctype>
#include <functional>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "velbyname.h"
#include "veldeprecation.h"
#include "veljson.h"
#include "veljsontype.h"
#include "velparts.h"
#include "velrange.h"
#include "velrtti.h"
#include "vels11n.h"
#include "velwrites.h"
#include "xrttiattrseq.h"

namespace {

using Object = xrchandle<xanydictionary>;
using List = xrchandle<xanysequence>;

Object NewObject() { return xanydictionary::create(); }

Object With(const char* key, const xany& value) {
  Object made = NewObject();
  made->set(key, value);
  return made;
}

xany OneOf(const std::vector<std::string>& texts) { return velAny(velSequence(texts)); }

// Any of several schemas.
xany AnyOf(const List& schemas) {
  if (velCount(*schemas) == 0) return velAny(false);
  if (velCount(*schemas) == 1) return schemas->get(0);
  return velAny(With("anyOf", velAny(schemas)));
}

xany AnyOf(const xany& schema, bool isNullable) {
  if (!isNullable) return schema;
  const List both = xanysequence::create();
  both->append(schema);
  both->append(velAny(With("type", velAny("null"))));
  return AnyOf(both);
}

// A schema for one of the plain types, perhaps for null, too.
Object Plain(const char* name, bool isNullable) {
  return With("type", isNullable ? OneOf({name, "null"}) : velAny(name));
}

// An object with these properties and no others.
Object Closed(const Object& properties) {
  Object schema = Plain("object", false);
  schema->set("properties", velAny(properties));
  schema->set("additionalProperties", velAny(false));
  return schema;
}

// Whether nothing is thrown by what is tried on an object that nobody else has.
template <class Act>
bool Works(Act act) {
  try {
    act();
    return true;
  } catch (xthrowable* caught) {  // NOLINT(cert-err09-cpp): thrown so
    xrcrelease(caught);
    return false;
  }
}

// An empty object of a type, which tells what its setters take. There is none of a type
// that cannot be made by name, which no reader reads.
class Scratch {
 public:
  explicit Scratch(xrttiobject* type) : writes(velGetWrites(type)) {
    const xstring name = type->getName();
    Works([&] { object = velCreate(name.CastToCString()); });
  }

  xobject* get() const { return object.isnull() ? nullptr : object.operator->(); }

  // Whether a part may be null: one that is declared so, one that takes nil, or one that
  // cannot be asked.
  bool takesNil(xrttiattr* attr) const {
    const xstring name = attr->getName();
    return attr->getIsOptional() || !isWritable(attr) ||
           Works([&] { velSetAttr(get(), name.CastToCString(), xany(xanyNil)); });
  }
  bool isWritable(xrttiattr* attr) const {
    const xstring name = attr->getName();
    return get() && velS11nHasSetter(get()->getRtti(), name.CastToCString());
  }
  bool takesNilElement(unsigned char isOptional) const {
    if (isOptional || !get() || !writes) return true;
    const xany nil(xanyNil);
    if (writes->setElement) return Works([&] { writes->setElement(get(), 0, nil); });
    if (writes->setEntry) return Works([&] { writes->setEntry(get(), "", nil); });
    auto* const array = dynamic_cast<xrttiarray*>(get()->getRtti());
    if (!array || !writes->setCell) return true;
    const std::vector<int> first(static_cast<std::size_t>(array->getNDimentions()), 0);
    return Works([&] { writes->setCell(get(), first.data(), nil); });
  }
  // Whether it passes over attributes that it does not know.
  bool isLenient() const { return dynamic_cast<velDeprecationSupport*>(get()) != nullptr; }

 private:
  xrcunihandle<xobject> object;
  const velWrites* writes;
};

class Schema {
 public:
  xany of(xrtti* type) {
    velRttiForEach(
        [](xrtti* each, void* self) {
          static_cast<Schema*>(self)->registered.push_back(each);
          return true;
        },
        this);
    for (xrtti* const each : registered) addToParents(each);
    const Object root = NewObject();
    // As a value by itself a real may be any number.
    const bool isReal = velIsTypeNamed(type, "real");
    const xany inner = isReal ? velAny(Plain("number", true)) : reference(type, true);
    for (auto& [key, value] : *velObject<xanydictionary>(inner)) root->set(key, value);
    root->set("$schema", velAny("https://json-schema.org/draft/2020-12/schema"));
    while (!open.empty()) {
      xrtti* const next = open.back();
      open.pop_back();
      definitions->set(next->getName(), definition(next));
    }
    if (velCount(*definitions) > 0) root->set("$defs", velAny(definitions));
    return velAny(root);
  }

 private:
  void addToParents(xrtti* type) {
    auto* const object = dynamic_cast<xrttiobject*>(type);
    for (int i = 0; object && i < object->getNParents(); ++i) {
      if (xrttiobject* const parent = object->getParent(i)) derived[nameOf(parent)].push_back(type);
    }
  }

  static std::string nameOf(xrtti* type) { return type ? velKeyUtf8(type->getName()) : "any"; }

  // What stands where a value of that type is expected.
  xany reference(xrtti* type, bool isNullable) {
    const std::string name = nameOf(type);
    if (name == "any") return velAny(NewObject());
    if (name == "object") {
      return velAny(With(
          "type", isNullable ? OneOf({"object", "array", "null"}) : OneOf({"object", "array"})));
    }
    if (name == "int") return integer(isNullable);
    if (name == "bool") return velAny(Plain("boolean", isNullable));
    if (name == "string") return velAny(Plain("string", isNullable));
    if (name == "real") return real(isNullable);
    return AnyOf(link(type), isNullable);
  }

  xany link(xrtti* type) {
    const std::string name = nameOf(type);
    if (seen.insert(name).second) open.push_back(type);
    return velAny(With("$ref", velAny("#/$defs" + fragment(name))));
  }

  // A step of a JSON Pointer in the fragment of a URI.
  static std::string fragment(const std::string& name) {
    static constexpr char kDigits[] = "0123456789ABCDEF";
    std::string made;
    for (const char c : velStep(name)) {
      const auto byte = static_cast<unsigned char>(c);
      const bool isPlain =
          (byte < 0x80 && std::isalnum(byte)) ||
          (c != 0 && std::string("-._~!$&'()*+,;=:@/?").find(c) != std::string::npos);
      if (isPlain) {
        made += c;
      } else {
        made += '%';
        made += kDigits[byte >> 4U];
        made += kDigits[byte & 15U];
      }
    }
    return made;
  }

  static xany integer(bool isNullable) {
    const Object schema = Plain("integer", isNullable);
    schema->set("minimum", xany(kUninitInt));
    schema->set("maximum", velAny(2147483647));
    return velAny(schema);
  }

  static xany real(bool isNullable) {
    const Object schema = Plain("number", isNullable);
    const List reserved = xanysequence::create();
    for (const char* const number : {"1e126", "9e125"}) reserved->append(velFromJson(number));
    schema->set("not", velAny(With("enum", velAny(reserved))));
    return velAny(schema);
  }

  // Of a class: an object of its own, or of one that derives from it.
  xany definition(xrtti* type) {
    const List either = xanysequence::create();
    addOwn(either, type);
    std::set<std::string> names;
    for (xrtti* const child : derived[nameOf(type)]) {
      if (hasParts(child) && names.insert(nameOf(child)).second) either->append(link(child));
    }
    return AnyOf(either);
  }

  // Whether objects of a class, or of one that derives from it, can be written.
  bool hasParts(xrtti* type) {
    auto* const asObject = dynamic_cast<xrttiobject*>(type);
    if (velTypeOfElements(asObject) || dynamic_cast<xrttistruct*>(type) ||
        dynamic_cast<xrttiunion*>(type)) {
      return true;
    }
    const std::vector<xrtti*>& children = derived[nameOf(type)];
    return std::any_of(children.begin(), children.end(),
                       [this](xrtti* child) { return hasParts(child); });
  }

  void addOwn(const List& either, xrtti* type) {
    if (auto* const asEnum = dynamic_cast<xrttienum*>(type)) {
      either->append(velAny(With("enum", OneOf(enumerators(asEnum)))));
    } else if (auto* const asStruct = dynamic_cast<xrttistruct*>(type)) {
      either->append(structure(asStruct));
    } else if (auto* const asUnion = dynamic_cast<xrttiunion*>(type)) {
      addBranches(either, asUnion);
    } else if (auto* const sequence = dynamic_cast<xrttisequence*>(type)) {
      const Object schema = Plain("array", false);
      schema->set("items", element(sequence));
      either->append(velAny(schema));
    } else if (auto* const dictionary = dynamic_cast<xrttidictionary*>(type)) {
      Object schema = Plain("object", false);
      schema->set("additionalProperties", element(dictionary));
      either->append(velAny(schema));
    } else if (auto* const array = dynamic_cast<xrttiarray*>(type)) {
      either->append(rows(array));
    }
  }

  static std::vector<std::string> enumerators(xrttienum* type) {
    std::vector<std::string> names;
    for (int i = 0; i < type->getNValues(); ++i) {
      const xstring name = type->mapIntToString(i);
      if (name.IsNull()) continue;
      std::string utf8 = velKeyUtf8(name);
      if (std::find(names.begin(), names.end(), utf8) == names.end()) names.push_back(utf8);
    }
    return names;
  }

  template <class Collection>
  xany element(Collection* type) {
    const Scratch scratch(type);
    return reference(type->getElemType(), scratch.takesNilElement(type->getIsElemOptional()));
  }

  xany part(const Scratch& scratch, xrttiattr* attr) {
    xany schema = reference(attr->getType(), scratch.takesNil(attr));
    if (scratch.get() && !scratch.isWritable(attr)) {
      velObject<xanydictionary>(schema)->set("readOnly", velAny(true));
    }
    return schema;
  }

  xany structure(xrttistruct* type) {
    const Scratch scratch(type);
    const Object properties = NewObject();
    struct Deleted {
      void operator()(xrttiattrseq* attrs) const { xdelete(attrs); }
    };
    const std::unique_ptr<xrttiattrseq, Deleted> attrs(velRttiCollectAttrs(type, true));
    for (int i = 0; i < attrs->getarraysize(); ++i) {
      const xstring name = attrs->get(i)->getName();
      // Of several of one name, the one that is set.
      properties->set(name, part(scratch, type->findAttr(name.CastToCString(), true)));
    }
    const Object schema = Closed(properties);
    if (scratch.isLenient()) schema->remove("additionalProperties");
    return velAny(schema);
  }

  // ---- unions ----

  // A branch and the values of the discriminator that tell it.
  struct Branch {
    xrttiattr* attr;  // null: none
    std::vector<xany> labels;
  };

  // One closed object for each branch, and one without the discriminator, for the branch
  // that a new object has.
  void addBranches(const List& either, xrttiunion* type) {
    xrttiattr* const discriminator = velDiscriminatorOf(type);
    if (!discriminator) return either->append(velAny(Closed(NewObject())));
    const Scratch scratch(type);
    xrttiattr* const first = firstBranch(scratch, type, discriminator);
    std::set<int> labels;
    std::set<xrttiobject*> visited;
    addLabels(type, labels, visited);
    xrttiattr* const otherwise = type->mapLabelToAttr(unlisted(labels), true);
    for (const Branch& branch : branches(type, discriminator, labels)) {
      if (branch.attr == otherwise) continue;
      const xany tells = velAny(With("enum", velAny(velSequence(branch.labels))));
      addBranch(either, scratch, discriminator, tells, branch.attr);
    }
    const xany tells = otherLabels(type, discriminator, labels, scratch.takesNil(discriminator));
    if (!tells.isnil()) addBranch(either, scratch, discriminator, tells, otherwise);
    if (scratch.get()) addBranch(either, scratch, nullptr, xany(), first);
  }

  void addBranch(const List& either, const Scratch& scratch, xrttiattr* discriminator,
                 const xany& tells, xrttiattr* branch) {
    const Object properties = NewObject();
    if (branch) properties->set(branch->getName(), part(scratch, branch));
    if (discriminator) properties->set(discriminator->getName(), tells);
    const Object schema = Closed(properties);
    if (discriminator) schema->set("required", OneOf({velKeyUtf8(discriminator->getName())}));
    either->append(velAny(schema));
  }

  // The branch of a new object.
  static xrttiattr* firstBranch(const Scratch& scratch, xrttiunion* type,
                                xrttiattr* discriminator) {
    xrttiattr* found = nullptr;
    if (!scratch.get()) return nullptr;
    Works([&] {
      const xany told = discriminator->getValue(scratch.get());
      if (told.isint() || told.isenum()) found = type->mapLabelToAttr(told.operator int(), true);
      if (told.isbool()) found = type->mapLabelToAttr(told.operator unsigned char() != 0, true);
    });
    return found;
  }

  static void addLabels(xrttiunion* type, std::set<int>& labels, std::set<xrttiobject*>& visited) {
    if (!type || !visited.insert(type).second) return;
    for (int i = 0; i < type->getNLabels(); ++i) labels.insert(type->getLabel(i));
    for (int i = 0; i < type->getNParents(); ++i) {
      addLabels(dynamic_cast<xrttiunion*>(type->getParent(i)), labels, visited);
    }
  }

  // A label as it stands in a document; nil for one that no discriminator has.
  static xany labelOf(xrttiattr* discriminator, int label) {
    xrtti* const type = discriminator->getType();
    if (auto* const asEnum = dynamic_cast<xrttienum*>(type)) {
      const xstring name = asEnum->mapIntToString(label);
      return name.IsNull() ? xany(xanyNil) : velAny(name);
    }
    if (velIsTypeNamed(type, "bool")) {
      return label == 0 || label == 1 ? velAny(label == 1) : xany(xanyNil);
    }
    return label > kUninitInt ? xany(label) : xany(xanyNil);
  }

  static std::vector<Branch> branches(xrttiunion* type, xrttiattr* discriminator,
                                      const std::set<int>& labels) {
    std::vector<Branch> all;
    for (const int label : labels) {
      const xany stands = labelOf(discriminator, label);
      if (stands.isnil()) continue;
      xrttiattr* const attr = type->mapLabelToAttr(label, true);
      // A member may be the branch of several labels, with a descriptor for each.
      const auto same = std::find_if(all.begin(), all.end(), [=](const Branch& branch) {
        return branch.attr == attr ||
               (branch.attr && attr && branch.attr->getName() == attr->getName());
      });
      if (same == all.end()) {
        all.push_back({attr, {stands}});
      } else {
        same->labels.push_back(stands);
      }
    }
    return all;
  }

  // What a discriminator may be that tells the branch of all others; nil for nothing.
  static xany otherLabels(xrttiunion* type, xrttiattr* discriminator, const std::set<int>& labels,
                          bool isNullable) {
    xrttiattr* const otherwise = type->mapLabelToAttr(unlisted(labels), true);
    const auto isOther = [&](int label) {
      return labels.count(label) == 0 || type->mapLabelToAttr(label, true) == otherwise;
    };
    const List taken = xanysequence::create();
    for (const int label : labels) {
      const xany stands = labelOf(discriminator, label);
      if (!stands.isnil() && !isOther(label)) taken->append(stands);
    }
    auto* const asEnum = dynamic_cast<xrttienum*>(discriminator->getType());
    if (!asEnum && !velIsTypeNamed(discriminator->getType(), "bool")) {
      xany schema = integer(isNullable);
      if (velCount(*taken) > 0) {
        velObject<xanydictionary>(schema)->set("not", velAny(With("enum", velAny(taken))));
      }
      return schema;
    }
    const List names = xanysequence::create();
    for (int label = 0, count = asEnum ? asEnum->getNValues() : 2; label < count; ++label) {
      const xany name = labelOf(discriminator, label);
      if (!name.isnil() && isOther(label)) names->append(name);
    }
    if (isNullable) names->append(xany(xanyNil));
    return velCount(*names) > 0 ? velAny(With("enum", velAny(names))) : xany(xanyNil);
  }

  static int unlisted(const std::set<int>& labels) {
    int label = 0;
    while (labels.count(label) > 0) ++label;
    return label;
  }

  xany rows(xrttiarray* type) {
    xany schema = element(type);
    for (int d = type->getNDimentions() - 1; d >= 0; --d) {
      const Object row = Plain("array", false);
      row->set("items", schema);
      row->set("minItems", velAny(type->getDimention(d)));
      row->set("maxItems", velAny(type->getDimention(d)));
      schema = velAny(row);
    }
    return schema;
  }

  std::vector<xrtti*> registered;
  std::map<std::string, std::vector<xrtti*>> derived;  // by the name of the parent
  const Object definitions = NewObject();
  std::set<std::string> seen;
  std::vector<xrtti*> open;
};

}  // namespace

xany velJsonSchema(const char* typeName) {
  if (!typeName) velhThrowNull();
  xrtti* const type = velRttiGetFromMap(typeName);
  if (!type) velThrowJson("unknown type " + std::string(typeName));
  return Schema().of(type);
}
