#include "video/LayoutDetection.h"

#include <algorithm>
#include <cstdlib>

#include "base/Error.h"
#include "base/Numbers.h"
#include "base/Seams.h"
#include "image/BufferHelpers.h"
#include "stereo/FrameBuffers.h"
#include "image/BitmapFile.h"
#include "imageproc/ImageProcessor.h"
#include "stereo/Decoders.h"

namespace qv {

namespace {

constexpr int32_t kSampleFrames = 3;
constexpr int kShiftsPercent[] = {-5, 0, 5};
constexpr double kDecisionFactor = 1.3;

constexpr const char* kNoDecompressor = "No suitable decompressor found for this video stream!";
constexpr const char* kUnableToOpen = "Unable to open AVI file.";

// The sum of absolute byte differences between the two views.
int32_t ViewDifference(FrameBuffers& frames, ImageProcessor& processor) {
  processor.CopyToArray(Deref(frames.StereoViews[0]));
  int32_t sum = 0;
  processor.Correlate(Deref(frames.StereoViews[1]), processor.Arrays().SharedPixels, sum);
  return sum;
}

// Raises the lower view by `rows` (> 0: rows cut off the top of view 1; < 0: off view 0), then
// crops both views to their common size, keeping their top-left corners.
void ShiftViews(FrameBuffers& frames, int32_t rows) {
  PictureRef& cut = frames.StereoViews[rows >= 0 ? 1 : 0];
  const int32_t drop = std::abs(rows);
  const Picture& view = Deref(cut);
  CropDIB(cut, cut, view.Height() - drop, view.Width(), 0, drop, true);
  const int32_t width =
      std::min(Deref(frames.StereoViews[0]).Width(), Deref(frames.StereoViews[1]).Width());
  const int32_t height =
      std::min(Deref(frames.StereoViews[0]).Height(), Deref(frames.StereoViews[1]).Height());
  for (PictureRef& v : frames.StereoViews) CropDIB(v, v, height, width, 0, 0, true);
}

}  // namespace

InputFormat DetectLayout(PackedFrameGetter& getter, int32_t first, int32_t length,
                         FrameBuffers& frames) {
  const int32_t step = ToInt32Checked(length / 4.0);
  InputFormat layout = InputFormat::Plain2D;
  ImageProcessor processor;
  BitmapFile unpacker;
  for (int32_t k = 1; k <= kSampleFrames; ++k) {
    const uint8_t* packed = getter.GetFrame(first + k * step);
    if (packed == nullptr) continue;  // past the end of a short stream, or undecodable
    if (!unpacker.CreateDIBSectionFromPackedDIBPointer(packed, AutoCreate(frames.SourceFrame)))
      continue;

    LoadJPS(frames);
    const int32_t parallel = ViewDifference(frames, processor);
    for (const int shift : kShiftsPercent) {
      LoadAboveBelow(frames);  // every trial starts from fresh halves
      if (shift != 0) {
        ShiftViews(frames, static_cast<int32_t>(Floor(
                               shift * static_cast<double>(Deref(frames.StereoViews[0]).Height()) /
                               100.0)));
      }
      const int32_t aboveBelow = ViewDifference(frames, processor);
      if (shift == 0 && aboveBelow > kDecisionFactor * parallel) {
        layout = InputFormat::Parallel;
      } else if (kDecisionFactor * aboveBelow < parallel) {
        layout = InputFormat::AboveBelow;
      }
    }
  }
  return layout;
}

VideoFacts DetectVideo(const std::string& fileName) {
  VideoFacts facts;
  try {
    VideoFile file;
    const VideoFile::OpenStatus status = file.Open(fileName);
    if (status == VideoFile::OpenStatus::kNotOpened) {
      MsgBox(kUnableToOpen + ("\n" + file.FailureText()));
      return facts;
    }
    const StreamInfoRecord info = InfoOf(file);
    facts.frameRate = static_cast<float>(info.dwRate) / static_cast<float>(info.dwScale);
    const BitmapInfoHeader format = FormatOf(info);
    facts.width = format.biWidth;
    facts.height = format.biHeight;
    if (status == VideoFile::OpenStatus::kNoDecoder) {
      MsgBox(kNoDecompressor, msg::kInformation, kAppName);
      MsgBox(kUnableToOpen + ("\n" + file.FailureText()));
      return facts;
    }
    PackedFrameGetter getter(file, format);
    const int32_t length = file.Length();
    FrameBuffers frames;
    facts.layout = DetectLayout(getter, 0, length, frames);
    facts.frames = length;
    return facts;
  } catch (const std::exception&) {
    facts.frames = 0;
    MsgBox(kUnableToOpen);
    return facts;
  }
}

}  // namespace qv
