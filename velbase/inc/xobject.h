// xobject.h - the root of every framework object.
//
// An object carries an intrusive count of references and answers the
// descriptor of its class. Whether its class is counted at all is a property
// of the descriptor:
//   refcount  0   never attached, or refused deletion on its last release
//            -1   of a class that is not counted; attach and release do nothing
//           n>0   live references
// Any other value is corruption and ends the process at the next attach or
// release.
//
// Counted objects live on the heap and die with their last reference:
// isDeletable is asked, onDelete told, then the destructor runs. Others belong
// to whoever made them and go with xdelete. isDeletable, onDelete and
// destructors must not throw, and must not leave a new reference behind.
// Where destructions nest deeper than 64 levels the stack is spared: what one of
// the three releases or deletes there dies, in the same order, as soon as it is
// through, so that one which acts after it gave up a child finds it alive.
//
// Threads: counts are atomic; descriptors are made under one process-wide
// recursive mutex. No lock is held while a virtual function of a user's class
// runs, but for the initialisation of a class descriptor. A child that fork
// makes of a process with several threads may use objects of classes that were
// used before; a descriptor made there would wait for ever for a lock that
// another thread held at the fork.
#ifndef VELSTD_VELBASE_XOBJECT_H
#define VELSTD_VELBASE_XOBJECT_H

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <new>

#include "korapi.h"
#include "xstring.h"

class xobject;
class xrtti;
class xrttiobject;

/// The address that stands for an object slot which was never initialised.
/// Never dereferenced, attached or released.
inline xobject* const xuninitobject = reinterpret_cast<xobject*>(std::uintptr_t{22});

/// True for the address of xuninitobject, whatever the static type.
inline bool velIsUninit(const volatile void* p) noexcept {
  auto address = reinterpret_cast<std::uintptr_t>(p);
  // Keeps the answer from the optimiser where it is not plain: it would follow
  // the path on which it is true, and warn of conversions there that read
  // memory at 22.
  if (!__builtin_constant_p(address)) __asm__("" : "+r"(address));
  return address == 22;
}

/// The root of every framework object; see the head of this file for how objects live
/// and die.
class VELSTD_API xobject {
 public:
  /// Count 0: the first handle, or xrcattach, takes the first reference.
  xobject() noexcept : refcount(0), counting(0) {}
  /// A copy starts its own life: count 0.
  xobject(const xobject&) noexcept : refcount(0), counting(0) {}
  /// Both sides keep their counts.
  // NOLINTNEXTLINE(cert-oop54-cpp): nothing is assigned
  xobject& operator=(const xobject&) noexcept { return *this; }

  /// Memory of an object: of those that died in this thread before, which keeps up to
  /// 128 KiB of blocks of up to 512 bytes, or the global operator new's. A program that has
  /// put its own in the place of that, or of malloc, gets every call. Throws std::bad_alloc.
  /// Thread-safe; an object may die in another thread.
  // NOLINTNEXTLINE(cert-dcl54-cpp): its operator delete is the one that is told the size
  static void* operator new(std::size_t bytes);
  /// The same, but null without memory.
  static void* operator new(std::size_t bytes, const std::nothrow_t&) noexcept;
  /// For classes of unusual alignment: the global one.
  static void* operator new(std::size_t bytes, std::align_val_t alignment);
  /// An object in memory of the caller's, who keeps it and ends the object by its destructor.
  static void* operator new(std::size_t, void* place) noexcept { return place; }
  /// Gives back what operator new took for so many bytes; null is skipped. Thread-safe.
  static void operator delete(void* block, std::size_t bytes) noexcept;
  /// Called when a constructor throws under `new (std::nothrow)`.
  static void operator delete(void* block, const std::nothrow_t&) noexcept;
  /// Gives back what was taken with that alignment.
  static void operator delete(void* block, std::size_t bytes, std::align_val_t alignment) noexcept;
  /// Called when a constructor throws in memory of the caller's: nothing.
  static void operator delete(void*, void*) noexcept {}

  /// Runs when the last reference is given back, or by xdelete for classes that are not
  /// counted; never call it otherwise.
  virtual ~xobject();

  /// This object as the class that `target` describes, or null. Classes
  /// implement it through VEL_OBJECT (velobject.h) and know their exact class
  /// and "object" only; a base is reached with dynamic_cast. Null gives null.
  virtual void* dyndowncast(const xrttiobject* target);
  /// A second hook, unused by the library: null.
  virtual void* dyndowncast_i(const xrttiobject* target);

 private:
  /// The descriptor of the object's own class; reached through getRtti.
  virtual xrttiobject* giveRtti();

 public:
  /// Asked by the release that drops the last reference: 0 refuses, and the
  /// object lives on with count 0. Must not throw.
  virtual unsigned char isDeletable();
  /// Told just before the destruction, with the count still at 1. Must not throw.
  virtual void onDelete();

 private:
  virtual void xattach();
  virtual void xrelease();
  virtual void xfree();

 public:
  /// The descriptor of the object's most derived class; borrowed, lives for ever.
  xrttiobject* getRtti() { return giveRtti(); }
  /// The name of that descriptor.
  xstring getVelTypeName();
  /// Whether the object's class is `type` or derives from it; false for null.
  bool isKindOf(xrttiobject* type);
  /// Whether the object's class has the name of `type`; false for null.
  bool isSameAs(xrttiobject* type);
  /// Whether the object's class is counted.
  bool isRefCountable();

  /// These give `p` unchanged, whatever it is: every object is an xobject. Classes that
  /// derive from it have their own, which check.
  static xobject* cast(xobject* p) { return p; }
  static xobject* softcast(xobject* p) { return p; }
  /// The descriptor named "object": the one that velGetRtti_object gives.
  static xrttiobject* getClassRtti();

 protected:
  /// See the head of this file. Changed by attach and release alone.
  std::atomic<std::int32_t> refcount;

 private:
  // Says that attach and release are the library's own; see velcounting.h. Lies
  // in bytes that would be padding.
  std::atomic<std::uint32_t> counting;

  friend struct velObjectAccess;
  friend struct velCounting;
  friend VELSTD_API void xrcattach(xobject* p);
  friend VELSTD_API void xrcrelease(xobject* p);
  friend VELSTD_API int xrcgetcount(xobject* p);
  friend VELSTD_API void xdelete(xobject* p);
};

/// Takes one reference; null and xuninitobject are skipped. Thread-safe.
/// Aborts with "xrcattach: Invalid value of refcount." on a corrupt count.
VELSTD_API void xrcattach(xobject* p);

/// Gives one reference back; null and xuninitobject are skipped. The last one
/// destroys the object, unless it refuses. Thread-safe. Inside a mutating
/// operation of a collection the destruction waits until the collection is
/// settled.
/// Aborts with "xrcrelease: Invalid value of refcount." on a corrupt count.
VELSTD_API void xrcrelease(xobject* p);

/// These are the same as xrcattach and xrcrelease, for handles on objects that may not
/// be counted.
VELSTD_API void xrcuniattach(xobject* p);
VELSTD_API void xrcunirelease(xobject* p);

/// The count as it stands; `p` must be an object.
VELSTD_API int xrcgetcount(xobject* p);

/// Destroys an object of a class that is not counted, if it agrees. Null is
/// skipped. Where destructions nest deep (see the head of this file) the object
/// is destroyed when the call that gives it up is through.
/// Throws velXNotInitialized for xuninitobject, velXRefCountable (which holds
/// a reference on the object) for an object of a counted class.
VELSTD_API void xdelete(xobject* p);

/// Makes sure that the global object mutex exists.
class VELSTD_API XobjectMutexAllocator {
 public:
  /// Makes it if it is not there yet. Thread-safe.
  XobjectMutexAllocator();
};

/// `p` as an object, for any framework class: null and the uninitialised
/// address stay what they are, where a conversion to a virtual base would read
/// memory at that address.
template <class T>
xobject* velAsObject(T* p) noexcept {
  return velIsUninit(p) ? xuninitobject : static_cast<xobject*>(p);
}

#endif  // VELSTD_VELBASE_XOBJECT_H
