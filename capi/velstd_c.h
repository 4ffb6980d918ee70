/* velstd_c.h - the flat C interface (C99 and C++).
 *
 * Plain records that carry strings and variants across the border; the
 * functions that work on them stand here as well, each with its contract. */
#ifndef VELSTD_CAPI_VELSTD_C_H
#define VELSTD_CAPI_VELSTD_C_H

#include "xctypes.h"

#endif /* VELSTD_CAPI_VELSTD_C_H */
