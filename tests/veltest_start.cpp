// Where the tests of every program begin: VELSTD_TEST_LOCALE names the locale of
// the C library, or is "grouping" for a global C++ locale that groups digits and
// has a comma for a point. Results are the same in all of them.
//
// In a build that counts what is run, a program that aborts or leaves by _exit, as
// death tests do, writes its counters down first.
#include <clocale>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <locale>
#include <string>

#ifdef VELSTD_COVERAGE
#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <csignal>

extern "C" void __gcov_dump(void);
extern "C" void velDumpCounters(void);

namespace {

void DumpCounters() {
  // The test may have left the program without memory.
  for (const auto resource : {RLIMIT_AS, RLIMIT_FSIZE}) {
    rlimit limit;
    getrlimit(resource, &limit);
    limit.rlim_cur = limit.rlim_max;
    setrlimit(resource, &limit);
  }
  velDumpCounters();
  __gcov_dump();
}

// abort() goes on when this returns.
const auto before = std::signal(SIGABRT, [](int) { DumpCounters(); });

}  // namespace

// In place of the C library's, which the tests and GoogleTest call.
extern "C" void _exit(int status) {
  DumpCounters();
  for (;;) syscall(SYS_exit_group, status);
}
#endif

namespace {

class Grouping : public std::numpunct<char> {
  char do_thousands_sep() const override { return '.'; }
  char do_decimal_point() const override { return ','; }
  std::string do_grouping() const override { return "\3"; }
  std::string do_truename() const override { return "wahr"; }
  std::string do_falsename() const override { return "falsch"; }
};

const bool hasBegun = [] {
  const char* const asked = std::getenv("VELSTD_TEST_LOCALE");
  if (!asked || !*asked) return false;
  if (std::strcmp(asked, "grouping") == 0) {
    std::locale::global(std::locale(std::locale(), new Grouping));
  } else if (!std::setlocale(LC_ALL, asked)) {
    std::fprintf(stderr, "no locale %s: ./dev setup makes it\n", asked);
    std::exit(1);
  }
  return true;
}();

}  // namespace
