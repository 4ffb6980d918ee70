// velequality.h - equality of values, with memory (internal).
//
// Whoever asks about many parts of the same two values asks one of these: what is found
// out about two objects on the way is not found out again.
// Depth costs heap, not stack. Ownership: it holds the objects that it knows.
#ifndef VELSTD_VELEXT_VELEQUALITY_H
#define VELSTD_VELEXT_VELEQUALITY_H

#include <cstddef>
#include <unordered_map>
#include <utility>
#include <vector>

#include "velparts.h"
#include "xany.h"

class velEquality {
 public:
  /// As velEquals.
  bool equal(const xany& a, const xany& b);

 private:
  using Pair = std::pair<xobject*, xobject*>;
  struct PairHash {
    std::size_t operator()(const Pair& pair) const {
      const std::hash<const void*> hash;
      return hash(pair.first) * 31 + hash(pair.second);
    }
  };
  static constexpr std::size_t kTop = static_cast<std::size_t>(-1);
  // Two values, and the two objects they are parts of.
  struct Task {
    xany a, b;
    std::size_t above;
  };
  // Two objects that are taken for equal until a difference turns up.
  struct Assumed {
    Pair pair;
    std::size_t above;
  };

  bool differ(std::size_t at);

  std::unordered_map<Pair, bool, PairHash> verdicts;
  std::vector<std::pair<xany, xany>> kept;  // so that no address comes back meanwhile
  std::vector<Assumed> assumed;             // by the question under way
};

#endif  // VELSTD_VELEXT_VELEQUALITY_H
