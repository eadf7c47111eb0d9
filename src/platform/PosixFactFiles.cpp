#include "platform/PosixFactFiles.h"

#include <fcntl.h>
#include <openssl/evp.h>
#include <openssl/hmac.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <map>
#include <memory>
#include <sstream>
#include <utility>

#include "platform/FactRules.h"
#include "types/Utf8.h"

namespace qz {
namespace {

std::string Trimmed(const std::string& text) {
  const char* space = " \t\r\n";
  const size_t begin = text.find_first_not_of(space);
  if (begin == std::string::npos) return std::string();
  return text.substr(begin, text.find_last_not_of(space) - begin + 1);
}

std::vector<std::string> Lines(const std::string& text) {
  std::vector<std::string> lines;
  std::istringstream in(text);
  for (std::string line; std::getline(in, line);) lines.push_back(line);
  return lines;
}

std::vector<std::string> Fields(const std::string& line) {
  std::vector<std::string> fields;
  std::istringstream in(line);
  for (std::string field; in >> field;) fields.push_back(field);
  return fields;
}

// Leading blanks, then decimal digits up to the first other character;
// saturates rather than wrapping.
uint64_t ToNumber(std::string_view text) {
  size_t i = text.find_first_not_of(" \t");
  uint64_t value = 0;
  for (; i < text.size() && text[i] >= '0' && text[i] <= '9'; ++i) {
    const uint64_t digit = static_cast<uint64_t>(text[i] - '0');
    if (value > (UINT64_MAX - digit) / 10) return UINT64_MAX;
    value = value * 10 + digit;
  }
  return value;
}

// Up to most blank-separated decimal numbers from the start of text; how many.
size_t Numbers(std::string_view text, uint64_t* out, size_t most) {
  size_t count = 0;
  for (size_t pos = 0; count < most;) {
    pos = text.find_first_not_of(" \t", pos);
    if (pos == std::string_view::npos || text[pos] < '0' || text[pos] > '9') break;
    const size_t end = std::min(text.find_first_not_of("0123456789", pos), text.size());
    out[count++] = ToNumber(text.substr(pos, end - pos));
    pos = end;
  }
  return count;
}

bool IsOctal(char c) { return c >= '0' && c <= '7'; }

// Mount tables and /proc/swaps write blanks and backslashes in names as \040 and \134.
std::string Unescaped(const std::string& text) {
  std::string out;
  for (size_t i = 0; i < text.size(); ++i) {
    if (text[i] == '\\' && i + 3 < text.size() && IsOctal(text[i + 1]) && IsOctal(text[i + 2]) &&
        IsOctal(text[i + 3])) {
      out.push_back(static_cast<char>((text[i + 1] - '0') * 64 + (text[i + 2] - '0') * 8 +
                                      (text[i + 3] - '0')));
      i += 3;
    } else {
      out.push_back(text[i]);
    }
  }
  return out;
}

uint32_t KilobytesToMiB(uint64_t kilobytes) {
  return static_cast<uint32_t>(BytesToMiB(kilobytes * 1024));
}

// "key : value" of one /proc/cpuinfo line; false for other lines.
bool SplitKeyValue(const std::string& line, std::string& key, std::string& value) {
  const size_t colon = line.find(':');
  if (colon == std::string::npos) return false;
  key = Trimmed(line.substr(0, colon));
  value = Trimmed(line.substr(colon + 1));
  return true;
}

// The value of KEY=VALUE in an os-release file: quotes removed, and inside
// double quotes the escaped characters taken as they are.
bool OsReleaseValue(const std::string& text, const std::string& key, std::string& value) {
  for (const std::string& raw : Lines(text)) {
    const std::string line = Trimmed(raw);
    if (line.compare(0, key.size() + 1, key + "=") != 0) continue;
    const std::string quoted = line.substr(key.size() + 1);
    value.clear();
    const char quote = !quoted.empty() && (quoted[0] == '"' || quoted[0] == '\'') ? quoted[0] : 0;
    for (size_t i = quote != 0 ? 1 : 0; i < quoted.size(); ++i) {
      if (quote != 0 && quoted[i] == quote) break;
      if (quote == '"' && quoted[i] == '\\' && i + 1 < quoted.size()) ++i;
      value.push_back(quoted[i]);
    }
    return !value.empty();
  }
  return false;
}

}  // namespace

bool ReadSmallFile(const char* path, std::string& out, size_t limit) {
  out.clear();
  const int fd = open(path, O_RDONLY | O_CLOEXEC);
  if (fd < 0) return false;
  char buffer[4096];
  try {
    while (out.size() < limit) {
      const ssize_t n = read(fd, buffer, std::min(sizeof buffer, limit - out.size()));
      if (n < 0 && errno == EINTR) continue;
      if (n <= 0) break;
      out.append(buffer, static_cast<size_t>(n));
    }
  } catch (...) {
    // The text outgrew the memory left.
    close(fd);
    throw;
  }
  close(fd);
  return true;
}

size_t ReadFileStart(const char* path, char* buffer, size_t size) {
  const int fd = open(path, O_RDONLY | O_CLOEXEC);
  if (fd < 0) return 0;
  size_t used = 0;
  while (used < size) {
    const ssize_t n = read(fd, buffer + used, size - used);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) break;
    used += static_cast<size_t>(n);
  }
  close(fd);
  return used;
}

bool FindKilobytes(std::string_view text, const char* key, uint64_t& kilobytes) {
  const size_t keySize = std::strlen(key);
  for (size_t pos = 0; pos < text.size();) {
    const size_t next = text.find('\n', pos);
    if (next == std::string_view::npos) break;
    const std::string_view line = text.substr(pos, next - pos);
    if (line.size() > keySize && line.compare(0, keySize, key) == 0 && line[keySize] == ':') {
      kilobytes = ToNumber(line.substr(keySize + 1));
      return true;
    }
    pos = next + 1;
  }
  return false;
}

uint64_t AvailableKilobytes(std::string_view meminfo) {
  uint64_t available = 0;
  if (!FindKilobytes(meminfo, "MemAvailable", available)) {
    // Kernels before 3.14 do not estimate it; free memory and caches come close.
    uint64_t part = 0;
    for (const char* key : {"MemFree", "Buffers", "Cached"}) {
      if (FindKilobytes(meminfo, key, part)) available += part;
    }
  }
  uint64_t swapFree = 0;
  FindKilobytes(meminfo, "SwapFree", swapFree);
  return available + swapFree;
}

bool SwapInUse(std::string_view meminfo) {
  uint64_t total = 0;
  uint64_t free = 0;
  return FindKilobytes(meminfo, "SwapTotal", total) && FindKilobytes(meminfo, "SwapFree", free) &&
         total > free;
}

bool AnonymousKilobytes(std::string_view statm, uint64_t pageBytes, uint64_t& kilobytes) {
  // size resident shared text lib data dt, in pages; shared counts file-backed
  // and shared memory, so what is left of resident is anonymous.
  uint64_t fields[3] = {};
  if (Numbers(statm, fields, 3) < 3) return false;
  kilobytes = (fields[1] > fields[2] ? fields[1] - fields[2] : 0) * (pageBytes / 1024);
  return true;
}

bool ParseProcessorTicks(std::string_view stat, ProcessorTicks& out) {
  // "cpu  user nice system idle iowait irq softirq steal guest guest_nice";
  // guest time is already in user.
  const size_t lineEnd = stat.find('\n');
  if (stat.compare(0, 4, "cpu ") != 0 || lineEnd == std::string_view::npos) return false;
  const std::string_view line = stat.substr(4, lineEnd - 4);
  uint64_t ticks[8] = {};
  if (Numbers(line, ticks, 8) < 4) return false;
  out.busy = ticks[0] + ticks[1] + ticks[2] + ticks[5] + ticks[6] + ticks[7];
  out.total = out.busy + ticks[3] + ticks[4];
  return true;
}

void ParseCpuInfo(const std::string& text, uint32_t addressWidth, FactList<CpuInfo>& list,
                  std::vector<uint32_t>& firstProcessor) {
  // Blocks of "key : value" lines, one block per logical processor.
  std::map<std::string, std::string> block;
  std::vector<std::string> packages;
  auto finishBlock = [&]() {
    if (block.count("processor") == 0) {
      block.clear();
      return;
    }
    const std::string package = block.count("physical id") != 0 ? block["physical id"] : "0";
    if (std::find(packages.begin(), packages.end(), package) == packages.end()) {
      packages.push_back(package);
      auto cpu = std::make_unique<CpuInfo>();
      AppendFromUtf8(cpu->manufacturer, block["vendor_id"]);
      AppendFromUtf8(cpu->model, block["model name"]);
      NameProcessor(*cpu, false, static_cast<uint32_t>(packages.size() - 1));
      cpu->addressWidth = addressWidth;
      cpu->currentSpeed = static_cast<uint32_t>(ToNumber(block["cpu MHz"]));
      list.push_back(std::move(cpu));
      firstProcessor.push_back(static_cast<uint32_t>(ToNumber(block["processor"])));
    }
    block.clear();
  };
  for (const std::string& line : Lines(text)) {
    std::string key;
    std::string value;
    if (Trimmed(line).empty()) {
      finishBlock();
    } else if (SplitKeyValue(line, key, value)) {
      block[key] = value;
    }
  }
  finishBlock();
}

void ParseSwaps(const std::string& text, FactList<PageFileInfo>& list) {
  for (const std::string& line : Lines(text)) {
    const std::vector<std::string> fields = Fields(line);
    // Filename Type Size Used Priority, after a heading line.
    if (fields.size() < 3 || fields[0] == "Filename") continue;
    auto file = std::make_unique<PageFileInfo>();
    AppendFromUtf8(file->name, Unescaped(fields[0]));
    file->initialSize = file->maximumSize = KilobytesToMiB(ToNumber(fields[2]));
    list.push_back(std::move(file));
  }
}

bool OsReleaseCaption(const std::string& text, StringBuf& caption) {
  std::string name;
  if (!OsReleaseValue(text, "PRETTY_NAME", name)) {
    if (!OsReleaseValue(text, "NAME", name)) return false;
    std::string version;
    if (OsReleaseValue(text, "VERSION", version)) name += " " + version;
  }
  AppendFromUtf8(caption, name);
  return true;
}

void LocaleName(const char* lcAll, const char* lcMessages, const char* lang, StringBuf& out) {
  out.Clear();
  const char* chosen = nullptr;
  for (const char* value : {lcAll, lcMessages, lang}) {
    if (value != nullptr && value[0] != 0) {
      chosen = value;
      break;
    }
  }
  if (chosen == nullptr) return;
  // language[_territory][.codeset][@modifier]
  std::string name(chosen, std::strcspn(chosen, ".@"));
  if (name == "C" || name == "POSIX") return;
  std::replace(name.begin(), name.end(), '-', '_');
  AppendFromUtf8(out, name);
}

std::vector<MountEntry> ParseMounts(const std::string& text,
                                    const std::function<bool(const std::string&)>& isDirectory) {
  std::vector<MountEntry> volumes;
  for (const std::string& line : Lines(text)) {
    const std::vector<std::string> fields = Fields(line);
    if (fields.size() < 3) continue;
    MountEntry entry{Unescaped(fields[0]), Unescaped(fields[1]), fields[2]};
    if (entry.device.compare(0, 5, "/dev/") != 0 && entry.mountPoint != "/") continue;
    if (!isDirectory(entry.mountPoint)) continue;
    // A later mount at the same place hides the earlier one (an early
    // "rootfs /" under the real root, for one).
    volumes.erase(std::remove_if(volumes.begin(), volumes.end(),
                                 [&](const MountEntry& known) {
                                   return known.mountPoint == entry.mountPoint;
                                 }),
                  volumes.end());
    auto same = std::find_if(volumes.begin(), volumes.end(), [&](const MountEntry& known) {
      return known.device == entry.device;
    });
    if (same == volumes.end()) {
      volumes.push_back(entry);
    } else if (entry.mountPoint.size() < same->mountPoint.size()) {
      same->mountPoint = entry.mountPoint;
    }
  }
  return volumes;
}

void AddAdapters(const std::vector<InterfaceFacts>& interfaces, bool omitPersonalInfo,
                 FactList<NetworkAdapterInfo>& list) {
  for (const InterfaceFacts& facts : interfaces) {
    auto adapter = std::make_unique<NetworkAdapterInfo>();
    if (omitPersonalInfo) {
      adapter->ipAddress = QZ_TEXT("0.0.0.0");
    } else {
      AppendFromUtf8(adapter->description, facts.name);
      AppendFromUtf8(adapter->ipAddress, facts.ipv4.empty() ? std::string("0.0.0.0") : facts.ipv4);
      FormatHardwareAddress(facts.hardware.data(), facts.hardware.size(), adapter->macAddress);
    }
    adapter->speedMbps = facts.speedMbps;
    list.push_back(std::move(adapter));
  }
}

bool ParseSoundCards(const std::string& text, DeviceInfo& out) {
  out.first.Clear();
  out.second.Clear();
  // " 0 [PCH            ]: HDA-Intel - HDA Intel PCH"
  for (const std::string& line : Lines(text)) {
    const size_t open = line.find("]: ");
    if (open == std::string::npos) continue;
    const std::string rest = line.substr(open + 3);
    const size_t dash = rest.find(" - ");
    AppendFromUtf8(out.first, Trimmed(rest.substr(0, dash)));
    if (dash != std::string::npos) AppendFromUtf8(out.second, Trimmed(rest.substr(dash + 3)));
    return true;
  }
  return false;
}

void ChooseHostAddress(const std::vector<uint32_t>& resolved,
                       std::vector<InterfaceAddress> interfaces, StringBuf& out) {
  auto usable = [](uint32_t address) {
    return (address >> 24) != 0 && (address >> 24) != 127 && (address >> 16) != 0xA9FE;
  };
  uint32_t chosen = 0;
  auto first = std::find_if(resolved.begin(), resolved.end(), usable);
  if (first != resolved.end()) {
    chosen = *first;
  } else {
    std::stable_sort(interfaces.begin(), interfaces.end(),
                     [](const InterfaceAddress& a, const InterfaceAddress& b) {
                       return a.index < b.index;
                     });
    for (const InterfaceAddress& i : interfaces) {
      if (i.up && !i.loopback && usable(i.address)) {
        chosen = i.address;
        break;
      }
    }
  }
  out.Clear();
  for (int shift = 24; shift >= 0; shift -= 8) {
    out.Append(static_cast<uint32_t>((chosen >> shift) & 0xFF), 10);
    if (shift > 0) out.Append(QZ_TEXT('.'));
  }
}

bool IsMachineId(std::string_view text) {
  return text.size() == 32 &&
         text.find_first_not_of("0123456789abcdefABCDEF") == std::string_view::npos;
}

void AnonymousMachineIdentity(std::string_view machineId, StringBuf& out) {
  // The library's own key: the same machine gives the same identity in every
  // program that uses the library, and one that cannot be matched with the
  // identifier itself or with what other programs derive from it.
  static const unsigned char kKey[16] = {0xBE, 0x5A, 0xE1, 0xBF, 0x0E, 0xA9, 0xE4, 0xDA,
                                         0x30, 0x73, 0x5D, 0x0B, 0x9F, 0x4D, 0xFF, 0x8F};
  out.Clear();
  unsigned char digest[EVP_MAX_MD_SIZE];
  unsigned int size = 0;
  const auto* text = reinterpret_cast<const unsigned char*>(machineId.data());
  if (HMAC(EVP_sha256(), kKey, sizeof kKey, text, machineId.size(), digest, &size) == nullptr ||
      size < 16) {
    return;
  }
  AppendUpperHex(digest, 16, out);
}

void LocalTimeZoneAt(time_t when, TimeZoneInfo& out) {
  out = TimeZoneInfo();
  tm local;
  if (localtime_r(&when, &local) == nullptr) return;
  long standard = local.tm_gmtoff;
  // Every offset of the local year, from a moment every twelve hours: no zone
  // keeps an offset for less than a day. Local years start up to 14 hours
  // before and 12 after the UTC one.
  constexpr time_t kDay = 24 * 60 * 60;
  tm yearStart = {};
  yearStart.tm_year = local.tm_year;
  yearStart.tm_mday = 1;
  tm nextYearStart = yearStart;
  nextYearStart.tm_year += 1;
  const time_t end = timegm(&nextYearStart) + kDay;
  for (time_t t = timegm(&yearStart) - kDay; t < end; t += kDay / 2) {
    tm moment;
    if (localtime_r(&t, &moment) != nullptr && moment.tm_year == local.tm_year) {
      standard = std::min(standard, moment.tm_gmtoff);
    }
  }
  out.offsetMinutes = static_cast<int32_t>(standard / 60);
  out.daylight = local.tm_gmtoff != standard;
}

}  // namespace qz
