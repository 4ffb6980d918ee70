// velupdate.h - a container that is called again in the middle of its own update.
//
// While a container moves, copies or ends its elements, its size, its storage
// and the places of its elements belong together in no settled way. What objects
// run when they die waits for the end of the operation (velrelease.h), but some
// code cannot wait: a user's class element as it is assigned or ends, the hooks
// of a user's subclass, overrides of xattach and xrelease. Code there that changes
// the same container pulls the ground from under the update.
//
// In checked builds a core marks what it runs so, and its operations end the
// process when they find their own container marked. In other builds all this is
// nothing.
// Threads: a mark counts for the thread that set it.
#ifndef VELSTD_SERVICES_VELUPDATE_H
#define VELSTD_SERVICES_VELUPDATE_H

/// A mark on a container, for as long as it lives; marks nest.
class velUpdate {
 public:
#ifdef VELSTD_CHECKED
  explicit velUpdate(const void* updated) noexcept;
  ~velUpdate();
  /// Aborts with "Re-entry into a container during its update." if `container`
  /// is marked; `source` and `line` tell the operation that came in.
  static void refuse(const void* container, const char* source, int line);
#else
  explicit velUpdate(const void*) noexcept {}
  ~velUpdate() {}  // not trivial: an unused variable of this type is no mistake
  static void refuse(const void*, const char*, int) {}
#endif
  velUpdate(const velUpdate&) = delete;
  velUpdate& operator=(const velUpdate&) = delete;

#ifdef VELSTD_CHECKED
 private:
  const void* container;
  const velUpdate* outer;
#endif
};

#endif  // VELSTD_SERVICES_VELUPDATE_H
