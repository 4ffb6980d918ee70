// Attach and release in line: which objects get there, and which never do.
#include "velcounting.h"

#include <cstdint>
#include <cstring>
#include <memory>
#include <thread>
#include <utility>

#include "veltest.h"

namespace {

// Nothing of its own about being counted; a test may spoil the count.
class Usual : public virtual xobject {
  VEL_OBJECT(Usual)
 public:
  void force(int count) { refcount = count; }
};
VEL_OBJECT_RTTI(Usual, xrttiobject, [](xrttiobject* rtti) {
  rtti->initializeRttiObject("velcounting::Usual", 1, 0, nullptr);
})

struct Seen {
  int attached = 0;
  int released = 0;
};

// Watches what happens to its count, in one way or in both.
class SeesAttach : public Usual {
 public:
  explicit SeesAttach(Seen* s) : seen(s) {}

 private:
  void xattach() override {
    ++seen->attached;
    force(xrcgetcount(this) + 1);
  }
  Seen* seen;
};

class SeesRelease : public Usual {
 public:
  explicit SeesRelease(Seen* s) : seen(s) {}

 private:
  void xrelease() override {
    ++seen->released;
    const int count = xrcgetcount(this);
    if (count == 1) {
      delete this;
    } else {
      force(count - 1);
    }
  }
  Seen* seen;
};

// Each copy of a handle or variant that holds `object`, and its end.
template <class C>
int CopiesOf(const xrchandle<C>& object) {
  const xrcunihandle<C> uni(object);
  const xany value(object);
  {
    const xrchandle<C> a(object);
    xrchandle<C> b;
    b = a;
    const xrcunihandle<C> c(uni);
    xrcunihandle<C> d;
    d = c;
    const xany e(value);
    xany f;
    f = e;
  }
  return 8;
}

TEST(Counting, AnOverrideOfXattachSeesEachReference) {
  Seen seen;
  const xrchandle<SeesAttach> object(new SeesAttach(&seen));
  EXPECT_EQ(CopiesOf(object) + 1, seen.attached);
  EXPECT_EQ(xrcgetcount(object.operator->()), 1);
}

TEST(Counting, AnOverrideOfXreleaseSeesEachReference) {
  Seen seen;
  {
    const xrchandle<SeesRelease> object(new SeesRelease(&seen));
    EXPECT_EQ(CopiesOf(object), seen.released);
    EXPECT_EQ(xrcgetcount(object.operator->()), 1);
  }
  EXPECT_EQ(seen.released, 9);
}

TEST(Counting, CountsOfUsualClassesAreRight) {
  const xrchandle<Usual> object(new Usual);
  CopiesOf(object);
  EXPECT_EQ(xrcgetcount(object.operator->()), 1);
  std::thread([&] { CopiesOf(object); }).join();
  EXPECT_EQ(xrcgetcount(object.operator->()), 1);
}

// What is behind the count: 0 as long as attach and release are to be looked up.
std::uint32_t MarkOf(const xobject& object) {
  std::uint32_t mark;
  std::memcpy(&mark, reinterpret_cast<const char*>(&object) + 12, sizeof mark);
  return mark;
}

TEST(Counting, ObjectsOfUsualClassesAreMarkedOnceTheyAreHeld) {
  const auto* const fresh = new Usual;
  EXPECT_EQ(MarkOf(*fresh), 0U);
  delete fresh;
  const xrchandle<Usual> held(new Usual);
  EXPECT_NE(MarkOf(*held), 0U);
  auto* const attached = new Usual;
  xrcattach(attached);
  EXPECT_EQ(MarkOf(*attached), MarkOf(*held));
  xrcrelease(attached);
  Seen seen;
  EXPECT_EQ(MarkOf(*xrchandle<SeesAttach>(new SeesAttach(&seen))), 0U);
  EXPECT_EQ(MarkOf(*xrchandle<SeesRelease>(new SeesRelease(&seen))), 0U);
}

// At 0 it is released and attached, as any other would be.
TEST(Counting, AnOverrideSeesItsObjectAssignedToItsOwnHandle) {
  Seen seen;
  {
    auto* const object = new SeesRelease(&seen);
    xrchandle<SeesRelease> handle(object);
    object->force(0);
    handle = object;
    EXPECT_EQ(seen.released, 1);
    object->force(1);
  }
  EXPECT_EQ(seen.released, 2);
}

// Holds itself from its constructor on, when its class is still the base.
class HeldEarly : public Usual {
 public:
  HeldEarly() : self(this) { const xrchandle<HeldEarly> again(this); }
  void letGo() { const xrchandle<HeldEarly> last(std::move(self)); }

 private:
  xrchandle<HeldEarly> self;
};

class HeldEarlyButWatched : public HeldEarly {
 public:
  explicit HeldEarlyButWatched(Seen* s) : seen(s) {}

 private:
  void xattach() override {
    ++seen->attached;
    force(xrcgetcount(this) + 1);
  }
  Seen* seen;
};

TEST(Counting, WhatABaseWasAllowedUnderConstructionDoesNotBindTheWholeClass) {
  Seen seen;
  auto* made = new HeldEarlyButWatched(&seen);
  EXPECT_EQ(xrcgetcount(made), 1);
  EXPECT_EQ(seen.attached, 0);
  {
    const xrchandle<HeldEarlyButWatched> copy(made);
    EXPECT_EQ(seen.attached, 1);
    EXPECT_EQ(xrcgetcount(made), 2);
  }
  made->letGo();
}

// Takes references on itself while it is destroyed as one of its bases.
class LooksBack : public Usual {
 public:
  explicit LooksBack(int* s) : seen(s) {}
  ~LooksBack() override {
    const xrchandle<LooksBack> a(this);
    const xrchandle<LooksBack> b(a);
    *seen = xrcgetcount(this);
  }

 private:
  int* seen;
};
class LooksBackDerived : public LooksBack {
 public:
  using LooksBack::LooksBack;
};

TEST(Counting, ADestructorMayHoldItsObject) {
  int seen = 0;
  { const xrchandle<LooksBackDerived> object(new LooksBackDerived(&seen)); }
  EXPECT_EQ(seen, 3);
}

class NotCounted : public virtual xobject {
  VEL_OBJECT(NotCounted)
};
VEL_OBJECT_RTTI(NotCounted, xrttiobject, [](xrttiobject* rtti) {
  rtti->initializeRttiObject("velcounting::NotCounted", 0, 0, nullptr);
})

TEST(Counting, HandlesKnowObjectsThatAreNotCounted) {
  const auto object = std::make_unique<NotCounted>();
  const xrcunihandle<NotCounted> uni(object.get());
  const xrcunihandle<NotCounted> copy(uni);
  const xany value(static_cast<xobject*>(object.get()));
  EXPECT_EQ(xrcgetcount(object.get()), -1);
}

TEST(CountingDeathTest, CorruptCountsAreFoundBehindTheMark) {
  const auto held = [](int count) {
    auto* object = new Usual;
    const auto handle = std::make_unique<xrchandle<Usual>>(object);
    object->force(count);
    const xrchandle<Usual> copy(*handle);
  };
  EXPECT_VEL_ABORT(held(-2), "xrcattach: Invalid value of refcount.", "velstd/services/xobject",
                   505);
  const auto dropped = [](int count) {
    auto* object = new Usual;
    xrchandle<Usual> handle(object);
    object->force(count);
    handle = xrchandle<Usual>();
  };
  EXPECT_VEL_ABORT(dropped(-2), "xrcrelease: Invalid value of refcount.",
                   "velstd/services/xobject", 591);
}

}  // namespace
