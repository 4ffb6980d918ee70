// veltest_cfunctions.h - the functions of the C interface for a typed collection, by
// the name of its class, so that one test serves all of them.
#ifndef VELSTD_TESTS_VELTEST_CFUNCTIONS_H
#define VELSTD_TESTS_VELTEST_CFUNCTIONS_H

#include "velstd_c.h"

/// Those of the sequence C, whose elements are Flat in C.
template <class C, class Flat>
struct VelSequenceFunctions {
  C* (*create)();
  int (*getarraysize)(C*);
  Flat (*get)(C*, int);
  void (*set)(C*, int, Flat);
  void (*insert)(C*, int, Flat);
  void (*insertseq)(C*, int, C*);
  void (*removerange)(C*, int, int);
  xrttiobject* (*getclassrtti)();
};
#define VEL_SEQUENCE_FUNCTIONS(C, Flat)                                                         \
  VelSequenceFunctions<C, Flat> {                                                               \
    C##_create, C##_getarraysize, C##_get, C##_set, C##_insert, C##_insertseq, C##_removerange, \
        C##_getclassrtti_c                                                                      \
  }

/// Those of the dictionary C.
template <class C, class Flat>
struct VelDictionaryFunctions {
  C* (*create)();
  int (*getmapsize)(C*);
  int (*count)(C*);
  unsigned char (*find)(C*, const char*, Flat*);
  void (*set)(C*, const char*, Flat);
  void (*remove)(C*, const char*);
  unsigned char (*getbyindex)(C*, int, Flat*);
  unsigned char (*getkeybyindex)(C*, int, __xstring_c*);
  void (*setbyindex)(C*, int, Flat);
  void (*removebyindex)(C*, int);
  xrttiobject* (*getclassrtti)();
};
#define VEL_DICTIONARY_FUNCTIONS(C, Flat)                                                   \
  VelDictionaryFunctions<C, Flat> {                                                         \
    C##_create, C##_getmapsize, C##_count_c, C##_find, C##_set, C##_remove, C##_getbyindex, \
        C##_getkeybyindex, C##_setbyindex, C##_removebyindex, C##_getclassrtti_c            \
  }

#endif  // VELSTD_TESTS_VELTEST_CFUNCTIONS_H
