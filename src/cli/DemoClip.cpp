#include "cli/DemoClip.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <vector>

#include "output/VideoFileWriter.h"

namespace qv {

namespace {

constexpr double kPi = 3.14159265358979323846;
constexpr double kEyeSeparation = 0.12;  // world units between the two cameras
constexpr double kWallDepth = 14.0;

struct Vec3 {
  double x, y, z;
};

struct Sphere {
  Vec3 centre;
  double radius;
  std::array<double, 3> colour;  // blue, green, red in 0 ... 1
};

// The spheres at time t: they orbit a point in front of the wall at different depths and speeds.
std::vector<Sphere> SceneAt(double t) {
  std::vector<Sphere> spheres;
  const std::array<std::array<double, 3>, 5> colours = {{{0.2, 0.3, 0.95},
                                                         {0.25, 0.85, 0.3},
                                                         {0.95, 0.45, 0.2},
                                                         {0.2, 0.85, 0.95},
                                                         {0.9, 0.3, 0.8}}};
  for (int i = 0; i < 5; ++i) {
    const double phase = t * (0.6 + 0.15 * i) + i * 2 * kPi / 5;
    const Vec3 centre{1.6 * std::cos(phase), 0.5 * std::sin(phase * 1.7 + i),
                      5.0 + 2.2 * std::sin(phase)};
    spheres.push_back({centre, 0.35 + 0.08 * i, colours[static_cast<size_t>(i)]});
  }
  std::sort(spheres.begin(), spheres.end(),
            [](const Sphere& a, const Sphere& b) { return a.centre.z > b.centre.z; });
  return spheres;
}

// Renders one eye into the w x h region of `frame` starting at column x0 (device coordinates).
void RenderEye(Picture& frame, int x0, int w, int h, double eyeX, double t) {
  const PixelGrid grid = frame.Grid();
  const double focal = 0.9 * w;
  const double cx = w / 2.0, cy = h / 2.0;
  // The wall: a checker of warm and cool tiles drifting slowly sideways.
  for (int y = 0; y < h; ++y) {
    uint8_t* row = grid.DeviceRow(y) + 3 * x0;
    const double wy = (cy - y) * kWallDepth / focal;
    for (int x = 0; x < w; ++x) {
      const double wx = (x - cx) * kWallDepth / focal + eyeX + 0.3 * t;
      const bool tile = (static_cast<int>(std::floor(wx)) + static_cast<int>(std::floor(wy))) & 1;
      const double shade = 0.55 + 0.25 * std::sin(wx * 0.7) * std::cos(wy * 0.9);
      row[3 * x] = static_cast<uint8_t>(255 * shade * (tile ? 0.45 : 0.75));
      row[3 * x + 1] = static_cast<uint8_t>(255 * shade * (tile ? 0.55 : 0.6));
      row[3 * x + 2] = static_cast<uint8_t>(255 * shade * (tile ? 0.75 : 0.4));
    }
  }
  const Vec3 light{-0.5, 0.6, -0.62};
  for (const Sphere& s : SceneAt(t)) {
    const double z = s.centre.z;
    const double sx = cx + focal * (s.centre.x - eyeX) / z;
    const double sy = cy - focal * s.centre.y / z;
    const double r = focal * s.radius / z;
    const int left = std::max(0, static_cast<int>(sx - r - 1));
    const int right = std::min(w - 1, static_cast<int>(sx + r + 1));
    const int top = std::max(0, static_cast<int>(sy - r - 1));
    const int bottom = std::min(h - 1, static_cast<int>(sy + r + 1));
    for (int y = top; y <= bottom; ++y) {
      uint8_t* row = grid.DeviceRow(y) + 3 * x0;
      for (int x = left; x <= right; ++x) {
        const double dx = (x + 0.5 - sx) / r, dy = (y + 0.5 - sy) / r;
        const double d2 = dx * dx + dy * dy;
        if (d2 > 1.0) continue;
        const double nz = -std::sqrt(1.0 - d2);
        const double lambert = std::max(0.0, dx * light.x - dy * light.y + nz * light.z);
        const double highlight = std::pow(std::max(0.0, lambert), 24.0);
        for (int c = 0; c < 3; ++c) {
          const double v = s.colour[static_cast<size_t>(c)] * (0.18 + 0.82 * lambert) + 0.5 * highlight;
          row[3 * x + c] = static_cast<uint8_t>(255 * std::clamp(v, 0.0, 1.0));
        }
      }
    }
  }
}

// The sound track: a pentatonic melody over a soft chord, panned with the nearest sphere.
void RenderSound(std::vector<float>& samples, int sampleRate, double seconds) {
  static constexpr double kScale[] = {261.63, 293.66, 329.63, 392.00, 440.00, 523.25};
  static constexpr int kMelody[] = {0, 2, 4, 3, 5, 4, 2, 1, 0, 3, 4, 5, 3, 2, 1, 0};
  const auto count = static_cast<size_t>(seconds * sampleRate);
  samples.assign(2 * count, 0.0f);
  const double noteLength = 0.25;
  for (size_t i = 0; i < count; ++i) {
    const double t = static_cast<double>(i) / sampleRate;
    const auto note = static_cast<size_t>(t / noteLength);
    const double inNote = t - note * noteLength;
    const double frequency = kScale[kMelody[note % 16]];
    const double envelope = std::min(1.0, inNote / 0.01) * std::exp(-inNote * 9.0);
    const double lead = 0.35 * envelope * std::sin(2 * kPi * frequency * t);
    const double pad = 0.08 * (std::sin(2 * kPi * 130.81 * t) + std::sin(2 * kPi * 196.0 * t));
    const double pan = 0.5 + 0.4 * std::sin(t * 0.6);
    const double fade = std::min({1.0, t / 0.3, (seconds - t) / 0.5});
    samples[2 * i] = static_cast<float>(fade * (lead * (1 - pan) + pad));
    samples[2 * i + 1] = static_cast<float>(fade * (lead * pan + pad));
  }
}

}  // namespace

bool WriteDemoClip(const std::string& path, const DemoClipOptions& options, std::string& error) {
  constexpr int kSampleRate = 48000;
  VideoFileOptions file;
  file.path = path;
  file.width = 2 * options.eyeWidth;
  file.height = options.eyeHeight;
  file.frameRateNum = options.frameRate;
  file.audioSampleRate = kSampleRate;
  file.audioChannels = 2;
  auto writer = VideoFileWriter::Open(file, error);
  if (!writer) return false;

  std::vector<float> sound;
  RenderSound(sound, kSampleRate, options.seconds);
  const auto frames = static_cast<int>(options.seconds * options.frameRate);
  Picture frame;
  if (!frame.Create(file.width, file.height)) {
    error = "out of memory";
    return false;
  }
  size_t soundWritten = 0;
  for (int n = 0; n < frames; ++n) {
    const double t = static_cast<double>(n) / options.frameRate;
    RenderEye(frame, 0, options.eyeWidth, options.eyeHeight, -kEyeSeparation / 2, t);
    RenderEye(frame, options.eyeWidth, options.eyeWidth, options.eyeHeight, kEyeSeparation / 2, t);
    if (!writer->WriteFrame(frame)) {
      error = writer->LastError();
      return false;
    }
    // Keep the sound a frame's worth ahead of the pictures so the file interleaves evenly.
    const auto soundEnd = std::min(sound.size() / 2, static_cast<size_t>((n + 2) * kSampleRate / options.frameRate));
    if (soundEnd > soundWritten) {
      if (!writer->WriteAudio(sound.data() + 2 * soundWritten, static_cast<int32_t>(soundEnd - soundWritten))) {
        error = writer->LastError();
        return false;
      }
      soundWritten = soundEnd;
    }
  }
  if (soundWritten < sound.size() / 2 &&
      !writer->WriteAudio(sound.data() + 2 * soundWritten, static_cast<int32_t>(sound.size() / 2 - soundWritten))) {
    error = writer->LastError();
    return false;
  }
  return writer->Close(error);
}

}  // namespace qv
