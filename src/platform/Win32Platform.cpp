#include "platform/Win32Platform.h"

#include <atomic>
#include <cwchar>
#include <new>

#include "delivery/Win32Mutex.h"
#include "delivery/Win32Thread.h"
#include "delivery/Win32ThreadID.h"
#include "delivery/Win32XMLTransmitter.h"
#include "offline/Win32OfflineData.h"
#include "platform/CaughtException.h"
#include "platform/DefaultEndpoint.h"

namespace qz {
namespace {

constexpr wchar_t kEventSourceName[] = L"qzwin32";
constexpr wchar_t kEventSourceKey[] =
    L"SYSTEM\\CurrentControlSet\\Services\\EventLog\\Application\\qzwin32";
constexpr WORD kEventCategory = 1;
// FILETIME counts 100 ns units from 1601-01-01; the library counts ms from 1970-01-01.
constexpr uint64_t kFileTimeAt1970 = 116444736000000000ULL;
constexpr uint64_t kMillisFrom1601To1970 = 11644473600000ULL;

std::atomic<testhooks::UuidToStringFn> g_uuidToString{nullptr};
std::atomic<testhooks::ReportEventFn> g_reportEvent{nullptr};

void FormatSystemTime(const SYSTEMTIME& st, StringBuf& out) {
  FormatTimeText(out, st.wYear, st.wMonth, st.wDay, st.wHour, st.wMinute, st.wSecond,
                 st.wMilliseconds);
}

bool SetDword(HKEY key, const wchar_t* name, DWORD value) {
  return RegSetValueExW(key, name, 0, REG_DWORD, reinterpret_cast<const BYTE*>(&value),
                        sizeof value) == ERROR_SUCCESS;
}

bool SetPath(HKEY key, const wchar_t* name, const wchar_t* path, DWORD bytes) {
  return RegSetValueExW(key, name, 0, REG_EXPAND_SZ, reinterpret_cast<const BYTE*>(path),
                        bytes) == ERROR_SUCCESS;
}

}  // namespace

namespace testhooks {
UuidToStringFn SetUuidToString(UuidToStringFn fn) { return g_uuidToString.exchange(fn); }
ReportEventFn SetReportEvent(ReportEventFn fn) { return g_reportEvent.exchange(fn); }
}  // namespace testhooks

Win32Platform::Win32Platform() : eventSource(RegisterEventSourceW(nullptr, kEventSourceName)) {}

Win32Platform::~Win32Platform() {
  if (eventSource != nullptr) {
    DeregisterEventSource(eventSource);
    eventSource = nullptr;
  }
}

void Win32Platform::RegisterEventLogSource(HMODULE module, DWORD categoryCount) {
  HKEY key = nullptr;
  if (RegCreateKeyW(HKEY_LOCAL_MACHINE, kEventSourceKey, &key) != ERROR_SUCCESS) return;
  wchar_t path[MAX_PATH];
  DWORD length = GetModuleFileNameW(module, path, MAX_PATH);
  // A full buffer means a truncated path, which would name the wrong file.
  bool ok = length > 0 && length < MAX_PATH;
  DWORD bytes = (length + 1) * sizeof(wchar_t);
  ok = ok && SetPath(key, L"EventMessageFile", path, bytes);
  ok = ok && SetDword(key, L"TypesSupported",
                      EVENTLOG_ERROR_TYPE | EVENTLOG_WARNING_TYPE | EVENTLOG_INFORMATION_TYPE);
  if (ok && categoryCount > 0) {
    ok = SetPath(key, L"CategoryMessageFile", path, bytes);
    ok = ok && SetDword(key, L"CategoryCount", categoryCount);
  }
  RegCloseKey(key);
}

Mutex* Win32Platform::DoNewMutex() {
  return NewOrNull<Win32Mutex>(QZ_TEXT("Win32Platform::NewMutex"));
}

ThreadID* Win32Platform::DoNewThreadID() {
  return NewOrNull<Win32ThreadID>(QZ_TEXT("Win32Platform::NewThreadID"), GetCurrentThreadId());
}

IThread* Win32Platform::DoNewThread(IRunnable* runnable) {
  return NewOrNull<Win32Thread>(QZ_TEXT("Win32Platform::NewThread"), runnable);
}

XMLTransmitter* Win32Platform::DoNewXMLTransmitter(Configuration* configuration) {
  if (configuration == nullptr) return nullptr;
  return NewOrNull<Win32XMLTransmitter>(QZ_TEXT("Win32Platform::NewXMLTransmitter"), *configuration);
}

OfflineData* Win32Platform::DoNewOfflineData() {
  return NewOrNull<Win32OfflineData>(QZ_TEXT("Win32Platform::NewOfflineData"));
}

void Win32Platform::DoApplyDefaultEndpoint(Configuration* configuration) {
  ApplyDefaultEndpointTo(configuration);
}

void Win32Platform::DoGetPlatformInfo(PlatformInfo& info) {
  info.name = QZ_TEXT("Win32");
  info.version = QZ_TEXT("1.0");
}

uint64_t Win32Platform::DoGetTimeMillis() {
  FILETIME ft;
  GetSystemTimeAsFileTime(&ft);
  uint64_t ticks = (static_cast<uint64_t>(ft.dwHighDateTime) << 32) | ft.dwLowDateTime;
  return (ticks - kFileTimeAt1970) / 10000;
}

void Win32Platform::DoFormatTime(uint64_t milliseconds, StringBuf& out) {
  // Checked first: far larger values would also wrap the sum below around to
  // a time that converts.
  if (milliseconds > kLastTimeTextMillis) {
    out.Clear();
    return;
  }
  uint64_t ticks = (milliseconds + kMillisFrom1601To1970) * 10000;
  FILETIME ft;
  ft.dwLowDateTime = static_cast<DWORD>(ticks);
  ft.dwHighDateTime = static_cast<DWORD>(ticks >> 32);
  SYSTEMTIME st;
  if (!FileTimeToSystemTime(&ft, &st)) {
    out.Clear();
    return;
  }
  FormatSystemTime(st, out);
}

void Win32Platform::DoGetTimeString(StringBuf& out) {
  SYSTEMTIME st;
  GetSystemTime(&st);
  FormatSystemTime(st, out);
}

void Win32Platform::DoNewGUID(StringBuf& out) {
  UUID uuid;
  // Sequential ids may be "local only" (no network card); still unique here.
  UuidCreateSequential(&uuid);
  testhooks::UuidToStringFn toString = g_uuidToString.load();
  if (toString == nullptr) toString = &::UuidToStringW;
  RPC_WSTR text = nullptr;
  toString(&uuid, &text);
  if (text == nullptr) {
    LogError(QZ_TEXT("Win32Platform"), QZ_TEXT("Fail to create GUID"));
    return;
  }
  out = reinterpret_cast<const wchar_t*>(text);
  RpcStringFreeW(&text);
  out.ToUpperCase();
}

void Win32Platform::Report(WORD type, DWORD eventId, const QZChar* source,
                           const QZChar* message) {
  if (eventSource == nullptr) return;
  LPCWSTR strings[2] = {source, message};
  testhooks::ReportEventFn report = g_reportEvent.load();
  if (report == nullptr) report = &::ReportEventW;
  report(eventSource, type, kEventCategory, eventId, nullptr, 2, 0, strings, nullptr);
}

void Win32Platform::DoLogInfo(const QZChar* source, const QZChar* message) {
  Report(EVENTLOG_INFORMATION_TYPE, 257, source, message);
}

void Win32Platform::DoLogWarn(const QZChar* source, const QZChar* message) {
  Report(EVENTLOG_WARNING_TYPE, 258, source, message);
}

void Win32Platform::DoLogError(const QZChar* source, const QZChar* message) {
  Report(EVENTLOG_ERROR_TYPE, 259, source, message);
}

// Nothing to log to without a platform.
Platform* NewNativePlatform() {
  try {
    return new Win32Platform();
  } catch (...) {
    return nullptr;
  }
}

}  // namespace qz
