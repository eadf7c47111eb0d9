// What the benchmark needs from the system it runs on.
#ifndef QZ_BENCH_LATENCY_SYSTEM_H
#define QZ_BENCH_LATENCY_SYSTEM_H

#include <cstdint>

// The operating system's number of the calling thread, as system traces show
// it (the Wine server's request trace, for one).
uint64_t ThreadNumber();

// Makes a GUID text the way the library's Windows build does (the system's
// UuidCreateSequential and UuidToStringW); false where the library makes its
// own (Linux), which has nothing to compare.
bool MakeSystemGuid();

#endif  // QZ_BENCH_LATENCY_SYSTEM_H
