// jsonload.h - JSON documents as framework values.
//
//   object        anydict (the last of equal keys wins)
//   array         anyseq
//   text          string, bytes as they are (UTF-8)
//   true, false   bool
//   null          nil
//   number        int if it is written as an integer that an int holds and
//                 that stands for nothing else, else real
//
// Depth costs heap, not stack. The core knows nothing of JSON.
#ifndef VELSTD_TOOLS_VELQ_JSONLOAD_H
#define VELSTD_TOOLS_VELQ_JSONLOAD_H

#include <string>

#include "xany.h"

/// The document at `path`; "-" is the standard input.
/// Throws Failure (command.h) with the path in front: for a file that cannot be
/// read; with line and column (in characters, from 1), for what is no JSON; with
/// the way to the place, such as $.names[3], for a text or key that holds a zero
/// character, which no string can.
xany loadJsonFile(const std::string& path);

/// The same for a document at hand; `path` is what it is called in messages.
xany loadJson(const std::string& text, const std::string& path);

#endif  // VELSTD_TOOLS_VELQ_JSONLOAD_H
