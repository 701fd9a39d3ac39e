#include "playback/OutputDispatch.h"

#include <string>

#include "base/Error.h"
#include "base/Numbers.h"
#include "base/Seams.h"
#include "image/BufferHelpers.h"
#include "playback/LineCodes.h"
#include "playback/Surfaces.h"

namespace qv {

namespace {

void ReportInvalidMethod(const PlaybackRequest& request) {
  MsgBox("Invalid output format." + std::to_string(NumberOf(request.OutputMethod)));
}

const OutputRoute* RouteFor(const PlaybackContext& context, const PlaybackRequest& request) {
  return RouteOf(request.OutputMethod, request.Fullscreen, context.Display.InterlaceViaOpenGL);
}

DisplaySurface* InstalledSurface(SurfaceKind kind) {
  DisplaySurface* surface = GetDisplaySurface(kind);
  if (surface == nullptr) {
    const char* name = kind == SurfaceKind::OpenGL    ? "OpenGL stereo display"
                       : kind == SurfaceKind::DirectX ? "NVidia stereo display"
                                                      : "window display";
    MsgBox(std::string("The ") + name + " is not available in this version of " + kAppName + ".");
  }
  return surface;
}

int32_t HalvedRefreshRate(int32_t rate) {
  const auto halved = static_cast<int32_t>(RoundHalfEven(rate / 2.0));
  return halved < 56 ? 60 : halved;
}

// The text an initialiser puts before the description of an error it caught.
std::string OpenerMessage(Opener opener) {
  switch (opener) {
    case Opener::OpenGL: return "";
    case Opener::NVidia: return "Error in Init_NVidia. ";
    case Opener::BlitFullscreen: return "Error in Init_Blit_Fullscreen. ";
    case Opener::BlitWindowed: return "Error in Init_Blit_Windowed. ";
  }
  return "";
}

// Opens the route's surface for a width x height frame; errors are shown with the initialiser's
// words and the session goes on (the surface reports its own failures).
void Open(PlaybackContext& context, const OutputMethodInfo& method, const OutputRoute& route,
          int32_t width, int32_t height) {
  try {
    PictureRef start, end;
    switch (route.pictures) {
      case LineCodePictures::Empty:
        start = std::make_shared<Picture>();
        end = std::make_shared<Picture>();
        break;
      case LineCodePictures::OutputFrame:
        start = end = context.Frames.OutputFrame;
        break;
      case LineCodePictures::Codes:
        start = CreateLineCode(route.startCode);
        end = CreateLineCode(route.endCode);
        break;
    }
    if (method.halvesRefreshRate) {
      context.Display.RefreshRate = HalvedRefreshRate(context.Display.RefreshRate);
    }
    DisplaySurface* surface = InstalledSurface(route.surface);
    if (surface == nullptr) return;
    surface->UseSettings(context.Display);
    surface->OpenDisplay(route.fullscreen, width, height, route.modeFlag,
                         route.pictures == LineCodePictures::Codes, start, end);
  } catch (const std::exception& e) {
    MsgBox(OpenerMessage(route.opener) + DescribeError(e));
  }
}

}  // namespace

bool DecodeFrame(PlaybackContext& context, PlaybackRequest& request) {
  const InputFormatInfo* format = FindInputFormat(request.InputFormat);
  if (format == nullptr) {
    MsgBox("Invalid input video format. " + std::to_string(NumberOf(request.InputFormat)));
    return false;
  }
  format->decoder(context.Frames, 0, {});
  return true;
}

void ComposeFrame(PlaybackContext& context, PlaybackRequest& request, bool flag) {
  const OutputMethodInfo* method = FindOutputMethod(request.OutputMethod);
  if (method == nullptr) {
    ReportInvalidMethod(request);
    return;
  }
  method->compose(context.Frames, context.Display, request.Fullscreen, flag);
}

void OpenOutput(PlaybackContext& context, PlaybackRequest& request) {
  const OutputMethodInfo* method = FindOutputMethod(request.OutputMethod);
  const OutputRoute* route = RouteFor(context, request);
  if (method == nullptr || route == nullptr) {
    ReportInvalidMethod(request);
    return;
  }
  const Picture& frame = AutoCreate(context.Frames.OutputFrame);
  Open(context, *method, *route, frame.Width(), frame.Height());
}

bool PutFrame(PlaybackContext& context, PlaybackRequest& request, bool flag) {
  const OutputRoute* route = RouteFor(context, request);
  if (route == nullptr) {
    ReportInvalidMethod(request);
    return false;
  }
  DisplaySurface* surface = GetDisplaySurface(route->surface);
  if (surface == nullptr) return false;
  const bool shown = surface->PutImage(AutoCreate(context.Frames.OutputFrame), route->resize, flag);
  return route->surface == SurfaceKind::OpenGL ? true : shown;
}

void CloseOutput(PlaybackContext& context, PlaybackRequest& request) {
  const OutputRoute* route = RouteFor(context, request);
  if (route == nullptr) {
    ReportInvalidMethod(request);
    return;
  }
  if (DisplaySurface* surface = GetDisplaySurface(route->surface)) surface->CloseDisplay();
}

bool CanPassThrough(const PlaybackRequest& request) {
  if (request.OptionMode == 1 || request.OptionFlagA || request.OptionFlagB) return false;
  const OutputMethod method = request.OutputMethod;
  return (request.InputFormat == InputFormat::Parallel &&
          (method == OutputMethod::NvidiaStereo || method == OutputMethod::SideBySide)) ||
         (request.InputFormat == InputFormat::Interleaved && method == OutputMethod::Interlaced &&
          !request.Fullscreen);
}

}  // namespace qv
