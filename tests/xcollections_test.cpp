#include "xcollections.h"

#include <climits>
#include <cstdlib>
#include <functional>
#include <new>
#include <string>
#include <type_traits>

#include "veltest.h"

// The allocation operators of the whole process, which fail when told to.
namespace {
constexpr int kNever = -1;
int allocationsLeft = kNever;  // then they fail
}  // namespace

// None is inlined: the compiler would take malloc and delete, or new and free,
// for a mismatched pair.
#define VEL_OPERATOR __attribute__((noinline))
VEL_OPERATOR void* operator new(std::size_t bytes) {
  if (allocationsLeft == 0) throw std::bad_alloc();
  if (allocationsLeft > 0) --allocationsLeft;
  if (void* block = std::malloc(bytes ? bytes : 1)) return block;
  throw std::bad_alloc();
}
VEL_OPERATOR void* operator new[](std::size_t bytes) { return operator new(bytes); }
VEL_OPERATOR void operator delete(void* block) noexcept { std::free(block); }
VEL_OPERATOR void operator delete(void* block, std::size_t) noexcept { std::free(block); }
VEL_OPERATOR void operator delete[](void* block) noexcept { std::free(block); }
VEL_OPERATOR void operator delete[](void* block, std::size_t) noexcept { std::free(block); }
#undef VEL_OPERATOR

namespace {

// Runs `step` with memory for no allocation, for one, and so on, until it no
// longer ends in std::bad_alloc.
// @return how often it failed
template <class F>
int FailuresForWantOfMemory(F&& step) {
  for (int failures = 0;; ++failures) {
    allocationsLeft = failures;
    bool failed = false;
    try {
      step();
    } catch (const std::bad_alloc&) {
      failed = true;
    }
    allocationsLeft = kNever;
    if (!failed) return failures;
  }
}

// ---- what each class is ----

template <class C, class Base, class T>
struct Row {
  using Class = C;
  using Template = Base;
  using Element = T;
  using Front = std::conditional_t<std::is_base_of<xbasesequence, C>::value, xtbsequence<T>,
                                   xtbdictionary<T>>;
  static constexpr bool kIsSequence = std::is_base_of<xbasesequence, C>::value;
};

using Rows = testing::Types<
    Row<xboolsequence, xtssequence<unsigned char>, unsigned char>,
    Row<xintsequence, xtssequence<int>, int>, Row<xrealsequence, xtssequence<double>, double>,
    Row<xstringsequence, xtcsequence<xstring>, xstring>, Row<xanysequence, xtcsequence<xany>, xany>,
    Row<xbooldictionary, xtsdictionary<unsigned char>, unsigned char>,
    Row<xintdictionary, xtsdictionary<int>, int>,
    Row<xrealdictionary, xtsdictionary<double>, double>,
    Row<xstringdictionary, xtcdictionary<xstring>, xstring>,
    Row<xanydictionary, xtcdictionary<xany>, xany>>;

struct Identity {
  const char* name;
  xrttibasic* (*element)();
  xobject* (*make)();
};
template <class C>
xobject* Make() {
  return new C;
}
const Identity kIdentities[] = {
    {"booleanseq", velGetRtti_bool, Make<xboolsequence>},
    {"intseq", velGetRtti_int, Make<xintsequence>},
    {"realseq", velGetRtti_real, Make<xrealsequence>},
    {"stringseq", velGetRtti_string, Make<xstringsequence>},
    {"anyseq", velGetRtti_any, Make<xanysequence>},
    {"booleandict", velGetRtti_bool, Make<xbooldictionary>},
    {"intdict", velGetRtti_int, Make<xintdictionary>},
    {"realdict", velGetRtti_real, Make<xrealdictionary>},
    {"stringdict", velGetRtti_string, Make<xstringdictionary>},
    {"anydict", velGetRtti_any, Make<xanydictionary>},
};

template <class Tested>
class XCollections : public testing::Test {
 protected:
  // Place in the tables above.
  static int index() {
    int at = 0;
    for (const Identity& identity : kIdentities) {
      const xrchandle<xobject> made(identity.make());
      if (dynamic_cast<typename Tested::Class*>(made.operator->())) return at;
      ++at;
    }
    return -1;
  }
  static const Identity& identity() { return kIdentities[index()]; }
};

class RowNames {
 public:
  template <class R>
  static std::string GetName(int index) {
    return kIdentities[index].name;
  }
};
TYPED_TEST_SUITE(XCollections, Rows, RowNames);

TYPED_TEST(XCollections, DerivesFromItsTemplates) {
  using C = typename TypeParam::Class;
  static_assert(std::is_convertible<C*, typename TypeParam::Template*>::value, "");
  static_assert(std::is_convertible<C*, typename TypeParam::Front*>::value, "");
  static_assert(std::is_convertible<C*, xobject*>::value, "");
  static_assert(!std::is_copy_constructible<C>::value && !std::is_copy_assignable<C>::value, "");
  static_assert(std::has_virtual_destructor<C>::value, "");
  static_assert(std::is_same<decltype(C::create()), xrchandle<C>>::value, "");
  static_assert(std::is_same<decltype(C::createCapacity(0U)), xrchandle<C>>::value, "");
  static_assert(std::is_same<decltype(C::cast(nullptr)), C*>::value, "");
  static_assert(std::is_same<decltype(C::softcast(nullptr)), C*>::value, "");
  static_assert(std::is_same<decltype(C::getClassRtti()), xrttiobject*>::value, "");
}

TYPED_TEST(XCollections, IsRegisteredByItsName) {
  using C = typename TypeParam::Class;
  xrttiobject* type = C::getClassRtti();
  EXPECT_STREQ(type->getName(), this->identity().name);
  EXPECT_EQ(velRttiGetFromMap(this->identity().name), type);
  EXPECT_EQ(C::getClassRtti(), type);
}

TYPED_TEST(XCollections, ObjectsAnswerTheDescriptorOfTheirClass) {
  using C = typename TypeParam::Class;
  auto made = C::create();
  EXPECT_EQ(made->getRtti(), C::getClassRtti());
  EXPECT_STREQ(made->getVelTypeName(), this->identity().name);
  EXPECT_TRUE(made->isRefCountable());
  EXPECT_TRUE(made->isSameAs(C::getClassRtti()));
  EXPECT_FALSE(made->isSameAs(velGetRtti_object()));
}

TYPED_TEST(XCollections, DescriptorTellsTheElementType) {
  xrttiobject* type = TypeParam::Class::getClassRtti();
  xrtti* element = nullptr;
  if (TypeParam::kIsSequence) {
    auto* sequence = dynamic_cast<xrttisequence*>(type);
    ASSERT_NE(sequence, nullptr);
    element = sequence->getElemType();
    EXPECT_FALSE(sequence->getIsElemOptional());
  } else {
    auto* dictionary = dynamic_cast<xrttidictionary*>(type);
    ASSERT_NE(dictionary, nullptr);
    element = dictionary->getElemType();
    EXPECT_FALSE(dictionary->getIsElemOptional());
  }
  EXPECT_EQ(element, this->identity().element());
}

TYPED_TEST(XCollections, CreateGivesOneReferenceInAHandle) {
  using C = typename TypeParam::Class;
  auto made = C::create();
  ASSERT_FALSE(made.isnull());
  EXPECT_EQ(xrcgetcount(made), 1);
  auto reserved = C::createCapacity(40);
  EXPECT_EQ(xrcgetcount(reserved), 1);
  EXPECT_NE(made.operator->(), C::create().operator->());
}

TYPED_TEST(XCollections, ConstructorMakesOneThatNobodyHolds) {
  using C = typename TypeParam::Class;
  C* made = new C;
  EXPECT_EQ(xrcgetcount(made), 0);
  const xrchandle<C> held(made);
  EXPECT_EQ(xrcgetcount(made), 1);
}

TYPED_TEST(XCollections, CastsKnowTheirClass) {
  using C = typename TypeParam::Class;
  auto made = C::create();
  xobject* object = made;
  EXPECT_EQ(C::cast(object), made.operator->());
  EXPECT_EQ(C::softcast(object), made.operator->());
}

TYPED_TEST(XCollections, CastsRefuseEveryOtherClass) {
  using C = typename TypeParam::Class;
  for (const Identity& identity : kIdentities) {
    if (&identity == &this->identity()) continue;
    const xrchandle<xobject> other(identity.make());
    EXPECT_EQ(C::softcast(other), nullptr);
    const auto caught = velCaught([&] { C::cast(other); });
    auto* error = dynamic_cast<velXTypeMismatch*>(caught.operator->());
    ASSERT_NE(error, nullptr);
    EXPECT_STREQ(error->getTypeName(), this->identity().name);
    EXPECT_EQ(error->getVelObject().operator xobject*(), other.operator->());
  }
  const xrchandle<xobject> plain(new xobject);
  EXPECT_EQ(C::softcast(plain), nullptr);
  EXPECT_VEL_THROW(C::cast(plain), velXTypeMismatch);
}

TYPED_TEST(XCollections, CastsPassNullAndUninitialisedOn) {
  using C = typename TypeParam::Class;
  EXPECT_EQ(C::cast(nullptr), nullptr);
  EXPECT_EQ(C::softcast(nullptr), nullptr);
  EXPECT_TRUE(velIsUninit(C::cast(xuninitobject)));
  EXPECT_TRUE(velIsUninit(C::softcast(xuninitobject)));
}

TYPED_TEST(XCollections, DyndowncastViewsAsItselfAndAsObject) {
  using C = typename TypeParam::Class;
  auto made = C::create();
  xobject* object = made;
  EXPECT_EQ(object->dyndowncast(C::getClassRtti()), static_cast<void*>(made.operator->()));
  EXPECT_EQ(object->dyndowncast(velGetRtti_object()), static_cast<void*>(object));
  EXPECT_EQ(object->dyndowncast(velXNull::getClassRtti()), nullptr);
  EXPECT_EQ(object->dyndowncast(nullptr), nullptr);
}

TYPED_TEST(XCollections, IsCreatedOrNotWithoutLoss) {
  using C = typename TypeParam::Class;
  C::create();  // whatever is made on first use exists
  EXPECT_GE(FailuresForWantOfMemory([] { C::create(); }), 1);
  EXPECT_GE(FailuresForWantOfMemory([] { C::createCapacity(10); }), 1);
}

// ---- capacities ----

// The capacity in bytes of what createCapacity(n) makes of a sequence.
template <class C>
class Shown : public C {
 public:
  explicit Shown(unsigned n) : C(n) {}
  unsigned capacity() const { return this->GetCapacity(); }
};
template <class C>
unsigned CapacityFor(unsigned n) {
  // A sequence class has no field of its own, so the subclass shows what
  // createCapacity leaves in the core.
  static_assert(sizeof(Shown<C>) == sizeof(C), "");
  struct Peek : C {
    static unsigned of(const C& made) { return (made.*&Peek::GetCapacity)(); }
  };
  auto made = C::createCapacity(n);
  EXPECT_EQ(made->getarraysize(), 0);
  const xrchandle<Shown<C>> shown(new Shown<C>(n));
  EXPECT_EQ(shown->capacity(), Peek::of(*made));
  return shown->capacity();
}

TEST(XCollectionsCapacity, OfSequencesIsInWholeBlocks) {
  EXPECT_EQ(CapacityFor<xboolsequence>(256), 256U);
  EXPECT_EQ(CapacityFor<xboolsequence>(257), 512U);
  EXPECT_EQ(CapacityFor<xintsequence>(64), 256U);
  EXPECT_EQ(CapacityFor<xintsequence>(65), 512U);
  EXPECT_EQ(CapacityFor<xrealsequence>(32), 256U);
  EXPECT_EQ(CapacityFor<xrealsequence>(33), 512U);
  EXPECT_EQ(CapacityFor<xanysequence>(8), 256U);
  EXPECT_EQ(CapacityFor<xanysequence>(9), 512U);
}

TEST(XCollectionsCapacity, OfStringSequencesIsInElevens) {
  EXPECT_EQ(CapacityFor<xstringsequence>(10), 264U);
  EXPECT_EQ(CapacityFor<xstringsequence>(11), 264U);
  EXPECT_EQ(CapacityFor<xstringsequence>(12), 528U);
  EXPECT_EQ(CapacityFor<xstringsequence>(23), 1056U);
}

TEST(XCollectionsCapacity, ZeroAndNegativeReserveNothing) {
  for (unsigned n : {0U, 0x80000000U, UINT_MAX}) {
    EXPECT_EQ(CapacityFor<xboolsequence>(n), 0U);
    EXPECT_EQ(CapacityFor<xintsequence>(n), 0U);
    EXPECT_EQ(CapacityFor<xrealsequence>(n), 0U);
    EXPECT_EQ(CapacityFor<xstringsequence>(n), 0U);
    EXPECT_EQ(CapacityFor<xanysequence>(n), 0U);
    EXPECT_EQ(xbooldictionary::createCapacity(n)->getmapsize(), 0);
    EXPECT_EQ(xintdictionary::createCapacity(n)->getmapsize(), 0);
    EXPECT_EQ(xrealdictionary::createCapacity(n)->getmapsize(), 0);
    EXPECT_EQ(xstringdictionary::createCapacity(n)->getmapsize(), 0);
    EXPECT_EQ(xanydictionary::createCapacity(n)->getmapsize(), 0);
  }
}

template <class C>
void ExpectSlots() {
  EXPECT_EQ(C::create()->getmapsize(), 0);
  EXPECT_EQ(C::createCapacity(1)->getmapsize(), 32);
  EXPECT_EQ(C::createCapacity(29)->getmapsize(), 32);
  EXPECT_EQ(C::createCapacity(30)->getmapsize(), 64);
  EXPECT_EQ(C::createCapacity(1000)->getmapsize(), 2048);
}

TEST(XCollectionsCapacity, OfDictionariesIsInSlots) {
  ExpectSlots<xbooldictionary>();
  ExpectSlots<xintdictionary>();
  ExpectSlots<xrealdictionary>();
  ExpectSlots<xstringdictionary>();
  ExpectSlots<xanydictionary>();
}

TEST(XCollectionsCapacity, BeyondTheLimitIsRefusedAtOnce) {
  const char* const text = "Size limit exceeded";
  EXPECT_VEL_NATIVE(xstringsequence::createCapacity(100000000), text);
  EXPECT_VEL_NATIVE(xstringsequence::createCapacity(92274689), text);
  EXPECT_VEL_NATIVE(xintdictionary::createCapacity(2000000000), text);
  EXPECT_VEL_NATIVE(xanydictionary::createCapacity(INT_MAX), text);
  EXPECT_VEL_NATIVE(xintsequence::createCapacity(536870913), text);
  EXPECT_VEL_NATIVE(xintsequence::createCapacity(INT_MAX), text);
  EXPECT_VEL_NATIVE(xrealsequence::createCapacity(268435457), text);
  EXPECT_VEL_NATIVE(xanysequence::createCapacity(67108865), text);
}

// ---- elements through the descriptors ----

TEST(XCollectionsDescriptors, SequenceDescriptorsReadTheirElements) {
  auto seq = xstringsequence::create();
  seq->append("a");
  seq->append("b");
  auto* type = dynamic_cast<xrttisequence*>(seq->getRtti());
  ASSERT_NE(type, nullptr);
  EXPECT_EQ(type->getSize(seq), 2);
  EXPECT_TRUE(type->getElemValue(seq, 1) == xany("b"));
  EXPECT_VEL_THROW(type->getElemValue(seq, 2), velXInvalidSeqIndex);
}

TEST(XCollectionsDescriptors, DictionaryDescriptorsReadTheirEntries) {
  auto dict = xrealdictionary::create();
  dict->set("pi", 3.25);
  auto* type = dynamic_cast<xrttidictionary*>(dict->getRtti());
  ASSERT_NE(type, nullptr);
  EXPECT_EQ(type->getSize(dict), 32);
  xany value;
  EXPECT_TRUE(type->findElemValue(dict, "pi", &value));
  EXPECT_TRUE(value == xany(3.25));
  EXPECT_FALSE(type->findElemValue(dict, "e", &value));
}

// ---- no memory for an exception ----

TEST(XIntSequence, ErrorsWithoutMemoryAreBadAlloc) {
  auto seq = xintsequence::create();
  seq->append(1);
  const std::function<void()> wrong[] = {
      [&] { seq->get(-1); },
      [&] { seq->get(1); },
      [&] { seq->set(INT_MAX, 1); },
      [&] { seq->removerange(0, -1); },
  };
  for (const auto& run : wrong) {
    velCaught(run);  // whatever is made on first use exists
    EXPECT_GE(FailuresForWantOfMemory([&] { velCaught(run); }), 1);
  }
  EXPECT_EQ(xrcgetcount(seq), 1);
  ASSERT_EQ(seq->getarraysize(), 1);
  EXPECT_EQ(seq->get(0), 1);
}

}  // namespace
