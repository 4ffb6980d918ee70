// velexecutable.h - the class that marks what can be executed.
//
// A counted structure type "vellib::Executable" without parents or attributes.
#ifndef VELSTD_VELBASE_VELEXECUTABLE_H
#define VELSTD_VELBASE_VELEXECUTABLE_H

#include "velobject.h"

/// The mark itself: it adds nothing to an object but the type.
class VELSTD_API velExecutable : public virtual xobject {
  VEL_OBJECT(velExecutable)
};

#endif  // VELSTD_VELBASE_VELEXECUTABLE_H
