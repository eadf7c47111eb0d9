// The one object through which the library reaches the operating system.
// Everything else calls the static operations, which forward to the singleton.
#ifndef QZ_PLATFORM_PLATFORM_H
#define QZ_PLATFORM_PLATFORM_H

#include <atomic>
#include <cstdint>

#include "qz/StringBuf.h"

namespace qz {

class Mutex;
class ThreadID;
class IThread;
class IRunnable;
class Configuration;
class XMLTransmitter;
class OfflineData;

struct PlatformInfo {
  StringBuf name;
  StringBuf version;
};

class Platform {
 public:
  static constexpr int32_t LOG_INFO = 100;
  static constexpr int32_t LOG_WARN = 200;
  static constexpr int32_t LOG_ERROR = 300;

  // The first platform constructed becomes the singleton; later ones do not.
  Platform();
  virtual ~Platform();
  Platform(const Platform&) = delete;
  Platform& operator=(const Platform&) = delete;

  // Static interface: each forwards to the singleton, or returns 0 / does nothing
  // when there is none.
  static Mutex* NewMutex();
  static ThreadID* NewThreadID();
  static IThread* NewThread(IRunnable* runnable);
  static XMLTransmitter* NewXMLTransmitter(Configuration* configuration);
  static OfflineData* NewOfflineData();
  static void ApplyDefaultEndpoint(Configuration* configuration);
  static void GetPlatformInfo(PlatformInfo& info);
  static uint64_t GetTimeMillis();
  static void FormatTime(uint64_t milliseconds, StringBuf& out);
  static void GetTimeString(StringBuf& out);
  static void NewGUID(StringBuf& out);
  static void LogInfo(const QZChar* source, const QZChar* message);
  static void LogWarn(const QZChar* source, const QZChar* message);
  static void LogError(const QZChar* source, const QZChar* message);

  // Clamped to LOG_INFO..LOG_ERROR; no effect without a singleton.
  static void SetLogLevel(int32_t level);
  static int32_t GetLogLevel();
  static Platform* Instance();

 protected:
  // Slots 0-11 and 30-32; the machine and user facts come between them later.
  virtual Mutex* DoNewMutex() = 0;
  virtual ThreadID* DoNewThreadID() = 0;
  virtual IThread* DoNewThread(IRunnable* runnable) = 0;
  virtual XMLTransmitter* DoNewXMLTransmitter(Configuration* configuration) = 0;
  virtual OfflineData* DoNewOfflineData() = 0;
  virtual void DoApplyDefaultEndpoint(Configuration* configuration) = 0;
  virtual void DoGetPlatformInfo(PlatformInfo& info) = 0;
  virtual uint64_t DoGetTimeMillis() = 0;
  virtual void DoFormatTime(uint64_t milliseconds, StringBuf& out) = 0;
  virtual void DoGetTimeString(StringBuf& out) = 0;
  virtual void DoNewGUID(StringBuf& out) = 0;
  virtual void DoLogInfo(const QZChar* source, const QZChar* message) = 0;
  virtual void DoLogWarn(const QZChar* source, const QZChar* message) = 0;
  virtual void DoLogError(const QZChar* source, const QZChar* message) = 0;

 private:
  // Read and written without a lock from any thread; atomic only so that
  // neither side can see a torn value.
  std::atomic<int32_t> logLevel;
};

// Made by the platform file that CMake picks for this system.
Platform* NewNativePlatform();

// Time text shared by both platforms: "YYYY-MM-DDThh:mm:ss.mmmZ" (UTC) from calendar fields.
void FormatTimeText(StringBuf& out, int year, int month, int day, int hour, int minute,
                    int second, int millisecond);

}  // namespace qz

#endif  // QZ_PLATFORM_PLATFORM_H
