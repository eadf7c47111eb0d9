// What the test hosts need from their surroundings: the C and C++ run-time
// libraries where there are some (HostRuntimeStd.cpp), a few kernel32
// functions where there are none (HostRuntimeMsvc.cpp, the MSVC-target build).
#ifndef QZ_TESTS_HOSTS_HOSTRUNTIME_H
#define QZ_TESTS_HOSTS_HOSTRUNTIME_H

// Writes text to standard output at once.
void HostWrite(const char* text);

// The host itself: reports a run to endpoint (host:port/path, plain HTTP) and
// returns the exit status.
int RunHost(const char* endpoint);

#endif  // QZ_TESTS_HOSTS_HOSTRUNTIME_H
