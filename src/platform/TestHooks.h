// Seams that let tests observe and steer the platform without touching the
// event log or syslog. Production code never installs anything here.
#ifndef QZ_PLATFORM_TESTHOOKS_H
#define QZ_PLATFORM_TESTHOOKS_H

#include <cstdint>
#include <string>

#include "qz/export.h"

namespace qz {

class StringBuf;

namespace testhooks {

// Receives every log call that passes the level test, before the platform's
// own back end sees it. Called from any thread.
class LogSink {
 public:
  virtual void Write(int32_t level, const QZChar* source, const QZChar* message) = 0;
  virtual ~LogSink() = default;
};

// Null removes the sink. Returns the sink that was installed before.
LogSink* SetLogSink(LogSink* sink);
LogSink* GetLogSink();

// Replaces the clock behind Platform::GetTimeMillis; null restores the real one.
// Returns the override that was installed before.
using ClockFunction = uint64_t (*)();
ClockFunction SetClockOverride(ClockFunction clock);

// Replaces the system folders below which offline storage makes its own
// ("Tessary Solutions" and "QZ Storage" inside one of them). Asked for each
// candidate in turn: on Windows the shell folder identifiers 35, 28 and 26,
// on Linux 0 for the per-machine folder and 1 for the per-user one. Sets path
// and returns true, or returns false when that folder is not available. Called
// from any thread. Null restores the system's folders; returns the override
// installed before.
using StorageFolderFunction = bool (*)(int32_t folder, StringBuf& path);
StorageFolderFunction SetStorageFolderOverride(StorageFolderFunction folders);
StorageFolderFunction GetStorageFolderOverride();

// Linux: the file of certificate authorities that a transmitter made from now
// on trusts when it verifies certificates, instead of the system's bundle;
// empty restores the bundle. (Windows has no such seam: a test adds its
// authority to the system's store.)
void SetTrustedAuthoritiesFile(const std::string& path);
std::string GetTrustedAuthoritiesFile();

}  // namespace testhooks
}  // namespace qz

#endif  // QZ_PLATFORM_TESTHOOKS_H
