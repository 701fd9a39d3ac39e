#include "playback/DisplayEvents.h"

#include <functional>
#include <string>
#include <utility>

#include "base/Seams.h"

namespace qv {

namespace {

struct RegisteredCodes {
  int16_t click = callback::kNothing;
  int16_t lost = callback::kNothing;
  int16_t key = callback::kNothing;
};

RegisteredCodes gCodes;
std::function<void()> gStop;
SlideShowHandlers gSlideShow;

}  // namespace

void SetDisplayCallbacks(int16_t click, int16_t lost, int16_t key, std::function<void()> stop) {
  gCodes = {click, lost, key};
  gStop = std::move(stop);
}

void SetSlideShowHandlers(SlideShowHandlers handlers) {
  gSlideShow = std::move(handlers);
}

namespace {

// Performs the action of `code`. `slideShow` is empty where the event has no slide-show handler,
// which makes code 3 as invalid as any code outside the table.
void Perform(int16_t code, DisplaySurface& surface, const std::function<void()>& slideShow,
             const char* handler) {
  switch (code) {
    case callback::kNothing:
      return;
    case callback::kCloseDisplay:
      surface.CloseDisplay();
      return;
    case callback::kStop:
      if (gStop) gStop();
      return;
    case callback::kSlideShow:
      if (slideShow) {
        slideShow();
        return;
      }
      [[fallthrough]];
    default:
      MsgBox(std::string("An error has occurred in Callback:") + handler + ". Invalid method.");
  }
}

}  // namespace

void OnClick(DisplaySurface& surface, int16_t button, int16_t shift) {
  const auto& mouse = gSlideShow.SlideShowMouseHandler;
  const auto slideShow = [&] {
    if (mouse) mouse(button, shift);
  };
  Perform(gCodes.click, surface, slideShow, "OnClick");
}

void OnKey(DisplaySurface& surface, int16_t keyCode, int16_t shift) {
  const auto& key = gSlideShow.SlideShowKeyHandler;
  const auto slideShow = [&] {
    if (key) key(keyCode, shift);
  };
  Perform(gCodes.key, surface, slideShow, "OnKey");
}

void OnLost(DisplaySurface& surface) {
  Perform(gCodes.lost, surface, {}, "OnLost");
}

}  // namespace qv
