#include "cli/PictureFiles.h"

#include <cerrno>
#include <cstdio>

#include "base/FfmpegHandles.h"
#include "base/FileGuard.h"

namespace qv::cli {

namespace {
std::string ErrorText(int code) {
  char text[AV_ERROR_MAX_STRING_SIZE] = {};
  av_strerror(code, text, sizeof text);
  return text;
}
}  // namespace

bool SavePng(const Picture& picture, const std::string& fileName, std::string& why) {
  const PixelGrid grid = picture.Grid();
  const AVCodec* codec = avcodec_find_encoder(AV_CODEC_ID_PNG);
  if (grid.Empty() || codec == nullptr) {
    why = grid.Empty() ? "there is no picture" : "no PNG encoder";
    return false;
  }
  const CodecContextPtr context(avcodec_alloc_context3(codec));
  const FramePtr frame(av_frame_alloc());
  const PacketPtr packet(av_packet_alloc());
  if (!context || !frame || !packet) {
    why = ErrorText(AVERROR(ENOMEM));
    return false;
  }
  context->width = grid.width;
  context->height = grid.height;
  context->pix_fmt = AV_PIX_FMT_RGB24;
  context->time_base = AVRational{1, 1};
  int r = avcodec_open2(context.get(), codec, nullptr);
  frame->format = AV_PIX_FMT_RGB24;
  frame->width = grid.width;
  frame->height = grid.height;
  if (r >= 0) r = av_frame_get_buffer(frame.get(), 0);
  if (r < 0) {
    why = ErrorText(r);
    return false;
  }
  for (int32_t y = 0; y < grid.height; ++y) {  // top-down RGB from bottom-up BGR
    const uint8_t* in = grid.DeviceRow(y);
    uint8_t* out = frame->data[0] + static_cast<ptrdiff_t>(y) * frame->linesize[0];
    for (int32_t x = 0; x < grid.width; ++x) {
      out[3 * x] = in[3 * x + 2];
      out[3 * x + 1] = in[3 * x + 1];
      out[3 * x + 2] = in[3 * x];
    }
  }
  r = avcodec_send_frame(context.get(), frame.get());
  if (r >= 0) r = avcodec_send_frame(context.get(), nullptr);
  if (r >= 0) r = avcodec_receive_packet(context.get(), packet.get());
  if (r < 0) {
    why = ErrorText(r);
    return false;
  }
  FileStreamPtr file(std::fopen(fileName.c_str(), "wb"));
  if (file == nullptr) {
    why = ErrorText(AVERROR(errno));
    return false;
  }
  const bool written = std::fwrite(packet->data, 1, static_cast<size_t>(packet->size),
                                   file.get()) == static_cast<size_t>(packet->size);
  const bool closed = CloseStream(file);
  if (!written || !closed) {
    why = "the file could not be written";
    return false;
  }
  return true;
}

}  // namespace qv::cli
