#include "support/StorageFolder.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <mutex>

#include "qz/StringBuf.h"

namespace qz {
namespace test {
namespace {

// The library's threads resolve folders while tests swap them.
std::mutex g_mutex;
StorageFolder* g_current = nullptr;

}  // namespace

QZString PathText(const std::filesystem::path& path) {
  const std::u16string text = path.u16string();
  return QZString(text.begin(), text.end());
}

StorageFolder::StorageFolder() : StorageFolder(std::filesystem::temp_directory_path(), Use::kFresh) {}

StorageFolder::StorageFolder(const std::filesystem::path& folder, Use use)
    : base_(folder), owned_(use == Use::kFresh) {
  if (owned_) {
    static std::atomic<int> serial{0};
    const auto stamp = std::chrono::steady_clock::now().time_since_epoch().count();
    base_ /= "qz-storage-" + std::to_string(stamp) + "-" + std::to_string(serial++);
    std::filesystem::create_directories(base_);
  }
  std::lock_guard<std::mutex> guard(g_mutex);
  previous_ = g_current;
  g_current = this;
  previousOverride_ = testhooks::SetStorageFolderOverride(&StorageFolder::Resolve);
}

StorageFolder::~StorageFolder() {
  {
    std::lock_guard<std::mutex> guard(g_mutex);
    g_current = previous_;
    testhooks::SetStorageFolderOverride(previousOverride_);
  }
  std::error_code ignored;
  if (owned_) std::filesystem::remove_all(base_, ignored);
}

std::filesystem::path StorageFolder::AppRoot(const QZChar* company) const {
  return base_ / "Tessary Solutions" / "QZ Storage" / U8(company);
}

void StorageFolder::Redirect(int32_t folder, const std::filesystem::path& path) {
  std::lock_guard<std::mutex> guard(g_mutex);
  redirects_[folder] = path;
}

std::vector<std::string> StorageFolder::Files(const std::filesystem::path& folder,
                                              const std::string& suffix) {
  std::vector<std::string> names;
  std::error_code error;
  for (const auto& entry : std::filesystem::directory_iterator(folder, error)) {
    const std::string name = entry.path().filename().string();
    if (name.size() >= suffix.size() &&
        name.compare(name.size() - suffix.size(), suffix.size(), suffix) == 0) {
      names.push_back(name);
    }
  }
  std::sort(names.begin(), names.end());
  return names;
}

bool StorageFolder::Resolve(int32_t folder, StringBuf& path) {
  std::lock_guard<std::mutex> guard(g_mutex);
  if (g_current == nullptr) return false;
  auto redirect = g_current->redirects_.find(folder);
  const std::filesystem::path& chosen =
      redirect != g_current->redirects_.end() ? redirect->second : g_current->base_;
  if (chosen.empty()) return false;
  path = PathText(chosen).c_str();
  return true;
}

}  // namespace test
}  // namespace qz
