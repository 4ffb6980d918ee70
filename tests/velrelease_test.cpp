// Destruction: order, depth, and releases that wait.
#include "velrelease.h"

#include <pthread.h>

#include <algorithm>
#include <climits>
#include <memory>
#include <random>
#include <vector>

#include "velcounting.h"
#include "veltest.h"
#include "veltest_limit.h"

namespace {

// Plain recursion down to `level` for the life of a test.
class FlattenAt {
 public:
  explicit FlattenAt(int level) : saved_(velReleaseScope::flattenLevel) {
    velReleaseScope::flattenLevel = level;
  }
  ~FlattenAt() { velReleaseScope::flattenLevel = saved_; }
  FlattenAt(const FlattenAt&) = delete;
  FlattenAt& operator=(const FlattenAt&) = delete;

 private:
  int saved_;
};

// ---- random graphs ----

// What a node does besides letting its children go.
enum Habit {
  kRefuses = 1,      // refuses deletion
  kEarly = 2,        // gives up a child in onDelete
  kBackwards = 4,    // gives up its children in its destructor, last first
  kHoldsItself = 8,  // takes a handle on itself there, after the first of them
  kVisits = 16,      // takes a handle on an object that others hold
  kReassigns = 32,   // assigns a handle to one that holds another child
  kMakes = 64,       // makes an object that dies again at once
  kHoldsItselfOnDelete = 128,
  kAsked = 256,        // gives up a child when it is asked
  kSettles = 512,      // takes its collections apart in its destructor
  kScopes = 1024,      // gives up its children inside a scope there
  kDeletesLate = 2048,  // deletes its plain objects after it let all else go
  kHeldByMade = 4096    // makes an object that holds it and dies again at once
};

class Plain;

class Node : public virtual xobject {
  VEL_OBJECT(Node)
 public:
  struct World {
    std::string log;
    Node* pinned = nullptr;
    int alive = 0;
    int nextId = 0;
    std::vector<Plain*> refused;
    int dying = 0;    // nodes whose destruction has begun and not ended
    int deepest = 0;  // the most that ever were, one inside the other
  };

  explicit Node(World& w, int h = 0) : Node(w, h, w.nextId++) {}
  Node(World& w, int h, int id) : death_(w), habits(h), world_(w), id_(id) { ++world_.alive; }
  ~Node() override {
    note('d');
    if (!(habits & kDeletesLate)) deletePlain();
    if (habits & kSettles) {
      if (sequence) {
        if (sequence->getarraysize() > 1) sequence->set(0, sequence->get(1));
        if (sequence->getarraysize() > 2) sequence->removerange(1, 2);
        sequence->clear();
      }
      if (dictionary) {
        dictionary->remove("1");
        dictionary->set("next", xany(1));
        dictionary->clearall();
      }
    }
    if (habits & kScopes) {
      const velReleaseScope scope;
      while (!children.empty()) children.pop_back();
      value = xany();
    }
    if (habits & kMakes) {
      const xrchandle<Node> brief(new Node(world_, 0, -id_));
      brief->children = children;
    }
    if (habits & kHeldByMade) {
      const xrchandle<Node> brief(new Node(world_, 0, -id_));
      brief->value = xany(static_cast<xobject*>(this));
    }
    if (habits & kBackwards) {
      while (!children.empty()) {
        children.pop_back();
        if (habits & kHoldsItself) holdItself();
        if (habits & kVisits) const xrchandle<Node> visited(world_.pinned);
      }
    }
    if ((habits & kReassigns) && children.size() > 1) children[0] = children[1];
    if (habits & kHoldsItself) holdItself();
    sequence = 0;
    if (habits & kHoldsItself) holdItself();
    if (habits & kDeletesLate) {
      value = xany();
      deletePlain();
    }
    --world_.alive;
  }
  unsigned char isDeletable() override {
    note('a');
    death_.begin();
    if ((habits & kAsked) && !children.empty()) children.pop_back();
    if (habits & kRefuses) death_.end();
    return !(habits & kRefuses);
  }
  void onDelete() override {
    note('o');
    if (habits & kHoldsItselfOnDelete) holdItself();
    if ((habits & kMakes) && !children.empty()) {
      const xrchandle<Node> brief(new Node(world_, 0, -id_));
      brief->value = children.back();
    }
    if ((habits & kEarly) && !children.empty()) children.erase(children.begin());
    if (habits & kHoldsItselfOnDelete) holdItself();
  }

 private:
  // Lasts from the question to the end of all that the node holds, since it comes
  // first.
  class Death {
   public:
    explicit Death(World& w) : world_(w) {}
    ~Death() { end(); }
    void begin() { world_.deepest = std::max(world_.deepest, ++world_.dying); }
    void end() { --world_.dying; }

   private:
    World& world_;
  };
  Death death_;

 public:
  int habits;
  std::vector<xrchandle<Node>> children;
  xany value;
  xrchandle<xanysequence> sequence;
  xrchandle<xanydictionary> dictionary;
  std::vector<Plain*> plain;  // objects that are not counted, its own

 private:
  void deletePlain();
  void note(char what) { world_.log += what + std::to_string(id_) + ' '; }
  void holdItself() {
    const xrchandle<Node> self(this);
    const xany again(self);
  }

  World& world_;
  int id_;
};
VEL_OBJECT_RTTI(Node, xrttiobject, [](xrttiobject* rtti) {
  rtti->initializeRttiObject("velrelease_test::Node", 1, 0, nullptr);
})

// An object that is not counted. It holds nodes, has others of its kind, and gives
// them up when it is told or in its destructor.
class Plain : public virtual xobject {
  VEL_OBJECT(Plain)
 public:
  Plain(Node::World& w, int h) : habits(h), world_(w), id_(w.nextId++) { ++world_.alive; }
  ~Plain() override {
    note('D');
    if (habits & kReassigns) nodes.clear();
    deleteOwn();
    --world_.alive;
  }
  unsigned char isDeletable() override {
    note('A');
    if (habits & kRefuses) world_.refused.push_back(this);
    if ((habits & kAsked) && !nodes.empty()) nodes.pop_back();
    return !(habits & kRefuses);
  }
  void onDelete() override {
    note('O');
    if (habits & kEarly) deleteOwn();
    if ((habits & kEarly) && !nodes.empty()) nodes.erase(nodes.begin());
  }

  int habits;
  std::vector<xrchandle<Node>> nodes;
  std::vector<Plain*> own;

 private:
  void note(char what) { world_.log += what + std::to_string(id_) + ' '; }
  void deleteOwn() {
    while (!own.empty()) {
      Plain* const next = own.back();
      own.pop_back();
      xdelete(next);
    }
  }

  Node::World& world_;
  int id_;
};
VEL_OBJECT_RTTI(Plain, xrttiobject, [](xrttiobject* rtti) {
  rtti->initializeRttiObject("velrelease_test::Plain", 0, 0, nullptr);
})

void Node::deletePlain() {
  while (!plain.empty()) {
    Plain* const next = plain.back();
    plain.pop_back();
    xdelete(next);
  }
}

// An exception that holds a value.
class Holding : public velXTypeMismatch {
 public:
  explicit Holding(xany value) : velXTypeMismatch(std::move(value), "t") {}
};

// Takes a reference and gives it back.
void Drop(xobject* object) {
  xrcattach(object);
  xrcrelease(object);
}

// Builds the graph of `seed`, gives up what holds it in random order, and
// returns all that the nodes wrote down; in `deepest`, how deep they died.
std::string LogOfGraph(unsigned seed, int* deepest = nullptr) {
  std::mt19937 random(seed);
  const auto below = [&](int n) { return static_cast<int>(random() % static_cast<unsigned>(n)); };
  Node::World world;
  // Some graphs are large, everything in them hangs on the first node, nobody
  // refuses and habits are fewer: most die deeper than the highest level tried.
  const bool isDeep = seed % 8 == 0;
  const int count = 2 + (isDeep ? 500 : 0) + below(seed % 4 == 0 ? 400 : 60);
  const int chain = isDeep ? 100 : below(100);  // in 100, how many are linked to the next
  std::vector<xrchandle<Node>> held;
  std::vector<Node*> refusing;
  for (int i = 0; i < count; ++i) {
    int habits = 0;
    if (below(20) == 0 && !isDeep) habits |= kRefuses;
    for (int habit : {kEarly, kBackwards, kHoldsItself, kVisits, kReassigns, kMakes,
                      kHoldsItselfOnDelete, kAsked, kSettles, kScopes, kDeletesLate, kHeldByMade}) {
      if (below(isDeep ? 16 : 4) == 0) habits |= habit;
    }
    held.emplace_back(new Node(world, habits));
    if (habits & kRefuses) refusing.push_back(held.back());
  }
  const xrchandle<Node> pinned(new Node(world));
  world.pinned = pinned;
  // Edges lead to higher numbers only, so that everything dies.
  for (int i = 0; i + 1 < count; ++i) {
    Node& node = *held[static_cast<std::size_t>(i)];
    const auto someone = [&] {
      return held[static_cast<std::size_t>(i + 1 + below(count - i - 1))];
    };
    const auto next = below(100) < chain ? held[static_cast<std::size_t>(i + 1)] : someone();
    switch (below(6)) {
      case 0:
        node.value = next;
        break;
      case 3:
        node.value = xany(new Holding(xany(new Holding(next))));
        break;
      case 4:
        // Plain ones in a line, which hold nodes on the way.
        for (int n = 1 + below(6); n > 0; --n) {
          auto* plain = new Plain(world, below(8) == 0 ? kRefuses : 0);
          for (int habit : {kEarly, kAsked, kReassigns}) {
            if (below(3) == 0) plain->habits |= habit;
          }
          plain->nodes.push_back(someone());
          plain->nodes.push_back(n == 1 ? next : someone());
          if (!node.plain.empty() && below(3) > 0) {
            plain->own.push_back(node.plain.back());
            node.plain.back() = plain;
          } else {
            node.plain.push_back(plain);
          }
        }
        break;
      case 1:
        node.sequence = xanysequence::create();
        for (int n = below(4); n > 0; --n) node.sequence->append(someone());
        node.sequence->append(next);
        break;
      case 2:
        node.dictionary = xanydictionary::create();
        for (int n = below(4); n > 0; --n)
          node.dictionary->set(std::to_string(n).c_str(), someone());
        node.dictionary->set("next", next);
        break;
      default:
        break;
    }
    for (int n = below(4); n > 0; --n) node.children.push_back(someone());
    node.children.push_back(next);
  }
  while (!held.empty()) {
    if (isDeep && held.size() > 1) {
      held.pop_back();
      continue;
    }
    const auto at = held.begin() + below(static_cast<int>(held.size()));
    std::swap(*at, held.back());
    held.pop_back();
  }
  world.log += "| ";
  // Those that refused live on, with what they hold.
  for (Node* node : refusing) {
    node->habits &= ~kRefuses;
    if (xrcgetcount(node) == 0) Drop(node);
  }
  while (!world.refused.empty()) {
    Plain* const plain = world.refused.back();
    world.refused.pop_back();
    plain->habits &= ~kRefuses;
    xdelete(plain);
  }
  EXPECT_EQ(world.alive, 1) << seed;
  EXPECT_EQ(xrcgetcount(pinned), 1) << seed;
  EXPECT_EQ(world.dying, 0) << seed;
  EXPECT_EQ(velCounting::waitingReleases, 0) << seed;
  if (deepest) *deepest = world.deepest;
  return world.log;
}

TEST(VelRelease, OrderIsThatOfTheRecursionAtEveryLevel) {
  std::size_t written = 0;
  int deep = 0;  // graphs that nest beyond the highest level that is tried
  for (unsigned seed = 0; seed < 400; ++seed) {
    std::string recursive;
    {
      const FlattenAt off(INT_MAX);
      int deepest = 0;
      recursive = LogOfGraph(seed, &deepest);
      deep += deepest > 64;
    }
    written += recursive.size();
    for (int level : {0, 1, 2, 3, 8, 64}) {
      const FlattenAt here(level);
      ASSERT_EQ(LogOfGraph(seed), recursive) << "seed " << seed << ", level " << level;
    }
  }
  EXPECT_GT(written, 100000u);
  EXPECT_GT(deep, 20);
}

// Root to leaf, `length` nodes; the root first.
std::vector<Node*> Chain(Node::World& world, int length) {
  std::vector<Node*> nodes;
  for (int i = 0; i < length; ++i) nodes.push_back(new Node(world));
  for (std::size_t i = 0; i + 1 < nodes.size(); ++i) nodes[i]->children.emplace_back(nodes[i + 1]);
  return nodes;
}

TEST(VelRelease, WhatADestructorMadeMayHoldTheDyingOne) {
  for (int level : {0, 1, INT_MAX}) {
    const FlattenAt here(level);
    Node::World world;
    auto* node = new Node(world, kHeldByMade);
    node->children.emplace_back(new Node(world));
    Drop(node);
    EXPECT_EQ(world.log, "a0 o0 d0 a0 o0 d0 a1 o1 d1 ") << level;
    EXPECT_EQ(world.alive, 0);
  }
}

// Takes and gives back a reference on itself while it is destroyed, after it has given up
// another object or not.
class HoldsItself : public virtual xobject {
  VEL_OBJECT(HoldsItself)
 public:
  explicit HoldsItself(std::vector<int>* s, bool holds) : seen(s) {
    if (holds) other = new VelLogObject;
  }
  ~HoldsItself() override {
    other = 0;
    {
      const xrchandle<HoldsItself> self(this);
      seen->push_back(xrcgetcount(this));
    }
    seen->push_back(xrcgetcount(this));
  }

 private:
  std::vector<int>* seen;
  xrchandle<VelLogObject> other;
};
VEL_OBJECT_RTTI(HoldsItself, xrttiobject, [](xrttiobject* rtti) {
  rtti->initializeRttiObject("velrelease_test::HoldsItself", 1, 0, nullptr);
})

TEST(VelRelease, TheDyingOnesOwnReleasesDoNotWait) {
  for (int level : {0, 1, INT_MAX}) {
    for (bool holds : {false, true}) {
      const FlattenAt here(level);
      std::vector<int> seen;
      Drop(new HoldsItself(&seen, holds));
      EXPECT_EQ(seen, (std::vector<int>{2, 1})) << level;
    }
  }
}

// Lets go of all that it holds before it is destroyed.
class ClearsFirst : public virtual xobject {
  VEL_OBJECT(ClearsFirst)
 public:
  explicit ClearsFirst(int* left) : left_(left) {}
  ~ClearsFirst() override { *left_ = VelLogObject::alive(); }
  void onDelete() override { children.clear(); }
  std::vector<xrchandle<VelLogObject>> children;

 private:
  int* left_;
};
VEL_OBJECT_RTTI(ClearsFirst, xrttiobject, [](xrttiobject* rtti) {
  rtti->initializeRttiObject("velrelease_test::ClearsFirst", 1, 0, nullptr);
})

TEST(VelRelease, AnyNumberGivenUpInOnDeleteDiesFirst) {
  const FlattenAt here(0);
  for (int count = 0; count < 300; ++count) {
    int left = -1;
    {
      const xrchandle<ClearsFirst> root(new ClearsFirst(&left));
      for (int i = 0; i < count; ++i) root->children.emplace_back(new VelLogObject);
    }
    ASSERT_EQ(left, 0) << count;
  }
}

TEST(VelRelease, AnyNumberOfChildrenDiesInOrder) {
  const FlattenAt here(0);
  for (int count = 1; count < 200; ++count) {
    Node::World world;
    xrchandle<Node> root(new Node(world));
    std::string expected = "a0 o0 d0 ";
    for (int i = 1; i <= count; ++i) {
      root->children.emplace_back(new Node(world));
      const std::string id = std::to_string(i) + ' ';
      expected += 'a' + id + 'o' + id + 'd' + id;
    }
    root = 0;
    ASSERT_EQ(world.log, expected);
    ASSERT_EQ(velCounting::waitingReleases, 0);
  }
}

TEST(VelRelease, ChildrenComeBeforeLaterSiblings) {
  for (int level : {0, 1, 2, INT_MAX}) {
    const FlattenAt here(level);
    Node::World world;
    auto left = Chain(world, 3);   // 0 1 2
    auto right = Chain(world, 2);  // 3 4
    xrchandle<Node> root(new Node(world));
    root->children.emplace_back(left[0]);
    root->children.emplace_back(right[0]);
    root = 0;
    EXPECT_EQ(world.log, "a5 o5 d5 a0 o0 d0 a1 o1 d1 a2 o2 d2 a3 o3 d3 a4 o4 d4 ") << level;
  }
}

TEST(VelRelease, SharedOneDiesWithItsLastHolder) {
  for (int level : {0, 1, 2, INT_MAX}) {
    const FlattenAt here(level);
    Node::World world;
    xrchandle<Node> root(new Node(world));    // 0
    xrchandle<Node> shared(new Node(world));  // 1
    root->children.emplace_back(new Node(world));
    root->children.emplace_back(new Node(world));
    for (auto& child : root->children) child->children.push_back(shared);
    root->children.push_back(shared);
    shared = 0;
    root = 0;
    EXPECT_EQ(world.log, "a0 o0 d0 a2 o2 d2 a3 o3 d3 a1 o1 d1 ") << level;
  }
}

// What is given up in onDelete dies before the destructor begins.
TEST(VelRelease, GivenUpInOnDeleteDiesBeforeTheDestructor) {
  for (int level : {0, 1, 2, INT_MAX}) {
    const FlattenAt here(level);
    Node::World world;
    auto nodes = Chain(world, 3);
    nodes[0]->habits = nodes[1]->habits = kEarly;
    Drop(nodes[0]);
    EXPECT_EQ(world.log, "a0 o0 a1 o1 a2 o2 d2 d1 d0 ") << level;
  }
}

TEST(VelRelease, GivenUpWhenAskedDiesBeforeOnDelete) {
  for (int level : {0, 1, 2, INT_MAX}) {
    const FlattenAt here(level);
    Node::World world;
    auto nodes = Chain(world, 4);
    nodes[0]->habits = nodes[1]->habits = kAsked;
    nodes[1]->habits |= kRefuses;
    Drop(nodes[0]);
    EXPECT_EQ(world.log, "a0 a1 a2 o2 d2 a3 o3 d3 o0 d0 ") << level;
    EXPECT_EQ(xrcgetcount(nodes[1]), 0);
    nodes[1]->habits = 0;
    Drop(nodes[1]);
    EXPECT_EQ(world.alive, 0);
  }
}

TEST(VelRelease, PlainObjectsKeepTheirPlaceAmongTheOthers) {
  for (int level : {0, 1, 2, INT_MAX}) {
    const FlattenAt here(level);
    Node::World world;
    auto* node = new Node(world, kDeletesLate);  // 0
    auto* outer = new Plain(world, 0);           // 1
    outer->own.push_back(new Plain(world, 0));   // 2
    outer->nodes.emplace_back(new Node(world));  // 3
    node->plain = {new Plain(world, 0), outer};  // 4
    node->value = xany(new Node(world));         // 5
    Drop(node);
    EXPECT_EQ(world.log, "a0 o0 d0 a5 o5 d5 A1 O1 D1 A2 O2 D2 a3 o3 d3 A4 O4 D4 ") << level;
    EXPECT_EQ(world.alive, 0);
  }
}

TEST(VelRelease, RefusingOneEndsTheChain) {
  for (int level : {0, 1, INT_MAX}) {
    const FlattenAt here(level);
    Node::World world;
    auto nodes = Chain(world, 5);
    nodes[2]->habits = kRefuses;
    Drop(nodes[0]);
    EXPECT_EQ(world.log, "a0 o0 d0 a1 o1 d1 a2 ");
    EXPECT_EQ(xrcgetcount(nodes[2]), 0);
    EXPECT_EQ(world.alive, 3);
    nodes[2]->habits = 0;
    Drop(nodes[2]);
    EXPECT_EQ(world.alive, 0);
  }
}

// Looks, in its destructor, at the child that it has just given up.
struct Looker : VelLogObject {
  xrchandle<VelLogObject> child;
  int* alive = nullptr;
  ~Looker() override {
    child = 0;
    if (alive) *alive = VelLogObject::alive();
  }
};

TEST(VelRelease, ChildGivenUpIsGoneAtOnceAboveTheLevelOnly) {
  for (int level : {0, 1, 64}) {
    const FlattenAt here(level);
    int alive = 0;
    {
      const xrchandle<Looker> looker(new Looker);
      looker->alive = &alive;
      looker->child = new VelLogObject;
    }
    EXPECT_EQ(alive, level == 0 ? 2 : 1) << level;
    EXPECT_EQ(VelLogObject::alive(), 0);
  }
}

TEST(VelRelease, LevelIs64) { EXPECT_EQ(velReleaseScope::flattenLevel, 64); }

// Each lies in the one before; writes down how deep destructors are nested.
class Nest : public virtual xobject {
  VEL_OBJECT(Nest)
 public:
  ~Nest() override {
    if (++depth > deepest) deepest = depth;
    inner = 0;
    --depth;
  }
  xrchandle<Nest> inner;
  static int depth;
  static int deepest;
};
int Nest::depth = 0;
int Nest::deepest = 0;
VEL_OBJECT_RTTI(Nest, xrttiobject, [](xrttiobject* rtti) {
  rtti->initializeRttiObject("velrelease_test::Nest", 1, 0, nullptr);
})

TEST(VelRelease, DestructorsNestAsFarAsTheLevel) {
  for (int length : {63, 64, 65, 66, 1000}) {
    Nest::deepest = 0;
    xrchandle<Nest> outer;
    for (int i = 0; i < length; ++i) {
      xrchandle<Nest> wrapped(new Nest);
      wrapped->inner = outer;
      outer = wrapped;
    }
    outer = 0;
    EXPECT_EQ(Nest::deepest, length < 65 ? length : 65) << length;
  }
}

// The same of objects that are not counted.
class PlainNest : public virtual xobject {
  VEL_OBJECT(PlainNest)
 public:
  explicit PlainNest(PlainNest* i) : inner(i) {}
  ~PlainNest() override {
    Nest::deepest = std::max(Nest::deepest, ++Nest::depth);
    xdelete(inner);
    --Nest::depth;
  }

 private:
  PlainNest* inner;
};
VEL_OBJECT_RTTI(PlainNest, xrttiobject, [](xrttiobject* rtti) {
  rtti->initializeRttiObject("velrelease_test::PlainNest", 0, 0, nullptr);
})

TEST(VelRelease, DestructorsOfPlainObjectsNestAsFar) {
  for (int length : {63, 64, 65, 66, 1000}) {
    Nest::deepest = 0;
    PlainNest* outer = nullptr;
    for (int i = 0; i < length; ++i) outer = new PlainNest(outer);
    xdelete(outer);
    EXPECT_EQ(Nest::deepest, length < 65 ? length : 65) << length;
  }
}

// ---- deep values on a small stack ----

// Runs `step` on a thread with a stack of 8 MiB.
template <class Step>
void OnASmallStack(Step step) {
  pthread_attr_t attributes;
  ASSERT_EQ(pthread_attr_init(&attributes), 0);
  ASSERT_EQ(pthread_attr_setstacksize(&attributes, 8 << 20), 0);
  pthread_t thread;
  const auto run = [](void* s) -> void* {
    (*static_cast<Step*>(s))();
    return nullptr;
  };
  ASSERT_EQ(pthread_create(&thread, &attributes, run, &step), 0);
  EXPECT_EQ(pthread_join(thread, nullptr), 0);
  EXPECT_EQ(pthread_attr_destroy(&attributes), 0);
}

constexpr int kDeep = 1000000;

// Tells when it dies.
xrchandle<VelLogObject> Leaf(std::string* log) { return new VelLogObject(log, "leaf"); }

constexpr char kLeafDied[] = "leaf asked\nleaf onDelete\nleaf destroyed\n";

TEST(VelReleaseDeep, ChainOfObjectsDies) {
  std::string log;
  OnASmallStack([&] {
    struct Link : VelLogObject {
      explicit Link(xrchandle<VelLogObject> n) : next(std::move(n)) {}
      xrchandle<VelLogObject> next;
    };
    xrchandle<VelLogObject> head = Leaf(&log);
    for (int i = 0; i < kDeep; ++i) head = xrchandle<VelLogObject>(new Link(std::move(head)));
    EXPECT_EQ(VelLogObject::alive(), kDeep + 1);
    head = 0;
    EXPECT_EQ(VelLogObject::alive(), 0);
  });
  EXPECT_EQ(log, kLeafDied);
}

TEST(VelReleaseDeep, ChainOfSequencesDies) {
  std::string log;
  OnASmallStack([&] {
    xany value(Leaf(&log));
    for (int i = 0; i < kDeep; ++i) {
      auto sequence = xanysequence::create();
      sequence->append(value);
      value = sequence;
    }
    EXPECT_EQ(log, "");
    value = nullptr;
  });
  EXPECT_EQ(log, kLeafDied);
}

TEST(VelReleaseDeep, ChainOfDictionariesDies) {
  std::string log;
  OnASmallStack([&] {
    xany value(Leaf(&log));
    for (int i = 0; i < kDeep / 10; ++i) {
      auto dictionary = xanydictionary::create();
      dictionary->set("k", value);
      value = dictionary;
    }
    EXPECT_EQ(log, "");
    value = nullptr;
  });
  EXPECT_EQ(log, kLeafDied);
}

TEST(VelReleaseDeep, ChainOfExceptionsDies) {
  std::string log;
  OnASmallStack([&] {
    xrchandle<xthrowable> last = velCaught([&] { velXTypeMismatch::Throw("x", xany(Leaf(&log))); });
    for (int i = 0; i < kDeep / 10; ++i) {
      last = velCaught([&] { velXTypeMismatch::Throw("x", xany(last)); });
    }
    EXPECT_EQ(log, "");
    last = 0;
  });
  EXPECT_EQ(log, kLeafDied);
}

TEST(VelReleaseDeep, MixedChainDiesInsideACollection) {
  std::string log;
  OnASmallStack([&] {
    auto outer = xanysequence::create();
    outer->append(xany(Leaf(&log)));
    for (int i = 0; i < kDeep / 10; ++i) {
      auto dictionary = xanydictionary::create();
      dictionary->set("k", outer->get(0));
      auto sequence = xanysequence::create();
      sequence->append(xany(dictionary));
      sequence->append(xany(dictionary));
      outer->set(0, xany(sequence));
    }
    EXPECT_EQ(log, "");
    outer->clear();
    EXPECT_EQ(log, kLeafDied);
  });
}

// ---- what a class has of its own ----

class OnlyAsked : public virtual xobject {
  VEL_OBJECT(OnlyAsked)
 public:
  explicit OnlyAsked(int* times) : asked(times) {}
  unsigned char isDeletable() override { return ++*asked > 1; }

 private:
  int* asked;
};
VEL_OBJECT_RTTI(OnlyAsked, xrttiobject, [](xrttiobject* rtti) {
  rtti->initializeRttiObject("velrelease::OnlyAsked", 1, 0, nullptr);
})

class OnlyTold : public virtual xobject {
  VEL_OBJECT(OnlyTold)
 public:
  explicit OnlyTold(int* times) : told(times) {}
  void onDelete() override { ++*told; }

 private:
  int* told;
};
VEL_OBJECT_RTTI(OnlyTold, xrttiobject, [](xrttiobject* rtti) {
  rtti->initializeRttiObject("velrelease::OnlyTold", 1, 0, nullptr);
})

TEST(VelRelease, ClassMayHaveASayInOneThingOnly) {
  int asked = 0;
  auto* refusing = new OnlyAsked(&asked);
  xrcattach(refusing);
  xrcrelease(refusing);
  EXPECT_EQ(asked, 1);
  EXPECT_EQ(xrcgetcount(refusing), 0);
  xrcattach(refusing);
  xrcrelease(refusing);
  EXPECT_EQ(asked, 2);

  int told = 0;
  auto* sharing = new OnlyTold(&told);
  xrcattach(sharing);
  EXPECT_EQ(told, 0);
  xrcrelease(sharing);
  EXPECT_EQ(told, 1);
}

// ---- scopes ----

TEST(VelReleaseScope, CollectsLastReleases) {
  std::string log;
  auto* a = new VelLogObject(&log, "a");
  auto* b = new VelLogObject(&log, "b");
  xrcattach(a);
  xrcattach(b);
  {
    const velReleaseScope scope;
    xrcrelease(a);
    xrcrelease(b);
    EXPECT_EQ(log, "");
    EXPECT_EQ(xrcgetcount(a), 1);
  }
  EXPECT_EQ(log, "a asked\na onDelete\na destroyed\nb asked\nb onDelete\nb destroyed\n");
}

TEST(VelReleaseScope, CollectsAllThatFollowOneThatWasCollected) {
  std::string log;
  auto* a = new VelLogObject(&log, "a");
  auto* b = new VelLogObject(&log, "b");
  const xrchandle<VelLogObject> held(b);
  xrcattach(a);
  xrcattach(b);
  xrcattach(b);
  {
    const velReleaseScope scope;
    xrcrelease(b);
    EXPECT_EQ(xrcgetcount(b), 2);
    xrcrelease(a);
    xrcrelease(b);
    EXPECT_EQ(xrcgetcount(b), 2);
  }
  EXPECT_EQ(xrcgetcount(b), 1);
  EXPECT_EQ(log, "a asked\na onDelete\na destroyed\n");
}

TEST(VelReleaseScope, InnerOneHandsOverToTheOuter) {
  std::string log;
  auto* a = new VelLogObject(&log, "a");
  xrcattach(a);
  {
    const velReleaseScope outer;
    {
      const velReleaseScope inner;
      xrcrelease(a);
    }
    EXPECT_EQ(log, "");
  }
  EXPECT_EQ(log, "a asked\na onDelete\na destroyed\n");
}

TEST(VelReleaseScope, InnerOneCollectsAllOnceTheOuterHasCollected) {
  std::string log;
  auto* a = new VelLogObject(&log, "a");
  auto* b = new VelLogObject(&log, "b");
  xrcattach(a);
  const xrchandle<VelLogObject> held(b);
  xrcattach(b);
  {
    const velReleaseScope outer;
    xrcrelease(a);
    {
      const velReleaseScope inner;
      xrcrelease(b);
      EXPECT_EQ(xrcgetcount(b), 2);
    }
    EXPECT_EQ(xrcgetcount(b), 2);
  }
  EXPECT_EQ(xrcgetcount(b), 1);
  EXPECT_EQ(log, "a asked\na onDelete\na destroyed\n");
}

TEST(VelReleaseScope, TakesAnyNumber) {
  for (int count : {0, 1, 15, 16, 17, 32, 33, 1000}) {
    std::string log;
    std::string expected;
    {
      const velReleaseScope scope;
      for (int i = 0; i < count; ++i) {
        const std::string name = std::to_string(i);
        xrchandle<VelLogObject>(new VelLogObject(&log, name));
        expected += name + " asked\n" + name + " onDelete\n" + name + " destroyed\n";
      }
      EXPECT_EQ(log, "");
    }
    EXPECT_EQ(log, expected) << count;
  }
}

TEST(VelReleaseScope, LeavesWhatIsNotCountedAlone) {
  std::string log;
  auto* plain = new VelPlainObject(&log);
  xrcattach(plain);
  {
    const velReleaseScope scope;
    xrchandle<VelLogObject>(new VelLogObject);  // something is collected
    xrcrelease(plain);
    xdelete(plain);
    EXPECT_EQ(log, "onDelete\ndestroyed\n");
  }
  EXPECT_EQ(log, "onDelete\ndestroyed\n");
}

// Code that runs while a list is carried out finds releases working at once.
TEST(VelReleaseScope, DestructorsRunOutsideOfIt) {
  int alive = -1;
  {
    const velReleaseScope scope;
    const xrchandle<Looker> looker(new Looker);
    looker->alive = &alive;
    looker->child = new VelLogObject;
  }
  EXPECT_EQ(alive, 1);
}

// An object that is not counted and holds two that are; it lets the second go first.
class Holder : public VelPlainObject {
 public:
  Holder(xobject* a, xobject* b) : first(a), second(b) {}
  const xrchandle<xobject> first, second;
};

// Its end is not the collection's business, the release of what it held is: that
// waits for the collection, with what the collection has collected before.
TEST(VelReleaseScope, CollectsWhatALoopInsideItReleases) {
  const FlattenAt none(0);
  std::string log;
  auto* shared = new VelLogObject(&log, "shared");
  const xrchandle<VelLogObject> held(shared);
  auto* plain = new Holder(shared, new VelLogObject(&log, "child"));
  {
    const velReleaseScope scope;
    xdelete(plain);
    EXPECT_EQ(log, "");
    EXPECT_EQ(xrcgetcount(shared), 2);
  }
  EXPECT_EQ(xrcgetcount(shared), 1);
  EXPECT_EQ(log, "child asked\nchild onDelete\nchild destroyed\n");
}

#ifndef VELTEST_SANITIZED
// Deletes many others in its destructor, each of which holds one.
class Brood : public VelPlainObject {
 public:
  explicit Brood(int count) {
    for (int i = 0; i < count; ++i) {
      children_.push_back(new Holder(new VelLogObject, new VelLogObject));
    }
  }
  ~Brood() override {
    for (xobject* child : children_) xdelete(child);
  }

 private:
  std::vector<xobject*> children_;
};

// Ends the process: with 0 when all objects go although there is no memory to
// write down which are to go.
[[noreturn]] void DestroyWithoutMemory(bool inACollection) {
  velReleaseScope::flattenLevel = 0;
  auto* brood = new Brood(1000);
  brood->getRtti();  // made now
  velTakeAllMemory();
  if (inACollection) {
    const velReleaseScope scope;
    xdelete(brood);
  } else {
    xdelete(brood);
  }
  _exit(VelLogObject::alive() == 0 ? 0 : 1);
}

TEST(VelReleaseDeathTest, ALoopNeedsNoMemory) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_EXIT(DestroyWithoutMemory(false), testing::ExitedWithCode(0), "");
  EXPECT_EXIT(DestroyWithoutMemory(true), testing::ExitedWithCode(0), "");
}
#endif

}  // namespace
