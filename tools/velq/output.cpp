#include "output.h"

#include <unistd.h>

#include <cerrno>
#include <cstddef>

namespace {
constexpr std::size_t kBlock = 256U << 10;
}

OutputBuffer::OutputBuffer(int to) : descriptor(to), error(0), block(kBlock) {
  setp(block.data(), block.data() + block.size());
}

bool OutputBuffer::drain() {
  const char* from = pbase();
  while (error == 0 && from < pptr()) {
    const ssize_t written = write(descriptor, from, static_cast<std::size_t>(pptr() - from));
    if (written >= 0) {
      from += written;
    } else if (errno != EINTR) {
      error = errno;
    }
  }
  setp(block.data(), block.data() + block.size());
  return error == 0;
}

OutputBuffer::int_type OutputBuffer::overflow(int_type character) {
  if (!drain()) return traits_type::eof();
  if (!traits_type::eq_int_type(character, traits_type::eof())) {
    *pptr() = traits_type::to_char_type(character);
    pbump(1);
  }
  return traits_type::not_eof(character);
}

int OutputBuffer::finish() {
  drain();
  return error;
}
