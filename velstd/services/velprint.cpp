#include "velprint.h"

#include <charconv>
#include <cstdint>
#include <cstring>
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

/// What a call writes, gathered and handed to the stream in few pieces: each piece
/// costs a look at the state of the stream and a call of its buffer. Nothing stays
/// here from one call to the next, so that others may write in between.
class Block {
 public:
  // cppcheck-suppress uninitMemberVar ; only what is used of the room is read
  explicit Block(std::ostream& stream) : out(stream), gathers(stream.width() == 0) {}
  Block(const Block&) = delete;
  Block& operator=(const Block&) = delete;
  /// Writes what comes before an exception of somebody else.
  ~Block() {
    if (used == 0) return;
    try {
      flush();
    } catch (...) {}
  }

  Block& operator<<(std::string_view text) {
    if (gathers && text.size() <= sizeof gathered - used) {
      std::memcpy(gathered + used, text.data(), text.size());
      used += text.size();
    } else {
      pass(text);
    }
    return *this;
  }
  Block& operator<<(const char* text) { return *this << std::string_view(text); }
  Block& operator<<(char c) { return *this << std::string_view(&c, 1); }

  Block& operator<<(const xstring& text) {
    const __xstring_c view = text.getxstring_c_unattached();
    if (!view.buffer) return *this << "nil";
    if (view.narrow) return *this << std::string_view(view.narrow);
    // A wide-only text is converted for the output alone.
    flush();
    out << text;
    gathers = out.width() == 0;
    return *this;
  }

  // Not through the stream's own formatting, which may group digits.
  Block& operator<<(int number) {
    char digits[16];
    const auto end = std::to_chars(digits, digits + sizeof digits, number).ptr;
    return *this << std::string_view(digits, static_cast<std::size_t>(end - digits));
  }

  /// Begins the next line, or goes on in the only one.
  void nextLine(unsigned step, int indent) {
    if (step == kOneLine) {
      *this << ' ';
      return;
    }
    flush();
    out << std::endl;
    for (int i = 0; i < indent; ++i) *this << ' ';
  }

  /// Ends each call that writes. May throw, as the stream does.
  void flush() {
    if (used > 0) writeOut();
  }

 private:
  // Out of line: g++ 12 with the sanitizers takes the array for one that nobody has
  // written to.
  __attribute__((noinline)) void writeOut() {
    const auto size = static_cast<std::streamsize>(used);
    used = 0;
    out.write(gathered, size);
  }

  // Past the gathered text. A width that is set on the stream pads what comes
  // first, and only that, so this one goes by itself.
  void pass(std::string_view text) {
    flush();
    out << text;
    gathers = out.width() == 0;
  }

  std::ostream& out;
  bool gathers;
  std::size_t used = 0;
  char gathered[256];
};

bool PrintOwnName(Block& out, xrttiobject* type) {
  const xstring name = type->getName();
  if (name.IsNull() || name.IsEmpty()) return false;
  out << name;
  return true;
}

/// The name of a type; one without a name is called by its parents' names, the
/// last first, each with a blank behind it. Nameless types under way are passed
/// by: they may be their own parents.
void PrintTypeName(Block& out, xrttiobject* type) {
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

// Wider, and cut off again: with a large step, too, what is added is taken off again.
void velPrintTraverser::shiftRight() {
  if (step != kOneLine) indent = static_cast<int>(std::int64_t{indent} + step);
}

void velPrintTraverser::shiftLeft() {
  if (step != kOneLine) indent = static_cast<int>(std::int64_t{indent} - step);
}

void velPrintTraverser::printBeginObject(xrttiobject* type, xrcunihandle<xobject>, char open) {
  Block block(out);
  PrintTypeName(block, type);
  block.nextLine(step, indent);
  block << open;
  block.flush();
  shiftRight();
}

void velPrintTraverser::printEndObject(xrttiobject*, xrcunihandle<xobject>, char close) {
  shiftLeft();
  Block block(out);
  block.nextLine(step, indent);
  block << close;
  block.flush();
}

void velPrintTraverser::printObjectAttribute(xrttiattr* attr) {
  Block block(out);
  block.nextLine(step, indent);
  block << (attr ? attr->getName() : xstring()) << " : ";
  block.flush();
}

velTraverseResult velPrintTraverser::simpleValue(xany value) {
  Block block(out);
  if (value.getkind() == xanyString) {
    // Most values are texts. A value has the layout of its C view.
    __xany_c view;
    std::memcpy(&view, static_cast<const void*>(&value), sizeof view);
    block << '"';
    if (view.u.s.buffer && view.u.s.narrow) {
      block << view.u.s.narrow;
    } else {
      block << value.operator xstring();
    }
    block << '"';
  } else if (value.isuninit()) {
    block << "uninit";
  } else if (value.isnil()) {
    block << "nil";
  } else if (value.isint()) {
    block << value.operator int();
  } else if (value.isbool()) {
    block << (value.operator unsigned char() ? "true" : "false");
  } else if (value.isreal()) {
    out << value.operator double();
  } else {
    return errorOccured("Invalid simple value", 0);
  }
  block.flush();
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
  Block block(out);
  block.nextLine(step, indent);
  block << position << " : ";
  block.flush();
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
  Block block(out);
  block.nextLine(step, indent);
  block << '"' << key << "\" : ";
  block.flush();
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
  Block block(out);
  block.nextLine(step, indent);
  block << index->get(dimension) << " : [";
  block.flush();
  shiftRight();
  return velTrContinue;
}

velTraverseResult velPrintTraverser::endArrayDimension(xrttiarray*, int, xrchandle<xintsequence>,
                                                       xrcunihandle<xobject>) {
  shiftLeft();
  Block block(out);
  block.nextLine(step, indent);
  block << ']';
  block.flush();
  return velTrContinue;
}

velTraverseResult velPrintTraverser::beginArrayElement(xrttiarray*, xrchandle<xintsequence> index,
                                                       xrcunihandle<xobject>) {
  Block block(out);
  block.nextLine(step, indent);
  block << index->get(index->getarraysize() - 1) << " : ";
  block.flush();
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
    Block block(out);
    block.nextLine(step, indent);
    block << "Unknown union attribute";
    block.flush();
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
