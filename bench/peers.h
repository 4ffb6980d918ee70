// peers.h - objects and handles of the frameworks that stand beside ours.
//
// Each is the smallest class with a virtual destructor and an int, held as its
// framework's users would hold it. Counts of all of them are safe for threads.
#ifndef VELSTD_BENCH_PEERS_H
#define VELSTD_BENCH_PEERS_H

#include <glib-object.h>
#include <QExplicitlySharedDataPointer>
#include <QSharedData>
#include <boost/smart_ptr/intrusive_ptr.hpp>
#include <boost/smart_ptr/intrusive_ref_counter.hpp>
#include <memory>
#include <utility>

#include "velstd.h"

namespace peers {

/// Ours.
class Thing : public virtual xobject {
  VEL_OBJECT(Thing)
 public:
  explicit Thing(int v) : value(v) {}
  const int value;
};

struct StdThing {
  explicit StdThing(int v) : value(v) {}
  StdThing(const StdThing&) = delete;
  StdThing& operator=(const StdThing&) = delete;
  virtual ~StdThing() = default;
  const int value;
};

struct QtThing : QSharedData {
  explicit QtThing(int v) : value(v) {}
  QtThing(const QtThing&) = delete;
  QtThing& operator=(const QtThing&) = delete;
  virtual ~QtThing() = default;
  const int value;
};

struct BoostThing : boost::intrusive_ref_counter<BoostThing> {
  explicit BoostThing(int v) : value(v) {}
  virtual ~BoostThing() = default;
  const int value;
};

/// A counted pointer to a GObject; the object has no value of its own.
class GHandle {
 public:
  GHandle() = default;
  explicit GHandle(GObject* consumed) : object_(consumed) {}
  GHandle(const GHandle& other) : object_(other.object_) {
    if (object_) g_object_ref(object_);
  }
  GHandle(GHandle&& other) noexcept : object_(std::exchange(other.object_, nullptr)) {}
  GHandle& operator=(GHandle other) noexcept {
    std::swap(object_, other.object_);
    return *this;
  }
  ~GHandle() {
    if (object_) g_object_unref(object_);
  }
  GObject* get() const { return object_; }

 private:
  GObject* object_ = nullptr;
};

// For each side: its name, its handle, how an object is made and counted.

struct Velstd {
  static constexpr const char* kName = "velstd";
  using Handle = xrchandle<Thing>;
  static Handle make(int value) { return new Thing(value); }
  static int count(const Handle& handle) { return xrcgetcount(handle.operator->()); }
  static int value(const Handle& handle) { return handle->value; }
};

struct Std {
  static constexpr const char* kName = "std::shared_ptr";
  using Handle = std::shared_ptr<StdThing>;
  static Handle make(int value) { return std::make_shared<StdThing>(value); }
  static int count(const Handle& handle) { return static_cast<int>(handle.use_count()); }
  static int value(const Handle& handle) { return handle->value; }
};

struct QtCore {
  static constexpr const char* kName = "QExplicitlySharedDataPointer";
  using Handle = QExplicitlySharedDataPointer<QtThing>;
  static Handle make(int value) { return Handle(new QtThing(value)); }
  static int count(const Handle& handle) { return handle->ref.loadRelaxed(); }
  static int value(const Handle& handle) { return handle->value; }
};

struct Boost {
  static constexpr const char* kName = "boost::intrusive_ptr";
  using Handle = boost::intrusive_ptr<BoostThing>;
  static Handle make(int value) { return Handle(new BoostThing(value)); }
  static int count(const Handle& handle) { return static_cast<int>(handle->use_count()); }
  static int value(const Handle& handle) { return handle->value; }
};

struct Glib {
  static constexpr const char* kName = "GObject";
  using Handle = GHandle;
  static Handle make(int) { return Handle(G_OBJECT(g_object_new(G_TYPE_OBJECT, nullptr))); }
  static int count(const Handle& handle) { return static_cast<int>(handle.get()->ref_count); }
};

}  // namespace peers

#endif  // VELSTD_BENCH_PEERS_H
