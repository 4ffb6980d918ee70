// velarrayof.h - arrays of fixed dimensions as objects.
//
//   using Board = velArrayOf<Color, 8, 8>;         // "demo::Color[8][8]"
//   auto board = Board::create();
//   board->at(0, 7) = Color::red;
//
// Elements begin empty. Handles on objects may be null, which reads as nil.
// They are made and written by name, too (velwrites.h).
// Threads: no locks.
#ifndef VELSTD_VELEXT_VELARRAYOF_H
#define VELSTD_VELEXT_VELARRAYOF_H

#include <cstddef>

#include "velcollectionof.h"
#include "velexceptions.h"

/// The name of a type and dimensions, as "int[2][3]"; lives for ever.
VELSTD_API const char* velNameOfArray(xrtti* type, int nDimensions, const int* dimensions);

template <class E, int... kSizes>
class velArrayClass : public velObjectOf<velArrayClass<E, kSizes...>, xrttiarray, velVirtually<xobject>> {
  static_assert(sizeof...(kSizes) > 0 && ((kSizes > 0) && ...), "at least one element");
  static_assert(velMember<E>::kPossible, "elements of this type have no descriptor");

 public:
  static constexpr int kDimensions = static_cast<int>(sizeof...(kSizes));

  velArrayClass() = default;
  static xrchandle<velArrayClass> create() { return new velArrayClass; }

  /// The element at one index per dimension, in its place.
  /// Throws velXInvalidArrayIndex with the index and its dimension, from 0.
  template <class... Indices>
  E& at(Indices... indices) {
    static_assert(sizeof...(Indices) == sizeof...(kSizes), "one index per dimension");
    const int all[] = {static_cast<int>(indices)...};
    return place(all);
  }
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

 private:
  template <class, class, class...>
  friend class ::velObjectOf;

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
    xrtti* const type = velMember<E>::type();
    velSetWrites(rtti, &kWrites);
    rtti->initializeRttiArray(velNameOfArray(type, kDimensions, kAll), 1, kDimensions, kAll, type,
                              velMember<E>::kOptional, &element);
  }

  E elements[static_cast<std::size_t>((1 * ... * kSizes))] = {};
};

/// An array of T (of handles for a class of objects) of these dimensions.
template <class T, int... kSizes>
using velArrayOf = velArrayClass<velKept<T>, kSizes...>;

#endif  // VELSTD_VELEXT_VELARRAYOF_H
