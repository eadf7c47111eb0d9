#include "delivery/Win32Mutex.h"

namespace qz {

Win32Mutex::Win32Mutex() : section(new CRITICAL_SECTION) { InitializeCriticalSection(section); }

Win32Mutex::~Win32Mutex() {
  DeleteCriticalSection(section);
  delete section;
  section = nullptr;
}

void Win32Mutex::Lock() { EnterCriticalSection(section); }

void Win32Mutex::Unlock() { LeaveCriticalSection(section); }

}  // namespace qz
