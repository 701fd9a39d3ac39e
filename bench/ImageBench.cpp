// The picture type at 1920 x 1080 against a plain memcpy of the same bytes.
#include <benchmark/benchmark.h>

#include <cstring>
#include <memory>
#include <vector>

#include "Ratios.h"
#include "image/Picture.h"

namespace qv::bench {
namespace {

constexpr int kWidth = 1920;
constexpr int kHeight = 1080;

PictureRef Frame() {
  auto frame = std::make_shared<Picture>();
  frame->Create(kWidth, kHeight);
  frame->RandomiseBits(false);
  return frame;
}

void Memcpy(benchmark::State& state, size_t bytes) {
  std::vector<uint8_t> from(bytes, 7), to(bytes);
  for (auto _ : state) {
    std::memcpy(to.data(), from.data(), bytes);
    benchmark::DoNotOptimize(to.data());
    benchmark::ClobberMemory();
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * bytes));
}

void BM_Memcpy_Frame1080(benchmark::State& state) {
  Memcpy(state, StrideFor(kWidth) * kHeight);
}
void BM_Memcpy_HalfFrame1080(benchmark::State& state) {
  Memcpy(state, StrideFor(kWidth / 2) * kHeight);
}

void BM_Create_1080(benchmark::State& state) {
  for (auto _ : state) {
    Picture picture;
    picture.Create(kWidth, kHeight);
    benchmark::DoNotOptimize(picture.Bits());
  }
}

void BM_CopyOf_1080(benchmark::State& state) {
  const PictureRef frame = Frame();
  for (auto _ : state) benchmark::DoNotOptimize(frame->CopyOf());
}

void BM_Crop_LeftHalf1080(benchmark::State& state) {
  const PictureRef frame = Frame();
  for (auto _ : state) benchmark::DoNotOptimize(frame->Crop(kHeight, kWidth / 2, 0, 0));
}

void BM_Resample_1080To720(benchmark::State& state) {
  const PictureRef frame = Frame();
  for (auto _ : state) benchmark::DoNotOptimize(frame->Resample(720, 1280, false));
}

// Medians of several repetitions: single runs of memory-bound loops vary by a fifth.
BENCHMARK(BM_Memcpy_Frame1080)->Repetitions(7)->ReportAggregatesOnly(true);
BENCHMARK(BM_Memcpy_HalfFrame1080)->Repetitions(7)->ReportAggregatesOnly(true);
BENCHMARK(BM_Create_1080)->Repetitions(7)->ReportAggregatesOnly(true);
BENCHMARK(BM_CopyOf_1080)->Repetitions(7)->ReportAggregatesOnly(true);
BENCHMARK(BM_Crop_LeftHalf1080)->Repetitions(7)->ReportAggregatesOnly(true);
BENCHMARK(BM_Resample_1080To720)->Repetitions(7)->ReportAggregatesOnly(true);

DeclareRatio createTarget("BM_Create_1080", "BM_Memcpy_Frame1080", 1.5);
DeclareRatio copyTarget("BM_CopyOf_1080", "BM_Memcpy_Frame1080", 1.5);
DeclareRatio cropTarget("BM_Crop_LeftHalf1080", "BM_Memcpy_HalfFrame1080", 1.5);
DeclareRatio resampleTarget("BM_Resample_1080To720", "BM_Memcpy_Frame1080", 3.0);

}  // namespace
}  // namespace qv::bench
