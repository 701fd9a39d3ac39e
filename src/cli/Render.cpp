// quorvex render: one frame fetched, decoded, converted and composed exactly as a playback session
// would, written to a picture file.

#include <iostream>
#include <string>

#include "base/Error.h"
#include "cli/Commands.h"
#include "cli/OutputOptions.h"
#include "cli/PictureFiles.h"
#include "image/BufferHelpers.h"
#include "playback/OutputDispatch.h"
#include "playback/PlaybackContext.h"

namespace qv::cli {

namespace {

bool EndsWithNoCase(std::string text, const std::string& tail) {
  for (char& c : text) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return text.size() >= tail.size() &&
         text.compare(text.size() - tail.size(), tail.size(), tail) == 0;
}

// Fetches, decodes and composes frame `offset` of the open video into Frames.OutputFrame.
int ComposeOne(PlaybackContext& context, PlaybackRequest& request, int32_t offset) {
  const VideoReaderState& video = context.Video;
  if (offset >= video.StreamLength) {
    return Fail("frame " + std::to_string(offset) + " is past the end of the video (" +
                std::to_string(video.StreamLength) + " frames)");
  }
  FrameBuffers& frames = context.Frames;
  PictureRef& source = frames.SourceFrame;
  source = std::make_shared<Picture>();
  if (!source->CreateToOverwrite(video.FrameFormat.biWidth, video.FrameFormat.biHeight)) {
    return Fail("no memory for frames of this size");
  }
  if (!FetchFrame(context.Video, video.StreamStart + offset, *source)) {
    return Fail("frame " + std::to_string(offset) + " could not be decoded");
  }
  if (CanPassThrough(request)) {
    CopyDIB(source, frames.OutputFrame, true);
  } else {
    if (!DecodeFrame(context, request)) return 1;
    ComposeFrame(context, request, true);
  }
  if (!frames.OutputFrame || frames.OutputFrame->Bits() == nullptr) {
    return Fail("no frame was composed");
  }
  return 0;
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
  LoadDisplaySettings(options);

  std::string fileToOpen;
  InputFormat format{};
  if (const int status = ChooseInput(options, fileToOpen, format); status != 0) return status;

  PlaybackRequest request = BuildRequest(options, fileToOpen, format);
  request.StartOffset = options.frame;
  PlaybackContext context;
  context.Display = gDisplay;
  if (!OpenVideo(request.FileName, context.Video)) return 1;
  const int status = ComposeOne(context, request, request.StartOffset);
  CloseVideo(context.Video);
  if (status != 0) return status;

  const Picture& out = *context.Frames.OutputFrame;
  if (EndsWithNoCase(options.output, ".png")) {
    std::string why;
    if (!SavePng(out, options.output, why))
      return Fail("cannot write " + options.output + ": " + why);
  } else {
    try {
      if (!out.SavePicture(options.output)) return Fail("cannot write " + options.output);
    } catch (const std::exception& e) {
      return Fail("cannot write " + options.output + ": " + DescribeError(e));
    }
  }
  return 0;
}

}  // namespace qv::cli
