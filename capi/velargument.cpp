#include "velargument.h"

#include <cxxabi.h>

#include <cstddef>
#include <typeinfo>

namespace {

// What precedes the entries of a virtual table.
struct TableHead {
  std::ptrdiff_t offsetToTop;
  const std::type_info* type;  // of the most derived class
};

}  // namespace

std::atomic<std::uint64_t> velDistanceCache::entries[kEntries];

std::ptrdiff_t velDistanceCache::search(const void* address) {
  const std::uintptr_t table = velTableAt(address);
  const auto* head = reinterpret_cast<const TableHead*>(table) - 1;
  const char* part = static_cast<const char*>(address);
  void* object = const_cast<char*>(part + head->offsetToTop);
  const auto& root = static_cast<const abi::__class_type_info&>(typeid(xobject));
  if (!head->type->__do_upcast(&root, &object)) return 0;
  const std::ptrdiff_t distance = static_cast<char*>(object) - part;
  if (distance == static_cast<std::int16_t>(distance)) {
    entry(table).store(table << kDistanceBits | static_cast<std::uint16_t>(distance),
                       std::memory_order_relaxed);
  }
  return distance;
}
