#pragma once
// cImageProcessDIB: the image-processing library. Each member performs one pixel operation on
// cDIBSection pictures, in place unless its comment says otherwise.
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
//   - Long operations raise InitProgress(lMax) once before their pixel loop, Progress(position)
//     after each step of the outer loop and Complete(milliseconds) at the end. Nobody waits on
//     the listeners.
// Instances share nothing but the program-wide arrays of PixelArrays.h (SharedPixels, GLPixels).

#include <cstdint>
#include <functional>

#include "image/PixelArrays.h"
#include "image/cDIBSection.h"

namespace qv {

// Error numbers of the class (object-error base + offset).
inline constexpr int32_t kErrSizeMustBeOdd = kObjectErrorBase + 0x519;   // 0x80040519
inline constexpr int32_t kErrInvalidSetting = kObjectErrorBase + 0x51A;  // 0x8004051A

struct ProgressEvents {
  std::function<void(int32_t lMax)> InitProgress;
  std::function<void(int32_t lPosition)> Progress;
  std::function<void(int32_t lTimeMs)> Complete;
};

class cImageProcessDIB {
 public:
  ProgressEvents Events;

  // --- Filter set-up ---------------------------------------------------------------------------
  // 1 ... 14, else error 0x8004051A "Invalid filter types."; every type but 14 sets its kernel up.
  void Filtertype(int32_t eType);
  int32_t FilterArraySize() const { return kernelSize_; }
  // Odd and 1 ... 9: stores the size and clears a kernel of that size. Even: error 0x80040519
  // "Size must be an odd number"; otherwise error 0x8004051A.
  void FilterArraySize(int32_t lSize);
  int32_t FilterValue(int32_t iX, int32_t iY) const;
  void FilterValue(int32_t iX, int32_t iY, int32_t lValue);
  int32_t FilterWeight() const { return kernelWeight_; }
  void FilterWeight(int32_t lWeight) { kernelWeight_ = lWeight; }

  // --- Channel and anaglyph kernels --------------------------------------------------------------
  // Every pixel's blue, green and red byte multiplied by the mask bytes (low 8 bits kept).
  void ColourMask(cDIBSection& cTo, uint8_t v_bytBlueMask, uint8_t v_bytGreenMask, uint8_t v_bytRedMask);
  // blue = green = red = (blue + green + red) / divisor as a byte (overflow error above 255).
  void GrayScale(cDIBSection& cTo, int32_t v_lngDivisor);
  // blue = green = red = round((222 red + 707 green + 71 blue) / 1000).
  void GrayScale_stand(cDIBSection& cTo);
  void SwapRedBlue(cDIBSection& cTo);
  void RemoveAnaglyphHues(cDIBSection& cTo);
  bool CheckForGreenBlue(const cDIBSection& cTo);
  void ColourFromImage(cDIBSection& cTo);
  void CorrectAnaglyph(cDIBSection& cTo, const PixelArray& ImgArray);
  void CorrectAnaglyphGrad(const cDIBSection& cLeft, const cDIBSection& cRight,
                           cDIBSection& cImgLeft, cDIBSection& cImgRight);

  // --- Array conversions -----------------------------------------------------------------------
  // SharedPixels := the picture's channel bytes, (3W + 1) x H. A picture without rows raises the
  // subscript-range error before any event.
  void CopyToArray(const cDIBSection& cTo);
  // ArrayName := the picture's channel bytes, re-dimensioned to (3W + 1) x H.
  template <typename T>
  void CopyToSpecifiedArray(const cDIBSection& cTo, Array2D<T>& ArrayName);
  // Every pixel byte := the array element at the same (byte column, row), converted to a byte
  // (overflow error outside 0 ... 255; bytes already copied stay). Row padding is not touched.
  // The array must cover (0 ... 3W - 1, 0 ... H - 1), else the subscript-range error.
  template <typename T>
  void CopyFromArray(cDIBSection& cTo, const Array2D<T>& ArrayName);
  // GLPixels := the picture as red, green, blue bytes, rows bottom-up without padding.
  void CopyToArrayOPENGL(const cDIBSection& cTo);

  // --- Correlation and statistics --------------------------------------------------------------
  // Adds to Correlation the sum of |ArrayName(k, y) - byte(k, y)| over every channel byte; raises
  // the overflow error when the running sum passes 2,147,483,647 (Correlation keeps its last value).
  template <typename T>
  void Correlate(const cDIBSection& cTo, const Array2D<T>& ArrayName, int32_t& Correlation);
  void AssessBright(const cDIBSection& cTo, double& lAmount);
  void AssessRGB(const cDIBSection& cTo, double& RAmount, double& GAmount, double& BAmount);
  void Centre_Gravity(cDIBSection& cTo, int32_t xPos, int32_t yPos);
  void VertGrad(cDIBSection& cTo);
  void FindCropRegion(const cDIBSection& cTo, int32_t& cLeft, int32_t& cRight, int32_t& Ctop,
                      int32_t& Cbottom, int32_t Sdx, int32_t Sdy);

 protected:
  // Event helpers. StartTick() gives the tick to pass to RaiseComplete.
  void RaiseInitProgress(int32_t lMax) const;
  void RaiseProgress(int32_t lPosition) const;
  void RaiseComplete(uint32_t startTick) const;
  static uint32_t StartTick();

 private:
  void SetupKernel();

  int32_t kernelSize_ = 0;
  int32_t kernelHalf_ = 0;
  std::vector<int32_t> kernel_;  // (2h + 1)^2 values, K(iX, iY) at (iY + h) * size + (iX + h)
  int32_t kernelWeight_ = 0;
  int32_t filterType_ = 0;
};

// The error object that the class raises.
AppError ImageProcessError(int32_t number, const char* description);

// The millisecond tick count used for the Complete events.
uint32_t TickCountMs();

}  // namespace qv

#include "imageproc/cImageProcessDIB_arrays.inl"
