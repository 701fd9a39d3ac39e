#include "playback/LineCodes.h"

#include <cstdint>
#include <utility>
#include <vector>

namespace qv {

namespace {

struct Rgb {
  uint8_t r, g, b;
};
constexpr Rgb kRed{255, 0, 0};
constexpr Rgb kGreen{0, 255, 0};
constexpr Rgb kYellow{255, 255, 0};
constexpr Rgb kBlack{0, 0, 0};

using Rows = std::vector<std::pair<Rgb, int>>;  // colour and how many rows of it, from the top

struct Code {
  int32_t width;
  Rows rows;
};

Code Describe(LineCode code) {
  switch (code) {
    case LineCode::EDSync:
      return {20, {{kRed, 2}, {kGreen, 2}, {kYellow, 6}}};
    case LineCode::EDInterlace:
      return {9, {{kRed, 2}, {kGreen, 2}, {kYellow, 4}, {kRed, 2}}};
    case LineCode::EDOff:
    case LineCode::EDInterlaceDeactivate:
      return {10, {{kRed, 2}, {kGreen, 2}, {kYellow, 4}, {kBlack, 2}}};
    case LineCode::EDPageStart:
      return {9, {{kRed, 2}, {kGreen, 2}, {kYellow, 4}, {kGreen, 2}}};
    case LineCode::EyeSync:
      return {9,
              {{kRed, 1},
               {kGreen, 1},
               {kRed, 1},
               {kGreen, 1},
               {kRed, 1},
               {kGreen, 1},
               {kRed, 1},
               {kGreen, 3},
               {kYellow, 1},
               {kGreen, 1},
               {kYellow, 1},
               {kGreen, 3},
               {kBlack, 24}}};
    case LineCode::EyeOff:
      return {7,
              {{kRed, 1},
               {kGreen, 1},
               {kRed, 1},
               {kGreen, 1},
               {kRed, 1},
               {kGreen, 1},
               {kRed, 1},
               {kGreen, 3},
               {kYellow, 1},
               {kGreen, 1},
               {kYellow, 1},
               {kGreen, 1},
               {kBlack, 1},
               {kGreen, 1},
               {kBlack, 24}}};
  }
  return {1, {{kBlack, 1}}};
}

}  // namespace

PictureRef CreateLineCode(LineCode code) {
  const Code description = Describe(code);
  int32_t height = 0;
  for (const auto& [colour, count] : description.rows) height += count;

  auto picture = std::make_shared<Picture>();
  picture->Create(description.width, height);
  uint8_t* bits = picture->Bits();
  const int32_t stride = picture->BytesPerScanLine();
  int32_t rowFromTop = 0;
  for (const auto& [colour, count] : description.rows) {
    for (int i = 0; i < count; ++i, ++rowFromTop) {
      uint8_t* row = bits + static_cast<size_t>(height - 1 - rowFromTop) * stride;  // bottom-up
      for (int32_t x = 0; x < description.width; ++x) {
        row[3 * x] = colour.b;
        row[3 * x + 1] = colour.g;
        row[3 * x + 2] = colour.r;
      }
    }
  }
  return picture;
}

}  // namespace qv
