// velobject.h - what every framework class repeats, once.
//
// In the class:
//
//   class Point : public virtual xobject {
//     VEL_OBJECT(Point)
//    public:
//     ...
//
// In one .cpp file:
//
//   VEL_OBJECT_RTTI(Point, xrttistruct, [](xrttistruct* rtti) {
//     rtti->initializeRttiStruct("demo::Point", 1, 0, nullptr, 2, attrs);
//   })
//
// The descriptor is made on first use, under the global object mutex: made,
// initialised, registered by its name, and only then shown to other threads.
// An initialisation may ask for the very descriptor it is about (a type that
// refers to itself) and for others, which may refer back; all that are made on
// the way are shown together, when the outermost ends. When an initialisation
// throws, the next use tries again.
//
// The registry keeps every descriptor for good, so a library that defines
// classes must stay loaded (link it with -z nodelete).
#ifndef VELSTD_VELBASE_VELOBJECT_H
#define VELSTD_VELBASE_VELOBJECT_H

#include <atomic>
#include <cstdint>

#include "korapi.h"
#include "xobject.h"

class xrttiobject;

/// The place of one class descriptor. Constant-initialised and never
/// destroyed, so that a class works from the first static initialiser to the
/// last exit handler.
class VELSTD_API velClassRtti {
 public:
  /// Empty: the descriptor is made when it is first asked for.
  constexpr velClassRtti() = default;
  velClassRtti(const velClassRtti&) = delete;
  velClassRtti& operator=(const velClassRtti&) = delete;

  /// The descriptor, a `Kind` that `initialize` fills in on first use.
  /// Borrowed; lives for ever. Thread-safe; one atomic load once it is made.
  /// Throws what `initialize` throws, and std::bad_alloc.
  template <class Kind>
  xrttiobject* get(void (*initialize)(Kind*)) {
    if (xrttiobject* made = ready.load(std::memory_order_acquire)) return made;
    // The step that knows the kind; the order of steps is Make's.
    struct Steps {
      static xrttiobject* create() { return new Kind; }
      static void fill(xrttiobject* rtti, void (*step)()) {
        reinterpret_cast<void (*)(Kind*)>(step)(dynamic_cast<Kind*>(rtti));
      }
    };
    return Make(&Steps::create, &Steps::fill, reinterpret_cast<void (*)()>(initialize));
  }

 private:
  xrttiobject* Make(xrttiobject* (*create)(), void (*fill)(xrttiobject*, void (*)()),
                    void (*step)());

  std::atomic<xrttiobject*> ready{nullptr};
  // For the owner of the mutex only.
  class Creation;
  enum State : int { kEmpty, kInitializing, kComplete };
  State state = kEmpty;
  xrttiobject* building = nullptr;       // made, perhaps not yet initialised
  velClassRtti* nextComplete = nullptr;  // completed before this one, not yet shown
};

/// Throws velXTypeMismatch with the name of `expected` and `object`.
[[noreturn]] VELSTD_API void velThrowTypeMismatch(xrttiobject* expected, xobject* object);

/// True when `target` names the class that `own` describes. Null is no class.
VELSTD_API bool velIsClass(xrttiobject* own, const xrttiobject* target);

/// C::softcast: null and xuninitobject unchanged; an object of exactly class C
/// as C; null for any other.
template <class C>
C* velSoftcast(xobject* p) {
  // Neither is an object: the address stays, without a conversion to C.
  if (!p || velIsUninit(p)) return reinterpret_cast<C*>(reinterpret_cast<std::uintptr_t>(p));
  return static_cast<C*>(p->dyndowncast(C::getClassRtti()));
}

/// C::cast: like velSoftcast, but throws velXTypeMismatch for an object of
/// another class.
template <class C>
C* velCast(xobject* p) {
  C* object = velSoftcast<C>(p);
  if (!object && p) velThrowTypeMismatch(C::getClassRtti(), p);
  return object;
}

/// C::dyndowncast: this object as C or as xobject, after the name of `target`.
template <class C>
void* velDyndowncast(C* self, const xrttiobject* target) {
  if (velIsClass(C::getClassRtti(), target)) return self;
  if (velIsClass(xobject::getClassRtti(), target)) return static_cast<xobject*>(self);
  return nullptr;
}

// C is the name of a class.
// NOLINTBEGIN(bugprone-macro-parentheses)

/// Declares the members that every framework class has. The access after it is
/// private. VEL_OBJECT(C) expands to:
///
///   public:
///    static xrttiobject* getClassRtti();
///    static C* cast(xobject* p);          // throws velXTypeMismatch
///    static C* softcast(xobject* p);      // null for another class
///    void* dyndowncast(const xrttiobject* target) override;
///   private:
///    xrttiobject* giveRtti() override;
#define VEL_OBJECT(C)                                                          \
 public:                                                                       \
  static xrttiobject* getClassRtti();                                          \
  static C* cast(xobject* p) { return velCast<C>(p); }                         \
  static C* softcast(xobject* p) { return velSoftcast<C>(p); }                 \
  void* dyndowncast(const xrttiobject* target) override {                      \
    return velDyndowncast<C>(this, target);                                    \
  }                                                                            \
                                                                               \
 private:                                                                      \
  xrttiobject* giveRtti() override;

// NOLINTEND(bugprone-macro-parentheses)

/// Defines them, in one .cpp file. `Kind` is the descriptor class; the rest is
/// a function `void (Kind*)` that initialises it, such as a lambda.
#define VEL_OBJECT_RTTI(C, Kind, ...)                                          \
  xrttiobject* C::getClassRtti() {                                             \
    static velClassRtti descriptor;                                            \
    return descriptor.get<Kind>(__VA_ARGS__);                                  \
  }                                                                            \
  xrttiobject* C::giveRtti() { return C::getClassRtti(); }

// The descriptor classes are described the same way, so they come last.
#include "xrtti.h"

#endif  // VELSTD_VELBASE_VELOBJECT_H
