#include "cli/Cli.h"

#include <filesystem>
#include <iostream>
#include <string>
#include <string_view>

#include <vector>

#include "cli/Commands.h"
#include "cli/DemoClip.h"
#include "cli/ImageCommand.h"
#include "playback/GlassesTypes.h"
#include "playback/OutputMethods.h"
#include "stereo/InputFormats.h"
#include "shell/Player.h"

#ifndef QUORVEX_VERSION
#define QUORVEX_VERSION "0.0.0"
#endif

namespace qv::cli {

namespace {

void PrintHelp(std::ostream& out) {
  out << "Quorvex " << QUORVEX_VERSION
      << " - plays stereoscopic video and turns 2D video into stereo\n\n"
         "Usage:\n"
         "  quorvex [FILE]                     start the player, opening FILE when given\n"
         "  quorvex detect FILE [--json]       report the guessed stereo layout of FILE\n"
         "  quorvex render FILE -o OUT.bmp|OUT.png [options]\n"
         "                                     compose one frame as playback would\n"
         "  quorvex convert FILE -o OUT [options]\n"
         "                                     compose a range of frames into a video file\n"
         "  quorvex image OPERATION IN... -o OUT.bmp|OUT.png [--ARGUMENT VALUE ...]\n"
         "                                     one operation of the image library on pictures\n"
         "                                     ('quorvex image --help' lists the operations)\n"
         "  quorvex demo [OUT]                 write the demo clip\n"
         "  quorvex --help | --version\n\n"
         "Options of render and convert:\n"
         "  --format auto|NAME|1.."
      << std::size(kInputFormats) << "    stereo layout of the input (default auto):\n";
  for (const InputFormatInfo& f : kInputFormats) {
    out << "      " << NumberOf(f.format) << "  " << f.name << std::string(18 - f.name.size(), ' ')
        << f.description << "\n";
  }
  out << "  --method NAME|1.." << std::size(kOutputMethods) << "         output method:\n";
  for (const OutputMethodInfo& m : kOutputMethods) {
    out << "      " << NumberOf(m.method) << "  " << m.name << std::string(22 - m.name.size(), ' ')
        << m.description << "\n";
  }
  out << "  --glasses NAME|1.." << std::size(kGlassesTypes) << " [--fullscreen]\n"
         "                             choose the method as Play and Full do:\n";
  for (const GlassesTypeInfo& g : kGlassesTypes) {
    out << "      " << NumberOf(g.type) << "  " << g.name << std::string(22 - g.name.size(), ' ')
        << g.caption << "\n";
  }
  out << "  --screen WxH               full-screen size (default: the stored setting)\n"
         "  --vert-offset K            sync-doubled gap divisor (default: the stored setting)\n"
         "  --frame N                  (render) frame to compose, from the stream's first\n"
         "  --start N --frames K       (convert) range of frames\n"
         "  --codec NAME               (convert) video encoder\n";
}

// Anything that is not a command and exists, or looks like a path or a file name with an
// extension, is a file for the player; other words are mistyped commands.
bool NamesAFile(std::string_view argument) {
  if (argument.empty() || argument[0] == '-') return false;
  std::error_code ignored;
  return std::filesystem::exists(std::string(argument), ignored) ||
         argument.find_first_of("/.") != std::string_view::npos;
}

}  // namespace

int Run(int argc, char** argv) {
  const std::string_view command = argc > 1 ? std::string_view(argv[1]) : std::string_view();
  if (command == "--help" || command == "-h") {
    PrintHelp(std::cout);
    return 0;
  }
  if (command == "--version") {
    std::cout << "quorvex " << QUORVEX_VERSION << "\n";
    return 0;
  }
  if (command == "demo") {
    if (argc > 3) {
      std::cerr << "usage: quorvex demo [OUT]\n";
      return 2;
    }
    const std::string out = argc > 2 ? argv[2] : "quorvex-demo.mkv";
    std::string error;
    if (!WriteDemoClip(out, DemoClipOptions{}, error)) {
      std::cerr << "quorvex: cannot write the demo clip " << out << ": " << error << "\n";
      return 1;
    }
    std::cout << out << "\n";
    return 0;
  }
  if (command.empty()) return RunPlayer(argc, argv, "");
  const std::vector<std::string> rest(argv + 2, argv + argc);
  if (command == "detect") return RunDetect(rest);
  if (command == "render") return RunRender(rest);
  if (command == "convert") return RunConvert(rest);
  if (command == "image") return RunImage(rest);
  if (NamesAFile(command)) {
    if (argc > 2) {
      std::cerr << "quorvex: the player opens one file\nTry 'quorvex --help'.\n";
      return 2;
    }
    return RunPlayer(argc, argv, std::string(command));
  }
  std::cerr << "quorvex: unknown command '" << command << "'\n"
            << "Try 'quorvex --help'.\n";
  return 2;
}

}  // namespace qv::cli
