/* The tutorial in C: an order of a component of which only the names are known. */
#include <stdio.h>
#include <velstd_c.h>

/* Sets an attribute and gives the value back. */
static void put(xobject *object, const char *attribute, __xany_c value) {
  xobjsetattr_c(object, attribute, &value);
  xanyunlock_c(&value);
}

static void show(xobject *object) {
  xprint_c(object);
  printf("\n");
}

int main(void) {
  xobject *order = xobjcreate_c("shop::Order"); /* one reference, ours */
  xobject *line = xobjcreate_c("shop::Line");
  __xany_c value;
  xobject *lines;

  if (!order || !line) return 1;
  put(order, "number", xanyint_c(8));
  put(order, "customer", xanystr_c("Ada"));
  put(line, "article", xanystr_c("tea"));
  put(line, "price", xanyreal_c(12.5));

  value = xobjgetattr_c(order, "lines");
  lines = xanytoobj_c(&value); /* one more reference, ours */
  xanyunlock_c(&value);
  value = xanyobj_c(line);
  xanysequence_set(lines, xanysequence_getarraysize(lines), value);
  xanyunlock_c(&value);
  show(order);

  /* What fails returns an error value and leaves an exception behind. */
  put(order, "number", xanystr_c("eight"));
  if (xisexc_c()) {
    xthrowable *exception = xextractexc_c(); /* ours, and pending no more */
    __xstring_c type = xgettypename_c(exception);
    printf("%s\n", xstrgetmb_c(&type));
    xstrunlock_c(&type);
    xrcrelease_c(exception);
  }

  xrcrelease_c(lines);
  xrcrelease_c(line);
  xrcrelease_c(order); /* the last one: the order goes, and its lines with it */
  return 0;
}
