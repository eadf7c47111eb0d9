#include "report/TextReport.h"

#include <cstdarg>
#include <cstdio>

namespace qz {
namespace collector {

namespace {

std::string Format(const char* format, ...) __attribute__((format(printf, 1, 2)));

std::string Format(const char* format, ...) {
  char text[1024];
  va_list args;
  va_start(args, format);
  std::vsnprintf(text, sizeof text, format, args);
  va_end(args);
  return text;
}

std::string Seconds(int64_t ms) { return Format("%lld.%03lld s", static_cast<long long>(ms / 1000), static_cast<long long>(ms % 1000)); }

std::string Cell(const Value& v) { return v ? *v : "-"; }

}  // namespace

std::string TextReport::Render(const Report& r) {
  std::string out = Format("qz-collector report (%s): %lld batches, %lld messages\n", r.storeKind.c_str(),
                           static_cast<long long>(r.batches), static_cast<long long>(r.messages));

  out += "\nFeatures by use\n";
  if (r.featuresByUse.empty()) out += "  (none)\n";
  if (!r.featuresByUse.empty()) out += "      uses     ticks    starts  feature\n";
  for (const auto& f : r.featuresByUse) {
    out += Format("  %8lld  %8lld  %8lld  %s\n", static_cast<long long>(f.uses), static_cast<long long>(f.ticks),
                  static_cast<long long>(f.starts), f.name.c_str());
  }

  out += "\nFeatures by time in use (start/stop pairs)\n";
  if (r.featuresByTime.empty()) out += "  (none)\n";
  if (!r.featuresByTime.empty()) out += "     pairs        total time  feature\n";
  for (const auto& f : r.featuresByTime) {
    out += Format("  %8lld  %16s  %s\n", static_cast<long long>(f.pairs), Seconds(f.totalMs).c_str(), f.name.c_str());
  }

  out += "\nSessions per day (UTC)\n";
  if (r.sessionsPerDay.empty()) out += "  (none)\n";
  for (const auto& d : r.sessionsPerDay) {
    out += Format("  %s  %lld\n", d.day.c_str(), static_cast<long long>(d.sessions));
  }

  out += "\nFaults by type\n";
  if (r.faultsByType.empty()) out += "  (none)\n";
  if (!r.faultsByType.empty()) out += "    faults  uncaught  type\n";
  for (const auto& f : r.faultsByType) {
    out += Format("  %8lld  %8lld  %s\n", static_cast<long long>(f.faults), static_cast<long long>(f.uncaught),
                  f.type.c_str());
  }

  out += "\nPerformance probes per hour (UTC, averages)\n";
  if (r.probes.empty()) out += "  (none)\n";
  if (!r.probes.empty()) out += "  hour           probes   used MB  avail MB  cpu %  probe\n";
  for (const auto& p : r.probes) {
    out += Format("  %-13s %7lld  %8s  %8s  %5s  %s\n", p.hour.c_str(), static_cast<long long>(p.probes),
                  Cell(p.usedMB).c_str(), Cell(p.availableMB).c_str(), Cell(p.cpuPercent).c_str(), p.name.c_str());
  }

  out += "\nLatest system profile per host\n";
  if (r.latestProfiles.empty()) out += "  (none)\n";
  for (const auto& p : r.latestProfiles) {
    out += Format("  host %s: profile %s at %s\n", p.host.empty() ? "(unknown)" : p.host.c_str(), p.id.c_str(),
                  p.generated.c_str());
    for (const auto& line : p.lines) out += "    " + line.first + ": " + line.second + "\n";
  }
  return out;
}

}  // namespace collector
}  // namespace qz
