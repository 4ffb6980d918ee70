// Dictionaries against a naive one: after each operation every slot is the same.
#include "velbdict.h"

#include <vector>

#include "velexceptions.h"
#include "velfuzz.h"
#include "veltest_dictmodel.h"
#include "xcollections.h"

namespace {

struct Ints {
  using Dictionary = VelOpenDictionary<xintdictionary>;
  static int Make(int n) { return n; }
};
struct Strings {
  using Dictionary = VelOpenDictionary<xstringdictionary>;
  static xstring Make(int n) {
    return n % 10 == 0 ? xstring() : xstring(std::to_string(n).c_str());
  }
};
struct Anys {
  using Dictionary = VelOpenDictionary<xanydictionary>;
  static xany Make(int n) {
    if (n % 3 == 0) return n;
    if (n % 3 == 1) return Strings::Make(n);
    return xany(n / 2.0);
  }
};

template <class T>
class Duel {
 public:
  using Value = decltype(T::Make(0));
  using Number = VelModelNumber;

  explicit Duel(velFuzzInput input) : in(input), model({70, 90}), dictionary(new Dictionary) {}

  void Run() {
    while (!in.isEmpty()) {
      Step();
      Compare();
    }
  }

 private:
  using Dictionary = typename T::Dictionary;

  // Short ones of few letters collide; some are long, or are no valid text.
  std::string Key() {
    switch (in.below(4)) {
      case 0:
        return in.text(40);
      case 1: {
        std::string key;  // two letters that add the same to the hash
        for (unsigned n = in.below(6); n > 0; --n) key += in.flag() ? "Aa" : "BB";
        return key;
      }
      case 2:
        return std::string(1, static_cast<char>('a' + in.below(26)));
      default:
        return std::to_string(in.byte());
    }
  }

  int Index() { return in.flag() ? in.between(0, 300) : in.number(); }

  void Step() {
    const int number = in.between(0, 65535);
    switch (in.below(16)) {
      case 0: {
        const std::string key = Key();
        VEL_FUZZ_CHECK(dictionary->remove(key.c_str()) == model.Remove(key));
        break;
      }
      case 1: {
        const std::string key = Key();
        Number index;
        const bool isThere = model.FindIndex(key, index);
        Value value{};
        VEL_FUZZ_CHECK(dictionary->find(key.c_str(), &value) == isThere);
        if (isThere) VEL_FUZZ_CHECK(value == T::Make(model.At(index).value));
        VEL_FUZZ_CHECK(dictionary->find(key.c_str(), nullptr) == isThere);
        break;
      }
      case 2: {
        const int index = Index();
        Try(index, [&] {
          const bool done = dictionary->removebyindex(index);
          VEL_FUZZ_CHECK(done == model.RemoveByIndex(index));
        });
        break;
      }
      case 3: {
        const int index = Index();
        Try(index, [&] {
          const bool done = dictionary->setbyindex(index, T::Make(number));
          VEL_FUZZ_CHECK(done == model.SetByIndex(index, number));
        });
        break;
      }
      case 4:
        if (in.below(16) != 0) return;
        dictionary->clearall();
        model.Clear();
        break;
      case 5:
        if (in.below(16) != 0) return;
        dictionary->BaseAllocate(static_cast<unsigned>(number) % 2000, Dictionary::kSlotBytes);
        model.Allocate(number % 2000);
        break;
      case 6: {  // many at once: tables grow
        const std::string key = Key();
        for (int i = in.between(0, 255); i > 0; --i) Set(key + std::to_string(i), number + i);
        break;
      }
      case 7: {  // and shrink
        const std::string key = Key();
        for (int i = in.between(0, 255); i > 0; --i) {
          const std::string longer = key + std::to_string(i);
          VEL_FUZZ_CHECK(dictionary->remove(longer.c_str()) == model.Remove(longer));
        }
        break;
      }
      case 8: {  // goes on with a copy, which must not differ in anything
        if (in.below(16) != 0) return;
        const xrchandle<Dictionary> copy(new Dictionary);
        copy->set("something", T::Make(1));
        copy->BaseClone(dictionary->AsCore(), Dictionary::kSlotBytes, Dictionary::kValueOffset);
        dictionary = copy;
        break;
      }
      default:
        Set(Key(), number);
        break;
    }
  }

  // An index below 0, or of no slot, is refused.
  template <class Act>
  void Try(int index, Act act) {
    const Number size = model.Size();
    const bool isSlot = index >= 0 && index < size;
    const auto thrown = velFuzzCaught(act);
    auto* const exception = thrown.operator->();
    VEL_FUZZ_CHECK(thrown.isnull() == isSlot);
    if (index < 0) VEL_FUZZ_CHECK(dynamic_cast<velXNegativeIndex*>(exception));
    if (index >= size) VEL_FUZZ_CHECK(dynamic_cast<velXInvalidDictIndex*>(exception));
  }

  void Set(const std::string& key, int number) {
    dictionary->set(key.c_str(), T::Make(number));
    model.Set(key, number);
  }

  void Compare() {
    VEL_FUZZ_CHECK(dictionary->getmapsize() == model.Size());
    VEL_FUZZ_CHECK(static_cast<Number>(dictionary->GetCount()) == model.Count());
    for (int i = 0; i <= static_cast<int>(model.Size()); ++i) {
      const bool isLive = model.IsLive(i);
      xstring key;
      Value value{};
      VEL_FUZZ_CHECK(dictionary->getkeybyindex(i, &key) == isLive);
      VEL_FUZZ_CHECK(dictionary->getbyindex(i, &value) == isLive);
      if (!isLive) continue;
      VEL_FUZZ_SAME(key.CastToCString(), model.At(i).key);
      VEL_FUZZ_CHECK(value == T::Make(model.At(i).value));
    }
  }

  velFuzzInput in;
  VelDictModel model;
  xrchandle<Dictionary> dictionary;
};

}  // namespace

VEL_FUZZ(input) {
  switch (input.below(3)) {
    case 0:
      Duel<Ints>(input).Run();
      break;
    case 1:
      Duel<Strings>(input).Run();
      break;
    default:
      Duel<Anys>(input).Run();
      break;
  }
}
