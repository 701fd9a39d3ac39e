// The script bridge: which names get a script, where it goes, what it says, and the reader
// opening the video that a script names.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>

#include "MediaSupport.h"
#include "video/ScriptBridge.h"
#include "video/VideoReader.h"

namespace qv {
namespace {

using test::Media;
using test::ReadFile;
using test::WriteFile;
using ::testing::StartsWith;

std::string ScriptFor(const std::string& video) {
  return "DirectShowSource(\"" + video + "\")\r\n";
}

// Points the per-user data folder at a temporary folder for the test's duration.
class ScriptFolder : public ::testing::Test {
 protected:
  void SetUp() override { setenv("XDG_DATA_HOME", temp_.Path().c_str(), 1); }
  void TearDown() override { unsetenv("XDG_DATA_HOME"); }

  test::TempDir temp_;
  const std::string folder_ = (temp_.Path() / "Quorvex").string();
  test::RecordingSink sink_;
};

TEST_F(ScriptFolder, VideosOfTheScriptFormatsGetAOneLineScriptNamedAfterThem) {
  const std::string clip = temp_.File("videos/clip.MPG");
  EXPECT_EQ(MakeScript(clip), folder_ + "/clip.avs");
  EXPECT_EQ(ReadFile(folder_ + "/clip.avs"), ScriptFor(clip));
  for (const char* name : {"movie.mpeg", "a.asf", "b.WMV", "c.dat", "d.mov", "e.Vob"}) {
    const std::string base(name, std::string(name).find('.') + 1);
    EXPECT_EQ(MakeScript(std::string("/x/") + name), folder_ + "/" + base + "avs") << name;
  }
  // A relative name is written as the full path it stands for.
  EXPECT_EQ(ReadFile(MakeScript("rel.mpg")),
            ScriptFor((std::filesystem::current_path() / "rel.mpg").string()));
  EXPECT_TRUE(sink_.messages.empty());
}

TEST_F(ScriptFolder, OtherNamesGetNoScriptAndShortNamesAMessage) {
  for (const char* name : {"film.avi", "script.avs", "serve.vdr", "clip.mkv", "clip.mp4"}) {
    EXPECT_EQ(MakeScript(name), "") << name;
  }
  EXPECT_TRUE(sink_.messages.empty());
  EXPECT_EQ(MakeScript("ab"), "");
  EXPECT_EQ(sink_.Texts(),
            std::vector<std::string>{"Filename does not contain a valid extension."});
  EXPECT_FALSE(std::filesystem::exists(folder_ + "/film.avs"));
}

TEST_F(ScriptFolder, SameBaseNamesShareAScriptAndTheLaterOneWins) {
  const std::string first = MakeScript("/one/take.mpg");
  EXPECT_EQ(MakeScript("/two/take.mpg"), first);
  EXPECT_EQ(ReadFile(first), ScriptFor("/two/take.mpg"));
}

TEST_F(ScriptFolder, AFolderThatCannotBeWrittenGivesTheBridgesMessageAndNoScript) {
  WriteFile(temp_.File("blocker"), "a file where the folder should be");
  setenv("XDG_DATA_HOME", temp_.File("blocker").c_str(), 1);
  EXPECT_EQ(MakeScript("/v/clip.mpg"), "");
  ASSERT_EQ(sink_.messages.size(), 1u);
  const std::string routine = "An error occurred in AviSynth. ";
  EXPECT_THAT(sink_.messages[0].text, StartsWith(routine));
  EXPECT_GT(sink_.messages[0].text.size(), routine.size());
}

TEST_F(ScriptFolder, TheReaderOpensTheVideoAScriptNames) {
  const std::string direct = Media("sbs_scene.mpg");
  const std::string viaScript = MakeScript(direct);
  std::vector<PictureRef> frames;
  for (const std::string& file : {direct, viaScript}) {
    VideoReaderState video;
    ASSERT_TRUE(OpenVideo(file, video)) << file;
    EXPECT_EQ(video.StreamLength, 10);
    frames.push_back(
        test::SolidPicture(video.FrameFormat.biWidth, video.FrameFormat.biHeight, {}));
    ASSERT_TRUE(FetchFrame(video, 4, *frames.back()));
    CloseVideo(video);
  }
  EXPECT_TRUE(test::SamePicture(*frames[1], *frames[0]));
  EXPECT_TRUE(sink_.messages.empty());
}

TEST_F(ScriptFolder, ScriptsOfAnyOtherFormGetTheReadersFailure) {
  WriteFile(temp_.File("missing.avs"), ScriptFor(temp_.File("gone.mpg")));
  WriteFile(temp_.File("two.avs"), ScriptFor(Media("mpeg2.mpg")) + "Trim(0, 10)\r\n");
  WriteFile(temp_.File("other.vdr"), "AVISource(\"" + Media("odd_raw.avi") + "\")\r\n");
  for (const char* script : {"missing.avs", "two.avs", "other.vdr"}) {
    SCOPED_TRACE(script);
    sink_.messages.clear();
    VideoReaderState video;
    EXPECT_FALSE(OpenVideo(temp_.File(script), video));
    ASSERT_EQ(sink_.messages.size(), 1u);
    EXPECT_THAT(sink_.messages[0].text, StartsWith("An error occurred in OpenVideo. "));
  }
  // Without a line ending, and in a .vdr file, the one-line form is accepted.
  WriteFile(temp_.File("bare.vdr"), "directshowsource(\"" + Media("mpeg2.mpg") + "\")");
  EXPECT_EQ(ReadScriptTarget(temp_.File("bare.vdr")), Media("mpeg2.mpg"));
}

}  // namespace
}  // namespace qv
