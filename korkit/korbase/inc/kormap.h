// kormap.h - sorted maps from a key pointer to a pointer.
//
// Records lie in one array in the order of the keys. Neither keys nor values
// are copied or freed: the caller keeps them alive while the map holds them.
// Cost: search logarithmic, insertion and removal linear.
// Throws: as korxarray.h. Threads: no locks. Ownership: the map owns nothing
// but its storage.
#ifndef VELSTD_KORBASE_KORMAP_H
#define VELSTD_KORBASE_KORMAP_H

#include <type_traits>

#include "korcompare.h"
#include "korxarray.h"

/// Walks a record array from the front. Insertion and removal behind the
/// iterator's back shift what it sees next; the array must outlive it.
class VELSTD_API korMapIterImpl {
 public:
  /// At the first record of `walked` (borrowed for the iterator's life).
  explicit korMapIterImpl(const korClassXArrayImpl& walked) : array(&walked) {}

  /// True when there is no current record any more.
  bool Finished() const { return position >= array->GetCount(); }

  /// Goes to the next record; stays at the end.
  void Next() {
    if (!Finished()) ++position;
  }

  /// Goes back to the first record.
  void Reset() { position = 0; }

  /// Address of the current record; null at the end.
  const void* GetRecord() const { return array->GetAt(position); }

  /// A new iterator at the same place, owned: the caller deletes it.
  korMapIterImpl* Reproduce() const { return new korMapIterImpl(*this); }

 private:
  const korClassXArrayImpl* array;
  int position = 0;
};

/// The map over array class A with iterator class I.
template <class K, class V, class A, class I>
class VELSTD_API korMapBase {
  struct Record {
    K key;
    V value;
  };
  static_assert(std::is_pointer<K>::value && std::is_pointer<V>::value,
                "keys and values are pointers");
  static_assert(sizeof(Record) == 16, "key pointer, then value");

 public:
  /// How the first key sorts relative to the second: positive after, 0 equal, negative
  /// before.
  using Compare = int (*)(K, K);

  /// A place in the map.
  class Iter : public I {
   public:
    /// At the smallest key of `walked` (borrowed for the iterator's life).
    explicit Iter(const A& walked) : I(walked) {}
    /// These give key and value of the current record; null at the end.
    K GetKey() const { return KeyOf(this->GetRecord()); }
    V GetValue() const { return ValueOf(this->GetRecord()); }
    /// A new iterator at the same place, owned: the caller deletes it.
    Iter* Reproduce() const { return new Iter(*this); }
  };

  /// An empty map ordered by `order`, which is called as
  /// order(looked-for key, key of a record).
  explicit korMapBase(Compare order, int step = kKorDefaultStep)
      : array(sizeof(Record), step), compare(order) {}
  korMapBase(const korMapBase&) = delete;
  korMapBase& operator=(const korMapBase&) = delete;

  /// Adds a record and answers true; in a record with an equal key the value
  /// is replaced, the key pointer stays, and the answer is false.
  bool Insert(K key, V value) {
    int position = 0;
    if (array._Lookup(key, compare, &position)) {
      static_cast<Record*>(array.GetAt(position))->value = value;
      return false;
    }
    const Record record = {key, value};
    return array.InsertAt(position, &record);
  }
  /// The same as Insert.
  bool Add(K key, V value) { return Insert(key, value); }

  /// True with the value of `key` in `*value`; false, `*value` left alone,
  /// when there is none. A null `value` only asks.
  bool Lookup(K key, V* value) const {
    int position = 0;
    if (!array._Lookup(key, compare, &position)) return false;
    if (value) *value = GetValueAt(position);
    return true;
  }
  /// The same as Lookup.
  bool Find(K key, V* value) const { return Lookup(key, value); }
  /// True when there is a record of `key`.
  bool Contains(K key) const { return Lookup(key, nullptr); }

  /// Removes the record of `key`; false when there is none.
  bool Remove(K key) {
    int position = 0;
    return array._Lookup(key, compare, &position) && array.RemoveAt(position);
  }

  /// Removes every record and gives the storage back.
  void RemoveAll() { array.RemoveAll(); }
  /// Number of records.
  int GetCount() const { return array.GetCount(); }

  /// These give key and value of record `position` in key order; null outside 0 .. count
  /// - 1.
  K GetKeyAt(int position) const { return KeyOf(array.GetAt(position)); }
  V GetValueAt(int position) const { return ValueOf(array.GetAt(position)); }

  /// A new iterator at the smallest key, owned: the caller deletes it.
  Iter* GetIter() const { return new Iter(array); }

 private:
  static K KeyOf(const void* record) {
    return record ? static_cast<const Record*>(record)->key : K{};
  }
  static V ValueOf(const void* record) {
    return record ? static_cast<const Record*>(record)->value : V{};
  }

  A array;
  Compare compare;
};

/// Map whose creator says how keys compare.
template <class K, class V>
class VELSTD_API korClassMap : public korMapBase<K, V, korClassXArrayImpl, korMapIterImpl> {
 public:
  /// The map itself.
  using Base = korMapBase<K, V, korClassXArrayImpl, korMapIterImpl>;
  /// An empty map ordered by `order`, whose array grows by `step` records; below 1 counts
  /// as 1.
  explicit korClassMap(typename Base::Compare order, int step = kKorDefaultStep)
      : Base(order, step) {}
};

/// Map whose keys are C strings compared as texts. It keeps pointing at the
/// caller's strings.
template <class V>
class VELSTD_API korNonOwnerStringMap
    : public korMapBase<const char*, V, korClassXArrayImpl, korMapIterImpl> {
 public:
  /// The map itself.
  using Base = korMapBase<const char*, V, korClassXArrayImpl, korMapIterImpl>;
  /// An empty map whose array grows by `step` records; below 1 counts as 1.
  explicit korNonOwnerStringMap(int step = kKorDefaultStep) : Base(Cmp_cStrings, step) {}
};

#endif  // VELSTD_KORBASE_KORMAP_H
