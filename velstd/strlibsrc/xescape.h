// xescape.h - text that the current locale cannot represent.
//
// Before text crosses between narrow and wide, these functions replace one that
// does not convert, as a whole, by a fixed marker. What a marker replaced is
// gone for good. In the locale "C", in which programs start, every text beyond
// ASCII is out of locale.
// Threads: as the locale.
#ifndef VELSTD_STRLIBSRC_XESCAPE_H
#define VELSTD_STRLIBSRC_XESCAPE_H

#include "korapi.h"
#include "xstring.h"

/// `text` as a string of that form if it converts, else the marker
/// "<<<OUT OF LOCALE>>>"; null text gives the null string.
/// @param flag  gets 0 for text passed on, 1 for the marker; nullable
VELSTD_API xstring escapeOOL(const wchar_t* text, unsigned char* flag);
VELSTD_API xstring escapeOOL(const char* text, unsigned char* flag);

/// `text` unchanged; `flag` (nullable) gets 0x80: not known.
VELSTD_API xstring unescapeOOL(xstring text, unsigned char* flag);

#endif  // VELSTD_STRLIBSRC_XESCAPE_H
