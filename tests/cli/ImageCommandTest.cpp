// quorvex image run as a program on picture files: one end-to-end run per family of operations,
// compared with the library's own result, and the refusals of bad arguments and bad files.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <string>

#include <sys/wait.h>

#include "image/BitmapFile.h"
#include "imageproc/ImageProcessor.h"
#include "support/TestSupport.h"

namespace qv {
namespace {

using test::Grey;
using test::PatternPicture;
using test::SamePicture;
using ::testing::HasSubstr;

class ImageCommand : public ::testing::Test {
 protected:
  int Run(const std::string& arguments) {
    const std::string command = "'" QUORVEX_PROGRAM "' image " + arguments + " >'" + home_.File("out.txt") +
                                "' 2>'" + home_.File("err.txt") + "'";
    const int status = std::system(command.c_str());
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  }
  std::string Err() { return test::ReadFile(home_.File("err.txt")); }
  std::string Path(const std::string& name) { return "'" + home_.File(name) + "'"; }
  std::string Write(const std::string& name, const Picture& picture) {
    picture.SavePicture(home_.File(name));
    return Path(name);
  }
  PictureRef Read(const std::string& name) {
    BitmapFile dib;
    if (!dib.CreateFromFile(home_.File(name))) return nullptr;
    auto picture = std::make_shared<Picture>();
    picture->Create(dib.Width(), dib.Height());
    dib.CopyToSection(*picture);
    return picture;
  }

  test::TempDir home_;
  ImageProcessor p;
};

TEST_F(ImageCommand, EachFamilyGivesTheLibrarysResult) {
  const auto source = PatternPicture(40, 30);
  const std::string in = Write("in.bmp", *source);

  // Filters and tone: the command's picture is the member's.
  auto filtered = source->CopyOf();
  auto buffer = source->CopyOf();
  p.Filtertype(14);
  p.FilterArraySize(3);
  p.FilterValue(0, 1, 2);  // the top row's middle value
  p.FilterValue(0, 0, 1);
  p.FilterWeight(3);
  p.ProcessImage(*filtered, *buffer);
  ASSERT_EQ(Run("filter " + in + " -o " + Path("f.bmp") + " --type 14 --kernel '0,2,0, 0,1,0, 0,0,0'"), 0) << Err();
  EXPECT_TRUE(SamePicture(*Read("f.bmp"), *filtered));

  auto bright = source->CopyOf();
  p.GammaCorrect(*bright, 150, 100, 70);
  ASSERT_EQ(Run("gamma " + in + " -o " + Path("g.bmp") + " --red 150 --blue 70"), 0) << Err();
  EXPECT_TRUE(SamePicture(*Read("g.bmp"), *bright));

  auto turned = source->CopyOf();
  p.CopyToArray(*turned);
  p.RotateACWAng(*turned, 3.141592653589793 / 6);
  ASSERT_EQ(Run("rotate " + in + " -o " + Path("r.bmp") + " --degrees 30"), 0) << Err();
  EXPECT_TRUE(SamePicture(*Read("r.bmp"), *turned));

  // Interlacing a pair: the first picture is the upper half of the stacked pair.
  const auto other = PatternPicture(40, 30, 9);
  ASSERT_EQ(Run("interlace-rows " + in + " " + Write("b.bmp", *other) + " -o " + Path("i.bmp")), 0) << Err();
  auto woven = Read("i.bmp");
  ASSERT_EQ(woven->Height(), 60);
  EXPECT_EQ(test::PixelAt(*woven, 5, 59), test::PixelAt(*other, 5, 29));   // row 0: lower half, row 0
  EXPECT_EQ(test::PixelAt(*woven, 5, 58), test::PixelAt(*other, 5, 0));    // row 1: row H' = 29
  EXPECT_EQ(test::PixelAt(*woven, 5, 56), test::PixelAt(*source, 5, 29));  // row 3: row 30, upper half

  // Patterns from a size; depth from a pair (identical views: no disparity anywhere).
  ASSERT_EQ(Run("calibration-sheet -o " + Path("c.png") + " --width 300 --height 20"), 0) << Err();
  EXPECT_TRUE(std::filesystem::exists(home_.File("c.png")));
  ASSERT_EQ(Run("stereo-depth " + in + " " + in + " -o " + Path("d.bmp")), 0) << Err();
  EXPECT_EQ(test::PixelAt(*Read("d.bmp"), 20, 20), Grey(128));
  ASSERT_EQ(Run("sky-depth " + in + " -o " + Path("s.bmp")), 0) << Err();
  EXPECT_THAT(test::ReadFile(home_.File("out.txt")), HasSubstr("sky border at row"));
}

TEST_F(ImageCommand, BadArgumentsAndFilesAreRefusedWithoutLeavingFiles) {
  const std::string in = Write("in.bmp", *PatternPicture(20, 20));
  const std::string small = Write("small.bmp", *PatternPicture(10, 20));
  test::WriteFile(home_.File("cut.bmp"), test::ReadFile(home_.File("in.bmp")).substr(0, 200));
  std::filesystem::create_directory(home_.File("taken.bmp"));  // a target that cannot be replaced
  const struct {
    std::string arguments;
    int status;
    std::string reason;
  } cases[] = {
      {"brightness " + in + " -o x.bmp --amount 1001", 2, "--amount must be a whole number in 0..1000"},
      {"posterise " + in + " -o x.bmp --threshold 1.5", 2, "in 0..1"},
      {"median " + in + " -o x.bmp --size 0", 2, "1..15"},
      {"brightness " + in + " -o x.jpg", 2, ".bmp or .png"},
      {"stereo-depth " + in + " -o x.bmp", 2, "takes 2 input pictures"},
      {"sharpen " + in + " -o x.bmp", 2, "unknown operation"},
      {"filter " + in + " -o x.bmp --type 14 --kernel ''", 1, "Size must be an odd number"},
      {"filter " + in + " -o x.bmp --type 14 --kernel '1,,2'", 2, "--kernel needs whole numbers"},
      {"stereo-depth " + in + " " + small + " -o x.bmp", 1, "differ in size"},
      {"quarter-turn " + small + " -o x.bmp", 1, "must be square"},
      {"projective " + in + " -o x.bmp --p -1", 1, "Division by zero"},
      {"edge-detect " + Path("cut.bmp") + " -o x.bmp", 1, "cannot read"},
      {"edge-detect " + Path("none.bmp") + " -o x.bmp", 1, "cannot read"},
      {"edge-detect " + in + " -o " + Path("missing/x.bmp"), 1, "cannot write"},
      {"edge-detect " + in + " -o " + Path("taken.bmp"), 1, "cannot write"},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(Run(c.arguments), c.status) << c.arguments;
    EXPECT_THAT(Err(), HasSubstr(c.reason)) << c.arguments;
  }
  std::string eleven;
  for (int k = 0; k < 121; ++k) eleven += k ? ",1" : "1";
  EXPECT_EQ(Run("filter " + in + " -o " + Path("x.bmp") + " --type 14 --kernel " + eleven), 1);
  EXPECT_THAT(Err(), HasSubstr("Invalid size.  Size should be an odd number from 3 to 9"));
  // Nothing half-written: no output and no temporary file beside the targets.
  for (const auto& entry : std::filesystem::directory_iterator(home_.Path())) {
    const std::string name = entry.path().filename().string();
    EXPECT_TRUE(name == "in.bmp" || name == "small.bmp" || name == "cut.bmp" || name == "taken.bmp" ||
                name == "out.txt" || name == "err.txt")
        << name;
  }
}

TEST_F(ImageCommand, TinyPicturesNeverCrashAnOperation) {
  for (const auto& [w, h] : {std::pair{1, 1}, {2, 1}, {1, 2}, {2, 2}}) {
    const std::string in = Write("tiny.bmp", *PatternPicture(w, h));
    for (const char* op : {"interlace-rows", "interlace-columns", "deinterlace-rows", "deinterlace-columns",
                           "lenticular", "filter", "edge-detect", "despeckle", "median", "remove-flecks", "noise",
                           "brightness", "contrast", "gamma", "lightness", "saturation", "posterise", "stretch",
                           "stretch-grey", "dither", "draw-pixel", "motion-depth", "motion-compensate",
                           "sky-depth", "regions", "stereo-depth"}) {
      const std::string op2(op);
      const bool pair = op2.find("interlace-") == 0 && op2.find("de") != 0 ? true
                        : op2 == "lenticular" || op2.find("motion") == 0 || op2 == "stereo-depth";
      const int status = Run(op2 + " " + in + (pair ? " " + in : "") + " -o " + Path("t.png"));
      EXPECT_TRUE(status == 0 || status == 1) << op << " on " << w << "x" << h << ": " << status << " " << Err();
    }
  }
}

}  // namespace
}  // namespace qv
