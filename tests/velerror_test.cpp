// Exceptions of the framework and of the standard library.
#include "velerror.h"

#include <cstdio>
#include <exception>
#include <new>
#include <stdexcept>
#include <string>
#include <thread>
#include <type_traits>
#include <utility>

#include "velexceptions.h"
#include "veltest.h"
#include "veltest_memory.h"
#include "veltest_types.h"
#include "xcollections.h"

namespace {

using ::testing::HasSubstr;

// What `statement` throws as a std::exception.
template <class F>
std::string WhatOf(F&& statement) {
  try {
    statement();
  } catch (const std::exception& error) {
    return error.what();
  }
  return "nothing";
}

[[noreturn]] void ThrowCounted() { xthrow(xrcunihandle<xthrowable>(new VelCountedThrow)); }

TEST(VelTry, GivesWhatTheCallReturns) {
  int number = 7;
  EXPECT_EQ(velTry([] { return 3; }), 3);
  EXPECT_EQ(&velTry([&]() -> int& { return number; }), &number);
  velTry([&] { number = 8; });
  EXPECT_EQ(number, 8);
}

TEST(VelTry, TurnsAThrownObjectIntoAStdException) {
  const auto numbers = xintsequence::create();
  EXPECT_EQ(WhatOf([&] { velTry([&] { return numbers->get(99); }); }),
            "vellib::XInvalidSeqIndex: Sequence index is out of range: 99\n"
            "vellib::XInvalidSeqIndex\n"
            "{\n"
            "  Description : \"Sequence index is out of range\"\n"
            "  VelObject : intseq\n"
            "  [\n"
            "  ]\n"
            "  Index : 99\n"
            "}");
}

TEST(VelTry, LeavesOtherExceptionsAlone) {
  EXPECT_EQ(WhatOf([] { velTry([] { throw std::runtime_error("mine"); }); }), "mine");
  EXPECT_THROW(velTry([] { throw 7; }), int);
}

TEST(VelTry, OwnsTheObjectAsLongAsTheErrorLives) {
  ASSERT_EQ(VelCountedThrow::alive(), 0);
  try {
    velTry(&ThrowCounted);
    FAIL();
  } catch (const velError& error) {
    EXPECT_EQ(VelCountedThrow::alive(), 1);
    EXPECT_EQ(xrcgetcount(error.object()), 1);
    EXPECT_NE(error.as<VelCountedThrow>(), nullptr);
    EXPECT_EQ(error.as<velXNull>(), nullptr);
    const velError copy = error;
    EXPECT_EQ(xrcgetcount(error.object()), 2);
    EXPECT_EQ(copy.object(), error.object());
  }
  EXPECT_EQ(VelCountedThrow::alive(), 0);
}

TEST(VelTry, WithoutMemoryTheObjectGoesAllTheSame) {
  int failures = 0;
  for (bool hasFailed = true; hasFailed; failures += hasFailed) {
    const VelFailAllocation failing(failures + 1);
    try {
      velTry(&ThrowCounted);
    } catch (const std::exception&) {
      // A velError, or what says that there was no memory for it.
    }
    hasFailed = failing.hasFailed();
    EXPECT_EQ(VelCountedThrow::alive(), 0) << failures;
  }
  EXPECT_GT(failures, 2);
}

TEST(VelTry, CallsNestedInOneAnotherTurnItOnce) {
  EXPECT_THROW(velTry([] { velTry(&ThrowCounted); }), velError);
  EXPECT_EQ(VelCountedThrow::alive(), 0);
}

TEST(VelError, IsCopiedWithoutThrowing) {
  static_assert(std::is_nothrow_copy_constructible<velError>::value, "as the standard's own");
  const velError one(xrchandle<xthrowable>(new VelCountedThrow));
  velError other(xrchandle<xthrowable>(new xthrowable));
  other = one;
  EXPECT_EQ(other.object(), one.object());
  EXPECT_STREQ(other.what(), one.what());
}

TEST(VelError, WithoutADescriptionTellsTypeAndParts) {
  const velError error(xrchandle<xthrowable>(new xthrowable));
  EXPECT_EQ(std::string(error.what()).rfind("vellib::Throwable\nvellib::Throwable\n", 0), 0U)
      << error.what();
}

TEST(VelError, RaiseThrowsTheObjectAgain) {
  const xrchandle<xthrowable> object = new VelCountedThrow;
  const velError error(object);
  {
    const auto caught = velCaught([&] { error.raise(); });
    EXPECT_TRUE(caught == object);
    EXPECT_EQ(xrcgetcount(object), 3);
  }
  EXPECT_EQ(xrcgetcount(object), 2);
}

TEST(VelError, GoesToAnotherThread) {
  std::exception_ptr carried;
  std::thread([&] {
    try {
      velTry(&ThrowCounted);
    } catch (...) {
      carried = std::current_exception();
    }
  }).join();
  EXPECT_THROW(std::rethrow_exception(carried), velError);
  carried = nullptr;
  EXPECT_EQ(VelCountedThrow::alive(), 0);
}

// An exception whose attribute cannot be read.
TEST(VelError, TellsOfAPartThatCannotBeRead) {
  class Broken : public xthrowable {
   public:
    Broken() : attribute("part"), type("veltest::Broken", {}, {&attribute}) {}

   private:
    struct Attribute : VelAttr {
      using VelAttr::VelAttr;
      xany getValue(xobject*) override { velThrowsInt(); }
    };
    xrttiobject* giveRtti() override { return &type; }
    Attribute attribute;
    VelStructType type;
  };
  const velError error(xrchandle<xthrowable>(new Broken));
  EXPECT_THAT(error.what(), HasSubstr("part : <ERROR: Unknown exception>"));
}

TEST(VelError, LargeAndDeepObjectsAreToldInPart) {
  auto numbers = xintsequence::create();
  for (int i = 0; i < 1000000; ++i) numbers->append(i);
  auto nested = xanysequence::create();
  for (int i = 0; i < 200000; ++i) {
    const auto outer = xanysequence::create();
    outer->append(xany(nested));
    nested = outer;
  }
  for (const xany& value : {xany(numbers), xany(nested)}) {
    const std::string what = WhatOf([&] {
      velTry([&] { velXInvalidSeqIndex::Throw(value, 7); });
    });
    EXPECT_EQ(what.size(), std::string("vellib::XInvalidSeqIndex: Sequence index is out of range: 7\n")
                               .size() + 65536 + 3);
    EXPECT_EQ(what.substr(what.size() - 3), "...");
  }
}

// The longest text that is told in full, and the shortest that is not.
TEST(VelError, TextIsToldInFullUpToTheLimit) {
  const auto walked = [](std::size_t length) {
    const std::string text(length, 'a');
    const std::string what =
        WhatOf([&] { velTry([&] { velXNativeException::Throw(text.c_str()); }); });
    return what.substr(what.find('\n') + 1);
  };
  const std::size_t room = 65536 - walked(0).size();
  EXPECT_EQ(walked(room).size(), 65536U);
  EXPECT_EQ(walked(room).back(), '}');
  EXPECT_EQ(walked(room + 1).size(), 65536U + 3);
  EXPECT_EQ(walked(room + 1).substr(65530), "aaaa\"\n...");
}

// ---- in one line ----

template <class Act>
std::string SummaryOf(Act act) {
  try {
    act();
  } catch (xthrowable* caught) {
    const std::string summary = velSummary(caught);
    xrcrelease(caught);
    return summary;
  }
  return "no exception";
}

TEST(VelSummary, TellsWhatTheAttributesTell) {
  const auto numbers = xintsequence::create();
  const xany text = "x";
  EXPECT_EQ(SummaryOf([] { velhThrowNull(); }), "Attempt to assign null to non-optional object");
  EXPECT_EQ(SummaryOf([&] { numbers->get(-1); }), "Negative index: -1");
  EXPECT_EQ(SummaryOf([&] { numbers->get(3); }), "Sequence index is out of range: 3");
  EXPECT_EQ(SummaryOf([&] { velXTypeMismatch::Throw("int", text); }),
            "Object type mismatch: string where int is expected");
  EXPECT_EQ(SummaryOf([&] { velXTypeMismatch::Throw("int", xany(xanyNil)); }),
            "Object type mismatch: nil where int is expected");
  EXPECT_EQ(SummaryOf([&] { velhThrowInvalidDictKey(numbers, "k"); }),
            "Dictionary key is not found: \"k\" in intseq");
  EXPECT_EQ(SummaryOf([&] { velhThrowInvalidArrayIndex(numbers, 7, 1); }),
            "Array index is out of range: 7 in dimension 1");
  EXPECT_EQ(SummaryOf([] { velXNativeException::Throw("gone"); }), "gone");
  EXPECT_EQ(SummaryOf([] { velXNativeException::Throw(""); }), "Native exception");
}

TEST(VelSummary, CutsALongTextBetweenCharacters) {
  const std::string almost(999, 'a');
  EXPECT_EQ(SummaryOf([&] { velXNativeException::Throw((almost + 'b').c_str()); }), almost + 'b');
  EXPECT_EQ(SummaryOf([&] { velXNativeException::Throw((almost + "bc").c_str()); }),
            almost + "b...");
}

// ---- the other way ----

TEST(VelThrowing, TurnsAStdExceptionIntoANativeOne) {
  EXPECT_VEL_NATIVE(velThrowing([] { throw std::runtime_error("no such file"); }), "no such file");
  EXPECT_VEL_NATIVE(velThrowing([] { throw std::out_of_range(""); }), "");
  EXPECT_VEL_NATIVE(velThrowing([] { throw std::bad_alloc(); }), std::bad_alloc().what());
}

TEST(VelThrowing, GivesTheObjectOfAnErrorBack) {
  const xrchandle<xthrowable> object = new VelCountedThrow;
  {
    const auto caught = velCaught([&] { velThrowing([&] { throw velError(object); }); });
    EXPECT_TRUE(caught == object);
  }
  EXPECT_EQ(xrcgetcount(object), 1);
}

TEST(VelThrowing, LeavesTheRestAlone) {
  EXPECT_EQ(velThrowing([] { return 3; }), 3);
  EXPECT_THROW(velThrowing([] { throw 7; }), int);
  EXPECT_VEL_THROW(velThrowing(&ThrowCounted), VelCountedThrow);
  EXPECT_EQ(VelCountedThrow::alive(), 0);
}

TEST(VelThrowing, AndBackIsTheSameText) {
  const std::string there = WhatOf([] {
    velTry([] { velThrowing([] { throw std::runtime_error("no such file"); }); });
  });
  EXPECT_THAT(there, HasSubstr("no such file"));
  EXPECT_EQ(WhatOf([&] { velTry([&] { velThrowing([&] { velTry([] {
                                      velXNativeException::Throw("x");
                                    }); }); }); }),
            WhatOf([] { velTry([] { velXNativeException::Throw("x"); }); }));
}

TEST(VelThrowCurrent, LeavesWhatIsNoStdExceptionAsItIs) {
  const auto throwsOn = [](auto what) {
    try {
      throw what;
    } catch (...) {
      velThrowCurrent();
    }
  };
  EXPECT_THROW(throwsOn(7), int);
  EXPECT_VEL_NATIVE(throwsOn(std::logic_error("why")), "why");
}

// ---- the end of a program ----

template <class F>
void EndsWith(F&& statement) {
  velInstallTerminateHandler();
  std::thread(std::forward<F>(statement)).join();
}

TEST(VelTerminateHandlerDeathTest, SaysWhatNobodyCaught) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_EXIT(EndsWith([] { velXNativeException::Throw("gone"); }),
              ::testing::KilledBySignal(SIGABRT),
              ::testing::Eq("terminate called after throwing vellib::XNativeException: "
                            "gone\n"
                            "vellib::XNativeException\n"
                            "{\n"
                            "  Description : \"Native exception\"\n"
                            "  StringRep : \"gone\"\n"
                            "}\n"));
}

TEST(VelTerminateHandlerDeathTest, LeavesOthersToTheHandlerBefore) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  const auto before = [] {
    std::fputs("the handler before\n", stderr);
    std::_Exit(3);
  };
  const auto end = [&](auto what) {
    std::set_terminate(before);
    velInstallTerminateHandler();  // once more, which changes nothing
    EndsWith([what] { throw what; });
  };
  EXPECT_EXIT(end(7), ::testing::ExitedWithCode(3), ::testing::Eq("the handler before\n"));
  EXPECT_EXIT(end(std::runtime_error("x")), ::testing::ExitedWithCode(3),
              ::testing::Eq("the handler before\n"));
}

TEST(VelTerminateHandlerDeathTest, TheStandardHandlerStillSeesTheException) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_EXIT(EndsWith([] { throw std::runtime_error("gone"); }),
              ::testing::KilledBySignal(SIGABRT), HasSubstr("gone"));
}

TEST(VelTerminateHandlerDeathTest, WorksWithoutAnException) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  const auto before = [] { std::_Exit(3); };
  EXPECT_EXIT(
      {
        std::set_terminate(before);
        velInstallTerminateHandler();
        std::terminate();
      },
      ::testing::ExitedWithCode(3), "");
}

}  // namespace
