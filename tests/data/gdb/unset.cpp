// Variables that have no value yet, on a stack that was used before.
#include <velstd.h>

__attribute__((noinline)) void used() {
  volatile unsigned char stack[2048];
  for (volatile unsigned char& byte : stack) byte = 0x5A;
}

extern "C" __attribute__((noinline)) int look() {
  volatile int line = 1;
  return line;
}

__attribute__((noinline)) int garbage() {
  int line = look();
  xstring text("later");
  xany value(5);
  xrchandle<xintsequence> handle = xintsequence::create();
  return line + text.GetLength() + static_cast<int>(value) + handle->getarraysize();
}

int main() {
  used();
  return garbage() == 0;
}
