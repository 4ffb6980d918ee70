// korostream.h - the toolkit's own output stream.
//
// A thin front over a std::ostream that is deliberately none itself: types
// may print differently to the two.
// Threads: as the stream beneath. Ownership: the stream is borrowed for the
// life of the front.
#ifndef VELSTD_KORBASE_KOROSTREAM_H
#define VELSTD_KORBASE_KOROSTREAM_H

#include <ostream>

#include "korapi.h"
#include "korstring.h"

/// The stream itself.
class VELSTD_API korOStream {
 public:
  /// Writes to `target`, which must outlive this object.
  explicit korOStream(std::ostream& target) : stream(target) {}
  korOStream(const korOStream&) = delete;
  korOStream& operator=(const korOStream&) = delete;

  /// Writes a narrow text; the null text writes nothing. Errors stay in the
  /// state of the stream beneath.
  korOStream& operator<<(const char* text) {
    if (const char* plain = korText(text)) stream << plain;
    return *this;
  }

 private:
  std::ostream& stream;
};

#endif  // VELSTD_KORBASE_KOROSTREAM_H
