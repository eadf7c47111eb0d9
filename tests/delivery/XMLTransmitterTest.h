// Shared by the delivery tests: a receiver-backed transport fixture and this
// system's prefix of class names, as it appears in diagnostics.
#ifndef QZ_TESTS_DELIVERY_XMLTRANSMITTERTEST_H
#define QZ_TESTS_DELIVERY_XMLTRANSMITTERTEST_H

#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <string>

#include "delivery/XMLTransmitter.h"
#include "platform/Platform.h"
#include "qz/Configuration.h"
#include "support/LogCapture.h"
#include "support/Receiver.h"
#include "support/TestText.h"

namespace qz {
namespace test {

// "Win32" or "Posix".
extern const char kSystem[];

class TransmitterTest : public ::testing::Test {
 public:
  static std::unique_ptr<XMLTransmitter> Make(const std::string& location, bool ssl = false,
                                              int32_t timeout = 10000) {
    Configuration configuration;
    configuration.SetEndpointLocation(W(location.c_str()).c_str());
    configuration.SetUseSSL(ssl);
    configuration.SetEndpointTimeout(timeout);
    return std::unique_ptr<XMLTransmitter>(Platform::NewXMLTransmitter(&configuration));
  }
  static bool Send(XMLTransmitter& transmitter, const QZString& body) {
    return transmitter.Post(StringBuf(W("Test/1.0").c_str()),
                            StringBuf(W("11111111-2222-3333-4444-555555555555").c_str()),
                            StringBuf(W("AAAAAAAA-BBBB-CCCC-DDDD-EEEEEEEEEEEE").c_str()),
                            StringBuf(W("99999999-8888-7777-6666-000000000000").c_str()),
                            StringBuf(body.c_str()));
  }

 protected:
  void SetUp() override {
    std::string why;
    ASSERT_TRUE(receiver.Connect(&why)) << why;
    ASSERT_TRUE(receiver.Reset());
  }
  void TearDown() override { receiver.Reset(); }

  // The receiver's proxy by a name, not the collector's address: Wine's
  // WinHTTP opens a tunnel only to a host named differently from its proxy.
  std::string ProxyByName() const { return "localhost:" + std::to_string(receiver.ProxyPort()); }

  Receiver receiver;
};

}  // namespace test
}  // namespace qz

#endif  // QZ_TESTS_DELIVERY_XMLTRANSMITTERTEST_H
