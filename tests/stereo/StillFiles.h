#pragma once
// Still-picture files for the decoder tests: JPEG files written with FFmpeg's JPEG encoder at its
// finest quantiser and full-resolution colour, so that flat areas come back within a level or two.

#include <string>

#include "image/cDIBSection.h"

namespace qv::test {

// Writes picture as a baseline JPEG file; false when the encoder is not available.
bool WriteJpeg(const cDIBSection& picture, const std::string& fileName);

// Whether two pictures of the same size differ by at most `tolerance` in every channel.
::testing::AssertionResult NearPicture(const cDIBSection& actual, const cDIBSection& expected, int tolerance);

}  // namespace qv::test
