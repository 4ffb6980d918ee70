// velcprint.cpp - printing and comparing from C.
#include <ostream>
#include <sstream>

#include "velargument.h"
#include "velcompare.h"
#include "velflatvalue.h"
#include "velguard.h"
#include "velprint.h"
#include "velstd_c.h"
#include "velstdstreams.h"

namespace {

xany Given(const __xany_c* value) {
  if (!value) velhThrowNull();
  return velFlatValue<xany>::in(*value);
}

}  // namespace

void xprint_c(xobject* object) {
  velGuard([&] {
    std::ostream& out = velStandardOutput();
    if (velIsUninit(object)) {
      out << "uninit";
    } else {
      out << velObjectAt(object);
    }
    // C's own output keeps its place behind this.
    out.flush();
  });
}

__xstring_c xprintstr_c(const __xany_c* value, int step) {
  xstring text;
  velGuard([&] {
    text = velFlatValue<xstring>::onError();
    std::ostringstream out;
    // A stream that found no memory would go on and leave the rest of the text out.
    out.exceptions(std::ios_base::badbit);
    velPrint(Given(value), out, step);
    text = out.str().c_str();
  });
  return text.getxstring_c();
}

unsigned char xcompare_c(const __xany_c* first, const __xany_c* second) {
  return velGuard(VEL_ERROR_BOOL, [&] {
    const xany a = Given(first);  // the first complaint is about the first
    const xany b = Given(second);
    return velCompare(a, b);
  });
}
