// dsiter.h - iterators over the ds collections.
//
// An iterator begins at the first element. Changes to the collection shift
// what it sees next; the collection must outlive it.
// Throws: Reproduce throws std::bad_alloc. Threads: no locks. Ownership: an
// iterator owns no element.
#ifndef VELSTD_KORBASE_DSITER_H
#define VELSTD_KORBASE_DSITER_H

#include "korapi.h"

/// A place in a collection of T.
template <class T>
class VELSTD_API dsBaseIter {
 public:
  /// The collection is left alone.
  virtual ~dsBaseIter() = default;

  /// A new iterator at the same place, owned: the caller deletes it.
  virtual dsBaseIter* Reproduce() const = 0;

  /// True when the end is reached and there is no current element.
  virtual bool Finished() const = 0;

  /// Goes to the next element; stays at the end.
  virtual void Next() = 0;

  /// Goes back to the first element.
  virtual void Reset() = 0;

 protected:
  /// These are for derived classes: iterators are copied by Reproduce().
  dsBaseIter() = default;
  dsBaseIter(const dsBaseIter&) = default;
  dsBaseIter& operator=(const dsBaseIter&) = default;
};

/// A place whose element can be read.
template <class T>
class VELSTD_API dsIter : public dsBaseIter<T> {
 public:
  /// A new iterator at the same place, owned: the caller deletes it.
  dsIter* Reproduce() const override = 0;

  /// The current element; a zero value at the end.
  virtual T Get() const = 0;
};

#endif  // VELSTD_KORBASE_DSITER_H
