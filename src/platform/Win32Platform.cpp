// PLACEHOLDER: minimal Windows platform so the tree links; being replaced.


#include "platform/Platform.h"

namespace qz {
namespace {
class Win32Platform : public Platform {
 protected:
  Mutex* DoNewMutex() override { return nullptr; }
  ThreadID* DoNewThreadID() override { return nullptr; }
  IThread* DoNewThread(IRunnable*) override { return nullptr; }
  XMLTransmitter* DoNewXMLTransmitter(Configuration*) override { return nullptr; }
  OfflineData* DoNewOfflineData() override { return nullptr; }
  void DoApplyDefaultEndpoint(Configuration*) override {}
  void DoGetPlatformInfo(PlatformInfo&) override {}
  uint64_t DoGetTimeMillis() override {


    return 0;
  }
  void DoFormatTime(uint64_t, StringBuf&) override {}
  void DoGetTimeString(StringBuf&) override {}
  void DoNewGUID(StringBuf&) override {}
  void DoLogInfo(const QZChar*, const QZChar*) override {}
  void DoLogWarn(const QZChar*, const QZChar*) override {}
  void DoLogError(const QZChar*, const QZChar*) override {}
};
}  // namespace

Platform* NewNativePlatform() { return new Win32Platform(); }

}  // namespace qz
