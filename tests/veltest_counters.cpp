// Part of the library in a build that counts what is run: lets a program write
// down the library's counters before it ends in a way that does not. A program
// and each library have counters of their own.
extern "C" void __gcov_dump(void);

extern "C" __attribute__((visibility("default"))) void velDumpCounters(void) { __gcov_dump(); }
