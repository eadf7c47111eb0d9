// qz-collector: receives the batches that the qz library posts, checks them
// against the wire format, stores them in SQLite or PostgreSQL and shows what
// the applications' users did.
//
//   qz-collector [serve] [options]      run the endpoint until SIGINT or SIGTERM
//   qz-collector report [options]       print the report (or --html FILE)
//   qz-collector schema                 print the wire format's XML Schema
#include <signal.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <string>

#include "common/Log.h"
#include "ingest/MessagingSchema.h"
#include "report/HtmlReport.h"
#include "report/Report.h"
#include "report/TextReport.h"
#include "server/Collector.h"

namespace {

using qz::collector::Collector;
using qz::collector::CollectorOptions;

const char kUsage[] =
    "usage: qz-collector [serve] [options]\n"
    "       qz-collector report [--db FILE | --postgres CONNECTION] [--html FILE]\n"
    "       qz-collector schema\n"
    "\n"
    "serve options:\n"
    "  --db FILE              SQLite database (default qz-collector.db)\n"
    "  --postgres CONNECTION  PostgreSQL instead, e.g. postgresql://user@host/db\n"
    "  --listen ADDRESS       address to listen on (default 127.0.0.1)\n"
    "  --https-port N         HTTPS port (default 8443; -1 for none, 0 for any free one)\n"
    "  --http-port N          plain HTTP port (default none)\n"
    "  --cert FILE --key FILE TLS certificate and key (made, self-signed, when both are missing;\n"
    "                         default qz-collector-cert.pem and qz-collector-key.pem beside the database)\n"
    "  --max-body BYTES       largest batch accepted (default 8388608)\n"
    "  --request-timeout MS   time for a whole request to arrive (default 10000)\n"
    "  --read-timeout MS      longest silence within a request (default 5000)\n"
    "  --workers N            worker threads per port (default 8)\n"
    "  --ports-file FILE      write \"HTTP HTTPS\" ports there once listening (-1: none)\n"
    "  --verbose              log every stored batch\n";

[[noreturn]] void Usage(const char* problem) {
  if (problem != nullptr) std::fprintf(stderr, "qz-collector: %s\n", problem);
  std::fputs(kUsage, stderr);
  std::exit(2);
}

struct Arguments {
  CollectorOptions options;
  std::string command = "serve";
  std::string html;
  std::string portsFile;
  bool certGiven = false;
};

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
    } else if (option == "--workers") {
      o.limits.workers = static_cast<size_t>(Number(value, "--workers"));
    } else if (option == "--ports-file") {
      a.portsFile = value;
    } else if (option == "--html") {
      a.html = value;
    } else {
      Usage(("unknown option " + option).c_str());
    }
  }
  auto& o = a.options;
  if (o.limits.maxBody == 0 || o.limits.requestTimeoutMs <= 0 || o.limits.readTimeoutMs <= 0 ||
      o.limits.workers == 0) {
    Usage("limits must be positive");
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
  auto store = qz::collector::Store::Open(a.options.sqlitePath, a.options.postgres, error);
  qz::collector::Report report;
  if (!store || !qz::collector::Report::Load(*store, report, error)) {
    std::fprintf(stderr, "qz-collector: %s\n", error.c_str());
    return 1;
  }
  if (a.html.empty()) {
    std::fputs(qz::collector::TextReport::Render(report).c_str(), stdout);
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
  std::fprintf(stderr, "\n");
  if (!a.portsFile.empty()) {
    // Written whole under another name, then renamed: readers never see half a line.
    const std::string temporary = a.portsFile + ".tmp";
    std::ofstream(temporary) << collector.HttpPort() << " " << collector.HttpsPort() << "\n";
    std::rename(temporary.c_str(), a.portsFile.c_str());
  }
  int received = 0;
  sigwait(&stopSignals, &received);
  std::fprintf(stderr, "qz-collector: stopping\n");
  collector.Stop();
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
