#include <algorithm>
#include <limits>
#include <map>
#include <ostream>
#include <sstream>
#include <string>
#include <unordered_map>
#include <unordered_set>
#include <utility>

#include "velbyname.h"
#include "velequality.h"
#include "velequals.h"
#include "velparts.h"
#include "velprint.h"
#include "veltext.h"
#include "velvalue.h"

namespace {

// ---- numbers for values: equal ones have the same -----------------------------------

// Numbers objects after their parts, the deepest first. An object on a cycle, or above
// one, is marked: of two such, the same number says only that they may be equal.
class Numbering {
 public:
  std::size_t of(const xany& value) {
    xobject* const object = velObjectOfValue(value);
    if (!object) return numberOfLeaf(value);
    const auto known = objects.find(object);
    if (known != objects.end()) return known->second.number;
    number(value);
    return objects.at(object).number;
  }

  bool equal(const xany& a, const xany& b) {
    if (of(a) != of(b)) return false;
    return !isMarked(a) || equality.equal(a, b);
  }

  // Whether both lie on cycles, or above some, and are equal, whatever their numbers say.
  bool areEqualCycles(const xany& a, const xany& b) {
    of(a);
    of(b);
    return isMarked(a) && isMarked(b) && equality.equal(a, b);
  }

 private:
  struct Known {
    std::size_t number;
    bool isDone;
    bool isMarked;
  };
  struct Frame {
    xany value;
    velParts parts;
    std::size_t next = 0;
    bool isMarked = false;
    std::vector<std::size_t> key;
  };

  static constexpr std::size_t kOpen = 0;  // of an object that is still under way

  bool isMarked(const xany& value) const {
    xobject* const object = velObjectOfValue(value);
    return object && objects.at(object).isMarked;
  }

  std::size_t numberOfLeaf(const xany& value) {
    auto& bucket = leaves[velHashOfLeaf(value)];
    for (const auto& [leaf, leafNumber] : bucket) {
      if (velSameLeaf(leaf, value)) return leafNumber;
    }
    bucket.emplace_back(value, ++last);
    return last;
  }

  void open(const xany& value) {
    xobject* const object = velObjectOfValue(value);
    objects[object] = {kOpen, false, false};
    Frame frame;
    frame.value = value;
    frame.parts = velPartsOf(object);
    frame.key.push_back(
        texts.emplace(velUtf8(frame.parts.type->getName()), texts.size()).first->second);
    frame.key.push_back(static_cast<std::size_t>(frame.parts.shape));
    if (frame.parts.shape == velShape::kOpaque) {
      frame.key.push_back(reinterpret_cast<std::size_t>(object));
    }
    frames.push_back(std::move(frame));
  }

  void number(const xany& value) {
    open(value);
    while (!frames.empty()) {
      Frame& frame = frames.back();
      if (frame.next == frame.parts.list.size()) {
        close();
        continue;
      }
      const velPart& part = frame.parts.list[frame.next];
      xobject* const object = velObjectOfValue(part.value);
      std::size_t number;
      if (object) {
        const auto known = objects.find(object);
        if (known == objects.end()) {
          const xany inner = part.value;
          open(inner);
          continue;
        }
        number = known->second.number;
        frame.isMarked |= known->second.isMarked || !known->second.isDone;
      } else {
        number = numberOfLeaf(part.value);
      }
      frame.key.push_back(texts.emplace(part.name, texts.size()).first->second);
      frame.key.push_back(number);
      ++frame.next;
    }
  }

  void close() {
    Frame& frame = frames.back();
    const auto entry = numbers.emplace(std::move(frame.key), last + 1);
    if (entry.second) ++last;
    objects[velObjectOfValue(frame.value)] = {entry.first->second, true, frame.isMarked};
    kept.push_back(std::move(frame.value));
    frames.pop_back();
  }

  std::size_t last = kOpen;
  std::unordered_map<xobject*, Known> objects;
  std::unordered_map<std::size_t, std::vector<std::pair<xany, std::size_t>>> leaves;
  std::map<std::string, std::size_t> texts;
  std::map<std::vector<std::size_t>, std::size_t> numbers;
  velEquality equality;
  std::vector<Frame> frames;
  std::vector<xany> kept;  // so that no address comes back meanwhile
};

// ---- the shortest edit script ---------------------------------------------------------

using Match = std::pair<std::size_t, std::size_t>;

// Myers: "An O(ND) Difference Algorithm and Its Variations" (1986), in linear space:
// finds a middle snake and divides there.
class EditScript {
 public:
  EditScript(const std::vector<std::size_t>& before, const std::vector<std::size_t>& after)
      : a(before), b(after) {
    const std::size_t most = a.size() + b.size() + 3;
    down.resize(2 * most + 2);
    up.resize(2 * most + 2);
    zero = static_cast<std::ptrdiff_t>(most);
    divide(0, ssize(a), 0, ssize(b));
  }

  std::vector<Match> matches;

 private:
  using Index = std::ptrdiff_t;

  static Index ssize(const std::vector<std::size_t>& v) { return static_cast<Index>(v.size()); }
  bool same(Index i, Index j) const {
    return a[static_cast<std::size_t>(i)] == b[static_cast<std::size_t>(j)];
  }
  void match(Index i, Index j) {
    matches.emplace_back(static_cast<std::size_t>(i), static_cast<std::size_t>(j));
  }
  Index& at(std::vector<Index>& v, Index k) const { return v[static_cast<std::size_t>(zero + k)]; }

  void divide(Index i, Index iEnd, Index j, Index jEnd) {
    while (i < iEnd && j < jEnd && same(i, j)) match(i++, j++);
    Index tail = 0;
    while (i < iEnd - tail && j < jEnd - tail && same(iEnd - tail - 1, jEnd - tail - 1)) ++tail;
    iEnd -= tail;
    jEnd -= tail;
    if (i < iEnd && j < jEnd) {
      const auto [x, y] = middle(i, iEnd, j, jEnd);
      divide(i, x, j, y);
      divide(x, iEnd, y, jEnd);
    }
    for (Index t = 0; t < tail; ++t) match(iEnd + t, jEnd + t);
  }

  // A point that a shortest script passes through, but for the corners.
  std::pair<Index, Index> middle(Index i, Index iEnd, Index j, Index jEnd) {
    const Index n = iEnd - i;
    const Index m = jEnd - j;
    const Index delta = n - m;
    const bool isOdd = delta % 2 != 0;
    at(down, 1) = 0;
    at(up, 1) = 0;
    for (Index d = 0;; ++d) {
      for (Index k = -d; k <= d; k += 2) {
        Index x = k == -d || (k != d && at(down, k - 1) < at(down, k + 1)) ? at(down, k + 1)
                                                                           : at(down, k - 1) + 1;
        while (x < n && x - k < m && x >= 0 && x - k >= 0 && same(i + x, j + x - k)) ++x;
        at(down, k) = x;
        const Index c = delta - k;
        if (isOdd && c >= -(d - 1) && c <= d - 1 && x + at(up, c) >= n) {
          return {i + x, j + x - k};
        }
      }
      for (Index k = -d; k <= d; k += 2) {
        Index x = k == -d || (k != d && at(up, k - 1) < at(up, k + 1)) ? at(up, k + 1)
                                                                       : at(up, k - 1) + 1;
        while (x < n && x - k < m && x >= 0 && x - k >= 0 &&
               same(iEnd - x - 1, jEnd - (x - k) - 1)) {
          ++x;
        }
        at(up, k) = x;
        const Index c = delta - k;
        if (!isOdd && c >= -d && c <= d && x + at(down, c) >= n) {
          return {iEnd - x, jEnd - (x - k)};
        }
      }
    }
  }

  const std::vector<std::size_t>& a;
  const std::vector<std::size_t>& b;
  std::vector<Index> down, up;
  Index zero;
};

// ---- the differences --------------------------------------------------------------------

class Differ {
 public:
  std::vector<velDifference> differences(const xany& before, const xany& after) {
    steps.push_back({kNone, ""});
    pending.push_back({0, before, after});
    while (!pending.empty()) {
      const Task task = std::move(pending.back());
      pending.pop_back();
      if (!task.before || !task.after) {
        tell(task);
      } else {
        compare(task);
      }
    }
    return std::move(found);
  }

 private:
  static constexpr std::size_t kNone = static_cast<std::size_t>(-1);
  // A place: that of what it is part of, and the step from there.
  struct Step {
    std::size_t parent;
    std::string text;
  };
  struct Task {
    std::size_t place;
    std::optional<xany> before, after;
  };

  std::string pathOf(std::size_t place) const {
    std::vector<const std::string*> texts;
    for (; place != kNone; place = steps[place].parent) texts.push_back(&steps[place].text);
    std::string path;
    for (std::size_t i = texts.size(); i > 0; --i) path += *texts[i - 1];
    return path;
  }

  void tell(const Task& task) { found.push_back({pathOf(task.place), task.before, task.after}); }

  void add(std::vector<Task>& tasks, std::size_t parent, std::string step,
           std::optional<xany> before, std::optional<xany> after) {
    if (before && after && numbers.equal(*before, *after)) return;
    steps.push_back({parent, std::move(step)});
    tasks.push_back({steps.size() - 1, std::move(before), std::move(after)});
  }

  void compare(const Task& task) {
    xobject* const first = velObjectOfValue(*task.before);
    xobject* const second = velObjectOfValue(*task.after);
    if (!first || !second) {
      if (first || second || !velSameLeaf(*task.before, *task.after)) tell(task);
      return;
    }
    if (first == second || !told.insert({first, second}).second) return;
    kept.push_back(task);
    velParts a = velPartsOf(first);
    velParts b = velPartsOf(second);
    if (a.shape != b.shape || a.shape == velShape::kOpaque || !a.type->isTypeSameAs(b.type) ||
        (a.shape == velShape::kArray && a.list.size() != b.list.size())) {
      return tell(task);
    }
    std::vector<Task> tasks;
    switch (a.shape) {
      case velShape::kSequence:
        if (numbers.areEqualCycles(*task.before, *task.after)) break;
        addElements(tasks, task.place, a, b);
        break;
      case velShape::kArray:
        addCells(tasks, task.place, a, b);
        break;
      case velShape::kDictionary:
        addEntries(tasks, task.place, a, b);
        break;
      default:
        addAttributes(tasks, task.place, a, b);
    }
    std::move(tasks.rbegin(), tasks.rend(), std::back_inserter(pending));
  }

  void addElements(std::vector<Task>& tasks, std::size_t place, const velParts& a,
                   const velParts& b) {
    std::vector<Match> matches = matched(a, b);
    matches.emplace_back(a.list.size(), b.list.size());
    std::size_t i = 0;
    std::size_t j = 0;
    for (const auto& [iEnd, jEnd] : matches) {
      for (; i < iEnd && j < jEnd; ++i, ++j) {
        add(tasks, place, '/' + std::to_string(i), a.list[i].value, b.list[j].value);
      }
      for (; i < iEnd; ++i) {
        add(tasks, place, '/' + std::to_string(i), a.list[i].value, std::nullopt);
      }
      for (; j < jEnd; ++j) {
        add(tasks, place, '/' + std::to_string(j), std::nullopt, b.list[j].value);
      }
      // What matches by number only may differ on a cycle.
      if (i < a.list.size() && j < b.list.size()) {
        add(tasks, place, '/' + std::to_string(i), a.list[i].value, b.list[j].value);
      }
      ++i;
      ++j;
    }
  }

  // Elements that the other side has nowhere match nothing and are left out first.
  std::vector<Match> matched(const velParts& a, const velParts& b) {
    const auto numbered = [this](const velParts& parts) {
      std::vector<std::size_t> all;
      for (const velPart& part : parts.list) all.push_back(numbers.of(part.value));
      return all;
    };
    const std::vector<std::size_t> left = numbered(a);
    const std::vector<std::size_t> right = numbered(b);
    const auto common = [](const std::vector<std::size_t>& own,
                           const std::vector<std::size_t>& other,
                           std::vector<std::size_t>& places) {
      const std::unordered_set<std::size_t> there(other.begin(), other.end());
      std::vector<std::size_t> rest;
      for (std::size_t i = 0; i < own.size(); ++i) {
        if (there.count(own[i]) == 0) continue;
        rest.push_back(own[i]);
        places.push_back(i);
      }
      return rest;
    };
    std::vector<std::size_t> leftPlaces, rightPlaces;
    const std::vector<std::size_t> leftRest = common(left, right, leftPlaces);
    const std::vector<std::size_t> rightRest = common(right, left, rightPlaces);
    std::vector<Match> matches = EditScript(leftRest, rightRest).matches;
    for (Match& match : matches) match = {leftPlaces[match.first], rightPlaces[match.second]};
    return matches;
  }

  void addCells(std::vector<Task>& tasks, std::size_t place, const velParts& a, const velParts& b) {
    auto* const type = dynamic_cast<xrttiarray*>(a.type);
    for (std::size_t i = 0; i < a.list.size(); ++i) {
      std::string step;
      auto number = static_cast<int>(i);
      for (int d = type->getNDimentions() - 1; d >= 0; --d) {
        step.insert(0, '/' + std::to_string(number % type->getDimention(d)));
        number /= type->getDimention(d);
      }
      add(tasks, place, std::move(step), a.list[i].value, b.list[i].value);
    }
  }

  // Both in the order of their keys.
  void addEntries(std::vector<Task>& tasks, std::size_t place, const velParts& a,
                  const velParts& b) {
    std::size_t i = 0;
    std::size_t j = 0;
    while (i < a.list.size() || j < b.list.size()) {
      const bool hasA =
          i < a.list.size() && (j == b.list.size() || a.list[i].name <= b.list[j].name);
      const bool hasB =
          j < b.list.size() && (i == a.list.size() || b.list[j].name <= a.list[i].name);
      const std::string step = velStep(hasA ? a.list[i].name : b.list[j].name);
      add(tasks, place, step, hasA ? std::optional<xany>(a.list[i].value) : std::nullopt,
          hasB ? std::optional<xany>(b.list[j].value) : std::nullopt);
      i += hasA;
      j += hasB;
    }
  }

  // The attributes of one type are the same; the branches of a union need not be.
  void addAttributes(std::vector<Task>& tasks, std::size_t place, const velParts& a,
                     const velParts& b) {
    const auto find = [](const velParts& parts, const std::string& name) {
      for (const velPart& part : parts.list) {
        if (part.name == name) return std::optional<xany>(part.value);
      }
      return std::optional<xany>();
    };
    for (const velPart& part : a.list) {
      add(tasks, place, velStep(part.name), part.value, find(b, part.name));
    }
    for (const velPart& part : b.list) {
      if (!find(a, part.name)) add(tasks, place, velStep(part.name), std::nullopt, part.value);
    }
  }

  Numbering numbers;
  std::vector<Step> steps;
  std::vector<Task> pending;
  struct PairHash {
    std::size_t operator()(const std::pair<xobject*, xobject*>& pair) const {
      const std::hash<const void*> hash;
      return hash(pair.first) * 31 + hash(pair.second);
    }
  };
  std::unordered_set<std::pair<xobject*, xobject*>, PairHash> told;
  std::vector<Task> kept;  // so that no address comes back meanwhile
  std::vector<velDifference> found;
};

// In one line, as the stream writes numbers, or with all digits.
std::string Written(std::ostream& like, const std::optional<xany>& value, bool allDigits) {
  if (!value) return "(nothing)";
  if (value->isuninit()) return "uninit";  // for which velPrint writes nothing
  std::ostringstream out;
  out.copyfmt(like);
  if (allDigits) out.precision(std::numeric_limits<double>::max_digits10);
  velPrint(*value, out, -1);
  std::string line;
  for (const char c : out.str()) {
    if (c == '\n') {
      line += "\\n";
    } else if (c == '\r') {
      line += "\\r";
    } else {
      line += c;
    }
  }
  return line;
}

// 1 and 1.0 read the same and are not.
bool IsSameNumber(const std::optional<xany>& a, const std::optional<xany>& b) {
  if (!a || !b || a->getkind() == b->getkind()) return false;
  const std::optional<double> x = velGet<double>(*a);
  return x && x == velGet<double>(*b);
}

}  // namespace

std::vector<velDifference> velDiff(const xany& before, const xany& after) {
  return Differ().differences(before, after);
}

std::ostream& operator<<(std::ostream& out, const velDifference& difference) {
  const std::optional<xany>& before = difference.before;
  const std::optional<xany>& after = difference.after;
  const bool isOtherKind = IsSameNumber(before, after);
  std::string was = Written(out, before, false);
  std::string is = Written(out, after, false);
  if (was == is && !isOtherKind) {
    was = Written(out, before, true);
    is = Written(out, after, true);
  }
  out << difference.path << " : " << was;
  if (isOtherKind) out << " (" << before->getVelTypeName() << ')';
  out << " -> " << is;
  if (isOtherKind) out << " (" << after->getVelTypeName() << ')';
  return out;
}
