#include "velargument.h"

#include <cxxabi.h>

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <typeinfo>

namespace {

// What precedes the entries of a virtual table.
struct TableHead {
  std::ptrdiff_t offsetToTop;
  const std::type_info* type;  // of the most derived class
};

// One entry of the cache: the address of a table, and how far its part lies
// from the object, in one word that is read and written as a whole. User-space
// addresses fit 48 bits; a distance that does not fit 16 is not kept.
constexpr int kDistanceBits = 16;
constexpr std::size_t kEntries = 256;
std::atomic<std::uint64_t> cache[kEntries];

std::uint64_t Pack(std::uint64_t table, std::ptrdiff_t distance) {
  return table << kDistanceBits | static_cast<std::uint16_t>(distance);
}

std::ptrdiff_t SearchDistance(const void* address, std::uint64_t table) {
  const auto* head = reinterpret_cast<const TableHead*>(table) - 1;
  const char* part = static_cast<const char*>(address);
  void* object = const_cast<char*>(part + head->offsetToTop);
  const auto& root = static_cast<const abi::__class_type_info&>(typeid(xobject));
  if (!head->type->__do_upcast(&root, &object)) return 0;
  return static_cast<char*>(object) - part;
}

}  // namespace

xobject* velObjectAt(const void* address) {
  if (!address) return nullptr;
  if (velIsUninit(address)) return xuninitobject;
  const auto table = *static_cast<const std::uint64_t*>(address);
  std::atomic<std::uint64_t>& entry = cache[(table >> 4) % kEntries];
  const std::uint64_t known = entry.load(std::memory_order_relaxed);
  std::ptrdiff_t distance;
  if (known >> kDistanceBits == table) {
    distance = static_cast<std::int16_t>(known);
  } else {
    distance = SearchDistance(address, table);
    if (distance == static_cast<std::int16_t>(distance)) {
      entry.store(Pack(table, distance), std::memory_order_relaxed);
    }
  }
  char* found = const_cast<char*>(static_cast<const char*>(address)) + distance;
  return reinterpret_cast<xobject*>(found);
}
