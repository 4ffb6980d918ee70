#include <gtest/gtest.h>

#include <unistd.h>

#include <array>
#include <climits>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <map>
#include <memory>
#include <new>
#include <random>
#include <set>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "dsxarray.h"
#include "koralloc.h"
#include "korinst.h"
#include "velstack.h"

// Under a sanitizer the allocator too answers null to the sizes that some
// tests ask for on purpose.
extern "C" __attribute__((visibility("default"))) const char* __asan_default_options() {
  return "allocator_may_return_null=1";
}
extern "C" __attribute__((visibility("default"))) const char* __tsan_default_options() {
  return "allocator_may_return_null=1";
}

namespace {

// The containers compare and keep pointers but never read through them, so
// any address will do.
template <class T>
T* Ptr(std::uintptr_t address) {
  return reinterpret_cast<T*>(address);
}

template <class T>
std::uintptr_t Address(T* pointer) {
  return reinterpret_cast<std::uintptr_t>(pointer);
}

using Addresses = std::vector<std::uintptr_t>;

// Elements by position.
template <class C>
Addresses Contents(const C& container) {
  Addresses all;
  for (int i = 0; i < container.GetCount(); ++i) all.push_back(Address(container.GetAt(i)));
  return all;
}

// Elements by iterator.
template <class C>
Addresses Walked(const C& container) {
  Addresses all;
  const auto iter =
      std::unique_ptr<std::remove_pointer_t<decltype(container.GetIter())>>(container.GetIter());
  for (; !iter->Finished(); iter->Next()) all.push_back(Address(iter->Get()));
  return all;
}

// Records so large that the largest array of them exceeds any address space.
struct Huge {
  std::array<char, 65536> bytes;
  bool operator!=(const Huge& other) const { return bytes != other.bytes; }
};

// Runs `step`, which must throw, and ends the process: with 7 when `unchanged`
// then holds. What is thrown stays behind with the process.
template <class Step, class Check>
[[noreturn]] void ExitAfterThrow(Step step, Check unchanged) {
  try {
    step();
  } catch (...) {
    _exit(unchanged() ? 7 : 8);
  }
  _exit(9);
}

// ---- memory ----

TEST(KorAlloc, IsTheAllocatorOfTheCRuntime) {
  auto* block = static_cast<char*>(korAlloc(4));
  ASSERT_NE(block, nullptr);
  std::memcpy(block, "abc", 4);
  block = static_cast<char*>(korRealloc(block, 4000));
  ASSERT_NE(block, nullptr);
  EXPECT_STREQ(block, "abc");
  std::free(block);
  korFree(std::malloc(1));
  korFree(nullptr);
  void* fresh = korRealloc(nullptr, 8);
  EXPECT_NE(fresh, nullptr);
  korFree(fresh);
}

TEST(KorAlloc, AnswersNullWithoutMemory) {
  const volatile std::size_t tooMuch = SIZE_MAX / 4;
  EXPECT_EQ(korAlloc(tooMuch), nullptr);
  void* block = korAlloc(1);
  EXPECT_EQ(korRealloc(block, tooMuch), nullptr);
  korFree(block);
}

// ---- comparison ----

TEST(KorCompare, PointersCompareAsUnsignedNumbers) {
  const void* low = Ptr<void>(0x1);
  const void* middle = Ptr<void>(0x100000001);
  const void* high = Ptr<void>(0xffffffff00000001);
  EXPECT_EQ(Cmp_Ptrs(low, low), 0);
  EXPECT_EQ(Cmp_Ptrs(low, middle), -1);
  EXPECT_EQ(Cmp_Ptrs(middle, low), 1);
  EXPECT_EQ(Cmp_Ptrs(middle, high), -1);
  EXPECT_EQ(Cmp_Ptrs(high, low), 1);
  EXPECT_EQ(Cmp_Ptrs(nullptr, low), -1);
}

TEST(KorCompare, TextsCompareAsUnsignedBytes) {
  EXPECT_EQ(Cmp_cStrings("a", "b"), -1);
  EXPECT_EQ(Cmp_cStrings("c", "a"), 1);
  EXPECT_EQ(Cmp_cStrings("a", "a"), 0);
  EXPECT_EQ(Cmp_cStrings("a", "ab"), -1);
  EXPECT_EQ(Cmp_cStrings("a\xff", "a\x01"), 1);
  EXPECT_EQ(Cmp_cStrings("z", "\x80"), -1);
}

TEST(KorCompare, NullTextsSortFirst) {
  const char* one = Ptr<const char>(1);
  EXPECT_EQ(Cmp_cStrings(nullptr, nullptr), 0);
  EXPECT_EQ(Cmp_cStrings(nullptr, one), 0);
  EXPECT_EQ(Cmp_cStrings(one, nullptr), 0);
  EXPECT_EQ(Cmp_cStrings(nullptr, ""), -1);
  EXPECT_EQ(Cmp_cStrings(one, ""), -1);
  EXPECT_EQ(Cmp_cStrings("", one), 1);
  EXPECT_EQ(Cmp_cStrings(Ptr<const char>(2), "uninit"), 0);
}

TEST(KorCompare, ScalarsCompareByValue) {
  EXPECT_EQ(korCompareScalars(INT_MIN, INT_MAX), -1);
  EXPECT_EQ(korCompareScalars(3U, 2U), 1);
  EXPECT_EQ(korCompareScalars(2.5, 2.5), 0);
  EXPECT_EQ(korCompareScalars(Ptr<int>(0x100000001), Ptr<int>(0x1)), 1);
}

// ---- search ----

TEST(KorSearch, FindsThePlaceInEverySize) {
  for (int count = 0; count < 40; ++count) {
    // Elements are 1, 3, 5, ...
    for (int key = 0; key <= 2 * count + 1; ++key) {
      int position = -1;
      const bool found = korSearch(count, &position, [&](int at) { return key - (2 * at + 1); });
      EXPECT_EQ(found, key % 2 == 1 && key < 2 * count);
      EXPECT_EQ(position, key / 2) << count << ' ' << key;
    }
  }
}

TEST(KorSearch, ProbesTheMiddleWithoutOverflow) {
  std::vector<int> probes;
  int position = -1;
  EXPECT_FALSE(korSearch(INT_MAX, &position, [&](int at) {
    probes.push_back(at);
    return 1;
  }));
  EXPECT_EQ(position, INT_MAX);
  EXPECT_EQ(probes.front(), (INT_MAX - 1) / 2);
  EXPECT_EQ(probes.back(), INT_MAX - 1);
  EXPECT_LE(probes.size(), 31U);

  probes.clear();
  korSearch(4, &position, [&](int at) {
    probes.push_back(at);
    return -1;
  });
  EXPECT_EQ(probes, (std::vector<int>{1, 0}));
}

// ---- untyped arrays ----

TEST(KorXArrayImpl, InsertsSetsAndRemovesByPosition) {
  korXArrayImpl array;
  EXPECT_EQ(array.GetCount(), 0);
  EXPECT_EQ(array.GetCapacity(), 0);
  EXPECT_TRUE(array.InsertAt(0, Ptr<void>(20)));
  EXPECT_TRUE(array.InsertAt(0, Ptr<void>(10)));
  EXPECT_TRUE(array.InsertAt(2, Ptr<void>(30)));
  EXPECT_FALSE(array.InsertAt(4, Ptr<void>(40)));
  EXPECT_FALSE(array.InsertAt(-1, Ptr<void>(40)));
  EXPECT_EQ(Contents(array), (Addresses{10, 20, 30}));
  EXPECT_TRUE(array.SetAt(1, Ptr<void>(25)));
  EXPECT_FALSE(array.SetAt(3, Ptr<void>(40)));
  EXPECT_FALSE(array.SetAt(-1, Ptr<void>(40)));
  EXPECT_FALSE(array.RemoveAt(3));
  EXPECT_FALSE(array.RemoveAt(-1));
  EXPECT_TRUE(array.RemoveAt(0));
  EXPECT_EQ(Contents(array), (Addresses{25, 30}));
  EXPECT_EQ(array.GetAt(2), nullptr);
  EXPECT_EQ(array.GetAt(-1), nullptr);
  array.RemoveAll();
  EXPECT_EQ(array.GetCount(), 0);
}

TEST(KorXArrayImpl, AppendsInAmortisedConstantTime) {
  korXArrayImpl array(0);
  int moves = 0;
  int capacity = 0;
  for (int i = 0; i < 100000; ++i) {
    ASSERT_TRUE(array.InsertAt(i, Ptr<void>(static_cast<std::uintptr_t>(i))));
    if (array.GetCapacity() != capacity) ++moves;
    capacity = array.GetCapacity();
  }
  EXPECT_LE(moves, 20);
}

TEST(KorXArrayImpl, LooksUpInTheGivenOrder) {
  korXArrayImpl array;
  for (std::uintptr_t i = 0; i < 5; ++i)
    array.InsertAt(static_cast<int>(i), Ptr<void>(10 * (i + 1)));
  int position = -1;
  EXPECT_TRUE(array._Lookup(Ptr<void>(30), Cmp_Ptrs, &position));
  EXPECT_EQ(position, 2);
  EXPECT_FALSE(array._Lookup(Ptr<void>(31), Cmp_Ptrs, &position));
  EXPECT_EQ(position, 3);
  EXPECT_FALSE(array._Lookup(Ptr<void>(60), Cmp_Ptrs, &position));
  EXPECT_EQ(position, 5);
}

TEST(KorClassXArrayImpl, KeepsRecords) {
  struct Record {
    const char* key;
    int number;
  };
  korClassXArrayImpl array(sizeof(Record), 2);
  const Record b = {"b", 2};
  const Record a = {"a", 1};
  EXPECT_TRUE(array.InsertAt(0, &b));
  EXPECT_TRUE(array.InsertAt(0, &a));
  EXPECT_FALSE(array.InsertAt(3, &a));
  EXPECT_FALSE(array.InsertAt(-1, &a));
  EXPECT_EQ(static_cast<Record*>(array.GetAt(0))->number, 1);
  EXPECT_EQ(static_cast<Record*>(array.GetAt(1))->number, 2);
  EXPECT_EQ(array.GetAt(2), nullptr);
  EXPECT_EQ(array.GetAt(-1), nullptr);
  int position = -1;
  EXPECT_TRUE(array._Lookup("b", Cmp_cStrings, &position));
  EXPECT_EQ(position, 1);
  EXPECT_FALSE(array.RemoveAt(2));
  EXPECT_FALSE(array.RemoveAt(-1));
  EXPECT_TRUE(array.RemoveAt(0));
  EXPECT_EQ(static_cast<Record*>(array.GetAt(0))->number, 2);
  EXPECT_EQ(array.GetCount(), 1);
}

TEST(KorRawArray, FailedGrowthLeavesTheArray) {
  korRawArray array;
  array.Resize(3, sizeof(Huge));
  static_cast<char*>(array.At(2, sizeof(Huge)))[0] = 'x';
  const int capacity = array.GetCapacity();
  EXPECT_THROW(array.Resize(INT_MAX, sizeof(Huge)), std::bad_alloc);
  EXPECT_EQ(array.GetCount(), 3);
  EXPECT_EQ(array.GetCapacity(), capacity);
  EXPECT_EQ(static_cast<char*>(array.At(2, sizeof(Huge)))[0], 'x');
}

TEST(KorRawArrayDeathTest, TheLargestCountIsALimit) {
  // One byte each; the pages are never touched.
  EXPECT_EXIT(
      {
        korRawArray array(1);
        array.Resize(INT_MAX, 1);
        if (array.GetCount() != INT_MAX) _exit(6);
        ExitAfterThrow([&] { array.GrowDoubling(1); }, [&] { return array.GetCount() == INT_MAX; });
      },
      testing::ExitedWithCode(7), "");
  EXPECT_EXIT(
      {
        korRawArray array(16);
        array.Resize(INT_MAX, 1);
        ExitAfterThrow([&] { array.GrowByStep(1); }, [&] { return array.GetCount() == INT_MAX; });
      },
      testing::ExitedWithCode(7), "");
  EXPECT_EXIT(
      {
        korRawArray array(INT_MAX);
        array.Resize(INT_MAX, 1);
        ExitAfterThrow([&] { array.FitOneMore(1); },
                       [&] { return array.GetCapacity() == INT_MAX; });
      },
      testing::ExitedWithCode(7), "");
}

TEST(KorRawArray, CapacityStopsAtTheLargestCount) {
  korRawArray array(1000);
  array.Resize(INT_MAX - 1, 1);
  EXPECT_EQ(array.GetCapacity(), INT_MAX);
  array.GrowByStep(1);
  *static_cast<char*>(array.OpenGap(INT_MAX - 1, 1)) = 'x';
  EXPECT_EQ(array.GetCount(), INT_MAX);
}

// ---- korSet ----

TEST(KorSet, KeepsItsElementsInOrder) {
  korSet<xobject*> set(Cmp_Ptrs);
  EXPECT_TRUE(set.Insert(Ptr<xobject>(0xffffffff00000001)));
  EXPECT_TRUE(set.Add(Ptr<xobject>(0x1)));
  EXPECT_TRUE(set.Insert(Ptr<xobject>(0x100000001)));
  EXPECT_EQ(Contents(set), (Addresses{0x1, 0x100000001, 0xffffffff00000001}));
  EXPECT_EQ(Walked(set), Contents(set));
  EXPECT_FALSE(set.Insert(Ptr<xobject>(0x1)));
  EXPECT_FALSE(set.Add(Ptr<xobject>(0x100000001)));
  EXPECT_EQ(set.GetCount(), 3);
  EXPECT_TRUE(set.Contains(Ptr<xobject>(0x100000001)));
  EXPECT_FALSE(set.Contains(Ptr<xobject>(0x2)));
  EXPECT_TRUE(set.Remove(Ptr<xobject>(0x100000001)));
  EXPECT_FALSE(set.Remove(Ptr<xobject>(0x100000001)));
  EXPECT_EQ(Contents(set), (Addresses{0x1, 0xffffffff00000001}));
  EXPECT_EQ(set.GetAt(2), nullptr);
  EXPECT_EQ(set.GetAt(-1), nullptr);
  set.RemoveAll();
  EXPECT_EQ(set.GetCount(), 0);
  EXPECT_FALSE(set.Contains(Ptr<xobject>(0x1)));
}

// Calls pointers equal that share their last decimal digit, and sorts
// downwards.
int CompareLastDigitsDown(const void* a, const void* b) {
  return static_cast<int>(Address(b) % 10) - static_cast<int>(Address(a) % 10);
}

TEST(KorSet, ReplacesAnEqualElementInPlace) {
  korSet<xrttiobject*> set(CompareLastDigitsDown, 1);
  EXPECT_TRUE(set.Insert(Ptr<xrttiobject>(11)));
  EXPECT_TRUE(set.Insert(Ptr<xrttiobject>(12)));
  EXPECT_TRUE(set.Insert(Ptr<xrttiobject>(13)));
  EXPECT_FALSE(set.Insert(Ptr<xrttiobject>(22)));
  EXPECT_EQ(Contents(set), (Addresses{13, 22, 11}));
  EXPECT_TRUE(set.Contains(Ptr<xrttiobject>(32)));
  EXPECT_TRUE(set.Remove(Ptr<xrttiobject>(32)));
  EXPECT_EQ(Contents(set), (Addresses{13, 11}));
}

TEST(KorSet, IteratorsReproduceAtTheSamePlace) {
  korSet<xobject*> set(Cmp_Ptrs);
  for (std::uintptr_t i = 1; i <= 3; ++i) set.Insert(Ptr<xobject>(i));
  const std::unique_ptr<korSet<xobject*>::Iter> iter(set.GetIter());
  iter->Next();
  const std::unique_ptr<korSet<xobject*>::Iter> twin(iter->Reproduce());
  iter->Next();
  EXPECT_EQ(Address(twin->Get()), 2U);
  EXPECT_EQ(Address(iter->Get()), 3U);
  iter->Next();
  EXPECT_TRUE(iter->Finished());
  EXPECT_EQ(iter->Get(), nullptr);
  iter->Next();
  EXPECT_TRUE(iter->Finished());
  EXPECT_FALSE(twin->Finished());
  iter->Reset();
  EXPECT_EQ(Address(iter->Get()), 1U);

  korSet<xobject*> empty(Cmp_Ptrs);
  const std::unique_ptr<korSet<xobject*>::Iter> none(empty.GetIter());
  EXPECT_TRUE(none->Finished());
}

TEST(KorIterImpl, WalksAnArrayOfPointers) {
  korXArrayImpl array;
  array.InsertAt(0, Ptr<void>(5));
  korIterImpl iter(array);
  const std::unique_ptr<korIterImpl> twin(iter.Reproduce());
  EXPECT_EQ(Address(iter.GetElement()), 5U);
  iter.Next();
  EXPECT_TRUE(iter.Finished());
  EXPECT_EQ(iter.GetElement(), nullptr);
  EXPECT_FALSE(twin->Finished());
}

TEST(KorSet, AgreesWithAModel) {
  std::mt19937 random(11);
  korSet<xobject*> set(Cmp_Ptrs, 3);
  std::set<std::uintptr_t> model;
  for (int round = 0; round < 20000; ++round) {
    const std::uintptr_t address = random() % 64;
    xobject* element = Ptr<xobject>(address);
    if (random() % 2 == 0) {
      ASSERT_EQ(set.Insert(element), model.insert(address).second);
    } else {
      ASSERT_EQ(set.Remove(element), model.erase(address) == 1);
    }
    ASSERT_EQ(set.Contains(element), model.count(address) == 1);
    ASSERT_EQ(set.GetCount(), static_cast<int>(model.size()));
  }
  EXPECT_EQ(Contents(set), Addresses(model.begin(), model.end()));
}

// ---- maps ----

TEST(KorNonOwnerStringMap, KeepsPointingAtTheCallersKeys) {
  korNonOwnerStringMap<void*> map;
  std::string key = "key";
  EXPECT_TRUE(map.Insert(key.c_str(), Ptr<void>(5)));
  EXPECT_EQ(map.GetKeyAt(0), key.c_str());
  // Replacing the value keeps the first key pointer.
  const std::string twin = "key";
  EXPECT_FALSE(map.Insert(twin.c_str(), Ptr<void>(6)));
  EXPECT_EQ(map.GetKeyAt(0), key.c_str());
  EXPECT_EQ(Address(map.GetValueAt(0)), 6U);
  // The text behind the pointer is the caller's, and is what counts.
  key = "kez";
  EXPECT_FALSE(map.Contains("key"));
  EXPECT_TRUE(map.Contains("kez"));
}

TEST(KorNonOwnerStringMap, LooksUpByText) {
  korNonOwnerStringMap<xrtti*> map(1);
  EXPECT_TRUE(map.Insert("b", Ptr<xrtti>(2)));
  EXPECT_TRUE(map.Add("a", Ptr<xrtti>(1)));
  EXPECT_TRUE(map.Insert("\xff", Ptr<xrtti>(3)));
  xrtti* value = Ptr<xrtti>(99);
  EXPECT_FALSE(map.Lookup("c", &value));
  EXPECT_FALSE(map.Find("c", &value));
  EXPECT_EQ(Address(value), 99U);
  EXPECT_TRUE(map.Lookup("a", &value));
  EXPECT_EQ(Address(value), 1U);
  EXPECT_TRUE(map.Find("b", &value));
  EXPECT_EQ(Address(value), 2U);
  EXPECT_TRUE(map.Lookup("b", nullptr));
  EXPECT_FALSE(map.Insert("b", nullptr));
  EXPECT_TRUE(map.Lookup("b", &value));
  EXPECT_EQ(value, nullptr);
  EXPECT_FALSE(map.Remove("c"));
  EXPECT_TRUE(map.Remove("b"));
  EXPECT_FALSE(map.Contains("b"));
  EXPECT_EQ(map.GetCount(), 2);
  map.RemoveAll();
  EXPECT_EQ(map.GetCount(), 0);
}

TEST(KorNonOwnerStringMap, TakesNullKeysAsOne) {
  korNonOwnerStringMap<void*> map;
  EXPECT_TRUE(map.Insert(nullptr, Ptr<void>(1)));
  EXPECT_FALSE(map.Insert(Ptr<const char>(1), Ptr<void>(2)));
  EXPECT_TRUE(map.Insert("", Ptr<void>(3)));
  EXPECT_EQ(map.GetCount(), 2);
  EXPECT_EQ(Address(map.GetValueAt(0)), 2U);
}

TEST(KorNonOwnerStringMap, IteratesInKeyOrder) {
  korNonOwnerStringMap<void*> map;
  map.Insert("c", Ptr<void>(3));
  map.Insert("a", Ptr<void>(1));
  map.Insert("b", Ptr<void>(2));
  std::string walked;
  const std::unique_ptr<korNonOwnerStringMap<void*>::Iter> iter(map.GetIter());
  std::unique_ptr<korNonOwnerStringMap<void*>::Iter> second;
  for (; !iter->Finished(); iter->Next()) {
    walked += iter->GetKey() + std::to_string(Address(iter->GetValue()));
    if (walked.size() == 4) second.reset(iter->Reproduce());
  }
  EXPECT_EQ(walked, "a1b2c3");
  EXPECT_STREQ(second->GetKey(), "b");
  EXPECT_EQ(iter->GetKey(), nullptr);
  EXPECT_EQ(iter->GetValue(), nullptr);
  iter->Next();
  EXPECT_TRUE(iter->Finished());
  iter->Reset();
  EXPECT_STREQ(iter->GetKey(), "a");
  EXPECT_STREQ(map.GetKeyAt(2), "c");
  EXPECT_EQ(map.GetKeyAt(3), nullptr);
  EXPECT_EQ(map.GetValueAt(-1), nullptr);
}

TEST(KorMapIterImpl, WalksAnArrayOfRecords) {
  korClassXArrayImpl array(sizeof(int));
  const int number = 7;
  array.InsertAt(0, &number);
  korMapIterImpl iter(array);
  const std::unique_ptr<korMapIterImpl> twin(iter.Reproduce());
  EXPECT_EQ(*static_cast<const int*>(iter.GetRecord()), 7);
  iter.Next();
  EXPECT_TRUE(iter.Finished());
  EXPECT_EQ(iter.GetRecord(), nullptr);
  EXPECT_FALSE(twin->Finished());
}

int CompareDown(const char* a, const char* b) { return Cmp_cStrings(b, a); }

TEST(KorClassMap, OrdersByTheGivenFunction) {
  korClassMap<const char*, void*> map(CompareDown);
  map.Insert("a", Ptr<void>(1));
  map.Insert("c", Ptr<void>(3));
  map.Insert("b", Ptr<void>(2));
  EXPECT_STREQ(map.GetKeyAt(0), "c");
  EXPECT_STREQ(map.GetKeyAt(2), "a");
  EXPECT_TRUE(map.Contains("b"));
  korClassMap<const char*, xrtti*> other(Cmp_cStrings, -3);
  EXPECT_TRUE(other.Insert("x", Ptr<xrtti>(9)));
  EXPECT_EQ(Address(other.GetValueAt(0)), 9U);
}

TEST(KorNonOwnerStringMap, AgreesWithAModel) {
  std::vector<std::string> keys;
  for (int i = 0; i < 60; ++i) keys.push_back("key" + std::to_string(i * 37 % 60));
  std::mt19937 random(12);
  korNonOwnerStringMap<void*> map;
  std::map<std::string, std::uintptr_t> model;
  for (int round = 0; round < 20000; ++round) {
    const std::string& key = keys[random() % keys.size()];
    const std::uintptr_t number = random();
    if (random() % 2 == 0) {
      ASSERT_EQ(map.Insert(key.c_str(), Ptr<void>(number)), model.count(key) == 0);
      model[key] = number;
    } else {
      ASSERT_EQ(map.Remove(key.c_str()), model.erase(key) == 1);
    }
    void* value = nullptr;
    ASSERT_EQ(map.Lookup(key.c_str(), &value), model.count(key) == 1);
    ASSERT_EQ(Address(value), model.count(key) ? model[key] : 0U);
  }
  int position = 0;
  for (const auto& entry : model) {
    ASSERT_EQ(map.GetKeyAt(position), entry.first);
    ASSERT_EQ(Address(map.GetValueAt(position++)), entry.second);
  }
  EXPECT_EQ(map.GetCount(), position);
}

// ---- velStack ----

TEST(VelStack, TheFirstCapacityIs64AndDoubles) {
  velStack<xobject*> stack;
  EXPECT_EQ(stack.GetCapacity(), 0);
  EXPECT_TRUE(stack.IsEmpty());
  for (std::uintptr_t i = 1; i <= 64; ++i) {
    stack.Push(Ptr<xobject>(i));
    EXPECT_EQ(stack.GetCapacity(), 64);
  }
  stack.Push(Ptr<xobject>(65));
  EXPECT_EQ(stack.GetCapacity(), 128);
  EXPECT_EQ(stack.GetCount(), 65);
  for (std::uintptr_t i = 66; i <= 129; ++i) stack.Push(Ptr<xobject>(i));
  EXPECT_EQ(stack.GetCapacity(), 256);
  for (std::uintptr_t i = 129; i >= 1; --i) {
    EXPECT_EQ(Address(stack.Top()), i);
    EXPECT_EQ(Address(stack.Pop()), i);
  }
  EXPECT_TRUE(stack.IsEmpty());
  EXPECT_EQ(stack.GetCapacity(), 256);
}

TEST(VelStack, EmptyPopAndTopGiveNull) {
  velStack<xobject*> stack;
  EXPECT_EQ(stack.Pop(), nullptr);
  EXPECT_EQ(stack.Top(), nullptr);
  EXPECT_EQ(stack.GetCount(), 0);
  EXPECT_EQ(stack.GetCapacity(), 0);
  stack.Push(Ptr<xobject>(1));
  stack.Pop();
  EXPECT_EQ(stack.Pop(), nullptr);
  EXPECT_EQ(stack.GetCount(), 0);
  stack.Push(Ptr<xobject>(2));
  EXPECT_EQ(Address(stack.Top()), 2U);
}

TEST(VelStack, ReadsFromTheBottom) {
  velStack<xobject*> stack;
  stack.Push(Ptr<xobject>(1));
  stack.Push(Ptr<xobject>(2));
  EXPECT_EQ(Contents(stack), (Addresses{1, 2}));
  EXPECT_EQ(stack.GetAt(2), nullptr);
  EXPECT_EQ(stack.GetAt(-1), nullptr);
}

TEST(VelStack, MovesButDoesNotCopy) {
  static_assert(!std::is_copy_constructible<velStack<xobject*>>::value, "");
  static_assert(!std::is_copy_assignable<velStack<xobject*>>::value, "");
  velStack<xobject*> first;
  first.Push(Ptr<xobject>(1));
  velStack<xobject*> second(std::move(first));
  EXPECT_EQ(first.GetCount(), 0);
  EXPECT_EQ(first.GetCapacity(), 0);
  EXPECT_EQ(Contents(second), (Addresses{1}));
  velStack<xobject*> third;
  third.Push(Ptr<xobject>(7));
  third = std::move(second);
  EXPECT_EQ(Contents(third), (Addresses{1}));
  EXPECT_EQ(second.GetCount(), 0);
  second.Push(Ptr<xobject>(3));
  EXPECT_EQ(Contents(second), (Addresses{3}));
}

// ---- dsXArray ----

using Listeners = dsXArray<xerrlistener*>;

void Fill(Listeners& array, std::initializer_list<std::uintptr_t> addresses) {
  for (std::uintptr_t address : addresses) array.Add(Ptr<xerrlistener>(address));
}

TEST(DsXArray, ResizeRoundsUpToTheStep) {
  Listeners array(4);
  EXPECT_EQ(array.GetStep(), 4);
  EXPECT_EQ(array.GetCapacity(), 0);
  array.Resize(1);
  EXPECT_EQ(array.GetCapacity(), 4);
  array.Resize(4);
  EXPECT_EQ(array.GetCapacity(), 4);
  array.Resize(5);
  EXPECT_EQ(array.GetCapacity(), 8);
  EXPECT_EQ(array.GetCount(), 5);
  // Within the capacity only the count changes.
  const auto* buffer = array.GetBuffer();
  array.Resize(0);
  EXPECT_EQ(array.GetCount(), 0);
  EXPECT_EQ(array.GetCapacity(), 8);
  array.Resize(8);
  EXPECT_EQ(array.GetBuffer(), buffer);
  array.Resize(-1);
  EXPECT_EQ(array.GetCount(), 0);
  EXPECT_EQ(array.GetCapacity(), 8);
}

TEST(DsXArray, TheForceFlagFitsTheCapacity) {
  Listeners array(4);
  Fill(array, {1, 2, 3, 4, 5, 6, 7, 8, 9});
  EXPECT_EQ(array.GetCapacity(), 12);
  array.SetForceRealloc(true);
  array.Resize(9);
  EXPECT_EQ(array.GetCapacity(), 12);
  array.Resize(3);
  EXPECT_EQ(array.GetCapacity(), 4);
  EXPECT_EQ(Contents(array), (Addresses{1, 2, 3}));
  array.Resize(0);
  EXPECT_EQ(array.GetCapacity(), 0);
  EXPECT_EQ(array.GetBuffer(), nullptr);
  Fill(array, {1, 2, 3, 4, 5});
  EXPECT_EQ(array.GetCapacity(), 8);
  EXPECT_TRUE(array.RemoveAt(0));
  EXPECT_EQ(array.GetCapacity(), 4);
  EXPECT_EQ(Contents(array), (Addresses{2, 3, 4, 5}));
}

TEST(DsXArray, StepsBelowOneCountAsOne) {
  Listeners zero(0);
  zero.Resize(3);
  EXPECT_EQ(zero.GetCapacity(), 3);
  Listeners negative(-7);
  negative.Resize(2);
  EXPECT_EQ(negative.GetCapacity(), 2);
  EXPECT_EQ(negative.GetStep(), 1);
  Listeners usual;
  usual.Resize(1);
  EXPECT_EQ(usual.GetCapacity(), 16);
}

TEST(DsXArray, InsertOpensAGapAndRemoveAtClosesIt) {
  Listeners array(2);
  EXPECT_TRUE(array.IsEmpty());
  Fill(array, {1, 3});
  EXPECT_TRUE(array.Insert(1, Ptr<xerrlistener>(2)));
  EXPECT_TRUE(array.Insert(0, Ptr<xerrlistener>(9)));
  EXPECT_TRUE(array.Insert(4, Ptr<xerrlistener>(4)));
  EXPECT_FALSE(array.Insert(6, Ptr<xerrlistener>(5)));
  EXPECT_FALSE(array.Insert(-1, Ptr<xerrlistener>(5)));
  EXPECT_EQ(Contents(array), (Addresses{9, 1, 2, 3, 4}));
  EXPECT_EQ(Walked(array), Contents(array));
  EXPECT_TRUE(array.RemoveAt(0));
  EXPECT_TRUE(array.RemoveAt(3));
  EXPECT_FALSE(array.RemoveAt(3));
  EXPECT_FALSE(array.RemoveAt(-1));
  EXPECT_EQ(Contents(array), (Addresses{1, 2, 3}));
  array[1] = Ptr<xerrlistener>(8);
  EXPECT_EQ(Address(std::as_const(array)[1]), 8U);
  EXPECT_EQ(Address(array.GetBuffer()[2]), 3U);
  EXPECT_EQ(array.GetAt(3), nullptr);
  EXPECT_EQ(array.GetAt(-1), nullptr);
}

TEST(DsXArray, IsACollection) {
  Listeners array;
  dsDataCollection<xerrlistener*>& collection = array;
  EXPECT_TRUE(collection.Add(Ptr<xerrlistener>(1)));
  EXPECT_TRUE(collection.Add(Ptr<xerrlistener>(2)));
  EXPECT_TRUE(collection.Add(Ptr<xerrlistener>(1)));
  EXPECT_EQ(collection.GetCount(), 3);
  EXPECT_TRUE(collection.Contains(Ptr<xerrlistener>(2)));
  EXPECT_FALSE(collection.Contains(Ptr<xerrlistener>(3)));
  int position = 99;
  EXPECT_FALSE(array.Find(Ptr<xerrlistener>(3), &position));
  EXPECT_EQ(position, 99);
  EXPECT_TRUE(array.Find(Ptr<xerrlistener>(2), &position));
  EXPECT_EQ(position, 1);
  EXPECT_TRUE(collection.Remove(Ptr<xerrlistener>(1)));
  EXPECT_FALSE(collection.Remove(Ptr<xerrlistener>(3)));
  EXPECT_EQ(Contents(array), (Addresses{2, 1}));
  const std::unique_ptr<dsIter<xerrlistener*>> iter(collection.GetIter());
  EXPECT_EQ(Address(iter->Get()), 2U);
  array.RemoveAll();
  EXPECT_TRUE(collection.IsEmpty());
}

TEST(DsXArray, FailedGrowthLeavesTheArray) {
  dsXArray<Huge> array;
  array.Resize(2);
  array[1].bytes[5] = 'x';
  EXPECT_THROW(array.Resize(INT_MAX), std::bad_alloc);
  EXPECT_EQ(array.GetCount(), 2);
  EXPECT_EQ(array.GetCapacity(), 16);
  EXPECT_EQ(array[1].bytes[5], 'x');
}

TEST(DsXArray, AgreesWithAModel) {
  std::mt19937 random(13);
  Listeners array(3);
  Addresses model;
  for (int round = 0; round < 20000; ++round) {
    const auto at = static_cast<std::ptrdiff_t>(random() % (model.size() + 1));
    const std::uintptr_t address = random() % 50;
    array.SetForceRealloc(random() % 4 == 0);
    if (random() % 2 == 0) {
      ASSERT_TRUE(array.Insert(static_cast<int>(at), Ptr<xerrlistener>(address)));
      model.insert(model.begin() + at, address);
    } else {
      const bool there = at < static_cast<std::ptrdiff_t>(model.size());
      ASSERT_EQ(array.RemoveAt(static_cast<int>(at)), there);
      if (there) model.erase(model.begin() + at);
    }
    ASSERT_EQ(array.GetCount(), static_cast<int>(model.size()));
    ASSERT_EQ(array.GetCapacity() % 3, 0);
    ASSERT_GE(array.GetCapacity(), array.GetCount());
  }
  EXPECT_EQ(Contents(array), model);
}

// ---- iterators ----

TEST(DsArrayIter, ReproducesAtTheSamePlace) {
  Listeners array;
  Fill(array, {1, 2, 3});
  const std::unique_ptr<dsArrayIter<xerrlistener*>> iter(array.GetIter());
  iter->Next();
  const dsBaseIter<xerrlistener*>& base = *iter;
  const std::unique_ptr<dsBaseIter<xerrlistener*>> plain(base.Reproduce());
  const std::unique_ptr<dsIter<xerrlistener*>> twin(iter->Reproduce());
  iter->Next();
  iter->Next();
  EXPECT_TRUE(iter->Finished());
  EXPECT_EQ(iter->Get(), nullptr);
  iter->Next();
  EXPECT_TRUE(iter->Finished());
  EXPECT_EQ(Address(twin->Get()), 2U);
  plain->Next();
  EXPECT_FALSE(plain->Finished());
  plain->Next();
  EXPECT_TRUE(plain->Finished());
  iter->Reset();
  EXPECT_EQ(Address(iter->Get()), 1U);
}

// ---- sorted sets ----

using ListenerSet = dsScalarSet<xerrlistener*>;

TEST(DsScalarSet, KeepsPointersInAscendingOrderOnce) {
  ListenerSet set;
  EXPECT_TRUE(set += Ptr<xerrlistener>(0xffffffff00000001));
  EXPECT_TRUE(set += Ptr<xerrlistener>(0x1));
  EXPECT_TRUE(set.Add(Ptr<xerrlistener>(0x100000001)));
  EXPECT_FALSE(set += Ptr<xerrlistener>(0x1));
  EXPECT_FALSE(set.Insert(Ptr<xerrlistener>(0x100000001)));
  EXPECT_EQ(Contents(set), (Addresses{0x1, 0x100000001, 0xffffffff00000001}));
  EXPECT_EQ(Walked(set), Contents(set));
  EXPECT_EQ(set.GetCount(), 3);
  EXPECT_TRUE(set.Contains(Ptr<xerrlistener>(0x100000001)));
  EXPECT_FALSE(set.Contains(Ptr<xerrlistener>(0x2)));
  EXPECT_TRUE(set -= Ptr<xerrlistener>(0x100000001));
  EXPECT_FALSE(set -= Ptr<xerrlistener>(0x100000001));
  EXPECT_FALSE(set.Remove(Ptr<xerrlistener>(0x2)));
  EXPECT_FALSE(set.RemoveByIndex(2));
  EXPECT_FALSE(set.RemoveByIndex(-1));
  EXPECT_TRUE(set.RemoveByIndex(0));
  EXPECT_EQ(Contents(set), (Addresses{0xffffffff00000001}));
  EXPECT_EQ(set.GetAt(1), nullptr);
  set.RemoveAll();
  EXPECT_EQ(set.GetCount(), 0);
}

TEST(DsScalarSet, FindIndexTellsThePlace) {
  ListenerSet set;
  int position = 99;
  EXPECT_FALSE(set.FindIndex(Ptr<xerrlistener>(5), &position));
  EXPECT_EQ(position, 0);
  for (std::uintptr_t i = 10; i <= 50; i += 10) set += Ptr<xerrlistener>(i);
  EXPECT_TRUE(set.FindIndex(Ptr<xerrlistener>(10), &position));
  EXPECT_EQ(position, 0);
  EXPECT_TRUE(set.FindIndex(Ptr<xerrlistener>(50), &position));
  EXPECT_EQ(position, 4);
  EXPECT_FALSE(set.FindIndex(Ptr<xerrlistener>(9), &position));
  EXPECT_EQ(position, 0);
  EXPECT_FALSE(set.FindIndex(Ptr<xerrlistener>(31), &position));
  EXPECT_EQ(position, 3);
  EXPECT_FALSE(set.FindIndex(Ptr<xerrlistener>(51), &position));
  EXPECT_EQ(position, 5);
}

TEST(DsScalarSet, GrowsByOneStepBeyondTheCount) {
  ListenerSet set(4);
  EXPECT_EQ(set.GetCapacity(), 0);
  for (std::uintptr_t i = 0; i < 4; ++i) {
    set += Ptr<xerrlistener>(i);
    EXPECT_EQ(set.GetCapacity(), 4);
  }
  set += Ptr<xerrlistener>(2);  // present: nothing grows
  EXPECT_EQ(set.GetCapacity(), 4);
  set += Ptr<xerrlistener>(4);
  EXPECT_EQ(set.GetCapacity(), 8);
  ListenerSet usual;
  usual += Ptr<xerrlistener>(1);
  EXPECT_EQ(usual.GetCapacity(), 16);
}

// Sorts numbers downwards and writes down what it compares.
class DescendingSet : public dsBaseSortedSet<dsXArray<int>, int> {
 public:
  DescendingSet() : dsBaseSortedSet(16) {}
  int Compare(int a, int b) const override {
    log += ' ' + std::to_string(b);
    return b - a;
  }
  mutable std::string log;
};

TEST(DsBaseSortedSet, SearchesWithTheSubclassComparison) {
  DescendingSet set;
  for (int i : {1, 2, 3, 4, 5, 6}) EXPECT_TRUE(set += i);
  EXPECT_EQ(set.GetAt(0), 6);
  EXPECT_EQ(set.GetAt(5), 1);
  EXPECT_EQ(set.GetAt(6), 0);
  // Six elements, 6 first: the probes are positions 2, then 4, then 5.
  set.log.clear();
  EXPECT_TRUE(set.Contains(1));
  EXPECT_EQ(set.log, " 4 2 1");
  set.log.clear();
  EXPECT_FALSE(set.Contains(7));
  EXPECT_EQ(set.log, " 4 6");
}

TEST(DsScalarSet, AgreesWithAModel) {
  std::mt19937 random(14);
  ListenerSet set(5);
  std::set<std::uintptr_t> model;
  for (int round = 0; round < 20000; ++round) {
    const std::uintptr_t address = random() % 64;
    xerrlistener* element = Ptr<xerrlistener>(address);
    if (random() % 2 == 0) {
      ASSERT_EQ(set += element, model.insert(address).second);
    } else {
      ASSERT_EQ(set -= element, model.erase(address) == 1);
    }
    ASSERT_EQ(set.Contains(element), model.count(address) == 1);
  }
  EXPECT_EQ(Contents(set), Addresses(model.begin(), model.end()));
}

TEST(DsScalarSet, HoldsNumbersToo) {
  dsScalarSet<int> set;
  for (int i : {5, INT_MAX, INT_MIN, 0}) set += i;
  EXPECT_EQ(set.GetAt(0), INT_MIN);
  EXPECT_EQ(set.GetAt(3), INT_MAX);
  EXPECT_TRUE(set -= 0);
  EXPECT_EQ(set.GetCount(), 3);
}

}  // namespace
