// velrelease.h - last releases that wait until the ground is firm.
//
// A last release runs code that the library does not know: onDelete and
// destructors. Two rules keep that code from finding a half-done world, and
// deep values from eating the stack:
//
// - While a velReleaseScope is alive on a thread, last releases are collected;
//   the end of the scope carries them out. Operations of collections open one,
//   so that elements die only when size and storage are final.
// - Destruction nests (an object's isDeletable, onDelete or destructor gives up
//   others) up to velReleaseScope::flattenLevel levels; deeper, what one of
//   these calls releases or hands to xdelete is collected and carried out by a
//   loop when the call returns: children before later siblings, and before the
//   next call on the object itself. isDeletable, onDelete and the beginnings of
//   destructors come in the order of the recursion.
//
// Once a scope has collected one release it collects all later ones, as do the
// scopes inside it, so that the order among them stays. Where memory for the
// list runs out, a release is carried out at once.
//
// A destructor that says `delete` itself nests on the stack as ever: the library
// does not hear of it.
#ifndef VELSTD_SERVICES_VELRELEASE_H
#define VELSTD_SERVICES_VELRELEASE_H

#include <cstddef>

#include "korapi.h"

class xobject;

/// While it is alive, the last releases of its thread wait. A local variable of whoever
/// needs it, on the stack.
class VELSTD_API velReleaseScope {
 public:
  /// Begins to collect.
  velReleaseScope() noexcept;
  /// Carries out what was collected.
  ~velReleaseScope();
  velReleaseScope(const velReleaseScope&) = delete;
  velReleaseScope& operator=(const velReleaseScope&) = delete;

  /// A release as the library itself does it, whatever the class overrides.
  /// Aborts on a corrupt count.
  static void release(xobject* p) noexcept;

  /// Collects one release of `p` if a scope is alive on this thread and it is
  /// the last, or follows one that was collected. The object that a
  /// flattening loop calls is left out: it may not be there when the list is
  /// carried out.
  /// @return false if the release is to be carried out now
  static bool defer(xobject* p, bool last) noexcept;

  /// Destroys `p`, whose last release this is, if it agrees.
  static void destroy(xobject* p) noexcept;

  /// The same for an object that is not counted. Collections do not make it
  /// wait; the call that a flattening loop is in does.
  static void free(xobject* p);

  /// Carries out what the destructor of `p` has given up so far, if a flattening
  /// loop runs it: something in the list still holds `p`, whose memory goes next.
  static void settle(xobject* p) noexcept;

  /// Nesting up to which destruction is plain recursion. For tests.
  static int flattenLevel;

 private:
  class Pending;

  // What an object goes through, the next step of it.
  enum class Step : unsigned char { kRelease, kAsk, kTell, kRefuse, kDelete, kDone };
  struct Item {
    xobject* object;
    Step step;
  };

  // cppcheck-suppress uninitMemberVarPrivate ; as the other
  explicit velReleaseScope(xobject* object) noexcept : velReleaseScope() { caller = object; }

  void carryOut() noexcept;
  void forget() noexcept;
  bool push(Item item) noexcept;
  bool isCollecting() const noexcept;
  static Step run(Item item) noexcept;
  static Step releaseNext(xobject* p) noexcept;
  static void flatten(xobject* p) noexcept;

  static constexpr std::size_t kInline = 16;
  Item inlineItems[kInline];
  Item* items = inlineItems;
  std::size_t count = 0;
  std::size_t room = kInline;
  velReleaseScope* outer;
  xobject* caller = nullptr;  // that a flattening loop calls inside this scope
};

#endif  // VELSTD_SERVICES_VELRELEASE_H
