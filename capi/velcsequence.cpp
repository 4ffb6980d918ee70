// velcsequence.cpp - the five sequence classes from C.
#include "velflatcollection.h"
#include "velstd_c.h"

// The arguments are types and parts of names.
// NOLINTBEGIN(bugprone-macro-parentheses)
// One line a name: prefix and element type in C.
#define VEL_C_SEQUENCE(C, Flat)                                                               \
  C* C##_create() { return velFlatSequence<C>::create(); }                                    \
  int C##_getarraysize(C* seq) { return velFlatSequence<C>::getarraysize(seq); }              \
  Flat C##_get(C* seq, int index) { return velFlatSequence<C>::get(seq, index); }             \
  void C##_set(C* seq, int index, Flat value) { velFlatSequence<C>::set(seq, index, value); } \
  void C##_insert(C* seq, int index, Flat value) {                                            \
    velFlatSequence<C>::insert(seq, index, value);                                            \
  }                                                                                           \
  void C##_insertseq(C* seq, int index, C* other) {                                           \
    velFlatSequence<C>::insertseq(seq, index, other);                                         \
  }                                                                                           \
  void C##_removerange(C* seq, int first, int last) {                                         \
    velFlatSequence<C>::removerange(seq, first, last);                                        \
  }                                                                                           \
  xrttiobject* C##_getclassrtti_c() { return velFlatSequence<C>::rtti(); }
VEL_C_SEQUENCE(xboolsequence, unsigned char)
VEL_C_SEQUENCE(xintsequence, int)
VEL_C_SEQUENCE(xrealsequence, double)
VEL_C_SEQUENCE(xstringsequence, __xstring_c)
VEL_C_SEQUENCE(xanysequence, __xany_c)
#undef VEL_C_SEQUENCE
// NOLINTEND(bugprone-macro-parentheses)
