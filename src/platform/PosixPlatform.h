// The Linux platform: factories, clock, GUIDs and the syslog back end.
#ifndef QZ_PLATFORM_POSIXPLATFORM_H
#define QZ_PLATFORM_POSIXPLATFORM_H

#include "platform/Platform.h"

namespace qz {

class PosixPlatform : public Platform {
 public:
  PosixPlatform();
  ~PosixPlatform() override;

 protected:
  Mutex* DoNewMutex() override;
  ThreadID* DoNewThreadID() override;
  IThread* DoNewThread(IRunnable* runnable) override;
  XMLTransmitter* DoNewXMLTransmitter(Configuration* configuration) override;
  OfflineData* DoNewOfflineData() override;
  void DoApplyDefaultEndpoint(Configuration* configuration) override;
  void DoGetPlatformInfo(PlatformInfo& info) override;
  uint64_t DoGetTimeMillis() override;
  void DoFormatTime(uint64_t milliseconds, StringBuf& out) override;
  void DoGetTimeString(StringBuf& out) override;
  // Random (version 4) GUIDs from a generator seeded once per process by the
  // kernel and again in every forked child.
  void DoNewGUID(StringBuf& out) override;
  // Written to syslog (facility user) as "source: message" in UTF-8, under the
  // host program's own syslog identity: the library never calls openlog.
  void DoLogInfo(const QZChar* source, const QZChar* message) override;
  void DoLogWarn(const QZChar* source, const QZChar* message) override;
  void DoLogError(const QZChar* source, const QZChar* message) override;
};

}  // namespace qz

#endif  // QZ_PLATFORM_POSIXPLATFORM_H
