#include "report/JsonReport.h"

#include <cmath>
#include <cstdio>

#include "report/Format.h"

namespace qz {
namespace collector {

namespace {

// Members of one object, comma-separated as they are added.
class Object {
 public:
  Object& Add(const char* name, const std::string& json) {
    text += (text.empty() ? "{" : ",") + Format::Json(name) + ":" + json;
    return *this;
  }
  Object& Str(const char* name, const std::string& value) { return Add(name, Format::Json(value)); }
  Object& Int(const char* name, int64_t value) { return Add(name, std::to_string(value)); }
  Object& Real(const char* name, double value) {
    char number[64];
    std::snprintf(number, sizeof number, "%.17g", value);
    return Add(name, std::isfinite(value) ? number : "null");
  }
  std::string End() const { return text.empty() ? "{}" : text + "}"; }

 private:
  std::string text;
};

template <class T, class F>
std::string Array(const std::vector<T>& items, F each) {
  std::string out = "[";
  for (const T& item : items) out += (out.size() > 1 ? "," : "") + each(item);
  return out + "]";
}

std::string Shares(const std::vector<Report::Share>& shares) {
  return Array(shares, [](const Report::Share& s) { return Object().Str("label", s.label).Int("count", s.count).End(); });
}

std::string Stat(const Report::Stat& s) {
  return Object().Int("count", s.count).Int("median", s.median).Int("p90", s.p90).End();
}

}  // namespace

std::string JsonReport::Render(const Report& r) {
  const ReportFilter& f = r.filter;
  Object root;
  root.Str("store", r.storeKind);
  root.Add("filter", Object()
                         .Str("company", f.company)
                         .Str("application", f.application)
                         .Str("version", f.version)
                         .Str("from", f.from)
                         .Str("to", f.to)
                         .Str("view", f.view)
                         .End());
  root.Add("applications", Array(r.apps, [](const Report::App& a) {
             return Object()
                 .Str("company", a.company)
                 .Str("company_name", a.companyName)
                 .Str("application", a.application)
                 .Str("application_name", a.applicationName)
                 .End();
           }));
  root.Add("known", r.known ? "true" : "false");
  root.Add("versions", Array(r.versions, [](const std::string& v) { return Format::Json(v); }));
  if (r.known && r.Shows("overview")) {
    root.Add("overview",
             Object()
                 .Int("users", r.users)
                 .Int("installs", r.installs)
                 .Int("new_installs", r.newInstalls)
                 .Int("sessions", r.sessions)
                 .Int("messages", r.messages)
                 .Add("days", Array(r.days,
                                    [](const Report::Day& d) {
                                      return Object()
                                          .Str("day", d.day)
                                          .Int("users", d.users)
                                          .Int("installs", d.installs)
                                          .Int("new_installs", d.newInstalls)
                                          .Int("sessions", d.sessions)
                                          .Int("messages", d.messages)
                                          .End();
                                    }))
                 .Add("versions_in_use", Shares(r.versionsInUse))
                 .Add("systems_in_use", Shares(r.systemsInUse))
                 .End());
  }
  if (r.known && r.Shows("features")) {
    root.Add("features", Array(r.features, [&](const Report::Feature& x) {
               return Object()
                   .Str("name", x.name)
                   .Int("users", x.users)
                   .Real("adoption", r.users > 0 ? static_cast<double>(x.users) / static_cast<double>(r.users) : 0)
                   .Int("uses", x.Uses())
                   .Int("ticks", x.ticks)
                   .Int("starts", x.starts)
                   .Int("pairs", x.pairs)
                   .Int("clamped", x.clamped)
                   .Int("median_ms", x.medianMs)
                   .Int("p90_ms", x.p90Ms)
                   .Real("total_ms", x.totalMs)
                   .End();
             }));
  }
  if (r.known && r.Shows("stability")) {
    root.Add("stability",
             Object()
                 .Int("faults", r.faults)
                 .Int("uncaught", r.uncaught)
                 .Add("versions", Array(r.faultsByVersion,
                                        [](const Report::VersionFaults& v) {
                                          return Object()
                                              .Str("version", v.version)
                                              .Int("sessions", v.sessions)
                                              .Int("faults", v.faults)
                                              .Int("uncaught", v.uncaught)
                                              .End();
                                        }))
                 .Add("exception_types", Array(r.exceptionTypes,
                                               [](const Report::ExceptionType& t) {
                                                 return Object()
                                                     .Str("type", t.type)
                                                     .Int("faults", t.faults)
                                                     .Int("uncaught", t.uncaught)
                                                     .Str("latest_message", t.message)
                                                     .Str("latest_stack", t.stack)
                                                     .Str("latest_generated", t.generated)
                                                     .Str("latest_version", t.version)
                                                     .Str("latest_user", t.user)
                                                     .Str("latest_host", t.host)
                                                     .End();
                                               }))
                 .End());
  }
  if (r.known && r.Shows("performance")) {
    root.Add("probes", Array(r.probes, [](const Report::ProbeDay& p) {
               return Object()
                   .Str("name", p.name)
                   .Str("day", p.day)
                   .Int("probes", p.probes)
                   .Add("memory_used_mb", Stat(p.memory))
                   .Add("cpu_percent", p.cpu ? Stat(*p.cpu) : "null")
                   .End();
             }));
  }
  if (r.known && r.Shows("machines")) {
    root.Add("machines", Object()
                             .Int("hosts", r.profiledHosts)
                             .Add("distributions", Array(r.machines,
                                                         [](const Report::Distribution& d) {
                                                           return Object().Str("title", d.title).Add("shares", Shares(d.shares)).End();
                                                         }))
                             .End());
  }
  return root.End() + "\n";
}

}  // namespace collector
}  // namespace qz
