#include <cctype>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "velbyname.h"
#include "veljson.h"
#include "veljsontype.h"
#include "velrange.h"
#include "velrtti.h"
#include "xrttiattrseq.h"

namespace {

using Object = xrchandle<xanydictionary>;

Object NewObject() { return xanydictionary::create(); }

xany OneOf(const std::vector<std::string>& texts) { return velAny(velSequence(texts)); }

// A plain type, or null: any of them may be nil.
xany Plain(const char* name) {
  const Object schema = NewObject();
  schema->set("type", OneOf({name, "null"}));
  return velAny(schema);
}

class Schema {
 public:
  xany of(xrtti* type) {
    const Object root = NewObject();
    const xany inner = reference(type);
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
  // What stands where a value of that type is expected.
  xany reference(xrtti* type) {
    const std::string name = type ? velUtf8(type->getName()) : "any";
    if (name == "int") return integer();
    if (name == "bool") return Plain("boolean");
    if (name == "real") return Plain("number");
    if (name == "string") return Plain("string");
    if (name == "any" || name == "object") return velAny(NewObject());
    if (seen.insert(name).second) open.push_back(type);
    const Object schema = NewObject();
    const Object link = NewObject();
    link->set("$ref", velAny("#/$defs" + fragment(name)));
    const Object null = NewObject();
    null->set("type", velAny("null"));
    const auto either = xanysequence::create();
    either->append(velAny(link));
    either->append(velAny(null));
    schema->set("anyOf", velAny(either));
    return velAny(schema);
  }

  // A step of a JSON Pointer in the fragment of a URI.
  static std::string fragment(const std::string& name) {
    static constexpr char kDigits[] = "0123456789ABCDEF";
    std::string made;
    for (const char c : velStep(name)) {
      const auto byte = static_cast<unsigned char>(c);
      const bool isPlain = (byte < 0x80 && std::isalnum(byte)) ||
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

  static xany integer() {
    const Object schema = NewObject();
    schema->set("type", OneOf({"integer", "null"}));
    schema->set("minimum", velAny(-2147483646));
    schema->set("maximum", velAny(2147483647));
    return velAny(schema);
  }

  xany definition(xrtti* type) {
    if (auto* const asEnum = dynamic_cast<xrttienum*>(type)) return enumeration(asEnum);
    if (auto* const asStruct = dynamic_cast<xrttistruct*>(type)) return structure(asStruct);
    if (auto* const asUnion = dynamic_cast<xrttiunion*>(type)) return parts(asUnion);
    if (auto* const sequence = dynamic_cast<xrttisequence*>(type)) {
      const Object schema = typed("array");
      schema->set("items", reference(sequence->getElemType()));
      return velAny(schema);
    }
    if (auto* const dictionary = dynamic_cast<xrttidictionary*>(type)) {
      const Object schema = typed("object");
      schema->set("additionalProperties", reference(dictionary->getElemType()));
      return velAny(schema);
    }
    if (auto* const array = dynamic_cast<xrttiarray*>(type)) return rows(array);
    return velAny(false);  // objects without parts cannot be written
  }

  static Object typed(const char* name) {
    const Object schema = NewObject();
    schema->set("type", velAny(name));
    return schema;
  }

  static xany enumeration(xrttienum* type) {
    std::vector<std::string> names;
    for (int i = 0; i < type->getNValues(); ++i) names.push_back(velUtf8(type->mapIntToString(i)));
    const Object schema = NewObject();
    schema->set("enum", OneOf(names));
    return velAny(schema);
  }

  static Object closed() {
    const Object schema = typed("object");
    schema->set("additionalProperties", velAny(false));
    return schema;
  }

  void add(const Object& properties, xrttiattr* attr) {
    if (attr) properties->set(attr->getName(), reference(attr->getType()));
  }

  xany structure(xrttistruct* type) {
    const Object properties = NewObject();
    struct Deleted {
      void operator()(xrttiattrseq* attrs) const { xdelete(attrs); }
    };
    const std::unique_ptr<xrttiattrseq, Deleted> attrs(velRttiCollectAttrs(type, true));
    for (int i = attrs->getarraysize() - 1; i >= 0; --i) add(properties, attrs->get(i));
    const Object schema = closed();
    schema->set("properties", velAny(properties));
    return velAny(schema);
  }

  xany parts(xrttiunion* type) {
    const Object properties = NewObject();
    add(properties, type->getDefaultAttr());
    for (int i = type->getNLabels() - 1; i >= 0; --i) add(properties, type->getAttr(i));
    add(properties, type->getDiscr());
    const Object schema = type->getNParents() > 0 ? typed("object") : closed();
    schema->set("properties", velAny(properties));
    return velAny(schema);
  }

  xany rows(xrttiarray* type) {
    xany schema = reference(type->getElemType());
    for (int d = type->getNDimentions() - 1; d >= 0; --d) {
      const Object row = typed("array");
      row->set("items", schema);
      row->set("minItems", velAny(type->getDimention(d)));
      row->set("maxItems", velAny(type->getDimention(d)));
      schema = velAny(row);
    }
    return schema;
  }

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
