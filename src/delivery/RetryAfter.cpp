#include "delivery/RetryAfter.h"

#include <cstring>

namespace qz {
namespace {

constexpr int64_t kMostMillis = INT32_MAX;

// Reads the text left to right; every step either consumes what it expects
// or fails, so a value is read whole or not at all.
class Reader {
 public:
  Reader(const char* text, size_t length) : at(text), end(text + length) {}

  bool Done() const { return at == end; }
  bool Char(char c) {
    if (at == end || *at != c) return false;
    ++at;
    return true;
  }
  // Exactly `count` digits.
  bool Digits(size_t count, int& value) {
    value = 0;
    for (size_t i = 0; i < count; ++i, ++at) {
      if (at == end || *at < '0' || *at > '9') return false;
      value = value * 10 + (*at - '0');
    }
    return true;
  }
  // The letters up to the next non-letter.
  size_t Word(const char*& word) {
    word = at;
    while (at != end && ((*at >= 'A' && *at <= 'Z') || (*at >= 'a' && *at <= 'z'))) ++at;
    return static_cast<size_t>(at - word);
  }

 private:
  const char* at;
  const char* end;
};

bool IsOneOf(const char* word, size_t length, const char* const* names, size_t count, int* index) {
  for (size_t i = 0; i < count; ++i) {
    if (std::strlen(names[i]) == length && std::strncmp(word, names[i], length) == 0) {
      if (index != nullptr) *index = static_cast<int>(i);
      return true;
    }
  }
  return false;
}

const char* const kShortDays[] = {"Mon", "Tue", "Wed", "Thu", "Fri", "Sat", "Sun"};
const char* const kLongDays[] = {"Monday", "Tuesday", "Wednesday", "Thursday",
                                 "Friday", "Saturday", "Sunday"};
const char* const kMonths[] = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                               "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};

bool Month(Reader& in, int& month) {
  const char* word;
  const size_t length = in.Word(word);
  if (!IsOneOf(word, length, kMonths, 12, &month)) return false;
  ++month;
  return true;
}

bool TimeOfDay(Reader& in, int& hour, int& minute, int& second) {
  return in.Digits(2, hour) && in.Char(':') && in.Digits(2, minute) && in.Char(':') &&
         in.Digits(2, second) && hour <= 23 && minute <= 59 && second <= 60;
}

// Days from 1970-01-01 to the given date of the proleptic Gregorian calendar.
int64_t DaysFromCivil(int64_t year, int month, int day) {
  year -= month <= 2 ? 1 : 0;
  const int64_t era = (year >= 0 ? year : year - 399) / 400;
  const int64_t yearOfEra = year - era * 400;
  const int64_t dayOfYear = (153 * (month > 2 ? month - 3 : month + 9) + 2) / 5 + day - 1;
  const int64_t dayOfEra = yearOfEra * 365 + yearOfEra / 4 - yearOfEra / 100 + dayOfYear;
  return era * 146097 + dayOfEra - 719468;
}

int DaysInMonth(int year, int month) {
  static const int kDays[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
  const bool leap = (year % 4 == 0 && year % 100 != 0) || year % 400 == 0;
  return month == 2 && leap ? 29 : kDays[month - 1];
}

// The HTTP date as milliseconds since 1970; false when it is none.
bool HttpDate(const char* text, size_t length, uint64_t nowMillis, int64_t& millis) {
  Reader in(text, length);
  const char* word;
  const size_t dayLength = in.Word(word);
  int year = 0, month = 0, day = 0, hour = 0, minute = 0, second = 0;
  if (IsOneOf(word, dayLength, kShortDays, 7, nullptr) && in.Char(',')) {
    // IMF-fixdate: Sun, 06 Nov 1994 08:49:37 GMT
    if (!(in.Char(' ') && in.Digits(2, day) && in.Char(' ') && Month(in, month) && in.Char(' ') &&
          in.Digits(4, year) && in.Char(' ') && TimeOfDay(in, hour, minute, second) &&
          in.Char(' ') && in.Char('G') && in.Char('M') && in.Char('T'))) {
      return false;
    }
  } else if (IsOneOf(word, dayLength, kLongDays, 7, nullptr)) {
    // RFC 850: Sunday, 06-Nov-94 08:49:37 GMT
    if (!(in.Char(',') && in.Char(' ') && in.Digits(2, day) && in.Char('-') && Month(in, month) &&
          in.Char('-') && in.Digits(2, year) && in.Char(' ') &&
          TimeOfDay(in, hour, minute, second) && in.Char(' ') && in.Char('G') && in.Char('M') &&
          in.Char('T'))) {
      return false;
    }
    // A two-digit year more than 50 years ahead means the century before.
    const int64_t nowYear = 1970 + static_cast<int64_t>(nowMillis / 31556952000ULL);
    year += static_cast<int>(nowYear / 100 * 100);
    if (year > nowYear + 50) year -= 100;
  } else if (IsOneOf(word, dayLength, kShortDays, 7, nullptr)) {
    // asctime: Sun Nov  6 08:49:37 1994
    if (!(in.Char(' ') && Month(in, month) && in.Char(' '))) return false;
    if (in.Char(' ')) {
      if (!in.Digits(1, day)) return false;
    } else if (!in.Digits(2, day)) {
      return false;
    }
    if (!(in.Char(' ') && TimeOfDay(in, hour, minute, second) && in.Char(' ') &&
          in.Digits(4, year))) {
      return false;
    }
  } else {
    return false;
  }
  if (!in.Done() || day < 1 || day > DaysInMonth(year, month)) return false;
  millis = ((DaysFromCivil(year, month, day) * 24 + hour) * 60 + minute) * 60000 + second * 1000;
  return true;
}

}  // namespace

int64_t RetryAfterMillis(const char* value, size_t length, uint64_t nowMillis) {
  if (value == nullptr) return -1;
  // Optional white space around the value.
  while (length > 0 && (value[0] == ' ' || value[0] == '\t')) {
    ++value;
    --length;
  }
  while (length > 0 && (value[length - 1] == ' ' || value[length - 1] == '\t')) --length;
  if (length == 0) return -1;

  bool digits = true;
  for (size_t i = 0; i < length; ++i) digits = digits && value[i] >= '0' && value[i] <= '9';
  if (digits) {
    int64_t seconds = 0;
    for (size_t i = 0; i < length && seconds <= kMostMillis; ++i) seconds = seconds * 10 + (value[i] - '0');
    return seconds > kMostMillis / 1000 ? kMostMillis : seconds * 1000;
  }

  int64_t at = 0;
  if (!HttpDate(value, length, nowMillis, at)) return -1;
  const int64_t now = nowMillis > static_cast<uint64_t>(INT64_MAX) ? INT64_MAX
                                                                   : static_cast<int64_t>(nowMillis);
  if (at <= now) return 0;
  return at - now > kMostMillis ? kMostMillis : at - now;
}

}  // namespace qz
