#include "velrtti.h"

#include <atomic>
#include <mutex>
#include <shared_mutex>
#include <type_traits>
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
  if (!withParents) return appendOwn(type);
  // The way from `type` up to where we are, with the next parent to look at in
  // each; a type that is its own ancestor is passed by.
  struct Step {
    xrttistruct* type;
    int next;
  };
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
    if (!parent) continue;
    auto* viewed = dynamic_cast<xrttistruct*>(parent);
    if (!viewed) velThrowTypeMismatch(xrttistruct::getClassRtti(), parent);
    if (onPath.insert(viewed).second) path.push_back({viewed, 0});
  }
}
