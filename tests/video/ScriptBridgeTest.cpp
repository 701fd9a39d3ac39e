// The script bridge: which names get a script, where it goes, what it says, and the reader
// opening the video that a script names.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <regex>

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
  test::TempDir temp_;
  test::ScopedEnv dataHome_{"XDG_DATA_HOME", temp_.Path().string()};
  const std::string folder_ = (temp_.Path() / "Quorvex").string();
  test::RecordingSink sink_;
};

// The script's name: the video's base name, a hash of its whole path, this process's number.
MATCHER_P2(ScriptOf, folder, stem, "") {
  const std::regex name(std::string(stem) + "-[0-9a-f]{16}-" + std::to_string(::getpid()) + "\\.avs");
  return std::filesystem::path(arg).parent_path() == folder &&
         std::regex_match(std::filesystem::path(arg).filename().string(), name);
}

TEST_F(ScriptFolder, VideosOfTheScriptFormatsGetAOneLineScriptOfTheirOwn) {
  const std::string clip = temp_.File("videos/clip.MPG");
  const std::string script = MakeScript(clip);
  EXPECT_THAT(script, ScriptOf(folder_, "clip"));
  EXPECT_EQ(ReadFile(script), ScriptFor(clip));
  for (const char* name : {"movie.mpeg", "a.asf", "b.WMV", "c.dat", "d.mov", "e.Vob"}) {
    const std::string stem(name, std::string(name).find('.'));
    EXPECT_THAT(MakeScript(std::string("/x/") + name), ScriptOf(folder_, stem)) << name;
  }
  // A relative name is written as the full path it stands for.
  EXPECT_EQ(ReadFile(MakeScript("rel.mpg")),
            ScriptFor((std::filesystem::current_path() / "rel.mpg").string()));
  // Videos of one base name in two folders get two scripts; the same video gets its own again.
  const std::string other = MakeScript("/two/clip.mpg");
  EXPECT_NE(other, script);
  EXPECT_EQ(ReadFile(other), ScriptFor("/two/clip.mpg"));
  EXPECT_EQ(ReadFile(script), ScriptFor(clip));
  EXPECT_EQ(MakeScript(clip), script);
  // However many folders up a name climbs, its script stays in the folder.
  std::string climbing = temp_.File("videos");
  for (int k = 0; k < 150; ++k) climbing += "/..";
  climbing += temp_.File("videos/deep.mpg");
  EXPECT_THAT(MakeScript(climbing), ScriptOf(folder_, "deep"));
  EXPECT_FALSE(std::filesystem::exists(temp_.File("videos/deep.avs")));
  EXPECT_TRUE(sink_.messages.empty());
}

TEST_F(ScriptFolder, ScriptsGoWhenTheirProcessNoLongerNeedsThem) {
  const std::string mine = MakeScript("/v/mine.mpg");
  ASSERT_TRUE(std::filesystem::exists(mine));
  // A script left by a process that has ended goes at the next script written; one of a live
  // process stays.
  const pid_t child = ::fork();
  if (child == 0) ::_exit(0);
  ASSERT_GT(child, 0);
  ::waitpid(child, nullptr, 0);
  const std::string ended = folder_ + "/old-0123456789abcdef-" + std::to_string(child) + ".avs";
  const std::string live = folder_ + "/live-0123456789abcdef-1.avs";
  WriteFile(ended, ScriptFor("/v/old.mpg"));
  WriteFile(live, ScriptFor("/v/live.mpg"));
  const std::string next = MakeScript("/v/next.mpg");
  EXPECT_FALSE(std::filesystem::exists(ended));
  EXPECT_TRUE(std::filesystem::exists(live));
  RemoveScripts();
  EXPECT_FALSE(std::filesystem::exists(mine));
  EXPECT_FALSE(std::filesystem::exists(next));
  EXPECT_TRUE(std::filesystem::exists(live));
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
