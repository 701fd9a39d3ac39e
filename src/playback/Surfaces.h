#pragma once
// Where the output dispatch finds its display surfaces. The engine links no toolkit, so the
// front end hands its surfaces over at start-up: the player its windows, `quorvex convert` its
// video-file surface, tests a recording surface. A kind with no surface is reported to the user
// as not available when a session asks for it, and the session ends cleanly.

#include "playback/DisplaySurface.h"

namespace qv {

enum class SurfaceKind {
  Blit,     // frames drawn into the main window or a full-screen window (anaglyphs, interlaced)
  OpenGL,   // quad-buffered stereo, sync-doubled and full-screen interlaced output
  DirectX,  // full-screen side-by-side frames with the stereo tag
};

// Installs (or, with nullptr, removes) the surface of a kind; not owned.
void SetDisplaySurface(SurfaceKind kind, DisplaySurface* surface);
DisplaySurface* GetDisplaySurface(SurfaceKind kind);

}  // namespace qv
