#include <gtest/gtest.h>
#include <malloc.h>

#include <cstdint>
#include <cstring>
#include <limits>
#include <string>
#include <type_traits>
#include <utility>

#include "velrtti.h"
#include "veltest.h"
#include "xany.h"

namespace {

constexpr char kSource[] = "velstd/services/xobject";
constexpr int kNilInt = std::numeric_limits<int>::min();

const char* TextAt(std::uintptr_t address) { return reinterpret_cast<const char*>(address); }

constexpr const char* kColours[] = {"red", "green", "blue"};
xrttienum* Colour() {
  static auto* type = new xrttienum("veltest::Colour", 3, kColours);
  return type;
}

// The value as C sees it: the same bytes.
__xany_c Bytes(const xany& value) {
  __xany_c view;
  std::memcpy(&view, static_cast<const void*>(&value), sizeof view);
  return view;
}

__xany_c ObjectView(xobject* object) {
  __xany_c view{};
  view.kind = xanyObject;
  view.u.o = object;
  return view;
}

// Writes each attach and release down instead of counting.
class Counter : public virtual xobject {
  VEL_OBJECT(Counter)
 public:
  explicit Counter(std::string* text, const char* title) : log(text), name(title) {}

 private:
  void xattach() override { *log += std::string("+") + name + ' '; }
  void xrelease() override { *log += std::string("-") + name + ' '; }

  std::string* log;
  const char* name;
};
VEL_OBJECT_RTTI(Counter, xrttiobject, [](xrttiobject* rtti) {
  rtti->initializeRttiObject("veltest::Counter", 1, 0, nullptr);
})

// On its destruction notes what a value reads as.
class Watcher : public virtual xobject {
  VEL_OBJECT(Watcher)
 public:
  Watcher(const xany* value, int* seen) : watched(value), kindSeen(seen) {}
  ~Watcher() override { *kindSeen = watched->getkind(); }

 private:
  const xany* watched;
  int* kindSeen;
};
VEL_OBJECT_RTTI(Watcher, xrttiobject, [](xrttiobject* rtti) {
  rtti->initializeRttiObject("veltest::Watcher", 1, 0, nullptr);
})

// On its destruction leaves a text where it was held.
class Leaver : public virtual xobject {
  VEL_OBJECT(Leaver)
 public:
  Leaver(xany* value, const char* words) : held(value), text(words) {}
  ~Leaver() override { *held = text; }

 private:
  xany* held;
  const char* text;
};
VEL_OBJECT_RTTI(Leaver, xrttiobject, [](xrttiobject* rtti) {
  rtti->initializeRttiObject("veltest::Leaver", 1, 0, nullptr);
})

// ---- views ----

TEST(XAny, ViewOfAnObjectTakesAReferenceOfItsOwn) {
  const xrchandle<VelLogObject> object(new VelLogObject);
  const __xany_c view = ObjectView(velAsObject(object.operator->()));
  xany assigned;
  assigned = view;
  const xany built(view);
  EXPECT_EQ(xrcgetcount(object), 3);
  EXPECT_EQ(built.getkind(), xanyObject);
  EXPECT_TRUE(assigned == built);
}

TEST(XAny, ViewOfAStringTakesAReferenceOfItsOwn) {
  __xany_c view{};
  view.kind = xanyString;
  view.u.s = xstring("shared").getxstring_c();
  xany value(view);
  EXPECT_EQ(Bytes(value).u.s.buffer, view.u.s.buffer);
  xstring(view.u.s, false);  // gives the view's reference back
  EXPECT_STREQ(value.operator const char*(), "shared");
}

TEST(XAny, ValuesMadeOfAViewLeaveItsReferenceAlone) {
  __xany_c view{};
  view.kind = xanyString;
  view.u.s = xstring("shared by all of them").getxstring_c();
  for (int i = 0; i < 3; ++i) const xany value(view);
  const xstring other("takes what is given up");
  EXPECT_STREQ(view.u.s.narrow, "shared by all of them");
  xstring(view.u.s, false);
}

// Whichever way the value goes. Memory is not told from outside under a sanitizer, which
// finds what is lost itself.
TEST(XAny, TextThatNobodyHoldsIsGivenBack) {
  const std::string text(1000, 'x');
  std::size_t before = 0;
  for (int i = 0; i < 300; ++i) {
    if (i == 100) before = mallinfo2().uordblks;
    xany value(text.c_str());
    value = 1;
    value = xany(text.c_str());
    value = xany(new VelLogObject);
    value = text.c_str();
    value = "short";
    value = xany(text.c_str());
    value = xany();
    const xany last(text.c_str());
    xany moved(text.c_str());
    value = std::move(moved);
    xany dying;
    dying = xany(new Leaver(&dying, text.c_str()));
  }
  EXPECT_LT(mallinfo2().uordblks, before + 50000);
}

TEST(XAny, ViewOfNoObjectIsNotCountedWhateverItSays) {
  for (xobject* none : {static_cast<xobject*>(nullptr), xuninitobject}) {
    __xany_c view;
    std::memset(static_cast<void*>(&view), 0xFF, sizeof view);
    view.kind = xanyObject;
    view.u.o = none;
    xany value(view);
    value = 1;
    EXPECT_EQ(value.operator int(), 1);
  }
}

TEST(XAny, ViewOfAPlainKindIsCopied) {
  __xany_c view{};
  view.kind = xanyInt;
  view.u.i = kNilInt;  // as it is: no marker is looked for
  EXPECT_EQ(xany(view).getkind(), xanyInt);
  view.kind = xanyEnum;
  view.u.e = {1, Colour()};
  EXPECT_TRUE(xany(view) == xany(1, Colour()));
}

TEST(XAny, ZeroedViewOfAStringIsTheNullString) {
  __xany_c view{};
  view.kind = xanyString;
  const xany value(view);
  EXPECT_EQ(value.operator const char*(), TextAt(1));
  EXPECT_TRUE(value == xany(xanyString));
}

TEST(XAny, ViewOfANullObjectKeepsItsKindAndReadsAsNil) {
  const xany value(ObjectView(nullptr));
  EXPECT_EQ(value.getkind(), xanyObject);
  EXPECT_TRUE(value.isnil());
  EXPECT_FALSE(value.isuninit());
  EXPECT_TRUE(value.isint());
  EXPECT_EQ(value.operator int(), kNilInt);
  EXPECT_EQ(value.operator xobject*(), nullptr);
  EXPECT_EQ(value.getRtti(), velGetRtti_any());
  EXPECT_TRUE(value == xany(xanyNil));
  EXPECT_TRUE(value == kNilInt);
  EXPECT_EQ(value.getxany_c().kind, xanyObject);
  LogTraverser log;
  velTraverse(value, &log);
  EXPECT_EQ(log.text(), "simpleValue(nil)");
}

TEST(XAny, ViewOfTheUninitObjectKeepsItsKindAndReadsAsUninit) {
  const xany value(ObjectView(xuninitobject));
  const xany copy(value);
  EXPECT_EQ(copy.getkind(), xanyObject);
  EXPECT_TRUE(copy.isuninit());
  EXPECT_FALSE(copy.isnil());
  EXPECT_TRUE(copy.isstring());
  EXPECT_EQ(copy.operator xobject*(), xuninitobject);
  EXPECT_EQ(copy.operator unsigned char(), 0x81);
  EXPECT_EQ(copy.getRtti(), velGetRtti_any());
  EXPECT_TRUE(copy == xany());
  EXPECT_EQ(copy.getxany_c().u.o, xuninitobject);
  LogTraverser log;
  velTraverse(copy, &log);
  EXPECT_EQ(log.text(), "");
}

TEST(XAny, GetViewTakesAReference) {
  const xrchandle<VelLogObject> object(new VelLogObject);
  {
    const xany value(object);
    const __xany_c view = value.getxany_c();
    EXPECT_EQ(view.kind, xanyObject);
    EXPECT_EQ(xrcgetcount(object), 3);
    xrcrelease(view.u.o);
  }
  EXPECT_EQ(xrcgetcount(object), 1);
  const __xany_c text = xany("kept").getxany_c();
  const xstring owner(text.u.s, false);
  EXPECT_STREQ(owner.CastToCString(), "kept");
}

TEST(XAny, AdaptersGiveViewAndValue) {
  const xrchandle<VelLogObject> object(new VelLogObject);
  const __xany_c view = xcadapt_cxx2c(xany(object));
  EXPECT_EQ(xrcgetcount(object), 2) << "the view's";
  {
    const xany back = xcadapt_c2cxx(view);
    EXPECT_TRUE(back == object);
    EXPECT_EQ(xrcgetcount(object), 3);
  }
  EXPECT_EQ(xrcgetcount(object), 2) << "the view keeps its own";
  xrcrelease(view.u.o);
  const __xany_c text = xcadapt_cxx2c(xany("abc"));
  EXPECT_TRUE(xcadapt_c2cxx(text) == "abc");
  const xstring owner(text.u.s, false);
  EXPECT_STREQ(owner.CastToCString(), "abc");
  EXPECT_EQ(xcadapt_cxx2c(xany(2.5)).u.d, 2.5);
}

TEST(XAny, UnknownKindsAbort) {
  __xany_c view{};
  xany value;
  for (int kind : {8, -1, 0x7FFFFFFF, kNilInt}) {
    view.kind = static_cast<__xanykind>(kind);
    EXPECT_VEL_ABORT(value = view, "Can not be here.", kSource, 205);
    EXPECT_VEL_ABORT(xany{view}, "Can not be here.", kSource, 205);
  }
  const xany unknown(static_cast<__xanykind>(8));
  EXPECT_EQ(unknown.getkind(), 8);
  EXPECT_VEL_ABORT(value = unknown, "Can not be here.", kSource, 205);
  EXPECT_VEL_ABORT(xany{unknown}, "Can not be here.", kSource, 205);
  EXPECT_VEL_ABORT(xcadapt_c2cxx(view), "Can not be here.", kSource, 205);
  EXPECT_VEL_ABORT(unknown.getxany_c(), "Can not be here.", kSource, 127);
  EXPECT_VEL_ABORT(xcadapt_cxx2c(xany(static_cast<__xanykind>(-1))), "Can not be here.", kSource,
                   127);
}

// ---- references ----

TEST(XAny, HoldsOneReferenceOnAnObject) {
  const xrchandle<VelLogObject> object(new VelLogObject);
  {
    xany value(object);
    EXPECT_EQ(xrcgetcount(object), 2);
    xany copy(value);
    EXPECT_EQ(xrcgetcount(object), 3);
    const xany moved(std::move(copy));
    EXPECT_EQ(xrcgetcount(object), 3);
    value = 1;
    EXPECT_EQ(xrcgetcount(object), 2);
  }
  EXPECT_EQ(xrcgetcount(object), 1);
}

// Whatever it held and whatever it gets: numbers, text and objects are counted in
// different places.
TEST(XAny, TakesEachKindOverEachOther) {
  const xrchandle<VelLogObject> object(new VelLogObject);
  const xany text("forty-eight letters are too long for most places");
  const char* const letters = text;
  const xany kinds[] = {xany(),           xany(xanyNil),
                        xany(7),          xany(true),
                        xany(1.5),        text,
                        xany(xanyString), xany(object),
                        xany("a"),        xany(1, Colour()),
                        xany(xanyObject), xany(velGetRtti_int())};
  const int held = xrcgetcount(object);
  for (const xany& before : kinds) {
    for (const xany& after : kinds) {
      xany value(before);
      value = after;
      EXPECT_EQ(value.getkind(), after.getkind());
      EXPECT_TRUE(value == after);
      xany moved(before);
      moved = std::move(value);
      EXPECT_TRUE(moved == after);
      EXPECT_EQ(value.getkind(), xanyUninit);
      value = moved;
      const xany copy(value);
      EXPECT_TRUE(copy == after);
      if (&after == &text) {
        EXPECT_EQ(static_cast<const char*>(copy), letters);
      }
    }
  }
  EXPECT_EQ(xrcgetcount(object), held);
}

TEST(XAny, TextLivesAsLongAsOneOfItsCopies) {
  xany first("a text of its own");
  const char* const letters = first;
  xany second(first);
  xany third;
  third = second;
  first = 1;
  EXPECT_EQ(static_cast<const char*>(second), letters);
  second = "another";
  EXPECT_EQ(static_cast<const char*>(third), letters);
  EXPECT_STREQ(third, "a text of its own");
}

// A form that one holder of a text had made is known to later copies of another.
TEST(XAny, CopyKnowsEveryFormOfTheText) {
  const xstring text("both forms");
  const xany value(text);
  EXPECT_EQ(Bytes(value).u.s.wide, nullptr);
  const wchar_t* const wide = text;
  const xany copy(value);
  EXPECT_EQ(Bytes(copy).u.s.wide, wide);
  xany assigned;
  assigned = value;
  EXPECT_EQ(Bytes(assigned).u.s.wide, wide);
  EXPECT_EQ(Bytes(value).u.s.wide, nullptr);
}

TEST(XAny, LastValueDestroysTheObject) {
  std::string log;
  {
    xany value(new VelLogObject(&log));
    value = xany(value);
    EXPECT_EQ(log, "");
  }
  EXPECT_EQ(log, "object asked\nobject onDelete\nobject destroyed\n");
}

TEST(XAny, AttachesTheNewBeforeItReleasesTheOld) {
  std::string log;
  Counter first(&log, "first");
  Counter second(&log, "second");
  {
    xany value(&first);
    EXPECT_EQ(log, "+first ");
    value = static_cast<xobject*>(&second);
    EXPECT_EQ(log, "+first +second -first ");
    log.clear();
    value = ObjectView(&first);
    EXPECT_EQ(log, "+first -second ");
    log.clear();
    value = xany(&second);
    EXPECT_EQ(log, "+second -first ");
    log.clear();
  }
  EXPECT_EQ(log, "-second ");
}

TEST(XAny, EveryPathGoesThroughTheClassesOwnCounting) {
  std::string log;
  Counter object(&log, "it");
  {
    const xany value(&object);
    const xany copy(value);
    EXPECT_EQ(log, "+it +it ");
    xrcrelease(value.getxany_c().u.o);
    EXPECT_EQ(log, "+it +it +it -it ");
    log.clear();
  }
  EXPECT_EQ(log, "-it -it ");
}

TEST(XAny, MoveLeavesTheSourceUninit) {
  const xrchandle<VelLogObject> object(new VelLogObject);
  xany from(object);
  xany to("text");
  to = std::move(from);
  EXPECT_TRUE(from.isuninit());
  EXPECT_TRUE(to == object);
  EXPECT_EQ(xrcgetcount(object), 2);
  static_assert(std::is_nothrow_move_constructible<xany>::value, "");
  static_assert(std::is_nothrow_move_assignable<xany>::value, "");
}

TEST(XAny, ReleasesAfterTheNewContentIsInPlace) {
  int seen = -1;
  xany value;
  value = xany(new Watcher(&value, &seen));
  value = 5;
  EXPECT_EQ(seen, xanyInt);
  value = xany(new Watcher(&value, &seen));
  value = "text";
  EXPECT_EQ(seen, xanyString);
  value = xany(new Watcher(&value, &seen));
  value = ObjectView(nullptr);
  EXPECT_EQ(seen, xanyObject);
}

TEST(XAny, IsUninitWhileItsDestructorReleases) {
  int seen = -1;
  {
    xany value;
    value = xany(new Watcher(&value, &seen));
  }
  EXPECT_EQ(seen, xanyUninit);
}

// `assign` puts the content of a value into the value itself.
template <class F>
void ExpectSelfAssignmentKeeps(F assign) {
  const xrchandle<VelLogObject> other(new VelLogObject);
  xany text(xstring("longer than any inline buffer could ever be"));
  xany object(new VelLogObject);
  const int alive = VelLogObject::alive();
  assign(text);
  assign(object);
  EXPECT_STREQ(text.operator const char*(), "longer than any inline buffer could ever be");
  EXPECT_EQ(VelLogObject::alive(), alive);
  EXPECT_EQ(xrcgetcount(object.operator xobject*()), 1);
}

TEST(XAny, SelfAssignmentIsSafeInEveryForm) {
  ExpectSelfAssignmentKeeps([](xany& value) {
    const xany& self = value;
    value = self;
  });
  ExpectSelfAssignmentKeeps([](xany& value) {
    xany& self = value;
    value = std::move(self);
  });
  ExpectSelfAssignmentKeeps([](xany& value) { value = Bytes(value); });
  ExpectSelfAssignmentKeeps([](xany& value) { value = xany(value); });
  ExpectSelfAssignmentKeeps([](xany& value) {
    if (value.getkind() == xanyString) {
      value = value.operator const char*();
    } else {
      value = value.operator xobject*();
    }
  });
  ExpectSelfAssignmentKeeps([](xany& value) {
    if (value.getkind() == xanyString) {
      value = value.operator xstring();
    } else {
      value = xrcunihandle<xobject>(value.operator xobject*());
    }
  });
}

TEST(XAny, TextWithinTheOwnTextIsAssignable) {
  xany value("x-suffix");
  value = value.operator const char*() + 2;
  EXPECT_TRUE(value == "suffix");
}

// ---- objects that are not counted ----

TEST(XAny, DoesNotTouchAnUncountedObjectAgain) {
  auto* object = new VelPlainObject;
  xany value(object);
  xany copy(value);
  EXPECT_EQ(xrcgetcount(object), -1);
  xdelete(object);
  xany late(copy);
  late = value;
  const xany moved(std::move(late));
  EXPECT_TRUE(moved == value);
  const __xany_c view = value.getxany_c();
  EXPECT_EQ(view.kind, xanyObject);
  value = 1;
}

// Where the object was lies what is none: whoever follows a pointer in it goes astray.
TEST(XAny, DoesNotFollowAnUncountedObjectThatIsGone) {
  alignas(VelPlainObject) unsigned char place[sizeof(VelPlainObject)];
  auto* object = new (place) VelPlainObject;
  xany value(object);
  object->~VelPlainObject();
  std::memset(place, 0x5A, sizeof place);
  xany copy(value);
  copy = value;
  copy = 1;
  value = 2;
  for (const unsigned char byte : place) ASSERT_EQ(byte, 0x5A);
}

TEST(XAny, AsksAViewAnewWhetherItsObjectIsCounted) {
  const xrchandle<VelLogObject> counted(new VelLogObject);
  VelPlainObject plain;
  __xany_c view = Bytes(xany(counted));
  view.u.o = &plain;
  { const xany value(view); }
  view = Bytes(xany(&plain));
  view.u.o = velAsObject(counted.operator->());
  {
    const xany value(view);
    EXPECT_EQ(xrcgetcount(counted), 2);
  }
  EXPECT_EQ(xrcgetcount(counted), 1);
}

TEST(XAny, ExceptionOutlivesTheUncountedObjectItIsAbout) {
  xthrowable* caught = nullptr;
  try {
    VelPlainObject local;
    velXNull::cast(&local);
  } catch (xthrowable* e) {
    caught = e;
  }
  ASSERT_NE(caught, nullptr);
  EXPECT_EQ(xrcgetcount(caught), 1);
  xrcrelease(caught);
}

}  // namespace
