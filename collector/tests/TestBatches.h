// Batches written by hand exactly as the library writes them (one element per
// line, attributes in the library's order, every text escaped to 7-bit), for
// the message kinds and envelopes that tests need, and the request that
// carries one.
#ifndef QZ_COLLECTOR_TESTS_TESTBATCHES_H
#define QZ_COLLECTOR_TESTS_TESTBATCHES_H

#include <string>
#include <vector>

namespace qz {
namespace collector {
namespace test {

constexpr char kPublishPath[] = "/Tessary.Web.Services.Messaging/MessagingServiceV3.svc/Publish";
constexpr char kCompany[] = "9531985D-5D9D-49F8-9818-E811892F902B";
constexpr char kApplication[] = "36F675CC-81E7-4EF5-A8E2-5D940ED90475";

// A GUID made from a number and a tag, so that tests can name many apart.
std::string Guid(int number, int tag = 0);

struct TestBatch {
  std::string id;
  std::string group;
  bool stored = false;  // the envelope of a batch sent later from storage
  std::string version = "2.1.0";  // the application's
  std::vector<std::string> messages;

  // A new batch id; the group also serves as the default session.
  explicit TestBatch(int number);
  std::string Body() const;
  // The whole POST with the eight headers the library sends.
  std::string Request(const std::string& path = kPublishPath) const;
};

// Message elements. Times are "2026-01-02T10:00:00.000Z" plus ms.
std::string Time(long long ms);
std::string AppStart(const std::string& id, const std::string& session, long long ms, const std::string& hostName,
                     const std::string& children = "");
std::string SessionStart(const std::string& id, const std::string& session, long long ms);
std::string Feature(const std::string& id, const std::string& session, long long ms, const std::string& group,
                    const std::string& name, const std::string& event, const std::string& children = "");
std::string Fault(const std::string& id, const std::string& session, long long ms, const std::string& type,
                  const std::string& event);
std::string Probe(const std::string& id, const std::string& session, long long ms, const std::string& name,
                  int usedMB, int cpu);
std::string Profile(const std::string& id, const std::string& session, long long ms);

// A batch as the library writes one in steady use: 30 messages (a session
// start, feature ticks and start/stop pairs with their binary and two
// properties, a probe and a fault), about 11 KB, every id its own.
TestBatch LibraryBatch(int number);

}  // namespace test
}  // namespace collector
}  // namespace qz

#endif  // QZ_COLLECTOR_TESTS_TESTBATCHES_H
