// velflatcollection.h - collections from C, once for all classes.
//
// Each operation clears the pending exception, finds the collection, holds it
// for the time of the call without ever being the one that destroys it, and
// calls the member of the same name through the object's table.
#ifndef VELSTD_CAPI_VELFLATCOLLECTION_H
#define VELSTD_CAPI_VELFLATCOLLECTION_H

#include <type_traits>
#include <typeinfo>
#include <utility>

#include "velargument.h"
#include "velcomplaint.h"
#include "velflatvalue.h"
#include "velguard.h"
#include "velobjectaccess.h"
#include "velpending.h"
#include "xcollections.h"

/// Runs `call` on the collection at `address` by the rules above.
template <class C, class R, class Call>
R velOnCollection(const void* address, R onError, Call call) {
  return velGuard(onError, [&] {
    velClearPending();
    if (!address) {
      velPark(velComplaint::null());
      return onError;
    }
    C* collection = velArgument<C>(address);
    const velBorrow borrow(collection);
    return call(*collection);
  });
}

/// What both families share.
template <class C>
struct velFlatCollection {
  template <class Call>
  static void run(const void* address, Call call) {
    velOnCollection<C>(address, 0, [&](C& collection) {
      call(collection);
      return 0;
    });
  }

  /// A new one with one reference.
  static C* create() {
    return velGuard<C*>(nullptr, [] {
      velClearPending();
      const xrchandle<C> made = C::create();
      xrcattach(made.operator->());
      return made.operator->();
    });
  }

  static xrttiobject* rtti() {
    return velGuard<xrttiobject*>(nullptr, [] {
      velClearPending();
      return C::getClassRtti();
    });
  }
};

template <class C>
struct velFlatSequence : velFlatCollection<C> {
  using Element = decltype(std::declval<C&>().get(0));
  using Value = velFlatValue<Element>;
  using Flat = typename Value::Flat;

  static int getarraysize(const void* seq) {
    return velOnCollection<C>(seq, VEL_ERROR_INT, [](C& s) { return s.getarraysize(); });
  }
  static Flat get(const void* seq, int index) {
    return velFlatAnswer<Element>([=](Element& result) {
      velClearPending();
      C* sequence = velArgument<C>(seq);
      if (typeid(*sequence) == typeid(C)) return getOwn(sequence, index, result);
      const velBorrow borrow(sequence);
      result = sequence->get(index);
      return true;
    });
  }
  static void set(const void* seq, int index, const Flat& value) {
    velFlatSequence::run(seq, [&](C& s) { s.set(index, Value::in(value)); });
  }
  static void insert(const void* seq, int index, const Flat& value) {
    velFlatSequence::run(seq, [&](C& s) { s.insert(index, Value::in(value)); });
  }
  static void insertseq(const void* seq, int index, const void* other) {
    velFlatSequence::run(seq, [&](C& s) {
      C* inserted = velArgument<C>(other);
      const velBorrow borrow(inserted);
      s.insertseq(index, *inserted);
    });
  }
  static void removerange(const void* seq, int first, int last) {
    velFlatSequence::run(seq, [&](C& s) { s.removerange(first, last); });
  }

 private:
  // Nothing runs while a number is read that could end the sequence.
  struct NoBorrow {
    explicit NoBorrow(xobject*) {}
  };
  using Borrow = std::conditional_t<std::is_scalar<Element>::value, NoBorrow, velBorrow>;

  // The class's own get, of a sequence of exactly this class; what it would throw is
  // parked at once.
  static bool getOwn(C* sequence, int index, Element& result) {
    const Borrow borrow(sequence);
    if (static_cast<unsigned>(index) >= static_cast<unsigned>(sequence->C::getarraysize())) {
      velPark(velComplaint::sequenceIndex(sequence, index));
      return false;
    }
    result = sequence->C::get(index);
    return true;
  }
};

template <class C, class T>
struct velFlatDictionary : velFlatCollection<C> {
  using Value = velFlatValue<T>;
  using Flat = typename Value::Flat;

  static int getmapsize(const void* dict) {
    return velOnCollection<C>(dict, VEL_ERROR_INT, [](C& d) { return d.getmapsize(); });
  }
  static int count(const void* dict) {
    return velOnCollection<C>(dict, VEL_ERROR_INT, [](C& d) { return d.getcount(); });
  }
  static unsigned char find(const void* dict, const char* key, Flat* value) {
    return lookUp<T>(dict, value, [=](C& d, T* found) { return d.find(key, found); });
  }
  static void set(const void* dict, const char* key, const Flat& value) {
    velFlatDictionary::run(dict, [&](C& d) { d.set(key, Value::in(value)); });
  }
  static void remove(const void* dict, const char* key) {
    velFlatDictionary::run(dict, [&](C& d) { d.remove(key); });
  }
  static unsigned char getbyindex(const void* dict, int index, Flat* value) {
    return lookUp<T>(dict, value, [=](C& d, T* found) { return d.getbyindex(index, found); });
  }
  static unsigned char getkeybyindex(const void* dict, int index, __xstring_c* key) {
    return lookUp<xstring>(dict, key,
                           [=](C& d, xstring* found) { return d.getkeybyindex(index, found); });
  }
  static void setbyindex(const void* dict, int index, const Flat& value) {
    velFlatDictionary::run(dict, [&](C& d) { d.setbyindex(index, Value::in(value)); });
  }
  static void removebyindex(const void* dict, int index) {
    velFlatDictionary::run(dict, [&](C& d) { d.removebyindex(index); });
  }

 private:
  template <class Found, class Ask>
  static unsigned char lookUp(const void* dict, typename velFlatValue<Found>::Flat* to, Ask ask) {
    velFlatValue<Found>::clear(to);
    return velOnCollection<C>(dict, VEL_ERROR_BOOL, [=](C& d) -> unsigned char {
      Found found{};
      if (!ask(d, to ? &found : nullptr)) return 0;
      if (to) *to = velFlatValue<Found>::out(std::move(found));
      return 1;
    });
  }
};

#endif  // VELSTD_CAPI_VELFLATCOLLECTION_H
