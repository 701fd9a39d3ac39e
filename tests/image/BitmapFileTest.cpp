// Bitmaps as bytes: packed DIBs, BMP files written and read back, files that are missing, foreign
// or damaged, and the bitmap made from the shared pixel array.
#include <gtest/gtest.h>

#include "image/PixelArrays.h"
#include "image/BitmapFile.h"
#include "support/TestSupport.h"

namespace qv::test {
namespace {

// A packed DIB: the 40-byte header followed by the pixel bytes.
std::vector<uint8_t> Packed(int32_t width, int32_t height, uint16_t bits, uint32_t imageSize,
                            const std::vector<uint8_t>& pixels) {
  BitmapInfoHeader h;
  h.biWidth = width;
  h.biHeight = height;
  h.biPlanes = 1;
  h.biBitCount = bits;
  h.biSizeImage = imageSize;
  const auto header = h.ToBytes();
  std::vector<uint8_t> out(header.size() + pixels.size());
  std::copy(header.begin(), header.end(), out.begin());
  std::copy(pixels.begin(), pixels.end(), out.begin() + static_cast<long>(header.size()));
  return out;
}

// The BMP file of a picture, as SavePicture writes it.
std::string Bmp(const Picture& picture) {
  TempDir dir;
  picture.SavePicture(dir.File("p.bmp"));
  return ReadFile(dir.File("p.bmp"));
}

TEST(PackedDib, BecomesAPictureByteForByteOrIsRefusedWhenEmptyOrInconsistent) {
  RecordingSink sink;
  std::vector<uint8_t> pixels(16);
  for (int i = 0; i < 16; ++i) pixels[i] = static_cast<uint8_t>(10 + i);
  BitmapFile dib;
  Picture made;
  ASSERT_TRUE(dib.CreateDIBSectionFromPackedDIBPointer(Packed(2, 2, 24, 16, pixels).data(), made));
  EXPECT_EQ(made.Width(), 2);
  EXPECT_TRUE(std::equal(pixels.begin(), pixels.end(), made.Bits()));

  auto section = SolidPicture(3, 3, {9, 9, 9});
  EXPECT_FALSE(dib.CreateDIBSectionFromPackedDIBPointer(Packed(2, 2, 24, 0, {}).data(), *section));
  EXPECT_EQ(section->Width(), 3);  // left as it was
  EXPECT_TRUE(sink.messages.empty());

  EXPECT_FALSE(dib.CreateDIBSectionFromPackedDIBPointer(nullptr, *section));
  // A header that claims more bytes than its size holds, and one with an impossible size.
  std::vector<uint8_t> many(64, 1);
  EXPECT_FALSE(
      dib.CreateDIBSectionFromPackedDIBPointer(Packed(2, 2, 24, 64, many).data(), *section));
  EXPECT_FALSE(
      dib.CreateDIBSectionFromPackedDIBPointer(Packed(-5, 2, 24, 16, many).data(), *section));
  ASSERT_EQ(sink.messages.size(), 3u);
  EXPECT_EQ(sink.messages[0].text, "An error occurred while unpacking the packed Bitmap.");
  const std::string routine = "An error occurred in CreateDIBSectionFromPackedDIBPointer. ";
  EXPECT_EQ(sink.messages[1].text, routine + "Subscript out of range");
  EXPECT_EQ(sink.messages[2].text.rfind(routine, 0), 0u);
}

TEST(PackedDib, CopiesSwapsAndDeinterleaves) {
  RecordingSink sink;
  BitmapFile dib;
  EXPECT_FALSE(dib.CreateFromPackedDIBPointer(Packed(2, 2, 8, 4, {1, 2, 3, 4}).data(), false));
  EXPECT_EQ(sink.Texts(), std::vector<std::string>{"Error! DIB was less than 16 colors."});

  // Width 4 makes rows of 12 bytes without padding; rows A, B, C, D in memory order.
  std::vector<uint8_t> rows;
  for (char r : {'A', 'B', 'C', 'D'}) rows.insert(rows.end(), 12, static_cast<uint8_t>(r));
  ASSERT_TRUE(dib.CreateFromPackedDIBPointer(Packed(4, 4, 24, 48, rows).data(), true));
  EXPECT_EQ(
      std::string(dib.PointerToBits(), dib.PointerToBits() + 48),
      std::string(12, 'A') + std::string(12, 'C') + std::string(12, 'B') + std::string(12, 'D'));
  EXPECT_EQ(std::tuple(dib.FileType(), dib.BitOffset(), dib.SizeFileHeader(), dib.SizeBitmapInfo()),
            std::tuple(0x4D42, 54, 54 + 48, 40));

  ASSERT_TRUE(dib.CreateRGBFromPackedDIBPointer(Packed(1, 1, 24, 4, {1, 2, 3, 4}).data(), false));
  EXPECT_EQ(std::vector<uint8_t>(dib.PointerToBits(), dib.PointerToBits() + 4),
            (std::vector<uint8_t>{3, 2, 1, 4}));
  EXPECT_EQ(sink.messages.size(), 1u);
}

TEST(BmpFile, RoundTripsThroughSavePictureAndWriteToFile) {
  TempDir dir;
  auto picture = PatternPicture(5, 3);
  ASSERT_TRUE(picture->SavePicture(dir.File("a.bmp")));
  BitmapFile dib;
  ASSERT_TRUE(dib.CreateFromFile(dir.File("a.bmp")));
  EXPECT_EQ(std::tuple(dib.Width(), dib.Height(), dib.BitCount(), dib.SizeImage()),
            std::tuple(5, 3, 24, 48));
  Picture copy;
  ASSERT_TRUE(copy.Create(5, 3));
  dib.CopyToSection(copy);
  EXPECT_TRUE(SamePicture(copy, *picture));
  ASSERT_TRUE(dib.WriteToFile(dir.File("b.bmp")));
  EXPECT_EQ(ReadFile(dir.File("b.bmp")), Bmp(*picture));

  Picture small;
  ASSERT_TRUE(small.Create(2, 2));
  EXPECT_THROW(dib.CopyToSection(small), AppError);

  BitmapFile fromSection;
  fromSection.CreateFromSection(*picture);
  ASSERT_TRUE(fromSection.WriteToFile(dir.File("c.bmp")));
  EXPECT_EQ(ReadFile(dir.File("c.bmp")), Bmp(*picture));
}

TEST(BmpFile, ReportsMissingForeignAndDamagedFiles) {
  TempDir dir;
  RecordingSink sink;
  BitmapFile dib;
  EXPECT_FALSE(dib.CreateFromFile(dir.File("none.bmp")));
  ASSERT_EQ(sink.messages.size(), 1u);
  EXPECT_EQ(std::tuple(sink.messages[0].text, sink.messages[0].style, sink.messages[0].title),
            std::tuple("File does not exist:\n" + dir.File("none.bmp"), msg::kCritical, "Quorvex"));

  const std::string good = Bmp(*PatternPicture(5, 3));
  std::string huge = good, offset = good;
  huge.replace(34, 4, 4, '\xFF');  // a huge claimed picture
  offset[10] = 3;                  // the pixels inside the file header
  const std::string foreign = "File is not a supported bitmap format:\n";
  const std::string damaged = "File is damaged or truncated - cannot read:\n";
  const std::pair<std::string, std::string> cases[] = {
      {"BA" + std::string(14, '\0'), foreign},
      {"", foreign},
      {good.substr(0, 54 + 20), damaged},  // the header claims 48 pixel bytes, 20 are there
      {huge, damaged},
      {offset, damaged}};
  for (size_t i = 0; i < std::size(cases); ++i) {
    SCOPED_TRACE("case " + std::to_string(i));
    const std::string file = dir.File(std::to_string(i) + ".bmp");
    WriteFile(file, cases[i].first);
    sink.messages.clear();
    EXPECT_FALSE(dib.CreateFromFile(file));
    ASSERT_EQ(sink.messages.size(), 1u);
    EXPECT_EQ(std::pair(sink.messages[0].text, sink.messages[0].style),
              std::pair(cases[i].second + file, msg::kInformation));
  }
  EXPECT_FALSE(dib.CreateFromFile(dir.Path().string()));  // a folder
  EXPECT_EQ(sink.messages.size(), 2u);
}

TEST(BmpFile, PicarrayBecomesAPaddedBitmapOfTheLowBytes) {
  PixelArray shared;
  shared.ReDim(3 * 2 + 1, 1);
  const int32_t values[] = {1, 2, 3, 256 + 4, 5, -1};
  for (int i = 0; i < 6; ++i) shared(i, 0) = values[i];
  BitmapFile dib;
  dib.CreateFromPicarray(shared);
  EXPECT_EQ(std::tuple(dib.Width(), dib.Height(), dib.SizeImage()), std::tuple(2, 1, 8));
  EXPECT_EQ(std::vector<uint8_t>(dib.PointerToBits(), dib.PointerToBits() + 8),
            (std::vector<uint8_t>{1, 2, 3, 4, 5, 255, 0, 0}));
}

}  // namespace
}  // namespace qv::test
