#pragma once
// Output methods: how a stereo pair reaches the viewer's eyes. One table holds every method with
// its number, its command-line name, its composer, and the route its frames take to a display
// surface in a window and full screen (which surface, how the surface is opened, which line codes
// switch the glasses, how frames are put). The output dispatch, the command line and its help all
// read this table; there is no other list of the methods.

#include <cstdint>
#include <optional>
#include <string_view>

#include "base/DisplayConfig.h"
#include "base/ModeTables.h"
#include "playback/LineCodes.h"
#include "playback/Surfaces.h"
#include "stereo/Composers.h"
#include "stereo/FrameBuffers.h"

namespace qv {

// The numbers are those that requests and the command line use.
enum class OutputMethod : int16_t {
  SyncDoubledEye3D = 1,    // above/below frame with a gap, Eye3D line codes, full screen
  AnaglyphGray = 2,        // grey red/cyan anaglyph
  AnaglyphRedGreen = 3,    // colour red/cyan anaglyph
  AnaglyphBlueYellow = 4,  // blue/yellow anaglyph
  Interlaced = 5,          // row-interlaced lines
  NvidiaStereo = 6,        // side-by-side pair for the stereo-tagged full-screen surface
  SyncDoubled = 7,         // above/below frame with a gap, shutter-glasses line codes, full screen
  SideBySide = 8,          // side-by-side pair for quad-buffered OpenGL stereo
};

inline constexpr int16_t NumberOf(OutputMethod method) { return static_cast<int16_t>(method); }

// Builds frames.OutputFrame from the views. `fullscreen` is the request's window mode, `flag` the
// quick flag that the session passes to the sync-doubled composer.
using Composer = void (*)(FrameBuffers& frames, const DisplayConfig& display, bool fullscreen,
                          bool flag);

// The initialiser that opens a surface; each reports its own failures with its own words.
enum class Opener { OpenGL, NVidia, BlitFullscreen, BlitWindowed };

// What the surface gets as its two line-code pictures: none (two new, empty pictures), the
// composed frame twice (the surface shows no line codes), or the codes themselves.
enum class LineCodePictures { Empty, OutputFrame, Codes };

// The way of a method's frames to a surface in one window mode.
struct OutputRoute {
  Opener opener;
  SurfaceKind surface;
  bool fullscreen;  // what OpenDisplay is told; the side-by-side method follows the request
  bool modeFlag;    // the surface's own flag: persistent drawing (blit), quad-buffer stereo (OpenGL)
  LineCodePictures pictures;
  LineCode startCode = LineCode::EDOff;  // with LineCodePictures::Codes
  LineCode endCode = LineCode::EDOff;
  bool resize = false;  // PutImage scales the frame to the surface
};

struct OutputMethodInfo {
  OutputMethod method;
  std::string_view name;  // command-line name
  std::string_view description;
  Composer compose;
  // Sync-doubled output shows each eye at half the rate: the surface is asked for half the
  // configured refresh rate (halves to even; below 56 Hz, and for "Default", 60 Hz).
  bool halvesRefreshRate;
  OutputRoute windowed;
  OutputRoute fullscreen;
  // Full screen when interlaced output is not sent through OpenGL; nullopt = as `fullscreen`.
  std::optional<OutputRoute> fullscreenWithoutOpenGL;
};

namespace route {
inline constexpr OutputRoute kBlitWindowed{Opener::BlitWindowed, SurfaceKind::Blit, false, true,
                                           LineCodePictures::OutputFrame};
inline constexpr OutputRoute kBlitFullscreen{Opener::BlitFullscreen, SurfaceKind::Blit, true, true,
                                             LineCodePictures::Empty};
inline constexpr OutputRoute WithResize(OutputRoute r) {
  r.resize = true;
  return r;
}
inline constexpr OutputRoute OpenGLWithCodes(LineCode start, LineCode end) {
  return {Opener::OpenGL, SurfaceKind::OpenGL, true, false, LineCodePictures::Codes, start, end};
}
inline constexpr OutputRoute kNVidia{Opener::NVidia, SurfaceKind::DirectX, true, true,
                                     LineCodePictures::OutputFrame, LineCode::EDOff,
                                     LineCode::EDOff, true};
inline constexpr OutputRoute OpenGLSideBySide(bool fullscreen) {
  return {Opener::OpenGL, SurfaceKind::OpenGL, fullscreen, true, LineCodePictures::OutputFrame,
          LineCode::EDOff, LineCode::EDOff, true};
}
}  // namespace route

namespace compose {
inline constexpr Composer kAboveBelow = [](FrameBuffers& f, const DisplayConfig& d, bool, bool quick) {
  SaveAboveBelow(f, d, quick);
};
inline constexpr Composer kAnaGray = [](FrameBuffers& f, const DisplayConfig&, bool, bool) {
  SaveAnaGray(f);
};
inline constexpr Composer kAnaColour = [](FrameBuffers& f, const DisplayConfig&, bool, bool) {
  SaveAnaColour(f);
};
inline constexpr Composer kAnaYellow = [](FrameBuffers& f, const DisplayConfig&, bool, bool) {
  SaveAnaYellow(f);
};
inline constexpr Composer kInterlace = [](FrameBuffers& f, const DisplayConfig& d, bool full, bool) {
  SaveInterlace(f, d, full);
};
inline constexpr Composer kSideBySide = [](FrameBuffers& f, const DisplayConfig&, bool, bool) {
  SaveSideBySide(f);
};
}  // namespace compose

inline constexpr OutputMethodInfo kOutputMethods[] = {
    {OutputMethod::SyncDoubledEye3D, "sync-doubled-eye3d",
     "above/below frame with a gap, Eye3D line codes, full screen", compose::kAboveBelow, true,
     route::OpenGLWithCodes(LineCode::EyeSync, LineCode::EyeOff),
     route::OpenGLWithCodes(LineCode::EyeSync, LineCode::EyeOff), std::nullopt},
    {OutputMethod::AnaglyphGray, "anaglyph-gray", "grey red/cyan anaglyph", compose::kAnaGray,
     false, route::WithResize(route::kBlitWindowed), route::WithResize(route::kBlitFullscreen),
     std::nullopt},
    {OutputMethod::AnaglyphRedGreen, "anaglyph-red-green", "colour red/cyan anaglyph",
     compose::kAnaColour, false, route::WithResize(route::kBlitWindowed),
     route::WithResize(route::kBlitFullscreen), std::nullopt},
    {OutputMethod::AnaglyphBlueYellow, "anaglyph-blue-yellow", "blue/yellow anaglyph",
     compose::kAnaYellow, false, route::WithResize(route::kBlitWindowed),
     route::WithResize(route::kBlitFullscreen), std::nullopt},
    {OutputMethod::Interlaced, "interlaced", "row-interlaced lines", compose::kInterlace, false,
     route::kBlitWindowed, route::OpenGLWithCodes(LineCode::EDInterlace, LineCode::EDOff),
     OutputRoute{Opener::BlitFullscreen, SurfaceKind::Blit, true, true, LineCodePictures::Codes,
                 LineCode::EDInterlace, LineCode::EDOff}},
    {OutputMethod::NvidiaStereo, "nvidia",
     "side-by-side pair for the stereo-tagged full-screen surface", compose::kSideBySide, false,
     route::kNVidia, route::kNVidia, std::nullopt},
    {OutputMethod::SyncDoubled, "sync-doubled",
     "above/below frame with a gap, shutter-glasses line codes, full screen", compose::kAboveBelow,
     true, route::OpenGLWithCodes(LineCode::EDSync, LineCode::EDOff),
     route::OpenGLWithCodes(LineCode::EDSync, LineCode::EDOff), std::nullopt},
    {OutputMethod::SideBySide, "side-by-side", "side-by-side pair for quad-buffered OpenGL stereo",
     compose::kSideBySide, false, route::OpenGLSideBySide(false), route::OpenGLSideBySide(true),
     std::nullopt},
};

// The row of a method, or nullptr for a number outside the table.
inline const OutputMethodInfo* FindOutputMethod(OutputMethod method) {
  return ModeRow<OutputMethodInfo>(kOutputMethods, &OutputMethodInfo::method, method);
}

// A method by command-line name or number ("anaglyph-gray", "2"); nullopt when there is none.
inline std::optional<OutputMethod> OutputMethodByName(std::string_view text) {
  return ModeByNameOrNumber<OutputMethodInfo>(kOutputMethods, &OutputMethodInfo::method, text);
}

// The route of a method in a window mode, given whether full-screen interlacing goes through
// OpenGL; nullptr for a method outside the table.
inline const OutputRoute* RouteOf(OutputMethod method, bool fullscreen, bool interlaceViaOpenGL) {
  const OutputMethodInfo* info = FindOutputMethod(method);
  if (info == nullptr) return nullptr;
  if (!fullscreen) return &info->windowed;
  if (!interlaceViaOpenGL && info->fullscreenWithoutOpenGL) return &*info->fullscreenWithoutOpenGL;
  return &info->fullscreen;
}

}  // namespace qv
