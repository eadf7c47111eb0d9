// Readers of the Linux files that the machine facts come from. Each takes the
// file's text, so tests feed recorded files and need no particular machine.
#ifndef QZ_PLATFORM_POSIXFACTFILES_H
#define QZ_PLATFORM_POSIXFACTFILES_H

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "platform/MachineFacts.h"
#include "qz/StringBuf.h"

namespace qz {

// The whole of a small file (those under /proc and /sys report no size, so
// this reads to the end, at most limit bytes). False when it cannot be opened.
bool ReadSmallFile(const char* path, std::string& out, size_t limit = 1 << 20);

// The value of a "Key:   123 kB" line of /proc/meminfo or /proc/self/status.
bool FindKilobytes(const std::string& text, const char* key, uint64_t& kilobytes);

// Memory that can still be committed (available RAM plus free swap) from
// /proc/meminfo, and this process's private memory (anonymous resident plus
// swapped out) from /proc/self/status; what is missing stays 0.
void MemoryUseFromProc(const std::string& meminfo, const std::string& status,
                       MemoryUseInfo& out);

// Clock ticks of one processor ("cpuN" line of /proc/stat) since boot.
struct CpuTicks {
  uint32_t index = 0;
  uint64_t busy = 0;
  uint64_t total = 0;
};
std::vector<CpuTicks> ParseProcStat(const std::string& text);
// The average of the processors' loads in percent between two samples.
uint32_t LoadBetween(const std::vector<CpuTicks>& before, const std::vector<CpuTicks>& after);

// One record per physical processor package of /proc/cpuinfo, in order:
// name cpu0, cpu1..., vendor, model name and current speed in MHz.
// firstProcessor gets each package's first logical processor number, where
// its highest speed can be read.
void ParseCpuInfo(const std::string& text, uint32_t addressWidth, FactList<CpuInfo>& list,
                  std::vector<uint32_t>& firstProcessor);

// One record per line of /proc/swaps, sizes in MiB.
void ParseSwaps(const std::string& text, FactList<PageFileInfo>& list);

// PRETTY_NAME of an os-release file, else NAME and VERSION; false when
// neither is there.
bool OsReleaseCaption(const std::string& text, StringBuf& caption);

// The locale name ("en_US") from the first set of LC_ALL, LC_MESSAGES and
// LANG, without encoding or modifier; empty for the C and POSIX locales.
void LocaleName(const char* lcAll, const char* lcMessages, const char* lang, StringBuf& out);

struct MountEntry {
  std::string device;
  std::string mountPoint;
  std::string fileSystem;
};
// The volumes of a mount table (/proc/self/mounts): block devices and the
// root, each device once, at its shortest mount point that isDirectory
// accepts (which leaves out files bound over files), each place once.
std::vector<MountEntry> ParseMounts(const std::string& text,
                                    const std::function<bool(const std::string&)>& isDirectory);

// What getifaddrs and /sys/class/net tell about one interface.
struct InterfaceFacts {
  std::string name;
  std::string ipv4;               // first IPv4 address, empty when none
  std::vector<uint8_t> hardware;  // link-layer address
  uint32_t speedMbps = 0;
};
// One adapter per interface; with personal info omitted the address is
// 0.0.0.0 and neither the name nor the hardware address is given.
void AddAdapters(const std::vector<InterfaceFacts>& interfaces, bool omitPersonalInfo,
                 FactList<NetworkAdapterInfo>& list);

// The first card of /proc/asound/cards: its driver and its name.
bool ParseSoundCards(const std::string& text, DeviceInfo& out);

}  // namespace qz

#endif  // QZ_PLATFORM_POSIXFACTFILES_H
