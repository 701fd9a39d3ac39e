// Interlace kernels, convolution and noise filters, tone and colour, and test patterns on pictures
// small enough to predict by hand; the row-by-row filters against neighbourhoods worked out by
// their definitions.
#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

#include "imageproc/ImageProcessor.h"
#include "support/TestSupport.h"

namespace qv::test {
namespace {


// Byte (i, memory row y), rows counted from the bottom.
uint8_t& At(const Picture& p, int i, int y) { return p.Grid().MemoryRow(y)[i]; }

using Library = With<ImageProcessor>;

// --- Interlace kernels ---

TEST_F(Library, InterlaceKernelsWeaveAndSortRowsAndColumns) {
  // Grey levels of one column (bottom row first) or one row (left column first). Weaving takes
  // rows 0 and 1 (b is S row H' = 1), or pixels 0 and W' = 1; sorting takes rows 0, 2, 4, then
  // 3, 5 and leaves the last. An odd height reads a row past the array: refused before anything
  // is written.
  struct Case {
    void (ImageProcessor::*run)(Picture&);
    bool rows;
    std::vector<int> source, expected;
    int error;
  } cases[] = {
      {&ImageProcessor::CreateInterlace, true, {10, 20, 30, 40}, {10, 20, 1, 1}, 0},
      {&ImageProcessor::CreateInterlaceVert, false, {10, 20, 30, 40}, {10, 20, 1, 1}, 0},
      {&ImageProcessor::DeInterleave, true, {10, 11, 12, 13, 14, 15}, {10, 12, 14, 13, 15, 1}, 0},
      {&ImageProcessor::DeVertInterleave, false, {10, 11, 12, 13, 14, 15}, {10, 12, 14, 13, 15, 1}, 0},
      {&ImageProcessor::DeInterleave, true, {10, 11, 12}, {1, 1, 1}, err::kSubscriptOutOfRange},
  };
  for (const Case& c : cases) {
    const int n = static_cast<int>(c.source.size());
    auto line = [&](const std::vector<int>& levels) {
      return MakePicture(c.rows ? 1 : n, c.rows ? n : 1, [&](int x, int y) {
        return Grey(static_cast<uint8_t>(levels[static_cast<size_t>(c.rows ? n - 1 - y : x)]));
      });
    };
    p.CopyToArray(*line(c.source));
    auto out = line(std::vector<int>(c.source.size(), 1));
    EXPECT_EQ(ErrorOf([&] { (p.*c.run)(*out); }).Number(), c.error);
    EXPECT_TRUE(SamePicture(*out, *line(c.expected))) << &c - cases;
  }
}

TEST_F(Library, LenticularTakesViewsInTurnUnderEachLens) {
  // Width 9, one inch at 2 lenses per inch: step 4 output pixels a lens, four views.
  Array3D<uint8_t> images;
  images.ReDim(4, 9, 1);
  for (int k = 0; k < 4; ++k) {
    for (int j = 0; j < 9; ++j) images(k, j, 0) = static_cast<uint8_t>(10 * k + j / 3);
  }
  auto out = SolidPicture(9, 1, Grey(0));
  std::string log;
  p.Events.Complete = [&](int32_t) { log += "done"; };
  p.InterlaceLenticular(*out, 2.0f, 1.0f, 4, images);
  std::vector<int> blue;
  for (int x = 0; x < 9; ++x) blue.push_back(At(*out, 3 * x, 0));
  EXPECT_EQ(blue, (std::vector<int>{0, 10, 20, 30, 1, 11, 21, 31, 2}));
  EXPECT_EQ(log, "done");

  Array3D<uint8_t> narrow;
  narrow.ReDim(4, 3, 1);  // one lens column only
  EXPECT_EQ(ErrorOf([&] { p.InterlaceLenticular(*out, 2.0f, 1.0f, 4, narrow); }).Number(),
            err::kSubscriptOutOfRange);
  EXPECT_EQ(ErrorOf([&] { p.InterlaceLenticular(*out, 0.0f, 1.0f, 4, images); }).Number(),
            err::kDivisionByZero);
}

// --- Convolution and noise filters ---

// The convolution by its definition: sum of K x source over the neighbourhood, integer-divided,
// clamped; a border of h keeps the source.
PictureRef Convolved(const Picture& source, const std::vector<int>& kernel, int size, int weight) {
  auto out = source.CopyOf();
  const int h = size / 2;
  for (int y = h; y < source.Height() - h; ++y) {
    for (int i = 3 * h; i < 3 * (source.Width() - h); ++i) {
      int sum = 0;
      for (int ky = -h; ky <= h; ++ky) {
        for (int kx = -h; kx <= h; ++kx) sum += At(source, i + 3 * kx, y + ky) * kernel[(ky + h) * size + kx + h];
      }
      At(*out, i, y) = static_cast<uint8_t>(std::clamp(sum / weight, 0, 255));
    }
  }
  return out;
}

TEST_F(Library, ProcessImageRunsEachKindOfFilter) {
  auto spot = MakePicture(5, 5, [](int x, int y) { return Grey(x == 2 && y == 2 ? 255 : 0); });
  auto buffer = SolidPicture(5, 5, Grey(9));
  p.Filtertype(1);
  EXPECT_TRUE(p.ProcessImage(*spot, *buffer));
  EXPECT_TRUE(SamePicture(*spot, *MakePicture(5, 5, [](int x, int y) {
    return Grey(std::abs(x - 2) <= 1 && std::abs(y - 2) <= 1 ? 28 : 0);
  })));
  EXPECT_TRUE(SamePicture(*buffer, *spot));

  // Minimum: one black pixel in white blackens its neighbourhood but not the border.
  auto hole = MakePicture(5, 5, [](int x, int y) { return Grey(x == 1 && y == 1 ? 0 : 255); });
  p.Filtertype(11);
  p.ProcessImage(*hole, *buffer);
  EXPECT_TRUE(SamePicture(*hole, *MakePicture(5, 5, [](int x, int y) {
    return Grey((x == 1 && y == 1) || (x >= 1 && x <= 2 && y >= 1 && y <= 2) ? 0 : 255);
  })));

  // Every set-up kernel against the definition, and the sharpen and emboss mixes.
  const auto source = PatternPicture(9, 8);
  for (int type : {1, 2, 3, 4, 5, 6, 7, 9}) {
    p.Filtertype(type);
    std::vector<int> kernel;
    const int h = p.FilterArraySize() / 2;
    for (int ky = -h; ky <= h; ++ky)
      for (int kx = -h; kx <= h; ++kx) kernel.push_back(p.FilterValue(kx, ky));
    auto expected = Convolved(*source, kernel, 2 * h + 1, p.FilterWeight());
    if (type == 9) {
      for (int y = 0; y < 8; ++y)
        for (int i = 0; i < 27; ++i) At(*expected, i, y) = static_cast<uint8_t>(std::min(255, At(*expected, i, y) + 127));
    }
    auto image = source->CopyOf();
    auto work = SolidPicture(9, 8, Grey(0));
    p.ProcessImage(*image, *work);
    EXPECT_TRUE(SamePicture(*image, *expected)) << "type " << type;
  }
  // Unsharp mask: twice the picture less its mean, clamped; the type stays 8.
  auto sharp = source->CopyOf();
  auto mean = Convolved(*source, std::vector<int>(9, 1), 3, 9);
  auto work = SolidPicture(9, 8, Grey(0));
  p.Filtertype(8);
  p.ProcessImage(*sharp, *work);
  for (int y = 0; y < 8; ++y) {
    for (int i = 0; i < 27; ++i) {
      ASSERT_EQ(At(*sharp, i, y), std::clamp(2 * At(*source, i, y) - At(*mean, i, y), 0, 255)) << i << "," << y;
    }
  }
  EXPECT_EQ(p.FilterWeight(), 0);

  // A kernel of the caller's without a weight divides by zero and leaves the picture.
  p.Filtertype(14);
  p.FilterArraySize(3);
  p.FilterValue(0, 0, 1);
  p.FilterWeight(0);
  auto untouched = source->CopyOf();
  EXPECT_EQ(ErrorOf([&] { p.ProcessImage(*untouched, *work); }).Number(), err::kDivisionByZero);
  EXPECT_TRUE(SamePicture(*untouched, *source));
  p.Filtertype(13);
  EXPECT_FALSE(p.ProcessImage(*untouched, *work));
  auto small = SolidPicture(3, 3, Grey(0));
  EXPECT_EQ(ErrorOf([&] { p.ProcessImage(*untouched, *small); }).Number(), err::kInvalidArgument);
}

// The rank-th smallest (1-based) of the n x n samples at offsets o - 1 ... o - n, black outside.
PictureRef RankedByDefinition(const Picture& source, int n) {
  auto out = source.CopyOf();
  const int m = static_cast<int>(RoundHalfEven(n * n / 2.0));
  const int o = static_cast<int>(RoundHalfEven((n - 1) / 2.0)) + 1;
  for (int y = 0; y < source.Height(); ++y) {
    for (int i = 0; i < 3 * source.Width(); ++i) {
      std::vector<int> samples;
      for (int a = 1; a <= n; ++a) {
        for (int b = 1; b <= n; ++b) {
          const int x = i / 3 + o - a, row = y + o - b;
          const bool inside = x >= 0 && x < source.Width() && row >= 0 && row < source.Height();
          samples.push_back(inside ? At(source, 3 * x + i % 3, row) : 0);
        }
      }
      std::sort(samples.begin(), samples.end());
      At(*out, i, y) = static_cast<uint8_t>(m == 0 ? 0 : samples[static_cast<size_t>(m - 1)]);
    }
  }
  return out;
}

TEST_F(Library, MedianTakesTheRankBelowTheMiddleWithBlackOutside) {
  // 0, 0, 0, 0, 10, 10, 10, 10, 10 around the centre: the 4th smallest is 0.
  auto picture = MakePicture(3, 3, [](int x, int y) { return Grey(x + 3 * y < 4 ? 0 : 10); });
  p.MedianFilter(*picture, 3);
  EXPECT_EQ(At(*picture, 3, 1), 0);
  for (int n : {1, 2, 3, 4, 5, 7}) {
    const auto source = PatternPicture(11, 9, n);
    auto filtered = source->CopyOf();
    p.MedianFilter(*filtered, static_cast<int16_t>(n));
    EXPECT_TRUE(SamePicture(*filtered, *RankedByDefinition(*source, n))) << "length " << n;
  }
}

TEST_F(Library, StandAloneFiltersOnKnownPictures) {
  // Edge strength of a flat picture: 1 but in the last column and the top row.
  auto flat = SolidPicture(4, 3, Grey(90));
  {
    EventLog log(p);
    p.EdgeDetect(*flat);
    EXPECT_EQ(log.text, "init 3");
  }
  EXPECT_TRUE(SamePicture(*flat, *MakePicture(4, 3, [](int x, int y) { return Grey(x == 3 || y == 0 ? 90 : 1); })));

  // Despeckle: a lone bright pixel takes its neighbours' mean, 5 / 2 rounding to the even 2.
  auto speck = Columns({Grey(1), Grey(200), Grey(4), Grey(4)});
  p.DespeckleB(*speck, 30);
  EXPECT_TRUE(SamePicture(*speck, *Columns({Grey(1), Grey(2), Grey(4), Grey(4)})));

  // Flecks: a black pixel inside colour takes the mean of its 24 neighbours.
  auto flecked = MakePicture(5, 5, [](int x, int y) { return x == 2 && y == 2 ? Grey(0) : Bgr{10, 20, uint8_t(x == 0 ? 33 : 30)}; });
  p.RemoveFlecs(*flecked, 765);
  EXPECT_EQ(PixelAt(*flecked, 2, 2), (Bgr{10, 20, 31}));  // 735 / 24 = 30.6

  // Noise: none at 0 %; with the random share none at 100 %; otherwise within the amplitude.
  const auto source = PatternPicture(16, 16);
  auto same = source->CopyOf();
  p.AddNoise(*same, 0);
  p.AddNoise(*same, 100, true);
  EXPECT_TRUE(SamePicture(*same, *source));
  auto noisy = SolidPicture(64, 64, Grey(100));
  p.SeedNoise(7);
  p.AddNoise(*noisy, 50);  // amp 64, half 32: values 68 ... 132
  int lowest = 255, highest = 0;
  for (int y = 0; y < 64; ++y) {
    for (int i = 0; i < 192; ++i) {
      lowest = std::min<int>(lowest, At(*noisy, i, y));
      highest = std::max<int>(highest, At(*noisy, i, y));
    }
  }
  EXPECT_EQ(lowest, 68);
  EXPECT_EQ(highest, 132);
}

// --- Tone and colour ---

TEST_F(Library, ToneOperationsRoundAndClampAsSpecified) {
  struct Case {
    const char* what;
    std::function<void(Picture&)> run;
    std::vector<uint8_t> in, out;  // blue bytes of a row of grey pixels
  } cases[] = {
      {"brightness 50", [&](Picture& q) { p.Brightness(q, 50); }, {255, 3, 100}, {128, 2, 50}},
      {"brightness 300", [&](Picture& q) { p.Brightness(q, 300); }, {100, 0}, {255, 0}},
      {"contrast 0", [&](Picture& q) { p.Contrast(q, 0); }, {0, 255}, {127, 127}},
      {"contrast 200", [&](Picture& q) { p.Contrast(q, 200); }, {100, 130, 250}, {73, 133, 255}},
      {"gamma 100", [&](Picture& q) { p.GammaCorrect(q, 100, 100, 100); }, {0, 64, 255}, {0, 64, 255}},
      {"gamma 200", [&](Picture& q) { p.GammaCorrect(q, 200, 200, 200); }, {64}, {128}},
      {"stretch", [&](Picture& q) { p.HistEqual(q); }, {50, 60, 101}, {0, 50, 255}},
      {"stretch full", [&](Picture& q) { p.HistEqual(q); }, {0, 60, 255}, {0, 60, 255}},
      {"posterise black", [&](Picture& q) { p.Posterise(q, 0.5); }, {0}, {255}},
      {"lightness 0", [&](Picture& q) { p.Luminosity(q, 0); }, {200}, {0}},
  };
  for (const Case& c : cases) {
    std::vector<Bgr> in;
    for (uint8_t v : c.in) in.push_back(Grey(v));
    auto picture = Columns(in);
    c.run(*picture);
    std::vector<uint8_t> blue;
    for (size_t x = 0; x < c.in.size(); ++x) blue.push_back(At(*picture, 3 * static_cast<int>(x), 0));
    EXPECT_EQ(blue, c.out) << c.what;
  }
  auto posterised = Columns({Grey(0), Grey(255)});
  p.Posterise(*posterised, 0.5);
  EXPECT_TRUE(SamePicture(*posterised, *Columns({{255, 0, 0}, Grey(255)})));
  auto coloured = Columns({{10, 20, 30}});
  p.ColourAdj(*coloured, 200, 1);
  EXPECT_EQ(PixelAt(*coloured, 0, 0), (Bgr{10, 40, 30}));

  // Failures leave exactly the pixels before the failing one in the column walk.
  auto flat = SolidPicture(2, 2, Grey(7));
  EXPECT_EQ(ErrorOf([&] { p.HistEqual(*flat); }).Number(), err::kDivisionByZero);
  EXPECT_TRUE(SamePicture(*flat, *SolidPicture(2, 2, Grey(7))));
  auto gamma = Columns({Grey(64), Grey(64)});
  EXPECT_EQ(ErrorOf([&] { p.GammaCorrect(*gamma, 200, 0, 200); }).Number(), err::kDivisionByZero);
  EXPECT_EQ(PixelAt(*gamma, 0, 0), (Bgr{64, 64, 128}));  // red comes first
  EXPECT_EQ(PixelAt(*gamma, 1, 0), Grey(64));
}

TEST_F(Library, DitherAndGreyStretch) {
  for (uint8_t level : {0, 255}) {
    auto from = SolidPicture(6, 5, Grey(level));
    auto to = SolidPicture(6, 5, Grey(77));
    p.BlackAndWhite(*from, *to);
    EXPECT_TRUE(SamePicture(*to, *SolidPicture(6, 5, Grey(level))));
  }
  auto from = SolidPicture(6, 5, {128, 128, 128});
  auto to = SolidPicture(6, 5, Grey(0));
  p.BlackAndWhite(*from, *to);
  int white = 0;
  for (int y = 0; y < 5; ++y)
    for (int x = 0; x < 6; ++x) white += PixelAt(*to, x, y) == Grey(255);
  EXPECT_GT(white, 0);
  EXPECT_LT(white, 30);
  auto smaller = SolidPicture(5, 5, Grey(0));
  EXPECT_EQ(ErrorOf([&] { p.BlackAndWhite(*from, *smaller); }).Number(), err::kSubscriptOutOfRange);

  // Sampled inner area spans 100 ... 150; outside it 0 and 255 clamp.
  auto grey = MakePicture(40, 40, [](int x, int y) {
    if (x == 0) return Grey(0);
    if (x == 39) return Grey(255);
    return Grey(x % 2 ? 100 : 150);
  });
  p.HistEqualGray(*grey);
  EXPECT_EQ(PixelAt(*grey, 0, 5), Grey(0));
  EXPECT_EQ(PixelAt(*grey, 39, 5), Grey(255));
  EXPECT_EQ(PixelAt(*grey, 1, 5), Grey(0));
  EXPECT_EQ(PixelAt(*grey, 2, 5), Grey(255));
}

// --- Test patterns and drawing ---

TEST_F(Library, CalibrationSheetStripesAndTicks) {
  auto sheet = SolidPicture(601, 3, Grey(9));
  p.CalibrationSheet(*sheet, 50.0f, 1, 0.0f);
  std::string row;
  for (int x = 0; x < 26; ++x) row += At(*sheet, 3 * x, 0) ? 'w' : 'b';
  // k = round(x / 6), halves to even, decides the next pixel: stripes of 5 and 7 pixels.
  EXPECT_EQ(row, "wwwwwbbbbbwwwwwwwbbbbbwwww");
  for (int y = 0; y < 3; ++y) {
    EXPECT_EQ(At(*sheet, 3 * 590, y), 0) << "tick area";
    EXPECT_EQ(At(*sheet, 3 * 10, y), At(*sheet, 3 * 10, 0)) << "same stripes in every row";
  }
  auto dot = SolidPicture(3, 2, Grey(0));
  p.DrawPixel(*dot, 3, 0, 255, 0, 0);
  EXPECT_EQ(PixelAt(*dot, 1, 1), (Bgr{0, 0, 255}));
  EXPECT_EQ(ErrorOf([&] { p.DrawPixel(*dot, 10, 0, 1, 1, 1); }).Number(), err::kSubscriptOutOfRange);
}

}  // namespace
}  // namespace qv::test
