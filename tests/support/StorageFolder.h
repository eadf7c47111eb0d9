// Points the library's offline storage at a folder of its own, never at the
// machine's or the user's real data folders.
#ifndef QZ_TESTS_SUPPORT_STORAGEFOLDER_H
#define QZ_TESTS_SUPPORT_STORAGEFOLDER_H

#include <filesystem>
#include <map>
#include <string>
#include <vector>

#include "platform/TestHooks.h"
#include "support/TestText.h"

namespace qz {
namespace test {

class StorageFolder {
 public:
  enum class Use {
    kFresh,    // a new, empty folder inside the one given, removed with everything in it at the end
    kExisting  // the folder given (a helper process shares its parent's), left in place
  };
  // A fresh folder in the system's temporary folder.
  StorageFolder();
  StorageFolder(const std::filesystem::path& folder, Use use);
  // The storage folders in use before come back.
  ~StorageFolder();
  StorageFolder(const StorageFolder&) = delete;
  StorageFolder& operator=(const StorageFolder&) = delete;

  // Every candidate of the store's search resolves to this, unless redirected.
  const std::filesystem::path& Base() const { return base_; }
  // The company's folder the store makes below Base().
  std::filesystem::path AppRoot(const QZChar* company) const;
  // That candidate resolves to path instead; an empty path makes it unavailable.
  void Redirect(int32_t folder, const std::filesystem::path& path);
  // Names of the files in folder whose name ends in suffix, sorted.
  static std::vector<std::string> Files(const std::filesystem::path& folder,
                                        const std::string& suffix);

 private:
  static bool Resolve(int32_t folder, StringBuf& path);

  std::filesystem::path base_;
  bool owned_;
  std::map<int32_t, std::filesystem::path> redirects_;
  StorageFolder* previous_;
  testhooks::StorageFolderFunction previousOverride_;
};

// Text of a path in the library's character type.
QZString PathText(const std::filesystem::path& path);

}  // namespace test
}  // namespace qz

#endif  // QZ_TESTS_SUPPORT_STORAGEFOLDER_H
