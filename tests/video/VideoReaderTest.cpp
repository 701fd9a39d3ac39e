// The reader against clips that ffmpeg made: lossless ones compared pixel for pixel with ffmpeg's
// own decode, lossy ones by the reference frame they resemble, damaged ones by their messages.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <vector>

#include "MediaSupport.h"
#include "stereo/FrameBuffers.h"
#include "stereo/Decoders.h"
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
  EXPECT_EQ(video.StreamStart, 0);
  EXPECT_EQ(video.StreamLength, clip.frames);
  EXPECT_EQ(video.StreamInfo.dwRate / video.StreamInfo.dwScale, 25u);
  EXPECT_EQ(video.StreamInfo.rcFrame.right, clip.width);
  EXPECT_EQ(video.StreamInfo.rcFrame.bottom, clip.height);
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

TEST_F(Reader, FilesWithoutPicturesAreReportedAndNothingStaysOpen) {
  for (const char* name :
       {"empty.avi", "random.avi", "truncated.mp4", "audio_only.wav", "no_such_file.avi"}) {
    SCOPED_TRACE(name);
    sink.messages.clear();
    EXPECT_FALSE(Open(name));
    ASSERT_EQ(sink.messages.size(), 1u);
    EXPECT_THAT(sink.messages[0].text, ::testing::StartsWith("An error occurred in OpenVideo. "));
    EXPECT_EQ(video.FrameGetter, nullptr);
    Picture any;
    any.Create(8, 8);
    EXPECT_FALSE(FetchFrame(video, 0, any));
  }
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
