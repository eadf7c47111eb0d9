#include "ThreadNumber.h"

#include <windows.h>

uint64_t ThreadNumber() { return GetCurrentThreadId(); }
