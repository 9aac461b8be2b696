#include "corvane/command/reserved_name.h"

#include <gtest/gtest.h>

#include <iostream>
#include <sstream>
#include <vector>

#include "corvane/command/command_line.h"

namespace corvane::tools {
namespace {

TEST(ReservedNameTest, NamesOfDevicesAreNoFiles) {
  for (const char* const name :
       {"COM7", "com7.isf", "drives/COM7.isf", "drives\\aux.isf", "C:nul.isf", "NUL", "con.a.isf",
        "Prn .isf", "LPT0.isf", "com\u00B2.isf", "COM7:", "CONIN$", "conout$.isf"}) {
    EXPECT_NE(FindReservedName(name), std::nullopt) << name;
  }
  for (const char* const name : {"COM12.isf", "COM.isf", "COM7-.isf", "xCOM7.isf", "COM7x.isf",
                                 "nul/drive.isf", "auxiliary.isf", "drive.aux", "{device}.isf"}) {
    EXPECT_EQ(FindReservedName(name), std::nullopt) << name;
  }
  EXPECT_EQ(FindReservedName("x/com7.isf"),
            "x/com7.isf is no name of a file: Windows has reserved com7 for a device");
}

// What the program says on standard error.
[[nodiscard]] std::string ErrorsOf(const std::vector<const char*>& arguments, int& exitCode) {
  std::ostringstream out, errors;
  std::streambuf* const standardOutput = std::cout.rdbuf(out.rdbuf());
  std::streambuf* const standardError = std::cerr.rdbuf(errors.rdbuf());
  exitCode = RunCommandLine(static_cast<int>(arguments.size()), arguments.data());
  std::cout.rdbuf(standardOutput);
  std::cerr.rdbuf(standardError);
  EXPECT_EQ(out.str(), "");
  return errors.str();
}

TEST(ReservedNameTest, NoCommandMakesAFileOfSuchAName) {
  const std::vector<std::vector<const char*>> commands = {
      {"cut", "in.isf"},
      {"merge", "in.isf", "other.isf"},
      {"recover", "in.isf"},
      {"export", "in.isf"},
      {"import", "in.hdlc"},
      {"report", "in.isf"},
      {"profile", "make", "--event", "lte-rrc-state-change"}};
  for (const auto& [output, reserved] : std::vector<std::pair<const char*, std::string>>{
           {"NUL", "NUL"}, {"aux.isf", "aux"}, {"drives/COM1.isf", "COM1"}}) {
    for (const std::vector<const char*>& command : commands) {
      std::vector<const char*> arguments = {"corvane"};
      arguments.insert(arguments.end(), command.begin(), command.end());
      arguments.insert(arguments.end(), {"-o", output, "--overwrite"});
      std::string name = std::string("corvane ") + command.front();
      name += name == "corvane profile" ? " make" : "";
      int exitCode = 0;
      EXPECT_EQ(ErrorsOf(arguments, exitCode),
                name + ": --output: " + output + " is no name of a file: Windows has reserved " +
                    reserved + " for a device\n" + name + " --help tells more\n");
      EXPECT_EQ(exitCode, kExitUsage);
    }
  }
}

}  // namespace
}  // namespace corvane::tools
