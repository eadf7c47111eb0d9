#include "System.h"

#include <unistd.h>

uint64_t ThreadNumber() { return static_cast<uint64_t>(gettid()); }

bool MakeSystemGuid() { return false; }
