#include "velenum.h"

xrttienum* velMakeEnumRtti(const velEnumInfo& info) {
  auto* const rtti = new xrttienum(info.name, info.count, info.names);
  velRttiAddToMap(rtti);
  return rtti;
}
