// document.h - the JSON documents that velq works on.
#ifndef VELSTD_TOOLS_VELQ_DOCUMENT_H
#define VELSTD_TOOLS_VELQ_DOCUMENT_H

#include <string>

#include "xany.h"

/// The document at `path`; "-" is the standard input. Of the type registered under
/// `typeName`, or, for null, of anydict, anyseq and plain values.
/// Throws Failure (command.h), with the path in front, for a file that cannot be read,
/// and BadDocument for one that is no JSON or does not fit, with line and column.
xany loadDocument(const std::string& path, const char* typeName = nullptr);

/// Two documents, of which only one may be the standard input; throws UsageError for
/// both.
void checkInputs(const std::string& first, const std::string& second);

#endif  // VELSTD_TOOLS_VELQ_DOCUMENT_H
