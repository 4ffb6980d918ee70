// Code of others inside everything but the collections' own operations: walks,
// handles, variants, the pending exception, the registry, listeners and setters.
#include <array>
#include <memory>
#include <sstream>

#include "veltest.h"
#include "veltest_long.h"
#include "veltest_reentry.h"
#include "veltest_types.h"

namespace {

int cases = 0;

const auto* const counted =
    ::testing::AddGlobalTestEnvironment(new VelCases("cases elsewhere", cases, 2900));

template <class Target>
struct Action {
  const char* name;
  void (*run)(Target&);
};

const Action<VelItems> kItemsActions[] = {
    {"append", [](VelItems& s) { s.append(70); }},
    {"append many", [](VelItems& s) { for (int i = 0; i < 40; ++i) s.append(100 + i); }},
    {"clear", [](VelItems& s) { s.clear(); }},
    {"remove", [](VelItems& s) { s.remove(0, 2); }},
    {"remove all but one", [](VelItems& s) { s.remove(1, s.size()); }},
    {"insert", [](VelItems& s) { s.insert(0, 71); }},
    {"insert its elements", [](VelItems& s) { s.insertOwn(1); }},
    {"insert itself", [](VelItems& s) { s.appendSelf(); }},
    {"overwrite", [](VelItems& s) { for (int i = 0; i < s.size(); ++i) s.set(i, 80 + i); }},
    {"walk", [](VelItems& s) { s.walk(); }},
    {"print", [](VelItems& s) { s.print(); }},
    {"compare", [](VelItems& s) { s.compare(); }},
    {"copy", [](VelItems& s) { s.copyOut(); }},
    {"let go", [](VelItems& s) { s.letGo(); }},
};

const Action<VelEntries> kEntriesActions[] = {
    {"set", [](VelEntries& d) { d.set("new", 70); }},
    {"set many", [](VelEntries& d) { d.fill(0, 60); }},
    {"overwrite", [](VelEntries& d) { d.set("k1", 71); }},
    {"remove", [](VelEntries& d) { d.remove("k1"); }},
    {"clearall", [](VelEntries& d) { d.clear(); }},
    {"refill", [](VelEntries& d) { d.clear(); d.fill(0, 40); d.drain(2, 39); }},
    {"set itself", [](VelEntries& d) { d.setSelf("self"); }},
    {"walk", [](VelEntries& d) { d.walk(); }},
    {"print", [](VelEntries& d) { d.print(); }},
    {"compare", [](VelEntries& d) { d.compare(); }},
    {"copy", [](VelEntries& d) { d.copyOut(); }},
    {"let go", [](VelEntries& d) { d.letGo(); }},
};

// A probe, a number, one whose attribute is read, and a probe again.
template <class Real>
void Fill(Real& real, VelItemsModel& model) {
  using E = typename Real::E;
  for (const E& element : {E(new VelProbe(0)), E(1), E(new VelReader(2)), E(new VelProbe(3))}) {
    real.sequence->append(element);
  }
  model.items = {"p0", "1", "p2", "p3"};
}
template <class Real>
void Fill(Real& real, VelEntriesModel& model) {
  using E = typename Real::E;
  real.dictionary->set("k0", E(new VelProbe(0)));
  real.dictionary->set("k1", E(new VelReader(1)));
  real.dictionary->set("k2", E(2));
  model.entries = {{"k0", "p0"}, {"k1", "p1"}, {"k2", "2"}};
}
const std::vector<std::string>& ContentsOf(const VelItemsModel& model) { return model.items; }
const std::map<std::string, std::string>& ContentsOf(const VelEntriesModel& model) {
  return model.entries;
}

template <class Real, class Model>
void CheckAtRest(Real& real, const Model& model) {
  std::map<xobject*, int> holders;
  const auto count = [&](xobject* held) { ++holders[held]; };
  Real::forEachHeld(*real.side, count);
  EXPECT_EQ(real.main.isnull(), model.gone);
  if (!real.main.isnull()) {
    EXPECT_EQ(real.main->fault(), "");
    EXPECT_EQ(Real::contents(*real.main), ContentsOf(model));
    Real::forEachHeld(*real.main, count);
    EXPECT_EQ(xrcgetcount(real.main), 1 + holders[real.object]);
  }
  EXPECT_EQ(Real::contents(*real.side), model.side);
  for (VelProbe* probe : VelProbe::live()) EXPECT_EQ(xrcgetcount(probe), holders[probe]);
}

template <class Real>
void CheckNothingLeft() {
  using Collection = std::remove_pointer_t<decltype(Real().main.operator->())>;
  EXPECT_EQ(Collection::alive(), 0);
  EXPECT_TRUE(VelProbe::live().empty());
}

// ---- visitors ----

template <class Real, class Model, class Actions>
void WalkTable(const std::vector<const char*>& operations, const Actions& actions) {
  for (const char* operation : operations) {
    for (const velTraverseResult answer : {velTrContinue, velTrSkip, velTrLeave, velTrStop}) {
      for (const auto& action : actions) {
        SCOPED_TRACE(std::string(operation) + " / " + std::to_string(answer) + " / " + action.name);
        ++cases;
        {
          Real real;
          Model model;
          Fill(real, model);
          bool met = false;
          VelEventTraverser visitor([&](const VelEvent& event) {
            if (met || event.operation != operation) return velTrContinue;
            met = true;
            action.run(real);
            return answer;
          });
          velTraverse(xany(real.object), &visitor);
          EXPECT_TRUE(met);
          action.run(model);
          CheckAtRest(real, model);
        }
        CheckNothingLeft<Real>();
      }
    }
  }
}

TEST(ReentrancyWalk, VisitorMayChangeTheSequenceItVisits) {
  const std::vector<const char*> operations = {"beginObject",   "beginSequence", "beginSeqElement",
                                               "simpleValue",   "beginStructure", "endSeqElement",
                                               "endSequence",   "endObject"};
  WalkTable<VelAnyItems, VelItemsModel>(operations, kItemsActions);
  WalkTable<VelCellItems, VelItemsModel>(operations, kItemsActions);
}

TEST(ReentrancyWalk, VisitorMayChangeTheDictionaryItVisits) {
  const std::vector<const char*> operations = {"beginObject",  "beginDictionary", "beginDictElement",
                                               "simpleValue",  "beginStructure",  "endDictElement",
                                               "endDictionary", "endObject"};
  WalkTable<VelAnyEntries, VelEntriesModel>(operations, kEntriesActions);
  WalkTable<VelCellEntries, VelEntriesModel>(operations, kEntriesActions);
}

TEST(ReentrancyWalk, VisitorMayEmptyASequenceThatItMeetsAgain) {
  ++cases;
  VelAnyItems real;
  real.appendSelf();
  real.append(1);
  std::string log;
  VelEventTraverser visitor([&](const VelEvent& event) {
    log += event.operation + ' ';
    if (event.operation == "alreadyVisited") real.clear();
    return velTrContinue;
  });
  velTraverse(xany(real.object), &visitor);
  EXPECT_EQ(log,
            "beginObject beginSequence beginSeqElement alreadyVisited endSeqElement "
            "beginSeqElement errorOccured endSeqElement endSequence endObject ");
  EXPECT_EQ(xrcgetcount(real.main), 1);
}

TEST(ReentrancyWalk, VisitorMayWalkAgainWithItself) {
  ++cases;
  const auto sequence = xintsequence::create();
  sequence->append(1);
  int depth = 0;
  std::string log;
  VelEventTraverser* self = nullptr;
  VelEventTraverser visitor([&](const VelEvent& event) {
    log += event.operation.substr(0, 3) + event.detail + ' ';
    if (event.operation == "beginSeqElement" && depth < 2) {
      ++depth;
      velTraverse(xany(sequence), self);
    }
    return velTrContinue;
  });
  self = &visitor;
  velTraverse(xany(sequence), &visitor);
  const std::string tail = "sim2 1 end0 end end ";
  EXPECT_EQ(log, "beg beg beg0 beg beg beg0 beg beg beg0 " + tail + tail + tail);
}

// ---- getters ----

template <class Real, class Model, class Actions>
void GetterTable(const Actions& actions) {
  const std::vector<std::pair<const char*, std::function<void(Real&)>>> operations = {
      {"walk", [](Real& real) { real.walk(); }},
      {"print", [](Real& real) { real.print(); }},
      {"compare", [](Real& real) { velCaught([&] { real.compare(); }); }},
      {"print by pointer", [](Real& real) { std::ostringstream() << real.object; }},
      {"print by handle", [](Real& real) { std::ostringstream() << real.main; }},
      {"print from C",
       [](Real& real) {
         ::testing::internal::CaptureStdout();
         xprint_c(real.object);
         EXPECT_NE(::testing::internal::GetCapturedStdout(), "");
       }},
  };
  for (const auto& [name, operation] : operations) {
    for (const auto& action : actions) {
      SCOPED_TRACE(std::string(name) + " / " + action.name);
      ++cases;
      {
        Real real;
        Model model;
        Fill(real, model);
        velForeign.start(VelPlace::getter, [&, run = action.run] { run(real); });
        operation(real);
        EXPECT_EQ(velForeign.stop(), 1);
        action.run(model);
        CheckAtRest(real, model);
      }
      CheckNothingLeft<Real>();
    }
  }
}

TEST(ReentrancyGetter, GetterMayChangeTheCollectionItsObjectIsIn) {
  GetterTable<VelAnyItems, VelItemsModel>(kItemsActions);
  GetterTable<VelCellItems, VelItemsModel>(kItemsActions);
  GetterTable<VelAnyEntries, VelEntriesModel>(kEntriesActions);
  GetterTable<VelCellEntries, VelEntriesModel>(kEntriesActions);
}

TEST(ReentrancyGetter, GetterMayChangeTheOtherSideOfAComparison) {
  for (const Action<VelItems>& action : kItemsActions) {
    for (const bool first : {true, false}) {
      SCOPED_TRACE(action.name);
      ++cases;
      {
        VelAnyItems real;
        VelAnyItems other;
        VelItemsModel model;
        Fill(real, model);
        VelItemsModel ignored;
        Fill(other, ignored);
        velForeign.start(VelPlace::getter, [&] { action.run(real); });
        velCaught([&] {
          if (first) {
            velCompare(xany(real.object), xany(other.object));
          } else {
            velCompare(xany(other.object), xany(real.object));
          }
        });
        velForeign.stop();
        action.run(model);
        EXPECT_EQ(real.main.isnull(), model.gone);
        if (!model.gone) {
          EXPECT_EQ(real.main->fault(), "");
        }
      }
      CheckNothingLeft<VelAnyItems>();
    }
  }
}

// ---- handles ----

constexpr VelPlace kDeathbed[] = {VelPlace::asked, VelPlace::refusing, VelPlace::onDelete,
                                  VelPlace::destructor};

// Assignments release, then attach: what the old object put into the handle is
// overruled.
template <class Handle>
void HandleTable() {
  using Change = std::function<void(Handle&)>;
  const std::vector<std::pair<Change, int>> operations = {
      {[](Handle& h) { h = Handle(new VelProbe(10)); }, 10},
      {[](Handle& h) { const Handle other(new VelProbe(11)); h = other; }, 11},
      {[](Handle& h) { h = static_cast<VelProbe*>(new VelProbe(12)); }, 12},
      {[](Handle& h) { h = Handle(); }, -1},
      {[](Handle& h) { h = 0; }, -1},
      {[](Handle& h) { const Handle empty; h = empty; }, -1},
      {nullptr, -1},  // destruction
  };
  const std::vector<Change> actions = {
      [](Handle& h) { h = Handle(new VelProbe(20)); },
      [](Handle& h) { h = static_cast<VelProbe*>(new VelProbe(21)); },
      [](Handle& h) { h = 0; },
      [](Handle& h) { const Handle copy(h); },
      [](Handle& h) { const Handle taken(std::move(h)); },
      [](Handle& h) { EXPECT_TRUE(h.isnull()); },
  };
  for (const auto& [operation, result] : operations) {
    for (const VelPlace place : kDeathbed) {
      for (const Change& action : actions) {
        ++cases;
        {
          Handle handle(new VelProbe(0));
          velForeign.start(place, [&, act = &action] { (*act)(handle); });
          if (operation) {
            operation(handle);
            EXPECT_EQ(velForeign.stop(), 1);
            ASSERT_EQ(handle.isnull(), result < 0);
            if (result >= 0) {
              EXPECT_EQ(handle->number, result);
              EXPECT_EQ(xrcgetcount(handle), 1);
            }
          }
        }
        velForeign.stop();
        VelProbe::endRefused();
        EXPECT_TRUE(VelProbe::live().empty());
      }
    }
  }
}

TEST(ReentrancyHandle, ReassignmentByTheDyingObjectIsOverruledAndLosesNothing) {
  HandleTable<xrchandle<VelProbe>>();
  HandleTable<xrcunihandle<VelProbe>>();
}

// ---- variants ----

// Assignments put the new content in place first: what the old object assigns
// stays.
TEST(ReentrancyValue, AssignmentByTheDyingObjectTakesEffectOnTheNewValue) {
  using Change = std::function<void(xany&)>;
  const std::vector<std::pair<Change, const char*>> operations = {
      {[](xany& v) { v = 1; }, "1"},
      {[](xany& v) { v = xany(); }, "-"},
      {[](xany& v) { v = xany(2); }, "2"},
      {[](xany& v) { const xany other(3); v = other; }, "3"},
      {[](xany& v) { v = static_cast<xobject*>(new VelProbe(10)); }, "p10"},
      {[](xany& v) { v = xrchandle<VelProbe>(new VelProbe(11)); }, "p11"},
      {[](xany& v) { v = nullptr; }, "?"},
      {[](xany& v) { v = "text"; }, "?"},
      {nullptr, ""},  // destruction
  };
  const std::vector<std::pair<Change, const char*>> actions = {
      {[](xany& v) { v = 20; }, "20"},
      {[](xany& v) { v = static_cast<xobject*>(new VelProbe(21)); }, "p21"},
      {[](xany& v) { v = xany(); }, "-"},
      {[](xany& v) { v = "other"; }, "?"},
      {[](xany& v) { const xany copy(v); }, nullptr},
      {[](xany& v) { velPrinted(v); }, nullptr},
      {[](xany& v) { velCompare(v, v); }, nullptr},
      {[](xany& v) { xanyunlock_c(reinterpret_cast<__xany_c*>(&v)); }, "-"},
      {[](xany& v) { (void)(v == 5); }, nullptr},
  };
  for (const auto& [operation, result] : operations) {
    for (const VelPlace place : kDeathbed) {
      for (const auto& [action, left] : actions) {
        ++cases;
        {
          xany value(new VelProbe(0));
          velForeign.start(place, [&, act = &action] { (*act)(value); });
          if (operation) {
            operation(value);
            EXPECT_EQ(velForeign.stop(), 1);
            EXPECT_EQ(velShow(value), left ? left : result);
          }
        }
        velForeign.stop();
        VelProbe::endRefused();
        EXPECT_TRUE(VelProbe::live().empty());
      }
    }
  }
}

// ---- the pending exception ----

// An exception that acts when it ends.
class Ending : public xthrowable {
 public:
  explicit Ending(std::function<void()> what = nullptr) : action(std::move(what)) { ++alive; }
  ~Ending() override {
    --alive;
    if (action) action();
  }
  std::function<void()> action;
  static int alive;
};
int Ending::alive = 0;

std::string Pending() {
  xthrowable* held = xgetexc_c();
  if (!held) return "none";
  const std::string name =
      dynamic_cast<Ending*>(held) ? "ending" : held->getVelTypeName().CastToCString();
  xrcrelease(held);
  return name;
}

TEST(ReentrancyPending, EndOfAnExceptionMayUseTheRecord) {
  xanysequence* sequence = xanysequence_create();
  const auto failing = [=] { xanyunlock_c(nullptr), (void)xanysequence_get(sequence, 99); };
  // What an operation leaves, and whether what the old exception does comes last.
  struct Operation {
    std::function<void()> run;
    const char* result;
    bool isOverruled;
  };
  const std::vector<Operation> operations = {
      {[] { xsetexc_c(velXNativeException::cast(nullptr)); }, "none", true},
      {[] { xcleanupexc_c(); }, "none", true},
      {[] { xsetexc_c(new velXException("new")); }, "vellib::Exception", false},
      {[=] { xanysequence_getarraysize(sequence); }, "none", true},
      {failing, "vellib::XInvalidSeqIndex", false},
      {[] { (void)xanytoint_c(nullptr); }, "vellib::XNull", true},
      {[] { xrcrelease(xextractexc_c()); }, "none", true},
  };
  const std::vector<std::pair<std::function<void()>, const char*>> actions = {
      {[] { xsetexc_c(new Ending); }, "ending"},
      {[] { xsetexc_c(nullptr); }, "none"},
      {[] { xcleanupexc_c(); }, "none"},
      {[] { Pending(); }, nullptr},
      {[] { (void)xisexc_c(); }, nullptr},
      {[] { xrcrelease(xextractexc_c()); }, "none"},
      {[=] { xanysequence_removerange(sequence, 0, 1); }, "none"},
      {failing, "vellib::XInvalidSeqIndex"},
      {[] { xsetexc_c(new Ending([] { xsetexc_c(nullptr); })); xcleanupexc_c(); }, "none"},
  };
  const std::string exceptionName = velXException::getClassRtti()->getName().CastToCString();
  const std::string nullName = velXNull::getClassRtti()->getName().CastToCString();
  for (const Operation& operation : operations) {
    for (const auto& [action, left] : actions) {
      ++cases;
      xsetexc_c(new Ending(action));
      operation.run();
      std::string expected = operation.result;
      if (expected == "vellib::Exception") expected = exceptionName;
      if (expected == "vellib::XNull") expected = nullName;
      EXPECT_EQ(Pending(), operation.isOverruled && left ? left : expected);
      xcleanupexc_c();
      EXPECT_EQ(Ending::alive, 0);
    }
  }
  EXPECT_EQ(xrcgetcount(sequence), 1);
  xrcrelease(sequence);
}

// ---- the registry ----

// A type that registers another one whenever it is asked for its name.
class Busy : public xrttiobject {
 public:
  explicit Busy(const char* own, xrtti* also) : other(also) {
    initializeRttiObject(own, 1, 0, nullptr);
  }
  xstring getName() override {
    velRttiAddToMap(other);
    return name;
  }
  xrtti* other;
};

TEST(ReentrancyRegistry, NamesMayRegisterTypes) {
  ++cases;
  static xrttibasic plain("velreentry::Plain");
  static Busy busy("velreentry::Busy", &plain);
  velRttiAddToMap(&busy);
  EXPECT_EQ(velRttiGetFromMap("velreentry::Busy"), &busy);
  EXPECT_EQ(velRttiGetFromMap("velreentry::Plain"), &plain);
}

TEST(ReentrancyRegistry, VisitorMayRegisterTypesAndGoThroughTheRegistry) {
  ++cases;
  struct State {
    std::vector<std::string> names;
    int visited = 0;
    int inner = 0;
  } state;
  velRttiForEach(
      [](xrtti*, void* given) {
        auto* s = static_cast<State*>(given);
        const int number = s->visited++;
        auto* made = new xrttibasic(("velreentry::New" + std::to_string(number)).c_str());
        s->names.push_back(made->getName().CastToCString());
        velRttiAddToMap(made);
        velRttiForEach([](xrtti*, void* count) { return ++*static_cast<int*>(count), true; },
                       &s->inner);
        return s->visited < 1000;
      },
      &state);
  EXPECT_LT(state.visited, 1000) << "what comes in the course is not visited";
  // Each inner visit sees all that there are: one more every time.
  const int v = state.visited;
  EXPECT_EQ(state.inner, v * v + v * (v + 1) / 2);
  for (const std::string& name : state.names) EXPECT_NE(velRttiGetFromMap(name.c_str()), nullptr);
}

TEST(ReentrancyRegistry, VisitorFromCMayUseCollections) {
  ++cases;
  xanysequence* sequence = xanysequence_create();
  xrttiforeach_c(
      [](xrtti*, void* given) {
        auto* s = static_cast<xanysequence*>(given);
        xanysequence_insert(s, 0, xanyint_c(1));
        return xanysequence_getarraysize(s) < 10 ? 1 : 0;
      },
      sequence);
  EXPECT_EQ(xanysequence_getarraysize(sequence), 10);
  xrcrelease(sequence);
}

// ---- listeners ----

class Listener final : public xerrlistener {
 public:
  ~Listener() { xerrhandler::removelistener(this); }
  xerhstatus notify(const char*, xrcunihandle<xthrowable>, xrcunihandle<xobject>,
                    xrcunihandle<xobject>) override {
    calls += name;
    if (const auto once = std::exchange(act, nullptr)) once();
    return xerhNotHandled;
  }
  char name = '?';
  std::function<void()> act;
  static std::string calls;
};
std::string Listener::calls;

TEST(ReentrancyListener, EachMayChangeWhoListensAndDispatchAgain) {
  for (int actor = 0; actor < 5; ++actor) {
    for (int action = 0; action < 6; ++action) {
      ++cases;
      std::array<Listener, 5> all;  // at ascending addresses
      std::array<bool, 5> listens = {true, true, true, true, false};
      if (!listens[static_cast<std::size_t>(actor)]) listens[4] = true;
      Listener::calls.clear();
      const auto dispatch = [] { xerrhandler::dispatch("context", 0, 0, 0); };
      const auto add = [&](std::size_t i) { xerrhandler::addlistener(&all[i]), listens[i] = true; };
      const auto drop = [&](std::size_t i) {
        xerrhandler::removelistener(&all[i]), listens[i] = false;
      };
      for (std::size_t i = 0; i < 5; ++i) {
        all[i].name = static_cast<char>('a' + i);
        if (listens[i]) xerrhandler::addlistener(&all[i]);
      }
      const auto own = static_cast<std::size_t>(actor);
      const auto calledFrom = [&](std::size_t from) {
        std::string names;
        for (std::size_t i = from; i < 5; ++i) names += listens[i] ? std::string(1, all[i].name) : "";
        return names;
      };
      std::string expected = calledFrom(0).substr(0, own + 1);
      all[own].act = [&] {
        if (action == 0) drop(own);
        if (action == 1) add(4);
        if (action == 2) for (std::size_t i = 0; i < 5; ++i) drop(i);
        if (action == 3) drop(own), add(own);
        if (action == 4) for (std::size_t i = own + 1; i < 4; ++i) drop(i);
        if (action == 5) dispatch();
        if (action == 5) expected += calledFrom(0);
        expected += calledFrom(own + 1);
      };
      dispatch();
      EXPECT_EQ(Listener::calls, expected) << actor << '/' << action;
      Listener::calls.clear();
      dispatch();
      EXPECT_EQ(Listener::calls, calledFrom(0)) << actor << '/' << action;
    }
  }
}

// Whose collection an error is about: the first listener uses it, a later one sees
// what the first has made of it.
template <class Real, class Model, class Actions>
void ListenerTable(const Actions& actions) {
  enum { kObject, kContextObject, kBoth, kInTheException, kWays };
  for (const auto& action : actions) {
    for (int way = 0; way < kWays; ++way) {
      SCOPED_TRACE(std::string(action.name) + " / " + std::to_string(way));
      ++cases;
      {
        Real real;
        Model model;
        Fill(real, model);
        std::string order;
        // As members of one object, at ascending addresses.
        struct {
          VelListener acting;
          VelListener looking;
        } listeners = {
            VelListener([&](xthrowable*, xobject*, xobject*) {
              order += "acts ";
              action.run(real);
              action.run(model);
            }),
            VelListener([&](xthrowable* exception, xobject* object, xobject* context) {
              order += "looks ";
              EXPECT_EQ(exception != nullptr, way == kInTheException);
              EXPECT_EQ(object, way == kObject || way == kBoth ? real.object : nullptr);
              EXPECT_EQ(context, way == kContextObject || way == kBoth ? real.object : nullptr);
              // The report keeps it, whoever else has let it go.
              auto& still = dynamic_cast<decltype(*real.main.operator->())&>(*real.object);
              EXPECT_EQ(still.fault(), "");
              EXPECT_EQ(Real::contents(still), ContentsOf(model));
            })};
        {
          xrchandle<xthrowable> exception;
          if (way == kInTheException) {
            exception = velCaught([&] { velXTypeMismatch::Throw("type", xany(real.object)); });
          }
          xobject* const object = way == kObject || way == kBoth ? real.object : nullptr;
          xobject* const context = way == kContextObject || way == kBoth ? real.object : nullptr;
          EXPECT_EQ(xerrhandler::dispatch("context", exception, object, context), xerhNotHandled);
        }
        EXPECT_EQ(order, "acts looks ");
        CheckAtRest(real, model);
      }
      CheckNothingLeft<Real>();
    }
  }
}

TEST(ReentrancyListener, MayUseTheCollectionThatAnErrorIsAbout) {
  ListenerTable<VelAnyItems, VelItemsModel>(kItemsActions);
  ListenerTable<VelCellItems, VelItemsModel>(kItemsActions);
  ListenerTable<VelAnyEntries, VelEntriesModel>(kEntriesActions);
  ListenerTable<VelCellEntries, VelEntriesModel>(kEntriesActions);
}

// ---- deserialization ----

TEST(ReentrancyS11n, EndOfWhatAContextHoldsMayUseTheContext) {
  for (int action = 0; action < 6; ++action) {
    for (int operation = 0; operation < 4; ++operation) {
      ++cases;
      {
        auto context = std::make_unique<velS11nContext>();
        velS11nContext* raw = context.get();
        const bool isRoot = operation < 2;
        if (isRoot) {
          context->setRootObject(new VelProbe(1));
        } else {
          context->setUserData("value", new VelProbe(1));
        }
        velForeign.start(VelPlace::destructor, [&] {
          if (action == 0) raw->setRootObject(new VelProbe(2));
          if (action == 1) raw->setUserData("value", new VelProbe(3));
          if (action == 2) raw->setUserData("other", 4);
          if (action == 3) (void)raw->getUserData("value");
          if (action == 4) (void)raw->getRootObject();
          if (action == 5) for (int i = 0; i < 50; ++i) raw->setUserData(std::to_string(i).c_str(), i);
        });
        if (operation == 0) context->setRootObject(new VelProbe(5));
        if (operation == 2) context->setUserData("value", new VelProbe(6));
        if (operation % 2 == 1) context = nullptr;
        EXPECT_EQ(velForeign.stop(), 1);
        if (operation == 0) {
          EXPECT_EQ(velShow(xany(context->getRootObject())), "p5");
        }
        if (operation == 2) {
          EXPECT_EQ(velShow(context->getUserData("value")), action == 1 ? "p3" : "p6");
        }
      }
      EXPECT_TRUE(VelProbe::live().empty()) << action << '/' << operation;
    }
  }
}

TEST(ReentrancyS11n, SetterMayReplaceItselfAndSetAgain) {
  static xrttistruct type;
  type.initializeRttiStruct("velreentry::Settable", 1, 0, nullptr, 0, nullptr);
  static std::string log;
  using Setter = void (*)(xobject*, const xany&);
  const Setter second = [](xobject*, const xany& value) { log += "second " + velShow(value) + ' '; };
  static Setter next = second;
  const Setter first = [](xobject* object, const xany& value) {
    log += "first " + velShow(value) + ' ';
    type.addUserData("_s11n_setValue", reinterpret_cast<void*>(next));
    velS11nSet(object, "Value", 2);
  };
  type.addUserData("_s11n_setValue", reinterpret_cast<void*>(first));
  ++cases;
  const VelThingHandle thing = velNewThing(&type);
  EXPECT_TRUE(velS11nSet(thing, "Value", 1));
  EXPECT_EQ(log, "first 1 second 2 ");
}

}  // namespace
