// The ends of the process that no other test program is about, each with its one
// line, and those lines under odd conditions: threads, the C interface, and a
// standard error that takes nothing.
//
// aborts_check.py sees to it that every abort of the library is in some test.
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <climits>
#include <csignal>
#include <cstdint>
#include <functional>
#include <string>
#include <thread>

#include "dsdatcol.h"
#include "korabort.h"
#include "thrmutex.h"
#include "velstd_c.h"
#include "veltest.h"

namespace {

// ---- mutexes -------------------------------------------------------------------

void OnAnotherThread(const std::function<void()>& run) { std::thread(run).join(); }

void UnlockFree() { thrMutex(thrMutexRecursive).Unlock(); }

void UnlockTooOften() {
  thrMutex mutex(thrMutexRecursive);
  mutex.Lock();
  mutex.Unlock();
  mutex.Unlock();
}

void UnlockElsewhere() {
  thrMutex mutex(thrMutexRecursive);
  mutex.Lock();
  OnAnotherThread([&] { mutex.Unlock(); });
}

void LockTwice() {
  thrMutex mutex(thrMutexNonRecursive);
  mutex.Lock();
  mutex.Lock();
}

TEST(MutexDeathTest, EveryIllegalOperationEndsTheProcess) {
  for (void (*operation)() : {&UnlockFree, &UnlockTooOften, &UnlockElsewhere, &LockTwice,
                              &thrMutex::AbortMsgIllegalMutexOp}) {
    EXPECT_VEL_ABORT(operation(), "Illegal mutex operation.", "korkit/korbase/src/thrmutex", 64);
  }
}

// ---- maps that store nothing -----------------------------------------------------

constexpr char kMapSource[] = "korkit/korbase/inc/dsdatcol";

TEST(DsDataMapDeathTest, EveryOperationOfItsOwnEndsTheProcess) {
  dsDataMap<xerrlistener*, unsigned> map;
  unsigned value = 0;
  EXPECT_EQ(map.GetCount(), 0);
  EXPECT_VEL_ABORT(map.Add(nullptr, 1), "dsDataMap::Add ()", kMapSource, 297);
  EXPECT_VEL_ABORT(map.Remove(nullptr), "dsDataMap::Remove ()", kMapSource, 301);
  EXPECT_VEL_ABORT(map.Find(nullptr, &value), "dsDataMap::Find ()", kMapSource, 305);
}

// ---- from everywhere ----------------------------------------------------------------

class Spoilt : public VelLogObject {
 public:
  Spoilt() { refcount = -2; }
};

// No guard of the C interface takes an abort for something thrown.
TEST(AbortsDeathTest, EndTheProcessThroughTheCInterface) {
  EXPECT_VEL_ABORT(xrcattach_c(new Spoilt), "xrcattach: Invalid value of refcount.",
                   "velstd/services/xobject", 505);
  EXPECT_VEL_ABORT(xrcrelease_c(new Spoilt), "xrcrelease: Invalid value of refcount.",
                   "velstd/services/xobject", 591);
}

TEST(AbortsDeathTest, EndTheProcessFromAnyThread) {
  EXPECT_VEL_ABORT(OnAnotherThread([] { xrcattach(new Spoilt); }),
                   "xrcattach: Invalid value of refcount.", "velstd/services/xobject", 505);
}

// ---- whatever becomes of the line ---------------------------------------------------

// How a child ends that aborts after `prepare`.
int Ending(const std::function<void()>& prepare, const char* message = "m",
           const char* source = "s") {
  const pid_t child = fork();
  if (child == 0) {
    const rlimit noCore = {0, 0};
    setrlimit(RLIMIT_CORE, &noCore);
    signal(SIGABRT, SIG_DFL);
    prepare();
    _korAbort(message, source, 1);
  }
  int status = 0;
  waitpid(child, &status, 0);
  return status;
}

#define EXPECT_SIGABRT(status)               \
  do {                                       \
    const int velStatus = status;            \
    EXPECT_TRUE(WIFSIGNALED(velStatus));     \
    EXPECT_EQ(WTERMSIG(velStatus), SIGABRT); \
  } while (0)

void SendErrorsTo(const char* path) {
  const int file = open(path, O_WRONLY);
  dup2(file, STDERR_FILENO);
}

TEST(KorAbortEnding, NeedsNoStandardError) {
  EXPECT_SIGABRT(Ending([] { close(STDERR_FILENO); }));
  EXPECT_SIGABRT(Ending([] { SendErrorsTo("/dev/null"); }));
  EXPECT_SIGABRT(Ending([] { SendErrorsTo("/dev/full"); }));
  EXPECT_SIGABRT(Ending([] {
    const int file = open("/dev/null", O_RDONLY);
    dup2(file, STDERR_FILENO);
  }));
}

TEST(KorAbortEnding, IsNotThatOfABrokenPipe) {
  EXPECT_SIGABRT(Ending([] {
    int ends[2];
    if (pipe(ends) != 0) _exit(90);
    signal(SIGPIPE, SIG_DFL);
    dup2(ends[1], STDERR_FILENO);
    close(ends[0]);
    close(ends[1]);
  }));
}

TEST(KorAbortEnding, IsNotThatOfAFileAtItsLimit) {
  EXPECT_SIGABRT(Ending([] {
    const rlimit none = {0, 0};
    setrlimit(RLIMIT_FSIZE, &none);
    signal(SIGXFSZ, SIG_DFL);
    dup2(memfd_create("errors", 0), STDERR_FILENO);
  }));
}

// Nobody reads the pipe, and nothing more goes in.
TEST(KorAbortEnding, DoesNotWaitForAFullPipeThatNeverBlocks) {
  EXPECT_SIGABRT(Ending([] {
    int ends[2];
    if (pipe2(ends, O_NONBLOCK) != 0) _exit(90);
    const std::string filling(4096, 'x');
    while (write(ends[1], filling.data(), filling.size()) > 0) {}
    dup2(ends[1], STDERR_FILENO);
  }));
}

TEST(KorAbortEnding, IsTheSameWhenTheSignalIsIgnoredOrBlocked) {
  EXPECT_SIGABRT(Ending([] {
    SendErrorsTo("/dev/null");
    signal(SIGABRT, SIG_IGN);
  }));
  EXPECT_SIGABRT(Ending([] {
    SendErrorsTo("/dev/null");
    sigset_t all;
    sigfillset(&all);
    sigprocmask(SIG_SETMASK, &all, nullptr);
  }));
  EXPECT_SIGABRT(Ending([] {
    SendErrorsTo("/dev/null");
    signal(SIGABRT, [](int) {});
  }));
}

TEST(KorAbortEnding, IsTheSameWhateverTheTexts) {
  const std::string overlong(std::size_t{1} << 20, 'x');
  const auto text = [](std::uintptr_t address) { return reinterpret_cast<const char*>(address); };
  const char* const texts[] = {text(0), text(1), text(2), "", overlong.c_str()};
  for (const char* message : texts) {
    for (const char* source : texts) {
      EXPECT_SIGABRT(Ending([] { SendErrorsTo("/dev/null"); }, message, source));
    }
  }
}

// A line as long as a line may be: the message gives way first, then the source.
TEST(KorAbortEnding, OverlongTextsLeaveOneLine) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  const std::string overlong(std::size_t{1} << 20, 'x');
  const std::string tail = ", line 7)\n";
  EXPECT_EXIT(_korAbort(overlong.c_str(), overlong.c_str(), 7), testing::KilledBySignal(SIGABRT),
              testing::AllOf(testing::SizeIs(testing::Le(4096U)), testing::HasSubstr("x (xxxx"),
                             testing::EndsWith(tail)));
  EXPECT_EXIT(_korAbort("message", overlong.c_str(), 7), testing::KilledBySignal(SIGABRT),
              testing::AllOf(testing::StartsWith("message (xxxx"), testing::EndsWith(tail)));
}

}  // namespace
