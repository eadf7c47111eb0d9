// The stored-batch record byte for byte, the store's names and folders, and
// sending the oldest stored batch, through this system's store.
#include <gtest/gtest.h>

#include <chrono>

#include "offline/OfflineTest.h"
#include "support/LogCapture.h"

namespace qz {
namespace {

using test::kApplication;
using test::kCompany;
using test::kOtherApplication;
using test::LogCapture;
using test::NewStore;
using test::ReadBytes;
using test::RecordingTransmitter;
using test::StorageFolder;
using test::U8;
using test::WriteBytes;
namespace fs = std::filesystem;

std::string Bytes(std::initializer_list<int> values) {
  std::string bytes;
  for (int value : values) bytes.push_back(static_cast<char>(value));
  return bytes;
}

const uint64_t kTime = 1763408545000;  // 00000MI3JX1IG in base 36

class OfflineDataTest : public ::testing::Test {
 protected:
  fs::path AppRoot() const { return storage.AppRoot(kCompany); }
  // Writes a record of the writer's identity under the stored name of time.
  fs::path Stored(uint64_t time, const std::string& text, const QZChar* application = kApplication) {
    auto writer = NewStore(true, application);
    return test::StoreBatch(*writer, time, 1, text);
  }
  std::vector<std::string> Files(const std::string& suffix) const {
    return StorageFolder::Files(AppRoot(), suffix);
  }

  StorageFolder storage;
};

TEST_F(OfflineDataTest, RecordHasTheExactBytes) {
  auto store = NewStore(false);
  store->SetCompanyName(QZ_TEXT("A\u00e9"));  // é is two bytes of UTF-8
  const fs::path path = AppRoot() / "record";
  fs::create_directories(AppRoot());
  ASSERT_TRUE(store->Write(test::PathText(path).c_str(), kTime, 5, StringBuf(QZ_TEXT("<m/>"))));

  PlatformInfo platform;
  Platform::GetPlatformInfo(platform);
  const std::string name = U8(platform.name.ToString());
  const std::string empty = Bytes({0, 0, 0, 0});
  const std::string expected =
      Bytes({0x00, 0x06, 0x74, 0x71, 0x7A, 0x64, 0x61, 0x74}) + Bytes({0, 0, 0, 2}) +
      empty /* message group */ + Bytes({0x00, 0x00, 0x01, 0x9A, 0x93, 0x57, 0x04, 0xE8}) +
      Bytes({0, 0, 0, 36}) + U8(kCompany) + Bytes({0, 0, 0, 3}) + "A\xC3\xA9" +
      Bytes({0, 0, 0, 36}) + U8(kApplication) + empty + empty + empty + empty +
      Bytes({0, 0, 0, static_cast<int>(name.size())}) + name + Bytes({0, 0, 0, 3}) + "1.0" +
      Bytes({0, 0, 0, 3}) /* protocol */ + Bytes({0, 0, 0, 5}) /* count */ +
      Bytes({0, 0, 0, 4}) + "<m/>";
  EXPECT_EQ(expected, ReadBytes(path));
}

TEST_F(OfflineDataTest, RoundTripRestoresEveryField) {
  const fs::path path = Stored(kTime, "<m id=\"\xC3\xA9\xF0\x9F\x98\x80\"/>");
  auto reader = NewStore(false, kOtherApplication);
  reader->SetCompanyID(QZ_TEXT("other"));
  ASSERT_TRUE(reader->Read(test::PathText(path).c_str()));
  auto writer = NewStore(true);
  EXPECT_EQ(U8(writer->GetMessageGroup()), U8(reader->GetMessageGroup()));
  EXPECT_EQ(U8(kCompany), U8(reader->GetCompanyID()));
  EXPECT_EQ("Example & Sons", U8(reader->GetCompanyName()));
  EXPECT_EQ(U8(kApplication), U8(reader->GetApplicationID()));
  EXPECT_EQ("Editor", U8(reader->GetApplicationName()));
  EXPECT_EQ("2.1", U8(reader->GetApplicationVersion()));
  EXPECT_EQ("desktop", U8(reader->GetApplicationType()));
  EXPECT_EQ("instance-7", U8(reader->GetApplicationInstanceID()));
  EXPECT_EQ(kTime, reader->GetStoredTime());
  EXPECT_EQ(1u, reader->GetMessageCount());
  EXPECT_EQ(3u, reader->GetProtocol());
  EXPECT_EQ("<m id=\"\xC3\xA9\xF0\x9F\x98\x80\"/>", U8(reader->GetMessagesText()));
  StringBuf platform;
  EXPECT_NE(std::string::npos, U8(reader->GetPlatformText(platform)).find("/1.0 offline"));
}

TEST_F(OfflineDataTest, DamagedRecordsAreRejected) {
  const std::string record = ReadBytes(Stored(kTime, "<m/>"));
  const fs::path path = AppRoot() / "damaged";
  auto reader = NewStore(false);
  const test::QZString name = test::PathText(path);

  LogCapture log;
  WriteBytes(path, "\x00\x06tqzdaT" + record.substr(8));
  EXPECT_FALSE(reader->Read(name.c_str()));
  EXPECT_TRUE(log.Contains("OfflineData::Read", "Bad magic")) << log.Dump();
  std::string version3 = record;
  version3[11] = 3;
  WriteBytes(path, version3);
  EXPECT_FALSE(reader->Read(name.c_str()));
  EXPECT_TRUE(log.Contains("OfflineData::Read", "Unknown storage version")) << log.Dump();

  // Cut off anywhere, inside every field.
  for (size_t length = 0; length < record.size(); ++length) {
    WriteBytes(path, record.substr(0, length));
    EXPECT_FALSE(reader->Read(name.c_str())) << "cut at " << length;
  }
  // A corrupt length far beyond the file fails at the short read.
  std::string huge = record.substr(0, record.size() - 8) + Bytes({0x0F, 0xFF, 0xFF, 0xFF}) + "<m/>";
  WriteBytes(path, huge);
  EXPECT_FALSE(reader->Read(name.c_str()));
  WriteBytes(path, record);
  EXPECT_TRUE(reader->Read(name.c_str()));
}

TEST_F(OfflineDataTest, SendNextPostsTheOldestUnderItsOwnIdentityAndDeletesIt) {
  Stored(kTime, "<m id=\"A\"/>\n", kApplication);
  Stored(kTime - 1, "<m id=\"B\"/>\n", kOtherApplication);  // 00000MI3JX1IF: older
  auto sender = NewStore(false);
  RecordingTransmitter transmitter;

  ASSERT_EQ(OfflineData::kSent, sender->SendNext(transmitter));
  ASSERT_EQ(1u, transmitter.requests.size());
  const RecordingTransmitter::Request& first = transmitter.requests[0];
  EXPECT_EQ(U8(kOtherApplication), first.application);
  EXPECT_EQ(U8(kCompany), first.company);
  EXPECT_EQ("D23F0824-128B-4F33-8C5C-7FD0A6A3A450", first.group);
  PlatformInfo platform;
  Platform::GetPlatformInfo(platform);
  EXPECT_EQ(U8(platform.name.ToString()) + "/1.0 offline", first.platform);
  // The stored envelope: no agent attributes; the record's identity; the messages unchanged.
  const std::string& body = first.body;
  EXPECT_EQ(0u, body.find("<messages xmlns:xsi=\"http://www.w3.org/2001/XMLSchema-instance\" "
                          "xsi:noNamespaceSchemaLocation=\"http://"))
      << body;
  EXPECT_TRUE(std::regex_search(
      body, std::regex("/services/messaging\" protocol=\"3\" id=\"[0-9A-F-]{36}\" "
                       "message-group=\"D23F0824-128B-4F33-8C5C-7FD0A6A3A450\" sent=\"[0-9T:.-]+Z\">\n"
                       "<company id=\"" + U8(kCompany) + "\" name=\"Example &amp; Sons\"/>\n"
                       "<application id=\"" + U8(kOtherApplication) +
                       "\" name=\"Editor\" version=\"2.1\" type=\"desktop\" instance=\"instance-7\"/>\n"
                       "<m id=\"B\"/>\n</messages>\n$")))
      << body;
  EXPECT_EQ(std::string::npos, body.find("agent-"));
  // Its own identity is back for the next search.
  EXPECT_EQ(U8(kApplication), U8(sender->GetApplicationID()));
  EXPECT_EQ(std::vector<std::string>{"00000MI3JX1IG-" + U8(kApplication) + ".QZ"}, Files(".QZ"));

  ASSERT_EQ(OfflineData::kSent, sender->SendNext(transmitter));
  EXPECT_EQ(U8(kApplication), transmitter.requests[1].application);
  EXPECT_EQ(OfflineData::kNothingStored, sender->SendNext(transmitter));
  EXPECT_TRUE(Files(".QZ").empty() && Files(".tmp").empty());
  // No lock is left held: another store finds the folder empty, not locked.
  EXPECT_EQ(OfflineData::kNothingStored, NewStore(false)->SendNext(transmitter));
}

TEST_F(OfflineDataTest, ALockHeldElsewhereMakesSendNextWaitSilently) {
  const fs::path stored = Stored(kTime, "<m/>");
  RecordingTransmitter transmitter;
  {
    test::HeldQueueLock held(AppRoot());
    ASSERT_TRUE(held.IsHeld());
    LogCapture log;
    EXPECT_EQ(OfflineData::kLocked, NewStore(false)->SendNext(transmitter));
    EXPECT_TRUE(log.Entries().empty()) << log.Dump();
    EXPECT_TRUE(fs::exists(stored));
  }
  EXPECT_EQ(OfflineData::kSent, NewStore(false)->SendNext(transmitter));
}

TEST_F(OfflineDataTest, AFailedPostPutsTheBatchBackForTheNextCall) {
  const fs::path stored = Stored(kTime, "<m/>");
  auto sender = NewStore(false);
  RecordingTransmitter transmitter;
  transmitter.succeed = false;
  EXPECT_EQ(OfflineData::kBatchFailed, sender->SendNext(transmitter));
  EXPECT_EQ(std::vector<std::string>{stored.filename().string()}, Files(".QZ"));
  transmitter.succeed = true;
  EXPECT_EQ(OfflineData::kSent, sender->SendNext(transmitter));
  EXPECT_EQ(2u, transmitter.requests.size());
  EXPECT_TRUE(Files(".QZ").empty());
}

TEST_F(OfflineDataTest, AForeignFileIsClaimedLoggedAndLeftWhileTheNextIsSent) {
  Stored(kTime, "<m/>");
  WriteBytes(AppRoot() / "0000000000000-foreign.QZ", "not a stored batch at all");
  auto sender = NewStore(false);
  RecordingTransmitter transmitter;
  LogCapture log;
  EXPECT_EQ(OfflineData::kBatchFailed, sender->SendNext(transmitter));
  EXPECT_TRUE(log.Contains("OfflineData::Read", "Bad magic")) << log.Dump();
  ASSERT_EQ(1u, Files(".tmp").size());
  EXPECT_EQ("not a stored batch at all", ReadBytes(AppRoot() / Files(".tmp")[0]));
  EXPECT_EQ(OfflineData::kSent, sender->SendNext(transmitter));
  EXPECT_EQ(OfflineData::kNothingStored, sender->SendNext(transmitter));
  EXPECT_EQ(1u, transmitter.requests.size());
  EXPECT_EQ(1u, Files(".tmp").size());
}

TEST_F(OfflineDataTest, AClaimLeftByADeadSenderIsSentLaterWhileOtherTemporariesStay) {
  const std::string record = ReadBytes(Stored(kTime, "<m id=\"claimed\"/>"));
  fs::remove(AppRoot() / ("00000MI3JX1IG-" + U8(kApplication) + ".QZ"));
  std::string foreignIdentity = record;
  foreignIdentity.replace(foreignIdentity.find(U8(kApplication)), 36, std::string(36, '.'));
  const std::vector<std::pair<std::string, std::string>> files = {
      {"QZclaimed.tmp", record},                       // complete, stale: taken back
      {"QZpartial.tmp", record.substr(0, 60)},         // a writer died: left alone
      {"QZforeign.tmp", "not a stored batch at all"},  // failed to read once: left alone
      {"QZbadname.tmp", foreignIdentity},              // its name would leave the folder
      {"QZrecent.tmp", record}};                       // may be a post in flight
  const auto stale = fs::file_time_type::clock::now() - std::chrono::hours(3);
  for (const auto& file : files) {
    WriteBytes(AppRoot() / file.first, file.second);
    if (file.first != "QZrecent.tmp") fs::last_write_time(AppRoot() / file.first, stale);
  }

  auto sender = NewStore(false);
  RecordingTransmitter transmitter;
  LogCapture log;
  ASSERT_EQ(OfflineData::kSent, sender->SendNext(transmitter));
  EXPECT_EQ(std::vector<std::string>{"claimed"}, test::MessageIds(transmitter.requests[0].body));
  EXPECT_EQ(1, log.Count("OfflineData::RestoreAbandoned",
                         "Restored abandoned batch " +
                             U8(test::PathText(AppRoot() / ("00000MI3JX1IG-" +
                                                            U8(kApplication) + ".QZ")))))
      << log.Dump();
  EXPECT_EQ(OfflineData::kNothingStored, sender->SendNext(transmitter));
  const std::vector<std::string> left = {"QZbadname.tmp", "QZforeign.tmp", "QZpartial.tmp",
                                         "QZrecent.tmp"};
  EXPECT_EQ(left, Files(".tmp"));
}

// Every name a sender may try to claim: FIFOs, folders and links named like
// the oldest batches block nothing, are logged once, and stay where they were.
TEST_F(OfflineDataTest, WhatIsNotARegularFileIsPassedOverOnceAndBlocksNothing) {
  for (uint64_t i = 0; i < 3; ++i) Stored(kTime + i, "<m id=\"" + std::to_string(i) + "\"/>");
  const std::string app = "-" + U8(kApplication) + ".QZ";
  const std::vector<std::string> planted = {"0000000000000" + app, "0000000000001" + app,
                                            "0000000000002" + app};
  const test::PlantedNonFiles plant(AppRoot(), planted[0], planted[1], planted[2]);
  if (!plant.IsPlanted()) GTEST_SKIP() << "no FIFOs or links can be made here";
  RecordingTransmitter transmitter;
  LogCapture log;
  for (int round = 0; round < 2; ++round) {
    // A new store, as a new run of the process would make.
    auto sender = NewStore(false);
    while (sender->SendNext(transmitter) == OfflineData::kSent) {
    }
    EXPECT_EQ(OfflineData::kNothingStored, sender->SendNext(transmitter));
  }
  ASSERT_EQ(3u, transmitter.requests.size());
  for (size_t i = 0; i < 3; ++i) {
    EXPECT_EQ(std::vector<std::string>{std::to_string(i)}, test::MessageIds(transmitter.requests[i].body));
  }
  EXPECT_EQ(planted, Files(".QZ"));
  for (const std::string& name : planted) {
    EXPECT_EQ(1, log.Count("OfflineData::SendNext",
                           "Not a regular file, passed over: " + U8(test::PathText(AppRoot() / name))))
        << log.Dump();
  }
}

// Answers 400 to the posts of the batch whose text holds "refused", 204 to the others.
int32_t RefuseOne(const std::string& body) {
  return body.find("refused") != std::string::npos ? 400 : 204;
}

TEST_F(OfflineDataTest, ARefusedBatchGoesBehindTheOthersAndAsideAfterItsThirdRefusal) {
  Stored(kTime, "<m id=\"refused\"/>");
  Stored(kTime + 1, "<m id=\"a\"/>");
  Stored(kTime + 2, "<m id=\"b\"/>");
  auto sender = NewStore(false);
  RecordingTransmitter transmitter;
  transmitter.statusFor = &RefuseOne;
  LogCapture log;
  std::vector<int32_t> results;
  for (int32_t result = 0; result != OfflineData::kNothingStored;) {
    results.push_back(result = sender->SendNext(transmitter));
    ASSERT_LT(results.size(), 10u);
  }
  const std::vector<int32_t> expected = {OfflineData::kRefused, OfflineData::kSent,
                                         OfflineData::kSent,    OfflineData::kRefused,
                                         OfflineData::kRefused, OfflineData::kNothingStored};
  EXPECT_EQ(expected, results);
  std::vector<std::string> posted;
  for (const auto& request : transmitter.requests) posted.push_back(test::MessageIds(request.body)[0]);
  EXPECT_EQ((std::vector<std::string>{"refused", "a", "b", "refused", "refused"}), posted);
  // Aside under its stored time, where renaming it back puts it first again.
  const std::string aside = "00000MI3JX1IG-" + U8(kApplication) + ".QZ.refused";
  EXPECT_EQ(std::vector<std::string>{aside}, Files(".refused"));
  EXPECT_TRUE(Files(".QZ").empty() && Files(".tmp").empty());
  EXPECT_EQ(1, log.Count("OfflineData::SendNext",
                         "Set aside a batch of 1 messages refused 3 times: " +
                             U8(test::PathText(AppRoot() / aside))))
      << log.Dump();

  fs::rename(AppRoot() / aside, AppRoot() / ("00000MI3JX1IG-" + U8(kApplication) + ".QZ"));
  transmitter.statusFor = nullptr;
  EXPECT_EQ(OfflineData::kSent, NewStore(false)->SendNext(transmitter));
  EXPECT_EQ(std::vector<std::string>{"refused"}, test::MessageIds(transmitter.requests.back().body));
}

TEST_F(OfflineDataTest, OnlyAnswersAboutTheBatchItselfRefuseIt) {
  const fs::path stored = Stored(kTime, "<m/>");
  Stored(kTime + 1, "<m id=\"next\"/>");
  RecordingTransmitter transmitter;
  // Not refusals: the endpoint is away, busy, or wrongly configured; the batch stays the oldest.
  for (int32_t status : {0, 301, 401, 404, 408, 429, 500, 503}) {
    transmitter.statusFor = [status](const std::string&) { return status; };
    EXPECT_EQ(OfflineData::kBatchFailed, NewStore(false)->SendNext(transmitter)) << status;
    EXPECT_TRUE(fs::exists(stored)) << status;
  }
  for (int32_t status : {413, 415}) {
    Stored(kTime - 1, "<m id=\"" + std::to_string(status) + "\"/>");
    transmitter.statusFor = [status](const std::string&) { return status; };
    EXPECT_EQ(OfflineData::kRefused, NewStore(false)->SendNext(transmitter)) << status;
  }
  EXPECT_TRUE(fs::exists(stored));
  EXPECT_EQ(2u, Files(".r1.QZ").size());
}

TEST_F(OfflineDataTest, TheLimitDropsSetAsideBatchesFirstThenTheOldest) {
  auto writer = NewStore(true);
  const uint64_t size = fs::file_size(test::StoreBatch(*writer, kTime, 2, "<m id=\"0\"/><m/>"));
  // A little smaller: one message fewer.
  fs::rename(Stored(kTime - 9, "<m/>"), AppRoot() / "00000MI3JX1I0-aside.QZ.refused");
  const uint64_t limit = 3 * size + size / 2;
  writer->SetStorageLimit(limit);
  LogCapture log;
  for (uint64_t i = 1; i < 4; ++i) {
    ASSERT_FALSE(test::StoreBatch(*writer, kTime + i, 2, "<m id=\"" + std::to_string(i) + "\"/><m/>").empty());
    EXPECT_LE(test::FolderBytes(AppRoot()), limit) << i;
  }
  // The set-aside batch went at the second store, the oldest stored one at the third.
  EXPECT_TRUE(Files(".refused").empty());
  EXPECT_EQ(3u, Files(".QZ").size());
  EXPECT_EQ(1, log.Count("OfflineData::MakeRoom", "Dropped 1 stored messages (limit)")) << log.Dump();
  EXPECT_EQ(1, log.Count("OfflineData::MakeRoom", "Dropped 2 stored messages (limit)"));
  EXPECT_EQ(2u, log.Entries().size());
  RecordingTransmitter transmitter;
  ASSERT_EQ(OfflineData::kSent, NewStore(false)->SendNext(transmitter));
  EXPECT_EQ(std::vector<std::string>{"1"}, test::MessageIds(transmitter.requests[0].body));

  // A batch that could not fit even alone drops itself, and nothing else.
  writer->SetStorageLimit(size / 2);
  log.Clear();
  EXPECT_TRUE(test::StoreBatch(*writer, kTime + 9, 7, "<m/>").empty());
  EXPECT_EQ(2u, Files(".QZ").size());
  EXPECT_TRUE(Files(".tmp").empty());
  EXPECT_EQ(1, log.Count("OfflineData::MakeRoom", "Dropped 7 stored messages (limit)")) << log.Dump();
}

}  // namespace
}  // namespace qz
