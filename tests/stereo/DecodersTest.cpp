#include <gtest/gtest.h>

#include <fstream>

#include "StillFiles.h"
#include "image/FrameBuffers.h"
#include "stereo/LoadPics.h"
#include "stereo/StillPictures.h"
#include "support/TestSupport.h"

namespace qv {
namespace {

using test::Bgr;
using test::MakePicture;
using test::SamePicture;

// A frame whose every pixel says where it is, so that a view shows which rows and columns it took.
Bgr Where(int x, int y) {
  return Bgr{static_cast<uint8_t>(x), static_cast<uint8_t>(y), static_cast<uint8_t>((x * 31 + y * 17) >> 3)};
}

class Decoders : public ::testing::Test {
 protected:
  void TearDown() override {
    gFrames = FrameBuffers{};
    DroppedFile.clear();
  }
  cDIBSection& View(int i) { return *gFrames.StereoViews[static_cast<size_t>(i)]; }
  test::RecordingSink messages;
};

TEST_F(Decoders, AboveBelowCutsTheHalvesWithHalfToEvenRows) {
  // 640 x 480: two 640 x 240 views, view 0 the upper half.
  gFrames.SourceFrame = MakePicture(640, 480, Where);
  LoadAboveBelow();
  EXPECT_TRUE(SamePicture(View(0), *MakePicture(640, 240, Where)));
  EXPECT_TRUE(SamePicture(View(1), *MakePicture(640, 240, [](int x, int y) { return Where(x, y + 240); })));

  // half(5) = 2: the bottom row is dropped. half(7) = 4: the lower view's last row is black.
  gFrames.SourceFrame = MakePicture(6, 5, Where);
  LoadAboveBelow();
  EXPECT_TRUE(SamePicture(View(0), *MakePicture(6, 2, Where)));
  EXPECT_TRUE(SamePicture(View(1), *MakePicture(6, 2, [](int x, int y) { return Where(x, y + 2); })));
  gFrames.SourceFrame = MakePicture(6, 7, Where);
  LoadAboveBelow();
  EXPECT_TRUE(SamePicture(View(0), *MakePicture(6, 4, Where)));
  EXPECT_TRUE(SamePicture(View(1), *MakePicture(6, 4, [](int x, int y) { return y == 3 ? Bgr{} : Where(x, y + 4); })));
  EXPECT_TRUE(messages.messages.empty());
}

TEST_F(Decoders, ParallelCutsTheHalvesWithoutSwappingEyes) {
  // 1281 wide: half(1281) = 640, the right view starts at column 640 and the last column is lost.
  gFrames.SourceFrame = MakePicture(1281, 3, Where);
  LoadJPS();
  EXPECT_TRUE(SamePicture(View(0), *MakePicture(640, 3, Where)));
  EXPECT_TRUE(SamePicture(View(1), *MakePicture(640, 3, [](int x, int y) { return Where(x + 640, y); })));

  // half(7) = 4: the right view's last column lies outside the frame and stays black.
  gFrames.SourceFrame = MakePicture(7, 4, Where);
  LoadJPS();
  EXPECT_TRUE(SamePicture(View(0), *MakePicture(4, 4, Where)));
  EXPECT_TRUE(SamePicture(View(1), *MakePicture(4, 4, [](int x, int y) { return x == 3 ? Bgr{} : Where(x + 4, y); })));
}

TEST_F(Decoders, InterleavedSeparatesMemoryRowsAndDoublesThem) {
  // 720 x 577: views of 720 x 576; the frame's top row (memory row 576) is dropped. View 0 takes
  // the even memory rows, view 1 the odd ones, each twice.
  gFrames.SourceFrame = MakePicture(720, 577, Where);
  LoadInterleaved();
  auto fromMemoryRow = [](int x, int memoryRow) { return Where(x, 576 - memoryRow); };
  EXPECT_TRUE(SamePicture(View(0), *MakePicture(720, 576, [&](int x, int y) {
    const int memoryRow = 575 - y;
    return fromMemoryRow(x, memoryRow - memoryRow % 2);
  })));
  EXPECT_TRUE(SamePicture(View(1), *MakePicture(720, 576, [&](int x, int y) {
    const int memoryRow = 575 - y;
    return fromMemoryRow(x, memoryRow - memoryRow % 2 + 1);
  })));
}

TEST_F(Decoders, TwoDCopiesTheFrameAndEmptiesTheOldViewsAtOnce) {
  gFrames.SourceFrame = MakePicture(9, 5, Where);
  gFrames.StereoViews = {MakePicture(3, 3, Where), MakePicture(3, 3, Where)};
  const DibRef oldLeft = gFrames.StereoViews[0];
  Load2D();
  EXPECT_TRUE(SamePicture(View(0), *gFrames.SourceFrame));
  EXPECT_TRUE(SamePicture(View(1), *gFrames.SourceFrame));
  EXPECT_NE(gFrames.StereoViews[0], gFrames.StereoViews[1]);
  EXPECT_EQ(oldLeft->DIBSectionBitsPtr(), nullptr);  // emptied for its other holders too

  // The cut layouts only drop their old views.
  const DibRef cutLeft = gFrames.StereoViews[0];
  LoadJPS();
  EXPECT_TRUE(SamePicture(*cutLeft, *gFrames.SourceFrame));
}

TEST_F(Decoders, AnaglyphsSplitIntoRedAndBlueGreen) {
  // The first pixel is (B 51, G 100, R 200): grey 200 and round(151 / 2) = 76; the others check
  // the other half-way sums (153 / 2 -> 76, 155 / 2 -> 78).
  const Bgr pixels[] = {{51, 100, 200}, {53, 100, 9}, {55, 100, 0}, {0, 0, 255}, {255, 255, 0}};
  auto frame = [&](int x, int) { return pixels[x]; };
  gFrames.SourceFrame = MakePicture(5, 2, frame);
  LoadAnaglyph();
  const uint8_t greyRight[] = {76, 76, 78, 0, 255};
  EXPECT_TRUE(SamePicture(View(0), *MakePicture(5, 2, [&](int x, int) {
    const uint8_t g = pixels[x].r;
    return Bgr{g, g, g};
  })));
  EXPECT_TRUE(SamePicture(View(1), *MakePicture(5, 2, [&](int x, int) {
    return Bgr{greyRight[x], greyRight[x], greyRight[x]};
  })));

  LoadAnaglyphColour();
  EXPECT_TRUE(SamePicture(View(0), *MakePicture(5, 2, [&](int x, int) { return Bgr{0, 0, pixels[x].r}; })));
  EXPECT_TRUE(SamePicture(View(1), *MakePicture(5, 2, [&](int x, int) { return Bgr{pixels[x].b, pixels[x].g, 0}; })));
  EXPECT_TRUE(messages.messages.empty());
}

TEST_F(Decoders, BadFramesGiveTheRoutinesMessageAndNoCrash) {
  // No frame at all: the decoder stops at once and the views stay as they were.
  gFrames.StereoViews = {MakePicture(2, 2, Where), MakePicture(2, 2, Where)};
  const DibRef before = gFrames.StereoViews[0];
  for (auto decoder : {LoadAboveBelow, LoadJPS, LoadInterleaved, Load2D, LoadAnaglyph, LoadAnaglyphColour}) {
    decoder(0, false);
  }
  EXPECT_EQ(messages.Texts(), (std::vector<std::string>{
      "An error occurred in LoadAboveBelow. Object variable or With block variable not set",
      "An error occurred in LoadJPS. Object variable or With block variable not set",
      "An error occurred in LoadInterleaved. Object variable or With block variable not set",
      "An error occurred in Load2D. Object variable or With block variable not set",
      "An error occurred in LoadAnaglyph. Object variable or With block variable not set",
      "An error occurred in LoadAnaglyphColour. Object variable or With block variable not set"}));
  EXPECT_EQ(gFrames.StereoViews[0], before);

  // A one-pixel frame cannot be cut: the views become empty slots, without a message.
  messages.messages.clear();
  gFrames.SourceFrame = MakePicture(1, 1, Where);
  LoadJPS();
  EXPECT_EQ(gFrames.StereoViews[0], nullptr);
  LoadInterleaved();  // a one-row frame gives views without rows
  EXPECT_EQ(View(0).Height(), 0);
  gFrames.SourceFrame = std::make_shared<cDIBSection>();  // an empty picture
  LoadAboveBelow();
  Load2D();
  LoadAnaglyph();  // copies nothing, then has no view to mask
  EXPECT_EQ(messages.Texts(), (std::vector<std::string>{
      "An error occurred in LoadAnaglyph. Object variable or With block variable not set"}));
}

TEST_F(Decoders, DecoderForFollowsTheInputFormats) {
  EXPECT_EQ(DecoderFor(1), &LoadAboveBelow);
  EXPECT_EQ(DecoderFor(2), &LoadInterleaved);
  EXPECT_EQ(DecoderFor(3), &Load2D);
  EXPECT_EQ(DecoderFor(4), &Load2D);
  EXPECT_EQ(DecoderFor(5), &LoadJPS);
  EXPECT_EQ(DecoderFor(6), &LoadAnaglyph);
  EXPECT_EQ(DecoderFor(7), &LoadAnaglyphColour);
  EXPECT_EQ(DecoderFor(0), nullptr);
  EXPECT_EQ(DecoderFor(8), nullptr);
}

// Stills from files ---------------------------------------------------------------------------

// Two flat halves in 8 x 8 blocks, which JPEG keeps within a level or two.
DibRef StereoPair(int width, int height) {
  return MakePicture(width, height, [width](int x, int y) {
    if (x < width / 2) return y < 8 ? Bgr{40, 90, 200} : Bgr{10, 200, 30};
    return y < 8 ? Bgr{220, 60, 20} : Bgr{128, 128, 128};
  });
}

class StillDecoders : public Decoders {
 protected:
  test::TempDir dir;
};

TEST_F(StillDecoders, PicturesLoadThroughThePictureLoader) {
  // A BMP file comes back exactly; Load2D then copies it to both views.
  const DibRef picture = test::PatternPicture(13, 7);
  DroppedFile = dir.File("still.bmp");
  ASSERT_TRUE(picture->SavePicture(DroppedFile));
  Load2D(0, true);
  EXPECT_TRUE(SamePicture(*gFrames.SourceFrame, *picture));
  EXPECT_TRUE(SamePicture(View(1), *picture));

  // Above/Below stills that are not H3D files go through the picture loader as well, JPEG or not.
  const DibRef pair = StereoPair(32, 16);
  DroppedFile = dir.File("pair.jps");
  ASSERT_TRUE(test::WriteJpeg(*pair, DroppedFile));
  LoadAboveBelow(0, true);
  EXPECT_TRUE(test::NearPicture(View(0), *pair->Crop(8, 32, 0, 0), 2));
  EXPECT_TRUE(messages.messages.empty());

  // A file that is missing or not a picture ends the decoder with its message.
  DroppedFile = dir.File("missing.png");
  Load2D(0, true);
  std::ofstream(dir.File("noise.png")) << "not a picture at all";
  DroppedFile = dir.File("noise.png");
  LoadAnaglyph(0, true);
  ASSERT_EQ(messages.messages.size(), 2u);
  EXPECT_EQ(messages.messages[0].text, "An error occurred in Load2D. File not found: " + dir.File("missing.png"));
  EXPECT_EQ(messages.messages[1].text.rfind("An error occurred in LoadAnaglyph. The file is not in a picture format", 0), 0u)
      << messages.messages[1].text;
}

TEST_F(StillDecoders, JpsAndH3dStillsGoThroughTheStereoLoader) {
  const DibRef pair = StereoPair(32, 16);
  for (const char* name : {"pair.jps", "PAIR.H3D", "pair.h3d"}) {
    gFrames = FrameBuffers{};
    DroppedFile = dir.File(name);
    ASSERT_TRUE(test::WriteJpeg(*pair, DroppedFile));
    LoadJPS(0, true);
    EXPECT_TRUE(test::NearPicture(*gFrames.SourceFrame, *pair, 2)) << name;
    EXPECT_TRUE(test::NearPicture(View(0), *pair->Crop(16, 16, 0, 0), 2)) << name;
    EXPECT_TRUE(test::NearPicture(View(1), *pair->Crop(16, 16, 16, 0), 2)) << name;
  }
  // Interleaved H3D stills take the same loader.
  LoadInterleaved(0, true);
  EXPECT_EQ(View(0).Height(), 16);
  EXPECT_TRUE(messages.messages.empty());
}

TEST_F(StillDecoders, FailedStereoStillsAreDecodedFromThePreviousFrame) {
  // A Targa-like file, a truncated JPEG and an empty file: the message, then the old frame is cut.
  std::ofstream(dir.File("targa.h3d"), std::ios::binary) << std::string("\0\0\2\0\0\0\0\0\0\0\0\0\4\0\2\0\x18\0", 18);
  const DibRef pair = StereoPair(32, 16);
  ASSERT_TRUE(test::WriteJpeg(*pair, dir.File("whole.jps")));
  std::ifstream whole(dir.File("whole.jps"), std::ios::binary);
  const std::string bytes((std::istreambuf_iterator<char>(whole)), std::istreambuf_iterator<char>());
  std::ofstream(dir.File("cut.jps"), std::ios::binary) << bytes.substr(0, 20);
  std::ofstream(dir.File("empty.jps"), std::ios::binary);

  for (const char* name : {"targa.h3d", "cut.jps", "empty.jps", "missing.jps"}) {
    messages.messages.clear();
    const DibRef previous = MakePicture(8, 2, Where);
    gFrames.SourceFrame = previous;
    DroppedFile = dir.File(name);
    LoadJPS(0, true);
    EXPECT_EQ(messages.Texts(), std::vector<std::string>{kStereoStillFailedMessage}) << name;
    EXPECT_EQ(gFrames.SourceFrame, previous) << name;
    EXPECT_TRUE(SamePicture(View(1), *MakePicture(4, 2, [](int x, int y) { return Where(x + 4, y); }))) << name;
  }
  DibRef untouched = MakePicture(2, 2, Where);
  const DibRef before = untouched;
  EXPECT_FALSE(LoadStereoStill(untouched, dir.File("cut.jps")));
  EXPECT_EQ(untouched, before);
}

}  // namespace
}  // namespace qv
