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

template <class T>
class VELSTD_API xrcbasehandle {
 public:
  xrcbasehandle() noexcept : ptr(nullptr) {}
  ~xrcbasehandle() { ptr = nullptr; }
  xrcbasehandle(const xrcbasehandle&) = default;
  xrcbasehandle& operator=(const xrcbasehandle&) = default;

  T* operator->() const { return ptr; }
  T& operator*() const { return *ptr; }
  bool isnull() const { return !ptr; }
  /// `h[0]` would be pointer arithmetic; write (*h)[0].
  void operator[](std::ptrdiff_t) const = delete;

 protected:
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

template <class T>
class VELSTD_API xrchandle : public xrcbasehandle<T> {
  template <class U>
  using IfConvertible = std::enable_if_t<std::is_convertible<U*, T*>::value &&
                                         !std::is_same<U, T>::value>;

 public:
  xrchandle() noexcept = default;
  /// A null handle, so that one can be written as 0.
  xrchandle(int) noexcept {}
  /// Takes a reference on `p` (nullable).
  xrchandle(T* p) { attach(p); }
  xrchandle(const xrchandle& other) : xrcbasehandle<T>() { attach(other.ptr); }
  xrchandle(xrchandle&& other) noexcept : xrcbasehandle<T>() { take(other); }
  template <class U, class = IfConvertible<U>>
  xrchandle(const xrchandle<U>& other) {
    attach(velHeldAs<T>(other.operator->()));
  }
  ~xrchandle() {
    while (this->ptr) release();
  }

  xrchandle& operator=(T* p) {
    set(p);
    return *this;
  }
  // NOLINTNEXTLINE(cert-oop54-cpp): set() knows its own object
  xrchandle& operator=(const xrchandle& other) {
    set(other.ptr);
    return *this;
  }
  xrchandle& operator=(xrchandle&& other) noexcept {
    if (this != &other) moveFrom(other);
    return *this;
  }
  template <class U, class = IfConvertible<U>>
  xrchandle& operator=(const xrchandle<U>& other) {
    set(velHeldAs<T>(other.operator->()));
    return *this;
  }

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

template <class T>
class VELSTD_API xrcunihandle : public xrcbasehandle<T> {
  template <class U>
  using IfConvertible = std::enable_if_t<std::is_convertible<U*, T*>::value>;

 public:
  xrcunihandle() noexcept : counted(false) {}
  /// A null handle, so that one can be written as 0.
  xrcunihandle(int) noexcept : counted(false) {}
  /// Takes a reference on `p` (nullable) if its class is counted.
  xrcunihandle(T* p) : counted(false) { attach(p); }
  xrcunihandle(const xrcunihandle& other) : xrcbasehandle<T>(), counted(false) {
    attach(other.ptr, other.counted);
  }
  xrcunihandle(xrcunihandle&& other) noexcept : xrcbasehandle<T>(), counted(false) { take(other); }
  template <class U, class = IfConvertible<U>>
  xrcunihandle(const xrchandle<U>& other) : counted(false) {
    attach(velHeldAs<T>(other.operator->()));
  }
  template <class U, class = std::enable_if_t<!std::is_same<U, T>::value>, class = IfConvertible<U>>
  xrcunihandle(const xrcunihandle<U>& other) : counted(false) {
    attach(velHeldAs<T>(other.operator->()));
  }
  ~xrcunihandle() {
    while (this->ptr) release();
  }

  // NOLINTNEXTLINE(cert-oop54-cpp): set() knows its own object
  xrcunihandle& operator=(const xrcunihandle& other) {
    set(other.ptr, other.counted);
    return *this;
  }
  xrcunihandle& operator=(xrcunihandle&& other) noexcept {
    if (this != &other) moveFrom(other);
    return *this;
  }

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
