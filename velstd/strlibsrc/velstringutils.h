// velstringutils.h - word lists in one text, and back.
//
// Separators are single bytes; an escape is the first character of its
// argument. All functions work on the narrow form.
// Threads: as the strings.
#ifndef VELSTD_STRLIBSRC_VELSTRINGUTILS_H
#define VELSTD_STRLIBSRC_VELSTRINGUTILS_H

#include "korapi.h"
#include "xcollections.h"
#include "xrchandle.h"
#include "xstring.h"

/// The functions; there are no objects of it.
class VELSTD_API velStringUtils {
 public:
  /// `text` with the escape character before every separator and before every
  /// escape character: with "," and the backslash, `a,b\c` becomes `a\,b\\c`.
  /// Without text or escape, `text` itself.
  /// An escape character of several bytes goes before each of its bytes and
  /// tears them apart; use one of a single byte.
  static xstring makeEscapedString(xstring text, xstring separators, xstring escape);

  /// The words of `text` and, between them, each unescaped separator as an
  /// element of its own; escaped separators are part of their word. Between two
  /// separators, and before or after one at an end, there is an empty word.
  /// An escape character that is doubled stands for itself only when it is one
  /// of `separators`: pass it there for texts that makeEscapedString made, and
  /// the text is the only element again. There, one that escapes no separator is
  /// an element of its own, like a separator. When it is no separator, it counts
  /// only at the end of a word: before a separator it goes away, at the end of
  /// the text it takes the whole element with it.
  /// Null and empty texts have no elements; without separators and escape the
  /// text is the only one.
  static xrchandle<xstringsequence> parseEscapedandFormattedString(xstring text, xstring separators,
                                                                   xstring escape);

 private:
  static xstring ConsumeNextWord(const char** cursor, const char* end, const char* separators,
                                 xstring* delimiter);
};

#endif  // VELSTD_STRLIBSRC_VELSTRINGUTILS_H
