// The buffer helpers: copying, cropping and resampling through references, and rows sorted even
// before odd. (The smaller of two views' sizes is checked with the side-by-side composer.)
#include <gtest/gtest.h>

#include "image/BufferHelpers.h"
#include "support/TestSupport.h"

namespace qv::test {
namespace {

TEST(BufferHelpers, CopyDibEmptiesTheOldPictureOnlyWhenAsked) {
  auto source = PatternPicture(5, 4);
  PictureRef destination = SolidPicture(2, 2, {1, 2, 3});
  PictureRef otherHolder = destination;
  CopyDIB(source, destination, false);
  EXPECT_TRUE(SamePicture(*destination, *source));
  EXPECT_EQ(otherHolder->Width(), 2);  // intact for its other holders
  EXPECT_NE(otherHolder->Bits(), nullptr);

  PictureRef second = otherHolder;
  CopyDIB(source, second, true);
  EXPECT_EQ(otherHolder->Bits(), nullptr);  // emptied for every holder
  EXPECT_TRUE(SamePicture(*second, *source));

  PictureRef none;
  EXPECT_THROW(CopyDIB(none, destination, false), AppError);
}

TEST(BufferHelpers, CropAndResampleReplaceTheReference) {
  auto source = PatternPicture(6, 6);
  PictureRef destination;
  CropDIB(source, destination, 2, 3, 1, 1, true);
  ASSERT_TRUE(destination);
  EXPECT_TRUE(SamePicture(*destination, *source->Crop(2, 3, 1, 1)));

  PictureRef tiny = SolidPicture(1, 1, {1, 1, 1});
  CropDIB(tiny, destination, 1, 1, 0, 0, false);
  EXPECT_EQ(destination, nullptr);

  PictureRef buffer = PatternPicture(4, 4);
  PictureRef holder = buffer;
  ResampleDIB(buffer, 8, 8, false);
  EXPECT_EQ(buffer->Width(), 8);
  EXPECT_EQ(holder->Bits(), nullptr);  // the old picture is always emptied
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
}  // namespace qv::test
