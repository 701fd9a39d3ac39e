#pragma once
// The stereo tag: a 20-byte record at the start of the last row of a side-by-side image that
// tells a stereo driver to present the image's two halves as the left and the right eye. The
// layout is NVidia's stereo image header, five little-endian 32-bit words:
//   signature 0x4433564E ("NV3D" in memory), the image's width in pixels (both eyes), its
//   height in rows, its bits per pixel, and the flags (kStereoTagSwapEyes, kStereoTagScaleToFit).

#include <cstddef>
#include <cstdint>

namespace qv {

inline constexpr uint32_t kStereoTagSignature = 0x4433564E;
inline constexpr uint32_t kStereoTagSwapEyes = 0x00000001;
inline constexpr uint32_t kStereoTagScaleToFit = 0x00000002;
inline constexpr size_t kStereoTagBytes = 20;

// Writes the tag at bits + lastRowOffset, the first byte of the image's last row (its bottom row
// for an image stored top-down). A last row shorter than the tag (width x bitsPerPixel / 8 < 20
// bytes), a size that is not positive or no memory: nothing is written and the result is false.
bool WriteStereoTag(uint8_t* bits, size_t lastRowOffset, uint32_t flags, int32_t width,
                    int32_t height, int32_t bitsPerPixel);

}  // namespace qv
