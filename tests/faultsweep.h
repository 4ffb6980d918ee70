// faultsweep.h - every operation of a table, with memory that runs out at each of
// its allocations.
//
// A program that includes this has one source file, a table of operations and
// the main function at the end of this header. Its malloc, calloc and realloc
// replace those of the process, so that operator new, the toolkit's allocator
// and the memory of a thrown exception all come through one door. What fails is
// what the thread under test asks for between arming and disarming.
//
// An operation is a function of a trial: it makes its objects, tells the trial
// how to describe them completely, and hands it the one step that is swept. For
// each allocation n of the step, the step runs with the nth alone failing, with
// the nth and all later ones failing, and so that they also fail while the error
// is read; in the last two memory stays away until the objects are destroyed.
// Each time the state must be that of before or that of after, the same step
// must then succeed, and no block may be left over.
#ifndef VELSTD_TESTS_FAULTSWEEP_H
#define VELSTD_TESTS_FAULTSWEEP_H

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <iostream>
#include <new>
#include <sstream>
#include <streambuf>
#include <string>
#include <utility>
#include <vector>

#include "velstd.h"
#include "veltest_long.h"

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define VELSWEEP_SANITIZED 1
#endif
#ifdef __has_feature
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
#define VELSWEEP_SANITIZED 1
#endif
#endif

// ---- the allocator under test ----

#ifdef VELSWEEP_SANITIZED
#define VELSWEEP_REAL(name) __interceptor_##name
#else
#define VELSWEEP_REAL(name) __libc_##name
#endif

extern "C" {
void* VELSWEEP_REAL(malloc)(std::size_t bytes);
void* VELSWEEP_REAL(calloc)(std::size_t count, std::size_t bytes);
void* VELSWEEP_REAL(realloc)(void* block, std::size_t bytes);
void VELSWEEP_REAL(free)(void* block);
}

namespace velsweep {

struct Allocator {
  long seen = 0;      // allocations while armed
  long failAt = 0;    // the first that fails; 0 for none
  bool forever = false;
  bool armed = false;
  long failed = 0;
  long live = 0;      // blocks of this thread
};
// Without constructor and destructor: it works before and after everything.
static thread_local Allocator allocator;

// The sanitizer asks for memory before it is ready to check anybody.
#define VELSWEEP_UNCHECKED __attribute__((no_sanitize("address", "undefined", "thread")))

VELSWEEP_UNCHECKED inline bool Fails() {
  if (!allocator.armed) return false;
  const long now = ++allocator.seen;
  if (allocator.failAt == 0 || now < allocator.failAt) return false;
  if (now > allocator.failAt && !allocator.forever) return false;
  ++allocator.failed;
  return true;
}

VELSWEEP_UNCHECKED inline void* Counted(void* block) {
  if (block) ++allocator.live;
  return block;
}

/// Memory is there for as long as it lives, whatever is armed.
class Pause {
 public:
  Pause() : armed(allocator.armed) { allocator.armed = false; }
  ~Pause() { allocator.armed = armed; }
  Pause(const Pause&) = delete;
  Pause& operator=(const Pause&) = delete;

 private:
  bool armed;
};

}  // namespace velsweep

extern "C" {
VELSWEEP_UNCHECKED void* malloc(std::size_t bytes) noexcept {
  return velsweep::Fails() ? nullptr : velsweep::Counted(VELSWEEP_REAL(malloc)(bytes));
}
VELSWEEP_UNCHECKED void* calloc(std::size_t count, std::size_t bytes) noexcept {
  return velsweep::Fails() ? nullptr : velsweep::Counted(VELSWEEP_REAL(calloc)(count, bytes));
}
VELSWEEP_UNCHECKED void* realloc(void* block, std::size_t bytes) noexcept {
  if (velsweep::Fails()) return nullptr;
  void* moved = VELSWEEP_REAL(realloc)(block, bytes);
  return block ? moved : velsweep::Counted(moved);
}
VELSWEEP_UNCHECKED void free(void* block) noexcept {
  if (block) --velsweep::allocator.live;
  VELSWEEP_REAL(free)(block);
}
}

#ifdef VELSWEEP_SANITIZED
// The sanitizer has operators of its own that do not ask malloc.
void* operator new(std::size_t bytes) {
  if (void* block = malloc(bytes ? bytes : 1)) return block;
  throw std::bad_alloc();
}
void* operator new[](std::size_t bytes) { return operator new(bytes); }
void* operator new(std::size_t bytes, const std::nothrow_t&) noexcept {
  return malloc(bytes ? bytes : 1);
}
void* operator new[](std::size_t bytes, const std::nothrow_t&) noexcept {
  return malloc(bytes ? bytes : 1);
}
void operator delete(void* block) noexcept { free(block); }
void operator delete[](void* block) noexcept { free(block); }
void operator delete(void* block, std::size_t) noexcept { free(block); }
void operator delete[](void* block, std::size_t) noexcept { free(block); }
void operator delete(void* block, const std::nothrow_t&) noexcept { free(block); }
void operator delete[](void* block, const std::nothrow_t&) noexcept { free(block); }
#endif

namespace velsweep {

// ---- descriptions ----

inline std::string Show(const char* text) {
  if (!korText(text)) return "null";
  return std::string("\"") + text + '"';
}

// The text, whichever form is there: looking must produce none.
inline std::string Show(const xstring& text) {
  const __xstring_c view = text.getxstring_c_unattached();
  if (!view.buffer) return "null";
  if (view.narrow) return Show(view.narrow);
  std::string all = "\"";
  for (const wchar_t* at = view.wide; *at; ++at) {
    if (static_cast<unsigned long>(*at) < 0x80) {
      all += static_cast<char>(*at);
    } else {
      all += '\\' + std::to_string(static_cast<unsigned long>(*at));
    }
  }
  return all + '"';
}
inline std::string Show(const __xstring_c& text) { return Show(xstring(text, true)); }
inline std::string Show(int value) { return std::to_string(value); }
inline std::string Show(bool value) { return value ? "true" : "false"; }
inline std::string Show(unsigned value) { return std::to_string(value); }
inline std::string Show(std::size_t value) { return std::to_string(value); }
inline std::string Show(unsigned char value) { return 'b' + std::to_string(value); }
inline std::string Show(double value) { return std::to_string(value); }
inline std::string Show(xobject* object) {
  if (!object) return "nobody";
  if (velIsUninit(object)) return "uninit";
  return Show(object->getVelTypeName()) + '*' + std::to_string(xrcgetcount(object));
}
inline std::string Show(const xany& value) {
  const std::string kind = std::to_string(static_cast<int>(value.getkind())) + ':';
  switch (value.getkind()) {
    case xanyInt:
    case xanyEnum:
      return kind + Show(value.operator int());
    case xanyBool:
      return kind + Show(value.operator unsigned char());
    case xanyReal:
      return kind + Show(value.operator double());
    case xanyString:
      return kind + Show(value.operator xstring());
    case xanyObject:
      return kind + Show(value.operator xobject*());
    default:
      return kind;
  }
}
inline std::string Show(const __xany_c& value) { return Show(xany(value)); }
template <class C>
std::string Show(const xrchandle<C>& handle) {
  return Show(velAsObject(handle.operator->()));
}

template <class C>
std::string ShowSequence(C* sequence) {
  if (!sequence) return "no sequence";
  std::string all = 'x' + std::to_string(xrcgetcount(sequence)) + '[';
  for (int i = 0, n = sequence->getarraysize(); i < n; ++i) all += Show(sequence->get(i)) + ' ';
  return all + ']';
}

/// With the slots, where the order of the entries shows.
template <class C, class T>
std::string ShowDictionary(C* dictionary, bool withSize = true) {
  if (!dictionary) return "no dictionary";
  std::string all = 'x' + std::to_string(xrcgetcount(dictionary)) + '#' +
                    std::to_string(dictionary->getcount());
  if (withSize) all += " of " + std::to_string(dictionary->getmapsize());
  std::vector<std::string> entries;
  for (int i = 0, n = dictionary->getmapsize(); i < n; ++i) {
    xstring key;
    T value{};
    if (!dictionary->getkeybyindex(i, &key)) continue;
    dictionary->getbyindex(i, &value);
    entries.push_back((withSize ? std::to_string(i) + '=' : "") + Show(key) + ':' + Show(value));
  }
  if (!withSize) std::sort(entries.begin(), entries.end());
  for (const std::string& entry : entries) all += ' ' + entry;
  return all;
}

// ---- the engine ----

/// How memory fails in a trial.
struct Plan {
  long nth = 0;  // 0: it does not
  bool forever = false;
  bool reporting = false;
  std::string text() const {
    if (nth == 0) return "with memory";
    return "allocation " + std::to_string(nth) + (forever ? " and later" : "") +
           (reporting ? ", and while the error is read" : "");
  }
};

/// What the step did when memory was there.
struct Expected {
  bool known = false;
  std::string outcome, before, after, result;
  long allocations = 0;
};

class Trial {
 public:
  using Describe = std::function<std::string()>;

  Trial(Plan how, Expected* what) : plan(how), expected(what) {}

  /// All that the step may change.
  void state(Describe describe) { describeState = std::move(describe); }
  /// What the step gives when it succeeds.
  void result(Describe describe) { describeResult = std::move(describe); }
  /// What the step leaves as a result when it fails; otherwise not looked at.
  void onError(std::string wanted) {
    errorResult = std::move(wanted);
    hasErrorResult = true;
  }
  /// The step may report a failed read as a velXNativeException. Where it ends
  /// without an exception, its result is that of the step with memory.
  void mayReport() { reports = true; }
  /// The step needs no memory: where it succeeds with it, it succeeds without. An
  /// exception that it always throws is an object and may still be missing.
  void neverFails() { never = true; }
  /// With memory the step makes at least `count` allocations; else it is not the
  /// step that the entry is about.
  void allocates(long count) { least = count; }

  /// Runs a step of C++.
  template <class Step>
  void run(Step step) {
    sweep([&] { return attempt(step); });
  }
  /// Runs a call of the C interface, which parks what goes wrong.
  template <class Step>
  void runC(Step step) {
    sweep([&] { return attemptC(step); });
  }

  bool reached() const { return failures > 0; }
  std::string problems;

 private:
  static constexpr const char* kNoMemory = "no memory";

  void arm() {
    allocator.seen = allocator.failed = 0;
    allocator.failAt = plan.nth;
    allocator.forever = plan.forever;
    allocator.armed = true;
  }

  template <class Step>
  std::string attempt(Step& step) {
    std::string outcome = "done";
    try {
      step();
    } catch (xthrowable* caught) {
      if (!plan.reporting) allocator.armed = false;
      // The readers of an exception need no memory.
      auto* known = dynamic_cast<velXException*>(caught);
      const xstring text = known ? known->getDescription() : xstring();
      auto* native = dynamic_cast<velXNativeException*>(caught);
      const xstring detail = native ? native->getStringRep() : xstring();
      {
        const Pause pause;
        outcome = Show(caught->getVelTypeName()) + Show(text) + Show(detail);
      }
      xrcrelease(caught);
    } catch (const std::bad_alloc& error) {
      if (!plan.reporting) allocator.armed = false;
      if (!error.what()) std::abort();
      const Pause pause;
      outcome = kNoMemory;
    }
    allocator.armed = false;
    return outcome;
  }

  static xobject* AsObject(xthrowable* exception) { return exception; }

  template <class Step>
  std::string attemptC(Step& step) {
    {
      const Pause pause;
      if (xisexc_c()) problems += "an exception is pending before the call\n";
    }
    step();
    if (!plan.reporting) allocator.armed = false;
    std::string outcome = "done";
    if (xisexc_c()) {
      xrcrelease_c(AsObject(xgetexc_c()));
      xthrowable* taken = xextractexc_c();
      // Printing may fail too, but only in the same way.
      __xany_c held = xanyobj_c(AsObject(taken));
      __xstring_c printed = xprintstr_c(&held, 2);
      xstrunlock_c(&printed);
      xanyunlock_c(&held);
      xrcrelease_c(AsObject(xextractexc_c()));
      const Pause pause;
      auto* native = dynamic_cast<velXNativeException*>(taken);
      outcome = Show(taken->getVelTypeName());
      if (native) outcome += Show(native->getStringRep());
      if (native && native->getStringRep() == "Out of memory") outcome = kNoMemory;
      xrcrelease(taken);
    }
    allocator.armed = false;
    return outcome;
  }

  std::string describe(const Describe& what) const { return what ? what() : std::string(); }

  template <class Attempt>
  void sweep(Attempt tryOnce) {
    const std::string before = describe(describeState);
    arm();
    std::string outcome = tryOnce();
    failures = allocator.failed;
    const long seen = allocator.seen;
    // Reading what the step left must fill no cache that the next run would
    // find, so that comes last.
    const std::string after = describe(describeState);
    if (!expected->known) {
      *expected = {true, outcome, before, after, describe(describeResult), seen};
      if (outcome == kNoMemory && plan.nth == 0) problems += "it does not succeed with memory\n";
      if (seen < least) note("allocations", Show(static_cast<int>(seen)), "more");
    } else {
      compare(before, outcome, after);
      if (outcome == kNoMemory && after == before) again(tryOnce);
    }
    // The objects go without any memory.
    if (plan.forever) {
      arm();
      allocator.failAt = 1;
    }
  }

  void compare(const std::string& before, const std::string& outcome, const std::string& after) {
    if (before != expected->before) note("before", before, expected->before);
    if (outcome == expected->outcome) {
      if (after != expected->after) note("state after success", after, expected->after);
      const std::string result = describe(describeResult);
      if (result != expected->result) note("result", result, expected->result);
      return;
    }
    const bool reported = reports && outcome.find("velXNative") == std::string::npos &&
                          outcome.find("vellib::XNativeException") != std::string::npos;
    const bool mustSucceed = never && expected->outcome == "done";
    if (mustSucceed || (outcome != kNoMemory && !reported)) note("outcome", outcome, expected->outcome);
    if (failures == 0) note("outcome without a failure", outcome, expected->outcome);
    if (after != expected->before && after != expected->after) {
      note("state after failure", after, expected->before);
    }
    if (hasErrorResult && describe(describeResult) != errorResult) {
      note("result of a failure", describe(describeResult), errorResult);
    }
  }

  // The same call succeeds once there is memory.
  template <class Attempt>
  void again(Attempt& tryOnce) {
    const Plan failed = plan;
    plan = Plan();
    const std::string outcome = tryOnce();
    if (outcome != expected->outcome) note("second outcome", outcome, expected->outcome);
    const std::string after = describe(describeState);
    if (after != expected->after) note("second state", after, expected->after);
    const std::string result = describe(describeResult);
    if (result != expected->result) note("second result", result, expected->result);
    plan = failed;
  }

  void note(const char* what, const std::string& is, const std::string& should) {
    problems += std::string(what) + ": " + is + "\n  instead of: " + should + '\n';
  }

  Plan plan;
  Expected* expected;
  Describe describeState, describeResult;
  std::string errorResult;
  bool hasErrorResult = false;
  bool reports = false;
  bool never = false;
  long least = 0;
  long failures = 0;
};

/// One line of the table. The name is what the library exports, "Class::member"
/// or a function, several of them with '|' between; behind " - " and in "(...)" at
/// the end stands what is special about this line.
struct Operation {
  std::string name;
  std::function<void(Trial&)> body;
  bool cold = false;  // each trial in a process of its own, where nothing was called before
  bool neverFails = false;
};

using Table = std::vector<Operation>;

/// The entries that `add` adds are of operations that need no memory.
template <class Add>
void NeverFail(Table& table, Add add) {
  const std::size_t first = table.size();
  add();
  for (std::size_t i = first; i < table.size(); ++i) table[i].neverFails = true;
}

/// The table of the program, defined in its source file.
void fill(Table& table);

inline Table& table() {
  static Table all = [] {
    Table made;
    fill(made);
    return made;
  }();
  return all;
}

/// What a trial found out; `reached` is whether memory failed.
struct Finding {
  bool reached = false;
  std::string problems;
};

inline Finding RunTrial(const Operation& operation, Plan plan, Expected* expected) {
  Finding found;
  const bool leaksCount = expected->known;
  const long before = allocator.live;
  {
    Trial trial(plan, expected);
    if (operation.neverFails) trial.neverFails();
    operation.body(trial);
    allocator.armed = false;
    found.reached = trial.reached();
    found.problems.swap(trial.problems);
  }
  const long left = allocator.live - before - (found.problems.capacity() > 15 ? 1 : 0);
  if (leaksCount && left != 0) found.problems += std::to_string(left) + " blocks are left\n";
  return found;
}

// The same in a process of its own; the first line that comes back says whether
// memory failed.
inline Finding RunCold(const Operation& operation, Plan plan) {
  Finding found;
  int ends[2];
  if (pipe(ends) != 0) return {false, "no pipe\n"};
  const pid_t child = fork();
  if (child == 0) {
    close(ends[0]);
    Expected expected;
    if (plan.nth == 0) {
      found = RunTrial(operation, plan, &expected);
    } else {
      // Without a run before it there is nothing to compare with but itself:
      // the step must end, and then succeed.
      Expected none;
      Trial trial(plan, &none);
      operation.body(trial);
      allocator.armed = false;
      found.reached = trial.reached();
      if (none.outcome != "no memory" && none.outcome != "done") found.problems = none.outcome;
      Expected second;
      const Finding then = RunTrial(operation, Plan(), &second);
      found.problems += then.problems;
      if (second.outcome != "done") found.problems += "afterwards: " + second.outcome + '\n';
    }
    const std::string text = (found.reached ? "reached\n" : "passed\n") + found.problems;
    const bool whole = write(ends[1], text.data(), text.size()) ==
                       static_cast<ssize_t>(text.size());
    _exit(whole ? 0 : 1);
  }
  close(ends[1]);
  std::string text;
  char piece[512];
  for (ssize_t n; (n = read(ends[0], piece, sizeof piece)) > 0;) {
    text.append(piece, static_cast<std::size_t>(n));
  }
  close(ends[0]);
  int status = 0;
  waitpid(child, &status, 0);
  const std::size_t line = text.find('\n');
  if (status != 0 || line == std::string::npos) return {true, "the process ended\n"};
  return {text.compare(0, line, "reached") == 0, text.substr(line + 1)};
}

struct Totals {
  long operations = 0;
  long neverFailing = 0;
  long faults = 0;
  long most = 0;     // allocations of one operation
  long sampled = 0;  // operations of which some allocations were left out
};

// An operation with up to so many allocations is swept whole. Of what is beyond,
// the short form takes a sample.
constexpr long kWhole = 400;
constexpr long kSampleStep = 7;
constexpr long kMost = 100000;

/// Sweeps one operation; what is wrong, as text.
inline std::string Sweep(const Operation& operation, Totals* totals) {
  const long stride = velShortOrLong(kSampleStep, 1L);
  ++totals->operations;
  if (operation.neverFails) ++totals->neverFailing;
  std::string all;
  const auto keep = [&](const Plan& plan, const Finding& found) {
    if (found.reached) ++totals->faults;
    if (!found.problems.empty() && all.size() < 2000) all += plan.text() + ": " + found.problems;
    return found.reached;
  };
  Expected expected;
  if (!operation.cold) {
    keep(Plan(), RunTrial(operation, Plan(), &expected));
    keep(Plan(), RunTrial(operation, Plan(), &expected));
  }
  bool more = true;
  long nth = 1;
  // What keeps failing is not told more than a page of times.
  for (; more && nth <= kMost && all.size() < 2000; nth += nth < kWhole ? 1 : stride) {
    more = false;
    for (const Plan plan : {Plan{nth, false, false}, Plan{nth, true, false}, Plan{nth, true, true}}) {
      more |= keep(plan, operation.cold ? RunCold(operation, plan)
                                        : RunTrial(operation, plan, &expected));
    }
    if (more) totals->most = std::max(totals->most, nth);
  }
  if (more && nth > kMost) all += "there are allocations beyond " + std::to_string(kMost) + '\n';
  if (stride > 1 && nth > kWhole + stride) ++totals->sampled;
  return all;
}

/// What is written to it is gone; it needs no memory.
class Nowhere : public std::streambuf {
 protected:
  int_type overflow(int_type c) override { return traits_type::not_eof(c); }
  std::streamsize xsputn(const char*, std::streamsize n) override { return n; }
};

}  // namespace velsweep

TEST(FaultSweep, EachOperationIsWholeOrDoneWhateverMemoryIsMissing) {
  velsweep::Nowhere nowhere;
  std::streambuf* const output = std::cout.rdbuf(&nowhere);
  std::streambuf* const errors = std::cerr.rdbuf(&nowhere);
  const char* only = std::getenv("VELSWEEP_ONLY");
  velsweep::Totals totals;
  // What starts cold starts before anything is warm.
  for (const bool cold : {true, false}) {
    for (const velsweep::Operation& operation : velsweep::table()) {
      if (operation.cold != cold) continue;
      if (only && operation.name.find(only) == std::string::npos) continue;
      if (only) std::fprintf(stderr, "%s\n", operation.name.c_str());
      EXPECT_EQ(velsweep::Sweep(operation, &totals), "") << operation.name;
    }
  }
  std::cout.rdbuf(output);
  std::cerr.rdbuf(errors);
  EXPECT_GT(totals.faults, 0);
  velFigure("memory", VELSWEEP_FAMILY ": operations swept", totals.operations);
  velFigure("memory", VELSWEEP_FAMILY ": operations that need no memory", totals.neverFailing);
  velFigure("memory", VELSWEEP_FAMILY ": operations swept by a sample", totals.sampled);
  velFigure("memory", VELSWEEP_FAMILY ": last allocation that failed", totals.most);
  velFigure("memory", VELSWEEP_FAMILY ": faults injected", totals.faults);
}

int main(int argc, char** argv) {
  if (argc == 2 && std::strcmp(argv[1], "--list-operations") == 0) {
    for (const velsweep::Operation& operation : velsweep::table()) {
      std::printf("%s\n", operation.name.c_str());
    }
    return 0;
  }
  ::testing::InitGoogleTest(&argc, argv);
  return RUN_ALL_TESTS();
}

#endif  // VELSTD_TESTS_FAULTSWEEP_H
