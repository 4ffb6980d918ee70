#include "velrtti.h"

#include <atomic>
#include <cstdint>
#include <mutex>
#include <shared_mutex>
#include <type_traits>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "korstring.h"
#include "velobject.h"
#include "velobjectmutex.h"
#include "xrttiattrseq.h"

namespace {

// ---- the built-in descriptors ----

// One place for each, filled under the global object mutex.
template <class Kind>
struct BuiltIn {
  std::atomic<Kind*> made{nullptr};

  template <class Fill>
  Kind* get(Fill fill) {
    if (Kind* ready = made.load(std::memory_order_acquire)) return ready;
    const velObjectLock lock;
    Kind* type = made.load(std::memory_order_relaxed);
    if (!type) {
      type = fill();
      made.store(type, std::memory_order_release);
    }
    return type;
  }
};

template <int Which>
xrttibasic* Basic(const char* name) {
  static BuiltIn<xrttibasic> type;
  return type.get([=] { return new xrttibasic(name); });
}

// ---- the registry ----

using Registry = korNonOwnerStringMap<xrtti*>;

// Neither is ever destroyed: exit handlers may still look types up.
std::shared_mutex registryLock;
Registry* registry = nullptr;
static_assert(std::is_trivially_destructible<std::shared_mutex>::value,
              "the lock must work until the process ends");

// ---- attributes with those of the parents ----

// A structure on the way up from the one asked for, with the next parent to
// look at.
struct Step {
  xrttistruct* type;
  int next;
};

// How many attributes the way up from each type lists. Shared ancestors are
// listed once for each way to them, so stacked diamonds make the list long; the
// numbers tell which types to pass by, and lists that are too long.
class Census {
 public:
  explicit Census(xrttistruct* type) {
    std::vector<Step> path{{type, 0}};
    std::unordered_set<xrttiobject*> onPath{type};
    while (!path.empty()) {
      xrttistruct* current = path.back().type;
      const int index = path.back().next++;
      if (index >= current->getNParents()) {
        yields[current] = Total(current);
        onPath.erase(current);
        path.pop_back();
        continue;
      }
      xrttiobject* parent = current->getParent(index);
      if (!parent || yields.count(parent)) continue;
      auto* viewed = dynamic_cast<xrttistruct*>(parent);
      if (!viewed || !onPath.insert(parent).second) {
        // The length depends on the way, or there will be no list.
        exact = false;
        return;
      }
      path.push_back({viewed, 0});
    }
  }

  bool hasNone(xrttiobject* type) const {
    const auto found = yields.find(type);
    return exact && found != yields.end() && found->second == 0;
  }
  // Whether the list for `type` has a known length, beyond what a sequence holds.
  bool isTooLong(xrttiobject* type) const {
    const auto found = yields.find(type);
    return exact && found != yields.end() && found->second >= kMany;
  }

 private:
  // One more than the storage of a sequence can hold.
  // NOLINTNEXTLINE(bugprone-sizeof-expression): the elements are pointers
  static constexpr std::uint64_t kMany = 0x80000000U / sizeof(xrttiattr*) + 1;

  std::uint64_t Total(xrttistruct* type) {
    const int own = type->getNAttrs();
    std::uint64_t total = own > 0 ? static_cast<unsigned>(own) : 0;
    for (int i = 0, n = type->getNParents(); i < n && total < kMany; ++i) {
      if (xrttiobject* parent = type->getParent(i)) total += yields[parent];
    }
    return total < kMany ? total : kMany;
  }

  std::unordered_map<xrttiobject*, std::uint64_t> yields;
  bool exact = true;
};

}  // namespace

xrttibasic* velGetRtti_bool() { return Basic<0>("bool"); }
xrttibasic* velGetRtti_int() { return Basic<1>("int"); }
xrttibasic* velGetRtti_real() { return Basic<2>("real"); }
xrttibasic* velGetRtti_string() { return Basic<3>("string"); }
xrttibasic* velGetRtti_any() { return Basic<4>("any"); }

xrttiobject* velGetRtti_object() {
  static BuiltIn<xrttiobject> type;
  return type.get([] {
    auto* rtti = new xrttiobject;
    rtti->initializeRttiObject("object", 1, 0, nullptr);
    return rtti;
  });
}

void velRttiAddToMap(xrtti* type) {
  if (!type) return;
  const xstring name = type->getName();
  const char* key = korText(name.CastToCString());
  if (!key) return;
  const std::unique_lock<std::shared_mutex> lock(registryLock);
  if (!registry) registry = new Registry;
  // The key goes with its descriptor, so an entry is replaced as a whole;
  // putting it back needs no memory.
  registry->Remove(key);
  registry->Insert(key, type);
}

xrtti* velRttiGetFromMap(const char* name) {
  name = korText(name);
  xrtti* type = nullptr;
  const std::shared_lock<std::shared_mutex> lock(registryLock);
  if (name && registry) registry->Lookup(name, &type);
  return type;
}

void velRttiForEach(bool (*visit)(xrtti*, void*), void* data) {
  std::vector<xrtti*> types;
  {
    const std::shared_lock<std::shared_mutex> lock(registryLock);
    const int count = registry ? registry->GetCount() : 0;
    types.reserve(static_cast<std::size_t>(count));
    for (int i = 0; i < count; ++i) types.push_back(registry->GetValueAt(i));
  }
  for (xrtti* type : types) {
    if (!visit(type, data)) return;
  }
}

void velRttiAddUserData(xrtti* type, const char* key, void* data) {
  if (type) type->addUserData(key, data);
}

void* velRttiGetUserData(xrtti* type, const char* key) {
  return type ? type->getUserData(key) : nullptr;
}

void* velRttiGetUserData(const char* typeName, const char* key) {
  return velRttiGetUserData(velRttiGetFromMap(typeName), key);
}

xrttiattrseq* velRttiCollectAttrs(xrttistruct* type, unsigned char withParents) {
  xrttiattrseq* out = xrttiattrseq::create();
  try {
    velRttiCollectAttrs(type, withParents, out);
  } catch (...) {
    xdelete(out);
    throw;
  }
  return out;
}

void velRttiCollectAttrs(xrttistruct* type, unsigned char withParents, xrttiattrseq* out) {
  if (!type || !out) return;
  const auto appendOwn = [out](xrttistruct* s) {
    for (int i = 0, n = s->getNAttrs(); i < n; ++i) out->append(s->getAttr(i));
  };
  if (!withParents || type->getNParents() <= 0) return appendOwn(type);
  const Census census(type);
  if (census.isTooLong(type)) velThrowSizeLimit();
  // The way from `type` up to where we are; a type that is its own ancestor is
  // passed by.
  std::vector<Step> path{{type, 0}};
  std::unordered_set<xrttistruct*> onPath{type};
  while (!path.empty()) {
    xrttistruct* current = path.back().type;
    const int index = path.back().next++;
    if (index >= current->getNParents()) {
      appendOwn(current);
      onPath.erase(current);
      path.pop_back();
      continue;
    }
    xrttiobject* parent = current->getParent(index);
    if (!parent || census.hasNone(parent)) continue;
    auto* viewed = dynamic_cast<xrttistruct*>(parent);
    if (!viewed) velThrowTypeMismatch(xrttistruct::getClassRtti(), parent);
    if (onPath.insert(viewed).second) path.push_back({viewed, 0});
  }
}
