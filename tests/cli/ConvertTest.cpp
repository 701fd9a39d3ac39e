// `quorvex convert` run as a program. Its frames are checked against `quorvex render` of the same
// frame, pixel for pixel, through a lossless codec; its sound by length and by where a short tone
// burst of the input lands.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cmath>
#include <cstring>
#include <filesystem>
#include <tuple>

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
  EXPECT_THAT(
      Read("out.txt"),
      ::testing::MatchesRegex(".*flat.mkv: 10 frames in .* Put .* ms; conversion .* frames/s\n"));
  const auto frames = Frames("flat.mkv", 320, 240);
  ASSERT_EQ(frames.size(), 10u);
  for (int n : {0, 1, 9}) {
    const PictureRef expected =
        Render(In("flat_valley.mkv"), "--format 2d-to-3d --frame " + std::to_string(n));
    ASSERT_NE(expected, nullptr);
    EXPECT_TRUE(test::SamePicture(*frames[static_cast<size_t>(n)], *expected)) << "frame " << n;
  }
}

// Only the program's own messages reach standard error (encoders keep their reports), and the
// file gets the permissions of any new file of the user's.
TEST_F(Convert, AClipWithoutSoundGivesPicturesOnly) {
  const mode_t mask = ::umask(022);
  // A limit past the end: every frame there is.
  ASSERT_EQ(Run("convert " + In("sbs_scene.mkv") + " -o " + Out("quiet.mkv") +
                " --frames 50 --codec libx264"),
            0)
      << Read("err.txt");
  ::umask(mask);
  EXPECT_EQ(Read("err.txt"), "quorvex: " + test::Media("sbs_scene.mkv") + " has no sound track; " +
                                 home_.File("quiet.mkv") + " has pictures only\n");
  EXPECT_EQ(std::filesystem::status(home_.File("quiet.mkv")).permissions(),
            std::filesystem::perms(0644));
  ASSERT_EQ(std::system(("ffprobe -v error -show_entries stream=codec_type -of csv=p=0 " +
                         Out("quiet.mkv") + " >" + Out("streams.txt"))
                            .c_str()),
            0);
  EXPECT_EQ(Read("streams.txt"), "video\n");
  EXPECT_EQ(Frames("quiet.mkv", 160, 120).size(), 10u);
}

// The writer's own refusals are checked with the writer; one shows that convert passes them on.
TEST_F(Convert, RefusesWhatItCannotDoAndTellsWhyLeavingNothingBehind) {
  const std::string in = Out("sound.mkv"), convert = "convert " + in + " -o ";
  const std::pair<std::string, const char*> refusals[] = {
      {convert + "'" + home_.File("missing/x.mkv") + "'", "cannot write"},
      {convert + in, "is the input file"},
      {convert + Out("x.mkv") + " --start 10",
       "--start 10 is past the end of the video (10 frames)"},
      {"convert " + Out("nothing.mkv") + " -o " + Out("x.mkv"), "Unable to open AVI file."},
      {"convert " + In("empty.avi") + " -o " + Out("x.mkv") + " --format 5",
       "An error occurred in OpenVideo. "},
      // An encoder that cannot start (H.261 takes two picture sizes only), and a composer that
      // reports an error for every frame.
      {convert + Out("x.avi") + " --codec h261", "cannot start the video encoder h261"},
      {convert + Out("x.mkv") + " --method sync-doubled --vert-offset 0", "Division by zero"},
  };
  for (const auto& [arguments, reason] : refusals) ExpectRefusal(arguments, 1, reason);
  // A codec and a container that do not fit, and files that are no video files, are named.
  const std::pair<std::string, const char*> misfits[] = {
      {Out("x.avi") + " --codec libx265", "the avi format ('.avi') cannot hold libx265 video"},
      {Out("x.mkv") + " --codec a64multi", "cannot hold a64multi video"},
      {Out("x.mp3"), "holds sound only"},
      {Out("x.png"), "'quorvex render' writes one frame"},
      {Out("x.mkv") + " --codec nosuchcodec", "unknown video encoder 'nosuchcodec'"},
      {Out("x.qqq"), "no known video file format"},
  };
  for (const auto& [arguments, reason] : misfits) {
    ExpectRefusal(convert + arguments, 2, reason);
    EXPECT_THAT(Read("err.txt"), ::testing::Not(HasSubstr(" @ 0x"))) << "the library's own log";
  }
  for (const char* usage :
       {"", " -o x.mkv --frames 0", " -o x.mkv --start -1", " -o x.mkv --frame 2",
        " -o x.mkv --codec", " x.mkv", " -o x.mkv --no-sound=1", " -o x.mkv --vert-offset 101"}) {
    EXPECT_EQ(Run("convert " + in + usage), 2) << usage;
  }
  for (const std::string& name : test::FilesIn(home_.Path().string())) {
    EXPECT_TRUE(name.rfind("x.", 0) != 0 && name.rfind(".x.", 0) != 0) << name;
  }
}

// Formats without sound get the pictures; --no-sound asks for that anywhere; JPEG pictures in
// AVI are a video too.
TEST_F(Convert, PicturesOnlyWhereTheFormatHoldsNoSoundOrTheUserAsks) {
  const std::string streams = "ffprobe -v error -show_entries stream=codec_type -of csv=p=0 ";
  const std::tuple<const char*, const char*, bool> cases[] = {
      {"anim.gif", "", true},
      {"raw.y4m", "", true},
      {"quiet.mkv", " --no-sound", false},
      {"jpeg.avi", " --codec mjpeg", false}};
  for (const auto& [name, options, told] : cases) {
    SCOPED_TRACE(name);
    ASSERT_EQ(Run("convert " + Out("sound.mkv") + " -o " + Out(name) + options), 0)
        << Read("err.txt");
    EXPECT_EQ(Read("err.txt").find("holds no sound") != std::string::npos, told);
    ASSERT_EQ(std::system((streams + Out(name) + " >" + Out("streams.txt")).c_str()), 0);
    const bool mjpeg = std::string(options) == " --codec mjpeg";
    EXPECT_EQ(Read("streams.txt"), mjpeg ? "video\naudio\n" : "video\n");
    const std::string count =
        "ffprobe -v error -select_streams v:0 -count_frames -show_entries "
        "stream=nb_read_frames -of csv=p=0 ";
    ASSERT_EQ(std::system((count + Out(name) + " >" + Out("count.txt")).c_str()), 0);
    EXPECT_EQ(Read("count.txt"), "10\n");
  }
}

// Two conversions at once of videos of one name in two folders each get their own pictures.
TEST_F(Convert, SameNamedVideosConvertedAtOnceKeepTheirOwnPictures) {
  std::filesystem::create_directories(home_.File("a"));
  std::filesystem::create_directories(home_.File("b"));
  ASSERT_EQ(Ffmpeg("-i " + In("sbs_scene.mkv") + " -c:v mpeg2video -q:v 2 " + Out("a/clip.mpg")),
            0);
  ASSERT_EQ(Ffmpeg("-i " + In("sbs_scene.mkv") + " -vf hflip -c:v mpeg2video -q:v 2 " +
                   Out("b/clip.mpg")),
            0);
  const std::string common = " --codec ffv1 --format parallel --method anaglyph-red-green";
  std::string both;
  for (int round = 0; round < 3; ++round) {
    for (const char* side : {"a", "b"}) {
      both += "'" QUORVEX_PROGRAM "' convert " + Out(std::string(side) + "/clip.mpg") + " -o " +
              Out(std::string(side) + std::to_string(round) + ".mkv") + common +
              " >/dev/null 2>&1 & ";
    }
  }
  ASSERT_EQ(std::system(("XDG_CONFIG_HOME=" + Out("config") + " XDG_DATA_HOME=" + Out("data") +
                         " sh -c \"" + both + "wait\"")
                            .c_str()),
            0);
  for (const char* side : {"a", "b"}) {
    const PictureRef expected =
        Render(Out(std::string(side) + "/clip.mpg"), common.substr(13) + " --frame 0");
    ASSERT_NE(expected, nullptr);
    for (int round = 0; round < 3; ++round) {
      const auto frames = Frames(side + std::to_string(round) + ".mkv", 160, 120);
      ASSERT_EQ(frames.size(), 10u) << side << round;
      EXPECT_TRUE(test::SamePicture(*frames[0], *expected)) << side << round;
    }
  }
  // The scripts went with their processes.
  EXPECT_THAT(test::FilesIn(home_.File("data/Quorvex")), ::testing::IsEmpty());
}

// Interrupted, a conversion ends its file so that it plays, with the frames made so far, and
// exits as the signal asks; no temporary file stays.
TEST_F(Convert, AnInterruptedConversionLeavesAPlayableFileAndTheSignalsStatus) {
  ASSERT_EQ(Ffmpeg("-f lavfi -i testsrc2=size=320x240:rate=25:duration=60 -c:v mpeg4 -q:v 5 " +
                   Out("long.mkv")),
            0);
  for (const auto& [signal, status] : {std::pair("INT", 130), std::pair("TERM", 143)}) {
    SCOPED_TRACE(signal);
    const std::string out = "cut" + std::string(signal) + ".mp4";
    // Waits until the conversion has written something, then sends the signal.
    test::WriteFile(home_.File("interrupt.sh"),
                    "'" QUORVEX_PROGRAM "' convert " + Out("long.mkv") + " -o " + Out(out) +
                        " --format parallel 2>" + Out("err.txt") + " & p=$!\n" +
                        "for k in $(seq 600); do\n"
                        "  s=$(cat " +
                        Out("") + "/." + out +
                        ".*.mp4 2>/dev/null | wc -c)\n"
                        "  [ \"$s\" -gt 60000 ] && break; sleep 0.05\n"
                        "done\n"
                        "kill -" +
                        signal + " $p; wait $p; echo $? >" + Out("status.txt") + "\n");
    ASSERT_EQ(std::system(("XDG_CONFIG_HOME=" + Out("config") + " XDG_DATA_HOME=" + Out("data") +
                           " bash " + Out("interrupt.sh"))
                              .c_str()),
              0);
    EXPECT_EQ(Read("status.txt"), std::to_string(status) + "\n") << Read("err.txt");
    EXPECT_THAT(Read("err.txt"), HasSubstr("interrupted by SIG" + std::string(signal)));
    // Decodes from end to end without an error.
    ASSERT_EQ(std::system(
                  ("ffmpeg -v error -nostdin -i " + Out(out) + " -f null - 2>" + Out("decode.txt"))
                      .c_str()),
              0);
    EXPECT_EQ(Read("decode.txt"), "");
    const size_t frames = Frames(out, 160, 240).size();
    EXPECT_GT(frames, 0u);
    EXPECT_LT(frames, 1500u);
  }
  for (const auto& name : test::FilesIn(home_.Path().string())) {
    EXPECT_NE(name[0], '.') << name;
  }
}

}  // namespace
}  // namespace qv
