// velcexception.cpp - the pending-exception record.
#include <atomic>

#include "velargument.h"
#include "velguard.h"
#include "velobjectaccess.h"
#include "velpending.h"
#include "velstd_c.h"

namespace {

// One for the process. It owns a reference on what it holds, if that is of a
// counted class; the uninitialised address is held unread.
std::atomic<xthrowable*> pending{nullptr};

// Kept from the first moment on: it must be there when nothing else can be.
std::atomic<velXNativeException*> outOfMemory{nullptr};

// Takes out what the record holds. Every call on a collection begins here, and
// mostly there is nothing: a look costs less than a locked exchange.
xthrowable* TakeOut() {
  if (!pending.load(std::memory_order_acquire)) return nullptr;
  return pending.exchange(nullptr, std::memory_order_acq_rel);
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
  if (pending.compare_exchange_strong(none, held, std::memory_order_acq_rel)) return;
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

void velClearPending() { Dispose(TakeOut()); }

void velPark(xthrowable* caught) noexcept {
  // The reference that came with the throw becomes the record's.
  xthrowable* old = pending.exchange(caught, std::memory_order_acq_rel);
  if (!velIsUninit(old)) velGuard([=] { Dispose(old); });
}

void velParkNew(xthrowable* made) { velPark(Retained(made)); }

void velParkOutOfMemory() noexcept {
  velPark(Retained(outOfMemory.load(std::memory_order_acquire)));
}

void velParkNative(const char* text) noexcept {
  try {
    velXNativeException::Throw(text);
  } catch (xthrowable* made) {
    velPark(made);
  } catch (...) {
    velParkOutOfMemory();
  }
}

// The two functions that let a complaint out do it first of all, with the record
// empty and nothing else touched.
static void RefuseUninit() {
  xthrowable* uninit = static_cast<xthrowable*>(static_cast<void*>(xuninitobject));
  if (pending.compare_exchange_strong(uninit, nullptr)) velhThrowNotInitialized();
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

unsigned char xisexc_c() { return pending.load(std::memory_order_acquire) != nullptr; }

xthrowable* xextractexc_c() { return TakeOut(); }
