// korinst.h - the container instantiations that the library exports.
//
// Modules that include this use the library's copies instead of making their
// own. Only pointers to the four classes are stored, so they stay incomplete
// here.
#ifndef VELSTD_KORBASE_KORINST_H
#define VELSTD_KORBASE_KORINST_H

#include "dsdatcol.h"
#include "dsiter.h"
#include "dssortedset.h"
#include "dsxarray.h"
#include "kormap.h"
#include "korset.h"
#include "velstack.h"

class xobject;
class xrttiobject;
class xrtti;
class xerrlistener;

extern template class VELSTD_API korSetBase<xobject*, korXArrayImpl, korIterImpl>;
extern template class VELSTD_API korSetBase<xrttiobject*, korXArrayImpl, korIterImpl>;
extern template class VELSTD_API korSet<xobject*>;
extern template class VELSTD_API korSet<xrttiobject*>;

extern template class VELSTD_API korMapBase<const char*, void*, korClassXArrayImpl, korMapIterImpl>;
extern template class VELSTD_API
    korMapBase<const char*, xrtti*, korClassXArrayImpl, korMapIterImpl>;
extern template class VELSTD_API korClassMap<const char*, void*>;
extern template class VELSTD_API korClassMap<const char*, xrtti*>;
extern template class VELSTD_API korNonOwnerStringMap<void*>;
extern template class VELSTD_API korNonOwnerStringMap<xrtti*>;

extern template class VELSTD_API velStack<xobject*>;

extern template class VELSTD_API dsBaseIter<xerrlistener*>;
extern template class VELSTD_API dsIter<xerrlistener*>;
extern template class VELSTD_API dsArrayIter<xerrlistener*>;
extern template class VELSTD_API dsDataCollection<xerrlistener*>;
extern template class VELSTD_API dsArray<xerrlistener*>;
extern template class VELSTD_API dsStraightArray<xerrlistener*>;
extern template class VELSTD_API dsDataMap<xerrlistener*, unsigned int>;
extern template class VELSTD_API dsXArray<xerrlistener*>;
extern template class VELSTD_API dsBaseSortedSet<dsXArray<xerrlistener*>, xerrlistener*>;
extern template class VELSTD_API dsBaseScalarSet<dsXArray<xerrlistener*>, xerrlistener*>;
extern template class VELSTD_API dsScalarSet<xerrlistener*>;

#endif  // VELSTD_KORBASE_KORINST_H
