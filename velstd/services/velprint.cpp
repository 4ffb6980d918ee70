#include "velprint.h"

#include <charconv>
#include <fstream>
#include <ostream>
#include <string_view>
#include <unordered_set>
#include <vector>

#include "korstring.h"
#include "velobjectaccess.h"
#include "velstdstreams.h"

namespace {

constexpr unsigned kOneLine = 0xFFFFFFFF;
constexpr int kDefaultStep = 2;

bool PrintOwnName(std::ostream& out, xrttiobject* type) {
  const xstring name = type->getName();
  if (name.IsNull() || name.IsEmpty()) return false;
  out << name;
  return true;
}

/// The name of a type; one without a name is called by its parents' names, the
/// last first, each with a blank behind it. Nameless types under way are passed
/// by: they may be their own parents.
void PrintTypeName(std::ostream& out, xrttiobject* type) {
  if (PrintOwnName(out, type)) return;
  struct Step {
    xrttiobject* type;
    int next;  // its parents before this one are still to come
  };
  std::vector<Step> path{{type, type->getNParents()}};
  std::unordered_set<xrttiobject*> onPath{type};
  for (;;) {
    xrttiobject* current = path.back().type;
    if (path.back().next <= 0) {
      onPath.erase(current);
      path.pop_back();
      if (path.empty()) return;
      out << ' ';
      continue;
    }
    xrttiobject* parent = current->getParent(--path.back().next);
    if (!parent) continue;
    if (PrintOwnName(out, parent) || !onPath.insert(parent).second) {
      out << ' ';
    } else {
      path.push_back({parent, parent->getNParents()});
    }
  }
}

/// An object pointer as a value; the object survives it.
void PrintObject(std::ostream& out, xobject* object) {
  const velBorrow borrow(object);
  velPrint(object, out, kDefaultStep);
}

}  // namespace

velPrintTraverser::velPrintTraverser(std::ostream& stream, int stepWidth)
    : out(stream), step(static_cast<unsigned>(stepWidth)), indent(0) {}

void velPrintTraverser::nextLine() {
  if (step == kOneLine) {
    out << ' ';
    return;
  }
  out << std::endl;
  for (int i = 0; i < indent; ++i) out << ' ';
}

// Unsigned, so that a large step wraps around: what is added is taken off again.
void velPrintTraverser::shiftRight() {
  if (step != kOneLine) indent = static_cast<int>(static_cast<unsigned>(indent) + step);
}

void velPrintTraverser::shiftLeft() {
  if (step != kOneLine) indent = static_cast<int>(static_cast<unsigned>(indent) - step);
}

void velPrintTraverser::printBeginObject(xrttiobject* type, xrcunihandle<xobject>, char open) {
  PrintTypeName(out, type);
  nextLine();
  out << open;
  shiftRight();
}

void velPrintTraverser::printEndObject(xrttiobject*, xrcunihandle<xobject>, char close) {
  shiftLeft();
  nextLine();
  out << close;
}

void velPrintTraverser::printObjectAttribute(xrttiattr* attr) {
  nextLine();
  out << (attr ? attr->getName() : xstring()) << " : ";
}

// Not through the stream's own formatting, which may group digits.
void velPrintTraverser::printNumber(int number) {
  char digits[16];
  const auto end = std::to_chars(digits, digits + sizeof digits, number).ptr;
  out << std::string_view(digits, static_cast<std::size_t>(end - digits));
}

velTraverseResult velPrintTraverser::simpleValue(xany value) {
  if (value.isuninit()) {
    out << "uninit";
  } else if (value.isnil()) {
    out << "nil";
  } else if (value.isint()) {
    printNumber(value.operator int());
  } else if (value.isbool()) {
    out << (value.operator unsigned char() ? "true" : "false");
  } else if (value.isreal()) {
    out << value.operator double();
  } else if (value.isstring()) {
    out << '"' << value.operator xstring() << '"';
  } else {
    return errorOccured("Invalid simple value", 0);
  }
  return velTrContinue;
}

velTraverseResult velPrintTraverser::enumValue(xrttienum* type, int value) {
  out << type->mapIntToString(value);
  return velTrContinue;
}

velTraverseResult velPrintTraverser::beginObject(xrttiobject* type, xrcunihandle<xobject> object) {
  // The other kinds have an operation of their own.
  if (type->isSameAs(xrttiobject::getClassRtti())) printBeginObject(type, object, '{');
  return velTrContinue;
}

velTraverseResult velPrintTraverser::endObject(xrttiobject* type, xrcunihandle<xobject> object) {
  if (type->isSameAs(xrttiobject::getClassRtti())) printEndObject(type, object, '}');
  return velTrContinue;
}

velTraverseResult velPrintTraverser::beginStructure(xrttistruct* type,
                                                    xrcunihandle<xobject> object) {
  printBeginObject(type, object, '{');
  return velTrContinue;
}

velTraverseResult velPrintTraverser::endStructure(xrttistruct* type, xrcunihandle<xobject> object) {
  printEndObject(type, object, '}');
  return velTrContinue;
}

velTraverseResult velPrintTraverser::beginStructAttribute(xrttistruct*, xrttiattr* attr,
                                                          xrcunihandle<xobject>) {
  printObjectAttribute(attr);
  return velTrContinue;
}

velTraverseResult velPrintTraverser::beginSequence(xrttisequence* type,
                                                   xrcunihandle<xobject> object) {
  printBeginObject(type, object, '[');
  return velTrContinue;
}

velTraverseResult velPrintTraverser::endSequence(xrttisequence* type,
                                                 xrcunihandle<xobject> object) {
  printEndObject(type, object, ']');
  return velTrContinue;
}

velTraverseResult velPrintTraverser::beginSeqElement(xrttisequence*, int position,
                                                     xrcunihandle<xobject>) {
  nextLine();
  printNumber(position);
  out << " : ";
  return velTrContinue;
}

velTraverseResult velPrintTraverser::beginDictionary(xrttidictionary* type,
                                                     xrcunihandle<xobject> object) {
  printBeginObject(type, object, '{');
  return velTrContinue;
}

velTraverseResult velPrintTraverser::endDictionary(xrttidictionary* type,
                                                   xrcunihandle<xobject> object) {
  printEndObject(type, object, '}');
  return velTrContinue;
}

velTraverseResult velPrintTraverser::beginDictElement(xrttidictionary*, xstring key,
                                                      xrcunihandle<xobject>) {
  nextLine();
  out << '"' << key << "\" : ";
  return velTrContinue;
}

velTraverseResult velPrintTraverser::beginArray(xrttiarray* type, xrcunihandle<xobject> object) {
  printBeginObject(type, object, '[');
  return velTrContinue;
}

velTraverseResult velPrintTraverser::endArray(xrttiarray* type, xrcunihandle<xobject> object) {
  printEndObject(type, object, ']');
  return velTrContinue;
}

velTraverseResult velPrintTraverser::beginArrayDimension(xrttiarray*, int dimension,
                                                         xrchandle<xintsequence> index,
                                                         xrcunihandle<xobject>) {
  nextLine();
  printNumber(index->get(dimension));
  out << " : [";
  shiftRight();
  return velTrContinue;
}

velTraverseResult velPrintTraverser::endArrayDimension(xrttiarray*, int, xrchandle<xintsequence>,
                                                       xrcunihandle<xobject>) {
  shiftLeft();
  nextLine();
  out << ']';
  return velTrContinue;
}

velTraverseResult velPrintTraverser::beginArrayElement(xrttiarray*, xrchandle<xintsequence> index,
                                                       xrcunihandle<xobject>) {
  nextLine();
  printNumber(index->get(index->getarraysize() - 1));
  out << " : ";
  return velTrContinue;
}

velTraverseResult velPrintTraverser::beginUnion(xrttiunion* type, xrcunihandle<xobject> object) {
  printBeginObject(type, object, '{');
  return velTrContinue;
}

velTraverseResult velPrintTraverser::endUnion(xrttiunion* type, xrcunihandle<xobject> object) {
  printEndObject(type, object, '}');
  return velTrContinue;
}

velTraverseResult velPrintTraverser::beginUnionDicriminator(xrttiunion*, xrttiattr* discriminator,
                                                            xrcunihandle<xobject>) {
  printObjectAttribute(discriminator);
  return velTrContinue;
}

velTraverseResult velPrintTraverser::beginUnionValue(xrttiunion*, xrttiattr* member,
                                                     xrcunihandle<xobject>) {
  if (member) {
    printObjectAttribute(member);
  } else {
    nextLine();
    out << "Unknown union attribute";
  }
  return velTrContinue;
}

velTraverseResult velPrintTraverser::errorOccured(const char* text, xrcunihandle<xthrowable>) {
  out << "<ERROR: " << xstring(text) << '>';
  return velTrContinue;
}

velTraverseResult velPrintTraverser::alreadyVisited(xrcunihandle<xobject>) {
  out << "<printed>";
  return velTrContinue;
}

void velPrint(xany value, std::ostream& out, int step) {
  velPrintTraverser printer(out, step);
  velTraverse(value, &printer);
}

std::ostream& operator<<(std::ostream& out, xobject* object) {
  PrintObject(out, object);
  return out;
}

void velDebugPrint(xobject* object) { PrintObject(velStandardError(), object); }

namespace {

void PrintKeys(std::ostream& out, xobject* object) {
  const velBorrow borrow(object);
  const bool real = object && !velIsUninit(object);
  auto* type = real ? dynamic_cast<xrttidictionary*>(object->getRtti()) : nullptr;
  if (!type) {
    const xstring name = real ? object->getVelTypeName() : xstring(object ? "uninit" : "nil");
    out << "Type \"" << name << "\" is not a dictionary" << std::endl;
    return;
  }
  out << "Dictionary \"" << type->getName() << "\" keys: " << std::endl;
  for (int i = 0, count = type->getSize(object); i < count; ++i) {
    xstring key;
    if (type->getElemKeyByIdx(object, i, &key)) out << key << std::endl;
  }
}

}  // namespace

void velDbgPrintDictKeys(xobject* dictionary, const char* fileName) {
  fileName = korText(fileName);
  if (!fileName) return PrintKeys(velStandardOutput(), dictionary);
  std::ofstream file(fileName);
  if (file) PrintKeys(file, dictionary);
}
