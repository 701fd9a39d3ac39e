#pragma once
// The message boxes, input box and clipboard of the program's seams, shown with Qt Widgets.

#include <QPointer>
#include <QWidget>

#include "base/Seams.h"

namespace qv {

class QtMessageSink : public MessageSink {
 public:
  // Messages are owned by `parent` (the main window) when it is set and still alive.
  void SetParent(QWidget* parent) { parent_ = parent; }
  void ShowMessage(const std::string& text, int style, const std::string& title) override;
  std::optional<std::string> InputBox(const std::string& prompt, const std::string& title,
                                      const std::string& defaultAnswer) override;

 private:
  QPointer<QWidget> parent_;
};

class QtClipboard : public ClipboardHook {
 public:
  bool PutBitmap(int32_t width, int32_t height, const uint8_t* bits, int32_t stride) override;
};

}  // namespace qv
