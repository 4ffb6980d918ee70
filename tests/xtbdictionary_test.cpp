#include "xtbdictionary.h"

#include <gtest/gtest.h>

#include <climits>
#include <functional>
#include <map>
#include <new>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "veltest.h"
#include "veltest_memory.h"
#include "xcollections.h"

namespace {

const char* Address(std::uintptr_t address) { return reinterpret_cast<const char*>(address); }
const char* const kNull = nullptr;
const char* const kOne = Address(1);

// The registered classes, with a value for each number.
template <class C, class V>
struct Kind {
  using Dict = C;
  using Value = V;
};
struct Bools : Kind<xbooldictionary, unsigned char> {
  static unsigned char Make(int n) { return static_cast<unsigned char>(n); }
};
struct Ints : Kind<xintdictionary, int> {
  static int Make(int n) { return n; }
};
struct Reals : Kind<xrealdictionary, double> {
  static double Make(int n) { return n + 0.5; }
};
struct Strings : Kind<xstringdictionary, xstring> {
  static xstring Make(int n) { return xstring(("v" + std::to_string(n)).c_str()); }
};
struct Anys : Kind<xanydictionary, xany> {
  static xany Make(int n) { return n % 2 ? xany(n) : xany(Strings::Make(n)); }
};

template <class T>
class XtbDictionary : public ::testing::Test {
 protected:
  using Dict = typename T::Dict;
  using Value = typename T::Value;

  static Value V(int n) { return T::Make(n); }
  static std::string Key(int n) { return "key" + std::to_string(n); }

  void Fill(int count) {
    for (int i = 0; i < count; ++i) dict->set(Key(i).c_str(), V(i));
  }
  bool Has(const std::string& key) { return dict->find(key.c_str(), nullptr); }
  // The slot of a key, found the way a caller finds it; -1 when it is absent.
  int SlotOf(const std::string& key) {
    for (int i = 0; i < dict->getmapsize(); ++i) {
      xstring found;
      if (dict->getkeybyindex(i, &found) && key == found.CastToCString()) return i;
    }
    return -1;
  }
  int VacantSlot() {
    int i = 0;
    while (dict->getkeybyindex(i, nullptr)) ++i;
    return i;
  }
  int CountEntries() {
    int count = 0;
    for (int i = 0; i < dict->getmapsize(); ++i) count += dict->getkeybyindex(i, nullptr);
    return count;
  }

  xrchandle<Dict> dict = Dict::create();
};

using Kinds = ::testing::Types<Bools, Ints, Reals, Strings, Anys>;
struct KindNames {
  template <class T>
  static std::string GetName(int i) {
    static const char* const names[] = {"bool", "int", "real", "string", "any"};
    return names[i];
  }
};
TYPED_TEST_SUITE(XtbDictionary, Kinds, KindNames);

TYPED_TEST(XtbDictionary, AnswersInTheDocumentedTypes) {
  using D = typename TypeParam::Dict;
  using T = typename TypeParam::Value;
  static_assert(std::is_base_of<xobject, D>::value, "an object");
  static_assert(std::is_same<decltype(&D::getmapsize), int (xtbdictionary<T>::*)()>::value, "");
  static_assert(
      std::is_same<decltype(&D::find), bool (xtbdictionary<T>::*)(const char*, T*)>::value, "");
  static_assert(std::is_same<decltype(&D::set), void (xtbdictionary<T>::*)(const char*, T)>::value,
                "");
  static_assert(
      std::is_same<decltype(&D::getkeybyindex), bool (xtbdictionary<T>::*)(int, xstring*)>::value,
      "");
  static_assert(std::is_same<decltype(&D::getbyindex), bool (xtbdictionary<T>::*)(int, T*)>::value,
                "");
  static_assert(std::is_same<decltype(&D::setbyindex), bool (xtbdictionary<T>::*)(int, T)>::value,
                "");
  static_assert(std::is_same<decltype(&D::remove), bool (xtbdictionary<T>::*)(const char*)>::value,
                "");
  static_assert(std::is_same<decltype(&D::removebyindex), bool (xtbdictionary<T>::*)(int)>::value,
                "");
  static_assert(std::is_same<decltype(&D::clearall), void (xtbdictionary<T>::*)()>::value, "");
  static_assert(!std::is_copy_constructible<D>::value && !std::is_copy_assignable<D>::value, "");
}

TYPED_TEST(XtbDictionary, IsNewWithoutATable) {
  EXPECT_EQ(this->dict->getmapsize(), 0);
  EXPECT_FALSE(this->Has("key0"));
}

TYPED_TEST(XtbDictionary, ConstructorReservesFromCapacityOneOn) {
  const std::pair<int, int> sizes[] = {{INT_MIN, 0}, {-1, 0}, {0, 0}, {1, 32}, {29, 32}, {30, 64}};
  for (const auto& size : sizes) {
    const xrchandle<typename TypeParam::Dict> made = new typename TypeParam::Dict(size.first);
    EXPECT_EQ(made->getmapsize(), size.second) << size.first;
  }
}

TYPED_TEST(XtbDictionary, MapSizeCountsSlotsNotEntries) {
  this->Fill(1);
  EXPECT_EQ(this->dict->getmapsize(), 32);
  this->Fill(30);
  EXPECT_EQ(this->dict->getmapsize(), 32);
  this->Fill(31);
  EXPECT_EQ(this->dict->getmapsize(), 64);
}

TYPED_TEST(XtbDictionary, FindsWhatWasSet) {
  this->Fill(100);
  for (int i = 0; i < 100; ++i) {
    auto value = this->V(200);
    EXPECT_TRUE(this->dict->find(this->Key(i).c_str(), &value)) << i;
    EXPECT_TRUE(value == this->V(i)) << i;
    EXPECT_TRUE(this->dict->find(this->Key(i).c_str(), nullptr)) << i;
  }
}

TYPED_TEST(XtbDictionary, FindLeavesTheValueOfAnAbsentKeyAlone) {
  for (int withTable = 0; withTable < 2; ++withTable) {
    if (withTable) this->Fill(3);
    auto value = this->V(77);
    EXPECT_FALSE(this->dict->find("absent", &value));
    EXPECT_FALSE(this->dict->find("absent", nullptr));
    EXPECT_TRUE(value == this->V(77));
  }
}

TYPED_TEST(XtbDictionary, SetOverwrites) {
  this->Fill(3);
  const int slot = this->SlotOf("key1");
  this->dict->set("key1", this->V(9));
  auto value = this->V(0);
  EXPECT_TRUE(this->dict->find("key1", &value));
  EXPECT_TRUE(value == this->V(9));
  EXPECT_EQ(this->SlotOf("key1"), slot);
  EXPECT_EQ(this->CountEntries(), 3);
}

TYPED_TEST(XtbDictionary, KeysAreBytesOfAnyLength) {
  const std::string keys[] = {
      "", "a", "A", "\x80", "\xc3\xa9", "\xff\xff\xff", " ", std::string(100000, 'k')};
  int n = 0;
  for (const std::string& key : keys) this->dict->set(key.c_str(), this->V(++n));
  n = 0;
  for (const std::string& key : keys) {
    auto value = this->V(0);
    EXPECT_TRUE(this->dict->find(key.c_str(), &value));
    EXPECT_TRUE(value == this->V(++n));
    EXPECT_GE(this->SlotOf(key), 0);
  }
  EXPECT_EQ(this->CountEntries(), 8);
}

TYPED_TEST(XtbDictionary, KeepsACopyOfTheKey) {
  char key[] = "first";
  this->dict->set(key, this->V(1));
  key[0] = 'F';
  EXPECT_TRUE(this->Has("first"));
  EXPECT_FALSE(this->Has("First"));
}

TYPED_TEST(XtbDictionary, RemoveAnswersWhetherTheKeyWasThere) {
  EXPECT_FALSE(this->dict->remove("key1"));
  this->Fill(3);
  EXPECT_TRUE(this->dict->remove("key1"));
  EXPECT_FALSE(this->dict->remove("key1"));
  EXPECT_FALSE(this->Has("key1"));
  EXPECT_TRUE(this->Has("key0"));
  EXPECT_TRUE(this->Has("key2"));
  EXPECT_EQ(this->CountEntries(), 2);
}

TYPED_TEST(XtbDictionary, RemovalsShrinkTheTableToThirtyTwo) {
  this->Fill(200);
  EXPECT_EQ(this->dict->getmapsize(), 256);
  std::string sizes;
  int last = 256;
  for (int left = 199; left >= 0; --left) {
    EXPECT_TRUE(this->dict->remove(this->Key(left).c_str()));
    if (this->dict->getmapsize() != last) {
      last = this->dict->getmapsize();
      sizes += std::to_string(left) + ':' + std::to_string(last) + ' ';
    }
  }
  // The first count for which count * 100 / half is below 90.
  EXPECT_EQ(sizes, "115:128 57:64 28:32 ");
}

TYPED_TEST(XtbDictionary, NullKeysThrowFromFindAndSet) {
  for (int withTable = 0; withTable < 2; ++withTable) {
    if (withTable) this->Fill(3);
    for (const char* key : {kNull, kOne}) {
      auto value = this->V(77);
      EXPECT_VEL_THROW(this->dict->find(key, &value), velXNull);
      EXPECT_VEL_THROW(this->dict->find(key, nullptr), velXNull);
      EXPECT_VEL_THROW(this->dict->set(key, this->V(1)), velXNull);
      EXPECT_TRUE(value == this->V(77));
    }
    EXPECT_EQ(this->CountEntries(), 3 * withTable);
    EXPECT_EQ(this->dict->getmapsize(), 32 * withTable);
  }
}

TYPED_TEST(XtbDictionary, TheAddressTwoIsAKeyLikeItsText) {
  for (int withTable = 0; withTable < 2; ++withTable) {
    if (withTable) this->Fill(30);  // which grows
    EXPECT_FALSE(this->dict->find(Address(2), nullptr));
    EXPECT_FALSE(this->dict->remove(Address(2)));
    this->dict->set(Address(2), this->V(5));
    auto value = this->V(77);
    EXPECT_TRUE(this->dict->find("uninit", &value));
    EXPECT_TRUE(value == this->V(5));
    this->dict->set("uninit", this->V(6));
    EXPECT_TRUE(this->dict->find(Address(2), &value));
    EXPECT_TRUE(value == this->V(6));
    EXPECT_EQ(this->CountEntries(), 30 * withTable + 1);
    EXPECT_TRUE(this->dict->remove(Address(2)));
    EXPECT_FALSE(this->dict->find("uninit", nullptr));
  }
}

TYPED_TEST(XtbDictionary, RemoveOfNullIsFalse) {
  for (int withTable = 0; withTable < 2; ++withTable) {
    if (withTable) this->Fill(3);
    EXPECT_FALSE(this->dict->remove(kNull));
    EXPECT_FALSE(this->dict->remove(kOne));
    EXPECT_EQ(this->CountEntries(), 3 * withTable);
  }
}

// The Index that an exception tells, if it is of class Class.
template <class Class>
int IndexOf(const xrchandle<xthrowable>& caught) {
  auto* error = dynamic_cast<Class*>(caught.operator->());
  return error ? error->getIndex() : -12345;
}

TYPED_TEST(XtbDictionary, NegativeIndicesThrow) {
  auto& subject = *this->dict;
  auto value = this->V(77);
  xstring key("kept");
  for (int withTable = 0; withTable < 2; ++withTable) {
    if (withTable) this->Fill(3);
    for (const int index : {-1, -22, INT_MIN}) {
      const auto tells = [index](auto&& statement) {
        EXPECT_EQ(IndexOf<velXNegativeIndex>(velCaught(statement)), index);
      };
      tells([&] { subject.getbyindex(index, &value); });
      tells([&] { subject.getkeybyindex(index, &key); });
      tells([&] { subject.setbyindex(index, value); });
      tells([&] { subject.removebyindex(index); });
      tells([&] { subject.getbyindex(index, nullptr); });
      tells([&] { subject.getkeybyindex(index, nullptr); });
    }
  }
  EXPECT_TRUE(value == this->V(77));
  EXPECT_STREQ(key.CastToCString(), "kept");
  EXPECT_EQ(this->CountEntries(), 3);
}

TYPED_TEST(XtbDictionary, ReadingAtOrPastTheTableIsFalse) {
  auto value = this->V(77);
  xstring key("kept");
  for (int withTable = 0; withTable < 2; ++withTable) {
    if (withTable) this->Fill(3);
    const int size = this->dict->getmapsize();
    for (const int index : {size, size + 1, INT_MAX}) {
      EXPECT_FALSE(this->dict->getbyindex(index, &value)) << index;
      EXPECT_FALSE(this->dict->getkeybyindex(index, &key)) << index;
    }
  }
  EXPECT_TRUE(value == this->V(77));
  EXPECT_STREQ(key.CastToCString(), "kept");
}

TYPED_TEST(XtbDictionary, WritingAtOrPastTheTableThrows) {
  for (int withTable = 0; withTable < 2; ++withTable) {
    if (withTable) this->Fill(3);
    const int size = this->dict->getmapsize();
    for (const int index : {size, size + 1, INT_MAX}) {
      const auto set = velCaught([&] { this->dict->setbyindex(index, this->V(1)); });
      EXPECT_EQ(IndexOf<velXInvalidDictIndex>(set), index);
      const auto removed = velCaught([&] { this->dict->removebyindex(index); });
      EXPECT_EQ(IndexOf<velXInvalidDictIndex>(removed), index);
    }
    EXPECT_EQ(this->CountEntries(), 3 * withTable);
  }
}

TYPED_TEST(XtbDictionary, AnInvalidIndexTellsAndHoldsTheDictionary) {
  EXPECT_EQ(xrcgetcount(this->dict), 1);
  {
    const auto caught = velCaught([&] { this->dict->removebyindex(0); });
    auto* error = dynamic_cast<velXInvalidDictIndex*>(caught.operator->());
    ASSERT_NE(error, nullptr);
    xobject* about = error->getVelObject();
    EXPECT_EQ(about, velAsObject(this->dict.operator->()));
    EXPECT_STREQ(error->getDescription().CastToCString(), "Dictionary index is out of range");
    EXPECT_EQ(xrcgetcount(this->dict), 2);
  }
  EXPECT_EQ(xrcgetcount(this->dict), 1);
}

TYPED_TEST(XtbDictionary, VacantSlotsAreFalseAndLeftAlone) {
  this->Fill(5);
  const int removed = this->SlotOf("key2");
  ASSERT_GE(removed, 0);
  EXPECT_TRUE(this->dict->removebyindex(removed));
  this->dict->set("key2", this->V(2));
  const int slot = this->SlotOf("key3");
  EXPECT_TRUE(this->dict->remove("key3"));
  int never = 0;
  while (never == slot || this->dict->getkeybyindex(never, nullptr)) ++never;
  for (const int index : {slot, never}) {  // one with a tombstone, one never used
    auto value = this->V(77);
    xstring key("kept");
    EXPECT_FALSE(this->dict->getbyindex(index, &value));
    EXPECT_FALSE(this->dict->getkeybyindex(index, &key));
    EXPECT_FALSE(this->dict->setbyindex(index, this->V(1)));
    EXPECT_FALSE(this->dict->removebyindex(index));
    EXPECT_FALSE(this->dict->getbyindex(index, nullptr));
    EXPECT_TRUE(value == this->V(77));
    EXPECT_STREQ(key.CastToCString(), "kept");
  }
  EXPECT_EQ(this->CountEntries(), 4);
}

TYPED_TEST(XtbDictionary, LiveSlotsAreReadWrittenAndRemovedByIndex) {
  this->Fill(5);
  const int slot = this->SlotOf("key2");
  auto value = this->V(0);
  xstring key;
  EXPECT_TRUE(this->dict->getbyindex(slot, &value));
  EXPECT_TRUE(value == this->V(2));
  EXPECT_TRUE(this->dict->getbyindex(slot, nullptr));
  EXPECT_TRUE(this->dict->getkeybyindex(slot, &key));
  EXPECT_STREQ(key.CastToCString(), "key2");
  EXPECT_TRUE(this->dict->setbyindex(slot, this->V(50)));
  EXPECT_TRUE(this->dict->find("key2", &value));
  EXPECT_TRUE(value == this->V(50));
  EXPECT_TRUE(this->dict->removebyindex(slot));
  EXPECT_FALSE(this->Has("key2"));
  EXPECT_EQ(this->CountEntries(), 4);
}

TYPED_TEST(XtbDictionary, SlotsEnumerateEveryEntryOnce) {
  this->Fill(100);
  for (int i = 0; i < 100; i += 3) this->dict->remove(this->Key(i).c_str());
  std::map<std::string, int> seen;
  for (int i = 0; i < this->dict->getmapsize(); ++i) {
    xstring key;
    auto value = this->V(0);
    if (!this->dict->getkeybyindex(i, &key)) continue;
    EXPECT_TRUE(this->dict->getbyindex(i, &value));
    const int n = std::stoi(key.CastToCString() + 3);
    EXPECT_TRUE(value == this->V(n));
    ++seen[key.CastToCString()];
  }
  EXPECT_EQ(seen.size(), 66U);
  for (const auto& entry : seen) EXPECT_EQ(entry.second, 1) << entry.first;
}

TYPED_TEST(XtbDictionary, SlotsStayUntilTheTableIsResized) {
  this->Fill(20);
  std::vector<int> slots;
  for (int i = 0; i < 20; ++i) slots.push_back(this->SlotOf(this->Key(i)));
  for (int i = 20; i < 30; ++i) this->dict->set(this->Key(i).c_str(), this->V(i));
  for (int i = 20; i < 30; ++i) this->dict->remove(this->Key(i).c_str());
  ASSERT_EQ(this->dict->getmapsize(), 32);
  for (int i = 0; i < 20; ++i)
    EXPECT_EQ(this->SlotOf(this->Key(i)), slots[static_cast<std::size_t>(i)]);
  this->Fill(31);
  int moved = 0;
  for (int i = 0; i < 20; ++i)
    moved += this->SlotOf(this->Key(i)) != slots[static_cast<std::size_t>(i)];
  EXPECT_GT(moved, 0);
}

TYPED_TEST(XtbDictionary, ClearAllReturnsToNoTable) {
  this->Fill(50);
  this->dict->clearall();
  EXPECT_EQ(this->dict->getmapsize(), 0);
  EXPECT_FALSE(this->Has("key1"));
  EXPECT_FALSE(this->dict->getkeybyindex(0, nullptr));
  this->dict->clearall();
  this->Fill(1);
  EXPECT_EQ(this->dict->getmapsize(), 32);
  EXPECT_EQ(this->CountEntries(), 1);
}

TYPED_TEST(XtbDictionary, WithoutMemoryItStaysAsItWas) {
  this->Fill(30);
  auto value = this->V(30);
  for (const long nth : {1, 2}) {  // the copy of the key, the larger table
    const long before = velLiveBlocks();
    bool thrown = false;
    {
      const VelFailAllocation fail(nth);
      try {
        this->dict->set("key30", value);
      } catch (const std::bad_alloc&) {
        thrown = true;
      }
    }
    EXPECT_TRUE(thrown);
    EXPECT_EQ(velLiveBlocks(), before);
    EXPECT_EQ(this->dict->getmapsize(), 32);
    EXPECT_EQ(this->CountEntries(), 30);
  }
}

TYPED_TEST(XtbDictionary, RemovingAndClearingNeedNoMemory) {
  this->Fill(29);
  this->dict->set("one", this->V(1));
  this->dict->set("two", this->V(2));
  ASSERT_EQ(this->dict->getmapsize(), 64);
  for (const char* key : {"one", "two", "key28"}) {
    const VelFailAllocation fail(1);
    EXPECT_TRUE(this->dict->remove(key));
  }
  EXPECT_EQ(this->dict->getmapsize(), 64) << "it could not shrink";
  EXPECT_EQ(this->CountEntries(), 28);
  const VelFailAllocation fail(1);
  this->dict->clearall();
  EXPECT_FALSE(fail.hasFailed());
}

TYPED_TEST(XtbDictionary, CreatingWithoutMemoryLosesNothing) {
  using D = typename TypeParam::Dict;
  const long before = velLiveBlocks();
  for (const long nth : {1, 2}) {  // the object, its table
    const VelFailAllocation fail(nth);
    EXPECT_THROW(D::createCapacity(100), std::bad_alloc);
  }
  EXPECT_EQ(velLiveBlocks(), before);
  EXPECT_VEL_NATIVE(D::createCapacity(2000000000), "Size limit exceeded");
  EXPECT_EQ(velLiveBlocks(), before);
}

// ---- helpers of the exceptions that callers share ----

TEST(XtbDictionaryErrors, NullKeyTestIsAFreeFunction) {
  EXPECT_VEL_THROW(velhAssertNotNullKey(kNull), velXNull);
  EXPECT_VEL_THROW(velhAssertNotNullKey(kOne), velXNull);
  velhAssertNotNullKey("");
  velhAssertNotNullKey(Address(2));
}

TEST(XtbDictionaryErrors, AnInvalidKeyIsForCallersToRaise) {
  auto dict = xintdictionary::create();
  const auto caught = velCaught([&] { velhThrowInvalidDictKey(dict, "absent"); });
  auto* error = dynamic_cast<velXInvalidDictKey*>(caught.operator->());
  ASSERT_NE(error, nullptr);
  EXPECT_STREQ(error->getKey().CastToCString(), "absent");
  xobject* about = error->getVelObject();
  EXPECT_EQ(about, velAsObject(dict.operator->()));
}

// ---- class values ----

class XAnyDictionary : public ::testing::Test {
 protected:
  void SetUp() override { ASSERT_EQ(VelLogObject::alive(), 0); }
  void TearDown() override {
    dict = 0;
    EXPECT_EQ(VelLogObject::alive(), 0);
  }
  void Add(int from, int to) {
    for (int i = from; i < to; ++i)
      dict->set(("key" + std::to_string(i)).c_str(), new VelLogObject);
  }

  xrchandle<xanydictionary> dict = xanydictionary::create();
};

TEST_F(XAnyDictionary, HoldsOneReferenceOnAValue) {
  const xrchandle<VelLogObject> object = new VelLogObject;
  dict->set("a", object);
  EXPECT_EQ(xrcgetcount(object), 2);
  dict->set("a", object);
  EXPECT_EQ(xrcgetcount(object), 2);
  dict->set("b", object);
  EXPECT_EQ(xrcgetcount(object), 3);
  {
    xany found;
    dict->find("a", &found);
    EXPECT_EQ(xrcgetcount(object), 4);
  }
  dict->set("a", 1);
  EXPECT_EQ(xrcgetcount(object), 2);
  dict->remove("b");
  EXPECT_EQ(xrcgetcount(object), 1);
}

TEST_F(XAnyDictionary, KeepsEachValueAliveThroughResizes) {
  Add(0, 200);
  EXPECT_EQ(VelLogObject::alive(), 200);
  for (int i = 199; i >= 10; --i) {
    EXPECT_TRUE(dict->remove(("key" + std::to_string(i)).c_str()));
    ASSERT_EQ(VelLogObject::alive(), i);
  }
  EXPECT_EQ(dict->getmapsize(), 32);
}

TEST_F(XAnyDictionary, EveryWayToLetGoReleasesTheValue) {
  Add(0, 10);
  int slot = 0;
  while (!dict->getkeybyindex(slot, nullptr)) ++slot;
  dict->setbyindex(slot, 1);
  EXPECT_EQ(VelLogObject::alive(), 9);
  dict->removebyindex(slot);
  EXPECT_EQ(VelLogObject::alive(), 9);
  while (!dict->getkeybyindex(slot, nullptr)) ++slot;
  dict->removebyindex(slot);
  EXPECT_EQ(VelLogObject::alive(), 8);
  dict->set("more", new VelLogObject);
  EXPECT_EQ(VelLogObject::alive(), 9);
  dict->set("more", nullptr);
  EXPECT_EQ(VelLogObject::alive(), 8);
  dict->clearall();
  EXPECT_EQ(VelLogObject::alive(), 0);
  Add(0, 5);
  dict = 0;
  EXPECT_EQ(VelLogObject::alive(), 0);
}

TEST_F(XAnyDictionary, AFailedSetReleasesItsValue) {
  EXPECT_VEL_THROW(dict->set(kNull, new VelLogObject), velXNull);
  EXPECT_VEL_THROW(dict->setbyindex(0, new VelLogObject), velXInvalidDictIndex);
  EXPECT_VEL_THROW(dict->setbyindex(-1, new VelLogObject), velXNegativeIndex);
  EXPECT_EQ(VelLogObject::alive(), 0);
  dict->set("a", 1);
  int vacant = 0;
  while (dict->getkeybyindex(vacant, nullptr)) ++vacant;
  EXPECT_FALSE(dict->setbyindex(vacant, new VelLogObject));
  EXPECT_EQ(VelLogObject::alive(), 0);
}

TEST_F(XAnyDictionary, ReusedSlotsStartEmpty) {
  Add(0, 1);
  dict->remove("key0");
  EXPECT_EQ(VelLogObject::alive(), 0);
  dict->set("key0", "text");
  xany value;
  EXPECT_TRUE(dict->find("key0", &value));
  EXPECT_TRUE(value == "text");
}

TEST(XStringDictionary, SharesTextsWithItsValues) {
  const long before = velLiveBlocks();
  {
    auto dict = xstringdictionary::create();
    for (int i = 0; i < 100; ++i)
      dict->set(std::to_string(i).c_str(), "a text that needs a buffer");
    for (int i = 0; i < 100; i += 2) dict->remove(std::to_string(i).c_str());
    dict->set("null", xstring());
    xstring value("kept");
    EXPECT_TRUE(dict->find("null", &value));
    EXPECT_TRUE(value.IsNull());
    EXPECT_TRUE(dict->find("1", &value));
    dict = 0;
    EXPECT_STREQ(value.CastToCString(), "a text that needs a buffer");
  }
  EXPECT_EQ(velLiveBlocks(), before);
}

// ---- values whose end runs code ----

// Runs something when it is released for the last time.
class Trigger : public virtual xobject {
  VEL_OBJECT(Trigger)
 public:
  explicit Trigger(std::function<void()> action) : action_(std::move(action)) { ++alive; }
  ~Trigger() override { --alive; }
  void onDelete() override { action_(); }

  static int alive;

 private:
  std::function<void()> action_;
};
int Trigger::alive = 0;
VEL_OBJECT_RTTI(Trigger, xrttiobject, [](xrttiobject* rtti) {
  rtti->initializeRttiObject("veltest::Trigger", 1, 0, nullptr);
})

// Every operation that lets go of a value, and everything that the value's end
// may do to the same dictionary.
class Reentry : public ::testing::Test {
 protected:
  using Step = std::function<void()>;

  void TearDown() override {
    dict = 0;
    EXPECT_EQ(Trigger::alive, 0);
  }

  int SlotOf(const char* key) {
    for (int i = 0; i < dict->getmapsize(); ++i) {
      xstring found;
      if (dict->getkeybyindex(i, &found) && std::string(found.CastToCString()) == key) return i;
    }
    return -1;
  }
  int Count() {
    int count = 0;
    for (int i = 0; i < dict->getmapsize(); ++i) count += dict->getkeybyindex(i, nullptr);
    return count;
  }
  std::vector<Step> LettingGo() {
    return {[this] { dict->set("x", 1); }, [this] { dict->setbyindex(SlotOf("x"), 1); },
            [this] { dict->remove("x"); }, [this] { dict->removebyindex(SlotOf("x")); },
            [this] { dict->clearall(); },  [this] { dict->set("x", nullptr); }};
  }
  std::vector<Step> Acting() {
    return {[this] {
              for (int i = 0; i < 100; ++i) dict->set(("new" + std::to_string(i)).c_str(), i);
            },
            [this] { dict->clearall(); },
            [this] {
              for (int i = 0; i < 28; ++i) dict->remove(("old" + std::to_string(i)).c_str());
            },
            [this] {
              for (int i = 0; i < dict->getmapsize(); ++i)
                if (dict->getkeybyindex(i, nullptr)) dict->removebyindex(i);
            },
            [this] { dict->set("x", "again"); },
            [this] {
              xany value;
              const bool present = dict->find("x", &value);
              EXPECT_EQ(present, SlotOf("x") >= 0);
            }};
  }

  xrchandle<xanydictionary> dict;
};

TEST_F(Reentry, ValuesMayUseTheDictionaryThatLetsThemGo) {
  const auto lettingGo = LettingGo();
  const auto acting = Acting();
  for (std::size_t i = 0; i < lettingGo.size(); ++i) {
    for (std::size_t j = 0; j < acting.size(); ++j) {
      for (int others : {3, 28, 29}) {  // 29 and the trigger: the next set() resizes
        dict = xanydictionary::create();
        int runs = 0;
        for (int n = 0; n < others; ++n) dict->set(("old" + std::to_string(n)).c_str(), n);
        dict->set("x", new Trigger([&] {
                    ++runs;
                    acting[j]();
                  }));
        lettingGo[i]();
        EXPECT_EQ(runs, 1) << i << ' ' << j << ' ' << others;
        EXPECT_EQ(Trigger::alive, 0) << i << ' ' << j;
        // It still is a dictionary in which everything can be found.
        for (int at = 0; at < dict->getmapsize(); ++at) {
          xstring key;
          if (!dict->getkeybyindex(at, &key)) continue;
          EXPECT_TRUE(dict->find(key.CastToCString(), nullptr));
        }
        dict->set("last", 5);
        xany value;
        EXPECT_TRUE(dict->find("last", &value));
        EXPECT_TRUE(value == 5);
      }
    }
  }
}

TEST_F(Reentry, TheOperationIsDoneWhenTheValueGoes) {
  dict = xanydictionary::create();
  std::string log;
  const auto look = [&] {
    xany value;
    log += dict->find("x", &value) ? velPrinted(value) : "none";
    log += '/' + std::to_string(Count()) + '/' + std::to_string(dict->getmapsize()) + ' ';
  };
  const auto arm = [&] { dict->set("x", new Trigger(look)); };
  arm();
  dict->set("x", 5);
  arm();
  dict->setbyindex(SlotOf("x"), 6);
  arm();
  dict->remove("x");
  arm();
  dict->removebyindex(SlotOf("x"));
  arm();
  dict->clearall();
  EXPECT_EQ(log, "5/1/32 6/1/32 none/0/32 none/0/32 none/0/0 ");
}

TEST_F(Reentry, AShrinkIsOverWhenTheValueGoes) {
  dict = xanydictionary::create();
  for (int n = 0; n < 30; ++n) dict->set(("old" + std::to_string(n)).c_str(), n);
  int sizeSeen = 0, countSeen = 0;
  dict->set("x", new Trigger([&] {
              sizeSeen = dict->getmapsize();
              countSeen = Count();
            }));
  ASSERT_EQ(dict->getmapsize(), 64);
  dict->remove("old0");
  dict->remove("old1");
  dict->remove("x");
  EXPECT_EQ(sizeSeen, 32);
  EXPECT_EQ(countSeen, 28);
}

TEST_F(Reentry, ClearAllIsOverForEveryValue) {
  dict = xanydictionary::create();
  int seen = 0;
  for (int n = 0; n < 50; ++n) {
    dict->set(("t" + std::to_string(n)).c_str(), new Trigger([&, n] {
                EXPECT_FALSE(dict->find(("t" + std::to_string(n)).c_str(), nullptr));
                dict->set("survivor", ++seen);
              }));
  }
  dict->clearall();
  EXPECT_EQ(seen, 50);
  xany value;
  EXPECT_TRUE(dict->find("survivor", &value));
  EXPECT_TRUE(value == 50);
  EXPECT_EQ(Count(), 1);
}

TEST_F(Reentry, AValueMayGiveUpTheDictionaryItself) {
  for (const auto& letGo : LettingGo()) {
    dict = xanydictionary::create();
    dict->set("y", new Trigger([] {}));
    dict->set("x", new Trigger([this] { dict = 0; }));
    letGo();
    EXPECT_TRUE(dict.isnull());
    EXPECT_EQ(Trigger::alive, 0);
  }
}

TEST_F(Reentry, TheOutParameterMayHoldTheLastValue) {
  dict = xanydictionary::create();
  dict->set("x", 5);
  xany out = new Trigger([this] { dict->clearall(); });
  EXPECT_TRUE(dict->find("x", &out));
  EXPECT_TRUE(out == 5);
  EXPECT_EQ(dict->getmapsize(), 0);
  dict->set("x", 6);
  const int slot = SlotOf("x");
  out = new Trigger([this] { dict->clearall(); });
  EXPECT_TRUE(dict->getbyindex(slot, &out));
  EXPECT_TRUE(out == 6);
  EXPECT_EQ(dict->getmapsize(), 0);
}

TEST_F(Reentry, DictionariesMayHoldEachOther) {
  auto inner = xanydictionary::create();
  inner->set("t", new Trigger([] {}));
  dict = xanydictionary::create();
  dict->set("inner", inner);
  inner = 0;
  EXPECT_EQ(Trigger::alive, 1);
  dict->remove("inner");
  EXPECT_EQ(Trigger::alive, 0);
}

// ---- subclasses ----

// The templates may hold any class whose empty value owns nothing. This one
// counts the values that hold something.
class Full {
 public:
  Full() = default;
  explicit Full(int n) : content(n) { ++alive; }
  Full(const Full& other) : content(other.content) { alive += content != 0; }
  Full& operator=(const Full& other) {
    if (failing && --failing == 0) throw std::bad_alloc();
    alive += (other.content != 0) - (content != 0);
    content = other.content;
    return *this;
  }
  ~Full() { alive -= content != 0; }
  int Get() const { return content; }

  static int alive;
  static int failing;  // the assignment that fails, from 1

 private:
  int content = 0;
};
int Full::alive = 0;
int Full::failing = 0;

// A user's dictionary; the names of the blocks it destroys are in its log.
class FullDictionary : public xtcdictionary<Full> {
  VEL_OBJECT(FullDictionary)
 public:
  explicit FullDictionary(std::string* log = nullptr, int capacity = 0)
      : xtcdictionary<Full>(capacity), log_(log) {}
  ~FullDictionary() override { this->clearall(); }
  void Destroy(void* block, unsigned slots) override {
    EXPECT_NE(block, nullptr);
    if (log_) *log_ += std::to_string(slots) + ' ';
    xtcdictionary<Full>::Destroy(block, slots);
  }
  using xtcdictionary<Full>::AllocateBlock;
  using xtcdictionary<Full>::BaseClone;
  using xtcdictionary<Full>::Entry;
  using xtcdictionary<Full>::GetDataPtr;
  void CloneOf(const FullDictionary& other) { this->BaseClone(&other, kSlot, kValue); }

 private:
  std::string* log_;
};
VEL_OBJECT_RTTI(FullDictionary, xrttiobject, [](xrttiobject* rtti) {
  rtti->initializeRttiObject("veltest::FullDictionary", 1, 0, nullptr);
})

TEST(XtcDictionaryOfAnyClass, HoldsExactlyTheLiveValues) {
  {
    const xrchandle<FullDictionary> dict = new FullDictionary;
    for (int i = 1; i <= 100; ++i) dict->set(std::to_string(i).c_str(), Full(i));
    EXPECT_EQ(Full::alive, 100);
    for (int i = 1; i <= 40; ++i) dict->remove(std::to_string(i).c_str());
    EXPECT_EQ(Full::alive, 60);
    Full found;
    EXPECT_TRUE(dict->find("77", &found));
    EXPECT_EQ(found.Get(), 77);
    EXPECT_EQ(Full::alive, 61);
  }
  EXPECT_EQ(Full::alive, 0);
}

TEST(XtcDictionaryOfAnyClass, DestroyIsCalledForEachBlockAndNeverForNone) {
  std::string log;
  {
    const xrchandle<FullDictionary> dict = new FullDictionary(&log);
    dict->clearall();
    EXPECT_EQ(log, "");
    for (int i = 1; i <= 31; ++i) dict->set(std::to_string(i).c_str(), Full(i));
    EXPECT_EQ(log, "32 ");
    for (int i = 1; i <= 3; ++i) dict->remove(std::to_string(i).c_str());
    EXPECT_EQ(log, "32 64 ");
  }
  EXPECT_EQ(log, "32 64 32 ");
}

TEST(XtcDictionaryOfAnyClass, DestroyEndsTheLiveValuesOfABlockOfItsCaller) {
  using Entry = FullDictionary::Entry;
  const xrchandle<FullDictionary> dict = new FullDictionary;
  dict->set("kept", Full(1));
  for (const unsigned slots : {1U, 3U, 31U, 32U, 33U, 64U}) {
    auto* const block = static_cast<Entry*>(FullDictionary::AllocateBlock(slots * sizeof(Entry)));
    for (unsigned i = 0; i < slots; ++i) new (block + i) Entry{i % 3 ? kOne : "live", Full()};
    int live = 0;
    for (unsigned i = 0; i < slots; i += 3, ++live) block[i].value = Full(7);
    EXPECT_EQ(Full::alive, 1 + live);
    dict->Destroy(block, slots);
    EXPECT_EQ(Full::alive, 1);
  }
  EXPECT_TRUE(dict->find("kept", nullptr));
}

TEST(XtcDictionaryOfAnyClass, ClonesThroughTheValuesAssignment) {
  {
    const xrchandle<FullDictionary> source = new FullDictionary;
    const xrchandle<FullDictionary> clone = new FullDictionary;
    for (int i = 1; i <= 20; ++i) source->set(std::to_string(i).c_str(), Full(i));
    for (int i = 1; i <= 5; ++i) source->remove(std::to_string(i).c_str());
    clone->set("gone", Full(1));
    clone->CloneOf(*source);
    EXPECT_EQ(Full::alive, 30);
    for (int i = 0; i < 32; ++i) {
      xstring a, b;
      EXPECT_EQ(source->getkeybyindex(i, &a), clone->getkeybyindex(i, &b));
      EXPECT_TRUE(a == b || (a.IsNull() && b.IsNull()));
    }
    Full::failing = 7;
    EXPECT_THROW(clone->CloneOf(*source), std::bad_alloc);
    EXPECT_EQ(clone->getmapsize(), 0);
    EXPECT_EQ(Full::alive, 15);
  }
  EXPECT_EQ(Full::alive, 0);
}

TEST(XtcDictionaryOfAnyClass, AValueThatCannotBeCopiedLeavesAllOthers) {
  {
    const xrchandle<FullDictionary> dict = new FullDictionary;
    for (int i = 1; i <= 30; ++i) dict->set(std::to_string(i).c_str(), Full(i));
    for (int nth = 1; nth <= 30; ++nth) {
      Full::failing = nth;
      EXPECT_THROW(dict->set("31", Full(31)), std::bad_alloc);
      EXPECT_EQ(Full::alive, 30) << nth;
      EXPECT_EQ(dict->getmapsize(), 32) << nth;
    }
    Full::failing = 31;
    EXPECT_THROW(dict->set("31", Full(31)), std::bad_alloc);
    EXPECT_EQ(Full::alive, 30);
    EXPECT_FALSE(dict->find("31", nullptr));
    for (int i = 1; i <= 30; ++i) {
      Full found;
      EXPECT_TRUE(dict->find(std::to_string(i).c_str(), &found));
      EXPECT_EQ(found.Get(), i);
    }
  }
  EXPECT_EQ(Full::alive, 0);
}

TEST(XtsDictionaryOfAnyType, HoldsOtherScalars) {
  const xrchandle<xtsdictionary<long long>> dict = new xtsdictionary<long long>(5);
  EXPECT_EQ(dict->getmapsize(), 32);
  dict->set("big", 1LL << 60);
  long long value = 0;
  EXPECT_TRUE(dict->find("big", &value));
  EXPECT_EQ(value, 1LL << 60);
}

// Every operation of the front is the subclass's to change.
class Prefixed : public xintdictionary {
 public:
  bool find(const char* key, int* value) override {
    return xintdictionary::find((std::string("p.") + key).c_str(), value);
  }
  void set(const char* key, int value) override {
    xintdictionary::set((std::string("p.") + key).c_str(), value);
  }
  int getmapsize() override { return xintdictionary::getmapsize() + 1000; }
};

TEST(XtbDictionaryVirtuals, ReachASubclassThroughItsBase) {
  const xrchandle<xintdictionary> dict = new Prefixed;
  dict->set("a", 5);
  EXPECT_TRUE(dict->find("a", nullptr));
  EXPECT_FALSE(dict->find("p.a", nullptr));
  EXPECT_EQ(dict->getmapsize(), 1032);
  EXPECT_TRUE(dict->remove("p.a"));
}

// Pointers to members are scalars of two words, the second of which tells the base.
TEST(XtsDictionaryOfAnyType, HoldsScalarsOfTwoWordsThroughResizes) {
  struct First {
    int first = -1;
  };
  struct Second {
    int n = 0;
    int Same() const { return n; }
    int Twice() const { return 2 * n; }
  };
  struct Number : First, Second {};
  using Member = int (Number::*)() const;
  const xrchandle<xtsdictionary<Member>> dict = new xtsdictionary<Member>(0);
  for (int i = 0; i < 100; ++i) {
    dict->set(std::to_string(i).c_str(), i % 2 ? &Number::Twice : &Number::Same);
  }
  for (int i = 0; i < 100; ++i) {
    Member member = nullptr;
    ASSERT_TRUE(dict->find(std::to_string(i).c_str(), &member));
    Number number;
    number.n = i;
    EXPECT_EQ((number.*member)(), i % 2 ? 2 * i : i);
  }
}

// A dictionary whose block can be looked at.
template <class Front, class T>
class Open : public Front {
 public:
  explicit Open(int capacity) : Front(capacity) {}
  const xdictentry<T>* Slots() const { return static_cast<xdictentry<T>*>(this->GetDataPtr()); }
};

// Whether a new table, made where the entries of another have been, has null keys and
// the values of T().
template <class Front, class T, class IsEmpty>
void ExpectEmptySlots(T full, IsEmpty isEmpty) {
  for (const auto& [capacity, slots] : {std::pair(28, 32), std::pair(50, 64)}) {
    for (const bool second : {false, true}) {
      SCOPED_TRACE(std::to_string(slots) + (second ? " slots again" : " slots"));
      const xrchandle<Open<Front, T>> dict = new Open<Front, T>(capacity);
      ASSERT_EQ(dict->getmapsize(), slots);
      for (int i = 0; i < slots; ++i) {
        EXPECT_EQ(static_cast<const void*>(dict->Slots()[i].key), nullptr);
        EXPECT_TRUE(isEmpty(dict->Slots()[i].value));
      }
      for (int i = 0; i < capacity; ++i) dict->set(std::to_string(i).c_str(), full);
    }
  }
}

// A number whose empty value is not of zeros.
struct Number {
  int n = -1;
};

TEST(XtbDictionaryBlocks, VacantSlotsHoldTheValuesOfDefaultConstructors) {
  const auto isZero = [](auto value) { return value == 0; };
  const auto isMinusOne = [](Number value) { return value.n == -1; };
  ExpectEmptySlots<xtsdictionary<unsigned char>, unsigned char>(5, isZero);
  ExpectEmptySlots<xtsdictionary<int>, int>(5, isZero);
  ExpectEmptySlots<xtsdictionary<double>, double>(5.5, isZero);
  ExpectEmptySlots<xtsdictionary<Number>, Number>({5}, isMinusOne);
  ExpectEmptySlots<xtcdictionary<Number>, Number>({5}, isMinusOne);
  ExpectEmptySlots<xtcdictionary<xany>, xany>("text", [](const xany& v) { return v.isuninit(); });
  ExpectEmptySlots<xtcdictionary<xstring>, xstring>("text",
                                                    [](const xstring& v) { return v.IsNull(); });
}

// A dictionary straight on the front with hooks of its own, which count the copies.
class OwnHooks : public xtbdictionary<int> {
 public:
  ~OwnHooks() override { this->BaseClearAll(kSlot); }
  void Destroy(void* block, unsigned) override { this->ReleaseBlock(block); }
  int copies = 0;

 protected:
  void* OnAllocate(unsigned slots) override { return NewBlock(slots); }
  void OnDestroy(void* block, unsigned slots) override {
    if (block) Destroy(block, slots);
  }
  void OnCopyEntry(void* dst, const void* src) override {
    ++copies;
    *static_cast<int*>(dst) = *static_cast<const int*>(src);
  }
  void OnRemoveEntry(void*) override {}
};

TEST(XtbDictionaryOfOwnHooks, EveryValueThatIsReadGoesThroughTheHook) {
  const xrchandle<OwnHooks> dict = new OwnHooks;
  dict->set("key", 5);
  EXPECT_EQ(dict->copies, 1);
  int value = 0;
  EXPECT_TRUE(dict->find("key", &value));
  EXPECT_EQ(value, 5);
  EXPECT_EQ(dict->copies, 2);
  EXPECT_TRUE(dict->find("key", nullptr));
  EXPECT_EQ(dict->copies, 2);
  int found = 0;
  for (int i = 0; i < dict->getmapsize(); ++i) found += dict->getbyindex(i, &value);
  EXPECT_EQ(found, 1);
  EXPECT_EQ(dict->copies, 3);
}

}  // namespace
