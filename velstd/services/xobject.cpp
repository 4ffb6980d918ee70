#include "xobject.h"

#include "korabort.h"
#include "korcount.h"
#include "korpool.h"
#include "velcounting.h"
#include "velexceptions.h"
#include "velobject.h"
#include "velobjectaccess.h"
#include "velobjectmutex.h"
#include "velrelease.h"
#include "velrtti.h"
#include "xany.h"
#include "xrchandle.h"
#include "xrtti.h"

namespace {

constexpr char kSource[] = "velstd/services/xobject";

#ifdef VELSTD_CHECKED
// Addresses that a null or uninitialised handle gives when it is dereferenced
// and converted; no object lives in the first page.
void CheckAddress(xobject* p) {
  if (reinterpret_cast<std::uintptr_t>(p) < 4096) {
    _korAbort("Reference through a null or uninitialised handle.", kSource, 30);
  }
}
#else
void CheckAddress(xobject*) {}
#endif

bool IsObject(xobject* p) { return p && !velIsUninit(p); }

}  // namespace

// ---- memory ----

// NOLINTNEXTLINE(cert-dcl54-cpp): its operator delete is the one that is told the size
void* xobject::operator new(std::size_t bytes) { return korpool::AllocObject(bytes); }

void* xobject::operator new(std::size_t bytes, const std::nothrow_t&) noexcept {
  try {
    return korpool::AllocObject(bytes);
  } catch (const std::bad_alloc&) {
    return nullptr;
  }
}

void* xobject::operator new(std::size_t bytes, std::align_val_t alignment) {
  return ::operator new(bytes, alignment);
}

void xobject::operator delete(void* block, std::size_t bytes) noexcept {
  if (block) korpool::FreeObject(block, bytes);
}

void xobject::operator delete(void* block, const std::nothrow_t&) noexcept {
  ::operator delete(block);
}

void xobject::operator delete(void* block, std::size_t, std::align_val_t alignment) noexcept {
  ::operator delete(block, alignment);
}

// ---- the object ----

xobject::~xobject() {
  // What the destructor made and gave up again may hold this object and wait.
  if (refcount.load(std::memory_order_relaxed) > 1) velReleaseScope::settle(this);
}

void* xobject::dyndowncast(const xrttiobject* target) {
  return target && target == getClassRtti() ? this : nullptr;
}

void* xobject::dyndowncast_i(const xrttiobject*) { return nullptr; }

xrttiobject* xobject::giveRtti() { return getClassRtti(); }

xrttiobject* xobject::getClassRtti() { return velGetRtti_object(); }

unsigned char xobject::isDeletable() { return true; }

void xobject::onDelete() {}

void xobject::xattach() {
  std::int32_t now = refcount.load(std::memory_order_relaxed);
  if (now == 0) {
    const std::int32_t first = getRtti()->getIsRefCount() ? 1 : -1;
    if (korIsSingleThreaded()) {
      refcount.store(first, std::memory_order_relaxed);
      return;
    }
    // Another thread may have been the first; it knew as well whether to count.
    if (refcount.compare_exchange_strong(now, first, std::memory_order_acq_rel)) return;
  }
  if (now == -1) return;
  if (now < 0) _korAbort("xrcattach: Invalid value of refcount.", kSource, 505);
  korCountUp(refcount);
}

void xobject::xrelease() { velReleaseScope::release(this); }

void xobject::xfree() {
  if (isRefCountable()) velhThrowRefCountable(this);
  velReleaseScope::free(this);
}

xstring xobject::getVelTypeName() { return getRtti()->getName(); }

bool xobject::isKindOf(xrttiobject* type) { return getRtti()->isTypeKindOf(type); }

bool xobject::isSameAs(xrttiobject* type) { return getRtti()->isTypeSameAs(type); }

bool xobject::isRefCountable() { return getRtti()->getIsRefCount() != 0; }

static_assert(sizeof(xobject) == 16, "the mark fills the padding");

bool velCounting::mark(xobject& object) noexcept {
  if (!velTable::isPlain<velTable::kAttach>(object)) return false;
  if (!velTable::isPlain<velTable::kRelease>(object)) return false;
  object.counting.store(markFor(object), std::memory_order_relaxed);
  return true;
}

void xrcattach(xobject* p) {
  if (!IsObject(p)) return;
  CheckAddress(p);
  if (velCounting::isMarked(*p) || velCounting::mark(*p)) {
    p->xobject::xattach();
  } else {
    p->xattach();
  }
}

void xrcrelease(xobject* p) {
  if (!IsObject(p)) return;
  CheckAddress(p);
  if (velCounting::isMarked(*p)) {
    velReleaseScope::release(p);
  } else {
    p->xrelease();
  }
}

void xrcuniattach(xobject* p) { xrcattach(p); }

void xrcunirelease(xobject* p) { xrcrelease(p); }

int xrcgetcount(xobject* p) { return p->refcount.load(std::memory_order_relaxed); }

void xdelete(xobject* p) {
  if (velIsUninit(p)) velhThrowNotInitialized();
  if (p) p->xfree();
}

void velReassign(xobject* p) {
  const int count = velIsUninit(p) ? 0 : xrcgetcount(p);
  // A release and an attach in one: at 2 and more they cancel out, at 0 and
  // below they do what they do; at 1 the object is asked, as every last release
  // asks, and stays.
  if (count == 1) {
    (void)p->isDeletable();
  } else if (count < 1) {
    xrcrelease(p);
    xrcattach(p);
  }
}

template class xrcbasehandle<xobject>;
template class xrcunihandle<xobject>;
