#include <gtest/gtest.h>

#include <cstring>
#include <fstream>
#include <iterator>
#include <set>

#include "image/cDIBSection.h"
#include "support/TestSupport.h"

namespace qv {
namespace {

using test::Bgr;
using test::MakePicture;
using test::PixelAt;
using test::SamePicture;

std::vector<uint8_t> ReadFile(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return std::vector<uint8_t>(std::istreambuf_iterator<char>(in), {});
}

uint32_t U32(const std::vector<uint8_t>& b, size_t at) {
  return b[at] | b[at + 1] << 8 | b[at + 2] << 16 | static_cast<uint32_t>(b[at + 3]) << 24;
}

TEST(DIBSection, StrideIsThreeBytesAPixelPaddedToFour) {
  const int32_t expected[] = {4, 8, 12, 12, 16, 20, 24, 24};
  for (int32_t w = 1; w <= 8; ++w) {
    cDIBSection p;
    ASSERT_TRUE(p.Create(w, 1));
    EXPECT_EQ(p.BytesPerScanLine(), expected[w - 1]) << "width " << w;
  }
}

TEST(DIBSection, NewPictureIsBlackAndDescribedByItsHeader) {
  cDIBSection p;
  ASSERT_TRUE(p.Create(5, 3));
  EXPECT_NE(p.hDC(), nullptr);
  EXPECT_NE(p.hDib(), 0u);
  const auto& h = p.InfoHeader();
  EXPECT_EQ(h.biSize, 40u);
  EXPECT_EQ(h.biHeight, 3);
  EXPECT_EQ(h.biBitCount, 24);
  EXPECT_EQ(h.biSizeImage, 16u * 3);
  for (int i = 0; i < p.BytesPerScanLine() * p.Height(); ++i) ASSERT_EQ(p.DIBSectionBitsPtr()[i], 0);
}

TEST(DIBSection, RefusedSizesLeaveAnEmptyPictureThatEveryMemberTolerates) {
  for (auto [w, h] : {std::pair{0, 5}, {5, 0}, {-3, 4}, {4, -3}, {40000, 40000}}) {
    cDIBSection p;
    EXPECT_FALSE(p.Create(w, h)) << w << "x" << h;
    EXPECT_EQ(p.Width(), 0);
    EXPECT_EQ(p.Height(), 0);
    EXPECT_EQ(p.hDC(), nullptr);
    EXPECT_EQ(p.DIBSectionBitsPtr(), nullptr);
    EXPECT_EQ(p.CopyOf(), nullptr);
    EXPECT_EQ(p.Crop(1, 1, 0, 0), nullptr);
    p.RandomiseBits(true);
    p.ClearUp();
    p.ClearUp();
  }
}

TEST(DIBSection, ClearUpEmptiesAndCanBeRepeated) {
  cDIBSection p;
  ASSERT_TRUE(p.Create(4, 4));
  p.ClearUp();
  EXPECT_EQ(p.DIBSectionBitsPtr(), nullptr);
  EXPECT_EQ(p.hDib(), 0u);
  EXPECT_EQ(p.hDC(), nullptr);
  EXPECT_EQ(p.Width(), 0);
  p.ClearUp();
  ASSERT_TRUE(p.Create(2, 2));  // usable again
}

TEST(DIBSection, SavePictureWritesAByteExactFile) {
  test::TempDir dir;
  auto p = test::PatternPicture(3, 2);
  const std::string file = dir.File("small.bmp");
  ASSERT_TRUE(p->SavePicture(file));
  const auto bytes = ReadFile(file);
  ASSERT_EQ(bytes.size(), 78u);
  EXPECT_EQ(bytes[0], 'B');
  EXPECT_EQ(bytes[1], 'M');
  EXPECT_EQ(U32(bytes, 2), 78u);
  EXPECT_EQ(U32(bytes, 6), 0u);
  EXPECT_EQ(U32(bytes, 10), 54u);
  EXPECT_EQ(U32(bytes, 14), 40u);
  EXPECT_EQ(U32(bytes, 18), 3u);
  EXPECT_EQ(U32(bytes, 22), 2u);
  EXPECT_EQ(bytes[26] | bytes[27] << 8, 1);
  EXPECT_EQ(bytes[28] | bytes[29] << 8, 24);
  EXPECT_EQ(U32(bytes, 30), 0u);
  EXPECT_EQ(U32(bytes, 34), 24u);
  EXPECT_TRUE(std::equal(bytes.begin() + 54, bytes.end(), p->DIBSectionBitsPtr()));
}

TEST(DIBSection, SavePictureRaisesError17WhenTheFileCannotBeCreated) {
  test::TempDir dir;
  auto p = test::PatternPicture(2, 2);
  try {
    p->SavePicture(dir.File("missing/folder.bmp"));
    FAIL() << "no error";
  } catch (const AppError& e) {
    EXPECT_EQ(e.Number(), 17);
    EXPECT_EQ(e.Source(), "quorvex.cDIBSection256");
    EXPECT_EQ(e.Description(), "No such file or directory");
  }
}

TEST(DIBSection, CropTakesDeviceCoordinatesAndLeavesOutsidePartsBlack) {
  auto p = MakePicture(4, 3, [](int x, int y) { return Bgr{uint8_t(x), uint8_t(y), 9}; });
  auto top = p->Crop(1, 4, 0, 0);
  ASSERT_TRUE(top);
  EXPECT_TRUE(SamePicture(*top, *MakePicture(4, 1, [](int x, int) { return Bgr{uint8_t(x), 0, 9}; })));
  // The top row is the last one in memory.
  EXPECT_EQ(top->DIBSectionBitsPtr()[2], p->DIBSectionBitsPtr()[2 * p->BytesPerScanLine() + 2]);

  auto beyond = p->Crop(3, 3, 2, 1);
  ASSERT_TRUE(beyond);
  EXPECT_TRUE(SamePicture(*beyond, *MakePicture(3, 3, [](int x, int y) {
    return (x < 2 && y < 2) ? Bgr{uint8_t(x + 2), uint8_t(y + 1), 9} : Bgr{0, 0, 0};
  })));

  EXPECT_EQ(MakePicture(1, 5, [](int, int) { return Bgr{1, 1, 1}; })->Crop(1, 1, 0, 0), nullptr);
  EXPECT_EQ(p->Crop(0, 3, 0, 0), nullptr);
}

TEST(DIBSection, CopyOfAndCanvasSizeMakeNewPictures) {
  auto p = test::PatternPicture(7, 5);
  auto copy = p->CopyOf();
  ASSERT_TRUE(copy);
  EXPECT_NE(copy->DIBSectionBitsPtr(), p->DIBSectionBitsPtr());
  EXPECT_TRUE(SamePicture(*copy, *p));
  auto canvas = p->CanvasSize(2, 9);
  ASSERT_TRUE(canvas);
  EXPECT_TRUE(SamePicture(*canvas, *test::SolidPicture(9, 2, {0, 0, 0})));
}

TEST(DIBSection, ResampleWithoutInterpolationRepeatsOrDropsPixels) {
  auto p = test::PatternPicture(8, 8);
  EXPECT_TRUE(SamePicture(*p->Resample(8, 8), *p));

  auto twice = p->Resample(16, 16);
  EXPECT_TRUE(SamePicture(*twice, *MakePicture(16, 16, [&](int x, int y) {
    return PixelAt(*p, x / 2, y / 2);
  })));

  // xScale = 7/4: columns 0, 1, 3, 5; memory rows likewise from the bottom row up.
  auto half = p->Resample(4, 4);
  const int picked[] = {0, 1, 3, 5};
  EXPECT_TRUE(SamePicture(*half, *MakePicture(4, 4, [&](int x, int y) {
    const int memoryRow = picked[3 - y];
    return PixelAt(*p, picked[x], 7 - memoryRow);
  })));
}

TEST(DIBSection, ResampleWithInterpolation) {
  // Bilinear: a horizontal ramp from 0 to 90 sampled at thirds.
  auto ramp = MakePicture(2, 2, [](int x, int) { return Bgr{uint8_t(90 * x), 0, uint8_t(90 * x)}; });
  auto bilinear = ramp->Resample(3, 3, true);
  EXPECT_TRUE(SamePicture(*bilinear, *MakePicture(3, 3, [](int x, int) {
    const uint8_t v = static_cast<uint8_t>(30 * x);
    return Bgr{v, 0, v};
  })));

  // A source one pixel wide falls back to the nearest pixel.
  auto column = test::PatternPicture(1, 6);
  EXPECT_TRUE(SamePicture(*column->Resample(3, 1, true), *column->Resample(3, 1, false)));

  // Box average above a scale of 2: the divisor counts positions outside the sampled area, so
  // the borders of a flat picture darken while its middle stays.
  auto flat = test::SolidPicture(20, 20, {100, 100, 100});
  auto box = flat->Resample(4, 4, true);
  EXPECT_EQ(PixelAt(*box, 0, 3), (Bgr{16, 16, 16}));  // bottom-left: 4 of 25 positions sampled
  EXPECT_EQ(PixelAt(*box, 2, 1), (Bgr{100, 100, 100}));
}

TEST(DIBSection, RandomiseBitsFollowsTheChannelRulesAndKeepsPadding) {
  cDIBSection p;
  ASSERT_TRUE(p.Create(3, 50));  // 9 bytes a row + 3 padding
  for (int y = 0; y < 50; ++y) std::fill_n(p.DIBSectionBitsPtr() + y * 12 + 9, 3, 0xAB);
  p.RandomiseBits(true);
  std::set<int> levels;
  for (int y = 0; y < 50; ++y) {
    for (int x = 0; x < 3; ++x) {
      const Bgr c = PixelAt(p, x, y);
      EXPECT_EQ(c.b, c.g);
      EXPECT_EQ(c.g, c.r);
      levels.insert(c.b);
    }
    EXPECT_EQ(p.DIBSectionBitsPtr()[y * 12 + 10], 0xAB);
  }
  EXPECT_GT(levels.size(), 20u);
  p.RandomiseBits(false);
  int differing = 0;
  for (int y = 0; y < 50; ++y) {
    for (int x = 0; x < 3; ++x) {
      EXPECT_EQ(PixelAt(p, x, y).b, 0);
      differing += PixelAt(p, x, y).g != PixelAt(p, x, y).r;
    }
  }
  EXPECT_GT(differing, 100);
}

class RecordingClipboard : public ClipboardHook {
 public:
  bool PutBitmap(int32_t width, int32_t height, const uint8_t* bits, int32_t stride) override {
    ++calls;
    lastWidth = width;
    lastHeight = height;
    firstByte = bits[0];
    return true;
  }
  int calls = 0, lastWidth = 0, lastHeight = 0, firstByte = -1;
};

TEST(DIBSection, CopyToClipboard) {
  test::RecordingSink sink;
  RecordingClipboard clipboard;
  SetClipboardHook(&clipboard);
  auto p = test::SolidPicture(3, 2, {7, 8, 9});
  EXPECT_FALSE(p->CopyToClipboard(true));
  EXPECT_EQ(sink.Texts(), std::vector<std::string>{
                              "I don't know how to put a DIB on the clipboard! Copy as bitmap instead!!!"});
  EXPECT_EQ(clipboard.calls, 0);
  EXPECT_TRUE(p->CopyToClipboard(false));
  EXPECT_EQ(clipboard.calls, 1);
  EXPECT_EQ(clipboard.lastWidth, 3);
  EXPECT_EQ(clipboard.firstByte, 7);
  SetClipboardHook(nullptr);
  EXPECT_FALSE(p->CopyToClipboard(false));
}

TEST(DIBSection, CreateFromPictureConvertsTopDownPixelsTo24Bit) {
  StdPicture picture{2, 2, {0xFF010203u, 0x00040506u, 0x80070809u, 0xFF0A0B0Cu}};
  cDIBSection p;
  p.CreateFromPicture(picture);
  EXPECT_EQ(PixelAt(p, 0, 0), (Bgr{3, 2, 1}));
  EXPECT_EQ(PixelAt(p, 1, 0), (Bgr{6, 5, 4}));
  EXPECT_EQ(PixelAt(p, 0, 1), (Bgr{9, 8, 7}));
  EXPECT_EQ(p.DIBSectionBitsPtr()[0], 9);  // memory row 0 is the bottom row
}

}  // namespace
}  // namespace qv

namespace qv {
namespace {

TEST(DIBSectionView, IsTheCropUntilEitherPictureIsWritten) {
  auto frame = test::PatternPicture(9, 6);
  const auto crop = frame->Crop(4, 5, 3, 1);
  auto view = frame->CropView(4, 5, 3, 1);
  ASSERT_TRUE(view);
  EXPECT_TRUE(view->SharesMemory());
  EXPECT_TRUE(frame->SharesMemory());
  EXPECT_EQ(view->ReadGrid().stride, frame->BytesPerScanLine());  // read in place
  EXPECT_TRUE(test::SamePicture(*view, *crop));

  // Writing the frame leaves the view as it was cut; the frame gets memory of its own.
  auto nested = view->CropView(2, 2, 1, 1);
  frame->RandomiseBits(true);
  EXPECT_FALSE(frame->SharesMemory());
  EXPECT_TRUE(test::SamePicture(*view, *crop));
  EXPECT_TRUE(test::SamePicture(*nested, *crop->Crop(2, 2, 1, 1)));

  // Writing the view leaves the other pictures alone, and its own layout is the usual one.
  auto before = nested->CopyOf();
  uint8_t* bits = view->DIBSectionBitsPtr();
  EXPECT_EQ(view->ReadGrid().stride, view->BytesPerScanLine());
  bits[0] ^= 0xFF;
  EXPECT_TRUE(test::SamePicture(*nested, *before));
  EXPECT_NE(test::PixelAt(*view, 0, 3).b, test::PixelAt(*crop, 0, 3).b);

  // The memory outlives the picture the views were cut from.
  auto source = test::PatternPicture(6, 6, 5);
  auto expected = source->Crop(3, 3, 0, 0);
  auto late = source->CropView(3, 3, 0, 0);
  source->ClearUp();
  EXPECT_TRUE(test::SamePicture(*late, *expected));
}

TEST(DIBSectionView, OverwritingNeedsNoCopyAndPartlyOutsideRectanglesAreCut) {
  auto frame = test::PatternPicture(8, 4);
  auto view = frame->CropView(4, 4, 4, 0);
  const auto expected = frame->Crop(4, 4, 4, 0);
  uint8_t* fresh = frame->BitsForOverwrite();
  EXPECT_FALSE(frame->SharesMemory());
  std::memset(fresh, 0, static_cast<size_t>(frame->BytesPerScanLine()) * 4);
  EXPECT_TRUE(test::SamePicture(*view, *expected));

  auto outside = frame->CropView(4, 4, 6, 0);  // two columns beyond the frame stay black
  ASSERT_TRUE(outside);
  EXPECT_FALSE(outside->SharesMemory());
  EXPECT_EQ(frame->CropView(1, 1, 0, 0)->Width(), 1);
  EXPECT_EQ(test::SolidPicture(1, 3, {})->CropView(1, 1, 0, 0), nullptr);

  // Saving and resampling a view read it as the picture it stands for.
  test::TempDir dir;
  auto inner = frame->CropView(2, 3, 1, 1);
  const auto innerCopy = inner->CopyOf();
  EXPECT_TRUE(test::SamePicture(*inner->Resample(4, 6), *innerCopy->Resample(4, 6)));
  ASSERT_TRUE(inner->SavePicture(dir.File("v.bmp")));
  ASSERT_TRUE(innerCopy->SavePicture(dir.File("c.bmp")));
  std::ifstream a(dir.File("v.bmp"), std::ios::binary), b(dir.File("c.bmp"), std::ios::binary);
  EXPECT_EQ(std::string(std::istreambuf_iterator<char>(a), {}), std::string(std::istreambuf_iterator<char>(b), {}));
}

}  // namespace
}  // namespace qv

namespace qv {
namespace {

TEST(DIBSectionView, HalvesOfOneFrameJoinBackWithoutCopying) {
  auto frame = test::PatternPicture(10, 4);
  auto left = frame->CropView(4, 5, 0, 0);
  auto right = frame->CropView(4, 5, 5, 0);
  auto joined = cDIBSection::JoinedView(*left, *right);
  ASSERT_TRUE(joined);
  EXPECT_TRUE(test::SamePicture(*joined, *frame));
  EXPECT_EQ(cDIBSection::JoinedView(*right, *left), nullptr);  // not in that order
  EXPECT_EQ(cDIBSection::JoinedView(*left, *frame->Crop(4, 5, 5, 0)), nullptr);
  EXPECT_EQ(cDIBSection::JoinedView(*left, *frame->CropView(3, 5, 5, 0)), nullptr);
}

}  // namespace
}  // namespace qv
