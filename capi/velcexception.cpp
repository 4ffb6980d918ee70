// velcexception.cpp - the pending-exception record.
#include <cxxabi.h>

#include <atomic>
#include <exception>
#include <new>

#include "korcount.h"
#include "velargument.h"
#include "velguard.h"
#include "velobjectaccess.h"
#include "velpending.h"
#include "velstd_c.h"

std::atomic<xthrowable*> velPending{nullptr};

namespace {

// Kept from the first moment on: it must be there when nothing else can be.
std::atomic<velXNativeException*> outOfMemory{nullptr};

// Puts `exception` into the record and returns what it held before.
xthrowable* Exchange(xthrowable* exception) {
  if (korIsSingleThreaded()) {
    xthrowable* const old = velPending.load(std::memory_order_relaxed);
    velPending.store(exception, std::memory_order_relaxed);
    return old;
  }
  return velPending.exchange(exception, std::memory_order_acq_rel);
}

// Takes out what the record holds.
xthrowable* TakeOut() {
  return velPending.load(std::memory_order_acquire) ? Exchange(nullptr) : nullptr;
}

// Ends what the record held. Throws velXNotInitialized for the uninitialised
// address.
void Dispose(xthrowable* held) {
  if (!held) return;
  if (velIsUninit(held)) velhThrowNotInitialized();
  if (held->isRefCountable()) {
    xrcrelease(held);
  } else {
    xdelete(held);
  }
}

// `exception` with a reference for the record.
xthrowable* Retained(xthrowable* exception) {
  if (exception && !velIsUninit(exception)) xrcattach(exception);
  return exception;
}

// Puts back what was taken out; ends it where something else is pending by now.
void PutBack(xthrowable* held) noexcept {
  xthrowable* none = nullptr;
  if (velPending.compare_exchange_strong(none, held, std::memory_order_acq_rel)) return;
  // cppcheck-suppress throwInNoexceptFunction ; velGuard lets nothing past it
  if (!velIsUninit(held)) velGuard([=] { Dispose(held); });
}

}  // namespace

void velPrepareOutOfMemory() {
  if (outOfMemory.load(std::memory_order_acquire)) return;
  auto made = velCreateNativeException("Out of memory");
  velXNativeException* none = nullptr;
  if (outOfMemory.compare_exchange_strong(none, made, std::memory_order_acq_rel)) {
    xrcattach(made.operator->());
  }
}

void velEndPending() { Dispose(TakeOut()); }

void velPark(xthrowable* caught) noexcept {
  // The reference that came with the throw becomes the record's.
  xthrowable* old = Exchange(caught);
  // cppcheck-suppress throwInNoexceptFunction ; velGuard lets nothing past it
  if (!velIsUninit(old)) velGuard([=] { Dispose(old); });
}

namespace {

// The exception for lack of memory needs none.
// cppcheck-suppress throwInNoexceptFunction ; velGuard lets nothing past it
void ParkOutOfMemory() noexcept { velPark(Retained(outOfMemory.load(std::memory_order_acquire))); }

void ParkNative(const char* text) noexcept {
  try {
    velXNativeException::Throw(text);
  } catch (xthrowable* made) {  // NOLINT(cert-err09-cpp): thrown so
    // cppcheck-suppress throwInNoexceptFunction ; velGuard lets nothing past it
    velPark(made);
  } catch (...) {
    ParkOutOfMemory();
  }
}

}  // namespace

// Thrown again to see what it is. What ends a thread is no object, and a sanitizer
// would complain of the reference that its handler binds.
__attribute__((no_sanitize("null"))) void velParkOther() {
  try {
    throw;
  } catch (const abi::__forced_unwind&) {
    throw;
  } catch (const std::bad_alloc&) {
    ParkOutOfMemory();
  } catch (const std::exception& foreign) {
    ParkNative(foreign.what());
  } catch (...) {
    ParkNative("Unknown exception");
  }
}

// The two functions that let a complaint out do it first of all, with the record
// empty and nothing else touched.
static void RefuseUninit() {
  xthrowable* uninit = static_cast<xthrowable*>(static_cast<void*>(xuninitobject));
  if (velPending.compare_exchange_strong(uninit, nullptr)) velhThrowNotInitialized();
}

void xsetexc_c(xthrowable* exception) {
  RefuseUninit();
  xthrowable* retained = exception;
  if (exception && !velIsUninit(exception)) {
    retained = velGuard<xthrowable*>(nullptr,
                                     [=] { return Retained(velArgument<xthrowable>(exception)); });
    if (!retained) return;  // no exception: a complaint is pending instead
  }
  // The old reference goes after the new one came: they may be to the same.
  velGuard(velClearPending);
  if (retained) velPark(retained);
}

void xcleanupexc_c() {
  RefuseUninit();
  velGuard(velClearPending);
}

xthrowable* xgetexc_c() {
  // Taken out while it gets its reference: another thread that clears the
  // record meanwhile must not destroy it.
  xthrowable* held = TakeOut();
  if (!held) return nullptr;
  xthrowable* retained = velGuard<xthrowable*>(nullptr, [=] { return Retained(held); });
  PutBack(held);
  return retained;
}

unsigned char xisexc_c() { return velPending.load(std::memory_order_acquire) != nullptr; }

xthrowable* xextractexc_c() { return TakeOut(); }
