// The performance timer: elapsed counts between start and stop, and the error without a clock.
#include <gtest/gtest.h>

#include "base/Error.h"
#include "base/HighResTimer.h"

namespace qv::test {
namespace {

// A clock that returns the queued readings in turn.
std::vector<int64_t> gReadings;
bool QueuedClock(int64_t& count) {
  count = gReadings.front();
  gReadings.erase(gReadings.begin());
  return true;
}
bool Frequency10MHz(int64_t& f) {
  f = 10000000;
  return true;
}

TEST(HighResTimer, ElapsedIsTheLastStopMinusTheStartReadAsUnsignedHalves) {
  gReadings = {100};
  HighResTimer timer(QueuedClock, Frequency10MHz);
  timer.StartTimer();
  EXPECT_EQ(timer.Elapsed(), -100.0);  // no stop yet: stop count 0

  gReadings = {1000, 1500, 4000};
  timer.StartTimer();
  timer.StopTimer();
  timer.StopTimer();
  EXPECT_EQ(timer.Elapsed(), 3000.0);
  EXPECT_EQ(timer.Frequency(), 1e7);

  // The top bit of the low half is set: still a positive count.
  gReadings = {0, int64_t{0x80000000}};
  timer.StartTimer();
  timer.StopTimer();
  EXPECT_EQ(timer.Elapsed(), 2147483648.0);

  // Without a high-resolution clock there is no frequency to read.
  HighResTimer clockless(QueuedClock, [](int64_t&) { return false; });
  EXPECT_THROW(clockless.Frequency(), AppError);
}

}  // namespace
}  // namespace qv::test
