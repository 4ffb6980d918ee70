// What threads share, under load: counts, text buffers, variants, trees, the
// registry, the pending exception. Most of these are for a thread sanitizer.
#include <pthread.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <cstdlib>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "korcount.h"
#include "velrelease.h"
#include "velstd_c.h"
#include "veltest.h"
#include "veltest_long.h"

namespace {

constexpr int kThreads = 8;

// Lets all threads go at the same moment, again and again.
class Barrier {
 public:
  explicit Barrier(int n) : members_(n) {}
  void pass() {
    const int round = round_;
    if (++arrived_ == members_) {
      arrived_ = 0;
      ++round_;
    } else {
      while (round_ == round) std::this_thread::yield();
    }
  }

 private:
  const int members_;
  std::atomic<int> arrived_{0};
  std::atomic<int> round_{0};
};

// Runs `step(number, round)` on `n` threads that begin each round together;
// `prepare(round)` runs before it, while all of them wait.
template <class Prepare, class Step>
void Rounds(int n, int rounds, Prepare prepare, Step step) {
  Barrier barrier(n + 1);
  std::vector<std::thread> threads;
  for (int i = 0; i < n; ++i) {
    threads.emplace_back([&, i] {
      for (int round = 0; round < rounds; ++round) {
        barrier.pass();
        step(i, round);
        barrier.pass();
      }
    });
  }
  for (int round = 0; round < rounds; ++round) {
    prepare(round);
    barrier.pass();
    barrier.pass();
  }
  for (std::thread& thread : threads) thread.join();
}

template <class Step>
void Together(int n, Step step) {
  Rounds(
      n, 1, [](int) {}, [&](int number, int) { step(number); });
}

double Seconds() {
  return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
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
};
VEL_OBJECT_RTTI(Shared, xrttiobject, [](xrttiobject* rtti) {
  rtti->initializeRttiObject("threads_stress_test::Shared", 1, 0, nullptr);
})

// ---- counts ----

TEST(ThreadsStress, CountsOfAThousandObjectsAddUp) {
  const int pairs = velShortOrLong(100000, 1000000);
  constexpr int kObjects = 1000;
  std::atomic<int> destroyed{0};
  std::vector<xrchandle<Shared>> objects;
  for (int i = 0; i < kObjects; ++i) objects.emplace_back(new Shared(&destroyed));
  std::atomic<int> wrong{0};
  const double begun = Seconds();
  Together(kThreads + 2, [&](int number) {
    if (number >= kThreads) {
      // Two that only look.
      for (int i = 0; i < pairs; ++i) {
        const int count = xrcgetcount(objects[static_cast<std::size_t>(i % kObjects)]);
        if (count < 1 || count > kThreads + 1) ++wrong;
      }
      return;
    }
    // Each goes round in steps of its own, so that they meet everywhere.
    for (int i = 0; i < pairs; ++i) {
      const auto at = static_cast<std::size_t>((i * (2 * number + 1) + number) % kObjects);
      xrcattach(objects[at]);
      xrcrelease(objects[at]);
    }
  });
  velFigure("threads", "attach and release pairs a second, 8 threads, 1,000 objects",
            static_cast<long>(kThreads * static_cast<double>(pairs) / (Seconds() - begun)));
  EXPECT_EQ(wrong, 0);
  for (const auto& object : objects) EXPECT_EQ(xrcgetcount(object), 1);
  EXPECT_EQ(destroyed, 0);
  objects.clear();
  EXPECT_EQ(destroyed, kObjects);
}

TEST(ThreadsStress, ThePairsOfManyThreadsOnOneObjectAddUp) {
  const int pairs = velShortOrLong(50000, 1000000);
  const xrchandle<Shared> object(new Shared);
  const double begun = Seconds();
  Together(kThreads, [&](int) {
    for (int i = 0; i < pairs; ++i) {
      xrcattach(object);
      xrcrelease(object);
    }
  });
  velFigure("threads", "attach and release pairs a second, 8 threads, one object",
            static_cast<long>(kThreads * static_cast<double>(pairs) / (Seconds() - begun)));
  EXPECT_EQ(xrcgetcount(object), 1);
}

// True while this thread is inside a block that postpones last releases.
thread_local bool isInside = false;

// Notes a destruction in the middle of such a block.
class Settled : public virtual xobject {
  VEL_OBJECT(Settled)
 public:
  static std::atomic<int> early;
  static std::atomic<int> destroyed;
  ~Settled() override {
    ++destroyed;
    if (isInside) ++early;
  }
};
std::atomic<int> Settled::early{0};
std::atomic<int> Settled::destroyed{0};
VEL_OBJECT_RTTI(Settled, xrttiobject, [](xrttiobject* rtti) {
  rtti->initializeRttiObject("threads_stress_test::Settled", 1, 0, nullptr);
})

// Two threads meet at the object of that number. The one that comes second is ahead by
// the time that the news takes, so it waits for a while, more or less.
void MeetAt(std::atomic<std::size_t>& next, std::size_t number) {
  const std::size_t both = 2 * number + 2;
  if (++next == both) {
    for (std::size_t spins = 0; spins < number; ++spins) (void)next.load();
  } else {
    for (int spins = 0; next < both && spins < 2000; ++spins) {}
  }
}

TEST(ThreadsStress, AReleaseThatBecomesTheLastWaitsForTheEndOfTheScope) {
  Settled::destroyed = 0;
  const int rounds = velShortOrLong(300, 5000);
  constexpr std::size_t kObjects = 200;
  std::vector<Settled*> objects(kObjects);
  std::atomic<std::size_t> next{0};
  Rounds(
      2, rounds,
      [&](int) {
        next = 0;
        for (Settled*& object : objects) {
          object = new Settled;
          xrcattach(object);
          xrcattach(object);
        }
      },
      [&](int, int) {
        for (std::size_t i = 0; i < kObjects; ++i) {
          MeetAt(next, i);
          isInside = true;
          {
            velReleaseScope scope;
            xrcrelease(objects[i]);
            isInside = false;
          }
        }
      });
  EXPECT_EQ(Settled::early, 0);
  EXPECT_EQ(Settled::destroyed, rounds * static_cast<int>(kObjects));
}

TEST(ThreadsStress, AHandleThatBecomesTheLastDestroysOnce) {
  const int rounds = velShortOrLong(300, 5000);
  constexpr std::size_t kObjects = 200;
  std::array<std::array<xrchandle<Settled>, kObjects>, 2> handles;
  std::atomic<std::size_t> next{0};
  Settled::destroyed = 0;
  Rounds(
      2, rounds,
      [&](int) {
        next = 0;
        for (std::size_t i = 0; i < kObjects; ++i) {
          handles[0][i] = handles[1][i] = xrchandle<Settled>(new Settled);
        }
      },
      [&](int number, int) {
        for (std::size_t i = 0; i < kObjects; ++i) {
          MeetAt(next, i);
          handles[static_cast<std::size_t>(number)][i] = nullptr;
        }
      });
  EXPECT_EQ(Settled::early, 0);
  EXPECT_EQ(Settled::destroyed, rounds * static_cast<int>(kObjects));
}

TEST(ThreadsStress, AThreadThatEndsInsideAScopeCarriesItsReleasesOut) {
  std::atomic<int> destroyed{0};
  for (int round = 0; round < 50; ++round) {
    pthread_t thread;
    auto* object = new Shared(&destroyed);
    xrcattach(object);
    ASSERT_EQ(pthread_create(
                  &thread, nullptr,
                  [](void* data) -> void* {
                    velReleaseScope scope;
                    xrcrelease(static_cast<Shared*>(data));
                    pthread_exit(nullptr);
                  },
                  object),
              0);
    pthread_join(thread, nullptr);
    EXPECT_EQ(destroyed, 2 * round + 1);
    // The next thread may get the same place for its own state.
    std::thread([&] { const xrchandle<Shared> own(new Shared(&destroyed)); }).join();
    EXPECT_EQ(destroyed, 2 * round + 2);
  }
}

TEST(ThreadsStress, ObjectsGoFromThreadToThreadToTheirLastRelease) {
  const int objects = velShortOrLong(2000, 200000);
  std::atomic<int> destroyed{0};
  // Each takes what the one before it left and leaves it to the next.
  std::vector<std::atomic<Shared*>> places(kThreads);
  for (auto& place : places) place = nullptr;
  std::atomic<bool> done{false};
  std::vector<std::thread> threads;
  for (int i = 0; i < kThreads; ++i) {
    threads.emplace_back([&, i] {
      auto& from = places[static_cast<std::size_t>(i)];
      while (!done) {
        Shared* taken = from.exchange(nullptr);
        if (!taken) {
          std::this_thread::yield();
          continue;
        }
        const xrchandle<Shared> held(taken);
        xrcrelease(taken);
        if (i + 1 == kThreads) continue;
        xrcattach(taken);
        Shared* lost = places[static_cast<std::size_t>(i) + 1].exchange(taken);
        xrcrelease(lost);
      }
    });
  }
  for (int i = 0; i < objects; ++i) {
    auto* made = new Shared(&destroyed);
    xrcattach(made);
    xrcrelease(places[0].exchange(made));
    std::this_thread::yield();  // now and then one gets on its way
  }
  while (destroyed < objects) std::this_thread::yield();
  done = true;
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(destroyed, objects);
}

// ---- from one thread to several ----

// Ends the process with 0 if the counts are right after a second thread came.
[[noreturn]] void HandOver() {
  alarm(120);
  constexpr int kReferences = 100000;
  if (!korIsSingleThreaded()) _exit(2);
  std::atomic<int> destroyed{0};
  auto* object = new Shared(&destroyed);
  for (int i = 0; i < 2 * kReferences; ++i) xrcattach(object);
  const xstring text("a text that many share");
  std::vector<xstring> copies(kReferences, text);
  if (!korIsSingleThreaded()) _exit(3);
  std::thread second([&] {
    if (korIsSingleThreaded()) _exit(4);
    if (xrcgetcount(object) < kReferences) _exit(5);
    for (int i = 0; i < kReferences; ++i) xrcrelease(object);
    for (int i = 0; i < kReferences; ++i) const xstring more(text);
  });
  for (int i = 0; i < kReferences - 1; ++i) xrcrelease(object);
  copies.clear();
  second.join();
  if (xrcgetcount(object) != 1 || destroyed != 0) _exit(6);
  xrcrelease(object);
  if (destroyed != 1) _exit(7);
  _exit(0);
}

TEST(ThreadsStressDeathTest, PlainCountsAreRightWhenASecondThreadComes) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_EXIT(HandOver(), ::testing::ExitedWithCode(0), "");
}

// ---- descriptors ----

template <int N>
class Touched : public virtual xobject {
 public:
  static xrttiobject* getClassRtti() {
    static velClassRtti descriptor;
    return descriptor.get<xrttistruct>([](xrttistruct* rtti) {
      ++made;
      static xrttiattr self("self", getClassRtti(), 1, nullptr);
      static xrttiattr next("next", Touched<(N + 1) % kTouched>::getClassRtti(), 1, nullptr);
      static xrttiattr* const attrs[] = {&self, &next};
      rtti->initializeRttiStruct(name().c_str(), 1, 0, nullptr, 2, attrs);
    });
  }
  static std::string name() { return "threads_stress_test::Touched" + std::to_string(N); }
  void* dyndowncast(const xrttiobject* target) override {
    return velDyndowncast<Touched>(this, target);
  }
  static std::atomic<int> made;
  static constexpr int kTouched = 4;

 private:
  xrttiobject* giveRtti() override { return getClassRtti(); }
};
template <int N>
std::atomic<int> Touched<N>::made{0};

template <int N>
bool IsWhole(xrttiobject* type) {
  auto* own = dynamic_cast<xrttistruct*>(type);
  return own->getName() == Touched<N>::name().c_str() && own->getNAttrs() == 2 &&
         own->getAttr(0)->getType() == own &&
         own->getAttr(1)->getType() == Touched<(N + 1) % 4>::getClassRtti() &&
         velRttiGetFromMap(Touched<N>::name().c_str()) == type;
}

// The first use of four classes that refer round to each other, in this process.
[[noreturn]] void TouchFirst(bool switchOff) {
  alarm(120);
  if (switchOff) {
    // Too late for a mutex that has been locked: it goes on as it began.
    Shared::getClassRtti();
    korSetThreading(false);
  }
  std::atomic<int> wrong{0};
  Together(kThreads, [&](int number) {
    if (switchOff) korSetThreading(number % 2 != 0);
    switch (number % 4) {
      case 0:
        if (!IsWhole<0>(Touched<0>::getClassRtti())) ++wrong;
        break;
      case 1:
        if (!IsWhole<1>(xrchandle<Touched<1>>(new Touched<1>)->getRtti())) ++wrong;
        break;
      case 2:
        if (!IsWhole<2>(Touched<2>::getClassRtti())) ++wrong;
        break;
      default: {
        const xrchandle<Touched<3>> object(new Touched<3>);
        if (xrcgetcount(object) != 1 || !IsWhole<3>(object->getRtti())) ++wrong;
        break;
      }
    }
  });
  const bool once = Touched<0>::made == 1 && Touched<1>::made == 1 && Touched<2>::made == 1 &&
                    Touched<3>::made == 1;
  _exit(once && wrong == 0 ? 0 : 1);
}

TEST(ThreadsStressDeathTest, FirstTouchInFreshProcesses) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  const int processes = velShortOrLong(10, 200);
  for (int i = 0; i < processes; ++i) {
    EXPECT_EXIT(TouchFirst(false), ::testing::ExitedWithCode(0), "") << i;
  }
  velFigure("threads", "fresh processes with a first touch from 8 threads", processes);
}

TEST(ThreadsStressDeathTest, ThreadingSwitchedOffAfterTheFirstLockChangesNothing) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  for (int i = 0; i < 3; ++i) {
    EXPECT_EXIT(TouchFirst(true), ::testing::ExitedWithCode(0), "") << i;
  }
}

// ---- text ----

TEST(ThreadsStress, CopiesOfOneTextGetOneOtherForm) {
  const int rounds = velShortOrLong(300, 5000);
  const std::string narrow(1000, 'x');
  std::vector<wchar_t> wide(1001, L'x');
  wide.back() = 0;
  std::unique_ptr<xstring> first;
  std::unique_ptr<xstring> second;
  std::vector<const wchar_t*> wides(kThreads);
  std::vector<const char*> narrows(kThreads);
  std::atomic<int> wrong{0};
  const auto check = [&] {
    for (int i = 1; i < kThreads; ++i) {
      const auto at = static_cast<std::size_t>(i);
      if (wides[at] != wides[0] || narrows[at] != narrows[0]) ++wrong;
    }
  };
  Rounds(
      kThreads, rounds,
      [&](int round) {
        if (round > 0) check();
        first = std::make_unique<xstring>(narrow.c_str());
        second = std::make_unique<xstring>(wide.data());
      },
      [&](int number, int) {
        const xstring mine(*first);
        const xstring other(*second);
        const auto at = static_cast<std::size_t>(number);
        wides[at] = mine.CastToCWString();
        narrows[at] = other.CastToCString();
        if (!std::equal(wide.begin(), wide.end(), wides[at]) || narrow != narrows[at]) ++wrong;
      });
  check();
  EXPECT_EQ(wrong, 0);
  velFigure("threads", "texts converted by 8 threads at once", 2 * rounds);
}

TEST(ThreadsStress, AnEditOfACopyIsSeenByNobodyElse) {
  const int rounds = velShortOrLong(300, 5000);
  std::unique_ptr<xstring> shared;
  std::atomic<int> wrong{0};
  Rounds(
      kThreads, rounds, [&](int) { shared = std::make_unique<xstring>("one text"); },
      [&](int number, int) {
        xstring mine(*shared);
        if (number % 2 == 0) {
          mine += std::to_string(number).c_str();
          if (std::string("one text") + std::to_string(number) != mine.CastToCString()) ++wrong;
        } else {
          mine.CastToCWString();
        }
        if (std::string("one text") != xstring(*shared).CastToCString()) ++wrong;
      });
  EXPECT_EQ(wrong, 0);
}

// ---- values ----

TEST(ThreadsStress, CopiesOfOneValueHoldTheSame) {
  const int copies = velShortOrLong(2000, 50000);
  std::atomic<int> destroyed{0};
  {
    const xany values[] = {xany(5),       xany(true),
                           xany(2.5),     xany("many words"),
                           xany(L"wide"), xany(new Shared(&destroyed)),
                           xany(nullptr)};
    std::atomic<int> wrong{0};
    Together(kThreads, [&](int) {
      xany last;
      for (int i = 0; i < copies; ++i) {
        for (const xany& value : values) {
          xany mine(value);
          // Comparing may convert a text in place, so the shared one is only copied.
          if (!(mine == xany(value))) ++wrong;
          last = mine;
          xany moved(std::move(mine));
          if (!(moved == last)) ++wrong;
        }
      }
    });
    EXPECT_EQ(wrong, 0);
    EXPECT_EQ(destroyed, 0);
  }
  EXPECT_EQ(destroyed, 1);
}

// A tree of all kinds that nobody changes.
xany Tree(int depth) {
  const auto sequence = xanysequence::create();
  const auto dictionary = xanydictionary::create();
  const auto numbers = xintsequence::create();
  const auto texts = xstringdictionary::create();
  for (int i = 0; i < 5; ++i) {
    numbers->append(i * depth);
    texts->set(("key" + std::to_string(i)).c_str(), xstring(L"wide text"));
  }
  dictionary->set("numbers", xany(numbers));
  dictionary->set("texts", xany(texts));
  dictionary->set("type", xany(Shared::getClassRtti()));
  if (depth > 0) dictionary->set("tree", Tree(depth - 1));
  sequence->append(xany(dictionary));
  sequence->append(xany("narrow"));
  sequence->append(xany(L"wide"));
  sequence->append(xany(1.5));
  sequence->append(xany(numbers));
  if (depth > 0) sequence->append(Tree(depth - 1));
  return xany(sequence);
}

TEST(ThreadsStress, OneTreeIsWalkedPrintedAndComparedByAll) {
  const int rounds = velShortOrLong(3, 50);
  const xany tree = Tree(3);
  const std::string printed = velPrinted(Tree(3));
  LogTraverser reference;
  velTraverse(Tree(3), &reference);
  std::atomic<int> wrong{0};
  Together(kThreads, [&](int number) {
    for (int i = 0; i < rounds; ++i) {
      if (velPrinted(tree) != printed) ++wrong;
      LogTraverser log;
      velTraverse(tree, &log);
      if (log.text() != reference.text()) ++wrong;
      if (velCompare(tree, number % 2 == 0 ? tree : Tree(3)) != 1) ++wrong;
    }
  });
  EXPECT_EQ(wrong, 0);
}

// ---- the registry ----

TEST(ThreadsStress, TheRegistryIsReadWhileItGrows) {
  const int types = velShortOrLong(300, 3000);
  std::atomic<int> writers{2};
  std::atomic<int> wrong{0};
  const auto nameOf = [](int writer, int i) {
    return "threads_stress_test::Grown" + std::to_string(writer) + '.' + std::to_string(i);
  };
  Together(kThreads, [&](int number) {
    if (number < 2) {
      for (int i = 0; i < types; ++i) {
        auto* rtti = new xrttiobject;
        rtti->initializeRttiObject(nameOf(number, i).c_str(), 1, 0, nullptr);
        velRttiAddToMap(rtti);
        if (velRttiGetFromMap(rtti->getName()) != rtti) ++wrong;
      }
      --writers;
      return;
    }
    struct Seen {
      int types = 0;
      int nameless = 0;
    };
    int before = 0;
    while (writers > 0) {
      if (velRttiGetFromMap("intseq") != xintsequence::getClassRtti()) ++wrong;
      velRttiGetFromMap(nameOf(0, types - 1).c_str());
      Seen seen;
      velRttiForEach(
          [](xrtti* type, void* data) {
            auto* found = static_cast<Seen*>(data);
            ++found->types;
            if (type->getName().GetLength() == 0) ++found->nameless;
            return true;
          },
          &seen);
      if (seen.types < before || seen.nameless > 0) ++wrong;
      before = seen.types;
    }
  });
  EXPECT_EQ(wrong, 0);
  for (int i = 0; i < types; ++i) {
    EXPECT_NE(velRttiGetFromMap(nameOf(1, i).c_str()), nullptr);
  }
}

// While its descriptor is made, another thread uses all that needs no descriptor.
class Awaited : public virtual xobject {
  VEL_OBJECT(Awaited)
 public:
  static std::atomic<bool> begun;
  static std::atomic<bool> otherIsThrough;
};
std::atomic<bool> Awaited::begun{false};
std::atomic<bool> Awaited::otherIsThrough{false};
VEL_OBJECT_RTTI(Awaited, xrttiobject, [](xrttiobject* rtti) {
  Awaited::begun = true;
  while (!Awaited::otherIsThrough) std::this_thread::yield();
  rtti->initializeRttiObject("threads_stress_test::Awaited", 1, 0, nullptr);
})

TEST(ThreadsStressDeathTest, TheMakingOfADescriptorHoldsNobodyUp) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_EXIT(
      {
        alarm(120);
        Shared::getClassRtti();
        std::thread other([] {
          while (!Awaited::begun) std::this_thread::yield();
          const xrchandle<Shared> counted(new Shared);
          const std::string printed = velPrinted(Tree(1));
          auto* rtti = new xrttiobject;
          rtti->initializeRttiObject("threads_stress_test::Meanwhile", 1, 0, nullptr);
          velRttiAddToMap(rtti);
          int types = 0;
          velRttiForEach(
              [](xrtti*, void* data) {
                ++*static_cast<int*>(data);
                return true;
              },
              &types);
          velCaught([] { xintsequence::create()->get(1); });
          if (printed.empty() || types < 50) _exit(2);
          if (velRttiGetFromMap("threads_stress_test::Awaited")) _exit(3);
          Awaited::otherIsThrough = true;
        });
        const xrchandle<Awaited> object(new Awaited);
        other.join();
        _exit(xrcgetcount(object) == 1 ? 0 : 1);
      },
      ::testing::ExitedWithCode(0), "");
}

// ---- the C interface ----

// Counts those that exist.
class Parked : public velXException {
  VEL_OBJECT(Parked)
 public:
  Parked() : velXException("parked") { ++alive; }
  ~Parked() override { --alive; }
  static std::atomic<int> alive;
};
std::atomic<int> Parked::alive{0};
VEL_OBJECT_RTTI(Parked, xrttistruct, [](xrttistruct* rtti) {
  static xrttiobject* parents[] = {velXException::getClassRtti()};
  rtti->initializeRttiStruct("threads_stress_test::Parked", 1, 1, parents, 0, nullptr);
})

TEST(ThreadsStress, ThePendingExceptionIsNeverFreedTwice) {
  const int rounds = velShortOrLong(20000, 1000000);
  Together(4, [&](int number) {
    for (int i = 0; i < rounds; ++i) {
      switch ((i + number) % 4) {
        case 0: {
          auto* made = new Parked;
          xrcattach(made);
          xsetexc_c(made);
          xrcrelease(made);
          break;
        }
        case 1:
          xrcrelease(xgetexc_c());
          break;
        case 2:
          xrcrelease(xextractexc_c());
          break;
        default:
          xcleanupexc_c();
          break;
      }
    }
  });
  xcleanupexc_c();
  EXPECT_FALSE(xisexc_c());
  EXPECT_EQ(Parked::alive, 0);
}

TEST(ThreadsStress, CollectionsOfEachThreadsOwnThroughTheCInterface) {
  const int rounds = velShortOrLong(500, 20000);
  std::atomic<int> wrong{0};
  Together(kThreads, [&](int number) {
    for (int i = 0; i < rounds; ++i) {
      xintsequence* numbers = xintsequence_create();
      xanysequence* values = xanysequence_create();
      xintdictionary* named = xintdictionary_create();
      for (int n = 0; n < 10; ++n) {
        xintsequence_set(numbers, n, n * number);
        xanysequence_set(values, n, xanyint_c(n));
        xintdictionary_set(named, std::to_string(n).c_str(), n + number);
      }
      int found = 0;
      if (xintsequence_get(numbers, 9) != 9 * number) ++wrong;
      if (!xintdictionary_find(named, "7", &found) || found != 7 + number) ++wrong;
      if (xanysequence_getarraysize(values) != 10) ++wrong;
      xrcrelease_c(named);
      xrcrelease_c(values);
      xrcrelease_c(numbers);
    }
  });
  EXPECT_EQ(wrong, 0);
  EXPECT_FALSE(xisexc_c());
}

}  // namespace
