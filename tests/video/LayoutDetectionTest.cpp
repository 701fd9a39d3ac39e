// The layout guess on stereo material made from moving scenes (two eye views of one scene, a
// few pixels of disparity apart), on plain 2D material, and on files it cannot examine. (Scripts
// reach it through the same opening as the reader's, tested with the script bridge.)
#include <gtest/gtest.h>

#include "MediaSupport.h"
#include "imageproc/ImageProcessor.h"
#include "stereo/Decoders.h"
#include "stereo/FrameBuffers.h"
#include "video/LayoutDetection.h"

namespace qv {
namespace {

using test::Media;
using test::RecordingSink;

struct Guess {
  const char* file;
  InputFormat layout;
  int32_t frames;
};
void PrintTo(const Guess& g, std::ostream* os) {
  *os << g.file;
}

class LayoutGuess : public ::testing::TestWithParam<Guess> {};

TEST_P(LayoutGuess, IsThePackingTheClipWasMadeWith) {
  RecordingSink sink;
  const VideoFacts facts = DetectVideo(Media(GetParam().file));
  EXPECT_EQ(std::tuple(facts.frames, facts.layout, facts.frameRate),
            std::tuple(GetParam().frames, GetParam().layout, 25.0));
  EXPECT_TRUE(sink.messages.empty()) << ::testing::PrintToString(sink.Texts());
}

INSTANTIATE_TEST_SUITE_P(
    Clips, LayoutGuess,
    ::testing::Values(
        Guess{"sbs_scene.mkv", InputFormat::Parallel, 10}, Guess{"sbs_valley.mkv", InputFormat::Parallel, 10},
        Guess{"ab_scene.mkv", InputFormat::AboveBelow, 10}, Guess{"ab_valley.mkv", InputFormat::AboveBelow, 10},
        // views stacked 5 % of their height out of line, either way
        Guess{"ab_noise_raised.mkv", InputFormat::AboveBelow, 10},
        Guess{"ab_noise_lowered.mkv", InputFormat::AboveBelow, 10}, Guess{"flat_valley.mkv", InputFormat::Plain2D, 10},
        Guess{"flat_cells.mkv", InputFormat::Plain2D, 10},
        // side by side in frames 0-7, above/below in 8-11: the sample at 9 decides
        Guess{"sbs_then_ab.mkv", InputFormat::AboveBelow, 12},
        // a uniform picture: nothing decides
        Guess{"wide.png", InputFormat::Plain2D, 1}));

TEST(LayoutGuessOpening, LeavesTheLastSampleAndItsSplitInTheFrameBuffers) {
  RecordingSink sink;
  VideoFile file;
  ASSERT_EQ(file.Open(Media("ab_scene.mkv")), VideoFile::OpenStatus::kOpened);
  PackedFrameGetter getter(file, FormatOf(InfoOf(file)));
  FrameBuffers frames;
  EXPECT_EQ(DetectLayout(getter, 0, file.Length(), frames), InputFormat::AboveBelow);
  // Samples 2, 4 and 6 (round(10 / 4) = 2, halves to even); the last split is above/below, the
  // +5 % trial's views cropped to their common size.
  const auto reference = test::ReadReference("ab_scene.bgr", 160, 240);
  ASSERT_EQ(reference.size(), 10u);
  EXPECT_TRUE(test::SamePicture(*frames.SourceFrame, *reference[6]));
  EXPECT_EQ(std::pair(frames.StereoViews[0]->Height(), frames.StereoViews[1]->Height()),
            std::pair(114, 114));
}

TEST(LayoutGuessOpening, OnlyTheShiftedTrialsRevealViewsStackedOutOfLine) {
  // On every sample of the noise clips, the halves compared in line decide nothing: above/below
  // differs no less than side by side divided by 1.3. The clips are still guessed Above/Below
  // (see the table above), so it is the 5 % trials that find them.
  for (const char* name : {"ab_noise_raised.mkv", "ab_noise_lowered.mkv"}) {
    SCOPED_TRACE(name);
    VideoFile file;
    ASSERT_EQ(file.Open(Media(name)), VideoFile::OpenStatus::kOpened);
    const BitmapInfoHeader format = FormatOf(InfoOf(file));
    for (int32_t sample : {2, 4, 6}) {
      FrameBuffers frames;
      frames.SourceFrame = std::make_shared<Picture>();
      frames.SourceFrame->Create(format.biWidth, format.biHeight);
      ASSERT_TRUE(file.ReadFrame(sample, frames.SourceFrame->Bits(),
                                 frames.SourceFrame->BytesPerScanLine(), format.biWidth,
                                 format.biHeight));
      const auto difference = [&](FrameDecoder split) {
        split(frames, 0, {});
        ImageProcessor processor;
        processor.CopyToArray(*frames.StereoViews[0]);
        int32_t sum = 0;
        processor.Correlate(*frames.StereoViews[1], processor.Arrays().SharedPixels, sum);
        return sum;
      };
      const int32_t parallel = difference(LoadJPS);
      EXPECT_GE(1.3 * difference(LoadAboveBelow), parallel) << "sample " << sample;
    }
  }
}

TEST(LayoutGuessOpening, ClipsShorterThanFourFramesSkipSamplesPastTheirEnd) {
  RecordingSink sink;
  const VideoFacts facts = DetectVideo(Media("three.mkv"));  // samples 1, 2 and 3 (past the end)
  EXPECT_EQ(facts.frames, 3);
  EXPECT_TRUE(sink.messages.empty());
}

TEST(LayoutGuessOpening, FilesThatCannotBeExaminedGiveNoFramesAndTheReadersMessages) {
  // Files the reader refuses, with its reasons; a picture without halves to compare, one whose
  // side-by-side difference passes the 32-bit range; and an unknown codec.
  for (const auto& [file, reason] :
       {std::pair<std::string, std::string>{"truncated.mp4", "Not a video file"},
        {"no_such_file.mkv", "No such file"},
        {"one_pixel.png", ""},
        {"halves.png", ""},
        {"unknown_codec.avi", "No decoder for the video stream."}}) {
    SCOPED_TRACE(file);
    RecordingSink sink;
    EXPECT_EQ(DetectVideo(Media(file)).frames, 0);
    std::vector<std::string> expected{"Unable to open AVI file." +
                                      (reason.empty() ? "" : "\n" + Media(file) + ": " + reason)};
    if (file == "unknown_codec.avi") {
      expected.insert(expected.begin(), "No suitable decompressor found for this video stream!");
    }
    EXPECT_EQ(sink.Texts(), expected);
  }
}

}  // namespace
}  // namespace qv
