#pragma once
// DecoderThread: decodes the frames of one video file on a thread of its own, a few frames ahead
// of the frame loop, into a bounded queue of pictures, so that decoding overlaps composing and
// showing. The pictures go round between the two threads: the frame loop hands back the one it
// is done with each time it takes the next, and the thread writes the frame after next into it.
//
// Threads. The class starts one thread, the decoder thread, which alone uses the file while it
// runs. Every public member belongs to one thread, the frame loop's (the one that opens, starts
// and takes), with one exception: Stop may also be called from any other thread, and then ends a
// Take that is waiting. The destructor must not run while another thread is inside a member.
//
// Numbering. Frames are numbered from 0 as VideoFile numbers them. A caller that counts absolute
// frames (StreamStart + offset) passes them unchanged, StreamStart being 0.
//
// Positioning. The thread decodes first, first + 1, ... up to last, at most kQueuedFrames ahead of
// what has been taken. Taking a frame drops the queued frames before it; asking for a frame that
// is neither queued nor the next one to decode (a jump back, or forward past what the thread has
// reached) moves the thread there, and VideoFile then decides whether to seek or decode through,
// so a jump costs at most one seek.

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "image/Picture.h"
#include "video/VideoFile.h"

namespace qv {

enum class FrameStatus {
  kDelivered,      // the frame is in the caller's picture
  kUndeliverable,  // the frame cannot be decoded (damaged or missing data; the decoder thread
                   // ended on an error)
  kPastEnd,        // the number lies outside 0 ... last: there is no such frame to play
  kStopped,        // the decoder is not running: never started, or stopped (also while waiting)
};

// How long the frame loop waited for frames that were not decoded yet when it asked for them.
struct FrameWaits {
  int64_t takes = 0;         // Take calls for frames inside the range
  int64_t waits = 0;         // those of them that had to wait
  double waitSeconds = 0.0;  // the time those waited, in all
};

class DecoderThread {
 public:
  // Decoded frames the queue holds at most; the thread may be decoding one more.
  static constexpr size_t kQueuedFrames = 3;

  DecoderThread() = default;
  ~DecoderThread();  // stops the thread
  DecoderThread(const DecoderThread&) = delete;
  DecoderThread& operator=(const DecoderThread&) = delete;

  // Opens `path` on a VideoFile of the decoder's own (stopping a running decoder first). On
  // failure FailureText() says why, as VideoFile says it.
  VideoFile::OpenStatus Open(const std::string& path,
                             VideoFile::Sources sources = VideoFile::Sources::kFilesOnly);
  // Takes over a file that opened with kOpened, instead of opening it a second time.
  void Attach(std::unique_ptr<VideoFile> file);
  // Stops the thread and hands the file back (null when none is open); the decoder is then empty.
  std::unique_ptr<VideoFile> Detach();
  const std::string& FailureText() const { return failure_; }

  // The open file's facts (0 when none is open); pictures come out width x height.
  int32_t Width() const { return width_; }
  int32_t Height() const { return height_; }
  int32_t Length() const { return length_; }

  // Starts the thread decoding from `first` on; frames after `last` (or after the stream's last
  // frame) are past the end. A running decoder is stopped first. False when no file is open.
  bool Start(int32_t first, int32_t last);

  // Waits until frame `index` is decoded, or known to be undeliverable, and hands it over: on
  // kDelivered `frame` refers to the decoded picture (24-bit, bottom-up, Width() x Height()), and
  // the picture it referred to before goes back to the decoder for reuse, when `frame` was the
  // only reference to it (views cut from it keep their pixels). Otherwise `frame` is left as it
  // was. Never waits forever: a stop, the end of the range or a failed thread answer at once.
  FrameStatus Take(int32_t index, PictureRef& frame);

  // Ends the thread and empties the queue; Take answers kStopped until the next Start. Safe
  // twice, and when never started. May be called from any thread (see above).
  void Stop();

  // The frame loop's waits since Start.
  const FrameWaits& Waits() const { return waits_; }
  // How many times the file has been repositioned since it was opened.
  int64_t SeekCount() const;

 private:
  struct Decoded {
    int32_t index = 0;
    bool delivered = false;
    PictureRef picture;  // when delivered
  };

  void Run();  // the decoder thread
  void DecodeAhead();
  bool Decode(int32_t index, PictureRef& picture);
  // Keeps a picture for reuse when there is room for it; under mutex_.
  void Recycle(PictureRef picture);
  void MoveTo(int32_t index);  // under mutex_

  // Set before the thread starts and read-only while it runs.
  std::unique_ptr<VideoFile> file_;
  std::string failure_;
  int32_t width_ = 0, height_ = 0, length_ = 0;
  int32_t last_ = -1;

  std::mutex lifecycle_;  // serialises Start and Stop (the join)
  std::thread thread_;

  // Shared with the decoder thread, under mutex_.
  mutable std::mutex mutex_;
  std::condition_variable wake_;   // to the thread: room in the queue, a new position, a stop
  std::condition_variable ready_;  // to the frame loop: a frame decoded, a stop, a failure
  std::deque<Decoded> queue_;      // consecutive frames, oldest first
  std::vector<PictureRef> spare_;  // pictures no one else holds, to decode into
  int32_t next_ = 0;               // the frame the thread decodes next (or is decoding)
  uint64_t position_ = 0;  // counts repositions; a frame decoded for an older one is dropped
  bool running_ = false;
  bool stop_ = false;
  bool failed_ = false;  // the thread ended on an error
  int64_t seeks_ = 0;

  FrameWaits waits_;  // the frame loop's
};

}  // namespace qv
