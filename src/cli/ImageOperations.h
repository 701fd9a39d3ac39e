#pragma once
// The operations of `quorvex image`: one entry per operation of the image library, with its
// inputs and its numeric arguments and their ranges. The command's parsing, dispatch and --help
// all read this table.

#include <functional>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "image/Picture.h"
#include "imageproc/ImageProcessor.h"

namespace qv::cli {

struct ImageArgument {
  std::string_view name;  // the option is --name
  double min, max;
  double fallback;  // the value when the option is not given
  bool integer;
  std::string_view help;
};

// The values of an operation's arguments, by name (every argument has one: given or fallback).
class ArgumentValues {
 public:
  void Set(std::string_view name, double value) { values_.emplace_back(std::string(name), value); }
  double operator[](std::string_view name) const;
  int32_t Int(std::string_view name) const { return static_cast<int32_t>((*this)[name]); }

 private:
  std::vector<std::pair<std::string, double>> values_;
};

// What an operation gets: its input pictures (in the order given), its argument values, and the
// kernel list of `filter`, if one was given. It returns the picture to write, and may add a line
// of figures for standard output (the sky border's row, say).
struct ImageJob {
  std::vector<PictureRef> inputs;
  ArgumentValues values;
  std::vector<int32_t> kernel;
  std::string report;
};

struct ImageOperation {
  std::string_view name;
  std::string_view member;  // the library member it runs, for the help text
  std::string_view inputs;  // the inputs as --help shows them ("IN", "LEFT RIGHT", "VIEW...")
  int minInputs, maxInputs;  // 0 and 0 for operations that make a picture from a size
  std::vector<ImageArgument> arguments;
  std::string_view description;
  // Runs the operation; raises the library's errors, or std::runtime_error with a message for
  // inputs that do not fit the operation.
  std::function<PictureRef(ImageProcessor&, ImageJob&)> run;
};

std::span<const ImageOperation> ImageOperations();
const ImageOperation* FindImageOperation(std::string_view name);

}  // namespace qv::cli
