#include "korcompare.h"

#include <cstring>

#include "korstring.h"

int Cmp_Ptrs(const void* a, const void* b) {
  const auto left = reinterpret_cast<std::uintptr_t>(a);
  const auto right = reinterpret_cast<std::uintptr_t>(b);
  return left < right ? -1 : (left > right ? 1 : 0);
}

int Cmp_cStrings(const char* a, const char* b) {
  const char* left = korText(a);
  const char* right = korText(b);
  if (!left || !right) return left ? 1 : (right ? -1 : 0);
  const int order = std::strcmp(left, right);  // by unsigned bytes
  return order < 0 ? -1 : (order > 0 ? 1 : 0);
}
