// velcompare.h - whether a second value has the content of a first.
//
// The walker goes through the first value; the visitor follows in the second,
// reading the matching parts through the first one's descriptors, and compares
// at every leaf. The comparison is about objects, and one-sided:
// - values that are no objects never compare equal, not even equal ones;
// - a dictionary may have entries that the first has not;
// - an enumeration value matches an int of its number only, so an object with
//   such an attribute does not equal itself;
// - what is uninitialised in the first matches anything;
// - an object met again within itself counts as equal.
#ifndef VELSTD_VELBASE_VELCOMPARE_H
#define VELSTD_VELBASE_VELCOMPARE_H

#include "korinst.h"
#include "veltraverser.h"

/// One visitor, one walk: neither state nor place is reset.
class VELSTD_API velCompareTraverser : public velTraverser {
 public:
  /// A visitor for one walk through the first value.
  /// @param second  the value it is compared with; what it holds is referenced until the
  ///                visitor goes
  explicit velCompareTraverser(xany second);
  /// Gives back what an unfinished walk still holds.
  ~velCompareTraverser();
  velCompareTraverser(const velCompareTraverser&) = delete;
  velCompareTraverser& operator=(const velCompareTraverser&) = delete;

  /// 0 undecided, 1 equal, 2 different.
  int getState() const { return state; }

  velTraverseResult simpleValue(xany value) override;
  velTraverseResult enumValue(xrttienum* type, int value) override;
  velTraverseResult beginObject(xrttiobject* type, xrcunihandle<xobject> object) override;
  velTraverseResult endObject(xrttiobject* type, xrcunihandle<xobject> object) override;
  velTraverseResult beginSequence(xrttisequence* type, xrcunihandle<xobject> object) override;
  velTraverseResult beginStructAttribute(xrttistruct* type, xrttiattr* attr,
                                         xrcunihandle<xobject> object) override;
  velTraverseResult beginSeqElement(xrttisequence* type, int position,
                                    xrcunihandle<xobject> object) override;
  velTraverseResult beginDictElement(xrttidictionary* type, xstring key,
                                     xrcunihandle<xobject> object) override;
  velTraverseResult beginArrayElement(xrttiarray* type, xrchandle<xintsequence> index,
                                      xrcunihandle<xobject> object) override;
  velTraverseResult beginUnionDicriminator(xrttiunion* type, xrttiattr* discriminator,
                                           xrcunihandle<xobject> object) override;
  velTraverseResult beginUnionValue(xrttiunion* type, xrttiattr* member,
                                    xrcunihandle<xobject> object) override;
  /// Throws the exception again; velXNativeException with the text where there
  /// is none.
  velTraverseResult errorOccured(const char* text, xrcunihandle<xthrowable> exception) override;
  velTraverseResult alreadyVisited(xrcunihandle<xobject> object) override;

 protected:
  /// The node of the second tree that matches the one being visited.
  xany current;
  /// The objects of the second tree from its root to `current`, each with a reference:
  /// one that a getter made for the call would be gone at once.
  velStack<xobject*> objects;
  /// What getState() gives.
  int state;

 private:
  velTraverseResult require(bool equal);
  velTraverseResult descend(xrttiattr* attr);
};

/// 1 when `second` has the content of `first` as described above.
/// Throws what a read out of either value throws.
VELSTD_API unsigned char velCompare(xany first, xany second);

#endif  // VELSTD_VELBASE_VELCOMPARE_H
