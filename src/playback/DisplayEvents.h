#pragma once
// The display callbacks: what a click, a key or the loss of the focus in a display window means.
// The surfaces do not decide it themselves; they forward every such event here, and the action
// registered by the current client (the playback session registers 2, 0, 2) is performed.
// User-interface thread only; the actions run inside the frame loop's event processing.

#include <cstdint>
#include <functional>

#include "playback/DisplaySurface.h"

namespace qv {

// Action codes.
namespace callback {
inline constexpr int16_t kNothing = 0;
inline constexpr int16_t kCloseDisplay = 1;  // the surface's own CloseDisplay
inline constexpr int16_t kStop = 2;          // the registered stop action (the session's stop)
inline constexpr int16_t kSlideShow = 3;  // the slide-show window's handlers (click and key only)
}  // namespace callback

// Stores the codes for a click, the loss of the focus and a key, and what code 2 does (the
// running session's stop request; empty: nothing).
void SetDisplayCallbacks(int16_t click, int16_t lost, int16_t key, std::function<void()> stop);

// Called by the surfaces. button and shift use the values of the surfaces' event mapping (button
// 1 left, 2 right, 4 middle; shift 1 Shift, 2 Ctrl, 4 Alt). A code outside the table shows a
// message and does nothing else.
void OnClick(DisplaySurface& surface, int16_t button, int16_t shift);
void OnKey(DisplaySurface& surface, int16_t keyCode, int16_t shift);
void OnLost(DisplaySurface& surface);

// The slide-show window's two handlers, reached through code 3. No client installs them today;
// with none installed code 3 does nothing.
struct SlideShowHandlers {
  std::function<void(int16_t button, int16_t shift)> SlideShowMouseHandler;
  std::function<void(int16_t keyCode, int16_t shift)> SlideShowKeyHandler;
};
void SetSlideShowHandlers(SlideShowHandlers handlers);

}  // namespace qv
