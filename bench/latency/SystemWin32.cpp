#include "System.h"

#include <windows.h>
#include <rpc.h>

uint64_t ThreadNumber() { return GetCurrentThreadId(); }

bool MakeSystemGuid() {
  UUID uuid;
  UuidCreateSequential(&uuid);
  RPC_WSTR text = nullptr;
  UuidToStringW(&uuid, &text);
  if (text == nullptr) return false;
  RpcStringFreeW(&text);
  return true;
}
