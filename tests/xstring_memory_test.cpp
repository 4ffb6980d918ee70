// What strings do without memory, and that they give all memory back.
#include <cstdlib>
#include <functional>
#include <new>
#include <sstream>
#include <string>

#include "koralloc.h"
#include "veltest.h"
#include "veltest_memory.h"
#include "veltest_string.h"
#include "xstring.h"

// The toolkit's memory functions, replaced for this program and its library by
// ones that count and fail like the operators of veltest_memory.h.
void* korAlloc(std::size_t size) { return velmemory::Allocate(size); }
void* korRealloc(void* block, std::size_t size) { return std::realloc(block, size); }
void korFree(void* block) { velmemory::Free(block); }

namespace {

using Step = std::function<void(xstring&)>;

// Runs `step` on fresh strings, each time failing one allocation later, until
// it succeeds. Returns how often it failed. After each failure the string has
// its old text, perhaps in one form more, and all memory comes back with it.
int FailEachAllocation(const std::function<xstring()>& make, const Step& step) {
  for (int nth = 1; nth < 100; ++nth) {
    const long before = velLiveBlocks();
    {
      xstring s = make();
      const VelFailAllocation failure(nth);
      bool thrown = false;
      try {
        step(s);
      } catch (const std::bad_alloc&) {
        thrown = true;
      }
      if (!failure.hasFailed()) return nth - 1;
      EXPECT_TRUE(thrown) << "allocation " << nth;
      EXPECT_TRUE(s == make()) << "allocation " << nth;
    }
    EXPECT_EQ(velLiveBlocks(), before) << "allocation " << nth;
  }
  return -1;
}

struct Case {
  const char* name;
  Step step;
};

const Case kSteps[] = {
    {"narrow text", [](xstring& s) { s = "text"; }},
    {"wide text", [](xstring& s) { s = L"text"; }},
    {"truncation", [](xstring& s) { s = xstring("text", 2); }},
    {"concatenation", [](xstring& s) { s = xstring("te", "xt"); }},
    {"string and text", [](xstring& s) { s = xstring(s, "xt"); }},
    {"append narrow", [](xstring& s) { s += "text"; }},
    {"append wide", [](xstring& s) { s += L"text"; }},
    {"append string", [](xstring& s) { s += s; }},
    {"append character", [](xstring& s) { s += L'x'; }},
    {"substitute growing", [](xstring& s) { s.Substitute(L"b", L"bbbb"); }},
    {"substitute in a shared buffer",
     [](xstring& s) {
       const xstring copy(s);
       s.Substitute("b", "");
     }},
    {"substring", [](xstring& s) { s = s.Substring(1, 2); }},
    {"word", [](xstring& s) { s = s.GetWord(0, "b"); }},
    {"upper case", [](xstring& s) { s = s.ToUpper(); }},
    {"printf", [](xstring& s) { s = xstring::Printf("%d", 42); }},
};

TEST(XStringMemory, AFailedStepThrowsAndLeavesTheStringAsItWas) {
  xstring("");  // the shared empty buffer is there already
  for (const Case& c : kSteps) {
    SCOPED_TRACE(c.name);
    EXPECT_GE(FailEachAllocation([] { return xstring("abc"); }, c.step), 1);
    EXPECT_GE(FailEachAllocation([] { return xstring(L"abc"); }, c.step), 1);
  }
}

TEST(XStringMemory, AFailedConversionThrowsAndLeavesTheStringAsItWas) {
  EXPECT_EQ(FailEachAllocation([] { return xstring("abc"); },
                               [](xstring& s) { static_cast<void>(s.CastToCWString()); }),
            1);
  EXPECT_EQ(FailEachAllocation([] { return xstring(L"abc"); },
                               [](xstring& s) { static_cast<void>(s.CastToCString()); }),
            1);
}

TEST(XStringMemory, NothingIsLost) {
  xstring("");
  const long before = velLiveBlocks();
  for (const Case& c : kSteps) {
    xstring narrow("abc");
    c.step(narrow);
    xstring wide(L"abc");
    c.step(wide);
    narrow.CastToCWString();
    wide.CastToCString();
    const xstring copy(narrow);
    narrow += wide;
    narrow = wide;
  }
  EXPECT_EQ(velLiveBlocks(), before);
}

TEST(XStringMemory, StringsWithoutCharactersNeedNone) {
  xstring("");
  const VelFailAllocation failure(1);
  const xstring null;
  const xstring empty("");
  const xstring copy(empty);
  xstring s(L"");
  s = null;
  s = copy;
  s += "";
  EXPECT_TRUE(null.CastToCString() != nullptr && *empty.CastToCWString() == 0);
  EXPECT_TRUE(s.ToUpper() == empty && s.Substring(0, 1) == empty);
  EXPECT_FALSE(failure.hasFailed());
}

TEST(XStringMemory, CopiesNeedNone) {
  const xstring s("abc");
  const VelFailAllocation failure(1);
  xstring copy(s);
  copy = s;
  copy = copy.Substring(0, 0);
  EXPECT_FALSE(failure.hasFailed());
}

}  // namespace
