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
      : object(velIsUninit(p) ? nullptr : p), unheld(object && countOf() == 0) {
    if (object) velCounting::attach(*object);
  }
  ~velBorrow() {
    if (!object) return;
    // The only reference is ours, as in the beginning: put it back without asking
    // for destruction.
    std::int32_t one = 1;
    if (unheld && velObjectAccess::count(object).compare_exchange_strong(one, 0)) return;
    velCounting::release(*object);
  }
  velBorrow(const velBorrow&) = delete;
  velBorrow& operator=(const velBorrow&) = delete;

 private:
  std::int32_t countOf() const {
    return velObjectAccess::count(object).load(std::memory_order_relaxed);
  }

  xobject* object;
  bool unheld;
};

#endif  // VELSTD_SERVICES_VELOBJECTACCESS_H
