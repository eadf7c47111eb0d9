// One suite for both stores: SQLite in a temporary file, and PostgreSQL in a
// new database on the server that the "postgres" ctest fixture started (its
// connection string in $QZ_COLLECTOR_POSTGRES_DIR/conninfo).
#include <gtest/gtest.h>
#include <libpq-fe.h>
#include <unistd.h>

#include <atomic>
#include <cstdlib>
#include <fstream>
#include <future>
#include <random>
#include <thread>

#include "TestBatches.h"
#include "ingest/BatchParser.h"
#include "ingest/BatchRows.h"
#include "report/Format.h"
#include "report/HtmlReport.h"
#include "report/JsonReport.h"
#include "report/Report.h"
#include "report/TextReport.h"
#include "summary/SummaryWriter.h"
#include "stores/StoreWriter.h"

namespace qz {
namespace collector {
namespace {

using test::Guid;
using test::TestBatch;

class StoreTest : public ::testing::TestWithParam<std::string> {
 protected:
  void SetUp() override {
    std::string error;
    if (GetParam() == "sqlite") {
      char folder[] = "/tmp/qz-store-test-XXXXXX";
      ASSERT_NE(nullptr, mkdtemp(folder));
      this->folder = folder;
      store = Store::Open(this->folder + "/test.db", "", true, error);
    } else {
      const char* dir = std::getenv("QZ_COLLECTOR_POSTGRES_DIR");
      if (dir == nullptr) GTEST_SKIP() << "no PostgreSQL server (run through ctest)";
      std::string server;
      std::getline(std::ifstream(std::string(dir) + "/conninfo"), server);
      ASSERT_FALSE(server.empty()) << "no conninfo in " << dir;
      connection = server + " dbname=" + NewDatabase(server);
      store = Store::Open("", connection, false, error);
    }
    ASSERT_TRUE(store) << error;
  }

  void TearDown() override {
    store.reset();
    if (!folder.empty()) std::system(("rm -rf " + folder).c_str());
  }

  // A database of its own for each test.
  static std::string NewDatabase(const std::string& server) {
    static std::atomic<int> counter{0};
    const std::string name = "qz_test_" + std::to_string(getpid()) + "_" + std::to_string(counter++);
    PGconn* conn = PQconnectdb((server + " dbname=postgres").c_str());
    PGresult* r = PQexec(conn, ("CREATE DATABASE " + name).c_str());
    EXPECT_EQ(PGRES_COMMAND_OK, PQresultStatus(r)) << PQerrorMessage(conn);
    PQclear(r);
    PQfinish(conn);
    return name;
  }

  static Rows RowsOf(const TestBatch& b) {
    static MessagingSchema schema;
    Batch batch;
    std::string error;
    EXPECT_TRUE(BatchParser(schema).Parse(b.Body(), batch.root, error)) << error;
    batch.agent = b.stored ? "Win32/1.0 offline" : "Win32/1.0";
    batch.stored = b.stored;
    batch.received = test::Time(120000);
    return BatchRows::Build(batch);
  }

  void Write(const TestBatch& b) {
    const Rows rows = RowsOf(b);
    std::string error;
    ASSERT_EQ(WriteStatus::Stored, store->Write({&rows}, error)) << error;
  }

  // A second store on the same database, as another collector would open it.
  std::unique_ptr<Store> OpenAgain() {
    std::string error;
    auto again = Store::Open(folder.empty() ? "" : folder + "/test.db", connection, false, error);
    EXPECT_TRUE(again) << error;
    return again;
  }

  // What the writer says of rows, once it has said it.
  static WriteStatus Submit(StoreWriter& writer, Rows rows) {
    std::promise<WriteStatus> outcome;
    if (!writer.Submit(std::move(rows), [&](WriteStatus s, const std::string&) { outcome.set_value(s); })) {
      return WriteStatus::Retry;
    }
    return outcome.get_future().get();
  }

  // The one cell of a one-row, one-column query ("NULL" for NULL).
  std::string One(const std::string& sql, const std::vector<std::string>& params = {}) {
    QueryResult r;
    std::string error;
    EXPECT_TRUE(store->Query(sql, params, r, error)) << error;
    if (r.rows.size() != 1 || r.rows[0].size() != 1) return "(" + std::to_string(r.rows.size()) + " rows)";
    return r.rows[0][0].value_or("NULL");
  }

  std::string folder;
  std::string connection;
  std::unique_ptr<Store> store;
};

TEST_P(StoreTest, StoresEveryKindAndReadsItBack) {
  TestBatch b(1);
  const std::string odd = "\x01\t\r\n\xF0\x9F\x98\x80 &<>\"' \xC3\xBC";
  b.messages = {test::AppStart(Guid(1), b.group, 0, "5D41402ABC4B2A76B9719D911017C592",
                               "<binary id=\"" + Guid(77) + "\" name=\"editor.exe\" method=\"OnCreate\"/>\n"
                               "<property name=\"odd\" value=\"&#x1;&#x9;&#xd;&#xa;&#xd83d;&#xde00; "
                               "&amp;&lt;&gt;&quot;' &#xfc;\"/>\n"
                               "<property name=\"plugins\" value=\"007\" type=\"decimal\"/>\n"),
                test::Fault(Guid(2), b.group, 5, "IOError", "uncaught"),
                test::Probe(Guid(3), b.group, 6, "Startup", 100, 37),
                test::Profile(Guid(4), b.group, 7)};
  Write(b);
  const std::string app = Guid(1);
  EXPECT_EQ(odd, One("SELECT value FROM properties WHERE message_id = ? AND position = 0", {app}));
  EXPECT_EQ("007", One("SELECT value FROM properties WHERE message_id = ? AND position = 1", {app}));
  EXPECT_EQ("1", One("SELECT is_decimal FROM properties WHERE message_id = ? AND position = 1", {app}));
  EXPECT_EQ(Guid(77), One("SELECT binary_id FROM messages WHERE id = ?", {app}));
  EXPECT_EQ("Microsoft Windows 7 Professional", One("SELECT os_name FROM hosts WHERE message_id = ?", {app}));
  EXPECT_EQ("0", One("SELECT virtualized FROM hosts WHERE message_id = ?", {app}));
  EXPECT_EQ("5D41402ABC4B2A76B9719D911017C592", One("SELECT name FROM users WHERE message_id = ?", {app}));
  EXPECT_EQ("cannot read <file>\nline 2", One("SELECT message FROM exceptions WHERE message_id = ?", {Guid(2)}));
  EXPECT_EQ("Parser.Load", One("SELECT type || '.' || method FROM stack_frames WHERE message_id = ?", {Guid(2)}));
  EXPECT_EQ("100 2048 37", One("SELECT memory_used || ' ' || memory_available || ' ' || cpu_utilization "
                               "FROM probes WHERE message_id = ?", {Guid(3)}));
  EXPECT_EQ("2", One("SELECT COUNT(*) FROM profile_cpus WHERE message_id = ?", {Guid(4)}));
  EXPECT_EQ("CPU1", One("SELECT name FROM profile_cpus WHERE message_id = ? AND position = 1", {Guid(4)}));
  EXPECT_EQ("4294967296", One("SELECT colors FROM profile_videos WHERE message_id = ?", {Guid(4)}));
  EXPECT_EQ("\\\\.\\DISPLAY1", One("SELECT name FROM profile_screens WHERE message_id = ?", {Guid(4)}));
  EXPECT_EQ("0 60", One("SELECT dst || ' ' || zone FROM profile_time_zones WHERE message_id = ?", {Guid(4)}));
  EXPECT_EQ("1", One("SELECT dhcp FROM profile_networks WHERE message_id = ?", {Guid(4)}));
  EXPECT_EQ("NULL", One("SELECT licensing_name FROM profile_terminal_services WHERE message_id = ?", {Guid(4)}));
  EXPECT_EQ("0 Win32/1.0 4", One("SELECT stored || ' ' || agent || ' ' || message_count FROM batches"));
}

TEST_P(StoreTest, StoresABatchOnceHoweverOftenItComes) {
  TestBatch live(2);
  live.messages = {test::SessionStart(Guid(1), live.group, 0), test::Feature(Guid(2), live.group, 1, Guid(2), "A", "tick")};
  Write(live);
  Write(live);
  // The library's offline sender posts the same messages in a new envelope each time.
  TestBatch resent(3);
  resent.group = live.group;
  resent.stored = true;
  resent.messages = live.messages;
  Write(resent);
  // The same ids in lower case are the same messages.
  TestBatch lower = resent;
  lower.id = Guid(4, 0xBA7C);
  for (std::string& m : lower.messages) {
    for (char& c : m) c = static_cast<char>(c >= 'A' && c <= 'F' ? c - 'A' + 'a' : c);
  }
  Write(lower);
  EXPECT_EQ("3", One("SELECT COUNT(*) FROM batches"));
  EXPECT_EQ("2", One("SELECT COUNT(*) FROM messages"));
  EXPECT_EQ("1", One("SELECT COUNT(*) FROM features"));
  EXPECT_EQ(live.id, One("SELECT batch_id FROM messages WHERE id = ?", {Guid(2)}));
}

TEST_P(StoreTest, AFailedWriteLeavesNothingAndTheWriterCarriesOn) {
  TestBatch good(5);
  good.messages = {test::SessionStart(Guid(1), good.group, 0)};
  Rows bad = RowsOf(good);
  bad[0].values[0].reset();  // a batch without its key
  const Rows rows = RowsOf(good);
  std::string error;
  // Rows that can never be stored are refused, not to be tried again.
  EXPECT_EQ(WriteStatus::Refused, store->Write({&rows, &bad}, error));
  EXPECT_FALSE(error.empty());
  EXPECT_EQ("0", One("SELECT COUNT(*) FROM batches"));

  StoreWriter writer(*store, 16);
  EXPECT_EQ(WriteStatus::Refused, Submit(writer, bad));
  EXPECT_EQ(WriteStatus::Stored, Submit(writer, rows));
  writer.Stop();
  EXPECT_FALSE(writer.Submit(rows, [](WriteStatus, const std::string&) { FAIL() << "after the stop"; }));
  EXPECT_EQ("1", One("SELECT COUNT(*) FROM messages"));
}

std::string Replaced(std::string text, const std::string& from, const std::string& to);

// Two users on two hosts, two versions, two days: every figure of every view.
TEST_P(StoreTest, ReportFigures) {
  TestBatch a(10);  // version 2.1.0 (TestBatch's), user of AppStart, host HOSTA
  const std::string s = a.group;
  a.messages = {test::AppStart(Guid(1), s, 0, "HOSTA"),
                test::SessionStart(Guid(2), s, 1),
                test::Feature(Guid(3), s, 10, Guid(3), "Export", "start"),
                test::Feature(Guid(4), s, 1510, Guid(3), "Export", "stop"),
                test::Feature(Guid(5), s, 2000, Guid(5), "Export", "start"),
                test::Feature(Guid(6), s, 2250, Guid(5), "Export", "stop"),
                test::Feature(Guid(7), s, 3000, Guid(7), "Export", "stop"),  // no start: not timed
                test::Feature(Guid(8), s, 3001, Guid(8), "Zoom", "tick"),
                test::Feature(Guid(9), s, 3002, Guid(9), "Zoom", "tick"),
                test::Fault(Guid(11), s, 4000, "IOError", "caught"),
                test::Fault(Guid(12), s, 4001, "IOError", "uncaught"),
                test::Fault(Guid(13), s, 4002, "Unknown", "thrown"),
                test::Probe(Guid(14), s, 5000, "Startup", 100, 30),
                test::Probe(Guid(15), s, 5001, "Startup", 201, 0),
                test::Probe(Guid(16), s, 5002, "Startup", 300, 50),
                test::Profile(Guid(17), s, 6000),
                test::SessionStart(Guid(19), s, 86400000)};
  // A second run of another user on another host, in another version, the next day.
  TestBatch b(11);
  b.version = "3.0.0";
  std::string start = test::AppStart(Guid(30), b.group, 86400000, "HOSTB");
  start.replace(start.find("5D41402ABC4B2A76B9719D911017C592"), 32, "0CC175B9C0F1B6A831C399E269772661");
  b.messages = {start, test::SessionStart(Guid(31), b.group, 86400001),
                test::Feature(Guid(32), b.group, 86400002, Guid(32), "Zoom", "tick"),
                test::Fault(Guid(33), b.group, 86400003, "IOError", "caught")};
  Write(a);
  Write(b);
  // Counted once however often they come: the same batch again, and its
  // messages in the offline sender's new envelope.
  Write(a);
  TestBatch again = b;
  again.id = Guid(12, 0xBA7C);
  again.stored = true;
  Write(again);

  ReportFilter filter;
  filter.view = "all";
  filter.from = "2026-01-01";
  filter.to = "2026-01-05";
  Report r;
  std::string error;
  ASSERT_TRUE(Report::Load(*store, filter, "2026-01-05", r, error)) << error;
  ASSERT_TRUE(r.known);
  EXPECT_EQ(test::kCompany, r.filter.company);
  ASSERT_EQ(1u, r.apps.size());
  EXPECT_EQ("Example & Sons", r.apps[0].companyName);
  EXPECT_EQ((std::vector<std::string>{"2.1.0", "3.0.0"}), r.versions);
  // Overview
  EXPECT_EQ(2, r.users);
  EXPECT_EQ(2, r.installs);
  EXPECT_EQ(2, r.newInstalls);
  EXPECT_EQ(3, r.sessions);
  EXPECT_EQ(21, r.messages);
  ASSERT_EQ(5u, r.days.size());
  EXPECT_EQ("2026-01-02", r.days[1].day);
  EXPECT_EQ(1, r.days[1].users);
  EXPECT_EQ(1, r.days[1].sessions);
  EXPECT_EQ(1, r.days[1].newInstalls);
  EXPECT_EQ(2, r.days[2].users) << "the first run goes on into the next day";
  EXPECT_EQ(2, r.days[2].sessions);
  EXPECT_EQ(1, r.days[2].newInstalls);
  ASSERT_EQ(2u, r.versionsInUse.size());
  EXPECT_EQ("2.1.0", r.versionsInUse[0].label);
  EXPECT_EQ(2, r.versionsInUse[0].count);
  ASSERT_EQ(1u, r.systemsInUse.size());
  EXPECT_EQ("Microsoft Windows 7 Professional", r.systemsInUse[0].label);
  EXPECT_EQ(2, r.systemsInUse[0].count);
  // Features: Zoom by both users, Export by one; two timed pairs of 1500 and 250 ms.
  ASSERT_EQ(2u, r.features.size());
  EXPECT_EQ("Zoom", r.features[0].name);
  EXPECT_EQ(2, r.features[0].users);
  EXPECT_EQ(3, r.features[0].Uses());
  EXPECT_EQ(1, r.features[1].users);
  EXPECT_EQ(2, r.features[1].starts);
  EXPECT_EQ(2, r.features[1].pairs);
  EXPECT_EQ(250, r.features[1].medianMs);
  EXPECT_EQ(1500, r.features[1].p90Ms);
  EXPECT_EQ(1750.0, r.features[1].totalMs);
  // Stability
  EXPECT_EQ(4, r.faults);
  EXPECT_EQ(1, r.uncaught);
  ASSERT_EQ(2u, r.faultsByVersion.size());
  EXPECT_EQ(3, r.faultsByVersion[0].faults);
  EXPECT_EQ(2, r.faultsByVersion[0].sessions);
  ASSERT_EQ(2u, r.exceptionTypes.size());
  EXPECT_EQ("IOError", r.exceptionTypes[0].type);
  EXPECT_EQ(3, r.exceptionTypes[0].faults);
  EXPECT_EQ("cannot read <file>\nline 2", r.exceptionTypes[0].message);
  EXPECT_EQ("Parser.Load", r.exceptionTypes[0].stack);
  EXPECT_EQ("3.0.0", r.exceptionTypes[0].version) << "the latest";
  EXPECT_EQ("user 2", r.exceptionTypes[0].user);
  EXPECT_EQ("host 2", r.exceptionTypes[0].host);
  // Performance: 100, 201, 300 MB; processor 30 and 50 (one not measured).
  ASSERT_EQ(1u, r.probes.size());
  EXPECT_EQ(3, r.probes[0].probes);
  EXPECT_EQ(201, r.probes[0].memory.median);
  EXPECT_EQ(300, r.probes[0].memory.p90);
  ASSERT_TRUE(r.probes[0].cpu);
  EXPECT_EQ(2, r.probes[0].cpu->count);
  EXPECT_EQ(30, r.probes[0].cpu->median);
  // Machines
  EXPECT_EQ(1, r.profiledHosts);
  ASSERT_EQ(4u, r.machines.size());
  EXPECT_EQ("Intel 3600 MHz (2 processors)", r.machines[0].shares.at(0).label);
  EXPECT_EQ("16 GB", r.machines[1].shares.at(0).label);
  EXPECT_EQ("1920x1080", r.machines[2].shares.at(0).label);

  // One version alone, and a range without data.
  filter.version = "3.0.0";
  ASSERT_TRUE(Report::Load(*store, filter, "2026-01-05", r, error)) << error;
  EXPECT_EQ(1, r.users);
  EXPECT_EQ(1, r.sessions);
  EXPECT_EQ(1, r.faults);
  filter.version.clear();
  filter.from = filter.to = "2026-03-01";
  ASSERT_TRUE(Report::Load(*store, filter, "2026-01-05", r, error)) << error;
  EXPECT_EQ(0, r.users);
  EXPECT_TRUE(r.features.empty());
  EXPECT_NE(std::string::npos, HtmlReport::Render(r).find("No messages in this range."));
}

// The offline sender may deliver a run's first batch after its later ones.
TEST_P(StoreTest, AStopStoredBeforeItsStartIsTimedWhenTheStartComes) {
  TestBatch later(50), first(51);
  later.group = first.group;
  later.messages = {test::Feature(Guid(2), first.group, 4000, Guid(1), "Export", "stop")};
  first.messages = {test::Feature(Guid(1), first.group, 1000, Guid(1), "Export", "start")};
  Write(later);
  Write(first);
  Write(first);
  ReportFilter filter;
  filter.view = "features";
  filter.from = filter.to = "2026-01-02";
  Report r;
  std::string error;
  ASSERT_TRUE(Report::Load(*store, filter, "2026-01-05", r, error)) << error;
  ASSERT_EQ(1u, r.features.size());
  EXPECT_EQ(1, r.features[0].pairs);
  EXPECT_EQ(3000, r.features[0].medianMs);
}

// A start in year 1 and its stop in year 9999, twice, and a stop before its
// start: each pair is clamped, sums cannot overflow, every view renders.
TEST_P(StoreTest, AbsurdDurationsAreClampedAndTheReportStillWorks) {
  for (int n = 0; n < 2; ++n) {
    TestBatch b(40 + n);
    std::string first = test::Feature(Guid(1, n), b.group, 0, Guid(1, n), "Forever", "start");
    first = Replaced(first, test::Time(0), "0001-01-01T00:00:00.000Z");
    std::string last = test::Feature(Guid(2, n), b.group, 0, Guid(1, n), "Forever", "stop");
    last = Replaced(last, test::Time(0), "9999-12-31T23:59:59.999Z");
    b.messages = {first, last, test::Feature(Guid(3, n), b.group, 5000, Guid(3, n), "Back", "start"),
                  test::Feature(Guid(4, n), b.group, 3500, Guid(3, n), "Back", "stop")};
    Write(b);
  }
  ReportFilter filter;
  filter.view = "all";
  filter.from = "9990-01-01";
  filter.to = "9999-12-31";
  Report r;
  std::string error;
  ASSERT_TRUE(Report::Load(*store, filter, "2026-01-05", r, error)) << error;
  ASSERT_EQ(1u, r.features.size());
  EXPECT_EQ(2, r.features[0].pairs);
  EXPECT_EQ(2, r.features[0].clamped);
  EXPECT_EQ(SummaryWriter::kMaxDurationMs, r.features[0].medianMs);
  filter.from = "2026-01-01";
  filter.to = "2026-01-05";
  ASSERT_TRUE(Report::Load(*store, filter, "2026-01-05", r, error)) << error;
  ASSERT_EQ(1u, r.features.size());
  EXPECT_EQ(0, r.features[0].medianMs) << "a stop before its start counts as 0";
  EXPECT_EQ(2, r.features[0].clamped);
  for (const std::string& text : {HtmlReport::Render(r), TextReport::Render(r), JsonReport::Render(r)}) {
    EXPECT_NE(std::string::npos, text.find("Back"));
  }
}

std::string Replaced(std::string text, const std::string& from, const std::string& to) {
  const size_t at = text.find(from);
  EXPECT_NE(std::string::npos, at) << from;
  if (at != std::string::npos) text.replace(at, from.size(), to);
  return text;
}

constexpr char kMax64[] = "18446744073709551615";
constexpr char kFirst[] = "0001-01-01T00:00:00.000Z";
constexpr char kLast[] = "9999-12-31T23:59:59.999Z";

TEST_P(StoreTest, ExtremeCountsAndTimesReadBackExactly) {
  TestBatch b(20);
  std::string profile = Replaced(test::Profile(Guid(1), b.group, 0), test::Time(0), kFirst);
  profile = Replaced(profile, "size=\"476837\" free=\"120000\"", std::string("size=\"") + kMax64 + "\" free=\"0\"");
  profile = Replaced(profile, "total=\"16384\"", std::string("total=\"") + kMax64 + "\"");
  profile = Replaced(profile, "colors=\"4294967296\"", std::string("colors=\"") + kMax64 + "\"");
  std::string start = Replaced(test::AppStart(Guid(2), b.group, 0, "HOST"), test::Time(0), kLast);
  start = Replaced(start, "2011-03-17T09:30:12+01:00", "9999-12-31T23:59:59+14:00");
  b.messages = {profile, start};
  Write(b);
  EXPECT_EQ(kMax64, One("SELECT size FROM profile_disks WHERE message_id = ?", {Guid(1)}));
  EXPECT_EQ("0", One("SELECT free FROM profile_disks WHERE message_id = ?", {Guid(1)}));
  EXPECT_EQ(kMax64, One("SELECT total FROM profile_memory WHERE message_id = ?", {Guid(1)}));
  EXPECT_EQ(kMax64, One("SELECT colors FROM profile_videos WHERE message_id = ?", {Guid(1)}));
  EXPECT_EQ(kFirst, One("SELECT generated FROM messages WHERE id = ?", {Guid(1)}));
  EXPECT_EQ("-62135596800000", One("SELECT generated_ms FROM messages WHERE id = ?", {Guid(1)}));
  EXPECT_EQ(kLast, One("SELECT generated FROM messages WHERE id = ?", {Guid(2)}));
  EXPECT_EQ("253402300799999", One("SELECT generated_ms FROM messages WHERE id = ?", {Guid(2)}));
  EXPECT_EQ("9999-12-31T23:59:59+14:00", One("SELECT os_installed_date FROM hosts WHERE message_id = ?", {Guid(2)}));
}

TEST_P(StoreTest, ExpiresOldMessagesInBoundedSteps) {
  TestBatch old(30);
  old.messages = {test::SessionStart(Guid(1), old.group, 0), test::Feature(Guid(2), old.group, 1, Guid(2), "A", "tick"),
                  test::Fault(Guid(3), old.group, 2, "IOError", "caught"), test::Probe(Guid(4), old.group, 3, "P", 1, 2),
                  test::Profile(Guid(5), old.group, 4)};
  TestBatch recent(31);
  recent.messages = {test::Feature(Guid(6), recent.group, 400LL * 86400000, Guid(6), "A", "tick")};
  Write(old);
  Write(recent);
  const int64_t cutoff = 1767348000000LL + 86400000;  // a day after test::Time(0)
  int64_t deleted = 0, total = 0;
  int steps = 0;
  std::string error;
  while (store->Expire(cutoff, 2, deleted, error) && deleted > 0) {
    EXPECT_LE(deleted, 2);
    total += deleted;
    ASSERT_LT(++steps, 10);
  }
  EXPECT_TRUE(error.empty()) << error;
  EXPECT_EQ(7, total) << "five messages, then both batches (received on the first day)";
  EXPECT_EQ(Guid(6), One("SELECT id FROM messages"));
  for (const char* table : {"faults", "exceptions", "stack_frames", "probes", "profiles", "profile_cpus", "batches"}) {
    EXPECT_EQ("0", One(std::string("SELECT COUNT(*) FROM ") + table)) << table;
  }
  EXPECT_EQ("1", One("SELECT COUNT(*) FROM features"));
}

// Two collectors store the same messages, one in the reverse order of the
// other, each grouping what arrives together: no write may fail.
TEST_P(StoreTest, TheSameMessagesInOppositeOrdersFromTwoCollectors) {
  auto other = OpenAgain();
  ASSERT_TRUE(other);
  constexpr int kPairs = 100, kMessages = 10;
  std::atomic<int> pending{2 * kPairs}, failures{0};
  std::promise<void> finished;
  const auto post = [&](Store& target, bool reversed) {
    StoreWriter writer(target, 4 * kPairs);
    for (int i = 0; i < kPairs; ++i) {
      TestBatch t((reversed ? 10000 : 20000) + i);
      for (int k = 0; k < kMessages; ++k) {
        const std::string id = Guid(i * kMessages + (reversed ? kMessages - 1 - k : k), 0xAB);
        t.messages.push_back(test::Feature(id, t.group, k, id, "Same", "tick"));
      }
      writer.Submit(RowsOf(t), [&](WriteStatus status, const std::string& error) {
        if (status != WriteStatus::Stored) {
          ++failures;
          ADD_FAILURE() << error;
        }
        if (--pending == 0) finished.set_value();
      });
    }
    writer.Stop();
  };
  std::thread a(post, std::ref(*store), false);
  std::thread b(post, std::ref(*other), true);
  a.join();
  b.join();
  EXPECT_EQ(0, failures.load());
  EXPECT_EQ(0, pending.load());
  EXPECT_EQ(std::to_string(kPairs * kMessages), One("SELECT COUNT(*) FROM messages"));
}

// Batches made at random within the wire format, every message kind with
// texts, numbers and times at their limits: the parser accepts each, and the
// store keeps each, numbers exactly.
class RandomBatch {
 public:
  explicit RandomBatch(uint32_t seed) : random(seed) {}

  TestBatch Make(int number) {
    TestBatch b(number);
    const int count = Pick(1, 6);
    for (int i = 0; i < count; ++i) {
      const std::string id = MixedCase(Guid(number * 8 + i, 0x5EED));
      const std::string session = MixedCase(b.group);
      switch (Pick(0, 5)) {
        case 0:
          b.messages.push_back(Stamp(test::AppStart(id, session, 0, Text()), "2011-03-17T09:30:12+01:00", Zoned()));
          break;
        case 1:
          b.messages.push_back(test::Feature(id, session, 0, MixedCase(id), Text(), Pick(0, 1) ? "tick" : "start",
                                             Binary() + Property()));
          break;
        case 2:
          b.messages.push_back(Numbers(test::Fault(id, session, 0, Text(), "thrown"), {"seq=\"0\""}, true));
          break;
        case 3:
          b.messages.push_back(
              Numbers(test::Probe(id, session, 0, Text(), 1, 1), {"available=\"2048\"", "used=\"1\"", "utilization=\"1\""}, false));
          break;
        case 4:
          b.messages.push_back(Numbers(test::Profile(id, session, 0),
                                       {"size=\"476837\"", "free=\"120000\"", "total=\"16384\"", "capacity=\"16384\"",
                                        "colors=\"4294967296\"", "speed=\"2666\"", "zone=\"60\""},
                                       false));
          break;
        default:
          b.messages.push_back(test::SessionStart(id, session, 0));
      }
      b.messages.back() = Stamp(b.messages.back(), test::Time(0), UtcTime());
    }
    return b;
  }

 private:
  int Pick(int low, int high) { return std::uniform_int_distribution<int>(low, high)(random); }

  std::string MixedCase(std::string guid) {
    for (char& c : guid) {
      if (c >= 'A' && c <= 'F' && Pick(0, 1)) c = static_cast<char>(c - 'A' + 'a');
    }
    return guid;
  }

  std::string Text() {
    static const char* const pieces[] = {"a", "Z", " ", "&amp;", "&lt;", "&gt;", "&quot;", "'", "&#x1;", "&#x9;",
                                         "&#xa;", "&#xd;", "&#xfc;", "&#x20ac;", "&#xd83d;&#xde00;", "&#xfffd;",
                                         "\\", "/", "%", "?"};
    std::string out;
    for (int n = Pick(0, 12); n > 0; --n) out += pieces[Pick(0, 19)];
    return out;
  }

  std::string Count(bool wide) {
    static const char* const counts32[] = {"0", "1", "4294967295", "65536", "99"};
    static const char* const counts64[] = {"0", "18446744073709551615", "9223372036854775808", "4294967296", "7"};
    return (wide ? counts64 : counts32)[Pick(0, 4)];
  }

  std::string Digits(int value, int width) {
    std::string out = std::to_string(value);
    return std::string(static_cast<size_t>(width) - out.size(), '0') + out;
  }

  std::string Date() {
    static const int days[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    const int y = Pick(0, 3) == 0 ? (Pick(0, 1) ? 1 : 9999) : Pick(1, 9999);
    const int m = Pick(1, 12);
    const bool leap = (y % 4 == 0 && y % 100 != 0) || y % 400 == 0;
    const int d = Pick(1, days[m - 1] + (m == 2 && leap ? 1 : 0));
    return Digits(y, 4) + "-" + Digits(m, 2) + "-" + Digits(d, 2) + "T" + Digits(Pick(0, 23), 2) + ":" +
           Digits(Pick(0, 59), 2) + ":" + Digits(Pick(0, 59), 2);
  }

  std::string UtcTime() { return Date() + "." + Digits(Pick(0, 999), 3) + "Z"; }

  std::string Zoned() {
    if (Pick(0, 2) == 0) return Date() + "Z";
    const int minutes = Pick(-14 * 60, 14 * 60);
    const int a = minutes < 0 ? -minutes : minutes;
    return Date() + (minutes < 0 ? "-" : "+") + Digits(a / 60, 2) + ":" + Digits(a % 60, 2);
  }

  std::string Binary() {
    if (Pick(0, 2) == 0) return "";
    return "<binary id=\"" + MixedCase(Guid(Pick(0, 1000), 0xB)) + "\" modified=\"" + UtcTime() + "\" name=\"" +
           Text() + "\" version=\"" + Text() + "\"/>\n";
  }

  std::string Property() {
    return "<property name=\"" + Text() + "\" value=\"" + Text() + "\"" + (Pick(0, 1) ? " type=\"decimal\"" : "") +
           "/>\n";
  }

  static std::string Stamp(std::string message, const std::string& from, const std::string& to) {
    return Replaced(std::move(message), from, to);
  }

  // Each listed attribute gets a number at the limits of its type.
  std::string Numbers(std::string message, const std::vector<std::string>& attributes, bool signedSeq) {
    for (const std::string& a : attributes) {
      const std::string name = a.substr(0, a.find('='));
      std::string value;
      if (signedSeq || name == "zone") {
        static const char* const signed32[] = {"0", "-2147483648", "2147483647", "-1"};
        value = signed32[Pick(0, 3)];
      } else {
        value = Count(name == "size" || name == "free" || name == "total" || name == "capacity" || name == "colors");
      }
      message = Replaced(message, a, name + "=\"" + value + "\"");
    }
    return message;
  }

  std::mt19937 random;
};

TEST_P(StoreTest, EveryBatchTheWireFormatAllowsIsStored) {
  RandomBatch generator(20261124);
  StoreWriter writer(*store, 256);
  std::vector<std::future<WriteStatus>> outcomes;
  for (int n = 1; n <= 120; ++n) {
    const TestBatch b = generator.Make(n);
    auto done = std::make_shared<std::promise<WriteStatus>>();
    outcomes.push_back(done->get_future());
    ASSERT_TRUE(writer.Submit(RowsOf(b), [done, n](WriteStatus s, const std::string& error) {
      EXPECT_EQ(WriteStatus::Stored, s) << "batch " << n << ": " << error;
      done->set_value(s);
    }));
  }
  for (auto& o : outcomes) EXPECT_EQ(WriteStatus::Stored, o.get());
  writer.Stop();
  EXPECT_EQ("120", One("SELECT COUNT(*) FROM batches"));
  // Whatever they hold, every view of every year they span renders.
  ReportFilter filter;
  filter.view = "all";
  for (const std::string to : {"0010-12-31", "2026-01-05", "5000-06-30", "9999-12-31"}) {
    filter.to = to;
    filter.from = "0001-01-01";
    Report r;
    std::string error;
    ASSERT_TRUE(Report::Load(*store, filter, to, r, error)) << error;
    for (const std::string& text : {HtmlReport::Render(r), TextReport::Render(r), JsonReport::Render(r)}) {
      EXPECT_EQ(Format::Printable(text, true), text) << "valid UTF-8 without control characters";
    }
  }
}

INSTANTIATE_TEST_SUITE_P(Stores, StoreTest, ::testing::Values("sqlite", "postgres"),
                         [](const ::testing::TestParamInfo<std::string>& info) { return info.param; });

}  // namespace
}  // namespace collector
}  // namespace qz
