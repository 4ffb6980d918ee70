// velobjectaccess.h - the library's own door to the private side of objects.
//
// Everything that counts goes through the virtual functions, so that a class
// which overrides them sees each attach and release.
#ifndef VELSTD_SERVICES_VELOBJECTACCESS_H
#define VELSTD_SERVICES_VELOBJECTACCESS_H

#include "xobject.h"

struct velObjectAccess {
  static void attach(xobject* p) { p->xattach(); }
  static void release(xobject* p) { p->xrelease(); }
  static std::atomic<std::int32_t>& count(xobject* p) { return p->refcount; }

  /// Takes one from the count unless it is the last; true if it was, with the
  /// count left at 1. Aborts on a corrupt count.
  static bool dropReference(xobject* p);

  /// A release as the library itself does it, whatever the class overrides:
  /// carries out one that was postponed after the class had seen it.
  static void finishRelease(xobject* p) { p->xobject::xrelease(); }
};

/// Holds an object for the time of a call. One that nobody held survives it, with
/// a count of 0 again; one whose holders all let go meanwhile dies here.
class velBorrow {
 public:
  explicit velBorrow(xobject* p)
      : object(velIsUninit(p) ? nullptr : p), unheld(object && xrcgetcount(object) == 0) {
    if (object) velObjectAccess::attach(object);
  }
  ~velBorrow();
  velBorrow(const velBorrow&) = delete;
  velBorrow& operator=(const velBorrow&) = delete;

 private:
  xobject* object;
  bool unheld;
};

#endif  // VELSTD_SERVICES_VELOBJECTACCESS_H
