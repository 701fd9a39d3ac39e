#include "playback/Callback.h"

#include <utility>

#include "base/Seams.h"
#include "playback/SessionState.h"

namespace qv {

namespace {

struct RegisteredCodes {
  int16_t click = callback::kNothing;
  int16_t lost = callback::kNothing;
  int16_t key = callback::kNothing;
};

RegisteredCodes gCodes;
SlideShowHandlers gSlideShow;

}  // namespace

void SetDisplayCallbacks(int16_t click, int16_t lost, int16_t key) {
  gCodes = {click, lost, key};
}

void SetSlideShowHandlers(SlideShowHandlers handlers) {
  gSlideShow = std::move(handlers);
}

void OnClick(DisplaySurface& surface, int16_t button, int16_t shift) {
  switch (gCodes.click) {
    case callback::kNothing:
      break;
    case callback::kCloseDisplay:
      surface.CloseDisplay();
      break;
    case callback::kStop:
      gSession.StopRequested = true;
      break;
    case callback::kSlideShow:
      if (gSlideShow.SlideShow_Callback_Function_Mouse) {
        gSlideShow.SlideShow_Callback_Function_Mouse(button, shift);
      }
      break;
    default:
      MsgBox("An error has occurred in Callback:OnClick. Invalid method.");
      break;
  }
}

void OnKey(DisplaySurface& surface, int16_t keyCode, int16_t shift) {
  switch (gCodes.key) {
    case callback::kNothing:
      break;
    case callback::kCloseDisplay:
      surface.CloseDisplay();
      break;
    case callback::kStop:
      gSession.StopRequested = true;
      break;
    case callback::kSlideShow:
      if (gSlideShow.SlideShow_Callback_Function_Key) {
        gSlideShow.SlideShow_Callback_Function_Key(keyCode, shift);
      }
      break;
    default:
      MsgBox("An error has occurred in Callback:OnKey. Invalid method.");
      break;
  }
}

void OnLost(DisplaySurface& surface) {
  switch (gCodes.lost) {
    case callback::kNothing:
      break;
    case callback::kCloseDisplay:
      surface.CloseDisplay();
      break;
    case callback::kStop:
      gSession.StopRequested = true;
      break;
    // Losing the focus has no slide-show handler: code 3 is as invalid here as any other.
    default:
      MsgBox("An error has occurred in Callback:OnLost. Invalid method.");
      break;
  }
}

}  // namespace qv
