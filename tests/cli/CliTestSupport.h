#pragma once
// Runs the quorvex program as the command tests do: in a fresh settings and data folder, with
// its standard output and error kept in files of that folder.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

#include <sys/wait.h>

#include "image/BitmapFile.h"
#include "support/TestSupport.h"
#include "video/MediaSupport.h"

namespace qv::test {

class Cli : public ::testing::Test {
 protected:
  // Runs quorvex with the arguments; its own settings and data folders are fresh.
  int Run(const std::string& arguments) {
    const std::string command = "XDG_CONFIG_HOME='" + home_.File("config") + "' XDG_DATA_HOME='" +
                                home_.File("data") + "' '" QUORVEX_PROGRAM "' " + arguments + " >" +
                                Out("out.txt") + " 2>" + Out("err.txt");
    const int status = std::system(command.c_str());
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  }
  // Runs a command that must end with `status`, saying `reason` on its standard error.
  void ExpectRefusal(const std::string& arguments, int status, const std::string& reason = "") {
    EXPECT_EQ(Run(arguments), status) << arguments;
    EXPECT_THAT(Read("err.txt"), ::testing::HasSubstr(reason)) << arguments;
  }
  int Ffmpeg(const std::string& arguments) {
    return std::system(("ffmpeg -nostdin -hide_banner -loglevel error -y " + arguments).c_str());
  }
  std::string Read(const std::string& name) { return ReadFile(home_.File(name)); }
  // `quorvex render` of one frame of `input` (a quoted path) with the options; null on failure.
  PictureRef Render(const std::string& input, const std::string& options) {
    if (Run("render " + input + " -o " + Out("frame.bmp") + " " + options) != 0) {
      ADD_FAILURE() << "render " << options << ": " << Read("err.txt");
      return nullptr;
    }
    BitmapFile dib;
    if (!dib.CreateFromFile(home_.File("frame.bmp"))) return nullptr;
    auto picture = std::make_shared<Picture>();
    picture->Create(dib.Width(), dib.Height());
    dib.CopyToSection(*picture);
    return picture;
  }
  // The video frames of a file in the home folder, decoded by ffmpeg.
  std::vector<PictureRef> Frames(const std::string& name, int width, int height) {
    if (Ffmpeg("-i " + Out(name) + " -map 0:v -f rawvideo -pix_fmt bgr24 " + Out("frames.bgr")))
      return {};
    return ReadRawFrames(home_.File("frames.bgr"), width, height);
  }
  std::string Out(const std::string& name) { return "'" + home_.File(name) + "'"; }
  static std::string In(const std::string& media) { return "'" + Media(media) + "'"; }

  test::TempDir home_;
  test::RecordingSink quiet_;
};

}  // namespace qv::test
