// Depth: values that nest as deep as memory carries, on stacks of fixed size and
// in time that grows as the depth does.
#include <gtest/gtest-spi.h>
#include <malloc.h>
#include <pthread.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <ctime>
#include <functional>
#include <iterator>
#include <limits>
#include <memory>
#include <sstream>
#include <streambuf>
#include <string>
#include <vector>

#include "velattributes.h"
#include "velrelease.h"
#include "velstd_c.h"
#include "velstringutils.h"
#include "veltest.h"
#include "veltest_long.h"
#include "veltest_types.h"
#include "xrttiattrseq.h"

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define DEPTH_TEST_SANITIZED 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
#define DEPTH_TEST_SANITIZED 1
#endif
#endif

namespace {

#ifdef DEPTH_TEST_SANITIZED
constexpr bool kSanitized = true;
#else
constexpr bool kSanitized = false;
#endif

constexpr int kFull = 1000000;

// Instrumented code is slow, and its objects are large.
int Scaled(int brief, int full = kFull) {
  return velShortOrLong(brief, full) / (kSanitized ? 10 : 1);
}

void Figure(const std::string& what, double value, const char* unit) {
  velFigure("depth", what.c_str(), value, unit);
}

// ---- stacks ----

constexpr std::size_t kUsualStack = 8 << 20;
constexpr std::size_t kSmallStack = 256 << 10;

// Runs `step` on a thread whose stack has `bytes` bytes, a forbidden page below
// it; answers how many bytes of it were touched.
std::size_t OnStack(std::size_t bytes, const std::function<void()>& step) {
  const auto page = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
  void* block = mmap(nullptr, bytes + page, PROT_READ | PROT_WRITE,
                     MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
  EXPECT_NE(block, MAP_FAILED);
  EXPECT_EQ(mprotect(block, page, PROT_NONE), 0);
  char* stack = static_cast<char*>(block) + page;
  pthread_attr_t attributes;
  EXPECT_EQ(pthread_attr_init(&attributes), 0);
  EXPECT_EQ(pthread_attr_setstack(&attributes, stack, bytes), 0);
  pthread_t thread;
  const auto run = [](void* s) -> void* {
    (*static_cast<const std::function<void()>*>(s))();
    return nullptr;
  };
  EXPECT_EQ(pthread_create(&thread, &attributes, run, const_cast<std::function<void()>*>(&step)),
            0);
  EXPECT_EQ(pthread_join(thread, nullptr), 0);
  EXPECT_EQ(pthread_attr_destroy(&attributes), 0);
  std::vector<unsigned char> resident(bytes / page);
  EXPECT_EQ(mincore(stack, bytes, resident.data()), 0);
  const auto touched = std::count_if(resident.begin(), resident.end(),
                                     [](unsigned char flags) { return flags & 1; });
  EXPECT_EQ(munmap(block, bytes + page), 0);
  return static_cast<std::size_t>(touched) * page;
}

// On a stack of the usual size, and in the long form on a small one.
void OnStacks(const std::string& what, const std::function<void()>& step) {
  for (const std::size_t bytes : {kUsualStack, kSmallStack}) {
    if (bytes == kSmallStack && !velIsLong()) continue;
    const std::size_t used = OnStack(bytes, step);
    Figure(what + ", stack used of " + std::to_string(bytes >> 10) + " KiB",
           static_cast<double>(used >> 10), "KiB");
  }
}

TEST(DepthMeasure, OfTheStackCountsWhatWasTouched) {
  const std::size_t little = OnStack(kUsualStack, [] {});
  const std::size_t much = OnStack(kUsualStack, [] {
    volatile char block[200 << 10];
    for (std::size_t i = 0; i < sizeof block; i += 1024) block[i] = 1;
  });
  EXPECT_LT(little, std::size_t{100 << 10});
  EXPECT_GE(much, std::size_t{200 << 10});
}

// ---- time ----

// Freed memory stays with the process: taking it anew from the system is no part
// of the work. There is one heap for all threads, since their own ones have no
// room for large blocks; so this comes before the first thread.
const bool kKeepsMemory = mallopt(M_ARENA_MAX, 1) && mallopt(M_MMAP_MAX, 0) &&
                          mallopt(M_TRIM_THRESHOLD, std::numeric_limits<int>::max());

// Processor time, in milliseconds: others use the machine as well.
double Now() {
  timespec at;
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &at);
  return static_cast<double>(at.tv_sec) * 1e3 + static_cast<double>(at.tv_nsec) / 1e6;
}

double Took(const std::function<void()>& step) {
  const double before = Now();
  step();
  return Now() - before;
}

// The best times of the steps of a piece of work at one size.
class Best {
 public:
  // Adds to what `step` took in this round.
  void note(const std::string& step, double time) {
    const auto at = std::find(steps_.begin(), steps_.end(), step);
    round_.resize(steps_.size());
    if (at == steps_.end()) {
      steps_.push_back(step);
      round_.push_back(time);
    } else {
      round_[static_cast<std::size_t>(at - steps_.begin())] += time;
    }
  }

  // A round did each step `times` times.
  void endRound(int times) {
    times_.resize(steps_.size(), std::numeric_limits<double>::max());
    for (std::size_t s = 0; s < times_.size(); ++s) {
      times_[s] = std::min(times_[s], round_[s] / times);
    }
    round_.assign(round_.size(), 0);
  }

  const std::vector<std::string>& steps() const { return steps_; }
  const std::vector<double>& times() const { return times_; }

 private:
  std::vector<std::string> steps_;
  std::vector<double> round_;
  std::vector<double> times_;
};

// Does something with as many values of a size as it is told, all alive at once.
using Work = std::function<void(int size, int times, Best&)>;

// The same with one value after the other.
Work InTurn(const std::function<void(int, Best&)>& work) {
  return [work](int size, int times, Best& best) {
    for (int i = 0; i < times; ++i) work(size, best);
  };
}

// A step that takes time proportional to the size takes twice as long when that
// doubles; a quadratic one four times. The work, which notes how long each step
// took, is done on one value of the whole `size`, on 8 of an eighth and on 64 of a
// 64th. In the mean of all six doublings a step takes at most 2.5 times as long: one
// that is quadratic takes 4096 times as long, 17 times more than it may. In the mean
// of the three between two of these sizes, 3 times: where the values stop to fit a
// cache, or the memory that is kept for small blocks, each element costs twice as
// much on some machines and is linear before and behind, while the three doublings of
// what is quadratic at one end only take 64 times as long and may take 27. As much
// memory is touched at each size, so that caches tell little else. Everything is
// repeated, for a disturbance is not there every time.
void ExpectLinear(const std::string& what, int size, const Work& work) {
  EXPECT_TRUE(kKeepsMemory || kSanitized);
  constexpr double kAtMost = 2.5;
  constexpr double kAtMostInHalf = 3;
  constexpr int kTries = 12;
  constexpr int kShares[] = {64, 8, 1};
  Best best[std::size(kShares)];
  const auto doubling = [&](std::size_t step, std::size_t smaller, std::size_t larger) {
    const double time = std::max(best[smaller].times()[step], 1e-4);
    const auto doublings = static_cast<double>(3 * (larger - smaller));
    return std::pow(best[larger].times()[step] / time, 1 / doublings);
  };
  const auto steeperHalf = [&](std::size_t step) {
    return std::max(doubling(step, 0, 1), doubling(step, 1, 2));
  };
  const auto isLinear = [&](std::size_t step) {
    return doubling(step, 0, 2) <= kAtMost && steeperHalf(step) <= kAtMostInHalf;
  };
  const auto allAreLinear = [&] {
    for (std::size_t s = 0; s < best[0].steps().size(); ++s) {
      if (!isLinear(s)) return false;
    }
    return true;
  };
  for (int i = 0; i < kTries && (i < 2 || !allAreLinear()); ++i) {
    for (std::size_t n = 0; n < std::size(kShares); ++n) {
      work(size / kShares[n], kShares[n], best[n]);
      best[n].endRound(kShares[n]);
    }
  }
  for (std::size_t s = 0; s < best[0].steps().size(); ++s) {
    const std::string name = what + ", " + best[0].steps()[s] + " at " + std::to_string(size);
    std::ostringstream times;
    for (const Best& one : best) times << ' ' << one.times()[s];
    EXPECT_TRUE(isLinear(s)) << name << " in the mean of six doublings " << doubling(s, 0, 2)
                             << " times, of the steeper three " << steeperHalf(s)
                             << " times; ms:" << times.str();
    if (what.empty()) continue;  // a test of this measure
    Figure(name, best[2].times()[s], "ms");
    Figure(name + ", ratio of doubling", doubling(s, 0, 2), "");
  }
}

TEST(DepthMeasure, OfTimeRefusesWhatGrowsFasterThanItMay) {
  const auto taking = [](const std::function<double(int)>& time) {
    ExpectLinear("", 64000, [&](int size, int times, Best& best) {
      for (int i = 0; i < times; ++i) best.note("", time(size));
    });
  };
  const auto growingWith = [&](double exponent) {
    taking([=](int size) { return std::pow(size, exponent); });
  };
  growingWith(1);
  growingWith(1.3);  // 2.46 times the time for twice the size
  EXPECT_NONFATAL_FAILURE(growingWith(1.35), "at 64000");
  // Dearer for each element from some size on.
  taking([](int size) { return size <= 1000 ? size : 3 * size; });
  taking([](int size) { return size <= 8000 ? size : 3 * size; });
  EXPECT_NONFATAL_FAILURE(taking([](int size) { return size <= 1000 ? size : 4 * size; }),
                          "at 64000");
  // Quadratic from some size on, and up to it.
  EXPECT_NONFATAL_FAILURE(taking([](int size) { return size + size * (size / 8000.0); }),
                          "at 64000");
  EXPECT_NONFATAL_FAILURE(taking([](int size) {
                            return size <= 8000 ? size * (size / 8000.0) : size;
                          }),
                          "at 64000");
}

// ---- kinds of nesting ----

// An object of whatever kind its descriptor is, with one value inside.
class Link : public virtual xobject {
 public:
  Link(xrttiobject* type, xany inner) : child(std::move(inner)), type_(type) { ++alive(); }
  ~Link() override { --alive(); }
  static int& alive() {
    static int count = 0;
    return count;
  }
  static const xany& childOf(xobject* object) { return dynamic_cast<Link&>(*object).child; }

  xany child;

 private:
  xrttiobject* giveRtti() override { return type_; }
  xrttiobject* type_;
};

xany ChildOf(xobject* object) { return Link::childOf(object); }
xany LabelOf(xobject*) { return xany(7); }

// Descriptors live as long as the process.
xrttiattr* ChildAttr() {
  static auto* const attr = new xrttiattr("c", velGetRtti_any(), 1, &ChildOf);
  return attr;
}

template <class Kind, class Fill>
xrttiobject* NewType(Fill fill) {
  auto* type = new Kind;
  fill(type);
  return type;
}

xrttiobject* StructType() {
  static xrttiobject* const type = NewType<xrttistruct>([](xrttistruct* t) {
    static xrttiattr* const attrs[] = {ChildAttr()};
    t->initializeRttiStruct("S", 1, 0, nullptr, 1, attrs);
  });
  return type;
}

xrttiobject* SeqType() {
  static xrttiobject* const type = NewType<xrttisequence>([](xrttisequence* t) {
    t->initializeRttiSeq(
        "Q", 1, velGetRtti_any(), 1, [](xobject*) { return 1; },
        [](xobject* o, int) { return ChildOf(o); });
  });
  return type;
}

xrttiobject* DictType() {
  static xrttiobject* const type = NewType<xrttidictionary>([](xrttidictionary* t) {
    t->initializeRttiDict(
        "D", 1, velGetRtti_any(), 1, [](xobject*) { return 1; },
        [](xobject* o, const char*, xany* value) -> unsigned char {
          *value = ChildOf(o);
          return true;
        },
        [](xobject*, int, xstring* key) -> unsigned char {
          *key = "k";
          return true;
        },
        [](xobject* o, int, xany* value) -> unsigned char {
          *value = ChildOf(o);
          return true;
        });
  });
  return type;
}

xrttiobject* ArrayType() {
  static xrttiobject* const type = NewType<xrttiarray>([](xrttiarray* t) {
    static const int sizes[] = {1, 1};
    t->initializeRttiArray("A", 1, 2, sizes, velGetRtti_any(), 1,
                           [](xobject* o, int*) { return ChildOf(o); });
  });
  return type;
}

xrttiobject* UnionType() {
  static xrttiobject* const type = NewType<xrttiunion>([](xrttiunion* t) {
    static const int labels[] = {7};
    static xrttiattr* const attrs[] = {ChildAttr()};
    t->initializeRttiUnion("U", 1, 0, nullptr, new xrttiattr("d", velGetRtti_int(), 0, &LabelOf), 1,
                           labels, attrs, nullptr);
  });
  return type;
}

xany LinkOf(xrttiobject* type, xany inner) { return xany(new Link(type, std::move(inner))); }

// The arguments of a call, with a value among them.
class Args : public velXArgs {
  VEL_ATTRIBUTED(Args, velXArgs(context))
  VEL_ATTRIBUTE(xany, Value)
 public:
  explicit Args(xany value) : valueValue(std::move(value)) {}
};
VEL_ATTRIBUTED_RTTI(Args, "depth_test::Args", velXArgs::getClassRtti(), VEL_ATTRIBUTE_INFO(Value))

class Mismatch : public velXTypeMismatch {
 public:
  explicit Mismatch(xany object) : velXTypeMismatch(std::move(object), "t") {}
};

// What is no exception is told as the description.
class Serialization : public velXSerialization {
 public:
  explicit Serialization(const xany& source)
      : velXSerialization(source.isstring() ? source.operator xstring() : xstring("s"),
                          source.isobject()
                              ? dynamic_cast<velXException*>(source.operator xobject*())
                              : nullptr) {}
};

struct Kind {
  const char* name;
  xany (*wrap)(xany inner);
  int objects;  // that one level has
};

const Kind kKinds[] = {
    {"structures", [](xany v) { return LinkOf(StructType(), std::move(v)); }, 1},
    {"sequences of a user's type", [](xany v) { return LinkOf(SeqType(), std::move(v)); }, 1},
    {"dictionaries of a user's type", [](xany v) { return LinkOf(DictType(), std::move(v)); }, 1},
    {"arrays", [](xany v) { return LinkOf(ArrayType(), std::move(v)); }, 1},
    {"unions", [](xany v) { return LinkOf(UnionType(), std::move(v)); }, 1},
    {"any sequences",
     [](xany v) {
       const auto outer = xanysequence::create();
       outer->append(std::move(v));
       return xany(outer);
     },
     1},
    {"any dictionaries",
     [](xany v) {
       const auto outer = xanydictionary::create();
       outer->set("k", std::move(v));
       return xany(outer);
     },
     1},
    {"type mismatches", [](xany v) { return xany(new Mismatch(std::move(v))); }, 1},
    {"exceptions of called functions",
     [](xany v) {
       const xrchandle<velXArgs> args(new Args(std::move(v)));
       const xrchandle<velXFunc> func(new velXFunc("f", args));
       return xany(new velXExternFunc("e", func));
     },
     3},
    {"exceptions with a source", [](xany v) { return xany(new Serialization(v)); }, 1},
};

xany Nested(const Kind& kind, int depth, xany value = xany(5)) {
  for (int i = 0; i < depth; ++i) value = kind.wrap(std::move(value));
  return value;
}

// ---- what is done with a nested value ----

// Counts objects, and how deep they lie.
class Counter : public velTraverser {
 public:
  velTraverseResult beginObject(xrttiobject*, xrcunihandle<xobject>) override {
    ++objects;
    deepest = std::max(deepest, ++depth);
    return velTrContinue;
  }
  velTraverseResult endObject(xrttiobject*, xrcunihandle<xobject>) override {
    --depth;
    return velTrContinue;
  }
  velTraverseResult alreadyVisited(xrcunihandle<xobject>) override {
    ++revisits;
    return velTrContinue;
  }
  int objects = 0;
  int depth = 0;
  int deepest = 0;
  int revisits = 0;
};

// Takes text and counts it.
class CountingBuffer : public std::streambuf {
 public:
  std::size_t bytes = 0;

 private:
  int_type overflow(int_type character) override {
    ++bytes;
    return traits_type::not_eof(character);
  }
  std::streamsize xsputn(const char*, std::streamsize n) override {
    bytes += static_cast<std::size_t>(n);
    return n;
  }
};

std::size_t PrintedBytes(const xany& value, int step) {
  CountingBuffer buffer;
  std::ostream out(&buffer);
  velPrint(value, out, step);
  return buffer.bytes;
}

// What that must be: each level adds the same text.
std::size_t ExpectedBytes(const Kind& kind, int depth, int step) {
  const std::size_t two = PrintedBytes(Nested(kind, 2), step);
  const std::size_t three = PrintedBytes(Nested(kind, 3), step);
  return two + (three - two) * static_cast<std::size_t>(depth - 2);
}

// Everything that can be done with values, step by step.
void GoThrough(const Kind& kind, int depth, int times, Best& best) {
  const int objectsBefore = Link::alive();
  std::vector<xany> values(static_cast<std::size_t>(times));
  for (xany& value : values) best.note("building", Took([&] { value = Nested(kind, depth); }));
  std::vector<xany> same(values.size());
  for (xany& value : same) value = Nested(kind, depth);
  for (const xany& value : values) {
    Counter counter;
    best.note("walking", Took([&] { velTraverse(value, &counter); }));
    EXPECT_EQ(counter.objects, depth * kind.objects);
    EXPECT_EQ(counter.deepest, depth * kind.objects);
    EXPECT_EQ(counter.revisits, 0);
  }
  for (const int step : {-1, 0}) {
    const std::size_t expected = ExpectedBytes(kind, depth, step);
    for (const xany& value : values) {
      std::size_t bytes = 0;
      best.note("printing with step " + std::to_string(step),
                Took([&] { bytes = PrintedBytes(value, step); }));
      EXPECT_EQ(bytes, expected);
    }
  }
  for (std::size_t i = 0; i < values.size(); ++i) {
    bool equal = false;
    best.note("comparing", Took([&] { equal = velCompare(values[i], same[i]); }));
    EXPECT_TRUE(equal);
  }
  same.clear();
  for (xany& value : values) best.note("releasing", Took([&] { value = xany(); }));
  EXPECT_EQ(Link::alive(), objectsBefore);
}

class Depth : public ::testing::TestWithParam<Kind> {};

TEST_P(Depth, IsBoundedByMemoryAloneAndCostsLinearTime) {
  const Kind& kind = GetParam();
  const int depth = Scaled(100000 / kind.objects);
  OnStack(kUsualStack, [&] {
    ExpectLinear(kind.name, depth,
                 [&](int size, int times, Best& best) { GoThrough(kind, size, times, best); });
  });
  OnStacks(kind.name, [&] {
    Best best;
    GoThrough(kind, depth, 1, best);
  });
  Figure(std::string("levels of ") + kind.name, depth, "");
}

TEST_P(Depth, DifferenceAtTheBottomIsFound) {
  const Kind& kind = GetParam();
  const int depth = Scaled(20000 / kind.objects);
  OnStacks(std::string(kind.name) + ", comparing", [&] {
    EXPECT_TRUE(velCompare(Nested(kind, depth, xany("leaf")), Nested(kind, depth, xany("leaf"))));
    EXPECT_FALSE(velCompare(Nested(kind, depth, xany("leaf")), Nested(kind, depth, xany("other"))));
  });
}

INSTANTIATE_TEST_SUITE_P(Kinds, Depth, ::testing::ValuesIn(kKinds), [](const auto& test) {
  std::string name = test.param.name;
  for (char& c : name) {
    if (!std::isalnum(static_cast<unsigned char>(c))) c = '_';
  }
  return name;
});

// A million levels in any form of the test but under a sanitizer.
TEST(DepthOfAMillion, IsWalkedPrintedComparedAndReleased) {
  const int depth = Scaled(kFull);
  const std::size_t used = OnStack(kUsualStack, [=] {
    Best best;
    GoThrough(kKinds[0], depth, 1, best);
  });
  EXPECT_LT(used, std::size_t{kSanitized ? 1 << 20 : 128 << 10});
  Figure("levels of structures", depth, "");
}

TEST(DepthOfAMillion, OfAllKindsInTurnIsWalkedPrintedAndReleased) {
  const int depth = Scaled(50000);
  OnStacks("all kinds in turn", [=] {
    xany value(5);
    int objects = 0;
    for (int i = 0; i < depth; ++i) {
      const Kind& kind = kKinds[static_cast<std::size_t>(i) % std::size(kKinds)];
      value = kind.wrap(std::move(value));
      objects += kind.objects;
    }
    Counter counter;
    velTraverse(value, &counter);
    EXPECT_EQ(counter.deepest, objects);
    EXPECT_GT(PrintedBytes(value, 0), static_cast<std::size_t>(depth) * 4);
    const int before = Link::alive();
    value = xany();
    EXPECT_GT(before, 0);
    EXPECT_EQ(Link::alive(), 0);
  });
}

// ---- doors ----

// A chain of `depth` links; its end is held by nothing else.
xany DeepChain(int depth) { return Nested(kKinds[0], depth); }

xrcunihandle<xobject> Object(const xany& value) { return value.operator xobject*(); }

// An exception that holds a chain.
xrchandle<xthrowable> DeepException(int depth) { return new Mismatch(DeepChain(depth)); }

struct Door {
  const char* name;
  void (*open)(int depth);  // builds a chain and gives it up: none is left
};

const Door kDoors[] = {
    {"a handle that goes", [](int n) { const xrcunihandle<xobject> held(Object(DeepChain(n))); }},
    {"a handle assigned",
     [](int n) {
       xrcunihandle<xobject> held(Object(DeepChain(n)));
       held = xrcunihandle<xobject>();
       EXPECT_EQ(Link::alive(), 0);
     }},
    {"a handle moved to",
     [](int n) {
       xrcunihandle<xobject> held(Object(DeepChain(n)));
       held = xrcunihandle<xobject>(new Link(StructType(), xany()));
       EXPECT_EQ(Link::alive(), 1);
     }},
    {"a variant assigned",
     [](int n) {
       xany value = DeepChain(n);
       value = 5;
       EXPECT_EQ(Link::alive(), 0);
     }},
    {"sequence: clear",
     [](int n) {
       const auto sequence = xanysequence::create();
       sequence->append(DeepChain(n));
       sequence->clear();
       EXPECT_EQ(Link::alive(), 0);
     }},
    {"sequence: removerange",
     [](int n) {
       const auto sequence = xanysequence::create();
       for (int i = 0; i < 3; ++i) sequence->append(DeepChain(n / 3));
       sequence->removerange(0, 2);
       sequence->removerange(0, 1);
       EXPECT_EQ(Link::alive(), 0);
     }},
    {"sequence: set",
     [](int n) {
       const auto sequence = xanysequence::create();
       sequence->append(DeepChain(n));
       sequence->set(0, xany(1));
       EXPECT_EQ(Link::alive(), 0);
     }},
    {"sequence that goes",
     [](int n) {
       const auto sequence = xanysequence::create();
       for (int i = 0; i < 3; ++i) sequence->append(DeepChain(n / 3));
     }},
    {"dictionary: clearall",
     [](int n) {
       const auto dictionary = xanydictionary::create();
       dictionary->set("k", DeepChain(n));
       dictionary->clearall();
       EXPECT_EQ(Link::alive(), 0);
     }},
    {"dictionary: remove",
     [](int n) {
       const auto dictionary = xanydictionary::create();
       dictionary->set("k", DeepChain(n));
       EXPECT_TRUE(dictionary->remove("k"));
       EXPECT_EQ(Link::alive(), 0);
     }},
    {"dictionary: removebyindex and setbyindex",
     [](int n) {
       const auto dictionary = xanydictionary::create();
       dictionary->set("k", DeepChain(n / 2));
       int slot = 0;
       while (!dictionary->getkeybyindex(slot, nullptr)) ++slot;
       EXPECT_TRUE(dictionary->setbyindex(slot, DeepChain(n / 2)));
       EXPECT_TRUE(dictionary->removebyindex(slot));
       EXPECT_EQ(Link::alive(), 0);
     }},
    {"dictionary: set",
     [](int n) {
       const auto dictionary = xanydictionary::create();
       dictionary->set("k", DeepChain(n));
       dictionary->set("k", xany(1));
       EXPECT_EQ(Link::alive(), 0);
     }},
    {"dictionary that goes", [](int n) { xanydictionary::create()->set("k", DeepChain(n)); }},
    {"a caught exception",
     [](int n) {
       try {
         velXTypeMismatch::Throw("t", DeepChain(n));
       } catch (xthrowable* caught) {
         xrcrelease(caught);
       }
     }},
    {"xrcrelease_c",
     [](int n) {
       xany value = DeepChain(n);
       xobject* object = value;
       xrcattach_c(object);
       value = xany();
       xrcrelease_c(object);
     }},
    {"xdelete_c",
     [](int n) {
       xany value = DeepChain(n);
       xobject* object = value;
       xrcattach_c(object);
       value = xany();
       xdelete_c(object);
     }},
    {"xcleanupexc_c",
     [](int n) {
       xsetexc_c(DeepException(n));
       xcleanupexc_c();
       EXPECT_FALSE(xisexc_c());
     }},
    {"xsetexc_c of another",
     [](int n) {
       xsetexc_c(DeepException(n));
       xsetexc_c(nullptr);
       EXPECT_FALSE(xisexc_c());
     }},
    {"a C function that clears the record",
     [](int n) {
       const auto sequence = xintsequence::create();
       xsetexc_c(DeepException(n));
       EXPECT_EQ(xintsequence_getarraysize(sequence), 0);
       EXPECT_FALSE(xisexc_c());
     }},
    {"a C function that parks a complaint",
     [](int n) {
       xsetexc_c(DeepException(n));
       xanysequence_getarraysize(nullptr);
       EXPECT_TRUE(xisexc_c());
       EXPECT_EQ(Link::alive(), 0);
       xcleanupexc_c();
     }},
    {"a variant of C",
     [](int n) {
       __xany_c view = xcadapt_cxx2c(DeepChain(n));
       xcadapt_c2cxx(view);
       xrcrelease_c(view.u.o);
     }},
};

TEST(DepthDoors, ReleaseADeepChainOnASmallStack) {
  for (const Door& door : kDoors) {
    SCOPED_TRACE(door.name);
    const int depth = Scaled(30000);
    OnStack(kSmallStack, [&] { door.open(depth); });
    EXPECT_EQ(Link::alive(), 0);
  }
}

// ---- what objects do while they are destroyed ----

// Gives its next one up where it is told to; counts how deep the calls nest.
enum class Where { kIsDeletable, kOnDelete, kDestructor, kSequence, kAnyOfThem };

struct Nesting {
  int alive = 0;
  int depth = 0;
  int deepest = 0;
};

class Owner : public virtual xobject {
 public:
  Owner(Nesting& n, Where w, bool c) : nesting(n), where(w), counted(c) { ++nesting.alive; }
  ~Owner() override {
    Inside inside(nesting);
    --nesting.alive;
    giveUp(Where::kDestructor);
    if (where == Where::kSequence && next) {
      // Inside an operation of a collection, too.
      const auto sequence = xanysequence::create();
      sequence->append(xany(next));
      const bool owned = !next->counted;
      if (!owned) xrcrelease(next);
      sequence->clear();
      if (owned) xdelete(next);
    }
  }
  unsigned char isDeletable() override {
    Inside inside(nesting);
    giveUp(Where::kIsDeletable);
    return true;
  }
  void onDelete() override {
    Inside inside(nesting);
    giveUp(Where::kOnDelete);
  }

  Nesting& nesting;
  Where where;
  bool counted;
  Owner* next = nullptr;

 private:
  struct Inside {
    explicit Inside(Nesting& n) : nesting(n) {
      nesting.deepest = std::max(nesting.deepest, ++nesting.depth);
    }
    ~Inside() { --nesting.depth; }
    Nesting& nesting;
  };

  void giveUp(Where here) {
    if (where != here || !next) return;
    Owner* old = next;
    next = nullptr;
    if (old->counted) {
      xrcrelease(old);
    } else {
      xdelete(old);
    }
  }
  xrttiobject* giveRtti() override {
    static VelPlainType own("depth_test::CountedOwner");
    static VelPlainType other("depth_test::PlainOwner", {}, false);
    return counted ? &own : &other;
  }
};

struct Habit {
  const char* name;
  Where where;
  int counted;  // one in so many is counted; 0: none
};

const Habit kHabits[] = {
    {"counted, in the destructor", Where::kDestructor, 1},
    {"counted, in onDelete", Where::kOnDelete, 1},
    {"counted, in isDeletable", Where::kIsDeletable, 1},
    {"counted, in a collection's operation", Where::kSequence, 1},
    {"xdelete in the destructor", Where::kDestructor, 0},
    {"xdelete in onDelete", Where::kOnDelete, 0},
    {"xdelete in isDeletable", Where::kIsDeletable, 0},
    {"xdelete after a collection's operation", Where::kSequence, 0},
    {"both in turn, in the destructor", Where::kDestructor, 2},
    {"both in turn, in onDelete", Where::kOnDelete, 2},
    {"both in turn, everywhere", Where::kAnyOfThem, 3},
};

TEST(DepthOfDestruction, DoesNotShowOnTheStackWhereverObjectsGiveUpOthers) {
  for (const Habit& habit : kHabits) {
    SCOPED_TRACE(habit.name);
    const int depth = Scaled(100000);
    const std::size_t used = OnStack(kSmallStack, [&] {
      Nesting nesting;
      Owner* first = nullptr;
      for (int i = 0; i < depth; ++i) {
        const Where where =
            habit.where == Where::kAnyOfThem ? static_cast<Where>(i % 4) : habit.where;
        auto* owner = new Owner(nesting, where, habit.counted && i % habit.counted == 0);
        xrcattach(owner);
        owner->next = first;
        first = owner;
      }
      EXPECT_EQ(nesting.alive, depth);
      if (first->counted) {
        xrcrelease(first);
      } else {
        xdelete(first);
      }
      EXPECT_EQ(nesting.alive, 0);
      EXPECT_LE(nesting.deepest, velReleaseScope::flattenLevel + 1);
    });
    Figure(std::string("destruction, ") + habit.name + ", stack used",
           static_cast<double>(used >> 10), "KiB");
  }
}

// ---- walks ----

TEST(DepthOfWalk, WideValuesAndRevisitsCostLinearTime) {
  ExpectLinear("a wide sequence", Scaled(100000), InTurn([](int size, Best& best) {
                 const auto wide = xanysequence::create();
                 const xany shared = LinkOf(StructType(), xany(5));
                 for (int i = 0; i < size; ++i)
                   wide->append(LinkOf(StructType(), i % 2 ? shared : xany(i)));
                 Counter counter;
                 best.note("walking", Took([&] { velTraverse(xany(wide), &counter); }));
                 EXPECT_EQ(counter.objects, 1 + size + size / 2);
                 EXPECT_EQ(counter.revisits, 0);
               }));
}

TEST(DepthOfWalk, WayBackFromEveryLevelCostsLinearTime) {
  ExpectLinear("references to the root at every level", Scaled(100000),
               InTurn([](int size, Best& best) {
                 const auto root = xanysequence::create();
                 xany inner(5);
                 for (int i = 0; i < size; ++i) {
                   const auto level = xanysequence::create();
                   level->append(xany(root));
                   level->append(inner);
                   level->append(xany(root));
                   inner = level;
                 }
                 root->append(inner);
                 inner = xany();
                 Counter counter;
                 best.note("walking", Took([&] { velTraverse(xany(root), &counter); }));
                 EXPECT_EQ(counter.objects, size + 1);
                 EXPECT_EQ(counter.revisits, 2 * size);
                 root->clear();
               }));
}

TEST(DepthOfWalk, StackOfTheComparisonGrowsInAmortisedConstantTime) {
  ExpectLinear("velStack", Scaled(1000000, 16000000), InTurn([](int size, Best& best) {
                 velStack<xobject*> stack;
                 best.note("pushing and popping", Took([&] {
                             for (int i = 0; i < size; ++i) stack.Push(nullptr);
                             while (!stack.IsEmpty()) stack.Pop();
                           }));
               }));
}

// ---- descriptors ----

// `levels` diamonds on top of each other, the top first: two types a level, each
// with both of the level above as its parents.
template <class Type>
struct Diamonds {
  template <class Make>
  Diamonds(int levels, Make make) {
    VelTyped<xrttiobject>::Parents above;
    for (int i = 0; i < levels; ++i) {
      auto left = make(above, i);
      auto right = make(above, i);
      above = {left.get(), right.get()};
      types.push_back(std::move(left));
      types.push_back(std::move(right));
    }
  }
  Type& bottom() { return *types.back(); }
  std::vector<std::unique_ptr<Type>> types;
};

// A generous bound for what takes microseconds; without care, hours.
constexpr double kBriefly = kSanitized ? 20 : 1;

void ExpectBrief(const char* what, const std::function<void()>& step) {
  double best = Took(step);
  for (int i = 0; i < 20 && (i < 3 || best >= kBriefly); ++i) best = std::min(best, Took(step));
  EXPECT_LT(best, kBriefly) << what;
  Figure(std::string("30 stacked diamonds, ") + what, best, "ms");
}

TEST(DepthOfDescriptors, StackedDiamondsAreSearchedBriefly) {
  using Parents = VelTyped<xrttiobject>::Parents;
  constexpr int kLevels = 31;
  Diamonds<VelStructType> structs(kLevels, [](const Parents& above, int) {
    return std::make_unique<VelStructType>("S", above, std::vector<xrttiattr*>());
  });
  Diamonds<VelUnionType> unions(kLevels, [](const Parents& above, int) {
    return std::make_unique<VelUnionType>("U", nullptr, std::vector<VelUnionType::Branch>(),
                                          nullptr, above);
  });
  VelPlainType stranger("stranger");
  ExpectBrief("isTypeKindOf", [&] { EXPECT_FALSE(structs.bottom().isTypeKindOf(&stranger)); });
  ExpectBrief("findAttr", [&] { EXPECT_EQ(structs.bottom().findAttr("none", 1), nullptr); });
  ExpectBrief("mapLabelToAttr", [&] { EXPECT_EQ(unions.bottom().mapLabelToAttr(5, 1), nullptr); });
  ExpectBrief("velRttiCollectAttrs", [&] {
    xrttiattrseq* attrs = velRttiCollectAttrs(&structs.bottom(), 1);
    EXPECT_EQ(attrs->getarraysize(), 0);
    xdelete(attrs);
  });
  const xany value(velNewThing(&structs.bottom()));
  ExpectBrief("walking", [&] {
    Counter counter;
    velTraverse(value, &counter);
    EXPECT_EQ(counter.objects, 1);
  });
  ExpectBrief("printing", [&] { EXPECT_EQ(PrintedBytes(value, -1), 5u); });
  ExpectBrief("comparing", [&] { EXPECT_TRUE(velCompare(value, value)); });
}

// Every way to an ancestor lists its attributes again, so the list doubles with
// each diamond.
TEST(DepthOfDescriptors, AttributesOverStackedDiamondsAreListedOrTooManyAtOnce) {
  using Parents = VelTyped<xrttiobject>::Parents;
  VelAttr a("a");
  for (const int diamonds : {3, 10, 30, 60}) {
    SCOPED_TRACE(diamonds);
    // Only the two at the top have an attribute.
    Diamonds<VelStructType> stacked(diamonds, [&](const Parents& above, int level) {
      return std::make_unique<VelStructType>(
          "S", above, level == 0 ? std::vector<xrttiattr*>{&a} : std::vector<xrttiattr*>());
    });
    xrttiattrseq* out = xrttiattrseq::create();
    if (diamonds <= 10) {
      velRttiCollectAttrs(&stacked.bottom(), 1, out);
      EXPECT_EQ(out->getarraysize(), 1 << (diamonds - 1));
    } else {
      ExpectBrief("velRttiCollectAttrs of too many", [&] {
        EXPECT_VEL_NATIVE(velRttiCollectAttrs(&stacked.bottom(), 1, out), "Size limit exceeded");
      });
      EXPECT_EQ(out->getarraysize(), 0);
    }
    xdelete(out);
  }
}

TEST(DepthOfDescriptors, ParentCyclesEnd) {
  VelAttr own("own");
  VelStructType first("first", {}, {&own});
  VelStructType second("second", {&first}, {});
  first.parentList = {&second, &first};
  VelPlainType stranger("stranger");
  EXPECT_FALSE(first.isTypeKindOf(&stranger));
  EXPECT_TRUE(first.isTypeKindOf(&second));
  EXPECT_EQ(second.findAttr("own", 1), &own);
  EXPECT_EQ(second.findAttr("none", 1), nullptr);
  xrttiattrseq* attrs = velRttiCollectAttrs(&second, 1);
  EXPECT_EQ(attrs->getarraysize(), 1);
  xdelete(attrs);
  VelUnionType choice("choice", nullptr, {}, nullptr);
  choice.parentList = {&choice};
  EXPECT_EQ(choice.mapLabelToAttr(1, 1), nullptr);
  const xany value(velNewThing(&second));
  Counter counter;
  velTraverse(value, &counter);
  EXPECT_EQ(counter.objects, 1);
}

// Types one above the other, the top first.
template <class Type>
struct Ancestors {
  template <class Make>
  Ancestors(int levels, Make make) {
    for (int i = 0; i < levels; ++i) {
      VelTyped<xrttiobject>::Parents above;
      if (i > 0) above.push_back(types.back().get());
      types.push_back(make(above, i));
    }
  }
  ~Ancestors() {
    while (!types.empty()) types.pop_back();
  }
  Type& top() { return *types.front(); }
  Type& bottom() { return *types.back(); }
  std::vector<std::unique_ptr<Type>> types;
};

TEST(DepthOfDescriptors, LongLinesOfParentsCostLinearTimeAndNoStack) {
  using Parents = VelTyped<xrttiobject>::Parents;
  OnStacks("100000 parents", [] {
    ExpectLinear(
        "parents above parents", velShortOrLong(20000, 100000), InTurn([](int size, Best& best) {
          VelAttr wanted("wanted");
          Ancestors<VelStructType> structs(size, [&](const Parents& above, int level) {
            return std::make_unique<VelStructType>(
                level == 0 ? "Top" : "S", above,
                level == 0 ? std::vector<xrttiattr*>{&wanted} : std::vector<xrttiattr*>());
          });
          Ancestors<VelUnionType> unions(size, [&](const Parents& above, int level) {
            std::vector<VelUnionType::Branch> branches;
            if (level == 0) branches.push_back({5, &wanted});
            return std::make_unique<VelUnionType>("U", nullptr, branches, nullptr, above);
          });
          Ancestors<VelStructType> nameless(size, [&](const Parents& above, int level) {
            return std::make_unique<VelStructType>(level == 0 ? "Top" : nullptr, above,
                                                   std::vector<xrttiattr*>());
          });
          best.note("isTypeKindOf",
                    Took([&] { EXPECT_TRUE(structs.bottom().isTypeKindOf(&structs.top())); }));
          best.note("findAttr",
                    Took([&] { EXPECT_EQ(structs.bottom().findAttr("wanted", 1), &wanted); }));
          best.note("mapLabelToAttr",
                    Took([&] { EXPECT_EQ(unions.bottom().mapLabelToAttr(5, 1), &wanted); }));
          best.note("velRttiCollectAttrs", Took([&] {
                      xrttiattrseq* attrs = velRttiCollectAttrs(&structs.bottom(), 1);
                      EXPECT_EQ(attrs->getarraysize(), 1);
                      xdelete(attrs);
                    }));
          const xany value(velNewThing(&structs.bottom()));
          Counter counter;
          best.note("walking", Took([&] { velTraverse(value, &counter); }));
          const xany unnamed(velNewThing(&nameless.bottom()));
          std::string text;
          best.note("printing of nameless types", Took([&] { text = velPrinted(unnamed, -1); }));
          EXPECT_EQ(text, "Top" + std::string(static_cast<std::size_t>(size) - 1, ' ') + " { }");
        }));
  });
}

// ---- long texts ----

TEST(DepthOfText, AppendsCostLinearTime) {
  ExpectLinear("xstring +=", Scaled(1000000), InTurn([](int size, Best& best) {
                 const auto length = static_cast<std::size_t>(size);
                 const auto row = [&](const char* what, auto piece) {
                   xstring text;
                   best.note(what, Took([&] {
                               for (int i = 0; i < size; ++i) text += piece;
                             }));
                   EXPECT_EQ(Strlen(text.CastToCString()), length);
                 };
                 row("a narrow character", 'x');
                 row("a wide character", L'x');
                 row("a narrow text", "x");
                 row("a wide text", L"x");
                 row("a string", xstring("x"));
               }));
}

TEST(DepthOfText, AppendsKeepTrackOfOtherEdits) {
  xstring text("ab");
  text += 'c';
  text += "d";
  text.Substitute("bc", "x");
  text += 'e';
  EXPECT_STREQ(text.CastToCString(), "axde");
  const xstring copy = text;
  text += L'f';
  text = text.ToUpper();
  EXPECT_STREQ(text.CastToCString(), "AXDEF");
  text += text;
  text += text.CastToCString() + 8;
  EXPECT_STREQ(text.CastToCString(), "AXDEFAXDEFEF");
  EXPECT_STREQ(copy.CastToCString(), "axde");
  text = text.Substring(2, 4);
  text += "!";
  EXPECT_STREQ(text.CastToCString(), "DE!");
}

TEST(DepthOfText, PathologicalPatternsAreMatchedInLinearTime) {
  ExpectLinear("Match", Scaled(200000), InTurn([](int size, Best& best) {
                 const xstring narrow(std::string(static_cast<std::size_t>(size), 'a').c_str());
                 xstring wide = narrow;
                 wide += L'a';
                 std::string stars;
                 for (int i = 0; i < 20; ++i) stars += "a*";
                 const std::string patterns[] = {stars + "b", "*" + stars + "ab", stars + "?b"};
                 best.note("narrow", Took([&] {
                             for (const auto& pattern : patterns)
                               EXPECT_FALSE(narrow.Match(pattern.c_str()));
                           }));
                 best.note("wide", Took([&] {
                             for (const auto& pattern : patterns) {
                               EXPECT_FALSE(wide.Match(xstring(pattern.c_str()).CastToCWString()));
                             }
                           }));
                 EXPECT_TRUE(narrow.Match((stars + "a").c_str()));
               }));
}

TEST(DepthOfText, SubstitutionEscapingAndParsingCostLinearTime) {
  ExpectLinear(
      "texts", Scaled(200000), InTurn([](int size, Best& best) {
        std::string pieces;
        for (int i = 0; i < size / 4; ++i) pieces += "ab,\\";
        const xstring text(pieces.c_str());
        for (const char* to : {"", "x", "longer"}) {
          xstring changed = text;
          const double time = Took([&] { changed.Substitute("ab", to); });
          // A sanitizer measures the whole rest of the text at each strstr.
          if (!kSanitized) best.note(std::string("Substitute by '") + to + "'", time);
          xstring wide = text;
          const xstring wideTo(to);
          wide.CastToCWString();
          best.note(std::string("wide Substitute by '") + to + "'",
                    Took([&] { wide.Substitute(L"ab", wideTo.CastToCWString()); }));
          EXPECT_TRUE(wide == changed);
        }
        xstring escaped;
        best.note("makeEscapedString",
                  Took([&] { escaped = velStringUtils::makeEscapedString(text, ",", "\\"); }));
        EXPECT_EQ(Strlen(escaped.CastToCString()), pieces.size() + pieces.size() / 2);
        xrchandle<xstringsequence> parsed;
        best.note("parseEscapedandFormattedString", Took([&] {
                    parsed = velStringUtils::parseEscapedandFormattedString(escaped, ",\\", "\\");
                  }));
        EXPECT_EQ(parsed->getarraysize(), 1);
        EXPECT_TRUE(parsed->get(0) == text);
        best.note("parsing into elements", Took([&] {
                    parsed = velStringUtils::parseEscapedandFormattedString(text, ",", "");
                  }));
        EXPECT_EQ(parsed->getarraysize(), size / 4 * 2 + 1);
      }));
}

}  // namespace
