// veltest_dictmodel.h - the dictionary, written a second time for clarity alone:
// every probe is made one by one, every resize puts the keys in anew.
//
// Tests drive it beside the library's dictionary; all slots must be equal.
#ifndef VELSTD_TESTS_VELTEST_DICTMODEL_H
#define VELSTD_TESTS_VELTEST_DICTMODEL_H

#include <cstddef>
#include <stdexcept>
#include <string>
#include <vector>

#include "velbdict.h"

/// Wide enough for every count, slot and hash, so that nothing wraps unasked.
using VelModelNumber = long long;

/// The remainder by 2^32 that is never negative.
inline VelModelNumber velModelWrap(VelModelNumber n) {
  constexpr VelModelNumber kWord = VelModelNumber{1} << 32;
  return ((n % kWord) + kWord) % kWord;
}

inline int velModelSignedByte(char c) {
  const int byte = c & 0xFF;
  return byte < 128 ? byte : byte - 256;
}

/// Where the probes of `key` begin, before the remainder by the table's size.
inline VelModelNumber velModelHash(const std::string& key) {
  VelModelNumber h = 0;
  for (const char c : key) h = velModelWrap(h * 31 + velModelSignedByte(c));
  const VelModelNumber shifted = velModelWrap(h * 512);
  h = velModelWrap(h + (velModelWrap(-1) - shifted));
  h ^= h / (1 << 14);
  h = velModelWrap(h * 17);
  h ^= h / (1 << 10);
  return h;
}

/// How far apart they are.
inline VelModelNumber velModelStep(const std::string& key) {
  const std::size_t length = key.size();
  if (length == 0) return 1;
  if (length <= 2) return velModelWrap(2 * velModelSignedByte(key[0]) + 1);
  const int mixed = velModelSignedByte(key[length / 2 + 1]) ^ velModelSignedByte(key[length - 2]) ^
                    velModelSignedByte(key[1]);
  return velModelWrap(2 * mixed + 1);
}

/// The load in percent below which a table shrinks (0: never) and above which it grows.
struct VelDictPolicy {
  VelModelNumber shrink;
  VelModelNumber grow;
};

/// A dictionary of numbers.
class VelDictModel {
 public:
  using Number = VelModelNumber;
  enum State { kEmpty, kVacated, kLive };
  struct Slot {
    State state = kEmpty;
    std::string key;
    int value = 0;
  };

  explicit VelDictModel(VelDictPolicy thresholds) : policy(thresholds) {}

  Number Size() const { return static_cast<Number>(slots.size()); }
  Number Count() const { return count; }
  const Slot& At(Number index) const { return slots[static_cast<std::size_t>(index)]; }
  bool IsLive(Number index) const { return index < Size() && At(index).state == kLive; }

  // True when the key is there; `index` is its slot, else the one to fill, else
  // -1.
  bool FindIndex(const std::string& key, Number& index) const {
    index = -1;
    if (slots.empty()) return false;
    Number h = velModelHash(key);
    Number step = 0;
    bool freeSlot = false;
    Number at = 0;
    for (Number probe = 0; probe < Size(); ++probe) {
      if (probe == 1) step = velModelStep(key);
      if (probe >= 1) h = velModelWrap(h + step);
      at = h % Size();
      const Slot& slot = At(at);
      if (slot.state == kEmpty) {
        freeSlot = true;
        break;
      }
      if (slot.state == kVacated) {
        index = at;
      } else if (slot.key == key) {
        index = at;
        return true;
      }
    }
    if (freeSlot && index < 0) index = at;
    if (index < 0) throw std::logic_error("the model's table is full");
    return false;
  }

  void Set(const std::string& key, int value) {
    Number wanted = Size();
    if (slots.empty())
      wanted = 32;
    else if (count * 100 / Size() > policy.grow)
      wanted = 2 * Size();
    if (wanted != Size()) Resize(wanted);
    Put(key, value);
  }

  bool RemoveByIndex(Number index) {
    if (!IsLive(index)) return false;
    Mutable(index) = Slot();
    Mutable(index).state = kVacated;
    --count;
    if (policy.shrink != 0 && Size() >= 33 && count * 100 / Size() < policy.shrink &&
        count * 100 / (Size() / 2) < policy.grow) {
      Resize(Size() / 2);
    }
    return true;
  }
  bool Remove(const std::string& key) {
    Number index;
    return FindIndex(key, index) && RemoveByIndex(index);
  }
  bool SetByIndex(Number index, int value) {
    if (!IsLive(index)) return false;
    Mutable(index).value = value;
    return true;
  }

  void Clear() {
    slots.clear();
    count = 0;
    allTouched = true;
  }
  void Allocate(Number n) {
    Clear();
    if (n == 0) return;
    Number size = 32;
    while (n * 100 / size > policy.grow) size *= 2;
    slots.resize(static_cast<std::size_t>(size));
  }

  // What changed since ForgetTouched.
  bool allTouched = false;
  std::vector<Number> touched;
  void ForgetTouched() {
    allTouched = false;
    touched.clear();
  }

 private:
  Slot& Mutable(Number index) {
    touched.push_back(index);
    return slots[static_cast<std::size_t>(index)];
  }
  void Put(const std::string& key, int value) {
    Number index;
    if (!FindIndex(key, index)) {
      ++count;
      Mutable(index).state = kLive;
      Mutable(index).key = key;
    }
    Mutable(index).value = value;
  }
  void Resize(Number size) {
    const std::vector<Slot> old = slots;
    Clear();
    slots.resize(static_cast<std::size_t>(size));
    for (const Slot& slot : old)
      if (slot.state == kLive) Put(slot.key, slot.value);
  }

  VelDictPolicy policy;
  std::vector<Slot> slots;
  Number count = 0;
};

/// A registered dictionary with an open core.
template <class Base>
class VelOpenDictionary : public Base {
 public:
  using Base::BaseAllocate;
  using Base::BaseClone;
  using Base::GetCount;
  using Base::GetDataPtr;
  static constexpr unsigned kSlotBytes = Base::kSlot;
  static constexpr unsigned kValueOffset = Base::kValue;
  const xbasedictionary* AsCore() const { return this; }
};

#endif  // VELSTD_TESTS_VELTEST_DICTMODEL_H
