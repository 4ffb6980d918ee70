// velarrayof.h - arrays of fixed dimensions as objects.
//
//   using Board = velArrayOf<Color, 8, 8>;         // "demo::Color[8][8]"
//   auto board = Board::create();
//   board->at(0, 7) = Color::red;
//
// Elements are bool, int, double, xstring, xany, xrcunihandle<xobject>, an enumeration of
// VEL_ENUM, or handles on a class of objects, which may be null and then read as nil. They
// begin as 0, false or empty.
// They are made and written by name, too (velwrites.h).
// Threads: no locks.
#ifndef VELSTD_VELEXT_VELARRAYOF_H
#define VELSTD_VELEXT_VELARRAYOF_H

#include <climits>
#include <cstddef>
#include <string>

#include "velcollectionof.h"
#include "velexceptions.h"

/// An array of elements of type E; write velArrayOf.
template <class E, int... kSizes>
class velArrayClass
    : public velObjectOf<velArrayClass<E, kSizes...>, xrttiarray, velVirtually<xobject>> {
  static_assert(sizeof...(kSizes) > 0 && ((kSizes > 0) && ...), "at least one element");
  VEL_CHECK_ELEMENT(E);

 public:
  /// Number of dimensions.
  static constexpr int kDimensions = static_cast<int>(sizeof...(kSizes));

  /// Of elements that are 0, false or empty; with count 0, see create().
  velArrayClass() = default;
  /// A new array of elements that are 0, false or empty, held by the handle alone.
  /// Throws std::bad_alloc.
  static xrchandle<velArrayClass> create() { return new velArrayClass; }

  /// The element at one index per dimension, in its place.
  /// Throws velXInvalidArrayIndex with the index (-1 for any below 0, the greatest int
  /// for any above) and its dimension, from 0.
  template <class... Indices>
  E& at(Indices... indices) {
    static_assert(sizeof...(Indices) == sizeof...(kSizes), "one index per dimension");
    const int all[] = {clamped(static_cast<long long>(indices))...};
    return place(all);
  }
  /// The element at `indices`, one per dimension, in its place. Throws as at(), with the
  /// index as it is.
  E& place(const int* indices) {
    static constexpr int kAll[] = {kSizes...};
    std::size_t number = 0;
    for (int d = 0; d < kDimensions; ++d) {
      if (indices[d] < 0 || indices[d] >= kAll[d]) {
        velhThrowInvalidArrayIndex(this, indices[d], d);
      }
      number = number * static_cast<std::size_t>(kAll[d]) + static_cast<std::size_t>(indices[d]);
    }
    return elements[number];
  }

  /// The registered name.
  static std::string velTypeName(velNameTag<velArrayClass>) {
    return velElementName<E>::get() + (('[' + std::to_string(kSizes) + ']') + ...);
  }

 private:
  template <class, class, class...>
  friend class ::velObjectOf;

  // No dimension has an index at the ends of int.
  static int clamped(long long index) {
    return index < 0 ? -1 : index > INT_MAX ? INT_MAX : static_cast<int>(index);
  }

  static xany element(xobject* array, int* indices) {
    return velMember<E>::read(velView<velArrayClass>(array)->place(indices));
  }
  static void setCell(xobject* array, const int* indices, const xany& value) {
    velView<velArrayClass>(array)->place(indices) = velMember<E>::write(value);
  }
  static constexpr velWrites kWrites = {&velMake<velArrayClass>, nullptr, nullptr, nullptr, nullptr,
                                        &setCell};

  static void velDescribe(xrttiarray* rtti) {
    static constexpr int kAll[] = {kSizes...};
    const std::string name = velTypeName(velNameTag<velArrayClass>());
    rtti->initializeRttiObject(name.c_str(), 1, 0, nullptr);
    xrtti* const type = velMember<E>::type();
    velSetCreatorAndWrites(rtti, &kWrites);
    rtti->initializeRttiArray(name.c_str(), 1, kDimensions, kAll, type, velMember<E>::kOptional,
                              &element);
  }

  E elements[static_cast<std::size_t>((1 * ... * kSizes))] = {};
};

/// An array of T (of handles for a class of objects) of these dimensions.
template <class T, int... kSizes>
using velArrayOf = velArrayClass<velKept<T>, kSizes...>;

#endif  // VELSTD_VELEXT_VELARRAYOF_H
