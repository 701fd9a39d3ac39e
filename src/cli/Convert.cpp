// quorvex convert: a playback session whose display is a video file. Every frame of the range is
// fetched, decoded and composed exactly as playback would, as fast as the stages allow, and
// encoded with the input's sound.

#include <signal.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <filesystem>
#include <iostream>
#include <optional>
#include <string>

#include "base/Error.h"
#include "base/Seams.h"
#include "cli/Commands.h"
#include "cli/OutputFiles.h"
#include "cli/OutputOptions.h"
#include "output/VideoFileSurface.h"
#include "output/VideoFileWriter.h"
#include "playback/PlaySession.h"
#include "playback/Surfaces.h"

namespace qv::cli {

namespace {

using Clock = std::chrono::steady_clock;

// The signal that interrupted the conversion; 0 while none has.
volatile std::sig_atomic_t gInterruption = 0;

extern "C" void NoteInterruption(int signal) {
  gInterruption = signal;
}

// Ctrl+C, SIGTERM and SIGHUP end the conversion after the frame in hand instead of the process,
// so that the file can still be finished; the former handlers come back at the end.
class InterruptionHandlers {
 public:
  InterruptionHandlers() {
    gInterruption = 0;
    struct sigaction action {};
    action.sa_handler = NoteInterruption;
    sigemptyset(&action.sa_mask);
    for (size_t k = 0; k < kSignals.size(); ++k) ::sigaction(kSignals[k], &action, &former_[k]);
  }
  ~InterruptionHandlers() {
    for (size_t k = 0; k < kSignals.size(); ++k) ::sigaction(kSignals[k], &former_[k], nullptr);
  }
  InterruptionHandlers(const InterruptionHandlers&) = delete;
  InterruptionHandlers& operator=(const InterruptionHandlers&) = delete;

 private:
  static constexpr std::array<int, 3> kSignals{SIGINT, SIGTERM, SIGHUP};
  std::array<struct sigaction, 3> former_{};
};

std::string SignalName(int signal) {
  switch (signal) {
    case SIGINT:
      return "SIGINT";
    case SIGTERM:
      return "SIGTERM";
    case SIGHUP:
      return "SIGHUP";
    default:
      return "signal " + std::to_string(signal);
  }
}

// Where the session's messages and its once-a-frame event processing go during a conversion:
// messages to standard error (counted: any of them means the input was not processed as asked),
// and a progress bar on standard error when that is a terminal.
class ConvertConsole : public CountingSink, public EventPump {
 public:
  ConvertConsole(PlaybackContext& context, int32_t start, std::optional<int32_t> frames)
      : context_(context), start_(start), frames_(frames), bar_(isatty(STDERR_FILENO) == 1) {}

  void ShowMessage(const std::string& text, int style, const std::string& title) override {
    ClearBar();
    CountingSink::ShowMessage(text, style, title);
  }

  void ProcessEvents() override {
    if (gInterruption != 0) context_.Session.StopRequested = true;
    if (!bar_) return;
    const Clock::time_point now = Clock::now();
    if (drawn_ && now - lastDraw_ < std::chrono::milliseconds(250)) return;
    lastDraw_ = now;
    DrawBar();
  }

  void ClearBar() {
    if (!drawn_) return;
    std::cerr << "\r\033[K" << std::flush;
    drawn_ = false;
  }

 private:
  void DrawBar() {
    const VideoReaderState& video = context_.Video;
    int64_t total = int64_t{video.StreamLength} - start_;
    if (frames_ && *frames_ < total) total = *frames_;
    const int64_t done = int64_t{context_.Session.CurrentFrame} - video.StreamStart - start_ + 1;
    if (total <= 0 || done < 0) return;
    constexpr int kWidth = 30;
    const int filled = static_cast<int>(kWidth * std::min(done, total) / total);
    std::cerr << "\r[" << std::string(filled, '#') << std::string(kWidth - filled, '-') << "] "
              << 100 * std::min(done, total) / total << "%  " << done << "/" << total << " frames"
              << std::flush;
    drawn_ = true;
  }

  PlaybackContext& context_;
  int32_t start_;
  std::optional<int32_t> frames_;
  bool bar_;
  bool drawn_ = false;
  Clock::time_point lastDraw_;
};

// Installs the conversion's surface and console for the session and takes them away again.
class SessionHooks {
 public:
  SessionHooks(DisplaySurface& surface, ConvertConsole& console) {
    for (SurfaceKind kind : {SurfaceKind::Blit, SurfaceKind::OpenGL, SurfaceKind::DirectX}) {
      SetDisplaySurface(kind, &surface);
    }
    SetMessageSink(&console);
    SetEventPump(&console);
  }
  ~SessionHooks() {
    for (SurfaceKind kind : {SurfaceKind::Blit, SurfaceKind::OpenGL, SurfaceKind::DirectX}) {
      SetDisplaySurface(kind, nullptr);
    }
    SetMessageSink(nullptr);
    SetEventPump(nullptr);
  }
  SessionHooks(const SessionHooks&) = delete;
  SessionHooks& operator=(const SessionHooks&) = delete;
};

void PrintSummary(const SessionState& state, const std::string& output, int64_t frames,
                  double seconds) {
  const auto& t = state.StageTimes;
  char line[320];
  std::snprintf(line, sizeof line,
                "%s: %lld frames in %.2f s (%.1f frames/s); Get Frame %.2f ms, Decode %.2f ms, "
                "Encode %.2f ms, Put %.2f ms",
                output.c_str(), static_cast<long long>(frames), seconds,
                seconds > 0 ? frames / seconds : 0.0, t[0] * 1e3, t[1] * 1e3, t[2] * 1e3,
                t[3] * 1e3);
  std::cout << line;
  // 2D video turned into stereo: the conversion's own rate, as the statistics window shows it.
  if (state.ConvertFrameTime > 0) {
    std::snprintf(line, sizeof line, "; conversion %.1f frames/s", 1.0 / state.ConvertFrameTime);
    std::cout << line;
  }
  std::cout << "\n";
}

}  // namespace

// What became of the output after the session: moved into place when kept, else removed; the
// status, or 1 when the output cannot be moved into place.
int FinishOutput(const std::string& temporary, const std::string& output, bool keep, int status) {
  std::string why;
  if (!keep) {
    std::remove(temporary.c_str());
  } else if (!MoveIntoPlace(temporary, output, why)) {
    return Fail("cannot write " + output + ": " + why);
  }
  return status;
}

int RunConvert(const std::vector<std::string>& args) {
  OutputOptions options;
  OutputCheck check;
  try {
    options = ParseOutputOptions(args, Command::kConvert);
    check = VideoFileWriter::CheckOutput(options.output, options.codec);
    if (check.usage) throw UsageError(check.problem);
  } catch (const UsageError& e) {
    std::cerr << "quorvex: " << e.what() << "\nTry 'quorvex --help'.\n";
    return 2;
  }
  if (!check.problem.empty()) return Fail(check.problem);
  if (SameFile(options.input, options.output)) {
    return Fail("the output file " + options.output + " is the input file");
  }
  LoadDisplaySettings(options);

  std::string fileToOpen;
  InputFormat format{};
  if (const int status = ChooseInput(options, fileToOpen, format); status != 0) return status;

  PlaybackRequest request = BuildRequest(options, fileToOpen, format);
  request.AudioSource = 0;
  request.AudioSync = 0;
  request.RepeatMode = 0;
  request.StartOffset = options.start;
  const bool withSound = !options.noSound && check.holdsSound;
  if (!options.noSound && !check.holdsSound) {
    std::cerr << "quorvex: " << options.output << " is of a format that holds no sound; it gets "
              << "the pictures only\n";
  }

  std::string why;
  const std::string temporary = CreateTemporaryBeside(options.output, why);
  if (temporary.empty()) return Fail("cannot write " + options.output + ": " + why);

  PlaybackSession playback;
  PlaybackContext& context = playback.Context();
  VideoFileSurface surface(
      context,
      {temporary, options.codec, withSound ? request.AudioFile : std::string(), options.frames});
  ConvertConsole console(context, options.start, options.frames);
  const Clock::time_point began = Clock::now();
  {
    InterruptionHandlers interruptions;
    SessionHooks hooks(surface, console);
    playback.PlaySession(request);
    console.ClearBar();
  }
  const double seconds = std::chrono::duration<double>(Clock::now() - began).count();
  const int64_t written = surface.FramesWritten();

  if (const int signal = gInterruption; signal != 0) {
    const bool keep = written > 0 && !surface.Failed();
    if (keep) {
      std::cerr << "quorvex: interrupted by " << SignalName(signal) << "; the " << written
                << " frames converted so far are in " << options.output << "\n";
    } else {
      std::cerr << "quorvex: interrupted by " << SignalName(signal) << "; nothing was written\n";
    }
    return FinishOutput(temporary, options.output, keep, 128 + signal);
  }
  if (console.Count() > 0 || surface.Failed()) {
    return FinishOutput(temporary, options.output, false, 1);
  }
  if (written == 0) {
    FinishOutput(temporary, options.output, false, 1);
    if (options.start >= context.Video.StreamLength) {
      return Fail("--start " + std::to_string(options.start) + " is past the end of the video (" +
                  std::to_string(context.Video.StreamLength) + " frames)");
    }
    return Fail("no frame of " + options.input + " could be converted");
  }
  if (const int status = FinishOutput(temporary, options.output, true, 0); status != 0) {
    return status;
  }
  int64_t expected = int64_t{context.Video.StreamLength} - options.start;
  if (options.frames && *options.frames < expected) expected = *options.frames;
  if (written < expected) {
    std::cerr << "quorvex: only " << written << " of " << expected << " frames of " << options.input
              << " could be read\n";
  }
  if (withSound && !surface.HasSound()) {
    std::cerr << "quorvex: " << options.input << " has no sound track; " << options.output
              << " has pictures only\n";
  }
  PrintSummary(context.Session, options.output, written, seconds);
  return 0;
}

}  // namespace qv::cli
