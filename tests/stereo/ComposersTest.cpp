// The frame composers: sync-doubled, side-by-side, anaglyph and interlaced frames made from two
// eye views, compared whole, and what they do with empty views and zero sizes.
#include <gtest/gtest.h>

#include "base/DisplayConfig.h"
#include "stereo/FrameBuffers.h"
#include "stereo/Composers.h"
#include "support/TestSupport.h"

namespace qv::test {
namespace {


const Bgr kRed{0, 0, 255}, kBlue{255, 0, 0}, kBlack{};

// A view whose pixels say where they are and which eye they belong to.
Bgr Where(int x, int y, int eye) {
  return Bgr{static_cast<uint8_t>(x * 3 + eye), static_cast<uint8_t>(y),
             static_cast<uint8_t>(eye * 100 + (x ^ y))};
}
PictureRef EyeView(int width, int height, int eye) {
  return MakePicture(width, height, [eye](int x, int y) { return Where(x, y, eye); });
}

// Rows above `top` are `upper`, rows from `gapEnd` on `lower`, black in between.
PictureRef Stacked(int width, int height, int top, int gapEnd, Bgr upper, Bgr lower) {
  return MakePicture(width, height, [=](int, int y) {
    return y < top ? upper : y < gapEnd ? kBlack : lower;
  });
}

class Composers : public ::testing::Test {
 protected:
  void SetUp() override { Screen(1024, 768, 10); }
  void Screen(int32_t width, int32_t height, int16_t vertOffset) {
    display = DisplayConfig{};
    display.ScreenWidth = width;
    display.ScreenHeight = height;
    display.VertOffset = vertOffset;
  }
  void SetViews(PictureRef left, PictureRef right) {
    frames.StereoViews = {std::move(left), std::move(right)};
  }
  const Picture& Output() { return *frames.OutputFrame; }
  RecordingSink messages;
  FrameBuffers frames;
  DisplayConfig display;
};

TEST_F(Composers, SyncDoubledFrameHasTheGapBetweenTheHalves) {
  // 640 x 240 views on 1024 x 768 with VertOffset 10: gap 76, scale 1.6, 1024 x 460, view 0 in
  // rows 0 ... 191 and view 1 in rows 268 ... 459.
  SetViews(SolidPicture(640, 240, kRed), SolidPicture(640, 240, kBlue));
  SaveAboveBelow(frames, display, true);
  const PictureRef expected = Stacked(1024, 460, 192, 268, kRed, kBlue);
  EXPECT_TRUE(SamePicture(Output(), *expected));
  EXPECT_EQ(std::pair(frames.ViewWidth, frames.ViewHeight), std::pair(640, 240));
  SaveAboveBelow(frames, display, false);  // the smoothing stretch keeps flat colours flat
  EXPECT_TRUE(SamePicture(Output(), *expected));

  // Scale 2 across and 1 down (half height): columns double, rows are kept.
  Screen(640, 528, 11);  // gap 48
  SetViews(EyeView(320, 240, 0), EyeView(320, 240, 1));
  SaveAboveBelow(frames, display, true);
  EXPECT_TRUE(SamePicture(Output(), *MakePicture(640, 528, [](int x, int y) {
                            return y < 240   ? Where(x / 2, y, 0)
                                   : y < 288 ? kBlack
                                             : Where(x / 2, y - 288, 1);
                          })));
  EXPECT_TRUE(messages.messages.empty());
}

TEST_F(Composers, SyncDoubledFrameSurvivesAZeroOffsetAndZeroSizes) {
  // VertOffset 0: the division fails, the gap stays 0 and the rest runs.
  display.VertOffset = 0;
  SetViews(SolidPicture(640, 240, kRed), SolidPicture(640, 240, kBlue));
  SaveAboveBelow(frames, display, true);
  EXPECT_EQ(messages.Texts(), std::vector<std::string>{"An error occurred in SaveAboveBelow. "
                                                       "Attempting to continue. Division by zero"});
  EXPECT_TRUE(SamePicture(Output(), *Stacked(1024, 384, 192, 192, kRed, kBlue)));

  // A screen of 0 x 0 gives no frame; empty views report the two divisions by their size.
  messages.messages.clear();
  Screen(0, 0, 10);
  SaveAboveBelow(frames, display, true);
  EXPECT_EQ(Output().Width(), 0);
  EXPECT_TRUE(messages.messages.empty());
  Screen(1024, 768, 10);
  SetViews(std::make_shared<Picture>(), nullptr);
  SaveAboveBelow(frames, display, true);
  EXPECT_EQ(messages.messages.size(), 2u);
  EXPECT_EQ(Output().Width(), 0);
}

TEST_F(Composers, SideBySideUsesTheCommonTopLeftRectangle) {
  // 640 x 480 and 642 x 478: 1280 x 478.
  SetViews(EyeView(640, 480, 0), EyeView(642, 478, 1));
  SaveSideBySide(frames);
  EXPECT_EQ(std::pair(frames.ViewWidth, frames.ViewHeight), std::pair(640, 478));
  EXPECT_TRUE(SamePicture(Output(), *MakePicture(1280, 478, [](int x, int y) {
                            return x < 640 ? Where(x, y, 0) : Where(x - 640, y, 1);
                          })));
  SetViews(nullptr, nullptr);  // empty slots become empty views: an empty frame, no message
  SaveSideBySide(frames);
  EXPECT_EQ(Output().Width(), 0);
  EXPECT_TRUE(messages.messages.empty());
}

TEST_F(Composers, AnaglyphsMergeTheChannelsOfBothViews) {
  // Left (B 30, G 60, R 90), right (B 10, G 20, R 30): means 60 and 20, luminances 64.53 -> 65 and
  // 21.51 -> 22.
  SetViews(SolidPicture(3, 2, {30, 60, 90}), SolidPicture(3, 2, {10, 20, 30}));
  const PictureRef previous = frames.OutputFrame = SolidPicture(2, 2, kRed);
  SaveAnaGray(frames);
  EXPECT_TRUE(SamePicture(Output(), *SolidPicture(3, 2, {20, 20, 60})));
  EXPECT_EQ(previous->Bits(), nullptr);  // the previous output is emptied
  SaveAnaColour(frames);
  EXPECT_TRUE(SamePicture(Output(), *SolidPicture(3, 2, {10, 20, 65})));
  SaveAnaYellow(frames);
  EXPECT_TRUE(SamePicture(Output(), *SolidPicture(3, 2, {22, 60, 90})));

  // A larger left view keeps its size; outside the common 2 x 2 only the left part shows.
  SetViews(SolidPicture(3, 3, {30, 60, 90}), SolidPicture(2, 2, {10, 20, 30}));
  SaveAnaglyphStepByStep(frames, AnaglyphKind::Yellow);
  EXPECT_TRUE(SamePicture(Output(), *MakePicture(3, 3, [](int x, int y) {
                            return x < 2 && y < 2 ? Bgr{22, 60, 90} : Bgr{0, 60, 90};
                          })));
  EXPECT_TRUE(messages.messages.empty());
}

TEST_F(Composers, OnePassAnaglyphsEqualTheStepsByteForByte) {
  // Pictures with every blue-green pair and varied red, so that the luminance meets exact halves.
  auto colours = [](int width, int height, int seed) {
    return MakePicture(width, height, [width, seed](int x, int y) {
      const int i = y * width + x + seed * 7919;
      return Bgr{static_cast<uint8_t>(i), static_cast<uint8_t>(i >> 8),
                 static_cast<uint8_t>(i * 37 + seed)};
    });
  };
  // (The fast rows against the plain ones at every width are the kernel versions' test.)
  const int sizes[][4] = {{256, 256, 256, 256}, {1, 1, 1, 1}, {33, 5, 40, 4}, {97, 7, 64, 9}};
  for (const auto& s : sizes) {
    SetViews(colours(s[0], s[1], 1), colours(s[2], s[3], 2));
    for (AnaglyphKind kind : {AnaglyphKind::Gray, AnaglyphKind::Colour, AnaglyphKind::Yellow}) {
      SCOPED_TRACE(::testing::Message() << s[0] << "x" << s[1] << " and " << s[2] << "x" << s[3]
                                        << ", kind " << static_cast<int>(kind));
      SaveAnaglyphStepByStep(frames, kind);
      const PictureRef reference = frames.OutputFrame;
      frames.OutputFrame = nullptr;
      for (AnaglyphRow row : {PlainAnaglyphRow(kind), FastAnaglyphRow(kind)}) {
        SaveAnaglyphOnePass(frames, kind, row);
        EXPECT_TRUE(SamePicture(Output(), *reference));
      }
    }
  }
  EXPECT_TRUE(messages.messages.empty());
}

TEST_F(Composers, AnaglyphsOfEmptyViewsReportEveryFailingStep) {
  for (bool onePass : {false, true}) {
    messages.messages.clear();
    SetViews(std::make_shared<Picture>(), std::make_shared<Picture>());
    onePass ? SaveAnaGray(frames) : SaveAnaglyphStepByStep(frames, AnaglyphKind::Gray);
    // Nothing to copy: both greys, both masks, the merge and the clean-up find no picture.
    EXPECT_EQ(messages.messages.size(), 6u);
    EXPECT_EQ(messages.messages.front().text,
              "An error occurred in SaveAnaGray. Attempting to continue. Object variable or With "
              "block variable not set");
    EXPECT_EQ(frames.OutputFrame, nullptr);
  }
}

TEST_F(Composers, OnePixelViewsComposeWithoutMessages) {
  SetViews(SolidPicture(1, 1, kRed), SolidPicture(1, 1, kBlue));
  SaveSideBySide(frames);
  EXPECT_TRUE(
      SamePicture(Output(), *MakePicture(2, 1, [](int x, int) { return x ? kBlue : kRed; })));
  // 1024 / 1 against (768 - 76) / 1: scale 692, a 692 x 768 frame with 346-row halves.
  SaveAboveBelow(frames, display, true);
  EXPECT_TRUE(SamePicture(Output(), *Stacked(692, 768, 346, 422, kRed, kBlue)));
  SaveAnaGray(frames);
  EXPECT_TRUE(SamePicture(Output(), *SolidPicture(1, 1, {85, 85, 85})));
  SaveInterlace(frames, display, false);  // one row makes no pair of rows: no frame
  EXPECT_EQ(frames.OutputFrame, nullptr);
  EXPECT_TRUE(messages.messages.empty());
}

// Interlaced output: memory row m of the frame comes from view 0 when m is odd, else view 1.
TEST_F(Composers, InterlaceWindowedTakesEveryOtherRowOfEachView) {
  // 640 x 481 views: 640 x 480; the top row (memory row 479) is view 0's memory row 478, the bottom
  // row view 1's memory row 0. Memory row m of a 481-row view is its device row 480 - m.
  SetViews(EyeView(640, 481, 0), EyeView(640, 481, 1));
  SaveInterlace(frames, display, false);
  EXPECT_TRUE(SamePicture(Output(), *MakePicture(640, 480, [](int x, int y) {
                            const int m = 479 - y;
                            return m % 2 == 1 ? Where(x, 480 - (m - 1), 0) : Where(x, 480 - m, 1);
                          })));

  // View 0 two rows taller: it is read two memory rows higher, so the tops line up.
  SetViews(EyeView(8, 12, 0), EyeView(8, 10, 1));
  SaveInterlace(frames, display, false);
  EXPECT_TRUE(SamePicture(Output(), *MakePicture(8, 10, [](int x, int y) {
                            const int m = 9 - y;
                            return m % 2 == 1 ? Where(x, 11 - (m + 1), 0) : Where(x, 9 - m, 1);
                          })));
  EXPECT_TRUE(messages.messages.empty());
}

TEST_F(Composers, InterlaceFullScreenScalesToTheScreen) {
  // Through OpenGL the chosen screen mode counts: 16 x 24 doubles 8 x 12 views in both directions.
  Screen(16, 24, 0);
  display.InterlaceViaOpenGL = true;
  SetViews(EyeView(8, 12, 0), EyeView(8, 12, 1));
  SaveInterlace(frames, display, true);
  EXPECT_TRUE(SamePicture(Output(), *MakePicture(16, 24, [](int x, int y) {
                            const int m = 23 - y;  // memory row; view rows repeat twice
                            return m % 2 == 1 ? Where(x / 2, 11 - (m - 1) / 2, 0)
                                              : Where(x / 2, 11 - m / 2, 1);
                          })));

  // Otherwise the current screen: 4 x 6 halves them, taking view rows 0, 4 and 8. The narrowing
  // resample then takes columns 0, 1, 3, 5 and memory rows 0, 0, 1, 2, 3, 4 (Floor(m x 5 / 6)).
  display.InterlaceViaOpenGL = false;
  FixedScreen small(4, 6), none(0, 0);
  Installed<ScreenInfo> screen(SetScreenInfo, &small);
  SaveInterlace(frames, display, true);
  const int columns[] = {0, 1, 3, 5};
  const int rows[] = {0, 0, 1, 2, 3, 4};
  EXPECT_TRUE(SamePicture(Output(), *MakePicture(4, 6, [&](int x, int y) {
                            const int m = rows[5 - y];
                            return m % 2 == 1 ? Where(columns[x], 11 - 2 * (m - 1), 0)
                                              : Where(columns[x], 11 - 2 * m, 1);
                          })));

  // A screen of 0 x 0 gives no frame; views without pixels report the two divisions.
  SetScreenInfo(&none);
  SaveInterlace(frames, display, true);
  EXPECT_EQ(Output().Width(), 0);
  EXPECT_TRUE(messages.messages.empty());
  SetViews(std::make_shared<Picture>(), std::make_shared<Picture>());
  SaveInterlace(frames, display, true);
  const std::string divided = "An error occurred in SaveInterlace. Attempting to continue. ";
  EXPECT_EQ(messages.Texts(), std::vector<std::string>(2, divided + "Division by zero"));
}

}  // namespace
}  // namespace qv::test
