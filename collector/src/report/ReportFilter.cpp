#include "report/ReportFilter.h"

#include <algorithm>
#include <cctype>

#include "common/TimeText.h"

namespace qz {
namespace collector {

namespace {

constexpr size_t kMaxVersion = 200;

int Hex(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

}  // namespace

const std::vector<std::string>& ReportFilter::Views() {
  static const std::vector<std::string> views = {"overview", "features", "stability", "performance", "machines"};
  return views;
}

bool ReportFilter::IsGuid(const std::string& text) {
  if (text.size() != 36) return false;
  for (size_t i = 0; i < text.size(); ++i) {
    const bool dash = i == 8 || i == 13 || i == 18 || i == 23;
    if (dash != (text[i] == '-') || (!dash && Hex(text[i]) < 0)) return false;
  }
  return true;
}

bool ReportFilter::IsDay(const std::string& text) {
  int64_t ms = 0;
  return text.size() == 10 && TimeText::ToMillis(text + "T00:00:00.000Z", ms);
}

std::string ReportFilter::AddDays(const std::string& day, int days) {
  int64_t ms = 0;
  if (!TimeText::ToMillis(day + "T00:00:00.000Z", ms)) return day;
  const std::string moved = TimeText::FromMillis(ms + static_cast<int64_t>(days) * 86400000).substr(0, 10);
  // Outside years 1-9999 the range ends at the calendar's end.
  return IsDay(moved) ? moved : day;
}

std::string ReportFilter::Today() { return TimeText::Now().substr(0, 10); }

std::string ReportFilter::Decode(const std::string& text) {
  std::string out;
  for (size_t i = 0; i < text.size(); ++i) {
    if (text[i] == '+') {
      out += ' ';
    } else if (text[i] == '%' && i + 2 < text.size() + 0 && Hex(text[i + 1]) >= 0 && Hex(text[i + 2]) >= 0) {
      out += static_cast<char>(Hex(text[i + 1]) * 16 + Hex(text[i + 2]));
      i += 2;
    } else {
      out += text[i];
    }
  }
  return out;
}

std::string ReportFilter::Encode(const std::string& text) {
  static const char kDigits[] = "0123456789ABCDEF";
  std::string out;
  for (unsigned char c : text) {
    if (std::isalnum(c) || c == '-' || c == '.' || c == '_' || c == '~') {
      out += static_cast<char>(c);
    } else {
      out += '%';
      out += kDigits[c >> 4];
      out += kDigits[c & 15];
    }
  }
  return out;
}

bool ReportFilter::Set(const std::string& name, const std::string& value, std::string& error) {
  if (name == "company" || name == "application") {
    if (!value.empty() && !IsGuid(value)) {
      error = name + " is not a GUID";
      return false;
    }
    std::string upper = value;
    for (char& c : upper) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    (name == "company" ? company : application) = upper;
  } else if (name == "version") {
    if (value.size() > kMaxVersion) {
      error = "version longer than " + std::to_string(kMaxVersion) + " bytes";
      return false;
    }
    version = value;
  } else if (name == "from" || name == "to") {
    if (!value.empty() && !IsDay(value)) {
      error = name + " is not a day (YYYY-MM-DD)";
      return false;
    }
    (name == "from" ? from : to) = value;
  } else if (name == "view") {
    const auto& v = Views();
    if (!value.empty() && value != "all" && std::find(v.begin(), v.end(), value) == v.end()) {
      error = "no view " + value;
      return false;
    }
    view = value;
  }
  return true;
}

bool ReportFilter::SetFromQuery(const std::string& query, std::string& error) {
  size_t at = 0;
  while (at <= query.size()) {
    size_t end = query.find('&', at);
    if (end == std::string::npos) end = query.size();
    const std::string pair = query.substr(at, end - at);
    const size_t eq = pair.find('=');
    if (!pair.empty() &&
        !Set(Decode(pair.substr(0, eq)), eq == std::string::npos ? "" : Decode(pair.substr(eq + 1)), error)) {
      return false;
    }
    at = end + 1;
  }
  return true;
}

void ReportFilter::SetDefaultRange(const std::string& today) {
  if (to.empty()) to = from.empty() ? today : std::max(today, from);
  if (from.empty()) from = AddDays(to, -(kDefaultDays - 1));
  if (from > to) std::swap(from, to);
  // Ten years at most: a page of days must stay a page.
  const std::string earliest = AddDays(to, -(kMaxDays - 1));
  if (from < earliest) from = earliest;
}

std::string ReportFilter::Query(bool withView) const {
  std::string out;
  const auto add = [&](const char* name, const std::string& value) {
    if (value.empty()) return;
    out += (out.empty() ? "" : "&") + std::string(name) + "=" + Encode(value);
  };
  add("company", company);
  add("application", application);
  add("version", version);
  add("from", from);
  add("to", to);
  if (withView) add("view", view);
  return out;
}

}  // namespace collector
}  // namespace qz
