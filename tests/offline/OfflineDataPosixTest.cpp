// The Linux store: where its folders go and with which modes, its lock
// between processes, and stored batches surviving processes killed at random.
#include <gtest/gtest.h>

#include <fcntl.h>
#include <signal.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <random>
#include <set>
#include <sstream>
#include <thread>

#include "offline/OfflineTest.h"
#include "offline/PosixOfflineData.h"
#include "support/LogCapture.h"

namespace qz {
namespace {

using test::kCompany;
using test::LogCapture;
using test::NewStore;
using test::StorageFolder;
using test::U8;
namespace fs = std::filesystem;

mode_t Mode(const fs::path& path) {
  struct stat info;
  return stat(path.c_str(), &info) == 0 ? (info.st_mode & 07777) : 0;
}

TEST(PosixOfflineDataTest, UserDataFolderFollowsTheDesktopConventions) {
  struct Case {
    const char* xdg;
    const char* home;
    std::string expected;
  };
  for (const Case& c : {Case{"/data/alice", "/home/alice", "/data/alice"},
                        Case{"relative/data", "/home/alice", "/home/alice/.local/share"},
                        Case{nullptr, "/home/alice/", "/home/alice/.local/share"},
                        Case{"", nullptr, ""}}) {
    EXPECT_EQ(c.expected, PosixOfflineData::UserDataFolder(c.xdg, c.home))
        << (c.xdg ? c.xdg : "(null)");
  }
}

TEST(PosixOfflineDataTest, SharedMachineFolderFirstElseAPrivateUserFolder) {
  StorageFolder storage;
  const fs::path machine = storage.Base() / "machine";
  const fs::path user = storage.Base() / "user";
  fs::create_directories(machine);
  fs::create_directories(user);
  storage.Redirect(PosixOfflineData::kMachineFolder, machine);
  storage.Redirect(PosixOfflineData::kUserFolder, user);

  // Every user's sender claims every user's batches there.
  const fs::path shared = test::StoreBatch(*NewStore(true), 1, 1, "<m/>");
  ASSERT_EQ(machine / "Tessary Solutions" / "QZ Storage" / U8(kCompany), shared.parent_path());
  for (fs::path folder = shared.parent_path(); folder != machine; folder = folder.parent_path()) {
    EXPECT_EQ(0777u, Mode(folder)) << folder;
  }
  EXPECT_EQ(0644u, Mode(shared));

  // Where the machine folder cannot be used, the user's own serves.
  fs::remove_all(machine / "Tessary Solutions");
  test::WriteBytes(machine / "Tessary Solutions", "in the way");
  LogCapture log;
  const fs::path own = test::StoreBatch(*NewStore(true), 2, 1, "<m/>");
  ASSERT_EQ(user / "Tessary Solutions" / "QZ Storage" / U8(kCompany), own.parent_path());
  EXPECT_TRUE(log.Contains("PosixOfflineData::GetStorageRoot",
                           "Unable to get/create " + (machine / "Tessary Solutions").string()))
      << log.Dump();
  for (fs::path folder = own.parent_path(); folder != user; folder = folder.parent_path()) {
    EXPECT_EQ(0700u, Mode(folder)) << folder;
  }
  EXPECT_EQ(0600u, Mode(own));

  // Nowhere at all: nothing can be named.
  storage.Redirect(PosixOfflineData::kUserFolder, fs::path());
  StringBuf name;
  EXPECT_FALSE(NewStore(true)->CreateFileName(name, 3));
  EXPECT_TRUE(log.Contains("PosixOfflineData::GetStorageRoot", "Unable to get/create any storage root"));
}

// Records the ids of what it posts in a file that outlives the process.
class FileTransmitter : public XMLTransmitter {
 public:
  explicit FileTransmitter(const fs::path& path) : XMLTransmitter(Configuration()), path_(path) {}
  bool Post(const StringBuf&, const StringBuf&, const StringBuf&, const StringBuf&,
            const StringBuf& body) override {
    std::string lines;
    for (const std::string& id : test::MessageIds(U8(body))) lines += id + "\n";
    const int file = open(path_.c_str(), O_WRONLY | O_APPEND | O_CREAT, 0600);
    const bool ok = file >= 0 && write(file, lines.data(), lines.size()) == ssize_t(lines.size());
    if (file >= 0) close(file);
    return ok;
  }

 private:
  fs::path path_;
};

// Stores and claims without end, until killed.
[[noreturn]] void StoreAndClaim(int first, const fs::path& posted) {
  auto writer = NewStore(true);
  auto sender = NewStore(false);
  FileTransmitter transmitter(posted);
  for (int i = 0;; ++i) {
    test::StoreBatch(*writer, static_cast<uint64_t>(first + i), 1,
                     "<m id=\"" + std::to_string(first + i) + "\"/>");
    sender->SendNext(transmitter);
  }
}

TEST(PosixOfflineDataTest, ProcessesKilledAtRandomNeitherTearNorLoseAStoredBatch) {
  StorageFolder storage;
  const fs::path appRoot = storage.AppRoot(kCompany);
  const fs::path posted = storage.Base() / "posted";
  auto reader = NewStore(false);
  std::set<std::string> complete;  // seen whole under a stored name between kills
  int torn = 0;
  int kills = 0;
  std::mt19937 random(static_cast<unsigned>(std::chrono::steady_clock::now().time_since_epoch().count()));
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(45);
  for (; kills < 250 && std::chrono::steady_clock::now() < deadline; ++kills) {
    const pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0) StoreAndClaim(kills * 10000, posted);
    std::this_thread::sleep_for(std::chrono::microseconds(random() % 12000));
    kill(child, SIGKILL);
    waitpid(child, nullptr, 0);
    for (const std::string& name : StorageFolder::Files(appRoot, ".QZ")) {
      if (!reader->Read(test::PathText(appRoot / name).c_str())) {
        ++torn;
        continue;
      }
      for (const std::string& id : test::MessageIds(U8(reader->GetMessagesText()))) complete.insert(id);
    }
  }
  EXPECT_GE(kills, 200);
  EXPECT_EQ(0, torn);

  // Long after: every claim a killed sender left behind is stale.
  const auto stale = fs::file_time_type::clock::now() - std::chrono::hours(3);
  for (const std::string& name : StorageFolder::Files(appRoot, ".tmp")) {
    fs::last_write_time(appRoot / name, stale);
  }
  FileTransmitter transmitter(posted);
  auto sender = NewStore(false);
  int32_t result = OfflineData::kSent;
  for (int i = 0; i < 100000 && result == OfflineData::kSent; ++i) result = sender->SendNext(transmitter);
  EXPECT_EQ(OfflineData::kNothingStored, result);

  std::set<std::string> sent;
  std::istringstream lines(test::ReadBytes(posted));
  for (std::string id; std::getline(lines, id);) sent.insert(id);
  int lost = 0;
  for (const std::string& id : complete) lost += sent.count(id) == 0;
  EXPECT_EQ(0, lost) << "of " << complete.size() << " batches seen stored";
  EXPECT_FALSE(complete.empty());
}

}  // namespace
}  // namespace qz
