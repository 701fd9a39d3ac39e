#pragma once
// The sound track of a playback session and the pacing of its frames.
//
// PlaybackRequest.AudioSource chooses how:
//   3  the file's sound track, decoded by FFmpeg and played through an SDL device, with the
//      interface of a media graph (positions in seconds);
//   1  the same player behind the interface of a simple device addressed as "1" (positions in
//      milliseconds);
//   0  no sound: a clock paces the frames.
// Positions are what the listener hears now, the device's latency taken into account, so the
// frame loop skips forward when it falls behind.
//
// Everything here runs on the frame-loop (user-interface) thread; messages go through MsgBox and
// the waits let the user interface process its messages on every round.

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include "playback/AudioOutput.h"
#include "playback/PlaybackContext.h"
#include "playback/PlaybackRequest.h"

namespace qv {

// Starts the sound at request.StartOffset (frames, converted with request.FrameRate), or the
// clock. False when the session has to pace otherwise: silently for a file without sound,
// after a message for a failure.
bool StartAudio(PlaybackRequest& request);
// Waits until the sound (or the clock) has reached `frame`; when the sound is ahead, moves
// `frame` forward to the frame it has reached. Always ends: on StopRequested, and when the sound
// has ended or stopped moving it carries on with a clock from there. The clock of source 0 is the
// context's stage timer, restarted at the end of the wait.
void WaitForAudio(PlaybackContext& context, PlaybackRequest& request, int32_t& frame);
void StopAudio(PlaybackRequest& request);

// The media-graph interface (source 3).
bool BuildAudioGraph(const std::string& fileName);
bool RemoveVideoRenderer();
bool StartGraphAt(double seconds);
double GraphPosition();  // seconds heard; negative when there is no playing sound track
void StopGraph();

// The simple-device interface (source 1). PlayFile's results:
inline constexpr int32_t kPlayStarted = 0;
inline constexpr int32_t kPlayOpenFailed = -1;  // the file could not be opened
inline constexpr int32_t kPlayNoSound = -2;     // the file has no sound track
inline constexpr int32_t kPlayFailed = 1;       // opened, but the sound could not be started
inline constexpr int32_t kPlayBadKeyword = 2;   // `notify` is neither empty nor "notify"

int32_t PlayFile(const std::string& fileName, int32_t startMs, const std::string& notify);
void StopAndClose();
int32_t PositionMs();  // milliseconds heard; 0 when nothing is open

// Lets go of every sound device and player, built or open (the graph stays built after a stop);
// for the end of the program, and for tests that replace the clock or the outputs.
void ReleaseSound();

// How long the heard position may stand still, on the sound clock, before a wait gives the
// sound up and paces the rest of the pass by the clock.
inline constexpr double kSoundStallSeconds = 0.5;

// Seams for tests: the clock of the sound track (nullptr: the steady clock) and the maker of
// audio outputs (empty: SDL devices). Set them while no sound is playing.
using AudioOutputFactory = std::function<std::unique_ptr<AudioOutput>(SoundClock&)>;
void SetSoundClock(SoundClock* clock);
void SetAudioOutputFactory(AudioOutputFactory factory);

}  // namespace qv
