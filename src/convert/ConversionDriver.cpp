#include "convert/ConversionDriver.h"

#include <cmath>
#include <cstring>
#include <string>

#include "base/Error.h"
#include "base/Numbers.h"
#include "base/Seams.h"
#include "image/BufferHelpers.h"
#include "image/Canvas.h"

namespace qv {

namespace {

constexpr float kFrameTimeStart = 1.0f / 30.0f;

// Runs one step of the driver: a failure is reported and the next step runs.
template <typename Step>
void Attempt(Step step) {
  try {
    step();
  } catch (const std::exception& e) {
    MsgBox(kConversionFailed + DescribeError(e));
  }
}

// Runs one step of the view renderer: a failure is skipped silently.
template <typename Step>
void Quietly(Step step) {
  try {
    step();
  } catch (const std::exception&) {
  }
}

// to := a copy of from. A picture of the same size that nobody else holds is overwritten in
// place, which spares a frame-sized allocation a frame; otherwise the old picture is emptied and
// replaced, as CopyDIB does.
void Assign(PictureRef& to, const PictureRef& from) {
  const Picture& source = Deref(from);
  if (to && to.use_count() == 1 && to->Width() == source.Width() && to->Height() == source.Height() &&
      source.Width() > 0 && source.Height() > 0 && !to->SharesMemory()) {
    const PixelGrid in = source.ReadGrid();
    const PixelGrid out = to->Grid();
    for (int32_t y = 0; y < out.height; ++y) {
      std::memcpy(out.MemoryRow(y), in.MemoryRow(y), static_cast<size_t>(3) * out.width);
    }
    return;
  }
  CopyDIB(from, to, true);
}

// The picture in a slot, made (empty) when the slot has none.
Picture& Slot(PictureRef& slot) {
  if (!slot) slot = std::make_shared<Picture>();
  return *slot;
}

// The pictures a step works on must have the size of the conversion's frames.
void RequireSize(const Picture& picture, int32_t width, int32_t height) {
  if (picture.Width() != width || picture.Height() != height) throw err::SubscriptOutOfRange();
}

}  // namespace

ConversionDriver::ConversionDriver(ProcessorArrays& arrays, Timing& timing)
    : arrays_(arrays), timing_(timing) {}

void ConversionDriver::ConvertFrame(std::array<PictureRef, 2>& views, PictureRef& outputFrame,
                                    bool continuing, bool useInternal, int16_t overlay,
                                    int16_t noFrameShift, bool scaleShift, FrameShiftOption option) {
  timing_.PerfTimer.StartTimer();
  synthesised_ = false;
  Attempt([&] {
    Picture& frame = Deref(views[0]);
    Slot(views[1]);
    // A frame of another size than the conversion's starts the conversion again.
    if (continuing && (frame.Width() != width_ || frame.Height() != height_)) continuing = false;
    if (continuing) {
      ContinuingFrame(views, outputFrame, useInternal, overlay, noFrameShift, option);
    } else {
      FirstFrame(views, useInternal, scaleShift, option);
    }
  });
  if (useInternal) Attempt([&] { Assign(previousFrame_, views[0]); });

  timing_.PerfTimer.StopTimer();
  const double seconds = timing_.PerfTimer.Elapsed() / timing_.PerfFrequency;
  // The engine's choice of threads compares frames that did the same work.
  if (synthesised_) engine_.ReportFrameTime(seconds);
  convertFrameTime_ = static_cast<float>((seconds + convertFrameTime_ * 29.0) / 30.0);
  if (state_.ShiftState == 2) {
    state_.FrameTimeAverage = static_cast<float>((seconds + state_.FrameTimeAverage * 29.0) / 30.0);
    if (1.0 / state_.FrameTimeAverage < 15.0 && state_.SpeedLevel < 5) {
      ++state_.SpeedLevel;
      state_.FrameTimeAverage = kFrameTimeStart;
    }
  } else {
    state_.FrameTimeAverage = kFrameTimeStart;
  }
}

void ConversionDriver::FirstFrame(std::array<PictureRef, 2>& views, bool useInternal, bool scaleShift,
                                  FrameShiftOption option) {
  const Picture& frame = Deref(views[0]);
  const int32_t W = frame.Width();
  const int32_t H = frame.Height();
  state_ = ConversionState{};
  // The fast tracker's first reference is this frame.
  Attempt([&] { engine_.Reset(frame.Bits(), W, H); });
  width_ = W;
  height_ = H;
  if (option == FrameShiftOption::AlignedMap || option == FrameShiftOption::RedrawnMap) {
    state_.TrackMode = 2;
    MsgBox(kCreateInitialDepthMap);
    EditDepthMap(views);
  } else {
    state_.TrackMode = 1;
    Attempt([&] { Deref(views[1]).Create(W, H); });
  }
  Attempt([&] { ImageProcessor(arrays_).CopyToDepthMap(Deref(views[1]), depthMap_); });

  state_.PixelCount = W * H;
  state_.MaxShift = 30;
  const auto scale = static_cast<float>(W / 640.0);
  state_.ShiftPerLevel = static_cast<float>(state_.MaxShift / 255.0 * scale);
  state_.FrameShift = scaleShift ? ToInt16Checked(state_.MaxShift / 2.0 * scale) : int16_t{0};
  state_.UseLibrary = !useInternal;
  state_.ShiftState = 0;
  state_.MotionAverage = 1.0;
  state_.SpeedLevel = 1;
  convertFrameTime_ = kFrameTimeStart;
  state_.FrameTimeAverage = kFrameTimeStart;
}

void ConversionDriver::ContinuingFrame(std::array<PictureRef, 2>& views, PictureRef& outputFrame,
                                       bool useInternal, int16_t overlay, int16_t noFrameShift,
                                       FrameShiftOption option) {
  double error = 0.0;
  double motion = 0.0;
  // Automatic depth from the fast tracker, rendered by the engine as one view: the depth image
  // between the steps is nobody's to see, so the engine keeps it as a plane of levels (the same
  // levels, without writing and reading a frame-sized picture at every step).
  const bool planeOnly = option == FrameShiftOption::Automatic && !useInternal && noFrameShift == 0 &&
                         state_.UseLibrary;
  if (planeOnly) {
    Attempt([&] {
      Picture& frame = Deref(views[0]);
      if (depthMap_.Cols() != width_ + 1 || depthMap_.Rows() != height_ + 1) throw err::SubscriptOutOfRange();
      engine_.CreateDepthPlaneFast(frame.Bits(), error, state_.TrackMode, depthMap_.Data(), width_, height_,
                                   motion, state_.SpeedLevel);
    });
  } else {
    Attempt([&] { Assign(views[1], views[0]); });
    Attempt([&] { PropagateDepth(Deref(views[1]), error, motion, useInternal); });
  }

  // A mean block difference above 10 a pixel: the depth map has warped too far.
  error /= state_.PixelCount;
  if (RoundHalfEven(error) > 10.0) {
    state_.MotionAverage = 2.5;
    if (planeOnly) {
      engine_.ClearDepthPlane();
    } else if (option == FrameShiftOption::Automatic) {
      Attempt([&] { Deref(views[1]).Create(width_, height_); });
    } else if (option == FrameShiftOption::AlignedMap) {
      if (editor_ != nullptr) editor_->Beep();
      MsgBox(kDepthMapTooWarped);
      EditDepthMap(views);
    }
  }

  if (option == FrameShiftOption::RedrawnMap) {
    // The picture's green channel over the depth image, for the user to redraw on.
    Attempt([&] { ImageProcessor(arrays_).AddImagesChannel(Deref(views[0]), Deref(views[1]), 0, 1, 0, 1, 0, 1); });
    EditDepthMap(views);
  }
  if (option != FrameShiftOption::Automatic) {
    if (option == FrameShiftOption::AlignedMap) {
      Attempt([&] {
        Picture& depth = Deref(views[1]);
        RequireSize(Deref(views[0]), depth.Width(), depth.Height());
        engine_.MatchDepthMap(depth.Bits(), views[0]->Bits(), depth.Width(), depth.Height());
      });
    }
    Attempt([&] { Assign(viewBackup_, views[1]); });
    double perspective = 0.0;
    RenderView(views, overlay, state_.ShiftPerLevel, perspective, state_.FrameShift, state_.UseLibrary, 1);
    Attempt([&] { Assign(views[1], viewBackup_); });
    return;
  }

  state_.MotionAverage = (state_.MotionAverage * 14.0 + std::fabs(motion)) / 15.0;
  if (state_.MotionAverage < 1.5) state_.ShiftState = 0;
  if (state_.MotionAverage > 3.5 && noFrameShift == 0 && state_.ShiftState == 0) state_.ShiftState = 1;

  if (state_.ShiftState == 0 || state_.ShiftState == 1) {
    synthesised_ = true;
    double perspective = 0.0;
    if (planeOnly) {
      engine_.SmoothDepthPlane(8);
      Quietly([&] {
        Picture& picture = Deref(views[0]);
        Picture& view = Slot(views[1]);
        if (view.Width() != width_ || view.Height() != height_ || view.SharesMemory()) {
          view.CreateToOverwrite(width_, height_);
        }
        engine_.Make3DFromPlane(view.Bits(), picture.Bits(), depthMap_.Data(), width_, height_,
                                state_.ShiftPerLevel, state_.FrameShift, 1);
      });
    } else {
      Attempt([&] {
        Picture& depth = Deref(views[1]);
        engine_.SmoothDepth(depth.Bits(), depth.Width(), depth.Height(), 8);
      });
      if (noFrameShift != 0) {
        RenderViewGrid(views, outputFrame, overlay, state_.ShiftPerLevel, perspective, state_.FrameShift,
                       state_.UseLibrary);
      } else {
        RenderView(views, overlay, state_.ShiftPerLevel, perspective, state_.FrameShift, state_.UseLibrary, 1);
      }
    }
    if (state_.ShiftState == 1) {
      Attempt([&] { Assign(delayedFrame_, views[0]); });
      state_.ShiftState = 2;
    }
    return;
  }

  // Frame delay: the previous frame is the other eye's view. Content moving right (negative
  // motion): the camera moves left, the current frame is the left eye's; otherwise the right's.
  Attempt([&] {
    if (motion < 0.0) {
      Assign(views[1], delayedFrame_);
      Assign(delayedFrame_, views[0]);
    } else {
      Assign(views[1], views[0]);
      Assign(views[0], delayedFrame_);
      Assign(delayedFrame_, views[1]);
    }
  });
}

void ConversionDriver::PropagateDepth(Picture& view, double& error, double& motion, bool full) {
  const int32_t W = view.Width();
  const int32_t H = view.Height();
  if (depthMap_.Cols() != W + 1 || depthMap_.Rows() != H + 1) throw err::SubscriptOutOfRange();
  if (full) {
    const Picture& previous = Deref(previousFrame_);
    RequireSize(previous, W, H);
    engine_.CreateDepthMap(view.Bits(), previous.Bits(), error, state_.TrackMode, depthMap_.Data(), W, H,
                           motion);
  } else {
    engine_.CreateDepthMapFast(view.Bits(), nullptr, error, state_.TrackMode, depthMap_.Data(), W, H,
                               motion, state_.SpeedLevel);
  }
}

void ConversionDriver::EditDepthMap(std::array<PictureRef, 2>& views) {
  if (editor_ == nullptr) return;
  Attempt([&] { editor_->EditDepthMap(Deref(views[0]), Slot(views[1])); });
}

// With the image processor: the depth map from the depth image, the depth image dilated twice,
// then Make3D from the picture into a new view. With the engine: its renderer, which does the
// same from the depth image and keeps the depth map.
void ConversionDriver::RenderView(std::array<PictureRef, 2>& views, int16_t /*overlay*/,
                                  float& shiftPerLevel, double& perspective, int16_t& frameShift,
                                  bool useLibrary, int32_t xInterp) {
  ImageProcessor process(arrays_);
  Quietly([&] {
    Picture& picture = Deref(views[0]);
    Picture& depth = Deref(views[1]);
    const int32_t W = picture.Width();
    const int32_t H = picture.Height();
    if (!useLibrary) {
      Quietly([&] { perspective = perspective / W * 640.0; });
      Quietly([&] { process.CopyToDepthMap(depth, depthMap_); });
      Quietly([&] { process.Dilate(depth); });
      Quietly([&] { process.Dilate(depth); });
      Quietly([&] {
        process.CopyToArray(depth);
        arrays_.DepthPixels = arrays_.SharedPixels;
      });
      Quietly([&] { process.CopyToArray(picture); });
      Quietly([&] { depth.Create(W, H); });
      Quietly([&] { process.Make3D(depth, static_cast<double>(shiftPerLevel), perspective, frameShift, xInterp); });
      return;
    }
    RequireSize(depth, W, H);
    if (depthMap_.Cols() != W + 1 || depthMap_.Rows() != H + 1) throw err::SubscriptOutOfRange();
    engine_.Make3D(depth.Bits(), picture.Bits(), depthMap_.Data(), W, H, shiftPerLevel, frameShift, xInterp);
  });
}

void ConversionDriver::RenderViewGrid(std::array<PictureRef, 2>& views, PictureRef& outputFrame,
                                      int16_t overlay, float& shiftPerLevel, double& perspective,
                                      int16_t& frameShift, bool useLibrary) {
  const Picture& picture = Deref(views[0]);
  const int32_t W = picture.Width();
  const int32_t H = picture.Height();
  const auto cellWidth = static_cast<int32_t>(RoundHalfEven(W / 3.0));
  const auto cellHeight = static_cast<int32_t>(RoundHalfEven(H / 3.0));
  auto grid = std::make_shared<Picture>();
  if (!grid->Create(W, H)) return;
  perspective = 0.0;
  Canvas* gridCanvas = grid->DrawingCanvas();
  gridCanvas->SetStretchMode(HALFTONE);
  Stretch(gridCanvas, 0, 0, cellWidth, cellHeight, views[0]->DrawingCanvas(), 0, 0, W, H, SRCCOPY);
  const float entryShift = shiftPerLevel;
  for (int32_t i = 1; i <= 8; ++i) {
    shiftPerLevel = static_cast<float>(i / 8.0 * entryShift);
    Attempt([&] { Assign(viewBackup_, views[1]); });
    RenderView(views, overlay, shiftPerLevel, perspective, frameShift, useLibrary, 5);
    const Picture& view = Deref(views[1]);
    Stretch(gridCanvas, (i % 3) * cellWidth, (i - i % 3) / 3 * cellHeight, cellWidth, cellHeight,
            view.DrawingCanvas(), 0, 0, view.Width(), view.Height(), SRCCOPY);
    Attempt([&] { Assign(views[1], viewBackup_); });
  }
  CopyDIB(grid, views[1], true);
  CopyDIB(grid, outputFrame, true);
}

}  // namespace qv
