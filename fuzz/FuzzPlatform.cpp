#include "FuzzPlatform.h"

#include <ftw.h>
#include <stdlib.h>
#include <unistd.h>

#include <cstdio>
#include <string>

#include "delivery/PosixXMLTransmitter.h"
#include "platform/CaughtException.h"
#include "platform/LibraryLoad.h"
#include "platform/PosixPlatform.h"
#include "platform/TestHooks.h"
#include "qz/Configuration.h"

namespace qz {
namespace fuzz {
namespace {

PostCheck g_check = nullptr;
char g_storage[] = "/tmp/qz-fuzz-storage-XXXXXX";

// The real transport is made, so the endpoint is parsed as in a run; only
// the post itself stays here.
class FuzzTransmitter : public XMLTransmitter {
 public:
  explicit FuzzTransmitter(const Configuration& configuration)
      : XMLTransmitter(configuration), real(configuration) {}

  bool Post(const StringBuf& platformText, const StringBuf& companyId, const StringBuf& applicationId,
            const StringBuf& messageGroup, const StringBuf& body) override {
    if (g_check != nullptr && body.StrLen() != 0) {
      g_check(platformText, companyId, applicationId, messageGroup, body);
    }
    return true;
  }

 private:
  PosixXMLTransmitter real;
};

class FuzzPlatform : public PosixPlatform {
 protected:
  XMLTransmitter* DoNewXMLTransmitter(Configuration* configuration) override {
    if (configuration == nullptr) return nullptr;
    return NewOrNull<FuzzTransmitter>(QZ_TEXT("FuzzPlatform::NewXMLTransmitter"), *configuration);
  }
  void DoLogInfo(const QZChar*, const QZChar*) override {}
  void DoLogWarn(const QZChar*, const QZChar*) override {}
  void DoLogError(const QZChar*, const QZChar*) override {}
};

bool StorageFolder(int32_t folder, StringBuf& path) {
  if (folder != 1) return false;
  path.Clear().Append(g_storage);
  return true;
}

void RemoveStorage() {
  nftw(
      g_storage,
      [](const char* name, const struct stat*, int, struct FTW*) { return remove(name); }, 16,
      FTW_DEPTH | FTW_PHYS);
}

}  // namespace

void ClearStorage() {
  nftw(
      g_storage,
      [](const char* name, const struct stat*, int type, struct FTW*) {
        return type == FTW_F ? remove(name) : 0;
      },
      16, FTW_PHYS);
}

void InstallPlatform(PostCheck check) {
  g_check = check;
  if (mkdtemp(g_storage) == nullptr) {
    std::perror("mkdtemp");
    std::abort();
  }
  std::atexit(&RemoveStorage);
  testhooks::SetStorageFolderOverride(&StorageFolder);
  // The first platform made is the singleton; the load step then adds the lock.
  new FuzzPlatform();
  CreatePlatform();
}

}  // namespace fuzz
}  // namespace qz
