#pragma once
// A simulated sound device on a clock of the test's own: every round of message processing lets
// `step` seconds pass, and the device takes the samples of that time, to be heard kLatency
// seconds later (a latency that keeps the positions off the frames' rounding boundaries).

#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <optional>
#include <vector>

#include "base/Seams.h"
#include "playback/AudioOutput.h"
#include "playback/SessionState.h"

namespace qv::test {

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
      gSession.StopRequested = true;
    }
  }
  static constexpr double kLatency = 0.0125;
  double step = 0.01;
  int rounds = 0;
  bool deviceRuns = true;
  std::function<void(int)> onRound;

 private:
  FakeClock& clock_;
  TestDevice& device_;
};

}  // namespace qv::test
