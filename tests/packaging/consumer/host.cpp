// A C++ host of an installed qz: the classes, and the version the headers carry.
// Prints "qz VERSION"; with an endpoint (host:port/path) it reports a short run
// there. Exits 0 when the library answered as it should.
#include <cstdio>
#include <string>

#include "qz/qz.h"

int main(int argc, char** argv) {
  qz::Configuration config;
  config.SetCompanyID(QZ_TEXT("9531985D-5D9D-49F8-9818-E811892F902B"));
  config.SetApplicationID(QZ_TEXT("36F675CC-81E7-4EF5-A8E2-5D940ED90475"));
  int faults = 0;
  // The library checks identifiers itself: a malformed one is refused.
  if (!config.SetDefaultIDs(QZ_TEXT("D23F0824-128B-4F33-8C5C-7FD0A6A3A450"),
                            QZ_TEXT("6513270E-269E-4D37-B2A7-4DE452E6B438"))) {
    ++faults;
  }
  if (config.SetDefaultIDs(QZ_TEXT("not a GUID"), QZ_TEXT("not a GUID either"))) ++faults;
  // Without opt-in the run does not start: no thread, no network.
  config.SetOptIn(false);
  if (qz::API::ApplicationStart(&config, nullptr, nullptr, nullptr)) ++faults;
  if (qz::API::IsApplicationStarted()) ++faults;

  if (argc > 1) {
    std::basic_string<QZChar> endpoint;
    for (const char* p = argv[1]; *p != 0; ++p) endpoint.push_back(static_cast<QZChar>(*p));
    qz::Configuration run;
    run.SetCompanyID(QZ_TEXT("9531985D-5D9D-49F8-9818-E811892F902B"));
    run.SetApplicationID(QZ_TEXT("36F675CC-81E7-4EF5-A8E2-5D940ED90475"));
    run.SetEndpointLocation(endpoint.c_str());
    run.SetUseSSL(false);
    run.SetSupportOfflineStorage(false);
    if (qz::API::ApplicationStart(&run, nullptr, nullptr, nullptr)) {
      qz::API::FeatureTick(QZ_TEXT("Consumer"), nullptr);
      qz::API::ApplicationStop(nullptr);
    } else {
      ++faults;
    }
  }
  std::printf("qz %s\n", QZ_VERSION_STRING);
  return faults;
}
