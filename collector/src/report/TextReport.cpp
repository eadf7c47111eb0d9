#include "report/TextReport.h"

#include <cstdarg>
#include <cstdio>

#include "report/Format.h"

namespace qz {
namespace collector {

namespace {

std::string F(const char* format, ...) __attribute__((format(printf, 1, 2)));

std::string F(const char* format, ...) {
  char text[512];
  va_list args;
  va_start(args, format);
  std::vsnprintf(text, sizeof text, format, args);
  va_end(args);
  return text;
}

std::string C(int64_t n) { return Format::Count(n); }

// A stored text on one line, at most width characters.
std::string T(const std::string& text, size_t width = 60) { return Format::Cut(text, width); }

std::string Shares(const std::vector<Report::Share>& shares, const char* unit) {
  int64_t total = 0;
  for (const auto& s : shares) total += s.count;
  std::string out;
  if (shares.empty()) return "  (none)\n";
  for (const auto& s : shares) {
    out += F("  %12s %s  %8s  %s\n", C(s.count).c_str(), unit, Format::Percent(static_cast<double>(s.count), static_cast<double>(total)).c_str(),
             s.label.empty() ? "(none)" : T(s.label).c_str());
  }
  return out;
}

}  // namespace

std::string TextReport::Render(const Report& r) {
  const ReportFilter& f = r.filter;
  std::string out = "qz usage report (" + r.storeKind + ")\n";
  for (const auto& a : r.apps) {
    const bool chosen = a.company == f.company && a.application == f.application;
    out += std::string(chosen ? "* " : "  ") + T(a.companyName.empty() ? a.company : a.companyName, 40) + " / " +
           T(a.applicationName.empty() ? a.application : a.applicationName, 40) + "  (--company " + a.company +
           " --application " + a.application + ")\n";
  }
  if (!r.known) {
    out += r.apps.empty() ? "\nNo data stored yet.\n" : "\nNo data for that company and application.\n";
    return out;
  }
  out += "Version: " + (f.version.empty() ? std::string("all") : T(f.version, 40)) + "; days " + f.from + " to " +
         f.to + " (UTC)\n";

  if (r.Shows("overview")) {
    out += F("\nOverview: %s users, %s installs (%s new), %s sessions, %s messages\n", C(r.users).c_str(),
             C(r.installs).c_str(), C(r.newInstalls).c_str(), C(r.sessions).c_str(), C(r.messages).c_str());
    out += "  day            users  installs  new installs  sessions\n";
    for (const auto& d : r.days) {
      out += F("  %s  %8s  %8s  %12s  %8s\n", d.day.c_str(), C(d.users).c_str(), C(d.installs).c_str(),
               C(d.newInstalls).c_str(), C(d.sessions).c_str());
    }
    out += "\nVersions in use (sessions)\n" + Shares(r.versionsInUse, "sessions");
    out += "\nOperating systems in use (installs)\n" + Shares(r.systemsInUse, "installs");
  }
  if (r.Shows("features")) {
    out += "\nFeatures\n";
    if (r.features.empty()) out += "  (none)\n";
    if (!r.features.empty()) out += "     users  adoption       uses     pairs        median           p90  feature\n";
    for (const auto& x : r.features) {
      out += F("  %8s  %8s  %9s  %8s  %12s  %12s  %s\n", C(x.users).c_str(),
               Format::Percent(static_cast<double>(x.users), static_cast<double>(r.users)).c_str(), C(x.Uses()).c_str(),
               C(x.pairs).c_str(), x.pairs > 0 ? Format::Duration(x.medianMs).c_str() : "-",
               x.pairs > 0 ? Format::Duration(x.p90Ms).c_str() : "-", T(x.name).c_str());
    }
  }
  if (r.Shows("stability")) {
    out += F("\nStability: %s faults, %s uncaught (%s)\n", C(r.faults).c_str(), C(r.uncaught).c_str(),
             Format::Percent(static_cast<double>(r.uncaught), static_cast<double>(r.faults)).c_str());
    if (!r.faultsByVersion.empty()) out += "  version                 sessions    faults  per 1000 sessions\n";
    for (const auto& v : r.faultsByVersion) {
      const std::string rate = v.sessions > 0 ? F("%.1f", 1000.0 * static_cast<double>(v.faults) / static_cast<double>(v.sessions)) : "-";
      out += F("  %-20s  %10s  %8s  %s\n", T(v.version.empty() ? "(none)" : v.version, 20).c_str(), C(v.sessions).c_str(),
               C(v.faults).c_str(), rate.c_str());
    }
    for (const auto& t : r.exceptionTypes) {
      out += F("  %s: %s faults, %s uncaught; latest %s", T(t.type).c_str(), C(t.faults).c_str(), C(t.uncaught).c_str(),
               t.generated.c_str());
      if (!t.user.empty()) out += " by " + t.user;
      if (!t.host.empty()) out += " on " + t.host;
      out += "\n    " + T(t.message, 200) + "\n";
      for (size_t at = 0; at <= t.stack.size();) {
        size_t end = t.stack.find('\n', at);
        if (end == std::string::npos) end = t.stack.size();
        if (end > at) out += "      at " + T(t.stack.substr(at, end - at), 200) + "\n";
        at = end + 1;
      }
    }
  }
  if (r.Shows("performance")) {
    out += "\nPerformance probes per day (memory used MB and processor %, median / 90th percentile)\n";
    if (r.probes.empty()) out += "  (none)\n";
    for (const auto& p : r.probes) {
      out += F("  %s  %6s probes  memory %s / %s MB  cpu %s  %s\n", p.day.c_str(), C(p.probes).c_str(),
               C(p.memory.median).c_str(), C(p.memory.p90).c_str(),
               p.cpu ? (C(p.cpu->median) + " / " + C(p.cpu->p90) + " %").c_str() : "-",
               T(p.name.empty() ? "(unnamed)" : p.name).c_str());
    }
  }
  if (r.Shows("machines")) {
    out += "\nMachines (latest profile of " + C(r.profiledHosts) + " hosts)\n";
    for (const auto& d : r.machines) out += "  " + d.title + "\n" + Shares(d.shares, "hosts");
  }
  return out;
}

}  // namespace collector
}  // namespace qz
