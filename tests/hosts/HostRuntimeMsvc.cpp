// The test hosts' surroundings for a program built for the MSVC ABI without a
// C run-time library (this machine has none for that target): the entry
// point, the heap behind operator new and standard output, all from kernel32,
// whose import library the test makes.
#include <stddef.h>

#include <new>

#include "HostRuntime.h"

extern "C" {
__declspec(dllimport) void* __stdcall GetStdHandle(unsigned long which);
__declspec(dllimport) int __stdcall WriteFile(void* file, const void* data, unsigned long size,
                                              unsigned long* written, void* overlapped);
__declspec(dllimport) const wchar_t* __stdcall GetCommandLineW(void);
__declspec(dllimport) void* __stdcall GetProcessHeap(void);
__declspec(dllimport) void* __stdcall HeapAlloc(void* heap, unsigned long flags, size_t size);
__declspec(dllimport) int __stdcall HeapFree(void* heap, unsigned long flags, void* block);
__declspec(dllimport) __declspec(noreturn) void __stdcall ExitProcess(unsigned int status);

// The compiler's mark that floating point is used, which the C library defines.
int _fltused = 0;
}

namespace std {
const nothrow_t nothrow{};
}  // namespace std

// Without exceptions a failed new gives null, which the inline classes expect.
void* operator new(size_t size) { return HeapAlloc(GetProcessHeap(), 0, size != 0 ? size : 1); }
void* operator new(size_t size, const std::nothrow_t&) noexcept { return operator new(size); }
void operator delete(void* p) noexcept {
  if (p != nullptr) HeapFree(GetProcessHeap(), 0, p);
}
void operator delete(void* p, size_t) noexcept { operator delete(p); }

void HostWrite(const char* text) {
  unsigned long n = 0;
  while (text[n] != 0) ++n;
  unsigned long written = 0;
  WriteFile(GetStdHandle(static_cast<unsigned long>(-11)), text, n, &written, nullptr);
}

namespace {

bool IsBlank(wchar_t c) { return c == L' ' || c == L'\t'; }

}  // namespace

// The first argument, taken as ASCII, is the endpoint.
extern "C" int mainCRTStartup(void) {
  const wchar_t* p = GetCommandLineW();
  if (*p == L'"') {
    for (++p; *p != 0 && *p != L'"'; ++p) {
    }
    if (*p != 0) ++p;
  } else {
    while (*p != 0 && !IsBlank(*p)) ++p;
  }
  while (IsBlank(*p)) ++p;
  char endpoint[256];
  size_t n = 0;
  for (; *p != 0 && !IsBlank(*p) && n + 1 < sizeof endpoint; ++p) endpoint[n++] = static_cast<char>(*p);
  endpoint[n] = 0;
  if (n == 0 || endpoint[0] == '-') {
    HostWrite("usage: HOST ENDPOINT\n");
    ExitProcess(2);
  }
  ExitProcess(static_cast<unsigned int>(RunHost(endpoint)));
}
