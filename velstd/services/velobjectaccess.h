// velobjectaccess.h - the library's own door to the private side of objects.
#ifndef VELSTD_SERVICES_VELOBJECTACCESS_H
#define VELSTD_SERVICES_VELOBJECTACCESS_H

#include <cstddef>
#include <cstring>

#include "velcounting.h"
#include "xobject.h"

struct velObjectAccess {
  static std::atomic<std::int32_t>& count(xobject* p) { return p->refcount; }
};

/// Tells by an object's table of virtual functions which of them its class leaves
/// as xobject has them: those need no call where the answer is known. A linker
/// that gives a function two addresses only costs a call.
class velTable {
 public:
  // Behind the two entries of the destructor, in the order of the class.
  static constexpr std::size_t kIsDeletable = 5;
  static constexpr std::size_t kOnDelete = 6;
  static constexpr std::size_t kAttach = 7;
  static constexpr std::size_t kRelease = 8;

  template <std::size_t entry>
  static bool isPlain(const xobject& object) noexcept {
    const Plain plain;
    return Of(object)[entry] == Of(plain.object)[entry];
  }

 private:
  // Looked at and no more: the end of it would only cost.
  union Plain {
    Plain() noexcept : object() {}
    ~Plain() {}
    xobject object;
  };

  // Copied bytewise: the compiler has views of its own on who reads that field.
  static const void* const* Of(const xobject& object) noexcept {
    const void* const* table;
    std::memcpy(&table, static_cast<const void*>(&object), sizeof table);
    return table;
  }
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
