// xstring.h - the one string type of the framework.
//
// A string is a value: a shared, counted buffer that holds the text in a
// narrow form (multibyte, current locale), a wide form, or both. A form that is
// missing is converted on first demand and kept in the buffer, so asking again
// costs nothing. What does not convert becomes `?`; nothing aborts but
// GetMBSize.
//
// The null string is not the empty string. Wherever narrow or wide text goes
// in, a null pointer and the address 1 mean null text, and the null string
// gives the address 1 out: ask IsNull before you hand a conversion to libc. In
// narrow text the address 2 stands for the text "uninit".
//
// Units: positions and lengths are in characters: characters of the locale in
// the narrow form, wchar_t units in the wide form; GetLength counts bytes once
// a narrow form exists. Texts have at most 2^31 - 2 characters; what would be
// longer throws velXNativeException "Size limit exceeded" and leaves the string
// as it was, as does std::bad_alloc.
// Threads: one xstring object is for one thread at a time, conversions
// included; copies of it may be used freely from others.
// Ownership: an xstring owns one reference on its buffer. Pointers from the
// conversions live until this string is assigned, edited or destroyed.
#ifndef VELSTD_STRLIBSRC_XSTRING_H
#define VELSTD_STRLIBSRC_XSTRING_H

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <iosfwd>

#include "korapi.h"
#include "korostream.h"
#include "korstrbuf.h"
#include "velstrstream.h"
#include "xctypes.h"

/// The string itself; see the head of this file for null, forms and units.
class VELSTD_API xstring {
 public:
  /// The null string.
  xstring() noexcept : view{nullptr, NullText<char>(), NullText<wchar_t>()} {}

  /// A copy of `text`: null text gives the null string, empty text the shared
  /// empty string.
  xstring(const char* text);
  xstring(const wchar_t* text);

  /// At most the first `n` characters of `text`; `n` of 0 or less gives the
  /// empty string.
  xstring(const char* text, int n);
  xstring(const wchar_t* text, int n);

  /// The characters from `start` up to, not including, `end`; a negative `end`
  /// means the rest. `start` below 0 counts as 0; a start at or beyond the end
  /// of the text, or an end before the start, gives the empty string.
  xstring(const char* text, int start, int end);
  xstring(const wchar_t* text, int start, int end);

  /// `first` followed by `second`. A null part counts as empty; two null parts
  /// give the null string.
  xstring(const char* first, const char* second);
  xstring(const wchar_t* first, const wchar_t* second);

  /// `first` followed by `second`: a copy of `first`, += `second`. A null part
  /// counts as empty here, too: only two null parts give the null string.
  xstring(const xstring& first, const char* second);
  xstring(const xstring& first, const wchar_t* second);

  /// A copy shares the buffer.
  xstring(const xstring& other) noexcept { Attach(other.view); }

  /// Takes over the other's reference and leaves it null.
  xstring(xstring&& other) noexcept : view(other.view) { other.SetNull(); }

  /// Takes the text of a C view. With `attach` the view keeps its reference;
  /// without it, the view's reference passes to the string, fields as they are.
  xstring(const __xstring_c& text, bool attach);

  /// The text written to `stream` so far. Writes one zero character to the
  /// stream each time, so that the stream grows by one.
  xstring(std::strstream& stream);

  /// Gives the reference on the buffer back.
  ~xstring() { Drop(view.buffer); }

  /// Shares the other's buffer; the one held before is given back.
  xstring& operator=(const xstring& other) noexcept;
  /// Takes over the other's reference and leaves it null.
  xstring& operator=(xstring&& other) noexcept;
  /// Assigns a copy of `text`, which may be a part of this string; null text makes the
  /// string null.
  /// Throws as construction does.
  xstring& operator=(const char* text);
  xstring& operator=(const wchar_t* text);
  /// Assigns the text written to `stream` so far, as the constructor does.
  xstring& operator=(std::strstream& stream);

  /// Like the constructor from a C view; the buffer held before is released
  /// last. With `attach` false, `text` must not be this string's own view
  /// without a reference of its own.
  void Assign(const __xstring_c& text, bool attach);

  /// The narrow form, produced if missing; address 1 for the null string.
  operator const char*() const { return CastToCString(); }
  /// The wide form, produced if missing; address 1 for the null string.
  operator const wchar_t*() const { return CastToCWString(); }
  /// These are the two conversions under names of their own.
  const char* CastToCString() const { return view.narrow ? view.narrow : Produced<char>(); }
  const wchar_t* CastToCWString() const { return view.wide ? view.wide : Produced<wchar_t>(); }

  /// True for the null string.
  bool IsNull() const { return !view.buffer; }
  /// True for a text without characters; false for the null string.
  bool IsEmpty() const;

  /// Bytes of the narrow form where it exists, else characters of the wide
  /// form; 0 for the null string. Produces nothing.
  int GetLength() const;

  /// Room the text takes as narrow text: bytes + 1 where the narrow form
  /// exists; else the converted length + 2; 0 for the null string.
  /// Aborts with "xstring::GetMBSize: invalid wide string" when the wide text
  /// does not convert. Produces nothing.
  std::uint64_t GetMBSize() const;

  /// These read a decimal integer or real, blanks around it allowed, whatever the locale.
  /// False, with `value` untouched, for anything else and for a number out of range. A
  /// null `value` only asks.
  bool ToInt(int* value) const;
  bool ToDouble(double* value) const;

  /// The three fields with one more reference (owned by the caller).
  __xstring_c getxstring_c() const;
  /// The three fields without one (borrowed while this string is unchanged).
  __xstring_c getxstring_c_unattached() const { return view; }

  /// Appends text. Null and empty text change nothing; on the null string the
  /// result is a copy of the text. The form of the argument is kept, the other
  /// dropped. For an xstring argument: the wide form if this string has one.
  xstring& operator+=(const char* text);
  xstring& operator+=(const wchar_t* text);
  xstring& operator+=(const xstring& text);
  /// Appends one character; the zero character changes nothing.
  xstring& operator+=(char c) { return AppendCharacter(view.narrow, c); }
  xstring& operator+=(wchar_t c) { return AppendCharacter(view.wide, c); }

  /// Replaces occurrences of `from` by `to`, found from left to right without
  /// overlap.
  /// @param first  number of the first occurrence to replace, from 1 (less
  ///               counts as 1)
  /// @param count  how many at most; 0 none, negative all
  /// Null or empty `from`: nothing happens; null `to` deletes.
  void Substitute(const char* from, const char* to, int first = 1, int count = -1);
  void Substitute(const wchar_t* from, const wchar_t* to, int first = 1, int count = -1);
  void Substitute(const xstring& from, const xstring& to, int first = 1, int count = -1);

  /// The characters from `start` up to, not including, `end` (negative: up to
  /// the end of the text); bounds as in the constructor. Null and empty
  /// strings give themselves.
  xstring Substring(int start, int end = -1) const;

  /// Words: maximal runs of characters that are none of `separators`; without
  /// separators the whole text is one word.
  /// @return the number of words, 0 for the null string
  int GetNWords(const char* separators) const;
  int GetNWords(const wchar_t* separators) const;
  int GetNWords(const xstring& separators) const;

  /// Word `n`, counted from 0: a string with a buffer of its own, empty when
  /// there is no such word; the null string for the null string.
  xstring GetWord(int n, const char* separators) const;
  xstring GetWord(int n, const wchar_t* separators) const;
  xstring GetWord(int n, const xstring& separators) const;

  /// Position of the first occurrence of `text`, in characters from 0, such
  /// that Substring(Pos(text)) starts with it; -1 if there is none, for the
  /// null string and for null text; 0 for empty text.
  int Pos(const char* text) const;
  int Pos(const wchar_t* text) const;
  int Pos(const xstring& text) const;

  /// True when the whole text fits `pattern`: `*` any run, `?` one character,
  /// the rest exactly. False for null on either side.
  bool Match(const char* pattern) const;
  bool Match(const wchar_t* pattern) const;
  bool Match(const xstring& pattern) const;

  /// These give the text in the other case, character by character after the locale; null
  /// and empty strings give themselves.
  xstring ToUpper() const;
  xstring ToLower() const;

  /// Formats like printf, up to 2055 bytes. Aborts with "String too long"
  /// beyond; a null format or a formatting error gives the null string.
  static xstring Printf(const char* format, ...) __attribute__((format(printf, 1, 2)));

  /// Exact, byte by byte, in the form of the argument; null equals only null.
  friend VELSTD_API bool operator==(const xstring& a, const char* text);
  friend VELSTD_API bool operator==(const xstring& a, const wchar_t* text);
  /// Whether both hold the same text, byte by byte, in the form that they have; null equals
  /// only null.
  friend bool operator==(const xstring& a, const xstring& b) {
    // Most strings have a narrow form only, whose length is known.
    if (!a.view.wide && a.view.buffer && b.view.buffer) {
      const std::size_t length = a.view.buffer->KnownLength(a.view.narrow);
      const std::size_t other = b.view.buffer->KnownLength(b.view.narrow);
      if (length > 0 && other > 0) {
        return length == other && std::memcmp(a.view.narrow, b.view.narrow, length) == 0;
      }
    }
    return a.EqualsSlowly(b);
  }

  /// Writes the narrow text; a wide-only string is converted for the call
  /// alone. The null string writes nothing here and "nil" there.
  friend VELSTD_API korOStream& operator<<(korOStream& out, const xstring& text);
  friend VELSTD_API std::ostream& operator<<(std::ostream& out, const xstring& text);

 private:
  friend class xany;

  /// Text of the null string; never read. Kept from the optimiser, which would
  /// follow the path on which a text is null, and warn of what is read there.
  template <class Ch>
  static Ch* NullText() {
    std::uintptr_t address = 1;
    __asm__("" : "+r"(address));
    return reinterpret_cast<Ch*>(address);
  }

  void SetNull() noexcept { view = {nullptr, NullText<char>(), NullText<wchar_t>()}; }
  void Attach(const __xstring_c& other) noexcept {
    view = other;
    if (view.buffer) {
      view.buffer->AddReference();
    } else {
      SetNull();
    }
  }
  static void Drop(korStrBuf* buffer) noexcept {
    if (buffer) buffer->DropReference();
  }

  // The bodies, once for both widths. Slot is the view's pointer of that form.
  template <class Ch>
  Ch*& Slot() const;
  template <class Ch>
  const Ch* Produced() const;
  template <class Ch>
  const Ch* Form() const;
  template <class Ch>
  void SetOnly(korStrBuf* buffer, Ch* text);
  template <class Ch>
  Ch* Allocate(std::size_t length);
  template <class Ch>
  void CreateFrom(const Ch* text, std::size_t length);
  template <class Ch>
  void CreateTruncated(const Ch* text, int n);
  template <class Ch>
  void CreateRange(const Ch* text, int start, int end);
  template <class Ch>
  void CreateConcat(const Ch* first, const Ch* second);
  template <class Ch>
  xstring& AssignText(const Ch* text);
  template <class Ch>
  void FollowBy(const Ch* text);
  template <class Ch>
  bool Holds(const Ch* text) const;
  template <class Ch>
  void Append(const Ch* text, std::size_t length);
  template <class Ch>
  xstring& AppendText(const Ch* text);
  template <class Ch>
  xstring& AppendSlowly(Ch c);

  // `form` is this string's text in the form of `c`. While there is room, which
  // is nearly always, an append is a few instructions: too few to call for.
  template <class Ch>
  xstring& AppendCharacter(const Ch* form, Ch c) {
    if (c && view.buffer) {
      if (Ch* place = view.buffer->Extend(form, 1)) {
        *place = c;
        return *this;
      }
    }
    return AppendSlowly(c);
  }
  template <class Ch>
  void SubstituteText(const Ch* from, const Ch* to, int first, int count);
  template <class Ch>
  xstring SubstringOf(int start, int end) const;
  template <class Ch>
  xstring WordOf(int n, const Ch* separators) const;
  template <class Ch>
  bool EqualsText(const Ch* text) const;
  template <class Ch>
  bool EqualsString(const xstring& other) const;
  bool EqualsSlowly(const xstring& other) const;
  xstring InCase(bool upper) const;

  void CreateFromString(const char* text);
  void CreateFromWString(const wchar_t* text);
  void CreateFromStringTruncated(const char* text, int n);
  void CreateFromWStringTruncated(const wchar_t* text, int n);
  void CreateFromStringsConcat(const char* first, const char* second);
  void CreateFromWStringsConcat(const wchar_t* first, const wchar_t* second);
  void CreateFromStream(std::strstream& stream);

  // Producing a form on demand changes the view, not the value.
  mutable __xstring_c view;
};

static_assert(sizeof(xstring) == 24, "an xstring is its three-field view");

/// These compare as the operators above do, with the text on the left, and
/// for difference.
inline bool operator==(const char* text, const xstring& a) { return a == text; }
inline bool operator==(const wchar_t* text, const xstring& a) { return a == text; }
inline bool operator!=(const xstring& a, const char* text) { return !(a == text); }
inline bool operator!=(const xstring& a, const wchar_t* text) { return !(a == text); }
inline bool operator!=(const char* text, const xstring& a) { return !(a == text); }
inline bool operator!=(const wchar_t* text, const xstring& a) { return !(a == text); }
inline bool operator!=(const xstring& a, const xstring& b) { return !(a == b); }

/// Points a view at the one shared empty buffer, which holds both forms, and
/// takes a reference on it (owned by whoever holds the view). The buffer is
/// made on first use and kept for ever. Thread-safe. Throws std::bad_alloc.
VELSTD_API void xstringAttachEmptyStrBuf(__xstring_c* view);

/// Bytes of `text` with its terminator; 0 for null text.
VELSTD_API std::size_t Strbytes(const char* text);
/// The same for wide text; sizeof(wchar_t) bytes a character.
VELSTD_API std::size_t Strbytes(const wchar_t* text);
/// -1, 0 or 1 as `a` sorts before, with or after `b` by unsigned units; null
/// text sorts first.
VELSTD_API int Strcmp(const wchar_t* a, const wchar_t* b);
/// Bytes of the first `n` characters of `text` in the current locale.
VELSTD_API std::size_t mbsnbcnt(const char* text, int n);

#endif  // VELSTD_STRLIBSRC_XSTRING_H
