// The transport options of Configuration and their flat functions.
#include <gtest/gtest.h>

#include "qz/Configuration.h"
#include "qz/qz_flat.h"
#include "support/LogCapture.h"
#include "support/TestText.h"

namespace qz {
namespace {
using test::LogCapture;
using test::W;

const char kPin[] = "47DEQpj8HBSa+/TImW+5JCeuQeRkm5NMpJWZG3hSuFU=";
const char kPins[] = "sha256//47DEQpj8HBSa+/TImW+5JCeuQeRkm5NMpJWZG3hSuFU=;"
                     "AAECAwQFBgcICQoLDA0ODxAREhMUFRYXGBkaGxwdHh8=";

TEST(TransportOptions, OffByDefaultCopiedAndResetWithTheRest) {
  Configuration filled;
  EXPECT_FALSE(filled.IsVerifyServerCertificate());
  EXPECT_EQ(W(""), filled.GetServerCertificatePin());
  EXPECT_FALSE(filled.IsUseSystemProxy());

  filled.SetVerifyServerCertificate(true);
  filled.SetServerCertificatePin(W(kPins).c_str());
  filled.SetUseSystemProxy(true);
  Configuration copy;
  copy = &filled;
  EXPECT_TRUE(copy.IsVerifyServerCertificate());
  EXPECT_EQ(W(kPins), copy.GetServerCertificatePin());
  EXPECT_TRUE(copy.IsUseSystemProxy());

  copy = nullptr;
  EXPECT_FALSE(copy.IsVerifyServerCertificate());
  EXPECT_EQ(W(""), copy.GetServerCertificatePin());
  EXPECT_FALSE(copy.IsUseSystemProxy());
}

TEST(TransportOptions, APinThatIsNoDigestIsRefusedAndTheOldOneKept) {
  LogCapture log;
  Configuration c;
  c.SetServerCertificatePin(W(kPin).c_str());
  for (const char* bad : {"47DEQpj8HBSa", "sha1//47DEQpj8HBSa+/TImW+5JCeuQeRkm5NMpJWZG3hSuFU=", ";",
                          "47DEQpj8HBSa+/TImW+5JCeuQeRkm5NMpJWZG3hSuFU=;x"}) {
    c.SetServerCertificatePin(W(bad).c_str());
    EXPECT_EQ(W(kPin), c.GetServerCertificatePin()) << bad;
  }
  EXPECT_EQ(4, log.Count("Configuration::SetServerCertificatePin",
                         "Certificate pin is not a list of base64 SHA-256 digests"))
      << log.Dump();
  log.Clear();
  c.SetServerCertificatePin(nullptr);
  EXPECT_EQ(W(""), c.GetServerCertificatePin());
  c.SetServerCertificatePin(W(kPin).c_str());
  c.SetServerCertificatePin(QZ_TEXT(""));
  EXPECT_EQ(W(""), c.GetServerCertificatePin());
  EXPECT_TRUE(log.Entries().empty()) << log.Dump();
}

TEST(TransportOptions, FlatFunctionsSetTheFieldsAndIgnoreANullHandle) {
  QZConfiguration* config = ::CreateConfiguration();
  ASSERT_NE(nullptr, config);
  ::SetVerifyServerCertificate(config, 2);
  ::SetUseSystemProxy(config, -1);
  ::SetServerCertificatePin(config, W(kPin).c_str());
  EXPECT_TRUE(config->IsVerifyServerCertificate() && config->IsUseSystemProxy());
  EXPECT_EQ(W(kPin), config->GetServerCertificatePin());
  ::SetVerifyServerCertificate(config, 0);
  ::SetUseSystemProxy(config, 0);
  ::SetServerCertificatePin(config, nullptr);
  EXPECT_FALSE(config->IsVerifyServerCertificate() || config->IsUseSystemProxy());
  EXPECT_EQ(W(""), config->GetServerCertificatePin());
  ::DeleteConfiguration(config);

  ::SetVerifyServerCertificate(nullptr, 1);
  ::SetServerCertificatePin(nullptr, W(kPin).c_str());
  ::SetUseSystemProxy(nullptr, 1);
}

}  // namespace
}  // namespace qz
