// The operating system's number of the calling thread, as system traces show
// it (the Wine server's request trace, for one).
#ifndef QZ_BENCH_LATENCY_THREADNUMBER_H
#define QZ_BENCH_LATENCY_THREADNUMBER_H

#include <cstdint>

uint64_t ThreadNumber();

#endif  // QZ_BENCH_LATENCY_THREADNUMBER_H
