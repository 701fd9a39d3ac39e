#include "stereo/Decoders.h"

#include <algorithm>
#include <cctype>
#include <cstring>

#include "base/Error.h"
#include "base/Numbers.h"
#include "base/Seams.h"
#include "image/BufferHelpers.h"
#include "imageproc/ImageProcessor.h"
#include "stereo/StillPictures.h"

namespace qv {

namespace {

int32_t Half(int32_t n) { return ToInt32Checked(n / 2.0); }

// The last three characters of a name, upper-cased (the whole name when it is shorter).
std::string LastThreeUpper(std::string_view name) {
  std::string tail(name.size() > 3 ? name.substr(name.size() - 3) : name);
  std::transform(tail.begin(), tail.end(), tail.begin(),
                 [](unsigned char c) { return static_cast<char>(std::toupper(c)); });
  return tail;
}

// Runs a decoder's body under its error trap: the first error ends it with the routine's message.
template <typename Body>
void Trapped(const char* routine, int16_t statisticsMode, Body&& body) {
  try {
    body();
    if (statisticsMode == 1) RecordDecodeStatistics();
  } catch (const std::exception& e) {
    MsgBox(std::string("An error occurred in ") + routine + ". " + DescribeError(e));
  }
}

// Fills SourceFrame from a file. Stereo stills that fail to load leave SourceFrame as it was
// (after telling the user), so that decoding goes on with the previous frame.
void LoadSourceFromFile(FrameBuffers& frames, std::string_view file, bool stereoStill) {
  const std::string fileName(file);
  if (stereoStill) {
    if (!LoadStereoStill(frames.SourceFrame, fileName)) MsgBox(kStereoStillFailedMessage);
    return;
  }
  std::string failure;
  const auto picture = LoadPicture(fileName, &failure);
  if (!picture) throw AppError(kErrInvalidPicture, kExeName, failure);
  AutoCreate(frames.SourceFrame).CreateFromPicture(*picture);
}

// The two halves of SourceFrame, cut by Crop into new view buffers.
void CutViews(FrameBuffers& frames, bool sideBySide) {
  const PictureRef source = frames.SourceFrame;  // holds the frame while the views are replaced
  const Picture& frame = Deref(source);
  const int32_t W = frame.Width();
  const int32_t H = frame.Height();
  // The views share the frame's memory until one of them is written (composers that only read
  // them never copy them); the old views are let go first.
  auto cut = [&](PictureRef& view, int32_t height, int32_t width, int32_t left, int32_t top) {
    view.reset();
    view = frame.CropView(height, width, left, top);
  };
  if (sideBySide) {
    const int32_t half = Half(W);
    cut(frames.StereoViews[0], H, half, 0, 0);
    cut(frames.StereoViews[1], H, half, half, 0);
  } else {
    const int32_t half = Half(H);
    cut(frames.StereoViews[0], half, W, 0, 0);
    cut(frames.StereoViews[1], half, W, 0, half);
  }
}

// Both views := copies of SourceFrame, the old views emptied at once.
void CopySourceToViews(FrameBuffers& frames) {
  CopyDIB(frames.SourceFrame, frames.StereoViews[0], true);
  CopyDIB(frames.SourceFrame, frames.StereoViews[1], true);
}

// View 0 := the red channel of SourceFrame, view 1 := its blue and green channels.
void SeparateAnaglyph(FrameBuffers& frames, ImageProcessor& process) {
  CopyDIB(frames.SourceFrame, frames.StereoViews[0], true);
  CopyDIB(frames.StereoViews[0], frames.StereoViews[1], true);
  process.ColourMask(Deref(frames.StereoViews[0]), 0, 0, 1);
  process.ColourMask(Deref(frames.StereoViews[1]), 1, 1, 0);
}

}  // namespace

void RecordDecodeStatistics() {}

void Load2D(FrameBuffers& frames, int16_t statisticsMode, std::string_view fromFile) {
  Trapped("Load2D", statisticsMode, [&] {
    if (!fromFile.empty()) LoadSourceFromFile(frames, fromFile, false);
    CopySourceToViews(frames);
  });
}

void LoadAboveBelow(FrameBuffers& frames, int16_t statisticsMode, std::string_view fromFile) {
  Trapped("LoadAboveBelow", statisticsMode, [&] {
    if (!fromFile.empty()) LoadSourceFromFile(frames, fromFile, LastThreeUpper(fromFile) == "H3D");
    CutViews(frames, false);
  });
}

void LoadJPS(FrameBuffers& frames, int16_t statisticsMode, std::string_view fromFile) {
  Trapped("LoadJPS", statisticsMode, [&] {
    if (!fromFile.empty()) {
      const std::string tail = LastThreeUpper(fromFile);
      LoadSourceFromFile(frames, fromFile, tail == "H3D" || tail == "JPS");
    }
    CutViews(frames, true);
  });
}

void LoadInterleaved(FrameBuffers& frames, int16_t statisticsMode, std::string_view fromFile) {
  Trapped("LoadInterleaved", statisticsMode, [&] {
    if (!fromFile.empty()) LoadSourceFromFile(frames, fromFile, LastThreeUpper(fromFile) == "H3D");
    const PictureRef source = frames.SourceFrame;
    const int32_t W = Deref(source).Width();
    const int32_t H = Deref(source).Height();
    const int32_t evenHeight = H - H % 2;  // the top row of an odd-height frame is dropped
    Picture& left = AutoCreate(frames.StereoViews[0]);
    Picture& right = AutoCreate(frames.StereoViews[1]);
    left.Create(W, evenHeight);
    right.Create(W, evenHeight);
    // Read after re-creating the views, in case a view is the frame itself.
    const PixelGrid from = source->Grid();
    const PixelGrid to0 = left.Grid();
    const PixelGrid to1 = right.Grid();
    if (from.Empty() || to0.Empty() || to1.Empty()) return;
    const int32_t rows = std::min({from.height, to0.height, to1.height}) & ~1;
    const auto bytes = static_cast<size_t>(std::min({from.stride, to0.stride, to1.stride}));
    for (int32_t k = 0; k < rows; k += 2) {
      std::memcpy(to0.MemoryRow(k), from.MemoryRow(k), bytes);
      std::memcpy(to0.MemoryRow(k + 1), from.MemoryRow(k), bytes);
      std::memcpy(to1.MemoryRow(k), from.MemoryRow(k + 1), bytes);
      std::memcpy(to1.MemoryRow(k + 1), from.MemoryRow(k + 1), bytes);
    }
  });
}

void LoadAnaglyph(FrameBuffers& frames, int16_t statisticsMode, std::string_view fromFile) {
  Trapped("LoadAnaglyph", statisticsMode, [&] {
    ImageProcessor process;
    if (!fromFile.empty()) LoadSourceFromFile(frames, fromFile, false);
    SeparateAnaglyph(frames, process);
    process.GrayScale(Deref(frames.StereoViews[0]), 1);
    process.GrayScale(Deref(frames.StereoViews[1]), 2);
  });
}

void LoadAnaglyphColour(FrameBuffers& frames, int16_t statisticsMode, std::string_view fromFile) {
  Trapped("LoadAnaglyphColour", statisticsMode, [&] {
    ImageProcessor process;
    if (!fromFile.empty()) LoadSourceFromFile(frames, fromFile, false);
    SeparateAnaglyph(frames, process);
  });
}

}  // namespace qv
