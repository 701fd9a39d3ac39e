#pragma once
// Guessing how the two eye views are packed in a video's frames, when a file is chosen.
//
// Each of three sample frames (at a quarter, a half and three quarters of the stream) is split
// side by side and above/below, and the halves of each split are compared by the sum of their
// absolute byte differences (Correlate): the split whose halves differ much less (by a factor of
// 1.3) than the other's wins. Above/below halves are also compared with the lower one raised or
// lowered by 5 % of its height, for pairs that were stacked with a vertical offset. Decisions
// accumulate: a later one overrides an earlier one.

#include <cstdint>
#include <string>

#include "stereo/FrameBuffers.h"
#include "stereo/InputFormats.h"
#include "video/VideoReader.h"

namespace qv {

// The guesses are input formats of the Format menu: InputFormat::Plain2D when nothing decides,
// InputFormat::Parallel or InputFormat::AboveBelow.

// Runs the guess on frames first + k x round(length / 4), k = 1, 2, 3, through the getter, in
// `frames` (which keep the last sample in SourceFrame and its last split in StereoViews). Sample
// frames the getter cannot deliver are skipped. Raises the errors of the picture and
// image-processing code (an empty view, the overflow of a difference sum past 2,147,483,647).
InputFormat DetectLayout(PackedFrameGetter& getter, int32_t first, int32_t length,
                         FrameBuffers& frames);

// What opening a file found out about its video stream.
struct VideoFacts {
  int32_t frames = 0;       // 0 when the file could not be opened or examined
  double frameRate = 0.0;   // frames per second
  int32_t width = 0;        // picture size in pixels
  int32_t height = 0;
  // The guessed packing of the eye views; InputFormat{0} when the file could not be examined.
  InputFormat layout = InputFormat{0};
};

// Opens fileName on its own, reads its length, rate and size and guesses its stereo layout;
// leaves nothing open. When the file cannot be opened or examined the user is told ("Unable to
// open AVI file." with the file and the reason on a line of their own, after "No suitable
// decompressor found for this video stream!" when no decoder fits) and `frames` is 0 (the rate and size are still filled in when the stream could be read).
VideoFacts DetectVideo(const std::string& fileName);

}  // namespace qv
