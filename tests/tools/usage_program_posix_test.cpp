#include <gtest/gtest.h>

#include <filesystem>

#include "tools/corvane_program_posix.h"

namespace corvane {
namespace {

constexpr char kHint[] = "\nRun with --help for more information.\n";

// What the program says of arguments that make no sense.
class UsageProgramTest : public cCorvaneProgramTest {
 protected:
  void ExpectUsage(const std::string& arguments, const std::string& said) {
    EXPECT_EQ(Run(arguments), 2) << arguments;
    EXPECT_EQ(output, "") << arguments;
    EXPECT_EQ(errors, said + kHint) << arguments;
  }
};

TEST_F(UsageProgramTest, AValueThatIsNoneIsToldWithThoseThatAre) {
  ExpectUsage("export x -w - --format pcap",
              "--format: \"pcap\" is none of pcapng, gsmtap, hdlc, jsonl, csv");
  ExpectUsage("export x -w - --format 0",
              "--format: \"0\" is none of pcapng, gsmtap, hdlc, jsonl, csv");
  ExpectUsage("export x -w - --clock foo", "--clock: \"foo\" is none of modem, host");
  ExpectUsage("export x -w - --synthetic maybe", "--synthetic: \"maybe\" is none of drop, keep");
  ExpectUsage("import x -o y --wrapped maybe", "--wrapped: \"maybe\" is none of open, drop");
}

TEST_F(UsageProgramTest, AWordThatIsNoCommandIsNamed) {
  ExpectUsage("exprot drive.isf -o x", "there is no command exprot");
  ExpectUsage("exprot", "there is no command exprot");
  ExpectUsage("wireshark foo", "there is no command wireshark foo");
  ExpectUsage("", "A subcommand is required");
  ExpectUsage("wireshark", "A subcommand is required");
}

TEST_F(UsageProgramTest, AnOptionThatNobodyKnowsIsToldBeforeWhatLacks) {
  ExpectUsage("export text.txt --foo", "The following argument was not expected: --foo");
  ExpectUsage("export --foo", "The following argument was not expected: --foo");
  ExpectUsage("import raw --foo", "The following argument was not expected: --foo");
  ExpectUsage("export", "FILE is required");
}

TEST_F(UsageProgramTest, AnExportGoesToOnePlace) {
  ExpectUsage("export x", "say where it goes: -o FILE, or -w - for standard output");
  ExpectUsage("export x -o y -w z", "it goes to one place: either --output or --write");
  ExpectUsage("export x --follow -o y",
              "--follow: it writes as the capture grows: give --write, no --output");
}

TEST_F(UsageProgramTest, WithoutAHomeWiresharksFolderIsAskedFor) {
  EXPECT_EQ(Run("wireshark install", "unset HOME XDG_CONFIG_HOME WIRESHARK_CONFIG_DIR; "), 1);
  EXPECT_EQ(errors,
            "corvane wireshark: the environment does not tell where Wireshark's folder is: give "
            "--folder\n");
}

TEST_F(UsageProgramTest, TheHelpOfExportSaysWhatEachOptionIsFor) {
  EXPECT_EQ(Run("export --help"), 0);
  for (const char* text : {"--output FILE", "--write FILE", "without those of NR, IP and SIP",
                           "pcapng only: show events", "pcapng only: show debug messages",
                           "pcapng only: show requests", "pcapng only: show every packet"}) {
    EXPECT_NE(output.find(text), std::string::npos) << text << output;
  }
  EXPECT_EQ(output.find("Excludes"), std::string::npos) << output;
}

TEST_F(UsageProgramTest, TheHelpListsTheValuesAndTheDefault) {
  EXPECT_EQ(Run("export --help"), 0);
  for (const char* text :
       {"--format FORMAT=pcapng", "--clock modem|host=modem", "--synthetic drop|keep=drop"}) {
    EXPECT_NE(output.find(text), std::string::npos) << output;
  }
  EXPECT_EQ(Run("import --help"), 0);
  EXPECT_NE(output.find("--wrapped open|drop=open"), std::string::npos) << output;
}

}  // namespace
}  // namespace corvane
