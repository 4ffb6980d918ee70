// velrange.h - sequences and dictionaries in loops, and to and from the standard
// containers.
//
//   for (int& number : *numbers) ++number;
//   for (auto& [key, value] : *prices) use(key, value);              // in slot order
//   for (auto& [key, value] : velSorted(*prices)) use(key, value);   // in key order
//   std::vector<int> all = velToVector(*numbers);
//   auto names = velSequence(std::vector<std::string>{"a", "b"});    // xstringsequence
//
// A loop may change the container it goes over: it asks for the size anew at each
// step, and ends where the container ends by then. An entry of a dictionary is a
// copy; set() stores another value, as long as the table need not grow for it.
// Keys are narrow texts, in the encoding of the current locale.
// Threads and ownership: as the containers; a container must outlive its loop.
#ifndef VELSTD_VELEXT_VELRANGE_H
#define VELSTD_VELEXT_VELRANGE_H

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <map>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "veltext.h"
#include "velvalue.h"
#include "xcollections.h"

/// Number of elements, or of entries (not of slots).
template <class T>
int velCount(xtbsequence<T>& sequence) {
  return sequence.getarraysize();
}
template <class T>
int velCount(xtbdictionary<T>& dictionary) {
  return dictionary.getcount();
}

// ---- loops over sequences -----------------------------------------------------------

/// The end of any loop here.
struct velEnd {};

template <class T>
class velElements {
 public:
  using iterator_category = std::input_iterator_tag;
  using value_type = T;
  using difference_type = std::ptrdiff_t;
  using pointer = T*;
  using reference = T&;

  explicit velElements(xtbsequence<T>& over) : sequence(&over) {}
  /// The element in its place; until the sequence changes.
  T& operator*() const { return (*sequence)[index]; }
  T* operator->() const { return &**this; }
  velElements& operator++() {
    ++index;
    return *this;
  }
  friend bool operator!=(const velElements& at, velEnd) { return !at.isAtEnd(); }
  friend bool operator==(const velElements& at, velEnd) { return at.isAtEnd(); }

 private:
  bool isAtEnd() const { return index >= sequence->getarraysize(); }

  xtbsequence<T>* sequence;
  int index = 0;
};

template <class T>
velElements<T> begin(xtbsequence<T>& sequence) {
  return velElements<T>(sequence);
}
template <class T>
velEnd end(xtbsequence<T>&) {
  return {};
}

/// A loop over what a handle holds keeps it alive: for (int n : makeNumbers()).
template <class C>
auto begin(const xrchandle<C>& collection) -> decltype(begin(*collection)) {
  return begin(*collection);
}
template <class C>
auto end(const xrchandle<C>& collection) -> decltype(end(*collection)) {
  return end(*collection);
}

// ---- loops over dictionaries ----------------------------------------------------------

template <class T>
struct velEntry {
  xstring key;
  T value;
};

template <class T>
class velEntries {
 public:
  using iterator_category = std::input_iterator_tag;
  using value_type = velEntry<T>;
  using difference_type = std::ptrdiff_t;
  using pointer = const velEntry<T>*;
  using reference = const velEntry<T>&;

  explicit velEntries(xtbdictionary<T>& over) : dictionary(&over), entry() { find(); }
  /// A copy of the entry; until the next step.
  const velEntry<T>& operator*() const { return entry; }
  const velEntry<T>* operator->() const { return &entry; }
  velEntries& operator++() {
    ++slot;
    find();
    return *this;
  }
  friend bool operator!=(const velEntries& at, velEnd) { return !at.isAtEnd(); }
  friend bool operator==(const velEntries& at, velEnd) { return at.isAtEnd(); }

 private:
  bool isAtEnd() const { return slot >= slots; }
  // From `slot` on.
  void find() {
    for (slots = dictionary->getmapsize(); slot < slots; ++slot) {
      if (dictionary->getkeybyindex(slot, &entry.key) &&
          dictionary->getbyindex(slot, &entry.value)) {
        return;
      }
    }
  }

  xtbdictionary<T>* dictionary;
  velEntry<T> entry;
  int slot = 0;
  int slots = 0;
};

template <class T>
velEntries<T> begin(xtbdictionary<T>& dictionary) {
  return velEntries<T>(dictionary);
}
template <class T>
velEnd end(xtbdictionary<T>&) {
  return {};
}

/// The entries in the order of the bytes of their keys.
template <class T>
std::vector<velEntry<T>> velSorted(xtbdictionary<T>& dictionary) {
  std::vector<velEntry<T>> entries;
  entries.reserve(static_cast<std::size_t>(velCount(dictionary)));
  for (auto& entry : dictionary) entries.push_back(entry);
  std::sort(entries.begin(), entries.end(),
            [](const velEntry<T>& a, const velEntry<T>& b) { return a.key < b.key; });
  return entries;
}

// ---- the standard containers -------------------------------------------------------------

/// How an element of type T of a collection reads as a U, and the other way round:
/// truth values as bool, text as std::string in UTF-8, the rest as it is.
template <class U, class T>
U velElementAs(const T& element) {
  if constexpr (std::is_same<U, std::string>::value && std::is_same<T, xstring>::value) {
    return velUtf8(element);
  } else if constexpr (std::is_same<U, bool>::value) {
    return element != 0;
  } else {
    return element;
  }
}
template <class T, class U>
T velElementOf(const U& value) {
  if constexpr (std::is_same<T, xstring>::value && std::is_same<U, std::string>::value) {
    return velText(value);
  } else if constexpr (std::is_same<T, xany>::value) {
    return velAny(value);
  } else {
    return static_cast<T>(value);
  }
}

/// A copy of the elements: velToVector(*numbers), velToVector<std::string>(*names).
template <class U, class T>
std::vector<U> velToVector(xtbsequence<T>& sequence) {
  std::vector<U> made;
  made.reserve(static_cast<std::size_t>(velCount(sequence)));
  for (const T& element : sequence) made.push_back(velElementAs<U>(element));
  return made;
}
template <class T>
std::vector<T> velToVector(xtbsequence<T>& sequence) {
  return velToVector<T, T>(sequence);
}

/// A copy of the entries by narrow key: velToMap(*prices), velToMap<std::string>(*names).
template <class U, class T>
std::map<std::string, U> velToMap(xtbdictionary<T>& dictionary) {
  std::map<std::string, U> made;
  for (auto& [key, value] : dictionary) made.emplace(velView(key), velElementAs<U>(value));
  return made;
}
template <class T>
std::map<std::string, T> velToMap(xtbdictionary<T>& dictionary) {
  return velToMap<T, T>(dictionary);
}

/// Which collections keep values of type T.
template <class T>
struct velCollections;
template <>
struct velCollections<bool> {
  using Sequence = xboolsequence;
  using Dictionary = xbooldictionary;
  using Element = unsigned char;
};
template <>
struct velCollections<int> {
  using Sequence = xintsequence;
  using Dictionary = xintdictionary;
  using Element = int;
};
template <>
struct velCollections<double> {
  using Sequence = xrealsequence;
  using Dictionary = xrealdictionary;
  using Element = double;
};
template <>
struct velCollections<xstring> {
  using Sequence = xstringsequence;
  using Dictionary = xstringdictionary;
  using Element = xstring;
};
template <>
struct velCollections<std::string> : velCollections<xstring> {};
template <>
struct velCollections<xany> {
  using Sequence = xanysequence;
  using Dictionary = xanydictionary;
  using Element = xany;
};

/// A new sequence of the values: velSequence(vector), velSequence<int>({1, 2, 3}).
/// Throws as velText.
template <class T>
auto velSequence(const std::vector<T>& values) {
  using Kind = velCollections<T>;
  auto made = Kind::Sequence::createCapacity(static_cast<unsigned>(values.size()));
  for (const auto& value : values) {
    made->append(velElementOf<typename Kind::Element>(static_cast<T>(value)));
  }
  return made;
}

/// A new dictionary of the entries, whose keys are narrow texts.
/// Throws as velText.
template <class T>
auto velDictionary(const std::map<std::string, T>& entries) {
  using Kind = velCollections<T>;
  auto made = Kind::Dictionary::create();
  for (const auto& [key, value] : entries) {
    made->set(key.c_str(), velElementOf<typename Kind::Element>(value));
  }
  return made;
}

#endif  // VELSTD_VELEXT_VELRANGE_H
