#include "playback/AudioOutput.h"

#include <SDL.h>

#include <chrono>
#include <thread>

#include "base/Error.h"

namespace qv {

namespace {

class SteadyClock final : public SoundClock {
 public:
  double Now() override {
    return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch())
        .count();
  }
  void Nap() override { std::this_thread::sleep_for(std::chrono::milliseconds(1)); }
};

// Raised when SDL refuses the device; the text is SDL's own.
AppError SdlError(const char* what) {
  return AppError(err::kInvalidArgument, "SDL", std::string(what) + ": " + SDL_GetError());
}

// The power of two nearest above 20 ms of sound: short enough to keep the latency small, long
// enough that a busy machine does not starve the device.
Uint16 BufferFramesFor(int rate) {
  int frames = 256;
  while (frames < rate / 50 && frames < 8192) frames *= 2;
  return static_cast<Uint16>(frames);
}

class SdlAudioOutput final : public AudioOutput {
 public:
  explicit SdlAudioOutput(SoundClock& clock) : clock_(clock) {}
  ~SdlAudioOutput() override { Close(); }

  DeviceFormat Open(const DeviceFormat& wanted, PullSamples pull) override {
    Close();
    SDL_SetHint(SDL_HINT_NO_SIGNAL_HANDLERS, "1");          // the program handles its own signals
    SDL_SetHint(SDL_HINT_AUDIO_DEVICE_APP_NAME, kAppName);  // the name sound mixers show
    if (SDL_InitSubSystem(SDL_INIT_AUDIO) != 0) throw SdlError("Unable to start the sound system");
    pull_ = std::move(pull);
    SDL_AudioSpec want{};
    want.freq = wanted.rate;
    want.format = AUDIO_F32SYS;  // SDL converts to the hardware's sample type itself
    want.channels = static_cast<Uint8>(wanted.channels);
    want.samples = BufferFramesFor(wanted.rate);
    want.callback = &SdlAudioOutput::Callback;
    want.userdata = this;
    SDL_AudioSpec have{};
    device_ =
        SDL_OpenAudioDevice(nullptr, 0, &want, &have,
                            SDL_AUDIO_ALLOW_FREQUENCY_CHANGE | SDL_AUDIO_ALLOW_CHANNELS_CHANGE |
                                SDL_AUDIO_ALLOW_SAMPLES_CHANGE);
    if (device_ == 0) {
      AppError e = SdlError("Unable to open the sound device");
      SDL_QuitSubSystem(SDL_INIT_AUDIO);
      throw e;
    }
    latency_ = static_cast<double>(have.samples) / have.freq;
    return DeviceFormat{have.freq, have.channels, have.samples};
  }

  void Resume() override {
    if (device_ != 0) SDL_PauseAudioDevice(device_, 0);
  }

  void Pause() override {
    if (device_ != 0) SDL_PauseAudioDevice(device_, 1);  // takes the device lock the callback holds
  }

  void Close() override {
    if (device_ == 0) return;
    SDL_CloseAudioDevice(device_);  // waits for a running callback and ends the device's thread
    device_ = 0;
    SDL_QuitSubSystem(SDL_INIT_AUDIO);
  }

 private:
  // SDL's audio thread.
  static void SDLCALL Callback(void* self, Uint8* stream, int len) {
    auto* output = static_cast<SdlAudioOutput*>(self);
    output->pull_(stream, len, output->clock_.Now() + output->latency_);
  }

  SoundClock& clock_;
  PullSamples pull_;
  SDL_AudioDeviceID device_ = 0;
  double latency_ = 0.0;  // seconds from a pull until its first sample is heard
};

}  // namespace

SoundClock& SteadySoundClock() {
  // Never destroyed: a device still playing while the program ends may ask it for the time.
  static SteadyClock* clock = new SteadyClock;
  return *clock;
}

std::unique_ptr<AudioOutput> MakeSdlAudioOutput(SoundClock& clock) {
  return std::make_unique<SdlAudioOutput>(clock);
}

}  // namespace qv
