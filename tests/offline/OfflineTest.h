// Shared by the offline tests: identities, stores made through the platform,
// raw file access and a transport that records instead of posting.
#ifndef QZ_TESTS_OFFLINE_OFFLINETEST_H
#define QZ_TESTS_OFFLINE_OFFLINETEST_H

#include <chrono>
#include <filesystem>
#include <functional>
#include <fstream>
#include <iterator>
#include <memory>
#include <regex>
#include <string>
#include <thread>
#include <vector>

#include "delivery/XMLTransmitter.h"
#include "offline/OfflineData.h"
#include "platform/Platform.h"
#include "qz/Configuration.h"
#include "support/StorageFolder.h"
#include "support/TestText.h"
#include "types/Utf8.h"

namespace qz {
namespace test {

constexpr QZChar kCompany[] = QZ_TEXT("9531985D-5D9D-49F8-9818-E811892F902B");
constexpr QZChar kApplication[] = QZ_TEXT("36F675CC-81E7-4EF5-A8E2-5D940ED90475");
constexpr QZChar kOtherApplication[] = QZ_TEXT("0B9B0A48-2F0B-4E47-9A47-6C3C8C0E8A11");

// A store as the transmitter thread has it (full identity) or as the offline
// sender has it (company and application IDs only).
inline std::unique_ptr<OfflineData> NewStore(bool fullIdentity,
                                             const QZChar* application = kApplication) {
  std::unique_ptr<OfflineData> store(Platform::NewOfflineData());
  store->SetCompanyID(kCompany);
  store->SetApplicationID(application);
  if (fullIdentity) {
    store->SetCompanyName(QZ_TEXT("Example & Sons"));
    store->SetApplicationName(QZ_TEXT("Editor"));
    store->SetApplicationVersion(QZ_TEXT("2.1"));
    store->SetApplicationType(QZ_TEXT("desktop"));
    store->SetApplicationInstanceID(QZ_TEXT("instance-7"));
    store->SetMessageGroup(QZ_TEXT("D23F0824-128B-4F33-8C5C-7FD0A6A3A450"));
  }
  return store;
}

// What the transmitter thread does to store a batch (within the store's
// limit, if it has one); returns the stored name, empty when not stored.
inline std::filesystem::path StoreBatch(OfflineData& store, uint64_t time, uint64_t count,
                                        const std::string& text) {
  StringBuf finalName;
  StringBuf tempName;
  StringBuf messages;
  AppendFromUtf8(messages, text);
  if (!store.CreateFileName(finalName, time) || !store.CreateTempFileName(tempName) ||
      !store.Write(tempName, time, count, messages)) {
    return std::filesystem::path();
  }
  OfflineData::Room room(store, count);
  if (!room.Fits()) {
    store.Delete(tempName);
    return std::filesystem::path();
  }
  if (!store.Rename(tempName, finalName)) return std::filesystem::path();
  return std::filesystem::path(std::u16string(finalName.ToString(),
                                              finalName.ToString() + finalName.StrLen()));
}

// Polls condition until it holds (true) or milliseconds have passed (false).
template <typename Condition>
bool WaitFor(Condition condition, int milliseconds) {
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(milliseconds);
  while (!condition()) {
    if (std::chrono::steady_clock::now() > deadline) return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  return true;
}

inline std::string ReadBytes(const std::filesystem::path& path) {
  std::ifstream in(path, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

inline void WriteBytes(const std::filesystem::path& path, const std::string& bytes) {
  std::ofstream out(path, std::ios::binary | std::ios::trunc);
  out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
}

// Values of the "id" attributes of the stored test messages <m id="..."/> in text, in order.
inline std::vector<std::string> MessageIds(const std::string& text) {
  static const std::regex kId("<m id=\"([^\"]+)\"/>");
  std::vector<std::string> ids;
  for (std::sregex_iterator i(text.begin(), text.end(), kId), end; i != end; ++i) {
    ids.push_back((*i)[1]);
  }
  return ids;
}

// What is not a regular file, put in folder under three names as a hostile
// user of the machine could: a FIFO (opening it to read would wait for a
// writer), a folder, and a symbolic link to a FIFO beside folder. It goes
// again with this object. Implemented per system.
class PlantedNonFiles {
 public:
  PlantedNonFiles(const std::filesystem::path& folder, const std::string& fifo,
                  const std::string& directory, const std::string& link);
  ~PlantedNonFiles();
  PlantedNonFiles(const PlantedNonFiles&) = delete;
  PlantedNonFiles& operator=(const PlantedNonFiles&) = delete;
  // False when this system cannot make them (Windows itself; under Wine it can).
  bool IsPlanted() const { return planted_; }

 private:
  std::filesystem::path folder_;
  std::string fifo_, directory_, link_;
  bool planted_;
};

// The bytes of the regular files in folder.
inline uint64_t FolderBytes(const std::filesystem::path& folder) {
  uint64_t total = 0;
  std::error_code error;
  for (const auto& entry : std::filesystem::directory_iterator(folder, error)) {
    if (entry.is_regular_file(error) && !entry.is_symlink(error)) total += entry.file_size(error);
  }
  return total;
}

// Holds the byte lock on the lock file of a folder, as another process's
// sender would; implemented per system.
class HeldQueueLock {
 public:
  explicit HeldQueueLock(const std::filesystem::path& appRoot);
  ~HeldQueueLock();
  HeldQueueLock(const HeldQueueLock&) = delete;
  HeldQueueLock& operator=(const HeldQueueLock&) = delete;
  bool IsHeld() const { return held_; }

 private:
  intptr_t file_;
  bool held_;
};

// Records each post and answers with succeed (204, or no answer at all), or
// with the status that statusFor gives the body.
class RecordingTransmitter : public XMLTransmitter {
 public:
  struct Request {
    std::string platform, company, application, group, body;
  };

  RecordingTransmitter() : XMLTransmitter(Configuration()) {}
  bool Post(const StringBuf& platformText, const StringBuf& companyId,
            const StringBuf& applicationId, const StringBuf& messageGroup,
            const StringBuf& body) override {
    requests.push_back({U8(platformText), U8(companyId), U8(applicationId), U8(messageGroup),
                        U8(body)});
    lastStatus = statusFor ? statusFor(requests.back().body) : succeed ? 204 : 0;
    return lastStatus / 100 == 2;
  }

  std::vector<Request> requests;
  bool succeed = true;
  std::function<int32_t(const std::string& body)> statusFor;
};

}  // namespace test
}  // namespace qz

#endif  // QZ_TESTS_OFFLINE_OFFLINETEST_H
