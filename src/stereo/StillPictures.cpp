#include "stereo/StillPictures.h"

extern "C" {
#include <libavutil/error.h>
#include <libavutil/pixdesc.h>
}

#include <sys/stat.h>

#include <algorithm>
#include <bit>
#include <cstring>
#include <fstream>
#include <functional>
#include <memory>
#include <vector>

#include "base/FfmpegHandles.h"

namespace qv {

static_assert(std::endian::native == std::endian::little,
              "BGRA bytes are read as 0xAARRGGBB words");

namespace {

std::string AvErrorText(int code) {
  char text[AV_ERROR_MAX_STRING_SIZE] = {};
  av_strerror(code, text, sizeof text);
  return text;
}

// The whole file, followed by the zero padding that FFmpeg's parsers may read past the end.
std::optional<std::vector<uint8_t>> ReadWholeFile(const std::string& fileName, std::string& failure) {
  struct stat info{};
  if (fileName.empty() || ::stat(fileName.c_str(), &info) != 0) {
    failure = "File not found: " + fileName;
    return std::nullopt;
  }
  if (!S_ISREG(info.st_mode)) {
    failure = "Not a picture file: " + fileName;
    return std::nullopt;
  }
  if (info.st_size <= 0 || info.st_size > kMaxStillFileBytes) {
    failure = (info.st_size <= 0 ? "The picture file is empty: " : "The file is too large for a picture: ") + fileName;
    return std::nullopt;
  }
  std::ifstream in(fileName, std::ios::binary);
  std::vector<uint8_t> bytes(static_cast<size_t>(info.st_size) + AV_INPUT_BUFFER_PADDING_SIZE, 0);
  if (!in.read(reinterpret_cast<char*>(bytes.data()), info.st_size)) {
    failure = "Cannot read the picture file: " + fileName;
    return std::nullopt;
  }
  return bytes;
}

// The file's bytes as an FFmpeg input, so that the format is found from the contents alone.
struct MemoryInput {
  const uint8_t* data;
  int64_t size;
  int64_t position = 0;
};

int ReadMemory(void* opaque, uint8_t* buffer, int size) {
  auto* in = static_cast<MemoryInput*>(opaque);
  const int64_t left = in->size - in->position;
  if (left <= 0) return AVERROR_EOF;
  const int n = static_cast<int>(std::min<int64_t>(left, size));
  std::memcpy(buffer, in->data + in->position, static_cast<size_t>(n));
  in->position += n;
  return n;
}

int64_t SeekMemory(void* opaque, int64_t offset, int whence) {
  auto* in = static_cast<MemoryInput*>(opaque);
  if (whence & AVSEEK_SIZE) return in->size;
  int64_t target = -1;
  switch (whence & ~AVSEEK_FORCE) {
    case SEEK_SET: target = offset; break;
    case SEEK_CUR: target = in->position + offset; break;
    case SEEK_END: target = in->size + offset; break;
    default: break;
  }
  if (target < 0 || target > in->size) return AVERROR(EINVAL);
  in->position = target;
  return target;
}

// The first picture of an in-memory file. `acceptCodec`, when given, restricts the decoders.
FramePtr DecodeFirstPicture(const std::vector<uint8_t>& bytes, const std::function<bool(AVCodecID)>& acceptCodec,
                            std::string& failure) {
  MemoryInput input{bytes.data(), static_cast<int64_t>(bytes.size() - AV_INPUT_BUFFER_PADDING_SIZE)};
  constexpr int kIoBufferSize = 1 << 16;
  AvBytesPtr ioBuffer(static_cast<uint8_t*>(av_malloc(kIoBufferSize)));
  if (ioBuffer == nullptr) {
    failure = "Out of memory";
    return nullptr;
  }
  const CustomIoPtr io(avio_alloc_context(ioBuffer.get(), kIoBufferSize, 0, &input, ReadMemory,
                                          nullptr, SeekMemory));
  if (!io) {
    failure = "Out of memory";
    return nullptr;
  }
  ioBuffer.release();  // the context owns it now
  // Declared after `io`: the format is closed before its input goes.
  InputFormatPtr format(avformat_alloc_context());
  if (format == nullptr) {
    failure = "Out of memory";
    return nullptr;
  }
  format->pb = io.get();
  format->flags |= AVFMT_FLAG_CUSTOM_IO;
  const int opened = OpenInput(format, "");
  if (opened < 0) {
    failure = "The file is not in a picture format that can be read (" + AvErrorText(opened) + ")";
    return nullptr;
  }

  const AVCodec* decoder = nullptr;
  const int stream = av_find_best_stream(format.get(), AVMEDIA_TYPE_VIDEO, -1, -1, &decoder, 0);
  if (stream < 0 || decoder == nullptr) {
    failure = "The file holds no picture that can be decoded";
    return nullptr;
  }
  if (acceptCodec && !acceptCodec(decoder->id)) {
    failure = std::string("The file holds a ") + decoder->name + " picture, not a JPEG one";
    return nullptr;
  }
  const CodecContextPtr codec(avcodec_alloc_context3(decoder));
  if (!codec || avcodec_parameters_to_context(codec.get(), format->streams[stream]->codecpar) < 0) {
    failure = "Out of memory";
    return nullptr;
  }
  codec->thread_count = 1;
  codec->max_pixels = kMaxPictureBytes / 4;  // what a picture may hold at four bytes a pixel
  if (const int r = avcodec_open2(codec.get(), decoder, nullptr); r < 0) {
    failure = "The picture decoder could not be started (" + AvErrorText(r) + ")";
    return nullptr;
  }

  FramePtr frame(av_frame_alloc());
  const PacketPtr packet(av_packet_alloc());
  if (!frame || !packet) {
    failure = "Out of memory";
    return nullptr;
  }
  int lastError = AVERROR_INVALIDDATA;
  auto receive = [&]() {
    const int r = avcodec_receive_frame(codec.get(), frame.get());
    if (r < 0 && r != AVERROR(EAGAIN) && r != AVERROR_EOF) lastError = r;
    return r == 0;
  };
  while (av_read_frame(format.get(), packet.get()) >= 0) {
    if (packet->stream_index == stream) {
      const int sent = avcodec_send_packet(codec.get(), packet.get());
      if (sent < 0 && sent != AVERROR(EAGAIN)) lastError = sent;
      av_packet_unref(packet.get());
      if (receive()) return frame;
    } else {
      av_packet_unref(packet.get());
    }
  }
  avcodec_send_packet(codec.get(), nullptr);
  if (receive()) return frame;
  failure = "The picture could not be decoded (" + AvErrorText(lastError) + ")";
  return nullptr;
}

AVPixelFormat WithoutJpegRange(AVPixelFormat format) {
  switch (format) {
    case AV_PIX_FMT_YUVJ420P: return AV_PIX_FMT_YUV420P;
    case AV_PIX_FMT_YUVJ422P: return AV_PIX_FMT_YUV422P;
    case AV_PIX_FMT_YUVJ444P: return AV_PIX_FMT_YUV444P;
    case AV_PIX_FMT_YUVJ440P: return AV_PIX_FMT_YUV440P;
    case AV_PIX_FMT_YUVJ411P: return AV_PIX_FMT_YUV411P;
    default: return format;
  }
}

// Converts a decoded picture to packed `target` pixels and hands each row, top row first, to
// `row`. False when the conversion cannot be set up.
bool ConvertRows(const AVFrame& frame, AVPixelFormat target,
                 const std::function<void(int32_t y, const uint8_t* pixels)>& row, std::string& failure) {
  const auto source = static_cast<AVPixelFormat>(frame.format);
  const AVPixelFormat plain = WithoutJpegRange(source);
  const bool fullRange = plain != source || frame.color_range == AVCOL_RANGE_JPEG;
  const ScalerPtr scale(sws_getContext(frame.width, frame.height, plain, frame.width, frame.height,
                                       target, SWS_BICUBIC | SWS_ACCURATE_RND | SWS_FULL_CHR_H_INT,
                                       nullptr, nullptr, nullptr));
  FramePtr out(av_frame_alloc());
  if (!scale || !out) {
    failure = "The picture's pixel format cannot be converted";
    return false;
  }
  const int colourspace = frame.colorspace == AVCOL_SPC_UNSPECIFIED || frame.colorspace == AVCOL_SPC_RGB
                              ? SWS_CS_DEFAULT
                              : frame.colorspace;
  // Fails harmlessly for RGB sources, which have no colour matrix.
  sws_setColorspaceDetails(scale.get(), sws_getCoefficients(colourspace), fullRange ? 1 : 0,
                           sws_getCoefficients(SWS_CS_DEFAULT), 1, 0, 1 << 16, 1 << 16);
  out->format = target;
  out->width = frame.width;
  out->height = frame.height;
  if (av_frame_get_buffer(out.get(), 0) < 0) {
    failure = "Out of memory";
    return false;
  }
  if (sws_scale(scale.get(), frame.data, frame.linesize, 0, frame.height, out->data, out->linesize) != frame.height) {
    failure = "The picture's pixel format cannot be converted";
    return false;
  }
  for (int32_t y = 0; y < frame.height; ++y) row(y, out->data[0] + static_cast<ptrdiff_t>(y) * out->linesize[0]);
  return true;
}

bool IsJpegData(const std::vector<uint8_t>& bytes) {
  return bytes.size() >= 3 + AV_INPUT_BUFFER_PADDING_SIZE && bytes[0] == 0xFF && bytes[1] == 0xD8 &&
         bytes[2] == 0xFF;
}

}  // namespace

std::optional<LoadedPicture> LoadPicture(const std::string& fileName, std::string* failure) {
  std::string why;
  auto fail = [&]() -> std::optional<LoadedPicture> {
    if (failure != nullptr) *failure = why;
    return std::nullopt;
  };
  const auto bytes = ReadWholeFile(fileName, why);
  if (!bytes) return fail();
  const FramePtr frame = DecodeFirstPicture(*bytes, nullptr, why);
  if (!frame) return fail();
  LoadedPicture picture;
  picture.width = frame->width;
  picture.height = frame->height;
  picture.pixels.resize(static_cast<size_t>(frame->width) * frame->height);
  const bool converted = ConvertRows(*frame, AV_PIX_FMT_BGRA, [&](int32_t y, const uint8_t* pixels) {
    std::memcpy(picture.pixels.data() + static_cast<size_t>(y) * picture.width, pixels,
                static_cast<size_t>(picture.width) * 4);
  }, why);
  if (!converted || picture.Empty()) return fail();
  return picture;
}

bool LoadStereoStill(PictureRef& frame, const std::string& fileName) {
  std::string why;
  const auto bytes = ReadWholeFile(fileName, why);
  if (!bytes || !IsJpegData(*bytes)) return false;
  const FramePtr decoded = DecodeFirstPicture(
      *bytes, [](AVCodecID id) { return id == AV_CODEC_ID_MJPEG || id == AV_CODEC_ID_JPEGLS; }, why);
  if (!decoded) return false;
  auto picture = std::make_shared<Picture>();
  if (!picture->Create(decoded->width, decoded->height)) return false;
  const PixelGrid grid = picture->Grid();
  const bool converted = ConvertRows(*decoded, AV_PIX_FMT_BGR24, [&](int32_t y, const uint8_t* pixels) {
    std::memcpy(grid.DeviceRow(y), pixels, static_cast<size_t>(grid.width) * 3);
  }, why);
  if (!converted) return false;
  frame = std::move(picture);
  return true;
}

}  // namespace qv
