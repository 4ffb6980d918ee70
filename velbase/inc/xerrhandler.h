// xerrhandler.h - reporting an error without throwing it.
//
// Components register listeners; dispatch offers an error to one after the
// other, in the order of their addresses, until one claims it.
//
// Threads: the set of listeners is not locked.
// Ownership: the handler does not own its listeners; remove one before it goes.
#ifndef VELSTD_VELBASE_XERRHANDLER_H
#define VELSTD_VELBASE_XERRHANDLER_H

#include "korapi.h"
#include "xobject.h"
#include "xrchandle.h"
#include "xthrowable.h"

/// What a listener answers; any value but 0 means handled and ends the dispatch.
enum xerhstatus : int {
  xerhNotHandled = 0,  ///< the next listener is asked
  xerhHandled = 1      ///< nobody else is asked
};

// Nobody deletes through this class: a handler does not own its listeners.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wnon-virtual-dtor"

/// Receives errors. Destroyed through its own type.
class VELSTD_API xerrlistener {
 public:
  /// @param context        what the reporter was about (borrowed, nullable)
  /// @param exception      the error
  /// @param object         the object in error (nullable)
  /// @param contextObject  the object it was met in (nullable)
  /// May add and remove listeners, itself included: a removed one is not called
  /// any more, an added one only if its address is still ahead.
  virtual xerhstatus notify(const char* context, xrcunihandle<xthrowable> exception,
                            xrcunihandle<xobject> object,
                            xrcunihandle<xobject> contextObject) = 0;

 protected:
  /// Never through this class.
  ~xerrlistener() = default;
};

#pragma GCC diagnostic pop

/// The one set of listeners of the process.
class VELSTD_API xerrhandler {
 public:
  /// Adds `listener` (borrowed until it is removed); null and one already there
  /// are not added. Throws std::bad_alloc.
  static void addlistener(xerrlistener* listener);
  /// Removes `listener` if it is there.
  static void removelistener(xerrlistener* listener);
  /// Offers an error to the listeners, each with references of its own; its own
  /// are given back when it returns.
  /// @return the first status that is not 0, unchanged; 0 if nobody claims it
  /// Throws what a listener throws.
  static xerhstatus dispatch(const char* context, xrcunihandle<xthrowable> exception,
                             xrcunihandle<xobject> object, xrcunihandle<xobject> contextObject);
};

#endif  // VELSTD_VELBASE_XERRHANDLER_H
