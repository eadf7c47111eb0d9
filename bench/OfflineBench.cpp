// Draining a backlog of stored batches as the offline sender does: one store
// sends every batch of a folder that holds 100, 1,000 or 20,000 of them, to a
// transmitter that accepts everything at once, so what is timed is the
// store's own work per send (lock, search, claim, read, envelope, delete).
// And storing one more batch under a storage limit, which measures the
// folder each time. The batches are 20 feature ticks each, as a busy host
// stores them, in the system's temporary folder (a real disk here).
#include <benchmark/benchmark.h>

#include <time.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <string>
#include <vector>

#include "delivery/XMLTransmitter.h"
#include "messages/Feature.h"
#include "offline/OfflineData.h"
#include "platform/LibraryLoad.h"
#include "platform/Platform.h"
#include "platform/TestHooks.h"
#include "qz/BinaryInfo.h"
#include "qz/Configuration.h"
#include "qz/ExtendedKeys.h"

namespace {

namespace fs = std::filesystem;

const QZChar kCompany[] = QZ_TEXT("9531985D-5D9D-49F8-9818-E811892F902B");
const QZChar kApplication[] = QZ_TEXT("36F675CC-81E7-4EF5-A8E2-5D940ED90475");

fs::path& Folder() {
  static fs::path folder =
      fs::temp_directory_path() / ("qz-bench-offline-" + std::to_string(getpid()));
  return folder;
}

bool StorageFolder(int32_t, qz::StringBuf& path) {
  path = reinterpret_cast<const QZChar*>(Folder().u16string().c_str());
  return true;
}

class AcceptingTransmitter : public qz::XMLTransmitter {
 public:
  AcceptingTransmitter() : XMLTransmitter(qz::Configuration()) {}
  bool Post(const qz::StringBuf&, const qz::StringBuf&, const qz::StringBuf&,
            const qz::StringBuf&, const qz::StringBuf& body) override {
    benchmark::DoNotOptimize(body.ToString());
    lastStatus = 204;
    return true;
  }
};

std::unique_ptr<qz::OfflineData> NewStore() {
  std::unique_ptr<qz::OfflineData> store(qz::Platform::NewOfflineData());
  store->SetCompanyID(kCompany);
  store->SetApplicationID(kApplication);
  return store;
}

// One record of 20 ticks written by the library, as bytes.
std::string Record() {
  qz::BinaryInfo info;
  info.SetName(QZ_TEXT("editor.exe"));
  info.SetVersion(QZ_TEXT("2.1.0.417"));
  info.SetClassName(QZ_TEXT("DocumentView"));
  info.SetMethodName(QZ_TEXT("OnExport"));
  qz::ExtendedKeys keys;
  keys.Add(QZ_TEXT("format"), QZ_TEXT("PDF/A archival, 300 dpi."));
  keys.Add(QZ_TEXT("target"), QZ_TEXT("\\\\server\\share\\out-1.pdf"));
  qz::StringBuf text;
  for (int i = 0; i < 20; ++i) {
    std::unique_ptr<qz::Feature> tick(qz::Feature::CreateTick(
        QZ_TEXT("D23F0824-128B-4F33-8C5C-7FD0A6A3A450"), QZ_TEXT("Export"), &info, &keys));
    tick->Write(text);
  }
  auto writer = NewStore();
  writer->SetCompanyName(QZ_TEXT("Example & Sons"));
  writer->SetApplicationName(QZ_TEXT("Editor"));
  qz::StringBuf name;
  if (!writer->CreateFileName(name, 0) || !writer->Write(name, 0, 20, text)) return std::string();
  const fs::path path(std::u16string(reinterpret_cast<const char16_t*>(name.ToString())));
  std::ifstream in(path, std::ios::binary);
  std::string bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  fs::remove(path);
  return bytes;
}

// count stored batches, named as the store names them, oldest first.
void Fill(const fs::path& appRoot, const std::string& record, int64_t count) {
  for (int64_t i = 0; i < count; ++i) {
    std::string digits;
    for (uint64_t t = 1763408545000ull + static_cast<uint64_t>(i); t != 0; t /= 36) {
      digits.insert(digits.begin(), "0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZ"[t % 36]);
    }
    std::ofstream out(appRoot / (std::string(13 - digits.size(), '0') + digits +
                                 "-36F675CC-81E7-4EF5-A8E2-5D940ED90475.QZ"),
                      std::ios::binary);
    out.write(record.data(), static_cast<std::streamsize>(record.size()));
  }
}

// The company's folder of the benchmark's own storage, made empty.
fs::path UseFolder() {
  qz::CreatePlatform();
  qz::testhooks::SetStorageFolderOverride(&StorageFolder);
  const fs::path appRoot = Folder() / "Tessary Solutions" / "QZ Storage" /
                           "9531985D-5D9D-49F8-9818-E811892F902B";
  fs::remove_all(Folder());
  fs::create_directories(appRoot);
  return appRoot;
}

void LeaveFolder() {
  qz::testhooks::SetStorageFolderOverride(nullptr);
  fs::remove_all(Folder());
}

double ProcessorSeconds() {
  timespec now;
  clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
  return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) / 1e9;
}

void BM_DrainStoredBatches(benchmark::State& state) {
  const fs::path appRoot = UseFolder();
  const std::string record = Record();
  const int64_t count = state.range(0);
  AcceptingTransmitter transmitter;
  int64_t sent = 0;
  double wall = 0;
  double processor = 0;
  for (auto _ : state) {
    state.PauseTiming();
    Fill(appRoot, record, count);
    auto sender = NewStore();
    const auto begin = std::chrono::steady_clock::now();
    const double cpuBegin = ProcessorSeconds();
    state.ResumeTiming();
    while (sender->SendNext(transmitter) == qz::OfflineData::kSent) ++sent;
    state.PauseTiming();
    processor += ProcessorSeconds() - cpuBegin;
    wall += std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
    state.ResumeTiming();
  }
  const double sends = static_cast<double>(count) * static_cast<double>(state.iterations());
  if (sent != static_cast<int64_t>(sends)) state.SkipWithError("not all sent");
  // Per send, the first one's search included: elapsed (the disk's syncs
  // included) and the processor time of the process (system calls included).
  state.counters["wall_us_per_send"] = wall * 1e6 / sends;
  state.counters["batch_bytes"] = static_cast<double>(record.size());
  state.counters["cpu_us_per_send"] = processor * 1e6 / sends;
  LeaveFolder();
}
BENCHMARK(BM_DrainStoredBatches)
    ->ArgName("stored")
    ->Arg(100)
    ->Arg(1000)
    ->Arg(20000)
    ->Iterations(1)
    ->Unit(benchmark::kMillisecond);

// What the transmitter pays to store one batch beside that many (the record
// written and synced, named, the folder synced), without a limit and with
// one the folder stays under, which lists the folder with every file's size.
void BM_StoreBesideStoredBatches(benchmark::State& state) {
  const fs::path appRoot = UseFolder();
  const std::string record = Record();
  Fill(appRoot, record, state.range(0));
  auto writer = NewStore();
  if (state.range(1) != 0) writer->SetStorageLimit(UINT64_MAX);
  qz::StringBuf text;
  text.Append(QZ_TEXT("<m/>"));
  uint64_t time = 1863408545000ull;
  double processor = 0;
  for (auto _ : state) {
    const double cpuBegin = ProcessorSeconds();
    qz::StringBuf finalName;
    qz::StringBuf tempName;
    writer->CreateFileName(finalName, ++time);
    writer->CreateTempFileName(tempName);
    writer->Write(tempName, time, 20, text);
    qz::OfflineData::Room room(*writer, 20);
    if (!room.Fits() || !writer->Rename(tempName, finalName)) state.SkipWithError("not stored");
    processor += ProcessorSeconds() - cpuBegin;
  }
  state.counters["cpu_us_per_store"] = processor * 1e6 / static_cast<double>(state.iterations());
  LeaveFolder();
}
BENCHMARK(BM_StoreBesideStoredBatches)
    ->ArgNames({"stored", "limit"})
    ->Args({1000, 0})
    ->Args({1000, 1})
    ->Args({20000, 0})
    ->Args({20000, 1})
    ->Iterations(200)
    ->Unit(benchmark::kMicrosecond);

}  // namespace
