// qz-collector: receives the batches that the qz library posts, checks them
// against the wire format, stores them in SQLite or PostgreSQL and shows what
// the applications' users did.
//
//   qz-collector [serve] [options]      run the endpoint until SIGINT or SIGTERM
//   qz-collector report [options]       print the report (or --html FILE)
//   qz-collector schema                 print the wire format's XML Schema
#include <fcntl.h>
#include <signal.h>
#include <unistd.h>

#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <string>

#include "common/Log.h"
#include "ingest/MessagingSchema.h"
#include "report/HtmlReport.h"
#include "report/JsonReport.h"
#include "report/Report.h"
#include "report/TextReport.h"
#include "server/Collector.h"

namespace {

using qz::collector::Collector;
using qz::collector::CollectorOptions;

const char kUsage[] =
    "usage: qz-collector [serve] [options]\n"
    "       qz-collector report [--db FILE [--create] | --postgres CONNECTION] [filters] [--html FILE | --json]\n"
    "       qz-collector schema\n"
    "\n"
    "serve options:\n"
    "  --db FILE              SQLite database (default qz-collector.db); must exist unless --create\n"
    "  --create               make the SQLite database when it does not exist\n"
    "  --postgres CONNECTION  PostgreSQL instead, e.g. postgresql://user@host/db\n"
    "  --listen ADDRESS       address to listen on (default 127.0.0.1)\n"
    "  --https-port N         HTTPS port (default 8443; -1 for none, 0 for any free one)\n"
    "  --http-port N          plain HTTP port (default none)\n"
    "  --cert FILE --key FILE TLS certificate and key (made, self-signed, when both are missing;\n"
    "                         default qz-collector-cert.pem and qz-collector-key.pem beside the database)\n"
    "  --max-body BYTES       largest batch accepted (default 8388608)\n"
    "  --max-memory BYTES     memory all requests under way may hold (default 268435456)\n"
    "  --max-connections N    connections open at once (default 16384)\n"
    "  --handshake-timeout MS time for a TLS handshake (default 5000)\n"
    "  --idle-timeout MS      time for a request's head to arrive on an open connection (default 5000)\n"
    "  --request-timeout MS   time for a whole request to arrive (default 10000)\n"
    "  --read-timeout MS      longest silence within a body (default 5000)\n"
    "  --workers N            threads that check batches (default: one per processor)\n"
    "  --report-listen ADDRESS:PORT  the report's own HTTPS listener (default 127.0.0.1:8444;\n"
    "                         \"none\" for none; an ingestion address and port to share that one)\n"
    "  --report-token TOKEN   the report asks for this token (Authorization: Bearer, or a ?token= link)\n"
    "  --retain-days N        delete what is older than N days, in the background (default: keep all)\n"
    "  --allow-company GUID   accept only this company's batches (repeatable; default: any)\n"
    "  --ports-file FILE      write \"HTTP HTTPS REPORT\" ports there once listening (-1: none)\n"
    "  --verbose              log every stored batch\n"
    "\n"
    "report filters (also the page's query string):\n"
    "  --company GUID --application GUID   which application (default: the first stored)\n"
    "  --version TEXT         one version (default: all)\n"
    "  --from DAY --to DAY    days, YYYY-MM-DD, UTC, both included (default: the last 30 days)\n"
    "  --view NAME            overview, features, stability, performance or machines (default: all)\n"
    "  --json                 the figures as JSON\n";

[[noreturn]] void Usage(const char* problem) {
  if (problem != nullptr) std::fprintf(stderr, "qz-collector: %s\n", problem);
  std::fputs(kUsage, stderr);
  std::exit(2);
}

struct Arguments {
  CollectorOptions options;
  std::string command = "serve";
  std::string html;
  bool json = false;
  qz::collector::ReportFilter filter;
  std::string portsFile;
  bool certGiven = false;
};

bool IsGuid(const std::string& text) {
  if (text.size() != 36) return false;
  for (size_t i = 0; i < text.size(); ++i) {
    const bool dash = i == 8 || i == 13 || i == 18 || i == 23;
    if (dash != (text[i] == '-') || (!dash && !std::isxdigit(static_cast<unsigned char>(text[i])))) return false;
  }
  return true;
}

long Number(const char* text, const char* option) {
  char* end = nullptr;
  const long value = std::strtol(text, &end, 10);
  if (end == text || *end != 0) Usage((std::string(option) + " needs a number").c_str());
  return value;
}

Arguments Parse(int argc, char** argv) {
  Arguments a;
  int i = 1;
  if (i < argc && argv[i][0] != '-') a.command = argv[i++];
  if (a.command != "serve" && a.command != "report" && a.command != "schema") Usage("unknown command");
  for (; i < argc; ++i) {
    const std::string option = argv[i];
    if (option == "--help" || option == "-h") Usage(nullptr);
    if (option == "--verbose") {
      qz::collector::Log::SetVerbose(true);
      continue;
    }
    if (option == "--create") {
      a.options.create = true;
      continue;
    }
    if (option == "--json") {
      a.json = true;
      continue;
    }
    if (i + 1 >= argc) Usage((option + " needs a value").c_str());
    const char* value = argv[++i];
    auto& o = a.options;
    if (option == "--db") {
      o.sqlitePath = value;
    } else if (option == "--postgres") {
      o.postgres = value;
    } else if (option == "--listen") {
      o.listen = value;
    } else if (option == "--https-port") {
      o.httpsPort = static_cast<int>(Number(value, "--https-port"));
    } else if (option == "--http-port") {
      o.httpPort = static_cast<int>(Number(value, "--http-port"));
    } else if (option == "--cert") {
      o.certFile = value;
      a.certGiven = true;
    } else if (option == "--key") {
      o.keyFile = value;
      a.certGiven = true;
    } else if (option == "--max-body") {
      o.limits.maxBody = static_cast<size_t>(Number(value, "--max-body"));
    } else if (option == "--request-timeout") {
      o.limits.requestTimeoutMs = static_cast<int>(Number(value, "--request-timeout"));
    } else if (option == "--read-timeout") {
      o.limits.readTimeoutMs = static_cast<int>(Number(value, "--read-timeout"));
    } else if (option == "--max-memory") {
      o.limits.maxMemory = static_cast<size_t>(Number(value, "--max-memory"));
    } else if (option == "--max-connections") {
      o.limits.maxConnections = static_cast<size_t>(Number(value, "--max-connections"));
    } else if (option == "--handshake-timeout") {
      o.limits.handshakeTimeoutMs = static_cast<int>(Number(value, "--handshake-timeout"));
    } else if (option == "--idle-timeout") {
      o.limits.idleTimeoutMs = static_cast<int>(Number(value, "--idle-timeout"));
    } else if (option == "--workers") {
      o.limits.workers = static_cast<size_t>(Number(value, "--workers"));
    } else if (option == "--retain-days") {
      o.retainDays = static_cast<int>(Number(value, "--retain-days"));
      if (o.retainDays <= 0) Usage("--retain-days needs a positive number");
    } else if (option == "--allow-company") {
      if (!IsGuid(value)) Usage("--allow-company needs a GUID");
      o.allowedCompanies.push_back(value);
    } else if (option == "--ports-file") {
      a.portsFile = value;
    } else if (option == "--html") {
      a.html = value;
    } else if (option == "--report-listen") {
      o.reportListen = std::string(value) == "none" ? "" : value;
    } else if (option == "--report-token") {
      o.report.token = value;
      if (o.report.token.empty()) Usage("--report-token needs a token");
    } else if (option == "--company" || option == "--application" || option == "--version" || option == "--from" ||
               option == "--to" || option == "--view") {
      std::string problem;
      if (!a.filter.Set(option.substr(2), value, problem)) Usage(problem.c_str());
    } else {
      Usage(("unknown option " + option).c_str());
    }
  }
  auto& o = a.options;
  const auto& l = o.limits;
  if (l.maxBody == 0 || l.maxMemory < l.maxBody || l.maxConnections == 0 || l.handshakeTimeoutMs <= 0 ||
      l.idleTimeoutMs <= 0 || l.requestTimeoutMs <= 0 || l.readTimeoutMs <= 0) {
    Usage("limits must be positive, and --max-memory at least --max-body");
  }
  if (!a.certGiven) {
    // Beside the database file, so that one folder holds the collector's state.
    const size_t slash = o.sqlitePath.rfind('/');
    const std::string folder = o.postgres.empty() && slash != std::string::npos ? o.sqlitePath.substr(0, slash + 1) : "";
    o.certFile = folder + "qz-collector-cert.pem";
    o.keyFile = folder + "qz-collector-key.pem";
  }
  return a;
}

int Report(const Arguments& a) {
  std::string error;
  auto store = qz::collector::Store::Open(a.options.sqlitePath, a.options.postgres, a.options.create, error);
  qz::collector::Report report;
  qz::collector::ReportFilter filter = a.filter;
  if (filter.view.empty()) filter.view = "all";
  if (!store || !qz::collector::Report::Load(*store, filter, qz::collector::ReportFilter::Today(), report, error)) {
    std::fprintf(stderr, "qz-collector: %s\n", error.c_str());
    return 1;
  }
  if (a.html.empty()) {
    const std::string text =
        a.json ? qz::collector::JsonReport::Render(report) : qz::collector::TextReport::Render(report);
    std::fputs(text.c_str(), stdout);
    return 0;
  }
  std::ofstream out(a.html, std::ios::binary);
  out << qz::collector::HtmlReport::Render(report);
  if (!out.flush()) {
    std::fprintf(stderr, "qz-collector: cannot write %s\n", a.html.c_str());
    return 1;
  }
  return 0;
}

int Serve(const Arguments& a) {
  // Only this thread takes the stop signals; every thread started later inherits the mask.
  sigset_t stopSignals;
  sigemptyset(&stopSignals);
  sigaddset(&stopSignals, SIGINT);
  sigaddset(&stopSignals, SIGTERM);
  pthread_sigmask(SIG_BLOCK, &stopSignals, nullptr);

  Collector collector(a.options);
  std::string error;
  if (!collector.Start(error)) {
    std::fprintf(stderr, "qz-collector: %s\n", error.c_str());
    return 1;
  }
  const std::string store = a.options.postgres.empty() ? a.options.sqlitePath : "PostgreSQL";
  std::fprintf(stderr, "qz-collector: storing in %s;", store.c_str());
  if (collector.HttpPort() >= 0) std::fprintf(stderr, " http://%s:%d", a.options.listen.c_str(), collector.HttpPort());
  if (collector.HttpsPort() >= 0) std::fprintf(stderr, " https://%s:%d", a.options.listen.c_str(), collector.HttpsPort());
  if (collector.ReportPort() >= 0) std::fprintf(stderr, "; report https://%s:%d/", a.options.reportListen.substr(0, a.options.reportListen.rfind(':')).c_str(), collector.ReportPort());
  std::fprintf(stderr, "\n");
  if (!a.portsFile.empty()) {
    // Written whole under another name, then renamed: readers never see half a line.
    const std::string temporary = a.portsFile + ".tmp";
    const std::string line = std::to_string(collector.HttpPort()) + " " + std::to_string(collector.HttpsPort()) + " " +
                             std::to_string(collector.ReportPort()) + "\n";
    const int fd = ::open(temporary.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
    if (fd < 0 || ::write(fd, line.data(), line.size()) != static_cast<ssize_t>(line.size()) || ::close(fd) != 0 ||
        std::rename(temporary.c_str(), a.portsFile.c_str()) != 0) {
      std::fprintf(stderr, "qz-collector: cannot write %s\n", a.portsFile.c_str());
      return 1;
    }
  }
  int received = 0;
  sigwait(&stopSignals, &received);
  // Nothing new is accepted; what was is answered and written before the exit.
  std::fprintf(stderr, "qz-collector: stopping\n");
  collector.Stop();
  std::fprintf(stderr, "qz-collector: stopped\n");
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  const Arguments a = Parse(argc, argv);
  if (a.command == "schema") {
    std::fputs(qz::collector::MessagingSchema::Text(), stdout);
    return 0;
  }
  if (a.command == "report") return Report(a);
  return Serve(a);
}
