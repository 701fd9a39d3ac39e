#include <gtest/gtest.h>

#include "StillFiles.h"

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavutil/frame.h>
#include <libswscale/swscale.h>
}

#include <cstdio>
#include <memory>

#include "support/TestSupport.h"

namespace qv::test {

bool WriteJpeg(const cDIBSection& picture, const std::string& fileName) {
  const AVCodec* codec = avcodec_find_encoder(AV_CODEC_ID_MJPEG);
  if (codec == nullptr) return false;
  AVCodecContext* context = avcodec_alloc_context3(codec);
  AVFrame* frame = av_frame_alloc();
  AVPacket* packet = av_packet_alloc();
  bool ok = false;
  const int W = picture.Width(), H = picture.Height();
  context->width = W;
  context->height = H;
  context->pix_fmt = AV_PIX_FMT_YUVJ444P;
  context->time_base = {1, 25};
  context->flags |= AV_CODEC_FLAG_QSCALE;
  context->global_quality = FF_QP2LAMBDA;
  frame->format = AV_PIX_FMT_YUVJ444P;
  frame->width = W;
  frame->height = H;
  frame->quality = FF_QP2LAMBDA;
  if (avcodec_open2(context, codec, nullptr) == 0 && av_frame_get_buffer(frame, 0) == 0) {
    SwsContext* scale = sws_getContext(W, H, AV_PIX_FMT_BGR24, W, H, AV_PIX_FMT_YUV444P,
                                       SWS_POINT | SWS_ACCURATE_RND, nullptr, nullptr, nullptr);
    const int* matrix = sws_getCoefficients(SWS_CS_DEFAULT);
    sws_setColorspaceDetails(scale, matrix, 1, matrix, 1, 0, 1 << 16, 1 << 16);
    const PixelGrid grid = picture.Grid();
    const uint8_t* source[4] = {grid.DeviceRow(0), nullptr, nullptr, nullptr};
    const int stride[4] = {-grid.stride, 0, 0, 0};  // device rows run downwards in memory
    sws_scale(scale, source, stride, 0, H, frame->data, frame->linesize);
    sws_freeContext(scale);
    if (avcodec_send_frame(context, frame) == 0 && avcodec_send_frame(context, nullptr) == 0 &&
        avcodec_receive_packet(context, packet) == 0) {
      if (FILE* out = std::fopen(fileName.c_str(), "wb")) {
        ok = std::fwrite(packet->data, 1, static_cast<size_t>(packet->size), out) == static_cast<size_t>(packet->size);
        ok = (std::fclose(out) == 0) && ok;
      }
    }
  }
  av_packet_free(&packet);
  av_frame_free(&frame);
  avcodec_free_context(&context);
  return ok;
}

::testing::AssertionResult NearPicture(const cDIBSection& actual, const cDIBSection& expected, int tolerance) {
  if (actual.Width() != expected.Width() || actual.Height() != expected.Height()) {
    return ::testing::AssertionFailure() << "size " << actual.Width() << "x" << actual.Height() << ", expected "
                                         << expected.Width() << "x" << expected.Height();
  }
  int largest = 0;
  for (int y = 0; y < actual.Height(); ++y) {
    for (int x = 0; x < actual.Width(); ++x) {
      const Bgr a = PixelAt(actual, x, y), e = PixelAt(expected, x, y);
      largest = std::max({largest, std::abs(a.b - e.b), std::abs(a.g - e.g), std::abs(a.r - e.r)});
    }
  }
  if (largest <= tolerance) return ::testing::AssertionSuccess();
  return ::testing::AssertionFailure() << "pixels differ by up to " << largest << " (tolerance " << tolerance << ")";
}

}  // namespace qv::test
