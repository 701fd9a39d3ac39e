// `quorvex convert` of a 1920 x 1080 side-by-side H.264 clip to a red/cyan anaglyph in raw video,
// against the ffmpeg command that does the same job (its stereo3d filter), both run as programs
// on the same clip in the same run. The clip is made once with the ffmpeg command and kept beside
// this program (media/).
#include <benchmark/benchmark.h>

#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <string>

#include "Ratios.h"

namespace qv::bench {
namespace {

namespace fs = std::filesystem;

fs::path MediaFolder() {
  return fs::read_symlink("/proc/self/exe").parent_path() / "media";
}

// Three seconds at 25 frames per second: two views of a test scene, the right one seen 8 pixels
// further left, side by side.
const fs::path& SideBySideClip() {
  static const fs::path clip = [] {
    const fs::path file = MediaFolder() / "sbs_1080.mp4";
    if (fs::exists(file)) return file;
    fs::create_directories(file.parent_path());
    const fs::path partial = file.string() + ".part.mp4";
    const std::string command =
        "ffmpeg -nostdin -hide_banner -loglevel error -y -filter_complex "
        "'testsrc2=size=968x1080:rate=25:duration=3,split[a][b];[a]crop=960:1080:0:0[l];"
        "[b]crop=960:1080:8:0[r];[l][r]hstack' -c:v libx264 -preset veryfast -pix_fmt yuv420p '" +
        partial.string() + "'";
    std::fprintf(stderr, "making %s\n", file.c_str());
    if (std::system(command.c_str()) != 0) return fs::path();
    fs::rename(partial, file);
    return file;
  }();
  return clip;
}

using CommandLine = std::string (*)(const fs::path& out);

// Runs `timed` once per iteration, writing into a fresh folder. Each iteration first runs `other`
// untimed, so that both programs meet the machine in the same state: the machine is shared, and
// its load drifts over the seconds a benchmark takes.
void RunCommand(benchmark::State& state, CommandLine timed, CommandLine other) {
  if (SideBySideClip().empty())
    return state.SkipWithError("the ffmpeg command could not make the clip");
  // The output goes to memory where it can (a tmpfs), so that the disk's write-back of earlier
  // runs does not weigh on later ones: the programs are measured, not the disk.
  const fs::path memory = "/dev/shm";
  const fs::path folder =
      (fs::is_directory(memory) ? memory : fs::temp_directory_path()) / "quorvex-convert-bench";
  auto fresh = [&] {
    fs::remove_all(folder);
    fs::create_directories(folder);
    sync();
  };
  for (auto _ : state) {
    state.PauseTiming();
    fresh();
    if (std::system(other(folder).c_str()) != 0)
      return state.SkipWithError(("failed: " + other(folder)).c_str());
    fresh();
    const std::string line = timed(folder);
    state.ResumeTiming();
    if (std::system(line.c_str()) != 0) return state.SkipWithError(("failed: " + line).c_str());
  }
  fs::remove_all(folder);
  state.SetItemsProcessed(state.iterations() * 75);
}

std::string QuorvexConvert(const fs::path& out) {
  return "XDG_CONFIG_HOME='" + out.string() + "' XDG_DATA_HOME='" + out.string() + "' '" +
         QUORVEX_PROGRAM "' convert '" + SideBySideClip().string() + "' -o '" +
         (out / "anaglyph.nut").string() +
         "' --format parallel --method anaglyph-red-green --codec rawvideo >/dev/null 2>&1";
}

std::string FFmpegConvert(const fs::path& out) {
  return "ffmpeg -nostdin -hide_banner -loglevel error -y -i '" + SideBySideClip().string() +
         "' -vf stereo3d=sbsl:arcc -c:v rawvideo -an '" + (out / "anaglyph.nut").string() + "'";
}

void BM_Convert_Quorvex_1080(benchmark::State& state) {
  RunCommand(state, QuorvexConvert, FFmpegConvert);
}
void BM_Convert_FFmpeg_1080(benchmark::State& state) {
  RunCommand(state, FFmpegConvert, QuorvexConvert);
}

BENCHMARK(BM_Convert_FFmpeg_1080)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime()
    ->Iterations(1)
    ->Repetitions(7)
    ->ReportAggregatesOnly(true);
BENCHMARK(BM_Convert_Quorvex_1080)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime()
    ->Iterations(1)
    ->Repetitions(7)
    ->ReportAggregatesOnly(true);

DeclareRatio convertTarget("BM_Convert_Quorvex_1080", "BM_Convert_FFmpeg_1080", 1.0,
                           "(no slower than the ffmpeg command)");

}  // namespace
}  // namespace qv::bench
