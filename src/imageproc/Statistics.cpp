// The measuring members of ImageProcessor: mean brightness figures, the blue-weighted centre,
// the vertical-gradient map and the search for the picture inside a uniform border. Correlate,
// which takes caller arrays of any element type, lives with the other templates.

#include <cstdlib>
#include <optional>
#include <string>

#include "base/Numbers.h"
#include "base/Seams.h"
#include "imageproc/ImageProcessor.h"

namespace qv {

namespace {

// Pictures of one row or column divide by zero here and give results that are not numbers; the
// divisor is (W - 1)(H - 1), not W x H, which makes every figure W H / ((W - 1)(H - 1)) too large.
double BrightnessDivisor(int32_t W, int32_t H) {
  return 3.0 * (static_cast<double>(W) - 1.0) * (static_cast<double>(H) - 1.0);
}

}  // namespace

void ImageProcessor::AssessBright(const Picture& picture, double& amount) {
  const uint32_t start = StartTick();
  const int32_t W = picture.Width();
  const int32_t H = picture.Height();
  const PixelGrid grid = picture.ReadGrid();
  amount = 0.0;
  RaiseInitProgress(W - 1);
  int64_t sum = 0;
  for (int32_t i = 0; i <= 3 * (W - 1); i += 3) {
    for (int32_t y = 0; y < H; ++y) {
      const uint8_t* p = grid.MemoryRow(y) + i;
      sum += p[0] + p[1] + p[2];
    }
    RaiseProgress(i);
  }
  amount = static_cast<double>(sum) / BrightnessDivisor(W, H);
  RaiseComplete(start);
}

void ImageProcessor::AssessRGB(const Picture& picture, double& redAmount, double& greenAmount,
                               double& blueAmount) {
  const uint32_t start = StartTick();
  const int32_t W = picture.Width();
  const int32_t H = picture.Height();
  const PixelGrid grid = picture.ReadGrid();
  redAmount = greenAmount = blueAmount = 0.0;
  RaiseInitProgress(W - 1);
  int64_t red = 0, green = 0, blue = 0;
  for (int32_t i = 0; i <= 3 * (W - 1); i += 3) {
    for (int32_t y = 0; y < H; ++y) {
      const uint8_t* p = grid.MemoryRow(y) + i;
      blue += p[0];
      green += p[1];
      red += p[2];
    }
    RaiseProgress(i);
  }
  const double divisor = BrightnessDivisor(W, H);
  redAmount = static_cast<double>(red) / divisor;
  greenAmount = static_cast<double>(green) / divisor;
  blueAmount = static_cast<double>(blue) / divisor;
  RaiseComplete(start);
}

void ImageProcessor::CentreGravity(Picture& picture, int32_t /*xPos*/, int32_t /*yPos*/) {
  const uint32_t start = StartTick();
  const int32_t W = picture.Width();
  const int32_t H = picture.Height();
  const PixelGrid grid = picture.Grid();
  RaiseInitProgress(W - 1);
  double total = 0.0;
  int32_t sx = 0;  // signed 32-bit sums: a large bright picture overflows them (overflow error)
  int32_t sy = 0;
  for (int32_t x = 0; x < W; ++x) {
    for (int32_t y = 0; y < H; ++y) {
      const int32_t b = grid.MemoryRow(y)[3 * x];
      total += b;
      sx = CheckedAdd(sx, int64_t{x} * b);
      sy = CheckedAdd(sy, int64_t{y} * b);
    }
    RaiseProgress(3 * x);
  }
  const int32_t cx = ToInt32Checked(sx / (total + 1.0));
  const int32_t cy = ToInt32Checked(sy / (total + 1.0));
  if (cy >= 2 && cy < H - 3) {
    for (int32_t y = cy - 1; y <= cy + 1; ++y) grid.MemoryRow(y)[3 * cx + 2] = 255;
  }
  RaiseComplete(start);
}

void ImageProcessor::VertGrad(Picture& picture) {
  const uint32_t start = StartTick();
  const int32_t W = picture.Width();
  const int32_t H = picture.Height();
  arrays_->SharedPixels.ReDim(3 * static_cast<int64_t>(W) + 1, H);
  RaiseInitProgress(W - 1);
  const PixelGrid grid = picture.Grid();
  constexpr int kAlike = 25;
  for (int32_t i = 0; i <= 3 * (W - 1); i += 3) {
    // Upwards, in place: row y - 1 already holds its 0 or 255 when row y is judged.
    for (int32_t y = 0; y < H; ++y) {
      uint8_t* p = grid.MemoryRow(y) + i;
      uint8_t value = 0;
      if (y != 0 && y < H - 2) {
        bool alike = false;
        for (int32_t c = 0; c < 3; ++c) {
          const int a = grid.MemoryRow(y - 1)[i + c];
          const int m = p[c];
          const int b = grid.MemoryRow(y + 1)[i + c];
          const int d = grid.MemoryRow(y + 2)[i + c];
          if (std::abs(b - a) <= kAlike || std::abs(b - m) <= kAlike || std::abs(d - a) <= kAlike ||
              std::abs(d - m) <= kAlike) {
            alike = true;
          }
        }
        value = alike ? 0 : 255;
      }
      p[0] = p[1] = p[2] = value;
    }
    RaiseProgress(i);
  }
  RaiseComplete(start);
}

namespace {

// Follows one edge of the picture: "first" is where content starts, "last" where the border
// comes back (or the end of the scan when it does not).
struct EdgeScan {
  int state = 0;  // 0 nothing seen yet, 1 inside content, 2 back on the border
  int32_t first = 0;
  int32_t last = 0;

  void Step(int32_t position, bool border) {
    if (!border) {
      if (state == 0) {
        first = position;
        state = 1;
      } else if (state == 2) {
        state = 1;
      }
    } else if (state == 1) {
      last = position;
      state = 2;
    }
  }
  void Finish(int32_t finalPosition) {
    if (state == 1) last = finalPosition;
  }
};

int32_t AreaOf(int32_t a, int32_t b, int32_t c, int32_t d) {
  return ToInt32Checked(static_cast<double>(std::abs(int64_t{a} - b)) *
              static_cast<double>(std::abs(int64_t{c} - d)));
}

}  // namespace

void ImageProcessor::FindCropRegion(const Picture& picture, int32_t& cropLeft, int32_t& cropRight,
                                    int32_t& cropTop, int32_t& cropBottom, int32_t stepX, int32_t stepY) {
  const uint32_t start = StartTick();
  const int32_t W = picture.Width();
  const int32_t H = picture.Height();
  const PixelGrid grid = picture.ReadGrid();
  RaiseInitProgress(W - 1);

  // A byte of the picture; positions outside it are the caller's error.
  auto byteAt = [&](int64_t column, int64_t row) -> int32_t {
    if (grid.Empty() || column < 0 || row < 0 || column >= 3 * int64_t{W} || row >= H) {
      throw err::SubscriptOutOfRange();
    }
    return grid.MemoryRow(static_cast<int32_t>(row))[column];
  };

  // The sample point is given in twips from the top-left corner of the picture as shown at one
  // screen pixel per picture pixel.
  const double sx = 3.0 * (stepX / Screen().TwipsPerPixelX());
  const double sy = (H - 1) - stepY / Screen().TwipsPerPixelY();
  const int64_t row = ToInt32Checked(sy);
  const int32_t refB = byteAt(ToInt32Checked(sx), row);
  const int32_t refG = byteAt(ToInt32Checked(sx + 1.0), row);
  const int32_t refR = byteAt(ToInt32Checked(sx + 2.0), row);

  const std::optional<std::string> answer = Messages().InputBox(
      "Please enter tolerance (0-255). A higher tolerance will remove more of the border but if it "
      "is set too high may remove too much of the picture.",
      kAppName, "50");
  const int32_t tol = ToInt32Checked(Floor(LeadingNumber(answer.value_or(""))));

  auto isBorder = [&](int32_t x, int32_t y) {
    const int32_t b = byteAt(3 * int64_t{x}, y);
    const int32_t g = byteAt(3 * int64_t{x} + 1, y);
    const int32_t r = byteAt(3 * int64_t{x} + 2, y);
    return refB - tol < b && b < refB + tol && refG - tol < g && g < refG + tol && refR - tol < r &&
           r < refR + tol;
  };

  EdgeScan leftEdge, rightEdge, bottomEdge, topEdge;
  for (int32_t y = 0; y < H; ++y) {
    leftEdge.Step(y, isBorder(1, y));
    rightEdge.Step(y, isBorder(W - 2, y));
  }
  leftEdge.Finish(H - 1);
  rightEdge.Finish(H - 1);
  for (int32_t x = 0; x < W; ++x) {
    bottomEdge.Step(x, isBorder(x, 1));
    topEdge.Step(x, isBorder(x, H - 2));
  }
  bottomEdge.Finish(W - 1);
  topEdge.Finish(W - 1);

  const int32_t a1 = AreaOf(topEdge.first, topEdge.last, leftEdge.last, leftEdge.first);
  const int32_t a2 = AreaOf(bottomEdge.first, bottomEdge.last, rightEdge.last, rightEdge.first);
  const int32_t a3 = AreaOf(topEdge.last, bottomEdge.first, rightEdge.first, leftEdge.last);
  const int32_t a4 = AreaOf(topEdge.first, bottomEdge.last, leftEdge.first, rightEdge.last);
  if (a1 > a2 && a1 > a3 && a1 > a4) {
    cropLeft = topEdge.first;
    cropRight = topEdge.last;
    cropTop = (H - 1) - leftEdge.last;
    cropBottom = (H - 1) - leftEdge.first;
  }
  if (a2 > a1 && a2 > a3 && a2 > a4) {
    cropLeft = bottomEdge.first;
    cropRight = bottomEdge.last;
    cropTop = (H - 1) - rightEdge.last;
    cropBottom = (H - 1) - rightEdge.first;
  }
  if (a3 > a1 && a3 > a2 && a3 > a4) {
    cropLeft = bottomEdge.first;
    cropRight = topEdge.last;
    cropTop = (H - 1) - leftEdge.last;
    cropBottom = (H - 1) - rightEdge.first;
  }
  if (a4 > a1 && a4 > a2 && a4 > a3) {
    cropLeft = topEdge.first;
    cropRight = bottomEdge.last;
    cropTop = (H - 1) - rightEdge.last;
    cropBottom = (H - 1) - leftEdge.first;
  }
  RaiseComplete(start);
}

}  // namespace qv
