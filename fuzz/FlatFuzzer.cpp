// The flat interface as any host might drive it: arbitrary sequences of its
// functions with handles that exist, were deleted or are null, and texts
// that are null, empty, anything, or far longer than any limit (always
// terminated within their buffer). Nothing may fail, hang or leak, and every
// batch that a run posts must be one that the collector accepts.
#include <libxml/parser.h>

#include <array>
#include <deque>
#include <string>
#include <vector>

#include "FuzzPlatform.h"
#include "FuzzSupport.h"
#include "ingest/BatchParser.h"
#include "ingest/MessagingSchema.h"
#include "ingest/RequestHeaders.h"
#include "qz/qz_flat.h"
#include "types/Utf8.h"

namespace qz {
namespace fuzz {
namespace {

const collector::MessagingSchema* g_schema = nullptr;

void CheckBatch(const StringBuf& platformText, const StringBuf& companyId, const StringBuf& applicationId,
                const StringBuf& messageGroup, const StringBuf& body) {
  for (uint64_t i = 0; i < body.StrLen(); ++i) {
    const QZChar c = body.CharAt(i);
    QZ_FUZZ_CHECK(c == '\n' || (c >= 32 && c <= 126));
  }
  collector::Batch batch;
  std::string error;
  const bool parsed = collector::BatchParser(*g_schema).Parse(ToUtf8(body), batch.root, error);
  if (!parsed) std::fprintf(stderr, "refused: %s\n", error.c_str());
  QZ_FUZZ_CHECK(parsed);
  collector::RequestHeaders headers;
  headers.contentType = "text/xml;charset=UTF-8";
  headers.companyId = ToUtf8(companyId);
  headers.applicationId = ToUtf8(applicationId);
  headers.messageGroup = ToUtf8(messageGroup);
  headers.agent = ToUtf8(platformText);
  const bool agrees = headers.Check(batch.root, batch, error);
  if (!agrees) std::fprintf(stderr, "headers: %s\n", error.c_str());
  QZ_FUZZ_CHECK(agrees);
}

const QZChar kPins[] = QZ_TEXT("sha256//47DEQpj8HBSa+/TImW+5JCeuQeRkm5NMpJWZG3hSuFU=; ")
    QZ_TEXT("AAECAwQFBgcICQoLDA0ODxAREhMUFRYXGBkaGxwdHh8");

const char16_t* const kGuids[] = {u"0f8fad5b-d9cb-469f-a165-70867728950e",
                                  u"7C9E6679-7425-40DE-944B-E07FC1F90AE7",
                                  u"9531985D-5D9D-49F8-9818-E811892F902B"};

// Texts live until the end of the input, as a host's might not; the library
// must not keep any of them.
class Arguments {
 public:
  explicit Arguments(FuzzedDataProvider& data) : data_(data) {}

  // Null, empty, a GUID (so that runs start) or anything.
  const QZChar* Text() {
    switch (data_.ConsumeIntegralInRange<int>(0, 5)) {
      case 0: return nullptr;
      case 1: return QZ_TEXT("");
      case 2: return reinterpret_cast<const QZChar*>(kGuids[data_.ConsumeIntegralInRange<int>(0, 2)]);
      default:
        // An input passes about a hundred texts; a huge one in every few
        // inputs is plenty, and each makes every batch it lands in large.
        texts_.push_back(ConsumeText(data_, 1024));
        return Terminated(texts_.back());
    }
  }
  int Int() { return data_.ConsumeIntegral<int>(); }
  unsigned Unsigned() { return data_.ConsumeIntegral<unsigned>(); }
  long Long() { return data_.ConsumeIntegral<long>(); }  // NOLINT(runtime/int)
  int Flag() { return data_.ConsumeIntegralInRange<int>(-1, 2); }
  // Bytes of any value, NUL-terminated.
  const char* Narrow() {
    narrows_.push_back(data_.ConsumeRandomLengthString(64));
    return narrows_.back().c_str();
  }
  size_t Slot() { return data_.ConsumeIntegralInRange<size_t>(0, 2); }

 private:
  FuzzedDataProvider& data_;
  std::deque<std::u16string> texts_;  // never moves a text it holds
  std::deque<std::string> narrows_;
};

template <typename T>
using Slots = std::array<T*, 3>;

struct Handles {
  Slots<QZConfiguration> configs{};
  Slots<QZBinaryInfo> infos{};
  Slots<QZExtendedKeys> keys{};
  Slots<QZFlowController> flows{};
  Slots<QZExceptionInfo> exceptions{};
  Slots<QZStringBuf> strings{};

  ~Handles() {
    for (auto* h : strings) DeleteStringBuf(h);
    for (auto* h : configs) DeleteConfiguration(h);
    for (auto* h : infos) DeleteBinaryInfo(h);
    for (auto* h : keys) DeleteExtendedKeys(h);
    for (auto* h : flows) DeleteFlowController(h);
    for (auto* h : exceptions) DeleteExceptionInfo(h);
  }
};

// Every text a getter gives is there to read, whatever the handle.
void CheckText(const QZChar* text) {
  QZ_FUZZ_CHECK(text != nullptr);
  while (*text != 0) ++text;
}

void ReadBack(const QZConfiguration* c, const QZBinaryInfo* b, const QZFlowController* f,
              const QZExceptionInfo* e) {
  for (auto get : {GetConfigurationCompanyID, GetConfigurationCompanyName, GetConfigurationApplicationID,
                   GetConfigurationApplicationType, GetConfigurationApplicationName,
                   GetConfigurationApplicationVersion, GetConfigurationApplicationInstanceID,
                   GetConfigurationEndpointLocation, GetConfigurationMessageGroup,
                   GetConfigurationDefaultSession, GetConfigurationServerCertificatePin}) {
    CheckText(get(c));
  }
  QZ_FUZZ_CHECK(c == nullptr || GetConfigurationEndpointTimeout(c) > 0);
  QZ_FUZZ_CHECK(GetConfigurationOfflineStorageLimit(c) <= (1u << 16));
  for (auto get : {GetBinaryInfoID, GetBinaryInfoName, GetBinaryInfoVersion, GetBinaryInfoClassName,
                   GetBinaryInfoMethodName, GetBinaryInfoModifiedDateString}) {
    CheckText(get(b));
  }
  QZ_FUZZ_CHECK(f == nullptr || (GetFlowControllerHighWater(f) < GetFlowControllerQueueSize(f) &&
                                 GetFlowControllerMinimumInterval(f) <= GetFlowControllerMaximumInterval(f)));
  for (auto get : {GetExceptionInfoEventTypeString, GetExceptionInfoType, GetExceptionInfoMessage,
                   GetExceptionInfoUserContact, GetExceptionInfoUserComment}) {
    CheckText(get(e));
  }
}

// One StringBuf operation; the text stays terminated at its length.
void EditString(FuzzedDataProvider& data, Arguments& a, QZStringBuf* s) {
  const QZChar* text = a.Text();
  switch (data.ConsumeIntegralInRange<int>(0, 13)) {
    case 0: AssignStringBuf(s, data.ConsumeBool() ? GetStringBufText(s) : text); break;
    case 1: {
      uint64_t n = 0;
      while (text != nullptr && text[n] != 0) ++n;
      StringBufAppend(s, text, n);
      break;
    }
    case 2: StringBufAppendNarrow(s, a.Narrow()); break;
    case 3: StringBufAppendInt32(s, a.Int(), a.Int()); break;
    case 4: StringBufAppendUInt32(s, a.Unsigned(), a.Int()); break;
    case 5: StringBufAppendUInt64(s, data.ConsumeIntegral<uint64_t>(), a.Int()); break;
    case 6: StringBufAppendDouble(s, data.ConsumeFloatingPoint<double>()); break;
    case 7: StringBufClear(s); break;
    case 8: StringBufTrim(s); break;
    case 9: data.ConsumeBool() ? StringBufToUpperCase(s) : StringBufToLowercase(s); break;
    case 10: StringBufStartsWith(s, text, data.ConsumeIntegral<uint64_t>()); break;
    case 11: StringBufLastIndexOf(s, data.ConsumeIntegral<QZChar>()); break;
    case 12: StringBufSubString(s, data.ConsumeIntegral<int64_t>(), data.ConsumeIntegral<uint64_t>()); break;
    case 13: StringBufSubStringFrom(s, data.ConsumeIntegral<int64_t>()); break;
  }
  if (s != nullptr) {
    QZ_FUZZ_CHECK(GetStringBufLength(s) < GetStringBufCapacity(s));
    QZ_FUZZ_CHECK(GetStringBufText(s)[GetStringBufLength(s)] == 0);
  }
}

void Step(FuzzedDataProvider& data, Arguments& a, Handles& h) {
  QZConfiguration* c = h.configs[a.Slot()];
  QZBinaryInfo* b = h.infos[a.Slot()];
  QZExtendedKeys* k = h.keys[a.Slot()];
  QZFlowController* f = h.flows[a.Slot()];
  QZExceptionInfo* e = h.exceptions[a.Slot()];
  switch (data.ConsumeIntegralInRange<int>(0, 79)) {
    // Lifetimes: a slot's object is deleted before another takes its place.
    case 0: { size_t s = a.Slot(); DeleteConfiguration(h.configs[s]); h.configs[s] = CreateConfiguration(); break; }
    case 1: { size_t s = a.Slot(); DeleteConfiguration(h.configs[s]); h.configs[s] = nullptr; break; }
    case 2: { size_t s = a.Slot(); DeleteBinaryInfo(h.infos[s]); h.infos[s] = CreateBinaryInfo(); break; }
    case 3: { size_t s = a.Slot(); DeleteBinaryInfo(h.infos[s]); h.infos[s] = nullptr; break; }
    case 4: { size_t s = a.Slot(); DeleteExtendedKeys(h.keys[s]); h.keys[s] = CreateExtendedKeys(); break; }
    case 5: { size_t s = a.Slot(); DeleteExtendedKeys(h.keys[s]); h.keys[s] = nullptr; break; }
    case 6: { size_t s = a.Slot(); DeleteFlowController(h.flows[s]); h.flows[s] = CreateFlowController(); break; }
    case 7: { size_t s = a.Slot(); DeleteFlowController(h.flows[s]); h.flows[s] = nullptr; break; }
    case 8: { size_t s = a.Slot(); DeleteExceptionInfo(h.exceptions[s]); h.exceptions[s] = CreateExceptionInfo(); break; }
    case 9: { size_t s = a.Slot(); DeleteExceptionInfo(h.exceptions[s]); h.exceptions[s] = nullptr; break; }
    // Configuration.
    case 10: SetCompanyID(c, a.Text()); break;
    case 11: SetCompanyName(c, a.Text()); break;
    case 12: SetApplicationID(c, a.Text()); break;
    case 13: SetApplicationName(c, a.Text()); break;
    case 14: SetApplicationType(c, a.Text()); break;
    case 15: SetApplicationVersion(c, a.Text()); break;
    case 16: SetApplicationInstanceID(c, a.Text()); break;
    case 17: SetEndpointLocation(c, a.Text()); break;
    case 18: SetEndpointUseSSL(c, a.Flag()); break;
    case 19: SetEndpointTimeout(c, a.Long()); break;
    case 20: SetInitialOptIn(c, a.Flag()); break;
    case 21: SetOffline(c, a.Flag()); break;
    case 22: SetInitialSendDisabled(c, a.Flag()); break;
    case 23: SetSupportOfflineStorage(c, a.Flag()); break;
    case 24: SetOmitPersonalInfo(c, a.Flag()); break;
    case 25: SetFullData(c, a.Flag()); break;
    case 26: { const QZChar* group = a.Text(); SetDefaultIDs(c, group, a.Text()); break; }
    // BinaryInfo.
    case 27: SetBinaryInfoID(b, a.Text()); break;
    case 28: SetBinaryInfoName(b, a.Text()); break;
    case 29: SetBinaryInfoVersion(b, a.Text()); break;
    case 30: SetBinaryInfoClassName(b, a.Text()); break;
    case 31: SetBinaryInfoMethodName(b, a.Text()); break;
    case 32: SetBinaryInfoModifiedDate(b, data.ConsumeIntegral<uint64_t>()); break;
    // ExtendedKeys.
    case 33: { const QZChar* key = a.Text(); AddExtendedKeysString(k, key, a.Text()); break; }
    case 34: AddExtendedKeysInt(k, a.Text(), a.Int()); break;
    case 35: AddExtendedKeysLong(k, a.Text(), a.Long()); break;
    case 36: AddExtendedKeysFloat(k, a.Text(), data.ConsumeFloatingPoint<float>()); break;
    case 37: AddExtendedKeysDouble(k, a.Text(), data.ConsumeFloatingPoint<double>()); break;
    // FlowController.
    case 38: SetFlowControllerQueueSize(f, a.Int()); break;
    case 39: SetFlowControllerHighWater(f, a.Int()); break;
    case 40: SetFlowControllerMaximumInterval(f, a.Unsigned()); break;
    case 41: SetFlowControllerMinimumInterval(f, a.Unsigned()); break;
    case 42: SetFlowControllerGain(f, a.Unsigned()); break;
    case 43: SetFlowControllerQuietGain(f, a.Unsigned()); break;
    case 44: SetFlowControllerMaximumSequentialFailureCount(f, a.Unsigned()); break;
    case 45: SetFlowControllerRetryTimeout(f, a.Long()); break;
    // ExceptionInfo.
    case 46: SetExceptionInfoEventType(e, a.Int()); break;
    case 47: SetExceptionInfoType(e, a.Text()); break;
    case 48: SetExceptionInfoMessage(e, a.Text()); break;
    case 49: SetExceptionInfoUserContact(e, a.Text()); break;
    case 50: SetExceptionInfoUserComment(e, a.Text()); break;
    // The run.
    case 51: ApplicationStart(c, f, b, k); break;
    case 52: ApplicationStop(b, k); break;
    case 53: SessionStart(a.Text(), b, k); break;
    case 54: SessionStop(a.Text(), b, k); break;
    case 55: { const QZChar* name = a.Text(); FeatureStart(name, a.Text(), b, k); break; }
    case 56: { const QZChar* name = a.Text(); FeatureStop(name, a.Text(), b, k); break; }
    case 57: { const QZChar* name = a.Text(); FeatureTick(name, a.Text(), b, k); break; }
    case 58: { const QZChar* name = a.Text(); PerformanceProbe(name, a.Text(), b, k); break; }
    case 59: SystemProfile(a.Text(), b, k); break;
    case 60: ReportException(e, a.Text(), b, k); break;
    case 61: SetOptIn(a.Flag()); break;
    case 62: SetSendDisabled(a.Flag()); break;
    case 63: SendMessages(); break;
    case 64: QZ_FUZZ_CHECK(IsApplicationStarted() == 0 || IsApplicationStarted() == 1); break;
    case 65:
    case 66: {
      // Either identifier is null or a GUID while a run lasts.
      const QZChar* id = data.ConsumeBool() ? GetDefaultSession() : GetMessageGroup();
      if (id != nullptr) QZ_FUZZ_CHECK(ToUtf8(id).size() <= 36);
      break;
    }
    case 67: SetLogLevel(a.Int()); break;
    // Transport options (the posts stay in the process, so only their parsing and copying runs).
    case 68: SetVerifyServerCertificate(c, a.Flag()); break;
    case 69: SetServerCertificatePin(c, data.ConsumeBool() ? kPins : a.Text()); break;
    case 70: SetUseSystemProxy(c, a.Flag()); break;
    // Small limits, so that stores make room and drop.
    case 71: SetOfflineStorageLimit(c, data.ConsumeIntegralInRange<uint64_t>(0, 1u << 16)); break;
    // The rest of the classes' members: copies between slots (itself, deleted
    // and null included), reading back, pacing, StringBuf.
    case 72: {
      const size_t from = a.Slot();
      AssignConfiguration(c, h.configs[from]);
      AssignBinaryInfo(b, h.infos[from]);
      AssignFlowController(f, h.flows[from]);
      AssignExceptionInfo(e, h.exceptions[from]);
      break;
    }
    case 73: ReadBack(c, b, f, e); break;
    case 74: {
      const uint64_t size = GetExtendedKeysSize(k);
      const uint64_t index = data.ConsumeIntegralInRange<uint64_t>(0, size);
      const QZExtendedKey* property = GetExtendedKey(k, index);
      QZ_FUZZ_CHECK((property != nullptr) == (index < size));
      CheckText(GetExtendedKeyKey(property));
      CheckText(GetExtendedKeyValue(property));
      QZ_FUZZ_CHECK(GetExtendedKeyKind(property) >= 0 && GetExtendedKeyKind(property) <= 4);
      break;
    }
    case 75:
      SetFlowControllerOffline(f, a.Flag());
      SetFlowControllerSupportOfflineStorage(f, a.Flag());
      SetFlowControllerSendDisabled(f, a.Flag());
      FlowControllerOnSend(f, a.Flag());
      break;
    case 76:
      FlowControllerGetInterval(f, data.ConsumeIntegral<uint64_t>());
      FlowControllerMessagesToDrop(f, data.ConsumeIntegral<uint64_t>());
      QZ_FUZZ_CHECK(FlowControllerOKToTransmit(f) == 0 || FlowControllerOKToTransmit(f) == 1);
      break;
    case 77: ExceptionInfoFromException(e, data.ConsumeBool() ? a.Int() : 100 * (1 + a.Slot()), a.Narrow()); break;
    case 78: {
      const size_t s = a.Slot();
      DeleteStringBuf(h.strings[s]);
      h.strings[s] = data.ConsumeBool() ? CreateStringBuf(data.ConsumeIntegral<uint64_t>())
                                        : CreateStringBufFromText(a.Text());
      break;
    }
    case 79: EditString(data, a, h.strings[a.Slot()]); break;
  }
}

}  // namespace
}  // namespace fuzz
}  // namespace qz

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  xmlInitParser();
  qz::fuzz::g_schema = new qz::collector::MessagingSchema();
  qz::fuzz::InstallPlatform(&qz::fuzz::CheckBatch);
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size) {
  FuzzedDataProvider data(bytes, size);
  {
    qz::fuzz::Arguments arguments(data);
    qz::fuzz::Handles handles;
    for (int step = 0; step < 64 && data.remaining_bytes() > 0; ++step) {
      qz::fuzz::Step(data, arguments, handles);
    }
    // Each input starts from nothing: no run, no handle, nothing stored,
    // the default level.
    ApplicationStop(nullptr, nullptr);
  }
  qz::fuzz::ClearStorage();
  SetLogLevel(300);
  return 0;
}
