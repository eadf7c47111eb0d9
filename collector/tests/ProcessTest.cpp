// The qz-collector program as an operator runs it: its start and stop, what
// it refuses at the start, and what survives when it is killed. The program
// is $QZ_COLLECTOR; the PostgreSQL case needs the server of the
// "postgres_durable" fixture ($QZ_COLLECTOR_POSTGRES_DURABLE_DIR).
#include <gtest/gtest.h>
#include <libpq-fe.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <fstream>
#include <regex>
#include <sstream>
#include <thread>

#include "TestBatches.h"
#include "TestHttp.h"
#include "stores/Store.h"

namespace qz {
namespace collector {
namespace {

using Clock = std::chrono::steady_clock;
using test::TestBatch;

std::string ReadFile(const std::string& path) {
  std::ifstream in(path);
  std::stringstream text;
  text << in.rdbuf();
  return text.str();
}

class ProcessTest : public ::testing::Test {
 protected:
  void SetUp() override {
    const char* program = std::getenv("QZ_COLLECTOR");
    if (program == nullptr) GTEST_SKIP() << "no QZ_COLLECTOR (run through ctest)";
    collector = program;
    char dir[] = "/tmp/qz-process-test-XXXXXX";
    ASSERT_NE(nullptr, mkdtemp(dir));
    folder = dir;
  }

  void TearDown() override {
    for (pid_t pid : running) {
      // A wrapper's child (the collector under strace) goes too.
      pid_t child = 0;
      if (std::ifstream("/proc/" + std::to_string(pid) + "/task/" + std::to_string(pid) + "/children") >> child) {
        ::kill(child, SIGKILL);
      }
      ::kill(pid, SIGKILL);
      ::waitpid(pid, nullptr, 0);
    }
    if (!folder.empty()) std::system(("rm -rf " + folder).c_str());
  }

  // Runs the program (through a wrapper such as strace when given) with its
  // standard error in a file of its own.
  pid_t Spawn(std::vector<std::string> args, const std::string& errors, std::vector<std::string> wrapper = {}) {
    // Never the report's fixed default port: tests run side by side.
    if (!args.empty() && args[0] == "serve") args.insert(args.end(), {"--report-listen", "127.0.0.1:0"});
    args.insert(args.begin(), collector);
    args.insert(args.begin(), wrapper.begin(), wrapper.end());
    const pid_t pid = ::fork();
    if (pid == 0) {
      std::freopen(errors.c_str(), "w", stderr);
      std::vector<char*> argv;
      for (std::string& a : args) argv.push_back(&a[0]);
      argv.push_back(nullptr);
      ::execvp(argv[0], argv.data());
      _exit(127);
    }
    running.push_back(pid);
    return pid;
  }

  // The exit status, or -1 when it did not end in time.
  int Wait(pid_t pid, int seconds = 30) {
    const auto until = Clock::now() + std::chrono::seconds(seconds);
    int status = 0;
    while (Clock::now() < until) {
      if (::waitpid(pid, &status, WNOHANG) == pid) {
        running.erase(std::find(running.begin(), running.end(), pid));
        return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
      }
      std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    return -1;
  }

  // A collector serving plain HTTP on a free port: the port, or 0.
  int Serve(std::vector<std::string> args, const std::string& name, std::vector<std::string> wrapper = {}) {
    const std::string ports = folder + "/" + name + ".ports";
    args.insert(args.end(), {"--http-port", "0", "--https-port", "-1", "--ports-file", ports});
    pid = Spawn(args, folder + "/" + name + ".log", wrapper);
    const auto until = Clock::now() + std::chrono::seconds(30);
    while (Clock::now() < until) {
      int http = 0;
      if (std::ifstream(ports) >> http) return http;
      std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    return 0;
  }

  std::vector<std::string> Sqlite() { return {"serve", "--db", folder + "/qz.db", "--create"}; }

  static int64_t Batches(const std::string& sqlite, const std::string& postgres) {
    std::string error;
    auto store = Store::Open(sqlite, postgres, false, error);
    EXPECT_TRUE(store) << error;
    QueryResult r;
    if (!store || !store->Query("SELECT COUNT(*) FROM batches", {}, r, error)) return -1;
    return std::atoll(r.rows[0][0]->c_str());
  }

  std::string collector;
  std::string folder;
  std::vector<pid_t> running;
  pid_t pid = 0;
};

TEST_F(ProcessTest, ASecondCollectorOnTheSamePortExits) {
  const int port = Serve(Sqlite(), "first");
  ASSERT_GT(port, 0);
  const pid_t second =
      Spawn({"serve", "--db", folder + "/other.db", "--create", "--http-port", std::to_string(port), "--https-port", "-1"},
            folder + "/second.log");
  EXPECT_EQ(1, Wait(second));
  EXPECT_NE(std::string::npos, ReadFile(folder + "/second.log").find("Address already in use (is another collector running?)"))
      << ReadFile(folder + "/second.log");
  EXPECT_EQ(204, test::Exchange(port, test::LibraryBatch(1).Request()).status) << "the first one serves on";
}

TEST_F(ProcessTest, MakesNoDatabaseByAccidentAndKeepsItsFilesPrivate) {
  for (const char* command : {"serve", "report"}) {
    const pid_t run = Spawn({command, "--db", folder + "/typo.db", "--https-port", "-1"}, folder + "/typo.log");
    EXPECT_EQ(1, Wait(run)) << command;
    EXPECT_NE(std::string::npos, ReadFile(folder + "/typo.log").find("give --create")) << command;
    EXPECT_NE(0, ::access((folder + "/typo.db").c_str(), F_OK)) << command;
  }
  std::vector<std::string> args = Sqlite();
  args.insert(args.end(), {"--https-port", "0"});
  const std::string ports = folder + "/made.ports";
  args.insert(args.end(), {"--ports-file", ports});
  Spawn(args, folder + "/made.log");
  const auto until = Clock::now() + std::chrono::seconds(30);
  while (::access(ports.c_str(), F_OK) != 0 && Clock::now() < until) {
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
  }
  for (const char* file : {"qz.db", "qz.db-wal", "qz-collector-cert.pem", "qz-collector-key.pem", "made.ports"}) {
    struct stat info {};
    ASSERT_EQ(0, ::stat((folder + "/" + file).c_str(), &info)) << file;
    EXPECT_EQ(0600u, info.st_mode & 0777) << file;
  }
}

TEST_F(ProcessTest, OnSigtermAnswersWhatWasAcceptedThenExits) {
  const int port = Serve(Sqlite(), "serve");
  ASSERT_GT(port, 0);
  const std::string request = test::LibraryBatch(1).Request();
  const int under = test::Connect(port);
  const int idle = test::Connect(port);
  ASSERT_TRUE(test::SendAll(under, request.substr(0, request.size() / 2)));
  std::this_thread::sleep_for(std::chrono::milliseconds(200));
  ASSERT_EQ(0, ::kill(pid, SIGTERM));
  std::this_thread::sleep_for(std::chrono::milliseconds(300));
  EXPECT_LT(test::Connect(port, 1000), 0) << "no new connection is accepted";
  char byte;
  EXPECT_EQ(0, ::recv(idle, &byte, 1, 0)) << "a connection without a request is closed";
  ASSERT_TRUE(test::SendAll(under, request.substr(request.size() / 2)));
  EXPECT_EQ(204, test::ReadAnswer(under).status);
  ::close(under);
  ::close(idle);
  EXPECT_EQ(0, Wait(pid));
  EXPECT_EQ(1, Batches(folder + "/qz.db", ""));
}

TEST_F(ProcessTest, AKillRightAfterA204KeepsTheBatch) {
  const int port = Serve(Sqlite(), "serve");
  ASSERT_GT(port, 0);
  EXPECT_EQ(204, test::Exchange(port, test::LibraryBatch(1).Request()).status);
  ::kill(pid, SIGKILL);
  EXPECT_EQ(128 + SIGKILL, Wait(pid));
  EXPECT_EQ(1, Batches(folder + "/qz.db", ""));
}

// Every 204 follows a sync of the database that ended after the previous
// 204: nothing is acknowledged that a power cut could take back.
TEST_F(ProcessTest, ASyncToDiskComesBetweenEachCommitAndItsAnswer) {
  if (::system("strace -V >/dev/null 2>&1") != 0) GTEST_SKIP() << "no strace";
  const std::string trace = folder + "/trace";
  // LeakSanitizer cannot run under a tracer; the other checks can.
  const char* asan = std::getenv("ASAN_OPTIONS");
  const std::string saved = asan != nullptr ? asan : "";
  setenv("ASAN_OPTIONS", (saved + (saved.empty() ? "" : ":") + "detect_leaks=0").c_str(), 1);
  const int port = Serve(Sqlite(), "traced",
                         {"strace", "-f", "-qq", "-s", "24", "-o", trace, "-e",
                          "trace=fsync,fdatasync,sendmsg,sendto,write,writev"});
  if (asan != nullptr) {
    setenv("ASAN_OPTIONS", saved.c_str(), 1);
  } else {
    unsetenv("ASAN_OPTIONS");
  }
  ASSERT_GT(port, 0);
  // The collector is strace's child; strace ends with it.
  pid_t traced = 0;
  std::ifstream("/proc/" + std::to_string(pid) + "/task/" + std::to_string(pid) + "/children") >> traced;
  ASSERT_GT(traced, 0);
  constexpr int kPosts = 10;
  for (int i = 0; i < kPosts; ++i) EXPECT_EQ(204, test::Exchange(port, test::LibraryBatch(i).Request()).status) << i;
  ::kill(traced, SIGTERM);
  EXPECT_EQ(0, Wait(pid));
  std::ifstream lines(trace);
  const std::regex sync(R"((fsync|fdatasync)\(\d+\) += 0|<\.\.\. (fsync|fdatasync) resumed>.*= 0)");
  std::string line;
  int answers = 0, syncs = 0;
  bool synced = false;
  while (std::getline(lines, line)) {
    if (std::regex_search(line, sync)) {
      synced = true;
      ++syncs;
    } else if (line.find("HTTP/1.1 204") != std::string::npos) {
      EXPECT_TRUE(synced) << "204 number " << answers + 1 << " without a sync before it";
      synced = false;
      ++answers;
    }
  }
  EXPECT_EQ(kPosts, answers);
  EXPECT_GE(syncs, kPosts);
}

// The collector and its database server die together right after a 204: the
// batch is there when the server comes back. The server syncs, but its
// default lets commits return before the sync: the collector's sessions
// must ask for it.
TEST_F(ProcessTest, postgres_AKillOfBothRightAfterA204KeepsTheBatch) {
  const char* dir = std::getenv("QZ_COLLECTOR_POSTGRES_DURABLE_DIR");
  const char* script = std::getenv("QZ_COLLECTOR_POSTGRES_SCRIPT");
  if (dir == nullptr || script == nullptr) GTEST_SKIP() << "no PostgreSQL server (run through ctest)";
  std::string server;
  std::getline(std::ifstream(std::string(dir) + "/conninfo"), server);
  PGconn* admin = PQconnectdb((server + " dbname=postgres").c_str());
  PGresult* made = PQexec(admin, "CREATE DATABASE qz_killed");
  EXPECT_EQ(PGRES_COMMAND_OK, PQresultStatus(made)) << PQerrorMessage(admin);
  PQclear(made);
  PQfinish(admin);
  const std::string connection = server + " dbname=qz_killed";
  const int port = Serve({"serve", "--postgres", connection}, "serve");
  ASSERT_GT(port, 0);
  for (int i = 0; i < 20; ++i) ASSERT_EQ(204, test::Exchange(port, test::LibraryBatch(i).Request()).status);
  ::kill(pid, SIGKILL);
  const std::string crash = std::string("bash ") + script + " crash " + dir;
  ASSERT_EQ(0, std::system(crash.c_str()));
  EXPECT_EQ(128 + SIGKILL, Wait(pid));
  const std::string restart = std::string("bash ") + script + " restart " + dir;
  ASSERT_EQ(0, std::system(restart.c_str()));
  EXPECT_EQ(20, Batches("", connection));
}

}  // namespace
}  // namespace collector
}  // namespace qz
