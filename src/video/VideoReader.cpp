#include "video/VideoReader.h"

#include "base/Error.h"
#include "base/Seams.h"

namespace qv {

namespace {

constexpr const char* kOpenVideoFailed = "An error occurred in OpenVideo. ";
constexpr const char* kUnableToDecompress = "Unable to decompress this video stream.";

}  // namespace

StreamInfoRecord InfoOf(const VideoFile& file) {
  StreamInfoRecord info;
  info.dwRate = file.Rate();
  info.dwScale = file.Scale();
  info.rcFrame = FrameRect{0, 0, file.Width(), file.Height()};
  return info;
}

BitmapInfoHeader FormatOf(const StreamInfoRecord& info) {
  return BitmapInfoHeader::For24Bit(info.rcFrame.right - info.rcFrame.left,
                                    info.rcFrame.bottom - info.rcFrame.top);
}

bool OpenVideo(const std::string& fileName, VideoReaderState& video) {
  try {
    auto file = std::make_unique<VideoFile>();
    const VideoFile::OpenStatus status = file->Open(fileName);
    if (status == VideoFile::OpenStatus::kNotOpened) {
      MsgBox(kOpenVideoFailed + ("\n" + file->FailureText()));
      return false;
    }
    video.StreamStart = 0;
    video.StreamLength = file->Length();
    video.StreamInfo = InfoOf(*file);
    video.FrameFormat = FormatOf(video.StreamInfo);
    if (status == VideoFile::OpenStatus::kNoDecoder) {
      MsgBox(kUnableToDecompress, msg::kInformation, kAppName);
      MsgBox(kOpenVideoFailed + ("\n" + file->FailureText()));
      return false;
    }
    video.FrameGetter = std::move(file);
    return true;
  } catch (const std::exception& e) {
    MsgBox(kOpenVideoFailed + DescribeError(e));
    return false;
  }
}

void CloseVideo(VideoReaderState& video) {
  video.FrameGetter.reset();
}

bool FetchFrame(VideoReaderState& video, int32_t frame, Picture& into) {
  VideoFile* file = video.FrameGetter.get();
  const BitmapInfoHeader& format = video.FrameFormat;
  if (file == nullptr || into.Width() != format.biWidth || into.Height() != format.biHeight ||
      into.Width() <= 0 || into.Height() <= 0) {
    return false;
  }
  const int64_t offset = int64_t{frame} - video.StreamStart;
  if (offset < 0 || offset >= video.StreamLength) return false;
  if (!file->DecodeFrame(static_cast<int32_t>(offset))) return false;
  // Every pixel is written: memory the picture shares with views cut from it is replaced, not
  // copied (the views keep the previous frame).
  return file->DeliverFrame(into.BitsForOverwrite(), into.BytesPerScanLine(), into.Width(),
                            into.Height());
}

PackedFrameGetter::PackedFrameGetter(VideoFile& file, const BitmapInfoHeader& format)
    : file_(file), format_(format) {}

const uint8_t* PackedFrameGetter::GetFrame(int32_t frame) {
  if (frame < 0 || frame >= file_.Length()) return nullptr;
  const size_t header = BitmapInfoHeader::kBytes;
  if (packed_.empty()) {
    packed_.resize(header + format_.biSizeImage);
    const auto bytes = format_.ToBytes();
    std::copy(bytes.begin(), bytes.end(), packed_.begin());
  }
  const int32_t stride = static_cast<int32_t>(StrideFor(format_.biWidth));
  if (!file_.ReadFrame(frame, packed_.data() + header, stride, format_.biWidth, format_.biHeight)) {
    return nullptr;
  }
  return packed_.data();
}

}  // namespace qv
