#include "cli/Help.h"

#include <algorithm>
#include <cctype>
#include <iomanip>
#include <set>
#include <span>
#include <sstream>
#include <string_view>

#include "cli/ImageOperations.h"

#include "playback/GlassesTypes.h"
#include "playback/OutputMethods.h"
#include "stereo/InputFormats.h"

#ifndef QUORVEX_VERSION
#define QUORVEX_VERSION "0.0.0"
#endif

namespace qv::cli {

namespace {

// A mode table as the help lists it: every row's number, command-line name and text, and the
// range of the numbers ("1..7").
struct ModeList {
  std::vector<HelpValue> values;
  std::string range;
};

// `key` is the row's enum member, `text` the member that explains it.
template <typename Row, typename Enum>
ModeList ListModes(std::span<const Row> table, Enum Row::*key, std::string_view Row::*text) {
  ModeList list;
  int low = 0, high = 0;
  for (const Row& row : table) {
    const int number = static_cast<int>(row.*key);
    low = list.values.empty() ? number : std::min(low, number);
    high = list.values.empty() ? number : std::max(high, number);
    list.values.push_back({std::to_string(number), std::string(row.name), std::string(row.*text)});
  }
  list.range = std::to_string(low) + ".." + std::to_string(high);
  return list;
}

// The operations of `quorvex image` as its own --help lists them.
std::vector<HelpOperation> ImageOperationsHelp() {
  const auto number = [](double value) {
    std::ostringstream text;
    text << std::setprecision(12) << value;
    return text.str();
  };
  std::vector<HelpOperation> operations;
  for (const ImageOperation& op : ImageOperations()) {
    HelpOperation operation{std::string(op.name),
                            std::string(op.inputs),
                            std::string(op.description) + " (" + std::string(op.member) + ")",
                            {}};
    for (const ImageArgument& a : op.arguments) {
      operation.options.push_back({{"--" + std::string(a.name)},
                                   number(a.min) + ".." + number(a.max),
                                   std::string(a.help) + " (default " + number(a.fallback) + ")",
                                   {"image"},
                                   {}});
    }
    operations.push_back(std::move(operation));
  }
  return operations;
}

HelpPage MakeHelp() {
  const ModeList formats = ListModes<InputFormatInfo>(kInputFormats, &InputFormatInfo::format,
                                                      &InputFormatInfo::description);
  const ModeList methods = ListModes<OutputMethodInfo>(kOutputMethods, &OutputMethodInfo::method,
                                                       &OutputMethodInfo::description);
  const ModeList glasses =
      ListModes<GlassesTypeInfo>(kGlassesTypes, &GlassesTypeInfo::type, &GlassesTypeInfo::caption);
  std::vector<HelpValue> formatValues = {
      {"", "auto", "the guessed layout; 2D means conversion, as in the Format menu"}};
  formatValues.insert(formatValues.end(), formats.values.begin(), formats.values.end());
  const std::vector<std::string> renderAndConvert = {"render", "convert"};

  HelpPage page;
  page.summary = "plays stereoscopic video and turns 2D video into stereo";
  page.description =
      "Quorvex plays stereoscopic (\"3D\") video on ordinary monitors and on stereo display "
      "hardware. It guesses how the two eye views are packed in a file (2D, side by side, above "
      "and below), splits every frame into a left and a right view and composes them for the "
      "viewing hardware: red/cyan and blue/yellow anaglyphs, row-interlaced lines, a sync-doubled "
      "frame for shutter glasses, a side-by-side pair, or quad-buffered OpenGL stereo. Without a "
      "command it starts the player; the commands run the same engine without a window. FILE "
      "is a local file: URLs, pipes and devices are refused.";
  page.commands = {
      {"", "[FILE]", "start the player, opening FILE when given"},
      {"detect", "FILE [--json]", "report the guessed stereo layout of FILE"},
      {"render", "FILE -o OUT.bmp|OUT.png [options]", "compose one frame as playback would"},
      {"convert", "FILE -o OUT [options]", "compose a range of frames into a video file"},
      {"image", "OPERATION IN... -o OUT.bmp|OUT.png [--ARGUMENT VALUE ...]",
       "one operation of the image library on pictures ('quorvex image --help' lists the "
       "operations)",
       ImageOperationsHelp()},
      {"demo", "[OUT]", "write the demo clip (default quorvex-demo.mkv)"},
  };
  page.options = {
      {{"-h", "--help"}, "", "show this help", {}, {}},
      {{"--version"}, "", "show the version", {}, {}},
      {{"--json"}, "", "print one JSON object instead of text", {"detect"}, {}},
      {{"-o", "--output"},
       "OUT",
       "the file to write: a .bmp or .png picture (render, image), a video file (convert)",
       {"render", "convert", "image"},
       {},
       true},
      {{"--format"},
       "auto|NAME|" + formats.range,
       "stereo layout of the input (default auto):",
       renderAndConvert,
       formatValues},
      {{"--method"}, "NAME|" + methods.range, "output method:", renderAndConvert, methods.values},
      {{"--glasses"},
       "NAME|" + glasses.range,
       "choose the method from the glasses as Play does, as Full does with --fullscreen "
       "(default: the stored glasses type):",
       renderAndConvert,
       glasses.values},
      {{"--fullscreen"}, "", "the full-screen method of the glasses", renderAndConvert, {}},
      {{"--screen"}, "WxH", "full-screen size (default: the stored setting)", renderAndConvert, {}},
      {{"--vert-offset"},
       "K",
       "sync-doubled gap divisor, 0 to 100 as in the display settings (default: the stored "
       "setting)",
       renderAndConvert,
       {}},
      {{"--frame"}, "N", "frame to compose, from the stream's first (default 0)", {"render"}, {}},
      {{"--grid"},
       "",
       "(2d-to-3d) the nine-view grid: the frame and eight views at 1/8 ... 8/8 of the depth, "
       "with a depth preview",
       {"render"},
       {}},
      {{"--depth-out"},
       "FILE.bmp|FILE.png",
       "(2d-to-3d) also write the frame's depth image",
       {"render"},
       {}},
      {{"--start"}, "N", "first frame, from the stream's first (default 0)", {"convert"}, {}},
      {{"--frames"}, "K", "how many frames (default: to the end)", {"convert"}, {}},
      {{"--codec"},
       "NAME",
       "video encoder, as FFmpeg names it (default: the usual one of OUT's container); one that "
       "OUT's container cannot hold is refused",
       {"convert"},
       {}},
      {{"--no-sound"},
       "",
       "write the pictures only (formats that hold no sound, such as .gif and .y4m, always get "
       "the pictures only)",
       {"convert"},
       {}},
      {{"-h", "--help"}, "", "list the operations and their arguments", {"image"}, {}},
  };
  page.exitStatus = {
      {"0", "done"},
      {"1", "the input could not be processed; the reasons went to standard error"},
      {"2", "a usage error"},
      {"128+N",
       "convert was stopped by signal N (130 for Ctrl+C); the frames converted so far "
       "are in OUT, finished so that it plays"},
  };
  page.environment = {
      {"DISPLAY, WAYLAND_DISPLAY, QT_QPA_PLATFORM",
       "the display the player opens on; without one the player does not start, and the "
       "commands, which need none, still work"},
      {"SDL_AUDIODRIVER", "the sound output that plays the sound track (dummy: none)"},
      {"XDG_CONFIG_HOME", "the folder of the settings file (default ~/.config)"},
      {"XDG_DATA_HOME", "the folder of the script folder (default ~/.local/share)"},
  };
  page.files = {
      {"$XDG_CONFIG_HOME/Quorvex/Quorvex.conf",
       "the settings: glasses type, screen size, vertical offset and the rest of the display "
       "settings dialog"},
      {"$XDG_DATA_HOME/Quorvex/",
       "the script folder: videos named .mpg, .mpeg, .asf, .wmv, .dat, .mov or .vob are opened "
       "through a one-line .avs script written here, named after the video and the process, "
       "and removed when the process ends"},
  };
  page.examples = {
      {"clip.mkv", "play clip.mkv"},
      {"detect clip.mp4 --json", "print the guessed layout, frame count and size"},
      {"render clip.mp4 -o frame.png --format parallel --method anaglyph-red-green",
       "compose frame 0 of a side-by-side video as a red/cyan anaglyph"},
      {"convert clip.mp4 -o anaglyph.mkv --glasses anaglyph-red-green",
       "turn the whole video into what the red/cyan glasses would show"},
      {"render flat.mp4 -o grid.png --grid --depth-out depth.png",
       "the nine views and the depth that 2D video turned into stereo gets at frame 0"},
      {"convert clip.mkv -o part.mp4 --start 250 --frames 100 --codec libx264",
       "100 frames from frame 250 as H.264, with the sound track"},
  };
  return page;
}

// The names of an option joined with `separator`, and its argument.
std::string OptionTerm(const HelpOption& option, std::string_view separator) {
  std::string term;
  for (const std::string& name : option.names) {
    if (!term.empty()) term += separator;
    term += name;
  }
  if (!option.argument.empty()) term += " " + option.argument;
  return term;
}

// The commands that take an option, as a heading reads them: "render and convert".
std::string CommandList(const std::vector<std::string>& commands) {
  std::string list;
  for (size_t i = 0; i < commands.size(); ++i) {
    if (i > 0) list += i + 1 == commands.size() ? " and " : ", ";
    list += commands[i];
  }
  return list;
}

// Consecutive options that the same commands take, the program's own first.
std::vector<std::vector<const HelpOption*>> CommandOptionGroups(const HelpPage& page) {
  std::vector<std::vector<const HelpOption*>> groups;
  for (const HelpOption& option : page.options) {
    if (option.commands.empty()) continue;
    if (groups.empty() || groups.back().front()->commands != option.commands) groups.emplace_back();
    groups.back().push_back(&option);
  }
  return groups;
}

// Writes `text` from `column`, where the line stands, wrapped to a terminal's width with the
// lines after the first indented to `column`.
void PrintWrapped(std::ostream& out, const std::string& text, size_t column) {
  constexpr size_t kLineWidth = 79;
  std::istringstream words(text);
  std::string word;
  size_t used = column;
  bool lineStart = true;
  while (words >> word) {
    if (!lineStart && used + 1 + word.size() > kLineWidth) {
      out << "\n" << std::string(column, ' ');
      used = column;
      lineStart = true;
    }
    if (!lineStart) {
      out << ' ';
      ++used;
    }
    out << word;
    used += word.size();
    lineStart = false;
  }
  out << "\n";
}

// `term` in a column of `width`, then `text`; on a line of its own when it does not fit.
void PrintTerm(std::ostream& out, const std::string& indent, const std::string& term, size_t width,
               const std::string& text) {
  out << indent << term;
  if (term.size() + 1 > width) {
    out << "\n" << indent << std::string(width, ' ');
  } else {
    out << std::string(width - term.size(), ' ');
  }
  PrintWrapped(out, text, indent.size() + width);
}

void PrintValues(std::ostream& out, const std::vector<HelpValue>& values) {
  size_t numberWidth = 0, nameWidth = 0;
  for (const HelpValue& v : values) {
    numberWidth = std::max(numberWidth, v.number.size());
    nameWidth = std::max(nameWidth, v.name.size());
  }
  const std::string indent = "      ";
  for (const HelpValue& v : values) {
    std::string term = std::string(numberWidth - v.number.size(), ' ') + v.number + "  " + v.name;
    if (nameWidth > 0) term += std::string(nameWidth + 2 - v.name.size(), ' ');
    out << indent << term;
    PrintWrapped(out, v.text, indent.size() + term.size());
  }
}

// Roff text: backslashes and hyphens escaped (so that options read as typed), and a line that
// would start with a control character protected.
std::string Roff(std::string_view text) {
  std::string out;
  for (const char c : text) {
    if (c == '\\') {
      out += "\\e";
    } else if (c == '-') {
      out += "\\-";
    } else {
      out += c;
    }
  }
  if (!out.empty() && (out[0] == '.' || out[0] == '\'')) out.insert(0, "\\&");
  return out;
}

// Command-line syntax in roff: words that start with '-' and the command words in bold,
// placeholders (runs of capitals: FILE, OUT, WxH) in italics.
std::string RoffSyntax(std::string_view syntax) {
  std::string out;
  size_t i = 0;
  const auto isUpper = [](char c) { return c >= 'A' && c <= 'Z'; };
  const auto isLetter = [&](char c) { return isUpper(c) || (c >= 'a' && c <= 'z'); };
  while (i < syntax.size()) {
    const bool wordStart =
        i == 0 || std::string_view(" [|").find(syntax[i - 1]) != std::string_view::npos;
    if (wordStart && syntax[i] == '-') {
      const size_t end = std::min(syntax.find_first_of(" ]|=", i), syntax.size());
      out += "\\fB" + Roff(syntax.substr(i, end - i)) + "\\fR";
      i = end;
    } else if (isUpper(syntax[i]) && (i == 0 || !isLetter(syntax[i - 1]))) {
      size_t end = i;
      while (end < syntax.size() && isUpper(syntax[end])) ++end;
      if (end < syntax.size() && isLetter(syntax[end]) && !isUpper(syntax[end]) &&
          !(syntax[end] == 'x' && end + 1 < syntax.size() && isUpper(syntax[end + 1]))) {
        out += Roff(syntax.substr(i, end - i));  // a capitalised word, not a placeholder
      } else {
        out += "\\fI" + Roff(syntax.substr(i, end - i)) + "\\fR";
      }
      i = end;
    } else {
      out += Roff(syntax.substr(i, 1));
      ++i;
    }
  }
  return out;
}

std::string Joined(const std::vector<std::string>& words, std::string_view separator) {
  std::string list;
  for (const std::string& word : words) {
    if (!list.empty()) list += separator;
    list += word;
  }
  return list;
}

// A bash word list, quoted for the shell.
std::string ShellWords(const std::vector<std::string>& words) {
  std::string quoted = "'";
  for (const char c : Joined(words, " ")) {
    quoted += c == '\'' ? std::string("'\\''") : std::string(1, c);
  }
  return quoted + "'";
}

std::vector<std::string> NamesOf(const std::vector<const HelpOption*>& options) {
  std::vector<std::string> names;
  for (const HelpOption* option : options) {
    names.insert(names.end(), option->names.begin(), option->names.end());
  }
  return names;
}

std::vector<std::string> NamesOf(const std::vector<HelpOption>& options) {
  std::vector<const HelpOption*> pointers;
  for (const HelpOption& option : options) pointers.push_back(&option);
  return NamesOf(pointers);
}

}  // namespace

const HelpPage& Help() {
  static const HelpPage page = MakeHelp();
  return page;
}

std::vector<const HelpOption*> OptionsOf(const std::string& command) {
  std::vector<const HelpOption*> options;
  for (const HelpOption& option : Help().options) {
    const bool taken = command.empty() ? option.commands.empty()
                                       : std::find(option.commands.begin(), option.commands.end(),
                                                   command) != option.commands.end();
    if (taken) options.push_back(&option);
  }
  return options;
}

void PrintHelp(std::ostream& out) {
  const HelpPage& page = Help();
  constexpr size_t kUsageWidth = 35, kOptionWidth = 27;
  out << "Quorvex " << QUORVEX_VERSION << " - " << page.summary << "\n\nUsage:\n";
  for (const HelpCommand& c : page.commands) {
    std::string usage = "quorvex";
    if (!c.name.empty()) usage += " " + c.name;
    usage += " " + c.arguments;
    PrintTerm(out, "  ", usage, kUsageWidth, c.text);
  }
  for (const HelpOption* o : OptionsOf("")) {
    PrintTerm(out, "  ", "quorvex " + OptionTerm(*o, " | "), kUsageWidth, o->text);
  }
  for (const auto& group : CommandOptionGroups(page)) {
    out << "\nOptions of " << CommandList(group.front()->commands) << ":\n";
    for (const HelpOption* o : group) {
      PrintTerm(out, "  ", OptionTerm(*o, ", "), kOptionWidth, o->text);
      PrintValues(out, o->values);
    }
  }
  out << "\nExit status:\n";
  for (const HelpItem& item : page.exitStatus) PrintTerm(out, "  ", item.term, 3, item.text);
}

void PrintManPage(std::ostream& out, const std::string& manual) {
  const HelpPage& page = Help();
  out << ".\\\" The manual page of quorvex, written by the program from its help.\n"
      << ".TH QUORVEX 1 \"\" \"Quorvex " << QUORVEX_VERSION << "\" \"User Commands\"\n"
      << ".nh\n.ad l\n"
      << ".SH NAME\nquorvex \\- " << Roff(page.summary) << "\n"
      << ".SH SYNOPSIS\n";
  for (const HelpCommand& c : page.commands) {
    out << ".B quorvex" << (c.name.empty() ? "" : " " + c.name) << "\n"
        << RoffSyntax(c.arguments) << "\n.br\n";
  }
  for (const HelpOption* o : OptionsOf("")) {
    out << ".B quorvex\n" << RoffSyntax(OptionTerm(*o, " | ")) << "\n.br\n";
  }
  out << ".SH DESCRIPTION\n" << Roff(page.description) << "\n.SH COMMANDS\n";
  for (const HelpCommand& c : page.commands) {
    out << ".TP\n\\fBquorvex" << (c.name.empty() ? "" : " " + c.name) << "\\fR "
        << RoffSyntax(c.arguments) << "\n"
        << Roff(c.text) << "\n";
  }
  out << ".SH OPTIONS\n";
  const auto printOption = [&out](const HelpOption& o) {
    out << ".TP\n" << RoffSyntax(OptionTerm(o, ", ")) << "\n" << Roff(o.text) << "\n";
    if (o.values.empty()) return;
    const auto tagOf = [](const HelpValue& v) {
      return v.number.empty() ? v.name : v.name.empty() ? v.number : v.number + ", " + v.name;
    };
    size_t tagWidth = 0;
    for (const HelpValue& v : o.values) tagWidth = std::max(tagWidth, tagOf(v).size());
    out << ".RS\n.PD 0\n";
    for (const HelpValue& v : o.values) {
      out << ".TP " << tagWidth + 2 << "\n\\fB" << Roff(tagOf(v)) << "\\fR\n"
          << Roff(v.text) << "\n";
    }
    out << ".PD\n.RE\n";
  };
  for (const HelpOption* o : OptionsOf("")) printOption(*o);
  for (const auto& group : CommandOptionGroups(page)) {
    out << ".SS \"Options of " << CommandList(group.front()->commands) << "\"\n";
    for (const HelpOption* o : group) printOption(*o);
  }
  for (const HelpCommand& c : page.commands) {
    if (c.operations.empty()) continue;
    std::string heading = c.name + " operations";
    std::transform(heading.begin(), heading.end(), heading.begin(),
                   [](unsigned char ch) { return static_cast<char>(std::toupper(ch)); });
    out << ".SH " << heading << "\n";
    for (const HelpOperation& op : c.operations) {
      out << ".TP\n\\fB" << Roff(op.name) << "\\fR " << RoffSyntax(op.arguments) << "\n"
          << Roff(op.text) << "\n";
      if (op.options.empty()) continue;
      out << ".RS\n";
      for (const HelpOption& o : op.options) printOption(o);
      out << ".RE\n";
    }
  }
  const auto printItems = [&out](const char* heading, const std::vector<HelpItem>& items,
                                 const char* font) {
    out << ".SH " << heading << "\n";
    for (const HelpItem& item : items) {
      out << ".TP\n" << font << Roff(item.term) << "\\fR\n" << Roff(item.text) << "\n";
    }
  };
  printItems("EXIT STATUS", page.exitStatus, "\\fB");
  printItems("ENVIRONMENT", page.environment, "\\fB");
  std::vector<HelpItem> files = page.files;
  if (!manual.empty()) files.push_back({manual, "the user's manual, which Help>Contents opens"});
  printItems("FILES", files, "\\fI");
  out << ".SH EXAMPLES\n";
  for (const HelpItem& item : page.examples) {
    out << ".TP\n\\fBquorvex " << Roff(item.term) << "\\fR\n" << Roff(item.text) << "\n";
  }
}

void PrintBashCompletion(std::ostream& out) {
  const HelpPage& page = Help();
  std::vector<std::string> commands;
  for (const HelpCommand& c : page.commands) {
    if (!c.name.empty()) commands.push_back(c.name);
  }

  out << "# bash completion for quorvex, written by the program from its help.\n"
         "_quorvex()\n{\n"
         "    local cur prev words cword split\n"
         "    _init_completion -s || return\n\n"
         "    case $prev in\n";
  // What follows an option: a file, one of its values, or anything (nothing to offer). A name
  // that two options share (the operations' own) is offered for the first.
  std::set<std::string> seen;
  std::vector<std::string> freeValues;
  const auto addCase = [&](const HelpOption& o) {
    std::vector<std::string> names;
    for (const std::string& name : o.names) {
      if (seen.insert(name).second) names.push_back(name);
    }
    if (names.empty() || o.argument.empty()) return;
    if (o.takesFile) {
      out << "        " << Joined(names, "|") << ")\n            _filedir\n            return\n"
          << "            ;;\n";
    } else if (!o.values.empty()) {
      std::vector<std::string> words;
      for (const HelpValue& v : o.values) words.push_back(v.name.empty() ? v.number : v.name);
      out << "        " << Joined(names, "|") << ")\n"
          << "            COMPREPLY=($(compgen -W " << ShellWords(words) << " -- \"$cur\"))\n"
          << "            return\n            ;;\n";
    } else {
      freeValues.insert(freeValues.end(), names.begin(), names.end());
    }
  };
  for (const HelpOption& o : page.options) addCase(o);
  for (const HelpCommand& c : page.commands) {
    for (const HelpOperation& op : c.operations) {
      for (const HelpOption& o : op.options) addCase(o);
    }
  }
  if (!freeValues.empty()) {
    out << "        " << Joined(freeValues, "|") << ")\n            return\n            ;;\n";
  }
  out << "    esac\n"
         "    $split && return\n\n"
         "    if ((cword == 1)); then\n"
         "        if [[ $cur == -* ]]; then\n"
         "            COMPREPLY=($(compgen -W "
      << ShellWords(NamesOf(OptionsOf(""))) << " -- \"$cur\"))\n"
      << "        else\n"
         "            COMPREPLY=($(compgen -W "
      << ShellWords(commands) << " -- \"$cur\"))\n"
      << "            _filedir\n"
         "        fi\n"
         "        return\n"
         "    fi\n\n";

  // A command with operations takes the operation as its first word.
  out << "    case ${words[1]} in\n";
  for (const HelpCommand& c : page.commands) {
    if (c.operations.empty()) continue;
    std::vector<std::string> words;
    for (const HelpOperation& op : c.operations) words.push_back(op.name);
    for (const HelpOption* o : OptionsOf(c.name)) {  // before the operation: switches only
      if (o->argument.empty()) words.insert(words.end(), o->names.begin(), o->names.end());
    }
    out << "        " << c.name << ")\n"
        << "            if ((cword == 2)); then\n"
        << "                COMPREPLY=($(compgen -W " << ShellWords(words) << " -- \"$cur\"))\n"
        << "                return\n"
        << "            fi\n"
        << "            ;;\n";
  }
  out << "    esac\n\n"
         "    if [[ $cur == -* ]]; then\n"
         "        case ${words[1]} in\n";
  for (const HelpCommand& c : page.commands) {
    if (c.name.empty()) continue;
    const std::vector<std::string> names = NamesOf(OptionsOf(c.name));
    if (names.empty() && c.operations.empty()) continue;
    out << "            " << c.name << ")\n";
    if (c.operations.empty()) {
      out << "                COMPREPLY=($(compgen -W " << ShellWords(names) << " -- \"$cur\"))\n";
    } else {
      out << "                local more=\n"
             "                case ${words[2]} in\n";
      for (const HelpOperation& op : c.operations) {
        if (op.options.empty()) continue;
        out << "                    " << op.name << ") more=" << ShellWords(NamesOf(op.options))
            << " ;;\n";
      }
      out << "                esac\n"
          << "                COMPREPLY=($(compgen -W \"" << Joined(names, " ")
          << " $more\" -- \"$cur\"))\n";
    }
    out << "                ;;\n";
  }
  out << "        esac\n"
         "        return\n"
         "    fi\n"
         "    _filedir\n"
         "} &&\n"
         "    complete -F _quorvex quorvex\n";
}

}  // namespace qv::cli
