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

#include "video/VideoReader.h"

namespace qv {

// Layout codes: the input formats of the Format menu's guesses.
inline constexpr int16_t kLayout2D = 3;
inline constexpr int16_t kLayoutParallel = 5;
inline constexpr int16_t kLayoutAboveBelow = 1;

// Runs the guess on frames first + k x round(length / 4), k = 1, 2, 3, through the getter,
// leaving the last sample in gFrames.SourceFrame and its last split in gFrames.StereoViews.
// Sample frames the getter cannot deliver are skipped. Sets layout (3 when nothing decides).
// Raises the errors of the picture and image-processing code (an empty view, the overflow of a
// difference sum past 2,147,483,647).
void DetectLayout(PackedFrameGetter& getter, int32_t first, int32_t length, int16_t& layout);

}  // namespace qv
