// Shared by the transport tests: a receiver-backed fixture and the name of
// this system's transmitter class, as it appears in diagnostics.
#ifndef QZ_TESTS_DELIVERY_XMLTRANSMITTERTEST_H
#define QZ_TESTS_DELIVERY_XMLTRANSMITTERTEST_H

#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <string>

#include "delivery/XMLTransmitter.h"
#include "qz/Configuration.h"
#include "support/LogCapture.h"
#include "support/Receiver.h"
#include "support/TestText.h"

namespace qz {
namespace test {

// "Win32" or "Posix".
extern const char kTransmitterClass[];

class TransmitterTest : public ::testing::Test {
 protected:
  void SetUp() override;
  void TearDown() override;
  static std::unique_ptr<XMLTransmitter> Make(const std::string& location, bool ssl = false,
                                              int32_t timeout = 10000);
  static bool Send(XMLTransmitter& transmitter, const QZString& body);

  Receiver receiver;
};

}  // namespace test
}  // namespace qz

#endif  // QZ_TESTS_DELIVERY_XMLTRANSMITTERTEST_H
