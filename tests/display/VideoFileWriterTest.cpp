#include <gtest/gtest.h>

#include <cstdio>

#include "display/VideoFileWriter.h"
#include "support/TestSupport.h"

namespace qv {
namespace {

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

std::string TopDownBytes(const cDIBSection& picture) {
  std::string out;
  for (int y = 0; y < picture.Height(); ++y) {
    const auto* row = reinterpret_cast<const char*>(picture.Grid().DeviceRow(y));
    out.append(row, static_cast<size_t>(3 * picture.Width()));
  }
  return out;
}

TEST(VideoFileWriter, LosslessFramesReadBackExactlyAndUpright) {
  test::TempDir dir;
  for (const char* codec : {"ffv1", "rawvideo"}) {
    // Matroska does not take raw pictures; NUT does.
    const std::string path =
        dir.File(std::string("out-") + codec + (codec == std::string("ffv1") ? ".mkv" : ".nut"));
    std::string error;
    auto writer = VideoFileWriter::Open({path, 7, 5, 25, 1, codec, 0, 0, ""}, error);
    ASSERT_TRUE(writer) << error;
    auto first = test::PatternPicture(7, 5, 1);
    auto second = test::PatternPicture(7, 5, 90);
    ASSERT_TRUE(writer->WriteFrame(*first));
    ASSERT_TRUE(writer->WriteFrame(*second));
    ASSERT_TRUE(writer->Close(error)) << error;
    EXPECT_EQ(writer->FramesWritten(), 2);
    EXPECT_EQ(DecodedFrames(path), TopDownBytes(*first) + TopDownBytes(*second)) << codec;
  }
}

TEST(VideoFileWriter, ScalesFramesOfAnotherSizeAndWritesSound) {
  test::TempDir dir;
  const std::string path = dir.File("mixed.mkv");
  std::string error;
  auto writer = VideoFileWriter::Open({path, 64, 48, 10, 1, "", 8000, 2, ""}, error);
  ASSERT_TRUE(writer) << error;
  std::vector<float> tone(2 * 8000, 0.25f);
  for (int i = 0; i < 10; ++i) {
    ASSERT_TRUE(
        writer->WriteFrame(*test::SolidPicture(i % 2 ? 64 : 33, i % 2 ? 48 : 17, {0, 200, 0})));
    ASSERT_TRUE(writer->WriteAudio(tone.data() + 2 * 800 * i, 800));
  }
  ASSERT_TRUE(writer->Close(error)) << error;
  const std::string probe = RunCommand(
      "ffprobe -v error -show_entries stream=codec_type,width,height,channels -of csv=p=0 '" +
      path + "'");
  EXPECT_NE(probe.find("video,64,48"), std::string::npos) << probe;
  EXPECT_NE(probe.find("audio,2"), std::string::npos) << probe;
  EXPECT_EQ(DecodedFrames(path).size(), 10u * 64 * 48 * 3);
}

// Vorbis (Matroska) and MP2 (MPEG) refuse 8 kHz, and MP2 takes whole frames of 1152 samples: the
// sound is resampled and its end flushed, so it lasts as long as what was written.
TEST(VideoFileWriter, SoundLastsAsLongAsWrittenWhateverTheEncoder) {
  test::TempDir dir;
  for (const char* name : {"sound.mkv", "sound.mpg"}) {
    const std::string path = dir.File(name);
    std::string error;
    auto writer = VideoFileWriter::Open({path, 64, 48, 25, 1, "", 8000, 1, ""}, error);
    ASSERT_TRUE(writer) << error;
    std::vector<float> tone(320, 0.25f);
    for (int i = 0; i < 25; ++i) {
      ASSERT_TRUE(writer->WriteFrame(*test::SolidPicture(64, 48, {0, 200, 0})));
      ASSERT_TRUE(writer->WriteAudio(tone.data(), 320));
    }
    ASSERT_TRUE(writer->Close(error)) << name << ": " << error;
    const std::string sound =
        RunCommand("ffmpeg -v error -i '" + path + "' -map 0:a -f f32le -ac 1 -ar 8000 -");
    EXPECT_NEAR(static_cast<double>(sound.size() / sizeof(float)), 8000.0, 320.0) << name;
  }
}

TEST(VideoFileWriter, RefusesWhatItCannotWrite) {
  test::TempDir dir;
  std::string error;
  EXPECT_FALSE(VideoFileWriter::Open({dir.File("x.unknownext"), 8, 8, 25, 1, "", 0, 0, ""}, error));
  EXPECT_NE(error.find("no known video file format"), std::string::npos) << error;
  EXPECT_FALSE(
      VideoFileWriter::Open({dir.File("x.mkv"), 8, 8, 25, 1, "nosuchcodec", 0, 0, ""}, error));
  EXPECT_NE(error.find("unknown video encoder 'nosuchcodec'"), std::string::npos) << error;
  EXPECT_FALSE(
      VideoFileWriter::Open({dir.File("missing/x.mkv"), 8, 8, 25, 1, "", 0, 0, ""}, error));
  EXPECT_NE(error.find("cannot create"), std::string::npos) << error;
  EXPECT_FALSE(VideoFileWriter::Open({dir.File("x.mkv"), 0, 8, 25, 1, "", 0, 0, ""}, error));
}

}  // namespace
}  // namespace qv
