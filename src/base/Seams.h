#pragma once
// The seams through which the engine reaches the user. The engine never talks to a toolkit; each
// front end installs its own implementations:
//   - MessageSink: the program's message boxes (and its one input box). The GUI shows a dialog,
//     the command line writes to standard error, tests record.
//   - EventPump: "let the window system process its pending messages" inside long work.
//   - ClipboardHook: where CopyToClipboard hands a picture.
//   - ScreenInfo: the size of the screen and its logical resolution.
// Installed objects are not owned; installing nullptr restores the default. All seams are meant to
// be used from the user-interface thread.

#include <cstdint>
#include <optional>
#include <string>

namespace qv {

// Button and icon values of a message, as the style argument of the program's message boxes.
namespace msg {
inline constexpr int kOkOnly = 0;
inline constexpr int kCritical = 16;
inline constexpr int kQuestion = 32;
inline constexpr int kExclamation = 48;
inline constexpr int kInformation = 64;
}  // namespace msg

class MessageSink {
 public:
  virtual ~MessageSink() = default;
  // Shows text with an OK button. title empty = the application's title.
  virtual void ShowMessage(const std::string& text, int style, const std::string& title) = 0;
  // Asks for one line of text; nullopt when the user cancels.
  virtual std::optional<std::string> InputBox(const std::string& prompt, const std::string& title,
                                              const std::string& defaultAnswer) = 0;
};

class EventPump {
 public:
  virtual ~EventPump() = default;
  virtual void ProcessEvents() = 0;
};

class ClipboardHook {
 public:
  virtual ~ClipboardHook() = default;
  // Takes a copy of a 24-bit picture (blue, green, red; rows bottom-up, `stride` bytes apart).
  // Returns false when the clipboard refused it.
  virtual bool PutBitmap(int32_t width, int32_t height, const uint8_t* bits, int32_t stride) = 0;
};

class ScreenInfo {
 public:
  virtual ~ScreenInfo() = default;
  virtual int32_t WidthPixels() const = 0;
  virtual int32_t HeightPixels() const = 0;
  // Twips (1/1440 inch) per screen pixel; 15 at the usual 96 dots per inch.
  virtual double TwipsPerPixelX() const = 0;
  virtual double TwipsPerPixelY() const = 0;
};

void SetMessageSink(MessageSink* sink);
void SetEventPump(EventPump* pump);
void SetClipboardHook(ClipboardHook* hook);
void SetScreenInfo(ScreenInfo* screen);

MessageSink& Messages();
ClipboardHook* Clipboard();  // nullptr when no clipboard is available
const ScreenInfo& Screen();

// Shorthands used throughout the engine.
void MsgBox(const std::string& text, int style = msg::kOkOnly, const std::string& title = {});
void DoEvents();

// A screen of a fixed size, for the command line and tests (default 1024 x 768 at 15 twips/pixel).
class FixedScreen : public ScreenInfo {
 public:
  FixedScreen(int32_t width = 1024, int32_t height = 768, double twipsX = 15.0, double twipsY = 15.0)
      : width_(width), height_(height), twipsX_(twipsX), twipsY_(twipsY) {}
  int32_t WidthPixels() const override { return width_; }
  int32_t HeightPixels() const override { return height_; }
  double TwipsPerPixelX() const override { return twipsX_; }
  double TwipsPerPixelY() const override { return twipsY_; }

 private:
  int32_t width_, height_;
  double twipsX_, twipsY_;
};

}  // namespace qv
