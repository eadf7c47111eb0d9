#include "common/TimeText.h"

#include <chrono>
#include <cstdio>

namespace qz {
namespace collector {

namespace {

// Days since 1970-01-01 of a proleptic Gregorian date, and back.
int64_t DaysFromCivil(int64_t y, int64_t m, int64_t d) {
  y -= m <= 2;
  const int64_t era = (y >= 0 ? y : y - 399) / 400;
  const int64_t yoe = y - era * 400;
  const int64_t doy = (153 * (m + (m > 2 ? -3 : 9)) + 2) / 5 + d - 1;
  const int64_t doe = yoe * 365 + yoe / 4 - yoe / 100 + doy;
  return era * 146097 + doe - 719468;
}

void CivilFromDays(int64_t z, int64_t& y, int64_t& m, int64_t& d) {
  z += 719468;
  const int64_t era = (z >= 0 ? z : z - 146096) / 146097;
  const int64_t doe = z - era * 146097;
  const int64_t yoe = (doe - doe / 1460 + doe / 36524 - doe / 146096) / 365;
  const int64_t doy = doe - (365 * yoe + yoe / 4 - yoe / 100);
  const int64_t mp = (5 * doy + 2) / 153;
  d = doy - (153 * mp + 2) / 5 + 1;
  m = mp + (mp < 10 ? 3 : -9);
  y = yoe + era * 400 + (m <= 2);
}

bool Digits(const std::string& s, size_t pos, size_t count, int64_t& value) {
  value = 0;
  for (size_t i = pos; i < pos + count; ++i) {
    if (s[i] < '0' || s[i] > '9') return false;
    value = value * 10 + (s[i] - '0');
  }
  return true;
}

}  // namespace

std::string TimeText::Now() {
  const auto now = std::chrono::system_clock::now().time_since_epoch();
  return FromMillis(std::chrono::duration_cast<std::chrono::milliseconds>(now).count());
}

std::string TimeText::FromMillis(int64_t millis) {
  int64_t days = millis / 86400000;
  int64_t rest = millis % 86400000;
  if (rest < 0) {
    rest += 86400000;
    --days;
  }
  int64_t y, m, d;
  CivilFromDays(days, y, m, d);
  char text[160];  // room for any 64-bit fields, so the compiler can prove no truncation
  std::snprintf(text, sizeof text, "%04lld-%02lld-%02lldT%02lld:%02lld:%02lld.%03lldZ",
                static_cast<long long>(y), static_cast<long long>(m), static_cast<long long>(d),
                static_cast<long long>(rest / 3600000), static_cast<long long>(rest / 60000 % 60),
                static_cast<long long>(rest / 1000 % 60), static_cast<long long>(rest % 1000));
  return text;
}

bool TimeText::ToMillis(const std::string& s, int64_t& millis) {
  if (s.size() != 24 || s[4] != '-' || s[7] != '-' || s[10] != 'T' || s[13] != ':' || s[16] != ':' ||
      s[19] != '.' || s[23] != 'Z') {
    return false;
  }
  int64_t y, mo, d, h, mi, se, ms;
  if (!Digits(s, 0, 4, y) || !Digits(s, 5, 2, mo) || !Digits(s, 8, 2, d) || !Digits(s, 11, 2, h) ||
      !Digits(s, 14, 2, mi) || !Digits(s, 17, 2, se) || !Digits(s, 20, 3, ms)) {
    return false;
  }
  if (mo < 1 || mo > 12 || d < 1 || d > 31 || h > 23 || mi > 59 || se > 60) return false;
  millis = ((DaysFromCivil(y, mo, d) * 24 + h) * 60 + mi) * 60000 + se * 1000 + ms;
  return true;
}

}  // namespace collector
}  // namespace qz
