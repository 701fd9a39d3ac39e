#pragma once
// The audio output and the clock of the sound track. Sound is pulled: the output's own thread asks
// the engine for samples (PullSamples) and says when the first of them will reach the listener;
// the engine keeps that record and the frame loop asks it for the position heard now.
//
// Both are seams: the player uses an SDL device and the steady clock, tests install an output
// whose pulls they make themselves and a clock they move by hand.

#include <functional>
#include <memory>

namespace qv {

// Time as the sound track sees it.
class SoundClock {
 public:
  virtual ~SoundClock() = default;
  // Seconds on a monotonic clock. Called from the frame loop and from the output's thread.
  virtual double Now() = 0;
  // Rests briefly between two polls of a wait (frame-loop thread only).
  virtual void Nap() = 0;
};

// The steady clock; Nap sleeps for a millisecond.
SoundClock& SteadySoundClock();

// Samples are 32-bit floats, channels interleaved, in the machine's byte order.
struct DeviceFormat {
  int rate = 0;  // sample frames per second
  int channels = 0;
  int bufferFrames = 0;  // sample frames the device asks for at each pull
};

// Called on the output's thread: fill `bytes` bytes of `out` (whole sample frames) with samples
// in the device format. `heardAt` is the SoundClock time at which the first of them will be heard.
using PullSamples = std::function<void(unsigned char* out, int bytes, double heardAt)>;

class AudioOutput {
 public:
  virtual ~AudioOutput() = default;
  // Opens the device, paused, asking for `wanted`; returns the format it will pull in, which may
  // differ in rate, channels and buffer size. Raises AppError when no device can be opened.
  // `pull` is called from the output's thread between Resume() and Close().
  virtual DeviceFormat Open(const DeviceFormat& wanted, PullSamples pull) = 0;
  // Starts the pulls.
  virtual void Resume() = 0;
  // Stops the pulls, keeping the device; when it returns, `pull` is not running.
  virtual void Pause() = 0;
  // Stops the pulls and releases the device; when it returns, `pull` is no longer running and
  // will not be called again. Safe to call twice.
  virtual void Close() = 0;
};

// An SDL2 audio device on the given clock. Its latency is one device buffer: the samples of a pull
// are heard after the buffer the device is playing now, as SDL asks for the next buffer while it
// plays the current one.
std::unique_ptr<AudioOutput> MakeSdlAudioOutput(SoundClock& clock);

}  // namespace qv
