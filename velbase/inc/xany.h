// xany.h - the variant value of the framework.
//
// A value is uninitialised, nil, an int, a bool, a real, a string, a value of
// an enumeration, or an object. Each plain type has marker values that mean nil
// and uninit; constructors and assignments recognise them and conversions
// produce them:
//
//              nil                     uninit
//   int        -2147483648             -2147483647 (by conversion only)
//   bool       0x80                    0x81
//   double     1e126                   9e125
//   text       address 1               address 2
//   xobject*   null                    xuninitobject
//   xstring    the null string         "uninit" (by conversion only)
//
// A value has the layout of its C view, __xany_c.
// Ownership: a value holds one reference on its string buffer, or on its object
// if that is of a counted class. An object that is not counted is not touched
// again: its owner may free it before the value goes.
// Threads: one value is for one thread at a time, conversions to text and
// comparisons included; copies may go to other threads.
// Errors: conversions of a value of another kind end the process through
// _korAbort; only validate throws, and what takes an integer of another type
// than int when it does not fit.
#ifndef VELSTD_VELBASE_XANY_H
#define VELSTD_VELBASE_XANY_H

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>
#include <type_traits>

#include "velcounting.h"
#include "xctypes.h"
#include "xobject.h"
#include "xrchandle.h"
#include "xstring.h"

class xrttienum;

/// Throws velXNativeException "Integer out of range".
[[noreturn]] VELSTD_API void velThrowIntegerOutOfRange();

/// `value` as int; throws velXNativeException "Integer out of range" when it
/// does not fit.
template <class Int>
int velToInt(Int value) {
  if constexpr (std::is_signed<Int>::value) {
    if (value < std::numeric_limits<int>::min() || value > std::numeric_limits<int>::max()) {
      velThrowIntegerOutOfRange();
    }
  } else {
    if (value > static_cast<unsigned>(std::numeric_limits<int>::max())) {
      velThrowIntegerOutOfRange();
    }
  }
  return static_cast<int>(value);
}

/// The value itself; see the head of this file for the kinds and their markers.
class VELSTD_API xany {
  template <class T>
  using IfBool = std::enable_if_t<std::is_same<T, bool>::value>;
  // Every integer type that has no meaning of its own here.
  template <class T>
  using IsOtherInt =
      std::bool_constant<std::is_integral<T>::value && !std::is_same<T, bool>::value &&
                         !std::is_same<T, int>::value && !std::is_same<T, unsigned char>::value>;
  template <class T>
  using IfOtherInt = std::enable_if_t<IsOtherInt<T>::value>;
  // Everything that can be compared with a value, but for values.
  template <class T>
  using IfComparable = std::enable_if_t<!std::is_convertible<const T*, const xany*>::value &&
                                        (std::is_constructible<xany, const T&>::value ||
                                         std::is_convertible<const T&, const char*>::value)>;

 public:
  /// Uninitialised.
  xany() noexcept : kind(xanyUninit), payload() {}
  /// Kind `kind` with a payload of zeros: the null string, a null object, an
  /// enumeration value without a type.
  xany(__xanykind k) noexcept : kind(k), payload() {
    if (k == xanyString) payload.string = xstring().view;
  }
  /// These make an int, a bool (0 is false, any other but the markers true) and a real;
  /// the markers give nil and uninit.
  xany(int value) noexcept : kind(KindOf(value)), payload(WordOf(kind == xanyInt ? value : 0)) {}
  xany(unsigned char value) noexcept
      : kind(KindOf(value)), payload(WordOf(kind == xanyBool ? value : 0)) {}
  xany(double value) noexcept
      : kind(KindOf(value)), payload(WordOf(kind == xanyReal ? value : 0.0)) {}
  /// Nil for the null string.
  xany(xstring text) noexcept : kind(text.IsNull() ? xanyNil : xanyString), payload() {
    if (kind == xanyString) {
      payload.string = text.view;
      text.SetNull();
    }
  }
  /// Nil for null text (address 0 or 1), uninit for address 2.
  xany(const char* text);
  /// Takes a reference (nullable).
  xany(xobject* object);
  /// Nil.
  xany(std::nullptr_t) noexcept : xany(xanyNil) {}
  /// Value number `value` of an enumeration (borrowed, nullable); the number
  /// of its values, one past the last, means nil. No other check is made.
  xany(int value, xrttienum* type);
  /// A copy with a reference of its own.
  xany(const xany& other) : kind(other.kind), payload(other.payload) {
    if (!IsPlain()) Share();
  }
  /// Takes over the other's reference and leaves it uninitialised.
  xany(xany&& other) noexcept : kind(other.kind), payload(other.payload) {
    other.kind = xanyUninit;
  }
  /// A new reference; the view keeps its own. Aborts with "Can not be here."
  /// for a kind outside 0 to 7.
  xany(const __xany_c& view);
  /// These take a reference on the object that the handle holds, if its class is counted;
  /// a null handle gives nil.
  template <class U>
  xany(const xrchandle<U>& object) : xany(velAsObject(object.operator->())) {}
  template <class U>
  xany(const xrcunihandle<U>& object) : xany(velAsObject(object.operator->())) {}
  /// Exactly bool, so that pointers do not become truth values.
  template <class T, class = IfBool<T>>
  xany(T value) noexcept : xany(static_cast<unsigned char>(value)) {}
  /// Other integers act as the int of the same value; throws
  /// velXNativeException "Integer out of range" for one that does not fit.
  template <class T, class = IfOtherInt<T>, class = void>
  xany(T value) : xany(velToInt(value)) {}

  /// Gives the reference back. What the end of its object assigns to it meanwhile goes,
  /// too.
  ~xany() {
    if (IsPlain()) return;
    if (HoldsText()) {
      payload.string.buffer->DropReference();
    } else {
      ReleaseOther();
    }
  }

  /// These assign as construction does from the same value. The new content is in place
  /// before the old is released; self-assignment is safe.
  xany& operator=(__xanykind value) noexcept { return *this = xany(value); }
  xany& operator=(int value) { return SetPlain(value); }
  xany& operator=(unsigned char value) { return SetPlain(value); }
  xany& operator=(double value) { return SetPlain(value); }
  xany& operator=(xstring text) { return *this = xany(static_cast<xstring&&>(text)); }
  /// Nil for address 1, uninit for address 2; a null pointer gives kind string
  /// holding the null string.
  xany& operator=(const char* text);
  /// These assign as construction does: a reference is taken on a counted object.
  xany& operator=(xobject* object) { return *this = xany(object); }
  xany& operator=(std::nullptr_t) { return *this = xany(xanyNil); }
  /// Takes a reference of its own on the other's content.
  // NOLINTNEXTLINE(cert-oop54-cpp): a plain value stays; Assign holds the others
  xany& operator=(const xany& other) {
    if (IsPlain() && other.IsPlain()) {
      kind = other.kind;
      payload = other.payload;
    } else if (IsPlain() && other.HoldsText()) {
      kind = xanyString;
      payload.string.buffer = other.payload.string.buffer;
      payload.string.buffer->AddReference(payload.string.narrow, payload.string.wide);
    } else {
      Assign(other);
    }
    return *this;
  }
  /// Takes over the other's content and leaves it uninitialised.
  xany& operator=(xany&& other) noexcept {
    if (IsPlain()) {
      Take(other);
    } else {
      Replace(other);
    }
    return *this;
  }
  /// These assign as construction from the same value does, and throw and abort as it
  /// does.
  xany& operator=(const __xany_c& view) { return *this = xany(view); }
  template <class U>
  xany& operator=(const xrchandle<U>& object) {
    return *this = xany(object);
  }
  template <class U>
  xany& operator=(const xrcunihandle<U>& object) {
    return *this = xany(object);
  }
  template <class T, class = IfBool<T>>
  xany& operator=(T value) {
    return *this = xany(value);
  }
  template <class T, class = IfOtherInt<T>, class = void>
  xany& operator=(T value) {
    return *this = xany(value);
  }

  // Conversions: nil and uninit give the markers; a kind that does not fit
  // ends the process through _korAbort.
  /// From int and enumeration values. Aborts "Can not convert xany to xint."
  operator int() const { return kind == xanyInt ? payload.integer : ToInt(); }
  /// From bool. Aborts "Can not convert xany to xbool."
  operator unsigned char() const { return kind == xanyBool ? payload.boolean : ToBool(); }
  /// From real. Aborts "Can not convert xany to xreal."
  operator double() const { return kind == xanyReal ? payload.real : ToReal(); }
  /// From string, with a reference of its own. Aborts "Can not convert xany to xrstring."
  operator xstring() const;
  /// From string: its narrow form, which lives while this value is unchanged.
  /// Aborts "Can not convert xany to xrstring."
  operator const char*() const;
  /// From object: borrowed. Aborts "Can not convert xany to xobject."
  operator xobject*() const {
    return kind == xanyObject ? payload.object.pointer : ToObject();
  }

  /// True for a value that was never given one, and for xuninitobject.
  bool isuninit() const { return Kind() == xanyUninit; }
  /// True for nil and for a null object.
  bool isnil() const { return Kind() == xanyNil; }
  /// These tell whether the value may stand where that kind is expected: a value of that
  /// kind may, and nil and uninit may stand anywhere.
  bool isint() const { return Fits(xanyInt); }
  bool isbool() const { return Fits(xanyBool); }
  bool isreal() const { return Fits(xanyReal); }
  bool isstring() const { return Fits(xanyString); }
  bool isenum() const { return Fits(xanyEnum); }
  bool isobject() const { return Fits(xanyObject); }
  /// The kind as it is stored: a null object made as such says xanyObject here, although
  /// isnil() is true.
  __xanykind getkind() const { return kind; }

  /// The descriptor of the value's type; "any" for nil and uninit; null for an
  /// enumeration value without a type. Borrowed. Aborts with "Can not be here."
  /// for a kind outside 0 to 7.
  xrtti* getRtti() const;
  /// The name of that descriptor; the null string where there is none.
  xstring getVelTypeName() const;

  /// Whether the value is acceptable as type `type`: nil if `nilAllowed`, else
  /// by kind of its descriptor. False for a null `type`.
  bool softvalidate(xrtti* type, unsigned char nilAllowed) const;
  /// The same as a demand. Throws velXNull for a nil value that is not
  /// allowed, velXTypeMismatch (with the name of `type` and the value).
  void validate(xrtti* type, unsigned char nilAllowed) const;

  /// The value as velPrint writes it with step 2, without digit grouping.
  xstring toString() const;

  /// The C view with a reference of its own (owned by the caller). Aborts with
  /// "Can not be here." for a kind outside 0 to 7.
  __xany_c getxany_c() const;

  /// Same kind and same value: numbers by value (NaN equals nothing), text by
  /// its narrow form, enumerations by number and descriptor, objects by
  /// identity. Aborts with "Can not be here." for a kind outside 0 to 7.
  unsigned char operator==(const xany& other) const;
  /// -2147483647 asks for uninit, -2147483648 for nil; else an int of that value.
  unsigned char operator==(int value) const;
  /// Address 2 asks for uninit, 1 for nil; else a string of that text.
  unsigned char operator==(const char* text) const;

  /// These compare with anything that a value can be built from, on either side. Integers
  /// of other types ask as the int of the same value (and throw as in construction), text
  /// of other types as const char*; the rest as the value built from it. They answer 0 or
  /// 1.
  template <class T, class = IfComparable<T>>
  friend unsigned char operator==(const xany& a, const T& b) {
    return a.Equals(b);
  }
  template <class T, class = IfComparable<T>>
  friend unsigned char operator==(const T& a, const xany& b) {
    return b.Equals(a);
  }
  template <class T, class = IfComparable<T>>
  friend unsigned char operator!=(const xany& a, const T& b) {
    return !a.Equals(b);
  }
  template <class T, class = IfComparable<T>>
  friend unsigned char operator!=(const T& a, const xany& b) {
    return !b.Equals(a);
  }
  /// These are spelled out beside the templates: C++20 would take the members reversed
  /// first, and refuses a reversed == that does not give bool.
  friend unsigned char operator==(int a, const xany& b) { return b.operator==(a); }
  friend unsigned char operator==(const char* a, const xany& b) { return b.operator==(a); }
  friend unsigned char operator!=(const xany& a, const xany& b) { return !a.operator==(b); }
  friend unsigned char operator!=(const xany& a, int b) { return !a.operator==(b); }
  friend unsigned char operator!=(int a, const xany& b) { return !b.operator==(a); }
  friend unsigned char operator!=(const xany& a, const char* b) { return !a.operator==(b); }
  friend unsigned char operator!=(const char* a, const xany& b) { return !b.operator==(a); }

 private:
  template <class T>
  unsigned char Equals(const T& other) const {
    if constexpr (IsOtherInt<T>::value) {
      return operator==(velToInt(other));
    } else if constexpr (std::is_convertible<const T&, const char*>::value &&
                         !std::is_same<T, std::nullptr_t>::value) {
      const char* text = other;
      return operator==(text);
    } else {
      return operator==(xany(other));
    }
  }
  // The values that stand for nil and uninit.
  static constexpr int kNilInt = std::numeric_limits<int>::min();
  static constexpr int kUninitInt = kNilInt + 1;
  static constexpr unsigned char kNilBool = 0x80;
  static constexpr unsigned char kUninitBool = 0x81;
  static constexpr double kNilReal = 1e126;
  static constexpr double kUninitReal = 9e125;

  static __xanykind KindOf(int value) { return value == kNilInt ? xanyNil : xanyInt; }
  static __xanykind KindOf(unsigned char value) {
    return value == kUninitBool ? xanyUninit : value == kNilBool ? xanyNil : xanyBool;
  }
  static __xanykind KindOf(double value) {
    return value == kUninitReal ? xanyUninit : value == kNilReal ? xanyNil : xanyReal;
  }
  // The first word of a payload that holds a number.
  template <class Number>
  static std::uint64_t WordOf(Number value) {
    std::uint64_t word = 0;
    std::memcpy(&word, &value, sizeof value);
    return word;
  }
  template <class Number>
  xany& SetPlain(Number value) {
    if (!IsPlain()) return *this = xany(value);
    kind = KindOf(value);
    payload.words.first = WordOf(kind > xanyNil ? value : Number());
    return *this;
  }

  // Of a kind that holds no reference and always is what it says.
  bool IsPlain() const { return static_cast<unsigned>(kind) < static_cast<unsigned>(xanyString); }
  // Of kind string and not null. Expected among the kinds with a reference: the
  // code for it comes where no jump is needed.
  bool HoldsText() const {
    return __builtin_expect(kind == xanyString, 1) && payload.string.buffer;
  }
  bool HoldsCounted() const { return kind == xanyObject && payload.object.counted; }
  // Conversions of kinds other than their own.
  int ToInt() const;
  unsigned char ToBool() const;
  double ToReal() const;
  xobject* ToObject() const;
  void ReleaseOther() noexcept;
  // What the value reads as: a view may say "object" and hold null or the
  // uninitialised address.
  __xanykind Kind() const {
    if (kind != xanyObject) return kind;
    if (!payload.object.pointer) return xanyNil;
    return velIsUninit(payload.object.pointer) ? xanyUninit : xanyObject;
  }
  bool Fits(__xanykind wanted) const {
    const __xanykind own = Kind();
    return own == wanted || own == xanyUninit || own == xanyNil;
  }
  // The reference of a copy, which has the fields of the original. Text, the most
  // frequent, and objects are counted right here; whatever else there is takes a
  // call.
  void Share() {
    if (HoldsText()) {
      payload.string.buffer->AddReference(payload.string.narrow, payload.string.wide);
    } else if (HoldsCounted()) {
      velCounting::attach(*payload.object.pointer);
    } else {
      ShareOther();
    }
  }
  void ShareOther();
  // Assignment of what operator= does not do in place.
  void Assign(const xany& other);
  // Takes over the other's reference and leaves it uninitialised, unless it is
  // this value; this one holds no reference.
  void Take(xany& other) noexcept {
    const __xanykind taken = other.kind;
    other.kind = xanyUninit;
    kind = taken;
    payload = other.payload;
  }
  // The same where this value holds one, which goes when the new is in place.
  void Replace(xany& other) noexcept;
  void Retain();
  const char* Narrow() const;

  __xanykind kind;
  // Written and copied as the word that most kinds need and the rest, which is
  // zero for them: a processor reads quickly only what was written in one piece.
  union Payload {
    explicit Payload(std::uint64_t first = 0, std::uint64_t second = 0, std::uint64_t third = 0)
        : words{first, {second, third}} {}
    Payload(const Payload& other) { *this = other; }
    // NOLINTNEXTLINE(cert-oop54-cpp): words that are copied onto themselves stay
    Payload& operator=(const Payload& other) {
      words.first = other.words.first;
      std::memmove(words.rest, other.words.rest, sizeof words.rest);
      return *this;
    }
    struct {
      std::uint64_t first;
      std::uint64_t rest[2];
    } words;
    int integer;
    unsigned char boolean;
    double real;
    __xstring_c string;
    struct {
      int value;
      xrtti* rtti;
    } enumeration;
    struct {
      xobject* pointer;
      // Whether the object was of a counted class when it came; lies in bytes
      // that the C view leaves unused.
      bool counted;
    } object;
  };
  // Producing a narrow form on demand does not change the value.
  mutable Payload payload;
};

static_assert(sizeof(xany) == sizeof(__xany_c) && sizeof(xany) == 32,
              "a value and its C view have one layout");

/// The C view of a value, with a reference of its own (owned by the caller). Aborts
/// with "Can not be here." for a kind outside 0 to 7.
VELSTD_API __xany_c xcadapt_cxx2c(xany value);
/// The value of a view, which keeps its own reference. Aborts as xcadapt_cxx2c().
VELSTD_API xany xcadapt_c2cxx(__xany_c view);

#endif  // VELSTD_VELBASE_XANY_H
