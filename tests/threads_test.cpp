// Counts, descriptors and destruction with several threads. Most of these are
// for a thread sanitizer, which sees races that do no harm today.
#include <unistd.h>

#include <atomic>
#include <cstdlib>
#include <thread>
#include <vector>

#include "veltest.h"

namespace {

constexpr int kThreads = 8;

// Lets all threads go at the same moment.
class Gate {
 public:
  explicit Gate(int n) : missing_(n) {}
  void pass() {
    --missing_;
    while (missing_ > 0) std::this_thread::yield();
  }

 private:
  std::atomic<int> missing_;
};

// Runs `step(number)` on `n` threads that begin together.
template <class Step>
void Together(int n, Step step) {
  Gate gate(n);
  std::vector<std::thread> threads;
  for (int i = 0; i < n; ++i) {
    threads.emplace_back([&, i] {
      gate.pass();
      step(i);
    });
  }
  for (std::thread& thread : threads) thread.join();
}

// Counts its deletions.
class Shared : public virtual xobject {
  VEL_OBJECT(Shared)
 public:
  explicit Shared(std::atomic<int>* d = nullptr) : destroyed(d) {}
  ~Shared() override {
    if (destroyed) ++*destroyed;
  }
  std::atomic<int>* destroyed;
  int written[kThreads] = {};
};
VEL_OBJECT_RTTI(Shared, xrttiobject, [](xrttiobject* rtti) {
  rtti->initializeRttiObject("threads_test::Shared", 1, 0, nullptr);
})

TEST(Threads, CountsOfOneObjectAddUp) {
  constexpr int kPairs = 1000000;
  std::atomic<int> destroyed{0};
  const xrchandle<Shared> object(new Shared(&destroyed));
  std::atomic<bool> wrong{false};
  Together(kThreads + 1, [&](int number) {
    if (number == kThreads) {
      // One that only looks.
      for (int i = 0; i < kPairs / 10; ++i) {
        const int count = xrcgetcount(object);
        if (count < 1 || count > kThreads + 1) wrong = true;
      }
      return;
    }
    for (int i = 0; i < kPairs; ++i) {
      xrcattach(object);
      xrcrelease(object);
    }
  });
  EXPECT_FALSE(wrong);
  EXPECT_EQ(xrcgetcount(object), 1);
  EXPECT_EQ(destroyed, 0);
}

TEST(Threads, LastReleaseDestroysOnceAndSeesAllThatWasWritten) {
  constexpr int kObjects = 2000;
  std::atomic<int> destroyed{0};
  std::atomic<int> incomplete{0};
  struct Checked : Shared {
    Checked(std::atomic<int>* d, std::atomic<int>* i) : Shared(d), incomplete(i) {}
    ~Checked() override {
      for (int w : written) {
        if (w != 1) ++*incomplete;
      }
    }
    std::atomic<int>* incomplete;
  };
  std::vector<Shared*> objects;
  for (int i = 0; i < kObjects; ++i) {
    objects.push_back(new Checked(&destroyed, &incomplete));
    for (int t = 0; t < kThreads; ++t) xrcattach(objects.back());
  }
  Together(kThreads, [&](int number) {
    for (Shared* object : objects) {
      object->written[number] = 1;
      xrcrelease(object);
    }
  });
  EXPECT_EQ(destroyed, kObjects);
  EXPECT_EQ(incomplete, 0);
}

TEST(Threads, FirstAttachIsDecidedOnce) {
  for (int round = 0; round < 200; ++round) {
    Shared* counted = new Shared;
    VelPlainObject plain;
    Together(4, [&](int) {
      xrcattach(counted);
      xrcattach(&plain);
    });
    ASSERT_EQ(xrcgetcount(counted), 4);
    ASSERT_EQ(xrcgetcount(&plain), -1);
    for (int i = 0; i < 4; ++i) xrcrelease(counted);
  }
}

TEST(Threads, HandlesOfOneObjectMoveBetweenThreads) {
  std::atomic<int> destroyed{0};
  {
    const xrchandle<Shared> object(new Shared(&destroyed));
    const xany value(object);
    Together(kThreads, [&](int) {
      xrcunihandle<xobject> last;
      for (int i = 0; i < 2000; ++i) {
        const xrchandle<Shared> copy(object);
        xrchandle<xobject> base(copy);
        xany held(value);
        last = xrcunihandle<xobject>(base);
        base = 0;
        held = nullptr;
      }
    });
    EXPECT_EQ(xrcgetcount(object), 2);
  }
  EXPECT_EQ(destroyed, 1);
}

TEST(Threads, EachDestroysDeepValuesOfItsOwn) {
  std::atomic<int> destroyed{0};
  Together(kThreads, [&](int) {
    xany value(new Shared(&destroyed));
    for (int i = 0; i < 1000; ++i) {
      auto sequence = xanysequence::create();
      sequence->append(value);
      value = sequence;
    }
  });
  EXPECT_EQ(destroyed, kThreads);
}

// ---- no lock is held while foreign code runs ----

// In every virtual function, lets another thread count, make a descriptor and
// destroy: it would wait for ever for a lock that is held here.
void LetAnotherThreadWork() {
  std::thread([] {
    static velClassRtti places[16];
    static std::atomic<int> used{0};
    places[used++].get<xrttiobject>([](xrttiobject* rtti) {
      rtti->initializeRttiObject(nullptr, 1, 0, nullptr);
    });
    const xrchandle<Shared> object(new Shared);
    const xrchandle<Shared> copy(object);
  }).join();
}

class Unlocked : public virtual xobject {
 public:
  explicit Unlocked(xrttiobject* type) : type_(type) {}
  ~Unlocked() override { LetAnotherThreadWork(); }
  unsigned char isDeletable() override {
    LetAnotherThreadWork();
    return 1;
  }
  void onDelete() override { LetAnotherThreadWork(); }

 private:
  xrttiobject* giveRtti() override {
    LetAnotherThreadWork();
    return type_;
  }
  xrttiobject* type_;
};

TEST(Threads, NoLockIsHeldInVirtualFunctions) {
  auto* counted = new Unlocked(Shared::getClassRtti());
  xrcattach(counted);
  EXPECT_EQ(xrcgetcount(counted), 1);
  xrcrelease(counted);
  auto* plain = new Unlocked(VelPlainObject::getClassRtti());
  xrcattach(plain);
  EXPECT_EQ(xrcgetcount(plain), -1);
  xdelete(plain);
}

// ---- the first touch of a class ----

template <int N>
class Touched : public virtual xobject {
 public:
  static xrttiobject* getClassRtti() {
    static velClassRtti descriptor;
    return descriptor.get<xrttistruct>([](xrttistruct* rtti) {
      ++made;
      static xrttiattr self("self", getClassRtti(), 1, nullptr);
      static xrttiattr* const attrs[] = {&self};
      std::this_thread::yield();
      rtti->initializeRttiStruct(name().c_str(), 1, 0, nullptr, 1, attrs);
    });
  }
  static Touched* softcast(xobject* p) { return velSoftcast<Touched>(p); }
  void* dyndowncast(const xrttiobject* target) override {
    return velDyndowncast<Touched>(this, target);
  }
  static std::string name() { return "threads_test::Touched" + std::to_string(N); }
  static std::atomic<int> made;

 private:
  xrttiobject* giveRtti() override { return getClassRtti(); }
};
template <int N>
std::atomic<int> Touched<N>::made{0};

template <int N>
void TouchFromAllThreads() {
  using Class = Touched<N>;
  xrttiobject* seen[kThreads] = {};
  std::atomic<int> incomplete{0};
  const xrchandle<Shared> other(new Shared);
  Class* object = new Class;
  Together(kThreads, [&](int number) {
    switch (number % 4) {
      case 0:
        seen[number] = Class::getClassRtti();
        break;
      case 1:
        seen[number] = object->getRtti();
        break;
      case 2:
        if (Class::softcast(other) || Class::softcast(object) != object) ++incomplete;
        seen[number] = Class::getClassRtti();
        break;
      default:
        xrcattach(object);
        seen[number] = object->getRtti();
        break;
    }
    auto* type = dynamic_cast<xrttistruct*>(seen[number]);
    if (!(type->getName() == Class::name().c_str()) || type->getNAttrs() != 1 ||
        type->getAttr(0)->getType() != type) {
      ++incomplete;
    }
  });
  EXPECT_EQ(Class::made, 1);
  EXPECT_EQ(incomplete, 0);
  for (xrttiobject* type : seen) EXPECT_EQ(type, Class::getClassRtti());
  EXPECT_EQ(velRttiGetFromMap(Class::name().c_str()), Class::getClassRtti());
  EXPECT_EQ(xrcgetcount(object), kThreads / 4);
  for (int i = 0; i < kThreads / 4; ++i) xrcrelease(object);
}

template <int... N>
void TouchClasses(std::integer_sequence<int, N...>) {
  (TouchFromAllThreads<N>(), ...);
}

TEST(Threads, FirstTouchFromAllMakesOneDescriptor) {
  TouchClasses(std::make_integer_sequence<int, 40>());
}

// Types that refer to each other: Pair<N, 0> and Pair<N, 1>.
template <int N, int Side>
class Pair : public virtual xobject {
 public:
  static xrttiobject* getClassRtti() {
    static velClassRtti descriptor;
    return descriptor.get<xrttistruct>([](xrttistruct* rtti) {
      static xrttiattr other("other", Pair<N, 1 - Side>::getClassRtti(), 1, nullptr);
      static xrttiattr* const attrs[] = {&other};
      std::this_thread::yield();
      rtti->initializeRttiStruct(name().c_str(), 1, 0, nullptr, 1, attrs);
    });
  }
  static std::string name() {
    return "threads_test::Pair" + std::to_string(N) + '.' + std::to_string(Side);
  }

 private:
  xrttiobject* giveRtti() override { return getClassRtti(); }
};

// True if the descriptor of Pair<N, Side>, and the other that it leads to, are complete.
template <int N, int Side>
bool IsComplete() {
  auto* type = dynamic_cast<xrttistruct*>(Pair<N, Side>::getClassRtti());
  if (!(type->getName() == Pair<N, Side>::name().c_str()) || type->getNAttrs() != 1) return false;
  auto* other = dynamic_cast<xrttistruct*>(type->getAttr(0)->getType());
  return other->getName() == Pair<N, 1 - Side>::name().c_str() && other->getNAttrs() == 1 &&
         other->getAttr(0)->getType() == type && other->getIsRefCount();
}

template <int N>
void TouchPair() {
  std::atomic<int> incomplete{0};
  Together(4, [&](int number) {
    if (!(number % 2 == 0 ? IsComplete<N, 0>() : IsComplete<N, 1>())) ++incomplete;
  });
  EXPECT_EQ(incomplete, 0) << N;
}

template <int... N>
void TouchPairs(std::integer_sequence<int, N...>) {
  (TouchPair<N>(), ...);
}

TEST(Threads, FirstTouchOfTypesThatReferToEachOther) {
  TouchPairs(std::make_integer_sequence<int, 40>());
}

// While its descriptor is made, another thread attaches to objects of its own
// class and of another, and this one attaches too.
class Slow : public virtual xobject {
  VEL_OBJECT(Slow)
 public:
  static std::atomic<bool> begun;
  static std::atomic<bool> attached;
};
std::atomic<bool> Slow::begun{false};
std::atomic<bool> Slow::attached{false};
VEL_OBJECT_RTTI(Slow, xrttiobject, [](xrttiobject* rtti) {
  Slow::begun = true;
  // The other thread counts an object whose descriptor exists: no lock.
  while (!Slow::attached) std::this_thread::yield();
  const xrchandle<Touched<1000>> mine(new Touched<1000>);
  rtti->initializeRttiObject("threads_test::Slow", 1, 0, nullptr);
})

TEST(Threads, AttachDuringTheMakingOfADescriptor) {
  const xrchandle<Shared> ready(new Shared);
  auto* slow = new Slow;
  int counts[3] = {};
  std::thread other([&] {
    while (!Slow::begun) std::this_thread::yield();
    {
      const xrchandle<Shared> copy(ready);
      counts[0] = xrcgetcount(ready);
    }
    Slow::attached = true;
    // Of the class that is being made, and of one that its maker also touches.
    xrcattach(slow);
    counts[1] = xrcgetcount(slow) > 0;
    const xrchandle<Touched<1000>> touched(new Touched<1000>);
    counts[2] = xrcgetcount(touched);
  });
  xrcattach(slow);
  other.join();
  EXPECT_EQ(counts[0], 2);
  EXPECT_EQ(counts[1], 1);
  EXPECT_EQ(counts[2], 1);
  EXPECT_EQ(xrcgetcount(slow), 2);
  EXPECT_EQ(Touched<1000>::made, 1);
  xrcrelease(slow);
  xrcrelease(slow);
}

// ---- threading switched off ----

class NeedsAnother : public virtual xobject {
  VEL_OBJECT(NeedsAnother)
};
VEL_OBJECT_RTTI(NeedsAnother, xrttiobject, [](xrttiobject* rtti) {
  // Waits for ever if there is a lock.
  std::thread([] { Touched<1001>::getClassRtti(); }).join();
  rtti->initializeRttiObject("threads_test::NeedsAnother", 1, 0, nullptr);
})

TEST(ThreadsDeathTest, SwitchedOffBeforeTheFirstLockNothingIsLocked) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_EXIT(
      {
        alarm(60);
        korSetThreading(false);
        NeedsAnother::getClassRtti();
        _exit(Touched<1001>::made == 1 ? 0 : 1);
      },
      ::testing::ExitedWithCode(0), "");
}

}  // namespace
