#include "report/HtmlReport.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <limits>

#include "report/Charts.h"
#include "report/Format.h"

namespace qz {
namespace collector {

namespace {

std::string H(const std::string& text) { return Format::Html(text); }
std::string N(int64_t n) { return std::to_string(n); }
std::string C(int64_t n) { return Format::Count(n); }

std::string Attr(const char* name, const std::string& value) { return std::string(" ") + name + "=\"" + H(value) + "\""; }

std::string Empty(const char* what) { return std::string("<p class=\"empty\">") + what + "</p>\n"; }

std::string Section(const char* id, const std::string& title) {
  return std::string("<section id=\"") + id + "\">\n<h2>" + H(title) + "</h2>\n";
}

// A stored text in a cell: whole in the tooltip, cut on the page.
std::string Named(const std::string& text, size_t width = 60) {
  const std::string shown = text.empty() ? "(none)" : Format::Cut(text, width);
  return "<span" + Attr("title", text) + ">" + H(shown) + "</span>";
}

// "user 17", with the hash in its tooltip.
std::string Identity(const Report& r, const char* kind, const std::string& label) {
  for (const auto& l : r.labels) {
    if (l.second == label && l.first.compare(0, strlen(kind), kind) == 0) {
      return "<span class=\"id\"" + Attr("title", l.first.substr(strlen(kind) + 1)) + ">" + H(label) + "</span>";
    }
  }
  return H(label);
}

std::string Link(const ReportFilter& f, const std::string& text, bool current) {
  return "<a href=\"?" + H(f.Query()) + "\"" + (current ? " class=\"current\"" : "") + ">" + text + "</a>";
}

std::string Head(const Report& r) {
  const ReportFilter& f = r.filter;
  std::string title = "qz usage report";
  for (const auto& a : r.apps) {
    if (a.company == f.company && a.application == f.application) {
      title = (a.companyName.empty() ? a.company : a.companyName) + " / " +
              (a.applicationName.empty() ? a.application : a.applicationName);
    }
  }
  std::string out =
      "<!DOCTYPE html>\n<html lang=\"en\">\n<head>\n<meta charset=\"utf-8\">\n"
      "<meta name=\"viewport\" content=\"width=device-width, initial-scale=1\">\n<title>" +
      H(Format::Cut(title, 80)) +
      "</title>\n<style>\n"
      "body{font-family:sans-serif;margin:20px;color:#222;max-width:1060px}"
      "h1{font-size:1.4em;margin:0 0 8px}h2{margin-top:28px;border-bottom:1px solid #ccc;font-size:1.15em}"
      "h3{font-size:1em;margin:16px 0 4px}"
      "table{border-collapse:collapse;margin-top:8px;font-size:14px}"
      "td,th{padding:3px 7px;text-align:left;border-bottom:1px solid #eee;vertical-align:top}"
      "td.n,th.n{text-align:right;white-space:nowrap}td span{overflow-wrap:anywhere}.chart text{font-size:11px;fill:#333}.empty{color:#777;font-style:italic}"
      "nav{margin:6px 0}nav a{margin-right:12px}nav a.current{font-weight:bold;text-decoration:none;color:#222}"
      "form label{margin-right:12px}pre{background:#f6f6f6;padding:6px;white-space:pre-wrap;max-width:900px}"
      ".totals span{margin-right:18px}.id{border-bottom:1px dotted #888}\n"
      "</style>\n</head>\n<body>\n<h1>" +
      H(Format::Cut(title, 120)) + "</h1>\n";
  // Companies and applications: links.
  out += "<nav id=\"applications\">";
  for (const auto& a : r.apps) {
    ReportFilter to = f;
    to.company = a.company;
    to.application = a.application;
    to.version.clear();
    out += Link(to,
                H(Format::Cut(a.companyName.empty() ? a.company : a.companyName, 40) + " / " +
                  Format::Cut(a.applicationName.empty() ? a.application : a.applicationName, 40)),
                a.company == f.company && a.application == f.application);
  }
  out += "</nav>\n";
  if (!r.known) return out;
  // The filters: a plain form that works without scripts.
  out += "<form id=\"filters\" method=\"get\" action=\"\">" + std::string("<input type=\"hidden\" name=\"company\"") +
         Attr("value", f.company) + "><input type=\"hidden\" name=\"application\"" + Attr("value", f.application) +
         "><input type=\"hidden\" name=\"view\"" + Attr("value", f.view) + ">";
  out += "<label>Version <select name=\"version\"><option value=\"\">all</option>";
  for (const std::string& v : r.versions) {
    if (v.empty()) continue;
    out += "<option" + Attr("value", v) + (v == f.version ? " selected" : "") + ">" + H(Format::Cut(v, 40)) + "</option>";
  }
  out += "</select></label><label>From <input type=\"date\" name=\"from\"" + Attr("value", f.from) +
         "></label><label>To <input type=\"date\" name=\"to\"" + Attr("value", f.to) +
         "></label><button type=\"submit\">Show</button></form>\n";
  out += "<nav id=\"views\">";
  for (const std::string& v : ReportFilter::Views()) {
    ReportFilter to = f;
    to.view = v;
    std::string name = v;
    name[0] = static_cast<char>(name[0] - 'a' + 'A');
    out += Link(to, name, v == f.view);
  }
  out += "</nav>\n";
  return out;
}

std::vector<Charts::Bar> ShareBars(const std::vector<Report::Share>& shares, const char* unit) {
  int64_t total = 0;
  for (const auto& s : shares) total += s.count;
  std::vector<Charts::Bar> bars;
  for (const auto& s : shares) {
    const std::string share = Format::Percent(static_cast<double>(s.count), static_cast<double>(total));
    bars.push_back({s.label, s.label + ": " + C(s.count) + " " + unit + " (" + share + ")",
                    static_cast<double>(s.count), share});
  }
  return bars;
}

std::string ShareTable(const std::vector<Report::Share>& shares, const char* kind, const char* head, const char* unit,
                       const char* countName) {
  int64_t total = 0;
  for (const auto& s : shares) total += s.count;
  std::string out = std::string("<table><tr><th>") + head + "</th><th class=\"n\">" + unit +
                    "</th><th class=\"n\">Share</th></tr>\n";
  for (const auto& s : shares) {
    out += "<tr" + Attr("data-kind", kind) + Attr("data-label", s.label) + Attr(countName, N(s.count)) + "><td>" +
           Named(s.label) + "</td><td class=\"n\">" + C(s.count) + "</td><td class=\"n\">" +
           Format::Percent(static_cast<double>(s.count), static_cast<double>(total)) + "</td></tr>\n";
  }
  return out + "</table>\n";
}

std::string Overview(const Report& r) {
  std::string out = Section("overview", "Overview");
  out += "<p class=\"totals\" id=\"totals\"" + Attr("data-users", N(r.users)) + Attr("data-installs", N(r.installs)) +
         Attr("data-new-installs", N(r.newInstalls)) + Attr("data-sessions", N(r.sessions)) +
         Attr("data-messages", N(r.messages)) + "><span>" + C(r.users) + " users</span><span>" + C(r.installs) +
         " installs (" + C(r.newInstalls) + " new)</span><span>" + C(r.sessions) + " sessions</span><span>" +
         C(r.messages) + " messages</span></p>\n";
  if (r.messages == 0 && r.users == 0) return out + Empty("No messages in this range.") + "</section>\n";
  std::vector<std::string> labels;
  std::vector<double> users, installs, sessions, fresh;
  for (const auto& d : r.days) {
    labels.push_back(d.day);
    users.push_back(static_cast<double>(d.users));
    installs.push_back(static_cast<double>(d.installs));
    sessions.push_back(static_cast<double>(d.sessions));
    fresh.push_back(static_cast<double>(d.newInstalls));
  }
  out += "<h3>Daily active users and installs</h3>\n" +
         Charts::Lines(labels, {{"users", users}, {"installs", installs}, {"new installs", fresh}}, "");
  out += "<h3>Sessions per day</h3>\n" + Charts::Lines(labels, {{"sessions", sessions}}, "");
  out += "<table id=\"days\"><tr><th>Day (UTC)</th><th class=\"n\">Users</th><th class=\"n\">Installs</th>"
         "<th class=\"n\">New installs</th><th class=\"n\">Sessions</th></tr>\n";
  for (const auto& d : r.days) {
    out += "<tr" + Attr("data-day", d.day) + Attr("data-users", N(d.users)) + Attr("data-installs", N(d.installs)) +
           Attr("data-new-installs", N(d.newInstalls)) + Attr("data-sessions", N(d.sessions)) + "><td>" + d.day +
           "</td><td class=\"n\">" + C(d.users) + "</td><td class=\"n\">" + C(d.installs) + "</td><td class=\"n\">" +
           C(d.newInstalls) + "</td><td class=\"n\">" + C(d.sessions) + "</td></tr>\n";
  }
  out += "</table>\n</section>\n";
  out += Section("versions", "Versions in use (share of sessions)");
  out += r.versionsInUse.empty() ? Empty("No sessions in this range.")
                                 : Charts::Bars(ShareBars(r.versionsInUse, "sessions"), 1) +
                                       ShareTable(r.versionsInUse, "version", "Version", "Sessions", "data-sessions");
  out += "</section>\n" + Section("systems", "Operating systems in use (share of installs)");
  out += r.systemsInUse.empty() ? Empty("No installs known in this range.")
                                : Charts::Bars(ShareBars(r.systemsInUse, "installs"), 2) +
                                      ShareTable(r.systemsInUse, "os", "Operating system", "Installs", "data-installs");
  return out + "</section>\n";
}

std::string Features(const Report& r) {
  std::string out = Section("features", "Feature adoption (share of users who used each feature)");
  if (r.features.empty()) return out + Empty("No features used in this range.") + "</section>\n";
  std::vector<Charts::Bar> adoption, time;
  for (const auto& f : r.features) {
    const std::string share = Format::Percent(static_cast<double>(f.users), static_cast<double>(r.users));
    adoption.push_back({f.name, f.name + ": " + C(f.users) + " of " + C(r.users) + " users", static_cast<double>(f.users), share});
    if (f.pairs > 0) {
      time.push_back({f.name, f.name + ": median " + Format::Duration(f.medianMs) + ", 90th percentile " +
                                  Format::Duration(f.p90Ms),
                      static_cast<double>(f.medianMs), Format::Duration(f.medianMs)});
    }
  }
  out += Charts::Bars(adoption, 0);
  out += "<table id=\"feature-table\"><tr><th>Feature</th><th class=\"n\">Users</th><th class=\"n\">Adoption</th>"
         "<th class=\"n\">Uses</th><th class=\"n\">Ticks</th><th class=\"n\">Starts</th><th class=\"n\">Timed pairs</th>"
         "<th class=\"n\">Median time</th><th class=\"n\">90th percentile</th><th class=\"n\">Total time</th></tr>\n";
  for (const auto& f : r.features) {
    const double hours = f.totalMs / 3600000.0;
    char total[64];
    std::snprintf(total, sizeof total, "%.1f h", hours);
    out += "<tr" + Attr("data-name", f.name) + Attr("data-users", N(f.users)) + Attr("data-uses", N(f.Uses())) +
           Attr("data-ticks", N(f.ticks)) + Attr("data-starts", N(f.starts)) + Attr("data-pairs", N(f.pairs)) +
           Attr("data-clamped", N(f.clamped)) + Attr("data-median-ms", N(f.medianMs)) + Attr("data-p90-ms", N(f.p90Ms)) +
           "><td>" + Named(f.name, 40) + "</td><td class=\"n\">" + C(f.users) + "</td><td class=\"n\">" +
           Format::Percent(static_cast<double>(f.users), static_cast<double>(r.users)) + "</td><td class=\"n\">" +
           C(f.Uses()) + "</td><td class=\"n\">" + C(f.ticks) + "</td><td class=\"n\">" + C(f.starts) +
           "</td><td class=\"n\">" + C(f.pairs) + (f.clamped > 0 ? " (" + C(f.clamped) + " out of bounds)" : "") +
           "</td><td class=\"n\">" + (f.pairs > 0 ? Format::Duration(f.medianMs) : "-") + "</td><td class=\"n\">" +
           (f.pairs > 0 ? Format::Duration(f.p90Ms) : "-") + "</td><td class=\"n\">" + (f.pairs > 0 ? total : "-") +
           "</td></tr>\n";
  }
  out += "</table>\n</section>\n" + Section("feature-time", "Time in use (start/stop pairs, median)");
  out += time.empty() ? Empty("No timed pairs in this range.") : Charts::Bars(time, 1);
  return out + "</section>\n";
}

std::string Stability(const Report& r) {
  std::string out = Section("stability", "Stability");
  out += "<p class=\"totals\" id=\"fault-totals\"" + Attr("data-faults", N(r.faults)) + Attr("data-uncaught", N(r.uncaught)) +
         "><span>" + C(r.faults) + " faults</span><span>" + C(r.uncaught) + " uncaught (" +
         Format::Percent(static_cast<double>(r.uncaught), static_cast<double>(r.faults)) + ")</span></p>\n";
  if (r.faultsByVersion.empty()) return out + Empty("No sessions or faults in this range.") + "</section>\n";
  std::vector<Charts::Bar> bars;
  std::string table = "<table id=\"version-faults\"><tr><th>Version</th><th class=\"n\">Sessions</th><th class=\"n\">"
                      "Faults</th><th class=\"n\">Uncaught</th><th class=\"n\">Faults per 1,000 sessions</th></tr>\n";
  for (const auto& v : r.faultsByVersion) {
    const bool rated = v.sessions > 0;
    const double rate = rated ? 1000.0 * static_cast<double>(v.faults) / static_cast<double>(v.sessions) : 0;
    char text[64];
    std::snprintf(text, sizeof text, "%.1f", rate);
    if (rated) bars.push_back({v.version, v.version + ": " + text + " faults per 1,000 sessions", rate, text});
    table += "<tr" + Attr("data-version", v.version) + Attr("data-sessions", N(v.sessions)) +
             Attr("data-faults", N(v.faults)) + Attr("data-uncaught", N(v.uncaught)) + "><td>" + Named(v.version, 40) +
             "</td><td class=\"n\">" + C(v.sessions) + "</td><td class=\"n\">" + C(v.faults) + "</td><td class=\"n\">" +
             C(v.uncaught) + "</td><td class=\"n\">" + (rated ? text : "-") + "</td></tr>\n";
  }
  out += "<h3>Faults per 1,000 sessions, per version</h3>\n" +
         (bars.empty() ? Empty("No sessions to compare with.") : Charts::Bars(bars, 3)) + table + "</table>\n";
  out += "<h3>Top exception types</h3>\n";
  if (r.exceptionTypes.empty()) return out + Empty("No faults in this range.") + "</section>\n";
  out += "<table id=\"exception-types\"><tr><th>Exception type</th><th class=\"n\">Faults</th><th class=\"n\">"
         "Uncaught</th><th>Latest</th></tr>\n";
  for (const auto& t : r.exceptionTypes) {
    out += "<tr" + Attr("data-type", t.type) + Attr("data-faults", N(t.faults)) + Attr("data-uncaught", N(t.uncaught)) +
           Attr("data-latest", t.generated) + "><td>" + Named(t.type) + "</td><td class=\"n\">" + C(t.faults) +
           "</td><td class=\"n\">" + C(t.uncaught) + "</td><td>" + H(t.generated) + " (" + Named(t.version, 20) + ")" +
           (t.user.empty() ? "" : " by " + Identity(r, "user", t.user)) +
           (t.host.empty() ? "" : " on " + Identity(r, "host", t.host)) + "<details><summary>" +
           H(Format::Cut(t.message.empty() ? "(no message)" : t.message, 100)) + "</summary><pre>" +
           H(Format::Cut(t.message, 4000)) + "\n" + H(t.stack.size() > 20000 ? t.stack.substr(0, 20000) : t.stack) +
           "</pre></details></td></tr>\n";
  }
  return out + "</table>\n</section>\n";
}

std::string Performance(const Report& r) {
  std::string out = Section("performance", "Performance probes per day (median and 90th percentile)");
  if (r.probes.empty()) return out + Empty("No probes in this range.") + "</section>\n";
  std::vector<std::string> labels;
  for (const auto& d : r.days.empty() ? std::vector<Report::Day>() : r.days) labels.push_back(d.day);
  if (labels.empty()) {
    for (std::string d = r.filter.from;; d = ReportFilter::AddDays(d, 1)) {
      labels.push_back(d);
      if (d >= r.filter.to) break;
    }
  }
  const double none = std::numeric_limits<double>::quiet_NaN();
  size_t start = 0;
  while (start < r.probes.size()) {
    const std::string& name = r.probes[start].name;
    size_t end = start;
    std::vector<double> m50(labels.size(), none), m90(labels.size(), none), c50(labels.size(), none),
        c90(labels.size(), none);
    for (; end < r.probes.size() && r.probes[end].name == name; ++end) {
      const auto& p = r.probes[end];
      const auto at = std::lower_bound(labels.begin(), labels.end(), p.day) - labels.begin();
      if (static_cast<size_t>(at) >= labels.size() || labels[static_cast<size_t>(at)] != p.day) continue;
      m50[static_cast<size_t>(at)] = static_cast<double>(p.memory.median);
      m90[static_cast<size_t>(at)] = static_cast<double>(p.memory.p90);
      if (p.cpu) {
        c50[static_cast<size_t>(at)] = static_cast<double>(p.cpu->median);
        c90[static_cast<size_t>(at)] = static_cast<double>(p.cpu->p90);
      }
    }
    out += "<h3>" + Named(name.empty() ? "(unnamed)" : name) + "</h3>\n" +
           Charts::Lines(labels, {{"memory median", m50}, {"memory p90", m90}}, "MB") +
           Charts::Lines(labels, {{"processor median", c50}, {"processor p90", c90}}, "%");
    start = end;
  }
  out += "<table id=\"probe-table\"><tr><th>Probe</th><th>Day</th><th class=\"n\">Probes</th><th class=\"n\">Memory "
         "median MB</th><th class=\"n\">p90 MB</th><th class=\"n\">Processor median %</th><th class=\"n\">p90 %</th></tr>\n";
  for (const auto& p : r.probes) {
    out += "<tr" + Attr("data-name", p.name) + Attr("data-day", p.day) + Attr("data-probes", N(p.probes)) +
           Attr("data-used-p50", N(p.memory.median)) + Attr("data-used-p90", N(p.memory.p90)) +
           Attr("data-cpu-p50", p.cpu ? N(p.cpu->median) : "") + Attr("data-cpu-p90", p.cpu ? N(p.cpu->p90) : "") +
           "><td>" + Named(p.name.empty() ? "(unnamed)" : p.name) + "</td><td>" + p.day + "</td><td class=\"n\">" +
           C(p.probes) + "</td><td class=\"n\">" + C(p.memory.median) + "</td><td class=\"n\">" + C(p.memory.p90) +
           "</td><td class=\"n\">" + (p.cpu ? C(p.cpu->median) : "-") + "</td><td class=\"n\">" +
           (p.cpu ? C(p.cpu->p90) : "-") + "</td></tr>\n";
  }
  return out + "</table>\n</section>\n";
}

std::string Machines(const Report& r) {
  std::string out = Section("machines", "Machines (the latest profile of each host)");
  out += "<p class=\"totals\" id=\"profiled\"" + Attr("data-hosts", N(r.profiledHosts)) + ">" + C(r.profiledHosts) +
         " hosts sent a profile in this range.</p>\n";
  if (r.profiledHosts == 0) return out + Empty("No system profiles in this range.") + "</section>\n";
  size_t colour = 0;
  for (const auto& d : r.machines) {
    out += "<h3>" + H(d.title) + "</h3>\n" + Charts::Bars(ShareBars(d.shares, "hosts"), colour++) +
           ShareTable(d.shares, d.title.c_str(), d.title.c_str(), "Hosts", "data-hosts");
  }
  return out + "</section>\n";
}

}  // namespace

std::string HtmlReport::Render(const Report& r) {
  std::string out = Head(r) + "<main>\n";
  if (!r.known) {
    out += Empty(r.apps.empty() ? "No data stored yet." : "No data for that company and application.");
  } else if (r.Shows("overview")) {
    out += Overview(r);
  }
  if (r.known && r.Shows("features")) out += Features(r);
  if (r.known && r.Shows("stability")) out += Stability(r);
  if (r.known && r.Shows("performance")) out += Performance(r);
  if (r.known && r.Shows("machines")) out += Machines(r);
  // Convenience only: the form submits itself when a field changes.
  out += "</main>\n<script>\n"
         "for (const e of document.querySelectorAll('#filters select, #filters input'))"
         " e.addEventListener('change', () => e.form.submit());\n"
         "</script>\n</body>\n</html>\n";
  return out;
}

}  // namespace collector
}  // namespace qz
