#pragma once
// Still pictures read from files, for the decoders that load their frame from a dropped file.
// Both loaders decode with FFmpeg's image decoders (the format is recognised from the file's
// contents, not its name) and never raise: a file that cannot be read gives nothing or false.
//
// Stereo stills. A JPS file is a JPEG whose picture holds the two eye views side by side; an H3D
// file is a JPEG whose picture holds the two views packed in whatever layout the user has chosen
// (above/below, row-interleaved or side by side). For both, the stereo still loader only decodes
// the packed picture; splitting it is the decoder's job, and the decoder takes the left half (or
// the upper half) as the left eye whatever the file says. JPS's optional descriptor block (APP3)
// is not consulted for that reason. Files that are not JPEG data (Targa H3D files among them) are
// refused.

#include <optional>
#include <string>

#include "image/LoadedPicture.h"
#include "image/Picture.h"

namespace qv {

// Files above this size are not read as still pictures (they are not stills).
inline constexpr int64_t kMaxStillFileBytes = int64_t{256} << 20;

// The first picture of fileName, in any image format FFmpeg decodes (JPEG, PNG, BMP, GIF, TIFF,
// WebP, ...). Nothing when the file cannot be read or decoded; `failure`, when given, then receives
// a sentence for the user saying why.
std::optional<LoadedPicture> LoadPicture(const std::string& fileName, std::string* failure = nullptr);

// The stereo still loader for JPS and H3D files: decodes the JPEG picture of fileName into a new
// 24-bit picture and lets `frame` refer to it; true on success. On failure `frame` is left as it
// was and the result is false.
bool LoadStereoStill(PictureRef& frame, const std::string& fileName);

}  // namespace qv
