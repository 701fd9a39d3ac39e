#pragma once
// The options that `render` and `convert` share: which input format and output method, the
// display settings that override the stored ones, and the playback request built from them the
// way Play and Full build it. Names and numbers come from the mode tables (stereo/InputFormats.h,
// playback/OutputMethods.h, playback/GlassesTypes.h).

#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "base/Seams.h"
#include "playback/GlassesTypes.h"
#include "playback/PlaybackRequest.h"

namespace qv::cli {

// A command line that does not say what it should (exit status 2).
class UsageError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

struct OutputOptions {
  std::string input;                   // FILE
  std::string output;                  // -o OUT
  std::optional<InputFormat> format;    // --format; nullopt = auto (the guessed layout)
  std::optional<OutputMethod> method;   // --method
  std::optional<GlassesType> glasses;   // --glasses; nullopt = the stored glasses type
  bool fullscreen = false;             // --fullscreen
  std::optional<int32_t> screenWidth;  // --screen WxH
  std::optional<int32_t> screenHeight;
  std::optional<int16_t> vertOffset;  // --vert-offset K
  int32_t frame = 0;                  // render: --frame N, from the stream's first frame
  bool grid = false;                  // render: --grid, the nine-view grid of a converted frame
  std::string depthOut;               // render: --depth-out FILE, the converted frame's depth
  int32_t start = 0;                  // convert: --start N
  std::optional<int32_t> frames;      // convert: --frames K
  std::string codec;                  // convert: --codec NAME
  bool noSound = false;               // convert: --no-sound
};

enum class Command { kRender, kConvert };

// Parses the arguments that follow the command's name. Raises UsageError.
OutputOptions ParseOutputOptions(const std::vector<std::string>& args, Command command);

// The input format the Format menu chooses for a guessed layout: plain 2D means conversion.
InputFormat FormatForLayout(InputFormat layout);
// The Format menu's caption for a guessed layout ("2D", "Parallel", "Above/Below").
std::string LayoutCaption(InputFormat layout);

// Loads the stored settings into the display configuration (as the program does at start-up)
// and applies --screen and --vert-offset.
void LoadDisplaySettings(const OutputOptions& options);

// The program's messages on standard error, counted: a message while frames are made (a
// composer's error, say) means that the output is not what was asked for.
class CountingSink : public MessageSink {
 public:
  void ShowMessage(const std::string& text, int style, const std::string& title) override;
  std::optional<std::string> InputBox(const std::string& prompt, const std::string& title,
                                      const std::string& defaultAnswer) override;
  int Count() const { return count_; }

 private:
  int count_ = 0;
};

// Prints "quorvex: " and why to standard error; returns 1, the status of an input that could not
// be processed.
int Fail(const std::string& why);

// What Play would open for the input (the script the bridge writes for it, or the input itself)
// and its input format: --format, or the one the guessed layout chooses. 0 when both are known;
// otherwise 1, after telling the user why the file could not be opened.
int ChooseInput(const OutputOptions& options, std::string& fileToOpen, InputFormat& inputFormat);

// The request that Play (or Full, with --fullscreen) would build for `fileToOpen` (the input or
// its script): the method from --method or from the glasses type and window mode; 0 when the
// stored glasses type names no glasses, which the dispatch reports.
PlaybackRequest BuildRequest(const OutputOptions& options, const std::string& fileToOpen,
                             InputFormat inputFormat);

}  // namespace qv::cli
