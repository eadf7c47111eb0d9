#include "platform/FactRules.h"

#include <limits>

namespace qz {
namespace {

const QZChar* VistaOr2008Name(uint32_t minor, bool workstation) {
  if (minor == 0) return workstation ? QZ_TEXT("Windows Vista ") : QZ_TEXT("Windows Server 2008 ");
  if (minor == 1) return workstation ? QZ_TEXT("Windows 7 ") : QZ_TEXT("Windows Server 2008 R2 ");
  return nullptr;
}

constexpr uint32_t kWorkstation = 1;
constexpr uint32_t kArchAmd64 = 9;
constexpr uint32_t kArchIa64 = 6;
constexpr uint32_t kSuiteEnterprise = 0x2;
constexpr uint32_t kSuiteDatacenter = 0x80;
constexpr uint32_t kSuitePersonal = 0x200;
constexpr uint32_t kSuiteBlade = 0x400;
constexpr uint32_t kSuiteStorageServer = 0x2000;
constexpr uint32_t kSuiteComputeServer = 0x4000;
constexpr uint32_t kSuiteHomeServer = 0x8000;

const QZChar* Server2003Edition(const WindowsVersion& v) {
  const uint32_t suite = v.suiteMask;
  if (v.processorArchitecture == kArchIa64) {
    if (suite & kSuiteDatacenter) return QZ_TEXT("Datacenter Edition for Itanium-based Systems");
    if (suite & kSuiteEnterprise) return QZ_TEXT("Enterprise Edition for Itanium-based Systems");
    return nullptr;
  }
  if (v.processorArchitecture == kArchAmd64) {
    if (suite & kSuiteDatacenter) return QZ_TEXT("Datacenter x64 Edition");
    if (suite & kSuiteEnterprise) return QZ_TEXT("Enterprise x64 Edition");
    return QZ_TEXT("Standard x64 Edition");
  }
  if (suite & kSuiteComputeServer) return QZ_TEXT("Compute Cluster Edition");
  if (suite & kSuiteDatacenter) return QZ_TEXT("Datacenter Edition");
  if (suite & kSuiteEnterprise) return QZ_TEXT("Enterprise Edition");
  if (suite & kSuiteBlade) return QZ_TEXT("Web Edition");
  return QZ_TEXT("Standard Edition");
}

void AppendIf(StringBuf& out, const QZChar* text) {
  if (text != nullptr) out.Append(text);
}

void AppendTwoDigits(StringBuf& out, int64_t value) {
  if (value < 10) out.Append(QZChar('0'));
  out.Append(static_cast<uint64_t>(value), 10);
}

}  // namespace

const QZChar* WindowsEditionText(uint32_t productType) {
  switch (productType) {
    case 1: return QZ_TEXT("Ultimate Edition");
    case 2: return QZ_TEXT("Home Basic Edition");
    case 3: return QZ_TEXT("Home Premium Edition");
    case 4: return QZ_TEXT("Enterprise Edition");
    case 6: return QZ_TEXT("Business Edition");
    case 7: return QZ_TEXT("Standard Edition");
    case 8: return QZ_TEXT("Datacenter Edition");
    case 9: return QZ_TEXT("Small Business Server");
    case 10: return QZ_TEXT("Enterprise Edition");
    case 11: return QZ_TEXT("Starter Edition");
    case 12: return QZ_TEXT("Datacenter Edition (core installation)");
    case 13: return QZ_TEXT("Standard Edition (core installation)");
    case 14: return QZ_TEXT("Enterprise Edition (core installation)");
    case 15: return QZ_TEXT("Enterprise Edition for Itanium-based Systems");
    case 17: return QZ_TEXT("Web Server Edition");
    case 18: return QZ_TEXT("Cluster Server Edition");
    case 25: return QZ_TEXT("Small Business Server Premium Edition");
    case 48: return QZ_TEXT("Professional");
    default: return nullptr;
  }
}

void AppendWindowsVersionName(StringBuf& caption, const WindowsVersion& v) {
  constexpr uint32_t kPlatformNt = 2;
  if (v.platformId != kPlatformNt || v.major < 5) return;
  caption.Append(QZ_TEXT("Microsoft "));
  const bool workstation = v.productType == kWorkstation;
  if (v.major == 6) {
    AppendIf(caption, VistaOr2008Name(v.minor, workstation));
    if (v.hasProductInfo) AppendIf(caption, WindowsEditionText(v.productInfoType));
  } else if (v.major == 5 && v.minor == 2) {
    if (v.serverR2) {
      caption.Append(QZ_TEXT("Windows Server 2003 R2, "));
    } else if (v.suiteMask & kSuiteStorageServer) {
      caption.Append(QZ_TEXT("Windows Storage Server 2003"));
    } else if (v.suiteMask & kSuiteHomeServer) {
      caption.Append(QZ_TEXT("Windows Home Server"));
    } else if (workstation && v.processorArchitecture == kArchAmd64) {
      caption.Append(QZ_TEXT("Windows XP Professional x64 Edition"));
    } else {
      caption.Append(QZ_TEXT("Windows Server 2003, "));
    }
    if (!workstation) AppendIf(caption, Server2003Edition(v));
  } else if (v.major == 5 && v.minor == 1) {
    caption.Append(QZ_TEXT("Windows XP "));
    caption.Append((v.suiteMask & kSuitePersonal) ? QZ_TEXT("Home Edition") : QZ_TEXT("Professional"));
  } else if (v.major == 5 && v.minor == 0) {
    caption.Append(QZ_TEXT("Windows 2000 "));
    if (workstation) {
      caption.Append(QZ_TEXT("Professional"));
    } else if (v.suiteMask & kSuiteDatacenter) {
      caption.Append(QZ_TEXT("Datacenter Server"));
    } else if (v.suiteMask & kSuiteEnterprise) {
      caption.Append(QZ_TEXT("Advanced Server"));
    } else {
      caption.Append(QZ_TEXT("Server"));
    }
  }
}

void ConvertWmiDateTime(const QZChar* wmi, StringBuf& out) {
  out.Clear();
  if (wmi == nullptr) return;
  StringBuf text(wmi);
  if (text.StrLen() != 25) return;
  out.Append(text, 0, 4).Append(QZChar('-')).Append(text, 4, 2).Append(QZChar('-'));
  out.Append(text, 6, 2).Append(QZChar('T')).Append(text, 8, 2).Append(QZChar(':'));
  out.Append(text, 10, 2).Append(QZChar(':')).Append(text, 12, 2);
  const int64_t offset = ParseDecimalInt64(text.ToString() + 21);
  if (offset == 0) {
    out.Append(QZChar('Z'));
    return;
  }
  const int64_t magnitude = offset < 0 ? -offset : offset;
  out.Append(QZChar(offset < 0 ? '-' : '+'));
  AppendTwoDigits(out, magnitude / 60);
  out.Append(QZChar(':'));
  AppendTwoDigits(out, magnitude % 60);
}

int64_t ParseDecimalInt64(const QZChar* text) {
  if (text == nullptr) return 0;
  const QZChar* p = text;
  while (*p == ' ' || (*p >= '\t' && *p <= '\r')) ++p;
  bool negative = false;
  if (*p == '+' || *p == '-') negative = *p++ == '-';
  // Accumulated as a negative number, whose range holds INT64_MIN.
  constexpr int64_t kMin = std::numeric_limits<int64_t>::min();
  int64_t value = 0;
  for (; *p >= '0' && *p <= '9'; ++p) {
    const int digit = *p - '0';
    if (value < (kMin + digit) / 10) {
      return negative ? kMin : std::numeric_limits<int64_t>::max();
    }
    value = value * 10 - digit;
  }
  if (negative) return value;
  return value == kMin ? std::numeric_limits<int64_t>::max() : -value;
}

uint64_t BytesToMiB(int64_t bytes) { return bytes < 0 ? 0 : static_cast<uint64_t>(bytes) >> 20; }

uint64_t BytesToMiB(uint64_t bytes) { return bytes >> 20; }

uint32_t BitsPerSecondTextToMbps(const QZChar* text) {
  const int64_t bits = ParseDecimalInt64(text);
  if (bits <= 0) return 0;
  const int64_t mbps = bits / 1000000;
  return mbps > 0xFFFFFFFFLL ? 0xFFFFFFFFu : static_cast<uint32_t>(mbps);
}

void NameProcessor(CpuInfo& cpu, bool deviceIdRead, uint32_t index) {
  if (!deviceIdRead) {
    cpu.name = QZ_TEXT("cpu");
    cpu.name.Append(index, 10);
  }
  if (!cpu.manufacturer.StartsWith(QZ_TEXT("Genuine"))) return;
  if (cpu.manufacturer.StrLen() == 7) {
    cpu.manufacturer.Clear();
  } else {
    cpu.manufacturer.SubString(7);
  }
}

uint32_t AverageLoad(const uint32_t* loads, size_t count) {
  if (loads == nullptr || count == 0) return 0;
  uint64_t sum = 0;
  for (size_t i = 0; i < count; ++i) sum += loads[i];
  return static_cast<uint32_t>(sum / count);
}

void FormatHardwareAddress(const uint8_t* bytes, size_t length, StringBuf& out) {
  out.Clear();
  if (bytes == nullptr || length != 6) return;
  for (size_t i = 0; i < length; ++i) {
    if (i > 0) out.Append(QZChar(':'));
    AppendUpperHex(bytes + i, 1, out);
  }
}

void AppendUpperHex(const uint8_t* bytes, size_t length, StringBuf& out) {
  static const char kHex[] = "0123456789ABCDEF";
  for (size_t i = 0; i < length; ++i) {
    out.Append(QZChar(kHex[bytes[i] >> 4]));
    out.Append(QZChar(kHex[bytes[i] & 0xF]));
  }
}

void UserIdentityText(const QZChar* domain, const QZChar* user, StringBuf& out) {
  out = domain;
  out.ToLowercase();
  out.Append(QZChar('\\')).Append(user);
}

}  // namespace qz
