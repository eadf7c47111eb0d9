// PLACEHOLDER: minimal Linux platform so the tree links; being replaced.
#include <sys/time.h>

#include "platform/Platform.h"

namespace qz {
namespace {
class PosixPlatform : public Platform {
 protected:
  Mutex* DoNewMutex() override { return nullptr; }
  ThreadID* DoNewThreadID() override { return nullptr; }
  IThread* DoNewThread(IRunnable*) override { return nullptr; }
  XMLTransmitter* DoNewXMLTransmitter(Configuration*) override { return nullptr; }
  OfflineData* DoNewOfflineData() override { return nullptr; }
  void DoApplyDefaultEndpoint(Configuration*) override {}
  void DoGetPlatformInfo(PlatformInfo&) override {}
  uint64_t DoGetTimeMillis() override {
    timeval tv;
    gettimeofday(&tv, nullptr);
    return static_cast<uint64_t>(tv.tv_sec) * 1000 + static_cast<uint64_t>(tv.tv_usec) / 1000;
  }
  void DoFormatTime(uint64_t, StringBuf&) override {}
  void DoGetTimeString(StringBuf&) override {}
  void DoNewGUID(StringBuf&) override {}
  void DoLogInfo(const QZChar*, const QZChar*) override {}
  void DoLogWarn(const QZChar*, const QZChar*) override {}
  void DoLogError(const QZChar*, const QZChar*) override {}
};
}  // namespace

Platform* NewNativePlatform() { return new PosixPlatform(); }

}  // namespace qz
