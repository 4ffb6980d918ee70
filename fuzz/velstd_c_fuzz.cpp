// Calls of the C interface in any order, with good objects and with null, the
// uninitialised address and objects of other classes; keys at the addresses 0, 1
// and 2. After each call the error value and the pending exception are those that
// a model of the collections predicts.
#include "velstd_c.h"

#include <algorithm>
#include <vector>

#include "velexceptions.h"
#include "velfuzz.h"
#include "veltest_dictmodel.h"
#include "xcollections.h"

namespace {

enum class Error { kNone, kNull, kUninit, kWrongClass, kNegative, kNoElement, kNoSlot };

Error Pending() {
  if (!xisexc_c()) return Error::kNone;
  xthrowable* const exception = xgetexc_c();
  const xrchandle<xthrowable> held(exception);
  xrcrelease(exception);
  if (dynamic_cast<velXNull*>(exception)) return Error::kNull;
  if (dynamic_cast<velXNotInitialized*>(exception)) return Error::kUninit;
  if (dynamic_cast<velXTypeMismatch*>(exception)) return Error::kWrongClass;
  if (dynamic_cast<velXNegativeIndex*>(exception)) return Error::kNegative;
  if (dynamic_cast<velXInvalidSeqIndex*>(exception)) return Error::kNoElement;
  if (dynamic_cast<velXInvalidDictIndex*>(exception)) return Error::kNoSlot;
  velFuzzFail(__FILE__, __LINE__, "another exception", exception->getVelTypeName().CastToCString());
}

constexpr int kMostElements = 3000;

class Calls {
 public:
  explicit Calls(velFuzzInput input) : in(input), elements(2), slots(2, VelDictModel({70, 90})) {
    for (int i = 0; i < 2; ++i) {
      sequences.push_back(xintsequence_create());
      dictionaries.push_back(xintdictionary_create());
    }
  }
  ~Calls() {
    xcleanupexc_c();
    for (xintsequence* sequence : sequences) {
      VEL_FUZZ_CHECK(xrcgetcount(sequence) == 1);
      xrcrelease_c(sequence);
    }
    for (xintdictionary* dictionary : dictionaries) {
      VEL_FUZZ_CHECK(xrcgetcount(dictionary) == 1);
      xrcrelease_c(dictionary);
    }
  }
  Calls(const Calls&) = delete;
  Calls& operator=(const Calls&) = delete;

  void Run() {
    while (!in.isEmpty()) {
      if (in.flag()) {
        OnSequence();
      } else {
        OnDictionary();
      }
    }
    for (std::size_t i = 0; i < 2; ++i) {
      for (std::size_t at = 0; at < elements[i].size(); ++at) {
        const int got = xintsequence_get(sequences[i], static_cast<int>(at));
        VEL_FUZZ_CHECK(elements[i][at].isKnown ? got == elements[i][at].number : true);
      }
    }
  }

 private:
  struct Element {
    bool isKnown;
    int number;
  };
  // One that is handed over, and what is wrong with it or which one it is.
  template <class T>
  struct Handed {
    T* object;
    Error error;
    std::size_t number;
  };

  template <class T, class Other>
  Handed<T> Hand(const std::vector<T*>& good, const std::vector<Other*>& others) {
    switch (in.below(16)) {
      case 0:
        return {nullptr, Error::kNull, 0};
      case 1:
        return {static_cast<T*>(static_cast<void*>(XUNINITOBJECT)), Error::kUninit, 0};
      case 2: {
        xobject* const other = others[0];
        return {static_cast<T*>(static_cast<void*>(other)), Error::kWrongClass, 0};
      }
      default: {
        const std::size_t number = in.below(2);
        return {good[number], Error::kNone, number};
      }
    }
  }

  void Expect(Error error) { VEL_FUZZ_CHECK(Pending() == error); }

  int Index(int size) {
    switch (in.below(8)) {
      case 0:
        return in.number();
      case 1:
        return in.between(-2, 2);
      case 2:
        return size + in.between(-2, 2);
      default:
        return size > 0 ? in.between(0, 65535) % size : 0;
    }
  }

  void Grow(std::vector<Element>& list, int size) {
    if (size > static_cast<int>(list.size())) {
      list.resize(static_cast<std::size_t>(size), {false, 0});
    }
  }

  void OnSequence() {
    const Handed<xintsequence> seq = Hand(sequences, dictionaries);
    std::vector<Element>& list = elements[seq.number];
    const int size = static_cast<int>(list.size());
    const int index = Index(size);
    const int number = in.number();
    Error error = seq.error;
    if (error == Error::kNone && index < 0) error = Error::kNegative;
    const bool isGood = error == Error::kNone;
    switch (in.below(6)) {
      case 0:
        VEL_FUZZ_CHECK(xintsequence_getarraysize(seq.object) ==
                       (seq.error == Error::kNone ? size : VEL_ERROR_INT));
        return Expect(seq.error);
      case 1: {
        const int got = xintsequence_get(seq.object, index);
        if (isGood && index >= size) error = Error::kNoElement;
        if (error != Error::kNone) {
          VEL_FUZZ_CHECK(got == VEL_ERROR_INT);
        } else if (list[static_cast<std::size_t>(index)].isKnown) {
          VEL_FUZZ_CHECK(got == list[static_cast<std::size_t>(index)].number);
        }
        return Expect(error);
      }
      case 2:
        if (isGood && index > kMostElements) return;
        xintsequence_set(seq.object, index, number);
        if (isGood) {
          Grow(list, index + 1);
          list[static_cast<std::size_t>(index)] = {true, number};
        }
        return Expect(error);
      case 3:
        if (isGood && (index > kMostElements || size > kMostElements)) return;
        xintsequence_insert(seq.object, index, number);
        if (isGood) {
          Grow(list, index);
          list.insert(list.begin() + index, {true, number});
        }
        return Expect(error);
      case 4: {
        const Handed<xintsequence> other = Hand(sequences, dictionaries);
        const std::vector<Element> more = elements[other.number];
        if (isGood && (index > kMostElements || list.size() + more.size() > kMostElements)) return;
        xintsequence_insertseq(seq.object, index, other.object);
        if (seq.error == Error::kNone && other.error != Error::kNone) error = other.error;
        if (error == Error::kNone) {
          Grow(list, index);
          list.insert(list.begin() + index, more.begin(), more.end());
        }
        return Expect(error);
      }
      default: {
        const int last = Index(size);
        xintsequence_removerange(seq.object, index, last);
        if (isGood && last < 0) error = Error::kNegative;
        if (error == Error::kNone) {
          const int from = std::min(std::min(index, last), size);
          const int to = std::min(std::max(index, last), size);
          list.erase(list.begin() + from, list.begin() + to);
        }
        return Expect(error);
      }
    }
  }

  void OnDictionary() {
    const Handed<xintdictionary> dict = Hand(dictionaries, sequences);
    VelDictModel& model = slots[dict.number];
    // The addresses 0 and 1 are no text, 2 is one.
    const unsigned sort = in.below(16);
    const std::string text = sort == 2 ? "uninit" : in.text(12);
    const bool isNull = sort < 2;
    const auto address = static_cast<std::uintptr_t>(sort);
    const char* const key = sort < 3 ? reinterpret_cast<const char*>(address) : text.c_str();
    const int index = Index(static_cast<int>(model.Size()));
    const int number = in.number();
    Error byKey = dict.error;
    if (byKey == Error::kNone && isNull) byKey = Error::kNull;
    Error byIndex = dict.error;
    if (byIndex == Error::kNone && index < 0) byIndex = Error::kNegative;
    Error bySlot = byIndex;
    if (bySlot == Error::kNone && index >= model.Size()) bySlot = Error::kNoSlot;
    switch (in.below(8)) {
      case 0:
        VEL_FUZZ_CHECK(xintdictionary_getmapsize(dict.object) ==
                       (dict.error == Error::kNone ? model.Size() : VEL_ERROR_INT));
        Expect(dict.error);
        VEL_FUZZ_CHECK(xintdictionary_count_c(dict.object) ==
                       (dict.error == Error::kNone ? model.Count() : VEL_ERROR_INT));
        return Expect(dict.error);
      case 1: {
        int value = 12345;
        const unsigned char found = xintdictionary_find(dict.object, key, &value);
        Expect(byKey);
        if (byKey != Error::kNone) {
          VEL_FUZZ_CHECK(found == VEL_ERROR_BOOL && value == 12345);
          return;
        }
        VelModelNumber at;
        const bool isThere = model.FindIndex(text, at);
        VEL_FUZZ_CHECK(found == (isThere ? 1 : 0));
        VEL_FUZZ_CHECK(value == (isThere ? model.At(at).value : 12345));
        return;
      }
      case 2:
      case 3:
        xintdictionary_set(dict.object, key, number);
        if (byKey == Error::kNone) model.Set(text, number);
        return Expect(byKey);
      case 4:
        xintdictionary_remove(dict.object, key);
        if (byKey == Error::kNone) model.Remove(text);
        return Expect(dict.error);
      case 5: {
        int value = 12345;
        const unsigned char isThere = xintdictionary_getbyindex(dict.object, index, &value);
        Expect(byIndex);
        const bool isLive = byIndex == Error::kNone && model.IsLive(index);
        VEL_FUZZ_CHECK(isThere == (byIndex != Error::kNone ? VEL_ERROR_BOOL
                                                           : static_cast<unsigned char>(isLive)));
        VEL_FUZZ_CHECK(value == (isLive ? model.At(index).value : 12345));
        __xstring_c name;
        VEL_FUZZ_CHECK(xintdictionary_getkeybyindex(dict.object, index, &name) == isThere);
        Expect(byIndex);
        if (isLive) {
          VEL_FUZZ_SAME(xstrgetmb_c(&name), model.At(index).key);
          xstrunlock_c(&name);
        }
        return;
      }
      case 6:
        xintdictionary_setbyindex(dict.object, index, number);
        if (bySlot == Error::kNone) model.SetByIndex(index, number);
        return Expect(bySlot);
      default:
        xintdictionary_removebyindex(dict.object, index);
        if (bySlot == Error::kNone) model.RemoveByIndex(index);
        return Expect(bySlot);
    }
  }

  velFuzzInput in;
  std::vector<xintsequence*> sequences;
  std::vector<xintdictionary*> dictionaries;
  std::vector<std::vector<Element>> elements;
  std::vector<VelDictModel> slots;
};

}  // namespace

VEL_FUZZ(input) { Calls(input).Run(); }
