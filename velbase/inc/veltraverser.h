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
  /// Has nothing to set up.
  velTraverser() = default;

  /// Nil, an int, a bool, a real or a string. An uninitialised value is not reported.
  /// Only stop has an effect.
  virtual velTraverseResult simpleValue(xany value);
  /// A value of an enumeration, by its number. Only stop has an effect.
  /// @param type   the enumeration (borrowed for ever)
  /// @param value  the number of the value
  virtual velTraverseResult enumValue(xrttienum* type, int value);

  /// Before everything else of an object. Skip from here suppresses all of it, endObject
  /// included; leave counts as continue.
  /// @param type    the descriptor of the object's class (borrowed for ever)
  /// @param object  the object, with a reference of the handle's
  virtual velTraverseResult beginObject(xrttiobject* type, xrcunihandle<xobject> object);
  /// After everything else of an object. Only stop has an effect.
  virtual velTraverseResult endObject(xrttiobject* type, xrcunihandle<xobject> object);

  /// Before the attributes of a structure, those of its parents included. Skip suppresses
  /// the attributes, endStructure and endObject; leave counts as continue.
  virtual velTraverseResult beginStructure(xrttistruct* type, xrcunihandle<xobject> object);
  /// After the attributes of a structure. Only stop has an effect.
  virtual velTraverseResult endStructure(xrttistruct* type, xrcunihandle<xobject> object);
  /// Before the value of an attribute, which is read after it. Skip goes on with the next
  /// attribute; leave ends the attributes of all structures that make up the object.
  /// @param type    the structure that declares the attribute: the object's own or one
  ///              above it
  /// @param attr    the attribute (borrowed for ever)
  /// @param object  the object that has it
  virtual velTraverseResult beginStructAttribute(xrttistruct* type, xrttiattr* attr,
                                                 xrcunihandle<xobject> object);
  /// After the value of an attribute. Leave acts as in beginStructAttribute().
  virtual velTraverseResult endStructAttribute(xrttistruct* type, xrttiattr* attr,
                                               xrcunihandle<xobject> object);

  /// Before the elements of a sequence. Skip suppresses the elements, endSequence and
  /// endObject; leave counts as continue.
  virtual velTraverseResult beginSequence(xrttisequence* type, xrcunihandle<xobject> object);
  /// After the elements of a sequence. Only stop has an effect.
  virtual velTraverseResult endSequence(xrttisequence* type, xrcunihandle<xobject> object);
  /// Before the element at `position`, from 0, which is read after it. Skip goes on with
  /// the next element; leave ends the elements.
  virtual velTraverseResult beginSeqElement(xrttisequence* type, int position,
                                            xrcunihandle<xobject> object);
  /// After the element at `position`. Leave ends the elements.
  virtual velTraverseResult endSeqElement(xrttisequence* type, int position,
                                          xrcunihandle<xobject> object);

  /// Before the entries of a dictionary. Skip suppresses the entries, endDictionary and
  /// endObject; leave counts as continue.
  virtual velTraverseResult beginDictionary(xrttidictionary* type, xrcunihandle<xobject> object);
  /// After the entries of a dictionary. Only stop has an effect.
  virtual velTraverseResult endDictionary(xrttidictionary* type, xrcunihandle<xobject> object);
  /// Before the value under `key`, which is read after it. Entries come in the order of
  /// their numbers. Skip goes on with the next entry; leave ends the entries.
  virtual velTraverseResult beginDictElement(xrttidictionary* type, xstring key,
                                             xrcunihandle<xobject> object);
  /// After the value under `key`. Leave ends the entries.
  virtual velTraverseResult endDictElement(xrttidictionary* type, xstring key,
                                           xrcunihandle<xobject> object);

  /// Before the elements of an array. Skip suppresses the elements, endArray and
  /// endObject; leave counts as continue.
  virtual velTraverseResult beginArray(xrttiarray* type, xrcunihandle<xobject> object);
  /// After the elements of an array. Only stop has an effect.
  virtual velTraverseResult endArray(xrttiarray* type, xrcunihandle<xobject> object);
  /// Before a sub-array of every dimension but the last. Skip is not honoured; leave ends
  /// the elements of the whole array.
  /// @param type       the array's type (borrowed for ever)
  /// @param dimension  the dimension, from 0
  /// @param index      an entry for each dimension, 0 beyond this one
  /// @param object     the array
  virtual velTraverseResult beginArrayDimension(xrttiarray* type, int dimension,
                                                xrchandle<xintsequence> index,
                                                xrcunihandle<xobject> object);
  /// After such a sub-array. Leave ends the elements of the whole array.
  virtual velTraverseResult endArrayDimension(xrttiarray* type, int dimension,
                                              xrchandle<xintsequence> index,
                                              xrcunihandle<xobject> object);
  /// Before the element at `index`, which has an entry for each dimension; it is read
  /// after it. Skip goes on with the next element; leave ends the elements of the whole
  /// array.
  virtual velTraverseResult beginArrayElement(xrttiarray* type, xrchandle<xintsequence> index,
                                              xrcunihandle<xobject> object);
  /// After the element at `index`. Leave ends the elements of the whole array.
  virtual velTraverseResult endArrayElement(xrttiarray* type, xrchandle<xintsequence> index,
                                            xrcunihandle<xobject> object);

  /// Before the discriminator of a union. Skip suppresses the contents, endUnion and
  /// endObject; leave counts as continue.
  virtual velTraverseResult beginUnion(xrttiunion* type, xrcunihandle<xobject> object);
  /// After the contents of a union. Only stop has an effect.
  virtual velTraverseResult endUnion(xrttiunion* type, xrcunihandle<xobject> object);
  /// Before the value of the discriminator, which has been read. Skip goes on with the
  /// member; leave passes that by, too.
  virtual velTraverseResult beginUnionDicriminator(xrttiunion* type, xrttiattr* discriminator,
                                                   xrcunihandle<xobject> object);
  /// After the value of the discriminator. Leave passes the member by.
  virtual velTraverseResult endUnionDicriminator(xrttiunion* type, xrttiattr* discriminator,
                                                 xrcunihandle<xobject> object);
  /// Before the value of the member that the discriminator selects. Skip and leave both
  /// pass it by.
  /// @param type    the union's type (borrowed for ever)
  /// @param member  null when the discriminator selects none; nothing is read then
  /// @param object  the union
  virtual velTraverseResult beginUnionValue(xrttiunion* type, xrttiattr* member,
                                            xrcunihandle<xobject> object);
  /// After the value of the member.
  virtual velTraverseResult endUnionValue(xrttiunion* type, xrttiattr* member,
                                          xrcunihandle<xobject> object);

  /// A read failed; the part counts as uninitialised. Only stop has an effect.
  /// @param text       "VEL exception", "Unknown exception" or "Invalid enum value"
  /// @param exception  what was thrown, with the first text; null with the others
  virtual velTraverseResult errorOccured(const char* text, xrcunihandle<xthrowable> exception);
  /// The object is already being visited further up. Only stop has an effect.
  virtual velTraverseResult alreadyVisited(xrcunihandle<xobject> object);
};

#pragma GCC diagnostic pop

/// Walks `value` with `visitor` (borrowed; null walks nothing).
/// Throws what the visitor throws, and std::bad_alloc.
VELSTD_API void velTraverse(xany value, velTraverser* visitor);

#endif  // VELSTD_VELBASE_VELTRAVERSER_H
