#include <benchmark/benchmark.h>

#include <memory>
#include <vector>

#include "messages/Feature.h"
#include "messages/MessagesTag.h"
#include "messages/PerformanceProbe.h"
#include "platform/LibraryLoad.h"
#include "profile/SystemProfile.h"
#include "qz/BinaryInfo.h"
#include "qz/Configuration.h"
#include "qz/ExtendedKeys.h"
#include "types/Utf8.h"

namespace {

const QZChar* const kSession = QZ_TEXT("d23f0824-128b-4f33-8c5c-7fd0a6a3a450");

void Fill(qz::BinaryInfo& info, qz::ExtendedKeys& keys) {
  info.SetID(QZ_TEXT("0F8FAD5B-D9CB-469F-A165-70867728950E"));
  info.SetName(QZ_TEXT("Editor.exe"));
  info.SetVersion(QZ_TEXT("4.2.1"));
  info.SetClassName(QZ_TEXT("DocumentView"));
  info.SetMethodName(QZ_TEXT("OnExport"));
  info.SetModifiedDate(1360575005120ull);
  keys.Add(QZ_TEXT("format"), QZ_TEXT("pdf & print"));
  keys.Add(QZ_TEXT("pages"), int32_t(12));
  keys.Add(QZ_TEXT("seconds"), 1.25);
}

void Configure(qz::Configuration& configuration) {
  configuration.SetCompanyID(QZ_TEXT("9531985D-5D9D-49F8-9818-E811892F902B"));
  configuration.SetCompanyName(QZ_TEXT("Example & Sons"));
  configuration.SetApplicationID(QZ_TEXT("36F675CC-81E7-4EF5-A8E2-5D940ED90475"));
  configuration.SetApplicationName(QZ_TEXT("Editor"));
}

// count ticks, owned by owned and listed in list, oldest first.
void Ticks(int count, const qz::BinaryInfo& info, const qz::ExtendedKeys& keys,
           std::vector<std::unique_ptr<qz::Feature>>& owned, qz::MessageList& list) {
  for (int i = 0; i < count; ++i) {
    owned.emplace_back(qz::Feature::CreateTick(kSession, QZ_TEXT("Export"), &info, &keys));
    list.push_back(owned.back().get());
  }
}

// The work a host thread pays for one event.
void BM_BuildFeature(benchmark::State& state) {
  qz::CreatePlatform();  // GUIDs and the clock come from the platform
  qz::BinaryInfo info;
  qz::ExtendedKeys keys;
  Fill(info, keys);
  for (auto _ : state) {
    std::unique_ptr<qz::Feature> message(
        qz::Feature::CreateTick(kSession, QZ_TEXT("Export"), &info, &keys));
    benchmark::DoNotOptimize(message.get());
  }
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_BuildFeature);

// A probe measures memory and processor use on the host's thread.
void BM_BuildPerformanceProbe(benchmark::State& state) {
  qz::CreatePlatform();
  qz::BinaryInfo info;
  qz::ExtendedKeys keys;
  Fill(info, keys);
  for (auto _ : state) {
    qz::PerformanceProbe message(QZ_TEXT("Startup"), kSession, &info, &keys);
    benchmark::DoNotOptimize(&message);
  }
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_BuildPerformanceProbe);

// A profile reads the whole machine on the host's thread (WMI on Windows).
void BM_BuildSystemProfile(benchmark::State& state) {
  qz::CreatePlatform();
  const bool fullData = state.range(0) != 0;
  for (auto _ : state) {
    qz::SystemProfile message(kSession, nullptr, nullptr, fullData, false);
    benchmark::DoNotOptimize(&message);
  }
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_BuildSystemProfile)->ArgName("fullData")->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond);

// The work the transmitter pays for one full batch.
void BM_WriteBatchOf30(benchmark::State& state) {
  qz::CreatePlatform();
  qz::Configuration configuration;
  Configure(configuration);
  qz::MessagesTag envelope(&configuration);
  qz::BinaryInfo info;
  qz::ExtendedKeys keys;
  Fill(info, keys);
  std::vector<std::unique_ptr<qz::Feature>> owned;
  qz::MessageList list;
  Ticks(30, info, keys, owned, list);
  uint64_t characters = 0;
  for (auto _ : state) {
    qz::StringBuf out(30 * 256);
    envelope.WriteBatch(out, list);
    characters += out.StrLen();
    benchmark::DoNotOptimize(out.ToString());
  }
  state.SetItemsProcessed(state.iterations() * 30);
  state.SetBytesProcessed(static_cast<int64_t>(characters * sizeof(QZChar)));
}
BENCHMARK(BM_WriteBatchOf30);

// What the transmitter pays per batch of 20 host events (the shape the latency
// figures use: a BinaryInfo of four texts, two 24-character text properties):
// the batch text as the transmitter sizes it, and its UTF-8 for the wire.
void BM_Batch20ToUtf8(benchmark::State& state) {
  qz::CreatePlatform();
  qz::Configuration configuration;
  Configure(configuration);
  qz::MessagesTag envelope(&configuration);
  qz::BinaryInfo info;
  info.SetName(QZ_TEXT("editor.exe"));
  info.SetVersion(QZ_TEXT("2.1.0.417"));
  info.SetClassName(QZ_TEXT("DocumentView"));
  info.SetMethodName(QZ_TEXT("OnExport"));
  qz::ExtendedKeys keys;
  keys.Add(QZ_TEXT("format"), QZ_TEXT("PDF/A archival, 300 dpi."));
  keys.Add(QZ_TEXT("target"), QZ_TEXT("\\\\server\\share\\out-1.pdf"));
  std::vector<std::unique_ptr<qz::Feature>> owned;
  qz::MessageList list;
  Ticks(20, info, keys, owned, list);
  // Sized as the transmitter sizes it.
  uint64_t room = 1024;
  for (const qz::Message* message : list) room += message->WrittenLengthHint();
  uint64_t bytes = 0;
  for (auto _ : state) {
    qz::StringBuf out(room);
    envelope.WriteBatch(out, list);
    const std::string utf8 = qz::ToUtf8(out);
    bytes += utf8.size();
    benchmark::DoNotOptimize(utf8.data());
  }
  state.SetBytesProcessed(static_cast<int64_t>(bytes));
}
BENCHMARK(BM_Batch20ToUtf8)->Unit(benchmark::kMicrosecond);

}  // namespace
