#pragma once

// The program's standard streams where they carry bytes, not text.
namespace corvane::tools {

// What stands for a standard stream where a command takes a file's name.
inline constexpr char kStandardInput[] = "-";
inline constexpr char kStandardOutput[] = "-";

// From now on standard output takes bytes as they are: Windows would put a carriage return in front
// of each line feed.
void MakeStandardOutputBinary();
// The same of standard input, of which Windows would leave out carriage returns and end at the
// first byte 0x1A.
void MakeStandardInputBinary();

// Whether standard error is read by a person, and whether standard output is.
[[nodiscard]] bool StandardErrorIsTerminal();
[[nodiscard]] bool StandardOutputIsTerminal();

// While it lives, a Windows console shows what is written as UTF-8, in which this program's texts
// and names are. Then it has the encoding back that it had. Elsewhere nothing is to be done.
class cUtf8Console {
 public:
  cUtf8Console();
  cUtf8Console(const cUtf8Console&) = delete;
  cUtf8Console& operator=(const cUtf8Console&) = delete;
  ~cUtf8Console();

 private:
  [[maybe_unused]] unsigned before =
      0;  // the console's encoding; 0: there is no console, or it is left alone
};

// From now on writing to a pipe that nobody reads fails, and no longer ends the program.
void SurviveClosedPipes();

}  // namespace corvane::tools
