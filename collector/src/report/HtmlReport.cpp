#include "report/HtmlReport.h"

#include <algorithm>
#include <cstdlib>
#include <map>

namespace qz {
namespace collector {

namespace {

// Bars shown per chart; the tables below them list everything.
constexpr size_t kMaxBars = 20;
const char* const kColors[] = {"#3b6ea8", "#d9822b", "#3a9a5b", "#b04a4a", "#7d5ba6", "#8c6d31"};

std::string Escape(const std::string& text) {
  std::string out;
  out.reserve(text.size());
  for (char c : text) {
    switch (c) {
      case '&': out += "&amp;"; break;
      case '<': out += "&lt;"; break;
      case '>': out += "&gt;"; break;
      case '"': out += "&quot;"; break;
      case '\'': out += "&#39;"; break;
      default: out += c;
    }
  }
  return out;
}

std::string N(int64_t n) { return std::to_string(n); }

std::string Seconds(int64_t ms) {
  std::string fraction = std::to_string(1000 + ms % 1000).substr(1);
  return std::to_string(ms / 1000) + "." + fraction + " s";
}

// "1 use", "2 uses"; units without a plural ("ms") stay as they are.
std::string Count(int64_t n, const std::string& unit) {
  const bool plural = n != 1 || unit.size() < 3 || unit.back() != 's';
  return N(n) + " " + (plural ? unit : unit.substr(0, unit.size() - 1));
}

std::string Attr(const char* name, const std::string& value) {
  return std::string(" ") + name + "=\"" + Escape(value) + "\"";
}

// Horizontal bars, one per label, scaled to the largest value.
std::string BarChart(const std::vector<std::pair<std::string, int64_t>>& bars, const std::string& unit,
                     const char* color) {
  if (bars.empty()) return "<p class=\"empty\">No data yet.</p>\n";
  const size_t count = std::min(bars.size(), kMaxBars);
  int64_t most = 1;
  for (size_t i = 0; i < count; ++i) most = std::max(most, bars[i].second);
  const int width = 720, labelWidth = 220, barSpace = 400, rowHeight = 24;
  const int height = static_cast<int>(count) * rowHeight + 8;
  std::string svg = "<svg class=\"chart\" xmlns=\"http://www.w3.org/2000/svg\" width=\"" + N(width) +
                    "\" height=\"" + N(height) + "\" role=\"img\">\n";
  for (size_t i = 0; i < count; ++i) {
    const int y = static_cast<int>(i) * rowHeight + 4;
    const int length = static_cast<int>(bars[i].second * barSpace / most);
    std::string label = bars[i].first.empty() ? "(unnamed)" : bars[i].first;
    if (label.size() > 32) label = label.substr(0, 30) + "...";
    svg += "<text x=\"" + N(labelWidth - 8) + "\" y=\"" + N(y + 15) + "\" text-anchor=\"end\">" + Escape(label) +
           "</text>";
    svg += "<rect x=\"" + N(labelWidth) + "\" y=\"" + N(y) + "\" width=\"" + N(std::max(length, 1)) +
           "\" height=\"" + N(rowHeight - 6) + "\" fill=\"" + color + "\"><title>" + Escape(bars[i].first) + ": " +
           Escape(Count(bars[i].second, unit)) + "</title></rect>";
    svg += "<text x=\"" + N(labelWidth + length + 6) + "\" y=\"" + N(y + 15) + "\">" + Escape(Count(bars[i].second, unit)) +
           "</text>\n";
  }
  return svg + "</svg>\n";
}

// One line per probe name: average memory in use per hour.
std::string ProbeChart(const std::vector<Report::ProbeHour>& probes) {
  std::vector<std::string> hours;
  std::map<std::string, std::vector<std::pair<size_t, int64_t>>> series;
  int64_t most = 1;
  for (const auto& p : probes) {
    if (hours.empty() || hours.back() != p.hour) hours.push_back(p.hour);
    if (!p.usedMB) continue;
    const int64_t used = std::strtoll(p.usedMB->c_str(), nullptr, 10);
    series[p.name].emplace_back(hours.size() - 1, used);
    most = std::max(most, used);
  }
  if (series.empty()) return "<p class=\"empty\">No data yet.</p>\n";
  const int width = 720, height = 260, left = 60, right = 150, top = 10, bottom = 40;
  const int plotWidth = width - left - right, plotHeight = height - top - bottom;
  const auto x = [&](size_t i) {
    return left + (hours.size() == 1 ? plotWidth / 2 : static_cast<int>(i) * plotWidth / static_cast<int>(hours.size() - 1));
  };
  const auto y = [&](int64_t v) { return top + plotHeight - static_cast<int>(v * plotHeight / most); };
  std::string svg = "<svg class=\"chart\" xmlns=\"http://www.w3.org/2000/svg\" width=\"" + N(width) +
                    "\" height=\"" + N(height) + "\" role=\"img\">\n";
  svg += "<line x1=\"" + N(left) + "\" y1=\"" + N(top + plotHeight) + "\" x2=\"" + N(left + plotWidth) + "\" y2=\"" +
         N(top + plotHeight) + "\" stroke=\"#888\"/><line x1=\"" + N(left) + "\" y1=\"" + N(top) + "\" x2=\"" +
         N(left) + "\" y2=\"" + N(top + plotHeight) + "\" stroke=\"#888\"/>\n";
  svg += "<text x=\"" + N(left - 6) + "\" y=\"" + N(top + 10) + "\" text-anchor=\"end\">" + N(most) + " MB</text>";
  svg += "<text x=\"" + N(left - 6) + "\" y=\"" + N(top + plotHeight) + "\" text-anchor=\"end\">0</text>\n";
  svg += "<text x=\"" + N(x(0)) + "\" y=\"" + N(height - 12) + "\">" + Escape(hours.front()) + "h</text>";
  if (hours.size() > 1) {
    svg += "<text x=\"" + N(x(hours.size() - 1)) + "\" y=\"" + N(height - 12) + "\" text-anchor=\"end\">" +
           Escape(hours.back()) + "h</text>";
  }
  svg += "\n";
  size_t index = 0;
  for (const auto& s : series) {
    const char* color = kColors[index % (sizeof kColors / sizeof kColors[0])];
    std::string points;
    for (const auto& point : s.second) points += N(x(point.first)) + "," + N(y(point.second)) + " ";
    svg += "<polyline fill=\"none\" stroke-width=\"2\" stroke=\"" + std::string(color) + "\" points=\"" + points +
           "\"/>";
    for (const auto& point : s.second) {
      svg += "<circle r=\"3\" fill=\"" + std::string(color) + "\" cx=\"" + N(x(point.first)) + "\" cy=\"" +
             N(y(point.second)) + "\"><title>" + Escape(s.first) + " " + Escape(hours[point.first]) + "h: " +
             N(point.second) + " MB</title></circle>";
    }
    const int legendY = top + 14 + static_cast<int>(index) * 18;
    svg += "<rect x=\"" + N(width - right + 10) + "\" y=\"" + N(legendY - 10) + "\" width=\"12\" height=\"12\" fill=\"" +
           color + "\"/><text x=\"" + N(width - right + 28) + "\" y=\"" + N(legendY) + "\">" +
           Escape(s.first.empty() ? "(unnamed)" : s.first) + "</text>\n";
    ++index;
  }
  return svg + "</svg>\n";
}

std::string Section(const char* id, const char* title) {
  return std::string("<section id=\"") + id + "\">\n<h2>" + title + "</h2>\n";
}

std::string Cell(const Value& v) { return v ? Escape(*v) : "&ndash;"; }

}  // namespace

std::string HtmlReport::Render(const Report& r) {
  std::string out =
      "<!DOCTYPE html>\n<html lang=\"en\">\n<head>\n<meta charset=\"utf-8\">\n<title>qz usage report</title>\n"
      "<style>\nbody{font-family:sans-serif;margin:24px;color:#222;max-width:1000px}"
      "h2{margin-top:32px;border-bottom:1px solid #ccc}table{border-collapse:collapse;margin-top:8px}"
      "td,th{padding:3px 10px;text-align:left;border-bottom:1px solid #eee}td.n{text-align:right}"
      ".chart text{font-size:12px;fill:#333}.empty{color:#777}.profile h3{margin-bottom:4px}\n</style>\n"
      "</head>\n<body>\n<h1>qz usage report</h1>\n";
  out += "<p id=\"totals\"" + Attr("data-batches", N(r.batches)) + Attr("data-messages", N(r.messages)) +
         Attr("data-store", r.storeKind) + ">" + N(r.batches) + " batches with " + N(r.messages) +
         " messages stored (" + Escape(r.storeKind) + ").</p>\n";

  out += Section("features-by-use", "Features by use");
  std::vector<std::pair<std::string, int64_t>> bars;
  for (const auto& f : r.featuresByUse) bars.emplace_back(f.name, f.uses);
  out += BarChart(bars, "uses", kColors[0]);
  out += "<table><tr><th>Feature</th><th>Uses</th><th>Ticks</th><th>Starts</th></tr>\n";
  for (const auto& f : r.featuresByUse) {
    out += "<tr" + Attr("data-name", f.name) + Attr("data-uses", N(f.uses)) + Attr("data-ticks", N(f.ticks)) +
           Attr("data-starts", N(f.starts)) + "><td>" + Escape(f.name) + "</td><td class=\"n\">" + N(f.uses) +
           "</td><td class=\"n\">" + N(f.ticks) + "</td><td class=\"n\">" + N(f.starts) + "</td></tr>\n";
  }
  out += "</table>\n</section>\n";

  out += Section("features-by-time", "Features by time in use");
  bars.clear();
  for (const auto& f : r.featuresByTime) bars.emplace_back(f.name, f.totalMs);
  out += BarChart(bars, "ms", kColors[1]);
  out += "<table><tr><th>Feature</th><th>Start/stop pairs</th><th>Total time</th></tr>\n";
  for (const auto& f : r.featuresByTime) {
    out += "<tr" + Attr("data-name", f.name) + Attr("data-pairs", N(f.pairs)) + Attr("data-total-ms", N(f.totalMs)) +
           "><td>" + Escape(f.name) + "</td><td class=\"n\">" + N(f.pairs) + "</td><td class=\"n\">" +
           Seconds(f.totalMs) + "</td></tr>\n";
  }
  out += "</table>\n</section>\n";

  out += Section("sessions-per-day", "Sessions per day (UTC)");
  bars.clear();
  for (const auto& d : r.sessionsPerDay) bars.emplace_back(d.day, d.sessions);
  out += BarChart(bars, "sessions", kColors[2]);
  out += "<table><tr><th>Day</th><th>Sessions</th></tr>\n";
  for (const auto& d : r.sessionsPerDay) {
    out += "<tr" + Attr("data-day", d.day) + Attr("data-sessions", N(d.sessions)) + "><td>" + Escape(d.day) +
           "</td><td class=\"n\">" + N(d.sessions) + "</td></tr>\n";
  }
  out += "</table>\n</section>\n";

  out += Section("faults-by-type", "Faults by type");
  bars.clear();
  for (const auto& f : r.faultsByType) bars.emplace_back(f.type, f.faults);
  out += BarChart(bars, "faults", kColors[3]);
  out += "<table><tr><th>Exception type</th><th>Faults</th><th>Uncaught</th></tr>\n";
  for (const auto& f : r.faultsByType) {
    out += "<tr" + Attr("data-type", f.type) + Attr("data-faults", N(f.faults)) +
           Attr("data-uncaught", N(f.uncaught)) + "><td>" + Escape(f.type) + "</td><td class=\"n\">" + N(f.faults) +
           "</td><td class=\"n\">" + N(f.uncaught) + "</td></tr>\n";
  }
  out += "</table>\n</section>\n";

  out += Section("probes", "Performance probes over time (average memory in use per hour, UTC)");
  out += ProbeChart(r.probes);
  out += "<table><tr><th>Hour</th><th>Probe</th><th>Probes</th><th>Used MB</th><th>Available MB</th>"
         "<th>CPU %</th></tr>\n";
  for (const auto& p : r.probes) {
    out += "<tr" + Attr("data-hour", p.hour) + Attr("data-name", p.name) + Attr("data-probes", N(p.probes)) +
           Attr("data-used", p.usedMB.value_or("")) + Attr("data-available", p.availableMB.value_or("")) +
           Attr("data-cpu", p.cpuPercent.value_or("")) + "><td>" + Escape(p.hour) + "h</td><td>" + Escape(p.name) +
           "</td><td class=\"n\">" + N(p.probes) + "</td><td class=\"n\">" + Cell(p.usedMB) +
           "</td><td class=\"n\">" + Cell(p.availableMB) + "</td><td class=\"n\">" + Cell(p.cpuPercent) +
           "</td></tr>\n";
  }
  out += "</table>\n</section>\n";

  out += Section("profiles", "Latest system profile per host");
  if (r.latestProfiles.empty()) out += "<p class=\"empty\">No data yet.</p>\n";
  for (const auto& p : r.latestProfiles) {
    out += "<div class=\"profile\"" + Attr("data-host", p.host) + Attr("data-id", p.id) +
           Attr("data-generated", p.generated) + ">\n<h3>Host " + Escape(p.host.empty() ? "(unknown)" : p.host) +
           "</h3>\n<p>Profile " + Escape(p.id) + " of " + Escape(p.generated) + "</p>\n<table>\n";
    for (const auto& line : p.lines) {
      out += "<tr" + Attr("data-element", line.first) + "><td>" + Escape(line.first) + "</td><td>" +
             Escape(line.second) + "</td></tr>\n";
    }
    out += "</table>\n</div>\n";
  }
  out += "</section>\n</body>\n</html>\n";
  return out;
}

}  // namespace collector
}  // namespace qz
