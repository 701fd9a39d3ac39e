// The demo clip: a side-by-side pair of the asked size and length, with a sound track.
#include <gtest/gtest.h>

#include <cstdlib>

#include "cli/DemoClip.h"
#include "support/TestSupport.h"

namespace qv {
namespace {

TEST(DemoClip, IsASideBySidePairWithSound) {
  test::TempDir dir;
  const std::string path = dir.File("demo.mkv");
  std::string error;
  ASSERT_TRUE(WriteDemoClip(path, DemoClipOptions{64, 48, 10, 1.0}, error)) << error;
  const std::string probeFile = dir.File("probe.txt");
  ASSERT_EQ(std::system(("ffprobe -v error -count_frames -show_entries stream=codec_type,width,"
                         "height,nb_read_frames -of csv=p=0 '" +
                         path + "' >'" + probeFile + "'")
                            .c_str()),
            0);
  const std::string probe = test::ReadFile(probeFile);
  EXPECT_NE(probe.find("video,128,48,10"), std::string::npos) << probe;
  EXPECT_NE(probe.find("audio"), std::string::npos) << probe;
}

}  // namespace
}  // namespace qv
