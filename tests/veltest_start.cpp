// Where the tests of every program begin: VELSTD_TEST_LOCALE names the locale of
// the C library, or is "grouping" for a global C++ locale that groups digits and
// has a comma for a point. Results are the same in all of them.
#include <clocale>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <locale>
#include <string>

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
