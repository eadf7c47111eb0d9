#include <benchmark/benchmark.h>

#include <cstdint>

#include "qz/StringBuf.h"
#include "types/Utf8.h"

namespace {

using qz::StringBuf;

void BM_AppendText(benchmark::State& state) {
  for (auto _ : state) {
    StringBuf s;
    for (int i = 0; i < 64; ++i) s.Append(QZ_TEXT("feature-name"));
    benchmark::DoNotOptimize(s.ToString());
  }
  state.SetItemsProcessed(state.iterations() * 64);
}
BENCHMARK(BM_AppendText);

void BM_AppendNumbers(benchmark::State& state) {
  uint64_t n = 1234567890123ull;
  for (auto _ : state) {
    StringBuf s;
    s.Append(n, 10).Append(static_cast<int32_t>(-123456), 10).Append(static_cast<uint32_t>(0xBEEF), 16);
    benchmark::DoNotOptimize(s.ToString());
    ++n;
  }
  state.SetItemsProcessed(state.iterations() * 3);
}
BENCHMARK(BM_AppendNumbers);

void BM_AppendDouble(benchmark::State& state) {
  double v = state.range(0) == 0 ? 1234.5678 : 1e300;
  for (auto _ : state) {
    StringBuf s;
    s.Append(v);
    benchmark::DoNotOptimize(s.ToString());
  }
}
BENCHMARK(BM_AppendDouble)->Arg(0)->Arg(1);

// One message line as the XML writer builds it, about 300 characters.
void BuildLine(StringBuf& s, uint64_t time) {
  s.Append(QZ_TEXT("<feature id=\"")).Append(QZ_TEXT("0F8FAD5B-D9CB-469F-A165-70867728950E"));
  s.Append(QZ_TEXT("\" session=\"")).Append(QZ_TEXT("7C9E6679-7425-40DE-944B-E07FC1F90AE7"));
  s.Append(QZ_TEXT("\" time=\"")).Append(time, 10);
  s.Append(QZ_TEXT("\" utc=\"2024-05-01T12:34:56.789Z\" name=\"File.Export.Pdf\" "));
  s.Append(QZ_TEXT("group=\"3F2504E0-4F89-11D3-9A0C-0305E82C3301\" duration=\"")).Append(static_cast<uint32_t>(1532), 10);
  s.Append(QZ_TEXT("\" value=\"")).Append(42.125);
  s.Append(QZ_TEXT("\"><binary name=\"app.exe\" version=\"1.2.3.4\"/></feature>\r\n"));
}

void BM_BuildXmlLine(benchmark::State& state) {
  uint64_t time = 1714566896789ull;
  for (auto _ : state) {
    StringBuf s;
    BuildLine(s, time++);
    benchmark::DoNotOptimize(s.ToString());
  }
}
BENCHMARK(BM_BuildXmlLine);

void BM_XmlLineToUtf8(benchmark::State& state) {
  StringBuf s;
  BuildLine(s, 1714566896789ull);
  for (auto _ : state) benchmark::DoNotOptimize(qz::ToUtf8(s));
  state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(s.StrLen()));
}
BENCHMARK(BM_XmlLineToUtf8);

}  // namespace
