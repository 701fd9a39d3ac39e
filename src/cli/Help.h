#pragma once
// What the program tells about its command line, kept as data: `quorvex --help`, the manual page
// and the shell completion are all written from it, and the value lists under --format, --method
// and --glasses are read from the mode tables. A new command or option is added here once.

#include <ostream>
#include <string>
#include <vector>

namespace qv::cli {

// One value an option takes, listed under it.
struct HelpValue {
  std::string number;  // "" when the value has no number
  std::string name;    // "" when the value is given only by its number
  std::string text;
};

struct HelpOption {
  std::vector<std::string> names;  // {"-o", "--output"}
  std::string argument;            // "OUT"; "" for a switch
  std::string text;
  std::vector<std::string> commands;  // the commands that take it; none: the program's own
  std::vector<HelpValue> values;
  bool takesFile = false;  // the argument names a file
};

// The word after a command that chooses what it does (an operation of `quorvex image`), with
// the options that only it takes.
struct HelpOperation {
  std::string name;
  std::string arguments;  // "IN", "LEFT RIGHT"
  std::string text;
  std::vector<HelpOption> options;
};

struct HelpCommand {
  std::string name;       // the word after `quorvex`; "" for the player itself
  std::string arguments;  // "FILE [--json]"
  std::string text;
  std::vector<HelpOperation> operations = {};  // listed by the command's own --help
};

// A term and what it means: an exit status, a variable, a file, an example.
struct HelpItem {
  std::string term;
  std::string text;
};

struct HelpPage {
  std::string summary;      // one line: what the program does
  std::string description;  // a paragraph for the manual page
  std::vector<HelpCommand> commands;
  std::vector<HelpOption> options;
  std::vector<HelpItem> exitStatus;
  std::vector<HelpItem> environment;
  std::vector<HelpItem> files;
  std::vector<HelpItem> examples;  // command lines without the leading "quorvex "
};

const HelpPage& Help();

// The options that `command` takes ("" for the program's own, which come before any command).
std::vector<const HelpOption*> OptionsOf(const std::string& command);

// `quorvex --help`.
void PrintHelp(std::ostream& out);
// The manual page quorvex(1), in the man macros of roff; `manual` is where the HTML manual is
// installed ("" leaves it out).
void PrintManPage(std::ostream& out, const std::string& manual);
// A bash completion script for quorvex (it needs bash-completion's helpers).
void PrintBashCompletion(std::ostream& out);

}  // namespace qv::cli
