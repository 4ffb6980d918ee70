// velcdictionary.cpp - the five dictionary classes from C.
#include "velflatcollection.h"
#include "velstd_c.h"

// The arguments are types and parts of names.
// NOLINTBEGIN(bugprone-macro-parentheses)
// One line a name: prefix, and value type in C++ and in C.
#define VEL_C_DICTIONARY(C, T, Flat)                                                        \
  C* C##_create() { return velFlatDictionary<C, T>::create(); }                             \
  int C##_getmapsize(C* dict) { return velFlatDictionary<C, T>::getmapsize(dict); }         \
  int C##_count_c(C* dict) { return velFlatDictionary<C, T>::count(dict); }                 \
  unsigned char C##_find(C* dict, const char* key, Flat* value) {                           \
    return velFlatDictionary<C, T>::find(dict, key, value);                                 \
  }                                                                                         \
  void C##_set(C* dict, const char* key, Flat value) {                                      \
    velFlatDictionary<C, T>::set(dict, key, value);                                         \
  }                                                                                         \
  void C##_remove(C* dict, const char* key) { velFlatDictionary<C, T>::remove(dict, key); } \
  unsigned char C##_getbyindex(C* dict, int index, Flat* value) {                           \
    return velFlatDictionary<C, T>::getbyindex(dict, index, value);                         \
  }                                                                                         \
  unsigned char C##_getkeybyindex(C* dict, int index, __xstring_c* key) {                   \
    return velFlatDictionary<C, T>::getkeybyindex(dict, index, key);                        \
  }                                                                                         \
  void C##_setbyindex(C* dict, int index, Flat value) {                                     \
    velFlatDictionary<C, T>::setbyindex(dict, index, value);                                \
  }                                                                                         \
  void C##_removebyindex(C* dict, int index) {                                              \
    velFlatDictionary<C, T>::removebyindex(dict, index);                                    \
  }                                                                                         \
  xrttiobject* C##_getclassrtti_c() { return velFlatDictionary<C, T>::rtti(); }
VEL_C_DICTIONARY(xbooldictionary, unsigned char, unsigned char)
VEL_C_DICTIONARY(xintdictionary, int, int)
VEL_C_DICTIONARY(xrealdictionary, double, double)
VEL_C_DICTIONARY(xstringdictionary, xstring, __xstring_c)
VEL_C_DICTIONARY(xanydictionary, xany, __xany_c)
#undef VEL_C_DICTIONARY
// NOLINTEND(bugprone-macro-parentheses)
