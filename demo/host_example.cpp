// An example host application: it uses the library exactly as a product
// would, through the public headers and the shared library only. The hosts in
// examples/ report the same run through the flat interface.
//
//   qz_host_example [ENDPOINT [--https]]
//
// ENDPOINT is a host, optional port and path without a scheme, for example
// 127.0.0.1:8080/qz/Publish. Without one the library's default endpoint
// applies: HTTPS to the default collection host.
#include <chrono>
#include <cstdio>
#include <cstring>
#include <string>
#include <thread>

#include "qz/qz.h"

namespace {

// Widens an ASCII command-line text to the library's text type.
std::basic_string<QZChar> Widen(const char* text) {
  std::basic_string<QZChar> out;
  for (const char* p = text; *p != 0; ++p) out.push_back(static_cast<QZChar>(*p));
  return out;
}

// GUID text (ASCII) for printing.
std::string Narrow(const QZChar* text) {
  std::string out;
  for (const QZChar* p = text; p != nullptr && *p != 0; ++p) out.push_back(static_cast<char>(*p));
  return out;
}

void Pause() { std::this_thread::sleep_for(std::chrono::milliseconds(150)); }

}  // namespace

int main(int argc, char** argv) {
  if (argc > 3 || (argc > 1 && argv[1][0] == '-')) {
    std::fprintf(stderr, "usage: %s [ENDPOINT [--https]]\n", argv[0]);
    return 2;
  }
  // Unbuffered, so the host's lines interleave with the endpoint's log
  // (Windows' C runtime has no line buffering).
  std::setvbuf(stdout, nullptr, _IONBF, 0);
  const bool defaultEndpoint = argc < 2;
  const bool https = defaultEndpoint || (argc > 2 && std::strcmp(argv[2], "--https") == 0);
  const std::basic_string<QZChar> endpoint =
      defaultEndpoint ? std::basic_string<QZChar>() : Widen(argv[1]);

  qz::API::SetLogLevel(qz::API::LOG_WARN);

  qz::Configuration config;
  config.SetCompanyID(QZ_TEXT("9531985D-5D9D-49F8-9818-E811892F902B"));
  config.SetCompanyName(QZ_TEXT("Example & Sons"));
  config.SetApplicationID(QZ_TEXT("36F675CC-81E7-4EF5-A8E2-5D940ED90475"));
  config.SetApplicationName(QZ_TEXT("Editor"));
  config.SetApplicationVersion(QZ_TEXT("2.1.0"));
  config.SetApplicationType(QZ_TEXT("Desktop"));
  config.SetEndpointLocation(endpoint.c_str());
  config.SetUseSSL(https);
  config.SetEndpointTimeout(3000);
  config.SetSupportOfflineStorage(false);
  qz::FlowController flow;
  flow.SetQueueSize(50);

  qz::BinaryInfo binary;
  binary.SetName(QZ_TEXT("editor.exe"));
  binary.SetVersion(QZ_TEXT("2.1.0.417"));
  binary.SetClassName(QZ_TEXT("MainWindow"));
  binary.SetMethodName(QZ_TEXT("OnCreate"));

  qz::ExtendedKeys startKeys;
  startKeys.Add(QZ_TEXT("edition"), QZ_TEXT("Professional"));
  startKeys.Add(QZ_TEXT("plugins"), 3);

  if (defaultEndpoint) {
    std::printf("host: starting the run (the library's default endpoint)\n");
  } else {
    std::printf("host: starting the run (endpoint %s://%s)\n", https ? "https" : "http", argv[1]);
  }
  if (!qz::API::ApplicationStart(&config, &flow, &binary, &startKeys)) {
    std::fprintf(stderr, "host: the run did not start\n");
    return 1;
  }
  std::printf("host: message group %s\n", Narrow(qz::API::GetMessageGroup()).c_str());

  // A user session of its own, with features used inside it.
  const QZChar session[] = QZ_TEXT("6B0D549B-6F03-475A-9600-A35A099950D8");
  qz::API::SessionStart(session, &binary, nullptr);

  qz::BinaryInfo exportBinary;
  exportBinary.SetName(QZ_TEXT("export.dll"));
  exportBinary.SetClassName(QZ_TEXT("PdfExporter"));
  exportBinary.SetMethodName(QZ_TEXT("Run"));
  qz::ExtendedKeys exportKeys;
  exportKeys.Add(QZ_TEXT("format"), QZ_TEXT("PDF/A"));
  exportKeys.Add(QZ_TEXT("pages"), 12);
  exportKeys.Add(QZ_TEXT("bytes"), 1048576L);
  exportKeys.Add(QZ_TEXT("scale"), 0.75f);
  exportKeys.Add(QZ_TEXT("title"), QZ_TEXT("Jahresbericht \u00fcber M\u00e4rkte"));
  exportKeys.Add(QZ_TEXT("seconds"), 1.75);

  std::printf("host: feature Export starts and stops, Zoom ticks twice\n");
  qz::API::FeatureStart(QZ_TEXT("Export"), session, &exportBinary, &exportKeys);
  Pause();
  qz::API::FeatureTick(QZ_TEXT("Zoom"), session, nullptr, nullptr);
  qz::API::FeatureTick(QZ_TEXT("Zoom"), nullptr);
  qz::API::FeatureStop(QZ_TEXT("Export"), session, &exportBinary, &exportKeys);

  std::printf("host: an exception, a performance probe and the system profile\n");
  qz::ExceptionInfo fault;
  fault.Thrown()
      .Type(QZ_TEXT("IOException"))
      .Message(QZ_TEXT("disk full while saving report.pdf"))
      .Contact(QZ_TEXT("user@example.com"))
      .Comment(QZ_TEXT("It happened while exporting."));
  qz::API::ReportException(fault, session, &exportBinary, nullptr);
  qz::API::PerformanceProbe(QZ_TEXT("Render"), session, &binary, nullptr);
  qz::API::SystemProfile(&binary, nullptr);

  // Ask for what is queued to go now rather than at the next interval.
  std::printf("host: sending what is queued now\n");
  qz::API::SendMessages();
  Pause();

  qz::API::SessionStop(session, nullptr);

  qz::ExtendedKeys stopKeys;
  stopKeys.Add(QZ_TEXT("reason"), QZ_TEXT("user closed the window"));
  std::printf("host: stopping the run (the last batch goes out now)\n");
  qz::API::ApplicationStop(&binary, &stopKeys);
  std::printf("host: done\n");
  return 0;
}
