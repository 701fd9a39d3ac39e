#include "image/BufferHelpers.h"

#include <cstring>


namespace qv {

Picture& AutoCreate(PictureRef& slot) {
  if (!slot) slot = std::make_shared<Picture>();
  return *slot;
}

namespace {
void Replace(PictureRef&& fresh, PictureRef& destination, bool emptyOld) {
  if (emptyOld && destination) destination->ClearUp();
  destination = std::move(fresh);
}
}  // namespace

void CopyDIB(const PictureRef& source, PictureRef& destination, bool emptyOld) {
  Replace(Deref(source).CopyOf(), destination, emptyOld);
}

void CropDIB(const PictureRef& source, PictureRef& destination, int32_t newHeight, int32_t newWidth,
             int32_t newLeft, int32_t newTop, bool emptyOld) {
  Replace(Deref(source).Crop(newHeight, newWidth, newLeft, newTop), destination, emptyOld);
}

void ResampleDIB(PictureRef& buffer, int32_t newHeight, int32_t newWidth, bool interpolate) {
  Replace(Deref(buffer).Resample(newHeight, newWidth, interpolate), buffer, true);
}

int32_t MinViewHeight(std::array<PictureRef, 2>& views) {
  const int32_t first = AutoCreate(views[0]).Height();
  const int32_t second = AutoCreate(views[1]).Height();
  return first >= second ? second : first;
}

int32_t MinViewWidth(std::array<PictureRef, 2>& views) {
  const int32_t first = AutoCreate(views[0]).Width();
  const int32_t second = AutoCreate(views[1]).Width();
  return first >= second ? second : first;
}

void DeinterleaveRows(uint8_t* destination, const uint8_t* source, int32_t width, int32_t height) {
  if (destination == nullptr || source == nullptr || width <= 0 || height <= 0) return;
  const size_t row = static_cast<size_t>(3) * width;
  const int32_t half = height / 2;
  for (int32_t k = 0; k < half; ++k) {
    std::memcpy(destination + row * k, source + row * (2 * k), row);
    std::memcpy(destination + row * (half + k), source + row * (2 * k + 1), row);
  }
}

}  // namespace qv
