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
  bool CloseDisplay() override {
    ++closes;
    return true;
  }
  int closes = 0;
};

struct SlideShowCall {
  char kind;  // 'm' mouse, 'k' key
  int16_t value;
  int16_t shift;
  bool operator==(const SlideShowCall&) const = default;
};

class CallbackTest : public test::DisplayFixture {
 protected:
  void InstallSlideShow() {
    SetSlideShowHandlers({[this](int16_t b, int16_t s) { slideShow.push_back({'m', b, s}); },
                          [this](int16_t k, int16_t s) { slideShow.push_back({'k', k, s}); }});
  }
  // What one event did: closes, whether a stop was requested, messages, slide-show calls.
  void ExpectOnly(int closes, bool stop, std::vector<std::string> messages,
                  std::vector<SlideShowCall> calls) {
    EXPECT_EQ(surface.closes, closes);
    EXPECT_EQ(gSession.StopRequested, stop);
    EXPECT_EQ(sink.Texts(), messages);
    EXPECT_EQ(slideShow, calls);
    surface.closes = 0;
    gSession.StopRequested = false;
    sink.messages.clear();
    slideShow.clear();
  }
  RecordingSurface surface;
  std::vector<SlideShowCall> slideShow;
};

TEST_F(CallbackTest, EachCodePerformsItsActionForItsEventOnly) {
  InstallSlideShow();
  SetDisplayCallbacks(0, 0, 0);
  OnClick(surface, 1, 0);
  OnKey(surface, 27, 0);
  OnLost(surface);
  ExpectOnly(0, false, {}, {});

  SetDisplayCallbacks(1, 0, 0);
  OnClick(surface, 1, 0);
  OnKey(surface, 27, 0);
  ExpectOnly(1, false, {}, {});
  SetDisplayCallbacks(0, 1, 0);
  OnLost(surface);
  ExpectOnly(1, false, {}, {});
  SetDisplayCallbacks(0, 0, 1);
  OnKey(surface, 27, 0);
  OnClick(surface, 1, 0);
  ExpectOnly(1, false, {}, {});

  SetDisplayCallbacks(2, 0, 0);
  OnClick(surface, 2, 4);
  ExpectOnly(0, true, {}, {});
  SetDisplayCallbacks(0, 2, 0);
  OnLost(surface);
  ExpectOnly(0, true, {}, {});
  SetDisplayCallbacks(0, 0, 2);
  OnKey(surface, 65, 1);
  ExpectOnly(0, true, {}, {});

  SetDisplayCallbacks(3, 0, 3);
  OnClick(surface, 4, 2);
  OnKey(surface, 112, 5);
  ExpectOnly(0, false, {}, {{'m', 4, 2}, {'k', 112, 5}});
}

TEST_F(CallbackTest, ThePlaybackSessionsCodesStopOnClickOrKeyButNotOnFocusLoss) {
  SetDisplayCallbacks(2, 0, 2);
  OnLost(surface);
  ExpectOnly(0, false, {}, {});
  OnKey(surface, 32, 0);
  ExpectOnly(0, true, {}, {});
  OnClick(surface, 1, 0);
  ExpectOnly(0, true, {}, {});
}

TEST_F(CallbackTest, CodesOutsideTheTableAreReportedAndDoNothing) {
  InstallSlideShow();
  SetDisplayCallbacks(4, 3, -1);  // focus loss has no code 3
  OnClick(surface, 1, 0);
  OnLost(surface);
  OnKey(surface, 13, 0);
  ExpectOnly(0, false,
             {"An error has occurred in Callback:OnClick. Invalid method.",
              "An error has occurred in Callback:OnLost. Invalid method.",
              "An error has occurred in Callback:OnKey. Invalid method."},
             {});
}

TEST_F(CallbackTest, CodeThreeWithoutASlideShowWindowDoesNothing) {
  SetDisplayCallbacks(3, 0, 3);
  OnClick(surface, 1, 0);
  OnKey(surface, 27, 0);
  ExpectOnly(0, false, {}, {});
}

}  // namespace
}  // namespace qv
