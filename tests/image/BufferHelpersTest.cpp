// The buffer helpers: copying, cropping and resampling through references, the smaller of the two
// views, and rows sorted even before odd.
#include <gtest/gtest.h>

#include "image/BufferHelpers.h"
#include "support/TestSupport.h"

namespace qv {
namespace {

TEST(BufferHelpers, CopyDibEmptiesTheOldPictureOnlyWhenAsked) {
  auto source = test::PatternPicture(5, 4);
  PictureRef destination = test::SolidPicture(2, 2, {1, 2, 3});
  PictureRef otherHolder = destination;
  CopyDIB(source, destination, false);
  EXPECT_TRUE(test::SamePicture(*destination, *source));
  EXPECT_EQ(otherHolder->Width(), 2);  // intact for its other holders
  EXPECT_NE(otherHolder->Bits(), nullptr);

  PictureRef second = otherHolder;
  CopyDIB(source, second, true);
  EXPECT_EQ(otherHolder->Bits(), nullptr);  // emptied for every holder
  EXPECT_TRUE(test::SamePicture(*second, *source));

  PictureRef none;
  EXPECT_THROW(CopyDIB(none, destination, false), AppError);
}

TEST(BufferHelpers, CropAndResampleReplaceTheReference) {
  auto source = test::PatternPicture(6, 6);
  PictureRef destination;
  CropDIB(source, destination, 2, 3, 1, 1, true);
  ASSERT_TRUE(destination);
  EXPECT_TRUE(test::SamePicture(*destination, *source->Crop(2, 3, 1, 1)));

  PictureRef tiny = test::SolidPicture(1, 1, {1, 1, 1});
  CropDIB(tiny, destination, 1, 1, 0, 0, false);
  EXPECT_EQ(destination, nullptr);

  PictureRef buffer = test::PatternPicture(4, 4);
  PictureRef holder = buffer;
  ResampleDIB(buffer, 8, 8, false);
  EXPECT_EQ(buffer->Width(), 8);
  EXPECT_EQ(holder->Bits(), nullptr);  // the old picture is always emptied
}

TEST(BufferHelpers, MinViewSizesTakeTheSmallerOfTheTwoViews) {
  std::array<PictureRef, 2> views = {test::SolidPicture(640, 10, {}), test::SolidPicture(642, 8, {})};
  EXPECT_EQ(MinViewWidth(views), 640);
  EXPECT_EQ(MinViewHeight(views), 8);
  views = {nullptr, test::SolidPicture(7, 3, {})};
  EXPECT_EQ(MinViewWidth(views), 0);  // an empty view is created on demand
  EXPECT_NE(views[0], nullptr);
}

TEST(BufferHelpers, DeinterleaveRowsSortsEvenRowsBeforeOddRows) {
  // Four rows A, B, C, D of two pixels, and a fifth row that an odd height drops.
  std::vector<uint8_t> source(5 * 6);
  for (int row = 0; row < 5; ++row) std::fill_n(source.begin() + 6 * row, 6, 'A' + row);
  std::vector<uint8_t> out(5 * 6, 0);
  DeinterleaveRows(out.data(), source.data(), 2, 4);
  EXPECT_EQ(std::string(out.begin(), out.begin() + 24), std::string("AAAAAACCCCCCBBBBBBDDDDDD"));
  std::fill(out.begin(), out.end(), 0);
  DeinterleaveRows(out.data(), source.data(), 2, 5);
  EXPECT_EQ(std::string(out.begin(), out.begin() + 24), std::string("AAAAAACCCCCCBBBBBBDDDDDD"));
  EXPECT_EQ(out[24], 0);
}

}  // namespace
}  // namespace qv
