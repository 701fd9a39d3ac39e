#pragma once
// The command-line commands that work on a video file. Each takes the arguments after the
// command's name and returns the exit status: 0 done, 1 the input could not be processed (the
// program's messages went to standard error), 2 a usage error.

#include <string>
#include <vector>

namespace qv::cli {

// quorvex detect FILE [--json]
int RunDetect(const std::vector<std::string>& args);
// quorvex render FILE -o OUT.bmp|OUT.png [options]
int RunRender(const std::vector<std::string>& args);
// quorvex convert FILE -o OUT [options]
int RunConvert(const std::vector<std::string>& args);

}  // namespace qv::cli
