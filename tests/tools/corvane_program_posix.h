#pragma once

#include <gtest/gtest.h>
#include <sys/wait.h>

#include <cstdlib>
#include <fstream>
#include <iterator>
#include <string>

#include "support/temp_directory.h"

namespace corvane {

// The built program, run by a shell.
class cCorvaneProgramTest : public ::testing::Test {
 protected:
  // Returns the exit code; `output` and `errors` receive what the program wrote. `before` are the
  // shell's commands before it, and what feeds it.
  int Run(const std::string& arguments, const std::string& before = "") {
    const int code = RunInto(folder.Path("output"), arguments, before);
    output = Content("output");
    return code;
  }

  // The same with its standard output in the file at `path`.
  int RunInto(const std::string& path, const std::string& arguments,
              const std::string& before = "") {
    const std::string command = before + "\"" CORVANE_PROGRAM "\" " + arguments + " >\"" + path +
                                "\" 2>\"" + folder.Path("errors") + "\"";
    const int status = std::system(command.c_str());
    errors = Content("errors");
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  }

  [[nodiscard]] std::string Content(const char* name) const {
    std::ifstream file(folder.Path(name), std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
  }

  cTempDirectory folder;
  std::string output;
  std::string errors;
};

}  // namespace corvane
