// veltraverser.h - walking any value through its descriptors.
//
// velTraverse visits a value depth first and reports every node to a visitor:
// a class derived from velTraverser that overrides the operations it cares
// for. Objects are reported with beginObject, an operation for their kind,
// their parts, and the matching ends; what one operation answers steers the
// walk.
//
// An object that contains itself is reported once with alreadyVisited; one that
// is reached twice otherwise is visited twice. Reads out of objects are
// guarded: what a getter throws is reported to errorOccured, and the walk goes
// on. What the visitor throws leaves velTraverse. Depth costs heap, not stack.
//
// Threads: a walk runs on its caller's thread; one visitor, one walk at a time.
// Ownership: handles are passed by value; descriptors are borrowed.
#ifndef VELSTD_VELBASE_VELTRAVERSER_H
#define VELSTD_VELBASE_VELTRAVERSER_H

#include "velexceptions.h"
#include "xany.h"
#include "xcollections.h"
#include "xrchandle.h"
#include "xrtti.h"
#include "xstring.h"

/// What an operation of a visitor tells the walker; any other int counts as
/// velTrContinue.
enum velTraverseResult : int {
  velTrContinue = 1,  ///< go on
  velTrSkip = 2,      ///< from a begin: neither contents nor end; next sibling
  velTrLeave = 3,     ///< no more parts of the container that this is a part of
  velTrStop = 4       ///< end the walk; nothing more is called
};

/// Ends a walk from inside; velTraverse catches it. Getters let it pass.
class VELSTD_API velTraverseXStop {};

// A visitor is destroyed through its own type, so its table starts with the
// operations and has no destructor.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wnon-virtual-dtor"

/// The operations of a visitor, each of which answers velTrContinue here.
/// Deleting one through this class is an error of the caller.
class VELSTD_API velTraverser {
 public:
  velTraverser() = default;

  /// Nil, an int, a bool, a real or a string. An uninitialised value is not
  /// reported.
  virtual velTraverseResult simpleValue(xany value);
  virtual velTraverseResult enumValue(xrttienum* type, int value);

  /// Around everything else of an object. Skip from here, and from the begin of
  /// its kind, suppresses endObject; leave counts as continue.
  virtual velTraverseResult beginObject(xrttiobject* type, xrcunihandle<xobject> object);
  virtual velTraverseResult endObject(xrttiobject* type, xrcunihandle<xobject> object);

  virtual velTraverseResult beginStructure(xrttistruct* type, xrcunihandle<xobject> object);
  virtual velTraverseResult endStructure(xrttistruct* type, xrcunihandle<xobject> object);
  /// `type` is the structure that declares the attribute: the object's own or
  /// one above it. Leave ends the attributes of all of them.
  virtual velTraverseResult beginStructAttribute(xrttistruct* type, xrttiattr* attr,
                                                 xrcunihandle<xobject> object);
  virtual velTraverseResult endStructAttribute(xrttistruct* type, xrttiattr* attr,
                                               xrcunihandle<xobject> object);

  virtual velTraverseResult beginSequence(xrttisequence* type, xrcunihandle<xobject> object);
  virtual velTraverseResult endSequence(xrttisequence* type, xrcunihandle<xobject> object);
  virtual velTraverseResult beginSeqElement(xrttisequence* type, int position,
                                            xrcunihandle<xobject> object);
  virtual velTraverseResult endSeqElement(xrttisequence* type, int position,
                                          xrcunihandle<xobject> object);

  virtual velTraverseResult beginDictionary(xrttidictionary* type, xrcunihandle<xobject> object);
  virtual velTraverseResult endDictionary(xrttidictionary* type, xrcunihandle<xobject> object);
  virtual velTraverseResult beginDictElement(xrttidictionary* type, xstring key,
                                             xrcunihandle<xobject> object);
  virtual velTraverseResult endDictElement(xrttidictionary* type, xstring key,
                                           xrcunihandle<xobject> object);

  virtual velTraverseResult beginArray(xrttiarray* type, xrcunihandle<xobject> object);
  virtual velTraverseResult endArray(xrttiarray* type, xrcunihandle<xobject> object);
  /// A sub-array of every dimension but the last; skip is not honoured. `index`
  /// has an entry for each dimension, 0 beyond this one.
  virtual velTraverseResult beginArrayDimension(xrttiarray* type, int dimension,
                                                xrchandle<xintsequence> index,
                                                xrcunihandle<xobject> object);
  virtual velTraverseResult endArrayDimension(xrttiarray* type, int dimension,
                                              xrchandle<xintsequence> index,
                                              xrcunihandle<xobject> object);
  virtual velTraverseResult beginArrayElement(xrttiarray* type, xrchandle<xintsequence> index,
                                              xrcunihandle<xobject> object);
  virtual velTraverseResult endArrayElement(xrttiarray* type, xrchandle<xintsequence> index,
                                            xrcunihandle<xobject> object);

  virtual velTraverseResult beginUnion(xrttiunion* type, xrcunihandle<xobject> object);
  virtual velTraverseResult endUnion(xrttiunion* type, xrcunihandle<xobject> object);
  virtual velTraverseResult beginUnionDicriminator(xrttiunion* type, xrttiattr* discriminator,
                                                   xrcunihandle<xobject> object);
  virtual velTraverseResult endUnionDicriminator(xrttiunion* type, xrttiattr* discriminator,
                                                 xrcunihandle<xobject> object);
  /// `member` is null when the discriminator selects none; nothing is read then.
  virtual velTraverseResult beginUnionValue(xrttiunion* type, xrttiattr* member,
                                            xrcunihandle<xobject> object);
  virtual velTraverseResult endUnionValue(xrttiunion* type, xrttiattr* member,
                                          xrcunihandle<xobject> object);

  /// A read failed: "VEL exception" with what was thrown, "Unknown exception"
  /// or "Invalid enum value" with a null handle.
  virtual velTraverseResult errorOccured(const char* text, xrcunihandle<xthrowable> exception);
  /// The object is already being visited further up.
  virtual velTraverseResult alreadyVisited(xrcunihandle<xobject> object);
};

#pragma GCC diagnostic pop

/// Walks `value` with `visitor` (borrowed; null walks nothing).
/// Throws what the visitor throws, and std::bad_alloc.
VELSTD_API void velTraverse(xany value, velTraverser* visitor);

#endif  // VELSTD_VELBASE_VELTRAVERSER_H
