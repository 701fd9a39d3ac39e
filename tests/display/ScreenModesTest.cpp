// Screen modes against a fake display (what is found, asked for, refused and put back; the exit
// and crash guard), the OpenGL surface's layout, and the stereo tag's bytes.
#include <gtest/gtest.h>

#include <algorithm>
#include <sstream>

#include "display/OpenGLSurface.h"
#include "display/ScreenModes.h"
#include "display/StereoTagWriter.h"
#include "support/TestSupport.h"

namespace qv::test {
namespace {

// A display that offers a fixed list of modes and records the changes asked of it as
// "WxH@bpp/rate:fields" (fields in hex), refusing every one while `refuse` is set.
class FakeModes : public ModeSwitcher {
 public:
  std::vector<ScreenMode> modes;
  ScreenMode current{32, 1280, 1024, 60, 0};
  bool refuse = false;
  std::string changes;

  bool ModeAt(int32_t index, ScreenMode& mode) override {
    if (index < 0 || index >= static_cast<int32_t>(modes.size())) return false;
    mode = modes[static_cast<size_t>(index)];
    return true;
  }
  ScreenMode CurrentMode() override { return current; }
  bool ChangeMode(const ScreenMode& m) override {
    std::ostringstream text;
    text << m.PelsWidth << "x" << m.PelsHeight << "@" << m.BitsPerPel << "/" << m.DisplayFrequency
         << ":" << std::hex << m.Fields << " ";
    changes += text.str();
    if (refuse) return false;
    current = m;
    return true;
  }
};

class ScreenModesTest : public ::testing::Test {
 protected:
  void SetUp() override {
    fake.modes = {{32, 1280, 1024, 60, 0}, {32, 1024, 768, 85, 0}, {32, 1024, 768, 60, 0},
                  {16, 1024, 768, 60, 0},  {32, 800, 600, 75, 0}};
  }
  RecordingSink sink;
  FakeModes fake;
};

TEST_F(ScreenModesTest, FindModeTakesTheFirstMatchOrElseTheLastModeOffered) {
  ScreenModes modes(fake);
  struct Case {
    int32_t w, h, bpp, rate;
    ScreenMode expected;
  };
  const Case cases[] = {
      {1024, 768, 32, -1, {32, 1024, 768, 85, 0}},  // any rate: the first of the size
      {1024, 768, 32, 60, {32, 1024, 768, 60, 0}},
      {1024, 768, 16, -1, {16, 1024, 768, 60, 0}},
      {1024, 768, 24, -1, {32, 800, 600, 75, 0}},  // no such depth: the last mode
      {1024, 768, 32, 120, {32, 800, 600, 75, 0}},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(modes.FindMode(c.w, c.h, c.bpp, c.rate), c.expected)
        << c.w << "x" << c.h << "@" << c.bpp << "/" << c.rate;
  }
  fake.modes.clear();
  EXPECT_EQ(modes.FindMode(1024, 768, 32, -1), ScreenMode{});
}

TEST_F(ScreenModesTest, SetScreenModeAsksForSizeDepthAndRateAndPutsTheOldModeBack) {
  ScreenModes modes(fake);
  int32_t rate = -1;
  EXPECT_TRUE(modes.SetScreenMode(1024, 768, 32, true, rate));
  rate = 75;  // not offered at this size: the request still names it
  EXPECT_TRUE(modes.SetScreenMode(1024, 768, 16, true, rate));
  EXPECT_EQ(fake.changes, "1024x768@32/85:1c0000 1024x768@16/75:5c0000 ");
  EXPECT_EQ(modes.Remembered(), (ScreenMode{32, 1024, 768, 85, 0}))
      << "the second change remembers the program's own mode";
  EXPECT_TRUE(sink.messages.empty());

  fake.changes.clear();
  modes.ResetDisplayMode();
  modes.ResetDisplayMode();  // closed twice: put back once
  EXPECT_EQ(fake.changes, "1024x768@32/85:5c0000 ");
  EXPECT_FALSE(modes.Changed());

  // A remembered rate that the display does not offer at that size: the rate of the mode found.
  fake.current = {32, 1280, 1024, 72, 0};
  rate = -1;
  modes.SetScreenMode(800, 600, 32, true, rate);
  fake.changes.clear();
  modes.ResetDisplayMode();
  EXPECT_EQ(fake.changes, "1280x1024@32/75:5c0000 ");
}

TEST_F(ScreenModesTest, TheGuardPutsBackTheFirstModeOfEverySurfaceNotClosedOrRefused) {
  FakeModes other, refusing;
  other.modes = refusing.modes = fake.modes;
  other.current = {32, 1024, 768, 60, 0};
  refusing.refuse = true;
  ScreenModes first(fake), second(other), closed(fake), refused(refusing);
  int32_t rate = 100;
  EXPECT_FALSE(refused.SetScreenMode(1600, 1200, 32, true, rate));
  ASSERT_EQ(sink.Texts(), std::vector<std::string>{kModeRefused});
  EXPECT_EQ(sink.messages[0].style, msg::kOkOnly);
  EXPECT_FALSE(refused.Changed());
  refusing.changes.clear();
  rate = -1;
  first.SetScreenMode(1024, 768, 32, true, rate);
  first.SetScreenMode(800, 600, 32, true, rate);
  second.SetScreenMode(800, 600, 32, true, rate);
  closed.SetScreenMode(800, 600, 32, true, rate);
  closed.ResetDisplayMode();
  fake.changes.clear();
  other.changes.clear();
  ModeRestoreGuard::RestoreAll();
  EXPECT_EQ(fake.changes, "1280x1024@32/60:5c0000 ");
  EXPECT_EQ(other.changes, "1024x768@32/60:5c0000 ");
  EXPECT_EQ(refusing.changes, "");
  fake.changes.clear();
  ModeRestoreGuard::RestoreAll();  // nothing is put back twice
  EXPECT_EQ(fake.changes, "");
}

TEST(OpenGLLayoutTest, WindowedCentresTheEyeFullScreenLetterboxesItIntoTheMode) {
  struct Case {
    const char* name;
    bool fullscreen, stereo;
    int32_t srcX, srcY;
    OpenGLLayout expected;
  };
  const Case cases[] = {
      {"stereo windowed", false, true, 1280, 480, {192, 144, 640, 530, 0, 0, 640, 480, 1.0f}},
      {"stereo full screen", true, true, 1280, 480, {0, 0, 1024, 768, 0, 0, 1024, 768, 1.6f}},
      {"plain full screen", true, false, 720, 576, {0, 0, 1024, 768, 32, 0, 960, 768, 768.0f / 576}},
      {"wide full screen", true, false, 1280, 480, {0, 0, 1024, 768, 0, 192, 1024, 384, 0.8f}},
      {"odd row made even", true, false, 1280, 482, {0, 0, 1024, 768, 0, 190, 1024, 386, 0.8f}},
      {"larger than the screen", false, false, 1400, 900, {0, 0, 1400, 950, 0, 0, 1400, 900, 1.0f}},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(LayOutOpenGL(c.fullscreen, c.stereo, c.srcX, c.srcY, 1024, 768, 1024, 768),
              c.expected)
        << c.name;
  }
  // A picture of 1 pixel has no eye in stereo; one of 0 pixels none at all.
  EXPECT_EQ(ErrorOf([] { LayOutOpenGL(false, true, 1, 1, 1024, 768, 1024, 768); }).Number(),
            err::kDivisionByZero);
  EXPECT_EQ(ErrorOf([] { LayOutOpenGL(true, false, 0, 0, 1024, 768, 1024, 768); }).Number(),
            err::kDivisionByZero);
  EXPECT_EQ(ErrorOf([] { LayOutOpenGL(true, false, 640, 480, 1024, 768, 0, 0); }).Number(),
            err::kDivisionByZero);
  EXPECT_EQ(ErrorOf([] { LayOutOpenGL(false, false, -2, 480, 1024, 768, 0, 0); }).Number(),
            err::kInvalidArgument);
}

TEST(StereoTagTest, TheTagFillsTheStartOfTheLastRowAndNothingElse) {
  // 6 x 3 pixels of 32 bits, top-down: the last row starts at byte 48.
  std::vector<uint8_t> image(6 * 4 * 3, 0xEE);
  ASSERT_TRUE(WriteStereoTag(image.data(), 48, kStereoTagSwapEyes, 6, 3, 32));
  const std::vector<uint8_t> tag = {'N', 'V', '3', 'D', 6, 0, 0, 0, 3, 0, 0, 0, 32, 0, 0, 0, 1, 0, 0, 0};
  EXPECT_EQ(std::vector<uint8_t>(image.begin() + 48, image.begin() + 68), tag);
  EXPECT_EQ(std::count(image.begin(), image.end(), 0xEE), 72 - 20);

  // A last row too short for the tag (4 pixels of 32 bits, 9 of 16 bits) is left alone.
  std::vector<uint8_t> small(16, 0xEE);
  EXPECT_FALSE(WriteStereoTag(small.data(), 0, 0, 4, 1, 32));
  EXPECT_FALSE(WriteStereoTag(small.data(), 0, 0, 9, 1, 16));
  EXPECT_FALSE(WriteStereoTag(small.data(), 0, 0, 0, 0, 32));
  EXPECT_EQ(std::count(small.begin(), small.end(), 0xEE), 16);
}

}  // namespace
}  // namespace qv::test
