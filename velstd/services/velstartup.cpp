// velstartup.cpp - what happens when the library is loaded.
//
// The objects below are the library's only static initialisers. Nothing depends
// on their having run: each thing they make is made by the first that needs it,
// so that a program's own static initialisers may use everything. None of them
// has a destructor.
#include "velexceptions.h"
#include "velexecutable.h"
#include "velobjectmutex.h"
#include "velpending.h"
#include "velrtti.h"
#include "xcollections.h"
#include "xobject.h"
#include "xrttiattrseq.h"

velRttiRegister_buildintypes::velRttiRegister_buildintypes() {
  velRttiAddToMap(velGetRtti_bool());
  velRttiAddToMap(velGetRtti_int());
  velRttiAddToMap(velGetRtti_real());
  velRttiAddToMap(velGetRtti_string());
  velRttiAddToMap(velGetRtti_any());
  velRttiAddToMap(velGetRtti_object());
}

namespace {

// Makes and registers the descriptors of these classes, in this order; puts
// each back where another of its name took its place.
template <class... Classes>
void RegisterClasses() {
  (velRttiAddToMap(Classes::getClassRtti()), ...);
}

}  // namespace

velRttiRegister_vellib::velRttiRegister_vellib() {
  RegisterClasses<velExecutable, xthrowable, velXException, velXNull, velXTypeMismatch,
                  velXInvalidArrayIndex, velXInvalidSeqIndex, velXInvalidDictIndex,
                  velXInvalidDictKey, velXNegativeIndex, velXNotInitialized, velXRefCountable,
                  velXNativeException, velXConnectionClosed, velXArgs, velXFunc, velXExternFunc,
                  velXSerialization, velXSoapFault, velXSoapTransport, velXSoapHttpTransport>();
}

velRttiRegister_stdcols::velRttiRegister_stdcols() {
  RegisterClasses<xboolsequence, xintsequence, xrealsequence, xstringsequence, xanysequence,
                  xbooldictionary, xrealdictionary, xintdictionary, xstringdictionary,
                  xanydictionary>();
}

velRttiRegister_xrtti::velRttiRegister_xrtti() {
  RegisterClasses<xrtti, xrttibasic, xrttienum, xrttiobject, xrttiattr, xrttiattrseq, xrttistruct,
                  xrttiarray, xrttisequence, xrttidictionary, xrttiunion>();
}

velRttiRegister_veljava::velRttiRegister_veljava() {
  RegisterClasses<xportXCannotConnect, xportXMsgStringTooLong, xportXFlushFailed,
                  xportXNullInNonOptArg, xportXTimeout>();
}

namespace {

// The parked "Out of memory" must exist before memory has run out.
struct PrepareOutOfMemory {
  PrepareOutOfMemory() { velPrepareOutOfMemory(); }
};

struct LoadingEnd {
  LoadingEnd() { velEndLoading(); }
};

// Without memory for these, the program ends while it is loaded.
// NOLINTBEGIN(cert-err58-cpp)
const XobjectMutexAllocator mutexAllocator;
const velRttiRegister_buildintypes registerBuiltInTypes;
const velRttiRegister_vellib registerVellib;
const velRttiRegister_stdcols registerStandardCollections;
const velRttiRegister_xrtti registerDescriptors;
const velRttiRegister_veljava registerVeljava;
const PrepareOutOfMemory prepareOutOfMemory;
const LoadingEnd loadingEnd;
// NOLINTEND(cert-err58-cpp)

}  // namespace
