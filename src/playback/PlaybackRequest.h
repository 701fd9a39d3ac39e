#pragma once
// The record that describes one playback session, passed by reference to every stage of it.
// The defaults are the values Play gives every request. Booleans keep the program's convention
// where it is observable: the integer switches RepeatMode, AudioSync, UseStreamRate and
// OptionMode mean "on" only when equal to 1.

#include <cstdint>
#include <string>

#include "playback/OutputMethods.h"
#include "stereo/InputFormats.h"

namespace qv {

struct PlaybackRequest {
  std::string FileName;       // what the reader opens: the chosen file or its generated script
  double ResizeFactor = 1.0;  // always 1.0
  bool OptionFlagA = false;   // True only disables the pass-through shortcut
  bool OptionFlagB = false;   // True only disables the pass-through shortcut
  int16_t RepeatMode = 0;     // 1: play the range again from StartOffset when it ends
  int16_t AudioSource = 3;    // 0 clock, 1 the simple player, 3 the decoded sound track
  std::string AudioFile;      // whose sound track plays: always the chosen file itself
  int16_t AudioSync = 1;      // 1: after each frame wait for the sound (or clock) and follow it
  double FrameRate = 24.0;    // frames per second for pacing and frame/time conversion
  int16_t UseStreamRate = 1;  // 1: OpenVideo replaces FrameRate by the stream's own rate
  int32_t StartOffset = 0;    // first frame to play, counted from the stream's first frame
  // The stereo layout of the source frames and the display method. Numbers outside their tables
  // are kept as they are and reported by the dispatch; 0 until set.
  qv::InputFormat InputFormat = qv::InputFormat{0};
  qv::OutputMethod OutputMethod = qv::OutputMethod{0};
  int16_t OptionMode = 0;     // always 0; 1 only disables the pass-through shortcut
  bool Fullscreen = false;
};

}  // namespace qv
