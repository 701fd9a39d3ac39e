#include "playback/OutputDispatch.h"

#include <optional>
#include <string>

#include "base/DisplayConfig.h"
#include "base/Error.h"
#include "base/Numbers.h"
#include "base/Seams.h"
#include "playback/LineCodes.h"
#include "image/FrameBuffers.h"
#include "playback/Surfaces.h"
#include "stereo/Decoders.h"
#include "stereo/Composers.h"

namespace qv {

bool DecodeFrame(PlaybackRequest& request) {
  const FrameDecoder decoder = DecoderFor(request.InputFormat);
  if (decoder == nullptr) {
    MsgBox("Invalid input video format. " + std::to_string(request.InputFormat));
    return false;
  }
  decoder(0, false);
  return true;
}

void ComposeFrame(PlaybackRequest& request, bool flag) {
  switch (request.OutputMethod) {
    case 1:
    case 7:
      SaveAboveBelow(flag);
      break;
    case 2:
      SaveAnaGray();
      break;
    case 3:
      SaveAnaColour();
      break;
    case 4:
      SaveAnaYellow();
      break;
    case 5:
      SaveInterlace(request.Fullscreen);
      break;
    case 6:
    case 8:
      SaveSideBySide();
      break;
    default:
      MsgBox("Invalid output format." + std::to_string(request.OutputMethod));
      break;
  }
}

namespace {

void ReportInvalidMethod(const PlaybackRequest& request) {
  MsgBox("Invalid output format." + std::to_string(request.OutputMethod));
}

std::optional<SurfaceKind> SurfaceOf(const PlaybackRequest& request) {
  switch (request.OutputMethod) {
    case 1:
    case 7:
    case 8:
      return SurfaceKind::OpenGL;
    case 2:
    case 3:
    case 4:
      return SurfaceKind::Blit;
    case 5:
      return request.Fullscreen && gDisplay.InterlaceViaOpenGL ? SurfaceKind::OpenGL
                                                               : SurfaceKind::Blit;
    case 6:
      return SurfaceKind::DirectX;
    default:
      return std::nullopt;
  }
}

DisplaySurface* InstalledSurface(SurfaceKind kind) {
  DisplaySurface* surface = GetDisplaySurface(kind);
  if (surface == nullptr) {
    const char* name = kind == SurfaceKind::OpenGL    ? "OpenGL stereo display"
                       : kind == SurfaceKind::DirectX ? "NVidia stereo display"
                                                      : "window display";
    MsgBox(std::string("The ") + name + " is not available in this version of " + kAppName + ".");
  } else {
    surface->UseSettings(gDisplay);  // the screen mode and refresh rate of this play
  }
  return surface;
}

// The configured refresh rate while a sync-doubled display asks for half of it.
std::optional<int32_t> gConfiguredRefreshRate;

void HalveRefreshRate() {
  if (!gConfiguredRefreshRate) gConfiguredRefreshRate = gDisplay.RefreshRate;
  int32_t halved = static_cast<int32_t>(RoundHalfEven(*gConfiguredRefreshRate / 2.0));
  gDisplay.RefreshRate = halved < 56 ? 60 : halved;
}

void RestoreRefreshRate() {
  if (gConfiguredRefreshRate) gDisplay.RefreshRate = *gConfiguredRefreshRate;
  gConfiguredRefreshRate.reset();
}

PictureRef Empty() {
  return std::make_shared<Picture>();
}

void InitOpenGL(PlaybackRequest& request, int32_t width, int32_t height) {
  try {
    PictureRef start, end;
    switch (request.OutputMethod) {
      case 1:
        start = CreateLineCode(LineCode::EyeSync);
        end = CreateLineCode(LineCode::EyeOff);
        HalveRefreshRate();
        break;
      case 7:
        start = CreateLineCode(LineCode::EDSync);
        end = CreateLineCode(LineCode::EDOff);
        HalveRefreshRate();
        break;
      case 5:
        start = CreateLineCode(LineCode::EDInterlace);
        end = CreateLineCode(LineCode::EDOff);
        break;
      case 8:
        start = end = gFrames.OutputFrame;
        break;
      default:
        MsgBox("Invalid output method.");
        return;
    }
    DisplaySurface* surface = InstalledSurface(SurfaceKind::OpenGL);
    if (surface == nullptr) return;
    if (request.OutputMethod == 8) {
      surface->OpenDisplay(request.Fullscreen, width, height, true, false, start, end);
    } else {
      surface->OpenDisplay(true, width, height, false, true, start, end);
    }
  } catch (const std::exception& e) {
    MsgBox(DescribeError(e));
  }
}

void InitNVidia(PlaybackRequest& request, int32_t width, int32_t height) {
  try {
    if (request.OutputMethod != 6) {
      MsgBox("Invalid output method.");
      return;
    }
    if (DisplaySurface* surface = InstalledSurface(SurfaceKind::DirectX)) {
      surface->OpenDisplay(true, width, height, true, false, gFrames.OutputFrame,
                           gFrames.OutputFrame);
    }
  } catch (const std::exception& e) {
    MsgBox("Error in Init_NVidia. " + DescribeError(e));
  }
}

void InitBlitFullscreen(PlaybackRequest& request, int32_t width, int32_t height) {
  try {
    const bool lineCodes = request.OutputMethod == 5;
    const PictureRef start = lineCodes ? CreateLineCode(LineCode::EDInterlace) : Empty();
    const PictureRef end = lineCodes ? CreateLineCode(LineCode::EDOff) : Empty();
    if (DisplaySurface* surface = InstalledSurface(SurfaceKind::Blit)) {
      surface->OpenDisplay(true, width, height, true, lineCodes, start, end);
    }
  } catch (const std::exception& e) {
    MsgBox("Error in Init_Blit_Fullscreen. " + DescribeError(e));
  }
}

void InitBlitWindowed(PlaybackRequest& request, int32_t width, int32_t height) {
  try {
    if (DisplaySurface* surface = InstalledSurface(SurfaceKind::Blit)) {
      surface->OpenDisplay(false, width, height, true, false, gFrames.OutputFrame,
                           gFrames.OutputFrame);
    }
  } catch (const std::exception& e) {
    MsgBox("Error in Init_Blit_Windowed. " + DescribeError(e));
  }
}

}  // namespace

void OpenOutput(PlaybackRequest& request) {
  const Picture& frame = AutoCreate(gFrames.OutputFrame);
  const int32_t width = frame.Width();
  const int32_t height = frame.Height();
  switch (request.OutputMethod) {
    case 1:
    case 7:
    case 8:
      InitOpenGL(request, width, height);
      break;
    case 2:
    case 3:
    case 4:
      if (request.Fullscreen) {
        InitBlitFullscreen(request, width, height);
      } else {
        InitBlitWindowed(request, width, height);
      }
      break;
    case 5:
      if (!request.Fullscreen) {
        InitBlitWindowed(request, width, height);
      } else if (gDisplay.InterlaceViaOpenGL) {
        InitOpenGL(request, width, height);
      } else {
        InitBlitFullscreen(request, width, height);
      }
      break;
    case 6:
      InitNVidia(request, width, height);
      break;
    default:
      ReportInvalidMethod(request);
      break;
  }
}

bool PutFrame(PlaybackRequest& request, bool flag) {
  const std::optional<SurfaceKind> kind = SurfaceOf(request);
  if (!kind) {
    ReportInvalidMethod(request);
    return false;
  }
  DisplaySurface* surface = GetDisplaySurface(*kind);
  if (surface == nullptr) return false;
  const Picture& frame = AutoCreate(gFrames.OutputFrame);
  switch (*kind) {
    case SurfaceKind::OpenGL:
      surface->PutImage(frame, request.OutputMethod == 8, flag);
      return true;
    case SurfaceKind::Blit:
      return surface->PutImage(frame, request.OutputMethod != 5, flag);
    case SurfaceKind::DirectX:
      return surface->PutImage(frame, true, flag);
  }
  return false;
}

void CloseOutput(PlaybackRequest& request) {
  const std::optional<SurfaceKind> kind = SurfaceOf(request);
  if (!kind) {
    ReportInvalidMethod(request);
    return;
  }
  if (DisplaySurface* surface = GetDisplaySurface(*kind)) surface->CloseDisplay();
  RestoreRefreshRate();
}

bool CanPassThrough(const PlaybackRequest& request) {
  if (request.OptionMode == 1 || request.OptionFlagA || request.OptionFlagB) return false;
  return (request.InputFormat == 5 && (request.OutputMethod == 6 || request.OutputMethod == 8)) ||
         (request.InputFormat == 2 && request.OutputMethod == 5 && !request.Fullscreen);
}

}  // namespace qv
