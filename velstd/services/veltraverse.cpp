// veltraverse.cpp - the walk itself.
//
// What a recursion would keep in its stack frames lies in an explicit stack, so
// that depth costs heap only. A frame is an object under visit and the place in
// its contents; step() makes one move in the topmost frame. Whatever visits a
// value may push a frame, so it comes last in a move.
#include <cxxabi.h>

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <limits>
#include <unordered_map>
#include <unordered_set>
#include <utility>
#include <vector>

#include "velcollectionreads.h"
#include "veltraverser.h"

namespace {

enum class Shape { plain, structure, sequence, dictionary, array, choice };

// A descriptor, seen as what it describes.
struct View {
  Shape shape = Shape::plain;
  union {
    xrttistruct* structure;
    xrttisequence* sequence;
    xrttidictionary* dictionary;
    xrttiarray* array;
    xrttiunion* choice;
  };

  // The short way, where the type has one and its objects may take it.
  union {
    const velSequenceReads* sequenceReads;
    const velDictionaryReads* dictionaryReads;
  };

  View() : structure(nullptr), sequenceReads(nullptr) {}

  // Takes the first of `order` that fits.
  View(xrttiobject* type, std::initializer_list<Shape> order) : View() {
    for (const Shape wanted : order) {
      if (see(type, wanted)) return;
    }
  }

 private:
  bool see(xrttiobject* type, Shape wanted) {
    switch (wanted) {
      case Shape::plain:
        return false;
      case Shape::structure:
        structure = dynamic_cast<xrttistruct*>(type);
        break;
      case Shape::sequence:
        sequence = dynamic_cast<xrttisequence*>(type);
        if (sequence) sequenceReads = velReadsOf(sequence);
        break;
      case Shape::dictionary:
        dictionary = dynamic_cast<xrttidictionary*>(type);
        if (dictionary) dictionaryReads = velReadsOf(dictionary);
        break;
      case Shape::array:
        array = dynamic_cast<xrttiarray*>(type);
        break;
      case Shape::choice:
        choice = dynamic_cast<xrttiunion*>(type);
        break;
    }
    if (structure) shape = wanted;
    return structure != nullptr;
  }
};

// What a walk has to know of a type: its own shape, and whose contents an
// object of it has, parents before children.
struct TypePlan {
  View own;
  std::vector<View> parts;
};

// The descriptors whose contents make up an object of type `type`, in order.
// `type` itself comes last; it counts as done only when it is met as a parent.
std::vector<xrttiobject*> ContentsOrder(xrttiobject* type) {
  struct Step {
    xrttiobject* type;
    int next;
  };
  std::vector<xrttiobject*> order;
  std::unordered_set<xrttiobject*> done;
  std::vector<Step> path{{type, 0}};
  while (!path.empty()) {
    xrttiobject* current = path.back().type;
    const int index = path.back().next++;
    if (index >= current->getNParents()) {
      order.push_back(current);
      path.pop_back();
      continue;
    }
    xrttiobject* parent = current->getParent(index);
    if (parent && done.insert(parent).second) path.push_back({parent, 0});
  }
  return order;
}

// The moves that a frame can be about to make.
enum class Move {
  nextPart,
  attribute,
  attributeEnd,
  element,
  elementEnd,
  entry,
  entryEnd,
  discriminator,
  discriminatorEnd,
  member,
  memberEnd,
  cell,
  cellEnd,
  close
};

struct Frame {
  Frame(xrttiobject* t, const TypePlan* p, xobject* o) : type(t), plan(p), object(o) {}

  const View& part() const { return *currentPart; }

  xrttiobject* type;
  const TypePlan* plan;
  xrcunihandle<xobject> object;
  Move move = Move::nextPart;
  std::size_t partIndex = 0;
  const View* currentPart = nullptr;
  // The place in the current part: attribute, element, entry or dimension.
  int index = 0;
  int count = 0;
  void* collection = nullptr;       // sequence, dictionary: for the short way, if there is one
  xstring key;                      // dictionary: the current entry's
  xany discriminator;               // union
  xrttiattr* member = nullptr;      // union: what the discriminator selects
  std::vector<int> positions;       // array: one per dimension
  xrchandle<xintsequence> indices;  // array: the same for the visitor
};

class Walk {
 public:
  explicit Walk(velTraverser& v) : visitor(v) {}

  void run(const xany& value) {
    visit(value);
    while (!frames.empty()) step(frames.back());
  }

 private:
  // Lets a stop through to velTraverse.
  static velTraverseResult heed(velTraverseResult result) {
    if (result == velTrStop) throw velTraverseXStop();
    return result;
  }

  // Runs a read out of an object; false when it threw and was reported.
  // The end of a thread arrives as a null reference, which is not looked at.
  // Takes the lambda by reference: what has just been stored word by word is slow
  // to copy in blocks.
  template <class Read>
  __attribute__((noinline, no_sanitize("null"))) bool guarded(const Read& read) {
    const char* text = "Unknown exception";
    xrcunihandle<xthrowable> exception;
    try {
      read();
      return true;
    } catch (const velTraverseXStop&) {
      throw;
    } catch (xthrowable* caught) {  // NOLINT(cert-err09-cpp): thrown so
      text = "VEL exception";
      exception = caught;
      xrcrelease(velAsObject(caught));
    } catch (const abi::__forced_unwind&) {
      throw;
    } catch (...) {}
    // Outside the handlers: what the visitor throws is not caught.
    heed(visitor.errorOccured(text, exception));
    return false;
  }

  // A guarded read, which stores what it reads in `value`; uninit when it failed.
  template <class Read>
  void readValue(xany& value, const Read& read) {
    if (!guarded(read)) value = xany();
  }

  // The same for a read that gives the value.
  template <class Read>
  xany guardedValue(const Read& read) {
    xany value;
    readValue(value, [&] { value = read(); });
    return value;
  }

  // Whether it may be an object's own code that runs when the value is copied, which
  // only a guarded read may do. What is none needs no copy but the visitor's.
  static bool isObject(const xany& value) { return value.getkind() == xanyObject; }

  // `value` may lie in a frame: once one is pushed it is not looked at again. It is
  // not copied either before its kind is known to be a valid one. One that nobody
  // looks at afterwards is handed on as it is.
  // True for an object: the frames may lie elsewhere now.
  template <class Value>
  bool visit(Value&& value) {
    if (value.isuninit()) return false;
    if (value.isnil()) {
      heed(visitor.simpleValue(xany(xanyNil)));
      return false;
    }
    switch (value.getkind()) {
      case xanyInt:
      case xanyBool:
      case xanyReal:
      case xanyString:
        heed(visitor.simpleValue(std::forward<Value>(value)));
        return false;
      case xanyEnum:
        if (auto* type = dynamic_cast<xrttienum*>(value.getRtti())) {
          heed(visitor.enumValue(type, value.operator int()));
        } else {
          heed(visitor.errorOccured("Invalid enum value", 0));
        }
        return false;
      case xanyObject:
        visitObject(value.operator xobject*());
        return true;
      default:
        return false;
    }
  }

  void visitObject(xobject* object) {
    if (!enter(object)) {
      heed(visitor.alreadyVisited(object));
      return;
    }
    xrttiobject* type = object->getRtti();
    frames.emplace_back(type, planFor(type), object);
    const Frame& frame = frames.back();
    if (heed(visitor.beginObject(type, frame.object)) == velTrSkip ||
        heed(beginShape(frame)) == velTrSkip) {
      finish();
    }
  }

  // Makes `object` one of those under visit; false if it is one already. A look at a
  // few frames costs less than an entry in the set.
  bool enter(xobject* object) {
    const std::size_t looked = std::min(frames.size(), kShallow);
    for (std::size_t i = 0; i < looked; ++i) {
      if (frames[i].object.operator->() == object) return false;
    }
    return frames.size() < kShallow || deepPath.insert(object).second;
  }

  void finish() {
    if (frames.size() > kShallow) deepPath.erase(frames.back().object);
    frames.pop_back();
  }

  // The same type comes again and again: the elements of a sequence.
  const TypePlan* planFor(xrttiobject* type) {
    if (type != lastType) {
      lastPlan = findPlan(type);
      lastType = type;
    }
    return lastPlan;
  }

  const TypePlan* findPlan(xrttiobject* type) {
    const auto known = plans.find(type);
    if (known != plans.end()) return &known->second;
    TypePlan plan;
    plan.own = View(
        type, {Shape::structure, Shape::sequence, Shape::dictionary, Shape::array, Shape::choice});
    for (xrttiobject* part : ContentsOrder(type)) {
      const View view(part, {Shape::structure, Shape::array, Shape::sequence, Shape::dictionary,
                             Shape::choice});
      if (view.shape != Shape::plain) plan.parts.push_back(view);
    }
    return &plans.emplace(type, std::move(plan)).first->second;
  }

  velTraverseResult beginShape(const Frame& frame) {
    const View& own = frame.plan->own;
    switch (own.shape) {
      case Shape::structure:
        return visitor.beginStructure(own.structure, frame.object);
      case Shape::sequence:
        return visitor.beginSequence(own.sequence, frame.object);
      case Shape::dictionary:
        return visitor.beginDictionary(own.dictionary, frame.object);
      case Shape::array:
        return visitor.beginArray(own.array, frame.object);
      case Shape::choice:
        return visitor.beginUnion(own.choice, frame.object);
      case Shape::plain:
        break;
    }
    return velTrContinue;
  }

  velTraverseResult endShape(const Frame& frame) {
    const View& own = frame.plan->own;
    switch (own.shape) {
      case Shape::structure:
        return visitor.endStructure(own.structure, frame.object);
      case Shape::sequence:
        return visitor.endSequence(own.sequence, frame.object);
      case Shape::dictionary:
        return visitor.endDictionary(own.dictionary, frame.object);
      case Shape::array:
        return visitor.endArray(own.array, frame.object);
      case Shape::choice:
        return visitor.endUnion(own.choice, frame.object);
      case Shape::plain:
        break;
    }
    return velTrContinue;
  }

  void step(Frame& frame) {
    switch (frame.move) {
      case Move::nextPart:
        return openPart(frame);
      case Move::attribute:
        return attribute(frame);
      case Move::attributeEnd:
        return attributeEnd(frame);
      case Move::element:
        return element(frame);
      case Move::elementEnd:
        return elementEnd(frame);
      case Move::entry:
        return entry(frame);
      case Move::entryEnd:
        return entryEnd(frame);
      case Move::discriminator:
        return discriminator(frame);
      case Move::discriminatorEnd:
        return discriminatorEnd(frame);
      case Move::member:
        return member(frame);
      case Move::memberEnd:
        heed(visitor.endUnionValue(frame.part().choice, frame.member, frame.object));
        return closePart(frame);
      case Move::cell:
        return cell(frame);
      case Move::cellEnd:
        return cellEnd(frame);
      case Move::close:
        heed(endShape(frame));
        heed(visitor.endObject(frame.type, frame.object));
        return finish();
    }
  }

  void openPart(Frame& frame) {
    if (frame.partIndex == frame.plan->parts.size()) {
      frame.move = Move::close;
      return;
    }
    frame.currentPart = &frame.plan->parts[frame.partIndex];
    const View& part = frame.part();
    frame.index = 0;
    switch (part.shape) {
      case Shape::structure:
        frame.count = part.structure->getNAttrs();
        frame.move = Move::attribute;
        break;
      case Shape::sequence:
        frame.collection = velCollectionAt(part.sequenceReads, frame.object);
        frame.count = guardedCount([&] {
          return frame.collection ? part.sequenceReads->size(frame.collection)
                                  : part.sequence->getSize(frame.object);
        });
        frame.move = Move::element;
        break;
      case Shape::dictionary:
        frame.collection = velCollectionAt(part.dictionaryReads, frame.object);
        frame.count = guardedCount([&] {
          return frame.collection ? part.dictionaryReads->open(frame.collection)
                                  : part.dictionary->getSize(frame.object);
        });
        frame.move = Move::entry;
        break;
      case Shape::array:
        openArray(frame);
        break;
      case Shape::choice:
        frame.move = Move::discriminator;
        break;
      case Shape::plain:
        break;
    }
  }

  // A count that cannot be read is 0.
  template <class Read>
  int guardedCount(const Read& read) {
    int count = 0;
    if (!guarded([&] { count = read(); })) count = 0;
    return count;
  }

  static void closePart(Frame& frame) {
    ++frame.partIndex;
    frame.move = Move::nextPart;
  }

  // The parts of structures, sequences and dictionaries that are plain values need
  // no turn in the stack: one function goes through them until it meets an object.
  // What begins a part tells whether it has.

  // ---- structure: the only one whose leave ends the parts that follow ----

  void attribute(Frame& frame) {
    while (frame.move == Move::attribute) {
      if (attributeBegin(frame)) return;
      if (frame.move == Move::attributeEnd) attributeEnd(frame);
    }
  }

  bool attributeBegin(Frame& frame) {
    xrttistruct* type = frame.part().structure;
    if (frame.index >= frame.count) return closePart(frame), false;
    xrttiattr* attr = type->getAttr(frame.index);
    switch (heed(visitor.beginStructAttribute(type, attr, frame.object))) {
      case velTrSkip:
        ++frame.index;
        return false;
      case velTrLeave:
        frame.move = Move::close;
        return false;
      default:
        break;
    }
    xany value = guardedValue([&] { return attr ? attr->getValue(frame.object) : xany(); });
    frame.move = Move::attributeEnd;
    return visit(std::move(value));
  }

  void attributeEnd(Frame& frame) {
    xrttistruct* type = frame.part().structure;
    const bool leaves = heed(visitor.endStructAttribute(type, type->getAttr(frame.index),
                                                        frame.object)) == velTrLeave;
    ++frame.index;
    frame.move = leaves ? Move::close : Move::attribute;
  }

  // ---- sequence ----

  void element(Frame& frame) {
    while (frame.move == Move::element) {
      if (elementBegin(frame)) return;
      if (frame.move == Move::elementEnd) elementEnd(frame);
    }
  }

  bool elementBegin(Frame& frame) {
    xrttisequence* type = frame.part().sequence;
    if (frame.index >= frame.count) return closePart(frame), false;
    switch (heed(visitor.beginSeqElement(type, frame.index, frame.object))) {
      case velTrSkip:
        ++frame.index;
        return false;
      case velTrLeave:
        return closePart(frame), false;
      default:
        break;
    }
    const velSequenceReads* reads = frame.collection ? frame.part().sequenceReads : nullptr;
    if (reads && reads->inPlace) {
      const xany* value = reads->inPlace(frame.collection, frame.index);
      if (value && !isObject(*value)) {
        frame.move = Move::elementEnd;
        return visit(*value);
      }
    }
    xany value;
    readValue(value, [&] {
      value = reads ? reads->element(frame.collection, frame.index)
                    : type->getElemValue(frame.object, frame.index);
    });
    frame.move = Move::elementEnd;
    return visit(std::move(value));
  }

  void elementEnd(Frame& frame) {
    const velTraverseResult result =
        heed(visitor.endSeqElement(frame.part().sequence, frame.index, frame.object));
    if (result == velTrLeave) return closePart(frame);
    ++frame.index;
    frame.move = Move::element;
  }

  // ---- dictionary: an index without a key is no entry ----

  void entry(Frame& frame) {
    while (frame.move == Move::entry) {
      if (entryBegin(frame)) return;
      if (frame.move == Move::entryEnd) entryEnd(frame);
    }
  }

  bool entryBegin(Frame& frame) {
    xrttidictionary* type = frame.part().dictionary;
    if (frame.index >= frame.count) return closePart(frame), false;
    const velDictionaryReads* reads = frame.collection ? frame.part().dictionaryReads : nullptr;
    if (!(reads ? readNextKey(frame, *reads) : readKey(frame, type))) {
      ++frame.index;
      return false;
    }
    switch (heed(visitor.beginDictElement(type, frame.key, frame.object))) {
      case velTrSkip:
        ++frame.index;
        return false;
      case velTrLeave:
        return closePart(frame), false;
      default:
        break;
    }
    if (reads && reads->inPlace) {
      const xany* value = reads->inPlace(frame.collection, frame.index);
      if (value && !isObject(*value)) {
        frame.move = Move::entryEnd;
        return visit(*value);
      }
    }
    xany value;
    readValue(value, [&] {
      const bool found = reads ? reads->value(frame.collection, frame.index, &value)
                               : type->getElemValueByIdx(frame.object, frame.index, &value) != 0;
      if (!found) value = xany("<uninit>");
    });
    frame.move = Move::entryEnd;
    return visit(std::move(value));
  }

  // These two answer whether frame.index is an entry whose key could be read.
  bool readKey(Frame& frame, xrttidictionary* type) {
    bool present = false;
    frame.key = xstring();
    return guarded([&] {
             present = type->getElemKeyByIdx(frame.object, frame.index, &frame.key) != 0;
           }) &&
           present;
  }

  // Dictionaries that mean the same kind of thing have the same keys, and these lie
  // in the same slots: most often the last key that was met there is this one, and
  // need not be made again.
  bool readNextKey(Frame& frame, const velDictionaryReads& reads) {
    const char* text = reads.nextKey(frame.collection, &frame.index, frame.count);
    if (!text) return false;
    if (recentKeys.empty()) recentKeys.resize(kRecentKeys);
    RecentKey& recent = recentKeys[static_cast<std::size_t>(frame.index) % kRecentKeys];
    if (recent.key.IsNull() || !recent.text.isKey(text)) {
      if (!guarded([&] { recent.key = text; })) return false;
      recent.text = velKeyText(recent.key.CastToCString(), std::strlen(text));
    }
    frame.key = recent.key;
    return true;
  }

  void entryEnd(Frame& frame) {
    const velTraverseResult result =
        heed(visitor.endDictElement(frame.part().dictionary, std::move(frame.key), frame.object));
    if (result == velTrLeave) return closePart(frame);
    ++frame.index;
    frame.move = Move::entry;
  }

  // ---- union ----

  void discriminator(Frame& frame) {
    xrttiunion* type = frame.part().choice;
    xrttiattr* attr = type->getDiscr();
    frame.discriminator =
        guardedValue([&] { return attr ? attr->getValue(frame.object) : xany(); });
    switch (heed(visitor.beginUnionDicriminator(type, attr, frame.object))) {
      case velTrSkip:
        frame.move = Move::member;
        return;
      case velTrLeave:
        return closePart(frame);
      default:
        break;
    }
    frame.move = Move::discriminatorEnd;
    visit(frame.discriminator);
  }

  void discriminatorEnd(Frame& frame) {
    xrttiunion* type = frame.part().choice;
    if (heed(visitor.endUnionDicriminator(type, type->getDiscr(), frame.object)) == velTrLeave) {
      return closePart(frame);
    }
    frame.move = Move::member;
  }

  // The number that stands for a discriminator; false for values that have none.
  static bool labelOf(const xany& value, int* label) {
    if (value.isint() || value.isenum()) {
      *label = value.operator int();
      return true;
    }
    if (value.isbool()) {
      *label = value.operator unsigned char() != 0;
      return true;
    }
    return false;
  }

  void member(Frame& frame) {
    xrttiunion* type = frame.part().choice;
    int label;
    frame.member = nullptr;
    if (labelOf(frame.discriminator, &label)) {
      guarded([&] { frame.member = type->mapLabelToAttr(label, 1); });
    }
    switch (heed(visitor.beginUnionValue(type, frame.member, frame.object))) {
      case velTrSkip:
      case velTrLeave:
        return closePart(frame);
      default:
        break;
    }
    xany value =
        guardedValue([&] { return frame.member ? frame.member->getValue(frame.object) : xany(); });
    frame.move = Move::memberEnd;
    visit(std::move(value));
  }

  // ---- array: frame.index is the dimension, frame.count their number ----

  void openArray(Frame& frame) {
    frame.count = frame.part().array->getNDimentions();
    if (frame.count < 1) return closePart(frame);
    // The sequence refuses what is too much before the positions take memory.
    frame.indices = xintsequence::createCapacity(static_cast<unsigned>(frame.count));
    frame.positions.assign(static_cast<std::size_t>(frame.count), 0);
    frame.move = Move::cell;
  }

  static int& position(Frame& frame) {
    return frame.positions[static_cast<std::size_t>(frame.index)];
  }

  // The visitor's index sequence, whatever it did to it the last time.
  static const xrchandle<xintsequence>& indices(Frame& frame) {
    xintsequence& sequence = *frame.indices;
    if (sequence.getarraysize() > frame.count) sequence.clear();
    for (int i = 0; i < frame.count; ++i) {
      sequence.set(i, frame.positions[static_cast<std::size_t>(i)]);
    }
    return frame.indices;
  }

  void cell(Frame& frame) {
    xrttiarray* type = frame.part().array;
    if (position(frame) >= type->getDimention(frame.index)) return closeDimension(frame);
    if (frame.index < frame.count - 1) {
      if (heed(visitor.beginArrayDimension(type, frame.index, indices(frame), frame.object)) ==
          velTrLeave) {
        return closePart(frame);
      }
      ++frame.index;
      return;
    }
    switch (heed(visitor.beginArrayElement(type, indices(frame), frame.object))) {
      case velTrSkip:
        ++position(frame);
        return;
      case velTrLeave:
        return closePart(frame);
      default:
        break;
    }
    xany value = guardedValue([&] {
      std::vector<int> at = frame.positions;
      return type->getElemValue(frame.object, at.data());
    });
    frame.move = Move::cellEnd;
    visit(std::move(value));
  }

  void cellEnd(Frame& frame) {
    if (heed(visitor.endArrayElement(frame.part().array, indices(frame), frame.object)) ==
        velTrLeave) {
      return closePart(frame);
    }
    ++position(frame);
    frame.move = Move::cell;
  }

  // A dimension has been gone through: ends the sub-array it was.
  void closeDimension(Frame& frame) {
    position(frame) = 0;
    if (frame.index == 0) return closePart(frame);
    --frame.index;
    if (heed(visitor.endArrayDimension(frame.part().array, frame.index, indices(frame),
                                       frame.object)) == velTrLeave) {
      return closePart(frame);
    }
    ++position(frame);
  }

  velTraverser& visitor;
  std::unordered_map<xrttiobject*, TypePlan> plans;
  const TypePlan* lastPlan = nullptr;
  xrttiobject* lastType = nullptr;
  std::vector<Frame> frames;
  // The objects under visit but those of the first frames.
  std::unordered_set<xobject*> deepPath;
  static constexpr std::size_t kShallow = 8;
  // Of standard dictionaries, by slot; none before the first.
  static constexpr std::size_t kRecentKeys = 32;
  struct RecentKey {
    xstring key;
    velKeyText text;
  };
  std::vector<RecentKey> recentKeys;
};

}  // namespace

void velTraverse(xany value, velTraverser* visitor) {
  if (!visitor) return;
  try {
    Walk(*visitor).run(value);
  } catch (const velTraverseXStop&) {
    // The visitor has seen enough.
  }
}
