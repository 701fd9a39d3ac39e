#pragma once
// ImageProcessor: the image-processing library. Each member performs one pixel operation on
// Picture pictures, in place unless its comment says otherwise.
//
// Conventions of every member:
//   - A picture is addressed as a byte grid: byte column 3x + c holds channel c (0 blue, 1 green,
//     2 red) of pixel column x, counted from the left; memory row y counts from the bottom row.
//   - Unless a member says otherwise it walks x as the outer loop and y (0 ... H - 1) as the inner
//     one; the order shows where a member reads pixels it has already written, and decides which
//     pixels are already written when a member stops on an error.
//   - Integer arithmetic is signed 32-bit; storing an integer into a pixel byte keeps its low 8
//     bits. Floating-point values convert to integers rounding halves to even; conversion to a
//     pixel byte raises the overflow error outside 0 ... 255 (members that must not fail clamp).
//   - Errors raised by the class carry the source "Quorvex.cImageProcess".
//   - Long operations raise InitProgress(maximum) once before their pixel loop, Progress(position)
//     after each step of the outer loop and Complete(milliseconds) at the end. Nobody waits on
//     the listeners.
// Instances share nothing but the program-wide arrays of PixelArrays.h (SharedPixels, GLPixels).

#include <cstdint>
#include <functional>

#include "image/PixelArrays.h"
#include "image/Picture.h"

namespace qv {

// Error numbers of the class (object-error base + offset).
inline constexpr int32_t kErrSizeMustBeOdd = kObjectErrorBase + 0x519;   // 0x80040519
inline constexpr int32_t kErrInvalidSetting = kObjectErrorBase + 0x51A;  // 0x8004051A

uint64_t FreshNoiseSeed();

struct ProgressEvents {
  std::function<void(int32_t maximum)> InitProgress;
  std::function<void(int32_t position)> Progress;
  std::function<void(int32_t milliseconds)> Complete;
};

class ImageProcessor {
 public:
  // A processor whose members hand pictures over through arrays of its own.
  ImageProcessor() : arrays_(&ownArrays_) {}
  // A processor that shares `arrays` with the other processors of one piece of work (a playback
  // session shares one set among its decoders, composers and the conversion).
  explicit ImageProcessor(ProcessorArrays& arrays) : arrays_(&arrays) {}
  ImageProcessor(const ImageProcessor&) = delete;
  ImageProcessor& operator=(const ImageProcessor&) = delete;

  ProcessorArrays& Arrays() const { return *arrays_; }

  ProgressEvents Events;

  // --- Filter set-up ---------------------------------------------------------------------------
  // 1 ... 14, else error 0x8004051A "Invalid filter types."; every type but 14 sets its kernel up.
  void Filtertype(int32_t type);
  int32_t FilterArraySize() const { return kernelSize_; }
  // Odd and 1 ... 9: stores the size and clears a kernel of that size. Even: error 0x80040519
  // "Size must be an odd number"; otherwise error 0x8004051A.
  void FilterArraySize(int32_t size);
  int32_t FilterValue(int32_t x, int32_t y) const;
  void FilterValue(int32_t x, int32_t y, int32_t value);
  int32_t FilterWeight() const { return kernelWeight_; }
  void FilterWeight(int32_t weight) { kernelWeight_ = weight; }

  // --- Channel and anaglyph kernels --------------------------------------------------------------
  // Every pixel's blue, green and red byte multiplied by the mask bytes (low 8 bits kept).
  void ColourMask(Picture& picture, uint8_t blueMask, uint8_t greenMask, uint8_t redMask);
  // blue = green = red = (blue + green + red) / divisor as a byte (overflow error above 255).
  void GrayScale(Picture& picture, int32_t divisor);
  // blue = green = red = round((222 red + 707 green + 71 blue) / 1000).
  void GrayScaleStand(Picture& picture);
  void SwapRedBlue(Picture& picture);
  void RemoveAnaglyphHues(Picture& picture);
  bool CheckForGreenBlue(const Picture& picture);
  void ColourFromImage(Picture& picture);
  void CorrectAnaglyph(Picture& picture, const PixelArray& values);
  void CorrectAnaglyphGrad(const Picture& leftView, const Picture& rightView,
                           Picture& leftImage, Picture& rightImage);

  // --- Array conversions -----------------------------------------------------------------------
  // SharedPixels := the picture's channel bytes, (3W + 1) x H. A picture without rows raises the
  // subscript-range error before any event.
  void CopyToArray(const Picture& picture);
  // values := the picture's channel bytes, re-dimensioned to (3W + 1) x H.
  template <typename T>
  void CopyToSpecifiedArray(const Picture& picture, Array2D<T>& values);
  // Every pixel byte := the array element at the same (byte column, row), converted to a byte
  // (overflow error outside 0 ... 255; bytes already copied stay). Row padding is not touched.
  // The array must cover (0 ... 3W - 1, 0 ... H - 1), else the subscript-range error.
  template <typename T>
  void CopyFromArray(Picture& picture, const Array2D<T>& values);
  // GLPixels := the picture as red, green, blue bytes, rows bottom-up without padding.
  void CopyToArrayOPENGL(const Picture& picture);

  // --- correlation and statistics --------------------------------------------------------------
  // Adds to correlation the sum of |values(k, y) - byte(k, y)| over every channel byte; raises
  // the overflow error when the running sum passes 2,147,483,647 (correlation keeps its last value).
  template <typename T>
  void Correlate(const Picture& picture, const Array2D<T>& values, int32_t& correlation);
  void AssessBright(const Picture& picture, double& amount);
  void AssessRGB(const Picture& picture, double& redAmount, double& greenAmount, double& blueAmount);
  void CentreGravity(Picture& picture, int32_t xPos, int32_t yPos);
  void VertGrad(Picture& picture);
  void FindCropRegion(const Picture& picture, int32_t& cropLeft, int32_t& cropRight, int32_t& cropTop,
                      int32_t& cropBottom, int32_t stepX, int32_t stepY);

  // --- Interlace kernels -----------------------------------------------------------------------
  // The source is SharedPixels (a picture copied in by CopyToArray), used through the low 8 bits of
  // its elements; the result goes into `picture`, which already has its final size. An array that
  // does not cover every element read raises the subscript-range error before anything is written.
  //
  // Rows from an above/below pair: even rows from the lower half, odd rows from row
  // H' = Int((H - 1) / 2) on. The top row (odd H) or the top two rows (even H) are not written.
  void CreateInterlace(Picture& picture);
  // Columns from a side-by-side pair: even pixel columns from the left half, odd ones from pixel
  // W' = Int((W - 1) / 2) on. The last column (odd W) or the last two (even W) are not written.
  void CreateInterlaceVert(Picture& picture);
  // Rows to an above/below pair: rows 0 ... H' from the even rows, rows H' + 1 ... 2H' from the
  // odd rows (row H' ends up holding the lower half's last row); the top row is not written.
  // Needs an even height.
  void DeInterleave(Picture& picture);
  // Columns to a side-by-side pair, as DeInterleave does with rows. Needs an even width.
  void DeVertInterleave(Picture& picture);
  // A picture for a lenticular sheet of `lpi` lenses per inch printed `printSize` inches wide:
  // under each lens, from left to right, views 0 ... views - 1, each supplying its own pixel
  // column q for lens q. images(k, j, y) is byte column j of row y of view k. Raises Complete only.
  // A zero lens count divides by zero; an array too small raises the subscript-range error where
  // it is first read past.
  void InterlaceLenticular(Picture& picture, float lpi, float printSize, int32_t views,
                           const Array3D<uint8_t>& images);

  // --- Image combination -----------------------------------------------------------------------
  // The walk covers `to` (from for AddSmallImage and AddSmallImageEx); a picture that does not
  // cover the area read or written raises the subscript-range error before anything changes.
  // Parameters named ...R act on byte 0 (blue), ...G on byte 1, ...B on byte 2 (red).

  // lum = 929 green + 71 blue (red does not count). A `from` pixel of lower lum replaces the `to`
  // pixel: AddLightest keeps the darker pixel, ties keep `to`.
  void AddLightest(const Picture& from, Picture& to);
  // The same with the comparison reversed: keeps the lighter pixel.
  void AddDarkest(const Picture& from, Picture& to);
  // byte c = (F_c + fromOffset_c) fromMultiplier + (T_c + toOffset_c) toMultiplier in wrapping
  // 32-bit arithmetic, clamped to 0 ... 255.
  void AddImages(const Picture& from, Picture& to, int32_t fromMultiplier, int32_t fromOffsetR,
                 int32_t fromOffsetG, int32_t fromOffsetB, int32_t toMultiplier, int32_t toOffsetR,
                 int32_t toOffsetG, int32_t toOffsetB);
  // byte c = T_c toMult_c + F_c fromMult_c, clamped to 0 ... 255.
  void AddImagesChannel(const Picture& from, Picture& to, int32_t fromMultR, int32_t fromMultG,
                        int32_t fromMultB, int32_t toMultR, int32_t toMultG, int32_t toMultB);
  // Pastes `from` at rows verticalOffset and up of `to`, black being transparent; a pasted pixel
  // gets green + 1 and red + 2 (each at most 255). The multipliers and offsets have no effect.
  void AddSmallImage(const Picture& from, Picture& to, int32_t fromMultiplier, int32_t fromOffsetR,
                     int32_t fromOffsetG, int32_t fromOffsetB, int32_t toMultiplier,
                     int32_t toOffsetR, int32_t toOffsetG, int32_t toOffsetB, int32_t verticalOffset);
  // Blends `from` into `to` at (horizontalOffset, verticalOffset), the colour of `from`'s
  // bottom-left pixel being transparent: D = round((D toMultiplier + S fromMultiplier) /
  // (fromMultiplier + toMultiplier)), at most 255 (a negative value raises the overflow error; a
  // sum of 0 the division-by-zero error).
  void AddSmallImageEx(const Picture& from, Picture& to, int32_t fromMultiplier, int32_t toMultiplier,
                       int32_t horizontalOffset, int32_t verticalOffset);
  // Every byte = (byte x amount) / 255 truncated, low 8 bits kept.
  void Fade(Picture& picture, int32_t amount);
  // Pastes the picture held in SharedPixels (of this picture's size) onto `picture` where it is
  // not transparent, then softens the seam with a 3 x 3 kernel whose lower-left corner is the
  // pixel written. transparent >= 0: channel sums 0, transparent and transparent + 1 are
  // transparent; transparent < 0: elements of `mask` (SharedPixels' layout) of 128 or less are,
  // and a missing mask raises the invalid-argument error.
  void Stack(Picture& picture, int32_t transparent, const PixelArray* mask = nullptr);
  // Blends `from` into `picture` from (xOffsetStart, yOffsetStart) on through the blue channel of
  // `alpha` (255 = all `from`); `from` pixels whose channel sum is 0 or `transparent` are skipped.
  void StackAlpha(Picture& picture, int32_t transparent, int32_t yOffsetEnd, int32_t sourceWidth,
                  int32_t yOffsetStart, int32_t xOffsetStart, const Picture& alpha,
                  const Picture& from);

  // --- Geometry --------------------------------------------------------------------------------
  // Turns the picture upside down: memory rows r and H - 1 - r exchange their pixel bytes (the
  // row padding stays). One row buffer, no per-pixel work; no events.
  void Flip(Picture& picture);
  // Reverses the picture left to right (the middle column of an odd width stays). mirrorFlag is
  // accepted and changes nothing. Raises InitProgress(W - 1) and no other event.
  void Mirror(Picture& picture, bool mirrorFlag = false);
  // Turns a square N x N picture by a quarter turn in place, ring by ring: direction 2
  // anticlockwise, any other value clockwise. Progress after each pixel of a ring's side with its
  // byte column. Columns are reckoned with W and rows with H, so a picture that is not square is
  // not rotated; where that reaches outside the picture, the subscript-range error (the pixels
  // already exchanged stay).
  void RotateFN(Picture& picture, int32_t direction);
  // picture := the picture held in SharedPixels (copied in by CopyToArray, the same size as
  // picture) turned anticlockwise by angle radians about its centre, with bilinear interpolation
  // and black outside; values above 255 are limited to 255. Progress after each byte column.
  // SharedPixels that do not cover the picture: the subscript-range error.
  void RotateACWAng(Picture& picture, double angle);
  // picture(x, y) := the SharedPixels pixel (round((a x + b y + c) / D), round((d x + e y + f) / D))
  // with D = p x + q y + 1 (halves to even), black where that lies outside. disable 1 keeps the
  // column (x), 2 keeps the row (y). D = 0 raises the division-by-zero error, a mapped coordinate
  // beyond 32 bits the overflow error; the pixels before stay written. Progress after each pixel
  // column with x.
  void ProjectiveTransform(Picture& picture, double a, double b, double c, double d, double e,
                           double f, double p, double q, int16_t disable);

  // --- Convolution and noise filters -----------------------------------------------------------
  // Runs the filter chosen by Filtertype through `buffer`, a picture of the size of `image`: types
  // 1 ... 7 and 14 convolve with the kernel (sum integer-divided by the weight, clamped; the
  // border of kernel half-size keeps its values), 8 sharpens (2 x picture - 3 x 3 mean), 9 embosses
  // (filtered + 127), 10, 11, 12 take the 3 x 3 mean, minimum or maximum (one-pixel border kept).
  // `buffer` is overwritten. True when a filter ran; false for type 13 or when no type was set.
  // A weight of 0 raises division by zero and leaves `image` unchanged.
  bool ProcessImage(Picture& image, Picture& buffer);
  // Each pixel but those of the last column and the top row becomes a grey edge strength from
  // its right and upper neighbours (values from before the pass). Raises InitProgress only.
  void EdgeDetect(Picture& picture);
  // Replaces a pixel that differs by more than absDifference (channel sum) from both neighbours by
  // their mean; horizontally, vertically, horizontally again, in place.
  void DespeckleB(Picture& picture, int32_t absDifference);
  // Every channel becomes the round(length^2 / 2)-th smallest of the length x length samples
  // around it, outside pixels counting as black (for odd lengths one below the median).
  void MedianFilter(Picture& picture, int16_t length);
  // Pixels whose channel sum is `total` or 0 (two pixels in from the edges) take the mean of the
  // other pixels of their 5 x 5 neighbourhood when more than 12 of those are found.
  void RemoveFlecs(Picture& picture, int32_t total);
  // Adds uniform noise of amplitude percent x 128 / 100 centred on the value, clamped. With random
  // True only a share of 100 - percent % of the pixels changes.
  void AddNoise(Picture& picture, int32_t percent, bool random = false);
  // Seeds the noise generator (it starts from a seed drawn at construction).
  void SeedNoise(uint64_t seed) { noiseState_ = seed; }

  // --- Tone and colour -------------------------------------------------------------------------
  // Every channel v := min(round(v x amount / 100), 255) (negative amounts keep the low 8 bits).
  void Brightness(Picture& picture, int32_t amount);
  // As Brightness on channel `channel` (0 blue, 1 green, 2 red) only.
  void ColourAdj(Picture& picture, int32_t amount, int16_t channel);
  // Every channel v := round(Int((v - 127) x amount / 100) + 127), clamped to 0 ... 255.
  void Contrast(Picture& picture, int32_t amount);
  // Channel v := Int((v / 255)^(100 / amount) x 255.99), clamped; amounts are gamma x 100. An
  // amount of 0 divides by zero.
  void GammaCorrect(Picture& picture, int32_t redAmount, int32_t greenAmount, int32_t blueAmount);
  // Lightness (Luminosity) or saturation (ColourSat) scaled by amount / 100, at most 1.
  void Luminosity(Picture& picture, int32_t amount);
  void ColourSat(Picture& picture, int32_t amount);
  // Pure blue where the lightness is at most `amount` (0 ... 1), white elsewhere.
  void Posterise(Picture& picture, double amount);
  // Stretches the channel values so that they span 0 ... 255 (a picture of one value divides by
  // zero).
  void HistEqual(Picture& picture);
  // Stretches a grey picture by the darkest and lightest blue bytes of an inner area (16 pixels and
  // rows in from the edges), clamped, writing the level into all three channels.
  void HistEqualGray(Picture& picture);
  // Error-diffusion dither: `from` is made grey and used as the work area, `to` (at least as large)
  // receives black and white.
  void BlackAndWhite(Picture& from, Picture& to);

  // --- Test patterns and drawing ---------------------------------------------------------------
  // Overwrites `picture` with black and white stripes half a lens pitch wide for `lpi` lenses per
  // inch at a print width of printSize inches, the pitch growing by lpiIncrement from row to row
  // (bottom up), and tick marks counting the rows in the right sixth.
  void CalibrationSheet(Picture& picture, float lpi, int16_t printSize, float lpiIncrement);
  // Writes blue, green, red at byte column x (3 x pixel column) of row y; outside the picture's
  // rows the subscript-range error.
  void DrawPixel(Picture& picture, int32_t x, int32_t y, uint8_t red, uint8_t green, uint8_t blue);

  // --- Depth maps: model, creation, clean-up ---------------------------------------------------
  // A depth image is a picture whose blue bytes carry depth levels (255 nearest, 0 farthest);
  // members that write depth write the level into all three channels unless they say otherwise.

  // depthMap := the blue bytes of the picture, re-dimensioned to (W + 1) x (H + 1) (column W and
  // row H stay 0). No events.
  void CopyToDepthMap(const Picture& picture, DepthMap& depthMap);
  // The blue and green bytes of every pixel := the element (x, y) as a whole number, 255 when
  // larger (red is left). Elements the array lacks raise the subscript-range error when reached.
  template <typename T>
  void CopyFromDepthMap(Picture& picture, const Array2D<T>& depthMap);
  // Turns `picture`, a copy of the current frame, into a depth image by block motion against the
  // previous frame in `previous` (SharedPixels' layout): diamond search over 10 x 10 blocks; the
  // level grows with the vector's length in byte columns and rows. action 0: the level; 1:
  // round(0.75 D) + round(0.25 level), D the previous depth at the matched place; 2: D; other
  // values leave the block. The right-hand column and top row of blocks are cleared to 0.
  // totalDifference := the sum of the blocks' best differences. No events.
  template <typename T>
  void CreateDepthMap(Picture& picture, const Array2D<T>& previous, double& totalDifference,
                      int32_t action, const DepthMap& depthMap);
  // The same job with 6 x 6 blocks and square rings of radius up to 50, against SharedPixels;
  // level round(1.5 round(length)), 0 for a block whose best difference is 2160 or more.
  void CreateDepthMapEx(Picture& picture);
  // Three-point medians (the pixel, a horizontal and a vertical partner) at distances halving from
  // round(blockSize / 2) until the distance is 1. Reads blue, writes all three channels. Returns 0.
  // A blockSize of 0 raises the division-by-zero error.
  int16_t SmoothDMAP(Picture& picture, int32_t blockSize);
  // Each byte of rows 1 ... H - 2 and byte columns 3 ... 3W - 6 := the largest of the same channel
  // in its 3 x 3 neighbourhood.
  void Dilate(Picture& picture);
  // Near levels spread up to three pixels right over a downward step (right to left, so a spread
  // pixel is not spread again).
  void DepthMapClean(Picture& picture);
  // Scales every byte by 128 / (mean + 1), the mean dividing by (W - 1)(H - 1) pixels; at most 255.
  void TVSCL(Picture& picture);
  void PaintWhite(Picture& picture, uint8_t level);
  // 0 where the picture is white and `image` (SharedPixels' layout) is not, 255 elsewhere.
  template <typename T>
  void CreateMask(Picture& picture, const Array2D<T>& image);

  // --- Depth maps: view synthesis and alignment ------------------------------------------------

  // Renders into `view` (freshly created, the source's size) the other eye's view of the picture
  // held in SharedPixels whose depth image is held in DepthPixels. A pixel of distance
  // d = 255 - depth moves to byte column round((x3 - frameShift + d shiftPerLevel) /
  // ((x3 - d) perspective + 1)), split between the two pixels it falls between; nearer pixels,
  // arriving later, cover farther ones. xInterp 0: plain splatting; non-zero: holes are filled from
  // the background layer; above 0: steps in the background distance are also softened. Both arrays
  // must cover the view, else the subscript-range error. No events.
  void Make3D(Picture& view, double shiftPerLevel, double perspective, int16_t frameShift,
              int32_t xInterp);
  // Moves each horizontal depth step of more than 20 levels (pixels two apart) of the depth image
  // to the strongest colour edge within 10 pixels, read from `picture` (SharedPixels' layout), the
  // nearer candidates counting more. Writes all three channels. Raises Complete.
  void MatchDepthMap(Picture& depth, const PixelArray& picture);
  // Splits every row of each 8 x 8 block of the depth image at its strongest colour change in
  // SharedPixels and flattens each side to its mean (blue only). Raises Complete.
  void MatchAreas(Picture& depth);

  // --- Depth maps: motion, sky and regions, stereo pairs ---------------------------------------
  // Block motion of 8 x 8 blocks between `picture` and the previous picture in SharedPixels, by a
  // three-step search; fills MotionField with where each block was found and sets diffTotal to
  // the sum of the blocks' best differences. Raises Complete.
  void GetBlockMove(const Picture& picture, int32_t& diffTotal);
  // Writes into `picture`, block by block, the block of SharedPixels found where MotionField says.
  void UpdateDepth(Picture& picture);
  // A depth image from MotionField: blocks moving differently from the frame's dominant motion
  // come nearer. refresh >= 3 blends the levels into the picture, below 3 replaces it.
  void GetMotionDepthMap(Picture& picture, int16_t refresh);
  // Depth for a landscape picture: the row where a bright sky gives way to darker ground goes into
  // borderRow; the ground ramps from 255 at the bottom row to 0 there, the sky is 0. With
  // enhanced, objects crossing the top or bottom edge are raised to level 230. SharedPixels must
  // hold the same picture. Raises InitProgress and Complete.
  void FindSkyBorder(Picture& picture, int32_t& borderRow, bool enhanced);
  // Segments the picture into flattened regions and writes levels by colour distance to the sky's
  // and the ground's mean colour (kind 1) or to the sky's alone (kind 2); workedWell tells whether
  // the levels spread 60 or more from the middle value 125.
  void FindRegions(Picture& picture, bool& workedWell, int16_t kind);
  // Depth from the horizontal disparity between `picture` and the other view in SharedPixels,
  // searched over the whole width for each 16 x 16 block: level 128 - 3 x disparity, clamped.
  void CreateDepthMapFromStereo(Picture& picture);

 protected:
  // Event helpers. StartTick() gives the tick to pass to RaiseComplete.
  void RaiseInitProgress(int32_t maximum) const;
  void RaiseProgress(int32_t position) const;
  void RaiseComplete(uint32_t startTick) const;
  static uint32_t StartTick();

 private:
  void SetupKernel();
  bool ApplyKernel(const Picture& source, Picture& destination);
  bool ApplyRankFilter(const Picture& source, Picture& destination);

  int32_t kernelSize_ = 0;
  int32_t kernelHalf_ = 0;
  std::vector<int32_t> kernel_;  // (2h + 1)^2 values, K(x, y) at (y + h) * size + (x + h)
  int32_t kernelWeight_ = 0;
  int32_t filterType_ = 0;
  uint64_t noiseState_ = FreshNoiseSeed();
  ProcessorArrays ownArrays_;
  ProcessorArrays* arrays_;
};

// The error object that the class raises.
AppError ImageProcessError(int32_t number, const char* description);

// A seed for a noise generator that differs from call to call.
uint64_t FreshNoiseSeed();

// The millisecond tick count used for the Complete events.
uint32_t TickCountMs();

}  // namespace qv

#include "imageproc/ImageProcessorArrays.inl"
