// What a C function does when code of the user's fails under it, what the
// pending-exception record owns, and how an object is found behind any of its
// addresses.
#include <pthread.h>

#include <cstdint>
#include <cstring>
#include <functional>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "velstd_c.h"
#include "veltest.h"
#include "veltest_memory.h"

namespace {

// ---- what user code throws ----------------------------------------------------

enum class Fault { kNone, kFramework, kStandard, kMemory, kNumber, kExit };

void Raise(Fault fault) {
  switch (fault) {
    case Fault::kNone:
      return;
    case Fault::kFramework:
      velXNegativeIndex::Throw(-7);
    case Fault::kStandard:
      throw std::runtime_error("standard trouble");
    case Fault::kMemory:
      throw std::bad_alloc();
    case Fault::kNumber:
      throw 42;
    case Fault::kExit:
      pthread_exit(nullptr);
  }
}

struct Case {
  Fault fault;
  const char* parked;
};
const Case kCases[] = {
    {Fault::kFramework, "vellib::XNegativeIndex"},
    {Fault::kStandard, "vellib::XNativeException standard trouble"},
    {Fault::kMemory, "vellib::XNativeException Out of memory"},
    {Fault::kNumber, "vellib::XNativeException Unknown exception"},
};

// The type of the pending exception, which is taken away, and its text if it is
// a native one.
std::string Parked() {
  xthrowable* const caught = xextractexc_c();
  if (!caught) return "nothing";
  std::string text = caught->getVelTypeName().CastToCString();
  std::string detail;
  if (auto* native = dynamic_cast<velXNativeException*>(caught)) {
    detail = native->getStringRep().CastToCString();
  }
  // The library keeps the one for lack of memory, which needs none.
  EXPECT_EQ(xrcgetcount(caught), detail == "Out of memory" ? 2 : 1) << text;
  xrcrelease_c(caught);
  return detail.empty() ? text : text + ' ' + detail;
}

std::string Text(__xstring_c view) {
  const xstring text(view, false);
  return text.IsNull() ? "null" : text.CastToCString();
}

// An object that fails where it is told to.
class Rude : public VelLogObject {
 public:
  static Fault inRtti;
  static Fault inAttach;
  static int attachesLeft;  // that succeed before one fails

 private:
  xrttiobject* giveRtti() override {
    Raise(inRtti);
    return VelLogObject::getClassRtti();
  }
  void xattach() override {
    if (inAttach != Fault::kNone && attachesLeft-- == 0) Raise(inAttach);
    ++refcount;
  }
};
Fault Rude::inRtti = Fault::kNone;
Fault Rude::inAttach = Fault::kNone;
int Rude::attachesLeft = 0;

// While it lives, rude objects fail.
struct RudeTimes {
  RudeTimes(Fault rtti, Fault attach, int good = 0) {
    Rude::inRtti = rtti;
    Rude::inAttach = attach;
    Rude::attachesLeft = good;
  }
  ~RudeTimes() { Rude::inRtti = Rude::inAttach = Fault::kNone; }
};

TEST(CGuard, ParksWhatAVisitorThrows) {
  for (Case c : kCases) {
    xrttiforeach_c([](xrtti*, void* given) { return Raise(*static_cast<Fault*>(given)), 1; },
                   &c.fault);
    EXPECT_EQ(Parked(), c.parked);
  }
}

TEST(CGuard, ParksWhatGiveRttiThrowsAndReturnsTheErrorValue) {
  xrttiobject* const type = velGetRtti_object();
  for (const Case& c : kCases) {
    const xrchandle<Rude> rude(new Rude);
    const RudeTimes times(c.fault, Fault::kNone);
    const std::function<void()> calls[] = {
        [&] { EXPECT_EQ(xisrcobj_c(rude), 0); },
        [&] { xdelete_c(rude); },
        [&] { EXPECT_EQ(xgetrtti_c(rude), nullptr); },
        [&] { EXPECT_EQ(Text(xgettypename_c(rude)), ""); },
        [&] { EXPECT_EQ(xisobjsameas_c(rude, type), 0); },
        [&] { EXPECT_EQ(xisobjkindof_c(rude, type), 0); },
        [&] { EXPECT_EQ(xobjgetattr_c(rude, "Name").kind, xanyUninit); },
        [&] { EXPECT_EQ(xobjsetattr_c(rude, "Name", nullptr), 129); },
    };
    for (std::size_t i = 0; i + 1 < std::size(calls); ++i) {
      calls[i]();
      EXPECT_EQ(Parked(), c.parked) << i;
      EXPECT_EQ(xrcgetcount(rude.operator->()), 1) << i;
    }
    calls[std::size(calls) - 1]();
    EXPECT_EQ(Parked(), "vellib::XNull");
  }
}

TEST(CGuard, ParksWhatXattachThrowsWhereverAnObjectIsHandedOver) {
  for (const Case& c : kCases) {
    // 0: the first attach fails; later ones are those on the way out.
    for (int good = 0; good < 4; ++good) {
      const xrchandle<Rude> rude(new Rude);
      const xrchandle<xanysequence> seq = xanysequence::create();
      const xrchandle<xanydictionary> dict = xanydictionary::create();
      seq->append(xany(rude));
      dict->set("key", xany(rude));
      __xany_c source = xanyobj_c(rude);
      const int held = xrcgetcount(rude.operator->());
      __xany_c got = {xanyInt, {0}};
      const std::function<void()> calls[] = {
          [&] {
            xrcattach_c(rude);
            if (!xisexc_c()) xrcrelease_c(rude);
          },
          [&] { got = xanyobj_c(rude); },
          [&] { got = xanycopy_c(&source); },
          [&] { xrcrelease_c(xanytoobj_c(&source)); },
          [&] { got = xanysequence_get(seq, 0); },
          [&] { xanysequence_set(seq, 0, source); },
          [&] {
            const unsigned char answer = xanydictionary_find(dict, "key", &got);
            EXPECT_EQ(answer, xisexc_c() ? 129 : 1);
          },
          [&] { xanydictionary_set(dict, "key", source); },
          [&] { xcompare_c(&source, &source); },
      };
      int i = 0;
      for (const auto& call : calls) {
        got = {xanyInt, {0}};
        {
          const RudeTimes times(Fault::kNone, c.fault, good);
          call();
        }
        if (got.kind == xanyUninit || xisexc_c()) {
          EXPECT_EQ(Parked(), c.parked) << i << ' ' << good;
        } else if (got.kind == xanyObject) {
          xanyunlock_c(&got);
        }
        EXPECT_EQ(seq->getarraysize(), 1) << i << ' ' << good;
        EXPECT_EQ(xrcgetcount(rude.operator->()), held) << i << ' ' << good;
        ++i;
      }
      xanyunlock_c(&source);
    }
  }
}

TEST(CGuard, ParksOutOfMemoryWhicheverAllocationFails) {
  const xrchandle<xstringsequence> seq = xstringsequence::create();
  const xrchandle<xintdictionary> dict = xintdictionary::create();
  const xany pair(seq);
  const __xany_c record = pair.getxany_c();
  const std::function<void()> calls[] = {
      [&] { xrcrelease_c(xintsequence_create()); },
      [&] { xrcrelease_c(xintdictionary_create()); },
      [&] { xintsequence_get(nullptr, 0); },
      [&] { Text(xstringsequence_get(seq, 5)); },
      [&] { xintdictionary_find(dict, nullptr, nullptr); },
      [&] { xrcrelease_c(xobjcreate_c("vellib::XFunc")); },
      [&] { xobjgetattr_c(seq, "none"); },
      [&] { Text(xprintstr_c(&record, -1)); },
      [&] { xrttiforeach_c([](xrtti*, void*) { return 1; }, nullptr); },
  };
  std::size_t i = 0;
  for (const auto& call : calls) {
    call();  // what is made once is made now
    const std::string usual = Parked();
    const long blocks = velLiveBlocks();
    bool reached = true;
    for (long nth = 1; reached; ++nth) {
      {
        const VelFailAllocation failing(nth);
        call();
        reached = failing.hasFailed();
      }
      EXPECT_THAT(Parked(), testing::AnyOf(usual, "vellib::XNativeException Out of memory")) << i;
      const long left = velLiveBlocks();
      EXPECT_EQ(left, blocks) << i << ' ' << nth;
    }
    ++i;
  }
  xrcrelease_c(record.u.o);
}

TEST(CGuard, AThreadThatEndsInsideGoesOnEnding) {
  const xrchandle<VelLogObject> held(new VelLogObject);
  static bool returned;
  returned = false;
  pthread_t thread;
  ASSERT_EQ(pthread_create(
                &thread, nullptr,
                [](void*) -> void* {
                  xrttiforeach_c([](xrtti*, void*) { return pthread_exit(nullptr), 1; }, nullptr);
                  returned = true;
                  return nullptr;
                },
                nullptr),
            0);
  pthread_join(thread, nullptr);
  EXPECT_FALSE(returned);
  EXPECT_EQ(Parked(), "nothing");
}

TEST(CGuard, AThreadThatEndsInsideGivesItsReferencesBack) {
  const xrchandle<Rude> rude(new Rude);
  const xrchandle<xanysequence> seq = xanysequence::create();
  seq->append(xany(rude));
  {
    const RudeTimes times(Fault::kNone, Fault::kExit);
    pthread_t thread;
    ASSERT_EQ(pthread_create(
                  &thread, nullptr,
                  [](void* given) -> void* {
                    __xany_c got = xanysequence_get(static_cast<xanysequence*>(given), 0);
                    xanyunlock_c(&got);
                    return given;
                  },
                  seq.operator->()),
              0);
    void* result = nullptr;
    pthread_join(thread, &result);
    EXPECT_EQ(result, nullptr);
  }
  EXPECT_EQ(xrcgetcount(seq.operator->()), 1);
  EXPECT_EQ(xrcgetcount(rude.operator->()), 2);
  EXPECT_EQ(Parked(), "nothing");
}

// ---- the record ----------------------------------------------------------------

TEST(CRecord, OwnsTheOnlyReferenceOnWhatAFunctionParked) {
  xintsequence* const seq = xintsequence_create();
  EXPECT_EQ(xrcgetcount(seq), 1);
  EXPECT_EQ(xintsequence_get(seq, 99), -2147483647);
  EXPECT_EQ(xrcgetcount(seq), 2);  // the exception is about it
  xthrowable* const caught = xextractexc_c();
  EXPECT_EQ(xrcgetcount(caught), 1);
  xrcrelease_c(caught);
  EXPECT_EQ(xrcgetcount(seq), 1);
  xrcrelease_c(seq);
}

TEST(CRecord, ACollectionLivesUntilItsExceptionIsCleared) {
  xanysequence* const seq = xanysequence_create();
  __xany_c value = xanyobj_c(new VelLogObject);
  const int alive = VelLogObject::alive();
  xanysequence_set(seq, 0, value);
  xanyunlock_c(&value);
  xanysequence_get(seq, 9);
  xrcrelease_c(seq);
  EXPECT_EQ(VelLogObject::alive(), alive);
  xcleanupexc_c();
  EXPECT_EQ(VelLogObject::alive(), alive - 1);
}

// The record holds the uninitialised address.
void HoldUninit() { xsetexc_c(static_cast<xthrowable*>(static_cast<void*>(xuninitobject))); }

TEST(CRecord, ComplainsOfTheUninitialisedAddressAndIsEmptyThen) {
  HoldUninit();
  EXPECT_VEL_THROW(xcleanupexc_c(), velXNotInitialized);
  EXPECT_EQ(xisexc_c(), 0);
  HoldUninit();
  EXPECT_VEL_THROW(xsetexc_c(nullptr), velXNotInitialized);
  EXPECT_EQ(xisexc_c(), 0);
}

TEST(CRecord, LeavesAnExceptionAloneThatItDoesNotTake) {
  const xrchandle<velXException> held(new velXException("text"));
  auto* const fresh = new velXException("nobody's");
  HoldUninit();
  EXPECT_VEL_THROW(xsetexc_c(held), velXNotInitialized);
  HoldUninit();
  EXPECT_VEL_THROW(xsetexc_c(fresh), velXNotInitialized);
  EXPECT_EQ(xrcgetcount(held.operator->()), 1);
  EXPECT_EQ(xrcgetcount(fresh), 0);
  xsetexc_c(fresh);
  EXPECT_EQ(xrcgetcount(fresh), 1);
  xcleanupexc_c();
}

TEST(CRecord, CollectionFunctionsParkThatComplaintAndReturnTheErrorValue) {
  const std::function<void()> calls[] = {
      [] { EXPECT_EQ(xintsequence_get(xintsequence::create(), 0), -2147483647); },
      [] { EXPECT_EQ(xintsequence_getarraysize(xintsequence::create()), -2147483647); },
      [] { EXPECT_EQ(xboolsequence_get(xboolsequence::create(), 0), 129); },
      [] { EXPECT_EQ(xrealsequence_get(xrealsequence::create(), 0), 9e125); },
      [] { EXPECT_EQ(Text(xstringsequence_get(xstringsequence::create(), 0)), "uninit"); },
      [] { EXPECT_EQ(xanysequence_get(xanysequence::create(), 0).kind, xanyUninit); },
      [] { EXPECT_EQ(xintdictionary_find(xintdictionary::create(), "a", nullptr), 129); },
      [] { EXPECT_EQ(xintdictionary_count_c(xintdictionary::create()), -2147483647); },
      [] { EXPECT_EQ(xintdictionary_create(), nullptr); },
      [] { EXPECT_EQ(xintdictionary_getclassrtti_c(), nullptr); },
  };
  for (const auto& call : calls) {
    HoldUninit();
    call();
    EXPECT_EQ(Parked(), "vellib::XNotInitialized");
  }
}

TEST(CRecord, TheHeldExceptionMayBeSetAgain) {
  xintsequence_get(nullptr, 0);
  xthrowable* const only = xgetexc_c();
  xrcrelease_c(only);
  xsetexc_c(only);  // nobody but the record holds it
  EXPECT_EQ(Parked(), "vellib::XNull");
}

TEST(CRecord, EachGetGivesAReference) {
  xintsequence_get(nullptr, 0);
  xthrowable* const caught = xgetexc_c();
  EXPECT_EQ(xgetexc_c(), caught);
  EXPECT_EQ(xrcgetcount(caught), 3);
  xrcrelease_c(caught);
  xrcrelease_c(caught);
  EXPECT_EQ(Parked(), "vellib::XNull");
}

// An exception of a class that is not counted.
class Uncounted : public xthrowable {
 public:
  explicit Uncounted(int* destroyed) : destroyed_(destroyed) {}
  ~Uncounted() override { ++*destroyed_; }

 private:
  xrttiobject* giveRtti() override { return VelPlainObject::getClassRtti(); }
  int* destroyed_;
};

TEST(CRecord, FreesAnUncountedExceptionThatItClears) {
  int destroyed = 0;
  xsetexc_c(new Uncounted(&destroyed));
  xthrowable* const held = xgetexc_c();
  EXPECT_EQ(xrcgetcount(held), -1);
  xsetexc_c(new Uncounted(&destroyed));  // in place of the first
  EXPECT_EQ(destroyed, 1);
  xintsequence_getarraysize(xintsequence::create());
  EXPECT_EQ(destroyed, 2);
  auto* const taken = new Uncounted(&destroyed);
  xsetexc_c(taken);
  EXPECT_EQ(xextractexc_c(), taken);
  EXPECT_EQ(destroyed, 2);
  xdelete_c(taken);
  EXPECT_EQ(destroyed, 3);
}

// An exception that fails when it is asked for its type.
class RudeException : public velXException {
 public:
  RudeException() : velXException("rude") {}
  static bool rude;

 private:
  xrttiobject* giveRtti() override {
    if (rude) throw std::runtime_error("no type");
    return velXException::getClassRtti();
  }
};
bool RudeException::rude = false;

TEST(CRecord, ParksWhatIsThrownWhileItIsCleared) {
  const xrchandle<RudeException> held(new RudeException);
  const std::function<void()> clears[] = {
      [] { xcleanupexc_c(); },
      [] { xsetexc_c(nullptr); },
      [] { EXPECT_EQ(xintsequence_get(xintsequence::create(), 0), -2147483647); },
      [] { xrttiforeach_c([](xrtti*, void*) { return velXNull::Throw(), 1; }, nullptr); },
  };
  for (const auto& clear : clears) {
    xsetexc_c(held);
    RudeException::rude = true;
    clear();
    RudeException::rude = false;
    EXPECT_EQ(Parked(), "vellib::XNativeException no type");
    EXPECT_EQ(xrcgetcount(held.operator->()), 2);
    xrcrelease(held);  // the one that could not be given back
  }
}

// ---- objects that nobody holds ----------------------------------------------------

TEST(CObject, QueriesLeaveACountOfZeroAlone) {
  auto* const fresh = new VelLogObject;
  xrttiobject* const type = VelLogObject::getClassRtti();
  EXPECT_EQ(xisrcobj_c(fresh), 1);
  EXPECT_EQ(xgetrtti_c(fresh), type);
  EXPECT_EQ(Text(xgettypename_c(fresh)), "veltest::LogObject");
  EXPECT_EQ(xisobjsameas_c(fresh, type), 1);
  EXPECT_EQ(xisobjkindof_c(fresh, type), 1);
  xrcrelease_c(fresh);
  xdelete_c(fresh);
  EXPECT_EQ(xrcgetcount(fresh), 0);
  xrcattach_c(fresh);
  EXPECT_EQ(xrcgetcount(fresh), 1);
  xrcrelease_c(fresh);
}

TEST(CObject, QueriesTakeNoReferenceAtZero) {
  auto* const fresh = new Rude;
  {
    const RudeTimes times(Fault::kNone, Fault::kNumber);
    xisrcobj_c(fresh);
    xgetrtti_c(fresh);
    xisobjsameas_c(fresh, nullptr);
    xdelete_c(fresh);
    EXPECT_EQ(Parked(), "nothing");
    EXPECT_EQ(xrcgetcount(fresh), 0);
  }
  delete fresh;
}

TEST(CObject, DeletingAnUncountedObjectDestroysItIfItAgrees) {
  std::string log;
  auto* const stubborn = new VelPlainObject(&log, false);
  xdelete_c(stubborn);
  EXPECT_EQ(log, "");
  stubborn->setDeletable(true);
  xdelete_c(stubborn);
  EXPECT_EQ(log, "onDelete\ndestroyed\n");
}

TEST(CCollection, ACollectionThatNobodyHoldsSurvivesEveryCall) {
  class Numbers : public xintsequence {};
  class Names : public xintdictionary {};
  auto* const seq = new Numbers;
  auto* const dict = new Names;
  xintsequence_set(seq, 0, 7);
  xintsequence_insert(seq, 0, 8);
  xintsequence_insertseq(seq, 0, seq);
  xintsequence_removerange(seq, 0, 1);
  EXPECT_EQ(xintsequence_get(seq, 0), 7);
  EXPECT_EQ(xintsequence_getarraysize(seq), 3);
  xintdictionary_set(dict, "a", 1);
  xintdictionary_remove(dict, "b");
  EXPECT_EQ(xintdictionary_find(dict, "a", nullptr), 1);
  EXPECT_EQ(xintdictionary_count_c(dict), 1);
  EXPECT_EQ(xrcgetcount(seq), 0);
  EXPECT_EQ(xrcgetcount(dict), 0);
  delete seq;
  delete dict;
}

TEST(CCollection, MembersAreCalledThroughTheTable) {
  class Doubling : public xintsequence {
   public:
    int get(int index) override { return index == -5 ? 5 : 2 * xintsequence::get(index); }
  };
  const xrchandle<xintsequence> seq(new Doubling);
  xintsequence_set(seq, 0, 21);
  EXPECT_EQ(xintsequence_get(seq, 0), 42);
  EXPECT_EQ(xintsequence_get(seq, -5), 5);
  EXPECT_FALSE(xisexc_c());
}

// A class that is met again and again is recognised by its table: one that derives
// from it has another.
TEST(CCollection, AClassIsToldFromItsBaseInAnyOrder) {
  class Doubling : public xintsequence {
   public:
    int getarraysize() override { return 99; }
    int get(int index) override { return 2 * xintsequence::get(index); }
  };
  class Hiding : public xintdictionary {
   public:
    bool find(const char*, int*) override { return false; }
  };
  const xrchandle<xintsequence> plain(xintsequence::create());
  const xrchandle<xintsequence> derived(new Doubling);
  const xrchandle<xintdictionary> open(xintdictionary::create());
  const xrchandle<xintdictionary> hidden(new Hiding);
  for (xintsequence* seq : {plain.operator->(), derived.operator->()}) seq->append(21);
  for (xintdictionary* dict : {open.operator->(), hidden.operator->()}) dict->set("a", 1);
  // The addresses of the whole object and of its root.
  const auto root = [](auto* object) {
    return static_cast<decltype(object)>(static_cast<void*>(static_cast<xobject*>(object)));
  };
  for (int round = 0; round < 4; ++round) {
    const bool whole = round % 2 == 0;
    const auto at = [&](auto& handle) {
      auto* object = handle.operator->();
      return whole ? object : root(object);
    };
    EXPECT_EQ(xintsequence_get(at(plain), 0), 21);
    EXPECT_EQ(xintsequence_getarraysize(at(plain)), 1);
    EXPECT_EQ(xintdictionary_find(at(open), "a", nullptr), 1);
    EXPECT_EQ(xintsequence_get(at(derived), 0), 42);
    EXPECT_EQ(xintsequence_getarraysize(at(derived)), 99);
    EXPECT_EQ(xintdictionary_find(at(hidden), "a", nullptr), 0);
    EXPECT_FALSE(xisexc_c());
    void* const other = at(open);
    EXPECT_EQ(xintsequence_getarraysize(static_cast<xintsequence*>(other)), VEL_ERROR_INT);
    EXPECT_EQ(Parked(), "vellib::XTypeMismatch");
    EXPECT_EQ(xrcgetcount(plain), 1);
    EXPECT_EQ(xrcgetcount(derived), 1);
  }
}

// ---- an object behind any of its addresses ------------------------------------------

xobject* At(void* address) { return static_cast<xobject*>(address); }

struct Left : virtual xobject {
  int left = 1;
};
struct Right : virtual xobject {
  virtual int number() { return right; }
  int right = 2;
};
struct Stranger {  // no framework class, but with a table
  virtual ~Stranger() = default;
  int data = 3;
};
struct Bottom : Stranger, Left, Right {};
struct Single : Stranger, xobject {};  // the root, not virtual and not first
struct Deep : Bottom, VelLogObject {};

// All addresses reach the one count.
void ExpectOneObject(xobject* object, const std::vector<void*>& parts) {
  const int before = xrcgetcount(object);
  int more = 0;
  for (int round = 0; round < 2; ++round) {  // sought, then remembered
    for (void* part : parts) {
      xrcattach_c(At(part));
      EXPECT_EQ(xrcgetcount(object), before + ++more);
    }
  }
  while (more-- > 0) xrcrelease_c(At(parts[0]));
  EXPECT_EQ(xrcgetcount(object), before);
}

TEST(CArgument, AnyPartOfAnObjectWillDo) {
  const xrchandle<Bottom> b(new Bottom);
  Bottom* const bottom = b.operator->();
  ExpectOneObject(bottom, {bottom, static_cast<Stranger*>(bottom), static_cast<Left*>(bottom),
                           static_cast<Right*>(bottom), static_cast<xobject*>(bottom)});
  const xrchandle<Single> s(new Single);
  ExpectOneObject(s, {s.operator->(), static_cast<xobject*>(s.operator->())});
  const xrchandle<Deep> d(new Deep);
  Deep* const deep = d.operator->();
  ExpectOneObject(d, {deep, static_cast<Left*>(deep), static_cast<Right*>(deep),
                      static_cast<VelLogObject*>(deep), static_cast<xobject*>(deep)});
}

TEST(CArgument, AnAddressInAVariantRecordIsSoughtToo) {
  const xrchandle<Bottom> bottom(new Bottom);
  __xany_c record = {xanyObject, {0}};
  record.u.o = At(static_cast<Right*>(bottom.operator->()));
  xobject* const object = xanytoobj_c(&record);
  EXPECT_EQ(object, static_cast<xobject*>(bottom));
  xrcrelease_c(object);

  static const char* const kNames[] = {"red"};
  static xrttienum* const colors = new xrttienum("capi_guard::Color", 1, kNames);
  record.kind = xanyEnum;
  record.u.e.value = 0;
  // In C every class is one type, so this is what may be written there.
  record.u.e.rtti = static_cast<xrtti*>(static_cast<void*>(static_cast<xobject*>(colors)));
  EXPECT_EQ(Text(xprintstr_c(&record, -1)), "red");
  record.u.e.rtti = reinterpret_cast<xrtti*>(bottom.operator->());
  EXPECT_EQ(Text(xprintstr_c(&record, -1)), "uninit");
  EXPECT_EQ(Parked(), "vellib::XTypeMismatch");
}

// Asks for its descriptor's name while its parts come and go.
std::string seen;
struct Asking : virtual xobject {
  Asking() { seen += Text(xgettypename_c(At(this))) + ' '; }
  ~Asking() override { seen += Text(xgettypename_c(At(this))) + ' '; }
};
struct Filled : Right, Asking, VelLogObject {
  Filled() { seen += Text(xgettypename_c(At(static_cast<Asking*>(this)))) + ' '; }
};

TEST(CArgument, AnObjectUnderConstructionIsWhatItIsSoFar) {
  for (int round = 0; round < 2; ++round) {
    seen.clear();
    { const xrchandle<Filled> filled(new Filled); }
    EXPECT_EQ(seen, "object veltest::LogObject object ");
  }
}

// Distances differ by the size of Filler, tables share places in any cache.
template <int N>
struct Filler : virtual xobject {
  char bytes[16 * (N % 50) + 8];
};
template <int N>
struct Padded : Filler<N>, Right {};

template <int... N>
void AskAll(std::integer_sequence<int, N...>) {
  const auto ask = [](auto* made) {
    xobject* const object = made;
    xrcattach_c(At(static_cast<Right*>(made)));
    EXPECT_EQ(xrcgetcount(object), 1);
    EXPECT_EQ(xgetrtti_c(At(made)), velGetRtti_object());
    xrcrelease_c(At(static_cast<Right*>(made)));
  };
  for (int round = 0; round < 3; ++round) (ask(new Padded<N>), ...);
}

TEST(CArgument, ManyClassesAreToldApartInManyThreads) {
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([] { AskAll(std::make_integer_sequence<int, 150>()); });
  }
  for (std::thread& thread : threads) thread.join();
}

TEST(CArgument, AnObjectFarFromTheAddressIsFound) {
  struct Far : Right {
    char bytes[100000] = {};
  };
  const xrchandle<Far> far(new Far);  // the root lies behind the bytes
  ExpectOneObject(far, {static_cast<Right*>(far.operator->())});
}

// ---- records that C has written itself -----------------------------------------

__xany_c Written(__xanykind kind, const void* first) {
  __xany_c record;
  std::memset(&record, 0, sizeof record);
  record.kind = kind;
  record.u.o = static_cast<xobject*>(const_cast<void*>(first));
  return record;
}

TEST(CVariant, ARecordOfAnObjectThatIsNoneReadsAsNilOrUninit) {
  const __xany_c null = Written(xanyObject, nullptr);
  const __xany_c uninit = Written(xanyObject, reinterpret_cast<void*>(std::uintptr_t{22}));
  EXPECT_EQ(xanygetkind_c(&null), xanyNil);
  EXPECT_EQ(xanygetkind_c(&uninit), xanyUninit);
}

TEST(CVariant, ARecordOfClearedTextIsTheNullString) {
  __xany_c record = Written(xanyString, nullptr);
  EXPECT_EQ(Text(xanytostr_c(&record)), "null");
  xanyunlock_c(&record);
  EXPECT_EQ(xanygetkind_c(&record), xanyUninit);
}

TEST(CVariant, AnEnumerationValueNeedsNoTypeForItsNumber) {
  __xany_c record = Written(xanyEnum, nullptr);
  record.u.e.value = 3;
  EXPECT_EQ(xanytoint_c(&record), 3);
  const __xany_c copy = xanycopy_c(&record);
  EXPECT_EQ(copy.kind, xanyEnum);
  EXPECT_EQ(copy.u.e.rtti, nullptr);
}

TEST(CTypes, ElementsAreAskedOfSequencesDictionariesAndArraysOnly) {
  xrttiarray array;
  EXPECT_EQ(xrttigetelemtype_c(xintsequence::getClassRtti()), velGetRtti_int());
  EXPECT_EQ(xrttigetelemtype_c(xrealdictionary::getClassRtti()), velGetRtti_real());
  EXPECT_EQ(xrttigetelemtype_c(&array), nullptr);
  EXPECT_EQ(Parked(), "nothing");
  EXPECT_EQ(xrttigetelemtype_c(velGetRtti_int()), nullptr);
  EXPECT_EQ(Parked(), "vellib::XTypeMismatch");
}

}  // namespace
