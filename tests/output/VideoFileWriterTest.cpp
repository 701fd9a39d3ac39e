// Writing video files: lossless frames decoded back by the ffmpeg command exactly and upright,
// frames of other sizes scaled, sound written, and what the writer refuses.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdio>

#include "output/VideoFileWriter.h"
#include "support/TestSupport.h"

namespace qv {
namespace {

using namespace ::testing;

std::string RunCommand(const std::string& command) {
  std::string out;
  if (FILE* pipe = popen(command.c_str(), "r")) {
    char buffer[65536];
    size_t n;
    while ((n = fread(buffer, 1, sizeof buffer, pipe)) > 0) out.append(buffer, n);
    pclose(pipe);
  }
  return out;
}

// The frames of a file decoded by the ffmpeg command as packed top-down BGR.
std::string DecodedFrames(const std::string& path) {
  return RunCommand("ffmpeg -v error -i '" + path + "' -f rawvideo -pix_fmt bgr24 -");
}

std::string TopDownBytes(const Picture& picture) {
  std::string out;
  for (int y = 0; y < picture.Height(); ++y) {
    out.append(reinterpret_cast<const char*>(picture.Grid().DeviceRow(y)), 3 * picture.Width());
  }
  return out;
}

TEST(VideoFileWriter, LosslessFramesReadBackExactlyAndUpright) {
  test::TempDir dir;
  // Matroska does not take raw pictures; NUT does.
  for (const auto& [codec, file] : {std::pair{"ffv1", "out.mkv"}, {"rawvideo", "out.nut"}}) {
    SCOPED_TRACE(codec);
    std::string error;
    auto writer = VideoFileWriter::Open({dir.File(file), 7, 5, 25, 1, codec, 0, 0, ""}, error);
    ASSERT_TRUE(writer) << error;
    auto first = test::PatternPicture(7, 5, 1);
    auto second = test::PatternPicture(7, 5, 90);
    ASSERT_TRUE(writer->WriteFrame(*first));
    ASSERT_TRUE(writer->WriteFrame(*second));
    ASSERT_TRUE(writer->Close(error)) << error;
    EXPECT_EQ(writer->FramesWritten(), 2);
    EXPECT_EQ(DecodedFrames(dir.File(file)), TopDownBytes(*first) + TopDownBytes(*second));
  }
}

// Vorbis (Matroska) and MP2 (MPEG) refuse 8 kHz, and MP2 takes whole frames of 1152 samples: the
// sound is resampled and its end flushed, so it lasts as long as what was written.
TEST(VideoFileWriter, ScalesFramesOfAnotherSizeAndSoundLastsAsLongAsWritten) {
  test::TempDir dir;
  for (const char* name : {"sound.mkv", "sound.mpg"}) {
    const std::string path = dir.File(name);
    std::string error;
    auto writer = VideoFileWriter::Open({path, 64, 48, 25, 1, "", 8000, 2, ""}, error);
    ASSERT_TRUE(writer) << error;
    std::vector<float> tone(2 * 320, 0.25f);
    for (int i = 0; i < 25; ++i) {
      const bool full = i % 2;
      ASSERT_TRUE(
          writer->WriteFrame(*test::SolidPicture(full ? 64 : 33, full ? 48 : 17, {0, 200, 0})));
      ASSERT_TRUE(writer->WriteAudio(tone.data(), 320));
    }
    ASSERT_TRUE(writer->Close(error)) << name << ": " << error;
    const std::string probe = RunCommand(
        "ffprobe -v error -show_entries stream=codec_type,width,height,channels -of csv=p=0 '" +
        path + "'");
    EXPECT_THAT(probe, AllOf(HasSubstr("video,64,48"), HasSubstr("audio,2"))) << name;
    EXPECT_EQ(DecodedFrames(path).size(), 25u * 64 * 48 * 3) << name;
    const std::string sound =
        RunCommand("ffmpeg -v error -i '" + path + "' -map 0:a -f f32le -ac 1 -ar 8000 -");
    EXPECT_NEAR(static_cast<double>(sound.size() / sizeof(float)), 8000.0, 320.0) << name;
  }
}

TEST(VideoFileWriter, RefusesWhatItCannotWrite) {
  test::TempDir dir;
  auto refusal = [&](const std::string& file, int32_t width, const std::string& codec) {
    std::string error;
    const bool opened =
        VideoFileWriter::Open({dir.File(file), width, 8, 25, 1, codec, 0, 0, ""}, error) != nullptr;
    return opened ? std::string("opened") : error;
  };
  EXPECT_THAT(refusal("x.unknownext", 8, ""), HasSubstr("no known video file format"));
  EXPECT_THAT(refusal("x.mkv", 8, "nosuchcodec"), HasSubstr("unknown video encoder 'nosuchcodec'"));
  EXPECT_THAT(refusal("missing/x.mkv", 8, ""), HasSubstr("cannot create"));
  EXPECT_THAT(refusal("x.mkv", 0, ""), Not(AnyOf(IsEmpty(), Eq("opened"))));
}

}  // namespace
}  // namespace qv
