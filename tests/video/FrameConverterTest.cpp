// The conversion of decoded frames into bottom-up BGR rows: that nothing outside the 3 x width
// bytes of each row is written, for every width from 1 up and the pixel formats decoders hand
// out, and video-range grey at any size. (The pixels themselves are compared with ffmpeg's own
// decode in the reader tests.)
#include <gtest/gtest.h>

#include <cstring>
#include <vector>

#include "base/FfmpegHandles.h"
#include "image/Canvas.h"
#include "video/FrameConverter.h"

extern "C" {
#include <libavutil/pixdesc.h>
}

namespace qv {
namespace {

// A frame whose every plane byte is a deterministic function of its position.
FramePtr MakeFrame(AVPixelFormat format, int width, int height) {
  FramePtr frame(av_frame_alloc());
  frame->format = format;
  frame->width = width;
  frame->height = height;
  if (av_frame_get_buffer(frame.get(), 0) < 0) return nullptr;
  for (int plane = 0; plane < 4 && frame->data[plane] != nullptr; ++plane) {
    if (format == AV_PIX_FMT_PAL8 && plane == 1) {
      for (int i = 0; i < 1024; ++i) frame->data[1][i] = static_cast<uint8_t>(i * 7 + 3);
      continue;
    }
    const int rows =
        plane == 0 ? height : AV_CEIL_RSHIFT(height, av_pix_fmt_desc_get(format)->log2_chroma_h);
    for (int y = 0; y < rows; ++y) {
      for (int x = 0; x < frame->linesize[plane]; ++x) {
        frame->data[plane][y * frame->linesize[plane] + x] =
            static_cast<uint8_t>(x * 13 + y * 31 + plane * 57);
      }
    }
  }
  return frame;
}

constexpr uint8_t kGuard = 0xA5;
constexpr int kGuardBytes = 64;

TEST(FrameConverter, WritesOnlyTheRowsBytesForEveryWidthAndFormat) {
  const AVPixelFormat formats[] = {AV_PIX_FMT_YUV420P,  AV_PIX_FMT_YUV422P, AV_PIX_FMT_YUV444P,
                                   AV_PIX_FMT_YUVJ420P, AV_PIX_FMT_NV12,    AV_PIX_FMT_YUV420P10LE,
                                   AV_PIX_FMT_RGB24,    AV_PIX_FMT_BGR24,   AV_PIX_FMT_BGR0,
                                   AV_PIX_FMT_GBRP,     AV_PIX_FMT_GRAY8,   AV_PIX_FMT_PAL8};
  FrameConverter converter;
  for (AVPixelFormat format : formats) {
    for (int width : {1, 2, 3, 5, 7, 8, 9, 15, 17, 33, 161}) {
      for (int height : {1, 2, 3, 97}) {
        SCOPED_TRACE(std::string(av_get_pix_fmt_name(format)) + " " + std::to_string(width) + "x" +
                     std::to_string(height));
        FramePtr frame = MakeFrame(format, width, height);
        ASSERT_NE(frame, nullptr);
        const int stride = static_cast<int>(StrideFor(width));
        std::vector<uint8_t> memory(static_cast<size_t>(stride) * height + kGuardBytes, kGuard);
        ASSERT_TRUE(converter.Convert(*frame, memory.data(), stride, width, height));
        for (int y = 0; y < height; ++y) {
          for (int k = 3 * width; k < stride; ++k)
            ASSERT_EQ(memory[y * stride + k], kGuard) << "row " << y;
        }
        for (int k = 0; k < kGuardBytes; ++k) ASSERT_EQ(memory[stride * height + k], kGuard);
      }
    }
  }
}

TEST(FrameConverter, VideoRangeGreyAndFramesOfAnotherSizeConvert) {
  FrameConverter converter;
  // Mid grey in video range (Y 126, U = V = 128) is full-range 128.
  FramePtr grey = MakeFrame(AV_PIX_FMT_YUV420P, 6, 4);
  std::memset(grey->data[0], 126, grey->linesize[0] * 4);
  std::memset(grey->data[1], 128, grey->linesize[1] * 2);
  std::memset(grey->data[2], 128, grey->linesize[2] * 2);
  for (int width : {6, 12, 3}) {  // same size, enlarged, reduced
    const int height = width * 2 / 3, stride = static_cast<int>(StrideFor(width));
    std::vector<uint8_t> memory(static_cast<size_t>(stride) * height + kGuardBytes, kGuard);
    ASSERT_TRUE(converter.Convert(*grey, memory.data(), stride, width, height));
    for (int y = 0; y < height; ++y) {
      for (int k = 0; k < 3 * width; ++k) EXPECT_NEAR(memory[y * stride + k], 128, 1);
    }
    EXPECT_EQ(memory[stride * height], kGuard);
  }
}

}  // namespace
}  // namespace qv
