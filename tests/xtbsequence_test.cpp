#include "xtbsequence.h"

#include <sys/mman.h>
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <climits>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <map>
#include <memory>
#include <new>
#include <random>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "veltest.h"
#include "veltest_limit.h"
#include "veltest_locale.h"
#include "xrttiattrseq.h"
#include "xtcsequence.h"
#include "xtssequence.h"

// A sanitizer takes too much address space for a limit on it: its allocator
// refuses large blocks instead.
extern "C" __attribute__((visibility("default"))) const char* __asan_default_options() {
  return "allocator_may_return_null=1:max_allocation_size_mb=100";
}
extern "C" __attribute__((visibility("default"))) const char* __tsan_default_options() {
  return "allocator_may_return_null=1:max_allocation_size_mb=100";
}

namespace {

// ---- sequences that show their capacity ----

template <class Base>
class Open : public Base {
 public:
  explicit Open(unsigned capacity = 0) : Base(capacity) {}
  unsigned capacity() const { return this->GetCapacity(); }
  unsigned bytes() const { return this->GetByteSize(); }
  const void* storage() const { return this->GetPtr(); }
};

template <class S>
using ElementOf = decltype(std::declval<S&>().get(0));

// Number `n` as an element; no two are equal, none is empty.
template <class T>
T Made(int n);
template <>
unsigned char Made<unsigned char>(int n) {
  return static_cast<unsigned char>(n + 1);
}
template <>
int Made<int>(int n) {
  return n + 1;
}
template <>
double Made<double>(int n) {
  return n + 0.5;
}
template <>
xrttiattr* Made<xrttiattr*>(int n) {
  return reinterpret_cast<xrttiattr*>(std::uintptr_t{16} * static_cast<unsigned>(n + 1));
}
template <>
xstring Made<xstring>(int n) {
  return xstring(std::to_string(n).c_str());
}
template <>
xany Made<xany>(int n) {
  return n % 2 ? xany(n) : xany(Made<xstring>(n));
}

template <class T>
bool Same(const T& a, const T& b) {
  return a == b;
}
bool IsEmptyElement(const xstring& element) { return element.IsNull(); }
bool IsEmptyElement(const xany& element) { return element.isuninit(); }
// What a scalar slot without a value holds is nobody's business.
template <class T>
bool IsEmptyElement(const T&) {
  return true;
}

// ---- every element type ----

template <class S>
class XTbSequence : public testing::Test {
 protected:
  using T = ElementOf<S>;
  static constexpr int kEmpty = -1;

  static T made(int n) { return Made<T>(n); }
  static xrchandle<Open<S>> create(unsigned capacity = 0) { return new Open<S>(capacity); }
  // Elements number 0 to count - 1.
  static xrchandle<Open<S>> filled(int count) {
    auto seq = create();
    for (int i = 0; i < count; ++i) seq->append(made(i));
    return seq;
  }
  // Numbers of the elements; kEmpty stands for a slot without a value.
  static void expectHolds(const xrchandle<Open<S>>& seq, const std::vector<int>& numbers) {
    ASSERT_EQ(seq->getarraysize(), static_cast<int>(numbers.size()));
    for (int i = 0; i < seq->getarraysize(); ++i) {
      const int number = numbers[static_cast<std::size_t>(i)];
      const T element = seq->get(i);
      EXPECT_TRUE(number == kEmpty ? IsEmptyElement(element) : Same(element, made(number)))
          << "element " << i;
    }
  }
};

using Sequences = testing::Types<xboolsequence, xintsequence, xrealsequence,
                                 xtssequence<xrttiattr*>, xstringsequence, xanysequence>;
class SequenceNames {
 public:
  template <class S>
  static std::string GetName(int index) {
    const char* const names[] = {"bool", "int", "real", "attr", "string", "any"};
    return names[index];
  }
};
TYPED_TEST_SUITE(XTbSequence, Sequences, SequenceNames);

TYPED_TEST(XTbSequence, StartsWithoutStorage) {
  auto seq = this->create();
  EXPECT_EQ(seq->getarraysize(), 0);
  EXPECT_EQ(seq->capacity(), 0U);
  EXPECT_EQ(seq->storage(), nullptr);
}

TYPED_TEST(XTbSequence, CapacityDoublesByWholeElements) {
  constexpr unsigned kSize = sizeof(typename TestFixture::T);
  const unsigned initial = kSize == 24 ? 264 : 256;
  auto seq = this->create();
  for (unsigned i = 0; i < 4 * initial / kSize; ++i) {
    seq->append(this->made(static_cast<int>(i % 100)));
    const unsigned expected = i < initial / kSize       ? initial
                              : i < 2 * initial / kSize ? 2 * initial
                                                        : 4 * initial;
    ASSERT_EQ(seq->capacity(), expected) << "after " << i + 1;
    ASSERT_EQ(seq->bytes(), (i + 1) * kSize);
  }
}

TYPED_TEST(XTbSequence, ReservesWhatTheConstructorSays) {
  constexpr unsigned kSize = sizeof(typename TestFixture::T);
  const unsigned initial = kSize == 24 ? 264 : 256;
  const unsigned fitting = initial / kSize;
  EXPECT_EQ(this->create(1)->capacity(), initial);
  EXPECT_EQ(this->create(fitting)->capacity(), initial);
  EXPECT_EQ(this->create(fitting + 1)->capacity(), 2 * initial);
  EXPECT_EQ(this->create(8 * fitting)->capacity(), 8 * initial);
  EXPECT_EQ(this->create(fitting)->getarraysize(), 0);
}

TYPED_TEST(XTbSequence, ReservesNothingForZeroAndNegativeCapacities) {
  for (unsigned capacity : {0U, 0x80000000U, UINT_MAX}) {
    EXPECT_EQ(this->create(capacity)->capacity(), 0U) << capacity;
  }
}

TYPED_TEST(XTbSequence, ReservedRoomIsFilledInPlace) {
  auto seq = this->create(30);
  const void* storage = seq->storage();
  for (int i = 0; i < 30; ++i) seq->append(this->made(i));
  EXPECT_EQ(seq->storage(), storage);
}

TYPED_TEST(XTbSequence, GetCopiesAndSubscriptRefers) {
  auto seq = this->filled(3);
  EXPECT_TRUE(Same(seq->get(1), this->made(1)));
  EXPECT_TRUE(Same((*seq)[2], this->made(2)));
  (*seq)[2] = this->made(7);
  this->expectHolds(seq, {0, 1, 7});
  EXPECT_EQ(&(*seq)[0], seq->storage());
}

TYPED_TEST(XTbSequence, GetAndSubscriptCheckTheIndex) {
  auto seq = this->filled(3);
  for (int index : {-1, -2147483647, INT_MIN}) {
    EXPECT_VEL_THROW(seq->get(index), velXNegativeIndex);
    EXPECT_VEL_THROW((*seq)[index], velXNegativeIndex);
  }
  for (int index : {3, 4, 64, INT_MAX}) {
    EXPECT_VEL_THROW(seq->get(index), velXInvalidSeqIndex);
    EXPECT_VEL_THROW((*seq)[index], velXInvalidSeqIndex);
  }
  EXPECT_VEL_THROW(this->create()->get(0), velXInvalidSeqIndex);
  this->expectHolds(seq, {0, 1, 2});
}

TYPED_TEST(XTbSequence, NegativeIndicesAreRefused) {
  auto seq = this->filled(3);
  const auto& self = *seq;
  for (int index : {-1, INT_MIN}) {
    EXPECT_VEL_THROW(seq->set(index, this->made(9)), velXNegativeIndex);
    EXPECT_VEL_THROW(seq->insert(index, this->made(9)), velXNegativeIndex);
    EXPECT_VEL_THROW(seq->insertseq(index, self), velXNegativeIndex);
    EXPECT_VEL_THROW(seq->removerange(index, 2), velXNegativeIndex);
    EXPECT_VEL_THROW(seq->removerange(2, index), velXNegativeIndex);
  }
  this->expectHolds(seq, {0, 1, 2});
}

TYPED_TEST(XTbSequence, SetOverwritesAndExtends) {
  auto seq = this->filled(3);
  seq->set(0, this->made(5));
  seq->set(2, this->made(6));
  this->expectHolds(seq, {5, 1, 6});
  seq->set(3, this->made(7));
  this->expectHolds(seq, {5, 1, 6, 7});
}

TYPED_TEST(XTbSequence, SetBeyondTheEndOpensAGap) {
  auto seq = this->create();
  seq->set(10, this->made(4));
  this->expectHolds(seq, {-1, -1, -1, -1, -1, -1, -1, -1, -1, -1, 4});
  auto large = this->create();
  large->set(1000, this->made(4));
  EXPECT_EQ(large->getarraysize(), 1001);
  EXPECT_TRUE(IsEmptyElement(large->get(999)));
}

TYPED_TEST(XTbSequence, InsertShiftsAndExtends) {
  auto seq = this->filled(3);
  seq->insert(0, this->made(5));
  seq->insert(2, this->made(6));
  seq->insert(5, this->made(7));
  this->expectHolds(seq, {5, 0, 6, 1, 2, 7});
  seq->insert(8, this->made(8));
  this->expectHolds(seq, {5, 0, 6, 1, 2, 7, -1, -1, 8});
}

TYPED_TEST(XTbSequence, InsertseqInsertsAllElements) {
  auto other = this->filled(3);
  auto seq = this->filled(2);
  seq->insertseq(1, *other);
  this->expectHolds(seq, {0, 0, 1, 2, 1});
  seq->insertseq(7, *other);
  this->expectHolds(seq, {0, 0, 1, 2, 1, -1, -1, 0, 1, 2});
  this->expectHolds(other, {0, 1, 2});
}

TYPED_TEST(XTbSequence, InsertingNoElementsBeyondTheEndStillOpensTheGap) {
  auto seq = this->filled(2);
  seq->insertseq(1, *this->create());
  this->expectHolds(seq, {0, 1});
  seq->insertseq(4, *this->create());
  this->expectHolds(seq, {0, 1, -1, -1});
}

TYPED_TEST(XTbSequence, InsertsItselfAsIfCopiedFirst) {
  // Three elements fit in place; with eight, some types have to grow.
  for (int count : {3, 6, 8, 11, 32, 64}) {
    for (int index : {0, 1, count / 2, count, count + 2}) {
      auto seq = this->filled(count);
      std::vector<int> expected;
      for (int i = 0; i < count; ++i) expected.push_back(i);
      const std::vector<int> copy = expected;
      if (index > count) expected.resize(static_cast<std::size_t>(index), -1);
      expected.insert(expected.begin() + index, copy.begin(), copy.end());
      seq->insertseq(index, *seq);
      this->expectHolds(seq, expected);
    }
  }
}

TYPED_TEST(XTbSequence, TakesItsOwnElementsByValue) {
  auto seq = this->filled(3);
  for (int i = 0; i < 300; ++i) seq->append((*seq)[0]);
  seq->insert(0, (*seq)[2]);
  seq->set(600, (*seq)[1]);
  EXPECT_TRUE(Same(seq->get(302), this->made(0)));
  EXPECT_TRUE(Same(seq->get(0), this->made(2)));
  EXPECT_TRUE(Same(seq->get(600), this->made(0)));
}

TYPED_TEST(XTbSequence, RemoverangeTakesItsEndsInEitherOrder) {
  auto forwards = this->filled(8);
  forwards->removerange(2, 5);
  this->expectHolds(forwards, {0, 1, 5, 6, 7});
  auto backwards = this->filled(8);
  backwards->removerange(5, 2);
  this->expectHolds(backwards, {0, 1, 5, 6, 7});
}

TYPED_TEST(XTbSequence, RemoverangeClampsToTheEnd) {
  auto seq = this->filled(10);
  seq->removerange(3, 3);
  seq->removerange(10, 11);
  seq->removerange(20, 30);
  seq->removerange(INT_MAX, 10);
  this->expectHolds(seq, {0, 1, 2, 3, 4, 5, 6, 7, 8, 9});
  seq->removerange(8, 300);
  this->expectHolds(seq, {0, 1, 2, 3, 4, 5, 6, 7});
  seq->removerange(INT_MAX, 2);
  this->expectHolds(seq, {0, 1});
  this->create()->removerange(0, INT_MAX);
}

TYPED_TEST(XTbSequence, RemovalKeepsTheCapacityAndEmptiesTheSlots) {
  auto seq = this->filled(70);
  const unsigned capacity = seq->capacity();
  const void* storage = seq->storage();
  seq->removerange(1, 70);
  EXPECT_EQ(seq->capacity(), capacity);
  seq->set(4, this->made(9));
  this->expectHolds(seq, {0, -1, -1, -1, 9});
  seq->clear();
  EXPECT_EQ(seq->getarraysize(), 0);
  EXPECT_EQ(seq->capacity(), capacity);
  EXPECT_EQ(seq->storage(), storage);
  seq->set(2, this->made(3));
  this->expectHolds(seq, {-1, -1, 3});
}

TEST(XIntSequence, GapsShowNoOldBytes) {
  const auto seq = xintsequence::create();
  for (int i = 0; i < 300; ++i) seq->append(-1);
  seq->clear();
  seq->set(100, 7);
  seq->insert(200, 8);
  seq->insertseq(250, *xintsequence::create());
  for (int i = 0; i < seq->getarraysize(); ++i) {
    EXPECT_EQ(seq->get(i), i == 100 ? 7 : i == 200 ? 8 : 0) << i;
  }
}

// Of the template, whose hooks may be overridden, what is gained by growing.
TEST(XTsSequence, GrowsByZeros) {
  const xrchandle<xtssequence<int>> seq(new xtssequence<int>(0));
  for (int i = 0; i < 64; ++i) seq->append(-1);
  seq->removerange(1, 64);
  seq->set(64, 7);
  for (int i = 1; i < 64; ++i) EXPECT_EQ(seq->get(i), 0) << i;
}

TYPED_TEST(XTbSequence, ClearingTheEmptyDoesNothing) {
  auto seq = this->create();
  seq->clear();
  EXPECT_EQ(seq->getarraysize(), 0);
  EXPECT_EQ(seq->capacity(), 0U);
}

TYPED_TEST(XTbSequence, RefusesWhatNoSequenceCanHold) {
  auto seq = this->filled(3);
  EXPECT_VEL_NATIVE(seq->set(INT_MAX, this->made(9)), "Size limit exceeded");
  EXPECT_VEL_NATIVE(seq->insert(INT_MAX, this->made(9)), "Size limit exceeded");
  EXPECT_VEL_NATIVE(seq->insertseq(INT_MAX, *seq), "Size limit exceeded");
  this->expectHolds(seq, {0, 1, 2});
  EXPECT_EQ(seq->capacity(), sizeof(typename TestFixture::T) == 24 ? 264U : 256U);
}

// Random operations against a vector of element numbers.
TYPED_TEST(XTbSequence, RandomOperationsMatchAVector) {
  std::mt19937 random(20240229);
  const auto upTo = [&](int most) { return static_cast<int>(random() % unsigned(most + 1)); };
  auto seq = this->create();
  auto other = this->filled(5);
  std::vector<int> model;
  for (int step = 0; step < 1500; ++step) {
    const int size = static_cast<int>(model.size());
    const int number = upTo(100);
    const int index = upTo(size + 3);
    const auto makeRoom = [&] {
      if (index > size) model.resize(static_cast<std::size_t>(index), -1);
    };
    switch (upTo(size > 150 ? 6 : 5)) {
      case 0:
        seq->append(this->made(number));
        model.push_back(number);
        break;
      case 1:
        seq->set(index, this->made(number));
        if (index >= size) model.resize(static_cast<std::size_t>(index) + 1, -1);
        model[static_cast<std::size_t>(index)] = number;
        break;
      case 2:
        seq->insert(index, this->made(number));
        makeRoom();
        model.insert(model.begin() + index, number);
        break;
      case 3:
        seq->insertseq(index, *other);
        makeRoom();
        model.insert(model.begin() + index, {0, 1, 2, 3, 4});
        break;
      case 4:
        if (size < 60) {
          seq->insertseq(index, *seq);
          const std::vector<int> copy = model;
          makeRoom();
          model.insert(model.begin() + index, copy.begin(), copy.end());
        }
        break;
      case 5: {
        const int last = upTo(size + 3);
        seq->removerange(index, last);
        const auto clamped = [&](int i) { return model.begin() + std::min(i, size); };
        model.erase(clamped(std::min(index, last)), clamped(std::max(index, last)));
        break;
      }
      default:
        seq->clear();
        model.clear();
    }
    this->expectHolds(seq, model);
    if (this->HasFailure()) FAIL() << "in step " << step;
  }
}

// ---- what is declared ----

template <class S>
struct HasTheMembers {
  using T = ElementOf<S>;
  template <class Member>
  using Of = Member xtbsequence<T>::*;
  static_assert(std::is_base_of<xobject, S>::value, "");
  static_assert(std::is_same<decltype(&xtbsequence<T>::getarraysize), Of<int()>>::value, "");
  static_assert(std::is_same<decltype(&xtbsequence<T>::get), Of<T(int)>>::value, "");
  static_assert(std::is_same<decltype(&xtbsequence<T>::set), Of<void(int, T)>>::value, "");
  static_assert(std::is_same<decltype(&xtbsequence<T>::append), Of<void(T)>>::value, "");
  static_assert(std::is_same<decltype(&xtbsequence<T>::insert), Of<void(int, T)>>::value, "");
  static_assert(std::is_same<decltype(&xtbsequence<T>::insertseq),
                             Of<void(int, const xtbsequence<T>&)>>::value,
                "");
  static_assert(std::is_same<decltype(&xtbsequence<T>::removerange), Of<void(int, int)>>::value,
                "");
  static_assert(std::is_same<decltype(&xtbsequence<T>::clear), Of<void()>>::value, "");
  static_assert(std::is_same<decltype(std::declval<S&>()[0]), T&>::value, "");
  static_assert(!std::is_copy_constructible<S>::value && !std::is_copy_assignable<S>::value, "");
  static_assert(!std::is_convertible<S*, xbasesequence*>::value, "the core is not public");
};
template struct HasTheMembers<xboolsequence>;
template struct HasTheMembers<xintsequence>;
template struct HasTheMembers<xrealsequence>;
template struct HasTheMembers<xrttiattrseq>;
template struct HasTheMembers<xstringsequence>;
template struct HasTheMembers<xanysequence>;

template <class S, class = void>
struct HasPlusAssign : std::false_type {};
template <class S>
struct HasPlusAssign<S, std::void_t<decltype(std::declval<S&>() += std::declval<ElementOf<S>>())>>
    : std::true_type {};
static_assert(!HasPlusAssign<xboolsequence>::value, "");
static_assert(!HasPlusAssign<xintsequence>::value, "");
static_assert(!HasPlusAssign<xrealsequence>::value, "");
static_assert(!HasPlusAssign<xrttiattrseq>::value, "");
static_assert(HasPlusAssign<xstringsequence>::value, "");
static_assert(HasPlusAssign<xanysequence>::value, "");

static_assert(sizeof(xstring) == 24, "eleven strings in 264 bytes");
static_assert(sizeof(xany) == 32, "eight values in 256 bytes");

TEST(XTcSequence, PlusAssignAppendsAndReturnsTheSequence) {
  auto seq = xstringsequence::create();
  EXPECT_EQ(&(*seq += "a"), seq.operator->());
  (*seq += "b") += xstring("c");
  ASSERT_EQ(seq->getarraysize(), 3);
  EXPECT_STREQ(seq->get(2), "c");
}

TEST(XRttiAttrSeq, IsASequenceOfPointers) {
  auto* seq = new Open<xrttiattrseq>;
  seq->append(nullptr);
  EXPECT_EQ(seq->capacity(), 256U);
  EXPECT_EQ(seq->bytes(), 8U);
  EXPECT_EQ(seq->get(0), nullptr);
  EXPECT_VEL_THROW(seq->get(1), velXInvalidSeqIndex);
  EXPECT_EQ(seq->getarraysize(), 1);
  xdelete(seq);
}

// ---- errors ----

TEST(XIntSequence, NegativeIndexTellsTheIndex) {
  auto seq = xintsequence::create();
  const auto caught = velCaught([&] { seq->set(-7, 1); });
  auto* error = dynamic_cast<velXNegativeIndex*>(caught.operator->());
  ASSERT_NE(error, nullptr);
  EXPECT_EQ(error->getIndex(), -7);
  EXPECT_STREQ(error->getDescription(), "Negative index");
}

TEST(XIntSequence, RemoverangeTestsTheFirstIndexFirst) {
  auto seq = xintsequence::create();
  struct Row {
    int first, last, reported;
  };
  for (const Row& row : {Row{-1, -2, -1}, Row{-2, -1, -2}, Row{3, -4, -4}, Row{-5, 3, -5}}) {
    const auto caught = velCaught([&] { seq->removerange(row.first, row.last); });
    auto* error = dynamic_cast<velXNegativeIndex*>(caught.operator->());
    ASSERT_NE(error, nullptr);
    EXPECT_EQ(error->getIndex(), row.reported);
  }
}

TEST(XIntSequence, InvalidIndexTellsTheSequenceAndTheIndex) {
  auto seq = xintsequence::create();
  seq->append(1);
  const auto caught = velCaught([&] { seq->get(5); });
  auto* error = dynamic_cast<velXInvalidSeqIndex*>(caught.operator->());
  ASSERT_NE(error, nullptr);
  EXPECT_EQ(error->getIndex(), 5);
  EXPECT_EQ(error->getVelObject().operator xobject*(), seq.operator->());
  EXPECT_STREQ(error->getDescription(), "Sequence index is out of range");
}

TEST(XIntSequence, NonNegativeAssertionIsTheSameTest) {
  velhAssertNonNegativeIndex(0);
  velhAssertNonNegativeIndex(INT_MAX);
  EXPECT_VEL_THROW(velhAssertNonNegativeIndex(-1), velXNegativeIndex);
  EXPECT_VEL_THROW(velhAssertNonNegativeIndex(INT_MIN), velXNegativeIndex);
  EXPECT_VEL_THROW(velhThrowNegativeIndex(3), velXNegativeIndex);
}

TEST(XIntSequence, AnInvalidIndexHoldsTheSequence) {
  auto seq = xintsequence::create();
  EXPECT_EQ(xrcgetcount(seq), 1);
  {
    const auto caught = velCaught([&] { seq->get(0); });
    EXPECT_EQ(xrcgetcount(seq), 2);
  }
  EXPECT_EQ(xrcgetcount(seq), 1);
}

class LogSequence : public xintsequence {
 public:
  explicit LogSequence(int* dead) : dead_(dead) {}
  ~LogSequence() override { ++*dead_; }

 private:
  int* dead_;
};

TEST(XIntSequence, ASequenceInNoHandleDiesWithItsException) {
  int dead = 0;
  auto* seq = new LogSequence(&dead);
  {
    const auto caught = velCaught([&] { seq->get(0); });
    EXPECT_EQ(xrcgetcount(seq), 1);
    EXPECT_EQ(dead, 0);
  }
  EXPECT_EQ(dead, 1);
}

// ---- hook calls under the typed front ----

// A class element that counts its instances and logs its assignments.
struct Element {
  Element(int n = 0) : id(n) { ++live; }
  Element(const Element& other) : id(other.id) { ++live; }
  ~Element() {
    --live;
    if (atEnd) std::exchange(atEnd, nullptr)();
  }
  Element& operator=(const Element& other) {
    if (fuse && --fuse == 0) throw std::bad_alloc();
    assigned += std::to_string(other.id) + ' ';
    id = other.id;
    return *this;
  }
  int id;
  static int live;
  static int fuse;  // number of the assignment that throws
  static std::string assigned;
  static inline std::function<void()> atEnd;  // the first end from now on does this
};
int Element::live = 0;
int Element::fuse = 0;
std::string Element::assigned;

// Writes down hook calls; places in its own storage show as @offset.
template <class Base>
class Watch : public Open<Base> {
 public:
  bool failing = false;

  std::string taken() {
    std::string all;
    all.swap(log);
    return all.substr(0, all.empty() ? 0 : all.size() - 1);
  }

 protected:
  void* OnResize(unsigned newCapacity) override {
    log += "resize(" + std::to_string(newCapacity) + ") ";
    if (failing) throw std::bad_alloc();
    return Base::OnResize(newCapacity);
  }
  void OnAllocate(void* at, unsigned bytes) override {
    log += "allocate(" + place(at) + ',' + std::to_string(bytes) + ") ";
    Base::OnAllocate(at, bytes);
  }
  void OnDestroy(void* at, unsigned bytes) override {
    log += "destroy(" + place(at) + ',' + std::to_string(bytes) + ") ";
    Base::OnDestroy(at, bytes);
  }
  void OnCopy(void* dst, const void* src, unsigned bytes) override {
    log += "copy(" + place(dst) + ',' + place(src) + ',' + std::to_string(bytes) + ") ";
    Base::OnCopy(dst, src, bytes);
  }

 private:
  std::string place(const void* p) const {
    const auto base = reinterpret_cast<std::uintptr_t>(this->storage());
    const auto at = reinterpret_cast<std::uintptr_t>(p);
    if (!base || at < base || at > base + this->capacity()) return "out";
    return '@' + std::to_string(at - base);
  }
  std::string log;
};

using WatchedInts = Watch<xtssequence<int>>;
using WatchedElements = Watch<xtcsequence<Element>>;

TEST(XTsSequence, EveryOperationCallsTheHooksOfTheCore) {
  const xrchandle<WatchedInts> seq(new WatchedInts);
  seq->append(1);
  EXPECT_EQ(seq->taken(), "resize(256) copy(@0,out,4)");
  seq->append(2);
  EXPECT_EQ(seq->taken(), "copy(@4,out,4)");
  seq->set(0, 3);
  EXPECT_EQ(seq->taken(), "copy(@0,out,4)");
  seq->set(3, 4);
  EXPECT_EQ(seq->taken(), "copy(@12,out,4)");
  seq->insert(1, 5);
  EXPECT_EQ(seq->taken(), "copy(@8,@4,12) copy(@4,out,4)");
  seq->insertseq(2, *seq);
  EXPECT_EQ(seq->taken(), "copy(@28,@8,12) copy(@8,@0,8) copy(@16,@28,12)");
  seq->removerange(1, 3);
  EXPECT_EQ(seq->taken(), "copy(@4,@12,28) destroy(@32,8) allocate(@32,8)");
  seq->get(0);
  (*seq)[0] = 1;
  seq->removerange(20, 30);
  EXPECT_EQ(seq->taken(), "");
  seq->set(64, 6);
  EXPECT_EQ(seq->taken(), "resize(512) copy(@256,out,4)");
  seq->clear();
  EXPECT_EQ(seq->taken(), "destroy(@0,260) allocate(@0,260)");
}

TEST(XTcSequence, GrowthBuildsTheNewBlockBeforeItTouchesTheOld) {
  const xrchandle<WatchedElements> seq(new WatchedElements);
  seq->append(1);
  EXPECT_EQ(seq->taken(), "resize(256) allocate(out,256) copy(@0,out,4)");
  seq->set(63, 2);
  EXPECT_EQ(seq->taken(), "copy(@252,out,4)");
  seq->append(3);
  EXPECT_EQ(seq->taken(),
            "resize(512) allocate(out,512) copy(out,@0,256) destroy(@0,256) copy(@256,out,4)");
  seq->clear();
  EXPECT_EQ(seq->taken(), "destroy(@0,260) allocate(@0,260)");
}

TEST(XTcSequence, TheConstructorUsesItsOwnHooks) {
  Element::live = 0;
  {
    const xrchandle<Open<xtcsequence<Element>>> seq(new Open<xtcsequence<Element>>(65));
    EXPECT_EQ(seq->capacity(), 512U);
    EXPECT_EQ(Element::live, 128);
  }
  Element::live = 0;
}

// ---- class elements ----

template <std::size_t Size>
struct Sized {
  char bytes[Size] = {};
};
template <std::size_t Size>
unsigned InitialCapacity() {
  return std::make_unique<Open<xtcsequence<Sized<Size>>>>(1U)->capacity();
}

TEST(XTcSequence, InitialCapacityIsAWholeNumberOfElements) {
  EXPECT_EQ(InitialCapacity<1>(), 256U);
  EXPECT_EQ(InitialCapacity<24>(), 264U);
  EXPECT_EQ(InitialCapacity<32>(), 256U);
  EXPECT_EQ(InitialCapacity<100>(), 300U);
  EXPECT_EQ(InitialCapacity<257>(), 257U);
}

// The instances that exist must be all slots of the capacity.
class XTcSequenceElements : public testing::Test {
 protected:
  using Seq = Open<xtcsequence<Element>>;
  XTcSequenceElements() {
    Element::live = 0;
    Element::fuse = 0;
    Element::assigned.clear();
  }
  ~XTcSequenceElements() override { Element::live = Element::fuse = 0; }

  static xrchandle<Seq> filled(int count) {
    xrchandle<Seq> seq(new Seq);
    for (int i = 1; i <= count; ++i) seq->append(i);
    Element::assigned.clear();
    return seq;
  }
  static std::string contents(Seq& seq) {
    std::string all;
    for (int i = 0; i < seq.getarraysize(); ++i) all += std::to_string(seq[i].id) + ' ';
    return all;
  }
};

TEST_F(XTcSequenceElements, EverySlotOfTheCapacityIsAlive) {
  auto seq = filled(1);
  EXPECT_EQ(Element::live, 64);
  seq->set(63, 2);
  EXPECT_EQ(Element::live, 64);
  seq->append(3);
  EXPECT_EQ(Element::live, 128);
  seq->removerange(3, 60);
  EXPECT_EQ(Element::live, 128);
  seq->clear();
  EXPECT_EQ(Element::live, 128);
}

TEST_F(XTcSequenceElements, GrowthEndsOnlyTheUsedOnesOfTheOldBlock) {
  auto seq = filled(5);
  seq->set(64, 1);
  EXPECT_EQ(Element::live, 128 + (64 - 5));
}

TEST_F(XTcSequenceElements, DestructionEndsOnlyTheUsedOnes) {
  filled(70);
  EXPECT_EQ(Element::live, 128 - 70);
}

// To what the end of an element appends the sequence is a new one.
TEST_F(XTcSequenceElements, DestructionStartsAgainWithTheFirstCapacity) {
  auto seq = filled(70);
  Seq* const raw = seq.operator->();
  unsigned capacity = 1;
  Element::atEnd = [&] {
    capacity = raw->capacity();
    raw->append(7);
  };
  seq = 0;
  EXPECT_EQ(capacity, 0U);
  EXPECT_EQ(Element::live, (128 - 70) + (64 - 1));
}

TEST_F(XTcSequenceElements, TailsMoveUpFromTheLastAndDownFromTheFirst) {
  auto seq = filled(4);
  seq->insert(1, 9);
  EXPECT_EQ(Element::assigned, "4 3 2 9 ");
  Element::assigned.clear();
  seq->removerange(0, 2);
  EXPECT_EQ(Element::assigned, "2 3 4 ");
  Element::assigned.clear();
  seq->removerange(1, 1);
  EXPECT_EQ(Element::assigned, "");
  EXPECT_EQ(contents(*seq), "2 3 4 ");
}

TEST_F(XTcSequenceElements, VacatedSlotsAreNewElements) {
  auto seq = filled(4);
  seq->removerange(0, 4);
  seq->set(5, 7);
  EXPECT_EQ(contents(*seq), "0 0 0 0 0 7 ");
}

TEST_F(XTcSequenceElements, ArgumentsAreDestroyedWhenTheCallFails) {
  auto seq = filled(4);
  const Element value(5);
  EXPECT_VEL_THROW(seq->set(-1, value), velXNegativeIndex);
  EXPECT_VEL_THROW(seq->insert(-1, value), velXNegativeIndex);
  EXPECT_VEL_NATIVE(seq->set(INT_MAX, value), "Size limit exceeded");
  seq->set(1, value);
  EXPECT_EQ(Element::live, 64 + 1);
  EXPECT_EQ(contents(*seq), "1 5 3 4 ");
}

TEST_F(XTcSequenceElements, GrowthSurvivesAnAssignmentThatThrows) {
  auto seq = filled(64);
  const void* storage = seq->storage();
  const std::string before = contents(*seq);
  Element::fuse = 10;
  EXPECT_THROW(seq->append(65), std::bad_alloc);
  EXPECT_EQ(contents(*seq), before);
  EXPECT_EQ(seq->storage(), storage);
  EXPECT_EQ(Element::live, 64);
  seq->append(65);
  EXPECT_EQ(contents(*seq), before + "65 ");
}

TEST_F(XTcSequenceElements, WithoutMemoryNothingChanges) {
  const std::function<void(WatchedElements&)> growing[] = {
      [](WatchedElements& s) { s.append(7); },    [](WatchedElements& s) { s += 7; },
      [](WatchedElements& s) { s.insert(3, 7); }, [](WatchedElements& s) { s.insert(80, 7); },
      [](WatchedElements& s) { s.set(64, 7); },   [](WatchedElements& s) { s.insertseq(1, s); },
  };
  for (const auto& grow : growing) {
    Element::live = 0;
    const xrchandle<WatchedElements> seq(new WatchedElements);
    for (int i = 0; i < 64; ++i) seq->append(i);
    const void* storage = seq->storage();
    seq->taken();
    Element::assigned.clear();
    seq->failing = true;
    EXPECT_THROW(grow(*seq), std::bad_alloc);
    EXPECT_EQ(seq->storage(), storage);
    EXPECT_EQ(seq->getarraysize(), 64);
    EXPECT_EQ(Element::assigned, "");
    EXPECT_EQ(Element::live, 64);
    seq->clear();
    EXPECT_EQ(seq->getarraysize(), 0);
  }
}

TEST_F(XTcSequenceElements, WithoutMemoryRemovalSucceeds) {
  const xrchandle<WatchedElements> seq(new WatchedElements);
  for (int i = 0; i < 6; ++i) seq->append(i);
  seq->failing = true;
  seq->removerange(1, 3);
  seq->set(0, 9);
  seq->insert(1, 8);
  EXPECT_EQ(contents(*seq), "9 8 3 4 5 ");
  seq->clear();
  EXPECT_EQ(Element::live, 64);
}

// Objects live as long as some element holds them, and are counted once per
// element.
TEST(XAnySequence, CountsOfObjectsStayExact) {
  std::mt19937 random(7);
  const auto upTo = [&](int most) { return static_cast<int>(random() % unsigned(most + 1)); };
  const int before = VelLogObject::alive();
  auto seq = xanysequence::create();
  auto other = xanysequence::create();
  std::vector<VelLogObject*> model;
  for (int step = 0; step < 2000; ++step) {
    const int size = static_cast<int>(model.size());
    const int index = upTo(size + 2);
    const auto makeRoom = [&] {
      model.resize(std::max(model.size(), static_cast<std::size_t>(index)));
    };
    switch (upTo(size > 60 ? 6 : 5)) {
      case 0: {
        auto* object = new VelLogObject;
        seq->append(object);
        model.push_back(object);
        break;
      }
      case 1: {
        auto* object = new VelLogObject;
        seq->set(index, object);
        model.resize(std::max(model.size(), static_cast<std::size_t>(index) + 1));
        model[static_cast<std::size_t>(index)] = object;
        break;
      }
      case 2:
        if (size) {
          const int from = upTo(size - 1);
          seq->insert(index, (*seq)[from]);
          VelLogObject* object = model[static_cast<std::size_t>(from)];
          makeRoom();
          model.insert(model.begin() + index, object);
        }
        break;
      case 3:
        if (size < 40) {
          seq->insertseq(index, *seq);
          const auto copy = model;
          makeRoom();
          model.insert(model.begin() + index, copy.begin(), copy.end());
        }
        break;
      case 4:
      case 5: {
        const int last = upTo(size + 2);
        seq->removerange(index, last);
        const auto clamped = [&](int i) { return model.begin() + std::min(i, size); };
        model.erase(clamped(std::min(index, last)), clamped(std::max(index, last)));
        break;
      }
      default:
        seq->clear();
        model.clear();
    }
    std::map<VelLogObject*, int> counts;
    for (VelLogObject* object : model) {
      if (object) ++counts[object];
    }
    ASSERT_EQ(VelLogObject::alive() - before, static_cast<int>(counts.size())) << "step " << step;
    ASSERT_EQ(seq->getarraysize(), static_cast<int>(model.size()));
    for (const auto& [object, count] : counts) ASSERT_EQ(xrcgetcount(object), count);
  }
  seq = 0;
  EXPECT_EQ(VelLogObject::alive(), before);
}

TEST(XStringSequence, SharesTheTextOfItsElements) {
  auto seq = xstringsequence::create();
  const xstring text("shared");
  seq->append(text);
  for (int i = 0; i < 40; ++i) seq->insert(0, seq->get(0));
  EXPECT_EQ(seq->get(40).CastToCString(), text.CastToCString());
  EXPECT_EQ(seq->get(0).CastToCString(), text.CastToCString());
}

// ---- elements whose end uses the sequence ----

// Runs `action` when its last reference goes.
class Actor : public virtual xobject {
 public:
  explicit Actor(std::function<void()> action) : action_(std::move(action)) { ++alive; }
  ~Actor() override { --alive; }
  void onDelete() override { action_(); }
  static int alive;

 private:
  std::function<void()> action_;
};
int Actor::alive = 0;

// The elements: ints as they are, uninit and objects as letters.
std::string Listed(xanysequence& seq) {
  std::string all;
  for (int i = 0; i < seq.getarraysize(); ++i) {
    const xany element = seq.get(i);
    all += element.isuninit()                ? "u"
           : element.getkind() == xanyObject ? "o"
                                             : std::to_string(int(element));
    all += ' ';
  }
  return all;
}

struct Act {
  const char* name;
  void (*run)(xanysequence& seq);
};

// Each gives up the object at 0 of {object, 1, 2}.
const Act kReleasing[] = {
    {"set", [](xanysequence& s) { s.set(0, 9); }},
    {"subscript", [](xanysequence& s) { s[0] = 9; }},
    {"removerange(0,1)", [](xanysequence& s) { s.removerange(0, 1); }},
    {"removerange(0,2)", [](xanysequence& s) { s.removerange(0, 2); }},
    {"removerange(3,0)", [](xanysequence& s) { s.removerange(3, 0); }},
    {"clear", [](xanysequence& s) { s.clear(); }},
};
const Act kActions[] = {
    {"nothing", [](xanysequence&) {}},
    {"append", [](xanysequence& s) { s.append(7); }},
    {"grow", [](xanysequence& s) { s.set(40, 7); }},
    {"clear", [](xanysequence& s) { s.clear(); }},
    {"insert", [](xanysequence& s) { s.insert(0, 5); }},
    {"removerange", [](xanysequence& s) { s.removerange(0, 1); }},
    {"insertseq", [](xanysequence& s) { s.insertseq(1, s); }},
};

TEST(XAnySequence, ElementsMayUseTheSequenceWhenTheyEnd) {
  for (const Act& releasing : kReleasing) {
    for (const Act& action : kActions) {
      SCOPED_TRACE(std::string(releasing.name) + " then " + action.name);
      // What the two do one after the other, without an object.
      auto plain = xanysequence::create();
      for (int i = 0; i < 3; ++i) plain->append(i);
      releasing.run(*plain);
      const std::string settled = Listed(*plain);
      action.run(*plain);
      const std::string after = Listed(*plain);

      auto seq = xanysequence::create();
      std::string seen;
      seq->append(new Actor([&] {
        seen = Listed(*seq);
        action.run(*seq);
      }));
      seq->append(1);
      seq->append(2);
      releasing.run(*seq);
      EXPECT_EQ(seen, settled);
      EXPECT_EQ(Listed(*seq), after);
      EXPECT_EQ(Actor::alive, 0);
    }
  }
}

TEST(XAnySequence, ManyElementsThatAppendEndInOrder) {
  auto seq = xanysequence::create();
  for (int i = 0; i < 100; ++i) seq->append(new Actor([&seq, i] { seq->append(i); }));
  seq->clear();
  ASSERT_EQ(seq->getarraysize(), 100);
  for (int i = 0; i < 100; ++i) EXPECT_EQ(int(seq->get(i)), i);
  EXPECT_EQ(Actor::alive, 0);
}

TEST(XAnySequence, TheEndOfOneElementMayEndOthers) {
  auto seq = xanysequence::create();
  std::string log;
  seq->append(new Actor([&] {
    log += "first " + Listed(*seq);
    seq->removerange(0, 1);
  }));
  seq->append(new Actor([&] {
    log += "second " + Listed(*seq);
    seq->clear();
  }));
  seq->append(new Actor([&] { log += "third " + Listed(*seq); }));
  seq->removerange(0, 1);
  EXPECT_EQ(log, "first o o second o third ");
  EXPECT_EQ(seq->getarraysize(), 0);
  EXPECT_EQ(Actor::alive, 0);
}

TEST(XAnySequence, ADyingSequenceIsEmptyForItsElements) {
  auto seq = xanysequence::create();
  xanysequence* dying = seq;
  std::string seen = "none";
  seq->append(new Actor([&] {
    const xrchandle<xanysequence> again(dying);
    seen = Listed(*dying);
    dying->clear();
  }));
  seq->append(1);
  seq = 0;
  EXPECT_EQ(seen, "");
  EXPECT_EQ(Actor::alive, 0);
}

TEST(XAnySequence, WhatIsAppendedToADyingSequenceGoesWithIt) {
  auto seq = xanysequence::create();
  xanysequence* dying = seq;
  std::string log;
  seq->append(new Actor([&] {
    log += "first ";
    dying->append(new Actor([&] { log += "second "; }));
    dying->append("text");
  }));
  seq = 0;
  EXPECT_EQ(log, "first second ");
  EXPECT_EQ(Actor::alive, 0);
}

// ---- limits ----

// A typed front with nothing behind its hooks, for sizes near the limits.
template <class T>
class Hollow : public xtbsequence<T> {
 public:
  explicit Hollow(unsigned initial = (256 + sizeof(T) - 1) / sizeof(T) * sizeof(T))
      : xtbsequence<T>(xseqcontrol(false, initial)),
        range(
            mmap(nullptr, kRange, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0)) {}
  ~Hollow() override { munmap(range, kRange); }

  void reserve(unsigned elements) { this->Reserve(elements); }
  unsigned capacity() const { return this->GetCapacity(); }
  int calls = 0;

 protected:
  void* OnResize(unsigned) override { return called(range); }
  void OnAllocate(void* at, unsigned) override { called(at); }
  void OnDestroy(void* at, unsigned) override { called(at); }
  void OnCopy(void* dst, const void*, unsigned) override { called(dst); }

 private:
  static constexpr std::size_t kRange = std::size_t{1} << 32;
  void* called(void* p) {
    ++calls;
    return p;
  }
  void* range;
};

template <class T>
void ExpectLimits(unsigned largest, int most) {
  const T value{};
  const auto full = [&] {
    xrchandle<Hollow<T>> seq(new Hollow<T>);
    seq->set(most - 1, value);
    return seq;
  };
  xrchandle<Hollow<T>> seq = full();
  EXPECT_EQ(seq->getarraysize(), most);
  EXPECT_EQ(seq->capacity(), largest);

  xrchandle<Hollow<T>> one(new Hollow<T>);
  one->append(value);
  const std::function<void()> refused[] = {
      [&] { seq->append(value); },       [&] { seq->set(most, value); },
      [&] { seq->set(INT_MAX, value); }, [&] { seq->insert(0, value); },
      [&] { seq->insert(most, value); }, [&] { seq->insert(INT_MAX, value); },
      [&] { seq->insertseq(0, *one); },  [&] { seq->insertseq(most - 1, *one); },
      [&] { seq->insertseq(0, *seq); },  [&] { seq->insertseq(INT_MAX, *one); },
  };
  seq->calls = 0;
  for (const auto& run : refused) {
    EXPECT_VEL_NATIVE(run(), "Size limit exceeded");
    EXPECT_EQ(seq->getarraysize(), most);
    EXPECT_EQ(seq->calls, 0);
  }
  seq->removerange(most - 1, most);
  seq->append(value);
  EXPECT_EQ(seq->getarraysize(), most);
  seq->removerange(0, INT_MAX);
  EXPECT_EQ(seq->getarraysize(), 0);

  xrchandle<Hollow<T>> inserted(new Hollow<T>);
  inserted->insert(most - 1, value);
  EXPECT_EQ(inserted->getarraysize(), most);
  inserted->removerange(most - 1, most);
  inserted->insertseq(0, *one);
  EXPECT_EQ(inserted->getarraysize(), most);

  xrchandle<Hollow<T>> reserved(new Hollow<T>);
  reserved->reserve(static_cast<unsigned>(most));
  EXPECT_EQ(reserved->capacity(), largest);
  xrchandle<Hollow<T>> beyond(new Hollow<T>);
  if (most < INT_MAX) {
    EXPECT_VEL_NATIVE(beyond->reserve(static_cast<unsigned>(most) + 1), "Size limit exceeded");
    EXPECT_VEL_NATIVE(beyond->reserve(INT_MAX), "Size limit exceeded");
  } else {
    beyond->reserve(static_cast<unsigned>(most) + 1);
  }
  EXPECT_EQ(beyond->calls, 0);
}

// Sums of two sizes on both sides of the limit; `other` below 0 stands for the
// sequence itself.
template <class T>
void ExpectSums(int most) {
  const int half = most / 2;
  const struct {
    int size;
    int index;
    int other;
    int result;  // below 0: refused
  } rows[] = {
      {most - 1, 0, 1, most},
      {most - 1, most - 1, 1, most},
      {most - 1, most, 1, -1},
      {half, 0, most - half, most},
      {half, 0, most - half + 1, -1},
      {half, half, half, 2 * half},
      {half, half, -1, 2 * half},
      {half + 1, 0, -1, -1},
      {1, most - 2, 2, most},
      {1, most - 1, 2, -1},
      {most, 0, 0, most},
      {most, most, 0, most},
      {most, 0, most, -1},
      {0, most, 0, most},
      {0, 0, most, most},
      {0, 1, most, -1},
      {0, 0, -1, 0},
      {most, most, -1, -1},
      {1, INT_MAX, -1, -1},
      {half, INT_MAX, half, -1},
  };
  const auto make = [](int size) {
    xrchandle<Hollow<T>> seq(new Hollow<T>);
    if (size > 0) seq->set(size - 1, T());
    return seq;
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(std::to_string(row.size) + '[' + std::to_string(row.index) + "] + " +
                 std::to_string(row.other));
    const xrchandle<Hollow<T>> seq = make(row.size);
    const xrchandle<Hollow<T>> other = row.other < 0 ? seq : make(row.other);
    const unsigned capacity = seq->capacity();
    seq->calls = 0;
    if (row.result >= 0) {
      seq->insertseq(row.index, *other);
      EXPECT_EQ(seq->getarraysize(), row.result);
      continue;
    }
    EXPECT_VEL_NATIVE(seq->insertseq(row.index, *other), "Size limit exceeded");
    EXPECT_EQ(seq->getarraysize(), row.size);
    EXPECT_EQ(seq->capacity(), capacity);
    EXPECT_EQ(seq->calls, 0);
  }
}

TEST(XTbSequenceLimits, InsertedSequencesAddUpToTheLimit) {
  ExpectSums<unsigned char>(2147483647);
  ExpectSums<int>(536870912);
  ExpectSums<double>(268435456);
  ExpectSums<xrttiattr*>(268435456);
  ExpectSums<xstring>(92274688);
  ExpectSums<xany>(67108864);
}

TEST(XTbSequenceLimits, Booleans) { ExpectLimits<unsigned char>(2147483648U, 2147483647); }
TEST(XTbSequenceLimits, Ints) { ExpectLimits<int>(2147483648U, 536870912); }
TEST(XTbSequenceLimits, Reals) { ExpectLimits<double>(2147483648U, 268435456); }
TEST(XTbSequenceLimits, Attributes) { ExpectLimits<xrttiattr*>(2147483648U, 268435456); }
TEST(XTbSequenceLimits, Strings) { ExpectLimits<xstring>(2214592512U, 92274688); }
// The only capacity of 2^32 - 1: elements that divide it, and no first capacity to be doubled.
TEST(XTbSequenceLimits, LastByteBelowTheLimitIsOfUse) {
  struct Triple {
    unsigned char bytes[3];
  };
  constexpr int kMost = 1431655765;
  xrchandle<Hollow<Triple>> seq(new Hollow<Triple>(0));
  seq->set(kMost - 1, Triple());
  EXPECT_EQ(seq->getarraysize(), kMost);
  EXPECT_EQ(seq->capacity(), 4294967295U);
  EXPECT_VEL_NATIVE(seq->append(Triple()), "Size limit exceeded");
  EXPECT_VEL_NATIVE(seq->set(kMost, Triple()), "Size limit exceeded");
  EXPECT_EQ(seq->getarraysize(), kMost);
}

TEST(XTbSequenceLimits, Values) { ExpectLimits<xany>(2147483648U, 67108864); }

// ---- no memory ----

template <class F>
bool IsOutOfMemory(F&& run) {
  try {
    run();
  } catch (const std::bad_alloc&) {
    return true;
  }
  return false;
}

// Ends the process: with 0 when growth from 64 MiB fails and changes nothing.
template <class S, class T>
[[noreturn]] void GrowWithoutMemory(const T& value) {
  constexpr int kFitting = (64 << 20) / static_cast<int>(sizeof(T));
  const xrchandle<Open<S>> seq(new Open<S>(kFitting));
  seq->set(kFitting - 1, value);
  const void* storage = seq->storage();
  velLimitMemory(std::size_t{40} << 20);
  if (!IsOutOfMemory([&] { seq->append(value); })) _exit(1);
  if (!IsOutOfMemory([&] { seq->set(kFitting, value); })) _exit(2);
  if (!IsOutOfMemory([&] { seq->insert(0, value); })) _exit(3);
  if (!IsOutOfMemory([&] { seq->insertseq(1, *seq); })) _exit(4);
  if (!IsOutOfMemory([&] { S::createCapacity(2 * kFitting); })) _exit(5);
  if (seq->getarraysize() != kFitting || seq->storage() != storage) _exit(6);
  if (!Same(seq->get(kFitting - 1), value)) _exit(7);
  seq->removerange(1, kFitting - 1);
  if (seq->getarraysize() != 2 || !Same(seq->get(1), value)) _exit(8);
  seq->clear();
  _exit(0);
}

TEST(XTbSequenceDeathTest, WithoutMemoryScalarsStayAsTheyWere) {
  const PlainLocale plain;  // in which GoogleTest numbers the lines of its tests
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_EXIT((GrowWithoutMemory<xintsequence, int>(7)), testing::ExitedWithCode(0), "");
}

TEST(XTbSequenceDeathTest, WithoutMemoryValuesStayAsTheyWere) {
  const PlainLocale plain;
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_EXIT((GrowWithoutMemory<xanysequence, xany>(xany("text"))), testing::ExitedWithCode(0),
              "");
}

// The same for the template itself, whose hooks bring the storage.
template <class S, class T>
[[noreturn]] void GrowTemplateWithoutMemory(T value) {
  constexpr int kFitting = (64 << 20) / static_cast<int>(sizeof(T));
  const xrchandle<S> seq(new S(kFitting));
  seq->set(kFitting - 1, value);
  velLimitMemory(std::size_t{40} << 20);
  if (!IsOutOfMemory([&] { seq->append(value); })) _exit(1);
  if (!IsOutOfMemory([&] { S(2 * kFitting); })) _exit(2);
  if (seq->getarraysize() != kFitting) _exit(3);
  if (!Same(seq->get(kFitting - 1), value)) _exit(4);
  _exit(0);
}

TEST(XTbSequenceDeathTest, WithoutMemoryATemplateStaysAsItWas) {
  const PlainLocale plain;
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_EXIT((GrowTemplateWithoutMemory<xtssequence<int>, int>(7)), testing::ExitedWithCode(0), "");
  EXPECT_EXIT((GrowTemplateWithoutMemory<xtcsequence<xany>, xany>(xany("text"))),
              testing::ExitedWithCode(0), "");
}

#ifndef VELTEST_SANITIZED
// Ends the process: with 0 when all objects go although there is no memory to
// write down which are to go.
[[noreturn]] void ClearWithoutMemory() {
  auto seq = xanysequence::create();
  for (int i = 0; i < 1000; ++i) seq->append(new VelLogObject);
  velTakeAllMemory();
  seq->clear();
  _exit(VelLogObject::alive() == 0 && seq->getarraysize() == 0 ? 0 : 1);
}

TEST(XTbSequenceDeathTest, ClearingNeedsNoMemory) {
  const PlainLocale plain;
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_EXIT(ClearWithoutMemory(), testing::ExitedWithCode(0), "");
}
#endif

}  // namespace
