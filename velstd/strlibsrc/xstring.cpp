#include "xstring.h"

#include <atomic>
#include <cstdarg>
#include <cstring>
#include <cwchar>
#include <ostream>
#include <type_traits>

#include "korabort.h"
#include "kormbcs.h"
#include "korstrbufalloc.h"
#include "korstring.h"

namespace {

constexpr char kSource[] = "velstd/strlibsrc/xstring";
constexpr int kPrintfBytes = 2056;

// What the bodies need to know about a width: its other width, and the
// toolkit's twin functions.
template <class Ch>
struct Width;

template <>
struct Width<char> {
  using Other = wchar_t;
  static korStrBuf* Resize(korStrBuf* buffer, std::size_t bytes, char** text) {
    return buffer->ResizeMB(bytes, text, 1);
  }
  static korStrBuf* Produce(korStrBuf* buffer, char** text) {
    return buffer->Produce(text, nullptr);
  }
  static std::size_t Units(const char* text, int n) { return kor_mbsnbcnt(text, n); }
  static constexpr auto Find = korStringFind;
  static constexpr auto Replace = korStringSubstitute;
  static constexpr auto NWords = korStringGetNWords;
  static constexpr auto Word = korStringGetWord;
  static constexpr auto FindPart = korStringFindSubstring;
  static constexpr auto Matches = korStringMatch;
  static constexpr auto ToLower = korStringToLower;
  static constexpr auto ToUpper = korStringToUpper;
};

template <>
struct Width<wchar_t> {
  using Other = char;
  static korStrBuf* Resize(korStrBuf* buffer, std::size_t bytes, wchar_t** text) {
    return buffer->ResizeWC(bytes, text, 1);
  }
  static korStrBuf* Produce(korStrBuf* buffer, wchar_t** text) {
    return buffer->Produce(nullptr, text);
  }
  static std::size_t Units(const wchar_t* text, int n) {
    std::size_t units = 0;
    while (n > 0 && units < static_cast<std::size_t>(n) && text[units]) ++units;
    return units;
  }
  static constexpr auto Find = korWStringFind;
  static constexpr auto Replace = korWStringSubstitute;
  static constexpr auto NWords = korWStringGetNWords;
  static constexpr auto Word = korWStringGetWord;
  static constexpr auto FindPart = korWStringFindSubstring;
  static constexpr auto Matches = korWStringMatch;
  static constexpr auto ToLower = korWStringToLower;
  static constexpr auto ToUpper = korWStringToUpper;
};

template <class Ch>
bool SameText(const Ch* a, const Ch* b) {
  if (a == b) return true;
  // The C library's function knows only its own width.
  if constexpr (sizeof(Ch) == 4) return std::wcscmp(a, b) == 0;
  while (*a && *a == *b) ++a, ++b;
  return *a == *b;
}
template <>
bool SameText(const char* a, const char* b) {
  return a == b || std::strcmp(a, b) == 0;
}

// Copies a text; a short one, as most are, without a call: its first and its last
// bytes, which may overlap.
template <class Ch>
void CopyText(Ch* dest, const Ch* source, std::size_t length) {
  const std::size_t bytes = length * sizeof(Ch);
  if (bytes < 8 || bytes > 16) {
    std::memcpy(dest, source, bytes);
    return;
  }
  std::uint64_t first;
  std::uint64_t last;
  const char* const end = reinterpret_cast<const char*>(source) + bytes;
  std::memcpy(&first, source, sizeof first);
  std::memcpy(&last, end - sizeof last, sizeof last);
  std::memcpy(dest, &first, sizeof first);
  std::memcpy(reinterpret_cast<char*>(dest) + bytes - sizeof last, &last, sizeof last);
}

// The one empty buffer; never freed, so an edit always finds it shared.
std::atomic<korStrBuf*> emptyBuffer{nullptr};

korStrBuf* EmptyBuffer() {
  if (korStrBuf* ready = emptyBuffer.load(std::memory_order_acquire)) return ready;
  char* text;
  korStrBuf* made = korStrBuf::AllocMB(1, &text);
  text[0] = 0;
  try {
    made = made->Produce(nullptr, nullptr);
  } catch (...) {
    made->Release();
    throw;
  }
  korStrBuf* published = nullptr;
  if (emptyBuffer.compare_exchange_strong(published, made, std::memory_order_acq_rel)) return made;
  made->Release();
  return published;
}

}  // namespace

void xstringAttachEmptyStrBuf(__xstring_c* view) {
  korStrBuf* buffer = EmptyBuffer();
  buffer->Attach(&view->narrow, &view->wide);
  view->buffer = buffer;
}

template <>
char*& xstring::Slot<char>() const {
  return view.narrow;
}
template <>
wchar_t*& xstring::Slot<wchar_t>() const {
  return view.wide;
}

// The form for a string that does not hold it yet; a view without any buffer
// and text (a foreign C record) reads as null text.
template <class Ch>
const Ch* xstring::Produced() const {
  if (!view.buffer) return NullText<Ch>();
  view.buffer = Width<Ch>::Produce(view.buffer, &Slot<Ch>());
  return Slot<Ch>();
}
template const char* xstring::Produced<char>() const;
template const wchar_t* xstring::Produced<wchar_t>() const;

template <class Ch>
const Ch* xstring::Form() const {
  return Slot<Ch>() ? Slot<Ch>() : Produced<Ch>();
}

template <class Ch>
void xstring::SetOnly(korStrBuf* buffer, Ch* text) {
  view = {buffer, nullptr, nullptr};
  Slot<Ch>() = text;
}

// Gives this string, which holds nothing, a buffer of its own for `length`
// characters; the terminator is written, the text is up to the caller.
template <class Ch>
[[gnu::always_inline]] inline Ch* xstring::Allocate(std::size_t length) {
  if (length > korStrBuf::kMaxLength) velThrowSizeLimit();
  Ch* text;
  korStrBuf* buffer = korStrBuf::Alloc((length + 1) * sizeof(Ch), &text);
  text[length] = 0;
  buffer->NoteLength(length);
  SetOnly(buffer, text);
  return text;
}

template <class Ch>
void xstring::CreateFrom(const Ch* text, std::size_t length) {
  if (length == 0) {
    xstringAttachEmptyStrBuf(&view);
  } else {
    CopyText(Allocate<Ch>(length), text, length);
  }
}

template <class Ch>
void xstring::CreateTruncated(const Ch* text, int n) {
  text = korText(text);
  if (text) {
    CreateFrom(text, Width<Ch>::Units(text, n));
  } else {
    SetNull();
  }
}

template <class Ch>
void xstring::CreateRange(const Ch* text, int start, int end) {
  text = korText(text);
  if (!text) return SetNull();
  if (start < 0) start = 0;
  const Ch* from = text + Width<Ch>::Units(text, start);
  if (end < 0) {
    CreateFrom(from, Strlen(from));
  } else {
    CreateFrom(from, end > start ? Width<Ch>::Units(from, end - start) : 0);
  }
}

template <class Ch>
void xstring::CreateConcat(const Ch* first, const Ch* second) {
  first = korText(first);
  second = korText(second);
  if (!first && !second) return SetNull();
  const std::size_t firstLength = Strlen(first);
  const std::size_t secondLength = Strlen(second);
  if (firstLength + secondLength == 0) return xstringAttachEmptyStrBuf(&view);
  Ch* text = Allocate<Ch>(firstLength + secondLength);
  if (firstLength) std::memcpy(text, first, firstLength * sizeof(Ch));
  if (secondLength) std::memcpy(text + firstLength, second, secondLength * sizeof(Ch));
}

// Appends to a copy of the first part of a concatenation. Unlike an append, a
// concatenation without characters is the shared empty string.
template <class Ch>
void xstring::FollowBy(const Ch* text) {
  *this += text;
  if (IsNull() ? korText(text) != nullptr : IsEmpty()) *this = "";
}

void xstring::CreateFromString(const char* text) {
  text = korText(text);
  if (text) {
    CreateFrom(text, Strlen(text));
  } else {
    SetNull();
  }
}

void xstring::CreateFromWString(const wchar_t* text) {
  text = korText(text);
  if (text) {
    CreateFrom(text, Strlen(text));
  } else {
    SetNull();
  }
}

void xstring::CreateFromStringTruncated(const char* text, int n) { CreateTruncated(text, n); }
void xstring::CreateFromWStringTruncated(const wchar_t* text, int n) { CreateTruncated(text, n); }

void xstring::CreateFromStringsConcat(const char* first, const char* second) {
  CreateConcat(first, second);
}
void xstring::CreateFromWStringsConcat(const wchar_t* first, const wchar_t* second) {
  CreateConcat(first, second);
}

void xstring::CreateFromStream(std::strstream& stream) {
  // Freezes the stream's buffer while it is read; thaws it on every exit.
  struct Frozen {
    explicit Frozen(std::strstream& s) : stream(s), text(s.str()) {}
    ~Frozen() { stream.freeze(false); }
    std::strstream& stream;
    const char* text;
  };
  stream.put('\0');
  // A full buffer of fixed size refuses the terminator: never read beyond what
  // was written. The stream's own count of it is an int, its position is not.
  const std::streamoff written =
      stream.rdbuf()->pubseekoff(0, std::ios_base::cur, std::ios_base::out);
  const std::size_t most = written > 0 ? static_cast<std::size_t>(written) : 0;
  const Frozen frozen(stream);
  CreateFrom(frozen.text, frozen.text ? strnlen(frozen.text, most) : 0);
}

xstring::xstring(const char* text) { CreateFromString(text); }
xstring::xstring(const wchar_t* text) { CreateFromWString(text); }
xstring::xstring(const char* text, int n) { CreateFromStringTruncated(text, n); }
xstring::xstring(const wchar_t* text, int n) { CreateFromWStringTruncated(text, n); }
xstring::xstring(const char* text, int start, int end) { CreateRange(text, start, end); }
xstring::xstring(const wchar_t* text, int start, int end) { CreateRange(text, start, end); }
xstring::xstring(const char* first, const char* second) { CreateFromStringsConcat(first, second); }
xstring::xstring(const wchar_t* first, const wchar_t* second) {
  CreateFromWStringsConcat(first, second);
}
xstring::xstring(const xstring& first, const char* second) : xstring(first) { FollowBy(second); }
xstring::xstring(const xstring& first, const wchar_t* second) : xstring(first) { FollowBy(second); }
xstring::xstring(std::strstream& stream) { CreateFromStream(stream); }

xstring::xstring(const __xstring_c& text, bool attach) : view(text) {
  if (attach) Attach(text);
}

// NOLINTNEXTLINE(cert-oop54-cpp): attached before it is dropped
xstring& xstring::operator=(const xstring& other) noexcept {
  korStrBuf* old = view.buffer;
  Attach(other.view);
  Drop(old);
  return *this;
}

xstring& xstring::operator=(xstring&& other) noexcept {
  if (this == &other) return *this;
  korStrBuf* old = view.buffer;
  view = other.view;
  other.SetNull();
  Drop(old);
  return *this;
}

// A text that fits goes into the buffer that is there.
template <class Ch>
xstring& xstring::AssignText(const Ch* text) {
  const Ch* plain = korText(text);
  if (!view.buffer || !plain || !*plain) return *this = xstring(text);
  const std::size_t length = Strlen(plain);
  Ch* own = Slot<Ch>();
  if (!view.buffer->Reuse(own, length)) return *this = xstring(text);
  // It may be a part of the old one.
  std::memmove(own, plain, length * sizeof(Ch));
  own[length] = 0;
  SetOnly(view.buffer, own);
  return *this;
}

xstring& xstring::operator=(const char* text) { return AssignText(text); }
xstring& xstring::operator=(const wchar_t* text) { return AssignText(text); }
xstring& xstring::operator=(std::strstream& stream) { return *this = xstring(stream); }

void xstring::Assign(const __xstring_c& text, bool attach) { *this = xstring(text, attach); }

bool xstring::IsEmpty() const {
  if (IsNull()) return false;
  if (view.narrow) return !*view.narrow;
  return view.wide && !*view.wide;
}

int xstring::GetLength() const {
  if (IsNull()) return 0;
  return static_cast<int>(view.narrow ? Strlen(view.narrow) : Strlen(view.wide));
}

std::uint64_t xstring::GetMBSize() const {
  if (IsNull()) return 0;
  if (view.narrow) return Strlen(view.narrow) + 1;
  const std::size_t bytes = kor_wcstombs(nullptr, view.wide, 0);
  if (bytes == static_cast<std::size_t>(-1)) {
    _korAbort("xstring::GetMBSize: invalid wide string", kSource, 554);
  }
  return bytes + 2;
}

bool xstring::ToInt(int* value) const {
  if (IsNull()) return false;
  return view.narrow ? korStringToInt(view.narrow, value) : korWStringToInt(view.wide, value);
}

bool xstring::ToDouble(double* value) const {
  if (IsNull()) return false;
  return view.narrow ? korStringToDouble(view.narrow, value) : korWStringToDouble(view.wide, value);
}

__xstring_c xstring::getxstring_c() const {
  if (view.buffer) view.buffer->AddReference();
  return view;
}

// True when `text` points into this string's own text of that form.
template <class Ch>
bool xstring::Holds(const Ch* text) const {
  const Ch* own = Slot<Ch>();
  return view.buffer && own && text >= own && text <= own + Strlen(own);
}

// Not in line: those who call it have less to do most of the time.
template <class Ch>
__attribute__((noinline)) void xstring::Append(const Ch* text, std::size_t length) {
  // A second owner makes the resize below leave the old text alone, so that an
  // argument inside it stays readable.
  const Ch* before = Form<Ch>();
  const std::size_t old = view.buffer->GetLength(before);
  const xstring keep = text >= before && text <= before + old ? *this : xstring();
  if (length > korStrBuf::kMaxLength - old) velThrowSizeLimit();
  Ch* own;
  view.buffer = Width<Ch>::Resize(view.buffer, (old + length + 1) * sizeof(Ch), &own);
  std::memcpy(own + old, text, length * sizeof(Ch));
  own[old + length] = 0;
  view.buffer->CommitLength(old + length);
  SetOnly(view.buffer, own);
}

template <class Ch>
xstring& xstring::AppendText(const Ch* text) {
  text = korText(text);
  if (!text || !*text) return *this;
  if (IsNull()) return *this = text;
  const std::size_t length = Strlen(text);
  if (Ch* place = view.buffer->Extend(Slot<Ch>(), length)) {
    CopyText(place, text, length);
  } else {
    Append(text, length);
  }
  return *this;
}

template <class Ch>
xstring& xstring::AppendSlowly(Ch c) {
  if (!c) return *this;
  if (IsNull()) {
    *Allocate<Ch>(1) = c;
  } else {
    Append(&c, 1);
  }
  return *this;
}
template xstring& xstring::AppendSlowly(char c);
template xstring& xstring::AppendSlowly(wchar_t c);

xstring& xstring::operator+=(const char* text) { return AppendText(text); }
xstring& xstring::operator+=(const wchar_t* text) { return AppendText(text); }

xstring& xstring::operator+=(const xstring& text) {
  if (view.wide) return *this += text.CastToCWString();
  if (view.narrow) return *this += text.CastToCString();
  return *this;
}

template <class Ch>
void xstring::SubstituteText(const Ch* from, const Ch* to, int first, int count) {
  from = korText(from);
  to = korText(to);
  if (IsNull() || !from || !*from || count == 0) return;
  static constexpr Ch kNothing[] = {0};
  if (!to) to = kNothing;
  if (SameText(from, to)) return;
  const xstring keep = Holds(from) || Holds(to) ? *this : xstring();
  const Ch* text = Form<Ch>();
  std::size_t offset = 0;
  const int n = Width<Ch>::Find(text, from, first, count, &offset);
  if (n == 0) return;
  const std::size_t length = Strlen(text);
  const auto growth =
      static_cast<std::int64_t>(Strlen(to)) - static_cast<std::int64_t>(Strlen(from));
  const std::int64_t wanted = static_cast<std::int64_t>(length) + n * growth;
  if (growth > 0) {
    if (wanted > static_cast<std::int64_t>(korStrBuf::kMaxLength)) velThrowSizeLimit();
    xstring result;
    Ch* dest = result.Allocate<Ch>(static_cast<std::size_t>(wanted));
    std::memcpy(dest, text, offset * sizeof(Ch));
    Width<Ch>::Replace(dest + offset, text + offset, from, to, 1, n);
    *this = static_cast<xstring&&>(result);
  } else {
    Ch* own;
    view.buffer = Width<Ch>::Resize(view.buffer, (length + 1) * sizeof(Ch), &own);
    Width<Ch>::Replace(own + offset, own + offset, from, to, 1, n);
    view.buffer->Commit();
    SetOnly(view.buffer, own);
  }
}

void xstring::Substitute(const char* from, const char* to, int first, int count) {
  SubstituteText(from, to, first, count);
}
void xstring::Substitute(const wchar_t* from, const wchar_t* to, int first, int count) {
  SubstituteText(from, to, first, count);
}
void xstring::Substitute(const xstring& from, const xstring& to, int first, int count) {
  // The arguments may be this very string: hold their texts for the call.
  // NOLINTBEGIN(performance-unnecessary-copy-initialization)
  const xstring heldFrom = from;
  const xstring heldTo = to;
  // NOLINTEND(performance-unnecessary-copy-initialization)
  if (view.wide) {
    SubstituteText(heldFrom.CastToCWString(), heldTo.CastToCWString(), first, count);
  } else if (view.narrow) {
    SubstituteText(heldFrom.CastToCString(), heldTo.CastToCString(), first, count);
  }
}

template <class Ch>
xstring xstring::SubstringOf(int start, int end) const {
  if (start < 0) start = 0;
  const Ch* text = Form<Ch>();
  const Ch* from = text + Width<Ch>::Units(text, start);
  xstring result;
  if (end < 0) {
    result.CreateFrom(from, Strlen(from));
  } else {
    result.CreateTruncated(from, end > start ? end - start : 0);
  }
  return result;
}

xstring xstring::Substring(int start, int end) const {
  if (IsNull() || IsEmpty()) return *this;
  return view.narrow ? SubstringOf<char>(start, end) : SubstringOf<wchar_t>(start, end);
}

int xstring::GetNWords(const char* separators) const {
  return IsNull() ? 0 : Width<char>::NWords(Form<char>(), separators);
}
int xstring::GetNWords(const wchar_t* separators) const {
  return IsNull() ? 0 : Width<wchar_t>::NWords(Form<wchar_t>(), separators);
}
int xstring::GetNWords(const xstring& separators) const {
  if (view.wide) return GetNWords(separators.CastToCWString());
  return view.narrow ? GetNWords(separators.CastToCString()) : 0;
}

template <class Ch>
xstring xstring::WordOf(int n, const Ch* separators) const {
  xstring result;
  if (IsNull()) return result;
  const Ch* start = nullptr;
  std::size_t length = 0;
  if (!Width<Ch>::Word(Form<Ch>(), n, separators, &start, &length)) length = 0;
  Ch* text = result.Allocate<Ch>(length);
  if (length) std::memcpy(text, start, length * sizeof(Ch));
  return result;
}

xstring xstring::GetWord(int n, const char* separators) const { return WordOf(n, separators); }
xstring xstring::GetWord(int n, const wchar_t* separators) const { return WordOf(n, separators); }
xstring xstring::GetWord(int n, const xstring& separators) const {
  if (view.wide) return WordOf(n, separators.CastToCWString());
  return view.narrow ? WordOf(n, separators.CastToCString()) : xstring();
}

int xstring::Pos(const char* text) const {
  return IsNull() ? -1 : Width<char>::FindPart(Form<char>(), text);
}
int xstring::Pos(const wchar_t* text) const {
  return IsNull() ? -1 : Width<wchar_t>::FindPart(Form<wchar_t>(), text);
}
int xstring::Pos(const xstring& text) const {
  if (view.wide) return Pos(text.CastToCWString());
  return view.narrow ? Pos(text.CastToCString()) : -1;
}

bool xstring::Match(const char* pattern) const {
  return !IsNull() && Width<char>::Matches(Form<char>(), pattern);
}
bool xstring::Match(const wchar_t* pattern) const {
  return !IsNull() && Width<wchar_t>::Matches(Form<wchar_t>(), pattern);
}
bool xstring::Match(const xstring& pattern) const {
  if (view.wide) return Match(pattern.CastToCWString());
  return view.narrow && Match(pattern.CastToCString());
}

xstring xstring::InCase(bool upper) const {
  if (IsNull() || IsEmpty()) return *this;
  const auto convert = [&](auto* form) {
    using Ch = std::remove_pointer_t<decltype(form)>;
    xstring result;
    const std::size_t length = Strlen(form);
    Ch* text = result.Allocate<Ch>(length);
    std::memcpy(text, form, length * sizeof(Ch));
    (upper ? Width<Ch>::ToUpper : Width<Ch>::ToLower)(text);
    return result;
  };
  return view.narrow ? convert(view.narrow) : convert(view.wide);
}

xstring xstring::ToUpper() const { return InCase(true); }
xstring xstring::ToLower() const { return InCase(false); }

// NOLINTNEXTLINE(cert-dcl50-cpp): published so
xstring xstring::Printf(const char* format, ...) {
  format = korText(format);
  if (!format) return xstring();
  char text[kPrintfBytes];
  va_list args;
  va_start(args, format);
  const int length = kor_vsprintf(text, sizeof text, format, args);
  va_end(args);
  if (length >= kPrintfBytes) _korAbort("String too long", kSource, 985);
  return length < 0 ? xstring() : xstring(text);
}

template <class Ch>
bool xstring::EqualsText(const Ch* text) const {
  text = korText(text);
  if (IsNull() || !text) return IsNull() && !text;
  return SameText(Form<Ch>(), text);
}

template <class Ch>
bool xstring::EqualsString(const xstring& other) const {
  if (IsNull() || other.IsNull()) return IsNull() && other.IsNull();
  return view.buffer == other.view.buffer || SameText(Form<Ch>(), other.Form<Ch>());
}

bool xstring::EqualsSlowly(const xstring& other) const {
  return view.wide ? EqualsString<wchar_t>(other) : EqualsString<char>(other);
}

bool operator==(const xstring& a, const char* text) { return a.EqualsText(text); }
bool operator==(const xstring& a, const wchar_t* text) { return a.EqualsText(text); }
namespace {

// The narrow text of a string for the time of one output; a wide-only string
// is converted without keeping the result in its buffer.
template <class Stream>
Stream& Write(Stream& out, const __xstring_c& view, const char* whenNull) {
  if (!view.buffer) return out << whenNull, out;
  if (view.narrow) return out << static_cast<const char*>(view.narrow), out;
  struct Text {
    ~Text() { delete[] text; }
    char* text;
  } const copy{StrneW(view.wide)};
  if (copy.text) out << static_cast<const char*>(copy.text);
  return out;
}

}  // namespace

korOStream& operator<<(korOStream& out, const xstring& text) { return Write(out, text.view, ""); }
std::ostream& operator<<(std::ostream& out, const xstring& text) {
  return Write(out, text.view, "nil");
}

std::size_t Strbytes(const char* text) { return korText(text) ? Strlen(text) + 1 : 0; }
std::size_t Strbytes(const wchar_t* text) {
  return korText(text) ? (Strlen(text) + 1) * sizeof(wchar_t) : 0;
}

int Strcmp(const wchar_t* a, const wchar_t* b) {
  using Unit = std::make_unsigned_t<wchar_t>;
  a = korText(a);
  b = korText(b);
  if (!a || !b) return (a != nullptr) - (b != nullptr);
  while (*a && *a == *b) ++a, ++b;
  // The checker takes wchar_t for a kind of char, whose negative values are bytes.
  // NOLINTBEGIN(bugprone-signed-char-misuse)
  const auto left = static_cast<Unit>(*a);
  const auto right = static_cast<Unit>(*b);
  // NOLINTEND(bugprone-signed-char-misuse)
  return (left > right) - (left < right);
}

std::size_t mbsnbcnt(const char* text, int n) { return kor_mbsnbcnt(text, n); }
