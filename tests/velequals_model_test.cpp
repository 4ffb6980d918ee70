// Equality, hash, clone and difference of random values, held against a model that is
// too plain to be wrong.
#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <random>
#include <set>
#include <string>
#include <tuple>
#include <vector>

#include "velext.h"
#include "veltest.h"
#include "veltest_long.h"

namespace {

VEL_ENUM(Hue, "model::Hue", dark, light)

class Pair : public velStruct<Pair> {
 public:
  xany first, second;
  VEL_STRUCT(Pair, "model::Pair", first, second)
};
class Twin : public velStruct<Twin> {
 public:
  xany first, second;
  VEL_STRUCT(Twin, "model::Twin", first, second)
};
class Choice : public velUnion<Choice> {
 public:
  Hue hue = Hue::dark;
  xany dark, light;
  VEL_UNION(Choice, "model::Choice", hue, (Hue::dark, dark), (Hue::light, light))
};
using Cells = velArrayOf<xany, 2>;

// ---- the model: nodes that know their parts by number -------------------------------------

struct Node {
  enum Kind { kLeaf, kPair, kTwin, kDarkChoice, kLightChoice, kCells, kSequence, kDictionary };
  Kind kind = kLeaf;
  std::size_t leaf = 0;
  std::vector<std::size_t> parts;
  std::vector<std::string> keys;  // of a dictionary, in order
};
using Graph = std::vector<Node>;

const std::vector<xany>& Leaves() {
  static const std::vector<xany> all = {xany(xanyNil),      xany(),
                                        velAny(0),          velAny(1),
                                        velAny(true),       velAny(false),
                                        velAny(0.0),        velAny(1.0),
                                        velAny(""),         velAny("a"),
                                        velAny("1"),        velAny(Hue::dark),
                                        velAny(Hue::light), velAny("\xC3\xBC"),
                                        velAny(NAN)};
  return all;
}

using Random = std::mt19937;
std::size_t Below(Random& random, std::size_t n) { return random() % n; }

// Only trees refer to each node once, and never back.
Graph RandomGraph(Random& random, std::size_t nodes, bool isTree) {
  Graph graph(nodes);
  std::vector<std::size_t> free;
  for (std::size_t i = nodes; i-- > 0;) {
    Node& node = graph[i];
    const auto part = [&] {
      if (!isTree) return Below(random, nodes);
      if (free.empty()) return nodes;
      const std::size_t at = free.back();
      free.pop_back();
      return at;
    };
    node.leaf = Below(random, Leaves().size());
    node.kind = Below(random, 3) == 0 ? Node::kLeaf : static_cast<Node::Kind>(1 + Below(random, 7));
    const std::size_t wanted =
        node.kind == Node::kLeaf                                            ? 0
        : node.kind == Node::kDarkChoice || node.kind == Node::kLightChoice ? 1
        : node.kind == Node::kSequence || node.kind == Node::kDictionary    ? Below(random, 4)
                                                                            : 2;
    for (std::size_t n = 0; n < wanted; ++n) {
      const std::size_t at = part();
      if (at == nodes) break;
      node.parts.push_back(at);
      if (node.kind == Node::kDictionary)
        node.keys.push_back(std::string(1, static_cast<char>('a' + 2 * n + Below(random, 2))));
    }
    if (isTree && node.kind != Node::kSequence && node.kind != Node::kDictionary &&
        node.parts.size() < wanted) {
      for (const std::size_t back : node.parts) free.push_back(back);
      node = {Node::kLeaf, node.leaf, {}, {}};
    }
    free.insert(free.begin(), i);
  }
  return graph;
}

// The same or almost: one node changes.
Graph Changed(Random& random, Graph graph) {
  Node& node = graph[Below(random, graph.size())];
  switch (Below(random, 3)) {
    case 0:
      node.leaf = Below(random, Leaves().size());
      break;
    case 1:
      if (!node.parts.empty() && node.kind == Node::kSequence) node.parts.pop_back();
      break;
    default:
      if (node.kind == Node::kPair) node.kind = Node::kTwin;
  }
  return graph;
}

// Another graph of the same meaning: some nodes stand twice.
Graph Unshared(Random& random, const Graph& graph) {
  Graph made = graph;
  made.insert(made.end(), graph.begin(), graph.end());
  for (Node& node : made) {
    for (std::size_t& part : node.parts) {
      if (Below(random, 2)) part += graph.size();
    }
  }
  return made;
}

// All pairs are equal until a difference shows; then those above them are not.
bool AreEqual(const Graph& a, std::size_t atA, const Graph& b, std::size_t atB) {
  std::vector<std::vector<char>> equal(a.size(), std::vector<char>(b.size(), 1));
  for (bool isStable = false; !isStable;) {
    isStable = true;
    for (std::size_t i = 0; i < a.size(); ++i) {
      for (std::size_t j = 0; j < b.size(); ++j) {
        const Node& x = a[i];
        const Node& y = b[j];
        bool same = x.kind == y.kind && x.parts.size() == y.parts.size() && x.keys == y.keys &&
                    (x.kind != Node::kLeaf || x.leaf == y.leaf);
        for (std::size_t n = 0; same && n < x.parts.size(); ++n) {
          same = equal[x.parts[n]][y.parts[n]];
        }
        if (!same && equal[i][j]) equal[i][j] = isStable = false;
      }
    }
  }
  return equal[atA][atB];
}

// ---- the same as values -----------------------------------------------------------------

class Values {
 public:
  explicit Values(const Graph& graph) {
    for (const Node& node : graph) all.push_back(made(node));
    for (std::size_t i = 0; i < graph.size(); ++i) fill(all[i], graph[i]);
  }
  // Cycles are undone, so that the objects go.
  ~Values() {
    for (const xany& value : all) empty(value);
  }
  Values(const Values&) = delete;
  Values& operator=(const Values&) = delete;

  const xany& operator[](std::size_t i) const { return all[i]; }

  static void empty(const xany& value) {
    if (auto* pair = velObject<Pair>(value)) pair->first = pair->second = xany();
    if (auto* twin = velObject<Twin>(value)) twin->first = twin->second = xany();
    if (auto* choice = velObject<Choice>(value)) choice->dark = choice->light = xany();
    if (auto* cells = velObject<Cells>(value)) cells->at(0) = cells->at(1) = xany();
    if (auto* sequence = velObject<xanysequence>(value))
      sequence->removerange(0, sequence->getarraysize());
    if (auto* dictionary = velObject<xanydictionary>(value)) dictionary->clearall();
  }

 private:
  static xany made(const Node& node) {
    switch (node.kind) {
      case Node::kLeaf:
        return Leaves()[node.leaf];
      case Node::kPair:
        return velAny(velNew<Pair>());
      case Node::kTwin:
        return velAny(velNew<Twin>());
      case Node::kDarkChoice:
      case Node::kLightChoice:
        return velAny(velNew<Choice>());
      case Node::kCells:
        return velAny(Cells::create());
      case Node::kSequence:
        return velAny(xanysequence::create());
      case Node::kDictionary:
        return velAny(xanydictionary::create());
    }
    return xany();
  }
  void fill(const xany& value, const Node& node) {
    std::vector<xany> parts;
    for (const std::size_t part : node.parts) parts.push_back(all[part]);
    if (auto* pair = velObject<Pair>(value)) {
      pair->first = parts[0];
      pair->second = parts[1];
    }
    if (auto* twin = velObject<Twin>(value)) {
      twin->first = parts[0];
      twin->second = parts[1];
    }
    if (auto* cells = velObject<Cells>(value)) {
      cells->at(0) = parts[0];
      cells->at(1) = parts[1];
    }
    if (auto* choice = velObject<Choice>(value)) {
      choice->hue = node.kind == Node::kDarkChoice ? Hue::dark : Hue::light;
      (choice->hue == Hue::dark ? choice->dark : choice->light) = parts[0];
      // What is not the branch does not count.
      (choice->hue == Hue::dark ? choice->light : choice->dark) =
          velAny(static_cast<int>(all.size()));
    }
    if (auto* sequence = velObject<xanysequence>(value)) {
      for (const xany& part : parts) sequence->append(part);
    }
    if (auto* dictionary = velObject<xanydictionary>(value)) {
      // In either order: slots do not count.
      for (std::size_t n = 0; n < parts.size(); ++n) {
        const std::size_t at = all.size() % 2 ? n : parts.size() - 1 - n;
        dictionary->set(node.keys[at].c_str(), parts[at]);
      }
    }
  }

  std::vector<xany> all;
};

// All objects that can be reached.
void Collect(const xany& value, std::set<xobject*>& into) {
  xobject* const object = velObjectOfValue(value);
  if (!object || !into.insert(object).second) return;
  for (const velPart& part : velPartsOf(object).list) Collect(part.value, into);
}

// ---- equality, hash, clone ------------------------------------------------------------

const unsigned kRounds = 3000;

TEST(VelEqualsModel, AgreesWithThePlainRuleInBothDirections) {
  Random random(20);
  unsigned equal = 0;
  for (unsigned round = 0; round < velShortOrLong(kRounds, 40 * kRounds); ++round) {
    const Graph one = RandomGraph(random, 1 + Below(random, 9), round % 3 == 0);
    const Graph other = round % 2 ? Unshared(random, one) : Changed(random, one);
    const Values ours(one);
    const Values theirs(other);
    for (std::size_t i = 0; i < one.size(); ++i) {
      const std::size_t j = Below(random, other.size());
      for (const std::size_t at : {i, j}) {
        const bool expected = AreEqual(one, i, other, at);
        ASSERT_EQ(velEquals(ours[i], theirs[at]), expected) << round << ' ' << i << ' ' << at;
        ASSERT_EQ(velEquals(theirs[at], ours[i]), expected) << round << ' ' << i << ' ' << at;
        ASSERT_EQ(velDiff(ours[i], theirs[at]).empty(), expected) << round << ' ' << i << ' ' << at;
        if (expected) {
          ++equal;
          ASSERT_EQ(velHash(ours[i]), velHash(theirs[at])) << round << ' ' << i << ' ' << at;
        }
      }
    }
  }
  EXPECT_GT(equal, kRounds);
}

TEST(VelEqualsModel, ClonesAreEqualAndShareNothing) {
  Random random(21);
  for (unsigned round = 0; round < velShortOrLong(kRounds, 40 * kRounds); ++round) {
    const Values values(RandomGraph(random, 1 + Below(random, 12), false));
    const xany copy = velClone(values[0]);
    ASSERT_TRUE(velEquals(copy, values[0])) << round;
    ASSERT_EQ(velHash(copy), velHash(values[0])) << round;
    std::set<xobject*> ours, theirs;
    Collect(values[0], ours);
    Collect(copy, theirs);
    ASSERT_EQ(ours.size(), theirs.size()) << round;
    for (xobject* object : theirs) ASSERT_EQ(ours.count(object), 0U) << round;
    std::vector<xany> held;
    for (xobject* object : theirs) held.emplace_back(object);
    for (const xany& object : held) Values::empty(object);
  }
}

// ---- difference --------------------------------------------------------------------------

// A value as a tree of texts and parts.
struct Plain {
  std::string text;  // of a leaf; the type of an object
  bool isSequence = false;
  std::vector<std::pair<std::string, Plain>> parts;
};

Plain PlainOf(const xany& value) {
  xobject* const object = velObjectOfValue(value);
  if (!object) return {velPrinted(value) + '/' + std::to_string(value.getkind()), false, {}};
  Plain made{object->getVelTypeName().CastToCString(), false, {}};
  made.isSequence = dynamic_cast<xrttisequence*>(object->getRtti()) != nullptr;
  for (const velPart& part : velPartsOf(object).list) {
    made.parts.emplace_back(part.index >= 0 ? std::to_string(part.index) : part.name,
                            PlainOf(part.value));
  }
  if (!made.isSequence) {
    std::sort(made.parts.begin(), made.parts.end(),
              [](const auto& a, const auto& b) { return a.first < b.first; });
  }
  return made;
}

std::string Text(const Plain& plain) {
  std::string text = plain.text + '(';
  for (std::size_t i = 0; i < plain.parts.size(); ++i) {
    text += (plain.isSequence ? std::to_string(i) : plain.parts[i].first) + '=' +
            Text(plain.parts[i].second) + ' ';
  }
  return text + ')';
}

Plain* Find(Plain& root, const std::string& path) {
  Plain* at = &root;
  for (std::size_t begin = 0; begin < path.size();) {
    const std::size_t end = std::min(path.find('/', begin + 1), path.size());
    const std::string step = path.substr(begin + 1, end - begin - 1);
    begin = end;
    Plain* next = nullptr;
    for (std::size_t i = 0; i < at->parts.size(); ++i) {
      if ((at->isSequence ? std::to_string(i) : at->parts[i].first) == step)
        next = &at->parts[i].second;
    }
    if (!next) return nullptr;
    at = next;
  }
  return at;
}

// Inner places first; in each, what is changed, then what goes from the end, then what
// comes from the front.
void Apply(Plain& root, std::vector<velDifference> all) {
  const auto split = [](const velDifference& one) { return one.path.rfind('/'); };
  const auto rank = [&](const velDifference& one) {
    const auto depth = std::count(one.path.begin(), one.path.end(), '/');
    const int number = std::atoi(one.path.c_str() + (one.path.empty() ? 0 : split(one) + 1));
    const int turn = one.before && one.after ? 0 : one.before ? 1 : 2;
    return std::make_tuple(-depth, turn, turn == 1 ? -number : number);
  };
  std::stable_sort(all.begin(), all.end(),
                   [&](const auto& a, const auto& b) { return rank(a) < rank(b); });
  for (const velDifference& one : all) {
    if (one.before) {
      Plain* const was = Find(root, one.path);
      ASSERT_NE(was, nullptr) << one;
      if (one.path.empty() || one.after) {
        *was = PlainOf(*one.after);
        continue;
      }
    }
    Plain* const parent = Find(root, one.path.substr(0, split(one)));
    ASSERT_NE(parent, nullptr) << one;
    const std::string step = one.path.substr(split(one) + 1);
    auto at = parent->parts.begin();
    if (parent->isSequence) {
      ASSERT_LE(std::stoul(step), parent->parts.size()) << one;
      at += std::stol(step);
    } else {
      while (at != parent->parts.end() && at->first < step) ++at;
    }
    if (one.before) {
      parent->parts.erase(at);
    } else {
      parent->parts.insert(at, {step, PlainOf(*one.after)});
    }
  }
}

TEST(VelDiffModel, MakesBeforeIntoAfterWhenItIsApplied) {
  Random random(22);
  unsigned told = 0;
  for (unsigned round = 0; round < velShortOrLong(kRounds, 40 * kRounds); ++round) {
    const Graph one = RandomGraph(random, 1 + Below(random, 40), true);
    Graph other = one;
    for (std::size_t n = Below(random, 12); n-- > 0;) other = Changed(random, std::move(other));
    if (round % 5 == 0) other = RandomGraph(random, 1 + Below(random, 40), true);
    const Values before(one);
    const Values after(other);
    const std::vector<velDifference> all = velDiff(before[0], after[0]);
    Plain plain = PlainOf(before[0]);
    Apply(plain, all);
    ASSERT_EQ(Text(plain), Text(PlainOf(after[0]))) << round;
    told += !all.empty();
  }
  EXPECT_GT(told, kRounds / 3);
}

std::size_t LongestCommon(const std::vector<int>& a, const std::vector<int>& b) {
  std::vector<std::vector<std::size_t>> best(a.size() + 1, std::vector<std::size_t>(b.size() + 1));
  for (std::size_t i = a.size(); i-- > 0;) {
    for (std::size_t j = b.size(); j-- > 0;) {
      best[i][j] = a[i] == b[j] ? best[i + 1][j + 1] + 1 : std::max(best[i + 1][j], best[i][j + 1]);
    }
  }
  return best[0][0];
}

TEST(VelDiffModel, ScriptsOfSequencesAreOfMinimalLength) {
  Random random(23);
  for (unsigned round = 0; round < velShortOrLong(kRounds, 10 * kRounds); ++round) {
    const std::size_t most = round % 100 == 0 ? 200 : 12;
    const auto numbers = [&] {
      std::vector<int> made(Below(random, most));
      for (int& number : made) number = static_cast<int>(Below(random, 1 + round % 7));
      return made;
    };
    const std::vector<int> a = numbers();
    const std::vector<int> b = numbers();
    const auto before = velSequence(a);
    const auto after = velSequence(b);
    std::size_t gone = 0;
    std::size_t come = 0;
    const auto all = velDiff(velAny(before), velAny(after));
    for (const velDifference& one : all) {
      gone += one.before.has_value();
      come += one.after.has_value();
    }
    const std::size_t common = LongestCommon(a, b);
    ASSERT_EQ(gone, a.size() - common) << round;
    ASSERT_EQ(come, b.size() - common) << round;
    Plain plain = PlainOf(velAny(before));
    Apply(plain, all);
    ASSERT_EQ(Text(plain), Text(PlainOf(velAny(after)))) << round;
  }
}

}  // namespace
