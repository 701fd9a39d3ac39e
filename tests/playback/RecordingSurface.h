#pragma once
// A display surface that keeps what it was asked to do: every open with its arguments and the
// refresh rate asked for at that moment, every frame put with the frame number being played, and
// the order of opens, puts and closes.

#include <functional>
#include <string>
#include <vector>

#include "base/DisplayConfig.h"
#include "display/DisplaySurface.h"
#include "playback/SessionState.h"

namespace qv::test {

class RecordingSurface : public DisplaySurface {
 public:
  struct Opened {
    bool fullscreen;
    int32_t width, height;
    bool modeFlag, useLineCode;
    DibRef lineCodeStart;
    int32_t refreshRate;
  };
  struct Put {
    int32_t frame;
    DibRef picture;
    bool resize;
  };

  bool OpenDisplay(bool fullscreen, int32_t srcX, int32_t srcY, bool modeFlag, bool useLineCode,
                   const DibRef& lineCodeStart, const DibRef&) override {
    opens.push_back(
        {fullscreen, srcX, srcY, modeFlag, useLineCode, lineCodeStart, gDisplay.RefreshRate});
    events.push_back("open");
    return true;
  }
  bool PutImage(const cDIBSection& picture, bool resize, bool) override {
    puts.push_back({gSession.CurrentFrame, picture.CopyOf(), resize});
    events.push_back("put " + std::to_string(gSession.CurrentFrame));
    return onPut ? onPut(static_cast<int>(puts.size())) : true;
  }
  void ResizeSurface(int32_t, int32_t) override {}
  bool CloseDisplay() override {
    events.push_back("close");
    return true;
  }

  std::vector<int32_t> Frames() const {
    std::vector<int32_t> frames;
    for (const Put& p : puts) frames.push_back(p.frame);
    return frames;
  }

  std::vector<Opened> opens;
  std::vector<Put> puts;
  std::vector<std::string> events;
  std::function<bool(int count)> onPut;  // false asks the session to stop
};

}  // namespace qv::test
