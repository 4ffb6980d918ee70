#include "velupdate.h"

#ifdef VELSTD_CHECKED

#include "korabort.h"

namespace {

// The marks of this thread, the latest first.
thread_local const velUpdate* innermost = nullptr;

}  // namespace

velUpdate::velUpdate(const void* updated) noexcept : container(updated), outer(innermost) {
  innermost = this;
}

velUpdate::~velUpdate() { innermost = outer; }

void velUpdate::refuse(const void* container, const char* source, int line) {
  for (const velUpdate* mark = innermost; mark; mark = mark->outer) {
    if (mark->container == container) {
      _korAbort("Re-entry into a container during its update.", source, line);
    }
  }
}

#endif
