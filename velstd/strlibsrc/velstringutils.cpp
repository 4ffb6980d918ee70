#include "velstringutils.h"

#include <climits>
#include <cstddef>
#include <cstring>
#include <string>

#include "kormbcs.h"
#include "korstring.h"

namespace {

bool IsBlank(const xstring& text) { return text.IsNull() || text.IsEmpty(); }

// The `bytes` bytes at `text`, wherever characters begin and end.
xstring Bytes(const char* text, std::size_t bytes) {
  if (bytes == 0) return xstring("");
  __xstring_c view = {nullptr, nullptr, nullptr};
  view.buffer = korStrBuf::AllocMB(bytes + 1, &view.narrow);
  std::memcpy(view.narrow, text, bytes);
  view.narrow[bytes] = '\0';
  view.buffer->NoteLength(bytes);
  return xstring(view, false);
}

// Texts grow as std::string, which has room to spare.
xstring Finished(const std::string& text) { return Bytes(text.data(), text.size()); }

xstring FirstCharacter(const xstring& text) { return xstring(text.CastToCString(), 1); }

// A word and the byte that ends it: in the text, where it ends before that does.
struct Word {
  const char* start;
  const char* end;
  bool hasDelimiter;

  std::size_t Size() const { return static_cast<std::size_t>(end - start); }
};

// Takes the words off a text one after the other. What ends a word is looked up
// in a table that is made once for all of them.
class Scanner {
 public:
  explicit Scanner(const char* separators) {
    for (const char* at = korText(separators); at && *at != '\0'; ++at)
      isSeparator[Index(*at)] = true;
  }

  /// The word at `*cursor`, which moves behind the separator. A cursor at the end
  /// moves past it: the sign that the text is used up.
  Word Next(const char** cursor, const char* end) const {
    const char* const start = *cursor;
    const char* at = start;
    while (at < end && !isSeparator[Index(*at)]) ++at;
    *cursor = at + 1;
    return {start, at, at < end};
  }

 private:
  static std::size_t Index(char byte) { return static_cast<unsigned char>(byte); }

  bool isSeparator[UCHAR_MAX + 1] = {};
};

// The strings of single bytes. Separators are few and come again and again, so
// the last one is shared rather than made anew.
class ByteStrings {
 public:
  const xstring& Get(char byte) {
    if (last.IsNull() || *last.CastToCString() != byte) last = Bytes(&byte, 1);
    return last;
  }

 private:
  xstring last;
};

// Bytes of `word` without its last character.
std::size_t BytesBeforeLast(const char* word) {
  const std::size_t characters = korMbCharCount(word, Strlen(word));
  return kor_mbsnbcnt(word, static_cast<int>(characters) - 1);
}

// Whether the last character of `word`, which has some, is `escape`.
bool EndsIn(const Word& word, const std::string& escape) {
  const std::size_t size = word.Size();
  // Few words end in its bytes; where characters begin is asked for those alone.
  if (size < escape.size() || word.end[-1] != escape.back()) return false;
  const std::string text(word.start, word.end);
  return text.compare(BytesBeforeLast(text.c_str()), std::string::npos, escape) == 0;
}

}  // namespace

// One word and the separator behind it.
xstring velStringUtils::ConsumeNextWord(const char** cursor, const char* end,
                                        const char* separators, xstring* delimiter) {
  const Word word = Scanner(separators).Next(cursor, end);
  *delimiter = word.hasDelimiter ? Bytes(word.end, 1) : xstring();
  return Bytes(word.start, word.Size());
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
  auto result = xstringsequence::create();
  if (IsBlank(text)) return result;
  const bool escapes = !IsBlank(escape);
  if (!escapes && IsBlank(separators)) {
    result->append(text);
    return result;
  }
  const xstring escapeCharacter = escapes ? FirstCharacter(escape) : xstring();
  const bool escapeSeparates = escapes && separators.Pos(escapeCharacter.CastToCString()) != -1;
  const std::string escapeBytes = escapes ? escapeCharacter.CastToCString() : "";

  const Scanner scanner(separators);
  ByteStrings delimiters;
  std::string element;
  bool pending = false;  // an escape character was met and nothing after it
  const char* cursor = text;
  const char* const end = cursor + Strlen(cursor);
  for (;;) {
    const Word word = scanner.Next(&cursor, end);
    const bool hasWord = word.Size() > 0;
    const bool isEscape =
        word.hasDelimiter && escapeBytes.size() == 1 && *word.end == escapeBytes[0];
    if (isEscape) {
      if (pending && !hasWord) {
        element += escapeBytes;
        pending = false;
      } else if (pending) {
        result->append(Finished(element));
        result->append(escapeCharacter);
        element.assign(word.start, word.Size());
      } else {
        element.append(word.start, word.Size());
        pending = true;
      }
    } else if (escapes && !escapeSeparates && hasWord && EndsIn(word, escapeBytes)) {
      pending = false;
      element.append(word.start, word.Size() - escapeBytes.size());
      if (word.hasDelimiter) element += *word.end;
    } else if (pending && !hasWord && word.hasDelimiter) {
      // An escaped separator.
      element += *word.end;
      pending = false;
    } else {
      if (pending) {
        result->append(Finished(element));
        result->append(escapeCharacter);
        element.clear();
        pending = false;
      }
      // Most elements are one word.
      if (element.empty()) {
        result->append(Bytes(word.start, word.Size()));
      } else {
        result->append(Finished(element.append(word.start, word.Size())));
        element.clear();
      }
      if (word.hasDelimiter) result->append(delimiters.Get(*word.end));
    }
    if (cursor > end || !word.hasDelimiter) return result;
  }
}
