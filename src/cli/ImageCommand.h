#pragma once
// quorvex image: one operation of the image library on picture files.

#include <string>
#include <vector>

namespace qv::cli {

// Takes the arguments after "image"; returns 0 done, 1 the pictures could not be read, processed
// or written (the reason on standard error), 2 a usage error.
int RunImage(const std::vector<std::string>& args);

}  // namespace qv::cli
