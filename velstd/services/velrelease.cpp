#include "velrelease.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "korabort.h"
#include "velcounting.h"
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

// One destruction more under way.
class Deeper {
 public:
  Deeper() { ++state.depth; }
  ~Deeper() { --state.depth; }
  Deeper(const Deeper&) = delete;
  Deeper& operator=(const Deeper&) = delete;
};

// The count of an object that is being destroyed is 1; of one that is not
// counted, 0 or -1.
std::int32_t CountOf(xobject* p) {
  return velObjectAccess::count(p).load(std::memory_order_relaxed);
}

// Takes one from the count unless it is the last; true if it was, with the count
// left at 1. Aborts on a corrupt count.
bool DropReference(xobject* p) {
  const std::int32_t now = velObjectAccess::count(p).load(std::memory_order_acquire);
  if (now >= 2) return velCounting::isLast(*p);
  if (now < -1) {
    _korAbort("xrcrelease: Invalid value of refcount.", "velstd/services/xobject", 591);
  }
  return now == 1;
}

void Refuse(xobject* p) {
  if (CountOf(p) > 0) velObjectAccess::count(p).store(0, std::memory_order_release);
}

void CheckTold([[maybe_unused]] xobject* p) {
#ifdef VELSTD_CHECKED
  if (CountOf(p) > 1) {
    _korAbort("onDelete left a reference to an object that is being destroyed.",
              "velstd/services/velrelease", 50);
  }
#endif
}

}  // namespace

__thread int velCounting::waitingReleases = 0;

// What a flattening loop still has to do, the next thing last.
class velReleaseScope::Pending {
 public:
  Pending() = default;
  ~Pending() { std::free(items); }
  Pending(const Pending&) = delete;
  Pending& operator=(const Pending&) = delete;

  bool isEmpty() const { return count == 0; }
  Item pop() { return items[--count]; }

  // Adds a batch so that its first member comes out first, and `then` after it;
  // false, and nothing added, without memory.
  bool push(const Item* batch, std::size_t n, Item then) {
    if (count + n + 1 > room) {
      const std::size_t wanted = std::max(2 * room, count + n + 64);
      auto* grown = static_cast<Item*>(std::realloc(items, wanted * sizeof(Item)));
      if (!grown) return false;
      items = grown;
      room = wanted;
    }
    if (then.step != Step::kDone) items[count++] = then;
    std::reverse_copy(batch, batch + n, items + count);
    count += n;
    return true;
  }

 private:
  Item* items = nullptr;
  std::size_t count = 0;
  std::size_t room = 0;
};

int velReleaseScope::flattenLevel = 64;

// Items are written before they are counted, and only then read.
// cppcheck-suppress uninitMemberVar
velReleaseScope::velReleaseScope() noexcept : outer(state.scope) { state.scope = this; }

velReleaseScope::~velReleaseScope() {
  carryOut();
  if (items != inlineItems) std::free(items);
}

void velReleaseScope::carryOut() noexcept {
  state.scope = outer;
  for (std::size_t i = 0; i < count; ++i) {
    const Item& item = items[i];
    if (item.step == Step::kRelease) {
      release(item.object);
    } else {
      free(item.object);
    }
  }
  forget();
}

// Empties the list.
void velReleaseScope::forget() noexcept {
  if (count > 0) --velCounting::waitingReleases;
  count = 0;
}

void velReleaseScope::settle(xobject* p) noexcept {
  velReleaseScope* scope = state.scope;
  if (!scope || scope->caller != p) return;
  scope->carryOut();
  state.scope = scope;
}

bool velReleaseScope::push(Item item) noexcept {
  if (count == room) {
    void* grown = std::malloc(2 * room * sizeof(Item));
    if (!grown) return false;
    std::memcpy(grown, items, count * sizeof(Item));
    if (items != inlineItems) std::free(items);
    items = static_cast<Item*>(grown);
    room *= 2;
  }
  if (count == 0) ++velCounting::waitingReleases;
  items[count++] = item;
  return true;
}

// What an outer scope has collected comes before anything that this one lets
// through or collects.
bool velReleaseScope::isCollecting() const noexcept {
  for (const velReleaseScope* scope = this; scope; scope = scope->outer) {
    if (scope->count > 0) return true;
  }
  return false;
}

void velReleaseScope::release(xobject* p) noexcept {
  const std::int32_t now = velObjectAccess::count(p).load(std::memory_order_acquire);
  if (now == 1 && !state.scope) return destroy(p);
  if (state.scope && now >= 1 && defer(p, now == 1)) return;
  if (!DropReference(p)) return;
  // Other threads may have made it the last one since the look at the count:
  // then it waits like any last release.
  if (now > 1 && defer(p, true)) return;
  destroy(p);
}

bool velReleaseScope::defer(xobject* p, bool last) noexcept {
  velReleaseScope* scope = state.scope;
  if (!scope || p == scope->caller || (!last && !scope->isCollecting())) return false;
  return scope->push({p, Step::kRelease});
}

void velReleaseScope::destroy(xobject* p) noexcept {
  if (state.depth >= flattenLevel) return flatten(p);
  const Deeper deeper;
  const NoScope none;
  // Few classes have something to say here.
  if (!velTable::isPlain<velTable::kIsDeletable>(*p) && !p->isDeletable()) return Refuse(p);
  if (!velTable::isPlain<velTable::kOnDelete>(*p)) p->onDelete();
  CheckTold(p);
  delete p;
}

void velReleaseScope::free(xobject* p) {
  // Past collections that are in the middle of an operation: what they have
  // collected comes later than this.
  velReleaseScope* flat = state.scope;
  while (flat && !flat->caller) flat = flat->outer;
  if (flat && flat->push({p, Step::kAsk})) return;
  if (state.depth >= flattenLevel) return flatten(p);
  const Deeper deeper;
  if (!p->isDeletable()) return;
  p->onDelete();
  delete p;
}

// Makes one call on the object and tells what follows it.
velReleaseScope::Step velReleaseScope::run(Item item) noexcept {
  xobject* p = item.object;
  switch (item.step) {
    case Step::kAsk:
      return p->isDeletable() ? Step::kTell : Step::kRefuse;
    case Step::kTell:
      p->onDelete();
      return Step::kDelete;
    case Step::kRefuse:
      Refuse(p);
      break;
    case Step::kDelete:
      CheckTold(p);
      delete p;
      break;
    case Step::kRelease:
    case Step::kDone:
      break;
  }
  return Step::kDone;
}

// A release out of the list. Of a collection that is in the middle of an
// operation it is the business.
velReleaseScope::Step velReleaseScope::releaseNext(xobject* p) noexcept {
  if (state.scope && !state.scope->caller && defer(p, CountOf(p) == 1)) return Step::kDone;
  return DropReference(p) ? Step::kAsk : Step::kDone;
}

void velReleaseScope::flatten(xobject* p) noexcept {
  const Deeper deeper;
  Pending pending;
  Item next = {p, Step::kAsk};
  for (;;) {
    if (next.step == Step::kRelease) {
      next.step = releaseNext(next.object);
    } else {
      // Collects what the call gives up; the loop carries it out before what
      // follows, or, without memory for that, the end of the scope.
      velReleaseScope batch(next.object);
      next.step = run(next);
      if (batch.count > 0 && pending.push(batch.items, batch.count, next)) {
        batch.forget();
        next.step = Step::kDone;
      }
    }
    if (next.step != Step::kDone) continue;
    if (pending.isEmpty()) return;
    next = pending.pop();
  }
}
