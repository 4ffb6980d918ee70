#include "velwrites.h"

#include "velcollectionof.h"

namespace {

const char kKey[] = "velext_writes";

template <class C, class E>
void TellSequence() {
  velSetWrites(C::getClassRtti(), &velElementFunctions<C, E>::kWrites);
}
template <class C, class E>
void TellDictionary() {
  velSetWrites(C::getClassRtti(), &velEntryFunctions<C, E>::kWrites);
}

void TellStandard() {
  TellSequence<xboolsequence, unsigned char>();
  TellSequence<xintsequence, int>();
  TellSequence<xrealsequence, double>();
  TellSequence<xstringsequence, xstring>();
  TellSequence<xanysequence, xany>();
  TellDictionary<xbooldictionary, unsigned char>();
  TellDictionary<xintdictionary, int>();
  TellDictionary<xrealdictionary, double>();
  TellDictionary<xstringdictionary, xstring>();
  TellDictionary<xanydictionary, xany>();
}

// NOLINTNEXTLINE(cert-err58-cpp): without memory the library cannot be loaded
const velRegistrar registered(&TellStandard);

}  // namespace

void velSetWrites(xrtti* type, const velWrites* writes) {
  velRttiAddUserData(type, kKey, const_cast<velWrites*>(writes));
}

void velSetCreatorAndWrites(xrttiobject* type, const velWrites* writes) {
  velSetWrites(type, writes);
  type->addUserData("_s11n_create", reinterpret_cast<void*>(writes->create));
}

const velWrites* velGetWrites(xrtti* type) {
  return static_cast<const velWrites*>(velRttiGetUserData(type, kKey));
}
