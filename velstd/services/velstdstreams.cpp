#include "velstdstreams.h"

#include <ios>
#include <ostream>

// As <iostream> declares them.
namespace std {
extern ostream cout;
extern ostream cerr;
}  // namespace std

namespace {

// The first object of this class in the process sets the streams up, and they
// stay so until its end. The last one that goes flushes them: one that were
// kept would take that from a program whose output is buffered.
void SetUp() { const std::ios_base::Init setUp; }

}  // namespace

std::ostream& velStandardOutput() {
  SetUp();
  return std::cout;
}

std::ostream& velStandardError() {
  SetUp();
  return std::cerr;
}
