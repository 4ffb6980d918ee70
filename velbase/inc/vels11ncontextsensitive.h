// vels11ncontextsensitive.h - objects that want the context of their
// deserialization.
//
// Classes derive from it to say so. It carries nothing; its type
// "velS11nContextSensitive" is a counted structure without attributes.
#ifndef VELSTD_VELBASE_VELS11NCONTEXTSENSITIVE_H
#define VELSTD_VELBASE_VELS11NCONTEXTSENSITIVE_H

#include "velobject.h"

/// The mark itself: it adds nothing to an object but the type.
class VELSTD_API velS11nContextSensitive : public virtual xobject {
  VEL_OBJECT(velS11nContextSensitive)
};

#endif  // VELSTD_VELBASE_VELS11NCONTEXTSENSITIVE_H
