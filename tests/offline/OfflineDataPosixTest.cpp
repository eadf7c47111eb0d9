// The Linux store: where its folders go and with which modes, what it opens,
// its users kept apart, its lock between processes, and stored batches
// surviving processes killed at random.
#include <gtest/gtest.h>

#include <dirent.h>
#include <fcntl.h>
#include <grp.h>
#include <poll.h>
#include <signal.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <functional>
#include <future>
#include <map>
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

TEST(PosixOfflineDataTest, TheMachineFolderServesOnlyWhenAnAdministratorMadeItSafe) {
  StorageFolder storage;
  const fs::path machine = storage.Base() / "machine";
  const fs::path user = storage.Base() / "user";
  fs::create_directories(machine);
  fs::create_directories(user);
  storage.Redirect(PosixOfflineData::kMachineFolder, machine);
  storage.Redirect(PosixOfflineData::kUserFolder, user);
  const fs::path machineRoot = machine / "Tessary Solutions" / "QZ Storage";
  const fs::path userRoot = user / "Tessary Solutions" / "QZ Storage";
  const std::string source = "PosixOfflineData::GetStorageRoot";

  // Nobody made it: the user's own folder serves, everything in it private,
  // and nothing is made in the machine's.
  const fs::path own = test::StoreBatch(*NewStore(true), 1, 1, "<m/>");
  ASSERT_EQ(userRoot / U8(kCompany), own.parent_path());
  for (fs::path folder = own.parent_path(); folder != user; folder = folder.parent_path()) {
    EXPECT_EQ(0700u, Mode(folder)) << folder;
  }
  EXPECT_EQ(0600u, Mode(own));
  test::RecordingTransmitter transmitter;
  EXPECT_EQ(OfflineData::kSent, NewStore(false)->SendNext(transmitter));
  EXPECT_EQ(0600u, Mode(own.parent_path() / "q.lck"));
  EXPECT_FALSE(fs::exists(machine / "Tessary Solutions"));

  // Made by an administrator (here this user) and closed to others: it serves.
  fs::create_directories(machineRoot);
  fs::permissions(machine / "Tessary Solutions", fs::perms(0755));
  fs::permissions(machineRoot, fs::perms(0755));
  const fs::path shared = test::StoreBatch(*NewStore(true), 2, 1, "<m/>");
  ASSERT_EQ(machineRoot / U8(kCompany), shared.parent_path());
  EXPECT_EQ(0700u, Mode(shared.parent_path()));
  EXPECT_EQ(0600u, Mode(shared));

  // Anything else is not used, said once per folder.
  LogCapture log;
  auto storedIn = [](uint64_t time) { return test::StoreBatch(*NewStore(true), time, 1, "<m/>").parent_path(); };
  fs::permissions(machineRoot, fs::perms(0777));
  EXPECT_EQ(userRoot / U8(kCompany), storedIn(3));
  EXPECT_EQ(userRoot / U8(kCompany), storedIn(4));
  EXPECT_EQ(1, log.Count(source, "Not using " + machineRoot.string() + ": writable by others")) << log.Dump();
  fs::permissions(machineRoot, fs::perms(0755));
  fs::permissions(machineRoot / U8(kCompany), fs::perms(0770));
  EXPECT_EQ(userRoot / U8(kCompany), storedIn(5));
  EXPECT_EQ(1, log.Count(source, "Not using " + (machineRoot / U8(kCompany)).string() +
                                     ": writable by others"));
  fs::permissions(machineRoot / U8(kCompany), fs::perms(0700));
  fs::rename(machine / "Tessary Solutions", machine / "elsewhere");
  fs::create_directory_symlink(machine / "elsewhere", machine / "Tessary Solutions");
  EXPECT_EQ(userRoot / U8(kCompany), storedIn(6));
  EXPECT_EQ(1, log.Count(source, "Not using " + (machine / "Tessary Solutions").string() + ": not a folder"));
  fs::permissions(userRoot, fs::perms(0777));
  StringBuf name;
  EXPECT_FALSE(NewStore(true)->CreateFileName(name, 7));
  EXPECT_TRUE(log.Contains(source, "Unable to get/create any storage root")) << log.Dump();
}

// Runs body, which may open the FIFOs of folder, on a thread of its own;
// false when it had not returned after seconds. Every FIFO there is then
// opened at both ends, which lets an open that waits for the other end go.
bool ReturnsWithin(int seconds, const fs::path& folder, const std::function<void()>& body) {
  std::promise<void> done;
  std::future<void> finished = done.get_future();
  std::thread runner([&] {
    body();
    done.set_value();
  });
  const bool returned = finished.wait_for(std::chrono::seconds(seconds)) == std::future_status::ready;
  // Kept open until the end, so that what a released writer writes does not raise SIGPIPE.
  std::vector<int> readers;
  while (finished.wait_for(std::chrono::milliseconds(10)) != std::future_status::ready) {
    std::error_code error;
    for (const auto& entry : fs::directory_iterator(folder, error)) {
      if (!entry.is_fifo(error)) continue;
      const int reader = open(entry.path().c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
      if (reader >= 0) readers.push_back(reader);
      const int writer = open(entry.path().c_str(), O_WRONLY | O_NONBLOCK | O_CLOEXEC);
      if (writer >= 0) close(writer);
    }
  }
  runner.join();
  for (int reader : readers) close(reader);
  return returned;
}

TEST(PosixOfflineDataTest, NoFifoOrLinkMakesAnOpenWaitOrLeadsElsewhere) {
  StorageFolder storage;
  const fs::path appRoot = storage.AppRoot(kCompany);
  auto writer = NewStore(true);
  test::StoreBatch(*writer, 1, 1, "<m id=\"a\"/>");
  const fs::path second = test::StoreBatch(*writer, 2, 1, "<m id=\"b\"/>");
  const fs::path fifo = appRoot / "fifo";
  const fs::path link = appRoot / "link";
  ASSERT_EQ(0, mkfifo(fifo.c_str(), 0600));
  ASSERT_EQ(0, symlink(second.c_str(), link.c_str()));
  auto sender = NewStore(false);
  test::RecordingTransmitter transmitter;
  LogCapture log;
  int32_t sent = 0;
  int32_t afterSwap = 0;
  int32_t locked = 0;
  const bool returned = ReturnsWithin(20, appRoot, [&] {
    for (const fs::path& path : {fifo, link}) {
      EXPECT_FALSE(writer->Read(test::PathText(path).c_str())) << path;
      EXPECT_FALSE(writer->Write(test::PathText(path).c_str(), 1, 1, StringBuf(QZ_TEXT("<m/>")))) << path;
    }
    // Replaced by a FIFO after the search that found it: passed over, and put back.
    sent = sender->SendNext(transmitter);
    fs::remove(second);
    mkfifo(second.c_str(), 0600);
    afterSwap = sender->SendNext(transmitter);
    // A lock file that is a FIFO blocks no sender either.
    fs::remove(appRoot / "q.lck");
    mkfifo((appRoot / "q.lck").c_str(), 0600);
    test::StoreBatch(*writer, 3, 1, "<m id=\"c\"/>");
    locked = NewStore(false)->SendNext(transmitter);
  });
  EXPECT_TRUE(returned) << "an open waited for the other end of a FIFO";
  EXPECT_EQ(2, log.Count("OfflineData::Read", "Not a regular file")) << log.Dump();
  EXPECT_EQ(2, log.Count("OfflineData::Write", "Not a regular file"));
  EXPECT_TRUE(fs::is_fifo(fifo) && fs::is_symlink(link) && fs::exists(second));
  EXPECT_EQ(OfflineData::kSent, sent);
  EXPECT_EQ(OfflineData::kNothingStored, afterSwap);
  EXPECT_TRUE(fs::is_fifo(second));
  EXPECT_EQ(1, log.Count("OfflineData::SendNext", "Not a regular file, passed over: " + second.string()));
  EXPECT_EQ(OfflineData::kLocked, locked);
  EXPECT_TRUE(log.Contains("PosixOfflineData::GetQueueLock", "Failed to create lock file in " + appRoot.string()));
  EXPECT_EQ(1u, transmitter.requests.size());
}

// Runs body in a child process as the user and group uid, without other
// groups: its exit code, or -1 when it did not end within a minute.
int AsUser(uid_t uid, const std::function<int()>& body) {
  const pid_t child = fork();
  if (child < 0) return -1;
  if (child == 0) {
    if (setgroups(0, nullptr) != 0 || setresgid(uid, uid, uid) != 0 || setresuid(uid, uid, uid) != 0) {
      _exit(125);
    }
    _exit(body());
  }
  int status = 0;
  const bool ended = test::WaitFor([&] { return waitpid(child, &status, WNOHANG) == child; }, 60000);
  if (!ended) {
    kill(child, SIGKILL);
    waitpid(child, &status, 0);
    return -1;
  }
  return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

// As another user: every attempt to read, alter, replace, list or block the
// batch at record and its folder fails. A bit for each attempt that did not.
int Attack(const fs::path& record) {
  const fs::path folder = record.parent_path();
  int succeeded = 0;
  const int reader = open(record.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
  if (reader >= 0) {
    succeeded |= 1;
    close(reader);
  }
  const int writer = open(record.c_str(), O_WRONLY | O_NONBLOCK | O_CLOEXEC);
  if (writer >= 0) {
    succeeded |= 2;
    close(writer);
  }
  if (unlink(record.c_str()) == 0) succeeded |= 4;
  if (rename(record.c_str(), (folder / "0000000000000-x.QZ").c_str()) == 0) succeeded |= 8;
  if (mkfifo((folder / "0000000000000-y.QZ").c_str(), 0666) == 0) succeeded |= 16;
  if (DIR* listing = opendir(folder.c_str())) {
    succeeded |= 32;
    closedir(listing);
  }
  return succeeded;
}

TEST(PosixOfflineDataTest, TwoUsersCannotReadOrAlterEachOthersBatches) {
  if (geteuid() != 0) GTEST_SKIP() << "needs root, to act as two other users";
  const uid_t alice = 65534;
  const uid_t bob = 65533;
  StorageFolder storage;
  const fs::path machine = storage.Base() / "machine";
  const fs::path machineRoot = machine / "Tessary Solutions" / "QZ Storage";
  const fs::path alicesShare = machineRoot / U8(kCompany);
  // A service's storage as its administrator sets it up, for alice.
  fs::create_directories(alicesShare);
  for (const fs::path& folder : {storage.Base(), machine, machineRoot.parent_path(), machineRoot}) {
    fs::permissions(folder, fs::perms(0755));
  }
  ASSERT_EQ(0, chown(alicesShare.c_str(), alice, alice));
  fs::permissions(alicesShare, fs::perms(0700));
  std::map<uid_t, fs::path> home;
  for (uid_t user : {alice, bob}) {
    home[user] = storage.Base() / std::to_string(user);
    fs::create_directory(home[user]);
    ASSERT_EQ(0, chown(home[user].c_str(), user, user));
    fs::permissions(home[user], fs::perms(0700));
  }
  const fs::path bobsOwn = home[bob] / "Tessary Solutions" / "QZ Storage" / U8(kCompany);
  auto use = [&](uid_t user) {
    storage.Redirect(PosixOfflineData::kMachineFolder, machine);
    storage.Redirect(PosixOfflineData::kUserFolder, home[user]);
  };
  // Each stores a batch where it expects to, and sends only its own.
  auto storeAndSendOne = [&](uid_t user, const fs::path& expected) {
    return AsUser(user, [&] {
      use(user);
      if (test::StoreBatch(*NewStore(true), 1, 1, "<m id=\"first\"/>").parent_path() != expected ||
          test::StoreBatch(*NewStore(true), 2, 1, "<m id=\"kept\"/>").parent_path() != expected) {
        return 1;
      }
      test::RecordingTransmitter transmitter;
      auto sender = NewStore(false);
      if (sender->SendNext(transmitter) != OfflineData::kSent) return 2;
      return test::MessageIds(transmitter.requests[0].body) == std::vector<std::string>{"first"} ? 0 : 3;
    });
  };
  ASSERT_EQ(0, storeAndSendOne(alice, alicesShare));
  ASSERT_EQ(0, storeAndSendOne(bob, bobsOwn));
  const std::vector<std::string> alicesFiles = StorageFolder::Files(alicesShare, ".QZ");
  const std::vector<std::string> bobsFiles = StorageFolder::Files(bobsOwn, ".QZ");
  ASSERT_EQ(1u, alicesFiles.size());
  ASSERT_EQ(1u, bobsFiles.size());
  const std::string alicesBytes = test::ReadBytes(alicesShare / alicesFiles[0]);
  const std::string bobsBytes = test::ReadBytes(bobsOwn / bobsFiles[0]);

  EXPECT_EQ(0, AsUser(bob, [&] { return Attack(alicesShare / alicesFiles[0]); }));
  EXPECT_EQ(0, AsUser(alice, [&] { return Attack(bobsOwn / bobsFiles[0]); }));
  EXPECT_EQ((std::vector<std::string>{alicesFiles[0], "q.lck"}), StorageFolder::Files(alicesShare, ""));
  EXPECT_EQ(alicesBytes, test::ReadBytes(alicesShare / alicesFiles[0]));
  EXPECT_EQ(bobsBytes, test::ReadBytes(bobsOwn / bobsFiles[0]));

  // A storage folder made unsafe beforehand is not used: alice's batch goes
  // to her own folder, and the folder is named once in the log.
  fs::permissions(machineRoot, fs::perms(0777));
  const fs::path alicesOwn = home[alice] / "Tessary Solutions" / "QZ Storage" / U8(kCompany);
  EXPECT_EQ(0, AsUser(alice, [&] {
    use(alice);
    LogCapture log;
    for (uint64_t time : {3, 4}) {
      if (test::StoreBatch(*NewStore(true), time, 1, "<m/>").parent_path() != alicesOwn) return 1;
    }
    return log.Count("PosixOfflineData::GetStorageRoot",
                     "Not using " + machineRoot.string() + ": writable by others") == 1 ? 0 : 2;
  }));
  EXPECT_EQ(alicesFiles, StorageFolder::Files(alicesShare, ".QZ"));
  EXPECT_EQ(2u, StorageFolder::Files(alicesOwn, ".QZ").size());
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
