// qzwin32.dll as a host loads it: its load step and an exported class.
#include <windows.h>

#include <gtest/gtest.h>

#include <cstring>
#include <vector>

#include "qz/StringBuf.h"

namespace {

const wchar_t kKey[] = L"SYSTEM\\CurrentControlSet\\Services\\EventLog\\Application\\qzwin32";

bool ReadValue(const wchar_t* name, DWORD* type, std::vector<BYTE>* data) {
  HKEY key;
  if (RegOpenKeyExW(HKEY_LOCAL_MACHINE, kKey, 0, KEY_READ, &key) != ERROR_SUCCESS) return false;
  DWORD size = 0;
  bool ok = RegQueryValueExW(key, name, nullptr, type, nullptr, &size) == ERROR_SUCCESS;
  if (ok) {
    data->resize(size);
    ok = RegQueryValueExW(key, name, nullptr, type, data->data(), &size) == ERROR_SUCCESS;
  }
  RegCloseKey(key);
  return ok;
}

DWORD ReadDword(const wchar_t* name) {
  DWORD type = 0;
  std::vector<BYTE> data;
  DWORD value = 0;
  if (ReadValue(name, &type, &data) && type == REG_DWORD && data.size() == sizeof value) {
    memcpy(&value, data.data(), sizeof value);
  }
  return value;
}

TEST(Win32LibraryTest, LoadRegistersEventSourceWithDllPath) {
  HMODULE dll = GetModuleHandleW(L"qzwin32.dll");
  ASSERT_NE(nullptr, dll);
  wchar_t path[MAX_PATH];
  DWORD length = GetModuleFileNameW(dll, path, MAX_PATH);
  ASSERT_GT(length, 0u);
  std::vector<BYTE> expected(reinterpret_cast<BYTE*>(path),
                             reinterpret_cast<BYTE*>(path + length + 1));

  for (const wchar_t* name : {L"EventMessageFile", L"CategoryMessageFile"}) {
    DWORD type = 0;
    std::vector<BYTE> data;
    ASSERT_TRUE(ReadValue(name, &type, &data)) << "value missing";
    EXPECT_EQ(static_cast<DWORD>(REG_EXPAND_SZ), type);
    EXPECT_EQ(expected, data);
  }
  EXPECT_EQ(7u, ReadDword(L"TypesSupported"));
  EXPECT_EQ(1u, ReadDword(L"CategoryCount"));
}

TEST(Win32LibraryTest, ExportedStringBufWorks) {
  qz::StringBuf text(QZ_TEXT("abc"));
  text.Append(QZ_TEXT("-")).Append(static_cast<int32_t>(42)).ToUpperCase();
  EXPECT_EQ(6u, text.StrLen());
  EXPECT_EQ(0, wcscmp(L"ABC-42", text.ToString()));
}

}  // namespace
