/* xctypes.h - the plain records that cross the C interface (C99 and C++).
 *
 * They have the layout of the C++ values they stand for, field by field, so
 * that a value can be handed over without being converted. */
#ifndef VELSTD_VELBASE_XCTYPES_H
#define VELSTD_VELBASE_XCTYPES_H

#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
class korStrBuf;
class xobject;
class xrtti;
#else
typedef struct korStrBuf korStrBuf;
typedef struct xobject xobject;
typedef xobject xrtti;
#endif

/** View of a string. A record that was filled by a function that says
 *  "owned" holds one reference on its buffer; give it back with
 *  xstrunlock_c. The null string is buffer null, both texts at address 1. */
typedef struct __xstring_c {
  korStrBuf *buffer; /**< shared buffer; null for the null string */
  char *narrow;      /**< multibyte text in the current locale; null: not produced; 1: null string */
  wchar_t *wide;     /**< wide text; null: not produced; 1: null string */
} __xstring_c;

/** Kind of a variant value; always 32 bits wide. */
#ifdef __cplusplus
enum __xanykind : int {
#else
enum __xanykind {
#endif
  xanyUninit = 0, /**< never given a value */
  xanyNil = 1,    /**< deliberately without a value */
  xanyInt = 2,    /**< an int */
  xanyBool = 3,   /**< a truth, one byte */
  xanyReal = 4,   /**< a double */
  xanyString = 5, /**< a text */
  xanyEnum = 6,   /**< a value of an enumeration */
  xanyObject = 7  /**< an object */
};
#ifndef __cplusplus
typedef int32_t __xanykind;
#endif

/** View of a variant; kinds 5 and 7 hold one reference where a function says
 *  "owned". */
typedef struct __xany_c {
  __xanykind kind; /**< what the content is */
  union {
    int i;           /**< xanyInt */
    unsigned char b; /**< xanyBool */
    double d;        /**< xanyReal */
    __xstring_c s;   /**< xanyString */
    struct {
      int value;   /**< its number */
      xrtti *rtti; /**< descriptor of the enumeration; borrowed */
    } e;             /**< xanyEnum */
    xobject *o;      /**< xanyObject */
  } u; /**< the content: the field of that kind; not looked at for nil and uninit */
} __xany_c;

#endif /* VELSTD_VELBASE_XCTYPES_H */
