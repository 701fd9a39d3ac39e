#pragma once
// Runs the quorvex program as the command tests do: in a fresh settings and data folder, with
// its standard output and error kept in files of that folder.

#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <sstream>
#include <string>

#include <sys/wait.h>

#include "image/cDib.h"
#include "support/TestSupport.h"
#include "video/MediaSupport.h"

namespace qv::test {

class Cli : public ::testing::Test {
 protected:
  // Runs quorvex with the arguments; its own settings and data folders are fresh.
  int Run(const std::string& arguments) {
    const std::string command = "XDG_CONFIG_HOME='" + home_.File("config") + "' XDG_DATA_HOME='" +
                                home_.File("data") + "' '" QUORVEX_PROGRAM "' " + arguments +
                                " >'" + home_.File("out.txt") + "' 2>'" + home_.File("err.txt") +
                                "'";
    const int status = std::system(command.c_str());
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  }
  std::string Read(const std::string& name) {
    std::ifstream in(home_.File(name), std::ios::binary);
    std::ostringstream s;
    s << in.rdbuf();
    return s.str();
  }
  DibRef ReadBmp(const std::string& name) {
    cDib dib;
    if (!dib.CreateFromFile(home_.File(name))) return nullptr;
    auto picture = std::make_shared<cDIBSection>();
    picture->Create(dib.Width(), dib.Height());
    dib.CopyToSection(*picture);
    return picture;
  }
  std::string Out(const std::string& name) { return "'" + home_.File(name) + "'"; }

  test::TempDir home_;
  test::RecordingSink quiet_;
};

}  // namespace qv::test
