// The library in the life of a process: loaded late and closed, used before main,
// after it, at the end of threads and in children. Most of these look at other
// programs, which are built for them.
#include <elf.h>
#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <locale>
#include <string>
#include <thread>
#include <vector>

#include "life_use.h"
#include "veltest.h"
#include "veltest_long.h"

namespace {

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr bool kSanitized = true;  // freed memory is kept aside: it stays resident
#else
constexpr bool kSanitized = false;
#endif

// ---- other programs ----

struct Outcome {
  int status = -1;  // as waitpid gives it
  std::string output;
  std::string errors;
};

std::string ReadAll(std::FILE* file) {
  std::string text;
  char part[4096];
  std::rewind(file);
  for (std::size_t got = 0; (got = std::fread(part, 1, sizeof(part), file)) > 0;) {
    text.append(part, got);
  }
  std::fclose(file);
  return text;
}

// Runs a program with those arguments; `setting` is added to its environment.
Outcome RunProgram(std::vector<std::string> arguments, const char* setting = nullptr) {
  Outcome run;
  std::FILE* const output = std::tmpfile();
  std::FILE* const errors = std::tmpfile();
  if (!output || !errors) return run;
  std::vector<char*> words;
  for (std::string& argument : arguments) words.push_back(argument.data());
  words.push_back(nullptr);
  const pid_t child = fork();
  if (child == 0) {
    alarm(240);
    dup2(fileno(output), STDOUT_FILENO);
    dup2(fileno(errors), STDERR_FILENO);
    if (setting) putenv(const_cast<char*>(setting));
    execv(words[0], words.data());
    _exit(127);
  }
  waitpid(child, &run.status, 0);
  run.output = ReadAll(output);
  run.errors = ReadAll(errors);
  return run;
}

Outcome RunHost(const char* scene, const char* setting = nullptr) {
  return RunProgram({VELSTD_LIFE_HOST, scene, VELSTD_LIBRARY_FILE}, setting);
}

int Occurrences(const std::string& text, const std::string& word) {
  int count = 0;
  for (std::size_t at = 0; (at = text.find(word, at)) != std::string::npos; ++at) ++count;
  return count;
}

// ---- loaded late ----

TEST(Life, AHostLoadsUsesAndClosesItAgainAndAgainWithoutGrowing) {
  const int rounds = velShortOrLong(50, 1000);
  const Outcome run =
      RunProgram({VELSTD_LIFE_HOST, "cycles", VELSTD_LIBRARY_FILE, std::to_string(rounds)});
  // Under a leak checker the status tells of leaks, too.
  ASSERT_EQ(run.status, 0) << run.errors;
  long resident = -1;
  long heap = -1;
  ASSERT_EQ(std::sscanf(run.errors.c_str(), "%ld %ld", &resident, &heap), 2) << run.errors;
  EXPECT_EQ(heap, 0) << "bytes";
  if (!kSanitized) {
    EXPECT_LE(resident, 64) << "KiB";
  }
  EXPECT_EQ(Occurrences(run.output, "at the end"), rounds + rounds / 10 + 5);
  velFigure("life", "load cycles", rounds);
  velFigure("life", "resident growth over the load cycles", resident, "KiB");
  velFigure("life", "heap growth over the load cycles", heap, "B");
}

TEST(Life, EverySymbolIsFoundWhenAllAreBoundAtOnce) {
  const Outcome run = RunHost("cycles", "LD_BIND_NOW=1");
  EXPECT_EQ(run.status, 0) << run.errors;
}

TEST(Life, ThreadsThatBeganBeforeTheLoadingUseItToTheirEnd) {
  const Outcome run = RunHost("threads");
  EXPECT_EQ(run.status, 0) << run.errors;
  EXPECT_EQ(Occurrences(run.errors, "thread end\n"), 8);
}

TEST(Life, TheFirstPrintsOfSeveralThreadsAllAppear) {
  const int processes = velShortOrLong(10, 200);
  for (int i = 0; i < processes; ++i) {
    const Outcome run = RunHost("first prints");
    ASSERT_EQ(run.status, 0) << i << run.errors;
    ASSERT_EQ(Occurrences(run.output, "intseq"), 8) << i << run.output;
  }
}

TEST(Life, TwoLibrariesThatAreHiddenFromEachOtherShareIt) {
  const Outcome run =
      RunProgram({VELSTD_LIFE_HOST, "two users", VELSTD_LIFE_USER_A, VELSTD_LIFE_USER_B});
  EXPECT_EQ(run.status, 0) << run.errors;
}

TEST(Life, AProcessWithoutStandardStreamsUsesIt) {
  const Outcome run = RunHost("closed streams");
  EXPECT_EQ(run.status, 0);
  EXPECT_EQ(run.output + run.errors, "");
}

// ---- before main and after it ----

TEST(Life, ALibraryStartedFirstUsesIt) {
  const Outcome run = RunProgram({VELSTD_LIFE_ORDER_FIRST});
  EXPECT_EQ(run.status, 0) << run.errors;
  EXPECT_EQ(run.errors, "first");
}

TEST(Life, ALibraryStartedSecondUsesIt) {
  const Outcome run = RunProgram({VELSTD_LIFE_ORDER_SECOND});
  EXPECT_EQ(run.status, 0) << run.errors;
  EXPECT_EQ(run.errors, "second");
}

TEST(Life, ExitHandlersSetBeforeAndAfterTheFirstUseUseIt) {
  const Outcome run = RunHost("exit handlers");
  EXPECT_EQ(run.status, 0) << run.errors;
  EXPECT_EQ(run.errors, "after\nbefore\nlast\n");
}

TEST(Life, AThreadThatOutlivesMainUsesItToTheEnd) {
  const int processes = velShortOrLong(5, 100);
  for (int i = 0; i < processes; ++i) {
    const Outcome run = RunHost("outliving thread");
    ASSERT_EQ(run.status, 0) << i << run.errors;
  }
}

// ---- at the end of a thread ----

class AtThreadEnd : public virtual xobject {
  VEL_OBJECT(AtThreadEnd)
 public:
  ~AtThreadEnd() override {
    if (*LifeUse() == 0) ++destroyed();
  }
  static std::atomic<int>& destroyed() {
    static std::atomic<int> count{0};
    return count;
  }
};
VEL_OBJECT_RTTI(AtThreadEnd, xrttiobject, [](xrttiobject* rtti) {
  rtti->initializeRttiObject("life_test::AtThreadEnd", 1, 0, nullptr);
})

TEST(Life, DestructorsOfThreadLocalObjectsUseIt) {
  static std::atomic<int> failures{0};
  struct Last {
    xrchandle<AtThreadEnd> object{new AtThreadEnd};
    xany tree{xintsequence::create()};
    ~Last() {
      if (*LifeUse() != 0) ++failures;
    }
  };
  constexpr int kThreads = 20;
  for (int i = 0; i < kThreads; ++i) {
    std::thread([] {
      thread_local Last last;
      if (xrcgetcount(last.object.operator->()) != 1) ++failures;
    }).join();
  }
  EXPECT_EQ(failures, 0);
  EXPECT_EQ(AtThreadEnd::destroyed(), kThreads);
}

// ---- children ----

TEST(Life, AChildUsesItBeforeItsParentDidAndAfter) {
  const Outcome run = RunHost("forks");
  EXPECT_EQ(run.status, 0) << run.errors;
  EXPECT_EQ(Occurrences(run.output, "at the end"), 4);
}

// Where another thread asks for memory during the fork, the sanitizer leaves its
// allocator locked in the child. There the threads only count.
#ifdef __SANITIZE_ADDRESS__
constexpr bool kForkLosesAllocator = true;
#else
constexpr bool kForkLosesAllocator = false;
#endif

TEST(Life, AChildOfAProcessWithBusyThreadsUsesIt) {
  const int children = velShortOrLong(20, 500);
  std::atomic<bool> stop{false};
  const auto shared = xintsequence::create();
  // With a global locale of the program's own, the standard library locks it to make a
  // stream, and leaves it locked in a child that is forked meanwhile.
  const bool forkLosesStreams = std::locale() != std::locale::classic();
  std::vector<std::thread> threads;
  for (int i = 0; i < 3; ++i) {
    threads.emplace_back([&] {
      while (!stop) {
        const xrchandle<xintsequence> copy(shared);
        if (kForkLosesAllocator) continue;
        const auto values = xanysequence::create();
        values->append(xany(shared));
        if (forkLosesStreams) continue;
        if (velPrinted(xany(values)).empty()) std::abort();
      }
    });
  }
  int failed = 0;
  for (int i = 0; i < children; ++i) {
    const pid_t child = fork();
    if (child == 0) {
      alarm(60);
      _exit(*LifeUse() == 0 && xrcgetcount(shared.operator->()) >= 1 ? 0 : 1);
    }
    int status = -1;
    waitpid(child, &status, 0);
    if (status != 0) ++failed;
  }
  stop = true;
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(failed, 0);
  EXPECT_EQ(xrcgetcount(shared.operator->()), 1);
}

// ---- what the library file says ----

// Calls `visit` with each program header and the bytes of the file.
template <class Visit>
void ForEachSegment(const char* path, Visit visit) {
  std::ifstream file(path, std::ios::binary);
  const std::string bytes((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
  Elf64_Ehdr head{};
  ASSERT_GE(bytes.size(), sizeof(head));
  std::memcpy(&head, bytes.data(), sizeof(head));
  for (unsigned i = 0; i < head.e_phnum; ++i) {
    Elf64_Phdr segment{};
    std::memcpy(&segment, bytes.data() + head.e_phoff + i * sizeof(segment), sizeof(segment));
    visit(segment, bytes);
  }
}

TEST(Life, TheLibraryIsMarkedNeverToBeUnloaded) {
  Elf64_Xword flags = 0;
  ForEachSegment(VELSTD_LIBRARY_FILE, [&](const Elf64_Phdr& segment, const std::string& bytes) {
    if (segment.p_type != PT_DYNAMIC) return;
    for (std::size_t at = 0; at + sizeof(Elf64_Dyn) <= segment.p_filesz; at += sizeof(Elf64_Dyn)) {
      Elf64_Dyn entry{};
      std::memcpy(&entry, bytes.data() + segment.p_offset + at, sizeof(entry));
      if (entry.d_tag == DT_FLAGS_1) flags = entry.d_un.d_val;
    }
  });
  EXPECT_NE(flags & DF_1_NODELETE, 0U);
}

TEST(Life, TheLibraryTakesLittleOfTheRoomForThreadsThatIsLeftToLateLoading) {
  // Its thread state is reached without a call, which a late load can only do
  // out of a reserve that all libraries of the process share.
  Elf64_Xword size = 0;
  ForEachSegment(VELSTD_LIBRARY_FILE, [&](const Elf64_Phdr& segment, const std::string&) {
    if (segment.p_type == PT_TLS) size = segment.p_memsz;
  });
  EXPECT_GT(size, 0U);
  EXPECT_LE(size, 64U);
  velFigure("life", "thread-local storage of the library", size, "B");
}

}  // namespace
