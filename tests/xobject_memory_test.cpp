// The memory of objects in a program that counts what operator new gives: it sees
// every call. What is kept where nobody counts is korpool_test's matter.
#include <cstdint>
#include <new>
#include <stdexcept>

#include "veltest.h"
#include "veltest_memory.h"
#include "xcollections.h"

namespace {

class Thing : public virtual xobject {
  VEL_OBJECT(Thing)
 public:
  explicit Thing(bool fails = false) {
    if (fails) throw std::runtime_error("no thing");
  }
  int value = 7;
};
VEL_OBJECT_RTTI(Thing, xrttiobject, [](xrttiobject* rtti) {
  rtti->initializeRttiObject("xobject_memory_test::Thing", 1, 0, nullptr);
})

class alignas(64) WideThing : public Thing {};

TEST(XObjectMemory, EachObjectIsABlockThatIsGivenBack) {
  { const xrchandle<Thing> first(new Thing); }  // its type stays
  { const xrchandle<xintsequence> first(xintsequence::create()); }
  const long before = velLiveBlocks();
  for (int i = 0; i < 100; ++i) {
    xrchandle<Thing> a(new Thing);
    EXPECT_EQ(velLiveBlocks(), before + 1);
    const xrchandle<Thing> b(new Thing);
    EXPECT_EQ(velLiveBlocks(), before + 2);
    a = 0;
    EXPECT_EQ(velLiveBlocks(), before + 1);
  }
  EXPECT_EQ(velLiveBlocks(), before);
  { const xrchandle<xintsequence> sequence(xintsequence::create()); }
  EXPECT_EQ(velLiveBlocks(), before);
}

TEST(XObjectMemory, WithoutMemoryThereIsNoObject) {
  {
    const VelFailAllocation fail(1);
    EXPECT_THROW(delete new Thing, std::bad_alloc);
  }
  const VelFailAllocation fail(1);
  EXPECT_EQ(new (std::nothrow) Thing, nullptr);
}

TEST(XObjectMemory, WithoutExceptionsItIsTheSame) {
  const long before = velLiveBlocks();
  auto* const thing = new (std::nothrow) Thing;
  ASSERT_NE(thing, nullptr);
  EXPECT_EQ(velLiveBlocks(), before + 1);
  const xrchandle<Thing> held(thing);
  EXPECT_EQ(held->value, 7);
}

TEST(XObjectMemory, AConstructorThatThrowsLosesNothing) {
  const long before = velLiveBlocks();
  EXPECT_THROW(delete new Thing(true), std::runtime_error);
  EXPECT_THROW(delete new (std::nothrow) Thing(true), std::runtime_error);
  EXPECT_EQ(velLiveBlocks(), before);
}

TEST(XObjectMemory, AClassMayAskForItsAlignment) {
  for (int i = 0; i < 10; ++i) {
    const xrchandle<WideThing> held(new WideThing);
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(held.operator->()) % 64, 0U);
  }
}

TEST(XObjectMemory, MayBeTheCallers) {
  alignas(Thing) unsigned char place[sizeof(Thing)];
  const long before = velLiveBlocks();
  auto* const thing = new (place) Thing;
  EXPECT_EQ(static_cast<void*>(thing), static_cast<void*>(place));
  EXPECT_EQ(thing->value, 7);
  thing->~Thing();
  EXPECT_THROW(new (place) Thing(true), std::runtime_error);
  EXPECT_EQ(velLiveBlocks(), before);
}

TEST(XObjectMemory, GivesNothingBackForNull) {
  xobject::operator delete(nullptr, sizeof(Thing));
  xobject::operator delete(nullptr, std::nothrow);
}

}  // namespace
