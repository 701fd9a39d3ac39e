#include <vector>

#include "DisplayTestSupport.h"
#include "playback/Callback.h"

namespace qv {
namespace {

// A surface that only counts how often it was closed.
class RecordingSurface : public DisplaySurface {
 public:
  bool OpenDisplay(bool, int32_t, int32_t, bool, bool, const DibRef&, const DibRef&) override {
    return true;
  }
  bool PutImage(const cDIBSection&, bool, bool) override { return true; }
  void ResizeSurface(int32_t, int32_t) override {}
  bool CloseDisplay() override { return ++closes > 0; }
  int closes = 0;
};

class CallbackTest : public test::DisplayFixture {
 protected:
  // Sends a click (button 4, shift 2), a key (112, shift 5) and a focus loss; returns what
  // happened: closes, stop flag and the slide-show calls as "m4,2 k112,5".
  std::string SendAll() {
    surface.closes = 0;
    gSession.StopRequested = false;
    calls.clear();
    OnClick(surface, 4, 2);
    OnKey(surface, 112, 5);
    OnLost(surface);
    return std::to_string(surface.closes) + (gSession.StopRequested ? " stop" : "") + calls;
  }
  RecordingSurface surface;
  std::string calls;
};

TEST_F(CallbackTest, EachEventPerformsTheActionOfItsOwnCode) {
  SetSlideShowHandlers({[this](int16_t b, int16_t s) {
                          calls += " m" + std::to_string(b) + "," + std::to_string(s);
                        },
                        [this](int16_t k, int16_t s) {
                          calls += " k" + std::to_string(k) + "," + std::to_string(s);
                        }});
  SetDisplayCallbacks(0, 0, 0);
  EXPECT_EQ(SendAll(), "0");
  SetDisplayCallbacks(1, 0, 0);
  EXPECT_EQ(SendAll(), "1");
  SetDisplayCallbacks(1, 1, 1);
  EXPECT_EQ(SendAll(), "3");
  SetDisplayCallbacks(0, 2, 0);
  EXPECT_EQ(SendAll(), "0 stop");
  SetDisplayCallbacks(2, 0, 2);  // the playback session's codes: focus loss alone does nothing
  EXPECT_EQ(SendAll(), "0 stop");
  gSession.StopRequested = false;
  OnLost(surface);
  EXPECT_FALSE(gSession.StopRequested);
  SetDisplayCallbacks(3, 0, 3);
  EXPECT_EQ(SendAll(), "0 m4,2 k112,5");
  EXPECT_TRUE(sink.messages.empty());

  SetSlideShowHandlers({});  // no slide-show window: code 3 does nothing
  EXPECT_EQ(SendAll(), "0");
}

TEST_F(CallbackTest, CodesOutsideTheTableAreReportedAndDoNothing) {
  SetDisplayCallbacks(4, 3, -1);  // focus loss has no code 3
  EXPECT_EQ(SendAll(), "0");
  EXPECT_EQ(sink.Texts(), (std::vector<std::string>{
                              "An error has occurred in Callback:OnClick. Invalid method.",
                              "An error has occurred in Callback:OnKey. Invalid method.",
                              "An error has occurred in Callback:OnLost. Invalid method."}));
}

}  // namespace
}  // namespace qv
