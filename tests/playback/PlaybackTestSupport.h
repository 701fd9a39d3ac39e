#pragma once
// What the playback tests stand in with: a display surface that records what it is asked to do,
// and a simulated sound device on a clock of the test's own.

#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "base/DisplayConfig.h"
#include "base/Seams.h"
#include "playback/DisplaySurface.h"
#include "playback/AudioOutput.h"
#include "playback/SessionState.h"
#include "playback/SoundTrack.h"

namespace qv::test {

// Writes a test clip with ffmpeg.
inline void MakeClip(const std::string& arguments, const std::string& path) {
  const std::string command =
      "ffmpeg -nostdin -hide_banner -loglevel error -y " + arguments + " '" + path + "'";
  ASSERT_EQ(std::system(command.c_str()), 0) << command;
}

// Keeps every open with its arguments and the refresh rate asked for at that moment, every frame
// put with the frame number being played (when it knows the session), and the order of opens,
// puts and closes.
class RecordingSurface : public DisplaySurface {
 public:
  struct Opened {
    bool fullscreen;
    int32_t width, height;
    bool modeFlag, useLineCode;
    PictureRef lineCodeStart;
    int32_t refreshRate;
  };
  struct Put {
    int32_t frame;
    PictureRef picture;
    bool resize;
  };

  bool OpenDisplay(bool fullscreen, int32_t srcX, int32_t srcY, bool modeFlag, bool useLineCode,
                   const PictureRef& lineCodeStart, const PictureRef&) override {
    opens.push_back(
        {fullscreen, srcX, srcY, modeFlag, useLineCode, lineCodeStart, Settings().RefreshRate});
    events.push_back("open");
    return true;
  }
  bool PutImage(const Picture& picture, bool resize, bool) override {
    const int32_t frame = session != nullptr ? session->CurrentFrame : -1;
    puts.push_back({frame, picture.CopyOf(), resize});
    events.push_back("put " + std::to_string(frame));
    return onPut ? onPut(static_cast<int>(puts.size())) : true;
  }
  void ResizeSurface(int32_t, int32_t) override {}
  bool CloseDisplay() override {
    events.push_back("close");
    return true;
  }

  std::vector<int32_t> Frames() const {
    std::vector<int32_t> frames;
    for (const Put& p : puts) frames.push_back(p.frame);
    return frames;
  }

  std::vector<Opened> opens;
  std::vector<Put> puts;
  std::vector<std::string> events;
  std::function<bool(int count)> onPut;  // false asks the session to stop
  const SessionState* session = nullptr;  // whose CurrentFrame a put records
};

// A simulated sound device: every round of message processing lets `step` seconds pass, and the
// device takes the samples of that time, to be heard kLatency seconds later (a latency that keeps
// the positions off the frames' rounding boundaries).
class FakeClock : public SoundClock {
 public:
  double Now() override { return now; }
  void Nap() override {}
  double now = 1000.0;
};

// The device the tests play: the player's output opens it, in the format asked for unless the
// test sets one, and the test makes its pulls, each to be heard from a time it chooses.
class TestDevice : public AudioOutput {
 public:
  DeviceFormat Open(const DeviceFormat& asked, PullSamples pull) override {
    wanted = asked;
    format = offer.value_or(DeviceFormat{asked.rate, asked.channels, asked.rate / 100});
    pull_ = std::move(pull);
    ++opened;
    return format;
  }
  void Resume() override { playing_ = true; }
  void Pause() override { playing_ = false; }
  void Close() override {
    playing_ = false;
    pull_ = nullptr;
  }

  // The device takes `frames` sample frames now, to be heard from `heardAt` on.
  std::vector<float> Take(int frames, double heardAt) {
    std::vector<float> samples(static_cast<size_t>(frames) * format.channels, -99.0f);
    if (pull_ && playing_) {
      pull_(reinterpret_cast<unsigned char*>(samples.data()),
            static_cast<int>(samples.size() * sizeof(float)), heardAt);
    }
    return samples;
  }

  std::optional<DeviceFormat> offer;
  DeviceFormat wanted, format;
  int opened = 0;

 private:
  PullSamples pull_;
  bool playing_ = false;
};

// The player owns its output; this one hands everything to the test's device.
class ForwardingOutput : public AudioOutput {
 public:
  explicit ForwardingOutput(TestDevice& device) : device_(device) {}
  ~ForwardingOutput() override { Close(); }
  DeviceFormat Open(const DeviceFormat& wanted, PullSamples pull) override {
    return device_.Open(wanted, pull);
  }
  void Resume() override { device_.Resume(); }
  void Pause() override { device_.Pause(); }
  void Close() override { device_.Close(); }

 private:
  TestDevice& device_;
};

// The test's device on a fake clock serves the player's sound for as long as this lives.
struct SimulatedSound {
  SimulatedSound() {
    SetSoundClock(&clock);
    SetAudioOutputFactory(
        [this](SoundClock&) { return std::make_unique<ForwardingOutput>(device); });
  }
  ~SimulatedSound() {
    ReleaseSound();  // the players hold this clock and device
    SetSoundClock(nullptr);
    SetAudioOutputFactory({});
  }
  FakeClock clock;
  TestDevice device;
};

// Message processing inside the waits: `step` seconds pass each round, and a running device takes
// the samples of that time, heard kLatency seconds later.
class SimulatedTime : public EventPump {
 public:
  SimulatedTime(FakeClock& clock, TestDevice& device) : clock_(clock), device_(device) {
    SetEventPump(this);
  }
  ~SimulatedTime() override { SetEventPump(nullptr); }
  void ProcessEvents() override {
    ++rounds;
    clock_.now += step;
    if (deviceRuns)
      device_.Take(static_cast<int>(std::lround(device_.format.rate * step)),
                   clock_.now + kLatency);
    if (onRound) onRound(rounds);
    if (rounds == 100000) {  // a minute and more of simulated time
      ADD_FAILURE() << "the wait does not end";
      if (stop) stop();
    }
  }
  static constexpr double kLatency = 0.0125;
  double step = 0.01;
  int rounds = 0;
  bool deviceRuns = true;
  std::function<void(int)> onRound;
  std::function<void()> stop;  // how to end a wait that does not end

 private:
  FakeClock& clock_;
  TestDevice& device_;
};

}  // namespace qv::test
