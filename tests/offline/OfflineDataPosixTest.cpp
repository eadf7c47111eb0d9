// The Linux store: where its folders go and with which modes, its lock
// between processes, and stored batches surviving processes killed at random.
#include <gtest/gtest.h>

#include <fcntl.h>
#include <poll.h>
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

// Says when it starts on the pipe, then stores and claims without end, until killed.
[[noreturn]] void StoreAndClaim(int first, const fs::path& posted, int ready) {
  auto writer = NewStore(true);
  auto sender = NewStore(false);
  FileTransmitter transmitter(posted);
  const char started = 1;
  if (write(ready, &started, 1) != 1) _exit(1);
  for (int i = 0;; ++i) {
    test::StoreBatch(*writer, static_cast<uint64_t>(first + i), 1,
                     "<m id=\"" + std::to_string(first + i) + "\"/>");
    sender->SendNext(transmitter);
  }
}

TEST(PosixOfflineDataTest, ProcessesKilledAtRandomNeitherTearNorLoseAStoredBatch) {
  // A killed process loses nothing it wrote, synced or not, so files in
  // memory serve as well and keep the many stores and claims quick.
  const fs::path memory = "/dev/shm";
  StorageFolder storage(fs::is_directory(memory) ? memory : fs::temp_directory_path(),
                        StorageFolder::Use::kFresh);
  const fs::path appRoot = storage.AppRoot(kCompany);
  const fs::path posted = storage.Base() / "posted";
  auto reader = NewStore(false);
  std::set<std::string> complete;  // seen whole under a stored name between kills
  int torn = 0;
  int kills = 0;
  int ready[2];
  ASSERT_EQ(0, pipe(ready));
  std::mt19937 random(static_cast<unsigned>(std::chrono::steady_clock::now().time_since_epoch().count()));
  // Kills land anywhere in a child's first few stores and claims, a span
  // measured on the first children: sanitizers slow a process down a lot.
  // Two children at a time, so that claims also race each other.
  int64_t span = 0;
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(50);
  for (; kills < 220 && std::chrono::steady_clock::now() < deadline; kills += 2) {
    pid_t children[2];
    for (int c = 0; c < 2; ++c) {
      children[c] = fork();
      if (children[c] == 0) StoreAndClaim((kills + c) * 10000, posted, ready[1]);
    }
    char bytes[2];
    size_t started = 0;
    for (pollfd wait = {ready[0], POLLIN, 0}; started < 2 && poll(&wait, 1, 10000) == 1;) {
      const ssize_t n = read(ready[0], bytes, 2 - started);
      if (n <= 0) break;
      started += static_cast<size_t>(n);
    }
    const auto begin = std::chrono::steady_clock::now();
    int64_t at[2] = {0, 0};
    if (span == 0) {
      test::WaitFor([&] { return !StorageFolder::Files(appRoot, ".QZ").empty(); }, 10000);
      span = 2 * std::chrono::duration_cast<std::chrono::microseconds>(
                     std::chrono::steady_clock::now() - begin).count() + 1;
    } else {
      at[0] = static_cast<int64_t>(random() % span);
      at[1] = static_cast<int64_t>(random() % span);
    }
    for (int c : {at[0] <= at[1] ? 0 : 1, at[0] <= at[1] ? 1 : 0}) {
      std::this_thread::sleep_until(begin + std::chrono::microseconds(at[c]));
      if (children[c] > 0) kill(children[c], SIGKILL);
    }
    for (pid_t child : children) {
      if (child > 0) waitpid(child, nullptr, 0);
    }
    ASSERT_TRUE(children[0] > 0 && children[1] > 0 && started == 2);
    for (const std::string& name : StorageFolder::Files(appRoot, ".QZ")) {
      if (!reader->Read(test::PathText(appRoot / name).c_str())) {
        ++torn;
        continue;
      }
      for (const std::string& id : test::MessageIds(U8(reader->GetMessagesText()))) complete.insert(id);
    }
  }
  close(ready[0]);
  close(ready[1]);
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
