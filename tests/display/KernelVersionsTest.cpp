// Every pixel kernel that has a fast version against its plain version (the one it runs under
// PlainKernels): the same random inputs, in pictures whose rows are padded so that the stride is
// not three times the width and whose last row ends where their memory ends (so that the
// sanitizers see a read past it); the same bytes out, padding included; the same errors and sums.
// A failure names the kernel and the picture, and prints the largest difference and where it is.
#include <gtest/gtest.h>

#include <QImage>

#include <cstdlib>
#include <functional>
#include <iterator>
#include <limits>
#include <random>
#include <string>
#include <vector>

#include "base/CpuFeatures.h"
#include "display/WindowImage.h"
#include "image/Canvas.h"
#include "image/Picture.h"
#include "image/RowGather.h"
#include "imageproc/AbsoluteDifferences.h"
#include "imageproc/ImageProcessor.h"
#include "stereo/AnaglyphMerge.h"
#include "support/TestSupport.h"

namespace qv::test {
namespace {

constexpr int32_t kMaxInt = std::numeric_limits<int32_t>::max();

struct Shape {
  int32_t width, height, padding;  // padding: row bytes beyond 3 x width
};

// What a kernel left behind: the memory it may write (with the padding around the pixels), the
// error number it raised (0 for none) and a number it gave back.
struct Outcome {
  std::vector<uint8_t> bytes;
  int32_t stride = 1;  // of `bytes`, for saying where a difference lies
  int32_t pixelBytes = 3;
  int32_t error = 0;
  int64_t number = 0;
};

// Pixel memory laid out by hand, every byte random, padding included.
struct PaddedGrid {
  std::vector<uint8_t> memory;
  PixelGrid grid;

  PaddedGrid(int32_t width, int32_t height, int32_t padding, std::mt19937& random) {
    const int32_t stride = 3 * width + padding;
    memory.resize(static_cast<size_t>(stride) * (height - 1) + 3 * static_cast<size_t>(width));
    for (uint8_t& b : memory) b = static_cast<uint8_t>(random());
    grid = PixelGrid{memory.data(), width, height, stride};
  }
  Outcome Result(int64_t number = 0) const { return Outcome{memory, grid.stride, 3, 0, number}; }
};

::testing::AssertionResult SameOutcome(const Outcome& plain, const Outcome& fast) {
  if (plain.error != fast.error || plain.number != fast.number) {
    return ::testing::AssertionFailure()
           << "plain: error " << plain.error << ", number " << plain.number << "; fast: error "
           << fast.error << ", number " << fast.number;
  }
  if (plain.bytes.size() != fast.bytes.size()) {
    return ::testing::AssertionFailure()
           << plain.bytes.size() << " bytes, fast " << fast.bytes.size();
  }
  size_t differing = 0, worst = 0;
  int largest = 0;
  for (size_t i = 0; i < plain.bytes.size(); ++i) {
    const int difference = std::abs(plain.bytes[i] - fast.bytes[i]);
    differing += difference != 0;
    if (difference > largest) largest = difference, worst = i;
  }
  if (differing == 0) return ::testing::AssertionSuccess();
  const size_t row = worst / static_cast<size_t>(plain.stride);
  const size_t column = worst % static_cast<size_t>(plain.stride);
  return ::testing::AssertionFailure()
         << differing << " bytes differ; the largest difference, " << largest << " (plain "
         << int{plain.bytes[worst]} << ", fast " << int{fast.bytes[worst]} << "), is in memory row "
         << row << " at byte " << column << " (pixel " << column / plain.pixelBytes << ", byte "
         << column % plain.pixelBytes << " of it)";
}

struct Kernel {
  std::string name;
  int variants;
  std::function<Outcome(const Shape&, int variant, std::mt19937& random)> run;
};

// Variants: grey, colour, yellow.
Outcome AnaglyphRows(const Shape& s, int variant, std::mt19937& random) {
  const AnaglyphKind kinds[] = {AnaglyphKind::Gray, AnaglyphKind::Colour, AnaglyphKind::Yellow};
  // The right view is narrower: the rest of each row comes from the left view alone.
  const int32_t both = s.width - s.width / 4;
  const PaddedGrid left(s.width, s.height, s.padding, random);
  const PaddedGrid right(both, s.height, s.padding + 5, random);
  PaddedGrid out(s.width, s.height, s.padding, random);
  const AnaglyphRow row = FastAnaglyphRow(kinds[variant]);
  for (int32_t y = 0; y < s.height; ++y) {
    row(out.grid.MemoryRow(y), left.grid.MemoryRow(y), right.grid.MemoryRow(y), both,
        s.width - both);
  }
  return out.Result();
}

// Variants: shrinking, any columns, mirrored.
Outcome GatheredRows(const Shape& s, int variant, std::mt19937& random) {
  const int32_t sourceWidth = s.width + s.width / 2 + 1;
  std::vector<int32_t> columns(static_cast<size_t>(s.width));
  for (int32_t x = 0; x < s.width; ++x) {
    const int32_t shrunk = static_cast<int32_t>(int64_t{x} * (sourceWidth - 1) / s.width);
    columns[static_cast<size_t>(x)] = variant == 0   ? shrunk
                                      : variant == 1 ? static_cast<int32_t>(random() % sourceWidth)
                                                     : sourceWidth - 1 - shrunk;
  }
  const PaddedGrid source(sourceWidth, s.height, s.padding, random);
  PaddedGrid dest(s.width, s.height, s.padding, random);
  const RowGatherPlan plan(columns, sourceWidth, true);
  for (int32_t y = 0; y < s.height; ++y)
    plan.Gather(source.grid.MemoryRow(y), dest.grid.MemoryRow(y));
  return dest.Result();
}

// Variants: four shapes of stretch (as the sync-doubled output shrinks a view, enlarging, in
// height only, cut by both pictures' edges) times the four raster operations.
Outcome NearestStretch(const Shape& s, int variant, std::mt19937& random) {
  const int32_t w = s.width, h = s.height;
  struct Geometry {
    int32_t sourceWidth, sourceHeight, x, y, sx, sy;
  };
  const Geometry geometries[] = {{w + w / 8 + 1, 2 * h + 1, 0, 0, 0, 0},
                                 {w / 2 + 1, h / 2 + 1, 0, 0, 0, 0},
                                 {w, 2 * h + 1, 0, 0, 0, 0},
                                 {w + 3, h + 2, -(w / 3), h / 2, 1, -1}};
  const uint32_t rops[] = {SRCCOPY, SRCPAINT, SRCAND, SRCINVERT};
  const Geometry& g = geometries[variant / 4];
  const PaddedGrid source(g.sourceWidth, g.sourceHeight, s.padding + 2, random);
  PaddedGrid dest(w, h, s.padding, random);
  Canvas from, to;
  from.Select(source.grid);
  to.Select(dest.grid);
  to.SetStretchMode(COLORONCOLOR);
  const bool done = Stretch(&to, g.x, g.y, w, h, &from, g.sx, g.sy, g.sourceWidth, g.sourceHeight,
                            rops[variant % 4]);
  return dest.Result(done);
}

// A picture of w x h made through the picture type (stride: the width's bytes rounded up to four),
// every byte random, its row padding too.
PictureRef RandomPicture(int32_t w, int32_t h, std::mt19937& random, int limit = 256) {
  auto picture = std::make_shared<Picture>();
  picture->Create(w, h);
  uint8_t* bits = picture->Bits();
  for (int64_t i = 0; i < int64_t{picture->BytesPerScanLine()} * h; ++i) {
    bits[i] = static_cast<uint8_t>(random() % static_cast<uint32_t>(limit));
  }
  return picture;
}

// The picture's memory, padding included, and the error number a kernel raised on it.
Outcome WholePicture(const Picture& picture, int32_t error) {
  const uint8_t* bits = picture.Bits();
  return Outcome{
      std::vector<uint8_t>(bits, bits + int64_t{picture.BytesPerScanLine()} * picture.Height()),
      picture.BytesPerScanLine(), 3, error, 0};
}

// Variants: divisors whose levels all fit, and divisors with failing sums, where the walk stops at
// the first failing pixel. Pixels are random with sums up to the largest that fits, and one in
// thirty has the largest sum that fits or the smallest that fails.
Outcome GreyLevels(const Shape& s, int variant, std::mt19937& random) {
  struct Divisor {
    int32_t divisor, largestFitting;
  };
  const Divisor divisors[] = {{3, 765}, {7, 765}, {1531, 765}, {2, 510}, {1, 255}, {-3, 1}};
  const auto [divisor, largest] = divisors[variant];
  const PictureRef picture = RandomPicture(s.width, s.height, random, largest / 3 + 1);
  const PixelGrid grid = picture->Grid();
  for (int32_t y = 0; y < s.height; ++y) {
    for (uint8_t* p = grid.MemoryRow(y); p < grid.MemoryRow(y) + 3 * s.width; p += 3) {
      if (random() % 30 != 0 || largest == 765) continue;
      const int32_t sum = largest + static_cast<int32_t>(random() % 2);
      p[0] = static_cast<uint8_t>(sum / 3);
      p[1] = static_cast<uint8_t>(sum / 3);
      p[2] = static_cast<uint8_t>(sum - 2 * (sum / 3));
    }
  }
  ImageProcessor process;
  const int32_t error = ErrorOf([&] { process.GrayScale(*picture, divisor); }).Number();
  return WholePicture(*picture, error);
}

// Variants: Brightness, then Contrast, at amounts that round halves, reach the ends of the 16-bit
// arithmetic and pass them.
Outcome Tone(const Shape& s, int variant, std::mt19937& random) {
  constexpr int32_t amounts[] = {0, 1, 50, 99, 110, 150, 255, 256, 257, -3};
  const int32_t amount = amounts[variant % std::size(amounts)];
  const PictureRef picture = RandomPicture(s.width, s.height, random);
  ImageProcessor process;
  const int32_t error = ErrorOf([&] {
                          if (variant < static_cast<int>(std::size(amounts))) {
                            process.Brightness(*picture, amount);
                          } else {
                            process.Contrast(*picture, amount);
                          }
                        }).Number();
  return WholePicture(*picture, error);
}

// Variants: amplitudes that the 32-bit arithmetic covers, its largest, and one past it.
Outcome Noise(const Shape& s, int variant, std::mt19937& random) {
  constexpr int32_t percents[] = {20, 100, 101};
  const PictureRef picture = RandomPicture(s.width, s.height, random);
  ImageProcessor process;
  process.SeedNoise(random());
  const int32_t error = ErrorOf([&] { process.AddNoise(*picture, percents[variant]); }).Number();
  return WholePicture(*picture, error);
}

Outcome WindowImage(const Shape& s, int, std::mt19937& random) {
  const PaddedGrid source(s.width, s.height, s.padding, random);
  QImage image;
  ToWindowImage(source.grid, image);
  Outcome outcome;
  outcome.stride = 4 * s.width;
  outcome.pixelBytes = 4;
  for (int32_t y = 0; y < image.height(); ++y) {
    const uchar* line = image.constScanLine(y);
    outcome.bytes.insert(outcome.bytes.end(), line, line + 4 * s.width);
  }
  return outcome;
}

// Variants: values that are bytes; the same from a count that passes the 32-bit limit part way;
// values around the bytes' range, negative ones too; any 32-bit values; a picture cut from a
// wider one, read in place with that one's stride.
Outcome Correlation(const Shape& s, int variant, std::mt19937& random) {
  PictureRef picture = RandomPicture(s.width, s.height, random);
  if (variant == 4) {
    if (PictureRef view =
            RandomPicture(2 * s.width + 3, s.height, random)->CropView(s.height, s.width, 1, 0)) {
      picture = view;
    }
  }
  PixelArray values;
  values.ReDim(3 * int64_t{s.width} + 1, s.height);
  for (int32_t y = 0; y < s.height; ++y) {
    for (int32_t i = 0; i < values.Cols(); ++i) {
      values(i, y) = variant == 2   ? static_cast<int32_t>(random() % 2001) - 1000
                     : variant == 3 ? static_cast<int32_t>(random())
                                    : static_cast<int32_t>(random() % 256);
    }
  }
  // Random bytes differ by 85 on average.
  int32_t count = variant == 1 ? kMaxInt - 3 * s.width * s.height * 40 : -7;
  ImageProcessor process;
  Outcome outcome;
  outcome.error = ErrorOf([&] { process.Correlate(*picture, values, count); }).Number();
  outcome.number = count;
  // Where the sum passes the limit, Correlate walks it again the plain way: the row sums are
  // compared as well, so that a fast sum too large cannot hide behind that walk.
  const PixelGrid grid = picture->ReadGrid();
  for (int32_t y = 0; y < s.height; ++y) {
    const uint64_t sum = SumOfAbsoluteDifferences(values.Row(y), grid.MemoryRow(y), 3 * s.width);
    for (int shift = 0; shift < 64; shift += 8)
      outcome.bytes.push_back(static_cast<uint8_t>(sum >> shift));
  }
  outcome.stride = 8;
  outcome.pixelBytes = 8;
  return outcome;
}

const std::vector<Kernel>& Kernels() {
  static const std::vector<Kernel> kernels = {
      {"anaglyph rows", 3, AnaglyphRows},
      {"row gather", 3, GatheredRows},
      {"nearest-pixel stretch", 16, NearestStretch},
      {"GrayScale", 6, GreyLevels},
      {"ToWindowImage", 1, WindowImage},
      {"Brightness and Contrast", 20, Tone},
      {"AddNoise", 3, Noise},
      {"Correlate", 5, Correlation},
  };
  return kernels;
}

TEST(KernelVersions, FastVersionsGiveThePlainVersionsBytesErrorsAndNumbers) {
  // Widths around the vector steps (4, 8, 16 pixels) and the reach of their loads.
  const int32_t widths[] = {1, 2, 3, 5, 7, 8, 10, 11, 12, 13, 17, 19, 21, 31, 33, 67, 130, 1283};
  const int32_t paddings[] = {1, 2, 7, 29};
  for (const Kernel& kernel : Kernels()) {
    int failures = 0;
    for (size_t k = 0; k < std::size(widths) && failures < 3; ++k) {
      for (const int32_t height : {1, 2, 5}) {
        const Shape shape{widths[k], height,
                          paddings[(k + static_cast<size_t>(height)) % std::size(paddings)]};
        for (int variant = 0; variant < kernel.variants; ++variant) {
          const auto seed = static_cast<uint32_t>(1000 * shape.width + 10 * height + variant);
          Outcome plain;
          {
            PlainKernels only;
            std::mt19937 random(seed);
            plain = kernel.run(shape, variant, random);
          }
          std::mt19937 random(seed);
          const Outcome fast = kernel.run(shape, variant, random);
          const ::testing::AssertionResult same = SameOutcome(plain, fast);
          if (!same) {
            ++failures;
            ADD_FAILURE() << kernel.name << ", variant " << variant << ", " << shape.width << " x "
                          << shape.height << " pixels, stride " << 3 * shape.width << " + "
                          << shape.padding << ": " << same.message();
          }
        }
      }
    }
  }
}

TEST(KernelVersions, PlainKernelsHidesEveryFeatureUntilTheOutermostEnds) {
  const CpuFeatureSet detected = CpuFeatures();
  EXPECT_TRUE(detected.vectors);
  {
    PlainKernels outer;
    { PlainKernels inner; }
    const CpuFeatureSet& hidden = CpuFeatures();
    EXPECT_FALSE(hidden.vectors || hidden.ssse3 || hidden.avx2);
  }
  EXPECT_EQ(CpuFeatures().avx2, detected.avx2);
  EXPECT_EQ(CpuFeatures().ssse3, detected.ssse3);
  EXPECT_TRUE(CpuFeatures().vectors);
}

}  // namespace
}  // namespace qv::test
