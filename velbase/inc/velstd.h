// velstd.h - everything the library offers to C++.
//
//   strings          xstring.h
//   objects          xobject.h, velobject.h (the per-class members), xrchandle.h
//   values           xany.h
//   collections      xcollections.h
//   types            xrtti.h, velrtti.h (registry), velcollectionrtti.h,
//                    velattributes.h (classes with attributes)
//   walking          veltraverser.h, velprint.h, velcompare.h
//   exceptions       xthrowable.h, velexceptions.h, xerrhandler.h
//   deserialization  vels11n.h, veldeprecation.h
//   text             xescape.h, velstringutils.h
//   toolkit          korbase.h
//
// Parts can be included alone. The C interface, velstd_c.h, comes with it.
#ifndef VELSTD_VELBASE_VELSTD_H
#define VELSTD_VELBASE_VELSTD_H

#include "korbase.h"
#include "korinst.h"
#include "velattributes.h"
#include "velcollectionrtti.h"
#include "velcompare.h"
#include "veldeprecation.h"
#include "velexceptions.h"
#include "velexecutable.h"
#include "velobject.h"
#include "velprint.h"
#include "velrtti.h"
#include "vels11n.h"
#include "vels11ncontextsensitive.h"
#include "velstd_c.h"
#include "velstringutils.h"
#include "veltraverser.h"
#include "xany.h"
#include "xcollections.h"
#include "xerrhandler.h"
#include "xescape.h"
#include "xobject.h"
#include "xrchandle.h"
#include "xrtti.h"
#include "xrttiattrseq.h"
#include "xstring.h"
#include "xthrowable.h"

#endif  // VELSTD_VELBASE_VELSTD_H
