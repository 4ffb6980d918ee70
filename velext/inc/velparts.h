// velparts.h - the parts of an object, one after the other, through its descriptor.
//
// What equality, difference, hash, clone, paths and JSON have in common: they look at
// the parts of values and keep their own list of what is still to be done, so that
// depth costs heap, not stack. For whoever writes more of the kind.
// A getter may make a new object at each call: who remembers objects by address must
// hold them meanwhile.
#ifndef VELSTD_VELEXT_VELPARTS_H
#define VELSTD_VELEXT_VELPARTS_H

#include <cstddef>
#include <string>
#include <vector>

#include "korapi.h"
#include "xany.h"
#include "xrtti.h"

/// A part: where it is, and its value.
struct velPart {
  std::string name;  ///< of an attribute, or the key of an entry, as narrow bytes
  int index = -1;    ///< of an element, row by row in an array; -1 for named parts
  /// The value, with a reference of its own.
  xany value;
};

/// What an object is made of.
enum class velShape {
  kStruct,      ///< attributes
  kUnion,       ///< a discriminator and a branch
  kSequence,    ///< elements
  kDictionary,  ///< entries
  kArray,       ///< elements, of dimensions
  kOpaque       ///< nothing that a descriptor tells
};

/// The parts of an object.
struct velParts {
  /// What the object is made of.
  velShape shape = velShape::kOpaque;
  /// The descriptor of its class (borrowed for ever).
  xrttiobject* type = nullptr;
  /// The parts, in order.
  std::vector<velPart> list;
};

/// The parts of an object (not null): attributes with those of the parents before,
/// each name once, where that of the object's own type, or of the first parent depth
/// first, counts; the discriminator and the branch of a union; elements; entries in
/// the order of the bytes of their keys. Throws what getters throw, and
/// velXTypeMismatch for a structure with a parent that is none.
VELSTD_API velParts velPartsOf(xobject* object);

/// The same into `parts`, which are new. When a getter throws, the last of the list is the
/// part that it was to read, without a value.
VELSTD_API void velReadParts(xobject* object, velParts& parts);

/// The discriminator of a union, which one of its parents may declare; null for none.
VELSTD_API xrttiattr* velDiscriminatorOf(xrttiunion* type);

/// The object of a value, borrowed; null for any other value.
inline xobject* velObjectOfValue(const xany& value) {
  return value.getkind() == xanyObject && !value.isnil() && !value.isuninit()
             ? value.operator xobject*()
             : nullptr;
}

/// Whether two values that are no objects are the same: of one kind, numbers by value
/// (any NaN is any other), text, enumerations by type and number.
VELSTD_API bool velSameLeaf(const xany& a, const xany& b);

/// A hash that is the same for the same leaves.
VELSTD_API std::size_t velHashOfLeaf(const xany& value);

#endif  // VELSTD_VELEXT_VELPARTS_H
