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

bool IsLeap(int64_t y) { return (y % 4 == 0 && y % 100 != 0) || y % 400 == 0; }

int64_t DaysInMonth(int64_t y, int64_t m) {
  static const int kDays[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
  return m == 2 && IsLeap(y) ? 29 : kDays[m - 1];
}

// "YYYY-MM-DDTHH:MM:SS" at the start of s, as a real date and time.
bool DateAndTime(const std::string& s, int64_t& days, int64_t& seconds) {
  if (s.size() < 19 || s[4] != '-' || s[7] != '-' || s[10] != 'T' || s[13] != ':' || s[16] != ':') return false;
  int64_t y, mo, d, h, mi, se;
  if (!Digits(s, 0, 4, y) || !Digits(s, 5, 2, mo) || !Digits(s, 8, 2, d) || !Digits(s, 11, 2, h) ||
      !Digits(s, 14, 2, mi) || !Digits(s, 17, 2, se)) {
    return false;
  }
  // The library writes the system's clock, which has no leap seconds.
  if (y < 1 || mo < 1 || mo > 12 || d < 1 || d > DaysInMonth(y, mo) || h > 23 || mi > 59 || se > 59) return false;
  days = DaysFromCivil(y, mo, d);
  seconds = (h * 60 + mi) * 60 + se;
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
  int64_t days, seconds, ms;
  if (s.size() != 24 || s[19] != '.' || s[23] != 'Z' || !DateAndTime(s, days, seconds) || !Digits(s, 20, 3, ms)) {
    return false;
  }
  millis = (days * 86400 + seconds) * 1000 + ms;
  return true;
}

bool TimeText::IsZonedTime(const std::string& s) {
  int64_t days, seconds, h, m;
  if (!DateAndTime(s, days, seconds)) return false;
  if (s.size() == 20) return s[19] == 'Z';
  return s.size() == 25 && (s[19] == '+' || s[19] == '-') && s[22] == ':' && Digits(s, 20, 2, h) &&
         Digits(s, 23, 2, m) && m <= 59 && h * 60 + m <= 14 * 60;
}

}  // namespace collector
}  // namespace qz
