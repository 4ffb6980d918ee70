// velrelease.h - last releases that wait until the ground is firm.
//
// A last release runs code that the library does not know: onDelete and
// destructors. Two rules keep that code from finding a half-done world, and
// deep values from eating the stack:
//
// - While a velReleaseScope is alive on a thread, last releases are collected;
//   the end of the scope carries them out. Operations of collections open one,
//   so that elements die only when size and storage are final.
// - Destruction nests (an object's destructor releases its children) up to
//   velReleaseScope::flattenLevel levels; deeper, the releases that one
//   destructor makes are collected and carried out by a loop, children before
//   later siblings. isDeletable, onDelete and the beginnings of destructors
//   come in the order of the recursion.
//
// Once a scope has collected one release it collects all later ones, so that
// the order among them stays. Where memory for the list runs out, a release is
// carried out at once.
#ifndef VELSTD_SERVICES_VELRELEASE_H
#define VELSTD_SERVICES_VELRELEASE_H

#include <cstddef>

#include "korapi.h"

class xobject;

class VELSTD_API velReleaseScope {
 public:
  velReleaseScope() noexcept;
  /// Carries out what was collected.
  ~velReleaseScope();
  velReleaseScope(const velReleaseScope&) = delete;
  velReleaseScope& operator=(const velReleaseScope&) = delete;

  /// Collects one release of `p` if a scope is alive on this thread and it is
  /// the last, or follows one that was collected. The object that is being
  /// destroyed is left out: it will not be there when the list is carried out.
  /// @return false if the release is to be carried out now
  static bool defer(xobject* p, bool last) noexcept;

  /// Destroys `p`, whose last release this is, if it agrees.
  static void destroy(xobject* p) noexcept;

  /// Nesting up to which destruction is plain recursion. For tests.
  static int flattenLevel;

 private:
  explicit velReleaseScope(xobject* object) noexcept : velReleaseScope() { dying = object; }

  bool push(xobject* p) noexcept;
  static void flatten(xobject* p) noexcept;

  static constexpr std::size_t kInline = 16;
  xobject* inlineItems[kInline];
  xobject** items = inlineItems;
  std::size_t count = 0;
  std::size_t room = kInline;
  velReleaseScope* outer;
  xobject* dying = nullptr;  // whose destructor runs in this scope
};

#endif  // VELSTD_SERVICES_VELRELEASE_H
