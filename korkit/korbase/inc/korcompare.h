// korcompare.h - comparison functions for the toolkit's sorted containers.
//
// All answer -1, 0 or 1: the order of the first argument relative to the
// second. Threads: no state.
#ifndef VELSTD_KORBASE_KORCOMPARE_H
#define VELSTD_KORBASE_KORCOMPARE_H

#include <cstdint>
#include <type_traits>

#include "korapi.h"

/// Order of two addresses as unsigned numbers; nothing is read through them.
VELSTD_API int Cmp_Ptrs(const void* a, const void* b);

/// Order of two narrow texts by unsigned bytes. The null text (pointer 0 or 1)
/// sorts before every other and is equal to itself only.
VELSTD_API int Cmp_cStrings(const char* a, const char* b);

/// Order of two scalars by value; pointers as Cmp_Ptrs.
template <class T>
int korCompareScalars(const T& a, const T& b) {
  static_assert(std::is_scalar<T>::value, "compared by value");
  if constexpr (std::is_pointer<T>::value) {
    return Cmp_Ptrs(a, b);
  } else {
    return a < b ? -1 : (b < a ? 1 : 0);
  }
}

#endif  // VELSTD_KORBASE_KORCOMPARE_H
