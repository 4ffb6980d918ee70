#include "korabort.h"

#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstddef>
#include <cstdlib>
#include <cstring>

#include "korstring.h"

namespace {

// A write of this size to a pipe is not torn by other writers.
constexpr std::size_t kLineRoom = 4096;

class Line {
 public:
  // Adds as much of `text` as leaves `reserve` bytes free.
  void Add(const char* text, std::size_t reserve) {
    const std::size_t room = kLineRoom - used;
    if (room <= reserve) return;
    std::size_t length = Strlen(text);
    if (length > room - reserve) length = room - reserve;
    if (length > 0) std::memcpy(bytes + used, korText(text), length);
    used += length;
  }

  void Add(int number) {
    char digits[16];
    char* at = digits + sizeof(digits);
    *--at = '\0';
    // Negated as a wider number: the smallest int has no positive twin.
    long long rest = number;
    if (rest < 0) rest = -rest;
    do {
      *--at = static_cast<char>('0' + rest % 10);
      rest /= 10;
    } while (rest != 0);
    if (number < 0) *--at = '-';
    Add(at, 0);
  }

  void WriteTo(int file) const {
    const char* from = bytes;
    std::size_t left = used;
    while (left > 0) {
      const ssize_t written = ::write(file, from, left);
      if (written < 0 && errno == EINTR) continue;
      if (written <= 0) return;  // nobody is left to tell
      from += written;
      left -= static_cast<std::size_t>(written);
    }
  }

 private:
  char bytes[kLineRoom];
  std::size_t used = 0;
};

// A standard error that takes no more (a pipe without a reader, a file at its
// limit, a terminal that is someone else's) fails the write instead of ending or
// stopping the process in another way. For good: the process ends.
void HoldSignalsOfWriting() {
  sigset_t held;
  sigemptyset(&held);
  sigaddset(&held, SIGPIPE);
  sigaddset(&held, SIGXFSZ);
  sigaddset(&held, SIGTTOU);
  pthread_sigmask(SIG_BLOCK, &held, nullptr);
}

}  // namespace

void _korAbort(const char* message, const char* source, int line) {
  // The place is kept in full (the source up to this many bytes), the message
  // gives way when the line is too long.
  constexpr std::size_t kSourceRoom = 1024;
  constexpr std::size_t kTailRoom = 20;  // ", line ", the longest number, ")\n"
  const std::size_t sourceLength = Strlen(source);
  Line text;
  text.Add(message, (sourceLength < kSourceRoom ? sourceLength : kSourceRoom) + 2 + kTailRoom);
  text.Add(" (", kTailRoom);
  text.Add(source, kTailRoom);
  text.Add(", line ", 0);
  text.Add(line);
  text.Add(")\n", 0);
  HoldSignalsOfWriting();
  text.WriteTo(STDERR_FILENO);
  std::abort();
}
