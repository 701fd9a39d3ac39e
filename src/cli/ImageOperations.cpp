#include "cli/ImageOperations.h"

#include <cmath>
#include <stdexcept>

namespace qv::cli {

double ArgumentValues::operator[](std::string_view name) const {
  for (const auto& [key, value] : values_) {
    if (key == name) return value;
  }
  throw std::logic_error("no argument " + std::string(name));
}

namespace {

using Run = std::function<PictureRef(ImageProcessor&, ImageJob&)>;

std::string SizeText(const Picture& p) { return std::to_string(p.Width()) + "x" + std::to_string(p.Height()); }

void RequireSameSize(const Picture& a, const Picture& b) {
  if (a.Width() != b.Width() || a.Height() != b.Height()) {
    throw std::runtime_error("the two pictures differ in size: " + SizeText(a) + " and " + SizeText(b));
  }
}

PictureRef NewPicture(int32_t width, int32_t height) {
  auto picture = std::make_shared<Picture>();
  if (!picture->Create(width, height)) {
    throw std::runtime_error("no memory for a picture of " + std::to_string(width) + "x" + std::to_string(height));
  }
  return picture;
}

// `upper` above `lower`, or `left` beside `right`: the packed pairs the interlace kernels weave.
PictureRef AboveBelow(const Picture& upper, const Picture& lower) {
  PictureRef pair = NewPicture(upper.Width(), 2 * upper.Height());
  const PixelGrid out = pair->Grid();
  const size_t bytes = static_cast<size_t>(3) * upper.Width();
  for (int32_t y = 0; y < lower.Height(); ++y) {
    std::copy_n(lower.ReadGrid().MemoryRow(y), bytes, out.MemoryRow(y));
    std::copy_n(upper.ReadGrid().MemoryRow(y), bytes, out.MemoryRow(lower.Height() + y));
  }
  return pair;
}

PictureRef SideBySide(const Picture& left, const Picture& right) {
  PictureRef pair = NewPicture(2 * left.Width(), left.Height());
  const PixelGrid out = pair->Grid();
  const size_t bytes = static_cast<size_t>(3) * left.Width();
  for (int32_t y = 0; y < left.Height(); ++y) {
    std::copy_n(left.ReadGrid().MemoryRow(y), bytes, out.MemoryRow(y));
    std::copy_n(right.ReadGrid().MemoryRow(y), bytes, out.MemoryRow(y) + bytes);
  }
  return pair;
}

// An operation on a copy of its one input.
Run OnCopy(std::function<void(ImageProcessor&, Picture&, const ImageJob&)> f) {
  return [f](ImageProcessor& p, ImageJob& job) {
    PictureRef out = job.inputs[0]->CopyOf();
    f(p, *out, job);
    return out;
  };
}

// The interlace kernels read their source from the shared array.
Run FromSharedPixels(PictureRef (*source)(const ImageJob&), void (ImageProcessor::*member)(Picture&)) {
  return [source, member](ImageProcessor& p, ImageJob& job) {
    PictureRef out = source(job);
    p.CopyToArray(*out);
    (p.*member)(*out);
    return out;
  };
}

PictureRef WovenRows(const ImageJob& job) {
  RequireSameSize(*job.inputs[0], *job.inputs[1]);
  return AboveBelow(*job.inputs[0], *job.inputs[1]);
}
PictureRef WovenColumns(const ImageJob& job) {
  RequireSameSize(*job.inputs[0], *job.inputs[1]);
  return SideBySide(*job.inputs[0], *job.inputs[1]);
}
PictureRef EvenRows(const ImageJob& job) {
  if (job.inputs[0]->Height() % 2 != 0) {
    throw std::runtime_error("the picture must have an even number of rows (it has " +
                             std::to_string(job.inputs[0]->Height()) + ")");
  }
  return job.inputs[0]->CopyOf();
}
PictureRef EvenColumns(const ImageJob& job) {
  if (job.inputs[0]->Width() % 2 != 0) {
    throw std::runtime_error("the picture must have an even number of columns (it has " +
                             std::to_string(job.inputs[0]->Width()) + ")");
  }
  return job.inputs[0]->CopyOf();
}

PictureRef Lenticular(ImageProcessor& p, ImageJob& job) {
  const Picture& first = *job.inputs[0];
  for (const PictureRef& view : job.inputs) RequireSameSize(first, *view);
  const float lpi = static_cast<float>(job.values["lpi"]);
  const float printWidth = static_cast<float>(job.values["print-width"]);
  const int32_t views = static_cast<int32_t>(job.inputs.size());
  const float lenses = lpi * printWidth;
  int32_t width = job.values.Int("width");
  if (width == 0) width = static_cast<int32_t>(std::lround(lenses * views)) + 1;
  const int32_t height = static_cast<int32_t>(std::lround(double(first.Height()) * width / first.Width()));
  if (width < 2 || height < 1 || width > 40000 || height > 40000) {
    throw std::runtime_error("the print would be " + std::to_string(width) + "x" + std::to_string(height) +
                             " pixels; it must lie within 2x1 and 40000x40000");
  }
  // Each view supplies one pixel column per lens: as many columns as the last output pixel's lens.
  const float step = static_cast<float>(width - 1) / lenses;
  const int32_t columns = static_cast<int32_t>(std::floor(static_cast<float>(width - 1) / step)) + 1;
  Array3D<uint8_t> images;
  images.ReDim(views, 3 * int64_t{columns}, height);
  for (int32_t k = 0; k < views; ++k) {
    PictureRef scaled = job.inputs[static_cast<size_t>(k)]->Resample(height, columns, true);
    if (!scaled) throw std::runtime_error("no memory to scale the views");
    const PixelGrid grid = scaled->ReadGrid();
    for (int32_t y = 0; y < height; ++y) {
      for (int32_t j = 0; j < 3 * columns; ++j) images(k, j, y) = grid.MemoryRow(y)[j];
    }
  }
  PictureRef out = NewPicture(width, height);
  p.InterlaceLenticular(*out, lpi, printWidth, views, images);
  return out;
}

PictureRef Filter(ImageProcessor& p, ImageJob& job) {
  const int32_t type = job.values.Int("type");
  p.Filtertype(type);
  if (type == 14) {
    const auto size = static_cast<int32_t>(std::lround(std::sqrt(double(job.kernel.size()))));
    if (static_cast<size_t>(size) * size != job.kernel.size()) {
      throw std::runtime_error("--kernel needs a square number of values (it has " +
                               std::to_string(job.kernel.size()) + ")");
    }
    p.FilterArraySize(size);
    const int32_t h = size / 2;
    int32_t sum = 0;
    for (int32_t row = 0; row < size; ++row) {  // given top row first; offsets count upwards
      for (int32_t column = 0; column < size; ++column) {
        const int32_t value = job.kernel[static_cast<size_t>(row * size + column)];
        p.FilterValue(column - h, h - row, value);
        sum += value;
      }
    }
    const int32_t weight = job.values.Int("weight");
    p.FilterWeight(weight != 0 ? weight : (sum != 0 ? sum : 1));
  }
  PictureRef out = job.inputs[0]->CopyOf();
  PictureRef buffer = NewPicture(out->Width(), out->Height());
  p.ProcessImage(*out, *buffer);
  return out;
}

PictureRef BlockMotion(ImageProcessor& p, ImageJob& job, int32_t& difference) {
  RequireSameSize(*job.inputs[0], *job.inputs[1]);
  if (job.inputs[0]->Width() < 8 || job.inputs[0]->Height() < 8) {
    throw std::runtime_error("the pictures must be at least 8x8 pixels (one block)");
  }
  p.CopyToArray(*job.inputs[0]);
  p.GetBlockMove(*job.inputs[1], difference);
  return job.inputs[1]->CopyOf();
}

std::vector<ImageOperation> MakeTable() {
  const ImageArgument amount{"amount", 0, 1000, 100, true, "percent"};
  return {
      {"interlace-rows", "CreateInterlace", "UPPER LOWER", 2, 2, {},
       "stacks the two views above and below and weaves their rows: even rows (from the bottom) "
       "from the lower half, odd rows from the upper",
       FromSharedPixels(WovenRows, &ImageProcessor::CreateInterlace)},
      {"interlace-columns", "CreateInterlaceVert", "LEFT RIGHT", 2, 2, {},
       "puts the two views side by side and weaves their columns: even columns from the left view, "
       "odd ones from the right",
       FromSharedPixels(WovenColumns, &ImageProcessor::CreateInterlaceVert)},
      {"deinterlace-rows", "DeInterleave", "IN", 1, 1, {},
       "sorts the even and odd rows of a row-interlaced picture (even height) into lower and upper "
       "halves",
       FromSharedPixels(EvenRows, &ImageProcessor::DeInterleave)},
      {"deinterlace-columns", "DeVertInterleave", "IN", 1, 1, {},
       "sorts the even and odd columns of a column-interlaced picture (even width) into left and "
       "right halves",
       FromSharedPixels(EvenColumns, &ImageProcessor::DeVertInterleave)},
      {"lenticular", "InterlaceLenticular", "VIEW...", 2, 64,
       {{"lpi", 1, 300, 60, false, "lenses per inch of the sheet"},
        {"print-width", 0.5, 100, 4, false, "print width in inches"},
        {"width", 0, 40000, 0, true, "print width in pixels (0: one pixel per view under each lens)"}},
       "lays the views (left to right) under the lenses of a lenticular sheet; the views are scaled "
       "to one column per lens",
       Lenticular},
      {"calibration-sheet", "CalibrationSheet", "", 0, 0,
       {{"width", 2, 40000, 1800, true, "picture width in pixels"},
        {"height", 1, 40000, 1200, true, "picture height in pixels"},
        {"lpi", 1, 300, 60, false, "lenses per inch in the bottom row"},
        {"print-width", 1, 100, 4, true, "print width in inches"},
        {"lpi-step", -10, 10, 0.1, false, "lens count added per inch from one row to the next"}},
       "draws stripes for finding the pitch of a lenticular sheet, with row ticks in the right sixth",
       [](ImageProcessor& p, ImageJob& job) {
         PictureRef out = NewPicture(job.values.Int("width"), job.values.Int("height"));
         p.CalibrationSheet(*out, static_cast<float>(job.values["lpi"]),
                            static_cast<int16_t>(job.values.Int("print-width")),
                            static_cast<float>(job.values["lpi-step"]));
         return out;
       }},
      {"filter", "ProcessImage", "IN", 1, 1,
       {{"type", 1, 14, 1, true,
         "1 mean 3x3, 2 mean 5x5, 3 pyramid 3x3, 4 pyramid 5x5, 5 Gaussian 5x5, 6 and 7 sharpen, "
         "8 unsharp mask, 9 emboss, 10 mean, 11 minimum, 12 maximum, 13 none, 14 the --kernel"},
        {"weight", -1000000, 1000000, 0, true, "divisor of --kernel (0: the kernel's sum)"}},
       "runs a convolution or rank filter; type 14 takes --kernel \"v,v,...\" (1, 9, 25, 49 or 81 "
       "values, top row first)",
       Filter},
      {"edge-detect", "EdgeDetect", "IN", 1, 1, {}, "replaces each pixel by a grey edge strength",
       OnCopy([](ImageProcessor& p, Picture& out, const ImageJob&) { p.EdgeDetect(out); })},
      {"despeckle", "DespeckleB", "IN", 1, 1,
       {{"threshold", 0, 765, 60, true, "channel-sum difference from both neighbours"}},
       "replaces pixels unlike both neighbours by their mean",
       OnCopy([](ImageProcessor& p, Picture& out, const ImageJob& job) {
         p.DespeckleB(out, job.values.Int("threshold"));
       })},
      {"median", "MedianFilter", "IN", 1, 1, {{"size", 1, 15, 3, true, "edge of the square neighbourhood"}},
       "takes the rank size*size/2 value of each neighbourhood (black outside the picture)",
       OnCopy([](ImageProcessor& p, Picture& out, const ImageJob& job) {
         p.MedianFilter(out, static_cast<int16_t>(job.values.Int("size")));
       })},
      {"remove-flecks", "RemoveFlecs", "IN", 1, 1,
       {{"total", 0, 765, 765, true, "channel sum that marks a fleck (black always does)"}},
       "fills marked pixels from their 5x5 neighbourhood",
       OnCopy([](ImageProcessor& p, Picture& out, const ImageJob& job) {
         p.RemoveFlecs(out, job.values.Int("total"));
       })},
      {"noise", "AddNoise", "IN", 1, 1,
       {{"percent", 0, 100, 20, true, "amplitude, percent of half the range"},
        {"random", 0, 1, 0, true, "1: change only (100 - percent) % of the pixels"},
        {"seed", 0, 2147483647, 0, true, "seed of the generator (0: a new one each time)"}},
       "adds uniform noise",
       OnCopy([](ImageProcessor& p, Picture& out, const ImageJob& job) {
         if (job.values.Int("seed") != 0) p.SeedNoise(static_cast<uint64_t>(job.values.Int("seed")));
         p.AddNoise(out, job.values.Int("percent"), job.values.Int("random") == 1);
       })},
      {"brightness", "Brightness", "IN", 1, 1, {amount}, "scales every channel",
       OnCopy([](ImageProcessor& p, Picture& out, const ImageJob& job) {
         p.Brightness(out, job.values.Int("amount"));
       })},
      {"colour-adjust", "ColourAdj", "IN", 1, 1,
       {amount, {"channel", 0, 2, 2, true, "0 blue, 1 green, 2 red"}}, "scales one channel",
       OnCopy([](ImageProcessor& p, Picture& out, const ImageJob& job) {
         p.ColourAdj(out, job.values.Int("amount"), static_cast<int16_t>(job.values.Int("channel")));
       })},
      {"contrast", "Contrast", "IN", 1, 1, {amount}, "scales distances from the middle grey 127",
       OnCopy([](ImageProcessor& p, Picture& out, const ImageJob& job) {
         p.Contrast(out, job.values.Int("amount"));
       })},
      {"gamma", "GammaCorrect", "IN", 1, 1,
       {{"red", 1, 1000, 100, true, "gamma x 100 of red"},
        {"green", 1, 1000, 100, true, "gamma x 100 of green"},
        {"blue", 1, 1000, 100, true, "gamma x 100 of blue"}},
       "gamma per channel (above 100 brightens the mid-tones)",
       OnCopy([](ImageProcessor& p, Picture& out, const ImageJob& job) {
         p.GammaCorrect(out, job.values.Int("red"), job.values.Int("green"), job.values.Int("blue"));
       })},
      {"lightness", "Luminosity", "IN", 1, 1, {amount}, "scales the HLS lightness",
       OnCopy([](ImageProcessor& p, Picture& out, const ImageJob& job) {
         p.Luminosity(out, job.values.Int("amount"));
       })},
      {"saturation", "ColourSat", "IN", 1, 1, {amount}, "scales the HLS saturation",
       OnCopy([](ImageProcessor& p, Picture& out, const ImageJob& job) {
         p.ColourSat(out, job.values.Int("amount"));
       })},
      {"posterise", "Posterise", "IN", 1, 1, {{"threshold", 0, 1, 0.5, false, "lightness"}},
       "blue where the lightness is at most the threshold, white elsewhere",
       OnCopy([](ImageProcessor& p, Picture& out, const ImageJob& job) {
         p.Posterise(out, job.values["threshold"]);
       })},
      {"stretch", "HistEqual", "IN", 1, 1, {}, "stretches the channel values to span 0 to 255",
       OnCopy([](ImageProcessor& p, Picture& out, const ImageJob&) { p.HistEqual(out); })},
      {"stretch-grey", "HistEqualGray", "IN", 1, 1, {},
       "stretches a grey picture by the levels of its inner area",
       OnCopy([](ImageProcessor& p, Picture& out, const ImageJob&) { p.HistEqualGray(out); })},
      {"dither", "BlackAndWhite", "IN", 1, 1, {}, "black-and-white error-diffusion dither",
       [](ImageProcessor& p, ImageJob& job) {
         PictureRef work = job.inputs[0]->CopyOf();
         PictureRef out = NewPicture(work->Width(), work->Height());
         p.BlackAndWhite(*work, *out);
         return out;
       }},
      {"draw-pixel", "DrawPixel", "IN", 1, 1,
       {{"x", 0, 40000, 0, true, "pixel column from the left"},
        {"y", 0, 40000, 0, true, "row from the bottom"},
        {"red", 0, 255, 255, true, "red"},
        {"green", 0, 255, 255, true, "green"},
        {"blue", 0, 255, 255, true, "blue"}},
       "sets one pixel",
       OnCopy([](ImageProcessor& p, Picture& out, const ImageJob& job) {
         p.DrawPixel(out, 3 * job.values.Int("x"), job.values.Int("y"),
                     static_cast<uint8_t>(job.values.Int("red")),
                     static_cast<uint8_t>(job.values.Int("green")),
                     static_cast<uint8_t>(job.values.Int("blue")));
       })},
      {"flip", "Flip", "IN", 1, 1, {}, "turns the picture upside down",
       OnCopy([](ImageProcessor& p, Picture& out, const ImageJob&) { p.Flip(out); })},
      {"mirror", "Mirror", "IN", 1, 1, {}, "reverses the picture left to right",
       OnCopy([](ImageProcessor& p, Picture& out, const ImageJob&) { p.Mirror(out); })},
      {"quarter-turn", "RotateFN", "IN", 1, 1,
       {{"anticlockwise", 0, 1, 0, true, "1: anticlockwise; 0: clockwise"}},
       "turns a square picture by 90 degrees",
       OnCopy([](ImageProcessor& p, Picture& out, const ImageJob& job) {
         if (out.Width() != out.Height()) {
           throw std::runtime_error("the picture must be square (it is " + SizeText(out) + ")");
         }
         p.RotateFN(out, job.values.Int("anticlockwise") == 1 ? 2 : 1);
       })},
      {"rotate", "RotateACWAng", "IN", 1, 1,
       {{"degrees", -360, 360, 0, false, "angle, anticlockwise"}},
       "turns the picture about its centre, interpolating; black outside",
       OnCopy([](ImageProcessor& p, Picture& out, const ImageJob& job) {
         p.CopyToArray(out);
         p.RotateACWAng(out, job.values["degrees"] * 3.141592653589793 / 180);
       })},
      {"projective", "ProjectiveTransform", "IN", 1, 1,
       {{"a", -1000, 1000, 1, false, "source column: (a x + b y + c) / (p x + q y + 1)"},
        {"b", -1000, 1000, 0, false, "see a"},
        {"c", -40000, 40000, 0, false, "see a"},
        {"d", -1000, 1000, 0, false, "source row: (d x + e y + f) / (p x + q y + 1)"},
        {"e", -1000, 1000, 1, false, "see d"},
        {"f", -40000, 40000, 0, false, "see d"},
        {"p", -10, 10, 0, false, "see a"},
        {"q", -10, 10, 0, false, "see a"},
        {"keep", 0, 2, 0, true, "1: keep every column, 2: keep every row"}},
       "maps each pixel back through a projective transform, nearest pixel; black outside",
       OnCopy([](ImageProcessor& p, Picture& out, const ImageJob& job) {
         p.CopyToArray(out);
         const ArgumentValues& v = job.values;
         p.ProjectiveTransform(out, v["a"], v["b"], v["c"], v["d"], v["e"], v["f"], v["p"], v["q"],
                               static_cast<int16_t>(v.Int("keep")));
       })},
      {"motion-depth", "GetBlockMove, GetMotionDepthMap", "PREVIOUS CURRENT", 2, 2,
       {{"refresh", 0, 10, 0, true, "below 3: the depth alone; 3 or more: blended into CURRENT"}},
       "depth from 8x8 block motion: blocks moving unlike the frame come nearer",
       [](ImageProcessor& p, ImageJob& job) {
         int32_t difference = 0;
         PictureRef out = BlockMotion(p, job, difference);
         p.GetMotionDepthMap(*out, static_cast<int16_t>(job.values.Int("refresh")));
         job.report = "block difference " + std::to_string(difference);
         return out;
       }},
      {"motion-compensate", "GetBlockMove, UpdateDepth", "PREVIOUS CURRENT", 2, 2, {},
       "moves PREVIOUS along the block motion towards CURRENT",
       [](ImageProcessor& p, ImageJob& job) {
         int32_t difference = 0;
         PictureRef out = BlockMotion(p, job, difference);
         p.UpdateDepth(*out);
         job.report = "block difference " + std::to_string(difference);
         return out;
       }},
      {"sky-depth", "FindSkyBorder", "IN", 1, 1,
       {{"objects", 0, 1, 1, true, "1: raise objects crossing the top and bottom edges"}},
       "depth of a landscape: ground ramping up to the sky border; prints the border row",
       [](ImageProcessor& p, ImageJob& job) {
         if (job.inputs[0]->Height() < 3) throw std::runtime_error("the picture must have 3 rows or more");
         PictureRef out = job.inputs[0]->CopyOf();
         p.CopyToArray(*out);
         int32_t border = 0;
         p.FindSkyBorder(*out, border, job.values.Int("objects") == 1);
         job.report = "sky border at row " + std::to_string(border) + " from the bottom";
         return out;
       }},
      {"regions", "FindRegions", "IN", 1, 1, {{"kind", 1, 2, 1, true, "1: unlike the sky and like the ground; 2: unlike the sky"}},
       "depth levels from flattened colour regions; prints whether they separated",
       [](ImageProcessor& p, ImageJob& job) {
         PictureRef out = job.inputs[0]->CopyOf();
         p.CopyToArray(*out);
         bool workedWell = false;
         p.FindRegions(*out, workedWell, static_cast<int16_t>(job.values.Int("kind")));
         job.report = workedWell ? "regions separated" : "regions did not separate";
         return out;
       }},
      {"stereo-depth", "CreateDepthMapFromStereo", "LEFT RIGHT", 2, 2, {},
       "depth of LEFT from its disparity to RIGHT in 16x16 blocks (128: none; nearer is lighter)",
       [](ImageProcessor& p, ImageJob& job) {
         RequireSameSize(*job.inputs[0], *job.inputs[1]);
         p.CopyToArray(*job.inputs[1]);
         PictureRef out = job.inputs[0]->CopyOf();
         p.CreateDepthMapFromStereo(*out);
         return out;
       }},
  };
}

}  // namespace

std::span<const ImageOperation> ImageOperations() {
  static const std::vector<ImageOperation> table = MakeTable();
  return table;
}

const ImageOperation* FindImageOperation(std::string_view name) {
  for (const ImageOperation& op : ImageOperations()) {
    if (op.name == name) return &op;
  }
  return nullptr;
}

}  // namespace qv::cli
