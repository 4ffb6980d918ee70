// velobjectaccess.h - the library's own door to the private side of objects.
#ifndef VELSTD_SERVICES_VELOBJECTACCESS_H
#define VELSTD_SERVICES_VELOBJECTACCESS_H

#include "velcounting.h"
#include "xobject.h"

struct velObjectAccess {
  static std::atomic<std::int32_t>& count(xobject* p) { return p->refcount; }
};

/// Holds an object for the time of a call. One that nobody held survives it, with
/// a count of 0 again; one whose holders all let go meanwhile dies here.
class velBorrow {
 public:
  explicit velBorrow(xobject* p)
      : object(velIsUninit(p) ? nullptr : p), unheld(object && xrcgetcount(object) == 0) {
    if (object) velCounting::attach(*object);
  }
  ~velBorrow();
  velBorrow(const velBorrow&) = delete;
  velBorrow& operator=(const velBorrow&) = delete;

 private:
  xobject* object;
  bool unheld;
};

#endif  // VELSTD_SERVICES_VELOBJECTACCESS_H
