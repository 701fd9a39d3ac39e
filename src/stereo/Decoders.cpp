#include "stereo/Decoders.h"

#include <algorithm>
#include <cctype>
#include <cstring>

#include "base/Error.h"
#include "base/Numbers.h"
#include "base/Seams.h"
#include "image/BufferHelpers.h"
#include "image/FrameBuffers.h"
#include "imageproc/ImageProcessor.h"
#include "stereo/StillPictures.h"

namespace qv {

namespace {

int32_t Half(int32_t n) { return ToInt32Checked(n / 2.0); }

// The last three characters of a name, upper-cased (the whole name when it is shorter).
std::string LastThreeUpper(const std::string& name) {
  std::string tail = name.size() > 3 ? name.substr(name.size() - 3) : name;
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

// Fills SourceFrame from DroppedFile. Stereo stills that fail to load leave SourceFrame as it was
// (after telling the user), so that decoding goes on with the previous frame.
void LoadSourceFromFile(bool stereoStill) {
  if (stereoStill) {
    if (!LoadStereoStill(gFrames.SourceFrame, DroppedFile)) MsgBox(kStereoStillFailedMessage);
    return;
  }
  std::string failure;
  const auto picture = LoadPicture(DroppedFile, &failure);
  if (!picture) throw AppError(kErrInvalidPicture, kExeName, failure);
  AutoCreate(gFrames.SourceFrame).CreateFromPicture(*picture);
}

// The two halves of SourceFrame, cut by Crop into new view buffers.
void CutViews(bool sideBySide) {
  const PictureRef source = gFrames.SourceFrame;  // holds the frame while the views are replaced
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
    cut(gFrames.StereoViews[0], H, half, 0, 0);
    cut(gFrames.StereoViews[1], H, half, half, 0);
  } else {
    const int32_t half = Half(H);
    cut(gFrames.StereoViews[0], half, W, 0, 0);
    cut(gFrames.StereoViews[1], half, W, 0, half);
  }
}

// Both views := copies of SourceFrame, the old views emptied at once.
void CopySourceToViews() {
  CopyDIB(gFrames.SourceFrame, gFrames.StereoViews[0], true);
  CopyDIB(gFrames.SourceFrame, gFrames.StereoViews[1], true);
}

// View 0 := the red channel of SourceFrame, view 1 := its blue and green channels.
void SeparateAnaglyph(ImageProcessor& process) {
  CopyDIB(gFrames.SourceFrame, gFrames.StereoViews[0], true);
  CopyDIB(gFrames.StereoViews[0], gFrames.StereoViews[1], true);
  process.ColourMask(Deref(gFrames.StereoViews[0]), 0, 0, 1);
  process.ColourMask(Deref(gFrames.StereoViews[1]), 1, 1, 0);
}

}  // namespace

void RecordDecodeStatistics() {}

void Load2D(int16_t statisticsMode, bool fromFile) {
  Trapped("Load2D", statisticsMode, [&] {
    if (fromFile) LoadSourceFromFile(false);
    CopySourceToViews();
  });
}

void LoadAboveBelow(int16_t statisticsMode, bool fromFile) {
  Trapped("LoadAboveBelow", statisticsMode, [&] {
    if (fromFile) LoadSourceFromFile(LastThreeUpper(DroppedFile) == "H3D");
    CutViews(false);
  });
}

void LoadJPS(int16_t statisticsMode, bool fromFile) {
  Trapped("LoadJPS", statisticsMode, [&] {
    if (fromFile) {
      const std::string tail = LastThreeUpper(DroppedFile);
      LoadSourceFromFile(tail == "H3D" || tail == "JPS");
    }
    CutViews(true);
  });
}

void LoadInterleaved(int16_t statisticsMode, bool fromFile) {
  Trapped("LoadInterleaved", statisticsMode, [&] {
    if (fromFile) LoadSourceFromFile(LastThreeUpper(DroppedFile) == "H3D");
    const PictureRef source = gFrames.SourceFrame;
    const int32_t W = Deref(source).Width();
    const int32_t H = Deref(source).Height();
    const int32_t evenHeight = H - H % 2;  // the top row of an odd-height frame is dropped
    Picture& left = AutoCreate(gFrames.StereoViews[0]);
    Picture& right = AutoCreate(gFrames.StereoViews[1]);
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

void LoadAnaglyph(int16_t statisticsMode, bool fromFile) {
  Trapped("LoadAnaglyph", statisticsMode, [&] {
    ImageProcessor process;
    if (fromFile) LoadSourceFromFile(false);
    SeparateAnaglyph(process);
    process.GrayScale(Deref(gFrames.StereoViews[0]), 1);
    process.GrayScale(Deref(gFrames.StereoViews[1]), 2);
  });
}

void LoadAnaglyphColour(int16_t statisticsMode, bool fromFile) {
  Trapped("LoadAnaglyphColour", statisticsMode, [&] {
    ImageProcessor process;
    if (fromFile) LoadSourceFromFile(false);
    SeparateAnaglyph(process);
  });
}

FrameDecoder DecoderFor(int inputFormat) {
  switch (inputFormat) {
    case 1: return LoadAboveBelow;
    case 2: return LoadInterleaved;
    case 3:
    case 4: return Load2D;
    case 5: return LoadJPS;
    case 6: return LoadAnaglyph;
    case 7: return LoadAnaglyphColour;
    default: return nullptr;
  }
}

}  // namespace qv
