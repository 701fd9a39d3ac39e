// The layout guess on stereo material made from moving scenes (two eye views of one scene, a
// few pixels of disparity apart), on plain 2D material, and on files it cannot examine. (Scripts
// reach it through the same opening as the reader's, tested with the script bridge.)
#include <gtest/gtest.h>

#include "MediaSupport.h"
#include "image/FrameBuffers.h"
#include "video/LayoutDetection.h"

namespace qv {
namespace {

using test::Media;
using test::RecordingSink;

struct Guess {
  const char* file;
  int16_t layout;
  int32_t frames;
};
void PrintTo(const Guess& g, std::ostream* os) {
  *os << g.file;
}

class LayoutGuess : public ::testing::TestWithParam<Guess> {};

TEST_P(LayoutGuess, IsThePackingTheClipWasMadeWith) {
  RecordingSink sink;
  int16_t layout = -1;
  EXPECT_EQ(DetectVideo(Media(GetParam().file), layout), GetParam().frames);
  EXPECT_EQ(layout, GetParam().layout);
  EXPECT_EQ(gVideo.FrameCount, GetParam().frames);
  EXPECT_EQ(gVideo.StreamFrameRate, 25.0f);
  EXPECT_TRUE(sink.messages.empty()) << ::testing::PrintToString(sink.Texts());
}

INSTANTIATE_TEST_SUITE_P(
    Clips, LayoutGuess,
    ::testing::Values(
        Guess{"sbs_scene.mkv", kLayoutParallel, 10}, Guess{"sbs_valley.mkv", kLayoutParallel, 10},
        Guess{"ab_scene.mkv", kLayoutAboveBelow, 10}, Guess{"ab_valley.mkv", kLayoutAboveBelow, 10},
        // views stacked 5 % of their height out of line, either way
        Guess{"ab_raised.mkv", kLayoutAboveBelow, 10},
        Guess{"ab_lowered.mkv", kLayoutAboveBelow, 10}, Guess{"flat_valley.mkv", kLayout2D, 10},
        Guess{"flat_cells.mkv", kLayout2D, 10},
        // side by side in frames 0-7, above/below in 8-11: the sample at 9 decides
        Guess{"sbs_then_ab.mkv", kLayoutAboveBelow, 12},
        // a uniform picture: nothing decides
        Guess{"wide.png", kLayout2D, 1}));

TEST(LayoutGuessOpening, LeavesTheLastSampleAndItsSplitInTheFrameBuffers) {
  RecordingSink sink;
  int16_t layout = 0;
  ASSERT_EQ(DetectVideo(Media("ab_scene.mkv"), layout), 10);
  // Samples 2, 4 and 6 (round(10 / 4) = 2, halves to even); the last split is above/below, the
  // +5 % trial's views cropped to their common size.
  const auto reference = test::ReadReference("ab_scene.bgr", 160, 240);
  ASSERT_EQ(reference.size(), 10u);
  EXPECT_TRUE(test::SamePicture(*gFrames.SourceFrame, *reference[6]));
  EXPECT_EQ(gFrames.StereoViews[0]->Height(), 114);
  EXPECT_EQ(gFrames.StereoViews[1]->Height(), 114);
}

TEST(LayoutGuessOpening, ClipsShorterThanFourFramesSkipSamplesPastTheirEnd) {
  RecordingSink sink;
  int16_t layout = 0;
  EXPECT_EQ(DetectVideo(Media("three.mkv"), layout), 3);  // samples 1, 2 and 3 (past the end)
  EXPECT_NE(layout, 0);
  EXPECT_TRUE(sink.messages.empty());
}

TEST(LayoutGuessOpening, FilesThatCannotBeExaminedGiveNoFramesAndTheReadersMessages) {
  // Files the reader refuses (all of its refusals take one way here), a picture without halves to
  // compare, one whose side-by-side difference passes the 32-bit range, and an unknown codec.
  for (const std::string file :
       {"truncated.mp4", "no_such_file.mkv", "one_pixel.png", "halves.png", "unknown_codec.avi"}) {
    SCOPED_TRACE(file);
    RecordingSink sink;
    gVideo.FrameCount = 99;
    int16_t layout = 0;
    EXPECT_EQ(DetectVideo(Media(file), layout), 0);
    EXPECT_EQ(gVideo.FrameCount, 0);
    std::vector<std::string> expected{"Unable to open AVI file."};
    if (file == "unknown_codec.avi") {
      expected.insert(expected.begin(), "No suitable decompressor found for this video stream!");
    }
    EXPECT_EQ(sink.Texts(), expected);
  }
}

}  // namespace
}  // namespace qv
