/* A C program of someone else's: velstd_c.h needs no other header. */
#include <velstd_c.h>

int plainCheck(void);

/* 0 when the records of the interface have the layout that they are documented to have. */
int plainCheck(void) {
  __xany_c value;
  value.kind = xanyEnum;
  value.u.e.value = 7;
  value.u.e.rtti = 0;
  return value.kind == 6 && value.u.i == 7 ? 0 : 2;
}
