// `quorvex convert` run as a program. Its frames are checked against `quorvex render` of the same
// frame, pixel for pixel, through a lossless codec; its sound by length and by where a short tone
// burst of the input lands.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <filesystem>

#include "cli/CliTestSupport.h"

namespace qv {
namespace {

using ::testing::HasSubstr;

constexpr int kRate = 44100;
constexpr int kSamplesPerFrame = kRate / 25;

class Convert : public test::Cli {
 protected:
  // The side-by-side scene (10 frames at 25 per second) with a sound track that is silent but for
  // a 1 kHz burst during frame 5 (0.2 s to 0.24 s).
  void SetUp() override {
    ASSERT_EQ(Ffmpeg("-i " + In("sbs_scene.mkv") +
                     " -f lavfi -i \"aevalsrc=0.9*sin(2*PI*1000*t)*between(t\\,0.2\\,0.24):s=" +
                     std::to_string(kRate) + ":d=0.4\" -map 0:v -map 1:a -c:v copy -c:a flac " +
                     Out("sound.mkv")),
              0);
  }
  // The sound as mono samples at the input's rate.
  std::vector<float> Sound(const std::string& name) {
    if (Ffmpeg("-i " + Out(name) + " -map 0:a -f f32le -ac 1 -ar " + std::to_string(kRate) + " " +
               Out("sound.f32")))
      return {};
    const std::string bytes = Read("sound.f32");
    std::vector<float> samples(bytes.size() / sizeof(float));
    std::memcpy(samples.data(), bytes.data(), samples.size() * sizeof(float));
    return samples;
  }
  int FirstLoudSample(const std::vector<float>& sound) {
    for (size_t i = 0; i < sound.size(); ++i) {
      if (std::abs(sound[i]) > 0.45f) return static_cast<int>(i);
    }
    return -1;
  }
  // Every frame of the converted file is the one `quorvex render` composes with the options.
  void ExpectRenderedFrames(const std::string& name, const std::string& options, int first,
                            int count) {
    const auto frames = Frames(name, 160, 120);
    ASSERT_EQ(frames.size(), static_cast<size_t>(count));
    for (int n = 0; n < count; ++n) {
      const PictureRef expected =
          Render(Out("sound.mkv"), options + " --frame " + std::to_string(first + n));
      ASSERT_NE(expected, nullptr);
      EXPECT_TRUE(test::SamePicture(*frames[n], *expected)) << "frame " << first + n;
    }
  }
};

TEST_F(Convert, EveryFrameIsTheOneRenderComposesAndTheSoundLastsAsLong) {
  const std::string method = "--method anaglyph-red-green";
  ASSERT_EQ(
      Run("convert " + Out("sound.mkv") + " -o " + Out("ana.mkv") + " --codec ffv1 " + method), 0)
      << Read("err.txt");
  EXPECT_THAT(Read("out.txt"), ::testing::MatchesRegex(".*ana.mkv: 10 frames in .* frames/s\\); "
                                                       "Get Frame .* ms, Decode .* ms, Encode .* "
                                                       "ms, Put .* ms\n"));
  ExpectRenderedFrames("ana.mkv", method, 0, 10);
  const auto sound = Sound("ana.mkv");
  EXPECT_NEAR(static_cast<double>(sound.size()), 10.0 * kSamplesPerFrame, kSamplesPerFrame);
  EXPECT_NEAR(FirstLoudSample(sound), 5 * kSamplesPerFrame, kRate / 200);
}

TEST_F(Convert, StartAndFramesChooseTheRangeAndTheSoundFollows) {
  // Side by side to the stored glasses' method ("Anaglyph (Red/Green)" when none is stored).
  ASSERT_EQ(Run("convert " + Out("sound.mkv") + " -o " + Out("part.nut") +
                " --codec rawvideo --start 3 --frames 4"),
            0)
      << Read("err.txt");
  ExpectRenderedFrames("part.nut", "", 3, 4);
  const auto sound = Sound("part.nut");
  EXPECT_NEAR(static_cast<double>(sound.size()), 4.0 * kSamplesPerFrame, kSamplesPerFrame);
  EXPECT_NEAR(FirstLoudSample(sound), 2 * kSamplesPerFrame, kRate / 200);

  // The frames of a side-by-side method pass through to the OpenGL kind of surface, whose put
  // results the session does not consult: the limit still ends the session.
  ASSERT_EQ(Run("convert " + Out("sound.mkv") + " -o " + Out("tail.mkv") +
                " --codec ffv1 --glasses 4 --start 7 --frames 2"),
            0)
      << Read("err.txt");
  const auto passed = Frames("tail.mkv", 320, 120);
  const auto source = test::ReadReference("sbs_scene.bgr", 320, 120);
  ASSERT_EQ(passed.size(), 2u);
  EXPECT_TRUE(test::SamePicture(*passed[0], *source[7]));
  EXPECT_TRUE(test::SamePicture(*passed[1], *source[8]));
}

TEST_F(Convert, TwoDimensionalVideoIsConvertedAsRenderConvertsItWithItsRateInTheSummary) {
  // Guessed 2D, so converted: every frame is the one render converts from the first frame on.
  ASSERT_EQ(Run("convert " + In("flat_valley.mkv") + " -o " + Out("flat.mkv") + " --codec ffv1"), 0)
      << Read("err.txt");
  EXPECT_THAT(Read("out.txt"),
              ::testing::MatchesRegex(".*flat.mkv: 10 frames in .* Put .* ms; conversion .* frames/s\n"));
  const auto frames = Frames("flat.mkv", 320, 240);
  ASSERT_EQ(frames.size(), 10u);
  for (int n : {0, 1, 9}) {
    const PictureRef expected = Render(In("flat_valley.mkv"), "--format 2d-to-3d --frame " + std::to_string(n));
    ASSERT_NE(expected, nullptr);
    EXPECT_TRUE(test::SamePicture(*frames[static_cast<size_t>(n)], *expected)) << "frame " << n;
  }
}

TEST_F(Convert, AClipWithoutSoundGivesPicturesOnly) {
  // A limit past the end: every frame there is.
  ASSERT_EQ(Run("convert " + In("sbs_scene.mkv") + " -o " + Out("quiet.mkv") + " --frames 50"), 0)
      << Read("err.txt");
  EXPECT_THAT(Read("err.txt"), HasSubstr("has no sound track"));
  ASSERT_EQ(std::system(("ffprobe -v error -show_entries stream=codec_type -of csv=p=0 " +
                         Out("quiet.mkv") + " >" + Out("streams.txt"))
                            .c_str()),
            0);
  EXPECT_EQ(Read("streams.txt"), "video\n");
  EXPECT_EQ(Frames("quiet.mkv", 160, 120).size(), 10u);
}

// The writer's own refusals are checked with the writer; one shows that convert passes them on.
TEST_F(Convert, RefusesWhatItCannotDoAndTellsWhy) {
  const std::string in = Out("sound.mkv"), convert = "convert " + in + " -o ";
  const std::pair<std::string, const char*> refusals[] = {
      {convert + "'" + home_.File("missing/x.mkv") + "'",
       "The video file could not be written: cannot create"},
      {convert + in, "is the input file"},
      {convert + Out("x.mkv") + " --start 10",
       "--start 10 is past the end of the video (10 frames)"},
      {"convert " + Out("nothing.mkv") + " -o " + Out("x.mkv"), "Unable to open AVI file."},
      {"convert " + In("empty.avi") + " -o " + Out("x.mkv") + " --format 5",
       "An error occurred in OpenVideo. "},
  };
  for (const auto& [arguments, reason] : refusals) ExpectRefusal(arguments, 1, reason);
  for (const char* usage : {"", " -o x.mkv --frames 0", " -o x.mkv --start -1",
                            " -o x.mkv --frame 2", " -o x.mkv --codec", " x.mkv"}) {
    EXPECT_EQ(Run("convert " + in + usage), 2) << usage;
  }
  EXPECT_FALSE(std::filesystem::exists(home_.File("x.mkv")));
}

}  // namespace
}  // namespace qv
