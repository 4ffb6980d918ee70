// korabort.h - the way out when the library's own state is corrupt.
//
// Threads: may be called from any thread; it takes no lock and no memory.
#ifndef VELSTD_KORBASE_KORABORT_H
#define VELSTD_KORBASE_KORABORT_H

#include "korapi.h"

/// Writes the line "<message> (<source>, line <line>)" to standard error with
/// one write and ends the process with abort(). Both texts are borrowed; a
/// null one is written as nothing, and a line of more than 4096 bytes loses
/// the end of its message. All three arguments are fixed literals at the call,
/// not the compiler's file and line, so that what is printed never shifts.
[[noreturn]] VELSTD_API void _korAbort(const char* message, const char* source, int line);

#endif  // VELSTD_KORBASE_KORABORT_H
