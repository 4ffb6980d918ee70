#include "xcollections.h"

#include "velcollectionrtti.h"
#include "velrtti.h"

static_assert(sizeof(xdictentry<xany>) == 40, "key pointer, then value");

template class xtbsequence<unsigned char>;
template class xtbsequence<int>;
template class xtbsequence<double>;
template class xtbsequence<xstring>;
template class xtbsequence<xany>;
template class xtssequence<unsigned char>;
template class xtssequence<int>;
template class xtssequence<double>;
template class xtcsequence<xstring>;
template class xtcsequence<xany>;
template class xtbdictionary<unsigned char>;
template class xtbdictionary<int>;
template class xtbdictionary<double>;
template class xtbdictionary<xstring>;
template class xtbdictionary<xany>;
template class xtsdictionary<unsigned char>;
template class xtsdictionary<int>;
template class xtsdictionary<double>;
template class xtcdictionary<xstring>;
template class xtcdictionary<xany>;

// Class, registered name, element descriptor.
#define VEL_SEQUENCE(C, Name, Element)                                  \
  VEL_OBJECT_RTTI(C, xrttisequence, [](xrttisequence* rtti) {           \
    velInitializeSequence<C>(rtti, Name, Element);                      \
  })                                                                    \
  template class xrcbasehandle<C>;                                      \
  template class xrchandle<C>;
VEL_SEQUENCE(xboolsequence, "booleanseq", velGetRtti_bool())
VEL_SEQUENCE(xintsequence, "intseq", velGetRtti_int())
VEL_SEQUENCE(xrealsequence, "realseq", velGetRtti_real())
VEL_SEQUENCE(xstringsequence, "stringseq", velGetRtti_string())
VEL_SEQUENCE(xanysequence, "anyseq", velGetRtti_any())
#undef VEL_SEQUENCE

#define VEL_DICTIONARY(C, Value, Name, Element)                         \
  VEL_OBJECT_RTTI(C, xrttidictionary, [](xrttidictionary* rtti) {       \
    velInitializeDictionary<C, Value>(rtti, Name, Element);             \
  })                                                                    \
  template class xrcbasehandle<C>;                                      \
  template class xrchandle<C>;
VEL_DICTIONARY(xbooldictionary, unsigned char, "booleandict", velGetRtti_bool())
VEL_DICTIONARY(xintdictionary, int, "intdict", velGetRtti_int())
VEL_DICTIONARY(xrealdictionary, double, "realdict", velGetRtti_real())
VEL_DICTIONARY(xstringdictionary, xstring, "stringdict", velGetRtti_string())
VEL_DICTIONARY(xanydictionary, xany, "anydict", velGetRtti_any())
#undef VEL_DICTIONARY
