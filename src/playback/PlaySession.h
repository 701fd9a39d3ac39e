#pragma once
// A playback session: open the video, then frame by frame fetch, decode, convert, compose, put and
// pace against the sound track, until the range ends or a stop is requested. Runs on the
// user-interface thread and lets the user interface process its messages once a frame.

#include <cstdint>
#include <optional>
#include <string>

#include "playback/PlaybackContext.h"
#include "playback/PlaybackRequest.h"

namespace qv {

// A session ends with a message, after closing what it opened, when a frame cannot be delivered
// (damaged or truncated file) and when there is no memory for the video's frames. Invalid input formats and output methods
// are reported by the dispatch (OutputDispatch.h).
std::string FrameUndeliverableMessage(int32_t frameFromStart);
inline constexpr const char* kNoMemoryForFrames =
    "There is not enough memory for the frames of this video.";

// The player's sessions, one after the other. It owns the context they work in; the stage times
// and the last frame played stay in it from one session to the next. User-interface thread only.
class PlaybackSession {
 public:
  explicit PlaybackSession(Timing& timing = ProcessTiming());
  ~PlaybackSession();
  PlaybackSession(const PlaybackSession&) = delete;
  PlaybackSession& operator=(const PlaybackSession&) = delete;

  // Runs a whole session and returns when it has ended; every failure is reported inside it.
  // Called while another session runs (from a handler inside that session's message processing),
  // it asks that session to stop, keeps a copy of the request and returns at once; the outer call
  // runs the new session once the running one has closed its video and display. Running() stays
  // true until that queued session has ended too.
  void PlaySession(PlaybackRequest& request);

  bool Running() const { return running_; }
  // Asks the running session, if any, to end after the frame in hand.
  void RequestStop() { context_.Session.StopRequested = true; }

  PlaybackContext& Context() { return context_; }
  const SessionState& State() const { return context_.Session; }

  // Whether the frames come from a decoder thread running ahead of the frame loop (the default)
  // or are decoded by the loop itself, each when it is needed. Takes effect at the next session.
  void SetDecodeAhead(bool decodeAhead) { decodeAhead_ = decodeAhead; }
  // The frame loop's waits for frames from the decoder thread in the last session.
  const FrameWaits& DecoderWaits() const { return context_.Decoder.Waits(); }
  // Seconds the frame loop spent bringing frames in (decoding them itself, or waiting for the
  // decoder thread) in the last session.
  double FetchSeconds() const { return fetchSeconds_; }

 private:
  void Run(PlaybackRequest& request);
  enum class FrameResult { kNext, kEndPass };
  FrameResult PlayFrame(PlaybackRequest& request, bool passThrough, int32_t& frame);
  void FoldStage(int stage);
  bool FetchSource(int32_t frame);

  PlaybackContext context_;
  bool running_ = false;
  bool decodeAhead_ = true;
  double fetchSeconds_ = 0.0;
  std::optional<PlaybackRequest> queued_;
};

}  // namespace qv
