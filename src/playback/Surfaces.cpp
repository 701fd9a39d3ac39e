#include "playback/Surfaces.h"

#include <array>

namespace qv {

namespace {
std::array<DisplaySurface*, 3> gSurfaces{};
}

void SetDisplaySurface(SurfaceKind kind, DisplaySurface* surface) {
  gSurfaces[static_cast<size_t>(kind)] = surface;
}

DisplaySurface* GetDisplaySurface(SurfaceKind kind) {
  return gSurfaces[static_cast<size_t>(kind)];
}

}  // namespace qv
