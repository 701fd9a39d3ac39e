// The reader against clips that ffmpeg made: lossless ones compared pixel for pixel with ffmpeg's
// own decode, lossy ones by the reference frame they resemble, damaged ones by their messages.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <vector>

#include "MediaSupport.h"
#include "image/FrameBuffers.h"
#include "stereo/LoadPics.h"
#include "video/VideoReader.h"

namespace qv {
namespace {

using test::Media;
using test::RecordingSink;
using ::testing::StartsWith;

struct Clip {
  const char* file;
  const char* reference;
  int32_t width, height, frames;
};

void PrintTo(const Clip& clip, std::ostream* os) {
  *os << clip.file;
}

DibRef NewFrame() {
  auto frame = std::make_shared<cDIBSection>();
  frame->Create(gVideo.FrameFormat.biWidth, gVideo.FrameFormat.biHeight);
  return frame;
}

int64_t Seeks() {
  return gVideo.FrameGetter ? gVideo.FrameGetter->SeekCount() : -1;
}

class LosslessClips : public ::testing::TestWithParam<Clip> {
 protected:
  void SetUp() override {
    const Clip& clip = GetParam();
    request_.FileName = Media(clip.file);
    ASSERT_TRUE(OpenVideo(request_)) << ::testing::PrintToString(sink_.Texts());
    references_ = test::ReadReference(clip.reference, clip.width, clip.height);
    ASSERT_EQ(static_cast<int>(references_.size()), clip.frames);
    frame_ = NewFrame();
  }
  void TearDown() override { CloseVideo(); }

  RecordingSink sink_;
  PlaybackRequest request_;
  std::vector<DibRef> references_;
  DibRef frame_;
};

TEST_P(LosslessClips, SequentialFetchesGiveEveryFrameExactlyWithoutSeeking) {
  const Clip& clip = GetParam();
  EXPECT_EQ(gVideo.StreamStart, 0);
  EXPECT_EQ(gVideo.StreamLength, clip.frames);
  EXPECT_EQ(gVideo.StreamInfo.dwRate / gVideo.StreamInfo.dwScale, 25u);
  EXPECT_EQ(gVideo.StreamInfo.rcFrame.right, clip.width);
  EXPECT_EQ(gVideo.StreamInfo.rcFrame.bottom, clip.height);
  const BitmapInfoHeader expected = BitmapInfoHeader::For24Bit(clip.width, clip.height);
  EXPECT_EQ(gVideo.FrameFormat.ToBytes(), expected.ToBytes());
  EXPECT_EQ(request_.FrameRate, 25.0);  // UseStreamRate = 1 takes the stream's rate

  for (int k = 0; k < clip.frames; ++k) {
    ASSERT_TRUE(FetchFrame(k, *frame_)) << "frame " << k;
    EXPECT_TRUE(test::SamePicture(*frame_, *references_[k])) << "frame " << k;
  }
  EXPECT_EQ(Seeks(), 0);
  EXPECT_FALSE(FetchFrame(clip.frames, *frame_));
  EXPECT_FALSE(FetchFrame(-1, *frame_));
  EXPECT_TRUE(sink_.messages.empty());
}

TEST_P(LosslessClips, FramesFetchedOutOfOrderAreTheFramesOfThoseNumbers) {
  const int n = GetParam().frames;
  for (int k : {n - 1, 0, n / 2, n / 2 - 1, n / 2 + 1, 1, n - 3, 2, n - 1}) {
    ASSERT_TRUE(FetchFrame(k, *frame_)) << "frame " << k;
    EXPECT_TRUE(test::SamePicture(*frame_, *references_[k])) << "frame " << k;
  }
  EXPECT_GT(Seeks(), 0);
}

INSTANTIATE_TEST_SUITE_P(Containers, LosslessClips,
                         ::testing::Values(Clip{"ffv1.mkv", "ffv1.bgr", 160, 120, 12},
                                           Clip{"odd_raw.avi", "odd_raw.bgr", 161, 97, 12},
                                           Clip{"utvideo.avi", "utvideo.bgr", 96, 64, 12},
                                           Clip{"bframes.mp4", "bframes.bgr", 128, 96, 30},
                                           Clip{"offset.mkv", "offset.bgr", 128, 96, 15}));

TEST(VideoReaderSeeking, OnlyJumpsBackOrPastAKeyFrameSeek) {
  RecordingSink sink;
  PlaybackRequest request;
  request.FileName = Media("bframes.mp4");  // key frames every 10 frames, B-frames between
  ASSERT_TRUE(OpenVideo(request));
  const auto references = test::ReadReference("bframes.bgr", 128, 96);
  DibRef frame = NewFrame();
  auto fetch = [&](int k) {
    ASSERT_TRUE(FetchFrame(k, *frame));
    EXPECT_TRUE(test::SamePicture(*frame, *references[k])) << "frame " << k;
  };
  fetch(25);  // from frame 0 past the key frames at 10 and 20
  EXPECT_EQ(Seeks(), 1);
  fetch(27);  // a short jump decodes through
  fetch(28);
  EXPECT_EQ(Seeks(), 1);
  fetch(21);  // back
  EXPECT_EQ(Seeks(), 2);
  fetch(22);
  fetch(29);
  EXPECT_EQ(Seeks(), 2);
  CloseVideo();
}

TEST(VideoReaderSharing, ANewFrameLeavesViewsCutFromThePreviousOneAsTheyWere) {
  RecordingSink sink;
  PlaybackRequest request;
  request.FileName = Media("ffv1.mkv");
  ASSERT_TRUE(OpenVideo(request));
  const auto references = test::ReadReference("ffv1.bgr", 160, 120);
  gFrames.SourceFrame = NewFrame();
  ASSERT_TRUE(FetchFrame(2, *gFrames.SourceFrame));
  LoadJPS(0, false);  // the views share the frame's memory
  ASSERT_TRUE(FetchFrame(3, *gFrames.SourceFrame));
  EXPECT_TRUE(test::SamePicture(*gFrames.SourceFrame, *references[3]));
  EXPECT_TRUE(test::SamePicture(*gFrames.StereoViews[0], *references[2]->Crop(120, 80, 0, 0)));
  EXPECT_TRUE(test::SamePicture(*gFrames.StereoViews[1], *references[2]->Crop(120, 80, 80, 0)));
  CloseVideo();
}

TEST(VideoReaderRate, TheRequestKeepsItsRateUnlessItAsksForTheStreams) {
  RecordingSink sink;
  PlaybackRequest request;
  request.FileName = Media("ffv1.mkv");
  request.UseStreamRate = 0;
  request.FrameRate = 12.5;
  ASSERT_TRUE(OpenVideo(request));
  EXPECT_EQ(request.FrameRate, 12.5);
  CloseVideo();
}

class LossyClips : public ::testing::TestWithParam<const char*> {};

TEST_P(LossyClips, EveryNumberGivesTheFrameOfThatNumberInAnyOrder) {
  RecordingSink sink;
  PlaybackRequest request;
  request.FileName = Media(GetParam());
  ASSERT_TRUE(OpenVideo(request)) << ::testing::PrintToString(sink.Texts());
  EXPECT_EQ(gVideo.StreamLength, 30);
  const auto references = test::ReadReference("lossy_ref.bgr", 128, 96);
  ASSERT_EQ(references.size(), 30u);
  std::vector<DibRef> sequential;
  for (int k = 0; k < 30; ++k) {
    sequential.push_back(NewFrame());
    ASSERT_TRUE(FetchFrame(k, *sequential[k])) << "frame " << k;
    EXPECT_EQ(test::NearestFrame(*sequential[k], references), k);
    EXPECT_LT(test::MeanDifference(*sequential[k], *references[k]), 4.0) << "frame " << k;
  }
  EXPECT_EQ(Seeks(), 0);
  // After a seek the decoder starts again at a key frame and decodes the same pictures.
  DibRef frame = NewFrame();
  for (int k : {29, 0, 14, 13, 15, 1, 27, 2}) {
    ASSERT_TRUE(FetchFrame(k, *frame)) << "frame " << k;
    EXPECT_TRUE(test::SamePicture(*frame, *sequential[k])) << "frame " << k;
  }
  CloseVideo();
  EXPECT_TRUE(sink.messages.empty());
}

// MPEG program and transport streams start their clocks at 0.54 s and 1.44 s; the MP4 carries a
// sound track; the MPEG-2 and H.264 ones have B-frames.
INSTANTIATE_TEST_SUITE_P(Containers, LossyClips,
                         ::testing::Values("mpeg2.mpg", "mpeg2.ts", "wmv2.wmv", "sound.mp4"));

TEST(VideoReaderBadInput, FilesWithoutPicturesAreReportedAndNothingStaysOpen) {
  for (const std::string name :
       {"empty.avi", "random.avi", "truncated.mp4", "audio_only.wav", "no_such_file.avi"}) {
    SCOPED_TRACE(name);
    RecordingSink sink;
    PlaybackRequest request;
    request.FileName = Media(name);
    EXPECT_FALSE(OpenVideo(request));
    ASSERT_EQ(sink.messages.size(), 1u);
    EXPECT_THAT(sink.messages[0].text, StartsWith("An error occurred in OpenVideo. "));
    EXPECT_EQ(gVideo.FrameGetter, nullptr);
    cDIBSection frame;
    frame.Create(8, 8);
    EXPECT_FALSE(FetchFrame(0, frame));
  }
}

TEST(VideoReaderBadInput, FramesMissingFromATruncatedFileFailAndTheRestStillDecode) {
  RecordingSink sink;
  PlaybackRequest request;
  request.FileName = Media("truncated_faststart.mp4");
  ASSERT_TRUE(OpenVideo(request));
  EXPECT_EQ(gVideo.StreamLength, 30);  // what the index promises
  const auto references = test::ReadReference("lossy_ref.bgr", 128, 96);
  DibRef frame = NewFrame();
  ASSERT_TRUE(FetchFrame(3, *frame));
  EXPECT_EQ(test::NearestFrame(*frame, references), 3);
  EXPECT_FALSE(FetchFrame(25, *frame));
  EXPECT_FALSE(FetchFrame(26, *frame));
  ASSERT_TRUE(FetchFrame(4, *frame));
  EXPECT_EQ(test::NearestFrame(*frame, references), 4);

  cDIBSection wrongSize;
  wrongSize.Create(127, 96);
  EXPECT_FALSE(FetchFrame(5, wrongSize));
  CloseVideo();
  EXPECT_TRUE(sink.messages.empty());
}

TEST(VideoReaderBadInput, DamagedPacketsCostTheirFramesAtMostAndTheStreamGoesOn) {
  RecordingSink sink;
  PlaybackRequest request;
  request.FileName = Media("damaged.ts");
  ASSERT_TRUE(OpenVideo(request));
  const auto references = test::ReadReference("lossy_ref.bgr", 128, 96);
  DibRef frame = NewFrame();
  int delivered = 0;
  for (int k = 0; k < gVideo.StreamLength; ++k) delivered += FetchFrame(k, *frame);
  EXPECT_GE(delivered, 24);
  for (int k : {29, 12, 27}) {  // the key frames at 12 and 24 start clean pictures again
    ASSERT_TRUE(FetchFrame(k, *frame)) << k;
    EXPECT_EQ(test::NearestFrame(*frame, references), k);
  }
  CloseVideo();
  EXPECT_TRUE(sink.messages.empty());
}

TEST(VideoReaderPictures, StillPicturesOfOddShapesAreOneFrameVideos) {
  RecordingSink sink;
  for (const auto& [name, width, height, colour] :
       {std::tuple{"one_pixel.png", 1, 1, test::Bgr{0, 0, 255}},
        std::tuple{"wide.png", 8192, 8, test::Bgr{255, 0, 0}}}) {
    SCOPED_TRACE(name);
    PlaybackRequest request;
    request.FileName = Media(name);
    ASSERT_TRUE(OpenVideo(request));
    EXPECT_EQ(gVideo.StreamLength, 1);
    DibRef frame = NewFrame();
    ASSERT_EQ(frame->Width(), width);
    ASSERT_EQ(frame->Height(), height);
    ASSERT_TRUE(FetchFrame(0, *frame));
    EXPECT_TRUE(test::SamePicture(*frame, *test::SolidPicture(width, height, colour)));
    EXPECT_FALSE(FetchFrame(1, *frame));
    CloseVideo();
  }
  EXPECT_TRUE(sink.messages.empty());
}

}  // namespace
}  // namespace qv
