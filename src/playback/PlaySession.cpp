#include "playback/PlaySession.h"

#include <optional>
#include <string>

#include "base/Error.h"
#include "base/Seams.h"
#include "image/BufferHelpers.h"
#include "image/FrameBuffers.h"
#include "base/HighResTimer.h"
#include "playback/DisplayEvents.h"
#include "playback/OutputDispatch.h"
#include "playback/SessionState.h"
#include "playback/SoundTrack.h"
#include "video/VideoReader.h"

namespace qv {

namespace {

bool gRunning = false;
// A session asked for while another one ran; it starts when that one has closed.
std::optional<PlaybackRequest> gQueued;

void FoldStage(int stage) {
  gTiming.PerfTimer.StopTimer();
  gSession.StageTimes[stage] = FoldStageTime(gSession.StageTimes[stage],
                                             gTiming.PerfTimer.Elapsed() / gTiming.PerfFrequency);
}

enum class FrameResult { kNext, kEndPass };

// One frame of the loop: fetch, decode, compose, open the display on the first frame, put, let
// the user interface run, and wait for the sound. `frame` may move forward in the wait.
FrameResult PlayFrame(PlaybackRequest& request, bool passThrough, int32_t& frame) {
  gSession.CurrentFrame = frame;

  gTiming.PerfTimer.StartTimer();
  const bool fetched = FetchFrame(frame, *gFrames.SourceFrame);
  FoldStage(0);
  if (!fetched) {
    MsgBox(FrameUndeliverableMessage(frame - gVideo.StreamStart));
    gSession.StopRequested = true;
    return FrameResult::kEndPass;
  }

  if (passThrough) {
    CopyDIB(gFrames.SourceFrame, gFrames.OutputFrame, true);
  } else {
    gTiming.PerfTimer.StartTimer();
    if (!DecodeFrame(request)) {
      gSession.StopRequested = true;
      return FrameResult::kEndPass;
    }
    if (request.InputFormat == 4) {
      MsgBox(kConversionUnavailable);
      gSession.StopRequested = true;
      return FrameResult::kEndPass;
    }
    FoldStage(1);

    gTiming.PerfTimer.StartTimer();
    ComposeFrame(request, true);
    FoldStage(2);
  }

  if (gSession.DisplayPending) {
    OpenOutput(request);
    SetDisplayCallbacks(callback::kStop, callback::kNothing, callback::kStop);
    gSession.DisplayPending = false;
  }

  gTiming.PerfTimer.StartTimer();
  const bool ok = PutFrame(request, true);
  FoldStage(3);
  if (!ok) {
    gSession.StopRequested = true;
    return FrameResult::kEndPass;
  }

  DoEvents();
  if (gSession.StopRequested) return FrameResult::kEndPass;
  if (request.AudioSync == 1) WaitForAudio(request, frame);
  return FrameResult::kNext;
}

void RunSession(PlaybackRequest& request) {
  if (!OpenVideo(request)) return;
  gSession.DisplayPending = true;
  gSession.StopRequested = false;
  const bool passThrough = CanPassThrough(request);

  gFrames.SourceFrame = std::make_shared<Picture>();
  if (!gFrames.SourceFrame->CreateToOverwrite(gVideo.FrameFormat.biWidth,
                                              gVideo.FrameFormat.biHeight)) {
    MsgBox(kNoMemoryForFrames);
    CloseVideo();
    return;
  }

  const int32_t first = gVideo.StreamStart + request.StartOffset;
  const int32_t last = gVideo.StreamStart + gVideo.StreamLength - 1;
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
      gSession.StopRequested = true;
    }
    StopAudio(request);
    if (gSession.StopRequested || request.RepeatMode != 1) break;
  }

  CloseOutput(request);
  CloseVideo();
}

}  // namespace

std::string FrameUndeliverableMessage(int32_t frameFromStart) {
  return "Frame " + std::to_string(frameFromStart) +
         " of the video could not be decoded; playback stops there.";
}

void PlaySession(PlaybackRequest& request) {
  if (gRunning) {
    gQueued = request;
    gSession.StopRequested = true;
    return;
  }
  gRunning = true;
  RunSession(request);
  while (gQueued) {
    PlaybackRequest next = std::move(*gQueued);
    gQueued.reset();
    RunSession(next);
  }
  gRunning = false;
}

bool SessionRunning() {
  return gRunning;
}

}  // namespace qv
