// korbase.h - all of the base toolkit.
#ifndef VELSTD_KORBASE_KORBASE_H
#define VELSTD_KORBASE_KORBASE_H

#include "dsdatcol.h"
#include "dsiter.h"
#include "dssortedset.h"
#include "dsxarray.h"
#include "korabort.h"
#include "koralloc.h"
#include "korapi.h"
#include "korcompare.h"
#include "korinst.h"
#include "kormap.h"
#include "kormbcs.h"
#include "korostream.h"
#include "korset.h"
#include "korstrbuf.h"
#include "korstring.h"
#include "korxarray.h"
#include "thrmutex.h"
#include "velstack.h"

#endif  // VELSTD_KORBASE_KORBASE_H
