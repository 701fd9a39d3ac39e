#pragma once
// The test media made by make-media.sh, and the raw BGR24 references that ffmpeg decoded from
// them (frames top-down, rows without padding).

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <vector>

#include "image/Picture.h"
#include "support/TestSupport.h"

namespace qv::test {

inline std::string Media(const std::string& name) {
  return std::string(QUORVEX_TEST_MEDIA) + "/" + name;
}

// The frames of a raw BGR24 file (top-down, rows without padding) as pictures.
inline std::vector<PictureRef> ReadRawFrames(const std::string& path, int32_t width, int32_t height) {
  const std::string bytes = ReadFile(path);
  const size_t frameBytes = static_cast<size_t>(width) * height * 3;
  std::vector<PictureRef> frames;
  for (size_t at = 0; at + frameBytes <= bytes.size(); at += frameBytes) {
    frames.push_back(MakePicture(width, height, [&](int x, int y) {
      const char* p = &bytes[at + (static_cast<size_t>(y) * width + x) * 3];
      return Bgr{uint8_t(p[0]), uint8_t(p[1]), uint8_t(p[2])};
    }));
  }
  return frames;
}

// The frames of a raw reference file as pictures.
inline std::vector<PictureRef> ReadReference(const std::string& name, int32_t width, int32_t height) {
  return ReadRawFrames(Media(name), width, height);
}

// Mean absolute difference per channel byte of two pictures of the same size.
inline double MeanDifference(const Picture& a, const Picture& b) {
  int64_t sum = 0;
  for (int y = 0; y < a.Height(); ++y) {
    const uint8_t* pa = a.Grid().MemoryRow(y);
    const uint8_t* pb = b.Grid().MemoryRow(y);
    for (int k = 0; k < 3 * a.Width(); ++k) sum += std::abs(pa[k] - pb[k]);
  }
  return static_cast<double>(sum) / (3.0 * a.Width() * a.Height());
}

// The reference frame a decoded lossy frame resembles most.
inline int NearestFrame(const Picture& picture, const std::vector<PictureRef>& references) {
  std::vector<double> differences;
  for (const PictureRef& reference : references)
    differences.push_back(MeanDifference(picture, *reference));
  return static_cast<int>(std::min_element(differences.begin(), differences.end()) -
                          differences.begin());
}

}  // namespace qv::test
