/* A C program that is linked with the library under test and with one that uses
 * it early, in either order; tells which of the two was started first. */
#include <stdio.h>

#include "life_early.h"
#include "velstd_c.h"

int main(void) {
  xintsequence* numbers = xintsequence_create();
  xintsequence_set(numbers, 2, 5);
  const int right = xintsequence_get(numbers, 2) == 5;
  xrcrelease_c(numbers);
  fprintf(stderr, "%s%s", LifeEarlyFailure(), LifeEarlyCameSecond() ? "second" : "first");
  return right ? 0 : 1;
}
