// velstrstream.h - <strstream> without its deprecation notice.
//
// Strings are built from std::strstream by contract; the notice that the header
// prints would fail every consumer that compiles with -Werror.
#ifndef VELSTD_STRLIBSRC_VELSTRSTREAM_H
#define VELSTD_STRLIBSRC_VELSTRSTREAM_H

#pragma push_macro("__DEPRECATED")
#undef __DEPRECATED
#include <strstream>
#pragma pop_macro("__DEPRECATED")

#endif  // VELSTD_STRLIBSRC_VELSTRSTREAM_H
