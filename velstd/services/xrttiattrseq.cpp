#include "xrttiattrseq.h"

#include "velcollectionrtti.h"

template class xtbsequence<xrttiattr*>;
template class xtssequence<xrttiattr*>;

VEL_OBJECT_RTTI(xrttiattrseq, xrttisequence, [](xrttisequence* rtti) {
  velInitializeSequence<xrttiattrseq>(rtti, "xrttiattrseq", xrttiattr::getClassRtti(), 0);
})
