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
#include <iterator>
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

// The translated texts of a compiled message catalogue, as gettext writes them:
// a head of 32-bit words tells where a table of lengths and places lies.
std::vector<std::string> translations(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  const std::string bytes{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
  const auto wordAt = [&](std::size_t at) {
    std::uint32_t word = 0;
    check(at + sizeof word <= bytes.size(), "a catalogue of country names is missing");
    std::memcpy(&word, bytes.data() + at, sizeof word);
    return word;
  };
  check(wordAt(0) == 0x950412de, "a catalogue of country names has another format");
  const std::size_t count = wordAt(8);
  const std::size_t table = wordAt(16);
  std::vector<std::string> texts;
  for (std::size_t i = 1; i < count; ++i) {  // the first text is about the catalogue
    texts.push_back(bytes.substr(wordAt(table + i * 8 + 4), wordAt(table + i * 8)));
  }
  return texts;
}

void run() {
  registerCases();
  if (caseCount > 0) benchmark::RunSpecifiedBenchmarks();
}

}  // namespace

bool isSecondThread() { return secondThread; }

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

const std::vector<std::string>& countryNames() {
  static const std::vector<std::string> list = [] {
    std::vector<std::string> read;
    for (const char* language :
         {"am", "ar", "bn", "cs", "de", "el", "fa", "fr", "gu", "he", "hi", "hy", "is", "ja",
          "ka", "kk", "kn", "ko", "ml", "mn", "pa", "ru", "ta", "te", "th", "tr", "vi", "zh_CN"}) {
      const std::string path = "/usr/share/locale/" + std::string(language);
      for (std::string& name : translations(path + "/LC_MESSAGES/iso_3166-1.mo")) {
        read.push_back(std::move(name));
      }
    }
    check(read.size() > 5000, "country names are missing");
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
