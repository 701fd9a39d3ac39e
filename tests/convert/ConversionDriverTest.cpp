// The conversion driver on clips whose motion is known: first frames, a still picture, pans in
// and out of frame delay with the eye order of their direction, the warp test, a scene with real
// depth, the nine-view grid, the user's depth-map options and the speed level.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <random>

#include "convert/ConversionDriver.h"
#include "support/TestSupport.h"

namespace qv::test {
namespace {


// A scene of 4-pixel blobs of random colour between 64 and 191, seen moved `shift` pixels left
// (content moving left as the shift grows). It repeats every 2048 pixels.
Bgr SceneAt(int u, int y, int seed) {
  static std::vector<Bgr> colours[4];
  std::vector<Bgr>& c = colours[seed & 3];
  if (c.empty()) {
    std::mt19937 random(static_cast<unsigned>(seed + 100));
    c.resize(512 * 256);
    for (auto& p : c) p = Bgr{uint8_t(64 + random() % 128), uint8_t(64 + random() % 128), uint8_t(64 + random() % 128)};
  }
  return c[static_cast<size_t>(((y / 4) & 255) * 512 + ((u & 2047) / 4))];
}

PictureRef Scene(int W, int H, int shift, int seed = 0) {
  return MakePicture(W, H, [&](int x, int y) { return SceneAt(x + shift + 1024, y, seed); });
}

// The session's timer: a real clock, or one that advances `step` seconds at every reading.
Timing RealTiming() {
  Timing timing;
  timing.PerfFrequency = timing.PerfTimer.Frequency();
  return timing;
}

class Driver : public ::testing::Test {
 protected:
  // Hands `frame` to the driver as the frame loop does: both views copies of the frame.
  void Convert(const PictureRef& frame, bool continuing, int16_t noFrameShift = 0,
               FrameShiftOption option = FrameShiftOption::Automatic, bool scaleShift = true) {
    views[0] = frame->CopyOf();
    views[1] = frame->CopyOf();
    driver.ConvertFrame(views, output, continuing, false, 0, noFrameShift, scaleShift, option);
  }

  RecordingSink messages;
  ProcessorArrays arrays;
  Timing timing = RealTiming();
  ConversionDriver driver{arrays, timing};
  std::array<PictureRef, 2> views;
  PictureRef output;
};

TEST_F(Driver, FirstFrameKeepsThePictureWithABlackViewAndScalesTheShiftsByWidth) {
  struct Case {
    int width;
    bool scaleShift;
    int16_t frameShift;
  } cases[] = {{640, true, 15}, {720, true, 17}, {640, false, 0}};
  for (const Case& c : cases) {
    const auto frame = Scene(c.width, 20, 0);
    Convert(frame, false, 0, FrameShiftOption::Automatic, c.scaleShift);
    EXPECT_TRUE(SamePicture(*views[0], *frame));
    EXPECT_TRUE(SamePicture(*views[1], *SolidPicture(c.width, 20, {})));
    const ConversionState& state = driver.State();
    EXPECT_EQ(state.FrameShift, c.frameShift);
    EXPECT_EQ(std::tuple(state.ShiftState, state.MotionAverage), std::tuple(0, 1.0));
    EXPECT_EQ(driver.Depth().Cols(), c.width + 1);
    EXPECT_TRUE(std::all_of(driver.Depth().Data(), driver.Depth().Data() + (c.width + 1) * 21,
                            [](uint8_t v) { return v == 0; }));
  }
  EXPECT_TRUE(messages.messages.empty());
}

TEST_F(Driver, AStillPictureIsSeenFiveEighthsOfAPercentBehindTheScreen) {
  // Depth stays flat at 0 (farthest): every pixel moves by 30 byte columns less the frame shift
  // of 15, five pixels right at 640 wide. Red comes back odd.
  const int W = 640, H = 120;
  const auto frame = Scene(W, H, 0);
  Convert(frame, false);
  Convert(frame, true);
  EXPECT_TRUE(SamePicture(*views[0], *frame));
  for (int y = 0; y < H; ++y) {
    for (int x = 6; x < W - 2; ++x) {
      Bgr expected = PixelAt(*frame, x - 5, y);
      expected.r |= 1;
      ASSERT_EQ(PixelAt(*views[1], x, y), expected) << x << "," << y;
    }
  }
}

TEST_F(Driver, PansEnterAndLeaveFrameDelayWithTheEyeOrderOfTheirDirection) {
  // Content moves 12 pixels left a frame in frames 1 ... 6, 12 right in frames 7 ... 12, and
  // stands still from frame 13. The smoothed motion, (old x 14 + 12) / 15 from 1.0, passes 3.5 in
  // frame 4, which is still synthesised; frames 5 ... 34 are delayed; in frame 35 it falls below
  // 1.5 (1.577 x 14 / 15 = 1.472) and depth synthesis returns.
  const int W = 640, H = 60;
  std::vector<int> shifts = {0};
  for (int n = 1; n <= 52; ++n) shifts.push_back(shifts.back() + (n <= 6 ? 12 : n <= 12 ? -12 : 0));
  for (int n = 0; n < static_cast<int>(shifts.size()); ++n) {
    const auto frame = Scene(W, H, shifts[static_cast<size_t>(n)]);
    Convert(frame, n > 0);
    const bool delayed = n >= 5 && n <= 34;
    EXPECT_EQ(driver.State().ShiftState, n >= 4 && n <= 34 ? 2 : 0) << "frame " << n;
    if (!delayed) {
      EXPECT_TRUE(SamePicture(*views[0], *frame)) << "frame " << n;
      continue;
    }
    // Content moving right (frames 7 ... 12): the camera moves left, the current frame is the
    // left eye's. Otherwise (also standing still) the current frame is the right eye's.
    const auto previous = Scene(W, H, shifts[static_cast<size_t>(n - 1)]);
    const bool currentLeft = n >= 7 && n <= 12;
    EXPECT_TRUE(SamePicture(*views[0], currentLeft ? *frame : *previous)) << "frame " << n;
    EXPECT_TRUE(SamePicture(*views[1], currentLeft ? *previous : *frame)) << "frame " << n;
  }
}

TEST_F(Driver, AMeanBlockDifferenceAboveTenAPixelResetsTheDepth) {
  // A random picture, and the same picture with every row brighter by (3, 3, 4) or (4, 4, 3): a
  // block difference of 10 or 11 a pixel. The tracker's first call has no reference; the second
  // compares the plain picture with the brighter one. A reset puts the smoothed motion (here 0)
  // at 2.5 first: (2.5 x 14 + 0) / 15.
  const int W = 100, H = 100;
  std::mt19937 random(1);
  std::vector<uint8_t> texture(W * H * 3);
  for (auto& v : texture) v = uint8_t(random() % 200);
  auto plain = MakePicture(W, H, [&](int x, int y) {
    const uint8_t* p = &texture[static_cast<size_t>((y * W + x) * 3)];
    return Bgr{p[0], p[1], p[2]};
  });
  struct Case {
    int rowsOf11;
    bool reset;
  } cases[] = {{60, true}, {50, false}, {40, false}};  // 10.6, 10.5, 10.4
  for (const Case& c : cases) {
    const auto brighter = MakePicture(W, H, [&](int x, int y) {
      Bgr p = PixelAt(*plain, x, y);
      const int more = y < c.rowsOf11 ? 4 : 3;
      return Bgr{uint8_t(p.b + more), uint8_t(p.g + more), uint8_t(p.r + 7 - more)};
    });
    Convert(brighter, false);
    Convert(brighter, true);
    Convert(plain, true);
    EXPECT_NEAR(driver.State().MotionAverage, c.reset ? 2.5 * 14 / 15 : 14.0 * 14 / 225, 1e-9) << c.rowsOf11;
  }

  // A cut after a pan: the depth that the pan built up starts again from flat.
  Convert(Scene(200, 60, 0), false);
  for (int n = 1; n <= 5; ++n) Convert(Scene(200, 60, 6 * n), true);
  const DepthMap& depth = driver.Depth();
  EXPECT_GT(*std::max_element(depth.Data(), depth.Data() + 201 * 61), 0);
  Convert(Scene(200, 60, 0, 1), true);
  EXPECT_EQ(*std::max_element(depth.Data(), depth.Data() + 201 * 61), 0);
}

TEST_F(Driver, FasterContentComesNearerAndTheRightViewApproachesTheTrueOne) {
  // The camera moves right past a far wall (1 pixel a frame) and a near box (17 pixels a frame).
  // The true right view sees the wall 5 pixels and the box 3 pixels further right. The converted
  // right view must be closer to it than the left view, and around the box closer than the left
  // view moved 5 pixels (which is right for the wall only).
  const int W = 640, H = 240, frames = 14;
  auto scene = [&](int t, int wallShift, int boxShift) {
    const int box = 520 - 17 * t;
    return MakePicture(W, H, [&](int x, int y) {
      const int u = x - boxShift - box;
      if (y >= 60 && y < 180 && u >= 0 && u < 100) return SceneAt(u, y, 2);
      return SceneAt(x - wallShift + t + 1024, y, 0);
    });
  };
  for (int t = 0; t < frames; ++t) Convert(scene(t, 0, 0), t > 0);
  ASSERT_EQ(driver.State().ShiftState, 0);
  const auto truth = scene(frames - 1, 5, 3);
  const auto leftMoved = scene(frames - 1, 5, 5);
  auto difference = [&](const Picture& a, int x0, int x1) {
    double sum = 0;
    for (int y = 20; y < H - 20; ++y) {
      for (int x = x0; x < x1; ++x) {
        const Bgr p = PixelAt(a, x, y), q = PixelAt(*truth, x, y);
        sum += std::abs(p.b - q.b) + std::abs(p.g - q.g) + std::abs(p.r - q.r);
      }
    }
    return sum;
  };
  EXPECT_LT(difference(*views[1], 20, W - 20), difference(*views[0], 20, W - 20));
  const int box = 520 - 17 * (frames - 1);
  EXPECT_LT(difference(*views[1], box - 10, box + 110), difference(*leftMoved, box - 10, box + 110));
}

TEST_F(Driver, NoFrameShiftStaysInDepthSynthesisAndShowsTheNineViewGrid) {
  const int W = 90, H = 60;
  for (int n = 0; n <= 12; ++n) Convert(Scene(W, H, 10 * n), n > 0, 1);
  EXPECT_EQ(driver.State().ShiftState, 0);
  ASSERT_EQ(views[1]->Width(), W);
  EXPECT_TRUE(SamePicture(*output, *views[1]));
  // Cell 0 is the picture itself, cell 4 the view at half the parallax: with flat depth 0 its
  // 15 byte columns of shift cancel the frame shift of 15 (a 90-pixel frame scales both to 2).
  auto still = Scene(W, H, 500);
  Convert(still, false, 1);
  Convert(still, true, 1);
  for (int y = 3; y < 17; ++y) {
    for (int x = 3; x < 27; ++x) {
      const Bgr a = PixelAt(*views[1], x, y), b = PixelAt(*views[1], 30 + x, 20 + y);
      ASSERT_LE(std::abs(a.b - b.b) + std::abs(a.g - b.g), 4) << x << "," << y;
    }
  }
}

// Paints the left half of the depth image near (200) and the right half far (0).
class HalfNear : public DepthMapEditor {
 public:
  void EditDepthMap(const Picture& picture, Picture& depth) override {
    ++edits;
    sawPicture = picture.Width() == depth.Width();
    greenOfPicture = PixelAt(depth, 0, 0).g == PixelAt(picture, 0, 0).g;
    depth.Create(picture.Width(), picture.Height());
    const PixelGrid grid = depth.Grid();
    for (int y = 0; y < grid.height; ++y) {
      for (int x = 0; x < grid.width / 2; ++x) std::memset(grid.MemoryRow(y) + 3 * x, 200, 3);
    }
  }
  void Beep() override { ++beeps; }
  int edits = 0, beeps = 0;
  bool sawPicture = false, greenOfPicture = false;
};

TEST_F(Driver, UserDepthMapsAreAskedForAndHandedBackBesideThePicture) {
  HalfNear editor;
  driver.SetDepthMapEditor(&editor);
  const auto frame = Scene(60, 40, 0);
  Convert(frame, false, 0, FrameShiftOption::AlignedMap);
  EXPECT_EQ(messages.Texts(), std::vector<std::string>{kCreateInitialDepthMap});
  EXPECT_EQ(editor.edits, 1);
  EXPECT_EQ(driver.State().TrackMode, 2);
  EXPECT_EQ(driver.Depth()(5, 5), 200);
  // Option 1 carries the map on (a still frame keeps it) and hands back picture and depth image.
  Convert(frame, true, 0, FrameShiftOption::AlignedMap);
  EXPECT_TRUE(SamePicture(*views[0], *frame));
  EXPECT_EQ(PixelAt(*views[1], 5, 20), Grey(200));
  EXPECT_EQ(PixelAt(*views[1], 45, 20), Grey(0));  // beyond the reach of the alignment
  EXPECT_EQ(editor.edits, 1);
  // A cut warps the map: the user is warned and asked again.
  Convert(Scene(60, 40, 0, 3), true, 0, FrameShiftOption::AlignedMap);
  EXPECT_EQ(editor.beeps, 1);
  EXPECT_EQ(messages.Texts().back(), kDepthMapTooWarped);
  EXPECT_EQ(editor.edits, 2);
  // Option 2 asks on every frame, showing the picture's green over the depth image.
  Convert(frame, false, 0, FrameShiftOption::RedrawnMap);
  Convert(frame, true, 0, FrameShiftOption::RedrawnMap);
  EXPECT_EQ(editor.edits, 4);
  EXPECT_TRUE(editor.greenOfPicture);
}

// A clock that advances half a second at every reading.
bool SlowClock(int64_t& count) {
  static int64_t now = 0;
  count = (now += 500);
  return true;
}
bool Milliseconds(int64_t& frequency) {
  frequency = 1000;
  return true;
}

TEST(DriverTiming, SlowFrameDelayRaisesTheSpeedLevelToFiveAtMost) {
  ProcessorArrays arrays;
  Timing slow{HighResTimer(SlowClock, Milliseconds), 1000.0};
  ConversionDriver driver(arrays, slow);
  std::array<PictureRef, 2> views;
  PictureRef output;
  std::vector<int> levels;
  for (int n = 0; n < 60; ++n) {
    const auto frame = Scene(400, 30, 8 * n);  // frame delay from frame 8
    views = {frame->CopyOf(), frame->CopyOf()};
    driver.ConvertFrame(views, output, n > 0, false, 0, 0, true, FrameShiftOption::Automatic);
    levels.push_back(driver.State().SpeedLevel);
    // Half a second a call: (0.5 + 1/30 x 29) / 30 after the first frame, then folded on.
    if (n == 0) {
      EXPECT_FLOAT_EQ(driver.ConvertFrameTime(), (0.5f + 29.0f / 30.0f) / 30.0f);
    }
  }
  EXPECT_EQ(levels[7], 1);
  EXPECT_EQ(levels.back(), 5);
  EXPECT_TRUE(std::is_sorted(levels.begin(), levels.end()));
}

TEST_F(Driver, OddFramesConvertWithoutHarm) {
  // Frames of one pixel, narrower or lower than a block, and a size that changes mid-stream.
  const std::pair<int, int> sizes[] = {{1, 1}, {7, 30}, {30, 7}, {64, 48}, {33, 21}, {1, 1}};
  bool first = true;
  for (auto [W, H] : sizes) {
    for (int n = 0; n < 3; ++n) {
      Convert(Scene(W, H, 3 * n), !first);
      first = false;
      EXPECT_EQ(views[0]->Width(), W);
      EXPECT_EQ(views[1]->Width(), W);
      EXPECT_EQ(views[1]->Height(), H);
    }
    EXPECT_EQ(driver.Depth().Cols(), W + 1);
  }
  EXPECT_TRUE(messages.messages.empty()) << messages.Texts().front();
}

}  // namespace
}  // namespace qv::test
