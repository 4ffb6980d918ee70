// veltest_reentry.h - foreign code inside operations of the library.
//
// A probe is an object that runs, once, what a test gave it, at the place in its
// life that the test chose. Collections of probes exist twice: as the real thing
// and as a model; a case runs an operation and what the probe does on both.
#ifndef VELSTD_TESTS_VELTEST_REENTRY_H
#define VELSTD_TESTS_VELTEST_REENTRY_H

#include <algorithm>
#include <functional>
#include <map>
#include <set>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "velcollectionrtti.h"
#include "velstd.h"
#include "velstd_c.h"
#include "veltest.h"
#include "veltest_long.h"

/// Where foreign code runs.
enum class VelPlace { never, asked, refusing, onDelete, destructor, attach, release, getter };

/// What it does there.
struct VelForeign {
  VelPlace place = VelPlace::never;
  std::function<void()> action;
  int ran = 0;
  bool busy = false;

  void start(VelPlace where, std::function<void()> what) {
    place = where;
    action = std::move(what);
    ran = 0;
  }
  /// How often it ran.
  int stop() {
    place = VelPlace::never;
    return ran;
  }
  /// Runs the action the first time the place is reached; true if it did now.
  bool once(VelPlace where) {
    if (place != where || ran) return false;
    ++ran;
    action();
    return true;
  }
  /// Runs it each time, but not inside itself.
  void each(VelPlace where) {
    if (place != where || busy) return;
    busy = true;
    ++ran;
    action();
    busy = false;
  }
};
inline VelForeign velForeign;

class VelProbe : public virtual xobject {
  VEL_OBJECT(VelProbe)
 public:
  explicit VelProbe(int n) : number(n) { live().insert(this); }
  ~VelProbe() override {
    live().erase(this);
    velForeign.once(VelPlace::destructor);
  }
  unsigned char isDeletable() override {
    velForeign.once(VelPlace::asked);
    return !velForeign.once(VelPlace::refusing);
  }
  void onDelete() override { velForeign.once(VelPlace::onDelete); }

  const int number;

  /// All that exist.
  static std::set<VelProbe*>& live() {
    static std::set<VelProbe*> all;
    return all;
  }
  /// Ends those that nobody holds because they refused once.
  static void endRefused() {
    const std::set<VelProbe*> all = live();
    for (VelProbe* probe : all) {
      if (xrcgetcount(probe) == 0) delete probe;
    }
  }
};
VEL_OBJECT_RTTI(VelProbe, xrttiobject, [](xrttiobject* rtti) {
  rtti->initializeRttiObject("velreentry::Probe", 1, 0, nullptr);
})

/// One with an attribute, the reading of which is a place.
class VelReader : public VelProbe {
  VEL_OBJECT(VelReader)
 public:
  using VelProbe::VelProbe;
  static xany value(xobject*) {
    velForeign.once(VelPlace::getter);
    return 7;
  }
};
VEL_OBJECT_RTTI(VelReader, xrttistruct, [](xrttistruct* rtti) {
  static xrttiattr attr("value", velGetRtti_int(), 0, &VelReader::value);
  static xrttiattr* const attrs[] = {&attr};
  rtti->initializeRttiStruct("velreentry::Reader", 1, 0, nullptr, 1, attrs);
})

/// One that counts for itself, and acts whenever it is counted.
class VelCountingProbe : public VelProbe {
 public:
  using VelProbe::VelProbe;

 private:
  void xattach() override {
    ++refcount;
    velForeign.each(VelPlace::attach);
  }
  void xrelease() override {
    if (refcount > 1) {
      --refcount;
      velForeign.each(VelPlace::release);
    } else {
      delete this;
    }
  }
};

/// Listens to the error handler as long as it lives, and claims nothing.
class VelListener final : public xerrlistener {
 public:
  using Action = std::function<void(xthrowable*, xobject* object, xobject* contextObject)>;

  explicit VelListener(Action what) : action_(std::move(what)) { xerrhandler::addlistener(this); }
  ~VelListener() { xerrhandler::removelistener(this); }
  VelListener(const VelListener&) = delete;
  VelListener& operator=(const VelListener&) = delete;

  xerhstatus notify(const char*, xrcunihandle<xthrowable> exception, xrcunihandle<xobject> object,
                    xrcunihandle<xobject> contextObject) override {
    action_(exception, object, contextObject);
    return xerhNotHandled;
  }

 private:
  Action action_;
};

/// Counts the cases of a program. One that ran as a whole must have reached
/// `atLeast`, so that a table that comes apart does not pass unnoticed.
class VelCases : public ::testing::Environment {
 public:
  VelCases(const char* what, const int& count, int atLeast)
      : what_(what), count_(count), atLeast_(atLeast) {}

 private:
  void TearDown() override {
    velFigure("re-entrancy", what_, count_);
    const ::testing::UnitTest& program = *::testing::UnitTest::GetInstance();
    if (program.test_to_run_count() < program.total_test_count()) return;
    EXPECT_GE(count_, atLeast_);
  }
  const char* what_;
  const int& count_;
  int atLeast_;
};

/// A class element of a user's own: a handle and a number.
struct VelCell {
  VelCell() = default;
  VelCell(int n) : number(n) {}
  VelCell(xobject* object) : held(object) {}
  operator xany() const {
    if (!held.isnull()) return xany(held);
    return number ? xany(number) : xany();
  }

  xrchandle<xobject> held;
  int number = 0;
};

class VelCellSequence : public xtcsequence<VelCell> {
  VEL_OBJECT(VelCellSequence)
 public:
  explicit VelCellSequence(unsigned capacity = 0) : xtcsequence<VelCell>(capacity) {}
};
VEL_OBJECT_RTTI(VelCellSequence, xrttisequence, [](xrttisequence* rtti) {
  velInitializeSequence<VelCellSequence>(rtti, "velreentry::CellSeq", velGetRtti_any());
})

class VelCellDictionary : public xtcdictionary<VelCell> {
  VEL_OBJECT(VelCellDictionary)
 public:
  explicit VelCellDictionary(int capacity = 0) : xtcdictionary<VelCell>(capacity) {}
};
VEL_OBJECT_RTTI(VelCellDictionary, xrttidictionary, [](xrttidictionary* rtti) {
  velInitializeDictionary<VelCellDictionary, VelCell>(rtti, "velreentry::CellDict",
                                                      velGetRtti_any());
})

/// What an element is: "-" for empty, a number, "p" and the number of a probe, or
/// "self" for a collection.
inline std::string velShow(const xany& value) {
  if (value.isuninit()) return "-";
  if (value.getkind() == xanyInt) return std::to_string(value.operator int());
  if (value.getkind() != xanyObject) return "?";
  auto* probe = dynamic_cast<VelProbe*>(value.operator xobject*());
  return probe ? 'p' + std::to_string(probe->number) : "self";
}

/// The object that an element holds; null for none.
inline xobject* velObjectOf(const xany& value) {
  return value.getkind() == xanyObject ? value.operator xobject*() : nullptr;
}

/// A sequence that shows its storage.
template <class Sequence, class E>
class VelOpenSequence : public Sequence {
 public:
  using Element = E;
  using Typed = xtcsequence<E>;

  VelOpenSequence() : Sequence(0) { ++alive(); }
  ~VelOpenSequence() override { --alive(); }

  static int& alive() {
    static int count = 0;
    return count;
  }
  void reserve(int elements) { this->Reserve(static_cast<unsigned>(elements)); }
  int capacity() const { return static_cast<int>(this->GetCapacity() / sizeof(E)); }

  /// What is wrong with the storage; empty when nothing is.
  std::string fault() {
    const int size = this->getarraysize();
    if (this->GetByteSize() > this->GetCapacity()) return "size beyond capacity";
    if (this->GetByteSize() % sizeof(E) || this->GetCapacity() % sizeof(E)) return "torn element";
    if (!this->GetPtr() != (capacity() == 0)) return "capacity without storage";
    const auto* slots = static_cast<const E*>(this->GetPtr());
    for (int i = size; i < capacity(); ++i) {
      if (velShow(slots[i]) != "-") return "element beyond the end";
    }
    return "";
  }
};

/// A dictionary that shows its table.
template <class Dictionary, class E>
class VelOpenDictionary : public Dictionary {
 public:
  using Element = E;
  using Typed = xtcdictionary<E>;

  VelOpenDictionary() : Dictionary(0) { ++alive(); }
  ~VelOpenDictionary() override { --alive(); }

  static int& alive() {
    static int count = 0;
    return count;
  }
  xbasedictionary* core() { return this; }
  void reserve(int entries) { this->Reserve(entries); }
  void become(const xbasedictionary* other) {
    this->BaseClone(other, this->kSlot, this->kValue);
  }

  std::string fault() {
    const unsigned slots = this->GetTableSize();
    if (!this->GetDataPtr() != (slots == 0)) return "slots without a table";
    if (slots && (slots < 32 || (slots & (slots - 1)))) return "odd table size";
    const auto* entries = static_cast<const xdictentry<E>*>(this->GetDataPtr());
    unsigned live = 0;
    for (unsigned i = 0; i < slots; ++i) {
      if (xdictentryIsVacant(entries[i].key)) {
        if (velShow(entries[i].value) != "-") return "value in a vacant slot";
        continue;
      }
      ++live;
      unsigned index;
      if (!this->FindIndex(entries[i].key, index, this->kSlot) || index != i) return "lost key";
    }
    return live == this->GetCount() ? "" : "miscounted entries";
  }
};

/// A sequence as the cases see it, the real one or its model.
class VelItems {
 public:
  virtual ~VelItems() = default;

  virtual int size() = 0;
  virtual void set(int index, int value) = 0;
  virtual void assign(int index, int value) { set(index, value); }  // by operator[]
  virtual void insert(int index, int value) = 0;
  virtual void insertOwn(int index) = 0;  // its own elements
  virtual void appendSelf() = 0;
  virtual void remove(int first, int last) = 0;
  virtual void clear() = 0;
  virtual void reserve(int) { clear(); }
  virtual void copyOut() = 0;  // to the side
  virtual void letGo() = 0;    // of the outermost handle
  virtual void take(int) {}    // an element into a variable that holds a last reference
  virtual void walk() {}
  virtual void print() {}
  virtual void compare() {}
  virtual void readAll() {}
  // The flat functions.
  virtual void flatSet(int index, int value) { set(index, value); }
  virtual void flatRemove(int first, int last) { remove(first, last); }

  void append(int value) { insert(size(), value); }
};

class VelItemsModel : public VelItems {
 public:
  int size() override { return static_cast<int>(items.size()); }
  void set(int index, int value) override {
    if (index >= size()) items.resize(static_cast<std::size_t>(index) + 1, "-");
    items[static_cast<std::size_t>(index)] = std::to_string(value);
  }
  void insert(int index, int value) override {
    if (index > size()) items.resize(static_cast<std::size_t>(index), "-");
    items.insert(items.begin() + index, std::to_string(value));
  }
  void insertOwn(int index) override {
    const std::vector<std::string> own = items;
    items.insert(items.begin() + index, own.begin(), own.end());
  }
  void appendSelf() override { items.push_back("self"); }
  void remove(int first, int last) override {
    items.erase(items.begin() + std::min(first, size()), items.begin() + std::min(last, size()));
  }
  void clear() override { items.clear(); }
  void copyOut() override { side.insert(side.end(), items.begin(), items.end()); }
  void letGo() override { gone = true; }

  std::vector<std::string> items;
  std::vector<std::string> side;
  bool gone = false;
};

template <class C>
class VelRealItems : public VelItems {
 public:
  using E = typename C::Element;

  VelRealItems() : main(new C), side(new C), sequence(main.operator->()), object(main) {}
  ~VelRealItems() override {
    // A sequence that contains itself, or that the other contains, goes only when
    // it is emptied.
    if (!main.isnull()) main->clear();
    side->clear();
  }

  int size() override { return sequence->getarraysize(); }
  void set(int index, int value) override { sequence->set(index, E(value)); }
  void assign(int index, int value) override {
    // A handle in an element is assigned in two steps, with the release between;
    // only what is done when it releases may lie where the release can move it.
    if constexpr (std::is_same<E, xany>::value) {
      (*sequence)[index] = E(value);
    } else {
      set(index, value);
    }
  }
  void insert(int index, int value) override { sequence->insert(index, E(value)); }
  void insertOwn(int index) override { sequence->insertseq(index, *sequence); }
  void appendSelf() override { sequence->append(E(object)); }
  void remove(int first, int last) override { sequence->removerange(first, last); }
  void clear() override { sequence->clear(); }
  void reserve(int elements) override { main->reserve(elements); }
  void copyOut() override { side->insertseq(side->getarraysize(), *sequence); }
  void letGo() override { main = 0; }
  void take(int index) override {
    E out(new VelProbe(90));
    out = sequence->get(index);
  }
  void walk() override {
    velTraverser visitor;
    velTraverse(xany(object), &visitor);
  }
  void print() override { velPrinted(xany(object)); }
  void compare() override { velCompare(xany(object), xany(object)); }
  void readAll() override {
    for (int i = 0; i < size(); ++i) velShow(sequence->get(i));
  }
  void flatSet(int index, int value) override {
    if constexpr (std::is_base_of<xanysequence, C>::value) {
      xanysequence_set(main, index, xanyint_c(value));
    } else {
      set(index, value);
    }
  }
  void flatRemove(int first, int last) override {
    if constexpr (std::is_base_of<xanysequence, C>::value) {
      xanysequence_removerange(main, first, last);
    } else {
      remove(first, last);
    }
  }

  static std::vector<std::string> contents(C& of) {
    std::vector<std::string> all;
    for (int i = 0; i < of.getarraysize(); ++i) all.push_back(velShow(of.get(i)));
    return all;
  }
  /// Calls `visit` with each object that is held by an element.
  template <class Visit>
  static void forEachHeld(C& of, Visit visit) {
    for (int i = 0; i < of.getarraysize(); ++i) {
      if (xobject* held = velObjectOf(of[i])) visit(held);
    }
  }

  xrchandle<C> main;
  xrchandle<C> side;
  // As what it still is while its destructor runs.
  xtcsequence<E>* sequence;
  xobject* object;
};

/// A dictionary, likewise.
class VelEntries {
 public:
  virtual ~VelEntries() = default;

  virtual void set(const std::string& key, int value) = 0;
  virtual void setSelf(const std::string& key) = 0;
  virtual void remove(const std::string& key) = 0;
  virtual void clear() = 0;
  virtual void reserve(int) { clear(); }
  virtual void copyOut() = 0;
  virtual void letGo() = 0;
  // By the number of the slot.
  virtual void setAt(const std::string& key, int value) { set(key, value); }
  virtual void removeAt(const std::string& key) { remove(key); }
  // Into a variable that holds a last reference.
  virtual void find(const std::string&) {}
  virtual void getAt(const std::string&) {}
  virtual void walk() {}
  virtual void print() {}
  virtual void compare() {}
  virtual void readAll() {}
  // The flat functions.
  virtual void flatSet(const std::string& key, int value) { set(key, value); }
  virtual void flatSetAt(const std::string& key, int value) { set(key, value); }
  virtual void flatRemove(const std::string& key) { remove(key); }
  virtual void flatRemoveAt(const std::string& key) { remove(key); }

  void fill(int from, int to) {
    for (int i = from; i < to; ++i) set("n" + std::to_string(i), i + 1);
  }
  void drain(int from, int to) {
    for (int i = from; i < to; ++i) remove("n" + std::to_string(i));
  }
};

class VelEntriesModel : public VelEntries {
 public:
  void set(const std::string& key, int value) override { entries[key] = std::to_string(value); }
  void setSelf(const std::string& key) override { entries[key] = "self"; }
  void remove(const std::string& key) override { entries.erase(key); }
  void clear() override { entries.clear(); }
  void copyOut() override { side = entries; }
  void letGo() override { gone = true; }

  std::map<std::string, std::string> entries;
  std::map<std::string, std::string> side;
  bool gone = false;
};

template <class C>
class VelRealEntries : public VelEntries {
 public:
  using E = typename C::Element;

  VelRealEntries()
      : main(new C), side(new C), dictionary(main.operator->()), core(main->core()), object(main) {}
  ~VelRealEntries() override {
    if (!main.isnull()) main->clearall();
    side->clearall();
  }

  void set(const std::string& key, int value) override { dictionary->set(key.c_str(), E(value)); }
  void setSelf(const std::string& key) override { dictionary->set(key.c_str(), E(object)); }
  void remove(const std::string& key) override { dictionary->remove(key.c_str()); }
  void clear() override { dictionary->clearall(); }
  void reserve(int entries) override { main->reserve(entries); }
  void copyOut() override { side->become(core); }
  void letGo() override { main = 0; }
  void setAt(const std::string& key, int value) override {
    dictionary->setbyindex(slot(key), E(value));
  }
  void removeAt(const std::string& key) override { dictionary->removebyindex(slot(key)); }
  void find(const std::string& key) override {
    E out(new VelProbe(90));
    dictionary->find(key.c_str(), &out);
  }
  void getAt(const std::string& key) override {
    E out(new VelProbe(90));
    dictionary->getbyindex(slot(key), &out);
  }
  void walk() override {
    velTraverser visitor;
    velTraverse(xany(object), &visitor);
  }
  void print() override { velPrinted(xany(object)); }
  void compare() override { velCompare(xany(object), xany(object)); }
  void readAll() override {
    xstring key;
    E value;
    for (int i = 0; i < dictionary->getmapsize(); ++i) {
      if (dictionary->getkeybyindex(i, &key)) dictionary->find(key, &value);
    }
  }
  void flatSet(const std::string& key, int value) override {
    if constexpr (kFlat) {
      xanydictionary_set(main, key.c_str(), xanyint_c(value));
    } else {
      set(key, value);
    }
  }
  void flatSetAt(const std::string& key, int value) override {
    if constexpr (kFlat) {
      xanydictionary_setbyindex(main, slot(key), xanyint_c(value));
    } else {
      setAt(key, value);
    }
  }
  void flatRemove(const std::string& key) override {
    if constexpr (kFlat) {
      xanydictionary_remove(main, key.c_str());
    } else {
      remove(key);
    }
  }
  void flatRemoveAt(const std::string& key) override {
    if constexpr (kFlat) {
      xanydictionary_removebyindex(main, slot(key));
    } else {
      removeAt(key);
    }
  }

  static std::map<std::string, std::string> contents(C& of) {
    std::map<std::string, std::string> all;
    xstring key;
    E value;
    for (int i = 0; i < of.getmapsize(); ++i) {
      if (of.getkeybyindex(i, &key) && of.getbyindex(i, &value)) {
        all[key.CastToCString()] = velShow(value);
      }
    }
    return all;
  }
  template <class Visit>
  static void forEachHeld(C& of, Visit visit) {
    for (int i = 0; i < of.getmapsize(); ++i) {
      xobject* held = nullptr;
      {
        E value;
        if (of.getbyindex(i, &value)) held = velObjectOf(value);
      }
      if (held) visit(held);
    }
  }

  xrchandle<C> main;
  xrchandle<C> side;
  xtcdictionary<E>* dictionary;
  xbasedictionary* core;
  xobject* object;

 private:
  static constexpr bool kFlat = std::is_base_of<xanydictionary, C>::value;

  int slot(const std::string& key) {
    xstring found;
    for (int i = 0; i < dictionary->getmapsize(); ++i) {
      if (dictionary->getkeybyindex(i, &found) && key == found.CastToCString()) return i;
    }
    return dictionary->getmapsize() - 1;
  }
};

using VelAnyItems = VelRealItems<VelOpenSequence<xanysequence, xany>>;
using VelCellItems = VelRealItems<VelOpenSequence<VelCellSequence, VelCell>>;
using VelAnyEntries = VelRealEntries<VelOpenDictionary<xanydictionary, xany>>;
using VelCellEntries = VelRealEntries<VelOpenDictionary<VelCellDictionary, VelCell>>;

#endif  // VELSTD_TESTS_VELTEST_REENTRY_H
