// Combining two pictures, or a picture and SharedPixels: lightness choices, weighted sums,
// pasting with a transparent colour, fading, and pasting with a softened seam or an alpha picture.
#include <gtest/gtest.h>

#include "imageproc/ImageProcessor.h"
#include "support/TestSupport.h"

namespace qv::test {
namespace {


using Combination = With<ImageProcessor>;

TEST_F(Combination, LightnessChoicesIgnoreRedAndKeepTheTargetOnTies) {
  struct Case {
    bool darkest;
    Bgr from, to, result;
  } cases[] = {
      {false, Grey(255), Grey(0), Grey(0)},          // keeps the darker pixel
      {false, Grey(0), Grey(255), Grey(0)},
      {false, {0, 0, 255}, {1, 0, 0}, {0, 0, 255}},  // pure red weighs nothing
      {false, {0, 1, 7}, {0, 1, 9}, {0, 1, 9}},      // a tie keeps the target
      {true, Grey(255), Grey(0), Grey(255)},          // keeps the lighter pixel
      {true, Grey(0), Grey(255), Grey(255)},
  };
  for (const Case& c : cases) {
    auto to = SolidPicture(2, 2, c.to);
    if (c.darkest) {
      p.AddDarkest(*SolidPicture(2, 2, c.from), *to);
    } else {
      p.AddLightest(*SolidPicture(2, 2, c.from), *to);
    }
    EXPECT_TRUE(SamePicture(*to, *SolidPicture(2, 2, c.result)));
  }
}

TEST_F(Combination, SumsClampToAByteAndNameChannelsByTheirByte) {
  auto to = Columns({{100, 50, 10}, {200, 0, 3}});
  p.AddImages(*Columns({{200, 20, 30}, {100, 10, 0}}), *to, 1, 0, 0, 0, 1, 0, 0, 0);
  EXPECT_TRUE(SamePicture(*to, *Columns({{255, 70, 40}, {255, 10, 3}})));
  // A difference clamped at 0; the offsets ...R, ...G, ...B act on bytes 0, 1 and 2.
  p.AddImages(*Columns({{10, 10, 10}, {0, 0, 0}}), *to, 1, 5, 0, 100, -1, 0, 0, 0);
  EXPECT_TRUE(SamePicture(*to, *Columns({{0, 0, 70}, {0, 0, 97}})));

  auto target = SolidPicture(2, 1, {1, 2, 3});
  p.AddImagesChannel(*SolidPicture(2, 1, {10, 20, 30}), *target, 0, 1, 0, 1, 0, 1);
  EXPECT_TRUE(SamePicture(*target, *SolidPicture(2, 1, {1, 20, 3})));
  p.AddImagesChannel(*SolidPicture(2, 1, {200, 20, 30}), *target, 2, 0, 0, 0, 0, -1);
  EXPECT_TRUE(SamePicture(*target, *SolidPicture(2, 1, {255, 0, 0})));

  // A source smaller than the target: refused before anything changes.
  EXPECT_EQ(ErrorOf([&] { p.AddLightest(*SolidPicture(1, 1, {}), *target); }).Number(),
            err::kSubscriptOutOfRange);
  EXPECT_TRUE(SamePicture(*target, *SolidPicture(2, 1, {255, 0, 0})));
}

TEST_F(Combination, PastingKeysOutBlackOrTheCornerColour) {
  // Rows listed from the top: the pasted row lands on memory row 1 (device row 1 of 3).
  auto to = SolidPicture(3, 3, Grey(50));
  p.AddSmallImage(*Columns({{0, 0, 0}, {0, 255, 254}, {5, 5, 5}}), *to, 9, 9, 9, 9, 9, 9, 9, 9, 1);
  EXPECT_TRUE(SamePicture(*to, *MakePicture(3, 3, [](int x, int y) {
    if (y != 1 || x == 0) return Grey(50);
    return x == 1 ? Bgr{0, 255, 255} : Bgr{5, 6, 7};
  })));
  EXPECT_EQ(ErrorOf([&] { p.AddSmallImage(*SolidPicture(3, 3, Grey(1)), *to, 0, 0, 0, 0, 0, 0, 0, 0, 1); }).Number(),
            err::kSubscriptOutOfRange);

  // The bottom-left pixel's colour is the key; others are averaged in, halves to even.
  auto target = SolidPicture(4, 2, Grey(100));
  p.AddSmallImageEx(*Columns({{7, 7, 7}, {201, 201, 201}, {7, 7, 7}}), *target, 1, 1, 1, 1);
  EXPECT_TRUE(SamePicture(*target, *MakePicture(4, 2, [](int x, int y) {
    return Grey(x == 2 && y == 0 ? 150 : 100);
  })));
  EXPECT_EQ(ErrorOf([&] { p.AddSmallImageEx(*Columns({{7, 7, 7}, {1, 1, 1}}), *target, 1, -1, 0, 0); }).Number(),
            err::kDivisionByZero);
}

TEST_F(Combination, FadeScalesEveryByteAndWraps) {
  auto picture = Columns({{255, 1, 128}, {0, 2, 254}});
  p.Fade(*picture, 128);
  EXPECT_TRUE(SamePicture(*picture, *Columns({{128, 0, 64}, {0, 1, 127}})));
  picture = Columns({{255, 10, 0}});
  p.Fade(*picture, 510);  // 510 x 255 / 255 = 510 keeps its low 8 bits
  EXPECT_TRUE(SamePicture(*picture, *Columns({{254, 20, 0}})));
}

TEST_F(Combination, StackPastesAndSoftensTheSeamFromItsLowerLeftCorner) {
  // The left half of the pasted picture has channel sums 1 (transparent with 0), the right half
  // grey 100. The mask changes between pixels 5 and 6, so pixels 4 and 5 of memory row 0 are
  // softened: 100 x (0.075 + 0.1 + 0.075) = 25 and 100 x (1 - 0.075 - 0.1 - 0.075) = 75. Only
  // memory row 0 lies low enough for the 3 x 3 window.
  const int W = 12, H = 3;
  p.CopyToArray(*MakePicture(W, H, [](int x, int) { return x < 6 ? Bgr{1, 0, 0} : Grey(100); }));
  auto picture = SolidPicture(W, H, Grey(0));
  p.Stack(*picture, 0);
  EXPECT_TRUE(SamePicture(*picture, *MakePicture(W, H, [](int x, int y) {
    if (y == H - 1 && x == 4) return Grey(25);
    if (y == H - 1 && x == 5) return Grey(75);
    return Grey(x < 6 ? 0 : 100);
  })));
  // With a negative value the mask decides; a missing mask is an invalid argument.
  EXPECT_EQ(ErrorOf([&] { p.Stack(*picture, -1); }).Number(), err::kInvalidArgument);
  auto larger = SolidPicture(W + 1, H, Grey(0));
  EXPECT_EQ(ErrorOf([&] { p.Stack(*larger, 0); }).Number(), err::kSubscriptOutOfRange);
}

TEST_F(Combination, StackAlphaBlendsThroughTheAlphaPictureAtAnOffset) {
  auto picture = SolidPicture(4, 3, Grey(100));
  const auto from = Columns({{200, 200, 200}, {0, 0, 0}, {10, 20, 30}}, 2);
  const auto alpha = Columns({Grey(128), Grey(255), Grey(255)}, 2);
  // Columns 1 ... 3 (the source is 3 wide), memory rows 1 ... 2 (none cut off at the top).
  p.StackAlpha(*picture, 60, 0, 3, 1, 1, *alpha, *from);
  // 200 x 128/255 + 100 x 127/255 = 150.2 -> 150; black is skipped; the channel sum 60 too.
  EXPECT_TRUE(SamePicture(*picture, *MakePicture(4, 3, [](int x, int y) {
    return Grey(x == 1 && y <= 1 ? 150 : 100);
  })));
  EXPECT_EQ(ErrorOf([&] { p.StackAlpha(*picture, 0, -1, 3, 1, 1, *alpha, *from); }).Number(),
            err::kSubscriptOutOfRange);
}

}  // namespace
}  // namespace qv::test
