// velwraps.h - the mark of functions whose numbers are meant to wrap around.
//
// Unsigned arithmetic modulo 2^32 or 2^64 is what a hash is made of; anywhere else a
// number that wraps around is a mistake, and a sanitizer ends the program at it.
#ifndef VELSTD_SERVICES_VELWRAPS_H
#define VELSTD_SERVICES_VELWRAPS_H

#ifdef __clang__
#define VEL_WRAPS __attribute__((no_sanitize("unsigned-integer-overflow")))
#else
#define VEL_WRAPS
#endif

#endif  // VELSTD_SERVICES_VELWRAPS_H
