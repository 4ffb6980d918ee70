/* The C interface: who owns what, and how a failed call is noticed. */
#include <stdio.h>
#include <velstd_c.h>

/* Prints the type and the message of the pending exception, which is then
 * pending no more. */
static void tell(const char *what) {
  xthrowable *exception = xextractexc_c(); /* ours now */
  __xstring_c type = xgettypename_c(exception);
  __xany_c description = xobjgetattr_c(exception, "Description");
  __xstring_c text = xanytostr_c(&description);
  printf("%s: %s, %s\n", what, xstrgetmb_c(&type), xstrgetmb_c(&text));
  xstrunlock_c(&text);
  xanyunlock_c(&description);
  xstrunlock_c(&type);
  xrcrelease_c(exception);
}

int main(void) {
  xintsequence *primes = xintsequence_create(); /* one reference, ours */
  xanydictionary *book = xanydictionary_create();
  __xany_c value;
  int number;

  if (!primes || !book) return 1;
  xintsequence_set(primes, 0, 2);
  xintsequence_set(primes, 1, 3);

  value = xanyobj_c(primes); /* a second reference */
  xanydictionary_set(book, "primes", value); /* a third, the dictionary's */
  xanyunlock_c(&value);
  xrcrelease_c(primes); /* lives on in the dictionary */

  /* 1: found; the record that we get is ours. */
  if (xanydictionary_find(book, "primes", &value) == 1) {
    __xstring_c text = xprintstr_c(&value, -1);
    printf("%s\n", xstrgetmb_c(&text));
    xstrunlock_c(&text);
  }
  primes = xanytoobj_c(&value);
  xanyunlock_c(&value);

  number = xintsequence_get(primes, 99);
  if (number == VEL_ERROR_INT && xisexc_c()) tell("get");
  xintsequence_set(book, 0, 5); /* no sequence of integers */
  if (xisexc_c()) tell("set");

  xrcrelease_c(primes);
  xrcrelease_c(book);
  return 0;
}
