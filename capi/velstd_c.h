/* velstd_c.h - the flat C interface (C99 and C++), and its manual.
 *
 * Objects. In C all framework classes are one opaque type, so an object of any
 * class can be handed to any function. The address of any framework part of an
 * object will do: what xextractexc_c gives can be printed and released like
 * anything else. Null and the uninitialised address (XUNINITOBJECT) are
 * accepted everywhere; what they do is said with each group.
 *
 * References. "owned": the caller gives it back, objects with xrcrelease_c,
 * strings with xstrunlock_c, variants with xanyunlock_c. "borrowed": valid for
 * the call, or as long as said. Arguments are borrowed.
 *
 * Errors. No function lets an exception out (but for xsetexc_c and
 * xcleanupexc_c on a record that holds XUNINITOBJECT). What happens instead:
 * the exception is parked in the one pending-exception record of the process,
 * and the function returns its error value. Test for the error value (or
 * always), then ask xisexc_c and take the exception with xextractexc_c.
 *   int                        VEL_ERROR_INT      -2147483647
 *   unsigned char (a truth)    VEL_ERROR_BOOL     129
 *   double                     VEL_ERROR_REAL     9e125
 *   string                     the text "uninit"  (owned like any other)
 *   variant                    kind uninit
 *   pointer                    null
 * Functions on collections clear the record first; all others leave it alone
 * unless they fail. Any of them may fail with velXNativeException "Out of
 * memory" or, for a size beyond the limits, "Size limit exceeded".
 *
 * Truths are unsigned char: 0 no, 1 yes, 129 error; as values of collections
 * and variants also 128 nil and 129 uninitialised.
 *
 * Threads. Objects may be shared, their counts are atomic; a collection, a
 * string record, a variant record are for one thread at a time. The record is
 * one for the process: programs with several threads serialise their calls. */
#ifndef VELSTD_CAPI_VELSTD_C_H
#define VELSTD_CAPI_VELSTD_C_H

#include "xctypes.h"

#ifndef VELSTD_API
#define VELSTD_API __attribute__((visibility("default")))
#endif

#ifdef __cplusplus
class xboolsequence;
class xintsequence;
class xrealsequence;
class xstringsequence;
class xanysequence;
class xbooldictionary;
class xintdictionary;
class xrealdictionary;
class xstringdictionary;
class xanydictionary;
class xthrowable;
class xrttiobject;
class xrttienum;
class xrttiattr;
extern "C" {
#else
typedef xobject xboolsequence;
typedef xobject xintsequence;
typedef xobject xrealsequence;
typedef xobject xstringsequence;
typedef xobject xanysequence;
typedef xobject xbooldictionary;
typedef xobject xintdictionary;
typedef xobject xrealdictionary;
typedef xobject xstringdictionary;
typedef xobject xanydictionary;
typedef xobject xthrowable;
typedef xobject xrttiobject;
typedef xobject xrttienum;
typedef xobject xrttiattr;
/** The address of an object slot that was never initialised. */
#define xuninitobject ((xobject *)(uintptr_t)22)
#endif

/** xuninitobject, in C and C++. */
#define XUNINITOBJECT ((xobject *)(uintptr_t)22)

#define VEL_ERROR_INT (-2147483647)         /**< what a function for an int gives on an error */
#define VEL_ERROR_BOOL ((unsigned char)129) /**< what a function for a truth gives on an error */
#define VEL_ERROR_REAL 9e125                /**< what a function for a double gives on an error */

/* ---- objects ---------------------------------------------------------------
 *
 * An object that nobody holds (count 0) is left at 0 by everything here but
 * xrcattach_c, and by functions on collections. A variant made of one holds it,
 * and destroys it when it lets go. */

/** @return 1 if the object's class is counted; 0 for null and the
 *  uninitialised address, and with an exception pending */
VELSTD_API unsigned char xisrcobj_c(xobject *obj);

/** Takes a reference; null and the uninitialised address: nothing. */
VELSTD_API void xrcattach_c(xobject *obj);

/** Gives a reference back; the last one destroys the object, if it agrees.
 *  Null, the uninitialised address and an object of count 0: nothing. */
VELSTD_API void xrcrelease_c(xobject *obj);

/** Of a counted class: like xrcrelease_c. Of any other: destroys the object,
 *  if it agrees. Null and the uninitialised address: nothing. */
VELSTD_API void xdelete_c(xobject *obj);

/** @return (borrowed for ever) the descriptor of the object's class; null for
 *  null and the uninitialised address, and with an exception pending */
VELSTD_API xrttiobject *xgetrtti_c(xobject *obj);

/** @return (owned) the name of the object's class; the empty string for null
 *  and the uninitialised address, and with an exception pending */
VELSTD_API __xstring_c xgettypename_c(xobject *obj);

/** @return 1 if the object's class has the name of `rtti`, and for a null
 *  object; 0 for the uninitialised address, a null `rtti`, and with an
 *  exception pending (velXTypeMismatch: `rtti` is no descriptor) */
VELSTD_API unsigned char xisobjsameas_c(xobject *obj, xrttiobject *rtti);

/** The same for a class that is `rtti` or derives from it. */
VELSTD_API unsigned char xisobjkindof_c(xobject *obj, xrttiobject *rtti);

/* ---- strings --------------------------------------------------------------- */

/** Fills `out`, whose old content is not looked at, with a copy of `text`
 *  (owned): null text (also the address 1) gives the null string, the address
 *  2 the text "uninit". Without memory: the null string, with an exception
 *  pending. A null `out`: nothing. */
VELSTD_API void xstrcreate_c(__xstring_c *out, const char *text);

/** @return the narrow text, produced if missing: valid while the record holds
 *  its reference; the address 1 for the null string and a null record; without
 *  memory null, with an exception pending */
VELSTD_API const char *xstrgetmb_c(__xstring_c *text);

/** The same for the wide text. */
VELSTD_API const wchar_t *xstrgetwc_c(__xstring_c *text);

/** Takes one more reference on the record's text and refreshes both pointers;
 *  the null string and a null record: nothing. */
VELSTD_API void xstrlock_c(__xstring_c *text);

/** Gives one reference back and makes the record the null string; doing it
 *  twice is harmless. A null record: nothing. */
VELSTD_API void xstrunlock_c(__xstring_c *text);

/* ---- variants --------------------------------------------------------------- */

/** These make variants. Markers are recognised as in C++: the int -2147483648,
 *  the truths 128 and 129, the reals 1e126 and 9e125, the text addresses 1 and 2,
 *  null and the uninitialised object become nil and uninit.
 *  @return (owned) a variant; kind uninit with an exception pending */
VELSTD_API __xany_c xanyuninit_c(void);
VELSTD_API __xany_c xanynil_c(void);
VELSTD_API __xany_c xanyint_c(int value);
VELSTD_API __xany_c xanybool_c(unsigned char value);
VELSTD_API __xany_c xanyreal_c(double value);
/** Makes a variant of text: null text (address 0 or 1) is nil, the address 2
 *  uninit.
 *  @return (owned) a variant; kind uninit with an exception pending */
VELSTD_API __xany_c xanystr_c(const char *text);
/** Makes a variant of a string: the null string is nil. The record keeps its own
 *  reference.
 *  @return (owned) a variant; kind uninit with an exception pending */
VELSTD_API __xany_c xanyxstr_c(__xstring_c text);
/** Makes a variant of value number `value` of an enumeration.
 *  @param type  (borrowed for ever) the enumeration; not null
 *  @return (owned) a variant; kind uninit with an exception pending */
VELSTD_API __xany_c xanyenum_c(int value, xrttienum *type);
/** Makes a variant of an object, on which it takes a reference if its class is
 *  counted; null is nil, the uninitialised address uninit.
 *  @return (owned) a variant; kind uninit with an exception pending */
VELSTD_API __xany_c xanyobj_c(xobject *object);

/** These read variants. Nil and uninit give the markers; a variant of another
 *  kind, or null, gives the error value with velXTypeMismatch or velXNull
 *  pending. xanytoint_c reads the number of an enumeration value, too. */
VELSTD_API int xanytoint_c(const __xany_c *value);
VELSTD_API unsigned char xanytobool_c(const __xany_c *value);
VELSTD_API double xanytoreal_c(const __xany_c *value);
/** Reads text; errors as the others.
 *  @return (owned) the null string for nil */
VELSTD_API __xstring_c xanytostr_c(const __xany_c *value);
/** Reads an object; errors as the others.
 *  @return (owned) null for nil, the uninitialised address for uninit */
VELSTD_API xobject *xanytoobj_c(const __xany_c *value);

/** @return the kind as a value reads (0 to 7); VEL_ERROR_INT with velXNull
 *  pending for null, with velXTypeMismatch for a record of no such kind */
VELSTD_API int xanygetkind_c(const __xany_c *value);

/** @return (owned) another reference on the same content */
VELSTD_API __xany_c xanycopy_c(const __xany_c *value);

/** Gives the record's reference back and makes it uninit; doing it twice is
 *  harmless. A null record: nothing. */
VELSTD_API void xanyunlock_c(__xany_c *value);

/* ---- the pending exception -------------------------------------------------- */

/** Makes `exception` the pending one, in place of another; takes a reference
 *  if its class is counted. Null clears the record. */
VELSTD_API void xsetexc_c(xthrowable *exception);

/** @return (owned, if its class is counted) the pending exception, which stays
 *  pending; null for none */
VELSTD_API xthrowable *xgetexc_c(void);

/** @return 1 when an exception is pending */
VELSTD_API unsigned char xisexc_c(void);

/** @return (owned) the pending exception, which is pending no more; null for
 *  none */
VELSTD_API xthrowable *xextractexc_c(void);

/** Clears the record. An exception of a class that is not counted is
 *  destroyed. */
VELSTD_API void xcleanupexc_c(void);

/* ---- printing and comparing -------------------------------------------------- */

/** Prints an object to the standard output and flushes it: null as "nil", the
 *  uninitialised address as "uninit"; no end of line. */
VELSTD_API void xprint_c(xobject *object);

/** @param step  blanks of indentation; -1 for one line
 *  @return (owned) the text that the variant is printed as; "uninit" with an
 *  exception pending */
VELSTD_API __xstring_c xprintstr_c(const __xany_c *value, int step);

/** @return 1 when the object in `second` has the content of the one in `first`
 *  (values that are no objects never do; dictionaries one way); 129 with an
 *  exception pending, as for a number that is no value of its enumeration */
VELSTD_API unsigned char xcompare_c(const __xany_c *first, const __xany_c *second);

/* ---- types -------------------------------------------------------------------
 *
 * Descriptors are borrowed for ever. A null descriptor parks velXNull, another
 * object velXTypeMismatch. Numbers out of range give null, the null string or
 * -2147483648, as in C++. */

/** What a descriptor describes. */
enum xrttikind {
  xrttiKindBasic = 1,     /**< a type without parts */
  xrttiKindEnum = 2,      /**< an enumeration */
  xrttiKindObject = 3,    /**< an object class of no other kind */
  xrttiKindStruct = 4,    /**< a class with named attributes */
  xrttiKindUnion = 5,     /**< a class of one of several shapes */
  xrttiKindArray = 6,     /**< an array of fixed dimensions */
  xrttiKindSequence = 7,  /**< a sequence */
  xrttiKindDictionary = 8 /**< a dictionary */
};

/** @return the type registered under `name`, where as in all names of types and
 *  attributes the address 2 is the text "uninit"; null for none */
VELSTD_API xrtti *xrttifind_c(const char *name);
/** Calls `visit(type, data)` for every registered type in the order of the
 *  names until it returns 0. A null `visit`: nothing. */
VELSTD_API void xrttiforeach_c(int (*visit)(xrtti *type, void *data), void *data);
/** @return (owned) the name */
VELSTD_API __xstring_c xrttigetname_c(xrtti *type);
/** @return an xrttikind; 0 for a descriptor of no known kind */
VELSTD_API int xrttigetkind_c(xrtti *type);
/** @return whether objects of an object class are counted */
VELSTD_API unsigned char xrttiisrefcount_c(xrtti *type);
/** @return the number of parents of an object class */
VELSTD_API int xrttigetnparents_c(xrtti *type);
/** @return parent `index`, from 0, of an object class */
VELSTD_API xrtti *xrttigetparent_c(xrtti *type, int index);
/** @return the number of a structure's own attributes */
VELSTD_API int xrttigetnattrs_c(xrtti *type);
/** @return attribute `index`, from 0, of a structure's own */
VELSTD_API xrttiattr *xrttigetattr_c(xrtti *type, int index);
/** @param searchParents  whether to go on in the parents, depth first
 *  @return the first attribute of that name of a structure; null for none and for
 *  null text */
VELSTD_API xrttiattr *xrttifindattr_c(xrtti *type, const char *name, unsigned char searchParents);
/** @return the number of values of an enumeration */
VELSTD_API int xrttigetnvalues_c(xrtti *type);
/** @return (owned) the name of value number `value` of an enumeration */
VELSTD_API __xstring_c xrttimapinttostr_c(xrtti *type, int value);
/** @return the number of the value of that name; -2147483648 for none */
VELSTD_API int xrttimapstrtoint_c(xrtti *type, const char *name);
/** @return what the elements of a sequence, a dictionary or an array are */
VELSTD_API xrtti *xrttigetelemtype_c(xrtti *type);
/** @return the number of dimensions of an array */
VELSTD_API int xrttigetndimentions_c(xrtti *type);
/** @return the size of dimension `index`, from 0, of an array */
VELSTD_API int xrttigetdimention_c(xrtti *type, int index);
/** @return the discriminator of a union */
VELSTD_API xrttiattr *xrttigetdiscr_c(xrtti *type);
/** @return the number of labels of a union */
VELSTD_API int xrttigetnlabels_c(xrtti *type);
/** @return label `index`, from 0, of a union */
VELSTD_API int xrttigetlabel_c(xrtti *type, int index);
/** @return the branch of label `index`, from 0, of a union */
VELSTD_API xrttiattr *xrttigetbranch_c(xrtti *type, int index);
/** @return the branch of a union for all labels that it does not list; null for none */
VELSTD_API xrttiattr *xrttigetdefaultbranch_c(xrtti *type);
/** @return (owned) the name of an attribute */
VELSTD_API __xstring_c xrttiattrgetname_c(xrttiattr *attr);
/** @return what the values of an attribute are */
VELSTD_API xrtti *xrttiattrgettype_c(xrttiattr *attr);
/** @return whether nil is a value of an attribute */
VELSTD_API unsigned char xrttiattrisoptional_c(xrttiattr *attr);
/** @return (owned) the value of an attribute in `owner`; kind uninit with what its
 *  getter throws pending */
VELSTD_API __xany_c xrttiattrgetvalue_c(xrttiattr *attr, xobject *owner);

/* ---- objects by name --------------------------------------------------------- */

/** @return (owned) a new, empty object of the type registered under `typeName`;
 *  null for a type that is unknown or cannot be made */
VELSTD_API xobject *xobjcreate_c(const char *typeName);

/** @return (owned) the attribute's value, sought in the object's structure type
 *  and its parents; kind uninit with velXInvalidDictKey pending for an unknown
 *  one */
VELSTD_API __xany_c xobjgetattr_c(xobject *object, const char *attribute);

/** Sets an attribute of an object that can be made by name.
 *  @return 1; 0 for an attribute that the object calls deprecated; 129 with
 *  velXTypeMismatch (wrong kind) or velXInvalidDictKey (unknown) pending */
VELSTD_API unsigned char xobjsetattr_c(xobject *object, const char *attribute,
                                       const __xany_c *value);

/* ---- sequences ----------------------------------------------------------------
 *
 * `seq`: null parks velXNull, the uninitialised address velXNotInitialized, an
 * object of another class velXTypeMismatch. Indices count from 0; below 0 parks
 * velXNegativeIndex. A sequence that an exception is about lives at least until
 * the record is cleared. */

/** @return (owned) a new, empty sequence; null with an exception pending */
VELSTD_API xboolsequence *xboolsequence_create(void);
/** @return the number of elements; -2147483647 with an exception pending */
VELSTD_API int xboolsequence_getarraysize(xboolsequence *seq);
/** @return the element; 129, with velXNegativeIndex or
 *  velXInvalidSeqIndex (at and past the end) pending */
VELSTD_API unsigned char xboolsequence_get(xboolsequence *seq, int index);
/** Stores `value`; at or past the end, the sequence grows to index + 1. */
VELSTD_API void xboolsequence_set(xboolsequence *seq, int index, unsigned char value);
/** Puts `value` before the element at `index`; past the end as xboolsequence_set. */
VELSTD_API void xboolsequence_insert(xboolsequence *seq, int index, unsigned char value);
/** Puts all elements of `other`, which may be `seq`, before that at `index`. */
VELSTD_API void xboolsequence_insertseq(xboolsequence *seq, int index, xboolsequence *other);
/** Removes the elements from `first` up to, not including, `last`, in either
 *  order; what lies beyond the end does not count. */
VELSTD_API void xboolsequence_removerange(xboolsequence *seq, int first, int last);
/** @return (borrowed for ever) the descriptor of the class */
VELSTD_API xrttiobject *xboolsequence_getclassrtti_c(void);

/** @return (owned) a new, empty sequence; null with an exception pending */
VELSTD_API xintsequence *xintsequence_create(void);
/** @return the number of elements; -2147483647 with an exception pending */
VELSTD_API int xintsequence_getarraysize(xintsequence *seq);
/** @return the element; -2147483647, with velXNegativeIndex or
 *  velXInvalidSeqIndex (at and past the end) pending */
VELSTD_API int xintsequence_get(xintsequence *seq, int index);
/** Stores `value`; at or past the end, the sequence grows to index + 1. */
VELSTD_API void xintsequence_set(xintsequence *seq, int index, int value);
/** Puts `value` before the element at `index`; past the end as xintsequence_set. */
VELSTD_API void xintsequence_insert(xintsequence *seq, int index, int value);
/** Puts all elements of `other`, which may be `seq`, before that at `index`. */
VELSTD_API void xintsequence_insertseq(xintsequence *seq, int index, xintsequence *other);
/** Removes the elements from `first` up to, not including, `last`, in either
 *  order; what lies beyond the end does not count. */
VELSTD_API void xintsequence_removerange(xintsequence *seq, int first, int last);
/** @return (borrowed for ever) the descriptor of the class */
VELSTD_API xrttiobject *xintsequence_getclassrtti_c(void);

/** @return (owned) a new, empty sequence; null with an exception pending */
VELSTD_API xrealsequence *xrealsequence_create(void);
/** @return the number of elements; -2147483647 with an exception pending */
VELSTD_API int xrealsequence_getarraysize(xrealsequence *seq);
/** @return the element; 9e125, with velXNegativeIndex or
 *  velXInvalidSeqIndex (at and past the end) pending */
VELSTD_API double xrealsequence_get(xrealsequence *seq, int index);
/** Stores `value`; at or past the end, the sequence grows to index + 1. */
VELSTD_API void xrealsequence_set(xrealsequence *seq, int index, double value);
/** Puts `value` before the element at `index`; past the end as xrealsequence_set. */
VELSTD_API void xrealsequence_insert(xrealsequence *seq, int index, double value);
/** Puts all elements of `other`, which may be `seq`, before that at `index`. */
VELSTD_API void xrealsequence_insertseq(xrealsequence *seq, int index, xrealsequence *other);
/** Removes the elements from `first` up to, not including, `last`, in either
 *  order; what lies beyond the end does not count. */
VELSTD_API void xrealsequence_removerange(xrealsequence *seq, int first, int last);
/** @return (borrowed for ever) the descriptor of the class */
VELSTD_API xrttiobject *xrealsequence_getclassrtti_c(void);

/** @return (owned) a new, empty sequence; null with an exception pending */
VELSTD_API xstringsequence *xstringsequence_create(void);
/** @return the number of elements; -2147483647 with an exception pending */
VELSTD_API int xstringsequence_getarraysize(xstringsequence *seq);
/** @return (owned) the element; the text "uninit" (owned), with velXNegativeIndex or
 *  velXInvalidSeqIndex (at and past the end) pending */
VELSTD_API __xstring_c xstringsequence_get(xstringsequence *seq, int index);
/** Stores `value`; at or past the end, the sequence grows to index + 1. */
VELSTD_API void xstringsequence_set(xstringsequence *seq, int index, __xstring_c value);
/** Puts `value` before the element at `index`; past the end as xstringsequence_set. */
VELSTD_API void xstringsequence_insert(xstringsequence *seq, int index, __xstring_c value);
/** Puts all elements of `other`, which may be `seq`, before that at `index`. */
VELSTD_API void xstringsequence_insertseq(xstringsequence *seq, int index, xstringsequence *other);
/** Removes the elements from `first` up to, not including, `last`, in either
 *  order; what lies beyond the end does not count. */
VELSTD_API void xstringsequence_removerange(xstringsequence *seq, int first, int last);
/** @return (borrowed for ever) the descriptor of the class */
VELSTD_API xrttiobject *xstringsequence_getclassrtti_c(void);

/** @return (owned) a new, empty sequence; null with an exception pending */
VELSTD_API xanysequence *xanysequence_create(void);
/** @return the number of elements; -2147483647 with an exception pending */
VELSTD_API int xanysequence_getarraysize(xanysequence *seq);
/** @return (owned) the element; kind uninit, with velXNegativeIndex or
 *  velXInvalidSeqIndex (at and past the end) pending */
VELSTD_API __xany_c xanysequence_get(xanysequence *seq, int index);
/** Stores `value`; at or past the end, the sequence grows to index + 1. */
VELSTD_API void xanysequence_set(xanysequence *seq, int index, __xany_c value);
/** Puts `value` before the element at `index`; past the end as xanysequence_set. */
VELSTD_API void xanysequence_insert(xanysequence *seq, int index, __xany_c value);
/** Puts all elements of `other`, which may be `seq`, before that at `index`. */
VELSTD_API void xanysequence_insertseq(xanysequence *seq, int index, xanysequence *other);
/** Removes the elements from `first` up to, not including, `last`, in either
 *  order; what lies beyond the end does not count. */
VELSTD_API void xanysequence_removerange(xanysequence *seq, int first, int last);
/** @return (borrowed for ever) the descriptor of the class */
VELSTD_API xrttiobject *xanysequence_getclassrtti_c(void);

/* ---- dictionaries ---------------------------------------------------------------
 *
 * `dict`: as `seq` above. Keys are narrow texts; a null key (also the address
 * 1) parks velXNull, the address 2 is the key "uninit".
 * Indices are slots: go from 0 to getmapsize - 1 and skip the vacant ones.
 * Below 0 parks velXNegativeIndex. Where nothing is found, strings and
 * variants that are handed back are the null string and uninit, truths and
 * numbers stay untouched. An out-pointer may be null. */

/** @return (owned) a new, empty dictionary; null with an exception pending */
VELSTD_API xbooldictionary *xbooldictionary_create(void);
/** @return the number of slots; -2147483647 with an exception pending */
VELSTD_API int xbooldictionary_getmapsize(xbooldictionary *dict);
/** @return the number of entries; -2147483647 with an exception pending */
VELSTD_API int xbooldictionary_count_c(xbooldictionary *dict);
/** @param value  gets the value of `key`
 *  @return 1 if there is one, 0 if not, 129 with an exception pending */
VELSTD_API unsigned char xbooldictionary_find(xbooldictionary *dict, const char *key, unsigned char *value);
/** Inserts or overwrites. */
VELSTD_API void xbooldictionary_set(xbooldictionary *dict, const char *key, unsigned char value);
/** Removes the entry of `key`; a key that is not there, or null: nothing. */
VELSTD_API void xbooldictionary_remove(xbooldictionary *dict, const char *key);
/** @param value  gets the value in slot `index`
 *  @return 1 for an entry, 0 for a vacant slot and past the table, 129 with an
 *  exception pending */
VELSTD_API unsigned char xbooldictionary_getbyindex(xbooldictionary *dict, int index, unsigned char *value);
/** @param key  gets the key in slot `index` (owned)
 *  @return as xbooldictionary_getbyindex */
VELSTD_API unsigned char xbooldictionary_getkeybyindex(xbooldictionary *dict, int index, __xstring_c *key);
/** Overwrites the value in slot `index`; a vacant slot: nothing. At and past
 *  the table velXInvalidDictIndex is parked. */
VELSTD_API void xbooldictionary_setbyindex(xbooldictionary *dict, int index, unsigned char value);
/** Removes the entry in slot `index`; errors as xbooldictionary_setbyindex. */
VELSTD_API void xbooldictionary_removebyindex(xbooldictionary *dict, int index);
/** @return (borrowed for ever) the descriptor of the class */
VELSTD_API xrttiobject *xbooldictionary_getclassrtti_c(void);

/** @return (owned) a new, empty dictionary; null with an exception pending */
VELSTD_API xintdictionary *xintdictionary_create(void);
/** @return the number of slots; -2147483647 with an exception pending */
VELSTD_API int xintdictionary_getmapsize(xintdictionary *dict);
/** @return the number of entries; -2147483647 with an exception pending */
VELSTD_API int xintdictionary_count_c(xintdictionary *dict);
/** @param value  gets the value of `key`
 *  @return 1 if there is one, 0 if not, 129 with an exception pending */
VELSTD_API unsigned char xintdictionary_find(xintdictionary *dict, const char *key, int *value);
/** Inserts or overwrites. */
VELSTD_API void xintdictionary_set(xintdictionary *dict, const char *key, int value);
/** Removes the entry of `key`; a key that is not there, or null: nothing. */
VELSTD_API void xintdictionary_remove(xintdictionary *dict, const char *key);
/** @param value  gets the value in slot `index`
 *  @return 1 for an entry, 0 for a vacant slot and past the table, 129 with an
 *  exception pending */
VELSTD_API unsigned char xintdictionary_getbyindex(xintdictionary *dict, int index, int *value);
/** @param key  gets the key in slot `index` (owned)
 *  @return as xintdictionary_getbyindex */
VELSTD_API unsigned char xintdictionary_getkeybyindex(xintdictionary *dict, int index, __xstring_c *key);
/** Overwrites the value in slot `index`; a vacant slot: nothing. At and past
 *  the table velXInvalidDictIndex is parked. */
VELSTD_API void xintdictionary_setbyindex(xintdictionary *dict, int index, int value);
/** Removes the entry in slot `index`; errors as xintdictionary_setbyindex. */
VELSTD_API void xintdictionary_removebyindex(xintdictionary *dict, int index);
/** @return (borrowed for ever) the descriptor of the class */
VELSTD_API xrttiobject *xintdictionary_getclassrtti_c(void);

/** @return (owned) a new, empty dictionary; null with an exception pending */
VELSTD_API xrealdictionary *xrealdictionary_create(void);
/** @return the number of slots; -2147483647 with an exception pending */
VELSTD_API int xrealdictionary_getmapsize(xrealdictionary *dict);
/** @return the number of entries; -2147483647 with an exception pending */
VELSTD_API int xrealdictionary_count_c(xrealdictionary *dict);
/** @param value  gets the value of `key`
 *  @return 1 if there is one, 0 if not, 129 with an exception pending */
VELSTD_API unsigned char xrealdictionary_find(xrealdictionary *dict, const char *key, double *value);
/** Inserts or overwrites. */
VELSTD_API void xrealdictionary_set(xrealdictionary *dict, const char *key, double value);
/** Removes the entry of `key`; a key that is not there, or null: nothing. */
VELSTD_API void xrealdictionary_remove(xrealdictionary *dict, const char *key);
/** @param value  gets the value in slot `index`
 *  @return 1 for an entry, 0 for a vacant slot and past the table, 129 with an
 *  exception pending */
VELSTD_API unsigned char xrealdictionary_getbyindex(xrealdictionary *dict, int index, double *value);
/** @param key  gets the key in slot `index` (owned)
 *  @return as xrealdictionary_getbyindex */
VELSTD_API unsigned char xrealdictionary_getkeybyindex(xrealdictionary *dict, int index, __xstring_c *key);
/** Overwrites the value in slot `index`; a vacant slot: nothing. At and past
 *  the table velXInvalidDictIndex is parked. */
VELSTD_API void xrealdictionary_setbyindex(xrealdictionary *dict, int index, double value);
/** Removes the entry in slot `index`; errors as xrealdictionary_setbyindex. */
VELSTD_API void xrealdictionary_removebyindex(xrealdictionary *dict, int index);
/** @return (borrowed for ever) the descriptor of the class */
VELSTD_API xrttiobject *xrealdictionary_getclassrtti_c(void);

/** @return (owned) a new, empty dictionary; null with an exception pending */
VELSTD_API xstringdictionary *xstringdictionary_create(void);
/** @return the number of slots; -2147483647 with an exception pending */
VELSTD_API int xstringdictionary_getmapsize(xstringdictionary *dict);
/** @return the number of entries; -2147483647 with an exception pending */
VELSTD_API int xstringdictionary_count_c(xstringdictionary *dict);
/** @param value  gets the value of `key` (owned)
 *  @return 1 if there is one, 0 if not, 129 with an exception pending */
VELSTD_API unsigned char xstringdictionary_find(xstringdictionary *dict, const char *key, __xstring_c *value);
/** Inserts or overwrites. */
VELSTD_API void xstringdictionary_set(xstringdictionary *dict, const char *key, __xstring_c value);
/** Removes the entry of `key`; a key that is not there, or null: nothing. */
VELSTD_API void xstringdictionary_remove(xstringdictionary *dict, const char *key);
/** @param value  gets the value in slot `index` (owned)
 *  @return 1 for an entry, 0 for a vacant slot and past the table, 129 with an
 *  exception pending */
VELSTD_API unsigned char xstringdictionary_getbyindex(xstringdictionary *dict, int index, __xstring_c *value);
/** @param key  gets the key in slot `index` (owned)
 *  @return as xstringdictionary_getbyindex */
VELSTD_API unsigned char xstringdictionary_getkeybyindex(xstringdictionary *dict, int index, __xstring_c *key);
/** Overwrites the value in slot `index`; a vacant slot: nothing. At and past
 *  the table velXInvalidDictIndex is parked. */
VELSTD_API void xstringdictionary_setbyindex(xstringdictionary *dict, int index, __xstring_c value);
/** Removes the entry in slot `index`; errors as xstringdictionary_setbyindex. */
VELSTD_API void xstringdictionary_removebyindex(xstringdictionary *dict, int index);
/** @return (borrowed for ever) the descriptor of the class */
VELSTD_API xrttiobject *xstringdictionary_getclassrtti_c(void);

/** @return (owned) a new, empty dictionary; null with an exception pending */
VELSTD_API xanydictionary *xanydictionary_create(void);
/** @return the number of slots; -2147483647 with an exception pending */
VELSTD_API int xanydictionary_getmapsize(xanydictionary *dict);
/** @return the number of entries; -2147483647 with an exception pending */
VELSTD_API int xanydictionary_count_c(xanydictionary *dict);
/** @param value  gets the value of `key` (owned)
 *  @return 1 if there is one, 0 if not, 129 with an exception pending */
VELSTD_API unsigned char xanydictionary_find(xanydictionary *dict, const char *key, __xany_c *value);
/** Inserts or overwrites. */
VELSTD_API void xanydictionary_set(xanydictionary *dict, const char *key, __xany_c value);
/** Removes the entry of `key`; a key that is not there, or null: nothing. */
VELSTD_API void xanydictionary_remove(xanydictionary *dict, const char *key);
/** @param value  gets the value in slot `index` (owned)
 *  @return 1 for an entry, 0 for a vacant slot and past the table, 129 with an
 *  exception pending */
VELSTD_API unsigned char xanydictionary_getbyindex(xanydictionary *dict, int index, __xany_c *value);
/** @param key  gets the key in slot `index` (owned)
 *  @return as xanydictionary_getbyindex */
VELSTD_API unsigned char xanydictionary_getkeybyindex(xanydictionary *dict, int index, __xstring_c *key);
/** Overwrites the value in slot `index`; a vacant slot: nothing. At and past
 *  the table velXInvalidDictIndex is parked. */
VELSTD_API void xanydictionary_setbyindex(xanydictionary *dict, int index, __xany_c value);
/** Removes the entry in slot `index`; errors as xanydictionary_setbyindex. */
VELSTD_API void xanydictionary_removebyindex(xanydictionary *dict, int index);
/** @return (borrowed for ever) the descriptor of the class */
VELSTD_API xrttiobject *xanydictionary_getclassrtti_c(void);

#ifdef __cplusplus
}
#endif

#endif /* VELSTD_CAPI_VELSTD_C_H */
