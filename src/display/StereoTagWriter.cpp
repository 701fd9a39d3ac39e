#include "display/StereoTagWriter.h"

namespace qv {

namespace {

void PutWord(uint8_t* at, uint32_t value) {
  for (int k = 0; k < 4; ++k) at[k] = static_cast<uint8_t>(value >> (8 * k));
}

}  // namespace

bool WriteStereoTag(uint8_t* bits, size_t lastRowOffset, uint32_t flags, int32_t width,
                    int32_t height, int32_t bitsPerPixel) {
  if (!bits || width <= 0 || height <= 0 || bitsPerPixel <= 0) return false;
  if (static_cast<int64_t>(width) * bitsPerPixel / 8 < static_cast<int64_t>(kStereoTagBytes)) return false;
  uint8_t* tag = bits + lastRowOffset;
  PutWord(tag, kStereoTagSignature);
  PutWord(tag + 4, static_cast<uint32_t>(width));
  PutWord(tag + 8, static_cast<uint32_t>(height));
  PutWord(tag + 12, static_cast<uint32_t>(bitsPerPixel));
  PutWord(tag + 16, flags);
  return true;
}

}  // namespace qv
