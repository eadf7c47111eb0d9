#include <windows.h>

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "platform/Platform.h"
#include "platform/Win32Platform.h"
#include "support/LogCapture.h"
#include "support/TestText.h"

namespace qz {
namespace {

const wchar_t kKey[] = L"SYSTEM\\CurrentControlSet\\Services\\EventLog\\Application\\qzwin32";

// Type and raw bytes of a value under the source's key; type 0 when absent.
std::pair<DWORD, std::vector<BYTE>> ReadValue(const wchar_t* name) {
  std::pair<DWORD, std::vector<BYTE>> value{0, std::vector<BYTE>(1024)};
  DWORD size = static_cast<DWORD>(value.second.size());
  if (RegGetValueW(HKEY_LOCAL_MACHINE, kKey, name, RRF_RT_ANY | RRF_NOEXPAND, &value.first,
                   value.second.data(), &size) != ERROR_SUCCESS) {
    value.first = size = 0;
  }
  value.second.resize(size);
  return value;
}

std::pair<DWORD, std::vector<BYTE>> Dword(DWORD v) {
  const BYTE* p = reinterpret_cast<const BYTE*>(&v);
  return {REG_DWORD, std::vector<BYTE>(p, p + sizeof v)};
}

// The library test rewrites the key when its DLL loads, so nothing to restore.
TEST(Win32PlatformTest, RegistrationWritesExactValuesAndCategoriesOnlyWhenAsked) {
  HKEY key;
  ASSERT_EQ(ERROR_SUCCESS, RegCreateKeyW(HKEY_LOCAL_MACHINE, kKey, &key));
  RegDeleteValueW(key, L"CategoryMessageFile");
  RegDeleteValueW(key, L"CategoryCount");
  RegCloseKey(key);
  wchar_t path[MAX_PATH];
  DWORD length = GetModuleFileNameW(nullptr, path, MAX_PATH);
  const BYTE* bytes = reinterpret_cast<const BYTE*>(path);
  // The stored length counts the terminating null.
  const auto expectedPath = std::make_pair(
      DWORD{REG_EXPAND_SZ}, std::vector<BYTE>(bytes, bytes + (length + 1) * sizeof(wchar_t)));

  Win32Platform::RegisterEventLogSource(GetModuleHandleW(nullptr), 0);
  EXPECT_EQ(expectedPath, ReadValue(L"EventMessageFile"));
  EXPECT_EQ(Dword(7), ReadValue(L"TypesSupported"));
  EXPECT_EQ(0u, ReadValue(L"CategoryMessageFile").first + ReadValue(L"CategoryCount").first);

  Win32Platform::RegisterEventLogSource(GetModuleHandleW(nullptr), 1);
  EXPECT_EQ(expectedPath, ReadValue(L"CategoryMessageFile"));
  EXPECT_EQ(Dword(1), ReadValue(L"CategoryCount"));
}

RPC_STATUS RPC_ENTRY NoString(UUID*, RPC_WSTR* out) {
  *out = nullptr;
  return RPC_S_OUT_OF_MEMORY;
}

TEST(Win32PlatformTest, GuidFailureKeepsTheOldTextAndLogsOnce) {
  test::LogCapture log;
  StringBuf guid(QZ_TEXT("old"));
  testhooks::UuidToStringFn saved = testhooks::SetUuidToString(&NoString);
  Platform::NewGUID(guid);
  testhooks::SetUuidToString(saved);
  EXPECT_EQ("old", test::U8(guid));
  EXPECT_EQ(1, log.Count("Win32Platform", "Fail to create GUID")) << log.Dump();
  EXPECT_EQ(1u, log.Entries().size()) << log.Dump();
}

std::vector<std::wstring> g_events;

BOOL WINAPI RecordEvent(HANDLE, WORD type, WORD category, DWORD id, PSID, WORD count, DWORD,
                        LPCWSTR* strings, LPVOID) {
  std::wstring event =
      std::to_wstring(type) + L"/" + std::to_wstring(category) + L"/" + std::to_wstring(id);
  for (WORD i = 0; i < count; ++i) event += std::wstring(L"|") + strings[i];
  g_events.push_back(event);
  return TRUE;
}

TEST(Win32PlatformTest, EachLogCallIsOneEventWithSourceThenMessage) {
  test::LogCapture log;  // lets every level through
  testhooks::ReportEventFn saved = testhooks::SetReportEvent(&RecordEvent);
  Platform::LogInfo(QZ_TEXT("A::Info"), QZ_TEXT("one"));
  Platform::LogWarn(QZ_TEXT("B::Warn"), QZ_TEXT("two"));
  Platform::LogError(QZ_TEXT("C::Error"), QZ_TEXT("three"));
  testhooks::SetReportEvent(saved);
  EXPECT_EQ(1, log.Count("C::Error", "three")) << log.Dump();
  std::vector<std::wstring> expected = {L"4/1/257|A::Info|one", L"2/1/258|B::Warn|two",
                                        L"1/1/259|C::Error|three"};
  EXPECT_EQ(expected, g_events) << "is the event source open?";
}

}  // namespace
}  // namespace qz
