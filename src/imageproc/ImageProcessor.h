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

  // (none yet)

  // --- Image combination -----------------------------------------------------------------------

  // (none yet)

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

  // (none yet)

  // --- Tone and colour -------------------------------------------------------------------------

  // (none yet)

  // --- Test patterns and drawing ---------------------------------------------------------------

  // (none yet)

  // --- Depth maps: model, creation, clean-up ---------------------------------------------------

  // (none yet)

  // --- Depth maps: view synthesis and alignment ------------------------------------------------

  // (none yet)

  // --- Depth maps: motion, sky and regions, stereo pairs ---------------------------------------

  // (none yet)

 protected:
  // Event helpers. StartTick() gives the tick to pass to RaiseComplete.
  void RaiseInitProgress(int32_t maximum) const;
  void RaiseProgress(int32_t position) const;
  void RaiseComplete(uint32_t startTick) const;
  static uint32_t StartTick();

 private:
  void SetupKernel();

  int32_t kernelSize_ = 0;
  int32_t kernelHalf_ = 0;
  std::vector<int32_t> kernel_;  // (2h + 1)^2 values, K(x, y) at (y + h) * size + (x + h)
  int32_t kernelWeight_ = 0;
  int32_t filterType_ = 0;
  ProcessorArrays ownArrays_;
  ProcessorArrays* arrays_;
};

// The error object that the class raises.
AppError ImageProcessError(int32_t number, const char* description);

// The millisecond tick count used for the Complete events.
uint32_t TickCountMs();

}  // namespace qv

#include "imageproc/ImageProcessorArrays.inl"
