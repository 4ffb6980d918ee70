// korstring.h - operations on plain texts, narrow and wide.
//
// A text is a terminated array. Narrow text is in the encoding of the current
// locale, wide text in units of the platform's wchar_t (32 or 16 bits).
// Pointers 0 and 1 stand for the null text in every function, and pointer 2
// as narrow text stands for the text "uninit".
// Lengths and offsets are bytes in the narrow functions and wchar_t units in
// the wide ones. Texts hold at most 2^31 - 2 units.
// Threads: no state of its own; the narrow functions that speak of characters
// read the current locale, which must not change during the call.
// Ownership: arguments are borrowed unless a function says otherwise.
#ifndef VELSTD_KORBASE_KORSTRING_H
#define VELSTD_KORBASE_KORSTRING_H

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "korapi.h"

/// The text a pointer stands for: null for 0 and 1, "uninit" for 2, else
/// `text` itself.
inline const char* korText(const char* text) {
  const auto address = reinterpret_cast<std::uintptr_t>(text);
  if (address > 2) return text;
  return address == 2 ? "uninit" : nullptr;
}

/// The same for wide text, where 2 is no special value.
inline const wchar_t* korText(const wchar_t* text) {
  return reinterpret_cast<std::uintptr_t>(text) > 1 ? text : nullptr;
}

/// Length without the terminator; 0 for the null text.
inline std::size_t Strlen(const char* text) {
  const char* plain = korText(text);
  return plain ? std::strlen(plain) : 0;
}
VELSTD_API std::size_t Strlen(const wchar_t* text);

/// These give a copy of `text`, owned: give it back with delete[]. Null for the null
/// text. Both names are the same function.
/// Throw std::bad_alloc.
VELSTD_API char* Strnew__(const char* text);
VELSTD_API char* Strnew(const char* text);

/// Narrow copy of wide text in the current locale, owned: give it back with
/// delete[]. Each character that the locale lacks becomes '?'. Null for the
/// null text. Throws std::bad_alloc.
VELSTD_API char* StrneW(const wchar_t* text);

/// How many occurrences of `from` are to be replaced in `text`, counting from
/// occurrence `first` (1 is the first one; less counts as 1), `count` at most
/// (0 none, negative all). Occurrences are found from the left and do not
/// overlap. `*offset` gets the offset of the first one replaced; it is left
/// alone when the result is 0 and may be null. A null or empty `from` and the
/// null text give 0.
/// Cost: linear for ordinary texts; the wide form is at worst the product of
/// the lengths.
VELSTD_API int korStringFind(const char* text, const char* from, int first, int count,
                             std::size_t* offset);
VELSTD_API int korWStringFind(const wchar_t* text, const wchar_t* from, int first, int count,
                              std::size_t* offset);

/// Writes `source` with the occurrences that korStringFind counts replaced by
/// `to` (null deletes), and a terminator, to `dest`, which must have room for
/// all of it. `dest` may be `source` when `to` is not longer than `from`; no
/// other overlap is allowed, with `from` and `to` neither. The null text is
/// written as the empty one. Nothing is written to a null `dest`.
VELSTD_API void korStringSubstitute(char* dest, const char* source, const char* from,
                                    const char* to, int first, int count);
VELSTD_API void korWStringSubstitute(wchar_t* dest, const wchar_t* source, const wchar_t* from,
                                     const wchar_t* to, int first, int count);

/// Word `n` of `text`, from 0. A word is a longest run of units that are not
/// in `separators`; none is empty; without separators (null or empty) the
/// whole text is one word. Separators are single units: bytes, not
/// characters, in the narrow form. True with the word's place in `*start` and
/// `*length`; false, both left alone, when there is no such word. Both may be
/// null.
VELSTD_API bool korStringGetWord(const char* text, int n, const char* separators,
                                 const char** start, std::size_t* length);
VELSTD_API bool korWStringGetWord(const wchar_t* text, int n, const wchar_t* separators,
                                  const wchar_t** start, std::size_t* length);

/// Number of words in `text`; 0 for the null text.
VELSTD_API int korStringGetNWords(const char* text, const char* separators);
VELSTD_API int korWStringGetNWords(const wchar_t* text, const wchar_t* separators);

/// The next word at or after `cursor` and before `end`; a null `end` is the
/// terminator. True with the word from `*wordStart` up to `*wordEnd`; false,
/// both left alone, when there is none. Both may be null. A caller goes on
/// from `*wordEnd`.
VELSTD_API bool korStringGetNextWord(const char* cursor, const char* end, const char* separators,
                                     const char** wordStart, const char** wordEnd);
VELSTD_API bool korWStringGetNextWord(const wchar_t* cursor, const wchar_t* end,
                                      const wchar_t* separators, const wchar_t** wordStart,
                                      const wchar_t** wordEnd);

/// Position of the first occurrence of `part` in `text`, from 0, counted in
/// characters of the locale (wide: in units). -1 when there is none or either
/// text is null; 0 for the empty part.
VELSTD_API int korStringFindSubstring(const char* text, const char* part);
VELSTD_API int korWStringFindSubstring(const wchar_t* text, const wchar_t* part);

/// True when `pattern` matches the whole of `text`: '*' stands for any run,
/// also the empty one, '?' for one character (wide: one unit), everything
/// else for itself; nothing escapes. False when either is null; the empty
/// pattern matches the empty text only.
/// Cost: at worst the product of the lengths; no recursion.
VELSTD_API bool korStringMatch(const char* text, const char* pattern);
VELSTD_API bool korWStringMatch(const wchar_t* text, const wchar_t* pattern);

/// Reads a whole text as a decimal number: white space of ASCII, a sign, one
/// or more digits, white space. False, `*value` left alone, for any other
/// text, the null text and numbers outside the type. A null `value` only
/// asks. Independent of the locale.
VELSTD_API bool korStringToInt(const char* text, int* value);
VELSTD_API bool korWStringToInt(const wchar_t* text, int* value);

/// The same for a floating number: white space, a sign, digits with a '.' at
/// any place among or around them, an exponent ('e' or 'E', a sign, digits),
/// white space. No hexadecimal, "inf" or "nan". The result is the nearest
/// double; a number too large for a double, or so small that it would become
/// 0, is false.
/// Throws std::bad_alloc for a long wide text.
VELSTD_API bool korStringToDouble(const char* text, double* value);
VELSTD_API bool korWStringToDouble(const wchar_t* text, double* value);

/// These convert a writable text in place, a character at a time, through the
/// locale. A character whose other case has another byte length stays, as do
/// invalid bytes and pairs of 16-bit surrogates. Nothing happens to the
/// pointers 0, 1 and (narrow) 2.
VELSTD_API void korStringToLower(char* text);
VELSTD_API void korStringToUpper(char* text);
VELSTD_API void korWStringToLower(wchar_t* text);
VELSTD_API void korWStringToUpper(wchar_t* text);

#endif  // VELSTD_KORBASE_KORSTRING_H
