// xcollections.h - the ten registered collection classes.
//
// All behaviour is that of the templates (xtbsequence.h, xtbdictionary.h);
// these classes add identity: a registered name, a descriptor, and casts.
#ifndef VELSTD_VELBASE_XCOLLECTIONS_H
#define VELSTD_VELBASE_XCOLLECTIONS_H

#include "velobject.h"
#include "xany.h"
#include "xrchandle.h"
#include "xsealed.h"
#include "xstring.h"
#include "xtcdictionary.h"
#include "xtcsequence.h"
#include "xtsdictionary.h"
#include "xtssequence.h"

extern template class xtbsequence<unsigned char>;
extern template class xtbsequence<int>;
extern template class xtbsequence<double>;
extern template class xtbsequence<xstring>;
extern template class xtbsequence<xany>;
extern template class xtssequence<unsigned char>;
extern template class xtssequence<int>;
extern template class xtssequence<double>;
extern template class xtcsequence<xstring>;
extern template class xtcsequence<xany>;
extern template class xtbdictionary<unsigned char>;
extern template class xtbdictionary<int>;
extern template class xtbdictionary<double>;
extern template class xtbdictionary<xstring>;
extern template class xtbdictionary<xany>;
extern template class xtsdictionary<unsigned char>;
extern template class xtsdictionary<int>;
extern template class xtsdictionary<double>;
extern template class xtcdictionary<xstring>;
extern template class xtcdictionary<xany>;

// The arguments are types.
// NOLINTBEGIN(bugprone-macro-parentheses)
// One collection class: what it is made of, and the type of its capacity.
//   create()           a new, empty instance; nothing reserved
//   createCapacity(n)  the same with room for n elements, or a table for n
//                      entries; n is taken as signed, below 1 reserves nothing
// Both throw std::bad_alloc; createCapacity throws velXNativeException "Size
// limit exceeded" beyond the limits of the template.
#define VEL_COLLECTION(C, Base, Capacity)                                                   \
  class VELSTD_API C : public Base {                                                        \
    VEL_OBJECT(C)                                                                           \
   public:                                                                                  \
    explicit C(Capacity entries = 0) : Base(entries) {}                                     \
    static xrchandle<C> create() { return new C; }                                          \
    static xrchandle<C> createCapacity(unsigned n) { return new C(static_cast<Capacity>(n)); } \
  };                                                                                        \
  extern template class xrcbasehandle<C>;                                                   \
  extern template class xrchandle<C>;
// NOLINTEND(bugprone-macro-parentheses)

/// "booleanseq": a sequence of truths, a byte each.
VEL_COLLECTION(xboolsequence, xsealed<xtssequence<unsigned char>>, unsigned)
/// "intseq": a sequence of ints.
VEL_COLLECTION(xintsequence, xsealed<xtssequence<int>>, unsigned)
/// "realseq": a sequence of doubles.
VEL_COLLECTION(xrealsequence, xsealed<xtssequence<double>>, unsigned)
/// "stringseq": a sequence of texts.
VEL_COLLECTION(xstringsequence, xsealed<xtcsequence<xstring>>, unsigned)
/// "anyseq": a sequence of values of any kind.
VEL_COLLECTION(xanysequence, xsealed<xtcsequence<xany>>, unsigned)
/// "booleandict": truths by name, a byte each.
VEL_COLLECTION(xbooldictionary, xtsdictionary<unsigned char>, int)
/// "intdict": ints by name.
VEL_COLLECTION(xintdictionary, xtsdictionary<int>, int)
/// "realdict": doubles by name.
VEL_COLLECTION(xrealdictionary, xtsdictionary<double>, int)
/// "stringdict": texts by name.
VEL_COLLECTION(xstringdictionary, xtcdictionary<xstring>, int)
/// "anydict": values of any kind by name.
VEL_COLLECTION(xanydictionary, xtcdictionary<xany>, int)
#undef VEL_COLLECTION

#endif  // VELSTD_VELBASE_XCOLLECTIONS_H
