// xrtti.h - type descriptors.
//
// Every framework type has a descriptor that names it and tells how to get at
// the parts of its values: attributes, elements, entries, union members. It is
// created once, initialised once, registered by name (velrtti.h), and lives
// until the process ends. Two descriptors of one name are the same type.
//
// A descriptor borrows what it is given: arrays, C strings and functions must
// live as long as the process. Descriptors are objects, but not counted, and
// refuse deletion.
// Errors: an index out of range never throws; pointers come out null, numbers
// -2147483648, texts as the null string.
// Threads: read-only after initialisation, but for user data.
#ifndef VELSTD_VELBASE_XRTTI_H
#define VELSTD_VELBASE_XRTTI_H

#include "korapi.h"
#include "kormap.h"
#include "velobject.h"
#include "xobject.h"
#include "xrchandle.h"
#include "xstring.h"

class xany;
class xintsequence;
class xrttiattr;

/// Any type.
class VELSTD_API xrtti : public virtual xobject {
  VEL_OBJECT(xrtti)
 public:
  /// User data by key; both are borrowed.
  using UserDataMap = korNonOwnerStringMap<void*>;

  /// Without a name until it is initialised.
  xrtti() = default;
  xrtti(const xrtti&) = delete;
  xrtti& operator=(const xrtti&) = delete;

  /// The registered name; the null string for a descriptor without one. Throws nothing.
  virtual xstring getName();
  /// True for this descriptor and for one of the same name; false for null. A
  /// descriptor without a name equals only itself.
  virtual bool isTypeSameAs(xrtti* type);
  /// True for "any" and for the same type; false for null.
  virtual bool isTypeKindOf(xrtti* type);

 protected:
  /// Sets the name (copied; null allowed) in its narrow form.
  virtual void initializeRtti(const char* name);

 public:
  /// Per-type data of other layers: `data` under `key`, replacing what was
  /// there. Key and data are borrowed for ever; the key is usually a literal.
  /// A null key is ignored. Not safe for concurrent use of one descriptor.
  virtual void addUserData(const char* key, void* data);
  /// What is stored under `key`, else null.
  virtual void* getUserData(const char* key);
  /// The map itself, created if absent. Borrowed.
  virtual UserDataMap* getUserDataMap();

  /// False: descriptors stay.
  unsigned char isDeletable() override;

 protected:
  /// What getName() gives.
  xstring name;
  /// What getUserDataMap() gives; null until somebody asks.
  UserDataMap* userData = nullptr;
};

/// A type without parts: "bool", "int", "real", "string", "any".
class VELSTD_API xrttibasic : public virtual xrtti {
  VEL_OBJECT(xrttibasic)
 public:
  /// Without a name until it is initialised.
  xrttibasic() = default;
  /// A descriptor of that name (copied; null allowed).
  explicit xrttibasic(const char* name);
};

/// An enumeration; the value of an enumerator is its index.
class VELSTD_API xrttienum : public virtual xrtti {
  VEL_OBJECT(xrttienum)
 public:
  /// Without a name and without values.
  xrttienum() = default;
  /// @param values  `nValues` narrow texts (borrowed for ever)
  /// An enumeration of that name (copied; null allowed).
  xrttienum(const char* name, int nValues, const char* const* values);

  /// Number of values.
  virtual int getNValues();
  /// The name of value number `value`; the null string below 0 and from the number of
  /// values on. Throws std::bad_alloc.
  virtual xstring mapIntToString(int value);
  /// Index of the first entry that is `text` itself or reads the same;
  /// -2147483648 for none. Null matches only a null entry.
  virtual int mapStringToInt(const char* text);

 protected:
  /// These are what the enumeration was made of.
  int nValues = 0;
  const char* const* values = nullptr;
};

/// An object class.
class VELSTD_API xrttiobject : public virtual xrtti {
  VEL_OBJECT(xrttiobject)
 public:
  /// Without a name and without parents; not counted.
  xrttiobject() = default;

  /// Says all that there is to say of the type.
  /// @param name        the name (copied; null allowed)
  /// @param isRefCount  whether objects of the class are counted
  /// @param nParents    number of parents, from 0
  /// @param parents     `nParents` descriptors (borrowed for ever)
  void initializeRttiObject(const char* name, unsigned char isRefCount, int nParents,
                            xrttiobject* const* parents);

  /// Whether objects of the class are counted: 0 or 1.
  virtual unsigned char getIsRefCount();
  /// Number of parents.
  virtual int getNParents();
  /// Parent `index`, from 0 (borrowed for ever); null out of range.
  virtual xrttiobject* getParent(int index);

  /// True for "any", "object", the same type, and what a parent is a kind of.
  bool isTypeKindOf(xrtti* type) override;

 protected:
  /// These are what the type was initialised with.
  unsigned char isRefCount = 0;
  int nParents = 0;
  xrttiobject* const* parents = nullptr;
};

/// A class with named attributes.
class VELSTD_API xrttistruct : public virtual xrttiobject {
  VEL_OBJECT(xrttistruct)
 public:
  /// Without a name, parents and attributes; not counted.
  xrttistruct() = default;

  /// As initializeRttiObject, with the attributes.
  /// @param name        the name (copied; null allowed)
  /// @param isRefCount  whether objects of the class are counted
  /// @param nParents    number of parents, from 0
  /// @param parents     `nParents` descriptors (borrowed for ever)
  /// @param nAttrs      number of the structure's own attributes, from 0
  /// @param attrs       `nAttrs` attributes (borrowed for ever)
  void initializeRttiStruct(const char* name, unsigned char isRefCount, int nParents,
                            xrttiobject* const* parents, int nAttrs, xrttiattr* const* attrs);

  /// Number of the structure's own attributes.
  virtual int getNAttrs();
  /// Attribute `index`, from 0 (borrowed for ever), of the structure's own; null out of
  /// range.
  virtual xrttiattr* getAttr(int index);
  /// The first attribute of that name: of this structure, then, if asked,
  /// depth first of its parents. Null for none and for null text.
  /// Throws velXTypeMismatch when a parent that is met is no structure.
  virtual xrttiattr* findAttr(const char* name, unsigned char searchParents);

 protected:
  /// These are what the type was initialised with.
  int nAttrs = 0;
  xrttiattr* const* attrs = nullptr;
};

/// A class whose value has one of several shapes, told by a discriminator.
class VELSTD_API xrttiunion : public virtual xrttiobject {
  VEL_OBJECT(xrttiunion)
 public:
  /// Without a name, parents and branches; not counted.
  xrttiunion() = default;

  /// As initializeRttiObject, with the branches.
  /// @param name         the name (copied; null allowed)
  /// @param isRefCount   whether objects of the class are counted
  /// @param nParents     number of parents, from 0
  /// @param parents      `nParents` descriptors (borrowed for ever)
  /// @param discr        the attribute that tells the shape (borrowed for ever)
  /// @param nLabels      number of labels, from 0
  /// @param labels       `nLabels` discriminator values (borrowed for ever)
  /// @param attrs        the branch for each label (borrowed for ever)
  /// @param defaultAttr  the branch for all others; nullable
  void initializeRttiUnion(const char* name, unsigned char isRefCount, int nParents,
                           xrttiobject* const* parents, xrttiattr* discr, int nLabels,
                           const int* labels, xrttiattr* const* attrs, xrttiattr* defaultAttr);

  /// The attribute that tells the shape (borrowed for ever).
  virtual xrttiattr* getDiscr();
  /// Number of labels.
  virtual int getNLabels();
  /// Label `index`, from 0; -2147483648 out of range.
  virtual int getLabel(int index);
  /// The branch of label `index`, from 0 (borrowed for ever); null out of range.
  virtual xrttiattr* getAttr(int index);
  /// The branch for all other labels (borrowed for ever); null for none.
  virtual xrttiattr* getDefaultAttr();
  /// The branch that `label` selects: listed here, else the default branch,
  /// else, if asked, depth first in the parents. Null for none.
  /// Throws velXTypeMismatch when a parent that is met is no union.
  virtual xrttiattr* mapLabelToAttr(int label, unsigned char searchParents);
  /// The same for a value; it must convert to int, else the process ends.
  virtual xrttiattr* mapLabelToAttr(xany label, unsigned char searchParents);

 protected:
  /// These are what the type was initialised with.
  xrttiattr* discr = nullptr;
  int nLabels = 0;
  const int* labels = nullptr;
  xrttiattr* const* attrs = nullptr;
  xrttiattr* defaultAttr = nullptr;
};

/// An array of fixed dimensions.
class VELSTD_API xrttiarray : public virtual xrttiobject {
  VEL_OBJECT(xrttiarray)
 public:
  /// Element of `array` (borrowed) at one index per dimension.
  using ElemGetter = xany (*)(xobject* array, int* indices);

  /// Without a name and dimensions; not counted.
  xrttiarray() = default;

  /// Says all that there is to say of the type; it has no parents.
  /// @param name            the name (copied; null allowed)
  /// @param isRefCount      whether objects of the class are counted
  /// @param nDimentions     number of dimensions
  /// @param dimentions      `nDimentions` sizes (borrowed for ever)
  /// @param elemType        what an element is (borrowed for ever)
  /// @param isElemOptional  whether nil is an element
  /// @param elemGetter      reads an element; nullable
  void initializeRttiArray(const char* name, unsigned char isRefCount, int nDimentions,
                           const int* dimentions, xrtti* elemType, unsigned char isElemOptional,
                           ElemGetter elemGetter);

  /// Number of dimensions.
  virtual int getNDimentions();
  /// Size of dimension `index`, from 0; -2147483648 out of range.
  virtual int getDimention(int index);
  /// What an element is (borrowed for ever).
  virtual xrtti* getElemType();
  /// Whether nil is an element: 0 or 1.
  virtual unsigned char getIsElemOptional();
  /// The element; uninit when the type has no getter. Throws what the getter throws.
  /// @param array    the array (borrowed)
  /// @param indices  one index for each dimension, from 0; the getter decides about
  ///                 others
  virtual xany getElemValue(xobject* array, int* indices);
  /// The same with the indices in a sequence; missing ones count as 0.
  /// Throws velXNull for a null sequence.
  virtual xany getElemValue(xobject* array, xrchandle<xintsequence> indices);

 protected:
  /// These are what the type was initialised with.
  int nDimentions = 0;
  const int* dimentions = nullptr;
  xrtti* elemType = nullptr;
  unsigned char isElemOptional = 0;
  ElemGetter elemGetter = nullptr;
};

/// A sequence.
class VELSTD_API xrttisequence : public virtual xrttiobject {
  VEL_OBJECT(xrttisequence)
 public:
  /// Number of elements of `sequence` (borrowed).
  using SizeGetter = int (*)(xobject* sequence);
  /// Element `index`, from 0, of `sequence` (borrowed).
  using ElemGetter = xany (*)(xobject* sequence, int index);

  /// Without a name and functions; not counted.
  xrttisequence() = default;

  /// Says all that there is to say of the type; it has no parents.
  /// @param name            the name (copied; null allowed)
  /// @param isRefCount      whether objects of the class are counted
  /// @param elemType        what an element is (borrowed for ever)
  /// @param isElemOptional  whether nil is an element
  /// @param sizeGetter      tells the size; nullable
  /// @param elemGetter      reads an element; nullable
  void initializeRttiSeq(const char* name, unsigned char isRefCount, xrtti* elemType,
                         unsigned char isElemOptional, SizeGetter sizeGetter,
                         ElemGetter elemGetter);

  /// What an element is (borrowed for ever).
  virtual xrtti* getElemType();
  /// Whether nil is an element: 0 or 1.
  virtual unsigned char getIsElemOptional();
  /// Number of elements of `sequence` (borrowed); 0 when the type has no getter. Throws
  /// what the getter throws.
  virtual int getSize(xobject* sequence);
  /// Element `index`, from 0, of `sequence` (borrowed); uninit when the type has no
  /// getter. Throws what the getter throws: for the library's collections the index
  /// errors.
  virtual xany getElemValue(xobject* sequence, int index);

 protected:
  friend struct velReadAccess;
  /// These are what the type was initialised with.
  xrtti* elemType = nullptr;
  unsigned char isElemOptional = 0;
  SizeGetter sizeGetter = nullptr;
  ElemGetter elemGetter = nullptr;
};

/// A dictionary. Entries are numbered; a number may be vacant.
class VELSTD_API xrttidictionary : public virtual xrttiobject {
  VEL_OBJECT(xrttidictionary)
 public:
  /// One past the highest entry number of `dictionary` (borrowed).
  using SizeGetter = int (*)(xobject* dictionary);
  /// Whether there is a `key`; if so its value goes to `*value`.
  using FindElem = unsigned char (*)(xobject* dictionary, const char* key, xany* value);
  /// Whether number `index` is an entry; if so its key goes to `*key`.
  using KeyByIdx = unsigned char (*)(xobject* dictionary, int index, xstring* key);
  /// Whether number `index` is an entry; if so its value goes to `*value`.
  using ValueByIdx = unsigned char (*)(xobject* dictionary, int index, xany* value);

  /// Without a name and functions; not counted.
  xrttidictionary() = default;

  /// Says all that there is to say of the type; it has no parents.
  /// @param name            the name (copied; null allowed)
  /// @param isRefCount      whether objects of the class are counted
  /// @param elemType        what a value is (borrowed for ever)
  /// @param isElemOptional  whether nil is a value
  /// @param sizeGetter      tells the size; nullable, as the other three
  /// @param findElem        finds a value by key
  /// @param keyByIdx        reads the key of an entry
  /// @param valueByIdx      reads the value of an entry
  void initializeRttiDict(const char* name, unsigned char isRefCount, xrtti* elemType,
                          unsigned char isElemOptional, SizeGetter sizeGetter, FindElem findElem,
                          KeyByIdx keyByIdx, ValueByIdx valueByIdx);

  /// What a value is (borrowed for ever).
  virtual xrtti* getElemType();
  /// Whether nil is a value: 0 or 1.
  virtual unsigned char getIsElemOptional();
  /// One past the highest entry number, vacant ones included; 0 without a getter.
  virtual int getSize(xobject* dictionary);
  /// These answer whether the entry exists in `dictionary` (borrowed) and, if so, store
  /// its key or value; false without a getter. They throw what the getter throws.
  virtual unsigned char findElemValue(xobject* dictionary, const char* key, xany* value);
  virtual unsigned char getElemKeyByIdx(xobject* dictionary, int index, xstring* key);
  virtual unsigned char getElemValueByIdx(xobject* dictionary, int index, xany* value);

 protected:
  friend struct velReadAccess;
  /// These are what the type was initialised with.
  xrtti* elemType = nullptr;
  unsigned char isElemOptional = 0;
  SizeGetter sizeGetter = nullptr;
  FindElem findElem = nullptr;
  KeyByIdx keyByIdx = nullptr;
  ValueByIdx valueByIdx = nullptr;
};

/// A named attribute of a structure, or a part of a union.
class VELSTD_API xrttiattr : public virtual xobject {
  VEL_OBJECT(xrttiattr)
 public:
  /// The attribute's current value in `owner` (borrowed).
  using Getter = xany (*)(xobject* owner);

  /// Without a name, type and getter.
  xrttiattr() = default;
  /// An attribute.
  /// @param name        the name (copied; null allowed)
  /// @param type        what its values are (borrowed for ever)
  /// @param isOptional  whether nil is a value of it
  /// @param getter      reads it; nullable
  xrttiattr(const char* name, xrtti* type, unsigned char isOptional, Getter getter);
  xrttiattr(const xrttiattr&) = delete;
  xrttiattr& operator=(const xrttiattr&) = delete;

  /// The name; the null string for an attribute without one.
  virtual xstring getName();
  /// What its values are (borrowed for ever).
  virtual xrtti* getType();
  /// Whether nil is a value of it: 0 or 1.
  virtual unsigned char getIsOptional();
  /// The attribute's current value in `owner` (borrowed); uninit when there is no getter.
  /// Throws what the getter throws.
  virtual xany getValue(xobject* owner);

  /// False: descriptors stay.
  unsigned char isDeletable() override;

 protected:
  /// These are what the attribute was made of.
  xstring name;
  xrtti* type = nullptr;
  unsigned char isOptional = 0;
  Getter getter = nullptr;
};

#endif  // VELSTD_VELBASE_XRTTI_H
