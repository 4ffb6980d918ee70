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

}  // namespace

void velPrepareOutOfMemory() {
  if (outOfMemory.load(std::memory_order_acquire)) return;
  auto made = velCreateNativeException("Out of memory");
  velXNativeException* none = nullptr;
  if (outOfMemory.compare_exchange_strong(none, made, std::memory_order_acq_rel)) {
    xrcattach(made.operator->());
  }
}

void velClearPending() { Dispose(pending.exchange(nullptr, std::memory_order_acq_rel)); }

void velPark(xthrowable* caught) noexcept {
  // The reference that came with the throw becomes the record's.
  xthrowable* old = pending.exchange(caught, std::memory_order_acq_rel);
  if (!velIsUninit(old)) Dispose(old);
}

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

// These two let the complaint about a record that held the uninitialised
// address out.

void xsetexc_c(xthrowable* exception) {
  xrcunihandle<xthrowable> held;
  if (exception && !velIsUninit(exception)) {
    held = velGuard<xthrowable*>(nullptr, [&] { return velArgument<xthrowable>(exception); });
    if (held.isnull()) return;  // no exception: a complaint is pending instead
  }
  velClearPending();
  velPark(velIsUninit(exception) ? exception : Retained(held));
}

void xcleanupexc_c() { velClearPending(); }

xthrowable* xgetexc_c() {
  return Retained(pending.load(std::memory_order_acquire));
}

unsigned char xisexc_c() { return pending.load(std::memory_order_acquire) != nullptr; }

xthrowable* xextractexc_c() { return pending.exchange(nullptr, std::memory_order_acq_rel); }
