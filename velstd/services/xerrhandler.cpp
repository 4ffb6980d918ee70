#include "xerrhandler.h"

#include "korinst.h"

namespace {

// Made by the first addlistener and kept until the process ends.
dsScalarSet<xerrlistener*>* listeners = nullptr;

// The listener with the smallest address above `last`; null for none.
xerrlistener* Next(xerrlistener* last) {
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
  if (!listeners) return xerhNotHandled;
  // By address, not by place: listeners come and go while they are called.
  for (xerrlistener* next = Next(nullptr); next; next = Next(next)) {
    const xerhstatus status = next->notify(context, exception, object, contextObject);
    if (status != xerhNotHandled) return status;
  }
  return xerhNotHandled;
}
