#pragma once
// Helpers for the display tests: a fixed screen and clean callback state for the length of a
// test, an event pump that counts its calls, and window images read back as pictures.

#include <QCoreApplication>
#include <QImage>

#include "base/Seams.h"
#include "playback/Callback.h"
#include "playback/SessionState.h"
#include "support/TestSupport.h"

namespace qv::test {

// Installs a screen of the given size and resets the display callbacks and the stop flag; puts
// everything back at the end.
class DisplayFixture : public ::testing::Test {
 protected:
  void UseScreen(int32_t width, int32_t height) {
    screen_ = FixedScreen(width, height);
    SetScreenInfo(&screen_);
  }
  void SetUp() override {
    UseScreen(1024, 768);
    SetEventPump(&pump);
    SetDisplayCallbacks(0, 0, 0);
    SetSlideShowHandlers({});
    gSession.StopRequested = false;
  }
  void TearDown() override {
    SetScreenInfo(nullptr);
    SetEventPump(nullptr);
    SetDisplayCallbacks(0, 0, 0);
    SetSlideShowHandlers({});
    gSession.StopRequested = false;
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
  }

  // Processes the window system's events, as the GUI's pump does, and counts the calls.
  struct CountingPump : EventPump {
    void ProcessEvents() override {
      ++calls;
      QCoreApplication::processEvents();
    }
    int calls = 0;
  } pump;
  RecordingSink sink;

 private:
  FixedScreen screen_;
};

// A window image (any format) as a picture, for SamePicture.
inline DibRef PictureOf(const QImage& image) {
  const QImage rgb = image.convertToFormat(QImage::Format_RGB32);
  return MakePicture(rgb.width(), rgb.height(), [&rgb](int x, int y) {
    const QRgb p = rgb.pixel(x, y);
    return Bgr{static_cast<uint8_t>(qBlue(p)), static_cast<uint8_t>(qGreen(p)),
               static_cast<uint8_t>(qRed(p))};
  });
}

}  // namespace qv::test
