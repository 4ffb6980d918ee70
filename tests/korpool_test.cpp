// The small blocks that the strings of a thread keep for each other, and its objects:
// how many at most, and what becomes of them when the thread ends.
//
// Seen from outside, by the bytes that the C library's allocator has given out. A
// sanitizer's allocator reports none, and nothing is kept there either.
#include <gtest/gtest.h>
#include <malloc.h>
#include <pthread.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "velobject.h"
#include "xrchandle.h"
#include "xrtti.h"
#include "xstring.h"

namespace {

// The bound of a thread and the allocator's own needs for its blocks; far less
// than what the tests give up.
constexpr std::size_t kMostKept = 2 * 128 * 1024;
constexpr std::size_t kSlack = 64 * 1024;  // what else a test does

std::size_t BytesInUse() { return mallinfo2().uordblks; }

// Many strings alive at once, of all sizes that are kept and of larger ones.
void MakeAndDropStrings() {
  std::vector<xstring> strings;
  strings.reserve(10000);
  for (std::size_t i = 0; i < 10000; ++i) {
    strings.emplace_back(std::string(i * 31 % 700, 'x').c_str());
  }
}

class Thing : public virtual xobject {
  VEL_OBJECT(Thing)
 public:
  int number = 5;
};
VEL_OBJECT_RTTI(Thing, xrttiobject, [](xrttiobject* rtti) {
  rtti->initializeRttiObject("korpool_test::Thing", 1, 0, nullptr);
})

// One that is so much larger.
template <int kMore>
class Larger : public Thing {
  char more[kMore] = {};
};

void MakeAndDropObjects() {
  std::vector<xrchandle<xobject>> objects;
  for (int i = 0; i < 3000; ++i) {
    objects.emplace_back(new Larger<1>);
    objects.emplace_back(new Larger<200>);
    objects.emplace_back(new Larger<450>);
    objects.emplace_back(new Larger<700>);
  }
}

class KorPoolOf : public testing::TestWithParam<void (*)()> {};
INSTANTIATE_TEST_SUITE_P(, KorPoolOf, testing::Values(&MakeAndDropStrings, &MakeAndDropObjects));

TEST_P(KorPoolOf, AThreadKeepsNoMoreThanItsBound) {
  const std::size_t before = BytesInUse();
  for (int i = 0; i < 5; ++i) {
    GetParam()();
    EXPECT_LE(BytesInUse(), before + kMostKept + kSlack);
  }
}

TEST_P(KorPoolOf, AThreadThatEndsKeepsNothing) {
  std::thread(GetParam()).join();  // what the first thread costs for ever
  const std::size_t before = BytesInUse();
  for (int i = 0; i < 20; ++i) std::thread(GetParam()).join();
  EXPECT_LE(BytesInUse(), before + kSlack);
}

// Only a sanitizer's allocator is asked each time.
TEST(KorPool, AnObjectTakesThePlaceOfTheLastOneOfItsSize) {
  auto* const first = new Larger<200>;
  const auto place = reinterpret_cast<std::uintptr_t>(first);
  delete first;
  const auto* const other = new Larger<1>;
  const xrchandle<Larger<200>> second(new Larger<200>);
  if (BytesInUse() > 0) {
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(second.operator->()), place);
  }
  EXPECT_EQ(second->number, 5);
  delete other;
}

TEST(KorPool, ObjectsMayChangeTheirThread) {
  const std::size_t before = BytesInUse();
  for (int i = 0; i < 20; ++i) {
    std::vector<xrchandle<Larger<200>>> there;
    std::thread([&] {
      for (int n = 0; n < 2000; ++n) there.emplace_back(new Larger<200>);
    }).join();
    std::vector<xrchandle<Larger<1>>> here;
    for (int n = 0; n < 2000; ++n) here.emplace_back(new Larger<1>);
    std::thread([&] { here.clear(); }).join();
    for (const auto& thing : there) ASSERT_EQ(thing->number, 5);
  }
  EXPECT_LE(BytesInUse(), before + kMostKept + kSlack);
}

// Strings that one thread makes and another gives up, in both directions.
TEST(KorPool, BlocksMayChangeTheirThread) {
  const std::size_t before = BytesInUse();
  for (int i = 0; i < 20; ++i) {
    std::vector<xstring> there;
    std::thread([&] {
      for (int n = 0; n < 5000; ++n) there.emplace_back("a text from there");
    }).join();
    std::vector<xstring> here(5000, xstring());
    for (xstring& text : here) text = "a text from here";
    std::thread([&] {
      here.clear();
      here.shrink_to_fit();
    }).join();
    for (const xstring& text : there) ASSERT_TRUE(text == "a text from there");
  }
  EXPECT_LE(BytesInUse(), before + kMostKept + kSlack);
}

// An object of a thread that is destroyed after most others of its thread.
struct Late {
  ~Late() {
    const xstring made("a text made at the end");
    EXPECT_TRUE(made == "a text made at the end");
    text.reset();
  }
  std::unique_ptr<xstring> text;
};

TEST(KorPool, StringsAreMadeAndGivenUpWhileAThreadEnds) {
  std::thread([] {
    thread_local Late late;
    late.text = std::make_unique<xstring>("a text from the beginning");
    MakeAndDropStrings();
  }).join();
}

// A thread's last strings and objects may go after its list of kept blocks has gone.
pthread_key_t lastKey;
void DropLast(void* text) {
  const xstring other("another");
  delete static_cast<xstring*>(text);
  delete new Larger<1>;
  if (other == "another") return;
  ADD_FAILURE() << "the text is damaged";
}

TEST(KorPool, WhatAThreadHasOutlivesWhatItHasKept) {
  MakeAndDropStrings();  // the pool's own key is older, so that it goes first
  ASSERT_EQ(pthread_key_create(&lastKey, DropLast), 0);
  std::thread([] {
    MakeAndDropStrings();
    ASSERT_EQ(pthread_setspecific(lastKey, new xstring("the last")), 0);
  }).join();
  EXPECT_EQ(pthread_key_delete(lastKey), 0);
}

}  // namespace
