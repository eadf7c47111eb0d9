// The rules that turn raw system values into the facts the library reports.
// They need no system, so tests feed them recorded inputs; both platforms use
// the ones that apply to them.
#ifndef QZ_PLATFORM_FACTRULES_H
#define QZ_PLATFORM_FACTRULES_H

#include <cstddef>
#include <cstdint>

#include "platform/MachineFacts.h"
#include "qz/StringBuf.h"

namespace qz {

// What the Windows version functions report, as the naming rule needs it.
struct WindowsVersion {
  uint32_t platformId = 0;          // VER_PLATFORM_WIN32_NT is 2
  uint32_t major = 0;
  uint32_t minor = 0;
  uint32_t productType = 0;         // VER_NT_WORKSTATION is 1
  uint32_t suiteMask = 0;
  uint32_t processorArchitecture = 0;
  bool serverR2 = false;            // GetSystemMetrics(SM_SERVERR2) != 0
  bool hasProductInfo = false;      // GetProductInfo exists and answered
  uint32_t productInfoType = 0;
};

// Appends the operating system's name ("Microsoft Windows 7 Professional", ...)
// to caption; appends nothing for a platform older than NT 5.
void AppendWindowsVersionName(StringBuf& caption, const WindowsVersion& version);

// The edition text of a GetProductInfo product type, or null when unknown.
const QZChar* WindowsEditionText(uint32_t productType);

// A WMI date-time (yyyymmddHHMMSS.mmmmmmsUUU, 25 characters) as
// yyyy-mm-ddTHH:MM:SS followed by "Z" or the offset (+01:00); out is cleared
// and stays empty when the text is not 25 characters long.
void ConvertWmiDateTime(const QZChar* wmi, StringBuf& out);

// Leading white space, an optional sign and decimal digits, as the C library
// reads a 64-bit integer; stops at the first other character and saturates.
int64_t ParseDecimalInt64(const QZChar* text);

// A byte count in MiB; negative counts (a failed reading) give 0.
uint64_t BytesToMiB(int64_t bytes);
uint64_t BytesToMiB(uint64_t bytes);

// A decimal text of bits per second in megabits per second.
uint32_t BitsPerSecondTextToMbps(const QZChar* text);

// Processor naming: the device id when it could be read, else "cpu" and the
// zero-based row index; "GenuineIntel" becomes "Intel".
void NameProcessor(CpuInfo& cpu, bool deviceIdRead, uint32_t index);

// The average of the loads that could be read; 0 when none or all are 0.
uint32_t AverageLoad(const uint32_t* loads, size_t count);

// Six bytes as "00:1A:2B:3C:4D:5E"; any other length gives an empty text.
void FormatHardwareAddress(const uint8_t* bytes, size_t length, StringBuf& out);

// Appends each byte as two upper-case hexadecimal digits, high nibble first.
void AppendUpperHex(const uint8_t* bytes, size_t length, StringBuf& out);

// The text whose digest identifies a user: the domain in lower case, a
// backslash, and the user name as the system gives it (corp\jdoe). Either
// part may be empty.
void UserIdentityText(const QZChar* domain, const QZChar* user, StringBuf& out);

}  // namespace qz

#endif  // QZ_PLATFORM_FACTRULES_H
