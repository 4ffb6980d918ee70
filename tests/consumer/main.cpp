// A C++ program of someone else's: the umbrella header is enough, and the library links.
#include <velstd.h>

#include <cstring>

extern "C" int plainCheck(void);

int main() {
  // Wide text has the library's width only if the flags came along with the package.
  const xstring text(L"abc");
  if (std::strcmp(static_cast<const char*>(text), "abc") != 0) return 1;
  return plainCheck();
}
