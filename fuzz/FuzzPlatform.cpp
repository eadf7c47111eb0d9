#include "FuzzPlatform.h"

#include <ftw.h>
#include <stdlib.h>
#include <unistd.h>

#include <cstdio>
#include <memory>
#include <string>

#include "PooledThread.h"
#include "delivery/PosixXMLTransmitter.h"
#include "platform/CaughtException.h"
#include "platform/LibraryLoad.h"
#include "platform/MachineFacts.h"
#include "platform/PosixPlatform.h"
#include "platform/TestHooks.h"
#include "qz/Configuration.h"

namespace qz {
namespace fuzz {
namespace {

PostCheck g_check = nullptr;
char g_storage[64];

// The real transport is made, so the endpoint is parsed as in a run; only
// the post itself stays here.
class FuzzTransmitter : public XMLTransmitter {
 public:
  explicit FuzzTransmitter(const Configuration& configuration)
      : XMLTransmitter(configuration), real(configuration) {}

  bool Post(const StringBuf& platformText, const StringBuf& companyId, const StringBuf& applicationId,
            const StringBuf& messageGroup, const StringBuf& body) override {
    if (g_check != nullptr && body.StrLen() != 0) {
      g_check(platformText, companyId, applicationId, messageGroup, body);
    }
    return true;
  }

 private:
  PosixXMLTransmitter real;
};

// A copy of a fact; lists own their records, so those are copied one by one.
template <typename Info>
void CopyFact(const Info& from, Info& to) {
  to = from;
}
template <typename Record>
void CopyFact(const FactList<Record>& from, FactList<Record>& to) {
  for (const auto& record : from) {
    to.push_back(std::make_unique<Record>());
    *to.back() = *record;
  }
}

// Facts read from the machine once for each setting of the two flags that
// select them, then handed out as copies: reading /proc and /sys afresh for
// every profile cost more than all else an input does, and an input cannot
// change what the machine is anyway.
template <typename Info>
class Canned {
 public:
  template <typename Read>
  void Fill(Read read) {
    for (int full = 0; full < 2; ++full) {
      for (int omit = 0; omit < 2; ++omit) read(values[full][omit], full != 0, omit != 0);
    }
  }
  void Get(Info& out, bool fullData, bool omitPersonalInfo = false) const {
    CopyFact(values[fullData][omitPersonalInfo], out);
  }

 private:
  Info values[2][2];
};

class FuzzPlatform : public PosixPlatform {
 public:
  // Before any library thread starts, so that the copies are only ever read;
  // after construction, so that a fact that logs reaches this platform's log.
  void ReadFacts() {
    os.Fill([this](OsInfo& i, bool full, bool) { PosixPlatform::DoGetOsInfo(i, full); });
    video.Fill([this](VideoInfo& i, bool full, bool) { PosixPlatform::DoGetVideoInfo(i, full); });
    user.Fill([this](UserInfo& i, bool full, bool omit) { PosixPlatform::DoGetUserInfo(i, full, omit); });
    timeZone.Fill([this](TimeZoneInfo& i, bool full, bool) { PosixPlatform::DoGetTimeZoneInfo(i, full); });
    power.Fill([this](StringBuf& s, bool full, bool) { PosixPlatform::DoGetPowerState(s, full); });
    model.Fill([this](SystemModelInfo& i, bool full, bool) { PosixPlatform::DoGetSystemModel(i, full); });
    screen.Fill([this](ScreenInfo& i, bool full, bool) { PosixPlatform::DoGetScreenInfo(i, full); });
    adapters.Fill([this](FactList<NetworkAdapterInfo>& l, bool full, bool omit) {
      PosixPlatform::DoGetNetworkAdapters(l, full, omit);
    });
    memoryUse.Fill([this](MemoryUseInfo& i, bool, bool) { PosixPlatform::DoGetMemoryUse(i); });
    memory.Fill([this](MemoryInfo& i, bool full, bool) { PosixPlatform::DoGetMemoryInfo(i, full); });
    host.Fill([this](HostInfo& i, bool, bool omit) { PosixPlatform::DoGetHostInfo(i, omit); });
    domain.Fill([this](DomainInfo& i, bool full, bool omit) { PosixPlatform::DoGetDomainInfo(i, full, omit); });
    disks.Fill([this](FactList<DiskInfo>& l, bool full, bool) { PosixPlatform::DoGetDisks(l, full); });
    processors.Fill([this](FactList<CpuInfo>& l, bool full, bool) { PosixPlatform::DoGetProcessors(l, full); });
    terminal.Fill([this](TerminalServicesInfo& i, bool full, bool) {
      PosixPlatform::DoGetTerminalServicesInfo(i, full);
    });
    sound.Fill([this](DeviceInfo& i, bool full, bool) { PosixPlatform::DoGetSoundDevice(i, full); });
    modem.Fill([this](DeviceInfo& i, bool full, bool) { PosixPlatform::DoGetModem(i, full); });
    pageFiles.Fill([this](FactList<PageFileInfo>& l, bool full, bool) { PosixPlatform::DoGetPageFiles(l, full); });
    cannedLoad = PosixPlatform::DoGetCpuLoad();
  }

 protected:
  void DoGetOsInfo(OsInfo& info, bool fullData) override { os.Get(info, fullData); }
  void DoGetVideoInfo(VideoInfo& info, bool fullData) override { video.Get(info, fullData); }
  void DoGetUserInfo(UserInfo& info, bool fullData, bool omitPersonalInfo) override {
    user.Get(info, fullData, omitPersonalInfo);
  }
  void DoGetTimeZoneInfo(TimeZoneInfo& info, bool fullData) override { timeZone.Get(info, fullData); }
  void DoGetPowerState(StringBuf& out, bool fullData) override { power.Get(out, fullData); }
  void DoGetSystemModel(SystemModelInfo& info, bool fullData) override { model.Get(info, fullData); }
  void DoGetScreenInfo(ScreenInfo& info, bool fullData) override { screen.Get(info, fullData); }
  void DoGetNetworkAdapters(FactList<NetworkAdapterInfo>& list, bool fullData, bool omitPersonalInfo) override {
    adapters.Get(list, fullData, omitPersonalInfo);
  }
  void DoGetMemoryUse(MemoryUseInfo& info) override { memoryUse.Get(info, false); }
  void DoGetMemoryInfo(MemoryInfo& info, bool fullData) override { memory.Get(info, fullData); }
  void DoGetHostInfo(HostInfo& info, bool omitPersonalInfo) override { host.Get(info, false, omitPersonalInfo); }
  void DoGetDomainInfo(DomainInfo& info, bool fullData, bool omitPersonalInfo) override {
    domain.Get(info, fullData, omitPersonalInfo);
  }
  void DoGetDisks(FactList<DiskInfo>& list, bool fullData) override { disks.Get(list, fullData); }
  uint32_t DoGetCpuLoad() override { return cannedLoad; }
  void DoGetProcessors(FactList<CpuInfo>& list, bool fullData) override { processors.Get(list, fullData); }
  void DoGetTerminalServicesInfo(TerminalServicesInfo& info, bool fullData) override {
    terminal.Get(info, fullData);
  }
  void DoGetSoundDevice(DeviceInfo& info, bool fullData) override { sound.Get(info, fullData); }
  void DoGetModem(DeviceInfo& info, bool fullData) override { modem.Get(info, fullData); }
  void DoGetPageFiles(FactList<PageFileInfo>& list, bool fullData) override { pageFiles.Get(list, fullData); }

  IThread* DoNewThread(IRunnable* runnable) override {
    return NewOrNull<PooledThread>(QZ_TEXT("FuzzPlatform::NewThread"), runnable);
  }
  XMLTransmitter* DoNewXMLTransmitter(Configuration* configuration) override {
    if (configuration == nullptr) return nullptr;
    return NewOrNull<FuzzTransmitter>(QZ_TEXT("FuzzPlatform::NewXMLTransmitter"), *configuration);
  }
  void DoLogInfo(const QZChar*, const QZChar*) override {}
  void DoLogWarn(const QZChar*, const QZChar*) override {}
  void DoLogError(const QZChar*, const QZChar*) override {}

 private:
  Canned<OsInfo> os;
  Canned<VideoInfo> video;
  Canned<UserInfo> user;
  Canned<TimeZoneInfo> timeZone;
  Canned<StringBuf> power;
  Canned<SystemModelInfo> model;
  Canned<ScreenInfo> screen;
  Canned<FactList<NetworkAdapterInfo>> adapters;
  Canned<MemoryUseInfo> memoryUse;
  Canned<MemoryInfo> memory;
  Canned<HostInfo> host;
  Canned<DomainInfo> domain;
  Canned<FactList<DiskInfo>> disks;
  Canned<FactList<CpuInfo>> processors;
  Canned<TerminalServicesInfo> terminal;
  Canned<DeviceInfo> sound;
  Canned<DeviceInfo> modem;
  Canned<FactList<PageFileInfo>> pageFiles;
  uint32_t cannedLoad = 0;
};

bool StorageFolder(int32_t folder, StringBuf& path) {
  if (folder != 1) return false;
  path.Clear().Append(g_storage);
  return true;
}

void RemoveStorage() {
  nftw(
      g_storage,
      [](const char* name, const struct stat*, int, struct FTW*) { return remove(name); }, 16,
      FTW_DEPTH | FTW_PHYS);
}

}  // namespace

void ClearStorage() {
  nftw(
      g_storage,
      [](const char* name, const struct stat*, int type, struct FTW*) {
        return type == FTW_F ? remove(name) : 0;
      },
      16, FTW_PHYS);
}

void InstallPlatform(PostCheck check) {
  g_check = check;
  // In memory where the system has it: every stored batch is synced, and
  // waiting for a disk took a twentieth of a run.
  std::snprintf(g_storage, sizeof g_storage, "%s/qz-fuzz-storage-XXXXXX",
                access("/dev/shm", W_OK) == 0 ? "/dev/shm" : "/tmp");
  if (mkdtemp(g_storage) == nullptr) {
    std::perror("mkdtemp");
    std::abort();
  }
  std::atexit(&RemoveStorage);
  testhooks::SetStorageFolderOverride(&StorageFolder);
  // The first platform made is the singleton; the load step then adds the lock.
  auto* platform = new FuzzPlatform();
  platform->ReadFacts();
  CreatePlatform();
}

}  // namespace fuzz
}  // namespace qz
