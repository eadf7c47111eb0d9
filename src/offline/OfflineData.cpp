#include "offline/OfflineData.h"

#include <algorithm>
#include <chrono>
#include <cstring>
#include <functional>
#include <memory>
#include <mutex>
#include <new>
#include <thread>

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

// Storing under a limit waits this long at most for the queue lock, which
// senders hold only to search and claim.
constexpr int kStoreLockAttempts = 50;
constexpr int kStoreLockPauseMs = 20;
// Successive milliseconds tried for a name that is taken.
constexpr uint64_t kNameAttempts = 8;

const QZChar kSendNextSource[] = QZ_TEXT("OfflineData::SendNext");
const QZChar kStoredSuffix[] = QZ_TEXT(".QZ");
const QZChar kSetAsideSuffix[] = QZ_TEXT(".QZ.refused");

void LogSystemError(const QZChar* source, uint32_t code) {
  StringBuf message;
  AppendSystemError(message, code);
  Platform::LogError(source, message);
}

bool EndsWith(const OfflineData::Name& name, const QZChar* suffix) {
  const size_t n = std::char_traits<QZChar>::length(suffix);
  return name.size() > n && name.compare(name.size() - n, n, suffix) == 0;
}

// The answers that judge the batch itself, whoever sends it: it is malformed,
// too large or in a form the endpoint does not take. Not 408 or 429, which
// are about the moment, nor 5xx, which are about the endpoint.
bool IsRefusal(int32_t status) { return status == 400 || status == 413 || status == 415; }

// The time in base 36, upper case, padded with "0" to 13 characters.
void AppendTimeDigits(StringBuf& out, uint64_t time) {
  StringBuf digits(16);
  digits.Append(time, 36).ToUpperCase();
  for (uint64_t i = digits.StrLen(); i < 13; ++i) out.Append(QZChar('0'));
  out.Append(digits);
}

// Entries named like stored batches that are not regular files, by full
// name: each is logged once per process and never claimed again by it.
std::mutex& PassedOverLock() {
  static std::mutex lock;
  return lock;
}
std::set<OfflineData::Name>& PassedOver() {
  static std::set<OfflineData::Name> names;
  return names;
}

bool HasPassedOver() {
  std::lock_guard<std::mutex> guard(PassedOverLock());
  return !PassedOver().empty();
}

bool IsPassedOver(const StringBuf& path) {
  std::lock_guard<std::mutex> guard(PassedOverLock());
  return PassedOver().count(OfflineData::Name(path.ToString(), path.StrLen())) != 0;
}

void PassOver(const StringBuf& path) {
  {
    std::lock_guard<std::mutex> guard(PassedOverLock());
    if (!PassedOver().emplace(path.ToString(), path.StrLen()).second) return;
  }
  StringBuf message(QZ_TEXT("Not a regular file, passed over: "));
  message.Append(path);
  Platform::LogWarn(kSendNextSource, message);
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
  AppendTimeDigits(out, time);
  out.Append(QZChar('-')).Append(applicationID).Append(kStoredSuffix);
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
  uint32_t error = 0;
  std::unique_ptr<OfflineFile> file(OpenFile(name, false, error));
  if (file == nullptr) {
    LogSystemError(QZ_TEXT("OfflineData::Read"), error);
    return false;
  }
  return ReadRecord(*file);
}

bool OfflineData::ReadRecord(OfflineFile& file) {
  const QZChar source[] = QZ_TEXT("OfflineData::Read");
  unsigned char magic[sizeof kMagic];
  if (!file.Read(magic, sizeof magic)) {
    LogSystemError(source, file.GetError());
    return false;
  }
  if (std::memcmp(magic, kMagic, sizeof kMagic) != 0) {
    Platform::LogError(source, QZ_TEXT("Bad magic"));
    return false;
  }
  uint32_t version = 0;
  if (!ReadInt32(file, version)) return false;
  if (version != kStorageVersion) {
    Platform::LogError(source, QZ_TEXT("Unknown storage version"));
    return false;
  }
  storageVersion = version;
  return ReadFields(file);
}

uint64_t OfflineData::ReadMessageCount(const QZChar* name) {
  uint32_t error = 0;
  std::unique_ptr<OfflineFile> file(OpenFile(name, false, error));
  unsigned char magic[sizeof kMagic];
  uint32_t value = 0;
  uint64_t time = 0;
  StringBuf text;
  if (file == nullptr || !file->Read(magic, sizeof magic) ||
      std::memcmp(magic, kMagic, sizeof kMagic) != 0 || !ReadInt32(*file, value) ||
      value != kStorageVersion || !ReadUTF8(*file, text) || !ReadInt64(*file, time)) {
    return 0;
  }
  // The nine texts from the company ID to the platform version, the protocol, the count.
  for (int i = 0; i < 9; ++i) {
    if (!ReadUTF8(*file, text)) return 0;
  }
  return ReadInt32(*file, value) && ReadInt32(*file, value) ? value : 0;
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
  bool busy = false;
  if (!GetQueueLock(busy)) return kLocked;
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
  // Restored batches sort anywhere, and a batch put back by hand may be older
  // than every name found: each look for abandoned claims brings a new search.
  if (RestoreAbandoned(transmitter)) pending.clear();
  companyID = keptCompanyID;
  applicationID = keptApplicationID;

  int32_t result = kNothingStored;
  bool searched = false;
  StringBuf path;
  StringBuf temporary;
  // Each turn uses up a name of the search or ends the call, and there is
  // one search at most: the loop ends.
  while (true) {
    if (pending.empty()) {
      if (searched) break;
      searched = true;
      if (!Search()) {
        result = kFailed;
        break;
      }
      continue;
    }
    GetFullName(pending.back(), path);
    result = kFailed;
    // Moved to a temporary name, out of every other sender's search.
    const int32_t claim = Claim(path, temporary);
    if (claim == kGone || claim == kNotAFile) {
      if (claim == kNotAFile) PassOver(path);
      pending.pop_back();
      result = kNothingStored;
      continue;
    }
    if (claim != kClaimed) {
      // Tried again after the others, at the next search.
      pending.pop_back();
      break;
    }
    uint32_t error = 0;
    std::unique_ptr<OfflineFile> file(OpenFile(temporary, false, error));
    if (file == nullptr && error == kNotARegularFile) {
      // Put in its place after the search: back where it was, and passed over.
      PassOver(path);
      Rename(temporary, path);
      pending.pop_back();
      result = kNothingStored;
      continue;
    }
    MarkClaimed(temporary);
    ReleaseQueueLock();
    const Name claimed = pending.back();
    pending.pop_back();
    if (file == nullptr) {
      // Left under its temporary name, like a record that cannot be read.
      LogSystemError(QZ_TEXT("OfflineData::Read"), error);
      result = kBatchFailed;
      break;
    }
    bool putBack = false;
    result = SendClaimed(transmitter, file, claimed, path, temporary, putBack);
    // Still the oldest: the next call tries it first.
    if (putBack) pending.push_back(claimed);
    break;
  }
  ReleaseQueueLock();
  companyID = keptCompanyID;
  applicationID = keptApplicationID;
  return result;
}

// REQUIRES: the batch at path was claimed as temporary and opened as file;
// the queue lock is released.
int32_t OfflineData::SendClaimed(XMLTransmitter& transmitter, std::unique_ptr<OfflineFile>& file,
                                 const Name& name, const StringBuf& path,
                                 const StringBuf& temporary, bool& putBack) {
  putBack = false;
  const bool read = ReadRecord(*file);
  // Closed before the batch is moved again.
  file.reset();
  // A record that cannot be read stays under its temporary name.
  if (!read) return kBatchFailed;
  StringBuf body(std::min<uint64_t>(messageCount * 256, 32768));
  OfflineDataMessagesTag envelope;
  envelope.WriteStoredBatch(body, *this);
  StringBuf platformText;
  GetPlatformText(platformText);
  if (transmitter.Post(platformText, companyID, applicationID, messageGroup, body)) {
    Delete(temporary);
    return kSent;
  }
  if (IsRefusal(transmitter.GetLastStatus())) {
    MoveRefused(name, path, temporary);
    return kRefused;
  }
  // Back where the next search finds it.
  putBack = Rename(temporary, path);
  return kBatchFailed;
}

// A batch the endpoint refused would otherwise stay the oldest and hold up
// every batch behind it for good. It goes behind them instead, with its
// refusals counted in its name (so that every sender of every process
// counts them), and after the last it is set aside under a name no sender
// picks, with its stored time, so that renaming it back puts it where it was.
void OfflineData::MoveRefused(const Name& name, const StringBuf& path, const StringBuf& temporary) {
  // name is "<13 time digits>-<application ID>[.r<n>].QZ" when this store made it.
  Name stem = name.substr(0, name.size() - std::char_traits<QZChar>::length(kStoredSuffix));
  uint32_t refusals = 1;
  const size_t n = stem.size();
  if (n > 3 && stem[n - 3] == QZChar('.') && stem[n - 2] == QZChar('r') &&
      stem[n - 1] >= QZChar('1') && stem[n - 1] <= QZChar('9')) {
    refusals += static_cast<uint32_t>(stem[n - 1] - QZChar('0'));
    stem.resize(n - 3);
  }
  if (stem.size() > 14 && stem[13] == QZChar('-')) stem.erase(0, 14);
  const bool aside = refusals >= kMaximumRefusals;
  const uint64_t time = aside ? storedTime : Platform::GetTimeMillis();
  for (uint64_t later = 0; later < kNameAttempts; ++later) {
    StringBuf target;
    AppendTimeDigits(target, time + later);
    target.Append(QZChar('-')).Append(stem.c_str(), stem.size());
    if (aside) {
      target.Append(kSetAsideSuffix);
    } else {
      target.Append(QZ_TEXT(".r")).Append(refusals, 10).Append(kStoredSuffix);
    }
    StringBuf full;
    GetFullName(Name(target.ToString(), target.StrLen()), full);
    if (!Rename(temporary, full)) continue;
    if (aside) {
      StringBuf message(QZ_TEXT("Set aside a batch of "));
      message.Append(messageCount, 10).Append(QZ_TEXT(" messages refused "));
      message.Append(refusals, 10).Append(QZ_TEXT(" times: ")).Append(full);
      Platform::LogWarn(kSendNextSource, message);
    } else {
      StringBuf message(QZ_TEXT("Refused batch moved behind the others: "));
      Platform::LogInfo(kSendNextSource, message.Append(full));
    }
    return;
  }
  // Every name taken: it is still kept, as the oldest.
  Rename(temporary, path);
}

bool OfflineData::Search() {
  std::vector<Entry> entries;
  if (!ListFolder(entries, false)) return false;
  pending.clear();
  const bool anyPassedOver = HasPassedOver();
  StringBuf path;
  for (Entry& entry : entries) {
    if (!EndsWith(entry.name, kStoredSuffix)) continue;
    if (entry.regular && !anyPassedOver) {
      pending.push_back(std::move(entry.name));
      continue;
    }
    GetFullName(entry.name, path);
    if (!entry.regular) {
      PassOver(path);
    } else if (!IsPassedOver(path)) {
      pending.push_back(std::move(entry.name));
    }
  }
  // Names sort by the time of storing; code unit by code unit, unsigned.
  std::sort(pending.begin(), pending.end(), std::greater<Name>());
  return true;
}

// REQUIRES: the queue lock is held, so no claim happens meanwhile.
// A batch is found again only when its temporary file is stale (see
// kAbandonedAfterMs) and reads as a complete record: a writer's half-written
// file, or a foreign file that failed to read when it was claimed, never does
// and is left where it is. The stored name comes back from the record's
// stored time and application ID, which must be a GUID: the file may be
// anyone's, and its text must not lead the name out of the folder.
bool OfflineData::RestoreAbandoned(const XMLTransmitter& transmitter) {
  const uint64_t now = Platform::GetTimeMillis();
  if (now < nextRestoreTime) return false;
  nextRestoreTime = now + kRestorePeriodMs;
  const int32_t timeout = transmitter.GetEndpointTimeout();
  const uint64_t longestPost = kPostPhases * static_cast<uint64_t>(timeout > 0 ? timeout : 0);
  const uint64_t age = std::max(kAbandonedAfterMs, 3 * longestPost);
  std::vector<Entry> entries;
  if (!ListFolder(entries, true)) return true;
  const QZChar prefix[] = QZ_TEXT("QZ");
  for (const Entry& entry : entries) {
    if (!entry.regular || entry.age < age || entry.name.compare(0, 2, prefix) != 0 ||
        !EndsWith(entry.name, QZ_TEXT(".tmp"))) {
      continue;
    }
    StringBuf path;
    GetFullName(entry.name, path);
    const Name name(path.ToString(), path.StrLen());
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
  return true;
}

OfflineData::Room::Room(OfflineData& store, uint64_t count) : store(store) {
  if (store.storageLimit == 0) return;
  try {
    for (int attempt = 0; attempt < kStoreLockAttempts && !locked; ++attempt) {
      if (attempt > 0) std::this_thread::sleep_for(std::chrono::milliseconds(kStoreLockPauseMs));
      bool busy = false;
      locked = store.GetQueueLock(busy);
      if (!locked && !busy) break;
    }
    // Without the lock (held elsewhere for a whole second, or broken, which
    // is logged) the limit still holds, only not against a store of another
    // process at the same moment.
    fits = store.MakeRoom(count);
  } catch (...) {
    if (locked) store.ReleaseQueueLock();
    throw;
  }
}

OfflineData::Room::~Room() {
  if (locked) store.ReleaseQueueLock();
}

bool OfflineData::MakeRoom(uint64_t count) {
  std::vector<Entry> entries;
  // A folder that cannot be read cannot be measured; the batch is kept.
  if (!ListFolder(entries, true)) return true;
  uint64_t total = 0;
  uint64_t deletable = 0;
  std::vector<const Entry*> setAside;
  std::vector<const Entry*> stored;
  for (const Entry& entry : entries) {
    if (!entry.regular) continue;
    total += entry.size;
    if (EndsWith(entry.name, kSetAsideSuffix)) {
      setAside.push_back(&entry);
    } else if (EndsWith(entry.name, kStoredSuffix)) {
      stored.push_back(&entry);
    } else {
      continue;
    }
    deletable += entry.size;
  }
  if (total <= storageLimit) return true;
  uint64_t dropped = 0;
  // Emptying the folder of batches would not do: only the new one goes.
  bool fits = total - deletable <= storageLimit;
  if (fits) {
    auto older = [](const Entry* a, const Entry* b) { return a->name < b->name; };
    std::sort(setAside.begin(), setAside.end(), older);
    std::sort(stored.begin(), stored.end(), older);
    for (const std::vector<const Entry*>* batches : {&setAside, &stored}) {
      for (const Entry* entry : *batches) {
        if (total <= storageLimit) break;
        StringBuf path;
        GetFullName(entry->name, path);
        const uint64_t messages = ReadMessageCount(path);
        if (!Delete(path)) continue;
        total -= entry->size;
        dropped += messages;
      }
    }
    fits = total <= storageLimit;
  }
  if (!fits) dropped += count;
  if (dropped > 0 || !fits) {
    StringBuf message(QZ_TEXT("Dropped "));
    message.Append(dropped, 10).Append(QZ_TEXT(" stored messages (limit)"));
    Platform::LogWarn(QZ_TEXT("OfflineData::MakeRoom"), message);
  }
  return fits;
}

}  // namespace qz
