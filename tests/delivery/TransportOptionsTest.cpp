// The transport options beyond the defaults, against the loopback receiver:
// verified certificates, pinned keys, the system's proxy, and what the
// collector asks with Retry-After.
#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

#include "delivery/TransportSetup.h"
#include "delivery/XMLTransmitterTest.h"
#include "support/HelperProcess.h"

namespace qz {
namespace test {
namespace {

const QZChar kBody[] = QZ_TEXT("<m>a batch</m>");

// One verified post with the test authority (args[0]) trusted, to args[1]:
// exit code 0 when it was accepted, 1 when not, 2 when the authority could
// not be installed. A process of its own, because Wine reads the root store
// once per process, before the test's authority is there.
int VerifiedPost(const std::vector<std::string>& args) {
  if (args.size() != 2) return 2;
  TrustedAuthority authority(args[0]);
  std::string why;
  if (!authority.Installed(&why)) return 2;
  Configuration configuration;
  configuration.SetEndpointLocation(W(args[1].c_str()).c_str());
  configuration.SetVerifyServerCertificate(true);
  std::unique_ptr<XMLTransmitter> transmitter(Platform::NewXMLTransmitter(&configuration));
  return TransmitterTest::Send(*transmitter, kBody) ? 0 : 1;
}
HelperRegistration g_verifiedPost("verified-post", &VerifiedPost);

class TransportOptionsTest : public TransmitterTest {
 protected:
  void SetUp() override {
    TransmitterTest::SetUp();
    // Each test is a run of its own for the once-per-run diagnostics.
    XMLTransmitter::BeginRun();
    ASSERT_TRUE(receiver.Pins(selfSignedPin, signedPin));
  }

  static std::unique_ptr<XMLTransmitter> MakeWith(const std::string& location, bool ssl,
                                                  const std::function<void(Configuration&)>& set) {
    Configuration configuration;
    configuration.SetEndpointLocation(W(location.c_str()).c_str());
    configuration.SetUseSSL(ssl);
    configuration.SetEndpointTimeout(10000);
    set(configuration);
    return std::unique_ptr<XMLTransmitter>(Platform::NewXMLTransmitter(&configuration));
  }
  static std::function<void(Configuration&)> Verified() {
    return [](Configuration& c) { c.SetVerifyServerCertificate(true); };
  }
  static std::function<void(Configuration&)> Pinned(const std::string& pins, bool verify = false) {
    return [=](Configuration& c) {
      c.SetServerCertificatePin(W(pins.c_str()).c_str());
      c.SetVerifyServerCertificate(verify);
    };
  }
  static std::function<void(Configuration&)> SystemProxy() {
    return [](Configuration& c) { c.SetUseSystemProxy(true); };
  }
  // The receiver's HTTPS port with the signed certificate, by a name that
  // certificate names (Wine's WinHTTP matches names, not addresses).
  std::string Signed(int port) const { return "localhost:" + std::to_string(port) + "/p"; }
  std::string SelfSigned() const { return receiver.Location(true, "/p"); }

  // Entries of the certificate diagnostic, whatever reason it gives.
  static int Refusals(const LogCapture& log) {
    int count = 0;
    for (const LogEntry& entry : log.Entries()) {
      count += entry.source == std::string(kSystem) + "XMLTransmitter::Post" &&
               entry.message.rfind("Server certificate refused: ", 0) == 0 &&
               entry.level == Platform::LOG_ERROR;
    }
    return count;
  }
  // Whether the batch reached the receiver in any request.
  bool BatchArrived() {
    for (int i = 0; i < receiver.Count(); ++i) {
      RecordedRequest request;
      if (receiver.Request(i, request) && request.body.find("a batch") != std::string::npos) return true;
    }
    return false;
  }

  std::string selfSignedPin;
  std::string signedPin;
};

TEST_F(TransportOptionsTest, VerificationRefusesSelfSignedAndMisnamedCertificatesLoggingOncePerRun) {
  LogCapture log;
  auto selfSigned = MakeWith(SelfSigned(), true, Verified());
  EXPECT_FALSE(Send(*selfSigned, kBody));
  EXPECT_EQ(0, selfSigned->GetLastStatus());
  EXPECT_FALSE(Send(*selfSigned, kBody));
  // Another transmitter of the same run (the stored batches' sender) says nothing new.
  auto another = MakeWith(SelfSigned(), true, Verified());
  EXPECT_FALSE(Send(*another, kBody));
  EXPECT_EQ(1, Refusals(log)) << log.Dump();
  EXPECT_FALSE(BatchArrived());

  XMLTransmitter::BeginRun();
  EXPECT_FALSE(Send(*another, kBody));
  EXPECT_EQ(2, Refusals(log)) << log.Dump();

  // Signed by an authority the system trusts, but for another host.
  HelperProcess helper;
  ASSERT_TRUE(helper.Start("verified-post", {receiver.AuthorityFile(), Signed(receiver.MisnamedPort())}));
  EXPECT_EQ(1, helper.Wait(60000));
  EXPECT_FALSE(BatchArrived());
}

TEST_F(TransportOptionsTest, VerificationAcceptsACertificateFromATrustedAuthority) {
  // Not trusted here: the test authority is in no system store.
  auto untrusted = MakeWith(Signed(receiver.SignedPort()), true, Verified());
  EXPECT_FALSE(Send(*untrusted, kBody));
  EXPECT_FALSE(BatchArrived());

  HelperProcess helper;
  ASSERT_TRUE(helper.Start("verified-post", {receiver.AuthorityFile(), Signed(receiver.SignedPort())}));
  EXPECT_EQ(0, helper.Wait(60000));
  EXPECT_TRUE(BatchArrived());
}

TEST_F(TransportOptionsTest, APinAcceptsOnlyThatKeyAndTheBatchNeverReachesAnotherServer) {
  LogCapture log;
  // A pin alone accepts the self-signed collector with that key, in either spelling.
  for (const std::string& pins :
       {selfSignedPin, "sha256//" + selfSignedPin, signedPin + ";" + selfSignedPin,
        " " + selfSignedPin.substr(0, 43) + " ;"}) {
    auto pinned = MakeWith(SelfSigned(), true, Pinned(pins));
    EXPECT_TRUE(Send(*pinned, kBody)) << pins << "\n" << log.Dump();
  }
  EXPECT_EQ(0, Refusals(log)) << log.Dump();

  ASSERT_TRUE(receiver.Reset());
  auto wrong = MakeWith(SelfSigned(), true, Pinned(signedPin));
  EXPECT_FALSE(Send(*wrong, kBody));
  EXPECT_FALSE(Send(*wrong, kBody));
  EXPECT_EQ(1, Refusals(log)) << log.Dump();
  EXPECT_FALSE(BatchArrived());

  // With verification too, both must hold: the self-signed key matches its
  // pin, but no authority vouches for it.
  auto both = MakeWith(SelfSigned(), true, Pinned(selfSignedPin, true));
  EXPECT_FALSE(Send(*both, kBody));
  EXPECT_FALSE(BatchArrived());
}

TEST_F(TransportOptionsTest, CertificateOptionsOverPlainHttpAreSaidToDoNothing) {
  LogCapture log;
  auto plain = MakeWith(receiver.Location(false, "/p"), false, Pinned(signedPin, true));
  auto again = MakeWith(receiver.Location(false, "/p"), false, Pinned(signedPin, true));
  EXPECT_TRUE(Send(*plain, kBody));
  EXPECT_EQ(1, log.Count("XMLTransmitter::XMLTransmitter",
                         "The endpoint is plain HTTP: certificate checks do not apply"))
      << log.Dump();
}

TEST_F(TransportOptionsTest, TheSystemsProxyCarriesThePosts) {
  ProxyRestored restored;
  std::string why;
  const std::string proxy = ProxyByName();
  ASSERT_TRUE(SystemProxy::SetManual(proxy, "", &why)) << why;
  auto viaProxy = MakeWith(SelfSigned(), true, SystemProxy());
  LogCapture log;
  ASSERT_TRUE(Send(*viaProxy, kBody)) << log.Dump();
  EXPECT_EQ(std::vector<std::string>{"127.0.0.1:" + std::to_string(receiver.HttpsPort())},
            receiver.Tunnels());
  EXPECT_TRUE(BatchArrived());

  // The pin is checked on the collector's certificate, not the proxy's tunnel.
  ASSERT_TRUE(receiver.Reset());
  auto pinned = MakeWith(SelfSigned(), true, [&](Configuration& c) {
    c.SetUseSystemProxy(true);
    c.SetServerCertificatePin(W(selfSignedPin.c_str()).c_str());
  });
  EXPECT_TRUE(Send(*pinned, kBody)) << log.Dump();
  EXPECT_EQ(1u, receiver.Tunnels().size());

  // A host on the bypass list is reached directly.
  ASSERT_TRUE(receiver.Reset());
  ASSERT_TRUE(SystemProxy::SetManual(proxy, "127.0.0.1", &why)) << why;
  auto bypassed = MakeWith(SelfSigned(), true, SystemProxy());
  EXPECT_TRUE(Send(*bypassed, kBody)) << log.Dump();
  EXPECT_TRUE(receiver.Tunnels().empty());
  EXPECT_TRUE(BatchArrived());
}

TEST_F(TransportOptionsTest, RetryAfterOnA503Or429IsKeptAndOtherwiseIgnored) {
  auto transmitter = Make(receiver.Location(false, "/p"));
  const struct {
    int status;
    std::string header;
    bool kept;
  } cases[] = {{503, "2", true},
               {429, "120", true},
               {503, "Wed, 21 Oct 2015 07:28:00 GMT", true},  // past: at once
               {500, "2", false},
               {503, "", false},
               {503, "soon", false},
               {204, "2", false}};
  for (const auto& c : cases) {
    SCOPED_TRACE(std::to_string(c.status) + " " + c.header);
    ASSERT_TRUE(receiver.SetStatus(c.status, c.header, 0));
    EXPECT_EQ(c.status == 204, Send(*transmitter, kBody));
    EXPECT_EQ(c.status, transmitter->GetLastStatus());
    if (c.kept) {
      EXPECT_EQ(c.header == "2" ? 2000 : c.header == "120" ? 120000 : 0,
                transmitter->GetLastRetryAfter());
    } else {
      EXPECT_EQ(-1, transmitter->GetLastRetryAfter());
    }
  }
  // A later answer without the header forgets it.
  ASSERT_TRUE(receiver.SetStatus(503, "2", 1));
  EXPECT_FALSE(Send(*transmitter, kBody));
  EXPECT_EQ(2000, transmitter->GetLastRetryAfter());
  EXPECT_TRUE(Send(*transmitter, kBody));
  EXPECT_EQ(-1, transmitter->GetLastRetryAfter());
}

}  // namespace
}  // namespace test
}  // namespace qz
