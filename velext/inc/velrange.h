// velrange.h - sequences and dictionaries in loops, and to and from the standard
// containers.
//
//   for (int& number : *numbers) ++number;
//   for (auto& [key, value] : *prices) use(key, value);              // in slot order
//   for (auto& [key, value] : velSorted(*prices)) use(key, value);   // in key order
//   std::sort(begin(*numbers), end(*numbers));
//   std::vector<int> all = velToVector(*numbers);
//   auto names = velSequence(std::vector<std::string>{"a", "b"});    // xstringsequence
//
// A loop may change the container it goes over: it asks for the size anew at each
// step, and ends where the container ends by then. An entry of a dictionary is a
// copy; set() stores another value, as long as the table need not grow for it. To
// add or remove entries, go over velSorted(), which is a copy of them all.
// Keys are narrow texts. As std::string they are UTF-8 in every locale, and stored so, as
// those of JSON are; an entry whose key is text of the locale is found and copied, too.
// Threads and ownership: as the containers; a container must outlive its loop, and
// a handle must not be null.
#ifndef VELSTD_VELEXT_VELRANGE_H
#define VELSTD_VELEXT_VELRANGE_H

#include <algorithm>
#include <climits>
#include <cstddef>
#include <functional>
#include <iterator>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>
#include <unordered_map>
#include <utility>
#include <vector>

#include "velexceptions.h"
#include "veltext.h"
#include "velvalue.h"
#include "xcollections.h"

/// Number of elements.
template <class T>
int velCount(xtbsequence<T>& sequence) {
  return sequence.getarraysize();
}
/// Number of entries, not of slots.
template <class T>
int velCount(xtbdictionary<T>& dictionary) {
  return dictionary.getcount();
}

/// The value of a key, if there is one: of these bytes. Throws velXNull for a null key.
template <class T>
std::optional<T> velFind(xtbdictionary<T>& dictionary, const char* key) {
  T found{};
  if (!dictionary.find(key, &found)) return std::nullopt;
  return found;
}
/// The same of a text in UTF-8, or else of the same text in the encoding of the locale.
template <class T>
std::optional<T> velFind(xtbdictionary<T>& dictionary, std::string_view utf8) {
  if (utf8.find('\0') != std::string_view::npos) return std::nullopt;  // no key has one
  std::optional<T> found = velFind(dictionary, std::string(utf8).c_str());
  if (found || velIsAscii(utf8)) return found;
  const std::optional<std::string> narrow = velNarrowIfText(utf8);
  return narrow ? velFind(dictionary, narrow->c_str()) : std::nullopt;
}
/// The same of a string; one with something in it that is no character is sought by the
/// bytes of its narrow form. Throws velXNull for the null string.
template <class T>
std::optional<T> velFind(xtbdictionary<T>& dictionary, const xstring& key) {
  const std::optional<std::string> utf8 = velUtf8IfText(key);
  if (key.IsNull() || !utf8) return velFind(dictionary, static_cast<const char*>(key));
  return velFind(dictionary, std::string_view(*utf8));
}
template <class C, class Key>
auto velFind(const xrchandle<C>& dictionary, const Key& key) -> decltype(velFind(*dictionary, key)) {
  return velFind(*dictionary, key);
}

// ---- loops over sequences -----------------------------------------------------------

/// A place in a sequence, for loops and the algorithms of the standard library.
template <class T>
class velElements {
 public:
  /// These are what std::iterator_traits asks for.
  using iterator_category = std::random_access_iterator_tag;
  using value_type = T;
  using difference_type = std::ptrdiff_t;
  using pointer = T*;
  using reference = T&;

  /// In no sequence; good for assignment only.
  velElements() = default;
  /// At element `at` of `over` (borrowed), from 0.
  explicit velElements(xtbsequence<T>& over, difference_type at = 0) : sequence(&over), index(at) {}

  /// The end, wherever it is by the time that somebody asks.
  static constexpr difference_type kEnd = INT_MAX;

  /// These give the element in its place; until the sequence changes. Throw
  /// velXInvalidSeqIndex past the end.
  T& operator*() const { return (*sequence)[static_cast<int>(index)]; }
  T* operator->() const { return &**this; }
  T& operator[](difference_type n) const { return *(*this + n); }

  /// These move the place by a number of elements; behind the end is the end. What moves
  /// by one and stands on the left gives the new place, on the right the old one.
  velElements& operator+=(difference_type n) {
    index = place() + n;
    return *this;
  }
  velElements& operator-=(difference_type n) { return *this += -n; }
  velElements& operator++() {
    ++index;
    return *this;
  }
  velElements& operator--() { return *this -= 1; }
  velElements operator++(int) {
    velElements before = *this;
    ++*this;
    return before;
  }
  velElements operator--(int) {
    velElements before = *this;
    --*this;
    return before;
  }
  /// These give a place so many elements further on, or back.
  friend velElements operator+(velElements at, difference_type n) { return at += n; }
  friend velElements operator+(difference_type n, velElements at) { return at += n; }
  friend velElements operator-(velElements at, difference_type n) { return at -= n; }
  /// The number of elements between two places of one sequence.
  friend difference_type operator-(const velElements& a, const velElements& b) {
    return a.place() - b.place();
  }
  /// These tell whether two places of one sequence are the same, or both behind the end.
  friend bool operator==(const velElements& a, const velElements& b) {
    return a.index == b.index || std::min(a.index, b.index) >= a.size();
  }
  friend bool operator!=(const velElements& a, const velElements& b) { return !(a == b); }
  /// These compare two places of one sequence by their order.
  friend bool operator<(const velElements& a, const velElements& b) { return a - b < 0; }
  friend bool operator>(const velElements& a, const velElements& b) { return a - b > 0; }
  friend bool operator<=(const velElements& a, const velElements& b) { return a - b <= 0; }
  friend bool operator>=(const velElements& a, const velElements& b) { return a - b >= 0; }

 private:
  // What lies behind the end is the end.
  difference_type place() const { return std::min(index, size()); }
  difference_type size() const { return sequence ? sequence->getarraysize() : 0; }

  xtbsequence<T>* sequence = nullptr;
  difference_type index = 0;
};

/// The first element.
template <class T>
velElements<T> begin(xtbsequence<T>& sequence) {
  return velElements<T>(sequence);
}
/// The end, wherever it is by the time that the loop asks.
template <class T>
velElements<T> end(xtbsequence<T>& sequence) {
  return velElements<T>(sequence, velElements<T>::kEnd);
}

/// These are for loops over what a handle holds, which keep it alive: for (int n :
/// makeNumbers()).
template <class C>
auto begin(const xrchandle<C>& collection) -> decltype(begin(*collection)) {
  return begin(*collection);
}
template <class C>
auto end(const xrchandle<C>& collection) -> decltype(end(*collection)) {
  return end(*collection);
}

// ---- loops over dictionaries ----------------------------------------------------------

/// A copy of an entry.
template <class T>
struct velEntry {
  /// The key.
  xstring key;
  /// The value.
  T value;
};

/// A place in a dictionary, which can be gone through once.
template <class T>
class velEntries {
 public:
  /// These are what std::iterator_traits asks for.
  using iterator_category = std::input_iterator_tag;
  using value_type = velEntry<T>;
  using difference_type = std::ptrdiff_t;
  using pointer = const velEntry<T>*;
  using reference = const velEntry<T>&;

  /// The end of every dictionary.
  velEntries() = default;  // the end
  /// At the first entry of `over` (borrowed).
  explicit velEntries(xtbdictionary<T>& over) : dictionary(&over) { find(); }
  /// These give a copy of the entry; until the next step.
  const velEntry<T>& operator*() const { return entry; }
  const velEntry<T>* operator->() const { return &entry; }
  /// These go to the next entry. On the left they give the new place, on the right the
  /// old one.
  velEntries& operator++() {
    ++slot;
    find();
    return *this;
  }
  velEntries operator++(int) {
    velEntries before = *this;
    ++*this;
    return before;
  }
  /// These tell whether two places of one dictionary are the same.
  friend bool operator==(const velEntries& a, const velEntries& b) {
    return a.isAtEnd() ? b.isAtEnd() : !b.isAtEnd() && a.slot == b.slot;
  }
  friend bool operator!=(const velEntries& a, const velEntries& b) { return !(a == b); }

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

  xtbdictionary<T>* dictionary = nullptr;
  velEntry<T> entry{};
  int slot = 0;
  int slots = 0;
};

/// The first entry in the order of the slots.
template <class T>
velEntries<T> begin(xtbdictionary<T>& dictionary) {
  return velEntries<T>(dictionary);
}
/// The end.
template <class T>
velEntries<T> end(xtbdictionary<T>&) {
  return {};
}

/// The entries in the order of the bytes of their keys.
template <class T>
std::vector<velEntry<T>> velSorted(xtbdictionary<T>& dictionary) {
  std::vector<velEntry<T>> entries;
  entries.reserve(static_cast<std::size_t>(velCount(dictionary)));
  for (auto& entry : dictionary) entries.push_back(entry);
  std::sort(entries.begin(), entries.end(),
            [](const velEntry<T>& a, const velEntry<T>& b) { return velView(a.key) < velView(b.key); });
  return entries;
}

// ---- the standard containers -------------------------------------------------------------

/// How an element of type T of a collection reads as a U: text as std::string in UTF-8
/// (empty for the null string), numbers, truth values and variants as velGet has it.
/// Throws velXTypeMismatch for one that is no U, nil and uninit among them.
template <class U, class T>
U velElementAs(const T& element) {
  if constexpr (std::is_same<U, std::string>::value && std::is_same<T, xstring>::value) {
    return velUtf8(element);
  } else if constexpr (!std::is_same<U, T>::value &&
                       (std::is_arithmetic<T>::value || std::is_same<T, xany>::value)) {
    const xany value(element);
    std::optional<U> got = velGet<U>(value);
    if (!got) velXTypeMismatch::Throw(velKindName<U>(), value);
    return *std::move(got);
  } else {
    return element;
  }
}

/// The other way round. Throws as velText.
template <class T, class U>
T velElementOf(const U& value) {
  if constexpr (std::is_same<T, xstring>::value && velIsStdText<U>) {
    return velText(value);
  } else {
    return static_cast<T>(value);
  }
}

/// A copy of the elements, as they are (a nil int is the int that stands for it), or as
/// values of type U: velToVector(*numbers), velToVector<std::string>(*names).
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

/// A copy of the entries by key in UTF-8: velToMap(*prices), velToMap<std::string>(*names).
/// Of two keys that are the same in UTF-8, the map has one.
template <class U, class T>
std::map<std::string, U> velToMap(xtbdictionary<T>& dictionary) {
  std::map<std::string, U> made;
  for (auto& [key, value] : dictionary) made.emplace(velKeyUtf8(key), velElementAs<U>(value));
  return made;
}
template <class T>
std::map<std::string, T> velToMap(xtbdictionary<T>& dictionary) {
  return velToMap<T, T>(dictionary);
}

/// These are the same for what a handle holds, which must not be null.
template <class C>
auto velCount(const xrchandle<C>& collection) -> decltype(velCount(*collection)) {
  return velCount(*collection);
}
template <class C>
auto velSorted(const xrchandle<C>& collection) -> decltype(velSorted(*collection)) {
  return velSorted(*collection);
}
template <class C>
auto velToVector(const xrchandle<C>& collection) {
  return velToVector(*collection);
}
template <class U, class C>
std::vector<U> velToVector(const xrchandle<C>& collection) {
  return velToVector<U>(*collection);
}
template <class C>
auto velToMap(const xrchandle<C>& collection) {
  return velToMap(*collection);
}
template <class U, class C>
std::map<std::string, U> velToMap(const xrchandle<C>& collection) {
  return velToMap<U>(*collection);
}

/// Which collections keep values of type T.
template <class T>
struct velCollections;

/// @cond internal
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
struct velCollections<unsigned char> : velCollections<bool> {};
template <>
struct velCollections<std::string> : velCollections<xstring> {};
template <>
struct velCollections<std::string_view> : velCollections<xstring> {};
template <>
struct velCollections<xany> {
  using Sequence = xanysequence;
  using Dictionary = xanydictionary;
  using Element = xany;
};
/// @endcond

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

/// A new dictionary of the entries of a map from std::string. Throws as velText, for keys,
/// too.
template <class Map>
auto velDictionaryFrom(const Map& entries) {
  using Kind = velCollections<typename Map::mapped_type>;
  auto made = Kind::Dictionary::createCapacity(static_cast<unsigned>(entries.size()));
  for (const auto& [key, value] : entries) {
    velRefuseZeroByte(key);
    if (!velIsUtf8(key)) velText(key);  // tells where
    made->set(key.c_str(), velElementOf<typename Kind::Element>(value));
  }
  return made;
}
/// These make a new dictionary of the entries of a map. Throw as velDictionaryFrom().
template <class T, class Compare = std::less<std::string>>
auto velDictionary(const std::map<std::string, T, Compare>& entries) {
  return velDictionaryFrom(entries);
}
template <class T, class Hash, class Same>
auto velDictionary(const std::unordered_map<std::string, T, Hash, Same>& entries) {
  return velDictionaryFrom(entries);
}

#endif  // VELSTD_VELEXT_VELRANGE_H
