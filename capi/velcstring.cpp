// velcstring.cpp - string records.
#include "velflatvalue.h"
#include "velguard.h"
#include "velstd_c.h"
#include "xstring.h"

namespace {

/// Runs `read` on the record as a string; whatever the string then looks like
/// goes back into the record, which keeps its one reference.
template <class R, class Read>
R OnRecord(__xstring_c* record, R onError, Read read) {
  return velGuard(onError, [&] {
    const xstring text(*record, true);
    const R result = read(text);
    // Producing a form may have moved the text to another buffer.
    *record = text.getxstring_c_unattached();
    return result;
  });
}

}  // namespace

void xstrcreate_c(__xstring_c* out, const char* text) {
  if (!out) return;
  xstring made;
  velGuard([&] { made = text; });
  *out = made.getxstring_c();
}

const char* xstrgetmb_c(__xstring_c* text) {
  if (!text) return xstring();
  return OnRecord<const char*>(text, nullptr, [](const xstring& s) { return s.CastToCString(); });
}

const wchar_t* xstrgetwc_c(__xstring_c* text) {
  if (!text) return xstring();
  return OnRecord<const wchar_t*>(text, nullptr,
                                  [](const xstring& s) { return s.CastToCWString(); });
}

void xstrlock_c(__xstring_c* text) {
  if (!text || !text->buffer) return;
  velGuard([=] { text->buffer->Attach(&text->narrow, &text->wide); });
}

void xstrunlock_c(__xstring_c* text) {
  if (!text) return;
  const __xstring_c old = *text;
  *text = xstring().getxstring_c_unattached();
  velGuard([&] { const xstring released(old, false); });
}
