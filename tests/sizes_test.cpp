// Sizes at the edge of what each class holds, and past it: what is too much is
// refused at once and nothing is changed by it.
//
// The short form asks for hostile sizes and makes no large object; the long form
// fills every class up to its limit for real.
#include <chrono>
#include <climits>
#include <cstring>
#include <limits>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "dsxarray.h"
#include "kormap.h"
#include "korset.h"
#include "velstack.h"
#include "velstd_c.h"
#include "velstringutils.h"
#include "velstrstream.h"
#include "veltest.h"
#include "veltest_long.h"
#include "veltest_string.h"
#include "veltest_types.h"
#include "xescape.h"
#include "xrttiattrseq.h"

namespace {

const std::string kTooLarge = "Size limit exceeded";

// The text of the native exception that `run` throws.
template <class F>
std::string Refusal(F&& run) {
  const auto caught = velCaught(run);
  if (caught.isnull()) return "nothing";
  auto* native = dynamic_cast<velXNativeException*>(caught.operator->());
  return (native ? native->getStringRep() : caught->getVelTypeName()).CastToCString();
}

// Milliseconds of the fastest run: others use the machine, too.
template <class F>
double FastestMs(F&& run, int times = 5) {
  double best = std::numeric_limits<double>::max();
  for (int i = 0; i < times; ++i) {
    const auto start = std::chrono::steady_clock::now();
    run();
    const std::chrono::duration<double, std::milli> took = std::chrono::steady_clock::now() - start;
    best = std::min(best, took.count());
  }
  return best;
}

// Collects how long refusals took, for the table of figures and the check.
class RefusalTimes {
 public:
  explicit RefusalTimes(std::string what) : name(std::move(what)) {}
  ~RefusalTimes() {
    EXPECT_GT(slowest, 0) << name;
    EXPECT_LT(slowest, 1.0) << name;
    velFigure("sizes", ("slowest refusal, " + name).c_str(), slowest * 1000, "us");
  }
  template <class F>
  void Expect(F&& run) {
    slowest = std::max(slowest, FastestMs([&] { EXPECT_EQ(Refusal(run), kTooLarge); }));
  }

 private:
  std::string name;
  double slowest = 0;
};

// The type of the pending exception, which is taken away, and its text if it is
// a native one.
std::string Parked() {
  xthrowable* const caught = xextractexc_c();
  if (!caught) return "nothing";
  auto* native = dynamic_cast<velXNativeException*>(caught);
  const std::string text =
      (native ? native->getStringRep() : caught->getVelTypeName()).CastToCString();
  xrcrelease(caught);
  return text;
}

const char kNegative[] = "vellib::XNegativeIndex";

// ---- sequences --------------------------------------------------------------

struct Booleans {
  using Class = xboolsequence;
  using Element = unsigned char;
  static Element Value() { return 1; }
  static constexpr int kMost = 2147483647;
  static constexpr unsigned kLargest = 2147483648U;
  static constexpr auto kName = "booleans";
};
struct Ints {
  using Class = xintsequence;
  using Element = int;
  static Element Value() { return 41; }
  static constexpr int kMost = 536870912;
  static constexpr unsigned kLargest = 2147483648U;
  static constexpr auto kName = "ints";
};
struct Reals {
  using Class = xrealsequence;
  using Element = double;
  static Element Value() { return 2.5; }
  static constexpr int kMost = 268435456;
  static constexpr unsigned kLargest = 2147483648U;
  static constexpr auto kName = "reals";
};
struct Strings {
  using Class = xstringsequence;
  using Element = xstring;
  static Element Value() {
    static const xstring text("text");
    return text;
  }
  static constexpr int kMost = 92274688;
  static constexpr unsigned kLargest = 2214592512U;
  static constexpr auto kName = "strings";
};
struct Anys {
  using Class = xanysequence;
  using Element = xany;
  static Element Value() { return xany(41); }
  static constexpr int kMost = 67108864;
  static constexpr unsigned kLargest = 2147483648U;
  static constexpr auto kName = "values of any kind";
};
struct Attributes {
  using Class = xrttiattrseq;
  using Element = xrttiattr*;
  static Element Value() {
    static VelAttr attr("attribute");
    return &attr;
  }
  static constexpr int kMost = 268435456;
  static constexpr unsigned kLargest = 2147483648U;
  static constexpr auto kName = "attributes";
};

// Gives a sequence back as its class wants it.
struct GiveBack {
  void operator()(xobject* sequence) const {
    if (sequence->isRefCountable()) {
      xrcrelease(sequence);
    } else {
      xdelete(sequence);
    }
  }
};

template <class Class>
using Owned = std::unique_ptr<Class, GiveBack>;

template <class Class>
Owned<Class> Make(unsigned capacity = 0) {
  auto* made = new Class(capacity);
  xrcattach(made);
  return Owned<Class>(made);
}

template <class Kind>
Owned<typename Kind::Class> Filled(int size) {
  auto seq = Make<typename Kind::Class>();
  for (int i = 0; i < size; ++i) seq->append(Kind::Value());
  return seq;
}

// The core of a sequence, which its own class hides.
template <class Class>
const xbasesequence& CoreOf(const Class& sequence) {
  return (const xbasesequence&)sequence;
}

// The object and its storage, byte for byte.
template <class Class>
std::string Image(const Class& sequence) {
  const xbasesequence& core = CoreOf(sequence);
  std::string image(reinterpret_cast<const char*>(&sequence), sizeof(Class));
  if (core.GetPtr()) image.append(static_cast<const char*>(core.GetPtr()), core.GetCapacity());
  return image;
}

// Indices that are refused: the first one, the last there are, and those whose
// byte position is next to a multiple of 2^31 or 2^32.
std::set<int> RefusedIndices(unsigned elementSize, int most) {
  std::set<int> indices;
  const auto add = [&](std::int64_t index) {
    if (index >= most && index <= INT_MAX) indices.insert(static_cast<int>(index));
  };
  for (std::int64_t end = most; end <= std::int64_t{most} + 1; ++end) add(end);
  for (std::int64_t last = INT_MAX - 1; last <= INT_MAX; ++last) add(last);
  for (std::int64_t bytes = std::int64_t{1} << 31; bytes / elementSize <= INT_MAX;
       bytes += std::int64_t{1} << 31) {
    for (std::int64_t near = -1; near <= 1; ++near) add(bytes / elementSize + near);
  }
  return indices;
}

TEST(SequenceSizes, RefusedIndicesIncludeWhereThirtyTwoBitsWrap) {
  for (int index : {536870912, 1073741823, 1073741824, INT_MAX - 1, INT_MAX}) {
    EXPECT_EQ(RefusedIndices(sizeof(int), Ints::kMost).count(index), 1U) << index;
  }
  for (int index : {92274688, 178956970, 178956971, INT_MAX - 1, INT_MAX}) {
    EXPECT_EQ(RefusedIndices(sizeof(xstring), Strings::kMost).count(index), 1U) << index;
  }
  EXPECT_EQ(RefusedIndices(1, Booleans::kMost), std::set<int>{INT_MAX});
}

template <class Kind>
class SequenceSizes : public testing::Test {};

struct KindName {
  template <class Kind>
  static std::string GetName(int) {
    const std::string name = Kind::kName;
    return name.substr(0, name.find(' '));
  }
};

using Kinds = testing::Types<Booleans, Ints, Reals, Strings, Anys, Attributes>;
TYPED_TEST_SUITE(SequenceSizes, Kinds, KindName);

TYPED_TEST(SequenceSizes, IndicesBeyondTheLimitAreRefusedAtOnce) {
  const auto seq = Filled<TypeParam>(3);
  const auto one = Filled<TypeParam>(1);
  const auto value = TypeParam::Value();
  const std::string before = Image(*seq);
  RefusalTimes times(std::string("an index in a sequence of ") + TypeParam::kName);
  for (int index : RefusedIndices(sizeof(value), TypeParam::kMost)) {
    SCOPED_TRACE(index);
    times.Expect([&] { seq->set(index, value); });
    times.Expect([&] { seq->insert(index, value); });
    times.Expect([&] { seq->insertseq(index, *one); });
    times.Expect([&] { seq->insertseq(index, *seq); });
    ASSERT_EQ(Image(*seq), before);
  }
}

TYPED_TEST(SequenceSizes, ReadingBeyondTheEndIsAnIndexErrorWhateverTheIndex) {
  const auto seq = Filled<TypeParam>(3);
  const std::string before = Image(*seq);
  std::set<int> indices = RefusedIndices(sizeof(TypeParam::Value()), TypeParam::kMost);
  indices.insert({3, TypeParam::kMost - 1});
  for (int index : indices) {
    EXPECT_VEL_THROW(seq->get(index), velXInvalidSeqIndex);
    EXPECT_VEL_THROW((*seq)[index], velXInvalidSeqIndex);
  }
  for (int index : {-1, INT_MIN, INT_MIN + 1}) {
    EXPECT_VEL_THROW(seq->get(index), velXNegativeIndex);
    EXPECT_VEL_THROW(seq->set(index, TypeParam::Value()), velXNegativeIndex);
    EXPECT_VEL_THROW(seq->insert(index, TypeParam::Value()), velXNegativeIndex);
    EXPECT_VEL_THROW(seq->insertseq(index, *seq), velXNegativeIndex);
    EXPECT_VEL_THROW(seq->removerange(index, 1), velXNegativeIndex);
    EXPECT_VEL_THROW(seq->removerange(1, index), velXNegativeIndex);
  }
  EXPECT_EQ(Image(*seq), before);
}

TYPED_TEST(SequenceSizes, RemovalBeyondTheEndRemovesNothing) {
  const auto seq = Filled<TypeParam>(3);
  const std::string before = Image(*seq);
  for (int index : RefusedIndices(sizeof(TypeParam::Value()), TypeParam::kMost)) {
    seq->removerange(3, index);
    seq->removerange(index, 4);
    seq->removerange(index - 1, index);
    ASSERT_EQ(Image(*seq), before) << index;
  }
  seq->removerange(INT_MAX, 1);
  EXPECT_EQ(seq->getarraysize(), 1);
}

TYPED_TEST(SequenceSizes, CapacitiesBeyondTheLimitAreRefusedAtOnce) {
  using Class = typename TypeParam::Class;
  if (TypeParam::kMost == INT_MAX) {
    // Every int is allowed; what is more is negative as signed.
    EXPECT_EQ(CoreOf(*Make<Class>(TypeParam::kMost + 1U)).GetCapacity(), 0U);
    return;
  }
  RefusalTimes times(std::string("a capacity of a sequence of ") + TypeParam::kName);
  for (int index : RefusedIndices(sizeof(TypeParam::Value()), TypeParam::kMost)) {
    if (index == TypeParam::kMost) continue;
    times.Expect([=] { Make<Class>(static_cast<unsigned>(index)); });
  }
}

TYPED_TEST(SequenceSizes, NegativeCapacitiesReserveNothing) {
  for (unsigned capacity : {0x80000000U, 0x80000001U, 0xC0000000U, UINT_MAX - 1, UINT_MAX, 0U}) {
    const auto seq = Make<typename TypeParam::Class>(capacity);
    EXPECT_EQ(CoreOf(*seq).GetCapacity(), 0U) << capacity;
    EXPECT_EQ(seq->getarraysize(), 0);
  }
}

// The short form grows in the same way to a hundred thousand elements.
TYPED_TEST(SequenceSizes, HoldsItsMostElements) {
  const int most = velShortOrLong(100000, TypeParam::kMost);
  const auto value = TypeParam::Value();
  auto seq = Make<typename TypeParam::Class>();
  seq->set(most / 2 - 1, value);
  seq->insertseq(most / 2, *seq);
  if (most % 2) seq->append(value);
  ASSERT_EQ(seq->getarraysize(), most);
  EXPECT_TRUE(seq->get(most / 2 - 1) == value);
  EXPECT_TRUE(seq->get(most - 1) == value);
  velFigure("sizes", (std::string("elements of a sequence of ") + TypeParam::kName).c_str(), most);
  velFigure("sizes", (std::string("bytes of a sequence of ") + TypeParam::kName).c_str(),
            CoreOf(*seq).GetCapacity());
  if (most == TypeParam::kMost) {
    EXPECT_EQ(CoreOf(*seq).GetCapacity(), TypeParam::kLargest);
    const auto one = Filled<TypeParam>(1);
    RefusalTimes times(std::string("one more in a full sequence of ") + TypeParam::kName);
    times.Expect([&] { seq->append(value); });
    times.Expect([&] { seq->insert(0, value); });
    times.Expect([&] { seq->insertseq(0, *one); });
    times.Expect([&] { seq->insertseq(most / 2, *seq); });
    EXPECT_EQ(seq->getarraysize(), most);
  }
  seq->set(most - 1, value);
  seq->removerange(1, most - 1);
  EXPECT_EQ(seq->getarraysize(), 2);
  EXPECT_TRUE(seq->get(1) == value);
  seq->set(most - 1, value);
  EXPECT_EQ(seq->getarraysize(), most);
  seq->clear();
  EXPECT_EQ(seq->getarraysize(), 0);
}

TYPED_TEST(SequenceSizes, ReservesItsMostElements) {
  const int most = velShortOrLong(100000, TypeParam::kMost);
  const auto seq = Make<typename TypeParam::Class>(static_cast<unsigned>(most));
  const void* storage = CoreOf(*seq).GetPtr();
  seq->set(most - 1, TypeParam::Value());
  EXPECT_EQ(CoreOf(*seq).GetPtr(), storage);
  EXPECT_EQ(seq->getarraysize(), most);
}

// ---- sequences from C ---------------------------------------------------------

template <class Class, class Value>
struct FlatSequence {
  Class* (*create)();
  void (*set)(Class*, int, Value);
  void (*insert)(Class*, int, Value);
  void (*insertseq)(Class*, int, Class*);
  void (*removerange)(Class*, int, int);
  Value (*get)(Class*, int);
  int (*getarraysize)(Class*);
};
#define VEL_FLAT_SEQUENCE(C) \
  { C##_create, C##_set, C##_insert, C##_insertseq, C##_removerange, C##_get, C##_getarraysize }

// Even the answer to a wrong index is the caller's.
template <class Value>
void Discard(Value) {}
template <>
void Discard(__xstring_c text) {
  xstrunlock_c(&text);
}

template <class Class, class Value>
void ExpectFlatRefusals(const FlatSequence<Class, Value>& flat, Value value, unsigned elementSize,
                        int most) {
  const Owned<Class> seq(flat.create());
  const Owned<Class> one(flat.create());
  flat.set(seq.get(), 2, value);
  flat.set(one.get(), 0, value);
  const std::string before = Image(*seq);
  double slowest = 0;
  const auto expect = [&](const char* parked, auto&& run) {
    const double took = FastestMs([&] {
      run();
      EXPECT_EQ(Parked(), parked);
    });
    slowest = std::max(slowest, took);
  };
  const auto update = [&](int index, const char* parked) {
    expect(parked, [&] { flat.set(seq.get(), index, value); });
    expect(parked, [&] { flat.insert(seq.get(), index, value); });
    expect(parked, [&] { flat.insertseq(seq.get(), index, one.get()); });
    expect(parked, [&] { flat.insertseq(seq.get(), index, seq.get()); });
  };
  for (int index : RefusedIndices(elementSize, most)) {
    SCOPED_TRACE(index);
    update(index, kTooLarge.c_str());
    expect("vellib::XInvalidSeqIndex", [&] { Discard(flat.get(seq.get(), index)); });
    expect("nothing", [&] { flat.removerange(seq.get(), index, 3); });
    ASSERT_EQ(Image(*seq), before);
  }
  for (int index : {-1, INT_MIN}) {
    SCOPED_TRACE(index);
    update(index, kNegative);
    expect(kNegative, [&] { Discard(flat.get(seq.get(), index)); });
    expect(kNegative, [&] { flat.removerange(seq.get(), index, 2); });
    expect(kNegative, [&] { flat.removerange(seq.get(), 2, index); });
    ASSERT_EQ(Image(*seq), before);
  }
  EXPECT_EQ(flat.getarraysize(seq.get()), 3);
  EXPECT_LT(slowest, 1.0);
  velFigure("sizes",
            ("slowest refusal, an index in C, elements of " + std::to_string(elementSize)).c_str(),
            slowest * 1000, "us");
}

TEST(FlatSizes, IndicesBeyondTheLimitsArePendingAtOnce) {
  ExpectFlatRefusals<xboolsequence, unsigned char>(VEL_FLAT_SEQUENCE(xboolsequence), 1, 1,
                                                   Booleans::kMost);
  ExpectFlatRefusals<xintsequence, int>(VEL_FLAT_SEQUENCE(xintsequence), 41, sizeof(int),
                                        Ints::kMost);
  ExpectFlatRefusals<xrealsequence, double>(VEL_FLAT_SEQUENCE(xrealsequence), 2.5, sizeof(double),
                                            Reals::kMost);
  __xstring_c text;
  xstrcreate_c(&text, "text");
  ExpectFlatRefusals<xstringsequence, __xstring_c>(VEL_FLAT_SEQUENCE(xstringsequence), text,
                                                   sizeof(xstring), Strings::kMost);
  xstrunlock_c(&text);
  ExpectFlatRefusals<xanysequence, __xany_c>(VEL_FLAT_SEQUENCE(xanysequence), xany(41).getxany_c(),
                                             sizeof(xany), Anys::kMost);
}
#undef VEL_FLAT_SEQUENCE

TEST(FlatSizes, SlotsOfADictionaryAreCheckedWhateverTheIndex) {
  const Owned<xintdictionary> dict(xintdictionary_create());
  xintdictionary_set(dict.get(), "key", 5);
  int value = 7;
  __xstring_c key;
  for (int index : {32, 1 << 26, 1 << 30, INT_MAX - 1, INT_MAX}) {
    EXPECT_EQ(xintdictionary_getbyindex(dict.get(), index, &value), 0);
    EXPECT_EQ(xintdictionary_getkeybyindex(dict.get(), index, &key), 0);
    EXPECT_EQ(Parked(), "nothing");
    xintdictionary_setbyindex(dict.get(), index, 9);
    EXPECT_EQ(Parked(), "vellib::XInvalidDictIndex");
    xintdictionary_removebyindex(dict.get(), index);
    EXPECT_EQ(Parked(), "vellib::XInvalidDictIndex");
  }
  for (int index : {-1, INT_MIN}) {
    xintdictionary_getbyindex(dict.get(), index, &value);
    EXPECT_EQ(Parked(), kNegative);
    xintdictionary_getkeybyindex(dict.get(), index, &key);
    EXPECT_EQ(Parked(), kNegative);
    xintdictionary_setbyindex(dict.get(), index, 9);
    EXPECT_EQ(Parked(), kNegative);
    xintdictionary_removebyindex(dict.get(), index);
    EXPECT_EQ(Parked(), kNegative);
  }
  EXPECT_EQ(value, 7);
  EXPECT_EQ(xintdictionary_count_c(dict.get()), 1);
  EXPECT_TRUE(xintdictionary_find(dict.get(), "key", &value));
  EXPECT_EQ(value, 5);
}

TEST(FlatSizes, PartsOfATypeAreNullWhateverTheIndex) {
  static const char* const names[] = {"zero", "one"};
  static const int sizes[] = {2, 3};
  static const int labels[] = {4};
  VelAttr attr("attr");
  xrttiattr* attrs[] = {&attr};
  xrttiobject* parents[] = {xintsequence::getClassRtti()};
  xrttistruct structure;
  structure.initializeRttiStruct("sizes_test::Struct", 1, 1, parents, 1, attrs);
  xrttiunion alternatives;
  alternatives.initializeRttiUnion("sizes_test::Union", 1, 0, nullptr, &attr, 1, labels, attrs,
                                   nullptr);
  xrttiarray array;
  array.initializeRttiArray("sizes_test::Array", 1, 2, sizes, velGetRtti_int(), 0, nullptr);
  xrttienum numbers("sizes_test::Enum", 2, names);
  for (int index : {2, 1 << 30, INT_MAX - 1, INT_MAX, -1, INT_MIN}) {
    SCOPED_TRACE(index);
    EXPECT_EQ(xrttigetparent_c(&structure, index), nullptr);
    EXPECT_EQ(xrttigetattr_c(&structure, index), nullptr);
    EXPECT_EQ(xrttigetbranch_c(&alternatives, index), nullptr);
    EXPECT_EQ(xrttigetlabel_c(&alternatives, index), INT_MIN);
    EXPECT_EQ(xrttigetdimention_c(&array, index), INT_MIN);
    __xstring_c name = xrttimapinttostr_c(&numbers, index);
    EXPECT_EQ(name.buffer, nullptr);
    xstrunlock_c(&name);
    EXPECT_EQ(Parked(), "nothing");
  }
}

// ---- dictionaries --------------------------------------------------------------

template <class Dictionary>
void ExpectDictionaryCapacities(const char* name) {
  RefusalTimes times(std::string("a capacity of a dictionary of ") + name);
  for (unsigned entries : {977105060U, 1U << 30, 2000000000U, INT_MAX - 1U, INT_MAX + 0U}) {
    times.Expect([=] { Dictionary::createCapacity(entries); });
  }
  for (unsigned entries : {0U, 0x80000000U, 0xC0000000U, UINT_MAX}) {
    EXPECT_EQ(Dictionary::createCapacity(entries)->getmapsize(), 0) << entries;
  }
}

TEST(DictionarySizes, CapacitiesBeyondTheLimitAreRefusedAtOnce) {
  ExpectDictionaryCapacities<xbooldictionary>("booleans");
  ExpectDictionaryCapacities<xintdictionary>("ints");
  ExpectDictionaryCapacities<xrealdictionary>("reals");
  ExpectDictionaryCapacities<xstringdictionary>("strings");
  ExpectDictionaryCapacities<xanydictionary>("values of any kind");
}

// Slots that the load rule asks for when `before` entries are there and one more
// comes.
std::int64_t GrownSlots(std::int64_t slots, std::int64_t before) {
  return slots == 0 ? 32 : before * 100 / slots > 90 ? slots * 2 : slots;
}

// The same when a removal leaves `left` entries.
std::int64_t ShrunkSlots(std::int64_t slots, std::int64_t left) {
  const bool shrinks = slots > 32 && left * 100 / slots < 70 && left * 100 / (slots / 2) < 90;
  return shrinks ? slots / 2 : slots;
}

// A key of its own for each number.
class NumberedKey {
 public:
  const char* operator()(int number) {
    std::snprintf(text, sizeof text, "%x", static_cast<unsigned>(number));
    return text;
  }

 private:
  char text[16];
};

// The long form passes 42,949,672 entries, a hundred times which is more than 32
// bits, fills the table of 2^26 slots and comes back to it from 2^27.
TEST(DictionarySizes, KeepsItsLoadRuleWithAnyNumberOfEntries) {
  const int most = velShortOrLong(62000, 62000000);
  const int least = velShortOrLong(58000, 60390000);
  const int stride = velShortOrLong(7, 9973);
  const auto dict = xintdictionary::create();
  NumberedKey key;
  std::int64_t slots = 0;
  for (int i = 0; i < most; ++i) {
    slots = GrownSlots(slots, i);
    dict->set(key(i), i);
    ASSERT_EQ(dict->getmapsize(), slots) << i;
  }
  EXPECT_EQ(dict->getcount(), most);
  for (int i = 0; i < most; i += stride) {
    int value = -1;
    ASSERT_TRUE(dict->find(key(i), &value)) << i;
    ASSERT_EQ(value, i);
  }
  const std::int64_t largest = slots;
  velFigure("sizes", "entries of a dictionary", most);
  velFigure("sizes", "slots of a dictionary", largest);
  for (int left = most - 1; left >= least; --left) {
    slots = ShrunkSlots(slots, left);
    ASSERT_TRUE(dict->remove(key(left)));
    ASSERT_EQ(dict->getmapsize(), slots) << left;
  }
  EXPECT_EQ(slots, largest / 2);
  EXPECT_EQ(dict->getcount(), least);
  EXPECT_FALSE(dict->find(key(least), nullptr));
  for (int i = 0; i < least; i += stride) {
    int value = -1;
    ASSERT_TRUE(dict->find(key(i), &value)) << i;
    ASSERT_EQ(value, i);
  }
  dict->clearall();
  EXPECT_EQ(dict->getcount(), 0);
}

// ---- texts -----------------------------------------------------------------------

constexpr std::size_t kLongest = korStrBuf::kMaxLength;
static_assert(kLongest == 2147483646, "2^31 - 2");

template <class Ch>
class TextSizes : public testing::Test {};
using Widths = testing::Types<char, wchar_t>;
TYPED_TEST_SUITE(TextSizes, Widths, WidthName);

template <class Ch>
std::vector<Ch> Letters(std::size_t count, char letter) {
  std::vector<Ch> text(count, static_cast<Ch>(letter));
  text.push_back(0);
  return text;
}

// The results have about 2^31 and 2^32 characters: in 32 bits negative, none and
// a harmless number.
TYPED_TEST(TextSizes, SubstituteIsRefusedBeforeAnythingIsTouched) {
  const struct {
    std::size_t places;
    std::size_t length;
  } rows[] = {{4096, 524288}, {4096, 1048576}, {4096, 1048592}, {65536, 65536}};
  const auto from = Letters<TypeParam>(1, 'a');
  for (const auto& row : rows) {
    SCOPED_TRACE(row.length);
    const auto to = Letters<TypeParam>(row.length, 'x');
    xstring s(Letters<TypeParam>(row.places, 'a').data());
    const __xstring_c before = Fields(s);
    const double took = FastestMs(
        [&] { EXPECT_EQ(Refusal([&] { s.Substitute(from.data(), to.data()); }), kTooLarge); }, 2);
    EXPECT_EQ(std::memcmp(&before, &s, sizeof before), 0);
    EXPECT_EQ(s.GetLength(), static_cast<int>(row.places));
    EXPECT_TRUE(FormOf<TypeParam>(s)[row.places - 1] == TypeParam('a'));
    // A search that a sanitizer watches looks at all the rest of the text.
    if (row.places == 4096) {
      EXPECT_LT(took, 50.0);
    } else {
      const std::string width = WidthName::GetName<TypeParam>(0);
      velFigure("sizes", (width + " refusal of a substitution at 65536 places").c_str(), took,
                "ms");
    }
  }
}

// The blocks are as large as a text may be; their pages are hardly touched.
TYPED_TEST(TextSizes, ABufferThatCanNotDoubleGrowsToTheLimitAtOnce) {
  constexpr std::size_t kHalf = kLongest / 2 + 2;
  const auto resize = [](korStrBuf* buffer, std::size_t units, TypeParam** text) {
    if constexpr (sizeof(TypeParam) == 1) {
      return buffer->ResizeMB(units, text, 1);
    } else {
      return buffer->ResizeWC(units * sizeof(TypeParam), text, 1);
    }
  };
  TypeParam* text = nullptr;
  korStrBuf* buffer = nullptr;
  if constexpr (sizeof(TypeParam) == 1) {
    buffer = korStrBuf::AllocMB(kHalf, &text);
  } else {
    buffer = korStrBuf::AllocWC(kHalf * sizeof(TypeParam), &text);
  }
  text[0] = 'x';
  text[1] = 0;
  buffer = resize(buffer, kHalf + 1, &text);
  const korStrBuf* const grown = buffer;
  buffer = resize(buffer, kLongest + 1, &text);
  EXPECT_EQ(buffer, grown) << "the rest of the way needs no other buffer";
  EXPECT_TRUE(text[0] == TypeParam('x'));
  EXPECT_EQ(Refusal([&] { resize(buffer, kLongest + 2, &text); }), kTooLarge);
  buffer->Release();
}

// What a string holds, to see that a refusal changes nothing.
void ExpectUnchanged(const xstring& s, const __xstring_c& before) {
  EXPECT_EQ(std::memcmp(&before, &s, sizeof before), 0);
}

// The short form takes a hundred thousand characters for the longest text.
class LongestText : public testing::Test {
 protected:
  LongestText() : longest(velShortOrLong<std::size_t>(100000, kLongest)) {}
  bool IsLimit() const { return longest == kLongest; }
  // A text of its own of `length` times 'a'.
  static xstring Text(std::size_t length) {
    const HugeText text(length);
    EXPECT_TRUE(text.IsValid());
    return xstring(text.Get());
  }
  int Length() const { return static_cast<int>(longest); }

  const std::size_t longest;
};

TEST_F(LongestText, IsReachedByDoublingAndNoCharacterMore) {
  xstring s = Text(longest / 2);
  s += s;
  ASSERT_EQ(s.GetLength(), Length());
  velFigure("sizes", "characters of a text", s.GetLength());
  if (!IsLimit()) return;
  const __xstring_c before = Fields(s);
  velFigure("sizes", "refusal of a character more",
            FastestMs([&] { EXPECT_EQ(Refusal([&] { s += 'b'; }), kTooLarge); }), "ms");
  EXPECT_EQ(Refusal([&] { s += "b"; }), kTooLarge);
  EXPECT_EQ(Refusal([&] { s += xstring("b"); }), kTooLarge);
  EXPECT_EQ(Refusal([&] { s += s; }), kTooLarge);
  EXPECT_EQ(Refusal([&] { xstring(s, "b"); }), kTooLarge);
  EXPECT_EQ(Refusal([&] { xstring(s.CastToCString(), "b"); }), kTooLarge);
  EXPECT_EQ(Refusal([&] { s.Substitute("a", "bb", 7, 1); }), kTooLarge);
  ExpectUnchanged(s, before);
}

TEST_F(LongestText, IsReachedByConcatenation) {
  const HugeText text(longest - 1);
  ASSERT_TRUE(text.IsValid());
  EXPECT_EQ(xstring(text.Get(), "b").GetLength(), Length());
  EXPECT_EQ(xstring("b", text.Get()).Pos("b"), 0);
  if (!IsLimit()) return;
  EXPECT_EQ(Refusal([&] { xstring(text.Get(), "bc"); }), kTooLarge);
  EXPECT_EQ(Refusal([&] { xstring("bc", text.Get()); }), kTooLarge);
}

TEST_F(LongestText, IsReachedBySubstitution) {
  xstring s = Text(longest - 3);
  s += "xy";
  if (IsLimit()) {
    const __xstring_c before = Fields(s);
    EXPECT_EQ(Refusal([&] { s.Substitute("x", "bcd"); }), kTooLarge);
    EXPECT_EQ(Refusal([&] { s.Substitute("a", "bcd", 2, 1); }), kTooLarge);
    ExpectUnchanged(s, before);
  }
  s.Substitute("x", "bc");
  EXPECT_EQ(s.GetLength(), Length());
  EXPECT_STREQ(s.CastToCString() + longest - 4, "abcy");
  // One place after the other, in place.
  s.Substitute("y", "z");
  EXPECT_EQ(s.GetLength(), Length());
  EXPECT_STREQ(s.CastToCString() + longest - 4, "abcz");
  s.Substitute("bc", "");
  EXPECT_EQ(s.GetLength(), Length() - 2);
  EXPECT_STREQ(s.CastToCString() + longest - 4, "az");
}

TEST_F(LongestText, ChangesItsCase) {
  xstring s = Text(longest);
  s = s.ToUpper();
  EXPECT_EQ(s.GetLength(), Length());
  EXPECT_STREQ(s.CastToCString() + longest - 1, "A");
}

TEST_F(LongestText, IsSearchedAndCutUpToItsEnd) {
  xstring s = Text(longest - 2);
  s += " b";
  ASSERT_EQ(s.GetLength(), Length());
  EXPECT_EQ(s.GetMBSize(), longest + 1);
  EXPECT_EQ(Strbytes(s.CastToCString()), longest + 1);
  EXPECT_EQ(s.Pos("b"), Length() - 1);
  EXPECT_EQ(s.GetNWords(" "), 2);
  EXPECT_STREQ(s.GetWord(1, " "), "b");
  EXPECT_EQ(s.GetWord(0, " ").GetLength(), Length() - 2);
  EXPECT_STREQ(s.Substring(Length() - 1), "b");
  EXPECT_STREQ(s.Substring(Length() - 2, INT_MAX), " b");
  EXPECT_EQ(s.Substring(0, INT_MAX).GetLength(), Length());
  EXPECT_STREQ(s.Substring(INT_MAX), "");
  EXPECT_TRUE(s.Match("a*b"));
  EXPECT_FALSE(s.Match("a*c"));
  EXPECT_EQ(escapeOOL(s.CastToCString(), nullptr).GetLength(), Length());
}

TEST_F(LongestText, MayComeOutOfEscaping) {
  xstring s = Text(longest - 2);
  s += ",";
  xstring escaped = velStringUtils::makeEscapedString(s, ",", "\\");
  EXPECT_EQ(escaped.GetLength(), Length());
  EXPECT_STREQ(escaped.CastToCString() + longest - 3, "a\\,");
  escaped = xstring();
  if (!IsLimit()) return;
  s += ",";
  EXPECT_EQ(Refusal([&] { velStringUtils::makeEscapedString(s, ",", "\\"); }), kTooLarge);
  EXPECT_EQ(s.GetLength(), Length());
}

// A stream counts its characters in an int, and in one that wraps.
TEST_F(LongestText, ComesOutOfAStream) {
  const HugeText text(longest - 1);
  ASSERT_TRUE(text.IsValid());
  std::strstream stream;
  stream << text.Get() << 'b';
  {
    const xstring s(stream);
    EXPECT_EQ(s.GetLength(), Length());
    EXPECT_STREQ(s.CastToCString() + longest - 2, "ab");
  }
  if (!IsLimit()) return;
  // Behind the terminator of the first time: still the same text.
  stream << "more";
  EXPECT_EQ(xstring(stream).GetLength(), Length());
}

TEST_F(LongestText, OfAStreamIsNeverCutShort) {
  std::strstream stream;
  const HugeText text(longest);
  ASSERT_TRUE(text.IsValid());
  stream << text.Get() << 'b';
  if (IsLimit()) {
    EXPECT_EQ(Refusal([&] { const xstring s(stream); }), kTooLarge);
  } else {
    EXPECT_EQ(xstring(stream).GetLength(), Length() + 1);
  }
}

// Three bytes each: 715,827,882 characters are the longest narrow text.
TEST_F(LongestText, IsReachedByConversion) {
  const Utf8Locale locale;
  VEL_NEED_LOCALE(locale);
  const std::size_t characters = longest / 3;
  {
    const HugeTextOf<wchar_t> text(characters, L'\u20ac');
    ASSERT_TRUE(text.IsValid());
    const xstring s(text.Get());
    EXPECT_EQ(s.GetLength(), static_cast<int>(characters));
    EXPECT_EQ(std::strlen(s.CastToCString()), characters * 3);
    EXPECT_EQ(static_cast<unsigned char>(s.CastToCString()[characters * 3 - 1]), 0xACU);
  }
  const HugeTextOf<wchar_t> text(characters + 1, L'\u20ac');
  ASSERT_TRUE(text.IsValid());
  const xstring s(text.Get());
  if (IsLimit()) {
    const __xstring_c before = Fields(s);
    EXPECT_EQ(Refusal([&] { s.CastToCString(); }), kTooLarge);
    ExpectUnchanged(s, before);
    __xstring_c view = s.getxstring_c();
    EXPECT_EQ(xstrgetmb_c(&view), nullptr);
    EXPECT_EQ(Parked(), kTooLarge);
    xstrunlock_c(&view);
  }
  EXPECT_EQ(s.GetMBSize(), (characters + 1) * 3 + 2);
}

// A wide text of the full length would take 8 GiB: the text is only looked at.
TEST_F(LongestText, InWideFormIsRefusedAsWell) {
  if (!IsLimit()) {
    const HugeTextOf<wchar_t> text(longest, L'w');
    ASSERT_TRUE(text.IsValid());
    EXPECT_EQ(xstring(text.Get()).GetLength(), Length());
    return;
  }
  const HugeTextOf<wchar_t> text(kLongest + 1, L'w');
  ASSERT_TRUE(text.IsValid());
  EXPECT_EQ(Refusal([&] { xstring{text.Get()}; }), kTooLarge);
  const xstring owner(L"x");
  xstring s(__xstring_c{BufferOf(owner), nullptr, text.Get() + 1}, true);
  const __xstring_c before = Fields(s);
  EXPECT_EQ(Refusal([&] { s += L"b"; }), kTooLarge);
  EXPECT_EQ(Refusal([&] { s += L'b'; }), kTooLarge);
  EXPECT_EQ(Refusal([&] { s += s; }), kTooLarge);
  EXPECT_EQ(Refusal([&] { s.Substitute(L"w", L"ww", 1, 1); }), kTooLarge);
  EXPECT_EQ(Refusal([&] { xstring(text.Get() + 1, L"b"); }), kTooLarge);
  ExpectUnchanged(s, before);
}

// ---- counts ------------------------------------------------------------------------

// The count of a text buffer, which follows its table of virtuals.
std::int64_t CountOf(const korStrBuf* buffer) {
  std::int64_t count;
  std::memcpy(&count, reinterpret_cast<const char*>(buffer) + sizeof(void*), sizeof count);
  return count;
}
void SetCount(korStrBuf* buffer, std::int64_t count) {
  std::memcpy(reinterpret_cast<char*>(buffer) + sizeof(void*), &count, sizeof count);
}

TEST(CountSizes, TextBuffersCountBeyondThirtyTwoBits) {
  const xstring s("text");
  for (std::int64_t count : {std::int64_t{INT_MAX}, std::int64_t{UINT_MAX}}) {
    SetCount(BufferOf(s), count);
    {
      const xstring first = s;
      const xstring second = s;
      EXPECT_EQ(CountOf(BufferOf(s)), count + 2);
    }
    EXPECT_EQ(CountOf(BufferOf(s)), count);
    SetCount(BufferOf(s), 1);
  }
  EXPECT_STREQ(s, "text");
}

TEST(CountSizes, ATextBufferMayBeAttachedMoreThanFourMilliardTimes) {
  const auto times = velShortOrLong(std::int64_t{1} << 20, (std::int64_t{1} << 32) + 1);
  const xstring s("text");
  for (std::int64_t i = 0; i < times; ++i) BufferOf(s)->Attach(nullptr, nullptr);
  EXPECT_EQ(CountOf(BufferOf(s)), times + 1);
  velFigure("sizes", "references to a text", times + 1);
  for (std::int64_t i = 0; i < times; ++i) BufferOf(s)->Release();
  EXPECT_EQ(CountOf(BufferOf(s)), 1);
  EXPECT_STREQ(s, "text");
}

class Counted : public VelLogObject {
 public:
  void force(int count) { refcount = count; }
};

// An object with INT_MAX references and one more, each attached for real in the
// long form.
xobject* Overflown() {
  auto* object = new Counted;
  const int missing = velShortOrLong(1 << 16, INT_MAX);
  object->force(INT_MAX - missing);
  for (int i = 0; i < missing; ++i) xrcattach(object);
  if (xrcgetcount(object) != INT_MAX) return nullptr;
  xrcattach(object);
  if (xrcgetcount(object) != INT_MIN) return nullptr;
  return object;
}

TEST(CountSizesDeathTest, AnObjectWithTooManyReferencesEndsTheProcessAtTheNextUse) {
  EXPECT_VEL_ABORT(xrcattach(Overflown()), "xrcattach: Invalid value of refcount.",
                   "velstd/services/xobject", 505);
  EXPECT_VEL_ABORT(xrcrelease(Overflown()), "xrcrelease: Invalid value of refcount.",
                   "velstd/services/xobject", 591);
  velFigure("sizes", "references to an object", INT_MAX);
}

// ---- containers ----------------------------------------------------------------------

// Elements that take addresses, but no memory: all of them read as null.
class NullElements {
 public:
  explicit NullElements(std::size_t size)
      : bytes(size),
        range(mmap(nullptr, bytes, PROT_READ, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0)) {
  }
  ~NullElements() { munmap(range, bytes); }
  NullElements(const NullElements&) = delete;
  NullElements& operator=(const NullElements&) = delete;
  bool IsValid() const { return range != MAP_FAILED; }
  void* Get() const { return range; }

 private:
  std::size_t bytes;
  void* range;
};

// The first fields of a container, storage and two numbers, replaced for a time.
class Pretended {
 public:
  struct Fields {
    void* storage;
    int first;
    int second;
  };
  template <class Container>
  Pretended(Container& container, const Fields& fields)
      : place(reinterpret_cast<char*>(&container)) {
    std::memcpy(&saved, place, sizeof saved);
    std::memcpy(place, &fields, sizeof fields);
  }
  ~Pretended() { std::memcpy(place, &saved, sizeof saved); }
  Pretended(const Pretended&) = delete;
  Pretended& operator=(const Pretended&) = delete;

 private:
  char* place;
  Fields saved;
};

TEST(ContainerSizes, AFullStackIsRefusedOneMore) {
  velStack<xobject*> stack;
  const Pretended full(stack, {nullptr, INT_MAX, INT_MAX});
  RefusalTimes times("an element more on a full stack");
  times.Expect([&] { stack.Push(nullptr); });
  EXPECT_EQ(stack.GetCount(), INT_MAX);
  EXPECT_EQ(stack.GetCapacity(), INT_MAX);
  for (int index : {-1, INT_MIN, INT_MAX}) EXPECT_EQ(stack.GetAt(index), nullptr);
}

TEST(ContainerSizes, AFullSetIsRefusedOneMore) {
  const NullElements elements(std::size_t{INT_MAX} * sizeof(void*));
  ASSERT_TRUE(elements.IsValid());
  VelPlainObject object;
  korSet<xobject*> set(&Cmp_Ptrs);
  const Pretended full(set, {elements.Get(), INT_MAX, INT_MAX});
  RefusalTimes times("an element more in a full set");
  times.Expect([&] { set.Insert(&object); });
  EXPECT_EQ(set.GetCount(), INT_MAX);
  EXPECT_TRUE(set.Contains(nullptr));
  EXPECT_FALSE(set.Contains(&object));
  EXPECT_FALSE(set.Remove(&object));
  EXPECT_EQ(set.GetAt(INT_MAX - 1), nullptr);
  for (int index : {-1, INT_MIN, INT_MAX}) EXPECT_EQ(set.GetAt(index), nullptr);
}

TEST(ContainerSizes, AFullMapIsRefusedOneMore) {
  const NullElements records(std::size_t{INT_MAX} * 2 * sizeof(void*));
  ASSERT_TRUE(records.IsValid());
  korNonOwnerStringMap<void*> map;
  const Pretended full(map, {records.Get(), INT_MAX, INT_MAX});
  RefusalTimes times("a record more in a full map");
  times.Expect([&] { map.Insert("key", nullptr); });
  EXPECT_EQ(map.GetCount(), INT_MAX);
  EXPECT_TRUE(map.Contains(nullptr));
  EXPECT_FALSE(map.Contains("key"));
  EXPECT_EQ(map.GetKeyAt(INT_MAX - 1), nullptr);
  for (int index : {-1, INT_MIN, INT_MAX}) EXPECT_EQ(map.GetValueAt(index), nullptr);
}

// One byte an element; the pages of the block are never touched.
TEST(ContainerSizes, AFullArrayIsRefusedOneMore) {
  for (int step : {1, 16, INT_MAX}) {
    SCOPED_TRACE(step);
    dsXArray<char> array(step);
    array.Resize(INT_MAX);
    ASSERT_EQ(array.GetCount(), INT_MAX);
    RefusalTimes times("an element more in a full array of step " + std::to_string(step));
    times.Expect([&] { array.Add('a'); });
    times.Expect([&] { array.Insert(0, 'a'); });
    times.Expect([&] { array.InsertByStep(INT_MAX, 'a'); });
    for (int index : {-1, INT_MIN}) {
      EXPECT_FALSE(array.Insert(index, 'a'));
      EXPECT_FALSE(array.RemoveAt(index));
    }
    EXPECT_FALSE(array.RemoveAt(INT_MAX));
    EXPECT_EQ(array.GetCount(), INT_MAX);
    array[INT_MAX - 1] = 'z';
    EXPECT_EQ(array.GetAt(INT_MAX - 1), 'z');
    EXPECT_TRUE(array.RemoveAt(INT_MAX - 1));
    EXPECT_EQ(array.GetCount(), INT_MAX - 1);
  }
}

// ---- arrays under a walk ----------------------------------------------------------------

// An array that has a value everywhere, of any dimensions.
class EndlessArray : public VelArrayType {
 public:
  using VelArrayType::getElemValue;
  using VelArrayType::VelArrayType;
  xany getElemValue(xobject*, int*) override { return xany(1); }
};

// Counts elements and dimensions; stops at element `most`.
class Stopper : public velTraverser {
 public:
  explicit Stopper(std::int64_t last) : most(last) {}
  velTraverseResult beginArrayDimension(xrttiarray*, int, xrchandle<xintsequence>,
                                        xrcunihandle<xobject>) override {
    ++rows;
    return velTrContinue;
  }
  velTraverseResult beginArrayElement(xrttiarray*, xrchandle<xintsequence> index,
                                      xrcunihandle<xobject>) override {
    place.clear();
    for (int i = 0; i < index->getarraysize(); ++i) place.push_back(index->get(i));
    return ++elements == most ? velTrStop : velTrSkip;
  }
  velTraverseResult endArray(xrttiarray*, xrcunihandle<xobject>) override {
    ended = true;
    return velTrContinue;
  }

  const std::int64_t most;
  std::int64_t elements = 0;
  std::int64_t rows = 0;
  std::vector<int> place;
  bool ended = false;
};

Stopper Walked(xrttiarray& type, std::int64_t most) {
  Stopper visitor(most);
  const VelThingHandle thing(new VelThing(&type));
  velTraverse(xany(thing.operator->()), &visitor);
  return visitor;
}

// The products of the dimensions are 0, 1 and more than 64 bits when they wrap.
TEST(ArraySizes, ProductsOfDimensionsAreNeverFormed) {
  const std::int64_t most = velShortOrLong(std::int64_t{1} << 17, std::int64_t{1} << 25);
  const std::vector<std::vector<int>> shapes = {{65536, 65536},
                                                {641, 6700417},
                                                {INT_MAX, INT_MAX},
                                                {2, INT_MAX, INT_MAX, INT_MAX},
                                                {INT_MAX, 1, 65536}};
  for (const std::vector<int>& shape : shapes) {
    EndlessArray type("sizes_test::Endless", shape);
    const Stopper seen = Walked(type, most);
    EXPECT_EQ(seen.elements, most);
    EXPECT_FALSE(seen.ended);
    std::vector<int> last(shape.size());
    std::int64_t rest = most - 1;
    for (std::size_t d = shape.size(); d-- > 0; rest /= shape[d]) {
      last[d] = static_cast<int>(rest % shape[d]);
    }
    EXPECT_EQ(seen.place, last);
  }
}

TEST(ArraySizes, EmptyAndNegativeDimensionsHaveNoElements) {
  for (const std::vector<int>& shape :
       {std::vector<int>{0, INT_MAX}, {-1, INT_MAX}, {INT_MIN}, {3, 0}, {3, INT_MIN, INT_MAX}}) {
    EndlessArray type("sizes_test::Empty", shape);
    const Stopper seen = Walked(type, 1);
    EXPECT_EQ(seen.elements, 0);
    EXPECT_EQ(seen.rows, shape[0] > 0 ? 3 : 0);
    EXPECT_TRUE(seen.ended);
  }
}

class ManyDimensions : public EndlessArray {
 public:
  explicit ManyDimensions(int number)
      : EndlessArray("sizes_test::ManyDimensions", {}), count(number) {}
  int getNDimentions() override { return count; }
  int getDimention(int) override { return 1; }

 private:
  int count;
};

TEST(ArraySizes, MoreDimensionsThanAnIndexHoldsAreRefusedAtOnce) {
  RefusalTimes times("dimensions of an array");
  for (int count : {Ints::kMost + 1, INT_MAX - 1, INT_MAX}) {
    ManyDimensions type(count);
    times.Expect([&] { Walked(type, 1); });
  }
  ManyDimensions type(1000);
  EXPECT_EQ(Walked(type, 1).place, std::vector<int>(1000));
  for (int count : {0, -1, INT_MIN}) {
    ManyDimensions none(count);
    EXPECT_EQ(Walked(none, 1).elements, 0) << count;
  }
}

TEST(ArraySizes, AnIndexIsHandedOnWhateverItIs) {
  static std::vector<int> seen;
  static const int sizes[] = {2, 3};
  xrttiarray type;
  type.initializeRttiArray("sizes_test::Indexed", 1, 2, sizes, velGetRtti_int(), 0,
                           [](xobject*, int* indices) {
                             seen.assign(indices, indices + 2);
                             return xany(7);
                           });
  VelPlainObject object;
  const auto index = xintsequence::create();
  for (const std::vector<int>& given :
       {std::vector<int>{}, {-1}, {INT_MIN, INT_MAX}, {INT_MAX, 0}, {1, 2, INT_MAX}}) {
    index->clear();
    for (int i : given) index->append(i);
    EXPECT_TRUE(type.getElemValue(&object, index) == xany(7));
    std::vector<int> expected = given;
    expected.resize(2);
    EXPECT_EQ(seen, expected);
  }
}

}  // namespace
