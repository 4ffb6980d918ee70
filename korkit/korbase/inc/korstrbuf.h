// korstrbuf.h - the shared text buffer behind every string.
//
// A buffer holds one text in up to two forms: narrow (multibyte, in the
// current locale) and wide. It is born with one form; the other is converted
// on first demand and then kept. Sizes are in bytes and count the terminator;
// one wide character is sizeof(wchar_t) bytes.
//
// Threads: the count is atomic and the second form is published with one
// compare-exchange, so copies of one string may be used from several threads.
// Editing is for the only owner of a buffer: the resize operations give a
// buffer of their own to whoever shares one.
// Ownership: counted. The allocating functions hand one reference to the
// caller; Release gives one back and frees the buffer with the last.
//
// The virtual functions are for those who reach a buffer through its table, as
// the C interface allows. No other class derives from this one, so the strings
// count and append in line.
#ifndef VELSTD_KORBASE_KORSTRBUF_H
#define VELSTD_KORBASE_KORSTRBUF_H

#include <atomic>
#include <cstddef>
#include <cstdint>

#include "korapi.h"
#include "korcount.h"

template <std::size_t kSize>
class velFixedText;

/// The buffer itself.
class VELSTD_API korStrBuf final {
 public:
  /// The longest text, in characters (narrow: bytes) without the terminator.
  static constexpr std::size_t kMaxLength = 0x7FFFFFFE;

  /// A new buffer of `size` bytes (at least 1) that holds only the narrow form.
  /// @param narrow  gets the address of the uninitialised text; the caller
  ///                writes text and terminator before anyone else sees it
  /// @return owned, give back with Release
  /// Throws velXNativeException "Size limit exceeded" beyond kMaxLength + 1
  /// bytes, std::bad_alloc.
  static korStrBuf* AllocMB(std::size_t size, char** narrow);

  /// The same for the wide form; `size` is in bytes as well, 2 x length + 2
  /// where a wide character has two bytes.
  static korStrBuf* AllocWC(std::size_t size, wchar_t** wide);

  /// Produces whichever form is missing and stores the addresses of both
  /// (either pointer may be null: not wanted, and then not produced; with both
  /// null both are produced). What does not convert becomes `?`.
  /// @return the buffer to use from now on (consumed and handed back)
  virtual korStrBuf* Produce(char** narrow, wchar_t** wide);

  /// Makes the narrow form writable with room for `size` bytes, keeping the
  /// old text (cut where it is longer) when `keep` is not 0.
  /// @return the buffer to use from now on: this one, or a new one when this
  ///         one is shared or has to grow; the caller's reference moves along
  /// Throws like AllocMB; the buffer then stays as it was.
  virtual korStrBuf* ResizeMB(std::size_t size, char** narrow, int keep);

  /// The same for the wide form; `size` in bytes.
  virtual korStrBuf* ResizeWC(std::size_t size, wchar_t** wide, int keep);

  /// Ends an edit in place: drops the form that was not edited. The one to edit
  /// is the one that the last resize made writable, before any resize the one
  /// that the buffer was allocated with.
  virtual void Commit();

  /// The same for an editor that knows how many characters its text has; then as
  /// NoteLength.
  void CommitLength(std::size_t length);

  /// Tells a new buffer how many characters its text will have: it keeps the
  /// number until the next edit, so that nobody has to measure the text.
  void NoteLength(std::size_t length) noexcept { knownLength = length; }

  /// Makes room for `more` characters behind `text`, one of the buffer's forms,
  /// in place, and writes the new terminator: with one owner, only this form, a
  /// length that is known and space enough. All that an append needs most of the
  /// time; the edit is then done as if by CommitLength.
  /// @return where the characters go, which the caller writes at once; null when
  ///         it takes a resize, with nothing changed
  char* Extend(const char* text, std::size_t more) noexcept { return ExtendForm(text, more); }
  wchar_t* Extend(const wchar_t* text, std::size_t more) noexcept { return ExtendForm(text, more); }

  /// Makes the whole of `text`, one of the buffer's forms, room for a new text of
  /// `length` characters (at least 1), terminator included: with one owner, the
  /// form that it was allocated with, and space enough but not several times too
  /// much. Drops the other form and notes the length.
  /// @return whether it is done; otherwise nothing is changed. The old text is
  ///         still there, so that the new one may be a part of it.
  bool Reuse(const char* text, std::size_t length) noexcept { return ReuseForm(text, length); }
  bool Reuse(const wchar_t* text, std::size_t length) noexcept { return ReuseForm(text, length); }

  /// Length in characters of `text`, which is one of the buffer's forms; 0 where
  /// only measuring can tell.
  std::size_t KnownLength(const void* text) const noexcept {
    return IsInline(text) ? knownLength : 0;
  }

  /// Length in characters of `text`, which is one of the buffer's forms.
  std::size_t GetLength(const char* text) const;
  std::size_t GetLength(const wchar_t* text) const;

  /// Adds a reference; fills the addresses of the forms that exist (null for
  /// one that does not) where a pointer is given.
  virtual void Attach(char** narrow, wchar_t** wide);

  /// Gives one reference back; the last one frees the buffer.
  virtual void Release();

  /// These do in line what Attach (without places, with both) and Release do.
  void AddReference() noexcept { korCountUp(count); }
  void AddReference(char*& narrow, wchar_t*& wide) noexcept {
    // Kept from the optimiser, which would follow paths on which a buffer cannot be
    // null, and warn of what is read there.
    korStrBuf* buffer = this;
    __asm__("" : "+r"(buffer));
    buffer->AddReference();
    narrow = buffer->narrowText.load(std::memory_order_acquire);
    wide = buffer->wideText.load(std::memory_order_acquire);
  }
  void DropReference() noexcept {
    if (korCountDown(count) == 1) Free();
  }

  korStrBuf(const korStrBuf&) = delete;
  korStrBuf& operator=(const korStrBuf&) = delete;

 private:
  template <std::size_t kSize>
  friend class velFixedText;
  friend class xstring;

  ~korStrBuf() = default;
  // With a text in the `size` bytes behind it; its length, or 0 while nobody knows.
  constexpr korStrBuf(char* text, std::size_t size, std::size_t length)
      : narrowText(text), room(size), knownLength(length) {}
  korStrBuf(wchar_t* text, std::size_t size, std::size_t length)
      : wideText(text), room(size), knownLength(length) {}

  template <class Ch>
  static korStrBuf* Alloc(std::size_t size, Ch** text);
  template <class Ch>
  korStrBuf* Resize(std::size_t size, Ch** text, int keep);
  template <class Ch>
  Ch* ProduceForm();
  template <class Ch>
  std::atomic<Ch*>& Text();
  template <class Ch>
  const std::atomic<Ch*>& Text() const {
    return const_cast<korStrBuf*>(this)->Text<Ch>();
  }
  template <class Ch>
  Ch* ExtendForm(const Ch* text, std::size_t more) noexcept;
  template <class Ch>
  bool ReuseForm(const Ch* text, std::size_t length) noexcept;
  void Free() noexcept;

  bool IsInline(const void* text) const { return text == this + 1; }
  bool IsShared() const { return count.load(std::memory_order_acquire) != 1; }
  bool HasOneForm() const {
    return !narrowText.load(std::memory_order_relaxed) || !wideText.load(std::memory_order_relaxed);
  }

  std::atomic<std::int64_t> count{1};
  std::atomic<char*> narrowText{nullptr};
  std::atomic<wchar_t*> wideText{nullptr};
  std::size_t room = 0;         // bytes that follow this header, for the form it was born with
  std::size_t knownLength = 0;  // of that form, in characters; 0 where nobody told
};

template <class Ch>
Ch* korStrBuf::ExtendForm(const Ch* text, std::size_t more) noexcept {
  const std::size_t length = knownLength;
  if (length == 0 || !IsInline(text) || IsShared() || !HasOneForm()) return nullptr;
  const std::size_t most = room / sizeof(Ch) - 1;
  if (more > most - length) return nullptr;
  Ch* place = reinterpret_cast<Ch*>(this + 1) + length;
  place[more] = 0;
  knownLength = length + more;
  return place;
}

#endif  // VELSTD_KORBASE_KORSTRBUF_H
