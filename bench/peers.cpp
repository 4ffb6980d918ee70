#include "peers.h"

namespace peers {

VEL_OBJECT_RTTI(Thing, xrttiobject, [](xrttiobject* rtti) {
  rtti->initializeRttiObject("bench::Thing", 1, 0, nullptr);
})

}  // namespace peers
