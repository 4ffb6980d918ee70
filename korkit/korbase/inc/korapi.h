// korapi.h - what every header of the library starts from.
//
// The export mark, the check that a consumer is compiled for the same width of
// wchar_t as the library, and the one error every growing thing shares.
#ifndef VELSTD_KORBASE_KORAPI_H
#define VELSTD_KORBASE_KORAPI_H

/// Marks what leaves the shared library; everything else stays hidden.
#define VELSTD_API __attribute__((visibility("default")))

#ifdef VELSTD_WCHAR16
static_assert(sizeof(wchar_t) == 2,
              "this velstd is built for 16-bit wide characters: compile with -fshort-wchar "
              "(the target velstd::velstd passes it on)");
#else
static_assert(sizeof(wchar_t) == 4,
              "this velstd is built for the platform's wide characters: compile without "
              "-fshort-wchar");
#endif

/// Reports a size or count beyond a limit of the library.
/// Throws velXNativeException with the text "Size limit exceeded".
[[noreturn]] VELSTD_API void velThrowSizeLimit();

#endif  // VELSTD_KORBASE_KORAPI_H
