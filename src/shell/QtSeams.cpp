#include "shell/QtSeams.h"

#include <QApplication>
#include <QClipboard>
#include <QImage>
#include <QInputDialog>
#include <QMessageBox>

#include "base/Error.h"

namespace qv {

void QtMessageSink::ShowMessage(const std::string& text, int style, const std::string& title) {
  QMessageBox box(parent_);
  box.setWindowTitle(QString::fromStdString(title.empty() ? std::string(kAppName) : title));
  box.setText(QString::fromStdString(text));
  box.setStandardButtons(QMessageBox::Ok);
  switch (style & 0x70) {
    case msg::kCritical: box.setIcon(QMessageBox::Critical); break;
    case msg::kQuestion: box.setIcon(QMessageBox::Question); break;
    case msg::kExclamation: box.setIcon(QMessageBox::Warning); break;
    case msg::kInformation: box.setIcon(QMessageBox::Information); break;
    default: box.setIcon(QMessageBox::NoIcon); break;
  }
  box.exec();
}

std::optional<std::string> QtMessageSink::InputBox(const std::string& prompt,
                                                   const std::string& title,
                                                   const std::string& defaultAnswer) {
  bool ok = false;
  const QString answer = QInputDialog::getText(
      parent_, QString::fromStdString(title.empty() ? std::string(kAppName) : title),
      QString::fromStdString(prompt), QLineEdit::Normal, QString::fromStdString(defaultAnswer), &ok);
  if (!ok) return std::nullopt;
  return answer.toStdString();
}

bool QtClipboard::PutBitmap(int32_t width, int32_t height, const uint8_t* bits, int32_t stride) {
  if (bits == nullptr || width <= 0 || height <= 0) return false;
  QClipboard* clipboard = QApplication::clipboard();
  if (clipboard == nullptr) return false;
  // Rows are stored bottom-up; the clipboard takes them top-down.
  const QImage bottomUp(bits, width, height, stride, QImage::Format_BGR888);
  clipboard->setImage(bottomUp.mirrored(false, true));
  return true;
}

}  // namespace qv
