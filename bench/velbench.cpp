// The main program of the benchmarks, and what they share out of line.
#include "velbench.h"

#include <malloc.h>
#include <sys/single_threaded.h>

#include <clocale>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <fstream>
#include <future>
#include <thread>

namespace velbench {

namespace {

bool secondThread = false;
int caseCount = 0;

// A thread that sleeps as long as this object lives.
class Sleeper {
 public:
  Sleeper() : thread_([end = end_.get_future()] { end.wait(); }) {}
  Sleeper(const Sleeper&) = delete;
  Sleeper& operator=(const Sleeper&) = delete;
  ~Sleeper() {
    end_.set_value();
    thread_.join();
  }

 private:
  std::promise<void> end_;
  std::thread thread_;
};

void run() {
  registerCases();
  if (caseCount > 0) benchmark::RunSpecifiedBenchmarks();
}

}  // namespace

bool isWanted(bool counting) {
  const bool wanted = counting || !secondThread;
  caseCount += wanted;
  return wanted;
}

std::string caseName(const char* work, const char* side) {
  return std::string(work) + (secondThread ? ", second thread alive/" : "/") + side;
}

void check(bool holds, const char* what) {
  if (holds) return;
  std::fprintf(stderr, "wrong result: %s\n", what);
  std::exit(1);
}

double threadSeconds() {
  timespec now;
  check(clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now) == 0, "clock");
  return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) * 1e-9;
}

double allocatedBytes() {
  const auto info = mallinfo2();
  return static_cast<double>(info.uordblks + info.hblkhd);
}

const std::vector<std::string>& words() {
  static const std::vector<std::string> list = [] {
    std::vector<std::string> read;
    std::ifstream file("/usr/share/dict/american-english-insane");
    for (std::string line; std::getline(file, line);) read.push_back(line);
    check(read.size() > 600000, "the list of words is missing");
    shuffle(read, 1);
    return read;
  }();
  return list;
}

}  // namespace velbench

int main(int argc, char** argv) {
  if (argc > 1 && std::strcmp(argv[1], "--second_thread") == 0) {
    velbench::secondThread = true;
    argv[1] = argv[0];
    --argc;
    ++argv;
  }
  velbench::check(std::setlocale(LC_ALL, "C.UTF-8") != nullptr, "the locale is missing");
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  if (velbench::secondThread) {
    const velbench::Sleeper sleeper;
    velbench::run();
  } else {
    velbench::run();
    // What a peer or the benchmarks themselves start would change what is measured.
    velbench::check(__libc_single_threaded, "something has started a thread");
  }
}
