#include <gtest/gtest.h>

#include <filesystem>

#include "reader/capture_builder.h"
#include "tools/corvane_program_posix.h"

namespace corvane {
namespace {

// What the program says of arguments that make no sense.
class UsageProgramTest : public cCorvaneProgramTest {
 protected:
  // `said` begins with the command: "corvane list: ...".
  void ExpectUsage(const std::string& arguments, const std::string& said) {
    EXPECT_EQ(Run(arguments), 2) << arguments;
    EXPECT_EQ(output, "") << arguments;
    const std::string command = said.substr(0, said.find(':'));
    EXPECT_EQ(errors, said + '\n' + command + " --help tells more\n") << arguments;
  }
};

TEST_F(UsageProgramTest, AValueThatIsNoneIsToldWithThoseThatAre) {
  ExpectUsage("export x -w - --format pca",
              "corvane export: --format: \"pca\" is none of pcapng, gsmtap, hdlc, jsonl, csv, did "
              "you mean pcapng?");
  ExpectUsage("export x -w - --format jsnl",
              "corvane export: --format: \"jsnl\" is none of pcapng, gsmtap, hdlc, jsonl, csv, did "
              "you mean jsonl?");
  ExpectUsage("export x -w - --format 0",
              "corvane export: --format: \"0\" is none of pcapng, gsmtap, hdlc, jsonl, csv");
  ExpectUsage("export x -w - --clock foo",
              "corvane export: --clock: \"foo\" is none of modem, host");
  ExpectUsage("export x -w - --leap-seconds foo",
              "corvane export: --leap-seconds: \"foo\" is no number");
  ExpectUsage("export x -w - --format", "corvane export: --format needs a value");
  ExpectUsage("import x -o y --wrapped maybe",
              "corvane import: --wrapped: \"maybe\" is none of open, drop");
  ExpectUsage("completion zsh", "corvane completion: SHELL: \"zsh\" is none of bash, powershell");
}

TEST_F(UsageProgramTest, AnExportNamedLikeAnotherFormatAsksForTheFormat) {
  ExpectUsage("export x -o drive.csv",
              "corvane export: drive.csv looks like csv: say --format csv, or --format pcapng");
  ExpectUsage("export x -o y.d/drive.JSONL",
              "corvane export: y.d/drive.JSONL looks like jsonl: say --format jsonl, or --format "
              "pcapng");
  ExpectUsage("export x -w drive.hdlc",
              "corvane export: drive.hdlc looks like hdlc: say --format hdlc, or --format pcapng");
  ExpectUsage("export x -o drive.gsmtap --events",
              "corvane export: drive.gsmtap looks like gsmtap: say --format gsmtap, or --format "
              "pcapng");
  for (const char* const fits :
       {"-o drive.csv --format pcapng", "-o drive.csv --format csv", "-o drive.pcapng",
        "-o drive.pcap", "-o drive", "-o csv", "-o drive.csv.gz", "-w -"}) {
    EXPECT_EQ(Run("export no-such-file " + std::string(fits)), 1) << fits;
  }
}

TEST_F(UsageProgramTest, AnOptionOfOneValueIsGivenOnce) {
  ExpectUsage("list x --from 20 --from 30",
              "corvane list: --from is given 2 times, and takes one value");
  ExpectUsage("export x -o a -o b --output c",
              "corvane export: --output is given 3 times, and takes one value");
}

TEST_F(UsageProgramTest, AWordThatIsNoCommandIsNamed) {
  ExpectUsage("exprot drive.isf -o x",
              "corvane: there is no command \"exprot\", did you mean export?");
  ExpectUsage("lst", "corvane: there is no command \"lst\", did you mean list?");
  ExpectUsage("LIST x", "corvane: there is no command \"LIST\", did you mean list?");
  ExpectUsage("capt", "corvane: there is no command \"capt\", did you mean capture?");
  ExpectUsage("xylophone", "corvane: there is no command \"xylophone\"");
  ExpectUsage("help lst", "corvane: there is no command \"lst\", did you mean list?");
  ExpectUsage("wireshark instal",
              "corvane wireshark: there is no command \"instal\", did you mean install?");
  ExpectUsage("wireshark foo", "corvane wireshark: there is no command \"foo\"");
  ExpectUsage("wireshark", "corvane wireshark: a command is missing: install or uninstall");
}

TEST_F(UsageProgramTest, AnOptionThatNobodyKnowsIsToldBeforeWhatLacks) {
  ExpectUsage("export text.txt --zzzzzz", "corvane export: there is no option --zzzzzz");
  ExpectUsage("export --frmat=csv",
              "corvane export: there is no option --frmat, did you mean --format?");
  ExpectUsage("info --dep x", "corvane info: there is no option --dep, did you mean --deep?");
  ExpectUsage("wireshark install --foldr x",
              "corvane wireshark install: there is no option --foldr, did you mean --folder?");
  ExpectUsage("--versoin", "corvane: there is no option --versoin, did you mean --version?");
  ExpectUsage("info one two", "corvane info: there is no use for \"two\"");
  ExpectUsage("export", "corvane export: FILE is required");
}

TEST_F(UsageProgramTest, AnExportGoesToOnePlace) {
  ExpectUsage("export x",
              "corvane export: say where it goes: -o FILE, or -w - for standard output");
  ExpectUsage("export x -o y -w z",
              "corvane export: it goes to one place: either --output or --write");
  ExpectUsage(
      "export x --follow -o y",
      "corvane export: --follow: it writes as the capture grows: give --write, no --output");
  ExpectUsage("export - --follow -w -",
              "corvane export: --follow: a file that grows has a name: it is not standard input");
}

TEST_F(UsageProgramTest, AFileToMakeHasAName) {
  for (const std::string command : {"import", "recover", "cut", "merge", "report"}) {
    const std::string program = "corvane " + command;
    ExpectUsage(command + " x -o -",
                program + ": --output: the file to make has a name: it is not standard output");
    ExpectUsage(command + " x -o ''",
                program + ": --output: the name of the file to make is empty");
    ExpectUsage(command + " x", program + ": --output is required");
  }
}

TEST_F(UsageProgramTest, HelpAndVersionAreToldEverywhere) {
  EXPECT_EQ(Run("--help"), 0);
  const std::string help = output;
  EXPECT_EQ(help.find("Usage: corvane [OPTIONS] COMMAND\n"), 0U) << help;
  for (const char* arguments : {"", "help", "-h"}) {
    EXPECT_EQ(Run(arguments), 0) << arguments;
    EXPECT_EQ(output, help) << arguments;
    EXPECT_EQ(errors, "") << arguments;
  }
  EXPECT_EQ(Run("wireshark install --help"), 0);
  EXPECT_EQ(output.find("Usage: corvane wireshark install [OPTIONS]\n"), 0U) << output;
  const std::string installHelp = output;
  EXPECT_EQ(Run("help wireshark install"), 0);
  EXPECT_EQ(output, installHelp);
  EXPECT_EQ(Run("--version"), 0);
  const std::string version = output;
  EXPECT_EQ(version.find("corvane "), 0U) << version;
  for (const char* arguments :
       {"info --version", "wireshark install --version", "capture --version"}) {
    EXPECT_EQ(Run(arguments), 0) << arguments;
    EXPECT_EQ(output, version) << arguments;
  }
}

TEST_F(UsageProgramTest, AnOutputThatIsLostIsAFailure) {
  cCaptureBuilder builder;
  builder.Add({1, kNoon, Hex("1D 01"), {}});
  const std::string capture = folder.Write("drive.isf", builder.Closed());
  const std::string made = folder.Path("made.isf");
  for (const std::string& command :
       {"cut " + capture + " --overwrite -o " + made,
        "recover " + capture + " --overwrite -o " + made,
        "merge " + capture + " --overwrite -o " + made, "mark --at 2024-05-17 " + capture,
        std::string("help"), std::string("--version"), std::string("list --help"), std::string(),
        std::string("completion bash"), std::string("manual --json"), "stats " + capture,
        "info " + capture}) {
    EXPECT_EQ(RunInto("/dev/full", command), 1) << command;
    EXPECT_NE(errors.find(": the output cannot be written\n"), std::string::npos) << command << '\n'
                                                                                  << errors;
  }
}

TEST_F(UsageProgramTest, WithoutAHomeWiresharksFolderIsAskedFor) {
  EXPECT_EQ(Run("wireshark install", "unset HOME XDG_CONFIG_HOME WIRESHARK_CONFIG_DIR; "), 1);
  EXPECT_EQ(errors,
            "corvane wireshark: the environment does not tell where Wireshark's folder is: give "
            "--folder\n");
}

TEST_F(UsageProgramTest, TheHelpOfExportSaysWhatEachOptionIsFor) {
  EXPECT_EQ(Run("export --help"), 0);
  for (const char* text : {"--output FILE", "--write FILE", "pcapng only: show events",
                           "pcapng only: show debug messages", "pcapng only: show requests",
                           "pcapng only: show every packet"}) {
    EXPECT_NE(output.find(text), std::string::npos) << text << output;
  }
  EXPECT_EQ(output.find("Excludes"), std::string::npos) << output;
}

TEST_F(UsageProgramTest, TheHelpListsTheValuesAndTheDefault) {
  EXPECT_EQ(Run("export --help"), 0);
  for (const char* text : {"--format pcapng|gsmtap|hdlc|jsonl|csv", "[pcapng]",
                           "--clock modem|host", "[modem]", "--synthetic drop|keep", "[drop]"}) {
    EXPECT_NE(output.find(text), std::string::npos) << output;
  }
  EXPECT_EQ(Run("import --help"), 0);
  EXPECT_NE(output.find("--wrapped open|drop"), std::string::npos) << output;
}

}  // namespace
}  // namespace corvane
