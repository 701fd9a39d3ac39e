#include "cli/Cli.h"

#include <filesystem>
#include <iostream>
#include <string>
#include <string_view>
#include <vector>

#include "cli/Commands.h"
#include "cli/DemoClip.h"
#include "cli/Help.h"
#include "cli/ImageCommand.h"
#include "cli/OutputFiles.h"
#include "shell/Player.h"

#ifndef QUORVEX_VERSION
#define QUORVEX_VERSION "0.0.0"
#endif

namespace qv::cli {

namespace {

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
    const auto write = [](const std::string& temporary, std::string& why) {
      return WriteDemoClip(temporary, DemoClipOptions{}, why);
    };
    if (!WriteThroughTemporary(out, write, error)) {
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
