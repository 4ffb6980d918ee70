// A second library: what it catches and throws crosses its border.
#include "velstd.h"

VELSTD_API bool pluginCatches(xintsequence* sequence, xstring* typeName);
[[noreturn]] VELSTD_API void pluginThrows();

bool pluginCatches(xintsequence* sequence, xstring* typeName) {
  try {
    sequence->get(99);
  } catch (xobject* caught) {
    *typeName = caught->getVelTypeName();
    const bool seen = dynamic_cast<velXInvalidSeqIndex*>(caught) != nullptr;
    xrcrelease(caught);
    return seen;
  }
  return false;
}

void pluginThrows() { velXNativeException::Throw("from the plugin"); }
