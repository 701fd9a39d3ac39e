// quorvex image OPERATION IN... -o OUT [--argument VALUE ...]: one operation of the image library
// on picture files, with the operations and their arguments read from the table of
// ImageOperations.h.

#include "cli/ImageCommand.h"

#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <iomanip>
#include <iostream>
#include <sstream>
#include <stdexcept>

#include <unistd.h>

#include "base/Error.h"
#include "cli/ImageOperations.h"
#include "cli/OutputFiles.h"
#include "stereo/StillPictures.h"

namespace qv::cli {

namespace {

class ImageUsageError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

std::string Number(double v) {
  std::ostringstream s;
  s << std::setprecision(12) << v;
  return s.str();
}

std::string Lower(std::string text) {
  for (char& c : text) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return text;
}

bool EndsWith(const std::string& text, const std::string& tail) {
  return text.size() >= tail.size() && text.compare(text.size() - tail.size(), tail.size(), tail) == 0;
}

void PrintImageHelp(std::ostream& out) {
  out << "Usage: quorvex image OPERATION IN... -o OUT.bmp|OUT.png [--ARGUMENT VALUE ...]\n\n"
         "Runs one operation of the image library on picture files (BMP, PNG or JPEG in; BMP or\n"
         "PNG out). Rows are counted from the bottom of the picture, columns from the left.\n\n"
         "Operations:\n";
  for (const ImageOperation& op : ImageOperations()) {
    std::string usage = std::string(op.name) + (op.inputs.empty() ? "" : " " + std::string(op.inputs));
    out << "  " << usage << std::string(usage.size() < 34 ? 34 - usage.size() : 1, ' ') << "(" << op.member
        << ")\n      " << op.description << "\n";
    for (const ImageArgument& a : op.arguments) {
      std::string option = "--" + std::string(a.name) + " " + Number(a.min) + ".." + Number(a.max);
      out << "      " << option << std::string(option.size() < 28 ? 28 - option.size() : 1, ' ') << a.help
          << " (default " << Number(a.fallback) << ")\n";
    }
  }
  out << "\nExit status: 0 done, 1 the pictures could not be read, processed or written, 2 a usage "
         "error.\n";
}

struct ParsedCommand {
  const ImageOperation* op = nullptr;
  std::vector<std::string> inputs;
  std::string output;
  ImageJob job;
};

double ParseValue(const ImageArgument& a, const std::string& text) {
  char* end = nullptr;
  errno = 0;
  const double v = std::strtod(text.c_str(), &end);
  const std::string range = std::string(a.integer ? "a whole number in " : "a number in ") + Number(a.min) +
                            ".." + Number(a.max);
  if (text.empty() || *end != '\0' || errno != 0 || !std::isfinite(v)) {
    throw ImageUsageError("--" + std::string(a.name) + " needs " + range + ", not '" + text + "'");
  }
  if (v < a.min || v > a.max || (a.integer && v != std::floor(v))) {
    throw ImageUsageError("--" + std::string(a.name) + " must be " + range + " (got " + text + ")");
  }
  return v;
}

std::vector<int32_t> ParseKernel(const std::string& text) {
  std::vector<int32_t> values;
  std::stringstream s(text);
  std::string item;
  while (std::getline(s, item, ',')) {
    char* end = nullptr;
    errno = 0;
    const long v = std::strtol(item.c_str(), &end, 10);
    while (end != nullptr && *end == ' ') ++end;
    if (item.find_first_not_of(' ') == std::string::npos || *end != '\0' || errno != 0 || v < -1000000 ||
        v > 1000000) {
      throw ImageUsageError("--kernel needs whole numbers in -1000000..1000000 separated by commas, not '" +
                            item + "'");
    }
    values.push_back(static_cast<int32_t>(v));
  }
  return values;
}

ParsedCommand Parse(const std::vector<std::string>& args) {
  ParsedCommand command;
  command.op = FindImageOperation(args[0]);
  if (command.op == nullptr) throw ImageUsageError("unknown operation '" + args[0] + "'");
  const ImageOperation& op = *command.op;
  std::vector<std::pair<const ImageArgument*, double>> given;
  for (size_t k = 1; k < args.size(); ++k) {
    const std::string& word = args[k];
    if (word == "-o" || word == "--output") {
      if (k + 1 >= args.size()) throw ImageUsageError(word + " needs a file name");
      command.output = args[++k];
    } else if (word == "--kernel" && op.name == "filter") {
      if (k + 1 >= args.size()) throw ImageUsageError("--kernel needs a list of values");
      command.job.kernel = ParseKernel(args[++k]);
    } else if (word.size() > 2 && word.compare(0, 2, "--") == 0) {
      const ImageArgument* a = nullptr;
      for (const ImageArgument& candidate : op.arguments) {
        if (word.substr(2) == candidate.name) a = &candidate;
      }
      if (a == nullptr) throw ImageUsageError(std::string(op.name) + " has no option " + word);
      if (k + 1 >= args.size()) throw ImageUsageError(word + " needs a value");
      given.emplace_back(a, ParseValue(*a, args[++k]));
    } else if (word.size() > 1 && word[0] == '-') {
      throw ImageUsageError("unknown option " + word);
    } else {
      command.inputs.push_back(word);
    }
  }
  const int count = static_cast<int>(command.inputs.size());
  if (count < op.minInputs || count > op.maxInputs) {
    std::string wanted = op.minInputs == op.maxInputs ? std::to_string(op.minInputs)
                                                      : std::to_string(op.minInputs) + " to " + std::to_string(op.maxInputs);
    throw ImageUsageError(std::string(op.name) + " takes " + wanted + " input picture" +
                          (op.maxInputs == 1 ? "" : "s") + " (" + (op.inputs.empty() ? "none" : std::string(op.inputs)) +
                          "), not " + std::to_string(count));
  }
  if (command.output.empty()) throw ImageUsageError("the output file is missing (-o OUT.bmp or OUT.png)");
  const std::string extension = Lower(command.output);
  if (!EndsWith(extension, ".bmp") && !EndsWith(extension, ".png")) {
    throw ImageUsageError("the output file must end in .bmp or .png");
  }
  for (const ImageArgument& a : op.arguments) {
    double value = a.fallback;
    for (const auto& [which, v] : given) {
      if (which == &a) value = v;
    }
    command.job.values.Set(a.name, value);
  }
  return command;
}

// A progress bar on standard error while a member reports progress on a large picture.
class ProgressBar {
 public:
  explicit ProgressBar(std::string label) : label_(std::move(label)) {}
  void Attach(ImageProcessor& p) {
    p.Events.InitProgress = [this](int32_t maximum) {
      maximum_ = maximum;
      shown_ = -1;
      Draw(0);
    };
    p.Events.Progress = [this](int32_t position) { Draw(position); };
    p.Events.Complete = [this](int32_t) {
      if (shown_ >= 0) std::cerr << "\r" << std::string(label_.size() + 60, ' ') << "\r" << std::flush;
      shown_ = -1;
    };
  }

 private:
  void Draw(int32_t position) {
    const int percent = maximum_ > 0 ? static_cast<int>(std::min<int64_t>(100, int64_t{position} * 100 / maximum_)) : 0;
    if (percent == shown_) return;
    shown_ = percent;
    const int filled = percent * 40 / 100;
    std::cerr << "\r" << label_ << " [" << std::string(static_cast<size_t>(filled), '#')
              << std::string(static_cast<size_t>(40 - filled), '.') << "] " << std::setw(3) << percent << "%"
              << std::flush;
  }
  std::string label_;
  int32_t maximum_ = 0;
  int shown_ = -1;
};

}  // namespace

int RunImage(const std::vector<std::string>& args) {
  if (!args.empty() && (args[0] == "--help" || args[0] == "-h")) {
    PrintImageHelp(std::cout);
    return 0;
  }
  ParsedCommand command;
  try {
    if (args.empty()) throw ImageUsageError("an operation is missing");
    command = Parse(args);
  } catch (const ImageUsageError& e) {
    std::cerr << "quorvex image: " << e.what() << "\nTry 'quorvex image --help'.\n";
    return 2;
  }
  const ImageOperation& op = *command.op;
  const std::string name(op.name);
  for (const std::string& file : command.inputs) {
    if (SameFile(file, command.output)) {
      std::cerr << "quorvex image: the output file " << command.output << " is the input file "
                << file << "\n";
      return 1;
    }
  }
  for (const std::string& file : command.inputs) {
    std::string failure;
    std::optional<LoadedPicture> loaded = LoadPicture(file, &failure);
    auto picture = std::make_shared<Picture>();
    if (loaded) picture->CreateFromPicture(*loaded);
    if (!loaded || picture->Bits() == nullptr) {
      std::cerr << "quorvex image: cannot read " << file << ": "
                << (failure.empty() ? "the picture could not be decoded" : failure) << "\n";
      return 1;
    }
    command.job.inputs.push_back(std::move(picture));
  }

  ImageProcessor processor;
  ProgressBar bar(name);
  int64_t pixels = 0;
  for (const PictureRef& p : command.job.inputs) pixels = std::max<int64_t>(pixels, int64_t{p->Width()} * p->Height());
  if (isatty(STDERR_FILENO) && pixels >= 1000000) bar.Attach(processor);
  PictureRef result;
  try {
    result = op.run(processor, command.job);
  } catch (const AppError& e) {
    std::cerr << "quorvex image: " << name << " failed in " << op.member << ": " << e.Description() << "\n";
    return 1;
  } catch (const std::exception& e) {
    std::cerr << "quorvex image: " << name << ": " << e.what() << "\n";
    return 1;
  }
  std::string why;
  if (!result || !WritePictureFile(*result, command.output, why)) {
    std::cerr << "quorvex image: cannot write " << command.output << ": " << why << "\n";
    return 1;
  }
  if (!command.job.report.empty()) std::cout << command.job.report << "\n";
  return 0;
}

}  // namespace qv::cli
