#include <windows.h>

#include <gtest/gtest.h>

#include <cwctype>
#include <string>
#include <vector>

#include "platform/Platform.h"
#include "platform/Win32Platform.h"
#include "support/LogCapture.h"
#include "support/TestText.h"

namespace qz {
namespace {

const wchar_t kKey[] = L"SYSTEM\\CurrentControlSet\\Services\\EventLog\\Application\\qzwin32";
const wchar_t* const kValueNames[] = {L"EventMessageFile", L"TypesSupported",
                                      L"CategoryMessageFile", L"CategoryCount"};

struct RegValue {
  bool present = false;
  DWORD type = 0;
  std::vector<BYTE> data;
};

RegValue ReadValue(const wchar_t* name) {
  RegValue value;
  HKEY key;
  if (RegOpenKeyExW(HKEY_LOCAL_MACHINE, kKey, 0, KEY_READ, &key) != ERROR_SUCCESS) return value;
  DWORD size = 0;
  if (RegQueryValueExW(key, name, nullptr, &value.type, nullptr, &size) == ERROR_SUCCESS) {
    value.data.resize(size);
    value.present = RegQueryValueExW(key, name, nullptr, &value.type, value.data.data(),
                                     &size) == ERROR_SUCCESS;
  }
  RegCloseKey(key);
  return value;
}

void WriteValue(const wchar_t* name, const RegValue& value) {
  HKEY key;
  if (RegCreateKeyW(HKEY_LOCAL_MACHINE, kKey, &key) != ERROR_SUCCESS) return;
  if (value.present) {
    RegSetValueExW(key, name, 0, value.type, value.data.data(),
                   static_cast<DWORD>(value.data.size()));
  } else {
    RegDeleteValueW(key, name);
  }
  RegCloseKey(key);
}

DWORD AsDword(const RegValue& value) {
  DWORD out = 0;
  if (value.data.size() == sizeof out) memcpy(&out, value.data.data(), sizeof out);
  return out;
}

// The key is shared with the library test, which expects the DLL's own path
// there: put back whatever was registered before.
class RegistrationTest : public ::testing::Test {
 protected:
  void SetUp() override {
    for (const wchar_t* name : kValueNames) saved_.push_back(ReadValue(name));
    for (const wchar_t* name : kValueNames) WriteValue(name, RegValue());
  }
  void TearDown() override {
    for (size_t i = 0; i < saved_.size(); ++i) WriteValue(kValueNames[i], saved_[i]);
  }
  std::vector<RegValue> saved_;
};

TEST_F(RegistrationTest, WritesMessageFilesAndTypesWithExactLengths) {
  wchar_t path[MAX_PATH];
  DWORD length = GetModuleFileNameW(nullptr, path, MAX_PATH);
  ASSERT_GT(length, 0u);
  std::vector<BYTE> expectedPath(reinterpret_cast<BYTE*>(path),
                                 reinterpret_cast<BYTE*>(path + length + 1));

  Win32Platform::RegisterEventLogSource(GetModuleHandleW(nullptr), 1);

  RegValue message = ReadValue(L"EventMessageFile");
  ASSERT_TRUE(message.present) << "HKLM not writable in this prefix?";
  EXPECT_EQ(static_cast<DWORD>(REG_EXPAND_SZ), message.type);
  EXPECT_EQ(expectedPath, message.data);  // length counts the terminating null
  RegValue types = ReadValue(L"TypesSupported");
  EXPECT_EQ(static_cast<DWORD>(REG_DWORD), types.type);
  EXPECT_EQ(7u, AsDword(types));
  RegValue category = ReadValue(L"CategoryMessageFile");
  EXPECT_EQ(static_cast<DWORD>(REG_EXPAND_SZ), category.type);
  EXPECT_EQ(expectedPath, category.data);
  RegValue count = ReadValue(L"CategoryCount");
  EXPECT_EQ(static_cast<DWORD>(REG_DWORD), count.type);
  EXPECT_EQ(1u, AsDword(count));
}

TEST_F(RegistrationTest, NoCategoryValuesWithoutCategories) {
  Win32Platform::RegisterEventLogSource(GetModuleHandleW(nullptr), 0);
  EXPECT_TRUE(ReadValue(L"EventMessageFile").present);
  EXPECT_TRUE(ReadValue(L"TypesSupported").present);
  EXPECT_FALSE(ReadValue(L"CategoryMessageFile").present);
  EXPECT_FALSE(ReadValue(L"CategoryCount").present);
}

TEST(Win32PlatformTest, IdentityAndFactories) {
  PlatformInfo info;
  Platform::GetPlatformInfo(info);
  EXPECT_EQ("Win32", test::U8(info.name));
  EXPECT_EQ("1.0", test::U8(info.version));
  // The platform singleton must be the Windows one, with its event source open.
  EXPECT_NE(nullptr, dynamic_cast<Win32Platform*>(Platform::Instance()));
}

TEST(Win32PlatformTest, ClockAgreesWithTimeTexts) {
  StringBuf text;
  Platform::FormatTime(0, text);
  EXPECT_EQ("1970-01-01T00:00:00.000Z", test::U8(text));
  Platform::FormatTime(1000, text);
  EXPECT_EQ("1970-01-01T00:00:01.000Z", test::U8(text));
  Platform::FormatTime(1330837567089ULL, text);
  EXPECT_EQ("2012-03-04T05:06:07.089Z", test::U8(text));

  // Beyond what a FILETIME can convert: cleared, not garbage.
  Platform::FormatTime(0x7FFFFFFFFFFFFFFFULL / 10000, text);
  EXPECT_EQ("", test::U8(text));

  // FILETIME clock and calendar clock bracket each other (texts sort by time).
  StringBuf before, now, after;
  Platform::FormatTime(Platform::GetTimeMillis(), before);
  Platform::GetTimeString(now);
  Platform::FormatTime(Platform::GetTimeMillis(), after);
  ASSERT_EQ(24u, now.StrLen());
  EXPECT_LE(test::U8(before), test::U8(now));
  EXPECT_LE(test::U8(now), test::U8(after));
}

TEST(Win32PlatformTest, GuidsAreUpperCaseAndDistinct) {
  StringBuf first, second;
  Platform::NewGUID(first);
  Platform::NewGUID(second);
  std::string text = test::U8(first);
  ASSERT_EQ(36u, text.size());
  for (size_t i = 0; i < text.size(); ++i) {
    if (i == 8 || i == 13 || i == 18 || i == 23) {
      EXPECT_EQ('-', text[i]);
    } else {
      EXPECT_TRUE(isdigit(text[i]) || (text[i] >= 'A' && text[i] <= 'F')) << text;
    }
  }
  EXPECT_NE(text, test::U8(second));
}

RPC_STATUS RPC_ENTRY NoString(UUID*, RPC_WSTR* out) {
  *out = nullptr;
  return RPC_S_OUT_OF_MEMORY;
}

TEST(Win32PlatformTest, GuidFailureKeepsTextAndLogsOnce) {
  test::LogCapture log;
  StringBuf text(QZ_TEXT("previous"));
  testhooks::UuidToStringFn saved = testhooks::SetUuidToString(&NoString);
  Platform::NewGUID(text);
  testhooks::SetUuidToString(saved);
  EXPECT_EQ("previous", test::U8(text));
  EXPECT_EQ(1, log.Count("Win32Platform", "Fail to create GUID")) << log.Dump();
  EXPECT_EQ(1u, log.Entries().size()) << log.Dump();
}

struct ReportedEvent {
  WORD type;
  WORD category;
  DWORD id;
  WORD stringCount;
  std::wstring first;
  std::wstring second;
};
std::vector<ReportedEvent> g_events;

BOOL WINAPI RecordEvent(HANDLE source, WORD type, WORD category, DWORD id, PSID, WORD count,
                        DWORD, LPCWSTR* strings, LPVOID) {
  if (source == nullptr) return FALSE;
  g_events.push_back({type, category, id, count, count > 0 ? strings[0] : L"",
                      count > 1 ? strings[1] : L""});
  return TRUE;
}

TEST(Win32PlatformTest, EachLogCallIsOneEventSourceFirst) {
  test::LogCapture log;  // all levels
  g_events.clear();
  testhooks::ReportEventFn saved = testhooks::SetReportEvent(&RecordEvent);
  Platform::LogInfo(QZ_TEXT("A::Info"), QZ_TEXT("one"));
  Platform::LogWarn(QZ_TEXT("B::Warn"), QZ_TEXT("two"));
  Platform::LogError(QZ_TEXT("C::Error"), QZ_TEXT("three"));
  testhooks::SetReportEvent(saved);

  EXPECT_EQ(1, log.Count("C::Error", "three"));
  EXPECT_EQ(3u, log.Entries().size()) << log.Dump();
  ASSERT_EQ(3u, g_events.size()) << "no event source in this process?";
  const WORD types[] = {EVENTLOG_INFORMATION_TYPE, EVENTLOG_WARNING_TYPE, EVENTLOG_ERROR_TYPE};
  const DWORD ids[] = {257, 258, 259};
  const wchar_t* sources[] = {L"A::Info", L"B::Warn", L"C::Error"};
  const wchar_t* messages[] = {L"one", L"two", L"three"};
  for (int i = 0; i < 3; ++i) {
    EXPECT_EQ(types[i], g_events[i].type);
    EXPECT_EQ(1, g_events[i].category);
    EXPECT_EQ(ids[i], g_events[i].id);
    EXPECT_EQ(2, g_events[i].stringCount);
    EXPECT_EQ(sources[i], g_events[i].first);
    EXPECT_EQ(messages[i], g_events[i].second);
  }
}

}  // namespace
}  // namespace qz
