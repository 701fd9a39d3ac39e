#include <exception>
#include <iostream>

#include "base/Error.h"
#include "cli/Cli.h"

int main(int argc, char** argv) {
  try {
    return qv::cli::Run(argc, argv);
  } catch (const std::exception& e) {
    std::cerr << "quorvex: " << qv::DescribeError(e) << std::endl;
    return 1;
  }
}
