// The reader against clips that ffmpeg made: lossless ones compared pixel for pixel with ffmpeg's
// own decode, lossy ones by the reference frame they resemble, damaged ones by their messages.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <vector>

#include "MediaSupport.h"
#include "stereo/Decoders.h"
#include "stereo/FrameBuffers.h"
#include "video/VideoReader.h"

namespace qv {
namespace {

using test::Media;
using test::NearestFrame;
using test::ReadReference;
using test::SamePicture;

// Opens a clip, with a frame of its size to fetch into; closes it at the end.
class Reader : public ::testing::Test {
 protected:
  void TearDown() override { CloseVideo(video); }
  bool Open(const std::string& name) {
    if (!OpenVideo(Media(name), video)) return false;
    frame = NewFrame();
    return true;
  }
  PictureRef NewFrame() const {
    auto picture = std::make_shared<Picture>();
    picture->Create(video.FrameFormat.biWidth, video.FrameFormat.biHeight);
    return picture;
  }
  int64_t Seeks() const { return video.FrameGetter ? video.FrameGetter->SeekCount() : -1; }
  bool Fetch(int k) { return FetchFrame(video, k, *frame); }

  test::RecordingSink sink;
  VideoReaderState video;
  PictureRef frame;
};

struct Clip {
  const char* file;
  const char* reference;
  int32_t width, height, frames;
};
void PrintTo(const Clip& clip, std::ostream* os) {
  *os << clip.file;
}

class LosslessClips : public Reader, public ::testing::WithParamInterface<Clip> {
 protected:
  void SetUp() override {
    const Clip& clip = GetParam();
    ASSERT_TRUE(Open(clip.file)) << ::testing::PrintToString(sink.Texts());
    references = ReadReference(clip.reference, clip.width, clip.height);
    ASSERT_EQ(static_cast<int>(references.size()), clip.frames);
  }
  std::vector<PictureRef> references;
};

TEST_P(LosslessClips, SequentialFetchesGiveEveryFrameExactlyWithoutSeeking) {
  const Clip& clip = GetParam();
  const FrameRect& size = video.StreamInfo.rcFrame;
  EXPECT_EQ(std::tuple(video.StreamStart, video.StreamLength, size.right, size.bottom),
            std::tuple(0, clip.frames, clip.width, clip.height));
  EXPECT_EQ(video.StreamInfo.dwRate / video.StreamInfo.dwScale, 25u);
  EXPECT_EQ(video.FrameFormat.ToBytes(),
            BitmapInfoHeader::For24Bit(clip.width, clip.height).ToBytes());
  EXPECT_EQ(video.FrameRate(), 25.0);

  for (int k = 0; k < clip.frames; ++k) {
    ASSERT_TRUE(Fetch(k)) << "frame " << k;
    EXPECT_TRUE(SamePicture(*frame, *references[k])) << "frame " << k;
  }
  EXPECT_EQ(Seeks(), 0);
  EXPECT_FALSE(Fetch(clip.frames));
  EXPECT_FALSE(Fetch(-1));
  EXPECT_TRUE(sink.messages.empty());
}

TEST_P(LosslessClips, FramesFetchedOutOfOrderAreTheFramesOfThoseNumbers) {
  const int n = GetParam().frames;
  for (int k : {n - 1, 0, n / 2, n / 2 - 1, n / 2 + 1, 1, n - 3, 2, n - 1}) {
    ASSERT_TRUE(Fetch(k)) << "frame " << k;
    EXPECT_TRUE(SamePicture(*frame, *references[k])) << "frame " << k;
  }
  EXPECT_GT(Seeks(), 0);
}

INSTANTIATE_TEST_SUITE_P(Containers, LosslessClips,
                         ::testing::Values(Clip{"ffv1.mkv", "ffv1.bgr", 160, 120, 12},
                                           Clip{"odd_raw.avi", "odd_raw.bgr", 161, 97, 12},
                                           Clip{"utvideo.avi", "utvideo.bgr", 96, 64, 12},
                                           Clip{"bframes.mp4", "bframes.bgr", 128, 96, 30},
                                           Clip{"offset.mkv", "offset.bgr", 128, 96, 15}));

TEST_F(Reader, OnlyJumpsBackOrPastAKeyFrameSeek) {
  ASSERT_TRUE(Open("bframes.mp4"));  // key frames every 10 frames, B-frames between
  const auto references = ReadReference("bframes.bgr", 128, 96);
  // From frame 0 past the key frames at 10 and 20; short jumps decode through; back.
  const std::pair<int, int64_t> fetches[] = {{25, 1}, {27, 1}, {28, 1}, {21, 2}, {22, 2}, {29, 2}};
  for (const auto& [k, seeks] : fetches) {
    ASSERT_TRUE(Fetch(k));
    EXPECT_TRUE(SamePicture(*frame, *references[k])) << "frame " << k;
    EXPECT_EQ(Seeks(), seeks) << "after frame " << k;
  }
}

TEST_F(Reader, ANewFrameLeavesViewsCutFromThePreviousOneAsTheyWere) {
  ASSERT_TRUE(Open("ffv1.mkv"));
  const auto references = ReadReference("ffv1.bgr", 160, 120);
  FrameBuffers frames;
  frames.SourceFrame = frame;
  ASSERT_TRUE(Fetch(2));
  LoadJPS(frames);  // the views share the frame's memory
  ASSERT_TRUE(Fetch(3));
  EXPECT_TRUE(SamePicture(*frame, *references[3]));
  EXPECT_TRUE(SamePicture(*frames.StereoViews[0], *references[2]->Crop(120, 80, 0, 0)));
  EXPECT_TRUE(SamePicture(*frames.StereoViews[1], *references[2]->Crop(120, 80, 80, 0)));
}

class LossyClips : public Reader, public ::testing::WithParamInterface<const char*> {};

TEST_P(LossyClips, EveryNumberGivesTheFrameOfThatNumberInAnyOrder) {
  ASSERT_TRUE(Open(GetParam())) << ::testing::PrintToString(sink.Texts());
  EXPECT_EQ(video.StreamLength, 30);
  const auto references = ReadReference("lossy_ref.bgr", 128, 96);
  ASSERT_EQ(references.size(), 30u);
  std::vector<PictureRef> sequential;
  for (int k = 0; k < 30; ++k) {
    sequential.push_back(NewFrame());
    ASSERT_TRUE(FetchFrame(video, k, *sequential[k])) << "frame " << k;
    EXPECT_EQ(NearestFrame(*sequential[k], references), k);
    EXPECT_LT(test::MeanDifference(*sequential[k], *references[k]), 4.0) << "frame " << k;
  }
  EXPECT_EQ(Seeks(), 0);
  // After a seek the decoder starts again at a key frame and decodes the same pictures.
  for (int k : {29, 0, 14, 13, 15, 1, 27, 2}) {
    ASSERT_TRUE(Fetch(k)) << "frame " << k;
    EXPECT_TRUE(SamePicture(*frame, *sequential[k])) << "frame " << k;
  }
  EXPECT_TRUE(sink.messages.empty());
}

// MPEG program and transport streams start their clocks at 0.54 s and 1.44 s; the MP4 carries a
// sound track; the MPEG-2 and H.264 ones have B-frames.
INSTANTIATE_TEST_SUITE_P(Containers, LossyClips,
                         ::testing::Values("mpeg2.mpg", "mpeg2.ts", "wmv2.wmv", "sound.mp4"));

TEST_F(Reader, FilesWithoutPicturesAreReportedWithTheReasonAndNothingStaysOpen) {
  test::TempDir dir;
  const std::string pipe = dir.File("pipe.avi");
  ASSERT_EQ(::mkfifo(pipe.c_str(), 0600), 0);
  test::WriteFile(dir.File("lost.avs"), "DirectShowSource(\"" + dir.File("gone.mpg") + "\")\r\n");
  const std::string lost = dir.File("gone.mpg") + " (named by " + dir.File("lost.avs") + ")";
  const std::pair<std::string, std::string> cases[] = {
      {Media("empty.avi"), "Empty file"},
      {Media("random.avi"), "Not a video file"},
      {Media("truncated.mp4"), "Not a video file"},
      {Media("audio_only.wav"), "No video stream"},
      {Media("no_such_file.avi"), "No such file"},
      {Media(""), "Is a directory"},
      {"/dev/null", "A pipe or device cannot be read twice"},
      {pipe, "A pipe or device cannot be read twice"},
      {"http://10.255.255.1/x.mp4", "Not a local file: URLs are refused"},
      {"concat:" + Media("ffv1.mkv") + "|" + Media("ffv1.mkv"),
       "Not a local file: URLs are refused"},
      {lost, "No such file"}};
  for (const auto& [path, reason] : cases) {
    SCOPED_TRACE(path);
    sink.messages.clear();
    const std::string opened = path == lost ? dir.File("lost.avs") : path;
    EXPECT_FALSE(OpenVideo(opened, video));
    ASSERT_EQ(sink.messages.size(), 1u);
    EXPECT_EQ(sink.messages[0].text, "An error occurred in OpenVideo. \n" + path + ": " + reason);
    EXPECT_EQ(video.FrameGetter, nullptr);
    Picture any;
    any.Create(8, 8);
    EXPECT_FALSE(FetchFrame(video, 0, any));
  }
}

TEST_F(Reader, ANameWithAColonIsAFileNotAProtocol) {
  test::TempDir dir;
  test::WriteFile(dir.File("concat:clip.mkv"), test::ReadFile(Media("three.mkv")));
  const std::filesystem::path before = std::filesystem::current_path();
  std::filesystem::current_path(dir.File(""));
  const bool opened = OpenVideo("concat:clip.mkv", video);
  std::filesystem::current_path(before);
  ASSERT_TRUE(opened) << ::testing::PrintToString(sink.Texts());
  EXPECT_EQ(video.StreamLength, 3);
}

TEST_F(Reader, AnUnreadableFileIsReportedAsSuch) {
  if (::geteuid() == 0) GTEST_SKIP() << "root reads every file";
  test::TempDir dir;
  const std::string name = dir.File("locked.mkv");
  test::WriteFile(name, test::ReadFile(Media("three.mkv")));
  ASSERT_EQ(::chmod(name.c_str(), 0), 0);
  EXPECT_EQ(LocalFileProblem(name), "Permission denied");
}

// A copy of odd_raw.avi (12 raw frames) with 32-bit header fields replaced: each patch names the
// chunk, the field's offset in the chunk's data and the new value.
struct HeaderPatch {
  const char* chunk;
  size_t offset;
  uint32_t value;
};
std::string PatchedAvi(const std::string& path, const std::vector<HeaderPatch>& patches) {
  std::string bytes = test::ReadFile(Media("odd_raw.avi"));
  for (const HeaderPatch& patch : patches) {
    const size_t at = bytes.find(patch.chunk);
    if (at == std::string::npos) ADD_FAILURE() << "no " << patch.chunk;
    for (size_t i = 0; i < 4 && at != std::string::npos; ++i)
      bytes[at + 8 + patch.offset + i] = static_cast<char>(patch.value >> (8 * i));
  }
  test::WriteFile(path, bytes);
  return path;
}

TEST_F(Reader, DamagedHeadersGiveTheFramesTheFileHoldsAtAUsableRate) {
  const auto references = ReadReference("odd_raw.bgr", 161, 97);
  test::TempDir dir;
  // dwTotalFrames of the main header, dwScale, dwRate and dwLength of the stream header.
  const std::pair<const char*, std::vector<HeaderPatch>> files[] = {
      {"count.avi", {{"avih", 16, 0x7fffffffu}, {"strh", 32, 0x7fffffffu}}},
      {"rate.avi", {{"strh", 20, 0x80000000u}, {"strh", 24, 1}}},
      {"both.avi", {{"strh", 20, 1}, {"strh", 24, 0xfffffff0u}, {"strh", 32, 0x7fffffffu}}}};
  for (const auto& [name, patches] : files) {
    SCOPED_TRACE(name);
    ASSERT_TRUE(OpenVideo(PatchedAvi(dir.File(name), patches), video));
    frame = NewFrame();
    EXPECT_EQ(video.StreamLength, 12);
    EXPECT_EQ(std::pair(video.StreamInfo.dwRate, video.StreamInfo.dwScale), std::pair(25u, 1u));
    for (int k : {0, 1, 2, 11, 5, 6, 3}) {
      ASSERT_TRUE(Fetch(k)) << "frame " << k;
      EXPECT_TRUE(SamePicture(*frame, *references[k])) << "frame " << k;
    }
    CloseVideo(video);
  }
  EXPECT_TRUE(sink.messages.empty());
}

// A program stream's clock gives 48 of its 50 frames; the joined transport stream's clock starts
// again halfway, at the same time as before.
TEST_F(Reader, MpegStreamsHaveEveryFrameCountedAndNumberedInOrder) {
  const auto references = ReadReference("joined_ref.bgr", 128, 96);
  ASSERT_EQ(references.size(), 60u);
  for (const auto& [name, frames] : {std::pair{"fifty.vob", 50}, std::pair{"joined.ts", 60}}) {
    SCOPED_TRACE(name);
    ASSERT_TRUE(Open(name)) << ::testing::PrintToString(sink.Texts());
    EXPECT_EQ(video.StreamLength, frames);
    for (int k = 0; k < frames; ++k) {
      ASSERT_TRUE(Fetch(k)) << "frame " << k;
      EXPECT_EQ(NearestFrame(*frame, references), k);
    }
    for (int k : {frames - 5, 3, frames - 1, 31}) {
      ASSERT_TRUE(Fetch(k)) << "frame " << k;
      EXPECT_EQ(NearestFrame(*frame, references), k);
    }
    EXPECT_FALSE(Fetch(frames));
    CloseVideo(video);
  }
  EXPECT_TRUE(sink.messages.empty());
}

TEST_F(Reader, FramesMissingFromATruncatedFileFailAndTheRestStillDecode) {
  ASSERT_TRUE(Open("truncated_faststart.mp4"));
  EXPECT_EQ(video.StreamLength, 30);  // what the index promises
  const auto references = ReadReference("lossy_ref.bgr", 128, 96);
  for (int k : {3, 25, 26, 4}) {
    EXPECT_EQ(Fetch(k), k < 25) << k;
    if (k < 25) {
      EXPECT_EQ(NearestFrame(*frame, references), k);
    }
  }
  Picture wrongSize;
  wrongSize.Create(127, 96);
  EXPECT_FALSE(FetchFrame(video, 5, wrongSize));
  EXPECT_TRUE(sink.messages.empty());
}

TEST_F(Reader, DamagedPacketsCostTheirFramesAtMostAndTheStreamGoesOn) {
  ASSERT_TRUE(Open("damaged.ts"));
  const auto references = ReadReference("lossy_ref.bgr", 128, 96);
  int delivered = 0;
  for (int k = 0; k < video.StreamLength; ++k) delivered += Fetch(k);
  EXPECT_GE(delivered, 24);
  for (int k : {29, 12, 27}) {  // the key frames at 12 and 24 start clean pictures again
    ASSERT_TRUE(Fetch(k)) << k;
    EXPECT_EQ(NearestFrame(*frame, references), k);
  }
  EXPECT_TRUE(sink.messages.empty());
}

TEST_F(Reader, StillPicturesOfOddShapesAreOneFrameVideos) {
  for (const auto& [name, width, height, colour] :
       {std::tuple{"one_pixel.png", 1, 1, test::Bgr{0, 0, 255}},
        std::tuple{"wide.png", 8192, 8, test::Bgr{255, 0, 0}}}) {
    SCOPED_TRACE(name);
    ASSERT_TRUE(Open(name));
    EXPECT_EQ(video.StreamLength, 1);
    ASSERT_TRUE(Fetch(0));
    EXPECT_TRUE(SamePicture(*frame, *test::SolidPicture(width, height, colour)));
    EXPECT_FALSE(Fetch(1));
    CloseVideo(video);
  }
  EXPECT_TRUE(sink.messages.empty());
}

}  // namespace
}  // namespace qv
