// Errors offered to listeners.
#include "xerrhandler.h"

#include <array>
#include <functional>
#include <limits>
#include <optional>
#include <string>
#include <vector>

#include "veltest.h"
#include "veltest_types.h"

namespace {

using ExceptionHandle = xrcunihandle<xthrowable>;
using ObjectHandle = xrcunihandle<xobject>;

// Listens from listen() to its end; writes its calls into a log.
class Listener final : public xerrlistener {
 public:
  ~Listener() { ignore(); }
  void listen() { xerrhandler::addlistener(this); }
  void ignore() { xerrhandler::removelistener(this); }

  xerhstatus notify(const char* context, ExceptionHandle exception, ObjectHandle object,
                    ObjectHandle contextObject) override {
    if (log) *log += name;
    if (check) check(context, exception, object, contextObject);
    if (act) act();
    return static_cast<xerhstatus>(answer);
  }

  std::string* log = nullptr;
  char name = '?';
  int answer = 0;
  std::function<void()> act;
  std::function<void(const char*, ExceptionHandle&, ObjectHandle&, ObjectHandle&)> check;
};

// Listeners a, b, c, ... at ascending addresses, none added yet.
struct XErrHandler : ::testing::Test {
  XErrHandler() {
    for (std::size_t i = 0; i < all.size(); ++i) {
      all[i].log = &log;
      all[i].name = static_cast<char>('a' + i);
    }
  }
  void listen(const std::vector<Listener*>& these) {
    for (Listener* each : these) each->listen();
  }
  // What is called by one dispatch.
  std::string called() {
    log.clear();
    xerrhandler::dispatch("context", 0, 0, 0);
    return log;
  }

  std::string log;
  std::array<Listener, 5> all;
  Listener &a = all[0], &b = all[1], &c = all[2], &d = all[3], &e = all[4];
};

}  // namespace

TEST_F(XErrHandler, NobodyListensIsNotHandled) {
  a.ignore();  // never added
  EXPECT_EQ(xerrhandler::dispatch("context", 0, 0, 0), xerhNotHandled);
  a.listen();
  a.ignore();
  EXPECT_EQ(xerrhandler::dispatch("context", 0, 0, 0), xerhNotHandled);
  EXPECT_EQ(log, "");
}

TEST_F(XErrHandler, CallsInTheOrderOfAddresses) {
  listen({&c, &e, &a, &d, &b});
  EXPECT_EQ(called(), "abcde");
  EXPECT_EQ(xerrhandler::dispatch("context", 0, 0, 0), 0);
}

TEST_F(XErrHandler, TheFirstThatClaimsAnErrorIsTheLast) {
  listen({&c, &b, &a});
  b.answer = 1;
  c.answer = 2;
  EXPECT_EQ(xerrhandler::dispatch("context", 0, 0, 0), xerhHandled);
  EXPECT_EQ(log, "ab");
}

TEST_F(XErrHandler, AnyStatusIsReturnedUnchanged) {
  a.listen();
  const int statuses[] = {
      1, 2, -1, 256, 65536, std::numeric_limits<int>::min(), std::numeric_limits<int>::max()};
  for (const int status : statuses) {
    a.answer = status;
    EXPECT_EQ(static_cast<int>(xerrhandler::dispatch("context", 0, 0, 0)), status);
  }
}

TEST_F(XErrHandler, AListenerIsThereOnce) {
  listen({&a, &b, &a});
  EXPECT_EQ(called(), "ab");
  a.ignore();
  EXPECT_EQ(called(), "b");
}

TEST_F(XErrHandler, NullIsNoListener) {
  xerrhandler::addlistener(nullptr);
  xerrhandler::removelistener(nullptr);
  a.listen();
  xerrhandler::addlistener(nullptr);
  EXPECT_EQ(called(), "a");
  xerrhandler::removelistener(nullptr);
  EXPECT_EQ(called(), "a");
}

TEST_F(XErrHandler, RemovingOneThatWasNeverAddedDoesNothing) {
  listen({&a, &c});
  b.ignore();
  e.ignore();
  EXPECT_EQ(called(), "ac");
}

TEST_F(XErrHandler, TakesAsManyAsThereAre) {
  std::vector<Listener> many(1000);
  for (Listener& each : many) {
    each.log = &log;
    each.name = 'x';
    each.listen();
  }
  EXPECT_EQ(called(), std::string(1000, 'x'));
}

// ---- arguments ----

TEST_F(XErrHandler, PassesItsArgumentsOn) {
  const ExceptionHandle exception = new VelCountedThrow;
  const ObjectHandle object = new VelLogObject;
  const ObjectHandle contextObject = new VelLogObject;
  const char context[] = "context";
  listen({&a, &b});
  a.check = b.check = [&](const char* text, ExceptionHandle& x, ObjectHandle& o, ObjectHandle& co) {
    EXPECT_EQ(text, context);
    EXPECT_EQ(x.operator->(), exception.operator->());
    EXPECT_EQ(o.operator->(), object.operator->());
    EXPECT_EQ(co.operator->(), contextObject.operator->());
  };
  xerrhandler::dispatch(context, exception, object, contextObject);
  EXPECT_EQ(log, "ab");
}

TEST_F(XErrHandler, NullArgumentsArePassedOnToo) {
  a.listen();
  a.check = [](const char* text, ExceptionHandle& x, ObjectHandle& o, ObjectHandle& co) {
    EXPECT_EQ(text, nullptr);
    EXPECT_TRUE(x.isnull() && o.isnull());
    EXPECT_EQ(co.operator->(), xuninitobject);
  };
  xerrhandler::dispatch(nullptr, 0, 0, xuninitobject);
  EXPECT_EQ(log, "a");
}

TEST_F(XErrHandler, EachListenerGetsReferencesOfItsOwn) {
  const ExceptionHandle exception = new VelCountedThrow;
  const ObjectHandle object = new VelLogObject;
  const ObjectHandle contextObject = new VelLogObject;
  listen({&a, &b});
  a.check = b.check = [](const char*, ExceptionHandle& x, ObjectHandle& o, ObjectHandle& co) {
    // The test's, dispatch's, the listener's.
    EXPECT_EQ(xrcgetcount(x), 3);
    EXPECT_EQ(xrcgetcount(o), 3);
    EXPECT_EQ(xrcgetcount(co), 3);
    x = ExceptionHandle();
    o = co = ObjectHandle();
  };
  xerrhandler::dispatch("context", exception, object, contextObject);
  EXPECT_EQ(log, "ab");
  EXPECT_EQ(xrcgetcount(exception), 1);
  EXPECT_EQ(xrcgetcount(object), 1);
  EXPECT_EQ(xrcgetcount(contextObject), 1);
}

TEST_F(XErrHandler, WhatOnlyTheDispatchHoldsDiesWithIt) {
  a.listen();
  const auto dispatch = [] {
    xerrhandler::dispatch("context", new VelCountedThrow, new VelLogObject, new VelLogObject);
  };
  dispatch();
  EXPECT_EQ(VelCountedThrow::alive(), 0);
  EXPECT_EQ(VelLogObject::alive(), 0);
  ExceptionHandle kept;
  a.check = [&](const char*, ExceptionHandle& x, ObjectHandle&, ObjectHandle&) { kept = x; };
  dispatch();
  EXPECT_EQ(VelCountedThrow::alive(), 1);
  EXPECT_EQ(xrcgetcount(kept), 1);
}

TEST_F(XErrHandler, AllIsGivenBackBeforeItReturns) {
  a.listen();
  for (const int answer : {0, 1}) {
    a.answer = answer;
    // One expression: the arguments themselves live until its end.
    EXPECT_EQ((xerrhandler::dispatch("context", new VelCountedThrow, new VelLogObject, 0),
               VelCountedThrow::alive() + VelLogObject::alive()),
              0);
  }
}

TEST_F(XErrHandler, WhoClaimsAnErrorMayEndAnObjectThatIsNotCounted) {
  auto* object = new VelPlainObject(&log);
  listen({&a, &b});
  a.answer = 1;
  a.act = [&] { xdelete(object); };
  xerrhandler::dispatch("context", 0, object, object);
  EXPECT_EQ(log, "aonDelete\ndestroyed\n");
}

// ---- listeners that come and go ----

TEST_F(XErrHandler, AListenerMayRemoveItself) {
  listen({&a, &b, &c});
  b.act = [&] { b.ignore(); };
  EXPECT_EQ(called(), "abc");
  EXPECT_EQ(called(), "ac");
}

TEST_F(XErrHandler, OneThatWasRemovedIsNotCalled) {
  listen({&a, &b, &c, &d});
  b.act = [&] {
    a.ignore();
    c.ignore();
  };
  EXPECT_EQ(called(), "abd");
  EXPECT_EQ(called(), "bd");
}

TEST_F(XErrHandler, AllMayBeRemoved) {
  listen({&a, &b, &c});
  a.act = [&] {
    for (Listener& each : all) each.ignore();
  };
  EXPECT_EQ(called(), "a");
  EXPECT_EQ(called(), "");
}

TEST_F(XErrHandler, OneThatIsAddedAheadIsCalled) {
  listen({&b, &e});
  b.act = [&] { listen({&c, &d}); };
  EXPECT_EQ(called(), "bcde");
}

TEST_F(XErrHandler, OneThatIsAddedBehindIsCalledTheNextTime) {
  listen({&b, &c});
  b.act = [&] { a.listen(); };
  EXPECT_EQ(called(), "bc");
  EXPECT_EQ(called(), "abc");
}

TEST_F(XErrHandler, OneThatIsRemovedAndAddedAgainIsNotCalledTwice) {
  listen({&a, &b});
  a.act = [&] {
    a.ignore();
    a.listen();
  };
  EXPECT_EQ(called(), "ab");
}

TEST_F(XErrHandler, AListenerMayEndAnother) {
  std::array<std::optional<Listener>, 2> two;
  for (auto& each : two) {
    each.emplace();
    each->log = &log;
    each->name = 'x';
    each->listen();
  }
  two[0]->act = [&] { two[1].reset(); };
  EXPECT_EQ(called(), "x");
  EXPECT_EQ(called(), "x");
}

TEST_F(XErrHandler, AListenerMayEndItself) {
  struct Single final : xerrlistener {
    xerhstatus notify(const char*, ExceptionHandle, ObjectHandle, ObjectHandle) override {
      xerrhandler::removelistener(this);
      delete this;
      return xerhNotHandled;
    }
  };
  a.listen();
  xerrhandler::addlistener(new Single);
  EXPECT_EQ(called(), "a");
  EXPECT_EQ(called(), "a");
}

TEST_F(XErrHandler, AListenerMayDispatch) {
  listen({&a, &b});
  bool nested = false;
  a.act = [&] {
    if (nested) return;
    nested = true;
    xerrhandler::dispatch("nested", 0, 0, 0);
  };
  EXPECT_EQ(called(), "aabb");
}

// ---- listeners that throw ----

TEST_F(XErrHandler, WhatAListenerThrowsPassesAndAllIsGivenBack) {
  const ExceptionHandle exception = new VelCountedThrow;
  const ObjectHandle object = new VelLogObject;
  listen({&a, &b});
  a.act = [] { velXNull::Throw(); };
  EXPECT_VEL_THROW(xerrhandler::dispatch("context", exception, object, object), velXNull);
  a.act = [] { throw 7; };
  EXPECT_THROW(xerrhandler::dispatch("context", exception, object, object), int);
  EXPECT_EQ(log, "aa");
  EXPECT_EQ(xrcgetcount(exception), 1);
  EXPECT_EQ(xrcgetcount(object), 1);
  a.act = nullptr;
  EXPECT_EQ(called(), "ab");
}
