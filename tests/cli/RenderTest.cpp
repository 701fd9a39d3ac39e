// `quorvex render` and `quorvex detect` run as programs on the test media. Rendered frames are
// compared with the composition worked out here from ffmpeg's own decode of the lossless clips.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>

#include "cli/CliTestSupport.h"

namespace qv {
namespace {

using test::Bgr;
using test::Cli;
using test::PixelAt;

uint8_t Luminance(Bgr p) {  // round((222 R + 707 G + 71 B) / 1000), halves to even
  const int n = 222 * p.r + 707 * p.g + 71 * p.b;
  int q = n / 1000;
  const int rest = n % 1000;
  if (rest > 500 || (rest == 500 && q % 2 == 1)) ++q;
  return static_cast<uint8_t>(q);
}

TEST_F(Cli, RenderComposesTheFrameAsPlaybackWould) {
  const auto ab = test::ReadReference("ab_scene.bgr", 160, 240);
  const auto sbs = test::ReadReference("sbs_scene.bgr", 320, 120);
  ASSERT_EQ(ab.size(), 10u);
  ASSERT_EQ(sbs.size(), 10u);

  // Above/below, frame 3, side by side: upper half on the left, lower half on the right.
  PictureRef rendered =
      Render(In("ab_scene.mkv"), "--format above-below --method side-by-side --frame 3");
  ASSERT_NE(rendered, nullptr);
  EXPECT_TRUE(test::SamePicture(*rendered, *test::MakePicture(320, 120, [&](int x, int y) {
    return x < 160 ? PixelAt(*ab[3], x, y) : PixelAt(*ab[3], x - 160, y + 120);
  })));

  // Side by side, the stored glasses (none stored: "Anaglyph (Red/Green)"), guessed layout:
  // blue and green of the right view, the left view's luminance in red.
  rendered = Render(In("sbs_scene.mkv"), "--frame 7");
  ASSERT_NE(rendered, nullptr);
  EXPECT_TRUE(test::SamePicture(*rendered, *test::MakePicture(160, 120, [&](int x, int y) {
    const Bgr right = PixelAt(*sbs[7], x + 160, y);
    return Bgr{right.b, right.g, Luminance(PixelAt(*sbs[7], x, y))};
  })));

  // Above/below, interlaced in a window: rows from the top alternate upper view, lower view.
  rendered = Render(In("ab_scene.mkv"), "--method interlaced --frame 9");
  ASSERT_NE(rendered, nullptr);
  EXPECT_TRUE(test::SamePicture(*rendered, *test::MakePicture(160, 120, [&](int x, int y) {
    // Top row y: memory row 119 - y; odd memory rows come from view 0's row below them.
    const int memory = 119 - y;
    return memory % 2 ? PixelAt(*ab[9], x, 119 - (memory - 1))
                      : PixelAt(*ab[9], x, 120 + 119 - memory);
  })));

  // Side by side to a side-by-side method passes the frame through untouched, as PNG too.
  ASSERT_EQ(
      Run("render " + In("sbs_scene.mkv") + " -o " + Out("pass.png") + " --glasses 4 --frame 2"), 0)
      << Read("err.txt");
  const auto passed = Frames("pass.png", 320, 120);
  ASSERT_EQ(passed.size(), 1u);
  EXPECT_TRUE(test::SamePicture(*passed[0], *sbs[2]));
}

TEST_F(Cli, RenderConvertsTwoDimensionalVideoWithItsDepthAndTheNineViewGrid) {
  // The first frame of a conversion has a black right view: the red/green anaglyph has no blue
  // and no green. Frame 9 is converted from frame 0 on and has them.
  auto blueAndGreen = [](const Picture& p) {
    int64_t sum = 0;
    for (int y = 0; y < p.Height(); ++y) {
      for (int x = 0; x < p.Width(); ++x) sum += PixelAt(p, x, y).b + PixelAt(p, x, y).g;
    }
    return sum;
  };
  PictureRef first = Render(In("flat_valley.mkv"), "--frame 0");
  ASSERT_NE(first, nullptr);
  EXPECT_EQ(blueAndGreen(*first), 0);
  PictureRef later = Render(In("flat_valley.mkv"), "--frame 9 --depth-out " + Out("depth.bmp"));
  ASSERT_NE(later, nullptr);
  EXPECT_GT(blueAndGreen(*later), 0);
  BitmapFile depth;
  ASSERT_TRUE(depth.CreateFromFile(home_.File("depth.bmp")));
  EXPECT_EQ(std::pair(depth.Width(), depth.Height()), std::pair(320, 240));
  // The grid: the frame itself, scaled to a third, in the top left cell.
  PictureRef grid = Render(In("flat_valley.mkv"), "--frame 3 --grid --format 2d-to-3d");
  ASSERT_NE(grid, nullptr);
  EXPECT_EQ(std::pair(grid->Width(), grid->Height()), std::pair(320, 240));
  EXPECT_GT(blueAndGreen(*grid), 0);
}

TEST_F(Cli, RenderRefusesWhatItCannotDoAndTellsWhy) {
  const std::string sbs = "render " + In("sbs_scene.mkv") + " -o " + Out("x.png");
  ExpectRefusal(sbs + " --grid", 1, "does not look like 2D video");
  ExpectRefusal(sbs + " --format parallel --depth-out " + Out("d.png"), 2, "--format 2d-to-3d");
  ExpectRefusal(sbs + " --frame 10", 1);
  ExpectRefusal(sbs + " --format 4 --frame 10", 1, "past the end of the video");
  ExpectRefusal("render " + In("empty.avi") + " -o " + Out("x.png"), 1, "Unable to open AVI file.");
  ExpectRefusal("render " + In("empty.avi") + " -o " + Out("x.png") + " --format parallel", 1,
                "An error occurred in OpenVideo. ");
  for (const char* usage :
       {"", " -o x.jpg", " -o x.png --format 9", " -o x.png --method sideways",
        " -o x.png --glasses 8", " -o x.png --screen 640", " -o x.png --frame -1",
        " -o x.png --vert-offset 101", " -o x.png --method 3 --glasses 2", " -o x.png --bogus",
        " -o x.png second.mkv"}) {
    EXPECT_EQ(Run("render " + In("sbs_scene.mkv") + usage), 2) << usage;
  }
  // A composer's error for the frame: no picture.
  ExpectRefusal(sbs + " --method sync-doubled --vert-offset 0", 1, "Division by zero");
  EXPECT_FALSE(std::filesystem::exists(home_.File("x.png")));
}

// Render never writes over its input, however the input is named.
TEST_F(Cli, RenderRefusesToWriteOverItsInput) {
  ASSERT_EQ(Ffmpeg("-i " + In("sbs_scene.mkv") + " -frames:v 1 " + Out("in.png")), 0);
  std::filesystem::create_symlink(home_.File("in.png"), home_.File("link.png"));
  const std::string before = Read("in.png");
  for (const std::string& output :
       {Out("in.png"), Out("link.png"), Out("./in.png") + " --format 2d-to-3d",
        Out("d.png") + " --format 2d-to-3d --depth-out " + Out("in.png")}) {
    ExpectRefusal("render " + Out("in.png") + " -o " + output, 1, "is the input file");
  }
  EXPECT_EQ(Read("in.png"), before);
  EXPECT_FALSE(std::filesystem::exists(home_.File("d.png")));
}

TEST_F(Cli, DetectReportsTheGuessAsOneJsonObject) {
  ASSERT_EQ(Run("detect " + In("sbs_scene.mkv") + " --json"), 0);
  EXPECT_EQ(Read("out.txt"),
            "{\"layout\": \"Parallel\", \"layout_code\": 5, \"frames\": 10, \"fps\": 25.0, "
            "\"width\": 320, \"height\": 120}\n");
  ASSERT_EQ(Run("detect --json " + In("ab_valley.mkv")), 0);
  EXPECT_EQ(Read("out.txt"),
            "{\"layout\": \"Above/Below\", \"layout_code\": 1, \"frames\": 10, \"fps\": 25.0, "
            "\"width\": 160, \"height\": 252}\n");
  // An MPEG program stream goes through a script, as File>Open does.
  ASSERT_EQ(Run("detect " + In("sbs_scene.mpg") + " --json"), 0);
  EXPECT_THAT(Read("out.txt"),
              ::testing::StartsWith("{\"layout\": \"Parallel\", \"layout_code\": 5,"));
  ASSERT_EQ(Run("detect " + In("flat_cells.mkv")), 0);
  EXPECT_EQ(Read("out.txt"), "layout: 2D (3)\nframes: 10\nfps: 25.0\nsize: 320 x 240\n");

  EXPECT_EQ(Run("detect " + In("random.avi") + " --json"), 1);
  EXPECT_EQ(Read("out.txt"),
            "{\"layout\": \"\", \"layout_code\": 0, \"frames\": 0, \"fps\": 0.0, \"width\": 0, "
            "\"height\": 0}\n");
  EXPECT_EQ(Read("err.txt"), "Quorvex: Unable to open AVI file.\n" + test::Media("random.avi") +
                                 ": Not a video file\n");
  EXPECT_EQ(Run("detect"), 2);
  EXPECT_EQ(Run("detect a.mkv b.mkv"), 2);
  EXPECT_EQ(Run("detect a.mkv --yaml"), 2);
}

}  // namespace
}  // namespace qv
