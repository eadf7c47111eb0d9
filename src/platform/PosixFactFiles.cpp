#include "platform/PosixFactFiles.h"

#include <fcntl.h>
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

uint64_t ToNumber(const std::string& text) { return std::strtoull(text.c_str(), nullptr, 10); }

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

bool FindKilobytes(const std::string& text, const char* key, uint64_t& kilobytes) {
  const std::string prefix = std::string(key) + ":";
  for (size_t pos = 0; pos < text.size();) {
    if (text.compare(pos, prefix.size(), prefix) == 0) {
      kilobytes = ToNumber(text.substr(pos + prefix.size(), 32));
      return true;
    }
    const size_t next = text.find('\n', pos);
    if (next == std::string::npos) break;
    pos = next + 1;
  }
  return false;
}

void MemoryUseFromProc(const std::string& meminfo, const std::string& status,
                       MemoryUseInfo& out) {
  out = MemoryUseInfo();
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
  out.availableMB = KilobytesToMiB(available + swapFree);

  uint64_t resident = 0;
  if (!FindKilobytes(status, "RssAnon", resident)) FindKilobytes(status, "VmRSS", resident);
  uint64_t swapped = 0;
  FindKilobytes(status, "VmSwap", swapped);
  out.usedMB = KilobytesToMiB(resident + swapped);
}

std::vector<CpuTicks> ParseProcStat(const std::string& text) {
  std::vector<CpuTicks> cpus;
  for (const std::string& line : Lines(text)) {
    // "cpu" alone is the sum of all; "cpuN" one processor.
    if (line.compare(0, 3, "cpu") != 0 || line.size() < 4 || line[3] < '0' || line[3] > '9') {
      continue;
    }
    const std::vector<std::string> fields = Fields(line);
    if (fields.size() < 5) continue;
    // user nice system idle iowait irq softirq steal; guest time is already in user.
    uint64_t ticks[8] = {};
    for (size_t i = 0; i < 8 && i + 1 < fields.size(); ++i) ticks[i] = ToNumber(fields[i + 1]);
    CpuTicks cpu;
    cpu.index = static_cast<uint32_t>(ToNumber(fields[0].substr(3)));
    cpu.busy = ticks[0] + ticks[1] + ticks[2] + ticks[5] + ticks[6] + ticks[7];
    cpu.total = cpu.busy + ticks[3] + ticks[4];
    cpus.push_back(cpu);
  }
  return cpus;
}

uint32_t LoadBetween(const std::vector<CpuTicks>& before, const std::vector<CpuTicks>& after) {
  std::vector<uint32_t> loads;
  for (const CpuTicks& now : after) {
    for (const CpuTicks& then : before) {
      if (then.index != now.index) continue;
      // A processor that went off line and came back starts counting again.
      if (now.total <= then.total || now.busy < then.busy) break;
      const uint64_t busy = now.busy - then.busy;
      const uint64_t total = now.total - then.total;
      loads.push_back(static_cast<uint32_t>(std::min<uint64_t>(busy, total) * 100 / total));
      break;
    }
  }
  return AverageLoad(loads.data(), loads.size());
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

}  // namespace qz
