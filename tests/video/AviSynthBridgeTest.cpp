// The script bridge: which names get a script, where it goes, what it says, and the reader
// opening the video that a script names.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "MediaSupport.h"
#include "video/AviSynthBridge.h"
#include "video/VideoReader.h"

namespace qv {
namespace {

namespace fs = std::filesystem;
using test::Media;
using test::RecordingSink;
using ::testing::ElementsAre;
using ::testing::StartsWith;

std::string ReadAll(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  std::ostringstream s;
  s << in.rdbuf();
  return s.str();
}

// Points the per-user data folder at a temporary folder for the test's duration.
class ScriptFolder : public ::testing::Test {
 protected:
  void SetUp() override {
    const char* old = std::getenv("XDG_DATA_HOME");
    if (old != nullptr) saved_ = old;
    setenv("XDG_DATA_HOME", temp_.Path().c_str(), 1);
    folder_ = (temp_.Path() / "Quorvex").string();
  }
  void TearDown() override {
    if (saved_) {
      setenv("XDG_DATA_HOME", saved_->c_str(), 1);
    } else {
      unsetenv("XDG_DATA_HOME");
    }
  }

  test::TempDir temp_;
  std::optional<std::string> saved_;
  std::string folder_;
  RecordingSink sink_;
};

TEST_F(ScriptFolder, VideosOfTheScriptFormatsGetAOneLineScriptNamedAfterThem) {
  const std::string clip = (temp_.Path() / "videos" / "clip.MPG").string();
  const std::string script = MakeAviSynthScript(clip);
  EXPECT_EQ(script, folder_ + "/clip.avs");
  EXPECT_EQ(ReadAll(script), "DirectShowSource(\"" + clip + "\")\r\n");

  EXPECT_EQ(MakeAviSynthScript("/data/movie.mpeg"), folder_ + "/movie.avs");
  EXPECT_EQ(ReadAll(folder_ + "/movie.avs"), "DirectShowSource(\"/data/movie.mpeg\")\r\n");
  for (const char* name : {"a.asf", "b.WMV", "c.dat", "d.mov", "e.Vob"}) {
    EXPECT_EQ(MakeAviSynthScript(std::string("/x/") + name),
              folder_ + "/" + std::string(name, 2) + "avs")
        << name;
  }
  // A relative name is written as the full path it stands for.
  EXPECT_EQ(ReadAll(MakeAviSynthScript("rel.mpg")),
            "DirectShowSource(\"" + (fs::current_path() / "rel.mpg").string() + "\")\r\n");
  EXPECT_TRUE(sink_.messages.empty());
}

TEST_F(ScriptFolder, OtherNamesGetNoScriptAndShortNamesAMessage) {
  for (const char* name : {"film.avi", "script.avs", "serve.vdr", "clip.mkv", "clip.mp4"}) {
    EXPECT_EQ(MakeAviSynthScript(name), "") << name;
  }
  EXPECT_TRUE(sink_.messages.empty());
  EXPECT_EQ(MakeAviSynthScript("ab"), "");
  EXPECT_THAT(sink_.Texts(), ElementsAre("Filename does not contain a valid extension."));
  EXPECT_FALSE(fs::exists(folder_ + "/film.avs"));
}

TEST_F(ScriptFolder, SameBaseNamesShareAScriptAndTheLaterOneWins) {
  const std::string first = MakeAviSynthScript("/one/take.mpg");
  const std::string second = MakeAviSynthScript("/two/take.mpg");
  EXPECT_EQ(first, second);
  EXPECT_EQ(ReadAll(second), "DirectShowSource(\"/two/take.mpg\")\r\n");
}

TEST_F(ScriptFolder, AFolderThatCannotBeWrittenGivesTheBridgesMessageAndNoScript) {
  std::ofstream(temp_.File("blocker")) << "a file where the folder should be";
  setenv("XDG_DATA_HOME", temp_.File("blocker").c_str(), 1);
  EXPECT_EQ(MakeAviSynthScript("/v/clip.mpg"), "");
  ASSERT_EQ(sink_.messages.size(), 1u);
  EXPECT_THAT(sink_.messages[0].text, StartsWith("An error occurred in AviSynth. "));
  EXPECT_GT(sink_.messages[0].text.size(), std::string("An error occurred in AviSynth. ").size());
}

TEST_F(ScriptFolder, TheReaderOpensTheVideoAScriptNames) {
  const std::string script = MakeAviSynthScript(Media("sbs_scene.mpg"));
  ASSERT_FALSE(script.empty());
  PlaybackRequest viaScript, direct;
  viaScript.FileName = script;
  direct.FileName = Media("sbs_scene.mpg");

  ASSERT_TRUE(OpenVideo(direct));
  const int32_t length = gVideo.StreamLength;
  auto frame = std::make_shared<cDIBSection>();
  frame->Create(gVideo.FrameFormat.biWidth, gVideo.FrameFormat.biHeight);
  ASSERT_TRUE(FetchFrame(4, *frame));
  CloseVideo();

  ASSERT_TRUE(OpenVideo(viaScript));
  EXPECT_EQ(gVideo.StreamLength, length);
  cDIBSection again;
  again.Create(frame->Width(), frame->Height());
  ASSERT_TRUE(FetchFrame(4, again));
  EXPECT_TRUE(test::SamePicture(again, *frame));
  CloseVideo();
  EXPECT_TRUE(sink_.messages.empty());
}

TEST_F(ScriptFolder, ScriptsOfAnyOtherFormGetTheReadersFailure) {
  const std::string missing = temp_.File("missing.avs");
  std::ofstream(missing, std::ios::binary)
      << "DirectShowSource(\"" << temp_.File("gone.mpg") << "\")\r\n";
  const std::string twoLines = temp_.File("two.avs");
  std::ofstream(twoLines, std::ios::binary)
      << "DirectShowSource(\"" << Media("mpeg2.mpg") << "\")\r\nTrim(0, 10)\r\n";
  const std::string other = temp_.File("other.vdr");
  std::ofstream(other, std::ios::binary) << "AVISource(\"" << Media("odd_raw.avi") << "\")\r\n";
  for (const std::string& script : {missing, twoLines, other}) {
    SCOPED_TRACE(script);
    sink_.messages.clear();
    PlaybackRequest request;
    request.FileName = script;
    EXPECT_FALSE(OpenVideo(request));
    ASSERT_EQ(sink_.messages.size(), 1u);
    EXPECT_THAT(sink_.messages[0].text, StartsWith("An error occurred in OpenVideo. "));
  }
  // Without a line ending, and in a .vdr file, the one-line form is accepted.
  std::ofstream(temp_.File("bare.vdr"), std::ios::binary)
      << "directshowsource(\"" << Media("mpeg2.mpg") << "\")";
  EXPECT_EQ(ReadScriptTarget(temp_.File("bare.vdr")), Media("mpeg2.mpg"));
}

}  // namespace
}  // namespace qv
