#pragma once

// The program's standard streams where they carry bytes, not text.
namespace corvane::tools {

// From now on standard output takes bytes as they are: Windows would put a carriage return in front
// of each line feed.
void MakeStandardOutputBinary();

// From now on writing to a pipe that nobody reads fails, and no longer ends the program.
void SurviveClosedPipes();

}  // namespace corvane::tools
