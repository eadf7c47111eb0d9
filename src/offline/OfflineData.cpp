#include "offline/OfflineData.h"

#include <algorithm>
#include <cstring>
#include <memory>
#include <new>

#include "delivery/XMLTransmitter.h"
#include "offline/OfflineDataMessagesTag.h"
#include "offline/OfflineFile.h"
#include "platform/Platform.h"
#include "types/Guid.h"
#include "types/Utf8.h"

namespace qz {
namespace {

const unsigned char kMagic[8] = {0x00, 0x06, 't', 'q', 'z', 'd', 'a', 't'};
constexpr uint32_t kStorageVersion = 2;
constexpr uint32_t kProtocol = 3;

// A text length comes from the file, so a corrupt one could ask for up to
// 4 GiB. Texts are read in pieces, so memory follows the bytes the file
// really holds, and no text may exceed this bound at all: far beyond any
// batch a queue can hold, far below what would strain the host. Writing
// refuses the same, or a record could be stored that no reader accepts.
constexpr uint32_t kMaxTextBytes = 256u << 20;
constexpr uint32_t kReadPiece = 64u << 10;

// A claimed batch whose sender died stays under its temporary name. It is
// taken back once nobody has touched it for this long (claims and writes
// both stamp the file), or for three times the longest post the transmitter
// can make (four phases, each bounded by the endpoint timeout) if that is
// longer. Until then it may be a live post, which would be sent twice.
constexpr uint64_t kAbandonedAfterMs = 60ull * 60 * 1000;
constexpr uint64_t kPostPhases = 4;
// Looking for abandoned claims reads files, so it is done once per object
// and then only this often.
constexpr uint64_t kRestorePeriodMs = 10ull * 60 * 1000;

void LogSystemError(const QZChar* source, uint32_t code) {
  StringBuf message;
  AppendSystemError(message, code);
  Platform::LogError(source, message);
}

}  // namespace

OfflineData::OfflineData()
    : storageVersion(kStorageVersion), storedTime(0), protocol(kProtocol), messageCount(0) {
  PlatformInfo info;
  Platform::GetPlatformInfo(info);
  platformName = info.name;
  platformVersion = info.version;
}

OfflineData::~OfflineData() = default;

StringBuf& OfflineData::GetPlatformText(StringBuf& out) const {
  out = platformName;
  return out.Append(QZChar('/')).Append(platformVersion).Append(QZ_TEXT(" offline"));
}

void OfflineData::AppendStoredName(StringBuf& out, uint64_t time) const {
  StringBuf digits(16);
  digits.Append(time, 36).ToUpperCase();
  for (uint64_t i = digits.StrLen(); i < 13; ++i) out.Append(QZChar('0'));
  out.Append(digits).Append(QZChar('-')).Append(applicationID).Append(QZ_TEXT(".QZ"));
}

bool OfflineData::WriteInt32(OfflineFile& file, uint32_t value) {
  const unsigned char bytes[4] = {static_cast<unsigned char>(value >> 24),
                                  static_cast<unsigned char>(value >> 16),
                                  static_cast<unsigned char>(value >> 8),
                                  static_cast<unsigned char>(value)};
  if (file.Write(bytes, 4)) return true;
  LogSystemError(QZ_TEXT("OfflineData::WriteInt32"), file.GetError());
  return false;
}

bool OfflineData::WriteInt64(OfflineFile& file, uint64_t value) {
  unsigned char bytes[8];
  for (int i = 0; i < 8; ++i) bytes[i] = static_cast<unsigned char>(value >> (56 - 8 * i));
  if (file.Write(bytes, 8)) return true;
  LogSystemError(QZ_TEXT("OfflineData::WriteInt64"), file.GetError());
  return false;
}

bool OfflineData::ReadInt32(OfflineFile& file, uint32_t& value) {
  value = 0;
  unsigned char bytes[4];
  if (!file.Read(bytes, 4)) {
    LogSystemError(QZ_TEXT("OfflineData::ReadInt32"), file.GetError());
    return false;
  }
  value = (uint32_t(bytes[0]) << 24) | (uint32_t(bytes[1]) << 16) | (uint32_t(bytes[2]) << 8) |
          uint32_t(bytes[3]);
  return true;
}

bool OfflineData::ReadInt64(OfflineFile& file, uint64_t& value) {
  value = 0;
  unsigned char bytes[8];
  if (!file.Read(bytes, 8)) {
    LogSystemError(QZ_TEXT("OfflineData::ReadInt64"), file.GetError());
    return false;
  }
  for (int i = 0; i < 8; ++i) value = (value << 8) | bytes[i];
  return true;
}

bool OfflineData::WriteUTF8(OfflineFile& file, const StringBuf& text) {
  const QZChar source[] = QZ_TEXT("OfflineData::WriteUTF8");
  if (text.StrLen() == 0) return WriteInt32(file, 0);
  std::string bytes;
  try {
    bytes = ToUtf8(text);
  } catch (const std::bad_alloc&) {
    Platform::LogError(source, QZ_TEXT("Unable to allocate buffer for UTF8 data"));
    return false;
  }
  if (bytes.size() > kMaxTextBytes) {
    Platform::LogError(source, QZ_TEXT("UTF8 data longer than a record may hold"));
    return false;
  }
  const uint32_t n = static_cast<uint32_t>(bytes.size());
  if (!WriteInt32(file, n)) return false;
  if (file.Write(bytes.data(), n)) return true;
  LogSystemError(source, file.GetError());
  return false;
}

bool OfflineData::ReadUTF8(OfflineFile& file, StringBuf& text) {
  const QZChar source[] = QZ_TEXT("OfflineData::ReadUTF8");
  text.Clear();
  uint32_t n = 0;
  if (!ReadInt32(file, n)) return false;
  if (n == 0) return true;
  if (n > kMaxTextBytes) {
    Platform::LogError(source, QZ_TEXT("Unable to allocate buffer for UTF8 data"));
    return false;
  }
  std::string bytes;
  try {
    bytes.reserve(std::min(n, kReadPiece));
    while (bytes.size() < n) {
      const size_t at = bytes.size();
      const uint32_t piece = std::min<uint32_t>(n - static_cast<uint32_t>(at), kReadPiece);
      bytes.resize(at + piece);
      if (!file.Read(&bytes[at], piece)) {
        LogSystemError(source, file.GetError());
        return false;
      }
    }
    // Ill-formed bytes become U+FFFD rather than failing the batch.
    AppendFromUtf8(text, bytes);
  } catch (const std::bad_alloc&) {
    Platform::LogError(source, QZ_TEXT("Unable to allocate buffer for UTF8 data"));
    text.Clear();
    return false;
  }
  return true;
}

bool OfflineData::Write(const QZChar* name, uint64_t time, uint64_t count,
                        const StringBuf& text) {
  const QZChar source[] = QZ_TEXT("OfflineData::Write");
  uint32_t error = 0;
  std::unique_ptr<OfflineFile> file(OpenFile(name, true, error));
  if (file == nullptr) {
    LogSystemError(source, error);
    return false;
  }
  bool ok = file->Write(kMagic, sizeof kMagic);
  if (!ok) LogSystemError(source, file->GetError());
  ok = ok && WriteFields(*file, time, count, text);
  // The record must be whole on the disk before it can get its final name,
  // or a power cut could leave a torn record under that name.
  if (ok && !file->Flush()) {
    LogSystemError(source, file->GetError());
    ok = false;
  }
  file.reset();
  if (!ok) Delete(name);
  return ok;
}

bool OfflineData::WriteFields(OfflineFile& file, uint64_t time, uint64_t count,
                              const StringBuf& text) {
  return WriteInt32(file, storageVersion) && WriteUTF8(file, messageGroup) &&
         WriteInt64(file, time) && WriteUTF8(file, companyID) && WriteUTF8(file, companyName) &&
         WriteUTF8(file, applicationID) && WriteUTF8(file, applicationName) &&
         WriteUTF8(file, applicationVersion) && WriteUTF8(file, applicationType) &&
         WriteUTF8(file, applicationInstanceID) && WriteUTF8(file, platformName) &&
         WriteUTF8(file, platformVersion) && WriteInt32(file, protocol) &&
         WriteInt32(file, static_cast<uint32_t>(count)) && WriteUTF8(file, text);
}

bool OfflineData::Read(const QZChar* name) {
  const QZChar source[] = QZ_TEXT("OfflineData::Read");
  uint32_t error = 0;
  std::unique_ptr<OfflineFile> file(OpenFile(name, false, error));
  if (file == nullptr) {
    LogSystemError(source, error);
    return false;
  }
  unsigned char magic[sizeof kMagic];
  if (!file->Read(magic, sizeof magic)) {
    LogSystemError(source, file->GetError());
    return false;
  }
  if (std::memcmp(magic, kMagic, sizeof kMagic) != 0) {
    Platform::LogError(source, QZ_TEXT("Bad magic"));
    return false;
  }
  uint32_t version = 0;
  if (!ReadInt32(*file, version)) return false;
  if (version != kStorageVersion) {
    Platform::LogError(source, QZ_TEXT("Unknown storage version"));
    return false;
  }
  storageVersion = version;
  return ReadFields(*file);
}

bool OfflineData::ReadFields(OfflineFile& file) {
  uint32_t count = 0;
  const bool ok =
      ReadUTF8(file, messageGroup) && ReadInt64(file, storedTime) && ReadUTF8(file, companyID) &&
      ReadUTF8(file, companyName) && ReadUTF8(file, applicationID) &&
      ReadUTF8(file, applicationName) && ReadUTF8(file, applicationVersion) &&
      ReadUTF8(file, applicationType) && ReadUTF8(file, applicationInstanceID) &&
      ReadUTF8(file, platformName) && ReadUTF8(file, platformVersion) &&
      ReadInt32(file, protocol) && ReadInt32(file, count) && ReadUTF8(file, messagesText);
  messageCount = count;
  return ok;
}

int32_t OfflineData::SendNext(XMLTransmitter& transmitter) {
  // Read overwrites both; they name this object's folder and files.
  StringBuf keptCompanyID;
  keptCompanyID = companyID;
  StringBuf keptApplicationID;
  keptApplicationID = applicationID;

  if (!CreateAppRoot()) return kFailed;
  if (!GetQueueLock()) return kLocked;
  try {
    return SendOldest(transmitter, keptCompanyID, keptApplicationID);
  } catch (...) {
    // Out of memory, say: the other senders must not wait for this one. A
    // batch it claimed is taken back later like any abandoned claim.
    ReleaseQueueLock();
    companyID = keptCompanyID;
    applicationID = keptApplicationID;
    throw;
  }
}

// REQUIRES: the queue lock is held. Releases it.
int32_t OfflineData::SendOldest(XMLTransmitter& transmitter, const StringBuf& keptCompanyID,
                                const StringBuf& keptApplicationID) {
  RestoreAbandoned(transmitter);
  companyID = keptCompanyID;
  applicationID = keptApplicationID;

  StringBuf path;
  int32_t result = FindOldest(path);
  if (result == kFound) {
    result = kFailed;
    // Only the fresh temporary's unique name is wanted; the claim moves the
    // batch there, out of every other sender's search.
    StringBuf temporary;
    CreateTempFileName(temporary);
    if (Delete(temporary) && Rename(path, temporary)) {
      MarkClaimed(temporary);
      ReleaseQueueLock();
      result = kBatchFailed;
      // A record that cannot be read stays under its temporary name.
      if (Read(temporary)) {
        StringBuf body(std::min<uint64_t>(messageCount * 256, 32768));
        OfflineDataMessagesTag envelope;
        envelope.WriteStoredBatch(body, *this);
        StringBuf platformText;
        GetPlatformText(platformText);
        if (transmitter.Post(platformText, companyID, applicationID, messageGroup, body)) {
          result = kSent;
          Delete(temporary);
        } else {
          // Back where the next search finds it.
          Rename(temporary, path);
        }
      }
    }
  }
  ReleaseQueueLock();
  companyID = keptCompanyID;
  applicationID = keptApplicationID;
  return result;
}

// REQUIRES: the queue lock is held, so no claim happens meanwhile.
// A batch is found again only when its temporary file is stale (see
// kAbandonedAfterMs) and reads as a complete record: a writer's half-written
// file, or a foreign file that failed to read when it was claimed, never does
// and is left where it is. The stored name comes back from the record's
// stored time and application ID, which must be a GUID: the file may be
// anyone's, and its text must not lead the name out of the folder.
void OfflineData::RestoreAbandoned(const XMLTransmitter& transmitter) {
  const uint64_t now = Platform::GetTimeMillis();
  if (now < nextRestoreTime) return;
  nextRestoreTime = now + kRestorePeriodMs;
  const int32_t timeout = transmitter.GetEndpointTimeout();
  const uint64_t longestPost = kPostPhases * static_cast<uint64_t>(timeout > 0 ? timeout : 0);
  std::vector<Name> names;
  ListStaleTemporaries(std::max(kAbandonedAfterMs, 3 * longestPost), names);
  for (const Name& name : names) {
    if (unrestorable.count(name) != 0) continue;
    if (!Read(name.c_str()) || !IsValidGUID(applicationID)) {
      unrestorable.insert(name);
      continue;
    }
    // A move that fails is tried again at the next look.
    StringBuf storedName;
    if (CreateFileName(storedName, storedTime) && Rename(name.c_str(), storedName)) {
      StringBuf message(QZ_TEXT("Restored abandoned batch "));
      message.Append(storedName);
      Platform::LogWarn(QZ_TEXT("OfflineData::RestoreAbandoned"), message);
    }
  }
}

}  // namespace qz
