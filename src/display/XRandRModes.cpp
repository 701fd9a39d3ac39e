#include "display/XRandRModes.h"

#include <X11/Xlib.h>
#include <X11/extensions/Xrandr.h>

#include <algorithm>
#include <cmath>
#include <memory>

namespace qv {

namespace {

// One connection for the length of one call, with the extension checked.
struct Connection {
  explicit Connection(const std::string& name) {
    display = XOpenDisplay(name.empty() ? nullptr : name.c_str());
    if (!display) return;
    int event = 0, error = 0, major = 0, minor = 0;
    if (!XRRQueryExtension(display, &event, &error) || !XRRQueryVersion(display, &major, &minor) ||
        major < 1 || (major == 1 && minor < 2)) {
      XCloseDisplay(display);
      display = nullptr;
    }
  }
  ~Connection() {
    if (display) XCloseDisplay(display);
  }
  Connection(const Connection&) = delete;
  Connection& operator=(const Connection&) = delete;
  Window Root() const { return DefaultRootWindow(display); }
  Display* display = nullptr;
};

struct ResourcesDeleter {
  void operator()(XRRScreenResources* r) const { XRRFreeScreenResources(r); }
};
struct OutputDeleter {
  void operator()(XRROutputInfo* o) const { XRRFreeOutputInfo(o); }
};
struct CrtcDeleter {
  void operator()(XRRCrtcInfo* c) const { XRRFreeCrtcInfo(c); }
};
using Resources = std::unique_ptr<XRRScreenResources, ResourcesDeleter>;
using OutputInfo = std::unique_ptr<XRROutputInfo, OutputDeleter>;
using CrtcInfo = std::unique_ptr<XRRCrtcInfo, CrtcDeleter>;

// The output whose modes are the screen's: the primary one, else the first connected one with
// a CRTC.
struct Screen {
  Resources resources;
  RROutput output = 0;
  OutputInfo outputInfo;
  int32_t bitsPerPixel = 0;
  int32_t depth = 0;
};

bool OpenScreen(const Connection& c, Screen& screen) {
  if (!c.display) return false;
  screen.resources.reset(XRRGetScreenResourcesCurrent(c.display, c.Root()));
  if (!screen.resources) return false;
  RROutput output = XRRGetOutputPrimary(c.display, c.Root());
  XRRScreenResources* r = screen.resources.get();
  for (int k = -1; k < r->noutput; ++k) {
    const RROutput candidate = k < 0 ? output : r->outputs[k];
    if (!candidate) continue;
    OutputInfo info(XRRGetOutputInfo(c.display, r, candidate));
    if (info && info->connection == RR_Connected && info->crtc) {
      screen.output = candidate;
      screen.outputInfo = std::move(info);
      break;
    }
  }
  if (!screen.outputInfo) return false;
  screen.depth = DefaultDepth(c.display, DefaultScreen(c.display));
  screen.bitsPerPixel = screen.depth;
  int count = 0;
  if (XPixmapFormatValues* formats = XListPixmapFormats(c.display, &count)) {
    for (int k = 0; k < count; ++k) {
      if (formats[k].depth == screen.depth) screen.bitsPerPixel = formats[k].bits_per_pixel;
    }
    XFree(formats);
  }
  return true;
}

const XRRModeInfo* FindModeInfo(const XRRScreenResources* r, RRMode id) {
  for (int k = 0; k < r->nmode; ++k) {
    if (r->modes[k].id == id) return &r->modes[k];
  }
  return nullptr;
}

int32_t RefreshOf(const XRRModeInfo& m) {
  double lines = m.vTotal;
  if (m.modeFlags & RR_DoubleScan) lines *= 2;
  if (m.modeFlags & RR_Interlace) lines /= 2;
  if (m.hTotal == 0 || lines == 0) return 0;
  return static_cast<int32_t>(std::lround(m.dotClock / (m.hTotal * lines)));
}

int ErrorsSeen = 0;
int CountError(Display*, XErrorEvent*) {
  ++ErrorsSeen;
  return 0;
}

}  // namespace

bool XRandRModes::ModeAt(int32_t index, ScreenMode& mode) {
  if (index == 0) {
    modes_.clear();
    Connection c(displayName_);
    Screen screen;
    if (OpenScreen(c, screen)) {
      for (int k = 0; k < screen.outputInfo->nmode; ++k) {
        const XRRModeInfo* m = FindModeInfo(screen.resources.get(), screen.outputInfo->modes[k]);
        if (!m) continue;
        modes_.push_back({screen.bitsPerPixel, static_cast<int32_t>(m->width),
                          static_cast<int32_t>(m->height), RefreshOf(*m), 0});
      }
    }
  }
  if (index < 0 || index >= static_cast<int32_t>(modes_.size())) return false;
  mode = modes_[static_cast<size_t>(index)];
  return true;
}

ScreenMode XRandRModes::CurrentMode() {
  Connection c(displayName_);
  Screen screen;
  if (!OpenScreen(c, screen)) return {};
  CrtcInfo crtc(XRRGetCrtcInfo(c.display, screen.resources.get(), screen.outputInfo->crtc));
  if (!crtc) return {};
  const XRRModeInfo* m = FindModeInfo(screen.resources.get(), crtc->mode);
  return {screen.bitsPerPixel, static_cast<int32_t>(crtc->width), static_cast<int32_t>(crtc->height),
          m ? RefreshOf(*m) : 0, 0};
}

bool XRandRModes::ChangeMode(const ScreenMode& wanted) {
  Connection c(displayName_);
  Screen screen;
  if (!OpenScreen(c, screen)) return false;
  if ((wanted.Fields & mode::kBitsPerPel) && wanted.BitsPerPel != screen.bitsPerPixel &&
      wanted.BitsPerPel != screen.depth) {
    return false;
  }
  const bool anyRate = !(wanted.Fields & mode::kDisplayFrequency) || wanted.DisplayFrequency <= 1;
  XRRScreenResources* r = screen.resources.get();
  CrtcInfo crtc(XRRGetCrtcInfo(c.display, r, screen.outputInfo->crtc));
  if (!crtc) return false;
  const XRRModeInfo* current = FindModeInfo(r, crtc->mode);
  // The output lists its preferred modes first; the first of the size is its default rate. The
  // current mode is kept when it already is what was asked for.
  const XRRModeInfo* chosen = nullptr;
  for (int k = 0; k < screen.outputInfo->nmode; ++k) {
    const XRRModeInfo* m = FindModeInfo(r, screen.outputInfo->modes[k]);
    if (!m || static_cast<int32_t>(m->width) != wanted.PelsWidth ||
        static_cast<int32_t>(m->height) != wanted.PelsHeight ||
        (!anyRate && RefreshOf(*m) != wanted.DisplayFrequency)) {
      continue;
    }
    if (!chosen || m == current) chosen = m;
  }
  if (!chosen) return false;
  if (chosen == current) return true;

  ErrorsSeen = 0;
  XSync(c.display, False);
  const auto previousHandler = XSetErrorHandler(CountError);
  const int screenNumber = DefaultScreen(c.display);
  const int screenWidth = DisplayWidth(c.display, screenNumber);
  const int screenHeight = DisplayHeight(c.display, screenNumber);
  const double mmPerPixelX = DisplayWidthMM(c.display, screenNumber) / double(screenWidth);
  const double mmPerPixelY = DisplayHeightMM(c.display, screenNumber) / double(screenHeight);
  auto resizeScreen = [&](int width, int height) {
    XRRSetScreenSize(c.display, c.Root(), width, height, std::lround(width * mmPerPixelX),
                     std::lround(height * mmPerPixelY));
  };
  const int width = static_cast<int>(chosen->width), height = static_cast<int>(chosen->height);
  if (width > screenWidth || height > screenHeight) {
    resizeScreen(std::max(width, screenWidth), std::max(height, screenHeight));
  }
  RROutput output = screen.output;
  const Status status = XRRSetCrtcConfig(c.display, r, screen.outputInfo->crtc, CurrentTime,
                                         crtc->x, crtc->y, chosen->id, crtc->rotation, &output, 1);
  int activeCrtcs = 0;
  for (int k = 0; k < r->ncrtc; ++k) {
    CrtcInfo info(XRRGetCrtcInfo(c.display, r, r->crtcs[k]));
    if (info && info->mode) ++activeCrtcs;
  }
  if (status == RRSetConfigSuccess && activeCrtcs == 1 && crtc->x == 0 && crtc->y == 0 &&
      (width != screenWidth || height != screenHeight)) {
    resizeScreen(width, height);
  }
  XSync(c.display, False);
  XSetErrorHandler(previousHandler);
  return status == RRSetConfigSuccess && ErrorsSeen == 0;
}

XRandRModes& TheXRandRModes() {
  static XRandRModes* modes = new XRandRModes;
  return *modes;
}

}  // namespace qv
