#include <windows.h>

#include <gtest/gtest.h>

#include <thread>

#include "platform/WMIQueryWin32.h"
#include "support/TestText.h"

namespace qz {
namespace {

using test::U8;

// Readers report failure and leave their empty values, whatever out held.
void ExpectNothingReadable(WMIQuery& query, const QZChar* name) {
  StringBuf text(QZ_TEXT("stale"));
  uint32_t u = 7;
  int32_t i = -7;
  bool b = true;
  EXPECT_FALSE(query.GetString(name, text));
  EXPECT_FALSE(query.GetUInt32(name, u));
  EXPECT_FALSE(query.GetInt32(name, i));
  EXPECT_FALSE(query.GetBool(name, b));
  EXPECT_EQ("", U8(text));
  EXPECT_EQ(0u, u);
  EXPECT_EQ(0, i);
  EXPECT_FALSE(b);
}

TEST(WMIQueryTest, StepsRowsAndReadsEachKindOnlyAsItself) {
  WMIQuery query;
  ASSERT_TRUE(query.Execute(QZ_TEXT("SELECT DeviceId, AddressWidth FROM Win32_Processor")));
  ExpectNothingReadable(query, QZ_TEXT("DeviceId"));  // no row yet
  ASSERT_TRUE(query.Next());

  StringBuf id;
  EXPECT_TRUE(query.GetString(QZ_TEXT("DeviceId"), id));
  EXPECT_GT(id.StrLen(), 0u);
  uint32_t width = 0;
  int32_t signedWidth = 0;
  EXPECT_TRUE(query.GetUInt32(QZ_TEXT("AddressWidth"), width));
  EXPECT_TRUE(query.GetInt32(QZ_TEXT("AddressWidth"), signedWidth));
  EXPECT_TRUE(width == 32 || width == 64) << width;
  EXPECT_EQ(static_cast<int32_t>(width), signedWidth);
  // A number is no text and a text no number or boolean.
  StringBuf text(QZ_TEXT("stale"));
  EXPECT_FALSE(query.GetString(QZ_TEXT("AddressWidth"), text));
  EXPECT_EQ("", U8(text));
  uint32_t number = 7;
  EXPECT_FALSE(query.GetUInt32(QZ_TEXT("DeviceId"), number));
  EXPECT_EQ(0u, number);
  bool flag = true;
  EXPECT_FALSE(query.GetBool(QZ_TEXT("DeviceId"), flag));
  EXPECT_FALSE(flag);
  ExpectNothingReadable(query, QZ_TEXT("NoSuchProperty"));

  while (query.Next()) {
  }
  EXPECT_FALSE(query.Next());
  ExpectNothingReadable(query, QZ_TEXT("DeviceId"));
  query.Close();
  query.Close();
  EXPECT_FALSE(query.Next());
}

TEST(WMIQueryTest, ClassWithoutRowsRunsAndEndsAtOnce) {
  WMIQuery query;
  EXPECT_TRUE(query.Execute(QZ_TEXT("SELECT Model, DeviceType FROM Win32_POTSModem")));
  EXPECT_FALSE(query.Next());
  ExpectNothingReadable(query, QZ_TEXT("Model"));
}

// Runs a query on a thread of its own in the given COM state and reports
// what the thread's COM state is afterwards, as CoInitializeEx answers.
struct ApartmentResult {
  bool ran = false;
  HRESULT afterClose = E_FAIL;      // CoInitializeEx(STA) right after the query
  HRESULT afterHostUninit = E_FAIL;  // the same once the host undid its own
};

ApartmentResult QueryOnThread(DWORD hostModel, bool hostInitialises) {
  ApartmentResult result;
  std::thread([&] {
    const HRESULT host = hostInitialises ? CoInitializeEx(nullptr, hostModel) : S_OK;
    EXPECT_EQ(S_OK, host);
    {
      WMIQuery query;
      result.ran = query.Execute(QZ_TEXT("SELECT Caption FROM Win32_OperatingSystem")) &&
                   query.Next();
    }  // the destructor closes
    result.afterClose = CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
    if (SUCCEEDED(result.afterClose)) CoUninitialize();
    if (hostInitialises) {
      CoUninitialize();
      result.afterHostUninit = CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
      if (SUCCEEDED(result.afterHostUninit)) CoUninitialize();
    }
  }).join();
  return result;
}

TEST(WMIQueryTest, CloseUndoesOnlyItsOwnComInitialisation) {
  // Nothing before: the query's own initialisation is gone afterwards.
  ApartmentResult fresh = QueryOnThread(0, false);
  EXPECT_TRUE(fresh.ran);
  EXPECT_EQ(S_OK, fresh.afterClose);

  // The host's single-threaded apartment: the query still runs, and the
  // apartment is still there (S_FALSE) until the host leaves it.
  ApartmentResult sta = QueryOnThread(COINIT_APARTMENTTHREADED, true);
  EXPECT_TRUE(sta.ran);
  EXPECT_EQ(S_FALSE, sta.afterClose);
  EXPECT_EQ(S_OK, sta.afterHostUninit);

  // The host's multithreaded apartment: the query's S_FALSE is balanced, the
  // host's initialisation stays in force until the host's own uninitialise.
  ApartmentResult mta = QueryOnThread(COINIT_MULTITHREADED, true);
  EXPECT_TRUE(mta.ran);
  EXPECT_EQ(RPC_E_CHANGED_MODE, mta.afterClose);
  EXPECT_EQ(S_OK, mta.afterHostUninit);
}

}  // namespace
}  // namespace qz
