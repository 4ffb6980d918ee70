#include "veltraverser.h"

// The defaults: go on. The handles come by value and are given back on return.
velTraverseResult velTraverser::simpleValue(xany) { return velTrContinue; }
velTraverseResult velTraverser::enumValue(xrttienum*, int) { return velTrContinue; }
velTraverseResult velTraverser::beginObject(xrttiobject*, xrcunihandle<xobject>) {
  return velTrContinue;
}
velTraverseResult velTraverser::endObject(xrttiobject*, xrcunihandle<xobject>) {
  return velTrContinue;
}
velTraverseResult velTraverser::beginStructure(xrttistruct*, xrcunihandle<xobject>) {
  return velTrContinue;
}
velTraverseResult velTraverser::endStructure(xrttistruct*, xrcunihandle<xobject>) {
  return velTrContinue;
}
velTraverseResult velTraverser::beginStructAttribute(xrttistruct*, xrttiattr*, xrcunihandle<xobject>) {
  return velTrContinue;
}
velTraverseResult velTraverser::endStructAttribute(xrttistruct*, xrttiattr*, xrcunihandle<xobject>) {
  return velTrContinue;
}
velTraverseResult velTraverser::beginSequence(xrttisequence*, xrcunihandle<xobject>) {
  return velTrContinue;
}
velTraverseResult velTraverser::endSequence(xrttisequence*, xrcunihandle<xobject>) {
  return velTrContinue;
}
velTraverseResult velTraverser::beginSeqElement(xrttisequence*, int, xrcunihandle<xobject>) {
  return velTrContinue;
}
velTraverseResult velTraverser::endSeqElement(xrttisequence*, int, xrcunihandle<xobject>) {
  return velTrContinue;
}
velTraverseResult velTraverser::beginDictionary(xrttidictionary*, xrcunihandle<xobject>) {
  return velTrContinue;
}
velTraverseResult velTraverser::endDictionary(xrttidictionary*, xrcunihandle<xobject>) {
  return velTrContinue;
}
velTraverseResult velTraverser::beginDictElement(xrttidictionary*, xstring, xrcunihandle<xobject>) {
  return velTrContinue;
}
velTraverseResult velTraverser::endDictElement(xrttidictionary*, xstring, xrcunihandle<xobject>) {
  return velTrContinue;
}
velTraverseResult velTraverser::beginArray(xrttiarray*, xrcunihandle<xobject>) {
  return velTrContinue;
}
velTraverseResult velTraverser::endArray(xrttiarray*, xrcunihandle<xobject>) {
  return velTrContinue;
}
velTraverseResult velTraverser::beginArrayDimension(xrttiarray*, int, xrchandle<xintsequence>, xrcunihandle<xobject>) {
  return velTrContinue;
}
velTraverseResult velTraverser::endArrayDimension(xrttiarray*, int, xrchandle<xintsequence>, xrcunihandle<xobject>) {
  return velTrContinue;
}
velTraverseResult velTraverser::beginArrayElement(xrttiarray*, xrchandle<xintsequence>, xrcunihandle<xobject>) {
  return velTrContinue;
}
velTraverseResult velTraverser::endArrayElement(xrttiarray*, xrchandle<xintsequence>, xrcunihandle<xobject>) {
  return velTrContinue;
}
velTraverseResult velTraverser::beginUnion(xrttiunion*, xrcunihandle<xobject>) {
  return velTrContinue;
}
velTraverseResult velTraverser::endUnion(xrttiunion*, xrcunihandle<xobject>) {
  return velTrContinue;
}
velTraverseResult velTraverser::beginUnionDicriminator(xrttiunion*, xrttiattr*, xrcunihandle<xobject>) {
  return velTrContinue;
}
velTraverseResult velTraverser::endUnionDicriminator(xrttiunion*, xrttiattr*, xrcunihandle<xobject>) {
  return velTrContinue;
}
velTraverseResult velTraverser::beginUnionValue(xrttiunion*, xrttiattr*, xrcunihandle<xobject>) {
  return velTrContinue;
}
velTraverseResult velTraverser::endUnionValue(xrttiunion*, xrttiattr*, xrcunihandle<xobject>) {
  return velTrContinue;
}
velTraverseResult velTraverser::errorOccured(const char*, xrcunihandle<xthrowable>) {
  return velTrContinue;
}
velTraverseResult velTraverser::alreadyVisited(xrcunihandle<xobject>) { return velTrContinue; }
