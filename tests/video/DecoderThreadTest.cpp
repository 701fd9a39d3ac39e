// The decoder thread against a direct VideoFile read of the same clips: the frames it hands out,
// in order, after skips and jumps, on damaged and truncated files and at the end; how it recycles
// its pictures; and that stopping it always ends a wait.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <set>
#include <thread>
#include <vector>

#include "MediaSupport.h"
#include "base/FileGuard.h"
#include "video/DecoderThread.h"

namespace qv {

void PrintTo(FrameStatus status, std::ostream* os) {
  constexpr const char* kNames[] = {"delivered", "undeliverable", "past the end", "stopped"};
  *os << kNames[static_cast<int>(status)];
}

namespace {

using test::Media;
using test::SamePicture;
constexpr auto D = FrameStatus::kDelivered;
constexpr auto U = FrameStatus::kUndeliverable;
constexpr auto P = FrameStatus::kPastEnd;

// Every frame of a clip read in order by a VideoFile of its own; nullptr where it could not be.
struct DirectRead {
  std::vector<PictureRef> frames;
  int64_t seeks = 0;
};

DirectRead ReadDirectly(const std::string& name) {
  VideoFile file;
  DirectRead read;
  if (file.Open(Media(name)) != VideoFile::OpenStatus::kOpened) return read;
  for (int32_t k = 0; k < file.Length(); ++k) {
    auto picture = std::make_shared<Picture>();
    picture->Create(file.Width(), file.Height());
    const bool delivered = file.ReadFrame(k, picture->Bits(), picture->BytesPerScanLine(),
                                          file.Width(), file.Height());
    read.frames.push_back(delivered ? picture : nullptr);
  }
  read.seeks = file.SeekCount();
  return read;
}

class SequentialRun : public ::testing::TestWithParam<const char*> {};

TEST_P(SequentialRun, GivesWhatADirectReadGivesAndRecyclesItsPictures) {
  const DirectRead direct = ReadDirectly(GetParam());
  ASSERT_FALSE(direct.frames.empty());
  DecoderThread decoder;
  ASSERT_EQ(decoder.Open(Media(GetParam())), VideoFile::OpenStatus::kOpened);
  ASSERT_EQ(decoder.Length(), static_cast<int32_t>(direct.frames.size()));
  ASSERT_TRUE(decoder.Start(0, decoder.Length() - 1));

  PictureRef frame;
  std::set<const Picture*> pictures;
  for (int32_t k = 0; k < decoder.Length(); ++k) {
    const FrameStatus status = decoder.Take(k, frame);
    ASSERT_EQ(status, direct.frames[k] ? D : U) << "frame " << k;
    if (status == D) {
      EXPECT_TRUE(SamePicture(*frame, *direct.frames[k])) << "frame " << k;
      pictures.insert(frame.get());
    }
  }
  EXPECT_EQ(decoder.Take(decoder.Length(), frame), P);
  EXPECT_EQ(decoder.SeekCount(), direct.seeks);
  EXPECT_EQ(decoder.Waits().takes, decoder.Length());
  // The queue, the frame being decoded and the caller's: no picture made per frame.
  EXPECT_LE(pictures.size(), DecoderThread::kQueuedFrames + 2);
}

// Lossless, lossy with B-frames, a transport stream with noise over some packets, and an MP4
// whose second half is missing.
INSTANTIATE_TEST_SUITE_P(Clips, SequentialRun,
                         ::testing::Values("ffv1.mkv", "bframes.mp4", "mpeg2.ts", "damaged.ts",
                                           "truncated_faststart.mp4"));

struct Step {
  int32_t index;
  FrameStatus status;
};
struct Walk {
  const char* clip;
  int32_t first, last;
  std::vector<Step> steps;
  int64_t maxSeeks;  // a jump costs at most one seek; going on from a skip none
};
void PrintTo(const Walk& walk, std::ostream* os) {
  *os << walk.clip << " from " << walk.first;
}

class Walks : public ::testing::TestWithParam<Walk> {};

TEST_P(Walks, SkipsAndJumpsGiveTheFramesOfThoseNumbers) {
  const Walk& walk = GetParam();
  const DirectRead direct = ReadDirectly(walk.clip);
  DecoderThread decoder;
  ASSERT_EQ(decoder.Open(Media(walk.clip)), VideoFile::OpenStatus::kOpened);
  ASSERT_TRUE(decoder.Start(walk.first, walk.last));
  PictureRef frame;
  for (const Step& step : walk.steps) {
    SCOPED_TRACE("frame " + std::to_string(step.index));
    ASSERT_EQ(decoder.Take(step.index, frame), step.status);
    if (step.status == D) {
      EXPECT_TRUE(SamePicture(*frame, *direct.frames[step.index]));
    }
  }
  EXPECT_LE(decoder.SeekCount(), walk.maxSeeks);
}

INSTANTIATE_TEST_SUITE_P(
    Clips, Walks,
    ::testing::Values(
        // Key frames at 0, 10 and 20: skips of a few frames decode through, the jump back and
        // the jump past two key frames seek once each.
        Walk{"bframes.mp4",
             0,
             29,
             {{0, D},
              {1, D},
              {2, D},
              {5, D},
              {6, D},
              {2, D},
              {3, D},
              {25, D},
              {26, D},
              {29, D},
              {30, P}},
             2},
        // Half of the data is missing (frame 8 and those from 10 on do not decode); the decoder
        // goes on serving the frames that are there.
        Walk{"truncated_faststart.mp4",
             0,
             29,
             {{7, D}, {8, U}, {9, D}, {12, U}, {3, D}, {4, D}, {29, U}, {5, D}},
             2},
        // A part of the stream: numbers after `last` are past the end, those before `first` may
        // still be asked for.
        Walk{"ffv1.mkv", 5, 8, {{5, D}, {6, D}, {9, P}, {8, D}, {2, D}, {-1, P}, {40, P}}, 1}));

// The caller's pictures after the next Take, and the wait that a jump back always is.
TEST(DecoderThread, KeptPicturesAndViewsKeepTheirPixelsAndAJumpIsACountedWait) {
  const DirectRead direct = ReadDirectly("ffv1.mkv");
  DecoderThread decoder;
  ASSERT_EQ(decoder.Open(Media("ffv1.mkv")), VideoFile::OpenStatus::kOpened);
  ASSERT_TRUE(decoder.Start(0, 11));
  PictureRef frame;
  ASSERT_EQ(decoder.Take(1, frame), D);
  const PictureRef kept = frame;
  ASSERT_EQ(decoder.Take(2, frame), D);
  const PictureRef view = frame->CropView(60, 80, 40, 30);
  for (int32_t k = 3; k < 12; ++k) ASSERT_EQ(decoder.Take(k, frame), D);
  EXPECT_TRUE(SamePicture(*kept, *direct.frames[1]));
  EXPECT_TRUE(SamePicture(*view, *direct.frames[2]->Crop(60, 80, 40, 30)));

  const FrameWaits before = decoder.Waits();
  ASSERT_EQ(decoder.Take(4, frame), D);  // the queue is thrown away: frame 4 cannot be ready
  EXPECT_TRUE(SamePicture(*frame, *direct.frames[4]));
  EXPECT_EQ(decoder.Waits().takes, before.takes + 1);
  EXPECT_EQ(decoder.Waits().waits, before.waits + 1);
  EXPECT_GT(decoder.Waits().waitSeconds, before.waitSeconds);
}

TEST(DecoderThread, StoppingIsSafeAtAnyTimeAndAStartAfterItWorks) {
  DecoderThread decoder;
  PictureRef frame;
  EXPECT_FALSE(decoder.Start(0, 10));  // nothing open
  EXPECT_EQ(decoder.Open(Media("no_such_file.avi")), VideoFile::OpenStatus::kNotOpened);
  EXPECT_FALSE(decoder.FailureText().empty());
  EXPECT_FALSE(decoder.Start(0, 10));
  EXPECT_EQ(decoder.Take(0, frame), FrameStatus::kStopped);
  decoder.Stop();
  decoder.Stop();

  const DirectRead direct = ReadDirectly("ffv1.mkv");
  ASSERT_EQ(decoder.Open(Media("ffv1.mkv")), VideoFile::OpenStatus::kOpened);
  EXPECT_EQ(decoder.Take(0, frame), FrameStatus::kStopped);  // opened, not started
  ASSERT_TRUE(decoder.Start(0, 11));
  ASSERT_EQ(decoder.Take(0, frame), D);
  decoder.Stop();
  EXPECT_EQ(decoder.Take(1, frame), FrameStatus::kStopped);
  EXPECT_TRUE(SamePicture(*frame, *direct.frames[0]));  // left as it was
  decoder.Stop();
  ASSERT_TRUE(decoder.Start(7, 11));
  ASSERT_EQ(decoder.Take(7, frame), D);
  EXPECT_TRUE(SamePicture(*frame, *direct.frames[7]));
  // The destructor stops a thread with a full queue.
}

// A stream that stalls (a pipe whose writer has gone quiet): a Take waiting for a frame that
// cannot come yet ends when another thread stops the decoder, and the stop itself ends once the
// decoder thread's read returns.
TEST(DecoderThread, AStopFromAnotherThreadEndsAWaitOnAStalledStream) {
  const std::string pipe =
      (std::filesystem::temp_directory_path() / ("qv_stall_" + std::to_string(::getpid())))
          .string();
  std::filesystem::remove(pipe);
  ASSERT_EQ(::mkfifo(pipe.c_str(), 0600), 0);
  const std::string bytes = test::ReadFile(Media("odd_raw.avi"));  // 12 raw frames
  std::atomic<bool> hangUp{false};
  std::thread writer([&] {
    FileStreamPtr out(std::fopen(pipe.c_str(), "wb"));  // waits for the reader
    if (!out) return;
    std::fwrite(bytes.data(), 1, bytes.size() / 2, out.get());
    std::fflush(out.get());
    // Hangs up at the latest after a while, so that a Take that ignores the stop fails instead
    // of waiting for ever.
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    while (!hangUp && std::chrono::steady_clock::now() < deadline) {
      std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
  });

  DecoderThread decoder;
  ASSERT_EQ(decoder.Open(pipe, VideoFile::Sources::kFilesAndPipes), VideoFile::OpenStatus::kOpened);
  ASSERT_TRUE(decoder.Start(0, 11));
  PictureRef frame;
  ASSERT_EQ(decoder.Take(0, frame), D);
  std::thread stopper([&] {
    // Either order ends the same way; the pause lets the Take below start waiting first.
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    decoder.Stop();
  });
  EXPECT_EQ(decoder.Take(11, frame), FrameStatus::kStopped);
  hangUp = true;  // the decoder thread's read ends, and with it the stop
  stopper.join();
  writer.join();
  std::filesystem::remove(pipe);
}

}  // namespace
}  // namespace qv
