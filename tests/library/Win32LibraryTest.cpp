// qzwin32.dll as a host loads it: its load step and an exported class.
#include <windows.h>

#include <gtest/gtest.h>

#include <cwchar>
#include <vector>

#include "LibraryCopy.h"
#include "qz/StringBuf.h"

namespace {

std::vector<BYTE> ReadValue(const wchar_t* name, DWORD expectedType) {
  std::vector<BYTE> data(1024);
  DWORD size = static_cast<DWORD>(data.size());
  DWORD type = 0;
  LONG rc = RegGetValueW(HKEY_LOCAL_MACHINE,
                         L"SYSTEM\\CurrentControlSet\\Services\\EventLog\\Application\\qzwin32",
                         name, RRF_RT_ANY | RRF_NOEXPAND, &type, data.data(), &size);
  data.resize(rc == ERROR_SUCCESS && type == expectedType ? size : 0);
  return data;
}

// The latest load writes its own path, so a copy loaded here is the one named.
TEST(Win32LibraryTest, LoadRegistersTheEventSourceWithTheDllPath) {
  LibraryCopy copy;
  ASSERT_TRUE(copy.Load());
  wchar_t path[MAX_PATH];
  DWORD length = GetModuleFileNameW(GetModuleHandleW(L"qzcopy.dll"), path, MAX_PATH);
  ASSERT_GT(length, 0u);
  EXPECT_TRUE(copy.Unload());
  const BYTE* bytes = reinterpret_cast<const BYTE*>(path);
  std::vector<BYTE> expectedPath(bytes, bytes + (length + 1) * sizeof(wchar_t));
  DWORD types = 7, categories = 1;
  const BYTE* t = reinterpret_cast<const BYTE*>(&types);
  const BYTE* c = reinterpret_cast<const BYTE*>(&categories);

  EXPECT_EQ(expectedPath, ReadValue(L"EventMessageFile", REG_EXPAND_SZ));
  EXPECT_EQ(std::vector<BYTE>(t, t + 4), ReadValue(L"TypesSupported", REG_DWORD));
  EXPECT_EQ(expectedPath, ReadValue(L"CategoryMessageFile", REG_EXPAND_SZ));
  EXPECT_EQ(std::vector<BYTE>(c, c + 4), ReadValue(L"CategoryCount", REG_DWORD));
}

TEST(Win32LibraryTest, ExportedStringBufWorks) {
  qz::StringBuf text(QZ_TEXT("abc"));
  text.Append(QZ_TEXT("-")).Append(static_cast<int32_t>(42), 10).ToUpperCase();
  EXPECT_EQ(0, wcscmp(L"ABC-42", text.ToString()));
}

}  // namespace
