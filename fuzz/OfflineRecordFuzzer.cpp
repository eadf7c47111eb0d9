// The stored-batch reader on arbitrary bytes: it must refuse or accept
// without harm, and a record it accepts must be written back and read again
// to the same fields.
#include <cstring>
#include <string>
#include <vector>

#include "FuzzPlatform.h"
#include "FuzzSupport.h"
#include "offline/OfflineData.h"
#include "offline/OfflineFile.h"

namespace qz {
namespace fuzz {
namespace {

// A file in memory, read or written from its start.
class MemoryFile : public OfflineFile {
 public:
  explicit MemoryFile(std::string& bytes) : bytes_(bytes), at_(0) {}

  bool Read(void* buffer, uint32_t size) override {
    if (size > bytes_.size() - at_) {
      error = 38;  // end of file
      at_ = bytes_.size();
      return false;
    }
    std::memcpy(buffer, bytes_.data() + at_, size);
    at_ += size;
    return true;
  }
  bool Write(const void* buffer, uint32_t size) override {
    bytes_.append(static_cast<const char*>(buffer), size);
    return true;
  }
  bool Flush() override { return true; }

 private:
  std::string& bytes_;
  size_t at_;
};

// A store whose only file is the one in memory; nothing else is reached.
class MemoryOfflineData : public OfflineData {
 public:
  std::string file;

  bool CreateFileName(StringBuf&, uint64_t) override { return false; }
  bool CreateTempFileName(StringBuf&) override { return false; }
  bool Rename(const QZChar*, const QZChar*) override { return false; }
  bool Delete(const QZChar*) override { return true; }
  void ChangeCompanyID(const QZChar*) override {}

  // Every text of the record, for comparing two reads.
  std::vector<Text> Fields() const {
    std::vector<Text> fields;
    for (const StringBuf* s : {&messageGroup, &companyID, &companyName, &applicationID, &applicationName,
                               &applicationVersion, &applicationType, &applicationInstanceID, &platformName,
                               &platformVersion, &messagesText}) {
      fields.emplace_back(reinterpret_cast<const char16_t*>(s->ToString()), s->StrLen());
    }
    return fields;
  }

 protected:
  OfflineFile* OpenFile(const QZChar*, bool forWrite, uint32_t&) override {
    if (forWrite) file.clear();
    return new MemoryFile(file);
  }
  bool CreateAppRoot() override { return false; }
  bool GetQueueLock(bool& busy) override {
    busy = false;
    return false;
  }
  void ReleaseQueueLock() override {}
  bool ListFolder(std::vector<Entry>&, bool) override { return false; }
  void GetFullName(const Name&, StringBuf& out) override { out.Clear(); }
  int32_t Claim(const QZChar*, StringBuf&) override { return kFailed; }
  void MarkClaimed(const QZChar*) override {}
};

}  // namespace
}  // namespace fuzz
}  // namespace qz

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  qz::fuzz::InstallPlatform();
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size) {
  qz::fuzz::MemoryOfflineData data;
  data.file.assign(reinterpret_cast<const char*>(bytes), size);
  if (!data.Read(QZ_TEXT("record"))) return 0;

  const std::vector<qz::fuzz::Text> fields = data.Fields();
  const uint64_t storedTime = data.GetStoredTime();
  const uint64_t count = data.GetMessageCount();
  QZ_FUZZ_CHECK(count <= UINT32_MAX);
  QZ_FUZZ_CHECK(data.Write(QZ_TEXT("record"), storedTime, count, data.GetMessagesText()));

  qz::fuzz::MemoryOfflineData again;
  again.file = data.file;
  QZ_FUZZ_CHECK(again.Read(QZ_TEXT("record")));
  QZ_FUZZ_CHECK(again.Fields() == fields);
  QZ_FUZZ_CHECK(again.GetProtocol() == data.GetProtocol());
  QZ_FUZZ_CHECK(again.GetStoredTime() == storedTime);
  QZ_FUZZ_CHECK(again.GetMessageCount() == count);
  return 0;
}
