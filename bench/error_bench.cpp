// Errors: raising and catching, an index out of range, a C call that fails.
//
// Each error carries a text and is read where it is caught.
#include <glib.h>

#include <cstring>
#include <stdexcept>

#include "velbench.h"
#include "velstd.h"
#include "velstd_c.h"

using benchmark::State;
using velbench::check;
using velbench::keep;
using velbench::opaque;

namespace {

constexpr int kSteps = 100;
constexpr int kElements = 10;
const char kText[] = "the connection was closed by the other side";

// Two frames between the raise and the handler, as small programs have them.
template <class Raise>
[[gnu::noinline]] void inner(int i, Raise raise) {
  if (opaque(i) >= 0) raise();
}
template <class Raise>
[[gnu::noinline]] void outer(int i, Raise raise) {
  inner(i, raise);
  keep(i);
}

// ---- raise and catch -----------------------------------------------------------

template <class Raise>
bool ourCatch(int i, Raise raise) {
  try {
    outer(i, raise);
  } catch (xthrowable* caught) {
    const xrchandle<xthrowable> held(caught);
    xrcrelease(caught);
    auto* error = dynamic_cast<velXException*>(caught);
    return error && std::strcmp(error->getDescription(), kText) == 0;
  }
  return false;
}
bool ourCatch(int i) {
  return ourCatch(i, [] { velThrow<velXException>(kText); });
}
bool ourCatchThroughHandle(int i) {
  return ourCatch(i, [] {
    xthrow(xrcunihandle<xthrowable>(xrchandle<velXException>(new velXException(kText))));
  });
}

bool stdCatch(int i) {
  try {
    outer(i, [] { throw std::runtime_error(kText); });
  } catch (const std::runtime_error& error) {
    return std::strcmp(error.what(), kText) == 0;
  }
  return false;
}

// ---- an index out of range -----------------------------------------------------

bool ourIndex(xintsequence* sequence, int i) {
  try {
    keep(sequence->get(kElements + i));
  } catch (xthrowable* caught) {
    const xrchandle<xthrowable> held(caught);
    xrcrelease(caught);
    auto* error = dynamic_cast<velXInvalidSeqIndex*>(caught);
    return error && error->getIndex() == kElements + i;
  }
  return false;
}

bool stdIndex(const std::vector<int>& sequence, int i) {
  try {
    keep(sequence.at(static_cast<std::size_t>(kElements + i)));
  } catch (const std::out_of_range& error) {
    return error.what()[0] != '\0';
  }
  return false;
}

// ---- a C call that fails -------------------------------------------------------

bool ourRecord(xintsequence* sequence, int i) {
  if (xintsequence_get(sequence, kElements + i) != VEL_ERROR_INT) return false;
  xthrowable* error = xextractexc_c();
  const bool told = error != nullptr && !xisexc_c();
  xrcrelease_c(velAsObject(error));
  return told;
}

GQuark glibDomain() {
  static const GQuark domain = g_quark_from_static_string("bench");
  return domain;
}
[[gnu::noinline]] gboolean glibInner(int i, GError** error) {
  if (opaque(i) < 0) return TRUE;
  g_set_error_literal(error, glibDomain(), i, kText);
  return FALSE;
}
[[gnu::noinline]] gboolean glibOuter(int i, GError** error) {
  GError* own = nullptr;
  if (glibInner(i, &own)) return TRUE;
  g_propagate_error(error, own);
  return FALSE;
}
bool glibRecord(int i) {
  GError* error = nullptr;
  if (glibOuter(i, &error)) return false;
  const bool told = error->code == i && std::strcmp(error->message, kText) == 0;
  g_clear_error(&error);
  return told && !error;
}

// Runs fails(i), which tells whether the error was as it should be.
template <class Fails>
void failAgain(State& state, Fails fails) {
  std::int64_t right = 0;
  velbench::repeat(state, kSteps, [&](int i) { right += fails(i); });
  check(right == state.iterations() * kSteps, "an error is not what was raised");
}

xrchandle<xintsequence> numbers() {
  auto sequence = xintsequence::create();
  for (int i = 0; i < kElements; ++i) sequence->append(i);
  return sequence;
}

}  // namespace

void velbench::registerCases() {
  const char* const raise = "raise and catch with a text";
  velbench::addCounting(raise, "velstd",
                        [](State& state) { failAgain(state, [](int i) { return ourCatch(i); }); });
  velbench::addCounting(raise, "std::runtime_error",
                        [](State& state) { failAgain(state, stdCatch); });

  const char* const held = "raise from a handle and catch with a text";
  velbench::addCounting(held, "velstd",
                        [](State& state) { failAgain(state, ourCatchThroughHandle); });
  velbench::addCounting(held, "std::runtime_error",
                        [](State& state) { failAgain(state, stdCatch); });

  const char* const index = "index out of range, thrown";
  velbench::addCounting(index, "velstd", [](State& state) {
    const auto sequence = numbers();
    failAgain(state, [&](int i) { return ourIndex(sequence, i); });
  });
  velbench::addCounting(index, "std::vector", [](State& state) {
    const std::vector<int> sequence(kElements);
    failAgain(state, [&](int i) { return stdIndex(sequence, i); });
  });

  const char* const record = "index out of range, told in C";
  velbench::addCounting(record, "velstd", [](State& state) {
    const auto sequence = numbers();
    failAgain(state, [&](int i) { return ourRecord(sequence, i); });
  });
  velbench::addCounting(record, "GError", [](State& state) { failAgain(state, glibRecord); });
}
