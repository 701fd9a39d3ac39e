#pragma once
// The stereo frame decoders. Each splits the packed frame frames.SourceFrame into the eye views
// frames.StereoViews (0 = left eye, 1 = right eye) for one input layout:
//
//   Load2D              the frame, copied to both views
//   LoadAboveBelow      upper half -> view 0, lower half -> view 1 (cut, not scaled)
//   LoadInterleaved     even memory rows -> view 0, odd ones -> view 1, each row doubled
//   LoadJPS             left half -> view 0, right half -> view 1 (cut, not scaled)
//   LoadAnaglyph        red/cyan anaglyph: view 0 grey from red, view 1 grey from blue and green
//   LoadAnaglyphColour  red/cyan anaglyph: view 0 the red channel, view 1 blue and green
//
// Halves are half(n) = n / 2 rounded with halves to even, so half(641) = 320 and half(643) = 322:
// for an odd size the last row or column is either dropped or, in the second view, left black.
//
// statisticsMode 1 calls RecordDecodeStatistics once after decoding. A non-empty fromFile first
// loads SourceFrame from that file (still pictures, see StillPictures.h; names ending in "H3D",
// and for LoadJPS also "JPS", go through the stereo still loader); empty, SourceFrame is decoded
// as it stands.
//
// Errors: the first error ends the decoder with the message "An error occurred in <routine>. "
// followed by the error's description; the views keep whatever was assigned before it.
// The frame buffers are not locked: one thread at a time.

#include <cstdint>
#include <string_view>

#include "stereo/FrameBuffers.h"

namespace qv {

void Load2D(FrameBuffers& frames, int16_t statisticsMode = 0, std::string_view fromFile = {});
void LoadAboveBelow(FrameBuffers& frames, int16_t statisticsMode = 0, std::string_view fromFile = {});
void LoadInterleaved(FrameBuffers& frames, int16_t statisticsMode = 0, std::string_view fromFile = {});
void LoadJPS(FrameBuffers& frames, int16_t statisticsMode = 0, std::string_view fromFile = {});
void LoadAnaglyph(FrameBuffers& frames, int16_t statisticsMode = 0, std::string_view fromFile = {});
void LoadAnaglyphColour(FrameBuffers& frames, int16_t statisticsMode = 0,
                        std::string_view fromFile = {});

// The statistics hook of the decoders. Decoding keeps no statistics of its own yet, so it does
// nothing; it exists so that statistics mode 1 has somewhere to report.
void RecordDecodeStatistics();

using FrameDecoder = void (*)(FrameBuffers& frames, int16_t statisticsMode,
                              std::string_view fromFile);

// The message shown when a JPS or H3D still cannot be loaded.
inline constexpr const char* kStereoStillFailedMessage =
    "Error opening H3D file. Please note that only JPEG H3D files, NOT Targa ones, are supported.";

// Error number of a still picture that could not be loaded (the description says why).
inline constexpr int32_t kErrInvalidPicture = 481;

}  // namespace qv
