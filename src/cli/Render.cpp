// quorvex render: one frame fetched, decoded, converted and composed exactly as a playback session
// would, written to a picture file. 2D video turned into stereo is converted from up to 60 frames
// before the frame on, so that the frame has the depth and the state that playback reaches there.

#include <algorithm>
#include <optional>
#include <iostream>
#include <string>

#include "base/Error.h"
#include "cli/Commands.h"
#include "cli/OutputOptions.h"
#include "cli/OutputFiles.h"
#include "base/Seams.h"
#include "image/BufferHelpers.h"
#include "playback/FrameConversion.h"
#include "playback/OutputDispatch.h"
#include "playback/PlaybackContext.h"

namespace qv::cli {

namespace {

bool EndsWithNoCase(std::string text, const std::string& tail) {
  for (char& c : text) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return text.size() >= tail.size() &&
         text.compare(text.size() - tail.size(), tail.size(), tail) == 0;
}

// Frames converted before the one rendered.
constexpr int32_t kConversionLeadIn = 60;

// Fetches, decodes and, for converted formats, converts frame `offset` of the open video.
int DecodeOne(PlaybackContext& context, PlaybackRequest& request, int32_t offset) {
  const VideoReaderState& video = context.Video;
  PictureRef& source = context.Frames.SourceFrame;
  if (!source || source->Width() != video.FrameFormat.biWidth ||
      source->Height() != video.FrameFormat.biHeight) {
    source = std::make_shared<Picture>();
    if (!source->CreateToOverwrite(video.FrameFormat.biWidth, video.FrameFormat.biHeight)) {
      return Fail("no memory for frames of this size");
    }
  }
  if (!FetchFrame(context.Video, video.StreamStart + offset, *source)) {
    return Fail("frame " + std::to_string(offset) + " could not be decoded");
  }
  if (!CanPassThrough(request) && !DecodeFrame(context, request)) return 1;
  return 0;
}

// Frame `offset` of the open video into Frames.OutputFrame: composed, or for `grid` the nine-view
// grid of the converted frame.
int ComposeOne(PlaybackContext& context, PlaybackRequest& request, int32_t offset, bool grid) {
  const VideoReaderState& video = context.Video;
  if (offset >= video.StreamLength) {
    return Fail("frame " + std::to_string(offset) + " is past the end of the video (" +
                std::to_string(video.StreamLength) + " frames)");
  }
  FrameBuffers& frames = context.Frames;
  const bool converted = FindInputFormat(request.InputFormat)->converted;
  const int32_t first = converted ? std::max(0, offset - kConversionLeadIn) : offset;
  for (int32_t n = first; n <= offset; ++n) {
    if (const int status = DecodeOne(context, request, n); status != 0) return status;
    if (converted) ConvertFrame(context, n > first, grid ? 1 : 0);
  }
  if (CanPassThrough(request)) {
    CopyDIB(frames.SourceFrame, frames.OutputFrame, true);
  } else if (!grid) {
    ComposeFrame(context, request, true);
  }
  if (!frames.OutputFrame || frames.OutputFrame->Bits() == nullptr) {
    return Fail("no frame was composed");
  }
  return 0;
}

int WritePicture(const Picture& picture, const std::string& file) {
  std::string why;
  if (!WritePictureFile(picture, file, why)) return Fail("cannot write " + file + ": " + why);
  return 0;
}

// The depth map of the last converted frame as a grey picture of the frame's size.
PictureRef DepthPicture(const PlaybackContext& context) {
  const DepthMap& depth = context.Conversion.Depth();
  auto picture = std::make_shared<Picture>();
  if (!picture->Create(std::max(depth.Cols() - 1, 0), std::max(depth.Rows() - 1, 0))) return nullptr;
  const PixelGrid grid = picture->Grid();
  for (int32_t y = 0; y < grid.height; ++y) {
    const uint8_t* levels = depth.Row(y);
    uint8_t* row = grid.MemoryRow(y);
    for (int32_t x = 0; x < grid.width; ++x) row[3 * x] = row[3 * x + 1] = row[3 * x + 2] = levels[x];
  }
  return picture;
}

}  // namespace

int RunRender(const std::vector<std::string>& args) {
  OutputOptions options;
  try {
    options = ParseOutputOptions(args, Command::kRender);
    if (!EndsWithNoCase(options.output, ".bmp") && !EndsWithNoCase(options.output, ".png")) {
      throw UsageError("the output file must end in .bmp or .png");
    }
  } catch (const UsageError& e) {
    std::cerr << "quorvex: " << e.what() << "\nTry 'quorvex --help'.\n";
    return 2;
  }
  for (const std::string* output : {&options.output, &options.depthOut}) {
    if (!output->empty() && SameFile(options.input, *output)) {
      return Fail("the output file " + *output + " is the input file");
    }
  }
  if (!options.depthOut.empty() && SameFile(options.output, options.depthOut)) {
    return Fail("-o and --depth-out name the same file " + options.output);
  }
  LoadDisplaySettings(options);
  const bool depthWanted = options.grid || !options.depthOut.empty();
  if (!options.depthOut.empty() && !EndsWithNoCase(options.depthOut, ".bmp") &&
      !EndsWithNoCase(options.depthOut, ".png")) {
    std::cerr << "quorvex: the depth file must end in .bmp or .png\nTry 'quorvex --help'.\n";
    return 2;
  }

  std::string fileToOpen;
  InputFormat format{};
  if (const int status = ChooseInput(options, fileToOpen, format); status != 0) return status;
  if (depthWanted && !FindInputFormat(format)->converted) {
    const std::string why = "--grid and --depth-out show the depth of 2D video turned into stereo "
                            "(--format 2d-to-3d)";
    if (options.format) {
      std::cerr << "quorvex: " << why << "\nTry 'quorvex --help'.\n";
      return 2;
    }
    return Fail(options.input + " does not look like 2D video; " + why);
  }

  PlaybackRequest request = BuildRequest(options, fileToOpen, format);
  request.StartOffset = options.frame;
  PlaybackContext context;
  context.Display = gDisplay;
  CountingSink messages;
  SetMessageSink(&messages);
  struct SinkGuard {
    ~SinkGuard() { SetMessageSink(nullptr); }
  } sinkGuard;
  if (!OpenVideo(request.FileName, context.Video)) return 1;
  const int status = ComposeOne(context, request, request.StartOffset, options.grid);
  CloseVideo(context.Video);
  if (status != 0) return status;
  if (messages.Count() > 0) {
    return Fail("frame " + std::to_string(options.frame) + " could not be composed as asked; " +
                options.output + " was not written");
  }

  if (const int written = WritePicture(*context.Frames.OutputFrame, options.output); written != 0) {
    return written;
  }
  if (!options.depthOut.empty()) {
    const PictureRef depth = DepthPicture(context);
    if (!depth) return Fail("the depth of frame " + std::to_string(options.frame) + " is empty");
    return WritePicture(*depth, options.depthOut);
  }
  return 0;
}

}  // namespace qv::cli
