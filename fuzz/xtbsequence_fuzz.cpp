// Sequences of each element against a vector.
#include <algorithm>
#include <climits>
#include <vector>

#include "velexceptions.h"
#include "velfuzz.h"
#include "xcollections.h"

namespace {

// An object that nothing but the elements under test hold.
class Thing : public virtual xobject {
  VEL_OBJECT(Thing)
 public:
  Thing() { ++alive; }
  ~Thing() override { --alive; }
  static int alive;
};
int Thing::alive = 0;
VEL_OBJECT_RTTI(Thing, xrttiobject,
                [](xrttiobject* rtti) { rtti->initializeRttiObject("fuzz::Thing", 1, 0, nullptr); })

// ---- elements: how they are made, and when two are the same ----

struct Bools {
  using Sequence = xboolsequence;
  using Value = unsigned char;
  static constexpr bool kHasGap = false;  // what a gap holds is told
  static Value Make(velFuzzInput& input) { return input.byte(); }
};
struct Ints {
  using Sequence = xintsequence;
  using Value = int;
  static constexpr bool kHasGap = false;
  static Value Make(velFuzzInput& input) { return input.number(); }
};
struct Reals {
  using Sequence = xrealsequence;
  using Value = double;
  static constexpr bool kHasGap = false;
  static Value Make(velFuzzInput& input) { return input.number() / 4.0; }
};
struct Strings {
  using Sequence = xstringsequence;
  using Value = xstring;
  static constexpr bool kHasGap = true;
  static Value Make(velFuzzInput& input) {
    return input.flag() ? xstring(input.text(20).c_str()) : xstring();
  }
};
struct Anys {
  using Sequence = xanysequence;
  using Value = xany;
  static constexpr bool kHasGap = true;
  static Value Make(velFuzzInput& input) {
    switch (input.below(6)) {
      case 0:
        return xany();
      case 1:
        return input.number();
      case 2:
        return input.flag();
      case 3:
        return Strings::Make(input);
      case 4:
        return input.number() / 8.0;
      default:
        return xrchandle<Thing>(new Thing);
    }
  }
};

bool Same(unsigned char a, unsigned char b) { return a == b; }
bool Same(int a, int b) { return a == b; }
bool Same(double a, double b) { return a == b; }
bool Same(const xstring& a, const xstring& b) { return a.IsNull() == b.IsNull() && a == b; }
bool Same(const xany& a, const xany& b) {
  if (a.getkind() != b.getkind()) return false;
  return a.isobject() ? a.operator xobject*() == b.operator xobject*() : a == b;
}

// ---- one sequence and its model ----

constexpr int kMostElements = 5000;  // beyond, indices are only refused or skipped

template <class T>
class Duel {
 public:
  using Value = typename T::Value;

  explicit Duel(velFuzzInput input) : in(input) {
    const int reserved = in.flag() ? in.between(-3, 300) : 0;
    sequence = T::Sequence::createCapacity(static_cast<unsigned>(reserved));
  }

  void Run() {
    while (!in.isEmpty()) {
      Step();
      Compare();
    }
    // A copy of all elements does not change with the sequence.
    const auto other = T::Sequence::create();
    other->insertseq(0, *sequence.operator->());
    sequence->clear();
    VEL_FUZZ_CHECK(other->getarraysize() == static_cast<int>(model.size()));
    for (std::size_t i = 0; i < model.size(); ++i) {
      if (known[i]) VEL_FUZZ_CHECK(Same(other->get(static_cast<int>(i)), model[i]));
    }
  }

 private:
  int Size() const { return static_cast<int>(model.size()); }

  // Near the ends, or anywhere, or far away.
  int Index() {
    switch (in.below(8)) {
      case 0:
        return in.between(-2, 2);
      case 1:
        return Size() + in.between(-3, 3);
      case 2:
        return Size() + in.between(0, 300);
      case 3:
        return in.number();
      default:
        return Size() == 0 ? 0 : in.between(0, 65535) % Size();
    }
  }

  // What `act` on `index` throws: nothing, the complaint of an index below 0 or, where
  // there must be an element, of one that is not there.
  template <class Act>
  void Try(int index, bool hasToExist, Act act) {
    const auto thrown = velFuzzCaught(act);
    auto* const exception = thrown.operator->();
    if (index < 0) {
      VEL_FUZZ_CHECK(dynamic_cast<velXNegativeIndex*>(exception));
    } else if (hasToExist && index >= Size()) {
      VEL_FUZZ_CHECK(dynamic_cast<velXInvalidSeqIndex*>(exception));
    } else {
      VEL_FUZZ_CHECK(thrown.isnull());
    }
  }

  // The model grows to `size` elements, of which only class elements are known.
  void Grow(std::size_t size) {
    if (size <= model.size()) return;
    model.resize(size);
    known.resize(size, T::kHasGap);
  }

  void InsertInModel(int index, const std::vector<Value>& values, const std::vector<bool>& those) {
    Grow(static_cast<std::size_t>(index));
    model.insert(model.begin() + index, values.begin(), values.end());
    known.insert(known.begin() + index, those.begin(), those.end());
  }

  void Step() {
    const unsigned sort = in.below(12);
    const int index = Index();
    if (index > kMostElements) return Distant(sort, index);
    switch (sort) {
      case 0:
      case 1: {
        if (Size() >= kMostElements) return;
        const Value value = T::Make(in);
        sequence->append(value);
        InsertInModel(Size(), {value}, {true});
        break;
      }
      case 2:
      case 3: {
        const Value value = T::Make(in);
        Try(index, false, [&] { sequence->set(index, value); });
        if (index < 0) return;
        const auto at = static_cast<std::size_t>(index);
        Grow(at + 1);
        model[at] = value;
        known[at] = true;
        break;
      }
      case 4:
      case 5: {
        if (Size() >= kMostElements) return;
        const Value value = T::Make(in);
        Try(index, false, [&] { sequence->insert(index, value); });
        if (index >= 0) InsertInModel(index, {value}, {true});
        break;
      }
      case 6: {
        if (Size() >= kMostElements / 2) return;
        const bool itself = in.flag();
        const auto other = itself ? sequence : T::Sequence::create();
        std::vector<Value> values = model;
        std::vector<bool> those = known;
        if (!itself) {
          values.clear();
          for (unsigned n = in.below(5); n > 0; --n) values.push_back(T::Make(in));
          for (const Value& value : values) other->append(value);
          those.assign(values.size(), true);
        }
        Try(index, false, [&] { sequence->insertseq(index, *other.operator->()); });
        if (index >= 0) InsertInModel(index, values, those);
        break;
      }
      case 7: {
        const int last = in.flag() ? index : Index();
        Try(std::min(index, last), false, [&] { sequence->removerange(index, last); });
        if (index >= 0 && last >= 0) RemoveFromModel(std::min(index, last), std::max(index, last));
        break;
      }
      case 8:
        Try(index, true, [&] {
          const Value value = sequence->get(index);
          const auto at = static_cast<std::size_t>(index);
          if (known[at]) VEL_FUZZ_CHECK(Same(value, model[at]));
        });
        break;
      case 9: {
        const Value value = T::Make(in);
        Try(index, true, [&] { (*sequence.operator->())[index] = value; });
        if (index < 0 || index >= Size()) return;
        model[static_cast<std::size_t>(index)] = value;
        known[static_cast<std::size_t>(index)] = true;
        break;
      }
      case 10:
        if (in.below(8) != 0) return;
        sequence->clear();
        model.clear();
        known.clear();
        break;
      default:
        break;
    }
  }

  void RemoveFromModel(int first, int last) {
    first = std::min(first, Size());
    last = std::min(last, Size());
    model.erase(model.begin() + first, model.begin() + last);
    known.erase(known.begin() + first, known.begin() + last);
  }

  // An index where no element is and none is to be made for a test: it is refused
  // or means the end.
  void Distant(unsigned sort, int index) {
    switch (sort) {
      case 7:
        sequence->removerange(index, INT_MAX);
        sequence->removerange(Size(), index);
        break;
      case 8:
        Try(index, true, [&] { sequence->get(index); });
        break;
      case 9:
        Try(index, true, [&] { (*sequence.operator->())[index]; });
        break;
      default:
        if (std::uint64_t{static_cast<unsigned>(index)} * sizeof(Value) < std::uint64_t{1} << 32U) {
          return;
        }
        const auto refused = velFuzzCaught([&] { sequence->set(index, Value()); });
        VEL_FUZZ_CHECK(dynamic_cast<velXNativeException*>(refused.operator->()));
        break;
    }
  }

  void Compare() {
    VEL_FUZZ_CHECK(sequence->getarraysize() == Size());
    for (int i = 0; i < Size(); ++i) {
      const auto at = static_cast<std::size_t>(i);
      if (known[at]) VEL_FUZZ_CHECK(Same(sequence->get(i), model[at]));
    }
  }

  velFuzzInput in;
  xrchandle<typename T::Sequence> sequence;
  std::vector<Value> model;
  std::vector<bool> known;  // which elements have a value: a gap of scalars has none
};

}  // namespace

VEL_FUZZ(input) {
  switch (input.below(5)) {
    case 0:
      Duel<Bools>(input).Run();
      break;
    case 1:
      Duel<Ints>(input).Run();
      break;
    case 2:
      Duel<Reals>(input).Run();
      break;
    case 3:
      Duel<Strings>(input).Run();
      break;
    default:
      Duel<Anys>(input).Run();
      break;
  }
  VEL_FUZZ_CHECK(Thing::alive == 0);
}
