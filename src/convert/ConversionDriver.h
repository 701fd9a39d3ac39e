#pragma once
// ConversionDriver: turns the frames of a 2D video into stereo pairs while it plays. The frame
// loop hands it, once a frame, the two views that the 2D decoder filled with copies of the frame;
// afterwards view 0 holds the left eye's picture and view 1 the right eye's.
//
// Two ways of making the second view are combined. Depth synthesis: a depth map is carried from
// frame to frame by block motion, smoothed and used to render the other view. Frame delay: while
// the picture pans steadily, the previous frame is the other eye's view, on the side that the
// direction of the motion gives. A hysteresis on the smoothed motion switches between them; a
// depth map that warps too far (mean block difference above 10 a pixel) starts again flat.
//
// One driver belongs to one playback session: it keeps the depth map, the frames held back and
// the fast tracker's reference for the whole session. A call with `continuing` false starts a
// new conversion. The driver runs on the playback thread; the depth engine spreads its work over
// the cores. Failures are reported with "An error occurred while processing. " and the
// conversion goes on with the next step; the frame is always handed back.

#include <array>
#include <cstdint>

#include "base/HighResTimer.h"
#include "convert/DepthEngine.h"
#include "image/PixelArrays.h"
#include "image/Picture.h"
#include "imageproc/ImageProcessor.h"

namespace qv {

// How the depth of the conversion is made.
enum class FrameShiftOption : int16_t {
  Automatic = 0,    // from block motion, with frame delay while the picture pans
  AlignedMap = 1,   // a depth map the user prepares, carried on and kept aligned with the picture
  RedrawnMap = 2,   // a depth map the user redraws on every frame
};

// The state of one conversion, filled on its first frame.
struct ConversionState {
  float ShiftPerLevel = 0.0f;  // parallax a depth level, byte columns: 30 / 255 x W / 640
  int16_t FrameShift = 0;      // whole-view offset, byte columns: round(15 x W / 640), or 0
  int32_t MaxShift = 30;
  bool UseLibrary = false;     // render with the depth engine (else the image processor)
  int16_t ShiftState = 0;      // 0 depth synthesis, 1 frame delay armed, 2 frame delay
  double MotionAverage = 0.0;  // smoothed absolute motion, pixels a frame
  int32_t PixelCount = 0;      // W x H
  int32_t TrackMode = 0;       // the trackers' action: 1 automatic, 2 a user's depth map
  int32_t SpeedLevel = 0;      // the fast tracker's level, 1 ... 5; only rises
  float FrameTimeAverage = 0.0f;  // smoothed seconds a call while in frame delay
};

// What options 1 and 2 ask of the user: to prepare the depth image (levels in its blue bytes)
// beside the picture. Returns when the user has finished. The GUI shows the depth map window.
class DepthMapEditor {
 public:
  virtual ~DepthMapEditor() = default;
  virtual void EditDepthMap(const Picture& picture, Picture& depthImage) = 0;
  virtual void Beep() {}
};

inline constexpr const char* kCreateInitialDepthMap = "Please create the initial depth map.";
inline constexpr const char* kDepthMapTooWarped =
    "The current depth map has become too warped. Please create a new one for the current frame.";
inline constexpr const char* kConversionFailed = "An error occurred while processing. ";

class ConversionDriver {
 public:
  // `arrays` are the session's shared processor arrays; `timing` the session's stage timer, which
  // the driver restarts at its own start (the frame loop's Decode time is then the conversion's).
  ConversionDriver(ProcessorArrays& arrays, Timing& timing);

  // Converts the frame in views[0]. `outputFrame` receives the nine-view grid when noFrameShift
  // is non-zero. useInternal: keep the previous frame, track with the full tracker and render
  // with the image processor. overlay is reserved (0: nothing is added to the views).
  void ConvertFrame(std::array<PictureRef, 2>& views, PictureRef& outputFrame, bool continuing,
                    bool useInternal, int16_t overlay, int16_t noFrameShift, bool scaleShift,
                    FrameShiftOption option);

  // Smoothed seconds a call (1/30 at the start of a conversion; 0 before the first). The
  // statistics show its reciprocal as the conversion's frames per second.
  float ConvertFrameTime() const { return convertFrameTime_; }
  const ConversionState& State() const { return state_; }
  const DepthMap& Depth() const { return depthMap_; }
  DepthEngine& Engine() { return engine_; }
  void SetDepthMapEditor(DepthMapEditor* editor) { editor_ = editor; }

  // Renders view 1 from view 0 and the depth image in view 1 (see the .cpp for the two paths).
  void RenderView(std::array<PictureRef, 2>& views, int16_t overlay, float& shiftPerLevel,
                  double& perspective, int16_t& frameShift, bool useLibrary, int32_t xInterp);
  // view 1 := a 3 x 3 grid: the picture, then views at 1/8 ... 8/8 of the parallax; outputFrame
  // := a copy of it.
  void RenderViewGrid(std::array<PictureRef, 2>& views, PictureRef& outputFrame, int16_t overlay,
                      float& shiftPerLevel, double& perspective, int16_t& frameShift, bool useLibrary);

 private:
  void FirstFrame(std::array<PictureRef, 2>& views, bool useInternal, bool scaleShift,
                  FrameShiftOption option);
  void ContinuingFrame(std::array<PictureRef, 2>& views, PictureRef& outputFrame, bool useInternal,
                       int16_t overlay, int16_t noFrameShift, FrameShiftOption option);
  void PropagateDepth(Picture& view, double& error, double& motion, bool full);
  void EditDepthMap(std::array<PictureRef, 2>& views);

  ProcessorArrays& arrays_;
  Timing& timing_;
  DepthEngine engine_;
  DepthMapEditor* editor_ = nullptr;
  ConversionState state_;
  float convertFrameTime_ = 0.0f;
  bool synthesised_ = false;  // this call rendered a view from depth
  int32_t width_ = 0;  // the size of the frames of this conversion
  int32_t height_ = 0;
  DepthMap depthMap_;
  PictureRef previousFrame_;
  PictureRef delayedFrame_;
  PictureRef viewBackup_;
};

}  // namespace qv
