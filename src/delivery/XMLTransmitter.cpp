#include "delivery/XMLTransmitter.h"

#include <atomic>

#include "delivery/RetryAfter.h"
#include "platform/Platform.h"
#include "qz/Configuration.h"

namespace qz {
namespace {

// Runs are numbered from 1.
std::atomic<uint32_t> g_run{1};

}  // namespace

XMLTransmitter::XMLTransmitter(const Configuration& configuration)
    : endpointLocation(configuration.GetEndpointLocation()),
      useSSL(configuration.IsUseSSL()),
      endpointTimeout(configuration.GetEndpointTimeout()),
      verifyServerCertificate(configuration.IsVerifyServerCertificate()),
      useSystemProxy(configuration.IsUseSystemProxy()) {
  // The configuration never stores less than 1, but a zero or negative value
  // would mean "no limit" to the HTTP clients below.
  if (endpointTimeout < 1) endpointTimeout = 1;
  // The configuration keeps only text that parses.
  serverPins.Parse(configuration.GetServerCertificatePin());
  if (!useSSL && (verifyServerCertificate || !serverPins.IsEmpty())) {
    LogOnce(Once::kPlainText, Platform::LOG_WARN, QZ_TEXT("XMLTransmitter::XMLTransmitter"),
            StringBuf(QZ_TEXT("The endpoint is plain HTTP: certificate checks do not apply")));
  }
}

XMLTransmitter::~XMLTransmitter() = default;

void XMLTransmitter::BeginRun() { g_run.fetch_add(1); }

void XMLTransmitter::LogOnce(Once kind, int32_t level, const QZChar* source,
                             const StringBuf& message) {
  // The run each kind was last logged in.
  static std::atomic<uint32_t> logged[static_cast<int>(Once::kCount)];
  const uint32_t run = g_run.load();
  if (logged[static_cast<int>(kind)].exchange(run) == run) return;
  if (level >= Platform::LOG_ERROR) {
    Platform::LogError(source, message);
  } else if (level >= Platform::LOG_WARN) {
    Platform::LogWarn(source, message);
  } else {
    Platform::LogInfo(source, message);
  }
}

void XMLTransmitter::NoteRetryAfter(int32_t status, const char* retryAfter, size_t length) {
  lastRetryAfter = -1;
  if (status != 503 && status != 429) return;
  lastRetryAfter = RetryAfterMillis(retryAfter, length, Platform::GetTimeMillis());
}

}  // namespace qz
