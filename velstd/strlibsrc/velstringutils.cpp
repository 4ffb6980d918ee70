#include "velstringutils.h"

#include <cstddef>
#include <string>

#include "kormbcs.h"
#include "korstring.h"

namespace {

bool IsBlank(const xstring& text) { return text.IsNull() || text.IsEmpty(); }

// The `bytes` bytes at `text`, wherever characters begin and end.
xstring Bytes(const char* text, std::size_t bytes) {
  return xstring(std::string(text, bytes).c_str());
}

// Texts grow as std::string, which has room to spare: an xstring is measured and
// moved at every piece.
xstring Finished(const std::string& text) { return xstring(text.c_str()); }

xstring FirstCharacter(const xstring& text) { return xstring(text.CastToCString(), 1); }

// Bytes of `word` without its last character.
std::size_t BytesBeforeLast(const xstring& word) {
  const char* text = word;
  const std::size_t characters = korMbCharCount(text, Strlen(text));
  return kor_mbsnbcnt(text, static_cast<int>(characters) - 1);
}

// Whether the last character of `word`, which has some, is `escape`.
bool EndsIn(const xstring& word, const xstring& escape) {
  return escape == word.CastToCString() + BytesBeforeLast(word);
}

}  // namespace

// One word and the separator behind it. A cursor at the end moves past it: the
// sign that the text is used up.
xstring velStringUtils::ConsumeNextWord(const char** cursor, const char* end,
                                        const char* separators, xstring* delimiter) {
  *delimiter = xstring();
  const char* const at = *cursor;
  if (at >= end) {
    *cursor = end + 1;
    return xstring("");
  }
  // The first byte is asked for alone: from a separator, the way to the next
  // word may be the whole rest of the text.
  if (!korStringGetNextWord(at, at + 1, separators, nullptr, nullptr)) {
    *delimiter = Bytes(at, 1);
    *cursor = at + 1;
    return xstring("");
  }
  const char* wordEnd = end;
  korStringGetNextWord(at, end, separators, nullptr, &wordEnd);
  if (wordEnd < end) *delimiter = Bytes(wordEnd, 1);
  *cursor = wordEnd + 1;
  return Bytes(at, static_cast<std::size_t>(wordEnd - at));
}

xstring velStringUtils::makeEscapedString(xstring text, xstring separators, xstring escape) {
  if (IsBlank(text) || IsBlank(escape)) return text;
  const xstring escapeCharacter = FirstCharacter(escape);
  xstring all = separators;
  if (all.Pos(escapeCharacter.CastToCString()) == -1) all += escapeCharacter.CastToCString();
  const char* cursor = text;
  const char* const end = cursor + Strlen(cursor);
  std::string result;
  for (;;) {
    xstring delimiter;
    result += ConsumeNextWord(&cursor, end, all, &delimiter).CastToCString();
    if (!delimiter.IsNull()) {
      result += escapeCharacter.CastToCString();
      result += delimiter.CastToCString();
    }
    if (cursor > end || delimiter.IsNull()) return Finished(result);
  }
}

xrchandle<xstringsequence> velStringUtils::parseEscapedandFormattedString(xstring text,
                                                                          xstring separators,
                                                                          xstring escape) {
  const auto result = xstringsequence::create();
  if (IsBlank(text)) return result;
  const bool escapes = !IsBlank(escape);
  if (!escapes && IsBlank(separators)) {
    result->append(text);
    return result;
  }
  const xstring escapeCharacter = escapes ? FirstCharacter(escape) : xstring();
  const bool escapeSeparates = escapes && separators.Pos(escapeCharacter.CastToCString()) != -1;

  std::string element;
  bool pending = false;  // an escape character was met and nothing after it
  const char* cursor = text;
  const char* const end = cursor + Strlen(cursor);
  for (;;) {
    xstring delimiter;
    const xstring word = ConsumeNextWord(&cursor, end, separators, &delimiter);
    const bool hasWord = !word.IsEmpty();
    const bool hasDelimiter = !delimiter.IsNull();
    if (escapes && hasDelimiter && delimiter == escapeCharacter) {
      if (pending && !hasWord) {
        element += escapeCharacter.CastToCString();
        pending = false;
      } else if (pending) {
        result->append(Finished(element));
        result->append(delimiter);
        element = word.CastToCString();
      } else {
        element += word.CastToCString();
        pending = true;
      }
    } else if (escapes && !escapeSeparates && hasWord && EndsIn(word, escapeCharacter)) {
      pending = false;
      element.append(word.CastToCString(), BytesBeforeLast(word));
      if (hasDelimiter) element += delimiter.CastToCString();
    } else if (pending && !hasWord && hasDelimiter) {
      // An escaped separator.
      element += delimiter.CastToCString();
      pending = false;
    } else {
      if (pending) {
        result->append(Finished(element));
        result->append(escapeCharacter);
        element.clear();
        pending = false;
      }
      element += word.CastToCString();
      result->append(Finished(element));
      if (hasDelimiter) result->append(delimiter);
      element.clear();
    }
    if (cursor > end || !hasDelimiter) return result;
  }
}
