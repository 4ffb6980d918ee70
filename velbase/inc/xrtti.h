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
  using UserDataMap = korNonOwnerStringMap<void*>;

  xrtti() = default;
  xrtti(const xrtti&) = delete;
  xrtti& operator=(const xrtti&) = delete;

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
  xstring name;
  UserDataMap* userData = nullptr;
};

/// A type without parts: "bool", "int", "real", "string", "any".
class VELSTD_API xrttibasic : public virtual xrtti {
  VEL_OBJECT(xrttibasic)
 public:
  xrttibasic() = default;
  explicit xrttibasic(const char* name);
};

/// An enumeration; the value of an enumerator is its index.
class VELSTD_API xrttienum : public virtual xrtti {
  VEL_OBJECT(xrttienum)
 public:
  xrttienum() = default;
  /// @param values  `nValues` narrow texts (borrowed for ever)
  xrttienum(const char* name, int nValues, const char* const* values);

  virtual int getNValues();
  virtual xstring mapIntToString(int value);
  /// Index of the first entry that is `text` itself or reads the same;
  /// -2147483648 for none. Null matches only a null entry.
  virtual int mapStringToInt(const char* text);

 protected:
  int nValues = 0;
  const char* const* values = nullptr;
};

/// An object class.
class VELSTD_API xrttiobject : public virtual xrtti {
  VEL_OBJECT(xrttiobject)
 public:
  xrttiobject() = default;

  /// @param parents  `nParents` descriptors (borrowed for ever)
  void initializeRttiObject(const char* name, unsigned char isRefCount, int nParents,
                            xrttiobject* const* parents);

  virtual unsigned char getIsRefCount();
  virtual int getNParents();
  virtual xrttiobject* getParent(int index);

  /// True for "any", "object", the same type, and what a parent is a kind of.
  bool isTypeKindOf(xrtti* type) override;

 protected:
  unsigned char isRefCount = 0;
  int nParents = 0;
  xrttiobject* const* parents = nullptr;
};

/// A class with named attributes.
class VELSTD_API xrttistruct : public virtual xrttiobject {
  VEL_OBJECT(xrttistruct)
 public:
  xrttistruct() = default;

  /// @param attrs  `nAttrs` attributes (borrowed for ever)
  void initializeRttiStruct(const char* name, unsigned char isRefCount, int nParents,
                            xrttiobject* const* parents, int nAttrs, xrttiattr* const* attrs);

  virtual int getNAttrs();
  virtual xrttiattr* getAttr(int index);
  /// The first attribute of that name: of this structure, then, if asked,
  /// depth first of its parents. Null for none and for null text.
  /// Throws velXTypeMismatch when a parent that is met is no structure.
  virtual xrttiattr* findAttr(const char* name, unsigned char searchParents);

 protected:
  int nAttrs = 0;
  xrttiattr* const* attrs = nullptr;
};

/// A class whose value has one of several shapes, told by a discriminator.
class VELSTD_API xrttiunion : public virtual xrttiobject {
  VEL_OBJECT(xrttiunion)
 public:
  xrttiunion() = default;

  /// @param labels       `nLabels` discriminator values
  /// @param attrs        the branch for each label
  /// @param defaultAttr  the branch for all others; nullable
  void initializeRttiUnion(const char* name, unsigned char isRefCount, int nParents,
                           xrttiobject* const* parents, xrttiattr* discr, int nLabels,
                           const int* labels, xrttiattr* const* attrs, xrttiattr* defaultAttr);

  virtual xrttiattr* getDiscr();
  virtual int getNLabels();
  virtual int getLabel(int index);
  virtual xrttiattr* getAttr(int index);
  virtual xrttiattr* getDefaultAttr();
  /// The branch that `label` selects: listed here, else the default branch,
  /// else, if asked, depth first in the parents. Null for none.
  /// Throws velXTypeMismatch when a parent that is met is no union.
  virtual xrttiattr* mapLabelToAttr(int label, unsigned char searchParents);
  /// The same for a value; it must convert to int, else the process ends.
  virtual xrttiattr* mapLabelToAttr(xany label, unsigned char searchParents);

 protected:
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

  xrttiarray() = default;

  /// @param dimentions  `nDimentions` sizes
  void initializeRttiArray(const char* name, unsigned char isRefCount, int nDimentions,
                           const int* dimentions, xrtti* elemType, unsigned char isElemOptional,
                           ElemGetter elemGetter);

  virtual int getNDimentions();
  virtual int getDimention(int index);
  virtual xrtti* getElemType();
  virtual unsigned char getIsElemOptional();
  /// The element; uninit when the type has no getter.
  virtual xany getElemValue(xobject* array, int* indices);
  /// The same with the indices in a sequence; missing ones count as 0.
  /// Throws velXNull for a null sequence.
  virtual xany getElemValue(xobject* array, xrchandle<xintsequence> indices);

 protected:
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
  using SizeGetter = int (*)(xobject* sequence);
  using ElemGetter = xany (*)(xobject* sequence, int index);

  xrttisequence() = default;

  void initializeRttiSeq(const char* name, unsigned char isRefCount, xrtti* elemType,
                         unsigned char isElemOptional, SizeGetter sizeGetter,
                         ElemGetter elemGetter);

  virtual xrtti* getElemType();
  virtual unsigned char getIsElemOptional();
  /// Number of elements; 0 when the type has no getter.
  virtual int getSize(xobject* sequence);
  /// The element; uninit when the type has no getter.
  virtual xany getElemValue(xobject* sequence, int index);

 protected:
  friend struct velReadAccess;
  xrtti* elemType = nullptr;
  unsigned char isElemOptional = 0;
  SizeGetter sizeGetter = nullptr;
  ElemGetter elemGetter = nullptr;
};

/// A dictionary. Entries are numbered; a number may be vacant.
class VELSTD_API xrttidictionary : public virtual xrttiobject {
  VEL_OBJECT(xrttidictionary)
 public:
  using SizeGetter = int (*)(xobject* dictionary);
  using FindElem = unsigned char (*)(xobject* dictionary, const char* key, xany* value);
  using KeyByIdx = unsigned char (*)(xobject* dictionary, int index, xstring* key);
  using ValueByIdx = unsigned char (*)(xobject* dictionary, int index, xany* value);

  xrttidictionary() = default;

  void initializeRttiDict(const char* name, unsigned char isRefCount, xrtti* elemType,
                          unsigned char isElemOptional, SizeGetter sizeGetter, FindElem findElem,
                          KeyByIdx keyByIdx, ValueByIdx valueByIdx);

  virtual xrtti* getElemType();
  virtual unsigned char getIsElemOptional();
  /// One past the highest entry number, vacant ones included; 0 without a getter.
  virtual int getSize(xobject* dictionary);
  /// These answer whether the entry exists and, if so, store it; false without
  /// a getter.
  virtual unsigned char findElemValue(xobject* dictionary, const char* key, xany* value);
  virtual unsigned char getElemKeyByIdx(xobject* dictionary, int index, xstring* key);
  virtual unsigned char getElemValueByIdx(xobject* dictionary, int index, xany* value);

 protected:
  friend struct velReadAccess;
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

  xrttiattr() = default;
  xrttiattr(const char* name, xrtti* type, unsigned char isOptional, Getter getter);
  xrttiattr(const xrttiattr&) = delete;
  xrttiattr& operator=(const xrttiattr&) = delete;

  virtual xstring getName();
  virtual xrtti* getType();
  virtual unsigned char getIsOptional();
  /// Throws what the getter throws; uninit when there is none.
  virtual xany getValue(xobject* owner);

  /// False: descriptors stay.
  unsigned char isDeletable() override;

 protected:
  xstring name;
  xrtti* type = nullptr;
  unsigned char isOptional = 0;
  Getter getter = nullptr;
};

#endif  // VELSTD_VELBASE_XRTTI_H
