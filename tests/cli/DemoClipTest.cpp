#include <gtest/gtest.h>

#include <cstdio>

#include "cli/DemoClip.h"
#include "support/TestSupport.h"

namespace qv {
namespace {

std::string RunCommand(const std::string& command) {
  std::string out;
  if (FILE* pipe = popen(command.c_str(), "r")) {
    char buffer[4096];
    size_t n;
    while ((n = fread(buffer, 1, sizeof buffer, pipe)) > 0) out.append(buffer, n);
    pclose(pipe);
  }
  return out;
}

TEST(DemoClip, IsASideBySidePairWithSound) {
  test::TempDir dir;
  const std::string path = dir.File("demo.mkv");
  std::string error;
  ASSERT_TRUE(WriteDemoClip(path, DemoClipOptions{64, 48, 10, 1.0}, error)) << error;
  const std::string probe = RunCommand("ffprobe -v error -count_frames -show_entries stream=codec_type,width,height,nb_read_frames -of csv=p=0 '" + path + "'");
  EXPECT_NE(probe.find("video,128,48,10"), std::string::npos) << probe;
  EXPECT_NE(probe.find("audio"), std::string::npos) << probe;
}

}  // namespace
}  // namespace qv
