#include "playback/PlaySession.h"

#include <string>

#include "base/DisplayConfig.h"
#include "base/Error.h"
#include "base/Seams.h"
#include "image/BufferHelpers.h"
#include "playback/DisplayEvents.h"
#include "playback/FrameConversion.h"
#include "playback/OutputDispatch.h"
#include "playback/SoundTrack.h"
#include "video/VideoReader.h"

namespace qv {

std::string FrameUndeliverableMessage(int32_t frameFromStart) {
  return "Frame " + std::to_string(frameFromStart) +
         " of the video could not be decoded; playback stops there.";
}

PlaybackSession::PlaybackSession(Timing& timing) : context_(timing) {}

PlaybackSession::~PlaybackSession() {
  // A display window that outlives the session must not reach into it.
  SetDisplayCallbacks(callback::kNothing, callback::kNothing, callback::kNothing, {});
}

void PlaybackSession::FoldStage(int stage) {
  Timing& timing = context_.Timing;
  timing.PerfTimer.StopTimer();
  if (!(timing.PerfFrequency > 0.0)) return;  // no clock to measure with
  float& smoothed = context_.Session.StageTimes[static_cast<size_t>(stage)];
  smoothed = FoldStageTime(smoothed, timing.PerfTimer.Elapsed() / timing.PerfFrequency);
}

// Brings absolute frame `frame` into the source frame, from the decoder thread when it runs.
bool PlaybackSession::FetchSource(int32_t frame) {
  PlaybackContext& context = context_;
  if (!decodeAhead_) return FetchFrame(context.Video, frame, *context.Frames.SourceFrame);
  return context.Decoder.Take(frame - context.Video.StreamStart, context.Frames.SourceFrame) ==
         FrameStatus::kDelivered;
}

// One frame of the loop: fetch, decode, compose, open the display on the first frame, put, let
// the user interface run, and wait for the sound. `frame` may move forward in the wait.
PlaybackSession::FrameResult PlaybackSession::PlayFrame(PlaybackRequest& request, bool passThrough,
                                                        int32_t& frame) {
  PlaybackContext& context = context_;
  SessionState& session = context.Session;
  FrameBuffers& frames = context.Frames;
  HighResTimer& timer = context.Timing.PerfTimer;
  session.CurrentFrame = frame;

  timer.StartTimer();
  const bool fetched = FetchSource(frame);
  FoldStage(0);
  if (context.Timing.PerfFrequency > 0.0) fetchSeconds_ += timer.Elapsed() / context.Timing.PerfFrequency;
  if (!fetched) {
    MsgBox(FrameUndeliverableMessage(frame - context.Video.StreamStart));
    session.StopRequested = true;
    return FrameResult::kEndPass;
  }

  if (passThrough) {
    CopyDIB(frames.SourceFrame, frames.OutputFrame, true);
  } else {
    timer.StartTimer();
    if (!DecodeFrame(context, request)) {
      session.StopRequested = true;
      return FrameResult::kEndPass;
    }
    if (FindInputFormat(request.InputFormat)->converted) ConvertFrame(context, !session.DisplayPending);
    FoldStage(1);

    timer.StartTimer();
    ComposeFrame(context, request, true);
    FoldStage(2);
  }

  if (session.DisplayPending) {
    OpenOutput(context, request);
    SetDisplayCallbacks(callback::kStop, callback::kNothing, callback::kStop,
                        [this] { RequestStop(); });
    session.DisplayPending = false;
  }

  timer.StartTimer();
  const bool ok = PutFrame(context, request, true);
  FoldStage(3);
  if (!ok) {
    session.StopRequested = true;
    return FrameResult::kEndPass;
  }

  DoEvents();
  if (session.StopRequested) return FrameResult::kEndPass;
  if (request.AudioSync == 1) WaitForAudio(context, request, frame);
  return FrameResult::kNext;
}

void PlaybackSession::Run(PlaybackRequest& request) {
  PlaybackContext& context = context_;
  SessionState& session = context.Session;
  context.Display = gDisplay;
  if (!OpenVideo(request.FileName, context.Video)) return;
  if (request.UseStreamRate == 1) request.FrameRate = context.Video.FrameRate();
  session.DisplayPending = true;
  session.StopRequested = false;
  fetchSeconds_ = 0.0;
  const bool passThrough = CanPassThrough(request);

  FrameBuffers& frames = context.Frames;
  frames.SourceFrame = std::make_shared<Picture>();
  if (!frames.SourceFrame->CreateToOverwrite(context.Video.FrameFormat.biWidth,
                                             context.Video.FrameFormat.biHeight)) {
    MsgBox(kNoMemoryForFrames);
    CloseVideo(context.Video);
    return;
  }

  const int32_t first = context.Video.StreamStart + request.StartOffset;
  const int32_t last = context.Video.StreamStart + context.Video.StreamLength - 1;
  if (decodeAhead_) {
    context.Decoder.Attach(std::move(context.Video.FrameGetter));
    context.Decoder.Start(first - context.Video.StreamStart, last - context.Video.StreamStart);
  }
  while (true) {
    if (!StartAudio(request)) {
      request.AudioSource = 0;
      if (!StartAudio(request)) request.AudioSync = 0;
    }
    try {
      for (int32_t frame = first; frame <= last; ++frame) {
        if (PlayFrame(request, passThrough, frame) == FrameResult::kEndPass) break;
      }
    } catch (const std::exception& e) {
      // Stages report their own failures; whatever still escapes one ends the session, which
      // closes what it opened.
      MsgBox(DescribeError(e));
      session.StopRequested = true;
    }
    StopAudio(request);
    if (session.StopRequested || request.RepeatMode != 1) break;
  }

  CloseOutput(context, request);
  if (decodeAhead_) context.Video.FrameGetter = context.Decoder.Detach();
  CloseVideo(context.Video);
}

void PlaybackSession::PlaySession(PlaybackRequest& request) {
  if (running_) {
    queued_ = request;
    RequestStop();
    return;
  }
  running_ = true;
  Run(request);
  while (queued_) {
    PlaybackRequest next = std::move(*queued_);
    queued_.reset();
    Run(next);
  }
  running_ = false;
}

}  // namespace qv
