// xrchandle.h - handles: values that hold an object.
//
// A handle takes a reference when it gets a pointer and gives it back when it
// lets go. xrchandle is for classes that are always counted (on any other it
// touches the object at release even after its owner freed it); xrcunihandle
// remembers whether its object is counted and leaves others alone.
//
// Null and xuninitobject are held without being touched. Access through a null
// handle is not checked.
//
// Assignment releases the old object first and attaches the new one after: a
// new object that only the old one keeps alive must be held by another handle
// meanwhile. Assigning the object already held keeps it.
// Threads: one handle is for one thread at a time; the counts are atomic.
#ifndef VELSTD_VELBASE_XRCHANDLE_H
#define VELSTD_VELBASE_XRCHANDLE_H

#include <cstddef>
#include <type_traits>

#include "korapi.h"
#include "velcounting.h"
#include "xobject.h"

/// What both kinds of handles have: a pointer, and ways to it. Counts nothing itself;
/// use one of the derived classes.
template <class T>
class VELSTD_API xrcbasehandle {
 public:
  /// Null.
  xrcbasehandle() noexcept : ptr(nullptr) {}
  /// Leaves null behind; the reference, if any, is the derived class's matter.
  ~xrcbasehandle() { ptr = nullptr; }
  /// These copy the pointer, without a reference; derived handles add theirs.
  xrcbasehandle(const xrcbasehandle&) = default;
  xrcbasehandle& operator=(const xrcbasehandle&) = default;

  /// These give the object, borrowed: it lives as long as a handle holds it. Nothing is
  /// checked; a null handle gives null, and a reference to nothing.
  T* operator->() const { return ptr; }
  T& operator*() const { return *ptr; }
  /// True for a null handle; a handle on xuninitobject is not null.
  bool isnull() const { return !ptr; }
  /// `h[0]` would be pointer arithmetic; write (*h)[0].
  void operator[](std::ptrdiff_t) const = delete;

 protected:
  /// The object, null or xuninitobject.
  T* ptr;
};

/// Puts a handle's object again where it already is: at count 1 isDeletable is
/// asked as by a last release, but the object stays. `p` is not null.
VELSTD_API void velReassign(xobject* p);

/// `p` as a T: the uninitialised address stays what it is, where a conversion to
/// a virtual base would read memory at that address.
template <class T, class U>
T* velHeldAs(U* p) noexcept {
  const auto address = reinterpret_cast<std::uintptr_t>(p);
  return velIsUninit(p) ? reinterpret_cast<T*>(address) : static_cast<T*>(p);
}

/// A handle on objects of classes that are always counted.
template <class T>
class VELSTD_API xrchandle : public xrcbasehandle<T> {
  template <class U>
  using IfConvertible = std::enable_if_t<std::is_convertible<U*, T*>::value &&
                                         !std::is_same<U, T>::value>;

 public:
  /// Null.
  xrchandle() noexcept = default;
  /// A null handle, so that one can be written as 0.
  xrchandle(int) noexcept {}
  /// Takes a reference on `p` (nullable).
  xrchandle(T* p) { attach(p); }
  /// One more reference on the other's object.
  xrchandle(const xrchandle& other) : xrcbasehandle<T>() { attach(other.ptr); }
  /// Takes over the other's reference and leaves it null.
  xrchandle(xrchandle&& other) noexcept : xrcbasehandle<T>() { take(other); }
  /// One more reference on the other's object, seen as a T, from which U derives.
  template <class U, class = IfConvertible<U>>
  xrchandle(const xrchandle<U>& other) {
    attach(velHeldAs<T>(other.operator->()));
  }
  /// Gives the reference back, as xrcrelease does.
  ~xrchandle() {
    while (this->ptr) release();
  }

  /// Lets go of the object held, then takes a reference on `p` (nullable); see the head
  /// of this file.
  xrchandle& operator=(T* p) {
    set(p);
    return *this;
  }
  /// Lets go of the object held, then takes a reference on the other's.
  // NOLINTNEXTLINE(cert-oop54-cpp): set() knows its own object
  xrchandle& operator=(const xrchandle& other) {
    set(other.ptr);
    return *this;
  }
  /// Lets go of the object held, then takes over the other's reference and leaves it
  /// null; itself: nothing.
  xrchandle& operator=(xrchandle&& other) noexcept {
    if (this != &other) moveFrom(other);
    return *this;
  }
  /// Lets go of the object held, then takes a reference on the other's, seen as a T.
  template <class U, class = IfConvertible<U>>
  xrchandle& operator=(const xrchandle<U>& other) {
    set(velHeldAs<T>(other.operator->()));
    return *this;
  }

  /// The object, borrowed: it lives as long as a handle holds it.
  operator T*() const { return this->ptr; }

 private:
  void attach(T* p) {
    this->ptr = p;
    if (velCounting::isAddress(p)) {
      velCounting::attach(*p);
    } else {
      xrcattach(velAsObject(p));
    }
  }
  // The field is null before the object goes: a destructor that looks at this
  // handle sees nothing dangling. One that assigns to it is overruled by the
  // assignment under way; what it put here goes when the new object is in place.
  void release() {
    T* old = this->ptr;
    this->ptr = nullptr;
    if (velCounting::isAddress(old)) {
      velCounting::release(*old);
    } else {
      xrcrelease(velAsObject(old));
    }
  }
  void set(T* p) {
    if (p && p == this->ptr) {
      velReassign(velAsObject(p));
    } else {
      release();
      const xrchandle meanwhile(static_cast<xrchandle&&>(*this));
      attach(p);
    }
  }
  void take(xrchandle& other) noexcept {
    this->ptr = other.ptr;
    other.ptr = nullptr;
  }
  // Both are null while the old object goes: it may be the one that the other
  // handle lives in.
  void moveFrom(xrchandle& other) noexcept {
    xrchandle taken(static_cast<xrchandle&&>(other));
    release();
    const xrchandle meanwhile(static_cast<xrchandle&&>(*this));
    take(taken);
  }
};

/// A handle on objects that may not be counted: those it holds without touching their
/// count, so that their owner must outlive the handle's use of them.
template <class T>
class VELSTD_API xrcunihandle : public xrcbasehandle<T> {
  template <class U>
  using IfConvertible = std::enable_if_t<std::is_convertible<U*, T*>::value>;

 public:
  /// Null.
  xrcunihandle() noexcept : counted(false) {}
  /// A null handle, so that one can be written as 0.
  xrcunihandle(int) noexcept : counted(false) {}
  /// Takes a reference on `p` (nullable) if its class is counted.
  xrcunihandle(T* p) : counted(false) { attach(p); }
  /// One more reference on the other's object, if it is counted.
  xrcunihandle(const xrcunihandle& other) : xrcbasehandle<T>(), counted(false) {
    attach(other.ptr, other.counted);
  }
  /// Takes over the other's reference and leaves it null.
  xrcunihandle(xrcunihandle&& other) noexcept : xrcbasehandle<T>(), counted(false) { take(other); }
  /// One more reference on the other's object, if it is counted, seen as a T, from which
  /// U derives.
  template <class U, class = IfConvertible<U>>
  xrcunihandle(const xrchandle<U>& other) : counted(false) {
    attach(velHeldAs<T>(other.operator->()));
  }
  /// One more reference on the other's object, if it is counted, seen as a T, from which
  /// U derives.
  template <class U, class = std::enable_if_t<!std::is_same<U, T>::value>, class = IfConvertible<U>>
  xrcunihandle(const xrcunihandle<U>& other) : counted(false) {
    attach(velHeldAs<T>(other.operator->()));
  }
  /// Gives the reference back, if there is one.
  ~xrcunihandle() {
    while (this->ptr) release();
  }

  /// Lets go of the object held, then takes a reference on the other's, if that is
  /// counted.
  // NOLINTNEXTLINE(cert-oop54-cpp): set() knows its own object
  xrcunihandle& operator=(const xrcunihandle& other) {
    set(other.ptr, other.counted);
    return *this;
  }
  /// Lets go of the object held, then takes over the other's reference and leaves it
  /// null; itself: nothing.
  xrcunihandle& operator=(xrcunihandle&& other) noexcept {
    if (this != &other) moveFrom(other);
    return *this;
  }

  /// The object, borrowed: it lives as long as a handle or its owner keeps it.
  operator T*() const { return this->ptr; }

 protected:
  /// Whether the object held is of a counted class; keeps its value while the
  /// handle is null.
  bool counted;

 private:
  // `known`: the object is of a counted class, as the handle knows that it comes
  // from.
  void attach(T* p, bool known = false) {
    this->ptr = p;
    if (velCounting::isAddress(p)) {
      xobject& object = *p;
      velCounting::attach(object);
      counted = known || object.isRefCountable();
    } else if (p) {
      xrcuniattach(velAsObject(p));
      counted = false;
    }
  }
  void release() {
    T* old = this->ptr;
    this->ptr = nullptr;
    if (!counted) return;
    if (velCounting::isAddress(old)) {
      velCounting::release(*old);
    } else {
      xrcunirelease(velAsObject(old));
    }
  }
  void set(T* p, bool known) {
    if (p && p == this->ptr) {
      if (counted) velReassign(velAsObject(p));
    } else {
      release();
      const xrcunihandle meanwhile(static_cast<xrcunihandle&&>(*this));
      attach(p, known);
    }
  }
  void take(xrcunihandle& other) noexcept {
    this->ptr = other.ptr;
    counted = other.counted;
    other.ptr = nullptr;
  }
  void moveFrom(xrcunihandle& other) noexcept {
    xrcunihandle taken(static_cast<xrcunihandle&&>(other));
    release();
    const xrcunihandle meanwhile(static_cast<xrcunihandle&&>(*this));
    // Null leaves `counted` alone, as in set().
    if (!taken.isnull()) take(taken);
  }
};

extern template class xrcbasehandle<xobject>;
extern template class xrcunihandle<xobject>;

#endif  // VELSTD_VELBASE_XRCHANDLE_H
