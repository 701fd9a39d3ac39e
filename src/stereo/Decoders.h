#pragma once
// The stereo frame decoders. Each splits the packed frame gFrames.SourceFrame into the
// eye views gFrames.StereoViews (0 = left eye, 1 = right eye) for one input layout:
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
// statisticsMode 1 calls RecordDecodeStatistics once after decoding. fromFile true first loads
// SourceFrame from DroppedFile (still pictures, see StillPictures.h; files ending in "H3D", and
// for LoadJPS also "JPS", go through the stereo still loader).
//
// Errors: the first error ends the decoder with the message "An error occurred in <routine>. "
// followed by the error's description; the views keep whatever was assigned before it.
// Playback thread only; the frame buffers are not locked.

#include <cstdint>
#include <string>

namespace qv {

// The file most recently dropped on the main window; the still-picture file of fromFile.
inline std::string DroppedFile;

void Load2D(int16_t statisticsMode = 0, bool fromFile = false);
void LoadAboveBelow(int16_t statisticsMode = 0, bool fromFile = false);
void LoadInterleaved(int16_t statisticsMode = 0, bool fromFile = false);
void LoadJPS(int16_t statisticsMode = 0, bool fromFile = false);
void LoadAnaglyph(int16_t statisticsMode = 0, bool fromFile = false);
void LoadAnaglyphColour(int16_t statisticsMode = 0, bool fromFile = false);

// The statistics hook of the decoders. Decoding keeps no statistics of its own yet, so it does
// nothing; it exists so that statistics mode 1 has somewhere to report.
void RecordDecodeStatistics();

using FrameDecoder = void (*)(int16_t statisticsMode, bool fromFile);
// The decoder of an input format (1 ... 7; 4, 2D to be converted, decodes like 3), or nullptr.
FrameDecoder DecoderFor(int inputFormat);

// The message shown when a JPS or H3D still cannot be loaded.
inline constexpr const char* kStereoStillFailedMessage =
    "Error opening H3D file. Please note that only JPEG H3D files, NOT Targa ones, are supported.";

// Error number of a still picture that could not be loaded (the description says why).
inline constexpr int32_t kErrInvalidPicture = 481;

}  // namespace qv
