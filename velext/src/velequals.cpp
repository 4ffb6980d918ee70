#include "velequals.h"

#include <unordered_map>
#include <utility>
#include <vector>

#include "velequality.h"
#include "velparts.h"

namespace {

// Whether the two have the same parts by name; their values are still to be compared.
bool SameOutline(const velParts& a, const velParts& b) {
  if (a.shape != b.shape || a.shape == velShape::kOpaque) return false;
  if (!a.type->isTypeSameAs(b.type) || a.list.size() != b.list.size()) return false;
  for (std::size_t i = 0; i < a.list.size(); ++i) {
    if (a.list[i].name != b.list[i].name) return false;
  }
  return true;
}

std::size_t Mixed(std::size_t a, std::size_t b) {
  const std::size_t mixed = (a ^ (b + 0x9E3779B97F4A7C15ULL)) * 0xFF51AFD7ED558CCDULL;
  return mixed ^ mixed >> 32U;
}

// Hashes down to a depth; beyond it, and beyond a number of parts, all are the same.
class Hasher {
 public:
  std::size_t of(const xany& value, int depth) {
    xobject* const object = velObjectOfValue(value);
    if (!object) return velHashOfLeaf(value);
    if (depth == 0) return kDeep;
    const auto known = hashes.find({object, depth});
    if (known != hashes.end()) return known->second;
    kept.push_back(value);
    const velParts parts = velPartsOf(object);
    if (parts.shape == velShape::kOpaque) return std::hash<const void*>()(object);
    std::size_t hash = Mixed(parts.list.size(), static_cast<std::size_t>(parts.shape));
    std::size_t looked = 0;
    for (const velPart& part : parts.list) {
      // A function of the value alone: not how many were looked at before.
      if (++looked > kMostParts) break;
      hash = Mixed(hash, std::hash<std::string>()(part.name));
      hash = Mixed(hash, of(part.value, depth - 1));
    }
    return hashes[{object, depth}] = hash;
  }

 private:
  static constexpr std::size_t kDeep = 77;
  static constexpr std::size_t kMostParts = 16;
  struct Key {
    xobject* object;
    int depth;
    bool operator==(const Key& other) const {
      return object == other.object && depth == other.depth;
    }
  };
  struct KeyHash {
    std::size_t operator()(const Key& key) const {
      return std::hash<const void*>()(key.object) * 31 + static_cast<std::size_t>(key.depth);
    }
  };
  std::unordered_map<Key, std::size_t, KeyHash> hashes;
  std::vector<xany> kept;  // so that no address comes back meanwhile
};

}  // namespace

// The objects at `at`, and those they are parts of, are different; of the others nothing
// is known.
bool velEquality::differ(std::size_t at) {
  for (const Assumed& one : assumed) verdicts.erase(one.pair);
  for (; at != kTop; at = assumed[at].above) verdicts[assumed[at].pair] = false;
  return false;
}

bool velEquality::equal(const xany& a, const xany& b) {
  assumed.clear();
  std::vector<Task> pending{{a, b, kTop}};
  while (!pending.empty()) {
    Task task = std::move(pending.back());
    pending.pop_back();
    xobject* const first = velObjectOfValue(task.a);
    xobject* const second = velObjectOfValue(task.b);
    if (!first || !second) {
      if (first || second || !velSameLeaf(task.a, task.b)) return differ(task.above);
      continue;
    }
    if (first == second) continue;
    const auto [verdict, isNew] = verdicts.emplace(Pair(first, second), true);
    if (!isNew) {
      if (!verdict->second) return differ(task.above);
      continue;
    }
    assumed.push_back({{first, second}, task.above});
    kept.emplace_back(std::move(task.a), std::move(task.b));
    const std::size_t here = assumed.size() - 1;
    velParts left = velPartsOf(first);
    velParts right = velPartsOf(second);
    if (!SameOutline(left, right)) return differ(here);
    for (std::size_t i = left.list.size(); i > 0;) {
      --i;
      pending.push_back({std::move(left.list[i].value), std::move(right.list[i].value), here});
    }
  }
  return true;
}

bool velEquals(const xany& a, const xany& b) { return velEquality().equal(a, b); }

std::size_t velHash(const xany& value) {
  constexpr int kLevels = 3;
  return Hasher().of(value, kLevels);
}
