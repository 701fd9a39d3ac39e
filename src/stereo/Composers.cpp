#include "stereo/Composers.h"

#include <algorithm>
#include <cstring>
#include <string>

#include "base/DisplayConfig.h"
#include "base/Error.h"
#include "base/Numbers.h"
#include "base/Seams.h"
#include "stereo/ScreenSizes.h"
#include "image/BufferHelpers.h"
#include "stereo/FrameBuffers.h"
#include "imageproc/ImageProcessor.h"

namespace qv {

namespace {

// Runs the statements of a composer one by one: a statement that fails shows the composer's
// message with the error's description, and the composer goes on with the next statement.
// Values that a failed statement would have assigned keep what they held before.
class Statements {
 public:
  explicit Statements(const char* routine)
      : message_(std::string("An error occurred in ") + routine + ". Attempting to continue. ") {}

  template <typename Statement>
  void operator()(Statement&& statement) const {
    try {
      statement();
    } catch (const std::exception& e) {
      MsgBox(message_ + DescribeError(e));
    }
  }

 private:
  std::string message_;
};

double Divide(double dividend, double divisor) {
  if (divisor == 0.0) throw err::DivisionByZero();
  return dividend / divisor;
}

Picture& View(FrameBuffers& frames, int eye) {
  return Deref(frames.StereoViews[static_cast<size_t>(eye)]);
}
// OutputFrame is re-created in place by the composers that make it from scratch; an empty slot
// gets a picture first.
Picture& Output(FrameBuffers& frames) { return AutoCreate(frames.OutputFrame); }

void CommonSize(FrameBuffers& frames, const Statements& statement) {
  statement([&] { frames.ViewHeight = MinViewHeight(frames.StereoViews); });
  statement([&] { frames.ViewWidth = MinViewWidth(frames.StereoViews); });
}

// Copies the pixels of one memory row of `from` onto one of `to`; the row's padding is cleared.
// A row that cannot be copied is left black, as in a new picture.
void CopyRow(const Picture& from, int32_t fromRow, const Picture& to, int32_t toRow) {
  const PixelGrid source = from.ReadGrid();
  const PixelGrid target = to.Grid();
  if (source.Empty() || target.Empty() || fromRow < 0 || fromRow >= source.height || toRow < 0 ||
      toRow >= target.height || source.width < target.width) {
    if (!target.Empty() && toRow >= 0 && toRow < target.height) {
      std::memset(target.MemoryRow(toRow), 0, static_cast<size_t>(target.stride));
    }
    throw err::SubscriptOutOfRange();
  }
  const auto pixelBytes = static_cast<size_t>(3) * target.width;
  std::memcpy(target.MemoryRow(toRow), source.MemoryRow(fromRow), pixelBytes);
  std::memset(target.MemoryRow(toRow) + pixelBytes, 0, static_cast<size_t>(target.stride) - pixelBytes);
}

// A device context that reads a view in place, without giving it memory of its own.
class Reader {
 public:
  explicit Reader(const Picture& picture) { dc_.Select(picture.ReadGrid()); }
  Canvas* Context() { return &dc_; }

 private:
  Canvas dc_;
};

const char* AnaglyphRoutine(AnaglyphKind kind) {
  switch (kind) {
    case AnaglyphKind::Gray: return "SaveAnaGray";
    case AnaglyphKind::Colour: return "SaveAnaColour";
    case AnaglyphKind::Yellow: return "SaveAnaYellow";
  }
  return "SaveAnaGray";
}

// Everything after the common size, as separate statements.
void AnaglyphSteps(FrameBuffers& frames, AnaglyphKind kind, const Statements& statement) {
  ImageProcessor process;
  PictureRef temporary;
  auto output = [&]() -> Picture& { return Deref(frames.OutputFrame); };
  auto copy = [&]() -> Picture& { return Deref(temporary); };

  statement([&] { CopyDIB(frames.StereoViews[0], frames.OutputFrame, true); });
  switch (kind) {
    case AnaglyphKind::Gray:
      statement([&] { process.GrayScale(output(), 3); });
      statement([&] { process.ColourMask(output(), 0, 0, 1); });
      break;
    case AnaglyphKind::Colour:
      statement([&] { process.GrayScaleStand(output()); });
      statement([&] { process.ColourMask(output(), 0, 0, 1); });
      break;
    case AnaglyphKind::Yellow:
      statement([&] { process.ColourMask(output(), 0, 1, 1); });
      break;
  }
  statement([&] { CopyDIB(frames.StereoViews[1], temporary, false); });
  switch (kind) {
    case AnaglyphKind::Gray:
      statement([&] { process.GrayScale(copy(), 3); });
      statement([&] { process.ColourMask(copy(), 1, 1, 0); });
      break;
    case AnaglyphKind::Colour:
      statement([&] { process.ColourMask(copy(), 1, 1, 0); });
      break;
    case AnaglyphKind::Yellow:
      statement([&] { process.GrayScaleStand(copy()); });
      statement([&] { process.ColourMask(copy(), 1, 0, 0); });
      break;
  }
  // The masks leave disjoint channels, so the OR merges them exactly.
  statement([&] {
    copy().PaintPicture(output().DrawingCanvas(), 0, 0, frames.ViewWidth, frames.ViewHeight, 0, 0, SRCPAINT);
  });
  statement([&] { copy().ClearUp(); });
}

// The anaglyph in one pass over the two views; false (nothing changed) where that cannot be done
// and the steps must run instead.
bool AnaglyphOnePass(FrameBuffers& frames, AnaglyphRow row) {
  const PictureRef left = frames.StereoViews[0];
  const PictureRef right = frames.StereoViews[1];
  if (!left || !right || frames.OutputFrame == left || frames.OutputFrame == right) return false;
  const PixelGrid l = left->ReadGrid();
  const PixelGrid r = right->ReadGrid();
  const int32_t commonWidth = frames.ViewWidth;
  const int32_t commonHeight = frames.ViewHeight;
  if (l.Empty() || r.Empty() || commonWidth != std::min(l.width, r.width) ||
      commonHeight != std::min(l.height, r.height)) {
    return false;
  }
  // The previous output is emptied first, as the copy that starts the steps empties it whether
  // or not the copy succeeds; its memory, still in the cache, can then take the new frame.
  if (frames.OutputFrame) frames.OutputFrame->ClearUp();
  auto output = std::make_shared<Picture>();
  if (!output->CreateToOverwrite(l.width, l.height)) return false;  // every row is written below
  const PixelGrid o = output->Grid();
  // The common rectangle is the top-left one: device rows, counted from the top.
  for (int32_t y = 0; y < l.height; ++y) {
    if (y < commonHeight) {
      row(o.DeviceRow(y), l.DeviceRow(y), r.DeviceRow(y), commonWidth, l.width - commonWidth);
    } else {
      row(o.DeviceRow(y), l.DeviceRow(y), nullptr, 0, l.width);
    }
  }
  frames.OutputFrame = std::move(output);
  return true;
}

}  // namespace

void SaveAboveBelow(FrameBuffers& frames, const DisplayConfig& display, bool quick) {
  const Statements statement("SaveAboveBelow");
  CommonSize(frames, statement);
  int32_t gap = 0, outWidth = 0, fullHeight = 0, halfHeight = 0;
  double scaleX = 0.0, scaleY = 0.0, scale = 0.0;
  statement([&] { gap = ToInt32Checked(Floor(Divide(display.ScreenHeight, display.VertOffset))); });
  statement([&] { scaleX = Divide(display.ScreenWidth, frames.ViewWidth); });
  statement([&] { scaleY = Divide(static_cast<double>(display.ScreenHeight) - gap, frames.ViewHeight); });
  statement([&] { scale = scaleY < scaleX ? scaleY : scaleX; });
  statement([&] { outWidth = ToInt32Checked(frames.ViewWidth * scale); });
  statement([&] { fullHeight = ToInt32Checked(frames.ViewHeight * scale); });
  statement([&] { Output(frames).Create(outWidth, ToInt32Checked(static_cast<double>(fullHeight) + gap)); });
  statement([&] { halfHeight = ToInt32Checked(fullHeight / 2.0); });
  statement([&] {
    if (Canvas* dc = Output(frames).DrawingCanvas()) dc->SetStretchMode(quick ? COLORONCOLOR : HALFTONE);
  });
  // The band between the halves stays black, as the new frame is.
  statement([&] {
    Reader view(View(frames, 0));
    Stretch(Output(frames).DrawingCanvas(), 0, 0, outWidth, halfHeight, view.Context(), 0, 0, frames.ViewWidth,
               frames.ViewHeight, SRCCOPY);
  });
  statement([&] {
    Reader view(View(frames, 1));
    Stretch(Output(frames).DrawingCanvas(), 0, ToInt32Checked(static_cast<double>(halfHeight) + gap), outWidth, halfHeight,
               view.Context(), 0, 0, frames.ViewWidth, frames.ViewHeight, SRCCOPY);
  });
}

void SaveSideBySide(FrameBuffers& frames) {
  const Statements statement("SaveSideBySide");
  CommonSize(frames, statement);
  // The halves of a side-by-side frame already lie side by side: the frame is handed on as it is,
  // sharing its memory, instead of being copied together again.
  if (frames.StereoViews[0] && frames.StereoViews[1]) {
    if (PictureRef joined = Picture::JoinedView(*frames.StereoViews[0], *frames.StereoViews[1])) {
      frames.OutputFrame = std::move(joined);
      return;
    }
  }
  statement([&] {
    // Both views cover the common rectangle, so the two copies write every pixel; without both
    // views the frame starts black.
    const bool covered = frames.StereoViews[0] && frames.StereoViews[1];
    const int32_t width = ToInt32Checked(2.0 * frames.ViewWidth);
    covered ? Output(frames).CreateToOverwrite(width, frames.ViewHeight) : Output(frames).Create(width, frames.ViewHeight);
  });
  statement([&] {
    Reader view(View(frames, 0));
    Blit(Output(frames).DrawingCanvas(), 0, 0, frames.ViewWidth, frames.ViewHeight, view.Context(), 0, 0, SRCCOPY);
  });
  statement([&] {
    Reader view(View(frames, 1));
    Blit(Output(frames).DrawingCanvas(), frames.ViewWidth, 0, frames.ViewWidth, frames.ViewHeight, view.Context(), 0, 0, SRCCOPY);
  });
}

void SaveAnaglyphStepByStep(FrameBuffers& frames, AnaglyphKind kind) {
  const Statements statement(AnaglyphRoutine(kind));
  CommonSize(frames, statement);
  AnaglyphSteps(frames, kind, statement);
}

void SaveAnaglyphOnePass(FrameBuffers& frames, AnaglyphKind kind, AnaglyphRow row) {
  const Statements statement(AnaglyphRoutine(kind));
  CommonSize(frames, statement);
  if (!AnaglyphOnePass(frames, row)) AnaglyphSteps(frames, kind, statement);
}

void SaveAnaGray(FrameBuffers& frames) {
  SaveAnaglyphOnePass(frames, AnaglyphKind::Gray, FastAnaglyphRow(AnaglyphKind::Gray));
}
void SaveAnaColour(FrameBuffers& frames) {
  SaveAnaglyphOnePass(frames, AnaglyphKind::Colour, FastAnaglyphRow(AnaglyphKind::Colour));
}
void SaveAnaYellow(FrameBuffers& frames) {
  SaveAnaglyphOnePass(frames, AnaglyphKind::Yellow, FastAnaglyphRow(AnaglyphKind::Yellow));
}

void SaveInterlace(FrameBuffers& frames, const DisplayConfig& display, bool fullscreen) {
  const Statements statement("SaveInterlace");
  CommonSize(frames, statement);
  double scale = 0.0, scaleX = 0.0, scaleY = 0.0;
  int32_t targetWidth = 0, targetHeight = 0, outWidth = 0, outHeight = 0;
  if (!fullscreen) {
    scale = 1.0;
  } else {
    // Full-screen interlacing through OpenGL is shown in the chosen screen mode; otherwise the
    // frame fills the screen as it is.
    statement([&] { targetWidth = display.InterlaceViaOpenGL ? display.ScreenWidth : CurrentScreenWidth(); });
    statement([&] { targetHeight = display.InterlaceViaOpenGL ? display.ScreenHeight : CurrentScreenHeight(); });
    statement([&] { scaleX = Divide(targetWidth, frames.ViewWidth); });
    statement([&] { scaleY = Divide(targetHeight, frames.ViewHeight); });
    statement([&] { scale = scaleY < scaleX ? scaleY : scaleX; });
  }
  statement([&] { outWidth = ToInt32Checked(frames.ViewWidth * scale); });
  statement([&] { outHeight = ToInt32Checked(frames.ViewHeight * scale); });
  statement([&] { outHeight -= outHeight % 2; });
  // Rows are laid at the final height first; the width is scaled once at the end. Every row is
  // copied (or blackened when it cannot be), so the new frame need not be cleared first.
  statement([&] { Output(frames).CreateToOverwrite(frames.ViewWidth, outHeight); });
  int32_t offset0 = 0, offset1 = 0;
  statement([&] {
    // Memory rows count from the bottom: the taller view is read higher up, so the tops line up.
    const int32_t d = View(frames, 0).Height() - View(frames, 1).Height();
    offset0 = d > 0 ? d : 0;
    offset1 = d > 0 ? 0 : -d;
  });
  int32_t r = 0;
  for (int32_t y = 0; y <= outHeight - 2; y += 2) {
    statement([&] { r = ToInt32Checked(Floor(Divide(y, scale))); });
    // outHeight is even, so the top row (y + 1 = outHeight - 1) comes from the left view.
    statement([&] { CopyRow(View(frames, 0), r + offset0, Output(frames), y + 1); });
    statement([&] { CopyRow(View(frames, 1), r + offset1, Output(frames), y); });
  }
  statement([&] {
    // A resample to the frame's own size would only copy it into a new buffer.
    if (Output(frames).Width() == outWidth && Output(frames).Height() == outHeight) return;
    ResampleDIB(frames.OutputFrame, outHeight, outWidth, false);
  });
}

}  // namespace qv
