#pragma once
// DepthEngine: the conversion's fast depth library. It does on whole video frames, with every core
// and with vector registers, the jobs that the image processor's depth members do one pixel at a
// time:
//   CreateDepthMap      depth from block motion against the previous frame it is handed: the same
//                       depth image and total difference as ImageProcessor::CreateDepthMap;
//   CreateDepthMapFast  the same job against a reference frame of its own (the frame of its last
//                       call), with a predictive search whose effort falls as the speed level
//                       (1 ... 5) rises;
//   SmoothDepth         ImageProcessor::SmoothDMAP, byte for byte;
//   MatchDepthMap       ImageProcessor::MatchDepthMap, byte for byte, reading the colour edges
//                       from the picture's own pixels;
//   Make3D              the view that the class renderer makes from the same depth image (two
//                       Dilates, then ImageProcessor::Make3D without perspective). The forward
//                       mapping is the class's to the bit; colours are divided out in single
//                       precision and the background is kept as the colours and distances it
//                       comes to, so a level may differ by one here and there.
//
// Pictures are pixel memory as Picture lays it out: 24 bits a pixel (blue, green, red), memory
// row 0 at the bottom, rows StrideFor(width) bytes apart. A depth map is memory laid out as
// DepthMap: (width + 1) bytes a row, height + 1 rows, 255 nearest.
//
// Both trackers report the frame's signed mean horizontal motion in pixels a frame: the mean of
// the horizontal components of the vectors of the blocks that found their match (of all blocks
// when none did). Content moving left (the camera moving right) gives a positive motion, content
// moving right a negative one. They also write the
// new depth image's levels into the depth map, so that depth keeps being carried from frame to
// frame while nothing is rendered.
//
// What Make3D reads as depth: the blue bytes of the picture it renders into (the caller's
// smoothed depth image). It stores those levels into the depth map before it renders, so that the
// trackers carry the smoothed depth on, as the class renderer's CopyToDepthMap does.
//
// One engine belongs to one conversion (it keeps the fast tracker's reference frame and last
// vectors). Calls come from one thread at a time; the engine spreads each call over its threads.

#include <cstddef>
#include <cstdint>
#include <vector>

#include "convert/BlockMetrics.h"

namespace qv {

class DepthEngine {
 public:
  DepthEngine();

  // current: the current frame, which receives the depth image; previous: the previous frame.
  void CreateDepthMap(uint8_t* current, const uint8_t* previous, double& totalDifference,
                      int32_t action, uint8_t* depthMap, int32_t width, int32_t height,
                      double& motion);
  // previous is not read (it may be null): the reference is the frame of the engine's last call
  // (or of Reset), or the current frame itself when there is none of this size.
  void CreateDepthMapFast(uint8_t* current, const uint8_t* previous, double& totalDifference,
                          int32_t action, uint8_t* depthMap, int32_t width, int32_t height,
                          double& motion, int32_t speedLevel);
  // Forgets the fast tracker's vectors (a new conversion starts) and takes `frame`, when given,
  // as its reference.
  void Reset(const uint8_t* frame = nullptr, int32_t width = 0, int32_t height = 0);

  void SmoothDepth(uint8_t* depthImage, int32_t width, int32_t height, int32_t blockSize);

  // The fast tracker, the clean-up and the renderer on a depth plane that the engine keeps (one
  // level a pixel: the blue bytes of the depth image), for a caller that wants the rendered view
  // and not the depth image. They give what the three calls above give, without the frame-sized
  // passes that write and read the depth image. The plane is the last CreateDepthPlaneFast's.
  void CreateDepthPlaneFast(const uint8_t* frame, double& totalDifference, int32_t action,
                            uint8_t* depthMap, int32_t width, int32_t height, double& motion,
                            int32_t speedLevel);
  void ClearDepthPlane();  // flat, farthest
  void SmoothDepthPlane(int32_t blockSize);
  void Make3DFromPlane(uint8_t* view, const uint8_t* source, uint8_t* depthMap, int32_t width,
                       int32_t height, float shiftPerLevel, int32_t frameShift, int32_t xInterp);
  void MatchDepthMap(uint8_t* depthImage, const uint8_t* picture, int32_t width, int32_t height);
  // view: the depth image on entry, the rendered view on return; source: the picture.
  void Make3D(uint8_t* view, const uint8_t* source, uint8_t* depthMap, int32_t width,
              int32_t height, float shiftPerLevel, int32_t frameShift, int32_t xInterp);

  // Threads a call may use. 0 (the default) lets the engine choose between every core and one
  // from the frame times that its user reports: cores busy with other work (a decoder, another
  // program) can make one thread faster than several that wait for each other.
  void SetThreads(int32_t threads) { threads_ = threads; }
  void ReportFrameTime(double seconds);
  // The block metrics (PlainBlockMetrics for checking the fast ones).
  void UseMetrics(const BlockMetrics& metrics) { metrics_ = &metrics; }

 private:
  struct Match {
    int32_t x = 0;  // byte column of the best position
    int32_t y = 0;  // row of the best position
    int32_t difference = 0;
  };
  struct Vector {
    int16_t dx = 0;  // pixels
    int16_t dy = 0;  // rows
  };

  int32_t Threads() const;
  // Copies the frame into incoming_ (rows of PaddedStride) and measures its row and column
  // profiles.
  void TakeFrame(const uint8_t* frame, int32_t width, int32_t height, std::vector<int64_t>& rowSums,
                 std::vector<int64_t>& columnSums);
  // Fills the block rows with the levels of `matches` (one a block, byte columns outer) by
  // `action`, clears the margins and copies the new levels into the depth map.
  void WriteDepth(uint8_t* current, int32_t width, int32_t height, int32_t action,
                  uint8_t* depthMap, const std::vector<Match>& matches);
  Match FastSearch(const uint8_t* block, int32_t bx, int32_t by, int32_t width, int32_t height,
                   const Vector* predictors, int32_t predictorCount, int32_t speedLevel) const;
  // The fast search of a frame against the reference, which the frame then becomes.
  std::vector<Match> TrackFast(const uint8_t* frame, int32_t width, int32_t height, int32_t speedLevel,
                               double& totalDifference, double& motion);
  void WritePlane(const uint8_t* frame, int32_t width, int32_t height, int32_t action,
                  uint8_t* depthMap, const std::vector<Match>& matches);
  // SmoothDMAP's passes on a plane, with `scratch` of the same size; returns the one that holds
  // the result.
  uint8_t* SmoothPlane(uint8_t* plane, uint8_t* scratch, int32_t width, int32_t height, int32_t blockSize);
  void RenderFromPlane(uint8_t* view, const uint8_t* source, uint8_t* depthMap, const uint8_t* levels,
                       int32_t width, int32_t height, float shiftPerLevel, int32_t frameShift,
                       int32_t xInterp);

  const BlockMetrics* metrics_;
  int32_t threads_ = 0;
  // The choice of threads: a cycle of a few frames on every core, as many on one, and then the
  // faster of the two for the rest of the cycle (see DepthTracking.cpp).
  int32_t cycleFrame_ = 0;
  double trialSeconds_[2] = {0.0, 0.0};
  bool oneIsFaster_ = false;

  // The fast tracker's frames: rows of 3W bytes and 32 more, so that every block position may be
  // read 32 bytes at a time.
  std::vector<uint8_t> reference_;
  std::vector<uint8_t> incoming_;
  int32_t referenceWidth_ = 0;
  int32_t referenceHeight_ = 0;
  std::vector<int64_t> referenceRows_;     // the reference's profiles (see DepthTracking.cpp)
  std::vector<int64_t> referenceColumns_;
  std::vector<Vector> vectors_;  // the last call's vectors, one a block, byte columns outer
  Vector meanVector_;

  // Planes of the clean-up and the renderer, kept from call to call (see DepthRendering.cpp).
  std::vector<uint8_t> depthPlane_;
  int32_t planeWidth_ = 0;
  int32_t planeHeight_ = 0;
  std::vector<uint8_t> levels_;
  std::vector<uint8_t> landed_;
  std::vector<uint8_t> resolved_;
  std::vector<uint8_t> background_;
  std::vector<uint16_t> distance_;
};

}  // namespace qv
