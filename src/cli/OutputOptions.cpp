#include "cli/OutputOptions.h"

#include <charconv>
#include <iostream>
#include <limits>
#include <span>

#include "base/DisplayConfig.h"
#include "base/Error.h"
#include "base/Seams.h"
#include "shell/DisplaySettingsModel.h"
#include "shell/SettingsStore.h"
#include "shell/Startup.h"
#include "video/ScriptBridge.h"
#include "video/LayoutDetection.h"
#include "video/VideoFile.h"

namespace qv::cli {

namespace {

// A whole decimal number in [low, high], or nullopt.
std::optional<int64_t> Number(std::string_view text, int64_t low, int64_t high) {
  int64_t value = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (error != std::errc() || end != text.data() + text.size() || value < low || value > high) {
    return std::nullopt;
  }
  return value;
}

}  // namespace

InputFormat FormatForLayout(InputFormat layout) {
  return layout == InputFormat::Plain2D ? InputFormat::Converted2D : layout;
}

std::string LayoutCaption(InputFormat layout) {
  const InputFormatInfo* info = FindInputFormat(FormatForLayout(layout));
  return info != nullptr ? std::string(info->caption) : std::string();
}

OutputOptions ParseOutputOptions(const std::vector<std::string>& args, Command command) {
  OutputOptions o;
  const bool render = command == Command::kRender;
  for (size_t i = 0; i < args.size(); ++i) {
    std::string name = args[i];
    std::optional<std::string> inlineValue;
    if (name.rfind("--", 0) == 0 && name.find('=') != std::string::npos) {
      inlineValue = name.substr(name.find('=') + 1);
      name = name.substr(0, name.find('='));
    }
    auto value = [&]() -> std::string {
      if (inlineValue) return *inlineValue;
      if (i + 1 >= args.size()) throw UsageError("option " + name + " needs a value");
      return args[++i];
    };
    auto bad = [&](const std::string& v) {
      return UsageError("invalid value '" + v + "' for " + name);
    };

    if (name == "-o" || name == "--output") {
      o.output = value();
    } else if (name == "--format") {
      const std::string v = value();
      if (v == "auto") {
        o.format.reset();
      } else if (!(o.format = InputFormatByName(v))) {
        throw bad(v);
      }
    } else if (name == "--method") {
      const std::string v = value();
      if (!(o.method = OutputMethodByName(v))) throw bad(v);
    } else if (name == "--glasses") {
      const std::string v = value();
      if (!(o.glasses = GlassesTypeByName(v))) throw bad(v);
    } else if (name == "--fullscreen" && !inlineValue) {
      o.fullscreen = true;
    } else if (name == "--screen") {
      const std::string v = value();
      const size_t x = v.find('x');
      const auto w = x == std::string::npos ? std::nullopt
                                            : Number(std::string_view(v).substr(0, x), 1, 65535);
      const auto h = x == std::string::npos ? std::nullopt
                                            : Number(std::string_view(v).substr(x + 1), 1, 65535);
      if (!w || !h) throw bad(v);
      o.screenWidth = static_cast<int32_t>(*w);
      o.screenHeight = static_cast<int32_t>(*h);
    } else if (name == "--vert-offset") {
      const std::string v = value();
      const auto k =
          Number(v, DisplaySettingsModel::kVertOffsetMin, DisplaySettingsModel::kVertOffsetMax);
      if (!k) throw bad(v);
      o.vertOffset = static_cast<int16_t>(*k);
    } else if (render && name == "--frame") {
      const std::string v = value();
      const auto n = Number(v, 0, std::numeric_limits<int32_t>::max());
      if (!n) throw bad(v);
      o.frame = static_cast<int32_t>(*n);
    } else if (render && name == "--grid" && !inlineValue) {
      o.grid = true;
    } else if (render && name == "--depth-out") {
      o.depthOut = value();
    } else if (!render && name == "--start") {
      const std::string v = value();
      const auto n = Number(v, 0, std::numeric_limits<int32_t>::max());
      if (!n) throw bad(v);
      o.start = static_cast<int32_t>(*n);
    } else if (!render && name == "--frames") {
      const std::string v = value();
      const auto n = Number(v, 1, std::numeric_limits<int32_t>::max());
      if (!n) throw bad(v);
      o.frames = static_cast<int32_t>(*n);
    } else if (!render && name == "--codec") {
      o.codec = value();
    } else if (!render && name == "--no-sound" && !inlineValue) {
      o.noSound = true;
    } else if (!name.empty() && name[0] == '-' && name != "-") {
      throw UsageError("unknown option " + name);
    } else if (o.input.empty()) {
      o.input = args[i];
    } else {
      throw UsageError("more than one input file");
    }
  }
  if (o.input.empty()) throw UsageError("no input file");
  if (o.output.empty()) throw UsageError("no output file (-o OUT)");
  if (o.method && o.glasses)
    throw UsageError("--method and --glasses both choose the method; give one");
  return o;
}

void LoadDisplaySettings(const OutputOptions& options) {
  SettingsStore store;
  DisplaySettingsModel dialog;
  StartEngine(store, dialog);
  if (options.screenWidth) gDisplay.ScreenWidth = *options.screenWidth;
  if (options.screenHeight) gDisplay.ScreenHeight = *options.screenHeight;
  if (options.vertOffset) gDisplay.VertOffset = *options.vertOffset;
}

void CountingSink::ShowMessage(const std::string& text, int, const std::string& title) {
  std::cerr << (title.empty() ? kAppName : title) << ": " << text << std::endl;
  ++count_;
}

std::optional<std::string> CountingSink::InputBox(const std::string&, const std::string&,
                                                  const std::string& defaultAnswer) {
  return defaultAnswer;
}

int Fail(const std::string& why) {
  std::cerr << "quorvex: " << why << "\n";
  return 1;
}

int ChooseInput(const OutputOptions& options, std::string& fileToOpen, InputFormat& inputFormat) {
  // Refused before a script is written for it, with the message that opening it would give: the
  // layout guess's, or the reader's when the format is given.
  if (const auto problem = LocalFileProblem(options.input)) {
    MsgBox((options.format ? "An error occurred in OpenVideo. \n" : "Unable to open AVI file.\n") +
           options.input + ": " + *problem);
    return 1;
  }
  const std::string script = MakeScript(options.input);
  fileToOpen = script.empty() ? options.input : script;
  if (options.format) {
    inputFormat = *options.format;
  } else {
    const VideoFacts facts = DetectVideo(fileToOpen);
    if (facts.frames < 1) return 1;
    inputFormat = FormatForLayout(facts.layout);
  }
  return 0;
}

PlaybackRequest BuildRequest(const OutputOptions& options, const std::string& fileToOpen,
                             InputFormat inputFormat) {
  PlaybackRequest request;
  request.FileName = fileToOpen;
  request.AudioFile = options.input;  // pacing and option fields: the defaults Play uses
  request.InputFormat = inputFormat;
  request.Fullscreen = options.fullscreen;
  if (options.method) {
    request.OutputMethod = *options.method;
  } else {
    const int glasses = options.glasses ? NumberOf(*options.glasses) : gDisplay.GlassesType;
    request.OutputMethod = OutputMethodFor(glasses, options.fullscreen).value_or(OutputMethod{0});
  }
  return request;
}

}  // namespace qv::cli
