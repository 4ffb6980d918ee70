// velq types: the registry as text, one paragraph for each type.
//
//   structure demo::Point : demo::Shape
//     x : int
//   sequence demo::PointSeq of demo::Point
#include <ostream>
#include <string>

#include "command.h"
#include "velstd.h"

namespace {

const char* Optional(unsigned char isOptional) { return isOptional ? ", optional" : ""; }

// Null is a hole in a descriptor that somebody made by hand.
void WriteName(std::ostream& out, xrtti* type) {
  const xstring name = type ? type->getName() : xstring();
  if (name.IsNull()) {
    out << "nil";
  } else {
    out << name;
  }
}

void WriteAttribute(std::ostream& out, const char* role, xrttiattr* attr) {
  out << "\n  " << role;
  if (!attr) {
    out << "nothing";
    return;
  }
  out << attr->getName() << " : ";
  WriteName(out, attr->getType());
  out << Optional(attr->getIsOptional());
}

void WriteElement(std::ostream& out, xrtti* type, unsigned char isOptional) {
  out << " of ";
  WriteName(out, type);
  out << Optional(isOptional);
}

void WriteParents(std::ostream& out, xrttiobject* type) {
  for (int i = 0; i < type->getNParents(); ++i) {
    out << (i == 0 ? " : " : ", ");
    WriteName(out, type->getParent(i));
  }
  if (!type->getIsRefCount()) out << ", not counted";
}

void WriteHead(std::ostream& out, const char* kind, xrtti* type) {
  out << kind << ' ';
  WriteName(out, type);
}

void WriteStruct(std::ostream& out, xrttistruct* type) {
  WriteHead(out, "structure", type);
  WriteParents(out, type);
  for (int i = 0; i < type->getNAttrs(); ++i) WriteAttribute(out, "", type->getAttr(i));
}

void WriteUnion(std::ostream& out, xrttiunion* type) {
  WriteHead(out, "union", type);
  WriteParents(out, type);
  WriteAttribute(out, "by ", type->getDiscr());
  for (int i = 0; i < type->getNLabels(); ++i) {
    WriteAttribute(out, (std::to_string(type->getLabel(i)) + ": ").c_str(), type->getAttr(i));
  }
  if (type->getDefaultAttr()) WriteAttribute(out, "else: ", type->getDefaultAttr());
}

void WriteArray(std::ostream& out, xrttiarray* type) {
  WriteHead(out, "array", type);
  for (int i = 0; i < type->getNDimentions(); ++i) out << '[' << type->getDimention(i) << ']';
  WriteElement(out, type->getElemType(), type->getIsElemOptional());
  WriteParents(out, type);
}

template <class Collection>
void WriteCollection(std::ostream& out, const char* kind, Collection* type) {
  WriteHead(out, kind, type);
  WriteElement(out, type->getElemType(), type->getIsElemOptional());
  WriteParents(out, type);
}

void WriteEnum(std::ostream& out, xrttienum* type) {
  WriteHead(out, "enumeration", type);
  for (int i = 0; i < type->getNValues(); ++i) out << "\n  " << type->mapIntToString(i);
}

void WriteType(std::ostream& out, xrtti* type) {
  if (auto* structure = dynamic_cast<xrttistruct*>(type)) {
    WriteStruct(out, structure);
  } else if (auto* one = dynamic_cast<xrttiunion*>(type)) {
    WriteUnion(out, one);
  } else if (auto* array = dynamic_cast<xrttiarray*>(type)) {
    WriteArray(out, array);
  } else if (auto* sequence = dynamic_cast<xrttisequence*>(type)) {
    WriteCollection(out, "sequence", sequence);
  } else if (auto* dictionary = dynamic_cast<xrttidictionary*>(type)) {
    WriteCollection(out, "dictionary", dictionary);
  } else if (auto* object = dynamic_cast<xrttiobject*>(type)) {
    WriteHead(out, "object", object);
    WriteParents(out, object);
  } else if (auto* enumeration = dynamic_cast<xrttienum*>(type)) {
    WriteEnum(out, enumeration);
  } else {
    WriteHead(out, "basic", type);
  }
  out << '\n';
}

}  // namespace

int runTypes(Arguments& arguments, std::ostream& out) {
  loadLibraries(arguments);
  arguments.end();
  velRttiForEach(
      [](xrtti* type, void* stream) {
        WriteType(*static_cast<std::ostream*>(stream), type);
        return true;
      },
      &out);
  return kExitDone;
}
