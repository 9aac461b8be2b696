#pragma once

// The program's standard streams where they carry bytes, not text.
namespace corvane::tools {

// From now on standard output takes bytes as they are: Windows would put a carriage return in front
// of each line feed.
void MakeStandardOutputBinary();
// The same of standard input, of which Windows would leave out carriage returns and end at the
// first byte 0x1A.
void MakeStandardInputBinary();

// Whether standard error is read by a person.
[[nodiscard]] bool StandardErrorIsTerminal();

// From now on writing to a pipe that nobody reads fails, and no longer ends the program.
void SurviveClosedPipes();

}  // namespace corvane::tools
