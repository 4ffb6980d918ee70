// velequals.h - values as what they mean: equality, hash, difference, copy.
//
// Two values are equal when a reader cannot tell them apart by their parts: leaves of
// one kind and value (any NaN is equal to any other, 0.0 to -0.0, nil to nil, uninit to
// uninit); objects of one type (by name) with equal parts. Elements are compared by
// position, entries by key, attributes by name. Objects without parts are equal to
// themselves only. Cycles are equal when no path through them tells a difference.
// Both directions agree. velCompare, which asks only what the expected value
// has, stays beside it.
//
// Depth costs heap, not stack. What getters throw passes through. A value whose getters
// make new objects without end has no end here, either.
// Threads and ownership: as the values.
#ifndef VELSTD_VELEXT_VELEQUALS_H
#define VELSTD_VELEXT_VELEQUALS_H

#include <cstddef>
#include <iosfwd>
#include <optional>
#include <string>
#include <vector>

#include "korapi.h"
#include "xany.h"

/// Whether the values are equal, as the head of this file says. Throws what getters
/// throw, and std::bad_alloc.
VELSTD_API bool velEquals(const xany& a, const xany& b);

/// Equal values have the same hash. Looks at three levels of objects, and at the first
/// sixteen parts of each; takes the time to read these objects, some hundreds at most.
VELSTD_API std::size_t velHash(const xany& value);

/// A copy that shares no object with the original, whose shape it keeps: what is there
/// twice is there twice, a cycle is a cycle. Objects are made and filled by name, from
/// the outside in: a setter gets an object that is still empty, and is to keep it, not
/// to look into it (see
/// velbyname.h); what cannot be made throws velXNativeException "Type cannot be
/// created: N" and "Type cannot be written: N". Attributes that cannot be set are left
/// as the new object has them; when that is another value, it throws "Attribute cannot
/// be set: N".
VELSTD_API xany velClone(const xany& value);
/// The same of what a handle holds; a null handle for null.
template <class C>
xrchandle<C> velClone(const xrchandle<C>& object) {
  if (object.isnull()) return xrchandle<C>();
  const xany copy = velClone(xany(object));
  return xrchandle<C>(dynamic_cast<C*>(copy.operator xobject*()));
}

/// One difference: the place, as a path (velbyname.h), and what is there before and
/// after; nothing where there is nothing.
struct velDifference {
  /// Where: the elements of `before` are counted, but for the last step of what comes.
  std::string path;
  /// What is there before; nothing for what comes.
  std::optional<xany> before;
  /// What is there after; nothing for what goes.
  std::optional<xany> after;
};

/// What has to be changed in `before` to make it `after`; empty if they are equal. The
/// elements of sequences are matched by a shortest edit script (its time grows with
/// their number times the number of differences); one that is replaced is looked into.
/// Paths count elements as in `before`; but the last step of what comes counts as in
/// `after`. Objects that come again are told once.
VELSTD_API std::vector<velDifference> velDiff(const xany& before, const xany& after);

/// As "/lines/3/price : 12.5 -> 13", each value in one line (ends of lines in texts are
/// escaped as in C); "(nothing)" for what is not there. Numbers as the stream writes them, or with
/// all their digits where both would read the same.
VELSTD_API std::ostream& operator<<(std::ostream& out, const velDifference& difference);

#endif  // VELSTD_VELEXT_VELEQUALS_H
