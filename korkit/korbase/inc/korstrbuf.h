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
#ifndef VELSTD_KORBASE_KORSTRBUF_H
#define VELSTD_KORBASE_KORSTRBUF_H

#include <atomic>
#include <cstddef>
#include <cstdint>

#include "korapi.h"

class VELSTD_API korStrBuf {
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

  /// The same for an editor that knows how many characters its text has: the
  /// buffer keeps the number until the next edit, so that a long row of appends
  /// does not measure the text each time.
  void CommitLength(std::size_t length);

  /// Length in characters of `text`, which is one of the buffer's forms.
  std::size_t GetLength(const char* text) const;
  std::size_t GetLength(const wchar_t* text) const;

  /// Adds a reference; fills the addresses of the forms that exist (null for
  /// one that does not) where a pointer is given.
  virtual void Attach(char** narrow, wchar_t** wide);

  /// Gives one reference back; the last one frees the buffer.
  virtual void Release();

  korStrBuf(const korStrBuf&) = delete;
  korStrBuf& operator=(const korStrBuf&) = delete;

 protected:
  korStrBuf() = default;
  ~korStrBuf() = default;

 private:
  template <class Ch>
  friend struct korStrForm;

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
  bool IsInline(const void* text) const;
  bool IsShared() const;

  std::atomic<std::int64_t> count{1};
  std::atomic<char*> narrowText{nullptr};
  std::atomic<wchar_t*> wideText{nullptr};
  std::size_t room = 0;  // bytes that follow this header, for the form it was born with
  std::size_t knownLength = 0;  // of that form, in characters; 0 where nobody told
};

#endif  // VELSTD_KORBASE_KORSTRBUF_H
