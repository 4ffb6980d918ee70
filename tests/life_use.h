// life_use.h - one round through the library, for the parts of life_test.
#ifndef VELSTD_TESTS_LIFE_USE_H
#define VELSTD_TESTS_LIFE_USE_H

#include <sstream>
#include <string>

#include "velstd.h"

/// Creates, converts, walks, prints, throws, catches and releases; tells what
/// went wrong, or "".
inline const char* LifeUse() {
  const auto numbers = xintsequence::create();
  for (int i = 0; i < 40; ++i) numbers->append(i);
  const auto values = xanydictionary::create();
  values->set("numbers", xany(numbers));
  values->set("text", xany(L"wide words"));
  if (xrcgetcount(numbers.operator->()) != 2) return "count";
  if (numbers->getRtti() != xintsequence::getClassRtti()) return "descriptor";
  std::ostringstream out;
  velPrint(xany(values), out, -1);
  if (out.str().find("wide words") == std::string::npos) return "print";
  try {
    numbers->get(99);
    return "no exception";
  } catch (xthrowable* caught) {
    const bool right = dynamic_cast<velXInvalidSeqIndex*>(caught) != nullptr;
    xrcrelease(caught);
    if (!right) return "other exception";
  }
  if (velCompare(xany(values), xany(values)) != 1) return "compare";
  return "";
}

#endif  // VELSTD_TESTS_LIFE_USE_H
