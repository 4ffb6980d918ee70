// Code of the exported container instantiations.
#include "korapi.h"

// Named with default visibility before anything else names them: an
// instantiation is no more visible than the types it is made of.
class VELSTD_API xobject;
class VELSTD_API xrttiobject;
class VELSTD_API xrtti;
class VELSTD_API xerrlistener;

#include "korinst.h"

template class korSetBase<xobject*, korXArrayImpl, korIterImpl>;
template class korSetBase<xrttiobject*, korXArrayImpl, korIterImpl>;
template class korSet<xobject*>;
template class korSet<xrttiobject*>;

template class korMapBase<const char*, void*, korClassXArrayImpl, korMapIterImpl>;
template class korMapBase<const char*, xrtti*, korClassXArrayImpl, korMapIterImpl>;
template class korClassMap<const char*, void*>;
template class korClassMap<const char*, xrtti*>;
template class korNonOwnerStringMap<void*>;
template class korNonOwnerStringMap<xrtti*>;

template class velStack<xobject*>;

template class dsBaseIter<xerrlistener*>;
template class dsIter<xerrlistener*>;
template class dsArrayIter<xerrlistener*>;
template class dsDataCollection<xerrlistener*>;
template class dsArray<xerrlistener*>;
template class dsStraightArray<xerrlistener*>;
template class dsDataMap<xerrlistener*, unsigned int>;
template class dsXArray<xerrlistener*>;
template class dsBaseSortedSet<dsXArray<xerrlistener*>, xerrlistener*>;
template class dsBaseScalarSet<dsXArray<xerrlistener*>, xerrlistener*>;
template class dsScalarSet<xerrlistener*>;
