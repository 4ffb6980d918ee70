#include "xerrhandler.h"

#include "korinst.h"

namespace {

// Made by the first addlistener and kept until the process ends.
dsScalarSet<xerrlistener*>* listeners = nullptr;

// The listener with the smallest address above `last`; null for none.
xerrlistener* Next(xerrlistener* last) {
  if (!listeners) return nullptr;
  int position = 0;
  if (listeners->FindIndex(last, &position)) ++position;
  return listeners->GetAt(position);
}

}  // namespace

void xerrhandler::addlistener(xerrlistener* listener) {
  if (!listener) return;
  if (!listeners) listeners = new dsScalarSet<xerrlistener*>;
  *listeners += listener;
}

void xerrhandler::removelistener(xerrlistener* listener) {
  if (listeners) *listeners -= listener;
}

xerhstatus xerrhandler::dispatch(const char* context, xrcunihandle<xthrowable> exception,
                                 xrcunihandle<xobject> object,
                                 xrcunihandle<xobject> contextObject) {
  xerhstatus status = xerhNotHandled;
  // By address, not by place: listeners come and go while they are called.
  for (xerrlistener* next = Next(nullptr); next && status == xerhNotHandled; next = Next(next)) {
    status = next->notify(context, exception, object, contextObject);
  }
  // Here, not with the arguments: those live until the caller's expression ends.
  exception = xrcunihandle<xthrowable>();
  object = contextObject = xrcunihandle<xobject>();
  return status;
}
