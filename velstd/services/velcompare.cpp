#include "velcompare.h"

#include <limits>
#include <typeinfo>

#include "velcollectionreads.h"

namespace {
constexpr int kNilInt = std::numeric_limits<int>::min();
constexpr int kUninitInt = kNilInt + 1;
}  // namespace

velCompareTraverser::velCompareTraverser(xany second) : current(second), state(0) {}

velCompareTraverser::~velCompareTraverser() {
  while (!objects.IsEmpty()) xrcrelease(objects.Pop());
}

velTraverseResult velCompareTraverser::require(bool equal) {
  if (equal) return velTrContinue;
  state = 2;
  return velTrStop;
}

velTraverseResult velCompareTraverser::descend(xrttiattr* attr) {
  current = attr ? attr->getValue(objects.Top()) : xany();
  return velTrContinue;
}

velTraverseResult velCompareTraverser::simpleValue(xany value) { return require(current == value); }

velTraverseResult velCompareTraverser::enumValue(xrttienum*, int value) {
  if (value == kUninitInt) return require(current.isuninit());
  if (value == kNilInt) return require(current.isnil());
  return require(current.getkind() == xanyInt && current.operator int() == value);
}

velTraverseResult velCompareTraverser::beginObject(xrttiobject* type, xrcunihandle<xobject>) {
  if (current.isnil() || current.isuninit() || !current.isobject()) return require(false);
  if (!current.getRtti()->isTypeKindOf(type)) return require(false);
  xobject* object = current.operator xobject*();
  objects.Push(object);
  xrcattach(object);
  current = xany();
  if (typeid(*type) == typeid(xrttidictionary)) {
    // Its entries are about to be looked for.
    const velDictionaryReads* reads = velReadsOf(dynamic_cast<xrttidictionary*>(type));
    if (void* dictionary = velCollectionAt(reads, object)) reads->open(dictionary);
  }
  return velTrContinue;
}

velTraverseResult velCompareTraverser::endObject(xrttiobject*, xrcunihandle<xobject>) {
  xrcrelease(objects.Pop());
  if (objects.IsEmpty()) state = 1;
  return velTrContinue;
}

velTraverseResult velCompareTraverser::beginSequence(xrttisequence* type,
                                                     xrcunihandle<xobject> object) {
  return require(type->getSize(object) == type->getSize(objects.Top()));
}

velTraverseResult velCompareTraverser::beginStructAttribute(xrttistruct*, xrttiattr* attr,
                                                            xrcunihandle<xobject>) {
  return descend(attr);
}

velTraverseResult velCompareTraverser::beginSeqElement(xrttisequence* type, int position,
                                                       xrcunihandle<xobject>) {
  const velSequenceReads* reads = velReadsOf(type);
  void* sequence = velCollectionAt(reads, objects.Top());
  if (sequence && reads->inPlace) {
    if (const xany* value = reads->inPlace(sequence, position)) {
      current = *value;
      return velTrContinue;
    }
  }
  current =
      sequence ? reads->element(sequence, position) : type->getElemValue(objects.Top(), position);
  return velTrContinue;
}

velTraverseResult velCompareTraverser::beginDictElement(xrttidictionary* type, xstring key,
                                                        xrcunihandle<xobject>) {
  const velDictionaryReads* reads = velReadsOf(type);
  void* dictionary = velCollectionAt(reads, objects.Top());
  if (dictionary) return require(reads->find(dictionary, key, &current));
  xany value;
  if (!type->findElemValue(objects.Top(), key, &value)) return require(false);
  current = static_cast<xany&&>(value);
  return velTrContinue;
}

velTraverseResult velCompareTraverser::beginArrayElement(xrttiarray* type,
                                                         xrchandle<xintsequence> index,
                                                         xrcunihandle<xobject>) {
  // The second array may be smaller: its getter must not see what lies outside.
  if (auto* own = dynamic_cast<xrttiarray*>(objects.Top()->getRtti())) {
    for (int i = 0, n = index->getarraysize(); i < n; ++i) {
      if (index->get(i) >= own->getDimention(i)) return require(false);
    }
  }
  current = type->getElemValue(objects.Top(), index);
  return velTrContinue;
}

velTraverseResult velCompareTraverser::beginUnionDicriminator(xrttiunion*, xrttiattr* discriminator,
                                                              xrcunihandle<xobject>) {
  return descend(discriminator);
}

velTraverseResult velCompareTraverser::beginUnionValue(xrttiunion*, xrttiattr* member,
                                                       xrcunihandle<xobject>) {
  return descend(member);
}

velTraverseResult velCompareTraverser::errorOccured(const char* text,
                                                    xrcunihandle<xthrowable> exception) {
  state = 2;
  if (exception.isnull()) velXNativeException::Throw(text);
  xthrow(exception);
}

velTraverseResult velCompareTraverser::alreadyVisited(xrcunihandle<xobject>) {
  return velTrContinue;
}

unsigned char velCompare(xany first, xany second) {
  velCompareTraverser comparer(second);
  velTraverse(first, &comparer);
  return comparer.getState() == 1;
}
