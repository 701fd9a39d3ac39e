// The picture type: its layout, empty and refused pictures, BMP files, cropping, resampling,
// random fills, the clipboard, and views that share memory until written.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <set>

#include "image/Picture.h"
#include "support/TestSupport.h"

namespace qv::test {
namespace {

TEST(Picture, NewPicturesAreBlackWithRowsPaddedToFourBytes) {
  const int32_t strides[] = {4, 8, 12, 12, 16, 20, 24, 24};
  for (int32_t w = 1; w <= 8; ++w) {
    Picture p;
    ASSERT_TRUE(p.Create(w, 3));
    const int32_t stride = strides[w - 1];
    EXPECT_EQ(std::pair(p.BytesPerScanLine(), p.InfoHeader().biSizeImage),
              std::pair(stride, static_cast<uint32_t>(3 * stride)))
        << "width " << w;
    EXPECT_EQ(std::count(p.Bits(), p.Bits() + 3 * stride, 0), 3 * stride);
  }
}

TEST(Picture, RefusedSizesAndClearUpLeaveAnEmptyPictureThatEveryMemberTolerates) {
  for (auto [w, h] : {std::pair{0, 5}, {5, 0}, {-3, 4}, {4, -3}, {40000, 40000}, {4, 4}}) {
    SCOPED_TRACE(std::to_string(w) + "x" + std::to_string(h));
    Picture p;
    const bool made = p.Create(w, h);
    EXPECT_EQ(made, w == 4 && h == 4);
    if (made) p.ClearUp();
    EXPECT_EQ(std::tuple(p.Width(), p.Height(), p.Handle()), std::tuple(0, 0, 0u));
    EXPECT_TRUE(!p.DrawingCanvas() && !p.Bits() && !p.CopyOf() && !p.Crop(1, 1, 0, 0));
    p.RandomiseBits(true);
    p.ClearUp();
    p.ClearUp();
    EXPECT_TRUE(p.Create(2, 2));  // usable again
  }
}

TEST(Picture, SavePictureWritesAByteExactFileOrRaisesError17) {
  TempDir dir;
  auto p = PatternPicture(3, 2);
  ASSERT_TRUE(p->SavePicture(dir.File("small.bmp")));
  // File header (type, size 78, reserved, pixels at 54), then the 40-byte info header: 3 x 2, one
  // plane, 24 bits, no compression, 24 image bytes; then two rows of 9 bytes and 3 padding.
  const uint8_t header[54] = {'B', 'M', 78, 0, 0, 0, 0, 0, 0, 0, 54, 0, 0, 0, 40, 0, 0, 0,
                              3,   0,   0,  0, 2, 0, 0, 0, 1, 0, 24, 0, 0, 0, 0,  0, 24};
  const auto* bits = reinterpret_cast<const char*>(p->Bits());
  EXPECT_EQ(ReadFile(dir.File("small.bmp")),
            std::string(header, header + 54) + std::string(bits, bits + 24));

  const AppError e = ErrorOf([&] { p->SavePicture(dir.File("missing/folder.bmp")); });
  EXPECT_EQ(std::tuple(e.Number(), e.Source(), e.Description()),
            std::tuple(17, "quorvex.cDIBSection256", "No such file or directory"));
}

TEST(Picture, CropTakesDeviceCoordinatesAndLeavesOutsidePartsBlack) {
  auto p = MakePicture(4, 3, [](int x, int y) { return Bgr{uint8_t(x), uint8_t(y), 9}; });
  auto top = p->Crop(1, 4, 0, 0);
  ASSERT_TRUE(top);
  EXPECT_TRUE(SamePicture(*top, *MakePicture(4, 1, [](int x, int) {
    return Bgr{uint8_t(x), 0, 9};
  })));
  // The top row is the last one in memory.
  EXPECT_EQ(top->Bits()[2], p->Bits()[2 * p->BytesPerScanLine() + 2]);

  auto beyond = p->Crop(3, 3, 2, 1);
  ASSERT_TRUE(beyond);
  EXPECT_TRUE(SamePicture(*beyond, *MakePicture(3, 3, [](int x, int y) {
    return (x < 2 && y < 2) ? Bgr{uint8_t(x + 2), uint8_t(y + 1), 9} : Bgr{0, 0, 0};
  })));

  EXPECT_TRUE(!SolidPicture(1, 5, {1, 1, 1})->Crop(1, 1, 0, 0) && !p->Crop(0, 3, 0, 0));
  EXPECT_TRUE(SamePicture(*p->CanvasSize(2, 9), *SolidPicture(9, 2, {0, 0, 0})));
}

TEST(Picture, ResampleRepeatsOrDropsPixelsOrInterpolates) {
  auto p = PatternPicture(8, 8);
  EXPECT_TRUE(SamePicture(*p->Resample(8, 8), *p));
  auto doubled = MakePicture(16, 16, [&](int x, int y) { return PixelAt(*p, x / 2, y / 2); });
  EXPECT_TRUE(SamePicture(*p->Resample(16, 16), *doubled));
  // xScale = 7/4: columns 0, 1, 3, 5; memory rows likewise from the bottom row up.
  const int picked[] = {0, 1, 3, 5};
  EXPECT_TRUE(SamePicture(*p->Resample(4, 4), *MakePicture(4, 4, [&](int x, int y) {
    return PixelAt(*p, picked[x], 7 - picked[3 - y]);
  })));

  // Bilinear: a horizontal ramp from 0 to 90 sampled at thirds.
  auto ramp = [](int step) {
    return [step](int x, int) { return Bgr{uint8_t(step * x), 0, uint8_t(step * x)}; };
  };
  EXPECT_TRUE(SamePicture(*MakePicture(2, 2, ramp(90))->Resample(3, 3, true),
                          *MakePicture(3, 3, ramp(30))));

  // A source one pixel wide falls back to the nearest pixel.
  auto column = PatternPicture(1, 6);
  EXPECT_TRUE(SamePicture(*column->Resample(3, 1, true), *column->Resample(3, 1, false)));

  // Box average above a scale of 2: the divisor counts positions outside the sampled area, so
  // the borders of a flat picture darken while its middle stays.
  auto box = SolidPicture(20, 20, {100, 100, 100})->Resample(4, 4, true);
  // Bottom left: 4 of 25 positions sampled.
  EXPECT_EQ(std::pair(PixelAt(*box, 0, 3), PixelAt(*box, 2, 1)), std::pair(Grey(16), Grey(100)));
}

TEST(Picture, RandomiseBitsFollowsTheChannelRulesAndKeepsPadding) {
  Picture p;
  ASSERT_TRUE(p.Create(3, 50));  // 9 bytes a row + 3 padding
  for (int y = 0; y < 50; ++y) std::fill_n(p.Bits() + y * 12 + 9, 3, 0xAB);
  for (bool gray : {true, false}) {
    p.RandomiseBits(gray);
    std::set<int> levels;
    int differing = 0;
    for (int y = 0; y < 50; ++y) {
      for (int x = 0; x < 3; ++x) {
        const Bgr c = PixelAt(p, x, y);
        EXPECT_TRUE(gray ? c.b == c.g && c.g == c.r : c.b == 0) << int(c.b) << "," << int(c.g);
        levels.insert(c.g);
        differing += c.g != c.r;
      }
      EXPECT_EQ(p.Bits()[y * 12 + 10], 0xAB);
    }
    EXPECT_GT(levels.size(), 20u);
    EXPECT_TRUE(gray || differing > 100) << differing;
  }
}

class RecordingClipboard : public ClipboardHook {
 public:
  bool PutBitmap(int32_t width, int32_t height, const uint8_t* bits, int32_t) override {
    calls.push_back(std::to_string(width) + "x" + std::to_string(height) + " " +
                    std::to_string(bits[0]));
    return true;
  }
  std::vector<std::string> calls;
};

TEST(Picture, CopyToClipboardPutsABitmapButNoDib) {
  RecordingSink sink;
  RecordingClipboard clipboard;
  SetClipboardHook(&clipboard);
  auto p = SolidPicture(3, 2, {7, 8, 9});
  EXPECT_FALSE(p->CopyToClipboard(true));
  EXPECT_TRUE(p->CopyToClipboard(false));
  EXPECT_EQ(clipboard.calls, std::vector<std::string>{"3x2 7"});  // the bitmap only
  SetClipboardHook(nullptr);
  EXPECT_FALSE(p->CopyToClipboard(false));
  EXPECT_EQ(sink.Texts(), std::vector<std::string>{"I don't know how to put a DIB on the "
                                                   "clipboard! Copy as bitmap instead!!!"});
}

TEST(Picture, CreateFromPictureConvertsTopDownPixelsTo24Bit) {
  LoadedPicture picture{2, 2, {0xFF010203u, 0x00040506u, 0x80070809u, 0xFF0A0B0Cu}};
  Picture p;
  p.CreateFromPicture(picture);
  const Bgr expected[] = {{3, 2, 1}, {6, 5, 4}, {9, 8, 7}, {12, 11, 10}};
  EXPECT_TRUE(
      SamePicture(p, *MakePicture(2, 2, [&](int x, int y) { return expected[2 * y + x]; })));
  EXPECT_EQ(p.Bits()[0], 9);  // memory row 0 is the bottom row
}

TEST(DIBSectionView, IsTheCropUntilEitherPictureIsWritten) {
  auto frame = PatternPicture(9, 6);
  const auto crop = frame->Crop(4, 5, 3, 1);
  auto view = frame->CropView(4, 5, 3, 1);
  ASSERT_TRUE(view);
  EXPECT_TRUE(view->SharesMemory() && frame->SharesMemory());
  EXPECT_EQ(view->ReadGrid().stride, frame->BytesPerScanLine());  // read in place
  EXPECT_TRUE(SamePicture(*view, *crop));

  // Writing the frame leaves the view as it was cut; the frame gets memory of its own.
  auto nested = view->CropView(2, 2, 1, 1);
  frame->RandomiseBits(true);
  EXPECT_FALSE(frame->SharesMemory());
  EXPECT_TRUE(SamePicture(*view, *crop));
  EXPECT_TRUE(SamePicture(*nested, *crop->Crop(2, 2, 1, 1)));

  // Writing the view leaves the other pictures alone, and its own layout is the usual one.
  auto before = nested->CopyOf();
  uint8_t* bits = view->Bits();
  EXPECT_EQ(view->ReadGrid().stride, view->BytesPerScanLine());
  bits[0] ^= 0xFF;
  EXPECT_TRUE(SamePicture(*nested, *before));
  EXPECT_NE(PixelAt(*view, 0, 3).b, PixelAt(*crop, 0, 3).b);

  // The memory outlives the picture the views were cut from.
  auto source = PatternPicture(6, 6, 5);
  auto expected = source->Crop(3, 3, 0, 0);
  auto late = source->CropView(3, 3, 0, 0);
  source->ClearUp();
  EXPECT_TRUE(SamePicture(*late, *expected));
}

TEST(DIBSectionView, OverwritingNeedsNoCopyAndPartlyOutsideRectanglesAreCut) {
  auto frame = PatternPicture(8, 4);
  auto view = frame->CropView(4, 4, 4, 0);
  const auto expected = frame->Crop(4, 4, 4, 0);
  uint8_t* fresh = frame->BitsForOverwrite();
  EXPECT_FALSE(frame->SharesMemory());
  std::memset(fresh, 0, static_cast<size_t>(frame->BytesPerScanLine()) * 4);
  EXPECT_TRUE(SamePicture(*view, *expected));

  auto outside = frame->CropView(4, 4, 6, 0);  // two columns beyond the frame stay black
  ASSERT_TRUE(outside);
  EXPECT_FALSE(outside->SharesMemory());
  EXPECT_TRUE(SamePicture(*outside, *frame->Crop(4, 4, 6, 0)));
  EXPECT_EQ(frame->CropView(1, 1, 0, 0)->Width(), 1);
  EXPECT_EQ(SolidPicture(1, 3, {})->CropView(1, 1, 0, 0), nullptr);

  // Saving and resampling a view read it as the picture it stands for.
  TempDir dir;
  auto inner = frame->CropView(2, 3, 1, 1);
  const auto innerCopy = inner->CopyOf();
  EXPECT_TRUE(SamePicture(*inner->Resample(4, 6), *innerCopy->Resample(4, 6)));
  ASSERT_TRUE(inner->SavePicture(dir.File("v.bmp")));
  ASSERT_TRUE(innerCopy->SavePicture(dir.File("c.bmp")));
  EXPECT_EQ(ReadFile(dir.File("v.bmp")), ReadFile(dir.File("c.bmp")));
}

TEST(DIBSectionView, HalvesOfOneFrameJoinBackWithoutCopying) {
  auto frame = PatternPicture(10, 4);
  auto left = frame->CropView(4, 5, 0, 0);
  auto right = frame->CropView(4, 5, 5, 0);
  auto joined = Picture::JoinedView(*left, *right);
  ASSERT_TRUE(joined);
  EXPECT_TRUE(SamePicture(*joined, *frame));
  EXPECT_EQ(Picture::JoinedView(*right, *left), nullptr);  // not in that order
  EXPECT_EQ(Picture::JoinedView(*left, *frame->Crop(4, 5, 5, 0)), nullptr);
  EXPECT_EQ(Picture::JoinedView(*left, *frame->CropView(3, 5, 5, 0)), nullptr);
}

}  // namespace
}  // namespace qv::test
