// The help is what --help, the manual page and the shell completion tell users: every option and
// value it lists for render and convert must be one that the command accepts, and its examples
// must be command lines that parse.
#include <gtest/gtest.h>

#include <map>
#include <sstream>

#include "cli/Help.h"
#include "cli/OutputOptions.h"

namespace qv::cli {
namespace {

const std::map<std::string, Command> kCommands = {{"render", Command::kRender},
                                                  {"convert", Command::kConvert}};

// A value of the kind the option's argument names, for options that list no values.
std::string SampleArgument(const std::string& argument) {
  static const std::map<std::string, std::string> samples = {
      {"OUT", "out.png"}, {"WxH", "640x480"}, {"N", "1"}, {"K", "1"}, {"NAME", "libx264"}};
  const auto found = samples.find(argument);
  return found != samples.end() ? found->second : argument;
}

std::string Parses(const std::vector<std::string>& args, Command command) {
  try {
    ParseOutputOptions(args, command);
    return "";
  } catch (const UsageError& e) {
    return e.what();
  }
}

TEST(Help, EveryListedOptionAndValueIsAccepted) {
  for (const auto& [command, kind] : kCommands) {
    ASSERT_FALSE(OptionsOf(command).empty()) << command;
    for (const HelpOption* option : OptionsOf(command)) {
      std::vector<std::string> values;
      for (const HelpValue& value : option->values) {
        if (!value.number.empty()) values.push_back(value.number);
        if (!value.name.empty()) values.push_back(value.name);
      }
      if (values.empty() && !option->argument.empty()) {
        values.push_back(SampleArgument(option->argument));
      }
      if (values.empty()) values.push_back("");  // a switch
      for (const std::string& name : option->names) {
        for (const std::string& value : values) {
          std::vector<std::string> args = {"in.mkv", "-o", "out.png", name};
          if (!value.empty()) args.push_back(value);
          EXPECT_EQ(Parses(args, kind), "") << command << " " << name << " " << value;
        }
      }
    }
  }
}

TEST(Help, ExamplesParse) {
  int parsed = 0;
  for (const HelpItem& example : Help().examples) {
    std::istringstream words(example.term);
    std::string command, word;
    words >> command;
    std::vector<std::string> args;
    while (words >> word) args.push_back(word);
    const auto found = kCommands.find(command);
    if (found == kCommands.end()) continue;
    EXPECT_EQ(Parses(args, found->second), "") << example.term;
    ++parsed;
  }
  EXPECT_GE(parsed, 2);
}

}  // namespace
}  // namespace qv::cli
