#pragma once
// The command-line front end: `quorvex COMMAND ...`. Returns the process exit status
// (0 success, 1 the input could not be processed, 2 usage error).

namespace qv::cli {

int Run(int argc, char** argv);

}  // namespace qv::cli
