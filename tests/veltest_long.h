// veltest_long.h - tests with a short form and a long one, and the figures that
// they reach.
//
// The suite runs the short forms. With VELSTD_LONG=1 in the environment the same
// tests run with the largest sizes that the machine carries, and each writes
// what it measured to the file that VELSTD_FIGURES names; `./dev nightly` makes
// one table of them.
#ifndef VELSTD_TESTS_VELTEST_LONG_H
#define VELSTD_TESTS_VELTEST_LONG_H

#include <cstdlib>
#include <cstring>
#include <fstream>
#include <sstream>

/// True when the long forms are asked for.
inline bool velIsLong() {
  const char* asked = std::getenv("VELSTD_LONG");
  return asked && std::strcmp(asked, "1") == 0;
}

/// The size of the form that runs.
template <class T>
T velShortOrLong(T brief, T full) {
  return velIsLong() ? full : brief;
}

/// Adds one line to the table of figures: the topic ("depth", "memory"), what
/// was measured and the value with its unit. Does nothing without a file.
template <class T>
void velFigure(const char* topic, const char* what, const T& value, const char* unit = "") {
  const char* path = std::getenv("VELSTD_FIGURES");
  if (!path || !*path) return;
  std::ostringstream line;  // one write, so that programs may share the file
  line << topic << '\t' << what << '\t' << value << (*unit ? " " : "") << unit << '\n';
  std::ofstream(path, std::ios::app) << line.str() << std::flush;
}

#endif  // VELSTD_TESTS_VELTEST_LONG_H
