#include "base/Seams.h"

#include <atomic>
#include <iostream>

#include "base/Error.h"

namespace qv {

namespace {

// Without a front end, messages go to standard error and input boxes take their default answer.
class StderrSink : public MessageSink {
 public:
  void ShowMessage(const std::string& text, int, const std::string& title) override {
    std::cerr << (title.empty() ? kAppName : title) << ": " << text << std::endl;
  }
  std::optional<std::string> InputBox(const std::string&, const std::string&,
                                      const std::string& defaultAnswer) override {
    return defaultAnswer;
  }
};

StderrSink gStderrSink;
FixedScreen gDefaultScreen;

std::atomic<MessageSink*> gSink{nullptr};
std::atomic<EventPump*> gPump{nullptr};
std::atomic<ClipboardHook*> gClipboard{nullptr};
std::atomic<ScreenInfo*> gScreen{nullptr};

}  // namespace

void SetMessageSink(MessageSink* sink) { gSink = sink; }
void SetEventPump(EventPump* pump) { gPump = pump; }
void SetClipboardHook(ClipboardHook* hook) { gClipboard = hook; }
void SetScreenInfo(ScreenInfo* screen) { gScreen = screen; }

MessageSink& Messages() {
  MessageSink* sink = gSink.load();
  return sink ? *sink : gStderrSink;
}

ClipboardHook* Clipboard() { return gClipboard.load(); }

const ScreenInfo& Screen() {
  ScreenInfo* screen = gScreen.load();
  return screen ? *screen : gDefaultScreen;
}

void MsgBox(const std::string& text, int style, const std::string& title) {
  Messages().ShowMessage(text, style, title);
}

void DoEvents() {
  if (EventPump* pump = gPump.load()) pump->ProcessEvents();
}

}  // namespace qv
