// The other eye's view from a picture and its depth, and the alignment of depth to picture edges,
// on pictures small enough to follow pixel by pixel.
#include <gtest/gtest.h>

#include "imageproc/ImageProcessor.h"
#include "support/TestSupport.h"

namespace qv::test {
namespace {


class DepthViews : public With<ImageProcessor> {
 protected:
  // Renders the view of `source` with depth levels depth(x) in every row.
  PictureRef Render(const PictureRef& source, const std::function<int(int x)>& depth,
                    double shiftPerLevel, int32_t xInterp) {
    const int W = source->Width(), H = source->Height();
    p.CopyToSpecifiedArray(*MakePicture(W, H, [&](int x, int) { return Grey(uint8_t(depth(x))); }),
                                 p.Arrays().DepthPixels);
    p.CopyToArray(*source);
    auto view = SolidPicture(W, H, {});
    p.Make3D(*view, shiftPerLevel, 0.0, 0, xInterp);
    return view;
  }
  // Grey columns of odd levels 11, 21, 31, ... (a red value that lands is made odd).
  static PictureRef Stripes(int W, int H) {
    return MakePicture(W, H, [](int x, int) { return Grey(uint8_t(10 * x + 11)); });
  }
};

TEST_F(DepthViews, NearestDepthMapsEveryPixelOntoItselfAndFarthestMovesTenPixels) {
  // Depth 255: pixel 0 is dropped and the last two columns receive nothing; whatever xInterp,
  // they stay black (every hole sample weighs distance 0). Red comes back odd.
  const auto source = PatternPicture(16, 4);
  for (int32_t xInterp : {0, 1, -1}) {
    EXPECT_TRUE(SamePicture(*Render(source, [](int) { return 255; }, 0.1176f, xInterp),
                            *MakePicture(16, 4, [&](int x, int y) {
                              if (x == 0 || x >= 14) return Bgr{};
                              Bgr p = PixelAt(*source, x, y);
                              p.r |= 1;
                              return p;
                            })))
        << "xInterp " << xInterp;
  }
  // Depth 0 with 0.1176 a level: round(255 x 0.1176) = 30 byte columns, ten pixels right.
  EXPECT_TRUE(SamePicture(*Render(source, [](int) { return 0; }, 0.1176f, 0),
                          *MakePicture(16, 4, [&](int x, int y) {
                            if (x < 10 || x >= 14) return Bgr{};
                            Bgr p = PixelAt(*source, x - 10, y);
                            p.r |= 1;
                            return p;
                          })));
}

TEST_F(DepthViews, NearPixelsCoverFarOnesAndHolesFillFromTheBackground) {
  // Pixels 0 ... 4 are far and move one pixel right; pixel 4 lands on pixel 5, which the near
  // pixel 5 covers. Pixel 0 is a hole; its reach is 1, so it samples pixels 1 ... 3 of the middle
  // row (the only one inside the sampling rectangle) with weights 1 / sqrt(a^2 + b^2 + 0.1):
  // (11 / sqrt(1.1) + 21 / sqrt(4.1) + 31 / sqrt(9.1)) / (sum of the weights) = 17.50 -> 18 in the
  // middle row, 18.41 -> 18 in the others. Pixels 8 and 9 find no sample and stay black.
  const auto source = Stripes(10, 3);
  auto far = [](int x) { return x <= 4 ? 0 : 255; };
  const std::vector<int> filled = {18, 11, 21, 31, 41, 61, 71, 81, 0, 0};
  auto row = [&](int first) {
    return MakePicture(10, 3, [&, first](int x, int y) { return Grey(uint8_t(x == 0 && y == 2 ? first : filled[x])); });
  };
  EXPECT_TRUE(SamePicture(*Render(source, far, 0.0117647, -1), *row(18)));
  EXPECT_TRUE(SamePicture(*Render(source, far, 0.0117647, 0), *MakePicture(10, 3, [&](int x, int) {
    return Grey(uint8_t(x == 0 ? 0 : filled[x]));
  })));
  // With xInterp above 0 the step in background distance between pixels 0 and 1 is softened in
  // the bottom row: 18 x 0.25 + 11 x 0.5 + 21 x 0.25 = 15.25 -> 15.
  EXPECT_TRUE(SamePicture(*Render(source, far, 0.0117647, 1), *row(15)));
}

TEST_F(DepthViews, EdgeFilterRunsOnDistanceStepsAboveTen) {
  // No shift: every pixel stays. The distance steps from 0 to 11 (or 10) between pixels 1 and 2;
  // only the larger step softens pixel 1 of the bottom row: 51 x 0.25 + 91 x 0.5 + 131 x 0.25 = 91.
  const auto source = MakePicture(8, 3, [](int x, int) { return Grey(uint8_t(40 * x + 11)); });
  for (int step : {10, 11}) {
    const auto view = Render(source, [&](int x) { return x <= 1 ? 255 : 255 - step; }, 0.0, 1);
    EXPECT_EQ(PixelAt(*view, 1, 2), Grey(step == 11 ? 91 : 51)) << "step " << step;
    EXPECT_EQ(PixelAt(*view, 1, 1), Grey(51));
  }
  // Arrays of another picture's size are refused.
  auto larger = SolidPicture(9, 3, {});
  EXPECT_EQ(ErrorOf([&] { p.Make3D(*larger, 0.1, 0.0, 0, 1); }).Number(),
            err::kSubscriptOutOfRange);
}

TEST_F(DepthViews, DepthStepsMoveToTheStrongestNearbyColourEdge) {
  // One row is aligned (row 2 of 5). The depth steps from `left` to `right` at pixel 15; the
  // picture's colour changes between pixels edge - 1 and edge.
  struct Case {
    int left, right, edge;
    std::vector<int> expectedLeftUpTo;  // pixels up to this one carry the left level afterwards
  } cases[] = {
      {100, 120, 12, {14}},  // a step of 20 is not a step
      {100, 121, 12, {11}},  // k = -3: pixels 12 ... 15 take the right level
      {100, 150, 20, {18}},  // k = 5, left lower: k* = 3, pixels 15 ... 18; the walk resumes at 22
      {150, 100, 20, {20}},  // left higher: k* = 5, pixels 15 ... 20; the walk resumes at 24
  };
  for (const Case& c : cases) {
    auto depth = MakePicture(30, 5, [&](int x, int) { return Grey(uint8_t(x < 15 ? c.left : c.right)); });
    PixelArray picture;
    p.CopyToSpecifiedArray(*MakePicture(30, 5, [&](int x, int) { return Grey(x < c.edge ? 0 : 90); }),
                                 picture);
    p.MatchDepthMap(*depth, picture);
    EXPECT_TRUE(SamePicture(*depth, *MakePicture(30, 5, [&](int x, int y) {
      if (y != 2) return Grey(uint8_t(x < 15 ? c.left : c.right));
      return Grey(uint8_t(x <= c.expectedLeftUpTo[0] ? c.left : c.right));
    }))) << c.left << " -> " << c.right << ", edge " << c.edge;
  }
}

TEST_F(DepthViews, AreasSplitEachBlockRowAtItsStrongestColourChange) {
  // One 8 x 8 block (17 x 9 picture). Rows of the picture change colour after column 1; the top
  // row of the block does not change at all and splits at column 7 (the last of equal zeros).
  const int W = 17, H = 9;
  p.CopyToArray(*MakePicture(W, H, [](int x, int y) {
    return y == 1 ? Grey(7) : Grey(x <= 1 ? 0 : 200);  // device row 1 is the block's top row
  }));
  const std::vector<int> levels = {10, 13, 40, 50, 60, 70, 80, 91};
  auto depth = MakePicture(W, H, [&](int x, int) { return Bgr{uint8_t(x < 8 ? levels[x] : 5), 1, 2}; });
  p.MatchAreas(*depth);
  EXPECT_TRUE(SamePicture(*depth, *MakePicture(W, H, [&](int x, int y) {
    if (x >= 8 || y == 0) return Bgr{uint8_t(x < 8 ? levels[x] : 5), 1, 2};
    // 11.5 -> 12; 391 / 6 = 65.2 -> 65; the whole row: 414 / 8 = 51.75 -> 52.
    if (y == 1) return Bgr{52, 1, 2};
    return Bgr{uint8_t(x <= 1 ? 12 : 65), 1, 2};
  })));
}

}  // namespace
}  // namespace qv::test
