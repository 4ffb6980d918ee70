// Code of others inside the operations of collections: what dies there appends,
// clears, removes, inserts the collection into itself, walks it and lets it go.
#include <algorithm>
#include <type_traits>

#include "velstd_c.h"
#include "veltest.h"
#include "veltest_long.h"
#include "veltest_reentry.h"

namespace {

int cases = 0;

const auto* const counted =
    ::testing::AddGlobalTestEnvironment(new VelCases("cases in collections", cases, 6000));

template <class Target>
struct Step {
  using Run = std::function<void(Target&)>;
  Step(const char* n, Run r, Run p = Run()) : name(n), run(std::move(r)), prepare(std::move(p)) {}

  const char* name;
  Run run;
  Run prepare;
};

using ItemsStep = Step<VelItems>;
using EntriesStep = Step<VelEntries>;

const char* const kPlaces[] = {"never",    "isDeletable", "refusing isDeletable", "onDelete",
                               "destructor", "xattach",   "xrelease"};

// The ways to look at a collection, which change nothing.
template <class Target>
std::vector<Step<Target>> Looks() {
  return {
      {"walk", [](Target& t) { t.walk(); }},
      {"print", [](Target& t) { t.print(); }},
      {"compare", [](Target& t) { t.compare(); }},
      {"read", [](Target& t) { t.readAll(); }},
      {"copy", [](Target& t) { t.copyOut(); }},
  };
}

template <class T>
std::vector<T> Joined(std::vector<T> a, const std::vector<T>& b) {
  a.insert(a.end(), b.begin(), b.end());
  return a;
}

// ---- what is true of every collection at rest ----

// Each object has as many references as there are elements that hold it.
template <class Real>
void CheckCounts(Real& real) {
  std::map<xobject*, int> holders;
  const auto count = [&](xobject* held) { ++holders[held]; };
  if (!real.main.isnull()) Real::forEachHeld(*real.main, count);
  Real::forEachHeld(*real.side, count);
  for (VelProbe* probe : VelProbe::live()) {
    EXPECT_EQ(xrcgetcount(probe), holders[probe]) << 'p' << probe->number;
  }
  if (!real.main.isnull()) {
    EXPECT_EQ(xrcgetcount(real.main), 1 + holders[real.object]);
  }
}

template <class Real, class Model>
void CheckAtRest(Real& real, const Model& model) {
  EXPECT_EQ(real.side->fault(), "");
  EXPECT_EQ(real.main.isnull(), model.gone);
  if (!real.main.isnull()) {
    EXPECT_EQ(real.main->fault(), "");
  }
  CheckCounts(real);
}

const std::vector<std::string>& ContentsOf(const VelItemsModel& model) { return model.items; }
const std::map<std::string, std::string>& ContentsOf(const VelEntriesModel& model) {
  return model.entries;
}

// Five probes; in the model too.
template <class Real>
void Fill(Real& real, VelItemsModel& model) {
  for (int i = 0; i < 5; ++i) {
    real.sequence->append(typename Real::E(new VelProbe(i)));
    model.items.push_back('p' + std::to_string(i));
  }
}

template <class Real>
void Fill(Real& real, VelEntriesModel& model) {
  for (int i = 0; i < 5; ++i) {
    const std::string key = 'k' + std::to_string(i);
    real.dictionary->set(key.c_str(), typename Real::E(new VelProbe(i)));
    model.entries[key] = 'p' + std::to_string(i);
  }
}

// ---- sequences ----

// What gives up at least one probe.
std::vector<ItemsStep> RemovingItems() {
  return {
      {"set first", [](VelItems& s) { s.set(0, 50); }},
      {"set middle", [](VelItems& s) { s.set(2, 51); }},
      {"set last", [](VelItems& s) { s.set(4, 52); }},
      {"assign by reference", [](VelItems& s) { s.assign(1, 53); }},
      {"remove first", [](VelItems& s) { s.remove(0, 1); }},
      {"remove middle", [](VelItems& s) { s.remove(1, 4); }},
      {"remove tail", [](VelItems& s) { s.remove(3, 99); }},
      {"remove all", [](VelItems& s) { s.remove(0, 5); }},
      {"clear", [](VelItems& s) { s.clear(); }},
      {"reserve", [](VelItems& s) { s.reserve(40); }},
      {"take", [](VelItems& s) { s.take(1); }},
      {"flat set", [](VelItems& s) { s.flatSet(3, 54); }},
      {"flat removerange", [](VelItems& s) { s.flatRemove(0, 3); }},
      {"destroy", [](VelItems& s) { s.letGo(); }},
  };
}

// What gives up none.
std::vector<ItemsStep> AddingItems() {
  const auto full = [](VelItems& s) {
    while (s.size() < 8) s.append(40 + s.size());
  };
  return {
      {"append", [](VelItems& s) { s.append(60); }},
      {"append and grow", [](VelItems& s) { s.append(61); }, full},
      {"insert first", [](VelItems& s) { s.insert(0, 62); }},
      {"insert middle", [](VelItems& s) { s.insert(2, 63); }},
      {"insert and grow", [](VelItems& s) { s.insert(2, 64); }, full},
      {"insert beyond", [](VelItems& s) { s.insert(30, 65); }},
      {"insert its elements", [](VelItems& s) { s.insertOwn(1); }},
      {"insert its elements and grow", [](VelItems& s) { s.insertOwn(4); }, full},
      {"set beyond", [](VelItems& s) { s.set(6, 66); }},
      {"set beyond and grow", [](VelItems& s) { s.set(40, 67); }},
      {"append itself", [](VelItems& s) { s.appendSelf(); }},
  };
}

std::vector<ItemsStep> ItemsActions() {
  return Joined(
      std::vector<ItemsStep>{
          {"append", [](VelItems& s) { s.append(70); }},
          {"append many", [](VelItems& s) { for (int i = 0; i < 40; ++i) s.append(100 + i); }},
          {"clear", [](VelItems& s) { s.clear(); }},
          {"set", [](VelItems& s) { s.set(0, 71); }},
          {"set beyond", [](VelItems& s) { s.set(s.size() + 20, 72); }},
          {"insert", [](VelItems& s) { s.insert(0, 73); }},
          {"insert beyond", [](VelItems& s) { s.insert(s.size() + 3, 74); }},
          {"insert its elements", [](VelItems& s) { s.insertOwn(s.size() / 2); }},
          {"insert itself", [](VelItems& s) { s.appendSelf(); }},
          {"remove", [](VelItems& s) { s.remove(0, 2); }},
          {"flat set", [](VelItems& s) { s.flatSet(0, 75); }},
          {"flat removerange", [](VelItems& s) { s.flatRemove(0, 1); }},
          {"refill", [](VelItems& s) { s.clear(); for (int i = 0; i < 12; ++i) s.append(80 + i); }},
          {"let go", [](VelItems& s) { s.letGo(); }},
      },
      Looks<VelItems>());
}

// Whether it goes on as if nothing had been.
template <class Real>
void UseOn(Real& real, VelItemsModel& model) {
  for (VelItems* items : std::initializer_list<VelItems*>{&real, &model}) {
    for (int i = 0; i < 12; ++i) items->append(200 + i);
    items->set(3, 220);
    items->walk();
  }
}

template <class Real>
void UseOn(Real& real, VelEntriesModel& model) {
  for (VelEntries* entries : std::initializer_list<VelEntries*>{&real, &model}) {
    entries->fill(100, 140);
    entries->drain(100, 138);
    entries->walk();
  }
}

// Whether what dies acts by itself, or reports the collection as an object in error
// and a listener acts.
enum class Through { itself, listener };

// Runs `operation` with probes that do `action` at `place`, here and in the model:
// first the operation, then the action.
template <class Real, class Model, class Target>
void RunCase(const Step<Target>& operation, VelPlace place, const Step<Target>& action,
             Through through) {
  SCOPED_TRACE(std::string(operation.name) + " / " + kPlaces[static_cast<int>(place)] + " / " +
               action.name + (through == Through::listener ? " / listener" : ""));
  ++cases;
  {
    Real real;
    Model model;
    Fill(real, model);
    if (operation.prepare) {
      operation.prepare(real);
      operation.prepare(model);
    }
    const VelListener listener([&](xthrowable*, xobject* object, xobject*) {
      EXPECT_EQ(object, real.object);
      action.run(real);
    });
    velForeign.start(place, [&] {
      if (through == Through::itself) return action.run(real);
      EXPECT_EQ(xerrhandler::dispatch("context", 0, real.object, 0), xerhNotHandled);
    });
    operation.run(real);
    EXPECT_EQ(velForeign.stop(), 1) << "the probe was not met";
    operation.run(model);
    // What its end does to a collection goes with it.
    if (!model.gone) action.run(model);
    CheckAtRest(real, model);
    if (!model.gone && !real.main.isnull()) {
      EXPECT_EQ(Real::contents(*real.main), ContentsOf(model));
      EXPECT_EQ(Real::contents(*real.side), model.side);
      UseOn(real, model);
      EXPECT_EQ(Real::contents(*real.main), ContentsOf(model));
      CheckAtRest(real, model);
    }
    using Collection = std::remove_pointer_t<decltype(real.main.operator->())>;
    EXPECT_EQ(Collection::alive(), model.gone ? 1 : 2);
  }
  using Collection = std::remove_pointer_t<decltype(Real().main.operator->())>;
  VelProbe::endRefused();
  EXPECT_EQ(Collection::alive(), 0);
  EXPECT_TRUE(VelProbe::live().empty());
}

constexpr VelPlace kDeathbed[] = {VelPlace::asked, VelPlace::refusing, VelPlace::onDelete,
                                  VelPlace::destructor};

template <class Real, class Model, class Target>
void RunTable(const std::vector<Step<Target>>& operations,
              const std::vector<Step<Target>>& actions) {
  for (const Step<Target>& operation : operations) {
    for (const VelPlace place : kDeathbed) {
      for (const Step<Target>& action : actions) {
        RunCase<Real, Model>(operation, place, action, Through::itself);
      }
    }
  }
}

template <class Real, class Model, class Target>
void RunListenerTable(const std::vector<Step<Target>>& operations,
                      const std::vector<Step<Target>>& actions) {
  for (const Step<Target>& operation : operations) {
    for (const Step<Target>& action : actions) {
      RunCase<Real, Model>(operation, VelPlace::onDelete, action, Through::listener);
    }
  }
}

TEST(Reentrancy, WhatDiesInASequenceOfVariantsMayUseIt) {
  RunTable<VelAnyItems, VelItemsModel>(RemovingItems(), ItemsActions());
}

TEST(Reentrancy, WhatDiesInASequenceOfAUsersClassMayUseIt) {
  RunTable<VelCellItems, VelItemsModel>(RemovingItems(), ItemsActions());
}

// ---- dictionaries ----

std::vector<EntriesStep> RemovingEntries() {
  // 30 entries of 32 slots: the next set doubles the table.
  const auto full = [](VelEntries& d) { d.fill(0, 25); };
  // 29 entries of 64 slots: the next removal halves it.
  const auto sparse = [](VelEntries& d) {
    d.fill(0, 26);
    d.drain(24, 26);
  };
  return {
      {"overwrite", [](VelEntries& d) { d.set("k1", 50); }},
      {"overwrite and grow", [](VelEntries& d) { d.set("k1", 51); }, full},
      {"remove", [](VelEntries& d) { d.remove("k2"); }},
      {"remove and shrink", [](VelEntries& d) { d.remove("k2"); }, sparse},
      {"setbyindex", [](VelEntries& d) { d.setAt("k0", 52); }},
      {"removebyindex", [](VelEntries& d) { d.removeAt("k4"); }},
      {"removebyindex and shrink", [](VelEntries& d) { d.removeAt("k4"); }, sparse},
      {"clearall", [](VelEntries& d) { d.clear(); }},
      {"reserve", [](VelEntries& d) { d.reserve(40); }},
      {"find", [](VelEntries& d) { d.find("k3"); }},
      {"getbyindex", [](VelEntries& d) { d.getAt("k3"); }},
      {"flat set", [](VelEntries& d) { d.flatSet("k1", 53); }},
      {"flat set and grow", [](VelEntries& d) { d.flatSet("k1", 54); }, full},
      {"flat remove", [](VelEntries& d) { d.flatRemove("k1"); }},
      {"flat remove and shrink", [](VelEntries& d) { d.flatRemove("k1"); }, sparse},
      {"flat setbyindex", [](VelEntries& d) { d.flatSetAt("k1", 55); }},
      {"flat removebyindex", [](VelEntries& d) { d.flatRemoveAt("k1"); }},
      {"destroy", [](VelEntries& d) { d.letGo(); }},
  };
}

std::vector<EntriesStep> AddingEntries() {
  const auto full = [](VelEntries& d) { d.fill(0, 25); };
  return {
      {"set", [](VelEntries& d) { d.set("new", 60); }},
      {"set and grow", [](VelEntries& d) { d.set("new", 61); }, full},
      {"set itself", [](VelEntries& d) { d.setSelf("new"); }},
      {"set itself and grow", [](VelEntries& d) { d.setSelf("new"); }, full},
      {"copy", [](VelEntries& d) { d.copyOut(); }},
  };
}

std::vector<EntriesStep> EntriesActions() {
  return Joined(
      std::vector<EntriesStep>{
          {"set", [](VelEntries& d) { d.set("new", 70); }},
          {"set many", [](VelEntries& d) { d.fill(30, 90); }},
          {"overwrite", [](VelEntries& d) { d.set("k0", 71); }},
          {"set the same", [](VelEntries& d) { d.set("k1", 72); }},
          {"set itself", [](VelEntries& d) { d.setSelf("self"); }},
          {"remove", [](VelEntries& d) { d.remove("k3"); }},
          {"flat set", [](VelEntries& d) { d.flatSet("new", 73); }},
          {"flat remove", [](VelEntries& d) { d.flatRemove("k0"); }},
          {"remove many", [](VelEntries& d) { d.drain(0, 25); }},
          {"remove the same", [](VelEntries& d) { d.remove("k1"); }},
          {"clearall", [](VelEntries& d) { d.clear(); }},
          {"refill", [](VelEntries& d) { d.clear(); d.fill(0, 60); d.drain(10, 50); }},
          {"let go", [](VelEntries& d) { d.letGo(); }},
      },
      Looks<VelEntries>());
}

TEST(Reentrancy, WhatDiesInADictionaryOfVariantsMayUseIt) {
  RunTable<VelAnyEntries, VelEntriesModel>(RemovingEntries(), EntriesActions());
}

TEST(Reentrancy, WhatDiesInADictionaryOfAUsersClassMayUseIt) {
  RunTable<VelCellEntries, VelEntriesModel>(RemovingEntries(), EntriesActions());
}

// ---- errors that are reported by what dies ----

TEST(Reentrancy, ListenerMayUseTheSequenceThatTheReporterDiesIn) {
  RunListenerTable<VelAnyItems, VelItemsModel>(RemovingItems(), ItemsActions());
  RunListenerTable<VelCellItems, VelItemsModel>(RemovingItems(), ItemsActions());
}

TEST(Reentrancy, ListenerMayUseTheDictionaryThatTheReporterDiesIn) {
  RunListenerTable<VelAnyEntries, VelEntriesModel>(RemovingEntries(), EntriesActions());
  RunListenerTable<VelCellEntries, VelEntriesModel>(RemovingEntries(), EntriesActions());
}

// ---- in the middle: what counts for itself may look ----

template <class Real>
void Add(Real& real, VelItemsModel& model, int number) {
  real.sequence->append(typename Real::E(new VelCountingProbe(number)));
  model.items.push_back('p' + std::to_string(number));
}

template <class Real>
void Add(Real& real, VelEntriesModel& model, int number) {
  const std::string key = 'k' + std::to_string(number);
  real.dictionary->set(key.c_str(), typename Real::E(new VelCountingProbe(number)));
  model.entries[key] = 'p' + std::to_string(number);
}

// `operation` on counting probes, which do `look` whenever they are attached (or
// released, where none of them ends).
template <class Real, class Model, class Target>
void RunLook(const Step<Target>& operation, VelPlace place, const Step<Target>& look) {
  SCOPED_TRACE(std::string(operation.name) + " / " + kPlaces[static_cast<int>(place)] + " / " +
               look.name);
  ++cases;
  {
    Real real;
    Model model;
    for (int i = 0; i < 5; ++i) Add(real, model, i);
    if (operation.prepare) {
      operation.prepare(real);
      operation.prepare(model);
    }
    velForeign.start(place, [&] { look.run(real); });
    operation.run(real);
    velForeign.stop();
    operation.run(model);
    CheckAtRest(real, model);
    EXPECT_EQ(Real::contents(*real.main), ContentsOf(model));
    UseOn(real, model);
    EXPECT_EQ(Real::contents(*real.main), ContentsOf(model));
  }
  EXPECT_TRUE(VelProbe::live().empty());
}

template <class Real, class Model, class Target>
void RunLooks(const std::vector<Step<Target>>& operations, VelPlace place) {
  for (const Step<Target>& operation : operations) {
    for (const Step<Target>& look : Looks<Target>()) {
      // A copy that is under way is no place to copy to.
      if (std::string(operation.name) == look.name) continue;
      RunLook<Real, Model>(operation, place, look);
    }
  }
}

// Without the destruction, after which there is nothing to look at.
template <class Target>
std::vector<Step<Target>> Surviving(std::vector<Step<Target>> operations) {
  operations.pop_back();
  return operations;
}

TEST(Reentrancy, AttachOverridesMayLookAtASequenceInEveryOperation) {
  const auto operations = Joined(Surviving(RemovingItems()), AddingItems());
  RunLooks<VelAnyItems, VelItemsModel>(operations, VelPlace::attach);
  RunLooks<VelCellItems, VelItemsModel>(operations, VelPlace::attach);
}

TEST(Reentrancy, AttachOverridesMayLookAtADictionaryInEveryOperation) {
  const auto operations = Joined(Surviving(RemovingEntries()), AddingEntries());
  RunLooks<VelAnyEntries, VelEntriesModel>(operations, VelPlace::attach);
  RunLooks<VelCellEntries, VelEntriesModel>(operations, VelPlace::attach);
}

TEST(Reentrancy, ReleaseOverridesMayLookWhereNoElementEnds) {
  std::vector<ItemsStep> operations = AddingItems();
  operations.erase(std::remove_if(operations.begin(), operations.end(),
                                  [](const ItemsStep& step) {
                                    return std::string(step.name).find("grow") != std::string::npos ||
                                           std::string(step.name).find("beyond") != std::string::npos;
                                  }),
                   operations.end());
  RunLooks<VelAnyItems, VelItemsModel>(operations, VelPlace::release);
  RunLooks<VelCellItems, VelItemsModel>(operations, VelPlace::release);
}

TEST(Reentrancy, WhatIsOnlyCopiedOutMayBeCountedByCodeThatChangesTheCollection) {
  for (const ItemsStep& action : ItemsActions()) {
    SCOPED_TRACE(action.name);
    ++cases;
    VelAnyItems real;
    VelItemsModel model;
    for (int i = 0; i < 5; ++i) Add(real, model, i);
    xany out;
    bool did = false;
    velForeign.start(VelPlace::attach, [&] {
      if (!std::exchange(did, true)) action.run(real);
    });
    out = real.sequence->get(2);
    EXPECT_GT(velForeign.stop(), 0);
    EXPECT_EQ(velShow(out), "p2");
    out = xany();
    action.run(model);
    CheckAtRest(real, model);
    if (model.gone) continue;
    EXPECT_EQ(VelAnyItems::contents(*real.main), model.items);
  }
  EXPECT_TRUE(VelProbe::live().empty());
}

// ---- elements with code of their own ----

// A class element that acts when it is copied over another, or ends.
class Hot {
 public:
  Hot() = default;
  explicit Hot(int n) : number(n) { ++alive; }
  Hot(const Hot& other) : number(other.number) { alive += number != 0; }
  Hot& operator=(const Hot& other) {
    alive += (other.number != 0) - (number != 0);
    number = other.number;
    if (number) velForeign.each(VelPlace::attach);
    return *this;
  }
  ~Hot() {
    if (!number) return;
    --alive;
    number = 0;
    velForeign.once(VelPlace::destructor);
  }
  operator xany() const { return number ? xany(number) : xany(); }

  int number = 0;
  char room[28] = {};  // eight of them fill the first storage of a sequence

  static int alive;  // that are not empty
};
int Hot::alive = 0;

using HotSequence = VelOpenSequence<xtcsequence<Hot>, Hot>;
using HotDictionary = VelOpenDictionary<xtcdictionary<Hot>, Hot>;

template <class C>
xrchandle<C> NewHot();
template <>
xrchandle<HotSequence> NewHot<HotSequence>() {
  xrchandle<HotSequence> made(new HotSequence);
  for (int i = 1; i <= 8; ++i) made->append(Hot(i));
  return made;
}
template <>
xrchandle<HotDictionary> NewHot<HotDictionary>() {
  xrchandle<HotDictionary> made(new HotDictionary);
  for (int i = 1; i <= 8; ++i) made->set(std::to_string(i).c_str(), Hot(i));
  return made;
}

// The operations that detach all they have before they end it.
TEST(Reentrancy, EndOfAClassElementFindsADetachedCollectionEmpty) {
  for (int action = 0; action < 4; ++action) {
    ++cases;
    xrchandle<HotSequence> sequence = NewHot<HotSequence>();
    xtcsequence<Hot>* dying = sequence;
    velForeign.start(VelPlace::destructor, [&] {
      EXPECT_EQ(dying->getarraysize(), 0);
      if (action == 0) dying->append(Hot(9));
      if (action == 1) dying->set(30, Hot(9));
      if (action == 2) dying->clear();
      if (action == 3) dying->insertseq(0, *dying);
    });
    sequence = 0;
    EXPECT_EQ(velForeign.stop(), 1);
    EXPECT_EQ(Hot::alive, 0);
  }
  for (int action = 0; action < 8; ++action) {
    ++cases;
    xrchandle<HotDictionary> dictionary = NewHot<HotDictionary>();
    xtcdictionary<Hot>* dying = dictionary;
    velForeign.start(VelPlace::destructor, [&] {
      EXPECT_EQ(dying->getcount(), 0);
      EXPECT_EQ(dying->getmapsize(), 0);
      if (action % 4 == 0) dying->set("9", Hot(9));
      if (action % 4 == 1) dying->remove("1");
      if (action % 4 == 2) dying->clearall();
      for (int i = 0; i < 60 && action % 4 == 3; ++i) dying->set(std::to_string(i).c_str(), Hot(9));
    });
    if (action < 4) {
      dictionary = 0;
    } else {
      dictionary->clearall();
      EXPECT_EQ(dictionary->fault(), "");
      EXPECT_EQ(dictionary->getcount(), action == 4 ? 1 : action == 7 ? 60 : 0);
      dictionary = 0;
    }
    EXPECT_EQ(velForeign.stop(), 1);
    EXPECT_EQ(Hot::alive, 0);
  }
}

TEST(Reentrancy, WhatTheEndOfAValuePutsInIsGoneAfterReserveAndClone) {
  for (const bool clones : {false, true}) {
    ++cases;
    const xrchandle<HotDictionary> dictionary = NewHot<HotDictionary>();
    const xrchandle<HotDictionary> other(new HotDictionary);
    other->set("other", Hot(20));
    velForeign.start(VelPlace::destructor, [&] { dictionary->set("late", Hot(9)); });
    if (clones) {
      dictionary->become(other->core());
    } else {
      dictionary->reserve(40);
    }
    EXPECT_EQ(velForeign.stop(), 1);
    EXPECT_EQ(dictionary->getcount(), clones ? 1 : 0);
    EXPECT_EQ(dictionary->getmapsize(), clones ? 32 : 64);
    EXPECT_EQ(dictionary->fault(), "");
    EXPECT_EQ(Hot::alive, clones ? 2 : 1);
  }
  EXPECT_EQ(Hot::alive, 0);
}

// All elements are alive while one is copied.
TEST(Reentrancy, CopyingAClassElementMayLookAtTheSequence) {
  const std::vector<std::function<void(HotSequence&)>> operations = {
      [](HotSequence& s) { s.append(Hot(10)); },    [](HotSequence& s) { s.insert(3, Hot(10)); },
      [](HotSequence& s) { s.set(2, Hot(10)); },    [](HotSequence& s) { s.set(30, Hot(10)); },
      [](HotSequence& s) { s.insertseq(4, s); },    [](HotSequence& s) { s.removerange(1, 3); },
      [](HotSequence& s) { s.insert(20, Hot(10)); }};
  for (const auto& operation : operations) {
    ++cases;
    const xrchandle<HotSequence> sequence = NewHot<HotSequence>();
    const xrchandle<HotSequence> undisturbed = NewHot<HotSequence>();
    operation(*undisturbed);
    velForeign.start(VelPlace::attach, [&] {
      for (int i = 0; i < sequence->getarraysize(); ++i) (void)sequence->get(i);
    });
    operation(*sequence);
    EXPECT_GT(velForeign.stop(), 0);
    EXPECT_EQ(sequence->fault(), "");
    ASSERT_EQ(sequence->getarraysize(), undisturbed->getarraysize());
    for (int i = 0; i < sequence->getarraysize(); ++i) {
      EXPECT_EQ(sequence->get(i).number, undisturbed->get(i).number);
    }
  }
  EXPECT_EQ(Hot::alive, 0);
}

// ---- where it is not survivable ----

#ifdef VELSTD_CHECKED
constexpr char kReentry[] = "Re-entry into a container during its update.";
constexpr char kSequence[] = "velstd/services/xbasesequence";
constexpr char kDictionary[] = "velstd/services/velbdict";

// `outer` on a fresh collection, with `inner` as what an element does at `place`.
template <class C, class Outer, class Inner>
void Meddle(VelPlace place, Outer outer, Inner inner) {
  const xrchandle<C> collection = NewHot<C>();
  velForeign.start(place, [&] { inner(*collection); });
  outer(*collection);
}

template <class Outer, class Inner>
void MeddleInSequence(VelPlace place, Outer outer, Inner inner) {
  Meddle<HotSequence>(place, outer, inner);
}
template <class Outer, class Inner>
void MeddleInDictionary(VelPlace place, Outer outer, Inner inner) {
  Meddle<HotDictionary>(place, outer, inner);
}

void Append(HotSequence& s) { s.append(Hot(10)); }
void Clear(HotSequence& s) { s.clear(); }
void Shift(HotSequence& s) { s.removerange(0, 1); }
void Overwrite(HotSequence& s) { s.set(0, Hot(11)); }
void SetNew(HotDictionary& d) { d.set("new", Hot(10)); }
void Overwritten(HotDictionary& d) { d.set("1", Hot(11)); }
void Remove(HotDictionary& d) { d.remove("2"); }
void ClearAll(HotDictionary& d) { d.clearall(); }
void SetFirst(HotDictionary& d) {
  int i = 0;
  while (!d.getbyindex(i, nullptr)) ++i;
  d.setbyindex(i, Hot(11));
}

TEST(ReentrancyDeathTest, SequenceIsNotChangedWhileItMovesItsElements) {
  EXPECT_VEL_ABORT(MeddleInSequence(VelPlace::attach, Append, Append), kReentry, kSequence, 125);
  EXPECT_VEL_ABORT(MeddleInSequence(VelPlace::attach, Shift, Overwrite), kReentry, kSequence, 90);
  EXPECT_VEL_ABORT(MeddleInSequence(VelPlace::attach, Overwrite, Clear), kReentry, kSequence, 140);
  EXPECT_VEL_ABORT(MeddleInSequence(VelPlace::destructor, Clear, Append), kReentry, kSequence, 125);
  EXPECT_VEL_ABORT(MeddleInSequence(VelPlace::destructor, Append, Clear), kReentry, kSequence, 140);
  EXPECT_VEL_ABORT(MeddleInSequence(VelPlace::destructor, Shift,
                                    [](HotSequence& s) { s.reserve(90); }),
                   kReentry, kSequence, 70);
}

TEST(ReentrancyDeathTest, DictionaryIsNotChangedWhileItAssignsValues) {
  EXPECT_VEL_ABORT(MeddleInDictionary(VelPlace::attach, SetNew, SetNew), kReentry, kDictionary,
                   300);
  EXPECT_VEL_ABORT(MeddleInDictionary(VelPlace::attach, Overwritten, Remove), kReentry,
                   kDictionary, 330);
  EXPECT_VEL_ABORT(MeddleInDictionary(VelPlace::attach, SetFirst, SetFirst), kReentry,
                   kDictionary, 380);
  EXPECT_VEL_ABORT(MeddleInDictionary(VelPlace::attach, Overwritten, ClearAll), kReentry,
                   kDictionary, 400);
}

TEST(ReentrancyDeathTest, DictionaryIsNotChangedWhileItsTableGrows) {
  const auto grow = [](HotDictionary& d) {
    for (int i = 0; i < 60; ++i) d.set(("n" + std::to_string(i)).c_str(), Hot(10));
  };
  const auto atGrowth = [](HotDictionary& d) {
    if (d.getmapsize() == 64) d.remove("2");
  };
  EXPECT_VEL_ABORT(MeddleInDictionary(VelPlace::attach, grow, atGrowth), kReentry, kDictionary,
                   330);
}

TEST(ReentrancyDeathTest, SourceOfACloneIsNotChanged) {
  EXPECT_VEL_ABORT(
      {
        const xrchandle<HotDictionary> source = NewHot<HotDictionary>();
        const xrchandle<HotDictionary> copy(new HotDictionary);
        velForeign.start(VelPlace::attach, [&] { source->clearall(); });
        copy->become(source->core());
      },
      kReentry, kDictionary, 400);
}

// A subclass of a user's own may watch the hooks, not answer them with changes.
class HookedInts : public xtssequence<int> {
 public:
  HookedInts() : xtssequence<int>(0) {}
  void OnCopy(void* to, const void* from, unsigned bytes) override {
    xtssequence<int>::OnCopy(to, from, bytes);
    if (getarraysize() > 3) append(1);
  }
};

TEST(ReentrancyDeathTest, HookOfASubclassDoesNotChangeItsSequence) {
  EXPECT_VEL_ABORT(
      {
        const xrchandle<HookedInts> sequence(new HookedInts);
        for (int i = 0; i < 5; ++i) sequence->append(i);
      },
      kReentry, kSequence, 125);
}

// An override of xattach runs in the middle of what copies the variant that it is in.
TEST(ReentrancyDeathTest, AttachOverrideDoesNotChangeTheSequenceThatCopiesIt) {
  EXPECT_VEL_ABORT(
      {
        VelAnyItems real;
        VelItemsModel model;
        for (int i = 0; i < 8; ++i) Add(real, model, i);
        velForeign.start(VelPlace::attach, [&] { real.append(1); });
        real.insertOwn(0);
      },
      kReentry, kSequence, 125);
}
#endif

// The last release of the collection itself waits, too.
TEST(Reentrancy, CopyingAClassElementMayLetTheCollectionGo) {
  cases += 2;
  xrchandle<HotSequence> sequence = NewHot<HotSequence>();
  velForeign.start(VelPlace::attach, [&] { sequence = 0; });
  sequence->append(Hot(10));
  EXPECT_GT(velForeign.stop(), 0);
  xrchandle<HotDictionary> dictionary = NewHot<HotDictionary>();
  velForeign.start(VelPlace::attach, [&] { dictionary = 0; });
  dictionary->set("new", Hot(10));
  EXPECT_EQ(velForeign.stop(), 1);
  EXPECT_EQ(HotSequence::alive() + HotDictionary::alive(), 0);
  EXPECT_EQ(Hot::alive, 0);
}

// What is no update, and other collections, are nobody's business.
TEST(Reentrancy, CopyingAClassElementMayChangeOtherCollections) {
  const xrchandle<HotSequence> first = NewHot<HotSequence>();
  const xrchandle<HotSequence> second = NewHot<HotSequence>();
  const xrchandle<HotDictionary> third = NewHot<HotDictionary>();
  velForeign.start(VelPlace::attach, [&] {
    second->append(Hot(10));
    third->set("new", Hot(11));
    first->removerange(20, 30);  // nothing is there
  });
  first->append(Hot(12));
  EXPECT_EQ(velForeign.stop(), 9) << "eight move, one comes";
  EXPECT_EQ(second->getarraysize(), 17);
  EXPECT_EQ(third->getcount(), 9);
  EXPECT_EQ(first->getarraysize(), 9);
  ++cases;
}

}  // namespace
