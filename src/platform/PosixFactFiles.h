// Readers of the Linux files and answers that the machine facts come from, and
// the rules applied to them. Each takes its input as given (a file's text, a
// list of addresses, a moment), so tests feed recorded inputs and need no
// particular machine.
#ifndef QZ_PLATFORM_POSIXFACTFILES_H
#define QZ_PLATFORM_POSIXFACTFILES_H

#include <cstddef>
#include <cstdint>
#include <ctime>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/MachineFacts.h"
#include "qz/StringBuf.h"

namespace qz {

// The whole of a small file (those under /proc and /sys report no size, so
// this reads to the end, at most limit bytes). False when it cannot be opened.
bool ReadSmallFile(const char* path, std::string& out, size_t limit = 1 << 20);

// The start of a file into the caller's buffer, without allocating: what a
// probe on the host's thread can afford. Returns the bytes read, 0 when the
// file cannot be opened.
size_t ReadFileStart(const char* path, char* buffer, size_t size);

// The value of a "Key:   123 kB" line of /proc/meminfo or /proc/self/status.
// A last line that was cut off (no line feed) does not count.
bool FindKilobytes(std::string_view text, const char* key, uint64_t& kilobytes);

// Memory that can still be committed, from /proc/meminfo: available RAM plus
// free swap (free memory and caches on kernels that do not estimate it).
uint64_t AvailableKilobytes(std::string_view meminfo);
// Whether any swap is in use, so that a process may have memory there.
bool SwapInUse(std::string_view meminfo);
// This process's anonymous resident memory (resident minus file-backed and
// shared pages) from /proc/self/statm.
bool AnonymousKilobytes(std::string_view statm, uint64_t pageBytes, uint64_t& kilobytes);

// Clock ticks of all processors together since boot, from the first line of
// /proc/stat. Busy: user, nice, system, interrupts and stolen time; waiting
// for I/O counts as idle, as it does on Windows.
struct ProcessorTicks {
  uint64_t busy = 0;
  uint64_t total = 0;
};
bool ParseProcessorTicks(std::string_view stat, ProcessorTicks& out);

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

// One IPv4 address of an interface, as getifaddrs gives it.
struct InterfaceAddress {
  uint32_t index = 0;     // the interface's index: the kernel's stable order
  bool up = false;        // IFF_UP
  bool loopback = false;  // IFF_LOOPBACK
  uint32_t address = 0;   // host byte order
};
// The host's address: the first address of its name that is neither
// loopback (127/8), link-local (169.254/16) nor 0.0.0.0; when the name gives
// none (a Debian host's name resolves to 127.0.1.1), the first such address
// of an interface that is up, in index order; else "0.0.0.0".
void ChooseHostAddress(const std::vector<uint32_t>& resolved,
                       std::vector<InterfaceAddress> interfaces, StringBuf& out);

// Whether text is a machine identifier (/etc/machine-id): 32 hexadecimal digits.
bool IsMachineId(std::string_view text);
// The user identity that stands for the machine when personal information is
// omitted: the machine identifier is confidential, so what is sent is a keyed
// hash of it (HMAC-SHA256 with the library's own key, cut to 128 bits), 32
// upper-case hexadecimal digits. Empty when no hash can be made.
void AnonymousMachineIdentity(std::string_view machineId, StringBuf& out);

// The standard offset and daylight flag of the process's time zone (TZ, else
// /etc/localtime) at that moment, as Windows defines them: the standard
// offset is the lowest offset the zone uses in that local year, and daylight
// saving is in force when the offset then differs from it. Zones whose data
// marks winter time as "daylight" (Europe/Dublin) come out as Windows has them.
void LocalTimeZoneAt(time_t when, TimeZoneInfo& out);

// The first card of /proc/asound/cards: its driver and its name.
bool ParseSoundCards(const std::string& text, DeviceInfo& out);

}  // namespace qz

#endif  // QZ_PLATFORM_POSIXFACTFILES_H
