// The Windows store: the search for its storage root among the shell's
// application-data folders, and its lock between senders.
#include <gtest/gtest.h>

#include <windows.h>
#include <shlobj.h>

#include "offline/OfflineTest.h"
#include "support/LogCapture.h"

namespace qz {
namespace {

using test::kCompany;
using test::LogCapture;
using test::NewStore;
using test::StorageFolder;
using test::U8;
namespace fs = std::filesystem;

// The shell folders of this test's own Wine prefix: made for it, thrown away with it.
TEST(Win32OfflineDataTest, StorageRootIsMadeInTheCommonApplicationData) {
  testhooks::StorageFolderFunction previous = testhooks::SetStorageFolderOverride(nullptr);
  StringBuf company;
  Platform::NewGUID(company);
  auto store = NewStore(true);
  store->ChangeCompanyID(company);
  StringBuf name;
  const bool made = store->CreateFileName(name, 1);
  testhooks::SetStorageFolderOverride(previous);

  wchar_t common[MAX_PATH];
  ASSERT_EQ(S_OK, SHGetFolderPathW(nullptr, CSIDL_COMMON_APPDATA, nullptr, SHGFP_TYPE_CURRENT, common));
  const fs::path storage = fs::path(common) / "Tessary Solutions" / "QZ Storage";
  ASSERT_TRUE(made);
  EXPECT_EQ(storage / U8(company), fs::path(name.ToString()).parent_path());
  std::error_code ignored;
  fs::remove_all(storage / U8(company), ignored);
  fs::remove(storage, ignored);  // only when empty: nothing else of ours is there
  fs::remove(storage.parent_path(), ignored);
}

TEST(Win32OfflineDataTest, AnUnusableCommonFolderGivesWayToTheLocalOne) {
  StorageFolder storage;
  const fs::path common = storage.Base() / "common";
  const fs::path local = storage.Base() / "local";
  fs::create_directories(common);
  fs::create_directories(local);
  test::WriteBytes(common / "Tessary Solutions", "in the way");
  storage.Redirect(CSIDL_COMMON_APPDATA, common);
  storage.Redirect(CSIDL_LOCAL_APPDATA, local);
  LogCapture log;
  StringBuf name;
  ASSERT_TRUE(NewStore(true)->CreateFileName(name, 1));
  EXPECT_EQ(local / "Tessary Solutions" / "QZ Storage" / U8(kCompany),
            fs::path(name.ToString()).parent_path());
  const std::string blocked = U8(test::PathText(common / "Tessary Solutions"));
  EXPECT_TRUE(log.Contains("Win32OfflineData::GetDir", blocked + " exists, but is not a directory"));
  EXPECT_TRUE(log.Contains("Win32OfflineData::GetStorageRoot", "Unable to get/create " + blocked))
      << log.Dump();

  storage.Redirect(CSIDL_LOCAL_APPDATA, fs::path());
  storage.Redirect(CSIDL_APPDATA, fs::path());
  log.Clear();
  EXPECT_FALSE(NewStore(true)->CreateFileName(name, 1));
  for (const char* failed : {"SHGetFolderPath(28) failed", "SHGetFolderPath(26) failed",
                             "Unable to get/create any storage root"}) {
    EXPECT_TRUE(log.Contains("Win32OfflineData::GetStorageRoot", failed)) << log.Dump();
  }
}

}  // namespace
}  // namespace qz
