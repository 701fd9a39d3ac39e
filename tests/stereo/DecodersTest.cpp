// The frame decoders: which rows and columns of the packed frame each view takes, the anaglyph
// channel splits, bad frames, and still pictures loaded from files.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>

#include "stereo/FrameBuffers.h"
#include "stereo/Decoders.h"
#include "stereo/StillPictures.h"
#include "support/TestSupport.h"

namespace qv::test {
namespace {

using ::testing::ElementsAre;
using ::testing::StartsWith;

// A frame whose every pixel says where it is, so that a view shows which rows and columns it took.
Bgr Where(int x, int y) {
  return Bgr{static_cast<uint8_t>(x), static_cast<uint8_t>(y),
             static_cast<uint8_t>((x * 31 + y * 17) >> 3)};
}

// w x h taken from a `Where` frame of frameW x frameH at (dx, dy); black outside the frame.
PictureRef Cut(int w, int h, int dx, int dy, int frameW, int frameH) {
  return MakePicture(w, h, [=](int x, int y) {
    return x + dx < frameW && y + dy < frameH ? Where(x + dx, y + dy) : Bgr{};
  });
}

// `picture` as a JPEG file at the finest quantiser with full-resolution colour, so that flat areas
// come back within a level or two.
bool WriteJpeg(const Picture& picture, const std::string& file) {
  const std::string command = "ffmpeg -nostdin -loglevel error -y -i '" + file +
                              ".bmp' -pix_fmt yuvj444p -qmin 1 -q:v 1 -f mjpeg '" + file + "'";
  return picture.SavePicture(file + ".bmp") && std::system(command.c_str()) == 0;
}

// Two flat halves in 8 x 8 blocks.
PictureRef StereoPair(int width, int height) {
  return MakePicture(width, height, [width](int x, int y) {
    if (x < width / 2) return y < 8 ? Bgr{40, 90, 200} : Bgr{10, 200, 30};
    return y < 8 ? Bgr{220, 60, 20} : Bgr{128, 128, 128};
  });
}

class Decoders : public ::testing::Test {
 protected:
  Picture& View(int i) { return *frames.StereoViews[static_cast<size_t>(i)]; }
  FrameBuffers frames;
  RecordingSink messages;
  TempDir dir;
  std::string still;  // the still-picture file the decoders load from
};

TEST_F(Decoders, AboveBelowAndParallelCutTheHalvesWithHalfToEvenSizes) {
  struct Case {
    FrameDecoder decoder;
    int w, h, viewW, viewH;
  };
  const Case cases[] = {
      {LoadAboveBelow, 640, 480, 640, 240},
      {LoadAboveBelow, 6, 5, 6, 2},  // half(5) = 2: the bottom row is dropped
      {LoadAboveBelow, 6, 7, 6, 4},  // half(7) = 4: the lower view's last row is black
      {LoadJPS, 1281, 3, 640, 3},    // the right view starts at 640, the last column is lost
      {LoadJPS, 7, 4, 4, 4},         // the right view's last column is black; eyes not swapped
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(std::to_string(c.w) + "x" + std::to_string(c.h));
    frames.SourceFrame = MakePicture(c.w, c.h, Where);
    c.decoder(frames, 0, {});
    EXPECT_TRUE(SamePicture(View(0), *Cut(c.viewW, c.viewH, 0, 0, c.w, c.h)));
    const bool parallel = c.decoder == LoadJPS;
    EXPECT_TRUE(SamePicture(
        View(1), *Cut(c.viewW, c.viewH, parallel ? c.viewW : 0, parallel ? 0 : c.viewH, c.w, c.h)));
  }
  EXPECT_TRUE(messages.messages.empty());
}

TEST_F(Decoders, InterleavedSeparatesMemoryRowsAndDoublesThem) {
  // 720 x 577: views of 720 x 576; the frame's top row (memory row 576) is dropped. View 0 takes
  // the even memory rows, view 1 the odd ones, each twice.
  frames.SourceFrame = MakePicture(720, 577, Where);
  LoadInterleaved(frames);
  for (int eye : {0, 1}) {
    EXPECT_TRUE(SamePicture(View(eye), *MakePicture(720, 576, [eye](int x, int y) {
                              const int memoryRow = 575 - y;
                              return Where(x, 576 - (memoryRow - memoryRow % 2 + eye));
                            })));
  }
}

TEST_F(Decoders, TwoDCopiesTheFrameAndEmptiesTheOldViewsAtOnce) {
  frames.SourceFrame = MakePicture(9, 5, Where);
  frames.StereoViews = {MakePicture(3, 3, Where), MakePicture(3, 3, Where)};
  const PictureRef oldLeft = frames.StereoViews[0];
  Load2D(frames);
  EXPECT_TRUE(SamePicture(View(0), *frames.SourceFrame));
  EXPECT_TRUE(SamePicture(View(1), *frames.SourceFrame));
  EXPECT_NE(frames.StereoViews[0], frames.StereoViews[1]);
  EXPECT_EQ(oldLeft->Bits(), nullptr);  // emptied for its other holders too

  // The cut layouts only drop their old views.
  const PictureRef cutLeft = frames.StereoViews[0];
  LoadJPS(frames);
  EXPECT_TRUE(SamePicture(*cutLeft, *frames.SourceFrame));
}

TEST_F(Decoders, AnaglyphsSplitIntoRedAndBlueGreen) {
  // The first pixel is (B 51, G 100, R 200): grey 200 and round(151 / 2) = 76; the others check
  // the other half-way sums (153 / 2 -> 76, 155 / 2 -> 78).
  frames.SourceFrame =
      Columns({{51, 100, 200}, {53, 100, 9}, {55, 100, 0}, {0, 0, 255}, {255, 255, 0}}, 2);
  LoadAnaglyph(frames);
  EXPECT_TRUE(SamePicture(View(0), *Columns({Grey(200), Grey(9), Grey(0), Grey(255), Grey(0)}, 2)));
  EXPECT_TRUE(
      SamePicture(View(1), *Columns({Grey(76), Grey(76), Grey(78), Grey(0), Grey(255)}, 2)));
  LoadAnaglyphColour(frames);
  EXPECT_TRUE(SamePicture(View(0), *Columns({{0, 0, 200}, {0, 0, 9}, {}, {0, 0, 255}, {}}, 2)));
  EXPECT_TRUE(SamePicture(
      View(1), *Columns({{51, 100, 0}, {53, 100, 0}, {55, 100, 0}, {}, {255, 255, 0}}, 2)));
  EXPECT_TRUE(messages.messages.empty());
}

TEST_F(Decoders, BadFramesGiveTheRoutinesMessageAndNoCrash) {
  // No frame at all: each decoder stops at once and the views stay as they were.
  frames.StereoViews = {MakePicture(2, 2, Where), MakePicture(2, 2, Where)};
  const PictureRef before = frames.StereoViews[0];
  const std::pair<FrameDecoder, const char*> decoders[] = {
      {LoadAboveBelow, "LoadAboveBelow"},   {LoadJPS, "LoadJPS"},
      {LoadInterleaved, "LoadInterleaved"}, {Load2D, "Load2D"},
      {LoadAnaglyph, "LoadAnaglyph"},       {LoadAnaglyphColour, "LoadAnaglyphColour"}};
  for (const auto& [decoder, name] : decoders) {
    messages.messages.clear();
    decoder(frames, 0, {});
    EXPECT_EQ(messages.Texts(),
              std::vector<std::string>{"An error occurred in " + std::string(name) +
                                       ". Object variable or With block variable not set"});
  }
  EXPECT_EQ(frames.StereoViews[0], before);

  // A one-pixel frame cannot be cut: the views become empty slots, without a message.
  messages.messages.clear();
  frames.SourceFrame = MakePicture(1, 1, Where);
  LoadJPS(frames);
  EXPECT_EQ(frames.StereoViews[0], nullptr);
  LoadInterleaved(frames);  // a one-row frame gives views without rows
  EXPECT_EQ(View(0).Height(), 0);
  frames.SourceFrame = std::make_shared<Picture>();  // an empty picture
  LoadAboveBelow(frames);
  Load2D(frames);
  LoadAnaglyph(frames);  // copies nothing, then has no view to mask
  EXPECT_EQ(messages.Texts(),
            (std::vector<std::string>{"An error occurred in LoadAnaglyph. Object "
                                      "variable or With block variable not set"}));
}

TEST_F(Decoders, StillPicturesLoadThroughThePictureLoader) {
  // A BMP file comes back exactly; Load2D then copies it to both views.
  const PictureRef picture = PatternPicture(13, 7);
  still = dir.File("still.bmp");
  ASSERT_TRUE(picture->SavePicture(still));
  Load2D(frames, 0, still);
  EXPECT_TRUE(SamePicture(*frames.SourceFrame, *picture));
  EXPECT_TRUE(SamePicture(View(1), *picture));

  // Above/Below stills that are not H3D files go through the picture loader as well, JPEG or not.
  const PictureRef pair = StereoPair(32, 16);
  still = dir.File("pair.jps");
  ASSERT_TRUE(WriteJpeg(*pair, still));
  LoadAboveBelow(frames, 0, still);
  EXPECT_TRUE(SamePicture(View(0), *pair->Crop(8, 32, 0, 0), 2));
  EXPECT_TRUE(messages.messages.empty());

  // A file that is missing or not a picture ends the decoder with its message.
  still = dir.File("missing.png");
  Load2D(frames, 0, still);
  WriteFile(dir.File("noise.png"), "not a picture at all");
  still = dir.File("noise.png");
  LoadAnaglyph(frames, 0, still);
  EXPECT_THAT(messages.Texts(),
              ElementsAre("An error occurred in Load2D. File not found: " + dir.File("missing.png"),
                          StartsWith("An error occurred in LoadAnaglyph. The file is not in a "
                                     "picture format")));
}

TEST_F(Decoders, JpsAndH3dStillsGoThroughTheStereoLoader) {
  const PictureRef pair = StereoPair(32, 16);
  for (const char* name : {"pair.jps", "PAIR.H3D", "pair.h3d"}) {
    SCOPED_TRACE(name);
    frames = FrameBuffers{};
    still = dir.File(name);
    ASSERT_TRUE(WriteJpeg(*pair, still));
    LoadJPS(frames, 0, still);
    EXPECT_TRUE(SamePicture(*frames.SourceFrame, *pair, 2));
    EXPECT_TRUE(SamePicture(View(0), *pair->Crop(16, 16, 0, 0), 2));
    EXPECT_TRUE(SamePicture(View(1), *pair->Crop(16, 16, 16, 0), 2));
  }
  LoadInterleaved(frames, 0, still);  // interleaved H3D stills take the same loader
  EXPECT_EQ(View(0).Height(), 16);
  EXPECT_TRUE(messages.messages.empty());
}

TEST_F(Decoders, FailedStereoStillsAreDecodedFromThePreviousFrame) {
  // A Targa-like file, a truncated JPEG and an empty file: the message, then the old frame is cut.
  WriteFile(dir.File("targa.h3d"), std::string("\0\0\2\0\0\0\0\0\0\0\0\0\4\0\2\0\x18\0", 18));
  ASSERT_TRUE(WriteJpeg(*StereoPair(32, 16), dir.File("whole.jps")));
  WriteFile(dir.File("cut.jps"), ReadFile(dir.File("whole.jps")).substr(0, 20));
  WriteFile(dir.File("empty.jps"), "");
  for (const char* name : {"targa.h3d", "cut.jps", "empty.jps", "missing.jps"}) {
    SCOPED_TRACE(name);
    messages.messages.clear();
    const PictureRef previous = frames.SourceFrame = MakePicture(8, 2, Where);
    still = dir.File(name);
    LoadJPS(frames, 0, still);
    EXPECT_EQ(messages.Texts(), std::vector<std::string>{kStereoStillFailedMessage});
    EXPECT_EQ(frames.SourceFrame, previous);
    EXPECT_TRUE(SamePicture(View(1), *Cut(4, 2, 4, 0, 8, 2)));
  }
  PictureRef untouched = MakePicture(2, 2, Where);
  const PictureRef before = untouched;
  EXPECT_FALSE(LoadStereoStill(untouched, dir.File("cut.jps")));
  EXPECT_EQ(untouched, before);
}

}  // namespace
}  // namespace qv::test
