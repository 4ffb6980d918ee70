// Calls of the C interface in any order: with good arguments, with null, the
// uninitialised address and objects of other classes, at the address of any of their
// parts; texts at the addresses 0, 1 and 2; records that say what they are not. What
// a call gives, what is pending, what the objects hold and how often they are held is
// as the model predicts. Only what the manual leaves to the caller does not occur:
// records, and texts other than the markers, at addresses that are none.
#include "velstd_c.h"

#include <iostream>
#include <sstream>

#include "velcompare.h"
#include "velfuzz.h"
#include "velprint.h"
#include "velstd_c_model.h"
#include "veltest_cfunctions.h"

namespace {

using namespace velcmodel;

// What the output of the process goes to meanwhile.
class Captured {
 public:
  Captured() : usual(std::cout.rdbuf(to.rdbuf())) {}
  ~Captured() { std::cout.rdbuf(usual); }
  Captured(const Captured&) = delete;
  Captured& operator=(const Captured&) = delete;
  std::string Text() const { return to.str(); }

 private:
  std::ostringstream to;
  std::streambuf* usual;
};

class Calls : private World {
 public:
  explicit Calls(velFuzzInput input) : World(input) {}

  void Run() {
    while (!in.isEmpty()) {
      Step();
      Check();
    }
    Empty();
    Check();
    for (Ref& ref : pool) {
      const bool isCounted = ref->object->isRefCountable();
      VEL_FUZZ_CHECK(ref.use_count() == 1 && (!isCounted || xrcgetcount(ref->object) == 1));
      xdelete_c(ref->object);
    }
    pool.clear();
    VEL_FUZZ_CHECK(Census<Leaf>::alive() == 0 && Census<Uncounted>::alive() == 0);
  }

 private:
  void OnPending() {
    switch (in.below(4)) {
      case 0: {
        const Handed handed = Hand<xthrowable>();
        if (CaughtUninit([&] { xsetexc_c(handed.as<xthrowable>()); })) return;
        const Fault fault = Wrong<xthrowable>(handed);
        if (!handed.address) {
          pending = {};
        } else if (!handed.ref) {
          pending = {kAddress};
        } else {
          pending = fault ? fault : Fault{kGiven, handed.ref};
        }
        return;
      }
      case 1: {
        xthrowable* const exception = xextractexc_c();
        VEL_FUZZ_CHECK((exception != nullptr) == (pending.type != nullptr) && !xisexc_c());
        if (!exception) return;
        const bool isAddress = velIsUninit(exception);
        VEL_FUZZ_CHECK(isAddress == (pending.type == kAddress));
        if (in.flag()) {
          pending = {};
        } else {
          xsetexc_c(exception);
        }
        if (!isAddress) xrcrelease_c(exception);
        return;
      }
      default:
        if (CaughtUninit([] { xcleanupexc_c(); })) return;
        pending = {};
        return;
    }
  }
  // The one complaint that is let out, with nothing left pending.
  template <class Act>
  bool CaughtUninit(Act act) {
    const bool isAddress = pending.type == kAddress;
    const xrchandle<xthrowable> caught = velFuzzCaught(act);
    VEL_FUZZ_CHECK(caught.isnull() == !isAddress);
    if (!isAddress) return false;
    VEL_FUZZ_SAME(caught->getVelTypeName().CastToCString(), kUninit);
    pending = {};
    return true;
  }

  // ---- collections ----

  template <class C>
  void OnClass(C* (*create)(), xrttiobject* (*getclassrtti)()) {
    const bool isRefused = pending.type == kAddress;
    if (in.flag()) {
      C* const made = create();
      VEL_FUZZ_CHECK((made == nullptr) == isRefused);
      if (made) VEL_FUZZ_CHECK(xrcgetcount(made) == 1 && made->getRtti() == C::getClassRtti());
      xrcrelease_c(made);
    } else {
      VEL_FUZZ_CHECK(getclassrtti() == (isRefused ? nullptr : C::getClassRtti()));
    }
    Expect(Clear());
  }

  template <class Flat>
  static void Grow(std::vector<Value>& list, int size) {
    if (size > static_cast<int>(list.size())) {
      list.resize(static_cast<std::size_t>(size), EmptyOf<Flat>());
    }
  }

  template <class C, class Flat>
  void OnSequence(const VelSequenceFunctions<C, Flat>& call) {
    constexpr unsigned kRemove = 6;
    unsigned sort = in.below(kRemove + 1);
    if (sort == 0) return OnClass(call.create, call.getclassrtti);
    const Handed seq = Hand<C>();
    C* const address = seq.as<C>();
    Fault fault = Begin<C>(seq);
    const Ref model = fault ? none : seq.ref;
    std::vector<Value>& list = model->elements;
    const int size = static_cast<int>(list.size());
    // Long ones are shortened, so that none gets longer than a test has time for.
    if (size > kMostElements) sort = kRemove;
    const int index = std::min(Index(size), kMostElements);
    const Fault negative{index < 0 ? kNegative : nullptr};
    switch (sort) {
      case 1:
        VEL_FUZZ_CHECK(call.getarraysize(address) == (fault ? VEL_ERROR_INT : size));
        break;
      case 2: {
        fault = First(fault, negative);
        if (!fault && index >= size) fault = {kSeqIndex, seq.ref};
        const Value wanted = fault ? ErrorOf<Flat>() : list[static_cast<std::size_t>(index)];
        VEL_FUZZ_CHECK(Takes(call.get(address, index), wanted));
        break;
      }
      case 3:
      case 4: {
        const bool isInsert = sort == 4;
        const Given<Flat> given = Give<Flat>();
        fault = First(First(fault, given.fault), negative);
        (isInsert ? call.insert : call.set)(address, index, given.flat);
        if (fault) break;
        Grow<Flat>(list, index + !isInsert);
        if (isInsert) {
          list.insert(list.begin() + index, given.value);
        } else {
          list[static_cast<std::size_t>(index)] = given.value;
        }
        break;
      }
      case 5: {
        const Handed other = Hand<C>();
        fault = First(First(fault, Wrong<C>(other)), negative);
        const std::vector<Value> more = fault ? std::vector<Value>() : other.ref->elements;
        call.insertseq(address, index, other.as<C>());
        if (fault) break;
        Grow<Flat>(list, index);
        list.insert(list.begin() + index, more.begin(), more.end());
        break;
      }
      default: {
        const int last = Index(size);
        call.removerange(address, index, last);
        if (last < 0) fault = First(fault, {kNegative});
        fault = First(fault, negative);
        if (fault) break;
        const int from = std::min(std::min(index, last), size);
        const int to = std::min(std::max(index, last), size);
        list.erase(list.begin() + from, list.begin() + to);
        break;
      }
    }
    Expect(fault);
    if (seq.ref) CompareSequence<C>(*seq.ref, 64);
  }

  // Up to so many elements, from the front.
  template <class C>
  static void CompareSequence(const Object& model, int most) {
    auto* sequence = dynamic_cast<C*>(model.object);
    if (!sequence) return;
    const int size = sequence->getarraysize();
    VEL_FUZZ_CHECK(size == static_cast<int>(model.elements.size()));
    for (int i = 0; i < std::min(size, most); ++i) {
      VEL_FUZZ_CHECK(Takes(Flatten(sequence->get(i)), model.elements[static_cast<std::size_t>(i)]));
    }
  }

  template <class C, class Flat>
  void OnDictionary(const VelDictionaryFunctions<C, Flat>& call) {
    const unsigned sort = in.below(12);
    if (sort == 0) return OnClass(call.create, call.getclassrtti);
    const Handed dict = Hand<C>();
    C* const address = dict.as<C>();
    Fault fault = Begin<C>(dict);
    Object& model = fault ? *none : *dict.ref;
    VelDictModel& slots = model.slots;
    const Narrow key = AnyText();
    const int index = Index(static_cast<int>(slots.Size()));
    const Fault noKey{key.isNull ? kNull : nullptr};
    const Fault negative{index < 0 ? kNegative : nullptr};
    const bool isLive = !fault && index >= 0 && slots.IsLive(index);
    const Value slotKey = isLive ? Value::OfText(slots.At(index).key) : Value();
    const Fault noSlot =
        First(negative, index < slots.Size() ? Fault() : Fault{kDictIndex, dict.ref});
    switch (sort) {
      case 1:
        VEL_FUZZ_CHECK(call.getmapsize(address) == (fault ? VEL_ERROR_INT : slots.Size()));
        break;
      case 2:
        VEL_FUZZ_CHECK(call.count(address) == (fault ? VEL_ERROR_INT : slots.Count()));
        break;
      case 3: {
        fault = First(fault, noKey);
        const auto found = model.values.find(key.text);
        const bool isThere = !fault && found != model.values.end();
        LookUp<Flat>(fault, isThere ? &found->second : nullptr,
                     [&](Flat* to) { return call.find(address, key.at(), to); });
        break;
      }
      case 4: {
        fault = First(fault, negative);
        LookUp<Flat>(fault, isLive ? &model.values[slotKey.text] : nullptr,
                     [&](Flat* to) { return call.getbyindex(address, index, to); });
        break;
      }
      case 5:
        fault = First(fault, negative);
        LookUp<__xstring_c>(fault, isLive ? &slotKey : nullptr, [&](__xstring_c* to) {
          return call.getkeybyindex(address, index, to);
        });
        break;
      case 6: {
        const Given<Flat> given = Give<Flat>();
        call.setbyindex(address, index, given.flat);
        fault = First(First(fault, given.fault), noSlot);
        if (!fault && isLive) model.values[slotKey.text] = given.value;
        break;
      }
      case 7:
        call.removebyindex(address, index);
        fault = First(fault, noSlot);
        if (!fault && slots.RemoveByIndex(index)) model.values.erase(slotKey.text);
        break;
      case 8:
        call.remove(address, key.at());
        if (!fault && !key.isNull && slots.Remove(key.text)) model.values.erase(key.text);
        break;
      default: {
        const Given<Flat> given = Give<Flat>();
        call.set(address, key.at(), given.flat);
        fault = First(First(fault, given.fault), noKey);
        if (fault) break;
        slots.Set(key.text, 0);
        model.values[key.text] = given.value;
        break;
      }
    }
    Expect(fault);
    if (dict.ref) CompareDictionary<C, Flat>(*dict.ref, 64);
  }

  // Asks with and without an out-pointer. `wanted` is null where nothing is found.
  template <class Found, class Ask>
  void LookUp(const Fault& fault, const Value* wanted, Ask ask) {
    Found out;
    std::memset(&out, 0x5a, sizeof out);
    const Found before = out;
    const bool isAsked = in.below(4) != 0;
    const unsigned char got = ask(isAsked ? &out : nullptr);
    VEL_FUZZ_CHECK(got == (fault ? VEL_ERROR_BOOL : wanted ? 1 : 0));
    if (!isAsked) return;
    if (wanted) {
      VEL_FUZZ_CHECK(Takes(out, *wanted));
    } else {
      VEL_FUZZ_CHECK(Takes(out, EmptyOf<Found>()));
      if (std::is_scalar<Found>::value) VEL_FUZZ_CHECK(!std::memcmp(&out, &before, sizeof out));
    }
  }

  template <class C, class Flat>
  static void CompareDictionary(const Object& model, int most) {
    auto* dictionary = dynamic_cast<C*>(model.object);
    if (!dictionary) return;
    const int size = dictionary->getmapsize();
    VEL_FUZZ_CHECK(size == model.slots.Size() && dictionary->getcount() == model.slots.Count());
    for (int i = 0; i < std::min(size, most); ++i) {
      xstring key;
      typename CppOf<Flat>::Type value{};
      const bool isThere = dictionary->getbyindex(i, &value);
      VEL_FUZZ_CHECK(isThere == model.slots.IsLive(i));
      if (!isThere) continue;
      dictionary->getkeybyindex(i, &key);
      VEL_FUZZ_SAME(key.CastToCString(), model.slots.At(i).key);
      VEL_FUZZ_CHECK(Takes(Flatten(value), model.values.at(model.slots.At(i).key)));
    }
  }

  template <class Act>
  static void ForEachSequence(Act act) {
    act(VEL_SEQUENCE_FUNCTIONS(xboolsequence, unsigned char));
    act(VEL_SEQUENCE_FUNCTIONS(xintsequence, int));
    act(VEL_SEQUENCE_FUNCTIONS(xrealsequence, double));
    act(VEL_SEQUENCE_FUNCTIONS(xstringsequence, __xstring_c));
    act(VEL_SEQUENCE_FUNCTIONS(xanysequence, __xany_c));
  }
  template <class Act>
  static void ForEachDictionary(Act act) {
    act(VEL_DICTIONARY_FUNCTIONS(xbooldictionary, unsigned char));
    act(VEL_DICTIONARY_FUNCTIONS(xintdictionary, int));
    act(VEL_DICTIONARY_FUNCTIONS(xrealdictionary, double));
    act(VEL_DICTIONARY_FUNCTIONS(xstringdictionary, __xstring_c));
    act(VEL_DICTIONARY_FUNCTIONS(xanydictionary, __xany_c));
  }

  // ---- objects ----

  void OnObject() {
    const unsigned sort = in.below(9);
    if (sort == 0) return OnAttached();
    if (sort == 1) return OnLeaf();
    if (sort == 2) return OnUnheld();
    const Handed handed = Hand<xobject>();
    xobject* const address = handed.as<xobject>();
    xobject* const object = handed.ref ? handed.ref->object : nullptr;
    switch (sort) {
      case 3:
        VEL_FUZZ_CHECK(xisrcobj_c(address) == (object && object->isRefCountable() ? 1 : 0));
        return;
      case 4:
        VEL_FUZZ_CHECK(xgetrtti_c(address) == (object ? object->getRtti() : nullptr));
        return;
      case 5: {
        const std::string name = object ? object->getVelTypeName().CastToCString() : "";
        VEL_FUZZ_CHECK(Takes(xgettypename_c(address), Value::OfText(name)));
        return;
      }
      case 6:
        // It either refuses or is only given back.
        if (!object || !dynamic_cast<Uncounted*>(object)) {
          xrcattach_c(address);
          xdelete_c(address);
        }
        return;
      default: {
        const bool isKind = sort == 7;
        const Handed type = Hand<xrttiobject>();
        unsigned char wanted = !address;
        Fault fault;
        if (object && type.address) {
          fault = Wrong<xrtti>(type);
          if (!fault) {
            auto* descriptor = dynamic_cast<xrtti*>(type.ref->object);
            wanted = isKind ? object->getRtti()->isTypeKindOf(descriptor)
                            : object->getRtti()->isTypeSameAs(descriptor);
          }
        }
        VEL_FUZZ_CHECK(
            (isKind ? xisobjkindof_c : xisobjsameas_c)(address, type.as<xrttiobject>()) == wanted);
        return Expect(fault);
      }
    }
  }

  // References of the caller's own.
  void OnAttached() {
    if (in.flag() || attached.empty()) {
      const Handed handed = Hand<xobject>();
      xrcattach_c(handed.as<xobject>());
      if (handed.ref) {
        attached.push_back(handed.ref);
      } else {
        xrcrelease_c(handed.as<xobject>());
      }
    } else {
      xrcrelease_c(attached.back()->object);
      attached.pop_back();
    }
  }

  // Lets go of one, which lives on where something else holds it; makes another one.
  void OnLeaf() {
    Ref& ref = pool[leaves[in.below(kLeaves)]];
    (in.flag() ? xrcrelease_c : xdelete_c)(ref->object);
    ref = std::make_shared<Object>(xobjcreate_c("fuzz::Leaf"));
  }

  // One that nobody holds stays so, until a variant of it goes; one that is not
  // counted until it is deleted.
  void OnUnheld() {
    xobject* const counted = new Leaf;
    const int alive = Census<Leaf>::alive();
    VEL_FUZZ_CHECK(xisrcobj_c(counted) == 1 && xgetrtti_c(counted) == Leaf::getClassRtti());
    VEL_FUZZ_CHECK(Takes(xgettypename_c(counted), Value::OfText("fuzz::Leaf")));
    VEL_FUZZ_CHECK(xisobjkindof_c(counted, velGetRtti_object()) == 1);
    xrcrelease_c(counted);
    VEL_FUZZ_CHECK(Census<Leaf>::alive() == alive && xrcgetcount(counted) == 0);
    if (in.flag()) {
      __xany_c value = xanyobj_c(counted);
      xanyunlock_c(&value);
    } else {
      xrcattach_c(counted);
      xrcrelease_c(counted);
    }
    VEL_FUZZ_CHECK(Census<Leaf>::alive() == alive - 1);
    xobject* const uncounted = new Uncounted;
    const int uncountedAlive = Census<Uncounted>::alive();
    xrcattach_c(uncounted);
    xrcrelease_c(uncounted);
    VEL_FUZZ_CHECK(xisrcobj_c(uncounted) == 0 && Census<Uncounted>::alive() == uncountedAlive);
    xdelete_c(uncounted);
    VEL_FUZZ_CHECK(Census<Uncounted>::alive() == uncountedAlive - 1);
  }

  // ---- strings ----

  void OnText() {
    Text& text = texts[in.below(kRecords)];
    __xstring_c* const record = in.below(8) == 0 ? nullptr : &text.record;
    const Value value = record ? text.value : Value::NullText();
    switch (in.below(6)) {
      case 0: {
        const Narrow narrow = AnyText();
        if (record) {
          xstrunlock_c(record);
          // Its old content is not looked at.
          std::memset(record, 0x5a, sizeof *record);
          text.value = narrow.isNull ? Value::NullText() : Value::OfText(narrow.text);
        }
        return xstrcreate_c(record, narrow.at());
      }
      case 1: {
        const char* const got = xstrgetmb_c(record);
        if (value.isNull) {
          VEL_FUZZ_CHECK(reinterpret_cast<std::uintptr_t>(got) == 1);
        } else {
          VEL_FUZZ_SAME(got, value.text);
        }
        return;
      }
      case 2: {
        const wchar_t* const got = xstrgetwc_c(record);
        if (value.isNull) {
          VEL_FUZZ_CHECK(reinterpret_cast<std::uintptr_t>(got) == 1);
        } else if (std::all_of(value.text.begin(), value.text.end(),
                               [](char c) { return c > 0; })) {
          // What other bytes become is the locale's.
          VEL_FUZZ_CHECK(std::equal(value.text.begin(), value.text.end(), got));
          VEL_FUZZ_CHECK(got[value.text.size()] == 0);
        }
        return;
      }
      case 3: {
        Text& copy = texts[in.below(kRecords)];
        if (!record || &copy == &text) return xstrlock_c(nullptr);
        xstrunlock_c(&copy.record);
        copy = text;
        return xstrlock_c(&copy.record);
      }
      case 4:
        xstrunlock_c(record);
        xstrunlock_c(record);
        if (record) text.value = Value::NullText();
        return;
      default:
        // Wide text, whose narrow form is yet to be produced.
        xstrunlock_c(&text.record);
        text.record = xstring(L"a wide text").getxstring_c();
        text.value = Value::OfText("a wide text");
        return;
    }
  }

  // ---- variants ----

  void OnVariant() {
    Record& own = records[in.below(kRecords)];
    switch (in.below(8)) {
      case 0:
        xanyunlock_c(&own.record);
        xanyunlock_c(&own.record);
        xanyunlock_c(nullptr);
        own.value = Value();
        VEL_FUZZ_CHECK(own.record.kind == xanyUninit);
        return;
      case 1: {
        // Without a reference of its own, as it must be for these two.
        Given<__xany_c> given = GiveRecord();
        if (given.fault || given.value.kind == xanyEnum) {
          xanyunlock_c(&given.flat);
          VEL_FUZZ_CHECK(given.flat.kind == xanyUninit);
        }
        return;
      }
      case 2: {
        Given<__xany_c> given = GiveRecord();
        const __xany_c* const at = At(given);
        return Store(own, xanycopy_c(at), given.fault ? Value() : given.value, given.fault);
      }
      case 3:
        return OnMade(own);
      case 4:
        return OnPrinted();
      default:
        return OnRead();
    }
  }

  void Store(Record& own, __xany_c made, const Value& value, const Fault& fault = {}) {
    xanyunlock_c(&own.record);
    own.record = made;
    own.value = value;
    VEL_FUZZ_CHECK(IsSame(own.record, own.value));
    Expect(fault);
  }

  void OnMade(Record& own) {
    switch (in.below(9)) {
      case 0:
        return Store(own, xanyuninit_c(), Value());
      case 1:
        return Store(own, xanynil_c(), Value::OfKind(xanyNil));
      case 2: {
        const int number = in.number();
        const bool isNil = number == std::numeric_limits<int>::min();
        return Store(own, xanyint_c(number), Value::OfKind(isNil ? xanyNil : xanyInt, number));
      }
      case 3: {
        const std::uint8_t truth = in.byte();
        const int kind = truth == 128 ? xanyNil : truth == 129 ? xanyUninit : xanyBool;
        return Store(own, xanybool_c(truth), Value::OfKind(kind, truth));
      }
      case 4: {
        const unsigned sort = in.below(8);
        const double real = sort == 0 ? 1e126 : sort == 1 ? 9e125 : in.real();
        const bool isNil = real == 1e126;
        const bool isUninit = real == 9e125;
        return Store(own, xanyreal_c(real),
                     isNil      ? Value::OfKind(xanyNil)
                     : isUninit ? Value()
                                : Value::OfReal(real));
      }
      case 5: {
        const Narrow text = AnyText();
        const Value value = text.isNull ? Value::OfKind(xanyNil) : Value::OfText(text.text);
        return Store(own, xanystr_c(text.at()), text.marker == 2 ? Value() : value);
      }
      case 6: {
        const Text& text = texts[in.below(kRecords)];
        return Store(own, xanyxstr_c(text.record),
                     text.value.isNull ? Value::OfKind(xanyNil) : text.value);
      }
      case 7: {
        const int number = in.flag() ? in.between(-1, 4) : in.number();
        const Handed type = Hand<xrttienum>();
        const Fault fault = Wrong<xrttienum>(type);
        Value value;
        if (!fault && number != VEL_ERROR_INT) {
          const bool isNil =
              number == std::numeric_limits<int>::min() || number == Colors()->getNValues();
          value = Value::OfKind(isNil ? xanyNil : xanyEnum, number);
          value.type = Colors();
        }
        return Store(own, xanyenum_c(number, type.as<xrttienum>()), value, fault);
      }
      default: {
        const Handed object = Hand<xobject>();
        return Store(own, xanyobj_c(object.as<xobject>()), ValueOf(object));
      }
    }
  }

  void OnRead() {
    Given<__xany_c> given = GiveRecord();
    const __xany_c* const at = At(given);
    const Value& value = given.value;
    // Nil and uninit read as anything.
    const bool isNil = value.kind == xanyNil;
    const bool isUninit = value.kind == xanyUninit;
    const auto faultOf = [&](int kind) {
      if (given.fault || isNil || isUninit || value.kind == kind) return given.fault;
      return Fault{kMismatch, value.object};
    };
    switch (in.below(6)) {
      case 0: {
        // An enumeration's number is read without a look at its type.
        const bool isEnum = at && at->kind == xanyEnum;
        const Fault fault = isEnum ? Fault() : faultOf(xanyInt);
        const int wanted = fault || isUninit ? VEL_ERROR_INT
                           : isNil           ? std::numeric_limits<int>::min()
                                             : value.number;
        VEL_FUZZ_CHECK(xanytoint_c(at) == wanted);
        return Expect(fault);
      }
      case 1: {
        const Fault fault = faultOf(xanyBool);
        const int wanted = fault || isUninit ? VEL_ERROR_BOOL : isNil ? 128 : value.number;
        VEL_FUZZ_CHECK(xanytobool_c(at) == wanted);
        return Expect(fault);
      }
      case 2: {
        const Fault fault = faultOf(xanyReal);
        const double wanted = fault || isUninit ? VEL_ERROR_REAL : isNil ? 1e126 : value.real;
        VEL_FUZZ_CHECK(IsSame(xanytoreal_c(at), Value::OfReal(wanted)));
        return Expect(fault);
      }
      case 3: {
        const Fault fault = faultOf(xanyString);
        const Value wanted = fault || isUninit ? ErrorOf<__xstring_c>()
                             : isNil           ? Value::NullText()
                                               : value;
        VEL_FUZZ_CHECK(Takes(xanytostr_c(at), wanted));
        return Expect(fault);
      }
      case 4: {
        const Fault fault = faultOf(xanyObject);
        xobject* const got = xanytoobj_c(at);
        xobject* wanted = nullptr;
        if (!fault && isUninit) wanted = XUNINITOBJECT;
        if (!fault && value.object) wanted = value.object->object;
        VEL_FUZZ_CHECK(got == wanted);
        xrcrelease_c(got);
        return Expect(fault);
      }
      default: {
        // Of the content only a pointer to an object is looked at.
        const bool isEnum = at && at->kind == xanyEnum;
        const Fault fault = isEnum ? Fault() : given.fault;
        VEL_FUZZ_CHECK(xanygetkind_c(at) == (fault ? VEL_ERROR_INT : value.kind));
        return Expect(fault);
      }
    }
  }

  // ---- printing and comparing ----

  // What is in the objects often is printed as often, and numbers that nobody has written
  // are no content.
  bool IsModest() const {
    long references = 0;
    for (const Ref& ref : pool) {
      references += ref.use_count() - 1;
      for (const Value& element : ref->elements) {
        if (element.kind == Value::kUnknown) return false;
      }
    }
    return references <= 16;
  }

  static std::string Printed(const xany& value, int step) {
    std::ostringstream out;
    velPrint(value, out, step);
    return out.str();
  }

  void OnPrinted() {
    if (!IsModest()) return;
    const unsigned sort = in.below(4);
    if (sort == 0) {
      const Handed object = Hand<xobject>();
      std::string printed;
      {
        const Captured captured;
        xprint_c(object.as<xobject>());
        printed = captured.Text();
      }
      VEL_FUZZ_SAME(printed, object.ref       ? Printed(xany(object.ref->object), 2)
                             : object.address ? "uninit"
                                              : "nil");
      return;
    }
    Given<__xany_c> given = GiveRecord();
    const __xany_c* const at = At(given);
    if (sort == 1) {
      const int step = in.between(-1, 4);
      const std::string text = given.fault ? "uninit" : Printed(InCpp(given), step);
      VEL_FUZZ_CHECK(Takes(xprintstr_c(at, step), Value::OfText(text)));
      return Expect(given.fault);
    }
    Given<__xany_c> other = GiveRecord();
    const __xany_c* otherAt = At(other);
    // Which of two wrong ones is complained about is the compiler's.
    if (given.fault && other.fault) {
      other.fault = given.fault;
      otherAt = at;
    }
    Fault fault = First(given.fault, other.fault);
    int wanted = VEL_ERROR_BOOL;
    if (!fault) {
      const auto caught = velFuzzCaught([&] { wanted = velCompare(InCpp(given), InCpp(other)); });
      // A value that an enumeration does not have.
      if (!caught.isnull()) fault = {kNative};
      VEL_FUZZ_CHECK(wanted != 1 || (given.value.object && other.value.object));
    }
    VEL_FUZZ_CHECK(xcompare_c(at, otherAt) == wanted);
    Expect(fault);
  }

  // ---- types ----

  static bool IsAnswer(int got, int wanted) { return got == wanted; }
  static bool IsAnswer(const xobject* got, const xobject* wanted) { return got == wanted; }
  static bool IsAnswer(__xstring_c got, const xstring& wanted) {
    return Takes(got, wanted.IsNull() ? Value::NullText() : Value::OfText(wanted.CastToCString()));
  }

  // Asks a descriptor, which must be a D, and its own member of the same meaning.
  template <class D, class T, class R, class Wanted, class... Given, class Error,
            class... Arguments>
  void Ask(R (*call)(T*, Given...), Wanted (D::*member)(Given...), Error onError,
           Arguments... arguments) {
    const Handed handed = Hand<D>();
    const Fault fault = Wrong<D>(handed);
    const Wanted wanted =
        fault ? Wanted(onError) : (dynamic_cast<D&>(*handed.ref->object).*member)(arguments...);
    VEL_FUZZ_CHECK(IsAnswer(call(handed.as<T>(), arguments...), wanted));
    Expect(fault);
  }

  void OnType() {
    const int index = Index(3);
    const Narrow name = Named();
    const xstring noText("uninit");
    const unsigned char truth = in.flag();
    switch (in.below(26)) {
      case 0:
        return Ask(xrttigetname_c, &xrtti::getName, noText);
      case 1:
        return Ask(xrttiisrefcount_c, &xrttiobject::getIsRefCount, VEL_ERROR_BOOL);
      case 2:
        return Ask(xrttigetnparents_c, &xrttiobject::getNParents, VEL_ERROR_INT);
      case 3:
        return Ask(xrttigetparent_c, &xrttiobject::getParent, nullptr, index);
      case 4:
        return Ask(xrttigetnattrs_c, &xrttistruct::getNAttrs, VEL_ERROR_INT);
      case 5:
        return Ask(xrttigetattr_c, &xrttistruct::getAttr, nullptr, index);
      case 6:
      case 7:
        return Ask(xrttifindattr_c, &xrttistruct::findAttr, nullptr, name.at(), truth);
      case 8:
        return Ask(xrttigetnvalues_c, &xrttienum::getNValues, VEL_ERROR_INT);
      case 9:
        return Ask(xrttimapinttostr_c, &xrttienum::mapIntToString, noText, index);
      case 10:
        return Ask(xrttimapstrtoint_c, &xrttienum::mapStringToInt, VEL_ERROR_INT, name.at());
      case 11:
        return Ask(xrttigetndimentions_c, &xrttiarray::getNDimentions, VEL_ERROR_INT);
      case 12:
        return Ask(xrttigetdimention_c, &xrttiarray::getDimention, VEL_ERROR_INT, index);
      case 13:
        return Ask(xrttigetdiscr_c, &xrttiunion::getDiscr, nullptr);
      case 14:
        return Ask(xrttigetnlabels_c, &xrttiunion::getNLabels, VEL_ERROR_INT);
      case 15:
        return Ask(xrttigetlabel_c, &xrttiunion::getLabel, VEL_ERROR_INT, index);
      case 16:
        return Ask(xrttigetbranch_c, &xrttiunion::getAttr, nullptr, index);
      case 17:
        return Ask(xrttigetdefaultbranch_c, &xrttiunion::getDefaultAttr, nullptr);
      case 18:
        return Ask(xrttiattrgetname_c, &xrttiattr::getName, noText);
      case 19:
        return Ask(xrttiattrgettype_c, &xrttiattr::getType, nullptr);
      case 20:
        return Ask(xrttiattrisoptional_c, &xrttiattr::getIsOptional, VEL_ERROR_BOOL);
      case 21:
        return OnKindOfType();
      case 22:
        return OnElementType();
      case 23:
        return OnRegistry();
      default:
        return OnAttribute();
    }
  }

  void OnKindOfType() {
    const Handed type = Hand<xrtti>();
    const Fault fault = Wrong<xrtti>(type);
    VEL_FUZZ_CHECK(xrttigetkind_c(type.as<xrtti>()) == (fault ? VEL_ERROR_INT : type.ref->kind));
    Expect(fault);
  }

  void OnElementType() {
    const Handed type = Hand<xrttiobject>();
    Fault fault = Wrong<xrtti>(type);
    const xrtti* wanted = nullptr;
    if (!fault) {
      const int kind = type.ref->kind;
      if (kind == xrttiKindArray || kind == xrttiKindDictionary) {
        wanted = velGetRtti_real();
      } else if (kind == xrttiKindSequence) {
        wanted = velGetRtti_any();
      } else {
        fault = {kMismatch, type.ref};
      }
    }
    VEL_FUZZ_CHECK(xrttigetelemtype_c(type.as<xrtti>()) == wanted);
    Expect(fault);
  }

  void OnRegistry() {
    const Narrow name = Named();
    xrtti* const found = xrttifind_c(name.at());
    VEL_FUZZ_CHECK((found != nullptr) ==
                   (!name.isNull && (IsMade(name.text) || name.text == "int")));
    if (found) VEL_FUZZ_SAME(found->getName().CastToCString(), name.text);
    xrttiforeach_c(nullptr, nullptr);
    struct Visits {
      std::vector<std::string> names;
      std::size_t most;
    } visits{{}, in.byte()};
    xrttiforeach_c(
        [](xrtti* type, void* data) -> int {
          auto& seen = *static_cast<Visits*>(data);
          seen.names.push_back(type->getName().CastToCString());
          return seen.names.size() < seen.most;
        },
        &visits);
    VEL_FUZZ_CHECK(std::is_sorted(visits.names.begin(), visits.names.end()));
    const bool isWhole = visits.names.size() < visits.most;
    VEL_FUZZ_CHECK(isWhole || visits.names.size() == std::max<std::size_t>(visits.most, 1));
    if (isWhole) {
      VEL_FUZZ_CHECK(std::count(visits.names.begin(), visits.names.end(), "fuzz::Thing") == 1);
    }
  }

  // The value of an attribute, asked of its descriptor.
  void OnAttribute() {
    const Handed attr = Hand<xrttiattr>();
    const Handed owner = in.flag() ? Hand<Thing>() : Hand<xthrowable>();
    Fault fault = First(Wrong<xrttiattr>(attr), Wrong<xobject>(owner));
    Value wanted;
    if (!fault && !attr.ref->attribute.empty()) {
      const auto found = owner.ref->values.find(attr.ref->attribute);
      if (dynamic_cast<xbasedictionary*>(owner.ref->object) || found == owner.ref->values.end()) {
        fault = {kMismatch, owner.ref};
      } else {
        wanted = found->second;
      }
    }
    VEL_FUZZ_CHECK(Takes(xrttiattrgetvalue_c(attr.as<xrttiattr>(), owner.as<xobject>()), wanted));
    Expect(fault);
  }

  // ---- objects by name ----

  void OnByName() {
    const Narrow name = Named();
    if (in.below(8) == 0) {
      xobject* const made = xobjcreate_c(name.at());
      VEL_FUZZ_CHECK((made != nullptr) == (!name.isNull && IsMade(name.text)));
      if (!made) return;
      VEL_FUZZ_CHECK(xrcgetcount(made) == 1);
      VEL_FUZZ_SAME(made->getVelTypeName().CastToCString(), name.text);
      xrcrelease_c(made);
      return;
    }
    const Handed owner = in.flag() ? Hand<Thing>() : Hand<xthrowable>();
    Fault fault = Wrong<xobject>(owner);
    // Entries of a dictionary are no attributes.
    const bool isOwner = !fault && !dynamic_cast<xbasedictionary*>(owner.ref->object);
    const bool isKnown = isOwner && !name.isNull && owner.ref->values.count(name.text) != 0;
    const Fault noKey{isKnown ? nullptr : kDictKey, isKnown ? nullptr : owner.ref};
    if (in.flag()) {
      fault = First(fault, noKey);
      VEL_FUZZ_CHECK(Takes(xobjgetattr_c(owner.as<xobject>(), name.at()),
                           fault ? Value() : owner.ref->values[name.text]));
      return Expect(fault);
    }
    Given<__xany_c> given = GiveRecord();
    const __xany_c* const at = At(given);
    fault = First(fault, given.fault);
    if (name.isNull) fault = First(fault, {kNull});
    const bool isHeir = !fault && dynamic_cast<Heir*>(owner.ref->object);
    if (!isHeir) fault = First(fault, noKey);
    Value attribute;
    if (!fault && isKnown && !IsAttribute(name.text, given.value, attribute)) {
      fault = {kMismatch, given.value.object};
    }
    const int answer = fault ? VEL_ERROR_BOOL : isKnown;
    VEL_FUZZ_CHECK(xobjsetattr_c(owner.as<xobject>(), name.at(), at) == answer);
    if (!fault && isKnown) owner.ref->values[name.text] = attribute;
    Expect(fault);
  }

  // ---- all together ----

  void Step() {
    const unsigned sort = in.below(24);
    unsigned at = 0;
    ForEachSequence([&](const auto& call) {
      if (sort == at++) OnSequence(call);
    });
    ForEachDictionary([&](const auto& call) {
      if (sort == at++) OnDictionary(call);
    });
    switch (sort) {
      case 10:
      case 11:
        return OnObject();
      case 12:
      case 13:
        return OnText();
      case 14:
      case 15:
      case 16:
      case 17:
        return OnVariant();
      case 18:
        return OnPending();
      case 19:
      case 20:
        return OnType();
      case 21:
      case 22:
      case 23:
        return OnByName();
      default:
        return;
    }
  }

  // Nothing is held any more but by the pool. What was compared in part is now
  // compared to its end.
  void Empty() {
    xthrowable* const exception = xextractexc_c();
    if (!velIsUninit(exception)) xrcrelease_c(exception);
    pending = {};
    for (const Ref& ref : pool) {
      ForEachSequence([&](const auto& call) { EmptySequence(call, *ref); });
      ForEachDictionary([&](const auto& call) { EmptyDictionary(call, *ref); });
      if (ref->values.empty()) continue;
      const __xany_c nil = xanynil_c();
      for (const auto& attribute : ref->values) {
        VEL_FUZZ_CHECK(
            Takes(xobjgetattr_c(ref->object, attribute.first.c_str()), attribute.second));
        VEL_FUZZ_CHECK(xobjsetattr_c(ref->object, attribute.first.c_str(), &nil) == 1);
      }
      ref->values.clear();
    }
    for (const Ref& ref : attached) xrcrelease_c(ref->object);
    attached.clear();
    for (Text& text : texts) {
      VEL_FUZZ_CHECK(Takes(text.record, text.value));
    }
    for (Record& own : records) {
      VEL_FUZZ_CHECK(Takes(own.record, own.value));
      own.value = Value();
    }
  }
  template <class C, class Flat>
  static void EmptySequence(const VelSequenceFunctions<C, Flat>& call, Object& model) {
    auto* sequence = dynamic_cast<C*>(model.object);
    if (!sequence) return;
    CompareSequence<C>(model, std::numeric_limits<int>::max());
    call.removerange(sequence, 0, call.getarraysize(sequence));
    model.elements.clear();
  }
  template <class C, class Flat>
  static void EmptyDictionary(const VelDictionaryFunctions<C, Flat>& call, Object& model) {
    auto* dictionary = dynamic_cast<C*>(model.object);
    if (!dictionary) return;
    CompareDictionary<C, Flat>(model, std::numeric_limits<int>::max());
    for (const auto& entry : model.values) call.remove(dictionary, entry.first.c_str());
    model.values.clear();
  }
};

}  // namespace

VEL_FUZZ(input) { Calls(input).Run(); }
