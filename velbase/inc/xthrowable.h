// xthrowable.h - the root of everything that is thrown.
//
// What travels is a raw `xthrowable*` that carries one reference: whoever
// catches it owns that reference and gives it back with xrcrelease. A handler
// for a derived class (`catch (velXNull*)`) never matches; catch the root and
// ask:
//
//   try {
//     sequence->get(99);
//   } catch (xthrowable* caught) {
//     const xrchandle<xthrowable> held(caught);
//     xrcrelease(caught);              // the reference that came with the throw
//     if (auto* e = dynamic_cast<velXInvalidSeqIndex*>(caught)) use(e->getIndex());
//   }
#ifndef VELSTD_VELBASE_XTHROWABLE_H
#define VELSTD_VELBASE_XTHROWABLE_H

#include <utility>

#include "velcounting.h"
#include "velobject.h"
#include "xrchandle.h"

/// Type "vellib::Throwable": counted, without attributes or parents.
class VELSTD_API xthrowable : public virtual xobject {
  VEL_OBJECT(xthrowable)
 public:
  /// With nothing but its type.
  xthrowable() = default;
  xthrowable(const xthrowable&) = delete;
  xthrowable& operator=(const xthrowable&) = delete;
};

/// Throws velXNull (see velexceptions.h).
[[noreturn]] VELSTD_API void velhThrowNull();

/// Throws the object as a raw `xthrowable*` with one reference of its own; the
/// handle's reference is released as the stack unwinds. It can be caught as
/// `xthrowable*`, `xobject*` or `void*`.
/// Throws velXNull for a null or uninitialised handle.
/// In line: each frame that a throw passes costs it hundreds of nanoseconds.
[[noreturn, gnu::always_inline]] VELSTD_API inline void xthrow(xrcunihandle<xthrowable> throwable) {
  xthrowable* thrown = throwable;
  if (!thrown || velIsUninit(thrown)) velhThrowNull();
  velCounting::attach(*thrown);
  throw thrown;  // NOLINT(cert-err09-cpp): the catcher takes the reference over
}

/// A new E, made of `arguments`, with one reference (for the caller to give back).
/// A function of its own, so that all that making it takes has ended before it is thrown.
template <class E, class... Arguments>
[[gnu::noinline, gnu::cold]] xthrowable* velNewThrowable(Arguments&&... arguments) {
  E* const made = new E(std::forward<Arguments>(arguments)...);
  xrcattach(made);
  return made;
}

/// Makes an E (a class derived from xthrowable) of `arguments` and throws it, as xthrow
/// does. Nothing is left in the caller that the stack would have to unwind, which spares
/// what xthrow(xrchandle<E>(new E(...))) pays for it.
/// Throws what E's constructor throws, and std::bad_alloc.
template <class E, class... Arguments>
[[noreturn]] inline void velThrow(Arguments&&... arguments) {
  // NOLINTNEXTLINE(cert-err09-cpp): the catcher takes the reference over
  throw velNewThrowable<E>(std::forward<Arguments>(arguments)...);
}

extern template class xrcbasehandle<xthrowable>;
extern template class xrcunihandle<xthrowable>;

#endif  // VELSTD_VELBASE_XTHROWABLE_H
