// quorvex detect: opens a file as File>Open does (the script bridge, then the reader's open and
// layout guess) and reports what it found.

#include <charconv>
#include <iostream>
#include <string>

#include "cli/Commands.h"
#include "cli/OutputOptions.h"
#include "video/LayoutDetection.h"
#include "video/ScriptBridge.h"

namespace qv::cli {

namespace {

// The shortest text that reads back as the same single-precision value, always with a decimal
// point (25 -> "25.0", 29.97f -> "29.97").
std::string FormatRate(float rate) {
  char text[32];
  const auto result = std::to_chars(text, text + sizeof text, rate);
  std::string s(text, result.ptr);
  if (s.find_first_of(".en") == std::string::npos) s += ".0";
  return s;
}

}  // namespace

int RunDetect(const std::vector<std::string>& args) {
  std::string file;
  bool json = false;
  for (const std::string& a : args) {
    if (a == "--json") {
      json = true;
    } else if (!a.empty() && a[0] == '-' && a != "-") {
      std::cerr << "quorvex: unknown option " << a << "\nTry 'quorvex --help'.\n";
      return 2;
    } else if (file.empty()) {
      file = a;
    } else {
      std::cerr << "quorvex: detect takes one file\nTry 'quorvex --help'.\n";
      return 2;
    }
  }
  if (file.empty()) {
    std::cerr << "quorvex: detect needs a file\nTry 'quorvex --help'.\n";
    return 2;
  }

  const std::string script = MakeScript(file);
  const VideoFacts facts = DetectVideo(script.empty() ? file : script);
  const int32_t frames = facts.frames;
  const bool opened = frames >= 1;
  const std::string caption = opened ? LayoutCaption(facts.layout) : std::string();
  const int layout = opened ? NumberOf(facts.layout) : 0;
  const int32_t width = opened ? facts.width : 0;
  const int32_t height = opened ? facts.height : 0;
  const float rate = opened ? static_cast<float>(facts.frameRate) : 0.0f;
  if (json) {
    std::cout << "{\"layout\": \"" << caption << "\", \"layout_code\": " << layout
              << ", \"frames\": " << (opened ? frames : 0) << ", \"fps\": " << FormatRate(rate)
              << ", \"width\": " << width << ", \"height\": " << height << "}\n";
  } else if (opened) {
    std::cout << "layout: " << caption << " (" << layout << ")\n"
              << "frames: " << frames << "\n"
              << "fps: " << FormatRate(rate) << "\n"
              << "size: " << width << " x " << height << "\n";
  }
  return opened ? 0 : 1;
}

}  // namespace qv::cli
