// velext.h - everything that makes the library convenient in everyday C++.
//
// Free functions and templates beside the core, which knows nothing of them. Link
// with velstd::ext.
#ifndef VELSTD_VELEXT_VELEXT_H
#define VELSTD_VELEXT_VELEXT_H

#include "velarrayof.h"
#include "velbyname.h"
#include "velcollectionof.h"
#include "velenum.h"
#include "velequals.h"
#include "velerror.h"
#include "velparts.h"
#include "velrange.h"
#include "velstd.h"
#include "velstruct.h"
#include "veltext.h"
#include "velunion.h"
#include "velvalue.h"
#include "velwrites.h"

#endif  // VELSTD_VELEXT_VELEXT_H
