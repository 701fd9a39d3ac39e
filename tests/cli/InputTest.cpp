// What the commands that read video accept as input: local files and one-line scripts naming
// them; URLs and pipes are refused at once, with the reason, instead of waiting on them.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sys/stat.h>

#include "cli/CliTestSupport.h"

namespace qv {
namespace {

using ::testing::HasSubstr;

class Input : public test::Cli {
 protected:
  // Runs quorvex as Run does, killed after 20 s (status 124) should it wait.
  int RunWithin20Seconds(const std::string& arguments) {
    const std::string command = "XDG_CONFIG_HOME='" + home_.File("config") + "' XDG_DATA_HOME='" +
                                home_.File("data") + "' timeout 20 '" QUORVEX_PROGRAM "' " +
                                arguments + " >" + Out("out.txt") + " 2>" + Out("err.txt");
    const int status = std::system(command.c_str());
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  }
};

TEST_F(Input, UrlsAndPipesAreRefusedWithTheReason) {
  const std::string pipe = home_.File("pipe.mpg");
  ASSERT_EQ(::mkfifo(pipe.c_str(), 0600), 0);
  const std::string url = "Not a local file: URLs are refused";
  const std::string twice = "A pipe or device cannot be read twice";
  const std::pair<std::string, std::string> runs[] = {
      {"detect http://10.255.255.1/x.mp4", url},
      {"convert http://10.255.255.1/x.mp4 -o " + Out("url.mkv"), url},
      {"detect '" + pipe + "'", twice},
      {"convert '" + pipe + "' -o " + Out("pipe.mkv"), twice},
      {"render '" + pipe + "' -o " + Out("pipe.bmp"), twice}};
  for (const auto& [arguments, reason] : runs) {
    EXPECT_EQ(RunWithin20Seconds(arguments), 1) << arguments;
    EXPECT_THAT(Read("err.txt"), HasSubstr(reason)) << arguments;
  }
  // Refused before any script was written for them.
  EXPECT_THAT(test::FilesIn(home_.File("data/Quorvex")), ::testing::IsEmpty());
}

TEST_F(Input, AScriptIsConvertedWithTheSoundOfTheVideoItNames) {
  ASSERT_EQ(Ffmpeg("-f lavfi -i testsrc=size=64x48:rate=25:duration=0.4 -f lavfi -i sine=d=0.4 "
                   "-c:v mpeg2video -c:a mp2 " +
                   Out("clip.mpg")),
            0);
  test::WriteFile(home_.File("good.avs"),
                  "DirectShowSource(\"" + home_.File("clip.mpg") + "\")\r\n");
  ASSERT_EQ(RunWithin20Seconds("convert " + Out("good.avs") + " -o " + Out("out.mkv")), 0)
      << Read("err.txt");
  ASSERT_EQ(std::system(("ffprobe -v error -select_streams a -show_entries stream=codec_type -of "
                         "csv=p=0 " +
                         Out("out.mkv") + " >" + Out("streams.txt"))
                            .c_str()),
            0);
  EXPECT_EQ(Read("streams.txt"), "audio\n");
}

}  // namespace
}  // namespace qv
