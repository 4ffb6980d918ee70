// Handles: what they hold, count, give back and convert to.
#include "xrchandle.h"

#include <dlfcn.h>

#include <type_traits>
#include <utility>

#include "veltest.h"

namespace {

// Handles that show their fields.
template <class T>
struct OpenHandle : xrchandle<T> {
  using xrchandle<T>::xrchandle;
  using xrcbasehandle<T>::ptr;
};
template <class T>
struct OpenUni : xrcunihandle<T> {
  using xrcunihandle<T>::xrcunihandle;
  using xrcunihandle<T>::operator=;
  using xrcbasehandle<T>::ptr;
  using xrcunihandle<T>::counted;
};

using Log = xrchandle<VelLogObject>;
using Uni = xrcunihandle<xobject>;

VelLogObject* New(std::string* log = nullptr, const char* name = "a", bool deletable = true) {
  return new VelLogObject(log, name, deletable);
}

constexpr char kGone[] = "a asked\na onDelete\na destroyed\n";

xrchandle<velXTypeMismatch> Mismatch() {
  return dynamic_cast<velXTypeMismatch*>(
      velCaught([] { velXTypeMismatch::Throw("demo", xany()); }).operator->());
}

velXNull* UninitException() { return velXNull::softcast(xuninitobject); }

// A base that is not at the beginning, and not an object alone.
struct Padding {
  virtual ~Padding() = default;
  double room = 0;
};
class Shifted : public Padding, public VelLogObject {
 public:
  using VelLogObject::VelLogObject;
};

// ---- layout and traits ----

static_assert(sizeof(xrcbasehandle<xobject>) == sizeof(void*), "one field");
static_assert(sizeof(xrchandle<xintsequence>) == sizeof(void*), "no further field");
static_assert(sizeof(xrcunihandle<xobject>) == 2 * sizeof(void*), "and the mark");
static_assert(std::is_base_of<xrcbasehandle<xobject>, xrchandle<xobject>>::value, "");
static_assert(std::is_base_of<xrcbasehandle<xobject>, xrcunihandle<xobject>>::value, "");
static_assert(std::is_same<decltype(OpenUni<xobject>::counted), bool>::value, "");

static_assert(std::is_nothrow_move_constructible<xrchandle<VelLogObject>>::value, "");
static_assert(std::is_nothrow_move_assignable<xrchandle<VelLogObject>>::value, "");
static_assert(std::is_nothrow_move_constructible<xrcunihandle<VelLogObject>>::value, "");
static_assert(std::is_nothrow_move_assignable<xrcunihandle<VelLogObject>>::value, "");

// A handle of a derived class converts, others do not.
static_assert(std::is_convertible<xrchandle<velXNull>, xrchandle<velXException>>::value, "");
static_assert(std::is_convertible<xrchandle<velXNull>, xrchandle<xobject>>::value, "");
static_assert(std::is_convertible<xrchandle<velXNull>, xrcunihandle<xthrowable>>::value, "");
static_assert(std::is_convertible<xrchandle<xobject>, xrcunihandle<xobject>>::value, "");
static_assert(std::is_convertible<xrcunihandle<velXNull>, xrcunihandle<xobject>>::value, "");
static_assert(!std::is_convertible<xrchandle<velXException>, xrchandle<velXNull>>::value, "");
static_assert(!std::is_convertible<xrchandle<velXNull>, xrchandle<xintsequence>>::value, "");
static_assert(!std::is_convertible<xrchandle<xintsequence>, xrcunihandle<xthrowable>>::value, "");
static_assert(!std::is_assignable<xrchandle<velXNull>&, xrchandle<velXException>>::value, "");

template <class H, class Index, class = void>
struct HasIndex : std::false_type {};
template <class H, class Index>
struct HasIndex<H, Index, std::void_t<decltype(std::declval<H&>()[std::declval<Index>()])>>
    : std::true_type {};
static_assert(!HasIndex<xrchandle<xintsequence>, int>::value, "it would be pointer arithmetic");
static_assert(!HasIndex<xrchandle<xintsequence>, long>::value, "");
static_assert(!HasIndex<xrchandle<xintsequence>, unsigned>::value, "");
static_assert(!HasIndex<xrcunihandle<xobject>, int>::value, "");
static_assert(!HasIndex<xrcbasehandle<xobject>, int>::value, "");

// ---- the base ----

TEST(XRcBaseHandle, IsNullAndUnchecked) {
  const xrcbasehandle<xobject> base;
  EXPECT_TRUE(base.isnull());
  EXPECT_EQ(base.operator->(), nullptr);
}

TEST(XRcBaseHandle, ReleasesNothing) {
  VelLogObject object;
  xrcattach(&object);
  struct Holder : xrcbasehandle<VelLogObject> {
    explicit Holder(VelLogObject* p) { ptr = p; }
  };
  {
    const Holder holder(&object);
    EXPECT_FALSE(holder.isnull());
    EXPECT_EQ(holder.operator->(), &object);
    EXPECT_EQ(&*holder, &object);
    EXPECT_EQ(xrcgetcount(&object), 1);
  }
  EXPECT_EQ(xrcgetcount(&object), 1);
}

// ---- the handle ----

TEST(XRcHandle, ThatIsEmptyIsNull) {
  const xrchandle<xintsequence> none;
  const xrchandle<xintsequence> zero(0);
  const xrchandle<xintsequence> any(12345);
  const xrchandle<xintsequence> pointer(nullptr);
  const xrchandle<xintsequence> assigned = 0;
  for (const auto* h : {&none, &zero, &any, &pointer, &assigned}) {
    EXPECT_TRUE(h->isnull());
    EXPECT_EQ(h->operator->(), nullptr);
    EXPECT_EQ(static_cast<xintsequence*>(*h), nullptr);
  }
}

TEST(XRcHandle, CountsItsObject) {
  std::string log;
  auto* object = New(&log);
  {
    const Log first(object);
    EXPECT_EQ(xrcgetcount(object), 1);
    {
      const Log second(first);
      EXPECT_EQ(xrcgetcount(object), 2);
      EXPECT_EQ(second.operator->(), object);
      EXPECT_EQ(&*second, object);
      EXPECT_EQ(static_cast<VelLogObject*>(second), object);
      EXPECT_FALSE(second.isnull());
    }
    EXPECT_EQ(xrcgetcount(object), 1);
    EXPECT_EQ(log, "");
  }
  EXPECT_EQ(log, kGone);
}

TEST(XRcHandle, CopyOfNullIsNull) {
  const Log none;
  const Log copy(none);
  EXPECT_TRUE(copy.isnull());
}

TEST(XRcHandle, AssignmentReleasesTheOldBeforeItAttachesTheNew) {
  std::string log;
  struct Watcher : VelLogObject {
    Watcher(std::string* l, VelLogObject* o) : VelLogObject(l, "old"), log(l), other(o) {}
    ~Watcher() override { *log += "other has " + std::to_string(xrcgetcount(other)) + '\n'; }
    std::string* log;
    VelLogObject* other;
  };
  VelLogObject next(nullptr, "next", false);
  Log handle(new Watcher(&log, &next));
  EXPECT_EQ(&(handle = &next), &handle);
  EXPECT_EQ(log, "old asked\nold onDelete\nother has 0\nold destroyed\n");
  EXPECT_EQ(xrcgetcount(&next), 1);
  EXPECT_EQ(handle.operator->(), &next);
}

TEST(XRcHandle, AssignmentOfHandlePointerAndNull) {
  std::string log;
  Log first(New(&log, "a"));
  const Log second(New(&log, "b"));
  EXPECT_EQ(&(first = second), &first);
  EXPECT_EQ(log, kGone);
  EXPECT_EQ(xrcgetcount(second), 2);
  first = 0;
  EXPECT_TRUE(first.isnull());
  EXPECT_EQ(xrcgetcount(second), 1);
  first = second.operator->();
  EXPECT_EQ(xrcgetcount(second), 2);
  first = nullptr;
  EXPECT_TRUE(first.isnull());
  EXPECT_EQ(xrcgetcount(second), 1);
  first = Log();
  EXPECT_TRUE(first.isnull());
}

TEST(XRcHandle, DestructorOfTheOldSeesNothingDangling) {
  struct Looker : VelLogObject {
    Looker(Log** h, bool* n) : VelLogObject(nullptr, "a"), handle(h), wasNull(n) {}
    ~Looker() override { *wasNull = (*handle)->isnull(); }
    Log** handle;
    bool* wasNull;
  };
  Log* place = nullptr;
  for (int way = 0; way < 3; ++way) {
    bool wasNull = false;
    {
      Log handle(new Looker(&place, &wasNull));
      place = &handle;
      if (way == 0) handle = New();
      if (way == 1) handle = Log(New());
    }
    EXPECT_TRUE(wasNull) << way;
  }
  EXPECT_EQ(VelLogObject::alive(), 0);
}

TEST(XRcHandle, AssigningItsOwnObjectKeepsIt) {
  std::string log;
  Log handle(New(&log));
  VelLogObject* alias = handle;
  handle = alias;
  EXPECT_EQ(log, "a asked\n");
  EXPECT_EQ(xrcgetcount(alias), 1);
  const Log& same = handle;
  handle = same;
  EXPECT_EQ(log, "a asked\na asked\n");
  EXPECT_EQ(xrcgetcount(alias), 1);
  {
    const Log other(handle);
    handle = other;
    handle = alias;
    EXPECT_EQ(xrcgetcount(alias), 2);
    EXPECT_EQ(log, "a asked\na asked\n");
  }
  handle = 0;
  EXPECT_EQ(log, std::string("a asked\na asked\n") + kGone);
}

TEST(XRcHandle, AssigningItsOwnObjectThatRefusesAsksOnce) {
  std::string log;
  VelLogObject object(&log, "a", false);
  {
    Log handle(&object);
    VelLogObject* alias = handle;
    handle = alias;
    EXPECT_EQ(log, "a asked\n");
    EXPECT_EQ(xrcgetcount(&object), 1);
    EXPECT_EQ(handle.operator->(), &object);
  }
  EXPECT_EQ(log, "a asked\na asked\n");
}

TEST(XRcHandle, AssigningItsOwnObjectAtZeroAttaches) {
  std::string log;
  VelLogObject object(&log, "a", false);
  Log handle(&object);
  xrcrelease(&object);  // refused: the handle is on an object at 0
  EXPECT_EQ(xrcgetcount(&object), 0);
  VelLogObject* alias = handle;
  handle = alias;
  EXPECT_EQ(xrcgetcount(&object), 1);
  EXPECT_EQ(log, "a asked\n");
}

TEST(XRcHandle, MovesTouchNoCount) {
  std::string log;
  Log first(New(&log, "a"));
  VelLogObject* object = first;
  Log second(std::move(first));
  EXPECT_TRUE(first.isnull());
  EXPECT_EQ(second.operator->(), object);
  EXPECT_EQ(xrcgetcount(object), 1);
  Log third(New(&log, "b"));
  EXPECT_EQ(&(third = std::move(second)), &third);
  EXPECT_EQ(log, "b asked\nb onDelete\nb destroyed\n");
  EXPECT_TRUE(second.isnull());
  EXPECT_EQ(third.operator->(), object);
  EXPECT_EQ(xrcgetcount(object), 1);
}

TEST(XRcHandle, SelfMoveChangesNothing) {
  std::string log;
  Log handle(New(&log));
  Log& same = handle;
  VelLogObject* object = handle;
  handle = std::move(same);
  EXPECT_EQ(handle.operator->(), object);
  EXPECT_EQ(xrcgetcount(object), 1);
  EXPECT_EQ(log, "");
}

// A list: each holds the next.
struct Link : VelLogObject {
  using VelLogObject::VelLogObject;
  xrchandle<Link> next;
  xrcunihandle<Link> uniNext;
};

TEST(XRcHandle, MayBeMovedOutOfTheObjectItReplaces) {
  std::string log;
  xrchandle<Link> head(new Link(&log, "a"));
  head->next = new Link(&log, "b");
  head = std::move(head->next);
  EXPECT_EQ(log, kGone);
  EXPECT_EQ(xrcgetcount(head), 1);
  xrcunihandle<Link> uni(head);
  head = 0;
  uni->uniNext = xrcunihandle<Link>(new Link(&log, "c"));
  log.clear();
  uni = std::move(uni->uniNext);
  EXPECT_EQ(log, "b asked\nb onDelete\nb destroyed\n");
  EXPECT_EQ(xrcgetcount(uni), 1);
}

TEST(XRcHandle, ConvertsToHandlesOfBases) {
  const xrchandle<velXTypeMismatch> exact(Mismatch());
  const xrchandle<velXException> base(exact);
  EXPECT_EQ(xrcgetcount(exact), 2);
  xrchandle<xobject> object = exact;
  EXPECT_EQ(xrcgetcount(exact), 3);
  EXPECT_EQ(object.operator->(), static_cast<xobject*>(exact.operator->()));
  EXPECT_NE(static_cast<void*>(object.operator->()), static_cast<void*>(exact.operator->()));
  object = base;
  EXPECT_EQ(xrcgetcount(exact), 3);
  object = 0;
  object = exact;
  EXPECT_EQ(xrcgetcount(exact), 3);
  const xrcunihandle<xthrowable> uni = exact;
  EXPECT_EQ(xrcgetcount(exact), 4);
  EXPECT_EQ(uni.operator->(), exact.operator->());
}

TEST(XRcHandle, ConversionOfNullIsNull) {
  const xrchandle<velXNull> none;
  const xrchandle<xobject> object(none);
  EXPECT_TRUE(object.isnull());
  xrchandle<velXException> assigned(Mismatch());
  assigned = none;
  EXPECT_TRUE(assigned.isnull());
}

TEST(XRcHandle, OfAClassWithoutCountsTakesNone) {
  std::string log;
  VelPlainObject object(&log);
  {
    const xrchandle<VelPlainObject> handle(&object);
    const xrchandle<VelPlainObject> copy(handle);
    EXPECT_EQ(xrcgetcount(&object), -1);
  }
  EXPECT_EQ(xrcgetcount(&object), -1);
  EXPECT_EQ(log, "");
}

TEST(XRcHandle, ComparesPointers) {
  const Log none;
  const Log a(New());
  const Log b(a);
  const Log c(New());
  EXPECT_TRUE(none == 0);
  EXPECT_TRUE(none == nullptr);
  EXPECT_TRUE(a != 0);
  EXPECT_TRUE(nullptr != a);
  EXPECT_TRUE(a == b);
  EXPECT_TRUE(a != c);
  EXPECT_TRUE(a == b.operator->());
  EXPECT_TRUE(!none);
  bool taken = false;
  if (a) taken = true;
  EXPECT_TRUE(taken);
}

TEST(XRcHandle, WalksItsObjectWhenPrinted) {
  const auto sequence = xintsequence::create();
  sequence->append(3);
  std::ostringstream out;
  out << sequence;
  EXPECT_EQ(out.str(), velPrinted(xany(sequence)));
  out.str("");
  out << xrchandle<xintsequence>();
  EXPECT_EQ(out.str(), velPrinted(xany(xanyNil)));
  out.str("");
  out << xrcunihandle<xobject>(sequence);
  EXPECT_EQ(out.str(), velPrinted(xany(sequence)));
  out.str("");
  out << xrchandle<velXNull>(UninitException()) << xrcunihandle<velXNull>(UninitException());
  EXPECT_EQ(out.str(), "");
}

TEST(XRcHandle, CanBeThrown) {
  const xrchandle<velXTypeMismatch> exact(Mismatch());
  {
    const auto caught = velCaught([&] { xthrow(exact); });
    EXPECT_EQ(caught.operator->(), exact.operator->());
  }
  EXPECT_EQ(xrcgetcount(exact), 1);
}

// ---- the uninitialised address ----

TEST(XRcHandle, HoldsUninitUntouched) {
  xrchandle<velXNull> handle(UninitException());
  EXPECT_FALSE(handle.isnull());
  EXPECT_TRUE(velIsUninit(handle.operator->()));
  const xrchandle<velXNull> copy(handle);
  EXPECT_TRUE(velIsUninit(copy.operator->()));
  xrchandle<velXNull> moved(std::move(handle));
  EXPECT_TRUE(handle.isnull());
  EXPECT_TRUE(velIsUninit(moved.operator->()));
  moved = copy;
  moved = UninitException();
  EXPECT_TRUE(velIsUninit(moved.operator->()));
  moved = 0;
  EXPECT_TRUE(moved.isnull());
  moved = copy;
  EXPECT_FALSE(moved.isnull());
}

TEST(XRcHandle, ConvertsUninitUntouched) {
  const xrchandle<velXNull> handle(UninitException());
  const xrchandle<xobject> object(handle);
  EXPECT_TRUE(velIsUninit(object.operator->()));
  xrchandle<velXException> base(Mismatch());
  base = handle;
  EXPECT_TRUE(velIsUninit(base.operator->()));
  const xrcunihandle<xobject> uni(handle);
  EXPECT_TRUE(velIsUninit(uni.operator->()));
  const xrcunihandle<velXNull> exact(handle);
  const xrcunihandle<xobject> fromUni(exact);
  EXPECT_TRUE(velIsUninit(fromUni.operator->()));
  const xany value(handle);
  EXPECT_TRUE(value.isuninit());
}

TEST(XRcHandle, ConvertsUninitOverABaseAtAnOffset) {
  const xrchandle<Shifted> handle(reinterpret_cast<Shifted*>(std::uintptr_t{22}));
  const xrchandle<VelLogObject> base(handle);
  EXPECT_TRUE(velIsUninit(base.operator->()));
}

TEST(XRcUniHandle, HoldsUninitUncounted) {
  OpenUni<velXNull> handle(UninitException());
  EXPECT_FALSE(handle.isnull());
  EXPECT_FALSE(handle.counted);
  const OpenUni<velXNull> copy(handle);
  EXPECT_TRUE(velIsUninit(copy.ptr));
  EXPECT_FALSE(copy.counted);
  handle = copy;
  handle = xrcunihandle<velXNull>();
  EXPECT_TRUE(handle.isnull());
  handle = copy;
  EXPECT_TRUE(velIsUninit(handle.ptr));
}

// ---- the handle for objects that may not be counted ----

TEST(XRcUniHandle, ThatIsEmptyIsNullAndUncounted) {
  const OpenUni<xobject> none;
  const OpenUni<xobject> zero(0);
  const OpenUni<xobject> any(-7);
  const OpenUni<xobject> pointer(nullptr);
  const OpenUni<xobject> copy(none);
  for (const auto* h : {&none, &zero, &any, &pointer, &copy}) {
    EXPECT_TRUE(h->isnull());
    EXPECT_FALSE(h->counted);
    EXPECT_EQ(h->operator->(), nullptr);
    EXPECT_EQ(static_cast<xobject*>(*h), nullptr);
  }
}

TEST(XRcUniHandle, CountsACountedObject) {
  std::string log;
  auto* object = New(&log);
  {
    const OpenUni<xobject> first(object);
    EXPECT_TRUE(first.counted);
    EXPECT_EQ(xrcgetcount(object), 1);
    const OpenUni<xobject> second(first);
    EXPECT_TRUE(second.counted);
    EXPECT_EQ(xrcgetcount(object), 2);
    EXPECT_EQ(second.operator->(), object);
    EXPECT_EQ(&*second, object);
  }
  EXPECT_EQ(log, kGone);
}

TEST(XRcUniHandle, LeavesOthersAlone) {
  std::string log;
  auto* object = new VelPlainObject(&log);
  {
    const OpenUni<xobject> handle(object);
    EXPECT_FALSE(handle.counted);
    EXPECT_EQ(xrcgetcount(object), -1);
    const OpenUni<xobject> copy(handle);
    EXPECT_FALSE(copy.counted);
  }
  EXPECT_EQ(xrcgetcount(object), -1);
  EXPECT_EQ(log, "");
  xdelete(object);
  EXPECT_EQ(log, "onDelete\ndestroyed\n");
}

TEST(XRcUniHandle, MayOutliveAnObjectThatIsNotCounted) {
  std::string log;
  auto* object = new VelPlainObject(&log);
  Uni handle(object);
  xdelete(object);
  handle = Uni(New(&log));  // touches nothing of the old
  EXPECT_EQ(log, "onDelete\ndestroyed\n");
}

TEST(XRcUniHandle, AssignedNullKeepsCounted) {
  std::string log;
  {
    OpenUni<xobject> handle(New(&log));
    const Uni none;
    handle = none;
    EXPECT_EQ(log, kGone);
    EXPECT_TRUE(handle.isnull());
    EXPECT_TRUE(handle.counted);
    Uni& plain = handle;
    plain = Uni(0);
    EXPECT_TRUE(handle.counted);
    plain = 0;
    EXPECT_TRUE(handle.counted);
    plain = nullptr;
    EXPECT_TRUE(handle.counted);
  }
  EXPECT_EQ(log, kGone);
}

TEST(XRcUniHandle, AssignmentDecidesCountedAnew) {
  std::string log;
  VelPlainObject plain(&log);
  const Uni held(New(&log));
  const Uni free(&plain);
  OpenUni<xobject> handle;
  handle = held;
  EXPECT_TRUE(handle.counted);
  EXPECT_EQ(xrcgetcount(held), 2);
  handle = free;
  EXPECT_FALSE(handle.counted);
  EXPECT_EQ(xrcgetcount(held), 1);
  handle = held;
  EXPECT_TRUE(handle.counted);
  EXPECT_EQ(xrcgetcount(held), 2);
  const Uni uninit(xuninitobject);
  handle = uninit;
  EXPECT_FALSE(handle.counted);
  EXPECT_EQ(xrcgetcount(held), 1);
}

TEST(XRcUniHandle, AssigningItsOwnObjectKeepsIt) {
  std::string log;
  Uni handle(New(&log));
  const Uni& same = handle;
  EXPECT_EQ(&(handle = same), &handle);
  EXPECT_EQ(log, "a asked\n");
  EXPECT_EQ(xrcgetcount(handle), 1);
  handle = Uni(handle);
  EXPECT_EQ(log, "a asked\n");
  EXPECT_EQ(xrcgetcount(handle), 1);
  VelPlainObject plain(&log);
  Uni free(&plain);
  const Uni& sameFree = free;
  free = sameFree;
  EXPECT_EQ(xrcgetcount(&plain), -1);
}

TEST(XRcUniHandle, MovesTakeCountedAlong) {
  std::string log;
  VelPlainObject plain(&log);
  OpenUni<xobject> counted(New(&log));
  xobject* object = counted;
  OpenUni<xobject> target(&plain);
  static_cast<Uni&>(target) = std::move(static_cast<Uni&>(counted));
  EXPECT_TRUE(counted.isnull());
  EXPECT_TRUE(target.counted);
  EXPECT_EQ(target.ptr, object);
  EXPECT_EQ(xrcgetcount(object), 1);
  OpenUni<xobject> made(std::move(target));
  EXPECT_TRUE(target.isnull());
  EXPECT_TRUE(made.counted);
  EXPECT_EQ(xrcgetcount(object), 1);
  Uni free(&plain);
  static_cast<Uni&>(made) = std::move(free);
  EXPECT_EQ(log, kGone);
  EXPECT_FALSE(made.counted);
  EXPECT_EQ(made.ptr, &plain);
  EXPECT_TRUE(free.isnull());
}

TEST(XRcUniHandle, SelfMoveChangesNothing) {
  std::string log;
  OpenUni<xobject> handle(New(&log));
  Uni& same = handle;
  xobject* object = handle;
  static_cast<Uni&>(handle) = std::move(same);
  EXPECT_EQ(handle.ptr, object);
  EXPECT_TRUE(handle.counted);
  EXPECT_EQ(xrcgetcount(object), 1);
  EXPECT_EQ(log, "");
}

TEST(XRcUniHandle, AsksTheClassOnceForEachAttach) {
  struct Asked : VelLogObject {
    explicit Asked(int* n) : asked(n) {}
    int* asked;

   private:
    xrttiobject* giveRtti() override {
      ++*asked;
      return VelLogObject::getClassRtti();
    }
  };
  int asked = 0;
  const xrchandle<xobject> first(new Asked(&asked));
  EXPECT_EQ(asked, 1);  // by the attach at 0
  {
    const Uni handle(first);
    EXPECT_EQ(asked, 2);
  }
  EXPECT_EQ(asked, 2);
}

TEST(XRcUniHandle, ComparesPointers) {
  const Uni none;
  const Uni a(New());
  const Uni b(a);
  EXPECT_TRUE(none == 0);
  EXPECT_TRUE(none == nullptr);
  EXPECT_TRUE(a == b);
  EXPECT_TRUE(a != nullptr);
  EXPECT_FALSE(!a);
}

TEST(XRcHandle, ObjectPartElsewhereIsCounted) {
  std::string log;
  auto* object = new Shifted(&log, "a");
  {
    const xrchandle<Shifted> handle(object);
    EXPECT_NE(static_cast<void*>(static_cast<xobject*>(object)), static_cast<void*>(object));
    EXPECT_EQ(xrcgetcount(object), 1);
    const xrcunihandle<Shifted> uni(object);
    EXPECT_EQ(xrcgetcount(object), 2);
  }
  EXPECT_EQ(log, kGone);
}

// ---- what the library provides ----

TEST(XRcHandle, SequenceDiesWithItsLastHandle) {
  const xrchandle<VelLogObject> element(New());
  {
    xrchandle<xanysequence> sequence(new xanysequence);
    EXPECT_EQ(xrcgetcount(sequence), 1);
    sequence->append(xany(element));
    const xrchandle<xanysequence> copy(sequence);
    EXPECT_EQ(xrcgetcount(sequence), 2);
    sequence = 0;
    EXPECT_EQ(xrcgetcount(element), 2);
  }
  EXPECT_EQ(xrcgetcount(element), 1);
}

// The mangled name of `member` of `handle`<`cls`>.
std::string Symbol(const char* prefix, const std::string& handle, const std::string& cls,
                   const char* member) {
  return prefix + std::to_string(handle.size()) + handle + 'I' + std::to_string(cls.size()) + cls +
         'E' + member;
}

TEST(XRcHandle, InstancesAreExported) {
  void* library = dlopen(VELSTD_LIBRARY_FILE, RTLD_NOW | RTLD_NOLOAD);
  ASSERT_NE(library, nullptr);
  const auto exported = [&](const std::string& symbol) {
    return dlsym(library, symbol.c_str()) != nullptr;
  };
  for (const char* cls :
       {"xboolsequence", "xintsequence", "xrealsequence", "xstringsequence", "xanysequence",
        "xbooldictionary", "xintdictionary", "xrealdictionary", "xstringdictionary",
        "xanydictionary", "velXException", "velXArgs", "velXFunc", "velXExternFunc",
        "velXTypeMismatch", "velXInvalidArrayIndex", "velXInvalidSeqIndex",
        "velXInvalidDictIndex", "velXInvalidDictKey", "velXNegativeIndex", "velXRefCountable",
        "velXNativeException", "velXSerialization", "velXSoapFault", "velXSoapHttpTransport"}) {
    EXPECT_TRUE(exported(Symbol("_ZN", "xrchandle", cls, "aSEPS0_"))) << cls;
    EXPECT_TRUE(exported(Symbol("_ZN", "xrchandle", cls, "D1Ev"))) << cls;
    EXPECT_TRUE(exported(Symbol("_ZNK", "xrcbasehandle", cls, "6isnullEv"))) << cls;
  }
  for (const char* cls : {"xobject", "xthrowable"}) {
    EXPECT_TRUE(exported(Symbol("_ZN", "xrcunihandle", cls, "aSERKS1_"))) << cls;
    EXPECT_TRUE(exported(Symbol("_ZN", "xrcunihandle", cls, "D1Ev"))) << cls;
    EXPECT_TRUE(exported(Symbol("_ZNK", "xrcbasehandle", cls, "6isnullEv"))) << cls;
  }
  dlclose(library);
}

}  // namespace
