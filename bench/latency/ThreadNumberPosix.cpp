#include "ThreadNumber.h"

#include <unistd.h>

uint64_t ThreadNumber() { return static_cast<uint64_t>(gettid()); }
