// kormbcs.h - conversion between narrow and wide text in the current locale.
//
// The C library's own wide functions assume a 32-bit wchar_t whatever the
// compiler was told, so these go over char32_t: with a 16-bit wchar_t a
// character beyond the first plane is a surrogate pair, which counts as two
// units and is never split. A surrogate without its partner and a value
// outside Unicode convert to nothing.
// Null texts are as in korstring.h. Every conversion starts and ends in the
// initial shift state.
// Threads: no state is kept between calls; the locale, asked anew at each
// call, must not change during one.
#ifndef VELSTD_KORBASE_KORMBCS_H
#define VELSTD_KORBASE_KORMBCS_H

#include <cstdarg>
#include <cstddef>

#include "korapi.h"

/// Converts the narrow `source` up to its terminator and writes at most `n`
/// units to `dest`, the terminator too if there is room. Returns the units
/// without the terminator, or (size_t)-1 when a byte before the end of the
/// conversion is invalid. A null `dest` only counts, without limit. The null
/// text converts as the empty one.
VELSTD_API std::size_t kor_mbstowcs(wchar_t* dest, const char* source, std::size_t n);

/// Converts the wide `source` up to its terminator and writes at most `n`
/// bytes to `dest`, never part of a character, the terminator too if there is
/// room. Returns the bytes without the terminator, or (size_t)-1 when a
/// character has no narrow form. A null `dest` only counts, without limit.
/// The null text converts as the empty one.
VELSTD_API std::size_t kor_wcstombs(char* dest, const wchar_t* source, std::size_t n);

/// Converts exactly `bytes` bytes, zero bytes included; each byte that is not
/// part of a valid character becomes one '?'. Returns the units and writes no
/// terminator. A null `dest` only counts; otherwise `dest` has room for them.
/// Never fails.
VELSTD_API std::size_t korMbToWcLossy(wchar_t* dest, const char* source, std::size_t bytes);

/// Converts exactly `units` units, zero units included; each character
/// without a narrow form becomes one '?'. Returns the bytes and writes no
/// terminator. A null `dest` only counts; otherwise `dest` has room for them.
/// Never fails.
VELSTD_API std::size_t korWcToMbLossy(char* dest, const wchar_t* source, std::size_t units);

/// Bytes of the first `n` characters of `text`, ending at the terminator. An
/// invalid byte counts as one character of one byte. 0 for `n` of 0 or less
/// and for the null text.
VELSTD_API std::size_t kor_mbsnbcnt(const char* text, int n);

/// Characters in the first `bytes` bytes of `text`, by the same rule; zero
/// bytes count as characters, and so does each byte of a character that the
/// end cuts.
VELSTD_API std::size_t korMbCharCount(const char* text, std::size_t bytes);

/// Formats into `size` bytes as vsnprintf does: always terminated when `size`
/// is not 0, and the result is the length the whole text has, or negative on
/// an error. A null format is an error.
VELSTD_API int kor_vsprintf(char* buffer, std::size_t size, const char* format, std::va_list args)
    __attribute__((format(printf, 3, 0)));

#endif  // VELSTD_KORBASE_KORMBCS_H
