#include "velrelease.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "korabort.h"
#include "velobjectaccess.h"

namespace {

struct ThreadState {
  velReleaseScope* scope;  // the innermost one alive
  int depth;               // destructions under way, one inside the other
};

// Constant-initialised and without a destructor: costs one address at use, and
// works in exit handlers.
__attribute__((tls_model("initial-exec"))) thread_local ThreadState state = {nullptr, 0};

// While foreign code runs that nobody counts on being postponed.
class NoScope {
 public:
  NoScope() : saved(state.scope) { state.scope = nullptr; }
  ~NoScope() { state.scope = saved; }
  NoScope(const NoScope&) = delete;
  NoScope& operator=(const NoScope&) = delete;

 private:
  velReleaseScope* saved;
};

// Asks and tells the object; true if it agreed to be destroyed.
bool Agrees(xobject* p) {
  const NoScope none;
  if (!p->isDeletable()) {
    velObjectAccess::count(p).store(0, std::memory_order_release);
    return false;
  }
  p->onDelete();
#ifdef VELSTD_CHECKED
  if (velObjectAccess::count(p).load(std::memory_order_relaxed) != 1) {
    _korAbort("onDelete left a reference to an object that is being destroyed.",
              "velstd/services/velrelease", 50);
  }
#endif
  return true;
}

// The objects that a flattening loop still has to release, the next one last.
class Pending {
 public:
  Pending() = default;
  ~Pending() { std::free(items); }
  Pending(const Pending&) = delete;
  Pending& operator=(const Pending&) = delete;

  bool isEmpty() const { return count == 0; }
  xobject* pop() { return items[--count]; }

  // Adds a batch so that its first member comes out first; false, and nothing
  // added, without memory.
  bool push(xobject* const* batch, std::size_t n) {
    if (count + n > room) {
      const std::size_t wanted = std::max(2 * room, count + n + 64);
      auto* grown = static_cast<xobject**>(std::realloc(items, wanted * sizeof(xobject*)));
      if (!grown) return false;
      items = grown;
      room = wanted;
    }
    std::reverse_copy(batch, batch + n, items + count);
    count += n;
    return true;
  }

 private:
  xobject** items = nullptr;
  std::size_t count = 0;
  std::size_t room = 0;
};

}  // namespace

int velReleaseScope::flattenLevel = 64;

velReleaseScope::velReleaseScope() noexcept : outer(state.scope) { state.scope = this; }

velReleaseScope::~velReleaseScope() {
  state.scope = outer;
  for (std::size_t i = 0; i < count; ++i) velObjectAccess::finishRelease(items[i]);
  if (items != inlineItems) std::free(items);
}

bool velReleaseScope::push(xobject* p) noexcept {
  if (count == room) {
    void* grown = std::malloc(2 * room * sizeof(xobject*));
    if (!grown) return false;
    std::memcpy(grown, items, count * sizeof(xobject*));
    if (items != inlineItems) std::free(items);
    items = static_cast<xobject**>(grown);
    room *= 2;
  }
  items[count++] = p;
  return true;
}

bool velReleaseScope::defer(xobject* p, bool last) noexcept {
  velReleaseScope* scope = state.scope;
  if (!scope || (!last && scope->count == 0) || p == scope->dying) return false;
  return scope->push(p);
}

void velReleaseScope::destroy(xobject* p) noexcept {
  if (state.depth >= flattenLevel) return flatten(p);
  ++state.depth;
  if (Agrees(p)) {
    const NoScope none;
    delete p;
  }
  --state.depth;
}

void velReleaseScope::flatten(xobject* p) noexcept {
  ++state.depth;
  Pending pending;
  xobject* next = p;
  bool last = true;
  for (;;) {
    if (last && Agrees(next)) {
      // Collects what the destructor releases; the loop carries it out, or,
      // without memory for that, the end of the scope.
      velReleaseScope batch(next);
      delete next;
      if (pending.push(batch.items, batch.count)) batch.count = 0;
    }
    if (pending.isEmpty()) break;
    next = pending.pop();
    last = velObjectAccess::dropReference(next);
  }
  --state.depth;
}
