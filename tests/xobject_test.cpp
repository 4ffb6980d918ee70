// Objects: their counts, virtual table, free functions and destruction.
#include "xobject.h"

#include <dlfcn.h>

#include <atomic>
#include <climits>
#include <cstdlib>
#include <new>
#include <type_traits>

#include "veltest.h"

// ---- memory that is asked for, counted ----

namespace {
std::atomic<int> allocations{0};
}  // namespace

[[gnu::noinline]] void* operator new(std::size_t bytes) {
  ++allocations;
  if (void* at = std::malloc(bytes)) return at;
  throw std::bad_alloc();
}
[[gnu::noinline]] void* operator new(std::size_t bytes, const std::nothrow_t&) noexcept {
  ++allocations;
  return std::malloc(bytes);
}
[[gnu::noinline]] void operator delete(void* at) noexcept { std::free(at); }
[[gnu::noinline]] void operator delete(void* at, std::size_t) noexcept { std::free(at); }
[[gnu::noinline]] void operator delete(void* at, const std::nothrow_t&) noexcept { std::free(at); }

namespace {

// ---- user classes ----

// Overrides nothing; lets a test look at the count and spoil it.
class Bare : public xobject {
 public:
  explicit Bare(bool* gone = nullptr) : gone_(gone) {}
  ~Bare() override {
    if (gone_) *gone_ = true;
  }
  void force(int count) { refcount = count; }

 private:
  bool* gone_;
};

// A corrupt object for a death test.
Bare* Spoilt(int count) {
  auto* object = new Bare;
  object->force(count);
  return object;
}

// Overrides every virtual function and writes down which one was called.
class Slots : public virtual xobject {
 public:
  explicit Slots(std::string* log) : log_(log) {}
  ~Slots() override { *log_ += "destructor "; }
  void* dyndowncast(const xrttiobject*) override { return note("dyndowncast ", this); }
  void* dyndowncast_i(const xrttiobject*) override { return note("dyndowncast_i ", this); }
  unsigned char isDeletable() override {
    note("isDeletable ", this);
    return 1;
  }
  void onDelete() override { note("onDelete ", this); }

 private:
  xrttiobject* giveRtti() override {
    note("giveRtti ", this);
    return xobject::getClassRtti();
  }
  void xattach() override { note("xattach ", this); }
  void xrelease() override { note("xrelease ", this); }
  void xfree() override { note("xfree ", this); }

  void* note(const char* what, void* result) {
    *log_ += what;
    return result;
  }

  std::string* log_;
};

// Acts in onDelete and in its destructor.
class Actor : public virtual xobject {
  VEL_OBJECT(Actor)
 public:
  using Act = void (*)(Actor* self, std::string* log);
  Actor(std::string* log, Act onDeletion, Act onDestruction)
      : log_(log), onDeletion_(onDeletion), onDestruction_(onDestruction) {}
  ~Actor() override {
    if (onDestruction_) onDestruction_(this, log_);
    *log_ += "destroyed ";
  }
  void onDelete() override {
    if (onDeletion_) onDeletion_(this, log_);
    *log_ += "onDelete ";
  }

 private:
  std::string* log_;
  Act onDeletion_;
  Act onDestruction_;
};
VEL_OBJECT_RTTI(Actor, xrttiobject, [](xrttiobject* rtti) {
  rtti->initializeRttiObject("test::Actor", 1, 0, nullptr);
})

void NoteCount(Actor* self, std::string* log) {
  *log += std::to_string(xrcgetcount(self)) + ' ';
}

// A handle and a value on the object, for a moment.
void HoldForAMoment(Actor* self, std::string* log) {
  NoteCount(self, log);
  {
    const xrchandle<Actor> handle(self);
    NoteCount(self, log);
    const xany value(handle);
    NoteCount(self, log);
  }
  NoteCount(self, log);
}

struct Left : virtual xobject {};
struct Right : virtual xobject {};
struct Both : Left, Right {};

std::string Text(const xstring& text) { return text.IsNull() ? "null" : text.CastToCString(); }

// ---- counts ----

TEST(XObject, UninitialisedIsAddress22) {
  EXPECT_EQ(reinterpret_cast<std::uintptr_t>(xuninitobject), 22u);
  EXPECT_TRUE(velIsUninit(xuninitobject));
  EXPECT_FALSE(velIsUninit(nullptr));
}

TEST(XObject, LastReleaseAsksTellsAndDestroysOnce) {
  std::string log;
  auto* object = new VelLogObject(&log, "a");
  EXPECT_EQ(xrcgetcount(object), 0);
  xrcattach(object);
  EXPECT_EQ(xrcgetcount(object), 1);
  xrcattach(object);
  EXPECT_EQ(xrcgetcount(object), 2);
  xrcrelease(object);
  EXPECT_EQ(xrcgetcount(object), 1);
  EXPECT_EQ(log, "");
  xrcrelease(object);
  EXPECT_EQ(log, "a asked\na onDelete\na destroyed\n");
  EXPECT_EQ(VelLogObject::alive(), 0);
}

TEST(XObject, UniFunctionsCountAlike) {
  std::string log;
  auto* object = new VelLogObject(&log, "a");
  xrcuniattach(object);
  xrcattach(object);
  EXPECT_EQ(xrcgetcount(object), 2);
  xrcunirelease(object);
  EXPECT_EQ(xrcgetcount(object), 1);
  xrcunirelease(object);
  EXPECT_EQ(log, "a asked\na onDelete\na destroyed\n");
}

TEST(XObject, CountIsStillOneWhileItIsDestroyed) {
  std::string log;
  xrchandle<Actor>(new Actor(&log, &NoteCount, &NoteCount));
  EXPECT_EQ(log, "1 onDelete 1 destroyed ");
}

TEST(XObject, RefusedDeletionLeavesItAtZeroToStartOver) {
  std::string log;
  auto* object = new VelLogObject(&log, "a", false);
  xrcattach(object);
  xrcrelease(object);
  EXPECT_EQ(xrcgetcount(object), 0);
  xrcrelease(object);
  EXPECT_EQ(xrcgetcount(object), 0);
  EXPECT_EQ(log, "a asked\n");
  xrcattach(object);
  EXPECT_EQ(xrcgetcount(object), 1);
  object->setDeletable(true);
  xrcrelease(object);
  EXPECT_EQ(log, "a asked\na asked\na onDelete\na destroyed\n");
}

TEST(XObject, ReleaseOfOneNeverAttachedDoesNothing) {
  std::string log;
  VelLogObject object(&log, "a");
  xrcrelease(&object);
  EXPECT_EQ(xrcgetcount(&object), 0);
  EXPECT_EQ(log, "");
}

TEST(XObject, NotCountedStaysAtMinusOne) {
  std::string log;
  VelPlainObject object(&log);
  EXPECT_EQ(xrcgetcount(&object), 0);
  for (int i = 0; i < 3; ++i) {
    xrcattach(&object);
    EXPECT_EQ(xrcgetcount(&object), -1);
  }
  for (int i = 0; i < 5; ++i) xrcrelease(&object);
  EXPECT_EQ(xrcgetcount(&object), -1);
  EXPECT_EQ(log, "");
}

TEST(XObject, AttachAndReleaseAllocateNothing) {
  auto* counted = new VelLogObject;
  VelPlainObject plain;
  xrcattach(counted);
  xrcattach(&plain);
  xrcrelease(&plain);
  const int before = allocations;
  for (int i = 0; i < 100; ++i) {
    xrcattach(counted);
    xrcuniattach(&plain);
    xrcunirelease(counted);
    xrcrelease(&plain);
  }
  xrcrelease(counted);
  EXPECT_EQ(allocations, before);
  EXPECT_EQ(VelLogObject::alive(), 0);
}

TEST(XObject, NullAndUninitAreSkipped) {
  for (xobject* none : {static_cast<xobject*>(nullptr), xuninitobject}) {
    xrcattach(none);
    xrcrelease(none);
    xrcuniattach(none);
    xrcunirelease(none);
  }
  xdelete(nullptr);
}

TEST(XObject, CountWrapsPastTheTop) {
  Bare object;
  object.force(INT_MAX - 1);
  xrcattach(&object);
  EXPECT_EQ(xrcgetcount(&object), INT_MAX);
  xrcattach(&object);
  EXPECT_EQ(xrcgetcount(&object), INT_MIN);
  object.force(INT_MAX);
  xrcrelease(&object);
  EXPECT_EQ(xrcgetcount(&object), INT_MAX - 1);
}

TEST(XObjectDeathTest, AttachOfACorruptCountAborts) {
  for (int count : {-2, -3, INT_MIN}) {
    EXPECT_VEL_ABORT(xrcattach(Spoilt(count)), "xrcattach: Invalid value of refcount.",
                     "velstd/services/xobject", 505);
  }
  EXPECT_VEL_ABORT(xrcuniattach(Spoilt(-2)), "xrcattach: Invalid value of refcount.",
                   "velstd/services/xobject", 505);
}

TEST(XObjectDeathTest, ReleaseOfACorruptCountAborts) {
  for (int count : {-2, -3, INT_MIN}) {
    EXPECT_VEL_ABORT(xrcrelease(Spoilt(count)), "xrcrelease: Invalid value of refcount.",
                     "velstd/services/xobject", 591);
  }
  EXPECT_VEL_ABORT(xrcunirelease(Spoilt(-2)), "xrcrelease: Invalid value of refcount.",
                   "velstd/services/xobject", 591);
}

TEST(XObjectDeathTest, OverflowAbortsAtTheNextUse) {
  const auto overflown = [] {
    Bare* object = Spoilt(INT_MAX);
    xrcattach(object);
    return object;
  };
  EXPECT_VEL_ABORT(xrcattach(overflown()), "xrcattach: Invalid value of refcount.",
                   "velstd/services/xobject", 505);
  EXPECT_VEL_ABORT(xrcrelease(overflown()), "xrcrelease: Invalid value of refcount.",
                   "velstd/services/xobject", 591);
}

// ---- destruction ----

TEST(XObject, MayBeHeldForAMomentWhileItIsDestroyed) {
  std::string log;
  xrchandle<Actor>(new Actor(&log, &HoldForAMoment, nullptr));
  EXPECT_EQ(log, "1 2 3 1 onDelete destroyed ");
  log.clear();
  xrchandle<Actor>(new Actor(&log, nullptr, &HoldForAMoment));
  EXPECT_EQ(log, "onDelete 1 2 3 1 destroyed ");
}

void KeepForEver(Actor* self, std::string*) { xrcattach(self); }

#ifdef VELSTD_CHECKED
TEST(XObjectDeathTest, ReferenceLeftByOnDeleteAborts) {
  std::string log;
  EXPECT_VEL_ABORT(xrchandle<Actor>(new Actor(&log, &KeepForEver, nullptr)),
                   "onDelete left a reference to an object that is being destroyed.",
                   "velstd/services/velrelease", 50);
}

TEST(XObjectDeathTest, UseOfANullOrUninitHandleAborts) {
  // What a conversion to a base at an offset makes of null and 22.
  for (std::uintptr_t address : {std::uintptr_t{8}, std::uintptr_t{30}, std::uintptr_t{4095}}) {
    auto* object = reinterpret_cast<xobject*>(address);
    EXPECT_VEL_ABORT(xrcattach(object), "Reference through a null or uninitialised handle.",
                     "velstd/services/xobject", 30);
    EXPECT_VEL_ABORT(xrcrelease(object), "Reference through a null or uninitialised handle.",
                     "velstd/services/xobject", 30);
  }
}
#else
TEST(XObject, ReferenceLeftByOnDeleteIsNotNoticed) {
  std::string log;
  xrchandle<Actor>(new Actor(&log, &KeepForEver, nullptr));
  EXPECT_EQ(log, "onDelete destroyed ");
}
#endif

TEST(XDelete, DestroysWhatIsNotCounted) {
  std::string log;
  xdelete(new VelPlainObject(&log));
  EXPECT_EQ(log, "onDelete\ndestroyed\n");
  log.clear();
  auto* attached = new VelPlainObject(&log);
  xrcattach(attached);
  xdelete(attached);
  EXPECT_EQ(log, "onDelete\ndestroyed\n");
}

TEST(XDelete, DoesNothingWhenItRefuses) {
  std::string log;
  auto* object = new VelPlainObject(&log, false);
  xdelete(object);
  EXPECT_EQ(log, "");
  object->setDeletable(true);
  xdelete(object);
  EXPECT_EQ(log, "onDelete\ndestroyed\n");
}

TEST(XDelete, ThrowsForACountedObject) {
  std::string log;
  const xrchandle<VelLogObject> object(new VelLogObject(&log, "a"));
  {
    const auto caught = velCaught([&] { xdelete(object); });
    auto* refused = dynamic_cast<velXRefCountable*>(caught.operator->());
    ASSERT_NE(refused, nullptr);
    EXPECT_EQ(xrcgetcount(object), 2);
    EXPECT_EQ(refused->getVelObject().operator xobject*(), velAsObject(object.operator->()));
  }
  EXPECT_EQ(xrcgetcount(object), 1);
  EXPECT_EQ(log, "");
}

TEST(XDelete, ObjectThatNobodyHeldDiesWithTheException) {
  std::string log;
  auto* object = new VelLogObject(&log, "a");
  {
    const auto caught = velCaught([&] { xdelete(object); });
    EXPECT_EQ(xrcgetcount(object), 1);
    EXPECT_EQ(log, "");
  }
  EXPECT_EQ(log, "a asked\na onDelete\na destroyed\n");
}

TEST(XDelete, ThrowsForUninit) { EXPECT_VEL_THROW(xdelete(xuninitobject), velXNotInitialized); }

TEST(XDelete, LeavesDescriptorsAndAttributesAlone) {
  auto* type = dynamic_cast<xrttistruct*>(velXException::getClassRtti());
  xrttiattr* attr = type->findAttr("Description", 0);
  ASSERT_NE(attr, nullptr);
  EXPECT_FALSE(velGetRtti_int()->isDeletable());
  EXPECT_FALSE(attr->isDeletable());
  xdelete(velGetRtti_int());
  xdelete(type);
  xdelete(attr);
  EXPECT_EQ(Text(velGetRtti_int()->getName()), "int");
  EXPECT_EQ(type->getAttr(0), attr);
  EXPECT_EQ(Text(attr->getName()), "Description");
}

TEST(XDelete, DestroysAnAttributeSequence) {
  xrttiattrseq* attrs = velRttiCollectAttrs(
      dynamic_cast<xrttistruct*>(velXException::getClassRtti()), 1);
  EXPECT_TRUE(attrs->isDeletable());
  xdelete(attrs);  // a leak checker notices if it does not
}

// ---- the virtual table ----

template <class R, class... Args>
R CallSlot(xobject* object, int slot, Args... args) {
  void** table = *reinterpret_cast<void***>(object);
  return reinterpret_cast<R (*)(xobject*, Args...)>(table[slot])(object, args...);
}

TEST(XObjectTable, HoldsTheVirtualFunctionsInOrder) {
  std::string log;
  alignas(Slots) char room[sizeof(Slots)];
  auto* object = new (room) Slots(&log);
  xobject* base = object;
  const xrttiobject* none = nullptr;
  EXPECT_EQ(CallSlot<void*>(base, 2, none), object);
  EXPECT_EQ(CallSlot<void*>(base, 3, none), object);
  EXPECT_EQ(CallSlot<xrttiobject*>(base, 4), xobject::getClassRtti());
  EXPECT_EQ(CallSlot<unsigned char>(base, 5), 1);
  CallSlot<void>(base, 6);
  CallSlot<void>(base, 7);
  CallSlot<void>(base, 8);
  CallSlot<void>(base, 9);
  CallSlot<void>(base, 0);  // destroys and keeps the memory
  EXPECT_EQ(log,
            "dyndowncast dyndowncast_i giveRtti isDeletable onDelete xattach xrelease xfree "
            "destructor ");
  log.clear();
  CallSlot<void>(new Slots(&log), 1);  // destroys and frees
  EXPECT_EQ(log, "destructor ");
}

TEST(XObjectTable, HoldsTheDefaultsOfXobject) {
  std::string log;
  xobject* object = new VelLogObject(&log, "a");
  EXPECT_EQ(CallSlot<xrttiobject*>(object, 4), VelLogObject::getClassRtti());
  EXPECT_EQ(CallSlot<void*>(object, 3, VelLogObject::getClassRtti()), nullptr);
  CallSlot<void>(object, 7);
  CallSlot<void>(object, 7);
  EXPECT_EQ(xrcgetcount(object), 2);
  CallSlot<void>(object, 8);
  EXPECT_EQ(xrcgetcount(object), 1);
  EXPECT_VEL_THROW(CallSlot<void>(object, 9), velXRefCountable);
  CallSlot<void>(object, 8);
  EXPECT_EQ(log, "a asked\na onDelete\na destroyed\n");
}

TEST(XObject, OverriddenAttachAndReleaseSeeEveryPath) {
  std::string log;
  auto* object = new Slots(&log);
  xrcattach(object);
  xrcrelease(object);
  EXPECT_EQ(log, "xattach xrelease ");
  log.clear();
  { const xrchandle<Slots> handle(object); }
  EXPECT_EQ(log, "xattach xrelease ");
  log.clear();
  { const xrcunihandle<xobject> handle(object); }
  EXPECT_EQ(log, "xattach giveRtti xrelease ");
  log.clear();
  { const xany value(object); }
  EXPECT_EQ(log, "xattach giveRtti xrelease ");
  log.clear();
  xdelete(object);
  EXPECT_EQ(log, "xfree ");
  delete object;
}

// ---- signatures ----

static_assert(std::is_same<decltype(&xobject::isDeletable), unsigned char (xobject::*)()>::value,
              "a user overrides it with exactly this type");
static_assert(std::is_same<decltype(&xobject::onDelete), void (xobject::*)()>::value, "");
static_assert(
    std::is_same<decltype(&xobject::dyndowncast), void* (xobject::*)(const xrttiobject*)>::value,
    "");
static_assert(
    std::is_same<decltype(&xobject::dyndowncast_i), void* (xobject::*)(const xrttiobject*)>::value,
    "");
static_assert(std::is_same<decltype(&xobject::isKindOf), bool (xobject::*)(xrttiobject*)>::value,
              "");
static_assert(std::is_same<decltype(&xobject::isSameAs), bool (xobject::*)(xrttiobject*)>::value,
              "");
static_assert(std::is_same<decltype(&xobject::isRefCountable), bool (xobject::*)()>::value, "");
static_assert(std::is_same<decltype(xrcgetcount(nullptr)), int>::value, "");

#define TEST_IS_PUBLIC(Member)                                                     \
  template <class C, class = void>                                                 \
  struct Shows_##Member : std::false_type {};                                      \
  template <class C>                                                               \
  struct Shows_##Member<C, std::void_t<decltype(&C::Member)>> : std::true_type {};
TEST_IS_PUBLIC(isDeletable)
TEST_IS_PUBLIC(giveRtti)
TEST_IS_PUBLIC(xattach)
TEST_IS_PUBLIC(xrelease)
TEST_IS_PUBLIC(xfree)
#undef TEST_IS_PUBLIC

TEST(XObject, CountingMembersArePrivate) {
  EXPECT_TRUE(Shows_isDeletable<xobject>::value);
  EXPECT_FALSE(Shows_giveRtti<xobject>::value);
  EXPECT_FALSE(Shows_xattach<xobject>::value);
  EXPECT_FALSE(Shows_xrelease<xobject>::value);
  EXPECT_FALSE(Shows_xfree<xobject>::value);
}

TEST(XObject, IsAPointerToTheTableAndA32BitCount) {
  EXPECT_EQ(sizeof(xobject), 16u);
  EXPECT_TRUE(std::has_virtual_destructor<xobject>::value);
  EXPECT_TRUE(std::is_empty<XobjectMutexAllocator>::value);
}

TEST(XObject, SeveralBasesShareOne) {
  const xrchandle<Both> object(new Both);
  EXPECT_EQ(static_cast<xobject*>(static_cast<Left*>(object)),
            static_cast<xobject*>(static_cast<Right*>(object)));
  const xrchandle<Left> left(object);
  const xrchandle<Right> right(object);
  EXPECT_EQ(xrcgetcount(object), 3);
}

TEST(XobjectMutexAllocator, MayBeMadeAgain) {
  const XobjectMutexAllocator first;
  const XobjectMutexAllocator second;
  const xrchandle<VelLogObject> object(new VelLogObject);
  EXPECT_EQ(xrcgetcount(object), 1);
}

// ---- what an object says about its type ----

TEST(XObject, ThatOverridesNothingIsAnObjectAndCounted) {
  bool gone = false;
  auto* object = new Bare(&gone);
  EXPECT_EQ(object->getRtti(), velGetRtti_object());
  EXPECT_EQ(Text(object->getVelTypeName()), "object");
  EXPECT_TRUE(object->isRefCountable());
  EXPECT_TRUE(object->isDeletable());
  object->onDelete();
  EXPECT_FALSE(gone);
  xrcattach(object);
  EXPECT_EQ(xrcgetcount(object), 1);
  xrcrelease(object);
  EXPECT_TRUE(gone);
}

TEST(XObject, DescriptorIsTheBuiltInOne) {
  xrttiobject* type = xobject::getClassRtti();
  EXPECT_EQ(type, velGetRtti_object());
  EXPECT_EQ(Text(type->getName()), "object");
  EXPECT_TRUE(type->getIsRefCount());
  EXPECT_EQ(type->getNParents(), 0);
}

TEST(XObject, DescriptorIsNotRegisteredByUse) {
  auto* other = new xrttiobject;
  other->initializeRttiObject("object", 1, 0, nullptr);
  velRttiAddToMap(other);
  xobject object;
  object.getRtti();
  object.dyndowncast(other);
  const bool kept = velRttiGetFromMap("object") == other;
  velRttiAddToMap(velGetRtti_object());
  EXPECT_TRUE(kept);
  delete other;
}

TEST(XObject, AsksItsDescriptor) {
  const xrchandle<velXNull> object(
      dynamic_cast<velXNull*>(velCaught([] { velXNull::Throw(); }).operator->()));
  struct Row {
    xrttiobject* type;
    bool kind;
    bool same;
  };
  for (const Row& row : {Row{velXNull::getClassRtti(), true, true},
                         Row{velXException::getClassRtti(), true, false},
                         Row{xthrowable::getClassRtti(), true, false},
                         Row{velGetRtti_object(), true, false},
                         Row{velXTypeMismatch::getClassRtti(), false, false},
                         Row{nullptr, false, false}}) {
    EXPECT_EQ(object->isKindOf(row.type), row.kind);
    EXPECT_EQ(object->isSameAs(row.type), row.same);
  }
  EXPECT_EQ(Text(object->getVelTypeName()), "vellib::XNull");
  EXPECT_TRUE(object->isRefCountable());
  EXPECT_FALSE(VelPlainObject().isRefCountable());
}

TEST(XObject, DowncastComparesByPointer) {
  xobject object;
  xrttiobject twin;
  twin.initializeRttiObject("object", 1, 0, nullptr);
  EXPECT_EQ(object.dyndowncast(velGetRtti_object()), &object);
  EXPECT_EQ(object.dyndowncast(&twin), nullptr);
  EXPECT_EQ(object.dyndowncast(VelLogObject::getClassRtti()), nullptr);
  EXPECT_EQ(object.dyndowncast(nullptr), nullptr);
}

TEST(XObject, SecondDowncastGivesNull) {
  xobject object;
  VelLogObject derived;
  EXPECT_EQ(object.dyndowncast_i(velGetRtti_object()), nullptr);
  EXPECT_EQ(derived.dyndowncast_i(VelLogObject::getClassRtti()), nullptr);
}

TEST(XObject, CastsReturnTheirArgument) {
  VelLogObject object;
  for (xobject* p : {static_cast<xobject*>(&object), static_cast<xobject*>(nullptr),
                     xuninitobject}) {
    EXPECT_EQ(xobject::cast(p), p);
    EXPECT_EQ(xobject::softcast(p), p);
  }
}

// ---- copies ----

TEST(XObject, CopyStartsAtZeroAndAssignmentKeepsCounts) {
  Bare original;
  xrcattach(&original);
  xrcattach(&original);
  Bare copy(original);
  EXPECT_EQ(xrcgetcount(&copy), 0);
  copy.force(7);
  copy = original;
  EXPECT_EQ(xrcgetcount(&copy), 7);
  EXPECT_EQ(xrcgetcount(&original), 2);
}

template <class... Classes>
constexpr bool AnyCopyable() {
  return ((std::is_copy_constructible<Classes>::value || std::is_copy_assignable<Classes>::value) ||
          ...);
}
static_assert(!AnyCopyable<xboolsequence, xintsequence, xrealsequence, xstringsequence,
                           xanysequence, xbooldictionary, xintdictionary, xrealdictionary,
                           xstringdictionary, xanydictionary, xrttiattrseq>(),
              "collections are not copyable");
static_assert(!AnyCopyable<xthrowable, velXException, velXNull, velXTypeMismatch, velXArgs, velXFunc,
                           velXSoapHttpTransport, xportXTimeout>(),
              "exceptions are not copyable");
static_assert(!AnyCopyable<xrtti, xrttibasic, xrttienum, xrttiobject, xrttistruct, xrttiunion,
                           xrttiarray, xrttisequence, xrttidictionary, xrttiattr>(),
              "descriptors are not copyable");

// ---- across libraries ----

TEST(XObject, ThrownOnesAreCaughtAsObjects) {
  bool caught = false;
  try {
    velXNull::Throw();
  } catch (xobject* object) {
    caught = true;
    EXPECT_EQ(Text(object->getVelTypeName()), "vellib::XNull");
    EXPECT_EQ(xrcgetcount(object), 1);
    xrcrelease(object);
  }
  EXPECT_TRUE(caught);
}

TEST(XObject, ClassesHaveTheirTypeInformationInTheLibrary) {
  void* library = dlopen(VELSTD_LIBRARY_FILE, RTLD_NOW | RTLD_NOLOAD);
  ASSERT_NE(library, nullptr);
  for (const char* name :
       {"xobject", "xthrowable", "velExecutable", "xrtti", "xrttibasic", "xrttienum", "xrttiobject",
        "xrttistruct", "xrttiunion", "xrttiarray", "xrttisequence", "xrttidictionary", "xrttiattr",
        "xrttiattrseq", "xboolsequence", "xintsequence", "xrealsequence", "xstringsequence",
        "xanysequence", "xbooldictionary", "xintdictionary", "xrealdictionary",
        "xstringdictionary", "xanydictionary", "velXException", "velXNull", "velXTypeMismatch",
        "velXInvalidArrayIndex", "velXInvalidSeqIndex", "velXInvalidDictIndex",
        "velXInvalidDictKey", "velXNegativeIndex", "velXNotInitialized", "velXRefCountable",
        "velXNativeException", "velXConnectionClosed", "velXArgs", "velXFunc", "velXExternFunc",
        "velXSerialization", "velXSoapFault", "velXSoapTransport", "velXSoapHttpTransport",
        "xportXCannotConnect", "xportXMsgStringTooLong", "xportXFlushFailed",
        "xportXNullInNonOptArg", "xportXTimeout", "velTraverser", "velPrintTraverser"}) {
    const std::string symbol = "_ZTI" + std::to_string(std::string(name).size()) + name;
    EXPECT_NE(dlsym(library, symbol.c_str()), nullptr) << name;
    // A program that has its own copy of a class's table has a class without a
    // home in the library.
    const std::string table = "_ZTV" + symbol.substr(4);
    EXPECT_NE(dlsym(library, table.c_str()), nullptr) << name;
  }
  dlclose(library);
}

// ---- before main and after ----

// Uses objects while the program's statics come and go.
struct AtBothEnds {
  AtBothEnds() { use(); }
  ~AtBothEnds() { use(); }
  static void use() {
    const xrchandle<xintsequence> sequence(xintsequence::create());
    if (xrcgetcount(sequence) != 1) std::abort();
    if (xintsequence::cast(sequence) != sequence) std::abort();
    const xrchandle<VelLogObject> object(new VelLogObject);
    if (!object->isKindOf(velGetRtti_object())) std::abort();
  }
} atBothEnds;

}  // namespace
