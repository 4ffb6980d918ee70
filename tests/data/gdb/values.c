/* Values of a C program, which knows the classes of the library by name only. */
#include <velstd_c.h>

#include <stddef.h>

void look(xintsequence* ints, xstringsequence* strings, xanysequence* anys,
          xanydictionary* dictionary, __xany_c* value, __xstring_c* text, xthrowable* caught);
#ifdef __GNUC__
__attribute__((noinline))
#endif
void look(xintsequence *ints, xstringsequence *strings, xanysequence *anys,
          xanydictionary *dictionary, __xany_c *value, __xstring_c *text, xthrowable *caught) {
  /* All of them are there at the breakpoint, whatever the optimiser does. */
  static void* volatile seen[7];
  seen[0] = ints;
  seen[1] = strings;
  seen[2] = anys;
  seen[3] = dictionary;
  seen[4] = value;
  seen[5] = text;
  seen[6] = caught;
  (void)seen[0];
}

int main(void) {
  xintsequence* ints = xintsequence_create();
  xstringsequence* strings = xstringsequence_create();
  xanysequence* anys = xanysequence_create();
  xanydictionary* dictionary = xanydictionary_create();
  __xstring_c text;
  __xany_c value;

  xintsequence_set(ints, 0, 1);
  xintsequence_set(ints, 1, 2);
  xstrcreate_c(&text, "apples");
  xstringsequence_set(strings, 0, text);
  value.kind = xanyObject;
  value.u.o = ints;
  xanysequence_set(anys, 0, value);
  value.kind = xanyString;
  value.u.s = text;
  xanysequence_set(anys, 1, value);
  xanydictionary_set(dictionary, "fruit", value);
  value.kind = xanyReal;
  value.u.d = 2.5;
  xanysequence_set(anys, 2, value);
  value.kind = xanyObject;
  value.u.o = anys;
  xintsequence_get(ints, 99);
  look(ints, strings, anys, dictionary, &value, &text, xgetexc_c());
  return 0;
}
