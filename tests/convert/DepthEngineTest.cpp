// The fast depth engine against the image processor's routines that do the same jobs, on the same
// frames: the full tracker, the clean-up and the alignment byte for byte, the renderer within
// 40 dB, the block metrics against their plain versions, and the fast tracker's motion.
#include <gtest/gtest.h>

#include <cmath>
#include <random>

#include "convert/DepthEngine.h"
#include "imageproc/ImageProcessor.h"
#include "support/TestSupport.h"

namespace qv::test {
namespace {


// A scene of random blobs of colour (so that blocks match in one place only), seen moved `shift`
// pixels left; with `flat` its left half is one grey, where every position matches as well.
PictureRef Scene(int32_t width, int32_t height, int shift = 0, int seed = 3, bool flat = false) {
  const int cells = 4;
  std::vector<Bgr> colours(static_cast<size_t>((width / cells + 40) * (height / cells + 2)));
  std::mt19937 random(static_cast<unsigned>(seed));
  for (auto& c : colours) c = Bgr{uint8_t(random()), uint8_t(random()), uint8_t(random())};
  return MakePicture(width, height, [&, shift](int x, int y) {
    const int u = x + shift + 40;
    if (flat && x < width / 2) return Grey(uint8_t(100 + seed));
    const Bgr c = colours[static_cast<size_t>((y / cells) * (width / cells + 40) + u / cells)];
    const auto wobble = static_cast<uint8_t>((u * 7 + y * 3) & 15);
    return Bgr{uint8_t(c.b ^ wobble), uint8_t(c.g + wobble), c.r};
  });
}

// A depth image of flat patches with steps between them.
PictureRef Patches(int32_t width, int32_t height, int seed) {
  std::mt19937 random(static_cast<unsigned>(seed));
  std::vector<uint8_t> levels(64);
  for (auto& v : levels) v = uint8_t(random());
  return MakePicture(width, height, [&](int x, int y) {
    return Grey(levels[static_cast<size_t>((y * 8 / height) * 8 + x * 8 / width)]);
  });
}

uint8_t* Bits(const PictureRef& p) { return p->Bits(); }

double Psnr(const Picture& a, const Picture& b) {
  double sum = 0;
  for (int y = 0; y < a.Height(); ++y) {
    for (int x = 0; x < 3 * a.Width(); ++x) {
      const double d = a.ReadGrid().MemoryRow(y)[x] - b.ReadGrid().MemoryRow(y)[x];
      sum += d * d;
    }
  }
  if (sum == 0) return INFINITY;
  return 10 * std::log10(255.0 * 255.0 / (sum / (3.0 * a.Width() * a.Height())));
}

class DepthEngineTest : public ::testing::Test {
 protected:
  DepthEngine engine;
  ImageProcessor process;
};

TEST_F(DepthEngineTest, BlockMetricsMatchThePlainSums) {
  std::mt19937 random(5);
  std::vector<uint8_t> frame(64 * 40);
  for (auto& v : frame) v = uint8_t(random());
  alignas(32) uint8_t block[kBlockRows * kBlockStride];
  MakeBlock(frame.data() + 3, 64, block);
  const BlockMetrics& plain = PlainBlockMetrics();
  const BlockMetrics& fast = FastBlockMetrics();
  for (int32_t rowStep : {1, 2}) {
    const uint8_t* positions[4] = {&frame[0], &frame[64 * 5 + 7], &frame[64 * 20 + 31], &frame[64 * 29 + 1]};
    int32_t expected[4], actual[4];
    plain.sadX4(block, positions, 64, rowStep, expected);
    fast.sadX4(block, positions, 64, rowStep, actual);
    for (int k = 0; k < 4; ++k) {
      EXPECT_EQ(actual[k], expected[k]) << fast.name << " x4, position " << k;
      EXPECT_EQ(fast.sad(block, positions[k], 64, rowStep), expected[k]) << fast.name;
    }
  }
  EXPECT_EQ(plain.sad(block, frame.data() + 3, 64, 1), 0);
}

TEST_F(DepthEngineTest, FullTrackerGivesTheImageProcessorsDepthAndDifference) {
  struct Case {
    int width, height, shift, action;
    bool flat;
  } cases[] = {{64, 48, 2, 1, false}, {83, 61, -3, 0, false}, {40, 30, 0, 2, false},
               {57, 22, 5, 1, false},  {9, 30, 1, 1, false},   {70, 40, 2, 1, true}};
  for (const Case& c : cases) {
    // In the flat half the previous frame is 2 levels darker everywhere: ties at every position.
    const auto previous = Scene(c.width, c.height, 0, 3, c.flat);
    auto expected = Scene(c.width, c.height, c.shift, c.flat ? 5 : 3, c.flat);
    auto actual = expected->CopyOf();
    DepthMap map;
    process.CopyToDepthMap(*Patches(c.width, c.height, 9), map);
    DepthMap engineMap = map;
    Array2D<uint8_t> previousPixels;
    process.CopyToSpecifiedArray(*previous, previousPixels);

    double expectedTotal = 0, actualTotal = 0, motion = 0;
    process.CreateDepthMap(*expected, previousPixels, expectedTotal, c.action, map);
    engine.CreateDepthMap(Bits(actual), Bits(previous), actualTotal, c.action, engineMap.Data(),
                          c.width, c.height, motion);
    EXPECT_TRUE(SamePicture(*actual, *expected)) << c.width << "x" << c.height;
    EXPECT_EQ(actualTotal, expectedTotal);
    DepthMap newLevels;
    process.CopyToDepthMap(*expected, newLevels);
    EXPECT_EQ(std::vector<uint8_t>(engineMap.Data(), engineMap.Data() + engineMap.Cols() * engineMap.Rows()),
              std::vector<uint8_t>(newLevels.Data(), newLevels.Data() + newLevels.Cols() * newLevels.Rows()));
  }
}

TEST_F(DepthEngineTest, CleanUpAndAlignmentAreTheImageProcessorsByteForByte) {
  for (auto [W, H] : {std::pair{37, 29}, std::pair{64, 16}, std::pair{5, 3}}) {
    auto picture = Scene(W, H, 0);
    auto expected = Patches(W, H, W);
    for (int y = 0; y < H; y += 3) expected->Grid().MemoryRow(y)[3 * (y % W)] = 250;  // lone pixels
    auto actual = expected->CopyOf();
    process.SmoothDMAP(*expected, 8);
    engine.SmoothDepth(Bits(actual), W, H, 8);
    EXPECT_TRUE(SamePicture(*actual, *expected)) << "smoothing " << W << "x" << H;

    PixelArray colours;
    process.CopyToSpecifiedArray(*picture, colours);
    process.MatchDepthMap(*expected, colours);
    engine.MatchDepthMap(Bits(actual), Bits(picture), W, H);
    EXPECT_TRUE(SamePicture(*actual, *expected)) << "alignment " << W << "x" << H;
  }
}

TEST_F(DepthEngineTest, RendererStaysWithin40DecibelsOfTheClassRenderer) {
  // Flat patches, and a ramp with noise (targets crowd together, share pixels and leave gaps).
  std::mt19937 random(8);
  const auto ramp = MakePicture(160, 90, [&](int x, int y) { return Grey(uint8_t(x * 3 / 2 + y / 3 + random() % 9)); });
  for (auto [xInterp, depthImage] : {std::pair{1, Patches(160, 90, 4)}, std::pair{0, Patches(160, 90, 4)},
                                     std::pair{5, Patches(160, 90, 4)}, std::pair{1, ramp}, std::pair{0, ramp}}) {
    const int W = 160, H = 90;
    const auto source = Scene(W, H, 0, 11);
    const float shiftPerLevel = 30.0f / 255.0f * (W / 640.0f) * 4;
    const int16_t frameShift = 21;

    // The class renderer: the depth map from the depth image, two dilations, Make3D.
    auto depth = depthImage->CopyOf();
    DepthMap classMap;
    process.CopyToDepthMap(*depth, classMap);
    process.Dilate(*depth);
    process.Dilate(*depth);
    process.CopyToSpecifiedArray(*depth, process.Arrays().DepthPixels);
    process.CopyToArray(*source);
    auto expected = std::make_shared<Picture>();
    expected->Create(W, H);
    process.Make3D(*expected, shiftPerLevel, 0.0, frameShift, xInterp);

    auto actual = depthImage->CopyOf();
    DepthMap map;
    map.ReDim(W + 1, H + 1);
    engine.Make3D(Bits(actual), Bits(source), map.Data(), W, H, shiftPerLevel, frameShift, xInterp);
    EXPECT_GE(Psnr(*actual, *expected), 40.0) << "xInterp " << xInterp;
    EXPECT_TRUE(std::equal(map.Data(), map.Data() + map.Cols() * map.Rows(), classMap.Data()))
        << "the renderer keeps the depth it read";
  }
}

TEST_F(DepthEngineTest, ThePlaneStepsGiveTheViewAndTheMapOfThePictureSteps) {
  // Two engines with the same history: one through the depth image, one through its plane; the
  // third frame starts the plane again from flat as a warp would.
  const int W = 123, H = 67;
  DepthEngine plane;
  DepthMap pictureMap, planeMap;
  pictureMap.ReDim(W + 1, H + 1);
  planeMap.ReDim(W + 1, H + 1);
  const float shiftPerLevel = 0.2f;
  for (int n = 0; n < 5; ++n) {
    const auto frame = Scene(W, H, 3 * n + (n % 2) * 5);
    double error1 = 0, error2 = 0, motion1 = 0, motion2 = 0;
    auto depth = frame->CopyOf();
    engine.CreateDepthMapFast(Bits(depth), nullptr, error1, 1, pictureMap.Data(), W, H, motion1, 1);
    plane.CreateDepthPlaneFast(Bits(frame), error2, 1, planeMap.Data(), W, H, motion2, 1);
    EXPECT_EQ(std::tuple(error1, motion1), std::tuple(error2, motion2));
    if (n == 2) {
      depth->Create(W, H);
      plane.ClearDepthPlane();
    }
    engine.SmoothDepth(Bits(depth), W, H, 8);
    plane.SmoothDepthPlane(8);
    engine.Make3D(Bits(depth), Bits(frame), pictureMap.Data(), W, H, shiftPerLevel, 7, 1);
    auto view = frame->CopyOf();
    plane.Make3DFromPlane(Bits(view), Bits(frame), planeMap.Data(), W, H, shiftPerLevel, 7, 1);
    EXPECT_TRUE(SamePicture(*view, *depth)) << "frame " << n;
    EXPECT_TRUE(std::equal(planeMap.Data(), planeMap.Data() + planeMap.Cols() * planeMap.Rows(),
                           pictureMap.Data()))
        << "frame " << n;
  }
}

TEST_F(DepthEngineTest, FastTrackerFollowsPansWithSignedMotionAgainstItsOwnReference) {
  const int W = 200, H = 120;
  DepthMap map;
  map.ReDim(W + 1, H + 1);
  double total = -1, motion = -1;
  // The first frame is its own reference: nothing moves.
  auto frame = Scene(W, H, 0);
  engine.CreateDepthMapFast(Bits(frame), nullptr, total, 1, map.Data(), W, H, motion, 1);
  EXPECT_EQ(total, 0.0);
  EXPECT_EQ(motion, 0.0);
  // Content moving left by 4 pixels a frame, then right by 3, then still; every speed level.
  struct Step {
    int shift;
    double motion;
  } steps[] = {{4, 4.0}, {8, 4.0}, {12, 4.0}, {9, -3.0}, {6, -3.0}, {6, 0.0}};
  for (int32_t level = 1; level <= 5; ++level) {
    engine.Reset();
    frame = Scene(W, H, 0);
    engine.CreateDepthMapFast(Bits(frame), nullptr, total, 1, map.Data(), W, H, motion, level);
    for (const Step& s : steps) {
      frame = Scene(W, H, s.shift);
      engine.CreateDepthMapFast(Bits(frame), nullptr, total, 1, map.Data(), W, H, motion, level);
      // The blocks whose content has just come into view find no match and do not count.
      EXPECT_EQ(motion, s.motion) << "level " << level << ", shift " << s.shift;
      if (s.motion == 0.0) {
        EXPECT_EQ(total, 0.0);
      }
    }
  }
  // The new depth goes into the map as well as into the frame.
  EXPECT_EQ(map(W / 2, H / 2), frame->ReadGrid().MemoryRow(H / 2)[3 * (W / 2)]);
}

}  // namespace
}  // namespace qv::test
