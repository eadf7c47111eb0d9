// One suite for both stores: SQLite in a temporary file, and PostgreSQL in a
// new database on the server that the "postgres" ctest fixture started (its
// connection string in $QZ_COLLECTOR_POSTGRES_DIR/conninfo).
#include <gtest/gtest.h>
#include <libpq-fe.h>
#include <unistd.h>

#include <atomic>
#include <cstdlib>
#include <fstream>

#include "TestBatches.h"
#include "ingest/BatchParser.h"
#include "ingest/BatchRows.h"
#include "report/Report.h"
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
      store = Store::Open(this->folder + "/test.db", "", error);
    } else {
      const char* dir = std::getenv("QZ_COLLECTOR_POSTGRES_DIR");
      if (dir == nullptr) GTEST_SKIP() << "no PostgreSQL server (run through ctest)";
      std::string server;
      std::getline(std::ifstream(std::string(dir) + "/conninfo"), server);
      ASSERT_FALSE(server.empty()) << "no conninfo in " << dir;
      store = Store::Open("", server + " dbname=" + NewDatabase(server), error);
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
    ASSERT_TRUE(store->Write({&rows}, error)) << error;
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
  EXPECT_FALSE(store->Write({&rows, &bad}, error));
  EXPECT_FALSE(error.empty());
  EXPECT_EQ("0", One("SELECT COUNT(*) FROM batches"));

  StoreWriter writer(*store, 16);
  EXPECT_EQ(StoreWriter::Result::Failed, writer.Submit(bad, std::chrono::seconds(30)));
  EXPECT_EQ(StoreWriter::Result::Stored, writer.Submit(rows, std::chrono::seconds(30)));
  writer.Stop();
  EXPECT_EQ(StoreWriter::Result::Busy, writer.Submit(rows, std::chrono::seconds(30)));
  EXPECT_EQ("1", One("SELECT COUNT(*) FROM messages"));
}

TEST_P(StoreTest, ReportFigures) {
  // Host A: a run with features, a fault and two profiles; host B: one profile.
  TestBatch a(10);
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
                test::Feature(Guid(10), s, 3003, Guid(10), "Zoom", "tick"),
                test::Fault(Guid(11), s, 4000, "IOError", "caught"),
                test::Fault(Guid(12), s, 4001, "IOError", "uncaught"),
                test::Fault(Guid(13), s, 4002, "Unknown", "thrown"),
                test::Probe(Guid(14), s, 5000, "Startup", 100, 30),
                test::Probe(Guid(15), s, 5001, "Startup", 201, 0),
                test::Probe(Guid(16), s, 3600000 + 5002, "Startup", 300, 0),
                test::Profile(Guid(17), s, 6000),
                test::Profile(Guid(18), s, 7000),
                test::SessionStart(Guid(19), s, 86400000)};
  TestBatch b(11);
  b.messages = {test::AppStart(Guid(30), b.group, 0, "HOSTB"), test::Profile(Guid(31), b.group, 100)};
  Write(a);
  Write(b);

  Report r;
  std::string error;
  ASSERT_TRUE(Report::Load(*store, r, error)) << error;
  EXPECT_EQ(2, r.batches);
  EXPECT_EQ(21, r.messages);
  ASSERT_EQ(2u, r.featuresByUse.size());
  EXPECT_EQ("Zoom", r.featuresByUse[0].name);
  EXPECT_EQ(3, r.featuresByUse[0].uses);
  EXPECT_EQ(2, r.featuresByUse[1].starts);
  ASSERT_EQ(1u, r.featuresByTime.size());
  EXPECT_EQ(2, r.featuresByTime[0].pairs);
  EXPECT_EQ(1750, r.featuresByTime[0].totalMs);
  ASSERT_EQ(2u, r.sessionsPerDay.size());
  EXPECT_EQ("2026-01-02", r.sessionsPerDay[0].day);
  EXPECT_EQ(1, r.sessionsPerDay[1].sessions);
  ASSERT_EQ(2u, r.faultsByType.size());
  EXPECT_EQ("IOError", r.faultsByType[0].type);
  EXPECT_EQ(2, r.faultsByType[0].faults);
  EXPECT_EQ(1, r.faultsByType[0].uncaught);
  ASSERT_EQ(2u, r.probes.size());
  EXPECT_EQ("2026-01-02T10", r.probes[0].hour);
  EXPECT_EQ(2, r.probes[0].probes);
  EXPECT_EQ("151", r.probes[0].usedMB.value_or("?"));  // 150.5 rounded
  EXPECT_EQ("30", r.probes[0].cpuPercent.value_or("?"));
  EXPECT_FALSE(r.probes[1].cpuPercent);
  ASSERT_EQ(2u, r.latestProfiles.size());
  EXPECT_EQ("HOSTA", r.latestProfiles[0].host);
  EXPECT_EQ(Guid(18), r.latestProfiles[0].id);
  EXPECT_EQ(Guid(31), r.latestProfiles[1].id);
  bool sawDisk = false;
  for (const auto& line : r.latestProfiles[0].lines) {
    if (line.first == "disk") {
      sawDisk = true;
      EXPECT_EQ("name=C: size=476837 free=120000 fstype=NTFS serial=1A2B3C4D", line.second);
    }
  }
  EXPECT_TRUE(sawDisk);
}

INSTANTIATE_TEST_SUITE_P(Stores, StoreTest, ::testing::Values("sqlite", "postgres"),
                         [](const ::testing::TestParamInfo<std::string>& info) { return info.param; });

}  // namespace
}  // namespace collector
}  // namespace qz
